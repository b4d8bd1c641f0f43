// The search of an open sector: small ones by a few addition sequences and TBR, others by drifting from
// the tree that they have, or by both and fusing.
#include "search/sectdata.h"
#include "search/drift.h"
#include "search/fuse.h"
#include "search/fuseval.h"
#include "search/keeptrees.h"
#include "search/moves.h"
#include "search/ratchet.h"
#include "search/sectrec.h"
#include "search/sectset.h"
#include "search/status.h"
#include "search/tbr.h"
#include "search/wagner.h"
#include "data/matrix.h"
#include "kernel/driver.h"
#include "kernel/output.h"
#include "kernel/random.h"
#include "trees/pack.h"
#include "trees/scratch.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <cstdlib>

double minianal_score_gain;

// What an analysis changes for its while.
struct analysisguard {
    int seed = ranseed, stage = curalg, report = report_status, skipped = skip_seed_nit;
    int iterations = dftiters, hard = dfthard, shown = change_trees_in_mem, trees = trees_in_mem;
    double stop = dftstop, subopt = suboptimal;
    bool settings;                   // those of searches too; what instructions set stays so
    explicit analysisguard(bool all) : settings(all) {}
    ~analysisguard()
    {
        ranseed = seed;
        curalg = stage;
        report_status = report;
        skip_seed_nit = skipped;
        if (!settings) return;
        dftiters = iterations;
        dfthard = hard;
        change_trees_in_mem = shown;
        trees_in_mem = trees;
        dftstop = stop;
        suboptimal = subopt;
    }
};

// The best so far is in sectree.
static struct { double start, best; bool changed, differs; } found;

static int newseed() { return std::max(1, rand()); }

static bool sametree(const int *a, const int *b)
{
    hiscratch scratch;
    int *x = hi<int>(hinod), *y = hi<int>(hinod);
    treecopy(a, x);
    treecopy(b, y);
    nodreset(x, nullptr);
    nodreset(y, nullptr);
    return std::equal(x + 1, x + hinod, y + 1);
}

static void consider(const int *tree, double score)
{
    found.differs |= !same_score(score, found.start);
    bool better = lessthan(score, found.best), equal = !better && sstakequals && same_score(score, found.best);
    if (!better && (!equal || sametree(tree, sectree))) return;
    treecopy(tree, sectree);
    if (better) found.best = score;
    found.changed = true;
}

// ---- Trees to be fused ----------------------------------------------------------------------------

struct treelist { int **trees = nullptr; int count = 0, fuses = 0; };

static void keep(treelist *l, const int *tree)
{
    if (l->trees) treecopy(tree, l->trees[l->count++]);
}

// Room for sectree, the starts and what fusing makes of them; at the high end of the arena.
static treelist startlist(int fuses, int starts)
{
    treelist l;
    size_t rows = size_t(fuses) + size_t(starts) + 1;
    constexpr size_t SPARED = 16384;
    if (!fuses) return l;
    if (rows * (size_t(hinod) * sizeof(int) + sizeof(int *) + 8) + pair_memory() + SPARED > vailram()) {
        warnem("Not enough memory to fuse trees for sectors\nNo fusing will be done", nullptr);
        num_fuses_all_starts = 0;
        return l;
    }
    l.trees = hi<int *>(rows);
    for (size_t i = 0; i < rows; ++i) l.trees[i] = hi<int>(size_t(hinod));
    l.fuses = fuses;
    keep(&l, sectree);
    return l;
}

static void fuselist(treelist *l)
{
    if (!l->trees || l->count < 2 || userstop) return;
    int before = l->count;
    skip_seed_nit = 1;
    curalg = ALG_FUSING;
    dofuse(&l->count, l->trees, l->fuses, 0);
    curalg = ALG_SECTORS;
    for (int i = before; i < l->count; ++i) consider(l->trees[i], schoptimize(l->trees[i], 1));
}

// ---- The three kinds ------------------------------------------------------------------------------

// A tree of its own in anx.  False when there is none: the constraints left no place, or the user wants to stop.
static bool newstart(double *score)
{
    if (!wagner_if_possible(anx, newseed()) || userstop) return false;
    ranseed = -1;
    *score = tbrswap(anx, 0, 0);
    return true;
}

static void severalstarts()
{
    hiscratch scratch;
    treelist list = startlist(num_fuses_all_starts, 2 * ssnumstarts);
    for (int i = 0; i < 2 * ssnumstarts && !userstop; ++i) {
        double score;
        if (i == ssnumstarts && !found.differs) break;
        if (!newstart(&score)) continue;
        consider(anx, score);
        keep(&list, anx);
    }
    fuselist(&list);
}

// Drifts the tree in a free place of the buffer, which the trees there do not notice.
static double drifttree(int *tree)
{
    int cycles;
    int *place = mem_tree[trees_in_mem];
    change_trees_in_mem = trees_in_mem++;
    dftiters = ssdriftcycles;
    treecopy(tree, place);
    double score = dftree(place, unsigned(newseed()), -1, &cycles, 0);
    treecopy(place, tree);
    --trees_in_mem;
    return score;
}

static bool room_for_drifting()
{
    if (trees_in_mem < realmaxtrees) return true;
    setxmulfull();
    return false;
}

static void driftedstarts()
{
    constexpr int FUSES = 3;
    hiscratch scratch;
    treelist list = startlist(num_fuses_all_starts ? num_fuses_all_starts : FUSES, sscombstarts);
    for (int i = 0; i < sscombstarts && !userstop; ++i) {
        double score;
        if (!newstart(&score)) continue;
        if (!userstop) score = drifttree(anx);
        consider(anx, score);
        keep(&list, anx);
    }
    fuselist(&list);
}

static void drifted()
{
    treecopy(sectree, anx);
    ranseed = -1;
    double score = drifttree(anx);
    consider(anx, score);
}

static void instructed()
{
    hiscratch scratch;
    int *tree = hi<int>(hinod);
    treecopy(sectree, tree);
    auto mine = found;               // sectors within this one use it meanwhile
    bool any = run_user_instructions(tree);
    found = mine;
    if (any) consider(tree, schoptimize(tree, 1));
}

bool minianal(int flag)
{
    analysisguard guard(!flag);
    found.best = found.start = schoptimize(sectree, 1);
    found.changed = found.differs = false;
    minianal_score_gain = 0;
    curalg = ALG_SECTORS;
    if (flag) instructed();
    else {
        report_status = 0;
        dfthard = 0;
        dftstop = suboptimal = 0;
        bool combined = ssgotocomb && ntax >= ssgotocomb;
        if (!combined && ntax < ssgotodrift) severalstarts();
        else if (!room_for_drifting()) return false;
        else if (combined) driftedstarts();
        else drifted();
    }
    minianal_score_gain = found.start - found.best;
    return found.changed;
}
