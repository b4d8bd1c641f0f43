#include "search/constraints.h"
#include "search/grouptree.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/errors.h"
#include "kernel/layers.h"
#include "trees/collapse.h"
#include "trees/filtertrees.h"
#include "trees/scratch.h"
#include "trees/treebuf.h"
#include "trees/treegroups.h"
#include "trees/treemodel.h"
#include "trees/treesort.h"
#include <algorithm>
#include <cassert>
#include <climits>
#include <cstring>

uint32_t **constmat, **anticonstmat;
int constnum, poscells, anticonstnum, anticells, *constree, constreenum, do_constraints;

constexpr int PERCELL = 16;
constexpr uint32_t LOWBITS = 0x55555555;
enum { OUTSIDE = 1, MEMBER = 2, FLOATS = 3 };

bool constraints_defined()  { return consttag != 0; }
bool constraints_in_force() { return consttag && do_constraints; }
void needconstraints()      { if (!consttag) errmsg("No constraints defined", nullptr); }

// --- steps --------------------------------------------------------------------------------

static uint32_t emptyfeet(uint32_t x) { return ~(x | x >> 1) & LOWBITS; }

// At a polytomy a field that its descendants do not share takes the state that fewer of them lack, both
// when as many lack each, and a step for each that lacks it.
static uint32_t joinmany(int node, const uint32_t *sets, int *steps)
{
    uint32_t all = ~0u;
    for (int d = lef[node]; d >= 0; d = sis[d]) all &= sets[d];
    for (uint32_t feet = emptyfeet(all); feet; feet &= feet - 1) {
        int bit = __builtin_ctz(feet), nolow = 0, nohigh = 0;
        for (int d = lef[node]; d >= 0; d = sis[d]) {
            nolow += !(sets[d] >> bit & OUTSIDE);
            nohigh += !(sets[d] >> bit & MEMBER);
        }
        uint32_t state = nolow < nohigh ? OUTSIDE : nohigh < nolow ? MEMBER : FLOATS;
        all |= state << bit;
        steps[bit / 2] += std::min(nolow, nohigh);
    }
    return all;
}

static uint32_t joinpair(uint32_t a, uint32_t b, int *steps)
{
    uint32_t both = a & b, feet = emptyfeet(both);
    for (uint32_t left = feet; left; left &= left - 1) ++steps[__builtin_ctz(left) / 2];
    return both | ((a | b) & feet * FLOATS);
}

// Steps of the constraints of one column on the tree whose internal nodes are listed.
static void cellsteps(const uint32_t *column, const int *list, int n, uint32_t *sets, int *steps)
{
    std::fill(steps, steps + PERCELL, 0);
    memcpy(sets, column, size_t(nt) * sizeof *sets);
    for (int i = n - 1; i >= 0; --i) {
        int node = list[i];
        sets[node] = nodfork[node] == 2 ? joinpair(sets[lef[node]], sets[rig[node]], steps) : joinmany(node, sets, steps);
    }
}

// --- trees against constraints ------------------------------------------------------------

namespace {
struct listedtree {                           // with the working arrays of the tree model
    hiscratch scratch;
    int *list = hi<int>(nodz), n;
    uint32_t *sets = hi<uint32_t>(nodz);
    explicit listedtree(const int *tree) : n(mkoptlist(list, tree)) {}
};
}

void canbenonmono(const int *tree, uint8_t *marks)
{
    constexpr int ENOUGH = 2;
    for (int k = 0; k < anticonstnum; ++k) {
        int of[4] = {};
        for (int t = 0; t < nt && (of[MEMBER] < ENOUGH || of[OUTSIDE] < ENOUGH); ++t)
            if (isinthetree(tree, t)) ++of[constfield(anticonstmat, k, t)];
        marks[k] = of[MEMBER] >= ENOUGH && of[OUTSIDE] >= ENOUGH;
    }
}

static int positiveviolations(const listedtree &l, bool first)
{
    int bad = 0, consteps[PERCELL];
    for (int c = 0; c < poscells; ++c) {
        cellsteps(constmat[c], l.list, l.n, l.sets, consteps);
        bad += int(std::count_if(consteps, consteps + PERCELL, [](int n) { return n > 1; }));
        if (first && bad) break;
    }
    return bad;
}

static int negativeviolations(const listedtree &l, const int *tree, bool first)
{
    hiscratch scratch;
    int bad = 0, anticonsteps[PERCELL];
    uint8_t *marks = hi<uint8_t>(std::max(1, anticonstnum));
    canbenonmono(tree, marks);
    for (int c = 0; c < anticells; ++c) {
        cellsteps(anticonstmat[c], l.list, l.n, l.sets, anticonsteps);
        for (int i = 0; i < PERCELL && c * PERCELL + i < anticonstnum; ++i)
            bad += anticonsteps[i] < 2 && marks[c * PERCELL + i];
        if (first && bad) break;
    }
    return bad;
}

static int referencetaxon(const int *tree)
{
    if (isinthetree(tree, outgroup)) return outgroup;
    int t = 0;
    while (!isinthetree(tree, t)) ++t;
    return t;
}

// Both trees as seen from one taxon.
struct againstconstree {
    grouptree groups;
    int *tree = hi<int>(nodz), *list = hi<int>(nodz), n;
    int *branch = hi<int>(nodz);              // of each node: the node of the given tree that had this branch above it
    explicit againstconstree(const int *given)
    {
        int *demanded = hi<int>(nodz), from = referencetaxon(given);
        std::copy(constree, constree + nodz, demanded);
        std::copy(given, given + nodz, tree);
        for (int k = 0; k < nodz; ++k) branch[k] = k == nt ? 0 : k;
        if (demanded[from] != nt) reroot(demanded, from);
        if (tree[from] != nt) reroot(tree, from, branch);
        makegrouptree(&groups, demanded, nt, nodz, hiram);
        for (int t = 0; t < nt; ++t)
            if (taxact[t] && isinthetree(tree, t)) entertaxon(&groups, t);
        n = mkoptlist(list, tree);
    }
};

static int treeviolations(const int *tree)
{
    hiscratch scratch;
    againstconstree both(tree);
    return missinggroups(&both.groups, both.tree, both.list, both.n);
}

int violations(const int *tree, bool first)
{
    needconstraints();
    int bad = 0;
    {
        listedtree l(tree);
        if (constnum) bad += positiveviolations(l, first);
        if (anticonstnum && !(first && bad)) bad += negativeviolations(l, tree, first);
    }
    if (constreenum && !(first && bad)) bad += treeviolations(tree);
    return bad;
}

bool fulfils_constraints(const int *tree) { return !violations(tree, true); }

// --- what condensing must keep ------------------------------------------------------------

// Branches that have a group of the tree constraint beyond them.
static void keeptreegroups(const int *tree, int *marks)
{
    hiscratch scratch;
    againstconstree both(tree);
    int *match = hi<int>(nodz);
    matchgroups(&both.groups, both.tree, both.list, both.n, match);
    for (int i = 1; i < both.n; ++i)
        if (match[both.list[i]] >= 0) marks[both.branch[both.list[i]]] = 0;
}

// Of the branches that can hold the constraint's step (more than one where floating taxa hang between),
// one must stand: the one nearest to the terminals, when none does.
static void keeponebranch(const int *tree, const int *list, int n, const uint32_t *column, int bit, int *marks)
{
    hiscratch scratch;
    int *in = zhi<int>(nodz), *out = zhi<int>(nodz), last = -1;
    for (int t = 0; t < nt; ++t) {
        if (!isinthetree(tree, t)) continue;
        int field = column[t] >> bit & FLOATS;
        in[t] = field == MEMBER;
        out[t] = field == OUTSIDE;
        in[tree[t]] += in[t];
        out[tree[t]] += out[t];
    }
    for (int i = n - 1; i > 0; --i) {
        in[tree[list[i]]] += in[list[i]];
        out[tree[list[i]]] += out[list[i]];
    }
    if (in[nt] < 2 || out[nt] < 2) return;                // no tree breaks it
    for (int i = 1; i < n; ++i) {
        int k = list[i];
        bool holds = (in[k] == in[nt] && !out[k]) || (out[k] == out[nt] && !in[k]);
        if (!holds) continue;
        if (!marks[k]) return;
        last = k;
    }
    if (last >= 0) marks[last] = 0;
}

void keep_demanded_nodes(const int *tree, int *marks)
{
    if (!consttag) return;
    {
        listedtree l(tree);
        for (int k = 0; k < constnum; ++k)
            keeponebranch(tree, l.list, l.n, constmat[k / PERCELL], k % PERCELL * 2, marks);
    }
    if (constreenum) keeptreegroups(tree, marks);
}

// --- definitions --------------------------------------------------------------------------

int newconstraint(constdraft *d)
{
    constexpr int FEW = 4;
    if (d->number % PERCELL == 0) {
        int cell = d->number / PERCELL;
        if (cell == d->room) {
            int more = std::max(FEW, 2 * d->room);
            uint32_t **cells = hi<uint32_t *>(size_t(more));
            std::copy(d->cells, d->cells + d->room, cells);
            d->cells = cells;
            d->room = more;
        }
        d->cells[cell] = hi<uint32_t>(size_t(nt));
        std::fill(d->cells[cell], d->cells[cell] + nt, ~0u);
    }
    return d->number++;
}

void setconstfield(constdraft *d, int constraint, int taxon, int field)
{
    int bit = constraint % PERCELL * 2;
    uint32_t &x = d->cells[constraint / PERCELL][taxon];
    x = (x & ~(uint32_t(FLOATS) << bit)) | uint32_t(field) << bit;
}

static int cellsfor(int constraints) { return (constraints + PERCELL - 1) / PERCELL; }

static void forget()
{
    constmat = anticonstmat = nullptr;
    constree = nullptr;
    constnum = poscells = anticonstnum = anticells = constreenum = 0;
}

void dropallconstraints()
{
    wipetag(&schtag);
    wipetag(&opttag);
    droplayer(&consttag);
    forget();
    do_constraints = 0;
}

static void moveconstraints(const layermove &move)
{
    move.rows(constmat, size_t(poscells));
    move.rows(anticonstmat, size_t(anticells));
    move(constree);
}

static uint32_t **laycolumns(const constdraft *d, int cells)
{
    if (!cells) return nullptr;
    uint32_t **mat = lorows<uint32_t>(size_t(cells), size_t(nt));
    for (int c = 0; c < cells; ++c) std::copy(d->cells[c], d->cells[c] + nt, mat[c]);
    return mat;
}

void layconstraints(const constdraft *pos, const constdraft *neg, const int *tree)
{
    constexpr double ROUNDING = 256;
    dropallconstraints();
    if (!pos->number && !neg->number && !tree) return;
    int pcells = cellsfor(pos->number), ncells = cellsfor(neg->number);
    double bytes = double(pcells + ncells) * (double(nt) * sizeof(uint32_t) + sizeof(void *)) + double(nodz) * sizeof(int);
    if (bytes + ROUNDING > relayroom(&consttag, 0)) loram(SIZE_MAX / 2);        // fails in the words for no memory
    keeplayer(&consttag, moveconstraints);
    relayer(&consttag, [&] {
        constmat = laycolumns(pos, pcells);
        anticonstmat = laycolumns(neg, ncells);
        constnum = pos->number;
        anticonstnum = neg->number;
        poscells = pcells;
        anticells = ncells;
        constreenum = tree ? 1 : 0;
        if (!tree) return;
        constree = lo<int>(size_t(nodz));
        std::copy(tree, tree + nodz, constree);
    });
    do_constraints = 1;
}

void keepfirst(int n)
{
    if (!consttag || n < 0 || n >= constnum) return;
    constnum = n;
    poscells = cellsfor(n);
    uint32_t unused = n % PERCELL ? ~0u << n % PERCELL * 2 : 0;
    for (int t = 0; t < nt; ++t) constmat[poscells - 1][t] |= unused;
}

void checkconstraints()
{
    if (!consttag) return;
    assert(constnum || anticonstnum || constreenum);
    assert(poscells == cellsfor(constnum) && anticells == cellsfor(anticonstnum));
    auto fieldsareset = [](uint32_t *const *mat, int number, int cells) {
        for (int c = 0; c < cells; ++c)
            for (int t = 0; t < nt; ++t) {
                assert(!emptyfeet(mat[c][t]));
                [[maybe_unused]] int used = std::min(PERCELL, number - c * PERCELL);
                assert(used == PERCELL || mat[c][t] >> used * 2 == ~0u >> used * 2);
            }
    };
    fieldsareset(constmat, constnum, poscells);
    fieldsareset(anticonstmat, anticonstnum, anticells);
    assert(!constreenum || countterminals(constree) == nt);
}

// --- seams --------------------------------------------------------------------------------

static bool treeisok(int t) { return fulfils_constraints(mem_tree[t]); }
static int violatedby(const int *tree) { return violations(tree, false); }

[[maybe_unused]] static const bool filled = (mono_isok = fulfils_constraints, meetsconstraints = treeisok,
                                             count_violations = violatedby, check_constraints = checkconstraints,
                                             mark_constnodz_to_keep = keep_demanded_nodes, true);
