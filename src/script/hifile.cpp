// Input files of scripts, read by bytes, words, lines and numbers.
#include "script/hifile.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "script/expr.h"
#include "script/macmem.h"
#include "script/stream.h"
#include <algorithm>
#include <cassert>
#include <cctype>
#include <cstring>

hifilerec *hifiles;
int numhifiles, acthifile = -1, curhifile;
static int eats_terminator = 1;          // hifnumber consumes the character behind the number

void lay_hifiles()
{
    hifiles = reinterpret_cast<hifilerec *>(macloram(sizeof(hifilerec) * size_t(maxhifiles)));
    memset(static_cast<void *>(hifiles), 0, sizeof(hifilerec) * size_t(maxhifiles));
    numhifiles = 0;
    acthifile = -1;
}

void close_hifiles()
{
    for (int i = 0; macros_are_on() && hifiles && i < maxhifiles; ++i)
        if (hifiles[i].stream) {
            fclose(hifiles[i].stream);
            hifiles[i].stream = nullptr;
        }
    numhifiles = 0;
    acthifile = -1;
}

// --- which file ---------------------------------------------------------------------------

static int opened(const char *name)
{
    for (int i = 0; i < maxhifiles; ++i)
        if (hifiles[i].stream && !strcmp(hifiles[i].name, name)) return i;
    return -1;
}

static bool anyopen()
{
    return std::any_of(hifiles, hifiles + maxhifiles, [](const hifilerec &f) { return f.stream != nullptr; });
}

static int existing(const char *name)
{
    if (!anyopen()) errmsg("No input files are open", nullptr);
    int i = opened(name);
    if (i < 0) myerr("No open file named %s", name);
    return i;
}

static std::string name_in_brackets()
{
    std::string name;
    int c;
    for (c = gtnb(); c > 32 && c != ']' && c != ';'; c = gtch()) name += c == '^' ? ' ' : char(c);
    while (c < 33) c = gtch();
    if (c != ']') errmsg("Need closing brackets", nullptr);
    return name;
}

FILE *getdafp()
{
    if (clean_peep() == '[') {
        truly_clean_gtch();
        curhifile = existing(name_in_brackets().c_str());
    } else {
        if (acthifile < 0) errmsg(anyopen() ? "No input file is active" : "No input files are open", nullptr);
        curhifile = acthifile;
    }
    return hifiles[curhifile].stream;
}

// --- reading ------------------------------------------------------------------------------

static int nextbyte()
{
    int c = getc(hifiles[curhifile].stream);
    if (c == '\n') ++hifiles[curhifile].line;
    return c;
}

static void putback(int c)
{
    if (c == EOF) return;
    ungetc(c, hifiles[curhifile].stream);
    if (c == '\n') --hifiles[curhifile].line;
}

static int skipblanks()
{
    int c;
    do c = nextbyte(); while (c != EOF && c < 33);
    return c;
}

std::string hifstring()
{
    constexpr size_t LONGEST = 9999;
    getdafp();
    std::string word;
    int c = skipblanks();
    for (; c != EOF && c > 32; c = nextbyte()) {
        word += char(c);
        if (word.size() > LONGEST) errmsg("String too long, can't convert it", nullptr);
    }
    putback(c);
    return word;
}

double hifnumber()
{
    getdafp();
    int c = skipblanks(), sign = 1;
    if (c == '-' || c == '+') {
        sign = c == '-' ? -1 : 1;
        c = nextbyte();
    }
    double value = 0, unit = 1;
    bool digits = false;
    for (bool point = false; c != EOF && (isdigit(c) || (c == '.' && !point)); c = nextbyte()) {
        if (c == '.') { point = true; continue; }
        digits = true;
        value = 10 * value + (c - '0');
        if (point) unit *= 10;
    }
    if (!digits) errmsg("No number to read in file", hifiles[curhifile].name, nullptr);
    if (!eats_terminator) putback(c);
    return sign * value / unit;
}

static long readtimes()
{
    if (clean_peep() == ';') return 1;
    return std::max(0, imacnu());
}

static void skipbytes()
{
    getdafp();
    for (long n = readtimes(); n > 0 && nextbyte() != EOF; --n) ;
}

static void skiplines()
{
    getdafp();
    for (long n = readtimes(); n > 0; --n)
        for (int c; (c = nextbyte()) != '\n'; )
            if (c == EOF) return;
}

static void skipwords()
{
    getdafp();
    for (long n = readtimes(); n > 0; --n) {
        int c = skipblanks();
        while (c != EOF && c > 32) c = nextbyte();
        putback(c);
        if (c == EOF) return;
    }
}

static int readcode()
{
    int code = 0;
    for (int n = 0; n < 3 && isdigit(next_in_stream()); ++n) code = 10 * code + (truly_clean_gtch() - '0');
    return code & 255;
}

static void seekchar()
{
    getdafp();
    int c = gtnb();
    if (c == ';') errmsg("No string specified", nullptr);
    if (c == '&' && isdigit(next_in_stream())) c = readcode();
    for (long n = readtimes(); n > 0; --n)
        for (int got; (got = nextbyte()) != c; )
            if (got == EOF) return;
}

static std::string readsought()
{
    constexpr size_t LONGEST = 200;
    std::string text;
    int c = gtnb();
    for (; c > 32 && c != ';'; c = gtch()) {
        if (c == '&' && isdigit(next_in_stream())) c = readcode();
        text += char(c);
        if (text.size() > LONGEST) errmsg("String to seek is too long (max. 200 chars.)", nullptr);
    }
    ungtch();
    if (text.empty()) errmsg("No string specified", nullptr);
    return text;
}

// Reading goes on behind the text found.
static void seekstring()
{
    getdafp();
    std::string text = readsought(), seen;
    for (long n = readtimes(); n > 0; --n)
        for (seen.clear(); seen != text; ) {
            int c = nextbyte();
            if (c == EOF) return;
            seen += char(c);
            if (seen.size() > text.size()) seen.erase(0, 1);
        }
}

static void rewindfile()
{
    rewind(getdafp());
    hifiles[curhifile].line = 0;
    if (report_status) joinem("Rewinded file \"", hifiles[curhifile].name, "\"\n", nullptr);
}

// --- opening and closing ------------------------------------------------------------------

static const char *needname()
{
    if (!rdfilename()) errmsg("No file name given", nullptr);
    return cmdname;
}

static void openfile()
{
    const char *name = needname();
    chk_strlen(long(strlen(name)), long(sizeof hifiles->name) - 1, "File name");
    if (opened(name) >= 0) myerr("File \"%s\" is already open", name);
    hifilerec *free = std::find_if(hifiles, hifiles + maxhifiles, [](const hifilerec &f) { return !f.stream; });
    if (free == hifiles + maxhifiles) errmsg("Can't have more than", intvert(maxhifiles), "files open simultaneously", nullptr);
    FILE *stream = fopen(name, "rb");
    if (!stream) myerr("Can't open file %s", name);
    strcpy(free->name, name);
    free->number = numhifiles++;
    free->line = 0;
    free->stream = stream;
    acthifile = int(free - hifiles);
    if (report_status) spewem("Opened file", name, "for input", nullptr);
}

static void selectfile()
{
    acthifile = existing(needname());
    if (report_status) myp("Setting file \"%s\" as active (=default) input file", hifiles[acthifile].name);
}

static void listfiles()
{
    myp("\nList of open input files (* = active):");
    for (int i = 0; i < maxhifiles; ++i)
        if (hifiles[i].stream) myp(" %c %s", i == acthifile ? '*' : ' ', hifiles[i].name);
}

// The active role goes to the file opened last before it.
static void closefile()
{
    getdafp();
    hifilerec &f = hifiles[curhifile];
    fclose(f.stream);
    f.stream = nullptr;
    bool wasactive = curhifile == acthifile;
    if (wasactive) {
        acthifile = -1;
        for (int i = 0; i < maxhifiles; ++i)
            if (hifiles[i].stream && hifiles[i].number < f.number
                && (acthifile < 0 || hifiles[i].number > hifiles[acthifile].number)) acthifile = i;
    }
    if (!report_status) return;
    char text[500];
    snprintf(text, sizeof text, "Closed file %s", f.name);
    tojoin(text);
    if (acthifile < 0) tojoin(" (no file is active now)");
    else if (wasactive) {
        snprintf(text, sizeof text, " (active file is now %s)", hifiles[acthifile].name);
        tojoin(text);
    }
    spewout();
}

// --- the command --------------------------------------------------------------------------

static void setmaximum()
{
    if (macros_are_on()) errmsg("Max. number of input files can't be set with macros ON", nullptr);
    constexpr long MOST = 500;
    long n = gtnu();
    if (n > 0) maxhifiles = int(std::min(n, MOST));
    if (report_status) myp("Max. number of input files is %i", maxhifiles);
}

struct hifoption { const char *word; void (*run)(); };
static const hifoption hifoptions[] = {           // whole words: one begins another
    { "open",     openfile   }, { "active",   selectfile }, { "list",   listfiles },
    { "close",    closefile  }, { "skip",     skipbytes  }, { "skipline", skiplines },
    { "seek",     seekchar   }, { "skips",    skipwords  }, { "seeks",  seekstring },
    { "rewind",   rewindfile },
};

void hifilecom()
{
    fullnamed();
    notime();
    if (gotc('=')) { setmaximum(); return; }
    scriptcommand();
    int c = gtnb();
    if (c == '[' || c == ']') {
        eats_terminator = c == '[';
        return;
    }
    ungtch();
    rdcmd();
    for (const hifoption &o : hifoptions)
        if (!strcmp(o.word, cmdname)) {
            o.run();
            return;
        }
    for (const hifoption &o : hifoptions)
        if (*cmdname && namtrun(cmdname, o.word)) {
            o.run();
            return;
        }
    errmsg("Unidentified option in hifile command", nullptr);
}

const comhelp hifilehelp = {
    "Read other files from within a script.", nullptr,
    "  hifile open NAME ;      open a file, which becomes the active one\n"
    "  hifile active NAME ;    make an open file the active one\n"
    "  hifile list ;           list the open files\n"
    "  hifile close ;          close the active file\n"
    "  hifile skip N ;         skip N bytes (default 1)\n"
    "  hifile skipline N ;     skip N lines (default 1)\n"
    "  hifile skips N ;        skip N words (default 1)\n"
    "  hifile seek C N ;       read through character C, N times (default 1)\n"
    "  hifile seeks TEXT N ;   read through a text without blanks, N times (default 1)\n"
    "  hifile rewind ;         go to the start\n"
    "  hifile [ ;              the character behind a number is read with it (the\n"
    "                          default)\n"
    "  hifile ] ;              it is not\n"
    "  hifile = N ;            at most N open files (default 5); while the language is\n"
    "                          off only\n"
    "All but \"open\" and \"active\" take [NAME] behind their word, for a file that is not\n"
    "the active one.  In texts sought, &N is the character of code N.  The next word is\n"
    "$hifstring, the next number hifnumber.\n"
    "Examples:\n"
    "  macro = ; hifile open bees.zel ; quote $hifstring ; hifile close ; macro - ;\n"
};

void checkhifiles()
{
    assert(acthifile == -1 || (acthifile < maxhifiles && hifiles[acthifile].stream));
    for (int i = 0; i < maxhifiles; ++i) assert(!hifiles[i].stream || hifiles[i].name[0]);
}
