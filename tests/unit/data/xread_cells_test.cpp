// Symbols of states and continuous values.
#include "datatest.h"
#include "data/datamem.h"
#include "data/symbols.h"
#include <cctype>
#include <cstring>

static uint32_t cellof(const std::string &symbol)     // read as the only cell of taxon 3
{
    readdata("xread 1 4 a ? b ? c ? d " + symbol + ";");
    return zelfailed() ? 0 : cell(3, 0);
}

TEST(Symbols, OfNumericDataDependOnTheWidth)
{
    for (int states : { 8, 16, 32 }) {
        fresh("nstates num " + std::to_string(states) + ";");
        for (int s = 0; s < 32; ++s) {
            std::string symbol(1, "0123456789ABCDEFGHIJKLMNOPQRSTUV"[s]);
            uint32_t want = s < states ? uint32_t{1} << s : 0;
            EXPECT_EQ(cellof(symbol), want) << states << " " << symbol;
            symbol[0] = char(tolower(symbol[0]));
            EXPECT_EQ(cellof(symbol), want) << states << " " << symbol;
        }
        uint32_t all = states == 32 ? 0xFFFFFFFF : (1u << states) - 1;
        EXPECT_EQ(cellof("?"), all);
        EXPECT_EQ(cellof("-"), all);
        EXPECT_EQ(cellof("*"), all >> 1);
        EXPECT_EQ(MISSING, all);
        EXPECT_EQ(INAPPSET, all >> 1);
    }
}

TEST(Symbols, OfDnaAreTheIupacCodes)
{
    fresh("nstates dna gaps;");
    struct { const char *symbols; const char *bases; } codes[] = {
        { "Aa", "A" }, { "Gg", "G" }, { "Cc", "C" }, { "TtUu", "T" }, { "Rr", "AG" }, { "Mm", "AC" }, { "Ww", "AT" },
        { "Ss", "CG" }, { "Kk", "GT" }, { "Yy", "CT" }, { "Vv", "ACG" }, { "Hh", "ACT" }, { "Dd", "AGT" },
        { "Bb", "CGT" }, { "Nn", "ACGT" }, { "-", "-" }
    };
    for (auto &code : codes) {
        uint32_t want = 0;
        for (const char *b = code.bases; *b; ++b) want |= 1u << (strchr("AGCT-", *b) - "AGCT-");
        for (const char *s = code.symbols; *s; ++s) EXPECT_EQ(cellof(std::string(1, *s)), want) << *s;
    }
    EXPECT_EQ(cellof("?"), 255u);
    EXPECT_EQ(cellof("*"), 127u);
    for (const char *alien : { "E", "x", "#", "8" }) EXPECT_EQ(cellof(alien), 0u) << alien;
    fresh();
}

TEST(Symbols, OfProteinsAreTheOneLetterCodes)
{
    fresh("nstates prot gaps;");
    const char *order = "ACDEFGHIKLMNPQRSTVWYU-";
    for (int s = 0; order[s]; ++s) EXPECT_EQ(cellof(std::string(1, order[s])), 1u << s) << order[s];
    EXPECT_EQ(cellof("B"), 0x804u);
    EXPECT_EQ(cellof("z"), 0x2008u);
    EXPECT_EQ(cellof("X"), 0xFFFFFFFFu);
    EXPECT_EQ(cellof("*"), 0x1FFFFFu);
    EXPECT_EQ(cellof("J"), 0u);
    fresh();
}

TEST(Symbols, AreShownByTheLastCharacterThatMeansTheState)
{
    fresh("nstates num 32;");
    for (int s = 0; s < 32; ++s) EXPECT_EQ(anti_mask[s], "0123456789abcdefghijklmnopqrstuv"[s]);
    EXPECT_STREQ(state_mask, "0123456789ABCDEFGHIJKLMNOPQRSTUV");
}

TEST(Brackets, HoldTheUnionOfTheirSymbols)
{
    fresh();
    EXPECT_EQ(cellof("[013]"), 0xBu);
    EXPECT_EQ(cellof("[ 0 1 ]"), 3u);
    EXPECT_EQ(cellof("[2]"), 4u);
    EXPECT_EQ(cellof("[1?]"), MISSING);
    EXPECT_EQ(cellof("[1-]"), 2u);
    EXPECT_EQ(cellof("[-]"), MISSING);
    readdata("xread 2 4 a [][01] b 11 c 11 d 12;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(cell(0, 0), 0u);
    expectfailure("xread 1 4 a 0 bb [1#] c 1 d 0;", "Unexpected state reading char. 0 for taxon bb: #\n");
}

TEST(Symbols, ThatMeanNothingAreNamedWithTheirPlace)
{
    fresh("nstates num 8;");
    expectfailure("xread 3 4 a 000 bb 018 c 000 d 000;", "Found alien symbol for taxon 1 (bb), char. 2 (block 0): '8'");
    expectfailure("xread 3 4\n&\na 0\n b 1\nc 0\nd 0\n&\na 0{\n;",
                  "Found alien symbol for taxon 0 (a), char. 2 (block 2): '{'");
    for (const char *other : { "(01)", "{01}" }) EXPECT_EQ(cellof(other), 0u);
    fresh();
}

TEST(Gaps, AreMissingOrAStateWithOneWarning)
{
    const char *warning =
        "Gaps will be read as an additional state\nTo read gaps as missing entries, change data format";
    fresh("nstates dna nogaps;");
    std::string said = readdata("xread 3 4 a A-C b A-- c ACC d GTT;");
    EXPECT_EQ(cell(0, 1), 15u);
    EXPECT_FALSE(says(said, warning));
    fresh("nstates dna gaps;");
    said = readdata("xread 3 4 a A-C b A-- c ACC d GTT;");
    EXPECT_EQ(cell(0, 1), 16u);
    size_t at = said.find(warning);
    ASSERT_NE(at, std::string::npos);
    EXPECT_EQ(said.find(warning, at + 1), std::string::npos);
    fresh("nstates prot nogaps;");
    readdata("xread 3 4 a A-C b A-- c ACC d GTT;");
    EXPECT_EQ(cell(0, 1), 0x1FFFFFu);
    fresh();
}

TEST(Gaps, OfABlockDoNotOutliveIt)
{
    fresh("nstates dna nogaps;");
    readdata("xread 2 4\n&[gaps]\na -\nb A\nc A\nd C\n&\na -\nb A\nc A\nd C\n;");
    EXPECT_EQ(cell(0, 0), 16u);
    EXPECT_EQ(cell(0, 1), 15u);
    EXPECT_EQ(read_gaps_as_missing, 1);
    fresh();
}

TEST(Gaps, AtTheEndsOfRowsCanBeTrimmed)
{
    fresh("nstates dna gaps;");
    readdata("xread 12 4\n&[trimtail trimhead]\na -A-C--\nb AAACCC\nc -AACC-\nd ------\n&[trimtail]\na -A-C--\nb "
             "AAACCC\nc AAACCC\nd AAACCC\n;");
    ASSERT_FALSE(zelfailed());
    EXPECT_EQ(cellsastext(), "?A-C?" "?-A-C?" "? AAACCCAAACCC ?AACC?AAACCC ??????AAACCC");
    fresh();
}

TEST(MatchSymbol, CopiesTheFirstTaxon)
{
    fresh("nstates dna;");
    readdata("xread 4 4 a ACG[AT] b .... c C..A d ...;");
    EXPECT_TRUE(zelfailed());
    readdata("xread 4 4 a ACG[AT] b .... c C..A d ...C;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(cellsastext(), "ACG[AT] ACG[AT] CCGA ACGC");
    expectfailure("xread 4 4 a A.GT b ....;", "The match symbol ('.') cannot be used for taxon 0");
    fresh();
    EXPECT_EQ(cellof("."), 0u);
}

TEST(Types, OfColumnsAreSettledByTheFirstSymbol)
{
    fresh("nstates dna;");
    std::string said = readdata("xread 4 4 a ?A0A b ?C1C c ?A0? d ?[CT]1?;");
    ASSERT_FALSE(zelfailed());
    EXPECT_EQ(charcodes[0].type, DATA_NUM);
    EXPECT_EQ(charcodes[1].type, DATA_DNA);
    EXPECT_EQ(charcodes[2].type, DATA_NUM);
    EXPECT_EQ(charcodes[3].type, DATA_DNA);
    EXPECT_TRUE(says(said, "Data were read as mixed types: numeric and DNA\n")) << said;
    expectfailure("xread 2 4 a AA bb 0A c AA d AA;", "Taxon bb - ch. 0 was non-alphanumeric for previous taxa!");
    expectfailure("xread 2 4 a 0A bb AA c AA d AA;", "Taxon bb - ch. 0 was alphanumeric for previous taxa!");
    fresh();
}

TEST(Types, MayBeMixedByBlocks)
{
    fresh("nstates num 32;");
    std::string said = readdata("xread 7 4\n&[cont]\na 1.5 2\nb 1 ?\nc 1 1\nd 0 2\n&[dna]\na AC\nb AC\nc GG\nd TT\n"
                                "&[prot]\na LV\nb LV\nc LV\nd LV\n&[num]\na 1\nb V\nc 1\nd 0\n;");
    ASSERT_FALSE(zelfailed()) << said;
    EXPECT_TRUE(says(said, "Data were read as mixed types: numeric, DNA, proteins and continuous\n")) << said;
    int types[] = { DATA_CONT, DATA_CONT, DATA_DNA, DATA_DNA, DATA_PROT, DATA_PROT, DATA_NUM };
    for (int c = 0; c < 7; ++c) EXPECT_EQ(charcodes[c].type, types[c]) << c;
    EXPECT_EQ(types_read, DATA_CONT | DATA_DNA | DATA_PROT | DATA_NUM);
    EXPECT_EQ(data_type, DATA_NUM);
    EXPECT_EQ(MISSING, 0xFFFFFFFF);
    EXPECT_EQ(num_continuous_chars, 2);
    EXPECT_EQ(cellsastext(), "1.500,2.000ACLV1 1.000,?ACLVV 1.000,1.000GGLV1 0.000,2.000TTLV0");
    expectfailure("xread 3 4\n&[dna]\na A\nb A\nc A\nd A\n&[cont]\na 1.0\n;",
                  "Continuous characters must precede all other ones!");
    fresh();
}

// --- Continuous ---

static uint32_t rangeof(const std::string &text) { return cellof(text); }
static uint32_t bounds(uint32_t low, uint32_t high) { return high << 16 | low; }

TEST(Continuous, ValuesHaveThreeDecimals)
{
    fresh("nstates cont;");
    EXPECT_EQ(rangeof("1"), bounds(1000, 1000));
    EXPECT_EQ(rangeof("0.29"), bounds(290, 290));
    EXPECT_EQ(rangeof("1.001"), bounds(1001, 1001));
    EXPECT_EQ(rangeof("1.0019"), bounds(1001, 1001));
    EXPECT_EQ(rangeof(".5"), bounds(500, 500));
    EXPECT_EQ(rangeof("0-65"), bounds(0, 65000));
    EXPECT_EQ(rangeof("3.5-1.25"), bounds(1250, 3500));
    EXPECT_EQ(rangeof("1.5/0.2"), bounds(1300, 1700));
    EXPECT_EQ(rangeof("1.5\xb1""0.2"), bounds(1300, 1700));
    EXPECT_EQ(rangeof("1.5\xf1""0.2"), bounds(1300, 1700));
    EXPECT_EQ(rangeof("1.5\xc2\xb1""0.2"), bounds(1300, 1700));
    EXPECT_EQ(rangeof("1/3"), bounds(0, 4000));
    EXPECT_EQ(rangeof("1.2e1"), bounds(12000, 12000));
    EXPECT_EQ(rangeof("?"), CONT_MISSING);
    EXPECT_EQ(rangeof("*"), CONT_INAPP);
    for (int i = 0; i <= 65000; i += 371) {
        char text[20];
        snprintf(text, sizeof text, "%i.%03i", i / 1000, i % 1000);
        uint32_t x = uint32_t(i);
        EXPECT_EQ(rangeof(text), bounds(x, x)) << text;
    }
    expectfailure("xread 1 4 a 1 bb x c 1 d 1;", "Taxon 1 (bb), char. 0 (block 0): expecting real number; found 'x'");
    fresh();
}

TEST(Continuous, ValuesThatAreNoNumbersFail)
{
    fresh("nstates cont;");
    expectfailure("xread 1 4 a 1.2.3 b 1 c 1 d 1;",
                  "Taxon 0 (a), char. 0 (block 0): expecting real number; found '.'");
    expectfailure("xread 1 4 a 1 b -2 c 1 d 1;", "Taxon 1 (b), char. 0 (block 0): expecting real number; found '-'");
    expectfailure("xread 1 4 a 1 b 2- c 1 d 1;", "Taxon 1 (b), char. 0 (block 0): expecting real number; found ' '");
    for (const char *large : { "1e400", "9e9", "12345678901234" })
        expectfailure(std::string("xread 1 4 a 1 b ") + large + " c 1 d 1;",
                      "Taxon 1 (b), char. 0 (block 0): number is too large");
    EXPECT_EQ(rangeof("1e-400"), 0u);
    fresh();
}

TEST(Continuous, CellsOfTaxaNotInABlockAreMissing)
{
    fresh("nstates cont;");
    readdata("xread 2 5\n&\na 1\nb 2\nc 3\nd 4\n&\ne 5\n;");
    EXPECT_EQ(cellsastext(), "1.000,? 2.000,? 3.000,? 4.000,? ?,5.000");
    checkmatrix();
    fresh();
}

TEST(Continuous, LargeValuesAreScaledToTheRangeOfTheirCharacter)
{
    fresh("nstates cont;");
    std::string said = readdata("xread 2 6 a 10 1 b 65.5 2 c 20-40 3 d ? 4 e * 64 f 110 65;");
    ASSERT_FALSE(zelfailed());
    EXPECT_TRUE(says(said, "Taxon 1 (b), char. 0 (block 0): continuous characters with\nmaximum beyond 65.000 will be "
                           "rescaled to fit the 0-65 range"))
        << said;
    EXPECT_EQ(said.find("will be rescaled"), said.rfind("will be rescaled"));
    EXPECT_DOUBLE_EQ(cont_scale_back[0].factor, 650.0);          // 65000 over a range of 100
    EXPECT_DOUBLE_EQ(cont_scale_back[0].offset, 0.01);
    EXPECT_EQ(cont_scale_back[1].factor, 1);
    EXPECT_EQ(cont_scale_back[1].offset, 0);
    uint32_t want[] = { bounds(0, 0), bounds(36075, 36075), bounds(6500, 19500),
                        CONT_MISSING, CONT_INAPP,           bounds(65000, 65000) };
    for (int t = 0; t < 6; ++t) {
        EXPECT_EQ(cell(t, 0), want[t]) << t;
        EXPECT_EQ(cell(t, 1), bounds(t == 4   ? 64000
                                     : t == 5 ? 65000
                                              : uint32_t(t + 1) * 1000,
                                     t == 4   ? 64000
                                     : t == 5 ? 65000
                                              : uint32_t(t + 1) * 1000));
    }
    EXPECT_NEAR(originalvalue(0, 36075), 65.5, 1e-9);
    zelrun("nstates [;");
    char text[80];
    copystates(0, 1, text);
    EXPECT_STREQ(text, "65.500");
    zelrun("nstates ];");
    copystates(0, 1, text);
    EXPECT_STREQ(text, "36.075");
    fresh();
}

TEST(Continuous, OneLargeValueAloneIsScaledToo)
{
    fresh("nstates cont;");
    readdata("xread 1 4 a 100 b 100 c ? d 100;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(cell(0, 0), bounds(0, 0));
    EXPECT_NEAR(originalvalue(0, 0), 100, 1e-9);
    fresh();
}

TEST(AnyLowerStates, CountAsMissingButAreNotMissing)
{
    fresh("nstates num 32;");
    readdata("xread 1 5 a 0 b * c 1 d 1 e 0;");
    EXPECT_EQ(cell(1, 0), 0x7FFFFFFFu);
    EXPECT_NE(cell(1, 0), MISSING);
    EXPECT_TRUE(ismissing(cell(1, 0)));
    EXPECT_EQ(charcodes[0].sets, 3u);
    EXPECT_EQ(charcodes[0].haspoly, 0);
    fresh();
}
