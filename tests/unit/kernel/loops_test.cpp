#include "zeltest.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"

// Handlers have no arguments: the text to run stands here.
static std::string text;
static void (*member)(const char *);

static bool runloop(void (*which)(const char *), const std::string &commands)
{
    member = which;
    text = commands;
    zelrun("");
    base_input("Menu", "");
    bool finished = safecall([] { member(text.c_str()); });
    return finished;
}

// The bodies that scripts write speak; texts that commands run for themselves do not.
struct family { void (*loop)(const char *); const char *what, *advice; bool speaks; };
static const family members[] = {
    { fake_cmd_loop, "\"resample\" or \"qnelsen\"", "You may increase", false },
    { fake_cmd_loop_for_macroswap, "this command", "You may increase", true },
    { fake_cmd_loop_for_ss, "user searches for sectors", "You may increase", false },
    { fake_cmd_loop_for_dcomp, "\"dcomp\"", "You may increase", false },
    { fake_cmd_loop_for_picoc, "C-style script", "Increase", false },
    { [](const char *t) { fake_cmd_loop_allrecons(t, RECONSTRUCTIONS); }, "user reconstructions", "You may increase", true },
    { [](const char *t) { fake_cmd_loop_allrecons(t, TRAVELLING); }, "tree travelling", "You may increase", true },
    { [](const char *t) { fake_cmd_loop_allrecons(t, COMBINATIONS); }, "combinations", "You may increase", true },
};

TEST(NestedLoops, RunEveryCommandAndComeBack)
{
    for (const family &f : members) {
        rundir[0] = 0;
        timeit = 0;
        EXPECT_TRUE(runloop(f.loop, "rdir abc; watch= ;  mxproc")) << f.what;
        EXPECT_STREQ(rundir, "abc/") << f.what;
        EXPECT_NE(timeit, 0) << f.what;
        EXPECT_EQ(giveme_curproc_level(), 0) << f.what;
        EXPECT_EQ(silent, 0);
        EXPECT_EQ(report_status, 1);
        EXPECT_EQ(zelrun(""), f.speaks ? "Max. number of input files is " + std::to_string(maxnest) + " \n" : "") << f.what;
    }
    zelrun("watch-");
    rundir[0] = 0;
}

TEST(NestedLoops, AcceptAnEmptyText)
{
    for (const family &f : members) {
        EXPECT_TRUE(runloop(f.loop, ""));
        EXPECT_TRUE(runloop(f.loop, " ;; \n"));
        EXPECT_EQ(giveme_curproc_level(), 0);
    }
}

TEST(NestedLoops, AreRefusedWhenTheStackIsFull)
{
    static std::string open = writefile("looptop", "");
    for (const family &f : members) {
        zelrun("");
        base_input("Menu", "");
        member = f.loop;
        text = "beep-";
        EXPECT_FALSE(safecall([] {
            while (giveme_curproc_level() < maxnest) {
                snprintf(cmdname, sizeof cmdname, "%s", open.c_str());
                allow_same_file = 1;
                silent = 7;
                newproc();
                silent = 0;
            }
            member(text.c_str());
        }));
        std::string said = zelrun(""), expected = std::string("Can't run ") + f.what + " with " + std::to_string(maxnest) +
            " open files\n" + f.advice + " \"mxproc\" and try again \n";
        EXPECT_EQ(said.substr(0, expected.size()), expected);
        EXPECT_EQ(giveme_curproc_level(), 0);
    }
}

TEST(NestedLoops, RefuseATextThatIsTooLong)
{
    EXPECT_TRUE(runloop(fake_cmd_loop, std::string(4127, ';')));
    zelrun("");
    EXPECT_FALSE(runloop(fake_cmd_loop, std::string(4128, ';')));
    EXPECT_EQ(zelrun("").substr(0, 60), "Sorry, instructions are too long (4128 bytes; max. is 4128) ");
}

TEST(NestedLoops, AreLeftByAnErrorWithEverythingRestored)
{
    for (const family &f : members) {
        rundir[0] = 0;
        EXPECT_FALSE(runloop(f.loop, "rdir abc; nosuchword; rdir def"));
        EXPECT_STREQ(rundir, "abc/");
        EXPECT_EQ(giveme_curproc_level(), 0);
        EXPECT_EQ(silent, 0);
        EXPECT_EQ(report_status, 1);
        EXPECT_EQ(jaking, 0);
        EXPECT_NE(zelrun("").find("Unknown command: nosuchword"), std::string::npos);
        EXPECT_FALSE(runloop(f.loop, " 5;"));
        EXPECT_NE(zelrun("").find("Found '5' when expecting a command"), std::string::npos);
    }
    rundir[0] = 0;
}

TEST(NestedLoops, GoOnAfterASearchThatRanOutOfTimeAndStopOtherwise)
{
    // A search that is out of time sets userstop; here a script does, through the timeout command's place.
    static int stop;
    static int runs;
    set_the_skipdes = [] { ++runs; userstop = stop; };
    for (int value : { 0, 3, 1 }) {
        stop = value;
        runs = 0;
        rundir[0] = 0;
        EXPECT_TRUE(runloop([](const char *t) { fake_cmd_loop_allrecons(t, TRAVELLING); }, "skipdes; rdir abc; rdir def;"));
        EXPECT_EQ(runs, 1);
        EXPECT_STREQ(rundir, value == 1 ? "" : "def/");
        EXPECT_EQ(userstop, value == 1 ? 1 : 0);
        userstop = 0;
    }
    set_the_skipdes = nullptr;
    rundir[0] = 0;
}

TEST(NestedLoops, EndAtTheWordOfTheirKindWhichOthersDoNotKnow)
{
    const char *words[] = { "killrecs", "killtrav", "killcomb" };
    static int kind;
    for (kind = 0; kind < 3; ++kind)
        for (int w = 0; w < 3; ++w) {
            rundir[0] = 0;
            bool finished = runloop([](const char *t) { fake_cmd_loop_allrecons(t, kind); },
                                    std::string("rdir abc; ") + words[w] + "; rdir def");
            EXPECT_EQ(finished, w == kind);
            EXPECT_STREQ(rundir, "abc/");
        }
    EXPECT_FALSE(runloop(fake_cmd_loop, "killrecs"));
    rundir[0] = 0;
    zelrun("");
}

TEST(NestedLoops, ReadTheFilesThatTheirCommandsOpen)
{
    std::string path = writefile("inloop", "rdir fromfile;");
    EXPECT_TRUE(runloop(fake_cmd_loop, "proc " + path + "; watch="));
    EXPECT_STREQ(rundir, "fromfile/");
    EXPECT_NE(timeit, 0);
    EXPECT_TRUE(runloop(fake_cmd_loop, "watch-; proc/; watch=")) << "closing the text ends the loop";
    EXPECT_EQ(timeit, 0);
    rundir[0] = 0;
}

TEST(NestedLoops, SeeTheArgumentsOfTheScriptTheyStandIn)
{
    zelrun("");
    std::string path = writefile("loopargs", "");
    base_input("Menu", "one two;");
    static std::string seen;
    EXPECT_TRUE(safecall([] {
        runscript((tempdir() + "/loopargs").c_str());
        push_text_level("text", "x", ";", INBUFSIZE);
        seen = std::string(give_runarg(1)) + "+" + give_runarg(2);
        pop_text_level();
        char *pool = argpool;
        fake_cmd_loop("timeout");
        seen += pool == argpool ? " kept" : " lost";
    }));
    EXPECT_EQ(seen, "one+two kept");
    inpurge();
    zelrun("");
}

TEST(TemporaryTexts, AreReadByHandAndDropped)
{
    zelrun("");
    base_input("Menu", "below;");
    static std::string word;
    EXPECT_TRUE(safecall([] {
        tmp_input("abc 12", nullptr);
        rdcmd();
        word = cmdname;
        EXPECT_EQ(gtnu(), 12);
        EXPECT_EQ(gtnb(), ';');
        closetmpproc();
        rdcmd();
        word += cmdname;
    }));
    EXPECT_EQ(word, "abcbelow");
    EXPECT_TRUE(safecall([] { auto_local_parser(std::string(4111, 'x').c_str()); closetmpproc(); }));
    EXPECT_EQ(zelrun(""), "");
    EXPECT_FALSE(safecall([] { auto_local_parser(std::string(4112, 'x').c_str()); }));
    EXPECT_EQ(zelrun("").substr(0, 60), "Sorry, instructions are too long (4112 bytes; max. is 4112) ");
}
