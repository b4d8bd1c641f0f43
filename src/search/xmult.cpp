// The driven search: its loop, options and command.
#include "search/xmult.h"
#include "search/constpack.h"
#include "search/constraints.h"
#include "search/cycles.h"
#include "search/drift.h"
#include "search/fuse.h"
#include "search/hybrid.h"
#include "search/keeptrees.h"
#include "search/moves.h"
#include "search/ratchet.h"
#include "search/rebuild.h"
#include "search/rseed.h"
#include "search/schcollapse.h"
#include "search/sectset.h"
#include "search/setup.h"
#include "search/status.h"
#include "search/xmultset.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "kernel/random.h"
#include "trees/collapse.h"
#include "trees/implied.h"
#include "trees/pack.h"
#include "trees/scratch.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

xmultrun xm;
int macro_last_numhits;

// --- a hit --------------------------------------------------------------------------------

static bool short_of(double score) { return above_target(score) && !reached_giveup(score) && !userstop; }

static double bestofhit()
{
    double best = NOSCORE;
    for (int t = xm.startsaveas; t < trees_in_mem; ++t) best = std::min(best, treechk[t].score);
    return best;
}

static void drop_hit()
{
    droptrees(xm.startsaveas);
    rebuild_treechklist();
}

// Every so many failures the level is looked at, if the hit takes more than usual.
static void count_failure()
{
    constexpr int USUAL = 2;
    ++xm.failures;
    if (xmult_chklevel && xm.failures > USUAL && xm.failures % xmult_chklevel == 0) reset_search_parms(3, 1, 1);
}

// The next replications are to have nothing to do with the last ones.
static void draw_seed()
{
    ranseed = xm.seed = std::max(1, int((long(xm.seed) * 100 / 7) & INT_MAX));
    randinit();
    xm.seed = std::max(1, rand());
}

// Improves the trees of the hit by a genetic stage, and again with more of them while they miss the target.
static double improve(double (*stage)(int), int replications, bool cutback)
{
    double score = stage(xm.startsaveas);
    for (int tries = 1; short_of(score); ++tries) {
        keepseed seedguard;
        draw_seed();
        count_failure();
        if (tries <= xmult_retouch) score = std::min(score, do_retouch());
        else {
            if (cutback && long(replications) * xmult_hold > realmaxtrees - trees_in_mem) drop_hit();
            score = std::min(score, nreplics(replications, RETRY));
        }
        if (!reached_giveup(score) && !userstop) score = std::min(score, stage(xm.startsaveas));
        if (xmul_filter && tries % xmul_filter == 0) effect_xmul_filter(bestofhit());
    }
    return score;
}

static bool choosehybrids()
{
    if (!driver_autoselect_ga) return dotreehyb;
    hiscratch scratch;
    int count, **trees = copytrees(xm.startsaveas, realmaxtrees, 0, &count);
    if (count < 2) return false;
    double score = calculate_fuse_props(count, trees);
    bool hybrids = score < driver_autoselect_limit;
    if (xmult_verbose) myp("  NOTE: Picking %sto improve the trees found (score %.3f)", hybrids ? "tree hybridization " : "tree fusing ", score);
    return hybrids;
}

static int replicas_for_hybrids() { return int(xmult_replications * hybrid_extra_repls_factor); }

// Nor those of a hit with those of any hit before.
static void check_seed()
{
    constexpr size_t CHECKEDHITS = 250;
    static std::vector<int> seeds;
    if (!xm.hitsbegun++) seeds.clear();
    if (xmult_consense || seeds.size() == CHECKEDHITS) return;
    xm.seed = chkseed(seeds.data(), int(seeds.size()), xm.seed);
    seeds.push_back(xm.seed);
}

static double find_hit()
{
    check_seed();
    double score = nreplics(xmult_replications, FIRSTTRY);
    if (userstop) return score;
    bool hybrids = choosehybrids();
    if (hybrids) {
        int all = replicas_for_hybrids(), more = all - xmult_replications;
        if (driver_autoselect_ga && xmult_verbose)
            myp("  Will complete %i builds to input to hybridization (%i more needed)", all, more);
        if (more > 0) score = std::min(score, nreplics(more, FIRSTTRY));
        if (!userstop) score = std::min(score, improve(handle_hybridizer, driver_autoselect_ga ? all : xmult_replications, true));
    }
    if (xmult_fuse && !(hybrids && driver_autoselect_ga) && !userstop)
        score = std::min(score, improve(handle_fuser, std::max(1, xmult_replications / 2), false));
    return score;
}

static void fuse_globally()
{
    int hits = xm.hitsdone + 1;                      // with this one
    if (xmult_hfuse && hits % xmult_hfuse == 0) handle_hybridizer(0);
    if (xmult_gfuse && hits % xmult_gfuse == 0) {
        handle_fuser(0);
        ++xm.gfusesdone;
    }
}

// A better score makes the hits before it no hits.
static void count_hit(double score)
{
    if (lessthan(score, xm.bescore)) {
        xm.bescore = score;
        if (xmult_update) {
            xm.target = score;
            xm.hitsdone = xm.gfusesdone = xm.startsaveas = 0;
            startconsense();
        }
    }
    ++xm.hitsdone;
}

static void clean_hits(double score)
{
    if (xmult_keepall) return;
    double margin = dopiwe ? XMARGIN : 0;
    int before = trees_in_mem;
    if (xm.target < NOSCORE) drop_longer_than(0, xm.target + margin);
    if (!xmult_update && xm.hitsdone > 1) drop_longer_than(0, score + 1e-12);
    if (trees_in_mem < before) xm.conchecked = std::min(xm.conchecked, trees_in_mem);
}

static void keep_different_trees()
{
    if (!xmult_keepall) quick_clean_mem_trees(NOSCORE);
}

static void run_hits()
{
    struct levelcount { int hits = 0, failures = 0; } since;
    while ((xm.hitsdone < xmult_hits || xm.stabilized_consensus < xmult_consense) && !userstop) {
        xm.startsaveas = trees_in_mem;
        xm.failures = 0;
        double score = find_hit();
        bool missed = above_target(score) && !reached_giveup(score);
        if (userstop && userstop != GIVEN_UP) return;
        if (missed) {                                // neither fusing nor hybridization could go on
            drop_hit();
            continue;
        }
        if (xmult_multiply) handle_multiplication(xm.startsaveas);
        score = std::min(score, bestofhit());
        fuse_globally();
        score = std::min(score, bestofhit());
        count_hit(score);
        clean_hits(score);
        if (consense_hit() || !xmult_consense) {
            keep_different_trees();
            xm.conchecked = std::min(xm.conchecked, trees_in_mem);
        }
        since.failures += xm.failures;
        if (xmult_chklevel && ++since.hits >= xmult_chklevel) {
            reset_search_parms(since.failures, since.hits, 1);
            since = {};
        }
    }
}

// --- the command --------------------------------------------------------------------------

namespace {
// What the run changes and must give back.
struct settingsguard {
    double subopt = suboptimal, limit = suboptimal_limit, rstop = ratstop, dstop = dftstop;
    int seed = ranseed;
    settingsguard() { forget_pairs(); }
    ~settingsguard()
    {
        forget_pairs();
        suboptimal = subopt;
        suboptimal_limit = limit;
        ratstop = rstop;
        dftstop = dstop;
        ranseed = seed;
        maxtrees = realmaxtrees;
        xmulting = autoxmulting = 0;
    }
};
}

static bool fuses() { return xmult_fuse || xmult_gfuse || xmult_multiply; }

static void refuse_combinations()
{
    bool usertree = use_treeconstraints;
    if (xmult_css && !xmult_autoconst && !usertree) errmsg("Constraint-based sectorial searches require tree constraints", nullptr);
    if (xmult_targetscore >= 0 && !xmult_fuse && !dotreehyb && !driver_autoselect_ga)
        errmsg("To search for a target score, must use fusing or hybridization", nullptr);
    if (xmult_retouch && (xmult_rss || xmult_xss) && num_fuses_all_starts)
        errmsg("Cannot retouch trees with sectorial searches that do fusing;", nullptr);
    if (xmul_filter && xmult_keepall) errmsg("Options \"filter\" and \"keepall\" are not valid together", nullptr);
    if (xmul_filter && xmult_retouch && xmul_filter <= xmult_retouch)
        errmsg("The number for \"filter\" must be larger than for \"retouch\"", nullptr);
    if (fuses()) chkfusing();
    if (xmult_xss && have_asymmetric) errmsg("Some characters are Sankoff and asymmetric: can't run exclusive sectors", nullptr);
    if (num_rebuilds && constraints_in_force()) errmsg("Sorry, cannot rebuild trees with constraints", nullptr);
}

static void prepare_collapse()
{
    if (!xmult_consense || is_swap_rule(current_collapsing_rule())) return;
    warnem("To stabilize consensus, tree collapsing will be re-set to TBR", nullptr);
    set_collapsing_rule(COLL_TBR);
    set_schcollapser(COLL_TBR);
    clean_mem_trees("existing", NOSCORE);
}

static void start_run()
{
    xm = {};
    if (xmult_targetscore >= NOSCORE) xmult_targetscore = -1;
    xm.target = xmult_targetscore >= 0 ? xmult_targetscore : NOSCORE;
    xm.bescore = overall_bestscore = NOSCORE;
    xm.prevtsp = hi<int>(size_t(hinod));
    for (int **tree : { &xm.prevcontree, &xm.curcontree, &xm.globcontree, &xm.tmpcons }) *tree = zhi<int>(size_t(nodz));
    xm.indnodz = zhi<int>(size_t(xmult_consense) + 1);
    if (xmult_prvmix && trees_in_mem) {
        schgettree(mem_tree[trees_in_mem - 1]);
        treecopy(anx, xm.prevtsp);
        xm.havetsp = true;
    }
    randinit();
    xm.seed = std::max(1, rand());
    startconsense();
    xmulting = 1;
    suboptimal = 0;
    suboptimal_limit = NOSCORE;
    if (xmult_giveupscore >= 0) update_giveup_scores(xmult_giveupscore);
}

// In the numbers that the trees in memory have now.
static void store_consensus(const int *tree)
{
    int *to = mem_tree[trees_in_mem];
    std::copy(tree, tree + nodz, to);
    if (trees_are_packed) pack_one_tree(to);
    std::fill(treegroup[trees_in_mem], treegroup[trees_in_mem] + treegroupcells, 0);
    treechk[trees_in_mem++].score = NOSCORE;
}

static void report_consensus()
{
    const int *tree = xm.stabilized_consensus ? xm.globcontree : xm.prevcontree;
    bool room = trees_in_mem < realmaxtrees;
    int nodes = consensus_nodes(tree);
    if (room) {
        store_consensus(tree);
        myp("Consensus (%i nodes, stabilized %i times) saved as tree %i", nodes, xm.stabilized_consensus, trees_in_mem - 1);
    } else myp("Consensus (%i nodes, stabilized %i times) not saved: the tree buffer is full", nodes, xm.stabilized_consensus);
    if (!xm.stabilized_consensus) return;
    std::string list = "Number of nodes in each stabilization: ";
    for (int i = 0; i < std::min(xm.stabilized_consensus, xmult_consense); ++i) list += (i ? " " : "") + std::to_string(xm.indnodz[i]);
    myp("%s", list.c_str());
}

static void run()
{
    settingsguard guard;
    refuse_combinations();
    prepare_collapse();
    start_run();
    run_hits();
    erdil();
    if (userstop == GIVEN_UP) userstop = 0;
    now_being_swapped = -1;
    macro_last_numhits = xm.hitsdone;
    double best = clean_mem_trees("resulting", xmult_keepall ? NOSCORE : 0);
    settle_found_trees("new_tech_sch");
    int retained = trees_in_mem;
    joinem(userstop ? "Search was interrupted...\n" : "Completed search.\n", nullptr);
    show_numrearrangs();
    if (xmult_targetscore >= 0) myp("Target score %s hit %i times", scoretext(xm.target).c_str(), xm.hitsdone);
    else myp("No target score defined.  Best score hit %i times.", xm.hitsdone);
    myp("Best score: %s.  %i trees retained.", scoretext(best).c_str(), retained);
    if (xm.anycons) report_consensus();
}

void xmultcom()
{
    int c = peep();
    if (c == ':' || c == '=') {
        gtnb();
        if (c == ':' && peep() == ';') return show_xmult_options();
        set_xmult_options();
    } else if (c == '/') set_xmult_options();
    if (peep() != ';') myerr("Wrong search argument: %c", peep());
    if (c == ':') return;
    nodaterror("searching");
    run();
}
