// Implicit enumeration (Hendy and Penny 1982).
//
// Taxa enter in one sequence, each on every branch of every tree of those before it.  A taxon never
// makes a tree better, so a partial tree beyond the limit is given up with all that would grow from
// it.  So is one that no longer can fulfil the constraints.  The limit comes from swapping a first tree,
// and is met the sooner the more the first taxa of the sequence differ.  A first round looks only for the
// best score; a second keeps the trees; where worse ones are wanted too they come in a third, so that it is
// for them that there may be no room.
#include "search/ienum.h"
#include "search/constpack.h"
#include "search/constraints.h"
#include "search/evaldata.h"
#include "search/keeptrees.h"
#include "search/moves.h"
#include "search/setup.h"
#include "search/slowopt.h"
#include "search/status.h"
#include "search/tbr.h"
#include "search/wagner.h"
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
#include "trees/implied.h"
#include "trees/scratch.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstdlib>

namespace {
struct spot { double score; int branch; };

struct enumeration {
    int *tree;               // the partial tree, with its nodes numbered as they came
    const int *order;        // taxa as they enter; terminal 0 first
    double *sbeyond;         // sbeyond[k]: what the taxa from order[k] on must cost at least
    spot **places;          // per taxon of the sequence, room for all branches
    double limit;            // trees beyond it are not wanted
    bool keeping, sample, stop;
    ienumresult result;
};
}

static double tolerance() { return leastgain() / 2; }

// --- what is still to come ----------------------------------------------------------------

static uint32_t wholefields(uint32_t tops, int i) { return (tops << 1) - (tops >> cellshift[i]); }

// Weight of the fields in which taxon t has none of the states met before it: the branches of a tree have
// no other states than its terminals, so wherever t goes, each costs a step.  What is wholly unknown has
// the states of its place, and adds none.
static double newstates(uint32_t *met, int t)
{
    double sum = 0;
    for (int i = 0; i < foldcells; ++i) {
        uint32_t set = dnset(t)[i];
        for (uint32_t f = emptyfields(met[i] & set, i) & ~emptyfields(met[i], i); f; f &= f - 1)
            sum += fieldwts[size_t(i) * 16 + std::countr_zero(f) / 2];
        met[i] |= set & ~wholefields(emptyfields(~set, i), i);
    }
    return sum;
}

// The same for continuous characters: the distance to the range of those before.
struct span { int low, high; };

static double newvalues(span *met, const span *all, int t)
{
    double sum = 0;
    for (int i = 0; i < num_cont; ++i) {
        int low = slowrange(t)[i], high = slowrange(t)[i + controw];
        if (low <= all[i].low && high >= all[i].high) continue;            // unknown
        if (met[i].low <= met[i].high)
            sum += double(contweights[i]) * std::max(0, std::max(met[i].low - high, low - met[i].high));
        met[i].low = std::min(met[i].low, low);
        met[i].high = std::max(met[i].high, high);
    }
    return sum / 1000;
}

// Under implied weights what a step costs depends on those before it, and nothing is foretold.
static void fill_sbeyond(enumeration *e)
{
    std::fill(e->sbeyond, e->sbeyond + ntax + 1, 0);
    if (dopiwe) return;
    char *mark = himark();
    uint32_t *met = zhi<uint32_t>(foldcells + 1);
    span *values = hi<span>(num_cont + 1), *all = hi<span>(num_cont + 1);
    for (int i = 0; i < num_cont; ++i) {
        constexpr int FAR = 1 << 30;
        values[i] = all[i] = { FAR, -FAR };
        for (int t = 0; t < ntax; ++t)
            all[i] = { std::min(all[i].low, slowrange(t)[i]), std::max(all[i].high, slowrange(t)[i + controw]) };
    }
    for (int k = 0; k < ntax; ++k) e->sbeyond[k] = newstates(met, e->order[k]) + newvalues(values, all, e->order[k]);
    for (int k = ntax - 1; k >= 0; --k) e->sbeyond[k] += e->sbeyond[k + 1];
    hiset(mark);
}

// --- growing and pruning ------------------------------------------------------------------

// Branches of the tree, from the sister of terminal 0.
static int listbranches(int *list)
{
    int n = 0;
    list[n++] = sis[0];
    for (int i = 0; i < n; ++i)
        if (list[i] >= ntax) {
            list[n++] = lef[list[i]];
            list[n++] = rig[list[i]];
        }
    return n;
}

static void put(int t, int branch)
{
    swaptree[t] = swaptree[ntax]++;
    settle_place(dnset(t), t, branch);
    unclip_subtree(t, branch);
    reoptimize_after_add(t);
}

static void takeaway(int t)
{
    int s = sis[t];
    clip_subtree(t);
    reoptimize_after_clip(s, t);
    if (dopiwe) {                                     // its steps no longer count
        clipset = dnset(t);
        destset = branchset(s);
        score_original(t, s);
    }
    swaptree[t] = 0;
    --swaptree[ntax];
}

// Places of taxon t with the score that the tree gets there, within the bound; cheapest first.
static int findplaces(int t, double score, double bound, spot *places)
{
    int n = 0, branches = listbranches(deslist);
    clipset = dnset(t);
    movebound = bound >= NOBOUND ? NOBOUND : bound - score;      // less than no bound is too much for fits
    add_rearrangs((unsigned long)branches);
    for (int i = 0; (i = scan_nodes(clipset, deslist, i, branches)) < branches; ++i)
        if (second_check(t, deslist[i], 0)) places[n++] = { score + movesteps, deslist[i] };
    std::stable_sort(places, places + n, [](const spot &a, const spot &b) { return a.score < b.score; });
    return n;
}

static double threetaxa(enumeration *e)
{
    double score = netnitlen(e->tree, e->order[0], e->order[1], e->order[2]);
    clusters_on = 0;
    return score;
}

// Each taxon that enters is the one whose best place costs most.  Once stopped, the next one there is.
static void chooseorder(enumeration *e, int *order)
{
    double farthest = -1;
    for (int a = 1; a < ntax && !userstop; ++a) {
        report_search_status(NOSCORE);
        for (int b = a + 1; b < ntax; ++b) {
            double length = netnitlen(e->tree, 0, a, b);
            if (length <= farthest) continue;
            farthest = length;
            order[1] = a;
            order[2] = b;
        }
    }
    order[0] = 0;
    double score = threetaxa(e);
    for (int k = 3; k < ntax; ++k) {
        report_search_status(NOSCORE);
        spot best = {}, *places = e->places[k];
        order[k] = -1;
        for (int t = 1; t < ntax; ++t) {
            if (std::find(order, order + k, t) != order + k || (userstop && order[k] >= 0)) continue;
            findplaces(t, score, NOBOUND, places);
            if (order[k] >= 0 && places[0].score <= best.score) continue;
            best = places[0];
            order[k] = t;
        }
        put(order[k], best.branch);
        score = best.score;
    }
}

// --- whole trees --------------------------------------------------------------------------

static bool legal(const int *packed)
{
    if (!constraints_in_force()) return true;
    char *mark = himark();
    int *tree = zhi<int>(nodz);
    treecopy(packed, tree);
    unpack_one_tree(tree);
    reset_nodz(tree);
    bool ok = fulfils_constraints(tree);
    hiset(mark);
    return ok;
}

static void keep(enumeration *e, const int *tree, double score)
{
    if (trees_in_mem < maxtrees) {
        just_store_tree(tree, trees_in_mem);
        if (collapse_level) schoptimize(mem_tree[trees_in_mem], 2);
        e->result.total += link_if_new(trees_in_mem, score);
    } else if (e->sample) {                       // of N trees each stays with a chance of maxtrees / N
        double n = ++e->result.total;
        int slot = int(double(rand()) / (RAND_MAX + 1.0) * n);
        if (slot < maxtrees) replace_kept_tree(tree, slot, score);
    } else if (!is_kept_tree(tree, score)) e->result.overflow = e->stop = true;
}

// The last taxon goes to copies of the tree.  Whatever scores them overwrites the sets of the tree.
static void finish(enumeration *e, int t, const spot *places, int n)
{
    char *mark = himark();
    int *tree = hi<int>(hinod);
    bool kept = false;
    for (int i = 0; i < n && !e->stop && places[i].score <= e->limit + tolerance(); ++i) {
        treecopy(e->tree, tree);
        int node = tree[ntax]++, d = places[i].branch;
        tree[node] = tree[d];
        tree[d] = tree[t] = node;
        if (e->keeping) {
            keep(e, tree, places[i].score);
            kept = true;
        } else {
            e->limit = overall_bestscore = e->result.best = places[i].score;
            e->limit -= leastgain();
        }
    }
    if (kept) {
        partial_schoptimize(e->tree);
        schoptimize(e->tree, 4);
    }
    hiset(mark);
}

// Of the places found for the taxon that comes next, those that constraints allow.
static int legalplaces(int k, spot *places, int n)
{
    if (!constrained() || !n) return n;
    enter_in_order(k);
    return int(std::remove_if(places, places + n, [](const spot &p) { return !isavalidpos(-1, p.branch); }) - places);
}

static void grow(enumeration *e, int k, double score)
{
    constexpr unsigned long POLLEVERY = 1 << 14;
    static unsigned long polled;
    int t = e->order[k], n = findplaces(t, score, e->limit + tolerance() - e->sbeyond[k + 1], e->places[k]);
    if (numrearrangs - polled >= POLLEVERY) {         // wraps when the count does
        polled = numrearrangs;
        current_treenum = trees_in_mem;
        report_search_status(overall_bestscore);
        e->stop |= userstop != 0;
    }
    n = legalplaces(k, e->places[k], n);
    if (k == ntax - 1) return finish(e, t, e->places[k], n);
    for (int i = 0; i < n && !e->stop; ++i) {
        spot p = e->places[k][i];
        if (p.score + e->sbeyond[k + 1] > e->limit + tolerance()) return;      // the limit fell
        put(t, p.branch);
        if (constrained()) settle_in_order(k);
        grow(e, k + 1, p.score);
        takeaway(t);
        if (constrained()) leave_in_order(k);
    }
}

static void enumerate(enumeration *e, double limit)
{
    e->limit = limit;
    double score = threetaxa(e);
    if (ntax > 3) {
        hiscratch scratch;
        if (constrained()) start_constrained_order(e->order);
        return grow(e, 3, score);
    }
    if (!legal(e->tree)) return;
    e->result.best = overall_bestscore = std::min(score, e->result.best);
    if (e->keeping && score <= limit + tolerance()) keep(e, e->tree, score);
}

// The tree that choosing the order made, or one that fulfils the constraints.
static void firsttree(const enumeration *e, int *tree)
{
    if (!constrained()) return treecopy(e->tree, tree);
    int seed = ranseed;
    wagner(tree, seed);
    ranseed = seed;
}

ienumresult implicit_enumeration(bool useadmins, bool sample)
{
    char *mark = lomark();
    enumeration e = {};
    int *order = lo<int>(ntax);
    e.tree = zlo<int>(hinod);
    e.order = order;
    e.sbeyond = zlo<double>(ntax + 1);
    e.places = lo<spot *>(ntax);
    for (int k = 0; k < ntax; ++k) e.places[k] = lo<spot>(2 * k + 1);
    e.sample = sample;
    e.result = { NOSCORE, 0, false };
    curalg = ALG_ENUM;
    overall_bestscore = NOSCORE;
    clusters_on = 0;
    randinit();
    chooseorder(&e, order);
    if (useadmins) fill_sbeyond(&e);
    firsttree(&e, anx);
    if (userstop && constrained()) {             // the tree may be partial
        loset(mark);
        return e.result;
    }
    double start = tbrswap(anx, 0, 0);
    if (legal(anx)) e.result.best = overall_bestscore = start;
    curalg = ALG_ENUM;
    if (!userstop) enumerate(&e, e.result.best - leastgain());
    if (!userstop) {
        e.keeping = true;
        enumerate(&e, e.result.best);
        if (suboptimal > 0 && !e.stop) enumerate(&e, e.result.best + suboptimal);
    }
    if (!trees_in_mem && legal(anx)) full_store_tree(anx, 0, &e.result.best);       // interrupted before any
    loset(mark);
    return e.result;
}

// --- the command --------------------------------------------------------------------------

void ienumcom()
{
    bool useadmins = true, sample = false;
    for (int c; (c = peep()) != ';'; gtnb()) {
        if (c == '-') useadmins = false;
        else if (c == '&') sample = true;
        else errarg(c);
    }
    nodaterror("searching");
    if (sample && suboptimal > 0) myerr("A sample can be taken only for optimal trees (set suboptimal to 0)");
    if (sample && collapse_level) myerr("A sample can be taken only for uncollapsed trees (set collapse to \"none\")");
    ienumresult r = implicit_enumeration(useadmins, sample);
    erdil();
    settle_found_trees("exact_solution");
    if (userstop) joinem("Search was interrupted...\n", nullptr);
    char sampled[64] = "";
    if (sample && r.total > trees_in_mem) snprintf(sampled, sizeof sampled, " (sampled from %.0f trees)", r.total);
    myp("Implicit enumeration, %i trees found, score %s%s", trees_in_mem, scoretext(r.best).c_str(),
        r.overflow ? " (overflow)" : sampled);
}

const comhelp ienumhelp = {
    "Find all optimal trees, for certain.", nullptr,
    "Trees are enumerated implicitly: what can only grow into worse trees is given up.\n"
    "Useful up to some 20 to 30 taxa.  The trees in memory are lost.\n"
    "  ienum ;      find all trees of the best score (or within \"subopt\" of it)\n"
    "  ienum & ;    when the trees do not fit in memory, keep a random sample; not with\n"
    "               suboptimal trees, and only under \"collapse none\"\n"
    "  ienum - ;    do not use what the taxa still missing from a partial tree must add\n"
    "               to its length (slower)\n"
    "Examples:\n"
    "  ienum ;\n"
    "  collapse none ; hold 20 ; ienum & ;\n"
};
