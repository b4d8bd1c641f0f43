// The texts of the help keep their form, and what they give as examples runs.
#include "zeltest.h"
#include "kernel/commands.h"
#include "kernel/comtable.h"
#include "kernel/help.h"
#include <climits>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

static std::vector<const comrow *> available()
{
    std::vector<const comrow *> rows;
    for (const comrow *row = comtable; row->name; ++row)
        if (row->help) rows.push_back(row);
    return rows;
}

// Words of the command line, and what only a file can do.
static bool cannotbetyped(const comrow *row) { return row->run == bgroundcom || row->run == recursecom; }

// A copy of the examples of this process, to be spoilt.
static std::string examplesfolder(const char *name)
{
    fs::path here = fs::path(tempdir()) / (std::string("examples_") + name);
    fs::remove_all(here);
    fs::copy(ZEL_EXAMPLES_DIR, here);
    return here.string();
}

// What goes wrong with the examples of a command, run in a process of their own so that settings
// they leave, files they open and even leaving the program concern nobody else; "" when nothing does.
static std::string complaint(const comrow *row)
{
    std::string folder = examplesfolder(row->name), report = folder + ".report";
    pid_t child = fork();
    if (!child) {
        std::string said;
        bool failed = chdir(folder.c_str()) != 0;
        if (!freopen("/dev/null", "w", stdout) || !freopen("/dev/null", "w", stderr)) failed = true;
        if (!failed) {
            said = zelrun("mxram 16; procedure bees.zel; procedure bees_ten.tre;");      // whatever was set before
            failed = zelfailed();
        }
        for (const std::string &example : helpexamples(row->help)) {
            if (failed) break;
            said = example + "\n" + zelrun(example);
            failed = zelfailed();
        }
        if (FILE *f = failed ? fopen(report.c_str(), "w") : nullptr) {
            fputs(said.c_str(), f);
            fclose(f);
        }
        _exit(failed);
    }
    int status = 0;
    waitpid(child, &status, 0);
    fs::remove_all(folder);
    if (WIFEXITED(status) && !WEXITSTATUS(status)) return "";
    return fs::exists(report) ? readfile(report) : "the process died";
}

class HelpOf : public testing::TestWithParam<const comrow *> {};

TEST_P(HelpOf, HasExamplesThatRun)
{
    if (cannotbetyped(GetParam())) GTEST_SKIP() << "cannot be typed";
    EXPECT_FALSE(helpexamples(GetParam()->help).empty());
    EXPECT_EQ(complaint(GetParam()), "");
}

TEST_P(HelpOf, KeepsItsForm)
{
    const comhelp *help = GetParam()->help;
    std::string summary = help->summary;
    EXPECT_TRUE(isupper((unsigned char)summary[0]) && summary.back() == '.') << summary;
    std::istringstream lines(helptext(help));
    bool examples = false;
    for (std::string line; std::getline(lines, line); ) {
        EXPECT_LE(line.size(), 79u) << line;
        EXPECT_EQ(line.find('\t'), std::string::npos) << line;
        if (line.empty()) continue;
        EXPECT_NE(line.back(), ' ') << line;
        size_t indent = line.find_first_not_of(' ');
        EXPECT_TRUE(indent == 0 || indent >= 2) << line;
        EXPECT_TRUE(!examples || indent) << line;
        if (line.compare(0, 7, "Example") == 0) {
            EXPECT_EQ(line, "Examples:");
            examples = true;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Commands, HelpOf, testing::ValuesIn(available()),
                         [](auto &info) { return std::string(info.param->name); });

TEST(Help, IsWhatEveryCommandAnswersToAQuestionMark)
{
    for (const comrow *row = comtable; row->name; ++row) {
        if (row->run == nocom || row->run == quotecom || row->run == haltcom) continue;
        std::string name = row->name;
        for (char &c : name) c = char(toupper(c));
        EXPECT_EQ(zelrun(std::string(row->name) + " ?;"),
                  "\n" + name + "\n" + (row->help ? helptext(row->help) : "This command is not available yet\n") + "\n");
        EXPECT_FALSE(zelfailed());
    }
    EXPECT_EQ(zelrun("quote ?;"), "?\n") << "its text";
}

TEST(HelpExamples, ReachUpToTheLastSemicolonAndMayTakeSeveralLines)
{
    const comhelp help = { "A summary.", nullptr,
        "  form ;   what it does\n"
        "Examples:\n"
        "  one 1 ; two ;   a remark\n"
        "  three\n"
        "    0 1 2 ;\n"
        "  four/;\n" };
    EXPECT_EQ(helpexamples(&help), (std::vector<std::string>{ "one 1 ; two ;", "three\n0 1 2 ;", "four/;" }));
    const comhelp none = { "A summary.", nullptr, "  form ;   what it does\n" }, empty = { "A summary.", nullptr, nullptr };
    EXPECT_TRUE(helpexamples(&none).empty());
    EXPECT_TRUE(helpexamples(&empty).empty());
}

TEST(HelpText, IsBrokenAnewOnlyWhereItIsTooWide)
{
    const comhelp help = { "A summary.", nullptr,
        "  form N ;      an explanation which goes on and on, much further than any view of the text could\n"
        "                ever show.  It continues\n"
        "  short ;       stays\n"
        "                as it is\n"
        "  without a gap but very long, so that it has to be broken somewhere, too, however it is done\n"
        "  overlong words of a form ;  with an explanation that begins further to the right\n"
        "                than that of the others\n"
        "  form 2 ; or 2 no gap, but a second line that tells the column, as it is too wide\n"
        "                for one\n"
        "    nested 1    stays too\n"
        "A list:\n"
        "A sentence at the margin that is somewhat longer than what fits in one line of the view.\n"
        "And another.\n"
        "\n"
        "Not joined to it.\n"
        "Examples:\n"
        "  form 5 ;  an example stays as it is, even when it is too wide by far for any view of text at all\n" };
    EXPECT_EQ(helptext(&help), "A summary.\n"
        "  form N ;      an explanation which goes on and on, much further than any view\n"
        "                of the text could ever show.  It continues\n"
        "  short ;       stays\n"
        "                as it is\n"
        "  without a gap but very long, so that it has to be broken somewhere, too,\n"
        "    however it is done\n"
        "  overlong words of a form ; with an explanation that begins further to the\n"
        "                right than that of the others\n"
        "  form 2 ; or 2 no gap, but a second line that tells the column, as it is too\n"
        "                wide for one\n"
        "    nested 1    stays too\n"
        "A list:\n"
        "A sentence at the margin that is somewhat longer than what fits in one line of\n"
        "the view.  And another.\n"
        "\n"
        "Not joined to it.\n"
        "Examples:\n"
        "  form 5 ;  an example stays as it is, even when it is too wide by far for any view of text at all\n");
}

TEST(HelpOptions, ShowLimitsAndDefaultsAndWhatIsSetNow)
{
    static int flag = 1, count = 7, kind = 2;
    static double share = 0.5;
    static constexpr optrow rows[] = {
        optflag("flag", &flag, "a flag"), optnumber("count", &count, 1, 90, "how many"),
        optnumber("more", &count, 0, INT_MAX, "how many more"), optreal("share", &share, 0, 1, "a share"),
        optstore("second", &kind, 2, "the second kind"), optstore("third", &kind, 3, "the third kind"),
        optcall("listed", [] {}, "reads a list and goes on for so long that its help does not fit one line"), optend()
    };
    const comhelp help = { "A summary.", rows, "  form ;\n" };
    EXPECT_EQ(helptext(&help), "A summary.\n"
        "  [no]flag       a flag (default on)\n"
        "  count N        how many (1 to 90, default 7)\n"
        "  more N         how many more (at least 0, default 7)\n"
        "  share X        a share (0 to 1, default 0.5)\n"
        "  second         the second kind (default)\n"
        "  third          the third kind\n"
        "  listed         reads a list and goes on for so long that its help does not\n"
        "                 fit one line\n"
        "  form ;\n");
}

TEST(HelpOptions, TellWhatIsNoLongerTheDefault)
{
    std::string text = zelrun("mult ?");
    EXPECT_EQ(text.find("; now"), std::string::npos) << text;
    zelrun("mult : hold 17 spr ;");
    text = zelrun("mult ?");
    EXPECT_NE(text.find("default 10; now 17)"), std::string::npos) << text;
    EXPECT_NE(text.find("SPR (now)"), std::string::npos) << text;
    zelrun("mult : hold 10 tbr ;");
    EXPECT_EQ(zelrun("mult ?").find("; now"), std::string::npos);
}
