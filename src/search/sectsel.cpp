// Sectors that are not chosen at random: pieces that do not overlap, the polytomies of the tree constraint, what
// lies around a node.
#include "search/sectsel.h"
#include "search/constpack.h"
#include "search/moves.h"
#include "search/sectdata.h"
#include "search/sectors.h"
#include "search/sectset.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "trees/pack.h"
#include "trees/scratch.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <cassert>
#include <cstdlib>

constexpr int LEAST_SECTOR_TREE = 8;         // trees of fewer terminals are scored only

int tree_top(const int *tree)
{
    int n = ntax + 1;
    while (tree[n] != ntax) ++n;
    return n;
}

// Marks what lies between the base and the nodes where it ends; returns how many terminals that has, the outside included.
template<class F> static int mark_sector(int base, F ends)
{
    hiscratch scratch;
    int *list = hi<int>(hinod), n = 0, terminals = 1;
    list[n++] = base;
    deslist[base] = IN_SECTOR;
    for (int i = 0; i < n; ++i)
        for (int d : { lef[list[i]], rig[list[i]] })
            if (d < ntax || ends(d)) {
                deslist[d] = SECTOR_TERMINAL;
                ++terminals;
            } else {
                deslist[d] = IN_SECTOR;
                list[n++] = d;
            }
    return terminals;
}

// --- divisions ----------------------------------------------------------------------------

// A piece takes nodes in random order as long as there is room.
static void closepiece(division *d, int base, const uint8_t *inside, int most)
{
    hiscratch scratch;
    int *open = hi<int>(hinod), n = 0, k = d->pieces++, size = 1 + 2;
    auto enter = [&](int node) {
        d->piece[node] = k;
        for (int des : { lef[node], rig[node] })
            if (des >= ntax && d->piece[des] < 0 && (!inside || inside[des])) open[n++] = des;
    };
    for (enter(base); n && size < most; ++size) {
        std::swap(open[rand() % n], open[n - 1]);
        enter(open[--n]);
    }
    d->base[k] = base;
    d->size[k] = size;
}

void divide_tree(division *d, int top, const uint8_t *inside, piecelimits limits, int mostpieces, bool keepbase)
{
    d->pieces = 0;
    d->piece = hi<int>(hinod);
    d->base = hi<int>(size_t(mostpieces) + 1);
    d->size = hi<int>(size_t(mostpieces) + 1);
    std::fill(d->piece, d->piece + hinod, -1);
    hiscratch scratch;
    int *list = hi<int>(hinod), *terminals = hi<int>(hinod);     // of a piece with this base
    binmksis(anx);
    int n = binoptlist(list);
    std::fill(terminals, terminals + hinod, 1);
    for (int i = n - 1; i > 0; --i) {
        int k = list[i];
        if (inside && !inside[k]) continue;
        int here = terminals[lef[k]] + terminals[rig[k]];
        if (here + 1 < limits.least || d->pieces == mostpieces) terminals[k] = here;
        else closepiece(d, k, inside, limits.most);
    }
    if (keepbase && d->piece[top] < 0 && terminals[top] + 1 >= LEAST_REDUCED)
        closepiece(d, top, inside, limits.most);
    std::reverse(d->base, d->base + d->pieces);
    std::reverse(d->size, d->size + d->pieces);
    for (int k = 0; k < hinod; ++k)
        if (d->piece[k] >= 0) d->piece[k] = d->pieces - 1 - d->piece[k];
}

void mark_piece(const division *d, int k)
{
    [[maybe_unused]] int size = mark_sector(d->base[k], [&](int node) { return d->piece[node] != k; });
    assert(size == d->size[k]);
}

// Pieces one after another; a global swap would change those to come.
static void runpieces(sectorrun *run, const division *d)
{
    for (int k = 0; k < d->pieces && !sectors_stopped(run); ++k) {
        binmksis(anx);
        mark_piece(d, k);
        run_sector(run, d->base[k], d->size[k]);
    }
}

// --- exclusive sectors --------------------------------------------------------------------

piecelimits chunk_limits(int average)
{
    constexpr int SMALL = 20, NARROW = 9, LEAST = 10;
    int half = ntax / 2, least, most;
    if (serial_xss_use_even_sizes) {
        most = average * 110 / 100;
        least = average * 90 / 100;
    } else {
        most = (100 + rand() % 63) * average / 100;
        if (most <= SMALL) least = most * 8 / 10;
        else {
            least = (75 + rand() % 25) * average / 100;
            while (most - least <= NARROW && (most < half || least > LEAST)) {
                if (most < half) ++most;
                if (least > LEAST) --least;
            }
        }
    }
    most = std::min(most, half);
    return { std::min(least, most), most };
}

// Another number of chunks, so that no two rounds divide the tree alike.
static int vary(int chunks)
{
    int by = chunks == MOST_CHUNKS_TRIED ? 6 : std::max(1, chunks / 10);
    return std::clamp(rand() % 2 ? chunks + by : chunks - by, LEAST_CHUNKS, MOST_CHUNKS_TRIED);
}

constexpr int TOOSMALL = 9;                   // nodes of a chunk

bool too_small_for_chunks() { return ntax / LEAST_CHUNKS <= TOOSMALL; }

bool effect_serial_xss(sectorrun *run, int chunks)
{
    if (chunks < LEAST_CHUNKS) errmsg("Tree must be divided in at least 2 chunks", nullptr);
    if (chunks > MOST_CHUNKS_TRIED) errmsg("Can't divide in more than", intvert(MOST_CHUNKS_TRIED), "chunks", nullptr);
    if (!serial_xss_use_even_sizes) chunks = vary(chunks);
    while (ntax / chunks <= TOOSMALL && chunks > LEAST_CHUNKS) --chunks;
    if (ntax / chunks <= TOOSMALL) errmsg("Can't divide tree in chunks of less than 10 nodes", nullptr);
    hiscratch scratch;
    division d;
    divide_tree(&d, tree_top(anx), nullptr, chunk_limits(ntax / chunks), MOST_CHUNKS_TRIED - 1, xss_addroot);
    int before = run->replaced;
    runpieces(run, &d);
    return run->replaced != before;
}

static int chunks_of_round(int round)
{
    if (serial_xss_numrounds < 2) return serial_xss_chunkbeg;
    return serial_xss_chunkbeg + (serial_xss_chunkend - serial_xss_chunkbeg) * round / (serial_xss_numrounds - 1);
}

double serial_xss(int *tree)
{
    if (have_asymmetric) errmsg("Some characters are Sankoff and asymmetric: can't run exclusive sectors", nullptr);
    if (characters_are_linked() && have_asym_nuclei)
        errmsg("Can't run the XSS option with character links that imply asymmetric costs", nullptr);
    sectorrun run;
    start_sectors(&run, tree);
    bool did_serial_changes = false;
    for (int round = 0; round < serial_xss_numrounds && !sectors_stopped(&run); ++round) {
        did_serial_changes |= effect_serial_xss(&run, chunks_of_round(round));
        bool due = round + 1 == serial_xss_numrounds || (round + 1) % serial_xss_tbr_freq == 0;
        if (!due || !did_serial_changes || sectors_stopped(&run)) continue;
        swap_globally(&run);
        did_serial_changes = false;
    }
    return end_sectors(&run, false);
}

// --- sectors by constraints ---------------------------------------------------------------

// The part of the tree between a node and the groups within it.  One that has too many branches is analyzed in pieces;
// false: one that has too few is not.
static bool forksector(sectorrun *run, int base, const int *match, int outside)
{
    auto isgroup = [&](int node) { return match[node] >= 0; };
    int size = mark_sector(base, isgroup), fork = size - 1 + outside;
    if (fork < ssminfork || size < LEAST_REDUCED) return false;
    if (fork <= ssmaxfork) {
        run_sector(run, base, size);
        return true;
    }
    hiscratch scratch;
    uint8_t *inside = zhi<uint8_t>(hinod);
    int *list = hi<int>(hinod), n = 0;
    list[n++] = base;
    for (int i = 0; i < n; ++i) {
        inside[list[i]] = 1;
        for (int d : { lef[list[i]], rig[list[i]] })
            if (d >= ntax && !isgroup(d)) list[n++] = d;
    }
    division d;
    piecelimits limits = { std::max(LEAST_REDUCED, ssmaxfork / 2), ssmaxfork + 1 };
    divide_tree(&d, base, inside, limits, hinod, true);
    runpieces(run, &d);
    return true;
}

// The groups of the tree constraint in the tree being improved.
struct groupnodes { int *list, *match, *node; };         // node: of each group, -1: none is

static void find_groups(groupnodes *g)
{
    binmksis(anx);
    int n = binoptlist(g->list);
    matchgroups(hardconst, anx, g->list, n, g->match, 1);      // all taxa but one are a group too
    std::fill(g->node, g->node + hardconst->slots, -1);
    for (int i = n - 1; i >= 0; --i)
        if (g->match[g->list[i]] >= 0) g->node[g->match[g->list[i]]] = g->list[i];
}

// The sector of a group of the tree constraint; that of the root is what lies outside all groups.  False: there is none.
static bool aconstsel(sectorrun *run, int group, const groupnodes &g)
{
    if (group == ntax) {
        int top = tree_top(anx);
        return g.match[top] < 0 && forksector(run, top, g.match, 1);
    }
    return g.node[group] >= 0 && forksector(run, g.node[group], g.match, 0);
}

double const_ss(int *tree)
{
    if (!use_treeconstraints) errmsg("Can't run constrained sectorial searches without tree constraints", nullptr);
    sectorrun run;
    start_sectors(&run, tree);
    if (ntax < LEAST_SECTOR_TREE) return end_sectors(&run, false);
    hiscratch scratch;
    int groups = hardconst->slots;
    groupnodes g = { hi<int>(hinod), hi<int>(hinod), hi<int>(size_t(groups)) };
    bool known = false;                          // most groups have no sector, and leave the tree as it is
    for (int round = 0; round < ssnumrounds && !sectors_stopped(&run); ++round)
        for (int group = ntax; group < groups && !sectors_stopped(&run); ++group) {
            if (!known) find_groups(&g);
            known = !aconstsel(&run, group, g);
            if (!globally_due(&run, expected_ntax) || sectors_stopped(&run)) continue;
            swap_globally(&run);
            known = false;
        }
    return end_sectors(&run, true);
}

// --- a sector around a node ---------------------------------------------------------------

int diameter_chunk;

// Nodes nearer to the center than so many branches are in the sector, those as far are its terminals.  Upward the
// outside is one.
static int make_diameter_selection(int center, int *base)
{
    hiscratch scratch;
    int *steps = hi<int>(hinod), *list = hi<int>(hinod), top = tree_top(anx);
    binmksis(anx);
    int n = binoptlist(list), way = 0;
    std::fill(steps, steps + hinod, -1);
    *base = center == ntax ? top : center;
    for (int up = *base;; up = anx[up], ++way) {         // the path upwards
        if (up >= ntax && way < dss_diameter) *base = up;
        steps[up] = way;
        if (up == top || way == dss_diameter) break;
    }
    if (*base < ntax) return 0;
    for (int i = 0; i < n; ++i)
        for (int d : { lef[list[i]], rig[list[i]] })
            if (list[i] != ntax && steps[list[i]] >= 0 && steps[d] < 0) steps[d] = steps[list[i]] + 1;
    return mark_sector(*base, [&](int node) { return steps[node] >= dss_diameter; });
}

double run_diameter_ss(int *tree)
{
    if (characters_are_linked()) errmsg("With character links defined, can't run the DSS option ", nullptr);
    if (dss_center < 0 || dss_center >= nodz || gotopack[dss_center] >= hinod)
        errmsg("No node", intvert(dss_center), "in tree", nullptr);
    sectorrun run;
    start_sectors(&run, tree);
    int base, size = make_diameter_selection(gotopack[dss_center], &base);
    diameter_chunk = size;
    if (size >= LEAST_REDUCED) run_sector(&run, base, size);
    return end_sectors(&run, false);
}
