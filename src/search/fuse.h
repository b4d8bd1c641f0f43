// search/fuse.h: subtrees of the same taxa exchanged between trees (Goloboff 1999).
#pragma once
#include <cstdint>

// ---- Settings, of "tfuse" ------------------------------------------------------------------
extern int fusetakequals;    // exchanges of equal score are accepted; starts at 0
extern int fusebeststart;    // the first round starts from the best tree, not from one at random; starts at 1
extern int choose_bestonly;  // of the exchanges of a pair only the best is made; starts at 0
extern int fuse_repeat;      // a pair is fused again until no exchange improves it; starts at 0
extern int fuseswapit;       // what exchanges give is swapped with TBR; starts at 1
extern int fuseminfork;      // groups of fewer descendants, on the consensus of the pair, are left; 2 or more; starts at 3
extern int fuserounds;       // starts at 5
extern int fusekeepall;      // all trees are kept, not only the best; starts at 1
extern int fusereroots;      // random rootings a pair; 0: only that of the outgroup (start)
extern int autoselect_ga;    // "tfuse" chooses fusing or hybridization; starts at 0
extern double autoselect_limit;   // hybridization below this score F; starts at 1.5

// ---- Engines, on trees in packed numbers, binary -------------------------------------------
extern int skip_seed_nit;    // dofuse leaves the random generator alone at its start; starts at 0
extern int treechkshift;     // scores of the trees of dofuse go to treechk from here on; -1: they do not (start)
extern int change_trees_in_mem;   // count of trees shown meanwhile in place of trees_in_mem; -1: none (start)
extern uint8_t *mark_source_trees;   // per tree of the list of dofuse: set to 1 when it was exchanged; null: not asked for (start)
extern int fusesdone;        // rounds that the last dofuse completed

// Rounds of fusing.  *count trees with room for rounds more, in trees[]: each round takes a tree, exchanges into
// it clades of all others, and swaps; the tree that comes out joins the list.  Clears marks of collapsed nodes and
// gives trees canonical numbers.  Ends at stopscore or better (0: none) and at userstop, the list being valid at any
// time.  Returns the best score.  ranseed, current_treenum, trees_in_mem and change_trees_in_mem stay.
double dofuse(int *count, int **trees, int rounds, double stopscore);
// Marks of collapsed nodes cleared, canonical numbers, scores (as treechkshift says); lowers *best to the best score.
// groups, if wanted: a hash of the groups of each tree.  Returns the place of the first tree that has the best score.
int clean_and_score(int count, int **trees, double *best, uint64_t *groups = nullptr);
void forget_pairs();         // with nothing to exchange, which driven searches remember while they run
void note_best_score(double score, double *best);      // lowers *best, and overall_bestscore with the full data
bool reached_score(double score, double stopscore);    // stopscore 0: never
bool isnewtree(const int *tree, int *const *trees, int n);   // canonical trees of which nothing is collapsed
bool disable_tfusing();      // under implied weights memory is left for the image, but not for fusing
void chkfusing();            // refuses to fuse then
int fusetwotrees(int *work, const int *other);         // returns exchanges accepted
int test_number_of_fuses(const int *t1, const int *t2);   // groups where the two could be exchanged
double calculate_fuse_props(int count, int **trees);   // their mean in pairs of trees, per hundred taxa
