#include "kernel/comtable.h"
#include "kernel/commands.h"
#include <gtest/gtest.h>
#include <cctype>
#include <cstring>
#include <set>
#include <string>

TEST(CommandTable, HoldsEveryRowOnceInLowerCase)
{
    int rows = 0;
    std::set<std::string> names;
    for (const comrow *row = comtable; row->name; ++row, ++rows) {
        EXPECT_TRUE(names.insert(row->name).second) << row->name << " stands twice";
        if (row->name[0] == '\n') continue;
        for (const char *c = row->name; *c; ++c) EXPECT_TRUE(islower((unsigned char)*c)) << row->name;
    }
    EXPECT_EQ(rows, COMROWS);
}

TEST(CommandTable, TwoBlocksAreSeparatedByTheMacrosRow)
{
    int at = 0;
    while (comtable[at].name && comtable[at].name[0] != '\n') ++at;
    EXPECT_STREQ(comtable[at].name, "\nMACROS:");
    EXPECT_STREQ(comtable[at - 1].name, "zzz");
    EXPECT_STREQ(comtable[at + 1].name, "bandb");
    EXPECT_EQ(typolimit, at - 1);
    for (int i = at + 1; comtable[i].name; ++i) EXPECT_TRUE(comtable[i].topics & TOPIC_SCRIPTS) << comtable[i].name;
}

TEST(CommandTable, AbbreviationsReachTheFirstRowTheyBegin)
{
    struct { const char *word, *row; } expected[] = {
        { "a", "absincl" }, { "b", "bbreak" }, { "c", "ccode" }, { "cc", "ccode" }, { "e", "edit" }, { "ex", "export" },
        { "exit", "exit" }, { "h", "hambaln" }, { "ho", "hold" }, { "l", "log" }, { "li", "lintrees" }, { "m", "menu" },
        { "mu", "mult" }, { "n", "naked" }, { "ne", "nelsen" }, { "p", "procedure" }, { "pa", "pause" }, { "q", "qcollapse" },
        { "qui", "quit" }, { "r", "randtrees" }, { "s", "save" }, { "t", "tables" }, { "ts", "tsave" }, { "x", "xcomp" },
        { "u", "unique" }, { "z", "zzz" }, { "xr", "xread" }, { "v", "vlinks" }, { "w", "warn" }, { "k", "keep" },
    };
    for (auto &e : expected) {
        const comrow *row = findcommand(e.word);
        ASSERT_TRUE(row) << e.word;
        EXPECT_STREQ(row->name, e.row) << e.word;
    }
    EXPECT_EQ(findcommand("nosuchcommand"), nullptr);
    EXPECT_EQ(findcommand(""), nullptr);
}

TEST(CommandTable, EveryPrefixReachesTheFirstRowThatBeginsSo)
{
    for (const comrow *row = comtable; row->name; ++row) {
        if (row->name[0] == '\n') continue;
        for (size_t n = 1; n <= strlen(row->name); ++n) {
            std::string word(row->name, n);
            const comrow *first = comtable;
            while (strncmp(first->name, word.c_str(), n)) ++first;
            EXPECT_EQ(findcommand(word.c_str()), first) << word;
        }
    }
}

TEST(CommandTable, ARowHasHelpExactlyWhenItsWorkIsDone)
{
    for (const comrow *row = comtable; row->name; ++row) {
        if (row->name[0] == '\n') continue;
        EXPECT_EQ(row->run == notyetcom, row->help == nullptr) << row->name;
        if (row->help) {
            EXPECT_GT(strlen(row->help->summary), 10u) << row->name;
        }
    }
}
