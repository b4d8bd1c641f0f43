// Commands that choose what is read next: files, scripts, and the process arguments.
#include "kernel/commands.h"
#include "kernel/comhelps.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/dispatch.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <cstring>
#include <string>
#include <strings.h>
#include <unistd.h>

// --- procedure ----------------------------------------------------------------------------

// Bytes before the mark of a Nexus file, -1 when there is none.  Blanks and comments may precede it;
// they are looked at without being read, for what is no Nexus file is to be read from its start.
static long beforemark(int fd)
{
    constexpr char MARK[] = "#NEXUS";
    constexpr int LENGTH = sizeof MARK - 1;
    char block[4096];
    std::string mark;
    long at = 0, start = -1, depth = 0;
    for (ssize_t n; (n = pread(fd, block, sizeof block, at)) > 0; )
        for (ssize_t i = 0; i < n; ++i, ++at) {
            unsigned char c = static_cast<unsigned char>(block[i]);
            if (start >= 0) {
                if (mark.size() == LENGTH) return c < 33 || c == '[' ? start : -1;
                mark += char(c);
                if (strncasecmp(mark.c_str(), MARK, mark.size())) return -1;
            }
            else if (c == '[' || depth) depth += (c == '[') - (c == ']');
            else if (c == '#') {
                start = at;
                mark = char(c);
            }
            else if (c > 32 && !(at < 3 && strchr("\xEF\xBB\xBF", c))) return -1;
        }
    return mark.size() == LENGTH ? start : -1;
}

// The text that has just been opened is a Nexus file; passes its mark.
static bool isnexus()
{
    constexpr long MARKLENGTH = 6;
    if (!curproc->stream) return false;
    long before = beforemark(fileno(curproc->stream));
    for (long i = 0; before >= 0 && i < before + MARKLENGTH; ++i) gtch();
    return before >= 0;
}

// Opens the file named in cmdname.
static void opennamed()
{
    newproc();
    if (isnexus()) importcom();
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

static void openfasta()
{
    long equal = gotc('=') ? gtnu() : 0;
    if (!rdfilename()) errmsg("Must specify name of FASTA file", nullptr);
    newproc();
    read_fasta_file(equal);
}

void procedurecom()
{
    switch (gtnb()) {
        case '[':
            nodaterror("reading Newick trees");
            if (!rdfilename()) errmsg("Must specify name of Newick file", nullptr);
            newproc();
            read_newick_trees();
            break;
        case '&': openfasta(); break;
        case '/': closeoropen(); break;
        case '-': notime(); closeproc(); break;
        default:  ungtch(); openfile();
    }
}

const comhelp procedurehelp = {
    "Read data, trees and commands from a file.", nullptr,
    "  procedure NAME ;   read from the file; a '^' in its name stands for a blank\n"
    "  procedure / ;      close the file being read, and go on with the one that\n"
    "                     opened it\n"
    "  procedure ;        the same, and so does \"procedure - ;\"\n"
    "  procedure &NAME ;  read aligned sequences from a Fasta file, as the type set with\n"
    "                     \"nstates\"; with &=N, each one is padded with gaps to N positions\n"
    "  procedure [NAME ;  read trees from a Newick file\n"
    "A file that begins with \"#NEXUS\" is read as Nexus: the matrix of its block data, the\n"
    "settings of characters and taxa of its blocks assumptions and paup, its trees; what\n"
    "follows \"begin zel;\" is commands.  Numbers in Nexus and Newick files count from 1.\n"
    "Files may open other files, up to the number set by \"mxproc\" (10 at the start);\n"
    "none may be open twice.  The end of a file closes it, so that \"procedure / ;\"\n"
    "at the end is optional.\n"
    "Examples:\n"
    "  procedure vertebrates.zel ;\n"
    "  p bees.zel ; p bees_ten.tre ;\n"
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
    "  run NAME ARGUMENTS ;   at most 32 arguments of up to 512 characters each,\n"
    "                         separated by blanks; a '^' in one stands for a blank\n"
    "  run ;                  close the file being read\n"
    "A file NAME.run, in the working directory or in that set by \"rdir\", is run by\n"
    "its name alone, with or without arguments, unless the name is that of a\n"
    "command.\n"
    "Examples:\n"
    "  run first_session.run ;\n"
};

const comhelp recursehelp = {
    "Run again the file that is being read.", nullptr,
    "  recurse ARGUMENTS ;   open the current file once more, from its beginning,\n"
    "                        with its own arguments (at most 32, as in \"run\")\n"
    "Each instance counts as an open file (see \"mxproc\").  Only a file can do it, with\n"
    "the scripting language on (see \"macro\").\n"
};

const comhelp mxprochelp = {
    "Set how many input files can be open at once.", nullptr,
    "  mxproc N ;   make room for N open files (10 at the start); a smaller N than\n"
    "               there is changes nothing\n"
    "  mxproc ;     report the maximum\n"
    "Examples:\n"
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
    "Set the folder where scripts are looked for.", nullptr,
    "  rdir PATH ;   a word that is not a command is looked for as PATH/WORD.run,\n"
    "                when there is no WORD.run in the working directory\n"
    "Examples:\n"
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
    "  cdir PATH ;   change to the path; a '^' in it stands for a blank\n"
    "  cdir ;        report the current directory\n"
    "Examples:\n"
    "  cdir .. ; cdir ;\n"
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
    "  zel bground COMMANDS   run the commands without a window or a console\n"
    "The program exits with status 1 when the commands end, 255 upon an error and\n"
    "0 upon \"zzz\".  Output goes to the log, if the commands open one; without a log,\n"
    "errors are told on standard error, and all else is lost.\n"
    "While it runs, the process numbered N looks in its working directory for files\n"
    "named \"stop_zel_N\" (stops the search and is removed), \"pause_zel_N\" (waits\n"
    "while it exists) and \"execute_zel_N\" (commands to be run after those given).\n"
    "From a shell:\n"
    "  zel bground \"proc data.zel; mult; tsave *out; save; tsave/; zzz;\"\n"
};

const comhelp slaveprochelp = {
    "Start as a task of a parallel run (as first argument of the program only).", nullptr,
    "Slave tasks are started by a parallel run; users never give this command.\n"
};
