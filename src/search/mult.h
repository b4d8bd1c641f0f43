// search/mult.h: random addition sequences, each followed by branch swapping.
#pragma once

struct multsettings {
    int replic;              // replications, 0..100000; starts at 10
    int hold;                // trees kept of each; starts at 10
    int swapper;             // MULT_TBR, MULT_SPR or MULT_NONE
    int keepall;             // trees of worse replications stay too; starts at 0
    int ratchet, drift;      // each tree goes through a ratchet, or drifts; start at 0
};
enum { MULT_NONE, MULT_SPR, MULT_TBR };
extern multsettings mults;
constexpr int MAXREPLICS = 100000;

struct multresult {
    int completed, hits;     // replications done, and how many gave the best score
    double best;             // NOSCORE when none was done
    bool overflowed;         // some replication had more trees than it could hold
    bool full;               // ended because the tree buffer is full
};
// Runs the replications; the trees are left in memory (packed, canonical).  A search must be set up.
multresult runmult(int replications);
void show_mult_options();
