// The command xpiwe: weighting sets, constant weights and concavities by character.
#include <algorithm>
#include <cctype>
#include <charconv>
#include <numeric>
#include <string>
#include <vector>
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "trees/implied.h"
#include "trees/lightopt.h"
#include "trees/treebuf.h"
#include "trees/xpiwe.h"

void check_xpiwe_applicability()
{
    if (doautowt) myerr("Sorry, can't use both extended implied weighting and auto-weighted optimization");
    if (!dopiwe || !xdopiwe_setlist)
        myerr("To use extended implied weighting, must read the data with implied weighting ON");
}

static void changed()
{
    xdopiwe_stat = 1;
    implied_settings_changed();
}

// --- Sets ---

// Sets without members go; the others keep their order.
static void renumbersets()
{
    int *newnumber = zlo<int>(xdopiwe_numsets + 1), n = 0;
    for (int c = 0; c < nc; ++c) newnumber[xdopiwe_isinset_user[c]] = 1;
    newnumber[0] = 0;
    for (int s = 1; s <= xdopiwe_numsets; ++s)
        if (newnumber[s]) newnumber[s] = ++n;
    for (int c = 0; c < nc; ++c) xdopiwe_isinset_user[c] = newnumber[xdopiwe_isinset_user[c]];
    xdopiwe_numsets = n;
}

// How the characters of a list are shared among sets: all in one; runs of so many; or by position,
// positions repeating as in the codons of a reading frame.
struct partition {
    int run = 0;                 // characters a set; 0 all
    int positions = 0;           // length of the repeat; 0 no positions
    int part[33];                // of each position: its set, from 0
};

static partition readpartition()
{
    partition p;
    if (gotc('=')) {
        long n = gtnu();
        if (n < 1) errarg(peep());
        p.run = int(std::min<long>(n, nc));
    }
    else if (gotc('/')) {        // "12:3": positions 1 and 2 in a set, 3 in another
        std::fill(p.part, p.part + 33, -1);
        int part = 0;
        for (int c = peep(); isdigit(c) || c == ':'; c = peep()) {
            gtnb();
            if (c == ':') { ++part; continue; }
            int position = c - '1';
            if (position < 0 || p.part[position] >= 0) errarg(c);
            p.part[position] = part;
            p.positions = std::max(p.positions, position + 1);
        }
        if (!p.positions || std::count(p.part, p.part + p.positions, -1)) errarg(peep());
    }
    return p;
}

// A set is made for each part that has members.  Characters leave the sets where they were.
static void makesets(const uint8_t *list, const partition &p)
{
    int before = xdopiwe_numsets, seen = 0, most = before, *to = zlo<int>(nc);
    for (int c = 0; c < nc; ++c) {
        if (list[c] != LISTED) continue;
        int part = p.run ? seen / p.run : p.positions ? p.part[seen % p.positions] : 0;
        to[c] = before + 1 + part;
        most = std::max(most, to[c]);
        ++seen;
    }
    int *held = zlo<int>(most + 1);
    for (int c = 0; c < nc; ++c) {
        if (to[c]) xdopiwe_isinset_user[c] = to[c], xdopiwe_fixwt_user[c] = 0;
        held[xdopiwe_isinset_user[c]] = 1;
    }
    xdopiwe_numsets = most;
    renumbersets();
}

static uint8_t *characterlist()
{
    uint8_t *list = zlo<uint8_t>(nc);
    if (!read_scope(list, 0, nc, "character", charnames)) std::fill(list, list + nc, LISTED);
    return list;
}

static void setofcharacters()
{
    uint8_t *list = characterlist();
    makesets(list, readpartition());
    changed();
}

static void setsofblocks()
{
    partition p = readpartition();
    uint8_t *list = lo<uint8_t>(nc);
    for (int from = 0, to; from < nc; from = to) {
        for (to = from + 1; to < nc && charcodes[to].block == charcodes[from].block; ++to) ;
        for (int c = 0; c < nc; ++c) list[c] = c >= from && c < to ? LISTED : 0;
        makesets(list, p);
    }
    changed();
}

// --- Constant weights ---

static void constantweights()
{
    double steps = gtdouble(), factor = 1;
    if (steps < 0) steps = 0;
    if (gotc('x')) {
        factor = gtdouble();
        if (factor <= 0) errarg(peep());
    }
    if (steps > globmaxh - 2) errmsg("Maximum expected homoplasy is", intvert(max_homoplasy()), nullptr);
    uint8_t *list = characterlist();
    xdopiwe_eqsteps = steps;
    xdopiwe_user_factor = factor;
    for (int c = 0; c < nc; ++c)
        if (list[c] == LISTED) xdopiwe_fixwt_user[c] = 1, xdopiwe_isinset_user[c] = 0;
    renumbersets();
    changed();
}

static void freecharacters()
{
    uint8_t *list = characterlist();
    for (int c = 0; c < nc; ++c)
        if (list[c] == LISTED) xdopiwe_fixwt_user[c] = 0, xdopiwe_isinset_user[c] = 0;
    renumbersets();
    changed();
}

// --- Concavities ---

static double concavity()
{
    double k = gtdouble();
    if (k <= 0) myerr("Weighting strength must be more than 0");
    if (k > 1000) myerr("Weighting strength must be less than 1000");
    return k;
}

// "*P <M /K" derives concavities from missing entries; "L /K" gives them.
static void concavities()
{
    multik_equalize = gotc('=');
    if (peep() != '*' && peep() != ';' && peep() != '<' && peep() != '/') {
        uint8_t *list = characterlist();
        if (!gotc('/')) errarg(peep());
        double k = concavity();
        for (int c = 0; c < nc; ++c)
            if (list[c] == LISTED) multik_givenk[c] = k;
        multik_missfactor = 0;
    }
    else {
        multik_missfactor = 0.5;
        multik_maxprop = 5;
        if (gotc('*')) {
            double p = gtdouble();
            if (p >= 0) multik_missfactor = p;
        }
        if (gotc('<')) {
            multik_maxprop = gtdouble();
            if (multik_maxprop < 1) multik_maxprop = 1;
        }
        if (gotc('/')) konk = concavity();
        std::fill(multik_givenk, multik_givenk + nc, 0.0);
    }
    multik_is_on = 1;
    changed();
}

static void singleconcavity()
{
    multik_is_on = 0;
    multik_missfactor = 0.5;
    std::fill(multik_givenk, multik_givenk + nc, 0.0);
    changed();
}

// --- Saving ---

// Read back to the same number, without an exponent.
static std::string exactly(double x)
{
    char text[400];
    return std::string(text, std::to_chars(text, text + sizeof text, x, std::chars_format::fixed).ptr);
}

// The places of the characters that are wanted, runs as ranges; nothing when there are none.
template<class F> static std::string placesof(const std::vector<int> &chars, F wanted)
{
    constexpr size_t LINE = 72;
    std::string list;
    size_t start = 0;
    for (size_t i = 0; i < chars.size(); ++i) {
        if (!wanted(chars[i])) continue;
        size_t from = i;
        while (i + 1 < chars.size() && wanted(chars[i + 1])) ++i;
        list += ' ' + std::to_string(from);
        if (i > from) list += '.' + std::to_string(i);
        if (list.size() - start > LINE) list += '\n', start = list.size();
    }
    return list;
}

static void putcommand(std::string *text, const std::string &option, const std::string &list, const std::string &end = "")
{
    if (!list.empty()) *text += "xpiwe " + option + list + end + " ;\n";
}

std::string xpiwe_status_text(const std::vector<int> &chars)
{
    std::string text;
    if (!xdopiwe_setlist || !xdopiwe_stat) return text;
    for (int s = 1; s <= xdopiwe_numsets; ++s)
        putcommand(&text, "[", placesof(chars, [&](int c) { return xdopiwe_isinset_user[c] == s; }));
    putcommand(&text, "/" + exactly(xdopiwe_eqsteps) + "x" + exactly(xdopiwe_user_factor),
               placesof(chars, [](int c) { return xdopiwe_fixwt_user[c] != 0; }));
    if (multik_is_on && multik_missfactor > 0)
        putcommand(&text, multik_equalize ? "(=*" : "(*", exactly(multik_missfactor), " <" + exactly(multik_maxprop));
    for (int c = 0; c < nc && multik_is_on; ++c) {
        double k = multik_givenk[c];
        if (k <= 0 || std::find(multik_givenk, multik_givenk + c, k) != multik_givenk + c) continue;
        putcommand(&text, "(", placesof(chars, [&](int d) { return multik_givenk[d] == k; }), " /" + exactly(k));
    }
    return text + "xpiwe = ;\n";
}

void save_xpiwe_status()
{
    std::vector<int> all(static_cast<size_t>(nc));
    std::iota(all.begin(), all.end(), 0);
    std::string text = xpiwe_status_text(all);
    for (size_t at = 0, end; at < text.size(); at = end + 1) {
        end = text.find('\n', at);
        spewem(text.substr(at, end - at).c_str(), nullptr);
    }
}

// --- Reports ---

struct column { const char *name; bool bytree; };
static const column columns[] = {
    { "size", false }, { "kvalue", false }, { "steps", true }, { "homoplasy", true }, { "score", true }, { "cost", true },
};
constexpr int COLUMNS = int(sizeof columns / sizeof *columns);

static double valueof(int set, int col)
{
    const wtset &s = xdopiwe_setlist[set];
    double steps = 0;
    switch (col) {
        case 0: return s.size;
        case 1: return s.k;
        case 2:
            for (int c = 0; c < nc; ++c)
                if (charcodes[c].active && in_wtset(c) && xdopiwe_isinset_user[c] == set)
                    steps += charcodes[c].weight * (charcodes[c].continuous ? charcodes[c].realsteps : charcodes[c].steps);
            return steps;
        case 3: return s.homoplasy;
        case 4: return s.fit;
    }
    return wtset_fit(set, s.homoplasy + 1) - s.fit;      // what one step more costs
}

static void showsets(uint32_t which, bool scored)
{
    char text[64];
    tojoin("    Set");
    for (int i = 0; i < COLUMNS; ++i)
        if (which >> i & 1 && (scored || !columns[i].bytree)) {
            snprintf(text, sizeof text, "%12s", columns[i].name);
            tojoin(text);
        }
    spewout();
    for (int s = 1; s <= xdopiwe_numsets; ++s) {
        if (xdopiwe_setlist[s].size <= 0) continue;
        snprintf(text, sizeof text, "%7i", s);
        tojoin(text);
        for (int i = 0; i < COLUMNS; ++i)
            if (which >> i & 1 && (scored || !columns[i].bytree)) {
                snprintf(text, sizeof text, "%12.*f", i ? table_precision : 0, valueof(s, i));
                tojoin(text);
            }
        spewout();
    }
}

static uint32_t columnwords()            // all columns when there are none
{
    uint32_t which = 0;
    while (isalpha(peep())) {
        readid();
        int i = 0;
        while (i < COLUMNS && brevcomp(cmdname, columns[i].name)) ++i;
        if (i == COLUMNS) errmsg("Wrong argument for xpiwe:", cmdname, nullptr);
        which |= uint32_t{1} << i;
    }
    return which ? which : (uint32_t{1} << COLUMNS) - 1;
}

// "& words L": the words choose columns; L are trees.
static void status()
{
    uint32_t which = columnwords();
    if (trees_in_mem && xdopiwe_stat) optmem();              // locks its layer before the list is there
    else piwe_init(0);
    const uint8_t *trees = trees_in_mem ? treelist() : nullptr;
    spewem("Extended implied weighting is", xdopiwe_stat ? "ON" : "OFF", nullptr);
    if (!xdopiwe_stat) return;
    long fixed = std::count(xdopiwe_fixwt_user, xdopiwe_fixwt_user + nc, 1);
    if (fixed) myp("%li character(s) of constant weight (cost of a step: %.*f)", fixed, table_precision, xdopiwe_factor);
    if (multik_is_on && multik_missfactor > 0)
        myp("Concavities by missing entries (proportion of homoplasy %g, maximum ratio %g)", multik_missfactor, multik_maxprop);
    else if (multik_is_on) spewem("Concavities by character", nullptr);
    else spewem("A single concavity", nullptr);
    if (!xdopiwe_numpacksets) return spewem("No weighting sets", nullptr);
    if (!trees) return showsets(which, false);
    for (int t = 0; t < trees_in_mem; ++t) {
        if (trees[t] != LISTED) continue;
        myp("Tree %i, total adjusted homoplasy %f", t, packdownpass(mem_tree[t]));
        showsets(which, true);
    }
}

// --- The command ---

void xpiwecom()
{
    if (peep() == ';') {
        spewem("Extended implied weighting is", xdopiwe_stat ? "ON" : "OFF", nullptr);
        return;
    }
    int c = gtnb();
    if (c == '-') {
        xdopiwe_stat = 0;
        implied_settings_changed();
        spewem("Extended implied weighting is OFF", nullptr);
        return;
    }
    check_xpiwe_applicability();
    switch (c) {
        case '=':
            changed();
            spewem("Extended implied weighting is ON", nullptr);
            return;
        case '[': return setofcharacters();
        case ']': return setsofblocks();
        case '/': return constantweights();
        case '!': return freecharacters();
        case '(': return concavities();
        case ')': return singleconcavity();
        case '*': return save_xpiwe_status();
        case '&': return status();
    }
    errarg(c);
}

const comhelp xpiwehelp = {
    "Extended implied weighting: sets, constant weights, concavities.", nullptr,
    "Needs data that were read under implied weighting (\"piwe =\" before \"xread\").\n"
    "  xpiwe ;          tell whether the extended options are on\n"
    "  xpiwe = ;        on, as last defined; \"xpiwe - ;\" off (default)\n"
    "  xpiwe [L ;       characters L are a set: weighted together, by their average\n"
    "                   homoplasy.  \"[L =N\" makes sets of N characters each, in order;\n"
    "                   \"[L /12:3\" sets by position: first and second, third\n"
    "  xpiwe ] ;        the same for every block of data (\"] =N\", \"] /12:3\")\n"
    "  xpiwe /NxF L ;   characters L have a constant weight: each step costs F times what a\n"
    "                   step costs after N steps of homoplasy (default N 0, F 1)\n"
    "  xpiwe !L ;       characters L belong to no set and have no constant weight\n"
    "  xpiwe (*P <M /K ;  concavities by missing entries: these are assumed to hide P\n"
    "                   times the homoplasy of the entries observed (default 0.5); a\n"
    "                   concavity is at most M times lower than the base K (default 5, and\n"
    "                   k as it is).  \"(=*P\" fits the whole curve, not only the ratio\n"
    "  xpiwe (L /K ;    characters L have concavity K\n"
    "  xpiwe ) ;        a single concavity\n"
    "  xpiwe & L ;      status of the sets on trees L; of \"size\", \"kvalue\", \"steps\",\n"
    "                   \"homoplasy\", \"score\", \"cost\" (of a step more) those named\n"
    "  xpiwe * ;        list the definitions as commands (\"xread *\" saves them with the data)\n"
    "Lists without characters mean all of them.  Definitions turn the options on.\n"
    "Examples:\n"
    "  piwe = ; warn - ; proc bees.zel ;\n"
    "  xpiwe [ 0.4 ; xpiwe & size ;\n"
    "  xpiwe (*0.5 ; piwe & ; xpiwe - ;\n"
};
