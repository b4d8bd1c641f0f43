// trees/treetags.h: the tag tree, one tree with a text at each node.
#pragma once

extern char  txtdatin;        // the tag tree exists and its texts hold data; 0 at start
extern int  *txtr;               // the tag tree, as a stored tree
extern char **txtrmsg;           // per node, its text; maxtxtsz bytes; first byte 0 = none
extern int   maxtxtsz;           // bytes a text: 128, more when names of taxa are long
extern int   concat_tags;        // tags read for the tree already tagged are added to what it has; starts at 0
extern int   tag_separator;      // between them; starts at '/'

constexpr char TAGEND = '/';     // written behind a tag: a tag may itself end in what looks like this sign

// The texts of a tree just read become the tag tree's: texts[source[n]] is that of node n.
void settags(const int *anc, const char *const *texts, const int *source);
// The tag tree becomes anc; node n takes the text of old node carried[n] - 1, none for 0.
void movetags(const int *anc, const int *carried);
bool appendtag(int n, const char *text);   // behind the text that node n has; false, and nothing changed, when too long
void cleartags();                // there is no tag tree
void checktags();
