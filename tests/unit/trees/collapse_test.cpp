// Collapsing rules against their definitions, by all most parsimonious reconstructions.
#include "zeltest.h"
#include "plaincosts.h"
#include "reference.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "trees/collapse.h"
#include "trees/lightopt.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include <filesystem>

using plain::data, plain::tree;

static void readmatrix(const data &m)
{
    std::string said = zelrun("procedure " + writefile("data.xread", plain::readtext(m)) + ";");
    ASSERT_FALSE(zelfailed()) << plain::readtext(m) << said;
    optmem();
}

static std::vector<int> marksof(collapser rule, const tree &t, const uint8_t *excluded = nullptr)
{
    std::vector<int> anc = plain::stored(t), marks(anc.size(), -1);
    rule(anc.data(), marks.data(), excluded);
    return marks;
}

// How a branch fares over all reconstructions of all characters that count.
struct branch { bool alwayschanges = false, maychange = false, setsdiffer = false; };

static std::vector<branch> allbranches(const data &m, const tree &t)
{
    std::vector<branch> found(t.nodes());
    for (int c = 0; c < m.chars; ++c) {
        if (!m.active[c] || !m.weight[c]) continue;
        std::vector<int> least(t.nodes(), 1 << 20), most(t.nodes(), 0);
        std::vector<uint32_t> states(t.nodes(), 0);
        plain::reconstructions(m, t, c, [&](const std::vector<int> &state) {
            for (int n = t.taxa; n < t.nodes(); ++n) {
                states[n] |= 1u << state[n];
                if (n == t.root()) continue;
                int changes = plain::change(m, c, state[t.anc[n]], state[n]);
                least[n] = std::min(least[n], changes), most[n] = std::max(most[n], changes);
            }
        });
        for (int n = t.taxa + 1; n < t.nodes(); ++n) {
            found[n].alwayschanges |= least[n] > 0;
            found[n].maychange |= most[n] > 0;
            found[n].setsdiffer |= states[n] != states[t.anc[n]];
        }
    }
    return found;
}

struct collapsing : testing::TestWithParam<int> { };
INSTANTIATE_TEST_SUITE_P(Celldim, collapsing, testing::Values(8, 16, 32));

TEST_P(collapsing, EachRuleIsItsDefinitionOverAllReconstructions)
{
    std::mt19937 rng(9 + GetParam());
    plain::mix k = plain::everything(GetParam());
    k.maxstates = 4;
    int stands = 0, falls = 0;
    for (int trial = 0; trial < 200; ++trial) {
        data m = plain::randommatrix(rng, 5 + plain::below(rng, 3), 1 + plain::below(rng, 9), k);
        for (int c = 0; c < m.chars; ++c)                        // states above 4 make the enumeration long
            for (int t = 0; t < m.taxa; ++t)
                if (m.cells[t][c] != plain::ANY && m.cells[t][c] > 15) m.cells[t][c] = 1u << plain::below(rng, 5);
        readmatrix(m);
        tree t = plain::randomtree(rng, m.taxa, trial % 3 * 30);
        SCOPED_TRACE(plain::readtext(m) + plain::text(t));
        auto expected = allbranches(m, t);
        auto min = marksof(rule_1, t), max = marksof(rule_3, t), amb = marksof(rule_ambiguous, t);
        for (int n = m.taxa + 1; n < t.nodes(); ++n) {
            bool below = t.anc[n] == t.root();
            ASSERT_EQ(min[n], below || expected[n].alwayschanges) << n;
            ASSERT_EQ(max[n], below || expected[n].maychange) << n;
            ASSERT_EQ(amb[n], below || expected[n].setsdiffer) << n;
            if (!below) ++(min[n] ? stands : falls);
        }
    }
    EXPECT_GT(stands, 20);
    EXPECT_GT(falls, 20);
}

// With step matrices the rules go by the sets: what any best reconstruction has at either end.
TEST(Collapse, RulesGoByTheSetsOfStepMatricesToo)
{
    std::mt19937 rng(71);
    int stands = 0, falls = 0;
    for (int trial = 0; trial < 200; ++trial) {
        plain::mix k = plain::everything(16);
        k.maxstates = 5;
        k.inactivetaxa = 0;
        data m = plain::randommatrix(rng, 6 + plain::below(rng, 6), 1 + plain::below(rng, 6), k);
        m.costs.resize(size_t(m.chars));
        for (int c = 0; c < m.chars; ++c) {
            if (plain::chance(rng, 40) || plain::statesof(m, c) < 2) continue;
            m.additive[c] = 0;
            for (auto &row : trial % 2 ? plain::treecosts(rng, plain::statesof(m, c)) : plain::randomcosts(rng, plain::statesof(m, c), trial % 4))
                m.costs[c].emplace_back(row.begin(), row.end());
        }
        zelrun(trial % 3 ? "cstree -;" : "cstree +;");
        readmatrix(m);
        tree t = plain::randomtree(rng, m.taxa, trial % 3 * 25);
        std::vector<branch> expected(size_t(t.nodes()));
        for (int c = 0; c < m.chars; ++c) {
            if (!m.active[c] || !m.weight[c]) continue;
            auto last = plain::finalsets(m, t, c), first = plain::firstsets(m, t, c);
            for (int n = m.taxa + 1; n < t.nodes(); ++n) {
                expected[n].alwayschanges |= !(last[n] & last[t.anc[n]]);
                expected[n].setsdiffer |= last[n] != last[t.anc[n]];
                expected[n].maychange |= (last[t.anc[n]] & ~first[n]) != 0;
            }
        }
        auto min = marksof(rule_1, t), max = marksof(rule_3, t), amb = marksof(rule_ambiguous, t);
        SCOPED_TRACE(plain::readtext(m) + plain::text(t));
        for (int n = m.taxa + 1; n < t.nodes(); ++n) {
            bool below = t.anc[n] == t.root();
            ASSERT_EQ(min[n], below || expected[n].alwayschanges) << n;
            ASSERT_EQ(max[n], below || expected[n].maychange) << n;
            ASSERT_EQ(amb[n], below || expected[n].setsdiffer) << n;
            if (!below) ++(min[n] ? stands : falls);
        }
    }
    zelrun("cstree -;");
    EXPECT_GT(stands, 20);
    EXPECT_GT(falls, 20);
}

TEST(Collapse, MarksAreOnlyOnInternalNodesAndTheRootStands)
{
    std::mt19937 rng(4);
    for (int trial = 0; trial < 50; ++trial) {
        data m = plain::randommatrix(rng, 8, 3);
        readmatrix(m);
        tree t = plain::randomtree(rng, 8, 30);
        for (collapser rule : { nocollapse, rule_1, rule_ambiguous, rule_3 }) {
            auto marks = marksof(rule, t);
            for (int n = 0; n < int(marks.size()); ++n)
                if (n < 8 || n >= t.nodes()) { EXPECT_EQ(marks[n], 0); }
            EXPECT_EQ(marks[8], 1);
        }
    }
}

TEST(Collapse, WithoutARuleEveryBranchStands)
{
    data m = plain::fromrows({ "0", "0", "0", "0", "0" });
    readmatrix(m);
    std::mt19937 rng(1);
    tree t = plain::randomtree(rng, 5);
    auto marks = marksof(nocollapse, t);
    EXPECT_EQ(std::vector<int>(marks.begin() + 5, marks.end()), std::vector<int>(4, 1));
}

TEST(Collapse, WithConstantDataOnlyTheRootAndTheNodesBelowItStand)
{
    data m = plain::fromrows({ "0", "0", "0", "0", "0" });
    readmatrix(m);
    std::vector<int> anc{ 5, 6, 7, 8, 8, 9, 5, 6, 7 };           // (0 (1 (2 (3 4))))
    for (collapser rule : { rule_1, rule_ambiguous, rule_3 }) {
        std::vector<int> marks(9);
        rule(anc.data(), marks.data(), nullptr);
        EXPECT_EQ(marks, (std::vector<int>{ 0, 0, 0, 0, 0, 1, 1, 0, 0 }));
    }
    collapser was = mark_supported;
    mark_supported = rule_1;
    std::vector<int> marks(9);
    mark_unsupported(anc.data(), marks.data());
    EXPECT_EQ(marks, (std::vector<int>{ 0, 0, 0, 0, 0, 0, 0, 1, 1 }));
    delnodz(anc.data(), marks.data());
    EXPECT_EQ(plain::shape(plain::fromstored(anc.data(), 5)), (std::vector<uint64_t>{ 0b11110, 0b11111 }));
    mark_supported = was;
}

TEST(Collapse, TheRuleInForceHasANumberAndWords)
{
    collapser was = mark_supported;
    EXPECT_EQ(current_collapsing_rule(), COLL_RULE1);
    EXPECT_EQ(dacollrule, COLL_RULE1);
    EXPECT_EQ(collapse_consensuses, 1);
    EXPECT_EQ(autocollapse_searches, 0);
    const struct { collapser rule; int number; const char *words; } rules[] = {
        { nocollapse, COLL_NONE, "(not collapsing)" },
        { rule_3, COLL_RULE3, "(when max. branch length = 0 )" },
        { rule_ambiguous, COLL_AMBIGUOUS, "(when anc. and desc. MP sets are equal)" },
        { rule_1, COLL_RULE1, "(when min. branch length = 0 - trees may become longer!)" },
    };
    for (const auto &r : rules) {
        mark_supported = r.rule;
        EXPECT_EQ(current_collapsing_rule(), r.number);
        EXPECT_STREQ(report_collapse_rule(), r.words);
    }
    mark_supported = was;
}

TEST(Collapse, ABranchWithOneIncludedDescendantIsTestedAtTheForkBelowIt)
{
    // ((0 1) ... : the only change lies on the branch of {3,4,5}, held apart from {4,5} by taxon 3
    //   (0 (1 (2 (3 (4 5)))))    nodes 6 7 8 9 10
    data m = plain::fromrows({ "0", "0", "0", "1", "1", "1" });
    readmatrix(m);
    std::vector<int> anc{ 6, 7, 8, 9, 10, 10, 11, 6, 7, 8, 9 };
    std::vector<int> marks(11);
    rule_1(anc.data(), marks.data(), nullptr);
    EXPECT_EQ(marks[9], 1);
    EXPECT_EQ(marks[10], 0);
    std::vector<uint8_t> excluded{ 0, 0, 0, 1, 0, 0 };
    rule_1(anc.data(), marks.data(), excluded.data());
    EXPECT_EQ(marks[9], 0) << "one descendant left: not tested";
    EXPECT_EQ(marks[10], 1) << "the branches on both sides of node 9 are one";
    EXPECT_EQ(marks[8], 0);
}

TEST(Collapse, ContinuousCharactersSupportABranchWhenTheRangesDoNotMeet)
{
    zelrun("nstates num 32; xread 1 5 &[continuous]\nt0 1.0\nt1 1.0\nt2 1.5\nt3 2.0\nt4 2.0\n;");
    ASSERT_FALSE(zelfailed());
    optmem();
    std::vector<int> anc{ 5, 6, 7, 8, 8, 9, 5, 6, 7 };           // (0 (1 (2 (3 4)))): 1.0, 1.0, 1.5, 2.0 going up
    std::vector<int> marks(9);
    rule_1(anc.data(), marks.data(), nullptr);
    EXPECT_EQ(marks, (std::vector<int>{ 0, 0, 0, 0, 0, 1, 1, 1, 1 }));
    zelrun("xread 1 5 &[continuous]\nt0 1.0\nt1 1.0\nt2 1.0-2.0\nt3 2.0\nt4 2.0\n;");
    optmem();
    rule_1(anc.data(), marks.data(), nullptr);                   // the change may lie on either branch
    EXPECT_EQ(marks, (std::vector<int>{ 0, 0, 0, 0, 0, 1, 1, 0, 0 }));
    rule_3(anc.data(), marks.data(), nullptr);
    EXPECT_EQ(marks, (std::vector<int>{ 0, 0, 0, 0, 0, 1, 1, 1, 1 }));
}

// Published trees are collapsed by minimum length, but for sets given fully resolved.
TEST(Collapse, LeavesPublishedTreesThatWereCollapsedAsTheyAre)
{
    std::string folder = datafile("morph-mpts");
    if (folder.empty()) GTEST_SKIP() << "shared data are absent";
    int sets = 0, branches = 0;
    for (const auto &file : std::filesystem::directory_iterator(folder)) {
        std::string trees = file.path().string(), ending = "_mpts.tre";
        if (trees.size() < ending.size() || trees.substr(trees.size() - ending.size()) != ending) continue;
        if (readfile(trees).compare(0, 5, "tread")) continue;
        std::string matrix = trees.substr(0, trees.size() - ending.size()) + ".xread";
        zelrun("nstates num 32; procedure " + matrix + ";");
        ASSERT_FALSE(zelfailed()) << matrix;
        zelrun("hold 1100; procedure " + trees + ";");
        ASSERT_FALSE(zelfailed()) << trees;
        optmem();
        bool resolved = true;
        for (int t = 0; t < trees_in_mem; ++t) resolved &= mem_tree[t][nt] == nodz;
        if (resolved) continue;
        std::vector<int> marks(nodz);
        for (int t = 0; t < trees_in_mem; ++t) {
            rule_1(mem_tree[t], marks.data(), nullptr);
            for (int n = nt; n < mem_tree[t][nt]; ++n) EXPECT_EQ(marks[n], 1) << trees << " tree " << t << " node " << n;
            branches += mem_tree[t][nt] - nt;
        }
        ++sets;
    }
    EXPECT_GE(sets, 5);
    EXPECT_GT(branches, 100);
}
