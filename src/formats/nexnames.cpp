// Names of characters and states in a Nexus file, as our own command for them.
#include "formats/nexus.h"
#include "kernel/output.h"
#include <algorithm>

// A name is a word here, and braces belong to the command.
static std::string wordof(const std::string &text)
{
    std::string word = text;
    for (char &c : word)
        if (static_cast<unsigned char>(c) <= ' ' || c == ';' || c == '{' || c == '}' || c == '^') c = '_';
    return word.empty() ? "_" : word;
}

static std::vector<std::string> &entry(nexusnames *names, long c)
{
    constexpr long MOST = 10000000;
    if (c < 1 || c > MOST) nexuserror("no character %li", c);
    if (names->of.size() < size_t(c)) names->of.resize(size_t(c));
    return names->of[size_t(c) - 1];
}

// Names one after another; a number before a name, where there is one, says of which character.
static void charlabels(const tokens &all, nexusnames *names)
{
    long c = 0, n;
    for (size_t i = 0; i < all.size(); ++i) {
        if (!all[i].isname()) continue;
        bool numbered = all[i].kind == TK_WORD && wholenumber(all[i].text, &n) && i + 1 < all.size() && all[i + 1].isname();
        c = numbered ? n : c + 1;
        std::vector<std::string> &of = entry(names, c);
        of.resize(std::max<size_t>(of.size(), 1));
        of[0] = wordof(all[numbered ? ++i : i].text);
    }
}

// N name / state state ..., N ...   Without the names where they have a command of their own.
static void statelabels(const tokens &all, bool withname, nexusnames *names)
{
    for (size_t i = 0; i < all.size(); ++i) {
        long c;
        if (!wholenumber(all[i].text, &c)) nexuserror("expected number of character; found '%s'", all[i].text.c_str());
        std::vector<std::string> &of = entry(names, c), name(of.begin(), of.begin() + long(!of.empty())), states;
        bool behind = !withname;
        for (++i; i < all.size() && !all[i].is(','); ++i) {
            if (all[i].is('/')) behind = true;
            else if (all[i].isname()) (behind ? states : name).push_back(wordof(all[i].text));
        }
        if (name.empty()) name.push_back("char_" + std::to_string(c - 1));
        of.assign(1, withname ? name.back() : name[0]);
        of.insert(of.end(), states.begin(), states.end());
    }
}

void read_nexus_names(const std::string &command, nexusnames *names)
{
    if (command == "charlabels") charlabels(restofcommand(), names);
    else if (command == "statelabels") statelabels(restofcommand(), false, names);
    else if (command == "charstatelabels") statelabels(restofcommand(), true, names);
    else skipcommand();
}
