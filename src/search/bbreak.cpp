#include "search/bbreak.h"
#include "search/andlists.h"
#include "search/cliporder.h"
#include "search/keeptrees.h"
#include "search/limited.h"
#include "search/moves.h"
#include "search/setup.h"
#include "search/spr.h"
#include "search/status.h"
#include "search/swapper.h"
#include "search/tbr.h"
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
#include <algorithm>
#include <climits>
#include <cstdio>
#include <string>

int skip_spr_phase, use_late_plandsch_errmarg;
bbreaksettings bbreaks = { 1, 1, 0 };

// --- swapping all trees -------------------------------------------------------------------

struct runningseed {              // the generator runs on during a search
    int seed = ranseed;
    runningseed()
    {
        if (randomize_clipping_sequence) randinit();
        ranseed = -1;
    }
    ~runningseed() { ranseed = seed; }
};

// The tree to swap after tree i.  Better trees took the place of all; or, with suboptimal trees,
// another tree stands where this one stood, or this one has come to lie beyond the limit.
static int nexttree(int i, bool improved)
{
    if (suboptimal > 0) {
        i = now_being_swapped;
        now_being_swapped = -1;
        int before = trees_in_mem;
        bool toolong = treechk[i].score > suboptimal_limit;
        drop_longer_than(0, suboptimal_limit);
        if (toolong && trees_in_mem < before) return i;
        return swap_was_replaced ? i : i + 1;
    }
    if (improved) return swapped_slot == 0 ? 1 : 0;
    return i + 1;
}

static double swaptree_in_place(int i)
{
    schgettree(mem_tree[i]);
    if (use_prearrangs) use_prearrangs = 2;
    double score = bbreaks.usetbr ? tbrswap(anx, 0, 0) : sprswap(anx, 0, 0);
    if (!same_score(score, treechk[i].score)) replace_kept_tree(anx, i, score);
    return score;
}

bbreakresult runbbreak(double startscore)
{
    bbreakresult r = { startscore, -1 };
    runningseed running;
    set_suboptimal_limit(startscore);
    curalg = bbreaks.usetbr ? ALG_TBR : ALG_SPR;
    for (int i = 0; i < trees_in_mem && !userstop;) {
        if (bbreaks.mulpars && bbreaks.fillonly && bufferfull()) {
            r.unswapped = i;
            break;
        }
        current_treenum = i;
        double score;
        if (bbreaks.mulpars) {
            now_being_swapped = suboptimal > 0 ? i : -1;
            schgettree(mem_tree[i]);
            score = bbreaks.usetbr ? tbrswap(anx, 0, maxtrees) : sprswap(anx, 0, maxtrees);
        } else score = swaptree_in_place(i);
        if (suboptimal > 0) score = std::min(score, score_of_limit());
        bool improved = lessthan(score, r.best);
        if (improved) r.best = overall_bestscore = score;
        if (userstop) break;
        i = bbreaks.mulpars ? nexttree(i, improved) : i + 1;
        record_search_status(xreport_status_trees, i, score);
    }
    now_being_swapped = -1;
    quick_clean_mem_trees(r.best);
    return r;
}

// --- options ------------------------------------------------------------------------------

static bool settingonly;         // the options follow a ':'

static void readlimit()
{
    long n = gotc('-') ? -1 : gtnu();
    if (n < 0) errmsg("TBR move limit must be 0 (no limit) or greater", nullptr);
    tbr_distlim = int(std::min<long>(n, INT_MAX));
}

static void readclustersize()
{
    constexpr int LEAST = 3, MOST = 1000;
    if (!settingonly) errmsg("Clustersize can be changed only with the \":\" option", nullptr);
    long n = gtnu();
    if (n < LEAST || n > MOST) myerr("Cannot set clustersize to %i (must be 3-1000)\n", int(std::min<long>(n, INT_MAX)));
    int active = datatag ? numactive() : 0;
    if (active && n > active) mywarn("A clustersize larger than number of active taxa (%i) may be unsafe\n", active);
    clustersize = int(n);
    wipetag(&schtag);
    myp("Clustersize: %i nodes", clustersize);
}

static void setbits(int bits)
{
    if (!settingonly) errmsg("Bit usage (32-64) can be changed only with the \":\" option", nullptr);
    use_alt_bit_searches = bits;
    wipetag(&schtag);
}
static void xbits()   { setbits(2); }
static void noxbits() { setbits(0); }

static void chkclusteruse()
{
    if (!settingonly) errmsg("Node cluster usage can be changed only with the \":\" option", nullptr);
}
static void setinters(int wanted, int ordered)
{
    user_wants_ands = wanted;
    use_ordering = ordered;
    wipetag(&schtag);
}

static void nointers()
{
    chkclusteruse();
    setinters(0, 0);
}

static void inters()
{
    chkclusteruse();
    int c = peep();
    if (c != '1' && c != '2') return setinters(1, 0);
    gtnb();
    setinters(1, c == '2');
}

static const optrow bbreakopts[] = {
    optstore("tbr", &bbreaks.usetbr, 1, "swap with TBR"),
    optstore("spr", &bbreaks.usetbr, 0, "swap with SPR"),
    optflag("mulpars", &bbreaks.mulpars, "keep all the trees found, as far as there is room"),
    optflag("fillonly", &bbreaks.fillonly, "stop when the tree buffer fills"),
    optflag("safe", &use_safe_unclip, "optimize the tree fully after each rearrangement accepted"),
    optflag("randclip", &randomize_clipping_sequence, "clip branches in random order"),
    optflag("skipspr", &skip_spr_phase, "\"mult\" does not swap with SPR before TBR"),
    optcall("clustersize", readclustersize, "N: nodes a cluster (3 to 1000, default 15); with \":\" only"),
    optcall("xbits", xbits, "use 64 bits when possible; with \":\" only"),
    optcall("noxbits", noxbits, "use 32 bits (default); with \":\" only"),
    optstore("nolimit", &tbr_distlim, 0, "no limit to the distance of moves"),
    optcall("limit", readlimit, "N: clips move, and are rerooted, within N nodes of their place; 0 = no limit"),
    optcall("nointers", nointers, "clusters use unions only (default); with \":\" only"),
    optcall("inters", inters, "clusters have intersections too; inters 2: cells with most to decide first; with \":\" only"),
    optflag("preproc", &use_prearrangs, "with \"nomulpars\": branches that cost most are clipped first"),
    optflag("stratswap", &use_late_plandsch_errmarg, "landmarks: the margin of error goes through its stages in each swap (no effect on other data)"),
    optend()
};

void show_bbreak_options()
{
    joinem("Branch-swapping settings:\n     * swap trees with ", nullptr);
    if (bbreaks.usetbr) {
        char text[64];
        if (tbr_distlim) snprintf(text, sizeof text, "TBR (moving/rerooting within %i nodes)", tbr_distlim);
        else snprintf(text, sizeof text, "TBR (global, clustersize %i)", clustersize);
        joinem(text, nullptr);
    } else joinem("SPR", nullptr);
    joinem("\n     * Mulpars is ", bbreaks.mulpars ? "ON" : "OFF", nullptr);
    joinem(use_safe_unclip ? "\n     * Using safe unclip" : "\n     * Using quick unclip", nullptr);
    if (randomize_clipping_sequence) joinem("\n     * Randomizing clipping sequence", nullptr);
    if (user_wants_ands) joinem("\n     * Node clusters use union/intersection", nullptr);
    if (use_alt_bit_searches) joinem("\n     * Using 64 bits when possible", nullptr);
    newln();
}

// --- the command --------------------------------------------------------------------------

static void reportbbreak(const bbreakresult &r, int trees_before)
{
    const char *name = bbreaks.usetbr ? "TBR" : "SPR";
    if (userstop) joinem("Search was interrupted...\n", nullptr);
    else myp("Completed %s branch-swapping.", name);
    show_numrearrangs();
    if (r.unswapped >= 0) {
        int last = trees_before - 1;
        std::string range = last > r.unswapped ? "-" + std::to_string(last) : "";
        myp("Maxtrees was reached when swapping tree %i.  Didn't swap tree(s) %i%s", r.unswapped - 1, r.unswapped, range.c_str());
    }
    notelimit();
    std::string limit = suboptimal > 0 ? "-" + scoretext(r.best + suboptimal) : "";
    myp("Best score (%s): %s%s.  %i trees found", name, scoretext(r.best).c_str(), limit.c_str(), trees_in_mem);
}

static bool readbbreak()          // false: settings only
{
    int c = peep();
    if (c == ';') return true;
    if (c != '=' && c != ':') errarg(c);
    gtnb();
    settingonly = c == ':';
    if (settingonly && peep() == ';') {
        show_bbreak_options();
        return false;
    }
    readoptions(bbreakopts, "Unidentified string in bbreak options: %s\n");
    if (peep() != ';') errarg(peep());
    return !settingonly;
}

void bbreakcom()
{
    if (!readbbreak()) return;
    nodaterror("searching");
    if (!trees_in_mem) errmsg("No trees to swap", nullptr);
    double start = overall_bestscore;
    std::string limit = suboptimal > 1e-9 ? "-" + scoretext(start + suboptimal) : "";
    myp("Start swapping from %i trees (score %s%s)...", trees_in_mem, scoretext(start).c_str(), limit.c_str());
    bbreakresult r = runbbreak(start);
    int held = trees_in_mem;
    erdil();
    settle_found_trees(bbreaks.usetbr ? "tbr_swapping" : "spr_swapping");
    reportbbreak(r, held);
}

const comhelp bbreakhelp = {
    "Swap branches of the trees in memory.", bbreakopts,
    "Every tree in memory is swapped, the trees found too; better trees replace the\n"
    "others.\n"
    "  bbreak ;           swap with the present options\n"
    "  bbreak = WORDS ;   set options, and swap\n"
    "  bbreak : WORDS ;   set options only; without options, show them\n"
    "Examples:\n"
    "  bbreak ;\n"
    "  bbreak = spr nomulpars ;\n"
    "  bbreak : clustersize 20 ;\n"
};
