// kernel/putback.h: what a failure puts back before it unwinds.
#pragma once
#include "kernel/errors.h"

// Runs the rows in order.  Called from within a row, because that row failed, it goes on with the rows behind
// that one instead: none is run for ever, and none is left out because of another.
void put_back(const resetrow *rows);
bool putting_back();                 // a row is being run
