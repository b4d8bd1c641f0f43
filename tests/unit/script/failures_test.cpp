// What a script prints when it fails, what is clean afterwards, and where it goes on.
#include "scripttest.h"
#include "data/matrix.h"
#include "kernel/below.h"
#include "kernel/commands.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/window.h"
#include "script/goto.h"
#include "script/hifile.h"
#include "script/loops.h"
#include "script/repeat.h"
#include "script/vars.h"
#include "trees/treebuf.h"

// A slot of the front end, put back in the end.
template<class F> struct slot {
    F &place, was;
    slot(F &which, F now) : place(which), was(which) { place = now; }
    ~slot() { place = was; }
};

TEST(Failures, NameTheLineOfTheFile)
{
    std::string file = writefile("fails.run", "quote one;\nquote two;\nset 0 (3 + nosuch);\nquote never;\n");
    EXPECT_EQ(typed("run " + file + ";"),
              "Running " + file + " (with no arguments)\none\ntwo\nUnrecognized variable: nosuch \n"
              "Error reading line 3 of " + file + "\no; set 0 (3 + nosuch); quote never; \n" + std::string(19, ' ') + "^\n");
    EXPECT_TRUE(zelfailed());
}

TEST(Failures, CountLinesBehindCommentsAndLongTexts)
{
    std::string text = "/* one\ntwo */ // three\n" + std::string(5000, '\n') + "\nnosuchcommand;\n";
    std::string file = writefile("far.run", text);
    EXPECT_TRUE(has(typed("run " + file + ";"), "Error reading line 5004 of " + file + "\n"));
}

TEST(Failures, NameTheFileThatALoopStandsIn)
{
    std::string file = writefile("looping.run", "loop =outer 2 3\nloop 7 8\nquote x;\nset 5 1/0;\nstop\nstop");
    std::string said = typed("run " + file + ";");
    EXPECT_TRUE(has(said, "Can't divide by zero \nAt line 2 of loop 2 (value: 7)\nError reading " + file + "\n")) << said;
    EXPECT_TRUE(has(said, "While in loop outer (value 2), loop 2 (value 7)\n")) << said;
}

TEST(Failures, ShowTwentyCharactersOnEitherSide)
{
    // Reading stands behind the word: 20 characters end there, and 20 begin; then blanks are squeezed.
    std::string said = fromfile("quote aaaaaaaaaa; quote bbbbbbbbbb;    nosuch; quote cccccccccc; quote dddddddddd;");
    EXPECT_TRUE(has(said, "\nbbbbbbbbb; nosuch; quote cccccccccc; \n" + std::string(16, ' ') + "^\n")) << said;
}

TEST(Failures, NameTheFileAroundTextsOfCommands)
{
    zelrun("xread 2 4 A 00 B 01 C 10 D 11 ; tread (0(1(2 3)));");
    std::string file = writefile("walks.run", "report -;\nloop =t 1 2\ntravtree below 0 2 0\nquote '0';\nset 3 1/0;\nendtrav\nstop\n");
    std::string said = typed("run " + file + ";");
    EXPECT_TRUE(has(said, "Can't divide by zero \nAt line 2 of commands for travelling tree\nError reading " + file + "\n")) << said;
    EXPECT_TRUE(has(said, "\nWhile in loop t (value 1)\n")) << said;
    zelrun("report =");
}

TEST(Failures, ThatScriptsReportShowTheirPlaceToo)
{
    std::string file = writefile("reports.run", "quote one;\nloop 1 3\nif (#1 == 2)\nerrmsg Bad value #1;\nend\nstop\n");
    std::string said = typed("run " + file + ";");
    EXPECT_TRUE(has(said, "one\nBad value 2\nAt line 2 of loop 1 (value: 2)\nError reading " + file + "\n")) << said;
}

TEST(Failures, TypedInLoopsTellTheirLoop)
{
    EXPECT_TRUE(has(typed("loop 4 4 quote a; nosuchcommand; stop"), "At line 1 of loop 1 (value: 4)\n"));
}

TEST(Failures, LeaveTheVariablesOfTheConsoleAndTakeThoseOfFiles)
{
    std::string inner = writefile("inner.run", "var = 0 deep[4]; set deep[1] 9; private 1; loop 1 3 nosuchcommand; stop");
    std::string outer = writefile("outer.run", "private 3; var: lost; loop =o 1 2 run " + inner + "; stop");
    typed("var: kept[2]; set kept[1] 5;");
    char *top = macro_lotop;
    EXPECT_TRUE(has(zelrun("run " + outer + ";"), "While in loop o (value 1), loop 1 (value 1)\n"));
    EXPECT_EQ(num_defdvarnames, 1);
    EXPECT_EQ(highest_varname, 2);
    EXPECT_EQ(addatvar, 0);
    EXPECT_EQ(addatloop, -1);
    EXPECT_EQ(macro_lotop, top);
    EXPECT_EQ(value_of(2 + 1 + 3 + 1), 9) << "values stay where they were written";
    EXPECT_EQ(zelrun("quote 'kept[1]'; set 0[1] 6; quote 'kept[1]'; var: next; set next 7; quote 'next' '2';"), "5\n6\n7 7\n");
}

TEST(Failures, LeaveNothingHalfDone)
{
    std::string data = writefile("words.txt", "a b c");
    for (const char *commands : { "set 0 (3;", "quote '0;", "quote $(3;", "if (1;", "if ((0;", "quote %(1;", "set 0 'x[';", "loop =a 1 2 quote #zz; stop" }) {
        typed("hifile open " + data + "; loop 1 2 " + std::string(commands) + " stop");
        EXPECT_TRUE(zelfailed()) << commands;
        EXPECT_EQ(ignore_dollars, 0) << commands;
        EXPECT_EQ(ignore_quotes, 0) << commands;
        EXPECT_EQ(disallowing, 0) << commands;
        EXPECT_EQ(reading_sectsch_insts, 0) << commands;
        EXPECT_EQ(atloop, -1) << commands;
        EXPECT_EQ(acthifile, -1) << commands;
        EXPECT_EQ(zelrun("set 0 4; loop 1 2 quote '0' #1; stop"), "4 1\n4 2\n") << commands;
        checkmacros();
    }
}

TEST(Failures, AreWrittenOfExpressionsTypedAsCommands)
{
    EXPECT_TRUE(has(typed("ntrees;"), "ntrees is recognized only as a macro expression"));
    EXPECT_TRUE(has(typed("nosuchword;"), "Unknown command: nosuchword"));
    EXPECT_TRUE(has(typed("var: x[2]; combine 2 1 x ntax; endcomb"), "ntax is recognized only as a macro expression"));
}

TEST(Failures, OfALoopNameSayTheSign)
{
    for (char c : std::string("!&()*+-./;<=>@[]{|}")) {
        std::string said = fromfile(std::string("loop =a") + c + "b 1 2 stop");
        EXPECT_TRUE(has(said, std::string("A loop name cannot contain symbol '") + c + "'")) << c << said;
    }
}

TEST(Failures, OfMemoryNameIt)
{
    zelrun("macro - [1 *15 1000; macro =;");
    std::string many = "var:";
    for (int i = 0; i < 999; ++i) many += " " + std::string(45, 'n') + std::to_string(i);
    std::string said = zelrun("run " + writefile("many.run", many + ";") + ";");
    EXPECT_TRUE(has(said, "Not enough RAM allocated for macros")) << said;
    EXPECT_EQ(macro_lotop, macrostart_loseg);
    EXPECT_EQ(zelrun("var: x; set x 5; quote 'x';"), "5\n");
    zelrun("macro - [102; macro =;");
    static char elsewhere;
    EXPECT_FALSE(safecall([] { macloset(&elsewhere); }));
    EXPECT_TRUE(has(zelrun("quote then;"), "Heap deallocation error in memory for Macros"));
    EXPECT_EQ(zelrun("var: x; set x 5; quote 'x';"), "5\n");
}

static std::string saidwithin;
static void asksformacro(const char *)
{
    if (!saidwithin.empty()) return;
    saidwithin = "asked";
    macrocom();
}

TEST(Failures, AreTheAnswerToMacroWithinMacro)
{
    typed(";");
    saidwithin.clear();
    slot<void (*)(const char *)> whilehere(window.zel_app_window_updateBuffer, asksformacro);
    std::string said = zelrun("macro +;");
    EXPECT_EQ(saidwithin, "asked");
    EXPECT_TRUE(has(said, "Command \"macro\" cannot be run recursively")) << said;
}

TEST(Failures, OfASlaveIncludeASeedFromTheClock)
{
    typed(";");
    iamslave = 1;
    std::string said = zelrun("macseed 0;");
    iamslave = 0;
    EXPECT_TRUE(has(said, "Random seed for macros can't be set to 0 (=time) in slaves"));
    EXPECT_FALSE(has(zelrun("macseed 0;"), "slaves"));
    zelrun("macseed 1");
}

TEST(Failures, OfNestingNameWhatWasToRun)
{
    zelrun("xread 2 4 A 00 B 01 C 10 D 11 ; tread (0(1(2 3)));");
    typed("report -; mxproc 10; var: x[2]; combine =60;");
    std::string deep, ends;
    for (int i = 0; i <= maxnest; ++i) { deep += "combine 2 1 x "; ends += "endcomb "; }
    EXPECT_TRUE(has(zelrun(deep + ends), "Can't run combinations with " + std::to_string(maxnest) + " open files\nYou may increase \"mxproc\" and try again"));
    deep = ends = "";
    for (int i = 0; i < maxnest; ++i) { deep += "combine 2 1 x "; ends += "endcomb "; }
    EXPECT_TRUE(has(zelrun("var: x[2];" + deep + "sprit 0 stop " + ends),
                    "Can't run this command with " + std::to_string(maxnest) + " open files\nYou may increase \"mxproc\" and try again"));
    EXPECT_EQ(nested_runs(), 0);
    EXPECT_EQ(zelrun("var: y[2]; set 40 0; combine 2 1 y set 40 ++; endcomb combine =5; report =; quote '40';"),
              "Report is ON \n2\n");
}

TEST(Failures, GoToTheirTargetAlsoFromARefusedWarning)
{
    zelrun("xread 2 4 A 00 B 01 C 10 D 11 ; tread (0(1(2 3))); ttags *0; ttags +5 text;");
    std::string target = writefile("target.run", "label refused; quote saved; return;");
    std::string warns = writefile("warns.run", "goto [ " + target + " refused; loop 1 2 ttags =; quote never; stop");
    typed(";");
    slot<int (*)(const char *, const char *, int)> no(window.messagebox, [](const char *, const char *, int) { return 0; });
    int was = warning;
    warning = 1;
    std::string said = zelrun("run " + warns + ";");
    warning = was;
    EXPECT_TRUE(has(said, "\nsaved\n")) << said;
    EXPECT_FALSE(has(said, "never\n"));
    EXPECT_EQ(atloop, -1);
    EXPECT_EQ(zelrun("loop 1 2 quote #1; stop ttags -;"), "1\n2\n");
}

TEST(Failures, ForgetTheirTargetWithTheLanguage)
{
    std::string target = writefile("t.run", "label here; quote saved; return;");
    std::string sets = writefile("sets.run", "goto [ " + target + " here; macro -;");
    std::string fails = writefile("fails.run", "nosuchcommand;");
    typed("run " + sets + ";");
    EXPECT_FALSE(has(zelrun("run " + fails + ";"), "saved\n"));
    EXPECT_FALSE(has(zelrun("macro =; run " + fails + ";"), "saved\n"));
}

TEST(Failures, GoToTheirTargetFromFilesWithinFiles)
{
    std::string target = writefile("t.run", "label here; quote saved in %1.; return;");
    std::string inner = writefile("inner.run", "loop 1 3 nosuchcommand; stop");
    std::string outer = writefile("outer.run", "goto [ " + target + " here; run " + inner + "; quote never;");
    std::string said = typed("run " + outer + " arg; quote nor this;");
    EXPECT_TRUE(has(said, "Goto Label \"here\" in " + target + " (no args.)")) << said;
    EXPECT_TRUE(has(said, "saved in ")) << said;
    EXPECT_FALSE(has(said, "never\n"));
    EXPECT_FALSE(has(said, "nor this\n"));
    EXPECT_EQ(curproc, procnest);
}

TEST(Interrupts, EndASwapAndSaySo)
{
    zelrun("xread 2 6 A 00 B 01 C 10 D 11 E 10 F 01 ; tread (0(1(2(3(4 5)))));");
    typed(";");
    static int asked;
    asked = 0;
    slot<int (*)()> esc(window.zel_app_window_getKeyPressed, [] { return ++asked == 3 ? KEY_ESC : 0; });
    std::string said = zelrun("sprit 0 chkbreak 1; stop");
    EXPECT_TRUE(has(said, "User interrupt...")) << said;
    EXPECT_EQ(macroswaploop, -2);
    EXPECT_EQ(zelrun("quote next;"), "next\n");
}

TEST(Interrupts, EndATargetOfErrorsThatFailsAgainAndAgain)
{
    typed(";");
    std::string file = writefile("again.run", "");
    writefile("again.run", "label again; set 0 ++; goto [ " + file + " again; nosuchcommand;");
    static int asked;
    asked = 0;
    slot<int (*)()> esc(window.zel_app_window_getKeyPressed, [] { return ++asked == 50 ? KEY_ESC : 0; });
    std::string said = zelrun("goto " + file + " again;");
    EXPECT_TRUE(has(said, "User interrupt...")) << said.substr(0, 1000);
    EXPECT_EQ(value_of(0), 50);
    EXPECT_EQ(errgoto_level, -1);
    EXPECT_EQ(zelrun("quote next;"), "next\n");
}

TEST(Interrupts, EndCombinationsThatWouldTakeForever)
{
    typed("report -; var: x[20] n;");
    slot<int (*)()> esc(window.zel_app_window_getKeyPressed, [] { return value_of(20) > 100 ? KEY_ESC : 0; });
    EXPECT_TRUE(has(zelrun("combine 40 20 x set n ++; endcomb"), "User interrupt..."));
    EXPECT_EQ(nested_runs(), 0);
    EXPECT_EQ(zelrun("report =; quote next;"), "Report is ON \nnext\n");
}

TEST(Interrupts, WaitForAKeyOnRequest)
{
    typed(";");
    static std::string shown;
    static int waited;
    shown.clear();
    waited = 0;
    slot<void (*)(const char *)> line(window.progressline, [](const char *text) { shown += text; });
    slot<int (*)()> key(window.waitkey, [] { return ++waited; });
    zelrun("chkbreak 0;");
    EXPECT_EQ(shown, "\rPress key to continue ");
    EXPECT_EQ(waited, 1);
}

TEST(Failures, OfUnprotectedAndProtectedArraysIncludeCounting)
{
    EXPECT_TRUE(has(typed("var: b[3]; set b ++;"), "Cannot re-set array under protection mode 2\nVar. 0 (b) has 1 dimensions, not 0"));
    EXPECT_EQ(value_of(0), 0);
    EXPECT_TRUE(has(typed("var: m[2 2]; set m[1] --;"), "Var. 0 (m) has 2 dimensions, not 1"));
    EXPECT_FALSE(has(typed("var: b[3]; set b[1] ++; quote 'b[1]';"), "Cannot"));
    EXPECT_EQ(value_of(1), 1);
}

TEST(Failures, OfRecursionIncludeALanguageThatIsOff)
{
    zelrun("macro -");
    EXPECT_TRUE(has(zelrun("recurse;"), "recurse legal only when macros are enabled"));
    std::string file = writefile("again.run", "if (argnumber == 0) quote done; else quote %1; recurse; end");
    EXPECT_EQ(typed("run " + file + " x; quote out;"), "Running " + file + " x\nx\nRecursing " + file + " (instance 1, with no arguments)\ndone\nout\n");
}
