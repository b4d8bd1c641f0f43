// formats/names.h: names of taxa, between foreign files and ours.
//
// Foreign names may be quoted and hold any character; blanks and underscores are one and the same
// in them.  Here they are words: signs that lists and matrices give a meaning to become underscores.
#pragma once
#include <string>
#include <unordered_map>
#include <vector>

// Names as they are kept, with one warning a file for each of the two things that can happen to one.
struct namekeeper {
    const char *toolong;                 // the warning, with the number of letters in place of %i
    int  lettersquoted;                  // that number
    bool cut = false, changed = false;   // warned
    std::string keep(const std::string &foreign);
};
std::string keptname(const std::string &foreign);   // the same, without a word

// Which taxon a label of a tree stands for.
struct taxonfinder {
    std::unordered_map<std::string, int> exact, anycase;   // by kept name; the first taxon of that name
    std::unordered_map<std::string, int> letters;          // by the letters and digits alone; -1 those of several taxa
    std::unordered_map<std::string, int> translated;       // labels of a translation table
    taxonfinder();
    int byname(const std::string &label) const;            // -1 none
};

std::string foreignname(int t);          // quoted where it must be
std::string foreignlabel(const std::string &text);
