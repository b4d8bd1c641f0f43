// The command xcomp: which characters fit better on a reference tree than on others.
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
#include "trees/lightopt.h"
#include "trees/scores.h"
#include "trees/treebuf.h"

static double stepsof(int c) { return charcodes[c].continuous ? charcodes[c].realsteps : charcodes[c].steps; }

// Both lengths and fits of all characters, active or not.
static void definereference()
{
    if (xdopiwe_numpacksets) myerr("Cannot automate character-by-character comparisons with set weighting");
    long n = gtnu();
    if (n < 0) errmsg("Must give", "tree", "number", nullptr);
    if (n >= trees_in_mem) errmsg("Tree", intvert(n), nullptr);
    struct allactive {
        std::vector<uint8_t> were;
        allactive() : were(nc)
        {
            for (int c = 0; c < nc; ++c) were[c] = charcodes[c].active, charcodes[c].active = 1;
            chartables_reset();
        }
        ~allactive()
        {
            for (int c = 0; c < nc; ++c) charcodes[c].active = were[c];
            chartables_reset();
        }
    };
    {
        allactive marks;
        otherweighting fits(1);
        for (int c = 0; c < nc; ++c) charcodes[c].recalc = 1;
        optmem();
        packdownpass(mem_tree[n]);
        for (int c = 0; c < nc; ++c) {
            ref_steps[c] = stepsof(c);
            ref_fit[c] = charcodes[c].fit;
        }
    }
    defined_ref = 1;
    myp("Tree %i defined as reference", int(n));
}

// --- Groups of characters ---

struct groupchange { int sign = 0, worse, better; };

static int groupnumber()
{
    long g = gtnu();
    if (g < 0 || g >= GROUPS) myerr("Only character groups 0-31 can be defined");
    return int(g);
}

static groupchange readgroupchange()
{
    groupchange g;
    int c = peep();
    if (c != '>' && c != '<') return g;
    gtnb();
    g.sign = c == '>' ? 1 : -1;
    g.worse = groupnumber();
    g.better = groupnumber();
    return g;
}

static void changegroups(const groupchange &g, const double *difference)
{
    if (!g.sign) return;
    const struct { int group; const char *name; bool better; } both[] = {
        { g.worse, "Worse_fit_on_ref", false }, { g.better, "Better_fit_on_ref", true },
    };
    for (auto &b : both) {
        uint32_t bit = uint32_t{1} << b.group;
        if (!(chargroupdef & bit)) snprintf(chargroupname[b.group], size_t(Namesize), "%s", b.name);
        chargroupdef |= bit;
        for (int c = 0; c < nc; ++c) {
            if (difference[c] == 0 || (difference[c] < 0) != b.better) continue;
            if (g.sign > 0) chargroup[c] |= bit;
            else chargroup[c] &= ~bit;
        }
    }
}

// --- Comparison ---

static void differencetable(int t, const double *difference, bool better, bool fit)
{
    double *value = lo<double>(nc);
    bool some = false;
    for (int c = 0; c < nc; ++c) {
        bool shown = difference[c] != 0 && (difference[c] > 0) == better;    // above 0: the reference costs more
        value[c] = shown ? std::fabs(difference[c]) : -1;
        some |= shown;
    }
    if (!some) {
        spewem("No character has", better ? "better" : "worse", "fit on tree", intvert(t), nullptr);
        return;
    }
    if (better) snprintf(tabletitle, sizeof tabletitle, "Characters with better fit on tree %i, fit difference", t);
    else snprintf(tabletitle, sizeof tabletitle, "Characters with worse fit on tree %i, %s difference", t, fit ? "fit" : "length");
    ischartable = 1;
    if (fit || num_continuous_chars) printable_floats(value, nc);
    else {
        int *whole = lo<int>(nc);
        for (int c = 0; c < nc; ++c) whole[c] = ftisql(value[c]);
        printable(whole, nc);
    }
    ischartable = 0;
}

static void compare(int t, bool fit, const groupchange &groups)
{
    constexpr double SAME = 1e-9;
    double total = packdownpass(mem_tree[t]), *difference = lo<double>(nc);
    double more = total;
    for (int c = 0; c < nc; ++c)
        if (charcodes[c].active) more -= charcodes[c].weight * (fit ? ref_fit[c] : ref_steps[c]);
    if (std::fabs(more) < SAME) more = 0;
    const char *verdict = more > 0 ? "worse" : more < 0 ? "better" : "same", *what = fit ? "fit" : "length";
    if (fit) myp("Tree %i, %s %s (diff.=%.5f)", t, verdict, what, std::fabs(more));
    else if (num_continuous_chars) myp("Tree %i, %s %s (diff.=%.3f)", t, verdict, what, std::fabs(more));
    else myp("Tree %i, %s %s (diff.=%i)", t, verdict, what, ftisql(std::fabs(more)));
    for (int c = 0; c < nc; ++c) {
        difference[c] = 0;
        if (!charcodes[c].active) continue;
        difference[c] = fit ? ref_fit[c] - charcodes[c].fit : ref_steps[c] - stepsof(c);
        if (std::fabs(difference[c]) < SAME) difference[c] = 0;
    }
    differencetable(t, difference, true, fit);
    differencetable(t, difference, false, fit);
    changegroups(groups, difference);
}

void xcompcom()
{
    notreeerror();
    if (gotc('=')) return definereference();
    bool fit = gotc('*');
    if (!defined_ref) myerr("Cannot compare trees without having defined a reference tree");
    otherweighting kind(fit);
    optmem();
    const uint8_t *list = treelist();
    groupchange groups = readgroupchange();
    for (int t = 0; t < trees_in_mem; ++t) {
        if (list[t] != LISTED) continue;
        intrupt(1);
        compare(t, fit, groups);
    }
}

const comhelp xcomphelp = {
    "Compare trees with a reference tree, character by character.", nullptr,
    "  xcomp = N ;       tree N is the reference\n"
    "  xcomp L ;         characters with fewer, and with more, steps on each tree of list L\n"
    "                    (default all) than on the reference\n"
    "  xcomp * L ;       the same by fit under implied weights (see \"piwe\")\n"
    "  xcomp L >J K ;    put characters with worse fit on the reference in character group J,\n"
    "                    those with better fit in group K (0 to 31)\n"
    "  xcomp L <J K ;    take them out of the groups\n"
    "Examples:\n"
    "  xcomp = 0 ; xcomp 1 ;\n"
};
