#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/below.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/textbuf.h"
#include "kernel/window.h"
#include "zeltest.h"
#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <map>

static std::string printed(const std::function<void()> &f)
{
    textcursor at;
    std::string text;
    readnewtext(&at, &text);
    text.clear();
    f();
    readnewtext(&at, &text);
    return text;
}

class Output : public testing::Test {
protected:
    void SetUp() override { zelrun(";"); }
    void TearDown() override
    {
        closelog();
        silent = 0;
        tmpsilent = warning = 0;
        optional_tables = 0;
        set_table_pointers();
        table_precision = 5;
        tabletitle[0] = 0;
        clear_spewbuf();
        window.messagebox = box;
        zelrun(";");                     // what a test printed is not left for the next
    }
    int (*box)(const char *, const char *, int) = window.messagebox;
};

// --- composition -------------------------------------------------------------------------

TEST_F(Output, SpewemPutsABlankAfterEachTextAndEndsTheLine)
{
    EXPECT_EQ(printed([] { spewem("one", "two", nullptr); }), "one two \n");
    EXPECT_EQ(printed([] { spewem(nullptr); }), "\n");
}

TEST_F(Output, JoinemJoinsAndLeavesTheLineOpen)
{
    EXPECT_EQ(printed([] { joinem("one", "two", nullptr); joinem("\n", nullptr); }), "onetwo\n");
}

TEST_F(Output, ATextOfTheWholeBufferIsKeptAndASecondDropped)
{
    std::string full(2048, 'x');
    EXPECT_EQ(printed([&] { spewem(full.c_str(), "more", nullptr); }), full + " \n");
    EXPECT_EQ(printed([&] { spewem((full + "x").c_str(), "more", nullptr); }), "more \n");
    EXPECT_EQ(printed([&] { joinem(full.c_str(), "more", nullptr); newln(); }), full + "\n");
}

TEST_F(Output, TextsThatDoNotFitAreSkippedWholeAndLaterOnesTried)
{
    std::string most(2000, 'x'), big(100, 'y');
    EXPECT_EQ(printed([&] { spewem(most.c_str(), big.c_str(), "z", nullptr); }), most + " z \n");
}

TEST_F(Output, AFullBufferTakesNoMoreCharactersButItsLineEnd)
{
    EXPECT_EQ(printed([] { for (int i = 0; i < 5000; ++i) spewch('x'); spewout(); }), std::string(2048, 'x') + "\n");
}

TEST_F(Output, SpewoutAddsALineEndUnlessThereIsOne)
{
    EXPECT_EQ(printed([] { tojoin("a"); spewout(); tojoin("b\n"); spewout(); spewout(); }), "a\nb\n\n");
    EXPECT_EQ(printed([] { myp("%i of %s", 3, "four"); myp("five\n"); }), "3 of four\nfive\n");
}

TEST_F(Output, UnflushedTextWaits)
{
    EXPECT_EQ(printed([] { tospew("a"); tojoin("b"); spewspx(3); spewchos('\t'); spewch('c'); }), "");
    EXPECT_EQ(composed_length(), 8);
    EXPECT_STREQ(composed(), "a b    c");
    EXPECT_EQ(printed([] { spewjn(); newln(); }), "a b    c\n");
    EXPECT_EQ(composed_length(), 0);
}

TEST_F(Output, NumbersStayValidWhileAMessageIsAssembled)
{
    std::vector<const char *> texts;
    reset_intvert();
    for (int i = 0; i < 300; ++i) texts.push_back(intvert(10000 + i));
    for (int i = 0; i < 300; ++i) EXPECT_EQ(texts[size_t(i)], std::to_string(10000 + i));
    for (int i = 0; i < 100000; ++i) EXPECT_EQ(intvert(i), std::to_string(i));
}

TEST_F(Output, NumbersArePaddedOnEitherSide)
{
    EXPECT_STREQ(wintvert(6, 42), "    42");
    EXPECT_STREQ(wintvert(-6, 42), "42    ");
    EXPECT_STREQ(wintvert(1, -421), "-421");
    EXPECT_STREQ(charvert('x'), "x");
    EXPECT_STREQ(intvert(-9000000000), "-9000000000");
}

// --- silence and the log -----------------------------------------------------------------

TEST_F(Output, SilenceBitsStopTheLogAndTheTextBuffer)
{
    std::string path = tempdir() + "/bits.log";
    zelrun("silent=file;log " + path + ";silent-all;");
    for (unsigned char bits = 0; bits < 8; ++bits) {
        silent = bits;
        std::string before = readfile(path);
        std::string text = printed([] { myp("a line"); flushlog(); });
        EXPECT_EQ(text, bits & 4 ? "" : "a line\n") << int(bits);
        EXPECT_EQ(readfile(path).size() - before.size(), bits & 1 ? 0u : 7u) << int(bits);
    }
}

TEST_F(Output, TmpsilentDropsOrGoesStraightToTheLog)
{
    std::string path = tempdir() + "/tmpsilent.log";
    zelrun("silent=file;log " + path + ";silent-all;");
    tmpsilent = 1;
    EXPECT_EQ(printed([] { myp("dropped"); }), "");
    tmpsilent = 2;
    EXPECT_EQ(printed([] { myp("straight"); }), "");
    EXPECT_EQ(readfile(path), "straight\n");
}

TEST_F(Output, LogIsOpenedAddedToAndClosed)
{
    std::string path = tempdir() + "/a.log";
    EXPECT_EQ(zelrun("log;"), "No Log file open \n");
    EXPECT_EQ(zelrun("log " + path + ";"), "Log file: " + path + " \n");
    EXPECT_EQ(zelrun("log;"), "Log file: " + path + " \n");
    zelrun("quote first;");
    zelrun("log/;");
    EXPECT_EQ(logfile, stderr);
    zelrun("quote unseen;");
    std::string first = readfile(path);
    EXPECT_NE(first.find("first\n"), std::string::npos);
    EXPECT_EQ(first.find("unseen"), std::string::npos);
    zelrun("log +" + path + ";quote second;log / ;");
    EXPECT_EQ(readfile(path).compare(0, first.size(), first), 0);
    EXPECT_NE(readfile(path).find("second\n"), std::string::npos);
    zelrun("log " + path + ";log/;");
    EXPECT_EQ(readfile(path).find("first"), std::string::npos) << "opening for writing empties the file";
}

// So that settings saved in it are read back as a file of commands.
TEST_F(Output, LogHoldsNothingOfItsOwnOpening)
{
    std::string path = tempdir() + "/only.log";
    zelrun("log " + path + "; quote first; log /; log +" + path + "; quote second; log /;");
    EXPECT_EQ(readfile(path), "first\nsecond\n");
    EXPECT_EQ(silent, 0);
}

TEST_F(Output, LogThatCannotBeOpenedLeavesNone)
{
    std::string text = zelrun("log " + tempdir() + "/no/such/folder/x;");
    EXPECT_NE(text.find("Cannot open file"), std::string::npos) << text;
    EXPECT_TRUE(zelfailed());
    EXPECT_EQ(logfile, stderr);
}

TEST_F(Output, StandardOutputIsNotClosedWithTheLog)
{
    zelrun("silent=file;log stdout;");
    EXPECT_EQ(logfile, stdout);
    zelrun("log/;");
    EXPECT_EQ(logfile, stderr);
    EXPECT_EQ(fflush(stdout), 0);
    EXPECT_FALSE(ferror(stdout));
}

TEST_F(Output, WhatIsSavedInBulkKeepsItsPlaceInTheLog)
{
    std::string path = tempdir() + "/bulk.log", expected;
    zelrun("silent=file;log " + path + ";silent-all;");
    for (int i = 0; i < 200; ++i) {
        std::string saved(size_t(i * 37), char('a' + i % 26)), line = "line " + std::to_string(i) + "\n";
        fbuf_write(saved.data(), saved.size());
        joinem(line.c_str(), nullptr);
        expected += saved + line;
    }
    fbuf_write("end\n", 4);
    zelrun("log/;");
    EXPECT_TRUE(readfile(path) == expected + "end\n");
    zelrun("log " + path + ";");
    fbuf_flush();
    flushlog();
    EXPECT_EQ(readfile(path).find("end"), std::string::npos) << "nothing is written twice";
}

TEST_F(Output, LogHoldsGlyphsAsUtf8AlsoAcrossItsBuffer)
{
    std::string path = tempdir() + "/glyphs.log";
    zelrun("silent=file;log " + path + ";silent-all;");
    std::string expected;
    for (int i = 0; i < 3000; ++i) {
        joinem("\xc3\xa9", "\xc3", "\xc4", "x", nullptr);      // e with acute, tee, horizontal
        expected += "\xc3\xa9\u251c\u2500x";
    }
    flushlog();
    EXPECT_TRUE(readfile(path) == expected);
}

TEST_F(Output, SvgFileOfTheLogCommandIsSetAndCleared)
{
    EXPECT_EQ(zelrun("log &/tmp/pic.svg;"), "Tree-drawing commands will save SVG to \"/tmp/pic.svg\"\n");
    EXPECT_EQ(autosvg, 1);
    EXPECT_STREQ(autosvg_file, "/tmp/pic.svg");
    EXPECT_NE(zelrun("log &" + std::string(160, 'x') + ";").find("SVG file name too long"), std::string::npos);
    EXPECT_NE(zelrun("log &;").find("No name given for SVG file"), std::string::npos);
    EXPECT_EQ(zelrun("log &/;"), "Tree-drawing commands will save SVG only with ctrl-s\n");
    EXPECT_EQ(autosvg, 0);
}

TEST_F(Output, SilentTakesEachWordShortenedAndSeveralAtOnce)
{
    struct { const char *words; int bits; } expected[] = {
        { "=all", 7 }, { "-all", 0 }, { "=f", 1 }, { "=c", 5 }, { "-c", 1 }, { "=b", 5 }, { "-f", 4 }, { "-buffer", 0 },
        { "=file =console", 5 }, { "-file -console", 0 }, { "= file - file", 0 },
    };
    for (auto &e : expected) {
        zelrun(std::string("silent ") + e.words + ";");
        EXPECT_EQ(silent, e.bits) << e.words;
    }
}

TEST_F(Output, SilentReportsWhateverTheSilence)
{
    struct { int bits; const char *text; } expected[] = {
        { 0, "Output written to file and text buffer\n" }, { 1, "Output written to text buffer only\n" },
        { 4, "Output written to file only\n" }, { 5, "No output \n" }, { 7, "No output \n" },
    };
    for (auto &e : expected) {
        silent = static_cast<unsigned char>(e.bits);
        EXPECT_EQ(zelrun("silent;"), e.text);
        EXPECT_EQ(silent, e.bits);
    }
}

TEST_F(Output, SilentRefusesWhatItDoesNotKnow)
{
    EXPECT_NE(zelrun("silent x;").find("Wrong argument for silent: 'x'"), std::string::npos);
    EXPECT_NE(zelrun("silent = window;").find("wrong argument for silent:  window"), std::string::npos);
    EXPECT_NE(zelrun("silent =;").find("wrong argument for silent: "), std::string::npos);
}

// --- warnings ----------------------------------------------------------------------------

static std::string asked;
static int answer;
static int asker(const char *title, const char *text, int flags)
{
    asked = std::string(title) + "|" + text + "|" + std::to_string(flags);
    return answer;
}

TEST_F(Output, WarningsAreAskedInABoxUnderAnySilenceAndLeaveNoTraceOnYes)
{
    std::string path = tempdir() + "/warned.log";
    zelrun("silent=file;log " + path + ";silent=all;");
    window.messagebox = asker;
    warning = 1;
    answer = 1;
    EXPECT_EQ(printed([] { warnem("This", "is odd", nullptr); flushlog(); }), "");
    EXPECT_EQ(asked, "WARNING|This is odd \n\nContinue?|10");
    EXPECT_EQ(readfile(path), "");
    EXPECT_EQ(silent, 7);
}

TEST_F(Output, ARefusedWarningAbandonsTheCommandWithoutAMessage)
{
    window.messagebox = asker;
    warning = 1;
    answer = 0;
    EXPECT_EQ(zelrun("txtsize 20;quote not reached;"), "");
    EXPECT_EQ(give_display_buffer_size(), 250);
    EXPECT_EQ(pressbuff, 1);
    zelrun("txtsize -;");
    EXPECT_EQ(asked, "WARNING|Changing buffer mode requires clearing it \n\nContinue?|10");
    EXPECT_EQ(pressbuff, 1);
}

TEST_F(Output, ARefusedWarningLeavesNoSettingOfTheCommandBehind)
{
    window.messagebox = asker;
    warning = 1;
    answer = 0;
    auto refused = [] {
        check_only_active_taxa = ignore_quotes = use_taxlist_from_pico = use_charlist_from_pico = use_treelist_from_pico = 1;
        linsdone = 3;
        warnem("Is it so", nullptr);
    };
    EXPECT_FALSE(safecall(refused));
    EXPECT_EQ(check_only_active_taxa, 0);
    EXPECT_EQ(ignore_quotes, 0);
    EXPECT_EQ(linsdone, 0);
    EXPECT_EQ(use_taxlist_from_pico + use_charlist_from_pico + use_treelist_from_pico, 0);
}

TEST_F(Output, WithWarningsOffTheTextGoesWhereSilenceLetsIt)
{
    std::string path = tempdir() + "/unasked.log";
    zelrun("silent=file;log " + path + ";silent-all;");
    EXPECT_EQ(printed([] { warnem("This", "is odd", nullptr); }), "\nWARNING: \nThis is odd \n\n");
    flushlog();
    EXPECT_EQ(readfile(path), "\nWARNING: \nThis is odd \n\n");
    silent = 4;
    EXPECT_EQ(printed([] { mywarn("%i things", 3); }), "");
    EXPECT_EQ(silent, 4);
    flushlog();
    EXPECT_NE(readfile(path).find("3 things"), std::string::npos);
}

// --- quotes ------------------------------------------------------------------------------

TEST_F(Output, QuoteCopiesTextUpToTheSemicolon)
{
    EXPECT_EQ(zelrun("quote hello there;"), "hello there\n");
    EXPECT_EQ(zelrun("quote a, b, c;"), "a, b, c\n") << "a comma in text stays one";
    EXPECT_EQ(zelrun("quote end., go on. stop.;"), "end; go on. stop.\n");
    EXPECT_EQ(zelrun("quote;"), "\n");
    EXPECT_EQ(zelrun("quote one\ntwo\n;"), "one\ntwo\n");
    EXPECT_EQ(zelrun("quote a\rb;"), "a b\n");
    EXPECT_EQ(zelrun("quote a;quote b;"), "a\nb\n");
}

TEST_F(Output, LongQuotesAreFlushedOnTheWay)
{
    std::string text;
    for (int i = 0; text.size() < 4000; ++i) text += "word" + std::to_string(i) + " ";
    EXPECT_EQ(zelrun("quote " + text + ";"), text + "\n");
}

TEST_F(Output, QuoteWithAColonIsHeardUnderSilence)
{
    zelrun("silent=all;");
    EXPECT_EQ(zelrun("quote unheard;"), "");
    EXPECT_EQ(zelrun("quote: heard;"), "heard\n");
    EXPECT_EQ(silent, 7);
}

TEST_F(Output, QuoteWithAStarShowsABoxToo)
{
    window.messagebox = asker;
    EXPECT_EQ(zelrun("quote *look here;"), "look here\n");
    EXPECT_EQ(asked, "Message|look here|0");
    EXPECT_STREQ(junkstr, "look here");
}

TEST_F(Output, LiteralQuotesKeepTheTextAsItStands)
{
    zelrun("lquote=;");
    EXPECT_EQ(zelrun("quote  two blanks;quote next;quote \n;"), "  two blanks next \n");
    zelrun("lquote-;");
}

TEST_F(Output, CodesBecomeCharactersWhenAllowed)
{
    EXPECT_EQ(zelrun("quote &65&66;"), "&65&66\n");
    EXPECT_EQ(zelrun("lquote[;"), "ASCII conversions is ON\n");
    EXPECT_EQ(zelrun("quote &65&66 &C &;"), "AB &C &\n");
    EXPECT_EQ(zelrun("quote &0 &000 &256 &300 &655 &0&65;"), "&0 &000 &256 &300 &655 &0A\n") << "no codes";
    EXPECT_EQ(zelrun("quote &0657 &44 &59;"), "A7 , ;\n") << "a code has up to three digits";
    EXPECT_EQ(zelrun("lquote];"), "ASCII conversions is OFF\n");
    EXPECT_EQ(zelrun("lquote>;"), "Quotes to stderr is ON\n");
    EXPECT_EQ(zelrun("lquote<;"), "Quotes to stderr is OFF\n");
}

TEST_F(Output, ScreenHasAtLeastTenLines)
{
    int lines = screen_size, columns = screen_width;
    EXPECT_EQ(zelrun("screen 5 x 90;"), "Screen size is 10 x 90 \n");
    EXPECT_EQ(zelrun("screen 50x132;"), "Screen size is 50 x 132 \n");
    screen_size = lines;
    screen_width = columns;
}

// --- tables ------------------------------------------------------------------------------

// Reads a table as an eye does: a value stands under the last digit of its column's number.
template<class T> static std::map<int, std::string> readtable(void (*print)(const T *, int), const std::vector<T> &values)
{
    std::string text;
    initialize_winbufsiz(2000);          // room for all of a long table
    text = printed([&] { print(values.data(), int(values.size())); });
    std::vector<std::string> lines(1);
    for (char c : text)
        if (c == '\n') lines.emplace_back();
        else lines.back() += c;
    EXPECT_EQ(lines.back(), "");
    lines.pop_back();
    size_t column[10], next = 0;
    for (size_t i = 0; i < lines[0].size(); ++i)
        if (lines[0][i] != ' ') column[next++] = i;
    EXPECT_EQ(next, 10u);
    std::map<int, std::string> cells;
    for (size_t l = 1; l < lines.size(); ++l) {
        std::string line = lines[l];
        int start = std::stoi(line);
        EXPECT_EQ(start, int(l - 1) * 10);
        EXPECT_TRUE(line.empty() || line.back() != ' ');
        size_t covered = line.find_first_not_of(' ');           // behind the number that begins the line
        while (covered < line.size() && line[covered] != ' ') ++covered;
        for (int c = 0; c < 10 && column[c] < line.size(); ++c) {
            size_t end = column[c] + 1, from = end;
            EXPECT_TRUE(end == line.size() || line[end] == ' ') << "a value goes beyond its column";
            while (from > covered && line[from - 1] != ' ') --from;
            if (from < end) cells[start + c] = line.substr(from, end - from);
            for (size_t i = covered; i < from; ++i) EXPECT_EQ(line[i], ' ');
            covered = end;
        }
        EXPECT_GE(covered, line.size());
    }
    initialize_winbufsiz(250);
    return cells;
}

TEST_F(Output, TablesOfAnyLengthLineUpAndHoldEveryValue)
{
    std::mt19937 random(3);
    for (int rows : { 1, 2, 9, 10, 11, 19, 20, 21, 99, 100, 101, 999, 1000, 1001, 9999, 10000 })
        for (int widest : { 1, 10, 1000, 1000000, 2147483647 }) {
            std::vector<int> values;
            std::map<int, std::string> expected;
            for (int i = 0; i < rows; ++i) {
                switch (random() % 5) {
                    case 0:  values.push_back(-1); continue;
                    case 1:  values.push_back(-4); expected[i] = "-"; continue;
                    case 2:  values.push_back(-5); expected[i] = "*"; continue;
                    default: values.push_back(int(random() % unsigned(widest)));
                }
                expected[i] = std::to_string(values.back());
            }
            EXPECT_EQ(readtable(printable_default, values), expected) << rows << " rows up to " << widest;
        }
}

TEST_F(Output, RealTablesHonourThePrecision)
{
    std::mt19937 random(4);
    for (int precision : { 0, 1, 5, 10 })
        for (int rows : { 1, 10, 37, 1000 }) {
            table_precision = precision;
            std::vector<double> values;
            std::map<int, std::string> expected;
            for (int i = 0; i < rows; ++i) {
                values.push_back(random() % 4 ? random() % 100000 / 7.0 : -1.0);
                if (values.back() < 0) continue;
                char text[100];
                snprintf(text, sizeof text, "%.*f", precision, values.back());
                expected[i] = text;
            }
            EXPECT_EQ(readtable(printable_default_floats, values), expected) << precision << " decimals, " << rows << " rows";
        }
}

TEST_F(Output, OptionalTablesAreOneElementALineWithATab)
{
    strcpy(tabletitle, "Lengths");
    std::vector<int> values = { 5, -1, 70, -4, -5 };
    EXPECT_EQ(printed([&] { printable_optional(values.data(), 5); }), "Lengths\n0\t 5\n2\t70\n3\t -\n4\t *\n");
    std::vector<double> reals = { 0.5, -1.0, 2.25 };
    table_precision = 2;
    EXPECT_EQ(printed([&] { printable_optional_floats(reals.data(), 3); }), "Lengths\n0\t0.50\n2\t2.25\n");
}

static std::vector<std::string> inlines(const std::string &text)
{
    std::vector<std::string> lines;
    for (size_t at = 0, end; (end = text.find('\n', at)) != std::string::npos; at = end + 1) lines.push_back(text.substr(at, end - at));
    return lines;
}

TEST_F(Output, OptionalTablesLineUpAndHoldEveryValue)
{
    std::mt19937 random(6);
    initialize_winbufsiz(2000);
    for (int rows : { 1, 2, 10, 11, 99, 100, 101, 1000, 10000 }) {
        std::vector<int> values;
        std::map<int, std::string> expected, found;
        for (int i = 0; i < rows; ++i) {
            values.push_back(random() % 4 ? int(random() % (1u << random() % 31)) : -1);
            if (values.back() >= 0) expected[i] = std::to_string(values.back());
        }
        size_t width = 0;
        for (const std::string &line : inlines(printed([&] { printable_optional(values.data(), rows); }))) {
            size_t tab = line.find('\t');
            EXPECT_EQ(tab, std::to_string(rows - 1).size());
            if (!width) width = line.size();
            EXPECT_EQ(line.size(), width);
            std::string value = line.substr(tab + 1);
            found[std::stoi(line)] = value.substr(value.find_first_not_of(' '));
        }
        EXPECT_EQ(found, expected) << rows << " rows";
    }
    initialize_winbufsiz(250);
}

static const char *namedmatrix =
    "xread 4 5 a 0000 b 0011 c 0111 d 1111 e 1101 ; cnames {0 wing ; {1 h\u00e9mi\u00e8dre ; "
    "{3 a_name_so_long_that_no_table_could_ever_show_all_of_it ; ; cnames = ;";

TEST_F(Output, CharactersWithNamesAreShownByNameAndLineUp)
{
    zelrun(namedmatrix);
    ASSERT_FALSE(zelfailed());
    std::vector<int> values = { 5, 12, 7, 300 };
    auto table = [&](auto print) { return printed([&] { ischartable = 1; print(values.data(), 4); ischartable = 0; }); };
    std::string cut = "a_name_so_long_that_no_table_could_ever_";
    ASSERT_EQ(cut.size(), 40u);
    auto padded = [](const std::string &name, size_t shown) { return name + std::string(40 - shown, ' '); };
    EXPECT_EQ(table(printable_default), "0  " + padded("wing", 4) + "    5\n1  " + padded("h\u00e9mi\u00e8dre", 8) + "   12\n2  " +
                                        padded("", 0) + "    7\n3  " + cut + "  300\n");
    EXPECT_EQ(table(printable_optional), "0\t" + padded("wing", 4) + "\t  5\n1\t" + padded("h\u00e9mi\u00e8dre", 8) + "\t 12\n2\t" +
                                         padded("", 0) + "\t  7\n3\t" + cut + "\t300\n");
    EXPECT_EQ(inlines(printed([&] { printable_default(values.data(), 4); })).size(), 2u) << "rows that are not characters";
    zelrun("cnames - ;");
    EXPECT_EQ(inlines(table(printable_default)).size(), 2u) << "names not in use";
    EXPECT_EQ(table(printable_optional), "0\t  5\n1\t 12\n2\t  7\n3\t300\n");
    zelrun("xwipe;");
}

static int polls, escat;                 // which poll finds Esc pressed
TEST_F(Output, ALongTableStopsAtOnceOnEsc)
{
    static std::vector<int> values(10000, 7);
    auto key = window.zel_app_window_getKeyPressed;
    window.zel_app_window_getKeyPressed = [] { return ++polls == escat ? KEY_ESC : 0; };
    for (auto print : { printable_default, printable_optional })
        for (int at : { 1, 5, 900 }) {
            polls = 0;
            escat = at;
            static void (*table)(const int *, int);
            table = print;
            std::string text = printed([] { EXPECT_FALSE(safecall([] { table(values.data(), int(values.size())); })); });
            EXPECT_EQ(inlines(text).size(), size_t(at) + 1) << text.substr(0, 200);
            EXPECT_EQ(inlines(text).back(), "User interrupt... ");
        }
    breakable = 0;
    polls = 0;
    EXPECT_EQ(inlines(printed([] { printable_default(values.data(), 100); })).size(), 11u);
    EXPECT_EQ(polls, 0);
    breakable = 1;
    window.zel_app_window_getKeyPressed = key;
}

TEST_F(Output, ALongReportStopsAtOnceOnEsc)
{
    auto key = window.zel_app_window_getKeyPressed;
    std::string rows;
    for (const char *taxon : { " a ", " b ", " c ", " d " }) rows += taxon + std::string(1000, '0');
    zelrun("xread 1000 4" + rows + ";");
    ASSERT_EQ(nc, 1000);
    window.zel_app_window_getKeyPressed = [] { return ++polls == escat ? KEY_ESC : 0; };
    for (const char *command : { "ccode;", "ccode [;", "cnames &; cnames;", "costs 0.100;", "xgroup =1 0.999/2 ; xgroup *;" })
        for (int at : { 1, 7 }) {
            polls = 0;
            escat = at;
            std::vector<std::string> lines = inlines(zelrun(command));
            EXPECT_EQ(lines.back(), "User interrupt... ") << command;
            EXPECT_LT(lines.size(), 20u) << command;
        }
    window.zel_app_window_getKeyPressed = key;
    zelrun("xwipe;");
}

TEST_F(Output, PrecisionReachesBremerSupportsOnlyUnderImpliedWeights)
{
    EXPECT_EQ(bremer_precision, 0);
    zelrun("tables/3;");
    EXPECT_EQ(bremer_precision, 0);
    dopiwe = 1;
    zelrun("tables/4;");
    dopiwe = 0;
    EXPECT_EQ(bremer_precision, 4);
    set_bremer_precision(0);
    zelrun("tables/x;");
    EXPECT_EQ(table_precision, 0) << "no number sets 0";
}

TEST_F(Output, TablesCommandChoosesFormAndPrecision)
{
    zelrun("tables=;");
    EXPECT_EQ(printable, printable_optional);
    EXPECT_EQ(printable_floats, printable_optional_floats);
    zelrun("tables-;");
    EXPECT_EQ(printable, printable_default);
    EXPECT_EQ(printable_floats, printable_default_floats);
    EXPECT_EQ(zelrun("tables/;"), "Floating point precision is 5\n");
    zelrun("tables/ 10;");
    EXPECT_EQ(table_precision, 10);
    EXPECT_NE(zelrun("tables/ 11;").find("Can't set precision to 11 (maximum is 10)"), std::string::npos);
    EXPECT_EQ(table_precision, 10);
    zelrun("tables/2;");
    EXPECT_EQ(zelrun("tables/;"), "Floating point precision is 2\n");
}

// --- UTF-8 -------------------------------------------------------------------------------

static std::string utf8(const std::string &text)
{
    std::string path = tempdir() + "/utf8";
    FILE *f = fopen(path.c_str(), "wb");
    utf8out(text.data(), text.size(), f);
    fclose(f);
    return readfile(path);
}

TEST_F(Output, GlyphBytesBecomeBoxDrawing)
{
    EXPECT_EQ(utf8("\xb3 \xc3 \xc0 \xda \xb4 \xc1 \xc5 \xc4 "),
              "\u2502 \u251c \u2514 \u250c \u2524 \u2534 \u253c \u2500 ");
    EXPECT_EQ(utf8("\xc3\xc4\xc4\xc4 a"), "\u251c\u2500\u2500\u2500 a");
    EXPECT_EQ(utf8("\xc4\xb3"), "\u2500\u2502") << "strokes, though a valid sequence";
    EXPECT_EQ(utf8("\xc4\xb4\xc4\xb4"), "\u2500\u2524\u2500\u2524");
    EXPECT_EQ(utf8("\xc4\xc4\xb4x"), "\u2500\u2500\u2524x");
}

TEST_F(Output, Utf8StaysAndLatin1BecomesUtf8)
{
    EXPECT_EQ(utf8("plain"), "plain");
    for (const char *text : { "\u00e9t\u00e9", "\u0416", "\u65e5\u672c", "\U0001f333", "\u0115", "\u0131" })
        EXPECT_EQ(utf8(text), text);
    EXPECT_EQ(utf8("\xe9t\xe9 \xff"), "\u00e9t\u00e9 \u00ff");
    EXPECT_EQ(utf8("\xe0\x80\x80"), "\u00e0\u0080\u0080") << "an overlong form is not a sequence";
    EXPECT_EQ(utf8("\xe9"), "\u00e9");
    EXPECT_EQ(utf8("\xe6\x97"), "\u00e6\u0097");
}

TEST_F(Output, TextIsCutOnlyBetweenSequences)
{
    std::string text = "a\u00e9\u65e5\U0001f333z\xc4";
    for (size_t n = 0; n <= text.size(); ++n) {
        size_t whole = utf8whole(text.data(), n);
        EXPECT_LE(whole, n);
        EXPECT_LT(n - whole, 4u);
        EXPECT_EQ(utf8(text.substr(0, whole)) + utf8(text.substr(whole)), utf8(text)) << n;
    }
}
