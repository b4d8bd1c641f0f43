// Step matrices, state trees and continuous characters in the packed image: which of them become
// fields of cells, and what they are without them.
#include "../search/slowtest.h"
#include "data/costs.h"
#include "trees/lightopt.h"
#include "trees/packlist.h"

namespace {

mixed::data onematrix(const std::vector<std::string> &rows, const std::vector<std::vector<int>> &costs, int width = 8)
{
    mixed::data d;
    d.m = plain::fromrows(rows, width);
    d.m.costs.assign(size_t(d.m.chars), costs);
    return d;
}

std::vector<std::vector<int>> evencosts(int states, int cost)
{
    std::vector<std::vector<int>> c(states, std::vector<int>(states, cost));
    for (int s = 0; s < states; ++s) c[s][s] = 0;
    return c;
}

void expectplainscores(const mixed::data &d, unsigned seed)
{
    std::mt19937 rng(seed);
    for (int i = 0; i < 20; ++i) {
        plain::tree t = plain::randomtree(rng, d.m.taxa, 0, activetaxa(d.m));
        std::vector<int> anc = packedtree(t);
        ASSERT_NEAR(schoptimize(anc.data(), 1), dopiwe ? mixed::fits(d, t) : mixed::length(d, t), 1e-9) << plain::text(t);
    }
}

const std::vector<std::string> threestates = { "0", "0", "1", "1", "2", "2", "0", "1" };

}  // namespace

TEST(PackSlow, AMatrixOfEvenCostsBecomesAFieldOfThatWeight)
{
    mixed::data d = onematrix(threestates, evencosts(3, 4));
    d.m.weight[0] = 3;
    mixed::packing image(d);
    EXPECT_EQ(nsank, 0);
    EXPECT_EQ(nc4cells, 1);
    EXPECT_EQ(indcc[0].weight, 12u);
    EXPECT_EQ(charcodes[0].weight, 3);                     // the character keeps its own
    expectplainscores(d, 501);
}

TEST(PackSlow, AnUnobservedStateThatIsAShortcutKeepsTheMatrix)
{
    auto costs = evencosts(4, 4);
    for (int s : { 0, 2, 3 }) costs[1][s] = costs[s][1] = 2;     // state 1 is near to all
    mixed::data d = onematrix({ "0", "0", "2", "2", "3", "3", "0", "2" }, costs);
    mixed::packing image(d);
    EXPECT_EQ(nsank, 1);
    EXPECT_EQ(foldcells, 0);
    expectplainscores(d, 502);
}

TEST(PackSlow, AnUnobservedStateThatSavesNothingDoesNot)
{
    auto costs = evencosts(4, 4);
    for (int s : { 0, 2, 3 }) costs[1][s] = costs[s][1] = 3;     // three branches cost 9, two changes 8
    mixed::data d = onematrix({ "0", "0", "2", "2", "3", "3", "0", "2" }, costs);
    mixed::packing image(d);
    EXPECT_EQ(nsank, 0);
    expectplainscores(d, 503);
}

TEST(PackSlow, AWayBetweenTwoObservedStatesThatOnlyDescendantsUseKeepsTheMatrix)
{
    auto costs = evencosts(3, 3);
    costs[1][0] = costs[1][2] = 1;                         // from state 1 both are cheap, to it nothing is
    mixed::data d = onematrix({ "0", "2", "0", "2", "0", "2", "0", "2" }, costs);
    mixed::packing image(d);
    EXPECT_EQ(nsank, 1);
    expectplainscores(d, 504);
}

TEST(PackSlow, UnequalCostsOfTheTwoDirectionsKeepTheMatrix)
{
    auto costs = evencosts(2, 1);
    costs[1][0] = 3;
    mixed::data d = onematrix({ "0", "1", "0", "1", "0", "1" }, costs);
    mixed::packing image(d);
    EXPECT_EQ(nsank, 1);
    EXPECT_EQ(asymmetric_fields, 1);
    expectplainscores(d, 505);
}

TEST(PackSlow, AStateTreeBecomesAFieldForEachOfItsBranches)
{
    //   1 - 0 - 2 - 3       and 4 beside 0
    const int at[5][5] = { { 0, 1, 1, 2, 1 }, { 1, 0, 2, 3, 2 }, { 1, 2, 0, 1, 2 }, { 2, 3, 1, 0, 3 }, { 1, 2, 2, 3, 0 } };
    auto costs = evencosts(5, 1);
    for (int a = 0; a < 5; ++a)
        for (int b = 0; b < 5; ++b) costs[a][b] = at[a][b];
    mixed::data d = onematrix({ "0", "1", "1", "3", "3", "4", "4", "?", "2" }, costs);
    d.m.weight[0] = 2;
    zelrun("cstree +;");
    {
        mixed::packing image(d);
        EXPECT_EQ(nsank, 0);
        EXPECT_EQ(nc2cells, 1);
        int fields = 0;
        for (int i = 0; i < totnc; ++i) fields += indcc[i].character == 0;
        EXPECT_EQ(fields, 4);
        expectplainscores(d, 506);
    }
    zelrun("cstree -;");
    mixed::packing image(d);
    EXPECT_EQ(nsank, 1);
    expectplainscores(d, 507);
}

TEST(PackSlow, AConstantContinuousCharacterIsNotPackedButCounts)
{
    mixed::data d;
    d.m = plain::blankmatrix(5, 0, 32);
    d.cont = { { { 1000, 1000 }, { 3500, 3500 }, { 1000, 3500 }, { 2000, 3000 }, { 1500, 2000 } },
               { { 1000, 1000 }, { 2000, 2000 }, { 4000, 4000 }, { 1000, 1500 }, mixed::UNKNOWN } };
    d.contweight = { 2, 1 };
    mixed::packing image(d);
    EXPECT_EQ(true_num_cont, 2);
    EXPECT_EQ(num_cont, 1);
    EXPECT_EQ(continuous_step_lag, 5.0);                   // 2.5, twice
    expectplainscores(d, 508);
}

TEST(PackSlow, StatesOfInactiveTaxaMayLieBetweenOthers)
{
    auto costs = evencosts(4, 4);
    for (int s : { 0, 1, 2 }) costs[3][s] = costs[s][3] = 2;
    mixed::data d = onematrix({ "0", "0", "1", "1", "2", "2", "0", "3" }, costs);
    d.m.taxactive[7] = 0;
    mixed::packing image(d);
    EXPECT_EQ(nsank, 1);
    expectplainscores(d, 510);
}

TEST(PackImplied, AThresholdCountsByItself)
{
    mixed::weighting w;
    mixed::data d;
    d.m = plain::fromrows({ "0", "3", "0", "3", "0", "3" });   // three thresholds of two steps each on the worst tree
    d.m.additive[0] = 1;
    mixed::packing image(d);
    std::mt19937 rng(3);
    plain::tree t = plain::randomtree(rng, 6);
    std::vector<int> anc = packedtree(t);
    int steps = plain::steps(d.m, t, 0) / 3;
    EXPECT_NEAR(schoptimize(anc.data(), 1), 3 * charfit(0, steps - 1), 1e-9);
}

// Base steps, constant weights and concavities of characters: the report-time score is the reference.
TEST(PackImplied, ScoresAreThoseOfReports)
{
    static const char *const settings[] = { "", "ccode =2 .;", "xpiwe=;xpiwe/2x3 0.2;", "xpiwe=;xpiwe(*0.5;", "piwe[1 1 .5 .25;" };
    std::mt19937 rng(511);
    for (const char *setting : settings)
        for (const mixed::kind &k : mixed::kinds) {
            bool userfunction = strstr(setting, "piwe[");
            if (userfunction && (k.matrices || k.conts)) continue;
            SCOPED_TRACE(std::string(k.what) + ": " + setting);
            mixed::weighting w;
            mixed::data d = mixed::random(rng, 9, 12, k);
            d.m.taxactive.assign(d.m.taxa, 1);
            std::vector<std::vector<int>> trees;
            std::vector<double> packed;
            {
                mixed::packing image(d, setting);
                for (int i = 0; i < 5; ++i) {
                    plain::tree t = plain::randomtree(rng, d.m.taxa);
                    trees.push_back(plain::stored(t));
                    std::vector<int> anc = packedtree(t);
                    packed.push_back(schoptimize(anc.data(), 1));
                }
            }
            optmem();
            for (size_t i = 0; i < trees.size(); ++i) {
                trees[i].resize(size_t(nodz));
                ASSERT_NEAR(packed[i], packdownpass(trees[i].data()), 1e-8) << mixed::readtext(d);
            }
            zelrun("xpiwe-;piwe];");
        }
}

TEST(PackImplied, SelfWeightsAreRefused)
{
    mixed::weighting w;
    mixed::data d;
    d.m = plain::fromrows({ "0011", "0101", "1110", "1010", "0110" });
    zelrun("procedure " + writefile("self.xread", mixed::readtext(d)) + ";");
    doautowt = 1;
    EXPECT_NE(zelrun("mult 1;").find("Sorry, searches with self-weighted characters are not available yet"), std::string::npos);
    EXPECT_TRUE(zelfailed());
    doautowt = 0;
}
