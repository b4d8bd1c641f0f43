// script/stream.h: the stream of characters with the macro language on.
//
// The read position stays the kernel's getnext.  It may stand in the buffer of the current level,
// in the body of a running loop, or in str_space, which holds the text of an expansion; at the end
// of that, reading resumes at subst_resume.
#pragma once
#include <string>

extern int ignore_dollars;            // '$' is plain text; starts at 0
extern int disallowing;               // text is skipped; starts at 0
extern int scanning_loopname, reading_sectsch_insts, reading_parallel_insts, reading_tbr_insts;   // start at 0
constexpr int MAXCONVERSION = 8500;   // bytes of an expansion

int  macro_gtch();
void macro_ungtch();
int  next_in_stream();                // the next byte, not consumed, with no substitution
int  truly_clean_gtch();              // the same, consumed
int  clean_peep();                    // the next byte above 32, not consumed; the blanks before it are
void expand(const std::string &text); // the text is read next, then what stood there
void read_again(const std::string &text);   // the same, for what was just consumed
bool in_expansion(const char *at);
char *leave_expansion(std::string *rest);   // ends it: where reading goes on behind it, and what was left of it
void drop_expansion();                // its rest will not be read
void start_stream(); void end_stream();

// Values and strings are plain text for as long as one of these stands.
struct asitstands {
    int quotes, dollars;
    asitstands(); ~asitstands();
    asitstands(const asitstands &) = delete;
    asitstands &operator=(const asitstands &) = delete;
};

// dollars.cpp
void expand_dollar();                 // '$' was consumed and a name or parenthesis follows
extern int pad_conversions;           // every string ends in a blank; starts at 0
std::string in_string(const std::string &text);   // values and arguments within a string
std::string file_argument(long n);
