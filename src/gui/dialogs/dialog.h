// gui/dialogs/dialog.h: the one way to build a dialog.  A dialog is a table of fields and a command
// in which {key} stands for what the field of that key gives; the command is shown while the fields
// are changed, and run when the dialog is accepted.  What stands between {?key=N} and {/} is part of
// it only while that check or choice has the value N, and can be set; {?key!N}: another value.
//
//     const field bestfields[] = {
//         { .kind = NUMBER, .key = "n", .label = "Steps above the best", .text = "%s", .high = 1000 },
//         {}
//     };
//     const dialogform bestform = { "best", "Keep the best trees", "best {n};", bestfields };
#pragma once
#include <gtk/gtk.h>
#include <string>

enum fieldkind {
    NOFIELD,                             // ends a table
    PAGE,                                // the fields behind it are on a page of their own
    HEADING, CHECK, NUMBER, CHOICE, TEXT,
    TAXA, TAXON, CHARACTERS, TREES,      // lists, chosen in a dialog of their own; an empty one gives nothing
    READFILE, WRITEFILE,                 // names of files; an empty one refuses the dialog
    COLOUR
};

enum filesort { ANYFILES, TREEFILES, SVGFILES, TEXTFILES };      // what a chooser of files offers beside all of them

struct choicerow { const char *label, *text; };      // null label ends the rows

struct field {
    fieldkind kind = NOFIELD;
    const char *key = "", *label = "";
    const char *text = "%s";             // what the field gives: of a check that is on as it is; else %s is the value
    const char *off = "";                // of a check that is off, or of a number 0 when that is no number of the command
    const choicerow *choices = nullptr;
    double low = 0, high = 100000, first = 0;        // of a number, a check (0, 1) or a choice (its row)
    int decimals = 0;
    bool zeros = false;                  // all decimals stand in the command
    double (*now)() = nullptr;           // the value when the dialog opens; null: as left last, `first` at first
    const char *(*nowtext)() = nullptr;  // the same, of a text
    const char *only = nullptr;          // "key=N" or "key!N": only while that is so; else gives nothing
    bool needed = false;                 // of a list or text: must not be empty
    filesort files = ANYFILES;           // of a file
};

struct dialogform {
    const char *name, *title, *command;
    const field *fields;
    const char *note = nullptr;          // a sentence above the fields
    void (*done)(const char *command) = nullptr;     // instead of running the command
};

// Runs the dialog and, when it is accepted, its command.
void opendialog(const dialogform *form);
std::string ridofund(const char *label); // a label without the mark of its mnemonic

// choosefile.cpp
std::string filename_in_command(const std::string &path);    // blanks written as '^'; without the current folder
std::string choosefile(GtkWindow *over, const char *title, bool towrite, filesort sort);     // "" when given up

GtkBuilder *loadui(const char *name);    // a dialog of the resources
int  rundialog(GtkWidget *dialog);       // modal; true for OK.  Sets exvalis; accepts itself for a menu run by itself
