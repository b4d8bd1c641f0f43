// formats/foreigntree.h: one tree in the notation of Newick: labels, branch lengths, labels of nodes.
#pragma once
#include "formats/names.h"
#include "trees/treefile.h"

// Reads up to the semicolon.  False when nothing but the end of the file is left.  Where the tree
// has labels at internal nodes or lengths, they become the tag tree's; *tagged says so.
bool read_foreign_tree(const taxonfinder &taxa, int *anc, bool *tagged);

int  newick_rdtax(const taxonfinder &taxa, const std::string &label);   // a label's taxon; fails when there is none
void keep_foreign_tree(treesink *sink, const taxonfinder &taxa, bool *more, bool *tagged);   // reads one and stores it

// A tag as it stands at a node: its label, its length, or both with the sign between them.
constexpr char LABELMARK = '/';
