// trees/blength.h: lengths of branches on a tree.
#pragma once

// The least change that each branch can have: per node, weight times the change forced between the
// final sets of the node and of its ancestor; 0 for the root and for absent taxa.  optmem first.
void minimum_branch_lengths(const int *tree, double *length);

// Per internal node, how much the fit worsens when its branch has no length (the tree without it, as
// a hard polytomy); 0 for both branches of a root with two, and for terminals.  Needs implied weights.
void save_min_collapsing_costs(const int *tree, double *cost);

// Continuous characters marked LISTED: largest certain increase and decrease of one of them from the
// ancestor of each node to it, in the units of their scores (of the file with
// display_in_original_scale).  After a packoptimize or optimize of the tree.
void blens_incr_decr(const unsigned char *chars, const int *tree, double *incr, double *decr);
