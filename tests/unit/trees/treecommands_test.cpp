// Commands that change, compare and order the trees in memory.
#include "treetest.h"
#include "data/lists.h"
#include "kernel/arena.h"
#include "kernel/input.h"
#include "kernel/layers.h"
#include "trees/treebuf.h"
#include "trees/treesort.h"
#include "trees/treetags.h"
#include "trees/treevault.h"
#include <map>
#include <random>

namespace {
std::vector<tree> treesinmemory()
{
    std::vector<tree> all;
    for (int t = 0; t < trees_in_mem; ++t) all.emplace_back(mem_tree[t], mem_tree[t] + nodz);
    return all;
}

bool says(const std::string &text, const char *what) { return text.find(what) != std::string::npos; }

void storeall(const std::vector<tree> &trees)
{
    zelrun("keep 0;");
    for (const tree &t : trees) stortree(t.data());
}

// The same in every build, however little memory it starts with.
void roomydata(int taxa)
{
    zelrun("silent=all; mxram 16; silent-all;");
    datafor(taxa);
}

// Members of groups are set by hand here.
void allgroups()
{
    taxgroupdef = chargroupdef = ~0u;
    std::fill(treegroupdef, treegroupdef + treegroupcells, ~0u);
}

tree parsed(const std::string &text)
{
    zelrun("tread " + text + ";");
    EXPECT_FALSE(zelfailed()) << text;
    tree t(mem_tree[trees_in_mem - 1], mem_tree[trees_in_mem - 1] + nodz);
    droptrees(trees_in_mem - 1);
    return t;
}
}

// --- room ---

TEST(Treebuf, GrowsBeneathKeptLayersAndKeepsThemWithTheirGroups)
{
    roomydata(8);
    allgroups();
    std::mt19937 dice(1);
    static int tag, *numbers;
    tag = 0;
    keeplayer(&tag, [](const layermove &move) { move(numbers); });
    relayer(&tag, [] { numbers = lo<int>(3); numbers[2] = 17; });
    std::vector<tree> trees;
    for (int i = 0; i < 40; ++i) trees.push_back(canonical(randomtree(&dice, 20)));
    storeall(trees);
    taxgroup[3] = 5, chargroup[0] = 9, charscopelist[0] = 1;
    add_to_treegroup(7, 33);
    for (int room : { 50, 5000, 40, 41 }) {
        ASSERT_TRUE(try_maxtrees(room));
        EXPECT_EQ(treesinmemory(), trees);
        EXPECT_EQ(numbers[2], 17);
        EXPECT_EQ(taxgroup[3], 5u);
        EXPECT_EQ(chargroup[0], 9u);
        EXPECT_EQ(charscopelist[0], 1);
        EXPECT_EQ(treegroup[7][1], 2u);
        EXPECT_GT(tag, datatag);
        for (int t = trees_in_mem; t < maxtrees; ++t) EXPECT_EQ(std::count(mem_tree[t], mem_tree[t] + nodz, 0), nodz);
        checkarena();
    }
    int most = possible_maxtrees(100000000, 0);
    EXPECT_FALSE(try_maxtrees(most + 1));
    EXPECT_EQ(maxtrees, 41);
    EXPECT_EQ(treesinmemory(), trees);
    EXPECT_TRUE(try_maxtrees(most));
    EXPECT_EQ(treesinmemory(), trees);
    EXPECT_EQ(numbers[2], 17);
    try_maxtrees(100);
    droplayer(&tag);
}

TEST(Treebuf, ReordersTreesWithTheirGroups)
{
    datafor(8);
    allgroups();
    std::mt19937 dice(2);
    std::vector<tree> trees;
    std::vector<int> order;
    for (int i = 0; i < 30; ++i) {
        trees.push_back(canonical(randomtree(&dice, 20)));
        order.push_back(i);
    }
    for (int trial = 0; trial < 50; ++trial) {
        storeall(trees);
        for (int t = 0; t < 30; ++t) treegroup[t][0] = unsigned(t);
        std::shuffle(order.begin(), order.end(), dice);
        reorder_trees(order.data());
        for (int t = 0; t < 30; ++t) {
            EXPECT_EQ(treesinmemory()[t], trees[order[t]]);
            EXPECT_EQ(treegroup[t][0], unsigned(order[t]));
        }
    }
    zelrun("keep 0;");
}

TEST(Hold, PlusZeroLeavesRoomForTheTreesInMemoryOnly)
{
    datafor(6);
    zelrun("tread (0 (1 2) 3 4 5)*(0 (1 3) 2 4 5); hold +0;");
    EXPECT_EQ(maxtrees, 2);
}

// --- vault ---

TEST(Vault, ReturnsTreesAsTheyWereWithTheirGroups)
{
    datafor(9);
    allgroups();
    std::mt19937 dice(3);
    std::vector<tree> trees;
    for (int i = 0; i < 6; ++i) trees.push_back(canonical(randomtree(&dice, 20)));
    zelrun("hold 10/4;");
    storeall(trees);
    for (int t = 0; t < 6; ++t) treegroup[t][0] = unsigned(t + 1);
    EXPECT_TRUE(says(zelrun("tvault > 1 3;"), "Placed 2 trees in vault (vault now with 2 trees)\n"));
    EXPECT_EQ(treesinmemory(), (std::vector<tree>{ trees[0], trees[2], trees[4], trees[5] }));
    EXPECT_EQ(treegroup[1][0], 3u);
    EXPECT_EQ(vault_treegroup[1][0], 4u);
    zelrun("hold 200/3;");
    EXPECT_TRUE(says(zelrun("tvault;"), "Tree-vault with 2 trees (max. storage 3)\n"));
    EXPECT_TRUE(says(zelrun("tvault >/;"), "Placed 1 trees in vault (vault now with 3 trees)\n"));
    EXPECT_TRUE(says(zelrun("tvault < 0;"), "Retrieved 1 trees from vault (4 trees now in memory)\n"));
    EXPECT_TRUE(says(zelrun("tvault </;"), "Retrieved 1 trees from vault (5 trees now in memory)\n"));
    EXPECT_EQ(treesinmemory(), (std::vector<tree>{ trees[0], trees[2], trees[4], trees[1], trees[5] }));
    EXPECT_EQ(treegroup[3][0], 2u);
    zelrun("tvault <;");
    EXPECT_EQ(treesinmemory().back(), trees[3]);
    EXPECT_EQ(trees_in_vault, 0);
}

TEST(Vault, TakesAndGivesOnlyWhatThereIsRoomFor)
{
    datafor(6);
    zelrun("hold 3/2; tread (0 (1 2) 3 4 5)*(0 (1 3) 2 4 5)*(0 (1 4) 2 3 5);");
    std::string said = zelrun("tvault >;");
    EXPECT_FALSE(zelfailed());
    EXPECT_TRUE(says(said, "Cannot store more trees in vault (reached max., 2)\nPlaced 2 trees in vault (vault now with 2 trees)\n"))
        << said;
    EXPECT_EQ(trees_in_mem, 1);
    EXPECT_TRUE(says(zelrun("tvault >;"), "Cannot store more trees in vault (reached max., 2)\n"));
    EXPECT_TRUE(zelfailed());
    zelrun("tread (0 (1 5) 2 3 4);");
    said = zelrun("tvault <;");
    EXPECT_TRUE(says(said, "Cannot retrieve more trees from vault (reached maxtrees, 3)\n"
                           "Retrieved 1 trees from vault (3 trees now in memory)\n")) << said;
    EXPECT_EQ(trees_in_vault, 1);
    EXPECT_TRUE(says(zelrun("tvault <;"), "Cannot store more trees in memory (reached max., 3)\n"));
    EXPECT_TRUE(zelfailed());
    EXPECT_EQ(trees_in_vault, 1);
}

TEST(Vault, KeepsTheRoomForTreesAsItIs)
{
    datafor(6);
    zelrun("hold 1/1; tread (0 (1 2) 3 4 5);");
    EXPECT_TRUE(says(zelrun("hold 20;"), "Cannot increase tree-space when tree-vault is set"));
    EXPECT_TRUE(says(zelrun("tread (0 (1 3) 2 4 5);"), "Tree buffer is full"));
    EXPECT_EQ(trees_in_mem, 1);
    EXPECT_EQ(maxtrees, 1);
    EXPECT_TRUE(says(zelrun("mxram;"), " for 1 trees (plus vault of 1 trees)"));
    datafor(7);
    EXPECT_TRUE(says(zelrun("tvault;"), "Tree-vault not set (set with \"hold N/V\")\n"));
    EXPECT_TRUE(says(zelrun("tvault -;"), "Tree-vault is not set!"));
    zelrun("hold 5/5; xwipe;");
    EXPECT_TRUE(says(zelrun("tvault;"), "Tree-vault not set"));
}

TEST(Vault, NamesWhatIsWrong)
{
    datafor(6);
    const struct { const char *command, *said; } cases[] = {
        { "tvault >;", "Tree-vault is not set!" },
        { "hold 5/;", "Give size of vault" },
        { "hold 5/0;", "Size of vault must be > 0 " },
        { "hold 0/5;", "Vault for trees must have two numbers > 0 " },
        { "hold /5;", "Vault for trees must have two numbers > 0 " },
        { "hold 5/1000000000;", "Cannot make tree space for" },
        { "hold 5/2;", "Tree-vault set for 2 trees\n" },
        { "tvault >;", "No trees to store in vault" },
        { "tvault <;", "No trees to get from vault" },
        { "tvault x;", "Wrong argument for tvault : 'x'" },
    };
    for (const auto &c : cases) {
        std::string said = zelrun(c.command);
        EXPECT_TRUE(says(said, c.said)) << c.command << ": " << said;
    }
    ss_recurse_level = 1;
    EXPECT_TRUE(says(zelrun("tvault;"), "Cannot access tree-vault during recursive sectorial searches"));
    EXPECT_TRUE(says(zelrun("hold 5/2;"), "Cannot reset tree-vault size under recursive sectorial searches"));
    ss_recurse_level = 0;
    zelrun("tread (0 (1 2) 3 4 5); tvault >;");
    EXPECT_TRUE(says(zelrun("tvault *;"), "Tread '1 trees from vault'\n(0 3 4 5 (1 2));\n"));
    EXPECT_TRUE(says(zelrun("tvault -;"), "Cleared tree-vault\n"));
    EXPECT_TRUE(says(zelrun("tvault;"), "Tree-vault with 0 trees (max. storage 2)\n"));
}

// --- equal trees ---

TEST(Firstequal, IsTheFirstOfEachSetOfEqualTrees)
{
    datafor(5);
    std::mt19937 dice(4);
    for (int trial = 0; trial < 20; ++trial) {
        std::vector<tree> trees;
        for (int i = 0; i < 60; ++i) trees.push_back(canonical(randomtree(&dice, 30, 20)));
        storeall(trees);
        std::vector<int> first(60);
        first_equal_trees(first.data());
        for (int t = 0; t < 60; ++t)
            EXPECT_EQ(first[t], std::find(trees.begin(), trees.end(), trees[t]) - trees.begin());
        std::set<tree> different(trees.begin(), trees.end());
        zelrun("riddup;");
        EXPECT_EQ(treesinmemory().size(), different.size());
        for (int t = 1; t < trees_in_mem; ++t)
            EXPECT_LT(std::find(trees.begin(), trees.end(), treesinmemory()[t - 1]),
                      std::find(trees.begin(), trees.end(), treesinmemory()[t]));
    }
}

TEST(Riddup, ReactivatesTaxaScoredAsActiveOnes)
{
    zelrun("silent=all; proc " + writefile("dup.zel", "xread 3 7\nA 000\nB 001\nC 011\nD 111\nE 001\nF 110\nG 110\n;\n"
                                                      "proc/;\n") + "; silent-all;");
    zelrun("taxcode - 4 5 6;");
    EXPECT_TRUE(says(zelrun("riddup -;"), "1 duplicate taxa reactivated"));
    EXPECT_EQ(std::string(reinterpret_cast<char *>(taxact), 7), std::string("\1\1\1\1\1\0\0", 7));
    zelrun("taxcode - 3; ccode ]0;");                  // without character 0, D is as C
    EXPECT_TRUE(says(zelrun("riddup -;"), "1 duplicate taxa reactivated"));
    EXPECT_TRUE(taxact[3]);
    EXPECT_TRUE(says(zelrun("riddup -;"), "0 duplicate taxa reactivated"));
}

// --- sort ---

TEST(Sort, PutsTreesInOrderAndLeavesTiesAsTheyWere)
{
    datafor(10);
    std::mt19937 dice(5);
    std::vector<tree> trees;
    for (int i = 0; i < 50; ++i) trees.push_back(canonical(randomtree(&dice, 40, 30)));
    auto nodes = [](const tree &t) { return t[nt] - nt; };
    auto size = [](const tree &t) { return int(std::count_if(t.begin(), t.begin() + nt, [](int a) { return a; })); };
    storeall(trees);
    EXPECT_TRUE(says(zelrun("sort = nodes;"), "Sorted 50 trees, based on number of nodes\n"));
    std::stable_sort(trees.begin(), trees.end(), [&](const tree &a, const tree &b) { return nodes(a) < nodes(b); });
    EXPECT_EQ(treesinmemory(), trees);
    EXPECT_TRUE(says(zelrun("sort = si;"), "Sorted 50 trees, based on number of taxa\n"));
    std::stable_sort(trees.begin(), trees.end(), [&](const tree &a, const tree &b) { return size(a) < size(b); });
    EXPECT_EQ(treesinmemory(), trees);
    EXPECT_TRUE(says(zelrun("sort = mono;"), "No constraints defined"));
    EXPECT_EQ(treesinmemory(), trees);
}

// --- randtrees ---

TEST(Randtrees, GiveEveryTreeTheSameChance)
{
    constexpr int TREES = 15, EACH = 200;              // trees of five taxa rooted on the first
    roomydata(5);
    zelrun("hold 4000; silent=all; randtrees 3000; silent-all;");
    ASSERT_EQ(trees_in_mem, TREES * EACH);
    std::map<tree, int> seen;
    for (const tree &t : treesinmemory()) {
        checktree(t.data());
        EXPECT_EQ(t[0], nt);
        EXPECT_EQ(t[nt], nodz);
        ++seen[t];
    }
    EXPECT_EQ(seen.size(), size_t(TREES));
    double chi = 0;
    for (const auto &[t, n] : seen) chi += double(n - EACH) * (n - EACH) / EACH;
    EXPECT_LT(chi, 30);                                // 14 degrees of freedom
}

TEST(Randtrees, CollapseAsOftenAsAskedAndNoWiderThanAllowed)
{
    roomydata(60);
    auto widest = [](const tree &t) {
        std::vector<int> fork(nodz);
        for (int n = 0; n < t[nt]; ++n)
            if (n != nt && t[n]) ++fork[t[n]];
        return *std::max_element(fork.begin(), fork.end());
    };
    zelrun("hold 200; silent=all; randtrees 100 100 4; silent-all;");
    for (const tree &t : treesinmemory()) {
        checktree(t.data());
        EXPECT_EQ(widest(t), 4);
    }
    zelrun("keep 0; randtrees 3 100;");
    for (const tree &t : treesinmemory()) EXPECT_EQ(t[nt], nt + 1);        // bushes
    zelrun("keep 0; silent=all; randtrees 100 25; silent-all;");
    double nodes = 0;
    for (const tree &t : treesinmemory()) nodes += t[nt] - nt - 1;
    EXPECT_NEAR(nodes / (100.0 * 58), 0.75, 0.02);                         // 58 taxa are added to a tree of two
    zelrun("taxcode - 5 9; keep 0; randtrees 1;");
    EXPECT_EQ(countterminals(mem_tree[0]), 58);
    EXPECT_EQ(mem_tree[0][5], 0);
}

TEST(Randtrees, MakeRoomAndSayWhenThereIsTooLittle)
{
    roomydata(100);
    zelrun("hold 5; silent=all; randtrees 30; silent-all;");
    EXPECT_EQ(trees_in_mem, 30);
    EXPECT_STREQ(treegroupname[0], "random_trees");
    int most = possible_maxtrees(1000000000, 6 * sizeof(int) * size_t(nodz));
    std::string said = zelrun("randtrees 900000000;");
    EXPECT_TRUE(says(said, "Not enough RAM to store 900000000 trees; only ")) << said;
    EXPECT_EQ(trees_in_mem, most);
    EXPECT_TRUE(says(said, (std::to_string(most - 30) + " random trees created\n").c_str())) << said;
    zelrun("keep 0; hold 100;");
}

TEST(Randtrees, RandomizeOrderAndPolytomies)
{
    datafor(12);
    std::mt19937 dice(6);
    std::vector<tree> trees;
    for (int i = 0; i < 40; ++i) trees.push_back(canonical(randomtree(&dice, 50)));
    storeall(trees);
    zelrun("randtrees /;");
    std::vector<tree> now = treesinmemory();
    EXPECT_NE(now, trees);
    EXPECT_EQ(std::multiset<tree>(now.begin(), now.end()), std::multiset<tree>(trees.begin(), trees.end()));
    EXPECT_TRUE(says(zelrun("randtrees *;"), "Dichotomized non-binary trees"));
    for (int t = 0; t < 40; ++t) {
        EXPECT_EQ(mem_tree[t][nt], nodz);
        std::multiset<group> had = groupsof(now[t]), has = groupsof(treesinmemory()[t]);
        EXPECT_TRUE(std::includes(has.begin(), has.end(), had.begin(), had.end()));
    }
}

// --- pruntax ---

TEST(Pruntax, RemovesTaxaFromTheTreesListedOrFromNone)
{
    datafor(7);
    std::vector<tree> trees{ parsed("(0 (1 (2 3)) (4 (5 6)))"), parsed("(0 (1 2))"), parsed("(0 ((1 2) (3 4)) 5 6)") };
    storeall(trees);
    EXPECT_TRUE(says(zelrun("pruntax / 1 2;"), "Can't prun tree 1 - tree must have two or more taxa"));
    EXPECT_EQ(treesinmemory(), trees);
    zelrun("pruntax 0 2 / 1 2;");
    EXPECT_EQ(treesinmemory(), (std::vector<tree>{ parsed("(0 3 (4 (5 6)))"), trees[1], parsed("(0 (3 4) 5 6)") }));
    zelrun("pruntax 2 / Tax0;");
    EXPECT_EQ(treesinmemory()[2], parsed("((3 4) 5 6)"));
    for (const char *command : { "pruntax;", "pruntax 0;", "pruntax 0 / ;" }) {
        EXPECT_TRUE(says(zelrun(command), "Must give trees and taxa to prun"));
        EXPECT_TRUE(zelfailed());
    }
}

// --- edit ---

TEST(Edit, DoesWhatTheDestinationTells)
{
    datafor(7);
    const struct { const char *before, *command, *after, *said; } cases[] = {
        { "(0 (1 (2 3)) (4 (5 6)))", "edit 0 Tax1 Tax5", "(0 (2 3) (4 ((1 5) 6)))", "Tree 0: moving Tax1 to Tax5\n" },
        { "(0 (1 (2 3)) (4 (5 6)))", "edit 0 9 11", "(0 1 (4 ((2 3) (5 6))))", "Tree 0: moving 9 to 11\n" },
        { "(0 (1 (2 3)) (4 (5 6)))", "edit 0 1 7", "(1 (0 (2 3) (4 (5 6))))", "Tree 0: moving Tax1 to 7\n" },
        { "(0 (1 (2 3) (4 (5 6))))", "edit 0 0 5", "(1 (2 3) (4 ((0 5) 6)))", "Tree 0: moving Tax0 to Tax5\n" },
        { "(0 (1 (2 3) (4 (5 6))))", "edit 0 0 8", "(0 (1 (2 3) (4 (5 6))))", "Tree 0: moving Tax0 to 8\n" },
        { "(0 1 2 3 4 5 6)", "edit 0 1 2", "(0 (1 2) 3 4 5 6)", "Tree 0: moving Tax1 to Tax2\n" },
        { "(0 (1 2))", "edit 0 1 0", "(2 (0 1))", "Tree 0: moving Tax1 to Tax0\n" },
        { "(0 (1 (2 3)) (4 (5 6)))", "edit 0 10 5", "(0 (1 (2 3)) (5 (4 6)))", "Tree 0: rerooting clade 10 on Tax5\n" },
        { "(0 (1 (2 (3 (4 (5 6))))))", "edit 0 8 5", "(0 (5 (6 (4 (3 (1 2))))))", "Tree 0: rerooting clade 8 on Tax5\n" },
        { "(0 (1 2 (3 4)) 5 6)", "edit 0 8 9", "(0 (1 2 (3 4)) 5 6)", "Tree 0: rerooting clade 8 on 9\n" },
        { "(0 (1 2 (3 4)) 5 6)", "edit 0 8 3", "(0 (3 (4 (1 2))) 5 6)", "Tree 0: rerooting clade 8 on Tax3\n" },
        { "(0 (1 (2 3)) (4 (5 6)))", "edit 0 9 8", "(0 (1 2 3) (4 (5 6)))", "Tree 0: deleting node(s) 9\n" },
        { "(0 (1 (2 3)) (4 (5 6)))", "edit 0 - 8 11", "(0 1 (2 3) (4 5 6))", "Tree 0: deleting node(s) 8 11\n" },
        { "(0 (1 (2 3)) (4 (5 6)))", "edit ] 0 2 6 1", "(0 (1 3) (4 (5 (2 6))))", "Score: 0\n" },
    };
    for (const auto &c : cases) {
        storeall({ parsed(c.before) });
        std::string said = zelrun(std::string(c.command) + ";");
        EXPECT_TRUE(says(said, c.said)) << c.command << ": " << said;
        EXPECT_EQ(treesinmemory()[0], parsed(c.after)) << c.before << " " << c.command;
    }
}

TEST(Edit, MovesAnyNodeToAnyOtherLeavingTheRestOfTheTreeAsItIs)
{
    datafor(9);
    std::mt19937 dice(7);
    for (int trial = 0; trial < 400; ++trial) {
        tree was = canonical(randomtree(&dice, 30, 10));
        storeall({ was });
        int n = int(dice() % unsigned(was[nt])), target = int(dice() % unsigned(was[nt]));
        zelrun("silent=all; edit ] 0 " + std::to_string(n) + " " + std::to_string(target) + " 0; silent-all;");
        ASSERT_EQ(trees_in_mem, 1);
        checktree(mem_tree[0]);
        tree is = treesinmemory()[0];
        EXPECT_EQ(canonical(is), is);
        for (int t = 0; t < nt; ++t) EXPECT_EQ(was[t] == 0, is[t] == 0);
        if (n == nt || !was[n] || (target != nt && !was[target]) || n == target) {
            EXPECT_EQ(is, was);
            continue;
        }
        // Without the taxa that went, both trees are the same.
        std::vector<uint8_t> keep(nt, 0);
        for (int t = 0; t < nt; ++t) {
            int up = t;
            while (was[t] && up != nt && up != n) up = was[up];
            keep[t] = was[t] && up != n;
        }
        if (std::count(keep.begin(), keep.end(), 1) < 2) continue;
        bool within = false;
        for (int m = target; m != nt && !within; m = was[m]) within = m == n;
        if (within || was[n] == target) continue;
        ASSERT_TRUE(prunetaxa(was.data(), keep.data()));
        ASSERT_TRUE(prunetaxa(is.data(), keep.data()));
        EXPECT_EQ(is, was) << n << " to " << target;
    }
}

TEST(Edit, NamesWhatIsWrong)
{
    datafor(7);
    tree only = parsed("(0 (1 (2 3)) (4 5))");
    storeall({ only });
    const struct { const char *command, *said; } cases[] = {
        { "edit;", "Give number/node of tree to edit" },
        { "edit 0;", "Give number/node of tree to edit" },
        { "edit 0 1;", "Give number/node of tree to edit" },
        { "edit 1 1 2;", "No tree number 1 (only 1 trees in memory)" },
        { "edit 0 6 1;", "No node 6 in tree 0" },
        { "edit 0 1 Tax6;", "No node 6 in tree 0" },
        { "edit 0 1 99;", "No node 99 in tree 0" },
        { "edit 0 1 1;", "Cannot move 1 to 1" },
        { "edit 0 7 1;", "Cannot move 7 to 1" },
        { "edit 0 1 8;", "Cannot \"collapse\" a terminal taxon - Tax1" },
        { "edit 0 - 1;", "Cannot \"collapse\" a terminal taxon - Tax1" },
        { "edit 0 - 7;", "Cannot move 7 to 7" },
        { "edit 0 Tax... 1;", "Cannot specify multiple taxa to move..." },
        { "edit 0 1 Tax...;", "Cannot specify multiple taxa as destination..." },
        { "edit 0 nobody 1;", "No taxon named nobody" },
    };
    for (const auto &c : cases) {
        std::string said = zelrun(c.command);
        EXPECT_TRUE(zelfailed()) << c.command;
        EXPECT_TRUE(says(said, c.said)) << c.command << ": " << said;
        EXPECT_EQ(treesinmemory(), std::vector<tree>{ only });
    }
    zelrun("keep 0;");
    EXPECT_TRUE(says(zelrun("edit 0 1 2;"), "Tree(s) are required"));
}

// --- parentheses ---

TEST(Tread, TakesAnyDepthOfParenthesesWithoutRecursion)
{
    constexpr int DEPTH = 100000;
    datafor(5);
    zelrun("tread (0 (1 2) (3 4));");
    std::string deep(DEPTH, '('), shut(DEPTH, ')');
    std::string said = zelrun("proc " + writefile("deep.tre", "tread (0 (1 2) (3 4))*" + deep + "0 1" + shut + ";\nproc/;\n") + ";");
    EXPECT_TRUE(says(said, "Parenthetical tree contains too many opening parents ... can't read it"));
    EXPECT_EQ(trees_in_mem, 2);                        // what was read before stays
    said = zelrun("proc " + writefile("shut.tre", "tread (0 (1 2) (3 4))" + shut + ";\nproc/;\n") + ";");
    EXPECT_FALSE(zelfailed());
    EXPECT_TRUE(says(said, "excess parentheses will be ignored"));
    EXPECT_EQ(trees_in_mem, 3);
    EXPECT_EQ(treesinmemory()[2], treesinmemory()[0]);
    checktreebuf();
}

// --- tsave ---

TEST(Tsave, AtOnceNeedsOneMoreLevelOfInput)
{
    datafor(5);
    zelrun("tread (0 (1 2) (3 4));");
    std::string file = tempdir() + "/once.ctf", inner = "tsave =" + file + ";\nproc/;\n", outer;
    for (int level = maxnest; level > 0; --level) {          // as many files as can be open, each reading the next
        outer = writefile("level" + std::to_string(level) + ".run", inner);
        inner = "proc " + outer + ";\nproc/;\n";
    }
    EXPECT_TRUE(says(zelrun("proc " + outer + ";"),
                     "Too many input files open to open tree-file and save trees in one shot"));
    EXPECT_TRUE(zelfailed());
    EXPECT_TRUE(says(zelrun("proc " + tempdir() + "/level2.run;"), "(with 1 trees)"));
    EXPECT_FALSE(zelfailed());
    zelrun("keep 0; shortread " + file + ";");
    EXPECT_EQ(trees_in_mem, 1);
}

TEST(Save, OfActiveTaxaWritesNothingWhenATreeWouldHaveTooFew)
{
    datafor(7);
    std::string file = tempdir() + "/active.tre";
    zelrun("tread (0 (1 2) (3 4))*(5 6 0); taxcode - 5 6; tsave *" + file + ";");
    EXPECT_TRUE(says(zelrun("save -;"), "Can't prun tree 1 - tree must have two or more taxa"));
    zelrun("save -0; tsave/;");
    std::string text = readfile(file);
    EXPECT_EQ(text.substr(text.find('\n')), "\n(0 (1 2) (3 4));\nproc-;\n");
}
