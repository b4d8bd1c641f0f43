// Commands that choose what is read next: files, scripts, and the process arguments.
#include "kernel/commands.h"
#include "kernel/comhelps.h"
#include "kernel/arena.h"
#include "kernel/dispatch.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <cstring>
#include <strings.h>
#include <unistd.h>

// --- procedure ----------------------------------------------------------------------------

// The text that has just been opened is a Nexus file.
static bool isnexus()
{
    constexpr char MARK[] = "#NEXUS";
    constexpr size_t LENGTH = sizeof MARK - 1;
    if (peep() != '#' || strncasecmp(getnext, MARK, LENGTH)) return false;
    unsigned char after = static_cast<unsigned char>(getnext[LENGTH]);
    return after && after < 33;
}

// Opens the file named in cmdname.
static void opennamed()
{
    newproc();
    if (!isnexus()) return;
    closeproc();
    errmsg("Reading Nexus files is not available yet", nullptr);
}

static void openfile()
{
    notime();
    if (rdfilename()) opennamed(); else closeproc();
}

// A '/' closes the file, unless it begins a path.
static void closeoropen()
{
    notime();
    int c = gtch();
    if (c < 33 || c == ';' || c == '&') { closeproc(); return; }
    ungtch();
    size_t n = size_t(rdfilename());
    if (n == CMDNAMESIZE - 1) --n;
    memmove(cmdname + 1, cmdname, n);
    cmdname[0] = '/';
    cmdname[n + 1] = 0;
    opennamed();
}

void procedurecom()
{
    switch (gtnb()) {
        case '[':
            nodaterror("reading Newick trees");
            errmsg("Reading Newick trees is not available yet", nullptr);
        case '&':
            if (gotc('=')) gtnu();
            if (peep() == ';') errmsg("Must specify name of FASTA file", nullptr);
            errmsg("Reading FASTA files is not available yet", nullptr);
        case '/': closeoropen(); break;
        case '-': notime(); closeproc(); break;
        default:  ungtch(); openfile();
    }
}

const comhelp procedurehelp = {
    "Read data and commands from a file.", nullptr,
    "  procedure name   read from the file; '^' in the name stands for a blank\n"
    "  procedure/       close the file being read, and go on with the one that opened it\n"
    "  procedure;       the same, and so does \"procedure -\"\n"
    "Files may open other files, up to the number set by \"mxproc\"; none may be open twice.\n"
    "The end of a file closes it, so that \"procedure/;\" at the end is optional.\n"
    "Examples:\n"
    "  procedure mydata.zel ;\n"
    "  proc/ ;\n"
};

// --- scripts ------------------------------------------------------------------------------

void runcom()
{
    notime();
    if (!rdfilename()) { closeproc(); return; }
    runscript(cmdname);
}

void runfilecom() { runscript(cmdname); }

const comhelp runhelp = {
    "Run a file of commands, with arguments.", nullptr,
    "  run name arguments   at most 32 arguments of up to 512 characters each, separated by\n"
    "                       blanks; '^' in an argument stands for a blank\n"
    "  run;                 close the file being read\n"
    "A file name.run, in the working directory or in that set by \"rdir\", is run by its name\n"
    "alone, with or without arguments, unless the name is that of a command.\n"
    "Example:\n"
    "  run myscript.run 10 outfile ;\n"
};

const comhelp recursehelp = {
    "Run again the file that is being read.", nullptr,
    "  recurse arguments   opens the current file once more, from its beginning, with its own\n"
    "                      arguments (at most 32, as in \"run\")\n"
    "Each instance counts as an open file (see \"mxproc\").\n"
};

const comhelp mxprochelp = {
    "Maximum number of input files that can be open.", nullptr,
    "  mxproc N   make room for N open files (default 10); a smaller N changes nothing\n"
    "  mxproc;    report the maximum\n"
    "Example:\n"
    "  mxproc 20 ;\n"
};

// --- folders ------------------------------------------------------------------------------

void rdircom()
{
    if (!rdfilename()) errmsg("No run-path given", nullptr);
    chk_strlen(long(strlen(cmdname)), long(sizeof rundir) - 2, "Run-path");
    strcpy(rundir, cmdname);
    size_t n = strlen(rundir);
    if (rundir[n - 1] != '/') strcpy(rundir + n, "/");
    notime();
}

const comhelp rdirhelp = {
    "Folder where scripts are looked for.", nullptr,
    "  rdir path   a word that is not a command is looked for as path/word.run, when there is\n"
    "              no word.run in the working directory\n"
    "Example:\n"
    "  rdir scripts ;\n"
};

void cdircom()
{
    char path[4096];
    if (rdfilename() && chdir(cmdname)) errmsg("Can't change directory to", cmdname, nullptr);
    if (!getcwd(path, sizeof path)) errmsg("Can't find out the current directory", nullptr);
    myp("Current directory is %s", path);
    notime();
}

const comhelp cdirhelp = {
    "Change the working directory.", nullptr,
    "  cdir path   change to the path; '^' in the path stands for a blank\n"
    "  cdir;       report the current directory\n"
    "Example:\n"
    "  cdir .. ;\n"
};

// --- background runs ----------------------------------------------------------------------

static bool isname(const char *word) { return !strcmp(word, "bground") || !strcmp(word, "slaveproc"); }

void bgroundcom()
{
    if (!isname(cmdname))
        errmsg("Unrecognized command:", cmdname, parsing_args ? " --did you mean \"bground\"?" : nullptr, nullptr);
    if (!parsing_args || !first_command()) errmsg("Command \"bground\" is command-line only!", nullptr);
    if (!strcmp(current_command, "slaveproc")) errmsg("Parallel runs are not available yet", nullptr);
    report_status = breakable = mybeep = 0;
    inbground = 1;
    silent = 2;
}

const comhelp bgroundhelp = {
    "Run in the background (as first argument of the program only).", nullptr,
    "  zel bground commands   runs the commands without a window or a console, and exits: with\n"
    "                         status 1 when the commands end, 255 upon an error, 0 upon \"zzz\"\n"
    "Output goes to the log, if the commands open one; without a log, errors are told on standard\n"
    "error, and all else is lost.\n"
    "While it runs, the process numbered N looks in its working directory for files named\n"
    "\"stop_zel_N\" (stops the search and is removed), \"pause_zel_N\" (waits while it exists) and\n"
    "\"execute_zel_N\" (commands to be run after those given).\n"
};

const comhelp slaveprochelp = {
    "Start as a task of a parallel run (as first argument of the program only).", nullptr,
    "Slave tasks are started by a parallel run; users never give this command.\n"
};
