// search/xmultset.h: the options of xmult, read and shown.
#pragma once

void set_xmult_options();      // words, and behind '/' the taxa left out of the consensus, up to ';', which stays
void show_xmult_options();
