// Collapsing rules.  Each branch is tested against its ancestor on the sets that the passes of
// report-time optimization leave; the rules differ only in the sets and in the test:
//
//     rule_1          final(node) and final(ancestor) share no state: every reconstruction changes
//     rule_ambiguous  final(node) and final(ancestor) differ
//     rule_3          final(ancestor) has a state that is not in first(node): some reconstruction changes
#include "trees/collapse.h"
#include <cassert>
#include <cstring>
#include <iterator>
#include "data/matrix.h"
#include "kernel/arena.h"
#include "trees/below.h"
#include "trees/lightopt.h"
#include "trees/treemodel.h"

collapser mark_supported = rule_1;
int dacollrule = COLL_RULE1;
int collapse_consensuses = 1, autocollapse_searches = 0, quick_collapse = 1;

// First-pass sets of internal nodes, kept by rule_3 while it runs.
static uint32_t **firstset;
static uint32_t **firstcell;     // per internal node, a word per character that is not in lightset

static bool isslow(int c)        // tested one by one
{
    return charcodes[c].active && charcodes[c].weight && !charcodes[c].lightpacked && !charcodes[c].constant;
}

template<int W> static bool anydisjoint(const uint32_t *a, const uint32_t *b, int from, int to)
{
    for (int i = from; i < to; ++i)
        if (empty<W>(a[i] & b[i])) return true;
    return false;
}

static int low(uint32_t x) { return int(x & 0xffff); }     // bounds of a continuous cell
static int high(uint32_t x) { return int(x >> 16); }

static bool alwayschanges(int n, int a)
{
    if (anydisjoint<2>(lightset[n], lightset[a], 0, lightcells2)) return true;
    if (anydisjoint<4>(lightset[n], lightset[a], lightcells2, lightcells)) return true;
    for (int c = nc - 1; c >= 0; --c) {
        if (!isslow(c)) continue;
        uint32_t x = cell(n, c), y = cell(a, c);
        if (charcodes[c].continuous ? low(x) > high(y) || low(y) > high(x) : !(x & y)) return true;
    }
    return false;
}

static bool setsdiffer(int n, int a)
{
    if (std::memcmp(lightset[n], lightset[a], lightcells * sizeof(uint32_t))) return true;
    for (int c = nc - 1; c >= 0; --c)
        if (isslow(c) && cell(n, c) != cell(a, c)) return true;
    return false;
}

static bool maychange(int n, int a)
{
    for (int i = 0; i < lightcells; ++i)
        if (lightset[a][i] & ~firstset[n][i]) return true;
    for (int c = nc - 1; c >= 0; --c) {
        if (!isslow(c)) continue;
        uint32_t first = firstcell[n][c], above = cell(a, c);
        if (charcodes[c].continuous ? low(above) < low(first) || high(above) > high(first) : (above & ~first) != 0)
            return true;
    }
    return false;
}

// For each node the descendants that hold taxa not excluded.
static int *countincluded(const uint8_t *excluded)
{
    int *count = zlo<int>(nodz);
    for (int t = 0; t < nt; ++t) count[t] = !excluded[t];
    for (int i = optnodes - 1; i >= 0; --i)
        for (int d = lef[nodlist[i]]; d >= 0; d = sis[d]) count[nodlist[i]] += count[d] > 0;
    return count;
}

// Marks the branches of an optimized tree.  Without the excluded taxa, the branches on both sides
// of a node with a single descendant left are one, which starts at its lower end: so the node
// there is compared also with the ancestors beyond, until one that still is a fork.
static void markbranches(const int *tree, int *marks, const uint8_t *excluded, bool (*stands)(int node, int ancestor))
{
    char *here = lomark();
    const int *count = excluded ? countincluded(excluded) : nullptr;
    std::memset(marks, 0, nodz * sizeof(int));
    marks[nt] = 1;
    for (int n = tree[nt] - 1; n > nt; --n) {
        int a = tree[n];
        if (a == nt) { marks[n] = 1; continue; }
        if (count && count[n] < 2) continue;
        marks[n] = stands(n, a);
        while (!marks[n] && count && count[a] == 1 && a != nt) {
            a = tree[a];
            marks[n] = stands(n, a);
        }
    }
    loset(here);
}

void nocollapse(const int *tree, int *marks, const uint8_t *)
{
    std::memset(marks, 0, nodz * sizeof(int));
    for (int n = nt; n < tree[nt]; ++n) marks[n] = 1;
}

void rule_1(const int *tree, int *marks, const uint8_t *excluded)
{
    packoptimize(tree);
    markbranches(tree, marks, excluded, alwayschanges);
}

// As a test of single branches it is rule_1; several trees come from expand_by_rule_4.
void rule_4(const int *tree, int *marks, const uint8_t *excluded)
{
    packoptimize(tree);
    markbranches(tree, marks, excluded, alwayschanges);
}

void rule_ambiguous(const int *tree, int *marks, const uint8_t *excluded)
{
    packoptimize(tree);
    markbranches(tree, marks, excluded, setsdiffer);
}

void rule_3(const int *tree, int *marks, const uint8_t *excluded)
{
    char *here = lomark();
    packdownpass(tree);
    firstset = lo<uint32_t *>(nodz);
    firstcell = lo<uint32_t *>(nodz);
    for (int i = 0; i < optnodes; ++i) {
        int n = nodlist[i];
        firstset[n] = lo<uint32_t>(lightcells);
        std::memcpy(firstset[n], lightset[n], lightcells * sizeof(uint32_t));
        firstcell[n] = lo<uint32_t>(nc);
        for (int c = 0; c < nc; ++c)
            if (isslow(c)) firstcell[n][c] = cell(n, c);
    }
    packuppass(tree);
    markbranches(tree, marks, excluded, maychange);
    loset(here);
}

struct rulerow { collapser rule; const char *words; };

static constexpr rulerow collapserules[] = {         // in the order of their numbers
    { nocollapse, "(not collapsing)" },
    { rule_3, "(when max. branch length = 0 )" },
    { rule_ambiguous, "(when anc. and desc. MP sets are equal)" },
    { rule_1, "(when min. branch length = 0 - trees may become longer!)" },
    { rule_4, "(with rule 4)" },
    { rule_spr, "(with SPR)" },
    { rule_tbr, "(with TBR)" },
};
static_assert(std::size(collapserules) == COLLAPSERULES);

int current_collapsing_rule()
{
    int number = 0;
    while (collapserules[number].rule != mark_supported) ++number;
    return number;
}

void set_collapsing_rule(int number)
{
    mark_supported = collapserules[number].rule;
    dacollrule = number;
}

void prepare_collapsing()
{
    int rule = current_collapsing_rule();
    if (is_swap_rule(rule)) prepare_swap_collapse();
    else if (rule) optmem();
}

const char *report_collapse_rule() { return collapserules[current_collapsing_rule()].words; }

void mark_unsupported(const int *tree, int *marks)
{
    mark_supported(tree, marks, nullptr);
    for (int n = nt; n < tree[nt]; ++n) marks[n] = !marks[n];
}
