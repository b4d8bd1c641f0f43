// search/sectsel.h: sectors that are the pieces of a division of the tree.
#pragma once
#include <cstdint>

// Pieces do not overlap, and are connected:
//
//              /\     piece 0 ends where pieces 1 and 2 begin: b and c are
//          0: /  \    terminals of it
//            b    c
//        1: / \  / \ :2
//
// Pieces come from the root up, so that what becomes of one leaves those that follow as they are.
struct division {
    int *piece;                      // per node: the piece of an internal node; -1 for those in none
    int *base, *size;                // per piece: its base, and its terminals, that for the outside included
    int pieces;
};
struct piecelimits { int least, most; };     // terminals of a piece, that for the outside included

// Divides the tree in anx, from the terminals down to top.  inside: the nodes that may be in a piece (null: all).  What is
// left over at top is too small, and one more piece of its own only with keepbase.  Which nodes a piece leaves out when
// there are too many is drawn from the running generator.  Memory is taken at the high end of the arena.
void divide_tree(division *d, int top, const uint8_t *inside, piecelimits limits, int mostpieces, bool keepbase);
void mark_piece(const division *d, int k);   // in deslist, for the tree in anx, of which lef and rig must be filled
int  tree_top(const int *tree);              // the descendant of the root that is not terminal 0

constexpr int MOST_CHUNKS_TRIED = 64;          // of exclusive sectors
bool too_small_for_chunks();                   // the tree cannot be divided in two of them
// One round of exclusive sectors (serial_xss): about so many chunks, 2..MOST_CHUNKS_TRIED.  True when the tree changed.
struct sectorrun;
bool effect_serial_xss(sectorrun *run, int chunks);
piecelimits chunk_limits(int average);       // of exclusive sectors of that size on average, as the settings want them
