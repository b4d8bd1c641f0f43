// data/rows.h: the rows of a native matrix, in both layouts.
#pragma once

void readplain();            // name and all cells of each taxon, in any line breaks
void readinterleaved();      // blocks of rows up to the semicolon; then lowers nt and nc to what was defined
