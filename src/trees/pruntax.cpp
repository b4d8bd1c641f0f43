// Taxa removed from trees in memory.
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"

// Fails before any tree changes.
void pruntaxcom()
{
    uint8_t *list = treelist(), *taxa = lo<uint8_t>(nt);
    if (!gotc('/') || !read_scope(taxa, 0, nt, "taxon", taxname)) errmsg("Must give trees and taxa to prun: L / T", nullptr);
    for (int t = 0; t < nt; ++t) taxa[t] = taxa[t] != LISTED;         // now those that stay
    int pruned = 0;
    auto removes = [&](int tree) {
        for (int t = 0; t < nt; ++t)
            if (!taxa[t] && isinthetree(mem_tree[tree], t)) return true;
        return false;
    };
    for (int tree = 0; tree < trees_in_mem; ++tree)
        if (list[tree] == LISTED) checkprunable(tree, taxa);
    for (int tree = 0; tree < trees_in_mem; ++tree)
        if (list[tree] == LISTED && removes(tree)) pruned += prunetaxa(mem_tree[tree], taxa);
    recalctree = 1;
    spewem("Taxa pruned from", intvert(pruned), "trees", nullptr);
}

const comhelp pruntaxhelp = {
    "Remove taxa from trees.", nullptr,
    "  L / T ;   the taxa of list T from the trees of list L (all, by default)\n"
    "Every tree must be left with two or more taxa; else none is changed.\n"
    "Examples:\n"
    "  pruntax / 3 5 ;\n"
    "  pruntax 0.2 / Honey_bee ;\n"
};
