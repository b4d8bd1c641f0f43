// Two ways to choose what is added next: by what it costs on the tree so far, or, before there is
// a tree, by how much it would tell.
#include "search/wagseq.h"
#include "search/constpack.h"
#include "search/moves.h"
#include "search/wagner.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "trees/scratch.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>

constexpr int MOSTSTARTS = 10000;      // triples or quartets compared, however many taxa are looked at later

// --- by cost ------------------------------------------------------------------------------

void get_best_triple(int *tree, int tries)
{
    tries = std::min(tries, MOSTSTARTS);
    int besta = 1, bestb = 2;
    double best = -1;
    for (int b = 2; b < ntax && tries > 0 && !userstop; ++b)
        for (int a = 1; a < b && tries > 0; ++a, --tries) {
            double length = netnitlen(tree, ladd[0], ladd[a], ladd[b]);
            if (best >= 0 && (use_minimum_addseq == ADD_CLOSEST ? length >= best : length <= best)) continue;
            best = length;
            besta = a;
            bestb = b;
        }
    std::swap(ladd[1], ladd[besta]);
    std::swap(ladd[2], ladd[bestb]);
}

static double merit(const wagplace &p)
{
    switch (use_minimum_addseq) {
    case ADD_CLOSEST:  return -p.cost;
    case ADD_FARTHEST: return p.cost;
    }
    return p.worst - p.cost;
}

void select_next_taxon(int from)
{
    int left = ntax - from, tries = std::min(selected_addseqs, left), best = -1;
    double most = 0;
    for (int i = 0; i < tries; ++i) {            // in random order: each try draws from those not tried
        std::swap(ladd[from + i], ladd[from + i + rand() % (left - i)]);
        int t = ladd[from + i];
        if (constrained()) enter_taxon(t);
        wagplace p = bestplace(t, use_minimum_addseq == ADD_SPREAD);
        if (p.cost >= NOBOUND) continue;         // there may be a place later
        if (best >= 0 && merit(p) <= most) continue;
        best = i;
        most = merit(p);
    }
    if (best > 0) std::swap(ladd[from], ladd[from + best]);
}

// --- by information -----------------------------------------------------------------------

// Top bits of the fields that hold no state, and of those that hold some.
static uint32_t emptytops(uint32_t x, int c) { return ~(((x & celllow[c]) + celllow[c]) | x) & ~celllow[c]; }
static uint32_t filledtops(uint32_t x, int c) { return ~celllow[c] & ~emptytops(x, c); }

// Without the fields that hold every state: a missing entry tells nothing.
static uint32_t all_miss_to_zero(uint32_t x, int c)
{
    uint32_t feet = emptytops(~x, c) >> cellshift[c], field = ~0u >> (31 - cellshift[c]);
    return x & ~(feet * field);
}

// Fields with more than one state: taking the lowest one away leaves some.
static int severalstates(uint32_t x, int c)
{
    uint32_t rest = x & (x - (filledtops(x, c) >> cellshift[c]));
    return std::popcount(filledtops(rest, c));
}

struct seenstates {
    uint32_t *any, *twice;        // of the taxa so far: states seen, and seen in two or more
    void clear() { std::fill(any, any + foldcells, 0), std::fill(twice, twice + foldcells, 0); }
    int informative(int t) const
    {
        int n = 0;
        for (int c = 0; c < foldcells; ++c) n += severalstates((any[c] & all_miss_to_zero(dnset(t)[c], c)) | twice[c], c);
        return n;
    }
    void absorb(int t)
    {
        for (int c = 0; c < foldcells; ++c) {
            uint32_t x = all_miss_to_zero(dnset(t)[c], c);
            twice[c] |= any[c] & x;
            any[c] |= x;
        }
    }
};

// The first four taxa: of the quartets of the sequence that hold its first taxon, the one that makes most
// characters informative.
static void get_best_quartet()
{
    hiscratch scratch;
    seenstates three{ hi<uint32_t>(foldcells + 1), hi<uint32_t>(foldcells + 1) };
    int tries = std::min(informative_addseqs, MOSTSTARTS), most = -1, best[3] = { 1, 2, 3 };
    for (int c = 3; c < ntax && tries > 0; ++c)
        for (int b = 2; b < c && tries > 0; ++b) {
            three.clear();
            for (int i : { 0, b, c }) three.absorb(ladd[i]);
            for (int a = 1; a < b && tries > 0; ++a, --tries) {
                int n = three.informative(ladd[a]);
                if (n <= most) continue;
                most = n;
                best[0] = a, best[1] = b, best[2] = c;
            }
        }
    for (int i = 0; i < 3; ++i) std::swap(ladd[i + 1], ladd[best[i]]);     // ascending places: none is moved before its turn
}

void get_informative_sequence()
{
    constexpr int FEW = 5;
    if (ntax <= FEW) return;
    hiscratch scratch;
    get_best_quartet();
    seenstates seen{ zhi<uint32_t>(foldcells + 1), zhi<uint32_t>(foldcells + 1) };
    for (int i = 0; i < 4; ++i) seen.absorb(ladd[i]);
    for (int i = 4; i < ntax && !userstop; ++i) {
        int until = int(std::min<long>(ntax, long(i) + informative_addseqs)), best = i, most = -1;
        for (int j = i; j < until; ++j) {
            int n = seen.informative(ladd[j]);
            if (n > most) most = n, best = j;
        }
        std::swap(ladd[i], ladd[best]);
        seen.absorb(ladd[i]);
    }
}
