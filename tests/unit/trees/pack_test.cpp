// The packed image: which characters it holds, in which fields, and that it scores trees as plain
// optimization of the matrix does.
#include "../search/slowtest.h"
#include "trees/packlist.h"

namespace {

int fieldsof(int c)
{
    int n = 0;
    for (int i = 0; i < totnc; ++i) n += indcc[i].character == c;
    return n;
}

double packedscore(const plain::data &m, std::mt19937 &rng, plain::tree *t)
{
    *t = plain::randomtree(rng, m.taxa, 0, activetaxa(m));
    std::vector<int> anc = packedtree(*t);
    return schoptimize(anc.data(), 1);
}

plain::data pattern(const std::vector<std::string> &rows, int width = 8) { return plain::fromrows(rows, width); }

}  // namespace

TEST(Pack, ScoresRandomTreesAsPlainOptimizationDoes)
{
    std::mt19937 rng(101);
    for (const drawing &d : drawings) {
        SCOPED_TRACE(d.what);
        for (int trial = 0; trial < 40; ++trial) {
            plain::data m = plain::randommatrix(rng, 4 + plain::below(rng, 9), 1 + plain::below(rng, 60), d.mix);
            packing image(m);
            for (int i = 0; i < 8; ++i) {
                plain::tree t;
                double score = packedscore(m, rng, &t);
                ASSERT_EQ(score, double(plain::length(m, t))) << "trial " << trial << plain::readtext(m) << plain::text(t);
            }
        }
    }
}

TEST(Pack, EveryKernelGivesTheSameScore)
{
    std::mt19937 rng(102);
    for (const drawing &d : drawings)
        for (int trial = 0; trial < 8; ++trial) {
            plain::data m = plain::randommatrix(rng, 12, 150, d.mix);
            packing image(m);
            plain::tree t = plain::randomtree(rng, m.taxa, 0, activetaxa(m));
            double expected = double(plain::length(m, t));
            std::vector<int> anc = packedtree(t);
            foreachkernel([&] { EXPECT_EQ(schoptimize(anc.data(), 3), expected) << d.what; });
        }
}

TEST(Pack, UninformativeCharactersLeaveNoCellsAndAreTheWholeScore)
{
    //                            constant, one odd taxon, all different
    plain::data m = pattern({ "000", "001", "002", "003", "014" });
    packing image(m);
    EXPECT_EQ(char_cells, 0);
    EXPECT_EQ(step_lag, 0 + 1 + 4);
    std::mt19937 rng(1);
    plain::tree t;
    foreachkernel([&] { EXPECT_EQ(packedscore(m, rng, &t), 5); });
}

TEST(Pack, AStateOfOneTaxonIsAStepOfEveryTreeAndCountsAsMissing)
{
    plain::data m = pattern({ "0", "0", "1", "1", "2" });      // state 2 costs a step anywhere
    packing image(m);
    EXPECT_EQ(step_lag, 1);
    EXPECT_EQ(nc2cells, 1);                                    // two states remain
    EXPECT_EQ(nc4cells, 0);
    EXPECT_EQ(dnset(gotopack[4])[0], ~0u);
    EXPECT_EQ(dnset(gotopack[0])[0] & 3, 1u);
    EXPECT_EQ(dnset(gotopack[2])[0] & 3, 2u);
}

TEST(Pack, AnExtremeAdditiveStateOfOneTaxonBecomesItsDistanceToTheNextState)
{
    plain::data m = pattern({ "0", "0", "1", "1", "5" });
    m.additive[0] = 1;
    m.weight[0] = 3;
    packing image(m);
    EXPECT_EQ(step_lag, 3 * 4);                                // 5 to 1
    EXPECT_EQ(fieldsof(0), 1);                                 // threshold between 0 and 1
    EXPECT_EQ(dnset(gotopack[4])[0], dnset(gotopack[2])[0]);
}

TEST(Pack, AnInnerAdditiveStateOfOneTaxonStays)
{
    plain::data m = pattern({ "0", "0", "1", "3", "3" });
    m.additive[0] = 1;
    packing image(m);
    EXPECT_EQ(step_lag, 0);
    EXPECT_EQ(fieldsof(0), 3);
}

TEST(Pack, APolymorphicAdditiveCellIsTheRangeOfItsStates)
{
    plain::data m = pattern({ "0", "0", "3", "3", "0" });
    m.additive[0] = 1;
    m.cells[4][0] = 1 << 1 | 1 << 3;                           // 1 to 3: above the first threshold only
    packing image(m);
    EXPECT_EQ(dnset(gotopack[0])[0] & 63, 1u | 1u << 2 | 1u << 4);
    EXPECT_EQ(dnset(gotopack[2])[0] & 63, 2u | 2u << 2 | 2u << 4);
    EXPECT_EQ(dnset(gotopack[4])[0] & 63, 2u | 3u << 2 | 3u << 4);
}

TEST(Pack, FieldsAreAsWideAsTheStatesThatRemain)
{
    struct { int states, *cells; } const rows[] = {
        { 2, &nc2cells }, { 3, &nc4cells }, { 4, &nc4cells }, { 5, &nc8cells }, { 8, &nc8cells },
        { 9, &nc32 }, { 16, &nc32 }, { 32, &nc32 },
    };
    for (auto &row : rows) {
        plain::data m = plain::blankmatrix(2 * row.states + 1, 1, 32);
        for (int t = 0; t < m.taxa; ++t) m.cells[t][0] = 1u << std::min(t / 2, row.states - 1);
        if (row.states == 32) m.cells[0][0] = plain::ANY, m.cells[1][0] = 1, m.cells[2][0] = 3;
        packing image(m);
        EXPECT_EQ(char_cells, 1) << row.states;
        EXPECT_EQ(*row.cells, 1) << row.states;
        EXPECT_EQ(foldcells, 1);
        EXPECT_EQ(nc2 == 1, row.states == 2);
        EXPECT_EQ(type32shift, row.states > 8 ? 0 : 1);
    }
}

TEST(Pack, TheOutgroupIsNumberedFirstAndInactiveTaxaLast)
{
    plain::data m = pattern({ "01", "01", "00", "11", "10", "10" });
    zelrun("procedure " + writefile("p.xread", plain::readtext(m)) + "; outgroup 3; taxcode -1;");
    ASSERT_FALSE(zelfailed());
    schpack();
    const int expected[] = { 3, 0, 2, 4, 5 };
    ASSERT_EQ(ntax, 5);
    EXPECT_EQ(hinod, 9);
    for (int t = 0; t < 5; ++t) {
        EXPECT_EQ(backfrompack[t], expected[t]);
        EXPECT_EQ(gotopack[expected[t]], t);
    }
    EXPECT_EQ(gotopack[nt], ntax);
    EXPECT_GE(gotopack[1], hinod);
    wipetag(&schtag);
}

TEST(Pack, TreesSurviveTheWayToPackedNumbersAndBack)
{
    std::mt19937 rng(103);
    for (int trial = 0; trial < 50; ++trial) {
        plain::data m = plain::randommatrix(rng, 12, 10, plain::everything(16));
        packing image(m);
        plain::tree t = plain::randomtree(rng, m.taxa, 0, activetaxa(m));
        std::vector<int> anc = packedtree(t);
        EXPECT_EQ(anc[ntax], hinod);
        EXPECT_EQ(anc[0], ntax);
        EXPECT_EQ(plain::shape(plaintree(anc.data())), plain::shape(t));
    }
}

TEST(Pack, AFewCharactersOfWeightTwoBecomeTwoFieldsOfWeightOne)
{
    plain::data m = plain::blankmatrix(6, 12);
    for (int t = 0; t < 6; ++t)
        for (int c = 0; c < 12; ++c) m.cells[t][c] = 1u << (t < 3);
    m.weight[10] = m.weight[11] = 2;                           // 10 and 2 fields: 14 of a cell of weight 1
    packing image(m);
    EXPECT_FALSE(uniform_weights);
    EXPECT_FALSE(store_individual_weights);
    EXPECT_EQ(nc2cells, 1);
    EXPECT_EQ(globwts[0], 1u);
    EXPECT_EQ(fieldsof(10), 2);
    EXPECT_EQ(fieldsof(0), 1);
}

TEST(Pack, WeightsThatDoNotDivideKeepCellsOfTheirOwn)
{
    plain::data m = plain::blankmatrix(6, 20);
    for (int t = 0; t < 6; ++t)
        for (int c = 0; c < 20; ++c) m.cells[t][c] = 1u << (t < 3);
    for (int c = 0; c < 20; ++c) m.weight[c] = c < 10 ? 3 : 5;
    packing image(m);
    EXPECT_FALSE(store_individual_weights);                    // two cells without grouping too
    ASSERT_EQ(nc2cells, 2);
    EXPECT_EQ(globwts[0], 3u);
    EXPECT_EQ(globwts[1], 5u);
}

TEST(Pack, AsManyWeightsAsCharactersAreKeptForEachField)
{
    plain::data m = plain::blankmatrix(6, 17);
    for (int t = 0; t < 6; ++t)
        for (int c = 0; c < 17; ++c) m.cells[t][c] = 1u << (t < 3);
    for (int c = 0; c < 17; ++c) m.weight[c] = 101 + 2 * c;
    packing image(m);
    EXPECT_TRUE(store_individual_weights);
    EXPECT_EQ(packweightkind(), WT_FIELD);
    EXPECT_EQ(nc2cells, 2);
    for (int i = 0; i < 17; ++i) EXPECT_EQ(indcc[i].weight, 101u + 2 * i);
}

TEST(Pack, LeftoverNarrowFieldsFillAHalfEmptyCellOfTheNextClass)
{
    plain::data m = plain::blankmatrix(8, 3 + 5);              // 3 two-state, 5 of four states: 8 fields of 4 bits
    for (int t = 0; t < 8; ++t)
        for (int c = 0; c < 8; ++c) m.cells[t][c] = 1u << (c < 3 ? t / 4 : t / 2);
    packing image(m);
    EXPECT_EQ(nc2cells, 0);
    EXPECT_EQ(nc4cells, 1);
    EXPECT_EQ(dnset(0)[0] & 15, 1u);                           // still two states in four bits
    EXPECT_EQ(fieldsof(2), 1);
}

TEST(Pack, CharactersOfNoWeightAndInactiveOnesCostNothing)
{
    plain::data m = pattern({ "000", "000", "111", "111", "001" });
    m.weight[0] = 0;
    m.active[1] = 0;
    packing image(m);
    EXPECT_EQ(fieldsof(0), 0);
    EXPECT_EQ(fieldsof(1), 0);
    EXPECT_EQ(fieldsof(2), 1);
}

TEST(Pack, StatesOfInactiveTaxaDoNotCount)
{
    plain::data m = pattern({ "0", "0", "0", "1", "1" });
    m.taxactive[4] = 0;                                        // now state 1 is seen once
    packing image(m);
    EXPECT_EQ(char_cells, 0);
    EXPECT_EQ(step_lag, 1);
}

// Pairs of cells: the second one of a class is there even when no character is in it.
TEST(Pack, CellsComeInPairsWhenTheyAreReadAsWordsOf64Bits)
{
    plain::data m = pattern({ "000", "011", "101", "110", "111" });       // one cell of two-state characters
    use_alt_bit_searches = 2;
    {
        packing image(m);
        EXPECT_EQ(nc2cells, 2);
        EXPECT_EQ(char_cells, 2);
        std::mt19937 rng(103);
        for (int i = 0; i < 20; ++i) {
            plain::tree t;
            double score = packedscore(m, rng, &t);
            EXPECT_EQ(score, double(plain::length(m, t)));
        }
    }
    use_alt_bit_searches = 0;
}

// Classes 3 and 5 arise in reduced data only; here the list of an ordinary pack is given them.
namespace {

void narrowto16()
{
    for (packrec *p = packlist; p < packlist_end; ++p) {
        int to = p->cls == 4 ? 3 : p->cls == SANKCLASS ? SANKCLASS16 : p->cls;
        if (to == p->cls) continue;
        *arpacnc[p->cls] -= p->nfields;
        *arpacnc[to] += p->nfields;
        p->cls = p->firstcls = to;
    }
}

struct narrowed {                  // on top of an image of the same data
    char *low = lomark();
    narrowed()
    {
        char *high = himark();
        makepacklist();
        narrowto16();
        packit(setweights());
        hiset(high);
        packlist = packlist_end = nullptr;
        after_pack();
        checkpack();
    }
    ~narrowed() { loset(low); }
};

}  // namespace

TEST(Pack, FieldsOf16BitsScoreAndCostAsPlainOptimizationDoes)
{
    zelrun("xwipe; mxram 64;");
    std::mt19937 rng(103);
    const mixed::kind wide[] = {
        { "unit weights",     { 32, 16, 10, 10, 0, 0, 0, 1, 1 },  0,  mixed::ANYCOSTS,   0 },
        { "few weights",      { 32, 16, 10, 10, 20, 0, 0, 3, 1 }, 0,  mixed::ANYCOSTS,   0 },
        { "many weights",     { 32, 16, 10, 10, 0, 0, 0, 90, 1 }, 0,  mixed::ANYCOSTS,   0 },
        { "and matrices",     { 32, 12, 10, 10, 0, 0, 0, 3, 1 },  40, mixed::ANYCOSTS,   0 },
        { "asymmetric",       { 16, 9, 10, 10, 0, 0, 0, 1, 1 },   60, mixed::ASYMMETRIC, 1 },
    };
    int fields = 0, matrices = 0;
    for (bool implied : { false, true })
        for (const mixed::kind &k : wide)
            for (int trial = 0; trial < 3; ++trial) {
                SCOPED_TRACE(k.what);
                zelrun(implied ? "piwe=3;" : "piwe-;");
                mixed::data d = mixed::random(rng, 40, 9, k);
                mixed::packing image(d);
                narrowed small;
                fields += nc16;
                matrices += ncsan16;
                EXPECT_EQ(nc32 + ncsan32, 0);
                std::vector<int> tree = packedtree(plain::randomtree(rng, 40));
                auto score = [&] { return implied ? mixed::fits(d, plaintree(tree.data())) : mixed::length(d, plaintree(tree.data())); };
                clusters_on = 1;
                double whole = optimize_for_swap(tree.data());
                ASSERT_NEAR(whole, score(), 1e-9) << mixed::readtext(d);
                for (int x = 1; x < ntax; x += 3) {
                    int s = sis[x];
                    if (s == 0) continue;
                    clip_subtree(x);
                    reoptimize_after_clip(s, x);
                    clipset = dnset(x);
                    destset = branchset(s);
                    score_original(x, s);
                    double home = movesteps;
                    int to = sis[0];
                    destset = branchset(to);
                    movebound = NOBOUND;
                    score_checker();
                    second_check(x, to, 0);
                    settle_place(dnset(x), x, to);
                    whole += movesteps - home;
                    unclip_subtree(x, to);
                    reoptimize_after_clip(to, -1);
                    ASSERT_NEAR(whole, score(), 1e-9) << "clip " << x;
                }
            }
    zelrun("piwe-;");
    EXPECT_GT(fields, 50);
    EXPECT_GT(matrices, 25);
}

TEST(Pack, RoomForSectorsIsPaddingThatNeverCosts)
{
    std::mt19937 rng(104);
    plain::data m = plain::randommatrix(rng, 10, 300, drawings[9].mix);
    int plainrow = 0;
    for (int slack : { 0, 50 }) {
        mem_slack_for_sectors = slack;
        packing image(m);
        if (!slack) plainrow = rowcells;
        else EXPECT_GE(rowcells, plainrow + char_cells * slack / 100 - 2 * ROWALIGN);
        plain::tree t;
        double score = packedscore(m, rng, &t);
        EXPECT_EQ(score, double(plain::length(m, t)));
    }
    mem_slack_for_sectors = 0;
}

TEST(Pack, FunctionsOfTheUserAreRefusedForMatricesAndContinuousCharacters)
{
    const char *const kinds[] = { "xread 1 5 a 0 b 1 c 2 d 1 e 0 ; costs 0 = 0>1 1 1>0 3 0>2 2 2>0 1 1>2 2 2>1 2;",
                                  "nstates cont; xread 1 5 a 1 b 3 c 1 d 2 e 3 ;" };
    for (const char *text : kinds) {
        zelrun("piwe=;procedure " + writefile("user", std::string(text) + " procedure/;\n") + ";piwe[1 .5;");
        ASSERT_FALSE(zelfailed()) << text;
        std::string said = zelrun("mult 1;");
        EXPECT_TRUE(zelfailed());
        EXPECT_NE(said.find("Sorry: user weighting functions are invalid"), std::string::npos) << said;
        EXPECT_NE(said.find("Either set weighting function to default, or"), std::string::npos) << said;
        zelrun("piwe];piwe-;");
    }
}

TEST(Pack, MemoryThatIsNearlyFullAfterwardsIsWarnedOf)
{
    std::mt19937 rng(105);
    plain::data m = plain::randommatrix(rng, 300, 400, drawings[1].mix);
    zelrun("mxram 32;procedure " + writefile("low.xread", plain::readtext(m)) + ";");
    ASSERT_FALSE(zelfailed());
    auto pack = [] {
        schpack();
        unpack_trees();
        std::string said = zelrun("");
        wipetag(&schtag);
        return said.find("Free memory is low (below 5% of search memory).\nYou may run out of memory during the search.") != std::string::npos;
    };
    EXPECT_FALSE(pack());
    constexpr size_t SCRATCH = 40000;          // of the pack itself, given back
    char *mark = himark();
    size_t before = vailram();
    schpack();
    size_t needs = before - vailram();
    unpack_trees();
    wipetag(&schtag);
    hiram(vailram() - needs - SCRATCH);
    EXPECT_TRUE(pack());
    allow_extra_sch_mem = 0;
    EXPECT_FALSE(pack());
    allow_extra_sch_mem = 1;
    hiset(mark);
}
