// gui/appwindow.h: the one window, and what its parts share.
//
// The window contains no analysis: whatever is chosen becomes a text of commands, which goes
// through runcommand to the interpreter.  The interpreter reaches back through the slots of
// kernel/window.h, which fillslots sets.
#pragma once
#include <gtk/gtk.h>
#include <string>

#define ZEL_RESOURCES "/org/gtk/zelapp/zelapp.gresource/"

// The named children are those of zelapp.ui.
struct ZelAppWindow {
    GtkApplicationWindow parent;
    GtkWidget *menubar, *toolbar, *gridStatus;
    GtkWidget *labelStatusData, *labelStatusTrees, *labelStatusLog, *labelStatusLines;
    GtkWidget *gridEntry, *entryCommand, *entryCommandSearch, *labelEntryWhat, *labelEntryMsg;
    GtkWidget *TextFrame, *textView, *scrolledWindow, *scrolledWindowDraw, *drawingArea;
    GtkWidget *menuItemTreeView, *menuItemRecent;
};

extern ZelAppWindow *gtkAppWindowGlobal;     // null before its construction
GType zel_app_window_get_type();

// --- running commands ------------------------------------------------------------------------

bool commandruns();                          // a command is being run: nothing else may be
void runcommand(const char *text);           // what was typed, or sent by a script; nothing while another runs
void runchosen(const std::string &text);     // what was chosen in a menu or dialog: shown first, kept in the history,
                                             // and run below the script whose menu command chose it
void gtkRunArguments(char **commands);       // in turn; null-terminated
void closewindow();                          // asks when warnings are on; ends the program

// --- the slots ---------------------------------------------------------------------------------

void fillslots();
extern int lastkey;                          // pressed while a command runs, not yet asked for; 0 = none

// --- the text view (view.cpp) ------------------------------------------------------------------

extern float fontWidth;                      // pixels of a column
void startview();                            // tags, marks, font
void viewappend();                           // what the text buffer got since the last look
void viewclear();
void viewprogress(const char *line);         // in place of the last progress line; "" clears it
void viewecho(const char *command);          // a command that was not printed by any other means
void viewsettle();                           // scrolls to what came last, if anything did
int  viewlines();
void viewhome(); void viewend();
void viewpage(int pages);                    // down, or up when below 0
void refreshLinesInfo();
void setviewfont();                          // the font of the history (history.h)
void changefontsize(int by);

// --- the status line (status.cpp) -----------------------------------------------------------------

void gtkUpdateStatus();

// --- the command entry (entry.cpp) ------------------------------------------------------------

void startentry();
void entrybusy(bool busy);                   // insensitive while a command runs; then cleared, with the focus
void focusentry();
void entryshow(bool shown);                  // the command line is visible
bool windowkey(GdkEventKey *event);          // keys that act wherever the focus is; true: done
void rememberline(const char *line);         // into the command history
