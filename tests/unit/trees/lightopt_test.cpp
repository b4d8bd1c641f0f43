// Report-time optimization against plain references: word passes, slow passes and the references
// must agree on the steps of every character and on the states of every node.
#include "zeltest.h"
#include "reference.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "trees/lightopt.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include <bit>

using plain::data, plain::tree;

static void readmatrix(const data &m)
{
    std::string said = zelrun("procedure " + writefile("data.xread", plain::readtext(m)) + ";");
    ASSERT_FALSE(zelfailed()) << plain::readtext(m) << said;
    ASSERT_EQ(nt, m.taxa);
    ASSERT_EQ(nc, m.chars);
    optmem();
    checklightopt();
}

// A random tree of some or all active taxa, with polytomies.
static tree sometree(std::mt19937 &rng, const data &m, int collapse)
{
    std::vector<int> in;
    bool all = plain::chance(rng, 60);
    for (int t = 0; t < m.taxa; ++t)
        if (m.taxactive[t] && (all || plain::chance(rng, 75))) in.push_back(t);
    if (in.size() < 3) in = { 0, 1, 2 };
    std::shuffle(in.begin() + 1, in.end(), rng);
    return plain::randomtree(rng, m.taxa, collapse, in);
}

// What a state set in memory means: all bits are any state of the character.
static uint32_t inmemory(uint32_t x, const data &m, int c)
{
    int states = plain::statesof(m, c);
    uint32_t all = states == 32 ? plain::ANY : (1u << states) - 1;
    return x & all;
}

// The final (or first-pass) states of a character that is in the words.
static uint32_t unpacked(int node, int c)
{
    uint32_t among = charcodes[c].sets;
    int low = std::countr_zero(among), high = 31 - std::countl_zero(among);
    uint32_t found = 0;
    int thresholds = 0, atmost = high, above = low;
    for (int f = 0; f < lightfields; ++f) {
        bool two = f < 16 * lightcells2;
        if ((two && f >= lightfields2) || lightchar[f] != c) continue;
        uint32_t cell = two ? lightset[node][f / 16] >> f % 16 * 2 & 3
                            : lightset[node][lightcells2 + (f - 16 * lightcells2) / 8] >> (f - 16 * lightcells2) % 8 * 4 & 15;
        if (charcodes[c].additive) {
            int threshold = low + thresholds++;
            if (cell == 1) atmost = std::min(atmost, threshold);
            if (cell == 2) above = std::max(above, threshold + 1);
        } else {
            int rank = 0;
            for (int s = low; s <= high; ++s)
                if (among >> s & 1) found |= (cell >> rank++ & 1) << s;
        }
    }
    for (int s = above; charcodes[c].additive && s <= atmost; ++s) found |= 1u << s;
    return found;
}

struct cellwidth : testing::TestWithParam<int> { };
INSTANTIATE_TEST_SUITE_P(Celldim, cellwidth, testing::Values(8, 16, 32));

TEST_P(cellwidth, WordAndSlowPassesAgreeWithTheReferenceOnEveryCharacter)
{
    std::mt19937 rng(GetParam());
    for (int trial = 0; trial < 60; ++trial) {
        int taxa = 4 + plain::below(rng, trial % 4 ? 8 : 30);
        data m = plain::randommatrix(rng, taxa, 1 + plain::below(rng, 40), plain::everything(GetParam()));
        readmatrix(m);
        for (int k = 0; k < 15; ++k) {
            tree t = sometree(rng, m, k % 3 == 0 ? 0 : k % 3 == 1 ? 40 : 90);
            std::vector<int> anc = plain::stored(t);
            SCOPED_TRACE(plain::readtext(m) + plain::text(t));
            ASSERT_EQ(packdownpass(anc.data()), double(plain::length(m, t)));
            std::vector<int> words(nc);
            for (int c = 0; c < nc; ++c) words[c] = charcodes[c].steps;
            ASSERT_EQ(downpass(anc.data()), double(plain::length(m, t)));
            for (int c = 0; c < nc; ++c) {
                int expected = m.active[c] ? plain::steps(m, t, c) : 0;
                ASSERT_EQ(words[c], m.weight[c] ? expected : words[c]) << "words, character " << c;
                ASSERT_EQ(charcodes[c].steps, expected) << "slow pass, character " << c;
            }
        }
    }
}

TEST_P(cellwidth, FirstAndFinalStatesAreThoseOfAllReconstructions)
{
    std::mt19937 rng(100 + GetParam());
    for (int trial = 0; trial < 60; ++trial) {
        data m = plain::randommatrix(rng, 4 + plain::below(rng, 8), 12, plain::everything(GetParam()));
        readmatrix(m);
        for (int k = 0; k < 8; ++k) {
            tree t = sometree(rng, m, k % 2 ? 50 : 0);
            std::vector<int> anc = plain::stored(t);
            SCOPED_TRACE(plain::readtext(m) + plain::text(t));
            for (int pass = 0; pass < 4; ++pass) {       // first sets, final sets; words, slow
                if (pass == 0) packdownpass(anc.data());
                if (pass == 1) packoptimize(anc.data());
                if (pass == 2) downpass(anc.data());
                if (pass == 3) optimize(anc.data());
                for (int c = 0; c < nc; ++c) {
                    if (!m.active[c]) continue;
                    auto expected = pass % 2 ? plain::finalsets(m, t, c) : plain::firstsets(m, t, c);
                    for (int n = m.taxa; n < t.nodes(); ++n) {
                        uint32_t found = pass < 2 && charcodes[c].lightpacked ? unpacked(n, c) : inmemory(cell(n, c), m, c);
                        uint32_t known = charcodes[c].sets ? charcodes[c].sets : plain::ANY;
                        if (charcodes[c].additive && charcodes[c].sets)
                            for (int s = std::countr_zero(known); s < 31 - std::countl_zero(known); ++s) known |= 1u << s;
                        ASSERT_EQ(found & known, expected[n] & known) << "pass " << pass << " character " << c << " node " << n;
                    }
                }
            }
        }
    }
}

TEST(Lightopt, PublishedShapesOfPolytomiesGiveTheStepsOfTheRule)
{
    // five terminals with states 0,0,1,1,2 (the sixth missing): three descendants lack 0 and 1
    data m = plain::fromrows({ "00", "01", "12", "1?", "2?", "??" });
    readmatrix(m);
    std::vector<int> bush{ 6, 6, 6, 6, 6, 6, 7, 0, 0, 0, 0 };
    EXPECT_EQ(packdownpass(bush.data()), 3 + 2);
    EXPECT_EQ(charcodes[0].steps, 3);
    EXPECT_EQ(unpacked(6, 0), 3u);
    EXPECT_EQ(downpass(bush.data()), 3 + 2);
    EXPECT_EQ(cell(6, 0), 3u);
}

TEST(Lightopt, ThreeDifferentStatesAtATrichotomyAreTwoStepsAndAllStates)
{
    data m = plain::fromrows({ "0", "1", "2", "0", "1", "2" });
    readmatrix(m);
    std::vector<int> anc{ 7, 7, 7, 6, 6, 6, 8, 6, 0, 0, 0 };     // (3 4 5 (0 1 2)): the root is fourfold
    packdownpass(anc.data());
    EXPECT_EQ(unpacked(7, 0), 7u);
    EXPECT_EQ(charcodes[0].steps, 2 + 2);
}

TEST(Lightopt, ATreeOfOneNodeKeepsItsFirstPassStates)
{
    std::mt19937 rng(5);
    for (int trial = 0; trial < 200; ++trial) {
        data m = plain::randommatrix(rng, 4 + plain::below(rng, 9), 10, { .maxstates = 8, .polymorphic = 20, .additive = 30 });
        readmatrix(m);
        tree bush;
        bush.taxa = m.taxa;
        bush.anc.assign(m.taxa + 1, m.taxa);
        bush.anc[m.taxa] = tree::NONE;
        std::vector<int> anc = plain::stored(bush);
        double score = packdownpass(anc.data());
        EXPECT_EQ(score, double(plain::length(m, bush)));
        EXPECT_EQ(score, downpass(anc.data()));
        packdownpass(anc.data());
        std::vector<uint32_t> before(lightset[m.taxa], lightset[m.taxa] + lightcells);
        packuppass(anc.data());
        EXPECT_TRUE(std::equal(before.begin(), before.end(), lightset[m.taxa]));
    }
}

TEST(Lightopt, CharactersWithoutAnyStateAddNothing)
{
    data m = plain::fromrows({ "?0", "?1", "?0", "?1" });
    readmatrix(m);
    EXPECT_TRUE(charcodes[0].constant);
    EXPECT_FALSE(charcodes[0].lightpacked);
    std::vector<int> anc{ 4, 5, 5, 4, 6, 4, 0 };
    EXPECT_EQ(packdownpass(anc.data()), 2);
    EXPECT_EQ(charcodes[0].steps, 0);
    optimize(anc.data());
    EXPECT_EQ(cell(5, 0), MISSING);
}

TEST(Lightopt, FieldsAreTwoBitsForTwoStatesAndThresholdsAndFourBitsForThreeOrFourStates)
{
    data m = plain::fromrows({ "00000", "01150", "12290", "12391" }, 16);
    m.additive[3] = 1;                             // states 0, 5, 9: nine thresholds
    readmatrix(m);
    EXPECT_EQ(lightfields2, 1 + 9);
    EXPECT_EQ(lightcells2, 1);
    EXPECT_EQ(lightfields, 10);                    // characters 1, 2 and 4 cannot vary in steps
    EXPECT_EQ(lightfieldcap, 8 * (lightcells + lightcells2));
}

TEST(Lightopt, LayersStandUntilSettingsChange)
{
    data m = plain::fromrows({ "00", "01", "10", "11" });
    readmatrix(m);
    uint32_t **was = lightset;
    optmem();
    EXPECT_EQ(lightset, was);
    EXPECT_NE(opttag, 0);
    zelrun("ccode ] 0;");
    EXPECT_EQ(opttag, 0);
    optmem();
    EXPECT_FALSE(charcodes[0].lightpacked);
    EXPECT_TRUE(charcodes[1].lightpacked);
}

// A layer dropped under another leaves that one's tag without a lock.
TEST(Lightopt, SettingsCanChangeWhateverSearchesAndReportsCameBefore)
{
    data m = plain::fromrows({ "000", "010", "110", "111", "101" });
    readmatrix(m);
    const char *searches[] = { "mult=replic 1;", "bbreak;" }, *reports[] = { "scores;", "nelsen;" };
    const char *changes[] = { "taxcode - 4;", "taxcode +.;", "outgroup 2;", "ccode + 0;", "hold 200;", "xread = 1 0 1;",
                              "bbreak: xbits;", "bbreak: noxbits;" };
    zelrun("mult=replic 1;");
    for (const char *change : changes)
        for (const char *search : searches)
            for (const char *report : reports) {
                zelrun(std::string(search) + report + search + report + change + report + search);
                EXPECT_FALSE(zelfailed()) << search << report << change;
                EXPECT_EQ(opttag, 0) << "a search lays out its tables anew";
                zelrun("mult=replic 1;");
            }
}

// Random ranges of values, some missing, as text and as bounds in thousandths.
static std::string rangetext(std::mt19937 &rng, std::pair<long, long> *bounds)
{
    char text[80];
    if (plain::chance(rng, 10)) { *bounds = { 0, 65535 }; return "?"; }
    long a = plain::below(rng, 65001), b = plain::chance(rng, 40) ? plain::below(rng, 65001) : a;
    if (plain::chance(rng, 50)) a = a / 9000 * 1000, b = b / 9000 * 1000;     // many ties
    if (a > b) std::swap(a, b);
    *bounds = { a, b };
    if (a == b) snprintf(text, sizeof text, "%ld.%03ld", a / 1000, a % 1000);
    else snprintf(text, sizeof text, "%ld.%03ld-%ld.%03ld", a / 1000, a % 1000, b / 1000, b % 1000);
    return text;
}

TEST(Lightopt, ContinuousCharactersHaveTheLeastSumOfChanges)
{
    std::mt19937 rng(77);
    for (int trial = 0; trial < 150; ++trial) {
        int taxa = 4 + plain::below(rng, 9), chars = 3;
        std::vector<std::vector<std::pair<long, long>>> bounds(chars, std::vector<std::pair<long, long>>(taxa));
        std::string text = "nstates num 32; xread " + std::to_string(chars) + " " + std::to_string(taxa) + " &[continuous]\n";
        for (int t = 0; t < taxa; ++t) {
            text += "t" + std::to_string(t);
            for (int c = 0; c < chars; ++c) text += " " + rangetext(rng, &bounds[c][t]);
            text += "\n";
        }
        zelrun(text + ";\n ccode /3 1;");
        ASSERT_FALSE(zelfailed()) << text;
        optmem();
        for (int k = 0; k < 6; ++k) {
            tree t = plain::randomtree(rng, taxa, k % 2 ? 50 : 0);
            std::vector<int> anc = plain::stored(t);
            double score = packdownpass(anc.data());
            double expected = 0;
            for (int c = 0; c < chars; ++c) {
                long steps = plain::rangesteps(bounds[c], t);
                if (k % 2 == 0) { EXPECT_EQ(steps, plain::farris(bounds[c], t)); }
                EXPECT_DOUBLE_EQ(charcodes[c].realsteps, steps / 1000.0) << text << plain::text(t) << " character " << c;
                expected += (c == 1 ? 3 : 1) * (steps / 1000.0);
            }
            EXPECT_NEAR(score, expected, 1e-9);
        }
    }
}

// Fewest steps under a table of costs, with all states tried in every node.
static long sankoffsteps(const data &m, const tree &t, const std::vector<std::vector<int>> &cost, std::vector<uint32_t> *best)
{
    int states = plain::statesof(m, 0);
    std::vector<std::vector<long>> table(t.nodes(), std::vector<long>(states, 0));
    for (int n = 0; n < t.taxa; ++n)
        for (int s = 0; s < states; ++s) table[n][s] = m.cells[n][0] >> s & 1 ? 0 : plain::IMPOSSIBLE;
    auto order = plain::rootfirst(t);
    auto kids = plain::children(t);
    best->assign(t.nodes(), 0);
    for (size_t i = order.size(); i-- > 0;) {
        int n = order[i];
        for (int s = 0; s < states; ++s)
            for (int k : kids[n]) {
                long least = plain::IMPOSSIBLE;
                for (int u = 0; u < states; ++u) least = std::min(least, cost[s][u] + table[k][u]);
                table[n][s] += least;
            }
        long least = *std::min_element(table[n].begin(), table[n].end());
        for (int s = 0; s < states; ++s)
            if (table[n][s] == least) (*best)[n] |= 1u << s;
    }
    return *std::min_element(table[t.root()].begin(), table[t.root()].end());
}

TEST(Lightopt, StepMatricesHaveTheLeastSumOfCostsInBothDirections)
{
    std::mt19937 rng(31);
    for (int trial = 0; trial < 200; ++trial) {
        data m = plain::randommatrix(rng, 4 + plain::below(rng, 8), 1, { .maxstates = 6, .polymorphic = 15 });
        readmatrix(m);
        int states = plain::statesof(m, 0);
        if (std::popcount(charcodes[0].sets) < 2) continue;
        std::vector<std::vector<int>> cost(states, std::vector<int>(states, 0));
        for (auto &row : cost)
            for (int &x : row) x = 1 + plain::below(rng, 9);
        for (int s = 0; s < states; ++s) cost[s][s] = 0;
        for (int v = 0; v < states; ++v)                        // no way round is cheaper
            for (int s = 0; s < states; ++s)
                for (int u = 0; u < states; ++u) cost[s][u] = std::min(cost[s][u], cost[s][v] + cost[v][u]);
        zelrun("ccode ( 0;");
        ASSERT_TRUE(charcodes[0].sankoff);
        for (int s = 0; s < states; ++s)
            for (int u = 0; u < states; ++u) charcodes[0].costs[s][u] = uint32_t(cost[s][u]);
        optmem();
        for (int k = 0; k < 6; ++k) {
            tree t = plain::randomtree(rng, m.taxa, k % 2 ? 50 : 0);
            std::vector<int> anc = plain::stored(t);
            std::vector<uint32_t> best;
            long steps = sankoffsteps(m, t, cost, &best);
            EXPECT_EQ(packdownpass(anc.data()), double(steps)) << plain::readtext(m) << plain::text(t);
            for (int n = m.taxa; n < t.nodes(); ++n) EXPECT_EQ(inmemory(cell(n, 0), m, 0), best[n]);
        }
    }
}
