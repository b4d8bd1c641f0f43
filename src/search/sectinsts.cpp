// The text of instructions for sectors, as it is read: kept as it stands, but for comments and runs of blanks.
//
// The text ends at the bracket that closes it.  Brackets within it come in pairs, around lists and around the
// instructions for sectors of a sector; only for some commands one is a sign that stands alone, as in "ccode ] 3 ;".
#include "search/sectset.h"
#include "search/below.h"
#include "kernel/commands.h"
#include "kernel/comtable.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include <algorithm>
#include <cctype>
#include <iterator>
#include <string>

constexpr int ENDOFTEXT = 1;             // mark behind commands that are run by others

// Brackets in these are not counted, up to their ';'.
static const handler signcommands[] = {
    bestcom, blengthcom, ccodecom, collapsecom, costcom, forcecom, incltaxcom, nstatescom, outgroupcom, piwecom, quotecom,
    rseedcom, taxnamecom, uniquecom, xpiwecom,
};

// Within a command, as behind "if (...)", it must be the whole name.
static bool takessigns(const std::string &word, bool first)
{
    const comrow *row = findcommand(word.c_str());
    return row && (first || word == row->name)
           && std::find(std::begin(signcommands), std::end(signcommands), row->run) != std::end(signcommands);
}

namespace {
struct literally {                       // values and loop counters are those of the time when the text runs
    int quotes = ignore_quotes, dollars = ignore_dollars, instructions = reading_sectsch_insts;
    literally() { ignore_quotes = ignore_dollars = reading_sectsch_insts = 1; }
    ~literally()
    {
        ignore_quotes = quotes;
        ignore_dollars = dollars;
        reading_sectsch_insts = instructions;
    }
};
}

static void passcomment()                // behind its opening
{
    for (int c = gtch();;) {
        int next = gtch();
        if (c == '*' && next == '/') return;
        if (next <= ENDOFTEXT || end_of_file()) errmsg("Unfinished comment in instructions for sectorial searches", nullptr);
        c = next;
    }
}

static int nextchar()
{
    int c = gtch();
    if (c == '/') {
        int next = gtch();
        if (next == '*') {
            passcomment();
            return ' ';
        }
        ungtch();
    }
    if (c <= ENDOFTEXT || end_of_file()) errmsg("Instructions for sectorial searches must end with ']'", nullptr);
    return isspace(c) ? ' ' : c;
}

int read_sector_insts(char *to)
{
    literally guard;
    int n = 0, open = 1;
    std::string word;
    bool first = true, signs = false;    // the word begins a command; brackets of this command are signs
    for (;;) {
        int c = nextchar();
        if (isalnum(c) || c == '_') word += char(c);
        else if (!word.empty()) {
            signs |= takessigns(word, first);
            first = false;
            word.clear();
        }
        if (c == ';' || (c == '[' && !signs)) first = true;
        if (c == ';') signs = false;
        if (c == '[' && !signs) ++open;
        if (c == ']' && !signs && !--open) break;
        if (c == ' ' && (!n || to[n - 1] == ' ')) continue;
        if (n == MAXSSINSTS) myerr("Sorry, string for sectors can't exceed %i bytes\n(place instructions in a file)", MAXSSINSTS);
        to[n++] = char(c);
    }
    while (n && to[n - 1] == ' ') --n;
    return n;
}
