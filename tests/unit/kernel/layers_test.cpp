// Layers that outlive a change of one beneath them.
#include "kernel/arena.h"
#include "kernel/layers.h"
#include "zeltest.h"
#include <gtest/gtest.h>
#include <cstring>
#include <string>

namespace {
int basetag, wordstag, othertag;
char *base;
char **words;
int *other, moves;

void movewords(const layermove &move)
{
    move.rows(words, 3);
    ++moves;
}

void moveother(const layermove &move) { move(other); }

struct Layers : testing::Test {
    void SetUp() override
    {
        zelrun("xwipe;");
        keeplayer(&wordstag, movewords);
        keeplayer(&othertag, moveother);
        moves = 0;
        relayer(&basetag, [] { base = zlo<char>(40); });
        relayer(&wordstag, [] {
            words = lorows<char>(3, 8);
            strcpy(words[0], "one"), strcpy(words[1], "two"), words[2] = nullptr;
        });
        relayer(&othertag, [] { other = zlo<int>(5); other[4] = 44; });
    }
    void TearDown() override
    {
        droplayer(&othertag);
        droplayer(&wordstag);
        droplayer(&basetag);
        checkarena();
    }
    void expectkept()
    {
        EXPECT_STREQ(words[0], "one");
        EXPECT_STREQ(words[1], "two");
        EXPECT_EQ(words[2], nullptr);
        EXPECT_EQ(other[4], 44);
        EXPECT_LT(basetag, wordstag);
        EXPECT_LT(wordstag, othertag);
        checkarena();
    }
};
}

TEST_F(Layers, AboveAGrowingOneMoveWithTheirPointers)
{
    for (size_t bytes : { 4000, 40, 0, 16, 1000 }) {
        relayer(&basetag, [&] { base = zlo<char>(bytes); });
        expectkept();
        EXPECT_EQ(reinterpret_cast<char *>(words), base + (bytes + 7) / 8 * 8);
    }
    EXPECT_EQ(moves, 5);
}

TEST_F(Layers, AmidOthersLeaveThoseBeneathAlone)
{
    base[39] = 'x';
    relayer(&wordstag, [] {
        words = lorows<char>(3, 80);
        strcpy(words[0], "one"), strcpy(words[1], "two"), words[2] = nullptr;
    });
    expectkept();
    EXPECT_EQ(base[39], 'x');
    EXPECT_EQ(moves, 0);
    droplayer(&wordstag);
    EXPECT_EQ(wordstag, 0);
    EXPECT_EQ(other[4], 44);
    EXPECT_EQ(reinterpret_cast<char *>(other), base + 40);
    relayer(&wordstag, [] { words = nullptr; });
    EXPECT_GT(wordstag, othertag);
}

TEST_F(Layers, DropTheDerivedOnesAboveAndKeepScratchAtTheHighEnd)
{
    lo<char>(100);
    lockram(&opttag);
    hi<char>(64);
    lockram(&schtag);
    char *scratch = hi<char>(24);
    strcpy(scratch, "scratch");
    char *low = hisegis();
    relayer(&basetag, [&] {
        char *more = hi<char>(8);
        EXPECT_LT(more, scratch);
        base = zlo<char>(strlen(scratch));
    });
    EXPECT_EQ(opttag, 0);
    EXPECT_EQ(schtag, 0);
    EXPECT_STREQ(scratch, "scratch");
    EXPECT_EQ(hisegis(), low);
    expectkept();
    freehi();
}

TEST_F(Layers, RoomIsWhatTheNewOneCanTake)
{
    constexpr int SCRATCH = 128;
    size_t bytes = size_t(relayroom(&basetag, SCRATCH));
    hi<char>(SCRATCH);
    relayer(&basetag, [&] { base = lo<char>(bytes); });
    expectkept();
    EXPECT_LT(relayroom(&basetag, double(vailram()) + 1), 0);
    freehi();
    EXPECT_EQ(relayroom(&basetag, SCRATCH), double(bytes));
    relayer(&basetag, [&] { base = lo<char>(40); });
}

TEST_F(Layers, OfNoLockAreNotDropped)
{
    int none = 0;
    droplayer(&none);
    expectkept();
}
