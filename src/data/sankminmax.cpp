// Fewest and most steps of a character with step costs.
//
// A tree for one character can give each of its states a place of its own, so the minimum is the
// cheapest set of changes that leads from some state to one state at least of every cell: a
// directed Steiner tree among the states (Dreyfus & Wagner 1972), with the cells as its ends.
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
    long *cost = hi<long>(size_t(subsets) * 32);         // of reaching the cells of a subset from a state
    for (uint32_t s = 1; s < subsets; ++s) {
        long *row = cost + size_t(s) * 32;
        if (!(s & (s - 1)))
            for (int a = 0; a < states; ++a) row[a] = reach(path, a, cells[std::countr_zero(s)]);
        else {
            long joined[32];
            for (int a = 0; a < states; ++a) {
                joined[a] = NEVER;
                for (uint32_t part = (s - 1) & s; part; part = (part - 1) & s)
                    joined[a] = std::min(joined[a], cost[size_t(part) * 32 + a] + cost[size_t(s ^ part) * 32 + a]);
            }
            for (int a = 0; a < states; ++a) {
                row[a] = NEVER;
                for (int b = 0; b < states; ++b) row[a] = std::min(row[a], path.of[a][b] + joined[b]);
            }
        }
    }
    long *all = cost + size_t(subsets - 1) * 32;
    long best = *std::min_element(all, all + states);
    hiset(mark);
    return best;
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
    *least = m <= EXACTCELLS ? steiner(path, states, kinds, m) : closestfirst(path, states, kinds, m);
    hiset(mark);
}
