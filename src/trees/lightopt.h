// trees/lightopt.h: optimization of any tree in the user's numbering, for reports.
//
// Trees may have polytomies of any size and may lack taxa; every character is scored.  Most
// characters are packed into words of 2-bit and 4-bit fields and go through the word passes; the
// others are optimized one at a time on the rows of the matrix.
//
//     lightset[n]:  | cells of 2-bit fields, 16 a cell | cells of 4-bit fields, 8 a cell |
//                   0                           lightcells2                     lightcells
//
// A two-state character takes a 2-bit field, one of 3 or 4 unordered states a 4-bit field, an
// additive one a 2-bit field for each threshold between neighbouring states, and a state tree scored
// by binary variables (SANK_TREE) one for each branch.  Padding fields hold every state in every
// node and never add steps.  A polymorphic cell of an additive character counts as the range from
// its lowest to its highest state.
//
// Of what is left, unordered and continuous characters stand side by side in the rows of the matrix:
// these go node by node, a run of characters at a time.  Step matrices go one by one.
//
// Order of calls: optmem; packdownpass, which leaves first-pass sets; packuppass, which turns
// them into final sets (terminals keep what was observed).  All tables are dropped with opttag.
#pragma once
#include <cmath>
#include <cstdint>

extern uint32_t **lightset;     // per node: first-pass, then final sets; for terminals the packed cells
extern uint32_t **lightset2;    // per internal node: states one step short of best (null for terminals)
extern int lightcells2;         // cells of 2-bit fields, which come first
extern int lightcells;          // all cells
extern int lightfields2;        // 2-bit fields in use
extern int lightfields;         // end of the 4-bit fields in use; these start at field 16 lightcells2
extern int lightfieldcap;       // all fields, with padding
extern uint32_t *lightsteps;    // per field: steps on the tree
extern int *lightchar;          // per field: its character; 0 for padding
extern uint32_t *lightstack;    // scratch of polytomies: nt + 3 words
extern uint32_t *lightsmall;    // steps being counted, in the fields of each cell; all 0 between passes
extern uint32_t *lightwide;     // the same in bytes: up to 4 words a cell; all 0 between passes
extern int *rangebounds;        // scratch of the slow passes: bounds of the descendants of a node, 2 nt

// Characters without fields, by how packdownpass scores them.  Constant ones have their state in all
// internal rows from the start, and inactive ones are not looked at.
struct charrun { int from, to; };           // to: behind the last
extern charrun *rowruns, *continuousruns;   // unordered (or of two neighbouring states); continuous
extern int numrowruns, numcontinuousruns;
extern int *singlechars, numsinglechars;    // all others, which go through chardownpass
extern uint32_t *rowsteps;                  // scratch of the row passes: steps of each character

constexpr uint32_t NO_CHANGE = 32700;   // cost of an impossible state
extern uint32_t **sankcosts;    // per character: nodz vectors of numstates relative costs; null unless a step matrix is optimized

void optmem();                  // lays out everything above and the internal rows of the matrix; idempotent while opttag stands
void lightpack();               // marks the characters and fills the terminals (called by optmem)
void checklightopt();           // asserts the invariants; nothing while opttag is 0

// Whole trees.  The score is steps times weight over active characters; charcodes[c].steps and
// .realsteps hold each character's own, without weight.
double packdownpass(const int *tree);   // first pass; returns the score
void   must_match_active_taxa(const int *tree);   // fails under implied weights, whose minima are those of the active taxa
void   packuppass(const int *tree);     // final pass; a packdownpass of the same tree must have been last
double packoptimize(const int *tree);   // both
double downpass(const int *tree);       // the same, one character at a time: all states in the matrix rows
void   uppass(const int *tree);
double optimize(const int *tree);

// One character on the tree last given to mkoptlist (nodlist, with optnodes internal nodes).
extern int optnodes;
extern double (*chardownpass)(const int *tree, int c);   // first pass; returns weight times steps
extern void   (*charuppass)(const int *tree, int c);     // final pass
extern void   (*rowdownpass)();                          // the same for all characters of the runs: fills their
extern void   (*rowuppass)(const int *tree);             // steps and realsteps
void set_chardownup();                                   // picks the variants for celldim

void distri2(uint32_t mask, int cell);  // one step more for each 2-bit field marked (low bits of fields)
void distri4(uint32_t mask, int cell);  // the same for 4-bit fields (top bits of fields)

inline int ftisql(double x) { return int(std::lround(x)); }   // a score of whole steps as an integer

// Fields of W bits in a word.  empty: a mark at one bit of each field without states, the low
// bit for W 2, the top bit for W 4.  wholefields: those marks widened to the whole field.
template<int W> constexpr uint32_t fieldmark = W == 2 ? 0x55555555u : 0x88888888u;
template<int W> constexpr uint32_t empty(uint32_t x)
{
    if constexpr (W == 2) return ~(x >> 1 | x) & fieldmark<2>;
    else return ~(((x & 0x77777777u) + 0x77777777u) | x) & fieldmark<4>;
}
template<int W> constexpr uint32_t wholefields(uint32_t marks)
{
    if constexpr (W == 2) return marks | marks << 1;
    else return marks | (marks - (marks >> 3));
}
