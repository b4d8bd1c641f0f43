// The commands menu and window, and the polling that keeps the window answering.
#include "kernel/shell.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/window.h"

void (*choose_from_menus)();
void (*size_window)(bool large);
int  autorun_typed_menu, give_up_when_typed_menu_cancelled;

void reset_autorun_typed_menu() { autorun_typed_menu = 0; }

// The window is to answer within a tenth of a second.
void keep_window_alive()
{
    constexpr double EVERY = 0.04;
    static double last = -1;
    if (!lapsed_over(last, EVERY)) return;
    gtkLoopPending();
    last = now();
}

static void setgivingup(int on)
{
    give_up_when_typed_menu_cancelled = on;
    joinem(on ? "G" : "Not g", "iving up rest of instructions when a typed menu option cancelled\n", nullptr);
}

void menucom()
{
    notime();
    if (gotc('[')) setgivingup(0);
    else if (gotc(']')) setgivingup(1);
    else if (choose_from_menus) choose_from_menus();
    else errmsg("Sorry, there are menus only in the window", nullptr);
}

const comhelp menuhelp = {
    "Choose from the menus of the window, by their names.", nullptr,
    "  menu A/B/C ;     choose item C of the submenu B of menu A (up to four names,\n"
    "                   which may be shortened); what has a submenu shows its items\n"
    "  menu A/B=y ;     set a check mark, unless it is set; =n removes it\n"
    "  menu A/B=r ;     choose an item, and accept its dialog as it stands\n"
    "  menu ;           list what can be chosen now\n"
    "  menu + ;         list all, + marking what can be chosen now\n"
    "  menu = ;         show the menus (the default)\n"
    "  menu - ;         hide them, and the tools\n"
    "  menu ] ;         a dialog that is cancelled ends all input\n"
    "  menu [ ;         it does not (the default)\n"
    "Examples:\n"
    "  menu ] ;\n"
    "  menu [ ;\n"
};

void windowcom()
{
    notime();
    int sign = peep();
    if (sign != ';' && sign != '=' && sign != '-') errarg(sign);
    if (sign == ';') return;
    gtch();
    if (size_window) size_window(sign == '=');
    else spewem("There is no window", nullptr);
}

const comhelp windowhelp = {
    "Set the size of the window.", nullptr,
    "  window = ;   as large as the screen\n"
    "  window - ;   an icon\n"
    "Without a window nothing happens.\n"
    "Examples:\n"
    "  window = ;\n"
};
