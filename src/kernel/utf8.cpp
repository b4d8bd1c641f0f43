// Text as it leaves the program.  Trees are drawn with single bytes in the text buffer, among
// names that may hold UTF-8 or Latin-1; a reader outside gets UTF-8 throughout.
#include "kernel/output.h"
#include <cstdint>
#include <cstring>

static const char *glyph(unsigned char c)
{
    switch (c) {
        case 179: return "\u2502";
        case 180: return "\u2524";
        case 192: return "\u2514";
        case 193: return "\u2534";
        case 195: return "\u251c";
        case 196: return "\u2500";
        case 197: return "\u253c";
        case 218: return "\u250c";
    }
    return nullptr;
}

// Bytes of the sequence that c begins; 0 when it begins none.
static int sequencelength(unsigned char c)
{
    if (c < 0x80) return 1;
    if (c >= 0xc2 && c <= 0xdf) return 2;
    if (c >= 0xe0 && c <= 0xef) return 3;
    if (c >= 0xf0 && c <= 0xf4) return 4;
    return 0;
}

// Of the n bytes at s, how many agree with the sequence that the first begins.  Overlong forms,
// surrogates and what lies beyond the last code point are refused at the second byte.
static int agreeing(const unsigned char *s, size_t n)
{
    int length = sequencelength(s[0]);
    if (!length) return 0;
    int i = 1;
    for (; i < length && size_t(i) < n; ++i) {
        unsigned char low = 0x80, high = 0xbf;
        if (i == 1) {
            if (s[0] == 0xe0) low = 0xa0;
            if (s[0] == 0xed) high = 0x9f;
            if (s[0] == 0xf0) low = 0x90;
            if (s[0] == 0xf4) high = 0x8f;
        }
        if (s[i] < low || s[i] > high) break;
    }
    return i;
}

// A horizontal stroke before a vertical one or a tee is also a valid sequence; trees are the
// likelier reading.
static bool strokes(const unsigned char *s, size_t n)
{
    return n > 1 && s[0] == 0xc4 && (s[1] == 0xb3 || s[1] == 0xb4);
}

static void byteout(unsigned char c, FILE *to)
{
    if (const char *g = glyph(c)) {
        fputs(g, to);
        return;
    }
    fputc(0xc0 | c >> 6, to);
    fputc(0x80 | (c & 0x3f), to);
}

void utf8out(const char *text, size_t n, FILE *to)
{
    const unsigned char *s = reinterpret_cast<const unsigned char *>(text), *end = s + n;
    while (s < end) {
        const unsigned char *plain = s;
        while (s < end && *s < 0x80) ++s;
        if (s > plain) fwrite(plain, 1, size_t(s - plain), to);
        if (s == end) return;
        size_t left = size_t(end - s);
        int length = sequencelength(*s);
        if (length && agreeing(s, left) == length && !strokes(s, left)) {
            fwrite(s, 1, size_t(length), to);
            s += length;
        } else
            byteout(*s++, to);
    }
}

size_t utf8whole(const char *text, size_t n)
{
    const unsigned char *s = reinterpret_cast<const unsigned char *>(text);
    for (size_t back = 1; back <= 3 && back <= n; ++back) {
        const unsigned char *at = s + n - back;
        int length = sequencelength(*at);
        if (length > int(back) && agreeing(at, back) == int(back)) return n - back;
        if (*at < 0x80) break;
    }
    return n;
}
