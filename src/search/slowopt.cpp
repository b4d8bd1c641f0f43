// Rows of integers a node, made from those of the image; see slowopt.h for what they hold.
#include "search/slowopt.h"
#include "search/evaldata.h"
#include "search/fits.h"
#include "search/fitsets.h"
#include "kernel/arena.h"
#include "trees/imagevars.h"
#include <algorithm>
#include <cmath>
#include <cstring>

double clipslack;
static double stopslack;         // the same with each character at the root best for it: a check that is under way may yet come down by it
static double *gains;            // per field, at that root

static int uprow;                        // entries of a row of U or V: costs, lower bounds, upper bounds
static int *outrows, *branchings;        // U, or what lies beyond a node of the clip; V, or W
static int *destclus, *rootclus;         // per cluster: least V of its destinations, least W of its roots
static int *nodestamp, *deststamp, *rootstamp, serial;   // which of them are of the tree as it stands
static int *way, *sums, *scratch, *pairrow;        // nodes from one asked for to one that is known; vectors in the making
static int clipnode;                     // root of the clip; -1: none, what is checked stands for itself
static long *steps;                      // per field, then per continuous character in thousandths: on the tree, or on the two parts while there is a clip
static long *fits, *takensteps;          // implied weights: their fits in FITUNITs; steps taken out with a clip
static bool taken;
static int *sets;                        // weighting set of each; 0 = none
static long *tried;                      // steps that the move asked for last adds
static double *setgains;                 // per set, while roots are compared

static uint32_t *finalsets;              // of internal nodes, for collapsing
static int *finalranges;
static double *placecosts;               // of slowplace

// What a clip overwrites.
static struct { int *where, n; } *changes;
static int nchanges, *oldvalues, nold;

[[maybe_unused]] static const keptwithimage ofimage(clipslack, stopslack, gains, uprow, outrows, branchings, destclus, rootclus, nodestamp, deststamp,
    rootstamp, serial, way, sums, scratch, pairrow, clipnode, steps, fits, takensteps, taken, sets, tried, setgains, finalsets, finalranges,
    placecosts, changes, nchanges, oldvalues, nold);

static int *outside(int n)  { return outrows + size_t(n) * uprow; }
static int *branching(int n) { return branchings + size_t(n) * uprow; }
static int *ranges(int *row) { return row + sankrow; }
static const int *ranges(const int *row) { return row + sankrow; }
static int *destof(int k)   { return destclus + size_t(k) * uprow; }
static int *rootof(int k)   { return rootclus + size_t(k) * uprow; }

void slowmem()
{
    clipslack = stopslack = 0;
    clipnode = -1;
    serial = 1;
    uprow = sankrow + 2 * controw;
    if (!have_unpacked) return;
    size_t nodes = hinod + 1;
    outrows = lo<int>(nodes * uprow);
    branchings = lo<int>(nodes * uprow);
    destclus = lo<int>(size_t(maxclustnum) * uprow);
    rootclus = lo<int>(size_t(maxclustnum) * uprow);
    nodestamp = zlo<int>(nodes);
    deststamp = zlo<int>(maxclustnum);
    rootstamp = zlo<int>(maxclustnum);
    way = lo<int>(nodes);
    sums = lo<int>(slowrow);
    scratch = lo<int>(slowrow);
    pairrow = lo<int>(uprow);
    steps = zlo<long>(nsank + num_cont);
    fits = zlo<long>(nsank + num_cont);
    takensteps = zlo<long>(nsank + num_cont);
    taken = false;
    gains = zlo<double>(nsank);
    sets = lo<int>(nsank + num_cont);
    tried = zlo<long>(nsank + num_cont);
    setgains = zlo<double>(size_t(fitsets) + 1);
    for (int i = 0; i < nsank + num_cont; ++i) {
        uint32_t code = i < nsank ? indcc[sankfields[i].record].setcode : contcodes[i - nsank].setcode;
        sets[i] = fitsets ? setofcode(code) : 0;
    }
    placecosts = lo<double>(2 * (nsank + num_cont));
    finalsets = lo<uint32_t>(nodes * nsank);
    finalranges = lo<int>(nodes * 2 * controw);
    changes = static_cast<decltype(changes)>(loram(nodes * (2 * nsank + 1) * sizeof *changes));
    oldvalues = lo<int>(nodes * slowrow);
}

// ---- First pass ----------------------------------------------------------------------------------

// Costs of a node from those of its descendants over their branches; returns the least, which is
// taken out of them.
static int joincosts(const sankfield &f, const int *a, const int *b, int *out)
{
    int least = NOSTATE;
    for (int s = 0; s < f.lanes; ++s) {
        out[s] = a[s] + b[s];
        least = std::min(least, out[s]);
    }
    for (int s = 0; s < f.lanes; ++s) out[s] -= least;
    return least;
}

// The states that the root may not have cost more than any other.
static int bindroot(const sankfield &f, int *costs)
{
    int least = NOSTATE;
    for (int s = 0; s < f.states; ++s) {
        if (!(f.rootstates >> s & 1)) costs[s] = NOSTATE;
        least = std::min(least, costs[s]);
    }
    for (int s = 0; s < f.lanes; ++s) costs[s] -= least;
    return least;
}

// Of low and high bounds that lie controw apart: what two ranges share, or what lies between them.
static void joinranges(const int *a, const int *b, int *out)
{
    for (int i = 0; i < controw; ++i) {
        int low = std::max(a[i], b[i]), high = std::min(a[i + controw], b[i + controw]);
        out[i] = std::min(low, high);
        out[i + controw] = std::max(low, high);
    }
}

static int apart(const int *a, const int *b, int i)
{
    return std::max(0, std::max(a[i] - b[i + controw], b[i] - a[i + controw]));
}

// Extra steps of a field, or behind them a continuous character, with so many.
static double homof(int i, long n)
{
    if (i >= nsank) return std::max(0.0, double(n) / 1000 + contcodes[i - nsank].basesteps - contcodes[i - nsank].minsteps);
    const fieldrec &r = indcc[sankfields[i].record];
    double h = std::max(0.0, double(n) + r.basesteps - r.minsteps);
    return charcodes[r.character].aux_unit > 1 ? h / charcodes[r.character].aux_unit : h;
}

static double weightof(int i)    { return i >= nsank ? contcodes[i - nsank].weight : indcc[sankfields[i].record].weight; }
static int    characterof(int i) { return i >= nsank ? contcodes[i - nsank].character : indcc[sankfields[i].record].character; }
static double sethom(int i, long n) { return weightof(i) * homof(i, n); }

// A member of a set has no fit of its own.
static long fitat(int i, long n)
{
    return sets[i] ? 0 : infitunits(weightof(i) * charfit(characterof(i), homof(i, n)));
}

double slowtotalfit()
{
    long sum = 0;
    for (int i = 0; i < nsank + num_cont && have_unpacked; ++i) {
        sum += fits[i] = fitat(i, steps[i]);
        if (sets[i]) changeset(sets[i], sethom(i, steps[i]));
    }
    return double(sum) / FITUNIT;
}

double slowfirstpass()
{
    if (!have_unpacked) return 0;
    clipnode = -1;
    clipslack = stopslack = 0;
    ++serial;
    std::fill(steps, steps + nsank + num_cont, 0L);
    taken = false;
    for (int i = noptlist - 1; i >= 0; --i) {
        int n = optlist[i], l = lef[n], r = rig[n];
        for (int k = 0; k < nsank; ++k) {
            const sankfield &f = sankfields[k];
            int *costs = slowcosts(n) + f.at;
            steps[k] += joincosts(f, slowedge(l) + f.at, slowedge(r) + f.at, costs);
            if (n == ntax) {
                if (f.rootstates != ~0u) steps[k] += bindroot(f, costs);
            } else mincosts(f, f.to, costs, slowedge(n) + f.at);
        }
        for (int c = 0; c < num_cont; ++c) steps[nsank + c] += apart(slowrange(l), slowrange(r), c);
        joinranges(slowrange(l), slowrange(r), slowrange(n));
    }
    if (dopiwe) return slowtotalfit();
    long whole = 0, thousandths = 0;
    for (int k = 0; k < nsank; ++k) {
        indcc[sankfields[k].record].steps = uint32_t(steps[k]);
        whole += long(indcc[sankfields[k].record].weight) * steps[k];
    }
    for (int c = 0; c < num_cont; ++c) thousandths += contweights[c] * steps[nsank + c];
    return double(whole * 1000 + thousandths) / 1000;
}

// ---- Incremental first pass ------------------------------------------------------------------------

static void keepold(int *where, int n, bool logging)
{
    if (!logging) return;
    changes[nchanges++] = { where, n };
    memcpy(oldvalues + nold, where, n * sizeof(int));
    nold += n;
}

static bool recost(int n, const sankfield &f, bool logging)
{
    int *costs = slowcosts(n) + f.at, *edge = slowedge(n) + f.at;
    joincosts(f, slowedge(lef[n]) + f.at, slowedge(rig[n]) + f.at, sums);
    if (!memcmp(sums, costs, f.lanes * sizeof(int))) return false;
    keepold(costs, f.lanes, logging);
    keepold(edge, f.lanes, logging);
    memcpy(costs, sums, f.lanes * sizeof(int));
    mincosts(f, f.to, costs, edge);
    return true;
}

static bool rerange(int n, bool logging)
{
    joinranges(slowrange(lef[n]), slowrange(rig[n]), sums);
    if (!memcmp(sums, slowrange(n), 2 * controw * sizeof(int))) return false;
    keepold(slowrange(n), 2 * controw, logging);
    memcpy(slowrange(n), sums, 2 * controw * sizeof(int));
    return true;
}

// From node n toward the root; the root's own costs are of no use to moves.
static void redoupward(int n, bool logging)
{
    for (int k = 0; k < nsank; ++k)
        for (int m = n; m != ntax && recost(m, sankfields[k], logging); ) m = swaptree[m];
    if (num_cont)
        for (int m = n; m != ntax && rerange(m, logging); ) m = swaptree[m];
}

// ---- Sectors -------------------------------------------------------------------------------------

const long *slowsteps() { return steps; }

void slowsetsteps(const long *elsewhere, const long *here)
{
    for (int i = 0; i < nsank + num_cont; ++i) steps[i] = elsewhere[i] + here[i];
}

static void lessleastcost(const sankfield &f, int *costs)
{
    int least = *std::min_element(costs, costs + f.states);
    for (int s = 0; s < f.lanes; ++s) costs[s] = std::min(costs[s] - least, NOSTATE);
}

void slowbeyond(const int *path, int n, int base, int *row)
{
    if (!have_unpacked) return;
    int *edge = row + sankrow, *range = row + 2 * sankrow;
    memcpy(row, slowcosts(0), slowrow * sizeof(int));
    for (int k = 0; k < nsank; ++k) {
        const sankfield &f = sankfields[k];
        for (int s = 0; s < f.states; ++s)
            if (!(f.rootstates >> s & 1)) edge[f.at + s] = NOSTATE;
        lessleastcost(f, edge + f.at);
    }
    for (int i = n - 2; i >= 0; --i) {
        int sister = sis[i ? path[i - 1] : base];
        for (int k = 0; k < nsank; ++k) {
            const sankfield &f = sankfields[k];
            mincosts(f, f.from, edge + f.at, sums);
            for (int s = 0; s < f.lanes; ++s) edge[f.at + s] = sums[s] + slowedge(sister)[f.at + s];
            lessleastcost(f, edge + f.at);
        }
        joinranges(range, slowrange(sister), range);
    }
    memcpy(row, edge, sankrow * sizeof(int));
}

void slowjoinsteps(const int *a, const int *b, long *count)
{
    const int *lows = a + 2 * sankrow, *otherlows = b + 2 * sankrow;
    for (int k = 0; k < nsank; ++k) count[k] += joincosts(sankfields[k], a + sankrow + sankfields[k].at, b + sankrow + sankfields[k].at, sums);
    for (int c = 0; c < num_cont; ++c) count[nsank + c] += apart(lows, otherlows, c);
}

int slowrenew(const int *list, int n, int sure)
{
    if (!have_unpacked) return 0;
    clipnode = -1;
    ++serial;
    for (int i = 0; i < n; ++i) {
        bool differs = false;
        for (int k = 0; k < nsank; ++k) {
            const sankfield &f = sankfields[k];
            if (list[i] != ntax) {
                differs |= recost(list[i], f, false);
                continue;
            }
            int *costs = slowcosts(ntax) + f.at;
            joincosts(f, slowedge(lef[ntax]) + f.at, slowedge(rig[ntax]) + f.at, costs);
            if (f.rootstates != ~0u) bindroot(f, costs);
        }
        differs |= rerange(list[i], false);
        if (i >= sure && !differs) return i + 1;
    }
    return n;
}

void slowafterclip(int s, int x)
{
    if (!have_unpacked) return;
    nchanges = nold = 0;
    redoupward(swaptree[s], true);
    clipnode = x;
    clipslack = stopslack = 0;
    ++serial;
}

// The joining node had other descendants before.
void slowafterjoin(int a)
{
    if (!have_unpacked) return;
    clipnode = -1;
    clipslack = stopslack = 0;
    ++serial;
    if (a == ntax) return;
    for (int k = 0; k < nsank; ++k) recost(a, sankfields[k], false);
    rerange(a, false);
    redoupward(swaptree[a], false);
}

static void changesteps(const long *by, int sign)
{
    for (int i = 0; i < nsank + num_cont; ++i) {
        if (!by[i]) continue;
        if (sets[i]) changeset(sets[i], sethom(i, steps[i] + sign * by[i]) - sethom(i, steps[i]));
        steps[i] += sign * by[i];
        fits[i] = fitat(i, steps[i]);
    }
}

void slowrestore()
{
    if (!have_unpacked) return;
    clipnode = -1;
    clipslack = stopslack = 0;
    ++serial;
    if (taken) changesteps(takensteps, 1);
    taken = false;
    while (nchanges) {
        auto &c = changes[--nchanges];
        nold -= c.n;
        memcpy(c.where, oldvalues + nold, c.n * sizeof(int));
    }
}

void slowclippath(int top, int x)
{
    if (!have_unpacked) return;
    for (int n = top; ; n = swaptree[n]) {
        for (int k = 0; k < nsank; ++k) recost(n, sankfields[k], false);
        rerange(n, false);
        if (n == x) return;
    }
}

// ---- Subtrees exchanged --------------------------------------------------------------------------------

int slowentries() { return have_unpacked ? nsank + num_cont : 0; }

void slowjoin(const int *a, const int *b, int sign, long *list)
{
    if (!have_unpacked) return;
    for (int k = 0; k < nsank; ++k) {
        int at = sankrow + sankfields[k].at;
        list[k] += sign * joincosts(sankfields[k], a + at, b + at, sums);
    }
    for (int c = 0; c < num_cont; ++c) list[nsank + c] += sign * apart(a + 2 * sankrow, b + 2 * sankrow, c);
}

void slowjoinrow(const int *a, const int *b, int *to)
{
    for (int k = 0; k < nsank; ++k) {
        const sankfield &f = sankfields[k];
        joincosts(f, a + sankrow + f.at, b + sankrow + f.at, to + f.at);
        mincosts(f, f.to, to + f.at, to + sankrow + f.at);
    }
    joinranges(a + 2 * sankrow, b + 2 * sankrow, to + 2 * sankrow);
}

static int fieldabove(const sankfield &f, int n, const int *edge)
{
    int added = 0, *now = pairrow;
    const int *was = slowedge(n) + f.at;
    if (!memcmp(edge, was, f.lanes * sizeof(int))) return 0;
    memcpy(now, edge, f.lanes * sizeof(int));
    for (int m = n; ; m = swaptree[m], was = slowedge(m) + f.at) {
        const int *beside = slowedge(sis[m]) + f.at;
        added += joincosts(f, now, beside, sums) - joincosts(f, was, beside, scratch);
        if (swaptree[m] == ntax) return f.rootstates == ~0u ? added : added + bindroot(f, sums) - bindroot(f, scratch);
        if (!memcmp(sums, slowcosts(swaptree[m]) + f.at, f.lanes * sizeof(int))) return added;
        mincosts(f, f.to, sums, now);
    }
}

static int rangeabove(int c, int n, int low, int high)
{
    int added = 0;
    const int up = controw;
    for (int m = n; m != ntax; m = swaptree[m]) {
        const int *was = slowrange(m), *beside = slowrange(sis[m]);
        if (low == was[c] && high == was[c + up]) break;
        added += std::max(0, std::max(low - beside[c + up], beside[c] - high)) - apart(was, beside, c);
        int from = std::max(low, beside[c]), to = std::min(high, beside[c + up]);
        low = std::min(from, to);
        high = std::max(from, to);
    }
    return added;
}

void slowabove(int n, const int *row, long *list)
{
    if (!have_unpacked) return;
    const int *lows = row + 2 * sankrow;
    for (int k = 0; k < nsank; ++k) list[k] += fieldabove(sankfields[k], n, row + sankrow + sankfields[k].at);
    for (int c = 0; c < num_cont; ++c) list[nsank + c] += rangeabove(c, n, lows[c], lows[c + controw]);
}

void slowsetabove(int n, const int *row)
{
    if (!have_unpacked) return;
    memcpy(slowcosts(n), row, slowrow * sizeof(int));
    redoupward(swaptree[n], false);
}

long slowweighted(const long *list)
{
    long sum = 0;
    for (int k = 0; k < slowentries(); ++k)
        sum += list[k] * (k < nsank ? 1000L * indcc[sankfields[k].record].weight : long(contweights[k - nsank]));
    return sum;
}

long slowfitchange(const long *list)
{
    long sum = 0;
    for (int i = 0; i < slowentries(); ++i) {
        if (!list[i]) continue;
        if (sets[i]) addtomove(sets[i], sethom(i, steps[i] + list[i]) - sethom(i, steps[i]));
        else sum += fitat(i, steps[i] + list[i]) - fits[i];
    }
    return sum;
}

void slowsettlechange(const long *list)
{
    if (have_unpacked) changesteps(list, 1);
}

// ---- Seen from a branch ----------------------------------------------------------------------------

// Takes out of O the least cost of the piece, that of joining O to the node over its branch.
static void lessleast(const sankfield &f, int *beyond, const int *edge)
{
    int least = 4 * NOSTATE;
    for (int s = 0; s < f.states; ++s) least = std::min(least, beyond[s] + edge[s]);
    for (int s = 0; s < f.lanes; ++s) beyond[s] -= least;
}

static void addcosts(const sankfield &f, const int *a, const int *b, int *out)
{
    for (int s = 0; s < f.lanes; ++s) out[s] = a[s] + b[s];
}

static void seendest(int n)
{
    int a = swaptree[n], sister = sis[n], *out = outside(n), *at = branching(n);
    bool alone = a == ntax && sister == n;                 // terminal 0 is all that was left
    for (int k = 0; k < nsank; ++k) {
        const sankfield &f = sankfields[k];
        const int *edge = slowedge(n) + f.at;
        int *beyond = scratch;
        if (a != ntax) addcosts(f, outside(a) + f.at, slowedge(sister) + f.at, beyond);
        else {
            for (int s = 0; s < f.lanes; ++s) {
                beyond[s] = alone ? 0 : slowedge(sister)[f.at + s];
                if (!(f.rootstates >> s & 1)) beyond[s] = NOSTATE;
            }
        }
        lessleast(f, beyond, edge);
        if (alone) {
            addcosts(f, beyond, edge, at + f.at);
            continue;
        }
        mincosts(f, f.from, beyond, out + f.at);
        addcosts(f, out + f.at, edge, at + f.at);
    }
    if (!num_cont) return;
    if (alone) {
        memcpy(ranges(at), slowrange(n), 2 * controw * sizeof(int));
        return;
    }
    if (a != ntax) joinranges(ranges(outside(a)), slowrange(sister), ranges(out));
    else memcpy(ranges(out), slowrange(sister), 2 * controw * sizeof(int));
    joinranges(ranges(out), slowrange(n), ranges(at));
}

// Of the clip as if it were rooted above its node n.  Between the two descendants of its root there
// is one branch only, without a node.
static void seenroot(int n)
{
    int a = swaptree[n], sister = sis[n], *out = outside(n), *at = branching(n);
    for (int k = 0; k < nsank; ++k) {
        const sankfield &f = sankfields[k];
        const int *edge = slowedge(n) + f.at, *beside = slowedge(sister) + f.at;
        int *beyond = scratch;
        memcpy(beyond, beside, f.lanes * sizeof(int));
        lessleast(f, beyond, edge);
        if (a == clipnode) memcpy(out + f.at, beyond, f.lanes * sizeof(int));
        else {
            addcosts(f, beyond, outside(a) + f.at, beyond);
            mincosts(f, f.to, beyond, out + f.at);
        }
        addcosts(f, out + f.at, edge, sums);
        mincosts(f, f.to, sums, at + f.at);
    }
    if (!num_cont) return;
    if (a == clipnode) memcpy(ranges(out), slowrange(sister), 2 * controw * sizeof(int));
    else joinranges(ranges(outside(a)), slowrange(sister), ranges(out));
    joinranges(ranges(out), slowrange(n), ranges(at));
}

template<class SEEN> static const int *lookup(int n, int top, SEEN see)
{
    int k = 0;
    for (int m = n; m != top && nodestamp[m] != serial; m = swaptree[m]) way[k++] = m;
    while (k--) {
        see(way[k]);
        nodestamp[way[k]] = serial;
    }
    return branching(n);
}

static const int *destrow(int d)
{
    if (d == 0) d = sis[0];
    return lookup(d, ntax, seendest);
}

// W of a root of the clip, or of a subtree that stands for itself.
static const int *rootrow(int r)
{
    if (clipnode >= 0 && r != clipnode) return lookup(r, clipnode, seenroot);
    memcpy(sums, slowedge(r), sankrow * sizeof(int));
    memcpy(ranges(sums), slowrange(r), 2 * controw * sizeof(int));
    return sums;
}

static void widen(int *to, const int *from)
{
    for (int i = 0; i < sankrow + controw; ++i) to[i] = std::min(to[i], from[i]);
    for (int i = sankrow + controw; i < uprow; ++i) to[i] = std::max(to[i], from[i]);
}

template<class ROW> static const int *clusterrow(int *row, int *stamp, const int *list, int n, ROW rowof)
{
    if (*stamp == serial) return row;
    *stamp = serial;
    memcpy(row, rowof(list[0]), uprow * sizeof(int));
    for (int i = 1; i < n; ++i) widen(row, rowof(list[i]));
    return row;
}

static const int *destclusrow(int k)
{
    return clusterrow(destof(k), deststamp + k, clusmat[k].nodes, clusmat[k].ndests, destrow);
}

static const int *rootclusrow(int k)
{
    return clusterrow(rootof(k), rootstamp + k, clusmat[k].roots, clusmat[k].nroots, rootrow);
}

// ---- Checks ----------------------------------------------------------------------------------------

typedef int lanevec __attribute__((vector_size(LANES * sizeof(int))));

static int leastsum(const sankfield &f, const int *a, const int *b)
{
    lanevec best, x, y;
    memcpy(&best, a + f.at, sizeof best);
    memcpy(&x, b + f.at, sizeof x);
    best += x;
    for (int g = LANES; g < f.lanes; g += LANES) {
        memcpy(&x, a + f.at + g, sizeof x);
        memcpy(&y, b + f.at + g, sizeof y);
        x += y;
        best = x < best ? x : best;
    }
    static_assert(LANES == 4);
    return std::min(std::min(best[0], best[1]), std::min(best[2], best[3]));
}

// Both rows against each other, on top of movesteps.  In thousandths throughout.
static void comparesteps(const int *root, const int *dest)
{
    constexpr double THOUSAND = 1000, ROUNDING = 1e-6;
    bool bounded = movebound < NOBOUND;
    long sum = long(movesteps) * 1000;
    long limit = bounded ? long(std::floor(movebound * THOUSAND + ROUNDING)) : NOLIMIT;
    long stop = limit + long(stopslack * THOUSAND);
    for (int k = 0; k < nsank; ++k) {
        const sankfield &f = sankfields[k];
        sum += 1000L * indcc[f.record].weight * leastsum(f, root, dest);
        if (sum > stop) break;
    }
    if (sum <= stop)
        for (int c = 0; c < controw; c += LANES) {
            for (int i = c; i < c + LANES; ++i) sum += long(contweights[i]) * apart(ranges(root), ranges(dest), i);
            if (sum > stop) break;
        }
    moveok = !bounded || sum <= limit;
    if (moveok) movesteps = double(sum) / THOUSAND;
}

static long addedsteps(int i, const int *root, const int *dest)
{
    return i < nsank ? leastsum(sankfields[i], root, dest) : apart(ranges(root), ranges(dest), i - nsank);
}

static void comparefits(const int *root, const int *dest)
{
    long sum = infitunits(movesteps), limit = fitbound(movebound), stop = limit + infitunits(stopslack);
    for (int i = 0; i < nsank + num_cont && sum <= stop; ++i)
        if (long n = addedsteps(i, root, dest)) sum += fitat(i, steps[i] + n) - fits[i];
    moveok = sum <= limit;
    if (moveok) movesteps = double(sum) / FITUNIT;
}

static void compare(const int *root, const int *dest)
{
    if (dopiwe) comparefits(root, dest);
    else comparesteps(root, dest);
}

long slowtakeout(int r, int s)
{
    if (!have_unpacked) return 0;
    const int *dest = destrow(s), *root = rootrow(r);
    long sum = 0;
    for (int i = 0; i < nsank + num_cont; ++i) {
        takensteps[i] = addedsteps(i, root, dest);
        sum += fits[i];
    }
    changesteps(takensteps, -1);
    taken = true;
    for (int i = 0; i < nsank + num_cont; ++i) sum -= fits[i];
    return sum;
}

void slowaddsteps(int r, int d)
{
    if (!have_unpacked) return;
    const int *dest = destrow(d), *root = rootrow(r);
    for (int i = 0; i < nsank + num_cont; ++i) takensteps[i] = addedsteps(i, root, dest);
    changesteps(takensteps, 1);
    taken = false;
}

const double *slowplace(int r, int d, place which)
{
    double *costs = placecosts + which * (nsank + num_cont);
    if (!have_unpacked) return costs;
    const int *dest = destrow(d), *root = rootrow(r);
    for (int i = 0; i < nsank + num_cont; ++i) {
        long n = addedsteps(i, root, dest);
        if (dopiwe) costs[i] = double(fitat(i, steps[i] + n) - fits[i]) / FITUNIT;
        else costs[i] = i < nsank ? double(indcc[sankfields[i].record].weight) * double(n) : contweights[i - nsank] * double(n) / 1000;
    }
    return costs;
}

// A clip with one place for its root would look at each branch of the cluster once, which making the
// least of them all does too.
static bool oneroot() { return clipnode < ntax || !clusters_on; }

void slowscores(int a, int b, int kind)
{
    if (kind == 0) {
        const int *dest = destrow(b);
        compare(rootrow(a), dest);
    } else if (kind == 1) {
        if (oneroot()) return;
        const int *dest = destclusrow(a);
        compare(rootrow(b), dest);
    } else {
        const int *dest = destclusrow(b);
        compare(rootclusrow(a), dest);
    }
}

static const int *pairofdests(int a, int b)
{
    memcpy(pairrow, destrow(a), uprow * sizeof(int));
    widen(pairrow, destrow(b));
    return pairrow;
}

void slowpairs(int c, int a, int b)
{
    const int *dest = pairofdests(a, b);
    compare(rootrow(c), dest);
}

// ---- Weighting sets --------------------------------------------------------------------------------

static long addedtosets(const int *root, const int *dest)
{
    for (int i = 0; i < nsank + num_cont; ++i) tried[i] = addedsteps(i, root, dest);
    return slowfitchange(tried);
}

long slowadded(int a, int b, int kind)
{
    if (!have_unpacked || (kind == 1 && oneroot())) return 0;
    const int *dest = kind == 0 ? destrow(b) : destclusrow(kind == 1 ? a : b);
    return addedtosets(kind == 0 ? rootrow(a) : kind == 1 ? rootrow(b) : rootclusrow(a), dest);
}

long slowpairadded(int c, int a, int b)
{
    if (!have_unpacked) return 0;
    const int *dest = pairofdests(a, b);
    return addedtosets(rootrow(c), dest);
}

void slowshares(double *plus, double *minus)
{
    if (!have_unpacked) return;
    for (int i = 0; i < nsank + num_cont; ++i)
        if (int s = sets[i])
            compareshares(sethom(i, steps[i] + takensteps[i]) * keptratio(s), sethom(i, steps[i] + tried[i]) * moveratio(s), plus, minus);
}

// ---- Clips rooted elsewhere ------------------------------------------------------------------------

// Rooted elsewhere, a clip may have fewer changes within: by how much at most.
void findclipslack()
{
    clipslack = stopslack = 0;
    if (!asymmetric_fields || clipnode < ntax || !clusters_on) return;
    int n = 0, *list = reoplist;
    list[n++] = lef[clipnode];
    list[n++] = rig[clipnode];
    std::fill(gains, gains + nsank, 0.0);
    for (int i = 0; i < n; ++i) {
        const int *row = rootrow(list[i]);
        double gain = 0;
        for (int k = 0; k < nsank; ++k) {
            const sankfield &f = sankfields[k];
            int least = *std::min_element(row + f.at, row + f.at + f.states);
            if (least >= 0) continue;
            double here = dopiwe ? double(fits[k] - fitat(k, steps[k] + least)) / FITUNIT : -double(indcc[f.record].weight) * least;
            gains[k] = std::max(gains[k], here);
            gain += here;
            if (sets[k]) setgains[sets[k]] += sethom(k, steps[k]) - sethom(k, steps[k] + least);
        }
        for (int s = 1; s <= fitsets; ++s) {
            if (setgains[s] > 0) gain += setsaving(s, setgains[s]);
            setgains[s] = 0;
        }
        clipslack = std::max(clipslack, gain);
        if (list[i] >= ntax) {
            list[n++] = lef[list[i]];
            list[n++] = rig[list[i]];
        }
    }
    for (int k = 0; k < nsank; ++k) stopslack += gains[k];
}

// ---- Final states ----------------------------------------------------------------------------------

static uint32_t statesat(const sankfield &f, const int *a, const int *b)
{
    uint32_t set = 0;
    for (int s = 0; s < f.states; ++s)
        if (a[s] + (b ? b[s] : 0) == 0) set |= 1u << s;
    return set;
}

// Where the summed distance to three ranges is least: between the middle ones of their bounds.
static void middle(const int *a, const int *b, const int *c, int *out)
{
    for (int i = 0; i < num_cont; ++i) {
        int bounds[] = { a[i], b[i], c[i], a[i + controw], b[i + controw], c[i + controw] };
        std::sort(bounds, bounds + 6);
        out[i] = bounds[2];
        out[i + controw] = bounds[3];
    }
}

static uint32_t *finalsof(int n)  { return finalsets + size_t(n) * nsank; }
static int *finalrange(int n)     { return finalranges + size_t(n) * 2 * controw; }

void slowfinals()
{
    if (!have_unpacked) return;
    for (int i = 0; i < noptlist; ++i) {
        int n = optlist[i];
        if (n != ntax) destrow(n);
        for (int k = 0; k < nsank; ++k) {
            const sankfield &f = sankfields[k];
            finalsof(n)[k] = statesat(f, slowcosts(n) + f.at, n == ntax ? nullptr : outside(n) + f.at);
        }
        if (n == ntax) memcpy(finalrange(n), slowrange(n), 2 * controw * sizeof(int));
        else middle(ranges(outside(n)), slowrange(lef[n]), slowrange(rig[n]), finalrange(n));
    }
}

bool slowdisjoint(int n, int up)
{
    for (int k = 0; k < nsank; ++k)
        if (!(finalsof(n)[k] & finalsof(up)[k])) return true;
    for (int i = 0; i < num_cont; ++i)
        if (apart(finalrange(n), finalrange(up), i)) return true;
    return false;
}

bool slowdiffer(int n, int up)
{
    for (int k = 0; k < nsank; ++k)
        if (finalsof(n)[k] != finalsof(up)[k]) return true;
    for (int i = 0; i < num_cont; ++i)
        if (finalrange(n)[i] != finalrange(up)[i] || finalrange(n)[i + controw] != finalrange(up)[i + controw]) return true;
    return false;
}

bool slowoutside(int n, int up)
{
    for (int k = 0; k < nsank; ++k)
        if (finalsof(up)[k] & ~statesat(sankfields[k], slowcosts(n) + sankfields[k].at, nullptr)) return true;
    const int *first = slowrange(n), *above = finalrange(up);
    for (int i = 0; i < num_cont; ++i)
        if (above[i] < first[i] || above[i + controw] > first[i + controw]) return true;
    return false;
}
