// Text as it leaves the program.  Trees are drawn with single bytes in the text buffer, among
// names that may hold UTF-8 or Latin-1; a reader outside gets UTF-8 throughout.
#include "kernel/utf8.h"
#include "kernel/output.h"
#include <cstdint>
#include <cstdlib>
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

std::string inutf8(const std::string &text)
{
    char *bytes = nullptr;
    size_t n = 0;
    FILE *f = open_memstream(&bytes, &n);
    utf8out(text.data(), text.size(), f);
    fclose(f);
    std::string converted(bytes, n);
    free(bytes);
    return converted;
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

// --- columns -----------------------------------------------------------------------------

size_t firstchar(const char *text, size_t n)
{
    const unsigned char *s = reinterpret_cast<const unsigned char *>(text);
    int length = sequencelength(*s);
    return length > 1 && agreeing(s, n) == length && !strokes(s, n) ? size_t(length) : 1;
}

struct coderange { uint32_t first, last; };

// Marks that stand over, under or inside the character before them, and signs without a shape.
static constexpr coderange nocolumn[] = {
    { 0x0300, 0x036f }, { 0x0483, 0x0489 }, { 0x0591, 0x05bd }, { 0x05bf, 0x05bf }, { 0x05c1, 0x05c2 },
    { 0x05c4, 0x05c5 }, { 0x0610, 0x061a }, { 0x064b, 0x065f }, { 0x0670, 0x0670 }, { 0x06d6, 0x06dc },
    { 0x0900, 0x0902 }, { 0x093a, 0x093a }, { 0x093c, 0x093c }, { 0x0941, 0x0948 }, { 0x094d, 0x094d },
    { 0x0e31, 0x0e31 }, { 0x0e34, 0x0e3a }, { 0x0e47, 0x0e4e }, { 0x1160, 0x11ff }, { 0x1ab0, 0x1aff },
    { 0x1dc0, 0x1dff }, { 0x200b, 0x200f }, { 0x202a, 0x202e }, { 0x2060, 0x2064 }, { 0x20d0, 0x20f0 },
    { 0x302a, 0x302d }, { 0x3099, 0x309a }, { 0xfe00, 0xfe0f }, { 0xfe20, 0xfe2f }, { 0xfeff, 0xfeff },
    { 0xe0100, 0xe01ef }
};
static constexpr coderange twocolumns[] = {
    { 0x1100, 0x115f }, { 0x2e80, 0x303e }, { 0x3041, 0x33ff }, { 0x3400, 0x4dbf }, { 0x4e00, 0x9fff },
    { 0xa000, 0xa4cf }, { 0xa960, 0xa97f }, { 0xac00, 0xd7a3 }, { 0xf900, 0xfaff }, { 0xfe30, 0xfe6f },
    { 0xff00, 0xff60 }, { 0xffe0, 0xffe6 }, { 0x1f300, 0x1f64f }, { 0x1f680, 0x1f6ff }, { 0x1f900, 0x1f9ff },
    { 0x20000, 0x3fffd }
};

template<size_t N> static bool within(const coderange (&ranges)[N], uint32_t code)
{
    for (const coderange &r : ranges)
        if (code >= r.first && code <= r.last) return true;
    return false;
}

int textwidth(const char *text, size_t n)
{
    int columns = 0;
    for (size_t i = 0, length; i < n; i += length) {
        length = firstchar(text + i, n - i);
        if (length == 1) {
            ++columns;
            continue;
        }
        uint32_t code = static_cast<unsigned char>(text[i]) & (0x7fu >> length);
        for (size_t k = 1; k < length; ++k) code = code << 6 | (static_cast<unsigned char>(text[i + k]) & 0x3f);
        columns += within(nocolumn, code) ? 0 : within(twocolumns, code) ? 2 : 1;
    }
    return columns;
}
