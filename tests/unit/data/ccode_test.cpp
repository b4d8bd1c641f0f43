#include "zeltest.h"
#include "data/ccode.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include <cstring>

namespace {
void data(const std::string &settings = "")
{
    std::string text = "xread\n9 5\nA 000000012\nB 001111111\nC 111012212\nD 110122222\nE 011201201\n;\n";
    zelrun("silent=all; proc " + writefile("ccode.zel", text + settings + "\nproc/;\n") + "; silent-all;");
    ASSERT_EQ(nc, 9);
}

std::string flags()
{
    std::string s;
    for (int c = 0; c < nc; ++c) {
        const charrec &r = charcodes[c];
        s += r.sankoff ? '(' : r.additive ? '+' : '-';
        s += r.active ? '[' : ']';
    }
    return s;
}
}

TEST(Ccode, SpecifiersHoldForTheListsBehindThem)
{
    data();
    zelrun("ccode + 0.3 - 1 ] 2 [ 4 /5 6. =7 8;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(flags(), "+[-[-]+[-[-[-[-[-[");
    const int weights[] = { 1, 1, 1, 1, 1, 1, 5, 5, 5 };
    for (int c = 0; c < nc; ++c) EXPECT_EQ(charcodes[c].weight, weights[c]);
    EXPECT_EQ(charcodes[8].internal_steps, 7);
    EXPECT_EQ(charcodes[7].internal_steps, 0);
}

TEST(Ccode, AStarForgetsSpecifiers)
{
    data();
    zelrun("ccode + ] /3 * 0.2 ; ccode + /3 0 * ] 1;");
    EXPECT_EQ(flags(), "+[-]-[-[-[-[-[-[-[");
    EXPECT_EQ(charcodes[1].weight, 1);
}

TEST(Ccode, WithoutAListChangesNothing)
{
    data();
    zelrun("ccode + 0 3; ccode ] 3 4;");
    std::string before = flags();
    EXPECT_EQ(zelrun("ccode + ;"), "Characters: additive \n 0 3\n");
    EXPECT_EQ(zelrun("ccode ] ;"), "Characters: inactive \n 3 4\n");
    EXPECT_EQ(zelrun("ccode + ] ;"), "Characters: additive inactive \n 3\n");
    EXPECT_EQ(zelrun("ccode (;"), "Characters: Sankoff \n");
    EXPECT_EQ(zelrun("ccode -[ ;"), "Characters: nonadditive active \n 1 2 5 6 7 8\n");
    EXPECT_EQ(zelrun("ccode ) ;"), "Characters: non-Sankoff \n 0 1 2 3 4 5 6 7 8\n");
    EXPECT_EQ(zelrun("ccode -+ ;"), "Characters: additive \n 0 3\n") << "the last one counts";
    EXPECT_EQ(zelrun("ccode + * ] ;"), "Characters: inactive \n 3 4\n") << "a star forgets";
    zelrun("ccode /20 5 * =9 6 7;");
    EXPECT_EQ(zelrun("ccode /20 ;"), "Characters: weight 20 \n 5\n");
    EXPECT_EQ(zelrun("ccode [/1=9 ;"), "Characters: active weight 1 internal steps 9 \n 6 7\n");
    EXPECT_EQ(flags(), before);
}

TEST(Ccode, ShowsFiveCharactersALine)
{
    data();
    zelrun("ccode + 1 ] 2 ( 3 /20 5;");
    EXPECT_EQ(zelrun("ccode;"),
              "-[/1     0     +[/1     1     +]/1     2     (]/1     3     -[/1     4\n"
              "(]/20    5     -[/1     6     -[/1     7     -[/1     8\n");
}

TEST(Ccode, GoesBackToWhatWasStored)
{
    data();
    zelrun("ccode + 0 ] 1 /4 2; ckeep; ccode - 0 [ 1 /1 2 ( 5; ");
    std::string changed = flags();
    zelrun("ccode !;");
    EXPECT_NE(flags(), changed);
    EXPECT_EQ(flags(), "+[+]+]-[-[-[-[-[-[");
    EXPECT_EQ(charcodes[2].weight, 4);
}

TEST(Ccode, InTheDataFileIsStored)
{
    data("ccode + 3 ] 4;");
    zelrun("ccode - 3 [ 4; ccode !;");
    EXPECT_EQ(flags(), "-[-[-[+[+]-[-[-[-[");
}

TEST(Ccode, TypedIsNotStored)
{
    data();
    zelrun("ccode + 3; ccode !;");
    EXPECT_EQ(flags(), "-[-[-[-[-[-[-[-[-[");
}

TEST(Ccode, TakesGroupsAndBlocks)
{
    data();
    chargroup[2] = chargroup[7] = 1u << 3;
    chargroupdef = 1u << 3;
    strcpy(chargroupname[3], "Wings");
    zelrun("ccode + {wing} ] {3} ;");
    EXPECT_EQ(flags(), "-[-[+]-[-[-[-[+]-[");
    zelrun("ccode [ @0 2 7 /6 @0;");
    EXPECT_EQ(flags(), "-[-[+[-[-[-[-[+[-[");
    for (int c = 0; c < nc; ++c) EXPECT_EQ(charcodes[c].weight, 6);
}

TEST(Ccode, SemiadditiveCharactersCostOneToTheNextStateAndTwoElsewhere)
{
    data();
    zelrun("ccode ~ 4;");
    EXPECT_EQ(flags(), "-[-[-[-[([-[-[-[-[");
    ASSERT_EQ(charcodes[4].numstates, 3);
    const uint32_t expected[3][3] = { { 0, 1, 2 }, { 1, 0, 1 }, { 2, 1, 0 } };
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_EQ(charcodes[4].costs[i][j], expected[i][j]);
}

TEST(Ccode, TypesOfChangeRecomputeTheMinima)
{
    data();
    EXPECT_EQ(charcodes[3].minsteps, 2);
    zelrun("ccode + 3;");
    EXPECT_EQ(charcodes[3].minsteps, 2);
    EXPECT_EQ(charcodes[3].maxsteps, 3);
    EXPECT_EQ(ccodetag, 1);
}

TEST(Ccode, RefusesInItsOwnWords)
{
    data();
    struct { const char *text, *words; } cases[] = {
        { "ccode =101 2;", "Internal steps can be set to a maximum of 100" },
        { "ccode + 2 a;", "Error in ccode: illegal character found" },
        { "ccode 9;", "Error in scope: character 9 ?" },
        { "ccode 3.9;", "Error in scope: character 9 ?" },
        { "ccode @5 1;", "Only valid blocks are 0 - 0" },
        { "ccode @ ;", "Must give a block number ( 0 - 0 ) after @" },
        { "ccode {2};", "No group number 2" },
        { "ccode {32};", "No group number 32" },
        { "ccode {x};", "No character group named x" },
        { "ccode {(};", "Found allien character within brackets" },
        { "ccode {1;", "No group number 1" },
        { "ccode { ;", "Unexpected semicolon within brackets" },
        { "ccode ^1;", "No character complexes defined" },
        { "ccode /99999999999 1;", "Character weight 99999999999 is too large" },
    };
    for (const auto &c : cases) {
        std::string said = zelrun(c.text);
        EXPECT_TRUE(zelfailed()) << c.text;
        EXPECT_NE(said.find(c.words), std::string::npos) << c.text << "\n" << said;
    }
}

TEST(Ccode, NeedsData)
{
    zelrun("xwipe;");
    const struct { const char *text, *words; } cases[] = {
        { "ccode ;", "Must read data before setting character codes" },
        { "ccode ! ;", "Must read data before resetting ccode" },
        { "ckeep ;", "Must read data before storing ccode" },
    };
    for (const auto &c : cases) {
        std::string said = zelrun(c.text);
        EXPECT_NE(said.find(c.words), std::string::npos) << c.text << "\n" << said;
    }
}
