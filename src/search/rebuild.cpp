// Rebuilding of trees, the command and its engine.
#include "search/rebuild.h"
#include "search/addseq.h"
#include "search/constraints.h"
#include "search/keeptrees.h"
#include "search/limited.h"
#include "search/moves.h"
#include "search/setup.h"
#include "search/status.h"
#include "search/tbr.h"
#include "search/wagner.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/options.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "kernel/random.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <cctype>
#include <climits>

rebuildsettings rebuild_settings = { 10, 20 };

// --- a cycle ------------------------------------------------------------------------------

void takeout(int *tree, const int *list, int n)
{
    char *mark = himark();
    int *old = hi<int>(hinod), *left = zhi<int>(hinod), *number = hi<int>(hinod);
    treecopy(tree, old);
    binmksis(old);
    int nodes = binoptlist(optlist);
    for (int t = 0; t < ntax; ++t) left[t] = 1;
    for (int i = 0; i < n; ++i) left[list[i]] = 0;
    for (int i = nodes - 1; i >= 0; --i) left[optlist[i]] = (left[lef[optlist[i]]] > 0) + (left[rig[optlist[i]]] > 0);
    std::fill(tree, tree + hinod, 0);
    int next = ntax;
    for (int i = 0; i < nodes; ++i)
        if (left[optlist[i]] == 2) number[optlist[i]] = next++;
    for (int k = 0; k < hinod; ++k) {
        if (k == ntax || (k < ntax ? !left[k] : left[k] < 2)) continue;
        int up = old[k];
        while (left[up] < 2) up = old[up];
        tree[k < ntax ? k : number[k]] = number[up];
    }
    tree[ntax] = next;
    hiset(mark);
}

void do_the_rebuild(int *tree)
{
    constexpr int STAY = 2;                  // besides terminal 0
    char *mark = himark();
    int *list = hi<int>(ntax), n = std::clamp((ntax - 1) * rebuild_settings.percent / 100, 1, ntax - 1 - STAY);
    quick_randomlist(ntax, list, 0, 0);      // terminal 0 in front
    takeout(tree, list + 1, n);
    rebuild_wagner(tree, list + 1, n);
    hiset(mark);
}

namespace {
struct runningseed {                         // the generator runs on
    int seed = ranseed;
    runningseed() { randinit(), ranseed = -1; }
    ~runningseed() { ranseed = seed; }
};
}

double rebuild_tree(int *tree, int first, int cycles, int *done)
{
    runningseed running;
    char *mark = himark();
    int *work = hi<int>(hinod);
    double best = schoptimize(tree, 1);
    curalg = ALG_REBUILD;
    replications_wanted = cycles;
    for (*done = 0; *done < cycles && !userstop; ++*done) {
        current_replication = *done;
        treecopy(tree, work);
        do_the_rebuild(work);
        if (userstop) break;
        double score = tbrswap(work, 0, 0);
        if (!lessthan(best, score)) treecopy(work, tree);
        if (lessthan(score, best)) {
            best = overall_bestscore = score;
            reorganize_treechklist(first, score);
            set_suboptimal_limit(best);
        }
        if (!lessthan(best + suboptimal, score) && trees_in_mem < maxtrees) full_store_tree(work, trees_in_mem);
        report_search_status(score);
    }
    current_replication = -1;
    hiset(mark);
    return best;
}

// --- the command --------------------------------------------------------------------------

static const optrow rebuildopts[] = {
    optnumber("cycles", &rebuild_settings.cycles, 0, MAXREBUILDS, "cycles to do"),
    optnumber("percent", &rebuild_settings.percent, 1, 90, "percentage of the taxa that each cycle takes out and puts back"),
    optend()
};

void show_rebuild_settings()
{
    myp("Rebuild settings:\n     * %i cycles\n     * taking out %i%% of the taxa", rebuild_settings.cycles, rebuild_settings.percent);
}

static int readcycles()                      // -1: settings only
{
    int c = peep();
    if (c == ';') return rebuild_settings.cycles;
    if (isdigit(c)) {
        long n = gtnu();
        if (n > MAXREBUILDS) myerr("Can't do %i rebuild cycles (max=%i)", int(std::min<long>(n, INT_MAX)), MAXREBUILDS);
        if (peep() != ';') errarg(peep());
        return int(n);
    }
    if (c != ':' && c != '=') errarg(c);
    gtnb();
    if (peep() == ';') show_rebuild_settings();
    readoptions(rebuildopts, "Unidentified string in rebuild options: %s");
    if (peep() != ';') errarg(peep());
    return c == ':' ? -1 : rebuild_settings.cycles;
}

static int besttree()
{
    int best = 0;
    for (int t = 1; t < trees_in_mem; ++t)
        if (treechk[t].score < treechk[best].score) best = t;
    return best;
}

void rebuildcom()
{
    int cycles = readcycles(), done = 0;
    if (cycles < 0) return;
    nodaterror("searching");
    if (constraints_in_force()) errmsg("Sorry, cannot rebuild trees with constraints", nullptr);
    notreeerror();
    constexpr int LEAST = 4;                 // three stay
    if (ntax < LEAST) myerr("Rebuilding requires %i or more active taxa", LEAST);
    schgettree(mem_tree[besttree()]);
    double best = rebuild_tree(anx, 0, cycles, &done);
    erdil();
    best = clean_mem_trees("resulting", suboptimal);
    settle_found_trees("rebuilding");
    if (userstop) joinem("Search was interrupted...\n", nullptr);
    myp("%i rebuild cycles completed", done);
    show_numrearrangs();
    notelimit();
    std::string limit = suboptimal > 0 ? "-" + scoretext(best + suboptimal) : "";
    myp("Saved %i trees of score %s%s", trees_in_mem, scoretext(best).c_str(), limit.c_str());
}

const comhelp rebuildhelp = {
    "Improve a tree by taking taxa out and putting them back.", rebuildopts,
    "From the best tree in memory, each cycle takes some taxa out at random, adds them\n"
    "again where they cost least, and swaps with TBR; a tree that is no worse is where the\n"
    "next cycle starts.  Not with constraints.\n"
    "  rebuild N ;         do N cycles (this time)\n"
    "  rebuild = WORDS ;   set options, and rebuild\n"
    "  rebuild : WORDS ;   set options only; without options, show them\n"
    "  rebuild ;           rebuild with the present options\n"
    "Examples:\n"
    "  rebuild 20 ;\n"
    "  rebuild = cycles 5 percent 30 ;\n"
};
