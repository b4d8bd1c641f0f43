// Counts and fits of the fields of cells.
#include "search/fits.h"
#include "search/evaldata.h"
#include "kernel/arena.h"
#include <bit>
#include <cassert>
#include <cstring>

// 16 places a cell, by the top bit of the field, as in fieldwts.
static uint32_t *counts;
static int64_t *nextcosts;
static const int64_t **tables;      // fit of the field by its count; null where there is no field
static int *taken, ntaken;          // places whose step was taken out

// Fields of the same weight and function share a table.
struct fittable { int character; uint32_t weight; int offset; const int64_t *fits; };

static const int64_t *maketable(int c, const fieldrec &r, int offset)
{
    const int most = ntax + 2;
    int64_t *fits = lo<int64_t>(most + 1);
    double unit = charcodes[c].sankoff && charcodes[c].aux_unit > 1 ? charcodes[c].aux_unit : 1;
    for (int n = 0; n <= most; ++n) fits[n] = infitunits(r.weight * charfit(c, std::max(0, n * int(r.stepcost) + offset) / unit));
    return fits;
}

static void laytables()
{
    char *mark = himark();
    fittable *known = hi<fittable>(num_packed_chars + nc32 + 1);
    int n = 0;
    for (int i = 0; i < foldcells * 16; ++i) {
        tables[i] = nullptr;
        if (placerecords[i] < 0) continue;
        const fieldrec &r = indcc[placerecords[i]];
        int offset = int(r.basesteps) - int(r.minsteps), same = xdopiwe_stat ? r.character : -1, at = 0;
        if (charcodes[r.character].sankoff) same = r.character;
        while (at < n && (known[at].character != same || known[at].weight != r.weight || known[at].offset != offset)) ++at;
        if (at == n) known[n++] = { same, r.weight, offset, maketable(r.character, r, offset) };
        tables[i] = known[at].fits;
    }
    hiset(mark);
}

void fitmem()
{
    ntaken = 0;
    if (!dopiwe) return;
    size_t places = size_t(rowcells) * 16;
    counts = zlo<uint32_t>(places);
    nextcosts = zlo<int64_t>(places);
    tables = lo<const int64_t *>(places);
    taken = lo<int>(places);
    laytables();
    ed.fieldsteps = counts;
    ed.fieldfits = nextcosts;
}

void clearcounts()
{
    ntaken = 0;
    memset(counts, 0, size_t(rowcells) * 16 * sizeof *counts);
}

static void setcost(int place) { nextcosts[place] = tables[place][counts[place] + 1] - tables[place][counts[place]]; }

long totalfit()
{
    long sum = 0;
    for (int i = 0; i < foldcells * 16; ++i) {
        if (!tables[i]) continue;
        sum += tables[i][counts[i]];
        setcost(i);
    }
    return sum;
}

template<class F> static void eachdisjoint(const uint32_t *a, const uint32_t *b, F f)
{
    for (int c = 0; c < foldcells; ++c) {
        uint32_t x = a[c] & b[c];
        for (uint32_t tops = ~(((x & celllow[c]) + celllow[c]) | x | celllow[c]); tops; tops &= tops - 1)
            f(c * 16 + std::countr_zero(tops) / 2);
    }
}

long takeoutsteps(const uint32_t *clip, const uint32_t *home)
{
    long sum = 0;
    ntaken = 0;
    eachdisjoint(clip, home, [&](int place) {
        --counts[place];
        setcost(place);
        sum += nextcosts[place];
        taken[ntaken++] = place;
    });
    return sum;
}

static void addstep(int place)
{
    ++counts[place];
    setcost(place);
}

void putbacksteps()
{
    while (ntaken) addstep(taken[--ntaken]);
}

void addsteps(const uint32_t *clip, const uint32_t *dest)
{
    ntaken = 0;
    eachdisjoint(clip, dest, addstep);
}
