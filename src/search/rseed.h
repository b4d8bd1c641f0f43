// search/rseed.h: the command that sets the seed.
#pragma once
#include "kernel/random.h"

int get_slopy_seeds();      // what each replication adds to its seed; 0 = seeds are drawn and checked
int nextseed(const int *seeds, int n);      // of replication n, from those of the n before it, 1 or more

struct keepseed {                         // as it was at the beginning of a block
    int was = ranseed;
    ~keepseed() { ranseed = was; }
};
