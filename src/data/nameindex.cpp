// Names in alphabetical order.
#include "data/nameindex.h"
#include <algorithm>
#include <cstring>
#include <strings.h>

void indexnames(nameindex *x, char **names, int low, int high)
{
    x->names = names;
    x->order.clear();
    for (int i = low; i < high; ++i)
        if (names[i]) x->order.push_back(i);
    std::stable_sort(x->order.begin(), x->order.end(), [names](int a, int b) { return strcasecmp(names[a], names[b]) < 0; });
}

nameband namesbegun(const nameindex &x, const char *word)
{
    size_t length = strlen(word);
    auto compare = [&](int i) { return strncasecmp(x.names[i], word, length); };
    const int *from = x.order.data(), *end = from + x.order.size();
    from = std::partition_point(from, end, [&](int i) { return compare(i) < 0; });
    return { from, std::partition_point(from, end, [&](int i) { return compare(i) == 0; }) };
}
