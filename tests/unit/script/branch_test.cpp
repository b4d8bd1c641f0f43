#include "scripttest.h"
#include <cstring>
#include "kernel/errors.h"
#include "kernel/input.h"
#include "script/expr.h"
#include "script/goto.h"
#include "script/vars.h"

TEST(Conditions, ChooseWhatIsRun)
{
    EXPECT_EQ(fromfile("if (1) quote a; end quote b;"), "a\nb\n");
    EXPECT_EQ(fromfile("if (0) quote a; end quote b;"), "b\n");
    EXPECT_EQ(fromfile("if (1) quote a; else quote c; end quote b;"), "a\nb\n");
    EXPECT_EQ(fromfile("if (0) quote a; else quote c; end quote b;"), "c\nb\n");
    EXPECT_EQ(fromfile("if (0) if (1) quote x; else quote y; end else quote c; end quote b;"), "c\nb\n");
    EXPECT_EQ(fromfile("if (1) if (0) quote x; else quote y; end else quote c; end quote b;"), "y\nb\n");
    EXPECT_EQ(fromfile("if (0) if(0) if(1) end end xend quote b;"), "b\n");
    EXPECT_EQ(fromfile("if (0) quote the end; q else; end quote b;"), "b\n");
    EXPECT_EQ(fromfile("if (0) quote 'nosuch' $nosuch #nosuch %(; end quote b;"), "b\n") << "what is skipped is not expanded";
    EXPECT_EQ(fromfile("set 0 3; if ('0' > 2) quote more; end"), "more\n");
    EXPECT_EQ(fromfile("if ((1 > 2) || (3 > 2)) quote yes; end"), "yes\n");
}

TEST(Conditions, AreErrorsAtTheConsoleWhenFalse)
{
    EXPECT_TRUE(has(typed("if (0) quote a; end"), "Condition not fullfilled"));
    EXPECT_EQ(typed("if (1) quote a; end"), "a\n");
    EXPECT_EQ(typed("loop 1 2 if (#1 == 2) quote a; end stop"), "a\n");
}

TEST(Conditions, AreRefused)
{
    EXPECT_TRUE(has(typed("if 1 quote a; end"), "Use if( condition ) ...actions... end"));
    EXPECT_TRUE(has(typed("if (1)) quote a; end"), "Unbalanced ')' in expression"));
    EXPECT_TRUE(has(typed("if (1; quote a; end"), "Found unexpected ';'"));
    EXPECT_TRUE(has(fromfile("if (0) quote a; quote b;"), "Found end-of-file:"));
    EXPECT_TRUE(has(fromfile("if (0) quote a; quote b;"), "\"if\" not matched by \"end\" or \"else\""));
    EXPECT_TRUE(has(typed("loop 1 3 if (0) quote a; stop"), "\"if\" not matched by \"end\" or \"else\"")) << "it ends with the loop";
    EXPECT_EQ(typed("loop 1 1 quote clean; stop"), "clean\n");
}

TEST(Conditions, AreNotEchoedAtTheConsole)
{
    EXPECT_EQ(typed("macreport =; if (2 > 1) quote a; end macreport -;"), "Macro report is ON \na\nMacro report is OFF \n");
}

TEST(Conditions, MayEndWithTheFile)
{
    EXPECT_EQ(fromfile("if (0) quote a; end"), "");
    EXPECT_EQ(fromfile("if (1) quote a; else quote b; end"), "a\n");
    std::string file = writefile("last.run", "quote a; label last");
    EXPECT_EQ(typed("goto " + file + " last; quote b;"), "Goto Label \"last\" in " + file + " (no args.)\nb\n");
}

TEST(Conditions, AreEchoed)
{
    EXPECT_EQ(fromfile("macreport =; if (2 > 1) end if (3 < 1) end macreport -;"),
              "Macro report is ON \nIF  2 1 ---> TRUE\nIF  3 1 ---> FALSE!\nMacro report is OFF \n");
}

TEST(ScriptCommands, NeedTheLanguageAndTheirWholeName)
{
    zelrun("macro -");
    for (const char *command : { "set 0 1", "loop 1 2 stop", "if (1) end", "else", "end", "xend", "var", "goto a b", "label x", "return",
                                 "setarray 1 a 2", "setloop 2", "endloop", "continue", "private 1", "macseed 1", "safe vars 1",
                                 "sprit 0 stop", "tbrit 0 stop", "bandb stop", "forfiles a stop", "travtree up 0 0 0 endtrav",
                                 "combine 2 1 0 endcomb", "killfiles", "endswap", "resetswap", "cutbranch", "endbranch",
                                 "hifile list", "copytree 0", "maketable 0", "progress 1 2 x", "errmsg x", "chkbreak 1", "resettime",
                                 "macreport", "barplot 0", "opendlg 1 1 1 1 x", "iterrecs 0 0 0 endrecs", "iternucrecs 0 endrecs",
                                 "slaveget x", "slaveset x", "recurse" })
        EXPECT_TRUE(has(zelrun(command), "legal only when macros are enabled")) << command;
    EXPECT_TRUE(has(typed("setarr 1 a 2"), "Unknown command: setarr"));
    EXPECT_TRUE(has(typed("macr ="), "Unknown command: macr"));
    EXPECT_TRUE(has(typed("cont"), "Unknown command: cont"));
    for (const char *later : { "barplot", "opendlg", "iterrecs", "iternucrecs", "slaveget", "slaveset" })
        EXPECT_TRUE(has(typed(later), "not available yet")) << later;
}

TEST(ScriptCommands, NotThereYetRunNothingOfTheirBodies)
{
    for (const char *body : { "iterrecs 0 1 ray quote no; iterrecs 0 2 ray quote no; endrecs ; macro -; 'nosuch' $nosuch #nosuch endrecs",
                              "iternucrecs 0 1 ray quote no; iternucrecs 0 1 ray endrecs quote no; endrecs",
                              "opendlg 10 10 300 300 A title's end ; check 0 1 1 30 30 quote no; subdlg 1 1 9 9 more ; 1 1 9 9 More ;"
                              " quote no; closedlg ; quote no; closedlg" }) {
        std::string command(body, strcspn(body, " "));
        EXPECT_EQ(fromfile(std::string(body) + " ; quote after; loop 1 2 " + body + " ; quote #1; stop"),
                  "Command " + command + " is not available yet\nafter\nCommand " + command + " is not available yet\n1\nCommand "
                      + command + " is not available yet\n2\n");
        EXPECT_TRUE(has(fromfile(command + " 0 1 x quote no; "), "Found end-of-file:")) << command;
        EXPECT_FALSE(has(fromfile(command + " 0 1 x quote no; "), "no\n")) << command;
    }
    EXPECT_EQ(typed("iterrecs = 7; quote after;"), "Command iterrecs is not available yet\nafter\n");
    EXPECT_EQ(typed("barplot x; quote after;"), "Command barplot is not available yet\nafter\n");
}

TEST(Goto, ReadsAFileFromALabel)
{
    std::string file = writefile("labels.run", "quote never; label one; quote one %1 ; return; LABEL Two; quote two %2 ; return;");
    EXPECT_EQ(typed("goto " + file + " two a b; quote back;"),
              "Goto Label \"two\" in " + file + " (args: a b)\ntwo b \nback\n");
    EXPECT_EQ(zelrun("goto " + file + " one; quote back;"), "Goto Label \"one\" in " + file + " (no args.)\none  \nback\n");
    EXPECT_EQ(zelrun("goto " + file + " .;"), "Goto Label \".\" in " + file + " (no args.)\nnever\none  \n");
    EXPECT_TRUE(has(zelrun("goto " + file + " three;"), "Label \"three\" not found in " + file));
    EXPECT_EQ(curproc, procnest);
    EXPECT_EQ(zelrun("goto = " + file + "; goto two x y; goto -;"),
              "Default target for goto is " + file + " \nGoto Label \"two\" in " + file + " (args: x y)\ntwo y \n");
    EXPECT_TRUE(has(zelrun("goto =;"), "Define default target file"));
    EXPECT_TRUE(has(zelrun("goto " + file + ";"), "Must give label to go to"));
    EXPECT_TRUE(has(zelrun("goto /no/such/file x;"), "Can't open /no/such/file"));
    std::string many;
    for (int i = 0; i < 33; ++i) many += " a";
    EXPECT_TRUE(has(zelrun("goto " + file + " one" + many + ";"), "Too many arguments for " + file + " (max.: 32)"));
    EXPECT_TRUE(has(zelrun("goto " + file + " one " + std::string(513, 'a') + ";"), "Argument too long"));
}

TEST(Goto, LosesTheNamesOfItsFileUnlessTheyAreKept)
{
    std::string file = writefile("named.run", "label a; var: gone; return; label b; var: kept; return = ;");
    typed("goto " + file + " a; goto " + file + " b;");
    EXPECT_EQ(find_varname("gone"), -1);
    EXPECT_EQ(find_varname("kept"), 0);
}

TEST(Goto, LeavesALoopThatGoesOnAfterwards)
{
    std::string file = writefile("away.run", "label away; loop 5 6 quote away #1 %1; if (#1 == 5) return; end stop");
    EXPECT_EQ(fromfile("loop 1 2 loop 8 9 goto " + file + " AWAY #2; stop quote #1; stop quote #1;"),
              [&] {
                  std::string said;
                  for (int i = 1; i <= 2; ++i) {
                      for (const char *j : { "8", "9" }) said += "Goto Label \"AWAY\" in " + file + " (args: " + j + ")\naway 5 " + j + "\n";
                      said += std::to_string(i) + "\n";
                  }
                  return said + "#1\n";
              }());
}

TEST(Goto, GoesOnAfterAnError)
{
    std::string file = writefile("errors.run", "label failed; quote saved; return;");
    std::string failing = writefile("failing.run", "goto [ " + file + " failed; nosuchcommand; quote never;");
    std::string said = typed("run " + failing + ";");
    EXPECT_TRUE(has(said, "Target for goto on error/break: " + file + " (label: failed)"));
    EXPECT_TRUE(has(said, "Unknown command: nosuchcommand"));
    EXPECT_TRUE(has(said, "saved\n")) << said;
    EXPECT_FALSE(has(said, "never\n"));
    EXPECT_EQ(errgoto_level, -1);
    std::string closing = writefile("closing.run", "goto [ " + file + " failed;");
    said = typed("run " + closing + "; nosuchcommand;");
    EXPECT_FALSE(has(said, "saved\n")) << "the target goes with its file";
    said = typed("goto [ " + file + " failed; goto ]; nosuchcommand;");
    EXPECT_TRUE(has(said, "Undefined error/break target"));
    EXPECT_FALSE(has(said, "saved\n"));
    EXPECT_TRUE(has(typed("goto [ ;"), "Define target file for error/break"));
    EXPECT_TRUE(has(typed("goto [ file;"), "Must give label to go to"));
    EXPECT_TRUE(has(typed("goto [ file " + std::string(125, 'a') + ";"), "Label is too long"));
    EXPECT_TRUE(has(typed("goto [ " + file + " failed; goto [ x y;"), "A target has been defined; undefine first, with 'goto ]'"));
    goto_pending = 0;
    errgoto_level = -1;
}

TEST(Files, LeaveAValue)
{
    std::string file = writefile("value.run", "macreport =; return 6*7; macreport -;");
    EXPECT_TRUE(has(typed("run " + file + "; set 0 exstatus; macreport -; quote '0';"), "Exit status = 42\n"));
    EXPECT_EQ(last_exstatus, 42);
}

TEST(Language, IsTurnedOnAndOff)
{
    zelrun("macro -");
    EXPECT_EQ(zelrun("macro - *20 2000;"), "Macro language is OFF \nUp to 20 nested loops and 2000 variables\n");
    EXPECT_EQ(zelrun("macro [500"), "RAM for macros is 500 KBytes\n");
    EXPECT_TRUE(has(zelrun("macro ="), "Macro language is ON \nRAM for macros is 500 KBytes ("));
    EXPECT_EQ(zelrun("macro *3 10"), "Numbers of loops/variables must be changed under \"macro-\"\n"
                                     "Request to change numbers of loops/variables will be ignored\n");
    EXPECT_TRUE(has(zelrun("macro [3"), "RAM can be reset only with macros OFF (request will be ignored)\n"));
    EXPECT_EQ(Maxvars, 2000);
    EXPECT_TRUE(has(zelrun("macro;"), "Macro language is OFF \nMacros: "));
    std::string said = zelrun("macro;");
    EXPECT_TRUE(has(said, "Macro language is ON"));
    size_t use = said.rfind("Macros: ");
    int used = 0, left = 0, tenths[2] = {};
    ASSERT_NE(use, std::string::npos);
    EXPECT_EQ(sscanf(said.c_str() + use, "Macros: %i.%i Kb in use, %i.%i Kb free\n", &used, tenths, &left, tenths + 1), 4) << said;
    EXPECT_NEAR(used + left + (tenths[0] + tenths[1]) / 10.0, double(macroram_size) / 1000, 0.3);
    zelrun("macro - [1 *15 100000");
    zelrun("macro =");
    EXPECT_GT(macroram_size, 1000000) << "raised to what the tables need";
    zelrun("macro - *15 1000 [102; macro =");
    EXPECT_TRUE(has(zelrun("macro $"), "Wrong argument for macro"));
    EXPECT_TRUE(has(zelrun("var: x; macro -; macro =; set 0 'x';"), "Unrecognized variable: x"));
}

TEST(RandomNumbers, FollowTheGenerator)
{
    EXPECT_EQ(typed("macseed 7; macseed;"), "Current seed for Macros is 7 \nCurrent seed for Macros is 7 \n");
    unsigned s = 7;
    for (int i = 0; i < 100; ++i) {
        s = s * 1103515245u + 12345u;
        EXPECT_EQ(macrand(), int(s >> 16 & 0x7fff));
    }
    for (long n : { 1L, 2L, 32766L, 32767L, 50000L, 1000003L, 2000000000L })
        for (int i = 0; i < 200; ++i) {
            long r = macrandinterval(n);
            EXPECT_TRUE(r >= 0 && r < n) << n << ' ' << r;
        }
}
