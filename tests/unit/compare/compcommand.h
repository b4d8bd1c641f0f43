// compcommand.h: a small matrix with three trees, for tests of the commands that compare trees.
#pragma once
#include "treesets.h"
#include "compare/major.h"
#include "data/lists.h"
#include "trees/treebuf.h"

struct compcommand : testing::Test {
    void SetUp() override
    {
        zelrun("silent=all;");
        zelrun("procedure " + writefile("three.xread", "xread 'supports most groups below' 5 6\n"
               "wasp 00000 bee 00101 ant 00101 moth 01011 fly 10011 bug 11011;\n"
               "hold 100; tread (0 ((1 2) (3 (4 5))))* (0 ((1 2) (4 (3 5))))* (0 (1 (2 (3 (4 5)))));\nproc/;\n") + ";");
        zelrun("silent-all;");
        ASSERT_EQ(trees_in_mem, 3);
        collapse_consensuses = 0;
    }
    void TearDown() override
    {
        zelrun("ttags -; hold 100;");
        collapse_consensuses = 1;
        use_low_budget_only = freqdifcut = 0;
        ignore_unshared_taxa = 1;
        majorcut = 50;
        mark_supported = rule_1;
    }
    static void refuses(const std::string &command, const std::string &message)
    {
        int trees = trees_in_mem;
        std::string text = zelrun(command);
        EXPECT_NE(text.find(message), std::string::npos) << command << " printed " << text;
        EXPECT_TRUE(zelfailed()) << command;
        EXPECT_EQ(trees_in_mem, trees) << command;
        EXPECT_EQ(reference_tree, -1);
    }
    static void says(const std::string &command, const std::string &message)
    {
        std::string text = zelrun(command);
        EXPECT_NE(text.find(message), std::string::npos) << command << " printed " << text;
        EXPECT_FALSE(zelfailed()) << command;
    }
    static groupset groups(int t) { return groupsof(mem_tree[t], nullptr, countterminals(mem_tree[t])); }
    static bool ingroup(int t, const std::string &name)
    {
        for (int g = 0; g < num_treegroups; ++g)
            if ((treegroupdef[g / 32] >> g % 32 & 1) && name == treegroupname[g]) return treegroup[t][g / 32] >> g % 32 & 1;
        return false;
    }
};
