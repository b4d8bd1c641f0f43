// script/loops.h: loops.  The body of a loop is copied once, with blanks squeezed, into macro memory,
// and read from there as often as needed:
//
//     name \0 body ... ; \0
//             ^        ^endis
//             loopstart
#pragma once
#include <string>

extern int    atloop;             // the innermost running loop, -1 when none is
extern int    addatloop;          // the innermost one when the file being read was opened; its loops count from 1 above it
extern char **loopname;           // "" when it has none
extern char **loopstart, **endis; // of the body; endis: its ending ';'
extern char **loop_resume;        // where reading goes on behind "stop"
extern int   *loop_target, *loop_increase, *loop_value;
extern long   loop_turns;         // ends of bodies met so far: who reads a text may not cross one

void lay_loops();
bool loop_is_running();
int  loop_at_entry();             // the innermost one when the level being read was opened, -1 none
void drop_loops_above(int loop);  // they end where they are, and their memory is given back
void drop_all_loops();
void end_of_body();               // reading stands behind the ';' of the innermost loop: next turn or end
int  loop_of_name(const char *name);   // -1: none
int  loop_of_number(long n);           // loop N of the file being read; -1: not running
void jump_to_endis();
void look_for_break();            // polls the user, a few times a second at most
void checkloops();

// The bodies of all commands that repeat something are read alike, as they are written.
struct bodywords {
    const char *end;              // the word that ends it, whatever stands before it
    const char *begins[6];        // words that begin another one inside
};
extern const bodywords stopwords;                    // loop, sprit, tbrit, forfiles and bandb end in "stop"
std::string read_body(const bodywords &words, size_t reserve = 0);   // without its end word; it must fit in macro memory with that many bytes more
