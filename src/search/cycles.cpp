// The frame of ratchet and drift, and of their commands.
#include "search/cycles.h"
#include "search/constpack.h"
#include "search/fuse.h"
#include "search/keeptrees.h"
#include "search/limited.h"
#include "search/moves.h"
#include "search/rseed.h"
#include "search/setup.h"
#include "search/status.h"
#include "search/tbr.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "kernel/random.h"
#include "trees/scratch.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdlib>
#include <string>

constexpr int FEWTOFUSE = 2;                  // new trees with which it is not worth while

namespace {
struct cyclerun {
    const cycling &kind;
    int *tree, storebase;
    double best;
    int *kept;                   // the best tree, without a store
    int sincefuse, fusemark;     // cycles since the last fusing; trees from the mark on are new since
};

struct limitguard {
    double was = suboptimal_limit;
    ~limitguard() { suboptimal_limit = was; }
};
}

static bool stored(const cyclerun &r)  { return r.storebase >= 0; }
static bool last(const cyclerun &r, int cycle) { return cycle == r.kind.iterations - 1; }

// Searches that use this one for a part of the data, or of their work, tell of their own scores.
static void tellbest(double score)
{
    if (ntax == realntax && !ss_recurse_level && !xmulting) overall_bestscore = score;
}

// A tree for which there is no room goes, unless it is better than all before.
static void store(const cyclerun &r, const int *tree, double score, bool better)
{
    if (trees_in_mem < maxtrees) {
        full_store_tree(tree, trees_in_mem);
        return;
    }
    if (better) replace_worst_tree(tree, r.storebase, score);
}

static void keep(cyclerun &r, double score)
{
    bool better = lessthan(score, r.best), asgood = !lessthan(r.best, score);
    if (asgood) {
        r.best = std::min(r.best, score);
        tellbest(r.best);
    }
    if (!stored(r)) {
        if (asgood) treecopy(r.tree, r.kept);
        return;
    }
    if (better && !r.kind.fusefreq) {
        reorganize_treechklist(r.storebase, score);
        r.fusemark = std::min(r.fusemark, trees_in_mem);
    }
    if (r.kind.fusefreq || !lessthan(r.best + suboptimal, score)) store(r, r.tree, score, better);
}

// --- fusing -------------------------------------------------------------------------------

int **copytrees(int first, int room, int rounds, int *count)
{
    constexpr size_t SHARE = 4;               // of the free memory
    size_t affordable = vailram() / SHARE / (size_t(nodz) * sizeof(int));
    int most = int(std::min<size_t>(affordable, INT_MAX)) - rounds;
    *count = std::max(0, std::min({ trees_in_mem - first, room - rounds, most }));
    int **list = hi<int *>(size_t(*count) + size_t(rounds));
    for (int i = 0; i < *count + rounds; ++i) list[i] = zhi<int>(size_t(nodz));
    for (int i = 0; i < *count; ++i) {
        const int *from = mem_tree[first + i];
        for (int n = 0; n < hinod; ++n) list[i][n] = n == ntax ? hinod : from[n] & NODEBITS;
    }
    return list;
}

// Returns the best score of the trees that come out.
static double fusetrees(cyclerun &r)
{
    hiscratch scratch;
    int count;
    int **list = copytrees(r.storebase, maxtrees, r.kind.fuserounds, &count);
    if (count <= FEWTOFUSE) return NOSCORE;
    int stage = curalg;
    double score = dofuse(&count, list, r.kind.fuserounds, r.kind.stopscore);
    curalg = stage;
    changed_sets_elsewhere();
    bool better = lessthan(score, r.best);
    if (!better && !r.kind.dumpfuse) return score;
    if (better) {
        r.best = score;
        tellbest(score);
        report_search_status(score);
        reorganize_treechklist(r.storebase, score);
    } else drop_longer_than(r.storebase, r.best + suboptimal);     // the best may not have been in the list
    for (int i = 0; i < count; ++i) {
        double found = schoptimize(list[i], 1);
        if (!lessthan(r.best, found)) store(r, list[i], found, better);
    }
    return score;
}

static double fuseifdue(cyclerun &r, int cycle)
{
    const cycling &k = r.kind;
    double score = NOSCORE;
    if (!k.fusefreq || !stored(r)) return score;
    if (!k.counts || k.counts(cycle)) ++r.sincefuse;
    if (r.sincefuse != k.fusefreq && !last(r, cycle)) return score;
    if (trees_in_mem - r.fusemark > FEWTOFUSE) {
        score = fusetrees(r);
        r.sincefuse = k.fusehead;
    }
    r.fusemark = trees_in_mem;
    return score;
}

// --- the cycles ---------------------------------------------------------------------------

static double onecycle(cyclerun &r, int cycle)
{
    const cycling &k = r.kind;
    bool constrains = k.hard && cycle % k.hard && !last(r, cycle);
    if (constrains) treecopy(r.tree, bufprvtree);
    k.perturb(r.tree, cycle);
    if (userstop) return schoptimize(r.tree, 1);
    if (!constrains) return tbrswap(r.tree, 0, 0);
    temporary_constraint hold(bufprvtree, r.tree);
    return tbrswap(r.tree, 0, 0);
}

double runcycles(const cycling &kind, int *tree, unsigned seed, int storebase, int *cyclesdone, int report)
{
    keepseed seedguard;
    limitguard limit;
    hiscratch scratch;
    int *seeds = hi<int>(size_t(kind.iterations) + 1);
    ranseed = int(seed);
    randinit();
    seeds[0] = rand();
    cyclerun r{ kind, tree, storebase, schoptimize(tree, 1), hi<int>(hinod), kind.fusehead, trees_in_mem };
    treecopy(tree, r.kept);
    set_suboptimal_limit(r.best);
    curalg = kind.stage;
    if (report) replications_wanted = kind.iterations;
    int i = 0;
    for (bool on = true; i < kind.iterations && on && !userstop;) {
        ranseed = seeds[i];
        randinit();
        seeds[i + 1] = nextseed(seeds, i + 1);
        ranseed = -1;
        if (report) current_replication = i;
        double score = onecycle(r, i);
        keep(r, score);
        if (report) {
            report_search_status(score);
            record_search_status(xreport_status_reps, i + 1, score);
        }
        if (userstop) break;
        score = std::min(score, fuseifdue(r, i));
        on = !reached_score(score, kind.stopscore) && !(kind.enough && kind.enough(i));
        ++i;
    }
    if (cyclesdone) *cyclesdone = i;
    if (!stored(r)) treecopy(r.kept, tree);
    return r.best;
}

// --- options ------------------------------------------------------------------------------

void readfusefreq(int *freq, int *rounds)
{
    constexpr int LEAST = 3, MOST = 100;
    long n = gtnu();
    if (n < 0 || n > MOST || (n && n < LEAST)) errmsg("Give frequency for auto-fusing (3-100, no fusing = 0 )", nullptr);
    if (gotc('x')) {
        long r = gtnu();
        if (r < 1 || r > MOST) errmsg("Give number of rounds for auto-fusing (1-100)", nullptr);
        *rounds = int(r);
    }
    *freq = int(n);
}

void showcyclesettings(int iterations, int substitutions)
{
    myp("     * %i iterations", iterations);
    myp("     * %i substitutions (no more than %i tree-rearrangements\n       accepted in perturbation phase)", substitutions,
        substitutions);
}

void showcycletail(int hard, double stop, int giveup)
{
    myp("     * Autoconstrained cycles: %i", hard);
    if (stop) myp("     * Stopping when score %s found", scoretext(stop).c_str());
    if (giveup) myp("     * Stopping when %i%% of perturbation phase completed", giveup);
}

// --- the commands -------------------------------------------------------------------------

static void readcycleoptions(const cyclecommand &c)
{
    if (!c.setoptions() && peep() == ';') c.showoptions();
    if (peep() != ';') myerr("Wrong argument for %s: %c", c.name, peep());
}

// What is to be done, for this time or always; -1: only settings.
static int readcycles(const cyclecommand &c)
{
    int n = -1, ch = peep();
    if (isdigit(ch)) {
        long wanted = gtnu();
        if (wanted > MAXCYCLES) myerr(c.toomany, int(std::min<long>(wanted, INT_MAX)));
        n = int(wanted);
        if (gotc('=')) readcycleoptions(c);
    } else if (ch == ':' || ch == '=') {
        gtnb();
        readcycleoptions(c);
        if (ch == ':') return -1;
    }
    if (peep() != ';') myerr("Wrong argument for %s: %c", c.name, peep());
    return n < 0 ? *c.iterations : n;
}

void runcyclecommand(const cyclecommand &c)
{
    int cycles = readcycles(c), done = 0;
    if (cycles < 0) return;
    nodaterror("searching");
    notreeerror();
    schgettree(mem_tree[0]);
    overall_bestscore = -1;
    current_treenum = 0;
    struct iterationsguard {
        int *where, was;
        ~iterationsguard() { *where = was; }
    } guard{ c.iterations, *c.iterations };
    *c.iterations = cycles;
    c.engine(anx, unsigned(ranseed), 0, &done, 1);
    current_replication = -1;
    erdil();
    double best = clean_mem_trees("resulting", suboptimal);
    settle_found_trees(c.group);
    if (userstop) joinem("Search was interrupted...\n", nullptr);
    myp("%i %s%s", done, c.completed, *c.hard ? " (autoconstrained)" : "");
    if (c.note) c.note();
    show_numrearrangs();
    notelimit();
    std::string limit = suboptimal > 0 ? "-" + scoretext(best + suboptimal) : "";
    myp("Saved %i trees of score %s%s", trees_in_mem, scoretext(best).c_str(), limit.c_str());
}
