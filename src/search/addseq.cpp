#include "search/addseq.h"
#include "kernel/random.h"
#include <cstdlib>
#include <utility>

int quick_randomizations;

static void quickshuffle(int *list, int n)
{
    for (int k = n; k > 0; --k) std::swap(list[k - 1], list[rand() % k]);
}

static void fill(int n, int *list)
{
    for (int i = 0; i < n; ++i) list[i] = i;
}

static void tofront(int *list, int item)
{
    list[item] = list[0];
    list[0] = item;
}

void quick_randomlist(int n, int *list, int keep, int fixed)
{
    if (ranseed != -1) randinit();
    if (!keep) fill(n, list);
    if (fixed >= 0) tofront(list, fixed);
    int kept = fixed >= 0;
    quickshuffle(list + kept, n - kept);
}

static int flaggedfirst(int n, int *list, const int *flags)
{
    int front = 0, back = n;
    for (int i = 0; i < n; ++i)
        if (flags[i] > 0) list[front++] = i;
    for (int i = n - 1; i >= 0; --i)
        if (flags[i] <= 0) list[--back] = i;
    return front;
}

void randomlist(int n, int *list, int first, const int *flags)
{
    if (ranseed != -1) randinit();
    fill(n, list);
    if (flags) n = flaggedfirst(n, list, flags);
    else if (first >= 0) tofront(list, first);
    int kept = !flags && first >= 0;
    if (quick_randomizations) {
        quickshuffle(list + kept, n - kept);
        return;
    }
    for (int i = kept; i < n; ++i) std::swap(list[i], list[kept + rand() % (n - kept)]);
}
