// compare/mixtrees.h: a supertree, as the command mixtrees makes it.
#pragma once
#include <cstdint>

struct mixinput {
    int *const *trees;
    int ntrees;
    const uint8_t *list;
    uint8_t *excluded;        // 1 for taxa left out, among them those of no tree
    int selected;             // trees of the list
    bool sametaxa;
};
struct mixplan {
    int sequences;            // orders in which to combine, when stabs is 0
    int stabs, cycle;         // until the consensus of cycle sequences was the same so many times in a row
};
struct mixresult {
    int sequences, hits;      // done; times in a row
    int partialnodes, finalnodes;   // of the last cycle's consensus, of the supertree
    bool congruent;           // one sequence was enough
};
extern int show_incomps;      // 1 = warn of trees that contradict each other (start)

// made: room for the trees of all sequences (of a cycle, with stabs), and one more.  Taxa whose
// place no group tells are in misstax (compare/mixgroups.h).  Works at the low end of the arena.
mixresult domix(const mixinput &in, const mixplan &plan, int *const *made, int *result);
