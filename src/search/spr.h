// search/spr.h: branch swapping by subtree pruning and regrafting.
#pragma once

// As tbrswap, but a clipped subtree is tried as it is rooted only.
double sprswap(int *tree, int first, int mulpars);

extern int spr_cluster_taxa;      // with so many taxa clusters are asked before branches; the results are the same; starts at 250
