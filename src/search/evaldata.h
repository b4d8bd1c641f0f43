// search/evaldata.h: what the modules of move evaluation share, and nobody else needs.
#pragma once
#include "search/kernels.h"
#include "search/moves.h"
#include "data/matrix.h"
#include "trees/treemodel.h"

extern evaldata ed;            // for the kernels; follows swaptree, lef and rig when synced

// What became of the sets since the last clip_subtree.
enum clipstates { NOCLIP, CLIPPED, OVERWRITTEN };
extern clipstates clipstate;

extern uint32_t *unionrows, *unionbackups;   // maxclustnum rows each
extern int *members, *memberstart;           // nodes sorted by cluster; cluster k has members[memberstart[k]..memberstart[k + 1] - 1]

inline void syncevaldata()     // the tree arrays move with the tree that is looked at
{
    ed.anc = swaptree;
    ed.lef = lef;
    ed.rig = rig;
    ed.unions = clusters_on ? unionrows : nullptr;
}
void layclusters();            // memory of the clusters, by final_search_mem
// Top bits of the fields of a cell that hold no state.
inline uint32_t emptyfields(uint32_t x, int c) { return ~(((x & celllow[c]) + celllow[c]) | x | celllow[c]); }
