// trees/collapse.h: which branches of a tree the data support, under the rule in force.
#pragma once
#include <cstdint>

// marks: one value a node; 1 for an internal node whose branch stands, 0 for one to collapse and
// for terminals and unused slots.  excluded: a byte per taxon, 1 for taxa that give no support to
// the branches that only they hold apart; null for none.  The root and the nodes directly below
// it always stand.  prepare_collapsing must have been called.
using collapser = void (*)(const int *tree, int *marks, const uint8_t *excluded);

extern collapser mark_supported;      // the rule in force; starts as rule_1
extern int dacollrule;                // its number; starts at 3
extern int collapse_consensuses;      // trees are collapsed temporarily for consensuses; starts at 1
extern int autocollapse_searches;     // trees are condensed after a search; starts at 0
extern int quick_collapse;            // moves within a collapsed group are skipped; starts at 1

enum collapserule { COLL_NONE, COLL_RULE3, COLL_AMBIGUOUS, COLL_RULE1, COLL_RULE4, COLL_SPR, COLL_TBR, COLLAPSERULES };

void nocollapse(const int *tree, int *marks, const uint8_t *excluded);      // every branch stands
void rule_3(const int *tree, int *marks, const uint8_t *excluded);          // maximum length above 0
void rule_ambiguous(const int *tree, int *marks, const uint8_t *excluded);  // final sets of node and ancestor differ
void rule_1(const int *tree, int *marks, const uint8_t *excluded);          // minimum length above 0
void rule_4(const int *tree, int *marks, const uint8_t *excluded);          // expansive: condensing may give several trees for one
void set_collapsing_rule(int number);
int  current_collapsing_rule();       // number of the rule in force
inline bool is_swap_rule(int number) { return number >= COLL_SPR; }
void prepare_collapsing();            // locks the layer that the rule in force needs: before any scratch of the command.
                                      // Swap rules make the trees in memory dichotomous
const char *report_collapse_rule();   // when it collapses a branch, in words
void mark_unsupported(const int *tree, int *marks);   // 1 for an internal node to delete (for delnodz), else 0

// All ways to remove branches of minimum length 0 from a tree, as many at a time as its length allows
// (rule 4 of Coddington and Scharff 1994).  Trees go to keep; false from there stops.  Returns how many.
int expand_by_rule_4(const int *tree, bool (*keep)(const int *tree));

// Reads the list of trees and, behind '/', the list of taxa left out, of condense, best * and unique *;
// condenses by the rule in force.
void condensation(int keep_constrained);

// All trees in memory, just found by a search, by the rule in force, which prepare_collapsing (or the search) has
// prepared; those that become the same are one.
void condense_found_trees();

// Constraints: takes the marks of demanded groups away; null while none can be defined.
extern void (*mark_constnodz_to_keep)(const int *tree, int *marks);
