// search/userfuse.h: one exchange of clades, chosen by the user, on trees in the user's numbers.
#pragma once

void do_user_fuse();     // reads: source tree, node of the clade, target tree
