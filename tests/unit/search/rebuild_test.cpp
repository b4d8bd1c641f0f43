// Rebuilding: taxa taken out and put back.
#include "searchtest.h"
#include "kernel/random.h"
#include "search/rebuild.h"
#include "search/setup.h"

TEST(Rebuild, PutsBackAllThatItTakesOut)
{
    std::mt19937 rng(901);
    int changed = 0;
    struct putback { rebuildsettings was = rebuild_settings; ~putback() { rebuild_settings = was; } } guard;
    for (int trial = 0; trial < atmost(60); ++trial) {
        plain::data m = plain::randommatrix(rng, 4 + trial % 14, 12, kinds()[trial % kinds().size()]);
        m.taxactive.assign(m.taxa, 1);
        use(m);
        plain::tree start = plain::randomtree(rng, m.taxa);
        usetrees({ start });
        rebuild_settings.percent = 1 + trial * 13 % 90;
        searchframe frame(rebuildcom);
        schgettree(mem_tree[0]);
        ranseed = trial + 1;
        do_the_rebuild(anx);
        ranseed = 1;
        std::vector<int> anc(anx, anx + nodz);
        unpack_one_tree(anc.data());
        plain::tree end = plain::fromstored(anc.data(), nt);
        ASSERT_EQ(end.nodes(), 2 * m.taxa - 1);
        std::vector<int> kids(size_t(end.nodes()), 0);
        for (int n = 0; n < end.nodes(); ++n)
            if (n != end.root()) ++kids[size_t(end.anc[n])];
        for (int n = 0; n < end.nodes(); ++n) ASSERT_EQ(kids[size_t(n)], n < m.taxa ? 0 : 2);
        EXPECT_EQ(schoptimize(anx, 1), double(plain::length(m, end)));
        changed += plain::shape(end) != plain::shape(start);
    }
    EXPECT_GT(changed, 0);
}

TEST(Rebuild, EndsWithTreesThatNoMoveMakesBetter)
{
    std::mt19937 rng(902);
    for (int trial = 0; trial < atmost(22); ++trial) {
        plain::data m = plain::randommatrix(rng, 6 + trial % 10, 14, kinds()[trial % kinds().size()]);
        m.taxactive.assign(m.taxa, 1);
        use(m);
        plain::tree start = plain::randomtree(rng, m.taxa);
        usetrees({ start });
        std::string report = zelrun("rebuild 4;");
        ASSERT_FALSE(zelfailed()) << report;
        EXPECT_NE(report.find("4 rebuild cycles completed\n"), std::string::npos) << report;
        long best = plain::length(m, kept(0));
        EXPECT_LE(best, plain::length(m, start));
        std::string saved = "Saved " + std::to_string(trees_in_mem) + " trees of score " + std::to_string(best) + "\n";
        EXPECT_NE(report.find(saved), std::string::npos) << report;
        for (const plain::tree &t : allkept()) EXPECT_EQ(plain::length(m, t), best);
        neighbours(kept(trees_in_mem - 1), true, [&](const plain::tree &u) { EXPECT_GE(plain::length(m, u), best); });
    }
    zelrun("keep 0;");
}

TEST(Rebuild, KeepsSuboptimalTreesWithinTheLimit)
{
    std::mt19937 rng(903);
    plain::data m = plain::randommatrix(rng, 14, 12, { 8, 2, 0 });
    use(m);
    usetrees({ plain::randomtree(rng, 14) });
    std::string report = zelrun("bbreak=nomulpars; bbreak:mulpars; subopt 3; rebuild 30;");
    ASSERT_FALSE(zelfailed()) << report;
    long best = LONG_MAX;
    for (const plain::tree &t : allkept()) best = std::min(best, plain::length(m, t));
    for (const plain::tree &t : allkept()) EXPECT_LE(plain::length(m, t), best + 3);
    EXPECT_NE(report.find("of score " + std::to_string(best) + "-" + std::to_string(best + 3)), std::string::npos) << report;
    zelrun("subopt 0; keep 0;");
}

TEST(Rebuild, RefusesConstraintsAndMissingTrees)
{
    std::mt19937 rng(904);
    use(plain::randommatrix(rng, 7, 10, { 8, 2, 0 }));
    EXPECT_NE(zelrun("rebuild 1;").find("Tree(s) are required"), std::string::npos);
    EXPECT_TRUE(zelfailed());
    zelrun("mult 1; force + [ 1 2 ]; constrain =;");
    if (zelfailed()) GTEST_SKIP() << "no constraints here";
    EXPECT_NE(zelrun("rebuild 1;").find("Sorry, cannot rebuild trees with constraints"), std::string::npos);
    EXPECT_TRUE(zelfailed());
    zelrun("constrain -; keep 0;");
}

TEST(Searches, CondenseTheTreesTheyFoundWhenAsked)
{
    std::mt19937 rng(905);
    rulefor rule1(rule_1);
    int condensed = 0;
    for (const char *search : { "ienum;", "mult 3;", "mult 2; bbreak;" })
        for (int trial = 0; trial < atmost(9); ++trial) {
            plain::data m = plain::randommatrix(rng, 6 + trial % 3, 8, { 8, 3, 10 });
            use(m);
            zelrun(std::string("hold 1000; collapse ]; ") + search);
            std::set<std::vector<uint64_t>> expected, found;
            for (const plain::tree &t : allkept()) expected.insert(standinggroups(m, t));
            zelrun(std::string("keep 0; collapse [; ") + search);
            ASSERT_FALSE(zelfailed());
            for (const plain::tree &t : allkept()) {
                std::vector<uint64_t> groups, all = plain::groups(t);
                for (int n = m.taxa + 1; n < t.nodes(); ++n) groups.push_back(all[size_t(n)]);
                std::sort(groups.begin(), groups.end());
                found.insert(groups);
                condensed += int(groups.size()) < m.taxa - 2;
            }
            EXPECT_TRUE(found == expected) << search << trial;
        }
    EXPECT_GT(condensed, 0);
    zelrun("collapse ]; keep 0; hold 100;");
}

// The rules that marks on the packed sets cannot tell: what a search condensed is what condensing by the
// command makes of the same trees.
TEST(Searches, CondenseByRuleFourAndBySwappingAsTheCommandDoes)
{
    std::mt19937 rng(906);
    int fewer = 0, condensed = 0;
    for (const char *rule : { "rule 4", "spr", "tbr" })
        for (auto [first, search] : { std::pair("", "mult=replic 3;"), { "", "ienum;" }, { "mult=replic 2;", "bbreak;" }, { "mult=replic 1;", "rebuild 2;" } })
            for (int trial = 0; trial < atmost(6); ++trial) {
                plain::data m = plain::randommatrix(rng, 6 + trial % 3, 8, { 8, 2 + trial % 2, 20 });
                use(m);
                std::string start = std::string("keep 0; collapse ] ") + rule + "; rseed 1;" + first;
                zelrun("hold 1000;" + start + search);
                int found = trees_in_mem;
                std::string plainly = zelrun("condense; unique;");
                ASSERT_FALSE(zelfailed()) << plainly;
                shapes expected = keptshapes();
                zelrun(start + "collapse [;" + search);
                ASSERT_FALSE(zelfailed());
                EXPECT_EQ(keptshapes(), expected) << rule << " " << search << trial;
                EXPECT_EQ(size_t(trees_in_mem), expected.size());
                fewer += trees_in_mem < found;
                for (const plain::tree &t : allkept()) condensed += t.nodes() < 2 * m.taxa - 1;
                zelrun("keep 0;");
            }
    EXPECT_GT(fewer, 0);
    EXPECT_GT(condensed, 0);
    zelrun("collapse ] rule 1; keep 0; hold 100; mult:replic 10;");
}

TEST(Searches, CondenseByRuleFourAsManyTreesAsThereIsRoomFor)
{
    std::mt19937 rng(907);
    plain::data m = plain::randommatrix(rng, 9, 5, { 8, 2, 40 });
    use(m);
    for (int room : { 1, 2, 4 }) {
        std::string said = zelrun("keep 0; hold " + std::to_string(room) + "; collapse [ rule 4; mult=replic 1 hold 2;");
        ASSERT_FALSE(zelfailed()) << said;
        EXPECT_LE(trees_in_mem, room);
        for (int t = 0; t < trees_in_mem; ++t) checktree(mem_tree[t]);
    }
    zelrun("collapse ] rule 1; keep 0; hold 100; mult:replic 10 hold 10;");
}
