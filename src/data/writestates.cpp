// Cells as text.
#include "data/datamem.h"
#include "data/matrix.h"
#include "data/symbols.h"
#include "kernel/output.h"
#include <bit>
#include <cmath>
#include <cstdio>

int display_in_original_scale;

bool isunscaled(const scaleback &s) { return s.factor == 1 && s.offset == 0; }

double originalvalue(int c, int stored)
{
    const scaleback &s = cont_scale_back[c];
    if (isunscaled(s)) return stored / 1000.0;
    double value = stored / s.factor + 1000 * s.offset;
    return s.islog ? std::expm1(value) : value;
}

static int number(char *out, int c, int stored)
{
    return sprintf(out, "%.3f", display_in_original_scale ? originalvalue(c, stored) : stored / 1000.0);
}

static void bounds(int c, uint32_t x, char *out)
{
    int low = int(x & 0xffff), high = int(x >> 16);
    out += number(out, c, low);
    if (low == high) return;
    *out++ = '-';
    number(out, c, high);
}

// The cell as a reader takes it back; out has room for 80 bytes.
void copycell(int c, uint32_t x, char *out)
{
    const charrec &r = charcodes[c];
    if (r.continuous) {
        if (x == CONT_MISSING || x == CONT_INAPP) sprintf(out, x == CONT_MISSING ? "?" : "*");
        else bounds(c, x, out);
        return;
    }
    if (x == MISSING || ismissing(x)) {
        sprintf(out, x == MISSING ? "?" : "*");
        return;
    }
    bool several = std::popcount(x) != 1;
    if (several) *out++ = '[';
    for (; x; x &= x - 1) *out++ = char(statesymbol(r.type, std::countr_zero(x)));
    if (several) *out++ = ']';
    *out = 0;
}

void copystates(int c, int t, char *out) { copycell(c, cell(t, c), out); }

void writestates(int c, int t)
{
    uint32_t x = cell(t, c);
    const charrec &r = charcodes[c];
    bool missing = r.continuous ? x == CONT_MISSING : x == MISSING;
    bool inapplicable = r.continuous ? x == CONT_INAPP : ismissing(x);
    if (missing || inapplicable) {
        tojoin(missing ? " ? " : "inapplic.");
        return;
    }
    if (r.continuous) {
        char text[80];
        bounds(c, x, text);
        tojoin(text);
        return;
    }
    for (; x; x &= x - 1) {
        int s = std::countr_zero(x);
        const char *name = use_charnames && statenames && statenames[c] ? statenames[c][s] : nullptr;
        if (name) tojoin(name);
        else spewch(statesymbol(r.type, s));
        if (x & (x - 1)) tojoin(", or ");
    }
}
