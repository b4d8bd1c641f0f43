// kernel/help.h: the help of the commands, all of it made from the rows of comtable.
#pragma once
#include "kernel/comtable.h"

void docomhlp(const comrow *row);    // name, summary, options with their limits, text
void macrohelp();                    // help of the scripting language
void topic_help();                   // reads topics up to ']' or ';' and lists their commands
