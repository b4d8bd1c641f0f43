// trees/treegroups.h: groups of trees are defined by what the trees are, besides lists.  Where the
// groups are kept: trees/treebuf.h, data/groups.h.
#pragma once

extern bool (*meetsconstraints)(int t);   // tree t has all groups demanded; null: there are no constraints
