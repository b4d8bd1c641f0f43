// compare/replicas.h: a search given as text, run again and again with other seeds.
//
// What the runs leave stands in a kept layer of its own, because searches drop all scratch and lay
// out the data anew: a tree and a score of each run, the seeds, and the taxa left out of consensuses.
// One command uses it at a time.
#pragma once
#include <cstdint>
#include <string>

extern int jaktag;                    // of the layer; 0 = there is none, or the data it belonged to are gone
extern double *replicascore;          // per run, the score of its best tree
extern uint8_t *replicaexcluded;      // per taxon, 1 for those the user leaves out
extern int allow_all_commands;        // commands that repeat searches may run inside such a search; starts at 0
constexpr int SEARCHTEXT = 600;       // bytes of the text, the end included

int *replicatree(int r);              // what the command keeps of run r

// Put back, and the layer dropped, however the command ends.
struct replicaguard {
    int seed, repeated, allowed, runs;
    double limit, relativelimit;
    replicaguard(int replications, const uint8_t *excluded);   // excluded must not be at the low end of the arena
    ~replicaguard();
    replicaguard(const replicaguard &) = delete;
    replicaguard &operator=(const replicaguard &) = delete;
};

// Run number r, after those before it: no trees, no suboptimal ones, its own seed.
void runreplica(int r, const char *text);

std::string readsearchtext();         // between "[", which has been read, and "]"
void refuseinreplicas();              // "Cannot run command ... when resampling or estimating consensus"
