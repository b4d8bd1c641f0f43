// trees/treemodel.h: a tree is an array of ancestors.
//
// Terminals are 0..nt-1, the root is nt, other internal nodes follow.  anc[nt] holds the number of
// node slots used (highest node + 1); anc[t] == 0 for a terminal means that it is not in the tree.
// The working arrays show the tree in anx from the other side.
#pragma once
#include <cstdint>

extern int *anx;               // the current tree, nodz entries
extern int *lef, *rig, *sis;   // first and last descendant (-1 terminal), next sibling (-1 last)
extern int *nodfork;           // descendants of each node
extern int *nodlist;           // internal nodes, see mkoptlist
extern int *htulist, *bufprvtree, *issupp;   // scratch per node
extern int *taxnum, *lineof, *doat, *drawat, *branchlen, *xpos, *ypos;   // of diagrams

void mksis(const int *anc);                   // fills lef, rig, sis; descendants in ascending order
int  mkoptlist(int *list, const int *anc);    // mksis, nodfork, and internal nodes root first (each before its descendants); returns how many
int  mklist(int *list, const int *anc);
void reset_nodz(int *anc, int *carried = nullptr);   // canonical numbering; carried: values per node that move along
bool equal_tree(const int *a, const int *b);  // same node totals and ancestors
bool reroot(int *anc, int target);            // hangs the tree from a terminal; false if it cannot
void dichotomize_tree(int *anc, int seed);    // resolves polytomies at random
void delnodz(int *anc, const int *marks);     // deletes each internal node marked 1, renumbers
void initnet();                               // three-taxon tree in the working arrays
bool isinthetree(const int *anc, int t);
int  countnodes(const int *anc);              // internal nodes in use
void checktree(const int *anc);               // asserts every invariant of a stored tree
