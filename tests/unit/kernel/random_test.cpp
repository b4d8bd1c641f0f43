#include "kernel/random.h"
#include <cstdlib>
#include <gtest/gtest.h>
#include <set>
#include <vector>

TEST(Random, TheSameSeedGivesTheSameNumbers)
{
    int was = ranseed;
    ranseed = 17;
    randinit();
    int first = rand(), second = rand();
    randinit();
    EXPECT_EQ(rand(), first);
    ranseed = -1;
    randinit();
    EXPECT_EQ(rand(), second) << "-1 leaves the generator running";
    ranseed = was;
}

TEST(Random, ASeedIsNeverTakenTwice)
{
    srand(5);
    std::vector<int> seeds;
    for (int i = 0; i < 500; ++i) {
        int wanted = i % 7;                       // most are taken already
        int seed = chkseed(seeds.data(), int(seeds.size()), wanted);
        EXPECT_GE(seed, 0);
        if (i < 7) { EXPECT_EQ(seed, wanted); }
        seeds.push_back(seed);
    }
    EXPECT_EQ(std::set<int>(seeds.begin(), seeds.end()).size(), seeds.size());
}
