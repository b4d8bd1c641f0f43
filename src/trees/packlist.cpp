// Prepares the characters of a pack: what no tree can change leaves the data, and each character
// that stays gets the narrowest field that holds its states.
#include "trees/packlist.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/errors.h"
#include <algorithm>
#include <bit>
#include <cmath>

packrec *packlist, *packlist_end;

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

void set_all_charcodes()
{
    activeonly guard;
    set_charcodes();
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

int *const arpacnc[FIELDCLASSES] = { &nc2, &nc4, &nc8, &nc16, &nc32, &ncsan16, &ncsan32 };

void makepacklist()
{
    packlist_end = packlist = hi<packrec>(nc);
    for (int *n : arpacnc) *n = 0;
    num_cont = true_num_cont = 0;
    step_lag = continuous_step_lag = 0;
    for (int c = 0; c < nc; ++c) {
        const charrec &r = charcodes[c];
        if (!r.active || !r.weight || r.type == DATA_LAND) continue;
        if (r.continuous) {
            ++true_num_cont;
            if (r.realmin == r.realmax) continuous_step_lag += r.realmin * r.weight;
            else myerr("Sorry, searches with continuous characters are not available yet");
            continue;
        }
        if (r.sankoff) myerr("Sorry, searches with step-matrix characters are not available yet");
        int always = r.additive && r.haspoly ? constantrange(c) : isconstant(c) ? std::min(r.minsteps, r.maxsteps) : -1;
        if (always >= 0) {
            step_lag += double(r.weight) * always;
            continue;
        }
        int cls = r.additive ? 0 : fieldclassof(std::popcount(r.sets)), n = r.additive ? thresholds(r.sets) : 1;
        *packlist_end++ = { c, cls, cls, n, 1, r.weight, 0 };
        *arpacnc[cls] += n;
    }
    // To the nearest binary fraction that leaves sums with whole steps exact: trees of the same steps
    // have the same score, however it was arrived at.
    constexpr double EXACT = 1 << 20;
    continuous_step_lag = std::round(continuous_step_lag * EXACT) / EXACT;
}
