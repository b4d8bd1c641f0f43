// search/costbytes.h: weights or costs of fields, rounded down to bytes for the kernels.
//
// Sums of bytes are too low by at most a unit for each field, so a place whose sum is above the bound is
// refused for certain, which is nearly always the end of it; what passes is looked up exactly.  The unit is a
// power of two, such that the mean cost is some dozens of units.  Costs above 255 units count as 255.
#pragma once
#include <cstdint>

void costbytemem();                          // by fitmem, for the weights of the image
void putcostbyte(int place, int64_t cost);   // place as in fieldwts
void roundcosts(const int64_t *costs);       // another unit, and all bytes anew
extern int64_t costsum, leastcostsum, mostcostsum;   // of all places, and what the unit is good for
// To be called before costs are used, and whenever they may have changed much.
inline void renewcostbytes(const int64_t *costs)
{
    if (costsum < leastcostsum || costsum > mostcostsum) roundcosts(costs);
}
