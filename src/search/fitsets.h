// search/fitsets.h: implied weights of characters that are weighted together, in sets.
//
// The fit of a set is a function F of H, the summed homoplasy of its members, so what a step costs depends
// on all the other steps that a move adds.  F bends downward:
//
//   F |           . '        with c = (F(H + A) - F(H)) / A
//     |       .'  /
//     |    .'  /             F(H + a) - F(H) >= c a      for every a from 0 to A,
//     |  .' /
//     | './___________       and when A is all that the bound leaves room for, a move that adds more
//       H       H + A        is refused in any case
//
// So cells are checked with c times the homoplasy of each field, which adds up as steps do and stops early;
// what passes is scored exactly, set by set.  Under a function of the user, which may bend both ways, c is
// its flattest stretch.
#pragma once
#include <cstdint>

extern int fitsets;               // sets are numbered 1..fitsets; 0 = none in force

void fitsetmem();                 // by fitmem
inline int setofcode(uint32_t setcode) { return setcode >> 28 == 3 ? int(setcode & 0xfffffff) : 0; }
void setroom(int set, double h);  // while the image is laid out: a member can add as much, in one step of a field

// Reduced data, of which a first tree was scored: what is not in the image makes the homoplasy of sets as given, for the
// same tree.
void rebase_sets(const double *whole);
const double *sethomoplasy();             // per set, on the tree

// On the tree, or on the two parts of it while there is a clip.
void clearsets();                         // what the members left out of the image have
void changeset(int set, double by);
double setratio(int set);                 // F / H; 0 without homoplasy
long settlesets();                        // after changes: fit of all sets, in FITUNITs
void keepsets();                          // before a clip is taken out
void putbacksets();                       // as they were then; nothing when nothing was taken out
void forgetkept();                        // the clip was joined elsewhere
double keptratio(int set);                // F / H as they were then

// Slopes for a bound in FITUNITs; costs of fields are computed again (resetsetcosts of fits.h) where they must.
void renewslopes(long bound);
double setslope(int set);                 // FITUNITs for each unit of homoplasy, or less

double setsaving(int set, double h);      // fit that h less of homoplasy saves; with more homoplasy it would be less

// What a move adds, set by set.
extern double *movehoms;                  // per set
extern int *movesets, nmovesets;          // those with something
void leavemove(int set);                  // it came back to nothing
inline void beginmove()
{
    while (nmovesets) movehoms[movesets[--nmovesets]] = 0;
}
inline void addtomove(int set, double h)       // no branch that sets taken at random would decide
{
    double was = movehoms[set];
    movesets[nmovesets] = set;
    nmovesets += (was == 0) & (h != 0);
    movehoms[set] = was + h;
    if (was + h == 0 && h != 0) leavemove(set);
}
double moveratio(int set);                // F / H with it
long movecost();                          // of all of it, in FITUNITs
