// compare/intervals.h: the groups of one tree sought in others, with a few integers a node whatever the
// number of taxa (after Day 1985).
//
// The terminals are ranked in the order in which they stand on the reference tree, so that each of
// its groups is an interval of ranks.  A group of another tree can only be one of them when its ranks
// leave no gap, and each interval is found in one look:
//
//        +-a 0            group    interval   filed
//     +--|                abcd     0..3       as the one that begins at 0
//     |  +-b 1            ab       0..1       as the one that ends at 1 (first branch of abcd)
//   --|  +-c 2            cd       2..3       as the one that begins at 2
//     +--|
//        +-d 3            A first branch begins where its ancestor does, so it is filed by its
//                         end, where no group that is no first branch is filed.
#pragma once
#include <cstdint>

// The groups of the reference.  Where leaving out taxa makes a node equal to its ancestor, only the
// upper one is filed; the group of all taxa that take part is not.
struct intervals {
    int *first, *last;        // per node; of a terminal both are its rank, -1 if it does not take part
    int *taxonat;             // per rank, its terminal
    int *byfirst, *bylast;    // per rank, the node filed there; -1 = none
    int *live;                // per filed node, 1 when supported (in issupp); free for counts of the caller
};

// The groups of another tree.
struct meeting {
    int *met;                 // per node, the node of the reference with its group; -1 = none, or not supported
    int *low, *high, *size;   // scratch
};

intervals layintervals();     // both from the low end of the arena
meeting   laymeeting();
void fileintervals(const int *tree, const uint8_t *excluded, intervals *v);     // issupp holds what is supported
void meetintervals(const int *tree, const uint8_t *excluded, const intervals &v, const meeting &m);
