// onecell.h: the formulas of packed sets, one cell at a time and for one class of fields each: what
// every vector kernel must agree with.
#pragma once
#include <cstdint>

namespace onecell {

inline int countbits(uint32_t x) { int n = 0; for (; x; x &= x - 1) ++n; return n; }

// One bit for each empty field of x; bits is the width of a field.
inline uint32_t emptyfields(uint32_t x, int bits)
{
    switch (bits) {
    case 2:  return ~((x >> 1) | x) & 0x55555555;
    case 4:  return ~(((x & 0x77777777) + 0x77777777) | x) & 0x88888888;
    case 8:  return ~(((x & 0x7f7f7f7f) + 0x7f7f7f7f) | x) & 0x80808080;
    case 16: return (x & 0xffff ? 0 : 0x8000) | (x >> 16 ? 0 : 0x80000000);
    default: return x ? 0 : 0x80000000;
    }
}

// All bits of the fields marked by emptyfields.
inline uint32_t whole(uint32_t e, int bits)
{
    return bits == 2 ? e | e << 1 : e | (e - (e >> (bits - 1)));
}

struct node { uint32_t dn, either, up, branch; };

// First pass; returns the mark of fields with a step.
inline uint32_t down(uint32_t a, uint32_t b, int bits, uint32_t *dn, uint32_t *either)
{
    uint32_t x = a & b, e = emptyfields(x, bits), m = whole(e, bits);
    *dn = x | (m & (a | b));
    *either = a | b | m;
    return e;
}

// Fields in which f has a state outside d.
inline uint32_t outside(uint32_t f, uint32_t d, int bits)
{
    uint32_t y = ~d & f;
    switch (bits) {
    case 2:  return whole((y | y >> 1) & 0x55555555, 2);
    case 4:  return whole((((y & 0x77777777) + 0x77777777) | y) & 0x88888888, 4);
    case 8:  return whole((((y & 0x7f7f7f7f) + 0x7f7f7f7f) | y) & 0x80808080, 8);
    case 16: return (y & 0xffff ? 0xffff : 0) | (y >> 16 ? 0xffff0000 : 0);
    default: return y ? ~0u : 0;
    }
}

inline uint32_t finalset(uint32_t f, uint32_t dn, uint32_t either, int bits)
{
    uint32_t m = outside(f, dn, bits);
    return f ^ (m & (((either & f) | dn) ^ f));
}

inline uint32_t terminalbranch(uint32_t f, uint32_t dn, int bits)
{
    return f | (outside(f, dn, bits) & dn);
}

// Weight of the marked fields: a weight a field, 16 places a cell as the packed image has them.
inline long weigh(uint32_t e, int bits, const uint32_t *fieldwts)
{
    long sum = 0;
    for (int b = 0; b < 32; ++b)
        if (e >> b & 1) {
            int top = bits == 2 ? b + 1 : b;
            sum += fieldwts[top / 2];
        }
    return sum;
}

}  // namespace onecell
