// trees/treesort.h: trees in memory compared with each other, and put in order.
#pragma once

// How many constraints a tree violates; null until there are constraints to define.  Used while
// consttag stands.
extern int (*count_violations)(const int *tree);
