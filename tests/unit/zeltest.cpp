#include "zeltest.h"
#include "diagrams/tagstore.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/output.h"
#include "kernel/textbuf.h"
#include <filesystem>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace fs = std::filesystem;

static bool failed, booted;

std::string zelrun(const std::string &commands)
{
    static textcursor seen;
    std::string text;
    if (!booted) {
        booted = true;
        initialize_winbufsiz(250);
        gtkZel(";");
        warning = 0;
        readnewtext(&seen, &text);
        text.clear();
    }
    int before = failed_commands;
    gtkZel(commands.c_str());
    failed = failed_commands != before;
    readnewtext(&seen, &text);
    return text;
}

bool zelfailed() { return failed; }

// Each test begins without data and as the program starts, whatever those before it left behind.
namespace {
struct fromdefaults : testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo &) override
    {
        if (!booted) return;
        silent = 0;
        store_treemsg = autost = 0;
        zelrun("xwipe; report =; warn -; echo -; lquote -; tables -; tables /5; taxname -; cnames -; tgroup auto;");
        zelrun("nstates num 16; nstates nogaps; piwe -; xpiwe -; collapse 3; subopt 0; rseed 1; timeout 0;");
        zelrun("mult: replic 10 hold 10 tbr; log /;");
    }
};
}
[[maybe_unused]] static const bool listening =
    (testing::UnitTest::GetInstance()->listeners().Append(new fromdefaults), true);

std::string tempdir()
{
    static struct folder {
        fs::path path = fs::temp_directory_path() / ("zeltest" + std::to_string(getpid()));
        folder() { fs::create_directories(path); }
        pid_t owner = getpid();          // a child process that ends leaves the folder alone
        ~folder() { std::error_code e; if (getpid() == owner) fs::remove_all(path, e); }
    } here;
    return here.path.string();
}

std::string writefile(const std::string &name, const std::string &text)
{
    std::string path = tempdir() + "/" + name;
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

std::string readfile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

std::string datafile(const std::string &name)
{
    std::string path = std::string(ZEL_DATA_DIR) + "/" + name;
    return fs::exists(path) ? path : "";
}
