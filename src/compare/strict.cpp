// compare/strict.cpp: strict consensus, in two ways that give the same tree.
//
// With the table of groups: a group stays while every tree so far has counted it; when none is
// left the rest of the trees need not be read.
//
// With little memory: the groups of the first tree as intervals (intervals.h), of which each further
// tree leaves those that it has.
#include "compare/strict.h"
#include <algorithm>
#include <cassert>
#include "compare/groups.h"
#include "compare/intervals.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "trees/collapse.h"
#include "trees/treemodel.h"

static int said_low_budget = 0;     // the note about memory was given; it is given once

// Bytes the tables of a strict consensus take, at most; those of other consensuses at the start.
static size_t tableram()
{
    size_t words = (nt + 31) / 32, taxa = nt;
    return ((words + 1) * 8 + 60) * 2 * taxa + (nt > 10000 ? 16 * taxa : 0);
}

bool needslowbudget()
{
    if (use_low_budget_only) return true;
    if (vailram() > tableram()) return false;
    if (!said_low_budget)
        joinem("Note: using alternative consensus algorithm\n(memory is insufficient for standard algorithm)\n", nullptr);
    said_low_budget = 1;
    return true;
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

// Each group of the reference that the tree has with support is in one tree more.
static void countmet(const int *tree, const uint8_t *excluded, const intervals &v, int before, const meeting &m)
{
    meetintervals(tree, excluded, v, m);
    for (int n = nt; n < tree[nt]; ++n)
        if (m.met[n] >= 0 && v.live[m.met[n]] == before) v.live[m.met[n]] = before + 1;
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
    intervals v = layintervals();
    meeting m = laymeeting();
    int total = countselected(ntrees, list), done = 0;
    const int *reference = nullptr;
    collapser supported = collapse_consensuses ? mark_supported : nocollapse;
    for (int t = 0; t < ntrees; ++t) {
        if (!selectedtree(list, t)) continue;
        dildit(done, total, "Checking groups");
        supported(trees[t], issupp, excluding_taxa ? excluded : nullptr);
        if (!reference) fileintervals(reference = trees[t], excluded, &v);
        else countmet(trees[t], excluded, v, done, m);
        ++done;
        if (std::none_of(v.live, v.live + nodz, [&](int count) { return count == done; })) break;
    }
    formfromlive(reference, result, excluded, v, done);
    loset(mark);
}

void dostrict(int *const *trees, int *result, int ntrees, const uint8_t *list, uint8_t *excluded, int)
{
    assert(countselected(ntrees, list) > 0);
    if (needslowbudget()) {
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

quietly::quietly(int collapse)
{
    report_status = breakable = 0;
    silent = 7;
    collapse_consensuses = collapse;
}

quietly::~quietly()
{
    report_status = report;
    breakable = stoppable;
    collapse_consensuses = collapsing;
    silent = said;
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
