// search/keeptrees.h: the trees that a search keeps, found again fast.
//
// A kept tree is in packed numbers and in one canonical form: supported nodes are numbered from
// the root up in the order in which terminals 1, 2... meet them on their way to the root; nodes
// that the collapsing rule in force does not support take numbers from the top of the range down
// and carry the mark COLLAPSED on their entry.  The tree stays dichotomous in memory: the mark
// only says that the branch above the node does not count.  Each kept tree has a record in treechk,
// in the bucket that nodreset gives for it.
#pragma once
#include "trees/treebuf.h"
#include "trees/treemodel.h"

// The collapsing rule of searches: marks each internal node of the tree 1 (stands) or 0.  The
// tree must be the one optimized last, with final sets of internal nodes.
extern void (*schcollapser)(const int *tree, int *support);

int  nodreset(int *tree, const int *support);     // canonical form, in place; support null: all stand.  Returns the bucket
bool equal_trees(const int *a, const int *b);     // canonical trees: the same once collapsed
void treecopy(const int *from, int *to);          // hinod entries
void just_store_tree(const int *tree, int slot);  // copy only
bool same_score(double a, double b);              // exactly for plain steps, else within 1e-8

// Scores the tree, collapses it, and links a record in place slot (the next free one), unless an
// equal tree is kept already: then returns 0 and nothing changes.  score_out, when given, takes
// the score either way.  Optimizes a tree of its own.
int full_store_tree(const int *tree, int slot, double *score_out = nullptr);
double force_store_tree(const int *tree, int slot);   // the same, be an equal tree kept or not; returns the score
int check_if_nutree(const int *tree, int slot);   // 1 for a tree not kept yet; does not link it (slot is scratch)
int link_if_new(int slot, double score);          // the tree in slot, not canonical yet, just optimized when collapse_level: the core of full_store_tree
int replace_kept_tree(const int *tree, int slot, double score);   // in place of the tree in slot; 0 when it equals another (nothing changes)
void replace_worst_tree(const int *tree, int first, double score);   // in place of the worst tree from slot first on, if it is better

bool is_kept_tree(const int *tree, double score);  // an equal tree is kept; optimizes a copy when collapse_level

void empty_treechklist();                          // no tree is in a bucket
void rebuild_treechklist();                        // from the scores and hashes of the trees in memory
// Rescores and collapses all trees, drops those more than excess above the best, and repeated ones.
// Returns the best score, -1 without trees.
double clean_mem_trees(const char *text, double excess);
void quick_clean_mem_trees(double best);           // the same from the stored scores
// A tree of this score was found.  With suboptimal 0 all trees from first on go; otherwise those
// beyond the (lowered) limit, but for the tree being swapped.
void reorganize_treechklist(int first, double score);
void drop_longer_than(int first, double limit);    // of the trees from first on
// Trees beyond suboptimal_limit are not kept by a running search.  Under implied weights it lies a little beyond
// suboptimal; what is too long goes when trees are cleaned.
void set_suboptimal_limit(double score);
double score_of_limit();                           // the score that suboptimal_limit stands for

extern int now_being_swapped;      // tree of the buffer being swapped while suboptimal is in use; -1 = none (start)
extern double overall_bestscore;   // best score of the running search; -1 or 1e10 = no tree yet
constexpr double NOSCORE = 1e10;

void checktreechk();               // asserts the invariants of buckets and canonical forms
