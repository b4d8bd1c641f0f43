// The characters of the packed image that cells cannot hold: costs of step matrices, ranges of
// continuous characters.
#include "trees/packlist.h"
#include "trees/imagevars.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include <algorithm>
#include <cstring>

sankfield *sankfields;
contrec *contcodes;
const int *contweights;
int nsank, sankrow, controw, slowrow, asymmetric_fields, *slowrows;

[[maybe_unused]] static const keptwithimage ofimage(sankfields, contcodes, contweights, nsank, sankrow, controw, slowrow, asymmetric_fields, slowrows);

int wholelanes(int n) { return (n + LANES - 1) / LANES * LANES; }

typedef int lanes __attribute__((vector_size(LANES * sizeof(int))));

void mincosts(const sankfield &f, const int *table, const int *costs, int *out)
{
    for (int g = 0; g < f.lanes; g += LANES) {
        lanes best, more;
        memcpy(&best, table + g, sizeof best);
        best += costs[0];
        for (int t = 1; t < f.states; ++t) {
            memcpy(&more, table + t * f.lanes + g, sizeof more);
            more += costs[t];
            best = more < best ? more : best;
        }
        memcpy(out + g, &best, sizeof best);
    }
}

// A field's own copies of its costs: one for each direction, so that both kinds of pass run along a row.
static void laycosts(sankfield &f, int c)
{
    int *to = lo<int>(f.states * f.lanes), *from = lo<int>(f.states * f.lanes);
    for (int s = 0; s < f.lanes; ++s)
        for (int t = 0; t < f.states; ++t) {
            bool both = s < f.states;
            to[t * f.lanes + s] = both ? int(std::min<uint32_t>(charcodes[c].costs[s][t], NOSTATE)) : NOSTATE;
            from[t * f.lanes + s] = both ? int(std::min<uint32_t>(charcodes[c].costs[t][s], NOSTATE)) : NOSTATE;
            if (both && charcodes[c].costs[s][t] != charcodes[c].costs[t][s]) asymmetric_fields = 1;
        }
    f.to = to;
    f.from = from;
}

static void layfields()
{
    const int first = non_sankoff_chars;
    nsank = sankrow = asymmetric_fields = 0;
    for (int i = first; i < totnc; ++i) nsank += indcc[i].character >= 0;
    sankfields = lo<sankfield>(nsank);
    int n = 0;
    for (int i = first; i < totnc; ++i) {
        int c = indcc[i].character;
        if (c < 0) continue;
        sankfield &f = sankfields[n++];
        int states = charcodes[c].numstates;
        f = { i, states, wholelanes(states), sankrow, nullptr, nullptr, rootstatesof(c) };
        sankrow += f.lanes;
        int asymmetric = asymmetric_fields;
        asymmetric_fields = 0;
        laycosts(f, c);
        fieldrec &record = indcc[i];
        record.costs = charcodes[c].costs;
        record.nstates = uint32_t(states);
        record.asymmetric = uint8_t(asymmetric_fields);
        record.ancestral = f.rootstates != ~0u;
        asymmetric_fields |= asymmetric;
    }
}

static void laycontinuous()
{
    controw = wholelanes(num_cont);
    contcodes = lo<contrec>(num_cont);
    int *weights = zlo<int>(controw), n = 0;
    for (int c = 0; c < nc && n < num_cont; ++c) {
        const charrec &r = charcodes[c];
        if (!r.active || !r.weight || !r.continuous || r.type == DATA_LAND || r.realmin == r.realmax) continue;
        weights[n] = r.weight;
        contcodes[n++] = { c, r.weight, setcodeof(c), double(r.internal_steps), r.realmin };
    }
    contweights = weights;
}

static void fillmatrices(int t)
{
    for (int i = 0; i < nsank; ++i) {
        const sankfield &f = sankfields[i];
        int c = indcc[f.record].character, *costs = slowcosts(t) + f.at;
        uint32_t x = cell(backfrompack[t], c);
        bool any = ismissing(x) || !(x & charcodes[c].sets);
        for (int s = 0; s < f.lanes; ++s) costs[s] = s < f.states && (any || x >> s & 1) ? 0 : NOSTATE;
        mincosts(f, f.to, costs, slowedge(t) + f.at);
    }
}

static void fillcontinuous(int t)
{
    int *low = slowrange(t), *high = low + controw;
    for (int i = 0; i < controw; ++i) {
        uint32_t x = i < num_cont ? matrix4[backfrompack[t]][contcodes[i].character] : CONT_MISSING;
        if (x == CONT_INAPP) x = CONT_MISSING;
        low[i] = int(x & 0xffff);
        high[i] = int(x >> 16);
    }
}

void laysankoff()
{
    layfields();
    laycontinuous();
    slowrow = 2 * sankrow + 2 * controw;
    slowrows = zlo<int>(size_t(hinod) * slowrow);
    for (int t = 0; t < ntax; ++t) {
        fillmatrices(t);
        fillcontinuous(t);
    }
}
