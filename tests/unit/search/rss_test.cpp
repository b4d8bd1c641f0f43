// Random sectors.
#include "sectortest.h"
#include "search/sectors.h"
#include "search/setup.h"
#include "search/tbr.h"
#include "search/wagner.h"
#include "kernel/random.h"

using namespace sectors;

namespace {

constexpr double SAME = 1e-8;

struct seeded {
    int was = ranseed;
    explicit seeded(int seed)
    {
        ranseed = seed;
        randinit();
    }
    ~seeded() { ranseed = was; }
};

void checkwhole(const int *tree)
{
    std::vector<int> kids(size_t(hinod), 0);
    ASSERT_EQ(tree[0], ntax);
    ASSERT_EQ(tree[ntax], hinod);
    for (int n = 0; n < hinod; ++n)
        if (n != ntax) ++kids[size_t(tree[n])];
    for (int n = ntax; n < hinod; ++n) ASSERT_EQ(kids[size_t(n)], 2);
    for (int n = 0; n < ntax; ++n) {
        int steps = 0, k = n;
        while (k != ntax && ++steps < hinod) k = tree[k];
        ASSERT_EQ(k, ntax);
    }
}

}  // namespace

TEST(RandomSectors, GiveAWholeTreeThatIsNoWorseWithItsScore)
{
    keepsettings settings;
    ssminsize = 6;
    ssmaxsize = 20;
    eachimage(740, 30, 12, [](std::mt19937 &, const std::vector<int> &tree) {
        seeded s(7);
        double start = settree(tree), score = random_ss(anx);
        checkwhole(anx);
        ASSERT_LE(score, start + SAME);
        ASSERT_NEAR(schoptimize(anx, 1), score, SAME);
    });
}

TEST(RandomSectors, AreTheSameWithAndWithoutRowsOfTheirOwn)
{
    keepsettings settings;
    ssminsize = 6;
    ssmaxsize = 12;
    ssglobaltbr = 3;
    eachimage(741, 26, 10, [](std::mt19937 &, const std::vector<int> &tree) {
        std::vector<int> trees[2];
        double scores[2];
        for (int privately : { 0, 1 }) {
            use_sectsch_priv_buf = privately;
            seeded s(11);
            settree(tree);
            scores[privately] = random_ss(anx);
            trees[privately].assign(anx, anx + hinod);
        }
        ASSERT_NEAR(scores[0], scores[1], SAME);
        ASSERT_EQ(trees[0], trees[1]);
    });
}

TEST(RandomSectors, FindBetterTreesThanOneSwap)
{
    keepsettings settings;
    std::mt19937 rng(742);
    plain::data m = evolved(rng, 90, 200, 12);
    packing image(m);
    ssminsize = 15;
    ssmaxsize = 40;
    int better = 0, worse = 0;
    for (int seed = 1; seed <= 4; ++seed) {
        seeded s(seed);
        wagner(anx, seed);
        ranseed = -1;
        double swapped = tbrswap(anx, 0, 0), score = random_ss(anx);
        better += score < swapped;
        worse += score > swapped;
        ASSERT_EQ(schoptimize(anx, 1), score);
    }
    EXPECT_EQ(worse, 0);
    EXPECT_GT(better, 0);
}

TEST(RandomSectors, OfFewerThanEightTaxaAreOnlyScored)
{
    keepsettings settings;
    std::mt19937 rng(743);
    for (int taxa : { 4, 7 }) {
        plain::data m = plain::randommatrix(rng, taxa, 12, { 8, 4, 10 });
        packing image(m);
        for (int i = 0; i < 5; ++i) {
            std::vector<int> tree = packedtree(plain::randomtree(rng, taxa));
            int min = ssminsize, max = ssmaxsize;
            double score = settree(tree);
            EXPECT_EQ(random_ss(anx), score);
            EXPECT_TRUE(std::equal(tree.begin(), tree.begin() + hinod, anx));
            EXPECT_EQ(ssminsize, min);
            EXPECT_EQ(ssmaxsize, max);
        }
    }
}

TEST(RandomSectors, SizesAboveHalfTheTaxaAreCutInTheSettings)
{
    keepsettings settings;
    std::mt19937 rng(744);
    plain::data m = plain::randommatrix(rng, 21, 12, { 8, 4, 10 });
    packing image(m);
    settree(packedtree(plain::randomtree(rng, m.taxa)));
    ssminsize = ssmaxsize = 45;
    random_ss(anx);
    EXPECT_EQ(ssminsize, 10);
    EXPECT_EQ(ssmaxsize, 10);
    ssminsize = 6;
    ssmaxsize = 15;
    random_ss(anx);
    EXPECT_EQ(ssminsize, 6);
    EXPECT_EQ(ssmaxsize, 10);
}

TEST(RandomSectors, HangFromTheRootWithAsymmetricCosts)
{
    keepsettings settings;
    ssminsize = ssmaxsize = 8;
    mixed::each(745, 2, 24, 8, [](std::mt19937 &, const mixed::data &, const std::vector<int> &tree) {
        settree(tree);
        if (!asymmetric_fields) return;
        seeded s(3);
        random_ss(anx);
        EXPECT_EQ(zert_to, ntax);
        EXPECT_EQ(below_was, [] { int n = ntax + 1; while (wholetree[n] != ntax) ++n; return n; }());
    });
}

TEST(RandomSectors, ADirectedSearchOfAsymmetricCostsIsExactAnywhere)
{
    keepsettings settings;
    mixed::each(746, 2, 22, 8, [](std::mt19937 &rng, const mixed::data &, const std::vector<int> &tree) {
        sectorrun run;
        settree(tree);
        start_sectors(&run, anx);
        for (int i = 0; i < 10; ++i) {
            binmksis(anx);
            asector s = choose(rng, 9);
            if (s.count >= LEAST_REDUCED) run_sector(&run, s.base, s.count);
        }
        double score = run.score;
        ASSERT_NEAR(end_sectors(&run, false), score, SAME);
    });
}

TEST(RandomSectors, EndAtAnInterruptAtAScoreAndAfterFailures)
{
    keepsettings settings;
    std::mt19937 rng(747);
    plain::data m = plain::randommatrix(rng, 40, 30, { 8, 4, 10 });
    packing image(m);
    std::vector<int> tree = packedtree(plain::randomtree(rng, m.taxa));
    double start = settree(tree);
    ssminsize = ssmaxsize = 12;
    {
        seeded s(1);
        userstop = 1;
        EXPECT_EQ(random_ss(anx), start);
        userstop = 0;
        EXPECT_TRUE(std::equal(tree.begin(), tree.begin() + hinod, anx));
    }
    {
        seeded s(1);
        ssstopscore = start;                 // is there already
        EXPECT_EQ(random_ss(anx), start);
        ssstopscore = start - 1;
        double score = random_ss(anx);
        EXPECT_LE(score, start - 1);
        ssstopscore = 0;
    }
    {
        seeded s(1);
        settree(tree);
        ssnumstarts = 0;                     // every sector keeps its tree
        ssmaxfailure = 4;
        EXPECT_EQ(random_ss(anx), start);
        EXPECT_TRUE(std::equal(tree.begin(), tree.begin() + hinod, anx));
    }
}

TEST(RandomSectors, ScoresThatComeOutWorseUnderTheLooseTestRestoreTheTree)
{
    keepsettings settings;
    saferedsan = 0;
    std::mt19937 rng(748);
    int lost = 0, wiped = 0;
    const mixed::kind k = { "", { 8, 5, 10, 10, 0, 0, 0, 1, 1 }, 90, mixed::HUB, 0 };
    for (int trial = 0; trial < 40; ++trial) {
        mixed::data d = mixed::random(rng, 20, 8, k);
        mixed::packing image(d);
        settree(packedtree(plain::randomtree(rng, d.m.taxa)));
        sectorrun run;
        start_sectors(&run, anx);
        for (int i = 0; i < 15; ++i) {
            binmksis(anx);
            asector s = choose(rng, 8);
            if (s.count < LEAST_REDUCED) continue;
            double before = run.score;
            std::vector<int> tree(anx, anx + hinod);
            sectorend end = run_sector(&run, s.base, s.count);
            wiped += wiped_some_sankoff;
            ASSERT_LE(run.score, before + SAME);
            ASSERT_NEAR(schoptimize(anx, 1), run.score, SAME);
            if (end != SECTOR_LOST) continue;
            ++lost;
            ASSERT_EQ(run.score, before);
            ASSERT_TRUE(std::equal(tree.begin(), tree.end(), anx));
        }
    }
    EXPECT_GT(wiped, 0);
    RecordProperty("lost", lost);
}

// A step matrix with the states a, b, c and q, in which a is far from all others:
//
//     taxon 1 c, taxa 2 to 5 a or q, all others a or b
//
// costs 5 on any tree with a everywhere.  With b and q it takes one step to c, and one to q for each place where taxa of q
// are: 2 when these are a clade.  All taxa but one can have a, so the loose test leaves it out of a sector.  There,
// four characters that unite 2 with 6, 3 with 7, 4 with 8 and 5 with 9 save a step each, and cost three of the matrix,
// of weight 2.
TEST(RandomSectors, OneThatCameOutWorseUnderTheLooseTestIsUndone)
{
    keepsettings settings;
    constexpr int TAXA = 30;
    std::string rows = "nstates num 8;\nxread 5 " + std::to_string(TAXA) + "\n", tree = "tread (0 ";
    for (int t = 0; t < TAXA; ++t) {
        rows += "t" + std::to_string(t) + (t == 1 ? " 2" : t >= 2 && t < 6 ? " [03]" : " [01]");
        for (int c = 0; c < 4; ++c) rows += t == 2 + c || t == 6 + c ? "1" : "0";
        rows += "\n";
    }
    rows += ";\ncosts 0 = 0/1 5 0/2 5 0/3 5 1/2 1 1/3 1 2/3 2;\nccode ( /2 0;\nprocedure/;\n";
    for (int t = 12; t < TAXA; ++t) tree += "(" + std::to_string(t) + " ";
    tree += "((((2 3) 4) 5) (1 (6 (7 (8 (9 (10 11)))))))" + std::string(TAXA - 12, ')') + ");procedure/;\n";
    zelrun("mxram 64;procedure " + writefile("loose.xread", rows) + ";keep 0;procedure " + writefile("loose.trees", tree) + ";");
    ASSERT_FALSE(zelfailed());
    for (int strict : { 0, 1 })
        for (int privately : { 0, 1 }) {
            searchframe frame(sectschcom);
            use_sectsch_priv_buf = privately;
            saferedsan = strict;
            schgettree(mem_tree[0]);
            std::vector<int> was(anx, anx + hinod);
            srand(1);
            sectorrun run;
            start_sectors(&run, anx);
            ASSERT_EQ(run.score, 4 + 8);
            run.failures = 3;
            int base = anx[anx[1]];
            for (int n = ntax; n < hinod; ++n) deslist[n] = IN_SECTOR;
            ASSERT_EQ(sector_is_private(12), privately == 1);
            sectorend end = run_sector(&run, base, 12);
            EXPECT_EQ(wiped_some_sankoff, !strict);
            EXPECT_EQ(run.score, 12);
            EXPECT_EQ(run.replaced, 0);
            if (strict) {
                EXPECT_EQ(end, SECTOR_KEPT);
                EXPECT_EQ(run.failures, 4);
            } else {
                EXPECT_EQ(end, SECTOR_LOST);
                EXPECT_EQ(minianal_score_gain, 4) << "of the four characters";
            }
            EXPECT_EQ(was, std::vector<int>(anx, anx + hinod));
            check_whole_states();
            EXPECT_EQ(schoptimize(anx, 1), 12);
        }
    std::string said = zelrun("sectsch= rss nosafesank minsize 12 maxsize 12 tree 0 noglobal;length;");
    EXPECT_FALSE(zelfailed());
    EXPECT_NE(said.find("best score: 12."), std::string::npos) << said;
    zelrun("keep 0;xwipe;");
}

TEST(RandomSectors, SwapGloballyAfterReplacementsBySizeOfTheSector)
{
    keepsettings settings;
    sectorrun run{ anx, 0, 10, 0 };
    ssgotodrift = 75;
    ssglobaltbr = 10;
    ss_large_globaltbr = 0;
    EXPECT_TRUE(globally_due(&run, 75));
    EXPECT_FALSE(globally_due(&run, 76));
    ss_large_globaltbr = 11;
    EXPECT_FALSE(globally_due(&run, 76));
    ss_large_globaltbr = 10;
    EXPECT_TRUE(globally_due(&run, 76));
    run.replaced = 9;
    EXPECT_FALSE(globally_due(&run, 20));
    ssglobaltbr = 0;
    run.replaced = 100;
    EXPECT_FALSE(globally_due(&run, 20));
}
