// script/goto.h: going to labels of files.
#pragma once

// Where the script goes on after an error or interrupt; -1: there is no such place.
extern int errgoto_level;         // level at which it was set; it goes with that level
extern int goto_pending;          // an error happened; the target is due

void forget_target();             // the language is turned off
void do_goto(bool quietly);       // reads file, label and arguments, and opens the file at the label
void switch_literal_file();       // "@@" was read: the text of a label begins, or ends, here
void literal_file_closed();       // the level just closed may have been it
