// Constraints in Nexus files: one tree with the groups demanded.
#include "formatstest.h"
#include <string>

namespace {
void eighttaxa()
{
    std::string rows = "xread\n2 8\n";
    for (int t = 0; t < 8; ++t) rows += "t" + std::to_string(t) + " 01\n";
    fresh();
    zelrun("p " + newfile(rows + ";\nproc/;") + ";");
    ASSERT_FALSE(zelfailed());
}

// What is exported with these constraints, from the word "constraints" through its semicolon.
std::string exported(const std::string &force, std::string *said)
{
    std::string path = tempdir() + "/const.nex";
    eighttaxa();
    zelrun(force);
    EXPECT_FALSE(zelfailed()) << force;
    *said = zelrun("export " + path + ";");
    EXPECT_FALSE(zelfailed()) << *said;
    std::string text = readfile(path);
    size_t from = text.find("\nconstraints "), to = text.find(';', from);
    EXPECT_EQ(zelrun("p " + path + ";").find("Wrong"), std::string::npos);
    EXPECT_FALSE(zelfailed()) << text;
    return from == std::string::npos ? "" : text.substr(from, to - from + 2);
}

std::string command(const std::string &tree) { return "\nconstraints outout [ MONOPHYLY ] =\n" + tree + "\n;\n"; }

constexpr char LEFTOUT[] = "Constraints that are negative, have floating taxa or contradict others are not saved";
}

TEST(ExportedConstraints, AreOneTreeOfTheOutgroupAndAllOthers)
{
    const struct { const char *force, *tree; } cases[] = {
        { "force + [ 2 3 ] [ 2 3 4 ];",     "(1 (2 6 7 8 (5 (3 4))))" },
        { "force + [ 2 3 4 ] [ 2 3 ];",     "(1 (2 6 7 8 (5 (3 4))))" },
        { "force + [ 1 2 ] [ 5 6 ];",       "(1 (4 5 8 (2 3) (6 7)))" },
        { "force + [ 0 1 2 ];",             "(1 (2 3 (4 5 6 7 8)))" },        // the other side of the group
        { "outgroup 4; force + [ 1 2 ];",   "(5 (1 4 6 7 8 (2 3)))" },
    };
    for (auto &c : cases) {
        std::string said;
        EXPECT_EQ(exported(c.force, &said), command(c.tree)) << c.force;
        EXPECT_FALSE(says(said, LEFTOUT)) << said;
    }
}

TEST(ExportedConstraints, HaveTheGroupsOfATreeConstraint)
{
    std::string said;
    EXPECT_EQ(exported("tread (0 1 (2 3 (4 5)) (6 7)); force = &0;", &said), command("(1 (2 (3 4 (5 6)) (7 8)))"));
    EXPECT_FALSE(says(said, LEFTOUT)) << said;
}

TEST(ExportedConstraints, LeaveOutWhatATreeCannotSay)
{
    const struct { const char *force, *tree; } cases[] = {
        { "force + [ 1 2 (3) ];",           "" },
        { "force - [ 1 2 ];",               "" },
        { "force + [ 1 2 ] [ 2 3 ];",       "(1 (4 5 6 7 8 (2 3)))" },
        { "force + [ 1 2 ] [ 4 5 (6) ];",   "(1 (4 5 6 7 8 (2 3)))" },
    };
    for (auto &c : cases) {
        std::string said;
        EXPECT_EQ(exported(c.force, &said), *c.tree ? command(c.tree) : "") << c.force;
        EXPECT_TRUE(says(said, LEFTOUT)) << c.force << said;
    }
}

TEST(ExportedConstraints, AreAbsentWithoutAny)
{
    std::string said;
    EXPECT_EQ(exported("force ];", &said), "");
    EXPECT_EQ(exported("force + [ 3 ];", &said), "");          // one taxon is a group in any tree
    EXPECT_FALSE(says(said, LEFTOUT)) << said;
}
