// script/macmem.h: the macro language as a whole: on and off, its settings, and its memory.
//
// One block from the system holds the tables of loops and variables and, above macrostart_loseg, the
// names of variables and the text of running loops.  It is a bump allocator: memory returns only by
// setting macro_lotop back to a mark.
#pragma once
#include "kernel/below.h"
#include <cstddef>
#include <cstdint>

// Settings.  The numbers of cells, loops and files, the size, and nofloats change only while the language is off.
extern int  Maxvars;              // cells of the table of variables; starts at 1000
extern int  Maxloop;              // nesting limit of loops, one more than there can be; starts at 15
extern int  maxhifiles;           // files that "hifile" can have open; starts at 5
extern int  macroram_size;        // bytes of the block; starts at 102400
extern int  macprotmod;           // 0 no dimensions kept, 1 they are, 2 nor can arrays be overwritten; starts at 2
extern int  nofloats;             // 1: variables hold integers; starts at 0
extern int  macroreport;          // comparisons and skipped comments are echoed; starts at 0
extern int  read_taxcharnames;    // names of taxa and characters are numbers in expressions; starts at 0
extern int  disallow_double_slash;     // "//" begins no comment; starts at 0
extern char float_format[15];     // how values that are not integral are written; starts at "%f"
extern int  macfloat_precision;   // decimals of local formats that give none; starts at 6

// The block.  All null while the language is off.
extern char *macro_lobase, *macro_lotop, *macro_hitop;
extern char *macrostart_loseg;    // above the tables; the same as ramnovarnames
extern char *ramnovarnames;

char *macloram(size_t n);         // 8-byte aligned; "Not enough RAM allocated for macros"
char *macloray(size_t rows, size_t cols, size_t size);   // pointer table and cells in one piece
void  macloset(char *mark);       // "Heap deallocation error in memory for Macros"
char *maclomark();
size_t macvailram();
void  macfreelo();                // back to macrostart_loseg, or above the names that there are
void  chkram(const char *p);      // p can still be written: "Not enough RAM available to continue macros... "

bool macros_are_on();             // also while a foreign file is read, when domacros is 0
void turn_macros_on();            // for commands that need the language; silent; nothing when it is on
void startmacros();               // lays the block out; says so
void endmacros();

void fullnamed();                 // the command's name was not cut; the first half of scriptcommand

extern int seed;                  // of the random numbers of the language; starts at 1
int  macrand();                   // 0..32767
long macrandinterval(long n);     // 0..n-1
void checkmacros();               // asserts the invariants
