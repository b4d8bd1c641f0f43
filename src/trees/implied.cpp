// Fits of homoplasy: the function, its tables, sets and concavities of characters.
#include "trees/implied.h"
#include <algorithm>
#include <bit>
#include <cassert>
#include <cmath>
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/errors.h"
#include "kernel/output.h"
#include "trees/lightopt.h"

uint8_t dopiwe, xdopiwe_stat;
uint32_t doautowt, userdef_weighting_func, userdef_fit_size, globmaxh, multik_is_on;
double konk = 3.0, *userdef_fitf, *fitf;
uint8_t *xdopiwe_fixwt_user;
double xdopiwe_factor, xdopiwe_user_factor = 1, xdopiwe_eqsteps;
double *multik_userk, *multik_eqfact, multik_missfactor = 0.5, multik_maxprop = 5.0;
int multik_equalize, *xdopiwe_isinset_user, xdopiwe_numsets, xdopiwe_numpacksets;
wtset *xdopiwe_setlist;
double *multik_givenk;
static bool functionlost;           // a function of the user went with the data it was for
double *fitmin;
uint32_t *fitstates;

constexpr int MAXBASE = 100;      // of charrec::internal_steps

// --- Memory ---

static void say_function_reset() { myp("Note: weighting function re-set to default (k=%.5f)\n", konk); }

// Room for any homoplasy: a character has fewer than nt extra steps, a threshold no more than half
// of that, and base steps come on top.
void implied_datamem()
{
    globmaxh = uint32_t(nt + MAXBASE + 2);
    fitf = zlo<double>(globmaxh);
    userdef_fitf = zlo<double>(globmaxh);
    fitmin = zlo<double>(nc);
    fitstates = zlo<uint32_t>(nc);
    userdef_weighting_func = userdef_fit_size = 0;
    if (functionlost) say_function_reset();
    functionlost = false;
    if (!dopiwe) return;
    xdopiwe_fixwt_user = zlo<uint8_t>(nc);
    xdopiwe_isinset_user = zlo<int>(nc);
    xdopiwe_setlist = zlo<wtset>(nc + 1);
    multik_userk = lo<double>(nc);
    multik_eqfact = lo<double>(nc);
    multik_givenk = zlo<double>(nc);
    for (int c = 0; c < nc; ++c) multik_userk[c] = konk, multik_eqfact[c] = 1;
}

bool read_under_implied_weights() { return xdopiwe_setlist != nullptr; }

void implied_data_dropped()
{
    fitf = userdef_fitf = fitmin = multik_userk = multik_eqfact = multik_givenk = nullptr;
    fitstates = nullptr;
    xdopiwe_fixwt_user = nullptr;
    xdopiwe_isinset_user = nullptr;
    xdopiwe_setlist = nullptr;
    xdopiwe_stat = 0;
    functionlost |= userdef_weighting_func != 0;
    globmaxh = userdef_weighting_func = userdef_fit_size = multik_is_on = 0;
    xdopiwe_numsets = xdopiwe_numpacksets = 0;
}

void implied_settings_changed()
{
    wipetag(&schtag);
    wipetag(&opttag);
    if (fitf) piwe_init(1);
}

void checkimplied()
{
    assert(konk > 0 && konk <= 1000 && xdopiwe_numpacksets <= xdopiwe_numsets && xdopiwe_numsets <= nc);
    assert(!datatag || (fitf && globmaxh > uint32_t(nt)));
    assert(!xdopiwe_stat || !datatag || xdopiwe_setlist);
}

// --- The function ---

int max_homoplasy()
{
    int most = (nt + 1) / 2;
    for (int c = 0; c < nc; ++c) {
        const charrec &ch = charcodes[c];
        if (ch.active && !ch.additive && !ch.sankoff && !ch.continuous)
            most = std::max(most, ch.maxsteps - ch.minsteps + ch.internal_steps);
    }
    return most;
}

// The table of the user between its entries.
static double userfit(double h)
{
    double whole = std::floor(h), last = double(globmaxh - 1);
    if (h >= last) return userdef_fitf[globmaxh - 1];
    const double *at = userdef_fitf + int(whole);
    return at[0] + (h - whole) * (at[1] - at[0]);
}

double plainfit(double h) { return userdef_weighting_func ? userfit(h) : h / (h + konk); }

// Under a function of the user a concavity is a shift: the function is read that much further on.
static double fitunder(double h, double k, double equalizer)
{
    return equalizer * (userdef_weighting_func ? userfit(h * konk / k) : h / (h + k));
}

bool in_wtset(int c)
{
    return xdopiwe_numpacksets && xdopiwe_isinset_user[c] && !xdopiwe_fixwt_user[c];
}

double charfit(int c, double h)
{
    if (!xdopiwe_stat) return plainfit(h);
    if (xdopiwe_fixwt_user[c]) return h * xdopiwe_factor;
    if (multik_is_on) return fitunder(h, multik_userk[c], multik_eqfact[c]);
    return plainfit(h);
}

double wtset_fit(int set, double homoplasy)
{
    const wtset &s = xdopiwe_setlist[set];
    return s.size > 0 ? s.size * fitunder(homoplasy / s.size, s.k, s.equalizer) : 0;
}

// --- Concavities ---

double dothisk(double k0, double k1, double ratio)
{
    constexpr int STEPS = 15;
    auto cost = [](double x, double k) { return k * (k + 1) / ((x + k) * (x + k + 1)); };
    double sum = 0;
    for (int h = 1; h <= STEPS; ++h) {
        double want = cost(ratio * h, k0);
        sum += 100 * (cost(h, k1) - want) / want;
    }
    return sum / STEPS;
}

double equalizer_for_kas(double k, double ratio)
{
    constexpr double SAME = 1e-5, FINEST = 0.0001;
    if (std::fabs(ratio - 1) < SAME) return k;
    double at = k / ratio, best = at;
    if (userdef_weighting_func) return at;
    double diff = dothisk(k, at, ratio), least = std::fabs(diff);
    for (double step = 0.1; step >= FINEST; ) {
        double next = diff < 0 ? at + step : at - step;      // costs grow with k
        if (next <= 0) { step /= 2; continue; }
        double there = dothisk(k, next, ratio);
        if ((there < 0) != (diff < 0)) step /= 2;
        at = next;
        diff = there;
        if (std::fabs(diff) < least) least = std::fabs(diff), best = at;
    }
    return best;
}

// The first step under k, relative to that of the base concavity.
static double equalizer(double k)
{
    if (!userdef_weighting_func) return (1 / (konk + 1)) / (1 / (k + 1));
    double first = userfit(konk / k);
    return first > 0 ? userfit(1) / first : 1;
}

// Missing entries are expected to hide a proportion P of the homoplasy of those observed.
static double kforcells(double observed, double total)
{
    double expected = (total - observed) * multik_missfactor + observed;
    double q = expected > 0 ? observed / expected : 1;
    if (multik_maxprop > 0) q = std::max(q, 1 / multik_maxprop);
    return multik_equalize ? equalizer_for_kas(konk, 1 / q) : q * konk;
}

static int observedcells(int c)
{
    int n = 0;
    for (int t = 0; t < nt; ++t) {
        if (!taxact[t]) continue;
        uint32_t x = cell(t, c);
        n += charcodes[c].continuous ? x != CONT_MISSING && x != CONT_INAPP : !ismissing(x);
    }
    return n;
}

void calculate_all_kas()
{
    if (!xdopiwe_stat) return;
    for (int s = 1; s <= xdopiwe_numsets; ++s) {
        xdopiwe_setlist[s].observed = xdopiwe_setlist[s].total = 0;
        xdopiwe_setlist[s].k = konk;
        xdopiwe_setlist[s].equalizer = 1;
    }
    if (!multik_is_on) return;
    int taxa = numactive();
    for (int c = 0; c < nc; ++c) {
        if (!charcodes[c].active) continue;
        multik_userk[c] = multik_givenk[c] > 0 ? multik_givenk[c] : konk;
        if (multik_missfactor > 0) {
            int seen = observedcells(c);
            multik_userk[c] = kforcells(seen, taxa);
            if (in_wtset(c)) {
                wtset &s = xdopiwe_setlist[xdopiwe_isinset_user[c]];
                s.observed += seen;
                s.total += taxa;
            }
        }
        multik_eqfact[c] = equalizer(multik_userk[c]);
    }
    // Without a rule for missing entries a set has the concavity given to its first active member.
    for (int c = nc - 1; c >= 0; --c)
        if (charcodes[c].active && in_wtset(c)) xdopiwe_setlist[xdopiwe_isinset_user[c]].k = multik_userk[c];
    for (int s = 1; s <= xdopiwe_numsets; ++s) {
        wtset &set = xdopiwe_setlist[s];
        if (multik_missfactor > 0 && set.total) set.k = kforcells(double(set.observed), double(set.total));
        set.equalizer = equalizer(set.k);
    }
    for (int c = 0; c < nc; ++c)
        if (charcodes[c].active && in_wtset(c)) {
            multik_userk[c] = xdopiwe_setlist[xdopiwe_isinset_user[c]].k;
            multik_eqfact[c] = xdopiwe_setlist[xdopiwe_isinset_user[c]].equalizer;
        }
}

static void countsets()
{
    xdopiwe_numpacksets = 0;
    if (!xdopiwe_stat || !xdopiwe_numsets) return;
    for (int s = 1; s <= xdopiwe_numsets; ++s) xdopiwe_setlist[s].size = 0;
    for (int c = 0; c < nc; ++c)
        if (xdopiwe_isinset_user[c] && !xdopiwe_fixwt_user[c] && charcodes[c].active)
            xdopiwe_setlist[xdopiwe_isinset_user[c]].size += charcodes[c].weight;
    for (int s = 1; s <= xdopiwe_numsets; ++s) xdopiwe_numpacksets += xdopiwe_setlist[s].size > 0;
}

void piwe_init(int full)
{
    for (uint32_t h = 0; h < globmaxh; ++h) fitf[h] = plainfit(h);
    if (full && userdef_weighting_func && xdopiwe_stat && xdopiwe_eqsteps != std::floor(xdopiwe_eqsteps)) {
        int below = int(xdopiwe_eqsteps);
        mywarn("Weighting function defined only for integer steps --will round factor between %i-%i", below, below + 1);
    }
    xdopiwe_factor = (plainfit(xdopiwe_eqsteps + 1) - plainfit(xdopiwe_eqsteps)) * xdopiwe_user_factor;
    countsets();
    calculate_all_kas();
}

void ban_userdef_weighting_func()
{
    if (!userdef_weighting_func) return;
    userdef_weighting_func = 0;
    implied_settings_changed();
    say_function_reset();
}

void refuse_user_function_for_data()
{
    if (!userdef_weighting_func || !dopiwe) return;
    for (int c = 0; c < nc; ++c)
        if (charcodes[c].active && (charcodes[c].continuous || charcodes[c].sankoff))
            errmsg("Sorry: user weighting functions are invalid\nfor sankoff/continuous/landmark characters.\n"
                   "Either set weighting function to default, or\n"
                   "deactivate sankoff/continuous/landmark characters", nullptr);
}

// --- Scoring a tree ---

static void recalculate(int only_active)
{
    check_only_active_taxa = only_active;
    ccodetag = 0;
    for (int c = 0; c < nc; ++c) charcodes[c].recalc = 1;
    set_charcodes();
}

// With inactive taxa the minima in charcodes, which are over all taxa, are taken aside and back.
void set_fit_minima()
{
    if (!dopiwe) return;
    struct putback { ~putback() { check_only_active_taxa = 0; } } guard;
    bool some_inactive = numactive() < nt;
    if (some_inactive) recalculate(1);
    for (int c = 0; c < nc; ++c) {
        const charrec &ch = charcodes[c];
        fitmin[c] = ch.continuous ? ch.realmin : ch.sankoff ? std::min(ch.minsteps, ch.maxsteps) : ch.minsteps;
        fitstates[c] = ch.sets;
    }
    if (some_inactive) recalculate(0);
}

double minimum_for_fit(int c) { return fitmin[c]; }
uint32_t states_for_fit(int c) { return fitstates[c]; }

// While a tree is scored, the fit of a member of a set holds its homoplasy, until the sets are shared out.
void start_fits()
{
    for (int c = 0; c < nc; ++c) charcodes[c].fit = 0;
    for (int s = 1; s <= xdopiwe_numsets && xdopiwe_numpacksets; ++s) xdopiwe_setlist[s].homoplasy = 0;
}

static void addhomoplasy(int c, double h)
{
    charrec &ch = charcodes[c];
    if (!in_wtset(c)) {
        ch.fit += charfit(c, h);
        return;
    }
    ch.fit += h;
    xdopiwe_setlist[xdopiwe_isinset_user[c]].homoplasy += h * ch.weight;
}

void add_field_fit(int c, int h)
{
    if (h <= 0) return;
    if (xdopiwe_stat) addhomoplasy(c, h);
    else charcodes[c].fit += fitf[h];
}

double charfit_value(int c)
{
    charrec &ch = charcodes[c];
    double h = ch.internal_steps;
    h += (ch.continuous ? ch.realsteps : ch.steps) - fitmin[c];
    if (ch.sankoff && !ch.continuous && ch.aux_unit > 1) h /= ch.aux_unit;
    ch.fit = 0;
    if (ch.active) addhomoplasy(c, std::max(h, 0.0));
    return ch.fit;
}

void additive_fit_by_thresholds(int c, const int *steps, int n)
{
    charcodes[c].fit = 0;
    for (int i = 0; i < n && charcodes[c].active; ++i) add_field_fit(c, charcodes[c].internal_steps + steps[i] - 1);
}

void put_wtsets_in_charcodes()
{
    if (!xdopiwe_numpacksets) return;
    for (int s = 1; s <= xdopiwe_numsets; ++s) xdopiwe_setlist[s].fit = wtset_fit(s, xdopiwe_setlist[s].homoplasy);
    for (int c = 0; c < nc; ++c) {
        if (!charcodes[c].active || !in_wtset(c)) continue;
        const wtset &s = xdopiwe_setlist[xdopiwe_isinset_user[c]];
        charcodes[c].fit = s.homoplasy > 0 ? charcodes[c].fit * s.fit / s.homoplasy : 0;
    }
}

double sum_of_fits()
{
    double sum = 0;
    for (int c = 0; c < nc; ++c)
        if (charcodes[c].active) sum += charcodes[c].weight * charcodes[c].fit;
    return sum;
}

// Fields of the packed characters each have a fit of their own.
double antipiwe()
{
    if (xdopiwe_stat) errmsg("Sorry, cannot calculate fit with extended implied weighting", nullptr);
    double sum = 0;
    for (int c = 0; c < nc; ++c) {
        const charrec &ch = charcodes[c];
        if (!ch.active || ch.lightpacked) continue;
        bool varies = ch.continuous ? ch.realmax != ch.realmin : ch.maxsteps != ch.minsteps;
        if (varies) sum += ch.weight * (1 - ch.fit);
    }
    for (int f = 0; f < lightfields; ++f) {
        if (f >= lightfields2 && f < 16 * lightcells2) continue;      // padding between the two kinds
        const charrec &ch = charcodes[lightchar[f]];
        int least = f < lightfields2 ? 1 : int(fitmin[lightchar[f]]), h = int(lightsteps[f]) + ch.internal_steps - least;
        sum += ch.weight * (1 - fitf[std::max(h, 0)]);
    }
    return sum;
}
