// Shape of trees against plain climbing from the taxa.
#include "extests.h"
#include "data/matrix.h"
#include "trees/treebuf.h"
#include <algorithm>
#include <random>
#include <set>

using taxa = std::set<int>;

static std::vector<int> path(int t, int n)            // from a node to the root
{
    std::vector<int> p = { n };
    while (n != nt) p.push_back(n = mem_tree[t][n]);
    return p;
}

static bool inside(int t, int n) { return n == nt || (n >= 0 && n < mem_tree[t][nt] && (n > nt || mem_tree[t][n])); }

static taxa group(int t, int n)
{
    taxa g;
    for (int x = 0; x < nt; ++x) {
        if (!inside(t, x)) continue;
        std::vector<int> p = path(t, x);
        if (std::count(p.begin(), p.end(), n)) g.insert(x);
    }
    return g;
}

static std::vector<double> doubles(const taxa &g) { return { g.begin(), g.end() }; }

static std::string randomclade(std::vector<int> members, std::mt19937 &random)
{
    if (members.size() == 1) return std::to_string(members[0]);
    std::shuffle(members.begin(), members.end(), random);
    size_t parts = std::min<size_t>(members.size(), 2 + (random() % 4 == 0) * (random() % 3));
    std::vector<std::vector<int>> split(parts);
    for (size_t i = 0; i < members.size(); ++i) split[i < parts ? i : random() % parts].push_back(members[i]);
    std::string text = "(";
    for (auto &part : split) text += randomclade(part, random) + " ";
    return text + ")";
}

static void randomtrees(int n)
{
    std::mt19937 random(7);
    somedata();
    zelrun("keep 0;");
    for (int t = 0; t < n; ++t) {
        std::vector<int> members;
        for (int x = 0; x < nt; ++x)
            if (x < 4 || random() % 5) members.push_back(x);
        zelrun("tread " + randomclade(members, random) + ";");
        ASSERT_FALSE(zelfailed());
    }
    typed("");
}

TEST(TreeExpressions, AgreeWithClimbingAtEveryNode)
{
    randomtrees(12);
    for (int t = 0; t < trees_in_mem; ++t) {
        std::string T = std::to_string(t);
        EXPECT_EQ(valueof("nnodes[" + T + "]"), mem_tree[t][nt] - 1);
        EXPECT_EQ(valueof("tnodes[" + T + "]"), mem_tree[t][nt] - nt - 1);
        EXPECT_EQ(valueof("tsize[" + T + "]"), group(t, nt).size());
        for (int n = 0; n < mem_tree[t][nt] + 1; ++n) {
            std::string at = "[" + T + " " + std::to_string(n) + "]";
            ASSERT_EQ(valueof("isintree" + at), inside(t, n)) << at;
            if (!inside(t, n)) continue;
            taxa g = group(t, n);
            std::vector<double> kids, reps;
            for (int d = 0; d < mem_tree[t][nt]; ++d)
                if (d != nt && inside(t, d) && mem_tree[t][d] == n) {
                    kids.push_back(d);
                    reps.push_back(*group(t, d).begin());
                }
            EXPECT_EQ(valueof("anc" + at), n == nt ? -1 : mem_tree[t][n]);
            EXPECT_EQ(valueof("numdes" + at), g.size());
            EXPECT_EQ(valueof("getarep" + at), *g.begin());
            EXPECT_EQ(listof("grouplist" + at), doubles(g));
            EXPECT_EQ(listof("deslist" + at), kids);
            EXPECT_EQ(listof("repspoly" + at), reps);
            EXPECT_EQ(valueof("nodfork" + at), kids.size());
            EXPECT_EQ(valueof("firstdes" + at), kids.empty() ? -1 : kids[0]);
        }
    }
}

TEST(TreeExpressions, AgreeWithPathsForPairsOfNodes)
{
    randomtrees(4);
    for (int t = 0; t < trees_in_mem; ++t)
        for (int a = 0; a < mem_tree[t][nt]; a += 2)
            for (int b = 0; b < mem_tree[t][nt]; ++b) {
                if (!inside(t, a) || !inside(t, b)) continue;
                std::vector<int> p = path(t, a), q = path(t, b);
                size_t i = 0, j = 0;
                for (; i < p.size(); ++i) {
                    j = size_t(std::find(q.begin(), q.end(), p[i]) - q.begin());
                    if (j < q.size()) break;
                }
                std::string at = "[" + num(t) + " " + num(a) + " " + num(b) + "]";
                EXPECT_EQ(valueof("comnod" + at), p[i]) << at;
                EXPECT_EQ(valueof("distnode" + at), i + j) << at;
                EXPECT_EQ(valueof("isanc" + at), a != b && j < q.size() && p[i] == a) << at;
            }
}

TEST(TreeExpressions, CompareGroupsAsSetsOfTaxa)
{
    randomtrees(5);
    for (int t = 0; t < 2; ++t)
        for (int n = nt; n < mem_tree[t][nt]; ++n)
            for (int u = 0; u < trees_in_mem; ++u) {
                taxa g = group(t, n);
                int same = 0;
                for (int m = mem_tree[u][nt] - 1; m >= 0 && !same; --m)
                    if (inside(u, m) && group(u, m) == g) same = m;
                EXPECT_EQ(valueof("eqgroup[" + num(t) + " " + num(n) + " " + num(u) + "]"), same);
                for (int m = nt; m < mem_tree[u][nt]; ++m) {
                    taxa h = group(u, m), both, x, y;
                    for (int i : group(t, nt))
                        if (inside(u, i)) {
                            if (g.count(i)) x.insert(i);
                            if (h.count(i)) y.insert(i);
                            if (g.count(i) && h.count(i)) both.insert(i);
                        }
                    bool fits = both.empty() || both == x || both == y;
                    EXPECT_EQ(valueof("gcomp[" + num(t) + " " + num(n) + " " + num(u) + " " + num(m) + "]"), fits);
                }
            }
}

TEST(TreeExpressions, ListInternalNodesInBothDirections)
{
    randomtrees(6);
    for (int t = 0; t < trees_in_mem; ++t) {
        std::vector<double> up = listof("uplist[" + num(t) + "]"), down = listof("downlist[" + num(t) + "]");
        EXPECT_EQ(int(up.size()), mem_tree[t][nt] - nt);
        for (size_t i = 1; i < up.size(); ++i)
            EXPECT_TRUE(std::count(up.begin(), up.begin() + long(i), mem_tree[t][int(up[i])])) << "after its ancestor";
        std::reverse(down.begin(), down.end());
        EXPECT_EQ(up, down);
        if (mem_tree[t][nt] > nt + 1) {
            for (double n : listof("uplist[" + num(t) + " " + num(nt + 1) + "]")) {
                std::vector<int> p = path(t, int(n));
                EXPECT_TRUE(std::count(p.begin(), p.end(), nt + 1));
            }
        }
    }
}

TEST(TreeExpressions, FindSistersMonophylyAndEqualTrees)
{
    somedata();
    typed("");
    EXPECT_EQ(valueof("sister[0 7]"), 8);
    EXPECT_EQ(valueof("sister[0 root]"), -1);
    EXPECT_EQ(valueof("sister[3 0]"), 1);
    EXPECT_EQ(valueof("sister[3 0 7]"), 8);
    EXPECT_EQ(valueof("sister[3 0 8]"), -1);
    EXPECT_EQ(valueof("ismono[0 7 8]"), valueof("anc[0 7]"));
    EXPECT_EQ(valueof("ismono[0 5 8]"), 0);
    EXPECT_EQ(valueof("ismono[0 2.8]"), valueof("comnod[0 2 8]"));
    EXPECT_EQ(valueof("ismono[0 I H]"), valueof("anc[0 7]"));
    EXPECT_TRUE(has(refusalof("ismono[5 4]"), "No taxa of the tree are in the list"));
    EXPECT_EQ(valueof("eqtrees[0 4]"), 1);
    EXPECT_EQ(valueof("eqtrees[0 1]"), 0);
    EXPECT_EQ(valueof("isdup[0]"), 0);
    EXPECT_EQ(valueof("isdup[4]"), 1);
    EXPECT_EQ(valueof("simgroup[0 (anc[0 7]) 1]"), valueof("anc[1 7]"));
    EXPECT_EQ(valueof("comnod[0 4 7 8]"), valueof("anc[0 4]"));
    EXPECT_EQ(listof("splitgroup[0 root 3]"), (std::vector<double>{ 0, 1, 2, 3, 4, 5, valueof("anc[0 6]") }));
    EXPECT_EQ(listof("splitgroup[0 root 3 0.5]"), (std::vector<double>{ valueof("anc[0 6]") }));
    EXPECT_TRUE(has(refusalof("splitgroup[0 root 0]"), "Groups must have 1 taxon or more"));
    EXPECT_TRUE(has(refusalof("splitgroup[0 root 3 2]"), "Share of the largest size must be 0-1"));
    EXPECT_TRUE(has(refusalof("sister[0 7 -1]"), "Number of a sister must be 0 or more"));
}

TEST(TreeExpressions, KnowConstraintsAndTheVault)
{
    somedata();
    typed("");
    EXPECT_TRUE(has(refusalof("mono[0]"), "No constraints defined"));
    zelrun("force + [7 8]; constrain =;");
    EXPECT_EQ(valueof("mono[0]"), 1);
    EXPECT_EQ(valueof("mono[3]"), 0);
    zelrun("constrain -; force -;");
    EXPECT_EQ(valueof("vtrees"), -1);
    EXPECT_EQ(valueof("invault[0]"), 0);
}

TEST(TreeExpressions, RefuseWhatIsNotThere)
{
    somedata();
    typed("");
    EXPECT_TRUE(has(refusalof("anc[6 0]"), "No tree number 6 - only 6 trees in memory"));
    EXPECT_TRUE(has(refusalof("anc[0 90]"), "No node 90 in tree 0"));
    EXPECT_TRUE(has(refusalof("anc[5 4]"), "No node 4 in tree 5"));
    EXPECT_TRUE(has(refusalof("anc 0 1"), "Need opening brackets"));
    EXPECT_TRUE(has(refusalof("anc[0 1 2]"), "Need closing brackets"));
    EXPECT_TRUE(has(refusalof("anc[0]"), "Too few arguments"));
    zelrun("set 10 5; if (deslist[0 root]) quote 1; end");
    EXPECT_TRUE(zelfailed());
    zelrun("macro=; var: one two[3];");
    EXPECT_TRUE(has(zelrun("set one grouplist[0 root];"), "has only 1 values (0-0); the list has 9"));
    EXPECT_TRUE(has(zelrun("set two grouplist[0 root];"), "has only 3 values (0-2); the list has 9"));
}

TEST(TreeDistances, CountGroupsThatOnlyOneTreeHas)
{
    somedata();
    typed("");
    // unrooted splits: tree 0 has 6, the bush none; the most two binary trees can differ by is 2 (9 - 3)
    EXPECT_DOUBLE_EQ(valueof("rfdist[0 4]"), 0);
    EXPECT_DOUBLE_EQ(valueof("rfdist[0/3]"), 0.5);
    EXPECT_DOUBLE_EQ(valueof("rfdistp[0/3]"), 1);
    EXPECT_DOUBLE_EQ(valueof("rrfdist[0 3]"), 0.5);
    // tree 2: 123, 45678, 5678, 78; of these tree 0 has 45678, 5678 (no: 5 (6 (7 8)) yes), 78
    EXPECT_DOUBLE_EQ(valueof("rrfdist[0/2]"), (7 + 4 - 2 * 3) / 14.0);
    EXPECT_DOUBLE_EQ(valueof("rrfdistp[0/2]"), (7 + 4 - 2 * 3) / 11.0);
    EXPECT_DOUBLE_EQ(valueof("rfdist[0 3 4]"), (0.5 + 0.5 + 0) / 3);
    EXPECT_TRUE(has(refusalof("rfdist[0]"), "First tree list contains no trees!"));
    EXPECT_TRUE(has(refusalof("rfdist[0/]"), "Second tree list contains no trees!"));
}

// Groups of a tree among some taxa; unrooted, the side without the first of them.
static std::set<taxa> splits(int t, const taxa &among, bool rooted)
{
    std::set<taxa> all;
    for (int n = nt + 1; n < mem_tree[t][nt]; ++n) {
        taxa g, rest;
        for (int x : among) (group(t, n).count(x) ? g : rest).insert(x);
        if (!rooted && g.count(*among.begin())) std::swap(g, rest);
        if (g.size() > 1 && g.size() < among.size() - (rooted ? 0 : 1)) all.insert(g);
    }
    return all;
}

TEST(TreeDistances, AgreeWithSetsOfTaxaOnTreesOfAnyTaxa)
{
    randomtrees(9);
    zelrun("tread (0 (1 (2 (3 (4 (5 (6 (7 8)))))))) * ((0 1 5)(2 (3 4)(6 (7 8)))) * (0 ((1 2) 3)(4 (5 6 (7 8))));");
    auto plain = [](int a, int b, bool rooted, bool present) {
        taxa shared;
        for (int x : group(a, nt))
            if (group(b, nt).count(x)) shared.insert(x);
        std::set<taxa> x = splits(a, shared, rooted), y = splits(b, shared, rooted);
        double differ = 0, most = 2.0 * (double(shared.size()) - (rooted ? 2 : 3));
        for (auto &g : x) differ += !y.count(g);
        for (auto &g : y) differ += !x.count(g);
        if (present) most = double(x.size() + y.size());
        return most > 0 ? differ / most : 0;
    };
    struct { const char *name; bool rooted, present; } kinds[] = {
        { "rfdist", false, false }, { "rfdistp", false, true }, { "rrfdist", true, false }, { "rrfdistp", true, true }
    };
    for (auto &k : kinds) {
        double sum = 0, whole = 0;
        for (int a = 0; a < 12; ++a)
            for (int b = a + 1; b < 12; ++b) {
                double d = plain(a, b, k.rooted, k.present);
                sum += d;
                if (a >= 9) whole += d;
                EXPECT_DOUBLE_EQ(valueof(std::string(k.name) + "[" + num(a) + "/" + num(b) + "]"), d) << k.name << a << " " << b;
            }
        EXPECT_NEAR(valueof(std::string(k.name) + "[.]"), sum / 66, 1e-12) << k.name;
        EXPECT_NEAR(valueof(std::string(k.name) + "[9.]"), whole / 3, 1e-12) << k.name;
        EXPECT_NEAR(valueof(std::string(k.name) + "[9 10 / 10 11]"),
                    (plain(9, 10, k.rooted, k.present) + plain(9, 11, k.rooted, k.present) + plain(10, 11, k.rooted, k.present)) / 4, 1e-12);
    }
}
