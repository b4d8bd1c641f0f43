// Collections of trees with known consensus: strict and majority rule trees, with the table of groups
// and with little memory.
#include "zeltest.h"
#include "data/matrix.h"
#include "trees/treebuf.h"
#include <algorithm>
#include <cstring>
#include <set>
#include <sstream>

namespace {
std::string known(const std::string &name, const char *what) { return datafile("trees/" + name + "_" + what + ".tre"); }

// The taxa of a tree in plain parentheses, the first one first: known trees hang from it.
std::vector<std::string> taxaof(const std::string &path)
{
    std::string text = readfile(path), word;
    std::vector<std::string> taxa;
    for (char &c : text)
        if (strchr("(),;\n", c)) c = ' ';
    std::istringstream words(text);
    while (words >> word) taxa.push_back(word);
    return taxa;
}

// Groups that say something without a root: all of 2 to nt - 2 taxa, seen from the first taxon.
std::set<std::vector<bool>> groupsof(const int *tree)
{
    std::vector<std::vector<bool>> below(size_t(tree[nt]), std::vector<bool>(size_t(nt)));
    for (int t = 0; t < nt; ++t) {
        below[t][t] = true;
        for (int n = t; n != nt; ) below[n = tree[n]][t] = true;
    }
    std::set<std::vector<bool>> groups;
    for (int n = nt + 1; n < tree[nt]; ++n) {
        auto size = std::count(below[n].begin(), below[n].end(), true);
        if (below[n][0]) below[n].flip();
        if (size > 1 && size < nt - 1) groups.insert(below[n]);
    }
    return groups;
}

class Collection : public testing::TestWithParam<const char *> {
protected:
    void SetUp() override
    {
        if (known(GetParam(), "strict").empty()) GTEST_SKIP() << "the shared data are absent";
        auto taxa = taxaof(known(GetParam(), "strict"));
        std::string text = "taxname + 100 ; mxram 200 ; xread 1 " + std::to_string(taxa.size()) + "\n";
        for (auto &t : taxa) text += t + " 0\n";
        zelrun("p " + writefile("taxa.zel", text + "; proc/;") + " ;");
        ASSERT_FALSE(zelfailed());
        std::string said = readtrees(datafile(std::string("trees/") + GetParam() + ".tre"));
        ASSERT_FALSE(zelfailed()) << said.substr(0, 400);
        ASSERT_GT(trees_in_mem, 1);
        zelrun("collapse none ;");
    }
    std::string readtrees(const std::string &path)
    {
        std::string text = readfile(path);
        bool nexus = text.size() > 6 && (text[1] == 'N' || text[1] == 'n') && text[0] == '#';
        std::string copy = writefile("collection.tre", text);
        std::string said = zelrun((nexus ? "p " : "p [ ") + copy + " ;");
        if (!zelfailed()) zelrun("reroot ;");
        return said;
    }
    void expectlast(const char *what)
    {
        ASSERT_FALSE(zelfailed());
        int last = trees_in_mem - 1;
        readtrees(known(GetParam(), what));
        ASSERT_EQ(trees_in_mem, last + 2);
        EXPECT_EQ(groupsof(mem_tree[last]), groupsof(mem_tree[last + 1])) << what;
        zelrun("keep " + std::to_string(last) + " ;");
    }
};

INSTANTIATE_TEST_SUITE_P(Known, Collection, testing::Values("boot200taxa", "cetaceans_mcmc", "cetaceans_mcmc_noclock", "feb032009",
    "hrv_20", "majority_1", "majority_2", "multifurcating", "pythonidae_mlboots", "pythonidae_mlboots_newick", "woodmouse_mcmc"));

TEST_P(Collection, HasItsKnownConsensus)
{
    for (const char *memory : { ">", "<" }) {
        zelrun(std::string("nelsen ") + memory + " ; nelsen * ;");
        expectlast("strict");
        zelrun("majority = 50 ; majority * ;");
        expectlast("majority");
    }
    zelrun("nelsen > ;");
}
}
