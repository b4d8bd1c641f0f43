// trees/filtertrees.h: dropping trees from memory by score, identity or constraints.
#pragma once

extern bool (*mono_isok)(const int *tree);   // the tree fulfils the constraints; null while none can be defined
extern void (*check_constraints)();          // asserts the invariants of those defined; null likewise
