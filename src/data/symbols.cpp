// Symbols of states, by type and width.
#include "data/symbols.h"
#include "kernel/errors.h"
#include "kernel/output.h"
#include <cctype>
#include <cstring>

uint32_t tmpmask[256];
char anti_mask[32], state_mask[33] = "0123456789ABCDEFGHIJKLMNOPQRSTUV";
const char dna_mask[6] = "AGCT-", prot_mask[23] = "ACDEFGHIKLMNPQRSTVWYU-";
int read_states_as = DATA_NUM;
void (*beforecellerror)();

int celldim = 2, maxstate = 16;
uint32_t MISSING = 65535, INAPPSET = 32767;
int data_type = DATA_NUM, types_read = 0;

static_assert(sizeof state_mask == 33 && sizeof prot_mask == 23);

// Gives a state to a letter in both cases; returns the state's bit, 0 when the cells have no room for it.
uint32_t set_rd_mask(int upper, int state)
{
    uint32_t bit = state < maxstate ? uint32_t{1} << state : 0;
    tmpmask[upper] = bit;
    tmpmask[tolower(upper)] = bit;
    return bit;
}

static void bothcases(int upper, uint32_t set)
{
    tmpmask[upper] = tmpmask[tolower(upper)] = set;
}

static void numeric_letters()
{
    int last = celldim == 4 ? 'V' : 'F';
    for (int s = 'A'; s <= last; ++s) set_rd_mask(s, 10 + s - 'A');
    tmpmask[int('-')] = MISSING;
    tmpmask[int('*')] = INAPPSET;
}

static void dna_letters()
{
    static const struct { char symbol; uint8_t set; } iupac[] = {
        { 'A', 1 }, { 'G', 2 }, { 'C', 4 }, { 'T', 8 }, { 'U', 8 }, { 'R', 3 }, { 'M', 5 }, { 'W', 9 }, { 'S', 6 },
        { 'K', 10 }, { 'Y', 12 }, { 'V', 7 }, { 'H', 13 }, { 'D', 11 }, { 'B', 14 }, { 'N', 15 }
    };
    for (auto &row : iupac) bothcases(row.symbol, row.set);
    tmpmask[int('-')] = 16;
    tmpmask[int('*')] = INAPPSET;
}

static void protein_letters()
{
    for (int s = 0; s < 22; ++s) set_rd_mask(prot_mask[s], s);
    bothcases('B', tmpmask[int('D')] | tmpmask[int('N')]);
    bothcases('Z', tmpmask[int('E')] | tmpmask[int('Q')]);
    bothcases('X', MISSING);
    tmpmask[int('*')] = 0x1FFFFF;        // any amino acid, but no gap
}

void symbols_of(int type)
{
    memset(tmpmask, 0, sizeof tmpmask);
    for (int s = 0; s < 10; ++s)
        if (s < maxstate) tmpmask['0' + s] = uint32_t{1} << s;
    tmpmask[int('?')] = MISSING;
    if (type == DATA_DNA) dna_letters();
    else if (type == DATA_PROT) protein_letters();
    else numeric_letters();

    memset(anti_mask, 0, sizeof anti_mask);
    for (int i = 0; i < 256; ++i)
        if (tmpmask[i] && !(tmpmask[i] & (tmpmask[i] - 1))) anti_mask[__builtin_ctz(tmpmask[i])] = char(i);
}

void initialize_mask()
{
    MISSING  = celldim == 4 ? 0xFFFFFFFF : celldim == 2 ? 0xFFFF : 0xFF;
    INAPPSET = MISSING >> 1;
    maxstate = 8 * celldim;
    symbols_of(data_type);
}

void set_celldim(int states)
{
    celldim = states <= 8 ? 1 : states <= 16 ? 2 : 4;
    initialize_mask();
}

void set_state_mask()
{
    if (types_read && !(types_read & DATA_NUM)) return;
    memcpy(state_mask, "0123456789ABCDEFGHIJKLMNOPQRSTUV", sizeof state_mask);
}

int statesymbol(int type, int state)
{
    if (type == DATA_DNA && state < 5) return dna_mask[state];
    if (type == DATA_PROT && state < 22) return prot_mask[state];
    return state_mask[state];
}

const char *typeword(int type)
{
    switch (type) {
    case DATA_DNA:  return "DNA";
    case DATA_PROT: return "proteins";
    case DATA_CONT: return "continuous";
    case DATA_LAND: return "landmark";
    default:        return "numeric";
    }
}

void hintcellerror()
{
    if (beforecellerror) beforecellerror();
}

void checkalpha(int symbol, int t, int c)
{
    if (symbol == '?' || symbol == '*' || symbol == '[' || symbol == ']') return;
    if (symbol == '-' && (data_type == DATA_DNA || data_type == DATA_PROT)) return;
    bool digit = symbol >= '0' && symbol <= '9';
    uint8_t &type = charcodes[c].type;
    if (!type) {
        if (digit) type = DATA_NUM;
        else if (symbol < 128 && isalpha(symbol)) type = uint8_t(data_type);
        types_read |= type;
        return;
    }
    if ((type == DATA_NUM) != digit) hintcellerror();
    if (type == DATA_NUM && !digit)
        errmsg("Taxon", taxname[t], "- ch.", intvert(c), "was alphanumeric for previous taxa!", nullptr);
    if (type != DATA_NUM && digit)
        errmsg("Taxon", taxname[t], "- ch.", intvert(c), "was non-alphanumeric for previous taxa!", nullptr);
}

uint32_t is_it_an_ok_state(int symbol, int t, int c)
{
    uint32_t set = tmpmask[symbol & 255];
    if (set) return set;
    hintcellerror();
    myerr("Found alien symbol for taxon %i (%s), char. %i (block %i): '%c'",
          t, taxname[t], c, charcodes[c].block, symbol);
}
