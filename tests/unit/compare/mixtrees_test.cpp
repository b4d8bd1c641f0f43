#include "compcommand.h"
#include "compare/mixgroups.h"
#include "compare/mixtrees.h"

namespace {

plaintree restricted(plaintree tree, const std::vector<uint8_t> &keep)
{
    EXPECT_TRUE(prunetaxa(tree.data(), keep.data()));
    return tree;
}

taxonset taxaof(const plaintree &tree)
{
    taxonset taxa;
    for (int t = 0; t < nt; ++t)
        if (tree[t]) taxa.insert(t);
    return taxa;
}

groupset groupsin(const plaintree &tree) { return groupsof(tree.data(), nullptr, countterminals(tree.data())); }

// The groups that a supertree has when seen with the taxa of a tree alone.
groupset seenin(const plaintree &super, const plaintree &tree)
{
    std::vector<uint8_t> keep(nt);
    for (int t = 0; t < nt; ++t) keep[t] = tree[t] != 0;
    return groupsin(restricted(super, keep));
}

// Taxa inside both, and inside each but outside the other.
bool contradict(const taxonset &a, const taxonset &of, const taxonset &b, const taxonset &otherof)
{
    bool share = false, onlya = false, onlyb = false;
    for (int t : a) { share |= b.count(t); onlya |= otherof.count(t) && !b.count(t); }
    for (int t : b) onlyb |= of.count(t) && !a.count(t);
    return share && onlya && onlyb;
}

struct Mixtrees : testing::TestWithParam<int> {
    std::vector<plaintree> trees;
    void SetUp() override { readtaxa(GetParam()); }
    // Trees of random taxa, which together are all.
    void partsof(std::mt19937 &dice, const std::vector<plaintree> &models, int n)
    {
        trees.clear();
        zelrun("keep 0;");
        std::vector<uint8_t> covered(nt, 0);
        for (int i = 0; i < n; ++i) {
            std::vector<uint8_t> keep(nt);
            for (int t = 0; t < nt; ++t) keep[t] = dice() % 3 != 0 || (i == n - 1 && !covered[t]);
            for (int t = 0; t < 4; ++t) keep[dice() % nt] = 1;
            for (int t = 0; t < nt; ++t) covered[t] |= keep[t];
            trees.push_back(restricted(models[i % models.size()], keep));
            stortree(trees.back().data());
        }
    }
};

TEST_P(Mixtrees, HaveEveryGroupOfCongruentTrees)
{
    std::mt19937 dice(81);
    for (int trial = 0; trial < 30; ++trial) {
        plaintree model = randomtree(dice, trial % 3 * .2, 0);
        partsof(dice, { model }, 2 + int(dice() % 4));
        std::string text = zelrun("mixtrees *;");
        ASSERT_FALSE(zelfailed()) << text;
        EXPECT_NE(text.find("Input trees are congruent (multiple sequences not needed)"), std::string::npos) << text;
        plaintree super(mem_tree[trees_in_mem - 1], mem_tree[trees_in_mem - 1] + nodz);
        checktree(super.data());
        EXPECT_EQ(int(taxaof(super).size()), nt);
        for (auto &tree : trees) {
            groupset seen = seenin(super, tree), had = groupsin(tree);
            EXPECT_TRUE(std::includes(seen.begin(), seen.end(), had.begin(), had.end())) << "trial " << trial;
        }
    }
}

TEST_P(Mixtrees, HaveEveryGroupThatNoOtherContradicts)
{
    std::mt19937 dice(82);
    for (int trial = 0; trial < 30; ++trial) {
        plaintree model = randomtree(dice, 0, 0), other = model;
        // two terminals change places, which some of the groups do not mind
        int a = int(dice() % nt), b = int(dice() % nt);
        std::swap(other[a], other[b]);
        reset_nodz(other.data());
        partsof(dice, { model, other }, 2 + int(dice() % 3));
        zelrun("mixtrees *;");
        ASSERT_FALSE(zelfailed());
        plaintree super(mem_tree[trees_in_mem - 1], mem_tree[trees_in_mem - 1] + nodz);
        for (auto &tree : trees) {
            groupset seen = seenin(super, tree);
            for (auto &g : groupsin(tree)) {
                bool against = false;
                for (auto &t : trees)
                    for (auto &h : groupsin(t)) against |= contradict(g, taxaof(tree), h, taxaof(t));
                if (!against) EXPECT_TRUE(seen.count(g)) << "trial " << trial;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Taxa, Mixtrees, testing::Values(6, 12, 33));

struct MixtreesCommand : compcommand {};

// Two groups tell where the taxa missing from each are.
TEST_F(MixtreesCommand, InferPlacesFromTheTaxaTheyShare)
{
    zelrun("keep 0; tread (0 (1 (2 3))); tread (0 (1 (2 4)));");
    zelrun("mixtrees *;");
    // 1 is next to 2 and all others of its group: 2 3 4 together, in no order
    EXPECT_EQ(groups(2), (groupset{ { 1, 2, 3, 4 }, { 2, 3, 4 } }));
    std::string text = zelrun("mixtrees 0 1;");
    EXPECT_NE(text.find("bug missing from all trees (excluded)"), std::string::npos) << text;
    EXPECT_NE(text.find("NOTE: some taxa have undefined positions: \n 3 4\n"
                        "Eliminating taxa with undefined positions may improve resolution"), std::string::npos) << text;
    EXPECT_NE(text.find("Super-tree\n"), std::string::npos) << text;
}

TEST_F(MixtreesCommand, StoreUnderTheirName)
{
    says("mixtrees * 0 1;", "Mixed trees as tree 3");
    EXPECT_TRUE(ingroup(3, "Super_tree"));
    EXPECT_EQ(groups(3), (groupset{ { 1, 2 }, { 3, 4, 5 }, { 1, 2, 3, 4, 5 } }));
    EXPECT_EQ(trees_in_mem, 4);
}

TEST_F(MixtreesCommand, WarnOfTreesOfTheSameTaxa)
{
    says("mixtrees;", "All the trees have the same taxa \nConsensus and supertree produce same results");
}

TEST_F(MixtreesCommand, WarnOfContradictionsAmongThreeTrees)
{
    zelrun("tread (0 (1 (2 (4 5))));");
    says("mixtrees;", "You are about to combine 4 trees\nwith incompatibilities\n");
    EXPECT_EQ(zelrun("mixtrees 0 1;").find("incompatibilities"), std::string::npos);
    show_incomps = 0;
    EXPECT_EQ(zelrun("mixtrees;").find("incompatibilities"), std::string::npos);
    show_incomps = 1;
}

TEST_F(MixtreesCommand, EndWhenTheyAreStable)
{
    zelrun("tread (0 (1 (2 (4 5))));");
    std::string text = zelrun("mixtrees =[2 3];");
    // the trees of a cycle agree with those before from the second cycle on
    EXPECT_NE(text.find("Stabilized 2 times (average: 4 randomizations to stability)"), std::string::npos) << text;
    EXPECT_NE(text.find("Partial Nodes: "), std::string::npos) << text;
    EXPECT_NE(text.find(". Final nodes: "), std::string::npos) << text;
    zelrun("mixtrees =10 0;");
}

TEST_F(MixtreesCommand, RefuseWhatTheyCannotDo)
{
    refuses("mixtrees =0;", "Must specify number of mixes");
    refuses("mixtrees =;", "Must specify number of mixes");
    refuses("mixtrees =[2 x];", "Use [stabs every]");
    refuses("mixtrees =[2 3;", "Use [stabs every]");
    refuses("mixtrees / 0.5;", "Cannot exclude ALL taxa");
#ifndef ZEL_TINY                                 // where there is no room for so many
    zelrun("hold 32800; keep 0; randtrees 32767;");
    refuses("mixtrees;", "Can't mix so many trees");
#endif
    zelrun("keep 3; hold 6;");
    refuses("mixtrees =20;", "To do 20  sequences must re-set maxtrees to 24 or more");
    refuses("mixtrees =[3 5];", "To do 3  stabilizations must re-set maxtrees to 9 or more");
    zelrun("hold 100; mixtrees =10 0;");
}

}
