// search/wagner.h: trees by stepwise addition, each taxon on the branch where it costs least.
#pragma once

extern int xrandom_addseq;        // rseed[: branches are tried in random order; starts at 0 (up or down)
extern int randomize_outgroup;    // rseed>: the outgroup may enter anywhere in the sequence; starts at 0 (first)
extern int selected_addseqs;      // the next taxon is chosen among so many (mult cas, fas, sas); ALLTAXA; 0: not chosen (start)
extern int use_minimum_addseq;    // and how: ADD_SPREAD sas (start), ADD_CLOSEST cas, ADD_FARTHEST fas
extern int informative_addseqs;   // mult ias: taxa looked at for each place of an informative sequence; 0: random (start)
extern int cluster_wagner;        // mult wclus: taxa after which branches are tried by clusters; 0: never (start)
enum { ADD_SPREAD, ADD_CLOSEST, ADD_FARTHEST };
constexpr int ALLTAXA = 1000000000;

// Builds a tree of all active taxa (packed numbers) in the given order of the seed, under the constraints
// in force.  The optimized sets are those of the tree unless the outgroup entered elsewhere.  After
// userstop the tree is partial.  Leaves ranseed at seed.  Fails when no tree fulfilling the
// constraints was found.
void wagner(int *tree, int seed);
bool wagner_if_possible(int *tree, int seed);     // the same; false in place of the failure
void netnit(int *tree, int a, int b, int c);      // the network of three terminals: a next to the root; its sets are optimized
double netnitlen(int *tree, int a, int b, int c); // the same, returns its length
void hang_from(int *tree, int t);                 // roots on terminal t, in place; one terminal hangs from the root before and after
void fix_outgroup(int *tree);                     // on terminal 0

// Partial trees: terminals that are not in the tree have ancestor 0, its internal nodes are numbered
// without gaps, tree[ntax] is the first free one.  Terminal 0 and two more are in it.
void rebuild_wagner(int *tree, const int *list, int n);   // adds the taxa of the list in their order
void complete_wagner(int *tree, int seed);                // adds all that are missing, in random order

// ---- Steps, on the partial tree swaptree ----
struct wagplace {
    int node;                     // the branch above it
    double cost, worst;           // of adding there; at the worst place, when asked for
};
wagplace bestplace(int t, bool wantworst);        // cost NOBOUND: constraints leave no place
void put_taxon(int t, int place);
