// trees/below.h: what trees calls in the folders below it, by plain declaration.
#pragma once
#include <cstdint>

// diagrams
extern char treetitle[520];                      // line shown before the next diagram
void drawtree(const int *tree, int start);       // the part of the tree above node start, in characters
void reset_nodmsg();                             // no texts at nodes, no title waiting

// search: collapsing by swapping.  prepare_swap_collapse makes the trees in memory fit for searches and
// packs the data, dropping the tables of report-time optimization; before it, rule_spr and rule_tbr fail.
void prepare_swap_collapse();
void rule_spr(const int *tree, int *marks, const uint8_t *excluded);
void rule_tbr(const int *tree, int *marks, const uint8_t *excluded);
