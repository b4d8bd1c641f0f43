// compare/mixtrees.cpp: the command mixtrees, a supertree of trees with different taxa.
//
// Where the trees contradict each other, what is inferred depends on the order in which the groups are
// compared: so it is done in many random orders, and the supertree is what these sequences agree on.
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include "compare/consread.h"
#include "compare/groups.h"
#include "compare/mixgroups.h"
#include "compare/mixtrees.h"
#include "compare/strict.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/commands.h"
#include "kernel/comhelps.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "kernel/random.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"

int show_incomps = 1;
static int sequences = 10, stabs = 0, cyclesize = 5;
constexpr int MOSTMIXED = 32766, SEQUENCESASTAB = 200;

const comhelp mixtreeshelp = {
    "Supertree of trees with different taxa.", nullptr,
    "Groups are combined by inferring where the taxa missing from each tree belong.\n"
    "The supertree has every group that no other tree contradicts, as far as the\n"
    "taxa of its tree go.  Trees without contradictions are combined once, others in\n"
    "many random orders; the result is then what these have in common.\n"
    "  mixtrees N / L ;   draw the supertree of trees N, leaving out taxa L\n"
    "  mixtrees * N / L ; keep it as the last tree in memory, in the group \"Super_tree\"\n"
    "  mixtrees =J ... ;  combine in J orders (10 at first)\n"
    "  mixtrees =[J K] ;  combine in K orders (default 5) and compare the consensus of\n"
    "                     their trees with that of the K before, until it was the same\n"
    "                     J times in a row; at most 200 x J orders\n"
    "The tree buffer must have room for the trees that are made.\n"
    "Examples:\n"
    "  mixtrees ;\n"
    "  mixtrees =20 * 0.4 ;\n"
};

// --- Any number of sequences ---

// One supertree, of the groups in an order of their own.
static void onesequence(const mixinput &in, int *result)
{
    readmixgroups(in.trees, in.ntrees, in.list, in.excluded);
    shufflemixgroups();
    markmixconflicts();
    fillmissing();
    touchfreqs();
    formmixtree(result, in.excluded);
}

// All of the trees made have the same taxa; those left out are in none of them.
static void agreement(int *const *made, int n, const mixinput &in, int *result)
{
    char *mark = lomark();
    uint8_t *out = lo<uint8_t>(nt);
    memcpy(out, in.excluded, nt);
    do_strict_for_jak(made, result, n, nullptr, out, 0);
    loset(mark);
}

static void warnincompatible(const mixinput &in)
{
    constexpr int FEWEST = 3;
    if (in.selected >= FEWEST && show_incomps && !in.sametaxa)
        mywarn("You are about to combine %i trees\nwith incompatibilities\n"
               "Groups that are contradicted will not be part of the supertree", in.selected);
}

mixresult domix(const mixinput &in, const mixplan &plan, int *const *made, int *result)
{
    mixresult r = {};
    laymixgroups(in.trees, in.ntrees, in.list, in.excluded);
    int most = plan.stabs ? plan.stabs * SEQUENCESASTAB : plan.sequences;
    int *seeds = lo<int>(size_t(most) + 1), *before = zlo<int>(nodz), *batch = lo<int>(nodz);
    randinit();
    seeds[0] = rand();
    int held = 0;                         // trees made that wait for their consensus
    while (r.sequences < most && !have_some_intrupt()) {
        dildit(r.sequences, most, "Mixing trees");
        srand(unsigned(seeds[r.sequences]));
        seeds[r.sequences + 1] = chkseed(seeds, r.sequences + 1, rand());
        onesequence(in, made[held++]);
        if (++r.sequences == 1) {
            r.congruent = mixcongruent();
            memcpy(result, made[0], sizeof(int) * nodz);
            if (r.congruent) break;
            warnincompatible(in);
        }
        if (!plan.stabs || held < plan.cycle) continue;
        agreement(made, held, in, batch);
        int *pair[] = { result, batch };
        agreement(pair, 2, in, made[held]);
        memcpy(result, made[held], sizeof(int) * nodz);
        r.hits = equal_tree(batch, before) ? r.hits + 1 : 0;
        memcpy(before, batch, sizeof(int) * nodz);
        held = 0;
        if (r.hits == plan.stabs) break;
    }
    r.partialnodes = countnodes(plan.stabs && !r.congruent ? batch : result) - 1;
    if (!plan.stabs && !r.congruent) {
        agreement(made, held, in, made[held]);
        memcpy(result, made[held], sizeof(int) * nodz);
    }
    r.finalnodes = countnodes(result) - 1;
    return r;
}

// --- The command ---

static int readcount()
{
    long n = gtnu();
    if (n < 1 || n > INT_MAX / SEQUENCESASTAB) errmsg("Must specify number of mixes", nullptr);
    return int(n);
}

static void readmixes()
{
    if (!gotc('[')) {
        sequences = readcount();
        stabs = 0;
        return;
    }
    int wanted = readcount();
    long every = peep() == ']' ? cyclesize : gtnu();
    if (every < 1 || every > SEQUENCESASTAB || !gotc(']')) errmsg("Use [stabs every]", nullptr);
    stabs = wanted;
    cyclesize = int(every);
}

static bool inall(const mixinput &in, int t)
{
    for (int i = 0; i < in.ntrees; ++i)
        if (selectedtree(in.list, i) && !isinthetree(in.trees[i], t)) return false;
    return true;
}

static bool insome(const mixinput &in, int t)
{
    for (int i = 0; i < in.ntrees; ++i)
        if (selectedtree(in.list, i) && isinthetree(in.trees[i], t)) return true;
    return false;
}

// Leaves out the taxa of no tree, and sees whether the trees differ in any other.
static void settaxa(mixinput *in)
{
    int left = 0;
    for (int t = 0; t < nt; ++t) left += !(in->excluded[t] = in->excluded[t] == LISTED);
    if (!left) errmsg("Cannot exclude ALL taxa", nullptr);
    in->sametaxa = true;
    left = 0;
    for (int t = 0; t < nt; ++t) {
        if (in->excluded[t]) continue;
        if (!insome(*in, t)) {
            in->excluded[t] = 1;
            spewem(taxname_out(t), "missing from all trees (excluded)", nullptr);
        } else {
            ++left;
            in->sametaxa = in->sametaxa && inall(*in, t);
        }
    }
    if (left < 2) errmsg("Cannot exclude ALL taxa", nullptr);
    if (in->sametaxa) warnem("All the trees have the same taxa", "\nConsensus and supertree produce same results", nullptr);
}

static void checkspace(bool store)
{
    int made = (stabs ? cyclesize : sequences) + 1, wanted = trees_in_mem + made + store;
    if (wanted <= maxtrees) return;
    errmsg("To do", intvert(stabs ? stabs : sequences),
           stabs ? " stabilizations must re-set maxtrees to" : " sequences must re-set maxtrees to", intvert(wanted),
           "or more", nullptr);
}

static void reportmix(const mixresult &r)
{
    if (r.congruent) {
        spewem("Input trees are congruent (multiple sequences not needed)", nullptr);
        return;
    }
    if (!stabs) return;
    spewem("Stabilized", intvert(r.hits), "times (average:", intvert(r.sequences / std::max(1, r.hits)),
           "randomizations to stability)", nullptr);
    joinem("Partial Nodes: ", intvert(r.partialnodes), ". Final nodes: ", intvert(r.finalnodes), "\n", nullptr);
}

static void reportundefined()
{
    if (std::none_of(misstax, misstax + nt, [](uint8_t x) { return x != 0; })) return;
    spewem("NOTE: some taxa have undefined positions:", nullptr);
    printtaxa(misstax, 1);
    spewem("Eliminating taxa with undefined positions may improve resolution", nullptr);
}

void mixtreescom()
{
    bool store = false;
    for (;;) {
        if (gotc('*')) store = true;
        else if (gotc('=')) readmixes();
        else break;
    }
    notreeerror();
    consinput given = readconsensus();
    if (given.ntrees > MOSTMIXED) errmsg("Can't mix so many trees", nullptr);
    mixinput in = { mem_tree, trees_in_mem, given.list, given.excluded, given.ntrees, false };
    checkspace(store);
    settaxa(&in);

    // the trees made stand in the places behind those in memory, as if they were read
    int *result = lo<int>(nodz);
    mixresult r = domix(in, { sequences, stabs, cyclesize }, mem_tree + trees_in_mem, result);
    erdil();
    reportmix(r);
    reportundefined();
    if (!store) return drawconsensus(result, "Super-tree");
    int place = trinc("Super_tree", false);
    stortree(result);
    spewem("Mixed trees as tree", intvert(place), nullptr);
}
