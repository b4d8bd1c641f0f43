// Minima of Sankoff characters found by searches, each for one character alone.
//
// What is calculated is exact for most characters; of the others it is an upper bound, which a
// search may lower.  Trees and settings are put back whatever happens.
#include "data/below.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "search/mult.h"
#include "trees/lightopt.h"
#include "trees/treebuf.h"
#include "trees/treevault.h"
#include <algorithm>
#include <cstring>
#include <vector>

constexpr int LEASTTREES = 5;            // room a search needs
constexpr int SEQUENCES = 3;             // random addition sequences for each character

namespace {
// Trees, activity and weights as the user left them.  The copies outlive the layers that searches lay.
struct userstate {
    std::vector<int> trees;
    std::vector<uint32_t> groups;
    std::vector<uint8_t> active;
    std::vector<int32_t> weights;
    int ntrees = trees_in_mem;
    multsettings mult = mults;
    unsigned char silence = silent;
    userstate()
    {
        for (int t = 0; t < trees_in_mem; ++t) {
            trees.insert(trees.end(), mem_tree[t], mem_tree[t] + nodz);
            groups.insert(groups.end(), treegroup[t], treegroup[t] + treegroupcells);
        }
        for (int c = 0; c < nc; ++c) {
            active.push_back(charcodes[c].active);
            weights.push_back(charcodes[c].weight);
        }
    }
    ~userstate()
    {
        mults = mult;
        silent = silence;
        for (int t = 0; t < ntrees; ++t) {
            memcpy(mem_tree[t], &trees[size_t(t) * size_t(nodz)], size_t(nodz) * sizeof(int));
            memcpy(treegroup[t], &groups[size_t(t) * size_t(treegroupcells)], size_t(treegroupcells) * sizeof(uint32_t));
        }
        trees_in_mem = ntrees;
        chartables_reset();
        for (int c = 0; c < nc; ++c) {
            charcodes[c].active = active[size_t(c)];
            charcodes[c].weight = weights[size_t(c)];
            charcodes[c].recalc = 1;
        }
    }
};
}

// The fewest steps of the only active character on the trees that a search finds.
static long searchminimum(int c)
{
    trees_in_mem = 0;
    precheck(multcom, ';', 0);
    runmult(mults.replic);
    end_of_search();
    optmem();
    long least = charcodes[c].minsteps;
    for (int t = 0; t < trees_in_mem; ++t) {
        packdownpass(mem_tree[t]);
        least = std::min<long>(least, charcodes[c].steps);
    }
    return least;
}

static bool tobesearched(int c)
{
    const charrec &r = charcodes[c];
    return r.active && r.sankoff && !r.continuous && r.informative;
}

// Fills minima by character, -1 where none was searched; returns how many were.
static int searchminima(std::vector<int32_t> *minima)
{
    std::vector<int> todo;
    for (int c = 0; c < nc; ++c)
        if (tobesearched(c)) todo.push_back(c);
    userstate saved;
    silent = 7;
    mults = { SEQUENCES, 1, MULT_TBR, 0, 0, 0 };
    int n = 0;
    for (int c : todo) {
        if (userstop) break;
        chartables_reset();
        for (int i = 0; i < nc; ++i) charcodes[i].active = i == c;
        charcodes[c].weight = 1;
        charcodes[c].recalc = 1;
        charcodes[c].usermin = -1;
        set_charcodes();
        (*minima)[size_t(c)] = int32_t(searchminimum(c));
        ++n;
    }
    return n;
}

void autosearch_all_sank_minima()
{
    if (maxtrees < LEASTTREES) errmsg("To set Sankoff minima with searches must set maxtrees to 5 or more", nullptr);
    if (have_vault && trees_in_vault) {
        warnem("Setting Sankoff minima with searches will discard the trees in vault", nullptr);
        trees_in_vault = 0;
    }
    set_charcodes();
    std::vector<int32_t> minima(size_t(nc), -1);
    int n = searchminima(&minima);
    for (int c = 0; c < nc; ++c)
        if (minima[size_t(c)] >= 0) charcodes[c].usermin = minima[size_t(c)];
    set_charcodes();
    myp("Calculated minimum steps for %i Sankoff characters\n", n);
}
