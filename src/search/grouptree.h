// search/grouptree.h: a tree whose groups are looked for in other trees.
//
// Its terminals are ranked in the order of a walk, so that the smallest group that holds a set of
// taxa is the smallest one that holds the first and the last of them, found in a table in constant
// time; a node of another tree has a group of this one when it holds as many taxa as that group.
// All groups of a tree are compared in time proportional to its nodes (after Day 1985).
//
// Taxa may be absent: only those entered count.  Both trees are rooted on the same taxon.
#pragma once
#include <cstddef>
#include <cstdint>

struct grouptree {
    int taxa;            // terminals 0..taxa-1, the root is taxa
    int slots;           // nodes are below
    int *anc;
    int *rank;           // per terminal: its place in the walk; -1: not in this tree
    int *terminal;       // by rank
    int *depth;          // per node
    int *size;           // per node: its terminals; 1 for terminals, 0 for those not in this tree
    int *joins;          // level k, place i: the shallowest group between the terminals of ranks i .. i + 2^k
    int ranked, levels;
    uint8_t *entered;    // per terminal: it counts
    int *count;          // per node: taxa that it holds and that count
    int here;            // taxa that count
    int *first, *last, *held;   // per node of the tree compared: ranks between which its taxa lie, and how many
};

// Takes its memory with take (loram or hiram).  anc may have polytomies and lack taxa (ancestor 0);
// nodes: room for the nodes of the trees to be compared.
void makegrouptree(grouptree *g, const int *anc, int taxa, int nodes, void *(*take)(size_t));
void entertaxon(grouptree *g, int t);         // it counts from now on; taxa that the tree lacks never do
void leavetaxon(grouptree *g, int t);         // and no more
void leavealltaxa(grouptree *g);
void enteralltaxa(grouptree *g);
int  smallestgroup(const grouptree *g, int rank1, int rank2);
// match[n]: the smallest group of g with the same taxa as node n, if it says anything (two taxa or more, and
// leftout or more elsewhere), else -1.  list: the n internal nodes of the tree, each before its descendants.
void matchgroups(grouptree *g, const int *anc, const int *list, int n, int *match, int leftout = 2);
int  missinggroups(grouptree *g, const int *anc, const int *list, int n);   // groups of g that the tree has not
