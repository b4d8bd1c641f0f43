// The memory of a search, laid out on top of a new packed image and dropped with it.
#include "search/andlists.h"
#include "search/constpack.h"
#include "search/evaldata.h"
#include "search/fits.h"
#include "search/fitsets.h"
#include "search/sectdata.h"
#include "search/slowopt.h"
#include "kernel/arena.h"
#include "trees/imagevars.h"
#include "trees/packlist.h"
#include "trees/reduce.h"
#include <algorithm>
#include <initializer_list>

evaldata ed;
int *cladsz, *tnodsize, *reoplist, *distoroot, *tmptbuf, *bufnodsize, *nodsuprt, *tmpsuprt, *xrandseq;
goodmove *gooddest;

[[maybe_unused]] static const keptwithimage ofimage(ed, cladsz, tnodsize, reoplist, distoroot, tmptbuf, bufnodsize, nodsuprt,
    tmpsuprt, xrandseq, gooddest);

// A clip changes the four sets of all nodes at most, and few of them mostly.
static int logsize(int nodes, int cells)
{
#ifdef ZEL_TINY
    return 6;                                    // most clips overflow it
#endif
    constexpr long USUAL = 1024;
    long stretches = cells / (BLOCK * kernel->width) + 1, all = 4L * nodes * stretches;
    return int(std::min(all, 2 * nodes + USUAL));
}

void reduced_search_mem(const reduction *reduced)
{
    static_assert(ROWALIGN == WIDESTVECTOR);
    ed = {};
    clipstate = NOCLIP;
    clusters_on = 0;
    ed.cells = foldcells;
    ed.row = size_t(rowcells);
    ed.low = celllow;
    ed.shift = cellshift;
    ed.cellwts = globwts;
    ed.fieldwts = fieldwts;
    ed.walk = walkrows;
    ed.branch = branchrows;
    ed.ntax = ntax;
    for (int **list : { &cladsz, &tnodsize, &reoplist, &distoroot, &tmptbuf, &bufnodsize, &optlist })
        *list = zlo<int>(hinod + 2);
    for (int t = 0; t < ntax; ++t) cladsz[t] = tnodsize[t] = 1;
    ed.path = lo<int>(hinod + 2);
    ed.stack = reoplist;
    ed.changed = lo<int>(hinod + 2);
    gooddest = zlo<goodmove>(hinod + 2);
    nodsuprt = zlo<int>(reduced ? hinod + 2 : nodz);
    tmpsuprt = zlo<int>(reduced ? hinod + 2 : nodz);
    xrandseq = zlo<int>(ntax + 1);
    ed.maxlog = logsize(hinod, foldcells);
    ed.logged = lo<logentry>(ed.maxlog + LOGSLACK);
    ed.logcells = alignedrows(size_t(ed.maxlog + LOGSLACK) * LOGCELLS);
    layclusters();
    andmem();
    fitmem(reduced);
    slowmem();
    if (reduced) reduce_consts();
    else repack_consts();
    set_score_checkers();
}

void final_search_mem()
{
    reduced_search_mem(nullptr);
    sectormem();
}

size_t search_bytes()
{
    size_t nodes = size_t(hinod) + 2, row = size_t(rowlength(char_cells)), ups = size_t(sankrow) + 2 * size_t(controw);
    size_t down = 2 * size_t(sankrow + controw), slow = size_t(nsank + num_cont), clusters = size_t(clusternumber());
    size_t logged = size_t(logsize(hinod, char_cells)) + LOGSLACK;
    size_t bytes = nodes * (40 * sizeof(int) + sizeof(goodmove)) + logged * (sizeof(logentry) + LOGCELLS * sizeof(uint32_t));
    bytes += clusters * (row * 4 * sizeof(uint32_t) + sizeof(clusrec) + 48 * sizeof(int)) + row * 40 * sizeof(uint32_t);
    if (dopiwe) bytes += row * 16 * (9 * sizeof(int64_t)) + size_t(fitsets + 2) * 9 * sizeof(double);
    if (packweightkind() >= WT_FIELD) bytes += row * 4 * sizeof(uint32_t);
    bytes += nodes * (2 * ups + down + 2 * size_t(controw) + slow) * sizeof(int) + nodes * (2 * size_t(nsank) + 1) * 2 * sizeof(char *);
    bytes += 2 * clusters * (ups + 1) * sizeof(int) + slow * 16 * sizeof(double);
    constexpr size_t ALIGNING = 4096;
    return bytes + ALIGNING;
}

[[maybe_unused]] static const bool filled = (after_pack = final_search_mem, true);
