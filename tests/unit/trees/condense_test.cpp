// The commands collapse and condense; the expansive rule against all subsets of branches.
#include "zeltest.h"
#include "reference.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "trees/collapse.h"
#include "trees/lightopt.h"
#include "trees/treebuf.h"
#include "trees/treetags.h"
#include <map>
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

// A matrix and a tree that rule 4 makes several of.
static std::pair<data, tree> manyfold(std::mt19937 &rng, size_t atleast)
{
    for (;;) {
        data m = plain::randommatrix(rng, 8, 6, { 8, 3, 10, 0, 20, 0, 0, 2, 1 });
        tree t = plain::randomtree(rng, m.taxa, 0);
        readmatrix(m);
        zelrun("keep 0 ; tread " + plain::text(t) + " ; collapse amb ; condense ;");
        if (expansions(m, plain::fromstored(mem_tree[0], m.taxa)).size() >= atleast) return { m, t };
    }
}

TEST(Condense, AFullBufferStopsRuleFour)
{
    rules undo;
    std::mt19937 rng(77);
    auto [m, t] = manyfold(rng, 3);
    zelrun("hold 2 ; keep 0 ; tread " + plain::text(t) + " ; collapse rule 4 ;");
    std::string said = zelrun("condense ;");
    EXPECT_NE(said.find("Tree buffer is full - 2 trees in memory"), std::string::npos) << said;
    EXPECT_EQ(trees_in_mem, 2) << "those kept so far stay";
    checktreebuf();
    EXPECT_NE(zelrun("condense . / 2 ;").find("Cannot condense excluding taxa under rule 4\n"
                                             "(But condensing first and then pruning is equivalent!)"), std::string::npos);
    zelrun("hold 100 ;");
}

TEST(Condense, ATreeThatStaysOneNeedsNoRoomUnderRuleFour)
{
    rules undo;
    zelrun("xread 3 5  a 000 b 000 c 011 d 111 e 111 ; hold 1 ; tread (a (b (c (d e)))) ; collapse rule 4 ;");
    tree before = plain::fromstored(mem_tree[0], 5);
    std::string said = zelrun("condense ;");
    EXPECT_FALSE(zelfailed()) << said;
    EXPECT_NE(said.find("0 trees condensed"), std::string::npos) << said;
    EXPECT_EQ(plain::shape(plain::fromstored(mem_tree[0], 5)), plain::shape(before)) << "no doubtful branch";
    zelrun("hold 100 ;");
}

TEST(Condense, UnderRuleFourTheFirstTreeTakesThePlaceAndTheOthersGoBehind)
{
    rules undo;
    std::mt19937 rng(5);
    auto [m, t] = manyfold(rng, 2);
    zelrun("keep 0 ; tread (0 1 2 3 4 5 6 7) * " + plain::text(t) + " * (0 1 2 (3 4) 5 6 7) ; collapse none ; tgroup =4 (mine) 1 ; collapse rule 4 ;");
    std::vector<uint64_t> first = plain::shape(plain::fromstored(mem_tree[0], m.taxa)), last = plain::shape(plain::fromstored(mem_tree[2], m.taxa));
    zelrun("condense 1 ;");
    ASSERT_FALSE(zelfailed());
    ASSERT_GT(trees_in_mem, 3);
    EXPECT_EQ(plain::shape(plain::fromstored(mem_tree[0], m.taxa)), first);
    EXPECT_EQ(plain::shape(plain::fromstored(mem_tree[2], m.taxa)), last);
    EXPECT_EQ(treegroup[1][0] >> 4 & 1, 1u);
    std::string all = zelrun("unique ;");
    EXPECT_NE(all.find(std::to_string(trees_in_mem) + " trees retained"), std::string::npos);
}

// Each group of three has a character of its own, (1 (0 1)), which one change at its base or two
// within it explain as well: so many branches that all can go together.
TEST(Condense, BranchesThatGoTogetherAreNotTriedInAllCombinations)
{
    rules undo;
    constexpr int GROUPS = 24;
    data m = plain::blankmatrix(3 * GROUPS + 3, GROUPS + 1);
    std::string text = "(0 (1 2";
    for (int t = 0; t < m.taxa; ++t)
        for (int c = 0; c < m.chars; ++c) m.cells[t][c] = c == GROUPS ? (t ? 2u : 1u) : t < 3 || (t - 3) / 3 != c || t % 3 == 1 ? 1u : 2u;
    for (int g = 0; g < GROUPS; ++g) {
        std::string a = std::to_string(3 * g + 3), b = std::to_string(3 * g + 4), c = std::to_string(3 * g + 5);
        text += " (" + a + " (" + b + " " + c + "))";
    }
    readmatrix(m);
    zelrun("tread " + text + ")) ; collapse rule 4 ; condense ;");
    ASSERT_FALSE(zelfailed());
    EXPECT_EQ(trees_in_mem, 1);
    EXPECT_EQ(mem_tree[0][nt], nt + 2);
}

// Per node, the taxa of it that stay.
static std::vector<uint64_t> includedgroups(const tree &t, uint64_t excluded)
{
    auto g = plain::groups(t);
    for (auto &x : g) x &= ~excluded;
    return g;
}

TEST(Condense, WithoutSomeTaxaBranchesStandOrFallAsInThePrunedTree)
{
    rules undo;
    std::mt19937 rng(15);
    int fell = 0, stood = 0;
    for (int round = 0; round < 150; ++round) {
        data m = plain::randommatrix(rng, 7 + int(rng() % 5), 3 + int(rng() % 8));
        readmatrix(m);
        const char *rule = std::vector<const char *>{ "rule 1", "amb", "rule 3" }[size_t(round % 3)];
        zelrun("keep 0 ; tread " + plain::text(plain::randomtree(rng, m.taxa, 15)) + " ; collapse " + rule + " ;");
        tree t = plain::fromstored(mem_tree[0], m.taxa);
        uint64_t excluded = 0;
        std::string list;
        for (int x = 1; x < m.taxa; ++x)
            if (plain::chance(rng, 25)) excluded |= uint64_t{1} << x, list += " " + std::to_string(x);
        if (m.taxa - __builtin_popcountll(excluded) < 3) continue;
        // The pruned tree, from the included groups that are there.
        auto had = includedgroups(t, excluded);
        std::set<uint64_t> groups;
        for (int n = m.taxa; n < t.nodes(); ++n)
            if (__builtin_popcountll(had[n]) > 1) groups.insert(had[n]);
        std::vector<uint64_t> bysize(groups.begin(), groups.end());
        std::sort(bysize.begin(), bysize.end(), [](uint64_t a, uint64_t b) { return __builtin_popcountll(a) > __builtin_popcountll(b); });
        tree u;
        u.taxa = m.taxa;
        u.anc.assign(size_t(m.taxa) + bysize.size(), tree::NONE);
        auto smallest = [&](uint64_t taxa, size_t before) {
            size_t at = 0;
            for (size_t i = 0; i < before; ++i)
                if ((taxa & ~bysize[i]) == 0) at = i;
            return m.taxa + int(at);
        };
        for (int x = 0; x < m.taxa; ++x)
            if (!(excluded >> x & 1)) u.anc[x] = smallest(uint64_t{1} << x, bysize.size());
        for (size_t i = 1; i < bysize.size(); ++i) u.anc[size_t(m.taxa) + i] = smallest(bysize[i], i);
        optmem();
        std::vector<int> anc = plain::stored(u), marks(size_t(nodz), 0);
        mark_supported(anc.data(), marks.data(), nullptr);
        std::set<uint64_t> falling;
        for (size_t i = 1; i < bysize.size(); ++i)
            if (!marks[m.taxa + int(i)]) falling.insert(bysize[i]);
        std::vector<uint64_t> want, all = plain::groups(t);
        for (int n = m.taxa; n < t.nodes(); ++n) {
            bool falls = n > m.taxa && falling.count(had[n]);
            if (!falls) want.push_back(all[n]);
            ++(falls ? fell : stood);
        }
        std::sort(want.begin(), want.end());
        zelrun("condense . /" + list + " ;");
        ASSERT_FALSE(zelfailed());
        if (list.empty()) continue;
        EXPECT_EQ(plain::shape(plain::fromstored(mem_tree[0], m.taxa)), want) << plain::readtext(m) << plain::text(t) << " without" << list << " " << rule;
    }
    EXPECT_GT(fell, 50);
    EXPECT_GT(stood, 50);
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
    zelrun("xread 1 5  a 0 b 0 c 0 d 1 e 1 ; tread (a (b (c (d e)))) * (a (b (c (d e)))) ; condense /0 7 ;");
    EXPECT_EQ(plain::shape(plain::fromstored(mem_tree[0], 5)), (std::vector<uint64_t>{ 0b11000, 0b11110, 0b11111 }));
    EXPECT_EQ(mem_tree[1][nt], 9);
    zelrun("condense /1 6.8 ;");
    EXPECT_EQ(plain::shape(plain::fromstored(mem_tree[1], 5)), (std::vector<uint64_t>{ 0b11111 }));
    EXPECT_NE(zelrun("condense /2 6 ;").find("Tree 2"), std::string::npos);
    EXPECT_TRUE(zelfailed());
}

// The tag tree as groups with their tags.
static std::map<uint64_t, std::string> tagged()
{
    tree t = plain::fromstored(txtr, nt);
    auto groups = plain::groups(t);
    std::map<uint64_t, std::string> tags;
    for (int n = nt + 1; n < t.nodes(); ++n) tags[groups[n]] = txtrmsg[n];
    return tags;
}

TEST(Condense, NodesOfTheTagTreeGoByTheirTags)
{
    rules undo;
    const char *tags = "ttags - ; ttags = ; tread (a (b (c (d (e f =9 )=x )=12 )=40 )) ; ttags ) ;";
    zelrun(std::string("xread 1 6  a 0 b 0 c 0 d 1 e 1 f 1 ;") + tags);
    ASSERT_EQ(tagged(), (std::map<uint64_t, std::string>{ { 0b110000, "x" }, { 0b111000, "12" }, { 0b111100, "40" }, { 0b111110, "" } }));
    std::string said = zelrun("condense * <20 ;");
    EXPECT_NE(said.find("Condensing 1 nodes with tag less than 20.000000"), std::string::npos) << said;
    EXPECT_NE(said.find("\nNote: skipped 2 groups without numerical tag"), std::string::npos) << said;
    EXPECT_EQ(tagged(), (std::map<uint64_t, std::string>{ { 0b110000, "x" }, { 0b111100, "40" }, { 0b111110, "" } }));
    said = zelrun("condense /* >12 ;");
    EXPECT_NE(said.find("Condensing 1 nodes with tag larger than 12.000000"), std::string::npos) << said;
    EXPECT_EQ(tagged(), (std::map<uint64_t, std::string>{ { 0b110000, "x" }, { 0b111110, "" } }));
    said = zelrun("condense * =x ;");
    EXPECT_NE(said.find("Condensing all nodes labeled \"x\""), std::string::npos) << said;
    EXPECT_EQ(tagged(), (std::map<uint64_t, std::string>{ { 0b111110, "" } }));
    zelrun("ttags - ;");
}

TEST(Condense, QuickCollapsingIsSwitched)
{
    EXPECT_EQ(zelrun("qcollapse - ;"), "Quick collapse is OFF \n");
    EXPECT_EQ(quick_collapse, 0);
    EXPECT_EQ(zelrun("qcollapse = ;"), "Quick collapse is ON \n");
    EXPECT_EQ(quick_collapse, 1);
}
