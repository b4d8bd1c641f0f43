// data/minmax.h: the fewest and most steps of a character on any tree, beyond what matrix.h declares.
#pragma once
#include <cstdint>

// The states of character c in the taxa considered that have any, one a taxon; returns how many.
int statesof(int c, uint32_t *cells);

// The same for a character with step costs, from the cells of the taxa considered (data/sankminmax.cpp).
// The minimum is exact for up to EXACTCELLS different cells, and where every cell is a single state
// and up to MOSTBETWEEN states are in no cell; else an upper bound by joining next what is closest.
// The maximum is that of the tree without internal nodes but the root.
constexpr int EXACTCELLS = 10, MOSTBETWEEN = 8;
void sankminmax(int c, const uint32_t *cells, int n, long *least, long *most);

// Fewest states that meet every cell.
int leastcover(const uint32_t *cells, int n);
