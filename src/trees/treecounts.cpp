// Sizes of trees: tnodes, tsize.
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include <algorithm>

static uint8_t *lasttree()
{
    uint8_t *list = zlo<uint8_t>(trees_in_mem);
    list[trees_in_mem - 1] = LISTED;
    return list;
}

// Descendants of each internal node, which are the rows of the table.
static void forktable(int t)
{
    const int *tree = mem_tree[t];
    char *here = lomark();
    int *forks = lo<int>(nodz);
    std::fill(forks, forks + tree[nt], -1);
    for (int n = nt; n < tree[nt]; ++n) forks[n] = 0;
    for (int n = 0; n < tree[nt]; ++n)
        if (n != nt && (n > nt || isinthetree(tree, n))) ++forks[tree[n]];
    snprintf(tabletitle, sizeof tabletitle, "Forks in tree %i", t);
    printable(forks, tree[nt]);
    loset(here);
}

void tnodescom()
{
    notreeerror();
    bool forks = gotc('*');
    const uint8_t *list = gotc('/') ? lasttree() : treelist();
    if (forks) {
        for (int t = 0; t < trees_in_mem; ++t)
            if (list[t] == LISTED) intrupt(1), forktable(t);
        return;
    }
    int *nodes = lo<int>(trees_in_mem);
    for (int t = 0; t < trees_in_mem; ++t) nodes[t] = list[t] == LISTED ? mem_tree[t][nt] - nt - 1 : -1;
    snprintf(tabletitle, sizeof tabletitle, "Nodes in trees");
    printable(nodes, trees_in_mem);
}

void tsizecom()
{
    notreeerror();
    const uint8_t *list = treelist();
    int *taxa = lo<int>(trees_in_mem);
    for (int t = 0; t < trees_in_mem; ++t) {
        taxa[t] = -1;
        if (list[t] != LISTED) continue;
        dildit(t, trees_in_mem, "Counting taxa");
        taxa[t] = 0;
        for (int x = 0; x < nt; ++x) taxa[t] += isinthetree(mem_tree[t], x);
    }
    if (report_status) erdil();
    snprintf(tabletitle, sizeof tabletitle, "Number of taxa included in tree(s)");
    printable(taxa, trees_in_mem);
}

const comhelp tnodeshelp = {
    "Count the nodes of trees.", nullptr,
    "  tnodes L ;     resolved nodes, besides the root, of the trees in list L (default all);\n"
    "                 \"tnodes / ;\" of the last tree\n"
    "  tnodes * L ;   for each tree, how many branches arise from each node\n"
    "Examples:\n"
    "  tnodes ;\n"
    "  tnodes * / ;\n"
};

const comhelp tsizehelp = {
    "Count the taxa included in trees.", nullptr,
    "  tsize L ;   number of taxa in each tree of list L (default all)\n"
    "Examples:\n"
    "  tsize ;\n"
};
