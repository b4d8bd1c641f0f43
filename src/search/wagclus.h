// search/wagclus.h: clusters of branches during stepwise addition.
//
// While a tree grows, each new node joins the cluster of the branch that it was added to and widens
// its union; nothing is taken out, so a union remains a bound, only a laxer one.  When too many clusters
// have grown too big, the tree so far is partitioned anew.
#pragma once

extern int wagner_clustered;                   // clusters are in use for the tree being built

void fill_cluster_wagner();                    // partitions the tree so far
int  wag_reassign_clusters(int k, int *list);  // the branches of cluster k; returns how many
void wag_join_cluster(int t, int place);       // t was added; its branch and that of its new ancestor join the cluster of place
void wag_widen(int t);                         // with their sets known
int  count_big_clusters();                     // 1 when it is time to partition anew
void leave_clusters();
