// search/slowopt.h: evaluation of what cells cannot hold: step matrices and continuous characters.
//
// The cost of joining a clip to a branch is exact.  With D a node's costs and E those over the
// branch above it (both in the image), and all costs relative to the best of their piece of the tree,
//
//     O[u] = U of the ancestor + E of the sister      what lies beyond the node, its ancestor having state u
//     U[s] = least over u of O[u] + cost(u, s)        the same seen from a new node of state s on the branch
//     V[s] = U[s] + E[s]                              the tree with that node
//     W[s] = least over j of cost(s, j) + the costs of the clip, rooted where it is to be
//     the move adds the least over s of V[s] + W[s]
//
// For a continuous character O, U, V are ranges: the one between two that are apart, or what they
// share; the move adds the distance between that of the branch and that of the clip.
//
// After a clip, D and E change from its former sister downward until they come out as they were; U, V
// and W are made when somebody asks for them, from the root outward, and hold until the next change of
// the tree.  Most branches are refused by their cells and never need them.
#pragma once

extern double clipslack;          // what rerooting the clip may save inside it (asymmetric matrices): bounds on the rest of a move are wider by it; 0 or more

void slowmem();                   // by final_search_mem
double slowfirstpass();           // D, E and steps of the nodes in optlist; their part of the score
void slowafterclip(int s, int x); // the sets; the clip stays x until one of the next three
void slowafterjoin(int a);        // a: the node that joins a subtree to the tree, or the root
void slowrestore();               // the tree is again as it was before the clip
void slowclippath(int top, int x);// first-pass part of a clip that was rerooted
void slowpairs(int c, int a, int b);             // double_pair_checker
void slowscores(int a, int b, int kind);         // double_score_checker
enum place { ORIGINAL, ELSEWHERE };
const double *slowplace(int root, int dest, place which);   // weighted cost of each field, then each continuous character, at a place; a list for each kind of place
// Of sectors.  Steps: per step matrix, then per continuous character in thousandths.
double slowtotalfit();            // implied weights: fits from the steps of the tree; their part of the score
const long *slowsteps();          // implied weights: on the tree
void slowsetsteps(const long *elsewhere, const long *here);
void slowbeyond(const int *path, int n, int base, int *row);   // a row as slowcosts has: all that lies beyond base, which hangs from path[0]; the path ends at the root
void slowjoinsteps(const int *a, const int *b, long *count);   // adds the steps where two rows join
int  slowrenew(const int *list, int n, int sure);   // as kernelset::renew
// As takeoutsteps and its kin of fits.h do for cells; nothing without implied weights.
long slowtakeout(int root, int s);
void slowaddsteps(int root, int dest);
// With weighting sets: what a move adds, to the sets under addtomove, and its cost for all others.
long slowadded(int a, int b, int kind);
long slowpairadded(int c, int a, int b);
void slowshares(double *plus, double *minus);    // as do_post_clip_fits does for cells, of the move asked for last
// ---- Subtrees exchanged: rows of first-pass sets as in the image, the tree being the one last optimized.  Steps are a
// list, per field and then per continuous character in thousandths.
int  slowentries();               // of such a list
void slowjoin(const int *a, const int *b, int sign, long *steps);         // adds the steps between two sisters
void slowjoinrow(const int *a, const int *b, int *to);                    // the row of a node, not the root, with these two below it
void slowabove(int n, const int *row, long *steps);                       // adds what the row in place of n's adds above n
void slowsetabove(int n, const int *row);
long slowweighted(const long *steps);                                     // weighted, in thousandths
long slowfitchange(const long *steps);                                    // as fitchange of fits.h
void slowsettlechange(const long *steps);

void findclipslack();             // after the clip was scored at its original place

// Final and first-pass states, for collapsing: of all internal nodes of the tree last optimized.
void slowfinals();
bool slowdisjoint(int n, int up); // some character has no state common to the final sets of both
bool slowdiffer(int n, int up);   // some final sets differ
bool slowoutside(int n, int up);  // some final state of the ancestor is not a first-pass state of the node
