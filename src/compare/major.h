// compare/major.h: consensus trees of groups that are in some of the trees.
//
// Arguments are those of dostrict.  freqs (nodz entries, may be null) receives what the group of each
// node of the result has: its count, or its count less that of the most frequent group against it.
// With a reference tree the result is that tree, without the taxa left out, with the values of its
// groups among the others.
#pragma once
#include <cstdint>

extern int majorcut;          // per cent of the trees that a group must exceed; 50..100, starts at 50
extern int freqdifcut;        // the same for a difference of frequencies; 0..100, starts at 0
extern int reference_tree;    // tree of the list whose groups are reported; -1 = none (start)

void domajority(int *const *trees, int *result, int ntrees, const uint8_t *list, uint8_t *excluded, int *freqs);
void dofreqdifs(int *const *trees, int *result, int ntrees, const uint8_t *list, uint8_t *excluded, int *freqs);
void dobremercons(int *const *trees, int *result, int ntrees, const uint8_t *list, uint8_t *excluded);
void dopaircons(const int *one, const int *other, int *result, uint8_t *excluded);   // the groups of two trees that agree

// Trees that the values are shares of.  "No trees specified"; "Can't compare tree with itself"
int treesformajority(int ntrees, const uint8_t *list);
int treesforfreqdifs(int ntrees, const uint8_t *list);

// Values of the result for the nodes of the reference tree; NOGROUP for those with fewer than two, or all, of the taxa that
// take part, which completexlist has set.
constexpr int NOGROUP = INT32_MIN;
void valuesofnodes(const int *tree, const int *result, const int *values, const uint8_t *excluded, int *ofnodes);

// While it stands, a tree may be the reference; whatever happens, the next command has none.
struct noreference {
    noreference() { reference_tree = -1; }
    ~noreference() { reference_tree = -1; }
    noreference(const noreference &) = delete;
    noreference &operator=(const noreference &) = delete;
};

// The groups of Y that no group of X contradicts, and those of X.
void zert_groups_onto_tree(const int *X, const int *Y, int *result);

// Silent, uninterruptible forms for the inside of other commands; cut 100 asks for the strict consensus.
void do_major_for_jak(int *const *trees, int *result, int ntrees, const uint8_t *list, uint8_t *excluded, int cut);

// Majority rule without rows of bits: as many walks over the trees as there are pairs of trees.  Takes
// all taxa, and trees as they stand.
void majority_on_low_budget(int *const *trees, int *result, int ntrees, const uint8_t *list, uint8_t *excluded,
                            int *freqs);
