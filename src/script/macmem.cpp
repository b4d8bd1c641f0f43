// The memory of the macro language, its switches, and its random numbers.
#include "script/macmem.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/silence.h"
#include "script/frames.h"
#include "script/goto.h"
#include "script/hifile.h"
#include "script/loops.h"
#include "script/maketable.h"
#include "script/repeat.h"
#include "script/stream.h"
#include "script/vars.h"
#include <algorithm>
#include <cassert>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>

#ifdef ZEL_TINY
constexpr int STARTRAM = 60000;          // so that tests run out of it
#else
constexpr int STARTRAM = 102400;
#endif
constexpr int TOPRESERVE = 16, SPARE = 1000;
constexpr long MOSTVARS = 10000000, MOSTLOOPS = 10000, MOSTKBYTES = 2000000;

int  Maxvars = 1000, Maxloop = 15, maxhifiles = 5, macroram_size = STARTRAM, macprotmod = 2, nofloats, macroreport;
int  read_taxcharnames, disallow_double_slash, macfloat_precision = 6;
char float_format[15] = "%f";
char *macro_lobase, *macro_lotop, *macro_hitop, *macrostart_loseg, *ramnovarnames;
int  seed = 1;

static char *block;                      // as the system gave it
static bool switching;                   // the command macro is at work

// --- allocation ---------------------------------------------------------------------------

static size_t rounded(size_t n) { return (n + 7) & ~size_t(7); }

// The tables stay; names and texts above them are of no use when there is no room to go on.
[[noreturn]] static void outofram(const char *words)
{
    forget_names_from(0);
    drop_all_loops();
    macro_lotop = macrostart_loseg ? macrostart_loseg : macro_lobase;
    errmsg(words, nullptr);
}

size_t macvailram() { return size_t(macro_hitop - macro_lotop); }
char  *maclomark()  { return macro_lotop; }

char *macloram(size_t n)
{
    if (rounded(n) > macvailram()) outofram("Not enough RAM allocated for macros");
    char *at = macro_lotop;
    macro_lotop += rounded(n);
    return at;
}

char *macloray(size_t rows, size_t cols, size_t size)
{
    char **table = reinterpret_cast<char **>(macloram(rows * sizeof(char *) + rows * cols * size));
    char *cells = reinterpret_cast<char *>(table + rows);
    for (size_t i = 0; i < rows; ++i) table[i] = cells + i * cols * size;
    return reinterpret_cast<char *>(table);
}

void macloset(char *mark)
{
    if (mark < macro_lobase || mark > macro_lotop) outofram("Heap deallocation error in memory for Macros");
    macro_lotop = macro_lobase + rounded(size_t(mark - macro_lobase));
}

void macfreelo() { macloset(std::max(macrostart_loseg, names_end())); }

void chkram(const char *p)
{
    constexpr int ENDING = 16;           // what closes a text, and the rounding of its size
    if (p + ENDING > macro_hitop) errmsg("Not enough RAM available to continue macros... ", nullptr);
}

// --- on and off ---------------------------------------------------------------------------

bool macros_are_on() { return block != nullptr; }

static long leastram()
{
    long vars = Maxvars, loops = Maxloop;
    return 4 * (9 * loops + vars) + (macprotmod ? 29 * vars : 0) + (nofloats ? 4 : 8) * vars + 8 * vars + SPARE
         + 16 * loops + long(sizeof(hifilerec)) * maxhifiles;
}

static void saysizes()
{
    if (block) myp("RAM for macros is %i KBytes (%i%% in use)", (macroram_size - TOPRESERVE) / 1000,
                   int(100 * (macro_lotop - macro_lobase) / (macro_hitop - macro_lobase)));
    else myp("RAM for macros is %i KBytes", (macroram_size - TOPRESERVE) / 1000);
}

static void saylimits() { myp("Up to %i nested loops and %i variables", Maxloop, Maxvars); }

void startmacros()
{
    macroram_size = std::max(macroram_size, int(std::min<long>(leastram(), INT_MAX)));
    block = static_cast<char *>(calloc(size_t(macroram_size), 1));
    if (!block) errmsg("Allocation failure: not enough RAM available", nullptr);
    macro_lobase = macro_lotop = block + rounded(reinterpret_cast<uintptr_t>(block)) - reinterpret_cast<uintptr_t>(block);
    macro_hitop = block + macroram_size - TOPRESERVE;
    lay_hifiles();
    lay_dimensions();
    lay_loops();
    lay_variables();
    macrostart_loseg = ramnovarnames = macro_lotop;
    start_frames();
    domacros = 1;
    start_stream();
    spewem("Macro language is ON", nullptr);
    saysizes();
    saylimits();
}

void endmacros()
{
    close_hifiles();
    stop_catching();
    forget_target();
    free(block);
    block = macro_lobase = macro_lotop = macro_hitop = macrostart_loseg = ramnovarnames = nullptr;
    forget_tables();
    domacros = 0;
    end_stream();
    spewem("Macro language is OFF", nullptr);
}

void turn_macros_on()
{
    if (macros_are_on()) return;
    silence whilehere(NOTHING);
    startmacros();
}

// --- guards -------------------------------------------------------------------------------

void fullnamed()
{
    if (strcmp(cmdname, current_command)) errmsg("Unknown command:", cmdname, nullptr);
}

void scriptcommand()
{
    fullnamed();
    if (!domacros) errmsg(current_command, "legal only when macros are enabled", nullptr);
    notime();
}

// --- the command macro --------------------------------------------------------------------

static void setnumbers()
{
    if (macros_are_on()) {
        joinem("Numbers of loops/variables must be changed under \"macro-\"\n"
               "Request to change numbers of loops/variables will be ignored\n", nullptr);
        gtnu();
        gtnu();
        return;
    }
    long loops = gtnu(), vars = gtnu();
    if (loops >= 0) Maxloop = int(std::clamp(loops, 1L, MOSTLOOPS));
    if (vars >= 0) Maxvars = int(std::clamp(vars, 1L, MOSTVARS));
    saylimits();
}

static void setram()
{
    long n = gtnu();
    if (n < 0) ;
    else if (macros_are_on()) joinem("RAM can be reset only with macros OFF (request will be ignored)\n", nullptr);
    else macroram_size = int(std::min(n, MOSTKBYTES)) * 1000 + TOPRESERVE;
    saysizes();
}

static void setprotection()
{
    if (strcmp(cmdname, "prot")) errarg(cmdname[0]);
    long n = gtnu();
    if (n < 0 || n > 2) errmsg("Protection level is 0-2", nullptr);
    if (!n != !macprotmod && macros_are_on())
        errmsg("Protection must be set with macros turned off", nullptr);
    macprotmod = int(n);
    if (report_status) myp("Protection level is %i", macprotmod);
}

static void setcomments()
{
    disallow_double_slash = gtnu() == 0;
    if (report_status)
        joinem("Comments with double slash (\"// comment...\") are ", disallow_double_slash ? "not allowed" : "allowed", "\n",
               nullptr);
}

static void setnames(int on)
{
    read_taxcharnames = on;
    if (report_status)
        joinem(on ? "Reading taxon/character names as numbers in macros" : "Not reading taxon/character names in macros", "\n",
               nullptr);
}

static void switchon()
{
    if (!macros_are_on()) startmacros();
    else spewem("Macro language is ON", nullptr);
}

static void switchoff()
{
    if (loop_is_running() || steps_are_running()) errmsg("Can't disconnect macros from within a loop!", nullptr);
    if (macros_are_on()) endmacros();
    else spewem("Macro language is OFF", nullptr);
}

static void sayuse()
{
    long used = long(macro_lotop - macro_lobase) / 100, available = macros_are_on() ? long(macvailram()) / 100 : 0;
    myp("Macros: %i.%i Kb in use, %i.%i Kb free", int(used / 10), int(used % 10), int(available / 10), int(available % 10));
}

void macrocom()
{
    fullnamed();
    if (switching) errmsg("Command \"macro\" cannot be run recursively", nullptr);
    struct busy { busy() { switching = true; } ~busy() { switching = false; } } here;
    notime();
    bool any = false;
    for (int c; (c = gtnb()) != ';'; any = true)
        switch (c) {
            case '=': switchon(); break;
            case '-': switchoff(); break;
            case '*': setnumbers(); break;
            case '[': setram(); break;
            case '+': setnames(1); break;
            case '!': setnames(0); break;
            case '&': setcomments(); break;
            default:
                ungtch();
                if (!rdcmd()) errarg(c);
                setprotection();
        }
    ungtch();
    if (any) return;
    if (macros_are_on()) switchoff();
    else switchon();
    sayuse();
}

const comhelp macro_help = {
    "Turn the scripting language on or off, and set its limits.", nullptr,
    "  macro = ;         turn it on\n"
    "  macro - ;         turn it off; all variables are lost\n"
    "  macro ;           turn it on or off, and report its memory\n"
    "  macro *K N ;      K nested loops (default 15) and N variables (default 1000);\n"
    "                    while it is off only\n"
    "  macro [N ;        N thousand bytes of memory (default 102); while it is off only\n"
    "  macro + ;         names of taxa and characters are numbers in expressions\n"
    "  macro ! ;         they are not (the default)\n"
    "  macro prot N ;    protection of arrays: 0 none, 1 dimensions are checked, 2 (the\n"
    "                    default) nor can an array be overwritten by a single value\n"
    "  macro &N ;        comments \"// ...\" in files are allowed (1, the default) or\n"
    "                    not (0)\n"
    "While it is on, 'x' in any command stands for the value of variable x, $x for\n"
    "the text kept in it, #1 for the value of the first loop and %1 for the first\n"
    "argument of the file being read.  Variables have numbers from 0 up, and names\n"
    "given by \"var\".\n"
    "Examples:\n"
    "  macro - ; macro *20 2000 [500 ; macro = ;\n"
    "  var: best ; set best 12 ; quote The best is 'best' ; macro - ;\n"
};

// --- small settings -----------------------------------------------------------------------

static void sayfloats()
{
    if (report_status)
        joinem(nofloats ? "Macros will use integer-only" : "Macros will use floating point operations", "\n", nullptr);
}

static void setfloats(int integers)
{
    if (macros_are_on()) errmsg("Cannot change setting of integer only with macros ON", nullptr);
    nofloats = integers;
    sayfloats();
}

static void setformat(const char *format, int precision)
{
    snprintf(float_format, sizeof float_format, "%s", format);
    macfloat_precision = precision;
}

void macfloatcom()
{
    constexpr long MOSTDECIMALS = 100;
    fullnamed();
    notime();
    int c = gtnb();
    switch (c) {
        case '=': setfloats(0); break;
        case '-': setfloats(1); break;
        case 'e': setformat("%g", 6); break;
        case '*': setformat("%f", 10); break;
        case ';': ungtch(); sayfloats(); break;
        default: {
            ungtch();
            long n = gtnu();
            if (n < 0) errarg(c);
            char format[sizeof float_format];
            n = std::min(n, MOSTDECIMALS);
            snprintf(format, sizeof format, "%%.%lif", n);
            setformat(format, int(n));
        }
    }
}

const comhelp macfloathelp = {
    "Choose the numbers of the scripting language and how they are written.", nullptr,
    "  macfloat = ;   variables hold any number (the default); while the language is\n"
    "                 off only\n"
    "  macfloat - ;   they hold integers; while it is off only\n"
    "  macfloat N ;   write N decimals (default 6) when a number is not integral\n"
    "  macfloat e ;   write it in the shortest form, with an exponent if need be\n"
    "  macfloat * ;   write 6 decimals, 10 in formats of their own that give none\n"
    "  macfloat ;     tell which numbers are in use\n"
    "Examples:\n"
    "  macfloat 3 ; macro = ; set 0 2/3 ; quote '0' ; macfloat 6 ; macro - ;\n"
};

void macroreportcom()
{
    scriptcommand();
    switch (gtnb()) {
        case '=': macroreport = 1; break;
        case '-': macroreport = 0; break;
        case '/': macroreport = !macroreport; break;
        default:  ungtch(); macroreport = !macroreport;
    }
    if (report_status) spewem("Macro report", macroreport ? "is ON" : "is OFF", nullptr);
}

const comhelp macreporthelp = {
    "Echo what a script does.", nullptr,
    "  macreport = ;   show the conditions of \"if\", the values of loops, assignments\n"
    "                  and comments\n"
    "  macreport - ;   do not (the default)\n"
    "  macreport ;     invert\n"
    "Examples:\n"
    "  macro = ; macreport = ; macreport - ; macro - ;\n"
};

// --- random numbers -----------------------------------------------------------------------

constexpr uint32_t LARGEST = 0x7fff;

int macrand()
{
    seed = int(uint32_t(seed) * 1103515245u + 12345u);
    return int(uint32_t(seed) >> 16 & LARGEST);
}

// Above the largest number drawn, a block of equal numbers is drawn first, and then one of the block; the
// last block takes what the division leaves.
long macrandinterval(long n)
{
    constexpr long DIRECT = 32766, BLOCK = 16383;
    if (n < 1) return 0;
    if (n <= DIRECT) return macrand() % n;
    long blocks = (n + BLOCK - 1) / BLOCK, size = n / blocks;       // the last one is larger by what remains
    long which = macrandinterval(blocks);
    return which * size + macrandinterval(which == blocks - 1 ? n - which * size : size);
}

void macrseedcom()
{
    scriptcommand();
    if (peep() != ';') {
        long n = gtnu();
        if (n < 0) errarg(gtnb());
        if (!n && iamslave) errmsg("Random seed for macros can't be set to 0 (=time) in slaves", nullptr);
        seed = n ? int(uint32_t(n)) : int(time(nullptr));
    }
    if (report_status) spewem("Current seed for Macros is", intvert(seed), nullptr);
}

const comhelp macseedhelp = {
    "Set the random seed of the scripting language.", nullptr,
    "  macseed N ;   the seed (at the start, 1); 0 takes it from the clock\n"
    "  macseed ;     report it\n"
    "Examples:\n"
    "  macro = ; macseed 7 ; macro - ;\n"
};

// --- checking -----------------------------------------------------------------------------

void checkmacros()
{
    assert(macros_are_on() || (!macro_lobase && !domacros && gtch == normal_gtch));
    if (!macros_are_on()) return;
    assert(gtch == macro_gtch && ungtch == macro_ungtch);
    assert(macro_lobase <= macrostart_loseg && macrostart_loseg <= macro_lotop && macro_lotop <= macro_hitop);
    assert(macro_hitop < block + macroram_size);
    assert((reinterpret_cast<uintptr_t>(macro_lotop) & 7) == 0);
    checkloops();
    checkvariables();
    checkhifiles();
}
