// The destinations of composed text, and the log among them.
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/silence.h"
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

// Text on its way to the log file: written out when the limit is reached, and on demand.
struct filebuf {
    char  *bytes;
    size_t limit, used;
};
static char    linebytes[4096], filebytes[1 << 16];
static filebuf logbuf = { linebytes, sizeof linebytes, 0 };     // what is printed
static filebuf fbuf = { filebytes, sizeof filebytes, 0 };       // what is saved in bulk

// What ends inside a sequence waits for the rest, unless this is all there is to come.
static void writeout(filebuf *b, bool all)
{
    size_t n = all ? b->used : utf8whole(b->bytes, b->used);
    utf8out(b->bytes, n, logfile);
    fflush(logfile);
    b->used -= n;
    memmove(b->bytes, b->bytes + n, b->used);
}

static void intobuffer(filebuf *b, const char *text, size_t left)
{
    while (left) {
        size_t n = std::min(left, b->limit - b->used);
        memcpy(b->bytes + b->used, text, n);
        b->used += n;
        text += n;
        left -= n;
        if (b->used == b->limit) writeout(b, false);
    }
}

void flushlog()
{
    if (logbuf.used && logfile != stderr) writeout(&logbuf, true);
    logbuf.used = 0;
}

void fbuf_flush()
{
    if (fbuf.used && logfile != stderr) writeout(&fbuf, true);
    fbuf.used = 0;
}

// What came first is in the file first, whichever buffer it went through.
void tolog(const char *text)
{
    if (fbuf.used) fbuf_flush();
    intobuffer(&logbuf, text, strlen(text));
}

void fbuf_write(const char *text, size_t n)
{
    if (logbuf.used) flushlog();
    intobuffer(&fbuf, text, n);
}

void spewer(const char *text)
{
    if (tmpsilent == 1) return;
    if (tmpsilent == 2) {
        tolog(text);
        writeout(&logbuf, false);
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
    fbuf_flush();
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
    silence notinlog(silent | NOLOG);    // settings saved there are read back as commands
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
    "  log &NAME ;    have tree-drawing commands save SVG to file NAME (up to 159\n"
    "                 characters)\n"
    "  log &/ ;       do not (the default)\n"
    "A '^' in a name stands for a blank.  See also \"silent\" and \"svtxt\".\n"
    "Examples:\n"
    "  log results.txt ;\n"
    "  length ; log / ;   the lengths are in the file\n"
};

// --- the command silent ------------------------------------------------------------------

static void saysilent()
{
    silence none(0);
    unsigned char was = none.was;
    if (!(was & (NOLOG | NOTEXT))) joinem("Output written to file and text buffer\n", nullptr);
    else if ((was & NOLOG) && (was & NOTEXT)) joinem("No output \n", nullptr);
    else joinem("Output written to ", was & NOLOG ? "text buffer" : "file", " only\n", nullptr);
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
    "The xxx is \"file\" (the log), \"console\" or \"buffer\" (both: what is shown), or\n"
    "\"all\"; several may be given, and each may be shortened.\n"
    "Examples:\n"
    "  silent = console ; length ; silent - all ;\n"
    "  silent ;\n"
};
