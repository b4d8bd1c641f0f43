#include "scripttest.h"
#include "kernel/progress.h"
#include "kernel/window.h"
#include "kernel/input.h"
#include "kernel/errors.h"
#include "script/hifile.h"
#include "script/session.h"
#include "script/expr.h"
#include "script/vars.h"

static std::string words()
{
    static std::string file = writefile("words.txt", "one two 3.5,-7 x\nsecond line\nthird.line here\n12");
    return file;
}

TEST(HiFile, ReadsWordsNumbersAndBytes)
{
    typed("report -; hifile open " + words() + ";");
    EXPECT_EQ(zelrun("quote [$hifstring] [$hifstring]; set 0 hifnumber; set 1 hifnumber; quote '0' '1'; set 2 hifchar; set 3 hifspy; set 4 hifline; quote '2' '3' '4';"),
              "[one] [two]\n3.500000 -7\n120 10 0\n");
    EXPECT_EQ(zelrun("quote $hifstring; set 4 hifline; quote '4'; hifile skipline; quote $hifstring; set 4 hifline; quote '4';"), "second\n1\nthird.line\n2\n");
    EXPECT_EQ(zelrun("hifile skips; set 0 hifnumber; set 1 hifeof; quote '0' '1' [$hifstring];"), "12 1 [ ]\n");
    EXPECT_EQ(zelrun("hifile rewind; hifile skip 4; quote $hifstring; hifile seek n; quote $hifstring; hifile rewind; hifile seeks line 2; quote $hifstring; hifile rewind; hifile seek &10 2; quote $hifstring;"),
              "two\nd\nhere\nthird.line\n");
    EXPECT_EQ(zelrun("hifile rewind; hifile ]; hifile seek t; hifile skips; set 0 hifnumber; set 1 hifspy; quote '0' '1'; hifile [; hifile rewind; hifile skips 2; set 0 hifnumber; set 1 hifspy; quote '1';"),
              "3.500000 44\n45\n");
    zelrun("report =");
}

TEST(HiFile, KeepsSeveralFilesOpen)
{
    std::string other = writefile("other.txt", "alpha beta");
    EXPECT_EQ(typed("hifile open " + words() + ";"), "Opened file " + words() + " for input \n");
    zelrun("hifile open " + other + ";");
    EXPECT_EQ(zelrun("hifile list;"), "\nList of open input files (* = active):\n   " + words() + "\n * " + other + "\n");
    EXPECT_EQ(zelrun("quote $hifstring;"), "alpha\n");
    EXPECT_EQ(zelrun("hifile active " + words() + "; quote $hifstring;"),
              "Setting file \"" + words() + "\" as active (=default) input file\none\n");
    EXPECT_EQ(zelrun("hifile skips [" + other + "] 0; quote $hifstring[" + other + "];"), "beta\n");
    EXPECT_EQ(zelrun("hifile close [" + other + "]; hifile close;"),
              "Closed file " + other + "\nClosed file " + words() + " (no file is active now)\n");
    zelrun("hifile open " + words() + "; hifile open " + other + ";");
    EXPECT_EQ(zelrun("hifile close;"), "Closed file " + other + " (active file is now " + words() + ")\n");
    EXPECT_EQ(zelrun("hifile rewind;"), "Rewinded file \"" + words() + "\"\n");
}

TEST(HiFile, MayHaveNoActiveFile)
{
    std::string other = writefile("other.txt", "alpha beta");
    typed("hifile open " + words() + "; hifile open " + other + "; hifile active " + words() + ";");
    EXPECT_EQ(zelrun("hifile close;"), "Closed file " + words() + " (no file is active now)\n") << "the other one was opened later";
    EXPECT_TRUE(has(zelrun("hifile skip;"), "No input file is active"));
}

TEST(HiFile, IsRefused)
{
    EXPECT_TRUE(has(typed("hifile open " + words() + "; hifile open " + words() + ";"), "File \"" + words() + "\" is already open"));
    EXPECT_TRUE(has(typed("hifile close;"), "No input files are open")) << "an error closes them";
    EXPECT_TRUE(has(typed("hifile open /no/such;"), "Can't open file /no/such"));
    EXPECT_TRUE(has(typed("hifile open " + words() + "; hifile skip [nosuch] 1;"), "No open file named nosuch"));
    EXPECT_TRUE(has(typed("hifile dance;"), "Unidentified option in hifile command"));
    EXPECT_TRUE(has(typed("hifile =3;"), "Max. number of input files can't be set with macros ON"));
    EXPECT_TRUE(has(typed("hifile open " + words() + "; hifile seeks ;"), "No string specified"));
    EXPECT_TRUE(has(typed("hifile open " + words() + "; hifile seeks " + std::string(201, 'x') + ";"), "String to seek is too long (max. 200 chars.)"));
    zelrun("macro -; hifile =1; macro =; hifile open " + words() + ";");
    EXPECT_TRUE(has(zelrun("hifile open " + writefile("more.txt", "x") + ";"), "Can't have more than 1 files open simultaneously"));
    zelrun("macro -; hifile =5; macro =");
    EXPECT_TRUE(has(typed("hifile open " + writefile("long.txt", std::string(10001, 'x')) + "; quote $hifstring;"), "String too long, can't convert it"));
}

TEST(Tables, ShowArrays)
{
    EXPECT_EQ(typed("report -; var: x[4]; setarray 4 x 3 10 4 1; maketable x My table; report =;"),
              "My table\n       0   1   2   3   4   5   6   7   8   9\n   0   3  10   4   1\nReport is ON \n");
    EXPECT_EQ(typed("report -; var: x[4]; setarray 4 x 3 10 4 1; maketable =10 x T; report =;"), "T\n 0   3  10\n 2   4   1\nReport is ON \n");
    EXPECT_TRUE(has(typed("var: x[4]; maketable =; x;"), "Expected max. table width after '='"));
    EXPECT_TRUE(has(typed("maketable 7 T;"), "Scripting tables require one-dimensional arrays as input"));
    EXPECT_TRUE(has(typed("var: x[4]; maketable * x x T;"), "Double tables allowed only under integer mode"));
    zelrun("macro -; macfloat -; macro =; report -;");
    EXPECT_EQ(zelrun("var: x[2] y[2]; setarray 2 x 1 2; setarray 2 y 30 4; maketable * x y T;"), "T\n 0  1/30   2/4\n");
    zelrun("macro -; macfloat =; report =");
}

TEST(Tables, OfOtherCommandsAreCaught)
{
    zelrun("p " ZEL_EXAMPLES_DIR "/bees.zel; p " ZEL_EXAMPLES_DIR "/bees_ten.tre;");
    typed("var: x[10]; maketable + x; length; maketable -; set 20 listsize;");
    EXPECT_EQ(value_of(20), 9);
    EXPECT_EQ(value_of(0), 40);
    EXPECT_EQ(value_of(3), 42);
    zelrun("set x[0] 1; length;");
    EXPECT_EQ(value_of(0), 1) << "no longer";
}

TEST(Tables, AreNotCaughtByALanguageThatWasTurnedOff)
{
    zelrun("p " ZEL_EXAMPLES_DIR "/bees.zel; p " ZEL_EXAMPLES_DIR "/bees_ten.tre;");
    typed("var: x[900]; maketable + x;");
    zelrun("macro - *15 2; macro =; set 0 77; set 1 88; length;");
    EXPECT_EQ(value_of(0), 77);
    EXPECT_EQ(value_of(1), 88);
    zelrun("macro - *15 1000; macro =");
}

TEST(Sessions, TellProgressAndTime)
{
    EXPECT_TRUE(has(typed("progress 1 2 text;"), "Cannot run progress with report ON"));
    EXPECT_TRUE(has(typed("report -; progress 1 2 " + std::string(146, 'x') + ";"), "Text for progress bar too long"));
    static std::string shown;
    auto line = window.progressline;
    window.progressline = [](const char *text) { shown = text; };
    zelrun("progress 1 2 half  done;");
    EXPECT_TRUE(has(shown, "half done"));
    EXPECT_EQ(doing_user_progress, 1);
    zelrun("progress /;");
    EXPECT_EQ(shown, "");
    EXPECT_EQ(doing_user_progress, 0);
    window.progressline = line;
    zelrun("report =");
    EXPECT_EQ(typed("resettime;"), "Time reset \n");
    EXPECT_TRUE(has(typed("set 0 5; errmsg Bad value: '0'; quote never;"), "Bad value: 5\n"));
    EXPECT_TRUE(zelfailed());
    typed("chkbreak 1; chkbreak 0;");
    EXPECT_FALSE(zelfailed());
}

TEST(Sessions, StopAtTheEscKey)
{
    static int key;
    auto pressed = window.zel_app_window_getKeyPressed;
    window.zel_app_window_getKeyPressed = [] { int k = key; key = 0; return k; };
    key = KEY_ESC;
    EXPECT_TRUE(has(typed("loop 1 5 chkbreak 1; quote #1; stop"), "User interrupt..."));
    EXPECT_TRUE(zelfailed());
    key = KEY_ESC;
    EXPECT_TRUE(has(typed("set 0 1; loop 0+0 1 set 0 ++; stop"), "User interrupt...")) << "a loop without end is left";
    window.zel_app_window_getKeyPressed = pressed;
    EXPECT_EQ(typed("loop 1 1 quote clean; stop"), "clean\n");
}
