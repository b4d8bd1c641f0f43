// trees/implied.h: implied weighting (Goloboff 1993) and its extensions (Goloboff 2014).
//
// A score is then not a number of steps but a sum over characters of weight times fit, where the
// fit of h extra steps is h / (h + k): each step more costs less than the one before, and lower is
// better.  h is steps plus base steps (charrec::internal_steps) less the minimum.  Additive
// characters are scored threshold by threshold: each neighbouring pair of states is a character of
// its own, of minimum 1.
//
// Extended (xdopiwe_stat): characters may be weighted together in sets, by the average homoplasy of
// the set; may have a constant cost a step; or may have concavities of their own, given or derived
// from their missing entries.  The tables of one entry a character lie in the data layer when the
// data were read under implied weighting, and are null otherwise; fitf lies there always.
#pragma once
#include <cstdint>

extern uint8_t  dopiwe;                 // 1: scores are fits; 2: steps and fits both; starts at 0
extern uint32_t doautowt;               // self-weighted optimization; starts at 0
extern double   konk;                   // concavity k, above 0, up to 1000; starts at 3
extern uint32_t userdef_weighting_func; // a function given by the user replaces h / (h + k)
extern double  *userdef_fitf;           // its fits, globmaxh entries
extern uint32_t userdef_fit_size;       // values that the user gave
extern double  *fitf;                   // fit of h extra steps, globmaxh entries from 0
extern uint32_t globmaxh;               // more than any character or threshold can have of extra steps

extern uint8_t xdopiwe_stat;            // extended implied weighting; starts at 0
extern uint8_t *xdopiwe_fixwt_user;     // per character: constant weight
extern double  xdopiwe_user_factor, xdopiwe_eqsteps;   // the F and N of its cost: F times a step after N extra ones
extern double  xdopiwe_factor;          // that cost
extern uint32_t multik_is_on;           // concavities by character; starts at 0
extern double  *multik_givenk;          // per character: its concavity as given by the user; 0 = none
extern double  *multik_userk;           // per character: the concavity in force, given, derived or konk
extern double  *multik_eqfact;          // per character: scales its fits so that the first step costs the same for all
extern double  multik_missfactor;       // P: homoplasy assumed for missing entries, as a proportion; starts at 0.5; 0 off
extern double  multik_maxprop;          // M: greatest ratio of k to that of a character; starts at 5
extern int     multik_equalize;         // derived concavities match the whole curve, not only the ratio

// Weighting sets count from 1; 0 is no set.
struct wtset {
    double size;             // N: total weight of the active members
    double base;             // homoplasy of members that the packed image leaves out: base steps of constant characters
    double homoplasy;        // H of the tree that was scored last for a report
    double fit;              // N (H/N) / ((H/N) + k), equalized
    long   observed, total;  // cells of active taxa that are not missing; all
    double k, equalizer;
};
extern int   *xdopiwe_isinset_user;     // per character: its set
extern int    xdopiwe_numsets;          // sets defined
extern int    xdopiwe_numpacksets;      // sets with active members, 0 unless the extended options are on
extern wtset *xdopiwe_setlist;          // xdopiwe_numsets + 1 entries; entry 0 is not used

// Tables.  piwe_init brings fitf, sets and concavities up to date with data and settings; optmem and
// packing call it.  Cheap: no search of any kind.  With 0, a function given by the user keeps the values it has.
void piwe_init(int full);
double plainfit(double h);              // fit of h extra steps by k or the user's function, without the extensions; any h >= 0
double charfit(int c, double h);        // fit of h extra steps of character c as if in no set; any h >= 0
bool   in_wtset(int c);                 // its homoplasy counts in a set only
double wtset_fit(int set, double homoplasy);
void   calculate_all_kas();             // multik_userk from missing entries, multik_eqfact and the k of sets
double equalizer_for_kas(double k, double ratio);   // the concavity whose curve best fits k with homoplasy ratio times higher
double dothisk(double k0, double k1, double ratio); // mean signed percentage by which costs under k1 exceed those of k0
int    max_homoplasy();                 // extra steps that a character, or a threshold, can have in the data

// Scoring a tree at report time: start_fits; add_field_fit for each field of a packed character, or
// charfit_value for a whole one; put_wtsets_in_charcodes; sum_of_fits.
void   set_fit_minima();                // of each character, over the active taxa; called by optmem
extern double *fitmin;                  // what it finds, per character: minima, and
extern uint32_t *fitstates;             // the states of the active taxa
double minimum_for_fit(int c);
uint32_t states_for_fit(int c);         // of the active taxa: thresholds beyond them are no part of a score
void   start_fits();                    // clears the fit of all characters, and sets
void   add_field_fit(int c, int h);     // h below 0 counts as 0
double charfit_value(int c);            // fit from the steps of charcodes[c], stored there
void   additive_fit_by_thresholds(int c, const int *steps, int n);   // n thresholds
void   put_wtsets_in_charcodes();       // shares the fit of each set among its members
double sum_of_fits();                   // of weight times fit
double antipiwe();                      // the tree last scored: sum of weight times (1 - fit), informative characters

// User functions.
void ban_userdef_weighting_func();
void refuse_user_function_for_data();   // for kinds of characters whose homoplasy is not counted in whole steps
void implied_settings_changed();        // k or function: wipes what was packed under the old ones

void implied_datamem();                 // tables of the data layer, for nt and nc
bool read_under_implied_weights();      // so that the tables of extended weighting are there
void implied_data_dropped();
void checkimplied();
