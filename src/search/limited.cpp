// Distance-limited TBR and SPR.  The places of a clip are few and lie around one node, so they are
// listed breadth first from there, and clusters would not pay.
#include "search/limited.h"
#include "search/constpack.h"
#include "search/moves.h"
#include "search/status.h"
#include "search/swapguards.h"
#include "search/swapper.h"
#include "data/matrix.h"
#include "kernel/driver.h"
#include "kernel/output.h"
#include "trees/treemodel.h"

int tbr_distlim;

enum { BOTHWAYS, DOWNWARD, UPWARD };      // how a branch goes on from where it was met
static int *const &distance = distoroot, *const &heading = tmptbuf;     // of the branches listed

static void enter(int *list, int *n, int branch, int dist, int way)
{
    distance[branch] = dist;
    heading[branch] = way;
    list[(*n)++] = branch;
}

// Destinations in deslist, the sister first.  A branch goes by the node at its lower end.
static int listdests(int s)
{
    int n = 0;
    enter(deslist, &n, s, 0, BOTHWAYS);
    for (int i = 0; i < n; ++i) {
        int d = deslist[i], next = distance[d] + 1, up = swaptree[d];
        if (next > tbr_distlim) break;
        if (heading[d] != UPWARD && d >= ntax) {
            enter(deslist, &n, lef[d], next, DOWNWARD);
            enter(deslist, &n, rig[d], next, DOWNWARD);
        }
        if (heading[d] != DOWNWARD && up != ntax) {
            enter(deslist, &n, sis[d], next, DOWNWARD);
            enter(deslist, &n, up, next, UPWARD);
        }
    }
    return n;
}

// Places of the root in rootlist, but for the one that the clip has.
static int listroots(int x)
{
    int n = 0;
    if (x < ntax) return 0;
    for (int d : { lef[x], rig[x] })
        if (d >= ntax) {
            enter(rootlist, &n, lef[d], 1, DOWNWARD);
            enter(rootlist, &n, rig[d], 1, DOWNWARD);
        }
    for (int i = 0; i < n; ++i) {
        int r = rootlist[i], next = distance[r] + 1;
        if (next > tbr_distlim) break;
        if (r < ntax) continue;
        enter(rootlist, &n, lef[r], next, DOWNWARD);
        enter(rootlist, &n, rig[r], next, DOWNWARD);
    }
    return n;
}

static bool walkdests(swapping *sw, int root, int ndests)
{
    const uint32_t *set = root < 0 ? clipset : branchset(root);
    int node = root < 0 ? clip_root(sw) : root;
    for (int i = root < 0; (i = scan_nodes(set, deslist, i, ndests)) < ndests; ++i)
        if (second_check(node, deslist[i], 0) && offer_place(sw, root, deslist[i])) return true;
    return false;
}

static int try_clip(swapping *sw, int x)
{
    int s = sis[x];
    clip_subtree(x);
    reoptimize_after_clip(s, x);
    begin_clip(sw, x, s);
    int ndests = listdests(s), nroots = clusters_on ? listroots(x) : 0;
    add_rearrangs((unsigned long)ndests * (unsigned long)(nroots + 1));
    if (!nothing_to_gain(sw)) {
        bool done = walkdests(sw, -1, ndests);
        for (int i = 0; i < nroots && !done; ++i) done = walkdests(sw, rootlist[i], ndests);
    }
    return end_clip(sw);
}

double limited_tbrswap(int *tree, int first, int mulpars, int tbr)
{
    constexpr int SMALLCLIP = 3;
    swapguards guards(mulpars);
    clusters_on = tbr;             // the sets within a clip are needed only to root it elsewhere
    swapping sw;
    start_swap(&sw, tree, first, mulpars, tbr ? "TBR" : "SPR");
    int at = mulpars < 0 && !prearranglist ? ntax : 0, visits = 0;
    for (int count = 0; count < hinod && !sw.stop; ++count) {
        if (visits++ % report_every == 0) report_search_status(sw.score);
        if (userstop) break;
        int x = next_clip(&sw, &at);
        if (x == 0 || x == ntax || (mulpars < 0 && tnodsize[x] < SMALLCLIP)) continue;
        if ((!tbr && swaptree[x] == ntax) || (use_treeconstraints && clip_is_fixed(x))) continue;
        if (try_clip(&sw, x)) count = -1;        // what moved has other places within reach now
    }
    clusters_on = 0;
    end_swap(&sw);
    return sw.score;
}

void notelimit()
{
    if (tbr_distlim) myp("Note: TBR limited to moves within %i nodes of original position.", tbr_distlim);
}
