// Progress of long loops: shown in place of the last line, at most once a second, so that a loop
// may call at every step.  The same call polls for the Esc key, the time limit and autosaving.
#include "kernel/progress.h"
#include "kernel/below.h"
#include "kernel/commands.h"
#include "kernel/comhelps.h"
#include "kernel/driver.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/shell.h"
#include "kernel/silence.h"
#include "kernel/window.h"
#include <algorithm>
#include <cstdio>
#include <string>

int record_progress_bar, report_as_bar;
int xreport_status_time, xreport_status_reps, xreport_status_trees;
int doing_user_progress;

constexpr int    BARCELLS = 30;
constexpr double LONGAGO = -100000;      // so that the next report is due at once
static double last_brk_chk = LONGAGO, last_report = LONGAGO, last_record = LONGAGO;
static int    last_perc = -1;

// The bar: its ends, the cells done, the newest of them, the cells to do, and the cell of a full bar.
struct barsymbols { const char *left, *done, *newest, *todo, *right, *full; };
constexpr barsymbols STANDARDBAR = { "\xe2\x96\x95", "\xe2\x96\x88", "\xe2\x96\x93", "\xe2\x96\x91", "\xe2\x96\x8f", "\xe2\x96\x88" };
constexpr barsymbols SIMPLEBAR = { "[", "=", ">", " ", "]", "=" };
static const barsymbols *bar = &STANDARDBAR;

void set_progress_bar_type(int simple)
{
    bar = simple ? &SIMPLEBAR : &STANDARDBAR;
    report_as_bar = 1;
    refresh_report();
}

void refresh_report()
{
    last_report = LONGAGO;
    last_perc = -1;
}

static void showbar(const char *text, int percent)
{
    int filled = percent * BARCELLS / 100;
    std::string line = std::string(text) + " " + bar->left;
    for (int i = 0; i < BARCELLS; ++i)
        line += filled == BARCELLS ? bar->full : i < filled - 1 ? bar->done : i == filled - 1 ? bar->newest : bar->todo;
    window.progressline((line + bar->right).c_str());
}

// A run in the background has no line to show; what it is asked to record goes to the log.
static void recordprogress(const char *text, int percent)
{
    if (!lapsed_over(last_record, xreport_status_time)) return;
    last_record = now();
    silence logonly(NOTHING & ~NOLOG);
    myp("%s: %s (%i%% completed)", current_command, text, percent);
}

void dildit(double done, double total, const char *text)
{
    keep_window_alive();
    if ((breakable == 1 || iamslave) && lapsed_over(last_brk_chk, 1.0)) {
        if (autosave_results) autosave_the_results();
        if (mytimeout && timeisout()) return;
        intrupt(1);
        last_brk_chk = now();
    }
    if (jaking) return;
    int percent = total > 0 ? int(std::clamp(100 * done / total, 0.0, 100.0)) : 100;
    if (!report_status) {
        if (record_progress_bar && inbground) recordprogress(text, percent);
        return;
    }
    if (!lapsed_over(last_report, 1.0)) return;
    last_report = now();
    if (report_as_bar) {
        if (percent != last_perc) showbar(text, percent);
    } else {
        char line[256];
        snprintf(line, sizeof line, "%.200s (%i%%)", text, percent);
        window.progressline(line);
    }
    last_perc = percent;
}

void show_user_progress(double done, double total, const char *text)
{
    showbar(text, total > 0 ? int(std::clamp(100 * done / total, 0.0, 100.0)) : 100);
}

void endrow()
{
    spewout();
    if (breakable) intrupt(1);
}

static void clearline()
{
    refresh_report();
    window.progressline("");
}

void erdil()
{
    if (!iamslave && report_status && !jaking) clearline();
}

void erdil_forgood()
{
    if (doing_user_progress) return;
    if (!iamslave && !jaking && (report_status || domacros)) clearline();
}

// --- the command report ------------------------------------------------------------------

static void sayrecords()
{
    const char *parts[3];
    char secs[64], trees[64], reps[64];
    int n = 0;
    snprintf(secs, sizeof secs, "every %i secs.", xreport_status_time);
    snprintf(trees, sizeof trees, "every %i tree(s)", xreport_status_trees);
    snprintf(reps, sizeof reps, "every %i rep(s).", xreport_status_reps);
    if (xreport_status_time) parts[n++] = secs;
    if (xreport_status_trees) parts[n++] = trees;
    if (xreport_status_reps) parts[n++] = reps;
    tojoin("Record search status: ");
    for (int i = 0; i < n; ++i) {
        if (i) tojoin(i == n - 1 ? ", and " : ", ");
        tojoin(parts[i]);
    }
    if (!n) tojoin("none");
    spewout();
}

static void readrecords()
{
    int *intervals[] = { &xreport_status_time, &xreport_status_reps, &xreport_status_trees };
    bool more = true;
    for (int *interval : intervals) {
        long n = more ? gtnu() : 0;
        *interval = int(std::clamp(n, 0L, 1000000000L));
        more = more && gotc('/');
    }
    sayrecords();
}

void reportcom()
{
    refresh_report();
    if (gotc('+')) readrecords();
    else if (gotc('[')) record_progress_bar = 1;
    else if (gotc(']')) record_progress_bar = 0;
    else if (gotc('>')) {
        set_progress_bar_type(0);
        joinem("Using standard symbols for progress bar\n", nullptr);
    } else if (gotc('<')) {
        set_progress_bar_type(1);
        joinem("Using simpler progress bar\n", nullptr);
    } else {
        onoff(&report_status, "Report");
        return;
    }
    notime();
}

const comhelp reporthelp = {
    "Report progress and confirm what commands do.", nullptr,
    "  report = ;        report progress and confirmations (the default)\n"
    "  report - ;        do not\n"
    "  report / ;        invert\n"
    "  report ;          tell\n"
    "  report +T/R/N ;   record the status of searches every T seconds, every R\n"
    "                    replications and every N trees; 0 (the default) for never\n"
    "  report [ ;        in the background, write progress to the log every T\n"
    "                    seconds\n"
    "  report ] ;        do not (the default)\n"
    "  report > ;        show progress as a bar, with standard symbols\n"
    "  report < ;        show progress as a bar, with simpler symbols\n"
    "Examples:\n"
    "  report - ; mult ; report = ;\n"
    "  report + 60/10/0 ;\n"
};
