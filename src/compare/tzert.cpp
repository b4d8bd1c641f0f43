// compare/tzert.cpp: the command tzert, the groups of one tree inserted onto another.
#include <cstdio>
#include <string>
#include "compare/consread.h"
#include "compare/major.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/commands.h"
#include "kernel/comhelps.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "trees/treebuf.h"

const comhelp tzerthelp = {
    "Insert the groups of a tree onto another.", nullptr,
    "  tzert X Y ;   make a tree with all groups of tree X, and those of tree Y that\n"
    "                they do not contradict.  It becomes the last tree in memory, in\n"
    "                the group \"Tree_X_on_Y_\"\n"
    "Taxa missing from either tree are left out (see \"unshared\").\n"
    "Examples:\n"
    "  tzert 0 1 ;\n"
};

static int readtree()
{
    long t = gtnu();
    if (t < 0) errmsg("Must give", "tree", "number", nullptr);
    if (t >= trees_in_mem) numtreeerror(t);
    return int(t);
}

void tzertcom()
{
    notreeerror();
    int X = readtree(), Y = readtree();
    chktreespace();
    int *result = lo<int>(nodz);
    zert_groups_onto_tree(mem_tree[X], mem_tree[Y], result);
    char group[80];
    snprintf(group, sizeof group, "Tree_%i_on_%i_", X, Y);
    int place = trinc(group, false);
    stortree(result);
    myp("Inserted tree %i onto %i (as tree %i)", X, Y, place);
}
