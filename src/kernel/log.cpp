// The destinations of composed text, and the log among them.
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/textbuf.h"
#include "kernel/window.h"
#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>

FILE *logfile = stderr;
FILE *trulogfile;
char  logfilename[160];
int   autosvg;
char  autosvg_file[160];

static char   logbuf[4096];
static size_t logptr;

// What ends inside a sequence waits for the rest, unless this is all there is to come.
static void writelog(bool all)
{
    size_t n = all ? logptr : utf8whole(logbuf, logptr);
    utf8out(logbuf, n, logfile);
    fflush(logfile);
    logptr -= n;
    memmove(logbuf, logbuf + n, logptr);
}

void flushlog()
{
    if (logptr && logfile != stderr) writelog(true);
    logptr = 0;
}

void tolog(const char *text)
{
    for (size_t left = strlen(text); left; ) {
        size_t n = std::min(left, sizeof logbuf - logptr);
        memcpy(logbuf + logptr, text, n);
        logptr += n;
        text += n;
        left -= n;
        if (logptr == sizeof logbuf) writelog(false);
    }
}

void spewer(const char *text)
{
    if (tmpsilent == 1) return;
    if (tmpsilent == 2) {
        tolog(text);
        writelog(false);
        return;
    }
    if (logfile != stderr && !(silent & 1)) tolog(text);
    if (!(silent & 4)) {
        spewtogil(text);
        window.zel_app_window_updateBuffer("");
    }
}

void closelog()
{
    flushlog();
    if (logfile != stderr && logfile != stdout) fclose(logfile);
    logfile = stderr;
    logfilename[0] = 0;
}

// --- the command log ---------------------------------------------------------------------

static void saylog()
{
    if (logfile == stderr) spewem("No Log file open", nullptr);
    else spewem("Log file:", logfilename, nullptr);
}

// A '/' was read.  File names may begin with one: it closes only when the command ends there.
static bool istrueslash()
{
    int c = gtch();
    ungtch();
    return c <= ' ' || c == ';' || c == '&';
}

static void openlog(const char *name, const char *mode)
{
    chk_strlen(long(strlen(name)), sizeof logfilename - 1, "Log file name");
    std::string copy = name;             // the name may stand in a buffer that closing reuses
    closelog();
    if (!strcmp(copy.c_str(), "stdout")) logfile = stdout;
    else if (FILE *f = fopen(copy.c_str(), mode)) logfile = f;
    else errmsg("Cannot open file", copy.c_str(), nullptr);
    snprintf(logfilename, sizeof logfilename, "%s", copy.c_str());
    saylog();
}

static void svgcom()
{
    bool slash = gotc('/');
    if (slash && istrueslash()) {
        autosvg = 0;
        autosvg_file[0] = 0;
        joinem("Tree-drawing commands will save SVG only with ctrl-s\n", nullptr);
        return;
    }
    std::string name = slash ? "/" : "";
    rdfilename();
    name += cmdname;
    if (name.size() >= sizeof autosvg_file) errmsg("SVG file name too long", nullptr);
    if (name.empty()) errmsg("No name given for SVG file", nullptr);
    snprintf(autosvg_file, sizeof autosvg_file, "%s", name.c_str());
    autosvg = 1;
    joinem("Tree-drawing commands will save SVG to \"", autosvg_file, "\"\n", nullptr);
}

void logcom()
{
    notime();
    if (gotc('&')) {
        svgcom();
        return;
    }
    std::string name;
    bool append = gotc('+');
    if (gotc('/')) {
        if (istrueslash()) {
            closelog();
            return;
        }
        name = "/";
    }
    if (!rdfilename() && name.empty()) {
        saylog();
        return;
    }
    name += cmdname;
    openlog(name.c_str(), append ? "ab" : "wb");
}

const comhelp loghelp = {
    "Open and close the log, the file that keeps what is shown.", nullptr,
    "  log NAME ;     open a new log; a file of that name is replaced\n"
    "  log +NAME ;    open a log; a file of that name is added to\n"
    "  log stdout ;   write the log to standard output\n"
    "  log ;          tell which log is open\n"
    "  log / ;        close the log\n"
    "  log &NAME ;    have tree-drawing commands save SVG to file NAME\n"
    "  log &/ ;       do not (the default)\n"
    "A '^' in a name stands for a blank.  See also \"silent\".\n"
    "Examples:\n"
    "  log results.txt ;\n"
    "  log / ;\n"
};

// --- the command silent ------------------------------------------------------------------

constexpr unsigned char NOLOG = 1, NOTEXT = 4, NOTHING = 7, NOCONSOLE = 2;

static void saysilent()
{
    unsigned char was = silent;
    silent = 0;
    if (!(was & (NOLOG | NOTEXT))) joinem("Output written to file and text buffer\n", nullptr);
    else if ((was & NOLOG) && (was & NOTEXT)) joinem("No output \n", nullptr);
    else joinem("Output written to ", was & NOLOG ? "text buffer" : "file", " only\n", nullptr);
    silent = was;
}

static void setsilent(bool off)
{
    constexpr struct { const char *word; unsigned char bits; } outputs[] = {
        { "all", NOTHING }, { "file", NOLOG }, { "console", NOTEXT }, { "buffer", NOTEXT },
    };
    rdcmd();
    for (auto &output : outputs) {
        if (!cmdname[0] || brevcomp(cmdname, output.word)) continue;
        if (output.bits == NOTHING) silent = off ? NOTHING : inbground ? NOCONSOLE : 0;
        else silent = off ? silent | output.bits : silent & ~output.bits;
        return;
    }
    errmsg("wrong argument for silent: ", cmdname, nullptr);
}

void silentcom()
{
    notime();
    if (peep() == ';') {
        saysilent();
        return;
    }
    for (int sign = 0; peep() != ';'; ) {
        int c = peep();
        if (c == '=' || c == '-') sign = gtnb();
        else if (!sign || !isalpha(c)) myerr("Wrong argument for silent: '%c'", c);
        setsilent(sign == '=');
    }
}

const comhelp silenthelp = {
    "Control output to xxx.", nullptr,
    "  silent =xxx ;   no output to xxx\n"
    "  silent -xxx ;   output to xxx (the default)\n"
    "  silent ;        tell where output goes\n"
    "The xxx is \"file\" (the log), \"console\" or \"buffer\" (what is shown), or \"all\"; several may be\n"
    "given, and each may be shortened.\n"
    "Examples:\n"
    "  silent = console ;\n"
    "  silent - all ;\n"
};
