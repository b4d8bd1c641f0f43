// search/constpack.h: constraints during a search, in packed numbers.
//
// Of each node three sets of the constraint characters are kept: the first-pass set of its subtree,
// that of everything else, and the set of its branch, which is where they are joined.  A clip adds a
// step at a branch for each field in which the clip and the branch are disjoint, exactly, so a move
// is legal when the steps of the two pieces and of the joint make at most one for a positive
// constraint, two or more for a negative one.  Most clips have no place within the bound and never
// ask: the sets of the pieces are made when somebody does.
//
// Groups of the tree constraint are nodes of the tree: they divide it into regions, and a subtree may
// move, and be rooted, only within the region where it is.
//
// The life within a swap:
//     prepare_constraints(tree);        // tree just optimized, and again after each move
//     for each clip x:
//         if (clip_is_fixed(x)) continue;
//         enter_clip(x, s);             // s its sister, before the clip or after
//         ... isavalidpos(root, dest) for places within the bound
#pragma once
#include "search/grouptree.h"
#include "trees/scratch.h"
#include <cstdint>

extern int use_treeconstraints;          // a tree constraint is in force in this search
extern int numcpos, numcneg;             // fields in use
extern int cncpos, cncneg;               // cells
extern uint32_t *cpempos, *cpemneg;      // rows of the sets; null: no constraints of the kind
extern uint32_t *cneginfomsk;            // per cell of cncneg: fields in use (that bind, while a tree grows)

extern grouptree *hardconst;             // its groups (packed numbers; may lack taxa); good while use_treeconstraints

inline bool constrained()                { return cpempos || cpemneg || use_treeconstraints; }

void repack_consts();                    // by final_search_mem: from the user's constraints, when they are in force
// Stops with a message when no tree can fulfil them, as far as pairs of groups tell.
void chk_constraint_coherence();

// ---- Sectors ----
// A constraint that any arrangement of the sector fulfils does not bind in it; one that does has no step outside.
// Groups of the tree constraint are nodes of the sector, or concern it not.
struct constsector {
    const int *whole;                    // the tree, its links in lef, rig, sis
    const int *terminals;                // of the reduced data -> nodes; the first (the outside) is not looked at
    int nterminals;
    const int *inner;                    // nodes of the sector, breadth first from its base
    int ninner;
    const int *reduced;                  // the reduced tree: nodes after its root in the order of inner
    const int *path;                     // from the ancestor of the base to the root
    int npath, base;
};
void gather_consts(const constsector &s);// before the image is replaced; what it gathers is at the high end of the arena
void reduce_consts();                    // by reduced_search_mem, from what was gathered
size_t const_bytes(int terminals);       // that it takes at most

void prepare_constraints(const int *tree);
void update_treeconstraints(const int *tree, const int *list, int n);   // regions and nodeisfix of a tree, internal nodes as listed
bool clip_is_fixed(int x);               // no place and no root but its own
void enter_clip(int x, int s);
bool isavalidpos(int root, int dest);    // root: of the clip entered, -1 as it is rooted

// ---- For a part of a search ----
// Strict consensus of two binary trees in packed numbers; the result has hinod entries, and polytomies.
void a_tight_strict(const int *const pair[2], int *result);
// While it stands, moves keep the groups of a tree, or those that two share (and so those of the user's tree constraint,
// which they fulfil).  Nothing may be packed meanwhile.
struct temporary_constraint {
    hiscratch memory;
    explicit temporary_constraint(const int *groups);
    temporary_constraint(const int *before, const int *after);
    ~temporary_constraint();
    temporary_constraint(const temporary_constraint &) = delete;
    temporary_constraint &operator=(const temporary_constraint &) = delete;
};

// After a collapsing rule, on the tree just optimized: nodes that the constraints demand stand.
void constcollapser(const int *tree, int *support);

// ---- Wagner trees ----
// Reorders the sequence behind its first taxon, so that placing the taxa one by one does not run
// into a place where one cannot go.
void check_addition_sequence(int *sequence, int n);
void start_constrained_wagner(const int *taxa, int n);    // these are in the tree
void enter_taxon(int t);                 // before its places are asked for, as a clip
// Internal nodes of the tree so far, breadth first, below which t may go; *top: the first place.
int  legal_nodes(int t, int *list, int *top);
void settle_taxon(int t);                // it was placed
void checkconstsets();                   // sets brought along with a growing tree are those made afresh
extern int negatives_bind;               // isavalidpos asks for negative constraints too; 1 but for taxa that have no legal place
bool whole_tree_ok();                    // a finished Wagner tree fulfils the negative constraints

// ---- Exact searches ----
// All taxa come in one order, and leave again, the last one first.  A place is legal unless no tree that
// grows from it can be: a positive constraint that takes two steps takes them in all of these trees; a
// negative one can still be fulfilled until the last taxon that is a member or outside is in.
void start_constrained_order(const int *order);   // the first three are in the tree
void enter_in_order(int k);              // before places of the taxon order[k] are asked for, as a clip
void settle_in_order(int k);             // it was placed
void leave_in_order(int k);              // and taken away
