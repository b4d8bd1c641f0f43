// The memory of a search, laid out on top of a new packed image and dropped with it.
#include "search/andlists.h"
#include "search/constpack.h"
#include "search/evaldata.h"
#include "search/fits.h"
#include "search/slowopt.h"
#include "kernel/arena.h"
#include <initializer_list>

evaldata ed;
int *cladsz, *tnodsize, *reoplist, *distoroot, *tmptbuf, *bufnodsize, *nodsuprt, *tmpsuprt, *xrandseq;
goodmove *gooddest;

#ifdef ZEL_TINY
constexpr int logsize(int) { return 6; }         // most clips overflow it
#else
constexpr int logsize(int nodes) { return 4 * nodes + 1024; }
#endif

void final_search_mem()
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
    gooddest = zlo<goodmove>(hinod + 2);
    nodsuprt = zlo<int>(nodz);
    tmpsuprt = zlo<int>(nodz);
    xrandseq = zlo<int>(ntax + 1);
    ed.maxlog = logsize(hinod);
    ed.log = lo<savedblock>(ed.maxlog);
    layclusters();
    andmem();
    fitmem();
    slowmem();
    repack_consts();
    set_score_checkers();
}

[[maybe_unused]] static const bool filled = (after_pack = final_search_mem, true);
