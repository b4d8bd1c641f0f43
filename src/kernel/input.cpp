// The stack of inputs.
//
// Level 0 is what the user gives; files and scripts stand above it, and texts that a command runs
// for itself above those.  Only the top level is read.  A level that has ended holds "\n;", so that
// its last command is always terminated, and is closed when reading goes on past that.
#include "kernel/input.h"
#include "kernel/background.h"
#include "kernel/below.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/levels.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "kernel/textbuf.h"
#include "kernel/window.h"
#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

constexpr int READSIZE = 4096;        // most bytes read at a time
constexpr int ARGPOOLSIZE = 2048;
constexpr int MAXARGLEN = 512;
constexpr int MAXOVERREAD = 1000;     // readings of the end of the base level before a reader is taken to be lost

inrec *procnest, *curproc;
int   maxnest = 10;
char *getnext;
static char pool[ARGPOOLSIZE];        // arguments of the open levels, last in first out
char *argpool = pool;
char  rundir[2048];
int   domacros, doing_quotes, ignore_quotes, allow_same_file, reading_literal_file, parsing_args;
int   recurse_instance, inbground, is_typed_menu, getting_cmd, reading_nexus_file;
int   recall_commands = 1;

int  (*gtch)()   = normal_gtch;
void (*ungtch)() = normal_ungtch;

static bool        midline;           // standard input stands inside a line
static bool        droprest;          // that line is abandoned: the rest of it is not to be read
static std::string pendingline;       // what did not fit of a line typed at the terminal
static int         overread;          // times the end of the base level was read again

static int level() { return int(curproc - procnest); }

// --- refilling ----------------------------------------------------------------------------

// A NUL would look like the end of the buffer.
static int nonuls(char *text, int n)
{
    std::replace(text, text + n, '\0', ' ');
    text[n] = 0;
    return n;
}

static void endtext(char *at)
{
    memcpy(at, "\n;", 3);
    getnext = at;
}

// One line, or as much of it as there is room for, from standard input.  Nothing is read beyond
// it, so that a child process that shares the input finds the next line.
static int readsharedline(char *to, int room)
{
    struct stat what;
    bool canseek = !fstat(0, &what) && S_ISREG(what.st_mode);
    int n = 0;
    if (canseek) {
        n = int(std::max<ssize_t>(read(0, to, size_t(room)), 0));
        char *end = static_cast<char *>(memchr(to, '\n', size_t(n)));
        if (end && end + 1 < to + n) {
            int line = int(end + 1 - to);
            if (lseek(0, line - n, SEEK_CUR) != -1) n = line;
        }
    } else
        while (n < room && read(0, to + n, 1) == 1)
            if (to[n++] == '\n') break;
    midline = n && to[n - 1] != '\n';
    return n;
}

// A line typed at the terminal.  readcommand gives it without its newline.
static int readtypedline(char *to, int room)
{
    if (pendingline.empty()) {
        if (!recall_commands || !window.readcommand) {
            fprintf(stderr, "\n%s", prompt);
            fflush(stderr);
            return readsharedline(to, room);
        }
        char *line = window.readcommand(prompt);
        if (!line) return 0;
        pendingline = line;
        free(line);
        if (superecho && logfile && logfile != stderr) {
            flushlog();
            fprintf(logfile, "%s%s\n", prompt, pendingline.c_str());
        }
        pendingline += '\n';
    }
    int n = int(std::min<size_t>(pendingline.size(), size_t(room)));
    memcpy(to, pendingline.data(), size_t(n));
    pendingline.erase(0, size_t(n));
    return n;
}

static int readbase(inrec *p)
{
    parsing_args = 0;
    if (p->is_terminal) return readtypedline(p->buffer, READSIZE);
    while (droprest) {
        if (!readsharedline(p->buffer, READSIZE)) midline = false;
        droprest = midline;
    }
    return readsharedline(p->buffer, READSIZE);
}

// Text written by other programs may begin with the mark of UTF-8; it is no part of the first word.
static void blankmark(char *text, int n)
{
    constexpr char MARK[] = "\xEF\xBB\xBF";
    if (n >= 3 && !memcmp(text, MARK, 3)) memset(text, ' ', 3);
}

// The buffer of the current level is used up and the level has not ended.
static void refill()
{
    inrec *p = curproc;
    if (!p->stream) {
        p->at_eof = 1;
        endtext(getnext);
        if (is_typed_menu) go_on = 0;
        return;
    }
    if (p == procnest && inbground) {
        if (!open_execute_file()) quit_background();
        parsing_args = 0;
        return;
    }
    if (p->is_terminal) linsdone = 0;      // what was shown before the user typed need not be paged
    int n = p == procnest ? readbase(p)
          : p->is_terminal ? (fgets(p->buffer, READSIZE, p->stream) ? int(strlen(p->buffer)) : 0)
          : int(fread(p->buffer, 1, READSIZE, p->stream));
    getnext = p->buffer;
    if (n && !p->began) blankmark(p->buffer, n);
    p->began = 1;
    if (nonuls(p->buffer, n)) return;      // a short read is not the end yet
    p->at_eof = 1;
    endtext(p->buffer);
}

// The reader needs a character and the buffer has none.
static void needmore()
{
    if (!curproc->at_eof) { refill(); return; }
    if (curproc > procnest) { closeproc(); return; }
    // Whoever reads on past the end of everything looks for what will never come.
    if (++overread > MAXOVERREAD) { overread = 0; check_eof(); }
    endtext(curproc->buffer);
}

void more_input() { needmore(); }

int normal_gtch()
{
    for (;;) {
        unsigned char c = static_cast<unsigned char>(*getnext);
        if (c == ',' && curproc == procnest && !doing_quotes) c = static_cast<unsigned char>(*getnext = ';');
        if (c) {
            ++getnext;
            if (c == '\n') ++curproc->lineno;
            return c;
        }
        needmore();
    }
}

void normal_ungtch()
{
    if (getnext == curproc->buffer) return;
    if (*--getnext == '\n') --curproc->lineno;
}

char *giveme_getnext()       { return getnext; }
void  setgetnext(char *p)    { getnext = p; }

void check_eof()
{
    if (curproc->at_eof) errmsg("Unexpected end of file (possibly missing \"procedure/;\")", nullptr);
}

// --- opening and closing ------------------------------------------------------------------

static void setname(inrec *p, const char *name)
{
    snprintf(p->name, sizeof p->name, "%s", name);
    p->args[0] = p->name;
}

static void clearlevel(inrec *p)
{
    p->stream = nullptr;
    p->is_terminal = p->at_eof = p->began = p->has_args = p->nargs = 0;
    p->saved_atloop = p->saved_private = p->saved_addatvar = p->saved_highest = 0;
    p->saved_loseg = nullptr;
    std::fill(p->args, p->args + MAXARGS + 1, "");
    p->lineno = 1;
    p->buffer[0] = 0;
    p->saved_getnext = p->buffer;
}

static void enter(inrec *p)
{
    macro_level_opens(p);
    curproc->saved_getnext = getnext;
    curproc = p;
    getnext = p->buffer;
}

static void leave()
{
    inrec *left = curproc--;
    getnext = curproc->saved_getnext;
    macro_level_closed(left);
}

static FILE *openinput(const char *name)
{
    struct stat what;
    if (!stat(name, &what) && S_ISDIR(what.st_mode)) return nullptr;
    return fopen(name, "rb");
}

// Opens the file named in cmdname as a new level, without a word.
static void openlevel()
{
    if (level() >= maxnest) errmsg("You can't nest ", intvert(maxnest), "files", nullptr);
    inrec *p = curproc + 1;
    clearlevel(p);
    setname(p, cmdname);
    recurse_instance = 0;
    for (inrec *q = procnest + 1; q < p; ++q) {
        if (!q->stream || strcasecmp(q->name, p->name)) continue;
        if (!allow_same_file) errmsg("File", p->name, "already in use", nullptr);
        ++recurse_instance;
    }
    allow_same_file = 0;
    if (!(p->stream = openinput(cmdname))) errmsg("Can't open", cmdname, nullptr);
    p->is_terminal = isatty(fileno(p->stream));
    p->args[1] = argpool;
    if (macroswapping) ++macroswapping;
    enter(p);
}

void newproc()
{
    openlevel();
    spewem("Reading from", curproc->name, nullptr);
}

void closeproc()
{
    if (curproc == procnest) return;
    inrec *p = curproc;
    if (macroswapping) --macroswapping;
    if (p->stream) {
        if (!is_typed_menu || level() >= is_typed_menu) fclose(p->stream);
        p->stream = nullptr;
        argpool = const_cast<char *>(p->args[1]);
    }
    bool quietly = menuing || reading_literal_file;      // the level that is left may be the text read in place
    leave();
    if (!quietly && curproc->stream != stdin)
        spewem("Again reading from", curproc->name, nullptr);
    if (curproc == procnest && !jaking) erdil_forgood();
}

void inpurge()
{
    while (curproc > procnest) closeproc();
    procnest->buffer[0] = 0;
    getnext = procnest->buffer;
    pendingline.clear();
    droprest = midline;
    overread = 0;
}

void base_input(const char *name, const char *text)
{
    while (curproc > procnest) closeproc();
    argpool = pool;
    inrec *p = procnest;
    clearlevel(p);
    setname(p, name);
    p->args[0] = dabinname;
    p->nargs = 1;
    getnext = p->buffer;
    overread = 0;
    if (!text) {
        p->stream = stdin;
        p->is_terminal = isatty(0);
        if (!(text = background_text())) return;
        parsing_args = 1;
    }
    int length = int(strlen(text));
    if (length >= INBUFSIZE) myerr("Sorry, instructions are too long (%i bytes; max. is %i)", length, INBUFSIZE);
    memcpy(p->buffer, text, size_t(length) + 1);
}

void push_text_level(const char *name, const char *text, const char *ending, int limit)
{
    int length = int(strlen(text));
    if (length >= limit) myerr("Sorry, instructions are too long (%i bytes; max. is %i)", length, limit);
    assert(level() < maxnest);
    inrec *p = curproc + 1;
    clearlevel(p);
    setname(p, name);
    // The text still sees the arguments of the script it stands in.
    p->has_args = curproc->has_args;
    p->nargs = curproc->nargs;
    std::copy(curproc->args + 1, curproc->args + MAXARGS + 1, p->args + 1);
    assert(size_t(length) + strlen(ending) + 4 <= sizeof p->buffer);
    memcpy(p->buffer, text, size_t(length));
    strcpy(p->buffer + length, ending);
    if (macroswapping) ++macroswapping;
    enter(p);
}

void pop_text_level()
{
    assert(curproc > procnest && !curproc->stream);
    if (macroswapping) --macroswapping;
    leave();
}

static void pushhandread(const char *text, const char *refusal)
{
    if (level() >= maxnest) myerr(refusal, level());
    push_text_level("parser", text, " ;; ", INBUFSIZE - 16);
}

void tmp_input(const char *text, void *)
{
    pushhandread(text, "Can't run C-style script with %i open files\nIncrease \"mxproc\" and try again");
}

void auto_local_parser(const char *text)
{
    pushhandread(text, "Can't complete task with %i open files\nIncrease \"mxproc\" and try again");
}

void closetmpproc() { pop_text_level(); }

// --- arguments ----------------------------------------------------------------------------

// Arguments up to the semicolon, into the pool above its top.  Returns how many; arg[1..] are set.
int readargs(const char *script, const char *arg[])
{
    char *top = argpool;
    int n = 0;
    for (;;) {
        int length = rdfilename();
        if (!length) return n;
        if (n == MAXARGS) myerr("Too many arguments for %s (max.: %i)", script, MAXARGS);
        if (length > MAXARGLEN) errmsg("Argument too long", nullptr);
        if (top + length + 1 > pool + ARGPOOLSIZE) errmsg("String of arguments too long", nullptr);
        memcpy(top, cmdname, size_t(length) + 1);
        arg[++n] = top;
        top += length + 1;
    }
}

// Opens the file as a level that owns the arguments just read.
void openwithargs(const char *name, const char *arg[], int n)
{
    snprintf(cmdname, sizeof cmdname, "%s", name);
    openlevel();
    curproc->has_args = 1;
    curproc->nargs = n;
    std::copy(arg + 1, arg + n + 1, curproc->args + 1);
    if (n) argpool = const_cast<char *>(arg[n]) + strlen(arg[n]) + 1;
    else curproc->args[1] = argpool;
}

void listargs()
{
    for (int i = 1; i <= curproc->nargs; ++i) { tojoin(curproc->args[i]); spewch(i < curproc->nargs ? ' ' : '\n'); }
}

void runscript(const char *name)
{
    std::string script = name;               // cmdname is read over
    const char *arg[MAXARGS + 1];
    int n = readargs(name == cmdname ? script.c_str() : name, arg);
    openwithargs(script.c_str(), arg, n);
    tojoin("Running ");
    tojoin(curproc->name);
    if (n) spewch(' ');
    else tojoin(" (with no arguments)\n");
    listargs();
    spewjn();
}

void recursecom()
{
    scriptcommand();
    const char *arg[MAXARGS + 1];
    std::string name = curproc->name;
    int n = readargs(name.c_str(), arg);
    allow_same_file = 1;
    openwithargs(name.c_str(), arg, n);
    tojoin("Recursing ");
    tojoin(curproc->name);
    tojoin(" (instance ");
    tojoin(intvert(recurse_instance));
    tojoin(n ? ") with arguments: " : ", with no arguments)\n");
    listargs();
    spewjn();
}

// --- the size of the stack ----------------------------------------------------------------

static bool isinbuffer(const inrec *p, const char *at) { return at >= p->buffer && at < p->buffer + sizeof p->buffer; }

void mxproccom()
{
    long n = gtnu();
    if (n > maxnest) {
        inrec *bigger = n < INT32_MAX / long(sizeof(inrec)) ? new (std::nothrow) inrec[size_t(n) + 1] : nullptr;
        if (!bigger) errmsg("Cannot reset number of input files", nullptr);
        curproc->saved_getnext = getnext;
        for (inrec *p = procnest, *q = bigger; p <= curproc; ++p, ++q) {
            *q = *p;
            if (isinbuffer(p, p->saved_getnext)) q->saved_getnext = q->buffer + (p->saved_getnext - p->buffer);
            if (p->args[0] == p->name) q->args[0] = q->name;
        }
        macro_buffers_moved(procnest, bigger, level() + 1);
        curproc = bigger + level();
        delete[] procnest;
        procnest = bigger;
        getnext = curproc->saved_getnext;
        maxnest = int(n);
    }
    spewem("Max. number of input files is", intvert(maxnest), nullptr);
}

void initinput()
{
    maxnest = 10;
    procnest = new (std::nothrow) inrec[size_t(maxnest) + 1];
    if (!procnest) {
        fputs("Sorry, cannot allocate initial memory\n", stderr);
        exit(255);
    }
    curproc = procnest;
    clearlevel(procnest);
    setname(procnest, "");
    procnest->args[0] = dabinname;
    procnest->nargs = 1;
    getnext = procnest->buffer;
}

// --- views --------------------------------------------------------------------------------

bool end_of_input()
{
    if (is_typed_menu && level() == is_typed_menu && !go_on) return true;
    return macroswapping == -1 || (curproc == procnest && procnest->at_eof);
}

bool end_of_file()                  { return curproc->at_eof; }
int  giveme_curproc_level()         { return level(); }
const char *giveme_curproc_name()   { return curproc->name; }
char *giveme_curproc_buf()          { return curproc->buffer; }
bool izatty()                       { return curproc->is_terminal; }
bool reading_screen()               { return curproc->stream == stdin; }
bool reading_from_screen()          { return curproc->stream == stdin && curproc->is_terminal; }
const char *current_input()         { return curproc->name; }
int  give_narg()                    { return curproc->nargs; }
int  numargs()                      { return curproc->nargs; }
long giveme_fileline()              { return curproc->lineno; }

const char *current_input_name()    // without its folder
{
    const char *slash = strrchr(curproc->name, '/');
    return slash && slash[1] ? slash + 1 : curproc->name;
}

const char *give_runarg(int i)      // "" for an argument that was not given
{
    bool given = i == 0 || (i > 0 && i <= curproc->nargs && curproc > procnest);
    return given && curproc->args[i] ? curproc->args[i] : "";
}

void checkinput()
{
    assert(procnest && procnest <= curproc && curproc <= procnest + maxnest);
    assert(isinbuffer(curproc, getnext) || is_macro_text(getnext));
    assert(is_macro_text(getnext) || memchr(getnext, 0, size_t(curproc->buffer + sizeof curproc->buffer - getnext)));
    assert(argpool >= pool && argpool <= pool + ARGPOOLSIZE);
    for (inrec *p = procnest; p <= curproc; ++p) {
        assert(p->lineno >= 0 && p->nargs >= 0 && p->nargs <= MAXARGS);
        assert(p == curproc || isinbuffer(p, p->saved_getnext) || is_macro_text(p->saved_getnext));
    }
}
