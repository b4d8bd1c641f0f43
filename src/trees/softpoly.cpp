// Soft polytomies: each character may resolve a node as suits it best.
//
// A polytomy of unordered states needs one step less than the fewest states that give every
// descendant one of its own (a smallest hitting set of their sets): the descendants of one state
// are joined first, then those groups.  Any state of any such smallest choice can be at the node.
// Ranges behave at a polytomy as they do at a fork: from the lowest high bound to the highest
// low bound.  Either way a state outside the node's set costs its distance more, so that the set
// is all that the ancestor needs to know.
#include "trees/scores.h"
#include <algorithm>
#include <bit>
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/errors.h"
#include "trees/implied.h"
#include "trees/lightopt.h"
#include "trees/treemodel.h"

// The states of the terminals, as a node shows them: bits, or bounds of a range.
static uint32_t terminalstates(int t, int c)
{
    uint32_t x = cell(t, c);
    return ismissing(x) || !(x & charcodes[c].sets) ? charcodes[c].sets : x & charcodes[c].sets;
}

// Keeps in sets[0..n-1] those that hold no other of them, smallest first; returns how many.
static int essential(uint32_t *sets, int n)
{
    std::sort(sets, sets + n, [](uint32_t a, uint32_t b) {
        return std::popcount(a) != std::popcount(b) ? std::popcount(a) < std::popcount(b) : a < b;
    });
    int kept = 0;
    for (int i = 0; i < n; ++i)
        if (std::none_of(sets, sets + kept, [&](uint32_t s) { return (s & ~sets[i]) == 0; })) sets[kept++] = sets[i];
    return kept;
}

// The union of all hitting sets of `size` states; 0 when there is none.  Depth first: the first
// set not hit yet must be hit by one of its states, which are tried in turn.
static uint32_t hittingstates(const uint32_t *sets, int n, int size)
{
    uint32_t chosen[33] = { 0 }, totry[33], found = 0;
    auto firstmissed = [&](uint32_t states) {
        for (int i = 0; i < n; ++i)
            if (!(sets[i] & states)) return sets[i];
        return uint32_t{0};
    };
    int depth = 0;
    totry[0] = sets[0];
    while (depth >= 0) {
        if (!totry[depth]) { --depth; continue; }
        uint32_t state = totry[depth] & -totry[depth];
        totry[depth] ^= state;
        uint32_t states = chosen[depth] | state, missed = firstmissed(states);
        if (!missed) found |= states;
        else if (depth + 1 < size) chosen[++depth] = states, totry[depth] = missed;
    }
    return found;
}

static int softsets(uint32_t *set, uint32_t *below)
{
    int steps = 0;
    for (int i = optnodes - 1; i >= 0; --i) {
        int n = 0, node = nodlist[i];
        uint32_t all = ~uint32_t{0};
        for (int d = lef[node]; d >= 0; d = sis[d]) all &= below[n++] = set[d];
        if (all) {
            set[node] = all;
            continue;
        }
        if (n == 2) {
            set[node] = below[0] | below[1];
            ++steps;
            continue;
        }
        n = essential(below, n);
        uint32_t found = 0;
        int size = 0;
        while (!found) found = hittingstates(below, n, ++size);
        set[node] = found;
        steps += size - 1;
    }
    return steps;
}

static long softranges(int *low, int *high)
{
    long steps = 0;
    for (int i = optnodes - 1; i >= 0; --i) {
        int n = nodlist[i];
        low[n] = low[lef[n]], high[n] = high[lef[n]];
        for (int d = sis[lef[n]]; d >= 0; d = sis[d]) {
            low[n] = std::max(low[n], low[d]);
            high[n] = std::min(high[n], high[d]);
        }
        if (low[n] > high[n]) steps += low[n] - high[n], std::swap(low[n], high[n]);
    }
    return steps;
}

double find_a_min(int c)
{
    const charrec &ch = charcodes[c];
    if (!ch.continuous && !ch.sets) return 0;
    char *here = lomark();
    double steps;
    if (ch.additive || ch.continuous) {
        int *low = lo<int>(nodz), *high = lo<int>(nodz);
        for (int t = 0; t < nt; ++t) {
            uint32_t x = ch.continuous ? cell(t, c) : terminalstates(t, c);
            if (ch.continuous && x == CONT_INAPP) x = CONT_MISSING;
            low[t] = ch.continuous ? int(x & 0xffff) : std::countr_zero(x);
            high[t] = ch.continuous ? int(x >> 16) : std::bit_width(x) - 1;
        }
        steps = double(softranges(low, high)) / (ch.continuous ? 1000 : 1);
    } else {
        uint32_t *set = lo<uint32_t>(nodz), *below = lo<uint32_t>(nt);
        for (int t = 0; t < nt; ++t) set[t] = terminalstates(t, c);
        steps = softsets(set, below);
    }
    loset(here);
    return steps;
}

// The fit of an additive character: each threshold is a character of two states, which a polytomy
// with both of them resolves at the cost of one step.
static void softthresholds(int c)
{
    const charrec &ch = charcodes[c];
    char *here = lomark();
    uint32_t *zero = lo<uint32_t>(nodz), *one = lo<uint32_t>(nodz), within = 0;
    int low = std::countr_zero(ch.sets), n = std::bit_width(ch.sets) - 1 - low, steps[32] = { 0 };
    for (int t = 0; t < n; ++t) within |= uint32_t{1} << t;
    for (int t = 0; t < nt; ++t) {
        uint32_t x = terminalstates(t, c) >> low;
        zero[t] = within & ~((uint32_t{1} << std::countr_zero(x)) - 1);
        one[t] = within & ((uint32_t{1} << (std::bit_width(x) - 1)) - 1);
    }
    for (int i = optnodes - 1; i >= 0; --i) {
        int node = nodlist[i];
        zero[node] = one[node] = within;
        for (int d = lef[node]; d >= 0; d = sis[d]) zero[node] &= zero[d], one[node] &= one[d];
        uint32_t open = within & ~(zero[node] | one[node]);
        zero[node] |= open;
        one[node] |= open;
        for (; open; open &= open - 1) ++steps[std::countr_zero(open)];
    }
    loset(here);
    additive_fit_by_thresholds(c, steps, n);
}

double softpolyoptimize(const int *tree)
{
    for (int c = 0; c < nc; ++c)
        if (charcodes[c].active && charcodes[c].sankoff && !charcodes[c].continuous)
            myerr("Cannot optimize polytomies as \"soft\" for Sankoff characters");
    optnodes = mkoptlist(nodlist, tree);
    if (std::all_of(nodlist, nodlist + optnodes, [](int n) { return nodfork[n] == 2; })) return packdownpass(tree);
    must_match_active_taxa(tree);
    if (dopiwe) start_fits();
    double score = 0;
    for (int c = 0; c < nc; ++c) {
        charrec &ch = charcodes[c];
        ch.steps = 0;
        ch.realsteps = ch.fit = 0;
        if (!ch.active) continue;
        double steps = find_a_min(c);
        if (ch.continuous) ch.realsteps = steps;
        else ch.steps = ftisql(steps);
        if (!dopiwe) score += ch.weight * steps;
        else if (ch.additive && !ch.continuous && !ch.constant) softthresholds(c);
        else charfit_value(c);
    }
    if (!dopiwe) return score;
    put_wtsets_in_charcodes();
    return sum_of_fits();
}
