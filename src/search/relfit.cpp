// Relative fit difference (Goloboff and Farris 2001) between two places of a clip.
#include "search/relfit.h"
#include "search/moves.h"
#include <bit>
#include <cmath>

static const uint32_t *origclip, *orighome;
static double origdiff;

static inline uint32_t emptyfields(uint32_t x, int i) { return ~(((x & celllow[i]) + celllow[i]) | x) & ~celllow[i]; }

static double weightof(uint32_t fields, int i)
{
    double sum = 0;
    for (; fields; fields &= fields - 1) sum += fieldwts[16 * i + std::countr_zero(fields) / 2];
    return sum;
}

double relative_bound(const uint32_t *clip, const uint32_t *home)
{
    origclip = clip;
    orighome = home;
    origdiff = 0;
    for (int i = 0; i < foldcells; ++i) origdiff += weightof(emptyfields(clip[i] & home[i], i), i);
    return floor(origdiff / (1 - relative_suboptimal));
}

double relative_difference(const uint32_t *clip, const uint32_t *dest)
{
    double favors = 0, contradicts = 0;
    for (int i = 0; i < foldcells; ++i) {
        uint32_t before = emptyfields(origclip[i] & orighome[i], i), after = emptyfields(clip[i] & dest[i], i);
        if (before == after) continue;
        favors += weightof(before & ~after, i);
        contradicts += weightof(after & ~before, i);
    }
    if (favors == contradicts) return 0;
    return favors > contradicts ? -(favors - contradicts) / favors : (contradicts - favors) / contradicts;
}
