// trees/pack.h: the packed image of the active matrix, which all searches score.
//
// Taxa are renumbered, steps that no tree can change go to step_lag, and each remaining character
// becomes one or more bit fields in 32-bit cells.  A node's state set is a row of char_cells cells:
//
//   | 2-bit fields | 4-bit | 8-bit | 16-bit | 32-bit | 16- and 32-bit step-matrix fields |
//   0             nc2     nc4     nc8     type32shift  san16shift
//
// Bit s of a field: state s is in the set.  Fields that no character uses, the cells of step matrices
// (whose costs have rows of their own) and those from char_cells to rowcells hold every state in all
// nodes: they always meet and never cost a step.  So a loop may run over whole vectors without a
// tail.  Rows begin at multiples of 64 bytes.
//
// Packed numbers: terminal 0 is the outgroup, then the active taxa in ascending order up to
// ntax - 1; the root is ntax; internal nodes follow, below hinod = 2 ntax - 1.  In a packed tree
// anc[ntax] is the count of node slots in use and every internal node has two descendants.
#pragma once
#include <cstddef>
#include <cstdint>

constexpr int FIELDCLASSES = 7, CELLCLASSES = 3;   // classes 0..2 are sorted by weight
constexpr int SANKCLASS16 = 5, SANKCLASS = 6;      // step matrices
constexpr int ROWALIGN = 16;                       // cells of the widest vector; rowcells is a multiple

// What a field class is.  Classes 3 and 5 arise only in reduced data.
struct fieldclass {
    int bits, percell;     // bits a field, fields a cell
    uint32_t all;          // a field with every state
    uint32_t low;          // a cell with all but the top bit of each field
    int topshift;          // bits - 1: from the top bit of a field to its foot
};
extern const fieldclass fieldclasses[FIELDCLASSES];

enum weightkind { WT_UNIT, WT_CELL, WT_FIELD, WT_FIT, WEIGHTKINDS };   // all 1; one weight a cell; one a field; implied weights

extern int nc2, nc4, nc8;                  // field counts while packing; afterwards the cumulative cell bounds
extern int nc2cells, nc4cells, nc8cells;   // cells of classes 0, 1, 2
extern int nc16, nc32, ncsan16, ncsan32;   // fields of classes 3..6
extern int type32shift, san16shift, san32shift;   // first cell of classes 4, 5, 6
extern int char_cells;                     // cells of a state set, padding excluded
extern int foldcells;                      // cells of classes 0..4, which the vector kernels fold
extern int rowcells;                       // cells from one node's row to the next of the same kind
extern int num_packed_chars;               // fields of the cells of classes 0..2, padding fields included
extern int non_sankoff_chars, totnc;       // with classes 3, 4; with all
extern int have_unpacked;                  // fields that need the second stage of the evaluators (classes 5, 6, continuous)
extern int hinod;                          // packed node numbers are below this
extern int uniform_weights;                // all packed weights are 1
extern int store_individual_weights;       // weights differ within cells
extern int use_alt_bit_searches;           // option xbit: 2 = on; cells rounded up to pairs; starts at 0
extern int user_wants_ands;                // option inters: clusters have intersections too; starts at 0
extern int num_cont, true_num_cont;        // continuous characters that vary; all active ones
extern double step_lag;                    // weighted steps that no tree can change; under implied weights the fit of the characters left out
extern double continuous_step_lag;         // the same of constant continuous characters
extern int *gotopack, *backfrompack;       // real number -> packed number and back, nodz entries
extern int trees_are_packed;               // the trees in memory are in packed numbers
extern int mem_slack_for_sectors;          // percent of room added for the repack of sectors; starts at 0
extern uint32_t *globwts;                  // weight of the fields of each cell, rowcells entries
extern uint32_t *fieldwts;                 // 16 entries a cell: weight of the field whose top bit is bit b at [b / 2]
extern int *placerecords;                  // 16 entries a cell in the same places: record of the field, -1 for none
extern uint32_t *celllow, *cellshift;      // per cell, rowcells entries: fieldclass::low and ::topshift

weightkind packweightkind();               // of the image that stands

// One record a field, in cell order; record numbers follow the cells, unused fields included.
struct fieldrec {
    uint32_t **costs;       // step-matrix fields
    int   character;        // of the matrix; -1 for an unused field
    uint32_t weight;
    uint8_t asymmetric, ancestral;
    uint32_t minsteps;      // least steps the field can have
    uint32_t stepcost;      // what a step of the field is in the character's own costs; 1 but for matrices
    uint32_t setcode;       // see setcodeof
    uint32_t steps;         // running count on the current tree
    uint32_t basesteps;     // extra steps carried along
    uint32_t nstates;
};
extern fieldrec *indcc;

// Under extended implied weighting: FIXEDWEIGHT for a character of constant weight, the number of its set
// with WEIGHTSET for a member of one.  Else 0, but for step matrices the unit of their costs.
constexpr uint32_t FIXEDWEIGHT = 0x10000001, WEIGHTSET = 0x30000000;
uint32_t setcodeof(int c);
constexpr long MOSTWEIGHTSETS = 0xfffffff;
void refuse_too_many_sets(long n);       // more than a set code can tell

// ---- What cells cannot hold: step matrices and continuous characters ----------------------------
//
// A node has one row of integers for them:
//
//   | costs of each state, field after field | the same over the branch above | lower bounds | upper bounds |
//   0                                     sankrow                       2 sankrow   2 sankrow + controw
//
// Costs of the subtree of a node are relative to its best state, which is 0.  Over the branch
// above: the cheapest cost of the subtree for each state of the ancestor.  The entries of a field are
// a multiple of LANES; those beyond its states hold NOSTATE or more.  Bounds are in thousandths; a
// missing value is the whole range.
constexpr int LANES = 4;
constexpr int NOSTATE = 1 << 24;     // a cost above any that counts; sums of a few fit an int

struct sankfield {
    int record;              // in indcc
    int states, lanes;       // lanes: states rounded up
    int at;                  // first entry in a row
    const int *to;           // to[t * lanes + s]: cost of a change from s to t
    const int *from;         // from[u * lanes + s]: cost of a change from u to s
    uint32_t rootstates;     // those the root may have
};
extern sankfield *sankfields;            // nsank of them, in the order of their records
extern int nsank, sankrow;
extern int asymmetric_fields;              // some step matrix has different costs in its two directions

struct contrec {
    int character;
    int weight;
    uint32_t setcode;
    double basesteps, minsteps;          // in units of the character, not thousandths
};
extern contrec *contcodes;               // num_cont of them
extern int controw;                      // num_cont rounded up to LANES; bounds beyond are never apart
extern const int *contweights;           // controw entries, 0 beyond num_cont
extern int slowrow;                      // entries of a node's row; 0 when there are no such characters
extern int *slowrows;
inline int *slowcosts(int n)  { return slowrows + size_t(n) * slowrow; }
inline int *slowedge(int n)   { return slowcosts(n) + sankrow; }
inline int *slowrange(int n)  { return slowcosts(n) + 2 * sankrow; }     // lower bounds; the upper ones controw further on
void mincosts(const sankfield &f, const int *table, const int *costs, int *out);   // out[s] = least of table[t][s] + costs[t]
uint32_t rootstatesof(int c);            // states that the root may have: all, unless ancstates restricts an asymmetric matrix

// The four sets of a node.  dnset, orset and upset of a node are neighbours (the walks of
// reoptimization read them together); branch sets lie in an array of their own (what a check of a
// destination reads).  Terminals have a dnset (the observed states) and a branchset; their orset holds no state.
extern uint32_t *walkrows;      // hinod rows of three sets
extern uint32_t *branchrows;    // hinod rows
inline uint32_t *dnset(int n)     { return walkrows + size_t(n) * 3 * rowcells; }      // first-pass set
inline uint32_t *orset(int n)     { return dnset(n) + rowcells; }      // union of the descendants' dnset; all bits where a step was added
inline uint32_t *upset(int n)     { return dnset(n) + 2 * rowcells; }  // final set; scratch for terminals
inline uint32_t *branchset(int n) { return branchrows + size_t(n) * rowcells; }   // final set of the node or of its ancestor: an insertion on this branch meets it
void exchange_terminals(int t, int u);     // terminal t takes the observed states of u, and u those of t

// Builds the image.  reuse < 1 recomputes charcodes; 1 trusts them as they stand (weights or data
// were just changed on purpose).  With both 0 the trees in memory go over to packed numbers.
void do_full_pack(int reuse, int keep_trees);
void schpack();                  // the door of searches: packs unless the image stands, locks it under schtag, packs the trees
extern void (*after_pack)();     // search memory and checkers on top of a new image; filled by the search folder

void pack_trees();               // all trees in memory to packed numbers; sets trees_are_packed
void unpack_trees();             // and back, in canonical numbers; collapsed marks are cleared.  Takes no memory
void pack_one_tree(int *anc);
void unpack_one_tree(int *anc);

// Steps of the build, for tests and for the repacks of reduced data.
void set_all_charcodes();
void check_uninformative_states();

// Trees that are dichotomous at every node, in packed numbers: lef, rig and sis are filled.  The
// descendants are in ascending order, but terminal 0 always comes first below the root.  sis is the
// one sister in both directions (unlike mksis).
void binmksis(const int *anc);
int  binoptlist(int *list);      // after binmksis: internal nodes, each before its descendants, root first; returns how many

void checkpack();                // asserts the invariants of the image
