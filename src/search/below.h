// search/below.h: what search calls in the folders below it, by plain declaration.
#pragma once
#include <cstdint>

// compare: strict consensus of trees in user numbers; collapsed on the way by the rule in force, which is prepared
void do_strict_for_consensus_stabilization(int *const *trees, int *result, int ntrees, const uint8_t *list, uint8_t *excluded);
// the same, collapsed only when collapsing is 1
void do_strict_for_jak(int *const *trees, int *result, int ntrees, const uint8_t *list, uint8_t *excluded, int collapsing);

// script: while the macro language is on, '$' is plain text; the text being read is to run later, as it stands
extern int ignore_dollars, reading_sectsch_insts;
