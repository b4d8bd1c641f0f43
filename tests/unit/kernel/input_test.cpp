#include "zeltest.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <cstring>

static std::string number(long n) { return std::to_string(n); }

static void boot() { zelrun(""); }

static std::string reading(const std::string &path) { return "Reading from " + path + " \n"; }

// --- characters and levels ----------------------------------------------------------------

TEST(Input, NeverStepsBackBeforeTheStartOfTheBuffer)
{
    boot();
    base_input("t", "ab");
    ungtch();
    EXPECT_EQ(gtch(), 'a');
    ungtch();
    ungtch();
    ungtch();
    EXPECT_EQ(gtch(), 'a');
    EXPECT_EQ(gtch(), 'b');
    inpurge();
}

TEST(Input, GivesBytesAbove127Unchanged)
{
    boot();
    std::string text;
    for (int c = 33; c < 256; ++c) if (c != ',') text += char(c);
    base_input("t", text.c_str());
    for (unsigned char c : text) EXPECT_EQ(gtch(), c);
    inpurge();
}

TEST(Input, CommasAreKeptInQuotes)
{
    boot();
    base_input("t", "a,b,");
    gtch();
    doing_quotes = 1;
    EXPECT_EQ(gtch(), ',');
    doing_quotes = 0;
    EXPECT_EQ(gtch(), 'b');
    EXPECT_EQ(gtch(), ';');
    ungtch();
    EXPECT_EQ(gtch(), ';');
    inpurge();
}

TEST(Input, EndsEachTextWithASemicolonOfItsOwn)
{
    boot();
    base_input("t", "ab");
    gtch();
    gtch();
    EXPECT_FALSE(end_of_input());
    EXPECT_EQ(gtch(), '\n');
    EXPECT_TRUE(end_of_file());
    EXPECT_TRUE(end_of_input());
    EXPECT_EQ(gtch(), ';');
    for (int i = 0; i < 20; ++i) EXPECT_EQ(gtnb(), ';');
    inpurge();
}

TEST(Input, AReaderThatLooksForWhatNeverComesIsStopped)
{
    boot();
    base_input("t", "abc");
    EXPECT_FALSE(safecall([] { for (;;) gtch(); }));
    base_input("t", "abc;");
    EXPECT_FALSE(safecall([] { gott('x'); }));
    EXPECT_EQ(zelrun(""), "Unexpected end of file (possibly missing \"procedure/;\") \n"
                          "Unexpected end of file (possibly missing \"procedure/;\") \n");
}

TEST(Input, CountsLines)
{
    boot();
    base_input("t", "a\n\nb");
    EXPECT_EQ(giveme_fileline(), 1);
    gtch();
    EXPECT_EQ(gtnb(), 'b');
    EXPECT_EQ(giveme_fileline(), 3);
    ungtch();
    ungtch();
    EXPECT_EQ(giveme_fileline(), 2);
    inpurge();
}

TEST(Input, WordsMayStandAcrossTheBlocksOfAFile)
{
    for (int pad = 4070; pad <= 4100; ++pad) {
        std::string path = writefile("blocks", std::string(size_t(pad), ' ') + "timeout;\nbeep-;");
        EXPECT_EQ(zelrun("proc " + path), reading(path) + "Time-out for searches is 0:00:00 (i.e. no time-out!)\nBeep is OFF \n")
            << pad;
    }
}

TEST(Input, ReadsOnPastNulBytes)
{
    std::string path = writefile("nuls", std::string("\0\0beep-;\0warn-;\0", 16));
    EXPECT_EQ(zelrun("proc " + path), reading(path) + "Beep is OFF \nWarning is OFF \n");
}

// --- files --------------------------------------------------------------------------------

TEST(Files, CloseAtTheirEndOrWhenToldTo)
{
    for (const char *end : { "", ";", "\n", "proc/;", "proc/ ;beep=;", "proc-;beep=;", "proc;beep=;", "run;beep=;" }) {
        std::string path = writefile("ends", std::string("beep-\n;") + end);
        EXPECT_EQ(zelrun("proc " + path + "; warn-"), reading(path) + "Beep is OFF \nWarning is OFF \n") << end;
        EXPECT_FALSE(zelfailed()) << end;
    }
}

TEST(Files, OpenFromAnywhereEvenWithoutTheLastSemicolon)
{
    std::string inner = writefile("inner", "beep-"), outer = writefile("outer", "proc " + inner);
    EXPECT_EQ(zelrun("proc " + outer + ", warn-"), reading(outer) + reading(inner) + "Beep is OFF \nWarning is OFF \n");
}

TEST(Files, ABlankInANameIsWrittenAsACaret)
{
    std::string path = writefile("a name", "beep-;");
    std::string typed = path;
    typed[typed.rfind(' ')] = '^';
    EXPECT_EQ(zelrun("proc " + typed), reading(path) + "Beep is OFF \n");
}

TEST(Files, NestUpToTheMaximumAndNoFurther)
{
    boot();
    for (int i = maxnest; i >= 0; --i)
        writefile("nest" + number(i), "proc " + tempdir() + "/nest" + number(i + 1) + ";");
    std::string text = zelrun("proc " + tempdir() + "/nest0"), expected;
    for (int i = 0; i < maxnest; ++i) expected += reading(tempdir() + "/nest" + number(i));
    expected += "You can't nest  " + number(maxnest) + " files \n";
    EXPECT_EQ(text.substr(0, expected.size()), expected);
    EXPECT_TRUE(zelfailed());
    EXPECT_EQ(giveme_curproc_level(), 0);
    writefile("nest" + number(maxnest - 1), "beep-;");
    zelrun("proc " + tempdir() + "/nest0");
    EXPECT_FALSE(zelfailed());
}

TEST(Files, AreRefusedWhenOpenAlready)
{
    std::string path = tempdir() + "/twice";
    writefile("twice", "proc " + path + ";");
    std::string text = zelrun("proc " + path), expected = reading(path) + "File " + path + " already in use \n";
    EXPECT_EQ(text.substr(0, expected.size()), expected);
    EXPECT_TRUE(zelfailed());
}

TEST(Files, MayRecurseWhichIsCounted)
{
    std::string path = tempdir() + "/again";
    writefile("again", "recurse;");
    boot();
    zelrun("macro =");
    std::string text = zelrun("proc " + path), expected = reading(path);
    for (int i = 1; i < maxnest; ++i)
        expected += "Recursing " + path + " (instance " + number(i) + ", with no arguments)\n";
    expected += "You can't nest  " + number(maxnest) + " files \n";
    EXPECT_EQ(text.substr(0, expected.size()), expected);
    writefile("again", "recurse one two;");
    text = zelrun("proc " + path);
    expected = reading(path) + "Recursing " + path + " (instance 1) with arguments: one two\n";
    EXPECT_EQ(text.substr(0, expected.size()), expected);
    zelrun("macro -");
}

TEST(Files, ThatCannotBeOpenedAreRefused)
{
    EXPECT_EQ(zelrun("proc " + tempdir() + "/nosuchfile"), "Can't open " + tempdir() + "/nosuchfile \n");
    EXPECT_EQ(zelrun("proc " + tempdir()), "Can't open " + tempdir() + " \n");
    EXPECT_TRUE(zelfailed());
}

TEST(Files, OfForeignFormatsAreToldFromOthersByTheirStart)
{
    for (const char *start : { "#NEXUS\n", "  #nexus begin x; end;", "#NEXUS", "\xEF\xBB\xBF#Nexus\r\n", "[a [b] c]\n#NEXUS[d] " }) {
        std::string path = writefile("foreign", start);
        std::string text = zelrun("proc " + path + "; beep-");
        EXPECT_NE(text.find("as NEXUS"), std::string::npos) << start;
        EXPECT_NE(text.find("Closing NEXUS file"), std::string::npos) << start;
        EXPECT_FALSE(zelfailed()) << start;
        EXPECT_EQ(giveme_curproc_level(), 0);
    }
    EXPECT_EQ(zelrun("proc &;"), "Must specify name of FASTA file \n");
    EXPECT_EQ(zelrun("proc &=200;"), "Must specify name of FASTA file \n");
    EXPECT_EQ(zelrun("proc & nosuchfile"), "Can't open nosuchfile \n");
    EXPECT_EQ(zelrun("proc [ x"), "Must read data before reading Newick trees \n");
    for (const char *start : { "#NEXUSX;", "[x] beep-;", "# NEXUS ;" }) {
        std::string path = writefile("foreign", start);
        EXPECT_EQ(zelrun("proc " + path).find("as NEXUS"), std::string::npos) << start;
    }
}

TEST(Files, AnErrorClosesThemAll)
{
    std::string inner = writefile("inner", "nosuchword; beep-;"), outer = writefile("outer", "proc " + inner + "; beep-;");
    std::string text = zelrun("proc " + outer + "; beep-");
    EXPECT_EQ(text.find("Beep"), std::string::npos);
    EXPECT_NE(text.find("Unknown command: nosuchword"), std::string::npos);
    EXPECT_EQ(giveme_curproc_level(), 0);
    EXPECT_EQ(argpool, (base_input("t", ""), argpool));
    inpurge();
}

// --- scripts and arguments ----------------------------------------------------------------

TEST(Scripts, SeeTheirArguments)
{
    boot();
    std::string path = writefile("args", "beep-;");
    base_input("t", " one two^words three ; rest");
    EXPECT_TRUE(safecall([] { runscript((tempdir() + "/args").c_str()); }));
    EXPECT_EQ(give_narg(), 3);
    EXPECT_STREQ(give_runarg(0), path.c_str());
    EXPECT_STREQ(give_runarg(1), "one");
    EXPECT_STREQ(give_runarg(2), "two words");
    EXPECT_STREQ(give_runarg(3), "three");
    EXPECT_STREQ(give_runarg(4), "");
    EXPECT_STREQ(give_runarg(-1), "");
    checkinput();
    closeproc();
    EXPECT_EQ(gtnb(), ';') << "the semicolon stays in the input that ran the script";
    inpurge();
    EXPECT_EQ(zelrun(""), "Running " + path + " one two words three\n");
}

TEST(Scripts, ReleaseTheirArgumentsWhenTheyEnd)
{
    std::string inner = writefile("innerargs", ""), outer;
    for (int i = 0; i < 50; ++i) outer += "run " + inner + " " + std::string(500, 'x') + " " + std::string(500, 'y') + ";\n";
    zelrun("run " + writefile("outerargs", outer) + " " + std::string(500, 'z'));
    EXPECT_FALSE(zelfailed());
}

TEST(Scripts, RefuseTooManyOrTooLongArguments)
{
    std::string path = writefile("limits", "beep-;"), args;
    for (int i = 0; i < 32; ++i) args += " a";
    zelrun("run " + path + args);
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(zelrun("run " + path + args + " a"), "Too many arguments for " + path + " (max.: 32) \n");
    std::string longest(512, 'a');
    zelrun("run " + path + " " + longest);
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(zelrun("run " + path + " " + longest + "a"), "Argument too long \n");
    args = " " + longest + " " + longest + " " + longest;
    zelrun("run " + path + args + " " + std::string(508, 'b'));
    EXPECT_FALSE(zelfailed()) << "each takes a byte more: 3 x 513 + 509 = 2048";
    EXPECT_EQ(zelrun("run " + path + args + " " + std::string(509, 'b')), "String of arguments too long \n");
    EXPECT_EQ(zelrun("beep-"), "Beep is OFF \n");
}

// --- the size of the stack ----------------------------------------------------------------

TEST(Stack, GrowsWhileFilesAreOpenAndNeverShrinks)
{
    boot();
    int was = maxnest;
    EXPECT_EQ(zelrun("mxproc 5"), "Max. number of input files is " + number(was) + " \n");
    EXPECT_EQ(zelrun("mxproc"), "Max. number of input files is " + number(was) + " \n");
    std::string inner = writefile("growinner", "mxproc " + number(was + 5) + "; beep-;\nproc/;"),
                outer = writefile("growouter", "run " + inner + " a b; warn-;");
    EXPECT_EQ(zelrun("proc " + outer + "; echo-"),
              reading(outer) + "Running " + inner + " a b\nMax. number of input files is " + number(was + 5) +
              " \nBeep is OFF \nWarning is OFF \nEcho is OFF \n");
    EXPECT_EQ(maxnest, was + 5);
    EXPECT_EQ(zelrun("mxproc 999999999999999"), "Cannot reset number of input files \n");
    checkinput();
}

// --- damaged files ------------------------------------------------------------------------

static void putback()
{
    zelrun("break/; break=; timeout 0; help!0.75; help<; echo]-; watch]-");
    rundir[0] = 0;
}

TEST(DamagedFiles, CutAnywhereLeaveTheStackClosed)
{
    std::string whole = "beep-; timeout 0:0:0; run " + writefile("cutinner", "warn-;") + " a b c;\n"
                        "help[trees save]; mxproc 3; rdir x; break/ a text; watch[!; help ! 0.5; help<; break/;\nproc/;";
    for (size_t n = 0; n <= whole.size(); ++n) {
        zelrun("proc " + writefile("cut", whole.substr(0, n)));
        EXPECT_EQ(giveme_curproc_level(), 0) << n;
        checkinput();
    }
    putback();
}

TEST(DamagedFiles, OfRandomBytesAndWordsLeaveTheStackClosed)
{
    std::mt19937 random(7);
    const char *words[] = { "beep", "mxproc", "timeout", "help", "rdir", "break", "watch", "echo", "run", "procedure", "\"", "[", "]" };
    for (int trial = 0; trial < 300; ++trial) {
        std::string text;
        for (int i = 0; i < 400; ++i) {
            unsigned pick = random() % 20;
            if (pick < 4) text += words[random() % std::size(words)];
            else if (pick < 8) text += "; =-/,"[random() % 6];
            // Letters are left to the list of words: some would leave the program or write files.
            else if (char c = char(random() % 256); !isalpha(static_cast<unsigned char>(c))) text += c;
        }
        zelrun("proc " + writefile("random", text));
        EXPECT_EQ(giveme_curproc_level(), 0) << trial;
        checkinput();
    }
    putback();
}
