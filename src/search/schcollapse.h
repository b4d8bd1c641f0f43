// search/schcollapse.h: the collapsing rules on packed sets, for trees found during a search.
//
// The tree must be the one optimized last (schoptimize mode 2 or 3).  support[n] becomes 1 for an
// internal node whose branch stands, 0 for one to collapse; the root and the nodes directly below
// it always stand.
#pragma once

void schnocollapser(const int *tree, int *support);           // every branch stands
void schcollapser_rule_1(const int *tree, int *support);      // minimum length above 0: the final sets are disjoint in some field
void schcollapser_rule_ambig(const int *tree, int *support);  // the final sets differ
void schcollapser_rule_3(const int *tree, int *support);      // maximum length above 0: the ancestor may have a state that costs the node a step

void set_schcollapser(int rule);      // collapse_level and schcollapser from the number of the rule in force
