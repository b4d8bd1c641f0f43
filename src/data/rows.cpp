// Rows of a native matrix.
//
// In plain layout the n-th row is the n-th taxon, and line breaks mean nothing.  In interleaved
// layout a row ends with its line and says by its name which taxon it is about: part of the name
// may be for display only ("____"), and a row may stand for all taxa of a prefix ("...").
#include "data/rows.h"
#include "data/cells.h"
#include "data/datamem.h"
#include "data/matrix.h"
#include "data/symbols.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "kernel/typos.h"
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

// --- Names ---

static int  istripledot;                 // the name read last stands for all taxa that begin with it
static int  last_cut_value_is;           // length of the part that tells the taxon
static bool longannounced, symbolannounced;

// The rest of a name that is longer than any room for it.
static void passrest()
{
    int symbol;
    do symbol = gtch();
    while (symbol > ' ' && symbol != ';');
    ungtch();
}

// Reads a name into cmdname; false at the semicolon.
static bool readname()
{
    int was = getting_cmd;
    if (domacros) getting_cmd = 1;       // so that macro text may supply names
    int length = rdfilename();
    if (length == CMDNAMESIZE - 1) passrest();
    getting_cmd = was;
    if (!length) return false;

    istripledot = 0;
    if (char *dots = strstr(cmdname, "...")) {
        istripledot = 1;
        *dots = 0;
    }
    length = int(strlen(cmdname));
    const char *mark = strstr(cmdname, "____");
    last_cut_value_is = mark ? int(mark - cmdname) : length;

    if (length >= Namesize) {
        if (!longannounced) {
            longannounced = true;
            std::string name = cmdname;                          // a warning may use the shared scratch
            warnem("Taxon names over", intvert(Namesize), "letters will be truncated", nullptr);
            snprintf(cmdname, sizeof cmdname, "%s", name.c_str());
        }
        int end = int(utf8whole(cmdname, size_t(Namesize) - 1));
        cmdname[end] = 0;
        last_cut_value_is = std::min(last_cut_value_is, end);
    }
    for (char *s = cmdname; *s; ++s)
        if (*s == '+' || *s == '/' || *s == '-') {
            char symbol = *s;
            *s = '_';
            if (symbolannounced) continue;
            symbolannounced = true;
            std::string name = cmdname;
            mywarn("Symbol '%c' in taxon names will be changed to '_' (=underscore).", symbol);
            snprintf(cmdname, sizeof cmdname, "%s", name.c_str());
        }
    return true;
}

static void startnames() { longannounced = symbolannounced = false; }

// --- Cells of any width ---

static inline int nextsymbol() { return gtch() & 255; }

// What matters for the speed of reading: one symbol, one state, no type to settle.
static inline uint32_t readcell(int symbol, int t, int c)
{
    if (data_type == DATA_NUM) {
        uint32_t set = tmpmask[symbol];
        return set ? set : rddiscrete(symbol, t, c);
    }
    return data_type == DATA_CONT ? rdcontinuous(symbol, t, c) : rddiscrete(symbol, t, c);
}

void needwidth()
{
    if (celldim == 4) return;
    const char *what = data_type == DATA_PROT ? "protein" : data_type == DATA_CONT ? "continuous" : nullptr;
    if (what) myerr("To read data as %s, must set nstates to 32 before reading matrix", what);
}

static void opencharacter(int c, int block)
{
    charrec &r = charcodes[c];
    r.block = block;
    if (data_type != DATA_CONT) return;
    r.continuous = r.additive = 1;
    r.type = DATA_CONT;
}

// Columns of numeric and continuous blocks have their type from the block; others from their symbols.
static void closecharacters(int first, int end)
{
    if (first == end || (data_type != DATA_NUM && data_type != DATA_CONT)) return;
    types_read |= data_type;
    for (int c = first; c < end; ++c) charcodes[c].type = uint8_t(data_type);
}

// --- Plain layout ---

namespace {

// Files tend to have a taxon a line.  Line breaks mean nothing here, but when a symbol is wrong
// they tell whether the number of characters is.
struct lineshape {
    int taxon = -1, lineend = 0;         // being read; cells at the end of its first line, 0 while that goes on
    int ragged = -1, raggedend = 0;      // first taxon whose name starts a line and whose cells do not end one
    lineshape();
    ~lineshape() { beforecellerror = nullptr; }
};

}

static const lineshape *shape;           // of the matrix being read

static void sizehint()
{
    int t = shape->ragged >= 0 ? shape->ragged : shape->taxon;
    int end = shape->ragged >= 0 ? shape->raggedend : shape->lineend;
    if (shape->ragged < 0 && !end) return;
    if (end)
        myp("Is the number of characters (%i) right?  The line of taxon %i (%s) ends after %i", nc, t, taxname[t], end);
    else
        myp("Is the number of characters (%i) right?  The line of taxon %i (%s) goes on after them", nc, t, taxname[t]);
}

lineshape::lineshape()
{
    shape = this;
    beforecellerror = sizehint;
}

static bool isnewline(int symbol) { return symbol == '\n' || symbol == '\r'; }

// Leaves the next name, or the semicolon; true when that starts a line.
static bool nextline(bool *more)
{
    int was = getting_cmd, symbol;
    if (domacros) getting_cmd = 1;
    bool starts = false;
    for (symbol = nextsymbol(); symbol <= ' '; symbol = nextsymbol()) starts |= isnewline(symbol);
    ungtch();
    getting_cmd = was;
    *more = symbol != ';';
    return starts;
}

void readplain(bool startsline)
{
    needwidth();
    startnames();
    lineshape lines;
    for (int c = 0; c < nc; ++c) opencharacter(c, 0);
    for (int t = 0; t < nt; ++t) {
        dildit(t, nt, "Reading matrix");
        if (!readname()) {
            check_eof();
            sizehint();
            myerr("Matrix ends before taxon %i; number of taxa set to %i", t, nt);
        }
        strcpy(taxname[t], cmdname);
        lines.taxon = t;
        lines.lineend = 0;
        for (int c = 0; c < nc; ++c) {
            int symbol = nextsymbol();
            for (; symbol <= ' '; symbol = nextsymbol())
                if (isnewline(symbol) && !lines.lineend) lines.lineend = c;
            if (symbol == ';') check_eof();
            setcell(t, c, readcell(symbol, t, c));
        }
        bool more, starts = nextline(&more);
        if (more && startsline && !starts && lines.ragged < 0) {
            lines.ragged = t;
            lines.raggedend = lines.lineend;
        }
        startsline = starts;
    }
    closecharacters(0, nc);
    rescale_large_continuous();
    int symbol = gtnb();
    ungtch();
    if (symbol == ';') return;
    if (lines.ragged >= 0) sizehint();
    else myp("Is the number of taxa (%i) right?", nt);
    myerr("Matrix must end with a semicolon after taxon %i (%s); found '%c'", nt - 1, taxname[nt - 1], symbol);
}

// --- Interleaved layout ---

namespace {

struct interleaved {
    int  taxa = 0;                       // named so far
    int  block = 0;                      // being read; they count from 1
    int  first = 0, end = 0;             // its characters; end is known after its first row
    int  rows = 0, present = 0;          // read of it; taxa that these rows are about
    bool trimhead = false, trimtail = false, verbose = false, loose_name_matching = false;
    double matchlimit = name_match_limit;
    std::vector<std::string> names;      // of the blocks; entry 0 stands for all of them
    bool named = false;
    int *cut_name_to;                    // per taxon, length of the part of its name that counts
    int *lastrow;                        // per taxon, the block in which it has a row
    std::unordered_map<std::string, int> bycut;      // taxa by that part
};

struct matchguard {                      // "match N" is for one block
    double was = name_match_limit;
    ~matchguard() { name_match_limit = was; }
};

}

static interleaved *reader;              // the one at work

static void optdna()         { data_type = DATA_DNA; }
static void optproteins()    { data_type = DATA_PROT; }
static void optnumeric()     { data_type = DATA_NUM; }
static void optcontinuous()  { data_type = DATA_CONT; }
static void optgaps()        { read_gaps_as_missing = 0; }
static void optnogaps()      { read_gaps_as_missing = 1; }
static void opttrimhead()    { reader->trimhead = true; }
static void opttrimtail()    { reader->trimtail = true; }
static void optverbose()     { reader->verbose = true; }

static void optlandmark()
{
    int dimensions = gtnb();
    if ((dimensions != '2' && dimensions != '3') || (nextsymbol() | 32) != 'd')
        errmsg("Landmark data must be 2D or 3D", nullptr);
    errmsg("Reading landmark data is not available yet", nullptr);
}

static void optmatch()
{
    reader->loose_name_matching = true;
    double limit = gtdouble();
    if (limit >= 0) name_match_limit = limit;
}

static const struct { const char *word; void (*apply)(); } blockoptions[] = {
    { "dna", optdna }, { "proteins", optproteins }, { "numeric", optnumeric }, { "continuous", optcontinuous },
    { "landmark", optlandmark }, { "gaps", optgaps }, { "nogaps", optnogaps }, { "trimhead", opttrimhead },
    { "trimtail", opttrimtail }, { "match", optmatch }, { "verbose", optverbose }
};

static void nameblock()
{
    std::string name;
    int symbol;
    for (symbol = nextsymbol(); symbol > ' ' && symbol != ']' && symbol != ';'; symbol = nextsymbol())
        name += char(symbol);
    ungtch();
    if (name.empty()) errmsg("Expected block name after slash", nullptr);
    reader->names.back() = name;
    reader->named = true;
}

static void readblockoptions()
{
    if (!gotc('[')) return;
    while (!gotc(']')) {
        if (gotc('/')) {
            nameblock();
            continue;
        }
        if (!rdcmd()) errmsg("Expected format (dna, prot, contin, num) or closing bracket", nullptr);
        auto row = std::find_if(std::begin(blockoptions), std::end(blockoptions),
                                [](auto &o) { return !brevcomp(cmdname, o.word); });
        if (row == std::end(blockoptions)) errmsg("Unrecognized string in format command:", cmdname, nullptr);
        row->apply();
    }
}

static void trimgaps(int t)
{
    uint32_t gap = tmpmask[int('-')];
    const interleaved &in = *reader;
    for (int c = in.end - 1; in.trimtail && c >= in.first && cell(t, c) == gap; --c) setcell(t, c, MISSING);
    for (int c = in.first; in.trimhead && c < in.end && cell(t, c) == gap; ++c) setcell(t, c, MISSING);
}

static void closeblock()
{
    interleaved &in = *reader;
    if (!in.block) return;
    if ((data_type == DATA_DNA || data_type == DATA_PROT) && !read_gaps_as_missing && (in.trimhead || in.trimtail))
        for (int t = 0; t < in.taxa; ++t)
            if (in.lastrow[t] == in.block) trimgaps(t);
    closecharacters(in.first, in.end);
    if (in.verbose)
        myp("\nBlock %i: %i taxa (%i total), %i characters (%i total)", in.block, in.present, in.taxa,
            in.end - in.first, in.end);
}

static void openblock(const readingas &settings)
{
    interleaved &in = *reader;
    closeblock();
    data_type = settings.type;
    read_gaps_as_missing = settings.gaps;
    name_match_limit = in.matchlimit;
    in.trimhead = in.trimtail = in.verbose = in.loose_name_matching = false;
    ++in.block;
    in.names.push_back("Block_" + std::to_string(in.block));
    in.first = in.end;
    in.rows = in.present = 0;
    readblockoptions();
    needwidth();
    if (data_type == DATA_CONT && in.first && !charcodes[in.first - 1].continuous)
        errmsg("Continuous characters must precede all other ones!", nullptr);
    symbols_of(data_type);
}

// All taxa that the name read stands for, from the last to the first.
static void matchtaxa(std::vector<int> *found)
{
    const interleaved &in = *reader;
    std::string name(cmdname, last_cut_value_is);
    found->clear();
    if (!istripledot && !in.loose_name_matching) {
        auto same = in.bycut.find(name);
        if (same != in.bycut.end()) found->push_back(same->second);
        return;
    }
    std::string whole = cmdname;
    for (int t = in.taxa - 1; t >= 0; --t) {
        int length = in.cut_name_to[t];
        bool same;
        if (istripledot) same = !strncmp(taxname[t], name.c_str(), size_t(std::min(length, last_cut_value_is)));
        else same = needwunsch_matchdiff(taxname[t], length, name.c_str(), last_cut_value_is) > 0;
        if (!same) continue;
        found->push_back(t);
        if (!istripledot) break;
    }
    snprintf(cmdname, sizeof cmdname, "%s", whole.c_str());      // a question may have used the shared scratch
}

static void definetaxon(std::vector<int> *found)
{
    interleaved &in = *reader;
    if (in.taxa == nt) {
        std::string place = "Error reading block " + std::to_string(in.block) + ":";
        errmsg(place.c_str(), cmdname, "All taxon names already defined", nullptr);
    }
    int t = in.taxa++;
    strcpy(taxname[t], cmdname);
    in.cut_name_to[t] = last_cut_value_is;
    in.bycut[std::string(cmdname, last_cut_value_is)] = t;
    found->push_back(t);
}

static void rowlength(const char *what, int t)
{
    std::string place = "Error reading block " + std::to_string(reader->block) + ": too";
    errmsg((place + what).c_str(), "chars. for", taxname[t], nullptr);
}

static void readrow(int t)
{
    interleaved &in = *reader;
    bool firstrow = in.rows == 1;
    int c = in.first, symbol = nextsymbol();
    for (;; ++c) {
        while (symbol <= ' ' && symbol != '\n' && symbol != '\r') symbol = nextsymbol();
        if (symbol == '\n' || symbol == '\r' || symbol == ';') break;
        if (c == nc) {
            std::string place = "Error reading block " + std::to_string(in.block) + ", taxon " + taxname[t] +
                                ": too many characters";
            errmsg(place.c_str(), "\n   char.", intvert(nc - 1), "(last char.) should be followed by newline", nullptr);
        }
        if (firstrow) opencharacter(c, in.block);
        else if (c == in.end) rowlength(" many", t);
        setcell(t, c, readcell(symbol, t, c));
        symbol = nextsymbol();
    }
    if (symbol == ';') ungtch();
    if (firstrow) in.end = c;
    if (c < in.end || c == in.first) {
        check_eof();
        rowlength(" few", t);
    }
}

static void interleavedrow()
{
    interleaved &in = *reader;
    static char text[64];
    snprintf(text, sizeof text, "Reading block %i", in.block);
    dildit(in.end, nc, text);
    readname();
    if (++in.rows > nt) {
        std::string place = intvert(in.block);
        errmsg("Error reading block", place.c_str(), ": can't have more than", intvert(nt), "taxa in a block", nullptr);
    }
    std::vector<int> taxa;
    matchtaxa(&taxa);
    if (taxa.empty()) definetaxon(&taxa);
    for (int t : taxa) {
        if (in.lastrow[t] == in.block) {
            std::string place = "Error reading block " + std::to_string(in.block) + ":";
            errmsg(place.c_str(), "each taxon can appear only once -", taxname[t], "appears twice", nullptr);
        }
        in.lastrow[t] = in.block;
        ++in.present;
    }
    readrow(taxa[0]);
    for (size_t i = 1; i < taxa.size(); ++i) copycells(taxa[0], taxa[i], in.first, in.end);
}

static void lowersizes()
{
    const interleaved &in = *reader;
    if (in.taxa < nt) {
        std::string set = std::to_string(nt) + ",", defined = std::to_string(in.taxa);
        if (in.taxa < 4) errmsg("Must specify number of taxa (4 or more)", nullptr);
        warnem("Number of taxa set to", set.c_str(), "but only", defined.c_str(),
               "taxon names defined.\nNumber of taxa will be re-set to", defined.c_str(), nullptr);
        nt = in.taxa;
        nodz = 2 * nt - 1;
        root = 2 * nt - 2;
        memset(taxact + nt, 0, size_t(nodz - nt));
    }
    if (in.end < nc) {
        if (!in.end) errmsg("Must specify number of characters", nullptr);
        std::string set = std::to_string(nc), last = std::to_string(nc - 1), defined = std::to_string(in.end);
        std::string what = in.end == nc - 1 ? set + ", but character " + last
                                            : set + ", but characters " + defined + "-" + last;
        warnem("Number of characters set to", what.c_str(), "undefined\nNumber of chars. will be re-set to",
               defined.c_str(), nullptr);
        nc = in.end;
    }
}

void readinterleaved()
{
    interleaved in;
    readingas settings;
    matchguard match;
    startnames();
    in.names.push_back("all");
    in.cut_name_to = zhi<int>(size_t(nt));
    in.lastrow = zhi<int>(size_t(nt));
    reader = &in;
    for (int symbol = peep(); symbol != ';'; symbol = peep()) {
        if (gotc('&')) openblock(settings);
        else {
            if (!in.block) openblock(settings);
            interleavedrow();
        }
    }
    closeblock();
    rescale_large_continuous();
    nblocks = in.block;
    lowersizes();
    if (in.named) laynames(in.names.data(), nblocks + 1, &blockname);
}
