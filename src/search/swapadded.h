// search/swapadded.h: swapping of some taxa on a tree that otherwise stays as it is.
#pragma once
#include <cstdint>

// TBR of the subtrees that have none but the terminals marked; the tree of the others is not touched.  Leaves the best
// tree found in tree (packed numbers), and returns its score.  Stops between clips at userstop.
double swap_added(int *tree, const uint8_t *added);
