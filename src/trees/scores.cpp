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
    if (o.mk && o.implik) myerr("You have to choose either \"&\" or \"|\"");
    if (o.soft && (o.mk || o.implik)) myerr("Cannot do \"soft\" polytomies with \"&\" or \"|\"");
    if (o.soft && o.fits) myerr("Cannot do \"soft\" polytomies with \"*\"");
    if (o.mk || o.implik) myerr("Likelihood scores are not available yet");
    return o;
}

static void scoretable(const double *score, bool soft)
{
    snprintf(tabletitle, sizeof tabletitle, "Tree lengths%s", soft ? " (soft polytomies)" : "");
    ischartable = 0;
    if (!num_continuous_chars) {
        int *whole = lo<int>(trees_in_mem);
        for (int t = 0; t < trees_in_mem; ++t) whole[t] = ftisql(score[t]);
        printable(whole, trees_in_mem);
        return;
    }
    struct floatform {                       // continuous characters have three decimals
        int precision = table_precision, breaks = breakable;
        floatform() { table_precision = 3, breakable = 0; }
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
    }
    if (!iamslave && report_status && !jaking) erdil();
    scoretable(score, options.soft);
}

void lengthcom() { scorescom(); }

const comhelp scoreshelp = {
    "Show the scores of trees.", nullptr,
    "scores L;      scores of the trees in list L (all trees when no list is given)\n"
    "scores * L;    the same with an option, one or more characters before the list:\n"
    "  *   as fits (under implied weights; steps under equal weights)\n"
    "  !   with polytomies as soft: the best resolution of each, by character\n"
    "Polytomies are optimized as they stand (\"hard\") unless \"!\" is given. All active\n"
    "characters are included, also the uninformative ones.\n"
    "Examples:\n"
    "  scores;         all trees\n"
    "  scores 0.4;     trees 0 to 4\n"
    "  scores ! 2;     tree 2, polytomies as soft\n"
};

const comhelp lengthhelp = {
    "Show the lengths of trees, in steps.", nullptr,
    "length L;      lengths of the trees in list L (all trees when no list is given)\n"
    "length ! L;    the same, with polytomies as soft: the best resolution of each, by\n"
    "               character\n"
    "Lengths are steps times weight of all active characters, also under implied weights.\n"
    "Examples:\n"
    "  length;         all trees\n"
    "  length ! 0.2;   trees 0 to 2, polytomies as soft\n"
};
