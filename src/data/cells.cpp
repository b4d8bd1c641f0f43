// Cells: symbols become sets of states, numbers become ranges of thousandths.
//
// Continuous values are stored in 16 bits a bound.  A character with a value beyond 65 keeps its
// values as doubles at the high end of the arena until the whole matrix is known, and is then
// scaled so that its own range takes all of the 16 bits.
#include "data/cells.h"
#include "data/datamem.h"
#include "data/matrix.h"
#include "data/symbols.h"
#include "kernel/arena.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

int  (*cellch)();
void (*uncellch)();

struct range { double low, high; };
static range **kept;                     // by character; null for those that fit, null as long as all do
static bool gapsannounced;

constexpr double MAXVALUE = 65.0;
constexpr double NOVALUE = 1e10;         // bounds of a missing entry; an inapplicable one starts at 0

readingas::readingas() : type(data_type), gaps(read_gaps_as_missing) {}

readingas::~readingas()
{
    data_type = type;
    read_gaps_as_missing = gaps;
    symbols_of(data_type);
}

void startcells()
{
    cellch = gtch;
    uncellch = ungtch;
    kept = nullptr;
    gapsannounced = false;
}

void nomorewarnings() { gapsannounced = true; }

// --- Discrete ---

static uint32_t gapcell()
{
    if (read_gaps_as_missing) return tmpmask[data_type == DATA_DNA ? int('N') : int('*')];
    if (!gapsannounced) {
        gapsannounced = true;
        warnem("Gaps will be read as an additional state\n"
               "To read gaps as missing entries, change data format", nullptr);
    }
    return tmpmask[int('-')];
}

static uint32_t symbolset(int symbol, int t, int c)
{
    if (data_type == DATA_NUM) return tmpmask[symbol];
    if (tmpmask[symbol]) checkalpha(symbol, t, c);
    return symbol == '-' ? gapcell() : tmpmask[symbol];
}

// A gap that is no state adds nothing to the states it stands with.
static uint32_t bracketed(int t, int c)
{
    uint32_t cell = 0, gap = 0;
    for (int symbol = cellch() & 255; symbol != ']'; symbol = cellch() & 255) {
        if (symbol <= ' ') continue;
        uint32_t set = symbolset(symbol, t, c);
        if (!set) {
            if (symbol == ';') check_eof();
            hintcellerror();
            myerr("Unexpected state reading char. %i for taxon %s: %c\n", c, taxname[t], symbol);
        }
        if (symbol == '-' && (data_type == DATA_NUM || read_gaps_as_missing)) gap = set;
        else cell |= set;
    }
    return cell ? cell : gap;
}

uint32_t rddiscrete(int symbol, int t, int c)
{
    if (symbol == '[') return bracketed(t, c);
    if (data_type == DATA_NUM) return is_it_an_ok_state(symbol, t, c);
    if (symbol == '.') {
        if (!t) errmsg("The match symbol ('.') cannot be used for taxon 0", nullptr);
        return cell(0, c);
    }
    checkalpha(symbol, t, c);
    return symbol == '-' ? gapcell() : is_it_an_ok_state(symbol, t, c);
}

// --- Continuous ---

static bool isnumeral(int symbol) { return (symbol >= '0' && symbol <= '9') || symbol == '.'; }

// A number of digits with at most one point, and perhaps an exponent.
static double readreal(int symbol, int t, int c)
{
    constexpr int LONGEST = 25;
    char text[LONGEST + 8] = "";
    int n = 0, points = 0, digits = 0;
    for (; isnumeral(symbol) && points + (symbol == '.') <= 1; symbol = cellch() & 255) {
        if (symbol == '.') ++points;
        else ++digits;
        chk_strlen(n + 1, LONGEST, "Number");
        text[n++] = char(symbol);
    }
    if (!digits || symbol == '.') {
        hintcellerror();
        myerr("Taxon %i (%s), char. %i (block %i): expecting real number; found '%c'",
              t, taxname[t], c, charcodes[c].block, symbol);
    }
    if (symbol == 'e' || symbol == 'E') {
        text[n++] = 'e';
        symbol = cellch() & 255;
        if (symbol == '-' || symbol == '+') {
            text[n++] = char(symbol);
            symbol = cellch() & 255;
        }
        for (; symbol >= '0' && symbol <= '9'; symbol = cellch() & 255)
            if (n < LONGEST + 6) text[n++] = char(symbol);
    }
    uncellch();
    double value = 0;
    auto end = std::from_chars(text, text + n, value);      // not strtod: the locale's decimal sign is not ours
    if (value >= NOVALUE / 2 || (end.ec == std::errc::result_out_of_range && !strchr(text, '-')))
        myerr("Taxon %i (%s), char. %i (block %i): number is too large", t, taxname[t], c, charcodes[c].block);
    return value;
}

// Plus-minus in the two one-byte character sets, and in UTF-8.
static bool plusminus(int *symbol)
{
    if (*symbol == 0xC2) {
        int next = cellch() & 255;
        if (next == 0xB1) {
            *symbol = next;
            return true;
        }
        uncellch();
    }
    return *symbol == 177 || *symbol == 241;
}

static range readrange(int symbol, int t, int c)
{
    if (symbol == '?') return { -NOVALUE, NOVALUE };
    if (symbol == '*') return { 0, NOVALUE };
    double x = readreal(symbol, t, c);
    symbol = cellch() & 255;
    if (symbol == '-') {
        double y = readreal(cellch() & 255, t, c);
        return { std::min(x, y), std::max(x, y) };
    }
    if (symbol == '/' || plusminus(&symbol)) {
        double d = readreal(cellch() & 255, t, c);
        return { std::max(0.0, x - d), x + d };
    }
    uncellch();
    return { x, x };
}

// Decimals beyond the third are cut; the allowance is for what binary fractions fall short of decimals.
static uint32_t thousandths(double x) { return uint32_t(std::min(x, MAXVALUE) * 1000 + 1e-6); }

static uint32_t pack(range r)
{
    if (r.low < 0) return CONT_MISSING;
    if (r.high >= NOVALUE) return CONT_INAPP;
    return thousandths(r.high) << 16 | thousandths(r.low);
}

static range unpack(uint32_t cell)
{
    if (cell == MISSING || cell == CONT_MISSING) return { -NOVALUE, NOVALUE };
    if (cell == CONT_INAPP) return { 0, NOVALUE };
    return { (cell & 0xffff) / 1000.0, (cell >> 16) / 1000.0 };
}

static void startkeeping(int t, int c)
{
    if (!kept) {
        mywarn("Taxon %i (%s), char. %i (block %i): continuous characters with\n"
               "maximum beyond 65.000 will be rescaled to fit the 0-65 range", t, taxname[t], c, charcodes[c].block);
        kept = zhi<range *>(nc);
    }
    kept[c] = hi<range>(nt);
    for (int i = 0; i < nt; ++i) kept[c][i] = unpack(matrix4[i][c]);
}

uint32_t rdcontinuous(int symbol, int t, int c)
{
    range r = readrange(symbol, t, c);
    if (r.low >= 0 && r.high < NOVALUE && r.high > MAXVALUE && !(kept && kept[c])) startkeeping(t, c);
    if (kept && kept[c]) kept[c][t] = r;
    return pack(r);
}

// A value as shown, in thousandths; the scale of a character does not change with one cell.
static double shownvalue(double x, int c)
{
    const scaleback &scale = cont_scale_back[c];
    if (!display_in_original_scale || isunscaled(scale)) return x;
    if (scale.islog) x = std::log1p(x);
    return (x - 1000 * scale.offset) * scale.factor / 1000;
}

uint32_t editcontinuous(int symbol, int t, int c)
{
    range r = readrange(symbol, t, c);
    if (r.low < 0 || r.high >= NOVALUE) return pack(r);
    r = { shownvalue(r.low, c), shownvalue(r.high, c) };
    if (r.low < 0 || r.high > MAXVALUE)
        myerr("Taxon %i (%s), char. %i: value is beyond the scale of the character", t, taxname[t], c);
    return pack(r);
}

void copycells(int from, int to, int first, int end)
{
    for (int c = first; c < end; ++c) {
        setcell(to, c, cell(from, c));
        if (kept && kept[c]) kept[c][to] = kept[c][from];
    }
}

static void rescale(int c)
{
    double low = NOVALUE, high = -NOVALUE;
    for (int t = 0; t < nt; ++t) {
        range r = kept[c][t];
        if (r.high >= NOVALUE) continue;
        low = std::min(low, r.low);
        high = std::max(high, r.high);
    }
    scaleback &scale = cont_scale_back[c];
    scale.factor = high > low ? 65000 / (high - low) : 500;      // one value alone: any factor but 1 will do
    scale.offset = low / 1000;
    auto stored = [&](double x) { return uint32_t((x - low) * scale.factor + 0.5); };
    for (int t = 0; t < nt; ++t) {
        range r = kept[c][t];
        matrix4[t][c] = r.high >= NOVALUE ? pack(r) : stored(r.high) << 16 | stored(r.low);
    }
}

void rescale_large_continuous()
{
    for (int c = 0; kept && c < nc; ++c)
        if (kept[c]) rescale(c);
    kept = nullptr;
}
