#include "scripttest.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "script/loops.h"
#include "script/vars.h"

TEST(ScriptLoops, RunUpAndDown)
{
    EXPECT_EQ(typed("loop 1 3 quote #1; stop quote end;"), "1\n2\n3\nend\n");
    EXPECT_EQ(typed("loop 5 1 quote #1; stop"), "5\n4\n3\n2\n1\n");
    EXPECT_EQ(typed("loop 5-2 1 quote #1; stop"), "5\n3\n1\n");
    EXPECT_EQ(typed("loop 1+3 9 quote #1; stop"), "1\n4\n7\n");
    EXPECT_EQ(typed("loop 4 4 quote #1; stop"), "4\n");
}

TEST(ScriptLoops, RunNothingWhenTheStepLeadsAway)
{
    EXPECT_EQ(typed("loop 5+1 1 quote no; stop quote after;"), "after\n");
    EXPECT_EQ(typed("loop 1-1 5 quote no; stop quote after;"), "after\n");
    EXPECT_EQ(atloop, -1);
}

TEST(ScriptLoops, HaveTheirStepBehindAPlusAlsoAfterABlank)
{
    EXPECT_EQ(typed("loop 1 +2 6 quote #1; stop"), "1\n3\n5\n");
}

TEST(ScriptLoops, ReadTheirBoundsOnce)
{
    EXPECT_EQ(typed("var: b[2]; set b[0] 2; set b[1] 4; loop 'b[0]' 'b[1]' set b[1] 9; quote #1 'b[1]'; stop"), "2 9\n3 9\n4 9\n");
    EXPECT_EQ(typed("var: b[2]; set b[1] 1; loop (2 * 3) ('b[1]' + 3) quote #1; stop"), "6\n5\n4\n");
}

TEST(ScriptLoops, NestAsDeepAsTheLimit)
{
    std::string begins, ends;
    for (int i = 0; i < Maxloop; ++i) { begins += "loop 1 1 "; ends += "stop "; }
    EXPECT_EQ(typed(begins + "quote deep; " + ends), "deep\n");
    zelrun("macro - *3 1000; macro =");
    EXPECT_EQ(zelrun("loop 1 1 loop 1 1 loop 1 1 quote deep; stop stop stop"), "deep\n");
    zelrun("macro - *15 1000; macro =");
}

TEST(ScriptLoops, LoseTheirLastSemicolonToAnArgumentThatIsNotGiven)
{
    EXPECT_EQ(fromfile("loop 1 2 quote a; label b; %3stop quote b;"), "a\na\nb\n");
    EXPECT_EQ(fromfile("loop 1 2 quote a %3stop quote b;"), "a   quote a    quote b\n") << "the quote goes on";
    EXPECT_EQ(fromfile("loop 1 3 if (#1 == 2) continue; end quote #1; %3stop quote b;"), "1\n3\nb\n");
}

TEST(ScriptLoops, NestAndHaveNames)
{
    EXPECT_EQ(typed("loop 1 2 loop 7 8 quote #1 #2; stop stop"), "1 7\n1 8\n2 7\n2 8\n");
    EXPECT_EQ(typed("loop =a 1 2 loop =b2_ 7 8 quote #b2_ #a; stop stop"), "7 1\n8 1\n7 2\n8 2\n");
    EXPECT_EQ(typed("loop =i 0 1 loop =i 5 5 quote #i; stop quote #i; stop"), "5\n0\n5\n1\n");
}

TEST(ScriptLoops, DeliverTheSharpOfALoopThatIsNotRunning)
{
    EXPECT_EQ(typed("loop 1 1 quote #1 #2 #33; stop quote #1;"), "1 #2 #33\n#1\n");
}

TEST(ScriptLoops, AreLeftAndSteeredFromWithin)
{
    EXPECT_EQ(fromfile("loop 1 9 if (#1 > 3) endloop; end quote #1; stop quote out;"), "1\n2\n3\nout\n");
    EXPECT_EQ(fromfile("loop 1 5 if (#1 == 3) continue; end quote #1; stop"), "1\n2\n4\n5\n");
    EXPECT_EQ(fromfile("loop 1 9 quote #1; if (#1 == 2) setloop 8; end stop"), "1\n2\n8\n9\n");
    EXPECT_EQ(fromfile("set 0 0; loop 1+0 2 set 0 ++; if ('0' == 5) endloop; end stop quote '0';"), "5\n");
    for (const char *word : { "endloop", "continue", "setloop 3" })
        EXPECT_TRUE(has(typed(std::string(word) + ";"), "valid only within loops")) << word;
}

TEST(ScriptLoops, CountFromOneInEveryFile)
{
    std::string inner = writefile("inner.run", "loop 7 7 quote inner #1 #2; stop quote #1;");
    EXPECT_EQ(typed("loop 3 3 run " + inner + "; quote #1; stop"), "Running " + inner + " (with no arguments)\ninner 7 #2\n#1\n3\n");
}

TEST(ScriptLoops, EndWithTheFileTheyStandIn)
{
    std::string inner = writefile("inner.run", "loop 1 9 quote #1; return; stop");
    EXPECT_EQ(typed("loop 3 4 run " + inner + "; quote outer #1; stop"),
              "Running " + inner + " (with no arguments)\n1\nouter 3\nRunning " + inner + " (with no arguments)\n1\nouter 4\n");
    EXPECT_EQ(atloop, -1);
    EXPECT_EQ(addatloop, -1);
}

TEST(ScriptLoops, KeepQuotesForTheTurnThatReadsThem)
{
    EXPECT_EQ(typed("set 0 1; loop 1 3 quote '0' $1; set 0 += 1; set 1 $a#1; stop"), "1  \n2 a1\n3 a2\n");
}

TEST(ScriptLoops, CountBeginsButNotWordsThatHoldLoop)
{
    EXPECT_EQ(fromfile("loop 1 2 if (#1 == 5) endloop; end quote #1; stop"), "1\n2\n");
    EXPECT_EQ(typed("loop 1 1 forfiles nosuchfile quote x; stop quote here; stop"), "Start checking files... \nFinished checking files (0 found).\nhere\n");
}

TEST(ScriptLoops, AreRefused)
{
    EXPECT_TRUE(has(typed("loop -3 2 stop"), "Usage: loop (from)[+increase] (to) ... action(s)... stop"));
    EXPECT_TRUE(has(typed("loop -3 2 stop"), "\"from\" is a negative number"));
    EXPECT_TRUE(has(typed("loop 3 -2 stop"), "\"to\" is a negative number"));
    EXPECT_TRUE(has(typed("loop 3+; 2 stop"), "Error reading value for increase"));
    EXPECT_TRUE(has(typed("loop =a+b 1 2 stop"), "A loop name cannot contain symbol '+'"));
    EXPECT_TRUE(has(typed("loop 1 2 quote x;"), "Found end-of-file: Menu expecting \"stop\""));
    EXPECT_TRUE(has(typed("loop 1 1 quote #nosuch; stop"), "Unrecognized loop name: nosuch"));
    EXPECT_TRUE(has(typed("loop 1 1 quote #" + std::string(81, 'a') + "; stop"), "Loop name can't be more than 80 characters long"));
    EXPECT_TRUE(has(typed("quote #-;"), "When macros are allowed, \"#\" must be followed by number/name of loop"));
    std::string deep;
    for (int i = 0; i <= Maxloop; ++i) deep += "loop 1 1 ";
    for (int i = 0; i <= Maxloop; ++i) deep += "stop ";
    EXPECT_TRUE(has(typed(deep), "Maximum nesting for loops is 15 loops"));
    zelrun("macro - *3 1000");
    EXPECT_EQ(zelrun("macro =; loop 1 1 loop 1 1 quote a; stop stop").substr(0, 5), "Macro");
    EXPECT_FALSE(zelfailed());
    EXPECT_TRUE(has(typed("loop 1 1 loop 1 1 loop 1 1 loop 1 1 quote a; stop stop stop stop"), "Maximum nesting for loops is 3 loops"));
    zelrun("macro - *15 1000; macro =");
    EXPECT_TRUE(has(typed("loop 1 1 quote " + std::string(3000, 'x') + "; macro -; stop"), "Can't disconnect macros from within a loop!"));
}

TEST(ScriptLoops, RunOutOfMemoryCleanly)
{
    std::string said = fromfile("loop 1 1 quote " + std::string(size_t(macroram_size), 'x') + "; stop");
    EXPECT_TRUE(has(said, "Not enough RAM available to continue macros..."));
    EXPECT_EQ(zelrun("loop 1 2 quote #1; stop"), "1\n2\n");
}

TEST(ScriptLoops, OfNothingRunToTheirEnd)
{
    EXPECT_EQ(typed("loop 1 5000 stop loop 1 5000 ; stop quote done;"), "done\n");
    EXPECT_EQ(fromfile("loop 1 5000 // nothing here\nstop loop 1 40 loop 1 40 stop stop quote done;"), "done\n");
}

TEST(ScriptLoops, TellWhereAnErrorStands)
{
    std::string said = fromfile("quote one;\nloop 4 6\nquote #1;\nnosuchcommand;\nstop");
    EXPECT_TRUE(has(said, "4\nUnknown command: nosuchcommand"));
    EXPECT_TRUE(has(said, "At line 2 of loop 1 (value: 4)\n")) << said;
    EXPECT_TRUE(has(said, "While in loop 1 (value 4)\n")) << said;
    EXPECT_EQ(atloop, -1);
    EXPECT_EQ(typed("loop 1 1 quote clean; stop"), "clean\n");
}

TEST(ScriptLoops, GiveTheirMemoryBack)
{
    typed(";");
    char *before = macro_lotop;
    zelrun("loop 1 5 loop 1 2 quote; stop stop");
    EXPECT_EQ(macro_lotop, before);
    zelrun("loop 1 1 var: inside; stop");
    zelrun("loop 1 1 quote something else that is longer; stop");
    EXPECT_EQ(find_varname("inside"), 0) << "a name given in a loop outlives it";
}

TEST(ScriptLoops, AreEchoed)
{
    EXPECT_EQ(fromfile("macreport =; loop =a 1 2 quote x; stop macreport -;"),
              "Macro report is ON \n\nLoop a=1\nx\n\nLoop a=2\nx\nMacro report is OFF \n");
}

TEST(ScriptLoops, MayOpenFilesWhoseNumberGrowsMeanwhile)
{
    std::string inner = writefile("inner.run", "quote in;");
    EXPECT_EQ(typed("loop 1 2 mxproc 21; run " + inner + "; stop quote end;").substr(0, 32), "Max. number of input files is 21");
    EXPECT_FALSE(zelfailed());
}
