// Composition: a message is assembled in one small buffer and sent off in one step.  Nothing here
// allocates; what does not fit is dropped, whole, text by text.
#include "kernel/output.h"
#include "kernel/driver.h"
#include "kernel/input.h"
#include "kernel/textbuf.h"
#include "kernel/window.h"
#include <algorithm>
#include <cstdarg>
#include <cstring>

unsigned char silent;
int  tmpsilent;
int  screen_size = 24, screen_width = 80;
char aprinbuf[2048];

constexpr int SPEWSIZE = 2048, SPEWMARGIN = 64;     // the margin takes the blank and the line end of a full buffer
static char spewbuf[SPEWSIZE + SPEWMARGIN];
static int  spewlen;

constexpr int RINGEND = 2034, WIDEST = 300;         // a number is begun below RINGEND, and is no wider than WIDEST
static char numring[RINGEND + WIDEST + 2];
static int  numpos;

// --- flushing ----------------------------------------------------------------------------

void clear_spewbuf() { spewlen = 0; spewbuf[0] = 0; }
int  composed_length() { return spewlen; }

const char *composed()
{
    spewbuf[spewlen] = 0;
    return spewbuf;
}

void reset_intvert() { numpos = 0; }

// The buffer is emptied before the text leaves: a front end that prints on being told of new
// text finds it ready for use.
void spewjn()
{
    char text[SPEWSIZE + SPEWMARGIN];
    memcpy(text, composed(), size_t(spewlen) + 1);
    clear_spewbuf();
    reset_intvert();
    if (text[0]) spewer(text);
}

void spewlong(const char *text, long n)
{
    char piece[1024];
    while (n > 0) {
        long now = n < long(sizeof piece) ? n : long(sizeof piece) - 1;
        memcpy(piece, text, now);
        piece[now] = 0;
        tojoin(piece);
        spewjn();
        text += now;
        n -= now;
    }
}

// --- texts -------------------------------------------------------------------------------

// A single character; the margin is for line ends only, so that a full buffer still ends its line.
void spewch(int c)
{
    if (spewlen < SPEWSIZE || (c == '\n' && spewlen < SPEWSIZE + SPEWMARGIN - 1)) spewbuf[spewlen++] = char(c);
}

// False when there is no room for all of it.
static bool appended(const char *text)
{
    size_t n = strlen(text);
    if (size_t(spewlen) + n > SPEWSIZE) return false;
    memcpy(spewbuf + spewlen, text, n);
    spewlen += int(n);
    return true;
}

void tojoin(const char *text) { appended(text); }

void tospew(const char *text)
{
    if (appended(text)) spewbuf[spewlen++] = ' ';       // may be the first byte of the margin, once: then nothing more fits
}

void spewchos(int c)  { spewch(c < 32 ? ' ' : c); }
void spewln()         { spewch('\n'); }
void spewend()        { if (!spewlen || spewbuf[spewlen - 1] != '\n') spewch('\n'); }
void spewspx(int n)   { while (n-- > 0) spewch(' '); }
void spewout()        { spewend(); spewjn(); }
void newln()          { spewch('\n'); spewjn(); }
void nln()            { newln(); }

void dotab(int n)
{
    constexpr int TAB = 8;
    while (n-- > 0) {
        int line = spewlen;
        while (line && spewbuf[line - 1] != '\n') --line;
        spewspx(TAB - (spewlen - line) % TAB);
    }
}

void spewem(const char *text, ...)
{
    va_list list;
    va_start(list, text);
    for (; text; text = va_arg(list, const char *)) tospew(text);
    va_end(list);
    spewln();
    spewjn();
}

void joinem(const char *text, ...)
{
    va_list list;
    va_start(list, text);
    for (; text; text = va_arg(list, const char *)) tojoin(text);
    va_end(list);
    spewjn();
}

// Formatted aside, since an argument may itself stand in the scratch string.
static void intojunk(const char *format, va_list list)
{
    char text[JUNKSIZE];
    vsnprintf(text, sizeof text, format, list);
    memcpy(junkstr, text, strlen(text) + 1);
}

void myp(const char *format, ...)
{
    va_list list;
    va_start(list, format);
    intojunk(format, list);
    va_end(list);
    tojoin(junkstr);
    spewout();
}

void mywarn(const char *format, ...)
{
    va_list list;
    va_start(list, format);
    intojunk(format, list);
    va_end(list);
    junkstr[SPEWSIZE] = 0;               // more would be dropped whole
    warnem(junkstr, nullptr);
}

// --- numbers -----------------------------------------------------------------------------

static const char *ring(const char *format, ...) __attribute__((format(printf, 1, 2)));
static const char *ring(const char *format, ...)
{
    if (numpos > RINGEND) numpos = 0;
    char *at = numring + numpos;
    va_list list;
    va_start(list, format);
    int n = vsnprintf(at, WIDEST, format, list);
    va_end(list);
    numpos += std::min(n, WIDEST - 1) + 1;
    return at;
}

const char *intvert(long n)             { return ring("%ld", n); }
const char *floatvert(double x)         { return ring("%.*f", table_precision, x); }
const char *charvert(int c)             { return ring("%c", c); }

const char *wintvert(int width, long n)
{
    return ring("%*ld", std::clamp(width, -WIDEST + 1, WIDEST - 1), n);
}

void ask(const char *newprompt) { snprintf(prompt, sizeof prompt, "%s", newprompt); }

void noisy()
{
    if (mybeep) fputc(7, stderr);
}
