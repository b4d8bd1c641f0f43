// compare/groups.h: the table of groups, the common tool of all that compares trees.
//
// A group is the set of taxa below a node: a row of bitwords words, taxon t being bit t mod 32 of
// word t / 32, and after them a signature, the XOR of all words, which tells most unequal rows
// apart at once.  The records stand at the high end of the arena and the rows on top of the low
// end, so both can grow while trees are read:
//
//   low end                                                             high end
//   | node_bits, node_sizes | group_bits -> |      free      | <- gsstored | group_heads |
//
// Taxa left out of a comparison are in no row.  All tables live inside one call.
#pragma once
#include <cstddef>
#include <cstdint>

struct grouprec {
    int32_t size;             // taxa in the group
    int32_t count;            // trees in which it was seen with support
    int32_t counted;          // number of the tree that counted it last; while it is not that of the tree being
                              // read, the count is pending
    int32_t lowword, highword;// first and last word that is not 0
    uint32_t branching;       // bits that say which way the search goes on from here
    int32_t next[2];          // records of the same bucket that are sought behind this one; -1 = none
};

extern int bitwords;            // words of a set of taxa
extern uint32_t *node_bits;     // of the tree being read: nodz rows of bitwords + 1 words
extern int *node_sizes;         // per node, taxa below it that take part
extern grouprec *gsstored;      // the records
extern uint32_t *group_bits;    // their rows
extern int groups_stored;       // records in use
extern int group_capacity;      // records that fit before the tables grow; starts at nodz
extern int min_group_count;     // smallest count that leaves a record alive
extern int storenomore;         // 1 = groups not yet in the table are dropped; 0 = stored
extern int consensus_taxa;      // taxa that take part
extern int excluding_taxa;      // 1 = some taxa are left out, so that one tree may hold a group twice
extern int ignore_unshared_taxa;// 1 = taxa missing from some tree are left out of all (start); 0 = compared as they stand
extern int use_low_budget_only; // 1 = never use the table for strict and majority consensus; starts at 0

inline uint32_t *nodebits(int n)  { return node_bits + size_t(n) * (bitwords + 1); }
inline uint32_t *groupbits(int g) { return group_bits + size_t(g) * (bitwords + 1); }

// Takes part when the tree list is null or names the tree.
inline bool selectedtree(const uint8_t *list, int t) { return !list || int8_t(list[t]) > 0; }

int countselected(int ntrees, const uint8_t *list);

// Leaves flags of the user at 1, adds 2 for taxa missing from a selected tree, sets consensus_taxa
// and excluding_taxa; doing it again changes nothing.  Null trees: only the user's flags count.
// "consensus of N taxa?"
void completexlist(int *const *trees, int ntrees, const uint8_t *list, uint8_t *excluded);

void initmpbits(const uint8_t *excluded);                   // lays out the tables; rows of the terminals
void addgroups(const int *tree, const uint8_t *excluded);   // reads a tree into the table
void dobis(const int *tree);                                // node_bits and node_sizes of a tree
void formtree(int *result, int *freqs, const uint8_t *excluded);   // tree of the live records; freqs (may be null): count of each node's group

// Per node, taxa that take part below it and one of them (-1 if none).  excluded may be null.
void calcusizes(const int *tree, int *sizes, int *below, const uint8_t *excluded);

void shortset(int *array, int n, int value);
void checkgroups();                                         // asserts that records and rows agree
