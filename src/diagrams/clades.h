// diagrams/clades.h: clades told apart by the taxa they hold, whatever the tree, and the clades
// that are drawn as one terminal.
#pragma once
#include <cstdint>

struct cladekey {                    // sums of pseudo-random words of the taxa: two sets of taxa never meet by chance
    uint64_t sum[2];
    int      taxa;
    bool operator==(const cladekey &) const = default;
};

void cladekeys(const int *tree, cladekey *keys);    // of every node of the tree; uses lef, rig, sis, nodfork
bool sametaxa(const int *a, const int *b);          // both trees include the same terminals

extern int *shrinkthenod;            // per node of the tree being laid out: 0, or for a clade to be drawn as one terminal
                                     // its taxa; null when there is none
bool shrinkclade(const int *tree, int node);        // into tshrink; false when it is there, or holds too few taxa
bool unshrinkclade(const int *tree, int node);
void unshrinkall();
void markshrinks(const int *tree);                  // fills shrinkthenod, in scratch of the low end
