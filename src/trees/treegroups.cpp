// Definition of groups of trees, and the choice of whether trees found or read make new ones.
#include "trees/treegroups.h"
#include "trees/implied.h"
#include "trees/lightopt.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include "data/below.h"
#include "data/groupdefs.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/silence.h"
#include <algorithm>
#include <cctype>

bool (*meetsconstraints)(int t);

// --- For groups of characters ---

void score_characters(int t)
{
    optmem();
    packdownpass(mem_tree[t]);
}

double character_score(int c)
{
    const charrec &r = charcodes[c];
    return r.weight * (dopiwe ? r.fit : r.continuous ? r.realsteps : r.steps);
}

// --- What trees are ---

static double lengthof(int t)   { return packdownpass(mem_tree[t]); }
static double resolvedof(int t) { return countnodes(mem_tree[t]) - 1; }     // the root says nothing
static double sizeof_(int t)    { return double(std::count_if(mem_tree[t], mem_tree[t] + nt, [](int a) { return a != 0; })); }

static void treesthatpass(const listpart &p, const char *word, double (*value)(int t))
{
    numbertest test = readtest(word);
    if (value == lengthof) optmem();
    for (int t = p.low; t < p.high; ++t) {
        intrupt(1);
        if (passes(test, value(t))) p.list[t] = p.sense;
    }
}

static void lenitem(const listpart &p, const char *word) { treesthatpass(p, word, lengthof); }
static void noditem(const listpart &p, const char *word) { treesthatpass(p, word, resolvedof); }
static void sizitem(const listpart &p, const char *word) { treesthatpass(p, word, sizeof_); }

static void monoitem(const listpart &p, const char *)
{
    if (!meetsconstraints) errmsg("No constraints defined", nullptr);
    for (int t = p.low; t < p.high; ++t)
        if (meetsconstraints(t)) p.list[t] = p.sense;
}

// "[": the trees of other groups, up to "]".
static bool bracketitem(const listpart &p, int c)
{
    if (c != '[') return false;
    const groupfamily *f = familyof("tree");
    while (!gotc(']')) {
        if (peep() == ';') errmsg("Unexpected semicolon within brackets", nullptr);
        std::string word = readgroupword(']');
        if (!markmembers(f, word.c_str(), p.list, p.low, p.high, p.sense)) f->unknown(word.c_str());
    }
    return true;
}

static constexpr groupword treewords[] = {
    { "len", lenitem }, { "nod", noditem }, { "siz", sizitem }, { "mono", monoitem }, { nullptr, nullptr }
};
static const groupitems treeitems = { treewords, bracketitem };

// --- The command ---

static void automatic(int on)
{
    autotreegroups = on;
    if (report_status) spewem("Trees from files assigned to groups", on ? "is ON" : "is OFF", nullptr);
    notime();
}

// Groups are bits: so many words of them a tree.
static void howmany()
{
    constexpr int MOST = 32 * 32;
    if (datonlytag) errmsg("Number of tree-groups must be changed before reading data", nullptr);
    long n = gtnu();
    if (n < 1) errmsg("Must give number of", "tree", "groups", nullptr);
    if (n > MOST) myerr("Can't define more than %i groups of trees (0-%i)", MOST, MOST - 1);
    num_treegroups = int(n);
    treegroupcells = (num_treegroups + 31) / 32;
}

static void savetreegroups(const groupfamily *f)
{
    int defined = 0;
    for (int g = 0; g < f->groups(); ++g) defined += isgroup(f, g);
    {
        silence notinlog(silent | NOLOG);        // the log is what is read back
        if (report_status) myp("Storing %i tree groups", defined);
    }
    savegroups(f, "tgroup", nullptr);
}

void tgroupcom()
{
    switch (peep()) {
    case '+':
        gtnb();
        return howmany();
    case '/':
        gtnb();
        return automatic(!autotreegroups);
    }
    if (isalpha(peep())) {
        rdcmd();
        bool on = !brevcomp(cmdname, "auto");
        if (!on && brevcomp(cmdname, "noauto")) errmsg("Must use =, > or <", nullptr);
        return automatic(on);
    }
    nodaterror("defining groups of trees");
    const groupfamily *f = familyof("tree");
    if (gotc('*')) return savetreegroups(f);
    groupcom(f, "tgroup", &treeitems, nullptr);
}

const comhelp tgrouphelp = {
    "Define groups of trees.", nullptr,
    "  tgroup =N (name) items ;   define group N; the name may be left out\n"
    "  tgroup >N items ;          add to group N\n"
    "  tgroup <N items ;          remove from group N\n"
    "  tgroup -N M name ;         undefine groups, by numbers, ranges or names\n"
    "  tgroup ;                   show the groups\n"
    "  tgroup * ;                 write the groups, as a command\n"
    "  tgroup / ;                 trees read or found become a new group, or not\n"
    "                             (invert); auto, they do (default); noauto, they\n"
    "                             do not\n"
    "  tgroup +N ;                room for N groups, 1 to 1024 (default 64); before\n"
    "                             reading data only\n"
    "Any number of definitions may follow one another; N may be /, the last group\n"
    "that was made automatically.  Items are:\n"
    "  a list        numbers, ranges, other groups in braces...\n"
    "  [K L M]       the trees of groups K, L and M\n"
    "  *N            N trees at random, from the remaining ones\n"
    "  N.M/Z         every Zth tree of the range\n"
    "  len=X         the trees of length X; nod, with X resolved nodes; siz, with X\n"
    "                taxa.  Also <X, >X, and (X,Y), from X to Y\n"
    "  mono          the trees that meet the constraints\n"
    "Wherever trees are listed, {N} or {name} stands for the members of a group.\n"
    "Examples:\n"
    "  tgroup =0 (best) 0. ; scores {best} ;\n"
    "  tgroup =1 nod>5 =2 [0] - [1] ;\n"
};
