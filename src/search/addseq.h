// search/addseq.h: random sequences, of taxa to add and of anything else to visit.
#pragma once

extern int quick_randomizations;     // rseed!: shuffle the quick way; starts at 0

// Each draws from a generator seeded with ranseed, or from the running one when ranseed is -1.
// quick_randomlist fills list with 0..n-1 unless keep, puts fixed in front when it is not
// negative, and shuffles the rest, every order with the same probability.
void quick_randomlist(int n, int *list, int keep, int fixed);
// randomlist fills list with 0..n-1, first in front when it is not negative, and exchanges each
// of the others with one at random.  flags, when given: items flagged above 0 go to the front in
// order and only they are shuffled.  rseed! has it shuffle the quick way.
void randomlist(int n, int *list, int first, const int *flags);
