// The bit tables.  Sets of taxa and of states are walked by whole bytes and words.
#include "kernel/bits.h"

uint8_t tmems[65536 + 16], lobix[256], hibix[256];

void initbits()
{
    for (int i = 1; i < 65536; ++i) tmems[i] = uint8_t(tmems[i >> 1] + (i & 1));
    // x & -x leaves the lowest bit; one less than it has as many bits as the index of that bit.
    lobix[0] = 8;
    for (int i = 1; i < 256; ++i) lobix[i] = tmems[(i & -i) - 1];
    hibix[0] = 255;
    for (int bit = 0; bit < 8; ++bit)
        for (int i = 1 << bit; i < 2 << bit; ++i) hibix[i] = uint8_t(bit);
}

int flobix(uint32_t x)
{
    int at = 0;
    for (; at < 32 && !(x & 255); at += 8) x >>= 8;
    return at < 32 ? at + lobix[x & 255] : 32;
}

int fhibix(uint32_t x)
{
    int at = 24;
    for (; at >= 0 && !(x >> at); at -= 8) {}
    return at >= 0 ? at + hibix[x >> at] : -1;
}
