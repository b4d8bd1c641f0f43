#include "search/setup.h"
#include "search/constpack.h"
#include "search/constraints.h"
#include "search/keeptrees.h"
#include "search/moves.h"
#include "search/schcollapse.h"
#include "search/sectdata.h"
#include "search/sectrec.h"
#include "search/status.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "kernel/random.h"
#include "trees/collapse.h"
#include "trees/implied.h"
#include "trees/lightopt.h"
#include "trees/scratch.h"
#include <algorithm>
#include <cmath>
#include <cstdlib>

int xmulting, autoxmulting, perturbating, emulating_tradrat;

// The commands that search; a new one is a row.
// starts_from_trees: from the best trees in memory.  dropstrees: the buffer is emptied first.  asis: from each
// tree in memory, whatever its score.
struct searchrow { handler command; bool starts_from_trees, dropstrees, asis = false; };
static const searchrow searches[] = {
    { bbreakcom, true,  false },
    { multcom,   false, false },       // adds to what is in memory
    { ienumcom,  false, true },
    { rebuildcom, true, false },
    { ratchetcom, true, false },
    { driftcom,  true,  false },
    { xmultcom,  false, false },
    { sectschcom, false, false, true },
    { pinon_fijocom, false, false, true },
    { tfusecom,  false, false, true },
};

// --- trees fit for a search ---------------------------------------------------------------

static bool hasactivetaxa(const int *tree)
{
    for (int t = 0; t < nt; ++t)
        if (isinthetree(tree, t) != bool(taxact[t])) return false;
    return true;
}

static void listtrees(const uint8_t *keep)
{
    constexpr int PERLINE = 10;
    int n = 0;
    for (int t = 0; t < trees_in_mem; ++t)
        if (keep[t] != LISTED) {
            tospew(intvert(t));
            if (++n % PERLINE == 0) spewout();
        }
    if (n % PERLINE) spewout();
}

void chk_tree_composition()
{
    char *mark = himark();
    uint8_t *keep = hi<uint8_t>(std::max(1, trees_in_mem));
    int bad = 0;
    for (int t = 0; t < trees_in_mem; ++t) {
        keep[t] = hasactivetaxa(mem_tree[t]) ? LISTED : UNLISTED;
        bad += keep[t] != LISTED;
    }
    if (bad) {
        joinem("Searches require that pre-existing trees match active taxa.\nThe following trees don't match:\n", nullptr);
        listtrees(keep);
        warnem("Trees not matching set of active taxa will be discarded", nullptr);
        effect_tree_choice(keep);
    }
    hiset(mark);
}

static bool rooted_on_outgroup(const int *tree) { return tree[outgroup] == nt; }

void chk_tree_rooting()
{
    bool said = false;
    for (int t = 0; t < trees_in_mem; ++t) {
        int *tree = mem_tree[t];
        if (rooted_on_outgroup(tree)) continue;
        if (!said) mywarn("Pre-existing trees will be rooted on %s (current outgroup)", taxname_out(outgroup));
        said = true;
        if (!reroot(tree, outgroup))
            myerr("Tree %i does not include current outgroup (%s) and cannot be rerooted", t, taxname_out(outgroup));
    }
}

void chk_tree_polytomies()
{
    randinit();
    for (int t = 0; t < trees_in_mem; ++t) dichotomize_tree(mem_tree[t], rand());
}

void chk_tree_monophyly()
{
    if (!constraints_in_force()) return;
    char *mark = himark();
    uint8_t *keep = hi<uint8_t>(std::max(1, trees_in_mem));
    bool bad = false;
    for (int t = 0; t < trees_in_mem; ++t) {
        keep[t] = fulfils_constraints(mem_tree[t]) ? LISTED : UNLISTED;
        bad |= keep[t] != LISTED;
    }
    if (bad) {
        joinem("Searches require that pre-existing trees fulfill constraints.\nThe following trees don't fulfill them:\n", nullptr);
        listtrees(keep);
        warnem("Trees not fulfilling constraints will be discarded", nullptr);
        effect_tree_choice(keep);
    }
    hiset(mark);
}

void chk_tree_status()
{
    chk_tree_composition();
    chk_tree_rooting();
    chk_tree_polytomies();
    chk_tree_monophyly();
}

static bool condense_at_end;          // what the search found is to be collapsed, as "collapse [" wants

// --- in and out ---------------------------------------------------------------------------

void chk_active_taxa()
{
    constexpr int LEAST = 3;
    int active = numactive();
    if (active < LEAST) myerr("Searches require %i or more active taxa (only %i active)", LEAST, active);
    if (!taxact[outgroup]) myerr("The outgroup (%s) is not active", taxname_out(outgroup));
}

static void chk_suboptimal()
{
    if (true_num_cont || dopiwe || suboptimal == floor(suboptimal)) return;
    mywarn("Suboptimal (%.4f) reset to %i (implied weights off, no continuous chars.)", suboptimal, int(suboptimal));
    suboptimal = floor(suboptimal);
}

static void refuse_exact()
{
    if (dopiwe && doautowt) myerr("Sorry, exact searches can't be done under auto-weighted optimization");
    if (dopiwe && xdopiwe_stat) myerr("Sorry, exact searches can't be done under extended implied weights");
}

void drop_doubtful_image()
{
    if (reduced_data_were_left) wipetag(&schtag);
    reduced_data_were_left = 0;
}

void precheck(handler command, int nextchar, int mode)
{
    if (!datatag) return;
    ban_commands_from_ss_recursion(command);
    const searchrow *row = std::find_if(std::begin(searches), std::end(searches),
                                        [&](const searchrow &r) { return r.command == command; });
    if (row == std::end(searches)) return;
    int c = nextchar ? nextchar : peep();
    if (c == ':' || (c == '/' && command == tfusecom)) return;
    if (!ss_recurse_level) clear_rearrangs();
    no_reports_yet = 1;
    xmulting = autoxmulting = perturbating = emulating_tradrat = 0;
    current_replication = -1;
    current_treenum = 0;
    now_being_swapped = -1;
    realmaxtrees = maxtrees;
    set_schcollapser(current_collapsing_rule());
    chk_active_taxa();
    if (row->command == ienumcom) refuse_exact();
    if (row->dropstrees) droptrees(0);
    chk_tree_status();
    drop_doubtful_image();
    schpack();
    chk_constraint_coherence();
    chk_suboptimal();
    doing_a_search = 1;
    if (row->asis) {
        empty_treechklist();
        overall_bestscore = -1;
    } else overall_bestscore = clean_mem_trees("existing", row->starts_from_trees ? suboptimal : NOSCORE);
}

// A tree kept by a search says itself which of its branches the rule collapses.
static void unpack_condensed()
{
    char *mark = himark();
    int *marks = hi<int>(nodz);
    for (int t = 0; t < trees_in_mem; ++t) {
        int *tree = mem_tree[t];
        std::fill(marks, marks + nodz, 0);
        for (int n = ntax + 1; n < hinod; ++n) marks[backfrompack[n]] = (tree[n] & COLLAPSED) != 0;
        unpack_one_tree(tree);
        delnodz(tree, marks);
    }
    trees_are_packed = 0;
    hiset(mark);
}

void end_of_search()
{
    debuf_reduced_data(1);
    bool searching = doing_a_search;
    doing_a_search = clusters_on = swapcollapse = 0;
    now_being_swapped = -1;
    current_replication = -1;
    if (searching) maxtrees = realmaxtrees;
    if (!schtag || !trees_are_packed) {
        condense_at_end = false;
        return;
    }
    if (condense_at_end) unpack_condensed();
    condense_at_end = false;
    unpack_trees();
    recalctree = 1;
    ntax = realntax;
}

void schgettree(const int *tree)
{
    if (tree == anx) errmsg("Internal error (schsup): called schgettree to get anx!", nullptr);
    for (int n = 0; n < hinod; ++n) anx[n] = n == ntax ? hinod : tree[n] & NODEBITS;
}

static void group_found_trees(const char *name)
{
    if (jaking) return;                   // trees of a replication go again
    int g = new_auto_treegroup(name);
    if (g < 0) return;
    for (int t = 0; t < trees_in_mem; ++t) add_to_treegroup(t, g);
}

// Swapping each tree, or several trees for one: more than marks tell.  It is no part of the search.
static void condense_by_rule()
{
    struct countsguard {
        unsigned long small = numrearrangs, big = bigrearrangs, accepted = acceprearrangs;
        ~countsguard() { numrearrangs = small, bigrearrangs = big, acceprearrangs = accepted; }
    } counts;
    unpack_trees();
    recalctree = 1;
    if (collapse_level == COLL_RULE4) {           // is no search, but may be interrupted as one
        int was = doing_a_search;
        doing_a_search = 0;
        optmem();
        doing_a_search = was;
    }
    condense_found_trees();
    erdil();
}

void settle_found_trees(const char *name)
{
    group_found_trees(name);
    if (!autocollapse_searches || !collapse_level) return;
    if (collapse_level <= COLL_RULE1) {
        hiscratch scratch;
        hi<int>(4 * size_t(nodz));          // what condensing takes, asked for where the lack of it is an error like others
        condense_at_end = true;
    }
    else if (!userstop) condense_by_rule();
}

void notyetoption(const char *what) { myerr("\"%s\" is not available yet", what); }
