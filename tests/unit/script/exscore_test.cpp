// Scores against what the report commands print, and against steps counted by hand.
#include "extests.h"
#include "data/matrix.h"
#include "kernel/output.h"
#include "kernel/arena.h"
#include "script/scoring.h"
#include "trees/lightopt.h"
#include "trees/treebuf.h"

// The values that a command prints, in the order printed, by a table of the harness: all numbers behind
// the first column of each row.
static std::vector<double> scoresof(const std::string &command, int n)
{
    static std::vector<double> caught;
    caught.clear();
    auto ints = printable;
    auto floats = printable_floats;
    printable = [](const int *v, int rows) { caught.assign(v, v + rows); };
    printable_floats = [](const double *v, int rows) { caught.assign(v, v + rows); };
    zelrun(command);
    printable = ints;
    printable_floats = floats;
    EXPECT_EQ(int(caught.size()), n) << command;
    return caught;
}

TEST(ScoreExpressions, AreThoseOfTheReportCommands)
{
    somedata();
    for (const char *weights : { "piwe-;", "piwe=4;" }) {
        zelrun(std::string("keep 5; ") + weights);
        typed("");
        auto lengths = scoresof("length;", 5), fits = scoresof("fit;", 5), scores = scoresof("scores;", 5);
        auto softlengths = scoresof("length!;", 5), softfits = scoresof("fit!;", 5);
        for (int t = 0; t < 5; ++t) {
            std::string T = "[" + std::to_string(t) + "]";
            EXPECT_DOUBLE_EQ(valueof("length" + T), lengths[size_t(t)]);
            EXPECT_DOUBLE_EQ(valueof("fit" + T), fits[size_t(t)]);
            EXPECT_DOUBLE_EQ(valueof("score" + T), scores[size_t(t)]);
            EXPECT_DOUBLE_EQ(valueof("softlength" + T), softlengths[size_t(t)]);
            EXPECT_DOUBLE_EQ(valueof("softfit" + T), softfits[size_t(t)]);
            EXPECT_DOUBLE_EQ(valueof("softscore" + T), valueof(*weights && weights[4] == '=' ? "softfit" + T : "softlength" + T));
            auto homoplasy = scoresof("chomo " + std::to_string(t) + ";", nc), soft = scoresof("chomo !" + std::to_string(t) + ";", nc);
            double sum = 0;
            for (int c = 0; c < nc; ++c) {
                std::string TC = "[" + std::to_string(t) + " " + std::to_string(c) + "]";
                EXPECT_DOUBLE_EQ(valueof("homo" + TC), std::max(0.0, homoplasy[size_t(c)]));
                EXPECT_DOUBLE_EQ(valueof("softhomo" + TC), std::max(0.0, soft[size_t(c)]));
                sum += std::max(0.0, homoplasy[size_t(c)]);
            }
            EXPECT_DOUBLE_EQ(valueof("homo" + T), sum);
        }
    }
    zelrun("piwe-;");
}

TEST(ScoreExpressions, OfOneCharacterAreWithoutItsWeight)
{
    somedata();
    typed("");
    auto steps = scoresof("cscores 1;", nc);
    double total = 0;
    for (int c = 0; c < nc; ++c) {
        double s = valueof("length[1 " + std::to_string(c) + "]");
        EXPECT_DOUBLE_EQ(s, std::max(0.0, steps[size_t(c)]));
        total += s * valueof("weight[" + std::to_string(c) + "]") * valueof("isact[" + std::to_string(c) + "]");
    }
    EXPECT_DOUBLE_EQ(valueof("length[1]"), total);
    EXPECT_DOUBLE_EQ(valueof("length[3 0]"), 4) << "4 of 9 taxa of a bush have the other state";
    EXPECT_DOUBLE_EQ(valueof("softlength[3 0]"), 1);
}

TEST(ScoreExpressions, RefuseTreesAndCharactersThatAreNotThere)
{
    somedata();
    typed("");
    EXPECT_TRUE(has(refusalof("length[9]"), "trees in memory"));
    EXPECT_TRUE(has(refusalof("length[0 10]"), "No character number 10"));
    zelrun("keep 0;");
    EXPECT_TRUE(has(refusalof("length[0]"), "No tree number 0 - only 0 trees in memory"));
}

TEST(ScoreExpressions, RefuseSingleMembersOfWeightSets)
{
    zelrun("mxram 16; xwipe; piwe=; xread 4 6 A 0000 B 0001 C 0011 D 1111 E 1110 F 1100; tread (0 (1 (2 (3 (4 5)))));");
    zelrun("xpiwe = ; xpiwe [ 0.2;");
    typed("");
    std::string said = zelrun("set 900 fit[0 0];");
    EXPECT_TRUE(zelfailed());
    EXPECT_TRUE(has(said, "Cannot calculate score for character 0 individually --it's part of a weight-set")) << said;
    zelrun("xpiwe - ; piwe-; xwipe;");
}

TEST(ScoreExpressions, CostOfHomoplasyIsThatOfTheConcavity)
{
    somedata();
    typed("piwe=6;");
    EXPECT_DOUBLE_EQ(valueof("kval"), 6);
    EXPECT_DOUBLE_EQ(valueof("whomo[2]"), 2 / 8.0);
    EXPECT_EQ(valueof("piwe"), 1);
    EXPECT_TRUE(has(refusalof("whomo[-1]"), "Number of extra steps must be 0 or more"));
    zelrun("piwe=3; piwe-;");
    EXPECT_EQ(valueof("piwe"), 0);
}

TEST(ScoreExpressions, AreRefusedWhileACommandHoldsScratch)
{
    somedata();
    typed("");
    wipetag(&opttag);
    EXPECT_FALSE(safecall([] {
        lo<char>(8);
        need_scoring();
    }));
    freelo();
    EXPECT_EQ(opttag, 0);
    EXPECT_TRUE(safecall([] { need_scoring(); }));
    EXPECT_NE(opttag, 0);
    EXPECT_TRUE(safecall([] {
        lo<char>(8);
        need_scoring();
    })) << "the tables stand already";
    freelo();
}
