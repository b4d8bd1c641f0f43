// The frame of branch swapping.
//
// While a clip is tried, the tree stands with the clip cut off and its sets are those of the two
// pieces.  Moves to be kept are written as ancestor arrays straight into the buffer, optimized and
// collapsed there; that overwrites the sets, so the tree itself is optimized again when the clip
// ends.  Clips that give nothing, nearly all of them, end with the cheap undo.
#include "search/swapper.h"
#include "search/addseq.h"
#include "search/cliporder.h"
#include "search/constpack.h"
#include "search/keeptrees.h"
#include "search/moves.h"
#include "search/relfit.h"
#include "search/slowopt.h"
#include "search/status.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/errors.h"
#include "kernel/output.h"
#include "trees/collapse.h"
#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdio>

int randomize_clipping_sequence;
int *prearranglist;
int swap_was_replaced;
int swapped_slot;
bool (*note_place)(swapping *sw, int root, int dest);

constexpr double SCORETOLERANCE = 1e-11;    // of one move
constexpr double SWAPTOLERANCE = 1e-8;      // of a whole swap

static goodmove *moves;        // of the present clip: gooddest, or a longer list at the high end of the arena
static int movesroom;

bool bufferfull() { return trees_in_mem >= maxtrees; }

bool only_better(const swapping *sw) { return !swapcollapse && !sw->wander && (sw->mulpars <= 0 || bufferfull()); }
bool nothing_to_gain(const swapping *sw) { return only_better(sw) && sw->cost <= -clipslack; }

// --- the tree -----------------------------------------------------------------------------

// Hangs clip x from the branch of its node r: the links from r to x are reversed, and the other
// descendant of x hangs from the last node on the way.
static void rerootancestors(int *tree, int x, int r)
{
    int kids[2], n = 0;
    for (int k = 0; k < hinod; ++k)
        if (k != x && tree[k] == x) kids[n++] = k;
    assert(n == 2);
    if (r == kids[0] || r == kids[1]) return;
    int above = x, next;
    for (int m = tree[r]; m != x; m = next) {
        next = tree[m];
        tree[m] = above;
        above = m;
    }
    tree[r] = x;
    tree[above == kids[0] ? kids[1] : kids[0]] = above;
}

void make_move(int *tree, int x, int root, int dest)
{
    if (root >= 0) rerootancestors(tree, x, root);
    int a = tree[x];
    if (a == x) {                                // all but terminal 0 was clipped
        tree[x] = tree[0] = ntax;
        return;
    }
    tree[a] = tree[dest];
    tree[dest] = a;
}

static void newtree(const swapping *sw)
{
    if (constrained()) prepare_constraints(sw->tree);
    if (sw->mulpars <= 0 || !quick_collapse || !collapse_level) return;
    schcollapser(sw->tree, nodsuprt);
    constcollapser(sw->tree, nodsuprt);
}

// --- the start ----------------------------------------------------------------------------

void start_swap(swapping *sw, int *tree, int first, int mulpars, const char *name)
{
    *sw = {};
    sw->tree = tree;
    sw->first = first;
    sw->mulpars = mulpars;
    sw->name = name;
    sw->place = swapcollapse ? note_place : good_place;
    swap_was_replaced = 0;
    swapped_slot = -1;
    prearranglist = nullptr;
    bool preproc = use_prearrangs == 2 && clusters_on && ntax == realntax;
    if (preproc || randomize_clipping_sequence) prearranglist = hi<int>(hinod);
    if (!preproc && prearranglist) quick_randomlist(hinod, prearranglist, 0, -1);
    moves = gooddest;
    movesroom = hinod;
    sw->scratch = himark();
    sw->score = optimize_for_swap(tree);
    if (preproc) {
        create_clip_list(prearranglist);
        use_prearrangs = 1;
    }
    set_report_every();
    set_move_slack(mulpars > 0, bufferfull(), sw->score);
    newtree(sw);
}

int next_clip(const swapping *, int *at)
{
    if (++*at >= hinod) *at = prearranglist ? 0 : 1;
    return prearranglist ? prearranglist[*at] : *at;
}

// A single tree that was made shorter has this clip where it costs least.  Under implied weights, and where the root
// of the clip has a cost, it is tried again.
int counted_after_move(int mulpars) { return mulpars > 0 || dopiwe || asymmetric_fields ? 0 : 1; }

// --- a clip -------------------------------------------------------------------------------

static bool keepsmoves(const swapping *sw) { return sw->mulpars > 0; }
static bool relative(const swapping *sw)
{
    if (sw->wander) return sw->drift;
    return suboptimal > 0 && relative_suboptimal > 0 && relative_suboptimal < 1
           && (swapcollapse || (keepsmoves(sw) && !bufferfull()));
}

int clip_root(const swapping *sw) { return sw->clip < ntax || !clusters_on ? sw->clip : lef[sw->clip]; }

void begin_clip(swapping *sw, int x, int s)
{
    sw->clip = x;
    sw->sister = s;
    if (constrained()) enter_clip(x, s);
    sw->bestroot = sw->bestdest = sw->better = -1;
    sw->nmoves = 0;
    sw->overflow = false;
    clipset = x < ntax || !clusters_on ? dnset(x) : branchset(lef[x]);
    destset = branchset(s);
    score_original(clip_root(sw), s);
    sw->cost = movebest = movesteps;
    movebound = movesteps + moveslack;
    if (relative(sw)) movebound = std::min(movebound, fill_onclip_diff(clip_root(sw), clipset, s));
}

// Of fractional scores that are meant to be the same.
static double tolerance() { return dopiwe ? leastgain() / 2 : 0; }

// Room for one more move.  Entries that a better move left behind go first; a longer list is taken
// from the high end of the arena, as long as there is some; it is let go when the clip ends.
static bool roomformove(swapping *sw)
{
    if (sw->nmoves < movesroom) return true;
    if (sw->better >= 0) {
        double limit = moves[sw->better].score + suboptimal + tolerance();
        int kept = 0;
        for (int i = 0; i < sw->nmoves; ++i)
            if (moves[i].score <= limit) {
                if (i == sw->better) sw->better = kept;
                moves[kept++] = moves[i];
            }
        sw->nmoves = kept;
        if (kept < movesroom / 2) return true;
    }
    size_t longer = size_t(movesroom) * 2;
    if (longer * sizeof(goodmove) > vailram() / 2) return sw->nmoves < movesroom;
    goodmove *more = hi<goodmove>(longer);
    std::copy(moves, moves + sw->nmoves, more);
    moves = more;
    movesroom = int(longer);
    return true;
}

bool good_place(swapping *sw, int root, int dest)
{
    double score = sw->score - sw->cost + movesteps;
    bool better = lessthan(movesteps, movebest) && !swapcollapse;
    if (keepsmoves(sw)) {
        if (relative(sw) && relative_fit_difference(root < 0 ? clip_root(sw) : root, root < 0 ? clipset : branchset(root), dest) > relative_suboptimal)
            return false;
        if (!roomformove(sw)) {
            sw->overflow = true;
            if (!better) return false;
            sw->nmoves = 0;
        }
        if (better) sw->better = sw->nmoves;
        moves[sw->nmoves++] = { score, {}, dest, root };
    }
    if (!better) return false;
    sw->bestroot = root;
    sw->bestdest = dest;
    movebest = movesteps;
    if (suboptimal > 0 && keepsmoves(sw) && !bufferfull())
        movebound = std::min(suboptimal_limit, score + suboptimal) - sw->score + sw->cost;
    else movebound = movesteps + moveslack;
    return !keepsmoves(sw) && movebest <= -clipslack;
}

// --- keeping moves ------------------------------------------------------------------------

// The node that stands for the polytomy in which node n of the whole tree lies; freed is the node
// that the clip hung from, between the sister and its present ancestor.
static int groupof(const swapping *sw, int n, int freed)
{
    while (n != ntax && !nodsuprt[n]) n = n == sw->sister ? freed : sw->tree[n == freed ? sw->sister : n];
    return n;
}

// A move from a place to another of the same polytomy gives the same tree once collapsed.
static bool withingroup(const swapping *sw, const goodmove &m)
{
    if (!quick_collapse || !collapse_level || m.root >= 0) return false;
    int freed = sw->tree[sw->clip];
    if (freed == sw->clip) return false;
    return groupof(sw, freed, freed) == groupof(sw, sw->tree[m.dest], freed);
}

static void writemove(const swapping *sw, const goodmove &m, int *tree)
{
    treecopy(sw->tree, tree);
    make_move(tree, sw->clip, m.root, m.dest);
}

static int keepmove(const swapping *sw, const goodmove &m)
{
    int *tree = mem_tree[trees_in_mem];
    writemove(sw, m, tree);
    if (collapse_level) {
        changed_sets_elsewhere();
        [[maybe_unused]] double score = schoptimize(tree, 2);
        assert(fabs(score - m.score) < SWAPTOLERANCE);
    }
    return link_if_new(trees_in_mem, m.score);
}

// All moves of the list within the limit, as long as there is room; the better one first, so
// that the others are measured against it.
static void check_good_moves(swapping *sw)
{
    double limit = sw->better >= 0 && now_being_swapped < 0 ? moves[sw->better].score + suboptimal : NOSCORE;
    if (suboptimal > 0) limit = std::min(limit, suboptimal_limit);
    limit += tolerance();
    if (sw->better > 0) {
        std::swap(moves[0], moves[sw->better]);
        sw->better = 0;
    }
    for (int i = 0; i < sw->nmoves && !bufferfull(); ++i) {
        const goodmove &m = moves[i];
        if (m.dest < 0 || m.score > limit) continue;
        if (i != sw->better && withingroup(sw, m)) continue;
        bool kept = keepmove(sw, m);
        if (i == sw->better) swapped_slot = kept ? trees_in_mem - 1 : -1;
    }
}

// --- how a clip ends ----------------------------------------------------------------------

static void settree(swapping *sw)
{
    sw->score = optimize_for_swap(sw->tree);
    set_move_slack(keepsmoves(sw), bufferfull(), sw->score);
    newtree(sw);
}

static void checkscore(swapping *sw, double expected)
{
    if (fabs(expected - sw->score) > SCORETOLERANCE) {
        char error[32];
        snprintf(error, sizeof error, " error: %g", sw->score - expected);
        joinem("\nOOpps --- tbr, move ", intvert(sw->clip), "(", intvert(sw->bestroot), ") -> ", intvert(sw->bestdest),
               ", score is ", scoretext(sw->score).c_str(), error, nullptr);
    }
}

static int accept(swapping *sw)
{
    double expected = sw->score - sw->cost + movebest;
    ++acceprearrangs;
    if (use_safe_unclip) {
        make_move(sw->tree, sw->clip, sw->bestroot, sw->bestdest);
        settree(sw);
        checkscore(sw, expected);
        return 1;
    }
    settle_place(sw->bestroot >= 0 ? branchset(sw->bestroot) : clipset, sw->bestroot >= 0 ? sw->bestroot : clip_root(sw), sw->bestdest);
    if (sw->bestroot >= 0) reoptimize_clip_path(reroot_clip(sw->bestroot, sw->clip), sw->clip);
    unclip_subtree(sw->clip, sw->bestdest);
    reoptimize_after_clip(sw->bestdest, -1);
    if (clusters_on) rebuild_clusters();
    sw->score = expected;
    set_move_slack(keepsmoves(sw), bufferfull(), sw->score);
    newtree(sw);
    return 1;
}

static int refuse(swapping *sw)
{
    unclip_subtree(sw->clip, sw->sister);
    restore_after_clip(sw->sister);
    return 0;
}

// The sets were lost to the trees stored: the tree is put together again and optimized.
static int putback(swapping *sw)
{
    make_move(sw->tree, sw->clip, -1, sw->sister);
    settree(sw);
    return 0;
}

// With suboptimal trees kept, the tree being swapped is one of the buffer and all its neighbours
// within the limit are wanted, so a better one is kept for its own turn.  Only when the tree
// itself has come to lie beyond the limit, or there is no room, does the better one take its place.
static int keep_beside(swapping *sw)
{
    double score = moves[sw->better].score;
    bool full = bufferfull();
    reorganize_treechklist(sw->first, score);
    if (full || sw->score > suboptimal_limit) {
        char *mark = himark();
        int *nu = hi<int>(hinod);
        writemove(sw, moves[sw->better], nu);
        sw->stop = replace_kept_tree(nu, now_being_swapped, score);
        hiset(mark);
        if (sw->stop) {
            moves[sw->better].dest = -1;
            check_good_moves(sw);
            treecopy(mem_tree[now_being_swapped], sw->tree);
            for (int n = 0; n < hinod; ++n)
                if (n != ntax) sw->tree[n] &= NODEBITS;
            swap_was_replaced = 1;
            settree(sw);
            return 1;
        }
        moves[sw->better].dest = -1;          // known already
        sw->stop = sw->score > suboptimal_limit;
        swap_was_replaced = sw->stop;
    }
    check_good_moves(sw);
    return putback(sw);
}

static int end_with_moves(swapping *sw)
{
    if (sw->better >= 0 && now_being_swapped >= 0) return keep_beside(sw);
    if (sw->better < 0) {
        if (bufferfull()) return refuse(sw);
        bool any = false;
        for (int i = 0; i < sw->nmoves && !any; ++i) any = !withingroup(sw, moves[i]);
        if (!any) return refuse(sw);
        check_good_moves(sw);
        return putback(sw);
    }
    double expected = moves[sw->better].score;
    reorganize_treechklist(sw->first, expected);
    check_good_moves(sw);
    ++acceprearrangs;
    make_move(sw->tree, sw->clip, sw->bestroot, sw->bestdest);
    settree(sw);
    checkscore(sw, expected);
    return 1;
}

int end_clip(swapping *sw)
{
    int moved = 0;
    if (keepsmoves(sw)) moved = sw->nmoves ? end_with_moves(sw) : refuse(sw);
    else moved = sw->bestdest >= 0 ? accept(sw) : refuse(sw);
    hiset(sw->scratch);
    moves = gooddest;
    movesroom = hinod;
    return moved;
}

void end_swap(swapping *sw)
{
    double score = schoptimize(sw->tree, 1);
    if (fabs(score - sw->score) > SWAPTOLERANCE)
        myerr("\nInternal error in %s calculations, expected %.10f, is %.10f", sw->name, sw->score, score);
}
