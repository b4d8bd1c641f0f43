// kernel/driver.h: the interpreter.  Reads command words, finds their rows, runs the handlers
// under a recovery point, and cleans up after each.
#pragma once

using handler = void (*)();

extern char current_command[128];    // name of the command being run; "zel*" between commands
extern char prompt[160];
extern int  go_on;                   // the current zelpivot call keeps reading
extern int  menuing;                 // 0 plain input, 1 text came from the shell, 2 that text was abandoned
extern int  menuing_level;
extern int  userstop;                // 0 none; 1 stop search and sequence; 3 out of time: stop the search only
extern int  timeit, timemenus;       // 0 off, 1 on, 2 on but not for this command
extern int  measure_RAM, pausing, breakable, mybeep, warning, report_status;
extern int  myecho, superecho;       // myecho: 0 off, 1 on, 3 until the next command is done
extern int  jaking;                  // inside a resampling or other repeated run
extern int  macroswapping, iamslave; // 0 outside scripted swaps; 0 unless started by a master
extern int  mytimeout;               // seconds a search may take; 0 = no limit
extern double startime;              // when the current command began, seconds
extern int  doing_a_search;
extern char dabinname[160];          // name of the program for the base level's argument 0
extern char breakwarntxt[256]; extern int breakwarn;   // question asked before Esc is obeyed; length 0 = none

void zelpivot(const char *text);     // null: read standard input as the base level
void gtkZel(const char *text);       // entry from the shell: runs text and refreshes the window
extern int gtkZel_noerrors;          // the last gtkZel ran to its end without an error
bool safecall(handler h);            // true if h finished, false if an error unwound it
void notime();                       // the current command is not to be timed
void set_go_on();
double now();                        // seconds on a steady clock
bool lapsed_over(double since, double seconds);

// Commands run from inside a handler.  Refuse when the stack is full, restore what they saved.
enum { RECONSTRUCTIONS, TRAVELLING, COMBINATIONS };      // kinds of fake_cmd_loop_allrecons
extern void (*set_the_skipdes)();    // what "skipdes" does while travelling a tree; null until there is such a thing
void fake_cmd_loop(const char *text);
void fake_cmd_loop_allrecons(const char *text, int kind);
void fake_cmd_loop_for_macroswap(const char *text);
void fake_cmd_loop_for_ss(const char *text);
void fake_cmd_loop_for_dcomp(const char *text);
void fake_cmd_loop_for_picoc(const char *text);

// Interrupts: polled by every long loop.
void intrupt(int mode);              // 1 poll; 0 Esc without questions; 2 force the stop; 100 force the file tests
bool have_some_intrupt();            // userstop is set
bool sure_you_want_stop();           // asks breakwarntxt, when set
bool sure_you_want_to_advance();     // asks whether to end the search and go on
bool timeisout();                    // polled by searches; sets userstop 3 when time is up
void get_time_string();              // hours:minutes:seconds into mytimeout
