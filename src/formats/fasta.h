// formats/fasta.h: aligned sequences.
#pragma once
#include <cstdio>

void save_fasta_file(FILE *to, int type, bool leavegapsout);   // in the symbols of that type
