// script/internals.h: how rows of the table of expressions read their arguments, and give lists back.
//
// Arguments stand between brackets, divided by blanks or commas.  Each is one operand: a number, a
// name, or a parenthesis.
#pragma once
#include "script/expr.h"
#include <string>
#include <vector>

void   openbrackets();            // "Need opening brackets"
void   closebrackets();           // "Need closing brackets"
bool   another();                 // something stands before the closing bracket
double number();                  // the next argument
int    integer();                 // the same: "Expected integral number"
double braknu();                  // the only argument, with its brackets

// Arguments that must be something; each fails in the words of the house.
int    treearg();
int    nodearg(int tree);         // a node, or a taxon that is in the tree
int    taxarg();
int    chararg();
std::string wordarg();            // up to white space or the bracket; "String too long" past 1023 bytes

// Reads what stands between the brackets.
template<class F> double bracketed(F read)
{
    openbrackets();
    double value;
    {
        exprflags within;
        value = read();
    }
    closebrackets();
    didparents = 0;
    return value;
}

// Arrays.  Under protection their sizes are known; an array is named, not numbered.
struct arrayof {
    int variable;                 // its number
    int base;                     // its first cell, data or leading to rows
    int dims;                     // 0: a single value
    int sizes[5];
};
arrayof readarray();              // "Arrays must be specified with names, not numbers"
bool    names_array();            // what comes next is a name
void    datacells(const arrayof &a, std::vector<int> *cells);    // in order, rows one after the other
std::vector<double> arrayvalues(const arrayof &a);

// The list that an expression makes goes into the array on the left of "set".
void   begin_list(int cell);      // of the designation read last
void   end_list();
double storelist(const std::vector<double> &values);            // returns how many, which is listsize
double storetable(const std::vector<std::vector<double>> &rows); // the array has two dimensions
const arrayof &listtarget();      // fails when there is none

// Values that commands leave for expressions.
extern double last_correl_a, last_correl_b, last_correl_r;
void set_last_correl_vals(double a, double b, double r);
