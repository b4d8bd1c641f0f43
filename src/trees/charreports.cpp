// Reports by character: cscores, chomo, minmax, info.
#include <algorithm>
#include <cmath>
#include <string>
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

// A table with characters as rows; whole numbers when all its values are.
static void charactertable(const double *value, bool real)
{
    struct rowsarecharacters {
        rowsarecharacters() { ischartable = 1; }
        ~rowsarecharacters() { ischartable = 0; }
    } guard;
    if (real) {
        printable_floats(value, nc);
        return;
    }
    char *here = lomark();
    int *whole = lo<int>(nc);
    for (int c = 0; c < nc; ++c) whole[c] = ftisql(value[c]);
    printable(whole, nc);
    loset(here);
}

static uint8_t *chosencharacters()
{
    uint8_t *list = zlo<uint8_t>(nc);
    if (!read_scope(list, 0, nc, "character", charnames)) std::fill(list, list + nc, LISTED);
    return list;
}

static double stepsof(int c) { return charcodes[c].continuous ? charcodes[c].realsteps : charcodes[c].steps; }
static bool   varies(int c)
{
    const charrec &ch = charcodes[c];
    return ch.continuous ? ch.realmin != ch.realmax : ch.maxsteps != ch.minsteps;
}

static double scoretree(int t, bool soft) { return soft ? softpolyoptimize(mem_tree[t]) : packdownpass(mem_tree[t]); }

// --- cscores ---

static void scorestitle(int t, double total, bool soft)
{
    char text[128];
    if (dopiwe) snprintf(text, sizeof text, "Tree %i, total adjusted homoplasy %f", t, total);
    else if (num_continuous_chars) snprintf(text, sizeof text, "Tree %i, total length %.3f", t, total);
    else snprintf(text, sizeof text, "Tree %i, total length %i", t, ftisql(total));
    snprintf(tabletitle, sizeof tabletitle, "%s%s", text, soft ? " (soft polytomies)" : "");
}

void cscorescom()
{
    notreeerror();
    bool soft = gotc('!');
    optmem();
    const uint8_t *trees = treelist();
    const uint8_t *chars = nullptr;
    if (gotc('/')) chars = chosencharacters();
    double *value = lo<double>(nc);
    for (int t = 0; t < trees_in_mem; ++t) {
        if (trees[t] != LISTED) continue;
        intrupt(1);
        scorestitle(t, scoretree(t, soft), soft);
        for (int c = 0; c < nc; ++c) {
            bool shown = charcodes[c].active && (!chars || chars[c] == LISTED) && (!dopiwe || varies(c));
            value[c] = !shown ? -1 : dopiwe ? charcodes[c].fit : stepsof(c);
        }
        charactertable(value, dopiwe || num_continuous_chars);
    }
}

// --- chomo ---

void chomocom()
{
    notreeerror();
    bool soft = gotc('!');
    otherweighting steps(0);
    optmem();
    const uint8_t *trees = treelist();
    double *value = lo<double>(nc);
    for (int t = 0; t < trees_in_mem; ++t) {
        if (trees[t] != LISTED) continue;
        intrupt(1);
        scoretree(t, soft);
        double total = 0;
        for (int c = 0; c < nc; ++c) {
            const charrec &ch = charcodes[c];
            value[c] = !ch.active ? -1 : std::max(0.0, stepsof(c) - (ch.continuous ? ch.realmin : ch.minsteps));
            if (ch.active) total += value[c];
        }
        snprintf(tabletitle, sizeof tabletitle, num_continuous_chars ? "Tree %i, homoplasy (total %.3f)"
                                                                     : "Tree %i, homoplasy (total %.0f)", t, total);
        charactertable(value, num_continuous_chars);
    }
}

// --- minmax ---

struct minmaxtotals {
    double least = 0, most = 0;
    std::string leasttext, mosttext;
};

static minmaxtotals addminmax(const uint8_t *chars, double *least, double *most)
{
    minmaxtotals sum;
    for (int c = 0; c < nc; ++c) {
        const charrec &ch = charcodes[c];
        least[c] = most[c] = -1;
        if (!ch.active || chars[c] != LISTED) continue;
        least[c] = ch.continuous ? ch.realmin : ch.minsteps;
        most[c] = ch.continuous ? ch.realmax : ch.maxsteps;
        sum.least += ch.weight * least[c];
        sum.most += ch.weight * most[c];
    }
    char text[64];
    snprintf(text, sizeof text, num_continuous_chars ? "%.3f" : "%.0f", sum.least);
    sum.leasttext = text;
    snprintf(text, sizeof text, num_continuous_chars ? "%.3f" : "%.0f", sum.most);
    sum.mosttext = text;
    return sum;
}

static void bothcolumns(const double *least, const double *most)
{
    int decimals = num_continuous_chars ? 3 : 0;
    myp("%12s %12s %12s", "Character", "Minimum", "Maximum");
    for (int c = 0; c < nc; ++c)
        if (least[c] >= 0) {
            intrupt(1);
            const char *name = use_charnames && charnames && charnames[c] ? charnames[c] : "";
            myp("%12i %12.*f %12.*f  %s", c, decimals, least[c], decimals, most[c], name);
        }
}

static void minmaxtables(const uint8_t *chars, bool active, bool together, bool minima, bool maxima)
{
    double *least = lo<double>(nc), *most = lo<double>(nc);
    minmaxtotals sum = addminmax(chars, least, most);
    char taxa[64] = "";
    if (active) snprintf(taxa, sizeof taxa, " for %i active taxa", numactive());
    if (together) {
        myp("Minimum/Maximum numbers of steps%s%s (total = %s/%s)", active ? "," : "", taxa, sum.leasttext.c_str(),
            sum.mosttext.c_str());
        bothcolumns(least, most);
        return;
    }
    const char *possible = active ? " steps" : " possible steps";
    if (minima) {
        snprintf(tabletitle, sizeof tabletitle, "Minimum%s%s (total = %s)", possible, taxa, sum.leasttext.c_str());
        charactertable(least, num_continuous_chars);
    }
    if (maxima) {
        snprintf(tabletitle, sizeof tabletitle, "Maximum%s%s (total = %s)", possible, taxa, sum.mosttext.c_str());
        charactertable(most, num_continuous_chars);
    }
}

// Minima over the active taxa only, for as long as it stands.
struct onlyactivetaxa {
    static void renew(int only)
    {
        check_only_active_taxa = only;
        chartables_reset();
        for (int c = 0; c < nc; ++c) charcodes[c].recalc = 1;
    }
    onlyactivetaxa() { renew(1); }
    ~onlyactivetaxa() { renew(0); }
};

void minmaxcom()
{
    nodaterror("displaying min/max steps");
    bool active = false, together = false, minima = true, maxima = true;
    for (;;) {
        if (gotc('-')) active = true;
        else if (gotc('+')) active = false;
        else if (gotc('*')) together = true;
        else if (gotc('<')) maxima = false;
        else if (gotc('>')) minima = false;
        else break;
    }
    if (!minima && !maxima) minima = maxima = true;
    const uint8_t *chars = chosencharacters();
    if (active) {
        onlyactivetaxa guard;
        set_charcodes();
        minmaxtables(chars, true, together, minima, maxima);
        return;
    }
    set_charcodes();
    minmaxtables(chars, false, together, minima, maxima);
}

// --- info ---

// Without a single value, nothing tells that a continuous character could not vary.
static bool without_values(int c)
{
    for (int t = 0; t < nt; ++t)
        if (uint32_t x = cell(t, c); x != CONT_MISSING && x != CONT_INAPP) return false;
    return true;
}

static bool informative(int c) { return varies(c) || (charcodes[c].continuous && without_values(c)); }

void infocom()
{
    nodaterror("displaying info/uninfo chars.");
    constexpr int MARKED = -5, NOTMARKED = -4;
    bool wanted = true;
    if (gotc('-')) wanted = false;
    else gotc('+');
    set_charcodes();
    int *mark = lo<int>(nc);
    for (int c = 0; c < nc; ++c) mark[c] = informative(c) == wanted ? MARKED : NOTMARKED;
    snprintf(tabletitle, sizeof tabletitle, "%s characters", wanted ? "Informative" : "Uninformative");
    ischartable = 1;
    printable(mark, nc);
    ischartable = 0;
}

const comhelp cscoreshelp = {
    "Show the scores of each character on trees.", nullptr,
    "  cscores T / C ;    a table for each tree in list T (default all), with the steps of\n"
    "                     the active characters in list C (default all); under implied\n"
    "                     weights their fits, of informative characters only\n"
    "  cscores ! T / C ;  polytomies as soft: the best resolution of each, by character\n"
    "Values are without the weight that \"ccode\" gives.\n"
    "Examples:\n"
    "  cscores 0 ;\n"
    "  cscores 0 1 / 0.5 ;   characters 0 to 5 on trees 0 and 1\n"
};

const comhelp chomohelp = {
    "Show the homoplasy of each character on trees.", nullptr,
    "  chomo T ;      a table for each tree in list T (default all): steps beyond the\n"
    "                 minimum of each active character, without weights\n"
    "  chomo ! T ;    polytomies as soft: the best resolution of each, by character\n"
    "Examples:\n"
    "  chomo 0 ;\n"
};

const comhelp minmaxhelp = {
    "Show minimum and maximum possible steps of characters.", nullptr,
    "  minmax L ;     two tables, for the active characters in list L (default all)\n"
    "  minmax * L ;   one table, with a line for each character\n"
    "  minmax < L ;   only minima\n"
    "  minmax > L ;   only maxima\n"
    "  minmax - L ;   counting active taxa only (with any of the others; \"+\" all taxa, default)\n"
    "Totals are of steps times weight.\n"
    "Examples:\n"
    "  minmax ;\n"
    "  minmax - * 0.9 ;   characters 0 to 9 in one table, for active taxa\n"
};

const comhelp infohelp = {
    "Show which characters are informative.", nullptr,
    "  info ;      informative characters are marked: those whose minimum and maximum\n"
    "              possible steps differ (\"info +\" is the same)\n"
    "  info - ;    uninformative characters are marked\n"
    "Examples:\n"
    "  info - ;\n"
};
