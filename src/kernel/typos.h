// kernel/typos.h: closeness of words, for offering corrections (global alignment, affine gaps:
// Needleman & Wunsch 1970, Gotoh 1982).
#pragma once

extern int    admit_typos;           // command words: 0 off (start), 1 on
extern int    admit_inner_typos;     // option words too: 0 off (start), 1 on
extern double name_match_limit;      // similarity from which a correction is offered; starts at 0.75

constexpr int ACCEPTED = 1, CANCELLED = -1;      // answers of needwunsch_typo, besides 0 = no
int    needwunsch_typo(const char *given, const char *candidate, const char *kind);   // 1 accept, 0 no, -1 cancelled
double needwunsch_cmp(const char *a, const char *b, int limit);                       // similarity 0..1
int    needwunsch_matchdiff(const char *a, int lena, const char *b, int lenb);        // same taxon? asks when close
void   allocate_name_matching();     // makes the matching ready and sets admit_typos
