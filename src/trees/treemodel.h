// trees/treemodel.h: a tree is an array of ancestors.
//
// Terminals are 0..nt-1, the root is nt, other internal nodes follow.  anc[nt] holds the number of
// node slots used (highest node + 1); anc[t] == 0 for a terminal means that it is not in the tree.
// The working arrays show the tree in anx from the other side.
//
// Canonical numbers: follow terminal 0, then 1, 2... towards the root, giving the next free number
// to each node not met before.  Two trees with the same groups have then equal arrays.
#pragma once
#include <cstdint>

extern int *anx;               // the current tree, nodz entries
extern int *lef, *rig, *sis;   // first and last descendant (-1 terminal), next sibling (-1 last)
extern int *nodfork;           // descendants of each node
extern int *nodlist;           // internal nodes, see mkoptlist
extern int *htulist, *bufprvtree, *issupp;   // scratch per node
extern int *waglist, *ladd;    // insertion sequences
extern int *MarkedNod;         // marks of nodes in the viewer: 0 none
constexpr int UNDOS = 10, SHRINKWORDS = 5;
extern int **undo_tree;        // UNDOS earlier states of the tree being edited
extern double *avgtermvals;    // scratch: a value per node
extern int **tshrink;          // SHRINKWORDS words a taxon, when allow_shrinkings; else null
extern int have_some_shrinks;  // clades that tshrink holds; 0 with new data
extern int allow_shrinkings;   // clades can be drawn as one terminal; starts at 1
extern int *taxnum, *lineof, *doat, *drawat, *branchlen, *xpos, *ypos;   // of diagrams
extern char **nodmsg;          // text shown at each node, 2 Namesize bytes; first byte 0 = none

constexpr int COLLAPSED = int(0x80000000u);   // mark of a collapsed node in a tree being searched
constexpr int NODEBITS = 0x7fffffff;          // the rest of the entry: the ancestor

void mksis(const int *anc);                   // fills lef, rig, sis; descendants in ascending order
int  mkoptlist(int *list, const int *anc);    // mksis, nodfork, and internal nodes root first (each before its descendants); returns how many
int  mklist(int *list, const int *anc);       // the same, each node's last descendant first
void reset_nodz(int *anc, int *carried = nullptr);   // canonical numbering; carried: values per node that move along
bool equal_tree(const int *a, const int *b);  // same node totals and ancestors
bool reroot(int *anc, int target, int *carried = nullptr);   // hangs the tree from a node, canonical numbers after it;
                                              // false if it cannot.  carried belongs to branches (0 = nothing) and stays with them
bool rerootclade(int *anc, int node, int target);   // the same within the clade of a node, which stays where it is
void dichotomize_tree(int *anc, int seed);    // resolves polytomies at random; an outgroup at the root stays there
void delnodz(int *anc, const int *marks);     // deletes each internal node marked 1, renumbers
void initnet();                               // three-taxon tree in the working arrays
bool isinthetree(const int *anc, int t);
int  countnodes(const int *anc);              // internal nodes in use
int  countterminals(const int *anc);          // taxa in the tree
void joinabsent(int *anc, int *carried = nullptr);   // hangs the tree and every absent taxon from a new root, canonical
                                              // after it; what the old root carried moves along, the new one gets -1
bool prunetaxa(int *anc, const uint8_t *keep);  // only terminals with keep 1 stay; canonical after it; false, and nothing
                                              // changed, when fewer than two would
void checktree(const int *anc);               // asserts every invariant of a stored tree
void laytreearrays();                         // the arrays above, the tag tree and the group names, for nt taxa
