// nstates: how the next matrix is laid out and read, and changes of all states of the present one.
#include "data/nstates.h"
#include "data/datamem.h"
#include "data/matrix.h"
#include "data/symbols.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <algorithm>
#include <cctype>
#include <iterator>

// --- Layout of the next matrix ---

static void newwidth(int states)
{
    int bytes = states <= 8 ? 1 : states <= 16 ? 2 : 4;
    if (bytes == celldim) return;
    if (datatag) {
        warnem("Re-setting data type will cause\ncurrent data to be lost", nullptr);
        drop_all_data();
    }
    set_celldim(states);
}

static void setstates(long n)
{
    if (n < 1 || n > 32) errmsg("Number of states must be 1-32", nullptr);
    newwidth(int(n));
    spewem("Matrix space: allocate for up to", intvert(maxstate), "states", nullptr);
}

static void readas(int type, const char *what)
{
    bool changes = data_type != type;
    data_type = type;
    symbols_of(type);
    if (changes) spewem("Matrices will be read as", what, "data", nullptr);
}

static void wordgaps()
{
    read_gaps_as_missing = 0;
    spewem("Gaps will be read as fifth state", nullptr);
}

static void wordnogaps()
{
    read_gaps_as_missing = 1;
    spewem("Gaps will be read as missing", nullptr);
}

static void optionalgaps()
{
    if (peep() == ';') return;
    if (!rdcmd() || (brevcomp(cmdname, "gaps") && brevcomp(cmdname, "nogaps")))
        errmsg("Found", cmdname, "when expecting gaps/nogaps", nullptr);
    if (brevcomp(cmdname, "gaps")) wordnogaps();
    else wordgaps();
}

static void worddna()
{
    newwidth(8);
    readas(DATA_DNA, "DNA");
    optionalgaps();
}

static void wordprot()
{
    newwidth(32);
    readas(DATA_PROT, "amino-acid");
    optionalgaps();
}

static void wordcont()
{
    newwidth(32);
    readas(DATA_CONT, "continuous");
}

static void wordnum()
{
    long n = gtnu();
    if (n > 32 || !n) setstates(n);          // fails before the type changes
    data_type = DATA_NUM;
    symbols_of(DATA_NUM);
    if (n >= 0) setstates(n);
}

static void exactness(int on, const char *text)
{
    if (use_exact_mincalc != on && datatag) {
        for (int c = 0; c < nc; ++c) charcodes[c].recalc = 1;
        chartables_reset();
    }
    use_exact_mincalc = on;
    spewem(text, nullptr);
    if (datatag) set_charcodes();
}

static void wordexactmin() { exactness(1, "Minima for non-additive polymorphic chars. calculated exactly"); }

static void wordnoexactmin()
{
    exactness(0, "Minima for non-additive polymorphic characters calculated heuristically");
}

// --- Changes of the present matrix ---

static void wordmin()
{
    nodaterror("compressing states");
    compress_states();
}

static double readtop()
{
    constexpr double UNLESSGIVEN = 1, MAXVALUE = 65;
    double top = gtdouble();
    if (top < 0) top = UNLESSGIVEN;
    if (top == 0 || top > MAXVALUE) errmsg("Continuous characters can be scaled to a maximum of 65", nullptr);
    return top;
}

static void wordstand()
{
    nodaterror("standardizing continuous characters");
    standardize_continuous(readtop());
}

static void wordlstand()
{
    nodaterror("standardizing continuous characters");
    log_standardize_continuous(readtop());
}

static void wordshift()
{
    nodaterror("shifting continuous characters");
    shift_scale_continuous_characters();
}

static void wordfix()
{
    nodaterror("fixing the scale of continuous characters");
    fix_continuous_scale();
}

static bool havecontinuous()
{
    return std::any_of(charcodes, charcodes + nc, [](const charrec &r) { return r.continuous; });
}

static void retype(uint8_t type)
{
    std::for_each(charcodes, charcodes + nc, [&](charrec &r) { r.type = type; });
    types_read = type;
    set_state_mask();
}

static void allnumeric()
{
    nodaterror("changing data type");
    if (havecontinuous()) errmsg("Cannot convert continuous/landmark characters into discrete", nullptr);
    retype(DATA_NUM);
}

static void alldna()
{
    nodaterror("changing data type");
    if (havecontinuous()) errmsg("Cannot convert continuous/landmark characters into \"DNA\"", nullptr);
    for (int c = 0; c < nc; ++c)
        if (charcodes[c].numstates > 5)
            myerr("Cannot convert data with %i states (e.g. char. %i) into \"DNA\"", charcodes[c].numstates, c);
    retype(DATA_DNA);
}

static void originalscale(int on)
{
    display_in_original_scale = on;
    joinem(on ? "D" : "Not d", "isplaying continuous characters in original scale\n", nullptr);
}

static void readstatesas()
{
    static const struct { const char *word; int type; } types[] = {
        { "dna", DATA_DNA }, { "proteins", DATA_PROT }, { "numeric", DATA_NUM }
    };
    rdcmd();
    for (auto &row : types)
        if (cmdname[0] && !brevcomp(cmdname, row.word)) {
            read_states_as = row.type;
            joinem("Reading states as ", typeword(row.type), "\n", nullptr);
            return;
        }
    errmsg("Found", cmdname, "when expecting number or strings dna/prot/num/cont", nullptr);
}

// --- The command ---

static const struct { const char *word; void (*apply)(); } words[] = {
    { "dna", worddna }, { "proteins", wordprot }, { "numeric", wordnum }, { "continuous", wordcont },
    { "gaps", wordgaps }, { "nogaps", wordnogaps }, { "minimum", wordmin }, { "exactmin", wordexactmin },
    { "noexactmin", wordnoexactmin }, { "standardize", wordstand }, { "lstandardize", wordlstand },
    { "shift", wordshift }, { "fix", wordfix }
};

static void oneword()
{
    rdcmd();
    auto row = std::find_if(std::begin(words), std::end(words), [](auto &w) { return !brevcomp(cmdname, w.word); });
    if (!cmdname[0] || row == std::end(words)) {
        char symbol[2] = { char(cmdname[0] ? 0 : gtch()), 0 };
        errmsg("Found", cmdname[0] ? cmdname : symbol, "when expecting number or strings dna/prot/num/cont", nullptr);
    }
    row->apply();
}

void nstatescom()
{
    notime();
    int c = peep();
    switch (c) {
    case ';':
        spewem("Matrix space: allocate for up to", intvert(maxstate), "states", nullptr);
        return;
    case '*': gtnb(); allnumeric(); return;
    case '&': gtnb(); alldna(); return;
    case '[': gtnb(); originalscale(1); return;
    case ']': gtnb(); originalscale(0); return;
    case '/': gtnb(); readstatesas(); return;
    default:
        if (isdigit(c)) setstates(gtnu());
        else oneword();
    }
}

const comhelp nstateshelp = {
    "Set number of states and type of the data to be read.", nullptr,
    "  nstates N ;           matrices with up to N states: cells for 8, 16 or 32\n"
    "                        (1 to 32, default 16)\n"
    "  nstates num N ;       the same, reading numeric data (the default type)\n"
    "  nstates dna ;         read DNA; \"gaps\" or \"nogaps\" may follow\n"
    "  nstates prot ;        read amino acids; \"gaps\" or \"nogaps\" may follow\n"
    "  nstates cont ;        read continuous characters\n"
    "  nstates gaps ;        gaps are one more state\n"
    "  nstates nogaps ;      gaps are missing (the default)\n"
    "  nstates min ;         remove states of a single taxon from the matrix, and\n"
    "                        close up the others\n"
    "  nstates exactmin ;    calculate minima of non-additive characters with\n"
    "                        polymorphic cells exactly\n"
    "  nstates noexactmin ;  calculate them heuristically (the default)\n"
    "  nstates stand N ;     rescale each continuous character to the range 0 to N\n"
    "                        (default 1, at most 65)\n"
    "  nstates lstand N ;    the same, of the logarithms of the values plus 1\n"
    "  nstates shift ;       shift each continuous character so that it starts at 0\n"
    "  nstates fix ;         take the present values of continuous characters as the\n"
    "                        original ones\n"
    "  nstates [ ;           show continuous characters in original scale\n"
    "  nstates ] ;           show them in the scale used (the default)\n"
    "  nstates * ;           treat all characters as numeric\n"
    "  nstates & ;           treat all characters as DNA\n"
    "  nstates /dna ;        read states in costs and changes as DNA (or /prot, /num)\n"
    "Examples:\n"
    "  xwipe ; nstates 32 ;\n"
    "  nstates dna gaps ; procedure insects_dna.zel ;\n"
};
