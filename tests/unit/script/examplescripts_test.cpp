// The scripts among the examples run, and their tables hold what the commands give one by one.
#include "extests.h"
#include "data/matrix.h"
#include "trees/treebuf.h"
#include <filesystem>
#include <sstream>

struct inexamples {
    std::filesystem::path was = std::filesystem::current_path();
    inexamples()
    {
        std::filesystem::current_path(ZEL_EXAMPLES_DIR);
        zelrun("macro -; mxram 32; report =; procedure bees.zel; procedure bees_ten.tre;");
        pad_conversions = 0;
    }
    ~inexamples()
    {
        zelrun("silent - all; report =; macro -; piwe -; keep 0;");
        std::filesystem::current_path(was);
    }
};

static std::vector<double> numbersof(const std::string &line)
{
    std::istringstream in(line);
    std::vector<double> v;
    for (double x; in >> x; ) v.push_back(x);
    return v;
}

static std::string behind(const std::string &text, const std::string &mark)
{
    size_t at = text.find(mark);
    return at == std::string::npos ? "" : text.substr(at + mark.size());
}

TEST(ExampleScripts, TabulateSearchesUnderSeveralConcavities)
{
    inexamples here;
    std::string said = zelrun("run concavities.run;");
    ASSERT_FALSE(zelfailed()) << said;
    std::istringstream lines(behind(said, "groups in all\n"));
    for (int k = 2; k <= 16; k *= 2) {
        std::string line;
        std::getline(lines, line);
        std::vector<double> v = numbersof(line);
        ASSERT_EQ(v.size(), 5u) << line;
        EXPECT_EQ(v[0], k);
        zelrun("rseed 1; piwe = " + std::to_string(k) + "; keep 0; mult = replic 3; macro =;");
        EXPECT_EQ(v[1], trees_in_mem);
        EXPECT_NEAR(v[2], valueof("score[0]"), 1e-4);
        EXPECT_EQ(v[3], valueof("length[0]"));
        zelrun("nelsen *;");
        EXPECT_EQ(v[4], valueof("tnodes[(ntrees)]"));
        zelrun("macro -;");
    }
}

TEST(ExampleScripts, CompareTwoTreesByCharacter)
{
    inexamples here;
    std::string said = zelrun("run compare_two.run 0 9;");
    ASSERT_FALSE(zelfailed()) << said;
    typed("");
    int counts[3] = { 0, 0, 0 };
    for (int c = 0; c < nc; ++c) {
        double a = valueof("length[0 " + num(c) + "]"), b = valueof("length[9 " + num(c) + "]");
        ++counts[a == b ? 0 : a < b ? 1 : 2];
        EXPECT_EQ(has(said, "\n" + num(c) + ": " + num(a) + " " + num(b) + "\n"), a != b) << c;
    }
    EXPECT_TRUE(has(said, "the same on both: " + num(counts[0]) + "\nbetter on tree 0: " + num(counts[1]) + "\nbetter on tree 9: " + num(counts[2]) + "\n")) << said;
    EXPECT_TRUE(has(zelrun("run compare_two.run 0;"), "Give the numbers of two trees"));
    zelrun("macro -;");
    EXPECT_TRUE(has(zelrun("run compare_two.run 0 99;"), "There are no such trees"));
}

TEST(ExampleScripts, JackknifeTaxa)
{
    inexamples here;
    std::string said = zelrun("run jackknife_taxa.run;");
    ASSERT_FALSE(zelfailed()) << said;
    std::vector<double> sizes = numbersof(behind(said, "by replicate: "));
    ASSERT_GE(sizes.size(), 10u) << said;
    sizes.resize(10);
    double sum = 0;
    for (double s : sizes) {
        EXPECT_TRUE(s >= 0 && s <= nt - 3 - 2) << s;
        sum += s;
    }
    char mean[40];
    snprintf(mean, sizeof mean, "mean %.1f\n", sum / 10);
    EXPECT_TRUE(has(said, mean)) << said;
    EXPECT_EQ(numactive(), nt);
}
