// gui/boxes.h: boxes with a message.
#pragma once
#include <gtk/gtk.h>

extern GtkWidget *Dialog_Now;            // the dialog that is open, over which boxes stand; null: the window
extern int exvalis;                      // the answer given last: to a box, or 1 OK and 0 cancel to a dialog

int  messagebox(const char *title, const char *text, int flags);    // a slot; see kernel/window.h
void textbox(const char *title, const char *caption);               // a slot
