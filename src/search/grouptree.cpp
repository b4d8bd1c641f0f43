#include "search/grouptree.h"
#include "data/matrix.h"
#include "trees/scratch.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <bit>
#include <climits>
#include <cstring>

template<class T> static T *room(void *(*take)(size_t), size_t n) { return static_cast<T *>(take(n * sizeof(T))); }

// Ranks: a terminal comes after those of the subtrees to its left, so a node with k terminals takes
// k places in a row.  The walk goes from the root down with the sizes known.
static void ranktaxa(grouptree *g)
{
    hiscratch scratch;
    int *size = g->size, *next = zhi<int>(g->slots), *order = hi<int>(g->slots), n = 0;
    std::fill(size, size + g->slots, 0);
    auto above = [&](int k) { return g->anc[k]; };
    auto present = [&](int k) { return k == g->taxa || g->anc[k]; };
    int *pending = zhi<int>(g->slots);               // descendants not yet summed up
    for (int k = 0; k < g->slots; ++k)
        if (k != g->taxa && present(k)) ++pending[above(k)];
    for (int k = 0; k < g->slots; ++k)
        if (k < g->taxa && present(k)) {
            size[k] = 1;
            order[n++] = k;
        }
    for (int i = 0; i < n; ++i) {
        int k = order[i];
        if (k == g->taxa) break;
        size[above(k)] += size[k];
        if (!--pending[above(k)]) order[n++] = above(k);
    }
    g->ranked = size[g->taxa];
    g->depth[g->taxa] = 0;
    for (int i = n - 1; i >= 0; --i) {               // ancestors first
        int k = order[i];
        if (k == g->taxa) continue;
        int from = next[above(k)];
        next[above(k)] += size[k];
        next[k] = from;
        g->depth[k] = g->depth[above(k)] + 1;
        if (k >= g->taxa) continue;
        g->rank[k] = from;
        g->terminal[from] = k;
    }
}

// The group in which two neighbours of the walk meet.
static void neighbourjoins(grouptree *g)
{
    for (int i = 0; i + 1 < g->ranked; ++i) {
        int a = g->terminal[i], b = g->terminal[i + 1];
        while (a != b) {
            if (g->depth[a] < g->depth[b]) std::swap(a, b);
            a = g->anc[a];
        }
        g->joins[i] = a;
    }
    for (int k = 1; k < g->levels; ++k)
        for (int i = 0; i + (1 << k) < g->ranked; ++i) {
            int a = g->joins[(k - 1) * g->taxa + i], b = g->joins[(k - 1) * g->taxa + i + (1 << (k - 1))];
            g->joins[k * g->taxa + i] = g->depth[a] <= g->depth[b] ? a : b;
        }
}

void makegrouptree(grouptree *g, const int *anc, int taxa, int nodes, void *(*take)(size_t))
{
    *g = {};
    g->taxa = taxa;
    g->slots = anc[taxa];
    g->levels = int(std::bit_width(unsigned(taxa)));
    g->anc = room<int>(take, size_t(g->slots));
    memcpy(g->anc, anc, size_t(g->slots) * sizeof(int));
    g->rank = room<int>(take, size_t(taxa));
    std::fill(g->rank, g->rank + taxa, -1);
    g->terminal = room<int>(take, size_t(taxa));
    g->depth = room<int>(take, size_t(g->slots));
    g->size = room<int>(take, size_t(g->slots));
    g->joins = room<int>(take, size_t(g->levels) * taxa);
    g->entered = room<uint8_t>(take, size_t(taxa));
    g->count = room<int>(take, size_t(g->slots));
    g->first = room<int>(take, size_t(nodes));
    g->last = room<int>(take, size_t(nodes));
    g->held = room<int>(take, size_t(nodes));
    ranktaxa(g);
    neighbourjoins(g);
    leavealltaxa(g);
}

void leavealltaxa(grouptree *g)
{
    std::fill(g->entered, g->entered + g->taxa, 0);
    std::fill(g->count, g->count + g->slots, 0);
    g->here = 0;
}

static void settaxon(grouptree *g, int t, bool counts)
{
    if (g->rank[t] < 0 || g->entered[t] == counts) return;
    int by = counts ? 1 : -1, n = t;
    g->entered[t] = counts;
    g->here += by;
    do {
        n = g->anc[n];
        g->count[n] += by;
    } while (n != g->taxa);
}

void entertaxon(grouptree *g, int t) { settaxon(g, t, true); }
void leavetaxon(grouptree *g, int t) { settaxon(g, t, false); }

void enteralltaxa(grouptree *g)
{
    for (int t = 0; t < g->taxa; ++t) g->entered[t] = g->rank[t] >= 0;
    std::copy(g->size + g->taxa, g->size + g->slots, g->count + g->taxa);
    g->here = g->ranked;
}

int smallestgroup(const grouptree *g, int rank1, int rank2)
{
    if (rank1 == rank2) return g->terminal[rank1];
    int k = std::bit_width(unsigned(rank2 - rank1)) - 1;
    int a = g->joins[k * g->taxa + rank1], b = g->joins[k * g->taxa + rank2 - (1 << k)];
    return g->depth[a] <= g->depth[b] ? a : b;
}

static void addto(grouptree *g, int node, int first, int last, int held)
{
    g->first[node] = std::min(g->first[node], first);
    g->last[node] = std::max(g->last[node], last);
    g->held[node] += held;
}

void matchgroups(grouptree *g, const int *anc, const int *list, int n, int *match, int leftout)
{
    for (int i = 0; i < n; ++i) {
        g->first[list[i]] = INT_MAX;
        g->last[list[i]] = -1;
        g->held[list[i]] = 0;
    }
    for (int t = 0; t < g->taxa; ++t)
        if (g->entered[t]) addto(g, anc[t] & NODEBITS, g->rank[t], g->rank[t], 1);
    for (int i = n - 1; i >= 0; --i) {
        int k = list[i];
        match[k] = -1;
        if (i) addto(g, anc[k] & NODEBITS, g->first[k], g->last[k], g->held[k]);
        if (g->held[k] < 2 || g->held[k] > g->here - leftout) continue;
        int group = smallestgroup(g, g->first[k], g->last[k]);
        if (g->count[group] == g->held[k]) match[k] = group;
    }
}

// Groups with the same taxa left count once: they are those of their smallest one.
int missinggroups(grouptree *g, const int *anc, const int *list, int n)
{
    hiscratch scratch;
    int *match = hi<int>(nodz), wanted = 0, found = 0;
    int *kids = zhi<int>(g->slots);                        // descendants with taxa that count
    uint8_t *seen = zhi<uint8_t>(g->slots);
    matchgroups(g, anc, list, n, match);
    for (int t = 0; t < g->taxa; ++t)
        if (g->entered[t]) ++kids[g->anc[t]];
    for (int k = g->taxa + 1; k < g->slots; ++k)
        if (g->count[k]) ++kids[g->anc[k]];
    for (int k = g->taxa + 1; k < g->slots; ++k) wanted += kids[k] > 1 && g->count[k] <= g->here - 2;
    for (int i = 0; i < n; ++i) {
        int group = match[list[i]];
        if (group < 0 || seen[group]) continue;
        seen[group] = 1;
        ++found;
    }
    return wanted - found;
}
