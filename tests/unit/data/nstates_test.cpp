// nstates, transformations of all states, taxname and taxlabels.
#include "datatest.h"
#include "data/datamem.h"
#include "data/symbols.h"
#include "kernel/input.h"
#include <cmath>
#include <random>

TEST(Nstates, SetsTheWidthOfCells)
{
    fresh();
    for (int n = 1; n <= 32; ++n) {
        int bytes = n <= 8 ? 1 : n <= 16 ? 2 : 4;
        std::string said = zelrun("nstates " + std::to_string(n) + ";");
        EXPECT_EQ(celldim, bytes);
        EXPECT_EQ(maxstate, 8 * bytes);
        EXPECT_TRUE(says(said, "Matrix space: allocate for up to " + std::to_string(8 * bytes) + " states"));
    }
    for (const char *bad : { "nstates 0;", "nstates 33;", "nstates num 40;" })
        EXPECT_TRUE(says(zelrun(bad), "Number of states must be 1-32")) << bad;
    fresh();
}

TEST(Nstates, SetsTheTypeAndSaysSoWhenItChanges)
{
    fresh();
    EXPECT_TRUE(says(zelrun("nstates dna;"), "Matrices will be read as DNA data"));
    EXPECT_EQ(data_type, DATA_DNA);
    EXPECT_EQ(celldim, 1);
    EXPECT_EQ(zelrun("nstates dna;"), "");
    EXPECT_TRUE(says(zelrun("nstates prot gaps;"), "Matrices will be read as amino-acid data"));
    EXPECT_EQ(data_type, DATA_PROT);
    EXPECT_EQ(celldim, 4);
    EXPECT_EQ(read_gaps_as_missing, 0);
    zelrun("nstates nogaps;");
    EXPECT_EQ(read_gaps_as_missing, 1);
    EXPECT_TRUE(says(zelrun("nstates gaps;"), "Gaps will be read as fifth state"));
    EXPECT_TRUE(says(zelrun("nstates nogaps;"), "Gaps will be read as missing"));
    zelrun("nstates cont;");
    EXPECT_EQ(data_type, DATA_CONT);
    EXPECT_EQ(celldim, 4);
    zelrun("nstates num 8;");
    EXPECT_EQ(data_type, DATA_NUM);
    EXPECT_EQ(celldim, 1);
    EXPECT_TRUE(says(zelrun("nstates what;"), "Found what when expecting number or strings dna/prot/num/cont"));
    fresh();
}

TEST(Nstates, DropsDataOfAnotherWidthAfterAWarning)
{
    fresh();
    zelrun("xread / 3 4 2;");
    EXPECT_FALSE(says(zelrun("nstates 12;"), "WARNING"));
    EXPECT_EQ(nt, 4);
    EXPECT_TRUE(says(zelrun("nstates 32;"), "Re-setting data type will cause\ncurrent data to be lost"));
    expectnodata();
    fresh();
}

TEST(Nstates, ChoosesHowMinimaAreCalculated)
{
    fresh();
    readdata("xread 1 6 a [01] b [12] c [12] d [20] e [01] f [01];");
    EXPECT_EQ(charcodes[0].minsteps, 0);             // first cell, then all others share something with what was seen
    EXPECT_TRUE(says(zelrun("nstates exactmin;"), "Minima for non-additive polymorphic chars. calculated exactly"));
    EXPECT_EQ(charcodes[0].minsteps, 1);
    EXPECT_TRUE(
        says(zelrun("nstates noexactmin;"), "Minima for non-additive polymorphic characters calculated heuristically"));
    EXPECT_EQ(use_exact_mincalc, 0);
    fresh();
}

TEST(Nstates, ChangesTheTypeOfAllCharacters)
{
    fresh("nstates dna;");
    readdata("xread 2 4 a AC b AC c GT d GT;");
    EXPECT_EQ(cellsastext(), "AC AC GT GT");
    zelrun("nstates *;");
    EXPECT_EQ(cellsastext(), "02 02 13 13");
    zelrun("nstates &;");
    EXPECT_EQ(cellsastext(), "AC AC GT GT");
    zelrun("nstates *; xread = 1 0 6;");
    EXPECT_TRUE(says(zelrun("nstates &;"), "Cannot convert data with 7 states (e.g. char. 1) into \"DNA\""));
    fresh("nstates cont;");
    zelrun("xread / 3 4 2;");
    EXPECT_TRUE(says(zelrun("nstates *;"), "Cannot convert continuous/landmark characters into discrete"));
    EXPECT_TRUE(says(zelrun("nstates &;"), "Cannot convert continuous/landmark characters into \"DNA\""));
    fresh();
}

TEST(Nstates, SaysHowStatesAreShownAndRead)
{
    fresh();
    EXPECT_TRUE(says(zelrun("nstates [;"), "Displaying continuous characters in original scale\n"));
    EXPECT_EQ(display_in_original_scale, 1);
    EXPECT_TRUE(says(zelrun("nstates ];"), "Not displaying continuous characters in original scale\n"));
    EXPECT_EQ(display_in_original_scale, 0);
    EXPECT_TRUE(says(zelrun("nstates /dna;"), "Reading states as DNA\n"));
    EXPECT_EQ(read_states_as, DATA_DNA);
    zelrun("nstates /num;");
    EXPECT_EQ(read_states_as, DATA_NUM);
}

TEST(Compression, ClosesUpTheStatesOfTwoTaxaOrMore)
{
    fresh();
    readdata("xread 5 6 a 00000 b 22011 c 2[25]311 d 575[12]2 e 5[57]543 f ?-5[12]?; ccode + 3;");
    std::string said = zelrun("nstates min;");
    ASSERT_FALSE(zelfailed());
    // 0 is in one taxon of characters 0, 1 and 4, 3 in one of character 2; the rest closes up
    EXPECT_EQ(cellsastext(), "??00? 00010 0[01]?10 121[12]? 1[12]14? ??1[12]?") << said;
    EXPECT_TRUE(says(said, "Compressed data - max. state is")) << said;
    EXPECT_TRUE(says(zelrun("nstates min;"), "Data cannot be compressed anymore"));
    checkmatrix();
    fresh();
}

TEST(Compression, NeverLengthensAndOnlyTakesSingleStates)
{
    std::mt19937 rng(3);
    fresh();
    zelrun("xread / 100 9 2;");
    for (int t = 0; t < nt; ++t)
        for (int c = 0; c < nc; ++c) setcell(t, c, rng() % 4 ? 1u << rng() % 7 : (1u << rng() % 7) | (1u << rng() % 7));
    zelrun("xread ==;");
    std::vector<int> most;
    std::vector<uint32_t> multi;
    for (int c = 0; c < nc; ++c) most.push_back(charcodes[c].maxsteps), multi.push_back(charcodes[c].multi);
    zelrun("nstates min;");
    for (int c = 0; c < nc; ++c) {
        EXPECT_EQ(charcodes[c].sets, (1u << __builtin_popcount(multi[size_t(c)])) - 1);
        EXPECT_LE(charcodes[c].maxsteps, most[size_t(c)]);
    }
    fresh();
}

static std::vector<double> originals(int c)
{
    std::vector<double> v;
    for (int t = 0; t < nt; ++t) {
        uint32_t x = matrix4[t][c];
        if (x == CONT_MISSING) continue;
        v.push_back(originalvalue(c, int(x & 0xffff)));
        v.push_back(originalvalue(c, int(x >> 16)));
    }
    return v;
}

TEST(ContinuousTransforms, KeepTheOriginalValuesKnown)
{
    for (const char *command : { "nstates stand;", "nstates stand 10;", "nstates lstand 65;", "nstates shift;",
                                 "nstates shift; nstates stand 65;", "nstates stand 65; nstates lstand 65;" }) {
        fresh("nstates cont;");
        readdata("xread 3 5 a 1 100 5 b 2-3 180 5 c ? 220-240 5 d 9.5 300 ? e 4 100 5;");
        std::vector<double> before[3] = { originals(0), originals(1), originals(2) };
        zelrun(command);
        ASSERT_FALSE(zelfailed()) << command;
        EXPECT_EQ(cell(2, 0), CONT_MISSING);
        double top = strstr(command, "65") ? 65 : strstr(command, "10") ? 10 : strstr(command, "stand") ? 1 : 0;
        for (int c = 0; c < 3; ++c) {
            std::vector<double> now = originals(c);
            ASSERT_EQ(now.size(), before[c].size());
            double step = top == 1 ? 0.25 : 0.03;            // 200 units in 1000 steps, or more of them
            for (size_t i = 0; i < now.size(); ++i)
                EXPECT_NEAR(now[i], before[c][i], step) << command << " char. " << c;
            uint32_t low = 0xffff, high = 0;
            for (int t = 0; t < nt; ++t) {
                uint32_t x = matrix4[t][c];
                if (x == CONT_MISSING) continue;
                low = std::min(low, x & 0xffff);
                high = std::max(high, x >> 16);
            }
            EXPECT_EQ(low, 0u) << command;
            if (top && c < 2) { EXPECT_EQ(high, uint32_t(top * 1000)) << command; }
        }
        checkmatrix();
    }
    fresh();
}

TEST(ContinuousTransforms, FixForgetsTheOriginalScale)
{
    fresh("nstates cont;");
    readdata("xread 1 4 a 1 b 2 c 3 d 6;");
    zelrun("nstates stand 10; nstates fix;");
    EXPECT_DOUBLE_EQ(originalvalue(0, 10000), 10);
    zelrun("nstates stand 66;");
    EXPECT_TRUE(zelfailed());
    fresh();
    zelrun("xread / 4 4 2; nstates stand;");
    EXPECT_TRUE(zelfailed());
    fresh();
}

// --- Names ---

TEST(Taxname, TogglesAndTruncates)
{
    fresh();
    readdata("xread 1 4 Genus_species____voucher 0 bb 0 c 0 d 0;");
    EXPECT_EQ(zelrun("taxname =;"), "Taxon names is ON \n");
    EXPECT_EQ(usetaxnames, 1);
    zelrun("taxname -;");
    EXPECT_EQ(usetaxnames, 0);
    EXPECT_STREQ(taxname_out(0), "Genus_species____voucher");
    EXPECT_EQ(zelrun("taxname [5;"), "Truncating taxon names on output to 5 letters \n");
    EXPECT_STREQ(taxname_out(0), "Genus");
    EXPECT_STREQ(taxname_out(1), "bb");
    EXPECT_EQ(zelrun("taxname [!;"),
              "Truncating taxon names on output to species only (excluding quadruple-underscore) \n");
    EXPECT_STREQ(taxname_out(0), "Genus_species");
    EXPECT_STREQ(taxname_out(1), "bb");
    EXPECT_EQ(zelrun("taxname [0;"), "Not truncating taxon names on output \n");
    zelrun("taxname [5;");
    EXPECT_EQ(zelrun("taxname ];"), "Not truncating taxon names on output \n");
    EXPECT_STREQ(taxname_out(0), "Genus_species____voucher");
}

TEST(Taxname, TruncatesByLettersNotBytes)
{
    fresh();
    readdata("xread 1 4 \xc3\x81" "caro_\xce\xb1 0 bb 0 c 0 d 0;");
    zelrun("taxname [1;");
    EXPECT_STREQ(taxname_out(0), "\xc3\x81");
    EXPECT_STREQ(taxname_out(1), "b");
    zelrun("taxname [7;");
    EXPECT_STREQ(taxname_out(0), "\xc3\x81" "caro_\xce\xb1");
    EXPECT_EQ(zelrun("outgroup \xc3\x81; taxcode \xc3\x81" "caro; outgroup;").substr(0, 27), "4 terminal taxa are active:");
    zelrun("taxname ];");
}

TEST(Taxname, RenamesTaxa)
{
    fresh();
    readdata("xread 1 4 aa 0 bb 0 c 0 d 0;");
    zelrun("taxname / 0 bb bb x^y;");
    EXPECT_STREQ(taxname[0], "bb");
    EXPECT_STREQ(taxname[1], "x y");
    EXPECT_TRUE(says(zelrun("taxname / 1;"), "Must specify new name for taxon"));
    EXPECT_TRUE(says(zelrun("taxname / zz x;"), "Must specify taxon to rename"));
    EXPECT_TRUE(says(zelrun("taxname / 1 " + std::string(50, 'x') + ";"), "Name too long (max.: 31 characters)"));
    EXPECT_STREQ(taxname[1], "x y");
}

TEST(Taxlabels, ShowsNamesByNumberAndByBeginning)
{
    fresh();
    readdata("xread 1 4 Aus_a 0 aus_b 0 Bus 0 Cus 0;");
    EXPECT_EQ(zelrun("taxlabels 2 0;"), "Bus \nAus_a \n");
    EXPECT_EQ(zelrun("taxlabels AUS;"), "Aus_a is taxon nr. 0 \naus_b is taxon nr. 1 \n");
    EXPECT_EQ(zelrun("taxlabels x;"), "No taxon names matches x \n");
    EXPECT_TRUE(says(zelrun("taxlabels 4;"), "Taxon number 4"));
    EXPECT_TRUE(zelfailed());
    zelrun("xwipe; taxlabels 0;");
    EXPECT_TRUE(zelfailed());
}
