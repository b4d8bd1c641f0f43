// data/matrix.h: the character matrix and the record of each character.
//
// Taxa and characters count from 0.  A cell of a discrete character is a set of states, bit i =
// state i, celldim bytes wide.  A continuous cell is 32 bits: lower bound in the low half, upper
// bound in the high half, both times 1000.  Continuous characters precede all others.
#pragma once
#include <cstdint>

extern int nt, nc;             // taxa, characters; 0 before data are read
extern int nodz;               // 2 nt - 1 node slots
extern int root;               // 2 nt - 2, the highest node of a dichotomous tree
extern int realntax, realnt, ntax;   // active taxa: as packed, as counted, in force
extern int celldim;            // bytes a cell: 1, 2 or 4; starts at 2
extern int maxstate;           // 8 celldim states
extern uint32_t MISSING;       // cell of a missing entry (all bits of the width)
extern uint32_t INAPPSET;      // all bits but the top one: inapplicable; counts as missing
extern uint8_t  **matrix1, *ancstates1;   // three views of one row array; only the one of celldim is used
extern uint16_t **matrix,  *ancstates;
extern uint32_t **matrix4, *ancstates4;

constexpr uint32_t CONT_MISSING = 0xFFFF0000, CONT_INAPP = 0xFFFE0000;

enum datatype { DATA_NUM = 1, DATA_DNA = 2, DATA_PROT = 4, DATA_CONT = 8, DATA_LAND = 16 };
extern int data_type;          // what the next file is read as; starts at DATA_NUM
extern int types_read;         // union of the types read in this file
extern int read_gaps_as_missing;   // starts at 1
extern int use_exact_mincalc;      // minima of polymorphic characters exactly; starts at 0
extern int allow_sankoff;          // room for step matrices; starts at 1
extern int check_only_active_taxa; // counts of states consider active taxa only
extern char dataname[160];
extern int nblocks;            // named or unnamed blocks read
extern char **blockname, **charnames, ***statenames;   // null until defined
extern int  use_charnames;     // names of states instead of symbols in outputs; starts at 0
extern int  xlinks_allowed;    // links allowed per character; 0 = none (start)
extern int  ss_recurse_level;  // depth of sectors within sectors: minima are those of the reduced data; 0 outside
extern int  usetaxnames, max_namesize_on_output;       // starts at 0, 0 (not cut; negative cuts at "____")
extern char **taxname;         // nodz + 1 pointers, the first nt hold names
extern uint8_t *taxact;        // 1 = active
extern uint8_t *taxisperm;     // per node slot; cleared when data are read
extern int outgroup;           // taxon; starts at 0
extern int num_continuous_chars, actlandnc, have_sankoff;
extern int have_asymmetric;    // an active Sankoff character costs more one way than the other; kept by set_charcodes
extern double *ref_steps, *ref_fit; extern int defined_ref;
extern uint32_t *uninf_states; // per character: states that are uninformative, out of the packed data
extern uint32_t tmpmask[256]; extern char anti_mask[32], state_mask[33];

struct charrec {
    uint32_t sets;             // union of all states seen; 1000000 until computed
    uint32_t multi;            // states seen in at least two taxa
    int32_t  aux_unit;         // 1 from reading on
    int32_t  maxsteps, haspoly, minsteps, weight, aux_clear;
    double   realbase, realmin, realmax;   // real units; realmin -1.0 until computed
    int32_t  numstates;        // highest state + 1
    uint8_t  type, continuous, active, additive, sankoff, sankoff_kind, sankoff_sets,
             informative, aux_saved, recalc, aux_mark;
    int32_t  internal_steps;   // additional steps for implied weighting, 0..100
    uint8_t  auxflags[2];
    int32_t  block;
    int32_t  usermin;          // fewest steps of a Sankoff character as the user gave them; -1 = as calculated
    int8_t   user_maxstate;    // highest state that nodes of a Sankoff character may have; -1 = the highest observed
    uint32_t **costs;          // maxstate x maxstate, null without allow_sankoff
    int32_t  steps;            // results of the last scoring pass: integer steps,
    double   realsteps, fit;   // real steps, fit
    uint8_t  lightpacked, constant;   // marks of trees/lightopt.h, good while opttag stands
};
extern charrec *charcodes, *oldccodes;   // current and stored
// sankoff_kind: properties of the costs (data/costs.h).  aux_saved: 1 = the root of a Sankoff character
// of asymmetric costs has a state of ancstates.

// A cell whatever the width, as 32 bits (sets only; not for hot loops).
inline uint32_t cell(int t, int c) { return celldim == 1 ? matrix1[t][c] : celldim == 2 ? matrix[t][c] : matrix4[t][c]; }
inline void setcell(int t, int c, uint32_t x)
{
    if (celldim == 1) matrix1[t][c] = uint8_t(x);
    else if (celldim == 2) matrix[t][c] = uint16_t(x);
    else matrix4[t][c] = x;
}
// True for missing and inapplicable cells of discrete characters: both count as missing.
inline bool ismissing(uint32_t x) { return (x & INAPPSET) == INAPPSET; }

void set_charcodes();          // brings minima, maxima, sets and flags up to date; nothing when ccodetag is set
void set_one_charcode(int c);
void do_sets(int c);
void dominmax(int c);
void dominmax_for_continuous(int c);
void store_ccode(); void reset_ccode();
void initialize_mask(); void set_state_mask(); uint32_t set_rd_mask(int upper, int state);
void writestates(int c, int t);
void copystates(int c, int t, char *out);
void copycell(int c, uint32_t x, char *out);     // the same, of a cell of character c that holds x
void datamem();                // lays out the data layer for nt and nc
uint64_t datasize();           // bytes the data need; says so
void drop_all_data();          // wipes the data layers; nothing in memory afterwards
void checkmatrix();
void chartables_reset();       // cells changed: clears ccodetag and wipes schtag and opttag
char *taxname_out(int t);      // name as to be printed, cut to max_namesize_on_output
int  numactive();              // active taxa
