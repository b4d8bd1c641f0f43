// Commands that switch what the interpreter does around the others: bells, echoes, times, stops.
#include "kernel/commands.h"
#include "kernel/comhelps.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/window.h"
#include <climits>
#include <cstring>
#include <unistd.h>

void beepcom() { onoff(&mybeep, "Beep"); }

const comhelp beephelp = {
    "Sound a bell upon errors and warnings.", nullptr,
    "  beep = ;   sound it (the default)\n"
    "  beep - ;   do not\n"
    "  beep / ;   invert\n"
    "  beep ;     report\n"
    "Examples:\n"
    "  beep - ;\n"
};

void warncom() { onoff(&warning, "Warning"); }

const comhelp warnhelp = {
    "Ask for confirmation of warnings.", nullptr,
    "  warn = ;   show warnings in a box, and ask whether to continue\n"
    "  warn - ;   only print them\n"
    "  warn / ;   invert\n"
    "  warn ;     report\n"
    "The window starts with warnings on, the console with warnings off.\n"
    "Examples:\n"
    "  warn - ;\n"
};

// --- echo ---------------------------------------------------------------------------------

void echocom()
{
    if (gotc('[')) superecho = 1;
    else if (gotc(']')) superecho = 0;
    onoff(&myecho, "Echo");
}

const comhelp echohelp = {
    "Print the name of each command before it is run.", nullptr,
    "  echo = ;   print it\n"
    "  echo - ;   do not (the default)\n"
    "  echo / ;   invert\n"
    "  echo [ ;   also copy to the log the lines typed\n"
    "  echo ] ;   do not (the default)\n"
    "  echo ;     report\n"
    "Examples:\n"
    "  echo = ; length ; echo - ;\n"
};

// --- break --------------------------------------------------------------------------------

constexpr size_t BREAKTEXT = 254;        // a text must be shorter
static_assert(BREAKTEXT < sizeof breakwarntxt);

// The question that Esc asks; an empty text means none.
static void readbreakwarning()
{
    char text[BREAKTEXT];
    size_t n = 0;
    gtnb();
    ungtch();
    for (int c = gtch(); c != ';'; c = gtch()) {
        if (n + 1 == BREAKTEXT) errmsg("Warning message too long (max.= 254 characters)", nullptr);
        text[n++] = c < 32 ? ' ' : char(c);
    }
    ungtch();
    while (n && text[n - 1] == ' ') --n;
    text[n] = 0;
    strcpy(breakwarntxt, text);
    breakwarn = int(n);
    notime();
}

void breakcom()
{
    if (gotc('/')) {
        if (peep() != ';') { readbreakwarning(); return; }
        breakable = !breakable;
        breakwarn = breakwarntxt[0] = 0;
    }
    onoff(&breakable, "Break");
}

const comhelp breakhelp = {
    "Let the key Esc interrupt.", nullptr,
    "  break = ;        Esc interrupts (the default)\n"
    "  break - ;        it does not\n"
    "  break / ;        invert, and ask nothing upon Esc\n"
    "  break / TEXT ;   ask the text (fewer than 254 characters) before obeying Esc\n"
    "  break ;          report\n"
    "In the console, Ctrl-C is the key Esc.\n"
    "Examples:\n"
    "  break / Stop this long analysis? ;\n"
    "  break = ;\n"
};

// --- watch --------------------------------------------------------------------------------

static double watchmark = now();

void watchcom()
{
    bool brackets = true;
    if (gotc('[')) measure_RAM = 1;
    else if (gotc(']')) measure_RAM = 0;
    else brackets = false;
    if (brackets) myp("%seasuring RAM used for each command", measure_RAM ? "M" : "Not m");
    if (gotc('!')) {
        reset_ram_measure();
        myp("Resetting max. RAM counter to 0");
        brackets = true;
    }
    char seconds[40];
    if (gotc('/')) {
        snprintf(seconds, sizeof seconds, "%.2f", now() - watchmark);
        spewem("Ellapsed time:", seconds, "secs.", nullptr);
        notime();
    } else if (gotc('*')) {
        watchmark = now();
        notime();
    } else if (brackets && peep() == ';')
        notime();
    else {
        onoff(&timeit, "Watch");
        timemenus = timeit;
    }
}

const comhelp watchhelp = {
    "Report the time that commands take.", nullptr,
    "  watch = ;   report the time of each command that does some work\n"
    "  watch - ;   do not (the default)\n"
    "  watch * ;   set the stopwatch to zero\n"
    "  watch / ;   show the stopwatch\n"
    "  watch [ ;   with the times, report the memory used\n"
    "  watch ] ;   do not (the default)\n"
    "  watch ! ;   set to zero the measure of the memory used\n"
    "  watch ;     report\n"
    "Examples:\n"
    "  watch = ; length ; watch - ;\n"
    "  watch * ; mult ; watch / ;   the time of the search\n"
};

// --- pause --------------------------------------------------------------------------------

void pausecom()
{
    if (peep() == ';') {
        MsgBox_OK("Pause", "Press key to continue");
        return;
    }
    long seconds = gtnu();
    if (seconds < 0) { onoff(&pausing, "Pause"); return; }
    flushlog();
    for (double since = now(); !lapsed_over(since, double(seconds)); ) {
        double left = double(seconds) - (now() - since);
        usleep(useconds_t(left < 0.1 ? left > 0 ? left * 1e6 : 0 : 1e5));
        intrupt(1);                        // a long pause can be left by Esc
    }
}

const comhelp pausehelp = {
    "Wait for a time, or for an answer.", nullptr,
    "  pause ;     wait for an answer to a box\n"
    "  pause N ;   wait N seconds\n"
    "  pause = ;   in the console, wait for a key after each screen of output\n"
    "  pause - ;   do not (the default)\n"
    "  pause / ;   invert\n"
    "Examples:\n"
    "  quote Have a look at this ; pause 0 ;\n"
    "  pause = ;\n"
};

// --- timeout ------------------------------------------------------------------------------

// hours:minutes:seconds; what is left out at the end is 0.
void get_time_string()
{
    constexpr long UNIT[] = { 3600, 60, 1 };
    long seconds = 0;
    for (long unit : UNIT) {
        long n = gtnu();
        if (n < 0) errarg(peep());
        if (n > INT_MAX || seconds + n * unit > INT_MAX) errmsg("Time is too long", nullptr);
        seconds += n * unit;
        if (unit == 1 || !gotc(':')) break;
    }
    mytimeout = int(seconds);
}

void timeoutcom()
{
    if (peep() != ';') get_time_string();
    char text[80];
    snprintf(text, sizeof text, "Time-out for searches is %i:%02i:%02i%s", mytimeout / 3600, mytimeout / 60 % 60,
             mytimeout % 60, mytimeout ? "" : " (i.e. no time-out!)");
    myp("%s", text);
    notime();
}

const comhelp timeouthelp = {
    "Limit the time of a search.", nullptr,
    "  timeout HOURS:MINUTES:SECONDS ;   a search that takes longer is stopped, and\n"
    "                                    the commands after it are run; 0 for no\n"
    "                                    limit (the default)\n"
    "  timeout ;                         report the limit\n"
    "What is left out at the end is 0: \"timeout 2 ;\" is two hours.\n"
    "Examples:\n"
    "  timeout 0:30:00 ;\n"
    "  timeout 0 ;\n"
};
