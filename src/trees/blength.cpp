// The command blength: branch lengths, as tables or on diagrams.
#include "trees/blength.h"
#include <algorithm>
#include <bit>
#include <cstring>
#include "data/datamem.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "trees/below.h"
#include "trees/implied.h"
#include "trees/lightopt.h"
#include "trees/scores.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"

// --- Lengths ---

// What a missing cell shows: any state of the character.
static uint32_t shown(int n, int c)
{
    uint32_t x = cell(n, c), all = charcodes[c].sets;
    return ismissing(x) || !(x & all) ? all : x & all;
}

// Between two cells of an additive character; one with several states is the range from its lowest
// to its highest.
static int rangegap(uint32_t a, uint32_t b)
{
    int above = std::countr_zero(a) - (int(std::bit_width(b)) - 1), below = std::countr_zero(b) - (int(std::bit_width(a)) - 1);
    return std::max({ above, below, 0 });
}

static uint32_t leastcost(int c, uint32_t from, uint32_t to)
{
    uint32_t least = NO_CHANGE;
    for (uint32_t a = from; a; a &= a - 1)
        for (uint32_t b = to; b; b &= b - 1)
            least = std::min(least, charcodes[c].costs[std::countr_zero(a)][std::countr_zero(b)]);
    return least;
}

static double forcedchange(int c, int n, int a)
{
    const charrec &ch = charcodes[c];
    if (ch.continuous) {
        uint32_t x = cell(n, c), y = cell(a, c);
        if (x == CONT_INAPP) x = CONT_MISSING;
        if (y == CONT_INAPP) y = CONT_MISSING;
        int up = int(x & 0xffff) - int(y >> 16), down = int(y & 0xffff) - int(x >> 16);
        return std::max({ up, down, 0 }) / 1000.0;
    }
    if (!ch.sets) return 0;
    uint32_t x = shown(n, c), y = shown(a, c);
    if (x & y) return 0;
    if (ch.sankoff) return leastcost(c, y, x);
    return ch.additive ? rangegap(x, y) : 1;
}

static bool hasbranch(const int *tree, int n)
{
    return n != nt && (n > nt || isinthetree(tree, n));
}

void minimum_branch_lengths(const int *tree, double *length)
{
    optimize(tree);
    for (int n = 0; n < tree[nt]; ++n) {
        length[n] = 0;
        if (!hasbranch(tree, n)) continue;
        for (int c = 0; c < nc; ++c)
            if (charcodes[c].active && charcodes[c].weight) length[n] += charcodes[c].weight * forcedchange(c, n, tree[n]);
    }
}

// --- Costs of collapsing ---

void save_min_collapsing_costs(const int *tree, double *cost)
{
    double whole = packdownpass(tree);
    char *here = lomark();
    int *without = lo<int>(nodz), *marks = zlo<int>(nodz), atroot = 0;
    for (int n = 0; n < tree[nt]; ++n) atroot += hasbranch(tree, n) && tree[n] == nt;
    for (int n = 0; n < tree[nt]; ++n) {
        cost[n] = 0;
        if (n <= nt || (atroot == 2 && tree[n] == nt)) continue;
        intrupt(1);
        std::memcpy(without, tree, size_t(nodz) * sizeof(int));
        marks[n] = 1;
        delnodz(without, marks);
        marks[n] = 0;
        cost[n] = std::max(0.0, packdownpass(without) - whole);
    }
    loset(here);
}

// --- Increases and decreases ---

void blens_incr_decr(const unsigned char *chars, const int *tree, double *incr, double *decr)
{
    for (int n = 0; n < tree[nt]; ++n) {
        incr[n] = decr[n] = 0;
        if (!hasbranch(tree, n)) continue;
        for (int c = 0; c < nc && charcodes[c].continuous; ++c) {
            if (chars[c] != LISTED || !charcodes[c].active) continue;
            uint32_t x = cell(n, c), y = cell(tree[n], c);
            if (x == CONT_MISSING || x == CONT_INAPP || y == CONT_MISSING || y == CONT_INAPP) continue;
            const scaleback &scale = cont_scale_back[c];
            double unit = display_in_original_scale && !scale.islog ? 1000 * scale.factor : 1000;
            incr[n] = std::max(incr[n], (int(x & 0xffff) - int(y >> 16)) / unit);
            decr[n] = std::max(decr[n], (int(y & 0xffff) - int(x >> 16)) / unit);
        }
    }
}

// --- The command ---

struct blengthoptions {
    bool diagram = false, costs = false, increases = false, decreases = false;
};

static blengthoptions readoptions()
{
    blengthoptions o;
    for (;;) {
        if (gotc('*')) o.diagram = true;
        else if (gotc('/')) o.costs = true;
        else if (gotc('>') || gotc('[')) o.increases = true;
        else if (gotc('<') || gotc(']')) o.decreases = true;
        else if (gotc('!')) o.diagram = true;
        else break;
    }
    if ((o.increases || o.decreases) && !o.diagram) {
        warnem("Decreases/increases can't be displayed as tables; will use a tree", nullptr);
        o.diagram = true;
    }
    return o;
}

static bool whole(const blengthoptions &o)
{
    return !o.costs && !o.increases && !o.decreases && !num_continuous_chars;
}

static void showtable(const int *tree, const double *length, bool integers)
{
    char *here = lomark();
    int *rounded = lo<int>(nodz);
    double *value = lo<double>(nodz);
    for (int n = 0; n < tree[nt]; ++n) {
        value[n] = hasbranch(tree, n) ? length[n] : -1;
        rounded[n] = ftisql(value[n]);
    }
    if (integers) printable(rounded, tree[nt]);
    else printable_floats(value, tree[nt]);
    loset(here);
}

static void label(int n, double value, bool integers)
{
    size_t had = strlen(nodmsg[n]), room = 2 * size_t(Namesize) - had;
    if (integers) snprintf(nodmsg[n] + had, room, "(:%i)", ftisql(value));
    else snprintf(nodmsg[n] + had, room, "(:%.*f)", dopiwe ? 5 : 3, value);
}

static void showdiagram(const int *tree, const double *length, const double *decrease, const blengthoptions &o)
{
    reset_nodmsg();
    memcpy(treetitle, tabletitle, std::min(sizeof treetitle, sizeof tabletitle));
    for (int n = 0; n < tree[nt]; ++n) {
        if (!hasbranch(tree, n)) continue;
        if (o.increases || !decrease) label(n, length[n], whole(o));
        if (o.decreases) label(n, 0 - decrease[n], false);
    }
    drawtree(tree, nt);
    reset_nodmsg();
}

static void settitle(int t, const blengthoptions &o)
{
    char *title = tabletitle;
    size_t size = sizeof tabletitle;
    if (o.costs && userdef_weighting_func)
        snprintf(title, size, "Tree %i, cost of branch collapsing (user weighting function)", t);
    else if (o.costs) snprintf(title, size, "Tree %i, cost of branch collapsing (under k=%.5f)", t, konk);
    else if (o.increases || o.decreases) snprintf(title, size, "Tree %i (branch lengths)", t);
    else snprintf(title, size, o.diagram ? "Tree %i min. branch lengths" : "Tree %i, min. branch lengths", t);
}

static void showlengths(const blengthoptions &o, const uint8_t *list)
{
    uint8_t *chars = lo<uint8_t>(nc);
    memset(chars, LISTED, nc);
    double *length = lo<double>(nodz), *decrease = o.increases || o.decreases ? lo<double>(nodz) : nullptr;
    for (int t = 0; t < trees_in_mem; ++t) {
        if (list[t] != LISTED) continue;
        intrupt(1);
        const int *tree = mem_tree[t];
        if (o.costs) save_min_collapsing_costs(tree, length);
        else if (decrease) {
            optimize(tree);
            blens_incr_decr(chars, tree, length, decrease);
        }
        else minimum_branch_lengths(tree, length);
        settitle(t, o);
        if (o.diagram) showdiagram(tree, length, decrease, o);
        else showtable(tree, length, whole(o));
    }
}

void blengthcom()
{
    notreeerror();
    blengthoptions o = readoptions();
    otherweighting kind(o.costs);            // lengths are in steps, costs in fits
    optmem();
    showlengths(o, treelist());
}

const comhelp blengthhelp = {
    "Show branch lengths.", nullptr,
    "  blength L ;     a table for each tree in list L (default all): the least length that\n"
    "                  each branch can have, over all reconstructions, in steps times weight\n"
    "  blength * L ;   the same on diagrams of the trees (\"!\" in the viewer, when diagrams\n"
    "                  go there)\n"
    "  blength / L ;   what collapsing each branch costs, under implied weights of the\n"
    "                  concavity in force; \"*/\" on diagrams\n"
    "  blength *> L ;  continuous characters: the largest increase on each branch; \"*<\"\n"
    "                  decreases, as negative numbers (\"[\" and \"]\" are the same)\n"
    "Examples:\n"
    "  blength 0 ;\n"
    "  blength * 0 ;\n"
};
