#include "searchtest.h"
#include "search/mult.h"

// Every binary tree of 4 to 7 taxa is scored by the plain reference.
TEST(Mult, FindsTheShortestTreesOfAllForFewTaxa)
{
    std::mt19937 rng(41);
    for (int trial = 0; trial < atmost(330); ++trial) {
        plain::data m = plain::randommatrix(rng, 4 + trial % 4, 3 + plain::below(rng, 25), kinds()[trial % kinds().size()]);
        use(m);
        plain::shortest best = plain::search(activepart(m));
        std::string report = zelrun("hold 1000;mult=replic 40 hold 10;");
        ASSERT_FALSE(zelfailed()) << report;
        ASSERT_EQ(bestscore(report), double(best.length)) << "trial " << trial << "\n" << report;
    }
    zelrun("hold 100;mult:replic 10 hold 10;");
}

TEST(Mult, KeepsTreesThatAreShortestAndDifferOnceCollapsed)
{
    std::mt19937 rng(42);
    for (int trial = 0; trial < 60; ++trial) {
        plain::data m = plain::randommatrix(rng, 6 + trial % 2, 4 + plain::below(rng, 8), { 8, 2, 20 });
        use(m);
        plain::shortest best = plain::search(m);
        zelrun("mult=replic 5 hold 20;bbreak;");
        std::set<std::vector<uint64_t>> shapes, possible;
        for (const plain::tree &t : best.trees) possible.insert(standinggroups(m, t));
        for (const plain::tree &t : allkept()) {
            EXPECT_EQ(plain::length(m, t), best.length);
            EXPECT_TRUE(shapes.insert(standinggroups(m, t)).second) << "two kept trees collapse to one, trial " << trial;
        }
        // the trees kept stand for all the shortest ones that swapping reaches
        EXPECT_LE(shapes.size(), possible.size());
        for (auto &s : shapes) EXPECT_TRUE(possible.count(s));
    }
}

TEST(Mult, LeavesCanonicalBinaryTreesOfTheActiveTaxa)
{
    std::mt19937 rng(43);
    for (int trial = 0; trial < 40; ++trial) {
        plain::data m = plain::randommatrix(rng, 8, 20, plain::everything(8));
        use(m);
        zelrun("mult=replic 3;");
        ASSERT_GT(trees_in_mem, 0);
        int active = activepart(m).taxa;
        for (int t = 0; t < trees_in_mem; ++t) {
            checktree(mem_tree[t]);
            EXPECT_EQ(countnodes(mem_tree[t]), active - 1);
            EXPECT_EQ(mem_tree[t][outgroup], nt);
            for (int x = 0; x < nt; ++x) EXPECT_EQ(isinthetree(mem_tree[t], x), bool(m.taxactive[x]));
            std::vector<int> again(mem_tree[t], mem_tree[t] + nodz);
            reset_nodz(again.data());
            EXPECT_TRUE(equal_tree(again.data(), mem_tree[t]));
        }
    }
}

TEST(Mult, RepeatsARunFromItsSeed)
{
    std::mt19937 rng(44);
    plain::data m = plain::randommatrix(rng, 25, 40);
    use(m);
    for (const char *how : { "rseed]<;", "rseed[;", "rseed]>;", "rseed<!;", "rseed-;", "rseed:3;" }) {
        zelrun(how);
        std::string first = zelrun("keep 0;rseed 7;mult=replic 4;");
        auto trees = allkept();
        std::string again = zelrun("keep 0;rseed 7;mult=replic 4;");
        EXPECT_EQ(first, again) << how;
        auto same = allkept();
        ASSERT_EQ(trees.size(), same.size());
        for (size_t i = 0; i < trees.size(); ++i) EXPECT_EQ(trees[i].anc, same[i].anc);
        EXPECT_NE(first, zelrun("keep 0;rseed 8;mult=replic 4;")) << how;
        EXPECT_EQ(zelrun("rseed;"), "Random seed is 8 \n");
    }
    zelrun("rseed]<-;rseed:0;rseed 1;");
}

TEST(Mult, KeepsTreesOfWorseReplicationsOnlyWhenAskedTo)
{
    std::mt19937 rng(45);
    plain::data m = plain::randommatrix(rng, 15, 30, { 8, 2, 0 });
    use(m);
    zelrun("mult=replic 10 hold 1 wagner;");
    long best = plain::length(m, kept(0));
    for (const plain::tree &t : allkept()) EXPECT_EQ(plain::length(m, t), best);
    zelrun("keep 0;mult=keepall;");
    std::set<long> lengths;
    for (const plain::tree &t : allkept()) lengths.insert(plain::length(m, t));
    EXPECT_GT(lengths.size(), 1u);
    EXPECT_EQ(*lengths.begin(), best);
    zelrun("mult:replic 10 hold 10 nokeepall tbr;");
}

TEST(Mult, AddsToTheTreesInMemory)
{
    std::mt19937 rng(46);
    plain::data m = plain::randommatrix(rng, 12, 30, { 8, 2, 0 });
    use(m);
    zelrun("mult=replic 5;");
    long best = plain::length(m, kept(0));
    int found = trees_in_mem;
    zelrun("mult=replic 1 spr;");
    EXPECT_GE(trees_in_mem, found);
    for (const plain::tree &t : allkept()) EXPECT_LE(plain::length(m, t), best);
    zelrun("mult:replic 10 tbr;");
}

TEST(Mult, StopsWhenTheTreeBufferIsFull)
{
    use(plain::blankmatrix(12, 5));            // no data: every tree has length 0
    rulefor none(nocollapse);
    std::string report = zelrun("hold 15;mult=replic 10 hold 10;");
    EXPECT_EQ(trees_in_mem, 15);
    EXPECT_NE(report.find("NOTE: Search terminated after replication 2 (tree buffer full)\n"), std::string::npos) << report;
    EXPECT_NE(report.find("Best score hit 2 times out of 2 (some replications overflowed).\n"), std::string::npos) << report;
    zelrun("keep 0;hold 100;mult:replic 10;");
}

// Four commands from the same seed build the same Wagner trees.  With SPR as the swapper nothing
// follows the SPR pass, so what TBR adds to it is the TBR lap alone: once, when the second replication
// ends in the tree of the first.
TEST(Mult, AReplicationThatEndsInAKnownTreeDoesNotSwapItAgain)
{
    auto examined = [](const std::string &options) {
        std::string report = zelrun("keep 0;rseed 3;mult=" + options + ";"), key = "examined: ";
        return std::stol(report.substr(report.find(key) + key.size()));
    };
    use(plain::fromrows({ "00000", "00000", "10000", "11000", "11100", "11110", "11111", "11111" }));
    zelrun("rseed:0;mult:hold 1;");
    long once = examined("replic 1 tbr") - examined("replic 1 spr"), twice = examined("replic 2 tbr") - examined("replic 2 spr");
    EXPECT_EQ(trees_in_mem, 1);
    EXPECT_GT(once, 0);
    EXPECT_EQ(twice, once);
    zelrun("rseed 1;mult:replic 10 hold 10 tbr;");
}

// The limit of suboptimal trees is that of the replication, not of each tree swapped: the room for all
// trees within it, and one more, never fills.
TEST(Mult, SuboptimalTreesDoNotBringInLongerOnes)
{
    std::mt19937 rng(48);
    rulefor none(nocollapse);
    int seen = 0;
    for (int trial = 0; trial < 30; ++trial) {
        plain::data m = plain::randommatrix(rng, 6, 8, { 8, 2, 0 });
        use(m);
        plain::shortest best = plain::search(m);
        int within = 0;
        plain::allbinary(6, [&](const plain::tree &t) { within += plain::length(m, t) <= best.length + 1; });
        std::string report = zelrun("subopt 1;hold 1000;rseed " + std::to_string(trial + 1) + ";mult=replic 1 hold " +
                                    std::to_string(within + 1) + ";");
        ASSERT_FALSE(zelfailed()) << report;
        if (bestscore(report) != double(best.length)) continue;
        ++seen;
        EXPECT_EQ(report.find("overflowed"), std::string::npos) << report;
        for (const plain::tree &t : allkept()) EXPECT_LE(plain::length(m, t), best.length + 1);
    }
    EXPECT_GT(seen, 20);
    zelrun("subopt 0;rseed 1;keep 0;hold 100;mult:replic 10 hold 10;");
}

// A replication with room for few trees fills it at once with trees of the length it begins with;
// what is found later is shorter, and takes the place of all of them.
TEST(Mult, AFullReplicationStillImproves)
{
    std::mt19937 rng(49);
    rulefor none(nocollapse);
    for (int trial = 0; trial < atmost(12); ++trial) {
        plain::data m = plain::randommatrix(rng, 12, 14, { 8, 2, 0 });
        use(m);
        for (int hold : { 2, 3, 5 }) {
            zelrun("keep 0;mult=replic 1 hold " + std::to_string(hold) + ";");
            ASSERT_LE(trees_in_mem, hold);
            long length = plain::length(m, kept(0));
            for (const plain::tree &t : allkept()) EXPECT_EQ(plain::length(m, t), length);
            bool some = false;             // of the trees kept the first one swapped was swapped to the end
            for (const plain::tree &t : allkept()) {
                bool better = false;
                neighbours(t, true, [&](const plain::tree &u) { better |= plain::length(m, u) < length; });
                some |= !better;
            }
            EXPECT_TRUE(some);
        }
    }
    zelrun("keep 0;mult:replic 10 hold 10;");
}

// Suboptimal trees stay when a better one is found, and may leave no room for it.
TEST(Mult, KeepsTheBestTreeOfAReplicationThatIsFullOfSuboptimalTrees)
{
    std::mt19937 rng(50);
    rulefor none(nocollapse);
    int full = 0;
    for (int trial = 0; trial < atmost(30); ++trial) {
        plain::data m = plain::randommatrix(rng, 10, 12, { 8, 2, 0 });
        use(m);
        std::string report = zelrun("subopt 6;keep 0;hold 100;rseed " + std::to_string(trial + 1) + ";mult=replic 1 hold 5;");
        ASSERT_FALSE(zelfailed()) << report;
        full += trees_in_mem == 5;
        long best = LONG_MAX;
        for (const plain::tree &t : allkept()) best = std::min(best, plain::length(m, t));
        EXPECT_EQ(double(best), bestscore(report)) << "trial " << trial;
    }
    EXPECT_GT(full, 5);
    zelrun("subopt 0;rseed 1;keep 0;hold 100;mult:replic 10 hold 10;");
}

// The trees in memory before are those to be compared with, whoever found them.
TEST(Mult, ReplicationsThatMissTheTreesInMemoryHitNothing)
{
    std::mt19937 rng(50);
    plain::data m = plain::randommatrix(rng, 20, 25, { 8, 2, 0 });
    use(m);
    std::string report = zelrun("mult=replic 20;");
    double best = bestscore(report.substr(report.rfind("Best score (")));
    report = zelrun("mult=replic 1 wagner;");             // of a Wagner tree alone
    EXPECT_NE(report.find("Best score hit 0 times out of 1"), std::string::npos) << report;
    EXPECT_EQ(bestscore(report), best) << report;
    zelrun("mult:replic 10 tbr;");
}

TEST(Mult, DataWithoutSignalCollapseToOneTree)
{
    use(plain::blankmatrix(9, 5));
    zelrun("mult;");
    EXPECT_EQ(trees_in_mem, 1);
    zelrun("bbreak;");
    EXPECT_EQ(trees_in_mem, 1);
}

TEST(Mult, FindsPublishedLengths)
{
    struct { const char *file; double length; } known[] = {
        { "morph-mpts/Argue_etal_2009a.xread", 234 }, { "morph-mpts/Beard_2008a.xread", 61 },
        { "morph-mpts/Cameron_1997a.xread", 89 },     { "morph-mpts/Groves_et_Trueman_1995a.xread", 171 },
        { "morph-mpts/Alba_etal_2015a.xread", 645 },  { "morph-mpts/Gilbert_2013ab.xread", 1315 },
    };
    if (datafile(known[0].file).empty()) GTEST_SKIP() << "the shared test data are not here";
    for (auto &k : known) {
        zelrun("nstates 32;procedure " + datafile(k.file) + ";");
        EXPECT_EQ(bestscore(zelrun("mult;")), k.length) << k.file;
    }
}

TEST(Mult, FindsAllThePublishedShortestTrees)
{
    struct { const char *file; int trees; } known[] = {
        { "morph-mpts/Argue_etal_2009a.xread", 7 },       { "morph-mpts/Begun_1994a.xread", 12 },
        { "morph-mpts/Coster_etal_2013ac.xread", 20 },    { "morph-mpts/Beard_et_MacPhee_1994a.xread", 29 },
        { "morph-mpts/Groves_et_Trueman_1995a.xread", 8 },
    };
    if (datafile(known[0].file).empty()) GTEST_SKIP() << "the shared test data are not here";
    for (int quickly : { 0, 1 })
        for (auto &k : known) {
            rulefor rule1(rule_1, quickly);
            zelrun("nstates 32;procedure " + datafile(k.file) + ";hold 1000;mult;bbreak;");
            EXPECT_EQ(trees_in_mem, k.trees) << k.file;
        }
}

// What the walks find is kept as any replication keeps its trees, and what they change is put back.
TEST(Mult, PutsEachTreeThroughARatchetOrADriftWhenAsked)
{
    std::mt19937 rng(95);
    zelrun("ratchet:iter 4; drift:iter 4;");
    for (int trial = 0; trial < atmost(20); ++trial) {
        plain::data m = plain::randommatrix(rng, 7, 15, { 8, 3, 10, 0, 0, 0, 0, 2, 1 });
        use(m);
        plain::shortest best = plain::search(m);
        const char *how = trial % 3 == 0 ? "ratchet" : trial % 3 == 1 ? "drift" : "ratchet drift";
        int hold = 1 + trial % 4;
        std::string said = zelrun(std::string("keep 0; rseed 2; mult=replic 4 hold ") + std::to_string(hold) + " " + how + ";");
        ASSERT_FALSE(zelfailed()) << said;
        EXPECT_EQ(bestscore(said.substr(said.rfind("Best score ("))), double(best.length)) << said;
        EXPECT_GT(trees_in_mem, 0);
        EXPECT_LE(trees_in_mem, 4 * hold);
        std::set<std::vector<uint64_t>> shapes;
        for (const plain::tree &t : allkept()) {
            EXPECT_EQ(plain::length(m, t), best.length);
            EXPECT_TRUE(shapes.insert(standinggroups(m, t)).second);
        }
        for (int t = 0; t < trees_in_mem; ++t) checktree(mem_tree[t]);
        EXPECT_EQ(zelrun(std::string("keep 0; rseed 2; mult;")), said) << how;
        zelrun("mult:noratchet nodrift;");
        EXPECT_EQ(mults.ratchet + mults.drift, 0);
    }
    zelrun("keep 0; rseed 1; mult:replic 10 hold 10; ratchet:iter 50; drift:iter 30;");
}
