// compare/strict.cpp: strict consensus, in two ways that give the same tree.
//
// With the table of groups: a group stays while every tree so far has counted it; when none is
// left the rest of the trees need not be read.
//
// With little memory (after Day 1985): the terminals are ranked in the order in which they stand
// on the first tree, so that each of its groups is an interval of ranks.  A group of another tree
// can only be one of them when its ranks leave no gap, and each interval is found in one look:
//
//        +-a 0            group    interval   filed
//     +--|                abcd     0..3       as the one that begins at 0
//     |  +-b 1            ab       0..1       as the one that ends at 1 (first branch of abcd)
//   --|  +-c 2            cd       2..3       as the one that begins at 2
//     +--|
//        +-d 3            A first branch begins where its ancestor does, so it is filed by its
//                         end, where no group that is no first branch is filed.
#include "compare/strict.h"
#include <algorithm>
#include <cassert>
#include "compare/groups.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "trees/collapse.h"
#include "trees/lightopt.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"

static int said_low_budget = 0;     // the note about memory was given; it is given once

static int countselected(int ntrees, const uint8_t *list)
{
    int n = 0;
    for (int t = 0; t < ntrees; ++t) n += selectedtree(list, t);
    return n;
}

// Bytes the tables of a strict consensus take, at most.
static size_t tableram()
{
    size_t words = (nt + 31) / 32, taxa = nt;
    return ((words + 1) * 8 + 60) * 2 * taxa + (nt > 10000 ? 16 * taxa : 0);
}

static void strict_with_table(int *const *trees, int *result, int ntrees, const uint8_t *list, const uint8_t *excluded)
{
    int total = countselected(ntrees, list), done = 0;
    initmpbits(excluded);
    for (int t = 0; t < ntrees; ++t) {
        if (!selectedtree(list, t)) continue;
        dildit(done, total, "Checking groups");
        addgroups(trees[t], excluded);
        storenomore = 1;
        min_group_count = ++done;
        bool alive = false;
        for (int g = groups_stored - 1; g >= 0 && !alive; --g) alive = gsstored[g].count == done;
        if (!alive) break;
    }
#ifdef ZEL_TINY
    checkgroups();
#endif
    formtree(result, nullptr, excluded);
}

// The groups of the reference tree as intervals of ranks.  Terminals that do not take part have
// rank -1.  Where leaving out taxa makes a node equal to its ancestor, only the upper one is filed;
// the group of all taxa that take part is not.
struct intervals {
    int *first, *last;        // per node; of a terminal both are its rank
    int *byfirst, *bylast;    // per rank, the node filed there; -1 = none
    int *live;                // per filed node: supported in the trees so far
};

static void fileintervals(const int *tree, const uint8_t *excluded, intervals *v)
{
    int inner = mkoptlist(nodlist, tree), rank = 0;
    std::fill(v->first, v->first + nodz, -1);
    std::fill(v->last, v->last + nodz, -1);
    std::fill(v->byfirst, v->byfirst + nt, -1);
    std::fill(v->bylast, v->bylast + nt, -1);
    std::fill(v->live, v->live + nodz, 0);
    for (int n = nt;;) {                       // terminals in the order of the diagram
        if (lef[n] >= 0) { n = lef[n]; continue; }
        if (!(excluded && excluded[n])) v->first[n] = v->last[n] = rank++;
        while (n != nt && sis[n] < 0) n = tree[n] & NODEBITS;
        if (n == nt) break;
        n = sis[n];
    }
    for (int i = inner - 1; i >= 0; --i)
        for (int n = nodlist[i], d = lef[n]; d >= 0; d = sis[d]) {
            if (v->first[d] < 0) continue;
            if (v->first[n] < 0) v->first[n] = v->first[d];
            v->last[n] = v->last[d];
        }
    for (int i = 0; i < inner; ++i) {
        int n = nodlist[i], up = n == nt ? -1 : tree[n] & NODEBITS;
        int size = v->last[n] - v->first[n] + 1;
        if (v->first[n] < 0 || size < 2 || size == consensus_taxa) continue;
        if (up >= 0 && v->first[up] == v->first[n] && v->last[up] == v->last[n]) {
            int filed = v->byfirst[v->first[n]];
            if (filed < 0 || v->last[filed] != v->last[n]) filed = v->bylast[v->last[n]];
            v->live[filed] |= issupp[n];
            continue;
        }
        if (up < 0 || v->first[up] != v->first[n]) v->byfirst[v->first[n]] = n;
        else v->bylast[v->last[n]] = n;
        v->live[n] = issupp[n];
    }
}

// Counts, for each group of the reference that the tree has with support, one tree more.
static void meetintervals(const int *tree, const uint8_t *excluded, const intervals &v, int before,
                          int *low, int *high, int *size)
{
    int inner = mkoptlist(nodlist, tree);
    for (int i = inner - 1; i >= 0; --i) {
        int n = nodlist[i];
        low[n] = nt;
        high[n] = -1;
        size[n] = 0;
        for (int d = lef[n]; d >= 0; d = sis[d]) {
            if (d >= nt) {
                low[n] = std::min(low[n], low[d]);
                high[n] = std::max(high[n], high[d]);
                size[n] += size[d];
            } else if (!(excluded && excluded[d])) {
                // With a terminal that the reference lacks, no group above can be one of its own.
                size[n] += v.first[d] < 0 ? nt : 1;
                if (v.first[d] < 0) continue;
                low[n] = std::min(low[n], v.first[d]);
                high[n] = std::max(high[n], v.first[d]);
            }
        }
        if (size[n] < 2 || high[n] - low[n] + 1 != size[n] || !issupp[n]) continue;
        int met = v.byfirst[low[n]];
        if (met < 0 || v.last[met] != high[n]) met = v.bylast[high[n]];
        if (met >= 0 && v.first[met] == low[n] && v.last[met] == high[n] && v.live[met] == before)
            v.live[met] = before + 1;
    }
}

// Each terminal climbs to the nearest group of the reference found in all trees.  The root is one
// of these when taxa that take part are not in it.
static void formfromlive(const int *tree, int *result, const uint8_t *excluded, const intervals &v, int trees)
{
    char *mark = lomark();
    int inner = mkoptlist(nodlist, tree), next = nt + 1, *place = lo<int>(nodz);
    std::fill(result, result + nodz, 0);
    for (int i = 0; i < inner; ++i) {
        int n = nodlist[i], up = n == nt ? nt : place[tree[n] & NODEBITS];
        place[n] = up;
        if (v.live[n] != trees) continue;
        result[next] = up;
        place[n] = next++;
    }
    for (int t = 0; t < nt; ++t)
        if (!(excluded && excluded[t])) result[t] = tree[t] ? place[tree[t] & NODEBITS] : nt;
    result[nt] = next;
    reset_nodz(result);
    loset(mark);
}

void strict_on_low_budget(int *const *trees, int *result, int ntrees, const uint8_t *list, uint8_t *excluded)
{
    char *mark = lomark();
    if (!excluded) excluded = zlo<uint8_t>(nt);
    completexlist(trees, ntrees, list, excluded);
    intervals v = { lo<int>(nodz), lo<int>(nodz), lo<int>(nt), lo<int>(nt), lo<int>(nodz) };
    int *low = lo<int>(nodz), *high = lo<int>(nodz), *size = lo<int>(nodz);
    int total = countselected(ntrees, list), done = 0;
    const int *reference = nullptr;
    collapser supported = collapse_consensuses ? mark_supported : nocollapse;
    for (int t = 0; t < ntrees; ++t) {
        if (!selectedtree(list, t)) continue;
        dildit(done, total, "Checking groups");
        supported(trees[t], issupp, excluding_taxa ? excluded : nullptr);
        if (!reference) fileintervals(reference = trees[t], excluded, &v);
        else meetintervals(trees[t], excluded, v, done, low, high, size);
        ++done;
        if (std::none_of(v.live, v.live + nodz, [&](int count) { return count == done; })) break;
    }
    formfromlive(reference, result, excluded, v, done);
    loset(mark);
}

void dostrict(int *const *trees, int *result, int ntrees, const uint8_t *list, uint8_t *excluded, int)
{
    assert(countselected(ntrees, list) > 0);
    if (use_low_budget_only || vailram() <= tableram()) {
        if (!use_low_budget_only && !said_low_budget) {
            said_low_budget = 1;
            joinem("Note: using alternative consensus algorithm\n(memory is insufficient for standard algorithm)\n",
                   nullptr);
        }
        strict_on_low_budget(trees, result, ntrees, list, excluded);
        return;
    }
    char *lower = lomark(), *upper = himark();
    if (!excluded) excluded = zlo<uint8_t>(nt);
    completexlist(trees, ntrees, list, excluded);
    strict_with_table(trees, result, ntrees, list, excluded);
    loset(lower);
    hiset(upper);
}

namespace {
// Inside another command nothing is said, and the user cannot stop half way.
struct quietly {
    int report = report_status, stoppable = breakable, collapsing = collapse_consensuses;
    unsigned char said = silent;
    quietly(int collapse)
    {
        report_status = breakable = 0;
        silent = 7;
        collapse_consensuses = collapse;
    }
    ~quietly()
    {
        report_status = report;
        breakable = stoppable;
        collapse_consensuses = collapsing;
        silent = said;
    }
};
}

void do_strict_for_jak(int *const *trees, int *result, int ntrees, const uint8_t *list, uint8_t *excluded, int collapsing)
{
    quietly here(collapsing);
    dostrict(trees, result, ntrees, list, excluded, 0);
}

void do_strict_for_consensus_stabilization(int *const *trees, int *result, int ntrees, const uint8_t *list,
                                           uint8_t *excluded)
{
    quietly here(1);
    dostrict(trees, result, ntrees, list, excluded, 0);
}

void preparecollapsing(const char *command)
{
    constexpr int rule_four = 4;
    if (!collapse_consensuses || current_collapsing_rule() == COLL_NONE) return;
    if (current_collapsing_rule() == rule_four)
        myerr("Error (%s): cannot use rule 4 to collapse during consensus calculation", command);
    optmem();
}

void chktreespace()
{
    if (trees_in_mem < maxtrees) return;
    if (!try_maxtrees((maxtrees + 10) / 10 * 10)) errmsg("No space to store new trees", nullptr);
    spewem("Space for", intvert(maxtrees), "trees in memory", nullptr);
}
