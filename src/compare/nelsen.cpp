// compare/nelsen.cpp: the command nelsen, strict consensus of trees in memory.
#include <cstdio>
#include <string>
#include "compare/below.h"
#include "compare/groups.h"
#include "compare/strict.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/commands.h"
#include "kernel/comhelps.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "trees/collapse.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"

const comhelp nelsenhelp = {
    "Strict consensus.", nullptr,
    "  nelsen N / L ;    draw the strict consensus of trees N, leaving out taxa L\n"
    "  nelsen *N / L ;   keep it as the last tree in memory, in the group\n"
    "                    \"Strict_consensus\" (\"&\" is the same)\n"
    "  nelsen < ;        always use the algorithms that need little memory\n"
    "  nelsen > ;        use them only when memory is low (the default)\n"
    "Without a list all trees are used.  Taxa missing from some of the trees are\n"
    "left out.  The trees are collapsed temporarily by the collapsing rule; they\n"
    "stay in memory as they were.\n"
    "Examples:\n"
    "  nelsen ;\n"
    "  nelsen 0.5 / 2 6 ;   of trees 0 to 5, without taxa 2 and 6\n"
    "  nelsen * ;\n"
};

static void notecollapsing()
{
    if (!collapse_consensuses || jaking || current_collapsing_rule() == COLL_NONE) return;
    joinem("Note: for consensus calculation, trees will be \ntemporarily collapsed ", report_collapse_rule(), "\n",
           nullptr);
}

static void lowbudget(int always)
{
    notime();
    use_low_budget_only = always;
    spewem("Using low-memory consensus algorithms", always ? "always" : "only when memory is low", nullptr);
}

static std::string consensustitle(int ntrees)
{
    std::string title = "Strict consensus of " + std::to_string(ntrees) + " trees ("
                        + std::to_string(nt - consensus_taxa) + " taxa excluded)";
    if (ntrees < trees_in_mem) title += " (some trees only = |O|)";
    return title;
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
    notreeerror();
    if (store) chktreespace();                    // moves the layers, so before anything else is taken
    preparecollapsing(current_command);

    excluding_taxa = 0;
    uint8_t *list = treelist(), *excluded = zlo<uint8_t>(nt);
    int ntrees = countlist(list, trees_in_mem);
    if (!ntrees) errmsg("No trees specified", nullptr);
    if (gotc('/')) read_scope(excluded, 0, nt, "taxon", taxname);
    if (gotc('/')) {
        if (store) errmsg("Can't save tree with location of excluded taxa", nullptr);
        spewem("Locating pruned taxa on the consensus: not available yet", nullptr);
        gott(';');
        return;
    }
    completexlist(mem_tree, trees_in_mem, list, excluded);
    notecollapsing();
    int *result = lo<int>(nodz);
    dostrict(mem_tree, result, trees_in_mem, list, excluded, 0);
    std::string title = consensustitle(ntrees);
    if (!store) {
        snprintf(treetitle, sizeof treetitle, "%s", title.c_str());
        drawtree(result, nt);
        newln();
        return;
    }
    int place = trinc("Strict_consensus", false);
    stortree(result);
    spewem(title.c_str(), "calculated, as tree", intvert(place), nullptr);
}
