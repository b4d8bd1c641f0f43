// Report-time scores of every kind of character together, against plain tables of costs: additive,
// unordered, step matrices of both sorts, state trees, ancestral states, continuous values; trees
// that lack taxa, with polytomies hard and soft.
#include "zeltest.h"
#include "plaincosts.h"
#include "reference.h"
#include "data/costs.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "trees/implied.h"
#include "trees/lightopt.h"
#include "trees/scores.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include <bit>

using plain::costs, plain::data, plain::optimum, plain::randomcosts, plain::sankoff, plain::tree, plain::treecosts;

namespace {
bool says(const std::string &text, const std::string &what) { return text.find(what) != std::string::npos; }

void readmatrix(const data &m, const std::string &settings = "")
{
    replace_cstrees = 0;
    std::string said = zelrun("procedure " + writefile("kinds.xread", plain::readtext(m)) + "; procedure " +
                              writefile("settings", settings + "\nprocedure/;\n") + ";");
    ASSERT_FALSE(zelfailed()) << said;
    ASSERT_EQ(nc, m.chars);
}

tree sometree(std::mt19937 &rng, const data &m, int collapse)
{
    std::vector<int> in;
    for (int t = 0; t < m.taxa; ++t)
        if (t < 3 || plain::chance(rng, 85)) in.push_back(t);
    std::shuffle(in.begin() + 1, in.end(), rng);
    return plain::randomtree(rng, m.taxa, collapse, in);
}
}

TEST(Reportkinds, StepMatricesOfBothSortsAmongOtherCharactersAreScoredEach)
{
    std::mt19937 rng(4);
    for (int trial = 0; trial < 24; ++trial) {
        int width = trial % 3 == 0 ? 8 : trial % 3 == 1 ? 16 : 32;
        plain::mix k = plain::everything(width);
        k.maxstates = 1 + plain::below(rng, 7);
        k.inactivetaxa = 0;
        data m = plain::randommatrix(rng, 5 + plain::below(rng, 8), 12, k);
        std::vector<costs> cost(size_t(m.chars));
        std::string settings;
        for (int c = 0; c < m.chars; c += 2) {
            cost[c] = c % 3 ? treecosts(rng, plain::statesof(m, c)) : randomcosts(rng, plain::statesof(m, c), c % 4);
            m.additive[c] = 0;
            settings += plain::coststext(c, cost[c]);
        }
        readmatrix(m, settings);
        for (int treesapart = 0; treesapart < 2; ++treesapart) {
            zelrun(treesapart ? "cstree +;" : "cstree -;");
            optmem();
            checklightopt();
            for (int i = 0; i < 6; ++i) {
                tree t = sometree(rng, m, i % 3 * 40);
                std::vector<int> anc = plain::stored(t);
                SCOPED_TRACE(plain::readtext(m) + settings + plain::text(t));
                long sum = 0;
                std::vector<long> expected(size_t(m.chars));
                for (int c = 0; c < m.chars; ++c) {
                    expected[c] = !m.active[c] ? 0 : cost[c].empty() ? plain::steps(m, t, c) : sankoff(m, t, c, cost[c]).steps;
                    sum += expected[c] * m.weight[c];
                }
                ASSERT_EQ(packdownpass(anc.data()), double(sum));
                for (int c = 0; c < m.chars; ++c)
                    if (m.weight[c]) { ASSERT_EQ(charcodes[c].steps, expected[c]) << c; }
                ASSERT_EQ(downpass(anc.data()), double(sum));
                for (int c = 0; c < m.chars; ++c) ASSERT_EQ(charcodes[c].steps, expected[c]) << c;
            }
        }
    }
    zelrun("cstree -;");
}

TEST(Reportkinds, StateTreesScoredByVariablesLeaveTheSlowPass)
{
    data m = plain::fromrows({ "00", "11", "22", "33", "02", "13" });
    readmatrix(m, "cstree 0 =\n0-1-2\n  |\n  3;\n");
    ASSERT_FALSE(zelfailed());
    optmem();
    EXPECT_FALSE(charcodes[0].lightpacked);
    zelrun("cstree +;");
    optmem();
    EXPECT_TRUE(charcodes[0].lightpacked);
    EXPECT_EQ(lightfields2, 3) << "a variable for each branch";
    zelrun("cstree -;");
}

TEST(Reportkinds, FinalStatesOfStepMatricesAreThoseOfAllBestReconstructions)
{
    std::mt19937 rng(14);
    for (int trial = 0; trial < 120; ++trial) {
        data m = plain::randommatrix(rng, 4 + plain::below(rng, 3), 1, { .maxstates = 4, .polymorphic = 15 });
        if (plain::statesof(m, 0) < 2) continue;
        costs cost = randomcosts(rng, plain::statesof(m, 0), trial % 2);
        readmatrix(m, plain::coststext(0, cost));
        if (std::popcount(charcodes[0].sets) < 2) continue;
        optmem();
        tree t = plain::randomtree(rng, m.taxa, trial % 3 * 30);
        std::vector<int> anc = plain::stored(t);
        packoptimize(anc.data());
        auto inner = plain::rootfirst(t);                    // every choice of states, one node after another
        std::vector<int> state(t.nodes(), 0);
        std::vector<uint32_t> found(t.nodes(), 0);
        long best = sankoff(m, t, 0, cost).steps;
        std::function<void(size_t)> assign = [&](size_t i) {
            if (i < inner.size()) {
                for (size_t s = 0; s < cost.size(); ++s) state[inner[i]] = int(s), assign(i + 1);
                return;
            }
            long sum = 0;
            for (int n = 0; n < t.nodes(); ++n) {
                if (t.anc[n] == tree::NONE) continue;
                long least = plain::IMPOSSIBLE;
                for (size_t s = 0; s < cost.size(); ++s)
                    if (n >= t.taxa ? int(s) == state[n] : m.cells[n][0] >> s & 1) least = std::min(least, cost[state[t.anc[n]]][s]);
                sum += least;
            }
            if (sum == best)
                for (int n : inner) found[n] |= 1u << state[n];
        };
        assign(0);
        uint32_t all = (1u << cost.size()) - 1;
        for (int n : inner) EXPECT_EQ(cell(n, 0) & all, found[n]) << plain::readtext(m) << plain::coststext(0, cost) << plain::text(t) << n;
    }
}

TEST(Reportkinds, TheRootHasTheAncestralStateWhereItMatters)
{
    std::mt19937 rng(8);
    for (int trial = 0; trial < 150; ++trial) {
        data m = plain::randommatrix(rng, 4 + plain::below(rng, 7), 2, { .maxstates = 5, .polymorphic = 15 });
        m.cells[0][0] = m.cells[0][1];
        costs cost = randomcosts(rng, plain::statesof(m, 0), false);
        readmatrix(m, plain::coststext(0, cost) + "ancstates 0;");
        if (std::popcount(charcodes[0].sets) < 2 || charcodes[0].sankoff_kind != SANK_ASYMMETRIC) continue;
        optmem();
        uint32_t root = m.cells[0][0] == plain::ANY ? plain::ANY : m.cells[0][0];
        for (int i = 0; i < 4; ++i) {
            tree t = sometree(rng, m, i % 2 * 50);
            std::vector<int> anc = plain::stored(t);
            optimum o = sankoff(m, t, 0, cost, root);
            packdownpass(anc.data());
            EXPECT_EQ(charcodes[0].steps, o.steps) << plain::readtext(m) << plain::coststext(0, cost) << plain::text(t);
            EXPECT_EQ(cell(m.taxa, 0) & ((1u << cost.size()) - 1), o.best[m.taxa]);
        }
    }
}

TEST(Reportkinds, WithSymmetricCostsTheOutgroupAtTheRootIsAlwaysBest)
{
    data m = plain::fromrows({ "0", "1", "2", "1", "2" });
    readmatrix(m, "costs 0 = 0/1 2 0/2 3 1/2 2; tread (0 (1 (2 (3 4))));");
    std::string free = zelrun("length;");
    zelrun("ancstates 0;");
    EXPECT_EQ(zelrun("length;"), free);
}

TEST(Reportkinds, ForbiddenChangesAreNotMadeWhereTheyNeedNotBe)
{
    data m = plain::fromrows({ "0", "1", "0", "1", "1" });
    readmatrix(m, "costs 0 = 1>0 i; tread (0 (1 (2 (3 4))));");
    EXPECT_TRUE(says(zelrun("length;"), "   0  2")) << "two gains, no loss";
}

// --- Soft polytomies ---

TEST(Reportkinds, SoftPolytomiesAreTheBestOfAllResolutions)
{
    std::mt19937 rng(21);
    constexpr long WAYS[] = { 1, 1, 1, 3, 18, 180, 2700 };        // to join so many descendants two by two
    int widestseen = 0;
    for (int trial = 0; trial < 60; ++trial) {
        plain::mix k = plain::everything(8);
        k.maxstates = 2 + plain::below(rng, 6);
        k.inactivetaxa = 0;
        data m = plain::randommatrix(rng, 4 + plain::below(rng, 5), 3, k);
        tree t = plain::randomtree(rng, m.taxa, 50);
        int widest = 0;
        long ways = 1;
        for (auto &d : plain::children(t)) {
            widest = std::max(widest, int(d.size()));
            ways *= d.size() < std::size(WAYS) ? WAYS[d.size()] : 100000;
        }
        if (ways > WAYS[6] || (widest == 6 && widestseen == 6)) continue;      // one of the slowest is enough
        widestseen = std::max(widestseen, widest);
        readmatrix(m);
        optmem();
        std::vector<int> anc = plain::stored(t);
        double score = softpolyoptimize(anc.data());
        long sum = 0;
        for (int c = 0; c < m.chars; ++c) {
            if (!m.active[c]) continue;
            int expected = plain::softsteps(m, t, c);
            EXPECT_EQ(charcodes[c].steps, expected) << plain::readtext(m) << plain::text(t) << " character " << c;
            sum += long(m.weight[c]) * expected;
        }
        EXPECT_EQ(score, double(sum));
    }
    EXPECT_EQ(widestseen, 6);
}

// --- Wide rows ---

TEST(Reportkinds, ManyStatesAndContinuousValuesSideBySideAreScoredEach)
{
    std::mt19937 rng(2);
    for (int trial = 0; trial < 4; ++trial) {
        int taxa = 6 + plain::below(rng, 20), discrete = 30, continuous = 9;
        data m = plain::randommatrix(rng, taxa, discrete, { .width = 32, .maxstates = 32, .missing = 15, .polymorphic = 20, .inactive = 10 });
        using ranges = std::vector<std::pair<long, long>>;
        auto bounds = std::vector<ranges>(size_t(continuous), ranges(size_t(taxa)));
        std::string text = "nstates num 32; xread " + std::to_string(continuous + discrete) + " " + std::to_string(taxa) + "\n&[continuous]\n";
        for (int t = 0; t < taxa; ++t) {
            text += "t" + std::to_string(t);
            for (int c = 0; c < continuous; ++c) {
                long a = plain::below(rng, 9000), b = plain::chance(rng, 30) ? a + plain::below(rng, 3000) : a;
                bool missing = plain::chance(rng, 10), inapplicable = plain::chance(rng, 5);
                bounds[c][t] = missing || inapplicable ? std::pair<long, long>(0, 65535) : std::pair<long, long>(a, b);
                char cell[60];
                snprintf(cell, sizeof cell, " %ld.%03ld-%ld.%03ld", a / 1000, a % 1000, b / 1000, b % 1000);
                text += missing ? " ?" : inapplicable ? " *" : cell;
            }
            text += "\n";
        }
        text += "&[numeric]\n";
        for (int t = 0; t < taxa; ++t) {
            text += "t" + std::to_string(t) + " ";
            for (int c = 0; c < discrete; ++c) text += plain::celltext(m.cells[t][c]);
            text += "\n";
        }
        text += ";\nccode ] " + std::to_string(trial % continuous) + ";\n";
        for (int c = 0; c < discrete; ++c)
            if (!m.active[c]) text += "ccode ] " + std::to_string(continuous + c) + ";\n";
        zelrun("procedure " + writefile("wide.xread", text + "procedure/;\n") + ";");
        ASSERT_FALSE(zelfailed());
        optmem();
        for (int i = 0; i < 6; ++i) {
            tree t = sometree(rng, m, i % 3 * 40);
            std::vector<int> anc = plain::stored(t);
            double whole = packoptimize(anc.data());
            std::vector<std::vector<uint32_t>> rows;
            for (int n = taxa; n < t.nodes(); ++n) rows.emplace_back(matrix4[n], matrix4[n] + nc);
            double sum = 0;
            for (int c = 0; c < nc; ++c) {
                if (!charcodes[c].active) continue;
                if (c < continuous) {
                    long steps = plain::rangesteps(bounds[c], t);
                    EXPECT_DOUBLE_EQ(charcodes[c].realsteps, steps / 1000.0) << text << plain::text(t) << " character " << c;
                    sum += steps / 1000.0;
                    continue;
                }
                EXPECT_EQ(charcodes[c].steps, plain::steps(m, t, c - continuous)) << c;
                sum += plain::steps(m, t, c - continuous);
            }
            EXPECT_NEAR(whole, sum, 1e-9);
            EXPECT_NEAR(optimize(anc.data()), whole, 1e-9);
            for (int n = taxa; n < t.nodes(); ++n)
                for (int c = 0; c < nc; ++c)
                    if (charcodes[c].active && !charcodes[c].lightpacked) { EXPECT_EQ(rows[size_t(n - taxa)][c], matrix4[n][c]) << n << " " << c; }
        }
    }
    zelrun("xwipe; nstates num 16;");
}

// --- Real data ---

TEST(Reportkinds, PublishedTreesUnderStepMatricesHaveTheirPublishedLengths)
{
    const struct { const char *name; const char *trees; int length, count; } sets[] = {
        { "Boyer_etal_2010a", "[", 133901, 1 },  { "Kirk_et_Williams_2011a", "", 6835, 2 },
        { "Seiffert_etal_2005a", "", 250939, 2 }, { "Seiffert_etal_2009a", "[", 6805, 2 },
    };
    for (auto &set : sets) {
        std::string base = std::string("morph-step/") + set.name, matrix = datafile(base + ".xread"), trees = datafile(base + "_mpts.tre");
        if (matrix.empty()) GTEST_SKIP() << "no test data";
        zelrun("p " + matrix + "; p " + set.trees + trees + ";");
        ASSERT_FALSE(zelfailed()) << set.name;
        ASSERT_EQ(trees_in_mem, set.count);
        optmem();
        for (int t = 0; t < trees_in_mem; ++t) EXPECT_EQ(packdownpass(mem_tree[t]), set.length) << set.name << " tree " << t;
    }
    zelrun("xwipe; nstates num 16;");
}
