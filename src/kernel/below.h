// kernel/below.h: what the kernel calls in the folders below it, by plain declaration.  Each is
// defined by the folder named; the kernel includes none of their headers.
#pragma once
#include <cstdint>
#include "kernel/driver.h"

// search: before any handler runs, and after each command
void precheck(handler command, int nextchar, int mode);   // validates trees and packs, for search commands
void end_of_search();                                     // back to user numbering; nothing outside searches

// trees
void autosave_the_results(); extern int autosave_results;  // 0 off; 1 due at exit; else on
void close_treefile_at_exit();                             // ends an open parenthetical tree file
int  give_trees_in_mem(), give_maxtrees();
int  give_vault_room();                                    // trees the vault can hold, 0 without one
extern uint8_t dopiwe;                                     // implied weighting is on: scores are fits

// diagrams: texts at nodes and the title waiting for the next diagram, left by a report that was given up
void reset_nodmsg();

// formats: the file that is the current level, read through its end (importcom may leave it to the driver)
void importcom();                    // Nexus, behind its mark
void read_fasta_file(long equal);    // sequences padded to so many positions; 0 = they are of a length
void read_newick_trees();

// data: everything under the data layers is gone (the arena is about to be replaced)
void data_were_dropped();
int  give_nt(), give_nc();
void count_all_taxa();               // minima and states are of all taxa again, not of the active ones only
void forget_supplied_lists();        // lists are read from text again
const char *charname_in_use(int c);                        // null: it has none, or outputs show none

// script: the macro language's share of the stream.  All do nothing while the language is off.
struct inrec;
void macro_level_opens(inrec *p);              // p will stand above curproc; getnext is still that of curproc
void macro_level_closed(inrec *p);             // curproc and getnext are again those of the level below p
void macro_buffers_moved(inrec *from, inrec *to, int levels);   // the levels were copied; getnext is not changed
bool is_macro_text(const char *at);            // at lies in a running loop or in the text of an expansion
void scriptcommand();                          // what commands of the language begin with: name not cut, language on
bool is_macro_expression(const char *name);    // the language knows it, but not as a command
bool skip_script_body();                       // over the commands within the present one; false when it has none
void command_listed(int n);                    // the command put that many things in order: "listsize"
void macro_errline();                          // composes where an error stood
void stop_loops();                             // says which loops are running, and ends them
void reset_macros_after_error();
void goto_on_error();                          // the levels are about to be closed by an error or interrupt
void run_pending_goto();                       // goes to the target of errors, when one has happened since
void table_to_array(const int *values, int rows);       // a table of single values is printed: a script may want them
void table_to_array(const double *values, int rows);

void checkmacros();                            // asserts the invariants

// trees: every check routine, called after every command of the debug build
void check_everything();
