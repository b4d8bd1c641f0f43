// The command hybrid: pieces exchanged between two trees, and incomplete trees completed.
#include "search/hybrid.h"
#include "search/constpack.h"
#include "search/constraints.h"
#include "search/keeptrees.h"
#include "search/moves.h"
#include "search/schcollapse.h"
#include "search/setup.h"
#include "search/status.h"
#include "search/swapadded.h"
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
#include "trees/collapse.h"
#include "trees/scratch.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <climits>
#include <cstdlib>

// --- set-up -----------------------------------------------------------------------------------

// Only copies of trees go over to packed numbers: those in memory may lack taxa.
static void start_hybrids()
{
    chk_active_taxa();
    clear_rearrangs();
    no_reports_yet = 1;
    current_replication = -1;
    current_treenum = 0;
    now_being_swapped = -1;
    realmaxtrees = maxtrees;
    set_schcollapser(COLL_NONE);
    overall_bestscore = NOSCORE;
    drop_doubtful_image();
    if (!schtag) {
        wipetag(&opttag);
        do_full_pack(0, 1);
        lockram(&schtag);
    }
    doing_a_search = 1;
}

namespace {
struct hybridrun {
    int seed = ranseed;
    hybridrun()
    {
        randinit();
        ranseed = -1;
    }
    ~hybridrun() { ranseed = seed; }
};
}

// The tree as searches want it, in packed numbers; it may lack taxa.
static int *searchable(int t)
{
    int *tree = hi<int>(nodz);
    std::copy(mem_tree[t], mem_tree[t] + nodz, tree);
    for (int k = 0; k < nt; ++k)
        if (isinthetree(tree, k) && !taxact[k]) errmsg("Tree to complete cannot have any inactive taxa", nullptr);
    if (!isinthetree(tree, outgroup))
        myerr("Tree %i can't be processed --it doesn't include current outgroup (%s)", t, taxname_out(outgroup));
    if (tree[outgroup] != nt) reroot(tree, outgroup);
    dichotomize_tree(tree, rand());
    pack_one_tree(tree);
    return tree;
}

static void unpack(int *tree)
{
    unpack_one_tree(tree);
    reset_nodz(tree);
    recalctree = 1;
}

// --- incomplete trees -------------------------------------------------------------------------

static void complete_and_improve(int how)
{
    long n = gtnu();
    if (n < 0) errarg(peep());
    if (n >= trees_in_mem) numtreeerror(n);
    int t = int(n);
    if (peep() != ';') errarg(peep());
    start_hybrids();
    if (constrained()) errmsg("Cannot complete trees under constraints", nullptr);
    hybridrun running;
    int *tree = searchable(t);
    uint8_t *added = hi<uint8_t>(ntax);
    std::transform(tree, tree + ntax, added, [](int above) { return uint8_t(above == 0); });
    int absent = int(std::count(added, added + ntax, 1));
    if (ntax - absent < 3) myerr("Tree %i has too few taxa to be completed", t);
    joinem("Completing ", how == '*' ? "and swapping " : "", "tree ", intvert(t),
           how == '!' ? " and swapping newly added taxa" : "", "\n", nullptr);
    double score = tree_completion(tree, how == '*');
    if (score < NOSCORE && how == '!' && absent && !userstop) score = swap_added(tree, added);
    erdil();
    if (userstop) joinem("Search was interrupted...\n", nullptr);
    if (score >= NOSCORE) return;
    unpack(tree);
    std::copy(tree, tree + nodz, mem_tree[t]);
    myp("Tree %i: %i taxa added, score %s", t, absent, scoretext(score).c_str());
}

// --- pieces -----------------------------------------------------------------------------------

static void readpair(int *one, int *other)
{
    notreeerror();
    hiscratch scratch;
    uint8_t *list = hi<uint8_t>(trees_in_mem);
    read_scope(list, 0, trees_in_mem, "tree", nullptr);
    int n = countlist(list, trees_in_mem);
    if (n > 2) errmsg("You can specify only TWO trees", nullptr);
    if (n < 2) errmsg("You must specify TWO trees for hybridization", nullptr);
    *one = int(std::find(list, list + trees_in_mem, LISTED) - list);
    *other = int(std::find(list + *one + 1, list + trees_in_mem, LISTED) - list);
}

static int readunshared()
{
    if (!gotc('/')) return hyb_legperc;
    long n = gtnu();
    if (n < 0) errarg(peep());
    return int(std::min<long>(n, INT_MAX / 2));
}

static int *completetree(int t)
{
    int *tree = searchable(t);
    if (std::find(tree, tree + ntax, 0) != tree + ntax) myerr("Tree %i does not have all active taxa", t);
    return tree;
}

static void hybridize_two(bool complete)
{
    int x, y;
    readpair(&x, &y);
    int unshared = readunshared();
    if (peep() != ';') errarg(peep());
    if (trees_in_mem + 2 > maxtrees) fullerr();
    start_hybrids();
    if (complete && constrained()) errmsg("Cannot complete trees under constraints", nullptr);
    hybridrun running;
    const int *a = completetree(x), *b = completetree(y);
    piece p;
    if (!find_piece(a, b, unshared, unshared, &p)) myerr("Trees %i and %i have no piece with %i or fewer taxa unshared", x, y, unshared);
    int *hybrids[] = { hi<int>(nodz), hi<int>(nodz) };
    for (int *h : hybrids) std::fill(h, h + nodz, 0);
    do_hybrid(a, b, p, hybrids[0], hybrids[1]);
    double scores[2] = { NOSCORE, NOSCORE };
    for (int i = 0; complete && i < 2; ++i)
        if (!userstop) scores[i] = tree_completion(hybrids[i], 1);
    erdil();
    if (userstop) joinem("Search was interrupted...\n", nullptr);
    myp("Exchanged piece of %i shared taxa (%i-%i unshared), trees %i-%i", p.shared, p.leftouta, p.leftoutb, x, y);
    for (int i = 0; i < 2; ++i) {
        if (complete && scores[i] >= NOSCORE) continue;
        int slot = trinc(nullptr, false);
        unpack(hybrids[i]);
        stortree(hybrids[i]);
        if (complete) myp("Hybrid saved as tree %i, score %s", slot, scoretext(scores[i]).c_str());
        else myp("Hybrid saved as tree %i", slot);
    }
}

void hybridcom()
{
    nodaterror("searching");
    int c = peep();
    if (c == '+' || c == '*' || c == '!') {
        gtnb();
        notreeerror();
        return complete_and_improve(c);
    }
    hybridize_two(!gotc('-'));
}

const comhelp hybridhelp = {
    "Exchange pieces of two trees, or complete trees that lack taxa.", nullptr,
    "  hybrid X Y/Z ;    exchange a piece of trees X and Y that has about half of the\n"
    "                    taxa, no more than Z of them in one of the trees only (as many\n"
    "                    as \"tfuse:exchange\" says, by default); place these taxa anew;\n"
    "                    swap with TBR.  Saves two trees\n"
    "  hybrid -X Y/Z ;   the same without placing the taxa left out, or swapping\n"
    "  hybrid +N ;       add to tree N the taxa that it lacks, where they cost least\n"
    "  hybrid *N ;       the same, and swap with TBR\n"
    "  hybrid !N ;       the same, and swap only the taxa added\n"
    "X Y may be any list of two trees.\n"
    "Examples:\n"
    "  hybrid 0 1/20 ;\n"
    "  hybrid -2 3/20 ; hybrid +13 ; hybrid *12 ;\n"
};
