// The ratchet.  Weights change which cells of the image are worth having, so the matrix is packed anew under them,
// on top of the image of the search, which waits meanwhile.
#include "search/ratchet.h"
#include "search/cycles.h"
#include "search/drift.h"
#include "search/moves.h"
#include "search/pertswap.h"
#include "search/sectdata.h"
#include "search/setup.h"
#include "search/status.h"
#include "search/tbr.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/options.h"
#include "kernel/output.h"
#include "trees/implied.h"
#include "trees/pack.h"
#include "trees/scratch.h"
#include <algorithm>
#include <cassert>
#include <climits>
#include <cstdlib>

int ratiters = 50, ratshift = 40, ratequals = 1, ratupfact = 4, ratdnfact = 4, rathard, ratgiveupperc = 99;
int ratfusefreq, ratfuserounds = 3, ratfusedump = 1, dotradrat;
double ratstop;

// --- weights ------------------------------------------------------------------------------

static bool chosen(int percent)
{
    constexpr int PERCENT = 100;
    return percent > rand() % PERCENT;
}

static void up()
{
    for (int c = nc - 1; c >= 0; --c)
        if (chosen(ratupfact)) charcodes[c].weight *= 2;
}

// Without its members a set would be of another size, and its fit of another curve.
static void down()
{
    for (int c = nc - 1; c >= 0; --c) {
        if (dopiwe && xdopiwe_stat && in_wtset(c)) continue;
        if (chosen(ratdnfact)) charcodes[c].weight = 0;
    }
}

void ratwts(int mode)
{
    if (mode == 0 && ratequals) return;
    if (mode == 1 && ratupfact && ratdnfact) down();
    else if (ratupfact) up();
    else if (ratdnfact) down();
}

// --- images -------------------------------------------------------------------------------

static void packsilently()
{
    struct silence {
        int report = report_status, warns = allow_extra_sch_mem;
        silence()  { report_status = allow_extra_sch_mem = 0; }
        ~silence() { report_status = report, allow_extra_sch_mem = warns; }
    } quiet;
    do_full_pack(1, 1);
}

namespace {
// The weights as they were, and the image under them, come back however a perturbation ends.  Packing also counts
// what is in weighting sets.
struct trueweights {
    hiscratch memory;
    int *weights = hi<int>(size_t(nc));
    int nsets = xdopiwe_setlist ? xdopiwe_numsets + 1 : 0;
    wtset *sets = hi<wtset>(size_t(nsets));
    char *mark = lomark();
    const void *image = store_open_sector();      // the other one is laid on top
    bool perturbed = true;

    trueweights()
    {
        for (int c = 0; c < nc; ++c) weights[c] = charcodes[c].weight;
        std::copy_n(xdopiwe_setlist, nsets, sets);
    }
    void putback()
    {
        perturbed = false;
        for (int c = 0; c < nc; ++c) charcodes[c].weight = weights[c];
        std::copy_n(sets, nsets, xdopiwe_setlist);
        reset_open_sector(image);
    }
    ~trueweights()                   // of an image left in the middle of something nothing is known
    {
        if (!perturbed) return;
        putback();
        wipetag(&schtag);
    }
};
}

// --- a cycle ------------------------------------------------------------------------------

static int period() { return ratupfact && ratdnfact && ratequals ? 3 : 2; }

static void walk(int *tree)
{
    struct falsescores {
        falsescores()  { perturbating = 1, emulating_tradrat = dotradrat; }
        ~falsescores() { perturbating = emulating_tradrat = 0; }
    } guard;
    if (dotradrat) tbrswap(tree, 0, 0);
    else perttbrswap(tree, 0, ratshift, ratgiveupperc);
}

static void perturb(int *tree, int cycle)
{
    int mode = (ratequals ? 0 : 1) + cycle % period();
    if (!mode || (!ratupfact && !ratdnfact)) return walk(tree);
    trueweights truth;
    ratwts(mode);
    packsilently();
    walk(tree);
    truth.putback();
    loset(truth.mark);
}

double ratatree(int *tree, unsigned seed, int storebase, int *cyclesdone, int report)
{
    if (!ratequals && !ratupfact && !ratdnfact)
        errmsg("Ratchet must do at least one of equals, up, or down --all three are off!", nullptr);
    assert(ntax == realntax);
    const cycling kind = { ratiters, rathard, ratstop, ratfusefreq, ratfuserounds, 1, ratfusedump, ALG_RATCHET, perturb, nullptr, nullptr };
    return runcycles(kind, tree, seed, storebase, cyclesdone, report);
}

void update_giveup_scores(double score) { ratstop = dftstop = score; }

// --- options ------------------------------------------------------------------------------

static void tradrat()
{
    dotradrat = 1;
    ratequals = 0;
}
static void fusefreq()    { readfusefreq(&ratfusefreq, &ratfuserounds); }
static void nofindscore() { ratstop = 0; }

static const optrow ratopts[] = {
    optasked("iterations", &ratiters, 0, MAXCYCLES, "cycles", "Give number of rat iterations", "Can't do %i ratchet iterations (max=100000)"),
    optasked("numsubs", &ratshift, 0, MAXSUBSTITUTIONS, "rearrangements accepted that end a perturbation phase",
             "Give number of ratchet substitutions", "Can't do %i ratchet substitutions (max=1000000)"),
    optflag("equals", &ratequals, "a cycle with the original weights comes in turn"),
    optasked("upfactor", &ratupfact, 0, INT_MAX, "per cent probability of doubling a weight", "Give ratchet up factor"),
    optasked("downfactor", &ratdnfact, 0, INT_MAX, "per cent probability of setting a weight to 0", "Give ratchet down factor"),
    optstore("noautoconst", &rathard, 0, "no auto-constrained cycles"),
    optasked("autoconst", &rathard, 0, INT_MAX,
             "of N cycles all but one keep, while they swap, the groups that the perturbation left alone; 0 = none",
             "Give number of constrained ratchet cycles"),
    optstore("nogiveup", &ratgiveupperc, 0, "perturbation phases do not give up"),
    optasked("giveup", &ratgiveupperc, 0, 100, "per cent of a full swap after which a perturbation phase gives up; 0 = never",
             "Give percentage of full swap to complete", "Percentage can't be %i (must be 0-100)"),
    optcall("nofindscore", nofindscore, "no score to stop at"),
    optrealasked("findscore", &ratstop, 0, INT_MAX, "stop at this score or better; 0 = no stop", "Give stopping score (0 = no stop)"),
    optstore("nofusefreq", &ratfusefreq, 0, "no fusing"),
    optcall("fusefreq", fusefreq, "NxR: fuse the trees found every N cycles (3 to 100; 0, the default, never), in R rounds (1 to 100, default 3)"),
    optflag("dumpfuse", &ratfusedump, "when fusing finds nothing better, drop suboptimal trees"),
    optcall("tradrat", tradrat, "traditional ratchet: swap perturbed weights to completion; turns \"equals\" off"),
    optstore("notradrat", &dotradrat, 0, "short perturbation phases"),
    optend()
};

int set_rat_options() { return readoptions(ratopts, "Unidentified string in ratchet options: %s"); }

void show_rat_options()
{
    myp("Ratchet settings:");
    if (dotradrat) myp("     * Doing traditional ratchet");
    else showcyclesettings(ratiters, ratshift);
    myp("     * equally weighted cycle:%s", ratequals ? " yes" : " no");
    myp("     * Probability of up-weighting: %i", ratupfact);
    myp("     * Probability of down-weighting: %i", ratdnfact);
    showcycletail(rathard, ratstop, ratgiveupperc);
    if (ratfusefreq) myp("     * Doing %i rounds of fusing, every %i iterations", ratfuserounds, ratfusefreq);
}

// --- the command --------------------------------------------------------------------------

void ratchetcom()
{
    static const cyclecommand command = { "ratchet", "ratchet", "ratchet iterations completed",
                                          "Can't do %i ratchet iterations (max=100000)", &ratiters, &rathard,
                                          set_rat_options, show_rat_options, ratatree, nullptr };
    runcyclecommand(command);
}

const comhelp ratchethelp = {
    "Improve a tree by the ratchet.", ratopts,
    "From the first tree in memory, each cycle swaps for a short while with weights changed\n"
    "at random, then with TBR under the true weights.  The best trees found are kept.\n"
    "  ratchet N ;         do N cycles (this time)\n"
    "  ratchet = WORDS ;   set options, and run\n"
    "  ratchet : WORDS ;   set options only; without options, show them\n"
    "  ratchet ;           run with the present options\n"
    "With both factors, cycles with the original weights, with weights set to 0, and with\n"
    "weights doubled take turns.\n"
    "Examples:\n"
    "  ratchet 5 ;\n"
    "  ratchet = iterations 4 upfactor 0 downfactor 10 ;\n"
    "  ratchet : fusefreq 5x2 autoconst 2 ;\n"
};
