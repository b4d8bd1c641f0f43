// Blocks: where they start, and which of them count.
#include "data/blocks.h"
#include "data/ccode.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "data/taxa.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

bool blockrange(long b, int *low, int *high)
{
    *low = 0;
    *high = nc;
    if (b < 0 || b > nblocks) return false;
    if (!b) return true;
    auto before = [](const charrec &r, long block) { return r.block < block; };
    *low = int(std::lower_bound(charcodes, charcodes + nc, b, before) - charcodes);
    *high = int(std::lower_bound(charcodes, charcodes + nc, b + 1, before) - charcodes);
    return *low < *high;
}

// --- Reports ---

void showblocks()
{
    if (!nblocks) {
        spewem("No data blocks defined", nullptr);
        return;
    }
    for (int b = 1; b <= nblocks; ++b) {
        int low, high;
        blockrange(b, &low, &high);
        joinem("Block ", intvert(b), blockname ? " (" : "", blockname ? blockname[b] : "", blockname ? ")" : "",
               ": characters ", intvert(low), "-", intvert(high - 1), "\n", nullptr);
    }
}

static void needblocks()
{
    if (!nblocks) errmsg("No blocks defined!", nullptr);
}

static void saveblocks()
{
    constexpr int FLUSHAT = 1000;
    needblocks();
    tojoin("blocks 0 ");
    for (int b = 2; b <= nblocks; ++b) {
        int low, high;
        blockrange(b, &low, &high);
        tospew(intvert(low));
        if (composed_length() > FLUSHAT) spewjn();
    }
    tojoin(";");
    spewout();
}

// --- Starts ---

static void defineblocks()
{
    uint8_t *starts = zlo<uint8_t>(size_t(nc));
    starts[0] = 1;
    while (peep() != ';') {
        if (!isdigit(peep())) errmsg("Block definition must end with a semicolon", nullptr);
        long n = gtnu();
        if (!isachar(n)) errmsg("Character", "number", intvert(n), nullptr);
        starts[n] = 1;
    }
    if (blockname) warnem("Re-defining blocks will discard current block names", nullptr);
    blockname = nullptr;
    nblocks = 0;
    for (int c = 0; c < nc; ++c) charcodes[c].block = nblocks += starts[c];
}

// --- Groups ---

void set_block_chargroups()
{
    needblocks();
    if (nblocks >= GROUPS) errmsg("Can't define more than 32", "groups", "(0-31)", nullptr);
    for (int b = 1; b <= nblocks; ++b) {
        uint32_t bit = uint32_t{1} << b;
        chargroupdef |= bit;
        for (int c = 0; c < nc; ++c) {
            chargroup[c] &= ~bit;
            if (charcodes[c].block == b) chargroup[c] |= bit;
        }
        std::string name = blockname ? blockname[b] : "Block_" + std::to_string(b);
        snprintf(chargroupname[b], size_t(Namesize), "%s", name.c_str());
    }
}

// --- Active blocks ---

static bool numerals(const std::string &text) { return text.find_first_not_of("0123456789") == std::string::npos; }

static int blocknumber(const std::string &digits)
{
    long b = digits.size() > 9 ? LONG_MAX : atol(digits.c_str());
    if (b > nblocks)
        errmsg("No block", digits.c_str(), "(only blocks 0 -", intvert(nblocks), "exist)", nullptr);
    return int(b);
}

// N, N.M, N., .M or '.': true when the word is one of these.
static bool blocknumbers(const std::string &word, uint8_t *listed)
{
    size_t dot = word.find('.');
    if (dot == std::string::npos) {
        if (!numerals(word)) return false;
        listed[blocknumber(word)] = 1;
        return true;
    }
    std::string from = word.substr(0, dot), to = word.substr(dot + 1);
    if (!numerals(from) || !numerals(to)) return false;
    int a = from.empty() ? 1 : blocknumber(from), b = to.empty() ? nblocks : blocknumber(to);
    std::fill(listed + std::min(a, b), listed + std::max(a, b) + 1, uint8_t(1));
    return true;
}

static void blocknames(const std::string &word, uint8_t *listed)
{
    if (!blockname) errmsg("Block names undefined", nullptr);
    bool any = false;
    for (int b = 0; b <= nblocks; ++b) {
        if (!namtrun(word.c_str(), blockname[b])) continue;
        listed[b] = 1;
        any = true;
    }
    if (any) return;
    if (word.find('.') != std::string::npos) errmsg("Block scopes can be used only with numbers", nullptr);
    errmsg("No block named", word.c_str(), nullptr);
}

static uint8_t *readblocks()
{
    uint8_t *listed = zlo<uint8_t>(size_t(nblocks) + 1);
    if (peep() == ';') errmsg("No blocks specified!", nullptr);
    while (peep() != ';') {
        rdfilename();
        std::string word = cmdname;
        if (!blocknumbers(word, listed)) blocknames(word, listed);
    }
    return listed;
}

static bool ispresent(int t, int low, int high)
{
    for (int c = low; c < high; ++c)
        if (cell(t, c) != (charcodes[c].continuous ? CONT_MISSING : MISSING)) return true;
    return false;
}

// The taxa with entries in some of the blocks, or in all of them.
static uint8_t *taxaofblocks(const uint8_t *listed, bool shared)
{
    uint8_t *taxa = lo<uint8_t>(size_t(nt));
    memset(taxa, shared, size_t(nt));
    for (int b = 0; b <= nblocks; ++b) {
        int low, high;
        if (!listed[b] || !blockrange(b, &low, &high)) continue;
        for (int t = 0; t < nt; ++t)
            if (taxa[t] == shared) taxa[t] = ispresent(t, low, high);
    }
    return taxa;
}

static uint8_t *charsofblocks(const uint8_t *listed)
{
    uint8_t *chars = lo<uint8_t>(size_t(nc));
    for (int c = 0; c < nc; ++c) chars[c] = listed[0] || listed[charcodes[c].block];
    return chars;
}

void set_active_blocks()
{
    needblocks();
    bool shared = gotc('&');
    const uint8_t *listed = readblocks(), *taxa = taxaofblocks(listed, shared);
    if (std::count(taxa, taxa + nt, 1) < LEASTTAXA)
        errmsg(shared ? "Specified blocks share less than four taxa" : "Cannot have less than 4 active taxa", nullptr);
    set_active_chars(charsofblocks(listed));
    if (!taxa[outgroup]) outgroup = int(std::find(taxa, taxa + nt, 1) - taxa);
    set_active_taxa(taxa);
    set_charcodes();
    tojoin("Active blocks: ");
    for (int b = 0; b <= nblocks; ++b)
        if (listed[b]) tospew(intvert(b));
    spewout();
    spewem("Active blocks set - outgroup is", taxname_out(outgroup), nullptr);
}

// --- The command ---

void blockscom()
{
    nodaterror("defining blocks");
    switch (peep()) {
        case ';': showblocks(); return;
        case '*': gtnb(); saveblocks(); return;
        case '=': gtnb(); set_active_blocks(); return;
        case '{': gtnb(); set_block_chargroups(); return;
        default: defineblocks();
    }
}

const comhelp blockshelp = {
    "Define blocks of characters, or choose those that are active.", nullptr,
    "  blocks J K L ;    new blocks, which start at characters 0, J, K and L.  Names of\n"
    "                    blocks (see \"cnames\") are lost\n"
    "  blocks = J K ;    activate characters and taxa of blocks J and K; characters\n"
    "                    outside, and taxa without entries there, become inactive.  Blocks\n"
    "                    are given by number (from 1; 0 is all), ranges of numbers, or name\n"
    "  blocks =& J K ;   the same, with the taxa that all those blocks share\n"
    "  blocks ;          show the blocks\n"
    "  blocks * ;        save the blocks, as a command\n"
    "  blocks { ;        define each block as a group of characters (see \"xgroup\")\n"
    "Files with several blocks define them when they are read.  In lists of characters, @N\n"
    "stands for block N, and makes the numbers that follow count in it.\n"
    "Examples:\n"
    "  blocks 0 5 12 ;\n"
    "  blocks = 1 3 ;\n"
    "  blocks = 0 ;\n"
};
