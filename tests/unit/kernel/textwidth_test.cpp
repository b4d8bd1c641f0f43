// How many columns of a screen a text takes.
#include "kernel/output.h"
#include <gtest/gtest.h>
#include <cstring>

TEST(Textwidth, CountsColumnsRatherThanBytes)
{
    struct { const char *text; int columns; } expected[] = {
        { "", 0 }, { "abc", 3 }, { "é", 1 }, { "e\u0301", 1 }, { "漢字", 4 }, { "한", 2 }, { "a漢b", 4 }, { "\u200b", 0 },
        { "\U0001f41d", 2 }, { "αβγ", 3 }, { "\xc4\xc4\xb3", 3 },       // strokes of a tree
        { "\xe9t\xe9", 3 }, { "\xe6\xbc", 2 }, { "\xff", 1 },           // bytes that are no UTF-8 show as one sign each
    };
    for (auto &e : expected) EXPECT_EQ(textwidth(e.text, strlen(e.text)), e.columns) << e.text;
}

TEST(Textwidth, GoesByWholeCharacters)
{
    struct { const char *text; size_t bytes; } expected[] = {
        { "abc", 1 }, { "éa", 2 }, { "漢字", 3 }, { "\U0001f41d", 4 }, { "\xe6\xbc", 1 }, { "\xc4\xb3x", 1 },
    };
    for (auto &e : expected) EXPECT_EQ(firstchar(e.text, strlen(e.text)), e.bytes) << e.text;
}
