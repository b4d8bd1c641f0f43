// compare/mixgroups.h: the groups of trees with different taxa, and one tree of all taxa made of them.
//
// A group of a tree tells of each taxon of that tree whether it is inside or outside.  The taxa that
// the tree lacks are missing from the group: other groups may tell where they are.
#pragma once
#include <cstdint>

enum mixmark { MIX_STAYS = 1, MIX_CONTRADICTED = 0, MIX_MISSING = -1, MIX_THROUGHMISSING = -2 };

struct mixgroup {
    uint32_t *in, *missing;   // rows of bitwords words; the other taxa that take part are outside
    int size, nmissing;
    int tree;                 // where it comes from
    int lastouch;             // pass in which its sets changed last
    int freq;                 // a mixmark
};

extern int togrus;            // groups of all trees
extern mixgroup *mixgroups;
extern uint8_t *misstax;      // per taxon, 1 when no group tells where it is, in some group

// Lays out the groups of the trees of the list, without those of one taxon or of all taxa of a tree;
// excluded: taxa that do not take part.
void laymixgroups(int *const *trees, int ntrees, const uint8_t *list, const uint8_t *excluded);
void readmixgroups(int *const *trees, int ntrees, const uint8_t *list, const uint8_t *excluded);   // as the trees have them
void shufflemixgroups();      // trees in random order, and the nodes of each

// Two groups that no tree can have both, whatever the places of what is missing.
bool mixconflict(const mixgroup &a, const mixgroup &b);

// Would group g, with these taxa moved from its missing ones to its inside (in) or outside, be
// in conflict with a group that it is not in conflict with?
bool chekontra(int g, const uint32_t *moved, bool in);

void markmixconflicts();      // marks contradicted groups, which take no part in what follows
void fillmissing();           // places missing taxa where another group tells, until nothing changes
void touchfreqs();            // marks the other groups; adds to misstax

// A tree that has every group but those marked as contradicted: inside one of its clades, which has
// nothing of their outsides (Aho et al. 1981).  A group that the groups before it do not admit
// is left out, and marked as contradicted too.
void formmixtree(int *result, const uint8_t *excluded);
bool mixcongruent();          // no group was contradicted or left out
