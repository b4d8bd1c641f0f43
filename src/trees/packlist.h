// trees/packlist.h: which characters are packed, and in which cells; for the pack itself and what lays rows beside its own.
//
// The list and the tables of weights live at the high end of the arena during a pack.
#pragma once
#include "trees/pack.h"

struct packrec {
    int character;
    int cls, firstcls;    // field class, and what it was before fields were moved to fill cells
    int nfields;          // fields of one copy: 1, or one for each threshold of an additive character or branch of a state tree
    bool severalfields;   // thresholds or branches, be it only one
    int repeat;           // copies, normally 1: a character of weight 2 may be two fields of weight 1
    int weight;           // of each field
    int divisor;          // cost of a step of a matrix that behaves as unordered states; 0 = none
};
extern double constantfit;    // implied weights: fit of the characters that are not in the list
extern packrec *packlist, *packlist_end;   // null outside a pack

// The distinct weights of one of classes 0..2, in the order of the list, and the fields of each.
struct wtclass {
    int *weights, *weights_end, *counts;
};
extern wtclass ar_wtclass[CELLCLASSES];

// Field counts of classes 0..2 while packing, then cumulative cell bounds; cells of these classes.
extern int *const arpacnc[FIELDCLASSES];
extern int *const arpaccells[CELLCLASSES];

void makepacklist();                    // decides each character's class; adds constant ones to step_lag
// Shares cells out by weight where it pays, or fills up half-empty cells; sets uniform_weights,
// store_individual_weights and the cells counters.  True if each cell has one weight class.
bool setweights();
int  process_weight_class(int cls);     // fills the holes of half-empty cells; returns the cells needed
void check_weight_classes();            // distinct weights and their counts, from the list
void countcells();                      // cells of a state set from the counters
int  islikefitch(int c);                // the common cost when a step matrix behaves as unordered states, else 0
void laysankoff();                      // step matrices and continuous characters (slowpack.cpp), after the records
void packit(bool bywt);                 // lays out cells and fills the terminals

// Steps of it, for reduced data.
void setbounds();                       // cells and records of each class, from the counters
void layrows(int slack);                // rows of all nodes, tables by cell and records, with so many per cent more cells
using fieldwriter = void (*)(const packrec &p, int cell, int bit, int rec);
void placefields(bool bywt, fieldwriter write);   // the place of each record of the list: of its first field
fieldrec &enterfield(const packrec &p, int cell, int bit, int rec);   // tables by cell, and the weight of the record
int  rowlength(int cells);
uint32_t *alignedrows(size_t cells);    // room at the low end of the arena that begins with a line of the cache
int  wholelanes(int n);
void endofpacking();                    // branch sets of terminals, cumulative bounds
