// Layers that outlive a change of a layer beneath them.  Their bytes wait at the high end while the
// one beneath is laid again.
//
// Taking or freeing a lock puts the high mark back to where it was locked, so whatever stands there is
// taken a second time, at the same place; in between nothing is allocated there.
#include "kernel/layers.h"
#include "kernel/arena.h"
#include <cassert>
#include <cstring>

namespace {
constexpr int MOSTKEPT = 8;

struct keptlayer {
    int  *tag;
    void (*moved)(const layermove &);
};
keptlayer kept[MOSTKEPT];
int nkept;

int *const derived[] = { &opttag, &sanktag, &schtag, &packtag };

const keptlayer *keptunder(int lock)
{
    for (int i = 0; i < nkept; ++i)
        if (*kept[i].tag == lock) return kept + i;
    return nullptr;
}

int *derivedunder(int lock)
{
    for (int *tag : derived)
        if (*tag == lock) return tag;
    return nullptr;
}

// The highest lock that is not of a derived layer standing above all others.
int topofkept()
{
    int lock = nlocks;
    while (lock && derivedunder(lock)) --lock;
    return lock;
}

size_t lowbytes(int lock) { return size_t(giveme_protralo(lock) - giveme_protralo(lock - 1)); }

// Does what puts the high mark back, and takes again what stood from low up.
template<class F> void holdinghigh(char *low, F what)
{
    what();
    assert(hiseg >= low);
    hiram(size_t(hiseg - low));
}

void lockagain(int *tag, char *low)
{
    holdinghigh(low, [&] { freehi(); lockram(tag); });
}

void change(int *tag, const std::function<void()> *lay)
{
    struct {
        const keptlayer *layer;
        char *was, *copy;
        size_t bytes;
    } aside[MOSTKEPT];
    int naside = 0, base = *tag, top = topofkept();
    char *mark = hisegis(), *low = mark;
    holdinghigh(low, [&] {
        while (nlocks > top) wipetag(derivedunder(nlocks));
        freelo();
    });
    for (int lock = base + 1; base && lock <= top; ++lock) {
        const keptlayer *layer = keptunder(lock);
        if (!layer) continue;
        size_t bytes = lowbytes(lock);
        char *was = giveme_protralo(lock - 1);
        low = static_cast<char *>(hiram(bytes));
        openlayer(lock);
        memcpy(low, was, bytes);
        aside[naside++] = { layer, was, low, bytes };
    }
    if (base) {
        for (int lock = base + 1; lock <= top; ++lock) {
            if (const keptlayer *layer = keptunder(lock)) *layer->tag = 0;
            if (int *other = derivedunder(lock)) *other = 0;
        }
        holdinghigh(low, [&] { freelock(tag); });
    }
    if (lay) {
        (*lay)();
        lockagain(tag, low);
    }
    for (int i = 0; i < naside; ++i) {
        char *to = static_cast<char *>(loram(aside[i].bytes));
        memcpy(to, aside[i].copy, aside[i].bytes);
        aside[i].layer->moved({ aside[i].was, aside[i].was + aside[i].bytes, to - aside[i].was });
        lockagain(aside[i].layer->tag, low);
    }
    hiset(mark);
}
}

void keeplayer(int *tag, void (*moved)(const layermove &move))
{
    for (int i = 0; i < nkept; ++i)
        if (kept[i].tag == tag) {
            kept[i].moved = moved;
            return;
        }
    assert(nkept < MOSTKEPT);
    kept[nkept++] = { tag, moved };
}

void relayer(int *tag, const std::function<void()> &lay) { change(tag, &lay); }

void droplayer(int *tag)
{
    if (*tag) change(tag, nullptr);
}

double relayroom(const int *tag, double scratch)
{
    int top = topofkept();
    double copies = 0;
    for (int lock = *tag + 1; *tag && lock <= top; ++lock)
        if (keptunder(lock)) copies += double(lowbytes(lock));
    if (double(hiseg - giveme_protralo(top)) < scratch + copies) return -1;
    return double(hiseg - giveme_protralo(*tag ? *tag - 1 : top)) - scratch - 2 * copies;
}
