// search/swapguards.h: what a swap changes for its while, put back however it ends.
#pragma once
#include "kernel/arena.h"
#include "search/moves.h"

struct swapguards {
    double saved_suboptimal = suboptimal;
    char *low = lomark(), *high = himark();
    explicit swapguards(int mulpars) { if (mulpars <= 0) suboptimal = 0; }
    ~swapguards()
    {
        suboptimal = saved_suboptimal;
        clusters_on = 0;
        loset(low);
        hiset(high);
    }
};
