#include "search/constpack.h"
#include "search/constraints.h"
#include "search/grouptree.h"
#include "search/moves.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/errors.h"
#include "trees/imagevars.h"
#include "trees/reduce.h"
#include "trees/pack.h"
#include "trees/scratch.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <bit>
#include <cassert>
#include <cstring>
#include <functional>
#include <numeric>
#include <vector>

int use_treeconstraints, numcpos, numcneg, cncpos, cncneg, negatives_bind = 1;
uint32_t *cpempos, *cpemneg, *cneginfomsk;

constexpr int PERCELL = 16;
constexpr uint32_t LOWBITS = 0x55555555;
enum { OUTSIDE = 1, MEMBER = 2, FLOATS = 3 };
enum { DOWN, BEYOND, FINAL, CONSTSETS };     // the sets of a node

static int rowsize;                          // cncpos + cncneg; the negative ones follow the positive
static uint32_t *once, *twice;               // per cell, low bits of the fields: steps of the pieces, one or more, two or more
static int *nodelist;                        // scratch: the nodes of a piece
static int clip = -1;                        // entered last; -1 none
static bool entered;                         // the sets are those of its pieces
static bool regionsknown;                    // region is that of the tree being swapped

static int *posgroup;                        // per positive field, the user's number of the constraint
static grouptree userconst, perthardconst;   // of the tree constraint: the user's, and one for a part of a search
grouptree *hardconst = &userconst;           // the one in force
static int *matched;                         // per node: the group of hardconst that it has, or -1
static uint8_t *isfix;                       // the same as a byte
static int *region;                          // per node: the nearest ancestor that has one, or the root
static struct { int *matched; uint8_t *isfix; int *region, *nodelist; int use_treeconstraints; } ofuser;   // while another is in force

// Of a sector that is about to open.
static uint32_t *gathered;                   // sets of its terminals, those of constraints that bind in it first
static int gatheredpos, gatheredneg;         // of each kind
static int *gatheredtree;                    // groups of the tree constraint in it; null: none

[[maybe_unused]] static const keptwithimage ofimage(use_treeconstraints, numcpos, numcneg, cncpos, cncneg, cpempos, cpemneg, cneginfomsk, rowsize,
    once, twice, nodelist, clip, entered, regionsknown, posgroup, userconst, perthardconst, hardconst, ofuser, matched, isfix, region);

static uint32_t *set(int node, int which) { return cpempos + (size_t(node) * CONSTSETS + which) * rowsize; }

// --- packing ------------------------------------------------------------------------------

// Which side each taxon is on, a bit a taxon.
struct sides { uint64_t *in, *out; };
static int words() { return (ntax + 63) / 64; }

static const char *incoherence;              // what chk_constraint_coherence has to say; null: nothing
static int culprit1, culprit2;

static int count(const uint64_t *x) { return std::transform_reduce(x, x + words(), 0, std::plus<>(), [](uint64_t w) { return std::popcount(w); }); }

static bool meet(const uint64_t *a, const uint64_t *b)
{
    uint64_t any = 0;
    for (int i = 0; i < words(); ++i) any |= a[i] & b[i];
    return any;
}

static bool within(const uint64_t *a, const uint64_t *b)       // a is a subset of b
{
    uint64_t left = 0;
    for (int i = 0; i < words(); ++i) left |= a[i] & ~b[i];
    return !left;
}

// The constraints that bind the active taxa: two members, two taxa outside.
static int readsides(uint32_t *const *mat, int number, sides *all, int *groups)
{
    int n = 0;
    for (int k = 0; k < number; ++k) {
        sides s{ zhi<uint64_t>(words()), zhi<uint64_t>(words()) };
        for (int t = 0; t < ntax; ++t) {
            int field = constfield(mat, k, backfrompack[t]);
            if (field == MEMBER) s.in[t / 64] |= uint64_t(1) << t % 64;
            if (field == OUTSIDE) s.out[t / 64] |= uint64_t(1) << t % 64;
        }
        if (count(s.in) < 2 || count(s.out) < 2) continue;
        if (groups) groups[n] = k;
        all[n++] = s;
    }
    return n;
}

// Two groups are compatible when one of the four ways of being in or out of them is empty.  When three
// are not, a taxon that floats in one of the groups and would fill the fourth is on the other side.
static bool addfloaters(uint64_t *to, uint64_t *other, const uint64_t *from)
{
    bool any = false;
    for (int i = 0; i < words(); ++i) {
        uint64_t nu = from[i] & ~(to[i] | other[i]);
        to[i] |= nu;
        any |= nu != 0;
    }
    return any;
}

enum pairing { NO_CHANGE, FIXED_FLOATERS, CONTRADICTION };

static pairing comparepair(sides a, sides b)
{
    uint64_t *const as[2] = { a.in, a.out }, *const bs[2] = { b.in, b.out };
    int full = 0, ei = 0, ej = 0;
    for (int i = 0; i < 2; ++i)
        for (int j = 0; j < 2; ++j) {
            if (meet(as[i], bs[j])) ++full;
            else ei = i, ej = j;
        }
    if (full == 4) return CONTRADICTION;
    if (full < 3) return NO_CHANGE;
    bool changed = addfloaters(as[1 - ei], as[ei], bs[ej]);
    changed |= addfloaters(bs[1 - ej], bs[ej], as[ei]);
    return changed ? FIXED_FLOATERS : NO_CHANGE;
}

static void fix_pos_floaters(sides *pos)
{
    hiscratch scratch;
    uint8_t *changed = hi<uint8_t>(numcpos), *now = hi<uint8_t>(numcpos);
    std::fill(changed, changed + numcpos, 1);
    for (bool again = true; again;) {
        again = false;
        std::fill(now, now + numcpos, 0);
        for (int i = 1; i < numcpos; ++i)
            for (int j = 0; j < i; ++j) {
                if (!changed[i] && !changed[j]) continue;
                pairing p = comparepair(pos[i], pos[j]);
                if (p == CONTRADICTION) {
                    incoherence = "Some positive constraints force incompatible groups (e.g. groups %i and %i)";
                    culprit1 = posgroup[j];
                    culprit2 = posgroup[i];
                    return;
                }
                if (p == FIXED_FLOATERS) now[i] = now[j] = again = true;
            }
        std::swap(changed, now);
    }
}

// What forbids a group that a positive constraint makes: its sides lie within those of the other.
static bool forbidden(sides neg, sides pos)
{
    return (within(neg.in, pos.in) && within(neg.out, pos.out)) || (within(neg.in, pos.out) && within(neg.out, pos.in));
}

// What each group of the tree constraint says of a constraint.
template<class F> static bool anygroup(sides s, F f)
{
    hiscratch scratch;
    int *in = zhi<int>(hardconst->slots), *out = zhi<int>(hardconst->slots);
    for (int t = 0; t < ntax; ++t) {
        int a = s.in[t / 64] >> t % 64 & 1, b = s.out[t / 64] >> t % 64 & 1;
        for (int n = hardconst->anc[t]; a | b; n = hardconst->anc[n]) {
            in[n] += a;
            out[n] += b;
            if (n == ntax) break;
        }
    }
    for (int n = ntax + 1; n < hardconst->slots; ++n)
        if (f(in[n], out[n], in[ntax] - in[n], out[ntax] - out[n])) return true;
    return false;
}

static void comparewithtree(const sides *pos, const sides *neg)
{
    for (int k = 0; k < numcneg && !incoherence; ++k)
        if (anygroup(neg[k], [](int in, int out, int in2, int out2) { return (!in && !out2) || (!out && !in2); }))
            incoherence = "Tree constraint and negative constraints contain some identical groups";
    for (int k = 0; k < numcpos && !incoherence; ++k)
        if (anygroup(pos[k], [](int in, int out, int in2, int out2) { return in && out && in2 && out2; }))
            incoherence = "Tree constraint and positive constraints contain contradictory groups";
}

static void comparesides(sides *pos, const sides *neg)
{
    incoherence = nullptr;
    fix_pos_floaters(pos);
    for (int i = 0; i < numcneg && !incoherence; ++i)
        for (int j = 0; j < numcpos && !incoherence; ++j)
            if (forbidden(neg[i], pos[j])) incoherence = "Positive and negative constraints contain some identical groups";
    if (use_treeconstraints) comparewithtree(pos, neg);
}

void chk_constraint_coherence()
{
    if (!incoherence) return;
    if (strchr(incoherence, '%')) myerr("Some positive constraints force incompatible groups (e.g. groups %i and %i)", culprit1, culprit2);
    errmsg(incoherence, nullptr);
}

static void laygroups(const int *tree)
{
    makegrouptree(hardconst, tree, ntax, hinod, loram);
    enteralltaxa(hardconst);
    for (int n = ntax + 1; n < hardconst->slots; ++n) use_treeconstraints |= hardconst->count[n] <= ntax - 2;
    if (!use_treeconstraints) return;
    matched = lo<int>(hinod);
    region = lo<int>(hinod);
    isfix = zlo<uint8_t>(hinod);
}

static void packhardconst()
{
    use_treeconstraints = 0;
    if (!constreenum) return;
    char *mark = himark();
    int *tree = hi<int>(nodz);
    std::copy(constree, constree + nodz, tree);
    prunetaxa(tree, taxact);
    if (tree[outgroup] != nt) reroot(tree, outgroup);
    pack_one_tree(tree);
    laygroups(tree);
    hiset(mark);
}

static void writerows(const sides *s, int number, int firstcell, int cells)
{
    for (int t = 0; t < ntax; ++t) {
        uint32_t *row = set(t, DOWN) + firstcell;
        std::fill(row, row + cells, ~0u);
        for (int k = 0; k < number; ++k) {
            uint32_t field = s[k].in[t / 64] >> t % 64 & 1 ? MEMBER : s[k].out[t / 64] >> t % 64 & 1 ? OUTSIDE : FLOATS;
            int bit = k % PERCELL * 2;
            row[k / PERCELL] &= ~((FLOATS & ~field) << bit);
        }
    }
}

static void negativesbind(int number)            // all of them, as in a complete tree
{
    for (int c = 0; c < cncneg; ++c) {
        int used = std::min(PERCELL, number - c * PERCELL);
        cneginfomsk[c] = used == PERCELL ? LOWBITS : LOWBITS & ((1u << 2 * used) - 1);
    }
}

static void noconsts()
{
    numcpos = numcneg = cncpos = cncneg = use_treeconstraints = 0;
    cpempos = cpemneg = cneginfomsk = nullptr;
    clip = -1;
    negatives_bind = 1;
}

// Rows for so many constraints of each kind.
static void layrows(int pos, int neg)
{
    numcpos = pos;
    numcneg = neg;
    cncpos = (numcpos + PERCELL - 1) / PERCELL;
    cncneg = (numcneg + PERCELL - 1) / PERCELL;
    rowsize = cncpos + cncneg;
    nodelist = lo<int>(hinod + 1);
    if (!rowsize) return;
    cpempos = lo<uint32_t>(size_t(hinod) * CONSTSETS * rowsize);
    once = lo<uint32_t>(rowsize);
    twice = lo<uint32_t>(rowsize);
    cneginfomsk = lo<uint32_t>(std::max(1, cncneg));
    cpemneg = numcneg ? cpempos : nullptr;
    negativesbind(numcneg);
}

void repack_consts()
{
    noconsts();
    incoherence = nullptr;
    if (!constraints_in_force()) return;
    posgroup = lo<int>(constnum + 1);
    packhardconst();
    hiscratch scratch;
    sides *pos = hi<sides>(constnum + 1), *neg = hi<sides>(anticonstnum + 1);
    numcpos = readsides(constmat, constnum, pos, posgroup);
    numcneg = readsides(anticonstmat, anticonstnum, neg, nullptr);
    comparesides(pos, neg);
    layrows(numcpos, numcneg);
    writerows(pos, numcpos, 0, cncpos);
    writerows(neg, numcneg, cncpos, cncneg);
}

// --- sets ---------------------------------------------------------------------------------

static uint32_t emptyfeet(uint32_t x) { return ~(x | x >> 1) & LOWBITS; }

static uint32_t join(uint32_t a, uint32_t b, uint32_t *feet)
{
    uint32_t both = a & b;
    *feet = emptyfeet(both);
    return both | ((a | b) & *feet * FLOATS);
}

static void joinrows(const uint32_t *a, const uint32_t *b, uint32_t *to)
{
    uint32_t feet;
    for (int i = 0; i < rowsize; ++i) to[i] = join(a[i], b[i], &feet);
}

// The same where something may have changed: whether it did.
static bool rejoinrows(const uint32_t *a, const uint32_t *b, uint32_t *to)
{
    uint32_t feet, changed = 0;
    for (int i = 0; i < rowsize; ++i) {
        uint32_t now = join(a[i], b[i], &feet);
        changed |= now ^ to[i];
        to[i] = now;
    }
    return changed;
}

static void countjoin(const uint32_t *a, const uint32_t *b)
{
    for (int i = 0; i < rowsize; ++i) {
        uint32_t feet = emptyfeet(a[i] & b[i]);
        twice[i] |= once[i] & feet;
        once[i] |= feet;
    }
}

static int listpiece(int top)
{
    int n = 0;
    if (top >= ntax) nodelist[n++] = top;
    for (int i = 0; i < n; ++i)
        for (int d : { lef[nodelist[i]], rig[nodelist[i]] })
            if (d >= ntax) nodelist[n++] = d;
    return n;
}

// All sets of a piece of the tree; its steps are counted.
static void makesets(int top)
{
    int n = listpiece(top);
    for (int i = n - 1; i >= 0; --i) {
        const uint32_t *a = set(lef[nodelist[i]], DOWN), *b = set(rig[nodelist[i]], DOWN);
        uint32_t *to = set(nodelist[i], DOWN), feet;
        for (int c = 0; c < rowsize; ++c) {
            to[c] = join(a[c], b[c], &feet);
            twice[c] |= once[c] & feet;
            once[c] |= feet;
        }
    }
    for (int i = 0; i < n; ++i) {
        int k = nodelist[i], kids[2] = { lef[k], rig[k] };
        for (int j = 0; j < 2; ++j) {
            const uint32_t *sister = set(kids[1 - j], DOWN);
            uint32_t *beyond = set(kids[j], BEYOND);
            if (k == top) memcpy(beyond, sister, size_t(rowsize) * sizeof *beyond);
            else joinrows(sister, set(k, BEYOND), beyond);
            joinrows(set(kids[j], DOWN), beyond, set(kids[j], FINAL));
        }
    }
}

static void makeallsets()
{
    entered = true;
    std::fill(once, once + rowsize, 0);
    std::fill(twice, twice + rowsize, 0);
    if (lef[ntax] == rig[ntax]) memcpy(set(0, FINAL), set(0, DOWN), size_t(rowsize) * sizeof(uint32_t));   // terminal 0 alone
    else makesets(ntax);
    if (clip >= 0) makesets(clip);
}

static void copyrow(uint32_t *to, const uint32_t *from) { memcpy(to, from, size_t(rowsize) * sizeof *to); }

// What lies beyond a node, and so its branch set and those of all below it, as far as something changes.
static void renewbeyond(int top)
{
    int n = 0;
    nodelist[n++] = top;
    while (n) {
        int k = nodelist[--n], a = swaptree[k];
        const uint32_t *sister = set(sis[k], DOWN);
        uint32_t *beyond = set(k, BEYOND);
        bool changed = a == ntax ? memcmp(beyond, sister, size_t(rowsize) * sizeof *beyond) != 0 : rejoinrows(sister, set(a, BEYOND), beyond);
        if (a == ntax) copyrow(beyond, sister);
        joinrows(set(k, DOWN), beyond, set(k, FINAL));
        if (!changed || k < ntax) continue;
        nodelist[n++] = lef[k];
        nodelist[n++] = rig[k];
    }
}

// Terminal t was put on the branch of its sister, when all sets were those of the tree without it.  Groups change in
// few places, so that this is much less than making them all.
static void extendsets(int t)
{
    int d = sis[t], a = swaptree[t];
    countjoin(set(t, DOWN), set(d, FINAL));
    copyrow(set(a, BEYOND), set(d, BEYOND));
    joinrows(set(d, DOWN), set(t, DOWN), set(a, DOWN));
    joinrows(set(a, DOWN), set(a, BEYOND), set(a, FINAL));
    joinrows(set(d, DOWN), set(a, BEYOND), set(t, BEYOND));
    joinrows(set(t, DOWN), set(t, BEYOND), set(t, FINAL));
    renewbeyond(d);
    for (int k = a; k != ntax; k = swaptree[k]) {
        renewbeyond(sis[k]);
        int above = swaptree[k];
        if (above == ntax || !rejoinrows(set(lef[above], DOWN), set(rig[above], DOWN), set(above, DOWN))) break;
        joinrows(set(above, DOWN), set(above, BEYOND), set(above, FINAL));
    }
}

void checkconstsets()
{
    assert(entered && clip < 0);
    const size_t size = size_t(hinod) * CONSTSETS * rowsize;
    const std::vector<uint32_t> sets(cpempos, cpempos + size), one(once, once + rowsize), two(twice, twice + rowsize);
    makeallsets();
    assert(std::equal(one.begin(), one.end(), once) && std::equal(two.begin(), two.end(), twice));
    for (int i = 0, n = listpiece(ntax); i < n; ++i)
        for (int k : { lef[nodelist[i]], rig[nodelist[i]] }) {
            size_t row = size_t(k) * CONSTSETS * rowsize;
            assert(std::equal(cpempos + row, cpempos + row + CONSTSETS * rowsize, sets.begin() + long(row)));
            (void)row;
        }
}

// --- regions of the tree constraint -------------------------------------------------------

void update_treeconstraints(const int *tree, const int *list, int n)
{
    matchgroups(hardconst, tree, list, n, matched);
    for (int i = 0; i < n; ++i) isfix[list[i]] = matched[list[i]] >= 0;
    region[ntax] = ntax;
    for (int i = 0; i < n; ++i) {
        int k = list[i], inside = isfix[k] ? k : region[k];
        region[lef[k]] = region[rig[k]] = inside;
    }
}

static bool closed(int n) { return n < ntax || isfix[n]; }      // nothing within it can move

bool clip_is_fixed(int x)
{
    int a = swaptree[x];
    bool still = (a == ntax || isfix[a]) && closed(sis[x]);
    return still && (x < ntax || (closed(lef[x]) && closed(rig[x])));
}

void prepare_constraints(const int *tree)
{
    negativesbind(numcneg);
    clip = -1;
    entered = false;
    nodeisfix = use_treeconstraints ? isfix : nullptr;
    tree_start = -1;
    regionsknown = use_treeconstraints;
    if (!use_treeconstraints) return;
    enteralltaxa(hardconst);             // a search that adds taxa one by one may have ended before the last
    update_treeconstraints(tree, optlist, noptlist);
}

// The places of a clip are those of its region: what hangs from the same fixed node.  When it hangs from
// that node itself, its sister becomes the top of what is left of the group.
void enter_clip(int x, int s)
{
    clip = x;
    entered = false;
    if (!use_treeconstraints) return;
    int a = swaptree[x];
    tree_start = a == ntax || a == x || region[x] == ntax ? -1 : a == region[x] ? s : region[x];
}

static bool inregion(int root, int dest)
{
    if (dest && region[dest] != region[clip] && swaptree[clip] != clip) return false;
    return root < 0 || region[root] == (isfix[clip] ? clip : region[clip]);
}

// --- legality -----------------------------------------------------------------------------

bool isavalidpos(int root, int dest)
{
    if (regionsknown && !inregion(root, dest)) return false;
    if (!cpempos) return true;
    if (!entered) makeallsets();
    const uint32_t *c = root < 0 ? set(clip, DOWN) : set(root, FINAL), *d = set(dest, FINAL);
    for (int i = 0; i < cncpos; ++i)
        if (twice[i] | (once[i] & emptyfeet(c[i] & d[i]))) return false;
    if (!cpemneg || !negatives_bind) return true;
    for (int i = 0, k = cncpos; i < cncneg; ++i, ++k)
        if (cneginfomsk[i] & ~(twice[k] | (once[k] & emptyfeet(c[k] & d[k])))) return false;
    return true;
}

// --- a tree constraint for a part of a search ---------------------------------------------

// What is common to two trees is what the second one grew from the first: each group of the one is looked for
// in the other, so no table of groups is needed.
void a_tight_strict(const int *const pair[2], int *result)
{
    hiscratch scratch;
    grouptree g;
    int *list = hi<int>(hinod), *match = hi<int>(hinod), *number = hi<int>(hinod), *lower = hi<int>(hinod);
    uint8_t *common = zhi<uint8_t>(hinod);
    makegrouptree(&g, pair[0], ntax, hinod, hiram);
    enteralltaxa(&g);
    binmksis(pair[1]);
    int n = binoptlist(list);
    matchgroups(&g, pair[1], list, n, match);
    for (int i = 0; i < n; ++i)
        if (match[list[i]] >= 0) common[match[list[i]]] = 1;
    binmksis(pair[0]);
    n = binoptlist(list);
    std::fill(result, result + hinod, 0);
    int next = ntax + 1;
    for (int i = 0; i < n; ++i) {
        int k = list[i], up = k == ntax ? ntax : lower[pair[0][k]];
        lower[k] = up;
        if (k == ntax || !common[k]) continue;
        number[k] = next++;
        result[number[k]] = up;
        lower[k] = number[k];
    }
    for (int t = 0; t < ntax; ++t) result[t] = lower[pair[0][t]];
    result[ntax] = next;
}

static void keepgroups(const int *tree)
{
    assert(hardconst == &userconst);
    makegrouptree(&perthardconst, tree, ntax, hinod, hiram);
    enteralltaxa(&perthardconst);
    ofuser = { matched, isfix, region, nodelist, use_treeconstraints };
    nodelist = hi<int>(hinod + 1);
    matched = hi<int>(hinod);
    region = hi<int>(hinod);
    isfix = zhi<uint8_t>(hinod);
    hardconst = &perthardconst;
    use_treeconstraints = perthardconst.slots > ntax + 1;
}

temporary_constraint::temporary_constraint(const int *groups) { keepgroups(groups); }

temporary_constraint::temporary_constraint(const int *before, const int *after)
{
    const int *const pair[] = { before, after };
    int *consensus = hi<int>(hinod);
    a_tight_strict(pair, consensus);
    keepgroups(consensus);
}

temporary_constraint::~temporary_constraint()
{
    hardconst = &userconst;
    matched = ofuser.matched;
    isfix = ofuser.isfix;
    region = ofuser.region;
    nodelist = ofuser.nodelist;
    use_treeconstraints = ofuser.use_treeconstraints;
    nodeisfix = nullptr;
    tree_start = -1;
    regionsknown = false;
}

// --- collapsing ---------------------------------------------------------------------------

// A whole tree may be kept while a partial one is growing: all taxa count for the while of that.
namespace {
struct wholetree {
    uint8_t *counted = hi<uint8_t>(size_t(ntax));
    wholetree()
    {
        memcpy(counted, hardconst->entered, size_t(ntax));
        enteralltaxa(hardconst);
    }
    ~wholetree()
    {
        for (int t = 0; t < ntax; ++t)
            if (!counted[t]) leavetaxon(hardconst, t);
    }
};
}

// Of the branches that can hold the step of a constraint, one must stand: the one nearest to the
// terminals when the rule left none.
void constcollapser(const int *tree, int *support)
{
    if (!constrained()) return;
    hiscratch scratch;
    if (use_treeconstraints) {
        int *match = hi<int>(hinod);
        wholetree all;
        matchgroups(hardconst, tree, optlist, noptlist, match);
        for (int i = 0; i < noptlist; ++i)
            if (match[optlist[i]] >= 0) support[optlist[i]] = 1;
    }
    if (!numcpos) return;
    int was = clip;
    clip = -1;
    makeallsets();
    clip = was;
    entered = false;
    int *last = hi<int>(numcpos);
    std::fill(last, last + numcpos, -1);
    uint32_t *stands = zhi<uint32_t>(cncpos);
    for (int i = 1; i < noptlist; ++i) {
        int k = optlist[i];
        const uint32_t *below = set(k, DOWN), *beyond = set(k, BEYOND);
        for (int c = 0; c < cncpos; ++c)
            for (uint32_t feet = emptyfeet(below[c] & beyond[c]); feet; feet &= feet - 1) {
                last[c * PERCELL + std::countr_zero(feet) / 2] = k;
                if (support[k]) stands[c] |= feet & -feet;
            }
    }
    for (int f = 0; f < numcpos; ++f)
        if (!(stands[f / PERCELL] >> f % PERCELL * 2 & 1) && last[f] >= 0) support[last[f]] = 1;
}

// --- Wagner trees -------------------------------------------------------------------------

static uint32_t *cnegsets, *cnegsinglesets;      // states that two taxa have, or one, of those placed so far

static int floating(int t)
{
    int n = 0;
    for (int i = 0; i < rowsize; ++i) n += std::popcount(set(t, DOWN)[i] & set(t, DOWN)[i] >> 1 & LOWBITS);
    return n;
}

// A taxon that floats takes a side wherever it is put, and others must keep to it: the fewer of its
// constraints float, the sooner it comes.  Without floating taxa there is always a place for the next.
void check_addition_sequence(int *sequence, int n)
{
    if (!rowsize || !cpempos) return;
    hiscratch scratch;
    int *floats = hi<int>(ntax);
    for (int t = 0; t < ntax; ++t) floats[t] = floating(t);
    if (std::all_of(floats, floats + ntax, [&](int f) { return f == floats[0]; })) return;
    std::stable_sort(sequence + 1, sequence + n, [&](int a, int b) { return floats[a] < floats[b]; });
}

// A negative constraint binds from when two members and two taxa outside are in, t among them.
static void countstates(int t, bool placed)
{
    for (int i = 0; i < cncneg; ++i) {
        uint32_t x = set(t, DOWN)[cncpos + i], a = (x * 2 ^ x) & ~LOWBITS, m = a >> 1 | a;
        uint32_t sets = cnegsets[i] | (cnegsinglesets[i] & x & m);
        cneginfomsk[i] = sets & LOWBITS & sets >> 1;
        if (!placed) continue;
        cnegsets[i] = sets;
        cnegsinglesets[i] |= m & x;
    }
}

void start_constrained_wagner(const int *taxa, int n)
{
    if (!constrained()) return;
    negatives_bind = 1;
    regionsknown = entered = false;
    if (cpempos) {
        cnegsets = zhi<uint32_t>(cncneg + 1);
        cnegsinglesets = zhi<uint32_t>(cncneg + 1);
        for (int i = 0; i < n; ++i) countstates(taxa[i], true);
    }
    if (!use_treeconstraints) return;
    leavealltaxa(hardconst);
    for (int i = 0; i < n; ++i) entertaxon(hardconst, taxa[i]);
}

void enter_taxon(int t)               // the sets of the tree so far serve for all taxa
{
    clip = t;
    if (cpemneg) countstates(t, false);
}

int legal_nodes(int t, int *list, int *top)
{
    int n = 0;
    noptlist = binoptlist(optlist);
    matchgroups(hardconst, swaptree, optlist, noptlist, matched, 1);     // with t one more is left out
    int home = hardconst->anc[t];
    while (!hardconst->count[home]) home = hardconst->anc[home];
    // the top of the part of the tree that has the taxa of that group placed so far
    int u = 0;
    while (!hardconst->entered[hardconst->terminal[u]] || smallestgroup(hardconst, std::min(u, hardconst->rank[t]), std::max(u, hardconst->rank[t])) != home) ++u;
    int at = hardconst->terminal[u];
    while (at != ntax && (at < ntax ? 1 : hardconst->held[at]) < hardconst->count[home]) at = swaptree[at];
    *top = at == ntax ? sis[0] : at;
    // what has a group to which t does not belong is entered no further
    auto closed = [&](int k) {
        if (k < ntax) return true;
        return matched[k] >= 0 && smallestgroup(hardconst, std::min(hardconst->rank[t], hardconst->first[k]), std::max(hardconst->rank[t], hardconst->last[k])) != matched[k];
    };
    if (!closed(*top)) list[n++] = *top;
    for (int i = 0; i < n; ++i)
        for (int d : { lef[list[i]], rig[list[i]] })
            if (!closed(d)) list[n++] = d;
    return n;
}

void settle_taxon(int t)
{
    clip = -1;
    if (entered) {
        extendsets(t);
#ifdef ZEL_TINY
        checkconstsets();
#endif
    }
    if (cpemneg) countstates(t, true);
    if (use_treeconstraints) entertaxon(hardconst, t);
}

bool whole_tree_ok()
{
    if (!cpempos) return true;
    negatives_bind = 1;
    negativesbind(numcneg);
    clip = -1;
    makeallsets();
    for (int i = 0; i < cncpos; ++i)
        if (twice[i]) return false;
    for (int i = 0; i < cncneg; ++i)
        if (cneginfomsk[i] & ~twice[cncpos + i]) return false;
    return true;
}

// --- sectors --------------------------------------------------------------------------------

// First-pass sets of the whole tree, and per cell the fields that have a step outside the sector.
static void setsofwhole(const constsector &s, uint32_t *beyond, uint32_t *stepsoutside)
{
    int n = listpiece(ntax);
    uint8_t *counted = zhi<uint8_t>(hinod);          // in the sector, or on the path to it
    for (int i = 0; i < s.ninner; ++i) counted[s.inner[i]] = 1;
    for (int i = 0; i < s.npath; ++i) counted[s.path[i]] = 1;
    for (int i = n - 1; i >= 0; --i) {
        int k = nodelist[i];
        const uint32_t *a = set(lef[k], DOWN), *b = set(rig[k], DOWN);
        for (int c = 0; c < rowsize; ++c) {
            uint32_t feet;
            set(k, DOWN)[c] = join(a[c], b[c], &feet);
            if (!counted[k]) stepsoutside[c] |= feet;
        }
    }
    std::copy_n(set(0, DOWN), rowsize, beyond);
    for (int i = s.npath - 2; i >= 0; --i) {
        const uint32_t *sister = set(sis[i ? s.path[i - 1] : s.base], DOWN);
        for (int c = 0; c < rowsize; ++c) {
            uint32_t feet;
            beyond[c] = join(beyond[c], sister[c], &feet);
            stepsoutside[c] |= feet;
        }
    }
}

// Copies the fields for which two terminals lack each state (any tree does as well for the others).  A negative
// constraint with a step outside has another one in the sector, or it would be violated.
static int takefields(const uint32_t *rows, const uint32_t *without, int nterminals, int first, int fields,
                      uint32_t *to, int from)
{
    int kept = 0;
    for (int k = 0; k < fields; ++k) {
        int c = first + k / PERCELL, bit = k % PERCELL * 2;
        if (without && without[c] >> bit & 1) continue;
        uint32_t lackonce = 0, lacktwice = 0;
        for (int t = 0; t < nterminals; ++t) {
            uint32_t lacks = ~(rows[size_t(t) * rowsize + c] >> bit) & FLOATS;
            lacktwice |= lackonce & lacks;
            lackonce |= lacks;
        }
        if (lacktwice != FLOATS) continue;
        int toc = from + kept / PERCELL, tobit = kept % PERCELL * 2;
        for (int t = 0; t < nterminals; ++t) {
            uint32_t field = rows[size_t(t) * rowsize + c] >> bit & FLOATS;
            to[size_t(t) * rowsize + toc] &= ~((FLOATS & ~field) << tobit);
        }
        ++kept;
    }
    return kept;
}

// The reduced tree, with those nodes only that have a group.
static int *groupsof(const constsector &s)
{
    int n = listpiece(ntax), *tree = hi<int>(2 * s.nterminals), *number = hi<int>(2 * s.nterminals), any = 0;
    matchgroups(hardconst, s.whole, nodelist, n, matched);
    int next = s.nterminals;
    for (int i = 0; i <= s.ninner; ++i) {            // the root, the base, others breadth first
        int k = s.nterminals + i, node = i ? s.inner[i - 1] : -1;
        bool stands = i < 1 || matched[node] >= 0;
        any += i > 1 && stands;
        number[k] = stands ? next++ : number[s.reduced[k]];
        if (stands) tree[number[k]] = i ? number[s.reduced[k]] : 0;
    }
    for (int t = 0; t < s.nterminals; ++t) tree[t] = number[s.reduced[t]];
    tree[s.nterminals] = next;
    return any ? tree : nullptr;
}

void gather_consts(const constsector &s)
{
    gatheredpos = gatheredneg = 0;
    gatheredtree = nullptr;
    if (!constrained()) return;
    if (use_treeconstraints) gatheredtree = groupsof(s);
    if (!cpempos) return;
    uint32_t *beyond = hi<uint32_t>(rowsize), *stepsoutside = zhi<uint32_t>(rowsize);
    uint32_t *rows = hi<uint32_t>(size_t(s.nterminals) * rowsize);
    setsofwhole(s, beyond, stepsoutside);
    std::copy_n(beyond, rowsize, rows);
    for (int t = 1; t < s.nterminals; ++t) std::copy_n(set(s.terminals[t], DOWN), rowsize, rows + size_t(t) * rowsize);
    gathered = hi<uint32_t>(size_t(s.nterminals) * rowsize);
    std::fill(gathered, gathered + size_t(s.nterminals) * rowsize, ~0u);
    gatheredpos = takefields(rows, nullptr, s.nterminals, 0, numcpos, gathered, 0);
    gatheredneg = takefields(rows, stepsoutside, s.nterminals, cncpos, numcneg, gathered, cncpos);
}

size_t const_bytes(int terminals)
{
    if (!constrained()) return 0;
    size_t nodes = 2 * size_t(terminals), levels = size_t(std::bit_width(unsigned(terminals)));
    return nodes * (size_t(CONSTSETS) * (cpempos ? rowsize : 0) + 16 + levels) * sizeof(int) + 1024;
}

void reduce_consts()
{
    const int wasrow = rowsize, negfrom = cncpos;
    noconsts();
    hardconst = &userconst;
    if (gatheredtree) laygroups(gatheredtree);
    if (!gatheredpos && !gatheredneg) {
        rowsize = 0;
        nodelist = lo<int>(hinod + 1);
        return;
    }
    layrows(gatheredpos, gatheredneg);
    for (int t = 0; t < ntax; ++t) {
        const uint32_t *from = gathered + size_t(t) * wasrow;
        std::copy_n(from, cncpos, set(t, DOWN));
        std::copy_n(from + negfrom, cncneg, set(t, DOWN) + cncpos);
    }
}

// --- exact searches -----------------------------------------------------------------------

static const int *entryorder;
static uint32_t *settled;                // per place of the order, cncneg cells: constraints for which no later taxon matters

void start_constrained_order(const int *taxa)
{
    constexpr int FIRST = 3;
    entryorder = taxa;
    start_constrained_wagner(taxa, FIRST);
    if (!cpemneg) return;
    settled = hi<uint32_t>(size_t(ntax) * cncneg);
    negativesbind(numcneg);
    std::copy(cneginfomsk, cneginfomsk + cncneg, settled + size_t(ntax - 1) * cncneg);
    for (int k = ntax - 1; k > 0; --k) {
        uint32_t *after = settled + size_t(k) * cncneg, *before = after - cncneg;
        const uint32_t *x = set(taxa[k], DOWN) + cncpos;
        for (int i = 0; i < cncneg; ++i) before[i] = after[i] & x[i] & x[i] >> 1;
    }
}

// The places that the tree constraint leaves to the taxon become a region, which is its own.
void enter_in_order(int k)
{
    int t = entryorder[k], top;
    clip = t;
    entered = false;
    if (cpemneg) std::copy(settled + size_t(k) * cncneg, settled + size_t(k + 1) * cncneg, cneginfomsk);
    if (!use_treeconstraints) return;
    int n = legal_nodes(t, nodelist, &top);
    std::fill(region, region + hinod, 0);
    region[t] = region[top] = 1;
    for (int i = 0; i < n; ++i) region[lef[nodelist[i]]] = region[rig[nodelist[i]]] = 1;
    regionsknown = true;
}

void settle_in_order(int k)
{
    if (use_treeconstraints) entertaxon(hardconst, entryorder[k]);
}

void leave_in_order(int k)
{
    if (use_treeconstraints) leavetaxon(hardconst, entryorder[k]);
}
