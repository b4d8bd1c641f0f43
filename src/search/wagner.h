// search/wagner.h: trees by stepwise addition, each taxon on the branch where it costs least.
#pragma once

extern int xrandom_addseq;        // rseed[: branches are tried in random order; starts at 0 (up or down)
extern int randomize_outgroup;    // rseed>: the outgroup may enter anywhere in the sequence; starts at 0 (first)

// Builds a tree of all active taxa (packed numbers) in the given order of the seed.  The optimized
// sets are those of the tree unless the outgroup entered elsewhere.  After userstop the tree is
// partial.  Leaves ranseed at seed.
void wagner(int *tree, int seed);
void netnit(int *tree, int a, int b, int c);      // the network of three terminals: a next to the root; its sets are optimized
double netnitlen(int *tree, int a, int b, int c); // the same, returns its length
void fix_outgroup(int *tree);                     // hangs the tree from terminal 0, in place
