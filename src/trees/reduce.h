// trees/reduce.h: the packed image of reduced data: some nodes of a tree as terminals, with their
// first-pass sets as what was observed.
//
// A field is left out when it takes the same steps on all trees of these terminals; what stays has as few states
// as tell all its trees apart.  With the terminals as sets of the states of a field:
//   - a state whose terminals all have another one as well is not needed: no tree is longer without it;
//   - a state of one terminal only costs a step in it on all trees: without it the terminal is missing;
//   - a terminal that has all states left is missing.
#pragma once
#include <cstddef>
#include <cstdint>

extern int data_are_reduced;        // the image in force is one of reduced data

struct reduction {
    // what to reduce, in rows of the image in force
    int terminals;                  // ntax is this already
    const uint32_t *const *sets;    // of each terminal, cells
    const int *const *slow;         // of each terminal, what cells cannot hold (slowcosts)
    const uint32_t *outside;        // implied weights: per place (16 a cell, as fieldwts) the steps of the field that are not
                                    // between these terminals; else null
    const long *slowoutside;        // the same of each step matrix, then each continuous character in thousandths
    bool strict;                    // a step matrix is left out only when that is certain to be exact
    // what became of it
    int *source;                    // implied weights: place -> place it was made from, -1 for none
    uint32_t *offset;               // place -> steps elsewhere, those of the states left out included
    int *slowsource;                // step matrices, then continuous characters -> what they were
    bool loose;                     // step matrices were left out that may not be constant
};

// Replaces the image in force, the variables of which are saved by the caller; ntax and hinod are those of the reduced
// data.  room is asked before anything is laid out, with all sizes set: false ends it, and no image is in force.
bool pack_reduced_data(reduction *r, bool (*room)());
size_t image_bytes();               // what rows and tables take, from the sizes
