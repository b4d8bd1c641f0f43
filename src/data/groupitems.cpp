// What groups of taxa and of characters are defined by, besides lists: states of the matrix; steps
// and types of characters.
#include "data/groupdefs.h"
#include "data/below.h"
#include "data/charnames.h"
#include "data/matrix.h"
#include "data/symbols.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <algorithm>
#include <bit>
#include <cctype>
#include <climits>
#include <cstring>

int (*landmarkdims)(int c);

// --- Taxa by their states ---

static int readcharacter()
{
    int c = peep();
    if (isdigit(c)) {
        long n = gtnu();
        if (!isachar(n)) errmsg("No", "character", "number", intvert(n), nullptr);
        return int(n);
    }
    if (!isalpha(c) && c != '_' && c <= 127) errmsg("Expected character number", nullptr);
    std::string word = getdastr();
    int found = find_charname(word.c_str());
    if (found < 0) myerr("No character named \"%s\"", word.c_str());
    return found;
}

namespace {
// Symbols mean what they do in the character's data; put back afterwards.
struct symbolsas {
    uint32_t masks[256];
    char anti[32];
    explicit symbolsas(int type)
    {
        memcpy(masks, tmpmask, sizeof masks);
        memcpy(anti, anti_mask, sizeof anti);
        symbols_of(type);
    }
    ~symbolsas()
    {
        memcpy(tmpmask, masks, sizeof masks);
        memcpy(anti_mask, anti, sizeof anti);
    }
};
}

// A symbol, or several in square brackets.
static uint32_t readstates(int c)
{
    symbolsas guard(charcodes[c].type);
    bool several = gotc('[');
    uint32_t set = 0;
    do {
        int symbol = gtnb();
        if (symbol == ']' && several && set) break;
        uint32_t state = tmpmask[symbol & 255];
        if (!state || ismissing(state)) myerr("Character %i cannot have state '%c'", c, symbol);
        set |= state;
    } while (several);
    return set;
}

static void charitem(const listpart &p, const char *)
{
    int c = readcharacter(), how = gtnb();
    if (how != '=' && how != '>' && how != '<')
        errmsg("Expected symbols \"=\", \">\" or \"<\" after number of \"char\"", nullptr);
    if (charcodes[c].continuous) myerr("Character %i is continuous; groups of taxa can be defined by discrete characters only", c);
    uint32_t states = readstates(c);
    if (how == '>') states = ~(~uint32_t{0} >> std::countl_zero(states));
    if (how == '<') states = (uint32_t{1} << std::countr_zero(states)) - 1;
    for (int t = p.low; t < p.high; ++t) {
        uint32_t x = cell(t, c);
        if (!ismissing(x) && x & states) p.list[t] = p.sense;
    }
}

static constexpr groupword taxonwords[] = { { "char", charitem }, { nullptr, nullptr } };
const groupitems taxonitems = { taxonwords, nullptr };

// --- Characters by their steps ---

static double fewest(int c) { return charcodes[c].continuous ? charcodes[c].realmin : charcodes[c].minsteps; }
static double most(int c)   { return charcodes[c].continuous ? charcodes[c].realmax : charcodes[c].maxsteps; }
static double onatree(int c) { return charcodes[c].continuous ? charcodes[c].realsteps : charcodes[c].steps; }
static double beyond(int c)  { return onatree(c) - fewest(c); }

static void boundsitem(const listpart &p, const char *word)
{
    double (*value)(int c) = word[1] == 'i' ? fewest : most;
    numbertest test = readtest(word);
    for (int c = p.low; c < p.high; ++c)
        if (passes(test, value(c))) p.list[c] = p.sense;
}

// A character belongs to the group when it passes on each tree in memory.
static void stepsitem(const listpart &p, const char *word)
{
    double (*value)(int c) = word[0] == 'l' ? onatree : word[0] == 'h' ? beyond : character_score;
    numbertest test = readtest(word);
    int trees = give_trees_in_mem();
    if (!trees) errmsg("Tree(s) are required", nullptr);
    uint8_t *fits = charscopelist;
    std::fill(fits, fits + nc, uint8_t(1));
    for (int t = 0; t < trees; ++t) {
        intrupt(1);
        score_characters(t);
        for (int c = p.low; c < p.high; ++c) fits[c] = fits[c] && passes(test, value(c));
    }
    for (int c = p.low; c < p.high; ++c)
        if (fits[c]) p.list[c] = p.sense;
}

// --- Characters by type ---

namespace {
bool hasdims(int c, int dims) { return charcodes[c].type == DATA_LAND && landmarkdims && landmarkdims(c) == dims; }

struct typerow {
    const char *word;
    bool (*is)(int c);
};
constexpr typerow types[] = {
    { "1d",     [](int c) { return hasdims(c, 1); } },
    { "2d",     [](int c) { return hasdims(c, 2); } },
    { "3d",     [](int c) { return hasdims(c, 3); } },
    { "land",   [](int c) { return charcodes[c].type == DATA_LAND; } },
    { "add",    [](int c) { return charcodes[c].additive && !charcodes[c].sankoff; } },
    { "nonadd", [](int c) { return !charcodes[c].additive && !charcodes[c].sankoff; } },
    { "sank",   [](int c) { return charcodes[c].sankoff != 0; } },
    { "cont",   [](int c) { return charcodes[c].continuous != 0; } },
    { "dna",    [](int c) { return charcodes[c].type == DATA_DNA; } },
    { "prot",   [](int c) { return charcodes[c].type == DATA_PROT; } },
    { "disc",   [](int c) { return !charcodes[c].continuous && charcodes[c].type != DATA_LAND; } },
    { "num",    [](int c) { return charcodes[c].type == DATA_NUM; } },
};
}

static void typeitem(const listpart &p, const char *)
{
    if (!gotc('=')) errmsg("String \"type\" must be followed by = symbol", nullptr);
    peep();
    std::string word = getdastr();
    for (const typerow &row : types) {
        if (namecomp(row.word, word.c_str())) continue;
        for (int c = p.low; c < p.high; ++c)
            if (row.is(c)) p.list[c] = p.sense;
        return;
    }
    errmsg("No character type named", word.c_str(), nullptr);
}

// --- Characters by their links ---

static void needequal(const char *word)
{
    if (!gotc('=')) myerr("String \"%s\" must be followed by = symbol", word);
}

static int readsmall(const char *what)
{
    long n = gtnu();
    if (n < 0) errmsg("Must give", what, "number", nullptr);
    return int(std::min(n, long(INT_MAX)));
}

static void complexitem(const listpart &p, const char *word)
{
    needequal(word);
    int n = readsmall("complex");
    if (!complexes || n >= complexes->count()) myerr("No complex %i", n);
    for (int c = p.low; c < p.high; ++c)
        if (complexes->member(c, n)) p.list[c] = p.sense;
}

// Set/level, and group of a level: set/level/group.  There are no sets.
static void alignmentitem(const listpart &, const char *word)
{
    needequal(word);
    peep();
    std::string set = getdastr();
    int level = gotc('/') ? readsmall("level") : 0;
    if (namecomp(word, "alngrp")) myerr("No level %i in alignment set \"%s\"", level, set.c_str());
    int group = gotc('/') ? readsmall("group") : 0;
    myerr("No group %i in level %i of alignment set \"%s\"", group, level, set.c_str());
}

static constexpr groupword characterwords[] = {
    { "len", stepsitem }, { "homo", stepsitem }, { "score", stepsitem }, { "max", boundsitem }, { "min", boundsitem },
    { "type", typeitem }, { "links", complexitem }, { "complex", complexitem }, { "alnset", alignmentitem },
    { "alngrp", alignmentitem }, { nullptr, nullptr }
};
const groupitems characteritems = { characterwords, nullptr };
