#include "zeltest.h"
#include "compare/groups.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "trees/collapse.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"

namespace {

struct Nelsen : testing::Test {
    void SetUp() override
    {
        zelrun("silent=all;");
        zelrun("procedure " + writefile("six.xread", "xread 'supports every group below' 5 6\n"
               "wasp 00000 bee 00101 ant 00101 moth 01011 fly 10011 bug 11011;\n"
               "hold 100; tread (0 ((1 2) (3 (4 5))))* (0 ((1 2) (4 (3 5))));\nproc/;\n") + ";");
        zelrun("silent-all;");
        ASSERT_EQ(trees_in_mem, 2);
        collapse_consensuses = 1;
    }
    void TearDown() override
    {
        collapse_consensuses = 1;
        use_low_budget_only = 0;
        ignore_unshared_taxa = 1;
        mark_supported = rule_1;
    }
    static void refuses(const std::string &command, const std::string &message)
    {
        int trees = trees_in_mem;
        std::string text = zelrun(command);
        EXPECT_NE(text.find(message), std::string::npos) << command << " printed " << text;
        EXPECT_TRUE(zelfailed()) << command;
        EXPECT_EQ(trees_in_mem, trees) << command;
    }
};

TEST_F(Nelsen, RefusesWhatItCannotDo)
{
    refuses("nelsen 2;", "No tree number");
    refuses("nelsen - 0;", "No trees specified");
    refuses("nelsen / .;", "consensus of 0 taxa?");
    refuses("nelsen / wasp bee ant fly moth;", "consensus of 1 taxa?");
    refuses("nelsen */0/1;", "Can't save tree with location of excluded taxa");
    refuses("nelsen &/0/1;", "Can't save tree with location of excluded taxa");
    zelrun("xwipe;");
    refuses("nelsen;", "Tree(s) are required");
    refuses("nelsen*;", "Tree(s) are required");
}

TEST_F(Nelsen, LeavesOutTaxaByNumberNameAndGroup)
{
    for (const char *list : { "5", "bug", "5.5", "4.5 -4" }) {
        std::string text = zelrun(std::string("nelsen /") + list + ";");
        EXPECT_NE(text.find("Strict consensus of 2 trees (1 taxa excluded)\n"), std::string::npos) << text;
    }
}

TEST_F(Nelsen, StoresItsTreeInAGroupOfItsOwn)
{
    zelrun("nelsen *;");
    ASSERT_EQ(trees_in_mem, 3);
    const int want[] = { 6, 7, 7, 9, 9, 9, 10, 8, 6, 8 };
    EXPECT_EQ(mem_tree[2][nt], 10);
    EXPECT_EQ(mem_tree[2][1], mem_tree[2][2]);
    EXPECT_EQ(mem_tree[2][3], mem_tree[2][5]);
    EXPECT_TRUE(std::equal(want, want + 10, mem_tree[2]));
    bool found = false;
    for (int g = 0; g < num_treegroups; ++g)
        if (std::string(treegroupname[g]) == "Strict_consensus") {
            found = true;
            EXPECT_TRUE(treegroup[2][g / 32] >> g % 32 & 1);
            EXPECT_FALSE(treegroup[0][g / 32] >> g % 32 & 1);
        }
    EXPECT_TRUE(found);
}

TEST_F(Nelsen, MakesRoomForItsTreeWhenTheBufferIsFull)
{
    zelrun("hold 2;");
    ASSERT_EQ(maxtrees, 2);
    zelrun("nelsen *;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(trees_in_mem, 3);
    EXPECT_EQ(maxtrees, 10);
}

TEST_F(Nelsen, DoesNotChangeTheTreesItCollapses)
{
    std::vector<int> before(mem_tree[0], mem_tree[0] + nodz);
    zelrun("nelsen;");
    EXPECT_TRUE(std::equal(before.begin(), before.end(), mem_tree[0]));
}

TEST_F(Nelsen, SaysNothingOfCollapsingWhenItIsOff)
{
    EXPECT_NE(zelrun("nelsen;").find("Note:"), std::string::npos);
    mark_supported = rule_3;
    EXPECT_NE(zelrun("nelsen;").find("Note: for consensus calculation, trees will be \ntemporarily collapsed "
                                     "(when max. branch length = 0 )\n"), std::string::npos);
    mark_supported = nocollapse;
    EXPECT_EQ(zelrun("nelsen;").find("Note:"), std::string::npos);
    mark_supported = rule_1;
    collapse_consensuses = 0;
    EXPECT_EQ(zelrun("nelsen;").find("Note:"), std::string::npos);
}

TEST_F(Nelsen, BothAlgorithmsGiveTheSameTreeUnderEveryRule)
{
    std::mt19937 dice(41);
    for (collapser rule : { nocollapse, rule_1, rule_3, rule_ambiguous }) {
        mark_supported = rule;
        for (const char *list : { "", "0", "/1", "/ 2 4", "0.1/0" }) {
            zelrun(std::string("nelsen >; nelsen *") + list + ";");
            zelrun(std::string("nelsen <; nelsen *") + list + ";");
            ASSERT_FALSE(zelfailed());
            EXPECT_TRUE(equal_tree(mem_tree[trees_in_mem - 2], mem_tree[trees_in_mem - 1])) << list;
            droptrees(2);
        }
    }
}

}
