#include "kernel/driver.h"
#include "kernel/output.h"
#include "kernel/textbuf.h"
#include "kernel/window.h"
#include "zeltest.h"
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

class TextBuffer : public testing::Test {
protected:
    void SetUp() override { zelrun(";"); }
    void TearDown() override
    {
        pressbuff = 1;
        initialize_winbufsiz(250);
        zelrun(";");
    }
};

static std::vector<std::string> stored()
{
    std::vector<std::string> lines;
    for (int i = 0; i <= WINBUFSIZ(); ++i) lines.push_back(bufferline(i));
    return lines;
}

static std::string joined(const std::vector<std::string> &lines)
{
    std::string text;
    for (size_t i = 0; i < lines.size(); ++i) text += (i ? "\n" : "") + lines[i];
    return text;
}

// The text is all, from the start of one of its lines on.
static bool endswith(const std::string &all, const std::string &text)
{
    if (text.size() > all.size()) return false;
    size_t from = all.size() - text.size();
    return all.compare(from, text.size(), text) == 0 && (!from || all[from - 1] == '\n');
}

// Bytes that a line takes, its 0 included: runs of 2 to 125 blanks take two.
static size_t plainsize(const std::string &line, bool compressed)
{
    size_t bytes = 1;
    for (size_t i = 0; i < line.size(); ) {
        size_t run = 1;
        if (compressed && line[i] == ' ')
            while (run < 125 && i + run < line.size() && line[i + run] == ' ') ++run;
        bytes += run > 1 ? 2 : 1;
        i += run;
    }
    return bytes;
}

static const std::string note = "NOTE: wrapped lines before wrapping buffer contents!";

static std::string randomtext(std::mt19937 &random, int longest)
{
    std::string text;
    for (int n = int(random() % unsigned(longest)); n > 0; --n)
        switch (random() % 12) {
            case 0:  text.append(random() % 300, ' '); break;
            case 1: case 2: text += ' '; break;
            case 3:  text += '\n'; break;
            default: text += char('!' + random() % 90);
        }
    return text;
}

TEST_F(TextBuffer, KeepsTheNewestLinesWhateverIsWritten)
{
    std::mt19937 random(11);
    for (int kilobytes : { 1, 2, 10, 40 })
        for (int compressed : { 0, 1 }) {
            pressbuff = compressed;
            ASSERT_TRUE(initialize_winbufsiz(kilobytes));
            std::string all;
            size_t area = size_t(kilobytes) * 1024, longest = 0;
            for (int step = 0; step < 400; ++step) {
                std::string text = randomtext(random, kilobytes == 1 ? 100 : 400);
                if (text.find('\n') == std::string::npos && step % 3) text += '\n';
                // A line longer than the area would lose its start.
                size_t tail = all.size() - std::min(all.size(), all.rfind('\n') + 1);
                if (tail + text.size() > area / 3) text = "\n" + text.substr(0, area / 4);
                spewtogil(text.c_str());
                all += text;
                checktextbuf();
                std::vector<std::string> kept = stored();
                std::string text_kept = joined(kept);
                if (kept[0] == note && !endswith(all, text_kept)) {
                    ASSERT_GE(std::count(all.begin(), all.end(), '\n') + 1, maxlines) << "cleared before the limit of lines";
                    all = text_kept;
                }
                ASSERT_TRUE(endswith(all, text_kept))
                    << kilobytes << " KB, compression " << compressed << ", step " << step;
                size_t bytes = 0;
                for (auto &line : kept) {
                    bytes += plainsize(line, compressed);
                    longest = std::max(longest, plainsize(line, compressed));
                }
                if (text_kept.size() == all.size()) continue;
                size_t end = all.size() - text_kept.size() - 1, from = end ? all.rfind('\n', end - 1) + 1 : 0;
                bytes += plainsize(all.substr(from, end - from), compressed);
                ASSERT_TRUE(bytes + longest + 4 > area || int(kept.size()) + 1 >= maxlines)
                    << "a line was dropped though there was room";
            }
        }
}

TEST_F(TextBuffer, RunsOfBlanksTakeTwoBytesAndComeBackWhole)
{
    for (int blanks : { 1, 2, 3, 124, 125, 126, 127, 130, 250, 251, 500 }) {
        ASSERT_TRUE(initialize_winbufsiz(10));
        std::string line = "a" + std::string(size_t(blanks), ' ') + "b";
        char *from = xat;
        spewtogil((line + "\n").c_str());
        EXPECT_EQ(size_t(xat - from), plainsize(line, true)) << blanks;
        EXPECT_EQ(bufferline(0), line);
        EXPECT_EQ(buflinlen(0), blanks + 2);
    }
}

TEST_F(TextBuffer, RunsGoOnFromOneCallToTheNext)
{
    ASSERT_TRUE(initialize_winbufsiz(10));
    char *from = xat;
    for (int i = 0; i < 100; ++i) spewtogil(" ");
    EXPECT_EQ(xat - from, 2);
    EXPECT_EQ(bufferline(0), std::string(100, ' '));
}

TEST_F(TextBuffer, BlanksAreKeptAsTheyAreWithoutCompression)
{
    pressbuff = 0;
    ASSERT_TRUE(initialize_winbufsiz(10));
    char *from = xat;
    spewtogil("a     b\n");
    EXPECT_EQ(xat - from, 8);
    EXPECT_EQ(bufferline(0), "a     b");
}

TEST_F(TextBuffer, ReachingTheLineLimitBeforeTheAreaWrapsClearsTheStore)
{
    ASSERT_TRUE(initialize_winbufsiz(1));
    for (int i = 0; i < maxlines; ++i) {
        EXPECT_EQ(WINBUFSIZ(), i);
        spewtogil("\n");
    }
    EXPECT_EQ(WINBUFSIZ(), 1);
    EXPECT_EQ(bufferline(0), "NOTE: wrapped lines before wrapping buffer contents!");
    checktextbuf();
}

TEST_F(TextBuffer, AReaderGetsAllThatWasAddedAlsoAcrossWrapsAndClearing)
{
    std::mt19937 random(5);
    static textcursor at;
    static std::string seen;
    auto hook = window.zel_app_window_updateBuffer;
    window.zel_app_window_updateBuffer = [](const char *) { readnewtext(&at, &seen); };
    for (int kilobytes : { 1, 3 }) {
        ASSERT_TRUE(initialize_winbufsiz(kilobytes));
        seen.clear();
        readnewtext(&at, &seen);
        seen.clear();
        std::string all;
        for (int step = 0; step < 3000; ++step) {
            std::string text = step % 7 && step > 40 ? randomtext(random, 25) : std::string(random() % 30, '\n');
            text = text.substr(0, 300);
            spewtogil(text.c_str());
            readnewtext(&at, &seen);
            all += text;
        }
        for (size_t p; (p = seen.find(note + "\n")) != std::string::npos; ) seen.erase(p, note.size() + 1);
        EXPECT_TRUE(seen == all) << kilobytes << " KB";
    }
    window.zel_app_window_updateBuffer = hook;
}

TEST_F(TextBuffer, ALineLongerThanTheAreaReachesTheReaderWhole)
{
    static textcursor at;
    static std::string seen;
    std::string all;
    auto hook = window.zel_app_window_updateBuffer;
    window.zel_app_window_updateBuffer = [](const char *) { readnewtext(&at, &seen); };
    ASSERT_TRUE(initialize_winbufsiz(1));
    readnewtext(&at, &seen);
    seen.clear();
    for (int i = 0; i < 400; ++i) {
        std::string text = "word" + std::to_string(i) + std::string(size_t(i % 5), ' ');
        if (i % 150 == 149) text += '\n';
        spewtogil(text.c_str());
        readnewtext(&at, &seen);
        all += text;
        checktextbuf();
    }
    EXPECT_TRUE(seen == all);
    window.zel_app_window_updateBuffer = hook;
}

TEST_F(TextBuffer, ALineThatComesInPiecesReachesTheReaderWhole)
{
    std::mt19937 random(5);
    for (int trial = 0; trial < 40; ++trial) {
        initialize_winbufsiz(1 + trial % 3);
        textcursor at;
        std::string all, got;
        readnewtext(&at, &got);
        got.clear();
        for (int i = 0; i < 600; ++i) {
            std::string piece = random() % 3 ? std::string(random() % 140, ' ') : std::string(random() % 9, 'x');
            if (random() % 40 == 0) piece += '\n';
            spewtogil(piece.c_str());
            all += piece;
            if (piece.size() % 2) readnewtext(&at, &got);
            if (trial % 2) readnewtext(&at, &got);
            checktextbuf();
        }
        readnewtext(&at, &got);
        if (trial % 2) {
            ASSERT_EQ(got, all);         // looked after every piece: nothing was dropped unseen
        } else {
            ASSERT_EQ(got.substr(got.size() - 50), all.substr(all.size() - 50));
        }
    }
}

TEST_F(TextBuffer, AReaderThatComesLateGetsWhatIsStillKept)
{
    ASSERT_TRUE(initialize_winbufsiz(1));
    textcursor at;
    std::string seen, all;
    readnewtext(&at, &seen);
    seen.clear();
    for (int i = 0; i < 500; ++i) {
        std::string line = "line number " + std::to_string(i) + " of many that go by\n";
        spewtogil(line.c_str());
        all += line;
    }
    readnewtext(&at, &seen);
    ASSERT_GT(seen.size(), 500u);
    EXPECT_EQ(all.substr(all.size() - seen.size()), seen);
    EXPECT_EQ(seen.substr(0, 5), "line ");
    seen.clear();
    readnewtext(&at, &seen);
    EXPECT_EQ(seen, "");
}

TEST_F(TextBuffer, ScreensShowTheEndAndScrollWithinTheStore)
{
    ASSERT_TRUE(initialize_winbufsiz(50));
    int size = screen_size;
    screen_size = 10;
    for (int i = 0; i < 30; ++i) spewtogil(("row " + std::to_string(i) + "\n").c_str());
    struct { int offset, scroll, first, last; } expected[] = {
        { 0, 0, 20, 30 }, { 5, 0, 20, 30 }, { -5, -5, 15, 25 }, { -20, -20, 0, 10 }, { -1000, -20, 0, 10 },
    };
    for (auto &e : expected) {
        copygil(e.offset);
        EXPECT_EQ(give_scroll_pos(), e.scroll);
        EXPECT_EQ(give_first_line(), e.first);
        EXPECT_EQ(give_last_line(), e.last);
        EXPECT_EQ(linsdone, 10);
        EXPECT_EQ(std::string(gil[0]), "row " + std::to_string(e.first));
        EXPECT_EQ(gil[10], nullptr);
    }
    screen_size = 1000;
    copygil(0);
    EXPECT_EQ(linsdone, 30);
    screen_size = size;
}

TEST_F(TextBuffer, SearchingGoesOnFromTheLineFoundAndWrapsOnlyWhenAsked)
{
    ASSERT_TRUE(initialize_winbufsiz(50));
    for (int i = 0; i < 10; ++i) spewtogil(i % 4 == 1 ? "Some   Taxon here\n" : "nothing\n");
    EXPECT_EQ(search_text_buffer("TAXON", false), 1);
    EXPECT_EQ(search_text_buffer("taxon", false), 5);
    EXPECT_EQ(search_text_buffer("  tax", false), 9);
    EXPECT_EQ(search_text_buffer("taxon", false), -1);
    EXPECT_EQ(search_text_buffer("taxon", true), 1);
    EXPECT_EQ(search_text_buffer("no such text", true), -1);
}

TEST_F(TextBuffer, UseAndFreeBytesAddUp)
{
    ASSERT_TRUE(initialize_winbufsiz(10));
    EXPECT_EQ(give_display_buffer_size(), 10);
    EXPECT_EQ(give_free_buffer_bytes(), 10 * 1024 - 2);
    EXPECT_EQ(give_display_buffer_use(), 0);
    spewtogil("123456789\n");
    EXPECT_EQ(give_free_buffer_bytes(), 10 * 1024 - 2 - 10);
    for (int i = 0; i < 5000; ++i) spewtogil("some words to fill the store\n");
    EXPECT_GE(give_display_buffer_use(), 99);
    EXPECT_LE(give_display_buffer_use(), 100);
    EXPECT_EQ(uncompressed_buffer_size(), 29L * WINBUFSIZ());
}

// --- the commands ------------------------------------------------------------------------

TEST_F(TextBuffer, TxtsizeBelowTenWarnsAndChangesNothing)
{
    zelrun("quote something;");
    int lines = WINBUFSIZ();
    std::string text = zelrun("txtsize 5;");
    EXPECT_NE(text.find("Changing size of text-buffer will clear all buffer contents"), std::string::npos);
    EXPECT_NE(text.find("Text buffer: 250 Kb ("), std::string::npos);
    EXPECT_GT(WINBUFSIZ(), lines);
    EXPECT_EQ(give_display_buffer_size(), 250);
}

TEST_F(TextBuffer, TxtsizeClearsAndReallocates)
{
    zelrun("txtsize 20;");
    EXPECT_EQ(give_display_buffer_size(), 20);
    EXPECT_EQ(WINBUFSIZ(), 1);
    EXPECT_EQ(bufferline(0), "Text buffer: 20 Kb (0% of buffer in use)");
    EXPECT_EQ(zelrun("txtsize;"), "Text buffer: 20 Kb (0% of buffer in use)\n");
    EXPECT_EQ(zelrun("txtsize/;"), "Buffer (20 Kb) occupies ca. 1 Kbytes on disk\nText buffer: 20 Kb (0% of buffer in use)\n");
}

TEST_F(TextBuffer, CompressionIsSwitchedWithAWarningAndClears)
{
    zelrun("quote some text;");
    zelrun("txtsize -;");
    EXPECT_EQ(pressbuff, 0);
    EXPECT_EQ(WINBUFSIZ(), 1);
    EXPECT_EQ(zelrun("txtsize -;").find("WARNING"), std::string::npos);
    zelrun("txtsize =;");
    EXPECT_EQ(pressbuff, 1);
}

TEST_F(TextBuffer, ClsAndClbufferEmptyTheStore)
{
    for (const char *command : { "cls;", "clbuffer;" }) {
        zelrun("quote one.,quote two;");
        EXPECT_GT(WINBUFSIZ(), 0);
        zelrun(command);
        EXPECT_EQ(WINBUFSIZ(), 0);
    }
}

TEST_F(TextBuffer, SvtxtWritesExpandedLinesToTheLog)
{
    std::string path = tempdir() + "/svtxt.log";
    zelrun("cls;");
    zelrun("quote a   b;quote c" + std::string(130, ' ') + "d;quote e;");
    zelrun("silent=file;log " + path + ";");
    EXPECT_EQ(zelrun("svtxt 1 1;"), "Buffer: lines 1 1 saved to " + path + " \n");
    zelrun("svtxt 0 0;log/;silent-all;");
    EXPECT_EQ(readfile(path), "c" + std::string(130, ' ') + "d\na   b\n");
}

TEST_F(TextBuffer, SvtxtCountsFromTheOldestLineKept)
{
    std::string path = tempdir() + "/oldest.log";
    ASSERT_TRUE(initialize_winbufsiz(10));
    for (int i = 0; i < 2000; ++i) spewtogil(("a line with the number " + std::to_string(i) + "\n").c_str());
    std::string oldest = bufferline(0);
    EXPECT_NE(oldest, "a line with the number 0");
    zelrun("silent=all;log " + path + ";svtxt 0 0;log/;silent-all;");
    EXPECT_EQ(readfile(path), oldest + "\n");
}

TEST_F(TextBuffer, SvtxtRefusesLinesThatDoNotExistAndNeedsALog)
{
    EXPECT_NE(zelrun("svtxt;").find("No log file open"), std::string::npos);
    zelrun("log " + tempdir() + "/refused.log;cls;quote a;quote b;");
    EXPECT_NE(zelrun("svtxt 0 2;").find("Only 2 lines in display buffer"), std::string::npos);
    EXPECT_TRUE(zelfailed());
    EXPECT_NE(zelrun("svtxt 2 1;").find("lines in display buffer"), std::string::npos);
    zelrun("log/;");
}

// All that the store holds, printed by svtxt, is the end of what was written, whatever was written.
TEST_F(TextBuffer, SvtxtGivesBackExactlyWhatWasPrinted)
{
    std::mt19937 random(11);
    std::string path = tempdir() + "/same.log";
    for (int compressed : { 1, 0 })
        for (int kilobytes : { 10, 11, 25, 60 })
            for (int texts : { 1, 30, 400, 2000 }) {
                pressbuff = compressed;
                ASSERT_TRUE(initialize_winbufsiz(kilobytes));
                std::string all;
                for (int i = 0; i < texts; ++i) {
                    std::string text = randomtext(random, 60);
                    spewtogil(text.c_str());
                    all += text;
                }
                spewtogil("\n");
                all += "\n";
                checktextbuf();
                size_t lines = size_t(WINBUFSIZ());
                zelrun("silent=all;log " + path + ";svtxt;log/;silent-all;");
                ASSERT_FALSE(zelfailed());
                std::string saved = readfile(path);
                EXPECT_EQ(size_t(std::count(saved.begin(), saved.end(), '\n')), lines);
                ASSERT_TRUE(endswith(all, saved)) << kilobytes << " KB, " << texts << " texts";
                if (all.size() < size_t(kilobytes) * 1024 - 2) EXPECT_EQ(saved.size(), all.size());
                else EXPECT_GT(saved.size(), size_t(kilobytes) * 512) << "most of the area is in use";
            }
}

TEST_F(TextBuffer, SearchBeginsWhereItIsToldTo)
{
    ASSERT_TRUE(initialize_winbufsiz(50));
    for (int i = 0; i < 10; ++i) spewtogil(i % 4 == 1 ? "a Taxon\n" : "nothing\n");
    search_from(2);
    EXPECT_EQ(search_text_buffer("taxon", false), 5);
    search_from(-3);
    EXPECT_EQ(search_text_buffer("taxon", false), 1);
    search_from(99);
    EXPECT_EQ(search_text_buffer("taxon", false), -1);
    EXPECT_TRUE(txmatch("The Genus", "gen"));
    EXPECT_FALSE(txmatch("The Genus", "gens"));
}

TEST_F(TextBuffer, TxtsizeTellsSizeAndUse)
{
    EXPECT_EQ(zelrun("cls;txtsize;"), "Text buffer: 250 Kb (0% of buffer in use)\n");
    zelrun("cls;");
    for (int i = 0; i < 5; ++i) spewtogil((std::string(100, 'x') + "\n").c_str());
    zelrun(";");
    EXPECT_EQ(zelrun("txtsize/;"), "Buffer (250 Kb) occupies ca. 1 Kbytes on disk\nText buffer: 250 Kb (0% of buffer in use)\n");
}

TEST_F(TextBuffer, LargeSizesAreWarnedOfOnceAndAllSizesOfTheClearing)
{
    static std::vector<std::string> asked;
    auto box = window.messagebox;
    window.messagebox = [](const char *, const char *text, int) { asked.push_back(text); return 1; };
    const std::string large = "Large buffer sizes (above 1,000 Kb) can cause\nthe screen to flicker on display\n\n"
                              "Consider using a log file instead of a large buffer \n\nContinue?",
                      clearing = "Changing size of text-buffer will clear all buffer contents \n\nContinue?";
    warning = 1;
    struct { const char *size; std::vector<std::string> asks; int kilobytes; } expected[] = {
        { "1001", { large, clearing }, 1001 }, { "1000", { clearing }, 1000 }, { "9", { clearing }, 1000 }, { "0", {}, 1000 },
    };
    for (auto &e : expected) {
        asked.clear();
        zelrun("txtsize " + std::string(e.size) + ";");
        EXPECT_EQ(asked, e.asks) << e.size;
        EXPECT_EQ(give_display_buffer_size(), e.kilobytes);
    }
    warning = 0;
    window.messagebox = box;
}

// What setting a large size says when no block above so many bytes is given, and the size in force then.
static std::string withoutmemory(size_t most)
{
    static size_t limit;
    limit = most;
    zelrun("cls ;");
    give_buffer_memory = [](size_t bytes) { return bytes > limit ? nullptr : malloc(bytes); };
    static textcursor at;
    static std::string said;                   // as it is printed: the new buffer starts empty
    auto slot = window.zel_app_window_updateBuffer;
    window.zel_app_window_updateBuffer = [](const char *) { readnewtext(&at, &said); };
    at = textcursor();
    readnewtext(&at, &said);
    said.clear();
    bool done = initialize_winbufsiz(1000000);
    spewtogil("");
    give_buffer_memory = malloc;
    window.zel_app_window_updateBuffer = slot;
    return said + (done ? "done " : "failed ") + std::to_string(give_display_buffer_size());
}

TEST_F(TextBuffer, WithoutMemoryASmallerBufferIsTriedAndElseTheOldOneStays)
{
    std::string first = "Not enough memory to allocate display buffer.\nWill attempt to allocate a smaller buffer. \n";
    EXPECT_EQ(withoutmemory(200000), first + "done 10");
    EXPECT_EQ(withoutmemory(100), first + "Can't allocate small buffer. Free memory and re-try. \nfailed 10");
}
