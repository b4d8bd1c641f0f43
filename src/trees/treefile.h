// trees/treefile.h: the open tree file and the two tree formats.
#pragma once
#include <cstdint>
#include <cstdio>
#include <string>

extern FILE *treefile;           // null = none open
extern int   tsavemode;          // 1 parenthetical, 0 compact
extern char  txtr_is_set;        // tag tree exists

bool leatre(int *anc);           // reads one parenthetical tree from the stream up to '*' or ';'
void convertree(const int *anc, std::string *codes);       // compact codes of a tree, little-endian words
void savetree(const int *anc, int node, std::string *out); // parenthetical text of a subtree
const char *gimetax(int t);      // a terminal as trees are written: number, or name with usetaxnames
