// Scores of exchanges.  Of each node, work has its first-pass sets and costs where every search has
// them; those of the other tree are in the rows that final sets take at other times, and its costs in rows
// of their own.
#include "search/fuseval.h"
#include "search/evaldata.h"
#include "search/fits.h"
#include "search/fitsets.h"
#include "search/grouptree.h"
#include "search/keeptrees.h"
#include "search/slowopt.h"
#include "search/wagner.h"
#include "kernel/arena.h"
#include "trees/scratch.h"
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <iterator>

int *fuse_guide, *partner, *fuse_list, nfuse_list;
uint8_t *samebelow;

static uint8_t *otherbelow;              // samebelow by the nodes of the other
static double score;                     // of work with the exchanges settled
static int *worklef, *workrig, *otherlef, *otherrig;
static long *fuse_steps_a, *fuse_steps_b;            // per node, steps of the cells below it; null under implied weights
static long *contfuse_steps_a, *contfuse_steps_b;    // of characters that are in no cells, weighted, in thousandths; null without them
static int *otherslow;                   // rows of costs of the other
static long *slowlist;                   // of the exchange asked for last
static int *exchanged;                   // work with the exchanges settled; null when they need not be made to be scored

// ---- The groups in common ----------------------------------------------------------------------------

static void copylinks(int *left, int *right)
{
    std::copy(lef, lef + hinod, left);
    std::copy(rig, rig + hinod, right);
}

static void matchtrees(const int *work, const int *other)
{
    hiscratch scratch;
    grouptree g;
    makegrouptree(&g, other, ntax, hinod, hiram);
    enteralltaxa(&g);
    matchgroups(&g, work, optlist, noptlist, partner);
    int m = ntax + 1;                            // all but the terminal at the root: too large a group to be listed
    while (other[m] != ntax) ++m;
    partner[optlist[1]] = m;
}

void make_fuse_guide(const int *work, const int *other)
{
    for (int **list : { &fuse_guide, &partner, &fuse_list }) *list = hi<int>(hinod);
    samebelow = hi<uint8_t>(hinod);
    binmksis(work);
    noptlist = binoptlist(optlist);
    matchtrees(work, other);
    hiscratch scratch;
    int *place = hi<int>(hinod), *first = hi<int>(hinod), *next = hi<int>(hinod);
    std::fill(first, first + hinod, -1);
    std::fill(fuse_guide, fuse_guide + hinod, 0);
    std::fill(ladd, ladd + hinod, 0);
    auto hang = [&](int n) {
        int up = fuse_guide[n] = place[work[n]];
        ++ladd[up];
        next[n] = first[up];
        first[up] = n;
    };
    place[ntax] = ntax;
    for (int i = 1; i < noptlist; ++i) {
        int n = optlist[i];
        place[n] = partner[n] < 0 ? place[work[n]] : n;
        if (partner[n] >= 0) hang(n);
    }
    for (int t = 0; t < ntax; ++t) hang(t);
    fuse_guide[ntax] = hinod;
    nfuse_list = 0;
    for (int i = -1; i < nfuse_list; ++i)
        for (int n = first[i < 0 ? ntax : fuse_list[i]]; n >= 0; n = next[n])
            if (n > ntax) fuse_list[nfuse_list++] = n;
    std::fill(samebelow, samebelow + hinod, 0);
    for (int i = 0; i < nfuse_list; ++i) samebelow[fuse_list[i]] = ladd[fuse_list[i]] == 2;
    for (int i = nfuse_list - 1; i >= 0; --i)
        if (!samebelow[fuse_list[i]]) samebelow[fuse_guide[fuse_list[i]]] = 0;
}

void bar_ancestors(int a)
{
    for (int n = fuse_guide[a]; n != ntax; n = fuse_guide[n]) ladd[n] = 0;
}

// ---- Both trees optimized ------------------------------------------------------------------------------

static double fusoptimize(int *tree, long *fuse_steps, long *contfuse_steps)
{
    double length = schoptimize(tree, 1);
    if (fuse_steps) std::fill(fuse_steps, fuse_steps + ntax, 0L);
    if (contfuse_steps) std::fill(contfuse_steps, contfuse_steps + ntax, 0L);
    for (int i = noptlist - 1; i >= 0; --i) {
        int n = optlist[i], l = lef[n], r = rig[n];
        if (fuse_steps)
            fuse_steps[n] = fuse_steps[l] + fuse_steps[r] + kernel->check[packweightkind()](&ed, dnset(l), dnset(r), NOLIMIT);
        if (!contfuse_steps) continue;
        std::fill(slowlist, slowlist + slowentries(), 0L);
        slowjoin(slowcosts(l), slowcosts(r), 1, slowlist);
        contfuse_steps[n] = contfuse_steps[l] + contfuse_steps[r] + slowweighted(slowlist);
    }
    return length;
}

static const uint32_t *otherset(int n) { return n < ntax ? dnset(n) : upset(n); }
static int *othercosts(int n)          { return n < ntax ? slowcosts(n) : otherslow + size_t(n - ntax) * slowrow; }

static void setaside()
{
    for (int i = 0; i < noptlist; ++i) {
        int n = optlist[i];
        memcpy(upset(n), dnset(n), size_t(rowcells) * sizeof(uint32_t));
        if (have_unpacked) memcpy(othercosts(n), slowcosts(n), size_t(slowrow) * sizeof(int));
    }
}

static void pairmemory()
{
    for (int **list : { &worklef, &workrig, &otherlef, &otherrig }) *list = hi<int>(hinod);
    otherbelow = zhi<uint8_t>(hinod);
    fuse_steps_a = fuse_steps_b = contfuse_steps_a = contfuse_steps_b = nullptr;
    otherslow = nullptr;
    slowlist = hi<long>(slowentries() + 1);
    if (have_unpacked) otherslow = hi<int>(size_t(ntax) * slowrow);
    if (dopiwe) {
        ed.fieldchanges = hi<int>(size_t(rowcells) * 16);
        return;
    }
    fuse_steps_a = hi<long>(hinod);
    fuse_steps_b = hi<long>(hinod);
    if (!have_unpacked) return;
    contfuse_steps_a = hi<long>(hinod);
    contfuse_steps_b = hi<long>(hinod);
}

size_t pair_memory()
{
    constexpr size_t LISTS = 40;                         // of a number a node, in this file and of the groups of a tree
    size_t words = size_t(rowcells) * 16 + size_t(ntax) * (slowrow + std::bit_width(unsigned(ntax))) + 2 * slowentries();
    return (LISTS * hinod + words) * sizeof(int);
}

double start_pair(int *work, int *other)
{
    pairmemory();
    make_fuse_guide(work, other);
    for (int n = ntax + 1; n < hinod; ++n)
        if (partner[n] >= 0) otherbelow[partner[n]] = samebelow[n];
    changed_sets_elsewhere();
    fusoptimize(other, fuse_steps_b, contfuse_steps_b);
    copylinks(otherlef, otherrig);
    setaside();
    score = fusoptimize(work, fuse_steps_a, contfuse_steps_a);
    copylinks(worklef, workrig);
    exchanged = nullptr;
    if (!asymmetric_fields || work[0] == ntax) return score;
    exchanged = hi<int>(hinod);
    treecopy(work, exchanged);
    hiscratch scratch;
    int *rooted = hi<int>(hinod);
    treecopy(work, rooted);
    fix_outgroup(rooted);
    return score = schoptimize(rooted, 1);
}

// ---- One exchange ----------------------------------------------------------------------------------------

// Of the cells.
template<int W> static double cellcost(int a, int b, double limit)
{
    constexpr double ROUNDING = 1e-6;
    long inside = fuse_steps_b[b] - fuse_steps_a[a];
    long bound = limit >= NOSCORE ? NOLIMIT : long(std::floor(limit - score - double(inside) + ROUNDING));
    long above = kernel->above[W](&ed, a, otherset(b), bound);
    return above == TOOMANY ? WORSE : double(inside + above);
}

static double cosblow_no_weights(int a, int b, double limit)         { return cellcost<KW_UNIT>(a, b, limit); }
static double cosblow_global_weights(int a, int b, double limit)     { return cellcost<KW_CELL>(a, b, limit); }
static double cosblow_individual_weights(int a, int b, double limit) { return cellcost<KW_FIELD>(a, b, limit); }

static double xcosblow_standard(int a, int b)
{
    std::fill(slowlist, slowlist + slowentries(), 0L);
    slowabove(a, othercosts(b), slowlist);
    return double(contfuse_steps_b[b] - contfuse_steps_a[a] + slowweighted(slowlist)) / 1000;
}

// Steps within a clade, field by field, but for what is the same in both trees.
template<class F> static void insideclade(int top, const int *left, const int *right, const uint8_t *same, F f)
{
    hiscratch scratch;
    int *stack = hi<int>(hinod), n = 0;
    stack[n++] = top;
    while (n) {
        int k = stack[--n];
        f(left[k], right[k]);
        for (int d : { left[k], right[k] })
            if (d > ntax && !same[d]) stack[n++] = d;
    }
}

static void xcosblow_piwe(int a, int b)
{
    std::fill(slowlist, slowlist + slowentries(), 0L);
    insideclade(a, worklef, workrig, samebelow, [](int l, int r) { slowjoin(slowcosts(l), slowcosts(r), -1, slowlist); });
    insideclade(b, otherlef, otherrig, otherbelow, [](int l, int r) { slowjoin(othercosts(l), othercosts(r), 1, slowlist); });
    slowabove(a, othercosts(b), slowlist);
}

static double cosblow_piwe(int a, int b, double)
{
    std::fill(ed.fieldchanges, ed.fieldchanges + size_t(rowcells) * 16, 0);
    insideclade(a, worklef, workrig, samebelow, [](int l, int r) { kernel->tally(&ed, dnset(l), dnset(r), -1); });
    insideclade(b, otherlef, otherrig, otherbelow, [](int l, int r) { kernel->tally(&ed, otherset(l), otherset(r), 1); });
    kernel->above[KW_FIT](&ed, a, otherset(b), NOLIMIT);
    if (have_unpacked) xcosblow_piwe(a, b);
    beginmove();
    long sum = fitchange(ed.fieldchanges) + slowfitchange(slowlist);
    return double(sum + movecost()) / FITUNIT;
}

static double (*const cosblow[])(int a, int b, double limit) = {
    cosblow_no_weights, cosblow_global_weights, cosblow_individual_weights, cosblow_piwe
};
static_assert(std::size(cosblow) == WEIGHTKINDS);

// Rooted elsewhere than the score is for, where that makes a difference.
static double optimized(int a, int b)
{
    hiscratch scratch;
    int *tree = hi<int>(hinod);
    treecopy(exchanged, tree);
    cladzert(b, a, tree);
    fix_outgroup(tree);
    return schoptimize(tree, 1);
}

double fuseval(int a, int b, double limit)
{
    if (exchanged) return optimized(a, b);
    double value = score;
    if (have_unpacked && !dopiwe) value += xcosblow_standard(a, b);
    double cells = cosblow[packweightkind()](a, b, limit - (value - score));
    return cells == WORSE ? WORSE : value + cells;
}

void settle_exchange(int a, int b, double value)
{
    score = value;
    if (exchanged) {
        cladzert(b, a, exchanged);
        return;
    }
    if (dopiwe) {
        settlechange(ed.fieldchanges);
        slowsettlechange(slowlist);
        settlesets();
    }
    kernel->setabove(&ed, a, otherset(b));
    if (have_unpacked) slowsetabove(a, othercosts(b));
}

void moveclade(const clade &from, const clade &to, int *tree)
{
    hiscratch scratch;
    int *old = hi<int>(hinod), n = 0;
    auto list = [&](int *nodes, const clade &c) {
        n = 0;
        nodes[n++] = c.top;
        for (int k = 0; k < n; ++k)
            for (int d : { c.left[nodes[k]], c.right[nodes[k]] })
                if (d > ntax) nodes[n++] = d;
    };
    int *nu = hi<int>(hinod);
    list(old, to);
    list(nu, from);
    for (int i = 0, k = 1; i < n; ++i)                   // breadth first: internal descendants come in the order of the list
        for (int d : { from.left[nu[i]], from.right[nu[i]] }) tree[d < ntax ? d : old[k++]] = old[i];
}

void cladzert(int b, int a, int *tree)
{
    moveclade({ b, otherlef, otherrig }, { a, worklef, workrig }, tree);
}
