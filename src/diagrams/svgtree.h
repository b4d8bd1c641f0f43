// diagrams/svgtree.h: trees as pictures, in SVG.
//
// Columns and lines are those of the diagrams in characters, in pixels, but that an internal node
// stands exactly halfway between its first and last branch.  Every branch is two lines, one along
// the branch and one along the vertical of its ancestor.
#pragma once

struct svgformat {
    int blength, bheight;            // pixels of a step of depth and of a terminal; 0 = as the texts need (start)
    int thickness, pendwidth;        // width of lines; that of terminal branches, 0 = the same
    int tfontsize, bfontsize;        // of taxa and of branches
    int italics, bitalics;
    int colors;                      // tags begin with codes of colours
    int txtsep;                      // between lines of a tag, beyond the size of the font
    int legup, legshift;             // texts of branches go up and to the right
    int shift;                       // names of taxa go to the right
    int extrax, extray;              // more room on the page
    int rotate;                      // the tree grows downwards
};

enum { MARGINLEFT, MARGINTOP, MARGINRIGHT, MARGINBOTTOM, MARGINS };
extern int svgmargin[MARGINS];       // pixels; start at 20

void autosvgtree(const int *tree, int start);    // to autosvg_file; the next trees to files numbered from 1
void save_tags_as_svg();                         // "ttags &": reads the name and the options
