// The tree-vault: trees that searches and reports should not see, until they are wanted again.
#include "trees/treevault.h"
#include "trees/treebuf.h"
#include "trees/treefile.h"
#include "trees/treemodel.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <algorithm>
#include <cassert>
#include <cstring>

int have_vault, max_vault_trees, trees_in_vault;
int **vault_tree;
uint32_t **vault_treegroup;

void layvault(int room)
{
    have_vault = room > 0;
    max_vault_trees = room;
    vault_tree = room ? zlorows<int>(room, nodz) : nullptr;
    vault_treegroup = room ? zlorows<uint32_t>(room, treegroupcells) : nullptr;
}

void setvault(int trees, int room)
{
    if (ss_recurse_level) errmsg("Cannot reset tree-vault size under recursive sectorial searches", nullptr);
    if (!try_treespace(trees, room)) errmsg("Cannot make tree space for", intvert(trees), "trees", nullptr);
    report_maxtrees();
    joinem("Tree-vault set for ", intvert(max_vault_trees), " trees\n", nullptr);
}

void vaultseterror()
{
    if (have_vault) errmsg("Cannot increase tree-space when tree-vault is set", nullptr);
}

int give_vault_room() { return datatag && have_vault ? max_vault_trees : 0; }

void checkvault()
{
    assert(have_vault == (max_vault_trees > 0) && trees_in_vault >= 0 && trees_in_vault <= max_vault_trees);
    for (int t = 0; t < trees_in_vault; ++t) checktree(vault_tree[t]);
}

// --- tvault ---

namespace {
// Where trees come from and go to: the buffer and the vault, or the other way round.
struct shelf {
    int **tree;
    uint32_t **groups;
    int *held;
    int  room;
    const char *kind;                // of its lists
};

void copytree(const shelf &to, int place, const shelf &from, int t)
{
    memcpy(to.tree[place], from.tree[t], sizeof(int) * nodz);
    memcpy(to.groups[place], from.groups[t], sizeof(uint32_t) * treegroupcells);
}

uint8_t *readtrees(const shelf &from)
{
    uint8_t *list = zlo<uint8_t>(*from.held);
    if (gotc('/')) list[*from.held - 1] = LISTED;
    else if (!read_scope(list, 0, *from.held, from.kind, nullptr)) std::fill(list, list + *from.held, LISTED);
    return list;
}

// Copies the trees listed as far as there is room; returns how many.  The list then tells which stay.
int copytrees(const shelf &from, const shelf &to, uint8_t *list)
{
    int copied = 0;
    for (int t = 0; t < *from.held; ++t) {
        bool goes = list[t] == LISTED && *to.held < to.room;
        if (goes) copytree(to, (*to.held)++, from, t);
        list[t] = goes ? UNLISTED : LISTED;
        copied += goes;
    }
    recalctree = 1;
    return copied;
}

shelf buffer() { return { mem_tree, treegroup, &trees_in_mem, maxtrees, "tree" }; }
shelf vault()  { return { vault_tree, vault_treegroup, &trees_in_vault, max_vault_trees, "vault-tree" }; }

// Says how far it went; with nothing moved, the command failed.
void nomoreroom(const char *text, int room, bool nothing)
{
    std::string said = text + std::to_string(room) + ")\n";
    if (nothing) errmsg(said.c_str(), nullptr);
    joinem(said.c_str(), nullptr);
}

void placetrees()
{
    constexpr char FULL[] = "Cannot store more trees in vault (reached max., ";
    if (!trees_in_mem) errmsg("No trees to store in vault", nullptr);
    uint8_t *list = readtrees(buffer());
    int asked = countlist(list, trees_in_mem);
    if (asked && trees_in_vault >= max_vault_trees) nomoreroom(FULL, max_vault_trees, true);
    int moved = copytrees(buffer(), vault(), list);
    effect_tree_choice(list);
    if (moved < asked) nomoreroom(FULL, max_vault_trees, false);
    joinem("Placed ", intvert(moved), " trees in vault (vault now with ", intvert(trees_in_vault), " trees)\n", nullptr);
}

void gettrees()
{
    if (!trees_in_vault) errmsg("No trees to get from vault", nullptr);
    uint8_t *list = readtrees(vault());
    int asked = countlist(list, trees_in_vault);
    if (asked && trees_in_mem >= maxtrees)
        nomoreroom("Cannot store more trees in memory (reached max., ", maxtrees, true);
    int moved = copytrees(vault(), buffer(), list), kept = 0;
    for (int t = 0; t < trees_in_vault; ++t) {
        if (list[t] != LISTED) continue;
        if (t != kept) copytree(vault(), kept, vault(), t);
        ++kept;
    }
    trees_in_vault = kept;
    if (moved < asked) nomoreroom("Cannot retrieve more trees from vault (reached maxtrees, ", maxtrees, false);
    joinem("Retrieved ", intvert(moved), " trees from vault (", intvert(trees_in_mem), " trees now in memory)\n", nullptr);
}

// As a command that reads them: in the buffer once more, after the vault is gone.
void showtrees()
{
    joinem("Tread '", intvert(trees_in_vault), " trees from vault'\n", nullptr);
    for (int t = 0; t < trees_in_vault; ++t) {
        std::string text;
        savetree(vault_tree[t], nt, &text);
        text += t + 1 < trees_in_vault ? "*\n" : ";\n";
        spewer(text.c_str());
    }
}

void describevault()
{
    if (!give_vault_room()) {
        joinem("Tree-vault not set (set with \"hold N/V\")\n", nullptr);
        return;
    }
    joinem("Tree-vault with ", intvert(trees_in_vault), " trees (max. storage ", intvert(max_vault_trees), ")\n", nullptr);
}
}

void tvaultcom()
{
    if (ss_recurse_level) errmsg("Cannot access tree-vault during recursive sectorial searches", nullptr);
    int c = peep();
    if (c == ';') return describevault();
    if (!strchr("><-*", c)) errarg(c);
    if (!give_vault_room()) errmsg("Tree-vault is not set!", nullptr);
    gtnb();
    if (c == '>') placetrees();
    else if (c == '<') gettrees();
    else if (c == '*') showtrees();
    else {
        trees_in_vault = 0;
        joinem("Cleared tree-vault\n", nullptr);
    }
}

const comhelp tvaulthelp = {
    "Put trees aside, and take them back.", nullptr,
    "  > L ;   move the trees of list L (all, by default) to the vault\n"
    "  >/ ;    move the last tree\n"
    "  < L ;   move those of list L of the vault back to memory\n"
    "  </ ;    the last one of the vault\n"
    "  * ;     show the trees in the vault, as text\n"
    "  - ;     discard them\n"
    "  ;       tell how many there are\n"
    "Trees keep their groups.  The vault is made with \"hold N/V\", which also gives\n"
    "its room; while it exists, the room for trees changes only in that way.\n"
    "Examples:\n"
    "  hold 100/20 ; tvault > 0.4 ; tvault </ ;\n"
    "  tvault ;\n"
};
