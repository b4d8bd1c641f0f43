// search/fits.h: implied weights in the evaluation of moves.
//
// A step costs what the fit of its character grows by, so each field has a running count of its
// steps and, in fixed point, the cost of the next one.  Steps of a field on the tree are those in the
// clip, those in the rest, and one if the two have no state in common where they join: so while a
// clip is tried the counts are those of its two parts, and the cost of any place is exact.
//
// For members of weighting sets (fitsets.h) the cost of the next step is at most what it will be; they are
// scored exactly in the second stage, which then follows every check that passed.
#pragma once
#include "search/kernels.h"
#include "trees/implied.h"
#include <cmath>
#include <cstdint>

constexpr double FITUNIT = double(1L << 40);       // fits are whole numbers of 1 / FITUNIT: sums do not depend on their order
inline long infitunits(double fit) { return std::lround(fit * FITUNIT); }
// A bound in units: what is above all that they can tell is none, as NOBOUND less a score is.
inline long fitbound(double bound)
{
    constexpr double MOST = double(1L << 21);
    return bound >= MOST ? NOLIMIT : infitunits(bound);
}
inline void compareshares(double before, double after, double *plus, double *minus)
{
    constexpr double SAME = 1e-12;
    if (after > before + SAME) *plus += after - before;
    if (after < before - SAME) *minus += before - after;
}

struct reduction;
void fitmem(const reduction *reduced);   // by final_search_mem; reduced: how the image was made from the one before; else null
void clearcounts();               // before a first pass, which counts
long totalfit();                  // after it: costs of next steps, and the fit of the tree, of what lies in cells and in no set
// Steps of the fields on the tree, 16 places a cell.
const uint32_t *stepcounts();
void setcounts(const uint32_t *to);      // totalfit must follow
void countjoin(const uint32_t *a, const uint32_t *b, uint32_t *steps);   // adds the steps between two first-pass sets
// Of the clip at its original place, from rows of both: takes the steps between them out of the counts; returns their
// fit but for sets.
long takeoutsteps(const uint32_t *clip, const uint32_t *home);
void putbacksteps();              // the clip stays where it was
void addsteps(const uint32_t *clip, const uint32_t *dest);   // it goes here
void renewcosts();                // before checks: bytes of the costs that suit them
double placefit(int place);       // of one more step of the field there; 0 for members of sets

// Of an exchange that adds changes[place] steps to each field: what the fit of those in no set grows by; what it
// adds to sets goes to addtomove, after beginmove of the caller.
long fitchange(const int *changes);
void settlechange(const int *changes);           // it is made: counts, and homoplasy of sets

void resetsetcosts(int set);                     // of its fields, from its slope
void setscores(int a, int b, int kind);          // double_score_checker with sets
void setpairs(int c, int a, int b);              // double_pair_checker

// Shares of the fit of sets, for relative fit differences: homoplasy of the field times fit of the set over its homoplasy.
void store_pre_clip_fits(const uint32_t *clip, const uint32_t *home);
// With the clip rooted at root, whose row is given, at dest: larger shares add to plus, smaller ones to minus.
void do_post_clip_fits(int root, const uint32_t *clip, int dest, double *plus, double *minus);
