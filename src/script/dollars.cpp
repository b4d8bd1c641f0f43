// Texts inserted by '$': those kept in variables, and names of things that the session knows.
#include "data/groups.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "data/symbols.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "script/expr.h"
#include "script/hifile.h"
#include "script/refusal.h"
#include "script/repeat.h"
#include "script/stream.h"
#include "script/vars.h"
#include "trees/treetags.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>
#include <strings.h>
#include <unistd.h>

int pad_conversions;

// --- keywords -----------------------------------------------------------------------------

static std::string numbered(const char *format, int n)
{
    char text[60];
    snprintf(text, sizeof text, format, n);
    return text;
}

static void needdata()
{
    if (!datatag) errmsg("No data file has been read!", nullptr);
}

static std::string taxonword()
{
    int t = imacnu();
    needdata();
    if (!isatax(t)) myerr("No taxon number %i", t);
    return taxname[t];
}

static int readcharacter()
{
    int c = imacnu();
    needdata();
    if (!isachar(c)) myerr("No character number %i", c);
    return c;
}

static std::string characterword()
{
    int c = readcharacter();
    return charnames && charnames[c] ? charnames[c] : numbered("Char. %i", c);
}

static std::string stateword()
{
    int c = readcharacter(), s = imacnu();
    if (s < 0 || s >= maxstate) myerr("Character %i doesn't have a state %i", c, s);
    return statenames && statenames[c] && statenames[c][s] ? statenames[c][s] : numbered("State %i", s);
}

static std::string datasetword()
{
    needdata();
    return dataname;
}

static std::string ttagword()
{
    int n = imacnu();
    if (!txtdatin || !txtr) return "";
    if (n < 0 || n >= txtr[nt]) myerr("No node %i in tagged tree", n);
    return txtrmsg[n];
}

static std::string blockword()
{
    int b = imacnu();
    if (b < 0 || b > nblocks) myerr("Only %i blocks of data have been defined", nblocks);
    return blockname && blockname[b] && *blockname[b] ? blockname[b] : numbered("Block %i", b);
}

static std::string groupword(const char *kind, const char *toomany, int most)
{
    int g = imacnu();
    if (g < 0 || g >= most) myerr(toomany, most);
    needdata();
    const groupfamily *f = familyof(kind);
    return isgroup(f, g) ? groupname(f, g) : "";
}

static std::string agroupword() { return groupword("taxon", "Cannot have more than %i groups of taxa", GROUPS); }
static std::string xgroupword() { return groupword("character", "Cannot have more than %i groups of characters", GROUPS); }
static std::string tgroupword() { return groupword("tree", "Cannot have more than %i groups of taxa", num_treegroups); }

static std::string hgroupword()
{
    int g = imacnu();
    if (g < 0 || g >= GROUPS) myerr("Cannot have more than %i groups of hosts", GROUPS);
    if (!hostfamily) notyetavailable("groups of hosts");
    return isgroup(hostfamily, g) ? groupname(hostfamily, g) : "";
}

static std::string hostword()
{
    imacnu();
    notyetavailable("names of hosts");
}

static std::string taxonomyword()
{
    imacnu();
    errmsg("Taxonomy is not enabled", nullptr);
}

static std::string carets(std::string name)
{
    std::replace(name.begin(), name.end(), ' ', '^');
    return name;
}

static std::string curfileword() { return carets(curfileis); }

static std::string curwdword()
{
    constexpr size_t LONGEST = 160;
    char path[4096];
    if (!getcwd(path, sizeof path)) return "";
    return carets(std::string(path).substr(0, LONGEST));
}

static std::string bitsetword()
{
    unsigned bits = unsigned(imacnu());
    std::string text;
    for (int b = 0; b < 32; ++b)
        if (bits >> b & 1) text += char(b < 10 ? '0' + b : 'A' + b - 10);
    return text.empty() ? " " : text;
}

static std::string dnabitsetword()
{
    constexpr char antidnamask[] = " AGRCMSVTWKDYHBN";       // by the set of the states A, G, C and T
    int bits = imacnu();
    if (bits < 0 || bits > 15) errmsg("A dna bit-set cannot exceed 15!", nullptr);
    return std::string(1, antidnamask[bits]);
}

static std::string protbitsetword()
{
    constexpr int ASX = 2052, GLX = 8200, LARGEST = 1 << 21, QUOTED = 1048576;
    int bits = imacnu();
    if (bits < 0 || bits > LARGEST) myerr("A protein bit-set cannot exceed %i!", QUOTED);
    if (!bits) return " ";
    if (bits == ASX) return "B";
    if (bits == GLX) return "Z";
    if (bits & (bits - 1)) errmsg("Unknown protein polymorphism", nullptr);
    return std::string(1, prot_mask[__builtin_ctz(unsigned(bits))]);
}

static std::string alnsetword() { myerr("No align set number %i", imacnu()); }

static std::string alngrpword()
{
    int set = imacnu();
    imacnu();
    imacnu();
    myerr("No align set number %i", set);
}

struct dollarword {
    const char *word;
    std::string (*text)();           // reads its arguments
    bool mayempty;                   // what is empty is not made a blank
};

static const dollarword makedollars[] = {
    { "taxon",      taxonword,      false }, { "character",  characterword,  false }, { "state",      stateword,      false },
    { "host",       hostword,       false }, { "dataset",    datasetword,    false }, { "ttag",       ttagword,       true  },
    { "block",      blockword,      false }, { "hifstring",  hifstring,      false }, { "agroup",     agroupword,     false },
    { "tgroup",     tgroupword,     false }, { "xgroup",     xgroupword,     false }, { "hgroup",     hgroupword,     false },
    { "taxonomy",   taxonomyword,   true  }, { "curfile",    curfileword,    true  }, { "curwd",      curwdword,      true  },
    { "bitset",     bitsetword,     false }, { "dnabitset",  dnabitsetword,  false },
    { "protbitset", protbitsetword, false }, { "alnset",     alnsetword,     true  }, { "alngrp",     alngrpword,     true  },
};

// --- values within texts ------------------------------------------------------------------

[[noreturn]] static void notsimple()
{
    errmsg("Variables within strings can be expanded only with simple expressions", nullptr);
}

static int simplevariable(const std::string &name)
{
    if (!std::all_of(name.begin(), name.end(), [](unsigned char c) { return isalnum(c) || c == '_'; })) notsimple();
    int v;
    if (isdigit(static_cast<unsigned char>(name[0]))) {
        if (name.find_first_not_of("0123456789") != std::string::npos || name.size() > 9) notsimple();
        v = std::stoi(name) + addatvar;
    } else if ((v = find_varname(name.c_str())) < 0)
        errmsg("Unrecognized variable:", name.c_str(), nullptr);
    if (v >= Maxvars) errmsg("Only", intvert(Maxvars), "variables available", nullptr);
    return v;
}

// 'x': the value of x.  "x": the value of the variable whose number x holds.
static std::string value_in_string(const std::string &text, size_t *at)
{
    char mark = text[*at];
    size_t end = text.find(mark, *at + 1);
    if (end == std::string::npos) errmsg("Each quote or single quote must be matched", nullptr);
    int v = simplevariable(text.substr(*at + 1, end - *at - 1));
    if (mark == '"') {
        v = toint32(value_of(v)) + addatvar;
        if (v < 0 || v >= Maxvars) errmsg("Only", intvert(Maxvars), "variables available", nullptr);
    }
    *at = end;
    return value_text(value_of(v));
}

std::string in_string(const std::string &text)
{
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        unsigned char next = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0;
        if ((text[i] == '\'' || text[i] == '"') && (isalnum(next) || next == '(')) out += value_in_string(text, &i);
        else if (text[i] == '%' && isdigit(next)) {
            out += file_argument(next - '0');
            ++i;
        } else
            out += text[i];
    }
    return out;
}

// --- parts of texts -----------------------------------------------------------------------

static int readcount()
{
    long n = 0;
    while (isdigit(next_in_stream())) n = std::min(10 * n + (truly_clean_gtch() - '0'), 1000000L);
    if (n >= MAXCONVERSION) myerr("Cannot make string conversion so long ( max. %i)", MAXCONVERSION);
    return int(n);
}

static std::string textline(const std::string &text, int line)
{
    size_t from = 0;
    for (; line > 0; --line) {
        from = text.find('\\', from);
        if (from == std::string::npos) return "";
        ++from;
    }
    return text.substr(from, text.find('\\', from) - from);
}

// Letters of other alphabets take several bytes each.
static size_t letterat(const std::string &text, size_t at) { return firstchar(text.data() + at, text.size() - at); }

static size_t countletters(const std::string &text)
{
    size_t n = 0;
    for (size_t at = 0; at < text.size(); at += letterat(text, at)) ++n;
    return n;
}

static size_t bytesofletters(const std::string &text, size_t letters)
{
    size_t at = 0;
    for (; letters && at < text.size(); --letters) at += letterat(text, at);
    return at;
}

// What was consumed since; given back when it turns out to be plain text.
struct tentative {
    std::string read;
    int take()
    {
        read += char(truly_clean_gtch());
        return next_in_stream();
    }
    bool plain()
    {
        read_again(read);
        return false;
    }
};

// Consumes ":", ":+", ":-" or "::" when a digit follows; sign: the second character, or 0.
static bool begins_count(char *sign)
{
    tentative form;
    int next = form.take();
    *sign = 0;
    if (next == '+' || next == '-' || next == ':') {
        *sign = char(next);
        next = form.take();
    }
    return isdigit(next) || form.plain();
}

static std::string counted(const std::string &text, char sign)
{
    size_t n = size_t(readcount());
    if (sign == ':') return textline(text, int(n));
    if (sign == '+') return text.substr(bytesofletters(text, n));
    size_t has = countletters(text);
    std::string padding(n > has ? n - has : 0, ' ');
    if (sign == '-') return padding + text.substr(bytesofletters(text, has > n ? has - n : 0));
    return text.substr(0, bytesofletters(text, n)) + padding;
}

// Consumes "<C" or ">C"; C is a letter of any alphabet.
static bool begins_cut(std::string *mark)
{
    tentative form;
    if (form.take() == ';' || curproc->at_eof) return form.plain();
    *mark = char(truly_clean_gtch());
    auto continues = [](int c) { return (c & 0xc0) == 0x80; };
    while ((*mark)[0] & 0x80 && continues(next_in_stream())) *mark += char(truly_clean_gtch());
    return true;
}

static std::string modified(const std::string &text)
{
    int c = next_in_stream();
    char sign;
    if (c == ':' && begins_count(&sign)) return counted(text, sign);
    std::string mark;
    if ((c != '<' && c != '>') || !begins_cut(&mark)) return text;
    size_t at = text.find(mark);
    if (at == std::string::npos) return text;
    return c == '<' ? text.substr(0, at) : text.substr(at + mark.size());
}

// --- the expansion ------------------------------------------------------------------------

struct readingdollar {
    int dollars = ignore_dollars, wanted = is_for_dollars;
    readingdollar()  { ignore_dollars = is_for_dollars = 1; }
    ~readingdollar() { ignore_dollars = dollars; is_for_dollars = wanted; }
};

void expand_dollar()
{
    std::string text;
    bool mayempty = false;
    {
        readingdollar whilehere;
        int v = get_varnum('$');
        if (v >= 0) text = in_string(modified(string_at(v)));
        else {
            const dollarword *row = makedollars, *end = std::end(makedollars);
            while (row < end && strcasecmp(row->word, exprword)) ++row;
            if (row == end) errmsg("Unrecognized variable:", exprword, nullptr);
            is_for_dollars = 0;
            mayempty = row->mayempty;
            text = modified(row->text());
        }
    }
    if (text.size() > MAXCONVERSION - 1) text.resize(MAXCONVERSION - 1);
    if (pad_conversions || (text.empty() && !mayempty)) text += ' ';
    expand(text);
}
