// Homoplasy and fit of weighting sets, on the tree and under the move that is being scored.
#include "search/fitsets.h"
#include "search/fits.h"
#include "kernel/arena.h"
#include "trees/imagevars.h"
#include "trees/reduce.h"
#include <algorithm>
#include <cmath>

int fitsets;

static double *homoplasy, *kept;  // of the tree; before the clip was taken out
static long *fits, *keptfits;     // of the same, in FITUNITs
static long total, kepttotal;     // of all sets
static bool settled;              // fits and total follow homoplasy
static double *room;              // most that one step of each member in cells adds
static double *slopes;
double *movehoms;
int *movesets, nmovesets;
static bool iskept;
// Fits that were asked for last: moves add few different amounts, and a rounded quotient takes long.
constexpr int REMEMBERED = 4;     // of each set
static double *knownhoms;
static long *knownfits;
static bool stale;                // homoplasy changed since slopes were last looked at
static long slopebound;           // bound that they are for
static double *bases;             // homoplasy that is not in the image

[[maybe_unused]] static const keptwithimage ofimage(fitsets, homoplasy, kept, fits, keptfits, total, kepttotal, settled, room, slopes, movehoms,
    movesets, nmovesets, knownhoms, knownfits, iskept, stale, slopebound, bases);

void fitsetmem()
{
    fitsets = dopiwe && xdopiwe_numpacksets ? xdopiwe_numsets : 0;
    nmovesets = 0;
    iskept = false;
    if (!fitsets) return;
    size_t n = size_t(fitsets) + 1;
    for (double **list : { &homoplasy, &kept, &room, &slopes, &movehoms }) *list = zlo<double>(n);
    fits = zlo<long>(n);
    keptfits = zlo<long>(n);
    settled = false;
    movesets = lo<int>(n + 1);
    knownhoms = lo<double>(n * REMEMBERED);
    knownfits = lo<long>(n * REMEMBERED);
    std::fill(knownhoms, knownhoms + n * REMEMBERED, -1.0);
    bases = zlo<double>(n);
    for (int s = 1; s <= fitsets && !data_are_reduced; ++s) bases[s] = xdopiwe_setlist[s].base;
    stale = true;
    slopebound = 0;
}

const double *sethomoplasy() { return homoplasy; }

void rebase_sets(const double *whole)
{
    for (int s = 1; s <= fitsets; ++s) bases[s] += whole[s] - homoplasy[s];
}

void setroom(int set, double h) { room[set] += h; }

// --- On the tree ---

void clearsets()
{
    iskept = false;
    for (int s = 1; s <= fitsets; ++s) homoplasy[s] = bases[s];
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

static long fitat(int set, double h)
{
    int at = set * REMEMBERED + int(h) % REMEMBERED;
    if (knownhoms[at] != h) {
        knownhoms[at] = h;
        knownfits[at] = infitunits(wtset_fit(set, h));
    }
    return knownfits[at];
}

long settlesets()
{
    if (settled) return total;
    settled = true;
    total = 0;
    for (int s = 1; s <= fitsets; ++s) total += fits[s] = fitat(s, homoplasy[s]);
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
    constexpr double SAFE = 0.999, GOODENOUGH = 0.97;
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

void leavemove(int set)
{
    --nmovesets;
    std::remove(movesets, movesets + nmovesets + 1, set);
}

double moveratio(int set) { return ratio(set, std::max(0.0, homoplasy[set] + movehoms[set])); }

long movecost()
{
    long sum = 0;
    for (int i = 0; i < nmovesets; ++i) {
        int s = movesets[i];
        sum += fitat(s, std::max(0.0, homoplasy[s] + movehoms[s])) - fits[s];
    }
    return sum;
}
