// Copying trees: from the buffer, the constraints or the tags into the buffer.
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "script/expr.h"
#include "script/macmem.h"
#include "script/refusal.h"
#include "search/constraints.h"
#include "trees/treebuf.h"
#include "trees/treetags.h"
#include <algorithm>
#include <string>
#include <vector>

static std::vector<int> copied(const int *tree) { return std::vector<int>(tree, tree + nodz); }

// The place it goes to: -1 is behind the last one.
static int readplace()
{
    return peep() == ';' ? -1 : imacnu();
}

void copytreecom()
{
    scriptcommand();
    nodaterror("copying trees");
    std::string name;
    std::vector<int> tree;
    int place;
    int c = gtnb();
    switch (c) {
        case '[': notyetavailable("taxonomies");
        case '!': notyetavailable("taxonomies");
        case '*':
            if (!constreenum || !constree) errmsg("No constraint tree is defined", nullptr);
            name = "of constraints";
            tree = copied(constree);
            place = readplace();
            break;
        case '+':
            place = readplace();
            if (!txtdatin)
                myerr("No tag-tree is defined; can't copy onto %i", place < 0 ? trees_in_mem : place);
            name = "of tags";
            tree = copied(txtr);
            break;
        default: {
            ungtch();
            int t = imacnu();
            notreeerror();
            if (!isatree(t)) numtreeerror(t);
            name = std::to_string(t);
            tree = copied(mem_tree[t]);
            place = readplace();
        }
    }
    if (place < 0 || place == trees_in_mem) {
        if (trees_in_mem >= maxtrees) errmsg("Can't store more trees (tree buffer full)", nullptr);
        place = trees_in_mem;
        stortree(tree.data());
    } else {
        if (!isatree(place)) numtreeerror(place);
        std::copy(tree.begin(), tree.end(), mem_tree[place]);
        recalctree = 1;
    }
    if (report_status) spewem("Tree", name.c_str(), "copied to tree", intvert(place), nullptr);
}

const comhelp copytreehelp = {
    "Copy a tree within the memory.", nullptr,
    "  copytree X Y ;   tree Y becomes a copy of tree X\n"
    "  copytree X ;     the copy is put behind the last tree\n"
    "  copytree * Y ;   from the tree of the constraints (see \"force\")\n"
    "  copytree + Y ;   from the tree that has tags (see \"ttags\")\n"
    "Examples:\n"
    "  macro = ; copytree 0 1 ; copytree 0 ; macro - ;\n"
};
