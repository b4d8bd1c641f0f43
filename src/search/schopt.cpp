// Complete optimization of dichotomous trees in packed numbers.
#include "search/evaldata.h"
#include "search/fits.h"
#include "search/fitsets.h"
#include "search/slowopt.h"
#include "trees/imagevars.h"
#include <cassert>

int *optlist, noptlist;
[[maybe_unused]] static const keptwithimage ofimage(optlist, noptlist);

static void looktree(int *tree)
{
    swaptree = tree;
    if (clipstate == CLIPPED) clipstate = OVERWRITTEN;
    syncevaldata();
    binmksis(tree);
    noptlist = binoptlist(optlist);
}

static double withslow(double score, double slow)
{
    score += step_lag + slow + continuous_step_lag;
    return fitsets ? score + double(settlesets()) / FITUNIT : score;
}

static double firstpass()
{
    if (dopiwe) clearcounts();
    long steps = kernel->down[packweightkind()](&ed, optlist, noptlist);
    double score = dopiwe ? double(totalfit()) / FITUNIT : double(steps);
    return withslow(score, slowfirstpass());
}

double calculate_tree_fits()
{
    clearsets();
    double score = double(totalfit()) / FITUNIT;
    return withslow(score, slowtotalfit());
}

double schoptimize(int *tree, int mode)
{
    looktree(tree);
    double score = mode > 3 ? 0 : firstpass();
    if (mode >= 2) kernel->up(&ed, optlist, noptlist, mode >= 3);
    return score;
}

double partial_schoptimize(int *tree)
{
    looktree(tree);
    return firstpass();
}

void fill_node_sizes()
{
    noptlist = binoptlist(optlist);
    for (int i = noptlist - 1; i >= 0; --i) {
        int n = optlist[i];
        tnodsize[n] = tnodsize[lef[n]] + tnodsize[rig[n]];
        cladsz[n] = cladsz[lef[n]] + cladsz[rig[n]] + 1;
    }
}

double optimize_for_swap(int *tree)
{
    double score = schoptimize(tree, 3);
    clipstate = NOCLIP;
    fill_node_sizes();
    if (clusters_on) assign_clusters(1);
    return score;
}
