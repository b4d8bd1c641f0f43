// The console in a process of its own, between files or on a terminal.
#include "console/console.h"
#include "zeltest.h"
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

using texts = std::vector<std::string>;

static bool holds(const std::string &text, const std::string &part) { return text.find(part) != std::string::npos; }

static void redirect(int from, const std::string &path, int how)
{
    int f = open(path.c_str(), how, 0600);
    if (f < 0 || dup2(f, from) < 0) _exit(99);
    close(f);
}

// What a run left.  The child leaves without the ends of this program, which would remove the folder.
struct outcome { int status; std::string out, err; };
static outcome run(const texts &words, const std::string &typed, const std::string &to = tempdir() + "/out")
{
    std::string in = writefile("in", typed), err = tempdir() + "/err";
    fflush(nullptr);
    pid_t child = fork();
    if (!child) {
        redirect(STDIN_FILENO, in, O_RDONLY);
        redirect(STDOUT_FILENO, to, O_WRONLY | O_CREAT | O_TRUNC);
        redirect(STDERR_FILENO, err, O_WRONLY | O_CREAT | O_TRUNC);
        _exit(runconsole(words));
    }
    int status = 0;
    waitpid(child, &status, 0);
    std::string said = readfile(err);
    said.erase(std::remove(said.begin(), said.end(), '\a'), said.end());      // the bell
    return { WIFEXITED(status) ? WEXITSTATUS(status) : -1, to == "/dev/full" ? "" : readfile(to), said };
}

static std::string goodfile()
{
    return writefile("good.zel", "xread\n4 5\na 0000\nb 0011\nc 0111\nd 1111\ne 1101\n;\nproc/;\n");
}

TEST(Console, AFileThatFailsIsNamedOnStandardErrorAndTheNextIsRead)
{
    std::string bad = writefile("bad one.zel", "xread\n2 4\na 00\nb 0!\nc 01\nd 11\n;\nquote never;\n");
    outcome end = run({ bad, goodfile() }, "quote typed;");
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.err, "Error reading " + bad + "\n");
    EXPECT_FALSE(holds(end.out, "\nnever\n"));
    EXPECT_TRUE(holds(end.out, "Matrix (4x5"));
    EXPECT_TRUE(holds(end.out, "typed\n"));
}

TEST(Console, AFileThatIsNotThereIsNamedToo)
{
    outcome end = run({ "not_there.zel" }, "");
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.out, "Can't open not_there.zel \n");
    EXPECT_EQ(end.err, "Error reading not_there.zel\n");
}

TEST(Console, CommandsThatFailAreToldByTheirBeginning)
{
    outcome end = run({ goodfile(), ",", "silent,", "foo,", "tables/" }, "quote typed;");
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.err, "Error in the commands \"silent, foo, tables/\"\n");
    EXPECT_TRUE(holds(end.out, "text buffer\nUnknown command: foo"));
    EXPECT_FALSE(holds(end.out, "precision"));
    EXPECT_TRUE(holds(end.out, "typed\n"));
}

TEST(Console, NothingGoesToStandardErrorWhenAllIsWell)
{
    EXPECT_EQ(run({ goodfile(), ",", "quote one" }, "quote two;").err, "");
    EXPECT_EQ(run({}, "").out, "");
}

TEST(Console, OutputThatCannotBeWrittenIsAFailure)
{
    if (access("/dev/full", W_OK)) GTEST_SKIP() << "no /dev/full";
    EXPECT_EQ(run({}, "quote hello;", "/dev/full").status, 1);
}

TEST(Console, ALogThatCannotBeWrittenDisturbsNothing)
{
    if (access("/dev/full", W_OK)) GTEST_SKIP() << "no /dev/full";
    outcome end = run({}, "log /dev/full;quote hello;svtxt;log/;log;");
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.out, "Log file: /dev/full \nhello\nBuffer: lines 0 1 saved to /dev/full \nNo Log file open \n");
}

TEST(Console, QuotesCopiedToStandardErrorKeepTheirCharactersWhole)
{
    std::string text;
    while (text.size() < 9000) text += "\u00e9\u4e2d";
    EXPECT_EQ(run({}, "lquote>;quote a" + text + ";").err, "a" + text + "\n");
}

// A terminal of endless length, as wide as its lines: what is on it in the end, blanks at the
// ends of lines aside.
static texts screen(const std::string &written)
{
    texts rows{ "" };
    size_t column = 0;
    for (char c : written)
        if (c == '\r') column = 0;
        else if (c == '\n') rows.emplace_back();
        else if (c == '\b') column -= column > 0;
        else if (c != '\a') {
            std::string &row = rows.back();
            if (row.size() <= column) row.resize(column + 1, ' ');
            row[column++] = c;
        }
    for (std::string &row : rows) row.erase(row.find_last_not_of(' ') + 1);
    return rows;
}

// What is typed when the text written so far ends so.
struct step { std::string after, keys; };

static const std::string PROMPT = "> ", ENDOFINPUT = "\004";

// All that was written; the end of input is typed at the prompt after the last step.
static std::string converse(std::vector<step> steps, unsigned short lines = 24)
{
    winsize size = { lines, 200, 0, 0 };
    int terminal;
    fflush(nullptr);
    pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
    if (!child) {
        setenv("TERM", "dumb", 1);
        setenv("HOME", tempdir().c_str(), 1);
        _exit(runconsole({}));
    }
    steps.push_back({ PROMPT, ENDOFINPUT });
    std::string written;
    size_t typed = 0;
    char buffer[4096];
    pollfd waits = { terminal, POLLIN, 0 };
    while (poll(&waits, 1, 30000) > 0) {
        ssize_t n = read(terminal, buffer, sizeof buffer);
        if (n <= 0) break;
        written.append(buffer, size_t(n));
        if (typed == steps.size()) continue;
        const std::string &after = steps[typed].after, &keys = steps[typed].keys;
        if (written.size() <= after.size() || written.compare(written.size() - after.size(), after.size(), after)) continue;
        ++typed;
        if (write(terminal, keys.data(), keys.size()) < 0) break;
    }
    EXPECT_EQ(typed, steps.size()) << "never written: " << steps[std::min(typed, steps.size() - 1)].after << "\nafter: " << written;
    close(terminal);
    kill(child, SIGKILL);                // nothing when it has ended
    waitpid(child, nullptr, 0);
    return written;
}

// Each line is typed at a prompt.
static texts session(const texts &lines)
{
    std::vector<step> steps;
    for (const std::string &line : lines) steps.push_back({ PROMPT, line + "\r" });
    return screen(converse(steps));
}

TEST(Terminal, ProgressLeavesNothingBehind)
{
    std::string file = goodfile();
    texts rows = session({ "p " + file + ";", "quote end;" });
    texts want = { "zel*> p " + file + ";", "Reading from " + file, "Matrix (4x5, 16 states). Memory required for data: ",
                   "zel*> quote end;", "end", "zel*>" };
    ASSERT_GE(rows.size(), want.size());
    for (size_t i = 0; i < want.size(); ++i) EXPECT_EQ(rows[i].substr(0, want[i].size()), want[i]);
    for (const std::string &row : rows) EXPECT_FALSE(holds(row, "%)")) << row;
}

TEST(Terminal, NeitherPromptsNorProgressCoverALineLeftOpen)
{
    std::string file = goodfile();
    texts rows = session({ "p " + file + ";tread (0 (1 (2 (3 4))));", "lquote=;", "quote open;", "quote before;length;" });
    auto stands = [&](const std::string &row) { return std::count(rows.begin(), rows.end(), row); };
    EXPECT_EQ(stands(" open"), 1);
    EXPECT_EQ(stands("zel*> quote before;length;"), 1);
    EXPECT_EQ(stands(" before"), 1);
    EXPECT_EQ(stands("Tree lengths"), 1);
}

TEST(Terminal, PageUpOpensTheTextViewerAndComesBackToTheLineTyped)
{
    const std::string shown = "leave)\033[m";
    std::string written = converse({ { PROMPT, "quote first; quote second;\r" }, { PROMPT, "quo" }, { "quo", "\033[5~" },
                                     { shown, "/" }, { "Search: \033[m", "SEC\r" }, { shown, "h" }, { "go back\033[m", "\033[A" },
                                     { shown, "q" }, { "quo", "te third;\r" } });
    EXPECT_TRUE(holds(written, "\033[?1049h\033[H\033[2J")) << "a screen of its own";
    EXPECT_TRUE(holds(written, "Found in line 1"));
    EXPECT_TRUE(holds(written, "\r\nText-viewer\r\n"));
    EXPECT_TRUE(holds(written, "\033[24;1H")) << "its last line is that of the terminal";
    std::string back = written.substr(written.rfind("\033[?1049l"));
    EXPECT_TRUE(holds(back, "third\r\n")) << back;
}

TEST(Terminal, PauseStopsAfterEachScreenAndQShowsNoMore)
{
    const std::string more = "stops)";
    std::string numbers;
    for (int i = 0; i < 21; ++i) numbers += "quote " + std::to_string(i) + ";";
    std::string written = converse({ { PROMPT, "pause=;\r" }, { PROMPT, numbers + "\r" }, { more, " " }, { more, " " } }, 10);
    EXPECT_TRUE(holds(written, "\r\n8\r\n--More--")) << written;
    EXPECT_TRUE(holds(written, "\r\n17\r\n--More--"));
    EXPECT_TRUE(holds(written, "\r\n20\r\n"));
    written = converse({ { PROMPT, "pause=;\r" }, { PROMPT, numbers + "\r" }, { more, "q" }, { PROMPT, "quote after;\r" } }, 10);
    EXPECT_FALSE(holds(written, "\r\n9\r\n"));
    EXPECT_TRUE(holds(written, "\r\nafter\r\n"));
    written = converse({ { PROMPT, numbers + "\r" } }, 10);
    EXPECT_FALSE(holds(written, "--More--")) << "not unless asked";
}
