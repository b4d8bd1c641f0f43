// search/bbreak.h: branch swapping on the trees in memory.
#pragma once

extern int skip_spr_phase;       // "mult" swaps its Wagner trees without an SPR pass first; starts at 0
extern int use_late_plandsch_errmarg;   // swaps of landmarks go through the stages of their margin of error; starts at 0

struct bbreaksettings {
    int usetbr;                  // TBR, else SPR; starts at 1
    int mulpars;                 // keep many trees; starts at 1
    int fillonly;                // stop when the buffer fills; starts at 0
};
extern bbreaksettings bbreaks;

struct bbreakresult {
    double best;
    int unswapped;               // first tree not swapped because the buffer filled; -1 = all were
};
bbreakresult runbbreak(double startscore);    // swaps every tree in memory; a search must be set up
void show_bbreak_options();
