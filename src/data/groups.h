// data/groups.h: named groups of taxa, characters and trees.  A list refers to them in braces.
// Masks of taxa and characters (taxgroup, chargroup) lie in the layer of the tree buffer; names
// and definitions live with the data.
#pragma once
#include <cstdint>
#include <string>

// One family of groups: the same operations for every kind of element.
struct groupfamily {
    const char *kind, *plural;           // kind as given to read_scope
    int  (*groups)();                    // how many there can be
    int  (*elements)();                  // how many elements there are
    uint32_t *(*bits)(int element);      // words of the groups an element is in
    uint32_t *(*defined)();              // words of the groups defined
    char **(*names)();
    void (*toomany)();                   // fails: the number of a group is too high
    void (*unknown)(const char *word);   // fails: no group has that name
    int  (*latest)();                    // the group that '/' stands for, -1 none; null: nothing does
};
extern const groupfamily *hostfamily;    // groups of hosts; null: there are no hosts
const groupfamily *familyof(const char *kind);   // null when elements of that kind have no groups

inline bool groupbit(const uint32_t *words, int g) { return words[g / 32] >> g % 32 & 1; }
inline bool isgroup(const groupfamily *f, int g) { return groupbit(f->defined(), g); }
inline bool isingroup(const groupfamily *f, int element, int g) { return groupbit(f->bits(element), g); }
inline const char *groupname(const groupfamily *f, int g) { return f->names()[g]; }
void setgroupbit(uint32_t *words, int g, bool on);
void emptygroup(const groupfamily *f, int g);    // all elements leave it, also trees in the vault
void defaultgroupname(char *name, int g);

[[noreturn]] void badgroup(long g);      // "No group number" g
std::string readgroupword(int closing);  // up to a blank, a semicolon or that sign; '^' stands for a blank
struct grouprange { int from, to; };
// Whether the word is N, N.M, N., .M or a dot alone; fails when the only or highest group is none.
bool isgrouprange(const groupfamily *f, const char *word, grouprange *range);

// Writes value for the members of the groups that a word names: a number, a range, or how names begin.
// False when it fits no name.
bool markmembers(const groupfamily *f, const char *word, uint8_t *list, int low, int high, uint8_t value);

void laygroupnames();                    // names and definitions, at their defaults, on the layer being built
void checknamedgroups();                      // asserts the invariants
