// search/ratchet.h: the parsimony ratchet: swapping under weights that were changed at random, then under the true ones
// (Nixon 1999).  And what it shares with drifting (search/drift.h).
#pragma once

// Settings, of ratchet:
extern int ratiters;         // cycles, 0..100000; starts at 50
extern int ratshift;         // rearrangements accepted that end a perturbation, 0..1000000; starts at 40
extern int ratequals;        // a cycle with the original weights comes in turn; starts at 1
extern int ratupfact;        // per cent probability of doubling a weight; starts at 4
extern int ratdnfact;        // of setting it to 0; starts at 4
extern int rathard;          // auto-constrained cycles but every so many; 0: none (start)
extern int ratgiveupperc;    // per cent of the clips after which a perturbation ends, 0: never; starts at 99
extern double ratstop;       // ends at this score or better; starts at 0: does not
extern int ratfusefreq, ratfuserounds;   // trees found are fused every so many cycles (0, 3..100), in so many rounds (1..100); start at 0, 3
extern int ratfusedump;      // a fusing that finds nothing better drops suboptimal trees; starts at 1
extern int dotradrat;        // perturbed weights are swapped to completion; starts at 0

// Change the tree in place (packed numbers, binary) and return the best score found.  storebase below 0
// keeps only the best tree, which is in tree at the end; otherwise trees go to mem_tree from storebase on and
// the best set stays there.  *cyclesdone takes the number of cycles; report lets them set
// current_replication and the status line.  Drifting also works on reduced data; the ratchet packs the
// matrix anew in between, and wants the image of all taxa under schtag.
double ratatree(int *tree, unsigned seed, int storebase, int *cyclesdone, int report);
double dftree(int *tree, unsigned seed, int storebase, int *cyclesdone, int report);
void update_giveup_scores(double score);   // both searches stop at this score or better; 0: they do not

void ratwts(int mode);       // perturbs the weights of the characters: 0 the originals where they have their turn, 1 down where both are on, 2 up
int set_rat_options();       // words up to ';', which stays; returns how many
void show_rat_options();
