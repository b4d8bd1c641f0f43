#include "search/reinvent.h"
#include "search/constpack.h"
#include "search/constraints.h"
#include "search/sectdata.h"
#include "data/costs.h"
#include "data/datamem.h"
#include "data/matrix.h"
#include "data/symbols.h"
#include "kernel/arena.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "trees/implied.h"
#include "trees/pack.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <bit>
#include <cstdio>

// --- the draft ----------------------------------------------------------------------------

static int bitsofcell(int c)
{
    return c < nc2 ? 2 : c < nc4 ? 4 : c < nc8 ? 8 : c < type32shift ? 16 : 32;
}

// Calls use(cell, shift, bits, record) for each field that cells hold.
template<class F> static void eachfield(F use)
{
    for (int c = 0; c < san16shift; ++c) {
        int bits = bitsofcell(c);
        for (int top = bits - 1; top < 32; top += bits) {
            int record = placerecords[size_t(c) * 16 + top / 2];
            if (record >= 0 && indcc[record].character >= 0) use(c, top - bits + 1, bits, record);
        }
    }
}

static sectordraft::field fieldof(const fieldrec &r, const sankfield *matrix)
{
    double unit = std::max<uint32_t>(1, r.stepcost);
    return { r.character, int(r.weight), 2, r.basesteps / unit, r.minsteps / unit, matrix };
}

static void draftcontinuous(sectordraft *d, sectordraft::field *f, uint32_t *cells)
{
    for (int c = 0; c < num_cont; ++c) {
        *f++ = { contcodes[c].character, contcodes[c].weight, 0, contcodes[c].basesteps, contcodes[c].minsteps, nullptr };
        for (int t = 0; t < ntax; ++t) *cells++ = (uint32_t(slowrange(t)[c]) & 0xffff) | uint32_t(slowrange(t)[controw + c]) << 16;
    }
    if (num_cont) d->states = 32;
}

static void draftcells(sectordraft *d, sectordraft::field *f, uint32_t *cells)
{
    eachfield([&](int c, int shift, int bits, int record) {
        uint32_t all = ~0u >> (32 - bits), seen = 0;
        for (int t = 0; t < ntax; ++t) {
            uint32_t x = dnset(t)[c] >> shift & all;
            seen |= x == all ? 0 : x;
            *cells++ = x == all ? ~0u : x;
        }
        *f = fieldof(indcc[record], nullptr);
        f->states = std::max(2, int(std::bit_width(seen)));
        d->states = std::max(d->states, f->states);
        ++f;
    });
}

static void draftmatrices(sectordraft *d, sectordraft::field *f, uint32_t *cells)
{
    for (int k = 0; k < nsank; ++k) {
        const sankfield &s = sankfields[k];
        uint32_t all = ~0u >> (32 - s.states);
        for (int t = 0; t < ntax; ++t) {
            uint32_t best = 0;
            for (int i = 0; i < s.states; ++i) best |= uint32_t(slowcosts(t)[s.at + i] == 0) << i;
            *cells++ = best == all ? ~0u : best;
        }
        *f = fieldof(indcc[s.record], &s);
        f->states = s.states;
        d->states = std::max(d->states, s.states);
        ++f;
    }
}

static void draftconstraints(sectordraft *d)
{
    d->constraintrows = cpempos;
    d->rowsize = cncpos + cncneg;
    d->poscells = cncpos;
    d->positives = numcpos;
    d->negatives = numcneg;
    d->demanded = nullptr;
    if (!use_treeconstraints) return;
    int *tree = zlo<int>(size_t(hinod));
    std::copy(hardconst->anc, hardconst->anc + hardconst->slots, tree);
    d->demanded = tree;
}

void draft_sector(sectordraft *d)
{
    int binary = 0;
    eachfield([&](int, int, int, int) { ++binary; });
    d->taxa = ntax;
    d->chars = num_cont + binary + nsank;
    d->continuous = num_cont;
    d->states = 2;
    d->matrices = nsank > 0;
    d->fields = lo<sectordraft::field>(size_t(d->chars));
    d->cells = lo<uint32_t>(size_t(d->chars) * ntax);
    draftcontinuous(d, d->fields, d->cells);
    draftcells(d, d->fields + num_cont, d->cells + size_t(num_cont) * ntax);
    draftmatrices(d, d->fields + num_cont + binary, d->cells + size_t(num_cont + binary) * ntax);
    d->names = lo<int>(ntax);
    for (int t = 1; t < ntax; ++t) {
        int node = backfrompack[sectonod[t]];
        d->names[t] = node < nt ? node : -1 - node;
    }
    draftconstraints(d);
}

// --- the data -----------------------------------------------------------------------------

static void nameterminals(const sectordraft *d, const wholetables *whole)
{
    snprintf(taxname[0], size_t(Namesize), "ROOT");
    for (int t = 1; t < d->taxa; ++t) {
        int who = d->names[t];
        if (who < 0) snprintf(taxname[t], size_t(Namesize), "HTU_%i", -1 - who);
        else if (whole->givennames) snprintf(taxname[t], size_t(Namesize), "%s", whole->names[who]);
        else snprintf(taxname[t], size_t(Namesize), "Tax_%i", who);
    }
}

// The steps of a sector's field are known, so its minimum is never looked for; it only tells, with the base steps, how
// many steps are homoplasy.
static void setminimum(charrec &r, const sectordraft::field &f)
{
    constexpr double MOSTBASE = 100;
    double extra = f.base - f.least;
    r.minsteps = extra >= -1 ? 1 : int(-extra);
    r.internal_steps = int(std::clamp(extra + r.minsteps, 0.0, MOSTBASE));
}

static void setcosts(charrec &r, const sankfield &f)
{
    r.sankoff = 1;
    r.user_maxstate = int8_t(f.states - 1);
    r.aux_saved = f.rootstates != ~0u;
    for (int from = 0; from < f.states; ++from)
        for (int to = 0; to < f.states; ++to)
            r.costs[from][to] = from == to ? 0 : std::min<uint32_t>(uint32_t(f.to[to * f.lanes + from]), FORBIDDEN);
}

static void fillcharacters(const sectordraft *d)
{
    const uint32_t *x = d->cells;
    for (int c = 0; c < nc; ++c) {
        charrec &r = charcodes[c];
        const sectordraft::field &f = d->fields[c];
        r.weight = f.weight;
        r.continuous = c < d->continuous;
        r.type = r.continuous ? DATA_CONT : DATA_NUM;
        setminimum(r, f);
        if (f.matrix) setcosts(r, *f.matrix);
        for (int t = 0; t < nt; ++t, ++x) setcell(t, c, *x);
    }
}

// The root of an asymmetric character has the states that it may have in the whole data.
static void fillroot(const sectordraft *d)
{
    for (int c = 0; c < nc; ++c) {
        if (!d->fields[c].matrix || !charcodes[c].aux_saved) continue;
        uint32_t states = d->fields[c].matrix->rootstates;
        if (celldim == 1) ancstates1[c] = uint8_t(states);
        else if (celldim == 2) ancstates[c] = uint16_t(states);
        else ancstates4[c] = states;
    }
}

static void fillweighting(const sectordraft *d, const wholetables *whole)
{
    if (!dopiwe) return;
    if (whole->userfits) {
        std::copy_n(whole->userfits, globmaxh, userdef_fitf);
        userdef_weighting_func = 1;
        userdef_fit_size = whole->userfitsize;
    }
    for (int c = 0; c < nc; ++c) {
        if (whole->k) multik_givenk[c] = whole->k[d->fields[c].parent];
        if (whole->fixed) xdopiwe_fixwt_user[c] = whole->fixed[d->fields[c].parent];
    }
    if (!whole->fixed) return;
    xdopiwe_stat = 1;
    multik_is_on = whole->k != nullptr;
    implied_settings_changed();
}

static void fillconstraints(const sectordraft *d)
{
    if (!d->constraintrows && !d->demanded) return;
    constexpr int PERCELL = 16, FIELD = 3;
    constdraft drafts[2] = {};
    int numbers[2] = { d->constraintrows ? d->positives : 0, d->constraintrows ? d->negatives : 0 };
    for (int kind = 0; kind < 2; ++kind)
        for (int k = 0; k < numbers[kind]; ++k) {
            newconstraint(&drafts[kind]);
            for (int t = 0; t < nt; ++t) {
                const uint32_t *row = d->constraintrows + size_t(t) * 3 * d->rowsize + (kind ? d->poscells : 0);
                setconstfield(&drafts[kind], k, t, int(row[k / PERCELL] >> k % PERCELL * 2 & FIELD));
            }
        }
    layconstraints(&drafts[0], &drafts[1], d->demanded);
    freehi();
}

void reinvent_data(const sectordraft *d, const wholetables *whole)
{
    set_celldim(std::min(32, d->states + 1));        // all states but the last one of a cell stand for something else
    nc = d->chars;
    nt = d->taxa;
    nodz = 2 * nt - 1;
    root = 2 * nt - 2;
    allow_sankoff = d->matrices;
    if (expectedsize(nc, nt, celldim) > vailram()) errmsg("Sorry, not enough memory to continue", nullptr);
    datamem();
    nameterminals(d, whole);
    fillcharacters(d);
    finishmatrix("sector");
    fillroot(d);
    fillweighting(d, whole);
    fillconstraints(d);
}
