#include "search/swapadded.h"
#include "search/moves.h"
#include "search/status.h"
#include "search/swapguards.h"
#include "search/swapper.h"
#include "search/tbr.h"
#include "data/matrix.h"
#include "kernel/driver.h"
#include "trees/treemodel.h"
#include <algorithm>

static void findmovable(const uint8_t *added, uint8_t *movable)
{
    std::copy(added, added + ntax, movable);
    for (int i = noptlist - 1; i >= 0; --i) movable[optlist[i]] = movable[lef[optlist[i]]] && movable[rig[optlist[i]]];
}

double swap_added(int *tree, const uint8_t *added)
{
    swapguards guards(0);
    uint8_t *movable = hi<uint8_t>(hinod);
    clusters_on = 1;
    swapping sw;
    start_swap(&sw, tree, 0, 0, "TBR");
    findmovable(added, movable);
    for (int since = 0, x = 1; since < hinod && !userstop; ++since, x = x + 1 < hinod ? x + 1 : 1) {
        if (x == ntax || !movable[x]) continue;
        report_search_status(sw.score);
        add_rearrangs(tbr_places(tnodsize[x]));
        tbr_clip(&sw, x);
        if (!end_clip(&sw)) continue;
        since = 0;
        fill_node_sizes();
        findmovable(added, movable);
    }
    clusters_on = 0;
    end_swap(&sw);
    return sw.score;
}
