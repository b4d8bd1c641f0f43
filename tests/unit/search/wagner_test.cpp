#include "searchtest.h"
#include "kernel/random.h"
#include "search/addseq.h"
#include "search/spr.h"
#include "search/tbr.h"
#include "search/wagner.h"

static bool ispermutation(const std::vector<int> &list)
{
    std::vector<int> sorted(list);
    std::sort(sorted.begin(), sorted.end());
    for (size_t i = 0; i < sorted.size(); ++i)
        if (sorted[i] != int(i)) return false;
    return true;
}

TEST(AdditionSequences, ArePermutationsWithTheFixedItemInFront)
{
    for (int quick = 0; quick < 2; ++quick) {
        quick_randomizations = quick;
        for (int n = 3; n < 40; ++n) {
            std::vector<int> list(n);
            ranseed = n;
            randomlist(n, list.data(), 0, nullptr);
            EXPECT_TRUE(ispermutation(list));
            EXPECT_EQ(list[0], 0);
            quick_randomlist(n, list.data(), 0, n - 1);
            EXPECT_TRUE(ispermutation(list));
            EXPECT_EQ(list[0], n - 1);
            quick_randomlist(n, list.data(), 0, -1);
            EXPECT_TRUE(ispermutation(list));
        }
    }
    quick_randomizations = 0;
    ranseed = 1;
}

TEST(AdditionSequences, PutFlaggedItemsInFrontAndShuffleOnlyThem)
{
    std::vector<int> flags{ 0, 1, 0, 1, 1, 0, 1, 0 }, list(8);
    randomlist(8, list.data(), -1, flags.data());
    EXPECT_TRUE(ispermutation(list));
    for (int i = 0; i < 4; ++i) EXPECT_EQ(flags[list[i]], 1);
    EXPECT_EQ(std::vector<int>(list.begin() + 4, list.end()), (std::vector<int>{ 0, 2, 5, 7 }));
}

TEST(AdditionSequences, ComeFromTheSeedOrFromTheRunningGenerator)
{
    std::vector<int> a(30), b(30);
    ranseed = 5;
    randomlist(30, a.data(), 0, nullptr);
    randomlist(30, b.data(), 0, nullptr);
    EXPECT_EQ(a, b);
    ranseed = -1;
    randomlist(30, b.data(), 0, nullptr);
    EXPECT_NE(a, b);
    ranseed = 1;
}

static std::vector<plain::mix> somekinds() { return { { 8, 4, 10 }, { 8, 4, 10, 10, 60 }, { 8, 4, 10, 0, 20, 0, 0, 40, 1 } }; }

// The only choice in a tree of four terminals is where the fourth goes, and it goes where it costs least.
TEST(Wagner, OfFourTaxaIsTheShortestTree)
{
    std::mt19937 rng(61);
    for (int trial = 0; trial < 60; ++trial) {
        plain::data m = plain::randommatrix(rng, 4, 15, somekinds()[trial % 3]);
        use(m);
        zelrun("rseed " + std::to_string(trial + 1) + (trial & 1 ? "[;" : "];") + "mult=replic 1 wagner;");
        EXPECT_EQ(plain::length(m, kept(0)), plain::search(m).length);
    }
    zelrun("rseed];rseed 1;mult:replic 10 tbr;");
}

TEST(Wagner, StartsFromTheNetworkOfThreeTaxa)
{
    std::mt19937 rng(62);
    use(plain::randommatrix(rng, 8, 10));
    searchframe frame(multcom);
    netnit(anx, 0, 5, 2);
    std::vector<int> want(hinod, 0);
    want[0] = want[ntax + 1] = ntax;
    want[5] = want[2] = ntax + 1;
    want[ntax] = ntax + 2;                   // the next free node
    EXPECT_EQ(std::vector<int>(anx, anx + hinod), want);
}

// With three taxa there is nothing to add, and no place to swap to.
TEST(Wagner, OfThreeTaxaIsTheirNetwork)
{
    std::mt19937 rng(65);
    plain::data m = plain::randommatrix(rng, 5, 12, { 8, 4, 10 });
    use(m);
    taxact[1] = taxact[3] = 0;
    {
        searchframe frame(multcom);
        ASSERT_EQ(hinod, 5);
        for (int moved : { 0, 1 })
            for (int seed = 1; seed < 20; ++seed) {
                randomize_outgroup = moved;
                wagner(anx, seed);
                EXPECT_EQ(std::vector<int>(anx, anx + hinod), (std::vector<int>{ 3, 4, 4, 5, 3 }));
                double score = schoptimize(anx, 1);
                for (int many : { 0, 1 }) {
                    EXPECT_EQ(sprswap(anx, 0, many), score);
                    EXPECT_EQ(tbrswap(anx, 0, many), score);
                }
            }
        randomize_outgroup = 0;
    }
    taxact[1] = taxact[3] = 1;
    wipetag(&schtag);
    ranseed = 1;
}

// Of equally cheap places the first or the last is taken, as the seed says; the same seed says the same.
TEST(Wagner, ResolvesTiesUpwardOrDownward)
{
    std::mt19937 rng(66);
    use(plain::randommatrix(rng, 6, 6, { 8, 2, 0 }));
    searchframe frame(multcom);
    std::map<std::vector<int>, shapes> bysequence;
    bool both = false;
    for (int seed = 1; seed < 600; ++seed) {
        wagner(anx, seed);
        std::vector<int> tree(anx, anx + hinod), sequence(ladd, ladd + ntax);
        EXPECT_EQ(sequence[0], 0);
        shapes &found = bysequence[sequence];
        found.insert(plain::shape(plain::fromstored(anx, nt)));
        both |= found.size() > 1;
        wagner(anx, seed);
        ASSERT_EQ(std::vector<int>(anx, anx + hinod), tree);
    }
    EXPECT_TRUE(both);
    ranseed = 1;
}

// With data that tell nothing each taxon goes beside the first one.
TEST(Wagner, BeginsWithTheOutgroupUnlessItMayStray)
{
    use(plain::blankmatrix(8, 2));
    searchframe frame(multcom);
    auto comb = [] {
        for (int n = ntax + 1; n < hinod; ++n) {
            int terminals = 0;
            for (int t = 0; t < ntax; ++t) terminals += anx[t] == n;
            if (!terminals) return false;
        }
        return true;
    };
    int combs[2] = {};
    for (int stray : { 0, 1 })
        for (int seed = 1; seed <= 40; ++seed) {
            randomize_outgroup = stray;
            wagner(anx, seed);
            EXPECT_EQ(anx[0], ntax);
            combs[stray] += comb();
        }
    randomize_outgroup = 0;
    EXPECT_EQ(combs[0], 40);
    EXPECT_GT(combs[1], 0);
    EXPECT_LT(combs[1], 40);
    ranseed = 1;
}

TEST(Wagner, LeavesTheImageAsItWasWhenTheOutgroupIsMoved)
{
    std::mt19937 rng(63);
    for (int trial = 0; trial < 20; ++trial) {
        plain::data m = plain::randommatrix(rng, 12, 30, somekinds()[trial % 3]);
        use(m);
        zelrun("rseed>;rseed " + std::to_string(trial + 1) + ";mult=replic 4 wagner keepall hold 1;");
        ASSERT_FALSE(zelfailed());
        std::string report = zelrun("rseed<;mult=nokeepall tbr hold 10;");
        EXPECT_EQ(bestscore(report), double(plain::length(m, kept(0))));
        for (const plain::tree &t : allkept()) EXPECT_EQ(t.anc[0], t.root());
    }
    zelrun("rseed 1;mult:replic 10;");
}

// Each taxon of the sequence was placed where no other branch is better: taking the taxa off again
// from the last one, the tree without them shows it.
TEST(Wagner, PlacesTheLastTaxonWhereItCostsLeast)
{
    std::mt19937 rng(64);
    for (int trial = 0; trial < 40; ++trial) {
        plain::data m = plain::randommatrix(rng, 10, 20, somekinds()[trial % 3]);
        use(m);
        int last;
        plain::tree t;
        {
            searchframe frame(multcom);
            xrandom_addseq = trial & 1;
            wagner(anx, trial + 1);
            last = ladd[9];                 // all taxa are active and 0 is the outgroup: packed numbers are real ones
            t = plain::fromstored(anx, nt);
            xrandom_addseq = 0;
        }
        long length = plain::length(m, t);
        auto kids = plain::children(t);
        neighbours(t, false, [&](const plain::tree &u) {
            // only those where the rest is as it was: same tree once the last taxon is off
            auto rest = [&](const plain::tree &v) {
                std::set<uint64_t> s;
                for (uint64_t g : plain::groups(v)) {
                    g &= ~(uint64_t(1) << last);
                    if (__builtin_popcountll(g) > 1) s.insert(g);
                }
                return s;
            };
            if (rest(u) == rest(t)) { EXPECT_GE(plain::length(m, u), length) << "trial " << trial; }
        });
    }
    zelrun("rseed 1;");
}
