// compare/below.h: what compare calls in the folders below it, by plain declaration.
#pragma once
#include "trees/below.h"

// diagrams
extern int nakedtree;                            // 0 = nodes without text show their number
extern int store_treemsg;                        // diagrams are stored as tags, and show nothing
