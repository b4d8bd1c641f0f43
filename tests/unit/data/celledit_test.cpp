// Editing cells, and random data.
#include "datatest.h"
#include "data/lists.h"
#include "trees/treebuf.h"
#include <bit>
#include <cmath>
#include <set>

static const char *small = "xread 5 4 a 00000 b 00111 c 11?[01]1 d 111-0;";

TEST(EditingCells, SetsOneCell)
{
    fresh();
    readdata(small);
    zelrun("xread = 2 3 4;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(cellsastext(), "00000 00111 11?[01]1 114?0");
    zelrun("xread = 0 b [12]; xread = 1 0 ?; xread = 4 d *;");
    EXPECT_EQ(cellsastext(), "0?000 [12]0111 11?[01]1 114?*");
}

TEST(EditingCells, TakesListsInBrackets)
{
    fresh();
    readdata(small);
    zelrun("xread = [0 3.4] [1 d] 2;");
    EXPECT_EQ(cellsastext(), "00000 20122 11?[01]1 21122");
    zelrun("xread = [.] 0 1 [.] 1 [01];");
    EXPECT_EQ(cellsastext(), "11111 [01][01][01][01][01] 11?[01]1 21122");
}

TEST(EditingCells, BringsMinimaUpToDateUnlessToldNotTo)
{
    fresh();
    readdata(small);
    EXPECT_EQ(charcodes[0].minsteps, 1);
    zelrun("xread = 0 0 5;");
    EXPECT_EQ(charcodes[0].minsteps, 2);
    EXPECT_EQ(charcodes[0].numstates, 6);
    EXPECT_EQ(ccodetag, 1);
    zelrun("xread =! 0 1 7;");
    EXPECT_EQ(charcodes[0].minsteps, 2);
    EXPECT_EQ(charcodes[0].numstates, 6);
    zelrun("xread ==;");
    EXPECT_EQ(charcodes[0].numstates, 8);
    EXPECT_EQ(charcodes[0].minsteps, 2);
}

TEST(EditingCells, DropsTheTablesMadeFromThem)
{
    fresh();
    readdata(small);
    zelrun("tread (0 (1 (2 3))); length;");
    zelrun("xread = 0 0 5;");
    EXPECT_EQ(opttag, 0);
    EXPECT_EQ(schtag, 0);
    zelrun("length;");
    zelrun("xread =! 0 0 5;");
    EXPECT_EQ(opttag, 0);
    EXPECT_EQ(trees_in_mem, 1);
}

TEST(EditingCells, ReadsSymbolsByTheTypeOfTheCharacter)
{
    fresh("nstates num 32;");
    readdata("xread 3 4\n&[cont]\na 1\nb 2\nc 3\nd 4\n&[dna]\na A\nb A\nc C\nd C\n&[num]\na A\nb A\nc C\nd C\n;");
    zelrun("xread = 1 0 [GT]; xread = 2 0 g; xread = 0 0 1.5-2;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(cellsastext(), "1.500-2.000[GT]G 2.000AA 3.000CC 4.000CC");
    for (const char *bad :
         { "xread = 1 0 E;", "xread = 1 0 1;", "xread = 0 0 x;", "xread = 0 0 66;", "xread = 2 0 12;" }) {
        zelrun(bad);
        EXPECT_TRUE(zelfailed()) << bad;
    }
    EXPECT_EQ(cellsastext(), "1.500-2.000[GT]G 2.000AA 3.000CC 4.000CC");
    fresh();
}

TEST(EditingCells, RefusesWhatIsNotThere)
{
    fresh();
    zelrun("xread = 0 0 1;");
    EXPECT_TRUE(zelfailed());
    readdata(small);
    for (const char *bad : { "xread = 5 0 1;", "xread = 0 4 1;", "xread = 0 0 #;", "xread = 0 0;", "xread = [] 0 1;",
                             "xread = [0 0 1;" }) {
        zelrun(bad);
        EXPECT_TRUE(zelfailed()) << bad;
    }
    EXPECT_EQ(cellsastext(), "00000 00111 11?[01]1 111?0");
}

TEST(EditingCells, RoundTripsWhatCellsAreWrittenAs)
{
    fresh("nstates num 32;");
    zelrun("rseed 3; xread / 40 6 32; xread = ? .5 .3;");
    for (int c = 0; c < nc; c += 3) setcell(c % nt, c, INAPPSET), setcell((c + 1) % nt, c, 0x80000005u + uint32_t(c));
    std::string before = cellsastext(), edits;
    std::vector<uint32_t> cells;
    for (int t = 0; t < nt; ++t)
        for (int c = 0; c < nc; ++c) {
            char text[80];
            copystates(c, t, text);
            cells.push_back(cell(t, c));
            edits += "xread =! " + std::to_string(c) + " " + std::to_string(t) + " " + text + ";\n";
            setcell(t, c, 1);
        }
    readdata(edits);
    EXPECT_FALSE(zelfailed());
    EXPECT_TRUE(cellsastext() == before);
    for (int t = 0, i = 0; t < nt; ++t)
        for (int c = 0; c < nc; ++c, ++i) EXPECT_EQ(cell(t, c), cells[size_t(i)]);
    zelrun("rseed 1;");
    fresh();
}

TEST(RandomMissing, FollowsTheProbabilitiesAndTheSeed)
{
    fresh();
    zelrun("rseed 1; xread / 400 50 2; rseed 5; xread = ? .5 .2;");
    std::string first = cellsastext();
    int chars = 0, cells = 0;
    for (int c = 0; c < nc; ++c) {
        int n = 0;
        for (int t = 0; t < nt; ++t) n += cell(t, c) == MISSING;
        chars += n > 0;
        cells += n;
    }
    EXPECT_NEAR(chars, 200, 50);                     // five standard deviations of the binomials
    EXPECT_NEAR(double(cells) / (chars * nt), 0.2, 0.025);
    zelrun("rseed 1; xread / 400 50 2; rseed 5; xread = ? .5 .2;");
    EXPECT_TRUE(cellsastext() == first);
    zelrun("xread = ? 1 1;");
    for (int c = 0; c < nc; ++c) EXPECT_EQ(charcodes[c].sets, 0u);
    zelrun("xread = ? 2 1;");
    EXPECT_TRUE(zelfailed());
    zelrun("rseed 1;");
    fresh();
}

// --- Generation ---

TEST(RandomData, HaveTheSizesStatesAndNamesAskedFor)
{
    fresh();
    zelrun("xread / 300 40 3;");
    EXPECT_EQ(nc, 300);
    EXPECT_EQ(nt, 40);
    EXPECT_STREQ(dataname, "Random Data (3 states)");
    EXPECT_STREQ(taxname[39], "TAX39");
    int counts[3] = {};
    for (int t = 0; t < nt; ++t)
        for (int c = 0; c < nc; ++c) {
            ASSERT_EQ(std::popcount(cell(t, c)), 1);
            ASSERT_LT(cell(t, c), 8u);
            ++counts[std::countr_zero(cell(t, c))];
        }
    for (int n : counts) EXPECT_NEAR(n, 4000, 260);  // five standard deviations
    checkmatrix();
}

TEST(RandomData, MayBeMissingOrContinuous)
{
    fresh();
    zelrun("xread / 5 6 0;");
    for (int t = 0; t < nt; ++t)
        for (int c = 0; c < nc; ++c) EXPECT_EQ(cell(t, c), MISSING);
    fresh("nstates cont;");
    zelrun("xread / 50 20 2;");
    for (int t = 0; t < nt; ++t)
        for (int c = 0; c < nc; ++c) {
            EXPECT_EQ(cell(t, c) & 0xffff, cell(t, c) >> 16);
            EXPECT_LT(cell(t, c) >> 16, 10000u);
        }
    checkmatrix();
    zelrun("xread / 5 6 0;");
    EXPECT_EQ(cell(2, 2), CONT_MISSING);
    fresh();
}

TEST(RandomData, RefusesTooManyStates)
{
    fresh("nstates num 8;");
    EXPECT_TRUE(says(zelrun("xread / 5 6 9;"), "With current settings, can have 8 states at the most"));
    EXPECT_TRUE(zelfailed());
    EXPECT_TRUE(says(zelrun("xread / 5 3 2;"), "Must specify number of taxa (4 or more)"));
    EXPECT_TRUE(says(zelrun("xread / ;"), "Must specify number of characters"));
    fresh();
}

TEST(GeneratedData, FollowTheTree)
{
    fresh();
    zelrun("xread / 3 8 2; taxname / 0 first 7 last; tread (0 (1 (2 (3 (4 (5 (6 7)))))));");
    zelrun("xread + 0 100 50 4;");
    ASSERT_FALSE(zelfailed());
    EXPECT_EQ(nc, 50);
    EXPECT_EQ(nt, 8);
    EXPECT_EQ(celldim, 1);
    EXPECT_STREQ(dataname, "Data, p(stasis)=1.00");
    EXPECT_STREQ(taxname[0], "first");
    EXPECT_STREQ(taxname[7], "last");
    std::set<uint32_t> states;
    for (int c = 0; c < nc; ++c) {
        EXPECT_TRUE(std::has_single_bit(charcodes[c].sets)) << "nothing changes at stasis 100";
        states.insert(charcodes[c].sets);
    }
    EXPECT_EQ(states.size(), 4u);
    EXPECT_EQ(trees_in_mem, 1);
    EXPECT_EQ(mem_tree[0][nt], 15);
    EXPECT_STREQ(treegroupname[0], "model_tree");
    EXPECT_TRUE(treegroup[0][0] & 1);

    zelrun("xread + 0 0 200 2;");                    // every branch changes the state
    for (int c = 0; c < nc; ++c) {
        EXPECT_EQ(cell(6, c), cell(7, c));           // one branch each from their node
        EXPECT_NE(cell(5, c), cell(6, c));           // one branch against two
    }
    EXPECT_EQ(celldim, 1);
    zelrun("xread + 0 50 20 30;");
    EXPECT_EQ(celldim, 4);
    zelrun("xread + 0 50 20;");
    for (int c = 0; c < nc; ++c) EXPECT_LE(charcodes[c].numstates, 2);
    fresh();
}

TEST(GeneratedData, RefuseWhatCannotBe)
{
    fresh();
    EXPECT_TRUE(says(zelrun("xread + 0 50 10 2;"), "Must read data before generating data from a tree"));
    zelrun("xread / 3 8 2;");
    EXPECT_TRUE(says(zelrun("xread + 0 50 10 2;"), "No tree number 0 - only 0 trees in mem"));
    zelrun("tread (0 (1 (2 (3 (4 (5 (6 7)))))));");
    EXPECT_TRUE(says(zelrun("xread + 0 101 10 2;"), "Probability of stasis must be 0-100"));
    EXPECT_TRUE(says(zelrun("xread + ! 10 2;"), "No messages written to tree branches"));
    EXPECT_EQ(trees_in_mem, 1);
    zelrun("mxram 1; mxram ]; xread / 3 8 2; tread (0 (1 (2 (3 (4 (5 (6 7)))))));");
    EXPECT_TRUE(says(
        zelrun("xread + 0 50 100000 2;"),
        "Too much RAM needed for generating data from existing tree...\nYou must read initial dataset allocating "));
    EXPECT_EQ(trees_in_mem, 1);
    zelrun("mxram [; mxram 16;");
    fresh();
}

TEST(GeneratedData, TakeTheLengthsOfBranchesFromTheTags)
{
    fresh();
    zelrun("xread / 3 6 2; tread (0=0/ (1=0/ (2=0/ (3=9/ (4=0/ 5=0.25/ )=0/ )=0/ )=0/ )=0/ ); rseed 1;");
    zelrun("xread + ! 4000 4;");
    ASSERT_FALSE(zelfailed());
    EXPECT_STREQ(dataname, "Data (jukes-cant");
    EXPECT_EQ(celldim, 1);
    int far = 0, near = 0;
    for (int c = 0; c < nc; ++c) {
        EXPECT_EQ(cell(0, c), cell(1, c));
        EXPECT_EQ(cell(0, c), cell(2, c));
        EXPECT_EQ(cell(0, c), cell(4, c));
        far += cell(3, c) != cell(0, c);
        near += cell(5, c) != cell(0, c);
    }
    EXPECT_NEAR(far / 4000.0, 0.75, 0.035);          // five standard deviations
    EXPECT_NEAR(near / 4000.0, 0.75 * (1 - std::exp(-0.25 / 0.75)), 0.035);
    EXPECT_EQ(trees_in_mem, 1);
    EXPECT_STREQ(treegroupname[0], "model_tree");
    EXPECT_TRUE(says(zelrun("xread + ! 10 2;"), "No messages written to tree branches"));
    zelrun("tread (0=0/ (1=x/ (2=0/ (3=9/ (4=0/ 5=0/ )=0/ )=0/ )=0/ )=0/ );");
    EXPECT_TRUE(says(zelrun("xread + ! 10 2;"), "The message on the branch of node 1 is no branch length"));
    EXPECT_EQ(nc, 4000);
    EXPECT_TRUE(says(zelrun("xread + 0 50 900000000 32;"), "Sorry, not enough memory to generate"));
    EXPECT_EQ(nc, 4000);
    fresh();
}

TEST(RegeneratedCharacters, ChangeOnlyTheOnesListed)
{
    for (const char *form : { "<", ">", "&" }) {
        fresh();
        zelrun("rseed 1; xread / 40 8 3; tread (0 (1 (2 (3 (4 (5 (6 7)))))));");
        std::string before = cellsastext();
        zelrun(std::string("xread ") + form + " 0 100 0.9;");
        ASSERT_FALSE(zelfailed());
        for (int c = 0; c < nc; ++c) EXPECT_EQ(c < 10, std::has_single_bit(charcodes[c].sets)) << form << c;
        EXPECT_NE(cellsastext(), before);
        EXPECT_EQ(trees_in_mem, 1);
        zelrun(std::string("xread ") + form + " 0 100;");
        for (int c = 0; c < nc; ++c) EXPECT_TRUE(std::has_single_bit(charcodes[c].sets));
    }
    fresh();
}
