// Random trees, and random choices among what trees leave open.
#include "trees/scratch.h"
#include "trees/treebuf.h"
#include "trees/treefile.h"
#include "trees/treemodel.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "kernel/random.h"
#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdlib>

static int below(int n) { return int(rand() / (RAND_MAX + 1.0) * n); }      // 0..n-1

static void shuffle(int *list, int n)
{
    for (int k = n; k > 1; --k) std::swap(list[k - 1], list[below(k)]);
}

// The outgroup hangs from the root, so that each branch of the tree without a root is that above
// one node: all but the root and the outgroup.
//
// Joining the taxon to the node above the branch, in place of a new node upon it, is what is left when
// the new node collapses.
static void randomtree(int *anc, int percent, int widest)
{
    hiscratch scratch;
    int *taxa = hi<int>(nt), *branch = hi<int>(nodz), *fork = zhi<int>(nodz), n = 0, branches = 1, next = nt + 1;
    for (int t = 0; t < nt; ++t)
        if (taxact[t] == 1 && t != outgroup) taxa[n++] = t;
    shuffle(taxa, n);
    std::fill(anc, anc + nodz, 0);
    anc[outgroup] = anc[taxa[0]] = nt;
    branch[0] = taxa[0];
    fork[nt] = 2;
    for (int i = 1; i < n; ++i) {
        int t = taxa[i], node = branch[below(branches)], above = anc[node];
        bool collapses = percent && below(100) < percent && fork[above] < widest;
        if (collapses) {
            anc[t] = above;
            ++fork[above];
        }
        else {
            anc[next] = above;
            anc[node] = anc[t] = next;
            fork[next] = 2;
            branch[branches++] = next++;
        }
        branch[branches++] = t;
    }
    anc[nt] = next;
    reset_nodz(anc);
}

// Room for so many more, and for making each; says when there is less.
static int makeroom(long more)
{
    constexpr int NODEARRAYS = 6;            // taken by randomtree and what it calls
    long wanted = trees_in_mem + more;
    if (wanted <= maxtrees) return int(more);
    size_t scratch = NODEARRAYS * sizeof(int) * size_t(nodz);
    int most = possible_maxtrees(int(std::min(wanted, long(INT_MAX) - 1)), scratch);
    if (most <= trees_in_mem) fullerr();
    if (most < wanted)
        mywarn("Not enough RAM to store %i trees; only %i will be created", int(std::min(more, long(INT_MAX))),
               most - trees_in_mem);
    if (most > maxtrees) reset_maxtrees(most);
    return most - trees_in_mem;
}

static void newtrees()
{
    constexpr long NOLIMIT = INT_MAX;
    long n = gtnu();
    if (n <= 0) errmsg("Give number of random trees to create", nullptr);
    long percent = isdigit(peep()) ? gtnu() : 0, widest = isdigit(peep()) ? gtnu() : NOLIMIT;
    if (percent > 100) myerr("Probability of polytomy must be 0 - 100");
    int trees = makeroom(n);
    treesink sink;
    sink.name = "random_trees";
    randinit();
    for (int i = 0; i < trees && !have_some_intrupt(); ++i) {
        hiscratch scratch;
        int *anc = hi<int>(nodz);
        randomtree(anc, int(percent), int(std::min(widest, NOLIMIT)));
        sinktree(&sink, anc);
        dildit(i, trees, "Creating random trees");
    }
    erdil();
    recalctree = 1;
    joinem(intvert(sink.read), " random trees created\n", nullptr);
}

static void randomorder()
{
    int *order = lo<int>(trees_in_mem);
    for (int t = 0; t < trees_in_mem; ++t) order[t] = t;
    randinit();
    shuffle(order, trees_in_mem);
    reorder_trees(order);
    spewem("Order of trees randomized", nullptr);
}

static void resolveall()
{
    randinit();
    for (int t = 0; t < trees_in_mem; ++t) dichotomize_tree(mem_tree[t], rand());
    recalctree = 1;
    spewem("Dichotomized non-binary trees", nullptr);
}

void randtreescom()
{
    nodaterror("creating random trees");
    int c = peep();
    if (c != '/' && c != '*') {
        if (c != ';' && !isdigit(c)) errarg(c);
        return newtrees();
    }
    gtnb();
    notreeerror();
    if (c == '/') randomorder();
    else resolveall();
}

const comhelp randtreeshelp = {
    "Create random trees, or randomize those in memory.", nullptr,
    "  N J K ;   create N trees of the active taxa, rooted on the outgroup.  Taxa\n"
    "            are added in random order, at each branch with the same\n"
    "            probability.  With probability J (0 to 100, default 0) the new\n"
    "            node then collapses, unless more than K branches (default any\n"
    "            number) would leave the same node\n"
    "  / ;       put the trees in memory in random order\n"
    "  * ;       resolve their polytomies at random\n"
    "Choices depend on the seed (see \"rseed\").  The new trees are a group.\n"
    "Examples:\n"
    "  randtrees 10 20 4 ;\n"
    "  randtrees / ;\n"
};
