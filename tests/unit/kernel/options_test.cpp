#include "zeltest.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/options.h"
#include "kernel/typos.h"
#include "kernel/window.h"

static int flagged, replicas, depth, method, called;
static double factor;
static const optrow rows[] = {
    optflag("notify", &flagged, "tell"),
    optnumber("replicas", &replicas, 1, 100, "replications", "Number of replications cannot be %i"),
    optnumber("depth", &depth, -5, 5, "depth"),
    optreal("factor", &factor, 0, 2, "factor"),
    optstore("fast", &method, 2, "fast method"),
    optstore("slow", &method, 1, "slow method"),
    optcall("call", [] { called = int(gtnu()); }, "calls"),
    optend()
};

static std::string read(const std::string &text)
{
    zelrun("");
    base_input("t", text.c_str());
    bool done = safecall([] { readoptions(rows, "Unknown option: %s", "=:"); });
    std::string left = done ? getnext : "";
    inpurge();
    return done ? left : zelrun("");
}

TEST(Options, SetWhatTheirRowsSay)
{
    flagged = replicas = depth = method = called = 0;
    factor = 0;
    EXPECT_EQ(read("noti rep 7 depth -3 fac 1.25 slow call 9;x"), ";x");
    EXPECT_EQ(flagged, 1);
    EXPECT_EQ(replicas, 7);
    EXPECT_EQ(depth, -3);
    EXPECT_EQ(factor, 1.25);
    EXPECT_EQ(method, 1);
    EXPECT_EQ(called, 9);
    EXPECT_EQ(read("f 1;"), ";");
    EXPECT_EQ(factor, 1.0) << "the first row that begins with the letters";
    EXPECT_EQ(read("REPLICAS=12;"), ";");
    EXPECT_EQ(replicas, 12);
}

TEST(Options, NoTurnsAFlagOff)
{
    for (const char *off : { "nonotify;", "no notify;", "nonot;" }) {
        flagged = 1;
        EXPECT_EQ(read(off), ";") << off;
        EXPECT_EQ(flagged, 0) << off;
    }
    EXPECT_EQ(read("norep;"), "Unknown option: norep \n") << "only flags are turned off";
}

TEST(Options, StopAtWhatBeginsNoWord)
{
    EXPECT_EQ(read("slow 12;"), "12;");
    EXPECT_EQ(read("slow =x;"), "=x;");
    EXPECT_EQ(read("(slow);"), "(slow);");
}

TEST(Options, RefuseWhatIsOutOfLimits)
{
    replicas = 5;
    EXPECT_EQ(read("replicas 0;"), "Number of replications cannot be 0 \n");
    EXPECT_EQ(read("replicas 101;"), "Number of replications cannot be 101 \n");
    EXPECT_EQ(read("replicas 4294967297;"), "Number of replications cannot be 2147483647 \n");
    EXPECT_EQ(replicas, 5);
    EXPECT_EQ(read("depth -6;"), "Option \"depth\" takes a number from -5 to 5, not -6 \n");
    EXPECT_EQ(read("factor 2.5;"), "Option \"factor\" takes a number from 0 to 2, not 2.5 \n");
    EXPECT_EQ(read("replicas;"), "Option \"replicas\" requires a number \n");
    EXPECT_EQ(read("wrong;"), "Unknown option: wrong \n");
    EXPECT_EQ(read("replicas 100;"), ";");
    EXPECT_EQ(replicas, 100);
}

TEST(Options, AreCorrectedWhenAdmitted)
{
    auto was = window.messagebox;
    window.messagebox = [](const char *, const char *, int) { return 1; };
    EXPECT_EQ(read("replycas 3;"), "Unknown option: replycas \n");
    admit_inner_typos = 1;
    EXPECT_EQ(read("replycas 3;"), ";");
    EXPECT_EQ(replicas, 3);
    admit_inner_typos = 0;
    window.messagebox = was;
}
