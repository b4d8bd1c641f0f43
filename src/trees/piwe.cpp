// The command piwe: implied weighting on and off, its concavity, functions of the user.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <vector>
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "trees/implied.h"

constexpr double MAXK = 1000, MINK = 1e-5;

static void showstrength()
{
    myp("Weighting strength is %.5f%s", konk, xdopiwe_stat && multik_is_on ? " (reference K)" : "");
}

static void report()
{
    spewem("Implied weighting is", dopiwe ? "ON" : "OFF", nullptr);
    if (!dopiwe) return;
    if (doautowt) spewem("Auto-weighted optimization is ON", nullptr);
    spewem("Extended implied weighting is", xdopiwe_stat ? "ON" : "OFF", nullptr);
    if (!xdopiwe_stat) spewem("Using a single weighting function for all characters", nullptr);
    if (userdef_weighting_func) spewem("Weighting with user-defined weighting function", nullptr);
    else showstrength();
}

static void readstrength(bool needed)
{
    bool minus = gotc('-');
    double k = gtdouble();
    if (k < 0 && !minus && !needed) return;
    if (k <= 0 || minus) myerr("Weighting strength must be more than 0");
    if (k > MAXK) myerr("Weighting strength must be less than 1000");
    konk = k;
}

// --- Functions of the user ---

static void getfunction()
{
    if (!dopiwe || !read_under_implied_weights())
        myerr("To define a user weighting function, data must be read with implied weighting ON");
    if (ss_recurse_level) myerr("When running sectors, weighting function can't be redefined...");
    if (doautowt) myerr("Sorry, cannot define user-function for the present settings");
    std::vector<double> costs;
    for (;;) {
        int c = peep();
        if (c == '-') myerr("Value of weight must be >= 0 (weighting function unchanged)");
        double cost = isdigit(c) || c == '.' ? gtdouble() : -1;
        if (cost < 0) break;
        costs.push_back(cost);
    }
    if (costs.empty()) errarg(peep());
    int most = max_homoplasy(), given = int(costs.size());
    if (given < most)
        myp("Data can have up to %i extra-steps; only %i values defined\n"
            "Values for %i-%i extra steps will be set as for %i extra steps", most, given, given, most, given - 1);
    userdef_fitf[0] = 0;
    for (uint32_t h = 1; h < globmaxh; ++h)
        userdef_fitf[h] = userdef_fitf[h - 1] + costs[std::min<size_t>(h, costs.size()) - 1];
    userdef_fit_size = uint32_t(given);
    userdef_weighting_func = 1;
    implied_settings_changed();
}

static void showfunction()
{
    nodaterror("showing weighting function");
    spewem("Weighting with user-defined weighting function", nullptr);
    for (uint32_t h = 0; h < userdef_fit_size && h + 1 < globmaxh; ++h)
        myp("  %3u: %g", h, userdef_fitf[h + 1] - userdef_fitf[h]);
}

static void userfunction()
{
    if (peep() != ';') return getfunction();
    if (userdef_weighting_func) return showfunction();
    showstrength();
}

// --- Reports ---

static void absolutecost()
{
    if (!nt) myerr("Cannot report value of first step of homoplasy without data");
    piwe_init(0);
    long n = gtnu();
    if (n < 0) return myp("Absolute cost of first step of homoplasy: %s\n", floatvert(fitf[1]));
    if (n > max_homoplasy()) errmsg("Maximum expected homoplasy is", intvert(max_homoplasy()), nullptr);
    myp("Absolute cost of %i steps of homoplasy: %s\n", int(n), floatvert(fitf[n]));
}

static void concavities()
{
    bool shifts = userdef_weighting_func;
    double *value = lo<double>(nc);
    for (int c = 0; c < nc; ++c) {
        double k = xdopiwe_stat && multik_is_on ? multik_userk[c] : konk;
        value[c] = !charcodes[c].active ? -1 : shifts ? konk / k : k;
    }
    if (shifts) snprintf(tabletitle, sizeof tabletitle, "Character shifts (shift in user-defined weighting-function)");
    else snprintf(tabletitle, sizeof tabletitle, "Character concavities (base: %.5f)", konk);
    ischartable = 1;
    printable_floats(value, nc);
    ischartable = 0;
}

// The cost of each step of homoplasy, relative to that of the first.
static void relativecosts(int c)
{
    const charrec &ch = charcodes[c];
    if (ch.continuous) return myp("(Skipping continuous char. %i)", c);
    if (ch.sankoff) return myp("(Skipping Sankoff char. %i)", c);
    if (!ch.active) return myp("For char. %i (inactive)", c);
    double k = xdopiwe_stat && multik_is_on ? multik_userk[c] : konk;
    if (xdopiwe_stat && xdopiwe_fixwt_user[c]) return myp("For char. %i (fixed cost)", c);
    if (userdef_weighting_func) myp("For char. %i (shift=%.5f)", c, konk / k);
    else myp("For char. %i (k=%.5f)", c, k);
    int most = std::max(1, ch.maxsteps - ch.minsteps + ch.internal_steps);
    double first = charfit(c, 1);
    constexpr int ALINE = 8;
    for (int h = 0; h < most; ++h) {
        double cost = charfit(c, h + 1) - charfit(c, h);
        char text[40];
        snprintf(text, sizeof text, "%4i:%8.5f", h + 1, first > 0 ? cost / first : cost);
        tojoin(text);
        if (h % ALINE == ALINE - 1 || h == most - 1) spewout();
    }
}

static void showconcavities()
{
    nodaterror("showing concavities");
    set_charcodes();
    piwe_init(0);
    uint8_t *list = zlo<uint8_t>(nc);
    if (!read_scope(list, 0, nc, "character", charnames)) return concavities();
    for (int c = 0; c < nc; ++c)
        if (list[c] == LISTED) relativecosts(c);
}

// --- Concavity from a range of weights ---

// The k under which a step after s extra ones costs w times the first: k(k+1) = w (s+k)(s+k+1).
static double kforrange(double w, double s)
{
    double a = w - 1, b = 2 * w * s + w - 1, c = w * s * s + w * s;
    return (-b - std::sqrt(b * b - 4 * a * c)) / (2 * a);
}

static void readrange()
{
    double range = gtdouble();
    if (range <= 1) myerr("Expected maximum weight range (larger than 1).");
    double steps = gtdouble();
    if (steps < 0) {
        nodaterror("setting range of weights from data");
        set_charcodes();
        steps = max_homoplasy();
    }
    double k = steps > 0 ? kforrange(1 / range, steps) : MINK / 2, want = k;
    if (k > MAXK) {
        myp("Note: Concavity for requested range is too high;\n      will set concavity to 1000 (maximum)\n");
        k = MAXK;
    }
    else if (k < MINK) {
        myp("Concavity for requested range is too small;\nwill set concavity to 10e-6 (minimum)\n");
        k = MINK;
    }
    konk = k;
    implied_settings_changed();
    if (k != want) warnem("requested weight ratios only approximated", nullptr);
    else myp("Concavity set to %.6f (%g steps of homoplasy downweighted %.3f times)", k, steps, range);
}

// --- The command ---

static void turn(int on)
{
    if (on) readstrength(false);
    doautowt = 0;
    if (!on) xdopiwe_stat = 0;
    dopiwe = uint8_t(on);
    implied_settings_changed();
    spewem("Implied weighting is", on ? "ON" : "OFF", nullptr);
}

void piwecom()
{
    if (peep() == ';') return report();
    while (peep() != ';') {
        int c = gtnb();
        switch (c) {
            case '-': turn(0); break;
            case '=': turn(1); break;
            case ':':
                readstrength(true);
                implied_settings_changed();
                showstrength();
                break;
            case '[': userfunction(); break;
            case ']': ban_userdef_weighting_func(); break;
            case '|': absolutecost(); break;
            case '+': myerr("Sorry, auto-weighted optimization is not available yet");
            case '<': readrange(); break;
            case '&': showconcavities(); break;
            default: errarg(c);
        }
    }
}

const comhelp piwehelp = {
    "Implied weighting: weight characters by their fit to each tree.", nullptr,
    "Under implied weighting the score of a tree is the sum, over characters, of weight times\n"
    "h / (h + k), where h is the homoplasy (extra steps) of the character on the tree and k the\n"
    "concavity.  The smaller k is, the more strongly homoplasy is weighed down.\n"
    "  piwe ;         show the settings\n"
    "  piwe =N ;      on, with k = N (above 0, up to 1000; default 3, or as last set)\n"
    "  piwe - ;       off (default)\n"
    "  piwe :N ;      set k, and turn nothing on or off\n"
    "  piwe <R N ;    set k such that N steps of homoplasy weigh 1/R of the first step;\n"
    "                 without N, the most that the characters can have (N need not be whole)\n"
    "  piwe [ W0 W1 ... ;  relative weights of the user for a step after 0, 1, ... extra\n"
    "                 steps; the data must have been read under implied weighting.\n"
    "                 \"piwe [ ;\" shows them\n"
    "  piwe ] ;       back to the function of k\n"
    "  piwe |N ;      the cost of N steps of homoplasy (default: of the first)\n"
    "  piwe &L ;      the concavities of characters; for a list L, what each step of\n"
    "                 homoplasy costs, relative to the first\n"
    "For sets of characters, constant weights and concavities by character, see \"xpiwe\".\n"
    "Examples:\n"
    "  piwe = 12 ; scores ; piwe - ;\n"
    "  piwe <5 10 ;   the tenth extra step weighs a fifth of the first\n"
};
