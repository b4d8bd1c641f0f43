// The readers of words and numbers that every command parses its arguments with, and the
// comparison of words.  Letters and digits are those of ASCII whatever the locale.
#include "kernel/input.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/output.h"
#include <array>
#include <charconv>
#include <cstring>
#include <strings.h>

constexpr int NUMDIGITS = 15, REALCHARS = 25;

int  Namesize = 32;
char cmdname[CMDNAMESIZE], junkstr[JUNKSIZE];

constexpr bool isletter(int c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr bool isnumeral(int c) { return c >= '0' && c <= '9'; }

static constexpr auto idtable = [] {
    std::array<unsigned char, 256> t{};
    for (int c = 0; c < 256; ++c)
        if (isletter(c) || c == '_' || c == '-' || c == '.' || c == '+') t[size_t(c)] = static_cast<unsigned char>(c);
    return t;
}();
const unsigned char *const idchars = idtable.data();

// --- characters ---------------------------------------------------------------------------

int gtnb()
{
    int c;
    do c = gtch(); while (c < 33);
    return c;
}

int peep()
{
    int c = gtnb();
    ungtch();
    return c;
}

void gott(int c)
{
    for (;;) {
        int got = gtch();
        if (got == c) break;
        if (got == ';') check_eof();       // the end of a level is marked by one; what is sought is not in it
    }
    ungtch();
}

bool gotc(int c)
{
    if (gtnb() == c) return true;
    ungtch();
    return false;
}

// --- words --------------------------------------------------------------------------------

int rdcmd()
{
    int n = 0, c = gtnb();
    for (; isletter(c); c = gtch()) {
        if (n == Namesize) errmsg("Name too long", nullptr);
        cmdname[n++] = char(c | 32);       // lower case
    }
    ungtch();
    cmdname[n] = 0;
    return n;
}

int readid()
{
    int n = 0, c = gtnb();
    for (; idchars[c]; c = gtch()) {
        if (n == Namesize) errmsg("Name too long", nullptr);
        cmdname[n++] = char(c);
    }
    ungtch();
    cmdname[n] = 0;
    return n;
}

int rdfilename()
{
    int n = 0, c = gtnb();
    for (; c > 32 && c != ';' && n < CMDNAMESIZE - 1; c = gtch()) cmdname[n++] = c == '^' ? ' ' : char(c);
    ungtch();
    cmdname[n] = 0;
    return n;
}

void chk_strlen(long len, long max, const char *what)
{
    if (len > max) myerr("%s too long (max.: %i characters)\n", what, int(max));
}

// --- numbers ------------------------------------------------------------------------------

long gtnu()
{
    int n = 0, c = gtnb();
    long value = 0;
    if (!isnumeral(c)) { ungtch(); return -1; }
    for (; isnumeral(c); c = gtch()) {
        chk_strlen(++n, NUMDIGITS, "Number");
        value = 10 * value + (c - '0');
    }
    if (c > 32) ungtch();
    return value;
}

double gtdouble()
{
    char text[REALCHARS + 1];
    int n = 0, digits = 0, c = gtnb();
    for (bool point = false; isnumeral(c) || (c == '.' && !point); c = gtch()) {
        chk_strlen(n + 1, REALCHARS, "Number");
        text[n++] = char(c);
        if (c == '.') point = true; else ++digits;
    }
    if (!digits) {
        ungtch();
        if (n) ungtch();                   // a point alone is no number
        return -1.0;
    }
    if (c > 32 || c == '\n') ungtch();
    double value = 0;
    std::from_chars(text, text + n, value);    // not strtod: the locale's decimal sign is not ours
    return value;
}

long gtnubrack()
{
    if (!gotc('[')) return -1;
    long n = gtnu();
    if (n < 0 || !gotc(']')) errmsg("Usage: \"[ Number ]\"", nullptr);
    return n;
}

// --- toggles ------------------------------------------------------------------------------

void onoff(int *flag, const char *label)
{
    switch (gtnb()) {
        case '=': *flag = 1; break;
        case '-': *flag = 0; break;
        case '/': *flag = !*flag; break;
        default: ungtch();
    }
    if (label && report_status) spewem(label, *flag ? "is ON" : "is OFF", nullptr);
    notime();
}

// --- comparing words ----------------------------------------------------------------------

int brevcomp(const char *a, const char *b) { return !*a || strncasecmp(a, b, strlen(a)); }
bool namtrun(const char *a, const char *b) { return !strncasecmp(a, b, strlen(a)); }
int namecomp(const char *a, const char *b) { return strcasecmp(a, b); }
