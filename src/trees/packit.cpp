// Lays out the cells of the packed image and writes the terminals into them.
#include "trees/packlist.h"
#include "data/costs.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "trees/imagevars.h"
#include "trees/implied.h"
#include <algorithm>
#include <bit>
#include <cstring>

uint32_t *globwts, *fieldwts, *celllow, *cellshift, *walkrows, *branchrows;
int *placerecords;
fieldrec *indcc;

[[maybe_unused]] static const keptwithimage ofimage(globwts, fieldwts, celllow, cellshift, walkrows, branchrows, placerecords, indcc);

// Cells and records of a class begin behind those of the classes before it.
static int firstcell[FIELDCLASSES + 1], firstrec[FIELDCLASSES + 1];

void setbounds()
{
    const int cells[FIELDCLASSES] = { nc2cells, nc4cells, nc8cells, (nc16 + 1) / 2, nc32, (ncsan16 + 1) / 2, ncsan32 };
    for (int c = 0; c < FIELDCLASSES; ++c) {
        firstcell[c + 1] = firstcell[c] + cells[c];
        firstrec[c + 1] = firstrec[c] + cells[c] * fieldclasses[c].percell;
    }
    num_packed_chars = firstrec[CELLCLASSES];
    non_sankoff_chars = firstrec[5];
    totnc = firstrec[7];
    foldcells = firstcell[5];
    type32shift = firstcell[4];
    san16shift = firstcell[5];
    san32shift = firstcell[6];
}

// Rows are an odd multiple of the widest vector: with an even one the first cells of all nodes, which
// is what most checks read, would share a fraction of the cache.
int rowlength(int cells)
{
    int vectors = (cells + ROWALIGN - 1) / ROWALIGN;
    if (vectors < 2) return ROWALIGN;
    return (vectors | 1) * ROWALIGN;
}

uint32_t *alignedrows(size_t cells)
{
    constexpr size_t LINE = 64;
    char *p = static_cast<char *>(loram(cells * sizeof(uint32_t) + LINE));
    return reinterpret_cast<uint32_t *>(p + (LINE - uintptr_t(p) % LINE) % LINE);
}

void layrows(int slack)
{
    int cells = char_cells + char_cells * slack / 100;
    rowcells = rowlength(cells);
    size_t row = rowcells;
    walkrows = alignedrows(hinod * 3 * row);
    branchrows = alignedrows(hinod * row);
    memset(walkrows, 255, hinod * 3 * row * sizeof(uint32_t));
    memset(branchrows, 255, hinod * row * sizeof(uint32_t));
    for (int t = 0; t < ntax; ++t) memset(orset(t), 0, row * sizeof(uint32_t));
    globwts = alignedrows(row);
    celllow = alignedrows(row);
    cellshift = alignedrows(row);
    fieldwts = alignedrows(row * 16);
    memset(fieldwts, 0, row * 16 * sizeof(uint32_t));
    placerecords = reinterpret_cast<int *>(alignedrows(row * 16));
    memset(placerecords, 255, row * 16 * sizeof(int));
    int cls = 0;                                   // cells behind the last one continue its class: one shift a vector
    for (int c = 0; c < rowcells; ++c) {
        while (cls < FIELDCLASSES - 1 && c >= firstcell[cls + 1] && c < char_cells) ++cls;
        globwts[c] = 1;
        celllow[c] = fieldclasses[cls].low;
        cellshift[c] = uint32_t(fieldclasses[cls].topshift);
    }
    indcc = zlo<fieldrec>(size_t(totnc) + size_t(totnc) * slack / 100);
    for (int i = 0; i < totnc; ++i) indcc[i].character = -1;
}

// What a state becomes in the fields of its character, filled for one character at a time.  One
// field: its rank among the observed states.  Several: the fields in which it has the upper of two
// states.  Additive characters have one field a threshold,
//   state low + 2 of thresholds 1 2 3 4:  10 10 01 01
// and state trees one a branch.
static uint32_t con_cha[32];

static void fill_con_cha(const packrec &p)
{
    const charrec &r = charcodes[p.character];
    const int low = std::countr_zero(r.sets);
    if (r.sankoff && r.sankoff_kind == SANK_TREE) recode_cstree(p.character, con_cha);
    else
        for (int s = 0; s < 32; ++s)
            con_cha[s] = p.severalfields ? (s > low ? ~(~0u << (s - low)) : 0) : uint32_t(std::popcount(r.sets & ((1u << s) - 1)));
}

// The field pattern of a set of states.  Two-state patterns have bit 0 for the lower state.
static void fieldpatterns(uint32_t *fields, uint32_t set, const packrec &p)
{
    memset(fields, 0, p.nfields * sizeof(uint32_t));
    for (uint32_t left = set; left; left &= left - 1) {
        uint32_t becomes = con_cha[std::countr_zero(left)];
        if (!p.severalfields) fields[0] |= 1u << becomes;
        else
            for (int f = 0; f < p.nfields; ++f) fields[f] |= becomes >> f & 1 ? 2 : 1;
    }
}

uint32_t setcodeof(int c)
{
    if (!dopiwe || !xdopiwe_stat) return 0;
    if (xdopiwe_fixwt_user[c]) return FIXEDWEIGHT;
    return in_wtset(c) ? WEIGHTSET | uint32_t(xdopiwe_isinset_user[c]) : 0;
}

// What remains of a taxon's states when the uninformative ones are taken out; their steps go to
// step_lag.  0: nothing is left, as if missing.
static uint32_t informativepart(uint32_t x, int c, int *dropped)
{
    const charrec &r = charcodes[c];
    uint32_t once = uninf_states[c];
    if (!(x & once)) return x;
    uint32_t rest = x & ~once;
    if (!r.additive) {
        if (!rest) {
            step_lag += r.weight;
            ++*dropped;
        }
        return rest;
    }
    int low = std::countr_zero(r.sets), high = 31 - std::countl_zero(r.sets);
    uint32_t over = high < 31 ? (x & once) >> high >> 1 : 0, under = x & once & ((1u << low) - 1);
    if (!rest && !(over && under)) {
        int distance = over ? std::countr_zero(over) + 1 : low - (31 - std::countl_zero(under));
        step_lag += double(r.weight) * distance;
    }
    return rest | (over ? 1u << high : 0) | (under ? 1u << low : 0);
}

// Cells of step matrices hold every state everywhere, as padding does: vectors of folded cells may reach into them.
static bool ismatrix(const packrec &p) { return p.cls == SANKCLASS || p.cls == SANKCLASS16; }

fieldrec &enterfield(const packrec &p, int cellno, int bit, int rec)
{
    size_t place = size_t(cellno) * 16 + (bit + fieldclasses[p.cls].topshift) / 2;
    globwts[cellno] = fieldwts[place] = indcc[rec].weight = uint32_t(p.weight);
    placerecords[place] = rec;
    return indcc[rec];
}

// Writes one record of the list into all terminals, its first field at place `bit` of `cell`, with
// field record `rec`.
static void pressem(const packrec &p, int cellno, int bit, int rec)
{
    const charrec &r = charcodes[p.character];
    const fieldclass &f = fieldclasses[p.cls];
    const int all = p.nfields * p.repeat;
    const bool isbinary = p.severalfields || (!r.sankoff && std::popcount(r.sets | uninf_states[p.character]) <= 2);
    int dropped = 0;
    uint32_t patterns[32];
    fill_con_cha(p);
    for (int t = 0; t < ntax && !ismatrix(p); ++t) {
        uint32_t x = cell(backfrompack[t], p.character);
        if (ismissing(x) || !(x = informativepart(x, p.character, &dropped))) continue;
        fieldpatterns(patterns, x & r.sets, p);
        uint32_t *row = dnset(t) + cellno;
        for (int i = 0, at = bit; i < all; ++i, at += f.bits) {
            if (at == 32) {
                at = 0;
                ++row;
            }
            *row = (*row & ~(f.all << at)) | patterns[i % p.nfields] << at;
        }
    }
    for (int i = 0, at = bit, c = cellno; i < all; ++i, at += f.bits) {
        if (at == 32) {
            at = 0;
            ++c;
        }
        fieldrec &record = enterfield(p, c, at, rec + i);
        record.character = p.character;
        record.basesteps = uint32_t(r.internal_steps);
        record.stepcost = p.divisor ? uint32_t(p.divisor) : 1;
        record.minsteps = p.divisor ? uint32_t(r.minsteps) : isbinary ? 1 : uint32_t(std::max(0, r.minsteps - dropped));
        record.setcode = setcodeof(p.character);
        if (!record.setcode && ismatrix(p)) record.setcode = uint32_t(r.aux_unit);
    }
}

// A cell holds one weight only.
static void placebyweight(fieldwriter write)
{
    for (int cls = 0; cls < CELLCLASSES; ++cls) {
        int field = 0, per = fieldclasses[cls].percell;
        const wtclass &w = ar_wtclass[cls];
        for (int *wt = w.weights; wt < w.weights_end; ++wt) {
            for (packrec *p = packlist; p < packlist_end; ++p) {
                if (p->cls != cls || p->weight != *wt) continue;
                write(*p, firstcell[cls] + field / per, field % per * fieldclasses[cls].bits, firstrec[cls] + field);
                field += p->nfields * p->repeat;
            }
            field = (field + per - 1) / per * per;
        }
    }
}

static void placeinorder(int fromclass, fieldwriter write)
{
    int field[FIELDCLASSES] = {};
    for (packrec *p = packlist; p < packlist_end; ++p) {
        if (p->cls < fromclass) continue;
        const fieldclass &f = fieldclasses[p->cls];
        int &n = field[p->cls];
        write(*p, firstcell[p->cls] + n / f.percell, n % f.percell * f.bits, firstrec[p->cls] + n);
        n += p->nfields * p->repeat;
    }
}

void placefields(bool bywt, fieldwriter write)
{
    if (bywt) placebyweight(write);
    placeinorder(bywt ? CELLCLASSES : 0, write);
}

void endofpacking()
{
    for (int t = 0; t < ntax; ++t) memcpy(branchset(t), dnset(t), rowcells * sizeof(uint32_t));
    nc2 = nc2cells;
    nc4 = nc2 + nc4cells;
    nc8 = nc4 + nc8cells;
    have_unpacked = nsank + num_cont;
}

void packit(bool bywt)
{
    setbounds();
    layrows(mem_slack_for_sectors);
    placefields(bywt, pressem);
    laysankoff();
    endofpacking();
    if (dopiwe) {                                 // steps that no tree can change are no homoplasy
        step_lag = constantfit;
        continuous_step_lag = 0;
    }
}
