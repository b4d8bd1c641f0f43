// compare/floaters.h: where taxa left out of a strict consensus are placed in the trees.
#pragma once
#include "compare/consread.h"

// Reads the list P of "nelsen N / L / P" and shows the consensus without L and P, with the letter of
// each item of P at the places that the trees give it.
void strict_placing_floaters(const consinput &in);
