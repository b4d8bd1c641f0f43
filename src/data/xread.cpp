// xread: reading a matrix in the native format.
#include "data/xread.h"
#include "data/below.h"
#include "data/cells.h"
#include "data/datamem.h"
#include "data/matrix.h"
#include "data/rows.h"
#include "data/symbols.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include <algorithm>
#include <bit>
#include <cstdio>
#include <string>

// --- Title ---

// Bytes that are no UTF-8 are taken as Latin 1.
static std::string utf8(const std::string &text)
{
    auto trail = [&](size_t i) { return i < text.size() && (text[i] & 0xC0) == 0x80; };
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        int more = c >= 0xF0 && c < 0xF5 ? 3 : c >= 0xE0 && c < 0xF0 ? 2 : c >= 0xC2 && c < 0xE0 ? 1 : 0, good = 0;
        while (good < more && trail(i + size_t(good) + 1)) ++good;
        if (c < 128) out += char(c);
        else if (more && good == more) {
            out.append(text, i, size_t(more) + 1);
            i += size_t(more);
        } else {
            out += char(0xC0 | c >> 6);
            out += char(0x80 | (c & 0x3F));
        }
    }
    return out;
}

// The text up to the closing quote, in which nothing has a meaning.
static std::string quoted()
{
    struct literal {
        int quotes = doing_quotes, ignored = ignore_quotes;
        literal() { doing_quotes = ignore_quotes = 1; }
        ~literal() { doing_quotes = quotes; ignore_quotes = ignored; }
    } guard;
    std::string text;
    for (int c = gtch(); c != '\''; c = gtch()) {
        if (c == ';') check_eof();           // a level that ends brings a semicolon of its own
        if (c != '\r') text += char(c);
    }
    return text;
}

// The quotes of the title are not for the macro language.
struct noquotes {
    int was = ignore_quotes;
    noquotes()  { ignore_quotes = 1; }
    ~noquotes() { ignore_quotes = was; }
};

static void title()
{
    noquotes whilehere;
    if (!gotc('\'')) return;
    std::string text = utf8(quoted());
    if (text.empty()) return;
    constexpr size_t PIECE = 1024;           // what is composed at once is limited
    for (size_t at = 0; at < text.size(); ) {
        size_t end = std::min(at + PIECE, text.size());
        while (end < text.size() && end > at + 1 && (text[end] & 0xC0) == 0x80) --end;
        joinem(text.substr(at, end - at).c_str(), nullptr);
        at = end;
    }
    newln();
}

// --- The matrix ---

// The next character that is no blank, with the mark of old interleaved files among them.
static int layoutmark()
{
    int c;
    do c = gtch();
    while (c <= ' ' && c != 4);
    if (c != 4) ungtch();
    return c;
}

static void saymixed()
{
    if (std::popcount(unsigned(types_read)) < 2) return;
    std::string list = "Data were read as mixed types: ";
    int left = std::popcount(unsigned(types_read));
    for (int type = DATA_NUM; type <= DATA_LAND; type *= 2) {
        if (!(types_read & type)) continue;
        list += typeword(type);
        --left;
        if (left == 1) list += " and ";
        else if (left) list += ", ";
    }
    myp("%s", list.c_str());
}

static void missingcontinuous()
{
    for (int c = 0; c < nc && charcodes[c].continuous; ++c)
        for (int t = 0; t < nt; ++t)
            if (matrix4[t][c] == MISSING) matrix4[t][c] = CONT_MISSING;
}

static void newmatrix(long nchars, long ntaxa, int fill)
{
    askreplace("New Matrix");
    unread guard;
    if (fill) set_celldim(32);
    beginmatrix(nchars, ntaxa);
    for (int t = 0; t < nt; ++t) snprintf(taxname[t], size_t(Namesize), "Taxon%i", t);
    for (int c = 0; c < nc; ++c) {
        charrec &r = charcodes[c];
        r.type = c < fill ? DATA_CONT : DATA_NUM;
        r.continuous = r.additive = c < fill;
        types_read |= r.type;
    }
    missingcontinuous();
    finishmatrix("New Matrix");
    guard.done = true;
}

void read_matrix(long nchars, long ntaxa, int fill)
{
    if (ntaxa) {
        newmatrix(nchars, ntaxa, fill);
        return;
    }
    std::string name = giveme_curproc_name();
    askreplace(name.c_str());
    unread guard;
    title();
    nchars = gtnu();
    if (nchars < 1) errmsg("Must specify number of characters", nullptr);
    peep();
    long line = giveme_fileline();
    ntaxa = gtnu();
    if (ntaxa < 4) errmsg("Must specify number of taxa (4 or more)", nullptr);
    int layout = layoutmark();
    bool startsline = giveme_fileline() > line;
    beginmatrix(nchars, ntaxa);
    startcells();
    if (layout == '&' || layout == 4) readinterleaved();
    else readplain(startsline);
    erdil();
    missingcontinuous();
    saymixed();
    finishmatrix(name.c_str());
    guard.done = true;
}

void xreadcom()
{
    int c = [] { noquotes whilehere; return gtnb(); }();
    switch (c) {
    case '!': case '*': case '-': case ':': case '[':
        savedatcom(c);
        return;
    case '=':
        changedatcom();
        return;
    case '/': case '+': case '<': case '>': case '&':
        generatecom(c);
        return;
    default:
        ungtch();
        read_matrix(0, 0, 0);
    }
}

const comhelp xreadhelp = {
    "Read a matrix, generate one, or edit its cells.", nullptr,
    "  xread 'TITLE' C T MATRIX ;   read a matrix of C characters and T taxa (4 or\n"
    "                               more); the title is optional\n"
    "Plain layout: the name of each taxon, then its cells, in any line breaks.  In\n"
    "names, '^' stands for a blank.\n"
    "  0 to 9, A to V   states (as many as \"nstates\" allows)\n"
    "  [01]             several states\n"
    "  ?                missing\n"
    "  -                missing, or a gap\n"
    "  *                inapplicable\n"
    "Interleaved layout: blocks of rows, one row a line.  Each block starts with '&'\n"
    "and, in brackets, options:\n"
    "  dna proteins numeric continuous   type of its cells (default: as set with\n"
    "                                    \"nstates\")\n"
    "  gaps nogaps                       '-' is a state, or missing\n"
    "  trimhead trimtail                 gaps at the start, or end, of each row are\n"
    "                                    missing\n"
    "  match N                           names at least as similar as N (0 to 1) are\n"
    "                                    the same taxon\n"
    "  verbose                           say what was read\n"
    "  /NAME                             name of the block\n"
    "Taxa not in a block have missing entries there.  NAME... is a row for all taxa\n"
    "with that prefix; of names with a quadruple underscore, only what precedes it\n"
    "tells which taxon it is.  Continuous cells: X, a range X-Y, or X/D (X plus or\n"
    "minus D); 0 to 65 with three decimals.  Characters with larger values are\n"
    "rescaled to fit.\n"
    "  xread / C T N ;      random matrix of C characters, T taxa, N states (default\n"
    "                       2; 0: all missing)\n"
    "  xread + T P C N ;    generate C characters of N states (default 2) along tree\n"
    "                       T, which stays as tree 0, each branch keeping the state\n"
    "                       with probability P (0 to 100)\n"
    "  xread + ! C N ;      the same along the tree with tags, which hold branch\n"
    "                       lengths (changes per character)\n"
    "  xread < T P L ;      generate anew the characters L (default: all) along tree\n"
    "                       T, the same way\n"
    "  xread > T P L ;      the same, each branch with a chance of change between 0\n"
    "                       and twice as large\n"
    "  xread & T P L ;      the same, chances of change distributed exponentially\n"
    "  xread = C T S ;      set the cell of character C, taxon T, to S; lists of C\n"
    "                       and T go in square brackets\n"
    "  xread =! C T S ;     the same, leaving minimum and maximum steps as they are\n"
    "  xread == ;           compute minimum and maximum steps of all characters\n"
    "  xread = ? PC PT ;    make cells missing: each character is chosen with\n"
    "                       probability PC (0 to 1), and in it each taxon with\n"
    "                       probability PT\n"
    "  xread * NAME ;       save the data, with the settings of characters, to a file in\n"
    "                       this format; without a name, as output.  Signs before the name:\n"
    "  -                    only active characters\n"
    "  !                    only active taxa\n"
    "  [                    a block for each block of the data, with its name\n"
    "  :                    mangled: states of characters that are neither additive nor\n"
    "                       Sankoff in random order; with a list and a '/' behind it,\n"
    "                       these characters (of one block) as well\n"
    "  (T)                  the states of the nodes of tree T as well, as taxa HTU_N\n"
    "Examples:\n"
    "  xread * copy.zel ;\n"
    "  xread = [0 1] 3 2 ;\n"
    "  xread < 0 90 ;\n"
    "  xread / 30 12 4 ;\n"
    "  xread 'four taxa' 5 4 a 00000 b 00111 c 11?[01]1 d 111-0 ;\n"
};
