// search/kernels.h: the loops over cells, one set of functions for each vector width.
//
// The same text (kernels_body.h) is compiled for 4 cells at a time (any machine), 8 (AVX2) and 16
// (AVX-512); the widest one that the processor can run is chosen at start.  All give the same
// sets, counts and decisions.  This header and the kernel files include nothing but <stdint.h>
// and <stddef.h> and share no function with external linkage, so that no vector copy of common
// code can end up in the baseline program.
#pragma once
#include <stddef.h>
#include <stdint.h>

enum kernelweights { KW_UNIT, KW_CELL, KW_FIELD, KW_FIT, KERNELWEIGHTS };   // in step with weightkind of trees/pack.h

constexpr int WIDESTVECTOR = 16;                 // cells
constexpr long NOLIMIT = 1L << 62;               // a bound that everything passes
constexpr int BLOCK = 4;                         // vectors that are looked at together
constexpr int LOGSLACK = 4, LOGCELLS = BLOCK * WIDESTVECTOR;
constexpr int NOCELL = 2147483647;               // above every cell
constexpr long TOOMANY = NOLIMIT;                // what a check returns when its bound was passed

struct logentry {             // part of a row
    uint32_t *where;
    int vectors;
};

// What the loops work on.  Rows have `row` cells, at multiples of 64 bytes; cells from `cells` up to
// the next multiple of the widest vector hold every state everywhere and never cost anything.
struct evaldata {
    int cells;                    // cells to be folded
    size_t row;                   // cells from one row to the next
    const uint32_t *low;          // per cell: all but the top bit of each field
    const uint32_t *shift;        // per cell: bits a field - 1
    const uint32_t *cellwts;      // per cell: weight of its fields
    const uint32_t *fieldwts;     // 16 a cell: weight of the field with top bit b at [b / 2]
    // Implied weights: 16 places a cell as in fieldwts.  What one more step of the field costs, in fixed
    // point, so that sums do not depend on their order; and its steps on the tree.
    const int64_t *fieldfits;
    uint32_t *fieldsteps;
    // Weights or costs of fields rounded down to bytes (costbytes.h); null: there are none.
    const uint32_t *fieldbytes;   // four rows: row p has the bytes of the fields with top bits 2p + 1, 2p + 9, .. of the cell
    int byteshift;                // a byte counts 1 << byteshift
    int twobits;                  // cells before it may have 2-bit fields; those of wider fields need rows 1 and 3 only
    int *fieldchanges;            // what an exchange of subtrees adds to fieldsteps; null while there is none
    uint32_t *walk;               // per node three rows: first-pass set, union of the descendants (of terminals: no state), final set
    uint32_t *branch;             // per node its branch set
    int ntax;                     // terminals are below; the root is ntax
    const int *anc, *lef, *rig;   // of the tree
    int *path, *stack, *changed;  // room for all nodes each, and one more
    // Clusters: null unions while they are not maintained.
    uint32_t *unions;             // a row each
    uint32_t *inters;             // intersections, a row each; null without and-lists
    const int *isinclu;           // cluster of each node
    int *dirtylist, ndirty;       // clusters with a node whose branch set changed; room for one more than all
    int *dirty;                   // per cluster: 1 if it is in dirtylist
    int *lowcell, *hicell;        // per cluster: its union was widened in cells lowcell..hicell - 1 only; NOCELL and 0: nowhere
    // What a clip overwrites; nlog above maxlog means that not all was kept.
    int logging, nlog, maxlog;
    logentry *logged;             // room for maxlog of them, and for LOGSLACK more, which are written before they count
    uint32_t *logcells;           // the cells of each as they were: LOGCELLS apart for the widest vectors
};

struct kernelset {
    const char *name;
    int width;                    // cells a vector
    // Weighted count of the fields in which a and b are disjoint; TOOMANY when above bound.
    long (*check[KERNELWEIGHTS])(const evaldata *d, const uint32_t *a, const uint32_t *b, long bound);
    // The same for c against the union of a and b.
    long (*pair[KERNELWEIGHTS])(const evaldata *d, const uint32_t *c, const uint32_t *a, const uint32_t *b, long bound);
    // First place i >= from whose row base + list[i] * row is within bound of the set, its count in *steps; n if none.
    int (*scan[KERNELWEIGHTS])(const evaldata *d, const uint32_t *set, const uint32_t *base, const int *list,
                               int from, int n, long bound, long *steps);
    // Places, as in fieldwts, of the fields in which a and b are disjoint, in ascending order; returns how many.
    int (*disjoint)(const evaldata *d, const uint32_t *a, const uint32_t *b, int *places);
    // First pass of nodes list[n - 1] .. list[0]; weighted steps.  With implied weights 0: steps are
    // added to fieldsteps.
    long (*down[KERNELWEIGHTS])(const evaldata *d, const int *list, int n);
    // Final pass of nodes list[0] .. list[n - 1], the first being the root; terminals: branch sets of terminal descendants too.
    void (*up)(const evaldata *d, const int *list, int n, int terminals);
    // Sets of the tree left behind by the clip x whose former sister is s, and those of the clip.
    void (*afterclip)(evaldata *d, int s, int x);
    // Sets after a subtree was joined to the tree: a is the node that joins it, or the root.
    void (*afterjoin)(evaldata *d, int a);
    // First-pass sets from node top up to x, whose final sets are cleared.
    void (*redopath)(const evaldata *d, int top, int x);
    // The first-pass set of a node with these two below it.
    void (*joinrow)(const evaldata *d, uint32_t *to, const uint32_t *a, const uint32_t *b);
    // First-pass sets of nodes list[0] .. list[n - 1], each after its descendants; behind the first `sure` ones no further than
    // to one whose set comes out as it was.  Returns how many were made.
    int (*renew)(const evaldata *d, const int *list, int n, int sure);
    void (*restore)(evaldata *d);                  // puts back what the log holds
    void (*orrow)(const evaldata *d, uint32_t *to, const uint32_t *from);   // to |= from
    // What it adds to the weighted steps above node n when its first-pass set becomes the row, sets being those
    // of the first pass; TOOMANY when above bound.  With implied weights 0: changes go to fieldchanges.
    long (*above[KERNELWEIGHTS])(const evaldata *d, int n, const uint32_t *row, long bound);
    void (*setabove)(const evaldata *d, int n, const uint32_t *row);       // makes it so
    // Adds by to fieldchanges of the fields in which a and b are disjoint.
    void (*tally)(const evaldata *d, const uint32_t *a, const uint32_t *b, int by);
};

extern const kernelset basekernels;
extern const kernelset *const avx2kernels, *const avx512kernels;   // null where the compiler cannot make them
extern const kernelset *kernel;           // the ones in use; never null
extern const kernelset *kernelsets[4];    // those this machine can run, narrowest first, then null

// Chooses kernels by name: "base", "avx2", "avx512", or "" for the widest; false if there are none
// of that name here.  At start the environment variable ZEL_KERNELS does the same.
bool force_kernels(const char *name);
