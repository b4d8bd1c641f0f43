// kernel/help.h: the help of the commands, all of it made from the rows of comtable.
#pragma once
#include "kernel/comtable.h"
#include <string>
#include <vector>

std::string helptext(const comhelp *help);                   // what stands below the name: lines for a view of 80 columns
std::vector<std::string> helpexamples(const comhelp *help);  // the commands of each example, without the remarks

struct topicrow { const char *word, *shown; uint32_t bit; };
extern const topicrow topics[];      // in the order of the bits, "topics" (bit 0) the last; null word ends the table

void docomhlp(const comrow *row);    // name, summary, options with their limits, text
void macrohelp();                    // of expressions (script): reads a word, '*' or nothing
void topic_help();                   // reads topics up to ']' or ';' and lists their commands
