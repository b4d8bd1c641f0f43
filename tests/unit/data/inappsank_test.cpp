// Inapplicable characters combined into one of step costs, and taken apart again.
#include "datatest.h"
#include "data/costs.h"
#include <cstdlib>

namespace {
// tail: absent in a and b; color of two, shape of three states.
const char *const TAIL = "xread 4 6 a 0??0 b 0??1 c 1001 d 1120 e 1?10 f ???1 ;\n"
                         "cnames {0 sup_tail none there ; {1 sub_tail_color red blue ; {2 sub_tail_shape flat round forked ; {3 eyes ; ;\n";

void read(const std::string &text = TAIL, const std::string &settings = "nstates num 8;")
{
    replace_cstrees = 0;
    fresh(settings);
    std::string said = readdata(text);
    ASSERT_FALSE(zelfailed()) << said;
}
}

TEST(Inapplicables, CombineIntoAStateForEachCombinationOfQualities)
{
    read();
    EXPECT_EQ(zelrun("smatrix &;"), "Converted 1 character complexes (set to Sankoff, with\n"
                                    "proper costs; also changed matrix and character names).\n");
    const charrec &r = charcodes[0];
    EXPECT_TRUE(r.sankoff);
    EXPECT_EQ(r.numstates, 7);
    EXPECT_FALSE(charcodes[1].active);
    EXPECT_FALSE(charcodes[2].active);
    EXPECT_TRUE(charcodes[3].active);
    // state 1 + color + 2 shape
    const uint32_t cells[] = { 1, 1, 1 << 1, 1 << 6, 1 << 3 | 1 << 4, MISSING };
    for (int t = 0; t < nt; ++t) EXPECT_EQ(cell(t, 0), cells[t]) << t;
    for (int x = 0; x < 6; ++x) {
        EXPECT_EQ(r.costs[0][x + 1], 3u) << "presence, color and shape";
        EXPECT_EQ(r.costs[x + 1][0], 3u);
        for (int y = 0; y < 6; ++y) EXPECT_EQ(int(r.costs[x + 1][y + 1]), int(x % 2 != y % 2) + int(x / 2 != y / 2));
    }
    EXPECT_STREQ(charnames[0], "sup_tail:tail_color+tail_shape");
    EXPECT_STREQ(statenames[0][0], "none");
    EXPECT_STREQ(statenames[0][1], "red_flat");
    EXPECT_STREQ(statenames[0][6], "blue_forked");
    EXPECT_STREQ(charnames[3], "eyes");
    EXPECT_EQ(zelrun("smatrix &;"), "Character 0 is already converted to Sankoff; it will be skipped\nNo conversions done \n");
    fresh();
}

TEST(Inapplicables, GoBackToWhatTheyWere)
{
    read();
    zelrun("ccode /3 0 + 2;");
    std::string cells = cellsastext(), codes = zelrun("ccode;");
    zelrun("smatrix &;");
    ASSERT_FALSE(zelfailed());
    EXPECT_NE(cellsastext(), cells);
    EXPECT_EQ(zelrun("smatrix &-;"), "1 character complexes set back to original form\n");
    EXPECT_EQ(cellsastext(), cells);
    EXPECT_EQ(zelrun("ccode;"), codes);
    EXPECT_STREQ(charnames[0], "sup_tail");
    EXPECT_EQ(charcodes[0].costs[0][1], 1u);
    EXPECT_EQ(zelrun("smatrix &-;"), "0 character complexes set back to original form\n");
    fresh();
}

TEST(Inapplicables, DifferencesAreThoseOfEachQuality)
{
    read();
    zelrun("ccode /2 1 /3 + 2 - /5 0; smatrix &;");
    ASSERT_FALSE(zelfailed());
    const charrec &r = charcodes[0];
    EXPECT_EQ(r.weight, 1) << "weights are in the costs";
    for (int x = 0; x < 6; ++x) {
        EXPECT_EQ(r.costs[0][x + 1], 5u + 2 + 3);
        for (int y = 0; y < 6; ++y) EXPECT_EQ(int(r.costs[x + 1][y + 1]), 2 * int(x % 2 != y % 2) + 3 * std::abs(x / 2 - y / 2));
    }
    fresh();
}

TEST(Inapplicables, TheAbsentStateMayBeTheSecond)
{
    read("xread 2 4 a 1? b 00 c 01 d 1- ;\ncnames {0 sup_x present absent ; {1 sub_x ; ;\n");
    zelrun("smatrix &;");
    ASSERT_FALSE(zelfailed());
    EXPECT_EQ(cell(0, 0), 1u);
    EXPECT_EQ(cell(1, 0), 2u);
    EXPECT_EQ(cell(2, 0), 4u);
    EXPECT_EQ(cell(3, 0), 1u);
    zelrun("smatrix &-;");
    EXPECT_EQ(cell(0, 0), 2u);
    EXPECT_EQ(cell(2, 0), 1u);
    EXPECT_STREQ(statenames[0][1], "absent");
    fresh();
}

TEST(Inapplicables, BelongToTheLongestNameThatFits)
{
    read("xread 4 4 a 000? b 0?1? c 1010 d 1111 ;\n"
         "cnames {0 sup_tail ; {1 sub_tail_a ; {2 sup_tailfin ; {3 sub_tailfin_a ; ;\n");
    zelrun("xread = 1 0 ?; xread = 1 1 ?;");
    EXPECT_TRUE(says(zelrun("smatrix &;"), "Converted 2 character complexes"));
    EXPECT_EQ(charcodes[0].numstates, 3);
    EXPECT_EQ(charcodes[2].numstates, 3);
    fresh();
}

TEST(Inapplicables, AreRefusedInTheirOwnWords)
{
    fresh("nstates num 8;");
    readdata("xread 2 4 a 00 b 01 c 11 d 10;");
    EXPECT_TRUE(says(zelrun("smatrix &;"), "Must name characters before combining inapplicables"));
    readdata("cnames {0 one ; {1 two ; ;");
    EXPECT_EQ(zelrun("smatrix &;"), "No conversions done \n");

    read("xread 2 4 a 00 b 01 c 11 d 10 ;\ncnames {0 sup_x ; {1 sub_x ; ;\n");
    std::string said = zelrun("smatrix &;");
    EXPECT_TRUE(zelfailed());
    EXPECT_TRUE(says(said, "Taxon 0 (a) is absent or missing in character 0 (sup_x)\nbut it has a state in character 1 (sub_x)")) << said;
    EXPECT_FALSE(charcodes[0].sankoff);

    read("xread 2 4 a 2? b 1? c 11 d 10 ;\ncnames {0 sup_x ; {1 sub_x ; ;\n");
    EXPECT_TRUE(says(zelrun("smatrix &;"), "Character 0 (sup_x) can have states 0 and 1 only (absent and present)"));

    read("xread 2 4\n&[cont]\na 1.5\nb 1.0\nc 2.0\nd 3.0\n&[num]\na 0\nb 1\nc 1\nd 1\n;\ncnames {0 sub_x ; {1 sup_x ; ;\n", "nstates num 32;");
    EXPECT_TRUE(says(zelrun("smatrix &;"), "Character 0 (sub_x) is continuous: it cannot be combined"));

    read("xread 3 4 a 0?? b 100 c 111 d 122 ;\ncnames {0 sup_x ; {1 sub_x1 ; {2 sub_x2 ; ;\n");
    EXPECT_TRUE(says(zelrun("smatrix &;"), "Combining characters subordinate to 0 (sup_x)\nresults in too many states (10, current max. is 8).\n"
                                           "Cannot convert. Sorry.\n"));
    read("xread 3 4 a 0?? b 100 c 111 d 122 ;\ncnames {0 sup_x ; {1 sub_x1 ; {2 sub_x2 ; ;\n", "nstates num 16;");
    zelrun("smatrix &;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(charcodes[0].numstates, 10);
    fresh();
}
