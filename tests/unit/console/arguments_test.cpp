#include "console/arguments.h"
#include "zeltest.h"

static startwork work(const std::vector<std::string> &words)
{
    startwork w;
    EXPECT_TRUE(readarguments(words, &w));
    return w;
}

using texts = std::vector<std::string>;

TEST(Arguments, WordsWithoutACommaAreFiles)
{
    startwork w = work({ "a.dat", "b c.run", "" });
    EXPECT_EQ(w.files, (texts{ "a.dat", "b c.run" }));
    EXPECT_TRUE(w.commands.empty());
    EXPECT_TRUE(work({}).files.empty());
}

TEST(Arguments, BlanksInFileNamesAreGivenAsTheReadingCommandTakesThem)
{
    EXPECT_EQ(readingcommand("a.dat"), "p a.dat");
    EXPECT_EQ(readingcommand("b c.run"), "p b^c.run");
}

TEST(Arguments, FileNamesThatBeginAsAnOptionDoesAreTakenAsFiles)
{
    EXPECT_EQ(readingcommand("-x"), "p ./-x");
    EXPECT_EQ(readingcommand("&x"), "p ./&x");
    EXPECT_EQ(readingcommand("[x"), "p ./[x");
    EXPECT_EQ(readingcommand("/x/y"), "p /x/y");
}

TEST(Arguments, TheFirstWordWithACommaBeginsTheCommands)
{
    EXPECT_EQ(work({ "a.dat", ",", "mult", ",", "nelsen" }).files, texts{ "a.dat" });
    EXPECT_EQ(work({ "a.dat", ",", "mult", ",", "nelsen" }).commands, texts{ ", mult , nelsen" });
    EXPECT_EQ(work({ "a.dat", "mult,", "save", "x" }).commands, texts{ "mult, save x" });
    EXPECT_EQ(work({ "a.dat", "mult,", "save", "x" }).files, texts{ "a.dat" });
}

TEST(Arguments, AFileBeforeThatCommaIsStillAFile)
{
    std::string path = writefile("matrix.dat", "x");
    startwork w = work({ path + ",", "mult" });
    EXPECT_EQ(w.files, texts{ path });
    EXPECT_EQ(w.commands, texts{ " mult" });
}

TEST(Arguments, CommandsBeyondTheLimitAreRefused)
{
    startwork w;
    EXPECT_TRUE(readarguments({ "a," + std::string(LONGESTCOMMANDS - 2, 'x') }, &w));
    EXPECT_FALSE(readarguments({ "a," + std::string(LONGESTCOMMANDS - 1, 'x') }, &w));
}

TEST(Arguments, LongCommandsAreCutBetweenCommands)
{
    std::string all;
    for (int i = 0; all.size() < 4900; ++i) all += "quote number " + std::to_string(i) + ",";
    texts pieces = inpieces(all);
    ASSERT_GT(pieces.size(), 1u);
    std::string joined;
    for (auto &piece : pieces) {
        EXPECT_LE(piece.size(), LONGESTPIECE);
        joined += (joined.empty() ? "" : ",") + piece;
    }
    EXPECT_EQ(joined, all);
}
