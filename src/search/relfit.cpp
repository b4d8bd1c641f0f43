// Relative fit difference (Goloboff and Farris 2001) between two places of a clip.
#include "search/relfit.h"
#include "search/evaldata.h"
#include "search/fits.h"
#include "search/fitsets.h"
#include "search/slowopt.h"
#include <algorithm>
#include <bit>
#include <cmath>

static const uint32_t *origclip, *orighome;
static const double *origslow;
static double origdiff;

static double weightof(uint32_t fields, int i)
{
    double sum = 0;
    for (; fields; fields &= fields - 1) {
        int place = 16 * i + std::countr_zero(fields) / 2;
        sum += dopiwe ? placefit(place) : fieldwts[place];
    }
    return sum;
}

double fill_onclip_diff(int root, const uint32_t *clip, int sister)
{
    origclip = clip;
    orighome = branchset(sister);
    origdiff = 0;
    for (int i = 0; i < foldcells; ++i) origdiff += weightof(emptyfields(clip[i] & orighome[i], i), i);
    origslow = slowplace(root, sister, ORIGINAL);
    for (int i = 0; i < nsank + num_cont; ++i) origdiff += origslow[i];
    if (fitsets) {                    // shares of characters that do not change are lost as well: no bound follows
        store_pre_clip_fits(clip, orighome);
        return NOBOUND;
    }
    if (relative_suboptimal <= 0 || relative_suboptimal >= 1) return NOBOUND;
    double bound = origdiff / (1 - relative_suboptimal);
    return num_cont || dopiwe ? bound : floor(bound);
}

double relative_fit_difference(int root, const uint32_t *clip, int destnode)
{
    double favors = 0, contradicts = 0;
    const uint32_t *dest = branchset(destnode);
    for (int i = 0; i < foldcells; ++i) {
        uint32_t before = emptyfields(origclip[i] & orighome[i], i), after = emptyfields(clip[i] & dest[i], i);
        if (before == after) continue;
        favors += weightof(before & ~after, i);
        contradicts += weightof(after & ~before, i);
    }
    const double *slow = slowplace(root, destnode, ELSEWHERE);
    for (int i = 0; i < nsank + num_cont; ++i) {
        favors += std::max(0.0, origslow[i] - slow[i]);
        contradicts += std::max(0.0, slow[i] - origslow[i]);
    }
    if (fitsets) do_post_clip_fits(root, clip, destnode, &contradicts, &favors);
    if (favors == contradicts) return 0;
    return favors > contradicts ? -(favors - contradicts) / favors : (contradicts - favors) / contradicts;
}
