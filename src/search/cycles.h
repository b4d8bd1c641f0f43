// search/cycles.h: what ratchet and drift have in common: a tree is driven off its local optimum and swapped
// again, over and over.
//
//     start -> perturb -> swap -> keep -> perturb -> swap -> keep ...
//
// The next cycle starts from the tree that the last one ended with, better or not, so the search walks; the
// best trees are kept aside.  Every cycle has a seed of its own, drawn from that of the one before.
#pragma once

struct cycling {
    int iterations;              // cycles to do
    int hard;                    // cycles not divisible by it keep what perturbation left alone; 0: none does
    double stopscore;            // ends at this score or better; 0: does not
    int fusefreq, fuserounds;    // trees found are fused after so many cycles, 0 never, and at the end
    int fusehead;                // cycles that count as done after each fusing
    int dumpfuse;                // when fusing finds nothing better, suboptimal trees are dropped
    int stage;                   // for the status
    void (*perturb)(int *tree, int cycle);
    bool (*enough)(int cycle);   // asked after each cycle; null: never
    bool (*counts)(int cycle);   // among those after which trees are fused; null: all
};

// See ratatree of search/ratchet.h.
double runcycles(const cycling &kind, int *tree, unsigned seed, int storebase, int *cyclesdone, int report);

// For fusing: copies of the trees in memory from first on, as swappers know trees, at most room less rounds of them and
// as many as there is memory for; and rows for what the rounds make of them.  At the high end of the arena.
int **copytrees(int first, int room, int rounds, int *count);

// The commands.
struct cyclecommand {
    const char *name, *group, *completed, *toomany;
    int *iterations, *hard;
    int (*setoptions)();         // returns how many there were
    void (*showoptions)();
    double (*engine)(int *tree, unsigned seed, int storebase, int *cyclesdone, int report);
    void (*note)();              // after the line of cycles; may be null
};
void runcyclecommand(const cyclecommand &c);
constexpr int MAXCYCLES = 100000, MAXSUBSTITUTIONS = 1000000;

// Options that both have, read behind their words.
void readfusefreq(int *freq, int *rounds);       // N[xR]
void showcyclesettings(int iterations, int substitutions);
void showcycletail(int hard, double stop, int giveup);
