// formats/foreignwrite.h: cells and trees as other programs read them.
#pragma once
#include "data/cells.h"
#include <cstdint>
#include <string>

// Symbols of one type, for writing.  While it lives that type's table of symbols is in force.
struct foreigncells {
    readingas settings;                  // puts back what was in force
    int type;
    char opening, closing;               // around several states
    foreigncells(int type, char opening, char closing);
    void put(int t, int c, std::string *out) const;
};

int shared_type();       // the type of all characters, numeric when they are of several

enum tagkind { TAGS_NONE, TAGS_MIXED, TAGS_LENGTHS, TAGS_LABELS };   // how the tag tree's tags are written

void put_foreign_tree(const int *anc, tagkind tags, std::string *out);   // with names and commas, and its semicolon
void put_numbered_tree(const int *anc, std::string *out);                // numbers from 1, with blanks between
std::string constraintstext();           // the command for the constraints that a tree can hold; empty without any
int  rootingletter(const int *anc);      // 'R' when the root has two descendants, else 'U'
