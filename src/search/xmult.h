// search/xmult.h: the driven search: settings, and the run as its modules share it.
//
//     replications -> fuse or hybridize -> target missed: more replications, fuse again
//                                       -> target hit: more trees by fusing
//
// until the best score was hit so many times independently, or the consensus of the hits was stable so many times.
//     xmlevel      one number from which the other settings follow
//     xmreplics    replications, retouching
//     xmgenetic    fusing, hybridization
//     xmconsense   the consensus of the hits
#pragma once
#include <cstdint>
#include <vector>

// ---- Settings -------------------------------------------------------------------------------
extern int xmult_replications;     // 1 or more; starts at 4
extern int xmult_hits;             // 1 or more; starts at 1
extern double xmult_targetscore;   // -1: none (start)
extern int xmult_update;           // a better score is the target from then on; starts at 1
extern double xmult_giveupscore;   // the search ends as soon as it is reached; -1: none (start)
extern int xmult_rss, xmult_css, xmult_xss;   // sectors: random, by constraints, exclusive; start at 1, 1, 0
extern int xmult_fuse;             // rounds, 0..100; starts at 1
extern int xmult_gfuse, xmult_hfuse;   // all trees are fused, or hybridized, every so many hits; 0: never (start)
extern int xmult_dumpfuse;         // fused trees that miss the target are dropped; starts at 0
extern int num_rebuilds;           // cycles of rebuilding; starts at 0
extern int xmult_drift, xmult_ratchet;   // cycles; start at 5, 0
extern int xmult_hold;             // trees kept of a replication; starts at 1
extern int xmult_autoconst;        // groups that a replication shares with the last one are kept from after the Wagner
                                   // tree (1), SPR (2), TBR (3) on; 0: not; starts at 1
extern int xmult_xmix;             // replications after fusing that missed the target begin with that; starts at 0
extern int xmult_prvmix;           // the last tree before the search constrains the first replication; starts at 0
extern int xmult_consense;         // the consensus is to be stable so many times; starts at 0
extern int xmult_conbase, xmult_confactor, xmult_conmax;   // hits until it is compared, 1..100: at least; per cent of those done;
                                                           // at most, 0: any number; start at 10, 75, 12
extern int xmult_keepall;          // trees of all replications are kept; starts at 0
extern int xmult_retouch;          // trees are improved so many times before new ones are made; starts at 0
extern double curlevel;            // 0..10; starts at 1.5
extern int xmult_chklevel;         // hits until the level is looked at again; 0: never (start)
extern int change_by_level;        // and then the level itself is changed; starts at 0
extern double level_change_val;    // by so much, above 0 and below 2; starts at 0.25
extern int xmult_multiply;         // trees that hit the target are fused for more of the same score; starts at 1
extern int xmult_verbose;          // starts at 0
extern int dotreehyb;              // hybridization; starts at 0
extern double hybrid_extra_repls_factor;   // replications for it, times this, 1 or more; starts at 5
extern int driver_autoselect_ga;   // fusing or hybridization, as the trees are; starts at 0
extern double driver_autoselect_limit;     // hybridization below this; starts at 1.5
extern int xmul_filter;            // fusings without success after which only the best trees stay; 0: never (start)
extern std::vector<uint8_t> contaxex;      // per taxon, 1: not in the consensus; empty: all are (start)
extern int macro_last_numhits;     // hits of the last run; starts at 0

// ---- The run --------------------------------------------------------------------------------
struct xmultrun {
    double target;          // NOSCORE: none
    double bescore;         // best of all hits
    int startsaveas;        // trees of the present hit are from here on
    int seed;               // of the next replications
    int *prevtsp;           // the tree that the last replication ended with; groups shared with it are kept
    bool havetsp;
    bool began;             // some replication ended
    int hitsbegun, hitsdone, gfusesdone, failures;
    int stabilized_consensus, conhitsdone, unconshits, nexcon, conchecked;   // conchecked: trees before it were compared
    bool firstcontry, anycons;
    int *prevcontree, *curcontree, *globcontree, *tmpcons, *indnodz;         // in user numbers
};
extern xmultrun xm;

constexpr int GIVEN_UP = 5;        // userstop when the score to give up was reached; cleared at the end
constexpr double XMARGIN = 1e-9;   // of scores that are fits
bool reached_giveup(double score);
bool above_target(double score);

// ---- Modules --------------------------------------------------------------------------------
void initialize_autoset();                             // settings for the data just read
void calculate_search_parms(double level, int taxa);
void reset_search_parms(int achieved, int expected, int flag);

enum tryof { FIRSTTRY, RETRY };    // of the replications of a hit
double nreplics(int count, tryof which);               // returns their best score, NOSCORE when none ended
double do_retouch();               // of the trees of this hit

double handle_fuser(int first);    // fuses the trees from first on and adds what comes out; returns the best score
double handle_hybridizer(int first);
void handle_multiplication(int first);
void effect_xmul_filter(double score);                 // of the trees of this hit those of this score stay

void startconsense();
bool consense_hit();               // after each hit; true when the consensus was compared
int consensus_nodes(const int *tree);
