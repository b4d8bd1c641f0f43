// Settings of driven searches: their values at the start, the words that change them, and how they are shown.
#include "search/xmultset.h"
#include "search/addseqopts.h"
#include "search/hybrid.h"
#include "search/status.h"
#include "search/xmult.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/options.h"
#include "kernel/output.h"
#include <algorithm>
#include <cctype>
#include <climits>

int xmult_replications = 4, xmult_hits = 1, xmult_update = 1, xmult_rss = 1, xmult_css = 1, xmult_xss, xmult_fuse = 1;
int xmult_gfuse, xmult_hfuse, xmult_dumpfuse, num_rebuilds, xmult_drift = 5, xmult_ratchet, xmult_hold = 1;
int xmult_autoconst = 1, xmult_xmix, xmult_prvmix, xmult_consense, xmult_conbase = 10, xmult_confactor = 75, xmult_conmax = 12;
int xmult_keepall, xmult_retouch, xmult_chklevel, change_by_level, xmult_multiply = 1, xmult_verbose, dotreehyb;
int driver_autoselect_ga, xmul_filter;
double xmult_targetscore = -1, xmult_giveupscore = -1, curlevel = 1.5, level_change_val = 0.25, hybrid_extra_repls_factor = 5;
double driver_autoselect_limit = 1.5;
std::vector<uint8_t> contaxex;

// --- options with rules of their own ------------------------------------------------------

static void readlevel()
{
    double level = gtdouble();
    if (level < 0) errmsg("Give search level", nullptr);
    if (level > 10) myerr("Can't set search level to %.2f (level must be 0-10)", level);
    long taxa = isdigit(peep()) ? gtnu() : datatag ? numactive() : 0;
    if (taxa > 0) calculate_search_parms(level, int(std::min<long>(taxa, INT_MAX / 2)));
    else curlevel = level;                       // nothing follows from it without taxa
}

static void readchklevel()
{
    bool bylevel = gotc('+');
    if (bylevel) {
        double change = gtdouble();
        if (change <= 0 || change >= 2) errmsg("Change of level (C) must 0 < C < 2 ", nullptr);
        level_change_val = change;
    }
    long n = gtnu();
    if (n < 0) errmsg("Give number of hits to re-check search level", nullptr);
    change_by_level = bylevel;
    xmult_chklevel = int(std::min<long>(n, INT_MAX));
}

static void readhybrid()
{
    if (gotc('x')) {
        double factor = gtdouble();
        if (factor < 1) errmsg("Factor for extra initial builds under hybridization must be 1 or more", nullptr);
        hybrid_extra_repls_factor = factor;
    }
    dotreehyb = 1;
}

static void readpicktype()
{
    double limit = gtdouble();
    if (limit >= 0) driver_autoselect_limit = limit;
    driver_autoselect_ga = 1;
}

static void readscore(double *to, const char *missing)
{
    double score = gtdouble();
    if (score < 0) errmsg(missing, nullptr);
    *to = score ? score : -1;
}
static void readtarget()  { readscore(&xmult_targetscore, "Give target score (0 = no initial target)"); }
static void readgiveup()  { readscore(&xmult_giveupscore, "Give score to give up (0 = no give up score)"); }
static void notarget()    { xmult_targetscore = -1; }
static void nogiveup()    { xmult_giveupscore = -1; }

// Searches that share their findings with others do so under a master process; here there is none.
static void readpcoord()
{
    constexpr int KINDS = 5;
    long kind = gtnu();
    if (kind < 0 || kind >= KINDS) errmsg("Value for pccord must be either: 0, 1, 2, 3, or 4", nullptr);
    if (gotc(':')) gtnu();
    while (gotc('*') || gotc('&')) {}
    joinem("\nN.B.: option \"pcoord\" is invalid in this context; it will be ignored\n", nullptr);
}

// --- the table ----------------------------------------------------------------------------

static const optrow xmultopts[] = {
    optasked("replications", &xmult_replications, 1, INT_MAX, "replications of a hit", "Give initial number of replications"),
    optasked("hits", &xmult_hits, 1, INT_MAX, "hits to the best score, or to the target", "Give number of hits to do"),
    optcall("targetscore", readtarget, "N: score to hit; 0 = no target at first (default)"),
    optcall("notargetscore", notarget, "no target at first (default)"),
    optflag("update", &xmult_update, "a better score is the target from then on, and the hits before count no more"),
    optcall("giveupscore", readgiveup, "N: the search ends as soon as this score is reached; 0 = none (default)"),
    optcall("nogiveupscore", nogiveup, "no score at which the search ends (default)"),
    optflag("rss", &xmult_rss, "random sectorial searches"),
    optflag("css", &xmult_css, "sectorial searches by constraints, in replications that are constrained"),
    optflag("xss", &xmult_xss, "exclusive sectorial searches"),
    optstore("nofuse", &xmult_fuse, 0, "no tree fusing"),
    optasked("fuse", &xmult_fuse, 1, 100, "rounds of tree fusing", "Give number of fuses to do (1-100)"),
    optstore("nogfuse", &xmult_gfuse, 0, "no global fusing"),
    optasked("gfuse", &xmult_gfuse, 2, 100, "hits after which all trees are fused", "Give number of hits to do global fusing (2-100)"),
    optstore("nohfuse", &xmult_hfuse, 0, "no global hybridization"),
    optasked("hfuse", &xmult_hfuse, 5, 100, "hits after which all trees are hybridized", "Give number of hits to do global hybridization (5-100)"),
    optflag("dumpfuse", &xmult_dumpfuse, "drop fused trees that miss the target"),
    optstore("norebuild", &num_rebuilds, 0, "no rebuilding"),
    optasked("rebuild", &num_rebuilds, 0, INT_MAX, "cycles of rebuilding", "Give number of rebuild cycles to do"),
    optstore("nodrift", &xmult_drift, 0, "no drifting"),
    optasked("drift", &xmult_drift, 0, 100000, "cycles of drifting", "Give number of drift iterations to do"),
    optstore("noratchet", &xmult_ratchet, 0, "no ratchet"),
    optasked("ratchet", &xmult_ratchet, 0, 100000, "cycles of the ratchet", "Give number of ratchet iterations to do"),
    optasked("hold", &xmult_hold, 1, INT_MAX, "trees kept of each replication", "Give number of trees to save per replication"),
    optstore("noautoconst", &xmult_autoconst, 0, "no auto-constraints"),
    optasked("autoconst", &xmult_autoconst, 1, 3, "keep the groups shared with the last replication: 1 after wagner, 2 spr, 3 tbr",
             "Give mix level (1=after wagner, 2=spr, 3=tbr)"),
    optflag("xmix", &xmult_xmix, "new replications after fusing that missed the target are constrained from the first one on"),
    optflag("prvmix", &xmult_prvmix, "with \"xmix\", the last tree in memory constrains the first replication"),
    optstore("noconsense", &xmult_consense, 0, "do not stabilize the consensus"),
    optasked("consense", &xmult_consense, 1, 10000, "times to stabilize the consensus", "Give number of times to stabilize consensus"),
    optasked("conbase", &xmult_conbase, 1, 100, "hits until the consensus is compared, at least", "Give base for consensus calculations (1-100)"),
    optasked("confactor", &xmult_confactor, 10, 100, "the same, as a percentage of the hits", "Give consensus factor (10-100)"),
    optstore("noconmax", &xmult_conmax, 0, "the consensus is compared after any number of hits"),
    optasked("conmax", &xmult_conmax, 5, 100, "the same, at most", "Give max. consensus hits (5-100)"),
    optflag("keepall", &xmult_keepall, "keep the trees of all replications"),
    optstore("noretouch", &xmult_retouch, 0, "no retouching"),
    optasked("retouch", &xmult_retouch, 0, INT_MAX, "times to improve trees that miss the target, before new ones are made",
             "Give number of times to retouch trees before new search"),
    optcall("level", readlevel, "N [T]: settings that suit level N (0 to 10, default 1.5) for T taxa (the active ones)"),
    optstore("nochklevel", &xmult_chklevel, 0, "the level is left alone"),
    optcall("chklevel", readchklevel, "[+F] N: every N hits look at the settings again, or raise or lower the level by F (default 0.25); 0 = never"),
    optflag("multiply", &xmult_multiply, "after a hit, more trees of the score by fusing"),
    optflag("verbose", &xmult_verbose, "tell what is done"),
    optstore("nohybrid", &dotreehyb, 0, "no hybridization"),
    optcall("hybrid", readhybrid, "[x F]: hybridization, of F times as many replications (1 or more, default 5)"),
    optstore("nopicktype", &driver_autoselect_ga, 0, "fusing or hybridization as told"),
    optcall("picktype", readpicktype, "N: hybridize trees that could exchange fewer groups than N (default 1.5), fuse others"),
    optasked("filter", &xmul_filter, 0, INT_MAX, "fusings that miss the target, after which only the best trees stay; 0 = never",
             "Give number of unsuccessful fuses to do filters"),
    optcall("pcoord", readpcoord, "N[:G][*&]: coordination of parallel searches; in slave processes only"),
    optcall("ras", ras, "add taxa in random order (default)"),
    optcall("cas", cas, "N: add next the taxon of least cost, of N (all) at random"),
    optcall("fas", fas, "N: add next the taxon of highest cost, of N (all) at random"),
    optcall("sas", sas, "N: add next the taxon with most between its best and worst place, of N (all)"),
    optcall("ias", ias, "N: add next the taxon that makes most characters informative, of N (all)"),
    optend()
};

static void readcontaxex()
{
    nodaterror("searching");
    char *mark = himark();
    uint8_t *list = zhi<uint8_t>(size_t(nt));
    read_scope(list, 0, nt, "taxon", taxname);
    contaxex.assign(list, list + nt);
    for (uint8_t &x : contaxex) x = x == LISTED;
    hiset(mark);
}

void set_xmult_options()
{
    readoptions(xmultopts, "Wrong search argument: %s", "/");
    if (gotc('/')) readcontaxex();
}

// --- shown --------------------------------------------------------------------------------

static const char *yesno(int flag) { return flag ? "yes" : "no"; }

static void showgenetic()
{
    if (driver_autoselect_ga) myp("     * hybridization below score %.3f, tree fusing above", driver_autoselect_limit);
    else if (dotreehyb) myp("     * hybridization, of %.2f times as many replications", hybrid_extra_repls_factor);
    if (xmult_fuse) myp("     * %i rounds of fusing%s", xmult_fuse, xmult_dumpfuse ? ", dropping what misses the target" : "");
    else myp("     * no fusing");
    if (xmult_gfuse) myp("     * fusing all trees every %i hits", xmult_gfuse);
    if (xmult_hfuse) myp("     * hybridizing all trees every %i hits", xmult_hfuse);
    if (xmul_filter) myp("     * keeping only the best trees after %i fusings without success", xmul_filter);
}

void show_xmult_options()
{
    static const char *const stages[] = { "no", "after wagner", "after SPR", "after TBR" };
    myp("Driven search settings:\n     * %i replications a hit, keeping up to %i trees each", xmult_replications, xmult_hold);
    myp("     * %i hits%s", xmult_hits, xmult_update ? " to the best score" : ", at any score");
    if (xmult_targetscore >= 0) myp("     * target score %s", scoretext(xmult_targetscore).c_str());
    if (xmult_giveupscore >= 0) myp("     * giving up at score %s", scoretext(xmult_giveupscore).c_str());
    myp("     * sectors: random %s, by constraints %s, exclusive %s", yesno(xmult_rss), yesno(xmult_css), yesno(xmult_xss));
    showgenetic();
    if (num_rebuilds) myp("     * %i cycles of rebuilding", num_rebuilds);
    if (xmult_ratchet) myp("     * %i ratchet iterations", xmult_ratchet);
    if (xmult_drift) myp("     * %i drift iterations", xmult_drift);
    myp("     * autoconstraints: %s%s%s", stages[xmult_autoconst], xmult_xmix ? ", mixing new replications" : "",
        xmult_prvmix ? ", and the last tree in memory" : "");
    if (xmult_retouch) myp("     * retouching trees %i times before new replications", xmult_retouch);
    if (xmult_consense)
        myp("     * stabilizing the consensus %i times (base %i hits, factor %i%%, at most %i hits)", xmult_consense, xmult_conbase,
            xmult_confactor, xmult_conmax);
    myp("     * search level %.2f", curlevel);
    if (xmult_chklevel && change_by_level) myp("     * changing the level by %.2f every %i hits", level_change_val, xmult_chklevel);
    else if (xmult_chklevel) myp("     * checking the settings every %i hits", xmult_chklevel);
    myp("     * %s, %s\n     * %s", xmult_keepall ? "keep all trees" : "keep only the best trees",
        xmult_multiply ? "multiply them by fusing" : "do not multiply them", sequencetext());
    if (auto out = std::count(contaxex.begin(), contaxex.end(), 1)) myp("     * %i taxa are left out of the consensus", int(out));
    if (xmult_verbose) myp("     * verbose reports");
}

const comhelp xmulthelp = {
    "Search with sectors, drifting, ratchet and tree fusing combined.", xmultopts,
    "Each hit is a number of replications (a Wagner tree, swapped, and improved by sectorial\n"
    "searches, drifting, or others), whose trees are fused; while they miss the target score,\n"
    "more replications follow.  The search ends after so many hits.\n"
    "  xmult ;           search with the present settings\n"
    "  xmult = WORDS ;   set options, and search\n"
    "  xmult : WORDS ;   set options only; without options, show them\n"
    "  xmult = WORDS / TAXA ;   these taxa are left out of the consensus\n"
    "Reading data sets what follows from level 1.5 and the number of taxa.\n"
    "Examples:\n"
    "  xmult = replications 2 hits 2 ;\n"
    "  xmult : level 3 ;\n"
    "  xmult = level 1 hits 1 consense 1 conbase 1 nodrift ;\n"
};
