// kernel/below.h: what the kernel calls in the folders below it, by plain declaration.  Each is
// defined by the folder named; the kernel includes none of their headers.
#pragma once
#include "kernel/driver.h"

// search: before any handler runs, and after each command
void precheck(handler command, int nextchar, int mode);   // validates trees and packs, for search commands
void end_of_search();                                     // back to user numbering; nothing outside searches

// trees
void autosave_the_results(); extern int autosave_results;  // 0 off; 1 due at exit; else on
void close_treefile_at_exit();                             // ends an open parenthetical tree file
int  give_trees_in_mem(), give_maxtrees();

// data: everything under the data layers is gone (the arena is about to be replaced)
void data_were_dropped();
int  give_nt(), give_nc();

// trees: every check routine, called after every command of the debug build
void check_everything();
