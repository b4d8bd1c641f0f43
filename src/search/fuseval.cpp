// Scores of exchanges.  Of each node, work has its first-pass sets and costs where every search has
// them.  The other tree has its own in the rows that final sets take at other times, and costs in rows of their
// own, but only of nodes below which it is not the same; work is optimized once for all trees it is paired with.
#include "search/fuseval.h"
#include "search/evaldata.h"
#include "search/fits.h"
#include "search/fitsets.h"
#include "search/keeptrees.h"
#include "search/slowopt.h"
#include "search/wagner.h"
#include "kernel/arena.h"
#include "trees/scratch.h"
#include <algorithm>
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
static const uint32_t **otherrow;        // per node: first-pass set of the other
static int **othercostrow, *otherslow;   // the same for costs, and room for those that are not those of work
static long *slowlist;                   // of the exchange asked for last
static int *exchangedroom, *exchanged;   // work with the exchanges settled; null when they need not be made to be scored

// ---- The groups in common ----------------------------------------------------------------------------

// Terminals are ranked as a walk of work meets them, so those of a group follow one another.  A node is found at
// the last rank of its group or, if it is the second descendant, at the first, where no other can be (Day 1985).
static int *firstrank, *held, *nodeat;               // per node: its first rank, its terminals; by rank

static void rankwork()
{
    std::fill(held, held + ntax, 1);
    std::fill(nodeat, nodeat + ntax, -1);
    for (int i = noptlist - 1; i >= 0; --i) held[optlist[i]] = held[lef[optlist[i]]] + held[rig[optlist[i]]];
    firstrank[ntax] = 0;
    for (int i = 0; i < noptlist; ++i) {
        int n = optlist[i], l = lef[n], r = rig[n];
        firstrank[l] = firstrank[n];
        firstrank[r] = firstrank[n] + held[l];
        if (l > ntax) nodeat[firstrank[r] - 1] = l;
        if (r > ntax) nodeat[firstrank[r]] = r;
    }
}

static int nodewith(int first, int last)             // these ranks
{
    for (int n : { nodeat[first], nodeat[last] })
        if (n >= 0 && firstrank[n] == first && held[n] == last - first + 1) return n;
    return -1;
}

static int nodesbelow(const int *tree, int *left, int *right, int *list)     // of all internal nodes, each before its descendants
{
    int count = 0;
    std::fill(left, left + hinod, -1);
    auto hang = [&](int n) {
        right[tree[n]] = n;              // the second one comes last
        left[tree[n]] = left[tree[n]] < 0 ? n : left[tree[n]];
    };
    for (int n = 0; n < ntax; ++n) hang(n);
    for (int n = ntax + 1; n < hinod; ++n) hang(n);
    list[count++] = ntax;
    for (int i = 0; i < count; ++i)
        for (int d : { left[list[i]], right[list[i]] })
            if (d > ntax) list[count++] = d;
    return count;
}

// f(b, a): for each node b of the other but the root, descendants first, with its partner or -1.
template<class F> static void matchtrees(const int *other, F f)
{
    hiscratch scratch;
    struct ranks { int first, last, count; } *of = hi<ranks>(hinod);
    int *order = hi<int>(hinod), n = nodesbelow(other, otherlef, otherrig, order);
    std::fill(partner, partner + hinod, -1);
    std::fill(samebelow, samebelow + hinod, 0);
    std::fill(otherbelow, otherbelow + ntax, 1);
    for (int t = 0; t < ntax; ++t) of[t] = { firstrank[t], firstrank[t], 1 };
    while (--n) {
        int b = order[n], l = otherlef[b], r = otherrig[b], a = -1;
        of[b] = { std::min(of[l].first, of[r].first), std::max(of[l].last, of[r].last), of[l].count + of[r].count };
        if (of[b].last - of[b].first + 1 == of[b].count) a = nodewith(of[b].first, of[b].last);
        otherbelow[b] = a >= 0 && otherbelow[l] && otherbelow[r];
        if (a >= 0) {
            partner[a] = b;
            samebelow[a] = otherbelow[b];
        }
        f(b, a);
    }
}

static void prepare_fuse_guide(const int *work)
{
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
}

static void guidememory()
{
    for (int **list : { &firstrank, &held, &nodeat, &otherlef, &otherrig, &fuse_guide, &partner, &fuse_list }) *list = hi<int>(hinod);
    for (uint8_t **list : { &samebelow, &otherbelow }) *list = hi<uint8_t>(hinod);
}

static void listnodes(const int *tree)
{
    binmksis(tree);
    noptlist = binoptlist(optlist);
}

void make_fuse_guide(const int *work, const int *other)
{
    guidememory();
    listnodes(work);
    rankwork();
    matchtrees(other, [](int, int) {});
    prepare_fuse_guide(work);
}

void bar_ancestors(int a)
{
    for (int n = fuse_guide[a]; n != ntax; n = fuse_guide[n]) ladd[n] = 0;
}

// ---- Both trees optimized ------------------------------------------------------------------------------

static const uint32_t *otherset(int n) { return n < ntax ? dnset(n) : otherrow[n]; }
static int *othercosts(int n)          { return n < ntax ? slowcosts(n) : othercostrow[n]; }

static long slowstepsof(const int *a, const int *b)
{
    std::fill(slowlist, slowlist + slowentries(), 0L);
    slowjoin(a, b, 1, slowlist);
    return slowweighted(slowlist);
}

static void stepsofwork()
{
    if (!fuse_steps_a) return;
    for (int i = noptlist - 1; i >= 0; --i) {
        int n = optlist[i], l = lef[n], r = rig[n];
        fuse_steps_a[n] = fuse_steps_a[l] + fuse_steps_a[r] + kernel->check[packweightkind()](&ed, dnset(l), dnset(r), NOLIMIT);
        if (contfuse_steps_a) contfuse_steps_a[n] = contfuse_steps_a[l] + contfuse_steps_a[r] + slowstepsof(slowcosts(l), slowcosts(r));
    }
}

// The node b of the other, whose descendants are done, and its partner or -1.
static void optimizeother(int b, int a)
{
    int l = otherlef[b], r = otherrig[b];
    if (otherbelow[b]) {
        otherrow[b] = dnset(a);
        if (have_unpacked) othercostrow[b] = slowcosts(a);
        if (fuse_steps_b) fuse_steps_b[b] = fuse_steps_a[a];
        if (contfuse_steps_b) contfuse_steps_b[b] = contfuse_steps_a[a];
        return;
    }
    kernel->joinrow(&ed, upset(b), otherset(l), otherset(r));
    otherrow[b] = upset(b);
    if (have_unpacked) {
        othercostrow[b] = otherslow + size_t(b - ntax) * slowrow;
        slowjoinrow(othercosts(l), othercosts(r), othercostrow[b]);
    }
    if (fuse_steps_b)
        fuse_steps_b[b] = fuse_steps_b[l] + fuse_steps_b[r] + kernel->check[packweightkind()](&ed, otherset(l), otherset(r), NOLIMIT);
    if (contfuse_steps_b) contfuse_steps_b[b] = contfuse_steps_b[l] + contfuse_steps_b[r] + slowstepsof(othercosts(l), othercosts(r));
}

static long *nosteps() { return zhi<long>(hinod); }

void pairmemory()
{
    for (int **list : { &worklef, &workrig }) *list = hi<int>(hinod);
    guidememory();
    fuse_steps_a = fuse_steps_b = contfuse_steps_a = contfuse_steps_b = nullptr;
    exchangedroom = hi<int>(hinod);
    otherrow = hi<const uint32_t *>(hinod);
    slowlist = hi<long>(slowentries() + 1);
    if (have_unpacked) {
        othercostrow = hi<int *>(hinod);
        otherslow = hi<int>(size_t(ntax) * slowrow);
    }
    if (dopiwe) {
        ed.fieldchanges = hi<int>(size_t(rowcells) * 16);
        return;
    }
    fuse_steps_a = nosteps();
    fuse_steps_b = nosteps();
    if (!have_unpacked) return;
    contfuse_steps_a = nosteps();
    contfuse_steps_b = nosteps();
}

size_t pair_memory()
{
    constexpr size_t LISTS = 40;                         // of a number a node, in this file
    size_t words = size_t(rowcells) * 16 + size_t(ntax) * slowrow + 2 * slowentries();
    return (LISTS * hinod + words) * sizeof(int);
}

double fusoptimize(int *work)
{
    changed_sets_elsewhere();
    exchanged = asymmetric_fields && work[0] != ntax ? exchangedroom : nullptr;
    if (exchanged) {
        treecopy(work, exchanged);
        fix_outgroup(exchanged);
        score = schoptimize(exchanged, 1);
        treecopy(work, exchanged);
        listnodes(work);
    } else {
        score = schoptimize(work, 1);
        stepsofwork();
    }
    std::copy(lef, lef + hinod, worklef);
    std::copy(rig, rig + hinod, workrig);
    rankwork();
    return score;
}

void start_pair(const int *work, const int *other)
{
    if (exchanged) matchtrees(other, [](int, int) {});
    else matchtrees(other, optimizeother);
    prepare_fuse_guide(work);
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
