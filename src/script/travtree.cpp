// Commands for each node met on a walk through a tree.
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/levels.h"
#include "kernel/output.h"
#include "script/below.h"
#include "script/expr.h"
#include "script/loops.h"
#include "script/macmem.h"
#include "script/repeat.h"
#include "script/stream.h"
#include "script/vars.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

static int plotsequence;                 // nodes are met in the order of diagrams; starts at 0
static bool skips_descendants;           // of the node just met

using nodes = std::vector<int>;

static nodes descendants(const int *tree, int node)
{
    nodes list;
    for (int n = 0; n < tree[nt]; ++n)
        if (n != nt && tree[n] == node && (n > nt || tree[n])) list.push_back(n);
    return list;
}

// The nodes of the clade, each before its descendants.  By ascending numbers, or as diagrams show them.
static nodes upwards(const int *tree, int start)
{
    nodes list;
    if (plotsequence) {
        int n = laytree(tree, start);
        list.assign(drawat, drawat + n);
        return list;
    }
    nodes stack = { start };
    while (!stack.empty()) {
        int n = stack.back();
        stack.pop_back();
        list.push_back(n);
        nodes next = descendants(tree, n);
        stack.insert(stack.end(), next.rbegin(), next.rend());
    }
    return list;
}

// Each node behind its descendants, which keep their order.
static nodes downwards(const int *tree, int start)
{
    nodes list, first = upwards(tree, start), open;
    for (int n : first) {
        while (!open.empty() && tree[n] != open.back()) { list.push_back(open.back()); open.pop_back(); }
        open.push_back(n);
    }
    list.insert(list.end(), open.rbegin(), open.rend());
    return list;
}

static nodes torootfrom(const int *tree, int n)
{
    nodes list = { n };
    while (n != nt) list.push_back(n = tree[n]);
    return list;
}

// Up to the node that both have in common, and to the other.
static nodes pathbetween(const int *tree, int from, int to)
{
    nodes a = torootfrom(tree, from), b = torootfrom(tree, to);
    int common = nt;
    while (a.size() && b.size() && a.back() == b.back()) {
        common = a.back();
        a.pop_back();
        b.pop_back();
    }
    a.push_back(common);
    a.insert(a.end(), b.rbegin(), b.rend());
    return a;
}

enum walkkind { WALK_UP, WALK_DOWN, WALK_BELOW, WALK_PATH, WALK_DES };
struct walkrow { const char *word; walkkind kind; };
static const walkrow walks[] = {
    { "up", WALK_UP }, { "down", WALK_DOWN }, { "below", WALK_BELOW }, { "path", WALK_PATH }, { "des", WALK_DES },
};

static walkkind readkind()
{
    rdcmd();
    for (const walkrow &w : walks)
        if (*cmdname && namtrun(cmdname, w.word)) return w.kind;
    errmsg("Unrecognized type of travel:", cmdname, nullptr);
}

static bool readterms()
{
    if (clean_peep() != 't') return false;
    rdcmd();
    if (!namtrun(cmdname, "terms")) errmsg("Unrecognized type of travel:", cmdname, nullptr);
    return true;
}

static int readnode(const int *tree, int t)
{
    int n = imacnu();
    if (n < 0 || n >= tree[nt] || (n != nt && !tree[n])) errmsg("No node", intvert(n), "in tree", intvert(t), nullptr);
    return n;
}

static void walk(const nodes &tree, const nodes &list, bool upward, int variable, const std::string &commands)
{
    for (size_t i = 0; i < list.size(); ++i) {
        int n = list[i];
        look_for_break();
        set_value(variable, n);
        skips_descendants = false;
        fake_cmd_loop_allrecons(commands.c_str(), TRAVELLING);
        if (nodz != int(tree.size())) errmsg("The tree being travelled is no longer in memory", nullptr);
        if (loop_was_ended || userstop) return;
        if (!skips_descendants || !upward) continue;
        auto below = [&](int m) {
            while (m != n && m != nt) m = tree[size_t(m)];
            return m == n;
        };
        while (i + 1 < list.size() && below(list[i + 1])) ++i;
    }
}

static void setsequence(int on)
{
    plotsequence = on;
    if (report_status)
        joinem(on ? "Using" : "Not using", " the plotting sequence of nodes in tree-travelling\n", nullptr);
}

void travtreecom()
{
    scriptcommand();
    int c = clean_peep();
    if (c == '+' || c == '-') { gtch(); setsequence(c == '+'); return; }
    if (c == '=') { gtch(); set_nesting("tree-traversing"); return; }
    static const bodywords words = { "endtrav", { "travtree", nullptr } };
    nestedrun here;
    walkkind kind = readkind();
    bool terms = readterms();
    int t = imacnu();
    notreeerror();
    if (!isatree(t)) numtreeerror(t);
    nodes tree(mem_tree[t], mem_tree[t] + nodz);
    int from = readnode(tree.data(), t), to = kind == WALK_PATH ? readnode(tree.data(), t) : -1;
    bool without = gotc('-');
    int variable = get_varnum(';');
    std::string commands = read_body(words);

    nodes list;
    switch (kind) {
        case WALK_UP:    list = upwards(tree.data(), from); break;
        case WALK_DOWN:  list = downwards(tree.data(), from); break;
        case WALK_BELOW: list = torootfrom(tree.data(), from); break;
        case WALK_PATH:  list = pathbetween(tree.data(), from, to); break;
        case WALK_DES:   list = descendants(tree.data(), from); break;
    }
    bool internalonly = !terms && (kind == WALK_UP || kind == WALK_DOWN);
    std::erase_if(list, [&](int n) { return (without && n == from) || (internalonly && n < nt); });
    set_the_skipdes = [] { skips_descendants = true; };
    bool outer = skips_descendants;
    walk(tree, list, kind == WALK_UP, variable, commands);
    skips_descendants = outer;
}

const comhelp travtreehelp = {
    "Run commands for the nodes of a tree.", nullptr,
    "  travtree up T N X COMMANDS endtrav         internal nodes above node N of tree T, each\n"
    "                                             before its descendants; X is a variable\n"
    "  travtree down T N X COMMANDS endtrav       the same, each behind its descendants\n"
    "  travtree up terms T N X ... endtrav        terminals, too\n"
    "  travtree below T N X COMMANDS endtrav      from node N to the root\n"
    "  travtree path T N M X COMMANDS endtrav     from node N to node M\n"
    "  travtree des T N X COMMANDS endtrav        the descendants of node N\n"
    "  travtree + ;                               nodes come in the order of diagrams\n"
    "  travtree - ;                               they come by their numbers (the default)\n"
    "  travtree = N ;                             such commands nest N deep (default 5)\n"
    "X takes the number of each node; with a '-' before X, node N itself is left out.\n"
    "Among the commands, \"skipdes\" leaves out what is above the current node, and\n"
    "\"killtrav\" ends.\n"
    "Examples:\n"
    "  macro = ; var: node ; travtree below 0 3 node quote 'node' ; endtrav ;\n"
    "  travtree up terms 0 root node quote 'node' ; endtrav macro - ;\n"
};
