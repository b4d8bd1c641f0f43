// The matrix of a Nexus file.
//
// Sizes given in the file may be wrong, and data in memory are not given up for a matrix that cannot
// be read: rows are read into memory of their own, as sets of 32 bits, and become the data when all
// are known.
#include "formats/nexus.h"
#include "formats/names.h"
#include "data/cells.h"
#include "data/datamem.h"
#include "data/matrix.h"
#include "data/symbols.h"
#include "data/taxa.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include <algorithm>
#include <bit>
#include <cctype>
#include <climits>
#include <cstring>

static constexpr uint32_t ANYSTATE = 0xFFFFFFFF;     // missing
static constexpr uint32_t JUSTGAP = 0;               // a gap of standard data that will be a state

namespace {
struct nexusfile {
    long ntax = 0, nchar = 0;
    int  type = DATA_NUM;
    std::string symbols;                 // as listed; empty when none are
    int  missing = '?', gap = '-', match = '.';
    bool interleaved = false;

    uint32_t set[256];                   // what each symbol stands for, 0 nothing
    bool isgap[256];
    bool gapsaid = false;
    namekeeper names{ "Taxon names with more than %i characters will be truncated", Namesize - 1 };
    std::vector<std::string> foreign;    // names as in the file, in lower case with underscores
    std::unordered_map<std::string, int> number;
    std::vector<std::string> taxa;
    std::vector<std::vector<uint32_t>> rows;
};
}

// --- dimensions, format ---

static const token &after(const tokens &all, size_t i, const std::string &what)
{
    if (i + 1 >= all.size() || !all[i + 1].is('=')) nexuserror("expected '=' after %s", what.c_str());
    static const token none;
    return i + 2 < all.size() ? all[i + 2] : none;
}

static void needsizes(const nexusfile &f)
{
    if (!f.ntax || !f.nchar) nexuserror("must set \"ntax\" and \"nchar\"");
}

static void get_nexus_dimensions(nexusfile *f)
{
    tokens all = restofcommand();
    for (size_t i = 0; i < all.size(); ++i) {
        std::string word = lowered(all[i].text);
        if (word != "ntax" && word != "nchar") continue;
        const token &value = after(all, i, word);
        long n = -1;
        bool given = wholenumber(value.text, &n) && n <= INT_MAX / 2;
        if (word == "ntax") {
            if (!given || n < LEASTTAXA) nexuserror("expected number of taxa (4 or more)");
            f->ntax = n;
        } else {
            if (!given || n < 1) nexuserror("expected number of characters");
            f->nchar = n;
        }
        i += 2;
    }
    needsizes(*f);
}

static bool abbreviates(const std::string &word, const char *full)
{
    constexpr size_t LEAST = 3;
    return word.size() >= LEAST && !brevcomp(word.c_str(), full);
}

static int datatypeof(const std::string &word)
{
    if (abbreviates(word, "dna") || abbreviates(word, "rna") || abbreviates(word, "nucleotides")) return DATA_DNA;
    if (abbreviates(word, "proteins")) return DATA_PROT;
    if (abbreviates(word, "standard")) return DATA_NUM;
    nexuserror("expected strings \"dna,\" \"proteins,\" or \"standard\" after \"datatype\"");
}

// A sign that stands for something may have what follows it right behind.
static int onesign(tokens *all, size_t i, const std::string &what)
{
    const token &value = after(*all, i, what);
    if (value.text.empty()) nexuserror("expected a symbol after %s =", what.c_str());
    int sign = static_cast<unsigned char>(value.text[0]);
    if (value.text.size() > 1) {
        token rest{ TK_WORD, value.text.substr(1) };
        all->insert(all->begin() + long(i) + 3, rest);
    }
    return sign;
}

// What stands behind the sign of a setting that means nothing here.
static size_t pastvalue(const tokens &all, size_t i)
{
    if (i + 2 >= all.size() || !all[i + 1].is('=')) return i;
    i += 2;
    if (!all[i].is('(')) return i;
    while (i + 1 < all.size() && !all[i].is(')')) ++i;
    return i;
}

static void get_nexus_format(nexusfile *f)
{
    tokens all = restofcommand();
    for (size_t i = 0; i < all.size(); ++i) {
        std::string word = lowered(all[i].text);
        bool valued = i + 1 < all.size() && all[i + 1].is('=');
        if (abbreviates(word, "datatype")) f->type = datatypeof(lowered(after(all, i, word).text));
        else if (abbreviates(word, "missing")) f->missing = onesign(&all, i, word);
        else if (word == "gap") f->gap = onesign(&all, i, word);
        else if (abbreviates(word, "matchchar")) f->match = onesign(&all, i, word);
        else if (abbreviates(word, "symbols")) f->symbols = after(all, i, word).text;
        else if (abbreviates(word, "interleaved")) f->interleaved = !valued || lowered(after(all, i, word).text) != "no";
        else if (word == "transpose") nexuserror("transposed matrices can't be read");
        i = pastvalue(all, i);
    }
}

// --- Symbols ---

// Digits stand for themselves; any other symbol, in the order of the list, for the next state.
// "0~4" is every digit between, and a number behind that sign the highest state of all.
static std::string expanded(const std::string &listed)
{
    std::string all;
    for (size_t i = 0; i < listed.size(); ++i) {
        unsigned char c = static_cast<unsigned char>(listed[i]);
        if (c <= ' ' || c == ',') continue;
        if (c != '~' || all.empty() || i + 1 == listed.size()) {
            all += char(c);
            continue;
        }
        long last = -1;
        size_t digits = listed.find_first_not_of("0123456789", i + 1);
        if (digits == std::string::npos) digits = listed.size();
        if (isdigit(static_cast<unsigned char>(all.back())) &&
            wholenumber(listed.substr(i + 1, digits - i - 1), &last) && last < 32) {
            for (long s = all.back() - '0' + 1; s <= last; ++s) all += "0123456789ABCDEFGHIJKLMNOPQRSTUV"[s];
            i = digits - 1;
        } else {
            for (int s = all.back() + 1; s <= static_cast<unsigned char>(listed[i + 1]); ++s) all += char(s);
            ++i;
        }
    }
    return all;
}

static void give(nexusfile *f, int symbol, uint32_t set)
{
    f->set[symbol] = set;
    if (isalpha(symbol)) f->set[symbol ^ 32] = set;
}

static void listedsymbols(nexusfile *f)
{
    std::string all = expanded(f->symbols);
    if (all.empty()) return;
    for (int c = 0; c < 256; ++c)
        if (c < 128 && isalpha(c)) f->set[c] = 0;
    int next = 0;
    for (char c : all)
        if (isdigit(static_cast<unsigned char>(c))) next = std::max(next, c - '0' + 1);
    std::string seen;
    for (char c : all) {
        if (isdigit(static_cast<unsigned char>(c)) || seen.find(char(toupper(c))) != std::string::npos) continue;
        seen += char(toupper(c));
        if (next > 31) nexuserror("can't read more than 32 states (symbols \"%.200s\")", f->symbols.c_str());
        give(f, static_cast<unsigned char>(c), uint32_t{1} << next++);
    }
}

// The tables of symbols, for the widest cells; what is in force comes back.
static void makesymbols(nexusfile *f)
{
    struct widest {
        int states = maxstate;
        readingas settings;
        widest() { set_celldim(32); }
        ~widest() { set_celldim(states); }
    };
    {
        widest guard;
        symbols_of(f->type);
        memcpy(f->set, tmpmask, sizeof tmpmask);
    }
    for (int c = '0'; c <= '9' && f->type != DATA_NUM; ++c) f->set[c] = 0;
    f->set[int('-')] = f->set[int('?')] = 0;
    memset(f->isgap, 0, sizeof f->isgap);
    if (f->type == DATA_NUM) listedsymbols(f);
    give(f, f->missing, ANYSTATE);
    f->set['?'] = ANYSTATE;
    f->isgap[f->gap] = true;
    if (!f->set[int('-')]) f->isgap[int('-')] = true;
}

static uint32_t gapset(nexusfile *f)
{
    if (read_gaps_as_missing) return f->type == DATA_DNA ? f->set[int('N')] : f->type == DATA_PROT ? f->set[int('*')] : ANYSTATE;
    if (!f->gapsaid)
        warnem("Gaps will be read as an additional state\nTo read gaps as missing entries, change data format", nullptr);
    f->gapsaid = true;
    constexpr int DNAGAP = 4, PROTGAP = 21;
    return f->type == DATA_DNA ? 1u << DNAGAP : f->type == DATA_PROT ? 1u << PROTGAP : JUSTGAP;
}

// --- Lines ---

namespace {
// The matrix, a line at a time and one ahead.  Lines of blanks are left out.
struct linereader {
    std::string next;
    bool hasnext = false, ended = false;

    bool fetch()
    {
        if (hasnext) return true;
        while (!ended) {
            next.clear();
            bool solid = false;
            int c;
            while (!islineend(c = nexus_gtch()) && c != ';') {
                if (c == ENDOFFILE) cutshort("the matrix");
                if (c == '\'' && !solid) {
                    std::string name = quotedtext();
                    next += '\'';
                    for (char letter : name) next += letter == '\'' ? std::string("''") : std::string(1, letter);
                    c = '\'';
                }
                next += char(c);
                solid |= c > ' ';
            }
            ended = c == ';';
            if (solid) return hasnext = true;
        }
        return false;
    }
    bool take(std::string *line)
    {
        if (!fetch()) return false;
        line->swap(next);
        hasnext = false;
        return true;
    }
};
}

static bool blankat(const std::string &line, size_t i) { return static_cast<unsigned char>(line[i]) <= ' '; }

// The name at the start of a line; *at is left behind it.
static std::string nameof(const std::string &line, size_t *at)
{
    size_t i = 0;
    std::string name;
    while (blankat(line, i)) ++i;
    if (line[i] == '\'') {
        for (++i; i < line.size(); ++i) {
            if (line[i] == '\'' && (i + 1 == line.size() || line[++i] != '\'')) break;
            name += line[i];
        }
    } else
        while (i < line.size() && !blankat(line, i)) name += line[i++];
    *at = i;
    return name;
}

// --- Cells ---

static uint32_t symbolset(nexusfile *f, int symbol, size_t t, size_t c)
{
    if (f->isgap[symbol]) return gapset(f);
    uint32_t set = f->set[symbol];
    if (!set)
        myerr("Found alien symbol for taxon %i (%s), char. %i: '%c'", int(t), f->taxa[t].c_str(), int(c), symbol);
    return set;
}

// Several states between braces or parentheses, separated or not; ~ joins the ends of a range.
static uint32_t severalstates(nexusfile *f, const std::string &line, size_t *at, size_t t, size_t c)
{
    char closing = line[*at] == '{' ? '}' : ')';
    uint32_t all = 0, before = 0;
    bool range = false;
    for (size_t i = *at + 1; i < line.size(); ++i) {
        int symbol = static_cast<unsigned char>(line[i]);
        if (symbol == closing) {
            *at = i;
            return all ? all : ANYSTATE;
        }
        if (symbol <= ' ' || strchr(",&|/", symbol)) continue;
        if (symbol == '~') {
            range = true;
            continue;
        }
        bool gap = f->isgap[symbol] && read_gaps_as_missing;     // a gap that is no state adds none
        uint32_t set = gap ? 0 : symbolset(f, symbol, t, c);
        if (range && before && set)
            for (int s = std::countr_zero(before); s < std::countr_zero(set); ++s) all |= uint32_t{1} << s;
        range = false;
        if (set) before = set;
        all |= set;
    }
    myerr("Found alien symbol for taxon %i (%s), char. %i: '%c'", int(t), f->taxa[t].c_str(), int(c), line[*at]);
}

static void readcells(nexusfile *f, const std::string &line, size_t at, size_t t)
{
    std::vector<uint32_t> &row = f->rows[t];
    for (; at < line.size(); ++at) {
        int symbol = static_cast<unsigned char>(line[at]);
        if (symbol <= ' ') continue;
        if (symbol == f->match || (symbol == '.' && !f->set[symbol] && !f->isgap[symbol])) {
            if (!t) errmsg("Can't use \".\" for the first taxon", nullptr);
            if (row.size() >= f->rows[0].size()) nexuserror("too many characters for taxon %s", f->taxa[t].c_str());
            row.push_back(f->rows[0][row.size()]);
        }
        else if (symbol == '{' || symbol == '(') row.push_back(severalstates(f, line, &at, t, row.size()));
        else row.push_back(symbolset(f, symbol, t, row.size()));
    }
}

// Whether all of it could be cells; how many in *cells.
static bool couldbecells(const nexusfile &f, const std::string &line, size_t at, size_t *cells)
{
    bool inside = false;
    *cells = 0;
    for (; at < line.size(); ++at) {
        int c = static_cast<unsigned char>(line[at]);
        if (c <= ' ' || (inside && strchr(",&|/~", c))) continue;
        if (c == '{' || c == '(') inside = true;
        else if (c == '}' || c == ')') inside = false;
        else if (!f.set[c] && !f.isgap[c] && c != f.match) return false;
        *cells += !inside;
    }
    return true;
}

// --- Taxa ---

static std::string comparable(const std::string &name)
{
    std::string text = lowered(name);
    std::replace(text.begin(), text.end(), ' ', '_');
    return text;
}

static size_t newtaxon(nexusfile *f, const std::string &name)
{
    f->taxa.push_back(f->names.keep(name));
    f->foreign.push_back(comparable(name));
    f->number.emplace(f->foreign.back(), int(f->taxa.size()) - 1);
    f->rows.emplace_back();
    f->rows.back().reserve(size_t(std::min<long>(f->nchar, 1000000)));
    return f->taxa.size() - 1;
}

[[noreturn]] static void twice(const std::string &name, int block)
{
    std::string place = block ? "Error reading block " + std::to_string(block) + ":" : "Error reading NEXUS file:";
    errmsg(place.c_str(), "each taxon can appear only once -", name.c_str(), "appears twice", nullptr);
}

// --- Rows ---

// The first row tells how long rows are.  When it ends before the size set, the next line goes on
// with it, unless that line is itself a row as long.
static bool goeson(nexusfile *f, linereader *lines)
{
    if (!lines->fetch()) return false;
    size_t have = f->rows[0].size(), whole, at, part;
    if (!have) return true;
    bool cells = couldbecells(*f, lines->next, 0, &whole);
    if (cells && have + whole <= size_t(f->nchar)) return true;
    nameof(lines->next, &at);
    return !(couldbecells(*f, lines->next, at, &part) && part == have);
}

static void readrows(nexusfile *f)
{
    linereader lines;
    std::string line;
    while (lines.take(&line)) {
        size_t at;
        std::string name = nameof(line, &at);
        if (f->number.count(comparable(name))) twice(name, 0);
        size_t t = newtaxon(f, name), width = t ? f->rows[0].size() : size_t(f->nchar);
        dildit(double(t), double(f->ntax), "Reading block 1");
        readcells(f, line, at, t);
        std::vector<uint32_t> &row = f->rows[t];
        bool oneline = !row.empty();
        while (row.size() < width && (t || goeson(f, &lines)) && lines.take(&line)) {
            readcells(f, line, 0, t);
            oneline = false;
        }
        if (row.size() > width && (t || !oneline)) nexuserror("too many characters for taxon %s", name.c_str());
        if (row.size() < width && t) nexuserror("too few characters for taxon %s", name.c_str());
    }
}

// A block ends where its first taxon comes again.
static void readinterleavedrows(nexusfile *f)
{
    linereader lines;
    std::string line;
    std::vector<int> lastblock;              // by taxon
    size_t first = 0, end = 0;               // characters before this block, with it
    int block = 0, firsttaxon = -1;
    char text[64];
    auto tooshort = [&](size_t t) {
        std::string place = "Error reading block " + std::to_string(block) + ": too few";
        errmsg(place.c_str(), "chars. for", f->taxa[t].c_str(), nullptr);
    };
    while (lines.take(&line)) {
        size_t at;
        std::string name = nameof(line, &at);
        auto known = f->number.find(comparable(name));
        bool starts = !block || (known != f->number.end() && known->second == firsttaxon);
        if (starts) {
            ++block;
            first = end;
        }
        if (known == f->number.end() && block > 1)
            nexuserror("taxon %s is not in the first block", name.c_str());
        size_t t = known == f->number.end() ? newtaxon(f, name) : size_t(known->second);
        if (starts) firsttaxon = int(t);
        lastblock.resize(f->taxa.size());
        if (lastblock[t] == block) twice(name, block);
        lastblock[t] = block;
        snprintf(text, sizeof text, "Reading block %i", block);
        dildit(double(first), double(f->nchar), text);
        std::vector<uint32_t> &row = f->rows[t];
        row.resize(first, ANYSTATE);         // not in a block before: missing there
        readcells(f, line, at, t);
        if (starts) end = row.size();
        if (row.size() > end) {
            std::string place = "Error reading block " + std::to_string(block) + ": too many";
            errmsg(place.c_str(), "chars. for", name.c_str(), nullptr);
        }
        if (row.size() < end || end == first) tooshort(t);
    }
    for (auto &row : f->rows) row.resize(end, ANYSTATE);
}

// --- From rows to data ---

static void checksizes(nexusfile *f)
{
    long taxa = long(f->taxa.size()), chars = taxa ? long(f->rows[0].size()) : 0;
    if (taxa < LEASTTAXA) nexuserror("expected number of taxa (4 or more)");
    if (!chars) nexuserror("expected number of characters");
    std::string was = std::to_string(f->ntax) + ",", is = std::to_string(taxa);
    if (taxa > f->ntax) warnem("Number of taxa set to", is.c_str(), nullptr);
    if (taxa < f->ntax)
        warnem("Number of taxa set to", was.c_str(), "but only", is.c_str(),
               "taxon names defined; others undefined\nNumber of taxa re-set to", is.c_str(), nullptr);
    was = std::to_string(f->nchar) + ",";
    is = std::to_string(chars);
    if (chars > f->nchar) warnem("Number of characters set to", is.c_str(), nullptr);
    if (chars < f->nchar)
        warnem("Number of characters set to", was.c_str(), "but only", is.c_str(),
               "in the matrix; others undefined\nNumber of chars. re-set to", is.c_str(), nullptr);
}

// Gaps of standard data that are a state come after all others.
static void placegaps(nexusfile *f)
{
    if (f->type != DATA_NUM || !f->gapsaid) return;
    uint32_t used = 0;
    for (auto &row : f->rows)
        for (uint32_t x : row)
            if (x < ANYSTATE >> 1) used |= x;
    int state = std::bit_width(used);
    if (state > 31) nexuserror("there is no room for gaps as one more state");
    for (auto &row : f->rows)
        std::replace(row.begin(), row.end(), JUSTGAP, uint32_t{1} << state);
}

static int statesneeded(const nexusfile &f)
{
    if (f.type == DATA_PROT) return 32;
    int most = 1;
    for (auto &row : f.rows)
        for (uint32_t x : row)
            if (x < ANYSTATE >> 1) most = std::max(most, int(std::bit_width(x)));
    return most;
}

static void makedata(nexusfile *f)
{
    std::string name = giveme_curproc_name();
    placegaps(f);
    int states = statesneeded(*f);
    askreplace(name.c_str());
    unread guard;
    if (states > maxstate) set_celldim(states);
    beginmatrix(long(f->rows[0].size()), long(f->taxa.size()));
    for (int t = 0; t < nt; ++t) {
        strcpy(taxname[t], f->taxa[size_t(t)].c_str());
        for (int c = 0; c < nc; ++c) {
            uint32_t x = f->rows[size_t(t)][size_t(c)];
            setcell(t, c, x == ANYSTATE ? MISSING : x == ANYSTATE >> 1 ? INAPPSET : x);
        }
        std::vector<uint32_t>().swap(f->rows[size_t(t)]);
    }
    for (int c = 0; c < nc; ++c) charcodes[c].type = uint8_t(f->type);
    types_read = f->type;
    finishmatrix(name.c_str());
    guard.done = true;
}

static void get_nexus_matrix(nexusfile *f)
{
    needsizes(*f);
    makesymbols(f);
    if (f->interleaved) readinterleavedrows(f);
    else readrows(f);
    erdil();
    checksizes(f);
    makedata(f);
}

void read_nexus_data()
{
    nexusfile f;
    std::string command;
    bool read = false;
    while (nextcommand("data", &command)) {
        if (command == "dimensions") get_nexus_dimensions(&f);
        else if (command == "format") get_nexus_format(&f);
        else if (command == "matrix" && !read) {
            get_nexus_matrix(&f);
            read = true;
        }
        else skipcommand();
    }
}
