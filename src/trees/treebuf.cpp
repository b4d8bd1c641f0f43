// The tree buffer: one row of ancestors a tree, in a layer of its own between the data and all
// that is derived from them.  A change of its size lays it again and drops what lies above.
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include "data/below.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/errors.h"
#include "kernel/input.h"
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
const int *ancestors_of_tree(int t)    { return mem_tree[t]; }
const uint32_t *groups_of_tree(int t)  { return treegroup[t]; }

void numtreeerror(long n) { errmsg("No tree number", intvert(n), "- only", intvert(trees_in_mem), "trees in mem", nullptr); }
void fullerr()            { errmsg("Tree buffer is full", nullptr); }

void notreeerror()
{
    if (!give_trees_in_mem()) errmsg("Tree(s) are required", nullptr);
}

// --- The layer ---

// Bytes of the layer, with a little for the rounding of each allocation.
static double layersize(double n)
{
    return n * (8.0 + 4.0 * nodz + sizeof(treechkrec) + 8.0 + 4.0 * treegroupcells) + TREEBUCKETS * sizeof(treebucket) +
           4.0 * nt + 5.0 * nc + 256;
}

static void laytables(int n)
{
    mem_tree = zlorows<int>(n, nodz);
    treechk = zlo<treechkrec>(n);
    for (int t = 0; t < n; ++t) treechk[t].tree = mem_tree[t];
    treechklist = zlo<treebucket>(TREEBUCKETS);
    treegroup = zlorows<uint32_t>(n, treegroupcells);
    taxgroup = zlo<uint32_t>(nt);
    chargroup = zlo<uint32_t>(nc);
    charscopelist = zlo<uint8_t>(nc);
}

void laytreebuffer(int n)
{
    trees_in_mem = 0;
    groupedplace = -1;
    maxtrees = realmaxtrees = n;
    laytables(n);
    lockram(&datatag);
}

// Layers above the buffer lose their memory with it: their tags go first, the last locked first.
static void wipeabove()
{
    int *const tags[] = { &cnamestag, &consttag, &opttag, &sanktag, &schtag, &packtag };
    while (true) {
        int *highest = nullptr;
        for (int *tag : tags)
            if (*tag > datatag && (!highest || *tag > *highest)) highest = tag;
        if (!highest) return;
        wipetag(highest);
    }
}

// The trees wait at the high end while the layer is laid again.  Freeing a lock puts the high mark
// back, so the scratch is taken a second time, at the same place, to keep it from being overrun.
bool try_maxtrees(int n)
{
    int kept = std::min(n, trees_in_mem);
    wipetag(&schtag);
    wipetag(&opttag);
    wipeabove();
    ram_refresh();
    double scratch = kept * (4.0 * nodz + 4.0 * treegroupcells) + 4.0 * nt + 4.0 * nc + 64;
    double layer = double(loseg - giveme_protralo(datatag - 1));
    if (scratch > double(vailram()) || layersize(n) + scratch > double(vailram()) + layer) return false;

    size_t cells = treegroupcells;
    size_t bytes = size_t(kept) * (nodz + cells) * 4 + size_t(nt) * 4 + size_t(nc) * 4;
    uint32_t *save = static_cast<uint32_t *>(hiram(bytes)), *at = save;
    auto put = [&](const void *from, size_t words) { memcpy(at, from, words * 4); at += words; };
    auto get = [&](void *to, size_t words) { memcpy(to, at, words * 4); at += words; };
    for (int t = 0; t < kept; ++t) put(mem_tree[t], nodz), put(treegroup[t], cells);
    put(taxgroup, nt), put(chargroup, nc);

    freelock(&datatag);
    hiram(size_t(hisegis() - reinterpret_cast<char *>(save)));
    laytables(n);
    at = save;
    for (int t = 0; t < kept; ++t) get(mem_tree[t], nodz), get(treegroup[t], cells);
    get(taxgroup, nt), get(chargroup, nc);
    freehi();
    lockram(&datatag);
    trees_in_mem = kept;
    maxtrees = realmaxtrees = n;
    groupedplace = -1;
    recalctree = 1;
    return true;
}

void reset_maxtrees(int n)
{
    nodaterror("setting space for trees");
    if (!try_maxtrees(n)) errmsg("Cannot make tree space for", intvert(n), "trees", nullptr);
    spewem("Space for", intvert(maxtrees), "trees in memory", nullptr);
}

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

int find_equal_tree(const int *anc, int before)
{
    for (int t = 0; t < before; ++t)
        if (equal_tree(mem_tree[t], anc)) return t;
    return -1;
}

// --- Groups of trees ---

void empty_treegroup(int g)
{
    for (int t = 0; t < maxtrees; ++t) treegroup[t][g / 32] &= ~(1u << g % 32);
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
