#include "search/fuse.h"
#include "search/addseq.h"
#include "search/fuseval.h"
#include "search/keeptrees.h"
#include "search/moves.h"
#include "search/setup.h"
#include "search/status.h"
#include "search/tbr.h"
#include "search/wagner.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/random.h"
#include "trees/scratch.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <cstdlib>
#include <cstring>

int fusetakequals, fusebeststart = 1, choose_bestonly, fuse_repeat, fuseswapit = 1, fuseminfork = 3, fuserounds = 5;
int fusekeepall = 1, fusereroots, autoselect_ga;
double autoselect_limit = 1.5;
int skip_seed_nit, treechkshift = -1, change_trees_in_mem = -1, fusesdone;
uint8_t *mark_source_trees;

// --- a pair -----------------------------------------------------------------------------------

static bool exchangeable(int a) { return ladd[a] >= fuseminfork && fuse_guide[a] != ntax; }

static bool acceptable(double value, double score)
{
    return lessthan(value, score) || (fusetakequals && !lessthan(score, value));
}

bool disable_tfusing() { return dopiwe && vailram() < pair_memory(); }

void chkfusing()
{
    if (disable_tfusing()) errmsg("Sorry, not enough RAM allocated for tree-fusing under implied weights", nullptr);
}

// work was started, and has the score; when exchanges are made it must be started again.
static int exchange(int *work, const int *other, double score)
{
    hiscratch scratch;
    start_pair(work, other);
    int *accepted = hi<int>(nfuse_list + 1), n = 0, examined = 0;
    for (int i = nfuse_list - 1; i >= 0; --i) {
        int a = fuse_list[i];
        if (!exchangeable(a)) continue;
        ++examined;
        if (samebelow[a]) continue;                      // nothing to exchange
        double value = fuseval(a, partner[a], score);
        if (!acceptable(value, score)) continue;
        bar_ancestors(a);
        if (choose_bestonly) n = 0;
        else settle_exchange(a, partner[a], value);
        accepted[n++] = a;
        score = value;
    }
    for (int i = 0; i < n; ++i) cladzert(partner[accepted[i]], accepted[i], work);
    add_rearrangs(examined);
    return n;
}

int fusetwotrees(int *work, const int *other)
{
    hiscratch scratch;
    pairmemory();
    return exchange(work, other, fusoptimize(work));
}

int test_number_of_fuses(const int *t1, const int *t2)
{
    hiscratch scratch;
    int n = 0;
    make_fuse_guide(t1, t2);
    for (int i = nfuse_list - 1; i >= 0; --i) {
        if (!exchangeable(fuse_list[i])) continue;
        bar_ancestors(fuse_list[i]);
        ++n;
    }
    return n;
}

double calculate_fuse_props(int count, int **trees)
{
    constexpr int PAIRS = 15;
    int all = count * (count - 1) / 2, pairs = std::min(all, PAIRS);
    double sum = 0;
    auto add = [&](int i, int k) { sum += test_number_of_fuses(trees[i], trees[k]) * 100.0 / ntax; };
    if (count < 2) return 0;
    if (all <= PAIRS) {
        for (int i = 0; i < count; ++i)
            for (int k = 0; k < i; ++k) add(i, k);
        return sum / pairs;
    }
    for (int n = 0; n < pairs; ++n) {
        int i = rand() % count, k = rand() % (count - 1);
        add(i, k + (k >= i));
    }
    return sum / pairs;
}

// --- pairs in vain ------------------------------------------------------------------------------

// In a driven search the same trees meet again and again.  A pair that had nothing to exchange is known by the
// groups of both; the last one of each place in the table is remembered.
static constexpr size_t PLACES = 1 << 16;
static uint64_t vainpairs[PLACES];

void forget_pairs() { std::fill(vainpairs, vainpairs + PLACES, 0); }

static bool remembers() { return xmulting && ntax == realntax && !fusetakequals && !fusereroots; }

static uint64_t mixed(uint64_t x)        // Steele, Lea & Flood 2014
{
    x += 0x9E3779B97F4A7C15;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EB;
    return x ^ (x >> 31);
}

// Of the groups of the tree last optimized.
static uint64_t grouphash()
{
    hiscratch scratch;
    uint64_t *of = hi<uint64_t>(hinod), all = 0;
    for (int t = 0; t < ntax; ++t) of[t] = mixed(uint64_t(t));
    for (int i = noptlist - 1; i >= 0; --i) {
        int n = optlist[i];
        of[n] = of[lef[n]] ^ of[rig[n]];
        all += mixed(of[n]);
    }
    return all;
}

namespace {
struct pairkey {
    uint64_t key;
    pairkey(uint64_t work, uint64_t other) : key(mixed(work + mixed(other))) {}
    bool invain() const { return vainpairs[key % PLACES] == key; }
    void remember() const { vainpairs[key % PLACES] = key; }
};

// A tree that takes clades of others.
struct taker {
    int *tree;
    double score = 0;
    uint64_t groups = 0;
    explicit taker(int *work) : tree(work)
    {
        pairmemory();
        start();
    }
    void start()                         // again when it was changed
    {
        score = fusoptimize(tree);
        if (remembers()) groups = grouphash();
    }
};
}

// --- a tree with another, as the settings have it ---------------------------------------------

namespace {
struct setrootforfuse {                  // both trees hang from a terminal for a while
    int *a, *b;
    setrootforfuse(int *work, int *other, int terminal) : a(work), b(other)
    {
        hang_from(a, terminal);
        hang_from(b, terminal);
    }
    ~setrootforfuse()
    {
        fix_outgroup(a);
        fix_outgroup(b);
    }
};
}

static int fuse_at_random_roots(int *work, int *other)
{
    int n = 0;
    for (int i = 0; i < fusereroots && !userstop; ++i) {
        {
            setrootforfuse rooted(work, other, rand() % ntax);
            n += exchange(work, other, fusoptimize(work));
        }
        report_search_status(overall_bestscore);
    }
    return n;
}

// groups: the hash of the other.
static int fuse_into(taker *work, int *other, uint64_t groups)
{
    int all = 0, n;
    do {
        pairkey pair(work->groups, groups);
        if (remembers() && pair.invain()) return all;
        n = fusereroots ? fuse_at_random_roots(work->tree, other) : exchange(work->tree, other, work->score);
        if (n) work->start();
        else if (remembers()) pair.remember();
        all += n;
    } while (fuse_repeat && n && !userstop);
    return all;
}

// --- the rounds -------------------------------------------------------------------------------

namespace {
struct callersown {
    int seed = ranseed, treenum = current_treenum, inmem = trees_in_mem, shown = change_trees_in_mem, stage = curalg;
    ~callersown()
    {
        ranseed = seed;
        current_treenum = treenum;
        trees_in_mem = inmem;
        change_trees_in_mem = shown;
        curalg = stage;
    }
};
}

static bool full_data() { return ntax == realntax; }

void note_best_score(double score, double *best)
{
    if (!lessthan(score, *best)) return;
    *best = score;
    if (full_data() && (overall_bestscore < 0 || lessthan(score, overall_bestscore))) overall_bestscore = score;
}

static void note_score(int slot, double score)
{
    if (treechkshift >= 0) treechk[treechkshift + slot].score = score;
}

int clean_and_score(int count, int **trees, double *best, uint64_t *groups)
{
    int first = 0;
    changed_sets_elsewhere();
    for (int i = 0; i < count; ++i) {
        for (int n = 0; n < hinod; ++n)
            if (n != ntax) trees[i][n] &= NODEBITS;
        nodreset(trees[i], nullptr);
        double score = schoptimize(trees[i], 1);
        if (groups) groups[i] = grouphash();
        note_score(i, score);
        if (lessthan(score, *best)) first = i;
        note_best_score(score, best);
    }
    return first;
}

bool isnewtree(const int *tree, int *const *trees, int n)
{
    return std::none_of(trees, trees + n, [tree](const int *t) { return !memcmp(t + 1, tree + 1, sizeof(int) * (hinod - 1)); });
}

bool reached_score(double score, double stopscore)
{
    return stopscore > 0 && !lessthan(stopscore, score);
}

static void mark_sources(int start, int partner)
{
    if (mark_source_trees) mark_source_trees[start] = mark_source_trees[partner] = 1;
}

// The tree in trees[start] with exchanges from all others, in trees[count].  False: nothing was exchanged.
static bool fuse_with_all(int start, int count, int **trees, const uint64_t *groups, double stopscore, double *best)
{
    hiscratch scratch;
    int *order = hi<int>(count), any = 0;
    ranseed = std::max(1, rand());
    randomlist(count, order, -1, nullptr);
    ranseed = -1;
    treecopy(trees[start], trees[count]);
    taker work(trees[count]);
    for (int i = 0; i < count && !userstop; ++i) {
        if (order[i] == start) continue;
        current_treenum = order[i];
        int n = fuse_into(&work, trees[order[i]], groups[order[i]]);
        if (n) {
            any += n;
            mark_sources(start, order[i]);
            note_best_score(work.score, best);
            if (reached_score(*best, stopscore)) break;
        }
        report_search_status(*best);
    }
    return any;
}

// Swapped if that is wanted and there is cause to go on.
static double finish(int *work, double stopscore, double best)
{
    if (fuseswapit && !userstop && !reached_score(best, stopscore)) return tbrswap(work, 0, 0);
    return schoptimize(work, 1);
}

static int another(int start, int count)
{
    int next;
    do next = rand() % count;
    while (next == start && count > 2);
    return next;
}

double dofuse(int *count, int **trees, int rounds, double stopscore)
{
    callersown kept;
    hiscratch scratch;
    double best = NOSCORE;
    uint64_t *groups = hi<uint64_t>(size_t(*count) + size_t(rounds));
    fusesdone = 0;
    if (!skip_seed_nit) randinit();
    int start = clean_and_score(*count, trees, &best, groups);
    if (*count < 2) return best;
    if (!fusebeststart) start = rand() % *count;
    if (full_data()) curalg = ALG_FUSING;
    while (fusesdone < rounds && !userstop) {
        if (change_trees_in_mem < 0) change_trees_in_mem = kept.inmem;
        trees_in_mem = *count;
        if (fuse_with_all(start, *count, trees, groups, stopscore, &best)) {
            int *work = trees[*count];
            double score = finish(work, stopscore, best);
            note_best_score(score, &best);
            note_score(*count, score);
            nodreset(work, nullptr);
            schoptimize(work, 1);
            groups[*count] = grouphash();
            if (isnewtree(work, trees, *count)) ++*count;
        }
        if (!userstop) ++fusesdone;
        if (reached_score(best, stopscore)) break;
        start = another(start, *count);
    }
    return best;
}
