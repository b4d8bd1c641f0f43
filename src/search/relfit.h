// search/relfit.h: how much of what speaks for a tree is contradicted by a move: the relative fit
// difference, which bounds suboptimal trees besides their length.
#pragma once
#include <cstdint>

// Once a clip: notes which fields have a step, and what step matrices and continuous characters cost, between the clip and its original place.  Returns
// the largest cost at a place that can still pass the relative limit.
double relative_bound(int root, const uint32_t *clip, int sister);
// Of the place noted against another one (root of the clip with its row, and destination):
// F the weight of fields that lose a step there, C of those that gain one.  (C - F) / C, or
// -(F - C) / F for a better place; 0 when they are equal.
double relative_difference(int root, const uint32_t *clip, int dest);
