// console/arguments.h: what the words after the program's name ask for.  Files to read come first,
// then commands: the first word with a comma begins them.
#pragma once
#include <string>
#include <vector>

struct startwork {
    std::vector<std::string> files;      // names, as given
    std::vector<std::string> commands;   // pieces of the command string, each short enough for one line
};

constexpr size_t LONGESTCOMMANDS = 5000; // bytes of the command string
constexpr size_t LONGESTPIECE = 4000;    // bytes of a piece

bool readarguments(const std::vector<std::string> &words, startwork *work);   // false: command string too long
std::string readingcommand(const std::string &file);                          // "p NAME", the name as that command takes it
std::vector<std::string> inpieces(const std::string &commands);               // cut between commands
