// trees/xpiwe.h: extended implied weighting as a command.
#pragma once
#include <string>
#include <vector>

void check_xpiwe_applicability();    // fails unless data were read under implied weighting, and no self-weighting is on
void save_xpiwe_status();            // prints the definitions as commands; nothing while the extended options are off
std::string xpiwe_status_text(const std::vector<int> &chars);   // the same, in lines, for data of which character i is chars[i]
