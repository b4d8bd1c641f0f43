// Shares the cells of a pack out among weights.
//
// A cell whose fields all have one weight costs one multiplication.  With few distinct weights the
// characters are sorted by weight and the holes of half-empty cells are filled: a character of
// weight 6 may be two fields of weight 3.  With many, cells would stay half empty; then weights
// are kept for each field and looked up where a step happens.
#include "trees/implied.h"
#include "trees/packlist.h"
#include "kernel/arena.h"
#include <algorithm>

wtclass ar_wtclass[CELLCLASSES];
int *const arpaccells[CELLCLASSES] = { &nc2cells, &nc4cells, &nc8cells };

constexpr int WIDESTFIELDS = 4;     // classes above hold no fields of states
constexpr int FIELDS16 = 3;
constexpr int WORTHGROUPING = 66;   // percent of the cells of grouped weights that must be full

static int cellsof(int fields, int cls)
{
    return (fields + fieldclasses[cls].percell - 1) / fieldclasses[cls].percell;
}

static int *countof(int cls, int weight)
{
    wtclass &w = ar_wtclass[cls];
    int *at = std::find(w.weights, w.weights_end, weight);
    return at == w.weights_end ? nullptr : w.counts + (at - w.weights);
}

void check_weight_classes()
{
    int n = int(packlist_end - packlist);
    for (wtclass &w : ar_wtclass) {
        w.weights_end = w.weights = hi<int>(n);
        w.counts = hi<int>(n);
    }
    for (packrec *p = packlist; p < packlist_end; ++p) {
        if (p->cls >= CELLCLASSES) continue;
        wtclass &w = ar_wtclass[p->cls];
        int *at = countof(p->cls, p->weight);
        if (!at) {
            at = w.counts + (w.weights_end - w.weights);
            *w.weights_end++ = p->weight;
            *at = 0;
        }
        *at += p->nfields * p->repeat;
    }
}

static int leftover(int count, int cls)   // fields in the last, half-empty cell; 0 when it is full
{
    return count % fieldclasses[cls].percell;
}

static int freein(int count, int cls)
{
    int n = leftover(count, cls);
    return n ? fieldclasses[cls].percell - n : 0;
}

// Leftover characters of a weight become d copies each in the free fields of weight / d.
static void sharewithlighter(int cls, int weight, int *count)
{
    for (int d = 2; weight / d && leftover(*count, cls); ++d) {
        int *lighter = weight % d ? nullptr : countof(cls, weight / d);
        if (!lighter || d > freein(*lighter, cls)) continue;
        int rest = leftover(*count, cls), room = freein(*lighter, cls);
        for (packrec *p = packlist; p < packlist_end && rest; ++p) {
            if (p->cls != cls || p->weight != weight || p->repeat != 1) continue;
            if (p->nfields > rest || p->nfields * d > room) continue;
            p->repeat = d;
            p->weight = weight / d;
            rest -= p->nfields;
            room -= p->nfields * d;
            *count -= p->nfields;
            *lighter += p->nfields * d;
        }
    }
}

// What is still left goes to the free fields of the same weight in the next wider class.
static void sharewithwider(int cls, int weight, int *count)
{
    int rest = leftover(*count, cls);
    int *wider = cls + 1 < CELLCLASSES ? countof(cls + 1, weight) : nullptr;
    if (!rest || !wider || rest > freein(*wider, cls + 1)) return;
    for (packrec *p = packlist; p < packlist_end && rest; ++p) {
        if (p->cls != cls || p->weight != weight || p->repeat > 1 || p->nfields > rest) continue;
        p->cls = cls + 1;
        rest -= p->nfields;
        *count -= p->nfields;
        *wider += p->nfields;
    }
}

int process_weight_class(int cls)
{
    wtclass &w = ar_wtclass[cls];
    int fields = 0, cells = 0;
    for (int *wt = w.weights; wt < w.weights_end; ++wt) {
        int *count = w.counts + (wt - w.weights);
        sharewithlighter(cls, *wt, count);
        sharewithwider(cls, *wt, count);
    }
    for (int *wt = w.weights; wt < w.weights_end; ++wt) {
        int count = w.counts[wt - w.weights];
        fields += count;
        cells += cellsof(count, cls);
    }
    *arpacnc[cls] = fields;
    return cells;
}

void countcells()
{
    char_cells = nc2cells + nc4cells + nc8cells + (nc16 + 1) / 2 + nc32 + (ncsan16 + 1) / 2 + ncsan32;
}

// Fields of a class move into the wider class from the end of the list until the half-empty cell
// is gone, if there is room for them.
static bool moveleftover(int cls)
{
    int rest = leftover(*arpacnc[cls], cls);
    if (!rest || !*arpacnc[cls + 1] || rest > freein(*arpacnc[cls + 1], cls + 1)) return false;
    bool moved = false;
    for (packrec *p = packlist_end; p > packlist && rest; ) {
        --p;
        if (p->cls != cls || p->nfields > rest) continue;
        p->cls = cls + 1;
        rest -= p->nfields;
        *arpacnc[cls] -= p->nfields;
        *arpacnc[cls + 1] += p->nfields;
        moved = true;
    }
    return moved;
}

// With pairs of cells as 64-bit words (option xbits), each class begins a new word.  The option is no more
// than this layout: a checker of pairs would fold two cells at a time, and the vector kernels, which
// every check goes through, fold 4 to 16 of any class.
static void cellsoffields()
{
    if (!moveleftover(0)) moveleftover(1);
    for (int c = 0; c < CELLCLASSES; ++c) {
        *arpaccells[c] = cellsof(*arpacnc[c], c);
        if (use_alt_bit_searches && uniform_weights && !dopiwe) *arpaccells[c] += *arpaccells[c] & 1;
    }
}

// Two 16-bit fields share a cell, in the order of the list.
static bool mixedhalves()
{
    const packrec *first = nullptr;
    for (packrec *p = packlist; p < packlist_end; ++p) {
        if (p->cls != FIELDS16) continue;
        if (!first) first = p;
        if (p->weight != first->weight) return true;
    }
    return false;
}

bool setweights()
{
    uniform_weights = store_individual_weights = 0;
    const packrec *first = nullptr;          // step matrices have weights of their own
    bool same = true;
    for (packrec *p = packlist; p < packlist_end; ++p) {
        if (p->cls > WIDESTFIELDS) continue;
        if (!first) first = p;
        same &= p->weight == first->weight;
    }
    if (same || dopiwe) {                // one weight above 1 is one weight a cell
        uniform_weights = same && (!first || first->weight == 1);
        store_individual_weights = !same;
        cellsoffields();
        countcells();
        return false;
    }
    int plain = 0, grouped = 0, before[CELLCLASSES];
    for (int c = 0; c < CELLCLASSES; ++c) {
        before[c] = *arpacnc[c];
        plain += cellsof(before[c], c);
    }
    check_weight_classes();
    for (int c = 0; c < CELLCLASSES; ++c) grouped += *arpaccells[c] = process_weight_class(c);
    if ((!grouped || plain * 100 / grouped >= WORTHGROUPING) && !mixedhalves()) {
        store_individual_weights = 0;
        countcells();
        return true;
    }
    for (packrec *p = packlist; p < packlist_end; ++p) {
        if (p->firstcls >= CELLCLASSES) continue;
        p->weight *= p->repeat;
        p->repeat = 1;
        p->cls = p->firstcls;
    }
    for (int c = 0; c < CELLCLASSES; ++c) *arpacnc[c] = before[c];
    store_individual_weights = 1;
    cellsoffields();
    countcells();
    return false;
}
