// console/terminal.h: the terminal as a keyboard and a screen, for the text viewer and for pauses.
// Only where standard input is a terminal.
#pragma once

void measurescreen();                // screen_size and screen_width after the terminal, where standard output is one
int  waitkey();                      // slots of kernel/window.h
void showscreen(const char *lines, int column, const char *lastline);
