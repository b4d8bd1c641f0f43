// A background run and its control files, all in the working directory and named by the process:
// stop_zel_PID, pause_zel_PID and execute_zel_PID.
#include "kernel/background.h"
#include "kernel/driver.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace fs = std::filesystem;

constexpr unsigned PAUSESTEP = 3;     // seconds between two looks at the pause file

int execfile_serial = 1;
static std::string arguments;         // the instructions; empty when this is no background run

static std::string controlfile(const char *what) { return std::string(what) + "_zel_" + std::to_string(getpid()); }

static bool present(const char *what)
{
    std::error_code none;
    return fs::exists(controlfile(what), none);
}

const char *background_text() { return arguments.empty() ? nullptr : arguments.c_str(); }

// A shortened word is taken up only to be refused with the full one; a file of that name is a file.
bool asks_background(const char *first)
{
    std::string word(first, strcspn(first, " ;"));
    for (const char *name : { "bground", "slaveproc" })
        if (word.size() >= 2 && !strncmp(name, word.c_str(), word.size())) {
            std::error_code none;
            return word == name || !fs::exists(first, none);
        }
    return false;
}

void start_background(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        if (i > 1) arguments += ' ';
        arguments += argv[i];
    }
    arguments += ";\n";
    zelpivot(nullptr);
    exit(255);                        // only instructions that could not be taken come back
}

// What the user must see would be lost otherwise: nobody looks at the text buffer of such a run.
void tell_background(const char *text)
{
    if (!background_text() || (logfile && logfile != stderr)) return;
    utf8out(text, strlen(text), stderr);
    fflush(stderr);
}

void quit_background()
{
    flushlog();
    fputs("\nQuitting ZEL...\n", logfile ? logfile : stderr);
    exit(1);
}

bool will_not_reset_from_background() { return execfile_serial < 0 || !present("execute"); }

// The file is taken away before it is run, so that another can be left meanwhile.
bool open_execute_file()
{
    if (will_not_reset_from_background()) return false;
    std::string given = controlfile("execute");
    std::string copy = ".zelexec_" + std::to_string(execfile_serial++) + "_zel_" + std::to_string(getpid());
    std::error_code failed;
    if (!fs::copy_file(given, copy, fs::copy_options::overwrite_existing, failed)) return false;
    if (!fs::remove(given, failed)) {
        execfile_serial = -1;
        char note[300];
        snprintf(note, sizeof note,
                 "\n------------  N O T E  -----------------\n"
                 "File \"execute_zel_%i\" cannot be removed!\n"
                 "Will run it and exit (no further resetting\n"
                 "will be allowed after execution of file).\n"
                 "------------------------------------------\n", int(getpid()));
        joinem(note, nullptr);
        tell_background(note);
    }
    snprintf(cmdname, CMDNAMESIZE, "%s", copy.c_str());
    newproc();
    return true;
}

bool stop_file_found()
{
    if (!present("stop")) return false;
    std::error_code failed;
    fs::remove(controlfile("stop"), failed);
    return true;
}

void pause_while_asked()
{
    while (present("pause")) sleep(PAUSESTEP);
}
