// search/drift.h: tree drifting: swapping that accepts trees by chance, the worse the less often, then swapping proper
// (Goloboff 1999).  The engine is declared in search/ratchet.h, the factor of chance in search/pertswap.h.
#pragma once

// Settings, of drift:
extern int dftiters;         // cycles, 0..100000; starts at 30
extern int dftshift;         // rearrangements accepted that end a perturbation, 0..1000000; starts at 60
extern int dftgiveupperc;    // per cent of the clips after which a perturbation ends, 0: never; starts at 99
extern double dftmaxabs;     // how much worse a tree accepted may be; starts at 1
extern double dftmaxrel;     // by relative fit difference; starts at 0.2
extern int dftnumflat;       // so many cycles at the start have limits of their own; starts at 0
extern double dftrflat;      // their relative fit difference; starts at 0
extern int dftflatshift;     // and the rearrangements that end them; starts at 60
extern int dfttakequals;     // every other cycle accepts no worse trees; starts at 1
extern int dft_skippert;     // no cycle does; starts at 0
extern int dfthard;          // auto-constrained cycles but every so many; 0: none (start)
extern double dftstop;       // ends at this score or better; starts at 0: does not
extern int dftfusefreq, dftfuserounds, dftfusedump;   // as for the ratchet; start at 0, 3, 1

int set_dft_options();       // words up to ';', which stays; returns how many
void show_dft_options();
