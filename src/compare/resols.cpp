// compare/resols.cpp: the command resols, how single trees resolve the polytomies of their consensus.
//
// Each branch of a polytomy is the same group in all trees, so one of its taxa stands for it: what a
// tree leaves of its other taxa is its resolution, and two are the same when these trees are.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>
#include "compare/below.h"
#include "compare/consread.h"
#include "compare/groups.h"
#include "compare/strict.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/commands.h"
#include "kernel/comhelps.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"

const comhelp resolshelp = {
    "Resolutions of the polytomies of the strict consensus.", nullptr,
    "  resols N / L ;       draw the consensus of trees N, without taxa L, and the\n"
    "                       different resolutions of each of its polytomies in the\n"
    "                       trees.  Branches with several taxa are shown as Node_n\n"
    "  resols & N / L ;     list how many there are of each polytomy\n"
    "  resols [J] N / L ;   only the polytomy at node J (0 for all of them)\n"
    "  resols [J] N >G ;    and put the trees of each resolution in groups of trees,\n"
    "                       the first in group G\n"
    "  resols [J] N <G ;    and take them out of these groups (a group not defined\n"
    "                       before has all trees)\n"
    "Trees are compared as they stand, without temporary collapsing.  The consensus\n"
    "must have a basal dichotomy with a terminal as first split.\n"
    "Examples:\n"
    "  resols ;\n"
    "  resols & 0.5 ;\n"
};

namespace {
struct resolutions {
    int node;                        // of the consensus
    int ways;                        // its branches
    std::vector<int *> trees;        // the distinct ones
    int *which;                      // per tree in memory, its resolution; -1 = none, or not in the list
};

// The names of the terminals that stand for branches, while these are drawn.
struct branchnames {
    int names = usetaxnames, cut = max_namesize_on_output;
    char **texts = lo<char *>(nt);
    branchnames() { std::copy(taxname, taxname + nt, texts); }
    void name(int t, const std::string &text)
    {
        char *copy = lo<char>(text.size() + 1);
        memcpy(copy, text.c_str(), text.size() + 1);
        taxname[t] = copy;
    }
    ~branchnames()
    {
        if (datonlytag) std::copy(texts, texts + nt, taxname);
        usetaxnames = names;
        max_namesize_on_output = cut;
    }
};
}

static int readnode()
{
    if (!gotc('[')) return 0;
    long n = gtnu();
    if (n < 0 || !gotc(']')) errmsg("[N] must refer to an internal node in consensus", nullptr);
    return int(std::min(n, long(nodz)));
}

static bool firstsplitisterminal(const int *tree)
{
    mkoptlist(nodlist, tree);
    return nodfork[nt] == 2 && (lef[nt] < nt || sis[lef[nt]] < nt);
}

// One of the taxa of each branch of the node; keep marks them.
static int representatives(const int *consensus, int node, const int *one, uint8_t *keep)
{
    int ways = 0;
    for (int n = 0; n < consensus[nt]; ++n) {
        if (n == nt || !consensus[n] || consensus[n] != node) continue;
        keep[one[n]] = 1;
        ++ways;
    }
    return ways;
}

static resolutions findresolutions(const int *consensus, int node, const int *one, const consinput &in)
{
    resolutions r = { node, 0, {}, lo<int>(trees_in_mem) };
    uint8_t *keep = zlo<uint8_t>(nt);
    r.ways = representatives(consensus, node, one, keep);
    int *tree = lo<int>(nodz), done = 0;
    for (int t = 0; t < trees_in_mem && !have_some_intrupt(); ++t) {
        r.which[t] = -1;
        if (!selectedtree(in.list, t)) continue;
        dildit(done++, in.ntrees, "Finding resolutions");
        memcpy(tree, mem_tree[t], sizeof(int) * nodz);
        if (!prunetaxa(tree, keep) || tree[nt] == nt + 1) continue;
        auto same = [&](const int *other) { return equal_tree(other, tree); };
        size_t at = size_t(std::find_if(r.trees.begin(), r.trees.end(), same) - r.trees.begin());
        if (at == r.trees.size()) {
            int *copy = lo<int>(nodz);
            memcpy(copy, tree, sizeof(int) * nodz);
            r.trees.push_back(copy);
        }
        r.which[t] = int(at);
    }
    return r;
}

static void drawresolutions(const int *consensus, const resolutions &r, const int *one)
{
    branchnames names;
    if (!usetaxnames)
        for (int t = 0; t < nt; ++t) names.name(t, std::to_string(t));
    for (int n = nt + 1; n < consensus[nt]; ++n)
        if (consensus[n] == r.node) names.name(one[n], "Node_" + std::to_string(n));
    usetaxnames = 1;
    max_namesize_on_output = 0;
    for (size_t i = 0; i < r.trees.size(); ++i)
        drawconsensus(r.trees[i], "Node " + std::to_string(r.node) + ", resolution " + std::to_string(i) + ":");
}

static void listresolutions(const resolutions &r)
{
    myp("%9i%15s%18i", r.node, (std::to_string(r.ways) + "-tomy").c_str(), int(r.trees.size()));
}

// The trees of each resolution, into a group of its own or out of it.
static void grouptrees(const resolutions &r, int sign, int first, const uint8_t *list)
{
    int groups = int(r.trees.size());
    if (first + groups > num_treegroups) errmsg("Only", intvert(num_treegroups), "can be defined", nullptr);
    for (int i = 0; i < groups; ++i) {
        int g = first + i;
        bool isnew = !(treegroupdef[g / 32] >> g % 32 & 1);
        if (isnew) empty_treegroup(g);
        snprintf(treegroupname[g], size_t(Namesize), sign == '>' ? "Resol_%i_nd_%i" : "Not_Resol_%i_nd_%i", i, r.node);
        for (int t = 0; t < trees_in_mem; ++t) {
            bool has = r.which[t] == i;
            if (sign == '>' ? has : isnew && !has && selectedtree(list, t)) add_to_treegroup(t, g);
            else if (sign == '<' && has) treegroup[t][g / 32] &= ~(1u << g % 32);
        }
    }
    myp(sign == '>' ? "Added trees resolving node %i to %i groups (starting at %i)"
                    : "Removed trees resolving node %i from %i groups (starting at %i)", r.node, groups, first);
    command_listed(groups);
}

// ">G" or "<G" behind the list; 0 for neither.
static int readgroupsign(int node, int *group)
{
    int sign = peep();
    if (sign != '>' && sign != '<') return 0;
    gtnb();
    if (!node) errmsg("Trees can be put in groups only when doing a single node", nullptr);
    long g = gtnu();
    if (g < 0) errarg(peep());
    if (g >= num_treegroups) errmsg("Only", intvert(num_treegroups), "can be defined", nullptr);
    *group = int(g);
    return sign;
}

static void drawnumbered(const int *consensus, const consinput &in)
{
    for (int n = nt; n < consensus[nt]; ++n) labelnode(n, std::to_string(n).c_str());
    drawconsensus(consensus, "Consensus tree (strict, of " + std::to_string(in.ntrees) + " trees)" + sometrees(in.ntrees));
}

void resolscom()
{
    bool listing = gotc('&');
    int node = readnode(), group = 0;
    listing |= gotc('&');
    notreeerror();
    no_temp_colla_warn("To find resolutions,");
    excluding_taxa = 0;
    consinput in = readconsensus();
    int sign = readgroupsign(node, &group);
    int *consensus = lo<int>(nodz), *sizes = lo<int>(nodz), *one = lo<int>(nodz);
    dostrict(mem_tree, consensus, trees_in_mem, in.list, in.excluded, 0);
    if (!firstsplitisterminal(consensus))
        errmsg("To display resolutions, strict consensus must have\n"
               "a basal dichotomy, with a terminal as first split", nullptr);
    if (node && (node < nt || node >= consensus[nt]))
        errmsg("[N] must refer to an internal node in consensus", nullptr);
    calcusizes(consensus, sizes, one, in.excluded);
    mkoptlist(nodlist, consensus);
    std::vector<int> polytomies;
    for (int n = nt; n < consensus[nt]; ++n)
        if (node ? n == node : nodfork[n] > 2) polytomies.push_back(n);
    if (!node && !listing) drawnumbered(consensus, in);
    if (listing) {
        myp("     Node        Polytomy        Resolutions");
        myp("    ------      -----------     ------------");
    }
    for (int n : polytomies) {
        char *mark = lomark();
        resolutions r = findresolutions(consensus, n, one, in);
        if (listing) listresolutions(r);
        else drawresolutions(consensus, r, one);
        if (sign) grouptrees(r, sign, group, in.list);
        loset(mark);
    }
}
