// Searches on data of every kind, under plain and implied weights: where they end nothing one move away
// is better, and they find the best of all trees.
#include "searchtest.h"
#include "slowtest.h"
#include "trees/lightopt.h"

namespace {

double plainscore(const mixed::data &d, const plain::tree &t) { return dopiwe ? mixed::fits(d, t) : mixed::length(d, t); }
double reporttime(int t) { optmem(); return packdownpass(mem_tree[t]); }

mixed::data readrandom(std::mt19937 &rng, int taxa, int chars, const mixed::kind &k)
{
    mixed::data d = mixed::random(rng, taxa, chars, k);
    d.m.taxactive.assign(d.m.taxa, 1);
    zelrun("mxram 32;");
    std::string said = zelrun("procedure " + writefile("slow.xread", mixed::readtext(d)) + ";" + mixed::moresettings);
    if (zelfailed()) ADD_FAILURE() << said;
    if (dopiwe) set_fit_minima();
    return d;
}

double printed() { return dopiwe ? 1e-5 : 1e-3; }       // to how much scores are shown

void nothingbetter(const char *options, bool rerooted, unsigned seed)
{
    std::mt19937 rng(seed);
    for (const mixed::kind &k : mixed::kinds)
        for (int trial = 0; trial < atmost(5); ++trial) {
            SCOPED_TRACE(k.what);
            mixed::data d = readrandom(rng, 5 + 2 * trial % 9, 3 + plain::below(rng, 10), k);
            usetrees({ plain::randomtree(rng, d.m.taxa) });
            std::string report = zelrun(std::string("bbreak=") + options + ";");
            ASSERT_FALSE(zelfailed()) << report;
            ASSERT_EQ(report.find("OOpps"), std::string::npos) << report;
            plain::tree end = kept(0);
            double score = plainscore(d, end);
            ASSERT_NEAR(bestscore(report), score, printed()) << report;
            ASSERT_NEAR(reporttime(0), score, 1e-8);
            neighbours(end, rerooted, [&](const plain::tree &u) {
                ASSERT_GE(plainscore(d, u), score - 1e-7) << "trial " << trial << ": " << plain::text(u);
            });
            if (testing::Test::HasFatalFailure()) break;
        }
    zelrun("keep 0;bbreak:tbr mulpars nosafe;");
}

void findsthebest(unsigned seed)
{
    std::mt19937 rng(seed);
    int missed = 0;
    for (const mixed::kind &k : mixed::kinds)
        for (int trial = 0; trial < atmost(3); ++trial) {
            SCOPED_TRACE(k.what);
            mixed::data d = readrandom(rng, 6 + trial % 2, 6, k);
            double best = 1e30;
            plain::allbinary(d.m.taxa, [&](const plain::tree &t) { best = std::min(best, plainscore(d, t)); });
            std::string report = zelrun("keep 0;rseed 1;mult=replic 10 hold 5;");
            ASSERT_FALSE(zelfailed()) << report;
            ASSERT_GE(bestscore(report), best - printed()) << report;
            if (bestscore(report) > best + printed()) {          // few taxa have few ways: an end of their own
                ++missed;
                double found = plainscore(d, kept(0));
                neighbours(kept(0), true, [&](const plain::tree &u) { ASSERT_GE(plainscore(d, u), found - 1e-7); });
                continue;
            }
            for (int t = 0; t < trees_in_mem; ++t) ASSERT_NEAR(reporttime(t), best, 1e-7);
        }
    EXPECT_LE(missed, 2);
    zelrun("keep 0;mult:replic 10 hold 10;");
}

// Every tree within the limit that one move from a kept tree reaches is kept too.
void wholeisland(double subopt, unsigned seed)
{
    constexpr double SAME = 1e-7;
    std::mt19937 rng(seed);
    rulefor none(nocollapse);
    for (const mixed::kind &k : mixed::kinds)
        for (int trial = 0; trial < atmost(3); ++trial) {
            SCOPED_TRACE(k.what);
            mixed::data d = readrandom(rng, 5 + trial % 2, 4 + plain::below(rng, 6), k);
            zelrun("hold 3000;");
            usetrees({ plain::randomtree(rng, d.m.taxa) });
            zelrun("subopt " + std::to_string(subopt) + ";");
            std::string report = zelrun("bbreak=tbr mulpars;");
            ASSERT_FALSE(zelfailed()) << report;
            std::set<std::vector<uint64_t>> shapes;
            auto all = allkept();
            double best = 1e30, limit = dopiwe || !d.cont.empty() ? subopt : std::floor(subopt);
            for (const plain::tree &t : all) {
                best = std::min(best, plainscore(d, t));
                EXPECT_TRUE(shapes.insert(plain::shape(t)).second) << "kept twice";
            }
            for (const plain::tree &t : all) {
                ASSERT_LE(plainscore(d, t), best + limit + SAME);
                neighbours(t, true, [&](const plain::tree &u) {
                    double score = plainscore(d, u);
                    ASSERT_GE(score, best - SAME);
                    if (score < best + limit - SAME) { ASSERT_TRUE(shapes.count(plain::shape(u))) << plain::text(u) << report; }
                });
            }
            if (testing::Test::HasFatalFailure()) break;
        }
    zelrun("subopt 0;keep 0;hold 100;bbreak:tbr mulpars;");
}

}  // namespace

TEST(SlowSearches, TbrKeepsAllTreesWithinTheLimit)       { wholeisland(2, 406); }
TEST(ImpliedSearches, TbrKeepsAllTreesWithinTheLimit)    { mixed::weighting w; wholeisland(0.2, 416); }
TEST(SlowSearches, TbrEndsWhereNoMoveIsBetter)           { nothingbetter("tbr nomulpars", true, 401); }
TEST(SlowSearches, SprEndsWhereNoMoveIsBetter)           { nothingbetter("spr nomulpars", false, 402); }
TEST(SlowSearches, TbrOfManyTreesEndsWhereNoMoveIsBetter) { nothingbetter("tbr mulpars", true, 403); }
TEST(SlowSearches, SafeSprEndsWhereNoMoveIsBetter)       { nothingbetter("spr nomulpars safe", false, 404); }
TEST(SlowSearches, FindTheBestOfAllTrees)                { findsthebest(405); }

TEST(ImpliedSearches, TbrEndsWhereNoMoveIsBetter)        { mixed::weighting w; nothingbetter("tbr nomulpars", true, 411); }
TEST(ImpliedSearches, SprEndsWhereNoMoveIsBetter)        { mixed::weighting w("piwe=0.5;"); nothingbetter("spr nomulpars", false, 412); }
TEST(ImpliedSearches, TbrOfManyTreesEndsWhereNoMoveIsBetter) { mixed::weighting w("piwe=9;"); nothingbetter("tbr mulpars", true, 413); }
TEST(ImpliedSearches, SafeSprEndsWhereNoMoveIsBetter)    { mixed::weighting w; nothingbetter("spr nomulpars safe", false, 414); }
TEST(ImpliedSearches, FindTheBestOfAllTrees)             { mixed::weighting w; findsthebest(415); }

namespace {

struct setweighting {             // of the characters, in sets of three
    mixed::weighting w;
    setweighting() { mixed::moresettings = "xpiwe[=3;"; }
    ~setweighting()
    {
        mixed::moresettings.clear();
        zelrun("xpiwe-;");
    }
};

}  // namespace

TEST(SetSearches, TbrEndsWhereNoMoveIsBetter)            { setweighting w; nothingbetter("tbr nomulpars", true, 421); }
TEST(SetSearches, SprEndsWhereNoMoveIsBetter)            { setweighting w; nothingbetter("spr nomulpars", false, 422); }
TEST(SetSearches, SafeTbrEndsWhereNoMoveIsBetter)        { setweighting w; nothingbetter("tbr nomulpars safe", true, 423); }
TEST(SetSearches, TbrOfManyTreesEndsWhereNoMoveIsBetter) { setweighting w; nothingbetter("tbr mulpars", true, 424); }
TEST(SetSearches, TbrKeepsAllTreesWithinTheLimit)        { setweighting w; wholeisland(0.2, 425); }
TEST(SetSearches, FindTheBestOfAllTrees)                 { setweighting w; findsthebest(426); }
