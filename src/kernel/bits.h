// kernel/bits.h: bit tables for code that would otherwise loop over bits.
#pragma once
#include <cstdint>

extern uint8_t tmems[65536 + 16];    // set bits of a 16-bit value
extern uint8_t lobix[256];           // lowest set bit of a byte; lobix[0] = 8
extern uint8_t hibix[256];           // highest set bit of a byte; hibix[0] = 255
void initbits();

inline int fmems(uint32_t x) { return tmems[x & 0xffff] + tmems[x >> 16]; }
int flobix(uint32_t x);              // lowest set bit, 32 for 0
int fhibix(uint32_t x);              // highest set bit, -1 for 0
