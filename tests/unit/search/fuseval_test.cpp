// The score of an exchange is that of the tree it gives, in every kind of data and weights, however many were made before.
#include "fusetest.h"
#include "search/fitsets.h"
#include "trees/scratch.h"

namespace {

const char *const weightings[] = { "", "piwe=3;", "piwe=3;xpiwe[=3;", "piwe=2;xpiwe[ 0.3;xpiwe(*0.5;", "piwe=4;xpiwe(*0.5;" };

struct plainweights { ~plainweights() { mixed::moresettings.clear(); zelrun("xpiwe-;piwe-;"); } };

void expectsame(double value, double expected)
{
    EXPECT_NEAR(value, expected, dopiwe ? 1e-7 : num_cont ? 1e-6 : 0);
}

std::vector<int> groups()            // that may be exchanged, the deepest first
{
    std::vector<int> list;
    for (int i = nfuse_list - 1; i >= 0; --i)
        if (fuse_guide[fuse_list[i]] != ntax) list.push_back(fuse_list[i]);
    return list;
}

struct single { std::vector<int> tree; double value; };

// Each exchange by itself, with bounds around its score.
int checksingly(std::vector<int> a, std::vector<int> b)
{
    std::vector<single> made;
    {
        hiscratch scratch;
        pairmemory();
        expectsame(fusoptimize(a.data()), rescored(a));
        fusoptimize(a.data());
        start_pair(a.data(), b.data());
        for (int g : groups()) {
            double value = fuseval(g, partner[g], NOBOUND), step = leastgain();
            EXPECT_LT(value, NOBOUND);
            expectsame(fuseval(g, partner[g], value + step / 4), value);
            EXPECT_GT(fuseval(g, partner[g], value - step), value - step);
            made.push_back({ a, value });
            cladzert(partner[g], g, made.back().tree.data());
        }
    }
    for (single &s : made) expectsame(s.value, rescored(s.tree));
    return int(made.size());
}

// With one other after the other, a being optimized once.
int checkinturn(std::vector<int> a, const std::vector<std::vector<int>> &others)
{
    std::vector<single> made;
    {
        hiscratch scratch;
        pairmemory();
        fusoptimize(a.data());
        for (const auto &b : others) {
            hiscratch ofpair;
            start_pair(a.data(), b.data());
            for (int g : groups()) {
                made.push_back({ a, fuseval(g, partner[g], NOBOUND) });
                cladzert(partner[g], g, made.back().tree.data());
            }
        }
    }
    for (single &s : made) expectsame(s.value, rescored(s.tree));
    return int(made.size());
}

// Exchanges made one on top of the other.
void checktogether(std::mt19937 &rng, std::vector<int> a, std::vector<int> b)
{
    std::vector<std::vector<int>> trees;
    std::vector<double> values;
    {
        hiscratch scratch;
        pairmemory();
        fusoptimize(a.data());
        start_pair(a.data(), b.data());
        std::vector<int> now = a;
        for (int g : groups()) {
            if (!ladd[g] || plain::chance(rng, 50)) continue;
            values.push_back(fuseval(g, partner[g], NOBOUND));
            settle_exchange(g, partner[g], values.back());
            bar_ancestors(g);
            cladzert(partner[g], g, now.data());
            trees.push_back(now);
        }
    }
    for (size_t i = 0; i < trees.size(); ++i) expectsame(values[i], rescored(trees[i]));
}

}  // namespace

TEST(ExchangeScores, AreThoseOfTheTreesExchanged)
{
    plainweights undo;
    std::mt19937 rng(471);
    int exchanges = 0, inturn = 0;
    for (const char *weights : weightings) {
        SCOPED_TRACE(weights);
        mixed::moresettings = weights;
        for (const mixed::kind &k : mixed::kinds) {
            SCOPED_TRACE(k.what);
            for (int trial = 0; trial < std::max(2, atmost(6)); ++trial) {
                zelrun(*weights ? "xpiwe-;piwe=3;" : "xpiwe-;piwe-;");   // data of extended weighting are read under weighting
                int taxa = 6 + plain::below(rng, 20);
                mixed::data d = mixed::random(rng, taxa, 20, k);
                mixed::packing image(d);
                std::vector<int> a = packedtree(plain::randomtree(rng, taxa, 0, activetaxa(d.m)));
                if (ntax < 5) continue;
                std::vector<int> b = relative(rng, a, 1 + plain::below(rng, 3));
                if (trial % 2) {
                    int root = plain::below(rng, ntax);
                    hang_from(a.data(), root);
                    hang_from(b.data(), root);
                }
                exchanges += checksingly(a, b);
                if (trial % 2 == 0 || !asymmetric_fields) inturn += checkinturn(a, { b, relative(rng, a, 2), a, relative(rng, b, 1) });
                checktogether(rng, a, b);
            }
        }
    }
    EXPECT_GT(exchanges, 500);
    EXPECT_GT(inturn, 2000);
}

TEST(ExchangeScores, AreTheSameWithEveryKernel)
{
    plainweights undo;
    std::mt19937 rng(472);
    for (const drawing &drawn : drawings)
        for (const char *weights : { "piwe-;", "piwe=3;" }) {
            SCOPED_TRACE(std::string(drawn.what) + " " + weights);
            plain::data m = plain::randommatrix(rng, 24, 90, drawn.mix);
            zelrun(weights);
            packing image(m);
            if (ntax < 5) continue;
            std::vector<int> a = packedtree(plain::randomtree(rng, m.taxa, 0, activetaxa(m)));
            std::vector<int> b = relative(rng, a, 3);
            unsigned seed = rng();
            foreachkernel([&] {
                std::mt19937 same(seed);
                checksingly(a, b);
                checktogether(same, a, b);
            });
        }
}

TEST(Consensus, HoldsTheGroupsOfBothTreesAndWhereTheyAreTheSame)
{
    std::mt19937 rng(473);
    for (int trial = 0; trial < 40; ++trial) {
        plain::data m = plain::randommatrix(rng, 5 + trial % 20, 4, kinds()[0]);
        m.taxactive.assign(m.taxa, 1);
        packing image(m);
        std::vector<int> a = packedtree(plain::randomtree(rng, m.taxa)), b = relative(rng, a, 1 + trial % 3);
        auto ina = taxasets(a), inb = taxasets(b);
        std::map<taxonset, int> ofb;
        for (int n = ntax + 1; n < hinod; ++n) ofb[inb[n]] = n;
        hiscratch scratch;
        make_fuse_guide(a.data(), b.data());
        int found = 0;
        for (int n = ntax + 1; n < hinod; ++n) {
            auto it = ofb.find(ina[n]);
            EXPECT_EQ(partner[n], it == ofb.end() ? -1 : it->second);
            if (partner[n] < 0) continue;
            ++found;
            int up = a[n], children = 0;
            while (up != ntax && !ofb.count(ina[up])) up = a[up];
            EXPECT_EQ(fuse_guide[n], up);
            for (int k = 0; k < hinod; ++k) children += k != ntax && fuse_guide[k] == n;
            EXPECT_EQ(ladd[n], children);
            groupset groupsa, groupsb;
            for (int k : inclade(a, n)) groupsa.insert(ina[k]);
            for (int k : inclade(b, partner[n])) groupsb.insert(inb[k]);
            EXPECT_EQ(bool(samebelow[n]), groupsa == groupsb);
        }
        EXPECT_EQ(nfuse_list, found);
        for (int i = 0; i < nfuse_list; ++i)             // none before its ancestor
            for (int k = 0; k < i; ++k) EXPECT_NE(fuse_guide[fuse_list[k]], fuse_list[i]);
    }
}
