// The text viewer, given keys by a program and looked at as the screens it shows.
#include "kernel/driver.h"
#include "kernel/output.h"
#include "kernel/textbuf.h"
#include "kernel/window.h"
#include "zeltest.h"
#include <sstream>

struct screen { std::vector<std::string> lines; int column; std::string last; };
static std::vector<screen> screens;      // all that were shown
static std::vector<int> keys;            // still to be typed; then Esc

static void show(const char *lines, int column, const char *last)
{
    screen s{ lines ? std::vector<std::string>{} : screens.back().lines, column, last };
    std::istringstream text(lines ? lines : "");
    for (std::string line; std::getline(text, line); ) s.lines.push_back(line);
    screens.push_back(s);
}

static int typed()
{
    if (keys.empty()) return KEY_ESC;
    int key = keys.front();
    keys.erase(keys.begin());
    return key;
}

class Viewer : public testing::Test {
protected:
    void SetUp() override
    {
        zelrun(";");
        initialize_winbufsiz(250);
        for (int i = 0; i < 100; ++i) spewtogil(("line " + std::to_string(i) + (i % 30 == 7 ? "  Apis   mellifera" : "") + "\n").c_str());
        screen_size = 11;                // ten lines and the last one
        window.waitkey = typed;
        window.showscreen = show;
    }
    void TearDown() override
    {
        screen_size = lines;
        window.waitkey = nullptr;
        window.showscreen = nullptr;
        initialize_winbufsiz(250);
        zelrun(";");
    }
    int lines = screen_size;
};

static screen after(const std::vector<int> &given)
{
    screens.clear();
    keys = given;
    view_text_buffer();
    EXPECT_TRUE(keys.empty()) << "left before all keys were typed";
    return screens.back();
}

static std::string shown(const screen &s) { return s.lines.front() + "|" + std::to_string(s.lines.size()) + "|" + s.last; }

TEST_F(Viewer, OpensOnTheScreenBeforeTheLast)
{
    EXPECT_EQ(shown(after({})), "line 81|10|Lines 81-90 of 100   (h: help, q: leave)");
    EXPECT_EQ(screen_size, 11);
}

TEST_F(Viewer, MovesByLinesScreensAndToTheEnds)
{
    struct { std::vector<int> keys; const char *first; } expected[] = {
        { { KEY_UP }, "line 80" }, { { KEY_DOWN }, "line 82" }, { { KEY_RETURN }, "line 82" }, { { 'k', 'k', 'j' }, "line 80" },
        { { KEY_PAGEUP }, "line 72" }, { { KEY_PAGEDOWN }, "line 90" }, { { ' ', ' ', ' ' }, "line 90" }, { { 'b', 'b' }, "line 63" },
        { { KEY_HOME }, "line 0" }, { { KEY_HOME, KEY_UP, KEY_UP, KEY_DOWN }, "line 1" }, { { 'g', 'G' }, "line 90" },
        { { KEY_END, KEY_DOWN, KEY_UP }, "line 89" }, { { 'x', 1, KEY_HOME }, "line 0" },
    };
    for (auto &e : expected) EXPECT_EQ(after(e.keys).lines.front(), e.first);
}

TEST_F(Viewer, MovesSidewaysByEightColumns)
{
    EXPECT_EQ(after({ KEY_RIGHT, KEY_RIGHT }).column, 16);
    EXPECT_EQ(after({ KEY_RIGHT, KEY_RIGHT, KEY_LEFT }).column, 8);
    EXPECT_EQ(after({ KEY_LEFT }).column, 0);
}

static std::vector<int> word(const std::string &text)
{
    std::vector<int> all{ '/' };
    for (char c : text) all.push_back(int(static_cast<unsigned char>(c)));
    all.push_back(KEY_RETURN);
    return all;
}

static std::vector<int> operator+(std::vector<int> a, const std::vector<int> &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

TEST_F(Viewer, SearchesFromTheScreenOnAndWrapsOnlyWhenAsked)
{
    std::vector<int> top{ KEY_HOME }, find = word("aPIS   mell");
    screen s = after(top + find);
    EXPECT_EQ(s.lines.front(), "line 7  Apis   mellifera");
    EXPECT_EQ(s.last, "Found in line 7   (h: help, q: leave)");
    EXPECT_EQ(after(top + find + std::vector<int>{ 'n' }).lines.front(), "line 37  Apis   mellifera");
    std::vector<int> last = top + find + std::vector<int>{ 'n', 'n', 'n' };
    EXPECT_EQ(shown(after(last)), "line 90|10|Found in line 97   (h: help, q: leave)") << "no more lines below to fill a screen";
    EXPECT_EQ(after(last + std::vector<int>{ 'n' }).last,
              "Not found from here on: press w to search from the first line   (h: help, q: leave)");
    EXPECT_EQ(after(last + std::vector<int>{ 'n', 'w' }).lines.front(), "line 7  Apis   mellifera");
    EXPECT_EQ(after(top + word("nowhere") + std::vector<int>{ 'w' }).last, "Not found   (h: help, q: leave)");
    EXPECT_EQ(after({ 'n' }).last, "No text to search: press / first   (h: help, q: leave)");
    EXPECT_EQ(after(top + find + std::vector<int>{ '/', KEY_RETURN, 'n' }).lines.front(), "line 37  Apis   mellifera") << "the text before";
}

TEST_F(Viewer, ATextSearchedIsEditedAndGivenUp)
{
    EXPECT_EQ(after({ KEY_HOME, '/', 'q', 0xc3, 0xa9, KEY_BACKSPACE, KEY_BACKSPACE, KEY_BACKSPACE, '4', '2', KEY_RETURN }).lines.front(), "line 42");
    screen s = after({ KEY_HOME, '/', 'l', KEY_ESC });
    EXPECT_EQ(s.lines.front(), "line 0");
    EXPECT_EQ(screens[screens.size() - 2].last, "Search: l");
}

TEST_F(Viewer, HelpNamesEveryKeyAndGoesBack)
{
    screen s = after({ 'h', 'x' });
    EXPECT_EQ(s.lines.front(), "line 81");
    const screen &help = screens[1];
    ASSERT_GT(help.lines.size(), 4u);
    EXPECT_EQ(help.lines[0] + "\n" + help.lines[1] + "\n" + help.lines[2], "\n\nText-viewer");
    std::string all;
    for (const std::string &line : help.lines) {
        all += line + "\n";
        EXPECT_LE(line.size(), 79u);
    }
    for (const char *key : { "Up", "Down", "Enter", "Page Up", "Page Down", "Space", "Home", "End", "Left", "Right", "/", "n ", "w ", "h, ?", "q, Esc" })
        EXPECT_NE(all.find(key), std::string::npos) << key;
    EXPECT_EQ(help.last, "Press a key to go back");
}

TEST_F(Viewer, AShortOrEmptyBufferIsShownAsItIs)
{
    clear_text_buffer();
    EXPECT_EQ(after({ KEY_UP, KEY_PAGEDOWN }).last, "The text buffer is empty   (h: help, q: leave)");
    spewtogil("one\ntwo\n");
    screen s = after({ KEY_UP, KEY_PAGEDOWN, KEY_HOME });
    EXPECT_EQ(s.lines, (std::vector<std::string>{ "one", "two" }));
}

TEST_F(Viewer, DoesNothingWhereNobodyCanType)
{
    window.waitkey = nullptr;
    screens.clear();
    view_text_buffer();
    EXPECT_TRUE(screens.empty());
}
