// Wagner trees (Farris 1970).  A taxon being added is a clipped subtree of one terminal, so the
// checks and the incremental update of swapping serve.  Ties are resolved by the order in which
// branches are visited: breadth first upward or downward, or at random, so that equally good trees
// are found from different seeds.
#include "search/wagner.h"
#include "search/addseq.h"
#include "search/constpack.h"
#include "search/moves.h"
#include "search/wagclus.h"
#include "search/wagseq.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/progress.h"
#include "kernel/random.h"
#include "trees/scratch.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <cstdlib>

int xrandom_addseq, randomize_outgroup;
int selected_addseqs, use_minimum_addseq, informative_addseqs, cluster_wagner;

static bool randomorder;              // of the branches tried, in the tree being built

void netnit(int *tree, int a, int b, int c) { netnitlen(tree, a, b, c); }

double netnitlen(int *tree, int a, int b, int c)
{
    std::fill(tree, tree + hinod, 0);
    tree[a] = tree[ntax + 1] = ntax;
    tree[b] = tree[c] = ntax + 1;
    tree[ntax] = ntax + 2;
    double length = partial_schoptimize(tree);
    schoptimize(tree, 4);
    return length;
}

void hang_from(int *tree, int t)
{
    int up = tree[t], above = ntax, last = t;
    if (up == ntax) return;
    int other = -1;                          // the terminal that hangs from the root now
    for (int n = 0; n < hinod; ++n)
        if (n < ntax && tree[n] == ntax) other = n;
    while (up != ntax) {
        int next = tree[up];
        tree[up] = above;
        above = last = up;
        up = next;
    }
    tree[t] = ntax;
    tree[other] = last;
}

void fix_outgroup(int *tree) { hang_from(tree, 0); }

// Terminals 0 and r trade places for the while of a build.
struct strayoutgroup {
    int r;
    explicit strayoutgroup(int taxon) : r(taxon) { if (r) exchange_terminals(0, r); }
    ~strayoutgroup() { if (r) exchange_terminals(0, r); }
};

// --- places -------------------------------------------------------------------------------

// The branches to visit, in pairs of sisters: below each internal node in the order chosen.
static int listplaces(int nodes, bool downward)
{
    int n = 0, flip = randomorder ? rand() & 1 : 0;
    bool given = randomorder && !use_treeconstraints;      // else the list itself is in random order
    for (int i = 0; i < nodes; ++i) {
        int y = waglist[given ? xrandseq[i] : downward ? nodes - 1 - i : i];
        deslist[n++] = flip ? rig[y] : lef[y];
        deslist[n++] = flip ? lef[y] : rig[y];
    }
    return n;
}

static int listnodes(int from)
{
    int n = 0;
    if (from >= ntax) waglist[n++] = from;
    for (int i = 0; i < n; ++i)
        for (int child : { lef[waglist[i]], rig[waglist[i]] })
            if (child >= ntax) waglist[n++] = child;
    return n;
}

// One more node: it takes a random place, and what stood there goes to the end.
static void growrandseq(int nodes)
{
    int last = nodes - 1, j = rand() % nodes;
    if (j < last) xrandseq[last] = xrandseq[j];
    xrandseq[j] = last;
}

static void firstrandseq(int nodes)
{
    for (int i = 0; i < nodes; ++i) {
        xrandseq[i] = i;
        if (i) growrandseq(i + 1);
    }
}

static bool legal(int place) { return !constrained() || isavalidpos(-1, place); }

// Of the places listed, those that are better than what is known.
static void tryplaces(int t, const int *list, int n, wagplace *best, bool wantworst)
{
    for (int i = 0; (i = scan_nodes(clipset, list, i, n)) < n; ++i) {
        if (!second_check(t, list[i], 0) || !legal(list[i])) continue;
        best->worst = std::max(best->worst, movesteps);
        if (movesteps >= best->cost) continue;
        best->node = list[i];
        best->cost = movebest = movesteps;
        if (!wantworst) movebound = movesteps - leastgain();
    }
}

static void tryclusters(int t, bool downward, wagplace *best)
{
    hiscratch scratch;
    int *order = hi<int>(numclusters);
    for (int k = 0; k < numclusters; ++k) order[k] = downward ? numclusters - 1 - k : k;
    for (int k = 0; (k = scan_clusters(clipset, order, k, numclusters)) < numclusters; ++k)
        tryplaces(t, deslist, wag_reassign_clusters(order[k], deslist), best, false);
}

// The first place looked at is next to terminal 0, or the top of where t may go; downward, another must be
// strictly better than it.
wagplace bestplace(int t, bool wantworst)
{
    int home = sis[0];
    int nodes = use_treeconstraints ? legal_nodes(t, waglist, &home) : wagner_clustered ? 0 : listnodes(home);
    clipset = dnset(t);
    destset = branchset(home);
    movebound = NOBOUND;
    score_checker();
    second_check(t, home, 0);
    wagplace first{ home, legal(home) ? movesteps : NOBOUND, legal(home) ? movesteps : 0 };
    movebest = first.cost;
    if (!wantworst && first.cost < NOBOUND) movebound = movebest - leastgain();
    wagplace best = first;
    bool downward = !randomorder && rand() & 1;
    if (downward) {
        movebest = movebound = best.cost = NOBOUND;
        best.node = -1;
    }
    if (randomorder && use_treeconstraints)
        for (int i = nodes; i > 1; --i) std::swap(waglist[i - 1], waglist[rand() % i]);
    if (wagner_clustered) tryclusters(t, downward, &best);
    else tryplaces(t, deslist, listplaces(nodes, downward), &best, wantworst);
    if (downward && best.cost >= first.cost) {
        best.node = home;
        best.cost = first.cost;
    }
    return best;
}

void put_taxon(int t, int place)
{
    settle_place(dnset(t), t, place);
    unclip_subtree(t, place);
    ++swaptree[ntax];
    if (wagner_clustered) {
        wag_join_cluster(t, place);
        clusters_on = 1;                     // for as long as sets change
        reoptimize_after_add(t);
        wag_widen(t);
        if (count_big_clusters()) fill_cluster_wagner();
        clusters_on = 0;
    } else reoptimize_after_add(t);
    if (constrained()) settle_taxon(t);
}

// A negative constraint that no place of t fulfils may yet be fulfilled by taxa to come; others not.
static wagplace placefor(int t)
{
    if (!constrained()) return bestplace(t, false);
    enter_taxon(t);
    wagplace p = bestplace(t, false);
    if (p.cost < NOBOUND || !cpemneg) return p;
    negatives_bind = 0;
    p = bestplace(t, false);
    negatives_bind = 1;
    return p;
}

// Adds the taxa at places from..n-1 of the list, which is ladd when the next one is to be chosen.  False: constraints
// leave no place for some taxon.
static bool addtaxa(const int *list, int from, int n)
{
    constexpr int LARGE = 150, EVERY = 25;
    for (int i = from; i < n; ++i) {
        if (i > LARGE && i % EVERY == 0) {
            dildit(i, n, "Building Wagner tree");
            if (userstop) return true;
        }
        if (selected_addseqs && list == ladd) select_next_taxon(i);
        int t = list[i];
        swaptree[t] = swaptree[ntax];
        wagplace p = placefor(t);
        if (p.cost >= NOBOUND) return false;
        put_taxon(t, p.node);
        if (randomorder) growrandseq(swaptree[ntax] - ntax - 1);
        if (cluster_wagner && !wagner_clustered && list == ladd && i + 1 == cluster_wagner && i + 1 < n) {
            clusters_on = 1;
            fill_cluster_wagner();
            clusters_on = 0;
        }
    }
    return true;
}

// --- trees --------------------------------------------------------------------------------

static void refusecombinations()
{
    if (!cluster_wagner || cluster_wagner >= ntax) return;
    if (selected_addseqs) errmsg("Cannot use selected addseqs together with clusters", nullptr);
    if (use_treeconstraints) errmsg("Sorry, wagner trees with node-clusters can't be done under tree-constraints", nullptr);
    if (xrandom_addseq) errmsg("Sorry, wagner trees with node-clusters can't be done with random insertion sequence", nullptr);
}

// From the sequence in ladd.  False: not under the constraints.
static bool build(int *tree)
{
    hiscratch scratch;
    struct clusterguard { ~clusterguard() { leave_clusters(); } } guard;
    randomorder = xrandom_addseq || selected_addseqs;
    if (selected_addseqs) get_best_triple(tree, selected_addseqs);
    else if (informative_addseqs) get_informative_sequence();
    if (constrained()) check_addition_sequence(ladd, ntax);
    netnit(tree, ladd[0], ladd[1], ladd[2]);
    if (constrained()) start_constrained_wagner(ladd, 3);
    if (randomorder) xrandseq[0] = 0;
    if (cluster_wagner && cluster_wagner <= 3 && cluster_wagner < ntax) {
        clusters_on = 1;
        fill_cluster_wagner();
        clusters_on = 0;
    }
    return addtaxa(ladd, 3, ntax) && (userstop || !constrained() || whole_tree_ok());
}

// A sequence may run into a place where no taxon can go although there are trees; another one may not.
static bool buildconstrained(int *tree, int seed)
{
    constexpr int ATTEMPTS = 100;
    for (int i = 0; !build(tree); ++i) {
        if (i == ATTEMPTS) return false;
        ranseed = -1;
        randomlist(ntax, ladd, 0, nullptr);
        ranseed = seed;
    }
    return true;
}

void wagner(int *tree, int seed)
{
    if (!wagner_if_possible(tree, seed)) errmsg("Sorry, cannot build a tree with specified constraints", nullptr);
}

bool wagner_if_possible(int *tree, int seed)
{
    refusecombinations();
    ranseed = seed;
    randomlist(ntax, ladd, 0, nullptr);
    if (constrained()) return buildconstrained(tree, seed);
    int stray = randomize_outgroup && !asymmetric_fields ? rand() % ntax : 0;
    {
        strayoutgroup outgroup(stray);
        build(tree);
    }
    if (stray && !userstop) {
        std::swap(tree[0], tree[stray]);
        fix_outgroup(tree);
        changed_sets_elsewhere();
    }
    return true;
}

void rebuild_wagner(int *tree, const int *list, int n)
{
    hiscratch scratch;
    partial_schoptimize(tree);
    schoptimize(tree, 4);
    randomorder = xrandom_addseq;
    if (randomorder) firstrandseq(tree[ntax] - ntax - 1);
    if (constrained()) {
        int *present = hi<int>(ntax), here = 0;
        for (int t = 0; t < ntax; ++t)
            if (tree[t]) present[here++] = t;
        start_constrained_wagner(present, here);
    }
    bool done = addtaxa(list, 0, n);
    if (!userstop && (!done || (constrained() && !whole_tree_ok())))
        errmsg("Sorry, cannot build a tree with specified constraints", nullptr);
}

void complete_wagner(int *tree, int seed)
{
    hiscratch scratch;
    int *missing = hi<int>(ntax), *order = hi<int>(ntax), n = 0;
    for (int t = 0; t < ntax; ++t)
        if (!tree[t]) missing[n++] = t;
    ranseed = seed;
    randomlist(n, order, -1, nullptr);
    for (int i = 0; i < n; ++i) order[i] = missing[order[i]];
    rebuild_wagner(tree, order, n);
}
