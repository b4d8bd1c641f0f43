// Places are inferred from what two groups A and B tell of the same taxa:
//
//     some inside both, some of A outside B     B is within A: what is inside B is inside A, and what
//                                               is outside A is outside B
//     none inside both, some of A outside B     they have no taxon in common: what is inside the
//       and some of B outside A                 one is outside the other
//
// All else leaves them open.  What stays open is not guessed: the tree is built from the root up,
// splitting each set of taxa into the least parts that keep together what every group with taxa
// outside, in that set, holds together; so a taxon that nobody places hangs where it contradicts
// nobody, and polytomies say what is not known.
#include "compare/mixgroups.h"
#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include "compare/groups.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/progress.h"
#include "trees/treemodel.h"

int togrus = 0;
mixgroup *mixgroups = nullptr;
uint8_t *misstax = nullptr;

static uint32_t *taking = nullptr;    // row of the taxa that take part
static int pass = 0;                  // of fillmissing

static bool has(const uint32_t *row, int t) { return row[t / 32] >> t % 32 & 1; }
static void add(uint32_t *row, int t)       { row[t / 32] |= 1u << t % 32; }

static int count(const uint32_t *row)
{
    int n = 0;
    for (int w = 0; w < bitwords; ++w) n += std::popcount(row[w]);
    return n;
}

static bool ischosen(int n, const int *sizes, int all) { return sizes[n] > 1 && sizes[n] < all; }

void laymixgroups(int *const *trees, int ntrees, const uint8_t *list, const uint8_t *excluded)
{
    bitwords = (nt + 31) / 32;
    int *sizes = lo<int>(nodz), *one = lo<int>(nodz);
    togrus = 0;
    for (int t = 0; t < ntrees; ++t) {
        if (!selectedtree(list, t)) continue;
        calcusizes(trees[t], sizes, one, excluded);
        for (int n = nt + 1; n < trees[t][nt]; ++n) togrus += ischosen(n, sizes, sizes[nt]);
    }
    taking = zlo<uint32_t>(bitwords);
    for (int t = 0; t < nt; ++t)
        if (!excluded[t]) add(taking, t);
    misstax = zlo<uint8_t>(nt);
    mixgroups = lo<mixgroup>(std::max(1, togrus));
    for (int g = 0; g < togrus; ++g) {
        mixgroups[g].in = lo<uint32_t>(bitwords);
        mixgroups[g].missing = lo<uint32_t>(bitwords);
    }
}

void readmixgroups(int *const *trees, int ntrees, const uint8_t *list, const uint8_t *excluded)
{
    char *mark = lomark();
    int *sizes = lo<int>(nodz), *one = lo<int>(nodz), g = 0;
    uint32_t *rows = lo<uint32_t>(size_t(nodz) * bitwords);
    pass = 0;
    for (int t = 0; t < ntrees; ++t) {
        if (!selectedtree(list, t)) continue;
        const int *tree = trees[t];
        calcusizes(tree, sizes, one, excluded);
        int inner = mkoptlist(nodlist, tree);
        auto row = [&](int n) { return rows + size_t(n) * bitwords; };
        memset(rows, 0, sizeof(uint32_t) * size_t(tree[nt]) * bitwords);
        for (int i = 0; i < nt; ++i)
            if (tree[i] && !excluded[i]) add(row(i), i);
        for (int i = inner - 1; i >= 0; --i)
            for (int d = lef[nodlist[i]]; d >= 0; d = sis[d])
                for (int w = 0; w < bitwords; ++w) row(nodlist[i])[w] |= row(d)[w];
        for (int n = nt + 1; n < tree[nt]; ++n) {
            if (!ischosen(n, sizes, sizes[nt])) continue;
            mixgroup &m = mixgroups[g++];
            memcpy(m.in, row(n), sizeof(uint32_t) * bitwords);
            for (int w = 0; w < bitwords; ++w) m.missing[w] = taking[w] & ~row(nt)[w];
            m.size = sizes[n];
            m.nmissing = count(m.missing);
            m.tree = t;
            m.lastouch = 0;
            m.freq = MIX_STAYS;
        }
    }
    loset(mark);
}

void shufflemixgroups()
{
    char *mark = lomark();
    int most = 0;
    for (int g = 0; g < togrus; ++g) most = std::max(most, mixgroups[g].tree + 1);
    int *rank = lo<int>(most);
    for (int t = 0; t < most; ++t) rank[t] = t;
    for (int t = most; t > 1; --t) std::swap(rank[t - 1], rank[rand() % t]);
    for (int g = togrus; g > 1; --g) std::swap(mixgroups[g - 1], mixgroups[rand() % g]);
    std::stable_sort(mixgroups, mixgroups + togrus,
                     [rank](const mixgroup &a, const mixgroup &b) { return rank[a.tree] < rank[b.tree]; });
    loset(mark);
}

// --- What two groups tell of each other ---

namespace {
struct relation {
    bool share, onlya, onlyb;     // taxa inside both; inside A and outside B; inside B and outside A
    bool conflict() const { return share && onlya && onlyb; }
};
}

static relation relate(const mixgroup &a, const mixgroup &b)
{
    uint32_t share = 0, onlya = 0, onlyb = 0;
    for (int w = 0; w < bitwords; ++w) {
        share |= a.in[w] & b.in[w];
        onlya |= a.in[w] & ~b.in[w] & ~b.missing[w];
        onlyb |= b.in[w] & ~a.in[w] & ~a.missing[w];
        if (share && onlya && onlyb) break;
    }
    return { share != 0, onlya != 0, onlyb != 0 };
}

bool mixconflict(const mixgroup &a, const mixgroup &b) { return relate(a, b).conflict(); }

static bool fitting(const mixgroup &m) { return m.freq != MIX_CONTRADICTED; }

bool chekontra(int g, const uint32_t *moved, bool in)
{
    char *mark = lomark();
    mixgroup after = mixgroups[g];
    after.in = lo<uint32_t>(bitwords);
    after.missing = lo<uint32_t>(bitwords);
    for (int w = 0; w < bitwords; ++w) {
        after.in[w] = mixgroups[g].in[w] | (in ? moved[w] : 0);
        after.missing[w] = mixgroups[g].missing[w] & ~moved[w];
    }
    bool found = false;
    for (int k = 0; k < togrus && !found; ++k)
        found = k != g && fitting(mixgroups[k]) && mixconflict(after, mixgroups[k]) && !mixconflict(mixgroups[g], mixgroups[k]);
    loset(mark);
    return found;
}

void markmixconflicts()
{
    for (int i = 0; i < togrus; ++i) {
        dildit(i, togrus, "Comparing groups");
        for (int j = i + 1; j < togrus; ++j) {
            if (mixgroups[i].tree == mixgroups[j].tree) continue;
            if (!fitting(mixgroups[i]) && !fitting(mixgroups[j])) continue;
            if (mixconflict(mixgroups[i], mixgroups[j])) mixgroups[i].freq = mixgroups[j].freq = MIX_CONTRADICTED;
        }
    }
}

// Places those of the taxa of a row that are missing from group g, unless that is against another group.
static bool place(int g, const uint32_t *row, bool in, uint32_t *moved)
{
    mixgroup &m = mixgroups[g];
    uint32_t any = 0;
    for (int w = 0; w < bitwords; ++w) any |= moved[w] = row[w] & m.missing[w];
    if (!any) return false;
    if (chekontra(g, moved, in)) {
        m.freq = MIX_THROUGHMISSING;
        return false;
    }
    for (int w = 0; w < bitwords; ++w) {
        m.missing[w] &= ~moved[w];
        if (in) m.in[w] |= moved[w];
    }
    m.size = count(m.in);
    m.nmissing = count(m.missing);
    m.lastouch = pass;
    return true;
}

static void outsideof(const mixgroup &m, uint32_t *row)
{
    for (int w = 0; w < bitwords; ++w) row[w] = taking[w] & ~m.in[w] & ~m.missing[w];
}

static bool tell(int a, int b, uint32_t *row, uint32_t *moved)
{
    relation r = relate(mixgroups[a], mixgroups[b]);
    if (r.conflict()) return false;
    bool changed = false;
    if (r.share && (r.onlya || r.onlyb)) {
        int larger = r.onlya ? a : b, smaller = r.onlya ? b : a;
        changed |= place(larger, mixgroups[smaller].in, true, moved);
        outsideof(mixgroups[larger], row);
        changed |= place(smaller, row, false, moved);
    } else if (!r.share && r.onlya && r.onlyb) {
        changed |= place(a, mixgroups[b].in, false, moved);
        changed |= place(b, mixgroups[a].in, false, moved);
    }
    return changed;
}

void fillmissing()
{
    char *mark = lomark();
    uint32_t *row = lo<uint32_t>(bitwords), *moved = lo<uint32_t>(bitwords);
    for (bool changed = true; changed && !have_some_intrupt(); ) {
        changed = false;
        ++pass;
        for (int i = 0; i < togrus && !have_some_intrupt(); ++i) {
            dildit(i, togrus, "Placing missing taxa");
            for (int j = i + 1; j < togrus; ++j) {
                const mixgroup &a = mixgroups[i], &b = mixgroups[j];
                if (a.tree == b.tree || !fitting(a) || !fitting(b) || a.nmissing + b.nmissing == 0) continue;
                if (a.lastouch < pass - 1 && b.lastouch < pass - 1) continue;
                changed |= tell(i, j, row, moved);
            }
        }
    }
    loset(mark);
}

void touchfreqs()
{
    for (int g = 0; g < togrus; ++g) {
        mixgroup &m = mixgroups[g];
        if (m.freq == MIX_STAYS && m.nmissing) m.freq = MIX_MISSING;
        if (m.freq >= MIX_CONTRADICTED) continue;
        for (int t = 0; t < nt; ++t) misstax[t] |= has(m.missing, t);
    }
}

// --- The tree ---

namespace {
// A set of taxa to be split: part of a list of taxa, and the node that it is.
struct split { int from, to, node; };

struct partition {
    int *above;        // per taxon of the set, another of its part; the one that stands for it has itself
    int *met, now;     // per taxon, the group that met the part it stands for
    int find(int t)
    {
        while (above[t] != t) t = above[t] = above[above[t]];
        return t;
    }
};
}

// Joins what a group holds together in the set; false, and nothing done, when the whole set would be one part.
static bool holdtogether(const mixgroup &m, const int *taxa, const split &s, partition *p, int *parts)
{
    bool outside = false;
    for (int i = s.from; i < s.to && !outside; ++i) outside = !has(m.in, taxa[i]) && !has(m.missing, taxa[i]);
    if (!outside) return true;
    int joined = 0;
    ++p->now;
    auto eachpart = [&](auto what) {
        for (int i = s.from; i < s.to; ++i)
            if (has(m.in, taxa[i])) what(p->find(taxa[i]));
    };
    eachpart([&](int part) {
        joined += p->met[part] != p->now;
        p->met[part] = p->now;
    });
    if (joined < 2) return true;
    if (joined == *parts) return false;
    int first = -1;
    eachpart([&](int part) {
        if (first < 0) first = part;
        if (part != first) p->above[part] = first;
    });
    *parts -= joined - 1;
    return true;
}

void formmixtree(int *result, const uint8_t *excluded)
{
    char *mark = lomark();
    int *taxa = lo<int>(nt), n = 0, open = 0, next = nt + 1;
    split *todo = lo<split>(nodz);
    partition p = { lo<int>(nt), zlo<int>(nt), 0 };
    std::fill(result, result + nodz, 0);
    for (int t = 0; t < nt; ++t)
        if (!excluded[t]) taxa[n++] = t;
    todo[open++] = { 0, n, nt };
    while (open) {
        split s = todo[--open];
        int parts = s.to - s.from;
        for (int i = s.from; i < s.to; ++i) p.above[taxa[i]] = taxa[i];
        for (int g = 0; g < togrus; ++g) {
            mixgroup &m = mixgroups[g];
            if (fitting(m) && !holdtogether(m, taxa, s, &p, &parts)) m.freq = MIX_CONTRADICTED;
        }
        std::sort(taxa + s.from, taxa + s.to, [&](int a, int b) {
            int x = p.find(a), y = p.find(b);
            return x != y ? x < y : a < b;
        });
        for (int i = s.from, j; i < s.to; i = j) {
            for (j = i + 1; j < s.to && p.find(taxa[j]) == p.find(taxa[i]); ++j) { }
            if (j == i + 1) { result[taxa[i]] = s.node; continue; }
            result[next] = s.node;
            todo[open++] = { i, j, next++ };
        }
    }
    result[nt] = next;
    reset_nodz(result);
    loset(mark);
}

bool mixcongruent()
{
    return std::none_of(mixgroups, mixgroups + togrus,
                        [](const mixgroup &m) { return m.freq == MIX_CONTRADICTED || m.freq == MIX_THROUGHMISSING; });
}
