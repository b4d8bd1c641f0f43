// trees/scratch.h: gives back what is taken from the high end of the arena during a block.
#pragma once
#include "kernel/arena.h"

struct hiscratch {
    char *mark = himark();
    hiscratch() = default;
    hiscratch(const hiscratch &) = delete;
    hiscratch &operator=(const hiscratch &) = delete;
    ~hiscratch()                        // an unwinding may have dropped the layer already
    {
        if (mark >= hiseg && mark <= maxeg) hiset(mark);
    }
};
