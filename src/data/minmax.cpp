// States seen in each character, and the fewest and most steps it can have on any tree.
//
// The maximum is the length on an unresolved bush, for the best state at its centre.  The minimum
// is what a tree made for this one character needs.
#include "data/minmax.h"
#include "data/costs.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/driver.h"
#include "kernel/progress.h"
#include <algorithm>
#include <bit>
#include <cstdlib>

int ss_recurse_level;

constexpr uint32_t SETSUNKNOWN = 1000000;
constexpr int MOSTSTEPS = 32700;         // maxima of non-additive characters go no further

void count_all_taxa() { check_only_active_taxa = 0; }

static bool considered(int t) { return !check_only_active_taxa || taxact[t]; }
static bool single(uint32_t x) { return x && !(x & (x - 1)); }
static int lowest(uint32_t x)  { return std::countr_zero(x); }
static int highest(uint32_t x) { return std::bit_width(x) - 1; }

// Nodes of a Sankoff character may have states that no taxon has.
static int statecount(const charrec &r)
{
    int observed = highest(r.sets) + 1;
    return r.sankoff && observed ? std::max(observed, r.user_maxstate + 1) : observed;
}

int statesof(int c, uint32_t *cells)
{
    int n = 0;
    for (int t = 0; t < nt; ++t) {
        if (!considered(t)) continue;
        uint32_t x = cell(t, c);
        if (x && !ismissing(x)) cells[n++] = x;
    }
    return n;
}

void do_sets(int c)
{
    charrec &r = charcodes[c];
    r.sets = r.multi = 0;
    r.numstates = 0;
    if (r.continuous) return;
    uint32_t sets = 0, multi = 0;
    for (int t = 0; t < nt; ++t) {
        if (!considered(t)) continue;
        uint32_t x = cell(t, c);
        if (ismissing(x)) continue;
        multi |= sets & x;
        sets |= x;
    }
    r.sets = sets;
    r.multi = multi;
    r.numstates = statecount(r);
}

// --- The smallest set of states that meets every cell ---

// Cells that contain another cell are met when that one is; of equal ones, one is enough.
static int minimalcells(const uint32_t *cells, int n, uint32_t *kept)
{
    std::copy(cells, cells + n, kept);
    std::sort(kept, kept + n);
    n = int(std::unique(kept, kept + n) - kept);
    std::sort(kept, kept + n, [](uint32_t a, uint32_t b) { return std::popcount(a) < std::popcount(b); });
    int m = 0;
    for (int i = 0; i < n; ++i)
        if (std::none_of(kept, kept + m, [&](uint32_t k) { return (k & kept[i]) == k; })) kept[m++] = kept[i];
    return m;
}

// The cell with fewest states must be met by one of them; cells that share nothing need one state
// each, which bounds the search from below.
static void cover(const uint32_t *cells, int n, uint32_t chosen, int size, int *best)
{
    uint32_t smallest = 0, apart = 0;
    int needed = 0;
    for (int i = 0; i < n; ++i) {
        if (cells[i] & chosen) continue;
        if (!smallest) smallest = cells[i];
        if (!(cells[i] & apart)) apart |= cells[i], ++needed;
    }
    if (size + needed >= *best) return;
    if (!smallest) {
        *best = size;
        return;
    }
    for (uint32_t left = smallest; left; left &= left - 1)
        cover(cells, n, chosen | (left & (0 - left)), size + 1, best);
}

int leastcover(const uint32_t *cells, int n)
{
    char *mark = himark();
    uint32_t *kept = hi<uint32_t>(size_t(n));
    int m = minimalcells(cells, n, kept), best = m + 1;
    cover(kept, m, 0, 0, &best);
    hiset(mark);
    return best;
}

// --- Minima and maxima ---

static void nonadditive(charrec &r, const uint32_t *cells, int n)
{
    int with[32] = {}, most = 0;
    uint32_t seen = 0;
    for (int i = 0; i < n; ++i) {
        if (single(cells[i])) seen |= cells[i];
        for (uint32_t x = cells[i]; x; x &= x - 1) ++with[lowest(x)];
    }
    for (int count : with) most = std::max(most, count);
    r.maxsteps = std::min(n - most, MOSTSTEPS);
    if (use_exact_mincalc) {
        r.minsteps = leastcover(cells, n) - 1;
        return;
    }
    r.minsteps = std::popcount(seen) - 1;
    for (int i = 0; i < n; ++i)
        if (!(cells[i] & seen)) {
            ++r.minsteps;
            seen |= cells[i];
        }
}

// A cell of several states is the range between them.
static void additive(charrec &r, const uint32_t *cells, int n)
{
    int lows[32] = {}, highs[32] = {}, lastlow = 0, firsthigh = 31;
    for (int i = 0; i < n; ++i) {
        int low = lowest(cells[i]), high = highest(cells[i]);
        ++lows[low];
        ++highs[high];
        lastlow = std::max(lastlow, low);
        firsthigh = std::min(firsthigh, high);
    }
    r.minsteps = std::max(0, lastlow - firsthigh);
    long least = -1;
    for (int s = 0; s < r.numstates; ++s) {
        long steps = 0;
        for (int i = 0; i < s; ++i) steps += long(highs[i]) * (s - i);
        for (int i = s + 1; i < 32; ++i) steps += long(lows[i]) * (i - s);
        if (least < 0 || steps < least) least = steps;
    }
    r.maxsteps = int32_t(least);
}

static void sankoff(int c, charrec &r, const uint32_t *cells, int n)
{
    constexpr long LIMIT = 0x7fffffff;
    long least, most;
    sankminmax(c, cells, n, &least, &most);
    if (r.usermin >= 0) least = r.usermin;
    r.minsteps = int32_t(std::min(least, LIMIT));
    r.maxsteps = int32_t(std::min(most, LIMIT));
    r.realmin = double(least);
    r.realmax = double(most);
}

void dominmax(int c)
{
    charrec &r = charcodes[c];
    if (r.continuous) {
        dominmax_for_continuous(c);
        return;
    }
    if (ss_recurse_level) {                  // the steps of a sector's field are known
        r.maxsteps = r.minsteps + 1;
        r.informative = r.minsteps != 0;
        return;
    }
    r.minsteps = r.maxsteps = r.haspoly = 0;
    r.informative = 0;
    r.numstates = statecount(r);
    if (!(r.sets & (r.sets - 1))) return;

    char *mark = himark();
    uint32_t *cells = hi<uint32_t>(size_t(nt));
    int n = statesof(c, cells);
    for (int i = 0; i < n && !r.haspoly; ++i) r.haspoly = !single(cells[i]);
    if (n > 1) {
        if (r.sankoff) sankoff(c, r, cells, n);
        else if (r.additive) additive(r, cells, n);
        else nonadditive(r, cells, n);
        r.informative = r.maxsteps != r.minsteps;
    }
    hiset(mark);
}

// The summed distance from a centre to the ranges falls until as many bounds lie below the centre
// as above it: the middle bound is the best centre.
static double continuousmax(const uint32_t *cells, int n)
{
    char *mark = himark();
    int *bounds = hi<int>(2 * size_t(n));
    for (int i = 0; i < n; ++i) {
        bounds[2 * i] = int(cells[i] & 0xffff);
        bounds[2 * i + 1] = int(cells[i] >> 16);
    }
    std::nth_element(bounds, bounds + n, bounds + 2 * n);
    int centre = bounds[n];
    long sum = 0;
    for (int i = 0; i < n; ++i) {
        int low = int(cells[i] & 0xffff), high = int(cells[i] >> 16);
        sum += std::max({ 0, low - centre, centre - high });
    }
    hiset(mark);
    return double(sum) / 1000;
}

void dominmax_for_continuous(int c)
{
    charrec &r = charcodes[c];
    r.minsteps = 1;                      // so that it counts as informative; the real bounds are below
    r.maxsteps = 2;
    r.informative = 1;
    r.realmin = r.realmax = 0;
    if (ss_recurse_level) return;

    char *mark = himark();
    uint32_t *cells = hi<uint32_t>(size_t(nt));
    int n = 0, lastlow = 0, firsthigh = 0xffff;
    for (int t = 0; t < nt; ++t) {
        uint32_t x = matrix4[t][c];
        if (!considered(t) || x == CONT_MISSING || x == CONT_INAPP) continue;
        cells[n++] = x;
        lastlow = std::max(lastlow, int(x & 0xffff));
        firsthigh = std::min(firsthigh, int(x >> 16));
    }
    if (n) {
        r.realmin = std::max(0, lastlow - firsthigh) / 1000.0;
        r.realmax = continuousmax(cells, n);
    }
    hiset(mark);
}

static void finishcharcode(int c)            // the sets are known
{
    charrec &r = charcodes[c];
    if (r.sets || r.continuous) dominmax(c);
    else {
        r.minsteps = r.maxsteps = 0;
        r.informative = 0;
    }
    r.recalc = 0;
}

void set_one_charcode(int c)
{
    do_sets(c);
    finishcharcode(c);
}

void set_charcodes()
{
    if (ccodetag) return;
    struct unbreakable {
        int was = breakable;
        unbreakable() { breakable = 0; }
        ~unbreakable() { breakable = was; }
    } guard;
    actlandnc = num_continuous_chars = have_sankoff = 0;
    for (int c = 0; c < nc; ++c)
        if (charcodes[c].recalc || charcodes[c].sets == SETSUNKNOWN) {
            do_sets(c);
            charcodes[c].recalc = 1;
        }
    chk_3gl_ineq();
    settlecosts();
    for (int c = 0; c < nc; ++c) {
        if (!(c & 255)) dildit(c, nc, "Checking min-max steps");
        charrec &r = charcodes[c];
        if (r.sankoff) have_sankoff = 1;
        if (r.active && r.continuous) num_continuous_chars = c + 1;
        if (r.recalc) finishcharcode(c);
    }
    ccodetag = 1;
}
