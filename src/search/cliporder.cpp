#include "search/cliporder.h"
#include "search/moves.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "trees/treemodel.h"
#include <algorithm>

int use_prearrangs;

static double costwhereitis(int x)
{
    int s = sis[x];
    clip_subtree(x);
    reoptimize_after_clip(s, x);
    clipset = x < ntax || !clusters_on ? dnset(x) : branchset(lef[x]);
    destset = branchset(s);
    score_original(x < ntax || !clusters_on ? x : lef[x], s);
    double cost = movesteps;
    unclip_subtree(x, s);
    restore_after_clip(s);
    return cost;
}

void create_clip_list(int *list)
{
    char *mark = himark();
    double *cost = hi<double>(hinod);
    for (int n = 0; n < hinod; ++n) {
        list[n] = n;
        cost[n] = n == 0 || n == ntax ? -1 : costwhereitis(n);
    }
    std::stable_sort(list, list + hinod, [&](int a, int b) { return cost[a] > cost[b]; });
    hiset(mark);
}
