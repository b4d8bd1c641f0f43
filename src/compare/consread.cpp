#include "compare/consread.h"
#include <cstdio>
#include <cstring>
#include "compare/below.h"
#include "compare/groups.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "search/moves.h"
#include "search/swapper.h"
#include "trees/collapse.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"

static bool collapsing() { return collapse_consensuses && current_collapsing_rule() != COLL_NONE; }

void refusecollapsing(const char *command, bool willcollapse)
{
    if (willcollapse && current_collapsing_rule() == COLL_RULE4)
        myerr("Error (%s): cannot use rule 4 to collapse during consensus calculation", command);
}

void preparecollapsing()
{
    if (collapsing()) prepare_collapsing();
}

void chktreespace()
{
    if (trees_in_mem < maxtrees) return;
    if (!try_maxtrees((maxtrees + 10) / 10 * 10)) errmsg("No space to store new trees", nullptr);
    report_maxtrees();
}

void beginconsensus(bool store)
{
    notreeerror();
    if (store) chktreespace();                    // moves the layers, so before anything else is taken
    preparecollapsing();
    excluding_taxa = 0;
}

consinput readconsensus()
{
    consinput in = { treelist(), zlo<uint8_t>(nt), 0 };
    in.ntrees = countlist(in.list, trees_in_mem);
    if (!in.ntrees) errmsg("No trees specified", nullptr);
    if (gotc('/')) read_scope(in.excluded, 0, nt, "taxon", taxname);
    if (collapsing() && is_swap_rule(current_collapsing_rule()))      // swapping knows active taxa only
        for (int t = 0; t < nt; ++t)
            if (!taxact[t]) in.excluded[t] = LISTED;
    return in;
}

void notecollapsing()
{
    refusecollapsing(current_command, collapsing());
    if (!collapsing() || jaking) return;
    joinem("Note: for consensus calculation, trees will be \ntemporarily collapsed ", report_collapse_rule(), nullptr);
    if (current_collapsing_rule() == COLL_TBR && have_asymmetric && suboptimal > 0 && relative_suboptimal > 0)
        joinem("\n\nNote: with asymmetric Sankoff characters, relative fit differences\n"
               "with rearranged tree calculated only approximately during TBR"
               "\nUse \"cost &;\" command to calculate exactly (more memory/time)\n", nullptr);
    joinem("\n", nullptr);
}

std::string sometrees(int ntrees) { return ntrees < trees_in_mem ? " (some trees only = |O|)" : ""; }

void drawconsensus(const int *tree, const std::string &title)
{
    snprintf(treetitle, sizeof treetitle, "%s", title.c_str());
    drawtree(tree, nt);
    reset_nodmsg();
    if (!store_treemsg) newln();
}

void storeconsensus(const int *tree, const std::string &title, const char *group)
{
    int place = trinc(group, false);
    stortree(tree);
    spewem(title.c_str(), "calculated, as tree", intvert(place), nullptr);
}

void labelnode(int node, const char *text)
{
    snprintf(nodmsg[node], size_t(2 * Namesize), "%s", text);
}

void no_temp_colla_warn(const char *purpose)
{
    if (!collapsing()) return;
    warnem(purpose, "temporary collapsing will be deactivated", nullptr);
    collapse_consensuses = 0;
}
