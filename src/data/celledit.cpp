// Editing single cells of the matrix in memory.
#include "data/xread.h"
#include "data/cells.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "data/symbols.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/random.h"
#include <cstdlib>
#include <string>

// --- Cells read from a text ---

static const char *textcells;            // what is read, and where reading stands
static size_t      textat, textsize;

static int  textch()   { int c = textat < textsize ? textcells[textat] & 255 : ';'; ++textat; return c; }
static void untextch() { if (textat) --textat; }

namespace {
struct celltext {
    int  (*ch)() = cellch;
    void (*unch)() = uncellch;
    explicit celltext(const std::string &text)
    {
        textcells = text.c_str();
        textsize = text.size();
        textat = 0;
        cellch = textch;
        uncellch = untextch;
    }
    ~celltext() { cellch = ch; uncellch = unch; }
};
}

static uint32_t decode(const std::string &text, int t, int c)
{
    const charrec &r = charcodes[c];
    celltext source(text);
    readingas settings;
    data_type = r.type;
    symbols_of(data_type);
    int symbol = textch();
    uint32_t x = r.continuous ? editcontinuous(symbol, t, c) : rddiscrete(symbol, t, c);
    if (textat < textsize)
        myerr("Found alien symbol for taxon %i (%s), char. %i (block %i): '%c'",
              t, taxname[t], c, r.block, textcells[textat]);
    return x;
}

// --- Which cells ---

// One element or range, or a list in square brackets.
static uint8_t *cellscope(int n, const char *kind, char **names)
{
    uint8_t *list = zhi<uint8_t>(size_t(n));
    if (gotc('[')) {
        if (!read_scope(list, 0, n, kind, names)) errmsg("Expected a list of cells to change", nullptr);
        if (!gotc(']')) errarg(peep());
        for (int i = 0; i < n; ++i) list[i] = list[i] == LISTED;
        return list;
    }
    getscope(0, n, kind);
    for (int i = scopis[0]; i <= scopis[1]; ++i) list[i] = 1;
    return list;
}

static std::string statetext()
{
    std::string text;
    bool inside = false;
    for (int c = gtnb(); c != ';' && (inside || c > ' '); c = gtch()) {
        if (c == '[') inside = true;
        if (c == ']') inside = false;
        text += char(c);
    }
    ungtch();
    if (text.empty()) errmsg("Must specify state(s) for the cell", nullptr);
    return text;
}

// --- The forms ---

// Every cell is decoded before the first one is changed.
static void setcells(bool minima)
{
    while (peep() != ';') {
        uint8_t *chars = cellscope(nc, "character", charnames);
        uint8_t *taxa = cellscope(nt, "taxon", taxname);
        std::string text = statetext();
        for (int pass = 0; pass < 2; ++pass)
            for (int c = 0; c < nc; ++c)
                for (int t = 0; chars[c] && t < nt; ++t) {
                    if (!taxa[t]) continue;
                    uint32_t x = decode(text, t, c);
                    if (pass) setcell(t, c, x);
                }
        for (int c = 0; minima && c < nc; ++c)
            if (chars[c]) charcodes[c].recalc = 1;
        if (minima) chartables_reset();
        else {
            wipetag(&schtag);
            wipetag(&opttag);
        }
        freehi();
    }
    set_charcodes();
}

static bool chance(double p) { return rand() / (RAND_MAX + 1.0) < p; }

static double probability()
{
    double p = gtdouble();
    if (p < 0 || p > 1) errmsg("Probability of missing entries must be 0-1", nullptr);
    return p;
}

static void addmissing()
{
    double perchar = probability(), pertaxon = probability();
    randinit();
    for (int c = 0; c < nc; ++c) {
        if (!chance(perchar)) continue;
        for (int t = 0; t < nt; ++t)
            if (chance(pertaxon)) setcell(t, c, charcodes[c].continuous ? CONT_MISSING : MISSING);
        charcodes[c].recalc = 1;
    }
    chartables_reset();
    set_charcodes();
}

static void recompute()
{
    for (int c = 0; c < nc; ++c) charcodes[c].recalc = 1;
    chartables_reset();
    set_charcodes();
}

void changedatcom()
{
    nodaterror("changing data");
    nomorewarnings();
    switch (peep()) {
    case '?':
        gtnb();
        addmissing();
        break;
    case '=':
        gtnb();
        recompute();
        break;
    case '!':
        gtnb();
        setcells(false);
        break;
    default:
        setcells(true);
    }
}
