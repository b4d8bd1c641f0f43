// Picks a front end.
#include "console/console.h"
#include "kernel/background.h"
#ifdef ZEL_GUI
#include "gui/application.h"
#endif
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

static const char usage[] =
    "Usage: zel [--console] [FILE ...] [COMMANDS]\n"
    "       zel bground INSTRUCTIONS\n"
    "       zel --version | --help\n"
    "\n"
    "Phylogenetic analysis under parsimony.\n"
    "\n"
    "FILEs (matrices, trees, commands) are read in turn.  The first word with a comma\n"
    "begins the COMMANDS, separated by commas.  Then commands are taken from the window,\n"
    "or from standard input where there is no display; \"help ;\" lists them.\n"
    "\n"
    "  --console   use the terminal, not a window\n"
    "  bground     run INSTRUCTIONS in the background, with neither\n"
    "\n"
    "With standard input not a terminal, the exit status is 1 when any command failed.\n"
    "Example: zel --console data.zel , mult , nelsen , quit\n";

int main(int argc, char **argv)
{
    std::vector<std::string> words(argv + 1, argv + argc);
    std::string first = words.empty() ? "" : words[0];
    if (asks_background(first.c_str())) start_background(argc, argv);
    if (first == "--version") {
        puts("ZEL " ZEL_VERSION);
        return 0;
    }
    if (first == "--help") {
        fputs(usage, stdout);
        return 0;
    }
    if (first == "--console") words.erase(words.begin());
    else if (first.compare(0, 2, "--") == 0) {
        fprintf(stderr, "Unknown option %s\n%s", first.c_str(), usage);
        return 2;
    }
#ifdef ZEL_GUI
    else if (displayopens()) return runwindow(argc, argv);
#endif
    return runconsole(words);
}
