// data/xread.h: the matrix reader and the other meanings of its command.
#pragma once

// With ntaxa 0 reads a matrix from the stream.  Otherwise makes a "New Matrix" of nchars characters,
// the first `fill` of them continuous, for taxa named by number, with all cells missing.
void read_matrix(long nchars, long ntaxa, int fill);

void changedatcom();         // xread = : edits cells
void generatecom(int kind);  // xread / + < > & : kind is that character, already read
