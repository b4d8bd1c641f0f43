// Commands that leave the program, for a moment or for good.
#include "kernel/commands.h"
#include "kernel/commas.h"
#include "kernel/comhelps.h"
#include "kernel/background.h"
#include "kernel/below.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/shell.h"
#include <cstdlib>
#include <cstring>

#ifndef ZEL_VERSION
#define ZEL_VERSION "0"
#endif

// --- system -------------------------------------------------------------------------------

constexpr int LONGESTLINE = 3000;

// The rest of the line, with its commas and semicolons.  The ones that only end the command
// would be a mistake to the shell.
static void readshellline()
{
    commasaretext here;
    int n = 0, c = gtch();
    while (c == ' ' || c == '\t') c = gtch();
    for (; c != '\n' && c != '^' && n < LONGESTLINE; c = gtch()) junkstr[n++] = char(c);
    if (c == '\n') ungtch();
    while (n && strchr("; \t\r", junkstr[n - 1]) && !(n > 1 && junkstr[n - 2] == '\\')) --n;
    junkstr[n] = 0;
}

void systemcom()
{
    readshellline();
    if (!*junkstr) return;
    flushlog();
    fflush(stdout);
    fflush(stderr);
    if (system(junkstr) == -1) errmsg("Can't run the command of the system", nullptr);
}

const comhelp systemhelp = {
    "Run a command of the operating system.", nullptr,
    "  system COMMAND   the command is the rest of the line, or what precedes a '^',\n"
    "                   up to 3000 characters; a semicolon is part of it\n"
    "Examples:\n"
    "  system ls -l ^ ;\n"
};

// --- vversion -----------------------------------------------------------------------------

void versioncom()
{
    myp("ZEL - version %s (%i-bit)", ZEL_VERSION, int(8 * sizeof(void *)));
    notime();
}

const comhelp vversionhelp = {
    "Report the version of the program.", nullptr,
    "  vversion ;   name and version\n"
    "Examples:\n"
    "  vversion ;\n"
};

// --- exit ---------------------------------------------------------------------------------

void endwork()
{
    static bool ended;
    if (ended) return;
    ended = true;
    if (autosave_results) {
        autosave_results = 1;
        autosave_the_results();
    }
    close_treefile_at_exit();
    flushlog();
}

void haltcom()
{
    if (inbground && open_execute_file()) return;
    if (!strcmp(cmdname, "exi"))
        errmsg("Did you mean \"exit\"? The \"exit\" command can't be truncated...", nullptr);
    go_on = timeit = 0;
    endwork();
    exit(0);
}

constexpr char exittext[] =
    "Saves what is set to be saved, closes the tree file and ends the program.  The\n"
    "words \"exit\", \"quit\" and \"zzz\" do the same; \"exit\" cannot be abbreviated.\n"
    "Examples:\n"
    "  quit ;\n";
const comhelp exithelp = { "Leave the program.", nullptr, exittext };
const comhelp quithelp = { "Leave the program.", nullptr, exittext };
const comhelp zzzhelp  = { "Leave the program.", nullptr, exittext };
