// Random matrices, and data that evolve along a tree.
//
// The model of change is the simplest one (Jukes & Cantor 1969, for any number of states): along
// a branch a state stays or gives way to one of the others, all equally likely.
#include "data/xread.h"
#include "data/below.h"
#include "data/datamem.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "data/rows.h"
#include "data/symbols.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "kernel/random.h"
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

static double uniform()     { return rand() / (RAND_MAX + 1.0); }
static int    oneof(int n)  { return int(uniform() * n); }

// --- Random cells ---

static void randomcells(int states)
{
    bool continuous = data_type == DATA_CONT && states;
    for (int c = 0; c < nc; ++c) {
        charrec &r = charcodes[c];
        r.type = uint8_t(data_type);
        r.continuous = r.additive = data_type == DATA_CONT;
    }
    for (int t = 0; t < nt; ++t)
        for (int c = 0; c < nc; ++c) {
            if (continuous) {
                uint32_t x = uint32_t(oneof(10000));
                matrix4[t][c] = x << 16 | x;
            } else if (states) setcell(t, c, uint32_t{1} << oneof(states));
            else if (data_type == DATA_CONT) matrix4[t][c] = CONT_MISSING;
        }
}

// xread / C T N
static void randommatrix()
{
    long chars = gtnu();
    if (chars < 1) errmsg("Must specify number of characters", nullptr);
    long taxa = gtnu();
    if (taxa < 4) errmsg("Must specify number of taxa (4 or more)", nullptr);
    long states = gtnu();
    if (states < 0) states = 2;
    if (states > 8 * celldim)
        errmsg("With current settings, can have", intvert(8 * celldim), "states at the most", nullptr);
    if (data_type == DATA_CONT) needwidth();
    char name[64];
    snprintf(name, sizeof name, "Random Data (%i states)", int(states));

    askreplace(name);
    unread guard;
    beginmatrix(chars, taxa);
    for (int t = 0; t < nt; ++t) snprintf(taxname[t], size_t(Namesize), "TAX%i", t);
    randinit();
    randomcells(int(states));
    types_read = data_type;
    finishmatrix(name);
    guard.done = true;
}

// --- Change along a tree ---

namespace {
struct modeltree {
    std::vector<int> anc;                // as stored
    std::vector<int> order;              // nodes, each after its ancestor; the root first
    std::vector<double> change;          // per node, chance of change along the branch to its ancestor
    std::vector<double> length;          // per node, changes expected along that branch; empty unless tags say so
};
}

static modeltree ordered(const int *anc)
{
    modeltree tree;
    tree.anc.assign(anc, anc + nodz);
    int slots = anc[nt];
    std::vector<std::vector<int>> below(static_cast<size_t>(slots));
    for (int i = 0; i < slots; ++i)
        if (i != nt && anc[i]) below[size_t(anc[i])].push_back(i);
    tree.order.push_back(nt);
    for (size_t i = 0; i < tree.order.size(); ++i)
        for (int d : below[size_t(tree.order[i])]) tree.order.push_back(d);
    tree.change.assign(size_t(nodz), 0);
    return tree;
}

static modeltree gettree()
{
    long n = gtnu();
    if (n < 0) errmsg("Must give", "tree", "number", nullptr);
    if (n >= give_trees_in_mem()) numtreeerror(n);
    return ordered(ancestors_of_tree(int(n)));
}

// The tag tree, with the number at the start of each tag as the length of the branch.
static modeltree taggedtree()
{
    if (!txtdatin) errmsg("No messages written to tree branches", nullptr);
    modeltree tree = ordered(txtr);
    tree.length.assign(size_t(nodz), 0);
    for (int n : tree.order) {
        if (n == tree.order[0]) continue;
        const char *tag = txtrmsg[n];
        double length = -1;
        std::from_chars(tag, tag + strlen(tag), length);     // not strtod: the locale's decimal sign is not ours
        if (!(length >= 0)) myerr("The message on the branch of node %i is no branch length", n);
        tree.length[size_t(n)] = length;
    }
    return tree;
}

// Jukes & Cantor: chances of ending in another state, from the changes expected.
static void changesfor(modeltree &tree, int states)
{
    double others = states > 1 ? (states - 1.0) / states : 1;
    for (size_t n = 0; n < tree.length.size(); ++n) tree.change[n] = others * (1 - std::exp(-tree.length[n] / others));
}

// Chance of stasis along a branch, as hundredths.
static double readstasis()
{
    double p = gtdouble();
    if (p < 0 || p > 100) errmsg("Probability of stasis must be 0-100", nullptr);
    return p / 100;
}

// One character along the tree; taxa that are not in the tree keep what they had.
static void jc_generate(const modeltree &tree, int c, int states, std::vector<int> *at)
{
    for (int n : tree.order) {
        int s;
        if (n == tree.order[0]) s = oneof(states);
        else {
            s = (*at)[size_t(tree.anc[size_t(n)])];
            if (states > 1 && uniform() < tree.change[size_t(n)]) s = (s + 1 + oneof(states - 1)) % states;
        }
        (*at)[size_t(n)] = s;
        if (n < nt) setcell(n, c, uint32_t{1} << s);
    }
}

static int bytesfor(long states) { return states <= 8 ? 1 : states <= 16 ? 2 : 4; }

// The data in memory go before the new ones come, so it must be known that these fit.
static void mustfit(long chars, long states)
{
    uint64_t need = expectedsize(chars, nt, bytesfor(states));
    bool grows = autoset_ram && !iamslave;
    if (need <= uint64_t(topram - memseg) || (grows && need <= machineram())) return;
    if (grows) errmsg("Sorry, not enough memory to generate", nullptr);
    myerr("Too much RAM needed for generating data from existing tree...\n"
          "You must read initial dataset allocating %u MBytes or more...", unsigned(need / 1000000 + 1));
}

// xread + T P C N, xread + ! C N
static void jc_generate_data()
{
    nodaterror("generating data from a tree");
    bool tagged = gotc('!');
    modeltree tree = tagged ? taggedtree() : gettree();
    double stasis = tagged ? 0 : readstasis();
    long chars = gtnu(), states = gtnu();
    if (chars < 1) errmsg("Must specify number of characters", nullptr);
    if (states < 0) states = 2;
    if (states < 1 || states > 32) errmsg("Number of states must be 1-32", nullptr);
    mustfit(chars, states);
    if (tagged) changesfor(tree, int(states));
    else std::fill(tree.change.begin(), tree.change.end(), 1 - stasis);
    std::vector<std::string> names(taxname, taxname + nt);
    std::vector<int> at(size_t(nodz), 0);
    char name[64];
    snprintf(name, sizeof name, tagged ? "Data (jukes-cant" : "Data, p(stasis)=%.2f", stasis);

    int taxa = nt;
    askreplace(name);
    unread guard;
    data_type = DATA_NUM;
    set_celldim(int(states));
    beginmatrix(chars, taxa);
    for (int t = 0; t < nt; ++t) snprintf(taxname[t], size_t(Namesize), "%s", names[size_t(t)].c_str());
    randinit();
    for (int c = 0; c < nc; ++c) {
        if (!(c & 255)) dildit(c, nc, "Generating data");
        charcodes[c].type = DATA_NUM;
        jc_generate(tree, c, int(states), &at);
    }
    types_read = DATA_NUM;
    finishmatrix(name);
    guard.done = true;
    stortree(tree.anc.data());
    int group = new_auto_treegroup("model_tree");
    if (group >= 0) add_to_treegroup(0, group);
}

// xread < T P L, xread > T P L, xread & T P L
static void regenerate(int kind)
{
    nodaterror("generating data from a tree");
    bool tagged = kind == '<' && gotc('!');
    modeltree tree = tagged ? taggedtree() : gettree();
    double change = tagged ? 0 : 1 - readstasis();
    uint8_t *list = zhi<uint8_t>(size_t(nc));
    if (!read_scope(list, 0, nc, "character", charnames)) std::fill(list, list + nc, LISTED);
    for (int c = 0; c < nc; ++c)
        if (list[c] == LISTED && charcodes[c].continuous)
            errmsg("Cannot generate continuous characters along a tree - char.", intvert(c), nullptr);

    randinit();
    for (double &p : tree.change) {
        p = change;
        if (kind == '>') p = 2 * change * uniform();
        if (kind == '&') p = -change * std::log(1 - uniform());
        p = std::min(p, 1.0);
    }
    std::vector<int> at(size_t(nodz), 0);
    for (int c = 0; c < nc; ++c) {
        if (list[c] != LISTED) continue;
        int states = std::max(2, int(charcodes[c].numstates));
        if (tagged) changesfor(tree, states);
        jc_generate(tree, c, states, &at);
        charcodes[c].recalc = 1;
    }
    chartables_reset();
    set_charcodes();
}

void generatecom(int kind)
{
    if (kind == '/') randommatrix();
    else if (kind == '+') jc_generate_data();
    else regenerate(kind);
}
