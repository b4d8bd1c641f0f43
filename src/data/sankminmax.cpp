// Fewest and most steps of a character with step costs.
//
// A tree for one character can give each of its states a place of its own, so the minimum is the
// cheapest set of changes that leads from some state to one state at least of every cell: a
// directed Steiner tree among the states (Dreyfus & Wagner 1972), with the cells as its ends.  Where
// each end is a single state, few states are left that may or may not be on the way: for each choice
// of them the best is a shortest arborescence (Edmonds 1967), found faster and for any number of ends.
#include "data/minmax.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include <algorithm>
#include <bit>

constexpr long NEVER = 1L << 50;

namespace { struct pathcosts { long of[32][32]; }; }

// Cheapest changes through any states in between.
static void closure(int c, int states, pathcosts *path)
{
    for (int a = 0; a < states; ++a)
        for (int b = 0; b < states; ++b) path->of[a][b] = a == b ? 0 : long(charcodes[c].costs[a][b]);
    for (int k = 0; k < states; ++k)
        for (int a = 0; a < states; ++a)
            for (int b = 0; b < states; ++b)
                path->of[a][b] = std::min(path->of[a][b], path->of[a][k] + path->of[k][b]);
}

static long reach(const pathcosts &path, int from, uint32_t cell)
{
    long best = NEVER;
    for (uint32_t x = cell; x; x &= x - 1) best = std::min(best, path.of[from][std::countr_zero(x)]);
    return best;
}

static long steiner(const pathcosts &path, int states, const uint32_t *cells, int n)
{
    char *mark = himark();
    uint32_t subsets = uint32_t{1} << n;
    uint32_t *cost = hi<uint32_t>(size_t(subsets) * size_t(states));    // of reaching the cells of a subset from a state
    for (uint32_t s = 1; s < subsets; ++s) {
        uint32_t *row = cost + size_t(s) * size_t(states);
        if (!(s & (s - 1)))
            for (int a = 0; a < states; ++a) row[a] = uint32_t(reach(path, a, cells[std::countr_zero(s)]));
        else {
            long joined[32];
            for (int a = 0; a < states; ++a) {
                joined[a] = NEVER;
                for (uint32_t part = (s - 1) & s; part; part = (part - 1) & s)
                    joined[a] = std::min(joined[a], long(cost[size_t(part) * states + a]) + cost[size_t(s ^ part) * states + a]);
            }
            for (int a = 0; a < states; ++a) {
                long least = NEVER;
                for (int b = 0; b < states; ++b) least = std::min(least, path.of[a][b] + joined[b]);
                row[a] = uint32_t(least);
            }
        }
    }
    uint32_t *all = cost + size_t(subsets - 1) * size_t(states);
    long best = *std::min_element(all, all + states);
    hiset(mark);
    return best;
}

namespace { struct arcs { int n; long cost[33][33]; }; }

// The cheapest way from node 0 to all others; circles of best arcs are made one node until there is none.
static long arborescence(arcs g)
{
    long total = 0;
    for (int root = 0;;) {
        int from[33], circle[33], seen[33], circles = 0;
        for (int v = 0; v < g.n; ++v) {
            circle[v] = seen[v] = -1;
            from[v] = v == 0;
            for (int u = 0; u < g.n; ++u)
                if (u != v && g.cost[u][v] < g.cost[from[v]][v]) from[v] = u;
            if (v != root) total += g.cost[from[v]][v];
        }
        for (int v = 0; v < g.n; ++v) {
            int u = v;
            for (; u != root && seen[u] != v && circle[u] < 0; u = from[u]) seen[u] = v;
            if (u == root || circle[u] >= 0) continue;
            for (int x = from[u]; x != u; x = from[x]) circle[x] = circles;
            circle[u] = circles++;
        }
        if (!circles) return total;
        int n = circles;
        for (int v = 0; v < g.n; ++v)
            if (circle[v] < 0) circle[v] = n++;
        arcs joined{};
        joined.n = n;
        for (auto &row : joined.cost) std::fill(row, row + 33, NEVER);
        for (int u = 0; u < g.n; ++u)
            for (int v = 0; v < g.n; ++v) {
                if (circle[u] == circle[v]) continue;
                long cost = v == root ? NEVER : g.cost[u][v] - g.cost[from[v]][v];
                long &old = joined.cost[circle[u]][circle[v]];
                old = std::min(old, cost);
            }
        root = circle[root];
        g = joined;
    }
}

// Every end is a state of its own; `between` are the others, any of which may be on the way.  Node 0
// is above the first state, whichever that is.
static long arborescences(const pathcosts &path, uint32_t ends, uint32_t between)
{
    constexpr long START = 1L << 40;         // leaving node 0 is dear, so that it is done once
    long best = NEVER;
    for (uint32_t some = between;; some = (some - 1) & between) {
        int state[33], n = 1;
        for (uint32_t x = ends | some; x; x &= x - 1) state[n++] = std::countr_zero(x);
        arcs g{};
        g.n = n;
        for (int v = 0; v < n; ++v)
            for (int u = 0; u < n; ++u) g.cost[u][v] = !v ? NEVER : !u ? START : path.of[state[u]][state[v]];
        best = std::min(best, arborescence(g) - START);
        if (!some) return best;
    }
}

// From each state in turn, the cell closest to what is joined is joined next.
static long closestfirst(const pathcosts &path, int states, const uint32_t *cells, int n)
{
    long best = NEVER;
    for (int start = 0; start < states; ++start) {
        uint32_t joined = uint32_t{1} << start;
        long sum = 0;
        for (;;) {
            long step = NEVER;
            int to = -1;
            for (int i = 0; i < n; ++i) {
                if (cells[i] & joined) continue;
                for (uint32_t x = cells[i]; x; x &= x - 1)
                    for (uint32_t j = joined; j; j &= j - 1) {
                        long d = path.of[std::countr_zero(j)][std::countr_zero(x)];
                        if (to < 0 || d < step) step = d, to = std::countr_zero(x);
                    }
            }
            if (to < 0) break;
            sum += step;
            joined |= uint32_t{1} << to;
        }
        best = std::min(best, sum);
    }
    return best;
}

void sankminmax(int c, const uint32_t *cells, int n, long *least, long *most)
{
    char *mark = himark();
    uint32_t *kinds = hi<uint32_t>(size_t(n));
    std::copy(cells, cells + n, kinds);
    std::sort(kinds, kinds + n);
    int different = int(std::unique(kinds, kinds + n) - kinds);
    int states = charcodes[c].numstates;
    pathcosts path;
    closure(c, states, &path);

    *most = NEVER;
    for (int a = 0; a < states; ++a) {
        long sum = 0;
        for (int i = 0; i < n; ++i) sum += reach(path, a, cells[i]);
        *most = std::min(*most, sum);
    }
    std::sort(kinds, kinds + different, [](uint32_t a, uint32_t b) { return std::popcount(a) < std::popcount(b); });
    int m = 0;                           // a cell that contains another one is reached with it
    for (int i = 0; i < different; ++i)
        if (std::none_of(kinds, kinds + m, [&](uint32_t k) { return (k & kinds[i]) == k; })) kinds[m++] = kinds[i];
    uint32_t ends = 0;
    for (int i = 0; i < m; ++i) ends |= kinds[i];
    uint32_t between = (~uint32_t{0} >> (32 - states)) & ~ends;
    bool single = std::popcount(ends) == m;
    if (single && std::popcount(between) <= MOSTBETWEEN) *least = arborescences(path, ends, between);
    else if (m <= EXACTCELLS) *least = steiner(path, states, kinds, m);
    else *least = closestfirst(path, states, kinds, m);
    hiset(mark);
}
