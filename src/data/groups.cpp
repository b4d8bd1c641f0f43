// Groups of taxa, characters and trees: who is in them and what they are called.
#include "data/groups.h"
#include "data/below.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <algorithm>
#include <cassert>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

uint32_t *taxgroup, *chargroup, taxgroupdef, chargroupdef, *treegroupdef;
uint8_t *charscopelist;
char **taxgroupname, **chargroupname, **treegroupname;
int num_treegroups = 64, treegroupcells = 2, autotreegroups = 1, nextautotreegroup;
const groupfamily *hostfamily;

// --- Families ---

static int smallfamily() { return GROUPS; }
static int treegroups()  { return num_treegroups; }
static char **namesoftreegroups()      { return treegroupname; }
static uint32_t *definitionsoftrees()  { return treegroupdef; }

static void toomanytrees()
{
    myerr("Can't define more than %i groups of trees (0-%i)", num_treegroups, num_treegroups - 1);
}
static void nosuchname(const char *word) { errmsg("No group named", word, nullptr); }
static void nosuchtreename(const char *word)
{
    errmsg("Name", word, "doesn't match any tree group name", nullptr);
}

// Automatic groups take their numbers in turn; the one before the next is the latest.
static int latestautomatic()
{
    int g = (nextautotreegroup + num_treegroups - 1) % num_treegroups;
    return groupbit(treegroupdef, g) ? g : -1;
}

static constexpr groupfamily families[] = {
    { "taxon", "taxa", smallfamily, [] { return nt; }, [](int t) { return taxgroup + t; }, [] { return &taxgroupdef; },
      [] { return taxgroupname; }, [] { errmsg("Can't define more than 32", "taxon", "groups", "(0-31)", nullptr); },
      nosuchname, nullptr },
    { "character", "characters", smallfamily, [] { return nc; }, [](int c) { return chargroup + c; },
      [] { return &chargroupdef; }, [] { return chargroupname; },
      [] { errmsg("Can't define more than 32", "character", "groups", "(0-31)", nullptr); }, nosuchname, nullptr },
    { "tree", "trees", treegroups, give_trees_in_mem, groups_of_tree, definitionsoftrees, namesoftreegroups,
      toomanytrees, nosuchtreename, latestautomatic },
    { "vault-tree", "trees", treegroups, [] { return datatag ? trees_in_vault : 0; },
      [](int t) { return vault_treegroup[t]; }, definitionsoftrees, namesoftreegroups,
      toomanytrees, nosuchtreename, latestautomatic },
};

const groupfamily *familyof(const char *kind)
{
    if (hostfamily && !strcmp(kind, hostfamily->kind)) return hostfamily;
    for (const groupfamily &f : families)
        if (!strcmp(f.kind, kind)) return datatag ? &f : nullptr;
    return nullptr;
}

void setgroupbit(uint32_t *words, int g, bool on)
{
    uint32_t bit = uint32_t{1} << g % 32;
    words[g / 32] = on ? words[g / 32] | bit : words[g / 32] & ~bit;
}

static void leave(const groupfamily *f, int g)
{
    int n = f->elements();
    for (int i = 0; i < n; ++i) setgroupbit(f->bits(i), g, false);
}

// Trees in memory and in the vault share their groups.
void emptygroup(const groupfamily *f, int g)
{
    leave(f, g);
    for (const groupfamily &other : families)
        if (&other != f && other.defined == f->defined) leave(&other, g);
}

// --- Groups named in text ---

void badgroup(long g) { errmsg("No", "group number", intvert(g), nullptr); }

std::string readgroupword(int closing)
{
    std::string word;
    int c;
    while ((c = gtch()) > 32 && c != closing && c != ';') word += char(c == '^' ? ' ' : c);
    ungtch();
    return word;
}

bool isgrouprange(const groupfamily *f, const char *word, grouprange *range)
{
    constexpr int DIGITS = 15;
    static constexpr char numerals[] = "0123456789";
    size_t before = strspn(word, numerals);
    bool dot = word[before] == '.';
    const char *second = word + before + dot;
    size_t after = strspn(second, numerals);
    if (second[after] || (!before && !dot)) return false;
    chk_strlen(long(std::max(before, after)), DIGITS, "Number");
    long from = before ? atol(word) : 0, to = !dot ? from : after ? atol(second) : f->groups() - 1;
    if (from > to) std::swap(from, to);
    if (to >= f->groups() || (!dot && !isgroup(f, int(to)))) badgroup(to);
    *range = { int(from), int(to) };
    return true;
}

bool markmembers(const groupfamily *f, const char *word, uint8_t *list, int low, int high, uint8_t value)
{
    auto take = [&](int g) {
        for (int i = low; i < high; ++i)
            if (isingroup(f, i, g)) list[i] = value;
    };
    grouprange range;
    if (isgrouprange(f, word, &range)) {
        for (int g = range.from; g <= range.to; ++g) take(g);
        return true;
    }
    bool any = false;
    for (int g = 0; g < f->groups(); ++g)
        if (isgroup(f, g) && namtrun(word, groupname(f, g))) {
            take(g);
            any = true;
        }
    return any;
}

// --- The layer ---

void defaultgroupname(char *name, int g) { snprintf(name, size_t(Namesize), "Group_%i", g); }

static char **defaultnames(int groups)
{
    char **names = zlorows<char>(groups, Namesize);
    for (int g = 0; g < groups; ++g) defaultgroupname(names[g], g);
    return names;
}

void laygroupnames()
{
    taxgroupname = defaultnames(GROUPS);
    chargroupname = defaultnames(GROUPS);
    treegroupname = defaultnames(num_treegroups);
    treegroupdef = zlo<uint32_t>(treegroupcells);
    taxgroupdef = chargroupdef = 0;
    nextautotreegroup = 0;
}

// Elements are only in groups that are defined, and names end within their buffers.
void checknamedgroups()
{
    if (!datatag) return;
    assert(num_treegroups >= 1 && treegroupcells == (num_treegroups + 31) / 32);
    assert(nextautotreegroup >= 0 && nextautotreegroup < num_treegroups);
    for (const groupfamily &f : families) {
        for (int i = 0; i < f.elements(); ++i)
            for (int w = 0; w < (f.groups() + 31) / 32; ++w) assert(!(f.bits(i)[w] & ~f.defined()[w]));
        for (int g = 0; g < f.groups(); ++g) assert(memchr(f.names()[g], 0, size_t(Namesize)));
    }
}
