// Frequencies of groups against sets of taxa, and against what majority and freqdifs print.
#include "extests.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/output.h"
#include "reference.h"
#include "trees/treebuf.h"
#include <algorithm>

// The taxa of each node of a tree, among those asked for.
static std::vector<uint64_t> groupsof(int t, uint64_t among)
{
    std::vector<uint64_t> groups(size_t(mem_tree[t][nt]), 0);
    for (int x = 0; x < nt; ++x) {
        if (!mem_tree[t][x] || !(among >> x & 1)) continue;
        for (int n = x; ; n = mem_tree[t][n]) {
            groups[size_t(n)] |= uint64_t(1) << x;
            if (n == nt) break;
        }
    }
    return groups;
}

static uint64_t inboth(const std::vector<int> &trees)
{
    uint64_t all = ~uint64_t{0};
    for (int t : trees) all &= groupsof(t, ~uint64_t{0})[size_t(nt)];
    return all;
}

// Per cent of the trees that have the group of each node of tree t, and the same less the most frequent group against it.
struct shares { std::vector<double> frequency, difference; };

static shares plainshares(int t, const std::vector<int> &trees, uint64_t excluded = 0)
{
    std::vector<int> all = trees;
    all.push_back(t);
    uint64_t among = inboth(all) & ~excluded;
    auto own = groupsof(t, among);
    std::vector<int> others;
    for (int u : trees)
        if (u != t) others.push_back(u);
    auto has = [&](int u, uint64_t g) {
        auto groups = groupsof(u, among);
        return std::count(groups.begin() + nt, groups.end(), g) > 0;
    };
    shares s;
    for (size_t n = 0; n < own.size(); ++n) {
        uint64_t g = own[n];
        bool trivial = int(n) <= nt || std::popcount(g) < 2 || g == among;
        if (trivial) {
            double value = int(n) < nt && !mem_tree[t][n] ? 0 : 100;
            s.frequency.push_back(value);
            s.difference.push_back(value);
            continue;
        }
        int count = 0, against = 0, pro = 0;
        for (int u : trees) count += has(u, g);
        for (int u : others) pro += has(u, g);
        for (int u : others)
            for (uint64_t h : groupsof(u, among)) {
                if (!(g & h) || !(g & ~h) || !(h & ~g)) continue;
                int c = 0;
                for (int v : others) c += has(v, h);
                against = std::max(against, c);
            }
        s.frequency.push_back(int(100.0 * count / int(trees.size())));
        s.difference.push_back(others.empty() ? 0 : int(100.0 * (pro - against) / int(others.size())));
    }
    return s;
}

static void collection(int seed, int taxa, int trees)
{
    std::mt19937 rng{ uint32_t(seed) };
    plain::data m = plain::randommatrix(rng, taxa, 4);
    zelrun("mxram 16; piwe-; collapse 0; procedure " + writefile("freq.xread", plain::readtext(m)) + ";");
    for (int t = 0; t < trees; ++t) {
        std::vector<int> which;
        for (int x = 0; x < taxa; ++x)
            if (x < 4 || seed % 2 || rng() % 8) which.push_back(x);
        zelrun("tread " + plain::text(plain::randomtree(rng, taxa, 25, which)) + ";");
    }
    ASSERT_EQ(trees_in_mem, trees);
    typed("");
}

TEST(FrequencyExpressions, CountGroupsAsSets)
{
    for (int seed = 1; seed <= 4; ++seed) {
        collection(seed, 6, 7);
        std::vector<int> all = { 0, 1, 2, 3, 4, 5, 6 };
        for (int t = 0; t < 3; ++t) {
            std::string T = num(t);
            shares s = plainshares(t, all);
            EXPECT_EQ(listof("freqlist[" + T + "]"), s.frequency) << seed << " " << t;
            EXPECT_EQ(listof("freqdlist[" + T + "]"), s.difference) << seed << " " << t;
            EXPECT_EQ(listof("freqlist[" + T + " 2.5]"), plainshares(t, { 2, 3, 4, 5 }).frequency) << seed << " " << t;
            EXPECT_EQ(listof("freqdlist[" + T + " 3.5]"), plainshares(t, { 3, 4, 5 }).difference) << seed << " " << t;
            EXPECT_EQ(listof("freqlist[" + T + " 1.6 / 3]"), plainshares(t, { 1, 2, 3, 4, 5, 6 }, 8).frequency) << seed << " " << t;
            EXPECT_EQ(listof("freqlist[" + T + " / 2]"), plainshares(t, all, 4).frequency) << seed << " " << t;
            for (int n = nt; n < mem_tree[t][nt]; ++n)
                EXPECT_EQ(int(valueof("gfreq[" + T + " " + num(n) + "]")), s.frequency[size_t(n)]) << seed << " " << t << " " << n;
        }
    }
}

// The table is that of the command also where branches are collapsed.
TEST(FrequencyExpressions, AreThoseOfTheCommandsWithCollapsing)
{
    somedata();
    static std::vector<int> caught;
    auto ints = printable;
    for (const char *rule : { "collapse 1;", "collapse 3;", "collapse 0;" })
        for (int t = 0; t < 3; ++t) {
            zelrun(rule);
            printable = [](const int *v, int rows) { caught.assign(v, v + rows); };
            zelrun("majority (" + std::to_string(t) + ") 0.4;");
            std::vector<int> frequencies = caught;
            zelrun("freqdifs (" + std::to_string(t) + ") 0.4;");
            printable = ints;
            std::vector<int> differences = caught;
            typed("");
            wipetag(&opttag);
            auto f = listof("freqlist[" + num(t) + " 0.4]"), d = listof("freqdlist[" + num(t) + " 0.4]");
            ASSERT_EQ(f.size(), frequencies.size());
            for (size_t n = 0; n < f.size(); ++n) {
                EXPECT_EQ(f[n], frequencies[n] == -1 ? 100 : frequencies[n]) << rule << t << " " << n;
                if (differences[n] == -5) {
                    EXPECT_LT(d[n], 0);
                } else {
                    EXPECT_EQ(d[n], differences[n] == -1 ? 100 : differences[n]) << rule << t << " " << n;
                }
            }
        }
    zelrun("collapse 3;");
}

TEST(FrequencyExpressions, RefuseWhatCannotBeCounted)
{
    somedata();
    typed("");
    EXPECT_TRUE(has(refusalof("freqlist[9]"), "No tree number 9 - only 6 trees in memory"));
    EXPECT_TRUE(has(refusalof("gfreq[0 70]"), "No node 70 in tree 0"));
    EXPECT_TRUE(has(refusalof("freqdlist[0 0]"), "Can't compare tree with itself"));
    EXPECT_TRUE(has(refusalof("freqlist[0 1 / 0.8]"), "consensus of 0 taxa?"));
    zelrun("collapse tbr;");
    EXPECT_TRUE(has(refusalof("gfreq[0 10]"), "Error (majority): can't collapse with SPR or TBR for expressions"));
    EXPECT_TRUE(has(refusalof("freqdlist[0]"), "Error (freqdifs): can't collapse with SPR or TBR for expressions"));
    zelrun("collapse 4;");
    EXPECT_TRUE(has(refusalof("gfreq[0 10]"), "Error (majority): cannot use rule 4 to collapse during consensus calculation"));
    zelrun("collapse 3; keep 0;");
    refusalof("gfreq[0 10]");
    typed("");
    zelrun("macro=;");
}
