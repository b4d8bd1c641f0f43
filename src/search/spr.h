// search/spr.h: branch swapping by subtree pruning and regrafting.
#pragma once

// As tbrswap, but a clipped subtree is tried as it is rooted only.
double sprswap(int *tree, int first, int mulpars);
