// The packed image as a whole: when it is built, the numbering of its taxa, and trees going over to
// that numbering and back.
#include "trees/pack.h"
#include "trees/imagevars.h"
#include "trees/implied.h"
#include "trees/packlist.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/errors.h"
#include "kernel/output.h"
#include <algorithm>
#include <cassert>
#include <cstring>

constexpr fieldclass classof(int bits)
{
    uint32_t all = ~0u >> (32 - bits), tops = ~0u / all << (bits - 1);
    return { bits, 32 / bits, all, ~tops, bits - 1 };
}
const fieldclass fieldclasses[FIELDCLASSES] = {
    classof(2), classof(4), classof(8), classof(16), classof(32), classof(16), classof(32),
};

int nc2, nc4, nc8, nc2cells, nc4cells, nc8cells, nc16, nc32, ncsan16, ncsan32;
int type32shift, san16shift, san32shift, char_cells, foldcells, rowcells;
int num_packed_chars, non_sankoff_chars, totnc, have_unpacked, hinod;
int uniform_weights, store_individual_weights, use_alt_bit_searches, user_wants_ands, num_cont, true_num_cont;
double step_lag, continuous_step_lag;
int *gotopack, *backfrompack, trees_are_packed, mem_slack_for_sectors;
void (*after_pack)();

[[maybe_unused]] static const keptwithimage ofimage(nc2, nc4, nc8, nc2cells, nc4cells, nc8cells, nc16, nc32, ncsan16, ncsan32,
    type32shift, san16shift, san32shift, char_cells, foldcells, rowcells, num_packed_chars, non_sankoff_chars, totnc, have_unpacked,
    hinod, uniform_weights, store_individual_weights, num_cont, step_lag, continuous_step_lag);

weightkind packweightkind()
{
    return dopiwe ? WT_FIT : uniform_weights ? WT_UNIT : store_individual_weights ? WT_FIELD : WT_CELL;
}

void exchange_terminals(int t, int u)
{
    std::swap_ranges(dnset(t), dnset(t) + rowcells, dnset(u));
    std::swap_ranges(branchset(t), branchset(t) + rowcells, branchset(u));
    std::swap_ranges(slowcosts(t), slowcosts(t) + slowrow, slowcosts(u));
}

// Room for renumbering a tree, nodz entries each.  It is there while the image is, since trees must come back to user
// numbers when memory has run out.
static int *renumbered, *realnumber;

// Reduced data leave these alone; other data, while the image waits, do not.
[[maybe_unused]] static const keptwithimage ofnumbers(renumbered, realnumber, gotopack, backfrompack, true_num_cont);

// Terminal 0 is the outgroup, the other active taxa follow in ascending order; what is not in the
// image maps to the numbers that it does not use.
static void numbertaxa()
{
    int *to = lo<int>(nodz), *back = lo<int>(nodz), *room = lo<int>(nodz), *more = lo<int>(nodz);
    gotopack = to;                  // not before there is memory for all: the image before may still be needed
    backfrompack = back;
    renumbered = room;
    realnumber = more;
    int first = outgroup, t = 0;
    while (first < nt && !taxact[first]) ++first;
    auto give = [&t](int real) { gotopack[real] = t; backfrompack[t++] = real; };
    if (first < nt) give(first);
    for (int i = 0; i < nt; ++i)
        if (taxact[i] && i != first) give(i);
    realntax = ntax = t;
    hinod = 2 * ntax - 1;
    for (int n = nt; n < nt + ntax - 1; ++n) give(n);
    for (int i = 0; i < nt; ++i)
        if (!taxact[i]) give(i);
    for (int n = nt + ntax - 1; n < nodz; ++n) give(n);
}

constexpr int LOWMEMORY = 5;   // percent of the search memory

static void warnlowmemory()
{
    if (!allow_extra_sch_mem) return;
    if (vailram() < used_ram() / 100 * LOWMEMORY)
        warnem("Free memory is low (below 5% of search memory).\nYou may run out of memory during the search.\n", nullptr);
}

static void refuseunbuilt()
{
    if (dopiwe && doautowt) myerr("Sorry, searches with self-weighted characters are not available yet");
}

void refuse_too_many_sets(long n)
{
    if (n > MOSTWEIGHTSETS) errmsg("Sorry, cannot run searches with more than", intvert(MOSTWEIGHTSETS), "active weight sets", nullptr);
}

void do_full_pack(int reuse, int keep_trees)
{
    piwe_init(0);
    refuseunbuilt();
    if (dopiwe) refuse_too_many_sets(xdopiwe_numpacksets);
    refuse_user_function_for_data();
    if (reuse < 1) {
        set_all_charcodes();
        check_uninformative_states();
    }
    char *scratch = himark();
    makepacklist();
    if (user_wants_ands && ncsan16 + ncsan32)
        errmsg("Sorry, \"bbreak:inters\" is invalid for Sankoff/continuous characters", nullptr);
    bool bywt = setweights();
    numbertaxa();
    packit(bywt);
    hiset(scratch);
    packlist = packlist_end = nullptr;
    if (after_pack) after_pack();
    warnlowmemory();
    if (!reuse && !keep_trees) pack_trees();
}

void schpack()
{
    if (schtag) {
        pack_trees();
        return;
    }
    wipetag(&opttag);
    do_full_pack(0, 0);
    lockram(&schtag);
}

// ---- Trees in packed numbers ---------------------------------------------------------------

// Renumbers a tree by a map; the entries of the two roots hold node counts.
static void renumber(int *anc, const int *map, int oldroot, int newroot)
{
    int used = anc[oldroot] & NODEBITS;
    std::fill(renumbered, renumbered + nodz, 0);
    for (int n = 0; n < used; ++n) {
        int a = anc[n] & NODEBITS;
        if (n != oldroot && a) renumbered[map[n]] = map[a];
    }
    renumbered[newroot] = used - oldroot + newroot;
    memcpy(anc, renumbered, nodz * sizeof(int));
}

void pack_one_tree(int *anc)
{
    renumber(anc, gotopack, nt, realntax);
}

void unpack_one_tree(int *anc)
{
    renumber(anc, backfrompack, realntax, nt);
}

void pack_trees()
{
    if (trees_are_packed) return;
    for (int t = 0; t < trees_in_mem; ++t) pack_one_tree(mem_tree[t]);
    trees_are_packed = 1;
}

// Internal nodes get numbers as reset_nodz gives them: as terminals meet them on their way to the root.
static void unpack_canonically(int *tree)
{
    int next = nt;
    std::fill(realnumber, realnumber + nodz, -1);
    realnumber[realntax] = next++;
    for (int t = 0; t < realntax; ++t) realnumber[t] = backfrompack[t];
    for (int real = 0; real < nt; ++real) {
        int t = gotopack[real];
        if (t >= realntax || !(tree[t] & NODEBITS)) continue;
        for (int n = tree[t] & NODEBITS; realnumber[n] < 0; n = tree[n] & NODEBITS) realnumber[n] = next++;
    }
    renumber(tree, realnumber, realntax, nt);
}

void unpack_trees()
{
    if (!trees_are_packed) return;
    for (int t = 0; t < trees_in_mem; ++t) unpack_canonically(mem_tree[t]);
    trees_are_packed = 0;
}

// In ascending order a terminal is the first descendant of its ancestor, and terminal 0 that of the root.
void binmksis(const int *anc)
{
    int used = anc[ntax];
    for (int n = 0; n < used; ++n) lef[n] = rig[n] = sis[n] = -1;
    for (int n = 0; n < used; ++n) {
        int a = anc[n];
        if (n == ntax || !a) continue;        // absent terminals have no ancestor
        if (lef[a] < 0) lef[a] = n;
        else {
            rig[a] = n;
            sis[n] = lef[a];
            sis[lef[a]] = n;
        }
    }
}

int binoptlist(int *list)
{
    int n = 0;
    list[n++] = ntax;
    for (int i = 0; i < n; ++i) {
        int l = lef[list[i]], r = rig[list[i]];
        if (l >= ntax) list[n++] = l;
        if (r >= ntax) list[n++] = r;
    }
    return n;
}

void checkpack()
{
#ifndef NDEBUG
    assert(nc2 == nc2cells && nc4 == nc2 + nc4cells && nc8 == nc4 + nc8cells);
    assert(foldcells <= char_cells && char_cells <= rowcells && rowcells % ROWALIGN == 0);
    assert(hinod == 2 * realntax - 1);
    for (int n = 0; n < nodz; ++n) assert(gotopack[backfrompack[n]] == n);
    for (int t = 0; t < realntax; ++t) {
        for (int c = 0; c < foldcells; ++c)
            assert((~(((dnset(t)[c] & celllow[c]) + celllow[c]) | dnset(t)[c] | celllow[c])) == 0);   // no empty field
        for (int c = char_cells; c < rowcells; ++c) assert(dnset(t)[c] == ~0u);
    }
    for (int i = 0; i < totnc; ++i) assert(indcc[i].character >= -1 && indcc[i].character < nc);
#endif
}
