// The commands collapse and condense; the expansive rule against all subsets of branches.
#include "zeltest.h"
#include "reference.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "trees/collapse.h"
#include "trees/lightopt.h"
#include "trees/treebuf.h"
#include <set>

using plain::data, plain::tree;

struct rules {
    ~rules() { zelrun("collapse rule 1 tempcollapse noauto ;"); }
};

static void readmatrix(const data &m)
{
    std::string said = zelrun("procedure " + writefile("condense.xread", plain::readtext(m)) + ";");
    ASSERT_FALSE(zelfailed()) << said;
}

using shapes = std::set<std::vector<uint64_t>>;

static shapes treesinmemory(int taxa)
{
    shapes s;
    for (int t = 0; t < trees_in_mem; ++t) s.insert(plain::shape(plain::fromstored(mem_tree[t], taxa)));
    return s;
}

// All trees that come from removing branches, not longer than the tree, in which no more can go.
// Branches at the root stay, as do those that the ambiguous rule keeps for other reasons than length.
static shapes expansions(const data &m, const tree &t)
{
    shapes seen, fit;
    long limit = plain::length(m, t);
    std::vector<tree> todo{ t };
    std::set<std::vector<uint64_t>> done;
    while (!todo.empty()) {
        tree u = todo.back();
        todo.pop_back();
        if (!done.insert(plain::shape(u)).second) continue;
        bool more = false;
        for (int n = m.taxa + 1; n < u.nodes(); ++n) {
            if (u.anc[n] == u.root()) continue;
            tree v = plain::without(u, n);
            if (plain::length(m, v) > limit) continue;
            more = true;
            todo.push_back(v);
        }
        if (!more) fit.insert(plain::shape(u));
    }
    return fit;
}

TEST(Condense, RuleFourGivesAllTreesThatDoNotGetLonger)
{
    rules undo;
    std::mt19937 rng(23);
    int several = 0;
    for (int round = 0; round < 120; ++round) {
        data m = plain::randommatrix(rng, 5 + int(rng() % 4), 1 + int(rng() % 7), { 8, 3, 10, 0, 20, 0, 0, 2, 1 });
        readmatrix(m);
        tree t = plain::randomtree(rng, m.taxa, 0);
        zelrun("tread " + plain::text(t) + " ; collapse rule 4 ; condense ;");
        ASSERT_FALSE(zelfailed());
        shapes got = treesinmemory(m.taxa);
        zelrun("keep 0 ; tread " + plain::text(t) + " ; collapse amb ; condense ;");
        tree start = plain::fromstored(mem_tree[0], m.taxa);       // branches that nothing supports go first
        shapes want = expansions(m, start);
        ASSERT_EQ(got, want) << plain::readtext(m) << plain::text(t);
                several += got.size() > 1;
    }
    EXPECT_GT(several, 5);
}

TEST(Condense, GroupsLeftAreThoseTheRuleKeeps)
{
    rules undo;
    std::mt19937 rng(5);
    for (int round = 0; round < 60; ++round) {
        data m = plain::randommatrix(rng, 6 + int(rng() % 5), 3 + int(rng() % 8));
        readmatrix(m);
        tree t = plain::randomtree(rng, m.taxa, 10);
        for (const char *rule : { "rule 1", "amb", "rule 3", "none" }) {
            zelrun("keep 0 ; tread " + plain::text(t) + " ; collapse " + rule + " ;");
            optmem();
            tree u = plain::fromstored(mem_tree[0], m.taxa);
            std::vector<int> marks(nodz);
            mark_supported(mem_tree[0], marks.data(), nullptr);
            std::vector<uint64_t> want, groups = plain::groups(u);
            for (int n = m.taxa; n < u.nodes(); ++n)
                if (marks[n]) want.push_back(groups[n]);
            std::sort(want.begin(), want.end());
            std::string said = zelrun("condense ;");
            EXPECT_EQ(plain::shape(plain::fromstored(mem_tree[0], m.taxa)), want) << rule;
            bool changed = int(want.size()) != u.nodes() - m.taxa;
            EXPECT_NE(said.find(changed ? "1 trees condensed" : "0 trees condensed"), std::string::npos) << said;
        }
    }
}

TEST(Condense, TaxaLeftOutGiveNoSupport)
{
    rules undo;
    // Only e separates c and d from the others; without it (c d e) and (d e) are one unsupported branch.
    zelrun("xread 2 6  a 00 b 00 c 00 d 00 e 11 f 00 ; ccode + 0.1 ; tread (a (f (b (c (d e))))) ; collapse rule 3 ;");
    zelrun("condense . / e ;");
    EXPECT_LE(mem_tree[0][nt], nt + 3);
}

TEST(Condense, TreesThatBecomeTheSameAreCounted)
{
    rules undo;
    zelrun("xread 1 5  a 0 b 0 c 0 d 1 e 1 ; tread (a (b (c (d e)))) * (a (c (b (d e)))) ; condense ;");
    // Both lose the group without change, (c d e) or (b d e).
    std::string said = zelrun("tread (a (b (c (d e)))) * (a (c (b (d e)))) ; condense ;");
    EXPECT_NE(said.find("2 trees condensed - producing 1 trees"), std::string::npos) << said;
}

TEST(Condense, AFullBufferStopsRuleFour)
{
    rules undo;
    zelrun("xread 2 6  a 00 b 01 c 10 d 11 e 01 f 10 ; hold 1 ; tread (a (b (c (d (e f))))) ; collapse rule 4 ;");
    data m = plain::fromrows({ "00", "01", "10", "11", "01", "10" });
    size_t want = expansions(m, plain::fromstored(mem_tree[0], 6)).size();
    std::string said = zelrun("condense ;");
    if (want > 0) EXPECT_NE(said.find("Tree buffer is full - 1 trees in memory"), std::string::npos) << said;
    EXPECT_EQ(trees_in_mem, 1);
    EXPECT_NE(zelrun("condense . / 2 ;").find("Cannot condense excluding taxa under rule 4"), std::string::npos);
    zelrun("hold 100 ;");
}

TEST(Condense, SettingsAreReportedAndWordsUnderstood)
{
    rules undo;
    std::string said = zelrun("collapse none notempcollapse auto ;");
    EXPECT_NE(said.find("Not collapsing unsupported branches"), std::string::npos);
    EXPECT_NE(said.find("Not collapsing trees temporarily for consensus calculation"), std::string::npos);
    EXPECT_NE(said.find("Auto-collapse searches is ON"), std::string::npos);
    EXPECT_NE(zelrun("collapse rule3 ;").find("Collapsing branches with no possible support (\"rule 3\")"), std::string::npos);
    EXPECT_NE(zelrun("collapse amb + ] ;").find("Collapsing branches when sets of ancestor and descendant are identical"), std::string::npos);
    said = zelrun("collapse 4 ;");
    EXPECT_NE(said.find("Collapsing branches under \"rule 4\""), std::string::npos);
    EXPECT_NE(said.find("Collapsing trees temporarily for consensus calculation"), std::string::npos);
    EXPECT_NE(said.find("Auto-collapse searches is OFF"), std::string::npos);
    EXPECT_NE(zelrun("collapse 3 ;").find("Collapsing branches if supported ambiguously (\"rule 1\")"), std::string::npos);
    EXPECT_NE(zelrun("collapse rule 2 ;").find("Only rules for collapsing are rule 1, rule 3, and rule 4"), std::string::npos);
    EXPECT_NE(zelrun("collapse sideways ;").find("Unidentified string in collapse options: sideways"), std::string::npos);
    zelrun("xwipe ; xread 1 4  a 0 b 0 c 1 d 1 ;");
    EXPECT_NE(zelrun("condense ;").find("Tree(s) are required"), std::string::npos);
    zelrun("tread (a (b (c d))) ;");
    EXPECT_NE(zelrun("condense [ ;").find("No constraints defined"), std::string::npos);
    EXPECT_NE(zelrun("condense / ;").find("Must give tree number"), std::string::npos);
    EXPECT_NE(zelrun("condense /0 ;").find("Must specify a set of nodes to condense"), std::string::npos);
    EXPECT_NE(zelrun("condense * =x ;").find("No tag-tree"), std::string::npos);
}

TEST(Condense, NodesNamedByTheUserGo)
{
    rules undo;
    zelrun("xread 1 5  a 0 b 0 c 0 d 1 e 1 ; tread (a (b (c (d e)))) ; condense /0 6 ;");
    tree t = plain::fromstored(mem_tree[0], 5);
    EXPECT_EQ(t.nodes(), 8);
    zelrun("ttags = ; tread (a (b (c (d e =90 )=x )=12 )) ; condense * <50 ;");
    EXPECT_FALSE(zelfailed());
}
