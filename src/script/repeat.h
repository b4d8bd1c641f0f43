// script/repeat.h: commands that run a text of commands at each step of something: rearrangements of
// a tree, all trees, files, nodes, combinations.  The text is run in a level of its own.
#pragma once
#include <string>

extern int macroswaploop;             // atloop where sprit, tbrit, bandb or forfiles runs; -2: none does
extern int max_curse_recs_level;      // nesting of travtree and combine; starts at 5
extern std::string curfileis;         // name of the entry that forfiles is at
extern int curfileisdir;              // it is a directory

// Steps of sprit, tbrit, bandb and forfiles.
enum stepkind { NO_STEPS, TREE_STEPS, ALLTREE_STEPS, FILE_STEPS };
struct stepping {                     // while one stands, the steps of that kind run
    explicit stepping(stepkind kind);
    ~stepping();
    stepping(const stepping &) = delete;
    stepping &operator=(const stepping &) = delete;
    stepkind was;
    int wasloop;
    bool wastrees;
    bool run(const std::string &commands);    // one step; false when no more are wanted
};
enum stepwish { GO_ON, END_STEPS, RESTART_STEPS, CUT_STEPS };
extern stepwish step_wish;            // what a command of the step asked for
void ask_step(stepkind kind, stepwish wish);   // that command: outside steps of the kind it is an error
bool skip_to_next_step();             // "continue": the rest of the step is not run; false outside steps

struct nestedrun {                    // a level of travtree or combine; refuses when there are too many
    nestedrun();
    ~nestedrun();
    nestedrun(const nestedrun &) = delete;
    nestedrun &operator=(const nestedrun &) = delete;
    int was;
};
int nested_runs();
bool steps_are_running();             // of any of these commands
void set_nesting(const char *what);   // reads "=N": "Maximum level of recursion for WHAT must be >= 1 "
void reset_repeats();                 // after an error
