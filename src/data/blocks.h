// data/blocks.h: blocks of characters that follow one another.  They count from 1 (charcodes holds the
// block of each character); block 0 is the whole matrix.
#pragma once
#include <cstdint>

// The first character of block b and that after its last.  False when there is no such block.
bool blockrange(long b, int *low, int *high);
void showblocks();
void set_block_chargroups();             // a group of characters for each block, of the same number and name
void set_active_blocks();                // reads "& J K ...": what lies outside those blocks becomes inactive
