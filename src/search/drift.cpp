// Drifting.
#include "search/drift.h"
#include "search/cycles.h"
#include "search/moves.h"
#include "search/pertswap.h"
#include "search/ratchet.h"
#include "search/status.h"
#include "data/matrix.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/input.h"
#include "kernel/options.h"
#include "kernel/output.h"
#include <algorithm>
#include <climits>

int dftiters = 30, dftshift = 60, dftgiveupperc = 99, dftnumflat, dftflatshift = 60, dfttakequals = 1, dft_skippert, dfthard;
int dftfusefreq, dftfuserounds = 3, dftfusedump = 1;
double dftmaxabs = 1, dftmaxrel = 0.2, dftrflat, dftstop;

static bool island;              // the last run ended because no tree is as good as its neighbour

// --- a cycle ------------------------------------------------------------------------------

static bool wholedata() { return ntax == realntax; }
static bool isflat(int cycle) { return cycle < dftnumflat && wholedata(); }

// A sector is small, and has few rearrangements to offer.
static int substitutions(int cycle)
{
    constexpr int LEAST = 25;
    if (isflat(cycle)) return dftflatshift;
    return wholedata() ? dftshift : std::max(LEAST, std::min(dftshift, ntax / 2));
}

static void perturb(int *tree, int cycle)
{
    int numsubs = substitutions(cycle);
    if (dft_skippert || (cycle % 2 == 0 && dfttakequals)) {
        perttbrswap(tree, 0, numsubs, dftgiveupperc);
        return;
    }
    struct limits {
        double s = suboptimal, r = relative_suboptimal;
        ~limits() { suboptimal = s, relative_suboptimal = r; }
    } guard;
    suboptimal = dftmaxabs;
    relative_suboptimal = isflat(cycle) ? dftrflat : dftmaxrel;
    perttbrswap(tree, 1, numsubs, dftgiveupperc);
}

static bool alonehere(int)      { return island |= dft_skippert && single_tree_island; }
static bool countsforfuse(int cycle) { return !isflat(cycle); }

double dftree(int *tree, unsigned seed, int storebase, int *cyclesdone, int report)
{
    island = false;
    const cycling kind = { dftiters, dfthard, dftstop, dftfusefreq, dftfuserounds, 0, dftfusedump,
                           wholedata() ? ALG_DRIFT : curalg, perturb, alonehere, countsforfuse };
    return runcycles(kind, tree, seed, storebase, cyclesdone, report);
}

// --- options ------------------------------------------------------------------------------

static void fusefreq()    { readfusefreq(&dftfusefreq, &dftfuserounds); }
static void nofindscore() { ratstop = 0; }      // not that of drifting, which findscore 0 clears

static const optrow dftopts[] = {
    optasked("iterations", &dftiters, 0, MAXCYCLES, "cycles", "Give number of drift iterations", "Can't do %i drift cycles (max=100000)"),
    optasked("numsubs", &dftshift, 0, MAXSUBSTITUTIONS, "rearrangements accepted that end a perturbation phase",
             "Give number of drift substitutions", "Can't do %i drift substitutions (max=1000000)"),
    optstore("nogiveup", &dftgiveupperc, 0, "perturbation phases do not give up"),
    optasked("giveup", &dftgiveupperc, 0, 100, "per cent of a full swap after which a perturbation phase gives up; 0 = never",
             "Give percentage of full swap to complete", "Percentage can't be %i (must be 0-100)"),
    optrealasked("xfactor", &dftxfactor, 0, INT_MAX, "the higher, the more suboptimal trees are accepted", "Give maximum factor"),
    optrealasked("fitdiff", &dftmaxabs, 0, INT_MAX, "how much worse a tree accepted may be", "Give maximum fit difference"),
    optrealasked("rfitdiff", &dftmaxrel, 0, INT_MAX, "and by how much of relative fit difference", "Give maximum relative fit difference"),
    optasked("flat", &dftnumflat, 0, INT_MAX, "cycles at the start that have the limits of \"rflat\" and \"flatnumsubs\"",
             "Give number of \"flat\" iterations"),
    optrealasked("rflat", &dftrflat, 0, INT_MAX, "relative fit difference in flat cycles",
                 "Give relative fit difference for \"flat\" iterations"),
    optasked("flatnumsubs", &dftflatshift, 0, MAXSUBSTITUTIONS, "rearrangements accepted that end a flat perturbation phase",
             "Give number of drift substitutions", "Can't do %i drift substitutions (max=1000000)"),
    optflag("equals", &dfttakequals, "every other cycle accepts no suboptimal trees"),
    optstore("nopert", &dft_skippert, 1, "no cycle accepts suboptimal trees"),
    optstore("pert", &dft_skippert, 0, "cycles accept suboptimal trees"),
    optstore("noautoconst", &dfthard, 0, "no auto-constrained cycles"),
    optasked("autoconst", &dfthard, 0, INT_MAX,
             "of N cycles all but one keep, while they swap, the groups that the perturbation left alone; 0 = none",
             "Give number of constrained drift cycles"),
    optcall("nofindscore", nofindscore, "no score at which the ratchet stops"),
    optrealasked("findscore", &dftstop, 0, INT_MAX, "stop at this score or better; 0 = no stop", "Give stopping score (0 = no stop)"),
    optstore("nofusefreq", &dftfusefreq, 0, "no fusing"),
    optcall("fusefreq", fusefreq, "NxR: fuse the trees found every N cycles (3 to 100; 0, the default, never), in R rounds (1 to 100, default 3)"),
    optflag("dumpfuse", &dftfusedump, "when fusing finds nothing better, drop suboptimal trees"),
    optend()
};

int set_dft_options() { return readoptions(dftopts, "Unidentified string in drift options: %s"); }

void show_dft_options()
{
    myp("Settings for tree-drifting:");
    showcyclesettings(dftiters, dftshift);
    if (dft_skippert) myp("     * Accepting only optimal trees in perturbation phase (=wander around)");
    else {
        myp("     * Max. absolute fit diff.: %g", dftmaxabs);
        myp("     * Max. relative fit diff.: %.2f", dftmaxrel);
        if (dftnumflat)
            myp("     * First %i iterations only accept trees within RFD %.2f\n       and realize %i substitutions (instead of %i)",
                dftnumflat, dftrflat, dftflatshift, dftshift);
        myp("     * Rejection factor for suboptimal trees: %.2f", dftxfactor);
    }
    showcycletail(dfthard, dftstop, dftgiveupperc);
    if (dftfusefreq) myp("     * Doing %i dounds of fusing, every %i iterations", dftfuserounds, dftfusefreq);
}

// --- the command --------------------------------------------------------------------------

static void display_island_message()
{
    if (island) myp("NOTE: Island has a single tree (no need to continue unperturbated drift)");
}

void driftcom()
{
    static const cyclecommand command = { "drift", "drifting", "drift cycles completed", "Can't do %i drift cycles (max=100000)",
                                          &dftiters, &dfthard, set_dft_options, show_dft_options, dftree, display_island_message };
    runcyclecommand(command);
}

const comhelp drifthelp = {
    "Improve a tree by drifting.", dftopts,
    "From the first tree in memory, each cycle swaps for a short while accepting trees that\n"
    "are as good, or by chance a little worse, then with TBR.  The best trees found are\n"
    "kept.\n"
    "  drift N ;         do N cycles (this time)\n"
    "  drift = WORDS ;   set options, and run\n"
    "  drift : WORDS ;   set options only; without options, show them\n"
    "  drift ;           run with the present options\n"
    "Examples:\n"
    "  drift 5 ;\n"
    "  drift = iterations 4 fitdiff 2 rfitdiff 0.3 ;\n"
    "  drift : nopert fusefreq 5x2 ;\n"
};
