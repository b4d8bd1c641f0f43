// data/charnames.h: names of characters and of their states, in a layer of their own (cnamestag).
//
// charnames, statenames and, once a block is named by hand, blockname lie in that layer.  A character
// with named states has a name; the states named are the first ones, without gaps, and the entries
// behind them, up to maxstate, are null.
//
// Definitions are gathered and take effect all at once.  Names of which nothing was said stay.
#pragma once
#include <string>
#include <vector>

constexpr int MAXCHARNAME = 1024;        // bytes of a name

void begin_charnames();                  // nothing defined yet; what is defined waits at the high end
void define_charname(int c, const std::vector<std::string> &names);   // its name, then those of its states
void rename_charname(int c, const std::vector<std::string> &names);   // the same; states not mentioned stay
void define_blockname(int b, const std::string &name);                // b from 1 to nblocks
void end_charnames();                    // the definitions take effect

int  find_charname(const char *word);    // the character of that name, else the first that begins so; -1
void undefine_charnames();               // of characters and states; blocks keep their names
void auto_define_charname();             // names all characters without a name, and their states
void showcharnames();
void savecharnames();                    // as a command: the names of active characters
void save_all_charnames();               // the same, of all
void checkcharnames();
