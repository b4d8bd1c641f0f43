// The checks of a move, for the weights of the image in force.
#include "search/evaldata.h"

int *swaptree;
const uint32_t *clipset, *destset;
double movebound, movesteps, movebest, moveslack;
int moveok, clusters_on, report_every, user_cuts_for_report, use_safe_unclip;
void (*score_checker)();
void (*pair_checker)(const uint32_t *c, const uint32_t *a, const uint32_t *b);
void (*double_score_checker)(int a, int b, int kind);
void (*double_pair_checker)(int c, int a, int b);
double suboptimal, relative_suboptimal, suboptimal_limit = 1e10;
int collapse_level, swapcollapse;

static int scankind;

static_assert(int(WT_UNIT) == KW_UNIT && int(WT_CELL) == KW_CELL && int(WT_FIELD) == KW_FIELD);

// Steps are whole: a fractional bound admits what its integer part does.
static int wholebound()
{
    return movebound >= NOBOUND ? NOLIMIT : movebound < 0 ? -1 : int(movebound);
}

static void result(int steps, int bound)
{
    moveok = steps <= bound;
    if (moveok) movesteps = steps;
}

template<int W> static void checkcells()
{
    int bound = wholebound();
    result(kernel->check[W](&ed, clipset, destset, bound), bound);
}

template<int W> static void checkpair(const uint32_t *c, const uint32_t *a, const uint32_t *b)
{
    int bound = wholebound();
    result(kernel->pair[W](&ed, c, a, b, bound), bound);
}

// One row a weight kind: uniform, a weight a cell, a weight a field.
static constexpr struct {
    void (*score)();
    void (*pair)(const uint32_t *c, const uint32_t *a, const uint32_t *b);
} checkers[] = {
    { checkcells<KW_UNIT>,  checkpair<KW_UNIT> },
    { checkcells<KW_CELL>,  checkpair<KW_CELL> },
    { checkcells<KW_FIELD>, checkpair<KW_FIELD> },
};
static_assert(sizeof checkers / sizeof *checkers == WEIGHTKINDS);

void set_score_checkers()
{
    scankind = packweightkind();
    score_checker = checkers[scankind].score;
    pair_checker = checkers[scankind].pair;
}

static int scan(const uint32_t *set, const uint32_t *rows, const int *list, int from, int n)
{
    int bound = wholebound(), steps;
    int at = kernel->scan[scankind](&ed, set, rows, list, from, n, bound, &steps);
    moveok = at < n;
    if (moveok) movesteps = steps;
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

void set_report_every()
{
    constexpr int FEWTAXA = 50;
    report_every = user_cuts_for_report ? user_cuts_for_report : ntax < FEWTAXA ? 2 : 10;
}

// Without room for more trees, and unless branches are being collapsed, a move must be shorter.
void set_move_slack(int mulpars, int buffer_full, double score)
{
    if (!swapcollapse && (mulpars <= 0 || buffer_full)) {
        moveslack = -1.0;
        return;
    }
    moveslack = 0;
    if (suboptimal != 0) {
        double limit = score + suboptimal < suboptimal_limit ? score + suboptimal : suboptimal_limit;
        if (limit > score) moveslack = limit - score;
    }
}
