#include "kernel/bits.h"
#include <bit>
#include <gtest/gtest.h>
#include <random>

TEST(BitTables, CountTheBitsOfEveryHalfWord)
{
    initbits();
    for (uint32_t i = 0; i < 65536; ++i) ASSERT_EQ(tmems[i], std::popcount(i)) << i;
}

TEST(BitTables, FindTheEndsOfEveryByte)
{
    initbits();
    EXPECT_EQ(lobix[0], 8);
    EXPECT_EQ(hibix[0], 255);
    for (uint32_t i = 1; i < 256; ++i) {
        EXPECT_EQ(lobix[i], std::countr_zero(i)) << i;
        EXPECT_EQ(hibix[i], std::bit_width(i) - 1) << i;
    }
}

TEST(BitTables, ServeWholeWords)
{
    initbits();
    EXPECT_EQ(flobix(0), 32);
    EXPECT_EQ(fhibix(0), -1);
    std::mt19937 random(3);
    for (int trial = 0; trial < 10000; ++trial) {
        uint32_t x = uint32_t(random()) >> (random() % 32) << (random() % 32);
        if (!x) continue;
        ASSERT_EQ(fmems(x), std::popcount(x)) << x;
        ASSERT_EQ(flobix(x), std::countr_zero(x)) << x;
        ASSERT_EQ(fhibix(x), std::bit_width(x) - 1) << x;
    }
}
