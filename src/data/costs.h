// data/costs.h: step matrices, the costs of changes between the states of Sankoff characters.
//
// costs[a][b] of a character is the cost of going from state a to state b, 0 on the diagonal and 1
// elsewhere until defined.  A text that defines costs is read whole into a table first, where
// NOTGIVEN marks what it leaves alone; only then is anything changed.
#pragma once
#include <cstdint>
#include <string>
#include "data/matrix.h"

constexpr int COSTSTATES = 32;                      // most states of a character
constexpr uint32_t FORBIDDEN = 32700;               // highest cost: a change that no reconstruction makes
constexpr uint32_t NOTGIVEN = ~uint32_t{0};
using costtable = uint32_t[COSTSTATES][COSTSTATES];

// charrec::sankoff_kind, kept by set_charcodes for active Sankoff characters.
enum sankoffkind : uint8_t {
    SANK_ASYMMETRIC = 1,     // some change costs more than its reverse
    SANK_TREE = 2            // a state tree, scored by one binary variable for each of its branches
};

extern int track_asym_indcosts;  // relative fit differences of asymmetric characters exactly; starts at 0
extern int replace_cstrees;      // state trees are scored by binary variables; starts at 0
extern int save_vekcosts;        // costs are saved in VEK form; starts at 0, the native form

void needcosts(const char *what);                   // fails without data, and where Sankoff characters are not allowed
void readcosts(costtable given, int *states);       // "*K x>y z ..." up to ';', left there; states: highest mentioned plus 1
int statenumber(int symbol);                        // the state of a symbol, as costs are read; fails when it is none, or several
void unitcosts(costtable costs);                    // 1 off the diagonal
// Makes the characters LISTED Sankoff with these costs, and forgets minima set for others; derived
// tables go.  Fails for continuous characters.
void givecosts(const uint8_t *list, const costtable given);

using costrow = const uint32_t *(*)(int which, int from);        // the costs from a state, of one of several tables
void showcosttable(costrow row, int which, int states, int type);
std::string writtencosts(costrow row, int which, int states);     // " a>b cost" for all pairs of different states, " ;"
const uint32_t *charcosts(int c, int from);                       // the costs of a character, as a costrow
void save_all_costs(bool activeonly);               // as commands, in the form in force

// Lowers direct costs above those over a third state, among the states of active Sankoff characters
// of more than two; warns of the first.
void chk_3gl_ineq();
void settlecosts();                                 // sankoff_kind of every character, have_asymmetric

// The costs among the states from the lowest to the highest observed are numbers of branches on
// a tree of these states, and each cell holds neighbouring states only.
bool isacstree(int c);
bool isasymmetric(int c, int *from, int *to);       // from, to: the first pair of states that differ in their ways
// Binary variables of a state tree, numbered away from the lowest state: bit v of pattern[s] is set
// when branch v lies between the lowest state and s.  Returns how many; the costs must be those of a tree.
int recode_cstree(int c, uint32_t *pattern);
