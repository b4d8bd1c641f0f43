// data/ccode.h: settings of single characters.
#pragma once
#include "data/matrix.h"

void display_charcodes();            // five characters a line, in the symbols of the command
void dosemiad(charrec *c);           // Sankoff, cost 1 between adjacent states and 2 otherwise
