// Dropping trees: best, unique.
#include "trees/filtertrees.h"
#include <algorithm>
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
#include "kernel/progress.h"
#include "trees/collapse.h"
#include "trees/implied.h"
#include "trees/lightopt.h"
#include "trees/treebuf.h"

bool (*mono_isok)(const int *tree);
void (*check_constraints)();

enum constraintfilter { ANY_TREE, ONLY_FULFILLING, ONLY_BREAKING };

static constraintfilter readfilter(int c)
{
    if (!consttag) myerr("No constraints defined");
    return c == '[' ? ONLY_FULFILLING : ONLY_BREAKING;
}

static void dropbyconstraints(constraintfilter filter)
{
    if (filter == ANY_TREE || !mono_isok) return;
    uint8_t *keep = zlo<uint8_t>(trees_in_mem);
    for (int t = 0; t < trees_in_mem; ++t) {
        dildit(t, trees_in_mem, "Checking monophyly");
        keep[t] = mono_isok(mem_tree[t]) == (filter == ONLY_FULFILLING);
    }
    effect_tree_choice(keep);
}

static void dropduplicates()
{
    if (trees_in_mem < 2) return;
    int *first = lo<int>(trees_in_mem), before = trees_in_mem;
    uint8_t *keep = lo<uint8_t>(trees_in_mem);
    first_equal_trees(first);
    for (int t = 0; t < trees_in_mem; ++t) {
        dildit(t, trees_in_mem, "Comparing");
        keep[t] = first[t] == t;
    }
    effect_tree_choice(keep);
    if (trees_in_mem < before) recalctree = 1;
}

static void reportretained(const char *scores, constraintfilter filter)
{
    const char *how = filter == ONLY_FULFILLING ? " (all fulfill constraints)"
                    : filter == ONLY_BREAKING ? " (none fulfills constraints)" : "";
    myp("%i trees retained%s%s", trees_in_mem, scores, how);
}

// --- unique ---

void uniquecom()
{
    notreeerror();
    bool collapse = false;
    constraintfilter filter = ANY_TREE;
    for (int c; (c = peep()) == '*' || c == '[' || c == ']'; ) {
        gtnb();
        if (c == '*') collapse = true;
        else filter = readfilter(c);
    }
    wipetag(&schtag);
    int before = trees_in_mem;
    if (collapse) optmem();                 // locks its layer before any scratch
    dropbyconstraints(filter);
    if (collapse) condensation(0);
    dropduplicates();
    if (report_status) erdil();
    if (trees_in_mem < before) recalctree = 1;
    reportretained("", filter);
}

// --- best ---

struct bestoptions {
    double number = 0;
    bool absolute = false, collapse = false;
    constraintfilter filter = ANY_TREE;
};

static bestoptions readbestoptions()
{
    bestoptions o;
    for (int c; (c = peep()) != ';'; ) {
        switch (c) {
            case '-': gtnb(); o.absolute = true; break;
            case '[': case ']': gtnb(); o.filter = readfilter(c); break;
            case '*': gtnb(); o.collapse = true; break;
            default:
                o.number = gtdouble();
                if (o.number >= 0) break;
                if (peep() == c) errarg(c);                  // no number at all
                myerr("Value of suboptimal must be >= 0");
        }
    }
    return o;
}

static std::string scoretext(double score)
{
    char text[64];
    snprintf(text, sizeof text, dopiwe ? "%f" : num_continuous_chars ? "%.3f" : "%.0f", score);
    return text;
}

void bestcom()
{
    notreeerror();
    bestoptions o = readbestoptions();
    optmem();
    double best = 1e10, worst = 0, *score = lo<double>(trees_in_mem);
    for (int t = trees_in_mem - 1; t >= 0; --t) {
        dildit(trees_in_mem - 1 - t, trees_in_mem, "Optimizing");
        score[t] = packdownpass(mem_tree[t]);
        best = std::min(best, score[t]);
        worst = std::max(worst, score[t]);
    }
    // Sums of fits come in another order for equal trees: what differs by less than this is equal.
    double slack = dopiwe ? 1e-9 * (1 + best) : num_continuous_chars ? 1e-6 : 0;
    uint8_t *keep = lo<uint8_t>(trees_in_mem);
    for (int t = 0; t < trees_in_mem; ++t)
        keep[t] = o.absolute ? score[t] >= o.number - slack : score[t] - o.number <= best + slack;
    std::string range = o.absolute ? " (score over " + scoretext(o.number)
                      : " (score " + scoretext(best) + (o.number > 0 ? "-" + scoretext(std::min(best + o.number, worst)) : "");
    int before = trees_in_mem;
    effect_tree_choice(keep);
    dropbyconstraints(o.filter);
    if (o.collapse && trees_in_mem) condensation(0);
    dropduplicates();
    if (report_status) erdil();
    if (trees_in_mem < before) recalctree = 1;
    reportretained((range + ")").c_str(), o.filter);
}

const comhelp uniquehelp = {
    "Drop duplicate trees.", nullptr,
    "  unique ;      keep the first of each set of identical trees\n"
    "  unique * ;    the same, collapsing the trees first (see \"collapse\")\n"
    "  unique [ ;    keep also only trees that fulfil the constraints; \"]\" only those that do not\n"
    "Examples:\n"
    "  unique ;\n"
};

const comhelp besthelp = {
    "Keep only the best trees.", nullptr,
    "  best ;      keep the trees of best score, without duplicates\n"
    "  best N ;    keep trees with a score up to N above the best (default 0)\n"
    "  best -N ;   keep trees with a score of N or more\n"
    "  best * ;    collapse the trees kept (see \"collapse\"), then drop duplicates\n"
    "  best [ ;    keep only trees that fulfil the constraints; \"]\" only those that do not\n"
    "Options go together, in any order.\n"
    "Examples:\n"
    "  best 2 ;   trees up to two steps longer than the best\n"
    "  best ;\n"
};
