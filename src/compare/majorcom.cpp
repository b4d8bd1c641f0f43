// compare/majorcom.cpp: the commands majority, freqdifs and comcomp.
#include <cstdio>
#include <string>
#include "compare/consread.h"
#include "compare/groups.h"
#include "compare/major.h"
#include "compare/strict.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/commands.h"
#include "kernel/comhelps.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"

const comhelp majorityhelp = {
    "Majority rule consensus, and frequencies of groups.", nullptr,
    "  majority N / L ;       draw the consensus of the groups in more than half of\n"
    "                         trees N (or the cutoff), leaving out taxa L, with their\n"
    "                         frequencies as per cent\n"
    "  majority *N / L ;      keep it as the last tree in memory, in the group\n"
    "                         \"Majority_rule_consensus\"\n"
    "  majority &N / L ;      draw it and keep it\n"
    "  majority [J] N / L ;   draw tree J with the frequencies of its groups in trees N\n"
    "  majority (J) N / L ;   the same as a table\n"
    "  majority = C ;         cutoff, 50 to 100 per cent (default 50).  Groups must be in\n"
    "                         more trees than that; what is in all of them is shown by\n"
    "                         \"nelsen\"\n"
    "Without a list all trees are used.  Trees are collapsed temporarily, and taxa\n"
    "missing from some trees left out, as for \"nelsen\".  When memory is low, only\n"
    "trees of the same taxa can be compared, as they stand.\n"
    "Examples:\n"
    "  majority ;\n"
    "  majority = 75 ; majority * 0.8 ; majority = 50 ;\n"
    "  majority [0] ;\n"
};

const comhelp freqdifshelp = {
    "Consensus by frequency differences.", nullptr,
    "The value of a group is its frequency less that of the most frequent group that\n"
    "contradicts it.\n"
    "  freqdifs N / L ;       draw the consensus of the groups with values above the\n"
    "                         cutoff in trees N, leaving out taxa L, with their values\n"
    "                         as per cent\n"
    "  freqdifs *N / L ;      keep it as the last tree in memory, in the group\n"
    "                         \"Freq_diff_consensus\"\n"
    "  freqdifs &N / L ;      draw it and keep it\n"
    "  freqdifs [J] N / L ;   draw tree J with the values of its groups in trees N, J\n"
    "                         itself not counted; [n] is a value below 0\n"
    "  freqdifs (J) N / L ;   the same as a table\n"
    "  freqdifs = C ;         cutoff, 0 to 100 per cent (default 0)\n"
    "Examples:\n"
    "  freqdifs ;\n"
    "  freqdifs (0) ;\n"
};

const comhelp comcomphelp = {
    "Combinable component consensus.", nullptr,
    "The groups that are in some tree and contradicted by no other tree.\n"
    "  comcomp N / L ;    draw the consensus of trees N, leaving out taxa L\n"
    "  comcomp *N / L ;   keep it as the last tree in memory, in the group\n"
    "                     \"Combinable_Component_Consensus\"\n"
    "  comcomp &N / L ;   draw it and keep it\n"
    "Examples:\n"
    "  comcomp ;\n"
    "  comcomp * 0.5 ;\n"
};

static bool usetables;          // values of the reference tree go to a table

static void readcut(int *cut)
{
    long n = gtnu(), low = cut == &majorcut ? 50 : 0;
    if (n < 0) errmsg("= must be followed by a number", nullptr);
    if (n < low || n > 100) myerr("Cutoff must be %li-100", low);
    *cut = int(n);
}

// "= N", the cutoff, and "[J]" or "(J)", the reference tree, which is returned; -1 for none.
static int getops(int *cut)
{
    int reference = -1;
    usetables = false;
    for (;;) {
        int c = peep();
        if (c != '=' && c != '[' && c != '(') return reference;
        gtnb();
        if (c == '=') {
            readcut(cut);
            continue;
        }
        long n = gtnu();
        if (n < 0) errmsg("[N] requires a tree number", nullptr);
        if (!gotc(c == '[' ? ']' : ')'))
            errmsg("[N] requires a tree number", "- expecting closing bracket or parnthesis", nullptr);
        notreeerror();
        if (n >= trees_in_mem) numtreeerror(n);
        reference = int(n);
        usetables = c == '(';
    }
}

// '*' stores without drawing, '&' does both.
static int readstoring()
{
    if (gotc('*')) return STORED;
    return gotc('&') ? DRAWN | STORED : DRAWN;
}

static int percentof(int value, int trees) { return int(int64_t(value) * 100 / trees); }

static void labelvalues(const int *tree, const int *values, int trees)
{
    char text[24];
    for (int n = nt + 1; n < tree[nt]; ++n) {
        int percent = percentof(values[n], trees);
        snprintf(text, sizeof text, values[n] < 0 ? "[%i]" : "%i", values[n] < 0 ? -percent : percent);
        labelnode(n, text);
    }
}

static void tablevalues(const int *tree, const int *result, const int *values, int trees, const uint8_t *excluded)
{
    constexpr int BELOWZERO = -5, NOTASKED = -1;
    int *table = lo<int>(nodz);
    valuesofnodes(tree, result, values, excluded, table);
    for (int n = 0; n < tree[nt]; ++n)
        table[n] = table[n] == NOGROUP ? NOTASKED : table[n] < 0 ? BELOWZERO : percentof(table[n], trees);
    printable(table, tree[nt]);
}

namespace {
// What tells majority from freqdifs.
struct kindofvalues {
    int *cut;
    void (*consensus)(int *const *trees, int *result, int ntrees, const uint8_t *list, uint8_t *excluded, int *freqs);
    int (*trees)(int ntrees, const uint8_t *list);
    const char *title, *referencetitle, *tabletitle, *group;
};
constexpr kindofvalues majorityvalues = {
    &majorcut, domajority, treesformajority, "Majority rule tree (from %i trees, cut %i)",
    "Frequency of groups from tree %i, in %i trees", "Frequency values (node numbers refer to tree %i)",
    "Majority_rule_consensus"
};
constexpr kindofvalues differencevalues = {
    &freqdifcut, dofreqdifs, treesforfreqdifs, "Frequency differences (from %i trees, cut %i)",
    "Frequency differences of groups from tree %i, in %i trees", "Values (node numbers refer to tree %i)",
    "Freq_diff_consensus"
};
}

static std::string titleof(const char *format, int a, int b, int ntrees)
{
    char text[200];
    snprintf(text, sizeof text, format, a, b);
    return text + sometrees(ntrees);
}

static void consensusofvalues(const kindofvalues &kind)
{
    noreference guard;
    bool cutgiven = peep() == '=';
    int reference = getops(kind.cut), storing = readstoring();
    if (cutgiven && reference < 0 && storing == DRAWN && peep() == ';') return;
    if (reference >= 0 && storing != DRAWN) errarg(storing == STORED ? '*' : '&');
    beginconsensus(storing & STORED);
    consinput in = readconsensus();
    if (reference < 0 && kind.cut == &majorcut && majorcut < 50) errmsg("Cannot do majority rule with cut < 50", nullptr);
    reference_tree = reference;
    int trees = kind.trees(trees_in_mem, in.list), *result = lo<int>(nodz), *values = lo<int>(nodz);
    if (reference >= 0) completexlist(mem_tree + reference, 1, nullptr, in.excluded);
    completexlist(mem_tree, trees_in_mem, in.list, in.excluded);
    notecollapsing();
    kind.consensus(mem_tree, result, trees_in_mem, in.list, in.excluded, values);
    if (usetables) {
        snprintf(tabletitle, sizeof tabletitle, kind.tabletitle, reference);
        ischartable = 0;
        return tablevalues(mem_tree[reference], result, values, trees, in.excluded);
    }
    std::string title = reference >= 0 ? titleof(kind.referencetitle, reference, trees, in.ntrees)
                                       : titleof(kind.title, trees, *kind.cut, in.ntrees);
    if (storing & DRAWN) {
        labelvalues(result, values, trees);
        drawconsensus(result, title);
    }
    if (storing & STORED) storeconsensus(result, title, kind.group);
}

void majoritycom() { consensusofvalues(majorityvalues); }
void freqdifscom() { consensusofvalues(differencevalues); }

void comcompcom()
{
    noreference guard;
    int storing = readstoring();
    beginconsensus(storing & STORED);
    consinput in = readconsensus();
    completexlist(mem_tree, trees_in_mem, in.list, in.excluded);
    notecollapsing();
    int *result = lo<int>(nodz);
    dobremercons(mem_tree, result, trees_in_mem, in.list, in.excluded);
    std::string title = titleof("Combinable component consensus (from %i trees)", in.ntrees, 0, in.ntrees);
    if (storing & DRAWN) drawconsensus(result, title);
    if (storing & STORED) storeconsensus(result, title, "Combinable_Component_Consensus");
}
