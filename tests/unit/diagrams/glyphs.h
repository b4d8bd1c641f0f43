// glyphs.h: which strokes meet in a glyph of a diagram.
#pragma once

enum { N = 1, E = 2, S = 4, W = 8 };

inline int strokesof(unsigned char glyph)
{
    switch (glyph) {
        case 179: return N | S;
        case 180: return N | S | W;
        case 192: return N | E;
        case 193: return N | E | W;
        case 195: return N | S | E;
        case 196: return E | W;
        case 218: return S | E;
    }
    return 0;
}
