// compare/strict.h: the groups found in all of a set of trees.
//
// trees are rows of ancestors; list marks the trees to use (null = all); excluded marks the taxa
// to leave out (null = none) and gets value 2 added for those missing from a tree.  The result is a
// tree of nodz entries in canonical numbering that lacks the taxa left out.  Trees are collapsed on
// the way when collapse_consensuses is set; the caller has prepared the rule (preparecollapsing).
// realnt_relink says that packed trees of a search are given, for the swap-collapsing rules.
#pragma once
#include <cstdint>

void dostrict(int *const *trees, int *result, int ntrees, const uint8_t *list, uint8_t *excluded, int realnt_relink);

// The same without rows of bits: a few integers a node, whatever the number of taxa.
void strict_on_low_budget(int *const *trees, int *result, int ntrees, const uint8_t *list, uint8_t *excluded);

// Silent, uninterruptible forms for the inside of other commands.
void do_strict_for_jak(int *const *trees, int *result, int ntrees, const uint8_t *list, uint8_t *excluded, int collapsing);
void do_strict_for_consensus_stabilization(int *const *trees, int *result, int ntrees, const uint8_t *list, uint8_t *excluded);

// What a command does, before it takes memory, when trees will be collapsed for a consensus: refuses
// the rule that cannot serve and prepares the optimization.  command names it in errors.
void preparecollapsing(const char *command);

void chktreespace();      // room for one more tree: maxtrees grows when it must; before anything is taken from the arena
