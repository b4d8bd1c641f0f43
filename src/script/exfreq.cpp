// Expressions: how often the groups of a tree are in others, as the commands majority and freqdifs count them.
#include "script/ex.h"
#include "compare/consread.h"
#include "compare/groups.h"
#include "compare/major.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "script/internals.h"
#include "script/scoring.h"
#include "script/stream.h"
#include "trees/collapse.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include <algorithm>

namespace ex {

// What tells the two kinds of values.
struct kindofvalues {
    const char *command;
    void (*consensus)(int *const *trees, int *result, int ntrees, const uint8_t *list, uint8_t *excluded, int *freqs);
    int (*trees)(int ntrees, const uint8_t *list);
};
constexpr kindofvalues frequencies = { "majority", domajority, treesformajority };
constexpr kindofvalues differences = { "freqdifs", dofreqdifs, treesforfreqdifs };

// Trees collapsed for the comparison need the tables of scoring; searches cannot be set up in the middle of a command.
static void need_collapsing(const kindofvalues &kind)
{
    int rule = current_collapsing_rule();
    if (!collapse_consensuses || rule == COLL_NONE) return;
    refusecollapsing(kind.command, true);
    if (is_swap_rule(rule)) myerr("Error (%s): can't collapse with SPR or TBR for expressions", kind.command);
    need_scoring();
}

// Per node of tree t, per cent of the listed trees.  Groups of one taxon, or of all, are in every tree; absent taxa in none.
static std::vector<double> valuesoftree(const kindofvalues &kind, int t, const uint8_t *list, uint8_t *excluded)
{
    char *here = lomark();
    const int *tree = mem_tree[t];
    noreference whilehere;
    excluding_taxa = 0;
    reference_tree = t;
    int trees = kind.trees(trees_in_mem, list), *result = lo<int>(nodz), *counts = lo<int>(nodz), *ofnodes = lo<int>(nodz);
    completexlist(mem_tree + t, 1, nullptr, excluded);
    completexlist(mem_tree, trees_in_mem, list, excluded);
    kind.consensus(mem_tree, result, trees_in_mem, list, excluded, counts);
    valuesofnodes(tree, result, counts, excluded, ofnodes);
    std::vector<double> values;
    for (int n = 0; n < tree[nt]; ++n) {
        bool absent = n < nt && !isinthetree(tree, n);
        values.push_back(absent ? 0 : ofnodes[n] == NOGROUP ? 100 : 100.0 * ofnodes[n] / trees);
    }
    loset(here);
    return values;
}

// [T], [T LIST], [T LIST / TAXA]
static double valuelist(const kindofvalues &kind)
{
    notreeerror();
    return bracketed([&] {
        int t = treearg();
        need_collapsing(kind);
        char *here = lomark();
        uint8_t *list = zlo<uint8_t>(size_t(trees_in_mem)), *excluded = zlo<uint8_t>(size_t(nt));
        if (!another() || clean_peep() == '/' || !read_scope(list, 0, trees_in_mem, "tree", nullptr))
            std::fill(list, list + trees_in_mem, LISTED);
        if (gotc('/')) read_scope(excluded, 0, nt, "taxon", taxname);
        std::vector<double> values = valuesoftree(kind, t, list, excluded);
        for (double &x : values) x = int(x);              // as they are shown
        loset(here);
        return storelist(values);
    });
}

double freqlist()  { return valuelist(frequencies); }
double freqdlist() { return valuelist(differences); }

double gfreq()
{
    notreeerror();
    return bracketed([] {
        int t = treearg(), n = nodearg(t);
        need_collapsing(frequencies);
        char *here = lomark();
        uint8_t *list = lo<uint8_t>(size_t(trees_in_mem));
        std::fill(list, list + trees_in_mem, LISTED);
        double value = valuesoftree(frequencies, t, list, zlo<uint8_t>(size_t(nt)))[size_t(n)];
        loset(here);
        return value;
    });
}

}
