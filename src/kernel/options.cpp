// The one reader of option words.  A row says what its word is followed by and what it sets.
#include "kernel/options.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/typos.h"
#include <algorithm>
#include <cctype>
#include <climits>
#include <cstring>

const optrow *findoption(const optrow *rows, const char *word)
{
    for (const optrow *row = rows; row->word; ++row)
        if (!brevcomp(word, row->word)) return row;
    if (admit_inner_typos == 1)
        for (const optrow *row = rows; row->word; ++row)
            switch (needwunsch_typo(word, row->word, "option")) {
                case ACCEPTED:  return row;
                case CANCELLED: return nullptr;
            }
    return nullptr;
}

[[noreturn]] static void outofrange(const optrow *row, double value)
{
    if (row->outofrange) myerr(row->outofrange, int(std::clamp<double>(value, INT_MIN, INT_MAX)));
    myerr("Option \"%s\" takes a number from %li to %li, not %g", row->word, row->low, row->high, value);
}

[[noreturn]] static void nonumber(const optrow *row)
{
    if (row->missing) errmsg(row->missing, nullptr);
    myerr("Option \"%s\" requires a number", row->word);
}

// Numbers may follow a '=', and may be negative where the row admits that.
static double signedvalue(const optrow *row, bool whole)
{
    gotc('=');
    bool minus = row->low < 0 && gotc('-');
    double value = whole ? double(gtnu()) : gtdouble();
    if (value < 0) nonumber(row);
    if (minus) value = -value;
    if (value < double(row->low) || value > double(row->high)) outofrange(row, value);
    return value;
}

static void applyoption(const optrow *row)
{
    switch (row->kind) {
        case OPT_FLAG:   *row->sets = 1; break;
        case OPT_STORE:  *row->sets = int(row->low); break;
        case OPT_NUMBER: *row->sets = int(signedvalue(row, true)); break;
        case OPT_REAL:   *row->real = signedvalue(row, false); break;
        case OPT_CALL:   row->call(); break;
        case OPT_END:    break;
    }
}

// The row whose flag is turned off by word, which begins with "no" joined to it; null if there is none.
static const optrow *negated(const optrow *rows, const char *word)
{
    if (strncmp(word, "no", 2) || !word[2]) return nullptr;
    const optrow *row = findoption(rows, word + 2);
    return row && row->kind == OPT_FLAG ? row : nullptr;
}

static const optrow *exactorprefix(const optrow *rows, const char *word)
{
    for (const optrow *row = rows; row->word; ++row)
        if (!brevcomp(word, row->word)) return row;
    return nullptr;
}

int readoptions(const optrow *rows, const char *unknown, const char *stopat)
{
    for (int n = 0; ; ++n) {
        int c = peep();
        if (c == ';' || strchr(stopat, c) || !rdcmd()) return n;
        char word[CMDNAMESIZE];
        strcpy(word, cmdname);
        if (!strcmp(word, "no") && isalpha(peep()) && rdcmd()) strcat(word, cmdname);   // "no" apart from its word
        if (const optrow *row = exactorprefix(rows, word)) applyoption(row);
        else if (const optrow *off = negated(rows, word)) *off->sets = 0;
        else if (const optrow *close = findoption(rows, word)) applyoption(close);
        else myerr(unknown, word);
    }
}
