// The commands scores and length, soft polytomies, and published trees.
#include "zeltest.h"
#include "reference.h"
#include "data/datamem.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/output.h"
#include "trees/lightopt.h"
#include "trees/scores.h"
#include "trees/treebuf.h"
#include <fstream>
#include <sstream>

using plain::data, plain::tree;

// What the next tables show, in place of the printed form.
static std::vector<double> shown;
static void keepwhole(const int *values, int rows) { shown.assign(values, values + rows); }
static void keepreal(const double *values, int rows) { shown.assign(values, values + rows); }

struct Scores : testing::Test {
    void (*whole)(const int *, int) = printable;
    void (*real)(const double *, int) = printable_floats;
    Scores() { printable = keepwhole, printable_floats = keepreal; }
    ~Scores() override { printable = whole, printable_floats = real; }
};

static std::string reads(const data &m) { return "procedure " + writefile("data.xread", plain::readtext(m)) + ";\n"; }

static std::string treads(const std::vector<tree> &trees)
{
    std::string s = "tread ";
    for (size_t i = 0; i < trees.size(); ++i) s += (i ? " * " : "") + plain::text(trees[i]);
    return s + ";\n";
}

TEST_F(Scores, AreTheLengthsOfTheTreesInMemory)
{
    std::mt19937 rng(12);
    for (int trial = 0; trial < 40; ++trial) {
        plain::mix k = plain::everything(16);
        k.inactivetaxa = 0;
        data m = plain::randommatrix(rng, 6 + plain::below(rng, 20), 30, k);
        std::vector<tree> trees;
        for (int i = 0; i < 8; ++i) trees.push_back(plain::randomtree(rng, m.taxa, i * 12));
        zelrun(reads(m) + treads(trees));
        ASSERT_FALSE(zelfailed());
        for (const char *command : { "scores ;", "length ;", "scores 0.7 ;" }) {
            zelrun(command);
            ASSERT_FALSE(zelfailed());
            ASSERT_EQ(shown.size(), 8u);
            for (int i = 0; i < 8; ++i) EXPECT_EQ(shown[i], double(plain::length(m, trees[i]))) << command;
            EXPECT_STREQ(tabletitle, "Tree lengths");
        }
        zelrun("length 2 5 ;");
        for (int i = 0; i < 8; ++i) EXPECT_EQ(shown[i], i == 2 || i == 5 ? double(plain::length(m, trees[i])) : -1);
    }
}

TEST_F(Scores, OfSoftPolytomiesAreThoseOfTheBestResolutionOfEachCharacter)
{
    std::mt19937 rng(13);
    for (int trial = 0; trial < 60; ++trial) {
        plain::mix k = plain::everything(8);
        k.inactivetaxa = 0, k.maxstates = 5;
        data m = plain::randommatrix(rng, 4 + plain::below(rng, 3), 6, k);
        std::vector<tree> trees;
        for (int i = 0; i < 4; ++i) trees.push_back(plain::randomtree(rng, m.taxa, 50));
        zelrun(reads(m) + treads(trees) + "scores ! ;");
        ASSERT_FALSE(zelfailed());
        EXPECT_STREQ(tabletitle, "Tree lengths (soft polytomies)");
        for (int i = 0; i < 4; ++i) {
            long expected = 0;
            for (int c = 0; c < m.chars; ++c)
                if (m.active[c]) expected += m.weight[c] * plain::softsteps(m, trees[i], c);
            EXPECT_EQ(shown[i], double(expected)) << plain::readtext(m) << plain::text(trees[i]);
        }
    }
}

TEST_F(Scores, OfContinuousCharactersAreRealNumbers)
{
    zelrun("nstates num 32; xread 1 4 &[continuous]\na 0.5\nb 1.25\nc 3.0\nd 2.125\n; tread (0 (1 (2 3)));");
    ASSERT_FALSE(zelfailed());
    zelrun("scores ;");
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_DOUBLE_EQ(shown[0], 2.5);               // 0.875 to 2.125-3.0, 0.875 down to 1.25, 0.75 to 0.5
    EXPECT_EQ(table_precision, 5) << "put back after the table";
}

TEST_F(Scores, RefuseWhatCannotBeCombined)
{
    zelrun("nstates num 8; xread 1 4 a 0 b 0 c 1 d 1;");
    EXPECT_NE(zelrun("scores ;").find("Tree(s) are required"), std::string::npos);
    EXPECT_TRUE(zelfailed());
    zelrun("tread (0 (1 (2 3)));");
    EXPECT_NE(zelrun("scores & | ;").find("You have to choose either \"&\" or \"|\""), std::string::npos);
    EXPECT_NE(zelrun("length ! & ;").find("Cannot do \"soft\" polytomies with \"&\" or \"|\""), std::string::npos);
    EXPECT_NE(zelrun("scores * ! ;").find("Cannot do \"soft\" polytomies with \"*\""), std::string::npos);
    zelrun("ccode ( 0;");
    EXPECT_NE(zelrun("scores ! ;").find("Cannot optimize polytomies as \"soft\" for Sankoff characters"), std::string::npos);
    EXPECT_TRUE(zelfailed());
}

// ------------------------------------------------------------------------- published trees

static std::vector<std::vector<std::string>> indexrows(const std::string &category)
{
    std::vector<std::vector<std::string>> rows;
    std::ifstream in(datafile("INDEX.tsv"));
    std::string line;
    while (std::getline(in, line)) {
        std::vector<std::string> fields;
        std::stringstream s(line);
        for (std::string f; std::getline(s, f, '\t');) fields.push_back(f);
        if (fields.size() > 19 && fields[1] == category) rows.push_back(fields);
    }
    return rows;
}

// The trees of a file as a tread command: native text as it is, plain nested text with commas
// rewritten; empty for other formats.
static std::string treecommand(const std::string &path)
{
    std::string text = readfile(path);
    if (text.compare(0, 5, "tread") == 0) return "procedure " + path + ";";
    if (text.empty() || text[0] != '(') return "";
    while (!text.empty() && text.back() != ';') text.pop_back();
    text.pop_back();
    for (char &c : text) c = c == ',' ? ' ' : c == ';' ? '*' : c;
    return "procedure " + writefile("trees.tre", "tread " + text + ";\nproc/;\n") + ";";
}

TEST_F(Scores, OfPublishedShortestTreesAreThePublishedLengths)
{
    if (datafile("INDEX.tsv").empty()) GTEST_SKIP() << "shared data are absent";
    int scored = 0;
    for (const auto &row : indexrows("morph-mpts")) {
        std::string matrix = datafile("morph-mpts/" + row[0] + ".xread"), trees = datafile("morph-mpts/" + row[0] + "_mpts.tre");
        std::string read = trees.empty() ? "" : treecommand(trees);
        if (matrix.empty() || read.empty() || row[9].empty()) continue;
        zelrun("nstates num 32; procedure " + matrix + ";");
        ASSERT_FALSE(zelfailed()) << row[0];
        zelrun("hold 1100; " + read);
        ASSERT_FALSE(zelfailed()) << row[0];
        ASSERT_GT(trees_in_mem, 0) << row[0];
        zelrun("scores ;");
        ASSERT_FALSE(zelfailed()) << row[0];
        bool longer = row[19].find("longer as hard polytomies") != std::string::npos;   // collapsed trees of some sets
        double best = std::stod(row[9]);
        for (double score : shown) {
            if (longer) { EXPECT_GE(score, best) << row[0]; }
            else { EXPECT_EQ(score, best) << row[0]; }
        }
        EXPECT_EQ(*std::min_element(shown.begin(), shown.end()), best) << row[0];
        ++scored;
    }
    EXPECT_GT(scored, 30);
}

// Steps of continuous characters in the units of the file: those above 65 are stored rescaled, so
// that each bound is off by up to half a thousandth of the stored unit.
TEST_F(Scores, OfPublishedContinuousCharactersAreThoseOfTheFile)
{
    std::string matrix = datafile("continuous/anolis_continuous.xread");
    if (matrix.empty()) GTEST_SKIP() << "shared data are absent";
    zelrun("procedure " + matrix + "; procedure " + datafile("continuous/anolis_continuous.tre") + ";");
    ASSERT_FALSE(zelfailed());
    ASSERT_EQ(trees_in_mem, 1);
    std::stringstream line(readfile(datafile("continuous/anolis_continuous_steps.tsv")));
    std::string word;
    double expected;
    line >> word >> word >> word >> expected;                    // tree, number, total, length
    optmem();
    packdownpass(mem_tree[0]);
    for (int c = 0; c < nc && line >> expected; ++c)
        EXPECT_NEAR(charcodes[c].realsteps * (isunscaled(cont_scale_back[c]) ? 1 : 1000 / cont_scale_back[c].factor),
                    expected, expected * 1e-3) << c;
}
