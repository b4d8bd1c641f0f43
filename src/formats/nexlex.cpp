// Characters and words of foreign files.
#include "formats/nexlex.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include <cstdarg>
#include <cstdio>
#include <cstring>

// The level's own ending is no part of the file: reading on from there would close it.
int filech()
{
    if (end_of_file()) return ENDOFFILE;
    int c = gtch();
    return end_of_file() ? ENDOFFILE : c;
}

void unfilech(int c)
{
    if (c != ENDOFFILE) ungtch();
}

void nexuserror(const char *format, ...)
{
    char text[1024];
    va_list list;
    va_start(list, format);
    vsnprintf(text, sizeof text, format, list);
    va_end(list);
    errmsg(reading_nexus_file ? "Error reading NEXUS file:" : "Error reading Newick file:", text, nullptr);
}

void cutshort(const char *where) { nexuserror("unexpected end of file within %s", where); }

static void passcomment()
{
    for (int depth = 1; depth; ) {
        int c = filech();
        if (c == ENDOFFILE) cutshort("a comment");
        depth += (c == '[') - (c == ']');
    }
}

int nexus_gtch()
{
    int c = filech();
    while (c == '[') {
        passcomment();
        c = filech();
    }
    return c;
}

static int nextsolid()
{
    int c = nexus_gtch();
    while (iswhite(c)) c = nexus_gtch();
    return c;
}

int nexus_peep()
{
    int c = nextsolid();
    unfilech(c);
    return c;
}

std::string quotedtext()
{
    constexpr size_t LONGEST = 100000;   // a quote that nobody closed
    std::string text;
    while (true) {
        int c = filech();
        if (c == ENDOFFILE || text.size() > LONGEST) cutshort("quotes");
        if (c == '\'') {
            c = filech();
            if (c != '\'') {
                unfilech(c);
                return text;
            }
        }
        text += iswhite(c) ? ' ' : char(c);
    }
}

static bool inword(int c) { return c > 32 && !strchr("()[]{}/\\,;:=*\"+-<>", c); }

token nexus_token()
{
    token t;
    int c = nextsolid();
    if (c == ENDOFFILE) return t;
    if (c == '\'') {
        t.kind = TK_QUOTED;
        t.text = quotedtext();
    } else if (c == '"') {
        t.kind = TK_STRING;
        for (c = filech(); c != '"'; c = filech()) {
            if (c == ENDOFFILE) cutshort("quotes");
            t.text += char(c);
        }
    } else if (inword(c)) {
        t.kind = TK_WORD;
        for (; inword(c); c = nexus_gtch()) t.text += char(c);
        unfilech(c);
    } else {
        t.kind = TK_SIGN;
        t.text = char(c);
    }
    return t;
}

tokens restofcommand()
{
    tokens all;
    for (token t = nexus_token(); !t.is(';'); t = nexus_token()) {
        if (t.kind == TK_END) cutshort("a command");
        all.push_back(t);
    }
    return all;
}

// What a stranger's command holds is not known to be well formed: a quote that does not close in
// its line is an apostrophe.
void skipcommand()
{
    bool quoted = false, wordstart = true;
    for (int c = nexus_gtch(); quoted || c != ';'; c = quoted ? filech() : nexus_gtch()) {
        if (c == ENDOFFILE) cutshort("a command");
        if (quoted) quoted = c != '\'' && !islineend(c);
        else if (c == '\'' && wordstart) quoted = true;
        wordstart = !inword(c) || c == '\'';
    }
}

std::string lowered(std::string text)
{
    for (char &c : text)
        if (c >= 'A' && c <= 'Z') c = char(c + 32);
    return text;
}

bool wholenumber(const std::string &text, long *n)
{
    constexpr size_t MOSTDIGITS = 15;
    if (text.empty() || text.size() > MOSTDIGITS || text.find_first_not_of("0123456789") != std::string::npos) return false;
    *n = std::stol(text);
    return true;
}
