#include "zeltest.h"
#include "kernel/comtable.h"
#include "kernel/commands.h"
#include "kernel/errors.h"
#include "kernel/help.h"
#include "kernel/typos.h"
#include <cstring>

// Eleven columns, one of them blank: a name that fills them all takes one more.
static std::string cell(const char *name, bool right)
{
    std::string pad(11 - std::min<size_t>(10, strlen(name)), ' ');
    return right ? pad + name : name + pad;
}

static std::string lines(const std::vector<const char *> &names, bool right)
{
    std::string text;
    for (size_t i = 0; i < names.size(); ++i) {
        text += cell(names[i], right);
        if (i % 7 == 6 || i + 1 == names.size()) text += "\n";
    }
    return text;
}

static std::vector<const char *> rows(bool macros)
{
    std::vector<const char *> names;
    bool second = false;
    for (const comrow *row = comtable; row->name; ++row)
        if (row->run == nocom) second = true;
        else if (second == macros) names.push_back(row->name);
    return names;
}

static const std::string topictable =
    "Possible help topics are: \n"
    "      input     output       save    mapping  searching  diagnosis    compare\n"
    "  consensus   settings    various    scripts     memory   supports      trees\n"
    " characters    weights     topics\n"
    "Specifying multiple topics shows commands that share all topics.\n";

TEST(Help, AloneListsAllCommands)
{
    EXPECT_EQ(zelrun("help"),
        "For help on command \"xxxx\" enter \"help xxxx\"\n"
        "For help on ALL commands, enter \"help*\"\n"
        "For help with scripting language, enter \"help+\"\n"
        "Enter \"help [ topic ]\" for possible help topics.\n"
        "COMMANDS:\n" + lines(rows(false), false) + "\nMACROS:\n" + lines(rows(true), false));
}

TEST(Help, OfAWordShowsEveryRowItBegins)
{
    std::string text = zelrun("help mx");
    EXPECT_EQ(text.substr(0, 7), "\nMXRAM\n");
    EXPECT_NE(text.find("\nMXPROC\n"), std::string::npos);
    EXPECT_EQ(text.find("\nMULT"), std::string::npos);
}

TEST(Help, OfANoWordIsRefused)
{
    EXPECT_EQ(zelrun("help nosuchword"), "nosuchword: command not recognized \n");
    EXPECT_EQ(zelrun("help 5"), "\"Help\" requires a command as argument \n");
    EXPECT_TRUE(zelfailed());
}

TEST(Help, OfExitSaysDitto)
{
    EXPECT_EQ(zelrun("help exit").substr(0, 15), "\nEXIT   ditto!\n");
    EXPECT_EQ(zelrun("help quit").substr(0, 6), "\nQUIT\n");
}

TEST(Help, OfEverythingShowsEveryRow)
{
    std::string text = zelrun("help *");
    for (const comrow *row = comtable; row->name; ++row) {
        if (row->run == nocom) continue;
        std::string name = row->name;
        for (char &c : name) c = char(toupper(c));
        EXPECT_NE(text.find("\n" + name), std::string::npos) << name;
    }
}

TEST(Help, OfScriptsListsTheSecondBlock)
{
    std::string block = "\nMACROS:\n" + lines(rows(true), false) + "Expressions (enter \"help+xxx\" for help on xxx):\n";
    EXPECT_EQ(zelrun("help+").substr(0, block.size()), block);
}

TEST(HelpTopics, ListTheRowsThatHaveAllOfThem)
{
    struct { const char *words; uint32_t bits; } cases[] = {
        { "input", TOPIC_INPUT }, { "out", TOPIC_OUTPUT }, { "trees save", TOPIC_TREES | TOPIC_SAVE },
        { "weight", TOPIC_WEIGHTGS }, { "weightgs", TOPIC_WEIGHTGS }, { "memory", TOPIC_MEMORY },
        { "searching settings input", TOPIC_SEARCHING | TOPIC_SETTINGS | TOPIC_INPUT },
        { "mapping memory", TOPIC_MAPPING | TOPIC_MEMORY }, { "s", TOPIC_SAVE },
    };
    for (auto &c : cases) {
        std::vector<const char *> names;
        for (const comrow *row = comtable; row->name; ++row)
            if ((row->topics & c.bits) == c.bits) names.push_back(row->name);
        std::string text = zelrun(std::string("help [ ") + c.words + " ]"),
                    list = "Commands on specified topic(s): \n" + (names.empty() ? "    none found!\n" : lines(names, true));
        EXPECT_EQ(text.substr(0, 12), "\nTopic(s): " + text.substr(11, 1)) << c.words;
        EXPECT_EQ(text.substr(std::min(text.size(), text.find("Commands on"))), list) << c.words;
        EXPECT_FALSE(zelfailed());
    }
}

TEST(HelpTopics, AreListedWhenAskedOrWhenNotRecognized)
{
    EXPECT_EQ(zelrun("help [ topics ]"), topictable);
    EXPECT_EQ(zelrun("help [ ]"), topictable);
    EXPECT_EQ(zelrun("help ["), topictable);
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(zelrun("help [ weights ]"), "Unrecognized help topic: weights \n" + topictable);
    EXPECT_TRUE(zelfailed());
    EXPECT_EQ(zelrun("help [ 5 ]"), "Unrecognized help topic: 5 \n" + topictable);
    EXPECT_TRUE(zelfailed());
}

TEST(Help, SwitchesCorrectionsOnAndOff)
{
    EXPECT_EQ(zelrun("help!"), "Searching closest string in lists of names (threshold=0.75)...\n");
    EXPECT_TRUE(admit_typos);
    EXPECT_FALSE(admit_inner_typos);
    EXPECT_EQ(zelrun("help > 0.6"), "Searching closest string in lists of names (threshold=0.60)...\n");
    EXPECT_TRUE(admit_typos);
    EXPECT_TRUE(admit_inner_typos);
    EXPECT_EQ(zelrun("help!0.75"), "Searching closest string in lists of names (threshold=0.75)...\n");
    EXPECT_FALSE(admit_inner_typos);
    EXPECT_EQ(zelrun("help<"), "String match must be exact...\n");
    EXPECT_FALSE(admit_typos || admit_inner_typos);
}
