// Exact searches against all trees.
#include "searchtest.h"
#include "slowtest.h"

namespace {

template<class SCORE> void comparewithall(int taxa, double excess, const std::string &report, SCORE score)
{
    double best = 1e30;
    std::vector<std::pair<double, std::vector<uint64_t>>> all;
    plain::allbinary(taxa, [&](const plain::tree &t) {
        all.push_back({ score(t), plain::shape(t) });
        best = std::min(best, all.back().first);
    });
    shapes expected;
    for (auto &[length, shape] : all)
        if (length <= best + excess + 1e-7) expected.insert(shape);
    EXPECT_EQ(size_t(trees_in_mem), expected.size()) << report;
    EXPECT_TRUE(keptshapes() == expected);
    std::string found = "Implicit enumeration, " + std::to_string(expected.size()) + " trees found, score ";
    ASSERT_EQ(report.find(found), 0u) << report;
    EXPECT_NEAR(std::stod(report.substr(found.size())), best, dopiwe ? 1e-5 : 1e-3) << report;
    EXPECT_EQ(report.find("("), std::string::npos) << report;
}

void alltrees(unsigned seed, int excess)
{
    std::mt19937 rng(seed);
    rulefor none(nocollapse);
    for (int trial = 0; trial < atmost(33); ++trial) {
        plain::data m = plain::randommatrix(rng, 4 + trial % 4, 4 + plain::below(rng, 12), kinds()[trial % kinds().size()]);
        m.taxactive.assign(m.taxa, 1);
        use(m);
        zelrun("hold 1000; subopt " + std::to_string(excess) + ";");
        for (const char *how : { "ienum;", "ienum -;" }) {
            std::string report = zelrun(how);
            ASSERT_FALSE(zelfailed()) << report;
            comparewithall(m.taxa, excess, report, [&](const plain::tree &t) { return double(plain::length(m, t)); });
            if (testing::Test::HasFailure()) { ADD_FAILURE() << "trial " << trial << how; zelrun("subopt 0;"); return; }
        }
    }
    zelrun("subopt 0;");
}

// Some character cannot be as it is observed on any tree: its fit is that of a number of steps without meaning.
bool impossible(const mixed::data &d)
{
    constexpr long FORBIDDEN = 10000;        // what a change costs that cannot be
    bool possible = false;
    plain::allbinary(d.m.taxa, [&](const plain::tree &t) { possible |= plain::length(d.m, t) < FORBIDDEN; });
    return !possible;
}

void allmixed(unsigned seed, double excess)
{
    std::mt19937 rng(seed);
    rulefor none(nocollapse);
    for (const mixed::kind &k : mixed::kinds)
        for (int trial = 0; trial < atmost(3); ++trial) {
            SCOPED_TRACE(k.what);
            mixed::data d = mixed::random(rng, 5 + trial % 3, 3 + plain::below(rng, 7), k);
            d.m.taxactive.assign(d.m.taxa, 1);
            if (impossible(d)) continue;
            zelrun("mxram 32;");
            zelrun("procedure " + writefile("ienum.xread", mixed::readtext(d)) + ";");
            ASSERT_FALSE(zelfailed());
            if (dopiwe) set_fit_minima();
            zelrun("hold 1000; subopt " + std::to_string(excess) + ";");
            std::string report = zelrun("ienum;");
            ASSERT_FALSE(zelfailed()) << report;
            report = report.substr(report.find("Implicit"));
            comparewithall(d.m.taxa, suboptimal, report, [&](const plain::tree &t) { return dopiwe ? mixed::fits(d, t) : mixed::length(d, t); });
            if (testing::Test::HasFailure()) break;
        }
    zelrun("subopt 0;");
}

}  // namespace

TEST(Ienum, FindsAllOptimalTrees)              { alltrees(501, 0); }
TEST(Ienum, FindsAllTreesWithinTheLimit)       { alltrees(502, 2); }
TEST(Ienum, FindsAllOptimalTreesOfAnyData)     { allmixed(503, 0); }
TEST(Ienum, FindsAllTreesOfAnyDataWithinTheLimit) { allmixed(504, 1.25); }
TEST(Ienum, FindsAllOptimalTreesUnderImpliedWeights) { mixed::weighting w; allmixed(505, 0); }
TEST(Ienum, FindsAllTreesUnderImpliedWeightsWithinTheLimit) { mixed::weighting w("piwe=6;"); allmixed(506, 0.05); }

TEST(Ienum, FindsAllOptimalTreesOfNineTaxa)
{
    std::mt19937 rng(507);
    rulefor none(nocollapse);
    plain::data m = plain::randommatrix(rng, atmost(9) == 9 ? 9 : 8, 9, { 8, 3, 10 });
    use(m);
    zelrun("hold 5000;");
    std::string report = zelrun("ienum;");
    comparewithall(m.taxa, 0, report, [&](const plain::tree &t) { return double(plain::length(m, t)); });
    zelrun("keep 0; hold 100;");
}

TEST(Ienum, KeepsOneOfTheTreesThatAreTheSameOnceCollapsed)
{
    std::mt19937 rng(508);
    rulefor rule1(rule_1);
    for (int trial = 0; trial < atmost(30); ++trial) {
        plain::data m = plain::randommatrix(rng, 5 + trial % 3, 3 + plain::below(rng, 9), { 8, 2 + trial % 3, trial % 4 * 10 });
        use(m);
        zelrun("hold 1000;");
        zelrun("ienum;");
        ASSERT_FALSE(zelfailed());
        long best = LONG_MAX;
        shapes expected, found;
        plain::allbinary(m.taxa, [&](const plain::tree &t) {
            long n = plain::length(m, t);
            if (n < best) expected.clear(), best = n;
            if (n == best) expected.insert(standinggroups(m, t));
        });
        for (const plain::tree &t : allkept()) EXPECT_TRUE(found.insert(standinggroups(m, t)).second);
        EXPECT_TRUE(found == expected) << "trial " << trial;
    }
    zelrun("keep 0; hold 100;");
}

TEST(Ienum, ASampleIsOfAllOptimalTreesAlike)
{
    rulefor none(nocollapse);
    use(plain::blankmatrix(6, 2));                    // all 105 trees are optimal
    zelrun("hold 21;");
    std::map<std::vector<uint64_t>, int> times;
    constexpr int RUNS = 100;
    for (int seed = 1; seed <= RUNS; ++seed) {
        std::string report = zelrun("rseed " + std::to_string(seed) + "; ienum &;");
        ASSERT_NE(report.find("Implicit enumeration, 21 trees found, score 0 (sampled from 105 trees)"), std::string::npos) << report;
        ASSERT_EQ(keptshapes().size(), 21u);
        for (auto &s : keptshapes()) ++times[s];
    }
    EXPECT_EQ(times.size(), 105u);
    // each 20 times of 100, with a standard deviation of 4
    for (auto &[shape, n] : times) EXPECT_TRUE(n > 2 && n < 40) << n;
    zelrun("rseed 1; keep 0; hold 100;");
}

TEST(Ienum, SaysWhenTheTreesDoNotFit)
{
    rulefor none(nocollapse);
    use(plain::blankmatrix(6, 2));
    std::string report = zelrun("hold 20; ienum;");
    EXPECT_NE(report.find("Implicit enumeration, 20 trees found, score 0 (overflow)"), std::string::npos) << report;
    report = zelrun("hold 105; ienum;");
    EXPECT_NE(report.find("Implicit enumeration, 105 trees found, score 0\n"), std::string::npos) << report;
    report = zelrun("hold 200; ienum &;");
    EXPECT_NE(report.find("Implicit enumeration, 105 trees found, score 0\n"), std::string::npos) << report;
    zelrun("keep 0; hold 100;");
}

TEST(Ienum, RefusesSamplesOfWhatCannotBeSampled)
{
    use(plain::blankmatrix(6, 2));
    std::string report = zelrun("collapse none; subopt 1; ienum &;");
    EXPECT_TRUE(zelfailed());
    EXPECT_NE(report.find("A sample can be taken only for optimal trees (set suboptimal to 0)"), std::string::npos) << report;
    report = zelrun("subopt 0; collapse rule 1; ienum &;");
    EXPECT_TRUE(zelfailed());
    EXPECT_NE(report.find("A sample can be taken only for uncollapsed trees (set collapse to \"none\")"), std::string::npos) << report;
}

TEST(Ienum, RefusesWeightsThatNoPartialTreeTells)
{
    mixed::weighting w;
    use(plain::blankmatrix(6, 2));
    struct putback { ~putback() { xdopiwe_stat = 0, doautowt = 0; } } guard;
    xdopiwe_stat = 1;
    std::string report = zelrun("ienum;");
    EXPECT_TRUE(zelfailed());
    EXPECT_NE(report.find("Sorry, exact searches can't be done under extended implied weights"), std::string::npos) << report;
    xdopiwe_stat = 0;
    doautowt = 1;
    report = zelrun("ienum;");
    EXPECT_TRUE(zelfailed());
    EXPECT_NE(report.find("Sorry, exact searches can't be done under auto-weighted optimization"), std::string::npos) << report;
}

TEST(Ienum, KeepsInactiveTaxaOut)
{
    std::mt19937 rng(509);
    rulefor none(nocollapse);
    plain::data m = plain::randommatrix(rng, 8, 12, { 8, 3, 10 });
    m.taxactive = { 1, 1, 0, 1, 1, 1, 0, 1 };
    use(m);
    std::string report = zelrun("hold 1000; ienum;");
    ASSERT_FALSE(zelfailed()) << report;
    plain::data a = activepart(m);
    long best = LONG_MAX;
    size_t n = 0;
    plain::allbinary(a.taxa, [&](const plain::tree &t) {
        long length = plain::length(a, t);
        if (length < best) best = length, n = 0;
        n += length == best;
    });
    EXPECT_EQ(size_t(trees_in_mem), n);
    EXPECT_NE(report.find("score " + std::to_string(best)), std::string::npos) << report;
    zelrun("keep 0; hold 100;");
}
