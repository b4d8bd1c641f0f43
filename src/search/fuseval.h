// search/fuseval.h: what exchanging subtrees of the same taxa between two trees does to the score.
//
// The groups that two binary trees share form their strict consensus, and each is a node of both.  The
// clade that a tree has at such a node may be replaced by that of the other.  What this costs is found
// without optimizing the tree that results: steps within both clades are known, and the first-pass sets above
// the node follow from the set of the new clade, in most cells after a few nodes.
//
//   pairmemory();
//   fusoptimize(work);                    // again after exchanges were made on its array
//   start_pair(work, other);              // both rooted on the same terminal; any number of others
//   for each group, the deepest first:
//       value = fuseval(a, partner[a], limit);     // score of work with the clade of other at its node a
//       settle_exchange(a, partner[a], value);     // work is now the exchanged tree, as far as later calls see
//   cladzert(...)                         // the exchanges settled, on the array of work
//
// Groups that hold one where an exchange was settled must not be asked for afterwards, so gains add up.
// Every branch of the tree that results divides the taxa as one of the two trees does, so it fulfils the
// constraints that both fulfil.
#pragma once
#include <cstddef>
#include <cstdint>

// The pair, in memory from the high end of the arena that the caller gives back.
extern int *fuse_guide;          // consensus: ancestors of the nodes of work that the other has, and of terminals; 0 for other nodes
extern int *partner;             // per node of work: the node of the other with the same taxa; -1
extern int *fuse_list, nfuse_list;   // nodes of the consensus, breadth first, without its root
extern uint8_t *samebelow;       // nodes of work below which both trees are the same

size_t pair_memory();            // bytes that a pair takes, at most

constexpr double WORSE = 2e10;   // what fuseval returns for what is above the limit

void make_fuse_guide(const int *work, const int *other);   // the above alone; counts descendants in ladd
void bar_ancestors(int a);       // they have no descendants any more
void pairmemory();               // for all of the following, from the high end of the arena
double fusoptimize(int *work);   // optimizes it; returns its score
void start_pair(const int *work, const int *other);        // all for fuseval, until one of the two is optimized elsewhere
double fuseval(int a, int b, double limit);                // an exact score when it is limit or less, else that or WORSE
void settle_exchange(int a, int b, double value);          // right after fuseval gave the value
void cladzert(int b, int a, int *tree);                    // the clade of node b of the other replaces that of a, numbered as in work

// The same of any two trees, from one clade to another of the same taxa.
struct clade { int top; const int *left, *right; };        // its node, descendants of all nodes of its tree
void moveclade(const clade &from, const clade &to, int *tree);
