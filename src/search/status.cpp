// The status of a search, on one line that is overwritten.  The swappers call this every few
// clips, so it looks at the clock before anything else.
#include "search/status.h"
#include "search/constraints.h"
#include "search/keeptrees.h"
#include "search/moves.h"
#include "search/setup.h"
#include "kernel/driver.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "kernel/shell.h"
#include "kernel/silence.h"
#include "kernel/window.h"
#include <algorithm>
#include <cstdio>
#include <cstring>

int curalg, current_replication = -1, replications_wanted, current_treenum, no_reports_yet = 1;
unsigned long numrearrangs, bigrearrangs, acceprearrangs;
double polling_interval = 1;

static const char *const algnames[STAGES] = { "RAS", "SPR", "TBR", "SECT", "DRIFT", "RATCH", "FUSE", "PFIJO", "HYBR", "IENUM", "REBLD" };

void clear_rearrangs() { numrearrangs = bigrearrangs = acceprearrangs = 0; }

std::string give_numrearrangs()
{
    char text[64];
    if (bigrearrangs) snprintf(text, sizeof text, "%lu%09lu", bigrearrangs, numrearrangs);
    else snprintf(text, sizeof text, "%lu", numrearrangs);
    return text;
}

void show_numrearrangs()
{
    myp("Total rearrangements examined: %s.", give_numrearrangs().c_str());
    if (constraints_in_force()) myp("Constraints enforced during search.");
}

std::string scoretext(double score)
{
    char text[64];
    if (score >= NOSCORE || score < 0) return "(none)";
    snprintf(text, sizeof text, dopiwe ? "%.5f" : true_num_cont ? "%.3f" : "%.0f", score);
    return text;
}

static std::string elapsed()
{
    int secs = int(now() - startime);
    char text[32];
    snprintf(text, sizeof text, "%i:%02i:%02i", secs / 3600, secs / 60 % 60, secs % 60);
    return text;
}

static std::string statusline(double score)
{
    char head[128], tail[128], percent[16];
    const char *alg = algnames[curalg];
    bool false_weights = perturbating || emulating_tradrat;
    std::string scored = false_weights ? "" : scoretext(score), best = scoretext(overall_bestscore);
    if (current_replication >= 0) {
        snprintf(percent, sizeof percent, "%i%%", 100 * current_replication / std::max(1, replications_wanted));
        snprintf(head, sizeof head, "\r%-5i %-5s %6i of %-6i %-11s", current_replication, alg, current_replication,
                 replications_wanted, scored.c_str());
        snprintf(tail, sizeof tail, " %-12s %-10s    %3s    ", best.c_str(), elapsed().c_str(), percent);
    } else {
        snprintf(head, sizeof head, "\r%-5s %-5s %6i           %-11s", "---", alg, current_treenum, scored.c_str());
        snprintf(tail, sizeof tail, " %-12s %-10s %-13s", best.c_str(), elapsed().c_str(), "");
    }
    return std::string(head) + tail;
}

static void writeheader()
{
    std::string cycles = strcmp(current_command, "ratchet") ? "Repl." : "Iter.";
    window.progressline((cycles + " Algor.     Tree        Score       Best Score   Time      Repl. Algor.    \n").c_str());
    no_reports_yet = 0;
}

void report_search_status(double score)
{
    keep_window_alive();
    static double last_look = -1;
    if (!lapsed_over(last_look, mytimeout ? 0 : polling_interval)) return;
    last_look = now();
    if (mytimeout && timeisout()) return;
    static double last_poll = -1;
    if (!lapsed_over(last_poll, polling_interval)) return;
    last_poll = now();
    intrupt(1);
    if (!report_status || jaking || iamslave) return;
    if (no_reports_yet) writeheader();
    window.progressline(statusline(score).c_str() + 1);
}

void record_search_status(int every, int done, double score)
{
    if (!every || done % every) return;
    silence logonly(NOTHING & ~NOLOG);
    myp("%s", statusline(score).c_str() + 1);
}
