// data/datamem.h: laying out the matrix layer and filling it from more than one source.
//
// A source of data drops what is in memory, calls beginmatrix, fills cells and names, and calls
// finishmatrix.  Until that returns nothing counts as read: an unread object on the way undoes all.
#pragma once
#include <cstdint>
#include <string>

// Scale of the values of a continuous character.  Stored thousandths s stand for s / factor +
// 1000 offset; factor 1 and offset 0: for s / 1000.  islog: that value is the logarithm of 1 + x.
struct scaleback { double factor, offset, islog, spare; };
extern scaleback *cont_scale_back;       // nc records; null without data
bool isunscaled(const scaleback &s);
double originalvalue(int c, int stored); // in the units of the file

extern int display_in_original_scale;    // continuous values are shown in the units of the file; starts at 0

uint64_t expectedsize(long chars, long taxa, int width);   // bytes, for cells of so many bytes
uint64_t machineram();                   // bytes of the whole machine
void askreplace(const char *newname);    // warns that the data in memory will go, and drops them; nothing without data
void beginmatrix(long chars, long taxa); // sizes, memory (growing the arena when allowed), all cells missing
void laynames(const std::string *names, int n, char ***where);   // arena copies of n names
void finishmatrix(const char *name);     // settings of a new matrix, layers locked, name of the data

// Drops everything when it goes out of scope, unless the data were finished.
struct unread {
    bool done = false;
    ~unread();
};
