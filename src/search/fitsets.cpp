// Homoplasy and fit of weighting sets, on the tree and under the move that is being scored.
#include "search/fitsets.h"
#include "search/fits.h"
#include "kernel/arena.h"
#include <algorithm>
#include <cmath>

int fitsets;

static double *homoplasy, *kept;  // of the tree; before the clip was taken out
static long *fits, *keptfits;     // of the same, in FITUNITs
static long total, kepttotal;     // of all sets
static bool settled;              // fits and total follow homoplasy
static double *room;              // most that one step of each member in cells adds
static double *slopes;
static double *added;             // by the move
static int *touched, ntouched;    // sets with something added
static bool iskept;
static bool stale;                // homoplasy changed since slopes were last looked at
static long slopebound;           // bound that they are for

void fitsetmem()
{
    fitsets = dopiwe && xdopiwe_numpacksets ? xdopiwe_numsets : 0;
    ntouched = 0;
    iskept = false;
    if (!fitsets) return;
    size_t n = size_t(fitsets) + 1;
    for (double **list : { &homoplasy, &kept, &room, &slopes, &added }) *list = zlo<double>(n);
    fits = zlo<long>(n);
    keptfits = zlo<long>(n);
    settled = false;
    touched = lo<int>(n);
    stale = true;
    slopebound = 0;
}

void setroom(int set, double h) { room[set] += h; }

// --- On the tree ---

void clearsets()
{
    iskept = false;
    for (int s = 1; s <= fitsets; ++s) homoplasy[s] = xdopiwe_setlist[s].base;
    stale = true;
    settled = false;
}

void changeset(int set, double by)
{
    homoplasy[set] += by;
    stale = true;
    settled = false;
}

static double ratio(int set, double h) { return h > 0 ? wtset_fit(set, h) / h : 0; }
double setratio(int set)               { return ratio(set, homoplasy[set]); }
double keptratio(int set)              { return ratio(set, kept[set]); }

long settlesets()
{
    if (settled) return total;
    settled = true;
    total = 0;
    for (int s = 1; s <= fitsets; ++s) total += fits[s] = infitunits(wtset_fit(s, homoplasy[s]));
    return total;
}

void keepsets()
{
    kepttotal = settlesets();
    std::copy(homoplasy, homoplasy + fitsets + 1, kept);
    std::copy(fits, fits + fitsets + 1, keptfits);
    iskept = true;
}

void forgetkept() { iskept = false; }

void putbacksets()
{
    if (!iskept) return;
    iskept = false;
    std::copy(kept, kept + fitsets + 1, homoplasy);
    std::copy(keptfits, keptfits + fitsets + 1, fits);
    total = kepttotal;
    settled = stale = true;
}

double setsaving(int set, double h)
{
    return wtset_fit(set, homoplasy[set]) - wtset_fit(set, std::max(0.0, homoplasy[set] - h));
}

// --- Slopes ---

// With kN what k is for the summed homoplasy, F = e N H / (H + kN).
static double chord(const wtset &s, double h, double most, double bound)
{
    double kn = s.k * s.size, highest = s.equalizer * s.size, reached = highest * h / (h + kn) + bound;
    if (reached < highest) {
        constexpr double MARGIN = 1.001;
        double share = reached / highest;
        most = std::min(most, std::max(0.0, kn * share / (1 - share) - h) * MARGIN);
    }
    return highest * kn / ((h + kn) * (h + most + kn));
}

// In the table of the user a concavity is a shift.
static double flattest(const wtset &s, double h, double most)
{
    double shift = konk / s.k / s.size, least = 1e30;
    uint32_t last = uint32_t(std::min((h + most) * shift + 1, double(globmaxh)));
    for (uint32_t x = uint32_t(h * shift); x < last; ++x)
        least = std::min(least, x + 1 < globmaxh ? userdef_fitf[x + 1] - userdef_fitf[x] : 0);
    return least < 1e30 ? least * s.equalizer * shift * s.size : 0;
}

double setslope(int set) { return slopes[set]; }

// Slopes are kept while they are valid and nearly the best, since a new one means new costs of all its fields.
void renewslopes(long bound)
{
    constexpr double SAFE = 0.99, GOODENOUGH = 0.97;
    constexpr int MUCHLESS = 2;
    if (!stale && bound <= slopebound && bound >= slopebound / MUCHLESS) return;
    double limit = double(bound) / FITUNIT;
    for (int s = 1; s <= fitsets; ++s) {
        if (room[s] <= 0) continue;
        const wtset &set = xdopiwe_setlist[s];
        double h = homoplasy[s];
        double best = userdef_weighting_func ? flattest(set, h, room[s]) : chord(set, h, room[s], limit);
        best *= FITUNIT;
        if (slopes[s] <= best && slopes[s] >= best * GOODENOUGH) continue;
        slopes[s] = best * SAFE;
        resetsetcosts(s);
    }
    stale = false;
    slopebound = bound;
}

// --- A move ---

void beginmove()
{
    while (ntouched) added[touched[--ntouched]] = 0;
}

void addtomove(int set, double h)
{
    if (h == 0) return;
    if (added[set] == 0) touched[ntouched++] = set;
    added[set] += h;
    if (added[set] == 0) --ntouched, std::remove(touched, touched + ntouched + 1, set);
}

double moveratio(int set) { return ratio(set, std::max(0.0, homoplasy[set] + added[set])); }

long movecost()
{
    long sum = 0;
    for (int i = 0; i < ntouched; ++i) {
        int s = touched[i];
        sum += infitunits(wtset_fit(s, std::max(0.0, homoplasy[s] + added[s]))) - fits[s];
    }
    return sum;
}
