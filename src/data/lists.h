// data/lists.h: the one list syntax of taxa, characters, trees, blocks, and the named groups.
#pragma once
#include <cstdint>
#include <string>

constexpr int GROUPS = 32;
extern uint32_t *taxgroup, *chargroup;              // per element, bit g = member of group g
extern uint32_t taxgroupdef, chargroupdef;          // groups defined
extern char **taxgroupname, **chargroupname, **treegroupname;
extern int  num_treegroups, treegroupcells;         // 64 groups in 32-bit words a tree
extern uint32_t *treegroupdef;
extern int  autotreegroups, nextautotreegroup;      // trees read or found go to a new group; start at 1, 0
extern uint8_t *charscopelist;                        // a list of characters that outlives arena marks, nc bytes
extern int  scopis[2];                              // ends of the range parsed by getscope
extern int  use_taxlist_from_pico, use_charlist_from_pico, use_treelist_from_pico;
extern uint8_t *taxlist_from_pico, *charlist_from_pico, *treelist_from_pico;

constexpr uint8_t LISTED = 1, UNLISTED = 255;       // 255: explicitly removed by '-'

// Parses a list into list[low..high-1]: 0 not mentioned, LISTED, UNLISTED.  kind is "tree",
// "vault-tree", "taxon", "character", "block" or "host"; names may be null.  Stops before one of
// & / ; < = > \ ].  Returns the elements mentioned, 0 for an empty list.
int  read_scope(uint8_t *list, int low, int high, const char *kind, char **names);
void getscope(int low, int high, const char *kind);   // one number or range, into scopis
int  rdtax();                                        // a taxon by name or number, or the first one in node N of
                                                     // tree T (@T N); -1 if none is named
bool isatree(long n), isanod(long n), isatax(long n), isachar(long n);
int  countlist(const uint8_t *list, int n);          // how many are exactly LISTED

// A list of trees, all when none is given, in arena memory.  "Tree(s) are required".
uint8_t *treelist();

// Lists with items of a command's own, besides the common ones.  In these lists "/Z" after a range
// takes every Zth element of it.
struct listpart {
    uint8_t *list;
    int low, high;
    uint8_t sense;                                   // what to write for an element
};
struct listitems {
    bool (*sign)(const listpart &p, int c, void *of);             // a sign, already read; false: unknown
    bool (*word)(const listpart &p, const char *word, void *of);  // a whole word of letters, already read; false: unknown
    void *of;
};
int  read_scope_with(const listitems *own, uint8_t *list, int low, int high, const char *kind, char **names);

// Complexes of linked characters, which lists name by '^'; null: there are none.
struct charcomplexes {
    int  (*count)();
    bool (*member)(int c, int complex);
};
extern const charcomplexes *complexes;

// What lists of hosts know besides numbers; null: there are no hosts.
extern int (*hostbyrole)(const char *word);          // the host that is "myself", "master" or "parent"; -1 for other words

// Looking up many taxa by name: while one of these lives, names must not change.  There is one at a time.
struct manytaxa {
    manytaxa();
    ~manytaxa();
    manytaxa(const manytaxa &) = delete;
    manytaxa &operator=(const manytaxa &) = delete;
};

// Parts of a list, for commands with a grammar of their own.  The opening sign has been read.
void readcomplex(uint8_t *list, int low, int high, uint8_t value);                   // after '^'
std::string getdastr(std::string word = "");         // reads a name as lists hold it, after what was read of it already
void readgroups(uint8_t *list, int low, int high, const char *kind, uint8_t value);   // through '}'
void readblock(int *low, int *high);                 // after '@': the first character of the block, and that after its last
int  findtaxon(const char *word);                    // by number (all digits) or name: the exact one, else the first it begins; -1
void printelement(const char *text);                 // a blank and the text, in lines of moderate length; the last one waits
void printlist(const uint8_t *list, int low, int high, uint8_t value);   // the numbers of the elements holding value
void printtaxa(const uint8_t *list, uint8_t value);                      // the same for taxa: names, with usetaxnames
