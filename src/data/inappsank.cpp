// Inapplicable characters as one Sankoff character.
//
// The qualities of a part (sub_tail_color, sub_tail_shape) have no state where the part is absent
// (sup_tail).  Taken together with it they do: one state for "absent", and one for each combination
// of qualities of a part that is present.  Combinations differ by the sum of the differences of
// their qualities; an absent part differs in its presence and in each quality.
//
//     state 0 absent; state 1 + first quality + n1 * (second + n2 * (third ...))
//
// Qualities count by rank among the states observed.  aux_mark tells what was converted: of the
// superordinate which state was "absent", in the subordinates that they are part of one.  The
// weights are in the costs; aux_clear keeps that of the superordinate.
#include "data/inappsank.h"
#include "data/charnames.h"
#include "data/costs.h"
#include "data/symbols.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <algorithm>
#include <bit>
#include <cstring>
#include <strings.h>
#include <string>
#include <vector>

enum mark : uint8_t { WAS_ABSENT0 = 1, WAS_ABSENT1 = 2, SUBORDINATE = 3 };

constexpr char PARTS = ':';              // in the name of a converted character, before the names of its qualities

namespace {
struct complex {
    int sup, absent;                     // absent: state 0 or 1
    std::vector<int> subs;
    std::vector<std::vector<int>> states;    // observed, ascending, of each
    long combinations = 1;
};
}

static bool hasprefix(const char *name, const char *prefix) { return name && !strncasecmp(name, prefix, strlen(prefix)); }
static std::string stem(int c) { return std::string(charnames[c]).substr(4); }

// The superordinate of a subordinate: that of the longest name, where several would do; -1 none.
static int superordinate(int sub)
{
    int found = -1;
    for (int c = 0; c < nc; ++c)
        if (hasprefix(charnames[c], "sup_") && !stem(c).empty() && hasprefix(charnames[sub] + 4, stem(c).c_str()) &&
            (found < 0 || stem(c).size() > stem(found).size())) found = c;
    return found;
}

static bool isnamed(int c, int state, const char *name)
{
    return statenames && statenames[c] && statenames[c][state] && hasprefix(statenames[c][state], name);
}

static std::string statename(int c, int state)
{
    if (statenames && statenames[c] && statenames[c][state]) return statenames[c][state];
    return std::string(1, char(statesymbol(charcodes[c].type, state)));
}

// --- What to convert, and whether it can be ---

static void checkcells(const complex &x)
{
    for (int t = 0; t < nt; ++t) {
        uint32_t part = cell(t, x.sup);
        if (!ismissing(part) && part != uint32_t{1} << x.absent) continue;
        for (int sub : x.subs)
            if (!ismissing(cell(t, sub)))
                myerr("Taxon %i (%s) is absent or missing in character %i (%s)\nbut it has a state in character %i (%s)\n",
                      t, taxname[t], x.sup, charnames[x.sup], sub, charnames[sub]);
    }
}

static void checkcomplex(complex *x)
{
    const charrec &r = charcodes[x->sup];
    if (r.continuous || r.sets & ~3u)
        myerr("Character %i (%s) can have states 0 and 1 only (absent and present)", x->sup, charnames[x->sup]);
    x->absent = isnamed(x->sup, 1, "absent");
    for (int sub : x->subs) {
        if (charcodes[sub].continuous) myerr("Character %i (%s) is continuous: it cannot be combined", sub, charnames[sub]);
        std::vector<int> states;
        for (uint32_t s = charcodes[sub].sets; s; s &= s - 1) states.push_back(std::countr_zero(s));
        if (states.empty()) states.push_back(0);
        x->combinations *= long(states.size());
        if (x->combinations >= maxstate)
            myerr("Combining characters subordinate to %i (%s)\nresults in too many states (%i, current max. is %i).\n"
                  "Cannot convert. Sorry.\n", x->sup, charnames[x->sup], int(x->combinations) + 1, maxstate);
        x->states.push_back(states);
    }
    checkcells(*x);
}

static std::vector<complex> findcomplexes()
{
    std::vector<complex> all;
    for (int c = 0; c < nc; ++c) {
        if (!hasprefix(charnames[c], "sup_")) continue;
        complex x{ c, 0, {}, {} };
        for (int sub = 0; sub < nc; ++sub)
            if (hasprefix(charnames[sub], "sub_") && charcodes[sub].active && superordinate(sub) == c) x.subs.push_back(sub);
        if (charcodes[c].sankoff) myp("Character %i is already converted to Sankoff; it will be skipped", c);
        else if (!x.subs.empty()) {
            checkcomplex(&x);
            all.push_back(x);
        }
    }
    return all;
}

// --- Converting ---

// State of quality q in a combination, which counts from 0.
static int quality(const complex &x, long combination, size_t q)
{
    for (size_t i = 0; i < q; ++i) combination /= long(x.states[i].size());
    return x.states[q][size_t(combination) % x.states[q].size()];
}

static uint32_t difference(int sub, int from, int to)
{
    const charrec &r = charcodes[sub];
    uint32_t cost = r.sankoff ? r.costs[from][to] : r.additive ? uint32_t(std::abs(from - to)) : from != to;
    return std::min(cost * uint32_t(r.weight), FORBIDDEN);
}

static void fillcosts(const complex &x, uint32_t **costs)
{
    uint32_t greatest = 0, presence = uint32_t(charcodes[x.sup].weight);
    for (int sub : x.subs) presence += uint32_t(charcodes[sub].weight);
    for (long a = 0; a < x.combinations; ++a)
        for (long b = 0; b < x.combinations; ++b) {
            uint32_t sum = 0;
            for (size_t q = 0; q < x.subs.size(); ++q) sum += difference(x.subs[q], quality(x, a, q), quality(x, b, q));
            costs[a + 1][b + 1] = std::min(sum, FORBIDDEN);
            greatest = std::max(greatest, costs[a + 1][b + 1]);
        }
    presence = std::min(std::max(presence, (greatest + 1) / 2), FORBIDDEN);    // losing the part is no way round
    for (long a = 1; a <= x.combinations; ++a) costs[0][a] = costs[a][0] = presence;
}

static uint32_t newcell(const complex &x, int t)
{
    uint32_t part = cell(t, x.sup), states = 0;
    if (ismissing(part)) return part;
    if (part >> x.absent & 1) states = 1;
    if (!(part >> (1 - x.absent) & 1)) return states;
    for (long a = 0; a < x.combinations; ++a) {
        bool fits = true;
        for (size_t q = 0; q < x.subs.size(); ++q) {
            uint32_t seen = cell(t, x.subs[q]);
            fits = fits && (ismissing(seen) || seen >> quality(x, a, q) & 1);
        }
        if (fits) states |= uint32_t{1} << (a + 1);
    }
    return states;
}

static void namecomplex(const complex &x)
{
    std::vector<std::string> names{ charnames[x.sup], statename(x.sup, x.absent) };
    for (size_t q = 0; q < x.subs.size(); ++q) names[0] += (q ? '+' : PARTS) + std::string(charnames[x.subs[q]] + 4);
    for (long a = 0; a < x.combinations; ++a) {
        std::string name;
        for (size_t q = 0; q < x.subs.size(); ++q) name += (q ? "_" : "") + statename(x.subs[q], quality(x, a, q));
        names.push_back(name);
    }
    define_charname(x.sup, names);
}

static void convert(const complex &x)
{
    charrec &r = charcodes[x.sup];
    fillcosts(x, r.costs);
    for (int t = 0; t < nt; ++t) setcell(t, x.sup, newcell(x, t));
    for (int sub : x.subs) {
        charcodes[sub].active = 0;
        charcodes[sub].aux_mark = SUBORDINATE;
        charcodes[sub].recalc = 1;
    }
    r.aux_mark = x.absent ? WAS_ABSENT1 : WAS_ABSENT0;
    r.aux_clear = r.weight;
    r.weight = 1;
    r.sankoff = r.active = r.recalc = 1;
    r.additive = 0;
    r.usermin = r.user_maxstate = -1;
}

static void needcomplexes()
{
    nodaterror("reading a step-matrix");
    if (!charnames) errmsg("Must name characters before combining inapplicables", nullptr);
    if (!allow_sankoff) errmsg("Sankoff characters have not been allowed", nullptr);
    if (xlinks_allowed) errmsg("Sorry, subordination of characters as links is not available yet", nullptr);
}

void auto_inappsank()
{
    needcomplexes();
    set_charcodes();
    std::vector<complex> all = findcomplexes();
    if (all.empty()) {
        spewem("No conversions done", nullptr);
        return;
    }
    chartables_reset();
    defined_ref = 0;
    begin_charnames();
    for (const complex &x : all) namecomplex(x);
    end_charnames();
    for (const complex &x : all) convert(x);
    set_charcodes();
    myp("Converted %i character complexes (set to Sankoff, with\nproper costs; also changed matrix and character names).\n",
        int(all.size()));
}

// --- And back ---

static void setback(int sup)
{
    charrec &r = charcodes[sup];
    int absent = r.aux_mark == WAS_ABSENT1;
    for (int t = 0; t < nt; ++t) {
        uint32_t x = cell(t, sup);
        if (ismissing(x)) continue;
        setcell(t, sup, (x & 1) << absent | uint32_t(x > 1) << (1 - absent));
    }
    costtable unit;
    unitcosts(unit);
    for (int s = 0; s < maxstate; ++s) std::copy(unit[s], unit[s] + maxstate, r.costs[s]);
    r.weight = r.aux_clear;
    r.aux_clear = 0;
    r.sankoff = r.aux_mark = 0;
    r.recalc = 1;
}

void undo_auto_inappsank()
{
    needcomplexes();
    std::vector<int> all;
    for (int c = 0; c < nc; ++c)
        if (charcodes[c].aux_mark && charcodes[c].aux_mark != SUBORDINATE) all.push_back(c);
    chartables_reset();
    begin_charnames();
    for (int sup : all) {
        std::string name = charnames[sup], absent = statename(sup, 0);
        name.resize(std::min(name.size(), name.find(PARTS)));
        std::vector<std::string> names{ name, absent, "present" };
        if (charcodes[sup].aux_mark == WAS_ABSENT1) std::swap(names[1], names[2]);
        define_charname(sup, names);
    }
    end_charnames();
    for (int sup : all) setback(sup);
    for (int c = 0; c < nc; ++c)
        if (charcodes[c].aux_mark == SUBORDINATE) {
            charcodes[c].aux_mark = 0;
            charcodes[c].active = charcodes[c].recalc = 1;
        }
    set_charcodes();
    myp("%i character complexes set back to original form\n", int(all.size()));
}
