// Published figures: least and greatest lengths and the indices of consistency and retention that
// follow from them; costs under implied weights.
#include "zeltest.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "trees/implied.h"
#include "trees/lightopt.h"
#include "trees/treebuf.h"
#include <cmath>
#include <fstream>
#include <map>
#include <sstream>

namespace {

using row = std::map<std::string, std::string>;       // by the titles of the columns

std::vector<std::string> fieldsof(const std::string &line, char separator)
{
    std::vector<std::string> fields;
    std::stringstream s(line);
    for (std::string f; std::getline(s, f, separator);) fields.push_back(f);
    return fields;
}

std::vector<row> publishedrows(const std::string &category)
{
    std::vector<row> rows;
    std::ifstream in(datafile("INDEX.tsv"));
    std::string line;
    std::getline(in, line);
    auto titles = fieldsof(line, '\t');
    while (std::getline(in, line)) {
        auto fields = fieldsof(line, '\t');
        row r;
        for (size_t i = 0; i < std::min(titles.size(), fields.size()); ++i) r[titles[i]] = fields[i];
        if (r["category"] == category) rows.push_back(r);
    }
    return rows;
}

struct defaults {
    ~defaults() { zelrun("xwipe ; piwe - ; piwe :3 ; nstates num 16 ;"); }
};

std::string said;                                     // by the last file

bool reads(const std::string &file)
{
    said = zelrun((file.ends_with(".tre") ? "hold 1100; procedure " : "xwipe; nstates num 32; procedure ") + file + ";");
    return !zelfailed();
}

void expectindices(row r, const std::string &matrix)
{
    if (!reads(matrix)) {
        ADD_FAILURE() << matrix << said;
        return;
    }
    set_charcodes();
    double least = 0, most = 0, length = std::stod(r["best_length"]);
    for (int c = 0; c < nc; ++c)
        if (charcodes[c].active) least += double(charcodes[c].weight) * charcodes[c].minsteps, most += double(charcodes[c].weight) * charcodes[c].maxsteps;
    EXPECT_EQ(least, std::stod(r["min_length"])) << matrix;
    EXPECT_EQ(most, std::stod(r["max_length"])) << matrix;
    if (!r["CI"].empty()) { EXPECT_NEAR(least / length, std::stod(r["CI"]), 0.00006) << matrix; }
    if (!r["RI"].empty()) { EXPECT_NEAR((most - length) / (most - least), std::stod(r["RI"]), 0.00006) << matrix; }
}

void expectindicesof(const std::string &category, size_t atleast)
{
    size_t done = 0;
    for (row &r : publishedrows(category)) {
        if (r["min_length"].empty() || r["max_length"].empty() || r["best_length"].empty()) continue;
        std::string file = fieldsof(r["files"], ' ')[0];
        if (file.ends_with(".nex")) continue;          // foreign formats have tests of their own
        expectindices(r, datafile(file));
        ++done;
    }
    EXPECT_GE(done, atleast);
}

}  // namespace

TEST(Published, MinimaAndMaximaGiveTheIndicesOfMorphologicalMatrices)
{
    defaults undo;
    if (datafile("INDEX.tsv").empty()) GTEST_SKIP() << "shared data are absent";
    expectindicesof("morph-mpts", 40);
    expectindicesof("morph-stats", 40);
}

// "k=3: cost 20.331926, 1 trees"
TEST(Published, TreesUnderImpliedWeightsHaveTheirPublishedCosts)
{
    defaults undo;
    if (datafile("INDEX.tsv").empty()) GTEST_SKIP() << "shared data are absent";
    int scored = 0;
    for (row &r : publishedrows("implied-weights")) {
        for (int k : { 1, 2, 3, 5 }) {
            std::string what = "k=" + std::to_string(k) + ": cost ", answers = r["other_answers"];
            size_t at = answers.find(what);
            if (at == std::string::npos) continue;
            double cost = std::stod(answers.substr(at + what.size()));
            zelrun("piwe =" + std::to_string(k) + ";");
            std::string base = datafile("implied-weights/" + r["id"] + ".xread");
            ASSERT_TRUE(reads(base)) << base;
            base.erase(base.size() - std::string(".xread").size());
            ASSERT_TRUE(reads(base + "_k" + std::to_string(k) + "_best.tre")) << base;
            ASSERT_GT(trees_in_mem, 0);
            optmem();
            for (int t = 0; t < trees_in_mem; ++t, ++scored) EXPECT_NEAR(packdownpass(mem_tree[t]), cost, 6e-7) << base << " k " << k << " tree " << t;
        }
    }
    EXPECT_GT(scored, 60);
}
