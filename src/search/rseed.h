// search/rseed.h: the command that sets the seed.
#pragma once

int get_slopy_seeds();      // what each replication adds to its seed; 0 = seeds are drawn and checked
