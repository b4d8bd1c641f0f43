// diagrams/tagstore.h: texts of reports kept on the tag tree.  While they are stored, what draws a
// tree writes the texts of its nodes there instead of showing it.
#pragma once
#include "trees/treetags.h"

enum { NO_TAGS, SHOW_TAGS, SHOW_COLOURS };

extern int store_treemsg;            // diagrams are stored as tags; starts at 0
extern int autost;                   // 1 = the next diagram stored sets the target tree
extern int now_showing_tags;         // what donodmsg gives are tags, or their colours; NO_TAGS outside "ttags"
extern int txtrsz;                   // node slots of the tag tree; 0 = none
extern char tagtitle[513];           // shown before the tags; empty = none

bool tagtree();                      // there is a tag tree (whether or not its nodes have texts)
bool havetags();                     // some node of it has a text
void starttags();                    // what is stored now goes; the next diagram sets the target tree
void settarget(const int *tree);     // the tag tree becomes this one, without texts
void addtreemsg(int node, const char *text);   // behind the text that the node has; "Cannot add more text to tree"
void multvaltree(const int *tree);   // the texts at the nodes of tree join the tags of the same clades
bool reducetag(int node);            // takes away the text that was added last
bool eliminate_empty_lines();        // of all tags; false when there were none
