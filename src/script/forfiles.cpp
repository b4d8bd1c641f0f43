// Commands for each file of a directory.
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "script/loops.h"
#include "script/macmem.h"
#include "script/repeat.h"
#include <algorithm>
#include <cstring>
#include <dirent.h>
#include <fnmatch.h>
#include <string>
#include <sys/stat.h>

struct directory {
    DIR *stream;
    explicit directory(const char *path) : stream(opendir(path)) {}
    ~directory() { if (stream) closedir(stream); }
    directory(const directory &) = delete;
    directory &operator=(const directory &) = delete;
};

void forfilescom()
{
    scriptcommand();
    if (!rdfilename()) errmsg("No file name given", nullptr);
    std::string pattern = cmdname, path = ".";
    if (size_t slash = pattern.rfind('/'); slash != std::string::npos) {
        path = slash ? pattern.substr(0, slash) : "/";
        pattern.erase(0, slash + 1);
    }
    std::string commands = read_body(stopwords);
    directory entries(path.c_str());
    if (!entries.stream) errmsg("Can't open", path.c_str(), nullptr);
    if (report_status) spewem("Start checking files...", nullptr);
    stepping steps(FILE_STEPS);
    int found = 0;
    bool warned = false;
    while (dirent *entry = readdir(entries.stream)) {
        std::string name = entry->d_name;
        if (name == "." || name == ".." || fnmatch(pattern.c_str(), name.c_str(), 0)) continue;
        if (name.find_first_of("#'\"$") != std::string::npos) {
            if (!warned)
                joinem("File names with # ' \" or $ will be skipped (they're reserved sigils)\n", nullptr);
            warned = true;
            continue;
        }
        struct stat what;
        curfileisdir = !stat((path + "/" + name).c_str(), &what) && S_ISDIR(what.st_mode);
        curfileis = name;
        std::replace(curfileis.begin(), curfileis.end(), ' ', '^');
        ++found;
        if (!steps.run(commands)) break;
    }
    curfileisdir = 0;
    if (report_status) myp("Finished checking files (%i found).", found);
}

const comhelp forfileshelp = {
    "Run commands for each file of a directory.", nullptr,
    "  forfiles NAME COMMANDS stop   the name may hold '*' and '?', and a path before the\n"
    "                                last '/'; in the commands, $curfile is the name of the\n"
    "                                file, without the path\n"
    "Files are taken as the directory lists them; those with one of # ' \" $ in their\n"
    "names are left out.  Among the commands \"killfiles\" ends, and \"continue\" goes to\n"
    "the next file.\n"
    "Examples:\n"
    "  macro = ; forfiles *.zel quote $curfile ; stop macro - ;\n"
};

void killfilescom()
{
    scriptcommand();
    ask_step(FILE_STEPS, END_STEPS);
}

const comhelp killfileshelp = {
    "End \"forfiles\".", nullptr,
    "  killfiles ;\n"
    "Examples:\n"
    "  macro = ; forfiles *.zel quote $curfile ; killfiles ; stop macro - ;\n"
};
