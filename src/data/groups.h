// data/groups.h: named groups of taxa, characters and trees.  A list refers to them in braces.
// Masks of taxa and characters (taxgroup, chargroup) lie in the layer of the tree buffer; names
// and definitions live with the data.
#pragma once
#include <cstdint>

// One family of groups: what read_scope needs to know of it.
struct groupfamily {
    const char *kind;                    // as given to read_scope
    int  (*groups)();                    // how many there can be
    bool (*defined)(int g);
    const char *(*name)(int g);
    bool (*member)(int element, int g);
};
const groupfamily *familyof(const char *kind);   // null when elements of that kind have no groups

void laygroupnames();                    // names and definitions, at their defaults, on the layer being built
