// The genetic stages of a driven search.
#include "search/xmult.h"
#include "search/cycles.h"
#include "search/fuse.h"
#include "search/hybrid.h"
#include "search/keeptrees.h"
#include "search/moves.h"
#include "search/status.h"
#include "data/matrix.h"
#include "kernel/driver.h"
#include "trees/implied.h"
#include "trees/scratch.h"
#include "trees/treebuf.h"
#include <algorithm>

static double bestfrom(int first)
{
    double best = NOSCORE;
    for (int t = first; t < trees_in_mem; ++t) best = std::min(best, treechk[t].score);
    return best;
}

// Trees of the list from `from` on join those in memory, as far as there is room, unless they are kept already or
// above the limit.
static void store(int **list, int from, int count, double limit)
{
    changed_sets_elsewhere();
    for (int i = from; i < count && trees_in_mem < realmaxtrees; ++i)
        if (!lessthan(limit, schoptimize(list[i], 1))) full_store_tree(list[i], trees_in_mem);
}

static double stopscore() { return std::max(0.0, xmult_giveupscore); }

static double finish(int first, double score)
{
    score = std::min(score, bestfrom(first));
    overall_bestscore = std::min(overall_bestscore, score);
    if (reached_giveup(score) && !userstop) userstop = GIVEN_UP;
    return score;
}

double handle_fuser(int first)
{
    hiscratch scratch;
    int count, **list = copytrees(first, realmaxtrees, xmult_fuse, &count), given = count;
    if (count < 2 || userstop) return bestfrom(first);
    curalg = ALG_FUSING;
    double score = dofuse(&count, list, xmult_fuse, stopscore());
    store(list, given, count, xmult_dumpfuse && xm.target < NOSCORE ? xm.target : NOSCORE);
    return finish(first, score);
}

double handle_hybridizer(int first)
{
    struct roomguard {
        int room = hybrid_room;
        ~roomguard() { hybrid_room = room; }
    } guard;
    hiscratch scratch;
    int count, extra = std::max(0, std::min(realmaxtrees - trees_in_mem, hyb_numinrounds));
    int **list = copytrees(first, realmaxtrees, extra, &count), given = count;
    if (count < 2 || userstop) return bestfrom(first);
    curalg = ALG_HYBRID;
    hybrid_room = given + extra;
    double score = hybridize_tree_set(&count, list, hyb_numinrounds, 0, 1, stopscore());
    store(list, 0, count, xmult_dumpfuse && xm.target < NOSCORE ? xm.target : NOSCORE);
    return finish(first, score);
}

void handle_multiplication(int first)
{
    struct equalsguard {
        int equals = fusetakequals;
        ~equalsguard() { fusetakequals = equals; }
    } guard;
    hiscratch scratch;
    int rounds = std::max(1, xmult_fuse), count, **list = copytrees(first, realmaxtrees, rounds, &count), given = count;
    if (count < 2 || userstop) return;
    fusetakequals = 1;
    curalg = ALG_FUSING;
    double score = dofuse(&count, list, rounds, stopscore());
    store(list, given, count, std::min(score, bestfrom(first)));
    finish(first, score);
}

void effect_xmul_filter(double score)
{
    drop_longer_than(xm.startsaveas, score + (dopiwe ? XMARGIN : 0));
}
