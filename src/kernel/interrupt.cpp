// Interrupts: the keys, the time limit and, in a background run, the control files.  Long loops
// poll; nothing arrives between two polls.
#include "kernel/background.h"
#include "kernel/below.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "kernel/window.h"

enum { STOP_SEARCH = 1, STOP_NO_TIME = 3 };        // values of userstop
enum { POLL_KEY_ONLY = 0, POLL = 1, FORCE_STOP = 2, FORCE_FILES = 100 };
constexpr double FILES_EVERY = 10;                 // seconds

char breakwarntxt[256];
int  breakwarn;
static double last_file_test;

bool have_some_intrupt() { return userstop != 0; }

bool sure_you_want_stop()
{
    return !breakwarn || GTK_Message_Box("Warning", breakwarntxt, BOX_WARNING | BOX_YESNO) == 1;
}

bool sure_you_want_to_advance()
{
    return GTK_Message_Box("Warning", "Are you sure you want to stop current search and move on?",
                           BOX_WARNING | BOX_YESNO) == 1;
}

bool timeisout()
{
    if (!doing_a_search) return false;
    if (!mytimeout || userstop || long(now() - startime) < mytimeout) return false;
    userstop = STOP_NO_TIME;
    joinem("Interrupting search (time is out!)\n", nullptr);
    return true;
}

// A search unwinds by itself, with what it has found; anything else is left at once.
static void stopsteps()
{
    if (menuing) menuing = 2;
    ignore_quotes = tmpsilent = doing_user_progress = 0;
    clear_spewbuf();
    if (macroswapping) jaking = 0;
    erdil_forgood();
    if (!doing_a_search) {
        spewem("User interrupt...", nullptr);
        tell_background("User interrupt...\n");
    }
    stop_loops();
    goto_on_error();
    inpurge();
    if (doing_a_search) { userstop = STOP_SEARCH; return; }
    if (inbground && open_execute_file()) return;
    errtrap();
}

static void pausehere()
{
    double since = now();
    window.zel_app_window_dialog("Program paused...", "Close to resume");
    startime += now() - since;
}

// True when the files ask for a stop.
static bool filesaskstop(int mode)
{
    if (!inbground || (mode != FORCE_FILES && !lapsed_over(last_file_test, FILES_EVERY))) return false;
    last_file_test = now();
    pause_while_asked();
    return stop_file_found();
}

void intrupt(int mode)
{
    if (mode == FORCE_STOP) { stopsteps(); return; }
    if (userstop) return;
    gtkLoopPending();
    int key = window.zel_app_window_getKeyPressed();
    if (key == KEY_ESC && breakable && (mode == POLL_KEY_ONLY || sure_you_want_stop())) { stopsteps(); return; }
    if (mode != POLL_KEY_ONLY) {
        if (key == 'm' && doing_a_search && sure_you_want_to_advance()) { userstop = STOP_SEARCH; return; }
        if (key == 'p') pausehere();
    }
    if (filesaskstop(mode)) stopsteps();
}
