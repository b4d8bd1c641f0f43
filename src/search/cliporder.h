// search/cliporder.h: the order in which a swap visits its clips, when it is not ascending.
#pragma once

extern int use_prearrangs;      // bbreak:preproc.  1: "bbreak" that keeps one tree has the clips of each tree put
                                // in order; 2: the next TBR does that; starts at 0

// The tree must have been optimized for swapping.  list: hinod entries; clips that cost most where they
// are, and may save most elsewhere, come first.
void create_clip_list(int *list);
