// search/limited.h: branch swapping with moves limited to the neighbourhood of where a clip was.
#pragma once

extern int tbr_distlim;      // nodes that a clip, and its root, may move away; 0 = no limit (start)

// As tbrswap and sprswap (tbr 1 or 0): a clip is tried only on branches at most tbr_distlim nodes from
// its place, rooted at branches at most as far from its own root.  Neighbouring branches are one node apart.
double limited_tbrswap(int *tree, int first, int mulpars, int tbr);

void notelimit();            // "Note: TBR limited...", when it is
