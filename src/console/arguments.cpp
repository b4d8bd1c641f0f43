// The words of the command line.  A word with a comma ends the files: what stands before the comma
// is the last of them if it is the name of a file, and else the first command.
#include "console/arguments.h"
#include <algorithm>
#include <sys/stat.h>

static bool isfile(const std::string &name)
{
    struct stat what;
    return !name.empty() && !stat(name.c_str(), &what) && S_ISREG(what.st_mode);
}

// In a file name '^' stands for a blank, and some first characters have a meaning of their own.
std::string readingcommand(const std::string &file)
{
    std::string name = std::string("[&-").find(file[0]) == std::string::npos ? file : "./" + file;
    std::replace(name.begin(), name.end(), ' ', '^');
    return "p " + name;
}

// A semicolon always stands between commands, a comma only outside quoted text; so a comma is cut
// at only where no semicolon stands.
std::vector<std::string> inpieces(const std::string &commands)
{
    std::vector<std::string> pieces;
    std::string rest = commands;
    while (rest.size() > LONGESTPIECE) {
        size_t cut = rest.rfind(';', LONGESTPIECE - 1);
        if (cut == std::string::npos) cut = rest.rfind(',', LONGESTPIECE - 1);
        if (cut == std::string::npos) break;
        pieces.push_back(rest.substr(0, cut));
        rest.erase(0, cut + 1);
    }
    if (rest.find_first_not_of(" \t\n") != std::string::npos) pieces.push_back(rest);
    return pieces;
}

bool readarguments(const std::vector<std::string> &words, startwork *work)
{
    auto hascomma = [](const std::string &word) { return word.find(',') != std::string::npos; };
    auto first = std::find_if(words.begin(), words.end(), hascomma);
    for (auto word = words.begin(); word != first; ++word)
        if (!word->empty()) work->files.push_back(*word);
    if (first == words.end()) return true;

    std::string commands = *first;
    size_t comma = commands.find(',');
    if (isfile(commands.substr(0, comma))) {
        work->files.push_back(commands.substr(0, comma));
        commands.erase(0, comma + 1);
    }
    for (auto word = first + 1; word != words.end(); ++word) commands += " " + *word;
    if (commands.size() > LONGESTCOMMANDS) return false;
    work->commands = inpieces(commands);
    return true;
}
