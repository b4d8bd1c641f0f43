// Swap collapsing.
//
// In an unrooted tree a move breaks the branches between the place that the clip had and the one it
// takes, and those within the clip between its old root and the new one; all others are branches of
// the new tree too.  So it is enough to mark them for each move that passes the bound: no tree is made.
#include "search/swapcollapse.h"
#include "search/moves.h"
#include "search/constpack.h"
#include "search/schcollapse.h"
#include "search/keeptrees.h"
#include "search/setup.h"
#include "search/spr.h"
#include "search/status.h"
#include "search/swapper.h"
#include "search/tbr.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/random.h"
#include "trees/below.h"
#include "trees/collapse.h"
#include "trees/scratch.h"
#include "trees/treemodel.h"
#include <algorithm>

const int *swapcollapse_exlist;
static int *swapcollapse_suprt;      // per packed node: 1 while no move breaks its group

// --- what a move breaks -------------------------------------------------------------------

static int depth(int n)
{
    int d = 0;
    for (; n != ntax; n = swaptree[n]) ++d;
    return d;
}

// Nodes from n up to, but without, the one where the two ways meet.
static void breakway(int n, int meeting, void (*broken)(int node))
{
    for (; n != meeting; n = swaptree[n]) broken(n);
}

// The clip hung from its node a, between the sister and the sister's present ancestor.  Upward the way
// begins with the branch of a, downward with that of the sister; the destination's own branch is cut in
// two, of which one has the group that it had.
static void broken_outside(const swapping *sw, int dest, void (*broken)(int node))
{
    int s = sw->sister, freed = swaptree[sw->clip];
    if (dest == s || freed == sw->clip) return;
    int below = s, above = dest, db = depth(s), da = depth(dest);
    while (db > da) { below = swaptree[below]; --db; }
    while (da > db) { above = swaptree[above]; --da; }
    if (below == dest) {                             // upward to an ancestor of the sister
        broken(freed);
        breakway(swaptree[s], dest, broken);
        return;
    }
    if (above == s) {                                // downward
        breakway(swaptree[dest], s, broken);
        if (s >= ntax) broken(s);
        return;
    }
    while (below != above) {
        below = swaptree[below];
        above = swaptree[above];
    }
    broken(freed);
    breakway(swaptree[s], below, broken);
    breakway(swaptree[dest], below, broken);
}

void eachbroken(const swapping *sw, int root, int dest, void (*broken)(int node))
{
    broken_outside(sw, dest, broken);
    if (root >= 0) breakway(swaptree[root], sw->clip, broken);
}

static void losesupport(int node) { swapcollapse_suprt[node] = 0; }

static bool check_good_moves_for_collapsing(swapping *sw, int root, int dest)
{
    if (!swapcollapse_exlist || swapcollapse_exlist[sw->clip]) eachbroken(sw, root, dest, losesupport);
    return false;
}

// --- all moves of a tree ------------------------------------------------------------------

// Included descendants of each node of a packed tree; 1 for an included terminal.
static void countincluded(const int *tree, const uint8_t *excluded, int *count)
{
    std::fill(count, count + hinod, 0);
    for (int t = 0; t < ntax; ++t) count[t] = !excluded[backfrompack[t]];
    binmksis(tree);
    for (int i = binoptlist(optlist) - 1; i >= 0; --i)
        for (int d : { lef[optlist[i]], rig[optlist[i]] }) count[optlist[i]] += count[d] > 0;
}

// A branch that only excluded taxa hold apart from the one below it stands when that one does.
static void carrysupport(const int *tree, const int *count)
{
    binmksis(tree);
    for (int i = binoptlist(optlist) - 1; i > 0; --i) {
        int n = optlist[i], child = count[lef[n]] ? lef[n] : rig[n];
        if (count[n] == 1 && child >= ntax && swapcollapse_suprt[child]) swapcollapse_suprt[n] = 1;
    }
}

namespace {
struct collapsing {                // on for the while of a swap
    bool (*was)(swapping *, int, int) = note_place;
    char *mark = himark();
    collapsing()
    {
        swapcollapse = 1;
        note_place = check_good_moves_for_collapsing;
    }
    ~collapsing()
    {
        swapcollapse = 0;
        note_place = was;
        swapcollapse_exlist = nullptr;
        hiset(mark);
    }
};
}

void effect_swap_collapsing(double (*swapper)(int *, int, int), const int *tree, int *marks, const uint8_t *excluded)
{
    if (!schtag) myerr("Internal error: called swap-collapsing without having assigned memory!");
    collapsing pass;
    int *packed = hi<int>(nodz), *count = nullptr;
    std::copy(tree, tree + nodz, packed);
    pack_one_tree(packed);
    swapcollapse_suprt = hi<int>(hinod);
    std::fill(swapcollapse_suprt, swapcollapse_suprt + hinod, 1);
    if (excluded) {
        count = hi<int>(hinod);
        countincluded(packed, excluded, count);
        swapcollapse_exlist = count;
    }
    set_suboptimal_limit(schoptimize(packed, 1));
    swapper(packed, 0, 1);
    if (count) carrysupport(packed, count);
    std::fill(marks, marks + nodz, 0);
    for (int n = ntax; n < hinod; ++n) marks[backfrompack[n]] = swapcollapse_suprt[n];
    for (int n = nt + 1; n < tree[nt]; ++n)
        if (tree[n] == nt) marks[n] = 1;
    if (userstop) nocollapse(tree, marks, excluded);
}

// --- the rules ----------------------------------------------------------------------------

void rule_spr(const int *tree, int *marks, const uint8_t *excluded) { effect_swap_collapsing(sprswap, tree, marks, excluded); }
void rule_tbr(const int *tree, int *marks, const uint8_t *excluded) { effect_swap_collapsing(tbrswap, tree, marks, excluded); }

// Polytomies are resolved at random, and then as well as rearrangements within them can: against a tree that is
// longer than it need be nearly every move is as good, and none of its groups would stand.
static void resolve_polytomies()
{
    randinit();
    for (int t = 0; t < trees_in_mem; ++t) {
        int *tree = mem_tree[t], seed = rand();
        if (countnodes(tree) >= realntax - 1) continue;
        hiscratch scratch;
        int *groups = hi<int>(nodz), *resolved = hi<int>(nodz);
        std::copy(tree, tree + nodz, groups);
        pack_one_tree(groups);
        dichotomize_tree(tree, seed);
        std::copy(tree, tree + nodz, resolved);
        pack_one_tree(resolved);
        {
            temporary_constraint within(groups);
            tbrswap(resolved, 0, 0);
        }
        unpack_one_tree(resolved);
        std::copy(resolved, resolved + nodz, tree);
        reset_nodz(tree);
    }
}

void prepare_swap_collapse()
{
    clear_rearrangs();
    perturbating = 0;
    realmaxtrees = maxtrees;
    no_reports_yet = 1;
    now_being_swapped = -1;
    set_schcollapser(current_collapsing_rule());
    chk_active_taxa();
    chk_tree_composition();
    chk_tree_rooting();
    wipetag(&opttag);
    drop_doubtful_image();
    schpack();
    unpack_trees();
    resolve_polytomies();
    chk_tree_monophyly();
}
