// Reporting a failure and unwinding from it.
//
// The message and the place where it stood are composed in the output buffer and flushed past
// every silence; then all inputs are closed and what was half done is put back.
#include "kernel/errors.h"
#include "kernel/arena.h"
#include "kernel/background.h"
#include "kernel/below.h"
#include "kernel/driver.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "kernel/putback.h"
#include "kernel/window.h"
#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>

int caught_an_error, failed_commands, jumpchain;

// --- unwinding ----------------------------------------------------------------------------

void errtrap()
{
    caught_an_error = 1;
    if (!putting_back()) ++failed_commands;
    put_back(resettable);
    if (inbground) {
        constexpr char farewell[] = "... SOME ERROR OCCURED, QUITTING...\n";
        joinem(farewell, nullptr);
        tell_background(farewell);
        flushlog();
        exit(255);
    }
    if (!jumpchain) {
        fputs("No jump buffer\n", stderr);
        exit(255);
    }
    throw unwound{};
}

// --- where it stood -----------------------------------------------------------------------

constexpr int PLACEWIDTH = 75, PLACEBEFORE = 37;
constexpr int LONGESTTAIL = 3;       // bytes of a UTF-8 character after its first

static bool continues(char c) { return (c & 0xc0) == 0x80; }   // stands inside a UTF-8 character

static void composeplace()
{
    bool isfile = curproc->stream && curproc->stream != stdin;
    if (isfile && !menuing) {
        tospew("Error reading");
        tospew(curproc->name);
        spewch('\n');
    }
    const char *text = curproc->buffer, *at = getnext;
    if (!*text) return;
    const char *from = std::max(text, at - PLACEBEFORE);
    const char *to = from + strnlen(from, PLACEWIDTH);
    for (int i = 0; i < LONGESTTAIL && from > text && continues(*from); ++i) --from;
    for (int i = 0; i < LONGESTTAIL && continues(*to); ++i) ++to;
    for (const char *c = from; c < to; ++c) spewchos(static_cast<unsigned char>(*c));
    tojoin(" \n");
    spewspx(std::max(0, int(at - from - std::count_if(from, at, continues)) - 1));
    tojoin("^\n");
}

// --- reporting ----------------------------------------------------------------------------

void errmsg(const char *text, ...)
{
    constexpr size_t LONGEST = 2048 - 4 * PLACEWIDTH;   // the place must still fit in the output buffer
    std::string message;
    va_list list;
    va_start(list, text);
    for (const char *t = text; t; t = va_arg(list, const char *)) (message += t) += ' ';
    va_end(list);
    if (message.size() > LONGEST) message.resize(LONGEST);

    doing_quotes = doing_user_progress = 0;
    unsigned char silence = silent;
    if (trulogfile) { logfile = trulogfile; trulogfile = nullptr; }
    if (jaking) { jaking = 0; silence = 0; }
    erdil_forgood();
    noisy();

    // What stood half composed is shown or silenced as the command was; the message never is silenced.
    if (menuing && !domacros) clear_spewbuf();
    else if (composed_length()) spewout();
    notime();
    ignore_quotes = tmpsilent = 0;
    silent = 0;
    if (!myecho) myecho = 3;
    tojoin(message.c_str());

    bool plaintext = !curproc->stream || curproc->stream == stdin;
    if (domacros || (!message.empty() && !(menuing && plaintext))) {
        if (!message.empty()) spewch('\n');
        if (domacros) macro_errline();
        else composeplace();
    }
    stop_loops();
    if (menuing) {
        if (warning && !plaintext) {
            char box[400];
            snprintf(box, sizeof box, "Encountered an error when parsing\ninstructions from file \"%s\"", curproc->name);
            GTK_Message_Box("Error", box, BOX_ERROR);
        } else
            GTK_Message_Box("Error", "Error parsing instructions\nfrom the graphic interface", BOX_ERROR);
        menuing = 2;
    }
    if (composed_length()) {
        tell_background((std::string(composed()) + (composed()[composed_length() - 1] == '\n' ? "" : "\n")).c_str());
        spewout();
    }
    silent = silence;
    goto_on_error();
    inpurge();
    errtrap();
}

void myerr(const char *format, ...)
{
    static char text[JUNKSIZE];      // not junkstr itself: an argument may stand there
    va_list list;
    va_start(list, format);
    vsnprintf(text, sizeof text, format, list);
    va_end(list);
    strcpy(junkstr, text);
    errmsg(junkstr, nullptr);
}

void errarg(int c)
{
    char quoted[4] = { '\'', char(c), '\'', 0 };
    errmsg("Wrong argument for", current_command, ":", quoted, nullptr);
}

void nodaterror(const char *what)
{
    if (!datatag) errmsg("Must read data before", what, nullptr);
}
