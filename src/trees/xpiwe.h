// trees/xpiwe.h: extended implied weighting as a command.
#pragma once

void check_xpiwe_applicability();    // fails unless data were read under implied weighting, and no self-weighting is on
void save_xpiwe_status();            // the definitions as commands; nothing while the extended options are off
