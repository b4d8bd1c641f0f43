// Definition of groups: agroup, xgroup, and the grammar that tgroup and host groups share with them.
//
// The items of a group are a list with items of its own.  They are read whole into a list before the
// group changes, so that a definition that fails leaves the group as it was.
#include "data/groupdefs.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/commas.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/random.h"
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <strings.h>
#include <vector>

namespace {
struct definition {
    const groupfamily *f;
    const groupitems *items;
    int  g = -1;
    char how = '=';                  // '=' made anew, '>' added to, '<' removed from
    bool seeded = false;             // a random item was read
    std::string name{};              // empty: it keeps the one it has
};

// What a group can be called and still be read where it is written.
constexpr char NOTINNAMES[] = ";(){}[]&/\\<>=@*:|,'\"";

bool inname(int c) { return c > 32 && !strchr(NOTINNAMES, c); }

// --- Random elements ---

// Elements that may still be chosen: outside the list, and outside or inside the group when it is
// added to or removed from.  After '-', those of the list.
bool eligible(const definition &d, const listpart &p, int i)
{
    if (p.sense == UNLISTED) return p.list[i] == LISTED;
    if (p.list[i]) return false;
    return d.how == '=' || isingroup(d.f, i, d.g) == (d.how == '<');
}

void atrandom(definition *d, const listpart &p)
{
    int left = 0;
    for (int i = p.low; i < p.high; ++i) left += eligible(*d, p, i);
    long n = gtnu();
    if (n < 1)
        errmsg("In group definition, \"*\" must be followed by the number of", d->f->plural, "to select, 1 -",
               intvert(left), nullptr);
    if (n > left && d->how == '<')
        errmsg("Cannot remove", intvert(n), "at random from group: only", intvert(left), "in group!", nullptr);
    if (n > left)
        errmsg("Cannot add", intvert(n), d->f->plural, " at random to group: only", intvert(left), "are outside group!",
               nullptr);
    if (!d->seeded) randinit();
    d->seeded = true;
    for (int i = p.low; i < p.high && n; ++i) {
        if (!eligible(*d, p, i)) continue;
        if (rand() % left-- >= n) continue;
        p.list[i] = p.sense;
        --n;
    }
}

// --- Items ---

bool takesign(const listpart &p, int c, void *of)
{
    definition *d = static_cast<definition *>(of);
    if (c != '*') return d->items->sign && d->items->sign(p, c);
    atrandom(d, p);
    return true;
}

bool takeword(const listpart &p, const char *word, void *of)
{
    const groupword *row = static_cast<definition *>(of)->items->words;
    while (row->word && strcasecmp(row->word, word)) ++row;
    if (row->word) row->take(p, row->word);
    return row->word;
}

// --- One definition ---

void needsign(int c, const char *signs)
{
    if (!strchr(signs, c)) errmsg("Must use =, > or <", nullptr);
}

void readnumber(definition *d)
{
    if (d->f->latest && gotc('/')) {
        d->g = d->f->latest();
        if (d->g >= 0) return;
        errmsg("No tree group was defined automatically", nullptr);
    }
    long g = gtnu();
    if (g < 0) errmsg("Must give number of", d->f->kind, "group to define", nullptr);
    if (g >= d->f->groups()) d->f->toomany();
    d->g = int(g);
    if (d->how == '<' && !isgroup(d->f, d->g)) badgroup(g);
}

void readname(definition *d)
{
    d->name.clear();
    if (!gotc('(')) return;
    int c = gtnb();
    for (; inname(c); c = gtch()) d->name += char(c == '^' ? ' ' : c);
    ungtch();
    if (gtnb() != ')') errmsg("Found illegal character when reading group name", nullptr);
    chk_strlen(long(d->name.size()), Namesize - 1, "Name");
}

void apply(const definition &d, const uint8_t *list)
{
    int n = d.f->elements();
    if (d.how == '=') emptygroup(d.f, d.g);
    for (int i = 0; i < n; ++i)
        if (list[i] == LISTED) setgroupbit(d.f->bits(i), d.g, d.how != '<');
    setgroupbit(d.f->defined(), d.g, true);
    if (!d.name.empty()) strcpy(d.f->names()[d.g], d.name.c_str());
}

char **elementnames(const groupfamily *f)
{
    return !strcmp(f->kind, "taxon") ? taxname : !strcmp(f->kind, "character") ? charnames : nullptr;
}

void define(definition *d, uint8_t *list)
{
    int c = gtnb();
    needsign(c, "=><");
    d->how = char(c);
    readnumber(d);
    readname(d);
    listitems own{ takesign, takeword, d };
    read_scope_with(&own, list, 0, d->f->elements(), d->f->kind, elementnames(d->f));
    needsign(peep(), ";=><");
    apply(*d, list);
}
}

// Items may build layers of the arena, for scoring: the list stands elsewhere.
void definegroups(const groupfamily *f, const groupitems *items)
{
    definition d{ f, items };
    std::vector<uint8_t> list(size_t(f->elements()) + 1);
    do define(&d, list.data());
    while (peep() != ';');
}

// --- Undefining ---

static void undefine(const groupfamily *f, int g)
{
    emptygroup(f, g);
    setgroupbit(f->defined(), g, false);
    defaultgroupname(f->names()[g], g);
}

static bool anydefined(const groupfamily *f)
{
    bool any = false;
    for (int g = 0; g < f->groups(); ++g) any |= isgroup(f, g);
    return any;
}

// Of groups "best" and "best_ten" the word "best" means the first, "be" both.
static bool markgroups(const groupfamily *f, const char *word, uint8_t *which)
{
    auto mark = [&](auto fits) {
        bool any = false;
        for (int g = 0; g < f->groups(); ++g)
            if (isgroup(f, g) && fits(groupname(f, g))) which[g] = any = true;
        return any;
    };
    return mark([word](const char *name) { return !namecomp(word, name); }) ||
           mark([word](const char *name) { return namtrun(word, name); });
}

void undefine_groups(const groupfamily *f)
{
    if (!anydefined(f)) errmsg("Can't undefine groups --none defined", nullptr);
    if (peep() == ';') errmsg("Must give number of", f->kind, "group to undefine", nullptr);
    uint8_t *which = zlo<uint8_t>(f->groups());
    while (peep() != ';') {
        std::string word = readgroupword(';');
        grouprange range;
        if (isgrouprange(f, word.c_str(), &range))
            for (int g = range.from; g <= range.to; ++g) which[g] = 1;
        else if (!markgroups(f, word.c_str(), which)) f->unknown(word.c_str());
    }
    for (int g = 0; g < f->groups(); ++g)
        if (which[g]) undefine(f, g);
}

// --- Showing and saving ---

static bool hasdefaultname(const groupfamily *f, int g)
{
    std::string name(size_t(Namesize), 0);
    defaultgroupname(name.data(), g);
    return !strcmp(name.c_str(), groupname(f, g));
}

static void marked(const groupfamily *f, int g, uint8_t *list)
{
    int n = f->elements();
    for (int i = 0; i < n; ++i) list[i] = isingroup(f, i, g) ? LISTED : 0;
}

void showgroups(const groupfamily *f)
{
    if (!anydefined(f)) return spewem("No groups of", f->plural, "are defined", nullptr);
    uint8_t *list = lo<uint8_t>(f->elements());
    for (int g = 0; g < f->groups(); ++g) {
        if (!isgroup(f, g)) continue;
        tojoin(charvert(toupper(f->kind[0])));
        tojoin(f->kind + 1);
        tojoin(" group ");
        tojoin(intvert(g));
        tojoin(":");
        if (!hasdefaultname(f, g)) {
            tojoin(" (");
            tojoin(groupname(f, g));
            tojoin(")");
        }
        marked(f, g, list);
        if (!strcmp(f->kind, "taxon")) printtaxa(list, LISTED);
        else printlist(list, 0, f->elements(), LISTED);
    }
}

// Ranges where three or more follow one another, lines of moderate length.
static void printranges(const uint8_t *list, int n)
{
    for (int i = 0, end; i < n; i = end) {
        end = i + 1;
        if (!list[i]) continue;
        while (end < n && list[end]) ++end;
        if (end - i == 2) --end;
        std::string item = std::to_string(i);
        if (end - i > 1) item += "." + std::to_string(end - 1);
        printelement(item.c_str());
    }
    spewout();
}

// Groups named after files may hold what the reader of names refuses.
static std::string readablename(const char *name)
{
    std::string text = name;
    for (char &c : text) c = c == ' ' ? '^' : c != '^' && inname(static_cast<unsigned char>(c)) ? c : '_';
    return text;
}

void savegroups(const groupfamily *f, const char *command, bool (*which)(int element))
{
    int n = f->elements();
    if (!anydefined(f)) return;
    uint8_t *list = lo<uint8_t>(n);
    joinem(command, "\n", nullptr);
    for (int g = 0; g < f->groups(); ++g) {
        if (!isgroup(f, g)) continue;
        tojoin("  =");
        tojoin(intvert(g));
        tojoin(" (");
        tojoin(readablename(groupname(f, g)).c_str());
        tojoin(")");
        marked(f, g, list);
        for (int i = 0; i < n; ++i)
            if (which && !which(i)) list[i] = 0;
        printranges(list, n);
    }
    joinem("  ;\n", nullptr);
}

// --- Tests of numbers ---

static double readvalue(const char *word, int after)
{
    double sign = gotc('-') ? -1 : 1, x = gtdouble();
    if (x < 0) myerr("String \"%s%c\" must be followed by a number", word, after);
    return sign * x;
}

numbertest readtest(const char *word)
{
    int how = gtnb();
    if (how == '=' || how == '<' || how == '>') {
        double x = readvalue(word, how);
        return { char(how), x, x };
    }
    if (how != '(') myerr("String \"%s\" must be followed by =, <, >, or ( symbols", word);
    commasaretext guard;
    double low = readvalue(word, how);
    if (!gotc(',')) errmsg("Ranges must be given as two values separated by comma", nullptr);
    double high = readvalue(word, ',');
    if (!gotc(')')) errmsg("Need closing parenthesis after second value of range", nullptr);
    return { '(', std::min(low, high), std::max(low, high) };
}

// Lengths of continuous characters are thousandths added up: what differs by less is equal.
bool passes(const numbertest &test, double x)
{
    constexpr double SAME = 0.0005;
    if (test.how == '<') return x < test.low - SAME;
    if (test.how == '>') return x > test.high + SAME;
    return x >= test.low - SAME && x <= test.high + SAME;
}

// --- Commands ---

void groupcom(const groupfamily *f, const char *command, const groupitems *items, bool (*active)(int element))
{
    switch (peep()) {
    case ';':
        return showgroups(f);
    case '-':
        gtnb();
        return undefine_groups(f);
    case '*':
        gtnb();
        return savegroups(f, command, nullptr);
    case '!':
        if (active) {
            gtnb();
            return savegroups(f, command, active);
        }
    }
    definegroups(f, items);
}

void rd_taxchargroup(const char *kind)
{
    bool taxa = !strcmp(kind, "taxon");
    nodaterror("defining groups");
    set_charcodes();                     // items ask for steps and types of characters
    const groupfamily *f = familyof(kind);
    if (taxa) groupcom(f, "agroup", &taxonitems, [](int t) { return taxact[t] != 0; });
    else groupcom(f, "xgroup", &characteritems, [](int c) { return charcodes[c].active != 0; });
}

void agroupcom() { rd_taxchargroup("taxon"); }
void xgroupcom() { rd_taxchargroup("character"); }

const comhelp agrouphelp = {
    "Define groups of taxa.", nullptr,
    "  agroup =N (name) items ;   define group N, 0 to 31; the name may be left out\n"
    "  agroup >N items ;          add to group N\n"
    "  agroup <N items ;          remove from group N\n"
    "  agroup -N M name ;         undefine groups, by numbers, ranges or names\n"
    "  agroup ;                   show the groups\n"
    "  agroup * ;                 write the groups, as a command; ! only active taxa\n"
    "Any number of definitions may follow one another.  Items are:\n"
    "  a list        numbers, ranges, names, other groups in braces...\n"
    "  *N            N taxa at random, from the remaining ones\n"
    "  N.M/Z         every Zth taxon of the range\n"
    "  char C=S      the taxa with state S of character C; > and < for higher and\n"
    "                lower states; several states in square brackets\n"
    "Wherever taxa are listed, {N} or {name} stands for the members of a group.\n"
    "Examples:\n"
    "  agroup =0 (first) 0.3 =1 (rest) . -{first} ;\n"
    "  agroup =2 *3 ;   three taxa at random (see \"rseed\")\n"
    "  agroup ;\n"
};

const comhelp xgrouphelp = {
    "Define groups of characters.", nullptr,
    "  xgroup =N (name) items ;   define group N, 0 to 31; the name may be left out\n"
    "  xgroup >N items ;          add to group N\n"
    "  xgroup <N items ;          remove from group N\n"
    "  xgroup -N M name ;         undefine groups, by numbers, ranges or names\n"
    "  xgroup ;                   show the groups\n"
    "  xgroup * ;                 write the groups, as a command; ! for active\n"
    "                             characters only\n"
    "Any number of definitions may follow one another.  Items are:\n"
    "  a list        numbers, ranges, names, blocks (@), other groups in braces...\n"
    "  *N            N characters at random, from the remaining ones\n"
    "  N.M/Z         every Zth character of the range\n"
    "  min=X         the characters with a minimum of X steps; max, the maximum;\n"
    "                len, the steps on each of the trees in memory; homo, those\n"
    "                beyond the minimum; score, steps (or fit) times weight.\n"
    "                Also <X, >X, and (X,Y), from X to Y\n"
    "  type=X        those of a type: num, dna, prot, cont, disc (not continuous),\n"
    "                add, nonadd, sank, land, 1d, 2d, 3d (landmarks)\n"
    "Wherever characters are listed, {N} or {name} stands for members of a group.\n"
    "Examples:\n"
    "  xgroup =0 (early) 0.9 =1 (clean) homo=0 ;\n"
    "  ccode ] {early} ;   deactivate them\n"
    "  ccode [ {early} ;   and back\n"
};
