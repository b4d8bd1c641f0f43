// search/fits.h: implied weights in the evaluation of moves.
//
// A step costs what the fit of its character grows by, so each field has a running count of its
// steps and, in fixed point, the cost of the next one.  Steps of a field on the tree are those in the
// clip, those in the rest, and one if the two have no state in common where they join: so while a
// clip is tried the counts are those of its two parts, and the cost of any place is exact.
#pragma once
#include "trees/implied.h"
#include <cmath>
#include <cstdint>

constexpr double FITUNIT = double(1L << 40);       // fits are whole numbers of 1 / FITUNIT: sums do not depend on their order
inline long infitunits(double fit) { return std::lround(fit * FITUNIT); }

void fitmem();                    // by final_search_mem
void clearcounts();               // before a first pass, which counts
long totalfit();                  // after it: costs of next steps, and the fit of the tree, of what lies in cells
// Of the clip at its original place, from rows of both: takes the steps between them out of the counts; returns their fit.
long takeoutsteps(const uint32_t *clip, const uint32_t *home);
void putbacksteps();              // the clip stays where it was
void addsteps(const uint32_t *clip, const uint32_t *dest);   // it goes here
