// Scores of the trees in memory: the commands scores and length.
#include "trees/scores.h"
#include <cstring>
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "trees/implied.h"
#include "trees/lightopt.h"
#include "trees/treebuf.h"

// What the option characters before the list of trees ask for.
struct scoreoptions {
    bool fits = false, soft = false, mk = false, implik = false;
};

static scoreoptions readscoreoptions()
{
    scoreoptions o;
    for (;;) {
        if (gotc('*')) o.fits = true;
        else if (gotc('!')) o.soft = true;
        else if (gotc('&')) o.mk = true;
        else if (gotc('|')) o.implik = true;
        else break;
    }
    if (o.fits && userdef_weighting_func) myerr("With user weighting functions, cannot do fits");
    if (o.fits && doautowt) myerr("\"Fits\" cannot be calculated with auto-weighted optimization");
    if (o.mk && o.implik) myerr("You have to choose either \"&\" or \"|\"");
    if (o.soft && (o.mk || o.implik)) myerr("Cannot do \"soft\" polytomies with \"&\" or \"|\"");
    if (o.soft && o.fits) myerr("Cannot do \"soft\" polytomies with \"*\"");
    if (o.mk || o.implik) myerr("Sorry, likelihood scores are not available yet");
    return o;
}

static bool scores_are_whole() { return !dopiwe && !num_continuous_chars; }

static void scoretable(const double *score, const scoreoptions &options)
{
    const char *what = !dopiwe ? "Tree lengths" : options.fits ? "Total fit" : "Adjusted homoplasy";
    snprintf(tabletitle, sizeof tabletitle, "%s%s", what, options.soft ? " (soft polytomies)" : "");
    ischartable = 0;
    if (scores_are_whole()) {
        int *whole = lo<int>(trees_in_mem);
        for (int t = 0; t < trees_in_mem; ++t) whole[t] = ftisql(score[t]);
        printable(whole, trees_in_mem);
        return;
    }
    struct floatform {                       // continuous characters have three decimals
        int precision = table_precision, breaks = breakable;
        floatform() { breakable = 0; if (num_continuous_chars) table_precision = 3; }
        ~floatform() { table_precision = precision, breakable = breaks; }
    } form;
    printable_floats(score, trees_in_mem);
}

void scorescom()
{
    notreeerror();
    scoreoptions options = readscoreoptions();
    optmem();                                // locks its layer: before any scratch of this command
    const uint8_t *list = treelist();
    double *score = lo<double>(trees_in_mem);
    int todo = countlist(list, trees_in_mem), done = 0;
    for (int t = 0; t < trees_in_mem; ++t) {
        score[t] = -1;
        if (list[t] != LISTED || have_some_intrupt()) continue;
        dildit(done++, todo, "Optimizing");
        score[t] = options.soft ? softpolyoptimize(mem_tree[t]) : packdownpass(mem_tree[t]);
        if (dopiwe && options.fits) score[t] = antipiwe();
    }
    if (!iamslave && report_status && !jaking) erdil();
    scoretable(score, options);
}

otherweighting::otherweighting(int on) : piwe(dopiwe), extended(xdopiwe_stat), sets(xdopiwe_numpacksets)
{
    dopiwe = uint8_t(on);
    xdopiwe_stat = 0;
    xdopiwe_numpacksets = 0;
    if (dopiwe != piwe || extended) wipetag(&opttag);
}

otherweighting::~otherweighting()
{
    if (dopiwe != piwe || extended) wipetag(&opttag);
    dopiwe = piwe;
    xdopiwe_stat = extended;
    xdopiwe_numpacksets = sets;
}

void lengthcom()
{
    if (!dopiwe) return scorescom();
    otherweighting steps(0);
    scorescom();
}

void fitcom()
{
    if (dopiwe) return scorescom();
    otherweighting fits(1);
    scorescom();
}

const comhelp scoreshelp = {
    "Show the scores of trees.", nullptr,
    "  scores L ;     scores of the trees in list L (all, when none is given)\n"
    "  scores * L ;   as fits (under implied weights; steps under equal weights)\n"
    "  scores ! L ;   with polytomies as soft: the best resolution of each, by\n"
    "                 character\n"
    "Polytomies are optimized as they stand (\"hard\") unless \"!\" is given.  All\n"
    "active characters are included, also the uninformative ones.\n"
    "Examples:\n"
    "  scores ;       all trees\n"
    "  scores 0.4 ;   trees 0 to 4\n"
    "  scores ! 2 ;   tree 2, polytomies as soft\n"
};

const comhelp lengthhelp = {
    "Show the lengths of trees, in steps.", nullptr,
    "  length L ;     lengths of the trees in list L (all trees when no list is\n"
    "                 given)\n"
    "  length ! L ;   the same, with polytomies as soft: the best resolution of\n"
    "                 each, by character\n"
    "Lengths are steps times weight of all active characters, also under implied\n"
    "weights.\n"
    "Examples:\n"
    "  length ;         all trees\n"
    "  length ! 0.2 ;   trees 0 to 2, polytomies as soft\n"
};

const comhelp fithelp = {
    "Show the scores of trees under implied weights.", nullptr,
    "  fit L ;     adjusted homoplasy of the trees in list L (all trees when no list is\n"
    "              given): the sum of weight times h / (h + k), h being the extra steps of a\n"
    "              character and k the concavity (see \"piwe\")\n"
    "  fit * L ;   total fit: the sum of weight times k / (h + k), over informative\n"
    "              characters\n"
    "  fit ! L ;   with polytomies as soft: the best resolution of each, by character\n"
    "Implied weighting need not be on.\n"
    "Examples:\n"
    "  fit ;\n"
    "  fit * 0.2 ;   trees 0 to 2\n"
};
