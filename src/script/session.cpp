// Small commands of scripts: errors, progress, interrupts, the clock, and checks of what is left.
#include "script/session.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "kernel/window.h"
#include "script/expr.h"
#include "script/loops.h"
#include "script/macmem.h"
#include "script/vars.h"
#include <algorithm>
#include <cstring>
#include <string>

double progstartime = now();

// --- safe ---------------------------------------------------------------------------------

void safecom()
{
    scriptcommand();
    std::string what = rdcmd() ? cmdname : "";
    long available;
    const char *words;
    if (!what.empty() && namtrun(what.c_str(), "vars")) {
        available = Maxvars - current_highest();
        words = "vars. available";
    } else if (!what.empty() && namtrun(what.c_str(), "loops")) {
        available = Maxloop - 1 - atloop;
        words = "loops available";
    } else if (!what.empty() && namtrun(what.c_str(), "ram")) {
        available = long(macvailram());
        words = "bytes available";
    } else
        errmsg("Must specify either vars, loops, or ram", nullptr);
    int wanted = imacnu();
    if (wanted > available) errmsg("Only", intvert(available), words, nullptr);
}

const comhelp safehelp = {
    "Make sure that a script has room to run.", nullptr,
    "  safe vars N ;    an error, unless N variables are free above those that have names\n"
    "  safe loops N ;   an error, unless N more loops can be nested\n"
    "  safe ram N ;     an error, unless N bytes are free for names and loops\n"
    "Examples:\n"
    "  macro = ; safe vars 100 ; safe loops 3 ; safe ram 5000 ; macro - ;\n"
};

// --- errors and interrupts ----------------------------------------------------------------

void errmsgcom()
{
    scriptcommand();
    quotecom();
    errmsg(nullptr);
}

const comhelp errmsghelp = {
    "End a script with an error.", nullptr,
    "  errmsg TEXT ;   write the text, as \"quote\" does, and do what an error does\n"
    "Examples:\n"
    "  macro = ; loop 1 3 if (#1 > 5) errmsg Too large: #1 ; end stop macro - ;\n"
};

void chkbreakcom()
{
    scriptcommand();
    int n = peep() == ';' ? 1 : imacnu();
    if (n) {
        if (breakable) intrupt(1);
        return;
    }
    if (!window.waitkey) return;
    window.progressline("\rPress key to continue ");
    window.waitkey();
    window.progressline("");
}

const comhelp chkbreakhelp = {
    "Look whether the user wants to interrupt.", nullptr,
    "  chkbreak 1 ;   look for the Esc key\n"
    "  chkbreak 0 ;   wait for a key, when someone is there to press it\n"
    "Examples:\n"
    "  macro = ; chkbreak 1 ; macro - ;\n"
};

void resettimecom()
{
    scriptcommand();
    progstartime = now();
    if (report_status) spewem("Time reset", nullptr);
}

const comhelp resettimehelp = {
    "Start the clock of scripts anew.", nullptr,
    "  resettime ;   from now on the expression time counts from here\n"
    "Examples:\n"
    "  macro = ; resettime ; macro - ;\n"
};

// --- progress -----------------------------------------------------------------------------

static void closeprogress()
{
    doing_user_progress = 0;
    window.progressline("");
}

void progresscom()
{
    constexpr size_t LONGEST = 145;
    scriptcommand();
    if (gotc('/')) { closeprogress(); return; }
    if (report_status) errmsg("Cannot run progress with report ON", nullptr);
    if (gotc('=')) { refresh_report(); return; }
    double done = macnu(), total = macnu();
    std::string text;
    for (int c; (c = gtch()) != ';'; )
        if (c > 32 || (!text.empty() && text.back() != ' ')) text += char(std::max(c, 32));
    ungtch();
    if (text.size() > LONGEST) errmsg("Text for progress bar too long", nullptr);
    doing_user_progress = 1;
    show_user_progress(done, total, text.c_str());
    if (breakable) intrupt(1);
}

const comhelp progresshelp = {
    "Show how far a script is.", nullptr,
    "  progress J K TEXT ;   a bar for J of K steps, with a text of up to 145 characters\n"
    "  progress = ;          draw it anew the next time\n"
    "  progress / ;          take it away\n"
    "The reports must be off (\"report-\").\n"
    "Examples:\n"
    "  macro = ; report - ; loop 1 3 progress #1 3 working ; stop progress / ;\n"
    "  report = ; macro - ;\n"
};
