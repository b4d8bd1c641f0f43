#include "zeltest.h"
#include "kernel/comtable.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/help.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/typos.h"
#include "kernel/window.h"
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <pty.h>
#include <unistd.h>

namespace fs = std::filesystem;

static std::string upper(const char *name)
{
    std::string text = name;
    for (char &c : text) c = char(toupper(c));
    return text;
}

// In a folder of its own, and back.
struct infolder {
    fs::path was = fs::current_path();
    infolder() { fs::current_path(tempdir()); }
    ~infolder() { fs::current_path(was); rundir[0] = 0; }
};

TEST(Driver, RunsTheCommandsOfALineInOrder)
{
    EXPECT_EQ(zelrun("echo - ; beep - ; warn -"), "Echo is OFF \nBeep is OFF \nWarning is OFF \n");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(giveme_curproc_level(), 0);
}

TEST(Driver, TakesACommaTypedForASemicolon)
{
    EXPECT_EQ(zelrun("echo -, beep -"), "Echo is OFF \nBeep is OFF \n");
}

TEST(Driver, TakesACommaOfAFileAsItIs)
{
    std::string path = writefile("comma", "beep -, warn -;\n");
    std::string text = zelrun("proc " + path);
    EXPECT_TRUE(zelfailed());
    EXPECT_NE(text.find("Beep is OFF"), std::string::npos);
    EXPECT_NE(text.find("No command!"), std::string::npos);
    EXPECT_EQ(text.find("Warning is OFF"), std::string::npos);
}

TEST(Driver, DoesNotRunWhatFollowsAnErrorOnTheLine)
{
    EXPECT_EQ(zelrun("beep -; nosuchword; warn -"), "Beep is OFF \nUnknown command: nosuchword \n");
    EXPECT_TRUE(zelfailed());
    EXPECT_EQ(zelrun("warn -"), "Warning is OFF \n");
}

TEST(Driver, RefusesWhatIsNoWord)
{
    EXPECT_EQ(zelrun("5 ;"), "No command! \n");
    EXPECT_EQ(zelrun("(beep)"), "No command! \n");
}

TEST(Driver, RefusesExitShortenedByOneLetter)
{
    EXPECT_EQ(zelrun("exi"), "Did you mean \"exit\"? The \"exit\" command can't be truncated... \n");
    EXPECT_TRUE(zelfailed());
}

TEST(Driver, DoesNothingWithAnEmptyLine)
{
    EXPECT_EQ(zelrun(""), "");
    EXPECT_EQ(zelrun(" ;;  ; \n ;"), "");
    EXPECT_FALSE(zelfailed());
}

TEST(Driver, RefusesATextThatDoesNotFitTheBaseLevel)
{
    std::string blanks(4126 - 6, ' ');                  // with the semicolon that is added: 4127 bytes
    EXPECT_EQ(zelrun("beep -" + blanks), "Beep is OFF \n");
    EXPECT_EQ(zelrun("beep -" + blanks + " "), "Sorry, instructions are too long (4128 bytes; max. is 4128) \n");
    EXPECT_TRUE(zelfailed());
    EXPECT_EQ(zelrun("beep -"), "Beep is OFF \n");
}

TEST(Driver, SaysOfWorkNotDoneThatItIsNotAvailableAndGoesOn)
{
    for (const comrow *row = comtable; row->name; ++row) {
        if (row->run != notyetcom) continue;
        std::string name = row->name, refused = "Command " + name + " is not available yet\n";
        if (row >= comtable + typolimit) {                    // commands of the scripting language
            EXPECT_EQ(zelrun(name + "; beep -"), name + " legal only when macros are enabled \n");
            EXPECT_TRUE(zelfailed());
            zelrun("macro =");
            EXPECT_EQ(zelrun(name + " = 5; beep -"), refused + "Beep is OFF \n");
            EXPECT_TRUE(zelfailed());
            zelrun("macro -");
            continue;
        }
        for (const char *arguments : { "", " ", " 5", "=1 2 (x)", ":", " [ word ] 'text' {3}", "\n\n- /" }) {
            EXPECT_EQ(zelrun(name + arguments + "; beep -"), refused + "Beep is OFF \n");
            EXPECT_TRUE(zelfailed());
        }
        EXPECT_EQ(zelrun(name), refused);
    }
}

// What the row has to say, and the empty line that follows an answer to '?'.
static std::string helpof(const comrow *row)
{
    static const comrow *asked;
    asked = row;
    zelrun("");
    EXPECT_TRUE(safecall([] { docomhlp(asked); newln(); }));
    return zelrun("");
}

// Beep, warn and echo follow: had the handler run, it would have said, asked or taken something.
TEST(Driver, AnswersAQuestionMarkAfterEveryCommandButTheVerbatimOnesAndRunsNothing)
{
    for (const comrow *row = comtable; row->name; ++row) {
        if (row->run == quotecom || row->run == haltcom || row->run == nocom) continue;
        std::string name = row->name, help = helpof(row);
        EXPECT_EQ(help.substr(0, 3 + name.size()), "\n" + upper(row->name) + "\n" + help.substr(2 + name.size(), 1));
        EXPECT_EQ(help.substr(help.size() - 2), "\n\n") << name;
        if (row->help) { EXPECT_NE(help.find(std::string("\n") + row->help->summary + "\n"), std::string::npos) << name; }
        for (const char *question : { "?", " ?", "\n\t?" }) {
            EXPECT_EQ(zelrun(name + question), help);
            EXPECT_FALSE(zelfailed()) << name;
            EXPECT_EQ(zelrun(name + question + "; beep -; warn -"), help + "Beep is OFF \nWarning is OFF \n");
            EXPECT_EQ(zelrun(name + question + " beep -"), help + "Beep is OFF \n") << "the mark ends the command";
        }
    }
}

TEST(Driver, AnswersAQuestionMarkAfterAnAbbreviation)
{
    EXPECT_EQ(zelrun("mxp ?").substr(0, 8), "\nMXPROC\n");
    EXPECT_EQ(zelrun("e ?").substr(0, 6), "\nEDIT\n");
}

TEST(Driver, RunsAScriptByItsNameFromHereAndFromTheRunFolder)
{
    infolder here;
    fs::create_directories("scripts");
    writefile("ownscript.run", "beep -;\n");
    writefile("scripts/farscript.run", "warn -;\n");
    EXPECT_EQ(zelrun("ownscript a b"), "Running ownscript.run a b\nBeep is OFF \n");
    EXPECT_EQ(zelrun("farscript"), "Unknown command: farscript \n");
    EXPECT_EQ(zelrun("rdir scripts; farscript"), "Running scripts/farscript.run (with no arguments)\nWarning is OFF \n");
    writefile("scripts/ownscript.run", "echo -;\n");
    EXPECT_EQ(zelrun("ownscript"), "Running ownscript.run (with no arguments)\nBeep is OFF \n") << "the current folder comes first";
}

TEST(Driver, EndsTheRunFolderWithASlashOnce)
{
    infolder here;
    zelrun("rdir a/b");
    EXPECT_STREQ(rundir, "a/b/");
    zelrun("rdir c/");
    EXPECT_STREQ(rundir, "c/");
    EXPECT_EQ(zelrun("rdir"), "No run-path given \n");
}

TEST(Driver, ReportsAndChangesTheFolder)
{
    infolder here;
    fs::create_directories("sub dir");
    std::string where = fs::current_path().string();
    EXPECT_EQ(zelrun("cdir"), "Current directory is " + where + "\n");
    EXPECT_EQ(zelrun("cdir sub^dir"), "Current directory is " + where + "/sub dir\n");
    EXPECT_EQ(zelrun("cdir nosuchfolder"), "Can't change directory to nosuchfolder \n");
    EXPECT_TRUE(zelfailed());
}

TEST(Driver, EchoesTheNameOfEachCommandWhenAsked)
{
    EXPECT_EQ(zelrun("echo ="), "Echo is ON \n");
    EXPECT_EQ(zelrun("warn -; bee -"), "\nCOMMAND: WARN\nWarning is OFF \n\nCOMMAND: BEEP\nBeep is OFF \n");
    EXPECT_EQ(zelrun("echo -"), "\nCOMMAND: ECHO\nEcho is OFF \n");
}

TEST(Driver, TogglesAnswerAllForms)
{
    struct { const char *command, *label; int *flag; } toggles[] = {
        { "beep", "Beep", &mybeep }, { "warn", "Warning", &warning }, { "break", "Break", &breakable },
        { "pause", "Pause", &pausing },
    };
    for (auto &t : toggles) {
        std::string on = std::string(t.label) + " is ON \n", off = std::string(t.label) + " is OFF \n", word = t.command;
        EXPECT_EQ(zelrun(word + " ="), on);
        EXPECT_TRUE(*t.flag);
        EXPECT_EQ(zelrun(word + "/"), off);
        EXPECT_EQ(zelrun(word + "/"), on);
        EXPECT_EQ(zelrun(word + "-"), off);
        EXPECT_FALSE(*t.flag);
        if (word != "pause") { EXPECT_EQ(zelrun(word), off); }
    }
    zelrun("break=");
    report_status = 0;
    EXPECT_EQ(zelrun("beep-"), "");
    report_status = 1;
}

TEST(Driver, WatchSetsBothTimersAndTheMeasureOfMemory)
{
    zelrun("watch=");
    EXPECT_EQ(timeit, 1);
    EXPECT_EQ(timemenus, 1);
    EXPECT_EQ(zelrun("watch["), "Measuring RAM used for each command\n");
    EXPECT_EQ(measure_RAM, 1);
    EXPECT_EQ(zelrun("watch] -"), "Not measuring RAM used for each command\nWatch is OFF \n");
    EXPECT_EQ(measure_RAM, 0);
    EXPECT_EQ(timeit + timemenus, 0);
    EXPECT_EQ(zelrun("watch !"), "Resetting max. RAM counter to 0\n");
    EXPECT_EQ(zelrun("watch *"), "");
    std::string text = zelrun("watch /");
    EXPECT_EQ(text.substr(0, 15), "Ellapsed time: ");
    EXPECT_EQ(text.substr(text.size() - 8), " secs. \n");
}

TEST(Driver, ReportsTheTimeOfATimedCommandOnly)
{
    zelrun("watch=");
    EXPECT_EQ(zelrun("beep -"), "Beep is OFF \n");
    std::string text = zelrun("system true");
    EXPECT_EQ(text.substr(0, 5), "Time ");
    EXPECT_EQ(text.substr(text.size() - 7), " secs.\n");
    std::string path = writefile("timed", "system true\nbeep -;\n");
    text = zelrun("proc " + path);
    EXPECT_NE(text.find("\nsystem "), std::string::npos) << text;
    EXPECT_EQ(text.find("beep 0"), std::string::npos) << text;
    zelrun("watch-");
}

TEST(Driver, ReadsTheTimeOutAsHoursMinutesSeconds)
{
    EXPECT_EQ(zelrun("timeout 1:2:3"), "Time-out for searches is 1:02:03\n");
    EXPECT_EQ(mytimeout, 3723);
    EXPECT_EQ(zelrun("timeout 0:10"), "Time-out for searches is 0:10:00\n");
    EXPECT_EQ(zelrun("timeout"), "Time-out for searches is 0:10:00\n");
    EXPECT_EQ(zelrun("timeout 0"), "Time-out for searches is 0:00:00 (i.e. no time-out!)\n");
    EXPECT_EQ(zelrun("timeout x"), "Wrong argument for timeout : 'x' \n");
    EXPECT_TRUE(zelfailed());
}

TEST(Driver, SystemTakesTheRestOfTheLineVerbatim)
{
    infolder here;
    zelrun("system printf 'a,b;c' > out1; printf d > out2\nbeep -");
    EXPECT_EQ(readfile(tempdir() + "/out1"), "a,b;c");
    EXPECT_EQ(readfile(tempdir() + "/out2"), "d");
    EXPECT_EQ(zelrun("system printf e > out3 ^ beep -"), "Beep is OFF \n");
    EXPECT_EQ(readfile(tempdir() + "/out3"), "e");
    EXPECT_EQ(zelrun("system ^ beep -"), "Beep is OFF \n");
}

TEST(Driver, BackgroundIsForTheCommandLineOnly)
{
    EXPECT_EQ(zelrun("bground"), "Command \"bground\" is command-line only! \n");
    EXPECT_EQ(zelrun("slaveproc"), "Command \"bground\" is command-line only! \n");
    EXPECT_EQ(zelrun("bgrou"), "Unrecognized command: bgrou \n");
    EXPECT_EQ(inbground, 0);
}

TEST(Driver, OffersACorrectionOfACommandOnlyWhenAsked)
{
    static std::string asked;
    static int answer;
    auto was = window.messagebox;
    window.messagebox = [](const char *title, const char *text, int flags) {
        if (flags & BOX_CANCEL) asked += std::string(title) + ":" + text;
        return flags & BOX_CANCEL ? answer : 1;
    };
    zelrun("timeout 0");
    EXPECT_EQ(zelrun("timeoot"), "Unknown command: timeoot \n");
    EXPECT_EQ(asked, "");
    EXPECT_EQ(zelrun("help!"), "Searching closest string in lists of names (threshold=0.75)...\n");
    answer = 1;
    EXPECT_EQ(zelrun("timeoot"), "Time-out for searches is 0:00:00 (i.e. no time-out!)\n");
    EXPECT_EQ(asked, "Warning:\n\rDid you mean:\n\r      command \"timeout\"\n\r\ninstead of:\n\r              \"timeoot\" ?");
    answer = 0;
    EXPECT_EQ(zelrun("timeoot"), "Unknown command: timeoot \n");
    answer = 2;
    EXPECT_EQ(zelrun("timeoot"), "Can't match command name! \n");
    EXPECT_EQ(zelrun("help<"), "String match must be exact...\n");
    EXPECT_EQ(zelrun("timeoot"), "Unknown command: timeoot \n");
    window.messagebox = was;
}

// Standard input is a terminal on which the text was typed, and then the end of input.
struct typedat {
    int master, was = dup(0);
    explicit typedat(const std::string &text)
    {
        int slave;
        std::string typed = text + "\n\004";
        if (openpty(&master, &slave, nullptr, nullptr, nullptr)) abort();
        dup2(slave, 0);
        close(slave);
        if (write(master, typed.data(), typed.size()) < 0) abort();
    }
    ~typedat() { dup2(was, 0); close(was); close(master); }
};

TEST(Driver, OffersCorrectionsOfWhatIsTypedAtATerminalUntilCancelled)
{
    static int asked, answer;
    auto was = window.messagebox;
    window.messagebox = [](const char *, const char *, int flags) { asked += !!(flags & BOX_CANCEL); return answer; };
    zelrun("timeout 0; help ! 0.5");
    for (answer = 0; answer < 3; ++answer) {
        asked = 0;
        typedat terminal("tameout;");
        zelpivot(nullptr);
        std::string text = zelrun("");
        if (answer == 1) { EXPECT_EQ(text, "Time-out for searches is 0:00:00 (i.e. no time-out!)\n"); }
        else { EXPECT_EQ(text.substr(0, 26), "Unknown command: tameout \n"); }
        if (answer == 2) { EXPECT_EQ(asked, 1); }
        else { EXPECT_GE(asked, 1); }
    }
    zelrun("help < ; help ! 0.75; help <");
    window.messagebox = was;
}

TEST(Driver, CorrectsNoWordOfTheMacroBlock)
{
    auto was = window.messagebox;
    static bool asked;
    window.messagebox = [](const char *, const char *, int flags) { asked |= flags & BOX_CANCEL; return 1; };
    zelrun("help!");
    EXPECT_EQ(zelrun("iternacrecs"), "Unknown command: iternacrecs \n");
    EXPECT_FALSE(asked);
    zelrun("help<");
    window.messagebox = was;
}

TEST(Driver, ServesADialogWhileTheInputBelowWaits)
{
    infolder here;
    writefile("outer", "beep -; mxproc; warn -;\n");
    static bool opened;
    opened = false;
    zelrun("");
    base_input("Menu", "rest;");
    EXPECT_TRUE(safecall([] {
        snprintf(cmdname, sizeof cmdname, "outer");
        newproc();
        is_typed_menu = giveme_curproc_level() + 1;
        zelpivot("timeout 0:0:7");
        is_typed_menu = 0;
        opened = true;
    }));
    EXPECT_TRUE(opened);
    EXPECT_EQ(mytimeout, 7);
    EXPECT_EQ(giveme_curproc_level(), 1);
    EXPECT_STREQ(giveme_curproc_name(), "outer");
    EXPECT_EQ(rdcmd(), 4) << "the file is read from where it stood";
    inpurge();
    zelrun("timeout 0");
}

TEST(Driver, SafecallTellsWhetherTheHandlerFinished)
{
    zelrun("");
    EXPECT_TRUE(safecall([] {}));
    EXPECT_FALSE(safecall([] { errmsg("no", nullptr); }));
    EXPECT_EQ(jumpchain, 0);
    EXPECT_EQ(zelrun(""), "no \n");
}

// --- interrupts ---------------------------------------------------------------------------

static int nextkey;
static int takekey() { int key = nextkey; nextkey = 0; return key; }

struct withkey {
    decltype(window.zel_app_window_getKeyPressed) was = window.zel_app_window_getKeyPressed;
    explicit withkey(int key) { nextkey = key; window.zel_app_window_getKeyPressed = takekey; }
    ~withkey() { window.zel_app_window_getKeyPressed = was; }
};

TEST(Interrupts, EscLeavesACommandAndTheRestOfTheLine)
{
    withkey esc(KEY_ESC);
    EXPECT_EQ(zelrun("pause 60; beep -"), "User interrupt... \n");
    EXPECT_TRUE(zelfailed());
}

TEST(Interrupts, EscIsNotObeyedWhileBreaksAreOff)
{
    zelrun("break-");
    withkey esc(KEY_ESC);
    EXPECT_TRUE(safecall([] { intrupt(1); }));
    zelrun("break=");
}

TEST(Interrupts, EscStopsASearchWithoutUnwindingIt)
{
    withkey esc(KEY_ESC);
    zelrun("");
    doing_a_search = 1;
    EXPECT_TRUE(safecall([] { intrupt(1); }));
    EXPECT_EQ(userstop, 1);
    EXPECT_TRUE(have_some_intrupt());
    userstop = doing_a_search = 0;
}

TEST(Interrupts, TheBreakTextIsAskedBeforeEscIsObeyed)
{
    static std::string asked;
    static int answer;
    auto was = window.messagebox;
    window.messagebox = [](const char *, const char *text, int) { asked = text; return answer; };
    EXPECT_EQ(zelrun("break/ really stop?;"), "");
    EXPECT_EQ(breakwarn, 12);
    zelrun("");
    {
        withkey esc(KEY_ESC);
        answer = 0;
        EXPECT_TRUE(safecall([] { intrupt(1); }));
        EXPECT_EQ(asked, "really stop?");
    }
    {
        withkey esc(KEY_ESC);
        answer = 1;
        EXPECT_FALSE(safecall([] { intrupt(1); }));
    }
    EXPECT_EQ(zelrun(""), "User interrupt... \n");
    EXPECT_EQ(zelrun("break/ " + std::string(254, 'x') + ";"), "Warning message too long (max.= 254 characters) \n");
    zelrun("break/ " + std::string(253, 'x') + ";");
    EXPECT_EQ(breakwarn, 253);
    zelrun("break/; break=");
    EXPECT_EQ(breakwarn, 0);
    window.messagebox = was;
}

TEST(Interrupts, TimeIsOutOnlyInASearchAndOnlyOnce)
{
    zelrun("");
    mytimeout = 5;
    startime = now() - 6;
    EXPECT_FALSE(timeisout());
    doing_a_search = 1;
    EXPECT_TRUE(timeisout());
    EXPECT_EQ(userstop, 3);
    EXPECT_FALSE(timeisout());
    userstop = 0;
    startime = now() - 2;
    EXPECT_FALSE(timeisout());
    doing_a_search = mytimeout = 0;
    EXPECT_EQ(zelrun(""), "Interrupting search (time is out!)\n");
}
