// Wagner trees (Farris 1970).  A taxon being added is a clipped subtree of one terminal, so the
// checks and the incremental update of swapping serve.  Ties are resolved by the order in which
// branches are visited: breadth first upward or downward, or at random, so that equally good trees
// are found from different seeds.
#include "search/wagner.h"
#include "search/addseq.h"
#include "search/moves.h"
#include "data/matrix.h"
#include "kernel/driver.h"
#include "kernel/progress.h"
#include "kernel/random.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <cstdlib>

int xrandom_addseq, randomize_outgroup;

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

void fix_outgroup(int *tree)
{
    int up = tree[0], above = ntax, last = 0;
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
    tree[0] = ntax;
    tree[other] = last;
}

// Terminals 0 and r trade places for the while of a build.
struct strayoutgroup {
    int r;
    explicit strayoutgroup(int taxon) : r(taxon) { if (r) exchange_terminals(0, r); }
    ~strayoutgroup() { if (r) exchange_terminals(0, r); }
};

// The branches to visit, in pairs of sisters: below each internal node in the order chosen.
static int listplaces(int nodes, bool downward)
{
    int n = 0, flip = xrandom_addseq ? rand() & 1 : 0;
    for (int i = 0; i < nodes; ++i) {
        int y = waglist[xrandom_addseq ? xrandseq[i] : downward ? nodes - 1 - i : i];
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

// Where t costs least.  The first place looked at is next to terminal 0; downward, another must be
// strictly better than it.
static int bestplace(int t)
{
    int home = sis[0], best = home;
    clipset = dnset(t);
    destset = branchset(home);
    movebound = NOBOUND;
    score_checker();
    second_check(t, home, 0);
    double fallback = movesteps;
    movebest = fallback;
    movebound = movebest - leastgain();
    int nodes = listnodes(home);
    bool downward = !xrandom_addseq && rand() & 1;
    if (downward) {
        movebest = movebound = NOBOUND;
        best = -1;
    }
    int n = listplaces(nodes, downward);
    for (int i = 0; (i = scan_nodes(clipset, deslist, i, n)) < n; ++i) {
        if (!second_check(t, deslist[i], 0)) continue;
        best = deslist[i];
        movebest = movesteps;
        movebound = movesteps - leastgain();
    }
    return downward && movebest >= fallback ? home : best;
}

static void addtaxa()
{
    constexpr int LARGE = 150, EVERY = 25;
    if (xrandom_addseq) xrandseq[0] = 0;
    for (int i = 3; i < ntax; ++i) {
        if (i > LARGE && i % EVERY == 0) {
            dildit(i, ntax, "Building Wagner tree");
            if (userstop) return;
        }
        int t = ladd[i];
        swaptree[t] = swaptree[ntax];
        int place = bestplace(t);
        settle_place(dnset(t), t, place);
        unclip_subtree(t, place);
        ++swaptree[ntax];
        reoptimize_after_add(t);
        if (xrandom_addseq) growrandseq(i - 1);
    }
}

void wagner(int *tree, int seed)
{
    ranseed = seed;
    randomlist(ntax, ladd, 0, nullptr);
    int stray = randomize_outgroup ? rand() % ntax : 0;
    {
        strayoutgroup outgroup(stray);
        netnit(tree, ladd[0], ladd[1], ladd[2]);
        addtaxa();
    }
    if (userstop) return;
    if (stray) {
        std::swap(tree[0], tree[stray]);
        fix_outgroup(tree);
        changed_sets_elsewhere();
    }
}
