// gui/dialogs/dialog.h: the one way to build a dialog.  What it looks like stands in a file of its own,
// resources/dialogs/dialog_NAME.ui: title, labels, ranges, rows, pages.  What it does is a table of fields,
// each found by its key, the id of its widget, and a command in which {key} stands for what that field
// gives.  The command is shown while the fields are changed, and run when the dialog is accepted.  What
// stands between {?key=V} and {/} is part of it only while that field has the value V, and can be set;
// {?key!V}: another value.
//
//     const field bestfields[] = {
//         { .key = "above" },                       // a spin button: its number
//         { .key = "collapse", .text = "*" },       // a check button: "*" while it is on
//         {}
//     };
//     const dialogform bestform = { "best", "best {collapse} {above};", bestfields };
//
// The value of a check is 0 or 1; that of a choice is the id of its row, which is what the command takes.
#pragma once
#include <gtk/gtk.h>
#include <string>

enum fieldkind {
    PLAIN,                               // as its widget is: a check, number, choice, text or color
    TAXA, TAXON, CHARACTERS, TREES,      // a button, which opens a dialog of its own; an empty list gives nothing
    READFILE, WRITEFILE                  // an entry, with a button KEY_browse; an empty one refuses the dialog
};

enum filesort { ANYFILES, TREEFILES, SVGFILES, TEXTFILES };      // what a chooser of files offers beside all of them

struct field {
    const char *key = nullptr;           // null ends a table
    fieldkind kind = PLAIN;
    const char *text = "%s";             // what the field gives: of a check that is on as it is; else %s is the value
    const char *off = "";                // of a check that is off
    bool zeros = false;                  // all decimals of a number stand in the command
    double (*now)() = nullptr;           // the value when the dialog opens; null: as left last, that of the .ui at first
    const char *(*nowtext)() = nullptr;  // the same, of a text or choice
    double (*low)() = nullptr, (*high)() = nullptr;  // bounds of a number that the .ui cannot know; null: those it has
    const char *only = nullptr;          // "key=V" or "key!V": only while that is so; else gives nothing
    bool needed = false;                 // of a list or text: must not be empty
    filesort files = ANYFILES;           // of a file
};

struct dialogform {
    const char *name, *command;
    const field *fields;
    void (*done)(const char *command) = nullptr;     // instead of running the command
};

// Runs the dialog and, when it is accepted, its command.
void opendialog(const dialogform *form);
std::string ridofund(const char *label); // a label without the mark of its mnemonic

// choosefile.cpp
std::string filename_in_command(const std::string &path);    // blanks written as '^'; without the current folder
// "" when given up.  With an extension (".tre") its files are offered before all others.
std::string choosefile(GtkWindow *over, const char *title, bool towrite, filesort sort, const char *extension = "");

GtkBuilder *loadui(const char *name);    // a file of the resources
GtkBuilder *loadform(const dialogform *form);    // that of a form
int  rundialog(GtkWidget *dialog);       // modal; true for OK.  Sets exvalis; accepts itself for a menu run by itself
