// What the data layer holds besides the matrix, and cells as they are printed.
#include "zeltest.h"
#include "data/datamem.h"
#include "data/matrix.h"
#include "kernel/output.h"
#include "trees/treemodel.h"

static void readsome()
{
    zelrun("nstates num 8; procedure " + writefile("layers.xread", "xread 3 4 a 00[12] b 01? c 11* d 120; proc/;") + ";");
    ASSERT_FALSE(zelfailed());
}

TEST(DataLayer, HoldsClearedArraysForEditingAndDrawing)
{
    readsome();
    for (int n = 0; n < nodz; ++n) {
        EXPECT_EQ(taxisperm[n], 0);
        EXPECT_EQ(MarkedNod[n], 0);
        EXPECT_EQ(avgtermvals[n], 0);
        for (int i = 0; i < UNDOS; ++i) EXPECT_EQ(undo_tree[i][n], 0);
    }
    for (int t = 0; t < nt; ++t)
        for (int w = 0; w < SHRINKWORDS; ++w) EXPECT_EQ(tshrink[t][w], 0);
    allow_shrinkings = 0;
    readsome();
    EXPECT_EQ(tshrink, nullptr);
    allow_shrinkings = 1;
}

TEST(DataLayer, LinksNeedTheirShareOfTheExpectedSize)
{
    uint64_t plain = expectedsize(10, 8, 2);
    xlinks_allowed = 3;                                  // n = 30, m = 8 * 30 * 2 = 480
    EXPECT_EQ(expectedsize(10, 8, 2), plain + 16 * 10 + 12 * 30 + 8 * 480 + 2 * 480);
    xlinks_allowed = 0;
}

TEST(DataLayer, InASectorTheMinimaStandAndTheMaximaAreOneMore)
{
    readsome();
    ss_recurse_level = 1;
    for (int least : { 0, 3 }) {
        charcodes[1].minsteps = least;
        dominmax(1);
        EXPECT_EQ(charcodes[1].minsteps, least);
        EXPECT_EQ(charcodes[1].maxsteps, least + 1);
        EXPECT_EQ(charcodes[1].informative, least != 0);
    }
    ss_recurse_level = 0;
    dominmax(1);
    EXPECT_EQ(charcodes[1].minsteps, 2);                 // states 0, 1, 2
    EXPECT_EQ(charcodes[1].maxsteps, 2);                 // 0, 1, 1, 2 on a bush: all but the two alike change
}

static std::string printed(int c, int t)
{
    writestates(c, t);
    spewjn();
    return zelrun("");
}

TEST(PrintedCells, ShowStatesByTheirSymbolsOrNames)
{
    readsome();
    EXPECT_EQ(printed(0, 2), "1");
    EXPECT_EQ(printed(2, 0), "1, or 2");
    EXPECT_EQ(printed(2, 1), " ? ");
    EXPECT_EQ(printed(2, 2), "inapplic.");
    zelrun("cnames {2 surface absent smooth ; ;");
    EXPECT_EQ(printed(2, 0), "1, or 2");                 // names are not asked for
    use_charnames = 1;
    EXPECT_EQ(printed(2, 0), "smooth, or 2");            // a state without a name keeps its symbol
    EXPECT_EQ(printed(2, 3), "absent");
    EXPECT_EQ(printed(0, 2), "1");
    use_charnames = 0;
}
