// search/relfit.h: how much of what speaks for a tree is contradicted by a move: the relative fit
// difference, which bounds suboptimal trees besides their length.
#pragma once
#include <cstdint>

// Once a clip, after it was scored at its original place: notes which fields have a step, and what step
// matrices and continuous characters cost, between the clip and that place.  Returns the largest cost at a
// place that can still pass the relative limit.
double fill_onclip_diff(int root, const uint32_t *clip, int sister);
// Of the place noted against another one (root of the clip with its row, and destination):
// F the weight of fields that lose a step there, C of those that gain one.  (C - F) / C, or
// -(F - C) / F for a better place; 0 when they are equal.  Under implied weights, fits in place of weights; the
// fit of a set is shared out among its fields by their homoplasy, and a share that shrinks counts in F.
double relative_fit_difference(int root, const uint32_t *clip, int dest);
