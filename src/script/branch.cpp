// if, else and end: text is skipped word by word, without being run.
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "script/expr.h"
#include "script/loops.h"
#include "script/macmem.h"
#include "script/stream.h"
#include <cstring>
#include <string>

// A word ends at white space, a semicolon or a parenthesis; what begins with one of these is no word.
static std::string nextskipped(int level, long turns)
{
    constexpr size_t LONGEST = 100;
    constexpr int ENDMARK = 1;
    std::string word;
    for (;;) {
        int c = gtch();
        if (curproc->at_eof && !word.empty()) return word;       // the last one needs nothing behind it
        if (curproc->at_eof || giveme_curproc_level() < level || loop_turns != turns || c == ENDMARK)
            errmsg("Found end-of-file:", current_input(), "\"if\" not matched by \"end\" or \"else\"", nullptr);
        bool ends = c < 33 || c == ';' || c == '(';
        if (!ends) word += char(c);
        if (ends ? !word.empty() : word.size() == LONGEST) {
            if (ends && c != '(') ungtch();
            return word;
        }
    }
}

// Text of quotes may hold any word.
static void skipquote(int level)
{
    while (gtch() != ';')
        if (curproc->at_eof || giveme_curproc_level() < level) return;
    ungtch();
}

// Skips through the matching end, or through an else of the same level.
static void disallow()
{
    struct skipping {
        asitstands plain;
        int was = disallowing;
        skipping()  { disallowing = 1; }
        ~skipping() { disallowing = was; }
    } whilehere;
    int level = giveme_curproc_level();
    long turns = loop_turns;
    for (int depth = 1; ; ) {
        std::string word = nextskipped(level, turns);
        if (word == "if" || word == "ifnot") ++depth;
        else if (word == "end") { if (!--depth) return; }
        else if (word == "else") { if (depth == 1) return; }
        else if (word == "xend") return;
        else if (!brevcomp(word.c_str(), "quote")) skipquote(level);
    }
}

void ifcom()
{
    scriptcommand();
    if (peep() != '(') errmsg("Use if( condition ) ...actions... end", nullptr);
    bool echoes = macroreport && curproc != procnest;
    if (echoes) tojoin("IF ");
    doingif = echoes;
    double value = one_operand();
    doingif = 0;
    if (clean_peep() == ')') errmsg("Unbalanced ')' in expression", nullptr);
    if (echoes) {
        tojoin(value ? " ---> TRUE" : " ---> FALSE!");
        spewout();
    }
    if (value) return;
    if (curproc == procnest && !loop_is_running()) errmsg("Condition not fullfilled", nullptr);
    disallow();
}

const comhelp ifhelp = {
    "Run commands on a condition.", nullptr,
    "  if (CONDITION) COMMANDS end\n"
    "  if (CONDITION) COMMANDS else COMMANDS end\n"
    "The condition is an expression in parentheses, true when it is not 0.  It is\n"
    "evaluated from left to right, with + - * /, the bitwise & | ^, the comparisons\n"
    "== != > < >= <= and the logical && || and !; values of variables stand in\n"
    "quotes, as in 'x'.  Typed at the console, outside of loops, a false condition\n"
    "is an error.\n"
    "Examples:\n"
    "  macro = ; set 0 4 ; if ('0' > 3) quote large ; end macro - ;\n"
    "  macro = ; loop 1 3 if (#1 == 2) quote 2 ; else quote no ; end stop macro - ;\n"
};

void elsecom()
{
    scriptcommand();
    disallow();
}

const comhelp elsehelp = {
    "What is run when the condition of an \"if\" is false.", nullptr,
    "  if (CONDITION) COMMANDS else COMMANDS end\n"
    "Examples:\n"
    "  macro = ; if (1) quote yes ; else quote no ; end macro - ;\n"
};

void endcom() { scriptcommand(); }

const comhelp endhelp = {
    "End an \"if\".", nullptr,
    "  if (CONDITION) COMMANDS end\n"
    "Examples:\n"
    "  macro = ; if (2 > 1) quote two is more ; end macro - ;\n"
};

const comhelp xendhelp = {
    "End all that is being skipped by \"if\".", nullptr,
    "  xend ;   where text is skipped, whatever the level of \"if\", go on from here;\n"
    "           elsewhere it does nothing\n"
    "Examples:\n"
    "  macro = ; xend ; macro - ;\n"
};
