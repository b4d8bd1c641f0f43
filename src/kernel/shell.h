// kernel/shell.h: what concerns a window only: how it stays alive during a command, and the two
// commands that only a window can obey.  It fills what they call; without one they say so.
#pragma once

extern void (*choose_from_menus)();      // reads what follows "menu", up to the semicolon; null: there are no menus
extern void (*size_window)(bool large);  // maximizes the window, or makes it an icon; null: there is none

extern int autorun_typed_menu;           // the dialog of a menu command accepts itself; starts at 0
extern int give_up_when_typed_menu_cancelled;   // a dialog cancelled abandons the input; starts at 0
void reset_autorun_typed_menu();

void keep_window_alive();                // polled by long loops, much more often than interrupts are looked for
