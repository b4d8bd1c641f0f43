// search/moves.h: what a rearrangement costs, without rescoring the tree.
//
// One complete optimization gives each node a branch set.  Clipping a subtree changes few of them.
// A clip costs one step at a branch for each field in which the clip's set and the branch set are
// disjoint, and a count that passes the bound stops the check at once.  Branches are kept in
// clusters whose unions reject many branches in one check.
//
// The life of a swap, with ntax, hinod and all nodes in packed numbers (see trees/pack.h):
//
//   clusters_on = 1;                           // TBR; SPR and Wagner trees leave it 0
//   score = optimize_for_swap(tree);           // swaptree = tree; all sets, sizes and clusters
//   set_move_slack(mulpars, buffer_full, score);
//   for each clip x (not the root, not terminal 0):
//       s = sis[x];
//       clip_subtree(x);
//       reassign_clusters(x, s, &nroots, &ndests);   // only with clusters
//       reoptimize_after_clip(s, x);
//       clipset  = x < ntax || !clusters_on ? dnset(x) : branchset(lef[x]);
//       destset  = branchset(s);  score_original(root, s);
//       movebest = movesteps;  movebound = movebest + moveslack;
//       ... check destinations and roots, remember the best (root r, destination d) ...
//       refused:   unclip_subtree(x, s);  restore_after_clip(s);
//       accepted:  settle_place(row of r, r, d);
//                  top = reroot_clip(r, x);  reoptimize_clip_path(top, x);
//                  unclip_subtree(x, d);  reoptimize_after_clip(d, -1);  rebuild_clusters();
//       (or, always safe:  reroot_clip, unclip_subtree, optimize_for_swap(tree))
//
// All costs are exact: score after the move = score - cost at the original place + movesteps.
#pragma once
#include "trees/implied.h"
#include "trees/pack.h"

constexpr double NOBOUND = 2147483647.0;   // a movebound that everything passes

// ---- State of an evaluation ---------------------------------------------------------------
extern int *swaptree;                // ancestors of the tree under evaluation; swaptree[ntax] = node slots
extern const uint32_t *clipset;      // operands of a check: a row of rowcells cells each
extern const uint32_t *destset;
extern double movebound;             // largest acceptable increase; NOBOUND means none; may be negative (nothing passes)
extern double movesteps;             // result of a check that passed: what the move adds
extern int    moveok;                // 1 if the last check stayed within movebound
extern double movebest;              // lowest increase seen for this clip; kept by the swapper
extern double moveslack;             // how far above the best a move may be and still be looked at
extern int    clusters_on;           // 1: cluster unions are maintained; starts at 0
extern int    report_every;          // clips between status reports, set by set_report_every
extern int    user_cuts_for_report;  // the user's value for it; 0 = automatic (start)
void set_report_every();

// ---- Checks -------------------------------------------------------------------------------
// Installed by set_score_checkers() for the weights of the image (done by every pack).
extern void (*score_checker)();                        // clipset against destset: moveok, movesteps
extern void (*pair_checker)(const uint32_t *c, const uint32_t *a, const uint32_t *b);   // set c against the union of a and b: a lower bound for each

// Continue from movesteps for what the cells cannot hold, with the same bound; under implied weights with
// sets, where the cells tell only what a move costs at least, they give its cost.  They need moveok to
// be 1 and are called only while second_stage: use second_check and second_pair_check.
// kind 0: node a (branch set with clusters_on, else its dnset) against node b; 1: cluster a against
// node b; 2: cluster a against cluster b.
extern void (*double_score_checker)(int a, int b, int kind);
extern void (*double_pair_checker)(int c, int a, int b);   // node c against sister nodes a and b
extern int second_stage;                               // the cells do not tell all; set by set_score_checkers
inline int second_check(int a, int b, int kind)    { if (second_stage && moveok) double_score_checker(a, b, kind); return moveok; }
inline int second_pair_check(int c, int a, int b)  { if (second_stage && moveok) double_pair_checker(c, a, b); return moveok; }
void set_score_checkers();
inline double leastgain()                          { return dopiwe ? 1e-8 : num_cont ? 0.0005 : 1; }   // less than this is no difference
inline bool lessthan(double a, double b)           { return a < b - leastgain() / 2; }
// Of clipset against destset, the rows of the clip's root and of its sister s.  Under implied weights
// the steps between them are no longer counted; restore_after_clip counts them again.
void score_original(int root, int s);
// Before the surgery of a move that is made, or of a taxon added: its steps count.
void settle_place(const uint32_t *set, int root, int dest);

// The fast way through a list: the place i >= from of the first node of list whose branch set is
// within movebound of the set (or n when there is none), with moveok = 1 and movesteps set for it as
// by score_checker.  Same decisions as checking one by one; go on with from = i + 1 after looking
// at the hit (movebound may have been lowered).  One call passes over all the failures.
//   for (int i = 0; (i = scan_nodes(clipset, list, i, n)) < n; ++i) { ... list[i] ... }
int scan_nodes(const uint32_t *set, const int *list, int from, int n);
int scan_clusters(const uint32_t *set, const int *list, int from, int n);   // the same for clusters and their unions

// ---- Optimization -------------------------------------------------------------------------
// mode below 2: first pass, returns the score; 2: final sets of internal nodes too (with their
// branch sets); 3: also branch sets of terminals; above 3: only the upward part, returns 0.
// Sets swaptree, lef, rig, sis; leaves the internal nodes, root first, in optlist.
double schoptimize(int *tree, int mode);
double optimize_for_swap(int *tree);     // mode 3, node sizes, and clusters when clusters_on
double calculate_tree_fits();            // implied weights: the score, from the counts of steps of the tree
double partial_schoptimize(int *tree);   // first pass of a tree with only some of the terminals (absent ones have ancestor 0)
extern int *optlist, noptlist;           // internal nodes of the last optimization, root first
void fill_node_sizes();                  // tnodsize, cladsz and optlist from the links as they stand (nothing clipped)
extern int use_safe_unclip;              // bbreak:safe: optimize fully after each accepted move; read by the swappers

// ---- Tree surgery on swaptree, lef, rig, sis ----------------------------------------------
// clip_subtree: the sister s of x takes the place of their ancestor a; x keeps a as its ancestor.
// When a is the root, terminal 0 alone stays behind as both descendants of the root, and the
// ancestor of x is x itself.
void clip_subtree(int x);
void unclip_subtree(int x, int d);       // a goes on the branch above d: lef[a] = d, rig[a] = x; d = 0: x goes below the root again
// Roots the clipped subtree on the branch of its node r: lef[x] = r afterwards.  Returns the lowest
// node whose descendants changed, for reoptimize_clip_path; -1 when nothing changed.  To come back,
// root it at that old descendant of x below which r does not lie.
int  reroot_clip(int r, int x);

// ---- Incremental sets ---------------------------------------------------------------------
void reoptimize_after_clip(int s, int x);   // after clip_subtree(x), s its former sister; x = -1: after unclip_subtree(_, s), from the attachment upward
void reoptimize_clip_path(int top, int x);  // after reroot_clip, before unclip_subtree
// After a clip that is given up: the clip hangs from the branch of s again with its old root
// (undo a reroot_clip first); puts back every set and every cluster.  Much cheaper than
// reoptimizing.  Whatever optimized other trees in between is noticed and costs a full optimization.
void restore_after_clip(int s);
void reoptimize_after_add(int t);           // Wagner: terminal t was just placed by unclip_subtree(t, d)
void recheck_clusters();                    // unions widened by a clip go back to what they were (restore_after_clip does it too)
void changed_sets_elsewhere();              // tells that sets of the tree were overwritten by another tree

// ---- Clusters -----------------------------------------------------------------------------
struct clusrec {
    uint32_t *uni, *backup;        // union of the branch sets of its nodes; the union before the clip
    int *nodes, *roots;            // the nodes that are destinations, then those that are roots of the clip
    int ndests, nroots;            // of the present clip
    int nmembers;                  // nodes of the whole tree, without terminal 0 (the branch of its sister)
};
extern clusrec *clusmat;
extern int *isinclu;               // cluster of each node
extern int numclusters, maxclustnum, clustersize;   // clustersize: bbreak:clustersize, starts at 15
void assign_clusters(int flag);    // partitions the tree into connected pieces; flag: also computes the unions (needs node sizes)
void rebuild_clusters();           // after an accepted move: exact unions again
// Before each clip's evaluation and after clip_subtree(x): deslist gets the clusters with
// destinations, in the order in which they are met from the root, and clusmat[].nodes their nodes; for a clip of 3 or more terminals rootlist and clusmat[].roots the same for the places of
// its root (lef[x] itself is not one: it is the same branch as rig[x], the original root).
void reassign_clusters(int x, int s, int *nroots, int *ndests);
extern int tree_start;             // seam: first node listed, -1 = the sister of terminal 0 (start)
extern const uint8_t *nodeisfix;   // seam: nodes that reassign_clusters does not descend into; null = none (start)

// ---- Lists of hinod entries ---------------------------------------------------------------
extern int *cladsz;                // nodes of each subtree
extern int *tnodsize;              // terminals of each subtree; both set by optimize_for_swap and reoptimize_after_clip(_, -1)
extern int *rootlist, *deslist;    // clusters, see reassign_clusters
extern int *reoplist;              // work list of the reoptimization; free for others between calls
extern int *distoroot, *tmptbuf, *bufnodsize;   // scratch of the swappers
extern int *nodsuprt, *tmpsuprt;   // nodz entries: support marks of the collapsing swaps
extern int *xrandseq;              // ntax entries, for Wagner trees

struct goodmove {
    double score;                  // of the tree after the move
    double work[3];
    int    dest;                   // -1 = struck out
    int    root;
};
extern goodmove *gooddest;         // hinod entries, for one clip at a time

// ---- Set-up -------------------------------------------------------------------------------
void final_search_mem();           // everything above on top of a new image; called through after_pack
struct reduction;
void reduced_search_mem(const reduction *reduced);   // the same on reduced data, made from the image that stood before
size_t search_bytes();             // what it takes at most, but for constraints, from the sizes of an image
int  clusternumber();              // clusters that there is room for
// At the start of a swap and after each accepted improvement.
void set_move_slack(int mulpars, int buffer_full, double score);
extern double suboptimal, relative_suboptimal, suboptimal_limit;   // start at 0, 0, 1e10
extern int collapse_level, swapcollapse;     // rule in force in searches (0 none); a swap that only collapses
