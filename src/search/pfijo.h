// search/pfijo.h: pinon fijo: large pieces of a tree are searched with randomly chosen nodes in place of what hangs from
// them, which drives the tree off its local optimum, and the whole tree is swapped and drifted.
#pragma once

extern double ratssconcav;           // 1000 - 10 K, 0 <= this < 1000: the higher, the farther from its base is what stands for a
                                     // subtree; starts at 50
extern int ratssminsels;             // cycles, 1..99999; starts at 30
extern int ratssgoback;              // cycles that end with a worse tree are undone; starts at 0
extern int ratsskeepall;             // trees are saved as cycles proceed; starts at 1
extern int ratss_autofuse;           // cycles between fusings of the trees found, 0: none (start)
extern int ratss_autofuse_fuses;     // rounds of each; starts at 3
extern int ratss_driftcycles;        // perturbations of the whole tree in each cycle; starts at 4
extern double ratss_fitd, ratss_rfitd;   // how much worse, and by what relative fit difference, these accept; start at 3, 0.1
extern int ratsschunksize;           // taxa of a piece, about; 10 or more; starts at 500

// One division of the tree in anx (packed numbers), each piece searched and put back, better or not.
void effect_pinon_fijo();
// Opens piece k of a division with stand-ins; false: no memory, nothing changed.
struct division;
bool pinon_fijo_make_small_matrix(const division *d, int k);
int  pick_standin(int number, int r);    // which of so many nodes, 0 the base, for r in 0..99
// From the tree (packed numbers, binary), which becomes the best found; the trees of all cycles go to the buffer from
// trees_in_mem on when they are kept, or to be fused.  Returns the best score.
double pinon_fijo(int *tree);
bool set_ratss_options();            // words up to ';', which stays; false: there were none
void show_ratss_options();
