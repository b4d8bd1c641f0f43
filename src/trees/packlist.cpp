// Prepares the characters of a pack: what no tree can change leaves the data, and each character
// that stays gets the narrowest field that holds its states.
#include "trees/packlist.h"
#include "data/costs.h"
#include "data/matrix.h"
#include "data/minmax.h"
#include "trees/implied.h"
#include "trees/lightopt.h"
#include "kernel/arena.h"
#include "kernel/errors.h"
#include <algorithm>
#include <bit>
#include <cmath>

packrec *packlist, *packlist_end;
double constantfit;

// The figures of active taxa are wanted for the pack only: they are computed again, over all taxa,
// when somebody else asks next.
struct activeonly {
    activeonly()  { check_only_active_taxa = 1; mark(); }
    ~activeonly() { check_only_active_taxa = 0; mark(); }
    static void mark()
    {
        for (int c = 0; c < nc; ++c)
            if (charcodes[c].active) charcodes[c].recalc = 1;
        ccodetag = 0;
    }
};

// States that only inactive taxa have may still lie on the cheapest way between two others.
void set_all_charcodes()
{
    set_charcodes();
    char *mark = himark();
    int *states = hi<int>(nc);
    for (int c = 0; c < nc; ++c) states[c] = charcodes[c].numstates;
    activeonly guard;
    set_charcodes();
    for (int c = 0; c < nc; ++c)
        if (charcodes[c].sankoff) charcodes[c].numstates = std::max(charcodes[c].numstates, states[c]);
    hiset(mark);
}

static bool isconstant(int c)
{
    return charcodes[c].minsteps >= charcodes[c].maxsteps;
}

// A state seen in one taxon costs one step on any tree.  Of an additive character only the two
// extremes can go: the steps to an inner one may be shared.
void check_uninformative_states()
{
    for (int c = 0; c < nc; ++c) {
        charrec &r = charcodes[c];
        uninf_states[c] = 0;
        if (!r.active || !r.weight || r.continuous || r.sankoff || isconstant(c)) continue;
        uint32_t once = r.sets & ~r.multi;
        if (!r.sets || !once) continue;
        if (r.additive) {
            if (dopiwe && r.internal_steps) continue;        // each of its thresholds has its base steps
            uint32_t ends = 1u << (31 - std::countl_zero(r.sets)) | 1u << std::countr_zero(r.sets);
            once &= ends;
        }
        uninf_states[c] = once;
        r.sets &= ~once;
    }
}

static int thresholds(uint32_t set)
{
    return set ? 31 - std::countl_zero(set) - std::countr_zero(set) : 0;
}

// Polymorphic cells of an additive character are ranges, for which minima and maxima are
// approximations.  Exactly: the character is constant when each threshold between neighbouring
// states has no more than one taxon wholly above or no more than one wholly below.  Returns the
// constant number of steps, or -1.
static int constantrange(int c)
{
    int above[32] = {}, below[32] = {}, steps = 0;
    for (int t = 0; t < nt; ++t) {
        uint32_t x = cell(t, c);
        if (!taxact[t] || ismissing(x)) continue;
        int low = std::countr_zero(x), high = 31 - std::countl_zero(x);
        for (int s = 0; s < low; ++s) ++above[s];          // threshold s lies between states s and s + 1
        for (int s = high; s < 31; ++s) ++below[s];
    }
    for (int s = 0; s < 31; ++s) {
        int fewer = std::min(above[s], below[s]);
        if (fewer > 1) return -1;
        steps += fewer;
    }
    return steps;
}

static int fieldclassof(int states)
{
    return states <= 2 ? 0 : states <= 4 ? 1 : states <= 8 ? 2 : 4;
}

// ---- Step matrices ---------------------------------------------------------------------------------

// Every change between observed states costs the same, and no state that is not observed is a way
// between several that costs less: nodes that have it, with k branches to observed states around them,
// could as well have the commonest of these, for no more than k (1 - 1 / observed) changes.
int islikefitch(int c)
{
    const charrec &r = charcodes[c];
    if (doautowt || ss_recurse_level || (xdopiwe_stat && xdopiwe_fixwt_user[c])) return 0;
    if (rootstatesof(c) != ~0u) return 0;
    int observed = std::popcount(r.sets), low = std::countr_zero(r.sets);
    if (observed < 2) return 0;
    int second = std::countr_zero(r.sets & (r.sets - 1));
    uint32_t common = r.costs[low][second];
    if (!common || common >= NO_CHANGE || r.costs[second][low] != common) return 0;
    for (int i = 0; i < r.numstates; ++i)
        for (int j = 0; j < r.numstates; ++j) {
            bool seen = r.sets >> i & 1, seentoo = r.sets >> j & 1;
            if (i == j || (!seen && !seentoo)) continue;
            if (seen && seentoo) {
                if (r.costs[i][j] != common) return 0;
            } else if (uint64_t(std::min(r.costs[i][j], r.costs[j][i])) * observed < uint64_t(observed - 1) * common) return 0;
        }
    return int(common);
}

// On any tree.  The minimum of many different cells is no exact one, and a root that is not free may
// cost more.
static bool constantmatrix(int c)
{
    const charrec &r = charcodes[c];
    if (!r.maxsteps) return rootstatesof(c) == ~0u;
    return r.minsteps >= r.maxsteps && !r.haspoly && std::popcount(r.sets) <= EXACTCELLS && rootstatesof(c) == ~0u;
}

uint32_t rootstatesof(int c)
{
    const charrec &r = charcodes[c];
    if (!r.sankoff || r.continuous || !r.aux_saved || r.sankoff_kind != SANK_ASYMMETRIC) return ~0u;
    uint32_t known = celldim == 1 ? ancstates1[c] : celldim == 2 ? ancstates[c] : ancstates4[c];
    if (ismissing(known)) return ~0u;
    known &= ~0u >> (32 - r.numstates);
    return known ? known : ~0u;
}

int *const arpacnc[FIELDCLASSES] = { &nc2, &nc4, &nc8, &nc16, &nc32, &ncsan16, &ncsan32 };

static void addrecord(int c, int cls, int nfields, bool several, int weight, int divisor)
{
    *packlist_end++ = { c, cls, cls, nfields, several, 1, weight, divisor };
    *arpacnc[cls] += nfields;
}

// Under implied weights, what the base steps of a character count that has no others.
static void addconstantfit(int c)
{
    if (!dopiwe) return;
    const charrec &r = charcodes[c];
    double h = r.internal_steps;
    if (r.sankoff && !r.continuous && r.aux_unit > 1) h /= r.aux_unit;
    if (in_wtset(c)) xdopiwe_setlist[xdopiwe_isinset_user[c]].base += r.weight * h;
    else constantfit += r.weight * charfit(c, h);
}

// A character of the same steps on every tree.
static void addconstant(int c, int steps)
{
    step_lag += double(charcodes[c].weight) * steps;
    addconstantfit(c);
}

static void addmatrix(int c)
{
    const charrec &r = charcodes[c];
    if (!r.sets || constantmatrix(c)) {
        addconstant(c, std::min(r.minsteps, r.maxsteps));
        return;
    }
    if (r.sankoff_kind == SANK_TREE) {
        uint32_t pattern[COSTSTATES];
        addrecord(c, 0, recode_cstree(c, pattern), true, r.weight, 0);
        return;
    }
    int common = islikefitch(c);
    if (common) addrecord(c, fieldclassof(std::popcount(r.sets)), 1, false, dopiwe ? r.weight : r.weight * common, common);
    else addrecord(c, SANKCLASS, 1, false, r.weight, 0);
}

void makepacklist()
{
    packlist_end = packlist = hi<packrec>(nc);
    for (int *n : arpacnc) *n = 0;
    num_cont = true_num_cont = 0;
    step_lag = continuous_step_lag = constantfit = 0;
    for (int s = 1; s <= xdopiwe_numsets && xdopiwe_numpacksets; ++s) xdopiwe_setlist[s].base = 0;
    for (int c = 0; c < nc; ++c) {
        const charrec &r = charcodes[c];
        if (!r.active || !r.weight || r.type == DATA_LAND) continue;
        if (r.continuous) {
            ++true_num_cont;
            if (r.realmin != r.realmax) ++num_cont;
            else {
                continuous_step_lag += r.realmin * r.weight;
                addconstantfit(c);
            }
            continue;
        }
        if (r.sankoff) {
            addmatrix(c);
            continue;
        }
        bool bythresholds = dopiwe && r.additive && r.internal_steps && thresholds(r.sets);
        int always = bythresholds ? -1 : r.additive && r.haspoly ? constantrange(c) : isconstant(c) ? std::min(r.minsteps, r.maxsteps) : -1;
        if (always >= 0) {
            addconstant(c, always);
            continue;
        }
        int cls = r.additive ? 0 : fieldclassof(std::popcount(r.sets)), n = r.additive ? thresholds(r.sets) : 1;
        addrecord(c, cls, n, r.additive, r.weight, 0);
    }
    // Thousandths are what values have.
    continuous_step_lag = std::round(continuous_step_lag * 1000) / 1000;
}
