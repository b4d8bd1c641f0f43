// Engines: sectors one after another, and the one that chooses them at random.
#include "search/sectdata.h"
#include "search/fits.h"
#include "search/keeptrees.h"
#include "search/moves.h"
#include "search/sectors.h"
#include "search/sectset.h"
#include "search/status.h"
#include "search/tbr.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/random.h"
#include "trees/pack.h"
#include "trees/scratch.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <cassert>
#include <cstdlib>

// ---- What all engines do --------------------------------------------------------------------------

void start_sectors(sectorrun *run, int *tree)
{
    run->tree = tree;
    run->replaced = run->failures = 0;
    if (tree != anx) treecopy(tree, anx);
    if (ssgotocomb && ssgotocomb < ssgotodrift) ssgotodrift = ssgotocomb;
    get_sectsch_priv_buf();
    run->score = schoptimize(anx, 1);
    curalg = ALG_SECTORS;
}

double end_sectors(sectorrun *run, bool swap)
{
    if (swap && run->replaced && (ssglobaltbr || ss_large_globaltbr) && !sectors_stopped(run)) swap_globally(run);
    run->score = schoptimize(anx, 1);
    if (run->tree != anx) treecopy(anx, run->tree);
    return run->score;
}

bool sectors_stopped(const sectorrun *run)
{
    return userstop || (ssstopscore > 0 && !lessthan(ssstopscore, run->score));
}

bool globally_due(const sectorrun *run, int size)
{
    int every = size <= ssgotodrift ? ssglobaltbr : ss_large_globaltbr;
    return every && run->replaced >= every;
}

void swap_globally(sectorrun *run)
{
    struct seedguard { int seed = ranseed; ~seedguard() { ranseed = seed; } } guard;
    ranseed = -1;
    curalg = ALG_TBR;
    run->score = tbrswap(anx, 0, 0);
    run->replaced = 0;
    curalg = ALG_SECTORS;
}

// Of the tree in anx with the sector replaced.
static double scoreagain(double before, int count)
{
    if (!sector_is_private(count) || wiped_some_sankoff) return schoptimize(anx, 1);
    fix_again_sector();
    return dopiwe ? calculate_tree_fits() : before - minianal_score_gain;
}

sectorend run_sector(sectorrun *run, int base, int count)
{
    if (!make_small_matrix(base, count)) return SECTOR_SKIPPED;
    int user = use_user_ss_insts;
    bool changed = minianal(user);
    rezertree(user);
    if (!changed) {
        ++run->failures;
        return SECTOR_KEPT;
    }
    double before = run->score;
    run->score = scoreagain(before, count);
    if (wiped_some_sankoff && lessthan(before, run->score)) {
        treecopy(wholetree, anx);
        run->score = schoptimize(anx, 1);
        return SECTOR_LOST;
    }
    ++run->replaced;
    run->failures = 0;
#ifdef ZEL_TINY
    check_whole_states();
    assert(same_score(run->score, schoptimize(anx, 1)));
#endif
    return SECTOR_REPLACED;
}

// ---- Random sectors -------------------------------------------------------------------------------

// A selection under way: nodes from the base down, in random order of descendants.
struct selection {
    int base, count;                     // terminals, that for the outside included
    int *list, n;                        // internal nodes
    int *size;                           // per node: terminals of the sector below it
};

// A node above a random one whose clade is large enough; from nodes that were one already, some steps further.
static int randombase(int least, uint8_t *used)
{
    constexpr int FURTHER = 15;
    int top = rig[ntax];
    if (asymmetric_fields) return top;
    int n = rand() % hinod;
    while (n != ntax && tnodsize[n] < least) n = anx[n];
    if (n != ntax && used[n])
        for (int steps = rand() % FURTHER; steps && n != ntax; --steps) n = anx[n];
    return n == ntax ? top : n;
}

static void listnodes(selection *s)
{
    s->n = 0;
    s->list[s->n++] = s->base;
    for (int i = 0; i < s->n; ++i) {
        int k = s->list[i], flip = rand() & 1;
        deslist[k] = IN_SECTOR;
        s->size[k] = tnodsize[k];
        for (int d : { flip ? rig[k] : lef[k], flip ? lef[k] : rig[k] }) {
            if (d >= ntax) s->list[s->n++] = d;
            else deslist[d] = SECTOR_TERMINAL;
        }
    }
}

// Node n becomes a terminal: what was in the sector below it is out.
static void closenode(selection *s, int n)
{
    hiscratch scratch;
    int *open = hi<int>(size_t(s->size[n]) * 2), k = 0, fewer = s->size[n] - 1;
    open[k++] = n;
    for (int i = 0; i < k; ++i)
        for (int d : { lef[open[i]], rig[open[i]] }) {
            if (deslist[d] == IN_SECTOR) open[k++] = d;
            deslist[d] = OUT_OF_SECTOR;
        }
    deslist[n] = SECTOR_TERMINAL;
    s->count -= fewer;
    s->size[n] = 1;
    while (n != s->base) s->size[n = anx[n]] -= fewer;
}

static void shrink(selection *s, int size, int least)
{
    std::swap(s->list[0], s->list[s->n - 1]);           // the base stays
    for (int k = s->n - 1; k > 1; --k) std::swap(s->list[k - 1], s->list[rand() % k]);
    auto open = [&](int n) { return deslist[n] == IN_SECTOR; };
    for (int i = 0; i < s->n - 1 && s->count > size; ++i) {
        int n = s->list[i];
        if (open(n) && s->count - (s->size[n] - 1) >= least) closenode(s, n);
    }
    for (bool any = true; any && s->count > size;) {
        any = false;
        for (int i = 0; i < s->n - 1 && s->count > size; ++i) {
            int n = s->list[i];
            if (!open(n) || open(lef[n]) || open(rig[n])) continue;
            closenode(s, n);
            any = true;
        }
    }
}

// Marks a sector of about so many terminals in deslist; used: per node 1 when it was a base at this size.
static selection arandsel(int size, uint8_t *used)
{
    constexpr int PERCENT = 80;
    int least = size * PERCENT / 100;
    selection s{};
    s.list = hi<int>(hinod);
    s.size = hi<int>(hinod);
    binmksis(anx);
    fill_node_sizes();
    s.base = randombase(std::min(size, least), used);
    int clade = tnodsize[s.base];
    if (clade >= least && clade < size) used[s.base] = 1;
    s.count = clade + 1;
    listnodes(&s);
    if (s.count > size) shrink(&s, size, least);
    return s;
}

// Selections of one size; false when the engine is to end.
static void selectionsofsize(sectorrun *run, int nth, int size, uint8_t *used)
{
    std::fill(used, used + hinod, 0);
    run->failures = 0;
    for (int i = selections_of_size(nth, size); i > 0 && !sectors_stopped(run); --i) {
        report_search_status(run->score);
        if (userstop) return;
        hiscratch scratch;
        selection s = arandsel(size, used);
        if (s.count < LEAST_REDUCED) continue;
        sectorend end = run_sector(run, s.base, s.count);
        if (end == SECTOR_REPLACED && globally_due(run, size)) {
            swap_globally(run);
            std::fill(used, used + hinod, 0);
        }
        if (ssmaxfailure && run->failures >= ssmaxfailure) return;
    }
}

static int nextsize(int size)
{
    constexpr int NEARLY = 75;
    int next = int(size + long(size) * ssgrowfactor / 100);
    if (next > ssmaxsize && long(next) * NEARLY / 100 <= ssmaxsize) next = ssmaxsize;
    return next;
}

double random_ss(int *tree)
{
    constexpr int FEWTAXA = 8;
    hiscratch scratch;
    sectorrun run;
    start_sectors(&run, tree);
    if (ntax < FEWTAXA) return end_sectors(&run, false);
    int half = ntax / 2, before = 0;
    ssminsize = std::min(ssminsize, half);
    ssmaxsize = std::min(ssmaxsize, half);
    uint8_t *used = hi<uint8_t>(hinod);
    for (int size = ssminsize, nth = 0; size != before && size <= ssmaxsize && !sectors_stopped(&run); ++nth) {
        selectionsofsize(&run, nth, size, used);
        before = size;
        size = nextsize(size);
    }
    return end_sectors(&run, true);
}
