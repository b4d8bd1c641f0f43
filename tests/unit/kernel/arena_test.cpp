#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/output.h"
#include "kernel/textbuf.h"
#include "zeltest.h"
#include <cstring>
#include <sys/resource.h>

static size_t round8(size_t n) { return (n + 7) / 8 * 8; }

// What is printed while f runs under a recovery point; "" and true for a success.
static std::string said(void (*f)(), bool *finished = nullptr)
{
    textcursor at;
    std::string text;
    readnewtext(&at, &text);
    text.clear();
    bool ok = safecall(f);
    if (finished) *finished = ok;
    readnewtext(&at, &text);
    return text;
}

static std::string refusal(void (*f)())
{
    bool finished;
    std::string text = said(f, &finished);
    EXPECT_FALSE(finished);
    return text;
}

class Arena : public testing::Test {
protected:
    void SetUp() override
    {
        zelrun("xwipe;");
        zelrun("mxram 0.1;");
        freeli();
    }
    void TearDown() override
    {
        checkarena();
        kill_all_threads = nullptr;
        freeli();
        zelrun(";");                     // what a test printed is not left for the next
    }
};

TEST_F(Arena, LowEndGrowsUpAndHighEndGrowsDownInEights)
{
    char *low = lomark(), *high = himark();
    for (size_t n : { 1, 7, 8, 9, 100 }) {
        EXPECT_EQ(loram(n), low);
        low += round8(n);
        EXPECT_EQ(lomark(), low);
        high -= round8(n);
        EXPECT_EQ(hiram(n), high);
        EXPECT_EQ(himark(), high);
        checkarena();
    }
}

TEST_F(Arena, AllOfTheFreeGapCanBeTakenAndNotOneByteMore)
{
    EXPECT_NE(loram(vailram()), nullptr);
    EXPECT_EQ(vailram(), 0u);
    std::string text = refusal([] { loram(1); });
    EXPECT_NE(text.find(" - out of ram (change \"hold\" and/or \"mxram\")"), std::string::npos) << text;
    refusal([] { hiram(1); });
    refusal([] { zloram(1); });
    EXPECT_NE(refusal([] { safloram(1); }).find("Not enough RAM"), std::string::npos);
    EXPECT_EQ(vailram(), 0u);
    freelo();
    EXPECT_NE(hiram(vailram()), nullptr);
    EXPECT_EQ(vailram(), 0u);
}

TEST_F(Arena, HugeRequestsAreRefusedAndNotWrappedAround)
{
    refusal([] { loram(SIZE_MAX); });
    refusal([] { hiram(SIZE_MAX - 3); });
    std::string text = refusal([] { loray(SIZE_MAX / 8 + 1, 1, 1); });
    EXPECT_NE(text.find("Cannot allocate that much RAM!"), std::string::npos) << text;
    text = refusal([] { loray(1000, SIZE_MAX / 1000, 8); });
    EXPECT_NE(text.find("Cannot allocate that much RAM!"), std::string::npos) << text;
}

TEST_F(Arena, OutOfRamNamesTheCommandAndLeavesTheArenaUsable)
{
    snprintf(current_command, sizeof current_command, "bbreak");
    EXPECT_NE(refusal([] { loram(vailram() + 1); }).find("bbreak"), std::string::npos);
    EXPECT_NE(loram(vailram()), nullptr);
}

TEST_F(Arena, RequestOfNothingReturnsTheMarkAndMovesNothing)
{
    loram(24);
    char *low = lomark(), *high = himark();
    EXPECT_EQ(loram(0), low);
    EXPECT_EQ(zloram(0), low);
    EXPECT_EQ(fulloram(0), low);
    EXPECT_EQ(hiram(0), high);
    EXPECT_EQ(zhiram(0), high);
    EXPECT_EQ(lomark(), low);
    EXPECT_EQ(himark(), high);
}

TEST_F(Arena, FillingFormsFillTheirOwnExtentOnly)
{
    char *low = lomark(), *high = himark();
    memset(loram(64), 5, 64);
    loset(low);
    char *p = static_cast<char *>(zloram(13));
    for (int i = 0; i < 13; ++i) EXPECT_EQ(p[i], 0);
    char *q = static_cast<char *>(loram(48));
    for (int i = 0; i < 48; ++i) EXPECT_EQ(q[i], 5) << "byte " << i << " behind the request was touched";
    loset(low);
    p = static_cast<char *>(fulloram(24));
    for (int i = 0; i < 24; ++i) EXPECT_EQ(static_cast<unsigned char>(p[i]), 255);
    memset(hiram(64), 5, 64);
    hiset(high);
    p = static_cast<char *>(zhiram(16));
    for (int i = 0; i < 16; ++i) EXPECT_EQ(p[i], 0);
    q = static_cast<char *>(hiram(48));
    for (int i = 0; i < 48; ++i) EXPECT_EQ(q[i], 5);
}

TEST_F(Arena, RowsOfAnArrayAreContiguousAndInOrder)
{
    int **low = zlorows<int>(7, 5);
    int **high = hirows<int>(7, 5);
    for (int i = 0; i < 7; ++i) {
        EXPECT_EQ(low[i], low[0] + 5 * i);
        EXPECT_EQ(high[i], high[0] + 5 * i);
        for (int j = 0; j < 5; ++j) EXPECT_EQ(low[i][j], 0);
    }
    EXPECT_GE(reinterpret_cast<char *>(high), himark());
    EXPECT_LE(reinterpret_cast<char *>(low[0] + 35), lomark());
}

TEST_F(Arena, ExtendedArraysKeepTheirContents)
{
    int *low = lo<int>(5);
    for (int i = 0; i < 5; ++i) low[i] = 100 + i;
    int *same = static_cast<int *>(uniloralloc(low, 5, 20, sizeof(int)));
    EXPECT_EQ(same, low);
    EXPECT_EQ(lomark(), reinterpret_cast<char *>(low) + 80);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(same[i], 100 + i);

    int *high = hi<int>(5);
    for (int i = 0; i < 5; ++i) high[i] = 200 + i;
    int *moved = static_cast<int *>(unihiralloc(high, 5, 20, sizeof(int)));
    EXPECT_EQ(reinterpret_cast<char *>(moved), himark());
    for (int i = 0; i < 5; ++i) EXPECT_EQ(moved[i], 200 + i);

    short **rows = lorows<short>(6, 3);
    for (int i = 0; i < 6; ++i)
        for (int j = 0; j < 3; ++j) rows[i][j] = short(10 * i + j);
    loralloc(reinterpret_cast<void **>(rows), 6, 3, 11, sizeof(short));
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(rows[i], rows[0] + 11 * i);
        for (int j = 0; j < 3; ++j) EXPECT_EQ(rows[i][j], 10 * i + j);
    }
    EXPECT_EQ(lomark(), reinterpret_cast<char *>(rows[0]) + round8(6 * 11 * sizeof(short)));
}

TEST_F(Arena, MarksOutsideTheWorkingPartAreRefused)
{
    static int tag;
    loram(80);
    hiram(80);
    lockram(&tag);
    loram(40);
    hiram(40);
    EXPECT_NE(refusal([] { loset(minseg - 8); }).find("Heap deallocation error"), std::string::npos);
    EXPECT_NE(refusal([] { loset(loseg + 8); }).find("Heap deallocation error"), std::string::npos);
    EXPECT_NE(refusal([] { hiset(maxeg + 8); }).find("Heap deallocation error"), std::string::npos);
    EXPECT_NE(refusal([] { hiset(hiseg - 8); }).find("Heap deallocation error"), std::string::npos);
    loset(minseg + 3);
    EXPECT_EQ(lomark(), minseg + 8) << "low marks are rounded up";
    hiset(maxeg - 3);
    EXPECT_EQ(himark(), maxeg - 8) << "high marks are rounded down";
    wipetag(&tag);
}

TEST_F(Arena, FiftyLocksAreHeldAndTheNextIsRefused)
{
    static int tags[51];
    int held = nlocks;
    for (int i = held; i < 50; ++i) {
        loram(8);
        lockram(&tags[i]);
        EXPECT_EQ(tags[i], i + 1);
    }
    EXPECT_NE(refusal([] { lockram(&tags[50]); }).find("Too many ram locks"), std::string::npos);
    EXPECT_EQ(nlocks, 50);
    checkarena();
    for (int i = 49; i >= held; --i) wipetag(&tags[i]);
    EXPECT_EQ(nlocks, held);
    EXPECT_NE(refusal([] { lockram(nullptr); }).find("Void lock tag"), std::string::npos);
}

TEST_F(Arena, WipingALayerThatDoesNotExistIsNothingAndFreeingItAnError)
{
    static int tag;
    char *low = lomark();
    tag = 0;
    wipetag(&tag);
    EXPECT_EQ(lomark(), low);
    EXPECT_NE(refusal([] { freelock(&tag); }).find("Unlock error"), std::string::npos);
    EXPECT_NE(refusal([] { freelock(nullptr); }).find("Unlock error"), std::string::npos);
    tag = nlocks + 3;
    EXPECT_NE(refusal([] { wipetag(&tag); }).find("Unlock error"), std::string::npos);
    tag = 0;
}

TEST_F(Arena, LocksFreezeBothEndsAndWipingGivesBackWhatStoodAbove)
{
    static int lower, upper;
    loram(16);
    lockram(&lower);
    char *low = lomark(), *high = himark();
    loram(100);
    hiram(100);
    lockram(&upper);
    loram(10);
    freeli();
    EXPECT_EQ(lomark(), low + round8(100));
    EXPECT_EQ(himark(), high - round8(100));
    EXPECT_EQ(giveme_protralo(upper), lomark());
    wipetag(&upper);
    EXPECT_EQ(lomark(), low);
    EXPECT_EQ(himark(), high);
    EXPECT_EQ(upper, 0);
    lockram(&upper);
    wipetag(&lower);
    EXPECT_NE(upper, 0) << "only the wiped tag is cleared";
    EXPECT_NE(refusal([] { wipetag(&upper); }).find("Unlock error"), std::string::npos);
    upper = 0;
}

TEST_F(Arena, WorkersAreStoppedBeforeALayerFromTheSearchUpGoes)
{
    static int stops, below;
    stops = 0;
    kill_all_threads = [] { ++stops; };
    lockram(&below);
    lockram(&schtag);
    lockram(&packtag);
    wipetag(&packtag);
    EXPECT_EQ(stops, 1);
    wipetag(&schtag);
    EXPECT_EQ(stops, 2);
    wipetag(&below);
    EXPECT_EQ(stops, 2) << "no search layer any more";
}

TEST_F(Arena, MemoryUsedIsTheMostThatWasTaken)
{
    maxramused = 0;
    reset_ram_measure();
    uint64_t before = maxramused;
    char *mark = lomark();
    loram(1000);
    hiram(504);
    loset(mark);
    EXPECT_EQ(maxramused, before + 1504);
    reset_ram_measure();
    EXPECT_EQ(maxramused, before + 504);
    EXPECT_EQ(maxram_so_far, 0u);
}

TEST_F(Arena, AutomaticGrowthGivesAtLeastWhatWasAskedFor)
{
    ram_autoreset(3000000);
    EXPECT_GE(vailram() + 16, 3000000u);
    EXPECT_EQ(nlocks, 0);
    checkarena();
}

TEST_F(Arena, RandomUseKeepsEveryRegionApart)
{
    std::mt19937 random(7);
    struct region { char *at; size_t n; char fill; };
    std::vector<region> low, high;
    auto intact = [](const std::vector<region> &all) {
        for (const region &r : all)
            for (size_t i = 0; i < r.n; ++i)
                if (r.at[i] != r.fill) return false;
        return true;
    };
    for (int step = 0; step < 3000; ++step) {
        size_t n = random() % 200;
        bool atlow = random() % 2;
        std::vector<region> &end = atlow ? low : high;
        if (random() % 3 && n <= vailram()) {
            char *at = static_cast<char *>(atlow ? loram(n) : hiram(n));
            memset(at, step, n);
            end.push_back({ at, n, char(step) });
        } else if (!end.empty()) {
            size_t keep = random() % end.size();
            if (atlow) loset(end[keep].at);
            else hiset(end[keep].at + round8(end[keep].n));
            end.resize(keep);
        }
        checkarena();
    }
    EXPECT_TRUE(intact(low));
    EXPECT_TRUE(intact(high));
}

// --- mxram -------------------------------------------------------------------------------

TEST_F(Arena, MxramAsksForMillionsOfBytesAndSixteen)
{
    EXPECT_EQ(zelrun("mxram 16;"), "ZEL - max. ram = 16.00 Mbytes\nNo ram used yet\n");
    EXPECT_EQ(Minram, 16000016u);
    EXPECT_EQ(topram - memseg, 16000000);
    zelrun("mxram 2.5;");
    EXPECT_EQ(Minram, 2500016u);
    double mbytes;
    giveram(&mbytes);
    EXPECT_DOUBLE_EQ(mbytes, 2.5);
}

TEST_F(Arena, MxramAloneReports)
{
    EXPECT_EQ(zelrun("mxram;"), "ZEL - max. ram = 0.10 Mbytes\nNo ram used yet\n");
}

TEST_F(Arena, LayersOfTheReportAddUpWhicheverOfThemWasLockedFirst)
{
    auto layers = [](int *first, int *second) {
        zelrun("mxram 16;");
        loram(1000000);
        lockram(&datatag);
        loram(2000000);
        lockram(first);
        loram(3000000);
        lockram(second);
        std::string report = said(showram);
        for (int *tag : { second, first, &datatag }) wipetag(tag);
        return report;
    };
    std::string searchlast = layers(&opttag, &schtag), searchfirst = layers(&schtag, &opttag);
    EXPECT_NE(searchlast.find("    2.00 Mbytes for tree optimization\n    3.00 Mbytes for tree searches\n"), std::string::npos);
    EXPECT_NE(searchfirst.find("    3.00 Mbytes for tree optimization\n    2.00 Mbytes for tree searches\n"), std::string::npos);
}

TEST_F(Arena, TinyArenasAreValidAndRunOutInOrder)
{
    for (const char *size : { "mxram 0;", "mxram 0.000001;", "mxram 0.00001;", "mxram 0.00005;", "mxram 0.0001;" }) {
        zelrun(size);
        checkarena();
        refusal([] { loram(vailram() + 1); });
    }
    EXPECT_NE(zelrun("mxram 1;").find("ZEL - max. ram = 1.00 Mbytes\nNo ram used yet\n"), std::string::npos);
}

TEST_F(Arena, ExpectedMemoryIsScaledByAnythingButZero)
{
    zelrun("mxram * 2.5;");
    EXPECT_DOUBLE_EQ(ram_x_proportion, 2.5);
    zelrun("mxram * 1.0;");
    EXPECT_DOUBLE_EQ(ram_x_proportion, 0);
    for (const char *bad : { "mxram * 0;", "mxram *;" })
        EXPECT_NE(zelrun(bad).find("Specify proportion of expected RAM (can't be zero!)"), std::string::npos);
}

TEST_F(Arena, GrowthAndExtraMemoryAreSwitched)
{
    EXPECT_EQ(zelrun("mxram ];"), "Never increasing memory when reading a dataset\n");
    EXPECT_EQ(autoset_ram, 0);
    EXPECT_EQ(zelrun("mxram [;"), "If needed, increasing memory when reading a dataset\n");
    EXPECT_EQ(autoset_ram, 1);
    EXPECT_EQ(zelrun("mxram -;"), "No extra memory for searches\n");
    EXPECT_EQ(allow_extra_sch_mem, 0);
    EXPECT_EQ(zelrun("mxram +;"), "Minimum extra memory for searches is 5%\n");
    EXPECT_EQ(allow_extra_sch_mem, 1);
}

TEST_F(Arena, ASizeThatTheSystemRefusesIsHalved)
{
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer needs more address space than a limit can leave";
#else
    rlimit old, low;
    getrlimit(RLIMIT_AS, &old);
    low = old;
    low.rlim_cur = rlim_t(4) << 30;
    ASSERT_EQ(setrlimit(RLIMIT_AS, &low), 0);
    std::string text = zelrun("mxram 64000;");
    setrlimit(RLIMIT_AS, &old);
    EXPECT_NE(text.find("Allocation failure: not enough RAM available,\nallocated only "), std::string::npos) << text;
    EXPECT_GT(vailram(), 100u);
    EXPECT_LT(vailram(), size_t(4) << 30);
    checkarena();
#endif
}

TEST_F(Arena, MegabytesAreWholeAboveABillion)
{
    EXPECT_EQ(said([] { writembytes(1000000000); spewjn(); }), "1000.00 Mbytes");
    EXPECT_EQ(said([] { writembytes(1000000001); spewjn(); }), "1000 Mbytes");
    EXPECT_EQ(said([] { writembytes(2999999999); spewjn(); }), "2999 Mbytes");
    EXPECT_EQ(said([] { writembytes(123456); spewjn(); }), "0.12 Mbytes");
}
