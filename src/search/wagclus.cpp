#include "search/wagclus.h"
#include "search/evaldata.h"
#include "kernel/arena.h"
#include <initializer_list>

int wagner_clustered;

static int *firstin, *nextin, *sizein;         // the branches of each cluster, linked
static int growth;                             // branches added since the last partition

static void link(int n, int k)
{
    nextin[n] = firstin[k];
    firstin[k] = n;
    ++sizein[k];
}

void fill_cluster_wagner()
{
    if (!wagner_clustered) {
        firstin = hi<int>(maxclustnum);
        sizein = hi<int>(maxclustnum);
        nextin = hi<int>(hinod);
    }
    wagner_clustered = 1;
    noptlist = binoptlist(optlist);
    assign_clusters(1);
    for (int k = 0; k < numclusters; ++k) {
        firstin[k] = -1;
        sizein[k] = 0;
        for (int i = memberstart[k + 1] - 1; i >= memberstart[k]; --i) link(members[i], k);
    }
    growth = 0;
}

int wag_reassign_clusters(int k, int *list)
{
    int n = 0;
    for (int i = firstin[k]; i >= 0; i = nextin[i]) list[n++] = i;
    return n;
}

void wag_join_cluster(int t, int place)
{
    int k = isinclu[place];
    for (int n : { t, swaptree[t] }) {
        isinclu[n] = k;
        link(n, k);
    }
    growth += 2;
}

void wag_widen(int t)
{
    for (int n : { t, swaptree[t] }) kernel->orrow(&ed, clusmat[isinclu[n]].uni, branchset(n));
}

int count_big_clusters()
{
    constexpr int PARTS = 4;                   // of all branches: partitioning costs as much as trying that many
    int big = 0, branches = 0;
    for (int k = 0; k < numclusters; ++k) {
        branches += sizein[k];
        big += sizein[k] > 2 * clustersize;
    }
    return big * PARTS > numclusters || growth * PARTS > branches;
}

void leave_clusters()
{
    wagner_clustered = clusters_on = 0;
}
