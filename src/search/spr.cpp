// SPR.  Without rerooting there are few places a clip, so on small trees clusters would not pay: the branches of
// the rest are listed and scanned in one call.  On large trees clusters tell first whether there is a place within the
// bound at all; where there is, the branches are visited in the same order as ever.
#include "search/spr.h"
#include "search/constpack.h"
#include "search/limited.h"
#include "search/moves.h"
#include "search/status.h"
#include "search/swapguards.h"
#include "search/swapper.h"
#include "data/matrix.h"
#include "kernel/driver.h"
#include "trees/treemodel.h"

// The branches of what the clip left, from the sister of terminal 0, breadth first; only those where the
// clip may go under a tree constraint.
static int listbranches(int *list)
{
    int n = 0;
    list[n++] = tree_start >= 0 ? tree_start : sis[0];
    for (int i = 0; i < n; ++i) {
        int y = list[i];
        if (y < ntax || (nodeisfix && nodeisfix[y] && i)) continue;
        list[n++] = lef[y];
        list[n++] = rig[y];
    }
    return n;
}

int spr_cluster_taxa = 250;
static bool filtered;

static void usefilter()
{
    filtered = ntax >= spr_cluster_taxa && !have_unpacked && !use_treeconstraints;
    if (filtered) assign_clusters(1);
}

static bool anyplace(int sister, int ndests)
{
    for (int i = 0; (i = scan_clusters(clipset, deslist, i, ndests)) < ndests; ++i) {
        const clusrec &there = clusmat[deslist[i]];
        for (int j = 0; (j = scan_nodes(clipset, there.nodes, j, there.ndests)) < there.ndests; ++j)
            if (there.nodes[j] != sister) return true;
    }
    return false;
}

static int try_clip(swapping *sw, int x)
{
    int s = sis[x], nroots, ndests = 0;
    if (constrained()) enter_clip(x, s);
    clip_subtree(x);
    clusters_on = filtered;                  // for as long as sets change
    if (filtered) reassign_clusters(x, s, &nroots, &ndests);
    reoptimize_after_clip(s, x);
    clusters_on = 0;
    begin_clip(sw, x, s);
    if (!nothing_to_gain(sw) && (!filtered || anyplace(s, ndests))) {
        int n = listbranches(deslist);
        for (int i = 0; (i = scan_nodes(clipset, deslist, i, n)) < n; ++i) {
            int d = deslist[i];
            if (d == s || !second_check(x, d, 0)) continue;
            if (offer_place(sw, -1, d)) break;
        }
    }
    clusters_on = filtered;
    int moved = end_clip(sw);
    clusters_on = 0;
    return moved;
}

// What stays behind must have more than one branch.
static bool hasplaces(int x) { return swaptree[x] != ntax && !(sis[x] < ntax && swaptree[swaptree[x]] == ntax); }

double sprswap(int *tree, int first, int mulpars)
{
    if (tbr_distlim) return limited_tbrswap(tree, first, mulpars, 0);
    swapguards guards(mulpars);
    clusters_on = 0;
    swapping sw;
    start_swap(&sw, tree, first, mulpars, "SPR");
    usefilter();
    int at = 0, visits = 0;
    for (int count = 0; count < hinod && !sw.stop; ++count) {
        if (visits++ % report_every == 0) report_search_status(sw.score);
        if (userstop) break;
        int x = next_clip(&sw, &at);
        if (x == 0 || x == ntax || !hasplaces(x) || (use_treeconstraints && clip_is_fixed(x))) continue;
        add_rearrangs((unsigned long)(2 * (ntax - tnodsize[x]) - 3));
        if (try_clip(&sw, x)) count = counted_after_move(mulpars);
    }
    end_swap(&sw);
    return sw.score;
}
