// search/swapcollapse.h: branches supported by swapping: a group stands when no tree of the same score (or
// within suboptimal) that one rearrangement gives lacks it.
#pragma once
#include <cstdint>

struct swapping;

// The image must stand and the trees be in user numbers: prepare_swap_collapse sees to it (trees/below.h,
// with rule_spr and rule_tbr).  marks and excluded as for mark_supported (trees/collapse.h).
void effect_swap_collapsing(double (*swapper)(int *, int, int), const int *tree, int *marks, const uint8_t *excluded);

// Each internal node of the whole tree whose group the move breaks.
void eachbroken(const swapping *sw, int root, int dest, void (*broken)(int node));

extern const int *swapcollapse_exlist;   // per packed node: descendants that hold taxa not excluded; null = none are (start)
