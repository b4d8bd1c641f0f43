// What step matrices are: whether they keep the triangle inequality, whether both ways cost the
// same, and whether they are the distances on a tree of the states.
#include "data/costs.h"
#include "kernel/output.h"
#include <bit>

// --- Triangle inequality ---

void chk_3gl_ineq()
{
    int first[4] = { -1, 0, 0, 0 };
    for (int c = 0; c < nc; ++c) {
        charrec &r = charcodes[c];
        if (!r.active || !r.sankoff || r.continuous || r.numstates <= 2) continue;
        for (int via = 0; via < r.numstates; ++via)          // this order leaves no fault behind
            for (int a = 0; a < r.numstates; ++a)
                for (int b = 0; b < r.numstates; ++b) {
                    uint32_t sum = r.costs[a][via] + r.costs[via][b];
                    if (r.costs[a][b] <= sum) continue;
                    if (first[0] < 0) first[0] = c, first[1] = a, first[2] = via, first[3] = b;
                    r.costs[a][b] = sum;
                    r.recalc = 1;
                }
    }
    if (first[0] < 0) return;
    spewem("WARNING - triangle inequality violated in some characters", nullptr);
    myp("e.g. character %i, states %i, %i and %i. Fixed.\n", first[0], first[1], first[2], first[3]);
}

// --- Kinds ---

bool isasymmetric(int c, int *from, int *to)
{
    const charrec &r = charcodes[c];
    for (*from = 0; *from < r.numstates; ++*from)
        for (*to = *from + 1; *to < r.numstates; ++*to)
            if (r.costs[*from][*to] != r.costs[*to][*from]) return true;
    return false;
}

void settlecosts()
{
    int a, b;
    have_asymmetric = 0;
    for (int c = 0; c < nc; ++c) {
        charrec &r = charcodes[c];
        r.sankoff_kind = 0;
        if (!r.active || !r.sankoff || r.continuous) continue;
        if (isasymmetric(c, &a, &b)) {
            r.sankoff_kind = SANK_ASYMMETRIC;
            have_asymmetric = 1;
        }
        else if (replace_cstrees && isacstree(c)) r.sankoff_kind = SANK_TREE;
    }
}

// --- State trees ---

static bool linked(const charrec &r, int a, int b) { return r.costs[a][b] == 1 && r.costs[b][a] == 1; }

// Calls visit(state, its ancestor) for all states reached from the lowest one, which has ancestor
// -1, over branches among the states low..high; returns how many.
template<class F> static int awayfromlowest(const charrec &r, int low, int high, F visit)
{
    int queue[COSTSTATES], n = 0;
    uint32_t seen = uint32_t{1} << low;
    queue[n++] = low;
    visit(low, -1);
    for (int i = 0; i < n; ++i)
        for (int s = low; s <= high; ++s) {
            if (seen >> s & 1 || !linked(r, queue[i], s)) continue;
            seen |= uint32_t{1} << s;
            queue[n++] = s;
            visit(s, queue[i]);
        }
    return n;
}

static int branchesamong(const charrec &r, uint32_t states)
{
    int n = 0;
    for (uint32_t x = states; x; x &= x - 1)
        for (uint32_t y = x & (x - 1); y; y &= y - 1) n += linked(r, std::countr_zero(x), std::countr_zero(y));
    return n;
}

// Connected with one branch less than states, it is a tree; of a cell with several states, the
// binary variables are right only where these are next to each other.
bool isacstree(int c)
{
    const charrec &r = charcodes[c];
    if (std::popcount(r.sets) < 2) return false;
    int low = std::countr_zero(r.sets), high = std::bit_width(r.sets) - 1;
    uint32_t range = (~uint32_t{0} >> (31 - high)) & ~uint32_t{0} << low;
    if (branchesamong(r, range) != high - low) return false;
    uint32_t distance[COSTSTATES][COSTSTATES] = {}, before = 0;
    bool same = true;
    int n = awayfromlowest(r, low, high, [&](int s, int from) {
        for (uint32_t x = before; x; x &= x - 1) {
            int t = std::countr_zero(x);
            distance[s][t] = distance[t][s] = t == from ? 1 : distance[from][t] + 1;
            same &= r.costs[s][t] == distance[s][t] && r.costs[t][s] == distance[s][t];
        }
        before |= uint32_t{1} << s;
    });
    if (n != high - low + 1 || !same) return false;
    for (int t = 0; t < nt; ++t) {
        uint32_t x = cell(t, c) & r.sets;
        if (ismissing(cell(t, c)) || !(x & (x - 1))) continue;
        if (branchesamong(r, x) != std::popcount(x) - 1) return false;
    }
    return true;
}

int recode_cstree(int c, uint32_t *pattern)
{
    const charrec &r = charcodes[c];
    int variables = 0;
    awayfromlowest(r, std::countr_zero(r.sets), std::bit_width(r.sets) - 1, [&](int s, int from) {
        pattern[s] = from < 0 ? 0 : pattern[from] | uint32_t{1} << variables++;
    });
    return variables;
}
