#include "compcommand.h"
#include "trees/treevault.h"

namespace {

struct MajorityCommand : compcommand {};

TEST_F(MajorityCommand, RefusesWhatItCannotDo)
{
    refuses("majority = 49;", "Cutoff must be 50-100");
    refuses("majority = 101;", "Cutoff must be 50-100");
    refuses("majority = x;", "= must be followed by a number");
    refuses("freqdifs = 101;", "Cutoff must be 0-100");
    refuses("majority [;", "[N] requires a tree number");
    refuses("majority [0;", "- expecting closing bracket or parnthesis");
    refuses("majority (0];", "- expecting closing bracket or parnthesis");
    refuses("majority [3];", "No tree number 3");
    refuses("majority [0] *;", "Wrong argument for majority");
    refuses("majority - 0.2;", "No trees specified");
    refuses("comcomp - 0.2;", "No trees specified");
    refuses("freqdifs [0] 0;", "Can't compare tree with itself");
    refuses("comcomp / 0.4;", "consensus of 1 taxa?");
    majorcut = 40;
    refuses("majority;", "Cannot do majority rule with cut < 50");
    zelrun("xwipe;");
    for (const char *name : { "majority", "freqdifs", "comcomp", "tzert 0 0", "resols", "mixtrees" })
        refuses(std::string(name) + ";", "Tree(s) are required");
}

TEST_F(MajorityCommand, RefusesRuleFour)
{
    collapse_consensuses = 1;
    mark_supported = rule_4;
    for (const char *name : { "nelsen", "majority", "freqdifs", "comcomp" })
        refuses(std::string(name) + ";", std::string("Error (") + name
                                       + "): cannot use rule 4 to collapse during consensus calculation");
    refuses("qnelsen;", "Error (qnelsen): cannot use rule 4");
}

TEST_F(MajorityCommand, TellsThatTreesAreCollapsed)
{
    collapse_consensuses = 1;
    for (const char *name : { "majority", "freqdifs", "comcomp" })
        says(std::string(name) + ";", "Note: for consensus calculation, trees will be \n"
                                      "temporarily collapsed (when min. branch length = 0");
}

TEST_F(MajorityCommand, TellsOfSwappingWithAsymmetricCosts)
{
    const char *note = "\n\nNote: with asymmetric Sankoff characters, relative fit differences\n"
                       "with rearranged tree calculated only approximately during TBR"
                       "\nUse \"cost &;\" command to calculate exactly (more memory/time)\n";
    zelrun("collapse tbr; collapse +;");
    std::string text = zelrun("nelsen;");
    EXPECT_FALSE(zelfailed()) << text;
    EXPECT_NE(text.find("temporarily collapsed (with TBR)\n"), std::string::npos) << text;
    zelrun("ccode ( 0; costs 0 = 0>1 1 1>0 3; subopt 2x0.5;");
    EXPECT_NE(zelrun("nelsen;").find(note), std::string::npos);
    zelrun("subopt 2x0;");
    EXPECT_EQ(zelrun("nelsen;").find(note), std::string::npos);
    zelrun("subopt 0x0; collapse rule 1;");
}

TEST_F(MajorityCommand, LeavesInactiveTaxaOutWhenItSwaps)
{
    zelrun("keep 0; taxcode - 3; randtrees 2; collapse spr; collapse +;");
    std::string text = zelrun("nelsen;");
    EXPECT_FALSE(zelfailed()) << text;
    EXPECT_NE(text.find("(1 taxa excluded)"), std::string::npos) << text;
    zelrun("taxcode + 3; collapse rule 1;");
}

TEST_F(MajorityCommand, SetsACutWithoutMoreAdoAndUsesItBehind)
{
    EXPECT_EQ(zelrun("majority = 75;"), "");
    EXPECT_EQ(majorcut, 75);
    says("majority = 60;majority;", "Majority rule tree (from 3 trees, cut 60)\n");
    says("majority = 50 0 1;", "Majority rule tree (from 2 trees, cut 50) (some trees only = |O|)\n");
    EXPECT_EQ(zelrun("freqdifs = 20;"), "");
    EXPECT_EQ(freqdifcut, 20);
    says("freqdifs;", "Frequency differences (from 3 trees, cut 20)\n");
}

TEST_F(MajorityCommand, StoresUnderTheNameOfItsKind)
{
    const groupset majority{ { 1, 2 }, { 4, 5 }, { 3, 4, 5 }, { 1, 2, 3, 4, 5 } };
    says("majority *;", "Majority rule tree (from 3 trees, cut 50) calculated, as tree 3");
    EXPECT_EQ(groups(3), majority);
    EXPECT_TRUE(ingroup(3, "Majority_rule_consensus"));
    EXPECT_FALSE(ingroup(0, "Majority_rule_consensus"));
    says("freqdifs & 0.2;", "Frequency differences (from 3 trees, cut 0) (some trees only = |O|) calculated, as tree 4");
    EXPECT_EQ(groups(4), majority);
    EXPECT_TRUE(ingroup(4, "Freq_diff_consensus"));
    says("comcomp * 0.2;", "Combinable component consensus (from 3 trees) (some trees only = |O|) calculated, as tree 5");
    EXPECT_EQ(groups(5), (groupset{ { 3, 4, 5 }, { 1, 2, 3, 4, 5 } }));
    EXPECT_TRUE(ingroup(5, "Combinable_Component_Consensus"));
}

TEST_F(MajorityCommand, MakesRoomForItsTree)
{
    for (const char *name : { "majority *", "freqdifs *", "comcomp *", "tzert 0 1" }) {
        zelrun("keep 3; hold 3;");
        zelrun(std::string(name) + ";");
        EXPECT_FALSE(zelfailed()) << name;
        EXPECT_EQ(trees_in_mem, 4) << name;
        EXPECT_EQ(maxtrees, 10) << name;
    }
}

TEST_F(MajorityCommand, SaysWhenThereCanBeNoRoom)
{
    setvault(3, 2);                            // with a vault, the buffer cannot grow
    for (const char *name : { "nelsen *", "majority *", "freqdifs &", "comcomp *", "tzert 0 1" })
        refuses(std::string(name) + ";", "No space to store new trees");
    setvault(100, 0);
}

TEST_F(MajorityCommand, WritesValuesBelowZeroInBrackets)
{
    // group 1 2 is in two of the other trees, 2 3 4 5 of tree 2 in none of them
    std::string text = zelrun("freqdifs [2] 0.2;");
    EXPECT_NE(text.find("Frequency differences of groups from tree 2, in 2 trees\n"), std::string::npos) << text;
    EXPECT_NE(text.find("[100]"), std::string::npos) << text;
    text = zelrun("freqdifs (2) 0.2;");
    EXPECT_NE(text.find("Values (node numbers refer to tree 2)\n"), std::string::npos) << text;
    EXPECT_NE(text.find('*'), std::string::npos) << text;
}

TEST_F(MajorityCommand, TableRefersToTheNodesOfTheTree)
{
    // tree 2: node 6 root, 7 of 1 to 5, 8 of 2 to 5, 9 of 3 4 5, 10 of 4 5
    EXPECT_EQ(zelrun("majority (2) 0.2;"), "Frequency values (node numbers refer to tree 2)\n"
              "        0    1    2    3    4    5    6    7    8    9\n"
              "   0                                     100   33  100\n"
              "  10   66\n");
    // without taxon 1, nodes 7 and 8 have the same group
    EXPECT_EQ(zelrun("majority (2) 0.2 / 1;"), "Frequency values (node numbers refer to tree 2)\n"
              "        0    1    2    3    4    5    6    7    8    9\n"
              "   0                                     100  100  100\n"
              "  10   66\n");
}

TEST_F(MajorityCommand, CountsTheReferenceTreeOnlyWhenItIsInTheList)
{
    says("majority [2] 0 1;", "Frequency of groups from tree 2, in 2 trees (some trees only = |O|)");
    EXPECT_NE(zelrun("majority (2) 0 1;").find("100    0  100"), std::string::npos);
}

TEST_F(MajorityCommand, WithLittleMemoryTakesAllTaxaAndTreesAsTheyStand)
{
    const char *advice = "\nCondense trees (excluding taxa, if needed) and then consense";
    zelrun("nelsen <;");
    refuses("majority / 3;", std::string("Low memory majority rule doesn't allow exclusion of taxa") + advice);
    collapse_consensuses = 1;
    refuses("majority;", std::string("Low memory majority rule can't be done with temporary collapsing") + advice);
    mark_supported = nocollapse;
    says("majority *;", "calculated, as tree 3");
    zelrun("nelsen >; majority * 0.2;");
    EXPECT_EQ(groups(3), groups(4));
}

TEST_F(MajorityCommand, LeavesATaxonMissingFromOneTreeOut)
{
    zelrun("tread (0 (1 (3 (4 5))));");
    says("majority * ; ", "from 4 trees");
    EXPECT_EQ(mem_tree[4][2], 0);
    zelrun("unshared -; majority * 0.3; unshared =;");
    EXPECT_NE(mem_tree[5][2], 0);
}

TEST_F(MajorityCommand, TellsWhetherUnsharedTaxaAreIgnored)
{
    says("unshared;", "Ignore unshared taxa is ON");
    says("unshared -;", "Ignore unshared taxa is OFF");
    EXPECT_EQ(ignore_unshared_taxa, 0);
    says("unshared /;", "Ignore unshared taxa is ON");
    EXPECT_EQ(ignore_unshared_taxa, 1);
}

struct Tzert : compcommand {};

TEST_F(Tzert, MakesTheLastTreeOfBoth)
{
    zelrun("tread (0 ((1 2) 3 4 5)); tread (0 (1 (2 (3 (4 5)))));");
    says("tzert 3 4;", "Inserted tree 3 onto 4 (as tree 5)");
    EXPECT_EQ(groups(5), (groupset{ { 1, 2 }, { 3, 4, 5 }, { 4, 5 }, { 1, 2, 3, 4, 5 } }));
    EXPECT_TRUE(ingroup(5, "Tree_3_on_4_"));
    says("tzert 4 2;", "Inserted tree 4 onto 2 (as tree 6)");
    EXPECT_TRUE(equal_tree(mem_tree[6], mem_tree[2]));
}

TEST_F(Tzert, NeedsTwoTrees)
{
    refuses("tzert;", "Must give tree number");
    refuses("tzert 1;", "Must give tree number");
    refuses("tzert 1 3;", "No tree number 3");
}

}
