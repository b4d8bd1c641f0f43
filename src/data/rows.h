// data/rows.h: the rows of a native matrix, in both layouts.
#pragma once

void readplain(bool startsline);   // name and all cells of each taxon, in any line breaks; startsline: the first
                                   // name starts a line
void readinterleaved();      // blocks of rows up to the semicolon; then lowers nt and nc to what was defined
void needwidth();            // fails when cells have no room for the type of data that is read
