// kernel/random.h: the seeded generator behind every random choice of the analysis.
#pragma once

extern int ranseed;                  // seed; 0 = time, -1 leaves the generator running; starts at 1
void randinit();                     // seeds rand() with ranseed, or the time
int  chkseed(const int *seeds, int n, int seed);   // a seed not among the n used: replaced until new
