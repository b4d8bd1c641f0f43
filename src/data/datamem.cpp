// The matrix layer: how much memory it needs, growing the arena for it, and laying it out.
#include "data/datamem.h"
#include "data/below.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "data/symbols.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/typos.h"
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <unistd.h>

scaleback *cont_scale_back;
int xlinks_allowed;

constexpr int STARTTREES = 100;          // room for trees with every new matrix
constexpr long TOOMANY = 1000000000;     // taxa or characters that no memory holds, and no index counts

using bigcount = unsigned __int128;

// The expected size allows a quarter more than the tables add up to, for what is built upon them.
uint64_t expectedsize(long chars, long taxa, int width)
{
    bigcount c = bigcount(chars), t = bigcount(taxa), n = 2 * t - 1, name = bigcount(Namesize), m = bigcount(8 * width);
    bigcount a = 112 * c + 96 * name;
    if (allow_sankoff) a += 8 * c + 4 * m * m * c;
    bigcount b = a + 24 * n + bigcount(width) * c * t;
    bigcount all = n * bigcount(maxtxtsz) + n + name * t + 512 + 4 * (19 * n + 2 * (2 * name * n + t)) + b;
    all = all / 4 * 5;
    if (xlinks_allowed) {
        bigcount links = c * bigcount(xlinks_allowed), cells = 8 * links * bigcount(width);
        all += 16 * c + 12 * links + 8 * cells + bigcount(width) * cells;
    }
    return all >> 62 ? uint64_t{1} << 62 : uint64_t(all);
}

uint64_t datasize()
{
    uint64_t size = expectedsize(nc, nt, celldim);
    joinem("Matrix (", intvert(nc), "x", intvert(nt), ", ", intvert(maxstate), " states). ", nullptr);
    if (ram_x_proportion > 0) size = uint64_t(double(size) * ram_x_proportion);
    tojoin("Memory required for data: ");
    writembytes(size);
    spewout();
    if (ram_x_proportion > 0) myp("N.B.: allocating no less than %.2f of expected RAM", ram_x_proportion);
    return size;
}

uint64_t machineram() { return uint64_t(sysconf(_SC_PHYS_PAGES)) * uint64_t(sysconf(_SC_PAGE_SIZE)); }

// Four times the data leaves room for trees and searches.  What the machine cannot give at all is
// not asked for: the layout then runs out in the arena as it is.
static void growarena(uint64_t size)
{
    uint64_t want = size * 4;
    if (!autoset_ram || iamslave || vailram() >= want) return;
    uint64_t machine = machineram();
    if (size > machine) return;
    ram_autoreset(std::min(want, std::max(size, machine / 4 * 3)));
}

static uint32_t **unitcosts(int chars, charrec *records)
{
    size_t states = size_t(maxstate);
    uint32_t **rows = lorows<uint32_t>(size_t(chars) * states, states);
    for (int c = 0; c < chars; ++c) {
        records[c].costs = rows + size_t(c) * states;
        for (size_t from = 0; from < states; ++from)
            for (size_t to = 0; to < states; ++to) records[c].costs[from][to] = from != to;
    }
    return rows;
}

static void newcharacters()
{
    charcodes = zlo<charrec>(nc);
    oldccodes = zlo<charrec>(nc);
    for (int c = 0; c < nc; ++c) {
        charrec &r = charcodes[c];
        r.sets = 1000000;
        r.aux_unit = r.weight = 1;
        r.realmin = -1.0;
        r.usermin = r.user_maxstate = -1;
        r.active = r.recalc = 1;
    }
    if (allow_sankoff) {
        unitcosts(nc, charcodes);
        unitcosts(nc, oldccodes);
    }
}

static void newrows()
{
    void **rows = static_cast<void **>(zloram(size_t(nodz) * sizeof(void *)));
    size_t width = size_t(nc) * size_t(celldim);
    char *block = static_cast<char *>(fulloram(size_t(nt + 1) * width));    // all bits set: missing in every width
    for (int t = 0; t < nt; ++t) rows[t] = block + size_t(t) * width;
    matrix1 = reinterpret_cast<uint8_t **>(rows);
    matrix = reinterpret_cast<uint16_t **>(rows);
    matrix4 = reinterpret_cast<uint32_t **>(rows);
    void *ancestral = block + size_t(nt) * width;
    ancstates1 = static_cast<uint8_t *>(ancestral);
    ancstates = static_cast<uint16_t *>(ancestral);
    ancstates4 = static_cast<uint32_t *>(ancestral);
}

void datamem()
{
    newcharacters();
    taxname = static_cast<char **>(zloram((size_t(nodz) + 1) * sizeof(char *)));
    char *names = static_cast<char *>(zloram(size_t(nt) * size_t(Namesize)));
    for (int t = 0; t < nt; ++t) taxname[t] = names + size_t(t) * size_t(Namesize);
    taxact = static_cast<uint8_t *>(zloram(size_t(nodz)));
    memset(taxact, 1, size_t(nt));
    taxisperm = static_cast<uint8_t *>(zloram(size_t(nodz)));
    ref_steps = zlo<double>(nc);
    ref_fit = zlo<double>(nc);
    uninf_states = zlo<uint32_t>(nc);
    cont_scale_back = zlo<scaleback>(nc);
    for (int c = 0; c < nc; ++c) cont_scale_back[c].factor = 1;
    laytreearrays();
    implied_datamem();
    newrows();
}

void askreplace(const char *newname)
{
    if (!datatag) return;
    warnem("Data from:\n\n      ", dataname, "\n\nwill be replaced with data from:\n\n      ", newname, nullptr);
    drop_all_data();
}

void beginmatrix(long chars, long taxa)
{
    initialize_mask();
    types_read = 0;
    if (chars > TOOMANY || taxa > TOOMANY) loram(SIZE_MAX / 2);     // fails in the words for no memory
    nc = int(chars);
    nt = int(taxa);
    nodz = 2 * nt - 1;
    root = 2 * nt - 2;
    growarena(datasize());
    datamem();
}

void laynames(const std::string *names, int n, char ***where)
{
    char **pointers = lo<char *>(n);
    for (int i = 0; i < n; ++i) {
        pointers[i] = lo<char>(names[i].size() + 1);
        memcpy(pointers[i], names[i].c_str(), names[i].size() + 1);
    }
    *where = pointers;
}

// Columns of which nothing told the type go with the column before.
static void settletypes()
{
    for (int c = 0; c < nc; ++c)
        if (!charcodes[c].type) charcodes[c].type = uint8_t(c ? charcodes[c - 1].type : int(DATA_NUM));
    for (int c = 1; c < nc; ++c)             // nothing but missing entries behind continuous characters
        if (charcodes[c].type == DATA_CONT && !charcodes[c].continuous) charcodes[c].type = DATA_NUM;
}

void finishmatrix(const char *name)
{
    settletypes();
    set_state_mask();
    ccodetag = 0;
    for (int c = 0; c < nc; ++c) charcodes[c].recalc = 1;
    snprintf(dataname, sizeof dataname, "%s", name);
    outgroup = 0;
    memcpy(ancstates1, matrix1[0], size_t(nc) * size_t(celldim));
    realntax = realnt = ntax = nt;
    set_charcodes();
    for (int c = 0; c < nc; ++c) {           // what is stored never differs but by what ckeep copies
        uint32_t **costs = oldccodes[c].costs;
        oldccodes[c] = charcodes[c];
        oldccodes[c].costs = costs;
    }
    freehi();
    lockram(&datonlytag);
    laytreebuffer(STARTTREES);
    if (admit_typos) allocate_name_matching();
    defined_ref = 0;
    if (!ss_recurse_level) initialize_autoset();         // a sector leaves the settings to what it is part of
}

unread::~unread()
{
    if (!done) drop_all_data();
}
