// data/groupdefs.h: commands that define groups.  One grammar serves all families; what only some
// have is a table of words and a routine for signs.
#pragma once
#include "data/groups.h"
#include "data/lists.h"

struct groupword {
    const char *word;                                        // null ends the table
    void (*take)(const listpart &p, const char *word);       // reads what follows and marks elements
};
struct groupitems {
    const groupword *words;
    bool (*sign)(const listpart &p, int c);                  // null: no signs but '*'
};

void groupcom(const groupfamily *f, const char *command, const groupitems *items, bool (*active)(int element));
void definegroups(const groupfamily *f, const groupitems *items);   // "=N (name) items >N ..." up to the semicolon
void undefine_groups(const groupfamily *f);                  // "N M.O name" up to the semicolon
void showgroups(const groupfamily *f);
// As a command that reads back; only those elements when which is not null.
void savegroups(const groupfamily *f, const char *command, bool (*which)(int element));
void rd_taxchargroup(const char *kind);                      // all of agroup and xgroup

// "=X", "<X", ">X" or "(X,Y)" after a word.
struct numbertest { char how; double low, high; };
numbertest readtest(const char *word);
bool passes(const numbertest &test, double x);

extern const groupitems taxonitems, characteritems;          // data/groupitems.cpp
extern int (*landmarkdims)(int c);                           // dimensions of a landmark character; null: there are none
