// Each record is held against the others from the highest count down: the first that contradicts it
// is the one that counts.  Two groups with counts that add to more than the trees share a tree, and
// cannot contradict each other, so the search begins behind all of these; it ends at the groups
// without support.
#include "compare/contra.h"
#include <algorithm>
#include "compare/groups.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/progress.h"

int use_single_tree = 0;
int *max_contra = nullptr;

bool contradict(int i, int j)
{
    const grouprec &a = gsstored[i], &b = gsstored[j];
    int from = std::max(a.lowword, b.lowword), to = std::min(a.highword, b.highword);
    if (from > to) return false;
    bool ainside = a.lowword >= b.lowword && a.highword <= b.highword;
    bool binside = b.lowword >= a.lowword && b.highword <= a.highword;
    const uint32_t *x = groupbits(i), *y = groupbits(j);
    uint32_t common = 0, onlya = !ainside, onlyb = !binside;
    for (int w = from; w <= to; ++w) {
        common |= x[w] & y[w];
        onlya |= x[w] & ~y[w];
        onlyb |= y[w] & ~x[w];
        if (common && onlya && onlyb) return true;
    }
    return false;
}

void docontra(int ntrees, int first)
{
    max_contra = zlo<int>(std::max(1, first));
    int *order = lo<int>(std::max(1, groups_stored));
    for (int g = 0; g < groups_stored; ++g) order[g] = g;
    auto higher = [](int a, int b) {
        return gsstored[a].count != gsstored[b].count ? gsstored[a].count > gsstored[b].count : a < b;
    };
    std::sort(order, order + groups_stored, higher);
    for (int i = 0; i < first && !have_some_intrupt(); ++i) {
        dildit(i, first, "Comparing groups");
        int most = use_single_tree ? ntrees : ntrees - gsstored[i].count;
        int *from = std::partition_point(order, order + groups_stored, [&](int g) { return gsstored[g].count > most; });
        for (int *j = from; j < order + groups_stored && gsstored[*j].count > 0; ++j)
            if (contradict(i, *j)) {
                max_contra[i] = gsstored[*j].count;
                break;
            }
    }
    for (int i = 0; i < first; ++i) gsstored[i].count -= max_contra[i];
}

void get_rid_of_contradicted_groups(int from)
{
    for (int i = from; i < groups_stored; ++i)
        for (int j = 0; j < from && gsstored[i].size; ++j)
            if (contradict(i, j)) gsstored[i].size = 0;
}
