// formats/nexus.h: the blocks of a Nexus file.  The file is the current input level; each reader takes
// what follows the name of its block, through the end of the block.
#pragma once
#include "formats/nexlex.h"

void read_nexus_data();
void read_nexus_assumptions(const char *block);
void read_nexus_trees();
void skip_nexus_block();             // remembers the sets of characters that it defines

// The next command of a block: its name, in lower case, in *command.  False at the end of the block,
// and where another begins without it; a block of strangers may have a command "begin".
bool nextcommand(const char *block, std::string *command, bool strangers = false);

// Commands of assumptions that stand alone.  False, with nothing read, for others.
bool assumption(const std::string &command);
void endassumptions();               // what they changed takes effect

void forget_nexus_sets();            // sets of characters live while their file is read
void convert_nexus_names();          // "cnames |": reads the name of a Nexus file, and writes its names as a command

// The character names and states that a command of a data block gives, by character from 0.
struct nexusnames { std::vector<std::vector<std::string>> of; };
void read_nexus_names(const std::string &command, nexusnames *names);
