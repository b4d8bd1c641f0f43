// The program and the machine, and what is not there yet.
#include "extests.h"
#include "kernel/input.h"
#include <thread>
#include <unistd.h>

struct ExSet : testing::Test {
    ExSet()
    {
        somedata();
        zelrun("macro=;");
    }
    ~ExSet() override { zelrun("macro-;"); }
};

TEST_F(ExSet, TellsOfTheMachineAndTheProcess)
{
    EXPECT_EQ(valueof("mypid"), double(getpid()));
    EXPECT_EQ(valueof("cpus"), double(std::max(1u, std::thread::hardware_concurrency())));
    EXPECT_EQ(valueof("linux"), 1);
    EXPECT_EQ(valueof("gtk"), 1);
    EXPECT_EQ(valueof("windows"), 0);
    EXPECT_EQ(valueof("bground"), 0);
    inbground = 1;
    EXPECT_EQ(valueof("bground"), 1);
    inbground = 0;
    EXPECT_GT(valueof("usdram"), 1000);
    EXPECT_LT(valueof("usdram"), 16e6);
}

// The highest number of what there is none of is -1.
TEST_F(ExSet, CountsNoLinksAndNoLandmarks)
{
    for (const char *none : { "nnucs", "ncharaln", "lmnchar", "vtrees" }) EXPECT_EQ(valueof(none), -1) << none;
    EXPECT_EQ(valueof("isinnuc[3]"), 0);
    EXPECT_EQ(valueof("islmark[3]"), 0);
    EXPECT_TRUE(has(refusalof("isinnuc[10]"), "No character number 10"));
    zelrun("hold 20/10; tvault >0.2;");
    EXPECT_EQ(valueof("vtrees"), 2);
    EXPECT_EQ(valueof("ntrees"), 2);
    EXPECT_EQ(valueof("invault[0]"), 0);
    EXPECT_EQ(valueof("invault[1]"), 1) << "as the first one of the six";
    zelrun("tvault -; keep 0;");
    EXPECT_EQ(valueof("ntrees"), -1);
    EXPECT_EQ(valueof("tcount"), 0);
    EXPECT_EQ(valueof("bbtax"), 0);
    zelrun("xwipe;");
    zelrun("macro =;");
    for (const char *none : { "ntax", "nchar", "ntrees" }) EXPECT_EQ(valueof(none), -1) << none;
}

TEST_F(ExSet, CountsTheCellsAboveTheLastNamedVariable)
{
    zelrun("var = 0 first 1 second[7];");
    double with = valueof("freevars");
    zelrun("var = 8 third[5];");
    EXPECT_EQ(with - valueof("freevars"), 5);
}

TEST_F(ExSet, CountsTheHitsOfTheLastDrivenSearch)
{
    zelrun("hold 100; xmult = hits 3;");
    EXPECT_EQ(valueof("numhits"), 3);
    zelrun("xmult = hits 1;");
    EXPECT_EQ(valueof("numhits"), 1);
}
