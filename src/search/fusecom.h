// search/fusecom.h: the options of tree fusing, which other searches read too.
#pragma once

bool set_fuse_options();         // words up to ';', which stays; false: there were none
void show_fuse_options();
