// Implied weighting: the function, sets and concavities by hand; scores of trees against a plain
// sum of fits over characters and thresholds.
#include "zeltest.h"
#include "reference.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "trees/implied.h"
#include "trees/lightopt.h"
#include "trees/treebuf.h"
#include <cmath>

using plain::data, plain::tree;

// Puts weighting back to its defaults whatever a test did.
struct weighting {
    ~weighting() { zelrun("xwipe ; piwe - ; piwe :3 ;"); }
};

static void readmatrix(const data &m)
{
    std::string said = zelrun("procedure " + writefile("piwe.xread", plain::readtext(m)) + ";");
    ASSERT_FALSE(zelfailed()) << said;
}

// One character of the matrix, or one threshold of it, as a matrix of its own.
static data onechar(const data &m, int c)
{
    data one = m;
    one.chars = 1;
    for (auto &row : one.cells) row = { row[c] };
    one.additive = { m.additive[c] }, one.weight = { 1 }, one.active = { 1 };
    return one;
}

static data threshold(const data &m, int c, int t)
{
    data one = onechar(m, c);
    one.additive = { 0 };
    for (int x = 0; x < m.taxa; ++x) {
        uint32_t states = plain::seen(m, x, c);
        if (states == plain::ANY) continue;
        uint32_t low = states & ((2u << t) - 1), high = states & ~((2u << t) - 1);
        one.cells[x][0] = (low ? 1u : 0u) | (high ? 2u : 0u);
    }
    return one;
}

static std::pair<int, int> boundsof(const data &m, int c)
{
    int low = 99, high = -1;
    for (int x = 0; x < m.taxa; ++x)
        for (int s = 0; s < 32; ++s)
            if (m.cells[x][c] != plain::ANY && (m.cells[x][c] >> s & 1)) low = std::min(low, s), high = std::max(high, s);
    return { low, high };
}

// The homoplasy of the character on the tree: one number, or one for each threshold.
static std::vector<int> homoplasies(const data &m, const tree &t, int c)
{
    std::vector<int> h;
    if (!m.additive[c]) return { int(plain::length(onechar(m, c), t)) - charcodes[c].minsteps };
    auto [low, high] = boundsof(m, c);
    for (int s = low; s < high; ++s) h.push_back(std::max(0, int(plain::length(threshold(m, c, s), t)) - 1));
    return h;
}

static double plainscore(const data &m, const tree &t, double k)
{
    double sum = 0;
    for (int c = 0; c < m.chars; ++c)
        if (m.active[c])
            for (int h : homoplasies(m, t, c)) sum += m.weight[c] * h / (h + k);
    return sum;
}

static data somematrix(std::mt19937 &rng)
{
    data m = plain::randommatrix(rng, 5 + int(rng() % 8), 1 + int(rng() % 25));
    m.taxactive.assign(m.taxa, 1);
    return m;
}

TEST(Implied, StepsCostLessAndLess)
{
    weighting undo;
    std::mt19937 rng(1);
    readmatrix(somematrix(rng));
    piwe_init(0);
    EXPECT_DOUBLE_EQ(fitf[0], 0);
    EXPECT_DOUBLE_EQ(fitf[1], 0.25);
    EXPECT_NEAR(fitf[2] - fitf[1], 0.15, 1e-12);
    zelrun("piwe :1000 ;");
    EXPECT_DOUBLE_EQ(fitf[0], 0);
}

TEST(Implied, ScoreIsTheSumOverCharactersAndThresholds)
{
    weighting undo;
    std::mt19937 rng(11);
    for (int round = 0; round < 150; ++round) {
        data m = somematrix(rng);
        zelrun("piwe = 3 ;");
        readmatrix(m);
        double k = 0.5 + (rng() % 100) / 7.0;
        zelrun("piwe :" + std::to_string(k) + " ;");
        k = konk;
        tree t = plain::randomtree(rng, m.taxa, 30);
        zelrun("tread " + plain::text(t) + " ;");
        optmem();
        double want = plainscore(m, t, k);
        ASSERT_NEAR(packdownpass(mem_tree[0]), want, 1e-9) << plain::readtext(m) << plain::text(t);
        ASSERT_NEAR(downpass(mem_tree[0]), want, 1e-9) << plain::readtext(m) << plain::text(t);
    }
}

TEST(Implied, AnAdditiveCharacterIsTheSumOfItsThresholds)
{
    weighting undo;
    zelrun("piwe = 3 ; xread 1 8  a 0 b 3 c 0 d 3 e 0 f 3 g 1 h 2 ; ccode + 0 ;");
    zelrun("tread ((((((a b)c)d)e)f)(g h)) ;");
    optmem();
    // Each of the three thresholds separates {b, d, f} from {a, c, e}.
    int steps[3] = { 0, 0, 0 };
    packdownpass(mem_tree[0]);
    for (int f = 0; f < lightfields2; ++f) steps[f] = int(lightsteps[f]);
    double want = 0;
    for (int s : steps) want += double(s - 1) / (s - 1 + 3);
    EXPECT_GT(steps[0], 1);
    EXPECT_NEAR(charcodes[0].fit, want, 1e-12);
}

TEST(Implied, LengthsAndFitsAreGivenWithoutChangingTheWeighting)
{
    weighting undo;
    zelrun("piwe = 3 ; xread 2 5  a 00 b 01 c 10 d 11 e 11 ; tread (a (b (c (d e)))) ;");
    // First character: c, d, e share state 1, one step.  Second: b, d, e have it and c has not, two.
    std::string fits = zelrun("scores ;");
    EXPECT_NE(fits.find("Adjusted homoplasy"), std::string::npos);
    EXPECT_NE(fits.find("0.25000"), std::string::npos) << fits;
    std::string lengths = zelrun("length ;");
    EXPECT_NE(lengths.find("Tree lengths"), std::string::npos);
    EXPECT_NE(lengths.find(" 3"), std::string::npos) << lengths;
    EXPECT_EQ(zelrun("scores ;"), fits);
    EXPECT_NE(zelrun("scores * ;").find("1.75000"), std::string::npos);      // 1 + 3/4
    zelrun("piwe - ;");
    EXPECT_EQ(zelrun("fit ;"), fits);
    EXPECT_EQ(dopiwe, 0);
}

TEST(Implied, SetsAreWeightedByTheirAverage)
{
    weighting undo;
    std::mt19937 rng(5);
    for (int round = 0; round < 60; ++round) {
        data m = somematrix(rng);
        zelrun("piwe = 4 ;");
        readmatrix(m);
        int in = 1 + int(rng() % m.chars);
        zelrun("xpiwe [ 0." + std::to_string(in - 1) + " ;");
        ASSERT_FALSE(zelfailed());
        tree t = plain::randomtree(rng, m.taxa, 20);
        zelrun("tread " + plain::text(t) + " ;");
        optmem();
        double score = packdownpass(mem_tree[0]), total = 0, size = 0, others = 0;
        for (int c = 0; c < m.chars; ++c) {
            if (!m.active[c]) continue;
            for (int h : homoplasies(m, t, c)) {
                if (c < in) total += m.weight[c] * h;
                else others += m.weight[c] * h / (h + 4.0);
            }
            if (c < in) size += m.weight[c];
        }
        double average = size ? total / size : 0;
        ASSERT_NEAR(score, others + size * average / (average + 4), 1e-9) << plain::readtext(m) << plain::text(t);
        double shared = 0;
        for (int c = 0; c < in; ++c)
            if (m.active[c]) shared += m.weight[c] * charcodes[c].fit;
        ASSERT_NEAR(shared, size * average / (average + 4), 1e-9);
    }
}

TEST(Implied, ConstantWeightsCostTheSameForEveryStep)
{
    weighting undo;
    zelrun("piwe = 3 ; xread 2 5  a 00 b 01 c 10 d 11 e 01 ; tread (a (b (c (d e)))) ;");
    zelrun("xpiwe /1x2 . ;");
    // After one step of homoplasy the next costs 2/5 - 1/4; twice that is 0.3.  Two steps over the minimum.
    double length = 0;
    optmem();
    packdownpass(mem_tree[0]);
    for (int c = 0; c < 2; ++c) length += charcodes[c].steps - charcodes[c].minsteps;
    EXPECT_GT(length, 0);
    EXPECT_NEAR(sum_of_fits(), length * 0.3, 1e-12);
}

TEST(Implied, MissingEntriesLowerTheConcavity)
{
    weighting undo;
    zelrun("piwe = 6 ; xread 3 6  a 0?? b 0?0 c 1?0 d 1?1 e 001 f 111 ;");
    zelrun("xpiwe (*0.5 <4 ;");
    piwe_init(0);
    // 6 of 6 observed: k; 2 of 6: expected 2 + 4/2 = 4 cells, q = 1/2; 5 of 6: q = 5 / 5.5.
    EXPECT_NEAR(multik_userk[0], 6, 1e-12);
    EXPECT_NEAR(multik_userk[1], 3, 1e-12);
    EXPECT_NEAR(multik_userk[2], 6 * 5 / 5.5, 1e-12);
    EXPECT_NEAR(charfit(1, 1), charfit(0, 1), 1e-12);        // the first step costs the same for all
    EXPECT_NEAR(charfit(1, 2), (1 / 7.0) / (1 / 4.0) * 2 / 5, 1e-12);
    zelrun("xpiwe (*5 <2 ;");                                // q is held at 1/2
    piwe_init(0);
    EXPECT_NEAR(multik_userk[1], 3, 1e-12);
    for (const char *plain : { "xpiwe (*0 ;", "xpiwe (*0.7 <1 ;", "xpiwe ) ;" }) {
        zelrun(plain);
        piwe_init(0);
        for (int h = 0; h < 4; ++h) EXPECT_NEAR(charfit(1, h), h / (h + 6.0), 1e-12) << plain;
    }
}

TEST(Implied, TheEqualizedConcavityIsTheClosestCurve)
{
    EXPECT_DOUBLE_EQ(equalizer_for_kas(3, 1), 3);
    for (double k : { 2.0, 6.0, 12.0 })
        for (double ratio : { 1.3, 2.0, 4.0 }) {
            double best = equalizer_for_kas(k, ratio);
            EXPECT_GT(best, 0);
            EXPECT_LT(best, k);
            EXPECT_LT(std::fabs(dothisk(k, best, ratio)), std::fabs(dothisk(k, best * 1.01, ratio)));
            EXPECT_LT(std::fabs(dothisk(k, best, ratio)), std::fabs(dothisk(k, best * 0.99, ratio)));
        }
}

TEST(Implied, ARangeOfWeightsSetsTheConcavity)
{
    weighting undo;
    zelrun("xwipe ; piwe <5 10 ;");
    ASSERT_FALSE(zelfailed());
    auto cost = [](double h) { return konk / ((h + konk) * (h + konk + 1)); };
    EXPECT_NEAR(cost(0) / cost(10), 5, 1e-4);
    EXPECT_NE(zelrun("piwe <5 ;").find("Must read data before setting range of weights from data"), std::string::npos);
    EXPECT_NE(zelrun("piwe <1.00001 1 ;").find("Concavity for requested range is too high"), std::string::npos);
    EXPECT_DOUBLE_EQ(konk, 1000);
    EXPECT_NE(zelrun("piwe <100000000 1 ;").find("is too small"), std::string::npos);
    EXPECT_NE(zelrun("piwe <0.5 1 ;").find("Expected maximum weight range (larger than 1)."), std::string::npos);
}

TEST(Implied, AFunctionOfTheUserIsARunningSum)
{
    weighting undo;
    zelrun("piwe = ; xread 2 6  a 00 b 01 c 10 d 11 e 01 f 10 ;");
    std::string said = zelrun("piwe [ 1 0.5 ;");
    EXPECT_NE(said.find("Data can have up to 3 extra-steps; only 2 values defined"), std::string::npos) << said;
    EXPECT_NE(said.find("Values for 2-3 extra steps will be set as for 1 extra steps"), std::string::npos) << said;
    EXPECT_DOUBLE_EQ(fitf[1], 1);
    EXPECT_DOUBLE_EQ(fitf[2], 1.5);
    EXPECT_DOUBLE_EQ(fitf[3], 2);
    EXPECT_NE(zelrun("piwe [ 1 -2 ;").find("Value of weight must be >= 0 (weighting function unchanged)"), std::string::npos);
    EXPECT_DOUBLE_EQ(fitf[3], 2);
    EXPECT_NE(zelrun("piwe ] ;").find("Note: weighting function re-set to default (k=3.00000)"), std::string::npos);
    EXPECT_DOUBLE_EQ(fitf[1], 0.25);
}

TEST(Implied, WhatIsRefusedIsSaidSo)
{
    weighting undo;
    zelrun("xwipe ; piwe - ;");
    EXPECT_NE(zelrun("piwe = 1001 ;").find("Weighting strength must be less than 1000"), std::string::npos);
    EXPECT_NE(zelrun("piwe = 0 ;").find("Weighting strength must be more than 0"), std::string::npos);
    EXPECT_NE(zelrun("piwe | ;").find("Cannot report value of first step of homoplasy without data"), std::string::npos);
    zelrun("xread 1 4  a 0 b 0 c 1 d 1 ;");
    const char *late = "To use extended implied weighting, must read the data with implied weighting ON";
    EXPECT_NE(zelrun("xpiwe = ;").find(late), std::string::npos);
    zelrun("piwe = ;");
    EXPECT_NE(zelrun("xpiwe [ 0 ;").find(late), std::string::npos);
    zelrun("xwipe ; xread 1 5  a 0 b 0 c 1 d 1 e 1 ; tread (a (b (c d))) ;");
    EXPECT_NE(zelrun("scores ;").find("To optimize trees under implied weighting, trees must match active taxa"), std::string::npos);
    EXPECT_NE(zelrun("piwe |1 ; piwe |99 ;").find("Maximum expected homoplasy is"), std::string::npos);
}

TEST(Implied, DefinitionsAreSavedAsCommands)
{
    weighting undo;
    zelrun("piwe = ; xread 9 5  a 000000000 b 010101010 c 101010101 d 111111111 e 010101011 ;");
    zelrun("xpiwe [ 0.2 ; xpiwe [ 5 7 ; xpiwe /2x1.5 3 ; xpiwe ( 8 /7 ;");
    std::string saved = zelrun("xpiwe * ;"), before = zelrun("piwe & ;") + zelrun("xpiwe & ;");
    EXPECT_NE(saved.find("xpiwe [ 0.2 ;"), std::string::npos) << saved;
    zelrun("xpiwe ! . ; xpiwe ) ; xpiwe - ;");
    zelrun(saved);
    ASSERT_FALSE(zelfailed()) << saved;
    EXPECT_EQ(zelrun("xpiwe * ;"), saved);
    EXPECT_EQ(zelrun("piwe & ;") + zelrun("xpiwe & ;"), before);
}
