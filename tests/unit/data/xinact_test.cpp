// What is uninformative, left out.
#include "datatest.h"
#include "kernel/driver.h"

namespace {
void data(const std::string &settings = "")
{
    fresh("nstates num 8; nstates nogaps;");
    readdata("xread 7 6\nA 0000020\nB 0001[12]21\nC 011110?\nD 1122112\nE 11?*133\nF 1140134\n;\n" + settings + "\nproc/;\n");
    ASSERT_EQ(nc, 7);
}

std::string activechars()
{
    std::string s;
    for (int c = 0; c < nc; ++c) s += charcodes[c].active ? '1' : '0';
    return s;
}
}

// Uninformative: 2 (one state in two taxa, three in one each), 4 (all but A may have 1), 6 (all differ).
TEST(Xinact, MakesUninformativeCharactersInactive)
{
    data();
    EXPECT_EQ(zelrun("xinact ;"), "3 uninformative characters are inactive \n");
    EXPECT_EQ(activechars(), "1101010");
    zelrun("ccode ] 0;");
    EXPECT_EQ(zelrun("xinact ;"), "3 uninformative characters are inactive \n");
    EXPECT_EQ(activechars(), "0101010");
}

TEST(Xinact, AdditiveCharactersAreInformativeInOtherWays)
{
    data("ccode + 6;");
    EXPECT_EQ(zelrun("xinact ;"), "2 uninformative characters are inactive \n");
    EXPECT_EQ(activechars(), "1101011");
}

// Character 2: 1, 2 and 4; 3: 2; 4: 0, and 2 in B; 5: 0 and 1; 6: all five.
TEST(Xinact, RemovesStatesOfASingleTaxon)
{
    data("ccode + 1 * ] 5;");
    EXPECT_EQ(zelrun("xinact * ;"), "Removed 13 uninformative states (from 5 chars.)\n");
    EXPECT_EQ(cellsastext(), "0000?2? 000112? 01?11?? 11??1?? 11?*13? 11?013?");
    EXPECT_EQ(charcodes[6].sets, 0u);
    EXPECT_EQ(charcodes[3].maxsteps, 2);
    EXPECT_EQ(zelrun("xinact * ;"), "Removed 0 uninformative states (from 0 chars.)\n");
}

TEST(Xinact, LeavesAdditiveAndSankoffCharactersAsTheyAre)
{
    data("ccode + 2 3 ( 4 5 6 ;");
    std::string before = cellsastext();
    EXPECT_EQ(zelrun("xinact * ;"), "Removed 0 uninformative states (from 0 chars.)\n");
    EXPECT_EQ(cellsastext(), before);
}

TEST(Xinact, IsRefusedInItsOwnWords)
{
    data();
    std::string said = zelrun("xinact 3 ;");
    EXPECT_TRUE(says(said, "Wrong argument for xinact : '3'")) << said;
    zelrun("xwipe;");
    said = zelrun("xinact ;");
    EXPECT_TRUE(says(said, "Must read data before inactivating characters")) << said;
}

TEST(Ccode, InASectorOfAnotherTaskTypesStayAsTheyAre)
{
    data();
    iamslave = ss_recurse_level = 1;
    std::string said = zelrun("ccode ( 2 ;"), also = zelrun("ccode ~ 2 ;");
    iamslave = ss_recurse_level = 0;
    std::string words = "P-ZEL: when running sectors, the sankoff status of the characters cannot change";
    EXPECT_TRUE(says(said, words)) << said;
    EXPECT_TRUE(says(also, words)) << also;
    EXPECT_FALSE(charcodes[2].sankoff);
}
