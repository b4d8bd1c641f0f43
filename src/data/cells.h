// data/cells.h: reading one cell.  The type is data_type, gaps are as read_gaps_as_missing says.
#pragma once
#include <cstdint>

// Where the symbols of cells come from: the stream while a matrix is read, a text while cells are edited.
extern int  (*cellch)();
extern void (*uncellch)();

// Both take the first symbol of the cell, which is no blank, and leave what follows the cell.
uint32_t rddiscrete(int symbol, int t, int c);
uint32_t rdcontinuous(int symbol, int t, int c);

uint32_t editcontinuous(int symbol, int t, int c);          // the same, within the scale the character has

void startcells();           // before the first cell of a file: one-time warnings are due, no values kept
void nomorewarnings();       // as if the warning about gaps had been given
void copycells(int from, int to, int first, int end);    // a taxon's cells of characters first..end-1 to another
void rescale_large_continuous();                         // characters with values beyond 65 into the range stored

// Settings of the block being read, put back when it goes out of scope.
struct readingas {
    int type, gaps;
    readingas();
    ~readingas();
};
