// The tree arrays and all else of this folder that is sized by the number of taxa: the part of
// the data layer that the matrix asks for when it is laid out.
#include "trees/treemodel.h"
#include "trees/treetags.h"
#include "data/below.h"
#include "data/groups.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/input.h"
#include <algorithm>

int *MarkedNod, **undo_tree, **tshrink, have_some_shrinks, allow_shrinkings = 1;
double *avgtermvals;

static constexpr int LEASTTAG = 128;     // bytes of a tag; more when the names of taxa are long

static int **const perslot[] = {
    &anx, &lef, &rig, &sis, &nodfork, &nodlist, &htulist, &bufprvtree, &issupp, &waglist, &ladd,
    &taxnum, &lineof, &doat, &drawat, &branchlen, &xpos, &ypos, &txtr, &MarkedNod
};

// One entry more than there are slots: lists of nodes may be ended by a mark.
void laytreearrays()
{
    for (int **array : perslot) *array = zlo<int>(nodz + 1);
    undo_tree = zlorows<int>(UNDOS, nodz);
    avgtermvals = zlo<double>(nodz);
    tshrink = allow_shrinkings ? zlorows<int>(nt, SHRINKWORDS) : nullptr;
    have_some_shrinks = 0;
    nodmsg = zlorows<char>(nodz, 2 * Namesize);
    maxtxtsz = std::max(LEASTTAG, 2 * Namesize);
    txtrmsg = zlorows<char>(nodz, maxtxtsz);
    cleartags();
    laygroupnames();
}
