#include "search/sectrec.h"
#include "search/constraints.h"
#include "search/keeptrees.h"
#include "search/moves.h"
#include "search/reinvent.h"
#include "search/sectdata.h"
#include "search/sectset.h"
#include "search/setup.h"
#include "search/status.h"
#include "data/below.h"
#include "data/datamem.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/progress.h"
#include "kernel/random.h"
#include "trees/implied.h"
#include "trees/pack.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include "trees/treetags.h"
#include "trees/treevault.h"
#include <algorithm>
#include <array>
#include <cassert>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iterator>
#include <numeric>
#include <string>

// --- what is refused ----------------------------------------------------------------------

// What changes the arena or the data as a whole, or runs commands of its own on parts of them.
static const handler banned[] = { ramreset, xwipecom, qnelsencom, bgroundcom };

void ban_commands_from_ss_recursion(handler command)
{
    if (ss_recurse_level && std::find(std::begin(banned), std::end(banned), command) != std::end(banned))
        myerr("Command \"%s\" can't be used for the analysis of sectors", current_command);
}

void chkinstructions()
{
    constexpr int PERMUTED = 1;              // jaking: the data of a replication
    if (characters_are_linked()) errmsg("With character links defined, can't run user-defined routines", nullptr);
    if (jaking == PERMUTED) errmsg("Data are permuted: can't run user-defined routines", nullptr);
    if (actlandnc) errmsg("Sorry, user instructions for sectors can't be used for landmark data", nullptr);
    if (dopiwe && doautowt) errmsg("Sorry, user instructions for sectors can't\nbe used under auto-weighted optimization", nullptr);
    if (ss_recurse_level > ss_maxrecurse)
        myerr("Can't recurse sectorial searches more than %i levels\nMaximum level of recursion must be set BEFORE reading data", ss_maxrecurse);
}

// --- what is put aside --------------------------------------------------------------------

namespace {
struct keptvar { void *at; size_t size; };
template<class... T> std::array<keptvar, sizeof...(T)> listof(T &...v) { return { keptvar{ &v, sizeof v }... }; }
}

// All that tells of data, trees and the search in memory, but for the packed image and what lies on it.
static const auto keptvars = listof(
    // layers
    datonlytag, datatag, cnamestag, consttag, opttag, ccodetag, sanktag, schtag, packtag, jaktag,
    // matrix
    nt, nc, nodz, root, realntax, realnt, ntax, celldim, maxstate, MISSING, INAPPSET, matrix1, matrix, matrix4,
    ancstates1, ancstates, ancstates4, types_read, allow_sankoff, check_only_active_taxa, dataname, nblocks,
    blockname, charnames, statenames, taxname, taxact, taxisperm, outgroup, num_continuous_chars, actlandnc,
    have_sankoff, have_asymmetric, ref_steps, ref_fit, defined_ref, uninf_states, tmpmask, anti_mask, state_mask,
    charcodes, oldccodes, cont_scale_back, ss_recurse_level,
    // groups
    taxgroup, chargroup, taxgroupdef, chargroupdef, taxgroupname, chargroupname, treegroupname, treegroupdef,
    nextautotreegroup, charscopelist,
    // trees
    anx, lef, rig, sis, nodfork, nodlist, htulist, bufprvtree, issupp, waglist, ladd, MarkedNod, undo_tree,
    avgtermvals, tshrink, have_some_shrinks, taxnum, lineof, doat, drawat, branchlen, xpos, ypos, nodmsg,
    maxtrees, realmaxtrees, trees_in_mem, mem_tree, treegroup, recalctree, treechk, treechklist,
    have_vault, max_vault_trees, trees_in_vault, vault_tree, vault_treegroup, txtdatin, txtr, txtrmsg, maxtxtsz,
    // weighting
    userdef_weighting_func, userdef_fitf, userdef_fit_size, fitf, globmaxh, fitmin, fitstates, xdopiwe_stat,
    xdopiwe_fixwt_user, xdopiwe_isinset_user, xdopiwe_numsets, xdopiwe_numpacksets, xdopiwe_setlist, xdopiwe_factor, multik_givenk,
    multik_is_on, multik_userk, multik_eqfact,
    // constraints
    constmat, anticonstmat, constnum, poscells, anticonstnum, anticells, constree, constreenum, do_constraints,
    // the search
    doing_a_search, trees_are_packed, collapse_level, schcollapser, curalg, current_replication, replications_wanted,
    current_treenum, no_reports_yet, now_being_swapped, overall_bestscore, suboptimal_limit, xmulting, autoxmulting,
    perturbating, emulating_tradrat, ranseed, use_user_ss_insts, is_tracked_sectsch, user_ss_insts);

struct prerecurse {
    char *___rec_vars;           // the variables, and the sector
    void *___rec_sector;
    int ___rec_tag;              // the lock over all that was in memory
    size_t ___rec_low, ___rec_high;   // bytes that were not locked
};

static void store_pre_recurse_status(prerecurse *p)
{
    assert(!opttag);
    auto bytes = [](size_t sum, const keptvar &v) { return sum + v.size; };
    char *at = p->___rec_vars = lo<char>(std::accumulate(keptvars.begin(), keptvars.end(), size_t{0}, bytes));
    for (const keptvar &v : keptvars) {
        memcpy(at, v.at, v.size);
        at += v.size;
    }
    p->___rec_sector = store_open_sector();
    p->___rec_low = size_t(loseg - minseg);
    p->___rec_high = size_t(maxeg - hiseg);
    lockram(&p->___rec_tag);
    userdef_weighting_func = 0;              // no function of the user is lost
    data_were_dropped();
    constmat = anticonstmat = nullptr;
    constree = nullptr;
    constnum = poscells = anticonstnum = anticells = constreenum = do_constraints = 0;
    doing_a_search = trees_are_packed = 0;
}

// The memory that the lock gives free is taken again, with what it held.
static void reset_pre_recurse_status(prerecurse *p)
{
    freelock(&p->___rec_tag);
    loram(p->___rec_low);
    hiram(p->___rec_high);
    const char *at = p->___rec_vars;
    for (const keptvar &v : keptvars) {
        memcpy(v.at, at, v.size);
        at += v.size;
    }
    reset_open_sector(p->___rec_sector);
}

// --- a level ------------------------------------------------------------------------------

namespace {
struct recursion {
    keepsectsettings settings;
    prerecurse before;
    int unwinding = std::uncaught_exceptions();
    recursion() { store_pre_recurse_status(&before); }
    ~recursion()
    {
        reset_pre_recurse_status(&before);
        if (std::uncaught_exceptions() > unwinding) end_of_search();     // of the level that is left now
    }
};
}

static wholetables tablesofall()
{
    bool own = xdopiwe_stat && read_under_implied_weights();      // characters have weightings of their own
    return { taxname, usetaxnames, userdef_weighting_func ? userdef_fitf : nullptr, own && multik_is_on ? multik_userk : nullptr,
             own ? xdopiwe_fixwt_user : nullptr, userdef_fit_size };
}

// The first tree in memory, as the sector can take it.
static bool takefirsttree(int *tree)
{
    if (!trees_in_mem) return false;
    int *first = mem_tree[0];
    for (int t = 0; t < nt; ++t)
        if (!isinthetree(first, t)) return false;
    if (first[0] != nt && !reroot(first, 0)) return false;
    dichotomize_tree(first, rand());
    if (constraints_defined() && !fulfils_constraints(first)) return false;
    memcpy(tree, first, size_t(nodz) * sizeof(int));
    return true;
}

const trackedsector *tracked_sector;

namespace {
struct keeptracked {
    const trackedsector *was = tracked_sector;
    ~keeptracked() { tracked_sector = was; }
};
}

// With the image of the sector in force; at the low end of the arena.
static trackedsector *prepare_tracking_buffers()
{
    const int wholenodes = 2 * realntax - 1;
    trackedsector *t = lo<trackedsector>(1);
    int *there = lo<int>(size_t(nodz)), *back = lo<int>(size_t(hinod));
    for (int n = 0; n < nodz; ++n) there[n] = gotopack[n] < wholenodes ? nodtosect[gotopack[n]] : -1;
    for (int k = 0; k < hinod; ++k) back[k] = k ? backfrompack[sectonod[k]] : -1;
    *t = { nt, nodz, there, hinod, back };
    return t;
}

bool run_user_instructions(int *tree)
{
    char *mark = lomark();
    bool changed;
    {
        sectordraft draft;
        draft_sector(&draft);
        wholetables whole = tablesofall();
        int level = ss_recurse_level + 1, seed = rand();
        bool tracked = is_tracked_sectsch;
        std::string text = user_ss_insts;
        keeptracked maps;
        if (tracked) tracked_sector = prepare_tracking_buffers();
        recursion aside;
        ss_recurse_level = level;
        reinvent_data(&draft, &whole);
        stortree(tree);
        ranseed = seed ? seed : 1;
        is_tracked_sectsch = use_user_ss_insts = 0;
        fake_cmd_loop_for_ss(text.c_str());
        changed = !tracked && takefirsttree(tree);
    }
    loset(mark);
    return changed;
}
