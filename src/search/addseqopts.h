// search/addseqopts.h: how the next taxon to add is chosen, as options of search commands (see wagner.h for what they set).
#pragma once

void ras();      // at random
void cas();      // each reads how many taxa are tried, all when no number follows
void fas();
void sas();
void ias();
const char *sequencetext();      // what is in force, in words; good until the next call
