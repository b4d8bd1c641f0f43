#include "scripttest.h"
#include "kernel/input.h"
#include "script/loops.h"
#include "script/vars.h"

TEST(Variables, HaveNumbersAndNames)
{
    typed("var = 3 a;");
    EXPECT_EQ(find_varname("a"), 3);
    EXPECT_TRUE(has(zelrun("var = 3 b;"), "Can't rename variables: 3 a"));
    zelrun("var = 5 a;");
    EXPECT_EQ(find_varname("a"), 5) << "the one named last is found";
    EXPECT_EQ(num_defdvarnames, 2);
    zelrun("var = + c;");
    EXPECT_EQ(find_varname("c"), 6);
    zelrun("var: d e;");
    EXPECT_EQ(find_varname("e"), 8);
    EXPECT_EQ(highest_varname, 9);
    zelrun("var = 0 early 7 x;");
    EXPECT_TRUE(zelfailed()) << "7 is d";
}

TEST(Variables, AreArraysOfUpToFiveDimensions)
{
    typed("var: a[2 3] b;");
    EXPECT_EQ(find_varname("b"), 2 + 6);
    EXPECT_EQ(value_of(0), 2);
    EXPECT_EQ(value_of(1), 5);
    zelrun("set a[1 2] 9;");
    EXPECT_EQ(value_of(7), 9);
    int subscripts[] = { 1, 2 };
    EXPECT_EQ(give_one_cell_in_array(0, subscripts, 2), 7);
    typed("var: c[2 2 2 2 2] d;");
    EXPECT_EQ(find_varname("d"), 2 + 4 + 8 + 16 + 32);
    zelrun("set c[1 0 1 1 0] 5; set c[0 0 0 0 0] 6; set c[1 1 1 1 1] 7;");
    EXPECT_EQ(zelrun("quote 'c[1 0 1 1 0]' 'c[0 0 0 0 0]' 'c[1 1 1 1 1]' 'c[0 1 1 1 1]';"), "5 6 7 0\n");
    EXPECT_TRUE(has(typed("var: c[1 1 1 1 1 1];"), "Variables cannot have more than 5 dimensions"));
    EXPECT_TRUE(has(typed("var: c[0];"), "Dimension 1 of var. 0 cannot be <= 0!"));
    fromfile("var = 2,4,3 a;");
    EXPECT_EQ(vardimis[2][1], 3) << "sizes before the name";
}

TEST(Variables, RefuseSubscriptsOutOfRange)
{
    std::string with = "var: a[4] m[2 3]; ";
    EXPECT_TRUE(has(typed(with + "set a[4] 1;"), "Variable 0 has only 4 values (0-3) for dimension 1"));
    EXPECT_TRUE(has(typed(with + "set m[1 3] 1;"), "Variable 4 has only 3 values (0-2) for dimension 2"));
    EXPECT_TRUE(has(typed(with + "set a[1 1] 1;"), "has only 1"));
    EXPECT_TRUE(has(typed("set 7[1] 1;"), "has only 0"));
    EXPECT_TRUE(has(fromfile(with + "set a[1,] 1;"), "Unexpected closing bracket, ]"));
    EXPECT_TRUE(has(typed(with + "quote 'm[0-1 1]';"), "Ranges are valid only for the last dimension"));
    EXPECT_TRUE(has(typed(with + "set a 1;"), "Cannot re-set array under protection mode 2\nVar. 0 (a) has 1 dimensions, not 0"));
    EXPECT_TRUE(has(typed(with + "set m[1] 1;"), "Var. 4 (m) has 2 dimensions, not 1"));
    EXPECT_TRUE(has(typed("set 1000 1;"), "No variable number 1000"));
    EXPECT_TRUE(has(typed("set (-3) 1;"), "No variable -3"));
    EXPECT_TRUE(has(typed("var: big[2000];"), "A [2000] array uses 2000 cells (1000 of 1000 available)\n"));
    EXPECT_TRUE(zelfailed());
    EXPECT_TRUE(has(typed("var = 1000 a;"), "No variable 1000 (only 1000 variables in use)"));
    EXPECT_TRUE(has(typed("var = 0 3x;"), "Variable names must start with a letter (missing comma?)"));
    EXPECT_TRUE(has(typed("var: " + std::string(51, 'a') + ";"), "Variable name too long (max. 50 chars.)"));
}

TEST(Variables, OfAnUnprotectedLanguageHaveNoSizes)
{
    zelrun("macro -; macro prot 0; macro =");
    EXPECT_EQ(macprotmod, 0);
    EXPECT_EQ(varnumdims, nullptr);
    zelrun("var: a[2 2]; set a 7; set a 2; set a[0 1] 8;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(value_of(3), 8);
    EXPECT_TRUE(has(zelrun("quote 'a[0-1]';"), "Ranges valid only under macro protected mode"));
    EXPECT_TRUE(has(zelrun("macro prot 2"), "Protection must be set with macros turned off"));
    EXPECT_TRUE(has(zelrun("macro prot 3"), "Protection level is 0-2"));
    EXPECT_TRUE(has(zelrun("maketable a x"), "Scripting tables not allowed under macro protection 0"));
    EXPECT_TRUE(has(zelrun("set 0 varsize[a]"), "Variable \"varsize\" valid only in macro protection mode"));
    zelrun("macro -; macro prot 2; macro =; macro prot 1");
    EXPECT_EQ(macprotmod, 1);
    zelrun("var: x[3]; set x 5;");
    EXPECT_FALSE(zelfailed()) << "only level 2 protects arrays from single values";
    zelrun("macro prot 2");
}

TEST(Variables, AreAssignedByOperators)
{
    EXPECT_EQ(typed("set 0 5; set 0 += 3; set 0 *= 2; set 0 -= 1; set 0 /= 5; quote '0'; set 0 ++; quote '0'; set 0 --; quote '0';"),
              "3\n4\n3\n");
    EXPECT_EQ(typed("set 0 12; set 0 &= 10; quote '0'; set 0 |= 3; quote '0'; set 0 ^= 1; quote '0';"), "8\n11\n10\n");
    EXPECT_EQ(typed("set 0 -3; quote '0'; set 0=4; quote '0'; set =0 = 6; quote '0'; set 0 - 2; quote '0';"), "-3\n4\n6\n-2\n");
    EXPECT_TRUE(has(typed("set 0 + 3;"), "Invalid syntax in set command"));
    EXPECT_TRUE(has(typed("set 0;"), "Set requires a value or expression"));
    EXPECT_TRUE(has(typed("set 0 5; set 0 /= 0;"), "Can't divide by zero"));
    EXPECT_EQ(typed("set 3 4; set '3' 7; quote '4';"), "7\n") << "the value of a variable is the number of another";
}

TEST(Variables, OfIntegersTruncate)
{
    zelrun("macro -; macfloat -; macro =");
    EXPECT_EQ(nofloats, 1);
    EXPECT_EQ(zelrun("set 0 7/2; quote '0'; set 0 /= 2; quote '0'; set 0 2147483647; set 0 ++; quote '0' '/5(0)';"),
              "3\n1\n-2147483648 -2147483648\n");
    EXPECT_TRUE(has(zelrun("macfloat ="), "Cannot change setting of integer only with macros ON"));
    EXPECT_EQ(zelrun("macro -; macfloat ="), "Macro language is OFF \nMacros will use floating point operations\n");
    EXPECT_EQ(zelrun("macfloat -; macfloat;"), "Macros will use integer-only\nMacros will use integer-only\n");
    zelrun("macfloat =");
}

TEST(Variables, AreWrittenInFormats)
{
    EXPECT_EQ(typed("set 0 2/3; quote '0'; macfloat 2; quote '0'; macfloat e; quote '0'; macfloat *; quote '0'; macfloat 6;"),
              "0.666667\n0.67\n0.666667\n0.666667\n");
    EXPECT_EQ(typed("var: x; set x 2/3; quote ['/8.2x'] ['/-8.2x'] ['/+.1x'] ['/x'] [\"/10x\"];"),
              "[    0.67] [0.67    ] [+0.7] [0.666667] [  0.666667]\n");
    EXPECT_EQ(typed("set 0 5; quote '0' '(0)' '(1-1)' \"0\";"), "5 5 5 5\n");
    EXPECT_TRUE(has(typed("set 0 5; quote '/3;"), "Incorrect variable conversion"));
    EXPECT_TRUE(has(typed("set 0 5; quote '0\";"), "Expression must end and start with the same symbol"));
    EXPECT_TRUE(has(typed("set 0 5; quote '0 ;"), "Expression must end and start with the same symbol"));
    EXPECT_TRUE(has(typed("var: a[3]; quote '/3a[0-2]';"), "Sorry, local formatting of arrays not allowed"));
}

TEST(Variables, InRangesOfAnyLengthAreWrittenWhole)
{
    typed("var: x[900]; loop 0 899 set x[#1] #1; stop macfloat 3;");
    std::string said = zelrun("lquote =; quote 'x[0-899]'; lquote -;");
    std::string expected;
    char cell[20];
    for (int i = 0; i < 900; ++i) {
        snprintf(cell, sizeof cell, i ? " %.3f" : "%.3f", double(i));
        expected += cell;
    }
    size_t at = said.find("0.000");
    ASSERT_NE(at, std::string::npos);
    EXPECT_EQ(said.substr(at, expected.size()).substr(0, 1500), expected.substr(0, 1500));
    typed("var: y[2 400]; macfloat 20;");
    zelrun("set y[1 399] 3;");
    said = zelrun("lquote =; quote 'y[1 0-399 &44]'; lquote -;");
    EXPECT_FALSE(zelfailed());
    std::string cells;
    for (int i = 0; i < 399; ++i) cells += "0.00000000000000000000,";
    EXPECT_TRUE(has(said, cells + "3.00000000000000000000")) << said;
}

TEST(Variables, InRangesThatTakeManyExpansionsAreWrittenWhole)
{
    // Numbers of many digits leave room for a few cells in an expansion.
    zelrun("macro -; mxram 64; macfloat =; macro prot 2 *15 60000; macro =; macfloat 100; report -;");
    zelrun("var: x[25000] y[25000]; macseed 1; set * x *30000; setarray 25000 y 'x[0-24999]';");
    EXPECT_FALSE(zelfailed());
    for (int i = 0; i < 25000; ++i) ASSERT_EQ(value_of(25000 + i), value_of(i)) << i;
    EXPECT_NE(value_of(25000), value_of(25001));
    zelrun("macfloat 6; loop 0 99 set x[#1] exp[(600)]; stop setarray 100 y 'x[0-99]';");
    EXPECT_FALSE(zelfailed());
    EXPECT_NEAR(value_of(25099) / value_of(0), 1, 1e-12);
    zelrun("macro - *15 1000; macro =; report =;");
}

TEST(Variables, OfOtherFilesAreWrittenInLongRanges)
{
    std::string inner = writefile("inner.run", "macfloat 20; setarray 400 copy 'x[0-399]'; macfloat 6;");
    typed("report -; var: x[400] copy[400]; loop 0 399 set x[#1] #1/7; stop private 5; run " + inner + ";");
    EXPECT_FALSE(zelfailed());
    for (int i = 0; i < 400; ++i) ASSERT_EQ(value_of(400 + i), i / 7.0) << i;
    zelrun("report =;");
}

TEST(Variables, KeepTexts)
{
    EXPECT_EQ(typed("set 5 $hello  there; quote [$5];"), "[hello there]\n");
    EXPECT_EQ(typed("set 5 $a.,b&65c; var $5;"), "a;bAc \n");
    EXPECT_EQ(typed("set 5 $abcdef; quote [$5:3] [$5:8] [$5:+2] [$5:-2] [$5:-8] [$5:+9] [$5<c] [$5>c] [$5<z];"),
              "[abc] [abcdef  ] [cdef] [ef] [  abcdef] [ ] [ab] [def] [abcdef]\n");
    EXPECT_EQ(typed("set 5 $ab\\cd\\ef; quote [$5::0] [$5::1] [$5::2];"), "[ab] [cd] [ef]\n");
    EXPECT_EQ(typed("quote [$9];"), "[ ]\n") << "an empty text is a blank";
    EXPECT_EQ(typed("set +; set 5 $x; quote [$5]; set -; quote [$5];"),
              "Adding space in string conversions\n[x ]\nNot adding space in string conversions\n[x]\n");
    EXPECT_EQ(typed("set 5 $abc; quote [$5: 2] [$5:x] [$5:+] [$5::;"), "[abc: 2] [abc:x] [abc:+] [abc::\n") << "no number follows";
    EXPECT_TRUE(has(typed("set 5 $abc; quote $5:8500;"), "Cannot make string conversion so long ( max. 8500)"));
    EXPECT_TRUE(has(typed("set 998 $" + std::string(8, 'x') + ";"), "String too long (it exceeds variable 999)"));
    EXPECT_EQ(typed("set 998 $abcdefg; quote $998;"), "abcdefg\n");
}

TEST(Variables, AreCutBetweenLettersOfAnyAlphabet)
{
    EXPECT_EQ(typed("set 5 $Ångström naïve; quote [$5:2] [$5:+1] [$5:-3] [$5<g] [$5>ö] [$5:16] [$5:-16];"),
              "[Ån] [ngström naïve] [ïve] [Ån] [m naïve] [Ångström naïve  ] [  Ångström naïve]\n");
}

TEST(Variables, WithinTextsAreWritten)
{
    typed("set 5 7; var = 10 n; set 10 5;");
    store_string(20, "a'n'b\"n\"c");
    EXPECT_EQ(zelrun("quote $20;"), "a5b7c\n");
    store_string(20, "a'n");
    EXPECT_TRUE(has(zelrun("quote $20;"), "Each quote or single quote must be matched"));
    store_string(20, "a'zz'");
    EXPECT_TRUE(has(zelrun("quote $20;"), "Unrecognized variable: zz"));
    store_string(20, "a'(n)'");
    EXPECT_TRUE(has(zelrun("quote $20;"), "Variables within strings can be expanded only with simple expressions"));
    store_string(20, "a'5000'");
    EXPECT_TRUE(has(zelrun("quote $20;"), "Only 1000 variables available"));
}

TEST(Variables, AreShown)
{
    EXPECT_EQ(typed("var: x y[2 2]; set x 5; set y[1 0] 3; var x; var /x; var y; var y*; var y[1 0];"),
              "Variable x = 5\nVariable x = {0 2}\nVariable y[2,2]:\n0 0\n3 0\nsetarray 2,2 y\n0 0\n3 0\n;\nVariable y[1,0] = 3\n");
    EXPECT_EQ(typed("var: x; set 5 $abc; var $5; var;"), "abc \nNamed variables:\n     0  x = 0\n");
    EXPECT_TRUE(has(typed("var $;"), "Must specify number of variable to display as string"));
    EXPECT_TRUE(has(typed("var: y[2]; var /y*;"), "Cannot save in matrix form using bits"));
    for (const char *c : { "+", "!", "\\", "|" }) EXPECT_TRUE(has(typed(std::string("var ") + c + " 0 1;"), "not available yet"));
}

TEST(Variables, AreFilledFromLists)
{
    EXPECT_EQ(typed("var: a[4]; setarray 4 a 1 2 3 4; quote 'a[0]' 'a[3]';"), "Reading 4 values) into a\n1 4\n");
    EXPECT_EQ(fromfile("report-; var: m[2 3]; setarray 2,3 m 1 2 3 4 5 6; report=; quote 'm[0 2]' 'm[1 0]';"), "Report is ON \n3 4\n");
    EXPECT_TRUE(has(typed("var: a[4]; setarray a 1 2;"), "Must specify dimension"));
    EXPECT_TRUE(has(typed("var: a[4]; setarray 4 a 1 2 3;"), "Not enough values specified in array"));
    EXPECT_TRUE(has(typed("var: a[4]; setarray 4 a 1 2 3 4 5;"), "Setarray must end with a semicolon"));
    EXPECT_TRUE(has(typed("var: m[2 2]; setarray 2 m 1 2;"), "Too few dimensions to set (under protection mode 2, cannot re-set arrays)"));
    EXPECT_TRUE(has(typed("var: a[4]; setarray 5 a 1 2 3 4 5;"), "has only 4 values (0-3)"));
    EXPECT_TRUE(has(fromfile("var: a[4]; setarray 4 a 1 2"), "End of file while reading array"));
}

TEST(Variables, LoseTheirNamesOnRequest)
{
    typed("var: a b c;");
    EXPECT_EQ(zelrun("var -1;"), "User variables above 1 will be denamed \n");
    EXPECT_EQ(find_varname("b"), 1);
    EXPECT_EQ(find_varname("c"), -1);
    EXPECT_EQ(zelrun("var -;"), "User variables from Menu will be denamed \n");
    EXPECT_EQ(num_defdvarnames, 0);
    EXPECT_EQ(highest_varname, 0);
    EXPECT_EQ(macro_lotop, macrostart_loseg);
    EXPECT_TRUE(has(typed("var: a; loop 1 1 var -; stop"), "Can't dename variables from within a loop"));
}

TEST(Variables, AreCountedAnewInEveryFile)
{
    std::string inner = writefile("inner.run", "set 0 99; var = 0 own; set own 5; var: next; set next 6; quote '0' 'own' '1'; var -(-1);");
    std::string said = typed("var: a b; set a 1; private 3; set 4 44; run " + inner + "; quote 'a' '4';");
    EXPECT_TRUE(has(said, "5 5 6\n")) << "variable 0 of the file is the one it names: " << said;
    EXPECT_TRUE(has(said, "Cannot dename a variable from a previous file")) << said;
    EXPECT_EQ(find_varname("own"), -1);
    EXPECT_EQ(addatvar, 0);
    EXPECT_EQ(value_of(2 + 3), 5) << "above two names and three private ones";
    EXPECT_TRUE(has(typed("private -1"), "Can't set private variables to less than 0"));
    std::string unnumbered = writefile("unnumbered.run", "var: own;"), plus = writefile("plus.run", "var = + own;");
    for (const std::string &file : { unnumbered, plus }) {
        EXPECT_TRUE(has(typed("private 2; run " + file + ";"), "Cannot name variables which are private to other files"));
        EXPECT_FALSE(has(typed("private 0; run " + file + ";"), "Cannot"));
    }
    EXPECT_TRUE(has(typed("private 2000000000; run " + writefile("none.run", "set 0 1;") + ";"), "No variable number 1000"));
    EXPECT_EQ(typed("private 7; private 0"), "7 private variables in Menu (var. shift=0)\n0 private variables in Menu (var. shift=0)\n");
}

TEST(Variables, PrivateToFilesWithinFilesAreApart)
{
    // Cells: the outer file 0, 1 and a name at 2; the middle one 3, 4 and a name at 5; the inner one from 6 on.
    std::string inner = writefile("inner.run", "set 0 31; var = 1 z; set z 32; quote inner '0' 'z' 'y' 'x';");
    std::string middle = writefile("middle.run", "set 0 21; set 1 22; var = 2 y; set y 23; run " + inner + "; quote middle '0' '1' 'y' 'x';");
    std::string outer = writefile("outer.run", "set 0 11; set 1 12; var = 2 x; set x 13; run " + middle + "; quote outer '0' '1' 'x';");
    std::string said = typed("run " + outer + ";");
    EXPECT_TRUE(has(said, "inner 31 32 23 13\nmiddle 21 22 23 13\nouter 11 12 13\n")) << said;
    double expected[] = { 11, 12, 13, 21, 22, 23, 31, 32 };
    for (int i = 0; i < 8; ++i) EXPECT_EQ(value_of(i), expected[i]) << i;
    EXPECT_EQ(num_defdvarnames, 0);
}

TEST(Variables, OfAFileStayAfterReturnWithAnEqualSign)
{
    std::string keeps = writefile("keeps.run", "var: kept; set kept 5; return = 3;");
    std::string drops = writefile("drops.run", "var: dropped; return 4;");
    typed("var: first; run " + keeps + "; run " + drops + ";");
    EXPECT_EQ(find_varname("kept"), 1);
    EXPECT_EQ(find_varname("dropped"), -1);
    EXPECT_EQ(zelrun("quote 'kept'; set 20 exstatus; quote '20'; var: next;"), "5\n4\n");
    EXPECT_EQ(find_varname("next"), 2);
}

TEST(Variables, SafeTellsWhatIsLeft)
{
    typed("safe vars 1000; safe loops 15; safe ram 100;");
    EXPECT_FALSE(zelfailed());
    EXPECT_TRUE(has(typed("var: a; safe vars 1000;"), "Only 999 vars. available"));
    EXPECT_TRUE(has(typed("safe loops 16;"), "Only 15 loops available"));
    EXPECT_TRUE(has(typed("safe ram 100000000;"), "bytes available"));
    EXPECT_TRUE(has(typed("safe nothing 3;"), "Must specify either vars, loops, or ram"));
}
