// TBR.  The places of the clip's root are the outer loop, the destinations the inner one, both in
// clusters: the union of a root cluster against that of a destination cluster, then each root
// against the destination cluster, then each root against each destination.  Every stage that
// fails saves all that are within it.
#include "search/tbr.h"
#include "search/andlists.h"
#include "search/constpack.h"
#include "search/limited.h"
#include "search/moves.h"
#include "search/status.h"
#include "search/swapguards.h"
#include "search/swapper.h"
#include "data/matrix.h"
#include "kernel/driver.h"
#include "trees/treemodel.h"
#include <algorithm>

constexpr int SMALLCLIP = 3;      // below it there is only one place for the root

// Destinations of a clip that keeps its root; true when the walk ended early.
static bool walk_rooted(swapping *sw, int from, int ndests)
{
    const int x = sw->clip, single = x < ntax ? x : lef[x];
    for (int i = from; (i = scan_clusters(clipset, deslist, i, ndests)) < ndests; ++i) {
        clusrec &there = clusmat[deslist[i]];
        if (!second_check(deslist[i], single, 1)) continue;
        for (int j = 0; (j = scan_members(clipset, deslist[i], j)) < there.ndests; ++j) {
            int d = there.nodes[j];
            if (d == sw->sister || !second_check(single, d, 0)) continue;
            if (offer_place(sw, -1, d)) return true;
        }
    }
    return false;
}

static bool walk_pair(swapping *sw, int roots, int dests)
{
    clusrec &here = clusmat[roots], &there = clusmat[dests];
    const int origin = rig[sw->clip];
    for (int i = 0; (i = scan_nodes(there.uni, here.roots, i, here.nroots)) < here.nroots; ++i) {
        int r = here.roots[i];
        if (!second_check(dests, r, 1)) continue;
        for (int j = 0; (j = scan_members(branchset(r), dests, j)) < there.ndests; ++j) {
            int d = there.nodes[j];
            if ((d == sw->sister && r == origin) || !second_check(r, d, 0)) continue;
            if (offer_place(sw, r == origin ? -1 : r, d)) return true;
        }
    }
    return false;
}

static void walk_rerooted(swapping *sw, int nroots, int ndests)
{
    for (int i = 0; i < nroots; ++i)
        for (int j = 0; (j = scan_clusters(clusmat[rootlist[i]].uni, deslist, j, ndests)) < ndests; ++j) {
            if (!second_check(rootlist[i], deslist[j], 2)) continue;
            if (walk_pair(sw, rootlist[i], deslist[j])) return;
        }
}

void tbr_clip(swapping *sw, int x)
{
    int s = sis[x], size = tnodsize[x], nroots = 0, ndests = 0;
    if (constrained()) enter_clip(x, s);
    clip_subtree(x);
    reassign_clusters(x, s, &nroots, &ndests);
    reoptimize_after_clip(s, x);
    begin_clip(sw, x, s);
    if (!nothing_to_gain(sw)) {
        if (size < SMALLCLIP) walk_rooted(sw, 0, ndests);
        else walk_rerooted(sw, nroots, ndests);
    }
}

unsigned long tbr_places(int size)
{
    unsigned long places = std::max(1, 2 * (ntax - size) - 3), roots = size < SMALLCLIP ? 1 : 2 * size - 3;
    return places * roots;
}

double tbrswap(int *tree, int first, int mulpars)
{
    if (tbr_distlim) return limited_tbrswap(tree, first, mulpars, 1);
    swapguards guards(mulpars);
    clusters_on = 1;
    swapping sw;
    start_swap(&sw, tree, first, mulpars, "TBR");
    int at = mulpars < 0 && !prearranglist ? ntax : 0, visits = 0;
    for (int count = 0; count < hinod && !sw.stop; ++count) {
        if (visits++ % report_every == 0) report_search_status(sw.score);
        if (userstop) break;
        int x = next_clip(&sw, &at);
        if (x == 0 || x == ntax || (use_treeconstraints && clip_is_fixed(x))) continue;
        if (mulpars < 0 && tnodsize[x] < SMALLCLIP) continue;
        add_rearrangs(tbr_places(tnodsize[x]));
        tbr_clip(&sw, x);
        if (end_clip(&sw)) count = counted_after_move(mulpars);
    }
    clusters_on = 0;
    end_swap(&sw);
    return sw.score;
}
