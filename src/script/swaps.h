// script/swaps.h: the rearrangements of a tree, and all trees, one by one, on plain arrays of
// ancestors.  For scripts, which look at each: nothing here is meant to be fast.
#pragma once
#include <functional>
#include <vector>

using treearray = std::vector<int>;   // nodz entries

enum swapkind { SWAP_SPR, SWAP_SPR_OUTGROUP, SWAP_TBR };

// Each rearrangement of the tree (canonical numbers) until see returns false; returns whether none did.
bool each_rearrangement(const treearray &tree, swapkind kind, const std::function<bool(const treearray &)> &see);

// Joins taxon or clade x, which is cut off, to the branch above node d; a: the node to use.
void join_above(treearray &tree, int x, int d, int a);

// Of the last "sprit" or "tbrit".
extern long swap_moves;           // rearrangements looked at, the present one included
extern int  swap_was_cut;         // it ended before the last one
double percent_swapped();         // of the rearrangements of the start; 0 when nothing swaps
