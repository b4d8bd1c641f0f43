// The trees kept by a search.  Two trees are the same when they are the same once collapsed, so
// the canonical form numbers only what stands, and the hash sees only that.
#include "search/keeptrees.h"
#include "search/constpack.h"
#include "search/moves.h"
#include "search/schcollapse.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/progress.h"
#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdio>
#include <cstring>

void (*schcollapser)(const int *tree, int *support) = schnocollapser;
int now_being_swapped = -1;
double overall_bestscore = -1;

constexpr double SAMESCORE = 1e-8;     // fractional scores closer than this are one score
constexpr double LAXLIMIT = 1e-6;      // what a limit gets for the errors of adding up fractions
constexpr double FITMARGIN = 0.001;    // how far beyond the limit a search goes under implied weights

void treecopy(const int *from, int *to)          { memcpy(to, from, sizeof(int) * hinod); }
void just_store_tree(const int *tree, int slot)  { treecopy(tree, mem_tree[slot]); }

bool same_score(double a, double b) { return fabs(a - b) <= (num_cont || dopiwe ? SAMESCORE : 0); }

static double limitfrom(double score)           { return score + suboptimal + (dopiwe ? FITMARGIN : 0); }
void set_suboptimal_limit(double score)         { suboptimal_limit = limitfrom(score); }
double score_of_limit()                         { return suboptimal_limit - limitfrom(0); }

// --- canonical form -----------------------------------------------------------------------

static int standing(const int *tree, int n)
{
    n = tree[n] & NODEBITS;
    while (n != ntax && tree[n] & COLLAPSED) n = tree[n] & NODEBITS;
    return n;
}

// Only nodes that stand: the numbers of collapsed ones depend on how their polytomy is resolved.
// Their order counts too: in a binary tree each ancestor is met twice, and a plain XOR is always 0.
static unsigned hashof(const int *tree)
{
    constexpr unsigned SPREAD = 2654435761u;
    unsigned hash = 0;
    for (int n = 1; n < hinod; ++n)
        if (n != ntax && !(tree[n] & COLLAPSED)) hash = hash * SPREAD + unsigned(standing(tree, n));
    return hash ^ hash >> 16;
}

static int bucketof(unsigned hash) { return (hash >> 8 ^ hash) & (TREEBUCKETS - 1); }

static unsigned canonicalhash(int *tree, const int *support)
{
    char *mark = himark();
    int *number = hi<int>(hinod), *old = hi<int>(hinod);
    treecopy(tree, old);
    std::fill(number, number + hinod, -1);
    for (int t = 0; t < ntax; ++t) number[t] = t;
    number[ntax] = ntax;
    int next = ntax + 1, top = hinod - 1;
    for (int t = 1; t < ntax; ++t)
        for (int n = old[t] & NODEBITS; number[n] < 0; n = old[n] & NODEBITS)
            number[n] = !support || support[n] ? next++ : top--;
    assert(next == top + 1);
    for (int n = 0; n < hinod; ++n) {
        if (n == ntax) continue;
        bool gone = support && n > ntax && !support[n];
        tree[number[n]] = number[old[n] & NODEBITS] | (gone ? COLLAPSED : 0);
    }
    tree[ntax] = hinod;
    hiset(mark);
    return hashof(tree);
}

int nodreset(int *tree, const int *support) { return bucketof(canonicalhash(tree, support)); }

bool equal_trees(const int *a, const int *b)
{
    if (!collapse_level) return !memcmp(a + 1, b + 1, sizeof(int) * (hinod - 1));
    for (int n = hinod - 1; n > ntax; --n)       // collapsed nodes come last, so most unequal trees part here
        if ((a[n] ^ b[n]) & COLLAPSED) return false;
    for (int n = 1; n < hinod; ++n)
        if (n != ntax && !(a[n] & COLLAPSED) && standing(a, n) != standing(b, n)) return false;
    return true;
}

// --- buckets ------------------------------------------------------------------------------

void empty_treechklist()
{
    for (int i = 0; i < TREEBUCKETS; ++i) treechklist[i] = { NOSCORE, nullptr, nullptr };
}

static void linkrecord(int slot, double score, unsigned hash)
{
    treechkrec *r = treechk + slot;
    int bucket = bucketof(hash);
    *r = { score, mem_tree[slot], treechklist[bucket].head, nullptr, bucket, hash };
    if (r->next) r->next->prev = r;
    treechklist[bucket] = { score, r->tree, r };
}

static void unlinkrecord(treechkrec *r)
{
    if (r->next) r->next->prev = r->prev;
    if (r->prev) r->prev->next = r->next;
    else treechklist[r->bucket].head = r->next;
}

void rebuild_treechklist()
{
    empty_treechklist();
    for (int t = 0; t < trees_in_mem; ++t) linkrecord(t, treechk[t].score, treechk[t].hash);
}

// A kept tree that is this one: of the same or a lower score, equal once collapsed.  With a rule
// that may collapse what the resolution chosen does not need, only trees of the same score count.
// Most of the candidates of a long swap are trees kept already, in buckets of hundreds: the hash
// spares all comparisons but the one with the tree itself.
static treechkrec *findequal(const int *tree, double score, unsigned hash, bool samescoreonly)
{
    for (treechkrec *r = treechklist[bucketof(hash)].head; r; r = r->next) {
        if (r->hash != hash || r->tree == tree) continue;
        bool comparable = same_score(r->score, score) || (!samescoreonly && r->score < score);
        if (comparable && equal_trees(r->tree, tree)) return r;
    }
    return nullptr;
}

static unsigned canonize(int *tree)
{
    if (!collapse_level) return canonicalhash(tree, nullptr);
    schcollapser(tree, tmpsuprt);
    constcollapser(tree, tmpsuprt);
    return canonicalhash(tree, tmpsuprt);
}

static bool onlysamescore() { return collapse_level >= 3; }

int link_if_new(int slot, double score)
{
    int *tree = mem_tree[slot];
    unsigned hash = canonize(tree);
    if (findequal(tree, score, hash, onlysamescore())) return 0;
    linkrecord(slot, score, hash);
    memset(treegroup[slot], 0, treegroupcells * sizeof(uint32_t));
    trees_in_mem = slot + 1;
    return 1;
}

static double copyandscore(const int *tree, int slot)
{
    just_store_tree(tree, slot);
    changed_sets_elsewhere();
    return schoptimize(mem_tree[slot], collapse_level ? 2 : 1);
}

int full_store_tree(const int *tree, int slot, double *score_out)
{
    double score = copyandscore(tree, slot);
    if (score_out) *score_out = score;
    return link_if_new(slot, score);
}

double force_store_tree(const int *tree, int slot)
{
    double score = copyandscore(tree, slot);
    linkrecord(slot, score, canonize(mem_tree[slot]));
    memset(treegroup[slot], 0, treegroupcells * sizeof(uint32_t));
    trees_in_mem = slot + 1;
    return score;
}

int check_if_nutree(const int *tree, int slot)
{
    double score = copyandscore(tree, slot);
    return !findequal(mem_tree[slot], score, canonize(mem_tree[slot]), false);
}

static unsigned canonicalcopy(const int *tree, int *nu)
{
    treecopy(tree, nu);
    if (collapse_level) {
        changed_sets_elsewhere();
        schoptimize(nu, 2);
    }
    return canonize(nu);
}

bool is_kept_tree(const int *tree, double score)
{
    char *mark = himark();
    int *nu = hi<int>(hinod);
    bool kept = findequal(nu, score, canonicalcopy(tree, nu), onlysamescore());
    hiset(mark);
    return kept;
}

int replace_kept_tree(const int *tree, int slot, double score)
{
    char *mark = himark();
    int *nu = hi<int>(hinod);
    unsigned hash = canonicalcopy(tree, nu);
    treechkrec *twin = findequal(nu, score, hash, onlysamescore());
    bool isnew = !twin || twin == treechk + slot;
    if (isnew) {
        unlinkrecord(treechk + slot);
        treecopy(nu, mem_tree[slot]);
        memset(treegroup[slot], 0, treegroupcells * sizeof(uint32_t));
        linkrecord(slot, score, hash);
    }
    hiset(mark);
    return isnew;
}

void replace_worst_tree(const int *tree, int first, double score)
{
    if (first >= trees_in_mem) return;
    auto longer = [](const treechkrec &a, const treechkrec &b) { return a.score < b.score; };
    const treechkrec *worst = std::max_element(treechk + first, treechk + trees_in_mem, longer);
    if (lessthan(score, worst->score)) replace_kept_tree(tree, int(worst - treechk), score);
}

// --- sweeps -------------------------------------------------------------------------------

// Drops the trees marked TREE_DEAD and links the others anew.
static void compress()
{
    char *mark = himark();
    uint8_t *keep = hi<uint8_t>(std::max(1, trees_in_mem));
    int swapped = now_being_swapped;
    for (int t = 0; t < trees_in_mem; ++t) {
        keep[t] = treechk[t].bucket == TREE_DEAD ? 0 : LISTED;
        if (!keep[t] && t < swapped) --now_being_swapped;
    }
    assert(swapped < 0 || swapped >= trees_in_mem || keep[swapped]);
    effect_tree_choice(keep);
    hiset(mark);
    rebuild_treechklist();
}

static void killrepeated()
{
    empty_treechklist();
    for (int t = 0; t < trees_in_mem; ++t) {
        if (treechk[t].bucket == TREE_DEAD) continue;
        unsigned hash = treechk[t].hash;
        if (findequal(mem_tree[t], treechk[t].score, hash, onlysamescore())) treechk[t].bucket = TREE_DEAD;
        else linkrecord(t, treechk[t].score, hash);
    }
}

static double laxity() { return num_cont || dopiwe ? LAXLIMIT : 0; }

double clean_mem_trees(const char *text, double excess)
{
    char line[64];
    snprintf(line, sizeof line, "Checking %s trees...", text);
    double best = NOSCORE;
    double lax = excess + laxity();
    changed_sets_elsewhere();
    for (int t = 0; t < trees_in_mem; ++t) {
        dildit(t, trees_in_mem, line);
        int *tree = mem_tree[t];
        for (int n = 0; n < hinod; ++n)
            if (n != ntax) tree[n] &= NODEBITS;
        double score = schoptimize(tree, 1);
        treechk[t] = { score, tree, nullptr, nullptr, 0, 0 };
        if (score < best) best = score;
        if (score > best + lax) treechk[t].bucket = TREE_DEAD;
        else {
            if (collapse_level) schoptimize(tree, 4);
            treechk[t].hash = canonize(tree);
        }
    }
    for (int t = 0; t < trees_in_mem; ++t)
        if (treechk[t].score > best + lax) treechk[t].bucket = TREE_DEAD;
    killrepeated();
    compress();
    erdil();
    return trees_in_mem ? best : -1;
}

void quick_clean_mem_trees(double best)
{
    drop_longer_than(0, best + suboptimal);
    killrepeated();
    compress();
}

void drop_longer_than(int first, double limit)
{
    bool any = false;
    limit += laxity();
    for (int t = first; t < trees_in_mem; ++t)
        if (t != now_being_swapped && treechk[t].score > limit) {
            treechk[t].bucket = TREE_DEAD;
            any = true;
        }
    if (any) compress();
}

void reorganize_treechklist(int first, double score)
{
    if (suboptimal == 0) {
        droptrees(first);
        rebuild_treechklist();
        return;
    }
    suboptimal_limit = std::min(suboptimal_limit, limitfrom(score));
    drop_longer_than(first, suboptimal_limit);
}

void checktreechk()
{
    int linked = 0;
    for (int i = 0; i < TREEBUCKETS; ++i)
        for (treechkrec *r = treechklist[i].head; r; r = r->next, ++linked) {
            assert(r >= treechk && r < treechk + trees_in_mem && r->bucket == i);
            assert(r->tree == mem_tree[r - treechk] && hashof(r->tree) == r->hash && bucketof(r->hash) == i);
            assert(!r->prev ? treechklist[i].head == r : r->prev->next == r);
        }
    assert(linked == trees_in_mem);
}
