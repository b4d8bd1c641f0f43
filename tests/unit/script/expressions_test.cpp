#include "scripttest.h"
#include "script/expr.h"
#include "script/vars.h"
#include "kernel/errors.h"
#include <cstring>

static double value(const std::string &expression)
{
    typed("set 0 " + expression + " ;");
    return zelfailed() || !macros_are_on() ? NAN : value_of(0);
}

static std::string refusal(const std::string &expression)
{
    std::string said = typed("set 0 " + expression + " ;");
    EXPECT_TRUE(zelfailed()) << expression;
    return said;
}

TEST(Expressions, GoFromLeftToRightWithoutPrecedence)
{
    EXPECT_EQ(value("2 + 3 * 4"), 20);
    EXPECT_EQ(value("2 + (3 * 4)"), 14);
    EXPECT_EQ(value("1 == 1 + 1"), 2);
    EXPECT_EQ(value("10 / 4"), 2.5);
    EXPECT_EQ(value("10 - 4 - 3"), 3);
    EXPECT_EQ(value("- 5 + 2"), -3);
    EXPECT_EQ(value("7 * -2"), -14);
    EXPECT_EQ(value("((((3))))"), 3);
}

TEST(Expressions, KnowBitwiseOperatorsComparisonsAndLogic)
{
    EXPECT_EQ(value("3 ^ 2"), 1);
    EXPECT_EQ(value("3 ^2"), 1);
    EXPECT_EQ(value("12 & 10"), 8);
    EXPECT_EQ(value("12 | 3"), 15);
    EXPECT_EQ(value("3 > 2"), 1);
    EXPECT_EQ(value("3 >2"), 1);
    EXPECT_EQ(value("3 < 2"), 0);
    EXPECT_EQ(value("3 >= 3"), 1);
    EXPECT_EQ(value("3 <= 2"), 0);
    EXPECT_EQ(value("3 != 2"), 1);
    EXPECT_EQ(value("3 == 2"), 0);
    EXPECT_EQ(value("2 && 3"), 1);
    EXPECT_EQ(value("2 && 0"), 0);
    EXPECT_EQ(value("0 || 5"), 1);
    EXPECT_EQ(value("0 || 0"), 0);
    EXPECT_EQ(value("!0"), 1);
    EXPECT_EQ(value("!7"), 0);
    EXPECT_EQ(value("-!0"), 1) << "a leading sign is applied before the negation";
    EXPECT_EQ(value("!-7"), 0);
    EXPECT_EQ(value("!(3 - 3)"), 1);
    EXPECT_EQ(value("3 - -2"), 5);
    EXPECT_EQ(value("-(2 + 3) * -2"), 10);
    EXPECT_EQ(value("2 && 3 + 5"), 6) << "the operator is done with once its right side is read";
    EXPECT_EQ(value("1 || 0 == 1"), 1);
    EXPECT_EQ(value("3 > 2 > 0"), 1);
    EXPECT_EQ(value("7.9 & 3.9"), 3) << "of integers";
    EXPECT_EQ(value("-1 & 12"), 12);
    EXPECT_EQ(value("2147483648 & 2147483649"), 2147483648.0) << "the last of 32 states";
    EXPECT_EQ(value("4294967295 ^ 1"), 4294967294.0);
    EXPECT_EQ(value("numbits[4294967295]"), 32) << "a missing entry among 32 states";
    EXPECT_EQ(value("numbits[2147483648]"), 1);
    typed("set 0 4294967295; set 0 &= 2147483648; set 1 '0';");
    EXPECT_EQ(value_of(1), 2147483648.0);
    EXPECT_EQ(value("!(1 > 2)"), 1);
    EXPECT_EQ(value("(1 > 2) || (3 > 2)"), 1);
    EXPECT_EQ(value("{0 2 5}"), 37);
    EXPECT_EQ(value("{}"), 0);
    EXPECT_EQ(value("{29}"), 1 << 29);
}

TEST(Expressions, EvaluateBothSidesOfALogicalOperator)
{
    EXPECT_TRUE(has(refusal("0 && (1 / 0)"), "Can't divide by zero"));
}

TEST(Expressions, TakeNamesAsTheNumbersOfVariables)
{
    typed("var: a b; set b 5; set 10 b + 1; set 11 'b' + 1;");
    EXPECT_EQ(value_of(10), 2);
    EXPECT_EQ(value_of(11), 6);
}

TEST(Expressions, RefuseWhatIsNone)
{
    EXPECT_TRUE(has(refusal("(= 3)"), "Cannot start expression with ="));
    EXPECT_TRUE(has(refusal("(* 3)"), "Cannot start expression with *"));
    EXPECT_TRUE(has(refusal("3 / 0"), "Can't divide by zero"));
    EXPECT_TRUE(has(refusal("(3 + 2"), "Unbalanced '(' in expression"));
    EXPECT_TRUE(has(refusal("3 + 2)"), "Unbalanced ')' in expression"));
    EXPECT_TRUE(has(refusal("3 5"), "Found illegal character in expression: 5"));
    EXPECT_TRUE(has(refusal("3 =! 5"), "Symbol =! is not a logical expression or operator"));
    EXPECT_TRUE(has(refusal("3 + -!0"), "Symbol '!' found when expecting number or expression"));
    EXPECT_TRUE(has(refusal("3 <x"), "Symbol <x is not a logical expression or operator"));
    EXPECT_TRUE(has(refusal("3 &-2"), "Symbol &- is not a logical expression or operator"));
    EXPECT_TRUE(has(typed("if (3;"), "Found unexpected ';'"));
    for (char sign : std::string("!&)*+-/@.;<=>[]}|"))
        EXPECT_TRUE(has(refusal(std::string("(2 + ") + sign), strchr("!-;", sign) ? "Unbalanced '(' in expression"      // of the number -1
                                                              : std::string("Symbol '") + sign + "' found when")) << sign;
    for (char sign : std::string("=+&*/^|"))
        EXPECT_TRUE(has(refusal(std::string("(") + sign + "3)"), std::string("Cannot start expression with ") + sign)) << sign;
    EXPECT_TRUE(has(refusal("3 + )"), "Symbol ')' found when expecting number or expression"));
    EXPECT_TRUE(has(refusal("3 + .5"), "Symbol '.' found when expecting number or expression"));
    EXPECT_TRUE(has(refusal("nosuch"), "Unrecognized variable: nosuch"));
    EXPECT_TRUE(has(refusal("{30}"), "Can't store more than 30 bits (0-29) in variables"));
    EXPECT_TRUE(has(refusal("{-3}"), "Cannot set negative bits: - 3"));
    EXPECT_TRUE(has(refusal("a^b"), "Unrecognized variable: a^b"));
    EXPECT_TRUE(has(refusal(std::string(500, '(') + "1" + std::string(500, ')')), "too many nested parentheses"));
    EXPECT_TRUE(has(typed("loop 1.5 3 stop;"), "Expected integral number"));
}

TEST(Expressions, AcceptFractionsForIntegersInParentheses)
{
    EXPECT_EQ(typed("loop (3/2) 2 quote #1; stop;"), "1\n2\n");
}

TEST(Expressions, ReadNamesOfTaxaAndCharactersOnRequest)
{
    std::string matrix = "xread 2 4 Alpha 00 Beta 01 Gamma 10 Delta 11 ;";
    zelrun(matrix);
    typed("set 0 beta;");
    EXPECT_TRUE(zelfailed());
    typed("macro +; set 0 beta; set 1 Delta;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(value_of(0), 1);
    EXPECT_EQ(value_of(1), 3);
    typed("macro +; var: x Beta; set 0 Beta;");
    EXPECT_EQ(value_of(0), 1) << "a variable hides the taxon, and is its own number";
    EXPECT_EQ(zelrun("macro !"), "Not reading taxon/character names in macros\n");
    EXPECT_EQ(zelrun("macro +"), "Reading taxon/character names as numbers in macros\n");
}

TEST(Expressions, TakeNamesOfTaxaWhole)
{
    zelrun("xread 2 4 Alpha@genus 00 Beta____x 01 Ñandú 10 Delta 11 ;");
    typed("macro +; set 0 Ñandú; set 1 beta____X;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(value_of(0), 2);
    EXPECT_EQ(value_of(1), 1);
    zelrun("set 0 beta;");
    EXPECT_TRUE(zelfailed()) << "names are cut at their signs only with a taxonomy";
    zelrun("set 0 alpha;");
    EXPECT_TRUE(zelfailed());
    typed("macro !;");
}

TEST(Expressions, AnswerFromTheTableAndReserveItsNames)
{
    EXPECT_EQ(value("maxvars"), Maxvars - 1);
    EXPECT_EQ(value("ntax"), -1);
    EXPECT_EQ(value("protmode"), 2);
    EXPECT_TRUE(has(typed("var: ntax;"), "Can't use ntax for a user-variable (ntax is a reserved expression)"));
    EXPECT_EQ(value("isdefd[abc]"), 0);
    typed("var: abc; set 5 isdefd[abc];");
    EXPECT_EQ(value_of(5), 1);
    double r = value("getrandom[5 9]");
    EXPECT_GE(r, 5);
    EXPECT_LE(r, 9);
}
