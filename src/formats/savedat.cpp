// "xread" with a sign: the data saved in the native format, with the settings of characters.
//
// What is written is read back to the same cells.  A run of characters of one type, within one block
// where blocks are asked for, is a block of the interleaved layout.
#include "trees/implied.h"
#include "trees/lightopt.h"
#include "trees/safefile.h"
#include "trees/treebuf.h"
#include "trees/xpiwe.h"
#include "data/below.h"
#include "data/blocks.h"
#include "data/costs.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "data/symbols.h"
#include "kernel/arena.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/random.h"
#include <algorithm>
#include <bit>
#include <cctype>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <string>
#include <vector>

namespace {
struct saving {
    bool activetaxa = false, activechars = false, blocks = false, mangle = false;
    int  tree = -1;                      // whose reconstructions are added
    std::vector<int> chars;              // in the order in which they are written
    std::vector<std::vector<int>> states;   // by character: what each state is written as; empty: as itself
    std::string text;
};
}

// --- Reading ---

// The characters whose order is made random.
static void readmangled(saving *s)
{
    s->mangle = true;
    int c = peep();
    if (!isdigit(c) && c != '.' && c != '{' && c != '@') return;
    uint8_t *list = zlo<uint8_t>(size_t(nc));
    read_scope(list, 0, nc, "character", charnames);
    gotc('/');
    std::vector<int> places;
    for (size_t i = 0; i < s->chars.size(); ++i)
        if (list[s->chars[i]] == LISTED) places.push_back(int(i));
    for (int i : places)
        if (charcodes[s->chars[size_t(i)]].block != charcodes[s->chars[size_t(places[0])]].block ||
            charcodes[s->chars[size_t(i)]].continuous != charcodes[s->chars[size_t(places[0])]].continuous)
            errmsg("Cannot mangle characters in different blocks", nullptr);
    randinit();
    for (size_t i = places.size(); i > 1; --i)
        std::swap(s->chars[size_t(places[i - 1])], s->chars[size_t(places[size_t(rand()) % i])]);
}

static void readtreenumber(saving *s)
{
    if (!gotc('(')) return;
    notreeerror();
    long t = gtnu();
    if (t < 0) errmsg("Must give", "tree", "number", nullptr);
    if (!isatree(t)) numtreeerror(t);
    if (!gotc(')')) errmsg("Expected ')' after number of tree", nullptr);
    s->tree = int(t);
}

static void readforms(saving *s, int c)
{
    bool mangled = false;
    for (;; c = gtnb()) {
        if (c == '!') s->activetaxa = true;
        else if (c == '-') s->activechars = true;
        else if (c == '[') s->blocks = true;
        else if (c == ':') mangled = true;
        else if (c != '*') break;
    }
    ungtch();
    for (c = 0; c < nc; ++c)
        if (!s->activechars || charcodes[c].active) s->chars.push_back(c);
    if (s->chars.empty()) errmsg("There are no active characters to save", nullptr);
    if (mangled) readmangled(s);
    readtreenumber(s);
}

// --- Mangling ---

// The order of states means something where they are additive or have costs.
static void manglestates(saving *s)
{
    s->states.resize(size_t(nc));
    randinit();
    for (int c : s->chars) {
        const charrec &r = charcodes[c];
        if (r.continuous || r.additive || r.sankoff) continue;
        int states = r.type == DATA_DNA ? 4 : r.type == DATA_PROT ? 21 : r.numstates;
        std::vector<int> &as = s->states[size_t(c)];
        as.resize(size_t(std::max(states, 0)));
        std::iota(as.begin(), as.end(), 0);
        for (size_t i = as.size(); i > 1; --i) std::swap(as[i - 1], as[size_t(rand()) % i]);
    }
}

static uint32_t written(const saving &s, uint32_t x, int c)
{
    if (s.states.empty() || s.states[size_t(c)].empty() || ismissing(x)) return x;
    uint32_t y = 0;
    for (uint32_t left = x; left; left &= left - 1) {
        size_t state = size_t(std::countr_zero(left));
        y |= uint32_t{1} << (state < s.states[size_t(c)].size() ? size_t(s.states[size_t(c)][state]) : state);
    }
    return y;
}

// --- Rows ---

// As read back: blanks in names are '^', and no name is longer than it is.
static void putname(saving *s, const std::string &name)
{
    char column[300];
    std::string text = name;
    std::replace(text.begin(), text.end(), ' ', '^');
    snprintf(column, sizeof column, "%-15s ", text.c_str());
    s->text += column;
}

static void putcells(saving *s, int row, size_t from, size_t to)
{
    char text[80];
    for (size_t i = from; i < to; ++i) {
        int c = s->chars[i];
        if (charcodes[c].continuous) {
            copystates(c, row, text);
            s->text += text;
            s->text += ' ';
            continue;
        }
        uint32_t was = cell(row, c);
        copycell(c, written(*s, was, c), text);
        s->text += text;
    }
    s->text += '\n';
}

// Characters that can stand in one block of the file.
static bool together(const saving &s, int a, int b)
{
    const charrec &x = charcodes[a], &y = charcodes[b];
    return x.type == y.type && x.continuous == y.continuous && (!s.blocks || x.block == y.block);
}

static bool hasgapstate(const saving &s, size_t from, size_t to)
{
    int type = charcodes[s.chars[from]].type;
    uint32_t gap = type == DATA_DNA ? 1u << 4 : type == DATA_PROT ? 1u << 21 : 0;
    for (size_t i = from; i < to && gap; ++i)
        for (int t = 0; t < nt; ++t)
            if (uint32_t x = cell(t, s.chars[i]); !ismissing(x) && (x & gap)) return true;
    return false;
}

static void putheading(saving *s, size_t from, size_t to)
{
    const charrec &r = charcodes[s->chars[from]];
    s->text += r.continuous ? "&[cont" : r.type == DATA_DNA ? "&[dna" : r.type == DATA_PROT ? "&[prot" : "&[num";
    if (r.type == DATA_DNA || r.type == DATA_PROT) s->text += hasgapstate(*s, from, to) ? " gaps" : " nogaps";
    if (s->blocks && blockname && r.block > 0 && r.block <= nblocks) s->text += std::string(" /") + blockname[r.block];
    s->text += "]\n";
}

static void putmatrix(saving *s)
{
    bool continuous = charcodes[s->chars[0]].continuous;
    int taxa = 0, htus = 0;
    for (int t = 0; t < nt; ++t) taxa += !s->activetaxa || taxact[t];
    if (s->tree >= 0) {
        optmem();
        optimize(mem_tree[s->tree]);
        htus = mem_tree[s->tree][nt] - nt;
    }
    s->text = continuous ? "nstates cont;\n" : "nstates " + std::to_string(maxstate) + ";\n";
    if (dopiwe && xdopiwe_stat) {            // extended weighting is for data read under implied weights
        char k[400];
        s->text += "piwe = " + std::string(k, std::to_chars(k, k + sizeof k, konk, std::chars_format::fixed).ptr) + " ;\n";
    }
    s->text += "xread 'Data saved from ZEL'\n" + std::to_string(s->chars.size()) + ' ' + std::to_string(taxa + htus) + '\n';
    for (size_t from = 0, to; from < s->chars.size(); from = to) {
        for (to = from + 1; to < s->chars.size() && together(*s, s->chars[from], s->chars[to]); ++to) ;
        putheading(s, from, to);
        for (int t = 0; t < nt; ++t) {
            if (s->activetaxa && !taxact[t]) continue;
            putname(s, taxname[t]);
            putcells(s, t, from, to);
        }
        for (int n = nt; n < nt + htus; ++n) {
            char name[40];
            snprintf(name, sizeof name, "HTU_%-12i ", n);
            s->text += name;
            putcells(s, n, from, to);
        }
    }
    s->text += ";\n";
}

// --- Settings ---

static void putsettings(saving *s)
{
    bool internal = false;
    for (int c : s->chars) internal |= charcodes[c].internal_steps > 0;
    for (size_t i = 0; i < s->chars.size(); ++i)
        if (int c = s->chars[i]; charcodes[c].sankoff)
            s->text += "cost " + std::to_string(i) + " =" + writtencosts(charcosts, c, charcodes[c].numstates);
    s->text += "ccode ";
    char text[80];
    for (size_t i = 0; i < s->chars.size(); ++i) {
        const charrec &r = charcodes[s->chars[i]];
        snprintf(text, sizeof text, "%s%c", r.sankoff ? "(" : r.additive ? "+" : "-)", r.active ? '[' : ']');
        s->text += text;
        if (internal) s->text += "=" + std::to_string(r.internal_steps);
        snprintf(text, sizeof text, "/%-2i %-4i ", r.weight, int(i));
        s->text += text;
    }
    s->text += ";\n";
}

static void puttaxa(saving *s)
{
    if (s->activetaxa || numactive() == nt) return;
    s->text += "taxcode - ";
    for (int t = 0; t < nt; ++t)
        if (!taxact[t]) s->text += std::to_string(t) + ' ';
    s->text += ";\n";
}

// --- The command ---

// Without a file the text is output as any other, and so goes to the log.
static void putout(const std::string &text)
{
    for (size_t at = 0, end; at < text.size(); at = end) {
        end = text.find('\n', at) + 1;
        spewer(text.substr(at, end - at).c_str());
    }
}

static void putfile(const std::string &name, const std::string &text)
{
    safefile f;
    if (!safeopen(&f, name.c_str())) myerr("Can't open file \"%s\" for writing...", name.c_str());
    fwrite(text.data(), 1, text.size(), f.stream);
    if (!safeclose(&f)) errmsg("Can't write to file", name.c_str(), "- it was left as it was before", nullptr);
    spewem("Saved data to file", name.c_str(), nullptr);
}

void savedatcom(int c)
{
    nodaterror("saving data");
    saving s;
    readforms(&s, c);
    std::string name = rdfilename() ? cmdname : "";
    if (s.mangle) manglestates(&s);
    putmatrix(&s);
    putsettings(&s);
    puttaxa(&s);
    s.text += xpiwe_status_text(s.chars);
    s.text += "proc/;\n";
    if (name.empty()) putout(s.text);
    else putfile(name, s.text);
}
