// The word passes: parsimony of many characters at a time on trees of any shape.
//
// With unordered states the cost of a node's subtree is best (k steps below it) for the states
// that fewest descendants lack, one step more for those that one descendant more lacks, and so
// on; what lies two or more steps above best never enters a reconstruction.  So two sets a node
// are enough: best states (lightset) and those one short (lightset2).  With two and three
// descendants both come out of a few word operations; with more, the descendants that lack each
// state are counted in slices, lightstack[j] holding the states absent from at least j of them.
#include "trees/lightopt.h"
#include <bit>
#include <cassert>
#include <cstring>
#include "data/matrix.h"
#include "kernel/errors.h"
#include "trees/implied.h"
#include "trees/treemodel.h"

int optnodes;

void distri2(uint32_t mask, int cell)
{
    uint32_t *steps = lightsteps + 16 * cell;
    for (; mask; mask &= mask - 1) ++steps[std::countr_zero(mask) >> 1];
}

void distri4(uint32_t mask, int cell)
{
    uint32_t *steps = lightsteps + 16 * lightcells2 + 8 * (cell - lightcells2);
    for (; mask; mask &= mask - 1) ++steps[std::countr_zero(mask) >> 2];
}

// Steps are counted where they are found, in words: lightsmall adds the marks of each cell in the
// fields themselves, up to full<W>; then they are spread over the bytes of lightwide, one word for
// every field of a byte (a plane); bytes that might be full go to lightsteps.  So counting costs
// the same whether or not the tree has many steps, and the loops have no branches.
static int smalladds[5], wideadds[5];        // by W: additions since last emptied

template<int W> constexpr int full = (1 << W) - 1;
template<int W> constexpr int planes = 8 / W;

template<int W> static void emptywide(int from, int to)
{
    wideadds[W] = 0;
    uint32_t *steps = lightsteps + (W == 2 ? 0 : 16 * lightcells2);
    for (int k = 0; k < planes<W>; ++k)
        for (int i = from; i < to; ++i) {
            uint32_t bytes = lightwide[k * lightcells + i];
            for (int b = 0; b < 4; ++b, bytes >>= 8) steps[(i - from) * (32 / W) + b * planes<W> + k] += bytes & 255;
            lightwide[k * lightcells + i] = 0;
        }
}

template<int W> static void emptysmall(int from, int to)
{
    constexpr uint32_t lane = full<W> * 0x01010101u;
    smalladds[W] = 0;
    for (int k = 0; k < planes<W>; ++k)
        for (int i = from; i < to; ++i) lightwide[k * lightcells + i] += lightsmall[i] >> (W * k) & lane;
    for (int i = from; i < to; ++i) lightsmall[i] = 0;
    if ((wideadds[W] += full<W>) > 255 - full<W>) emptywide<W>(from, to);
}

template<int W> static void room(int adds, int from, int to)     // for additions of one mark a field
{
    if (smalladds[W] + adds > full<W>) emptysmall<W>(from, to);
    smalladds[W] += adds;
}

template<int W> constexpr uint32_t onefield(uint32_t marks) { return W == 2 ? marks : marks >> 3; }

// The loops below do nothing but word operations on rows that never overlap, so that the compiler
// takes several cells at a time.

template<int W>
static void twoforks(uint32_t *__restrict best, uint32_t *__restrict next, uint32_t *__restrict count,
                     const uint32_t *__restrict a, const uint32_t *__restrict b, int from, int to)
{
    room<W>(1, from, to);
    for (int i = from; i < to; ++i) {
        uint32_t both = a[i] & b[i], any = a[i] | b[i];
        uint32_t none = empty<W>(both), whole = wholefields<W>(none);
        best[i] = both | (whole & any);
        next[i] = any | whole;
        count[i] += onefield<W>(none);
    }
}

template<int W>
static void threeforks(uint32_t *__restrict best, uint32_t *__restrict next, uint32_t *__restrict count,
                       const uint32_t *__restrict a, const uint32_t *__restrict b, const uint32_t *__restrict c,
                       int from, int to)
{
    room<W>(2, from, to);
    for (int i = from; i < to; ++i) {
        uint32_t all = a[i] & b[i] & c[i], pair = (c[i] & (a[i] | b[i])) | (a[i] & b[i]), any = a[i] | b[i] | c[i];
        uint32_t notall = empty<W>(all), whole = wholefields<W>(notall);
        uint32_t nopair = empty<W>(pair), whole2 = wholefields<W>(nopair);   // of two states a pair shares one
        best[i] = all | (whole & pair) | (whole2 & any);
        next[i] = (whole & any) | pair | whole2;
        count[i] += onefield<W>(notall) + onefield<W>(nopair);
    }
}

template<int W> static void manyforks(int n, int from, int to)
{
    int forks = nodfork[n];
    uint32_t *lacked = lightstack;     // lacked[j]: states absent from at least j descendants
    for (int i = from; i < to; ++i) {
        std::memset(lacked, 0, (forks + 3) * sizeof(uint32_t));
        lacked[0] = ~uint32_t{0};
        int seen = 0;
        for (int d = lef[n]; d >= 0; d = sis[d], ++seen) {
            uint32_t absent = ~lightset[d][i];
            for (int j = seen; j >= 0; --j) lacked[j + 1] |= lacked[j] & absent;
        }
        uint32_t best = ~lacked[1], next = lacked[1] & ~lacked[2];
        for (int j = 1; j < forks; ++j) {
            uint32_t none = empty<W>(best);
            if (!none) break;
            W == 2 ? distri2(none, i) : distri4(none, i);
            uint32_t whole = wholefields<W>(none);
            best |= whole & lacked[j] & ~lacked[j + 1];
            next |= whole & lacked[j + 1] & ~lacked[j + 2];
        }
        lightset[n][i] = best;
        lightset2[n][i] = next;
    }
}

template<int W> static void endcount(int from, int to)
{
    emptysmall<W>(from, to);
    emptywide<W>(from, to);
}

template<int W> static void downnode(int n, int from, int to)
{
    uint32_t *best = lightset[n], *next = lightset2[n];
    const uint32_t *a = lightset[lef[n]], *b = lightset[sis[lef[n]]];
    if (nodfork[n] == 2) twoforks<W>(best, next, lightsmall, a, b, from, to);
    else if (nodfork[n] == 3) threeforks<W>(best, next, lightsmall, a, b, lightset[sis[sis[lef[n]]]], from, to);
    else manyforks<W>(n, from, to);
}

// A node keeps the ancestor's final states where all of them are among its best; elsewhere it has
// its best states and those of the ancestor that are one short.
template<int W>
static void upnode(uint32_t *__restrict set, const uint32_t *__restrict next, const uint32_t *__restrict above,
                   int from, int to)
{
    for (int i = from; i < to; ++i) {
        uint32_t out = ~set[i] & above[i];
        uint32_t whole = wholefields<W>(empty<W>(out) ^ fieldmark<W>);
        set[i] = above[i] ^ (whole & (((next[i] & above[i]) | set[i]) ^ above[i]));
    }
}

void must_match_active_taxa(const int *tree)
{
    if (!dopiwe) return;
    for (int t = 0; t < nt; ++t)
        if (isinthetree(tree, t) != bool(taxact[t]))
            errmsg("To optimize trees under implied weighting, trees must match active taxa", nullptr);
}

// Each field by its own homoplasy: an additive character is the sum of its thresholds.
static void fits_of_fields()
{
    for (int f = lightfields - 1; f >= 0; --f) {
        if (f >= lightfields2 && f < 16 * lightcells2) continue;      // padding
        const charrec &ch = charcodes[lightchar[f]];
        int least = f < lightfields2 ? 1 : int(minimum_for_fit(lightchar[f]));
        add_field_fit(lightchar[f], int(lightsteps[f]) + ch.internal_steps - least);
    }
}

double packdownpass(const int *tree)
{
    must_match_active_taxa(tree);
    if (dopiwe) start_fits();
    optnodes = mkoptlist(nodlist, tree);
    for (int c = 0; c < nc; ++c) {
        charrec &ch = charcodes[c];
        ch.steps = 0;
        ch.realsteps = ch.fit = 0;
        if (dopiwe && ch.constant) chardownpass(tree, c);    // its additional steps count in fits
    }
    for (int i = 0; i < numsinglechars; ++i) chardownpass(tree, singlechars[i]);
    rowdownpass();
    if (lightcells) {
        std::memset(lightsteps, 0, lightfieldcap * sizeof(uint32_t));
        for (int i = optnodes - 1; i >= 0; --i) {
            downnode<2>(nodlist[i], 0, lightcells2);
            downnode<4>(nodlist[i], lightcells2, lightcells);
        }
        endcount<2>(0, lightcells2);
        endcount<4>(lightcells2, lightcells);
        for (int f = lightfields - 1; f >= 0; --f)      // padding has no steps
            charcodes[lightchar[f]].steps += int(lightsteps[f]);
    }
    if (dopiwe) {
        fits_of_fields();
        put_wtsets_in_charcodes();
        return sum_of_fits();
    }
    long steps = 0;
    double real = 0;
    for (int c = 0; c < nc; ++c)
        if (charcodes[c].continuous) real += charcodes[c].weight * charcodes[c].realsteps;
        else steps += long(charcodes[c].weight) * charcodes[c].steps;
    return double(steps) + real;
}

void packuppass(const int *tree)
{
    optnodes = mkoptlist(nodlist, tree);
    for (int i = 0; i < numsinglechars; ++i) charuppass(tree, singlechars[i]);
    rowuppass(tree);
    if (optnodes < 2 || !lightcells) return;
    for (int i = 1; i < optnodes; ++i) {
        int n = nodlist[i];
        upnode<2>(lightset[n], lightset2[n], lightset[tree[n]], 0, lightcells2);
        upnode<4>(lightset[n], lightset2[n], lightset[tree[n]], lightcells2, lightcells);
    }
}

double packoptimize(const int *tree)
{
    double score = packdownpass(tree);
    packuppass(tree);
    return score;
}

double downpass(const int *tree)
{
    must_match_active_taxa(tree);
    if (dopiwe) start_fits();
    optnodes = mkoptlist(nodlist, tree);
    double score = 0;
    for (int c = 0; c < nc; ++c) score += chardownpass(tree, c);
    if (!dopiwe) return score;
    put_wtsets_in_charcodes();
    return sum_of_fits();
}

void uppass(const int *tree)
{
    optnodes = mkoptlist(nodlist, tree);
    for (int c = 0; c < nc; ++c) charuppass(tree, c);
}

double optimize(const int *tree)
{
    double score = downpass(tree);
    uppass(tree);
    return score;
}
