// Replications of a driven search: a tree by stepwise addition, swapped, its sectors analyzed, driven about by
// ratchet and drift.
#include "search/xmult.h"
#include "search/bbreak.h"
#include "search/constpack.h"
#include "search/drift.h"
#include "search/keeptrees.h"
#include "search/moves.h"
#include "search/ratchet.h"
#include "search/rebuild.h"
#include "search/rseed.h"
#include "search/sectdata.h"
#include "search/sectors.h"
#include "search/sectsel.h"
#include "search/setup.h"
#include "search/spr.h"
#include "search/status.h"
#include "search/tbr.h"
#include "search/wagner.h"
#include "data/matrix.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "trees/pack.h"
#include "trees/scratch.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <optional>

bool reached_giveup(double score) { return xmult_giveupscore >= 0 && score <= xmult_giveupscore; }
bool above_target(double score)   { return xm.target < NOSCORE && lessthan(xm.target, score); }

// What follows a reached score has nothing left to do.
static bool goes_on(double score)
{
    if (reached_giveup(score) && !userstop) userstop = GIVEN_UP;
    return !userstop;
}

void setxmulfull()
{
    if (!xmulting || userstop) return;
    joinem("\n\nNo space to store more trees! Increase max.trees and retry.\n\n", nullptr);
    userstop = 2;
}

// --- a tree -------------------------------------------------------------------------------

// Leaves the best tree in anx, and returns its score.  A walk that keeps trees, from the slot base on, ends with any
// tree; when none of those kept is as good as the one that it started from, that is the best.
static double walk(double (*engine)(int *, unsigned, int, int *, int), int *iterations, int cycles, int base)
{
    struct iterationsguard {
        int *where, was;
        ~iterationsguard() { *where = was; }
    } guard{ iterations, *iterations };
    hiscratch scratch;
    int *start = hi<int>(size_t(hinod)), done;
    treecopy(anx, start);
    *iterations = cycles;
    double found = engine(anx, unsigned(rand()), base, &done, 0), last = schoptimize(anx, 1);
    if (base < 0 || !lessthan(found, last)) return last;
    int t = base;
    while (t < trees_in_mem && lessthan(found, treechk[t].score)) ++t;
    if (t < trees_in_mem) schgettree(mem_tree[t]);
    else treecopy(start, anx);
    return schoptimize(anx, 1);
}

// base: where walks keep their trees; -1: they do not.
static double sectors_and_walks(double score, int base, int rebuilds)
{
    if (xmult_rss && goes_on(score)) score = random_ss(anx);
    if (xmult_xss && !too_small_for_chunks() && goes_on(score)) score = serial_xss(anx);
    if (rebuilds && goes_on(score)) {
        int done;
        score = rebuild_tree(anx, trees_in_mem, rebuilds, &done);
    }
    if (xmult_ratchet && goes_on(score)) score = walk(ratatree, &ratiters, xmult_ratchet, base);
    if (xmult_drift && goes_on(score)) score = walk(dftree, &dftiters, xmult_drift, base);
    goes_on(score);
    return score;
}

static void tellbest(double score)
{
    if (overall_bestscore < 0 || score < overall_bestscore) overall_bestscore = score;
}

// --- replications -------------------------------------------------------------------------

namespace {
// Groups shared with the last tree are kept from the stage on that the user wants.
struct autoconst {
    bool wanted;
    std::optional<temporary_constraint> hold;
    void prepare(int stage)
    {
        if (wanted && xmult_autoconst == stage) hold.emplace(xm.prevtsp, anx);
    }
};

struct roomguard {
    int was = maxtrees;
    ~roomguard() { maxtrees = was; }
};
}

// The first replication of a hit is to be independent of what was found before.
static bool constrains(int replication, tryof which)
{
    if (!xmult_autoconst || !xm.havetsp) return false;
    if (replication) return true;
    if (!xmult_xmix) return false;
    return which == RETRY || (xmult_prvmix && !xm.began);
}

static double replication(int seed, int hold, bool constrained)
{
    autoconst shared{ constrained, {} };
    autoxmulting = xmult_autoconst != 0;
    curalg = ALG_WAGNER;
    wagner(anx, seed);
    ranseed = -1;
    if (userstop) return NOSCORE;
    shared.prepare(1);
    if (!skip_spr_phase) {
        curalg = ALG_SPR;
        sprswap(anx, 0, 0);
    }
    shared.prepare(2);
    curalg = ALG_TBR;
    double score = tbrswap(anx, 0, 0);
    shared.prepare(3);
    if (xmult_css && use_treeconstraints && goes_on(score)) score = const_ss(anx);
    shared.hold.reset();
    return sectors_and_walks(score, hold == 1 ? -1 : trees_in_mem, num_rebuilds);
}

// The tree in anx is among those of its replication, which are from the slot first on, even where they fill their room.
static void store_result(int first, double score)
{
    if (trees_in_mem >= maxtrees) {
        for (int t = first; t < trees_in_mem; ++t)
            if (!lessthan(score, treechk[t].score)) return;
        droptrees(trees_in_mem - 1);
        rebuild_treechklist();
    }
    force_store_tree(anx, trees_in_mem);
}

// Trees of one replication that there is room for; 0: none.
static int roomforeach(int count)
{
    long room = realmaxtrees - trees_in_mem;
    return int(std::min<long>(xmult_hold, room / std::max(1, count)));
}

double nreplics(int count, tryof which)
{
    constexpr int CHECKEDSEEDS = 99;
    int hold = roomforeach(count);
    if (!hold) {
        if (jaking) errmsg("No space to store more trees! Increase max.trees and retry.", nullptr);
        setxmulfull();
        return NOSCORE;
    }
    keepseed seedguard;
    roomguard room;
    hiscratch scratch;
    int *seeds = hi<int>(size_t(count) + 1);
    ranseed = seeds[0] = xm.seed;
    randinit();
    double best = NOSCORE;
    replications_wanted = count;
    for (int i = 0; i < count && !userstop; ++i) {
        ranseed = seeds[i];
        randinit();
        int known = std::min(i + 1, CHECKEDSEEDS);
        xm.seed = seeds[i + 1] = nextseed(seeds + i + 1 - known, known);
        current_replication = i;
        int first = current_treenum = trees_in_mem;
        maxtrees = std::min(trees_in_mem + hold, realmaxtrees);
        double score = replication(seeds[i], hold, constrains(i, which));
        if (score >= NOSCORE) break;
        store_result(first, score);
        if (xmult_autoconst) {
            treecopy(anx, xm.prevtsp);
            xm.havetsp = true;
        }
        xm.began = true;
        best = std::min(best, score);
        tellbest(score);
        report_search_status(score);
        record_search_status(xreport_status_trees, trees_in_mem, score);
    }
    current_replication = -1;
    return best;
}

double do_retouch()
{
    keepseed seedguard;
    ranseed = xm.seed;
    randinit();
    xm.seed = std::max(1, rand());
    ranseed = -1;
    double best = NOSCORE;
    int last = trees_in_mem;
    for (int t = xm.startsaveas; t < last && !userstop; ++t) {
        if (trees_in_mem >= realmaxtrees) {
            setxmulfull();
            break;
        }
        schgettree(mem_tree[t]);
        double score = sectors_and_walks(treechk[t].score, -1, 0);
        full_store_tree(anx, trees_in_mem);
        best = std::min(best, score);
        tellbest(score);
        report_search_status(score);
    }
    return best;
}
