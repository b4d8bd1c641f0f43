// Groups of trees: what definitions select, what they refuse, what is saved reads back.
#include "zeltest.h"
#include "data/groups.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/input.h"
#include "trees/treebuf.h"
#include "trees/treegroups.h"
#include "trees/treevault.h"
#include <algorithm>
#include <set>

namespace {
using members = std::set<int>;

members treesof(int g)
{
    checknamedgroups();
    members m;
    for (int t = 0; t < trees_in_mem; ++t)
        if (isingroup(familyof("tree"), t, g)) m.insert(t);
    return m;
}

// Lengths 2, 4, 3, 3, 2, 2; resolved nodes besides the root 4, 4, 4, 0, 0, 3; taxa 6, 6, 6, 6, 3, 5.
void data()
{
    zelrun("silent=all; xwipe; xread 2 6 A 00 B 00 C 01 D 11 E 11 F 11 ;"
           "tread (0 (1 (2 (3 (4 5))))) * (3 (2 (4 (0 (5 1))))) * (0 (3 (2 (1 (4 5))))) * (0 1 2 3 4 5) * (0 2 3) * (0 (1 (2 (3 4))));"
           "silent-all;");
    ASSERT_EQ(trees_in_mem, 6);
}

std::string firstline(const std::string &text) { return text.substr(0, text.find('\n') + 1); }

void refused(const std::string &command, const std::string &says)
{
    std::vector<uint32_t> before;
    for (int t = 0; t < trees_in_mem; ++t) before.push_back(treegroup[t][0]);
    uint32_t defined = treegroupdef[0];
    EXPECT_EQ(firstline(zelrun(command)), says) << command;
    EXPECT_TRUE(zelfailed()) << command;
    EXPECT_EQ(treegroupdef[0], defined) << command;
    for (int t = 0; t < trees_in_mem; ++t) EXPECT_EQ(treegroup[t][0], before[size_t(t)]) << command;
}

bool eventrees(int t) { return t % 2 == 0; }
}

TEST(Treegroups, TakeListsGroupsAndTestsOfTrees)
{
    data();
    std::string lengths = zelrun("length;");
    struct { const char *items; members who; } cases[] = {
        { "0.2 5", { 0, 1, 2, 5 } }, { "nod=4", { 0, 1, 2 } }, { "nod<1", { 3, 4 } }, { "nod(1,3)", { 5 } },
        { "siz=6", { 0, 1, 2, 3 } }, { "siz<6", { 4, 5 } }, { ". - siz>4", { 4 } }, { "0./2", { 0, 2, 4 } },
        { "5.1/3", { 1, 4 } }, { "*6", { 0, 1, 2, 3, 4, 5 } }, { "nod=0 siz=5", { 3, 4, 5 } },
    };
    for (const auto &c : cases) {
        zelrun(std::string("tgroup =3 ") + c.items + ";");
        EXPECT_FALSE(zelfailed()) << c.items;
        EXPECT_EQ(treesof(3), c.who) << c.items;
    }
    zelrun("tgroup =3 (low) 0 1 =4 (lower) 4 =5 [3 4] 5 =6 . - [low] =7 [3.4] - [lower];");
    EXPECT_EQ(treesof(5), (members{ 0, 1, 4, 5 }));
    EXPECT_EQ(treesof(6), (members{ 2, 3, 5 }));
    EXPECT_EQ(treesof(7), (members{ 0, 1 }));
}

TEST(Treegroups, TakeTreesByTheirLength)
{
    data();
    std::vector<int> length;
    for (int t = 0; t < trees_in_mem; ++t) {
        std::string table = zelrun("length " + std::to_string(t) + ";");
        length.push_back(std::stoi(table.substr(table.find_last_of(' '))));
    }
    EXPECT_EQ(length[0], 2);
    for (int x = 0; x < 6; ++x) {
        members same, less, more;
        for (int t = 0; t < trees_in_mem; ++t) (length[size_t(t)] == x ? same : length[size_t(t)] < x ? less : more).insert(t);
        std::string X = std::to_string(x);
        zelrun("ccode [.; tgroup =0 len=" + X + " =1 len<" + X + " =2 len>" + X + ";");
        EXPECT_EQ(treesof(0), same);
        EXPECT_EQ(treesof(1), less);
        EXPECT_EQ(treesof(2), more);
    }
}

TEST(Treegroups, OfTreesReadAreTheLatest)
{
    data();
    EXPECT_EQ(nextautotreegroup, 1);
    zelrun("tread (0 (1 2)); tgroup >/ 0;");
    EXPECT_EQ(treesof(1), (members{ 0, 6 }));
    EXPECT_EQ(treesof(0), (members{ 0, 1, 2, 3, 4, 5 }));
    zelrun("tgroup </ 6 =/ (last) 2;");
    EXPECT_EQ(treesof(1), members{ 2 });
    EXPECT_STREQ(treegroupname[1], "last");
    zelrun("tgroup -.;");
    refused("tgroup =/ 1;", "No tree group was defined automatically \n");
}

TEST(Treegroups, AreAutomaticOrNot)
{
    data();
    EXPECT_EQ(zelrun("tgroup /;"), "Trees from files assigned to groups is OFF \n");
    zelrun("tread (0 (1 2));");
    EXPECT_EQ(nextautotreegroup, 1);
    EXPECT_EQ(zelrun("tgroup auto;"), "Trees from files assigned to groups is ON \n");
    EXPECT_EQ(zelrun("tgroup noauto;"), "Trees from files assigned to groups is OFF \n");
    EXPECT_EQ(autotreegroups, 0);
    zelrun("silent=all; tgroup/; silent-all;");
    EXPECT_EQ(autotreegroups, 1);
}

TEST(Treegroups, NeedConstraintsForTheTreesThatMeetThem)
{
    data();
    refused("tgroup =1 mono;", "No constraints defined \n");
    meetsconstraints = eventrees;
    zelrun("tgroup =1 mono;");
    meetsconstraints = nullptr;
    EXPECT_EQ(treesof(1), (members{ 0, 2, 4 }));
}

TEST(Treegroups, AreRefusedWithoutChangingAny)
{
    data();
    zelrun("tgroup =2 (good) 1;");
    refused("tgroup 3;", "Must use =, > or < \n");
    refused("tgroup best;", "Must use =, > or < \n");
    refused("tgroup =;", "Must give number of tree group to define \n");
    refused("tgroup =64 1;", "Can't define more than 64 groups of trees (0-63) \n");
    refused("tgroup =2 6;", "No tree number 6 (only 6 trees in memory) \n");
    refused("tgroup =2 [nothere];", "Name nothere doesn't match any tree group name \n");
    refused("tgroup =2 [9];", "No group number 9 \n");
    refused("tgroup =2 [2;", "Unexpected semicolon within brackets \n");
    refused("tgroup -nothere;", "Name nothere doesn't match any tree group name \n");
    refused("tgroup =2 0 len;", "String \"len\" must be followed by =, <, >, or ( symbols \n");
    refused("tgroup =2 0.3/0;", "Zap must be > 0 \n");
    refused("tgroup =2 *7;", "Cannot add 7 trees  at random to group: only 6 are outside group! \n");
    refused("tgroup <2 *2;", "Cannot remove 2 at random from group: only 1 in group! \n");
    refused("tgroup +9;", "Number of tree-groups must be changed before reading data \n");
    zelrun("xwipe;");
    EXPECT_EQ(firstline(zelrun("tgroup =0 1;")), "Must read data before defining groups of trees \n");
    EXPECT_EQ(firstline(zelrun("tgroup;")), "Must read data before defining groups of trees \n");
}

TEST(Treegroups, AreAsManyAsAskedBeforeReadingData)
{
    zelrun("xwipe; mxram 64;");
    for (int groups : { 1, 32, 33, 100, 1024 }) {
        zelrun("xwipe; tgroup +" + std::to_string(groups) + ";");
        EXPECT_EQ(num_treegroups, groups);
        EXPECT_EQ(treegroupcells, (groups + 31) / 32);
        data();
        std::string last = std::to_string(groups - 1);
        zelrun("tgroup =" + last + " (end) 1 3;");
        EXPECT_EQ(treesof(groups - 1), (members{ 1, 3 }));
        zelrun("silent=all; tchoose {end}; silent-all;");
        EXPECT_EQ(trees_in_mem, 2);
        EXPECT_EQ(treesof(groups - 1), (members{ 0, 1 }));
    }
    zelrun("xwipe;");
    EXPECT_EQ(firstline(zelrun("tgroup +1025;")), "Can't define more than 1024 groups of trees (0-1023) \n");
    EXPECT_EQ(firstline(zelrun("tgroup +;")), "Must give number of tree groups \n");
    zelrun("tgroup +64;");
    EXPECT_EQ(num_treegroups, 64);
}

TEST(Treegroups, AreSharedByTreesInTheVault)
{
    data();
    zelrun("silent=all; tgroup =3 (best) 0 2; hold 20/10; tvault >0.3; silent-all;");
    ASSERT_EQ(trees_in_mem, 2);
    ASSERT_EQ(trees_in_vault, 4);
    EXPECT_EQ(treesof(3), members());
    zelrun("silent=all; tvault <{best}; silent-all;");
    EXPECT_EQ(trees_in_vault, 2);
    EXPECT_EQ(treesof(3), (members{ 2, 3 }));
    zelrun("silent=all; tvault >2; silent-all; tgroup =3;");
    EXPECT_EQ(treesof(3), members());
    for (int t = 0; t < trees_in_vault; ++t) EXPECT_FALSE(groupbit(vault_treegroup[t], 3));
    zelrun("xwipe;");
}

TEST(Treegroups, SavedReadBackTheSame)
{
    data();
    zelrun("silent=all; hold 200; silent-all;");
    for (int t = 0; t < 100; ++t) zelrun("silent=all; tread (0 (1 2)); silent-all;");
    zelrun("tgroup -.;");
    ASSERT_EQ(trees_in_mem, 106);
    std::mt19937 dice(3);
    for (int trial = 0; trial < 10; ++trial) {
        uint32_t defined[2] = { uint32_t(dice()), uint32_t(dice()) };
        std::vector<uint32_t> masks;
        for (int t = 0; t < trees_in_mem; ++t)
            for (int w = 0; w < 2; ++w) {
                masks.push_back(t && dice() % 3 ? masks[masks.size() - 2] : uint32_t(dice()) & defined[w]);
                treegroup[t][w] = masks.back();
            }
        std::copy(defined, defined + 2, treegroupdef);
        std::string saved = zelrun("tgroup *;");
        int groups = __builtin_popcount(defined[0]) + __builtin_popcount(defined[1]);
        EXPECT_EQ(firstline(saved), "Storing " + std::to_string(groups) + " tree groups\n");
        zelrun("tgroup -.;");
        zelrun("proc " + writefile("groups.run", saved.substr(saved.find('\n') + 1) + "proc/;\n") + ";");
        EXPECT_FALSE(zelfailed()) << saved;
        for (int t = 0; t < trees_in_mem; ++t)
            for (int w = 0; w < 2; ++w) EXPECT_EQ(treegroup[t][w], masks[size_t(2 * t + w)]) << t;
        EXPECT_TRUE(std::equal(defined, defined + 2, treegroupdef));
    }
}

TEST(Treegroups, AreSavedToTheLogAsACommandAlone)
{
    data();
    zelrun("tgroup -.; tgroup =0 (my(odd);file) 1;");
    EXPECT_TRUE(zelfailed());
    snprintf(treegroupname[0], size_t(Namesize), "my (odd);file");
    setgroupbit(treegroupdef, 0, true);
    setgroupbit(treegroup[1], 0, true);
    std::string path = tempdir() + "/groups.log";
    zelrun("silent=all; log " + path + "; silent-all; silent=console; tgroup *; silent=all; log/; silent-all;");
    std::string text = readfile(path);
    EXPECT_NE(text.find("tgroup\n  =0 (my^_odd__file) 1\n  ;\n"), std::string::npos) << text;
    EXPECT_EQ(text.find("Storing"), std::string::npos) << text;
}

TEST(Tchoose, KeepsTheTreesListed)
{
    data();
    EXPECT_EQ(zelrun("tchoose 1 3.4;"), "Selecting tree(s) 1 3 4\n3 trees selected \n");
    EXPECT_EQ(trees_in_mem, 3);
    EXPECT_EQ(zelrun("tchoose;"), "Selecting tree(s) 0 1 2\n3 trees selected \n");
    EXPECT_EQ(zelrun("tchoose /;"), "Selecting tree(s) 2\n1 trees selected \n");
    EXPECT_EQ(zelrun("incltax;"), "Taxa included in tree 0:\n 0 2 3\n");
    zelrun("silent=all; keep 0; silent-all;");
    EXPECT_EQ(firstline(zelrun("tchoose 0;")), "No trees to choose from \n");
}

TEST(Incltax, ShowsTheTaxaInAndOut)
{
    data();
    EXPECT_EQ(zelrun("incltax [4.5;"), "Taxa included in tree 4:\n 0 2 3\nTaxa included in tree 5:\n 0 1 2 3 4\n");
    EXPECT_EQ(zelrun("incltax ]4.5;"), "Taxa not included in tree 4:\n 1 4 5\nTaxa not included in tree 5:\n 5\n");
    EXPECT_EQ(zelrun("taxname=; incltax ]4; taxname-;"), "Taxon names is ON \nTaxa not included in tree 4:\n B E F\nTaxon names is OFF \n");
    EXPECT_EQ(zelrun("incltax ]0;"), "Taxa not included in tree 0:\n");
    zelrun("silent=all; keep 0; silent-all;");
    EXPECT_EQ(firstline(zelrun("incltax;")), "Tree(s) are required \n");
}
