// States, minima and maxima against plain enumerations.
#include "datatest.h"
#include "data/minmax.h"
#include <algorithm>
#include <bit>
#include <functional>
#include <random>
#include <set>

// All ways of giving each cell one of its states (or, ordered, one of its range).
static void everychoice(const std::vector<uint32_t> &cells, bool ordered,
                        const std::function<void(const std::vector<int> &)> &f)
{
    std::vector<int> choice(cells.size());
    std::function<void(size_t)> go = [&](size_t i) {
        if (i == cells.size()) { f(choice); return; }
        int low = std::countr_zero(cells[i]), high = std::bit_width(cells[i]) - 1;
        for (int s = low; s <= high; ++s)
            if (ordered || (cells[i] >> s & 1)) { choice[i] = s; go(i + 1); }
    };
    go(0);
}

static int fewestunordered(const std::vector<uint32_t> &cells)
{
    int best = 1000;
    everychoice(cells, false, [&](const std::vector<int> &c) {
        best = std::min(best, int(std::set<int>(c.begin(), c.end()).size()) - 1);
    });
    return best;
}

static int fewestordered(const std::vector<uint32_t> &cells)
{
    int best = 1000;
    everychoice(cells, true, [&](const std::vector<int> &c) {
        best = std::min(best, *std::max_element(c.begin(), c.end()) - *std::min_element(c.begin(), c.end()));
    });
    return best;
}

static int mostonabush(const std::vector<uint32_t> &cells, bool ordered)
{
    int best = 100000;
    for (int s = 0; s < 16; ++s) {
        int sum = 0;
        for (uint32_t x : cells) {
            int low = std::countr_zero(x), high = std::bit_width(x) - 1;
            if (ordered) sum += std::max({ 0, low - s, s - high });
            else sum += !(x >> s & 1);
        }
        best = std::min(best, sum);
    }
    return best;
}

// What reading in the order of the taxa gives without exact minima.
static int heuristicminimum(const std::vector<uint32_t> &cells)
{
    std::set<int> singles;
    for (uint32_t x : cells)
        if (std::has_single_bit(x)) singles.insert(std::countr_zero(x));
    int steps = int(singles.size()) - 1;
    uint32_t seen = 0;
    for (int s : singles) seen |= 1u << s;
    for (uint32_t x : cells)
        if (!(x & seen)) { ++steps; seen |= x; }
    return steps;
}

class RandomCharacters : public testing::Test {
protected:
    std::mt19937 rng{ 7 };
    int number(int n) { return int(rng() % unsigned(n)); }

    // A matrix of cells of up to three states, some missing or inapplicable.
    void fill(int states)
    {
        for (int t = 0; t < nt; ++t)
            for (int c = 0; c < nc; ++c) {
                uint32_t x = 0;
                int kind = number(12);
                if (kind < 2) x = kind ? MISSING : INAPPSET;
                else for (int i = kind < 5 ? 1 + number(3) : 1; i > 0; --i) x |= 1u << number(states);
                setcell(t, c, x);
            }
        for (int c = 0; c < nc; ++c) charcodes[c].recalc = 1;
        chartables_reset();
    }
    std::vector<uint32_t> informativecells(int c)
    {
        std::vector<uint32_t> cells;
        for (int t = 0; t < nt; ++t)
            if (!ismissing(cell(t, c)) && (!check_only_active_taxa || taxact[t])) cells.push_back(cell(t, c));
        return cells;
    }
};

TEST_F(RandomCharacters, HaveTheirSetsCounted)
{
    fresh();
    zelrun("xread / 60 7 2;");
    for (int trial = 0; trial < 10; ++trial) {
        check_only_active_taxa = trial & 1;
        taxact[2] = taxact[6] = !(trial & 2);
        fill(6);
        set_charcodes();
        for (int c = 0; c < nc; ++c) {
            uint32_t sets = 0, multi = 0;
            for (int s = 0; s < 16; ++s) {
                int n = 0;
                for (uint32_t x : informativecells(c)) n += x >> s & 1;
                if (n) sets |= 1u << s;
                if (n > 1) multi |= 1u << s;
            }
            EXPECT_EQ(charcodes[c].sets, sets);
            EXPECT_EQ(charcodes[c].multi, multi);
            EXPECT_EQ(charcodes[c].numstates, int(std::bit_width(sets)));
        }
    }
    taxact[2] = taxact[6] = 1;
    fresh();
}

TEST_F(RandomCharacters, HaveMinimaAndMaximaOfTheEnumeration)
{
    for (const char *width : { "8", "16", "32" }) {
        fresh(std::string("nstates num ") + width + ";");
        zelrun("xread / 80 7 2;");
        for (int trial = 0; trial < 6; ++trial) {
            use_exact_mincalc = trial & 1;
            fill(2 + trial);
            bool ordered = trial > 3;
            for (int c = 0; c < nc; ++c) charcodes[c].additive = ordered;
            set_charcodes();
            for (int c = 0; c < nc; ++c) {
                auto cells = informativecells(c);
                const charrec &r = charcodes[c];
                uint32_t all = 0;
                for (uint32_t x : cells) all |= x;
                int least = 0, most = 0;
                if (cells.size() > 1 && std::popcount(all) > 1) {
                    most = mostonabush(cells, ordered);
                    least = ordered             ? fewestordered(cells)
                            : use_exact_mincalc ? fewestunordered(cells)
                                                : heuristicminimum(cells);
                }
                EXPECT_EQ(r.minsteps, least) << c;
                EXPECT_EQ(r.maxsteps, most) << c;
                EXPECT_EQ(r.informative, least != most) << c;
            }
        }
    }
    fresh();
}

TEST_F(RandomCharacters, ExactMinimumIsTheSmallestSetThatMeetsAllCells)
{
    zelrun(";");                         // the arena exists
    for (int trial = 0; trial < 300; ++trial) {
        std::vector<uint32_t> cells(size_t(1 + number(30)));
        for (uint32_t &x : cells) {
            x = 0;
            for (int i = 1 + number(4); i > 0; --i) x |= 1u << number(12);
        }
        int best = 12;
        for (uint32_t s = 0; s < 1u << 12; ++s)
            if (std::popcount(s) < best && std::all_of(cells.begin(), cells.end(), [&](uint32_t x) { return x & s; }))
                best = std::popcount(s);
        EXPECT_EQ(leastcover(cells.data(), int(cells.size())), best);
    }
}

TEST_F(RandomCharacters, StepCostsOfTheOtherKindsGiveTheirMinimaAndMaxima)
{
    fresh("nstates num 8;");
    zelrun("xread / 60 6 2;");
    for (int trial = 0; trial < 4; ++trial) {
        bool ordered = trial & 1;
        fill(5);
        for (int c = 0; c < nc; ++c) {
            charcodes[c].sankoff = 1;
            for (int a = 0; a < maxstate; ++a)
                for (int b = 0; b < maxstate; ++b)
                    charcodes[c].costs[a][b] = ordered ? uint32_t(std::abs(a - b)) : a != b;
        }
        set_charcodes();
        EXPECT_EQ(have_sankoff, 1);
        for (int c = 0; c < nc; ++c) {
            auto cells = informativecells(c);
            uint32_t all = 0;
            for (uint32_t x : cells) all |= x;
            if (cells.size() < 2 || std::popcount(all) < 2) continue;
            int least = 1000, most = 100000;
            everychoice(cells, false, [&](const std::vector<int> &choice) {
                auto [low, high] = std::minmax_element(choice.begin(), choice.end());
                int steps = ordered ? *high - *low : int(std::set<int>(choice.begin(), choice.end()).size()) - 1;
                least = std::min(least, steps);
            });
            for (int s = 0; s < int(std::bit_width(all)); ++s) {
                int sum = 0;
                for (uint32_t x : cells) {
                    int d = 100;
                    for (int i = 0; i < 8; ++i)
                        if (x >> i & 1) d = std::min(d, ordered ? std::abs(i - s) : int(i != s));
                    sum += d;
                }
                most = std::min(most, sum);
            }
            EXPECT_EQ(charcodes[c].minsteps, least) << c;
            EXPECT_EQ(charcodes[c].maxsteps, most) << c;
        }
    }
    fresh();
}

TEST_F(RandomCharacters, ContinuousBoundsAreThoseOfTheBestCentre)
{
    fresh("nstates cont;");
    zelrun("xread / 40 9 2;");
    for (int trial = 0; trial < 5; ++trial) {
        for (int t = 0; t < nt; ++t)
            for (int c = 0; c < nc; ++c) {
                uint32_t low = uint32_t(number(3000)), high = low + uint32_t(number(2) ? number(1500) : 0);
                matrix4[t][c] = number(6) ? high << 16 | low : number(2) ? CONT_MISSING : CONT_INAPP;
                charcodes[c].recalc = 1;
            }
        chartables_reset();
        set_charcodes();
        for (int c = 0; c < nc; ++c) {
            long lastlow = 0, firsthigh = 100000, best = 1 << 30;
            bool any = false;
            for (int t = 0; t < nt; ++t) {
                uint32_t x = matrix4[t][c];
                if (x == CONT_MISSING || x == CONT_INAPP) continue;
                any = true;
                lastlow = std::max(lastlow, long(x & 0xffff));
                firsthigh = std::min(firsthigh, long(x >> 16));
                for (long centre : { long(x & 0xffff), long(x >> 16) }) {
                    long sum = 0;
                    for (int u = 0; u < nt; ++u) {
                        uint32_t y = matrix4[u][c];
                        if (y != CONT_MISSING && y != CONT_INAPP)
                            sum += std::max({ 0L, long(y & 0xffff) - centre, centre - long(y >> 16) });
                    }
                    best = std::min(best, sum);
                }
            }
            EXPECT_DOUBLE_EQ(charcodes[c].realmin, any ? double(std::max(0L, lastlow - firsthigh)) / 1000 : 0);
            EXPECT_DOUBLE_EQ(charcodes[c].realmax, any ? double(best) / 1000 : 0);
            EXPECT_EQ(charcodes[c].informative, 1);
            EXPECT_EQ(charcodes[c].minsteps, 1);
            EXPECT_EQ(charcodes[c].maxsteps, 2);
        }
    }
    fresh();
}

TEST(Minima, OfOneStateOrOneTaxonAreZero)
{
    fresh();
    readdata("xread 4 5 a 0?[01]? b 0?-? c [0]??? d ?*?? e 0???;");
    for (int c = 0; c < 4; ++c) {
        EXPECT_EQ(charcodes[c].minsteps, 0) << c;
        EXPECT_EQ(charcodes[c].maxsteps, 0) << c;
        EXPECT_EQ(charcodes[c].informative, 0) << c;
    }
}

TEST(Minima, PolymorphicOrderedCellIsTheRangeOfItsStates)
{
    fresh("nstates num 8;");
    readdata("xread 1 5 a 1 b [02] c 1 d [13] e 1; ccode + 0;");
    EXPECT_EQ(charcodes[0].minsteps, 0);
    EXPECT_EQ(charcodes[0].maxsteps, 0);
    fresh();
}

TEST(Minima, AreLeftAloneWhileTheTablesStand)
{
    fresh();
    readdata("xread 2 4 a 00 b 01 c 11 d 11;");
    charcodes[0].minsteps = 77;
    charcodes[0].recalc = 1;
    set_charcodes();
    EXPECT_EQ(charcodes[0].minsteps, 77);
    chartables_reset();
    set_charcodes();
    EXPECT_EQ(charcodes[0].minsteps, 1);
    EXPECT_EQ(charcodes[0].recalc, 0);
}
