// Names of taxa: how they are printed, changed and looked up.
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

int usetaxnames, max_namesize_on_output;

constexpr int LEASTNAME = 12;            // command words must still fit
constexpr int LONGESTNAME = 1024;

// Bytes of the first letters of a name; those of other alphabets take several each.
static size_t bytesofletters(const char *name, int letters)
{
    const char *end = name;
    for (; *end && letters; --letters)
        do ++end; while ((*end & 0xc0) == 0x80);
    return size_t(end - name);
}

// Good until as many more names were asked for.
char *taxname_out(int t)
{
    constexpr int RING = 8;
    static char ring[RING][LONGESTNAME + 1];
    static int next;
    char *name = taxname[t];
    size_t length = strlen(name);
    if (!max_namesize_on_output) return name;
    if (max_namesize_on_output < 0) {
        const char *mark = strstr(name, "____");
        if (!mark) return name;
        length = size_t(mark - name);
    } else {
        size_t cut = bytesofletters(name, max_namesize_on_output);
        if (cut == length) return name;
        length = cut;
    }
    char *out = ring[next++ % RING];
    memcpy(out, name, length);
    out[length] = 0;
    return out;
}

// --- taxname ---

static void longestname()
{
    long n = gtnu();
    if (n < 0) errmsg("Must give maximum name lenght", nullptr);
    if (datatag) errmsg("Cannot change maximum name length after reading data", nullptr);
    chk_strlen(n, LONGESTNAME, "Taxon names");
    Namesize = int(std::max<long>(n, LEASTNAME));
}

static void truncation()
{
    if (gotc('!')) {
        max_namesize_on_output = -1;
        spewem("Truncating taxon names on output to species only (excluding quadruple-underscore)", nullptr);
        return;
    }
    max_namesize_on_output = int(std::clamp<long>(gtnu(), 0, LONGESTNAME));
    if (max_namesize_on_output)
        spewem("Truncating taxon names on output to", intvert(max_namesize_on_output), "letters", nullptr);
    else
        spewem("Not truncating taxon names on output", nullptr);
}

static void notruncation()
{
    max_namesize_on_output = 0;
    spewem("Not truncating taxon names on output", nullptr);
}

// Pairs of a taxon and its new name.  All are read before any is changed.
static void rename_taxa()
{
    nodaterror("renaming taxa");
    int *who = hi<int>(size_t(nt));
    char **names = hi<char *>(size_t(nt));
    int n = 0;
    while (peep() != ';') {
        int t = rdtax();
        if (t < 0 || t >= nt) errmsg("Must specify taxon to rename", nullptr);
        if (!rdfilename()) errmsg("Must specify new name for taxon", taxname[t], nullptr);
        chk_strlen(long(strlen(cmdname)), Namesize - 1, "Name");
        if (n == nt) errmsg("Cannot rename a taxon twice", nullptr);
        names[n] = hi<char>(strlen(cmdname) + 1);
        strcpy(names[n], cmdname);
        who[n++] = t;
    }
    for (int i = 0; i < n; ++i) strcpy(taxname[who[i]], names[i]);
}

void taxnamecom()
{
    switch (gtnb()) {
    case ':': errmsg("Changing the taxonomy of taxa is not available yet", nullptr);
    case '/': rename_taxa(); break;
    case '+': longestname(); break;
    case '[': truncation(); break;
    case ']': notruncation(); break;
    default:
        ungtch();
        onoff(&usetaxnames, "Taxon names");
    }
    notime();
}

// --- taxlabels ---

static bool allnumerals(const char *s) { return *s && s[strspn(s, "0123456789")] == 0; }

static void showname(long t) { spewem(taxname_out(int(t)), nullptr); }

static void showmatches(const std::string &word)
{
    bool any = false;
    for (int t = 0; t < nt; ++t) {
        if (!namtrun(word.c_str(), taxname[t])) continue;
        any = true;
        spewem(taxname_out(t), "is taxon nr.", intvert(t), nullptr);
    }
    if (!any) spewem("No taxon names matches", word.c_str(), nullptr);
}

void taxnamescom()
{
    nodaterror("showing taxon names");
    if (peep() == ';')
        for (int t = 0; t < nt; ++t) spewem(intvert(t), taxname_out(t), nullptr);
    while (peep() != ';') {
        rdfilename();
        std::string word = cmdname;
        if (!allnumerals(word.c_str())) {
            showmatches(word);
            continue;
        }
        long t = word.size() > 9 ? nt : atol(word.c_str());
        if (t >= nt) errmsg("Taxon", "number", word.c_str(), nullptr);
        showname(t);
    }
}

const comhelp taxnamehelp = {
    "Use names of taxa, or change them.", nullptr,
    "  taxname = ;          taxa are shown by name\n"
    "  taxname - ;          by number (the default)\n"
    "  taxname +N ;         names have up to N - 1 letters (N is 32 at the start);\n"
    "                       before reading data only\n"
    "  taxname [N ;         print only the first N letters of names\n"
    "  taxname [! ;         print only what precedes a quadruple underscore\n"
    "  taxname ] ;          print whole names (the default)\n"
    "  taxname / T NAME ;   rename taxon T; several pairs may follow one another\n"
    "Examples:\n"
    "  taxname = ; tplot 0 ;\n"
    "  taxname / 0 Wasp 12 Apis ;\n"
};

const comhelp taxlabelshelp = {
    "Show names and numbers of taxa.", nullptr,
    "  taxlabels ;        show all names, with their numbers\n"
    "  taxlabels N M ;    show the names of taxa N and M\n"
    "  taxlabels WORD ;   show all names that begin with the word, and their numbers\n"
    "Examples:\n"
    "  taxlabels ;\n"
    "  taxlabels Ma ;\n"
};
