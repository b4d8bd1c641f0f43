// trees/scores.h: scores of the trees in memory, as commands print them.
#pragma once

double softpolyoptimize(const int *tree);   // score with polytomies taken as unresolved
double find_a_min(int c);                   // the same for one character, unweighted, on the tree of mkoptlist
