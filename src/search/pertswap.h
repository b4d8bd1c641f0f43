// search/pertswap.h: a random walk among trees by TBR, for searches that leave a local optimum behind.
#pragma once

extern double dftxfactor;          // drift:xfactor, of the chance that a longer tree is accepted; starts at 3
extern int single_tree_island;     // the last walk tried every clip and made no move

// Clips in random order.  The last of the best places is taken, be it only as good as the one the clip
// had; with accept_worse also, by chance, one that is worse by no more than suboptimal, as long as
// relative_suboptimal admits it.  Ends with so many moves made, or when no clip has a move, or when more
// than giveup percent of the clips were visited (0: never).  Returns the score of the tree, changed in place.
double perttbrswap(int *tree, int accept_worse, int moves, int giveup);
