// compare/qnelsen.h: how the results of several searches become one tree, without the searches.
#pragma once
#include <cstdint>

extern int estimate_replications;    // searches to do, 1 or more; starts at 15
extern int estimate_cutoff;          // per cent of all searches that must have a group, 50..100; starts at 85

// results: rows of nodz entries, one a search, and behind them room for one more (three in all at
// least).  Those no worse than select per cent of the others move to the front and are copied to
// aside; returns how many.  Of these, the ones that are better than all but strict per cent of the
// others move to the front in turn; picked receives how many.  At 100, select takes all.
int choose_estimates(int **results, int n, const double *scores, int select, int strict, int **aside, int *picked);

// Combines them into results[0]; results[1] and results[2] are overwritten.  cut: for the majority rule.
void combine_estimates(int **results, int kept, int picked, int *const *aside, const uint8_t *excluded, int cut);
