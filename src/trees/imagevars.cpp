#include "trees/imagevars.h"
#include <cstring>

constinit const imagevars *allimagevars = nullptr;

template<class F> static void each(F f)
{
    size_t at = 0;
    for (const imagevars *m = allimagevars; m; m = m->next)
        for (size_t i = 0; i < m->count; at += m->list[i++].size) f(m->list[i], at);
}

size_t imagevars_size()
{
    size_t n = 0;
    each([&](const imagevar &v, size_t at) { n = at + v.size; });
    return n;
}

void save_imagevars(void *to)
{
    each([&](const imagevar &v, size_t at) { memcpy(static_cast<char *>(to) + at, v.at, v.size); });
}

void load_imagevars(const void *from)
{
    each([&](const imagevar &v, size_t at) { memcpy(v.at, static_cast<const char *>(from) + at, v.size); });
}
