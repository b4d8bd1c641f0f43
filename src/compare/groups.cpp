// compare/groups.cpp: the rows of a tree are made tips to root, each branch OR-ed into its
// ancestor; each is then sought in the table, so that reading a tree takes time in proportion to its
// groups and not to those of all trees before it.
//
// Every taxon has a random key of 64 bits, and the key of a group is the XOR of those of its taxa:
// nodes get theirs from their branches, as they get their rows.  (The signature does not tell small
// groups apart: taxa 1 and 33 cancel each other.)  Half of the key names a bucket, and the other
// half branches within it, so that long searches stay short whatever the number of records, and
// nothing is ever laid anew:
//
//     bucket -> record -0-> record          each step takes the next bit of the key
//                  \1-> record -1-> record
#include "compare/groups.h"
#include <algorithm>
#include <bit>
#include <cassert>
#include <cstring>
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/output.h"
#include "trees/collapse.h"
#include "trees/treemodel.h"

int bitwords = 0;
uint32_t *node_bits = nullptr, *group_bits = nullptr;
int *node_sizes = nullptr;
grouprec *gsstored = nullptr;
int groups_stored = 0, group_capacity = 0, min_group_count = 0, storenomore = 0;
int consensus_taxa = 0, excluding_taxa = 0;
int ignore_unshared_taxa = 1, use_low_budget_only = 0;

static int *group_heads = nullptr;   // per bucket, its first record; -1 = none.  nodz buckets
static uint64_t *node_keys = nullptr;// per node, the key of its group
static int trees_read = 0;           // trees read into the table; the one being read is the last

static uint64_t taxonkey(int t)
{
    uint64_t x = uint64_t(t + 1) * 0x9e3779b97f4a7c15u;
    x = (x ^ x >> 30) * 0xbf58476d1ce4e5b9u;
    x = (x ^ x >> 27) * 0x94d049bb133111ebu;
    return x ^ x >> 31;
}

void shortset(int *array, int n, int value)
{
    std::fill(array, array + n, value);
}

int countselected(int ntrees, const uint8_t *list)
{
    int n = 0;
    for (int t = 0; t < ntrees; ++t) n += selectedtree(list, t);
    return n;
}

void completexlist(int *const *trees, int ntrees, const uint8_t *list, uint8_t *excluded)
{
    constexpr uint8_t missing = 2;
    for (int t = 0; t < nt; ++t)
        if (int8_t(excluded[t]) < 0) excluded[t] = 0;
    if (trees && (ignore_unshared_taxa || jaking))
        for (int i = 0; i < ntrees; ++i) {
            if (!selectedtree(list, i)) continue;
            for (int t = 0; t < nt; ++t)
                if (!isinthetree(trees[i], t)) excluded[t] |= missing;
        }
    consensus_taxa = 0;
    for (int t = 0; t < nt; ++t) consensus_taxa += !excluded[t];
    if (consensus_taxa < 2) errmsg("consensus of", intvert(consensus_taxa), "taxa?", nullptr);
    excluding_taxa = consensus_taxa < nt;
}

void initmpbits(const uint8_t *excluded)
{
    bitwords = (nt + 31) / 32;
#ifdef ZEL_TINY
    group_capacity = 2;
#else
    group_capacity = nodz;
#endif
    size_t row = size_t(bitwords) + 1;
    node_keys = lo<uint64_t>(nodz);
    node_sizes = lo<int>(nodz);
    node_bits = lo<uint32_t>(nodz * row);
    group_bits = lo<uint32_t>(group_capacity * row);    // on top: it grows
    group_heads = hi<int>(nodz);
    gsstored = hi<grouprec>(group_capacity);            // lowest: it grows
    shortset(group_heads, nodz, -1);
    groups_stored = storenomore = min_group_count = trees_read = 0;
    memset(node_bits, 0, sizeof(uint32_t) * nt * row);
    for (int t = 0; t < nt; ++t) {
        node_sizes[t] = !(excluded && excluded[t]);
        node_keys[t] = node_sizes[t] ? taxonkey(t) : 0;
        if (node_sizes[t]) nodebits(t)[t / 32] = nodebits(t)[bitwords] = 1u << t % 32;
    }
}

void dobis(const int *tree)
{
    int inner = mkoptlist(nodlist, tree), slots = tree[nt];
    memset(nodebits(nt), 0, sizeof(uint32_t) * (slots - nt) * (bitwords + 1));
    std::fill(node_sizes + nt, node_sizes + slots, 0);
    std::fill(node_keys + nt, node_keys + slots, 0);
    for (int t = 0; t < nt; ++t) {
        if (!tree[t] || !node_sizes[t]) continue;
        int up = tree[t] & NODEBITS;
        nodebits(up)[t / 32] |= 1u << t % 32;
        ++node_sizes[up];
        node_keys[up] ^= node_keys[t];
    }
    // nodlist has each node before its branches: from its end, a row is whole when it is passed on.
    for (int i = inner - 1; i >= 0; --i) {
        int n = nodlist[i], up = n == nt ? -1 : tree[n] & NODEBITS;
        uint32_t *bits = nodebits(n), signature = 0;
        for (int w = 0; w < bitwords; ++w) signature ^= bits[w];
        bits[bitwords] = signature;
        if (up < 0) continue;
        uint32_t *upbits = nodebits(up);
        for (int w = 0; w < bitwords; ++w) upbits[w] |= bits[w];
        node_sizes[up] += node_sizes[n];
        node_keys[up] ^= node_keys[n];
    }
}

// Where the search for a group ends: at the live record that holds its taxa, or at the end where a
// new one is to be hung.
struct place {
    int32_t *at;
    uint32_t way;         // of a record that stands there
};

static place placeof(int n)
{
    const uint32_t *bits = nodebits(n);
    place p = { &group_heads[uint32_t(node_keys[n]) % uint32_t(nodz)], uint32_t(node_keys[n] >> 32) };
    while (*p.at >= 0) {
        grouprec &r = gsstored[*p.at];
        if (r.branching == p.way && r.size == node_sizes[n] && r.count >= min_group_count
            && !memcmp(groupbits(*p.at), bits, sizeof(uint32_t) * (bitwords + 1))) break;
        p = { &r.next[p.way & 1], p.way >> 1 | p.way << 31 };
    }
    return p;
}

// Half as much again, so that tables of any size are moved seldom; where memory does not suffice
// for that, room for one tree.
static void growgroups()
{
    size_t row = sizeof(uint32_t) * (bitwords + 1);
    int more = std::max(nodz, group_capacity / 2);
    if (vailram() < size_t(more) * (row + sizeof(grouprec)) + 64) more = nodz;
    int wanted = group_capacity + more;
    group_bits = static_cast<uint32_t *>(uniloralloc(group_bits, group_capacity, wanted, row));
    gsstored = static_cast<grouprec *>(unihiralloc(gsstored, group_capacity, wanted, sizeof(grouprec)));
    group_capacity = wanted;
}

static void storegroup(int n, const place &p)
{
    const uint32_t *bits = nodebits(n);
    int g = *p.at = groups_stored++;
    memcpy(groupbits(g), bits, sizeof(uint32_t) * (bitwords + 1));
    grouprec &r = gsstored[g];
    r.size = node_sizes[n];
    r.count = issupp[n];
    r.counted = issupp[n] ? trees_read : 0;     // with taxa left out, a second node of the tree may support the group
    for (r.lowword = 0; !bits[r.lowword]; ++r.lowword) { }
    for (r.highword = bitwords - 1; !bits[r.highword]; --r.highword) { }
    r.branching = p.way;
    r.next[0] = r.next[1] = -1;
}

// Groups that every tree of these taxa has tell nothing, and are not sought.
void addgroups(const int *tree, const uint8_t *excluded)
{
    (collapse_consensuses ? mark_supported : nocollapse)(tree, issupp, excluding_taxa ? excluded : nullptr);
    dobis(tree);
    ++trees_read;
    for (int n = nt; n < tree[nt]; ++n) {
        int size = node_sizes[n];
        if (size < 2 || size == consensus_taxa) continue;
        if (groups_stored == group_capacity && !storenomore) growgroups();
        place p = placeof(n);
        if (int g = *p.at; g >= 0) {
            if (gsstored[g].counted == trees_read || !issupp[n]) continue;
            gsstored[g].count += issupp[n];
            gsstored[g].counted = trees_read;
        } else if (!storenomore)
            storegroup(n, p);
    }
}

// Large groups first: when a group comes, its members hang from the smallest group that holds
// them all, which is its ancestor.
void formtree(int *result, int *freqs, const uint8_t *excluded)
{
    std::fill(result, result + nodz, 0);
    if (freqs) std::fill(freqs, freqs + nodz, 0);
    for (int t = 0; t < nt; ++t)
        if (!(excluded && excluded[t])) result[t] = nt;

    char *mark = lomark();
    int *place = zlo<int>(nt + 2), *order = lo<int>(groups_stored), *sizes = lo<int>(nodz);
    auto live = [](const grouprec &r) {
        return r.size >= 2 && r.size != consensus_taxa && r.count >= min_group_count;
    };
    int alive = 0, next = nt + 1;
    for (int g = 0; g < groups_stored; ++g)
        if (live(gsstored[g])) { ++place[nt + 1 - gsstored[g].size]; ++alive; }
    for (int s = 1; s < nt + 2; ++s) place[s] += place[s - 1];
    for (int g = groups_stored - 1; g >= 0; --g)
        if (live(gsstored[g])) order[--place[nt + 1 - gsstored[g].size]] = g;
    sizes[nt] = consensus_taxa;
    for (int i = 0; i < alive; ++i) {
        const grouprec &r = gsstored[order[i]];
        const uint32_t *bits = groupbits(order[i]);
        int up = result[32 * r.lowword + std::countr_zero(bits[r.lowword])];
        if (sizes[up] == r.size) continue;
        for (int w = r.lowword; w <= r.highword; ++w)
            for (uint32_t left = bits[w]; left; left &= left - 1) result[32 * w + std::countr_zero(left)] = next;
        result[next] = up;
        sizes[next] = r.size;
        if (freqs) freqs[next] = r.count;
        ++next;
    }
    result[nt] = next;
    reset_nodz(result, freqs);
    loset(mark);
}

void calcusizes(const int *tree, int *sizes, int *below, const uint8_t *excluded)
{
    int inner = mkoptlist(nodlist, tree);
    for (int n = 0; n < tree[nt]; ++n) {
        bool counts = n < nt && tree[n] && !(excluded && excluded[n]);
        sizes[n] = counts;
        below[n] = counts ? n : -1;
    }
    for (int i = inner - 1; i >= 0; --i)
        for (int n = nodlist[i], d = lef[n]; d >= 0; d = sis[d]) {
            sizes[n] += sizes[d];
            if (below[n] < 0) below[n] = below[d];
        }
}

void checkgroups()
{
    for (int g = 0; g < groups_stored; ++g) {
        [[maybe_unused]] const grouprec &r = gsstored[g];
        const uint32_t *bits = groupbits(g);
        [[maybe_unused]] int size = 0;
        uint32_t signature = 0;
        for (int w = 0; w < bitwords; ++w) {
            size += std::popcount(bits[w]);
            signature ^= bits[w];
            assert(!bits[w] || (w >= r.lowword && w <= r.highword));
        }
        assert(size == r.size && signature == bits[bitwords]);
        assert(bits[r.lowword] && bits[r.highword]);
        assert((r.next[0] < 0 || r.next[0] > g) && (r.next[1] < 0 || r.next[1] > g));
    }
}
