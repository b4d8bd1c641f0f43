#include "search/costbytes.h"
#include "search/evaldata.h"
#include "kernel/arena.h"
#include "trees/imagevars.h"
#include "trees/pack.h"
#include <algorithm>
#include <bit>

int64_t costsum, leastcostsum, mostcostsum;

static uint32_t *bytes;                      // null: costs are not rounded for this image
static int usedplaces;

[[maybe_unused]] static const keptwithimage ofimage(costsum, leastcostsum, mostcostsum, bytes, usedplaces);

// Top bit b of a field is bit 2 * (place % 16) + 1: byte place % 16 / 4 of its cell, row place % 4.
void putcostbyte(int place, int64_t cost)
{
    constexpr int64_t MOST = 255;
    uint32_t *cell = bytes + place % 4 * size_t(rowcells) + place / 16;
    int at = place % 16 / 4 * 8;
    uint32_t byte = uint32_t(std::min(cost >> ed.byteshift, MOST));
    *cell = (*cell & ~(255u << at)) | byte << at;
}

// The mean is from 32 to 63 units, unless costs are lower than that.
static void setunit()
{
    constexpr int MEANBITS = 6, LOWER = 2, HIGHER = 1;
    int64_t mean = costsum / std::max(1, usedplaces);
    int shift = std::max(0, int(std::bit_width(uint64_t(mean))) - MEANBITS), bits = shift + MEANBITS;
    ed.byteshift = shift;
    leastcostsum = shift ? int64_t(usedplaces) << (bits - LOWER) : 0;
    mostcostsum = int64_t(usedplaces) << (bits + HIGHER);
}

void roundcosts(const int64_t *costs)
{
    setunit();
    for (int i = 0; i < foldcells * 16; ++i)
        if (placerecords[i] >= 0) putcostbyte(i, costs[i]);
}

static void roundweights()
{
    for (int i = 0; i < foldcells * 16; ++i)
        if (placerecords[i] >= 0) costsum += fieldwts[i];
    setunit();
    for (int i = 0; i < foldcells * 16; ++i)
        if (placerecords[i] >= 0) putcostbyte(i, fieldwts[i]);
}

void costbytemem()
{
    costsum = leastcostsum = mostcostsum = 0;
    bytes = nullptr;
    ed.fieldbytes = nullptr;
    ed.byteshift = usedplaces = 0;
    ed.twobits = nc2;
    weightkind kind = packweightkind();
    if (kind != WT_FIELD && kind != WT_FIT) return;
    bytes = zlo<uint32_t>(4 * size_t(rowcells));
    ed.fieldbytes = bytes;
    for (int i = 0; i < foldcells * 16; ++i) usedplaces += placerecords[i] >= 0;
    if (kind == WT_FIELD) roundweights();
}
