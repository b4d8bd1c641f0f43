// The record of a shrunk clade: words 0 to 3 the two sums, word 4 the number of taxa (0 = free).
#include "diagrams/clades.h"
#include <cstring>
#include <initializer_list>
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/errors.h"
#include "trees/scratch.h"
#include "trees/treemodel.h"

int *shrinkthenod;

// A word of its own for each number (the finalizer of SplitMix64).
static uint64_t wordof(uint64_t x)
{
    x += 0x9e3779b97f4a7c15u;
    x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9u;
    x = (x ^ (x >> 27)) * 0x94d049bb133111ebu;
    return x ^ (x >> 31);
}

void cladekeys(const int *tree, cladekey *keys)
{
    hiscratch scratch;
    int *list = hi<int>(nodz), count = mkoptlist(list, tree);
    for (int t = 0; t < nt; ++t) keys[t] = { { wordof(2 * uint64_t(t)), wordof(2 * uint64_t(t) + 1) }, 1 };
    for (int i = count - 1; i >= 0; --i) {
        cladekey key{};
        for (int d = lef[list[i]]; d >= 0; d = sis[d]) {
            for (int w : { 0, 1 }) key.sum[w] += keys[d].sum[w];
            key.taxa += keys[d].taxa;
        }
        keys[list[i]] = key;
    }
}

bool sametaxa(const int *a, const int *b)
{
    for (int t = 0; t < nt; ++t)
        if (!a[t] != !b[t]) return false;
    return true;
}

static cladekey shrunk(int record)
{
    cladekey key;
    memcpy(key.sum, tshrink[record], sizeof key.sum);
    key.taxa = tshrink[record][4];
    return key;
}

static int findrecord(const cladekey &key)
{
    for (int r = 0; r < nt; ++r)
        if (shrunk(r) == key) return r;
    return -1;
}

static cladekey keyof(const int *tree, int node)
{
    hiscratch scratch;
    cladekey *keys = hi<cladekey>(nodz);
    cladekeys(tree, keys);
    return keys[node];
}

bool shrinkclade(const int *tree, int node)
{
    if (!tshrink) errmsg("Shrinkings are not allowed (they were disabled!)", nullptr);
    cladekey key = keyof(tree, node);
    int free = findrecord(cladekey{});
    if (key.taxa < 2 || free < 0 || findrecord(key) >= 0) return false;
    memcpy(tshrink[free], key.sum, sizeof key.sum);
    tshrink[free][4] = key.taxa;
    ++have_some_shrinks;
    return true;
}

bool unshrinkclade(const int *tree, int node)
{
    int r = tshrink && have_some_shrinks ? findrecord(keyof(tree, node)) : -1;
    if (r < 0) return false;
    memset(tshrink[r], 0, SHRINKWORDS * sizeof(int));
    --have_some_shrinks;
    return true;
}

void unshrinkall()
{
    if (datonlytag && tshrink) memset(tshrink[0], 0, size_t(nt) * SHRINKWORDS * sizeof(int));
    have_some_shrinks = 0;
}

void markshrinks(const int *tree)
{
    shrinkthenod = nullptr;
    if (!have_some_shrinks) return;
    shrinkthenod = zlo<int>(nodz);
    hiscratch scratch;
    cladekey *keys = hi<cladekey>(nodz);
    cladekeys(tree, keys);
    for (int r = 0; r < nt; ++r) {
        cladekey key = shrunk(r);
        if (!key.taxa) continue;
        for (int n = nt + 1; n < tree[nt]; ++n)
            if (keys[n] == key) shrinkthenod[n] = key.taxa;
    }
}
