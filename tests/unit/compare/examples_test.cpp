#include "zeltest.h"
#include "data/matrix.h"
#include "trees/treebuf.h"
#include <filesystem>
#include <set>

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

// A copy of the examples as the folder worked in; the folder before it comes back.
struct examplefolder {
    std::filesystem::path was = std::filesystem::current_path(), here = tempdir() + "/examples";
    examplefolder()
    {
        std::filesystem::remove_all(here);
        std::filesystem::create_directory(here);
        for (const char *name : { "bees.zel", "first_session.run" })
            std::filesystem::copy(std::string(ZEL_EXAMPLES_DIR) + "/" + name, here);
        std::filesystem::current_path(here);
    }
    ~examplefolder() { std::filesystem::current_path(was); }
};

TEST(FirstSession, SearchesDrawsTheConsensusAndLeavesOneFileThatReadsBack)
{
    examplefolder folder;
    std::string text = zelrun("run first_session.run;");
    ASSERT_FALSE(zelfailed()) << text;
    ASSERT_GT(trees_in_mem, 1);
    std::string trees = std::to_string(trees_in_mem);
    const std::string parts[] = { "Best score (TBR): ", trees + " trees retained.", "Tree lengths", "Tree 0:", "Honey_bee",
                                  "Strict consensus of " + trees + " trees (0 taxa excluded)",
                                  trees + " trees saved to bees.tre" };
    for (const std::string &part : parts)
        EXPECT_NE(text.find(part), std::string::npos) << part;

    std::set<std::string> files;
    for (const auto &entry : std::filesystem::directory_iterator(folder.here)) files.insert(entry.path().filename());
    EXPECT_EQ(files, (std::set<std::string>{ "bees.tre", "bees.zel", "first_session.run" }));

    std::string found = zelrun("tplot *;");
    zelrun("keep 0; procedure bees.tre;");
    EXPECT_EQ(zelrun("tplot *;"), found);
    zelrun("taxname-;");
}

}
