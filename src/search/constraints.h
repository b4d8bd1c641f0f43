// search/constraints.h: groups that trees must have, or must not have.
//
// A constraint is no test of tree shapes: it is a binary character in a field of two bits,
//
//     1  taxon outside the group     2  member     3  floating: on either side
//
// and a group is monophyletic exactly when the character costs one step at most.  So a tree is
// checked by a pass over a few words, and the legality of a move is the same arithmetic as its score.
// A positive constraint must cost one step at most; a negative one two or more, unless no tree can
// make it (fewer than two members, or fewer than two taxa outside).  A tree constraint demands
// all groups of a tree.
#pragma once
#include <cstdint>

// As the user defined them, in the user's numbers, in the kept layer consttag; none when the tag is 0.
extern uint32_t **constmat, **anticonstmat;   // per cell a column of nt words with 16 fields; those not in use hold 3
extern int constnum, poscells;                // positive constraints; cells
extern int anticonstnum, anticells;           // negative ones
extern int *constree, constreenum;            // the tree of the tree constraint, with all taxa; 1 when there is one
extern int do_constraints;                    // constraints are in force; starts at 0

bool constraints_defined();                   // there are some
bool constraints_in_force();                  // and searches obey them
void needconstraints();                       // fails with "No constraints defined"

inline int constfield(const uint32_t *const *mat, int constraint, int taxon) { return mat[constraint / 16][taxon] >> constraint % 16 * 2 & 3; }

// Marks the negative constraints that a tree with these taxa can violate: two members and two taxa
// outside, floating ones apart.  A floating taxon does not make up for a missing one.
void canbenonmono(const int *tree, uint8_t *marks);
int  violations(const int *tree, bool first);  // constraints that a stored tree violates (user numbers); first: stop at one
bool fulfils_constraints(const int *tree);     // what mono_isok is filled with

// A branch whose two sides are the members and the taxa outside, floating ones on any, holds a positive constraint.
// Takes away the marks (1: to be deleted) of nodes that the constraints demand, so that the tree still fulfils those it does.
void keep_demanded_nodes(const int *tree, int *marks);

// ---- Definitions in the making, at the high end of the arena ----
struct constdraft {
    uint32_t **cells;                         // columns, as in constmat
    int room, number;
};
int  newconstraint(constdraft *d);            // all taxa floating; returns its number
void setconstfield(constdraft *d, int constraint, int taxon, int field);
void dropallconstraints();
void layconstraints(const constdraft *pos, const constdraft *neg, const int *tree);   // tree may be null; nothing defined: no layer
void keepfirst(int n);                        // the first n positive constraints stay
void checkconstraints();                      // asserts the invariants
