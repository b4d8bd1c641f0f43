// diagrams/colours.h: colour codes in tags.  A tag is a code, a slash, and the text to display; or
// only one of them.  Codes are a digit, or "(R,G,B:thickness,length)", dashed when R has a minus.
#pragma once

struct treecolour {
    const char *name;
    int red, green, blue;
    int thickness, length;           // of the branch, 0 = as the others
    bool dashed;
};

constexpr int COLOURS = 10;
extern const treecolour treecolours[COLOURS + 1];    // by digit; the last is that of ambiguous codes

treecolour colourof(const char *tag);                // black for an empty tag
const char *where_is_the_slash(const char *tag);     // the text to display behind the code; "" when there is none
