// The slow passes: one character at a time, on the rows of the matrix.
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
#include <algorithm>
#include <bit>
#include <cassert>
#include <limits>
#include "data/matrix.h"
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

// ------------------------------------------------------------------------------ unordered states

// For each state the descendants of n that lack it; returns the least.
template<class CELL> static int lacking(CELL **m, int n, int c, int *count)
{
    constexpr int states = std::numeric_limits<CELL>::digits;
    std::fill(count, count + states, 0);
    for (int d = lef[n]; d >= 0; d = sis[d]) {
        CELL x = shown(m, d, c);
        for (int s = 0; s < states; ++s) count[s] += !(x >> s & 1);
    }
    return *std::min_element(count, count + states);
}

template<class CELL> static CELL statesat(const int *count, int level)
{
    CELL x = 0;
    for (int s = 0; s < std::numeric_limits<CELL>::digits; ++s)
        if (count[s] == level) x |= CELL(CELL{1} << s);
    return x;
}

template<class CELL> static int downsets(CELL **m, int c)
{
    int steps = 0, count[std::numeric_limits<CELL>::digits];
    for (int i = optnodes - 1; i >= 0; --i) {
        int n = nodlist[i];
        if (nodfork[n] == 2) {
            CELL a = shown(m, lef[n], c), b = shown(m, sis[lef[n]], c);
            steps += !(a & b);
            m[n][c] = a & b ? a & b : a | b;
        } else {
            int least = lacking(m, n, c, count);
            steps += least;
            m[n][c] = statesat<CELL>(count, least);
        }
    }
    return steps;
}

template<class CELL> static void upsets(CELL **m, const int *tree, int c)
{
    int count[std::numeric_limits<CELL>::digits];
    for (int i = 1; i < optnodes; ++i) {
        int n = nodlist[i];
        CELL above = m[tree[n]][c], best = m[n][c];
        if (!(above & ~best)) { m[n][c] = above; continue; }
        CELL next;                               // states one step short of best
        if (nodfork[n] == 2) {
            CELL a = shown(m, lef[n], c), b = shown(m, sis[lef[n]], c);
            next = a & b ? a ^ b : ALLSTATES<CELL>;
        } else {
            int least = lacking(m, n, c, count);
            next = statesat<CELL>(count, least + 1);
        }
        m[n][c] = best | (above & next);
    }
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

template<class CELLS> static long downranges(const CELLS &cells, int c)
{
    long steps = 0;
    for (int i = optnodes - 1; i >= 0; --i) {
        int n = nodlist[i];
        if (nodfork[n] == 2) {
            range a = cells.get(lef[n], c), b = cells.get(sis[lef[n]], c);
            int low = std::max(a.low, b.low), high = std::min(a.high, b.high);
            if (low > high) steps += low - high, std::swap(low, high);
            cells.put(n, c, { low, high });
        } else {
            range best = middle(cells, n, c).inner;
            for (int d = lef[n]; d >= 0; d = sis[d]) {
                range r = cells.get(d, c);
                steps += std::max(0, r.low - best.low) + std::max(0, best.low - r.high);
            }
            cells.put(n, c, best);
        }
    }
    return steps;
}

template<class CELLS> static void upranges(const CELLS &cells, const int *tree, int c)
{
    for (int i = 1; i < optnodes; ++i) {
        int n = nodlist[i];
        range above = cells.get(tree[n], c), best = cells.get(n, c);
        if (above.low < best.low || above.high > best.high) {
            range outer = middle(cells, n, c).outer;
            int low = above.low < best.low ? std::max(above.low, outer.low) : std::min(above.low, best.high);
            int high = above.high > best.high ? std::min(above.high, outer.high) : std::max(above.high, best.low);
            above = { low, high };
        }
        cells.put(n, c, above);
    }
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

// ------------------------------------------------------------------------------------ characters

template<class CELL> static double downchar(const int *tree, int c)
{
    charrec &ch = charcodes[c];
    CELL **m = rows<CELL>();
    ch.steps = 0;
    ch.realsteps = ch.fit = 0;
    if (ch.constant) {
        for (int i = 0; i < optnodes; ++i) m[nodlist[i]][c] = ch.sets ? CELL(ch.sets) : ALLSTATES<CELL>;
        return 0;
    }
    if (!ch.active) return 0;
    if constexpr (sizeof(CELL) == 4)
        if (ch.continuous) {
            ch.realsteps = double(downranges(continuouscells{ m }, c)) / 1000;
            return ch.weight * ch.realsteps;
        }
    if (ch.sankoff) ch.steps = int(downsankoff(m, c));
    else if (ch.additive) ch.steps = int(downranges(additivecells<CELL>{ m }, c));
    else ch.steps = downsets(m, c);
    return double(ch.weight) * ch.steps;
}

template<class CELL> static void upchar(const int *tree, int c)
{
    const charrec &ch = charcodes[c];
    CELL **m = rows<CELL>();
    if (ch.constant || !ch.active) return;
    if constexpr (sizeof(CELL) == 4)
        if (ch.continuous) {
            upranges(continuouscells{ m }, tree, c);
            return;
        }
    if (ch.sankoff) upsankoff(m, tree, c);
    else if (ch.additive) upranges(additivecells<CELL>{ m }, tree, c);
    else upsets(m, tree, c);
}

double (*chardownpass)(const int *tree, int c) = downchar<uint8_t>;
void (*charuppass)(const int *tree, int c) = upchar<uint8_t>;

void set_chardownup()
{
    chardownpass = celldim == 1 ? downchar<uint8_t> : celldim == 2 ? downchar<uint16_t> : downchar<uint32_t>;
    charuppass = celldim == 1 ? upchar<uint8_t> : celldim == 2 ? upchar<uint16_t> : upchar<uint32_t>;
}
