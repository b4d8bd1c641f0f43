// Lays out the tables of report-time optimization and packs the matrix into their words.
#include "trees/lightopt.h"
#include <bit>
#include <cassert>
#include "data/costs.h"
#include "data/matrix.h"
#include "trees/implied.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/output.h"

uint32_t **lightset, **lightset2;
int lightcells2, lightcells, lightfields2, lightfields, lightfieldcap;
uint32_t *lightsteps;
int *lightchar;
uint32_t *lightstack, *lightsmall, *lightwide;
int *rangebounds;
uint32_t **sankcosts;
charrun *rowruns, *continuousruns;
int numrowruns, numcontinuousruns, *singlechars, numsinglechars;
uint32_t *rowsteps;

static int lowest(uint32_t states) { return std::countr_zero(states); }
static int highest(uint32_t states) { return std::bit_width(states) - 1; }

// Fields of the character: 0 when it stays with the slow passes.  width becomes 2 or 4.
static int lightwidth(int c, int *width)
{
    const charrec &ch = charcodes[c];
    if (ch.continuous || ch.constant || !ch.active || !ch.weight || ch.minsteps == ch.maxsteps) return 0;
    if (ch.sankoff && ch.sankoff_kind != SANK_TREE) return 0;
    if (dopiwe && ch.internal_steps && states_for_fit(c) != ch.sets) return 0;     // base steps count by the active taxa
    int states = std::popcount(ch.sets);
    *width = ch.additive || ch.sankoff || states == 2 ? 2 : 4;
    if (ch.additive || ch.sankoff) return highest(ch.sets) - lowest(ch.sets);
    return states <= 4 ? 1 : 0;
}

// The states of a cell that count; all of the character's when it is missing.
static uint32_t observed(int t, int c)
{
    uint32_t x = cell(t, c);
    if (ismissing(x)) return charcodes[c].sets;
    return x & charcodes[c].sets ? x & charcodes[c].sets : charcodes[c].sets;
}

// One threshold of an additive character, or a two-state character (threshold at the lower
// state): low bit at or below it, high bit above it.
static uint32_t pattern2(uint32_t states, int threshold)
{
    return (lowest(states) <= threshold ? 1 : 0) | (highest(states) > threshold ? 2 : 0);
}

// Ranks of the states among those of the character, as bits.
static uint32_t pattern4(uint32_t states, uint32_t among)
{
    uint32_t pattern = 0;
    for (int rank = 0; among; among &= among - 1, ++rank)
        if (states & among & -among) pattern |= 1u << rank;
    return pattern;
}

// One branch of a state tree: low bit on the side of the lowest state, high bit beyond it.
static uint32_t patterntree(uint32_t states, const uint32_t *recoded, int branch)
{
    uint32_t pattern = 0;
    for (; states; states &= states - 1) pattern |= recoded[lowest(states)] >> branch & 1 ? 2 : 1;
    return pattern;
}

static void putfield(int t, int cell, int shift, int width, uint32_t pattern)
{
    uint32_t field = (width == 2 ? 3u : 15u) << shift;
    lightset[t][cell] = (lightset[t][cell] & ~field) | pattern << shift;
}

static int fieldof(int f, int *shift)      // cell and shift of a field
{
    int start4 = 16 * lightcells2;
    if (f < start4) { *shift = f % 16 * 2; return f / 16; }
    *shift = (f - start4) % 8 * 4;
    return lightcells2 + (f - start4) / 8;
}

static void fillterminals()
{
    int f = 0, width, shift;
    for (int pass = 2; pass <= 4; pass += 2) {
        if (pass == 4) f = 16 * lightcells2;
        for (int c = nc - 1; c >= 0; --c) {
            if (!charcodes[c].lightpacked) continue;
            int fields = lightwidth(c, &width);
            if (width != pass) continue;
            uint32_t all = charcodes[c].sets, recoded[COSTSTATES];
            bool tree = charcodes[c].sankoff;
            if (tree) recode_cstree(c, recoded);
            for (int k = 0; k < fields; ++k, ++f) {
                int at = fieldof(f, &shift);
                lightchar[f] = c;
                for (int t = 0; t < nt; ++t) {
                    uint32_t states = observed(t, c);
                    putfield(t, at, shift, width, tree         ? patterntree(states, recoded, k)
                                                  : width == 2 ? pattern2(states, lowest(all) + k)
                                                               : pattern4(states, all));
                }
            }
        }
    }
}

void lightpack()
{
    int fields2 = 0, fields4 = 0, width;
    for (int c = nc - 1; c >= 0; --c) {
        charrec &ch = charcodes[c];
        if (ch.sankoff && !ch.continuous && ch.minsteps > ch.maxsteps) ch.minsteps = ch.maxsteps;
        ch.constant = !ch.continuous && std::popcount(ch.sets) < 2;
        int fields = lightwidth(c, &width);
        ch.lightpacked = fields > 0;
        if (fields) (width == 2 ? fields2 : fields4) += fields;
    }
    lightfields2 = fields2;
    lightcells2 = (fields2 + 15) / 16;
    lightcells = lightcells2 + (fields4 + 7) / 8;
    lightfields = fields4 ? 16 * lightcells2 + fields4 : fields2;
    lightfieldcap = 8 * (lightcells + lightcells2);

    lightset = lo<uint32_t *>(nodz);
    lightset2 = zlo<uint32_t *>(nodz);
    uint32_t *row = lo<uint32_t>(size_t(nodz) * lightcells), *row2 = lo<uint32_t>(size_t(nodz - nt) * lightcells);
    for (int n = 0; n < nodz; ++n) lightset[n] = row + size_t(n) * lightcells;
    for (int n = nt; n < nodz; ++n) lightset2[n] = row2 + size_t(n - nt) * lightcells;
    for (size_t i = 0; i < size_t(nodz) * lightcells; ++i) row[i] = ~uint32_t{0};
    lightsteps = zlo<uint32_t>(lightfieldcap);
    lightchar = zlo<int>(lightfieldcap);
    lightsmall = zlo<uint32_t>(lightcells);
    lightwide = zlo<uint32_t>(4 * lightcells);
    lightstack = lo<uint32_t>(nt + 3);
    fillterminals();
}

// Vectors of the step-matrix characters; those of terminals are filled for good.
static void sankmem()
{
    sankcosts = zlo<uint32_t *>(nc);
    for (int c = 0; c < nc; ++c) {
        const charrec &ch = charcodes[c];
        if (!ch.sankoff || ch.continuous || ch.constant) continue;
        sankcosts[c] = lo<uint32_t>(size_t(nodz) * ch.numstates);
        for (int t = 0; t < nt; ++t) {
            uint32_t x = cell(t, c), *vector = sankcosts[c] + size_t(t) * ch.numstates;
            bool any = ismissing(x) || !(x & ch.sets);
            for (int s = 0; s < ch.numstates; ++s) vector[s] = any || (x >> s & 1) ? 0 : NO_CHANGE;
        }
    }
}

// Two states next to each other need no order.
static bool inrows(const charrec &ch)
{
    return !ch.sankoff && (!ch.additive || highest(ch.sets) - lowest(ch.sets) == 1);
}

static void addto(charrun *runs, int *n, int c)
{
    if (*n && runs[*n - 1].to == c) ++runs[*n - 1].to;
    else runs[(*n)++] = { c, c + 1 };
}

static void listunpacked()
{
    rowruns = lo<charrun>(nc);
    continuousruns = lo<charrun>(nc);
    singlechars = lo<int>(nc);
    rowsteps = lo<uint32_t>(nc);
    rangebounds = lo<int>(2 * size_t(nt));
    numrowruns = numcontinuousruns = numsinglechars = 0;
    for (int c = 0; c < nc; ++c) {
        const charrec &ch = charcodes[c];
        if (ch.lightpacked || ch.constant || !ch.active) continue;
        if (ch.continuous) addto(continuousruns, &numcontinuousruns, c);
        else if (inrows(ch)) addto(rowruns, &numrowruns, c);
        else singlechars[numsinglechars++] = c;
    }
}

static void fillconstants()
{
    for (int n = nt; n < nodz; ++n)
        for (int c = 0; c < nc; ++c)
            if (charcodes[c].constant) setcell(n, c, charcodes[c].sets ? charcodes[c].sets : MISSING);
}

static void internalrows()
{
    size_t width = size_t(nc) * celldim;
    uint8_t *block = zlo<uint8_t>(size_t(nodz - nt) * width);
    for (int n = nt; n < nodz; ++n) {
        uint8_t *row = block + size_t(n - nt) * width;
        if (celldim == 1) matrix1[n] = row;
        else if (celldim == 2) matrix[n] = reinterpret_cast<uint16_t *>(row);
        else matrix4[n] = reinterpret_cast<uint32_t *>(row);
    }
}

// Extended weighting that can do nothing is more likely a slip than meant.
static void warn_of_idle_weighting()
{
    if (!dopiwe || !xdopiwe_stat || ss_recurse_level) return;
    int active = 0, constant = 0;
    for (int c = 0; c < nc; ++c)
        if (charcodes[c].active) ++active, constant += xdopiwe_fixwt_user[c] != 0;
    if (!active) warnem("No characters are active.  Sure you want to calculate \"scores\"?", nullptr);
    else if (constant == active)
        warnem("All active characters are of constant weight.\nThis is an inefficient way to find trees\n"
               "of minimum-length under equal weights", nullptr);
}

// The tables of a search go first: whatever wipes both layers wipes that of the search before this
// one, which must therefore never stand above it.
void optmem()
{
    if (opttag) return;
    assert(nt && !doing_a_search);
    wipetag(&schtag);
    set_charcodes();
    piwe_init(0);
    set_fit_minima();
    refuse_user_function_for_data();
    warn_of_idle_weighting();
    set_chardownup();
    internalrows();
    lightpack();
    sankmem();
    listunpacked();
    fillconstants();
    lockram(&opttag);
}

void checklightopt()
{
    if (!opttag) return;
    assert(lightcells2 <= lightcells && lightfields2 <= 16 * lightcells2 && lightfields <= lightfieldcap);
    assert(lightfieldcap == 16 * lightcells2 + 8 * (lightcells - lightcells2));
    for (int i = 0; i < 4 * lightcells; ++i) assert(!lightwide[i] && !lightsmall[i / 4]);
    for (int f = 0; f < lightfieldcap; ++f) {
        int shift, at = fieldof(f, &shift);
        bool two = f < 16 * lightcells2, used = f < (two ? lightfields2 : lightfields);
        uint32_t whole = two ? 3 : 15;
        if (used && !charcodes[lightchar[f]].lightpacked) assert(!"field of a character that is not packed");
        for (int t = 0; t < nt; ++t) {
            uint32_t field = lightset[t][at] >> shift & whole;
            if (used ? !field : field != whole) assert(!"empty field, or padding with a missing state");
        }
    }
}
