// The command for sectorial searches: what it reads, refuses and reports.
#include "search/sectors.h"
#include "search/fuse.h"
#include "search/keeptrees.h"
#include "search/moves.h"
#include "search/sectset.h"
#include "search/setup.h"
#include "search/status.h"
#include "search/constraints.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "kernel/random.h"
#include "trees/collapse.h"
#include "trees/pack.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <cctype>

struct sectrow { const char *kind; double (*search)(int *tree); };
static const sectrow engines[] = {           // by ss_type - 1
    { "R", random_ss }, { "C", const_ss }, { "X", serial_xss }, { "D", run_diameter_ss },
};

namespace {
// What belongs to this run of the command only.  Under instructions the command may run within itself.
struct oneruns {
    int seed = ranseed, tree = ss_dosingle_tree, tracked = is_tracked_sectsch, instructed = use_user_ss_insts;
    oneruns()
    {
        ss_dosingle_tree = -1;
        is_tracked_sectsch = use_user_ss_insts = 0;
    }
    ~oneruns()
    {
        ranseed = seed;
        ss_dosingle_tree = tree;
        is_tracked_sectsch = tracked;
        use_user_ss_insts = instructed;
    }
};
}

// --- what is refused ----------------------------------------------------------------------

static void chktracking()
{
    if (!is_tracked_sectsch) return;
    if (!use_user_ss_insts) errmsg("The \"track\" option requires user-instructions for each sector...", nullptr);
    if (ss_dosingle_tree < 0)
        errmsg("The \"track\" option works only for a single tree: \"sectsch = track tree N\".", nullptr);
}

static void chkkind()
{
    if (ss_type == SS_CONSTRAINED && !constraints_in_force())
        errmsg("Constraint-based sectorial searches require constraints ON", nullptr);
    if (ss_type == SS_DIAMETER && ss_dosingle_tree < 0) errmsg("DSS requires specification of a single tree", nullptr);
}

// Small sectors are fused when that was asked for, combined analyses always.
static void chkmemory()
{
    if (!use_user_ss_insts && (num_fuses_all_starts || ssgotocomb)) chkfusing();
}

// Sizes are of parts: half of the tree at most.
static void limitsizes()
{
    int half = ntax / 2;
    ssminsize = std::min(ssminsize, half);
    ssmaxsize = std::max(std::min(ssmaxsize, half), ssminsize);
}

// --- the run ------------------------------------------------------------------------------

static double searchtree(int t)
{
    current_treenum = t;
    curalg = ALG_SECTORS;
    schgettree(mem_tree[t]);
    double score = engines[ss_type - 1].search(anx);
    if (!is_tracked_sectsch) {
        just_store_tree(anx, t);
        treechk[t].score = score;
    }
    overall_bestscore = std::min(overall_bestscore, score);
    report_search_status(score);
    return score;
}

static double searchtrees()
{
    double best = NOSCORE;
    overall_bestscore = NOSCORE;
    if (ss_dosingle_tree >= 0) return searchtree(ss_dosingle_tree);
    for (int t = 0; t < trees_in_mem && !userstop; ++t) best = std::min(best, searchtree(t));
    return best;
}

static void report(double best)
{
    if (userstop) joinem("Search was interrupted...\n", nullptr);
    myp("Sectorial search (%sSS), best score: %s.", engines[ss_type - 1].kind, scoretext(best).c_str());
    show_numrearrangs();
    if (ss_type == SS_DIAMETER) myp("Analyzed a user-selected chunk of %i nodes", diameter_chunk);
    if (!use_user_ss_insts) return;
    joinem("Note: sectors analyzed with user-specified routine(s)",
           is_tracked_sectsch ? ",\n      making no substitutions to the tree (tracking)" : "", nullptr);
    newln();
}

// True when there is something to run.
static bool readcommand()
{
    int c = peep();
    if (isdigit(c)) {
        long n = gtnu();
        nodaterror("searching");
        if (n >= trees_in_mem) numtreeerror(n);
        ss_dosingle_tree = int(n);
        c = peep();
        if (c == ':') myerr("Wrong argument for sectorial search: %c", c);
    }
    if (c != ':' && c != '=' && c != ';') myerr("Wrong argument for sectorial search: %c", c);
    if (c == ';') return true;
    gtnb();
    if (peep() == ';') show_ss_options();
    else set_ss_options(c == '=');
    return c == '=';
}

void sectschcom()
{
    oneruns guard;
    if (!readcommand()) return;
    nodaterror("searching");
    notreeerror();
    chktracking();
    chkkind();
    chkmemory();
    limitsizes();
    randinit();
    ranseed = -1;                            // the generator runs on
    double best = searchtrees();
    erdil();
    bool onlybest = !ss_keepall && ss_dosingle_tree < 0;
    if (onlybest) best = clean_mem_trees("resulting", suboptimal);
    else if (autocollapse_searches) clean_mem_trees("resulting", NOSCORE);      // marks what is to be collapsed
    settle_found_trees("sect_sch");
    report(best);
}

const comhelp sectschhelp = {
    "Sectorial searches: pieces of the trees are analyzed by themselves.", sectschopts,
    "A sector is a part of the tree; each subtree that hangs from it becomes one terminal of a\n"
    "smaller matrix, and the rest of the tree another one.  What a search finds for it replaces\n"
    "the sector when the tree is better for it (or as good, with \"equals\").\n"
    "  sectsch ;            search from each tree in memory, with the present options\n"
    "  sectsch N ;          search from tree N only\n"
    "  sectsch = WORDS ;    set options, and search\n"
    "  sectsch : WORDS ;    set options only; without options, show them\n"
    "  sectsch = [ COMMANDS ] WORDS ;\n"
    "                       analyze each sector with the commands, this time; the sector is\n"
    "                       a matrix of its own, with its tree in memory, and the first tree in\n"
    "                       memory at the end is taken.  The commands may have sectorial\n"
    "                       searches with instructions of their own, as far as \"recurse\"\n"
    "                       allows; [] repeats the instructions of the level above.  At most 1024\n"
    "                       bytes; text between /* and */ is left out.  Brackets match, but for\n"
    "                       those that are signs, as in \"ccode ] 3 ;\" or \"collapse [ ;\"\n"
    "With \"track\", the expressions nodtosect, biginsect and bignotsect tell the commands which\n"
    "nodes of the whole tree are in the sector.\n"
    "Examples:\n"
    "  sectsch = rss minsize 6 maxsize 10 starts 2 ;\n"
    "  sectsch = [ mult 2 ; ] tree 0 ;\n"
    "  sectsch : xss 4-6+2-1 xeven ;\n"
    "  sectsch : ;\n"
};
