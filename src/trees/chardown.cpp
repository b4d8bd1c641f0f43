// The slow passes, on the rows of the matrix: one character at a time (chardownpass), or all those of
// a kind that stand side by side in the rows, node by node (rowdownpass).
//
// Sets of unordered states, ranges (additive and continuous characters) and step matrices.
// Terminals are never written; internal rows hold first-pass states after the first pass and
// final states after the second, which needs the first-pass states of descendants: nodes are
// taken from the root outward, so that those of a node are still there when it is its turn.
//
// Ranges.  The cost of a node is a convex function with a slope of whole numbers, since each
// descendant adds its distance to a range; it is least between the two middle ones of all bounds
// of the descendants, and its slope grows by 1 at each bound further out.  Going up, a state
// beyond the range is followed as long as the slope is 1: to the next bound out.
#include "trees/lightopt.h"
#include "trees/pack.h"
#include "trees/implied.h"
#include <algorithm>
#include <bit>
#include <cassert>
#include <limits>
#include "data/costs.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "trees/treemodel.h"

template<class CELL> static CELL **rows();
template<> uint8_t **rows<uint8_t>() { return matrix1; }
template<> uint16_t **rows<uint16_t>() { return matrix; }
template<> uint32_t **rows<uint32_t>() { return matrix4; }

template<class CELL> constexpr CELL ALLSTATES = std::numeric_limits<CELL>::max();
template<class CELL> constexpr CELL INAPPLICABLE = ALLSTATES<CELL> >> 1;

// The states that a node shows to its ancestor.  Inapplicable and empty cells count as missing.
template<class CELL> static CELL shown(CELL **m, int n, int c)
{
    CELL x = m[n][c];
    if (n < nt && ((x & INAPPLICABLE<CELL>) == INAPPLICABLE<CELL> || !x)) return ALLSTATES<CELL>;
    return x;
}

// ------------------------------------------------------------------------------------- the tree

// One character, node by node: from the tips to the root, which sums steps, or from the root outward.
template<class F> static long fromtips(F atnode)
{
    long steps = 0;
    for (int i = optnodes - 1; i >= 0; --i) steps += atnode(nodlist[i]);
    return steps;
}

template<class F> static void fromroot(F atnode)
{
    for (int i = 1; i < optnodes; ++i) atnode(nodlist[i]);
}

// ------------------------------------------------------------------------------ unordered states

// How many descendants of a node lack each state, counted for all states at once: plane b holds
// bit b of the counts.
template<class CELL> struct lackcount {
    CELL plane[32];
    int  planes = 0;
    void add(CELL absent)
    {
        for (int b = 0; absent; ++b) {
            if (b == planes) plane[planes++] = 0;
            CELL carry = plane[b] & absent;
            plane[b] ^= absent;
            absent = carry;
        }
    }
    int fewest(CELL *which) const
    {
        int least = 0;
        *which = ALLSTATES<CELL>;
        for (int b = planes - 1; b >= 0; --b) {
            CELL without = CELL(*which & ~plane[b]);
            if (without) *which = without;
            else least |= 1 << b;
        }
        return least;
    }
    CELL exactly(int n) const
    {
        CELL x = n >> planes ? 0 : ALLSTATES<CELL>;
        for (int b = 0; b < planes; ++b) x &= n >> b & 1 ? plane[b] : CELL(~plane[b]);
        return x;
    }
};

template<class CELL> static lackcount<CELL> countlacking(CELL **m, int n, int c)
{
    lackcount<CELL> count;
    for (int d = lef[n]; d >= 0; d = sis[d]) count.add(CELL(~shown(m, d, c)));
    return count;
}

// First-pass states of a node; returns the steps.
template<class CELL> static int downset(CELL **m, int n, int c)
{
    if (nodfork[n] != 2) return countlacking(m, n, c).fewest(&m[n][c]);
    CELL a = shown(m, lef[n], c), b = shown(m, sis[lef[n]], c);
    m[n][c] = a & b ? a & b : a | b;
    return !(a & b);
}

template<class CELL> static void upset(CELL **m, const int *tree, int n, int c)
{
    CELL above = m[tree[n]][c], best = m[n][c], next;        // next: states one step short of best
    if (!(above & ~best)) { m[n][c] = above; return; }
    if (nodfork[n] == 2) {
        CELL a = shown(m, lef[n], c), b = shown(m, sis[lef[n]], c);
        next = a & b ? a ^ b : ALLSTATES<CELL>;
    } else {
        auto count = countlacking(m, n, c);
        next = count.exactly(count.fewest(&best) + 1);
    }
    m[n][c] = best | (above & next);
}

// ---------------------------------------------------------------------------------------- ranges

struct range { int low, high; };

template<class CELL> static range rangeof(CELL **m, int n, int c)
{
    CELL x = shown(m, n, c);
    return { std::countr_zero(x), int(std::bit_width(x)) - 1 };
}

template<class CELL> static CELL rangecell(range r)
{
    return CELL(((uint32_t{2} << (r.high - r.low)) - 1) << r.low);
}

// Continuous cells: the same with bounds in thousandths.
struct continuouscells {
    uint32_t **m;
    range get(int n, int c) const
    {
        uint32_t x = m[n][c];
        if (n < nt && x == CONT_INAPP) x = CONT_MISSING;
        return { int(x & 0xffff), int(x >> 16) };
    }
    void put(int n, int c, range r) const { m[n][c] = uint32_t(r.low) | uint32_t(r.high) << 16; }
};

template<class CELL> struct additivecells {
    CELL **m;
    range get(int n, int c) const { return rangeof(m, n, c); }
    void put(int n, int c, range r) const { m[n][c] = rangecell<CELL>(r); }
};

// Best range of a node (inner), and how far beyond it the cost grows by 1 a unit (outer).
struct nodecost { range inner, outer; };

template<class CELLS> static nodecost middle(const CELLS &cells, int n, int c)
{
    int k = 0;
    for (int d = lef[n]; d >= 0; d = sis[d]) {
        range r = cells.get(d, c);
        rangebounds[k++] = r.low, rangebounds[k++] = r.high;
    }
    std::sort(rangebounds, rangebounds + k);
    const int *mid = rangebounds + k / 2;
    return { { mid[-1], mid[0] }, { mid[-2], mid[1] } };
}

template<class CELLS> static long downrange(const CELLS &cells, int n, int c)
{
    long steps = 0;
    if (nodfork[n] == 2) {
        range a = cells.get(lef[n], c), b = cells.get(sis[lef[n]], c);
        int low = std::max(a.low, b.low), high = std::min(a.high, b.high);
        if (low > high) steps = low - high, std::swap(low, high);
        cells.put(n, c, { low, high });
        return steps;
    }
    range best = middle(cells, n, c).inner;
    for (int d = lef[n]; d >= 0; d = sis[d]) {
        range r = cells.get(d, c);
        steps += std::max(0, r.low - best.low) + std::max(0, best.low - r.high);
    }
    cells.put(n, c, best);
    return steps;
}

template<class CELLS> static void uprange(const CELLS &cells, const int *tree, int n, int c)
{
    range above = cells.get(tree[n], c), best = cells.get(n, c);
    if (above.low < best.low || above.high > best.high) {
        range outer = middle(cells, n, c).outer;
        int low = above.low < best.low ? std::max(above.low, outer.low) : std::min(above.low, best.high);
        int high = above.high > best.high ? std::min(above.high, outer.high) : std::max(above.high, best.low);
        above = { low, high };
    }
    cells.put(n, c, above);
}

// --------------------------------------------------------------------------------- step matrices

static uint32_t cheapest(const uint32_t *from, const uint32_t *vector, int states)
{
    uint32_t best = from[0] + vector[0];
    for (int s = 1; s < states; ++s) best = std::min(best, from[s] + vector[s]);
    return best;
}

template<class CELL> static long downsankoff(CELL **m, int c)
{
    uint32_t *const *costs = charcodes[c].costs;
    int states = charcodes[c].numstates;
    long steps = 0;
    for (int i = optnodes - 1; i >= 0; --i) {
        int n = nodlist[i];
        uint32_t *vector = sankcosts[c] + size_t(n) * states, least = UINT32_MAX;
        CELL shared = ALLSTATES<CELL>, best = 0;
        for (int d = lef[n]; d >= 0; d = sis[d]) shared &= shown(m, d, c);
        for (int s = states - 1; s >= 0; --s) {
            vector[s] = 0;
            if (!(shared >> s & 1))
                for (int d = lef[n]; d >= 0; d = sis[d])
                    vector[s] += cheapest(costs[s], sankcosts[c] + size_t(d) * states, states);
            least = std::min(least, vector[s]);
        }
        if (!i) {
            uint32_t allowed = rootstatesof(c);
            least = UINT32_MAX;
            for (int s = 0; s < states; ++s)
                if (allowed >> s & 1) least = std::min(least, vector[s]);
            for (int s = 0; s < states; ++s)
                if (!(allowed >> s & 1)) vector[s] = NO_CHANGE + least;
        }
        for (int s = 0; s < states; ++s)
            if (!(vector[s] -= least)) best |= CELL(CELL{1} << s);
        m[n][c] = best;
        steps += least;
    }
    return steps;
}

template<class CELL> static void upsankoff(CELL **m, const int *tree, int c)
{
    uint32_t *const *costs = charcodes[c].costs;
    int states = charcodes[c].numstates;
    for (int i = 1; i < optnodes; ++i) {
        int n = nodlist[i];
        CELL above = m[tree[n]][c], now = 0;
        if (!(above & ~m[n][c])) { m[n][c] = above; continue; }
        const uint32_t *vector = sankcosts[c] + size_t(n) * states;
        for (int s = 0; s < states; ++s) {
            if (!(above >> s & 1)) continue;
            uint32_t best = cheapest(costs[s], vector, states);
            for (int u = 0; u < states; ++u)
                if (costs[s][u] + vector[u] == best) now |= CELL(CELL{1} << u);
        }
        m[n][c] = now;
    }
}

// ------------------------------------------------------------------------ thresholds, for fits

static uint32_t lowbits(int n) { return n <= 0 ? 0 : n >= 32 ? UINT32_MAX : (uint32_t{1} << n) - 1; }

// Steps of each binary variable of a character, from its terminals: bit t of zero (of one) tells that
// the node may be 0 (1) in variable t.  fill(t, zero, one) gives those of a terminal.
template<class F> static void thresholdsteps(F fill, int n, int *steps)
{
    char *here = lomark();
    uint32_t *zero = lo<uint32_t>(nodz), *one = lo<uint32_t>(nodz);
    for (int t = 0; t < nt; ++t) fill(t, zero + t, one + t);
    for (int i = 0; i < n; ++i) steps[i] = 0;
    for (int i = optnodes - 1; i >= 0; --i) {
        int node = nodlist[i];
        uint32_t allzero = UINT32_MAX, allone = UINT32_MAX;
        for (int d = lef[node]; d >= 0; d = sis[d]) allzero &= zero[d], allone &= one[d];
        for (uint32_t open = ~(allzero | allone) & lowbits(n); open; open &= open - 1) {
            int t = std::countr_zero(open), nozero = 0, noone = 0;
            for (int d = lef[node]; d >= 0; d = sis[d]) nozero += !(zero[d] >> t & 1), noone += !(one[d] >> t & 1);
            steps[t] += std::min(nozero, noone);
            if (nozero <= noone) allzero |= uint32_t{1} << t;
            if (noone <= nozero) allone |= uint32_t{1} << t;
        }
        zero[node] = allzero;
        one[node] = allone;
    }
    loset(here);
}

template<class CELL> static void storefit(CELL **m, int c)
{
    charrec &ch = charcodes[c];
    bool tree = ch.sankoff && ch.sankoff_kind == SANK_TREE;
    if (ch.sankoff ? !tree : !ch.additive || ch.continuous || !ch.sets) {
        charfit_value(c);
        return;
    }
    uint32_t states = tree ? ch.sets : states_for_fit(c);
    int low = states ? std::countr_zero(states) : 0, n = states ? std::bit_width(states) - 1 - low : 0, steps[32];
    uint32_t pattern[COSTSTATES];
    if (tree) recode_cstree(c, pattern);
    thresholdsteps([&](int t, uint32_t *zero, uint32_t *one) {
        *zero = *one = 0;
        if (!tree) {
            range r = rangeof(m, t, c);
            *zero = ~lowbits(r.low - low);
            *one = lowbits(r.high - low);
        }
        else if (uint32_t x = shown(m, t, c) & ch.sets; x && shown(m, t, c) != ALLSTATES<CELL>)
            for (; x; x &= x - 1) *one |= pattern[std::countr_zero(x)], *zero |= ~pattern[std::countr_zero(x)];
        else *zero = *one = UINT32_MAX;
    }, n, steps);
    if (n) additive_fit_by_thresholds(c, steps, n);
    else charfit_value(c);
}

// ------------------------------------------------------------------------------------ characters

// The steps of the character; false when there is nothing to optimize.
template<class CELL> static bool downsteps(CELL **m, int c)
{
    charrec &ch = charcodes[c];
    ch.steps = 0;
    ch.realsteps = ch.fit = 0;
    if (ch.constant) {
        for (int i = 0; i < optnodes; ++i) m[nodlist[i]][c] = ch.sets ? CELL(ch.sets) : ALLSTATES<CELL>;
        return ch.active;
    }
    if (!ch.active) return false;
    if constexpr (sizeof(CELL) == 4)
        if (ch.continuous) {
            ch.realsteps = double(fromtips([&](int n) { return downrange(continuouscells{ m }, n, c); })) / 1000;
            return true;
        }
    if (ch.sankoff) ch.steps = int(downsankoff(m, c));
    else if (ch.additive) ch.steps = int(fromtips([&](int n) { return downrange(additivecells<CELL>{ m }, n, c); }));
    else ch.steps = int(fromtips([&](int n) { return downset(m, n, c); }));
    return true;
}

template<class CELL> static double downchar(const int *, int c)
{
    charrec &ch = charcodes[c];
    CELL **m = rows<CELL>();
    if (!downsteps(m, c)) return 0;
    if (!dopiwe) return ch.weight * (ch.continuous ? ch.realsteps : double(ch.steps));
    storefit(m, c);
    return ch.weight * ch.fit;
}

template<class CELL> static void upchar(const int *tree, int c)
{
    const charrec &ch = charcodes[c];
    CELL **m = rows<CELL>();
    if (ch.constant || !ch.active) return;
    if constexpr (sizeof(CELL) == 4)
        if (ch.continuous) {
            fromroot([&](int n) { uprange(continuouscells{ m }, tree, n, c); });
            return;
        }
    if (ch.sankoff) upsankoff(m, tree, c);
    else if (ch.additive) fromroot([&](int n) { uprange(additivecells<CELL>{ m }, tree, n, c); });
    else fromroot([&](int n) { upset(m, tree, n, c); });
}

// ------------------------------------------------------------------------------------ row passes

// Cells of terminals that count as missing; of internal nodes every set is what it is.
template<class CELL> constexpr CELL shownif(CELL x, CELL terminal)
{
    return CELL(x | ((x & INAPPLICABLE<CELL>) == INAPPLICABLE<CELL> || !x ? terminal : CELL{0}));
}

template<class CELL> static void forkrow(CELL *__restrict best, uint32_t *__restrict steps, const CELL *__restrict a, CELL aterminal,
                                         const CELL *__restrict b, CELL bterminal, int from, int to)
{
    for (int c = from; c < to; ++c) {
        CELL x = shownif(a[c], aterminal), y = shownif(b[c], bterminal), both = x & y;
        best[c] = both ? both : CELL(x | y);
        steps[c] += !both;
    }
}

static void forkranges(uint32_t *__restrict best, uint32_t *__restrict steps, const uint32_t *__restrict a,
                       const uint32_t *__restrict b, int from, int to)
{
    for (int c = from; c < to; ++c) {
        uint32_t x = a[c] == CONT_INAPP ? CONT_MISSING : a[c], y = b[c] == CONT_INAPP ? CONT_MISSING : b[c];
        uint32_t low = std::max(x & 0xffff, y & 0xffff), high = std::min(x >> 16, y >> 16);
        steps[c] += low > high ? low - high : 0;
        best[c] = std::min(low, high) | std::max(low, high) << 16;
    }
}

// Rows of different nodes never overlap, so that the compiler takes several cells at a time.
template<class CELL> static void downrow(CELL **m, int n)
{
    int l = lef[n], r = sis[l];
    for (const charrun *run = rowruns; run < rowruns + numrowruns; ++run)
        if (nodfork[n] == 2)
            forkrow<CELL>(m[n], rowsteps, m[l], l < nt ? ALLSTATES<CELL> : 0, m[r], r < nt ? ALLSTATES<CELL> : 0, run->from, run->to);
        else
            for (int c = run->from; c < run->to; ++c) rowsteps[c] += uint32_t(downset(m, n, c));
    if constexpr (sizeof(CELL) == 4) {
        for (const charrun *run = continuousruns; run < continuousruns + numcontinuousruns; ++run)
            if (nodfork[n] == 2) forkranges(m[n], rowsteps, m[l], m[r], run->from, run->to);
            else
                for (int c = run->from; c < run->to; ++c) rowsteps[c] += uint32_t(downrange(continuouscells{ m }, n, c));
    }
}

template<class CELL> static void downrows()
{
    if (!numrowruns && !numcontinuousruns) return;
    CELL **m = rows<CELL>();
    std::fill(rowsteps, rowsteps + nc, 0);
    for (int i = optnodes - 1; i >= 0; --i) downrow(m, nodlist[i]);
    for (const charrun *run = rowruns; run < rowruns + numrowruns; ++run)
        for (int c = run->from; c < run->to; ++c) {
            charcodes[c].steps = int(rowsteps[c]);
            if (dopiwe) storefit(m, c);
        }
    for (const charrun *run = continuousruns; run < continuousruns + numcontinuousruns; ++run)
        for (int c = run->from; c < run->to; ++c) {
            charcodes[c].realsteps = rowsteps[c] / 1000.0;
            if (dopiwe) storefit(m, c);
        }
}

template<class CELL> static void uprows(const int *tree)
{
    CELL **m = rows<CELL>();
    if (!numrowruns && !numcontinuousruns) return;
    for (int i = 1; i < optnodes; ++i) {
        int n = nodlist[i];
        for (const charrun *run = rowruns; run < rowruns + numrowruns; ++run)
            for (int c = run->from; c < run->to; ++c) upset(m, tree, n, c);
        if constexpr (sizeof(CELL) == 4)
            for (const charrun *run = continuousruns; run < continuousruns + numcontinuousruns; ++run)
                for (int c = run->from; c < run->to; ++c) uprange(continuouscells{ m }, tree, n, c);
    }
}

// -------------------------------------------------------------------------------------- by width

template<class CELL> static void setpasses()
{
    chardownpass = downchar<CELL>;
    charuppass = upchar<CELL>;
    rowdownpass = downrows<CELL>;
    rowuppass = uprows<CELL>;
}

double (*chardownpass)(const int *tree, int c) = downchar<uint8_t>;
void (*charuppass)(const int *tree, int c) = upchar<uint8_t>;
void (*rowdownpass)() = downrows<uint8_t>;
void (*rowuppass)(const int *tree) = uprows<uint8_t>;

void set_chardownup()
{
    celldim == 1 ? setpasses<uint8_t>() : celldim == 2 ? setpasses<uint16_t>() : setpasses<uint32_t>();
}
