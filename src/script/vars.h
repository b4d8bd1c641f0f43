// script/vars.h: the user variables.
//
// A variable is a cell of one table; its name, if it has one, stands for the number of the cell.
// Numbers written in a script count from addatvar, so that each file has its own from 0; names are
// absolute.  An array takes the cells from its number up.  With several dimensions it is a tree:
// the first d0 cells hold the numbers of the cells at which their rows start, and so on, and the
// last level holds the data:
//
//     a[2,3] at 10:   10: 12   11: 15   12..14: a[0,0..2]   15..17: a[1,0..2]
#pragma once
#include "script/macmem.h"
#include <string>

constexpr int MAXDIMS = 5;

extern double  *usvar;            // one of these holds the values, the other is null
extern int32_t *iusvar;
extern char   **usvarname;        // null: no name
extern int     *defdvarnames;     // cells with names, in increasing order
extern int      num_defdvarnames;
extern int      highest_varname;  // the cell that "+" names next
extern int      addatvar;         // number of variable 0 of the file being read
extern uint8_t *varnumdims;       // under protection: dimensions of the array at a cell, 0 for a single value
extern int    **vardimis;         // and their sizes, MAXDIMS a variable

// Of the designation read last.
extern int designated;                    // its cell, before the subscripts
extern int dimis[MAXDIMS], numdims;       // the subscripts used, or the sizes of a new array
extern int dim_range_start, dim_range_is; // ends of the range; dim_range_is < 0: there was none
extern int separator_is;                  // written between values of a range; starts at a blank

inline double value_of(int v)            { return nofloats ? iusvar[v] : usvar[v]; }
int32_t toint32(double x);                // truncated; what does not fit becomes the nearest that does
int64_t tobits(double x);                 // the same for operations on bits: sets have up to 32, so that 2147483648... fit too
void set_value(int v, double x);

int  get_varnum(int quote);       // reads a designation; quote: the mark that encloses it, ';' none; -1: keyword of '$'
int  check_dims(int var, int quote);
void set_dimensions(int var);     // the cells of an array of dimis[0..numdims-1] that lead to its rows, and its record
long cells_needed();              // of an array of dimis[0..numdims-1]
int  give_one_cell_in_array(int var, const int *subscripts, int n);
void safevarnum(long v);          // "No variable" N "(only" M "variables in use)"
int  remaining_dims();            // under protection: those of the designation read last that it gave no subscripts for
void chk_ifvalid_varname(const char *name);
int  find_varname(const char *name);   // the cell, the one named last when several carry it; -1

int  current_highest();           // the cells below it belong to files that are open
void set_highest(int v);
void close_file_varnames(char *mark);  // the file that began with that mark ends
extern int retain_current_variables;   // it leaves its variables, for once

void lay_dimensions(); void lay_variables(); void forget_tables();
void forget_names_from(int v);    // names of cells from v up
char *names_end();                // end of the highest name, null without names
void checkvariables();

std::string value_text(double x); // as '...' writes it
std::string string_at(int v);     // the text kept from cell v up
void store_string(int v, const std::string &text);   // "String too long (it exceeds variable" N ")"
