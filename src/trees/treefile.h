// trees/treefile.h: the open tree file and the two tree formats.
#pragma once
#include <cstdint>
#include <cstdio>
#include <string>

extern FILE *treefile;           // null = none open
extern int   tsavemode;          // 1 parenthetical, 0 compact
const char *give_treefile_name();   // as given by the user; "" when none is open

// Reading.
bool leatre(int *anc);           // reads one parenthetical tree from the stream up to '*' or ';'; false when there is none
bool leatre_tagged(int *anc);    // the same; its tags go to the tag tree
void fix_unbalpars(int depth, int lastaxon, bool tagged);   // what happens when parentheses are left open

// A tree as it was written, of nodes nt..next-1 each after its ancestor, becomes one as it is kept: nodes of
// a single descendant vanish, absent taxa go where they belong.  source[n]: the node that n was, or -1.
void settle_tree(int *written, int next, int *anc, int *source);

// A group of trees as "tread" and "shortread" take it: "=N" empties group N, ">N" adds to it.
struct treesink {
    int group = -1;              // -1 none yet
    int first = 0, read = 0;     // place of the first tree, trees read
    bool grew = false;           // the buffer did
    std::string name;            // of the automatic group
};
void readsink(treesink *sink);                  // =N or >N, if any
bool sinkroom(treesink *sink);                  // makes room for the next one; false: there is none.  All scratch goes:
                                                // it stands between trees, when nothing is held
void sinktree(treesink *sink, const int *anc);  // stores; the first one opens the automatic group
void sinkprogress(const treesink *sink);        // how far the input being read has got
void endsink(const treesink *sink);             // all are read: ends the progress, says the new room, if it changed
std::string filepart(const char *path);         // a file's name without its path

// Writing.
void convertree(const int *anc, std::string *codes);       // compact form of a complete tree: size and codes, little-endian
void convertheader(std::string *header);                   // what a compact file for nt taxa starts with
void savetree(const int *anc, int node, std::string *out); // parenthetical text of a subtree
void savetags(std::string *out);                           // parenthetical text of the tag tree, with its tags
std::string gimename(int t);     // a terminal as trees are written: number, or name with usetaxnames
const char *gimetax(int t);      // the same, valid until the next call

// The compact form read back: words are the codes of one tree.  False when they are no tree.
bool revertree(const uint8_t *codes, size_t bytes, int *anc);
constexpr int BIGTAXA = 16384;   // compact files for so many taxa use 32-bit words
