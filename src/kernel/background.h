// kernel/background.h: a run without a front end.  Its instructions are the process arguments;
// files with the process number in their names stop it, pause it, or give it more to do.
#pragma once

extern int execfile_serial;          // number of the next execute file; -1 when the last could not be removed; starts at 1

bool asks_background(const char *first);     // the first process argument asks for such a run: "bground", or shortened and no file's name
[[noreturn]] void start_background(int argc, char **argv);   // argv[1..] are the instructions, "bground" first
const char *background_text();       // the instructions; ends with ";\n"; null when this is no background run
bool open_execute_file();            // opens it as a level; false when there is none
bool will_not_reset_from_background();   // no execute file is ahead
[[noreturn]] void quit_background(); // the instructions have ended
void tell_background(const char *text);  // to standard error, when a background run has no log; else nothing
bool stop_file_found();              // and removes it
void pause_while_asked();            // sleeps as long as the pause file exists
