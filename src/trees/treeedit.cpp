// Trees changed by hand: a node goes elsewhere, a clade is rooted anew, branches collapse.  The tree
// viewer edits through this command.
#include "trees/implied.h"
#include "trees/lightopt.h"
#include "trees/scratch.h"
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
#include <algorithm>
#include <cctype>
#include <cstring>

static constexpr char WANTNUMBER[] = "Give number/node of tree to edit";

// --- What can be done to a tree ---

// The node that hangs beside n; -1 when there are several.
static int onlysister(const int *anc, int n)
{
    int found = -1;
    for (int m = 0; m < anc[nt]; ++m)
        if (m != nt && m != n && anc[m] == anc[n]) {
            if (found >= 0) return -1;
            found = m;
        }
    return found;
}

static bool isbelow(const int *anc, int n, int top)
{
    while (n != top && n != nt) n = anc[n];
    return n == top;
}

// Moves all that hangs from one node to another.
static void rehang(int *anc, int from, int to, int butnot)
{
    for (int m = 0; m < anc[nt]; ++m)
        if (m != nt && m != butnot && anc[m] == from) anc[m] = to;
}

// Joins node n to the branch above a node outside of its clade; above the root for the root.
//
// An ancestor left with a single descendant vanishes, and its number is free for the new node; other
// trees have a number to spare.
static void movenode(int *anc, int n, int target)
{
    int above = anc[n], sister = onlysister(anc, n), node;
    if (sister == target) return;                    // there it is
    anc[n] = 0;
    if (sister < 0) node = anc[nt]++;
    else if (above != nt) {
        anc[sister] = anc[above];
        node = above;
    }
    else {                                           // the sister becomes the root
        rehang(anc, sister, nt, -1);
        node = sister;
    }
    if (target == nt) {
        anc[node] = 0;
        rehang(anc, nt, node, -1);
        anc[node] = anc[n] = nt;
    }
    else {
        anc[node] = anc[target];
        anc[target] = anc[n] = node;
    }
    reset_nodz(anc);
}

// --- Reading ---

static int readtreenumber()
{
    long t = gtnu();
    if (t < 0) errmsg(WANTNUMBER, nullptr);
    if (!isatree(t)) errmsg("No tree number", intvert(t), "(only", intvert(trees_in_mem), "trees in memory)", nullptr);
    return int(t);
}

static int checknode(int tree, long n)
{
    const int *anc = mem_tree[tree];
    if (n < 0 || n >= anc[nt] || (n != nt && !anc[n])) errmsg("No node", intvert(n), "in tree", intvert(tree), nullptr);
    return int(n);
}

static int readnumber(int tree)
{
    long n = gtnu();
    if (n < 0) errmsg(WANTNUMBER, nullptr);
    return checknode(tree, n);
}

// A node by number, or a taxon by name; several taxa, named by what they begin with or as a group, are
// refused with a text.
static int readnode(int tree, const char *several)
{
    if (isdigit(peep())) return readnumber(tree);
    if (peep() == ';') errmsg(WANTNUMBER, nullptr);
    hiscratch scratch;
    uint8_t *list = zhi<uint8_t>(nt);
    if (gotc('{')) readgroups(list, 0, nt, "taxon", LISTED);
    else {
        constexpr char DOTS[] = "...";
        int t = rdtax();
        size_t length = strlen(cmdname), dots = strlen(DOTS);
        if (t >= 0) list[t] = LISTED;
        else if (length > dots && !strcmp(cmdname + length - dots, DOTS)) {
            cmdname[length - dots] = 0;
            for (int i = 0; i < nt; ++i)
                if (namtrun(cmdname, taxname[i])) list[i] = LISTED;
        }
        else errmsg("No taxon named", cmdname, nullptr);
    }
    int named = countlist(list, nt);
    if (named > 1) errmsg(several, nullptr);
    if (!named) errmsg(WANTNUMBER, nullptr);
    return checknode(tree, int(std::find(list, list + nt, LISTED) - list));
}

// --- The command ---

static const char *nodetext(int node) { return node < nt ? taxname_out(node) : intvert(node); }

static void showscore(const int *tree)
{
    double score = packdownpass(tree);
    const char *format = dopiwe ? "Score: %f\n" : num_continuous_chars ? "Score: %.3f\n" : "Score: %.0f\n";
    char text[400];
    snprintf(text, sizeof text, format, score);
    joinem(text, nullptr);
}

static void refusecollapse(int node)
{
    if (node < nt) errmsg("Cannot \"collapse\" a terminal taxon -", taxname_out(node), nullptr);
}

static void store(int tree, const int *edited)
{
    std::copy(edited, edited + nodz, mem_tree[tree]);
    recalctree = 1;
}

static void collapsenodes(int tree, const int *marks)
{
    bool any = false;
    for (int n = nt; n < mem_tree[tree][nt]; ++n) {
        if (!marks[n]) continue;
        if (any) joinem(" ", intvert(n), nullptr);
        else joinem("Tree ", intvert(tree), ": deleting node(s) ", intvert(n), nullptr);
        any = true;
    }
    joinem("\n", nullptr);
    delnodz(mem_tree[tree], marks);
    recalctree = 1;
}

// Where the node goes tells what happens to it.
static void takenode(int tree, int n, int target)
{
    hiscratch scratch;
    int *anc = hi<int>(nodz), *marks = zhi<int>(nodz);
    std::copy(mem_tree[tree], mem_tree[tree] + nodz, anc);
    if (n == target || n == nt) myerr("Cannot move %i to %i", n, target);
    if (anc[n] == target) {
        refusecollapse(n);
        marks[n] = 1;
        return collapsenodes(tree, marks);
    }
    if (isbelow(anc, target, n)) {
        joinem("Tree ", intvert(tree), ": rerooting clade ", intvert(n), " on ", nodetext(target), "\n", nullptr);
        rerootclade(anc, n, target);
    }
    else {
        joinem("Tree ", intvert(tree), ": moving ", nodetext(n), nullptr);
        joinem(" to ", nodetext(target), "\n", nullptr);
        movenode(anc, n, target);
    }
    store(tree, anc);
}

// - L: nodes that collapse.
static void readcollapse(int tree)
{
    hiscratch scratch;
    int *marks = zhi<int>(nodz);
    do {
        int n = readnode(tree, "Cannot specify multiple taxa to move...");
        refusecollapse(n);
        if (n == nt) myerr("Cannot move %i to %i", n, n);
        marks[n] = 1;
    } while (peep() != ';');
    collapsenodes(tree, marks);
}

void editcom()
{
    notreeerror();
    bool numbers = gotc(']'), show = true;
    optmem();                                // locks its layer: before any scratch of this command
    int tree = readtreenumber();
    if (!numbers && gotc('-')) readcollapse(tree);
    else {
        int n = numbers ? readnumber(tree) : readnode(tree, "Cannot specify multiple taxa to move...");
        int target = numbers ? readnumber(tree) : readnode(tree, "Cannot specify multiple taxa as destination...");
        if (numbers) show = gtnu() != 0;
        takenode(tree, n, target);
    }
    if (show) showscore(mem_tree[tree]);
}

const comhelp edithelp = {
    "Change a tree in memory.", nullptr,
    "  T N D ;       in tree T, node N goes to node D: its clade becomes the sister\n"
    "                of D; or, when D is in the clade, the clade is rooted on D; or,\n"
    "                when D is the ancestor of N, the branch of N collapses\n"
    "  T - L ;       the branches of the nodes listed collapse\n"
    "  ] T N D S ;   the same as the first, with numbers only; S is 0 to show no\n"
    "                score\n"
    "Nodes are numbers or names of taxa.  They have new numbers after each change.\n"
    "The score of the changed tree is shown.\n"
    "Examples:\n"
    "  edit 0 3 1 ;\n"
    "  edit ] 0 5 1 0 ;\n"
};
