// compare/strict.h: the groups found in all of a set of trees.
//
// trees are rows of ancestors; list marks the trees to use (null = all); excluded marks the taxa
// to leave out (null = none) and gets value 2 added for those missing from a tree.  The result is a
// tree of nodz entries in canonical numbering that lacks the taxa left out.  Trees are collapsed on
// the way when collapse_consensuses is set; the caller has prepared the rule (preparecollapsing).
// realnt_relink says that packed trees of a search are given, for the swap-collapsing rules.
#pragma once
#include <cstdint>
#include "kernel/driver.h"
#include "kernel/output.h"
#include "trees/collapse.h"

void dostrict(int *const *trees, int *result, int ntrees, const uint8_t *list, uint8_t *excluded, int realnt_relink);

// The same without rows of bits: a few integers a node, whatever the number of taxa.
void strict_on_low_budget(int *const *trees, int *result, int ntrees, const uint8_t *list, uint8_t *excluded);

// The tables of groups do not fit, or the user wants none; that memory is low is said once.
bool needslowbudget();

// Inside another command nothing is said, and the user cannot stop half way.
struct quietly {
    int report = report_status, stoppable = breakable, collapsing = collapse_consensuses;
    unsigned char said = silent;
    explicit quietly(int collapse);       // 1 = collapsing by the rule in force
    quietly(const quietly &) = delete;
    quietly &operator=(const quietly &) = delete;
    ~quietly();
};
void do_strict_for_jak(int *const *trees, int *result, int ntrees, const uint8_t *list, uint8_t *excluded, int collapsing);
void do_strict_for_consensus_stabilization(int *const *trees, int *result, int ntrees, const uint8_t *list, uint8_t *excluded);
