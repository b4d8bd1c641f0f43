// The trees are read into the table of groups; then each kind of consensus says which records stay.
//
// A reference tree is read before all others, so that its groups are the first records, without
// counts of their own; whether the tree counts as one of the trees is then decided by the list.
#include "compare/major.h"
#include <algorithm>
#include <cstring>
#include "compare/contra.h"
#include "compare/groups.h"
#include "compare/intervals.h"
#include "compare/strict.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "trees/collapse.h"
#include "trees/treemodel.h"

int majorcut = 50, freqdifcut = 0, reference_tree = -1;

int treesformajority(int ntrees, const uint8_t *list)
{
    int n = countselected(ntrees, list);
    if (reference_tree >= 0 && !list) --n;
    if (n <= 0) errmsg("No trees specified", nullptr);
    return n;
}

int treesforfreqdifs(int ntrees, const uint8_t *list)
{
    int n = countselected(ntrees, list);
    if (n <= 0) errmsg("No trees specified", nullptr);
    if (reference_tree >= 0 && selectedtree(list, reference_tree) && !--n)
        errmsg("Can't compare tree with itself", nullptr);
    return n;
}

namespace {
// What one calculation takes and changes.
struct tables {
    char *lower = lomark(), *upper = himark();
    int single = use_single_tree;
    tables() = default;
    tables(const tables &) = delete;
    tables &operator=(const tables &) = delete;
    ~tables()
    {
        use_single_tree = single;
        if (lower > loseg || upper < hiseg) return;      // an unwinding has given the arena back
        loset(lower);
        hiset(upper);
    }
};
}

// The taxa left out; the reference tree lacks none of the others.
static uint8_t *completed(int *const *trees, int ntrees, const uint8_t *list, uint8_t *excluded)
{
    if (!excluded) excluded = zlo<uint8_t>(nt);
    if (reference_tree >= 0) completexlist(trees + reference_tree, 1, nullptr, excluded);
    completexlist(trees, ntrees, list, excluded);
    return excluded;
}

// Returns how many records are of the reference tree.
static int readreference(int *const *trees, const uint8_t *excluded)
{
    if (reference_tree < 0) return 0;
    addgroups(trees[reference_tree], excluded);
    return groups_stored;
}

static void forgetcounts(int groups)
{
    for (int g = 0; g < groups; ++g) gsstored[g].count = 0;
}

// Reads the trees but the reference.  lastnew: trees after which no new group can matter.
static void readtrees(int *const *trees, int ntrees, const uint8_t *list, const uint8_t *excluded, int lastnew)
{
    int total = countselected(ntrees, list), done = 0;
    for (int t = 0; t < ntrees && !have_some_intrupt(); ++t) {
        if (!selectedtree(list, t) || t == reference_tree) continue;
        dildit(done, total, "Checking groups");
        addgroups(trees[t], excluded);
        if (++done > lastnew) storenomore = 1;
    }
#ifdef ZEL_TINY
    checkgroups();
#endif
}

// --- Majority rule ---

static int majoritylimit(int trees) { return int(int64_t(majorcut) * trees / 100); }

void domajority(int *const *trees, int *result, int ntrees, const uint8_t *list, uint8_t *excluded, int *freqs)
{
    int total = treesformajority(ntrees, list), limit = majoritylimit(total);
    if (needslowbudget()) {
        majority_on_low_budget(trees, result, ntrees, list, excluded, freqs);
        return;
    }
    tables mine;
    excluded = completed(trees, ntrees, list, excluded);
    initmpbits(excluded);
    int own = readreference(trees, excluded);
    if (reference_tree >= 0) {
        if (!list || !selectedtree(list, reference_tree)) forgetcounts(own);
        storenomore = 1;
    }
    readtrees(trees, ntrees, list, excluded, total - limit);
    min_group_count = reference_tree >= 0 ? 0 : limit + 1;
    formtree(result, freqs, excluded);
}

// The result has the groups of the reference tree, but not its node numbers: from one of the taxa of each node of the
// reference, the way to the root of the result meets the node with as many taxa.
void valuesofnodes(const int *tree, const int *result, const int *values, const uint8_t *excluded, int *ofnodes)
{
    char *here = lomark();
    int *sizes = lo<int>(nodz), *one = lo<int>(nodz), *resultsizes = lo<int>(nodz), *spare = lo<int>(nodz);
    calcusizes(tree, sizes, one, excluded);
    calcusizes(result, resultsizes, spare, excluded);
    for (int n = 0; n < tree[nt]; ++n) {
        ofnodes[n] = NOGROUP;
        if (n <= nt || sizes[n] < 2 || sizes[n] == consensus_taxa) continue;
        int at = one[n];
        while (resultsizes[at] < sizes[n]) at = result[at];
        ofnodes[n] = values[at];
    }
    loset(here);
}

void do_major_for_jak(int *const *trees, int *result, int ntrees, const uint8_t *list, uint8_t *excluded, int cut)
{
    constexpr int ALL = 100;
    quietly here(collapse_consensuses);
    if (cut >= ALL) return dostrict(trees, result, ntrees, list, excluded, 0);
    struct thatcut {
        int was = majorcut;
        ~thatcut() { majorcut = was; }
    } guard;
    majorcut = cut;
    domajority(trees, result, ntrees, list, excluded, nullptr);
}

// --- The same with little memory ---

namespace {
struct growingtree {
    int *tree, *sizes, *freqs, next;
};
}

// Hangs a group of the reference, an interval of its ranks, on the tree.
static void low_budget_formtree(growingtree *g, const intervals &v, int n)
{
    int *tree = g->tree, size = v.last[n] - v.first[n] + 1, up = tree[v.taxonat[v.first[n]]];
    while (g->sizes[up] < size) up = tree[up];
    for (int rank = v.first[n]; rank <= v.last[n]; ++rank) {
        int w = v.taxonat[rank];
        while (tree[w] != up && tree[w] != g->next) w = tree[w];
        tree[w] = g->next;
    }
    tree[g->next] = up;
    g->sizes[g->next] = size;
    if (g->freqs) g->freqs[g->next] = v.live[n];
    ++g->next;
}

// Which nodes of which trees have been counted.
struct countednodes {
    size_t words = (size_t(nodz - nt) + 31) / 32;
    uint32_t *bits;
    explicit countednodes(int ntrees) : bits(zlo<uint32_t>(words * size_t(ntrees))) {}
    uint32_t &word(int t, int n) { return bits[size_t(t) * words + size_t(n - nt) / 32]; }
    bool has(int t, int n)       { return word(t, n) >> (n - nt) % 32 & 1; }
    void set(int t, int n)       { word(t, n) |= 1u << (n - nt) % 32; }
};

static void refuselowbudget()
{
    const char *advice = "\nCondense trees (excluding taxa, if needed) and then consense";
    if (excluding_taxa) myerr("Low memory majority rule doesn't allow exclusion of taxa%s", advice);
    if (collapse_consensuses && current_collapsing_rule() != COLL_NONE)
        myerr("Low memory majority rule can't be done with temporary collapsing%s", advice);
}

// Each tree in turn is the reference: its groups not counted before are sought in all later trees,
// and marked there.
void majority_on_low_budget(int *const *trees, int *result, int ntrees, const uint8_t *list, uint8_t *excluded,
                            int *freqs)
{
    int total = treesformajority(ntrees, list), limit = majoritylimit(total);
    tables mine;
    completed(trees, ntrees, list, excluded);
    refuselowbudget();
    bool single = reference_tree >= 0;
    int own = single && list && selectedtree(list, reference_tree);
    growingtree g = { result, lo<int>(nodz), freqs, nt + 1 };
    std::fill(result, result + nodz, 0);
    if (freqs) std::fill(freqs, freqs + nodz, 0);
    std::fill(result, result + nt, nt);
    g.sizes[nt] = nt;
    intervals v = layintervals();
    meeting m = laymeeting();
    countednodes counted(ntrees);
    std::fill(issupp, issupp + nodz, 1);
    for (int r = single ? reference_tree : 0, done = 0; r < ntrees && !have_some_intrupt(); ++r) {
        if (!single && !selectedtree(list, r)) continue;
        if (!single && total - done <= limit) break;              // no new group can reach the limit
        dildit(done, total, "Combining groups");
        fileintervals(trees[r], nullptr, &v);
        for (int n = nt; n < trees[r][nt]; ++n) v.live[n] = single ? own : !counted.has(r, n);
        for (int t = single ? 0 : r + 1; t < ntrees; ++t) {
            if (t == r || !selectedtree(list, t)) continue;
            meetintervals(trees[t], nullptr, v, m);
            for (int n = nt; n < trees[t][nt]; ++n) {
                if (m.met[n] < 0 || (!single && !v.live[m.met[n]])) continue;
                ++v.live[m.met[n]];
                counted.set(t, n);
            }
        }
        for (int n = nt + 1; n < trees[r][nt]; ++n)
            if (single || v.live[n] > limit) low_budget_formtree(&g, v, n);
        ++done;
        if (single) break;
    }
    result[nt] = g.next;
    reset_nodz(result, freqs);
}

// --- Frequency differences ---

void dofreqdifs(int *const *trees, int *result, int ntrees, const uint8_t *list, uint8_t *excluded, int *freqs)
{
    int total = treesforfreqdifs(ntrees, list);
    tables mine;
    excluded = completed(trees, ntrees, list, excluded);
    initmpbits(excluded);
    int own = readreference(trees, excluded);
    forgetcounts(own);
    use_single_tree = reference_tree >= 0;
    readtrees(trees, ntrees, list, excluded, ntrees);
    docontra(total, use_single_tree ? own : groups_stored);
    if (use_single_tree) groups_stored = own;
    min_group_count = use_single_tree ? -ntrees : int(int64_t(freqdifcut) * total / 100) + 1;
    formtree(result, freqs, excluded);
}

// --- Combinable components ---

// Forms the tree of the groups read that none contradicts.
static void formcombinable(int ntrees, int *result, const uint8_t *excluded)
{
    docontra(ntrees, groups_stored);
    min_group_count = 1;
    for (int g = 0; g < groups_stored; ++g)
        if (max_contra[g]) gsstored[g].size = 0;
    formtree(result, nullptr, excluded);
}

void dobremercons(int *const *trees, int *result, int ntrees, const uint8_t *list, uint8_t *excluded)
{
    int total = countselected(ntrees, list);
    if (!total) errmsg("No trees specified", nullptr);
    tables mine;
    excluded = completed(trees, ntrees, list, excluded);
    initmpbits(excluded);
    readtrees(trees, ntrees, list, excluded, ntrees);
    formcombinable(total, result, excluded);
}

void dopaircons(const int *one, const int *other, int *result, uint8_t *excluded)
{
    int *pair[] = { const_cast<int *>(one), const_cast<int *>(other) };
    dobremercons(pair, result, 2, nullptr, excluded);
}

// --- The groups of one tree upon another ---

void zert_groups_onto_tree(const int *X, const int *Y, int *result)
{
    if (equal_tree(X, Y)) {
        memcpy(result, X, sizeof(int) * nodz);
        return;
    }
    tables mine;
    struct uncollapsed {
        int was = collapse_consensuses;
        uncollapsed() { collapse_consensuses = 0; }
        ~uncollapsed() { collapse_consensuses = was; }
    } guard;
    int *pair[] = { const_cast<int *>(X), const_cast<int *>(Y) };
    uint8_t *excluded = zlo<uint8_t>(nt);
    completexlist(pair, 2, nullptr, excluded);
    initmpbits(excluded);
    addgroups(X, excluded);
    int own = groups_stored;
    addgroups(Y, excluded);
    get_rid_of_contradicted_groups(own);
    min_group_count = 1;
    formtree(result, nullptr, excluded);
}
