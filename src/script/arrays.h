// script/arrays.h: what "set" does to whole arrays.
#pragma once

// The sign that follows "set" is that of an operation on arrays: does it.
bool whole_array_operation(int c);
void do_mds();                    // mds.cpp: after "set :"

extern int listsize_made;         // an expression on the right of "set" filled the array on the left
