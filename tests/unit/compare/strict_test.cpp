#include "treesets.h"
#include <sstream>
#include "compare/strict.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "trees/treebuf.h"

namespace {

enum method { TABLE, LOWBUDGET };

plaintree strictof(collection &c, method how)
{
    plaintree result(nodz, -7);
    auto rows = c.rows();
    std::vector<uint8_t> excluded = c.excluded;
    auto list = c.list.empty() ? nullptr : c.list.data();
    char *low = lomark(), *high = himark();
    if (how == TABLE) dostrict(rows.data(), result.data(), int(rows.size()), list, excluded.data(), 0);
    else strict_on_low_budget(rows.data(), result.data(), int(rows.size()), list, excluded.data());
    EXPECT_EQ(lomark(), low);
    EXPECT_EQ(himark(), high);
    return result;
}

void expectstrict(collection &c)
{
    auto out = leftout(c);
    int takingpart = int(std::count(out.begin(), out.end(), 0));
    if (takingpart < 2) return;
    groupset common;
    bool first = true;
    for (size_t i = 0; i < c.trees.size(); ++i) {
        if (!selectedtree(c.list.empty() ? nullptr : c.list.data(), int(i))) continue;
        const int *tree = c.trees[i].data();
        groupset groups = groupsof(tree, out.data(), takingpart,
                                   [&](int n) { return !collapse_consensuses || invented(tree, n); });
        groupset both;
        std::set_intersection(common.begin(), common.end(), groups.begin(), groups.end(), std::inserter(both, both.end()));
        common = first ? groups : both;
        first = false;
    }
    plaintree table = strictof(c, TABLE), low = strictof(c, LOWBUDGET);
    ASSERT_EQ(table, low);
    checktree(table.data());
    for (int t = 0; t < nt; ++t) EXPECT_EQ(table[t] == 0, out[t] != 0) << t;
    EXPECT_EQ(groupsof(table.data(), nullptr, takingpart), common);
    plaintree canonical = table;
    reset_nodz(canonical.data());
    EXPECT_EQ(canonical, table);
}

struct Strict : testing::TestWithParam<int> {
    void SetUp() override { readtaxa(GetParam()); }
    void TearDown() override
    {
        collapse_consensuses = 0;
        ignore_unshared_taxa = 1;
        mark_supported = rule_1;
    }
};

TEST_P(Strict, HoldsTheGroupsOfAllTreesAndNoOther)
{
    std::mt19937 dice(11);
    for (int trial = 0; trial < 60; ++trial) {
        auto c = randomcollection(dice, trial % 3 * .25, 0, 0);
        expectstrict(c);
    }
}

TEST_P(Strict, LeavesOutTheTaxaAskedForAndThoseMissingFromATree)
{
    std::mt19937 dice(12);
    for (int trial = 0; trial < 80; ++trial) {
        auto c = randomcollection(dice, trial % 3 * .2, trial % 2 * .08, .15);
        expectstrict(c);
    }
}

TEST_P(Strict, ComparesTreesWithMissingTaxaAsTheyStandWhenUnsharedTaxaCount)
{
    std::mt19937 dice(13);
    ignore_unshared_taxa = 0;
    for (int trial = 0; trial < 60; ++trial) {
        auto c = randomcollection(dice, .2, .05, trial % 2 * .1);
        expectstrict(c);
    }
}

TEST_P(Strict, TakesOnlyGroupsThatTheCollapsingRuleLeaves)
{
    std::mt19937 dice(14);
    mark_supported = inventedrule;
    collapse_consensuses = 1;
    for (int trial = 0; trial < 80; ++trial) {
        auto c = randomcollection(dice, .2, trial % 2 * .05, trial % 4 * .05);
        expectstrict(c);
    }
}

TEST_P(Strict, OfOneTreeIsThatTree)
{
    std::mt19937 dice(15);
    for (double polytomy : { 0., .5 }) {
        collection c;
        c.trees = { randomtree(dice, polytomy, 0) };
        c.excluded.assign(nt, 0);
        EXPECT_EQ(strictof(c, TABLE), c.trees[0]);
        EXPECT_EQ(strictof(c, LOWBUDGET), c.trees[0]);
    }
}

// Word borders: 31, 32, 33, 64 and 65 taxa fill or pass a word of the rows.
INSTANTIATE_TEST_SUITE_P(Taxa, Strict, testing::Values(4, 9, 31, 32, 33, 64, 65, 100));

int read_trees;
void countingrule(const int *tree, int *marks, const uint8_t *)
{
    ++read_trees;
    for (int n = 0; n < nodz; ++n) marks[n] = n >= nt && n < tree[nt];
}

TEST(StrictConsensus, StopsReadingWhenNoGroupIsLeft)
{
    readtaxa(6);
    collection c;
    //                0  1  2  3  4  5  root
    c.trees = { plaintree{ 7, 7, 8, 8, 9, 9, 10, 6, 6, 6, 0 },
                plaintree{ 7, 8, 7, 9, 8, 9, 10, 6, 6, 6, 0 } };
    for (int i = 0; i < 5; ++i) c.trees.push_back(c.trees[i % 2]);
    c.excluded.assign(nt, 0);
    collapse_consensuses = 1;
    mark_supported = countingrule;
    for (method how : { TABLE, LOWBUDGET }) {
        read_trees = 0;
        plaintree bush = strictof(c, how);
        EXPECT_EQ(read_trees, 2);
        EXPECT_EQ(bush[nt], nt + 1);
    }
    collapse_consensuses = 0;
    mark_supported = rule_1;
}

TEST(StrictConsensus, UsesNoTableWhenMemoryIsLowAndSaysSoOnce)
{
    readtaxa(40);
    std::mt19937 dice(3);
    collection c;
    c.trees = { randomtree(dice, 0, 0) };
    c.trees.push_back(similartree(dice, c.trees[0]));
    c.excluded.assign(nt, 0);
    plaintree want = strictof(c, TABLE);
    zelrun("cls;");
    char *mark = lomark();
    size_t need = ((2 + 1) * 8 + 60) * 2 * 40;        // what the table may take
    loram(vailram() - need);
    EXPECT_EQ(strictof(c, TABLE), want);
    EXPECT_EQ(strictof(c, TABLE), want);
    loset(mark);
    EXPECT_EQ(zelrun(""), "Note: using alternative consensus algorithm\n"
                          "(memory is insufficient for standard algorithm)\n");
}

TEST(StrictConsensus, InsideOtherCommandsLeavesTheirSettingsAsTheyWere)
{
    readtaxa(8);
    std::mt19937 dice(4);
    collection c;
    c.trees = { randomtree(dice, 0, 0), randomtree(dice, 0, 0) };
    c.excluded.assign(nt, 0);
    plaintree want = strictof(c, TABLE), got(nodz);
    auto rows = c.rows();
    int breakable_before = breakable, report_before = report_status;
    do_strict_for_jak(rows.data(), got.data(), 2, nullptr, nullptr, 0);
    EXPECT_EQ(got, want);
    EXPECT_EQ(collapse_consensuses, 0);
    mark_supported = countingrule;
    read_trees = 0;
    do_strict_for_consensus_stabilization(rows.data(), got.data(), 2, nullptr, nullptr);
    EXPECT_EQ(read_trees, 2);
    EXPECT_EQ(collapse_consensuses, 0);
    EXPECT_EQ(breakable, breakable_before);
    EXPECT_EQ(report_status, report_before);
    mark_supported = rule_1;
}

// Newick text into an ancestor array: names are looked up in a list, comments and lengths skipped.
plaintree newick(const std::string &text, std::vector<std::string> &names)
{
    plaintree up{ -1 };
    std::vector<std::pair<int, int>> leaves;          // taxon, node in up
    int at = -1;
    for (size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c == '[') { i = text.find(']', i); continue; }
        if (c == '(') {
            if (at < 0) { at = 0; continue; }
            up.push_back(at);
            at = int(up.size()) - 1;
        } else if (c == ')') {
            at = up[at];
            while (i + 1 < text.size() && !strchr(",();[", text[i + 1])) ++i;     // label and length
        } else if (c == ';') break;
        else if (c != ',' && !isspace(c)) {
            std::string name;
            bool length = false;
            for (; i < text.size() && !strchr(",()[;", text[i]); ++i) {
                length |= text[i] == ':';
                if (!length && !isspace(text[i]) && text[i] != '\'') name += text[i];
            }
            --i;
            auto found = std::find(names.begin(), names.end(), name);
            if (found == names.end()) found = names.insert(names.end(), name);
            up.push_back(at);
            leaves.push_back({ int(found - names.begin()), int(up.size()) - 1 });
        }
    }
    int taxa = int(names.size());
    plaintree anc(2 * taxa + 2, 0);
    std::vector<int> number(up.size(), 0);
    for (auto [taxon, node] : leaves) number[node] = -1;
    int next = taxa;
    for (size_t n = 0; n < up.size(); ++n)
        if (number[n] == 0) number[n] = next++;
    for (size_t n = 1; n < up.size(); ++n)
        if (number[n] > 0) anc[number[n]] = number[up[n]];
    for (auto [taxon, node] : leaves) anc[taxon] = number[up[node]];
    anc[taxa] = next;
    return anc;
}

std::vector<plaintree> newicktrees(const std::string &text, std::vector<std::string> &names)
{
    std::vector<plaintree> trees;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line, ';');)
        if (line.find('(') != std::string::npos) trees.push_back(newick(line + ";", names));
    return trees;
}

int indexgroups(const std::string &set)
{
    std::istringstream in(readfile(datafile("INDEX.tsv")));
    for (std::string line; std::getline(in, line);) {
        std::istringstream fields(line);
        std::string field;
        for (int i = 0; std::getline(fields, field, '\t'); ++i) {
            if (i == 0 && field != set) break;
            if (i == 12) return std::stoi(field);
        }
    }
    return -1;
}

// Rooted on taxon 0, an unrooted group of two or more is the side that lacks it.
groupset unrooted(plaintree tree)
{
    tree.resize(nodz);
    EXPECT_TRUE(reroot(tree.data(), 0));
    groupset groups = groupsof(tree.data(), nullptr, nt);
    std::erase_if(groups, [](const taxonset &g) { return int(g.size()) == nt - 1; });
    return groups;
}

class PublishedNative : public testing::TestWithParam<const char *> {};

TEST_P(PublishedNative, TreesHaveTheirKnownStrictConsensus)
{
    std::string set = std::string("morph-mpts/") + GetParam();
    if (datafile(set + ".xread").empty()) GTEST_SKIP() << "test data absent";
    zelrun("procedure " + datafile(set + ".xread") + ";");
    zelrun("hold 1000;");
    zelrun("procedure " + datafile(set + "_mpts.tre") + ";");
    ASSERT_GT(trees_in_mem, 0);
    collapse_consensuses = 0;
    plaintree table(nodz), low(nodz);
    dostrict(mem_tree, table.data(), trees_in_mem, nullptr, nullptr, 0);
    strict_on_low_budget(mem_tree, low.data(), trees_in_mem, nullptr, nullptr);
    EXPECT_EQ(table, low);

    std::vector<std::string> names;
    for (int t = 0; t < nt; ++t) names.push_back(taxname[t]);
    auto answer = newicktrees(readfile(datafile(set + "_strict.tre")), names);
    ASSERT_EQ(int(names.size()), nt) << names.back();
    EXPECT_EQ(unrooted(table), unrooted(answer.at(0)));
    EXPECT_EQ(int(unrooted(table).size()), indexgroups(GetParam()));
    zelrun("hold 100;");
}

INSTANTIATE_TEST_SUITE_P(Morphology, PublishedNative,
                         testing::Values("Argue_etal_2009a", "Bond_etal_2015a", "Cameron_1997a", "Chester_etal_2015ac",
                                         "Coster_etal_2013aa", "De_Bast_etal_2018a", "Gilbert_2013ab",
                                         "Gilbert_etal_2018a", "Hooker_2007a"),
                         [](auto &set) { return std::string(set.param); });

}
