// data/below.h: what the data folder calls in the folders below it, by plain declaration.  Each is
// defined in trees/, whose headers say more; data includes none of them.
#pragma once
#include <cstdint>

// trees: layers
void laytreearrays();            // the working arrays of trees, nodz entries each; part of the matrix layer
void laytreebuffer(int n);       // the tree buffer for n trees; locks datatag
extern int maxtrees, realmaxtrees, trees_in_mem;
extern int **mem_tree;

// trees: the tag tree
extern char txtr_is_set, **txtrmsg;
extern int *txtr, maxtxtsz;

// trees: the tree along which data were generated is kept
[[noreturn]] void numtreeerror(long n);
void stortree(const int *anc);
int  new_auto_treegroup(const char *name);
void add_to_treegroup(int t, int g);

// trees: what lists of trees and of clades look at
int give_trees_in_mem();
const int *ancestors_of_tree(int t);           // a tree in memory; entry nt holds its node slots
const unsigned *groups_of_tree(int t);         // its treegroupcells words of group bits
