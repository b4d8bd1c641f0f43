// Trees in memory compared with each other: equal ones shown or dropped, and all put in order.
#include "trees/treesort.h"
#include "trees/lightopt.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include <algorithm>
#include <cctype>

int (*count_violations)(const int *tree);

// --- tequal ---

void tequalcom()
{
    constexpr int PLAIN = -4, FIRST = -5;        // marks of the table
    int trees = give_trees_in_mem();
    bool marks = printable == printable_default;
    int *value = lo<int>(trees), *first = lo<int>(trees);
    std::fill(value, value + trees, PLAIN);
    first_equal_trees(first);
    for (int t = 0; t < trees; ++t) {
        if (first[t] == t) continue;
        value[t] = first[t];
        if (marks) value[first[t]] = FIRST;
    }
    snprintf(tabletitle, sizeof tabletitle, "Non-unique tree(s)%s", marks ? "" : " (duplicate/first occurrence)");
    ischartable = 0;
    printable(value, trees);
}

const comhelp tequalhelp = {
    "Show which trees are equal to others.", nullptr,
    "In the table, a tree equal to an earlier one has the number of the first such\n"
    "tree, and that first one a star.  Trees are equal when they have the same\n"
    "taxa, the same groups and the same root.\n"
    "Examples:\n"
    "  tequal ;\n"
};

// --- riddup ---

// Inactive taxa scored as some active one.  Characters that are not active do not tell them apart.
static void reactivate()
{
    nodaterror("reactivating taxa");
    auto before = [](int a, int b) {
        for (int c = 0; c < nc; ++c)
            if (charcodes[c].active && cell(a, c) != cell(b, c)) return cell(a, c) < cell(b, c);
        return false;
    };
    int *active = lo<int>(nt), n = 0, again = 0;
    for (int t = 0; t < nt; ++t)
        if (taxact[t] == 1) active[n++] = t;
    std::sort(active, active + n, before);
    for (int t = 0; t < nt; ++t)
        if (taxact[t] != 1 && std::binary_search(active, active + n, t, before)) {
            taxact[t] = 1;
            ++again;
        }
    if (again) {
        realnt = ntax = numactive();
        chartables_reset();
    }
    spewem(intvert(again), "duplicate taxa reactivated", nullptr);
}

void riddupcom()
{
    if (gotc('-')) return reactivate();
    notreeerror();
    int had = trees_in_mem, *first = lo<int>(had);
    uint8_t *keep = zlo<uint8_t>(had);
    first_equal_trees(first);
    for (int t = 0; t < had; ++t)
        if (first[t] == t) keep[t] = LISTED;
    effect_tree_choice(keep);
    spewem(intvert(had - trees_in_mem), "duplicate trees removed,", intvert(trees_in_mem), "trees in memory", nullptr);
}

const comhelp ridduphelp = {
    "Discard trees that are equal to earlier ones.", nullptr,
    "  ;     of each set of equal trees, only the first stays (see \"tequal\")\n"
    "  - ;   activate again the inactive taxa that have the same entries, in all\n"
    "        active characters, as some active taxon\n"
    "Examples:\n"
    "  riddup ;\n"
    "  riddup - ;\n"
};

// --- sort ---

namespace {
double scoreof(const int *tree)     { return packdownpass(tree); }
double nodesof(const int *tree)     { return countnodes(tree); }
double terminalsof(const int *tree) { return countterminals(tree); }
double violatedby(const int *tree)  { return count_violations(tree); }

const struct sortrow {
    const char *word;
    double    (*value)(const int *tree);
    const char *what;
} sortrows[] = {
    { "score", scoreof,     "score" },
    { "nodes", nodesof,     "number of nodes" },
    { "size",  terminalsof, "number of taxa" },
    { "mono",  violatedby,  "number of violated constraints" },
};
}

static const sortrow *readorder()
{
    gotc('=');
    if (!isalpha(peep()))
        errmsg("Please, specify \"score\", \"nodes\", \"size\", or \"mono\"", nullptr);
    rdcmd();
    for (const sortrow &row : sortrows)
        if (!brevcomp(cmdname, row.word)) return &row;
    errmsg("Wrong argument for \"sort = \":", cmdname, nullptr);
}

void sortcom()
{
    notreeerror();
    const sortrow *row = readorder();
    if (row->value == scoreof) optmem();             // locks its layer: before any scratch of this command
    if (row->value == violatedby && (!consttag || !count_violations)) errmsg("No constraints defined", nullptr);
    double *value = lo<double>(trees_in_mem);
    int *order = lo<int>(trees_in_mem);
    for (int t = 0; t < trees_in_mem; ++t) {
        if (have_some_intrupt()) return;
        dildit(t, trees_in_mem, "Comparing");
        value[t] = row->value(mem_tree[t]);
        order[t] = t;
    }
    erdil();
    if (std::all_of(value, value + trees_in_mem, [&](double v) { return v == value[0]; })) {
        spewem("All", intvert(trees_in_mem), "trees have the same", row->what, nullptr);
        return;
    }
    std::stable_sort(order, order + trees_in_mem, [&](int a, int b) { return value[a] < value[b]; });
    reorder_trees(order);
    joinem("Sorted ", intvert(trees_in_mem), " trees, based on ", row->what, "\n", nullptr);
}

const comhelp sorthelp = {
    "Put the trees in memory in order.", nullptr,
    "  = score ;   the best first\n"
    "  = nodes ;   those of fewest internal nodes first\n"
    "  = size ;    those of fewest taxa first\n"
    "  = mono ;    those that violate fewest constraints first\n"
    "Trees of the same value stay in the order they had.\n"
    "Examples:\n"
    "  sort = score ;\n"
    "  sort = nodes ;\n"
};
