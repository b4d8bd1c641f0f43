#include "zeltest.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/putback.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/typos.h"
#include "kernel/window.h"
#include <algorithm>

// The place of an error as told to the user: 75 characters around the reading position, 37 before it.
static std::string place(const std::string &buffer, size_t at)
{
    size_t from = at > 37 ? at - 37 : 0;
    std::string text = buffer.substr(from, 75);
    for (char &c : text) if (static_cast<unsigned char>(c) < 32) c = ' ';
    size_t caret = at > from ? at - from - 1 : 0;
    return text + " \n" + std::string(caret, ' ') + "^\n";
}

TEST(Errors, ShowWhereInTheFileTheyStood)
{
    for (size_t before : { 0u, 1u, 10u, 26u, 27u, 40u, 200u })
        for (size_t after : { 0u, 5u, 30u, 31u, 100u }) {
            std::string text = std::string(before, before > 100 ? '\n' : ' ') + "nosuchword;" + std::string(after, 'x');
            std::string path = writefile("place", text);
            EXPECT_EQ(zelrun("proc " + path), "Reading from " + path + " \nUnknown command: nosuchword \n" +
                                              place(text, before + 10)) << before << " " << after;
        }
}

// The letters of two bytes are shown whole, and each takes one column.
TEST(Errors, MarkTheirPlaceUnderTextWithAccents)
{
    for (size_t before : { 1u, 5u, 11u, 12u, 13u, 20u, 21u, 100u })
        for (size_t after : { 0u, 17u, 18u, 19u, 50u }) {
            std::vector<std::string> letters;
            auto add = [&](const std::string &text) { for (char c : text) letters.push_back(std::string(1, c)); };
            add("rdir ");
            letters.insert(letters.end(), before, "\xc3\xb1");
            add("; nosuchword");
            size_t at = 5 + 2 * before + 12;
            add(";");
            letters.insert(letters.end(), after, "\xc3\xb1");
            std::string text, line;
            size_t from = at > 37 ? at - 37 : 0, columns = 0;
            for (const std::string &letter : letters) {
                size_t begin = text.size(), end = begin + letter.size();
                text += letter;
                if (end <= from || begin >= from + 75) continue;
                line += letter;
                columns += begin < at;
            }
            std::string path = writefile("accents", text);
            EXPECT_EQ(zelrun("proc " + path), "Reading from " + path + " \nUnknown command: nosuchword \n" + line + " \n" +
                                              std::string(columns - 1, ' ') + "^\n") << before << " " << after;
        }
    rundir[0] = 0;
}

TEST(Errors, InTypedTextShowNoPlace)
{
    EXPECT_EQ(zelrun("  nosuchword;  x"), "Unknown command: nosuchword \n");
}

TEST(Errors, AreShownInSpiteOfSilence)
{
    zelrun("");
    silent = 4;
    std::string text = zelrun("beep-; nosuchword");
    EXPECT_EQ(silent, 4);
    silent = 0;
    EXPECT_EQ(text, "Unknown command: nosuchword \n");
}

TEST(Errors, DropWhatWasHalfComposed)
{
    zelrun("");
    menuing = 1;
    EXPECT_FALSE(safecall([] { tojoin("half a line"); errmsg("broken", "off", nullptr); }));
    menuing = 0;
    EXPECT_EQ(zelrun(""), "broken off \n");
}

TEST(Errors, OfGreatLengthAreCutNotLost)
{
    zelrun("");
    menuing = 1;
    EXPECT_FALSE(safecall([] { myerr("%s", std::string(5000, 'e').c_str()); }));
    menuing = 0;
    std::string text = zelrun("");
    EXPECT_GT(text.size(), 1000u);
    EXPECT_LE(text.size(), 2049u);
    EXPECT_EQ(text.substr(0, 5), "eeeee");
}

TEST(Errors, NameTheWrongArgument)
{
    zelrun("");
    menuing = 1;
    EXPECT_FALSE(safecall([] { snprintf(current_command, sizeof current_command, "length"); errarg('#'); }));
    menuing = 0;
    EXPECT_EQ(zelrun(""), "Wrong argument for length : '#' \n");
}

TEST(Errors, SayThatDataMustBeRead)
{
    zelrun("");
    menuing = 1;
    EXPECT_FALSE(safecall([] { nodaterror("building trees"); }));
    menuing = 0;
    EXPECT_EQ(zelrun(""), "Must read data before building trees \n");
}

TEST(Errors, AreToldInABoxThatNamesTheFileWhenWarningsAreOn)
{
    static std::string box;
    auto was = window.messagebox;
    window.messagebox = [](const char *title, const char *text, int) { box = std::string(title) + ": " + text; return 1; };
    std::string path = writefile("boxed", "nosuchword;");
    zelrun("proc " + path);
    EXPECT_EQ(box, "Error: Error parsing instructions\nfrom the graphic interface");
    warning = 1;
    zelrun("proc " + path);
    EXPECT_EQ(box, "Error: Encountered an error when parsing\ninstructions from file \"" + path + "\"");
    zelrun("nosuchword");
    EXPECT_EQ(box, "Error: Error parsing instructions\nfrom the graphic interface");
    warning = 0;
    window.messagebox = was;
}

TEST(Errors, PutBackWhatWasHalfDone)
{
    zelrun("");
    doing_quotes = ignore_quotes = reading_nexus_file = allow_same_file = reading_literal_file = tmpsilent = 1;
    admit_inner_typos = 2;
    EXPECT_FALSE(safecall([] { errmsg("stop", nullptr); }));
    EXPECT_EQ(doing_quotes + ignore_quotes + reading_nexus_file + allow_same_file + reading_literal_file + tmpsilent, 0);
    EXPECT_EQ(admit_inner_typos, 1);
    admit_inner_typos = 0;
    zelrun("");
}

TEST(Errors, ReturnARedirectedLog)
{
    zelrun("");
    FILE *aside = tmpfile();
    trulogfile = logfile;
    logfile = aside;
    FILE *log = trulogfile;
    EXPECT_FALSE(safecall([] { errmsg("stop", nullptr); }));
    EXPECT_EQ(logfile, log);
    EXPECT_EQ(trulogfile, nullptr);
    fclose(aside);
    zelrun("");
}

TEST(Errors, ResetRowsAreNamedAndComplete)
{
    int n = 0;
    for (const resetrow *row = resettable; row->what; ++row, ++n) EXPECT_NE(row->undo, nullptr) << row->what;
    EXPECT_GT(n, 0);
}

// Rows as those of the system, of which some fail.
static std::string undone;
static void undoes() { undone += 'u'; }
static void fails()
{
    undone += 'f';
    errmsg("This row fails", nullptr);
}

TEST(Errors, AFailureWithinARowNeitherLoopsNorLeavesOutTheOthers)
{
    static constexpr resetrow rows[] = {
        { "one", undoes }, { "two", fails }, { "three", undoes }, { "four", fails }, { "five", undoes }, { nullptr, nullptr }
    };
    zelrun("");
    int failed = failed_commands;
    undone.clear();
    EXPECT_FALSE(safecall([] { put_back(rows); }));
    EXPECT_EQ(undone, "ufufu");
    EXPECT_EQ(failed_commands, failed);          // the failure that put back was counted already
    EXPECT_FALSE(putting_back());

    // The next failure puts everything back again.
    undone.clear();
    EXPECT_FALSE(safecall([] { put_back(rows); }));
    EXPECT_EQ(undone, "ufufu");
    reading_literal_file = 1;
    EXPECT_FALSE(safecall([] { errmsg("stop", nullptr); }));
    EXPECT_EQ(failed_commands, failed + 1);
    EXPECT_EQ(reading_literal_file, 0);
    zelrun("");
}
