// The tree buffer: one row of ancestors a tree, in a layer of its own between the data and all
// that is derived from them.  A change of its size lays it again.
#include "trees/treebuf.h"
#include "trees/pack.h"
#include "trees/scratch.h"
#include "trees/treemodel.h"
#include "trees/treevault.h"
#include "data/below.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/layers.h"
#include "kernel/output.h"
#include <algorithm>
#include <cassert>
#include <cstdio>
#include <cstring>

int maxtrees = 100, realmaxtrees = 100, trees_in_mem, recalctree, send_to_base;
int **mem_tree;
uint32_t **treegroup;
treechkrec *treechk;
treebucket *treechklist;

static int groupedplace = -1;        // place that trinc gave its group in advance; -1 none

int give_trees_in_mem() { return datatag ? trees_in_mem : 0; }
int give_maxtrees()     { return maxtrees; }
uint32_t *groups_of_tree(int t)        { return treegroup[t]; }

// What is read while a search is being set up may name a clade, when trees are in packed numbers already.
const int *ancestors_of_tree(int t)
{
    if (!trees_are_packed) return mem_tree[t];
    int *tree = hi<int>(nodz);
    std::copy(mem_tree[t], mem_tree[t] + nodz, tree);
    unpack_one_tree(tree);
    reset_nodz(tree);
    return tree;
}

void numtreeerror(long n) { errmsg("No tree number", intvert(n), "- only", intvert(trees_in_mem), "trees in mem", nullptr); }
void fullerr()            { errmsg("Tree buffer is full", nullptr); }

void notreeerror()
{
    if (!give_trees_in_mem()) errmsg("Tree(s) are required", nullptr);
}

void checkprunable(int t, const uint8_t *keep)
{
    constexpr int LEAST = 2;
    int left = 0;
    for (int i = 0; i < nt && left < LEAST; ++i) left += keep[i] == 1 && isinthetree(mem_tree[t], i);
    if (left < LEAST) errmsg("Can't prun tree", intvert(t), "- tree must have two or more taxa", nullptr);
}

// --- The layer ---

// Bytes of the layer, with a little for the rounding of each allocation.
static double layersize(double trees, double vault)
{
    double row = 8.0 + 4.0 * nodz + 8.0 + 4.0 * treegroupcells;
    return (trees + vault) * row + trees * sizeof(treechkrec) + TREEBUCKETS * sizeof(treebucket) + 4.0 * nt + 5.0 * nc +
           256;
}

// The trees are the first thing in the layer: when it is laid again at the same place they need not
// move, and those kept are not touched.
static void laytables(int n, int vault, int kept)
{
    size_t row = size_t(nodz), rows = size_t(n);
    int *trees = lo<int>(rows * row);
    memset(trees + size_t(kept) * row, 0, (rows - size_t(kept)) * row * sizeof(int));
    mem_tree = lo<int *>(rows);
    treechk = zlo<treechkrec>(rows);
    for (size_t t = 0; t < rows; ++t) treechk[t].tree = mem_tree[t] = trees + t * row;
    treechklist = zlo<treebucket>(TREEBUCKETS);
    treegroup = zlorows<uint32_t>(rows, treegroupcells);
    taxgroup = zlo<uint32_t>(nt);
    chargroup = zlo<uint32_t>(nc);
    charscopelist = zlo<uint8_t>(nc);
    layvault(vault);
}

void laytreebuffer(int n)
{
    trees_in_mem = trees_in_vault = 0;
    groupedplace = -1;
    maxtrees = realmaxtrees = n;
    laytables(n, 0, 0);
    lockram(&datatag);
}

namespace {
// What waits at the high end while the layer is laid again.
struct aside {
    int kept, keptvault;
    size_t bytes() const
    {
        return (size_t(kept) * treegroupcells + size_t(keptvault) * (nodz + treegroupcells) + nt + nc) * 4 + nc;
    }
    template<class F> void each(F move) const        // in the order in which they stand there
    {
        size_t groups = size_t(treegroupcells) * 4;
        for (int t = 0; t < kept; ++t) move(treegroup[t], groups);
        for (int t = 0; t < keptvault; ++t) move(vault_tree[t], size_t(nodz) * 4), move(vault_treegroup[t], groups);
        move(taxgroup, size_t(nt) * 4);
        move(chargroup, size_t(nc) * 4);
        move(charscopelist, size_t(nc));
    }
};
}

static bool spacesuffices(int trees, int vault, const aside &waits, size_t scratch = 0)
{
    return layersize(trees, vault) + double(scratch) <= relayroom(&datatag, double(waits.bytes()) + 16);
}

// Nothing is dropped before it is known that memory suffices, but for what is derived.
bool try_treespace(int trees, int vault)
{
    aside waits{ std::min(trees, trees_in_mem), std::min(vault, trees_in_vault) };
    wipetag(&schtag);
    wipetag(&opttag);
    ram_refresh();
    if (!spacesuffices(trees, vault, waits)) return false;
    char *save = hi<char>(waits.bytes()), *at = save;
    waits.each([&](const void *from, size_t bytes) { memcpy(at, from, bytes); at += bytes; });
    relayer(&datatag, [&] {
        laytables(trees, vault, waits.kept);
        at = save;
        waits.each([&](void *to, size_t bytes) { memcpy(to, at, bytes); at += bytes; });
    });
    freehi();
    trees_in_mem = waits.kept;
    trees_in_vault = waits.keptvault;
    maxtrees = realmaxtrees = trees;
    groupedplace = -1;
    recalctree = 1;
    return true;
}

bool try_maxtrees(int n) { return !have_vault && try_treespace(n, 0); }

int possible_maxtrees(int wanted, size_t scratch)
{
    if (have_vault) return maxtrees;
    aside waits{ trees_in_mem, 0 };
    int enough = maxtrees, toomany = wanted + 1;     // searched between these
    while (toomany - enough > 1) {
        int middle = enough + (toomany - enough) / 2;
        (spacesuffices(middle, 0, waits, scratch) ? enough : toomany) = middle;
    }
    return enough;
}

void reset_maxtrees(int n)
{
    nodaterror("setting space for trees");
    vaultseterror();
    if (!try_maxtrees(n)) errmsg("Cannot make tree space for", intvert(n), "trees", nullptr);
    report_maxtrees();
}

void report_maxtrees() { spewem("Space for", intvert(maxtrees), "trees in memory", nullptr); }

// --- Trees in and out ---

int trinc(const char *group, bool maygrow)
{
    if (trees_in_mem >= maxtrees) {
        if (!maygrow) errmsg("No space to store new trees (increase maxtrees)", nullptr);
        int more = maxtrees / 10 * 10 + 10;
        mywarn("To store a new tree, maxtrees will be increased to %i", more);
        reset_maxtrees(more);
    }
    groupedplace = -1;
    memset(treegroup[trees_in_mem], 0, treegroupcells * sizeof(uint32_t));
    if (int g = group ? new_auto_treegroup(group) : -1; g >= 0) {
        add_to_treegroup(trees_in_mem, g);
        groupedplace = trees_in_mem;
    }
    return trees_in_mem;
}

void stortree(const int *anc)
{
    if (trees_in_mem >= maxtrees) fullerr();
    memcpy(mem_tree[trees_in_mem], anc, sizeof(int) * nodz);
    if (groupedplace != trees_in_mem) memset(treegroup[trees_in_mem], 0, treegroupcells * sizeof(uint32_t));
    groupedplace = -1;
    ++trees_in_mem;
}

static void movetree(int to, int from)
{
    if (to == from) return;
    memcpy(mem_tree[to], mem_tree[from], sizeof(int) * nodz);
    memcpy(treegroup[to], treegroup[from], sizeof(uint32_t) * treegroupcells);
    treechk[to].score = treechk[from].score;
    treechk[to].bucket = treechk[from].bucket;
    treechk[to].hash = treechk[from].hash;
}

void deletree(int n)
{
    for (int t = n + 1; t < trees_in_mem; ++t) movetree(t - 1, t);
    --trees_in_mem;
    recalctree = 1;
}

void effect_tree_choice(const uint8_t *keep)
{
    int kept = 0;
    for (int t = 0; t < trees_in_mem; ++t)
        if (keep[t] == LISTED) movetree(kept++, t);
    trees_in_mem = kept;
    recalctree = 1;
}

void droptrees(int keep)
{
    if (keep >= trees_in_mem) return;
    trees_in_mem = keep;
    recalctree = 1;
}

void reorder_trees(const int *order)
{
    hiscratch scratch;
    int *from = hi<int>(trees_in_mem), *spare = hi<int>(nodz);
    uint32_t *sparegroups = hi<uint32_t>(treegroupcells);
    std::copy(order, order + trees_in_mem, from);
    for (int start = 0; start < trees_in_mem; ++start) {     // each cycle of moves, through a spare row
        if (from[start] == start) continue;
        memcpy(spare, mem_tree[start], sizeof(int) * nodz);
        memcpy(sparegroups, treegroup[start], sizeof(uint32_t) * treegroupcells);
        treechkrec record = treechk[start];
        int to = start;
        for (int next; (next = from[to]) != start; to = next) {
            movetree(to, next);
            from[to] = to;
        }
        memcpy(mem_tree[to], spare, sizeof(int) * nodz);
        memcpy(treegroup[to], sparegroups, sizeof(uint32_t) * treegroupcells);
        treechk[to].score = record.score;
        treechk[to].bucket = record.bucket;
        treechk[to].hash = record.hash;
        from[to] = to;
    }
    recalctree = 1;
}

int find_equal_tree(const int *anc, int before)
{
    for (int t = 0; t < before; ++t)
        if (equal_tree(mem_tree[t], anc)) return t;
    return -1;
}

// Equal trees have equal sums, so that only trees next to each other in the order of sums are compared.
void first_equal_trees(int *first)
{
    hiscratch scratch;
    uint64_t *sum = hi<uint64_t>(trees_in_mem);
    int *order = hi<int>(trees_in_mem);
    for (int t = 0; t < trees_in_mem; ++t) {
        sum[t] = 0;
        for (int n = 0; n < mem_tree[t][nt]; ++n) sum[t] = (sum[t] ^ uint32_t(mem_tree[t][n])) * 0x9e3779b97f4a7c15u;
        order[t] = first[t] = t;
    }
    std::sort(order, order + trees_in_mem, [&](int a, int b) { return sum[a] != sum[b] ? sum[a] < sum[b] : a < b; });
    for (int i = 1; i < trees_in_mem; ++i)
        for (int j = i - 1; j >= 0 && sum[order[j]] == sum[order[i]]; --j)
            if (equal_tree(mem_tree[order[j]], mem_tree[order[i]])) {
                first[order[i]] = first[order[j]];
                break;
            }
}

// --- Groups of trees ---

void empty_treegroup(int g)
{
    for (int t = 0; t < maxtrees; ++t) treegroup[t][g / 32] &= ~(1u << g % 32);
    for (int t = 0; t < trees_in_vault; ++t) vault_treegroup[t][g / 32] &= ~(1u << g % 32);
    treegroupdef[g / 32] |= 1u << g % 32;
}

int new_auto_treegroup(const char *name)
{
    if (!autotreegroups || !datatag) return -1;
    int g = nextautotreegroup % num_treegroups;
    nextautotreegroup = (g + 1) % num_treegroups;
    empty_treegroup(g);
    snprintf(treegroupname[g], Namesize, "%s", name);
    return g;
}

void add_to_treegroup(int t, int g) { treegroup[t][g / 32] |= 1u << g % 32; }

void checktreebuf()
{
    if (!datatag) return;
    assert(trees_in_mem >= 0 && trees_in_mem <= maxtrees);
    for (int t = 0; t < trees_in_mem; ++t) {
        checktree(mem_tree[t]);
        for (int g = num_treegroups; g < 32 * treegroupcells; ++g)
            assert(!(treegroup[t][g / 32] >> g % 32 & 1));
    }
}
