// Changes of all the states in the matrix: closing up the state numbers, rescaling what is continuous.
#include "data/nstates.h"
#include "data/datamem.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/errors.h"
#include "kernel/output.h"
#include <algorithm>
#include <bit>
#include <cmath>

// --- Compression ---

// Bits of the states that stay, moved to their new places.
static uint32_t closeup(uint32_t x, uint32_t stay)
{
    uint32_t out = 0;
    for (int place = 0; stay; stay &= stay - 1, ++place)
        if (x & stay & (0 - stay)) out |= uint32_t{1} << place;
    return out;
}

static bool compress(int c)
{
    charrec &r = charcodes[c];
    if (r.continuous || r.additive || r.sankoff) return false;
    bool only_active = check_only_active_taxa;
    check_only_active_taxa = 0;              // a state of an inactive taxon must not vanish
    do_sets(c);
    check_only_active_taxa = only_active;
    uint32_t stay = r.sets & r.multi;
    r.recalc = 1;
    if (stay == r.sets && !(stay & (stay + 1))) return false;
    for (int t = 0; t < nt; ++t) {
        uint32_t x = cell(t, c);
        if (ismissing(x)) continue;
        x = closeup(x, stay);
        setcell(t, c, x ? x : MISSING);
    }
    if (statenames && statenames[c]) {
        int place = 0;
        for (int s = 0; s < maxstate; ++s)
            if (stay >> s & 1) statenames[c][place++] = statenames[c][s];
        std::fill(statenames[c] + place, statenames[c] + maxstate, nullptr);
    }
    r.type = DATA_NUM;                       // its numbers are no letters of an alphabet any more
    return true;
}

void compress_states()
{
    chartables_reset();
    bool changed = false;
    for (int c = nc - 1; c >= 0; --c) changed |= compress(c);
    if (changed) {
        types_read |= DATA_NUM;
        set_state_mask();
    }
    set_charcodes();
    if (!changed) {
        spewem("Data cannot be compressed anymore", nullptr);
        return;
    }
    int highest = 0;
    for (int c = 0; c < nc; ++c)
        if (!charcodes[c].continuous) highest = std::max(highest, int(charcodes[c].numstates) - 1);
    spewem("Compressed data - max. state is", intvert(highest), nullptr);
}

// --- Continuous characters ---

constexpr double PERUNIT = 1000;             // stored thousandths

static bool isvalue(uint32_t x) { return x != CONT_MISSING && x != CONT_INAPP; }

// Rewrites the bounds of a character by a function that never decreases.
template<class F> static void remap(int c, F stored)
{
    for (int t = 0; t < nt; ++t) {
        uint32_t x = matrix4[t][c];
        if (!isvalue(x)) continue;
        uint32_t low = uint32_t(stored(int(x & 0xffff)) + 0.5), high = uint32_t(stored(int(x >> 16)) + 0.5);
        matrix4[t][c] = high << 16 | low;
    }
    charcodes[c].recalc = 1;
}

static bool limits(int c, int *low, int *high)
{
    *low = 0xffff;
    *high = 0;
    for (int t = 0; t < nt; ++t) {
        uint32_t x = matrix4[t][c];
        if (!isvalue(x)) continue;
        *low = std::min(*low, int(x & 0xffff));
        *high = std::max(*high, int(x >> 16));
    }
    return *low <= *high;
}

static double unitsof(const scaleback &s) { return isunscaled(s) ? PERUNIT : s.factor; }

static int continuouschars()
{
    int n = 0;
    while (n < nc && charcodes[n].continuous) ++n;
    if (!n) errmsg("There are no continuous characters", nullptr);
    return n;
}

static void rescaled()
{
    chartables_reset();
    set_charcodes();
}

void standardize_continuous(double top)
{
    for (int c = continuouschars() - 1; c >= 0; --c) {
        int low, high;
        if (!limits(c, &low, &high)) continue;
        scaleback &s = cont_scale_back[c];
        double grow = high > low ? top * PERUNIT / (high - low) : 1, units = unitsof(s);
        s.offset += low / units / 1000;
        s.factor = units * grow;
        remap(c, [&](int x) { return (x - low) * grow; });
    }
    rescaled();
}

void log_standardize_continuous(double top)
{
    int n = continuouschars();
    for (int c = 0; c < n; ++c)
        if (cont_scale_back[c].islog) errmsg("Continuous characters are logarithms already", nullptr);
    for (int c = 0; c < n; ++c) {
        int low, high;
        if (!limits(c, &low, &high)) continue;
        double lowlog = std::log1p(originalvalue(c, low)), span = std::log1p(originalvalue(c, high)) - lowlog;
        double factor = span > 0 ? top * PERUNIT / span : PERUNIT;
        remap(c, [&](int x) { return (std::log1p(originalvalue(c, x)) - lowlog) * factor; });
        cont_scale_back[c] = { factor, lowlog / 1000, 1, 0 };
    }
    rescaled();
}

void shift_scale_continuous_characters()
{
    for (int c = continuouschars() - 1; c >= 0; --c) {
        int low, high;
        if (!limits(c, &low, &high) || !low) continue;
        scaleback &s = cont_scale_back[c];
        double units = unitsof(s);
        s.offset += low / units / 1000;
        s.factor = units;
        remap(c, [&](int x) { return double(x - low); });
    }
    rescaled();
}

void fix_continuous_scale()
{
    for (int c = continuouschars() - 1; c >= 0; --c) cont_scale_back[c] = { 1, 0, 0, 0 };
}
