// data/symbols.h: the characters that stand for states.
//
// tmpmask maps an input character to a set of states, according to the type being read and to the
// width of the cells; the display tables map a state back to a character.
#pragma once
#include <cstdint>
#include "data/matrix.h"

extern const char dna_mask[6];       // states 0 to 4
extern const char prot_mask[23];     // states 0 to 21
extern int read_states_as;           // type by which state symbols of costs and changes are read; starts at DATA_NUM

void set_celldim(int states);        // width of the cells for so many states, 1..32, with all that follows from it
void symbols_of(int type);           // tmpmask and anti_mask for a type, whatever data_type is
int  statesymbol(int type, int state);          // how a state of a character of that type is written
const char *typeword(int type);                 // "numeric", "DNA", "proteins", "continuous", "landmark"

// Says what may be behind a symbol that cannot be, before the error does; null: nothing to say.
extern void (*beforecellerror)();
void hintcellerror();

// Symbol checks of the readers: each fails with the place.
void checkalpha(int symbol, int t, int c);      // settles the type of a column, or refuses a symbol of another type
uint32_t is_it_an_ok_state(int symbol, int t, int c);   // states of the symbol; fails for one that is none
