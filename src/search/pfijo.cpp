#include "search/pfijo.h"
#include "search/cycles.h"
#include "search/drift.h"
#include "search/fuse.h"
#include "search/keeptrees.h"
#include "search/moves.h"
#include "search/pertswap.h"
#include "search/rseed.h"
#include "search/sectdata.h"
#include "search/sectsel.h"
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
#include "kernel/silence.h"
#include "trees/implied.h"
#include "trees/pack.h"
#include "trees/scratch.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdlib>

double ratssconcav = 50, ratss_fitd = 3, ratss_rfitd = 0.1;
int ratssminsels = 30, ratssgoback, ratsskeepall = 1, ratss_autofuse, ratss_autofuse_fuses = 3;
int ratss_driftcycles = 4, ratsschunksize = 500;

// --- what stands for a subtree ------------------------------------------------------------

int pick_standin(int number, int r)
{
    return int(ratssconcav / (r + 1.0 + ratssconcav) * number);
}

static const int *standins;          // per node; while a piece opens

static int standinof(int node) { return standins[node]; }

// A node at or above node, the base of a subtree: those near the base come first.
static int randomnode(int base, int *list)
{
    constexpr int PERCENT = 100;
    int n = 0;
    list[n++] = base;
    for (int i = 0; i < n; ++i)
        if (list[i] >= ntax)
            for (int d : { lef[list[i]], rig[list[i]] }) list[n++] = d;
    return list[pick_standin(n, rand() % PERCENT)];
}

static int terminaloutside(int base, int *list)
{
    hiscratch scratch;
    uint8_t *below = zhi<uint8_t>(hinod);
    int n = 0, outside = 0;
    list[n++] = base;
    for (int i = 0; i < n; ++i) {
        below[list[i]] = 1;
        if (list[i] >= ntax)
            for (int d : { lef[list[i]], rig[list[i]] }) list[n++] = d;
    }
    n = 0;
    for (int t = 0; t < ntax; ++t)
        if (!below[t]) list[n++] = t;
    return n ? list[rand() % n] : outside;
}

bool pinon_fijo_make_small_matrix(const division *d, int k)
{
    hiscratch scratch;
    int *list = hi<int>(hinod), *standin = hi<int>(hinod);
    binmksis(anx);
    mark_piece(d, k);
    for (int n = 0; n < hinod; ++n) standin[n] = n;
    for (int n = ntax + 1; n < hinod; ++n) {
        if (d->piece[n] != k) continue;
        for (int des : { lef[n], rig[n] })
            if (des >= ntax && d->piece[des] != k) standin[des] = randomnode(des, list);
    }
    int outgroup_of_piece = terminaloutside(d->base[k], list);
    standins = standin;
    return make_small_matrix(d->base[k], d->size[k], standinof, outgroup_of_piece);
}

// --- a piece ------------------------------------------------------------------------------

// Trees of new starts are fused with the one that the piece has.
static void searchpiece()
{
    constexpr int STARTS = 3, FUSES = 3;
    hiscratch scratch;
    keepseed seedguard;
    int *list[1 + STARTS + FUSES], count = 0;
    for (int *&tree : list) tree = zhi<int>(nodz);
    treecopy(sectree, list[count++]);
    for (int i = 0; i < STARTS && !userstop; ++i) {
        if (!wagner_if_possible(anx, std::max(1, rand()))) continue;
        if (userstop) break;
        ranseed = -1;
        tbrswap(anx, 0, 0);
        treecopy(anx, list[count++]);
    }
    if (userstop) return;
    struct fuseguard {
        int was = skip_seed_nit;
        fuseguard() { skip_seed_nit = 1; }
        ~fuseguard() { skip_seed_nit = was; }
    } guard;
    dofuse(&count, list, FUSES, 0.0);
    double best = NOSCORE;
    treecopy(list[clean_and_score(count, list, &best)], sectree);
}

void effect_pinon_fijo()
{
    constexpr int VARIATION = 5, FEWEST = 2;
    hiscratch scratch;
    int pieces = std::max(FEWEST, ntax / ratsschunksize + rand() % VARIATION), average = ntax / pieces;
    int most = (105 + rand() % 35) * average / 100, least = (65 + rand() % 30) * average / 100;
    division d;
    divide_tree(&d, tree_top(anx), nullptr, { std::max(least, LEAST_REDUCED), std::max(most, LEAST_REDUCED) }, hinod, false);
    for (int k = 0; k < d.pieces && !userstop; ++k) {
        curalg = ALG_PINON;
        report_search_status(overall_bestscore);
        if (userstop || !pinon_fijo_make_small_matrix(&d, k)) continue;
        {
            silence quiet(NOTHING);
            searchpiece();
        }
        rezertree(0);
    }
}

// --- the run ------------------------------------------------------------------------------

namespace {
struct pinonrun {
    int storebase;               // trees of the run are in the buffer from here on
    double best;
    int *kept;                   // the best tree
    int cycles;                  // completed
};
}

static bool storing() { return ratsskeepall || ratss_autofuse; }

static void settle(pinonrun *r, double score)
{
    if (score < r->best) {
        r->best = score;
        treecopy(anx, r->kept);
        overall_bestscore = std::min(overall_bestscore, score);
    }
    if (storing() && trees_in_mem < maxtrees) full_store_tree(anx, trees_in_mem);
}

static void driftwhole(pinonrun *r)
{
    struct limits {
        double s = suboptimal, f = relative_suboptimal;
        ~limits() { suboptimal = s, relative_suboptimal = f; }
    };
    for (int i = 0; i < ratss_driftcycles && !userstop; ++i) {
        {
            limits guard;
            suboptimal = ratss_fitd;
            relative_suboptimal = ratss_rfitd;
            curalg = ALG_DRIFT;
            perttbrswap(anx, 1, dftshift, 0);
        }
        curalg = ALG_TBR;
        settle(r, tbrswap(anx, 0, 0));
    }
}

static void fusecycles(pinonrun *r)
{
    hiscratch scratch;
    int count, **list = copytrees(r->storebase, INT_MAX, ratss_autofuse_fuses, &count);
    if (count < 2) return;
    curalg = ALG_FUSING;
    double score = dofuse(&count, list, ratss_autofuse_fuses, 0.0);
    changed_sets_elsewhere();
    if (!lessthan(score, r->best)) return;
    schgettree(list[clean_and_score(count, list, &score)]);
    settle(r, score);
    report_search_status(r->best);
}

// Room for the trees of one more cycle.
static bool haveroom(const pinonrun *r)
{
    if (!storing() || trees_in_mem < maxtrees) return true;
    if (!r->cycles) myp("To continue pinon fijo, increase max. trees to %i or more", trees_in_mem + 1 + ratss_driftcycles);
    joinem("Stopping pinon fijo (increase max. trees to continue)\n", nullptr);
    return false;
}

double pinon_fijo(int *tree)
{
    hiscratch scratch;
    pinonrun r = { trees_in_mem, 0, hi<int>(hinod), 0 };
    int *start = hi<int>(hinod);
    if (tree != anx) schgettree(tree);
    double now = r.best = schoptimize(anx, 1);
    treecopy(anx, r.kept);
    overall_bestscore = std::min(overall_bestscore, now);
    for (; r.cycles < ratssminsels && !userstop && haveroom(&r); ++r.cycles) {
        current_replication = r.cycles;
        treecopy(anx, start);
        effect_pinon_fijo();
        curalg = ALG_TBR;
        double score = tbrswap(anx, 0, 0);
        settle(&r, score);
        driftwhole(&r);
        score = schoptimize(anx, 1);
        if (ratssgoback && lessthan(now, score)) treecopy(start, anx);
        else now = score;
        if (ratss_autofuse && (r.cycles + 1) % ratss_autofuse == 0 && !userstop) fusecycles(&r);
        report_search_status(r.best);
    }
    treecopy(r.kept, tree);
    if (!ratsskeepall) drop_longer_than(r.storebase, -1);
    return r.best;
}

// --- options ------------------------------------------------------------------------------

static void readphtus()
{
    double k = gtdouble();
    if (k <= 0 || k > 100) errmsg("Give constant for prob. of basal htu's ( 0 < K <= 100)", nullptr);
    ratssconcav = 1000 - 10 * k;
}

static void readautofuse()
{
    long n = gtnu();
    if (n < 0) errmsg("Must give number of cycles between autofuses (0=none)", nullptr);
    ratss_autofuse = int(std::min<long>(n, INT_MAX));
    if (!isdigit(peep())) return;
    constexpr int MOSTFUSES = 100;
    n = gtnu();
    if (n < 1 || n > MOSTFUSES) myerr("Rounds of fusing must be 1-%i", MOSTFUSES);
    ratss_autofuse_fuses = int(n);
}

static void readdrift()
{
    long n = gtnu();
    if (n < 0) errmsg("Expected number of drift cycles", nullptr);
    ratss_driftcycles = int(std::min<long>(n, INT_MAX));
    for (double *limit : { &ratss_fitd, &ratss_rfitd }) {
        if (!isdigit(peep()) && peep() != '.') return;
        *limit = gtdouble();
    }
}

static void readchunksize()
{
    constexpr int LEAST = 10, MOST = 100000;
    long n = gtnu();
    if (n < LEAST || n > MOST) myerr("Expected chunk size (10-%i)", MOST);
    ratsschunksize = int(n);
}

static bool running;                     // the options follow a '='

// Pieces take their room from that for sectors.  A run has its image already: for the next one.
static void readslack()
{
    long n = gtnu();
    if (n < 0 || n > 100) errmsg("Extra memory must be a number between 0 and 100", nullptr);
    mem_slack_for_sectors = int(n);
    if (!running) wipetag(&schtag);
}

static const optrow pfijoopts[] = {
    optcall("phtus", readphtus, "K: probability that the basal nodes of a subtree stand for it, above 0, up to 100\n(default 95)"),
    optnumber("numsels", &ratssminsels, 1, 99999, "cycles"),
    optflag("goback", &ratssgoback, "go back to the tree before a cycle when it ends with a worse one"),
    optflag("keepall", &ratsskeepall, "save trees as cycles proceed"),
    optcall("autofuse", readautofuse, "N R: fuse the trees found in R rounds (default 3), every N cycles; 0 = do not (default)"),
    optcall("drift", readdrift, "N F R: N times in each cycle (default 4), drift the whole tree, with absolute and relative\n"
            "fit difference F and R (default 3 and 0.1)"),
    optcall("chunksize", readchunksize, "N: taxa of a piece (10 to 100000, default 500)"),
    optcall("slack", readslack, "N: per cent of extra memory for the next packing (0 to 100, default 0)"),
    optend()
};

bool set_ratss_options()
{
    if (peep() == ';') return false;
    readoptions(pfijoopts, "Wrong argument for pinon fijo: %s");
    if (peep() != ';') myerr("Wrong argument for pinon fijo: %c", peep());
    return true;
}

void show_ratss_options()
{
    myp("Pinon fijo:\n"
        "     * %i cycles, pieces of about %i taxa\n"
        "     * probability of basal nodes %g\n"
        "     * drift the whole tree %i times (fit difference %g, relative %g)\n"
        "     * %s when a cycle ends with a worse tree\n"
        "     * %s", ratssminsels, ratsschunksize, (1000 - ratssconcav) / 10, ratss_driftcycles, ratss_fitd, ratss_rfitd,
        ratssgoback ? "go back" : "go on", ratsskeepall ? "save trees as cycles proceed" : "keep only the best tree");
    if (ratss_autofuse) myp("     * fuse trees every %i cycles, %i rounds", ratss_autofuse, ratss_autofuse_fuses);
}

// --- the command --------------------------------------------------------------------------

static double runon(int t)
{
    current_treenum = t;
    int *best = hi<int>(nodz);
    schgettree(mem_tree[t]);
    treecopy(anx, best);
    double score = pinon_fijo(best);
    just_store_tree(best, t);
    treechk[t].score = score;
    return score;
}

void pinon_fijocom()
{
    long only = -1;
    int c = peep();
    if (isdigit(c)) {
        only = gtnu();
        c = peep();
    }
    if (c != ';' && c != '=' && (c != ':' || only >= 0)) myerr("Wrong argument for pinon fijo: %c", c);
    if (c != ';') {
        running = gtnb() == '=';
        if (!set_ratss_options() && c == ':') show_ratss_options();
        if (c == ':') return;
    }
    nodaterror("searching");
    if (actlandnc) errmsg("Cannot run pinon fijo for landmark data", nullptr);
    if (dopiwe && doautowt) errmsg("Cannot run pinon fijo under auto-weighted optimization", nullptr);
    notreeerror();
    if (only >= trees_in_mem) numtreeerror(only);
    chkfusing();
    keepseed seedguard;
    hiscratch scratch;
    randinit();
    ranseed = -1;                        // the generator runs on
    replications_wanted = ratssminsels;
    overall_bestscore = NOSCORE;
    double best = NOSCORE;
    int last = only < 0 ? trees_in_mem : int(only) + 1;
    for (int t = only < 0 ? 0 : int(only); t < last && !userstop; ++t) best = std::min(best, runon(t));
    erdil();
    best = std::min(best, clean_mem_trees("resulting", ratsskeepall ? NOSCORE : suboptimal));
    settle_found_trees("pinon_fijo");
    if (userstop) joinem("Search was interrupted...\n", nullptr);
    myp("Pinon Fijo, best score: %s.", scoretext(best).c_str());
    show_numrearrangs();
}

const comhelp pfijohelp = {
    "Perturb large pieces of the trees, and swap them: pinon fijo.", pfijoopts,
    "Each cycle divides the tree in large pieces and searches each of them, with the states\n"
    "of a node drawn at random in place of each subtree that hangs from it.  The whole tree is\n"
    "then swapped and drifted.\n"
    "  pfijo ;           run from each tree in memory, with the present options\n"
    "  pfijo N ;         run from tree N only; also pfijo N = WORDS ;\n"
    "  pfijo = WORDS ;   set options, and run\n"
    "  pfijo : WORDS ;   set options only; without options, show them\n"
    "Examples:\n"
    "  pfijo 0 = numsels 2 drift 1 ;\n"
    "  pfijo : chunksize 200 goback ;\n"
    "  pfijo : ;\n"
};
