// search/swapper.h: what TBR and SPR have in common: the state of a swap, what is done with a
// place that passed the bound, and how a clip ends: moves kept, the best one made or the clip undone.
#pragma once
#include "search/constpack.h"

struct swapping {
    int *tree;                 // being swapped, in place
    int first;                 // trees of the buffer from here on belong to this swap
    int mulpars;               // above 0 keep many trees; 0 only this one; negative: only this, skip small clips
    const char *name;          // "TBR" or "SPR", for the internal checks
    double score;              // of the tree
    bool stop;                 // the buffer has a better tree in place of this one
    // the clip being tried
    int clip, sister;
    double cost;               // of the clip at its original place
    int bestroot, bestdest;    // of the best move; -1: the original root, the sister
    int nmoves, better;        // moves in the list; the place of the best, -1 while none is better than the tree
    bool overflow;             // moves were left out of the list for lack of memory
    char *scratch;             // high mark of the arena between clips
    // What is done with a place within the bound: root -1 is the clip as it is rooted.  True ends the walk.
    bool (*place)(swapping *sw, int root, int dest);
    bool wander;               // equal moves are of use too
    bool drift;                // and worse ones: relative fit differences are noted for each clip
};

extern int randomize_clipping_sequence;      // bbreak:randclip; starts at 0
extern int *prearranglist;                   // order of clips, hinod entries; null = ascending
extern int swap_was_replaced;                // the last swap ended before its time: its place in the buffer has a better
                                             // tree, or the tree there has come to lie beyond the limit

extern int swapped_slot;                     // place in the buffer of the tree that the last swap improved to; -1 = not kept, or no better

extern bool (*note_place)(swapping *sw, int root, int dest);   // the place function of a pass with swapcollapse on

bool bufferfull();
void start_swap(swapping *sw, int *tree, int first, int mulpars, const char *name);
int  next_clip(const swapping *sw, int *at);  // from the list, or ascending; wraps from hinod to 1
int  counted_after_move(int mulpars);         // clips visited since the last move, when the present one made it
bool only_better(const swapping *sw);         // only shorter trees are of use now
bool nothing_to_gain(const swapping *sw);     // and the clip costs nothing where it is
// Scores the clip at its original place and sets the bounds.
void begin_clip(swapping *sw, int x, int s);
// Hands a place within the bound to sw->place, unless constraints forbid it.
inline bool offer_place(swapping *sw, int root, int dest)
{
    return (!constrained() || isavalidpos(root, dest)) && sw->place(sw, root, dest);
}
bool good_place(swapping *sw, int root, int dest);   // the place function of searches: the move is kept, or the best
// Keeps what is to be kept, makes the best move or undoes the clip; 1 when the tree changed.
int  end_clip(swapping *sw);
void end_swap(swapping *sw);                  // scores afresh and compares
int  clip_root(const swapping *sw);           // the node that stands for the root that the clip has

// The tree that a move gives, on an array of ancestors alone: tree has x clipped.
void make_move(int *tree, int x, int root, int dest);
