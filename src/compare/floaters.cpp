// An item is a taxon, or the taxa of a node of the consensus that includes it, which every tree has as
// a group.  Seen without the other items, it hangs in each tree from a place of the consensus:
//
//        tree                         consensus without x
//     +--a                         +--a          x stands at the branch that leads to the group
//     |  +--b                      |     +--b    it is the sister of.  When that is no group of the
//   --|  |                       --| +-xx|       consensus, or x hangs from a polytomy, it stands at
//     +--|  +--x                   +-|   +--c    the least group that holds all of its sisters.
//        +--|                        +--d
//           +--(b c)...
#include "compare/floaters.h"
#include <algorithm>
#include <cstdio>
#include "compare/below.h"
#include "compare/groups.h"
#include "compare/strict.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "trees/collapse.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"

constexpr int MOSTFLOATERS = 50;

namespace {
struct floater {
    int item;            // taxon, or node of the consensus with all taxa
    uint8_t *taxa;       // 1 for those it stands for
    int size;
    uint8_t *places;     // per node of the final consensus: some tree has it there
};
}

static char letterof(int i) { return char(i < 26 ? 'A' + i : 'a' + i - 26); }

static void marktaxa(const int *tree, int node, uint8_t *taxa)
{
    for (int t = 0; t < nt; ++t) {
        if (!tree[t]) continue;
        int n = t;
        while (n != node && n != nt) n = tree[n];
        taxa[t] = n == node;
    }
}

static int readfloaters(const int *consensus, floater *list)
{
    int slots = consensus[nt], n = 0;
    uint8_t *items = zlo<uint8_t>(nodz);
    if (!read_scope(items, 0, slots, "taxon", taxname)) errmsg("Must specify taxa to locate on pruned consensus", nullptr);
    int asked = countlist(items, slots);
    if (!asked) errmsg("Must specify taxa to locate on pruned consensus", nullptr);
    if (asked > MOSTFLOATERS) myerr("Cannot show location for more than %i taxa/nodes", MOSTFLOATERS);
    for (int i = 0; i < slots; ++i) {
        if (items[i] != LISTED) continue;
        floater &f = list[n++];
        f = { i, zlo<uint8_t>(nt), 0, zlo<uint8_t>(nodz) };
        if (i < nt) f.taxa[i] = consensus[i] != 0;
        else marktaxa(consensus, i, f.taxa);
        f.size = int(std::count(f.taxa, f.taxa + nt, 1));
    }
    return n;
}

// The least node with all of some taxa (at least one) of a tree.
static int leastwith(const int *tree, const uint8_t *taxa)
{
    char *mark = lomark();
    int *below = zlo<int>(nodz), all = 0, at = -1;
    for (int t = nt - 1; t >= 0; --t) {
        if (!taxa[t] || !tree[t]) continue;
        ++all;
        for (int n = at = t; n != nt; n = tree[n]) ++below[n];
    }
    below[nt] = all;
    while (below[at] < all) at = tree[at];
    loset(mark);
    return at;
}

// The place of an item in a tree; -1 when the tree lacks it.
static int placein(const int *tree, const floater &f, const int *sizes, const int *consensus, const uint8_t *excluded)
{
    bool present = false;
    for (int t = 0; t < nt; ++t) present |= f.taxa[t] && tree[t];
    if (!present) return -1;
    int n = leastwith(tree, f.taxa);
    while (n != nt && (sizes[n] == 0 || !issupp[n])) n = tree[n];
    uint8_t *sisters = zlo<uint8_t>(nt);
    for (int t = 0; t < nt; ++t) {
        if (!tree[t] || excluded[t]) continue;
        int k = t;
        while (k != n && k != nt) k = tree[k];
        sisters[t] = k == n;
    }
    return leastwith(consensus, sisters);
}

static void drawplaces(const int *consensus, const floater *list, int items, int ntrees)
{
    for (int n = 0; n < consensus[nt]; ++n) {
        char text[MOSTFLOATERS + 1];
        int length = 0, room = std::min(MOSTFLOATERS, 2 * Namesize - 1);
        for (int i = 0; i < items && length < room; ++i)
            if (list[i].places[n]) text[length++] = letterof(i);
        text[length] = 0;
        labelnode(n, text);
    }
    drawconsensus(consensus, "Strict consensus of " + std::to_string(ntrees) + " trees" + sometrees(ntrees));
    joinem("Legends:\n", nullptr);
    char line[256];
    for (int i = 0; i < items; ++i) {
        int item = list[i].item;
        if (item < nt) snprintf(line, sizeof line, "%c: %s (%i)\n", letterof(i), taxname_out(item), item);
        else snprintf(line, sizeof line, "%c: node %i of consensus\n", letterof(i), item);
        joinem(line, nullptr);
    }
}

void strict_placing_floaters(const consinput &in)
{
    if (collapse_consensuses && current_collapsing_rule() > COLL_RULE1)
        errmsg("For locating pruned taxa, trees can be collapsed with rule 1 or less;\n"
               "rules 4, SPR, or TBR cannot be used for locating pruned taxa...", nullptr);
    int *whole = lo<int>(nodz), *consensus = lo<int>(nodz);
    uint8_t *out = lo<uint8_t>(nt), *withoutfloaters = lo<uint8_t>(nt);
    std::copy(in.excluded, in.excluded + nt, out);
    completexlist(mem_tree, trees_in_mem, in.list, out);
    notecollapsing();
    dostrict(mem_tree, whole, trees_in_mem, in.list, out, 0);
    floater *list = lo<floater>(MOSTFLOATERS);
    int items = readfloaters(whole, list);

    std::copy(out, out + nt, withoutfloaters);
    for (int i = 0; i < items; ++i)
        for (int t = 0; t < nt; ++t)
            if (list[i].taxa[t] || list[i].item == t) withoutfloaters[t] |= 1;
    completexlist(mem_tree, trees_in_mem, in.list, withoutfloaters);
    dostrict(mem_tree, consensus, trees_in_mem, in.list, withoutfloaters, 0);
    int *sizes = lo<int>(nodz), *one = lo<int>(nodz), done = 0;
    for (int t = 0; t < trees_in_mem && !have_some_intrupt(); ++t) {
        if (!selectedtree(in.list, t)) continue;
        dildit(done++, in.ntrees, "Checking groups");
        char *mark = lomark();
        (collapse_consensuses ? mark_supported : nocollapse)(mem_tree[t], issupp, excluding_taxa ? out : nullptr);
        calcusizes(mem_tree[t], sizes, one, withoutfloaters);
        for (int i = 0; i < items; ++i) {
            int at = placein(mem_tree[t], list[i], sizes, consensus, withoutfloaters);
            if (at >= 0) list[i].places[at] = 1;
        }
        loset(mark);
    }
    drawplaces(consensus, list, items, in.ntrees);
}
