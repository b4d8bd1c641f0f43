// search/setup.h: the door every search goes through, and the way back.
//
// Before the handler of a search command runs, precheck makes the trees in memory fit for a search
// (active taxa, rooted on the outgroup, dichotomous), packs the data, and expresses the trees in
// packed numbers.  end_of_search, after every command, takes trees and settings back to where the
// user left them.  precheck and end_of_search themselves are declared in kernel/below.h.
#pragma once

extern int xmulting, autoxmulting;         // the searches that come with them set these; start at 0
extern int perturbating;          // swapping under weights that are not the true ones; starts at 0
extern int emulating_tradrat;     // and to completion; starts at 0

void chk_tree_status();           // the four checks, on trees in user numbers
void chk_tree_composition();
void chk_tree_rooting();
void chk_tree_polytomies();
void chk_tree_monophyly();
void chk_active_taxa();           // enough of them, and the outgroup
void drop_doubtful_image();       // before packing: that of a search which failed in an open sector
void schgettree(const int *tree); // a stored tree into anx, without marks
// At the end of a search command: all trees in memory become the next automatic group, and will be condensed
// with autocollapse_searches.
void settle_found_trees(const char *name);
void notyetoption(const char *what);        // fails: what is not available yet
