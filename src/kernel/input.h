// kernel/input.h: the stack of inputs and the readers of characters and tokens.
//
// Every command, wherever it comes from, is text read through gtch.  A level is a file, a
// string or (level 0) the line typed, the front end's standard input, or nothing.
#pragma once
#include <cstdint>
#include <cstdio>

constexpr int INBUFSIZE = 4128;      // bytes of a level's buffer; a file fills at most 4096 of it
constexpr int ENDROOM = 8;           // behind a text of full length: what ends a level that was not ended
constexpr int MAXARGS = 32;          // arguments of "run" and "recurse"
constexpr int CMDNAMESIZE = 2048, JUNKSIZE = 10000;

struct inrec {                       // one level of input
    FILE *stream;                    // null for a level that reads from a string
    int   is_terminal;
    int   at_eof;                    // closed at the next read
    int   has_args;                  // opened by run, recurse or goto
    int   nargs;
    char *saved_getnext;             // where reading goes on once the levels above are closed
    const char *args[MAXARGS + 1];   // args[0] the level's name; args[1] doubles as saved top of the argument pool
    char  buffer[INBUFSIZE + ENDROOM];
    char  name[160];
    int   saved_atloop, saved_private, saved_addatvar, saved_highest;   // macro state, only carried here
    char *saved_loseg;
    long  lineno;                    // starts at 1
    int   began;                     // something of the stream was read
};

extern inrec *procnest, *curproc;    // the stack (maxnest + 1 records) and the level being read
extern int   maxnest;                // levels above the base; starts at 10
extern int   Namesize;               // longest command word or identifier; starts at 32
extern char *getnext;                // read position
extern char *argpool;                // top of the argument pool
extern char  cmdname[CMDNAMESIZE];   // word, identifier or file name read last
extern char  junkstr[JUNKSIZE];      // scratch text
extern char  rundir[2048];           // where a word that is no command is looked for as a script; empty at start
extern int   domacros, doing_quotes, ignore_quotes, allow_same_file, reading_literal_file, parsing_args;
extern int   recurse_instance;       // levels that already read the file opened last
extern int   inbground;              // a background run: no front end, ended by the end of its instructions
extern int   is_typed_menu;          // level that serves a dialog opened by a command; 0 = none
extern int   getting_cmd, reading_nexus_file, recall_commands;

// Characters.  All readers go through these two pointers, so that macro substitution stays invisible.
extern int  (*gtch)();               // next character, consumed
extern void (*ungtch)();             // one step back
int  normal_gtch();
void normal_ungtch();
int  peep();                         // next character above 32, not consumed
int  gtnb();                         // the same, consumed
void gott(int c);                    // through the next c, which stays to be read
bool gotc(int c);                    // consumes c if it is the next non-blank
char *giveme_getnext(); void setgetnext(char *p);

// Tokens.
int    rdcmd();                      // letters, lower-cased, into cmdname; returns the length; "Name too long"
int    readid();                     // characters of the identifier alphabet, case kept
int    rdfilename();                 // up to blank or ';'; '^' stands for a blank; 0 when ';' came first
long   gtnu();                       // up to 15 digits; -1 when no digit follows
double gtdouble();                   // -1.0 when no number follows
long   gtnubrack();                  // "[ N ]", else -1; failure Usage: "[ Number ]"
void   onoff(int *flag, const char *label);   // '=' on, '-' off, '/' invert; prints the label when not null
void   chk_strlen(long len, long max, const char *what);
int    brevcomp(const char *a, const char *b); // 0 when a abbreviates b (case ignored)
bool   namtrun(const char *a, const char *b);  // a is a prefix of b, ignoring case, or equal
int    namecomp(const char *a, const char *b); // 0 when equal, ignoring case
extern const unsigned char *const idchars;     // entry = the character when allowed in identifiers, else 0

// The stack.
void newproc();                      // opens the file named in cmdname as a new level and says so
void closeproc();
void inpurge();                      // closes all levels and empties the base
void runscript(const char *name);    // reads the arguments up to ';' and opens the script
void push_text_level(const char *name, const char *text, const char *ending, int limit);   // string level; limit: most bytes of text, plus one
void pop_text_level();               // drops the top level, which is a string, without a word
void base_input(const char *name, const char *text);   // level 0 alone, reading text; null: standard input
bool end_of_input(); bool end_of_file();
void check_eof();                    // "Unexpected end of file (possibly missing "procedure/;")"
int  giveme_curproc_level(); const char *giveme_curproc_name(); char *giveme_curproc_buf();
bool reading_screen(); bool reading_from_screen(); bool izatty();
const char *current_input(); const char *current_input_name();
int  give_narg(); const char *give_runarg(int i); int numargs();
long giveme_fileline();
void tmp_input(const char *text, void *parse_state);   // temporary string level read by hand
void auto_local_parser(const char *text);
void closetmpproc();
void initinput();                    // boot: records, identifier table
void checkinput();                   // asserts the invariants
