// Commands run from inside a handler: a text of commands is opened as a silent level and run to
// its end mark without recovery points of its own, so that an error ends the whole command.
//
// All members of the family are one body; what tells them apart is their row.
#include "kernel/driver.h"
#include "kernel/arena.h"
#include "kernel/comtable.h"
#include "kernel/below.h"
#include "kernel/dispatch.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/levels.h"
#include "kernel/output.h"
#include "kernel/typos.h"
#include <cstring>

constexpr int  ENDMARK = 1;
constexpr char ending[] = ";\1";      // the last command is always terminated before the mark

struct looprow {
    const char *level;        // name of the level
    const char *what;         // what cannot be run when the stack is full
    const char *increase;     // how the advice begins
    const char *endword;      // word that ends the body, besides the end mark; null = none
    bool marksjaking;         // counts as a repeated run
    bool polls;               // looks for interrupts after each command
    bool travels;             // knows "skipdes"
    bool speaks;              // a body of a script: its output is shown
};

static constexpr looprow looprows[] = {
    { "search commands",                  "\"resample\" or \"qnelsen\"", "You may increase", nullptr,    true,  false, false, false },
    { "search commands",                  "this command",                "You may increase", nullptr,    false, true,  false, true },
    { "sectorial search commands",        "user searches for sectors",   "You may increase", nullptr,    false, false, false, false },
    { "search commands",                  "\"dcomp\"",                   "You may increase", nullptr,    false, false, false, false },
    { "ZEL commands from C-script",       "C-style script",              "Increase",         nullptr,    false, false, false, false },
    { "commands for reconstructions",     "user reconstructions",        "You may increase", "killrecs", false, false, false, true },
    { "commands for travelling tree",     "tree travelling",             "You may increase", "killtrav", false, false, true,  true },
    { "commands for combinations",        "combinations",                "You may increase", "killcomb", false, false, false, true },
};
enum { LOOP_SEARCH, LOOP_SWAP, LOOP_SECTORS, LOOP_DCOMP, LOOP_SCRIPT, LOOP_ALLRECONS };

void (*set_the_skipdes)();
bool loop_was_ended;

// What the loop changes for a while.
struct loopstate {
    unsigned char silence = silent;
    int report = report_status, limit = mytimeout, repeated = jaking;
    double started = startime;
    void restore()
    {
        silent = silence;
        report_status = report;
        mytimeout = limit;
        jaking = repeated;
        startime = started;
    }
    ~loopstate() { restore(); }
};

// Over blanks and semicolons.  False at the end mark or once the level has been closed.
static bool nextincommands(int level)
{
    while (giveme_curproc_level() >= level) {       // below it, reading could ask the user for a line
        int c = gtch();
        if (giveme_curproc_level() < level || c == ENDMARK) { ungtch(); return false; }
        if (c < 33 || c == ';') continue;
        ungtch();
        return true;
    }
    return false;
}

static const comrow *lookupinloop(loopstate &saved)
{
    if (const comrow *row = findcommand(cmdname)) return row;
    if (admit_inner_typos == 1)
        for (const comrow *row = comtable; row->name; ++row)
            if (needwunsch_typo(cmdname, row->name, "command") == ACCEPTED) return row;
    saved.restore();
    nocommand();
}

static void runrow(const comrow *row)
{
    name_command(row->name);
    runprecheck(row->run, ';');
    startime = now();
    row->run();
    end_of_search();
    ram_refresh();
}

static void fakeloop(const looprow &kind, const char *text)
{
    int level = giveme_curproc_level() + 1;
    if (level > maxnest)
        myerr("Can't run %s with %i open files\n%s \"mxproc\" and try again", kind.what, level - 1, kind.increase);
    loopstate saved;
    silent = 7;
    push_text_level(kind.level, text, ending, INBUFSIZE);
    if (kind.speaks) silent = saved.silence;
    loop_was_ended = false;
    report_status = userstop = 0;
    if (kind.marksjaking && !jaking) jaking = 2;
    bool ended = false;

    for (;;) {
        getting_cmd = 1;
        if (!nextincommands(level)) break;
        if (!rdcmd()) {
            int c = gtch();
            saved.restore();
            myerr("Found '%c' when expecting a command", c);
        }
        getting_cmd = 0;
        if (kind.endword && !strcmp(cmdname, kind.endword)) {
            ended = true;
            break;
        }
        if (kind.travels && set_the_skipdes && !strcmp(cmdname, "skipdes")) set_the_skipdes();
        else runrow(lookupinloop(saved));
        if (kind.polls) intrupt(1);
        if (userstop == 3) userstop = 0;
        if (userstop) break;
    }
    getting_cmd = 0;
    tmpsilent = 1;
    while (giveme_curproc_level() >= level) closeproc();
    tmpsilent = 0;
    loop_was_ended = ended;

    saved.restore();
    if (mytimeout && lapsed_over(startime, mytimeout)) {
        joinem("Interrupting search (time is out!)\n", nullptr);
        userstop = 1;
    }
}

void fake_cmd_loop(const char *text)               { fakeloop(looprows[LOOP_SEARCH], text); }
void fake_cmd_loop_for_macroswap(const char *text) { fakeloop(looprows[LOOP_SWAP], text); }
void fake_cmd_loop_for_ss(const char *text)        { fakeloop(looprows[LOOP_SECTORS], text); }
void fake_cmd_loop_for_dcomp(const char *text)     { fakeloop(looprows[LOOP_DCOMP], text); }
void fake_cmd_loop_for_picoc(const char *text)     { fakeloop(looprows[LOOP_SCRIPT], text); }
void fake_cmd_loop_allrecons(const char *text, int kind) { fakeloop(looprows[LOOP_ALLRECONS + kind], text); }
