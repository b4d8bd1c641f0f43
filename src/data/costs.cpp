// The command costs: reading, showing and saving the costs of changes.
#include "data/costs.h"
#include "data/ccode.h"
#include "data/lists.h"
#include "data/symbols.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include <algorithm>
#include <bit>
#include <cctype>
#include <cstring>
#include <string>

int track_asym_indcosts, replace_cstrees, save_vekcosts;

static constexpr long MOSTTOALL = 10000;     // highest cost that "*K" gives to all changes

// --- Reading ---

[[noreturn]] static void costerr(int symbol)
{
    if (symbol == ';') errmsg("Syntax error in definition of transformation costs", nullptr);
    errmsg("Error: found symbol", charvert(symbol), "when reading transformation costs", nullptr);
}

namespace {
// While it stands, symbols mean what "nstates /dna" and the like made of them.
struct readingstates {
    readingstates() { symbols_of(read_states_as); }
    ~readingstates() { initialize_mask(); }
};
}

static uint32_t allstates() { return MISSING; }

static uint32_t bystate(long state)
{
    if (state >= maxstate) myerr("Only states 0-%i allowed", maxstate - 1);
    return uint32_t{1} << state;
}

static uint32_t bysymbol(int c)
{
    if (c == '?') return allstates();
    if (isdigit(c)) return bystate(c - '0');
    bool numeric = read_states_as != DATA_DNA && read_states_as != DATA_PROT;
    if (numeric && isalpha(c) && toupper(c) <= 'V') return bystate(10 + toupper(c) - 'A');
    uint32_t set = isalpha(c) || (!numeric && c == '-') ? tmpmask[c & 255] : 0;
    if (!set) costerr(c);
    return set;
}

int statenumber(int symbol)
{
    readingstates guard;
    uint32_t set = bysymbol(symbol);
    if (!std::has_single_bit(set)) costerr(symbol);
    return std::countr_zero(set);
}

static uint32_t readstates()
{
    int c = gtnb();
    if (isdigit(c)) {
        ungtch();
        return bystate(gtnu());
    }
    if (c != '[') return bysymbol(c);
    uint32_t set = 0;
    while ((c = gtnb()) != ']') {
        if (c == ';') costerr(c);
        set |= bysymbol(c);
    }
    if (!set) costerr(c);
    return set;
}

static uint32_t readcost()
{
    int c = gtnb();
    if (c == 'i' || c == 'I') return FORBIDDEN;
    if (!isdigit(c)) costerr(c);
    ungtch();
    long cost = gtnu();
    if (cost > long(FORBIDDEN)) myerr("Transformation costs can be up to %i", int(FORBIDDEN));
    return uint32_t(cost);
}

static void give(costtable given, uint32_t from, uint32_t to, uint32_t cost)
{
    if (std::has_single_bit(from) && from == to && cost) costerr(';');       // staying costs nothing
    for (uint32_t x = from; x; x &= x - 1)
        for (uint32_t y = to; y; y &= y - 1)
            if (int a = std::countr_zero(x), b = std::countr_zero(y); a != b) given[a][b] = cost;
}

void readcosts(costtable given, int *states)
{
    readingstates guard;
    uint32_t mentioned = 0;
    std::fill(&given[0][0], &given[0][0] + COSTSTATES * COSTSTATES, NOTGIVEN);
    if (gotc('*')) {
        long all = gtnu();
        if (all < 1 || all > MOSTTOALL) costerr(';');
        mentioned = allstates();
        give(given, mentioned, mentioned, uint32_t(all));
    }
    while (peep() != ';') {
        uint32_t from = readstates();
        int c = gtnb();
        if (c != '>' && c != '/') costerr(c);
        uint32_t to = readstates(), cost = readcost();
        give(given, from, to, cost);
        if (c == '/') give(given, to, from, cost);
        mentioned |= from | to;
    }
    if (states) *states = std::bit_width(mentioned);
}

void unitcosts(costtable costs)
{
    for (int a = 0; a < COSTSTATES; ++a)
        for (int b = 0; b < COSTSTATES; ++b) costs[a][b] = a != b;
}

void needcosts(const char *what)
{
    nodaterror(what);
    if (!allow_sankoff) errmsg("Sankoff costs have been disabled (use \"cost >;\" to enable)", nullptr);
}

void givecosts(const uint8_t *list, const costtable given)
{
    for (int c = 0; c < nc; ++c)
        if (list[c] == LISTED && charcodes[c].continuous)
            myerr("Character %i is continuous: it cannot have transformation costs", c);
    chartables_reset();
    defined_ref = 0;
    for (int c = 0; c < nc; ++c) {
        if (list[c] != LISTED) continue;
        charrec &r = charcodes[c];
        for (int a = 0; a < maxstate; ++a)
            for (int b = 0; b < maxstate; ++b)
                if (a != b && given[a][b] != NOTGIVEN) r.costs[a][b] = given[a][b];
        r.sankoff = r.recalc = 1;
        r.additive = 0;
        r.usermin = -1;
    }
    set_charcodes();
    if (reading_data_file()) store_ccode();
}

// --- Showing ---

// A line a state, or some: its changes to all others; "/" where the way back costs the same.
void showcosttable(costrow row, int which, int states, int type)
{
    constexpr int WIDEST = 79;
    tojoin("  States:");
    for (int s = 0; s < states; ++s) {
        char text[8];
        snprintf(text, sizeof text, " %c", statesymbol(type, s));
        tojoin(text);
    }
    endrow();
    for (int a = 0; a < states; ++a) {
        for (int b = 0; b < states; ++b) {
            bool same = row(which, a)[b] == row(which, b)[a];
            if (a == b || (same && b < a)) continue;
            char text[40];
            snprintf(text, sizeof text, "  %c%c%c  %-3i ", statesymbol(type, a), same ? '/' : '>', statesymbol(type, b),
                     int(row(which, a)[b]));
            if (composed_length() + int(strlen(text)) > WIDEST) endrow();
            tojoin(text);
        }
        if (composed_length()) endrow();
    }
}

const uint32_t *charcosts(int c, int from) { return charcodes[c].costs[from]; }

static void showcosts(const uint8_t *list)
{
    bool any = false;
    for (int c = 0; c < nc; ++c) {
        const charrec &r = charcodes[c];
        if (r.continuous || (list ? list[c] != LISTED : !r.sankoff)) continue;
        any = true;
        myp("Character %i%s%s", c, r.sankoff ? "" : " (not Sankoff)", r.active ? "" : " (inactive)");
        showcosttable(charcosts, c, std::max(r.numstates, 1), r.type);
    }
    if (!any) spewem("No Sankoff characters", nullptr);
}

// --- Saving ---

std::string writtencosts(costrow row, int which, int states)
{
    std::string text;
    for (int a = 0; a < states; ++a)
        for (int b = 0; b < states; ++b)
            if (a != b) text += ' ' + std::to_string(a) + '>' + std::to_string(b) + ' ' + std::to_string(row(which, a)[b]);
    return text + " ;\n";
}

static void savecosts(const std::string &head, int c)
{
    std::string text = head + writtencosts(charcosts, c, charcodes[c].numstates);
    spewlong(text.data(), long(text.size()));
}

static void saveonezelcost(int c) { savecosts("cost " + std::to_string(c) + " =", c); }
static void saveonevekcost(int c) { savecosts("cost [" + std::to_string(c), c); }

void save_all_costs(bool activeonly)
{
    for (int c = 0; c < nc; ++c) {
        const charrec &r = charcodes[c];
        if (!r.sankoff || r.continuous || (activeonly && !r.active)) continue;
        save_vekcosts ? saveonevekcost(c) : saveonezelcost(c);
    }
}

// --- The command ---

static void allowsankoff(int on)
{
    if (datatag) errmsg("Whether to allow sankoff must be changed before reading data", nullptr);
    allow_sankoff = on;
    spewem(on ? "Allowing sankoff characters" : "Not allowing sankoff characters", nullptr);
}

[[noreturn]] static void linkcosts(const char *sign)
{
    myerr("Sorry, costs between parts of groups of ambiguous homology (%s) are not available yet", sign);
}

// One of the forms that are a sign alone; false for anything else, which is not read.
static bool mode()
{
    if (peep() == '*' || peep() == '-') {
        needcosts("re-setting costs");
        save_all_costs(gtnb() == '-');
    }
    else if (gotc('[') || gotc(']')) {
        ungtch();
        save_vekcosts = gtch() == ']';
        spewem(save_vekcosts ? "Saving costs in VEK format" : "Saving costs in ZEL format", nullptr);
    }
    else if (gotc('<')) gotc('<') ? linkcosts("<<") : allowsankoff(0);
    else if (gotc('>')) gotc('>') ? linkcosts(">>") : allowsankoff(1);
    else if (gotc('&')) {
        track_asym_indcosts = 1;
        spewem("Calculating RFD's exactly during TBR\nfor sankoff asymmetric characters ", nullptr);
    }
    else if (gotc('|')) {
        track_asym_indcosts = 0;
        spewem("Not calculating RFD's exactly during TBR\nfor sankoff asymmetric characters ", nullptr);
    }
    else return false;
    return true;
}

void costcom()
{
    bool modes = false;
    while (mode()) modes = true;
    if (modes && peep() == ';') return;
    needcosts("re-setting costs");
    if (peep() == ';') return showcosts(nullptr);
    bool any = read_scope(charscopelist, 0, nc, "character", charnames);
    if (any && peep() == ';') return showcosts(charscopelist);
    if (!any || !gotc('=')) errmsg("Scope must be followed by costs", nullptr);
    costtable given;
    if (peep() == ';') errmsg("Scope must be followed by costs", nullptr);
    readcosts(given, nullptr);
    givecosts(charscopelist, given);
}

const comhelp costshelp = {
    "Define the costs of changes between states.", nullptr,
    "   N = x>y z ...     for characters N, the change from states x to states y costs z (0 to\n"
    "                     32700; \"i\" is a change that is not allowed); \"/\" instead of \">\" is both\n"
    "                     ways; [ ] hold several states, \"?\" is every state.  States are symbols\n"
    "                     or numbers.  The characters become Sankoff\n"
    "   N = *K x>y z ...  the same, after giving all changes the cost K (1 to 10000)\n"
    "   N                 show the costs of characters N\n"
    "   ;                 show the costs of all Sankoff characters\n"
    "   *                 save all costs, as commands; - those of active characters\n"
    "   [                 save in native form (the default); ] in VEK form\n"
    "   <                 do not allow Sankoff characters, which saves memory; > allow them (the\n"
    "                     default).  Before reading data\n"
    "   &                 relative fit differences of asymmetric characters are calculated exactly\n"
    "                     while swapping; | approximately (the default)\n"
    "Changes not defined cost 1.  A change that costs more than going over a third state is\n"
    "lowered to that sum, with a warning.\n"
    "Examples:\n"
    "  costs 0 = 0>1 2 1>0 5 ;   a gain is 2, a loss 5\n"
    "  costs 2 = *3 [01]/2 4 ;   all changes are 3, but 4 between 0 or 1 and 2\n"
    "  costs 0 2 ;\n"
};
