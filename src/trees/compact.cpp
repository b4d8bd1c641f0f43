// The compact form of trees.  A tree is rebuilt by inserting the taxa in number order; for each,
// a code tells the branch, or the node, to which it is joined.
//
// The list of places holds taxa 0 and 1 and the root, then each new taxon and the node made for
// it.  A code is an index in the list above a flag bit, in as many bits as the last index needs:
//
//      flag clear: a new node upon the branch below which the indexed node hangs
//      flag set:   one more descendant of the indexed node's ancestor
//
// To write it without building partial trees: the nodes whose lowest terminal is t form a path
// upwards from t, its chain.  A node exists in the partial tree from its second lowest terminal
// on (its birth), the lowest terminals of its descendants being what hangs from it.  So the branch
// on which a node is born starts at the nearest node under it, along its chain, of an earlier birth.
#include "trees/treefile.h"
#include "trees/scratch.h"
#include "trees/treemodel.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include <bit>
#include <cassert>
#include <climits>

static int wordbytes() { return nt < BIGTAXA ? 2 : 4; }

static void putnumber(std::string *out, uint32_t n, int bytes)
{
    for (int i = 0; i < bytes; ++i) out->push_back(char(n >> 8 * i & 255));
}

void convertheader(std::string *header)
{
    header->clear();
    putnumber(header, nt < BIGTAXA ? nt : 0, 2);
    if (nt >= BIGTAXA) putnumber(header, nt, 4);
}

// Bits of an index into a list of that many places.
static int indexbits(int places) { return std::bit_width(unsigned(places - 1)); }

namespace {
struct bitwriter {
    std::string *out;
    uint64_t held = 0;
    int bits = 0;
    void put(uint32_t value, int n)
    {
        held |= uint64_t(value) << bits;
        for (bits += n; bits >= 8; bits -= 8, held >>= 8) out->push_back(char(held & 255));
    }
    void flush(int word)
    {
        if (bits > 0) out->push_back(char(held & 255));
        while (out->size() % word) out->push_back(0);
    }
};

struct bitreader {
    const uint8_t *at, *end;
    uint64_t held = 0;
    int bits = 0;
    bool get(int n, uint32_t *value)
    {
        for (; bits < n; bits += 8) {
            if (at == end) return false;
            held |= uint64_t(*at++) << bits;
        }
        *value = uint32_t(held & ((uint64_t(1) << n) - 1));
        held >>= n;
        bits -= n;
        return true;
    }
};
}

void convertree(const int *anc, std::string *codes)
{
    hiscratch scratch;
    int slots = anc[nt];
    int *list = hi<int>(nodz), *lowest = hi<int>(nodz), *birth = hi<int>(nodz), *depth = hi<int>(nodz);
    int *under = hi<int>(nodz), *place = hi<int>(nodz), *highest = hi<int>(nt), *joined = hi<int>(nt);
    int count = mkoptlist(list, anc);
    for (int n = 0; n < slots; ++n) lowest[n] = n < nt ? n : INT_MAX, birth[n] = INT_MAX;
    depth[nt] = 0;
    for (int i = 1; i < count; ++i) depth[list[i]] = depth[anc[list[i]]] + 1;
    for (int i = count - 1; i >= 0; --i)
        for (int v = list[i], d = lef[v]; d >= 0; d = sis[d]) {
            if (lowest[d] < lowest[v]) birth[v] = lowest[v], lowest[v] = lowest[d];
            else if (lowest[d] < birth[v]) birth[v] = lowest[d];
        }
    // joined[t]: the node from which the top of t's chain hangs.
    for (int n = 0; n < slots; ++n)
        if (n != nt && lowest[n] != lowest[anc[n]]) joined[lowest[n]] = anc[n];
    // under[v]: the nearest node below on the chain born earlier, or its terminal.  The way there
    // goes over those already known, each step skipping what was born later.
    for (int i = count - 1; i >= 0; --i) {
        int v = list[i], u = lef[v];
        while (lowest[u] != lowest[v]) u = sis[u];
        while (u >= nt && birth[u] > birth[v]) u = under[u];
        under[v] = u;
    }

    std::string stream;
    bitwriter bits{ &stream };
    int places = 3;
    place[0] = 0;
    place[1] = 1;
    int top = joined[1];                            // where the paths of taxa 0 and 1 meet
    place[top] = 2;
    for (int t = 0; t < nt; ++t) highest[t] = t;    // the highest node born on each chain
    highest[0] = top;
    for (int t = 2; t < nt; ++t) {
        int v = joined[t], w = indexbits(places);
        if (birth[v] == t) {
            bits.put(uint32_t(place[under[v]]) << 1, w + 1);
            place[t] = places++;
            place[v] = places++;
            int &high = highest[lowest[v]];
            if (high < nt || depth[v] < depth[high]) high = v;
        }
        else {
            bits.put(uint32_t(place[highest[birth[v]]]) << 1 | 1, w + 1);
            place[t] = places++;
        }
    }
    bits.flush(wordbytes());
    codes->clear();
    putnumber(codes, uint32_t(stream.size() / wordbytes()), wordbytes());
    *codes += stream;
}

bool revertree(const uint8_t *codes, size_t bytes, int *anc)
{
    hiscratch scratch;
    int *list = hi<int>(2 * size_t(nodz)), places = 3, top = nt, next = nt + 1;
    for (int n = 0; n < nodz; ++n) anc[n] = 0;
    anc[0] = anc[1] = nt;
    list[0] = 0;
    list[1] = 1;
    list[2] = nt;
    bitreader bits{ codes, codes + bytes };
    for (int t = 2; t < nt; ++t) {
        uint32_t code;
        if (!bits.get(indexbits(places) + 1, &code)) return false;
        if (int(code >> 1) >= places) return false;
        int at = list[code >> 1];
        list[places++] = t;
        if (code & 1) {
            if (at == top) return false;
            anc[t] = anc[at];
            continue;
        }
        int n = next++;
        if (at == top) top = n;
        else anc[n] = anc[at];
        anc[t] = anc[at] = n;
        list[places++] = n;
    }
    // The root of all is called nt, whatever number it was given.
    if (top != nt) {
        int above = anc[nt];
        for (int n = 0; n < next; ++n) {
            if (n == nt || n == top) continue;
            if (anc[n] == nt) anc[n] = top;
            else if (anc[n] == top) anc[n] = nt;
        }
        anc[top] = above == top ? nt : above;
    }
    anc[nt] = next;
    reset_nodz(anc);
    return true;
}
