// search/sectrec.h: sectors analyzed by commands of the user, and sectors within sectors.
//
// The reduced data of a sector become data of their own, with a matrix, memory for trees and settings
// of characters, on which a text of commands runs as on any data.  What was in memory stays where it is, under a lock
// of its own; all variables that tell of it are put aside.
#pragma once
#include "kernel/driver.h"

void ban_commands_from_ss_recursion(handler command);   // refuses what cannot be run by instructions; nothing outside them
// Refuses instructions where sectors can't be analyzed by commands, or at a level that is too deep.
void chkinstructions();
// Runs user_ss_insts on the open sector, with the tree (numbers of the sector, binary) in memory.  True when they left a tree
// as the first one in memory: it replaces tree, and is still to be scored.  False, and tree as it was, when they
// left none, or only follow the sectors (is_tracked_sectsch).  All the rest is as before; settings that the
// commands changed stay so, but for those of sectors.
bool run_user_instructions(int *tree);

// The sector whose instructions run with "track", for macros.  Nodes have the numbers that the user gives them: in the
// whole tree as it is stored, and in the tree that the instructions begin with.
struct trackedsector {
    int taxa, nodes;             // of the whole data: nt and nodz
    const int *nodtosect;        // node of the whole tree -> node of the sector; -1 for those that are not in it
    int sectnodes;
    const int *sectonod;         // and back; -1 for "ROOT", the ancestor of the sector's base for the root
};
extern const trackedsector *tracked_sector;      // null: none; within its instructions, also for sectors of the sector
