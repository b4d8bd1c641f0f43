// Expressions: reading the input files of a script.
#include "script/ex.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "script/arrays.h"
#include "script/hifile.h"
#include "script/internals.h"
#include "script/macmem.h"
#include "script/stream.h"
#include "script/vars.h"
#include <cctype>

namespace ex {

static double peekedbyte(FILE *f)
{
    int c = getc(f);
    if (c != EOF) ungetc(c, f);
    return c;
}

static int readbyte(FILE *f)
{
    int c = getc(f);
    if (c == '\n') ++hifiles[curhifile].line;
    return c;
}

double hifchar()   { return readbyte(getdafp()); }
double hifeof()    { return peekedbyte(getdafp()) == EOF; }
double hifspy()    { return peekedbyte(getdafp()); }
double hifline()   { getdafp(); return hifiles[curhifile].line; }
double hifnumber() { return ::hifnumber(); }

// "/N" a code, "/(ABC)" any of these.
static std::string terminators()
{
    if (clean_peep() != '(') {
        int code = integer();
        if (code < 0 || code > 255) errmsg("Terminating character must be an ASCII number, 0 or more", nullptr);
        return std::string(1, char(code));
    }
    truly_clean_gtch();
    std::string any;
    for (int c; (c = truly_clean_gtch()) != ')'; ) {
        if (c == ';' || c == 0) errmsg("Expected closing parenthesis", nullptr);
        any += char(c);
    }
    return any;
}

double hiftext()
{
    if (!macprotmod) errmsg("Expression \"hiftext\" valid only under protection mode 1 or 2", nullptr);
    const arrayof &to = listtarget();
    if (to.dims != 1) errmsg("Expression \"hiftext\" requires one-dim arrays", nullptr);
    int bytes = nofloats ? 4 : 8;
    long room = long(to.sizes[0]) * bytes - 1, most = room;      // the text ends with a byte 0
    std::string ends = "\n";
    exprflags within;
    FILE *f = getdafp();
    for (;;) {
        if (gotc(':')) {
            int n = integer();
            if (n < 1) errmsg("Size of text to copy must be >= 1", nullptr);
            if (n > room) errmsg("Cannot store that many bytes in variable", nullptr);
            most = n;
        } else if (gotc('/')) ends = terminators();
        else break;
    }
    std::string text;
    while (long(text.size()) < most) {
        int c = readbyte(f);
        if (c == EOF) break;
        text += char(c);
        if (ends.find(char(c)) != std::string::npos) break;
    }
    int length = int(text.size());
    store_string(to.base, text);
    listsize_made = 1;
    return listsize = length;
}

}
