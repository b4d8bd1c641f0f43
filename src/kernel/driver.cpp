// The interpreter: one command after the other, each under a recovery point, and the cleaning up
// after each.
#include "kernel/driver.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/bits.h"
#include "kernel/commands.h"
#include "kernel/comtable.h"
#include "kernel/dispatch.h"
#include "kernel/errors.h"
#include "kernel/help.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/typos.h"
#include "kernel/window.h"
#include <algorithm>
#include <cassert>
#include <chrono>
#include <cstring>
#include <ctime>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

char current_command[128] = "zel*", prompt[160] = "zel*>";
int  go_on, menuing, menuing_level = -1, userstop, timeit, timemenus;
int  measure_RAM, pausing, breakable = 1, mybeep = 1, warning, report_status = 1;
int  myecho, superecho, jaking, macroswapping, iamslave, mytimeout, doing_a_search;
int  gtkZel_noerrors;
double startime;
char dabinname[160] = "zel";
static bool booted;
static int  commands_run;            // in the present call of zelpivot

bool first_command() { return commands_run <= 1; }

double now()
{
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

bool lapsed_over(double since, double seconds) { return now() - since > seconds; }

void set_go_on() { go_on = 1; }

void notime()
{
    if (timeit == 1) timeit = 2;
    if (timemenus == 1) timemenus = 2;
}

// --- recovery points ----------------------------------------------------------------------

template<class F> static bool recovered(F run)
{
    struct chained { chained() { ++jumpchain; } ~chained() { --jumpchain; } } here;
    try { run(); } catch (const unwound &) { return false; }
    return true;
}

bool safecall(handler h) { return recovered(h); }

// --- one command --------------------------------------------------------------------------

void name_command(const char *name)
{
    snprintf(current_command, sizeof current_command, "%s", name);
    snprintf(prompt, sizeof prompt, "%s>", name);
}

// Over blanks and semicolons to the next command.  False when there is none.
static bool skiptocommand()
{
    while (!end_of_input()) {
        if (gtnb() == ';') continue;
        ungtch();
        return true;
    }
    go_on = 0;
    return false;
}

static bool isfile(const char *path)
{
    struct stat what;
    return !stat(path, &what) && S_ISREG(what.st_mode);
}

// A word that is no command may be the name of a script, here or in the folder set by "rdir".
static bool findscript()
{
    std::string here = std::string(cmdname) + ".run", there = rundir + here;
    for (const std::string *path : { &here, &there })
        if (isfile(path->c_str())) {
            snprintf(cmdname, sizeof cmdname, "%s", path->c_str());
            return true;
        }
    return false;
}

// Options are not corrected while a command's name is looked for.
struct nocorrections {
    int saved = admit_inner_typos;
    nocorrections()  { admit_inner_typos = 0; }
    ~nocorrections() { admit_inner_typos = saved; }
};

static const comrow *lookup()
{
    nocorrections whilehere;
    if (const comrow *row = findcommand(cmdname)) return row;
    if (admit_typos && (menuing || procnest->is_terminal))        // someone is there to be asked
        for (int i = 0, answer = 0; i < typolimit && answer != CANCELLED; ++i)
            if ((answer = needwunsch_typo(cmdname, comtable[i].name, "command")) == ACCEPTED) return &comtable[i];
    if (findscript()) return &runfile_row;
    nocommand();
}

static void echocommand(const char *name)
{
    tojoin("\nCOMMAND: ");
    for (; *name; ++name) spewch(*name >= 'a' && *name <= 'z' ? *name - 32 : *name);
    spewout();
}

// A '?' after the word asks for the help of the command.
static bool askshelp(const comrow *row)
{
    if (row->run == quotecom || row->run == haltcom) return false;
    ignore_quotes = 2;               // nor are texts inserted: "$X" may be what the command wants
    bool asks = peep() == '?';
    ignore_quotes = 0;
    return asks;
}

void runprecheck(handler run, int nextchar)
{
    if (datatag && run != haltcom && run != xreadcom && run != treadcom) precheck(run, nextchar, 0);
}

static void onecommand()
{
    name_command("zel*");
    if (!skiptocommand()) return;
    ++commands_run;
    if (!rdcmd()) errmsg("No command!", nullptr);
    const comrow *row = lookup();
    getting_cmd = 0;
    if (timemenus == 2 && row->timed) timemenus = 1;
    name_command(row->name);
    if (timeit && !row->timed) timeit = 2;
    if (myecho && strcmp(row->name, "view")) echocommand(row->name);
    if (askshelp(row)) {
        gtch();
        docomhlp(row);
        newln();
        notime();
        return;
    }
    runprecheck(row->run, 0);
    startime = now();
    safecall(row->run);
}

// --- between commands ---------------------------------------------------------------------

static uint64_t ramused() { return uint64_t(loseg - botram) + uint64_t(topram - hiseg); }

static void composeram()
{
    if (!measure_RAM) return;
    tojoin(" (");
    writembytes(maxramused);
    tojoin(")");
}

static void reporttime()
{
    char text[sizeof current_command + 40];
    snprintf(text, sizeof text, "%s %.2f secs.", current_command, now() - startime);
    tojoin(text);
    composeram();
    spewout();
}

#ifdef ZEL_TINY
static void check_after_command()
{
    checkinput();
    checkarena();
    checkmacros();
    check_everything();
}
#else
static void check_after_command() {}
#endif

// One turn of the loop: one command and what follows each.
static void turn()
{
    ischartable = userstop = 0;
    getting_cmd = 1;
    if (timeit == 1 && !menuing) maxramused = ramused();
    int before = commands_run;
    recovered(run_pending_goto);
    recovered(onecommand);
    ram_refresh();
    maxram_so_far = std::max(maxram_so_far, maxramused);
    end_of_search();
    bool ran = commands_run != before;
    if (timeit == 1 && ran && !(menuing && !giveme_curproc_level())) reporttime();
    if (logfile != stderr) flushlog();
    if (timeit) timeit = 1;
    if (breakable) breakable = 1;
    if (myecho == 3) myecho = 0;
    check_after_command();
}

// --- the interpreter ----------------------------------------------------------------------

static void boot()
{
    booted = true;
    initinput();
    initbits();
    recovered(ramset);
}

// The dialog of a command gives its instructions while the input below it waits.
static void opendialogtext(const char *text)
{
    if (giveme_curproc_level() >= maxnest)
        myerr("Can't acess menu options with %i open files\n", giveme_curproc_level());
    unsigned char silence = silent;
    silent = 7;
    push_text_level("Menu commands", text, ";\n", INBUFSIZE);
    silent = silence;
}

// Ends the level of the dialog; what stood below goes on.
static void closedialogtext(int level)
{
    unsigned char silence = silent;
    silent = 7;
    while (giveme_curproc_level() >= level) closeproc();
    silent = silence;
    go_on = 1;
}

void zelpivot(const char *text)
{
    if (!booted) boot();
    enable_tools(0);
    int dialog = is_typed_menu;
    if (!text) menuing = 0;
    bool opened = recovered([&] {
        if (dialog) opendialogtext(text);
        else base_input(text ? "Menu" : "Standard Input", text);
    });
    if (opened) {
        int outer = commands_run;
        commands_run = 0;
        set_go_on();
        while (go_on) turn();
        commands_run = outer;
    } else if (myecho == 3)
        myecho = 0;
    if (dialog) closedialogtext(dialog);
    else inpurge();
    enable_tools(1);
}

static void reportmenutime(clock_t since)
{
    char text[60];
    snprintf(text, sizeof text, "Time %.2f secs.", double(clock() - since) / double(CLOCKS_PER_SEC));
    tojoin(text);
    composeram();
    spewout();
}

void gtkZel(const char *text)
{
    caught_an_error = gtkZel_noerrors = 0;
    if (!booted) {
        zelpivot(";\n");
        return;
    }
    menuing = 1;
    menuing_level = giveme_curproc_level();
    if (timemenus == 1) timemenus = 2;
    clock_t since = clock();
    maxramused = ramused();
    go_on = 1;
    zelpivot((std::string(text) + ";").c_str());
    maxram_so_far = std::max(maxram_so_far, maxramused);
    if (timemenus == 1 && menuing == 1 && !is_typed_menu) reportmenutime(since);
    if (timemenus) timemenus = 1;
    window.zel_app_window_refresh();
    gtkZel_noerrors = !caught_an_error;
}

// --- rows that do no work of their own ----------------------------------------------------

void nocom() { nocommand(); }

void nocommand()
{
    if (is_macro_expression(cmdname)) errmsg(cmdname, "is recognized only as a macro expression", nullptr);
    errmsg("Unknown command:", cmdname, nullptr);
}

static bool is_script_row(const char *name)
{
    const comrow *row = comtable + typolimit;
    while (row->name && strcmp(row->name, name)) ++row;
    return row->name != nullptr;
}

void notyetcom()
{
    if (is_script_row(current_command)) scriptcommand();
    ++failed_commands;
    myp("Command %s is not available yet", current_command);
    if (!skip_script_body()) gott(';');
}
