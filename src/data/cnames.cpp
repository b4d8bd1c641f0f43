// cnames: reading definitions of names.  Each ends with a semicolon of its own, and one more ends all.
#include "data/below.h"
#include "data/blocks.h"
#include "data/charnames.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/commas.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <cctype>
#include <cstring>

static bool warnedofbraces;

// A brace is most often the next definition, after one that was not ended.
static void warnofbraces(const std::string &name)
{
    if (warnedofbraces || name.find_first_of("{}") == std::string::npos) return;
    warnedofbraces = true;
    warnem("The use of braces (\"{\" or \"}\") in state names is strongly discouraged.\n"
           "Make sure that the definition before the one of", name.c_str(), "ends with a semicolon.", nullptr);
}

static void readword(std::vector<std::string> *words)
{
    rdfilename();
    words->push_back(cmdname);
    warnofbraces(words->back());
}

// Words up to the semicolon.  Typed commas are no semicolons in them.
static std::vector<std::string> readwords()
{
    commasaretext guard;
    std::vector<std::string> words;
    while (peep() != ';') readword(&words);
    return words;
}

// The character that a definition is about, by number or (where it has one already) by name.
struct chosen { int c; long number; int block; };        // block: the one that the number counts in; -1 none

static chosen readcharacter(bool byname)
{
    int low = 0, high = nc, block = -1;
    if (gotc('@')) {
        readblock(&low, &high);
        block = low || high < nc ? charcodes[low].block : 0;
    }
    if (!isdigit(peep())) {
        std::string word = rdfilename() ? cmdname : "";
        if (!byname || word.empty()) errmsg("No character number", word.c_str(), nullptr);
        int c = find_charname(word.c_str());
        if (c < 0) errmsg("No character named", word.c_str(), nullptr);
        return { c, c, -1 };
    }
    long n = gtnu();
    if (n >= high - low) {
        if (block < 0) errmsg("No character number", intvert(n), nullptr);
        errmsg("No character number", intvert(n), "in block", intvert(block), nullptr);
    }
    return { int(low + n), n, block };
}

static void definecharacter()
{
    chosen at = readcharacter(false);
    std::vector<std::string> names = readwords();
    if (names.empty()) {
        if (at.block < 0) errmsg("Must give name for character", intvert(at.number), nullptr);
        errmsg("Must give name for character", intvert(at.number), "of block", intvert(at.block), nullptr);
    }
    define_charname(at.c, names);
}

static void redefine_charname()
{
    if (!charnames) errmsg("Must name characters before renaming", nullptr);
    chosen at = readcharacter(true);
    std::vector<std::string> names = readwords();
    if (names.empty()) errmsg("Must specify new character/state name(s)", nullptr);
    rename_charname(at.c, names);
}

static void defineblock()
{
    long b = gtnu();
    if (!b) errmsg("Can't rename block 0 (\"ALL\")", nullptr);
    if (b < 0 || b > nblocks) {
        std::string which = b < 0 ? "" : std::to_string(b);
        errmsg("Can't name block", which.c_str(), "- only", intvert(nblocks), "blocks read!", nullptr);
    }
    std::vector<std::string> names = readwords();
    if (names.empty()) errmsg("Must give name for block", intvert(b), nullptr);
    std::string name = names[0];
    for (size_t i = 1; i < names.size(); ++i) name += " " + names[i];
    define_blockname(int(b), name);
}

static void definitions()
{
    begin_charnames();
    for (int c; (c = gtnb()) != ';'; gtnb())
        switch (c) {
            case '{': definecharacter(); break;
            case '+': redefine_charname(); break;
            case '[': defineblock(); break;
            default: errarg(c);
        }
    ungtch();
    end_charnames();
}

static void onerename()
{
    begin_charnames();
    redefine_charname();
    end_charnames();
}

static void undefine()
{
    if (!charnames) return;
    warnem("Please confirm that you want to undefine all character names", nullptr);
    undefine_charnames();
}

void cnamescom()
{
    int c = peep();
    if (strchr("=-/", c)) {
        onoff(&use_charnames, "Char. names");
        return;
    }
    if (gotc('|')) return convert_nexus_names();
    nodaterror("naming characters");
    warnedofbraces = false;
    switch (c) {
        case ';': showcharnames(); return;
        case '*': gtnb(); save_all_charnames(); return;
        case '!': gtnb(); savecharnames(); return;
        case '<': gtnb(); undefine(); return;
        case '&': gtnb(); auto_define_charname(); return;
        case '+': gtnb(); onerename(); return;
        default: definitions();
    }
}

const comhelp cnameshelp = {
    "Name characters, their states and blocks.", nullptr,
    "  cnames\n"
    "  {N NAME STATE STATE ... ;   name character N and its states, from state 0 on\n"
    "  {@B N NAME STATE ... ;      the same; N is a number within block B\n"
    "  [B NAME ;                   name block B, from 1 on\n"
    "  +N NAME STATE STATE ... ;   rename character N (a number or a name); states that\n"
    "                              are not mentioned keep their names\n"
    "  ;\n"
    "Definitions may follow one another; a semicolon of its own ends them, but for a single\n"
    "\"cnames +N NAME ;\".  A '^' in a name stands for a blank.  Names have up to 1024\n"
    "letters; as many states can be named as cells have room for.  Continuous characters\n"
    "have no states to name.\n"
    "  cnames = ;   use the names in outputs\n"
    "  cnames - ;   do not (the default)\n"
    "  cnames ;     show the names\n"
    "  cnames * ;   save the names, as a command\n"
    "  cnames ! ;   save the names of active characters only\n"
    "  cnames & ;   name all characters that have no name by their number\n"
    "  cnames < ;   undefine all names of characters and states\n"
    "  cnames | NAME ;   write the names in a Nexus file as a \"cnames\" command\n"
    "Examples:\n"
    "  cnames {0 tongue short long ; {1 wings absent present ; ;\n"
    "  cnames +0 proboscis ;\n"
    "  cnames = ;\n"
};
