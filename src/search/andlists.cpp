#include "search/andlists.h"
#include "search/evaldata.h"
#include "kernel/arena.h"
#include "kernel/errors.h"
#include "trees/imagevars.h"
#include "trees/packlist.h"
#include <algorithm>
#include <bit>
#include <cstring>

int ands_on, use_ordering;
int *and_list, nand_list, and_steps;
uint32_t *and_filter;
static uint32_t *interrows, *interbackups;

constexpr int MOSTOPEN = 16;         // fields of a cell
static int *openlists;               // by number of open fields, foldcells each
static uint32_t *openfilters;

[[maybe_unused]] static const keptwithimage ofimage(ands_on, and_list, nand_list, and_steps, and_filter, interrows, interbackups, openlists, openfilters);

void andmem()
{
    ands_on = 0;
    ed.inters = nullptr;
    if (!user_wants_ands) return;
    if (have_unpacked) errmsg("Cannot use intersections/unions with sankoff/continuous characters", nullptr);
    if (packweightkind() != WT_UNIT || !foldcells) return;
    ands_on = 1;
    size_t cells = size_t(maxclustnum) * rowcells;
    interrows = alignedrows(2 * cells);
    interbackups = interrows + cells;
    memset(interrows, 255, 2 * cells * sizeof(uint32_t));
    and_list = lo<int>(foldcells);
    and_filter = lo<uint32_t>(foldcells);
    openlists = lo<int>(size_t(MOSTOPEN + 1) * foldcells);
    openfilters = lo<uint32_t>(size_t(MOSTOPEN + 1) * foldcells);
    ed.inters = interrows;
}

void recheck_intersections(int k, int from, int n)
{
    size_t at = size_t(k) * rowcells + from;
    memcpy(interrows + at, interbackups + at, n * sizeof(uint32_t));
}

static void narrow(uint32_t *row, const uint32_t *by)
{
    for (int c = 0; c < foldcells; ++c) row[c] &= by[c];
}

void makeintersection(int k)
{
    uint32_t *row = interrows + size_t(k) * rowcells;
    memset(row, 255, rowcells * sizeof(uint32_t));
    for (int i = memberstart[k]; i < memberstart[k + 1]; ++i) narrow(row, branchset(members[i]));
    if (isinclu[0] == k) narrow(row, branchset(0));
    memcpy(interbackups + size_t(k) * rowcells, row, rowcells * sizeof(uint32_t));
}

void set_and_list_no_weights(const uint32_t *clip, int k)
{
    const uint32_t *all = clusmat[k].uni, *common = interrows + size_t(k) * rowcells;
    int nopen[MOSTOPEN + 1] = {};
    and_steps = nand_list = 0;
    for (int c = 0; c < foldcells; ++c) {
        uint32_t never = emptyfields(clip[c] & all[c], c), open = emptyfields(clip[c] & common[c], c) & ~never;
        and_steps += std::popcount(never);
        if (!open) continue;
        uint32_t shut = ~celllow[c] & ~open, filter = shut | (shut - (shut >> cellshift[c]));
        int list = use_ordering ? std::popcount(open) : 0, at = list * foldcells + nopen[list]++;
        openlists[at] = c;
        openfilters[at] = filter;
    }
    for (int list = MOSTOPEN; list >= 0; --list) {
        std::copy_n(openlists + list * foldcells, nopen[list], and_list + nand_list);
        std::copy_n(openfilters + list * foldcells, nopen[list], and_filter + nand_list);
        nand_list += nopen[list];
    }
}

int and_checker(const uint32_t *clip, int k, int from)
{
    const clusrec &there = clusmat[k];
    long left = (movebound >= NOBOUND ? NOLIMIT : movebound < 0 ? -1 : long(movebound)) - and_steps;
    for (int i = from; i < there.ndests && left >= 0; ++i) {
        const uint32_t *row = branchset(there.nodes[i]);
        long n = 0;
        for (int j = 0; j < nand_list && n <= left; ++j) {
            int c = and_list[j];
            n += std::popcount(emptyfields((clip[c] & row[c]) | and_filter[j], c));
        }
        if (n > left) continue;
        moveok = 1;
        movesteps = double(and_steps + n);
        return i;
    }
    moveok = 0;
    return there.ndests;
}

int scan_members(const uint32_t *clip, int k, int from)
{
    if (!ands_on) return scan_nodes(clip, clusmat[k].nodes, from, clusmat[k].ndests);
    if (!from) set_and_list_no_weights(clip, k);
    return and_checker(clip, k, from);
}
