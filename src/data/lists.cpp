// The list syntax.  A list is read once, left to right, into a byte per element; each item marks
// what it names with the sense in force, which '+' and '-' change.
//
// Numbers are read by hand, not as tokens: "0.5-7" holds a range, a sign and a number, while
// "5spots" may be a name; only what follows the digits tells.
#include "data/lists.h"
#include "data/below.h"
#include "data/groups.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/typos.h"
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <string>

int scopis[2];
int use_taxlist_from_pico, use_charlist_from_pico, use_treelist_from_pico;
uint8_t *taxlist_from_pico, *charlist_from_pico, *treelist_from_pico;

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
static std::string readword(std::string word = "")
{
    int c;
    while (!ends_word(c = gtch())) word += char(c == '^' ? ' ' : c);
    ungtch();
    chk_strlen(long(word.size()), CMDNAMESIZE - 1, "Name");
    return word;
}

static bool begins_name(int c) { return isalpha(c) || c == '_' || c > 127; }

static bool contains(const char *name, const char *word) { return strcasestr(name, word); }

// --- Taxa ---

int findtaxon(const char *word)
{
    if (!*word) return -1;
    if (size_t digits = strspn(word, "0123456789"); !word[digits]) {
        long n = digits > MAXDIGITS ? -1 : strtol(word, nullptr, 10);
        return isatax(n) ? int(n) : -1;
    }
    for (int t = 0; t < nt; ++t)
        if (!strcmp(taxname[t], word)) return t;
    for (int t = 0; t < nt; ++t)
        if (!namecomp(taxname[t], word)) return t;
    for (int t = 0; t < nt; ++t)
        if (namtrun(word, taxname[t])) return t;
    return -1;
}

int rdtax()
{
    if (ends_word(peep())) return -1;
    std::string word = readword();
    int t = findtaxon(word.c_str());
    if (t < 0 && admit_typos && menuing && begins_name(static_cast<unsigned char>(word[0])))
        for (int i = 0; i < nt && t < 0; ++i)
            if (needwunsch_typo(word.c_str(), taxname[i], "taxon") == 1) t = i;
    strcpy(cmdname, word.c_str());
    return t;
}

// --- A single range ---

static void bounded(long n, int low, int high, const char *kind)
{
    if (n < low || n >= high) errmsg("Error in scope:", kind, intvert(n), "?", nullptr);
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
        else if (is(kind, "taxon") && begins_name(c)) {
            if ((from = rdtax()) < 0) errmsg("No taxon named", cmdname, nullptr);
        }
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
        to = isdigit(c) ? number(readdigits()) : is(kind, "taxon") && begins_name(c) ? rdtax() : high - 1;
        bounded(to, low, high, kind);
    }
    scopis[0] = int(std::min(from, to));
    scopis[1] = int(std::max(from, to));
}

// --- Groups and blocks ---

static void badgroup(long g) { errmsg("No", "group number", intvert(g), nullptr); }

// One word within the braces: a number, a range, or the beginning of names.
static void takegroups(const groupfamily *f, const std::string &word, uint8_t *list, int low, int high, uint8_t value)
{
    int groups = f->groups();
    auto take = [&](int g) {
        for (int i = low; i < high; ++i)
            if (f->member(i, g)) list[i] = value;
    };
    size_t digits = word.find_first_not_of("0123456789");
    size_t rest = digits == std::string::npos ? digits : word.find_first_not_of("0123456789", digits + 1);
    if (digits == std::string::npos) {
        long g = number(word);
        if (g >= groups || !f->defined(int(g))) badgroup(g);
        take(int(g));
        return;
    }
    if (word[digits] == '.' && rest == std::string::npos) {
        long from = digits ? number(word.substr(0, digits)) : 0;
        long to = digits + 1 < word.size() ? number(word.substr(digits + 1)) : groups - 1;
        if (from > to) std::swap(from, to);
        if (to >= groups) badgroup(to);
        for (long g = from; g <= to; ++g) take(int(g));
        return;
    }
    if (strchr("{(<>=&@*", word[0])) errmsg("Found allien character within brackets", nullptr);
    bool any = false;
    for (int g = 0; g < groups; ++g)
        if (f->defined(g) && namtrun(word.c_str(), f->name(g))) {
            take(g);
            any = true;
        }
    if (!any) errmsg("No", f->kind, "group named", word.c_str(), nullptr);
}

void readgroups(uint8_t *list, int low, int high, const char *kind, uint8_t value)
{
    const groupfamily *f = familyof(kind);
    if (!f) errmsg("Expecting", kind, "number", nullptr);
    for (int c; (c = gtnb()) != '}'; ) {
        if (c == ';') errmsg("Unexpected semicolon within brackets", nullptr);
        std::string word;
        for (; c > 32 && c != '}' && c != ';'; c = gtch()) word += char(c == '^' ? ' ' : c);
        ungtch();
        takegroups(f, word, list, low, high, value);
    }
}

void readblock(int *low, int *high)
{
    int c = peep();
    long b;
    if (isdigit(c)) b = number(readdigits());
    else if (ends_word(c) || !blockname) errmsg("Must give a block number ( 0 -", intvert(nblocks), ")", "after @", nullptr);
    else {
        std::string word = readword();
        for (b = 0; b <= nblocks; ++b)
            if (namtrun(word.c_str(), blockname[b])) break;
        if (b > nblocks) errmsg("No block named", word.c_str(), nullptr);
    }
    if (b > nblocks) errmsg("Only valid blocks are 0 -", intvert(nblocks), nullptr);
    *low = 0;
    *high = nc;
    if (!b) return;                                  // block 0 is the whole matrix
    while (*low < nc && charcodes[*low].block != b) ++*low;
    for (*high = *low; *high < nc && charcodes[*high].block == b; ) ++*high;
    if (*low == nc) errmsg("Only valid blocks are 0 -", intvert(nblocks), nullptr);
}

// --- Lists ---

namespace {
struct scope {
    uint8_t *list;
    int low, high;                   // the elements there are
    const char *kind;
    char **names;
    uint8_t sense = LISTED;
    bool any = false;                // an item was read
    int  block = -1;                 // block that numbers refer to, -1 none
    int  from = 0, to = 0;           // its limits
    bool wholeblock = false;         // a block was named and no number of it yet
};

void mark(scope *s, long from, long to)
{
    if (from > to) std::swap(from, to);
    for (long i = from; i <= to; ++i) s->list[i] = s->sense;
    s->any = true;
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

// Every element whose name the test accepts; failing that, those the user takes for a misspelling.
void byname(scope *s, const std::string &word, bool (*fits)(const char *name, const char *word))
{
    bool found = false;
    auto take = [&](int i) { mark(s, i, i); found = true; };
    for (int i = s->low; i < s->high; ++i)
        if (s->names[i] && fits(s->names[i], word.c_str())) take(i);
    if (!found && admit_typos && menuing && !word.empty())
        for (int i = s->low; i < s->high; ++i)
            if (s->names[i] && needwunsch_typo(word.c_str(), s->names[i], s->kind) == 1) take(i);
    if (!found) errmsg("Expected a", s->kind, "name - no", s->kind, "named", word.c_str(), nullptr);
}

bool begins(const char *name, const char *word) { return namtrun(word, name); }

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
        if (s->names) return byname(s, readword(raw), begins);
        errmsg("Expecting", s->kind, "number", nullptr);
    }
    s->wholeblock = false;
    long a = place(s, number(from));
    mark(s, a, !range ? a : to.empty() ? last(s) : place(s, number(to)));
}

// The range from the first element: ".", ".M" or "..M".
void dotitem(scope *s)
{
    int c = gtch();
    if (c != '.') ungtch();
    std::string to = readdigits();
    s->wholeblock = false;
    if (first(s) <= last(s)) mark(s, first(s), to.empty() ? last(s) : place(s, number(to)));
}

// @T N: the terminals of a node.  Ancestors are followed down from the highest numbers once: a
// canonical tree does not number every ancestor above its descendants, so each terminal climbs,
// and stops where it meets what an earlier one learned.
void cladeitem(scope *s)
{
    long t = gtnu();
    if (t < 0) errmsg("Must give", "tree", "number", nullptr);
    if (!isatree(t)) errmsg("Tree", "number", intvert(t), "is not in memory", nullptr);
    long node = gtnu();
    if (node < 0) errmsg("Must give", "node", "number", nullptr);
    const int *anc = ancestors_of_tree(int(t));
    if (node >= anc[nt] || (node != nt && !anc[node]))
        errmsg("No node", intvert(node), "in tree", intvert(t), nullptr);
    char *was = himark();
    int8_t *inside = zhi<int8_t>(nodz);              // 1 within the clade, -1 without
    inside[nt] = -1;
    inside[node] = 1;
    for (int i = s->low; i < s->high; ++i) {
        if (!anc[i]) continue;
        int n = i;
        while (!inside[n]) n = anc[n];
        int8_t what = inside[n];
        for (n = i; !inside[n]; n = anc[n]) inside[n] = what;
        if (what > 0) mark(s, i, i);
    }
    s->any = true;
    hiset(was);
}

void atitem(scope *s)
{
    if (is(s->kind, "taxon")) return cladeitem(s);
    if (!is(s->kind, "character")) errmsg("@ can be used only in reference to taxa or characters", nullptr);
    readblock(&s->from, &s->to);
    s->block = s->from < s->to && !(s->from == 0 && s->to == nc) ? charcodes[s->from].block : 0;
    s->wholeblock = true;
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

int read_scope(uint8_t *list, int low, int high, const char *kind, char **names)
{
    if (const uint8_t *given = suppliedlist(kind)) {
        std::copy(given + low, given + high, list + low);
        return 1;
    }
    std::fill(list + low, list + std::max(low, high), uint8_t(0));
    scope s{ list, low, high, kind, names };
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
        else if (c == '^' && is(kind, "character")) errmsg("No character complexes defined", nullptr);
        else if (!names) errmsg("Expecting", kind, "number", nullptr);
        else if (c == ':') byname(&s, readword(), contains);
        else if (c == '}' || c == '*' || c == '(' || c == ')' || c == ',')
            errmsg("Expected a", kind, "name", nullptr);
        else byname(&s, readword(std::string(1, char(c == '^' ? ' ' : c))), begins);
    }
    ungtch();
    settle(&s);
    int mentioned = int(std::count_if(list + low, list + std::max(low, high), [](uint8_t x) { return x != 0; }));
    return s.any ? std::max(mentioned, 1) : 0;
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

void printlist(const uint8_t *list, int low, int high, uint8_t value)
{
    constexpr int WIDEST = 70;
    for (int i = low; i < high; ++i) {
        if (list[i] != value) continue;
        if (composed_length() > WIDEST) spewout();
        tojoin(" ");
        tojoin(intvert(i));
    }
    if (composed_length()) spewout();
}
