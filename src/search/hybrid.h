// search/hybrid.h: pieces of different taxa exchanged between trees, which are then completed.
//
// A piece is a group of each of two trees, the two groups sharing most of their taxa.  Without the taxa that they
// do not share the pieces have the same taxa and can trade places; what was left out is added to the
// hybrids as to a Wagner tree, and they are swapped.
#pragma once

// ---- Settings, of "tfuse" -------------------------------------------------------------------
extern int fuse_hybridize;       // "tfuse" makes hybrids; starts at 0
extern int hyb_numinrounds;      // pairs a round; starts at 1000
extern int hyb_outrounds;        // rounds; starts at 1
extern int hyb_samplesize;       // so many best trees go on to the next round, 0: as many as were given; starts at 50
extern int hyb_autostop;         // rounds without improvement that end it, 0: never; starts at 3
extern int hyb_replacetrees;     // a hybrid takes the place of a worse parent; starts at 1
extern int hybrid_prevent_clog;  // a set that grew by so many times is cut back, 0: never; starts at 15
extern int hyb_legperc;          // unshared taxa that a piece may have, 0..100; starts at 5

extern int hybrid_room;          // trees that the list of hybridize_tree_set has place for in all; 0: those given (start)
extern int hybridsdone;          // rounds that the last one completed

// *count trees in trees[] (packed numbers, binary), replaced by the best ones of the set that grew from them, as
// many as there is place for; those given keep their places unless better ones need them.  pairs: in each round.
// pieces: unshared taxa that a piece may have, 0 for hyb_legperc; more where there is no such piece.  swap: hybrids
// are swapped with TBR.  Ends at stopscore or better (0: none) and at userstop.  Returns the best score.
double hybridize_tree_set(int *count, int **trees, int pairs, int pieces, int swap, double stopscore);

// Adds the taxa that a tree lacks (see wagner.h) in random order where they cost least, and swaps if that is wanted.
// Returns the score.  Fails under constraints.
double tree_completion(int *tree, int swap);

// A piece: a group of each tree, and what the two share.
struct piece { int a, b, shared, leftouta, leftoutb; };
// One of about half the taxa, whose groups have at most `unshared` taxa each that the other has not; where there is none,
// sizes farther from half will do and, as far as `most`, more of these taxa.  Of the pieces so found the one that shares
// most.  False: there is none.
bool find_piece(const int *a, const int *b, int unshared, int most, piece *p);
// Both trees without the taxa that the groups do not share, in ab the piece of b in a, in ba the other way round.
void do_hybrid(const int *a, const int *b, const piece &p, int *ab, int *ba);
