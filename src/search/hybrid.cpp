#include "search/hybrid.h"
#include "search/addseq.h"
#include "search/constpack.h"
#include "search/fuse.h"
#include "search/fuseval.h"
#include "search/keeptrees.h"
#include "search/moves.h"
#include "search/rebuild.h"
#include "search/setup.h"
#include "search/status.h"
#include "search/tbr.h"
#include "search/wagner.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/progress.h"
#include "kernel/random.h"
#include "trees/scratch.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <climits>
#include <cstdlib>

int fuse_hybridize, hyb_numinrounds = 1000, hyb_outrounds = 1, hyb_samplesize = 50, hyb_autostop = 3, hyb_replacetrees = 1;
int hybrid_prevent_clog = 15, hyb_legperc = 5, hybrid_room, hybridsdone;

// --- pieces -----------------------------------------------------------------------------------

namespace {
struct sizedtree {
    const int *anc;
    int *list, n;                  // internal nodes, each before its descendants
    int *size, *left, *right;      // terminals below each node; descendants
};

// Where pieces are looked for.
struct range {
    double least, most;            // taxa
    int unshared;
    bool holds(int taxa) const { return taxa >= least && taxa <= most; }
};
}

// The tree may lack taxa.
static sizedtree sizes(const int *tree)
{
    sizedtree t = { tree, hi<int>(hinod), 0, zhi<int>(hinod), hi<int>(hinod), hi<int>(hinod) };
    binmksis(tree);
    t.n = binoptlist(t.list);
    std::copy(lef, lef + hinod, t.left);
    std::copy(rig, rig + hinod, t.right);
    for (int k = 0; k < ntax; ++k) t.size[k] = 1;
    for (int i = t.n - 1; i >= 0; --i) t.size[t.list[i]] = t.size[lef[t.list[i]]] + t.size[rig[t.list[i]]];
    return t;
}

// Pieces leave something to be a piece of.
static bool canbepiece(const sizedtree &t, int n) { return n != ntax && t.size[n] <= ntax - 2; }

static void markmembers(const sizedtree &t, int top, int *in)
{
    std::fill(in, in + hinod, 0);
    in[top] = 1;
    for (int i = 1; i < t.n; ++i)
        if (in[t.anc[t.list[i]]]) in[t.list[i]] = 1;
    for (int k = 0; k < ntax; ++k) in[k] = in[t.anc[k]];
}

// Members below each node, given those among terminals.
static void countshared(const sizedtree &t, int *shared)
{
    std::fill(shared + ntax, shared + hinod, 0);
    for (int k = 0; k < ntax; ++k) shared[t.anc[k]] += shared[k];
    for (int i = t.n - 1; i > 0; --i) shared[t.anc[t.list[i]]] += shared[t.list[i]];
}

// The best partner of group n of a, better than the best so far; returns the fewest taxa that it and any group do
// not share.
static int trygroup(const sizedtree &a, const sizedtree &b, int n, const range &wanted, int *shared, piece *best)
{
    int fewest = INT_MAX;
    markmembers(a, n, shared);
    countshared(b, shared);
    for (int i = 1; i < b.n; ++i) {
        int m = b.list[i], s = shared[m], outa = a.size[n] - s, outb = b.size[m] - s;
        if (s < 2 || !canbepiece(b, m)) continue;
        fewest = std::min(fewest, std::max(outa, outb));
        if (std::max(outa, outb) <= wanted.unshared && wanted.holds(s) && s > best->shared) *best = { n, m, s, outa, outb };
    }
    return fewest;
}

bool find_piece(const int *a, const int *b, int unshared, int most, piece *p)
{
    constexpr int HALF = 50, START = 5, STEP = 3, WIDEST = 34, RESTART = 10, MOREUNSHARED = 2;
    hiscratch scratch;
    sizedtree ta = sizes(a), tb = sizes(b);
    int *order = hi<int>(ta.n), *fewest = zhi<int>(hinod), *shared = hi<int>(hinod);
    randomlist(ta.n, order, -1, nullptr);
    *p = { -1, -1, 0, 0, 0 };
    for (int width = START; ; ) {
        range wanted = { (HALF - width) * ntax / 100.0 - unshared, (HALF + width) * ntax / 100.0 + unshared, unshared };
        for (int i = 0; i < ta.n; ++i) {
            int n = ta.list[order[i]];
            if (!canbepiece(ta, n) || !wanted.holds(ta.size[n]) || fewest[n] > unshared) continue;
            fewest[n] = trygroup(ta, tb, n, wanted, shared, p);
        }
        if (p->a >= 0) return true;
        width += STEP;
        if (width > WIDEST && unshared + MOREUNSHARED <= most) {
            unshared += MOREUNSHARED;
            width = RESTART;
        }
        if (width > HALF + STEP) return false;
    }
}

// --- hybrids ----------------------------------------------------------------------------------

static clade cladewith(const sizedtree &t, int member, int wanted)
{
    int n = member;
    while (t.size[n] < wanted) n = t.anc[n];
    return { n, t.left, t.right };
}

void do_hybrid(const int *a, const int *b, const piece &p, int *ab, int *ba)
{
    hiscratch scratch;
    sizedtree ta = sizes(a), tb = sizes(b);
    int *ina = hi<int>(hinod), *inb = hi<int>(hinod), *out = hi<int>(ntax), n = 0, member = -1;
    markmembers(ta, p.a, ina);
    markmembers(tb, p.b, inb);
    for (int t = 0; t < ntax; ++t) {
        if (ina[t] != inb[t]) out[n++] = t;
        else if (ina[t]) member = t;
    }
    int *purea = hi<int>(hinod), *pureb = hi<int>(hinod);
    treecopy(a, purea);
    treecopy(b, pureb);
    takeout(purea, out, n);
    takeout(pureb, out, n);
    clade ca = cladewith(sizes(purea), member, p.shared), cb = cladewith(sizes(pureb), member, p.shared);
    treecopy(purea, ab);
    treecopy(pureb, ba);
    moveclade(cb, ca, ab);
    moveclade(ca, cb, ba);
}

double tree_completion(int *tree, int swap)
{
    if (constrained()) errmsg("Cannot complete trees under constraints", nullptr);
    struct running { int seed = ranseed; ~running() { ranseed = seed; } } kept;
    if (std::find(tree, tree + ntax, 0) != tree + ntax) complete_wagner(tree, -1);
    if (userstop && std::find(tree, tree + ntax, 0) != tree + ntax) return NOSCORE;
    changed_sets_elsewhere();
    return swap && !userstop ? tbrswap(tree, 0, 0) : schoptimize(tree, 1);
}

// --- the set ----------------------------------------------------------------------------------

namespace {
struct hybridtree {
    int *tree;
    double score;
    int origin;                    // place among those given; -1 for a hybrid
};

struct hybridset {
    hybridtree *trees;
    int n, room, given, sample;    // sample: the first ones, from which pairs are drawn
    double best;
};

struct hybridsettings {            // put back however it ends
    int seed = ranseed, multing = xmulting, stage = curalg, treenum = current_treenum;
    hybridsettings() { xmulting = 0; }
    ~hybridsettings()
    {
        ranseed = seed;
        xmulting = multing;
        curalg = stage;
        current_treenum = treenum;
    }
};
}

// Room for the set, and for the two hybrids in the making.
static hybridset assign_memory_for_hybrid(int given, int pairs)
{
    constexpr double SHARE = 0.5;
    const double each = double(hinod) * sizeof(int) + sizeof(hybridtree) + sizeof(int *);
    double wanted = hybrid_prevent_clog ? (hybrid_prevent_clog + 1.0) * given + 2 : given + 2.0 * pairs * hyb_outrounds;
    double possible = std::min(wanted, SHARE * double(vailram()) / each);
    hybridset set = { nullptr, 0, int(std::min(possible, double(INT_MAX / 2))), given, given, NOSCORE };
    if (set.room < given + 2) errmsg("Sorry, memory is too low to perform tree-hybridization", nullptr);
    set.trees = hi<hybridtree>(set.room);
    for (int i = 0; i < set.room; ++i) set.trees[i] = { hi<int>(hinod), NOSCORE, -1 };
    return set;
}

static void mini_sort(hybridset *set)
{
    std::stable_sort(set->trees, set->trees + set->n, [](const hybridtree &a, const hybridtree &b) { return a.score < b.score; });
}

// In the place of the worse parent when it is better, else behind the others.
static void take(hybridset *set, int *hybrid, int i, int k, int swap)
{
    double score = tree_completion(hybrid, swap);
    if (score >= NOSCORE) return;
    nodreset(hybrid, nullptr);
    note_best_score(score, &set->best);
    for (int t = 0; t < set->n; ++t)
        if (!isnewtree(hybrid, &set->trees[t].tree, 1)) return;
    int worse = set->trees[i].score > set->trees[k].score ? i : k;
    bool replaces = hyb_replacetrees && lessthan(score, set->trees[worse].score);
    if (!replaces && set->n == set->room) return;
    hybridtree *h = set->trees + (replaces ? worse : set->n++);
    treecopy(hybrid, h->tree);
    h->score = score;
    h->origin = -1;
}

static void unclog(hybridset *set)
{
    bool clogged = hybrid_prevent_clog && set->n > (hybrid_prevent_clog + 1) * double(set->given);
    if (!clogged && set->n + 2 <= set->room) return;
    mini_sort(set);
    set->n = std::max(set->given, hyb_samplesize ? std::min(hyb_samplesize, set->n) : set->given);
    if (set->n + 2 > set->room) set->n = set->given;
    set->sample = std::min(set->sample, set->n);
}

static void hybridize_pair(hybridset *set, int unshared, int swap, double stopscore)
{
    hiscratch scratch;
    int i = rand() % set->sample, k = rand() % (set->sample - 1);
    k += k >= i;
    int *ab = hi<int>(hinod), *ba = hi<int>(hinod);
    piece p;
    current_treenum = i;
    if (find_piece(set->trees[i].tree, set->trees[k].tree, unshared, ntax, &p)) {
        do_hybrid(set->trees[i].tree, set->trees[k].tree, p, ab, ba);
        take(set, ab, i, k, swap);
        if (!userstop && !reached_score(set->best, stopscore)) take(set, ba, i, k, swap);
        unclog(set);
    }
    report_search_status(set->best);
}

static void newsample(hybridset *set)
{
    mini_sort(set);
    set->sample = hyb_samplesize && hyb_samplesize <= set->n ? std::max(2, hyb_samplesize) : set->given;
}

static void give_back(hybridset *set, int *count, int **trees)
{
    int n = std::min(set->n, std::max(hybrid_room, set->given));
    if (n < set->n) mini_sort(set);
    char *mark = himark();
    uint8_t *filled = zhi<uint8_t>(n);
    for (int i = 0; i < n; ++i) {
        int origin = set->trees[i].origin;
        if (origin < 0) continue;
        treecopy(set->trees[i].tree, trees[origin]);
        filled[origin] = 1;
    }
    for (int i = 0, at = 0; i < n; ++i) {
        if (set->trees[i].origin >= 0) continue;
        while (filled[at]) ++at;
        treecopy(set->trees[i].tree, trees[at++]);
    }
    hiset(mark);
    *count = n;
}

double hybridize_tree_set(int *count, int **trees, int pairs, int pieces, int swap, double stopscore)
{
    if (constrained()) errmsg("Cannot complete trees under constraints", nullptr);
    hybridsettings kept;
    hiscratch scratch;
    hybridset set = assign_memory_for_hybrid(*count, pairs);
    hybridsdone = 0;
    if (!skip_seed_nit) randinit();
    ranseed = -1;
    clean_and_score(*count, trees, &set.best);
    for (int i = 0; i < *count; ++i) {
        treecopy(trees[i], set.trees[i].tree);
        set.trees[i].score = schoptimize(trees[i], 1);
        set.trees[i].origin = i;
    }
    set.n = *count;
    if (*count < 2) return set.best;
    if (ntax == realntax) curalg = ALG_HYBRID;
    for (int round = 0, idle = 0; round < hyb_outrounds; ++round) {
        if (round) newsample(&set);
        double before = set.best;
        for (int i = 0; i < pairs && !userstop && !reached_score(set.best, stopscore); ++i)
            hybridize_pair(&set, pieces ? pieces : hyb_legperc, swap, stopscore);
        if (userstop) break;
        ++hybridsdone;
        record_search_status(xreport_status_reps, round + 1, set.best);
        idle = lessthan(set.best, before) ? 0 : idle + 1;
        if (reached_score(set.best, stopscore) || (hyb_autostop && idle >= hyb_autostop)) break;
    }
    give_back(&set, count, trees);
    return set.best;
}
