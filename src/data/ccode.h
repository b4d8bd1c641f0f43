// data/ccode.h: settings of single characters.
#pragma once
#include "data/matrix.h"

void display_charcodes();            // five characters a line, in the symbols of the command
void dosemiad(charrec *c);           // Sankoff, cost 1 between adjacent states and 2 otherwise
void set_active_chars(const uint8_t *active);   // 1 or 0 a character; set_charcodes is left to the caller
bool reading_data_file();            // settings made now are those that "ccode !" goes back to
