// Commands for each rearrangement of a tree, and for each of all trees.
#include "script/swaps.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "script/expr.h"
#include "script/loops.h"
#include "script/macmem.h"
#include "script/repeat.h"
#include "script/stream.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <cstring>

// The commands of a step may have taken the tree away, or even the data.
static void check_still_there(int t, const treearray &tree)
{
    if (t >= trees_in_mem || nodz != int(tree.size())) errmsg("The tree being swapped is no longer in memory", nullptr);
}

// A tree in memory as it is looked at.
static void put_tree(int t, const treearray &tree)
{
    check_still_there(t, tree);
    std::copy(tree.begin(), tree.end(), mem_tree[t]);
    recalctree = 1;
}

long swap_moves;
int swap_was_cut;

// What is being swapped; how many rearrangements there are is counted when somebody asks.
static struct {
    const treearray *start;
    swapkind kind;
    long done, total;                    // from this start; total 0: not counted
} present;

double percent_swapped()
{
    if (!present.start || nodz != int(present.start->size())) return 0;
    if (!present.total)
        each_rearrangement(*present.start, present.kind, [](const treearray &) { return ++present.total, true; });
    return 100.0 * double(present.done) / double(present.total);
}

struct swapping {
    swapping(const treearray &start, swapkind kind)
    {
        present = { &start, kind, 0, 0 };
        swap_moves = 0;
        swap_was_cut = 1;
    }
    ~swapping() { present = {}; }
    swapping(const swapping &) = delete;
    swapping &operator=(const swapping &) = delete;
};

static treearray get_tree(int t) { return treearray(mem_tree[t], mem_tree[t] + nodz); }

// --- sprit and tbrit ----------------------------------------------------------------------

static void sayend(bool whole, long done)
{
    if (!report_status) return;
    char text[80];
    snprintf(text, sizeof text, whole ? "Finished swapping (%li rearrangements)" : "Interrupted swapping (%li rearrangements)", done);
    spewem(text, nullptr);
}

// The tree keeps the last rearrangement that became the start, or stays as it was.
void macroswapcom()
{
    scriptcommand();
    bool spr = current_command[0] == 's', outgroups = gotc('+');
    swapkind kind = !spr ? SWAP_TBR : outgroups ? SWAP_SPR_OUTGROUP : SWAP_SPR;
    int t = imacnu();
    notreeerror();
    if (!isatree(t)) numtreeerror(t);
    std::string commands = read_body(stopwords);
    stepping steps(TREE_STEPS);
    if (report_status) spewem("Start to swap tree", intvert(t), nullptr);
    treearray start = get_tree(t);
    swapping here(start, kind);
    long done = 0;
    bool ended = false;
    for (bool again = true; again; ) {
        again = false;
        each_rearrangement(start, kind, [&](const treearray &next) {
            put_tree(t, next);
            swap_moves = ++done;
            ++present.done;
            ended = !steps.run(commands);
            check_still_there(t, next);
            if (step_wish != RESTART_STEPS) return !ended;
            start = next;
            present.done = present.total = 0;
            again = !ended;
            return false;
        });
    }
    put_tree(t, start);
    swap_was_cut = ended;
    sayend(!userstop, done);
}

void endswapcom()
{
    scriptcommand();
    ask_step(TREE_STEPS, END_STEPS);
}

void resetswapcom()
{
    scriptcommand();
    ask_step(TREE_STEPS, RESTART_STEPS);
}

const comhelp sprithelp = {
    "Run commands for each SPR rearrangement of a tree.", nullptr,
    "  sprit T COMMANDS stop    tree T becomes each of its rearrangements in turn\n"
    "  sprit + T COMMANDS stop  also those that move the outgroup\n"
    "Among the commands \"endswap\" ends the swap, \"continue\" goes to the next\n"
    "rearrangement, and \"resetswap\" swaps on from the present one.  In the end, tree T\n"
    "is what it was, or the tree of the last \"resetswap\".\n"
    "Examples:\n"
    "  macro = ; set 0 0 ; sprit 0 set 0 ++ ; stop var 0 ; macro - ;\n"
};

const comhelp tbrithelp = {
    "Run commands for each TBR rearrangement of a tree.", nullptr,
    "  tbrit T COMMANDS stop   tree T becomes each of its rearrangements in turn\n"
    "See \"sprit\" for what the commands may be.\n"
    "Examples:\n"
    "  macro = ; set 0 0 ;\n"
    "  tbrit 0 set 0 ++ ; if ('0' == 50) endswap ; end stop var 0 ; macro - ;\n"
};

const comhelp endswaphelp = {
    "End the swap of \"sprit\" or \"tbrit\".", nullptr,
    "  endswap ;   no more rearrangements are looked at\n"
    "Examples:\n"
    "  macro = ; sprit 0 endswap ; stop macro - ;\n"
};

const comhelp resetswaphelp = {
    "Swap on from the present rearrangement.", nullptr,
    "  resetswap ;   within \"sprit\" and \"tbrit\": the tree as it is now is kept, and\n"
    "                swapping starts anew with it\n"
    "Examples:\n"
    "  macro = ; set 0 0 ;\n"
    "  sprit 0 set 0 ++ ; if ('0' == 3) resetswap ; end stop var 0 ; macro - ;\n"
};

// --- bandb --------------------------------------------------------------------------------

struct enumeration {
    stepping *steps;
    const std::string *commands;
    std::vector<int> taxa;               // in the order in which they are added; the outgroup first
    int place;                           // in memory, of the current tree
    long trees = 0;
    bool ended = false;
};

// The tree has the first taxa; runs the commands for it and for all that the others make of it.
static void cursebandb(enumeration &all, const treearray &tree, size_t taxa)
{
    treearray shown = tree;
    reset_nodz(shown.data());
    put_tree(all.place, shown);
    ++all.trees;
    all.ended = !all.steps->run(*all.commands);
    check_still_there(all.place, tree);
    if (all.ended || step_wish == CUT_STEPS || taxa == all.taxa.size()) return;
    for (int d = 0; d < tree[size_t(nt)] && !all.ended; ++d) {
        if (d == nt || d == all.taxa[0] || !tree[size_t(d)]) continue;
        treearray next = tree;
        int node = next[size_t(nt)]++;
        join_above(next, all.taxa[taxa], d, node);
        cursebandb(all, next, taxa + 1);
    }
}

static treearray three_taxa(const std::vector<int> &taxa)
{
    treearray tree(size_t(nodz), 0);
    tree[size_t(nt)] = nt + 2;
    tree[size_t(taxa[0])] = tree[size_t(nt) + 1] = nt;
    tree[size_t(taxa[1])] = tree[size_t(taxa[2])] = nt + 1;
    return tree;
}

static treearray polytomy(const std::vector<int> &taxa)
{
    treearray tree(size_t(nodz), 0);
    tree[size_t(nt)] = nt + 1;
    for (int t : taxa) tree[size_t(t)] = nt;
    return tree;
}

void bandbcom()
{
    scriptcommand();
    nodaterror("generating trees");
    std::string commands = read_body(stopwords);
    stepping steps(ALLTREE_STEPS);
    if (trees_in_mem >= maxtrees) errmsg("Increase maxtrees to branch-and-bound on tree", intvert(trees_in_mem), nullptr);
    enumeration all{ &steps, &commands, { outgroup }, trees_in_mem };
    for (int t = 0; t < nt; ++t)
        if (taxact[t] && t != outgroup) all.taxa.push_back(t);
    if (report_status) spewem("Start generating trees...", nullptr);
    stortree(polytomy(all.taxa).data());
    cursebandb(all, three_taxa(all.taxa), 3);
    put_tree(all.place, polytomy(all.taxa));
    if (report_status) spewem("Finished generating trees", nullptr);
}

void cutbranchcom()
{
    scriptcommand();
    ask_step(ALLTREE_STEPS, CUT_STEPS);
}

void endbranchcom()
{
    scriptcommand();
    ask_step(ALLTREE_STEPS, END_STEPS);
}

const comhelp bandbhelp = {
    "Run commands for all trees, taxon by taxon.", nullptr,
    "  bandb COMMANDS stop   the active taxa are added one after the other, in all ways,\n"
    "                        to the tree of the outgroup and the first two; the commands\n"
    "                        are run for every tree, also for those that do not have all\n"
    "                        taxa\n"
    "The current tree is the last one in memory, so that there must be room for one;\n"
    "in the end it has no groups.  Among the commands, \"cutbranch\" adds no more taxa to\n"
    "the current tree, \"endbranch\" ends, and \"continue\" goes on.\n"
    "Examples:\n"
    "  macro = ; keep 0 ; set 0 0 ;\n"
    "  bandb set 0 ++ ; if ('0' == 20) endbranch ; end stop var 0 ; macro - ;\n"
};

const comhelp cutbranchhelp = {
    "Add no more taxa to the current tree of \"bandb\".", nullptr,
    "  cutbranch ;\n"
    "Examples:\n"
    "  macro = ; keep 0 ; bandb cutbranch ; stop macro - ;\n"
};

const comhelp endbranchhelp = {
    "End \"bandb\".", nullptr,
    "  endbranch ;\n"
    "Examples:\n"
    "  macro = ; keep 0 ; bandb endbranch ; stop macro - ;\n"
};
