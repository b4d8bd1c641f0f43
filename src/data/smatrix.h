// data/smatrix.h: the store of named step matrices.  It outlives the data.
#pragma once
#include <cstdint>
#include "data/costs.h"

constexpr int STEPMATRICES = 32, STEPMATNAME = 128;   // a name with its ending 0
extern costtable stepmatrix[STEPMATRICES];            // entries beyond the states defined are those of unitcosts
extern char stepmatrixname[STEPMATRICES][STEPMATNAME];
extern uint8_t defstepmat[STEPMATRICES];              // states that the definition mentions; 0 = not defined

// Defines matrix n anew; a null or empty name becomes "StepMatrix_%i".
void define_stepmatrix(int n, const char *name, const costtable given, int states);
void apply_stepmatrix(int n, const uint8_t *list);    // to the characters LISTED
