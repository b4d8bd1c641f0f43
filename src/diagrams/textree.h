// diagrams/textree.h: trees as characters.  One line a terminal, branches drawn with line glyphs,
// labels where branches meet.
//
//      ┌───0              The small branches come first, the outgroup before all.  A node stands
//      │       ┌───1      halfway between its first and last branch, on the lower line when these
//     5┤   ┌─6─┴───2      are neighbours.  Its label stands in its own branch; the root, which
//      └─7─┤   ┌───3      has none, is labelled before its vertical.
//          └─8─┴───4
//
// With new_line_for_tags a label may have several lines, and a terminal or a node takes as many as
// its label is high.  The glyphs are single bytes of code page 437; they become UTF-8 where text
// leaves the program.
#pragma once
#include "trees/below.h"

constexpr int CELLWID = 3;           // columns of a step of depth; one less in narrow trees
constexpr int ONCONSOLE = 2;         // answer of a viewer: show the diagram on the console

extern int largest_node;             // node slots used by the tree drawn last
extern char treetitle[520];          // line shown before the next diagram, which clears it; empty = none
extern int nakedtree;                // 1 = nodes without text show nothing (start); 0 = they show their number
extern int narrow_tree;              // 1 = steps of CELLWID - 1 columns; starts at 0
extern int linux_trees;              // 1 = plain ASCII glyphs; starts at 0
extern int dotruesymtrees;           // 1 = columns count from the tips, so that terminals are aligned; starts at 0
extern int heavy_first;              // 1 = in polytomies the second heaviest branch comes first; starts at 0
extern char start_zooming[256];      // label or number of the node at which diagrams start; empty = the root (start)
extern int preview_trees;            // 1 = diagrams go to the viewer, when there is one; starts at 0
extern int (*ShowBoxTree)(const int *tree, int start);   // the viewer; null until there is one

const char *donodmsg(int node);                  // what stands at a node: its text, its number, or ""
void drawtree(const int *tree, int start);       // title, and the part of the tree above node start
void alt_drawtree(const int *tree, int start);   // the same with labels of several lines
int  get_initial_zoom(const int *tree);          // node that start_zooming asks for; the root when no node answers
int  laytree(const int *tree, int start);        // orders the branches; nodes to draw into drawat, each before its
                                                 // descendants; lef is -1 at terminals and shrunk clades; returns how many
const char *terminaltext(int n);                 // name or number of a terminal, label or size of a shrunk clade
void reset_nodmsg();                             // no texts at nodes, no title waiting
void checklayout(const int *tree, int start);    // asserts what the drawer relies on; after drawtree only
