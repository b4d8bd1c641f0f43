// The command tfuse: fusing and hybridization of trees in memory.
#include "search/fusecom.h"
#include "search/fuse.h"
#include "search/hybrid.h"
#include "search/keeptrees.h"
#include "search/moves.h"
#include "search/setup.h"
#include "search/status.h"
#include "search/userfuse.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/options.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "kernel/random.h"
#include "trees/collapse.h"
#include "trees/treebuf.h"
#include <algorithm>
#include <cctype>
#include <climits>
#include <cstring>

// --- options ------------------------------------------------------------------------------

static int count_for(const char *missing, int least)
{
    long n = gtnu();
    if (n < least) errmsg(missing, nullptr);
    return int(std::min<long>(n, INT_MAX));
}

static void readhybridize()
{
    int pairs = count_for("Give number of hybridizations to do (1 or more)", 1), rounds = hyb_outrounds, sample = hyb_samplesize;
    if (gotc('*')) rounds = count_for("Number of rounds for tree-hybridization must be 1 or more", 1);
    if (gotc('/')) sample = count_for("Give number of trees to continue with (0 = as many as were input)", 0);
    fuse_hybridize = 1;
    hyb_numinrounds = pairs;
    hyb_outrounds = rounds;
    hyb_samplesize = sample;
}

static void readpicktype()
{
    autoselect_ga = 1;
    double limit = gtdouble();
    if (limit >= 0) autoselect_limit = limit;
}

static const optrow fuseopts[] = {
    optflag("equals", &fusetakequals, "accept exchanges of equal score"),
    optflag("beststart", &fusebeststart, "start with the best tree, not with one at random"),
    optflag("choose", &choose_bestonly, "make only the best exchange of each pair of trees"),
    optflag("repeat", &fuse_repeat, "fuse each pair again until no exchange is accepted"),
    optflag("swap", &fuseswapit, "swap with TBR after exchanges"),
    optasked("minfork", &fuseminfork, 2, INT_MAX, "leave groups of fewer descendants on the consensus of the pair",
             "Minimum fork must be 2 or more"),
    optasked("rounds", &fuserounds, 0, INT_MAX, "rounds of fusing", "Give number of fusing rounds to do"),
    optflag("keepall", &fusekeepall, "keep all the trees, not only the best"),
    optasked("xroot", &fusereroots, 0, INT_MAX, "random rootings tried for each pair", "Indicate number of rerootings"),
    optstore("noxroot", &fusereroots, 0, "fuse with the outgroup at the root"),
    optcall("hybridize", readhybridize, "N*R/S: hybridize N pairs a round (1000), R rounds (1); the best S trees (50)\n"
                                        "go on to the next round, 0 = as many as were input"),
    optstore("nohybridize", &fuse_hybridize, 0, "fuse"),
    optnumber("autostop", &hyb_autostop, 0, INT_MAX, "end hybridization after so many rounds that improve nothing; 0 = never"),
    optstore("noautostop", &hyb_autostop, 0, "do all rounds"),
    optflag("replace", &hyb_replacetrees, "a better hybrid replaces the tree that it comes from"),
    optasked("clog", &hybrid_prevent_clog, 1, INT_MAX, "cut the set back when it has grown to so many times the input",
             "Give increase of tree set to consider as a clog"),
    optstore("noclog", &hybrid_prevent_clog, 0, "do not cut the set back"),
    optcall("picktype", readpicktype, "N: hybridize when exchanges possible in a pair are fewer than N (1.5) in 100 taxa,\n"
                                      "else fuse"),
    optstore("nopicktype", &autoselect_ga, 0, "as \"hybridize\" says"),
    optasked("exchange", &hyb_legperc, 0, 100, "unshared taxa tolerated in the pieces of hybrids",
             "Give proportion of exchanges (0-100)"),
    optend()
};

bool set_fuse_options()
{
    bool some = peep() != ';';
    readoptions(fuseopts, "Wrong option for tree fusing: %s");
    if (peep() != ';') myerr("Wrong option for tree fusing: %c", peep());
    return some;
}

static void showhybridization()
{
    myp("Tree hybridization:\n     * %i pairs a round, %i rounds", hyb_numinrounds, hyb_outrounds);
    if (hyb_samplesize) myp("     * the best %i trees go on to the next round", hyb_samplesize);
    else myp("     * as many trees as were input go on to the next round");
    if (hyb_autostop) myp("     * stop after %i rounds without improvement", hyb_autostop);
    if (hyb_replacetrees) myp("     * better hybrids replace source trees");
    if (hybrid_prevent_clog) myp("     * cut back when the set has grown %i times", hybrid_prevent_clog);
    myp("     * pieces with %i unshared taxa", hyb_legperc);
}

void show_fuse_options()
{
    if (autoselect_ga) myp("Choosing hybridization below score %.3f, tree fusing above", autoselect_limit);
    if (!fuse_hybridize || autoselect_ga) {
        myp("Tree fusing:\n     * %i rounds, starting with %s\n     * accepting %s exchanges%s%s\n     * minimum fork is %i",
            fuserounds, fusebeststart ? "the best tree" : "a tree at random", fusetakequals ? "better and equal" : "better",
            choose_bestonly ? ", only the best of each pair" : "", fuse_repeat ? ", repeating each pair" : "", fuseminfork);
        if (fusereroots) myp("     * %i random rootings for each pair", fusereroots);
    }
    if (fuse_hybridize || autoselect_ga) showhybridization();
    myp("     * %s\n     * %s", fuseswapit ? "swapping with TBR" : "no swapping", fusekeepall ? "keep all trees" : "keep only the best trees");
}

// --- running ------------------------------------------------------------------------------

// What the command changes and its run needs only once.
namespace {
struct runguard {
    int seed = ranseed, stage = curalg;
    ~runguard()
    {
        ranseed = seed;
        curalg = stage;
        mark_source_trees = nullptr;
        hybrid_room = 0;
    }
};
}

// The trees listed, and behind them the free places of the buffer.
static int listtrees(const uint8_t *list, int **trees, int room)
{
    int n = 0;
    for (int t = 0; t < trees_in_mem; ++t)
        if (list[t] == LISTED) trees[n++] = mem_tree[t];
    for (int t = trees_in_mem; t < trees_in_mem + room; ++t) {
        trees[n + t - trees_in_mem] = mem_tree[t];
        memset(treegroup[t], 0, size_t(treegroupcells) * sizeof(uint32_t));
    }
    return n;
}

static bool choosehybrids(int count, int **trees)
{
    if (!autoselect_ga) return fuse_hybridize;
    randinit();
    double score = calculate_fuse_props(count, trees);
    bool hybrids = score < autoselect_limit;
    joinem(hybrids ? "NOTE: picking hybridization algorithm" : "NOTE: Picking tree-fusing algorithm", nullptr);
    myp(" (score %.3f)", score);
    return hybrids;
}

static void needroom()
{
    int needed = fuserounds > INT_MAX - trees_in_mem ? INT_MAX : fuserounds + trees_in_mem;
    if (needed > maxtrees)
        myerr("%i fusing rounds with %i trees in memory require max.trees %i or more", fuserounds, trees_in_mem, needed);
}

// Trees of the list that are others now are in no group.
static void forgetgroups(const uint8_t *list, int *const *before)
{
    for (int t = 0, i = 0; t < trees_in_mem; ++t) {
        if (list[t] != LISTED) continue;
        if (memcmp(mem_tree[t], before[i++], sizeof(int) * hinod)) memset(treegroup[t], 0, size_t(treegroupcells) * sizeof(uint32_t));
    }
}

static double hybridize(const uint8_t *list)
{
    int room = maxtrees - trees_in_mem, **trees = lo<int *>(maxtrees), count = listtrees(list, trees, room), given = count;
    int **before = lorows<int>(count, hinod);
    double best = NOSCORE;
    clean_and_score(count, trees, &best);
    for (int i = 0; i < count; ++i) treecopy(trees[i], before[i]);
    hybrid_room = count + room;
    curalg = ALG_HYBRID;
    best = hybridize_tree_set(&count, trees, hyb_numinrounds, 0, fuseswapit, 0);
    forgetgroups(list, before);
    trees_in_mem += count - given;
    return best;
}

static double fuse(const uint8_t *list, uint8_t *sources)
{
    needroom();
    int **trees = lo<int *>(trees_in_mem + fuserounds), count = listtrees(list, trees, fuserounds), given = count;
    curalg = ALG_FUSING;
    mark_source_trees = zlo<uint8_t>(count + fuserounds);
    double best = dofuse(&count, trees, fuserounds, 0);
    int before = trees_in_mem;
    trees_in_mem += count - given;
    for (int t = 0, i = 0; t < trees_in_mem; ++t)
        if (t >= before || list[t] == LISTED) sources[t] = mark_source_trees[i++];
    return best;
}

static void groupsources(const uint8_t *sources)
{
    if (std::none_of(sources, sources + trees_in_mem, [](uint8_t s) { return s; })) return;
    int g = new_auto_treegroup("source_trees");
    for (int t = 0; g >= 0 && t < trees_in_mem; ++t)
        if (sources[t]) add_to_treegroup(t, g);
}

static void run(const uint8_t *list)
{
    runguard guard;
    int count = countlist(list, trees_in_mem), **trees = lo<int *>(maxtrees);
    if (count < 2) errmsg("Fusing a tree with itself produces nothing!", nullptr);
    listtrees(list, trees, 0);
    overall_bestscore = NOSCORE;
    bool hybrids = choosehybrids(count, trees);
    if (!hybrids) chkfusing();
    uint8_t *sources = zlo<uint8_t>(maxtrees);
    double best = hybrids ? hybridize(list) : fuse(list, sources);
    erdil();
    groupsources(sources);
    if (!fusekeepall) best = clean_mem_trees("resulting", suboptimal);
    else if (autocollapse_searches) clean_mem_trees("resulting", NOSCORE);
    settle_found_trees("tree_fusing");
    if (userstop) joinem("Search was interrupted...\n", nullptr);
    myp(hybrids ? "%i rounds of hybridization completed." : "%i rounds of fusing completed.", hybrids ? hybridsdone : fusesdone);
    myp("%i trees retained, best score %s.", trees_in_mem, scoretext(best).c_str());
}

void tfusecom()
{
    int c = peep();
    if (c == ':') {
        gtnb();
        if (!set_fuse_options()) show_fuse_options();
        return;
    }
    nodaterror("searching");
    if (c == '/') {
        gtnb();
        return do_user_fuse();
    }
    if (c != ';' && c != '=' && c != '.' && c != '{' && !isdigit(c)) myerr("Wrong argument for tree fusing: %c", c);
    uint8_t *list = treelist();
    if (gotc('=')) set_fuse_options();
    if (peep() != ';') myerr("Wrong argument for tree fusing: %c", peep());
    run(list);
}

const comhelp tfusehelp = {
    "Improve trees by exchanging groups between them.", fuseopts,
    "In each round of fusing, a tree takes from the others the groups that are resolved\n"
    "better there, and is then swapped.  A group of the same taxa may be exchanged; its\n"
    "descendants on the consensus of the two trees must be as many as \"minfork\" says.\n"
    "Hybridization exchanges pieces whose taxa are not quite the same, and places anew\n"
    "the taxa not shared.\n"
    "  tfuse ;           fuse the trees in memory with the present options\n"
    "  tfuse L ;         only the trees of list L; tfuse L = WORDS ; sets options as well\n"
    "  tfuse = WORDS ;   set options, and fuse\n"
    "  tfuse : WORDS ;   set options only; without options, show them\n"
    "  tfuse / S C T ;   tree T takes the group at node C of tree S, which it must have\n"
    "There must be room for the trees found: as many as there are rounds.\n"
    "Examples:\n"
    "  mult = wagner keepall replic 5 ; tfuse ;\n"
    "  tfuse = rounds 3 equals xroot 2 ;\n"
    "  tfuse 0.3 = hybridize 4 ;\n"
};
