// compare/contra.h: groups that cannot be on the same tree.
#pragma once

extern int use_single_tree;   // 1 = the groups of one reference tree are what is reported; starts at 0
extern int *max_contra;       // per record, the highest count among the groups that contradict it

bool contradict(int i, int j);        // each of two records has taxa that the other lacks, and they share some

// Fills max_contra for the first records (all of them may contradict) and takes it off their counts.
// Of that many trees all counts come; max_contra is taken from the low end of the arena.
void docontra(int ntrees, int first);

// Records from the given one on disappear (their size is 0) when one before it contradicts them.
void get_rid_of_contradicted_groups(int from);
