// The walk of ratchet and drift.  Each clip is tried as in TBR; only what is done with a place differs.
#include "search/pertswap.h"
#include "search/addseq.h"
#include "search/constpack.h"
#include "search/moves.h"
#include "search/relfit.h"
#include "search/status.h"
#include "search/swapguards.h"
#include "search/swapper.h"
#include "search/tbr.h"
#include "data/matrix.h"
#include "kernel/driver.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <cstdlib>

double dftxfactor = 3;
int single_tree_island;

static double excess;            // of the walk under way: how far the tree may lie above its start, by the moves accepted

static void take(swapping *sw, int root, int dest)
{
    sw->bestroot = root;
    sw->bestdest = dest;
    movebest = movesteps;
    movebound = std::min(movebound, movesteps + moveslack);
}

// The worse the move, relative to what it costs and to what speaks for it, the less often.
static bool admitted(const swapping *sw, int root, int dest)
{
    constexpr int PERCENT = 100;
    double gap = movesteps - sw->cost;
    double chance = double(rand() % PERCENT) / ((2 * excess + gap) * PERCENT) * (1 + dftxfactor);
    if (gap / movesteps > chance) return false;
    double steps = movesteps;
    double difference = relative_fit_difference(root < 0 ? clip_root(sw) : root, root < 0 ? clipset : branchset(root), dest);
    movesteps = steps;
    return difference <= relative_suboptimal && difference <= chance;
}

static bool wander_place(swapping *sw, int root, int dest)
{
    if (!sw->drift || !lessthan(sw->cost, movesteps)) {
        if (!lessthan(movebest, movesteps)) take(sw, root, dest);
        return false;
    }
    if (!admitted(sw, root, dest)) return false;
    take(sw, root, dest);
    return true;
}

static void set_walk_slack(const swapping *sw)
{
    moveslack = dopiwe ? leastgain() / 2 : 0;
    if (sw->drift) moveslack += suboptimal;
}

double perttbrswap(int *tree, int accept_worse, int moves, int giveup)
{
    constexpr int REPORTS = 15, SLOWREPORTS = 3;
    struct limitguard { double was = suboptimal_limit; ~limitguard() { suboptimal_limit = was; } } limit;
    swapguards guards(1);
    suboptimal_limit = 1e10;
    clusters_on = 1;
    excess = 0;
    single_tree_island = 0;
    swapping sw;
    start_swap(&sw, tree, 0, 0, "TBR");
    sw.place = wander_place;
    sw.wander = true;
    sw.drift = accept_worse;
    randomlist(hinod, ladd, -1, nullptr);
    prearranglist = ladd;
    report_every = asymmetric_fields ? SLOWREPORTS : REPORTS;
    int at = 0, visits = 0, made = 0, still = 0;
    while (made < moves && still < hinod) {
        if (visits % report_every == 0) report_search_status(sw.score);
        if (userstop || (giveup && 100.0 * visits / hinod > giveup)) break;
        ++visits;
        ++still;
        int x = next_clip(&sw, &at);
        if (x == 0 || x == ntax || (use_treeconstraints && clip_is_fixed(x))) continue;
        add_rearrangs(tbr_places(tnodsize[x]));
        set_walk_slack(&sw);
        tbr_clip(&sw, x);
        if (sw.bestdest < 0) {
            end_clip(&sw);
            continue;
        }
        excess = std::max(0.0, excess + movebest - sw.cost);
        end_clip(&sw);
        ++made;
        still = 0;
    }
    single_tree_island = !made && still >= hinod;
    prearranglist = nullptr;
    clusters_on = 0;
    end_swap(&sw);
    return sw.score;
}
