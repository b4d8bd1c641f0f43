// compare/below.h: what compare calls in the folders below it, by plain declaration.
#pragma once

// diagrams
extern char treetitle[520];                      // line shown before the next diagram
extern int nakedtree;                            // 0 = nodes without text show their number
extern int store_treemsg;                        // diagrams are stored as tags, and show nothing
void drawtree(const int *tree, int start);       // the part of the tree above node start, in characters
void reset_nodmsg();                             // no texts at nodes, no title waiting
