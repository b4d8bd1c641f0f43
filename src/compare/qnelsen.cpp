// compare/qnelsen.cpp: the command qnelsen, a quick estimate of the consensus of all best trees.
//
// Groups that several independent searches, each of them too short to find best trees, all agree on
// are likely to be in all best trees as well (Goloboff and Farris 2001).
#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>
#include "compare/consread.h"
#include "compare/groups.h"
#include "compare/major.h"
#include "compare/qnelsen.h"
#include "compare/replicas.h"
#include "compare/strict.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/commands.h"
#include "kernel/comhelps.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/options.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "search/constraints.h"
#include "trees/collapse.h"
#include "trees/lightopt.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"

int estimate_replications = 15, estimate_cutoff = 85;
static int selected = 100, strictperc = 25;
static std::string searchtext = "mult1=ho1 tb norat;";

static int readpercent(int low, const char *complaint)
{
    long n = gtnu();
    if (n < low || n > 100) errmsg(complaint, nullptr);
    return int(n);
}

static void readreplications()
{
    long n = gtnu();
    if (n < 1 || n > INT_MAX - 4) errmsg("Must specify a number of repls. greater than zero", nullptr);
    estimate_replications = int(n);
}

static void readselect()  { selected = readpercent(0, "Must specify a percentage 0-100"); }
static void readstrict()  { strictperc = readpercent(0, "Must specify a percentage 0-100"); }
static void readmajor()   { estimate_cutoff = readpercent(50, "Must specify a cutoff percentage 0-100"); }

static const optrow qnelsenopts[] = {
    optcall("replications", readreplications, "N: searches to do, 1 or more (default 15)"),
    optcall("select", readselect, "N: of these, take those that are no worse than N per cent of the others, 0 to 100 "
                                  "(default 100: all)"),
    optcall("strictperc", readstrict, "N: of these, the best N per cent must share a group, 0 to 100 (default 25)"),
    optcall("majorcut", readmajor, "N: and more than N per cent of all must have it, 50 to 100 (default 85)"),
    optstore("allow", &allow_all_commands, 1, "let the search commands repeat searches themselves"),
    optend()
};

const comhelp qnelsenhelp = {
    "Estimate the consensus from repeated short searches.", qnelsenopts,
    "  qnelsen WORDS [ COMMANDS ] / L ;   do the searches, keep the strict consensus\n"
    "                 of each, and combine them into one tree, which replaces all\n"
    "                 trees in memory.  COMMANDS is what a search consists of, up to\n"
    "                 599 characters (at first: mult1=ho1 tb norat;); L are taxa left\n"
    "                 out of the consensuses, not of the searches\n"
    "  qnelsen ;      with the same as last time\n"
    "Numbers and commands stay for the next time.\n"
    "Examples:\n"
    "  qnelsen replications 5 ;\n"
    "  qnelsen replications 4 majorcut 75 [ mult1=spr; ] / 2 ;\n"
};

static uint8_t *readqnelsen()
{
    uint8_t *excluded = zhi<uint8_t>(nt);
    for (;;) {
        readoptions(qnelsenopts, "Unexpected symbol found on resampling options: %.1s", "[/");
        int c = gtnb();
        if (c == ';') break;
        if (c == '[') searchtext = readsearchtext();
        else if (c == '/') read_scope(excluded, 0, nt, "taxon", taxname);
        else myerr("Unexpected symbol found on resampling options: %c", c);
    }
    ungtch();
    for (int t = 0; t < nt; ++t) excluded[t] = excluded[t] == LISTED;
    return excluded;
}

static void checktaxa(const uint8_t *excluded)
{
    constexpr int LEAST = 4;
    int remain = 0;
    for (int t = 0; t < nt; ++t) remain += taxact[t] == 1 && !excluded[t];
    if (remain < LEAST)
        myerr("Cannot exclude so many taxa from consensus calculation (only %i remain)", remain);
}

// The results come to stand in memory, with the trees that are made of them behind.
static void makeroom(int results)
{
    int wanted = std::max(results + 1, 3);
    if (maxtrees < wanted && !try_maxtrees(wanted)) errmsg("No space to store new trees", nullptr);
}

static uint8_t *excludedcopy()
{
    uint8_t *copy = lo<uint8_t>(nt);
    memcpy(copy, replicaexcluded, nt);
    return copy;
}

// The score of the run and the strict consensus of its trees.
static void keepresult(int r)
{
    constexpr double NONE = 10000000000.0;
    if (!trees_in_mem) errmsg("Search commands of \"qnelsen\" found no trees", nullptr);
    optmem();
    replicascore[r] = NONE;
    for (int t = 0; t < trees_in_mem; ++t) replicascore[r] = std::min(replicascore[r], packdownpass(mem_tree[t]));
    char *mark = lomark();
    do_strict_for_jak(mem_tree, replicatree(r), trees_in_mem, nullptr, excludedcopy(), 1);
    loset(mark);
}

static void copytree(int *to, const int *from)
{
    if (to != from) memcpy(to, from, sizeof(int) * nodz);
}

// Of the others among the first n, the share whose score compares so with that of i.
template<class COMPARE> static int shareofothers(const double *scores, int n, int i, COMPARE compare)
{
    int others = 0;
    for (int j = 0; j < n; ++j) others += j != i && compare(scores[j], scores[i]);
    return int(int64_t(others) * 100 / n);
}

// Scores are read by position in both choices: the second reads those that belonged to the results
// before the first choice moved these.
int choose_estimates(int **results, int n, const double *scores, int select, int strict, int **aside, int *picked)
{
    int kept = 0;
    for (int i = 0; i < n; ++i)
        if (select == 100 || shareofothers(scores, n, i, [](double a, double b) { return a >= b; }) >= select)
            copytree(results[kept++], results[i]);
    for (int i = 0; i < kept; ++i) copytree(aside[i], results[i]);
    *picked = 0;
    for (int i = 0; i < kept; ++i)
        if (shareofothers(scores, kept, i, [](double a, double b) { return a <= b; }) < strict)
            copytree(results[(*picked)++], results[i]);
    return kept;
}

void combine_estimates(int **results, int kept, int picked, int *const *aside, const uint8_t *excluded, int cut)
{
    char *mark = lomark();
    uint8_t *out = lo<uint8_t>(nt);
    auto again = [&] { memcpy(out, excluded, nt); return out; };
    trees_in_mem = kept;
    do_strict_for_jak(results, results[kept], kept, nullptr, again(), 0);
    trees_in_mem = picked;
    copytree(results[0], results[picked]);
    trees_in_mem = 1;
    do_major_for_jak(aside, results[1], kept, nullptr, again(), cut);
    trees_in_mem = 2;
    do_strict_for_jak(results, results[2], 2, nullptr, again(), 0);
    copytree(results[0], results[2]);
    loset(mark);
}

static void estimate(int done)
{
    struct collapsingby {
        int was = collapse_consensuses;
        collapsingby() { if (is_swap_rule(current_collapsing_rule())) collapse_consensuses = 0; }   // results have polytomies
        ~collapsingby() { collapse_consensuses = was; }
    } guard;
    makeroom(done);
    preparecollapsing();
    int **aside = lo<int *>(done), picked;
    for (int r = 0; r < done; ++r) {
        copytree(mem_tree[r], replicatree(r));
        aside[r] = replicatree(r);
    }
    int kept = choose_estimates(mem_tree, done, replicascore, selected, strictperc, aside, &picked);
    if (!kept) errmsg("No trees specified", nullptr);
    combine_estimates(mem_tree, kept, picked, aside, replicaexcluded, estimate_cutoff);
    trees_in_mem = 0;
    trinc(nullptr, false);
    trees_in_mem = 1;
    recalctree = 1;
}

static void drawestimate(int excluded)
{
    std::string title = "Estimated consensus, " + std::to_string(countnodes(mem_tree[0]) - 1) + " nodes";
    if (excluded) title += " (" + std::to_string(excluded) + " taxa excluded)";
    if (constraints_in_force()) title += ", constrained";
    drawconsensus(mem_tree[0], title + ", saved as tree 0");
}

void qnelsencom()
{
    refuseinreplicas();
    nodaterror("searching");
    double started = now();
    struct notallowed {
        int was = allow_all_commands;
        ~notallowed() { allow_all_commands = was; }
    } guard;
    uint8_t *excluded = readqnelsen();
    checktaxa(excluded);
    refusecollapsing("qnelsen", true);
    if (autocollapse_searches) {
        warnem("Auto-collapse searches will be turned off to estimate consensus", nullptr);
        autocollapse_searches = 0;
    }
    int leftout = int(std::count(excluded, excluded + nt, 1)), done = 0;
    {
        replicaguard runs(estimate_replications, excluded);
        makeroom(estimate_replications);
        while (done < estimate_replications && !userstop) {
            jaking = 0;
            dildit(done, estimate_replications, "Estimating consensus");
            if (userstop) break;
            runreplica(done, searchtext.c_str());
            if (userstop && !trees_in_mem) break;
            prepare_collapsing();
            keepresult(done++);
        }
        if (!done) errmsg("Search commands of \"qnelsen\" found no trees", nullptr);
        jaking = 1;
        estimate(done);
    }
    erdil();
    drawestimate(leftout);
    myp("%.2f secs. to complete estimation", now() - started);
    if (constraints_in_force()) myp("Note: consensus estimated with currently defined constraints.");
    notime();
}
