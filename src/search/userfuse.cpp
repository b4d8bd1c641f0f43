#include "search/userfuse.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "trees/scratch.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <climits>

static int readnumber()
{
    long n = gtnu();
    if (n < 0) errarg(peep());
    return int(std::min<long>(n, INT_MAX));
}

static int readtree()
{
    int t = readnumber();
    if (t >= trees_in_mem) numtreeerror(t);
    return t;
}

// Per node, whether it is in the clade; the node itself is.
static void markclade(const int *tree, int top, uint8_t *in)
{
    int n = mkoptlist(nodlist, tree);
    std::fill(in, in + nodz, 0);
    in[top] = 1;
    for (int i = 0; i < n; ++i)
        if (nodlist[i] != nt && in[tree[nodlist[i]]]) in[nodlist[i]] = 1;
    for (int t = 0; t < nt; ++t) in[t] = tree[t] && in[tree[t]];
}

// The node of the tree with just these taxa, or -1.
static int samegroup(const int *tree, const uint8_t *taxa)
{
    hiscratch scratch;
    int *members = zhi<int>(nodz), *all = zhi<int>(nodz), n = mkoptlist(nodlist, tree), size = 0;
    for (int t = 0; t < nt; ++t) {
        size += taxa[t];
        if (!tree[t]) continue;
        ++all[tree[t]];
        members[tree[t]] += taxa[t];
    }
    for (int i = n - 1; i >= 0; --i) {
        int k = nodlist[i];
        if (members[k] == size && all[k] == size && k != nt) return k;
        if (k == nt) continue;
        members[tree[k]] += members[k];
        all[tree[k]] += all[k];
    }
    return -1;
}

// Nodes of the clade that goes leave their numbers, and there are others above those in use.
static void takeclade(int *target, int at, const int *source, int top)
{
    hiscratch scratch;
    uint8_t *goes = hi<uint8_t>(nodz), *comes = hi<uint8_t>(nodz);
    int *freed = hi<int>(nodz), *place = hi<int>(nodz), n = 0, used = 0;
    markclade(target, at, goes);
    markclade(source, top, comes);
    goes[at] = comes[top] = 0;
    for (int k = nt + 1; k < nodz; ++k)
        if (goes[k] || k >= target[nt]) freed[n++] = k;
    for (int k = 0; k < n; ++k) target[freed[k]] = 0;
    for (int k = 0; k < nt; ++k) place[k] = k;
    place[top] = at;
    for (int k = nt + 1; k < nodz; ++k)
        if (comes[k]) place[k] = freed[used++];
    for (int k = 0; k < nodz; ++k)
        if (comes[k]) target[place[k]] = place[source[k]];
    reset_nodz(target);
}

void do_user_fuse()
{
    int from = readtree(), clade = readnumber(), to = readtree();
    if (peep() != ';') errarg(peep());
    const int *source = mem_tree[from];
    if (from == to) myerr("Cannot fuse tree %i with itself", from);
    if (clade <= nt || clade >= source[nt]) errmsg("Only internal nodes can be switched", nullptr);
    uint8_t *in = lo<uint8_t>(nodz);
    markclade(source, clade, in);
    int at = samegroup(mem_tree[to], in);
    if (at < 0) myerr("Node %i of tree %i does not exist in tree %i", clade, from, to);
    takeclade(mem_tree[to], at, source, clade);
    recalctree = 1;
    myp("Tree %i has the group at node %i of tree %i", to, clade, from);
}
