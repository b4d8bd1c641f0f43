// compare/consread.h: what the consensus commands have in common: "N / L", trees and taxa to leave out,
// and what is said, drawn and stored.
#pragma once
#include <cstdint>
#include <string>

struct consinput {
    uint8_t *list, *excluded;     // of trees; of taxa
    int ntrees;                   // trees in the list
};
enum storing { DRAWN = 1, STORED = 2 };

// Before memory is taken: there are trees, room for one more when it is to be stored, and the optimization
// for temporary collapsing.
void beginconsensus(bool store);
consinput readconsensus();        // "No trees specified"
void notecollapsing();            // tells the rule, if trees will be collapsed (nothing inside other commands), or refuses it
std::string sometrees(int ntrees);                // what a title says when these are not all
void drawconsensus(const int *tree, const std::string &title);
void storeconsensus(const int *tree, const std::string &title, const char *group);
void labelnode(int node, const char *text);       // for the next diagram

// Temporary collapsing, which trees compared as they stand do not admit, is turned off with a warning.
void no_temp_colla_warn(const char *purpose);

void preparecollapsing();                         // the optimization, if trees will be collapsed; before memory is taken
void refusecollapsing(const char *command, bool willcollapse);   // the rule that cannot serve; command names it in the error

void chktreespace();      // room for one more tree: maxtrees grows when it must; before anything is taken from the arena
