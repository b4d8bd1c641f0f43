// diagrams/textree.h: trees as characters.  One line a terminal, branches drawn with line glyphs,
// labels where branches meet.
//
//      ┌───0              The small branches come first, the outgroup before all.  A node stands
//      │       ┌───1      halfway between its first and last branch, on the lower line when these
//     5┤   ┌─6─┴───2      are neighbours.  Its label stands in its own branch; the root, which
//      └─7─┤   ┌───3      has none, is labelled before its vertical.
//          └─8─┴───4
//
// The glyphs are single bytes of code page 437; they become UTF-8 where text leaves the program.
#pragma once
#include "compare/below.h"

constexpr int CELLWID = 3;           // columns of a step of depth; one less in narrow trees

extern int largest_node;             // node slots used by the tree drawn last
extern char treetitle[256];          // line shown before the next diagram, which clears it; empty = none
extern int nakedtree;                // 1 = nodes without text show nothing (start); 0 = they show their number
extern int narrow_tree;              // 1 = steps of CELLWID - 1 columns; starts at 0
extern int linux_trees;              // 1 = plain ASCII glyphs; starts at 0
extern int dotruesymtrees;           // 1 = columns count from the tips, so that terminals are aligned; starts at 0
extern int heavy_first;              // 1 = in polytomies the second heaviest branch comes first; starts at 0
extern char start_zooming[256];      // label or number of the node at which diagrams start; empty = the root (start)

const char *donodmsg(int node);                  // what stands at a node: its text in nodmsg, its number, or ""
void drawtree(const int *tree, int start);       // title, and the part of the tree above node start
int  get_initial_zoom(const int *tree);          // node that start_zooming asks for; the root when no node answers
void spewlong(const char *text, long n);         // text of any length, not ended
void checklayout(const int *tree, int start);    // asserts what the drawer relies on; after drawtree only
