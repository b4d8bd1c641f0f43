// trees/treebuf.h: the trees in memory.
#pragma once
#include <cstddef>
#include <cstdint>

extern int   maxtrees, realmaxtrees;   // room in force, room set by the user; start at 100
extern int   trees_in_mem;             // trees held, in places 0..trees_in_mem-1
extern int **mem_tree;                 // maxtrees rows of nodz entries; null without data
extern uint32_t **treegroup;           // per tree, treegroupcells words of group bits
extern int   recalctree;               // what depends on the next tree read must be computed again
extern int   send_to_base;             // taxa absent from a tree read are joined at the base; starts at 0

// One record a stored tree, kept by searches to find duplicates fast.
struct treechkrec {
    double score;
    int   *tree;
    treechkrec *next, *prev;           // in its bucket
    int    bucket;                     // 0..127; TREE_DEAD marks a tree for removal
    unsigned hash;                     // of the tree once collapsed; what it was in the bucket for
};
constexpr int TREE_DEAD = 255, TREEBUCKETS = 128;
extern treechkrec *treechk;            // maxtrees records
struct treebucket { double score; int *tree; treechkrec *head; };
extern treebucket *treechklist;        // TREEBUCKETS

[[noreturn]] void numtreeerror(long n);  // "No tree number" n "- only" trees_in_mem "trees in mem"
[[noreturn]] void fullerr();             // "Tree buffer is full"
void checkprunable(int t, const uint8_t *keep);   // "Can't prun tree" t..., when fewer than two of its taxa have keep 1
void notreeerror();                      // "Tree(s) are required" when none is in memory

// The layer lies above the data.  When it grows, kept layers above it (kernel/layers.h) move up, all
// other layers and all scratch are gone, and the addresses of the rows of mem_tree are new.
void laytreebuffer(int n);       // lays out the datatag layer for n trees (data reading) and locks it
void reset_maxtrees(int n);      // new room, said so; an error when a vault is set or memory does not suffice
bool try_maxtrees(int n);        // the same, silent; false, and no tree lost, when it cannot be
bool try_treespace(int trees, int vault);   // the same, with room for a vault (trees/treevault.h), 0 for none
int  possible_maxtrees(int wanted, size_t scratch);   // the most, up to wanted, that try_maxtrees could make with that
                                 // many bytes left free; at least maxtrees
void report_maxtrees();          // "Space for N trees in memory"
int  trinc(const char *group, bool maygrow);   // makes room for one tree, returns its place; with a group
                                 // name (and autotreegroups) the tree stored there is the first of a new group
void stortree(const int *anc);   // copies to the next free place, clears its groups (but that of trinc)
void deletree(int n);            // later trees move down with their groups
void effect_tree_choice(const uint8_t *keep);  // drops trees not marked LISTED
void droptrees(int keep);        // keeps the first ones only
void reorder_trees(const int *order);          // place i takes the tree that was in place order[i], with its groups
int  find_equal_tree(const int *anc, int before);   // place of an equal tree below before, or -1
void first_equal_trees(int *first);            // per tree, the place of the first one equal to it: its own if there is none
int  new_auto_treegroup(const char *name);     // the next automatic group takes that name, empty; -1 when off
void empty_treegroup(int g);                   // all trees leave it; it stays defined
void add_to_treegroup(int t, int g);
void checktreebuf();
