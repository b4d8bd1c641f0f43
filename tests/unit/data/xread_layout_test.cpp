// The two layouts of a native matrix, names, and what may surround them.
#include "datatest.h"
#include "data/xread.h"
#include "kernel/driver.h"
#include "kernel/input.h"
#include "trees/treebuf.h"

TEST(PlainLayout, TakesCellsInAnyLineBreaks)
{
    fresh();
    readdata("xread 'x'\n6 4\na_name\n00 0\n111\nb\n001\n110\nc 0 1\t1 1 ? [0 1]\nd\n111-00\n;\nproc/;");
    ASSERT_FALSE(zelfailed());
    EXPECT_EQ(cellsastext(), "000111 001110 0111?[01] 111?00");
    EXPECT_STREQ(taxname[0], "a_name");
    EXPECT_EQ(nblocks, 0);
    EXPECT_EQ(charcodes[5].block, 0);
}

TEST(PlainLayout, ReadsFilesOfOtherSystems)
{
    const char *lines[] = { "xread", "'t'", "3 4", "a 000", "b 001", "c 011", "d 111", ";", "ccode + 1;", "proc/;" };
    for (const char *end : { "\n", "\r\n", "\r" })
        for (const char *layout : { "", "&[num]" }) {
            fresh();
            std::string text;
            for (const char *line : lines)
                text += line + std::string(end) + (line[0] == '3' ? layout + std::string(end) : "");
            readdata(text);
            ASSERT_FALSE(zelfailed()) << layout;
            EXPECT_EQ(cellsastext(), "000 001 011 111");
            EXPECT_EQ(charcodes[1].additive, 1);
        }
}

TEST(PlainLayout, NeedsNoProcedureAtTheEnd)
{
    fresh();
    readdata("xread 3 4 a 000 b 001 c 011 d 111;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(nt, 4);
    readdata("xread 3 4 a 000 b 001 c 011 d 111");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(nt, 4);
}

TEST(PlainLayout, SetsUpAllThatDependsOnTheSize)
{
    fresh();
    readdata("xread 3 5 a 000 b 001 c 011 d 111 e 111;");
    EXPECT_EQ(nodz, 9);
    EXPECT_EQ(root, 8);
    EXPECT_EQ(realntax, 5);
    EXPECT_EQ(realnt, 5);
    EXPECT_EQ(ntax, 5);
    EXPECT_EQ(outgroup, 0);
    EXPECT_NE(datatag, 0);
    EXPECT_NE(datonlytag, 0);
    EXPECT_EQ(ccodetag, 1);
    EXPECT_EQ(opttag, 0);
    EXPECT_EQ(schtag, 0);
    EXPECT_EQ(trees_in_mem, 0);
    for (int c = 0; c < nc; ++c) EXPECT_EQ(ancstates[c], matrix[0][c]);
    for (int c = 0; c < nc; ++c) {
        EXPECT_EQ(charcodes[c].weight, 1);
        EXPECT_EQ(charcodes[c].active, 1);
        EXPECT_EQ(charcodes[c].additive, 0);
        EXPECT_EQ(charcodes[c].recalc, 0);
        for (int a = 0; a < maxstate; ++a)
            for (int b = 0; b < maxstate; ++b) EXPECT_EQ(charcodes[c].costs[a][b], uint32_t(a != b));
    }
    checkmatrix();
}

TEST(PlainLayout, StandsInATypedText)
{
    fresh();
    zelrun("xread 'a, b' 3 4 a 000 b 001 c 011 d 111; ccode + 0;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(charcodes[0].additive, 1);
}

TEST(Title, IsEchoedWithoutCarriageReturnsAsUtf8)
{
    fresh();
    std::string said = readdata("xread 'one;\r\ntw\xe9' 3 4 a 000 b 001 c 011 d 111;");
    EXPECT_TRUE(says(said, "\none;\ntw\xc3\xa9\n")) << said;
    said = readdata("xread 'ya \xc3\xa9' 3 4 a 000 b 001 c 011 d 111;");
    EXPECT_TRUE(says(said, "\nya \xc3\xa9\n")) << said;
}

TEST(Title, MayBeLongerThanWhatIsComposedAtOnce)
{
    fresh();
    std::string title;
    for (int i = 0; i < 900; ++i) title += "word" + std::to_string(i) + (i % 9 ? " " : "\n");
    EXPECT_TRUE(says(readdata("xread '" + title + "' 3 4 a 000 b 001 c 011 d 111;"), title));
}

TEST(Sizes, AreRequired)
{
    fresh();
    expectfailure("xread ;", "Must specify number of characters");
    expectfailure("xread 0 5 a;", "Must specify number of characters");
    expectfailure("xread 10 3 a 0;", "Must specify number of taxa (4 or more)");
    expectfailure("xread 10 ;", "Must specify number of taxa (4 or more)");
    expectfailure("xread 10 a 0;", "Must specify number of taxa (4 or more)");
}

TEST(Sizes, BeyondAnyMemoryAreAnOrdinaryError)
{
    fresh();
    for (const char *size :
         { "999999999 999999999", "999999999999999 4", "4 999999999999999", "1000000000 1000000000" })
        expectfailure(std::string("xread ") + size + " a 000 b 000 c 000 d 000;",
                      "out of ram (change \"hold\" and/or \"mxram\")");
    expectfailure("xread 1234567890123456 4 a 000;", "Number too long");
}

TEST(Sizes, WithinAFixedArenaAreCheckedBeforeAnythingIsRead)
{
    fresh("mxram 0.3; mxram ]; nstates num 16;");
    expectfailure("xread 20000 10 a 000;", "out of ram (change \"hold\" and/or \"mxram\")");
    zelrun("mxram [; xread 3 4 a 000 b 001 c 011 d 111;");
    EXPECT_FALSE(zelfailed());
    fresh("mxram 16;");
}

TEST(Sizes, MakeTheArenaGrow)
{
    fresh("mxram 0.3; nstates num 16;");
    zelrun("xread / 3000 40 2;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(nc, 3000);
    EXPECT_GT(topram - memseg, 3000000);
    fresh("mxram 16;");
}

TEST(Sizes, AreSaidWithTheMemoryOfTheFormula)
{
    fresh("nstates num 8;");
    // 40 characters of 1 byte, 6 taxa, 11 nodes, names of 32, 8 states
    long a = 112 * 40 + 96 * 32 + 8 * 40 + 4 * 64 * 40, b = a + 24 * 11 + 40 * 6;
    long c = 11 * 128 + 11 + 32 * 6 + 512 + 4 * (19 * 11 + 2 * (2 * 32 * 11 + 6)) + b;
    char expected[200];
    snprintf(expected, sizeof expected, "Matrix (40x6, 8 states). Memory required for data: %.2f Mbytes\n",
             double(c / 4 * 5) / 1e6);
    std::string said = zelrun("xread / 40 6 2;");
    EXPECT_TRUE(says(said, expected)) << said << expected;
    said = zelrun("xwipe; mxram * 2; xread / 40 6 2; mxram * 1;");
    EXPECT_TRUE(says(said, "N.B.: allocating no less than 2.00 of expected RAM\n")) << said;
    fresh();
}

TEST(Replacing, WarnsWithBothNames)
{
    fresh();
    readdata("xread 3 4 a 000 b 001 c 011 d 111;");
    std::string old = dataname;
    zelrun("tread (0 (1 (2 3))); ccode + 0;");
    std::string said = readdata("xread 2 5 a 00 b 00 c 00 d 11 e 11;");
    EXPECT_TRUE(says(said, "Data from:\n\n")) << said;
    EXPECT_TRUE(says(said, "will be replaced with data from:"));
    EXPECT_TRUE(says(said, old));
    EXPECT_TRUE(says(said, dataname));
    EXPECT_EQ(nt, 5);
    EXPECT_EQ(trees_in_mem, 0);
    EXPECT_EQ(charcodes[0].additive, 0);
}

TEST(Replacing, ResetsTheRoomForTrees)
{
    fresh();
    readdata("xread 3 4 a 000 b 001 c 011 d 111;");
    zelrun("hold 300;");
    EXPECT_EQ(maxtrees, 300);
    readdata("xread 3 4 a 000 b 001 c 011 d 111;");
    EXPECT_EQ(maxtrees, 100);
    EXPECT_EQ(realmaxtrees, 100);
}

TEST(Replacing, DropsTheOldDataEvenWhenTheNewOnesFail)
{
    fresh();
    readdata("xread 3 4 a 000 b 001 c 011 d 111;");
    expectfailure("xread 3 4 a 000 b 0", "Unexpected end of file (possibly missing \"procedure/;\")");
    zelrun("ccode;");
    EXPECT_TRUE(zelfailed());
}

TEST(Xwipe, DropsTheData)
{
    fresh();
    readdata("xread 3 4 a 000 b 001 c 011 d 111;");
    zelrun("xwipe;");
    expectnodata();
    zelrun("xwipe;");
    EXPECT_FALSE(zelfailed());
}

TEST(Files, ThatAreNoMatrixFailCleanly)
{
    fresh();
    std::string all = "xread 3 4 ";
    for (int i = 0; i < 5000; ++i) all += char(i * 7 + i / 256);
    readdata(all);
    EXPECT_TRUE(zelfailed());
    expectnodata();
    expectfailure("xread 'no end\n3 4\na 000\n", "Unexpected end of file");
    expectfailure("xread 3 4\na 000\nb 010\n", "Unexpected end of file");
    expectfailure("xread 3 4\na 000\nb 010;", "Matrix ends before taxon 2; number of taxa set to 4");
    expectfailure("xread 3 4 a 000 b 010 c 000 d 000 e 111;",
                  "Matrix must end with a semicolon after taxon 3 (d); found 'e'");
    expectfailure("xread 3 4\na 000\nb 0[1", "Unexpected end of file");
    expectfailure("xread 3 4\n&[num\na 000\nb 0[1", "Unrecognized string in format command: a");
    readdata("");
    EXPECT_FALSE(zelfailed());
}

TEST(Files, EveryPrefixOfOneIsReadOrRefused)
{
    std::string text = "nstates 32;xread 'x' 8 5\n&[num]\naa 0[12]1\nbb 111\nc.. 0?-\nd 000\ne 111\n"
                       "&[dna gaps]\nb... AC\naa ..\nc.. A[CG]\nd -A\ne TT\n&[prot]\naa LMX\nbb LMV\nc.. LLL\nd ---\ne "
                       "LLL\n;\nproc/;\n";
    for (size_t n = 0; n <= text.size(); ++n) {
        fresh();
        readdata(text.substr(0, n));
        if (!zelfailed() && nt) checkmatrix();
        else expectnodata();
    }
}

TEST(Saving, WritesTheDataForEverySign)
{
    fresh();
    readdata("xread 3 4 a 000 b 001 c 011 d 111;");
    for (const char *form : { "xread *;", "xread !;", "xread -;", "xread :;", "xread [;" }) {
        EXPECT_TRUE(says(zelrun(form), "xread 'Data saved from ZEL'\n3 4\n&[num]\na ")) << form;
        EXPECT_FALSE(zelfailed());
    }
    EXPECT_EQ(nt, 4);
}

TEST(Names, HoldBlanksForCarets)
{
    fresh();
    readdata("xread 3 4 a^b 000 b 001 c 011 d 111;");
    EXPECT_STREQ(taxname[0], "a b");
}

TEST(Names, AreCutWithOneWarning)
{
    fresh();
    std::string name(40, 'n'), said = readdata("xread 3 4 a" + name + " 000 b" + name + " 001 c 011 d 111;");
    EXPECT_EQ(std::string(taxname[0]), ("a" + name).substr(0, 31));
    EXPECT_EQ(std::string(taxname[1]), ("b" + name).substr(0, 31));
    size_t at = said.find("Taxon names over 32 letters will be truncated");
    ASSERT_NE(at, std::string::npos);
    EXPECT_EQ(said.find("Taxon names over", at + 1), std::string::npos);
}

TEST(Names, AreNotCutInsideALetter)
{
    fresh();
    readdata("xread 3 4 " + std::string(30, 'n') + "\xc3\xa9 000 b 001 c 011 d 111;");
    EXPECT_EQ(std::string(30, 'n'), taxname[0]);
}

TEST(Names, MayBeLongerWhenSaidBefore)
{
    fresh();
    zelrun("taxname +45;");
    std::string name(44, 'n');
    readdata("xread 3 4 " + name + " 000 b 001 c 011 d 111;");
    EXPECT_EQ(name, taxname[0]);
    EXPECT_TRUE(says(zelrun("taxname +60;"), "Cannot change maximum name length after reading data"));
    zelrun("xwipe; taxname +;");
    EXPECT_TRUE(zelfailed());
    zelrun("taxname +32;");
    EXPECT_EQ(Namesize, 32);
}

TEST(Names, HaveUnderscoresForSignsWithAMeaning)
{
    fresh();
    std::string said = readdata("xread 3 4 a/b 000 b-c+d 001 c 011 d 111;");
    EXPECT_STREQ(taxname[0], "a_b");
    EXPECT_STREQ(taxname[1], "b_c_d");
    EXPECT_TRUE(says(said, "Symbol '/' in taxon names will be changed to '_' (=underscore)."));
    EXPECT_FALSE(says(said, "Symbol '-'"));
}

TEST(Interleaved, TakesBlocksInAnyOrderOfTaxa)
{
    fresh();
    readdata("xread 5 4\n&\na 00\nb 01\nc 11\nd 12\n& [num]\nd 000\nb 222\n\n a 111\n;");
    ASSERT_FALSE(zelfailed());
    EXPECT_EQ(cellsastext(), "00111 01222 11??? 12000");
    EXPECT_EQ(nblocks, 2);
    EXPECT_EQ(charcodes[1].block, 1);
    EXPECT_EQ(charcodes[2].block, 2);
    EXPECT_EQ(blockname, nullptr);
}

TEST(Interleaved, MayStartWithTheByteFour)
{
    fresh();
    readdata("xread 2 4 \4\na 00\nb 01\nc 11\nd 12\n;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(cellsastext(), "00 01 11 12");
}

TEST(Interleaved, WildNameIsARowForAllTaxaOfThePrefix)
{
    fresh();
    readdata("xread 4 5\n&\nab_1 00\nab_2 01\nac 11\nb 12\nc 00\n&\nab... 23\nac 00\nb 00\nc 11\n;");
    ASSERT_FALSE(zelfailed());
    EXPECT_EQ(cellsastext(), "0023 0123 1100 1200 0011");
    expectfailure("xread 4 4\n&\nab1 00\nab2 01\nac 11\nb 12\n&\nab2 00\nab... 23\n;",
                  "Error reading block 2: each taxon can appear only once - ab2 appears twice");
}

TEST(Interleaved, QuadrupleUnderscoreEndsWhatTellsTheTaxon)
{
    fresh();
    readdata("xread 4 4\n&\nTaxon____1 00\nb 01\nc 11\nd 12\n&\nTaxon____2 23\nb____x 00\nc 00\nd 11\n;");
    ASSERT_FALSE(zelfailed());
    EXPECT_EQ(cellsastext(), "0023 0100 1100 1211");
    EXPECT_STREQ(taxname[0], "Taxon____1");
    EXPECT_STREQ(taxname[1], "b");
}

TEST(Interleaved, MatchingIsCaseSensitive)
{
    fresh();
    readdata("xread 2 5\n&\nTax 0\nb 0\nc 1\nd 1\n&\ntax 1\nb 0\n;");
    ASSERT_FALSE(zelfailed());
    EXPECT_EQ(nt, 5);
    EXPECT_EQ(cellsastext(), "0? 00 1? 1? ?1");
}

TEST(Interleaved, SimilarNamesAreTheSameWithMatch)
{
    fresh();
    readdata(
        "xread 2 4\n&\nAnolis_cristatellus 0\nb 0\nc 1\nd 1\n&[match 0.99]\nb 0\nc 1\nd 0\nAnolis_cristatellus 1\n;");
    ASSERT_FALSE(zelfailed());
    EXPECT_EQ(cellsastext(), "01 00 11 10");
}

TEST(Interleaved, BlocksMayHaveNames)
{
    fresh();
    readdata("xread 4 4\n&[num /first]\na 00\nb 00\nc 11\nd 11\n&\na 0\nb 1\nc 1\nd 1\n&[/third num]\na 1\nb 1\nc 0\nd "
             "0\n;");
    ASSERT_FALSE(zelfailed());
    ASSERT_NE(blockname, nullptr);
    EXPECT_STREQ(blockname[0], "all");
    EXPECT_STREQ(blockname[1], "first");
    EXPECT_STREQ(blockname[3], "third");
    EXPECT_EQ(nblocks, 3);
    expectfailure("xread 4 4\n&[/ num]\na 00\n;", "Expected block name after slash");
}

TEST(Interleaved, RefusesWhatIsNoOption)
{
    fresh();
    expectfailure("xread 4 4\n&[num wrong]\na 00\n;", "Unrecognized string in format command: wrong");
    expectfailure("xread 4 4\n&[num\n5]\na 00\n;", "Expected format (dna, prot, contin, num) or closing bracket");
    expectfailure("xread 4 4\n&[prot]\na 00\n;",
                  "To read data as protein, must set nstates to 32 before reading matrix");
    expectfailure("xread 4 4\n&[cont]\na 00\n;",
                  "To read data as continuous, must set nstates to 32 before reading matrix");
    expectfailure("xread 4 4\n&[landmark 4D]\na 00\n;", "Landmark data must be 2D or 3D");
    expectfailure("xread 4 4\n&[landmark 2D]\na 00\n;", "not available yet");
}

TEST(Interleaved, RowsMustHaveTheWidthOfTheirBlock)
{
    fresh();
    expectfailure("xread 4 4\n&\na 00\nb 0\nc 11\n;", "Error reading block 1: too few chars. for b");
    expectfailure("xread 4 4\n&\na 00\nb 000\nc 11\n;", "Error reading block 1: too many chars. for b");
    expectfailure(
        "xread 2 4\n&\na 00\nb 00\nc 001\n;",
        "Error reading block 1, taxon c: too many characters \n   char. 1 (last char.) should be followed by newline");
    expectfailure("xread 2 4\n&\na 000\nb 00\nc 001\n;", "Error reading block 1, taxon a: too many characters");
}

TEST(Interleaved, RowsEndWithTheirLine)
{
    fresh();
    expectfailure("xread 2 4\n&\na\n00\nb 00\nc 11\nd 11\n;", "Error reading block 1: too few chars. for a");
    expectfailure("xread 2 4\n&\na 00\nb\n00\nc 11\nd 11\n;", "Error reading block 1: too few chars. for b");
}

TEST(Names, LongerThanAnyRoomAreReadToTheirEnd)
{
    fresh();
    readdata("xread 1 4 a" + std::string(5000, '1') + " 0 b 1 c 0 d 1;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(taxname[0], "a" + std::string(30, '1'));
    EXPECT_EQ(cellsastext(), "0 1 0 1");
}

// What may be behind a wrong symbol is said when files have a taxon a line, not otherwise.
TEST(WrongSizes, AreToldByTheLines)
{
    fresh();
    const char *rows = "\na 000\nb 001\nc 011\nd 111\n;";
    expectfailure(std::string("xread 4 4") + rows, "Is the number of characters (4) right?  The line of taxon 0 (a) "
                                                   "ends after 3\nFound alien symbol for taxon 2 (d)");
    expectfailure(std::string("xread 2 4") + rows,
                  "Is the number of characters (2) right?  The line of taxon 0 (a) goes on after them\n");
    expectfailure("xread 3 4\na 000\nZeus 0#0\n", "Found alien symbol for taxon 1 (Zeus), char. 1 (block 0): '#'");
    expectfailure("xread 4 4\na 000\nZeus 000\n",
                  "Is the number of characters (4) right?  The line of taxon 0 (a) ends after 3\nFound alien symbol "
                  "for taxon 0 (a), char. 3 (block 0): 'Z'");
    std::string said = readdata("xread 3 4 a 000 b 0#1 c 000 d 000;");
    EXPECT_FALSE(says(said, "right?")) << said;
    said = readdata("xread 6 4\na 000\n000\nb 000\n00#\n");
    EXPECT_TRUE(says(said, "The line of taxon 1 (b) ends after 3")) << said;
    expectnodata();
}

TEST(Interleaved, RefusesRowsThatCannotBe)
{
    fresh();
    expectfailure("xread 2 4\n&\na 00\nb 00\na 01\n;",
                  "Error reading block 1: each taxon can appear only once - a appears twice");
    expectfailure("xread 2 4\n&\na 0\nb 0\nc 0\nd 1\n&\na 0\ne 0\n;",
                  "Error reading block 2: e All taxon names already defined");
    expectfailure("xread 2 4\n&\na 0\nb 0\nc 0\nd 1\ne 0\n;",
                  "Error reading block 1 : can't have more than 4 taxa in a block");
}

TEST(Interleaved, LowersSizesToWhatWasDefined)
{
    fresh();
    std::string said = readdata("xread 5 6\n&\na 00\nb 01\nc 11\nd 12\n;");
    ASSERT_FALSE(zelfailed());
    EXPECT_TRUE(
        says(said, "Number of taxa set to 6, but only 4 taxon names defined.\nNumber of taxa will be re-set to 4"))
        << said;
    EXPECT_TRUE(
        says(said, "Number of characters set to 5, but characters 2-4 undefined\nNumber of chars. will be re-set to 2"))
        << said;
    EXPECT_EQ(nt, 4);
    EXPECT_EQ(nodz, 7);
    EXPECT_EQ(root, 6);
    EXPECT_EQ(nc, 2);
    checkmatrix();
    said = readdata("xread 3 4\n&\na 00\nb 01\nc 11\nd 12\n;");
    EXPECT_TRUE(
        says(said, "Number of characters set to 3, but character 2 undefined\nNumber of chars. will be re-set to 2"))
        << said;
    expectfailure("xread 2 4\n&\na 00\nb 01\n;", "Must specify number of taxa (4 or more)");
}

TEST(Interleaved, SaysWhatItReadWhenVerbose)
{
    fresh();
    std::string said = readdata("xread 3 5\n&[verbose]\na 00\nb 01\nc 11\nd 12\n&\ne 0\n&[verb]\n;");
    EXPECT_TRUE(says(said, "\nBlock 1: 4 taxa (4 total), 2 characters (2 total)\n")) << said;
    EXPECT_FALSE(says(said, "Block 2:"));
    EXPECT_TRUE(says(said, "\nBlock 3: 0 taxa (5 total), 0 characters (3 total)\n")) << said;
}

TEST(NewMatrix, IsMissingEverywhere)
{
    fresh();
    read_matrix(4, 5, 2);
    EXPECT_STREQ(dataname, "New Matrix");
    EXPECT_STREQ(taxname[4], "Taxon4");
    EXPECT_EQ(cellsastext(), "?,??? ?,??? ?,??? ?,??? ?,???");
    EXPECT_EQ(charcodes[1].type, DATA_CONT);
    EXPECT_EQ(charcodes[2].type, DATA_NUM);
    checkmatrix();
    fresh();
}
