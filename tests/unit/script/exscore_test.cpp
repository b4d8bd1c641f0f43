// Scores against what the report commands print, and against steps counted by hand.
#include "extests.h"
#include "reference.h"
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
                sum += charcodes[c].weight * std::max(0.0, homoplasy[size_t(c)]);
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

// What is not active, or has no weight, has no part in the scores of trees; characters of weight 0 have steps of their own.
TEST(ScoreExpressions, AgreeWithPlainCountsOfRandomData)
{
    std::mt19937 rng(5);
    for (int trial = 0; trial < 8; ++trial) {
        plain::data m = plain::randommatrix(rng, 8, 15, plain::everything(8));
        m.taxactive.assign(8, 1);
        m.weight[2] = 0;
        zelrun("mxram 16; piwe=3; piwe-; procedure " + writefile("scores.xread", plain::readtext(m)) + ";");
        plain::tree t = plain::randomtree(rng, 8, 30);
        zelrun("tread " + plain::text(t) + ";");
        ASSERT_FALSE(zelfailed());
        plain::tree read = plain::fromstored(mem_tree[0], nt);
        typed("");
        double homoplasy = 0, fits = 0;
        for (int c = 0; c < nc; ++c) {
            int steps = m.active[size_t(c)] ? plain::steps(m, read, c) : 0, least = int(valueof("minsteps[" + num(c) + "]"));
            int soft = m.active[size_t(c)] ? plain::softsteps(m, read, c) : 0;
            EXPECT_EQ(valueof("length[0 " + num(c) + "]"), steps) << trial << " " << c;
            EXPECT_EQ(valueof("softlength[0 " + num(c) + "]"), soft) << trial << " " << c;
            if (!m.active[size_t(c)]) continue;
            int h = std::max(0, steps - least);
            EXPECT_EQ(valueof("homo[0 " + num(c) + "]"), h);
            homoplasy += m.weight[size_t(c)] * h;
            if (!m.additive[size_t(c)]) {
                EXPECT_NEAR(valueof("fit[0 " + num(c) + "]"), h / (h + 3.0), 1e-12) << trial << " " << c;
            }
            fits += m.weight[size_t(c)] * valueof("fit[0 " + num(c) + "]");
        }
        EXPECT_EQ(valueof("length[0]"), double(plain::length(m, read))) << trial;
        EXPECT_EQ(valueof("homo[0]"), homoplasy) << trial;
        EXPECT_NEAR(valueof("fit[0]"), fits, 1e-9) << trial;
        EXPECT_EQ(valueof("score[0]"), valueof("length[0]"));
        zelrun("piwe=3;");
        typed("");
        EXPECT_EQ(valueof("score[0]"), valueof("fit[0]"));
        EXPECT_EQ(valueof("length[0]"), double(plain::length(m, read))) << trial;
        zelrun("piwe-;");
    }
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
    for (const char *of : { "length", "score", "softlength", "softfit", "softscore" })
        EXPECT_TRUE(has(refusalof(std::string(of) + "[0 1]"), "individually --it's part of a weight-set")) << of;
    EXPECT_EQ(valueof("length[0 3]"), 2) << "in no set";
    EXPECT_EQ(valueof("homo[0 0]"), 0) << "steps, and no score";
    zelrun("xpiwe -;");
    EXPECT_EQ(valueof("length[0 0]"), 1);
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

TEST(ScoreExpressions, CostOfHomoplasyFollowsTheFunctionOfTheUser)
{
    zelrun("mxram 16; xwipe; piwe=; xread 2 8 A 00 B 01 C 01 D 11 E 10 F 10 G 00 H 10; tread (0(1(2(3(4 (5 (6 7)))))));");
    typed("piwe [ 1 0.8 0.5 0.3;");
    EXPECT_DOUBLE_EQ(valueof("whomo[0]"), 0);
    EXPECT_DOUBLE_EQ(valueof("whomo[2]"), 1.8);
    EXPECT_DOUBLE_EQ(valueof("whomo[1.5]"), 1.4) << "between the values";
    EXPECT_DOUBLE_EQ(valueof("whomo[4]"), 2.6);
    EXPECT_DOUBLE_EQ(valueof("whomo[5]"), 2.9) << "further steps cost as the last one given";
    EXPECT_DOUBLE_EQ(valueof("fit[0 0]"), valueof("whomo[(homo[0 0])]"));
    zelrun("piwe ]; piwe-; xwipe;");
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
