// search/tbr.h: branch swapping by tree bisection and reconnection.
#pragma once

// Clips every subtree and tries it, rooted at each of its branches, on every branch of the rest,
// until each clip was tried since the last change.  Leaves the best tree found in tree (ancestors
// in packed numbers) and returns its score.  first: slot of the buffer where the trees of this
// swap begin.  mulpars above 0: trees as short (or within suboptimal) are kept in the buffer and
// a better tree replaces those from first on; 0: only this tree; negative: only this tree, without
// clips of fewer than 3 terminals.  Stops between clips at userstop with the tree whole.
double tbrswap(int *tree, int first, int mulpars);

struct swapping;
void tbr_clip(swapping *sw, int x);          // clips x and hands all its places to sw->place; end_clip is to follow
unsigned long tbr_places(int size);          // roots times destinations of a clip of so many terminals
