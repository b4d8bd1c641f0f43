// search/sectors.h: pieces of a tree analyzed by themselves and put back.
#pragma once

// Each takes a tree (packed numbers, binary), changes it in place and returns its score.
double random_ss(int *tree);
double const_ss(int *tree);
double serial_xss(int *tree);
double run_diameter_ss(int *tree);

extern int diameter_chunk;     // terminals of the sector that run_diameter_ss analyzed last
