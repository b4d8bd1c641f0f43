// Driven searches of real matrices, with known lengths.
#include "xmulttest.h"

namespace {

struct realset { const char *file; double length; };
const realset sets[] = { { "morph-mpts/Argue_etal_2009a.xread", 234 }, { "morph-mpts/Gilbert_2013ab.xread", 1315 } };

bool readset(const realset &s)
{
    std::string file = datafile(s.file);
    if (file.empty()) return false;
    zelrun("mxram 64;nstates 32;procedure " + file + ";hold 1000;rseed 1;");
    return true;
}

std::string shown(double score) { return std::to_string(long(score)); }

bool says(const std::string &report, const std::string &text) { return report.find(text) != std::string::npos; }

}  // namespace

TEST(XmultOfRealData, HitsTheKnownLengthSeveralTimes)
{
    zelrun("");
    xmultsettings saved;
    for (const realset &s : sets) {
        if (!readset(s)) GTEST_SKIP() << "the shared test data are not here";
        std::string report = zelrun("xmult=hits 3;");
        EXPECT_TRUE(says(report, "Best score hit 3 times.") && says(report, "Best score: " + shown(s.length) + ".")) << s.file << report;
        for (int t = 0; t < trees_in_mem; ++t) EXPECT_EQ(reportscore(t), s.length);
        zelrun("keep 0;hold 100;");
    }
}

TEST(XmultOfRealData, MovesAnEasyTargetUnlessToldNotTo)
{
    zelrun("");
    xmultsettings saved;
    const realset &s = sets[0];
    if (!readset(s)) GTEST_SKIP() << "the shared test data are not here";
    std::string report = zelrun("xmult=hits 2 targetscore " + shown(s.length + 6) + ";");
    EXPECT_TRUE(says(report, "Target score " + shown(s.length) + " hit 2 times")) << report;
    report = zelrun("keep 0;xmult=noupdate hits 2 targetscore " + shown(s.length + 6) + ";");
    EXPECT_TRUE(says(report, "Target score " + shown(s.length + 6) + " hit 2 times")) << report;
    zelrun("keep 0;hold 100;");
}

// However many hits are wanted.
TEST(XmultOfRealData, GivesUpAtTheFirstTreeThatIsGoodEnough)
{
    zelrun("");
    xmultsettings saved;
    const realset &s = sets[1];
    if (!readset(s)) GTEST_SKIP() << "the shared test data are not here";
    std::string report = zelrun("xmult=hits 1000 giveupscore " + shown(s.length + 10) + ";");
    EXPECT_TRUE(says(report, "Completed search.")) << report;
    ASSERT_GT(trees_in_mem, 0);
    EXPECT_LE(reportscore(0), s.length + 10);
    EXPECT_GE(reportscore(0), s.length);
    zelrun("keep 0;hold 100;");
}

TEST(XmultOfRealData, ChecksItsLevelEveryFewHits)
{
    zelrun("");
    xmultsettings saved;
    const realset &s = sets[0];
    if (!readset(s)) GTEST_SKIP() << "the shared test data are not here";
    zelrun("xmult=level 2 hits 4 chklevel +0.5 2 targetscore " + shown(s.length) + ";");      // each hit comes at once
    EXPECT_EQ(curlevel, 1);
    EXPECT_EQ(xmult_replications, 5);
    zelrun("xmult:nochklevel notarget;keep 0;hold 100;");
}

TEST(XmultOfRealData, PicksFusingOrHybridizationAsTheTreesAre)
{
    zelrun("");
    xmultsettings saved;
    const realset &s = sets[1];
    if (!readset(s)) GTEST_SKIP() << "the shared test data are not here";
    std::string report = zelrun("xmult=hits 1 verbose picktype 0;");
    EXPECT_TRUE(says(report, "NOTE: Picking tree fusing to improve")) << report;
    report = zelrun("keep 0;xmult=replications 2 hits 1 hybrid x 2 picktype 100;");
    EXPECT_TRUE(says(report, "NOTE: Picking tree hybridization to improve")) << report;
    EXPECT_TRUE(says(report, "Will complete 4 builds to input to hybridization (2 more needed)")) << report;
    zelrun("keep 0;hold 100;");
}

TEST(XmultOfRealData, MultipliesTheTreesThatHitTheScore)
{
    zelrun("");
    xmultsettings saved;
    const realset many = { "morph-mpts/Stevens_etal_2013a.xread", 843 };
    if (!readset(many)) GTEST_SKIP() << "the shared test data are not here";
    int trees[2] = {};
    for (int multiply : { 0, 1 })
        for (int seed : { 1, 2, 3 }) {
            std::string report = zelrun("keep 0;rseed " + std::to_string(seed) + ";xmult=targetscore 843 hits 3 " + (multiply ? "multiply;" : "nomultiply;"));
            EXPECT_TRUE(says(report, "Target score 843 hit 3 times")) << report;
            for (int t = 0; t < trees_in_mem; ++t) EXPECT_EQ(reportscore(t), many.length);
            trees[multiply] += trees_in_mem;
        }
    EXPECT_GT(trees[1], trees[0]);
    zelrun("xmult:notarget;keep 0;hold 100;rseed 1;");
}

// The target cannot be reached.  Trees of all scores fill the buffer sooner than those of the best one.
TEST(XmultOfRealData, FiltersTheTreesOfAHitThatMissesItsTarget)
{
    zelrun("");
    xmultsettings saved;
    const realset many = { "morph-mpts/Stevens_etal_2013a.xread", 843 };
    if (!readset(many)) GTEST_SKIP() << "the shared test data are not here";
    zelrun("hold 30;xmult:targetscore 800 repl 2 nomultiply norss nocss noautoconst;");
    long examined[2];
    for (int filter : { 0, 1 }) {
        std::string report = zelrun("keep 0;xmult=filter " + std::to_string(filter) + ";");
        EXPECT_TRUE(says(report, "No space to store more trees!") && says(report, "Target score 800 hit 0 times")) << report;
        size_t at = report.find("examined: ");
        ASSERT_NE(at, std::string::npos) << report;
        examined[filter] = std::stol(report.substr(at + 10));
        for (int t = 0; t < trees_in_mem; ++t) EXPECT_EQ(reportscore(t), many.length);
    }
    EXPECT_GT(examined[1], 2 * examined[0]);
    zelrun("xmult:notarget filter 0;keep 0;hold 100;");
}

// What all shortest trees share is never lost in the estimate.
TEST(XmultOfRealData, EstimatesTheConsensusOfAllShortestTrees)
{
    zelrun("");
    xmultsettings saved;
    int rule = current_collapsing_rule();
    const realset &s = sets[0];
    if (!readset(s)) GTEST_SKIP() << "the shared test data are not here";
    zelrun("mult;bbreak;");
    int shortest = trees_in_mem;
    std::set<uint64_t> common;
    for (int t = 0; t < shortest; ++t) {
        std::vector<uint64_t> groups = plain::groups(kept(t));
        std::set<uint64_t> has, both;
        for (int n = nt + 1; n < mem_tree[t][nt]; ++n) has.insert(groups[size_t(n)]);
        if (t) std::set_intersection(has.begin(), has.end(), common.begin(), common.end(), std::inserter(both, both.end()));
        common = t ? both : has;
    }
    zelrun("keep 0;xmult=hits 1 consense 2 conbase 3;");
    ASSERT_FALSE(zelfailed());
    int last = trees_in_mem - 1;
    std::vector<uint64_t> groups = plain::groups(kept(last));
    std::set<uint64_t> estimate(groups.begin() + nt + 1, groups.begin() + mem_tree[last][nt]);
    for (uint64_t g : common) EXPECT_TRUE(estimate.count(g));
    EXPECT_LE(estimate.size(), size_t(nt - 2));
    set_collapsing_rule(rule);
    zelrun("keep 0;hold 100;");
}

// They cannot be divided in two chunks of ten nodes, which sectsch refuses.
TEST(Xmult, SkipsExclusiveSectorsOfSmallTrees)
{
    zelrun("");
    xmultsettings saved;
    std::mt19937 rng(1230);
    for (int taxa : { 4, 16, 19, 20 }) {
        plain::data m = plain::randommatrix(rng, taxa, 30, kinds()[0]);
        m.taxactive.assign(m.taxa, 1);
        use(m);
        std::string report = zelrun("keep 0;xmult=xss hits 2;");
        EXPECT_FALSE(zelfailed()) << taxa << " taxa: " << report;
        EXPECT_TRUE(says(report, "Completed search.")) << report;
    }
    zelrun("keep 0;");
}
