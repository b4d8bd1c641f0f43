// gui/history.h: what the window remembers from one run to the next, in the home folder:
// .zel_command_history (the lines typed, as GNU readline keeps them) and .zel_guistory (settings).
#pragma once
#include <string>

constexpr int LEASTFONTSIZE = 5, LARGESTFONTSIZE = 60;
constexpr int FAMILYBYTES = 29;

struct guisettings {
    int  commandline = 1;                    // the command entry is shown
    int  x = 0, y = 0, width = 1000, height = 700, maximized = 0;    // of the window
    int  textcolour = 0, pagecolour = 0;     // 0xRRGGBB; equal: those of the theme
    char fontfamily[FAMILYBYTES + 1] = "Tred";
    int  fontsize = 11, fontstyle = 0, fontweight = 400;             // points; PangoStyle; 100..900
};
extern guisettings guihistory;

extern int    tools_visible;                 // the tool bar is shown; starts at 1
extern int    warn_before_overwriting_files; // file dialogs ask before a file is replaced; starts at 1
extern int    do_color_map;                  // mapped characters in colour; starts at 1
extern int    report_treeview_scores;        // the tree view tells scores; starts at 1
extern int    graph_report_mode;             // reports as diagrams; starts at 0
extern double usrdlgratio;                   // pixels of a unit of dialogs described by scripts; starts at 1.25

constexpr int GUISTORYBYTES = 85;

std::string homefile(const char *name);      // in the home folder
const char *fontstylename(int style);        // as CSS calls it
bool retrieve_guizel_history();              // false: there was none that could be used; says so when it was there
void save_guizel_history();
void start_command_history();                // reads it; makes one where there is none
void savehistories();                        // both; once
