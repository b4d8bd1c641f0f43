// Rearrangements of a tree, each made anew on a copy of it.
#include "script/swaps.h"
#include "data/matrix.h"
#include "trees/treemodel.h"
#include <algorithm>

void join_above(treearray &tree, int x, int d, int a)
{
    tree[size_t(a)] = tree[size_t(d)];
    tree[size_t(d)] = tree[size_t(x)] = a;
}

static bool isnode(const treearray &tree, int n) { return n < tree[size_t(nt)] && (n == nt || tree[size_t(n)]); }

static bool within(const treearray &tree, int n, int clade)
{
    while (n != clade && n != nt) n = tree[size_t(n)];
    return n == clade;
}

static int forks(const treearray &tree, int node)
{
    int count = 0;
    for (int n = 0; n < tree[size_t(nt)]; ++n) count += n != nt && isnode(tree, n) && tree[size_t(n)] == node;
    return count;
}

static int firstdescendant(const treearray &tree, int node, int butnot)
{
    for (int n = 0; n < tree[size_t(nt)]; ++n)
        if (n != nt && n != butnot && isnode(tree, n) && tree[size_t(n)] == node) return n;
    return -1;
}

// A tree without one clade, and the node that is free to join it again.
struct cuttree {
    treearray tree;
    int free;
    int sister;              // the branch from which it came; -1 when no single one is left there
    bool valid;
};

static cuttree cut(const treearray &whole, int x)
{
    cuttree c{ whole, whole[size_t(x)], -1, true };
    treearray &t = c.tree;
    int a = c.free;
    t[size_t(x)] = x;                        // hangs from nothing
    if (forks(whole, a) > 2) {
        c.free = t[size_t(nt)]++;
        c.valid = c.free < nodz;
        return c;
    }
    int s = firstdescendant(whole, a, x);
    if (a != nt) {
        t[size_t(s)] = t[size_t(a)];
        t[size_t(a)] = 0;
        c.sister = s;
        return c;
    }
    c.valid = s >= nt;                       // the root takes over the descendants of what is left
    if (!c.valid) return c;
    for (int n = 0; n < whole[size_t(nt)]; ++n)
        if (n != nt && isnode(whole, n) && whole[size_t(n)] == s) t[size_t(n)] = nt;
    t[size_t(s)] = 0;
    c.free = s;
    return c;
}

using treeviewer = std::function<bool(const treearray &)>;

// The clade goes to every branch of the rest; its own place only when it was rooted anew.
static bool join_everywhere(const treearray &whole, int x, swapkind kind, bool rerooted, const treeviewer &see)
{
    cuttree c = cut(whole, x);
    if (!c.valid) return true;
    bool fixed = kind != SWAP_SPR_OUTGROUP && whole[size_t(outgroup)] == nt;
    for (int d = 0; d < c.tree[size_t(nt)]; ++d) {
        if (d == nt || d == c.free || !isnode(c.tree, d) || within(whole, d, x) || d == x) continue;
        if (d == c.sister && !rerooted) continue;
        if (fixed && d == outgroup) continue;
        treearray next = c.tree;
        join_above(next, x, d, c.free);
        reset_nodz(next.data());
        if (!see(next)) return false;
    }
    return true;
}

// The node of a clade once the tree has other numbers: the one above one of its terminals with as many.
static int samenode(const treearray &before, int x, const treearray &after)
{
    auto size = [](const treearray &t, int node) {
        int count = 0;
        for (int n = 0; n < nt; ++n) count += isnode(t, n) && within(t, n, node);
        return count;
    };
    int terminals = size(before, x), n = 0;
    while (!isnode(before, n) || !within(before, n, x)) ++n;
    while (size(after, n) < terminals) n = after[size_t(n)];
    return n;
}

static bool reroot_everywhere(const treearray &tree, int x, const treeviewer &see)
{
    bool binary = forks(tree, x) == 2;
    for (int r = 0; r < tree[size_t(nt)]; ++r) {
        if (r == x || r == nt || !isnode(tree, r) || !within(tree, r, x) || (binary && tree[size_t(r)] == x)) continue;
        treearray turned = tree;
        if (!rerootclade(turned.data(), x, r)) continue;
        if (!join_everywhere(turned, samenode(tree, x, turned), SWAP_TBR, true, see)) return false;
    }
    return true;
}

bool each_rearrangement(const treearray &tree, swapkind kind, const treeviewer &see)
{
    for (int x = 0; x < tree[size_t(nt)]; ++x) {
        if (x == nt || !isnode(tree, x)) continue;
        if (kind != SWAP_SPR_OUTGROUP && x == outgroup && tree[size_t(x)] == nt) continue;
        if (!join_everywhere(tree, x, kind, false, see)) return false;
        if (kind == SWAP_TBR && x > nt && !reroot_everywhere(tree, x, see)) return false;
    }
    return true;
}
