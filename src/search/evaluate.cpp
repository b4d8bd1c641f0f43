// The checks of a move, for the weights of the image in force.
#include "search/evaldata.h"
#include "search/fits.h"
#include "search/fitsets.h"
#include "search/slowopt.h"
#include "trees/imagevars.h"
#include <cmath>

int *swaptree;
const uint32_t *clipset, *destset;
double movebound, movesteps, movebest, moveslack;
int moveok, second_stage, clusters_on, report_every, user_cuts_for_report, use_safe_unclip;
void (*score_checker)();
void (*pair_checker)(const uint32_t *c, const uint32_t *a, const uint32_t *b);
void (*double_score_checker)(int a, int b, int kind);
void (*double_pair_checker)(int c, int a, int b);
double suboptimal, relative_suboptimal, suboptimal_limit = 1e10;
int collapse_level, swapcollapse;

static_assert(int(WT_UNIT) == KW_UNIT && int(WT_CELL) == KW_CELL && int(WT_FIELD) == KW_FIELD && int(WT_FIT) == KW_FIT);

// Steps are whole: a fractional bound admits what its integer part does.  What a clip may yet save
// within itself is not known to the cells.
static int scankind;

[[maybe_unused]] static const keptwithimage ofimage(swaptree, second_stage, score_checker, pair_checker, double_score_checker, double_pair_checker,
    scankind);

static long wholebound()
{
    double bound = movebound + clipslack;
    long limit = bound >= NOBOUND ? NOLIMIT : bound < 0 ? -1 : scankind == WT_FIT ? fitbound(bound) : long(bound);
    if (fitsets) renewslopes(limit);
    if (scankind == WT_FIT) renewcosts();
    return limit;
}

static void result(long steps, long bound)
{
    moveok = steps <= bound;
    if (moveok) movesteps = scankind == WT_FIT ? double(steps) / FITUNIT : double(steps);
}

template<int W> static void checkcells()
{
    long bound = wholebound();
    result(kernel->check[W](&ed, clipset, destset, bound), bound);
}

template<int W> static void checkpair(const uint32_t *c, const uint32_t *a, const uint32_t *b)
{
    long bound = wholebound();
    result(kernel->pair[W](&ed, c, a, b, bound), bound);
}

// One row a weight kind: uniform, a weight a cell, a weight a field, implied.
static constexpr struct {
    void (*score)();
    void (*pair)(const uint32_t *c, const uint32_t *a, const uint32_t *b);
} checkers[] = {
    { checkcells<KW_UNIT>,  checkpair<KW_UNIT> },
    { checkcells<KW_CELL>,  checkpair<KW_CELL> },
    { checkcells<KW_FIELD>, checkpair<KW_FIELD> },
    { checkcells<KW_FIT>,   checkpair<KW_FIT> },
};
static_assert(sizeof checkers / sizeof *checkers == WEIGHTKINDS);

void set_score_checkers()
{
    scankind = packweightkind();
    score_checker = checkers[scankind].score;
    pair_checker = checkers[scankind].pair;
    double_score_checker = fitsets ? setscores : slowscores;
    double_pair_checker = fitsets ? setpairs : slowpairs;
    second_stage = have_unpacked || fitsets;
}

static int scan(const uint32_t *set, const uint32_t *rows, const int *list, int from, int n)
{
    long bound = wholebound(), steps;
    int at = kernel->scan[scankind](&ed, set, rows, list, from, n, bound, &steps);
    moveok = at < n;
    if (moveok) result(steps, bound);
    return at;
}

int scan_nodes(const uint32_t *set, const int *list, int from, int n)
{
    return scan(set, branchrows, list, from, n);
}

int scan_clusters(const uint32_t *set, const int *list, int from, int n)
{
    return scan(set, unionrows, list, from, n);
}

void score_original(int root, int s)
{
    movebound = NOBOUND;
    if (dopiwe) {
        moveok = 1;
        long before = fitsets ? settlesets() : 0, sum = 0;
        if (fitsets) keepsets();
        sum = takeoutsteps(clipset, destset);
        sum += slowtakeout(root, s);
        if (fitsets) sum += before - settlesets();
        movesteps = double(sum) / FITUNIT;
    } else {
        score_checker();
        second_check(root, s, 0);
    }
    findclipslack();
}

void settle_place(const uint32_t *set, int root, int dest)
{
    if (!dopiwe) return;
    addsteps(set, branchset(dest));
    slowaddsteps(root, dest);
    if (!fitsets) return;
    settlesets();
    forgetkept();
}

void set_report_every()
{
    constexpr int FEWTAXA = 50;
    report_every = user_cuts_for_report ? user_cuts_for_report : ntax < FEWTAXA || asymmetric_fields ? 2 : 10;
}

// Without room for more trees, and unless branches are being collapsed, a move must be shorter.
void set_move_slack(int mulpars, int buffer_full, double score)
{
    if (!swapcollapse && (mulpars <= 0 || buffer_full)) {
        moveslack = -leastgain();
        return;
    }
    moveslack = dopiwe ? leastgain() / 2 : 0;
    if (suboptimal != 0) {
        double limit = score + suboptimal < suboptimal_limit ? score + suboptimal : suboptimal_limit;
        if (limit > score) moveslack += limit - score;
    }
}
