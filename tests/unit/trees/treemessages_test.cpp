// What the commands of trees and tree files say when something is wrong, and when all is well.
#include "treetest.h"
#include "trees/treebuf.h"
#include "trees/treetags.h"

namespace {
void fivetaxa()
{
    zelrun("silent=all; mxram 16; silent-all;");
    datafor(5);
}

struct refusal { const char *before, *command, *words; };

template<size_t N> void expectrefused(const refusal (&cases)[N])
{
    for (const refusal &c : cases) {
        fivetaxa();
        zelrun("warn-; report-; " + std::string(c.before) + "report=;");
        ASSERT_FALSE(zelfailed()) << c.before;
        std::string said = zelrun(c.command);
        EXPECT_TRUE(zelfailed()) << c.command;
        EXPECT_NE(said.find(c.words), std::string::npos) << c.command << "\nsaid\n" << said;
    }
}

std::string says(const std::string &commands)
{
    std::string said = zelrun(commands);
    EXPECT_FALSE(zelfailed()) << commands << said;
    return said;
}

std::string infolder(const char *name) { return tempdir() + "/" + name; }
}

TEST(Treemessages, OfWhatCannotBeRead)
{
    std::string foreign = writefile("foreign.ctf", std::string("\0\0\5\0\0\0", 6)), cut = writefile("cut.ctf", std::string("\5\0\1", 3));
    std::string other = writefile("other.ctf", std::string("\6\0", 2));
    std::string a = "shortread " + foreign + ";", b = "shortread " + cut + ";", c = "shortread " + other + ";";
    expectrefused({
        { "", "tread [0 (0 1);",      "Give ASCII number for tag separator" },
        { "", "tread [256 (0 1);",    "Give ASCII number for tag separator" },
        { "", "tread (0);",           "A parenthetical tree must contain two or more terminals" },
        { "", "tread =64 (0 1);",     "Can store trees only as groups 0-63" },
        { "", "shortread;",           "Must give filename" },
        { "", a.c_str(),              "doesn't look like a tree file for 5 taxa" },
        { "", b.c_str(),              "Unexpected end of file" },
        { "", c.c_str(),              "is for 6 taxa - Current data file 5" },
    });
}

TEST(Treemessages, OfTreeFilesAndWhatIsSavedToThem)
{
    std::string opened = "tsave " + infolder("open.ctf") + ";", text = "tsave *" + infolder("open.tre") + ";";
    const std::string tree = "tread (0 (1 2) 3 4);", close = "tsave/;";
    std::string withtree = tree + opened, texttree = tree + text;
    expectrefused({
        { "",               "tsave;",       "Must give filename" },
        { "",               "tsave / ;",    "Must open treefile first!" },
        { tree.c_str(),     "save;",        "Must open treefile first!" },
        { opened.c_str(),   "tsave again;", "Can't open new file: Tree file" },
        { close.c_str(),    "tsave =none;", "No trees to save!" },
    });
    zelrun(opened);
    EXPECT_TRUE(zelrun("save;").find("No trees to save!") != std::string::npos);
    EXPECT_TRUE(zelrun("save *;").find("Tree-tags can be saved only in parenthetical notation") != std::string::npos);
    says(tree);
    EXPECT_TRUE(zelrun("save -0;").find("Can't save trees for active taxa in compact mode") != std::string::npos);
    says(close + text);
    EXPECT_TRUE(zelrun("save *;").find("No tags to save") != std::string::npos);
    EXPECT_TRUE(zelrun("save 3;").find("No tree number 3 (only 1 trees in memory)") != std::string::npos);
    EXPECT_NE(says("save;").find("1 trees saved to " + infolder("open.tre")), std::string::npos);
    EXPECT_NE(says("ttags *0; ttags +1 x; save *;").find("Saved tree-tags to file " + infolder("open.tre")), std::string::npos);
    EXPECT_NE(says(close).find("Closing " + infolder("open.tre") + " (with 2 trees)"), std::string::npos);
}

TEST(Treemessages, OfCommandsThatChangeTrees)
{
    const char *tree = "tread (0 (1 2) 3 4);";
    expectrefused({
        { tree, "sort;",                  "Please, specify \"score\", \"nodes\", \"size\", or \"mono\"" },
        { tree, "sort = length;",         "Wrong argument for \"sort = \": length" },
        { tree, "sort = mono;",           "No constraints defined" },
        { tree, "reroot nosuch;",         "Indicate node for rerooting" },
        { "",   "reroot : 3;",            "No tags to reroot" },
        { "",   "randtrees 3 101;",       "Probability of polytomy must be 0 - 100" },
        { "",   "randtrees 0;",           "Give number of random trees to create" },
        { tree, "pruntax / 0 1 2 3;",     "Can't prun tree 0 - tree must have two or more taxa" },
        { tree, "tplot 9;",               "No tree number 9 (only 1 trees in memory)" },
        { "tread (0 (1 2) (3=x 4)); pruntax / 1; ttags *0; ttags +2 x;", "reroot : 99;", "Indicate node to reroot tags (0-6)" },
        { "tread (0 2 (3 4)); ttags *0; ttags +2 x;", "reroot : 1;", "Taxon 1 (Tax1) is not included in tag-tree --can't reroot" },
    });
}

TEST(Treemessages, OfTheOrderOfTrees)
{
    fivetaxa();
    zelrun("warn-; tread (0 1 2 3 4) * (0 (1 2) 3 4) * (0 (1 (2 3)));");
    EXPECT_NE(says("sort = score;").find("All 3 trees have the same score"), std::string::npos);
    EXPECT_NE(says("sort = nodes;").find("Sorted 3 trees, based on number of nodes"), std::string::npos);
    EXPECT_NE(says("sort = size;").find("Sorted 3 trees, based on number of taxa"), std::string::npos);
    EXPECT_NE(says("force + [1 2]; sort = mono; force ];").find("Sorted 3 trees, based on number of violated constraints"),
              std::string::npos);
}

TEST(Treemessages, OfTagsAddedToOthers)
{
    fivetaxa();
    EXPECT_NE(says("tread [ ;").find("When reading tags from parenthetical trees, add them to existing tags"), std::string::npos);
    EXPECT_NE(says("tread ] ;").find("When reading tags from parenthetical trees, don't add them to existing tags"),
              std::string::npos);
}

TEST(Treemessages, TellTheNewRoomOnceHoweverManyTreesAreRead)
{
    constexpr int TREES = 350;
    fivetaxa();
    std::string text = "tread", foreign;
    for (int i = 0; i < TREES; ++i) text += i ? " * (0 (1 2) 3 4)" : " (0 (1 2) 3 4)", foreign += "(Tax0,(Tax1,Tax2),Tax3);\n";
    std::string said = says("p " + writefile("many.tre", text + ";\nproc/;\n") + ";");
    EXPECT_EQ(trees_in_mem, TREES);
    EXPECT_EQ(maxtrees, 400);
    EXPECT_NE(said.find("Space for 400 trees in memory"), std::string::npos) << said;
    EXPECT_EQ(said.find("Space for"), said.rfind("Space for")) << said;
    said = says("p [" + writefile("many.phy", foreign) + ";");
    EXPECT_EQ(trees_in_mem, 2 * TREES);
    EXPECT_EQ(said.find("Space for"), said.rfind("Space for")) << said;
    EXPECT_NE(said.find("Space for 700 trees in memory"), std::string::npos) << said;
}
