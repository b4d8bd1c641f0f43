// The program and the machine, and what is not there yet.
#include "extests.h"
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
    EXPECT_GT(valueof("usdram"), 1000);
    EXPECT_LT(valueof("usdram"), 16e6);
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
