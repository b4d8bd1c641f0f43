// Costs rounded down to bytes: that they never tell more than the costs, and renew themselves as costs change.
#include "searchtest.h"
#include "search/costbytes.h"
#include "search/evaldata.h"
#include "search/spr.h"
#include "search/tbr.h"
#include "search/wagner.h"
#include "trees/implied.h"
#include "trees/pack.h"
#include <gtest/gtest.h>

static std::string evolvedtext(int taxa, int chars, unsigned seed)
{
    std::mt19937 rng(seed);
    std::vector<std::string> rows{ std::string(size_t(chars), '0') };
    while (int(rows.size()) < taxa) {
        std::string row = rows[rng() % rows.size()];
        for (int c = 0; c < chars; ++c)
            if (rng() % 8 == 0) row[size_t(c)] = char('0' + rng() % (c % 3 ? 2 : 5));
        rows.push_back(row);
    }
    std::string text = "xread " + std::to_string(chars) + " " + std::to_string(taxa) + "\n";
    for (int t = 0; t < taxa; ++t) text += "t" + std::to_string(t) + " " + rows[size_t(t)] + "\n";
    return text + ";\n";
}

// The byte of a place, in units of costs.
static int64_t rounded(int place)
{
    uint32_t cell = ed.fieldbytes[place % 4 * size_t(rowcells) + place / 16];
    return int64_t(cell >> place % 16 / 4 * 8 & 255) << ed.byteshift;
}

template<class F> static void search(const std::string &settings, const std::string &after, F f)
{
    zelrun("mxram 64; xwipe; piwe-; xpiwe-; nstates 8;" + settings);
    zelrun("procedure " + writefile("costbytes.xread", evolvedtext(30, 60, 4) + after + "procedure/;\n") + ";");
    ASSERT_FALSE(zelfailed());
    precheck(multcom, ';', 0);
    f();
    end_of_search();
    loset(minseg);
    hiset(maxeg);
    zelrun("xpiwe-; piwe-; nstates 16;");
}

TEST(CostBytes, ThereAreNoneWhenWeightsAreOfCells)
{
    search("", "", [] { EXPECT_EQ(ed.fieldbytes, nullptr); });
}

TEST(CostBytes, FollowTheCostsOfNextStepsThroughABuildAndSwaps)
{
    for (const char *kind : { "", "xpiwe[=5;" })
        search("piwe=4;", kind, [] {
            wagner(anx, 3);
            for (auto *swapper : { sprswap, tbrswap }) {
                swapper(anx, 0, 0);
                for (int i = 0; i < foldcells * 16; ++i) {
                    EXPECT_LE(rounded(i), ed.fieldfits[i]);
                    if (rounded(i) < 255ll << ed.byteshift) {
                        EXPECT_GT(rounded(i) + (1ll << ed.byteshift), ed.fieldfits[i]);
                    }
                }
            }
        });
}

TEST(CostBytes, TheUnitFollowsTheMeanCost)
{
    search("piwe=4;", "", [] {
        wagner(anx, 3);
        schoptimize(anx, 1);
        std::vector<int64_t> costs(size_t(foldcells) * 16);
        auto scale = [&](int64_t cost) {
            costsum = 0;
            for (int i = 0; i < foldcells * 16; ++i) {
                if (placerecords[i] < 0) continue;
                costsum += costs[size_t(i)] = cost;
                putcostbyte(i, cost);
            }
            renewcostbytes(costs.data());
            for (int i = 0; i < foldcells * 16; ++i)
                if (placerecords[i] >= 0) {
                    EXPECT_LE(rounded(i), cost);
                    EXPECT_GE(rounded(i), cost - cost / 16);
                }
        };
        for (int64_t cost : { 1000ll, 1000000ll, 1000000000ll, 3000ll, 50ll, 0ll }) scale(cost);
    });
}

TEST(CostBytes, SearchesAreTheSameWithoutThem)
{
    for (const char *kind : { "", "xpiwe[=5;" })
        search("piwe=4;", kind, [] {
            double with = 0, without = 0;
            for (double *score : { &with, &without }) {
                if (score == &without) ed.fieldbytes = nullptr;
                wagner(anx, 5);
                *score = tbrswap(anx, 0, 0);
            }
            EXPECT_EQ(with, without);
        });
}
