#include "zeltest.h"
#include "data/matrix.h"
#include "trees/treebuf.h"

namespace {

struct example { const char *file; int taxa, characters; };

class Example : public testing::TestWithParam<example> {};

TEST_P(Example, ReadsSearchesAndGivesAConsensus)
{
    zelrun(std::string("procedure ") + ZEL_EXAMPLES_DIR + "/" + GetParam().file + ";");
    ASSERT_FALSE(zelfailed());
    EXPECT_EQ(nt, GetParam().taxa);
    EXPECT_EQ(nc, GetParam().characters);
    zelrun("mult=replic 3;");
    ASSERT_GT(trees_in_mem, 0);
    std::string text = zelrun("taxname=; nelsen;");
    for (int t = 0; t < nt; ++t) EXPECT_NE(text.find(taxname[t]), std::string::npos);
    zelrun("taxname-;");
}

INSTANTIATE_TEST_SUITE_P(Files, Example,
                         testing::Values(example{ "bees.zel", 14, 20 }, example{ "vertebrates.zel", 15, 26 },
                                         example{ "insects_dna.zel", 15, 120 }),
                         [](auto &e) { return std::to_string(e.index) + "_" + std::to_string(e.param.taxa) + "taxa"; });

}
