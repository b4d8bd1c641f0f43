// compare/nelsen.cpp: the commands nelsen, strict consensus of trees in memory, and unshared.
#include <string>
#include "compare/consread.h"
#include "compare/floaters.h"
#include "compare/groups.h"
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

const comhelp nelsenhelp = {
    "Strict consensus.", nullptr,
    "  nelsen N / L ;       draw the strict consensus of trees N, leaving out taxa L\n"
    "  nelsen *N / L ;      keep it as the last tree in memory, in the group\n"
    "                       \"Strict_consensus\" (\"&\" is the same)\n"
    "  nelsen N / L / P ;   draw the consensus without taxa L and P, and show where each\n"
    "                       of P is placed in the trees: its letter stands at the\n"
    "                       branches (or, where the tree leaves it unresolved, the\n"
    "                       nodes) it is next to.  P are up to 50 taxa, or nodes of the\n"
    "                       consensus of N without L, for the taxa above them; the\n"
    "                       rule of temporary collapsing must be 3 or less\n"
    "  nelsen < ;           always use the algorithms that need little memory\n"
    "  nelsen > ;           use them only when memory is low (the default)\n"
    "Without a list all trees are used.  Taxa missing from some of the trees are\n"
    "left out (see \"unshared\").  The trees are collapsed temporarily by the\n"
    "collapsing rule (see \"collapse\"); they stay in memory as they were.\n"
    "Examples:\n"
    "  nelsen ;\n"
    "  nelsen 0.5 / 2 6 ;   of trees 0 to 5, without taxa 2 and 6\n"
    "  nelsen * ;\n"
    "  nelsen // 3 4 ;      where taxa 3 and 4 are placed\n"
};

static void lowbudget(int always)
{
    notime();
    use_low_budget_only = always;
    spewem("Using low-memory consensus algorithms", always ? "always" : "only when memory is low", nullptr);
}

void strictcom()
{
    int form = peep();
    if (form == '<' || form == '>') {
        gtnb();
        lowbudget(form == '<');
        return;
    }
    bool store = form == '*' || form == '&';
    if (store) gtnb();
    beginconsensus(store);
    consinput in = readconsensus();
    if (gotc('/')) {
        if (store) errmsg("Can't save tree with location of excluded taxa", nullptr);
        strict_placing_floaters(in);
        return;
    }
    completexlist(mem_tree, trees_in_mem, in.list, in.excluded);
    notecollapsing();
    int *result = lo<int>(nodz);
    dostrict(mem_tree, result, trees_in_mem, in.list, in.excluded, 0);
    std::string title = "Strict consensus of " + std::to_string(in.ntrees) + " trees ("
                        + std::to_string(nt - consensus_taxa) + " taxa excluded)" + sometrees(in.ntrees);
    if (store) storeconsensus(result, title, "Strict_consensus");
    else drawconsensus(result, title);
}

const comhelp unsharedhelp = {
    "Leave out of consensuses the taxa missing from some tree, or not.", nullptr,
    "  unshared = ;   taxa missing from any of the trees compared are pruned from all\n"
    "                 of them (the default)\n"
    "  unshared - ;   trees are compared as they stand: a taxon missing from a tree\n"
    "                 is in none of its groups\n"
    "  unshared / ;   the opposite of now\n"
    "  unshared ;     report\n"
    "Examples:\n"
    "  unshared - ; nelsen ; unshared = ;\n"
};

void unsharedcom()
{
    onoff(&ignore_unshared_taxa, "Ignore unshared taxa");
}
