// kernel/shell.h: what concerns front ends only: how a window stays alive during a command, the two
// commands that only a window can obey, and what any of them does when it ends.  The window fills what
// these commands call; without one they say so.
#pragma once

extern void (*choose_from_menus)();      // reads what follows "menu", up to the semicolon; null: there are no menus
extern void (*size_window)(bool large);  // maximizes the window, or makes it an icon; null: there is none

extern int autorun_typed_menu;           // the dialog of a menu command accepts itself; starts at 0
extern int give_up_when_typed_menu_cancelled;   // a dialog cancelled abandons the input; starts at 0
void reset_autorun_typed_menu();

void endwork();                          // saves what is set to be saved, closes the tree file, flushes the log; once
void keep_window_alive();                // polled by long loops, much more often than interrupts are looked for
