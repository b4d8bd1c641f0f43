// data/below.h: what the data folder calls in the folders below it, by plain declaration.  Each is
// defined in trees/, whose headers say more; data includes none of them.
#pragma once
#include <cstdint>

// trees: layers
void laytreearrays();            // the working arrays of trees, nodz entries each; part of the matrix layer
void laytreebuffer(int n);       // the tree buffer for n trees; locks datatag
extern int maxtrees, realmaxtrees, trees_in_mem;
extern int **mem_tree;
extern int have_vault, max_vault_trees, trees_in_vault;   // trees put aside

// trees: the tag tree
extern char txtdatin, **txtrmsg;
extern int *txtr, maxtxtsz;

// trees: the tree along which data were generated is kept
[[noreturn]] void numtreeerror(long n);
void stortree(const int *anc);
int  new_auto_treegroup(const char *name);
void add_to_treegroup(int t, int g);

// trees: what lists of trees and of clades look at
int give_trees_in_mem();
const int *ancestors_of_tree(int t);           // a tree in memory, in the user's numbers; entry nt holds its node slots.
                                              // Scratch of the high end while a search is being set up
unsigned *groups_of_tree(int t);               // its treegroupcells words of group bits
extern unsigned **vault_treegroup;             // the same of each tree in the vault

// trees: characters on a tree in memory, for groups of characters
void score_characters(int t);                  // leaves steps and realsteps in charcodes
double character_score(int c);                 // what a character adds to the score of that tree

// trees: implied weighting
extern uint8_t dopiwe;           // it is on
void implied_datamem();          // its tables in the data layer
void implied_data_dropped();

// search: settings that suit the data just read
void initialize_autoset();

// search: minima of Sankoff characters
void autosearch_all_sank_minima();             // finds those of all active ones by searches; says how many

// compare: what runs of a repeated search left
extern int jaktag;               // of its layer

// formats
void savedatcom(int c);          // xread with that sign, already read
void convert_nexus_names();      // cnames | : the names in a Nexus file, as a command
