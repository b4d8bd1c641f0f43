// Operations on one tree.  Nothing here recurses: an unbalanced tree of 20,000 taxa is as deep as
// it has taxa.  Scratch stands at the high end of the arena, so that a layer may be under
// construction at the low end.
#include "trees/treemodel.h"
#include "trees/scratch.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include <algorithm>
#include <cassert>
#include <cstring>
#include <random>

int *anx, *lef, *rig, *sis, *nodfork, *nodlist, *htulist, *bufprvtree, *issupp, *waglist, *ladd;
int *taxnum, *lineof, *doat, *drawat, *branchlen, *xpos, *ypos;
char **nodmsg;

namespace {
// An internal node of which only the slot exists has ancestor 0, as an absent terminal.
inline bool hanging(const int *anc, int n) { return n != nt && (anc[n] & NODEBITS) != 0; }
}

void mksis(const int *anc)
{
    int slots = anc[nt];
    for (int n = 0; n < slots; ++n) lef[n] = rig[n] = sis[n] = -1;
    for (int n = slots - 1; n >= 0; --n) {
        if (!hanging(anc, n)) continue;
        int a = anc[n] & NODEBITS;
        sis[n] = lef[a];
        if (lef[a] < 0) rig[a] = n;
        lef[a] = n;
    }
}

int mkoptlist(int *list, const int *anc)
{
    mksis(anc);
    int slots = anc[nt], k = 0, n = nt;
    for (int i = 0; i < slots; ++i) nodfork[i] = 0;
    while (true) {
        if (n >= nt) {
            list[k++] = n;
            if (lef[n] >= 0) {
                n = lef[n];
                continue;
            }
        }
        while (n != nt) {
            int a = anc[n] & NODEBITS;
            ++nodfork[a];
            if (sis[n] >= 0) {
                n = sis[n];
                break;
            }
            n = a;
        }
        if (n == nt) return k;
    }
}

int mklist(int *list, const int *anc)
{
    int k = mkoptlist(list, anc);
    hiscratch scratch;
    int *before = hi<int>(anc[nt]);                 // sis seen from the other end
    for (int i = 0; i < k; ++i)
        for (int prev = -1, d = lef[list[i]]; d >= 0; prev = d, d = sis[d]) before[d] = prev;
    k = 0;
    int n = nt;
    while (true) {
        if (n >= nt) {
            list[k++] = n;
            if (rig[n] >= 0) {
                n = rig[n];
                continue;
            }
        }
        for (; n != nt; n = anc[n] & NODEBITS)
            if (before[n] >= 0) {
                n = before[n];
                break;
            }
        if (n == nt) return k;
    }
}

void reset_nodz(int *anc, int *carried)
{
    hiscratch scratch;
    int *number = zhi<int>(nodz), *old = hi<int>(nodz), next = nt + 1;
    memcpy(old, anc, sizeof(int) * nodz);
    number[nt] = nt;
    for (int t = 0; t < nt; ++t) {
        old[t] &= NODEBITS;
        if (!old[t]) continue;
        for (int n = old[t]; !number[n]; n = old[n] & NODEBITS) number[n] = next++;
        anc[t] = number[old[t]];
    }
    for (int n = nt + 1; n < nodz; ++n) anc[n] = 0;
    for (int n = nt + 1; n < nodz; ++n)
        if (number[n]) anc[number[n]] = number[old[n] & NODEBITS];
    anc[nt] = next;
    if (!carried) return;
    memcpy(old, carried, sizeof(int) * nodz);
    for (int n = nt + 1; n < nodz; ++n) carried[n] = 0;
    for (int n = nt + 1; n < nodz; ++n)
        if (number[n]) carried[number[n]] = old[n];
}

bool equal_tree(const int *a, const int *b)
{
    return a[nt] == b[nt] && !memcmp(a, b, sizeof(int) * a[nt]);
}

// The walk from the target's ancestor to the root turns each branch around:
//
//      root             root
//     /    \           /    \                                        .
//    b      c    ->  target  a
//   / \                     / \                                      .
//  a   d                   e   b
//  / \                        / \                                    .
// target e                   d   c
//
// A root with two descendants is only a point on their common branch, and vanishes; one with more
// is a node like others, which goes on as a new one.
//
// base is the node that plays the root: all of it happens within its clade.
static bool rerootbelow(int *anc, int base, int target, int *carried)
{
    int slots = anc[nt];
    if (target < 0 || target >= slots || target == nt || target == base || !anc[target]) return false;
    int top = anc[target];
    if (top == base) return true;
    int last = target, steps = 0;
    for (int n = top; n != base; last = n, n = anc[n])   // last: the base's descendant on the path
        if (n <= nt || n >= slots || ++steps > slots) return false;
    int others = 0, other = -1;
    for (int n = 0; n < slots; ++n)
        if (n != nt && n != last && anc[n] == base) {
            ++others;
            other = n;
        }
    if (!others) return false;
    if (others > 1) {
        if (slots >= nodz) return false;
        int newnode = slots++;
        for (int n = 0; n < newnode; ++n)
            if (n != nt && n != last && anc[n] == base) anc[n] = newnode;
        anc[nt] = slots;
        anc[newnode] = base;
        other = newnode;
        if (carried) carried[newnode] = 0;
    }
    // From the target up, each node's ancestor becomes its descendant, and what was carried by the
    // branch above a node is now carried by the branch above its old ancestor.
    int prev = base, n = top, moving = 0;
    while (true) {
        int up = anc[n], carries = carried ? carried[n] : 0;
        anc[n] = prev;
        if (carried) carried[n] = moving;
        if (up == base) {
            anc[other] = n;
            if (carried && !carried[other]) carried[other] = carries;
            break;
        }
        moving = carries;
        prev = n;
        n = up;
    }
    anc[target] = base;
    reset_nodz(anc, carried);
    return true;
}

bool reroot(int *anc, int target, int *carried)      { return rerootbelow(anc, nt, target, carried); }
bool rerootclade(int *anc, int node, int target)     { return rerootbelow(anc, node, target, nullptr); }

void dichotomize_tree(int *anc, int seed)
{
    if (countnodes(anc) >= nodz - nt) return;
    hiscratch scratch;
    std::minstd_rand dice(unsigned(seed) * 2u + 1u);
    int *nodes = hi<int>(nodz), *kids = hi<int>(nodz), count = mkoptlist(nodes, anc), slots = anc[nt];
    for (int i = 0; i < count; ++i) {
        int node = nodes[i], fork = 0, fixed = node == nt && anc[outgroup] == nt;
        if (nodfork[node] < 3) continue;
        for (int d = lef[node]; d >= 0; d = sis[d])
            if (!fixed || d != outgroup) kids[fork++] = d;
        for (int leave = fixed ? 1 : 2; fork > leave && slots < nodz; --fork) {
            int a = dice() % fork;
            std::swap(kids[a], kids[fork - 1]);
            int b = dice() % (fork - 1);
            anc[kids[fork - 1]] = anc[kids[b]] = slots;
            anc[slots] = node;
            kids[b] = slots++;
        }
    }
    anc[nt] = slots;
    reset_nodz(anc);
}

void delnodz(int *anc, const int *marks)
{
    int slots = anc[nt];
    auto stays = [&](int n) { return n == nt || marks[n] != 1; };
    for (int n = 0; n < slots; ++n) {
        if (!hanging(anc, n)) continue;
        int kept = anc[n] & NODEBITS;
        while (!stays(kept)) kept = anc[kept] & NODEBITS;
        for (int m = n, up; m != kept; m = up) {      // shorten the way for those that come next
            up = anc[m] & NODEBITS;
            anc[m] = kept;
            if (stays(up)) break;
        }
    }
    for (int n = nt + 1; n < slots; ++n)
        if (!stays(n)) anc[n] = 0;
    reset_nodz(anc);
}

void initnet()
{
    for (int n = 0; n < nodz; ++n) anx[n] = 0;
    anx[0] = nt;
    anx[1] = anx[2] = nt + 1;
    anx[nt + 1] = nt;
    anx[nt] = nt + 2;
    mkoptlist(nodlist, anx);
}

bool isinthetree(const int *anc, int t) { return anc[t] != 0; }
int  countnodes(const int *anc) { return anc[nt] - nt; }
int  countterminals(const int *anc) { return int(std::count_if(anc, anc + nt, [](int a) { return a != 0; })); }

void joinabsent(int *anc, int *carried)
{
    int absent = 0, slots = anc[nt];
    for (int t = 0; t < nt; ++t) absent += !anc[t];
    if (!absent) return;
    for (int n = 0; n < slots; ++n)
        if (n != nt && anc[n] == nt) anc[n] = slots;
    anc[slots] = nt;
    anc[nt] = slots + 1;
    for (int t = 0; t < nt; ++t)
        if (!anc[t]) anc[t] = nt;
    if (carried) {
        carried[slots] = carried[nt];
        carried[nt] = -1;
    }
    reset_nodz(anc, carried);
}

bool prunetaxa(int *anc, const uint8_t *keep)
{
    int left = 0;
    for (int t = 0; t < nt; ++t) left += anc[t] && keep[t] == 1;
    if (left < 2) return false;
    hiscratch scratch;
    int *list = hi<int>(nodz), *fork = zhi<int>(nodz), *only = zhi<int>(nodz), count = mkoptlist(list, anc);
    auto hang = [&](int n, int sign) { fork[anc[n]] += sign; only[anc[n]] ^= n; };   // only: all descendants, xored
    for (int t = 0; t < nt; ++t)
        if (keep[t] != 1) anc[t] = 0;
    for (int n = 0; n < anc[nt]; ++n)
        if (hanging(anc, n)) hang(n, 1);
    for (int i = count - 1; i > 0; --i) {
        int n = list[i], above = anc[n], child = only[n], had = fork[n];
        if (had > 1) continue;
        hang(n, -1);
        anc[n] = 0;
        if (!had) continue;
        anc[child] = above;
        hang(child, 1);
    }
    if (fork[nt] == 1) {
        int child = only[nt];
        for (int n = 0; n < anc[nt]; ++n)
            if (n != nt && anc[n] == child) anc[n] = nt;
        anc[child] = 0;
    }
    reset_nodz(anc);
    return true;
}

void checktree([[maybe_unused]] const int *anc)
{
#ifndef NDEBUG
    int slots = anc[nt], terminals = 0;
    assert(slots > nt && slots <= nodz);
    hiscratch scratch;
    int *fork = zhi<int>(nodz), *met = zhi<int>(nodz);
    for (int n = 0; n < slots; ++n) {
        if (n == nt) continue;
        int a = anc[n] & NODEBITS;
        assert(a ? a >= nt && a < slots && a != n : n < nt);
        if (!a) continue;
        ++fork[a];
        terminals += n < nt;
    }
    assert(terminals >= 2);
    for (int n = nt; n < slots; ++n) assert(fork[n] >= 2);
    met[nt] = 1;                                     // every node reaches the root: there is no cycle
    for (int n = 0; n < slots; ++n) {
        if (!hanging(anc, n)) continue;
        int steps = 0, m = n;
        for (; !met[m]; m = anc[m] & NODEBITS) assert(++steps <= slots);
        for (m = n; !met[m]; m = anc[m] & NODEBITS) met[m] = 1;
    }
#endif
}
