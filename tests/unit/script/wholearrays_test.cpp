// Operations on whole arrays, regressions, scaling and matrices, against values worked by hand.
#include "extests.h"
#include "script/eigen.h"
#include "script/matexp.h"
#include "script/internals.h"
#include <algorithm>
#include <random>

// Commands of a file (commas stay commas), whose named variables live on.
static std::string script(const std::string &commands)
{
    return fromfile(commands + " return = 0;");
}

static std::vector<double> row(const char *name, int n, int shift = 0)
{
    std::vector<double> v;
    for (int i = 0; i < n; ++i) v.push_back(value_of(find_varname(name) + shift + i));
    return v;
}
using values = std::vector<double>;

TEST(WholeArrays, AreOperatedOnCellByCell)
{
    struct { const char *operation; values expected; } cases[] = {
        { "b * c", { 5, 12, -21 } }, { "b + c", { 6, 8, 4 } }, { "b - c", { -4, -4, 10 } }, { "b / c", { 0.2, 1 / 3.0, -7 / 3.0 } },
        { "b > c", { 5, 6, 7 } }, { "b < c", { 1, 2, -3 } }, { "b & 3", { 1, 2, 3 } }, { "2147483648 | b", { 2147483649, 2147483650, 2147483655 } }, { "b | 8", { 9, 10, 15 } }, { "b ^ 3", { 2, 1, 4 } },
        { "b", { 1, 2, 7 } }, { "4", { 4, 4, 4 } }, { "b == 2", { 0, 1, 0 } }, { "b != 2", { 1, 0, 1 } }, { "b ?> c", { 0, 0, 1 } },
        { "b ?< c", { 1, 1, 0 } }, { "b ?>= 2", { 0, 1, 1 } }, { "b ?<= 2", { 1, 1, 0 } }, { "10 - b", { 9, 8, 3 } },
        { "+= b", { 2, 4, 9 } }, { "*= 3", { 3, 6, 6 } }, { "-= 1", { 0, 1, 1 } }, { "/= 2", { 0.5, 1, 1 } }, { "|= 4", { 5, 6, 6 } },
        { "&= 1", { 1, 0, 0 } }, { "^= 1", { 0, 3, 3 } }, { "-1", { -1, -1, -1 } }, { "b * ('k')", { 2, 4, 14 } }, { "= b", { 1, 2, 7 } },
    };
    for (auto &c : cases) {
        std::string said = script(std::string("var: a[3] b[3] c[3] k; set k 2; setarray 3 a 1 2 2; setarray 3 b 1 2 7; setarray 3 c 5 6 -3; "
                                              "set * a ") + c.operation + " ;");
        ASSERT_FALSE(zelfailed()) << c.operation << said;
        values got = row("a", 3);
        for (int i = 0; i < 3; ++i) EXPECT_DOUBLE_EQ(got[size_t(i)], c.expected[size_t(i)]) << c.operation;
    }
}

TEST(WholeArrays, DivideByZeroWithoutAnError)
{
    script("var: a[2] b[2] c[2]; setarray 2 b 1 -1; setarray 2 c 0 0; set * a b / c;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(row("a", 2), (values{ INFINITY, -INFINITY }));
    EXPECT_TRUE(has(typed("set 0 1/0;"), "Can't divide by zero"));
}

TEST(WholeArrays, KeepTheCellsThatLeadToRows)
{
    script("var: a[2 3] b[2 3] one[3]; setarray 2,3 b 1 2 3 4 5 6; set * a b * b; set * one a[1];");
    ASSERT_FALSE(zelfailed());
    int a = find_varname("a");
    EXPECT_EQ(value_of(a), a + 2);
    EXPECT_EQ(row("a", 6, 2), (values{ 1, 4, 9, 16, 25, 36 }));
    EXPECT_EQ(row("one", 3), (values{ 16, 25, 36 }));
}

TEST(WholeArrays, AreFilledAtRandomFromTheSeed)
{
    script("var: a[50]; macseed 3; set * a *9;");
    ASSERT_FALSE(zelfailed());
    uint32_t s = 3;
    for (double x : row("a", 50)) {
        s = s * 1103515245u + 12345u;
        EXPECT_EQ(x, double((s >> 16 & 0x7fff) % 10));
    }
}

TEST(WholeArrays, RefuseWhatMakesNoSense)
{
    struct { const char *operation, *says; } cases[] = {
        { "a", "Value or expression required" }, { "a >= b", "Invalid operator: >=" }, { "a b !5", "Wrong symbol; did you mean \"!=\"?" },
        { "a b ?5", "Wrong symbol; did you mean \"?>\" or \"?<\"?" }, { "a b c", "Expected operator" }, { "a b +", "Value or expression required" },
        { "a * 40000", "Maximum value for random numbers is 32767" }, { "a d", "Dimensions of arrays to operate do not match!" },
        { "a b + c d", "Invalid syntax in set command" }, { "3 b", "Arrays must be specified with names, not numbers" },
        { "a m", "Dimensions of arrays to operate do not match!" },
    };
    for (auto &c : cases) {
        std::string said = script(std::string("var: a[3] b[3] c[3] d[4] m[3 1]; set * ") + c.operation + " ;");
        EXPECT_TRUE(zelfailed()) << c.operation;
        EXPECT_TRUE(has(said, c.says)) << c.operation << said;
    }
}

TEST(WholeArrays, AreSortedByTheIndicesOfAnother)
{
    script("var: a[5] b[5]; setarray 5 b 3 1 2 1 -4; set ! a b;");
    ASSERT_FALSE(zelfailed());
    EXPECT_EQ(row("a", 5), (values{ 4, 1, 3, 2, 0 }));
    EXPECT_EQ(row("b", 5), (values{ 3, 1, 2, 1, -4 }));
    EXPECT_TRUE(has(script("var: a[5] b[4]; set ! a b;"), "Arrays \"a\" and \"b\" have different sizes (a=5 and b=4)"));
    EXPECT_TRUE(has(script("var: a[5] b[5 2]; set ! a b;"), "Array \"b\" is not a 1-dimensional array"));
    EXPECT_TRUE(has(script("var: a[5]; set ! a;"), "A second (source) variable is required"));
    EXPECT_TRUE(has(script("var: a[5]; set ! 3 a;"), "One-dim arrays required"));
}

TEST(WholeArrays, GiveColumnsSquaresAndRotations)
{
    script("var: m[3 2] col[3] line[3] sq[3 3] p[3 2]; setarray 3,2 m 1 2 3 4 5 6; set ~ col:1 m; setarray 3 line 7 8 9; set ^ line sq; "
           "setarray 3,2 p 1 0 0 1 0 0; set ) p 90 0; ");
    ASSERT_FALSE(zelfailed());
    EXPECT_EQ(row("col", 3), (values{ 2, 4, 6 }));
    EXPECT_EQ(row("sq", 9, 3), (values{ 0, 7, 8, 7, 0, 9, 8, 9, 0 }));
    values turned = row("p", 6, 3), expected = { 1, 0, 0, 0, 0, 1 };
    for (size_t i = 0; i < 6; ++i) EXPECT_NEAR(turned[i], expected[i], 1e-12) << i;
    EXPECT_TRUE(has(script("var: m[3 2] col[3]; set ~ col:2 m;"), "has only 2 columns (0-1)"));
    EXPECT_TRUE(has(script("var: m[3 2] col[4]; set ~ col:1 m;"), "have different sizes"));
    EXPECT_TRUE(has(script("var: m[3] col[3]; set ~ col:1 m;"), "Array \"m\" is not a 2-dimensional array"));
    EXPECT_TRUE(has(script("var: line[4] sq[3 3]; set ^ line sq;"), "takes 3 values; array \"line\" has 4"));
    EXPECT_TRUE(has(script("var: p[3 2]; set ) p 10 -1;"), "Tilt and rotation must be 0 or more"));
    EXPECT_TRUE(has(script("var: p[2 2]; set ) p 10 1;"), "is not an array of 3 rows"));
}

TEST(Scaling, RecoversPointsOfAPlane)
{
    // a rectangle of sides 3 and 4
    std::string d = "var: to[2 4] d[4 4]; setarray 4,4 d 0 3 5 4 3 0 4 5 5 4 0 3 4 5 3 0; ";
    EXPECT_TRUE(has(script(d + "set : to d; set 900 regr;"), "Scaled 4 elements to 2 dimensions (explained: 1.000000)"));
    ASSERT_FALSE(zelfailed());
    EXPECT_NEAR(value_of(900), 1, 1e-6);
    values x = row("to", 4, 2), y = row("to", 4, 6);
    double given[4][4] = { { 0, 3, 5, 4 }, { 3, 0, 4, 5 }, { 5, 4, 0, 3 }, { 4, 5, 3, 0 } };
    for (size_t i = 0; i < 4; ++i)
        for (size_t j = 0; j < 4; ++j) EXPECT_NEAR(std::hypot(x[i] - x[j], y[i] - y[j]), given[i][j], 1e-3);
}

TEST(Scaling, ExplainsLessOnALineAndObeysWeights)
{
    // an equilateral triangle cannot lie on a line; without weight for the third point the first two fit exactly
    std::string d = "var: to[1 3] d[3 3] w[3 3]; setarray 3,3 d 0 1 1 1 0 1 1 1 0; setarray 3,3 w 0 1000 1 0 0 1 0 0 0; ";
    script(d + "set : to d; set 900 regr;");
    ASSERT_FALSE(zelfailed());
    EXPECT_LT(value_of(900), 0.95);
    EXPECT_GT(value_of(900), 0.5);
    std::string said = script(d + "set : to d /w;");
    ASSERT_FALSE(zelfailed()) << said;
    values x = row("to", 3, 1);
    EXPECT_NEAR(std::fabs(x[0] - x[1]), 1, 0.01);
}

TEST(Scaling, DoesItsBestWithDistancesThatNoPointsHave)
{
    // sides 1, 1 and 10 break the triangle inequality; at -a, 0 and a, 2(a - 1)^2 + (2a - 10)^2 is least for a = 11/3
    script("var: to[1 3] d[3 3]; setarray 3,3 d 0 1 10 1 0 1 10 1 0; set : to d; set 900 regr;");
    ASSERT_FALSE(zelfailed());
    values x = row("to", 3, 1);
    EXPECT_NEAR(std::fabs(x[0] - x[2]), 22 / 3.0, 1e-3);
    EXPECT_NEAR(value_of(900), 1 - 3 * (64 / 9.0) / 102, 1e-6);
}

TEST(Scaling, RefusesWhatAreNoDistances)
{
    EXPECT_TRUE(has(script("var: to[2 3] d[3 3]; setarray 3,3 d 1 1 1 1 0 1 1 1 0; set : to d;"), "Diagonals for input distances must be 0"));
    EXPECT_TRUE(has(script("var: to[2 3] d[3 3]; setarray 3,3 d 0 1 1 2 0 1 1 1 0; set : to d;"), "Input distances must be symmetric"));
    EXPECT_TRUE(has(script("var: to[3 3] d[3 3]; set : to d;"), "Requested projection is no reduction in dimensionality!"));
    EXPECT_TRUE(has(script("var: to[2 3] d[3 3] w[3]; setarray 3 w 1 -1 1; set : to d /w;"), "User weights can't be negative!"));
    EXPECT_TRUE(has(script("var: to[2 3] d[3 3] w[2]; set : to d /w;"), "User weights must be an array of 3"));
    EXPECT_TRUE(has(script("var: to[2 3] d[3]; set : to d;"), "Scaling requires 2-dimensional arrays"));
    EXPECT_TRUE(has(script("var: to[2 4] d[3 3]; set : to d;"), "Distances must be an array of N x N values"));
}

TEST(Regression, PrintsTheLineAndKeepsIt)
{
    std::string said = script("var: x[4] y[4] w[4]; setarray 4 x 0 1 2 3; setarray 4 y 1 3 5 8; setarray 4 w 1 1 2 0; "
                              "var & x y; set 900 regalfa; set 901 regbeta; set 902 regr; var & x y 3; var & x y *w; var & x+1 y-1;");
    ASSERT_FALSE(zelfailed()) << said;
    EXPECT_TRUE(has(said, "    Y=0.800000+2.300000*X (r=0.994377)")) << said;
    EXPECT_TRUE(has(said, "    Y=1.000000+2.000000*X (r=1.000000)")) << said;
    EXPECT_NEAR(value_of(900), 0.8, 1e-12);
    for (const char *limited : { "var & x/3 y;", "var & x y/3;", "var & x +0/3 y -1;", "var & x y /3;" }) {
        std::string line = zelrun(limited);
        EXPECT_TRUE(has(line, "    Y=1.000000+2.000000*X (r=1.000000)")) << limited << line;
    }
    EXPECT_TRUE(has(zelrun("var & x/5 y;"), "Cannot use 5 values (there are 4)"));
    EXPECT_NEAR(value_of(901), 2.3, 1e-12);
    EXPECT_NEAR(value_of(902), 11.5 / std::sqrt(5 * 26.75), 1e-12);
    EXPECT_TRUE(has(script("var: x[2] y[2] w[2]; setarray 2 w 1 -1; var & x y *w;"), "Can't regress with negative weights (check cell 1)"));
    EXPECT_TRUE(has(script("var: x[2] y[2] w[2]; var & x y *w;"), "Can't regress with all weights zero"));
    EXPECT_TRUE(has(script("var: x[2] y[2]; var & x y 3;"), "Cannot use 3 values (there are 2)"));
    EXPECT_TRUE(has(script("var: x[2] y[2]; var & x+2 y;"), "Cannot shift 2 values of variable"));
}

TEST(Regression, OfRanksIsSpearmans)
{
    script("var: a[5] b[5]; setarray 5 a 10 20 30 40 50; setarray 5 b 1 4 2 8 16; set 900 spearman[a b]; set 901 spearman[a b 3]; "
           "set 902 spearman[a b *500]; set 903 spearman[a b >500]; set 904 spearman[a b <500];");
    ASSERT_FALSE(zelfailed());
    EXPECT_NEAR(value_of(900), 1 - 6 * 2.0 / (5 * 24), 1e-12);
    EXPECT_NEAR(value_of(901), 1 - 6 * 2.0 / (3 * 8), 1e-12);
    // of the 120 orders, one is closer, and five are as close (r 1, or one exchange of neighbours), each also reversed
    EXPECT_NEAR(value_of(902), 10 / 120.0, 0.05);
    EXPECT_NEAR(value_of(903), 1 / 120.0, 0.02);
    EXPECT_NEAR(value_of(904), 115 / 120.0, 0.05);
    EXPECT_TRUE(has(script("var: a[5] b[5]; set 0 spearman[a b 1];"), "Spearman correlation must be done for 2 or more values!"));
    EXPECT_TRUE(has(script("var: a[5] b[5]; set 0 spearman[a b 6];"), "Cannot use 6 values (there are 5)"));
    EXPECT_TRUE(has(script("var: a[5] b[5]; set 0 spearman[a b *0];"), "Number of permutations must be 1 or more"));
    EXPECT_TRUE(has(script("var: a[5] b[5]; setarray 5 a 1 2 3 4 5; setarray 5 b 1 2 3 4 5; macreport; set 0 spearman[a b]; macreport;"), "Correlation of "));
}

TEST(MatrixExponential, IsThatOfKnownMatrices)
{
    script("var: m[2 2] r[2 2]; setarray 2,2 m -1 1 1 -1; set r matexp[m 0.5];");
    ASSERT_FALSE(zelfailed());
    double same = 0.5 + 0.5 * std::exp(-1.0);
    values got = row("r", 4, 2), expected = { same, 1 - same, 1 - same, same };
    for (size_t i = 0; i < 4; ++i) EXPECT_NEAR(got[i], expected[i], 1e-12);
    for (double t : { 1e-6, 0.3, 5.0, 60.0 }) {
        squarematrix e = MatExp({ { -3 * t, t, t, t }, { t, -3 * t, t, t }, { t, t, -3 * t, t }, { t, t, t, -3 * t } });
        EXPECT_NEAR(e[0][0], 0.25 + 0.75 * std::exp(-4 * t), 1e-10);
        EXPECT_NEAR(e[2][1], 0.25 - 0.25 * std::exp(-4 * t), 1e-10);
    }
    squarematrix turn = MatExp({ { 0, -1 }, { 1, 0 } });
    EXPECT_NEAR(turn[0][0], std::cos(1.0), 1e-12);
    EXPECT_NEAR(turn[1][0], std::sin(1.0), 1e-12);
    squarematrix nilpotent = MatExp({ { 0, 7 }, { 0, 0 } });
    EXPECT_NEAR(nilpotent[0][1], 7, 1e-12);
}

TEST(MatrixExponential, ByEigenvaluesIsTheSame)
{
    zelrun("");
    std::mt19937 rng(3);
    for (size_t n = 1; n <= 20; ++n)
        for (int kind = 0; kind < 4; ++kind) {
            squarematrix m(n, std::vector<double>(n));
            for (size_t i = 0; i < n; ++i) {                   // any numbers; rates; equal rates; rates with many zeros
                double sum = 0;
                for (size_t j = 0; j < n; ++j) {
                    double x = double(rng() % 2000) / 1000;
                    m[i][j] = kind == 0 ? x - 1 : kind == 1 ? x : kind == 2 ? 1 : rng() % 3 == 0;
                    if (i != j) sum += m[i][j];
                }
                if (kind) m[i][i] = -sum;
            }
            static squarematrix given, byvalues;
            given = m;
            squarematrix pade = MatExp(m);
            bool diagonalizable = safecall([] { byvalues = doEigenMatExp(given); });
            ASSERT_TRUE(diagonalizable || kind == 3) << n << " " << kind;
            if (!diagonalizable) continue;
            for (size_t i = 0; i < n; ++i)
                for (size_t j = 0; j < n; ++j) EXPECT_NEAR(byvalues[i][j], pade[i][j], 1e-7 * std::max(1.0, std::fabs(pade[i][j]))) << n << " " << kind;
        }
    squarematrix turn = doEigenMatExp({ { 0, -1 }, { 1, 0 } }), still = doEigenMatExp({ { 0, 0 }, { 0, 0 } });
    EXPECT_NEAR(turn[0][0], std::cos(1.0), 1e-12);
    EXPECT_NEAR(turn[1][0], std::sin(1.0), 1e-12);
    EXPECT_EQ(still, (squarematrix{ { 1, 0 }, { 0, 1 } }));
    squarematrix longbranch = doEigenMatExp({ { -1e4, 1e4 }, { 1e4, -1e4 } });
    EXPECT_NEAR(longbranch[0][1], 0.5, 1e-10);
}

TEST(MatrixExponential, ByEigenvaluesNeedsAFullSetOfVectors)
{
    typed("");
    EXPECT_FALSE(safecall([] { doEigenMatExp({ { 0, 7 }, { 0, 0 } }); }));
    EXPECT_FALSE(safecall([] { doEigenMatExp({ { INFINITY, 7 }, { 0, 0 } }); }));
    eigensystem e;
    ASSERT_TRUE(ComputeEigenSystem({ { 2, 1, 0 }, { 1, 2, 0 }, { 0, 0, 5 } }, &e));
    std::vector<double> found;
    for (complexnumber x : e.values) found.push_back(x.real());
    std::sort(found.begin(), found.end());
    for (size_t i = 0; i < 3; ++i) EXPECT_NEAR(found[i], std::vector<double>({ 1, 3, 5 })[i], 1e-12);
}

TEST(MatrixExponential, WarnsOnceWhenItIsInaccurate)
{
    warned_bad_pade = 0;
    std::string m = "var: m[2 2] r[2 2]; setarray 2,2 m -1 1 1 -1; ";
    EXPECT_TRUE(has(script(m + "set r matexp[m 1000000000000];"), "transition probabilities of very long"));
    EXPECT_FALSE(has(script(m + "set r matexp[m 1000000000000];"), "transition probabilities of very long"));
    warned_bad_pade = 0;
}

TEST(MatrixExponential, RefusesOtherArrays)
{
    EXPECT_TRUE(has(script("var: m[4] r[2 2]; set r matexp[m];"), "Matrix exponential requires 2-dimensional arrays"));
    EXPECT_TRUE(has(script("var: m[2 2] r[3 3]; set r matexp[m];"), "Both arrays must have same dimensions"));
    EXPECT_TRUE(has(script("var: m[2 3] r[2 3]; set r matexp[m];"), "Both arrays must have same dimensions"));
    zelrun("macro -; macro prot 0; macro =;");
    EXPECT_TRUE(has(zelrun("set 0 matexp[m];"), "Matrix exponential available only with protection mode 1 or 2"));
    zelrun("macro -; macro prot 2;");
}
