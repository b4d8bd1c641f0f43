// Kernels for any machine: vectors of 4 cells, in the vector unit where there is one.
#include "search/kernels.h"

namespace {

constexpr int N = 4;
typedef uint32_t vec __attribute__((vector_size(N * 4)));
typedef uint32_t loosevec __attribute__((vector_size(N * 4), aligned(4), may_alias));
typedef uint64_t halves __attribute__((vector_size(N * 4)));

inline bool anybit(vec x)
{
    halves h = (halves) x;
    return (h[0] | h[1]) != 0;
}

// Top bits of fields stand at odd places, so a second word fits in between.
inline uint32_t countbits(vec e)
{
    halves h = (halves) e;
    uint64_t x = h[0] | h[1] >> 1;
    x -= x >> 1 & 0x5555555555555555;
    x = (x & 0x3333333333333333) + (x >> 2 & 0x3333333333333333);
    x = (x + (x >> 4)) & 0x0f0f0f0f0f0f0f0f;
    return uint32_t(x * 0x0101010101010101 >> 56);
}

// Bits of any vector, in parts that can be added up, up to 31 of them, before they are summed.
inline vec partcounts(vec x)
{
    x -= x >> 1 & 0x55555555;
    x = (x & 0x33333333) + (x >> 2 & 0x33333333);
    return (x + (x >> 4)) & 0x0f0f0f0f;
}

// A whole vector has no more than 128 bits, but the sum of 31 does not fit a byte.
inline uint32_t sumparts(vec bytes)
{
    halves h = (halves) ((bytes & 0x00ff00ff) + (bytes >> 8 & 0x00ff00ff));
    return uint32_t((h[0] * 0x0001000100010001 >> 48) + (h[1] * 0x0001000100010001 >> 48));
}

inline vec countcells(vec e)
{
    e >>= 1;                                           // one bit a pair
    e = (e & 0x33333333) + (e >> 2 & 0x33333333);
    e = (e + (e >> 4)) & 0x0f0f0f0f;
    e += e >> 8;
    return (e + (e >> 16)) & 0x1f;
}

inline uint32_t sumcells(vec x)
{
    return x[0] + x[1] + x[2] + x[3];
}

// A bit for each byte: its top bit.
inline uint64_t bytemask(vec x)
{
    constexpr uint64_t GATHER = 0x0002040810204081;              // top bits of eight bytes to the highest byte
    halves h = (halves) (x & 0x80808080);
    return h[0] * GATHER >> 56 | h[1] * GATHER >> 56 << 8;
}

// Bytes of w where the byte of x has its top bit, added up in each cell.
inline vec addbytes(vec x, vec w)
{
    typedef int8_t bytes __attribute__((vector_size(N * 4)));
    vec marked = (vec) ((bytes) x < 0) & w;
    vec y = (marked & 0x00ff00ff) + (marked >> 8 & 0x00ff00ff);
    return (y & 0xffff) + (y >> 16);
}

// From the top bit of each field to its foot.  Without a shift by a different amount in each cell,
// which the baseline lacks, cells of one class go together; classes meet in at most four vectors.
inline vec tofeet(vec e, vec shift)
{
    if (shift[0] == shift[N - 1]) return e >> int(shift[0]);
    return vec{ e[0] >> shift[0], e[1] >> shift[1], e[2] >> shift[2], e[3] >> shift[3] };
}

#include "search/kernels_body.h"

}  // namespace

const kernelset basekernels = makekernels("base");
