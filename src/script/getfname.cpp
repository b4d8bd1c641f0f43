// The name of a file, asked for by a script.
#include "script/dialog.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/window.h"
#include "script/expr.h"
#include "script/macmem.h"
#include "script/stream.h"
#include "script/vars.h"
#include <algorithm>
#include <cstdlib>
#include <string>

std::string (*choose_file_name)(const char *title, bool towrite, const char *extension);

[[noreturn]] static void unidentified(const std::string &option)
{
    myerr("Unidentified option in dialog syntax: %s", option.c_str());
}

// "[*.ext]": with the point; empty when there is none.
static std::string readextension()
{
    constexpr size_t LONGEST = 40;
    if (clean_peep() != '[') return "";
    truly_clean_gtch();
    std::string text;
    for (int c; (c = truly_clean_gtch()) != ']'; text += char(c))
        if (c == ';' || text.size() == LONGEST) unidentified(text);
    if (text.size() < 3 || text.compare(0, 2, "*.")) unidentified(text);
    return text.substr(1);
}

static bool readwriting()
{
    rdcmd();
    if (*cmdname && namtrun(cmdname, "read")) return false;
    if (*cmdname && namtrun(cmdname, "write")) return true;
    unidentified(cmdname);
}

static std::string readtitle()
{
    std::string title;
    for (int c; (c = gtch()) != ';'; ) {
        if (c > 32) title += char(c);
        else if (!title.empty() && title.back() != ' ') title += ' ';
    }
    ungtch();
    return title;
}

static std::string typedname(const std::string &title)
{
    if (!window.readcommand || !window.waitkey) return "";       // nobody is there to be asked
    char *line = window.readcommand((title + ":").c_str());
    std::string name = line ? line : "";
    free(line);
    name.erase(0, name.find_first_not_of(" \t"));
    name.erase(name.find_last_not_of(" \t") + 1);
    return name;
}

static bool hasextension(const std::string &path)
{
    size_t point = path.rfind('.'), slash = path.rfind('/');
    return point != std::string::npos && (slash == std::string::npos || point > slash);
}

void getfilenamecom()
{
    scriptcommand();
    std::string extension = readextension();
    int v = get_varnum(';');
    bool towrite = readwriting();
    std::string title = readtitle();
    if (title.empty()) title = towrite ? "File to write" : "File to read";
    std::string path = choose_file_name ? choose_file_name(title.c_str(), towrite, extension.c_str()) : typedname(title);
    last_exstatus = !path.empty();
    if (path.empty()) return;
    if (!hasextension(path)) path += extension;
    std::replace(path.begin(), path.end(), ' ', '^');            // as commands read it
    store_string(v, path);
}

const comhelp getfnamehelp = {
    "Ask for the name of a file.", nullptr,
    "  getfname X read TITLE ;        the name of a file to be read, as a text into X, a\n"
    "                                 variable with cells enough for it\n"
    "  getfname X write TITLE ;       a file to be written\n"
    "  getfname [*.ext] X read TITLE ;  a name without an extension takes this one\n"
    "The window shows a chooser; on a terminal the name is typed.  Blanks become \"^\", as\n"
    "commands want them.  The expression exstatus is then 1; when no name was given it is\n"
    "0, and X is left as it was.\n"
    "Examples:\n"
    "  macro = ; var: name[40] ; getfname [*.zel] name read Matrix to read ;\n"
    "  macro - ;\n"
};
