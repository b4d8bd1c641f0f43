#include "search/mult.h"
#include "search/addseqopts.h"
#include "search/bbreak.h"
#include "search/keeptrees.h"
#include "search/limited.h"
#include "search/moves.h"
#include "search/ratchet.h"
#include "search/rseed.h"
#include "search/setup.h"
#include "search/spr.h"
#include "search/status.h"
#include "search/swapper.h"
#include "search/tbr.h"
#include "search/wagner.h"
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
#include "trees/treebuf.h"
#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <cstdlib>

multsettings mults = { 10, 10, MULT_TBR, 0, 0, 0 };

// --- one replication ----------------------------------------------------------------------

static double runswapper(int first, int mulpars)
{
    curalg = mults.swapper == MULT_TBR ? ALG_TBR : ALG_SPR;
    return mults.swapper == MULT_TBR ? tbrswap(anx, first, mulpars) : sprswap(anx, first, mulpars);
}

// Swaps every tree of the replication, those that turn up meanwhile too, until its room is full.
// The limit is that of the replication: a suboptimal tree does not bring in its own neighbours as
// far again.
static double swapmany(int first, double score)
{
    set_suboptimal_limit(score);
    for (int t = first; t < trees_in_mem && !userstop; ++t) {
        current_treenum = t;
        schgettree(mem_tree[t]);
        double now = runswapper(first, 1);
        if (lessthan(now, score)) {             // the trees from first on are new
            score = now;
            if (bufferfull()) replace_worst_tree(anx, first, score);       // of suboptimal trees, perhaps
            t = swapped_slot == first ? first : first - 1;
        }
        if (bufferfull()) break;
    }
    return score;
}

// The swapped tree walks on; what the walks find goes to the room of the replication.
static double perturb(int first, int seed)
{
    if (!userstop) runswapper(first, 0);
    double score = 0, best = overall_bestscore;      // the walks tell of their own
    int cycles;
    full_store_tree(anx, first, &score);
    set_suboptimal_limit(score);
    if (mults.ratchet && !userstop) score = std::min(score, ratatree(anx, unsigned(seed), first, &cycles, 0));
    if (mults.drift && !userstop) score = std::min(score, dftree(anx, unsigned(seed), first, &cycles, 0));
    overall_bestscore = best;
    return score;
}

// From the Wagner tree in anx; its trees go to the buffer from first on.
static double replicate(int first, int seed)
{
    double score = 0;
    if (mults.swapper == MULT_NONE) {
        full_store_tree(anx, first, &score);
        return score;
    }
    if (!skip_spr_phase) {
        curalg = ALG_SPR;
        score = sprswap(anx, first, 0);
    }
    if (mults.ratchet || mults.drift) return perturb(first, seed);
    if (mults.hold == 1 && (mults.swapper == MULT_TBR || skip_spr_phase)) {
        // a tree that is kept already was swapped by the replication that found it
        if (!userstop && check_if_nutree(anx, first)) runswapper(first, 0);
        full_store_tree(anx, first, &score);
        return score;
    }
    bool isnew = full_store_tree(anx, first, &score);
    return isnew && mults.hold > 1 ? swapmany(first, score) : score;
}

// --- all of them --------------------------------------------------------------------------

struct runsettings {                 // what the run changes, put back however it ends
    int seed = ranseed;
    ~runsettings()
    {
        ranseed = seed;
        maxtrees = realmaxtrees;
    }
};

// The trees of a replication against those before: the buffer is cut back to what is good enough.
// A replication that was interrupted is not one of those that hit the best score.
static void judge(multresult *r, int first, double score)
{
    int hit = !userstop;
    if (r->best < NOSCORE && same_score(score, r->best)) r->hits += hit;
    else if (score < r->best) {
        r->best = overall_bestscore = score;
        r->hits = hit;
        if (!mults.keepall) drop_longer_than(0, score + suboptimal);
    } else if (!mults.keepall) drop_longer_than(first, r->best + suboptimal);
}

multresult runmult(int replications)
{
    multresult r = { 0, 0, NOSCORE, false, false };
    runsettings saved;
    char *mark = lomark();
    int *seeds = lo<int>(replications + 1);
    randinit();
    seeds[0] = rand();
    overall_bestscore = NOSCORE;
    replications_wanted = replications;
    for (int rep = 0; rep < replications && !userstop; ++rep) {
        int first = trees_in_mem;
        if ((r.full = first >= realmaxtrees)) break;
        current_replication = rep;
        current_treenum = first;
        curalg = ALG_WAGNER;
        wagner(anx, seeds[rep]);
        int next = get_slopy_seeds() ? int((unsigned(seeds[rep]) + unsigned(get_slopy_seeds())) & INT_MAX) : rand();
        seeds[rep + 1] = get_slopy_seeds() ? next : chkseed(seeds, rep + 1, next);
        if (userstop) break;
        ranseed = -1;
        suboptimal_limit = NOSCORE;
        maxtrees = std::min(first + mults.hold, realmaxtrees);
        double score = replicate(first, seeds[rep]);
        r.overflowed |= mults.hold > 1 && bufferfull();
        maxtrees = realmaxtrees;
        if (!userstop) ++r.completed;
        judge(&r, first, score);
        report_search_status(score);
        record_search_status(xreport_status_reps, rep + 1, score);
    }
    loset(mark);
    return r;
}

// --- the command --------------------------------------------------------------------------

static void readreplic()
{
    long n = gtnu();
    if (n < 0) errarg(peep());
    if (n > MAXREPLICS) myerr("Can't do %i random addition sequences (max=%i)", int(std::min<long>(n, INT_MAX)), MAXREPLICS);
    mults.replic = int(n);
}

static const optrow multopts[] = {
    optcall("replic", readreplic, "N: random addition sequences (0 to 100000, default 10)"),
    optnumber("hold", &mults.hold, 1, INT_MAX, "trees kept of each sequence"),
    optstore("tbr", &mults.swapper, MULT_TBR, "swap with TBR"),
    optstore("spr", &mults.swapper, MULT_SPR, "swap with SPR"),
    optstore("wagner", &mults.swapper, MULT_NONE, "no swapping: only Wagner trees"),
    optflag("keepall", &mults.keepall, "keep the trees of all sequences, not only the best"),
    optnumber("outfreq", &user_cuts_for_report, 0, INT_MAX, "clips between status reports; 0 = automatic"),
    optcall("ras", ras, "add taxa in random order (default)"),
    optcall("cas", cas, "N: add next the taxon of least cost, of N (all) at random"),
    optcall("fas", fas, "N: add next the taxon of highest cost, of N (all) at random"),
    optcall("sas", sas, "N: add next the taxon with most between its best and worst place, of N (all)"),
    optcall("ias", ias, "N: add next the taxon that makes most characters informative, of N (all)"),
    optstore("noratchet", &mults.ratchet, 0, "no ratchet"),
    optstore("nodrift", &mults.drift, 0, "no drifting"),
    optnumber("wclus", &cluster_wagner, 0, INT_MAX, "N: after N taxa, Wagner trees try branches by clusters; 0 = never"),
    optstore("nowclus", &cluster_wagner, 0, "Wagner trees without clusters"),
    optstore("ratchet", &mults.ratchet, 1, "each tree, once swapped, goes through the cycles of \"ratchet\""),
    optstore("drift", &mults.drift, 1, "each tree, once swapped, goes through the cycles of \"drift\""),
    optend()
};

void show_mult_options()
{
    static const char *const swappers[] = { "none", "SPR", "TBR" };
    myp("Random addition sequences:\n"
        "     * %i replications, keeping up to %i trees each\n"
        "     * swapper: %s\n"
        "     * %s\n"
        "     * %s", mults.replic, mults.hold, swappers[mults.swapper],
        mults.keepall ? "keep the trees of all replications" : "keep only the best trees", sequencetext());
    if (mults.ratchet) myp("     * ratchet on each swapped tree");
    if (mults.drift) myp("     * drifting from each swapped tree");
    if (cluster_wagner) myp("     * Wagner trees with node-clusters after %i taxa", cluster_wagner);
}

static void readmultoptions()
{
    readoptions(multopts, "Wrong argument for mult: %s");
    if (peep() != ';') myerr("Wrong argument for mult: %c", peep());
}

static void warnroom(int reps)
{
    int room = maxtrees - trees_in_mem;
    if (mults.swapper == MULT_NONE) {
        if (reps > room) mywarn("Doing %i wagner trees may fill memory (available treespace is %i)", reps, room);
    } else if (double(reps) * mults.hold > room)
        mywarn("%i reps. with %i trees each exceeds available treespace (%i)\n"
               "Search may have to be interrupted if tree-buffer is filled", reps, mults.hold, room);
}

static void reportmult(const multresult &r, double best)
{
    if (userstop) joinem("Search was interrupted...\n", nullptr);
    else myp("Completed %i random addition sequences.", r.completed);
    if (r.full) myp("\nNOTE: Search terminated after replication %i (tree buffer full)", r.completed);
    show_numrearrangs();
    if (mults.swapper != MULT_NONE) notelimit();
    if (collapse_level >= COLL_RULE1 && suboptimal > 0)
        myp("Note: some trees of different length may become identical if collapsed.");
    static const char *const swappers[] = { "", " (SPR):", " (TBR):" };
    myp("Best score hit %i times out of %i%s.\nBest score%s %s.  %i trees retained.", r.hits, r.completed,
        r.overflowed ? " (some replications overflowed)" : "", swappers[mults.swapper], scoretext(best).c_str(), trees_in_mem);
}

void multcom()
{
    int reps = -1, c = peep();
    if (c == ':' || c == '=') {
        gtnb();
        if (c == ':' && peep() == ';') return show_mult_options();
        readmultoptions();
        if (c == ':') return;
    } else if (isdigit(c)) {
        multsettings saved = mults;
        readreplic();
        reps = mults.replic;
        mults = saved;
        if (gotc('=')) readmultoptions();
        if (peep() != ';') myerr("Wrong argument for mult: %c", peep());
    } else if (c != ';') myerr("Wrong argument for mult: %c", c);
    if (reps < 0) reps = mults.replic;
    nodaterror("searching");
    warnroom(reps);
    multresult r = runmult(reps);
    erdil();
    double best = r.best;                // trees that were in memory before may be better
    for (int t = 0; t < trees_in_mem; ++t) best = std::min(best, treechk[t].score);
    if (!same_score(best, r.best)) r.hits = 0;
    if (autocollapse_searches) quick_clean_mem_trees(best);
    else clean_mem_trees("resulting", mults.keepall ? NOSCORE : suboptimal);
    settle_found_trees("random_addseqs");
    reportmult(r, best);
}

const comhelp multhelp = {
    "Search with random addition sequences and branch swapping.", multopts,
    "Each replication builds a tree adding the taxa in random order, swaps it, and\n"
    "keeps the trees found.  Only the best trees of all replications are retained.\n"
    "  mult N ;         do N replications (this time); mult N = WORDS ; sets options\n"
    "                   as well\n"
    "  mult = WORDS ;   set options, and search\n"
    "  mult : WORDS ;   set options only; without options, show them\n"
    "  mult ;           search with the present options\n"
    "Examples:\n"
    "  mult 20 ;\n"
    "  mult = replic 50 hold 5 ;\n"
    "  mult : spr keepall ;\n"
};
