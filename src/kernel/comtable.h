// kernel/comtable.h: the command table.  The order of the rows resolves every abbreviation.
#pragma once
#include <cstdint>
#include "kernel/options.h"

enum topic : uint32_t {
    TOPIC_INPUT = 1, TOPIC_OUTPUT = 2, TOPIC_SAVE = 4, TOPIC_MAPPING = 8, TOPIC_SEARCHING = 16,
    TOPIC_DIAGNOSIS = 32, TOPIC_COMPARE = 64, TOPIC_CONSENSUS = 128, TOPIC_SETTINGS = 0x200,
    TOPIC_VARIOUS = 0x400, TOPIC_SCRIPTS = 0x800, TOPIC_MEMORY = 0x1000, TOPIC_SUPPORTS = 0x2000,
    TOPIC_TREES = 0x4000, TOPIC_CHARACTERS = 0x8000, TOPIC_WEIGHTGS = 0x10000
};

// Help of a command: a one-line summary, its option rows (may be null), and a text of lines
// with its forms, defaults, limits and examples.
struct comhelp { const char *summary; const optrow *options; const char *text; };

struct comrow {
    const char *name;          // lower case; null ends the table
    void (*run)();
    uint32_t timed;            // run time reported under "watch"
    uint32_t topics;
    const comhelp *help;       // null while the command is not available
};

extern const comrow comtable[];        // 207 rows and the terminating one
extern const comrow runfile_row;       // "run-file": a word that is the name of a .run file
extern const int    typolimit;         // row of "zzz": words below it are offered as corrections
constexpr int COMROWS = 207;

const comrow *findcommand(const char *word);   // first row of which word is a prefix; null if none
