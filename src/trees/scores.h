// trees/scores.h: scores of the trees in memory, as commands print them.
#pragma once
#include <cstdint>

double softpolyoptimize(const int *tree);   // score with polytomies taken as unresolved
double find_a_min(int c);                   // the same for one character, unweighted, on the tree of mkoptlist

// Scores under another weighting than the one in force, for as long as it stands.  Tables of scoring
// are laid out anew on both sides, for minima depend on the weighting.
struct otherweighting {
    uint8_t piwe, extended;
    int sets;
    explicit otherweighting(int on);     // plain implied weights, or steps for 0
    ~otherweighting();
};
