// Minima and maxima of Sankoff characters against all trees.
#include "datatest.h"
#include "plaincosts.h"
#include "data/below.h"
#include "data/costs.h"
#include "data/minmax.h"
#include "trees/treebuf.h"
#include <bit>

using plain::costs, plain::data;

namespace {
void readmatrix(const data &m, const std::string &settings)
{
    replace_cstrees = 0;
    use_exact_mincalc = check_only_active_taxa = 0;
    zelrun("procedure " + writefile("sankmin.xread", plain::readtext(m)) + ";" + settings);
    ASSERT_FALSE(zelfailed());
}

plain::tree bushof(const data &m)
{
    plain::tree bush;
    bush.taxa = m.taxa;
    bush.anc.assign(size_t(m.taxa) + 1, m.taxa);
    bush.anc[size_t(m.taxa)] = plain::tree::NONE;
    return bush;
}

// The cheapest changes that lead from some state to all ends, by trying every set of states that are
// on the way and joining them with the fewest costs, in all orders (Prim, good for symmetric costs).
long cheapesttree(const costs &cost, uint32_t ends)
{
    int n = int(cost.size());
    long best = LONG_MAX;
    for (uint32_t some = ends; some < 1u << n; ++some) {
        if ((some & ends) != ends) continue;
        uint32_t in = ends & -ends;
        long sum = 0;
        while (in != some) {
            long least = LONG_MAX;
            int to = 0;
            for (int a = 0; a < n; ++a)
                for (int b = 0; b < n; ++b)
                    if ((in >> a & 1) && (some & ~in) >> b & 1 && cost[a][b] < least) least = cost[a][b], to = b;
            sum += least;
            in |= 1u << to;
        }
        best = std::min(best, sum);
    }
    return best;
}
}

TEST(Sankminmax, AreTheFewestStepsOfAnyTreeAndThoseOfABush)
{
    std::mt19937 rng(17);
    for (int trial = 0; trial < 45; ++trial) {
        int taxa = 4 + trial % 3;
        data m = plain::randommatrix(rng, taxa, 1, { .maxstates = 5, .missing = 8, .polymorphic = trial % 2 ? 30 : 0 });
        costs cost = trial % 3 == 2 ? plain::treecosts(rng, plain::statesof(m, 0)) : plain::randomcosts(rng, plain::statesof(m, 0), trial % 3);
        readmatrix(m, plain::coststext(0, cost));
        const charrec &r = charcodes[0];
        if (std::popcount(r.sets) < 2) continue;
        long least = LONG_MAX;
        data rooted = m;                 // beside a taxon without states, the others have their root anywhere
        rooted.taxa = taxa + 1;
        rooted.cells.insert(rooted.cells.begin(), { plain::ANY });
        plain::allbinary(taxa + 1, [&](const plain::tree &t) { least = std::min(least, plain::sankoff(rooted, t, 0, cost).steps); });
        long most = plain::sankoff(m, bushof(m), 0, cost).steps;
        bool few = true;                 // two taxa with states leave no choice
        int withstates = 0;
        for (int t = 0; t < taxa; ++t) withstates += m.cells[t][0] != plain::ANY;
        few = withstates < 2;
        EXPECT_EQ(r.minsteps, few ? 0 : least) << plain::readtext(m) << plain::coststext(0, cost);
        EXPECT_EQ(r.maxsteps, few ? 0 : most) << plain::readtext(m) << plain::coststext(0, cost);
        EXPECT_EQ(r.informative, r.minsteps != r.maxsteps);
        if (!few) {
            EXPECT_EQ(r.realmin, double(least));
            EXPECT_EQ(r.realmax, double(most));
        }
    }
}

TEST(Sankminmax, OfManySingleStatesAreExactToo)
{
    std::mt19937 rng(23);
    for (int trial = 0; trial < 25; ++trial) {
        int states = EXACTCELLS + 2 + trial % 3, ends = EXACTCELLS + 1 + trial % 2;
        data m = plain::blankmatrix(states + 3, 1, 16);
        m.cells[0][0] = 1u << (states - 1);                        // the highest is always there
        for (int i = 1; i < ends; ++i) m.cells[i][0] = 1u << (i - 1);
        costs cost = trial % 2 ? plain::treecosts(rng, states) : plain::randomcosts(rng, states, true);
        readmatrix(m, plain::coststext(0, cost));
        EXPECT_EQ(charcodes[0].minsteps, cheapesttree(cost, charcodes[0].sets)) << plain::coststext(0, cost);
    }
}

// One way only: a chain of states in a random order, each next one cheap and all ways back dear.
TEST(Sankminmax, OfManySingleStatesFollowTheCheapDirection)
{
    std::mt19937 rng(29);
    for (int trial = 0; trial < 10; ++trial) {
        constexpr int STATES = 14;
        std::vector<int> order;
        for (int s = 0; s < STATES; ++s) order.push_back(s);
        std::shuffle(order.begin(), order.end(), rng);
        costs cost(STATES, std::vector<long>(STATES, 0));
        for (int i = 0; i < STATES; ++i)
            for (int j = 0; j < STATES; ++j)
                if (i != j) cost[order[i]][order[j]] = i < j ? j - i : 100;
        data m = plain::blankmatrix(STATES, 1, 16);
        for (int t = 0; t < STATES; ++t) m.cells[t][0] = 1u << t;
        readmatrix(m, plain::coststext(0, cost));
        EXPECT_EQ(charcodes[0].minsteps, STATES - 1);
        EXPECT_GT(charcodes[0].maxsteps, STATES - 1);
    }
}

// --- Searched minima ---

TEST(Sankminmax, SearchesFindTheMinimaAndLeaveTreesAndSettingsAlone)
{
    std::mt19937 rng(31);
    data m = plain::randommatrix(rng, 9, 4, { .maxstates = 5, .missing = 5 });
    std::string settings;
    for (int c = 0; c < 3; ++c) settings += plain::coststext(c, plain::randomcosts(rng, plain::statesof(m, c), true));
    readmatrix(m, settings + "ccode /3 1 ] 2; tread (0 (1 (2 (3 (4 (5 (6 (7 8)))))))) * (0 1 2 3 4 5 6 7 8);");
    int least[2] = { charcodes[0].minsteps, charcodes[1].minsteps };
    std::string trees = zelrun("tplot*;"), codes = zelrun("ccode;");
    EXPECT_EQ(zelrun("usminmax *;"), "Calculated minimum steps for 2 Sankoff characters\n");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(zelrun("tplot*;"), trees);
    EXPECT_EQ(zelrun("ccode;"), codes);
    EXPECT_EQ(charcodes[0].minsteps, least[0]);
    EXPECT_EQ(charcodes[1].minsteps, least[1]);
    EXPECT_EQ(charcodes[2].usermin, -1);
}

TEST(Sankminmax, SearchesNeedRoomForTrees)
{
    std::mt19937 rng(1);
    data m = plain::randommatrix(rng, 6, 2);
    readmatrix(m, "costs 0 = *2; hold 4;");
    EXPECT_TRUE(says(zelrun("usminmax *;"), "To set Sankoff minima with searches must set maxtrees to 5 or more"));
    EXPECT_TRUE(zelfailed());
}

TEST(Sankminmax, SearchesDiscardTheTreesInTheVault)
{
    std::mt19937 rng(1);
    data m = plain::randommatrix(rng, 6, 2);
    readmatrix(m, "costs 0 = *2; hold 10/5;");
    zelrun("tread (0 (1 (2 (3 (4 5))))); tvault > 0;");
    ASSERT_EQ(trees_in_vault, 1);
    EXPECT_TRUE(says(zelrun("usminmax *;"), "Setting Sankoff minima with searches will discard the trees in vault"));
    EXPECT_EQ(trees_in_vault, 0);
    zelrun("xwipe;");
}
