// Settings of sectorial searches: their values at the start, the words that change them, and how they are shown.
#include "search/sectset.h"
#include "search/sectrec.h"
#include "search/status.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "trees/pack.h"
#include "trees/treebuf.h"
#include <algorithm>
#include <cctype>
#include <climits>
#include <cstring>
#include <iterator>

int ss_type = SS_RANDOM;

int ssminsize = 45, ssmaxsize = 45, ssgrowfactor = 100, ssmaxsubfactor = 50;
int numusersels[MAXUSERSELS], maxnumusersels, ssmaxfailure;

int ssminfork = 10, ssmaxfork = 1000, ssnumrounds = 3;

int serial_xss_chunkbeg = 8, serial_xss_chunkend = 12, serial_xss_numrounds = 2, serial_xss_tbr_freq = 4;
int serial_xss_use_even_sizes, xss_addroot;

int dss_center = -1, dss_diameter;

int ssglobaltbr = 10, ss_large_globaltbr = 10, sstakequals, saferedsan = 1;

int num_fuses_all_starts, ssgotodrift = 75, ssdriftcycles = 6, ssgotocomb, ssnumstarts = 3, sscombstarts = 4;
double ssstopscore;

int ss_keepall = 1, ss_dosingle_tree = -1, is_tracked_sectsch;
int use_sectsch_priv_buf = 1, ss_maxrecurse;
char user_ss_insts[MAXSSINSTS + 1];
int use_user_ss_insts;
int have_asym_nuclei;

// --- all of them at once ------------------------------------------------------------------

static int *const numbers[] = {
    &ss_type, &ssminsize, &ssmaxsize, &ssgrowfactor, &ssmaxsubfactor, &maxnumusersels, &ssmaxfailure,
    &ssminfork, &ssmaxfork, &ssnumrounds,
    &serial_xss_chunkbeg, &serial_xss_chunkend, &serial_xss_numrounds, &serial_xss_tbr_freq, &serial_xss_use_even_sizes, &xss_addroot,
    &dss_center, &dss_diameter,
    &ssglobaltbr, &ss_large_globaltbr, &sstakequals, &saferedsan,
    &num_fuses_all_starts, &ssgotodrift, &ssdriftcycles, &ssgotocomb, &ssnumstarts, &sscombstarts,
    &ss_keepall, &mem_slack_for_sectors, &use_sectsch_priv_buf, &ss_maxrecurse, &ss_dosingle_tree,
};
static_assert(std::size(numbers) == SECTNUMBERS);

sectsettings savesectsettings()
{
    sectsettings s;
    for (int i = 0; i < SECTNUMBERS; ++i) s.numbers[i] = *numbers[i];
    std::copy_n(numusersels, MAXUSERSELS, s.usersels);
    s.stopscore = ssstopscore;
    return s;
}

void putsectsettings(const sectsettings *saved)
{
    for (int i = 0; i < SECTNUMBERS; ++i) *numbers[i] = saved->numbers[i];
    std::copy_n(saved->usersels, MAXUSERSELS, numusersels);
    ssstopscore = saved->stopscore;
}

bool characters_are_linked() { return complexes && complexes->count(); }

int selections_of_size(int nth, int size)
{
    if (nth < maxnumusersels) return numusersels[nth];
    if (maxnumusersels == MAXUSERSELS) return numusersels[MAXUSERSELS - 1];    // there was no room to tell more
    return int(std::min<long>(long(ntax) * 100 / std::max(1, ssmaxsubfactor * size), INT_MAX));
}

// --- numbers with rules of their own ------------------------------------------------------

static bool running;                     // the options follow a '='
static bool sizegiven[2];                // smallest and largest size were given by these options

static long number(const char *word)
{
    gotc('=');
    long n = gtnu();
    if (n < 0) myerr("Option \"%s\" requires a number", word);
    return std::min<long>(n, INT_MAX);
}

// Within low..high, but never above the number of taxa; without data there is no telling.
static int taxanumber(const char *word, int low)
{
    long n = number(word);
    if (n < low) myerr("Option \"%s\" takes a number of %i or more, not %i", word, low, int(n));
    return int(datatag ? std::min<long>(n, std::max(low, numactive())) : n);
}

static void readminsize()
{
    ssminsize = taxanumber("minsize", LEAST_SECTOR);
    sizegiven[0] = true;
}
static void readmaxsize()
{
    ssmaxsize = taxanumber("maxsize", LEAST_SECTOR);
    sizegiven[1] = true;
}
static void readminfork() { ssminfork = taxanumber("minfork", 2); }
static void readmaxfork() { ssmaxfork = taxanumber("maxfork", 5); }

// selfact N, or selfact = X Y Z: so many selections of each size in turn.
static void readselfact()
{
    if (!gotc('=')) {
        long n = gtnu();
        if (n < 0 || n > 99) myerr("Option \"selfact\" takes a number from 0 to 99");
        ssmaxsubfactor = 100 - int(n);
        maxnumusersels = 0;
        return;
    }
    maxnumusersels = 0;
    bool toomany = false;
    while (isdigit(peep())) {
        int n = int(std::min<long>(gtnu(), INT_MAX));
        if (maxnumusersels < MAXUSERSELS) numusersels[maxnumusersels++] = n;
        else toomany = true;
    }
    if (!maxnumusersels) myerr("Option \"selfact\" requires a number");
    if (toomany)
        mywarn("Can't define more than %i numbers of selections\n(values above %i will be identical to last one)",
               MAXUSERSELS, MAXUSERSELS);
}

static int divisions()
{
    long n = gtnu();
    if (n < LEAST_CHUNKS || n > MOST_CHUNKS) myerr("Number of divisions must be 2-%i", MOST_CHUNKS);
    return int(n);
}

// xss N-M+R-G: N chunks in the first round, M in the last, R rounds, global TBR every G.
static void readxss()
{
    constexpr int MOSTROUNDS = 10000;
    ss_type = SS_EXCLUSIVE;
    if (isdigit(peep())) {
        serial_xss_chunkbeg = serial_xss_chunkend = divisions();
        if (gotc('-')) serial_xss_chunkend = divisions();
    }
    if (!gotc('+')) return;
    long n = gtnu();
    if (n < 1 || n > MOSTROUNDS) myerr("Number of rounds for xss must be 1-10000");
    serial_xss_numrounds = int(n);
    if (!gotc('-')) return;
    n = gtnu();
    if (n < 1) myerr("Global TBR frequency must be 1 or more");
    serial_xss_tbr_freq = int(std::min<long>(n, INT_MAX));
}

static void noxss() { if (ss_type == SS_EXCLUSIVE) ss_type = SS_RANDOM; }

static void readdss()
{
    long center = gtnu();
    if (center < 0) errmsg("Must specify center for DSS", nullptr);
    long diameter = gtnu();
    if (diameter < 0) errmsg("Must specify diameter to use for DSS", nullptr);
    ss_type = SS_DIAMETER;
    dss_center = int(std::min<long>(center, INT_MAX));
    dss_diameter = int(std::min<long>(diameter, INT_MAX));
}

static void noglobal() { ssglobaltbr = ss_large_globaltbr = 0; }
static void nofindscore() { ssstopscore = 0; }

static void readfindscore()
{
    gotc('=');
    double x = gtdouble();
    if (x < 0) myerr("Option \"findscore\" requires a number");
    ssstopscore = x;
}

static void readtree()
{
    long n = number("tree");
    if (n >= trees_in_mem) numtreeerror(int(n));
    ss_dosingle_tree = int(n);
}

// --- what changes the search layer ---------------------------------------------------------

static void onlybysetting(const char *what)
{
    if (running) myerr("%s can't be changed with '=' --use ':' instead", what);
}

static void readslack()
{
    onlybysetting("Memory slack for sectors");
    long n = number("slack");
    if (n > 1000) myerr("Option \"slack\" takes a number from 0 to 1000, not %li", n);
    mem_slack_for_sectors = int(n);
    wipetag(&schtag);
}

static void usebuffer(int use)
{
    onlybysetting("Usage of private buffer for sectors");
    use_sectsch_priv_buf = use;
    wipetag(&schtag);
}
static void xbuffer()   { usebuffer(1); }
static void noxbuffer() { usebuffer(0); }

static void readrecurse()
{
    onlybysetting("Maximum recursion level");
    long n = number("recurse");
    if (n > MAX_SS_RECURSE) myerr("Option \"recurse\" takes a number from 0 to %i, not %li", MAX_SS_RECURSE, n);
    if (datatag && n > ss_maxrecurse)
        errmsg("The level of recursion for sectorial searches\ncannot be increased after reading data...", nullptr);
    ss_maxrecurse = int(n);
    wipetag(&schtag);
}

// --- instructions -------------------------------------------------------------------------

// An empty text repeats the instructions of the level above.
static void readinsts()
{
    chkinstructions();
    char text[MAXSSINSTS + 1];
    int n = read_sector_insts(text);
    if (!n) {
        if (!ss_recurse_level) errmsg("Cannot repeat instructions for sectorial search from level 0", nullptr);
    } else {
        memcpy(user_ss_insts, text, size_t(n));
        user_ss_insts[n] = 0;
    }
    use_user_ss_insts = 1;
}

static void track()
{
    if (ss_recurse_level) errmsg("The \"tracking\" option can only be set at the first level of recursion", nullptr);
    is_tracked_sectsch = 1;
}

// --- the table ----------------------------------------------------------------------------

const optrow sectschopts[] = {
    optstore("rss", &ss_type, SS_RANDOM, "random sectors"),
    optstore("css", &ss_type, SS_CONSTRAINED, "sectors from the groups of the tree constraint"),
    optcall("xss", readxss, "N-M+R-G: exclusive sectors, N chunks in the first round and M in the last (2 to 62,\n"
            "default 8-12), R rounds (1 to 10000, default 2), global TBR every G rounds (default 4)"),
    optcall("noxss", noxss, "random sectors instead of exclusive ones"),
    optcall("dss", readdss, "N D: the sector around node N, D branches in all directions; needs \"tree\""),
    optcall("minsize", readminsize, "N: smallest size of random sectors (5 or more, default 45)"),
    optcall("maxsize", readmaxsize, "N: largest size of random sectors (default 45)"),
    optnumber("increase", &ssgrowfactor, 0, 100, "each size is N per cent larger than the one before"),
    optcall("selfact", readselfact, "N: selections for each size, more with a larger N (0 to 99, default 50);\n"
            "= X Y Z: X of the first size, Y of the second, and so on"),
    optnumber("moveon", &ssmaxfailure, 0, INT_MAX, "go to the next size after N selections without success; 0 = never"),
    optcall("minfork", readminfork, "N: least descendants for constrained sectors (2 or more, default 10)"),
    optcall("maxfork", readmaxfork, "N: most descendants for constrained sectors; larger groups are divided (5 or more,\ndefault 1000)"),
    optnumber("rounds", &ssnumrounds, 1, INT_MAX, "times that all constrained groups are analyzed"),
    optflag("xeven", &serial_xss_use_even_sizes, "exclusive sectors of even sizes"),
    optflag("chkroot", &xss_addroot, "what is left at the base of the tree is an exclusive sector too"),
    optnumber("global", &ssglobaltbr, 0, INT_MAX, "global TBR after N replacements in small sectors; 0 = never"),
    optnumber("dglobal", &ss_large_globaltbr, 0, INT_MAX, "the same for sectors that are drifted"),
    optcall("noglobal", noglobal, "no global TBR"),
    optflag("equals", &sstakequals, "equally good sectors replace those of the tree"),
    optnumber("fuse", &num_fuses_all_starts, 0, 99, "keep the trees of all starts for small sectors, and fuse them in N rounds",
              "Number of fuses for starts must be 0 - 99"),
    optstore("nofuse", &num_fuses_all_starts, 0, "keep and fuse no starts"),
    optnumber("godrift", &ssgotodrift, 0, INT_MAX, "sectors of N nodes or more are drifted"),
    optnumber("drift", &ssdriftcycles, 0, INT_MAX, "drift cycles for those"),
    optnumber("gocomb", &ssgotocomb, 0, INT_MAX, "sectors of N nodes or more have several starts, drifted and fused; 0 = none"),
    optstore("nogocomb", &ssgotocomb, 0, "no combined analyses"),
    optnumber("starts", &ssnumstarts, 1, INT_MAX, "starts for small sectors, doubled when their scores differ"),
    optnumber("combstarts", &sscombstarts, 1, INT_MAX, "starts for combined analyses"),
    optcall("findscore", readfindscore, "N: stop as soon as score N is found"),
    optcall("nofindscore", nofindscore, "do not (default)"),
    optflag("keepall", &ss_keepall, "keep all trees, not only the best"),
    optflag("safesank", &saferedsan, "strict test for step-matrix characters that a sector may do without"),
    optcall("slack", readslack, "N: per cent of extra memory (0 to 1000, default 0); with \":\" only"),
    optcall("xbuffer", xbuffer, "independent memory for sectors (default); with \":\" only"),
    optcall("noxbuffer", noxbuffer, "sectors use the memory of the whole tree; with \":\" only"),
    optcall("recurse", readrecurse, "N: levels of sectors within sectors, by user instructions (0 to 20, default 0); with \":\"\n"
            "only, and raised only before reading data"),
    optcall("tree", readtree, "N: search only from tree N, this time"),
    optcall("track", track, "run the instructions for each sector, but change nothing in the tree"),
    optend()
};

void set_ss_options(bool runs)
{
    sectsettings before = savesectsettings();
    running = runs;
    sizegiven[0] = sizegiven[1] = false;
    for (;;) {
        readoptions(sectschopts, "Wrong argument for sectorial search: %s", "[");
        if (!gotc('[')) break;
        readinsts();
    }
    int c = peep();
    if (c != ';') {
        putsectsettings(&before);
        myerr("Wrong argument for sectorial search: %c", c);
    }
    if (sizegiven[0] && sizegiven[1] && ssminsize > ssmaxsize) {
        int least = ssminsize, most = ssmaxsize;
        putsectsettings(&before);
        myerr("Min. size (set as %i) must be greater than or equal to max. size (set as %i)", least, most);
    }
    ssmaxsize = std::max(ssmaxsize, ssminsize);
}

// --- shown --------------------------------------------------------------------------------

static const char *often(int replacements)
{
    return replacements ? intvert(replacements) : "(never)";
}

static void showkinds()
{
    static const char *const kinds[] = { "random sectors (RSS)", "constrained sectors (CSS)", "exclusive sectors (XSS)", "a sector around a node (DSS)" };
    myp("Sectorial searches, by %s:\n"
        "     * RSS: sizes from %i to %i, growing by %i%%", kinds[ss_type - 1], ssminsize, ssmaxsize, ssgrowfactor);
    if (maxnumusersels) {
        joinem("     * RSS: selections for each size:", nullptr);
        for (int i = 0; i < maxnumusersels; ++i) joinem(" ", intvert(numusersels[i]), nullptr);
        newln();
    } else myp("     * RSS: selection factor %i", 100 - ssmaxsubfactor);
    if (ssmaxfailure) myp("     * RSS: next size after %i failures", ssmaxfailure);
    myp("     * CSS: groups with %i to %i descendants, %i rounds\n"
        "     * XSS: from %i to %i %schunks in %i rounds, global TBR every %i rounds%s",
        ssminfork, ssmaxfork, ssnumrounds,
        serial_xss_chunkbeg, serial_xss_chunkend, serial_xss_use_even_sizes ? "even " : "", serial_xss_numrounds, serial_xss_tbr_freq,
        xss_addroot ? " (base of the tree too)" : "");
    if (ss_type == SS_DIAMETER) myp("     * DSS: %i branches around node %i", dss_diameter, dss_center);
}

void show_ss_options()
{
    showkinds();
    myp("     * small sectors: %i starts of RAS+TBR", ssnumstarts);
    if (num_fuses_all_starts) myp("     * trees of all starts are fused in %i rounds", num_fuses_all_starts);
    myp("     * from size %i: %i cycles of tree-drifting", ssgotodrift, ssdriftcycles);
    if (ssgotocomb) myp("     * from size %i: combined analyses with %i starts", ssgotocomb, sscombstarts);
    myp("     * global TBR after replacements: %s (small sectors)", often(ssglobaltbr));
    myp("     * global TBR after replacements: %s (large sectors)", often(ss_large_globaltbr));
    myp("     * %s equally good subtrees\n"
        "     * keep %s", sstakequals ? "accept" : "do not accept", ss_keepall ? "all trees" : "only the best trees");
    if (ssstopscore > 0) myp("     * stop at score %s", scoretext(ssstopscore).c_str());
    myp("     * %s test for uninformative Sankoff characters\n"
        "     * %s matrix buffer for sectors\n"
        "     * memory slack: %i%%\n"
        "     * levels of recursion: %i",
        saferedsan ? "strict" : "loose", use_sectsch_priv_buf ? "independent" : "no independent", mem_slack_for_sectors, ss_maxrecurse);
}
