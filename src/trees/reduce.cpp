#include "trees/reduce.h"
#include "trees/imagevars.h"
#include "trees/implied.h"
#include "trees/packlist.h"
#include "trees/scratch.h"
#include "data/matrix.h"
#include <algorithm>
#include <bit>
#include <climits>
#include <cstring>

int data_are_reduced;
[[maybe_unused]] static const keptwithimage ofimage(data_are_reduced);

// Sets of terminals, `words` words each.  W: as many, known beforehand; 0: not known.
constexpr int WORD = 64, MOSTSTATES = 32;
static int words;

template<int W> static int length() { return W ? W : words; }

template<int W> static bool empty(const uint64_t *a)
{
    for (int i = 0; i < length<W>(); ++i)
        if (a[i]) return false;
    return true;
}

template<int W> static bool within(const uint64_t *a, const uint64_t *b)
{
    for (int i = 0; i < length<W>(); ++i)
        if (a[i] & ~b[i]) return false;
    return true;
}

template<int W> static int count(const uint64_t *a)
{
    int n = 0;
    for (int i = 0; i < length<W>(); ++i) n += std::popcount(a[i]);
    return n;
}

template<int W> static bool single(const uint64_t *a)
{
    uint64_t word = 0;
    for (int i = 0; i < length<W>(); ++i) {
        if (a[i] && word) return false;
        if (a[i]) word = a[i];
    }
    return word && !(word & (word - 1));
}

// Bit i of word k becomes bit k of word i, of 32 words.
template<int J, uint32_t MASK> static void exchange(uint32_t *a)
{
    for (int from = 0; from < 32; from += 2 * J)
        for (int k = from; k < from + J; ++k) {
            uint32_t differ = (a[k] >> J ^ a[k + J]) & MASK;
            a[k] ^= differ << J;
            a[k + J] ^= differ;
        }
}

static void transpose(uint32_t *a)
{
    exchange<16, 0x0000ffff>(a);
    exchange<8, 0x00ff00ff>(a);
    exchange<4, 0x0f0f0f0f>(a);
    exchange<2, 0x33333333>(a);
    exchange<1, 0x55555555>(a);
}

// A field that stays, or a step matrix.
struct keptfield {
    int record;              // of the image reduced
    int place;               // in its cells
    int states;              // left
    int always;              // steps for states left out
    const uint64_t *has;     // per state, terminals that have it; none of those that are missing
};

static keptfield *fields;
static int nfields;

// What is needed of the image being replaced.
static struct { const fieldrec *records; const sankfield *matrices; const contrec *continuous; int nsank, sankrow, controw; } was;
static reduction *now;
static int matrixat;                       // next step matrix to get its record
static uint64_t *columns;                  // of the reduced image, 32 a cell: terminals that have the bit

// ---- Fields that matter --------------------------------------------------------------------------

// Per cell the top bits of the fields in which two terminals lack each state; where one at most lacks some state
// all trees have the same steps.
static void findcandidates(const reduction &r, uint32_t *tops)
{
    hiscratch scratch;
    uint32_t *once = zhi<uint32_t>(rowcells), *twice = zhi<uint32_t>(rowcells);
    const int cells = foldcells;
    for (int t = 0; t < r.terminals; ++t) {
        const uint32_t *row = r.sets[t];
        for (int c = 0; c < cells; ++c) {
            uint32_t lacks = ~row[c];
            twice[c] |= once[c] & lacks;
            once[c] |= lacks;
        }
    }
    for (int c = 0; c < cells; ++c) {
        uint32_t common = ~twice[c];
        tops[c] = ~(((common & celllow[c]) + celllow[c]) | common | celllow[c]);
    }
}

template<int W> static int leaststeps(uint64_t *const *has, int m)
{
    int needed = 0;
    uint64_t alone[MOSTSTATES];
    bool unhit = false;
    for (int s = 0; s < m; ++s) alone[s] = 0;
    for (int i = 0; i < length<W>(); ++i) {
        uint64_t any = 0, several = 0;
        for (int s = 0; s < m; ++s) {
            several |= any & has[s][i];
            any |= has[s][i];
        }
        for (int s = 0; s < m; ++s) alone[s] |= has[s][i] & ~several;
    }
    for (int s = 0; s < m; ++s) needed += alone[s] != 0;
    for (int i = 0; i < length<W>(); ++i) {
        uint64_t any = 0, hit = 0;
        for (int s = 0; s < m; ++s) {
            any |= has[s][i];
            if (alone[s]) hit |= has[s][i];
        }
        unhit |= (any & ~hit) != 0;
    }
    return needed + unhit - 1;
}

// The number of states left; below 2 the field is constant.  has is shortened in place.
template<int W> static int fewerstates(uint64_t **has, int m, int *always)
{
    for (bool again = true; again && m > 1;) {
        again = false;
        for (int i = 0; i < length<W>(); ++i) {              // those with all states are missing
            uint64_t all = ~uint64_t(0);
            for (int s = 0; s < m; ++s) all &= has[s][i];
            for (int s = 0; all && s < m; ++s) has[s][i] &= ~all;
        }
        for (int s = 0; s < m; ++s) {
            bool needless = empty<W>(has[s]);
            for (int o = 0; o < m && !needless; ++o) needless = o != s && within<W>(has[s], has[o]);
            bool alone = !needless && single<W>(has[s]);
            *always += alone;
            if (!needless && !alone) continue;
            std::copy(has + s + 1, has + m, has + s);
            --m;
            --s;
            again = true;
        }
    }
    if (m < 3) return m;
    int terminals = 0, most = 0;
    for (int i = 0; i < length<W>(); ++i) {
        uint64_t any = 0;
        for (int s = 0; s < m; ++s) any |= has[s][i];
        terminals += std::popcount(any);
    }
    for (int s = 0; s < m; ++s) most = std::max(most, count<W>(has[s]));
    return terminals - most <= leaststeps<W>(has, m) ? 0 : m;
}

static int fieldclassof(int states) { return states <= 2 ? 0 : states <= 4 ? 1 : states <= 8 ? 2 : states <= 16 ? 3 : 4; }

static void listfield(keptfield f, int cls, int weight)
{
    *packlist_end++ = { nfields, cls, cls, 1, false, 1, weight, 0 };
    ++*arpacnc[cls];
    fields[nfields++] = f;
}

// bits: per bit of the cell, the terminals that have it.
template<int W> static void listcell(int c, uint32_t tops, uint64_t *bits)
{
    const int width = int(cellshift[c]) + 1;
    for (; tops; tops &= tops - 1) {
        int top = std::countr_zero(tops), foot = top - width + 1, place = c * 16 + top / 2, always = 0;
        uint64_t *has[MOSTSTATES];
        for (int s = 0; s < width; ++s) has[s] = bits + size_t(foot + s) * words;
        int m = fewerstates<W>(has, width, &always);
        if (m < 2) continue;
        uint64_t *kept = hi<uint64_t>(size_t(m) * words);
        for (int s = 0; s < m; ++s) std::copy(has[s], has[s] + words, kept + size_t(s) * words);
        int record = placerecords[place];
        listfield({ record, place, m, always, kept }, fieldclassof(m), int(indcc[record].weight));
    }
}

static void listfields(const reduction &r)
{
    uint32_t *tops = hi<uint32_t>(rowcells), column[32];
    uint64_t *bits = hi<uint64_t>(size_t(32) * words);
    findcandidates(r, tops);
    for (int c = 0; c < foldcells; ++c) {
        if (!tops[c]) continue;
        for (int i = 0; i < 2 * words; ++i) {
            int from = i * 32, n = std::clamp(r.terminals - from, 0, 32);
            for (int t = 0; t < n; ++t) column[t] = r.sets[from + t][c];
            std::fill(column + n, column + 32, 0);
            transpose(column);
            for (int b = 0; b < 32; ++b) {
                uint64_t &word = bits[size_t(b) * words + i / 2];
                word = i & 1 ? word | uint64_t(column[b]) << 32 : column[b];
            }
        }
        if (words == 1) listcell<1>(c, tops[c], bits);
        else listcell<0>(c, tops[c], bits);
    }
}

// ---- Step matrices and continuous characters -------------------------------------------------------

// When all terminals can have a state for nothing no tree has a step.  With one that can't all trees
// mostly have the same steps, but it may be cheaper to leave that state.
static bool constantmatrix(const reduction &r, const sankfield &f, bool *loosely)
{
    *loosely = false;
    int fewest = INT_MAX;
    for (int s = 0; s < f.states; ++s) {
        int lacking = 0;
        for (int t = 0; t < r.terminals; ++t) lacking += r.slow[t][sankrow + f.at + s] != 0;
        fewest = std::min(fewest, lacking);
    }
    if (!fewest) return true;
    *loosely = !r.strict && fewest == 1;
    return *loosely;
}

// Ranges that all share a point, or all but one.
static bool constantrange(const reduction &r, int c)
{
    int low[2] = { INT_MIN, INT_MIN }, high[2] = { INT_MAX, INT_MAX }, lowest = 0, highest = 0;
    const int at = 2 * sankrow + c;
    for (int t = 0; t < r.terminals; ++t) {
        int a = r.slow[t][at], b = r.slow[t][at + controw];
        if (a > low[0]) low[1] = low[0], low[0] = a, lowest = t;
        else low[1] = std::max(low[1], a);
        if (b < high[0]) high[1] = high[0], high[0] = b, highest = t;
        else high[1] = std::min(high[1], b);
    }
    bool withoutlow = low[1] <= (highest == lowest ? high[1] : high[0]);
    bool withouthigh = (highest == lowest ? low[1] : low[0]) <= high[1];
    return withoutlow || withouthigh;
}

// The numbers of those that stay, matrices first, in now->slowsource.
static int listslow(reduction *r)
{
    int n = 0;
    for (int k = 0; k < nsank; ++k) {
        bool loosely;
        bool out = constantmatrix(*r, sankfields[k], &loosely);
        r->loose |= loosely;
        if (out) continue;
        r->slowsource[n++] = k;
        listfield({ sankfields[k].record, 0, 0, 0, nullptr }, SANKCLASS, int(indcc[sankfields[k].record].weight));
    }
    int matrices = n;
    for (int c = 0; c < num_cont; ++c)
        if (!constantrange(*r, c)) r->slowsource[n++] = nsank + c;
    num_cont = n - matrices;
    nsank = matrices;
    return n;
}

static void laymatrices()
{
    sankfields = lo<sankfield>(nsank);
    sankrow = asymmetric_fields = 0;
    for (int k = 0; k < nsank; ++k) {
        sankfield &f = sankfields[k];
        f = was.matrices[now->slowsource[k]];
        f.at = sankrow;
        f.rootstates = ~0u;                      // what binds the root is in what lies beyond the sector
        asymmetric_fields |= was.records[f.record].asymmetric;
        sankrow += f.lanes;
    }
}

static void laycontinuous()
{
    controw = wholelanes(num_cont);
    contcodes = lo<contrec>(num_cont);
    int *weights = zlo<int>(controw);
    for (int c = 0; c < num_cont; ++c) {
        int from = now->slowsource[nsank + c];
        contcodes[c] = was.continuous[from - was.nsank];
        if (now->slowoutside) contcodes[c].basesteps += double(now->slowoutside[from]) / 1000;
        weights[c] = contcodes[c].weight;
    }
    contweights = weights;
}

static void layslowrows()
{
    slowrow = 2 * sankrow + 2 * controw;
    slowrows = lo<int>(size_t(hinod) * slowrow);
    for (int t = 0; t < ntax && slowrow; ++t) {
        const int *from = now->slow[t], *range = from + 2 * was.sankrow;
        for (int k = 0; k < nsank; ++k) {
            const sankfield &f = sankfields[k];
            int at = was.matrices[now->slowsource[k]].at;
            std::copy_n(from + at, f.lanes, slowcosts(t) + f.at);
            std::copy_n(from + was.sankrow + at, f.lanes, slowedge(t) + f.at);
        }
        for (int c = 0; c < controw; ++c) {
            int at = c < num_cont ? now->slowsource[nsank + c] - was.nsank : -1;
            slowrange(t)[c] = at < 0 ? 0 : range[at];
            slowrange(t)[c + controw] = at < 0 ? 0xffff : range[at + was.controw];
        }
    }
}

// ---- The image -----------------------------------------------------------------------------------

static void writestates(const keptfield &f, int cls, int cellno, int bit)
{
    uint64_t *to = columns + (size_t(cellno) * 32 + bit) * words;
    for (int i = 0; i < words; ++i) {
        uint64_t any = 0;
        for (int s = 0; s < f.states; ++s) any |= f.has[size_t(s) * words + i];
        for (int s = 0; s < fieldclasses[cls].bits; ++s)
            to[size_t(s) * words + i] = ~any | (s < f.states ? f.has[size_t(s) * words + i] : 0);
    }
}

static void writeterminals()
{
    uint32_t column[32];
    const size_t next = size_t(dnset(1) - dnset(0));
    for (int from = 0; from < ntax; from += 32)
        for (int c = 0, n = std::min(32, ntax - from); c < foldcells; ++c) {
            const uint64_t *word = columns + size_t(c) * 32 * words + from / WORD;
            for (int b = 0; b < 32; ++b) column[b] = uint32_t(word[size_t(b) * words] >> (from % WORD));
            transpose(column);
            uint32_t *to = dnset(from) + c;
            for (int t = 0; t < n; ++t) to[t * next] = column[t];
        }
}

static void writefield(const packrec &p, int cellno, int bit, int rec)
{
    const keptfield &f = fields[p.character];
    const fieldclass &cls = fieldclasses[p.cls];
    for (int i = 0; i < p.repeat; ++i, bit += cls.bits) {
        if (bit == 32) {
            bit = 0;
            ++cellno;
        }
        fieldrec &record = enterfield(p, cellno, bit, rec + i);
        record = was.records[f.record];
        record.weight = uint32_t(p.weight);
        if (p.cls == SANKCLASS) {
            if (now->slowoutside) record.basesteps += uint32_t(now->slowoutside[now->slowsource[matrixat]]);
            sankfields[matrixat++].record = rec;
            return;
        }
        writestates(f, p.cls, cellno, bit);
        if (!now->outside) continue;
        int place = cellno * 16 + (bit + cls.topshift) / 2;
        now->source[place] = f.place;
        now->offset[place] = now->outside[f.place] + uint32_t(f.always);
        record.basesteps += now->offset[place] * record.stepcost;
    }
}

size_t image_bytes()
{
    size_t row = size_t(rowlength(char_cells)), lanes = size_t(2 * sankrow + 2 * controw), nodes = size_t(hinod);
    size_t rows = nodes * row * 4 * sizeof(uint32_t), percell = row * (16 * 4 + 3) * sizeof(uint32_t);
    constexpr size_t ALIGNING = 1024;
    return rows + percell + size_t(totnc) * sizeof(fieldrec) + nodes * lanes * sizeof(int)
           + size_t(nsank) * sizeof(sankfield) + size_t(num_cont) * sizeof(contrec) + size_t(controw) * sizeof(int) + ALIGNING;
}

bool pack_reduced_data(reduction *r, bool (*room)())
{
    hiscratch scratch;
    words = (r->terminals + WORD - 1) / WORD;
    int places = foldcells * 16, slow = nsank + num_cont;
    was = { indcc, sankfields, contcodes, nsank, sankrow, controw };
    now = r;
    matrixat = 0;
    r->loose = false;
    r->slowsource = hi<int>(slow);
    packlist_end = packlist = hi<packrec>(places + nsank);
    fields = hi<keptfield>(places + nsank);
    nfields = 0;
    for (int *n : arpacnc) *n = 0;
    listfields(*r);
    listslow(r);
    bool bywt = setweights();
    setbounds();
    bool fits = room();
    if (fits) {
        rowcells = rowlength(char_cells);
        r->source = nullptr;
        r->offset = nullptr;
        laymatrices();
        laycontinuous();
        layrows(0);
        if (r->outside) {
            r->source = lo<int>(size_t(rowcells) * 16);
            r->offset = zlo<uint32_t>(size_t(rowcells) * 16);
            std::fill(r->source, r->source + size_t(rowcells) * 16, -1);
        }
        size_t all = size_t(foldcells) * 32 * words;
        columns = hi<uint64_t>(all);
        std::fill(columns, columns + all, ~uint64_t(0));
        placefields(bywt, writefield);
        writeterminals();
        layslowrows();
        endofpacking();
        step_lag = continuous_step_lag = 0;
        data_are_reduced = 1;
    }
    packlist = packlist_end = nullptr;
    return fits;
}
