// The list syntax.  A list is read once, left to right, into a byte per element; each item marks
// what it names with the sense in force, which '+' and '-' change.
//
// Numbers are read by hand, not as tokens: "0.5-7" holds a range, a sign and a number, while
// "5spots" may be a name; only what follows the digits tells.
#include "data/lists.h"
#include "data/below.h"
#include "data/blocks.h"
#include "data/groups.h"
#include "data/matrix.h"
#include "data/nameindex.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "kernel/typos.h"
#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

int scopis[2];
int use_taxlist_from_pico, use_charlist_from_pico, use_treelist_from_pico;
uint8_t *taxlist_from_pico, *charlist_from_pico, *treelist_from_pico;
const charcomplexes *complexes;
int (*hostbyrole)(const char *word);

void forget_supplied_lists() { use_taxlist_from_pico = use_charlist_from_pico = use_treelist_from_pico = 0; }

bool isatree(long n) { return n >= 0 && n < give_trees_in_mem(); }
bool isanod(long n)  { return n >= 0 && n < nodz; }
bool isatax(long n)  { return n >= 0 && n < nt; }
bool isachar(long n) { return n >= 0 && n < nc; }

static constexpr int MAXDIGITS = 15;

static bool ends_list(int c) { return c > 0 && strchr("&/;<=>\\]", c); }
static bool ends_word(int c) { return c <= 32 || ends_list(c) || c == '{' || c == '}'; }
static bool is(const char *kind, const char *what) { return !strcmp(kind, what); }

// --- Numbers and words ---

static long number(const std::string &digits)
{
    chk_strlen(long(digits.size()), MAXDIGITS, "Number");
    return strtol(digits.c_str(), nullptr, 10);
}

static std::string readdigits()
{
    std::string digits;
    int c;
    while (isdigit(c = gtch())) digits += char(c);
    ungtch();
    return digits;
}

// The rest of a word; '^' stands for a blank, as where names are defined.
std::string getdastr(std::string word)
{
    int c;
    while (!ends_word(c = gtch())) word += char(c == '^' ? ' ' : c);
    ungtch();
    chk_strlen(long(word.size()), CMDNAMESIZE - 1, "Name");
    return word;
}

static bool begins_name(int c) { return isalpha(c) || c == '_' || c > 127; }

// --- Taxa ---

// Files of trees name every taxon of every tree: these names are put in order once.
static nameindex taxaindex;
static bool manynames;                       // a manytaxa is alive

manytaxa::manytaxa()  { manynames = true; }
manytaxa::~manytaxa()
{
    manynames = false;
    taxaindex = {};
}

int findtaxon(const char *word)
{
    if (!*word) return -1;
    size_t length = strlen(word), digits = strspn(word, "0123456789");
    if (digits == length) {
        long n = digits > MAXDIGITS ? -1 : strtol(word, nullptr, 10);
        return isatax(n) ? int(n) : -1;
    }
    int exact = nt, same = nt, begun = nt;   // the first taxon of each kind
    auto look = [&](int t) {
        if (strncasecmp(taxname[t], word, length)) return;
        begun = std::min(begun, t);
        if (taxname[t][length]) return;
        same = std::min(same, t);
        if (!strcmp(taxname[t], word)) exact = std::min(exact, t);
    };
    if (manynames) {
        if (!taxaindex.names) indexnames(&taxaindex, taxname, 0, nt);
        nameband band = namesbegun(taxaindex, word);
        std::for_each(band.from, band.to, look);
    }
    else for (int t = 0; t < nt; ++t) look(t);
    return exact < nt ? exact : same < nt ? same : begun < nt ? begun : -1;
}

// --- Clades ---

// T N: a tree in memory and a node of it, whose terminals go to take.  Each terminal climbs towards
// the root, and stops where it meets what an earlier one learned: ancestors are not numbered in an
// order in which one pass over the nodes would do.
template<class TAKE> static void readclade(TAKE take)
{
    long t = gtnu();
    if (t < 0) errmsg("Must give", "tree", "number", nullptr);
    if (!isatree(t)) errmsg("Tree", "number", intvert(t), "is not in memory", nullptr);
    long node = gtnu();
    if (node < 0) errmsg("Must give", "node", "number", nullptr);
    char *was = himark();
    const int *anc = ancestors_of_tree(int(t));
    if (node >= anc[nt] || (node != nt && !anc[node]))
        errmsg("No node", intvert(node), "in tree", intvert(t), nullptr);
    int8_t *inside = zhi<int8_t>(nodz);              // 1 within the clade, -1 without
    inside[nt] = -1;
    inside[node] = 1;
    for (int i = 0; i < nt; ++i) {
        if (!anc[i]) continue;
        int n = i;
        while (!inside[n]) n = anc[n];
        int8_t what = inside[n];
        for (n = i; !inside[n]; n = anc[n]) inside[n] = what;
        if (what > 0) take(i);
    }
    hiset(was);
}

int rdtax()
{
    if (gotc('@')) {
        int first = -1;
        readclade([&first](int t) { first = first < 0 ? t : first; });
        snprintf(cmdname, CMDNAMESIZE, "%i", first);
        return first;
    }
    if (ends_word(peep())) return -1;
    std::string word = getdastr();
    int t = findtaxon(word.c_str());
    if (t < 0 && admit_typos && menuing && begins_name(static_cast<unsigned char>(word[0])))
        for (int i = 0; i < nt && t < 0; ++i)
            if (needwunsch_typo(word.c_str(), taxname[i], "taxon") == ACCEPTED) t = i;
    strcpy(cmdname, word.c_str());
    return t;
}

// --- A single range ---

static void bounded(long n, int low, int high, const char *kind)
{
    if (n < low || n >= high) errmsg("Error in scope:", kind, intvert(n), "?", nullptr);
}

static int rangeend()
{
    int t = rdtax();
    if (t < 0) errmsg("No taxon named", cmdname, nullptr);
    return t;
}

void getscope(int low, int high, const char *kind)
{
    int c = gtnb();
    long from = low, to;
    bool open = false;
    if (c == '.') open = true;
    else {
        ungtch();
        if (isdigit(c)) from = number(readdigits());
        else if (is(kind, "taxon") && begins_name(c)) from = rangeend();
        else errmsg("Expecting", kind, "number", nullptr);
    }
    bounded(from, low, high, kind);
    to = from;
    c = gtch();
    if (c == '.') open = true;
    else ungtch();
    if (open) {
        c = gtch();
        ungtch();
        to = isdigit(c) ? number(readdigits()) : is(kind, "taxon") && begins_name(c) ? rangeend() : high - 1;
        bounded(to, low, high, kind);
    }
    scopis[0] = int(std::min(from, to));
    scopis[1] = int(std::max(from, to));
}

// --- Groups and blocks ---

void readgroups(uint8_t *list, int low, int high, const char *kind, uint8_t value)
{
    const groupfamily *f = familyof(kind);
    if (!f) errmsg("Expecting", kind, "number", nullptr);
    for (int c; (c = gtnb()) != '}'; ) {
        if (c == ';') errmsg("Unexpected semicolon within brackets", nullptr);
        ungtch();
        std::string word = readgroupword('}');
        if (strchr("{(<>=&@*", word[0])) errmsg("Found allien character within brackets", nullptr);
        if (!markmembers(f, word.c_str(), list, low, high, value))
            errmsg("No", f->kind, "group named", word.c_str(), nullptr);
    }
}

void readcomplex(uint8_t *list, int low, int high, uint8_t value)
{
    if (!complexes || !complexes->count()) errmsg("No character complexes defined", nullptr);
    long n = gtnu();
    if (n < 0) errmsg("Expected a complex number after \"^\" symbol", nullptr);
    if (n >= complexes->count()) myerr("No complex %i", int(std::min(n, long(INT_MAX))));
    for (int c = low; c < high; ++c)
        if (complexes->member(c, int(n))) list[c] = value;
}

void readblock(int *low, int *high)
{
    int c = peep();
    long b;
    if (isdigit(c)) b = number(readdigits());
    else if (ends_word(c) || !blockname) errmsg("Must give a block number ( 0 -", intvert(nblocks), ")", "after @", nullptr);
    else {
        std::string word = getdastr();
        for (b = 0; b <= nblocks; ++b)
            if (namtrun(word.c_str(), blockname[b])) break;
        if (b > nblocks) errmsg("No block named", word.c_str(), nullptr);
    }
    if (!blockrange(b, low, high)) errmsg("Only valid blocks are 0 -", intvert(nblocks), nullptr);
}

// --- Lists ---

namespace {
struct scope {
    uint8_t *list;
    int low, high;                   // the elements there are
    const char *kind;
    char **names;
    const listitems *own;            // items of the command; null: only the common ones
    uint8_t sense = LISTED;
    bool any = false;                // an item was read
    int  block = -1;                 // block that numbers refer to, -1 none
    int  from = 0, to = 0;           // its limits
    bool wholeblock = false;         // a block was named and no number of it yet
    int  looked = 0;                 // names looked up
    nameindex index{};               // of the names, once there were many
};

void mark(scope *s, long from, long to, long step = 1)
{
    if (from > to) std::swap(from, to);
    for (long i = from; i <= to; i += step) s->list[i] = s->sense;
    s->any = true;
}

// The Z of "/Z" after a range.
long everyth(const scope *s)
{
    if (!s->own || !gotc('/')) return 1;
    long z = gtnu();
    if (z < 1) errmsg("Zap must be > 0", nullptr);
    return z;
}

// A block with no number of its own stands for all its characters.
void settle(scope *s)
{
    if (s->wholeblock) mark(s, s->from, s->to - 1);
    s->wholeblock = false;
}

// Place of number n, in the block named last or of all.
long place(scope *s, long n)
{
    bool inblock = s->block >= 0;
    long at = inblock ? s->from + n : n;
    if (at >= (inblock ? s->from : s->low) && at < (inblock ? s->to : s->high)) return at;
    if (inblock) errmsg("No", s->kind, "number", intvert(n), "in block", intvert(s->block), nullptr);
    if (is(s->kind, "tree"))
        errmsg("No tree number", intvert(n), "(only", intvert(give_trees_in_mem()), "trees in memory)", nullptr);
    errmsg("No", s->kind, "number", intvert(n), nullptr);
}

long first(const scope *s) { return s->block >= 0 ? s->from : s->low; }
long last(const scope *s)  { return (s->block >= 0 ? s->to : s->high) - 1; }

// No name fits: those the user takes for a misspelling of one, if any.
void bytypo(scope *s, const std::string &word)
{
    bool found = false;
    if (admit_typos && menuing && !word.empty())
        for (int i = s->low; i < s->high; ++i)
            if (s->names[i] && needwunsch_typo(word.c_str(), s->names[i], s->kind) == ACCEPTED) {
                mark(s, i, i);
                found = true;
            }
    if (!found) errmsg("Expected a", s->kind, "name - no", s->kind, "named", word.c_str(), nullptr);
}

// Every name that begins with the word.
void bybeginning(scope *s, const std::string &word)
{
    constexpr int MANY = 16;                 // putting names in order costs as much as looking up this many
    bool found = false;
    auto take = [&](int i) { mark(s, i, i); found = true; };
    if (++s->looked > MANY && !word.empty()) {
        if (!s->index.names) indexnames(&s->index, s->names, s->low, s->high);
        nameband band = namesbegun(s->index, word.c_str());
        std::for_each(band.from, band.to, take);
    }
    else for (int i = s->low; i < s->high; ++i)
        if (s->names[i] && namtrun(word.c_str(), s->names[i])) take(i);
    if (!found) bytypo(s, word);
}

// Every name that contains the word.
void bypiece(scope *s, const std::string &word)
{
    if (word.empty()) errmsg("Expected a", s->kind, "name", nullptr);
    bool found = false;
    for (int i = s->low; i < s->high; ++i)
        if (s->names[i] && strcasestr(s->names[i], word.c_str())) {
            mark(s, i, i);
            found = true;
        }
    if (!found) bytypo(s, word);
}

// N, N.M and N., or a name that begins with digits.
void numberitem(scope *s)
{
    std::string from = readdigits(), raw = from, to;
    int c = gtch();
    bool range = c == '.';
    if (range) {
        raw += '.';
        to = readdigits();
        raw += to;
        c = gtch();
    }
    ungtch();
    if (begins_name(c)) {
        if (s->names) return bybeginning(s, getdastr(raw));
        errmsg("Expecting", s->kind, "number", nullptr);
    }
    s->wholeblock = false;
    long a = place(s, number(from)), b = !range ? a : to.empty() ? last(s) : place(s, number(to));
    mark(s, a, b, range ? everyth(s) : 1);
}

// The range from the first element: ".", ".M" or "..M".
void dotitem(scope *s)
{
    int c = gtch();
    if (c != '.') ungtch();
    std::string to = readdigits();
    s->wholeblock = false;
    if (first(s) > last(s)) return;
    long b = to.empty() ? last(s) : place(s, number(to));
    mark(s, first(s), b, everyth(s));
}

void atitem(scope *s)
{
    if (is(s->kind, "taxon")) {              // the terminals of a node of a tree
        readclade([s](int t) { if (t >= s->low && t < s->high) mark(s, t, t); });
        s->any = true;
        return;
    }
    if (!is(s->kind, "character")) errmsg("@ can be used only in reference to taxa or characters", nullptr);
    readblock(&s->from, &s->to);
    s->block = s->from < s->to && !(s->from == 0 && s->to == nc) ? charcodes[s->from].block : 0;
    s->wholeblock = true;
}

// A word of the command, an element by name, or a host by what it is.
void worditem(scope *s, int c)
{
    std::string word(1, char(c == '^' ? ' ' : c));
    if (s->own && s->own->word && isalpha(c)) {
        while (isalnum(c = gtch())) word += char(c);
        ungtch();
        if ((ends_word(c) || c == '(') && s->own->word({ s->list, s->low, s->high, s->sense }, word.c_str(), s->own->of)) {
            s->any = true;
            return;
        }
    }
    if (s->names) return bybeginning(s, getdastr(word));
    int host = is(s->kind, "host") && hostbyrole ? hostbyrole(getdastr(word).c_str()) : -1;
    if (host < s->low || host >= s->high) errmsg("Expecting", s->kind, "number", nullptr);
    mark(s, host, host);
}

// The embedded C interpreter may supply the list in place of text.
const uint8_t *suppliedlist(const char *kind)
{
    return is(kind, "taxon") && use_taxlist_from_pico           ? taxlist_from_pico
           : is(kind, "character") && use_charlist_from_pico    ? charlist_from_pico
           : is(kind, "tree") && use_treelist_from_pico         ? treelist_from_pico
                                                                : nullptr;
}
}

int read_scope_with(const listitems *own, uint8_t *list, int low, int high, const char *kind, char **names)
{
    if (const uint8_t *given = suppliedlist(kind)) {
        std::copy(given + low, given + high, list + low);
        return 1;
    }
    std::fill(list + low, list + std::max(low, high), uint8_t(0));
    scope s{ list, low, high, kind, names, own };
    for (int c; !ends_list(c = gtnb()); ) {
        if (c != '.' && !isdigit(c)) settle(&s);
        if (isdigit(c)) {
            ungtch();
            numberitem(&s);
        }
        else if (c == '.') dotitem(&s);
        else if (c == '+') s.sense = LISTED;
        else if (c == '-') s.sense = UNLISTED;
        else if (c == '{') {
            readgroups(list, low, high, kind, s.sense);
            s.any = true;
        }
        else if (c == '@') atitem(&s);
        else if (c == '^' && is(kind, "character")) {
            readcomplex(list, low, high, s.sense);
            s.any = true;
        }
        else if (own && own->sign && own->sign({ list, low, high, s.sense }, c, own->of)) s.any = true;
        else if (c == ':' && names) bypiece(&s, getdastr());
        else if (names && strchr("}*(),", c)) errmsg("Expected a", kind, "name", nullptr);
        else worditem(&s, c);
    }
    ungtch();
    settle(&s);
    int mentioned = int(std::count_if(list + low, list + std::max(low, high), [](uint8_t x) { return x != 0; }));
    return s.any ? std::max(mentioned, 1) : 0;
}

int read_scope(uint8_t *list, int low, int high, const char *kind, char **names)
{
    return read_scope_with(nullptr, list, low, high, kind, names);
}

int countlist(const uint8_t *list, int n) { return int(std::count(list, list + n, LISTED)); }

uint8_t *treelist()
{
    int trees = give_trees_in_mem();
    if (!trees) errmsg("Tree(s) are required", nullptr);
    uint8_t *list = lo<uint8_t>(trees);
    if (!read_scope(list, 0, trees, "tree", nullptr)) std::fill(list, list + trees, LISTED);
    return list;
}

static constexpr int WIDESTLIST = 70, WIDESTLINE = 79;

// Lines of moderate length; a word goes to the next one rather than over the edge of a screen.
void printelement(const char *text)
{
    int line = textwidth(composed(), size_t(composed_length())), width = textwidth(text, strlen(text)) + 1;
    if (line > WIDESTLIST || (line && line + width > WIDESTLINE)) endrow();
    tojoin(" ");
    tojoin(text);
}

void printlist(const uint8_t *list, int low, int high, uint8_t value)
{
    for (int i = low; i < high; ++i)
        if (list[i] == value) printelement(intvert(i));
    if (composed_length()) spewout();
}

void printtaxa(const uint8_t *list, uint8_t value)
{
    for (int t = 0; t < nt; ++t)
        if (list[t] == value) printelement(usetaxnames ? taxname_out(t) : intvert(t));
    if (composed_length()) spewout();
}
