// Expressions: scores of trees, and of characters on them, as the commands length, fit, scores, cscores
// and chomo give them.
#include "script/ex.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/output.h"
#include "script/internals.h"
#include "script/scoring.h"
#include "trees/implied.h"
#include "trees/lightopt.h"
#include "trees/scores.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <memory>

void need_scoring()
{
    if (opttag) return;
    need_free_arena();
    optmem();
}

void need_free_arena()
{
    if (doing_a_search || lomark() != minseg || himark() != maxeg)
        errmsg("Scores cannot be calculated while", current_command, "reads what to do", nullptr);
}

namespace ex {

enum measure { STEPS, FITS, HOMOPLASY, INFORCE };

static double stepsof(int c)  { return charcodes[c].continuous ? charcodes[c].realsteps : charcodes[c].steps; }
static double minimumof(int c) { return charcodes[c].continuous ? charcodes[c].realmin : charcodes[c].minsteps; }

static double valueof(int c, measure what)
{
    if (!charcodes[c].active) return 0;
    switch (what) {
        case FITS:      return charcodes[c].fit;
        case HOMOPLASY: return std::max(0.0, stepsof(c) - minimumof(c));
        default:        return stepsof(c);
    }
}

// Members of a set are scored together.  Asked before the weighting in force is changed.
static void refuse_set_member(int c)
{
    if (!dopiwe || !xdopiwe_stat) return;
    if (!opttag) piwe_init(0);                // sets may be newer than the tables
    if (!in_wtset(c)) return;
    std::string which = intvert(c);
    errmsg("Cannot calculate score for character", which.c_str(), "individually --it's part of a weight-set", nullptr);
}

// One character alone, which is much less than the whole tree, and scripts ask for each of them.
static double scored_alone(const int *tree, int c, measure what)
{
    if (!charcodes[c].active) return 0;
    must_match_active_taxa(tree);
    optnodes = mkoptlist(nodlist, tree);
    chardownpass(tree, c);
    return valueof(c, what);
}

// [T] the whole tree, [T C] one character on it, without its weight.
static double scored(measure what, bool soft)
{
    return bracketed([=] {
        int t = treearg(), c = another() ? chararg() : -1;
        if (c >= 0 && what != HOMOPLASY) refuse_set_member(c);
        measure asked = what != INFORCE ? what : dopiwe ? FITS : STEPS;
        bool fits = asked == FITS;
        if (opttag && fits != (dopiwe != 0)) need_free_arena();    // the tables are laid out anew
        std::unique_ptr<otherweighting> other;
        if (fits != (dopiwe != 0)) other = std::make_unique<otherweighting>(fits);
        need_scoring();
        if (c >= 0 && !soft) return scored_alone(mem_tree[t], c, asked);
        double total = soft ? softpolyoptimize(mem_tree[t]) : packdownpass(mem_tree[t]);
        if (c >= 0) return valueof(c, asked);
        if (asked != HOMOPLASY) return total;
        double sum = 0;
        for (int i = 0; i < nc; ++i) sum += charcodes[i].weight * valueof(i, HOMOPLASY);
        return sum;
    });
}

double length()     { return scored(STEPS, false); }
double fit()        { return scored(FITS, false); }
double homo()       { return scored(HOMOPLASY, false); }
double score()      { return scored(INFORCE, false); }
double softlength() { return scored(STEPS, true); }
double softfit()    { return scored(FITS, true); }
double softhomo()   { return scored(HOMOPLASY, true); }
double softscore()  { return scored(INFORCE, true); }

}
