// Cells and trees as other programs read them.
#include "formats/foreignwrite.h"
#include "formats/foreigntree.h"
#include "trees/treemodel.h"
#include "trees/treetags.h"
#include "data/matrix.h"
#include "data/symbols.h"
#include <bit>
#include <cstdlib>
#include <cstring>

// --- Cells ---

foreigncells::foreigncells(int type_, char opening_, char closing_) : type(type_), opening(opening_), closing(closing_)
{
    symbols_of(type);
}

int shared_type()
{
    for (int c = 1; c < nc; ++c)
        if (charcodes[c].type != charcodes[0].type) return DATA_NUM;
    return charcodes[0].type;
}

// The one letter for several bases or amino acids, 0 when there is none.
static char ambiguity(uint32_t set)
{
    for (int c = 'A'; c <= 'Z'; ++c)
        if (tmpmask[c] == set) return char(c);
    return 0;
}

void foreigncells::put(int t, int c, std::string *out) const
{
    uint32_t x = cell(t, c);
    bool lacking = x == MISSING || !x, anyacid = type == DATA_PROT && x == tmpmask[int('*')];
    if (lacking || ismissing(x)) {
        *out += lacking ? '?' : '-';         // what does not apply is most like a gap
        return;
    }
    if (anyacid && read_gaps_as_missing) {   // so were gaps read
        *out += '-';
        return;
    }
    if (char letter = type == DATA_NUM ? 0 : ambiguity(x)) {
        *out += letter;
        return;
    }
    bool several = std::popcount(x) > 1;
    if (several) *out += opening;
    for (; x; x &= x - 1) *out += char(statesymbol(type, std::countr_zero(x)));
    if (several) *out += closing;
}

// --- Trees ---

int rootingletter(const int *anc)
{
    int below = 0;
    for (int n = 0; n < anc[nt]; ++n) below += n != nt && anc[n] == nt;
    return below == 2 ? 'R' : 'U';
}

static bool isnumber(const std::string &text)
{
    char *end;
    strtod(text.c_str(), &end);
    return !text.empty() && !*end && text.find_first_not_of("0123456789.eE+-") == std::string::npos;
}

// What cannot be told as a label or a length stands in brackets, for the human reader.
static void putmixed(int n, const std::string &tag, std::string *out)
{
    size_t mark = tag.rfind(LABELMARK);
    std::string label, length = tag;
    if (!isnumber(tag)) {
        bool both = mark != std::string::npos && isnumber(tag.substr(mark + 1));
        label = both ? tag.substr(0, mark) : tag;
        length = both ? tag.substr(mark + 1) : "";
    }
    if (!label.empty() && n >= nt) *out += foreignlabel(label);
    if (!label.empty() && n < nt) *out += "[" + label + "]";
    if (!length.empty()) *out += ":" + length;
}

static void puttag(int n, tagkind kind, std::string *out)
{
    std::string tag = kind == TAGS_NONE ? "" : txtrmsg[n];
    if (tag.empty()) return;
    if (kind == TAGS_MIXED) putmixed(n, tag, out);
    else if (kind == TAGS_LENGTHS) *out += ":" + tag;
    else if (n >= nt) *out += foreignlabel(tag);
    else *out += "[" + tag + "]";
}

// Up and down the tree by its links: trees may be as deep as they have taxa.
template<class F, class G>
static void puttree(const int *anc, char between, F terminal, G closed, std::string *out)
{
    mksis(anc);
    int n = nt;
    *out += '(';
    n = lef[n];
    while (true) {
        if (n >= nt) {
            *out += '(';
            n = lef[n];
            continue;
        }
        terminal(n);
        while (n != nt && sis[n] < 0) {
            n = anc[n];
            *out += ')';
            closed(n);
        }
        if (n == nt) break;
        *out += between;
        n = sis[n];
    }
}

void put_foreign_tree(const int *anc, tagkind tags, std::string *out)
{
    auto tag = [&](int n) { puttag(n, tags, out); };
    puttree(anc, ',', [&](int t) { *out += foreignname(t); tag(t); }, tag, out);
    *out += ';';
}

void put_numbered_tree(const int *anc, std::string *out)
{
    puttree(anc, ' ', [&](int t) { *out += std::to_string(t + 1); }, [](int) {}, out);
}
