// data/nstates.h: changes of the states of the matrix in memory, as a whole.
#pragma once

void compress_states();                        // states of one taxon go, the others close up

// Continuous characters.  What the values were stays known, for showing them in their own scale.
void standardize_continuous(double top);       // each character takes the range 0 to top
void log_standardize_continuous(double top);   // the same, of the logarithms of 1 + the original values
void shift_scale_continuous_characters();      // each character starts at 0
void fix_continuous_scale();                   // the present values count as the original ones from now on
