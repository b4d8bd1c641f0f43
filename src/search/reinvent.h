// search/reinvent.h: the reduced data of a sector as data that commands can work on.
//
// Each field of the packed image becomes a character. Its steps elsewhere in the tree are base steps under
// implied weights.  Cells have the first-pass states of the terminals; for step matrices, the states that cost least,
// which is not all that the image knows: trees found are to be scored on the image.
#pragma once
#include <cstdint>

struct grouptree;
struct sankfield;

// What is known of the open sector, put down at the low end of the arena while its image is in force.
struct sectordraft {
    int taxa, chars, continuous, states;     // states: most of a character; 32 when there are continuous ones
    bool matrices;
    struct field {
        int parent, weight, states;          // parent: the character of the whole data
        double base, least;                  // steps that do not count in the sector, least steps
        const sankfield *matrix;
    } *fields;
    uint32_t *cells;                         // per character, those of all taxa
    int *names;                              // per terminal: the taxon (0 or more), or -1 - node, in the user's numbers
    const uint32_t *constraintrows;          // as cpempos; null: none
    int rowsize, positives, negatives, poscells;
    const int *demanded;                     // the tree constraint, null: none
};
void draft_sector(sectordraft *d);

// With nothing in memory: the draft becomes the matrix, all of its taxa active, taxon 0 ("ROOT") the outgroup.  wholenames:
// the names of the whole data; the other tables of these that characters take along are given too, null when there are none.
struct wholetables {
    char **names;
    int givennames;                          // usetaxnames
    const double *userfits, *k;
    const uint8_t *fixed;
    uint32_t userfitsize;
};
void reinvent_data(const sectordraft *d, const wholetables *whole);
