// Blocks of characters: defined, shown, saved, and made the active ones.
#include "datatest.h"
#include "data/lists.h"
#include "trees/implied.h"

namespace {
// Three blocks; D lacks the second, E and F the third.
void data(const std::string &settings = "")
{
    fresh("nstates num 8; nstates nogaps;");
    readdata("xread 7 6\n&[num/morph]\nA 000\nB 001\nC 011\nD 111\nE 110\nF 100\n&[num/mol]\nA 00\nB 01\nC 11\nE 10\nF 01\n"
             "&[num/eggs]\nA 00\nB 11\nC 01\nD 10\n;\n" + settings + "\nproc/;\n");
    ASSERT_EQ(nc, 7);
}

void plain()
{
    fresh("nstates num 8;");
    readdata("xread 7 5 A 0000000 B 0011111 C 1101010 D 1110101 E 0101010 ; proc/;");
    ASSERT_EQ(nc, 7);
}

std::string blocksof()
{
    std::string s;
    for (int c = 0; c < nc; ++c) s += char('0' + charcodes[c].block);
    return s;
}

std::string activechars()
{
    std::string s;
    for (int c = 0; c < nc; ++c) s += charcodes[c].active ? '1' : '0';
    return s;
}

std::string activetaxa()
{
    std::string s;
    for (int t = 0; t < nt; ++t) s += taxact[t] ? '1' : '0';
    return s;
}

void refused(const std::string &command, const std::string &words)
{
    std::string said = zelrun(command);
    EXPECT_TRUE(zelfailed()) << command;
    EXPECT_TRUE(says(said, words)) << command << "\n" << said;
}
}

TEST(Blocks, StartAtTheCharactersGiven)
{
    plain();
    EXPECT_EQ(zelrun("blocks ;"), "No data blocks defined \n");
    zelrun("blocks 5 2 ;");
    EXPECT_EQ(nblocks, 3);
    EXPECT_EQ(blocksof(), "1122233");
    zelrun("blocks 0 1 ;");
    EXPECT_EQ(nblocks, 2);
    EXPECT_EQ(blocksof(), "1222222");
    zelrun("blocks 0 ;");
    EXPECT_EQ(nblocks, 1);
    EXPECT_EQ(blocksof(), "1111111");
}

TEST(Blocks, AreShown)
{
    plain();
    zelrun("blocks 2 5 ;");
    EXPECT_EQ(zelrun("blocks ;"), "Block 1: characters 0-1\nBlock 2: characters 2-4\nBlock 3: characters 5-6\n");
    data();
    EXPECT_EQ(zelrun("blocks ;"), "Block 1 (morph): characters 0-2\nBlock 2 (mol): characters 3-4\n"
                                  "Block 3 (eggs): characters 5-6\n");
}

TEST(Blocks, SavedReadBackAsTheyWere)
{
    plain();
    refused("blocks *;", "No blocks defined!");
    zelrun("blocks 2 5 ;");
    std::string saved = zelrun("blocks *;");
    EXPECT_EQ(saved, "blocks 0 2 5 ;\n");
    zelrun("blocks 0; " + saved);
    EXPECT_EQ(blocksof(), "1122233");
}

TEST(Blocks, DefinedAnewLoseTheirNames)
{
    data();
    std::string said = zelrun("blocks 2 ;");
    EXPECT_TRUE(says(said, "Re-defining blocks will discard current block names")) << said;
    EXPECT_EQ(blockname, nullptr);
    EXPECT_EQ(blocksof(), "1122222");
    EXPECT_EQ(zelrun("blocks 3 ;"), "");
}

TEST(Blocks, AreRefusedInTheirOwnWords)
{
    zelrun("xwipe;");
    refused("blocks 0 ;", "Must read data before defining blocks");
    plain();
    refused("blocks 3 7 ;", "Character number 7");
    refused("blocks 3 x ;", "Block definition must end with a semicolon");
    refused("blocks = 1 ;", "No blocks defined!");
    refused("blocks { ;", "No blocks defined!");
    EXPECT_EQ(nblocks, 0);
    zelrun("blocks 3 ;");
    refused("blocks = ;", "No blocks specified!");
    refused("blocks =& ;", "No blocks specified!");
    refused("blocks = 3 ;", "No block 3 (only blocks 0 - 2 exist)");
    refused("blocks = 1.99999999999 ;", "No block 99999999999 (only blocks 0 - 2 exist)");
    refused("blocks = mol ;", "Block names undefined");
    data();
    refused("blocks = morph.mol ;", "Block scopes can be used only with numbers");
    refused("blocks = fins ;", "No block named fins");
    EXPECT_EQ(activechars(), "1111111");
}

TEST(Blocks, MadeActiveLeaveTheRestOut)
{
    data();
    EXPECT_EQ(zelrun("blocks = 1 2 ;"), "Active blocks: 1 2 \nActive blocks set - outgroup is A \n");
    EXPECT_EQ(activechars(), "1111100");
    EXPECT_EQ(activetaxa(), "111111");
    zelrun("blocks = eggs ;");
    EXPECT_EQ(activechars(), "0000011");
    EXPECT_EQ(activetaxa(), "111100");
    EXPECT_EQ(ntax, 4);
    zelrun("blocks = 2. ;");
    EXPECT_EQ(activechars(), "0001111");
    EXPECT_EQ(activetaxa(), "111111");
    zelrun("blocks = M ;");
    EXPECT_EQ(activechars(), "1111100");
    zelrun("blocks = all ;");
    EXPECT_EQ(activechars() + activetaxa(), "1111111111111");
}

TEST(Blocks, CanBeActiveForTheTaxaTheyShare)
{
    data();
    EXPECT_EQ(zelrun("outgroup D; blocks =& 1 2 ;"), "Active blocks: 1 2 \nActive blocks set - outgroup is A \n");
    EXPECT_EQ(activetaxa(), "111011");
    EXPECT_EQ(outgroup, 0);
    refused("blocks =& . ;", "Specified blocks share less than four taxa");
    EXPECT_EQ(activetaxa(), "111011");
    zelrun("blocks = 0 ; taxcode - 5 ; blocks = .1 ;");
    EXPECT_EQ(activetaxa(), "111111");
}

TEST(Blocks, OfTooFewTaxaCannotBeActive)
{
    fresh("nstates num 8;");
    readdata("xread 4 5\n&[num]\nA 00\nB 01\nC 11\nD 10\nE 00\n&[num]\nA 00\nB 11\nC 01\n;\nproc/;\n");
    refused("blocks = 2 ;", "Cannot have less than 4 active taxa");
    EXPECT_EQ(activechars(), "1111");
}

TEST(Blocks, CanBeGroupsOfCharacters)
{
    data();
    zelrun("blocks { ; ccode + {2} * ] {eggs} ;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(activechars(), "1111100");
    EXPECT_TRUE(!charcodes[2].additive && charcodes[3].additive && charcodes[4].additive && !charcodes[5].additive);
    EXPECT_STREQ(chargroupname[1], "morph");
    plain();
    zelrun("blocks 1 2 3 ; blocks { ;");
    EXPECT_STREQ(chargroupname[4], "Block_4");
    std::string many = "xread 40 4 ";
    for (const char *t : { "A ", "B ", "C ", "D " }) many += t + std::string(40, '0') + " ";
    readdata(many + "; proc/;");
    many = "blocks ";
    for (int c = 0; c < 32; ++c) many += std::to_string(c) + " ";
    zelrun(many + ";");
    refused("blocks { ;", "Can't define more than 32 groups (0-31)");
}

TEST(Blocks, NumbersInListsCountWithinThem)
{
    data();
    zelrun("ccode ] @1 0 ; ccode ] @3 1 ; ccode ] @mol 0 ;");
    EXPECT_EQ(activechars(), "0110110");
}

TEST(Ccode, ShowsAdditionalStepsUnderImpliedWeights)
{
    plain();
    zelrun("ccode =3 1 ;");
    EXPECT_TRUE(says(zelrun("ccode ;"), "-[/1     0     -[/1     1 "));
    dopiwe = 1;
    std::string said = zelrun("ccode ;");
    dopiwe = 0;
    EXPECT_TRUE(says(said, "-[/1=0   0     -[/1=3   1 ")) << said;
}
