// Reduced data made from the first-pass sets of the whole tree, and the way back.
//
// The sets of a subtree seen from outside are exact, and so are those of all the rest seen from the sector,
// which come from a walk down the path from the root to it:
//
//     root-+- 0               beyond = set of 0
//          `- x-+- y          beyond = first pass of beyond and y
//               `- p-+- z     beyond = first pass of beyond and z
//                    `- base
//
// So to open a sector takes as many steps as that path has, and rows of the whole tree are only read.
#include "search/sectdata.h"
#include "search/constpack.h"
#include "search/evaldata.h"
#include "search/fits.h"
#include "search/fitsets.h"
#include "search/sectset.h"
#include "search/slowopt.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "trees/imagevars.h"
#include "trees/packlist.h"
#include "trees/reduce.h"
#include "trees/scratch.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <cassert>
#include <cstring>

int *sectonod, *nodtosect, *wholetree, *sectree;
int zert_to, below_was, expected_ntax, wiped_some_sankoff, sectsch_priv_bufsize;

[[maybe_unused]] static const keptwithimage ofimage(ntax, lef, rig, sis);

// Of the sector that is open, or was the last one.
static struct {
    bool open;
    int terminals;             // of the reduced data
    char *mark;                // low end of the arena before it was opened
    int *path, npath;          // from the ancestor of the base to the root
    int *list;                 // scratch: nodes of the sector
    char *image;               // variables of the whole image, while it is open
    uint32_t *beyond;          // set of what lies outside, a row of cells
    int *slowbeyond;           // and of what they cannot hold
    uint32_t *outside;         // implied weights: steps outside the sector, 16 places a cell
    long *slowoutside;
} sector;

void sectormem()
{
    size_t nodes = size_t(hinod) + 2, row = size_t(rowcells);
    for (int **list : { &sectonod, &nodtosect, &wholetree, &sectree, &sector.path, &sector.list }) *list = zlo<int>(nodes);
    std::fill(nodtosect, nodtosect + nodes, -1);
    sector.image = lo<char>(imagevars_size());
    sector.beyond = alignedrows(row);
    memset(sector.beyond, 255, row * sizeof(uint32_t));
    sector.slowbeyond = lo<int>(slowrow);
    sector.outside = dopiwe ? lo<uint32_t>(row * 16) : nullptr;
    sector.slowoutside = dopiwe ? lo<long>(nsank + num_cont) : nullptr;
    sectsch_priv_bufsize = 0;
}

// ---- Memory --------------------------------------------------------------------------------------

// Of an image with the sizes in force, and of its search; some for what the search takes at the high end.
static size_t bytesneeded()
{
    constexpr size_t ANALYSIS = 16384, PERNODE = 256;
    return image_bytes() + search_bytes() + const_bytes(ntax) + (3 * sizeof(int) + PERNODE) * size_t(hinod + 2) + ANALYSIS;
}

static bool enoughroom() { return bytesneeded() < vailram(); }

void get_sectsch_priv_buf()
{
    constexpr int LEAST = 10, SPARED = 5;
    const int taxa = ntax, nodes = hinod;
    size_t spared = used_ram() / 100 * SPARED, free = vailram() > spared ? vailram() - spared : 0;
    int n = use_sectsch_priv_buf && char_cells && !characters_are_linked() ? taxa / 2 : 0;
    for (; n >= LEAST; n = n * 8 / 10) {
        ntax = n;
        hinod = 2 * n - 1;
        if (bytesneeded() <= free) break;
    }
    ntax = taxa;
    hinod = nodes;
    sectsch_priv_bufsize = n >= LEAST ? n : 0;
}

bool sector_is_private(int count) { return use_sectsch_priv_buf && count <= sectsch_priv_bufsize; }

// ---- Opening -------------------------------------------------------------------------------------

// The maps, the reduced tree and the path; reduced numbers: 0, terminals, root, nodes of the sector breadth first.
static void create_reduced_tree(int base, int count, int wholenodes)
{
    int terminals = 1, inner = count + 1, *list = sector.list, n = 0;
    std::fill(nodtosect, nodtosect + wholenodes, -1);
    memcpy(wholetree, anx, size_t(wholenodes) * sizeof(int));
    below_was = base;
    zert_to = anx[base];
    sectonod[0] = -1;
    sectonod[count] = zert_to;
    sectree[0] = count;
    sectree[count] = 2 * count - 1;
    auto enter = [&](int node, int reduced, int above) {
        sectonod[reduced] = node;
        nodtosect[node] = reduced;
        sectree[reduced] = above;
    };
    enter(base, inner++, count);
    list[n++] = base;
    for (int i = 0; i < n; ++i)
        for (int d : { lef[list[i]], rig[list[i]] }) {
            bool ends = d < ntax || deslist[d] == SECTOR_TERMINAL;
            assert(ends || deslist[d] == IN_SECTOR);
            enter(d, ends ? terminals++ : inner++, nodtosect[list[i]]);
            if (!ends) list[n++] = d;
        }
    assert(terminals == count && inner == 2 * count - 1);
    sector.npath = 0;
    for (int k = base; k != ntax;) sector.path[sector.npath++] = k = anx[k];
    sector.terminals = count;
}

static void findbeyond(int base)
{
    memcpy(sector.beyond, dnset(0), size_t(rowcells) * sizeof(uint32_t));
    for (int i = sector.npath - 2; i >= 0; --i)
        kernel->joinrow(&ed, sector.beyond, sector.beyond, dnset(sis[i ? sector.path[i - 1] : base]));
    slowbeyond(sector.path, sector.npath, base, sector.slowbeyond);
}

// Steps within the sector as it stands in the tree, from the nodes in sector.list.
static void stepsinside(int base, int n, uint32_t *counts, long *slow)
{
    auto join = [&](const uint32_t *a, const uint32_t *b, const int *slowa, const int *slowb) {
        countjoin(a, b, counts);
        slowjoinsteps(slowa, slowb, slow);
    };
    for (int i = 0; i < n; ++i) {
        int l = lef[sector.list[i]], r = rig[sector.list[i]];
        join(dnset(l), dnset(r), slowcosts(l), slowcosts(r));
    }
    join(sector.beyond, dnset(base), sector.slowbeyond, slowcosts(base));
}

// What is counted on the tree, less what the sector has of it.
static void discount_steps_in_sector(int base, int n)
{
    hiscratch scratch;
    size_t places = size_t(foldcells) * 16, slow = size_t(nsank + num_cont);
    uint32_t *inside = zhi<uint32_t>(places);
    long *slowinside = zhi<long>(slow);
    stepsinside(base, n, inside, slowinside);
    for (size_t i = 0; i < places; ++i) sector.outside[i] = stepcounts()[i] - inside[i];
    for (size_t i = 0; i < slow; ++i) sector.slowoutside[i] = slowsteps()[i] - slowinside[i];
}

// The rows that stand for the terminals of the sector.
static void copydownstates(const uint32_t **sets, const int **slow, int (*standin)(int), int outgroup)
{
    sets[0] = outgroup < 0 ? sector.beyond : dnset(outgroup);
    slow[0] = outgroup < 0 ? sector.slowbeyond : slowcosts(outgroup);
    for (int t = 1; t < sector.terminals; ++t) {
        int n = standin ? standin(sectonod[t]) : sectonod[t];
        sets[t] = dnset(n);
        slow[t] = slowcosts(n);
    }
}

static void layreduced(const reduction *r)
{
    for (int **list : { &lef, &rig, &sis }) *list = lo<int>(hinod + 2);
    const double *homoplasy = sethomoplasy();
    reduced_search_mem(r);
    schoptimize(sectree, 1);
    if (fitsets) rebase_sets(homoplasy);
}

static void closesector()
{
    sector.open = false;
    load_imagevars(sector.image);
}

bool make_small_matrix(int base, int count, int (*standin)(int), int outgroup)
{
    assert(!sector.open && base != ntax && base != 0 && count >= 3);
    expected_ntax = count;
    if (!sector_is_private(count)) schoptimize(anx, 1);
    hiscratch scratch;
    swaptree = anx;
    syncevaldata();
    create_reduced_tree(base, count, hinod);
    findbeyond(base);
    if (dopiwe) discount_steps_in_sector(base, count - 2);
    const uint32_t **sets = hi<const uint32_t *>(count);
    const int **slow = hi<const int *>(count);
    copydownstates(sets, slow, standin, outgroup);
    gather_consts({ anx, sectonod, count, sector.list, count - 2, sectree, sector.path, sector.npath, base });
    reduction r = { count, sets, slow, sector.outside, sector.slowoutside, saferedsan != 0, nullptr, nullptr, nullptr, false };
    save_imagevars(sector.image);
    sector.mark = lomark();
    sector.open = true;                        // an error in packing closes it
    ntax = count;
    hinod = 2 * count - 1;
    if (!pack_reduced_data(&r, enoughroom)) {
        closesector();
        return false;
    }
    [[maybe_unused]] char *limit = sector.mark + bytesneeded();
    layreduced(&r);
    assert(lomark() <= limit);
    wiped_some_sankoff = r.loose;
    return true;
}

// ---- Closing -------------------------------------------------------------------------------------

int reduced_data_were_left;

void debuf_reduced_data(int)
{
    if (!sector.open) return;
    closesector();
    memcpy(anx, wholetree, size_t(hinod) * sizeof(int));
    reduced_data_were_left = 1;
}

// In the order that binmksis gives.
static void setlinks(int above, int a, int b)
{
    lef[above] = std::min(a, b);
    rig[above] = std::max(a, b);
    sis[a] = b;
    sis[b] = a;
}

// The reduced tree into the whole one, ancestors and links.
static void graft()
{
    const int root = sector.terminals, nodes = 2 * root - 1, beside = sis[below_was];
    int *first = sector.list;                  // descendant met first, by reduced node
    std::fill(first, first + nodes, -1);
    for (int k = 1; k < nodes; ++k) {
        if (k == root) continue;
        int n = sectonod[k], up = sectree[k], above = sectonod[up];
        anx[n] = above;
        if (up == root) setlinks(above, n, beside);
        else if (first[up] < 0) first[up] = n;
        else setlinks(above, first[up], n);
    }
}

void rezertree(int)
{
    if (!sector.open) return;
    closesector();
    loset(sector.mark);
    memcpy(anx, wholetree, size_t(hinod) * sizeof(int));
    graft();
}

// ---- Afterwards ----------------------------------------------------------------------------------

void fix_again_sector()
{
    hiscratch scratch;
    int n = 0, inner = sector.terminals - 2, *list = sector.list, *order = hi<int>(hinod);
    int top = lef[zert_to];
    if (nodtosect[top] < 0 || sectree[nodtosect[top]] != sector.terminals) top = rig[zert_to];
    swaptree = anx;
    syncevaldata();
    list[n++] = top;
    for (int i = 0; i < n; ++i)
        for (int d : { lef[list[i]], rig[list[i]] })
            if (nodtosect[d] > sector.terminals) list[n++] = d;
    assert(n == inner);
    std::reverse_copy(list, list + n, order);
    std::copy_n(sector.path, sector.npath, order + n);
    kernel->renew(&ed, order, n + sector.npath, inner);
    slowrenew(order, n + sector.npath, inner);
    if (!dopiwe) return;
    size_t slow = size_t(nsank + num_cont);
    uint32_t *counts = zhi<uint32_t>(size_t(rowcells) * 16);
    std::copy_n(sector.outside, size_t(foldcells) * 16, counts);
    long *slowinside = zhi<long>(slow);
    stepsinside(top, n, counts, slowinside);
    setcounts(counts);
    slowsetsteps(sector.slowoutside, slowinside);
}

// ---- Recursion -----------------------------------------------------------------------------------

namespace {
struct storedsector {
    decltype(sector) state;
    int *sectonod, *nodtosect, *wholetree, *sectree;
    int zert_to, below_was, expected_ntax, wiped_some_sankoff, sectsch_priv_bufsize;
    double gain;
    char *image;               // variables of the reduced image
};
}

void *store_open_sector()
{
    storedsector *s = lo<storedsector>(1);
    *s = { sector, sectonod, nodtosect, wholetree, sectree, zert_to, below_was, expected_ntax, wiped_some_sankoff,
           sectsch_priv_bufsize, minianal_score_gain, lo<char>(imagevars_size()) };
    save_imagevars(s->image);
    sector.open = false;
    data_are_reduced = 0;
    return s;
}

void reset_open_sector(const void *stored)
{
    const storedsector *s = static_cast<const storedsector *>(stored);
    sector = s->state;
    sectonod = s->sectonod;
    nodtosect = s->nodtosect;
    wholetree = s->wholetree;
    sectree = s->sectree;
    zert_to = s->zert_to;
    below_was = s->below_was;
    expected_ntax = s->expected_ntax;
    wiped_some_sankoff = s->wiped_some_sankoff;
    sectsch_priv_bufsize = s->sectsch_priv_bufsize;
    minianal_score_gain = s->gain;
    load_imagevars(s->image);
}

// ---- The invariant -------------------------------------------------------------------------------

void check_whole_states()
{
#ifndef NDEBUG
    assert(!sector.open);
    hiscratch scratch;
    size_t row = size_t(rowcells) * 2, places = size_t(foldcells) * 16, slow = size_t(sankrow + 2 * controw);
    if (double(hinod) * double(row + slow) * 8 > double(vailram())) return;
    uint32_t *sets = hi<uint32_t>(size_t(hinod) * row), *counts = dopiwe ? hi<uint32_t>(places) : nullptr;
    int *costs = hi<int>(size_t(hinod) * slow);
    auto slowpart = [&](int n, auto use) {           // of the root, no costs over a branch
        use(slowcosts(n), sankrow, 0);
        use(slowrange(n), 2 * controw, sankrow);
    };
    for (int n = ntax; n < hinod; ++n) {
        std::copy_n(dnset(n), row, sets + size_t(n) * row);
        slowpart(n, [&](const int *from, int k, int at) { std::copy_n(from, k, costs + size_t(n) * slow + at); });
    }
    if (counts) std::copy_n(stepcounts(), places, counts);
    schoptimize(anx, 1);
    for (int n = ntax; n < hinod; ++n) {
        assert(std::equal(dnset(n), dnset(n) + row, sets + size_t(n) * row));
        slowpart(n, [&](const int *now, int k, int at) { assert(std::equal(now, now + k, costs + size_t(n) * slow + at)); });
    }
    if (counts) assert(std::equal(counts, counts + places, stepcounts()));
#endif
}
