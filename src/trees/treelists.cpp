// Commands that go through lists of trees: which stay, and which taxa they have.
#include "trees/treebuf.h"
#include "data/below.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <algorithm>
#include <cstdio>

// --- tchoose ---

void tchoosecom()
{
    if (!give_trees_in_mem()) errmsg("No trees to choose from", nullptr);
    uint8_t *list;
    if (gotc('/')) {
        list = zlo<uint8_t>(trees_in_mem);
        list[trees_in_mem - 1] = LISTED;
    }
    else list = treelist();
    tojoin("Selecting tree(s)");
    printlist(list, 0, trees_in_mem, LISTED);
    effect_tree_choice(list);
    spewem(intvert(trees_in_mem), "trees selected", nullptr);
}

const comhelp tchoosehelp = {
    "Choose trees; the others are discarded.", nullptr,
    "  tchoose L ;   keep the trees of list L (all, by default)\n"
    "  tchoose / ;   keep the last tree only\n"
    "Trees that stay remain in their groups.\n"
    "Examples:\n"
    "  tgroup =1 (few) 0 4 ; tchoose {few} ;\n"
};

// --- incltax ---

void incltaxcom()
{
    notreeerror();
    bool out = gotc(']');
    if (!out) gotc('[');
    const uint8_t *list = treelist();
    uint8_t *which = lo<uint8_t>(nt);
    for (int t = 0; t < trees_in_mem; ++t) {
        if (list[t] != LISTED) continue;
        myp(out ? "Taxa not included in tree %i:" : "Taxa included in tree %i:", t);
        std::transform(mem_tree[t], mem_tree[t] + nt, which, [out](int anc) { return uint8_t(out == !anc ? LISTED : 0); });
        printtaxa(which, LISTED);
    }
}

const comhelp incltaxhelp = {
    "Show which taxa trees have.", nullptr,
    "  incltax [L ;   the taxa in each tree of list L (all trees, by default)\n"
    "  incltax ]L ;   the taxa that are not in each tree\n"
    "Taxa are shown by number, or by name with \"taxname=\".\n"
    "Examples:\n"
    "  incltax [0 ;\n"
    "  incltax ] ;\n"
};
