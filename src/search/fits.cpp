// Counts and fits of the fields of cells.
#include "search/fits.h"
#include "search/costbytes.h"
#include "search/evaldata.h"
#include "search/fitsets.h"
#include "search/slowopt.h"
#include "kernel/arena.h"
#include "trees/imagevars.h"
#include "trees/reduce.h"
#include <bit>
#include <cassert>
#include <cstring>

// 16 places a cell, by the top bit of the field, as in fieldwts.
static uint32_t *counts;
static int64_t *nextcosts;
static const int64_t **tables;      // fit of the field by its count; null where there is no field
static int *taken, ntaken;          // places whose step was taken out
static int *disjointplaces;         // scratch of eachdisjoint

// Of members of sets; null without sets.
static int *placeset;               // set of the field; 0 = none
static const double **homs;         // weighted homoplasy by count
static double *nexthoms;            // of the next step
static double *basfit;              // shares of the fit of the set, before the clip
static int *setplaces, *setstart;   // places by set: set s has setplaces[setstart[s]..setstart[s + 1] - 1]

[[maybe_unused]] static const keptwithimage ofimage(counts, nextcosts, tables, taken, ntaken, disjointplaces, placeset, homs, nexthoms, basfit, setplaces, setstart);

static double homof(int c, const fieldrec &r, int n)
{
    double unit = charcodes[c].sankoff && charcodes[c].aux_unit > 1 ? charcodes[c].aux_unit : 1;
    return std::max(0, n * int(r.stepcost) + int(r.basesteps) - int(r.minsteps)) / unit;
}

// Fields of the same weight and function share a table.
struct fittable { int character; uint32_t weight; int offset; const int64_t *fits; };

static const int64_t *maketable(int c, const fieldrec &r)
{
    const int most = ntax + 2;
    int64_t *fits = lo<int64_t>(most + 1);
    for (int n = 0; n <= most; ++n) fits[n] = infitunits(r.weight * charfit(c, homof(c, r, n)));
    return fits;
}

static void laytables()
{
    char *mark = himark();
    fittable *known = hi<fittable>(non_sankoff_chars + 1);
    int n = 0;
    for (int i = 0; i < foldcells * 16; ++i) {
        tables[i] = nullptr;
        if (placerecords[i] < 0) continue;
        const fieldrec &r = indcc[placerecords[i]];
        if (setofcode(r.setcode)) continue;
        int offset = int(r.basesteps) - int(r.minsteps), same = xdopiwe_stat ? r.character : -1, at = 0;
        if (charcodes[r.character].sankoff) same = r.character;
        while (at < n && (known[at].character != same || known[at].weight != r.weight || known[at].offset != offset)) ++at;
        if (at == n) known[n++] = { same, r.weight, offset, maketable(r.character, r) };
        tables[i] = known[at].fits;
    }
    hiset(mark);
}

static void layplaces(size_t places)
{
    placeset = nullptr;
    if (!fitsets) return;
    placeset = zlo<int>(places);
    homs = zlo<const double *>(places);
    nexthoms = zlo<double>(places);
    basfit = zlo<double>(places);
    setstart = zlo<int>(size_t(fitsets) + 2);
    setplaces = lo<int>(size_t(non_sankoff_chars) + 1);
}

static void sortplaces()                // by set
{
    char *mark = himark();
    for (int i = 0; i < foldcells * 16; ++i)
        if (placeset[i]) ++setstart[placeset[i] + 1];
    for (int s = 1; s <= fitsets; ++s) setstart[s + 1] += setstart[s];
    int *next = hi<int>(size_t(fitsets) + 2);
    std::copy(setstart, setstart + fitsets + 2, next);
    for (int i = 0; i < foldcells * 16; ++i)
        if (placeset[i]) setplaces[next[placeset[i]]++] = i;
    hiset(mark);
}

// Those of sets: one function serves all members, so a table is of homoplasy.
static void laysets(size_t places)
{
    struct homtable { uint32_t weight, cost; int offset; const double *homs; };
    layplaces(places);
    if (!fitsets) return;
    char *mark = himark();
    homtable *known = hi<homtable>(non_sankoff_chars + 1);
    int n = 0;
    const int most = ntax + 2;
    for (int i = 0; i < foldcells * 16; ++i) {
        const fieldrec *r = placerecords[i] < 0 ? nullptr : indcc + placerecords[i];
        if (!r || !(placeset[i] = setofcode(r->setcode))) continue;
        int offset = int(r->basesteps) - int(r->minsteps), at = 0;
        bool own = charcodes[r->character].sankoff;            // may have a unit of its own
        auto same = [&](const homtable &t) { return t.weight == r->weight && t.cost == r->stepcost && t.offset == offset; };
        while (at < n && (own || !same(known[at]))) ++at;
        if (at == n) {
            double *table = lo<double>(most + 1);
            for (int k = 0; k <= most; ++k) table[k] = r->weight * homof(r->character, *r, k);
            known[n++] = { own ? 0 : r->weight, r->stepcost, offset, table };
        }
        homs[i] = known[at].homs;
        setroom(placeset[i], homs[i][most] - homs[i][most - 1]);
    }
    hiset(mark);
    sortplaces();
}

// A field goes on counting from the steps that it has elsewhere, in the table that it had.
static void inherit(const reduction &r, const int64_t *const *oldtables, const int *oldsets, const double *const *oldhoms, size_t places)
{
    layplaces(places);
    for (int i = 0; i < foldcells * 16; ++i) {
        int from = r.source[i];
        tables[i] = nullptr;
        if (from < 0) continue;
        if (fitsets && (placeset[i] = oldsets[from])) {
            const fieldrec &f = indcc[placerecords[i]];
            homs[i] = oldhoms[from] + r.offset[i];
            setroom(placeset[i], f.weight * f.stepcost);      // in the unit of a matrix, less
        } else tables[i] = oldtables[from] + r.offset[i];
    }
    if (fitsets) sortplaces();
}

void fitmem(const reduction *reduced)
{
    ntaken = 0;
    fitsetmem();
    costbytemem();
    if (!dopiwe) return;
    size_t places = size_t(rowcells) * 16;
    const int64_t **oldtables = tables;
    const int *oldsets = placeset;
    const double **oldhoms = homs;
    counts = zlo<uint32_t>(places);
    nextcosts = zlo<int64_t>(places);
    tables = lo<const int64_t *>(places);
    taken = lo<int>(places);
    disjointplaces = lo<int>(places);
    if (reduced) inherit(*reduced, oldtables, oldsets, oldhoms, places);
    else {
        laytables();
        laysets(places);
    }
    ed.fieldsteps = counts;
    ed.fieldfits = nextcosts;
}

void clearcounts()
{
    ntaken = 0;
    clearsets();
    memset(counts, 0, size_t(rowcells) * 16 * sizeof *counts);
}

const uint32_t *stepcounts() { return counts; }

void setcounts(const uint32_t *to)
{
    ntaken = 0;
    memcpy(counts, to, size_t(rowcells) * 16 * sizeof *counts);
}

static bool inset(int place) { return placeset && placeset[place]; }

static void putcost(int place, int64_t cost)
{
    costsum += cost - nextcosts[place];
    nextcosts[place] = cost;
    putcostbyte(place, cost);
}

static void setcost(int place)
{
    if (inset(place)) {
        nexthoms[place] = homs[place][counts[place] + 1] - homs[place][counts[place]];
        putcost(place, int64_t(setslope(placeset[place]) * nexthoms[place]));
    } else putcost(place, tables[place][counts[place] + 1] - tables[place][counts[place]]);
}

void renewcosts() { renewcostbytes(nextcosts); }

void resetsetcosts(int set)
{
    double slope = setslope(set);
    for (int i = setstart[set]; i < setstart[set + 1]; ++i) putcost(setplaces[i], int64_t(slope * nexthoms[setplaces[i]]));
}

double placefit(int place) { return inset(place) ? 0 : double(nextcosts[place]) / FITUNIT; }

long totalfit()
{
    long sum = 0;
    for (int i = 0; i < foldcells * 16; ++i) {
        if (inset(i)) changeset(placeset[i], homs[i][counts[i]]);
        else if (tables[i]) sum += tables[i][counts[i]];
        else continue;
        setcost(i);
    }
    return sum;
}

template<class F> static void eachempty(uint32_t x, int c, F f)
{
    for (uint32_t tops = emptyfields(x, c); tops; tops &= tops - 1) f(c * 16 + std::countr_zero(tops) / 2);
}

template<class F> static void eachdisjoint(const uint32_t *a, const uint32_t *b, F f)
{
    int n = kernel->disjoint(&ed, a, b, disjointplaces);
    for (int i = 0; i < n; ++i) f(disjointplaces[i]);
}

void countjoin(const uint32_t *a, const uint32_t *b, uint32_t *steps)
{
    eachdisjoint(a, b, [=](int place) { ++steps[place]; });
}

long takeoutsteps(const uint32_t *clip, const uint32_t *home)
{
    long sum = 0;
    ntaken = 0;
    eachdisjoint(clip, home, [&](int place) {
        --counts[place];
        setcost(place);
        if (inset(place)) changeset(placeset[place], -nexthoms[place]);
        else sum += nextcosts[place];
        taken[ntaken++] = place;
    });
    return sum;
}

long fitchange(const int *changes)
{
    long sum = 0;
    for (int i = 0; i < foldcells * 16; ++i) {
        if (!changes[i]) continue;
        uint32_t before = counts[i], after = before + changes[i];
        if (inset(i)) addtomove(placeset[i], homs[i][after] - homs[i][before]);
        else sum += tables[i][after] - tables[i][before];
    }
    return sum;
}

void settlechange(const int *changes)
{
    for (int i = 0; i < foldcells * 16; ++i) {
        if (!changes[i]) continue;
        uint32_t before = counts[i];
        counts[i] += changes[i];
        if (inset(i)) changeset(placeset[i], homs[i][counts[i]] - homs[i][before]);
    }
}

static void addstep(int place)
{
    ++counts[place];
    setcost(place);
}

void putbacksteps()
{
    while (ntaken) addstep(taken[--ntaken]);
    putbacksets();
}

void addsteps(const uint32_t *clip, const uint32_t *dest)
{
    ntaken = 0;
    eachdisjoint(clip, dest, [](int place) {
        if (inset(place)) changeset(placeset[place], nexthoms[place]);
        addstep(place);
    });
}

// ---- Moves with sets -------------------------------------------------------------------------------

static long cellsadded(const uint32_t *a, const uint32_t *b)
{
    long sum = 0;
    eachdisjoint(a, b, [&](int place) {
        if (placeset[place]) addtomove(placeset[place], nexthoms[place]);
        else sum += nextcosts[place];
    });
    return sum;
}

static void conclude(long sum)
{
    sum += movecost();
    moveok = sum <= fitbound(movebound);
    if (moveok) movesteps = double(sum) / FITUNIT;
}

static const uint32_t *rowof(int n) { return clusters_on ? branchset(n) : dnset(n); }

void setscores(int a, int b, int kind)
{
    const uint32_t *clip = kind == 0 ? rowof(a) : kind == 1 ? rowof(b) : clusmat[a].uni;
    const uint32_t *dest = kind == 0 ? branchset(b) : kind == 1 ? clusmat[a].uni : clusmat[b].uni;
    beginmove();
    long sum = cellsadded(clip, dest);
    conclude(sum + slowadded(a, b, kind));
}

void setpairs(int c, int a, int b)
{
    const uint32_t *clip = rowof(c), *one = branchset(a), *other = branchset(b);
    long sum = 0;
    beginmove();
    for (int i = 0; i < foldcells; ++i) {
        uint32_t either = one[i] | other[i];
        eachempty(clip[i] & either, i, [&](int place) {
            if (placeset[place]) addtomove(placeset[place], nexthoms[place]);
            else sum += nextcosts[place];
        });
    }
    conclude(sum + slowpairadded(c, a, b));
}

// ---- Shares of sets --------------------------------------------------------------------------------

void store_pre_clip_fits(const uint32_t *clip, const uint32_t *home)
{
    for (int i = setstart[1]; i < setstart[fitsets + 1]; ++i)
        basfit[setplaces[i]] = homs[setplaces[i]][counts[setplaces[i]]];
    eachdisjoint(clip, home, [](int place) { if (inset(place)) basfit[place] += nexthoms[place]; });
    for (int s = 1; s <= fitsets; ++s)
        for (int i = setstart[s]; i < setstart[s + 1]; ++i) basfit[setplaces[i]] *= keptratio(s);
}

void do_post_clip_fits(int root, const uint32_t *clip, int dest, double *plus, double *minus)
{
    beginmove();
    cellsadded(clip, branchset(dest));
    slowadded(root, dest, 0);
    for (int s = 1; s <= fitsets; ++s) {
        double ratio = moveratio(s);
        for (int i = setstart[s]; i < setstart[s + 1]; ++i) {
            int place = setplaces[i], c = place / 16;
            uint32_t x = clip[c] & branchset(dest)[c], top = 2u << place % 16 * 2;
            bool step = emptyfields(x, c) & top;
            compareshares(basfit[place], (homs[place][counts[place]] + (step ? nexthoms[place] : 0)) * ratio, plus, minus);
        }
    }
    slowshares(plus, minus);
}
