// A background run ends its process, so each one is a child.
#include "zeltest.h"
#include "kernel/background.h"
#include <cstring>
#include <filesystem>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

struct ending { int status; std::string log; };

// Runs the arguments in a folder of its own; before gives the child a chance to leave files for itself.
static ending background(std::vector<std::string> arguments, void (*before)() = nullptr)
{
    std::string folder = tempdir() + "/bg", log = tempdir() + "/bglog";
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    fflush(stdout);
    fflush(stderr);
    pid_t child = fork();
    if (!child) {
        int out = open(log.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
        dup2(out, 2);
        dup2(open("/dev/null", O_RDONLY), 0);
        if (chdir(folder.c_str())) _exit(99);
        on_exit([](int status, void *) { fflush(nullptr); _exit(status); }, nullptr);   // the folder is the parent's to remove
        if (before) before();
        std::vector<char *> argv{ const_cast<char *>("zel") };
        for (std::string &a : arguments) argv.push_back(a.data());
        start_background(int(argv.size()), argv.data());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return { WIFEXITED(status) ? WEXITSTATUS(status) : -1, readfile(log) };
}

static void leave(const std::string &what, const std::string &text)
{
    FILE *f = fopen((what + "_zel_" + std::to_string(getpid())).c_str(), "w");
    fputs(text.c_str(), f);
    fclose(f);
}

TEST(Background, QuitsWithStatusOneWhenTheInstructionsEnd)
{
    ending end = background({ "bground", "system", "touch", "done" });
    EXPECT_EQ(end.status, 1);
    EXPECT_NE(end.log.find("\nQuitting ZEL...\n"), std::string::npos);
    EXPECT_TRUE(std::filesystem::exists(tempdir() + "/bg/done"));
}

TEST(Background, RunsAScriptWithoutASemicolonOfItsOwn)
{
    std::string path = writefile("bgscript", "system touch ran\n");
    EXPECT_EQ(background({ "bground", "run", path, "a" }).status, 1);
    EXPECT_TRUE(std::filesystem::exists(tempdir() + "/bg/ran"));
    EXPECT_EQ(background({ "bground", "proc", path }).status, 1);
    EXPECT_TRUE(std::filesystem::exists(tempdir() + "/bg/ran"));
}

TEST(Background, AnErrorEndsItWithStatus255)
{
    EXPECT_EQ(background({ "bground", "nosuchword;", "system", "touch", "ran" }).status, 255);
    EXPECT_FALSE(std::filesystem::exists(tempdir() + "/bg/ran"));
}

// Nobody sees the text buffer of such a run.
TEST(Background, AnErrorIsToldOnStandardErrorWhenNoLogIsOpen)
{
    EXPECT_EQ(background({ "bground", "proc", "nofile" }).log,
              "Can't open nofile \n"
              "bground proc nofile;  \n" + std::string(strlen("bground proc nofile") - 1, ' ') + "^\n"
              "... SOME ERROR OCCURED, QUITTING...\n");
    std::string path = writefile("bgwrong", "beep -;\nnosuchword;\n");
    EXPECT_EQ(background({ "bground", "proc " + path }).log,
              "Unknown command: nosuchword \n"
              "Error reading " + path + " \n"
              "beep -; nosuchword;  \n" + std::string(strlen("beep -; nosuchword") - 1, ' ') + "^\n"
              "... SOME ERROR OCCURED, QUITTING...\n");
    EXPECT_EQ(background({ "bground", "log", "gone;", "log", "/;", "nosuchword" }).log.substr(0, 29),
              "Unknown command: nosuchword \n") << "the log was closed again";
}

TEST(Background, AnErrorIsToldInTheLogAloneWhenOneIsOpen)
{
    EXPECT_EQ(background({ "bground", "log", "told;", "nosuchword;" }).log, "");
    std::string log = readfile(tempdir() + "/bg/told");
    EXPECT_NE(log.find("Unknown command: nosuchword \n"), std::string::npos) << log;
    EXPECT_NE(log.find("\n... SOME ERROR OCCURED, QUITTING...\n"), std::string::npos) << log;
    EXPECT_EQ(background({ "bground", "log", "told;", "system", "true" }).log, "");
    log = readfile(tempdir() + "/bg/told");
    EXPECT_EQ(log.substr(log.size() - 17), "\nQuitting ZEL...\n");
}

TEST(Background, OtherOutputIsNotOnStandardError)
{
    EXPECT_EQ(background({ "bground", "timeout 0:1; help;" }).log, "\nQuitting ZEL...\n");
}

TEST(Background, ZzzEndsItWithStatusZero) { EXPECT_EQ(background({ "bground", "zzz;" }).status, 0); }

TEST(Background, InstructionsThatDoNotFitAreRefused)
{
    ending end = background({ "bground", std::string(5000, ' ') });        // with what is added: 5010 bytes
    EXPECT_EQ(end.status, 255);
    EXPECT_NE(end.log.find("Sorry, instructions are too long (5010 bytes; max. is 4128) \n"), std::string::npos);
}

TEST(Background, RunsTheExecuteFileAfterItsInstructions)
{
    ending end = background({ "bground", "system", "touch", "first" }, [] { leave("execute", "system touch second\n"); });
    EXPECT_EQ(end.status, 1);
    EXPECT_TRUE(std::filesystem::exists(tempdir() + "/bg/first"));
    EXPECT_TRUE(std::filesystem::exists(tempdir() + "/bg/second"));
    int copies = 0, left = 0;
    for (auto &f : std::filesystem::directory_iterator(tempdir() + "/bg")) {
        copies += f.path().filename().string().starts_with(".zelexec_1_zel_");
        left += f.path().filename().string().starts_with("execute");
    }
    EXPECT_EQ(copies, 1);
    EXPECT_EQ(left, 0);
}

TEST(Background, RunsTheExecuteFileInsteadOfLeaving)
{
    ending end = background({ "bground", "zzz;", "system", "touch", "first" }, [] { leave("execute", "system touch second\nzzz;"); });
    EXPECT_EQ(end.status, 0);
    EXPECT_TRUE(std::filesystem::exists(tempdir() + "/bg/second"));
    EXPECT_FALSE(std::filesystem::exists(tempdir() + "/bg/first"));
}

TEST(Background, AStopFileStopsItAndIsRemoved)
{
    ending end = background({ "bground", "pause 30;", "system", "touch", "ran" }, [] { leave("stop", ""); });
    EXPECT_EQ(end.status, 255);
    EXPECT_EQ(end.log, "User interrupt...\n... SOME ERROR OCCURED, QUITTING...\n");
    EXPECT_FALSE(std::filesystem::exists(tempdir() + "/bg/ran"));
    for (auto &f : std::filesystem::directory_iterator(tempdir() + "/bg"))
        EXPECT_FALSE(f.path().filename().string().starts_with("stop")) << f.path();
}

TEST(Background, IsAskedForByItsWordWholeOrShortenedButNotByAFile)
{
    EXPECT_TRUE(asks_background("bground"));
    EXPECT_TRUE(asks_background("bground quote x; zzz"));
    EXPECT_TRUE(asks_background("bgrou"));
    EXPECT_TRUE(asks_background("slaveproc"));
    EXPECT_FALSE(asks_background("b"));
    EXPECT_FALSE(asks_background("bgroundx"));
    EXPECT_FALSE(asks_background("matrix.zel"));
    std::string file = writefile("bgrou", "quote a file;");
    EXPECT_EQ(chdir(tempdir().c_str()), 0);
    EXPECT_FALSE(asks_background("bgrou"));
}
