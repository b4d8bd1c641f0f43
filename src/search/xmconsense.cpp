// The consensus of the hits of a driven search: it is compared with that of the hits before until it no longer loses
// groups, which is one stabilization; what several of them have in common is the estimate.
//
// Trees are collapsed by swapping, which wants them in user numbers on the image as it stands.
#include "search/xmult.h"
#include "search/below.h"
#include "search/keeptrees.h"
#include "data/matrix.h"
#include "kernel/driver.h"
#include "kernel/output.h"
#include "trees/collapse.h"
#include "trees/implied.h"
#include "trees/pack.h"
#include "trees/scratch.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <cmath>

int consensus_nodes(const int *tree) { return countnodes(tree); }

static uint8_t *excludedtaxa()
{
    uint8_t *excluded = zhi<uint8_t>(size_t(nt));
    for (int t = 0; t < nt; ++t) excluded[t] = !taxact[t] || (!contaxex.empty() && contaxex[size_t(t)]);
    return excluded;
}

// Of the trees from first on, within the limit; false: there are none.
static bool consensusoftrees(int first, int *result)
{
    hiscratch scratch;
    double limit = (xm.target < NOSCORE ? xm.target : xm.bescore) + (dopiwe ? XMARGIN : 0);
    int **trees = hi<int *>(size_t(trees_in_mem - first) + 1), n = 0;
    for (int t = first; t < trees_in_mem; ++t) {
        if (treechk[t].score > limit) continue;
        trees[n] = hi<int>(size_t(nodz));
        std::copy(mem_tree[t], mem_tree[t] + nodz, trees[n]);
        for (int k = 0; k < hinod; ++k)
            if (k != ntax) trees[n][k] &= NODEBITS;
        unpack_one_tree(trees[n]);
        reset_nodz(trees[n++]);
    }
    if (!n) return false;
    int jaked = jaking;
    jaking = 2;
    do_strict_for_consensus_stabilization(trees, result, n, nullptr, excludedtaxa());
    jaking = jaked;
    return true;
}

static void common(int *a, int *b, int *result)
{
    hiscratch scratch;
    int *pair[] = { a, b };
    do_strict_for_jak(pair, result, 2, nullptr, excludedtaxa(), 0);
}

// A consensus only loses groups until it is stable.
static bool conisstable()
{
    if (!consensusoftrees(xm.conchecked, xm.curcontree) && !consensusoftrees(0, xm.curcontree)) return false;
    xm.anycons = true;
    if (xm.firstcontry) {
        std::copy(xm.curcontree, xm.curcontree + nodz, xm.prevcontree);
        xm.firstcontry = false;
        return false;
    }
    common(xm.prevcontree, xm.curcontree, xm.tmpcons);
    if (consensus_nodes(xm.tmpcons) == consensus_nodes(xm.prevcontree)) return true;
    std::copy(xm.tmpcons, xm.tmpcons + nodz, xm.prevcontree);
    return false;
}

static void global_consense(int index)
{
    if (!index) std::copy(xm.prevcontree, xm.prevcontree + nodz, xm.globcontree);
    else {
        common(xm.prevcontree, xm.globcontree, xm.tmpcons);
        std::copy(xm.tmpcons, xm.tmpcons + nodz, xm.globcontree);
    }
}

static void tellconsense(int nodes, bool stable)
{
    if (!xmult_verbose) return;
    myp("   Calculated consensus (%i nodes) (%s)", nodes, stable ? "stable" : "not stable");
    if (xm.stabilized_consensus)
        myp("   Consensus stabilized %i times%s", xm.stabilized_consensus, stable ? "" : " (current is not yet stable)");
    else myp("   Consensus not yet stabilized");
    if (xm.stabilized_consensus >= xmult_consense && xm.hitsdone >= xmult_hits) myp("   No need to continue searching...");
    else myp("   Next consensus calculation: %i more hits", xm.nexcon);
}

void startconsense()
{
    xm.stabilized_consensus = xm.conhitsdone = xm.unconshits = xm.conchecked = 0;
    xm.nexcon = xmult_conbase;
    xm.firstcontry = true;
}

bool consense_hit()
{
    if (!xmult_consense) return false;
    ++xm.conhitsdone;
    if (++xm.unconshits < xm.nexcon) return false;
    bool stable = conisstable();
    xm.unconshits = 0;
    xm.conchecked = trees_in_mem;
    int nodes = xm.anycons ? consensus_nodes(xm.prevcontree) : 0;
    if (stable) {
        xm.indnodz[std::min(xm.stabilized_consensus, xmult_consense - 1)] = nodes;
        xm.conhitsdone = 0;
        global_consense(xm.stabilized_consensus++);
        xm.firstcontry = true;
        xm.nexcon = xmult_conbase;
    } else {
        xm.nexcon = std::max(xmult_conbase, xm.conhitsdone * xmult_confactor / 100);
        if (xmult_conmax) xm.nexcon = std::min(xm.nexcon, xmult_conmax);
    }
    tellconsense(nodes, stable);
    return true;
}
