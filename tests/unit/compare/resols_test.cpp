#include "compcommand.h"
#include "diagrams/tagstore.h"
#include "diagrams/textree.h"
#include "script/expr.h"

namespace {

struct plainglyphs {
    plainglyphs()  { linux_trees = 1; }
    ~plainglyphs() { linux_trees = 0; }
};

struct Resols : compcommand {};

TEST_F(Resols, DrawsEachWayOfEachPolytomyOnce)
{
    plainglyphs guard;
    zelrun("tread (0 ((1 2) (3 (4 5))));");
    std::string text = zelrun("resols 0 1 3;");
    EXPECT_NE(text.find("Consensus tree"), std::string::npos) << text;
    // node 9 is 3 4 5: two trees have 4 5, one has 3 5
    EXPECT_NE(text.find("Node 9, resolution 0:\n"
                        ",--3\n"
                        "|  ,--4\n"
                        "`-----5\n"
                        "\n"
                        "Node 9, resolution 1:\n"
                        ",--4\n"
                        "|  ,--3\n"
                        "`-----5\n"), std::string::npos) << text;
    EXPECT_EQ(text.find("resolution 2"), std::string::npos) << text;
}

TEST_F(Resols, NamesBranchesOfSeveralTaxa)
{
    std::string text = zelrun("taxname=; resols [7] 0.2;");   // 1, 2 and the polytomy 3 4 5
    EXPECT_NE(text.find("Node_8"), std::string::npos) << text;
    EXPECT_NE(text.find("bee"), std::string::npos) << text;
    EXPECT_EQ(text.find("Consensus tree"), std::string::npos) << text;
    zelrun("taxname-;");
    EXPECT_STREQ(taxname[3], "moth");
}

TEST_F(Resols, ListsHowManyThereAre)
{
    EXPECT_EQ(zelrun("resols & 0.2;"), "     Node        Polytomy        Resolutions\n"
                                       "    ------      -----------     ------------\n"
                                       "        7         3-tomy                 2\n"
                                       "        8         3-tomy                 2\n");
}

TEST_F(Resols, LeavesOutTreesThatDoNotResolve)
{
    zelrun("tread (0 ((1 2) (3 4 5)));");
    EXPECT_NE(zelrun("resols & 0 1 3;").find("9         3-tomy                 2\n"), std::string::npos);
}

TEST_F(Resols, PutsTreesInGroupsAndTakesThemOut)
{
    listsize = 0;
    says("resols [9] 0 1 >4;", "Added trees resolving node 9 to 2 groups (starting at 4)");
    EXPECT_EQ(listsize, 2);
    EXPECT_TRUE(ingroup(0, "Resol_0_nd_9"));
    EXPECT_FALSE(ingroup(1, "Resol_0_nd_9"));
    EXPECT_TRUE(ingroup(1, "Resol_1_nd_9"));
    says("resols [9] 0 1 <6;", "Removed trees resolving node 9 from 2 groups (starting at 6)");
    EXPECT_FALSE(ingroup(0, "Not_Resol_0_nd_9"));
    EXPECT_TRUE(ingroup(1, "Not_Resol_0_nd_9"));
    EXPECT_FALSE(ingroup(2, "Not_Resol_0_nd_9"));
    says("resols [9] 0 1 <4;", "Removed trees");
    EXPECT_FALSE(ingroup(0, "Not_Resol_0_nd_9"));
    EXPECT_EQ(std::string(treegroupname[4]), "Not_Resol_0_nd_9");
}

TEST_F(Resols, RefusesWhatItCannotDo)
{
    refuses("resols [3];", "[N] must refer to an internal node in consensus");
    refuses("resols [11];", "[N] must refer to an internal node in consensus");
    refuses("resols [;", "[N] must refer to an internal node in consensus");
    refuses("resols >3;", "Trees can be put in groups only when doing a single node");
    refuses("resols [9] 0 1 >64;", "Only 64 can be defined");
    refuses("resols [9] 0 1 >63;", "Only 64 can be defined");
    zelrun("tread ((0 1) (2 (3 (4 5)))); ");
    refuses("resols 3;", "To display resolutions, strict consensus must have\n"
                         "a basal dichotomy, with a terminal as first split");
}

TEST_F(Resols, TurnsTemporaryCollapsingOff)
{
    collapse_consensuses = 1;
    says("resols;", "To find resolutions, temporary collapsing will be deactivated");
    EXPECT_EQ(collapse_consensuses, 0);
}

struct Floaters : compcommand {};

TEST_F(Floaters, AreShownWhereTheTreesHaveThem)
{
    // bug: in trees 0 and 2 next to fly (4), in tree 1 next to moth (3)
    plainglyphs guard;
    EXPECT_EQ(zelrun("nelsen // 5;"), "Strict consensus of 3 trees\n"
              ",---0\n"
              "|   ,---1\n"
              "|   |---2\n"
              "`---|   ,-A-3\n"
              "    `-----A-4\n"
              "\n"
              "Legends:\n"
              "A: bug (5)\n");
}

TEST_F(Floaters, MayBeNodesOfTheConsensus)
{
    std::string text = zelrun("nelsen 0 1 / / 3 7;");
    EXPECT_NE(text.find("A: moth (3)\nB: node 7 of consensus\n"), std::string::npos) << text;
}

TEST_F(Floaters, RefuseWhatCannotBeLocated)
{
    refuses("nelsen // ;", "Must specify taxa to locate on pruned consensus");
    refuses("nelsen // -3;", "Must specify taxa to locate on pruned consensus");
    refuses("nelsen // 30;", "No taxon number 30");
    refuses("nelsen * // 3;", "Can't save tree with location of excluded taxa");
    collapse_consensuses = 1;
    mark_supported = rule_4;
    refuses("nelsen // 3;", "For locating pruned taxa, trees can be collapsed with rule 1 or less;\n"
                            "rules 4, SPR, or TBR cannot be used for locating pruned taxa...");
}

TEST(FloatersOfManyTaxa, AreAtMostFifty)
{
    readtaxa(60);
    zelrun("randtrees 2;");
    std::string text = zelrun("nelsen // 2.52;");
    EXPECT_NE(text.find("Cannot show location for more than 50 taxa/nodes"), std::string::npos) << text;
    zelrun("nelsen // 2.51;");
    EXPECT_FALSE(zelfailed());
}

// The least group of a tree that holds all of some taxa; these themselves when they are one.
taxonset leastaround(const plaintree &tree, const taxonset &taxa, const uint8_t *out)
{
    if (taxa.size() == 1) return taxa;
    taxonset best;
    for (int n = nt; n < tree[nt]; ++n) {
        taxonset g = below(tree.data(), n, out);
        if (std::includes(g.begin(), g.end(), taxa.begin(), taxa.end()) && (best.empty() || g.size() < best.size())) best = g;
    }
    return best;
}

// Texts at the nodes, by their groups, as tags.
std::map<taxonset, std::string> texts()
{
    std::map<taxonset, std::string> all;
    for (int n = 0; n < txtr[nt]; ++n)
        if (*txtrmsg[n]) all[n < nt ? taxonset{ n } : below(txtr, n, nullptr)] = txtrmsg[n];
    return all;
}

TEST(FloatersOfManyTaxa, AgreeWithThePlacesFoundTreeByTree)
{
    readtaxa(14);
    std::mt19937 dice(71);
    for (int trial = 0; trial < 40; ++trial) {
        std::vector<plaintree> trees;
        plaintree model = randomtree(dice, trial % 3 * .2, 0);
        zelrun("keep 0;");
        for (int i = 0; i < 4; ++i) {
            trees.push_back(dice() % 3 ? similartree(dice, model) : randomtree(dice, trial % 3 * .2, 0));
            stortree(trees.back().data());
        }
        std::vector<uint8_t> out(nt, 0), floats(nt, 0);
        std::vector<int> which;
        for (int i = 0; i < 3; ++i) floats[dice() % nt] = 1;
        std::string list;
        for (int t = 0; t < nt; ++t)
            if (floats[t]) which.push_back(t), list += " " + std::to_string(t);
        zelrun("ttags =; nelsen //" + list + "; ttags );");
        ASSERT_FALSE(zelfailed());

        std::map<taxonset, std::string> want;
        std::vector<uint8_t> without = floats;
        plaintree consensus(txtr, txtr + nodz);
        for (size_t i = 0; i < which.size(); ++i) {
            std::set<taxonset> places;
            for (auto &tree : trees) {
                without[which[i]] = 0;
                taxonset around;                       // the least group with the floater and another taxon
                for (int n = nt; n < tree[nt]; ++n) {
                    taxonset g = below(tree.data(), n, without.data());
                    if (g.count(which[i]) && g.size() > 1 && (around.empty() || g.size() < around.size())) around = g;
                }
                without[which[i]] = 1;
                around.erase(which[i]);
                places.insert(leastaround(consensus, around, floats.data()));
            }
            for (auto &p : places) want[p] += char('A' + i);
        }
        EXPECT_EQ(texts(), want) << "trial " << trial;
        zelrun("ttags -;");
    }
}

}
