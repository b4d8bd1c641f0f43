// diagrams/tplot.cpp: the commands tplot and naked.
#include <cstring>
#include <string>
#include "data/lists.h"
#include "data/matrix.h"
#include "diagrams/textree.h"
#include "kernel/arena.h"
#include "kernel/commands.h"
#include "kernel/comhelps.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "trees/treebuf.h"
#include "trees/treefile.h"
#include "trees/treemodel.h"

const comhelp tplothelp = { "Show trees as diagrams.", nullptr,
    "tplot N;    show trees N (all trees when no list is given)\n"
    "tplot *N;   show trees N in parenthetical notation\n"
    "tplot /;    show the last tree in memory\n"
    "tplot +;    draw symmetrically: the terminals are aligned (\"tplot -;\" back to the default)\n"
    "tplot ++;   second heaviest clade of a polytomy first (also \"-+\"; \"+-\" or \"--\" turn it off)\n"
    "tplot :X;   start the diagrams at the node labelled, or numbered, X (\"tplot :;\" from the root)\n"
    "\n"
    "Small clades come first.  Terminals show their names after \"taxname=;\", their numbers otherwise;\n"
    "internal nodes show their numbers after \"naked-;\".\n"
    "\n"
    "Examples:  tplot 0 2.4;   tplot */;   tplot :12;" };

const comhelp nakedhelp = { "Show or hide the node numbers of tree diagrams.", nullptr,
    "naked=;   no node numbers (default)\n"
    "naked-;   number the internal nodes\n"
    "naked/;   the opposite of now\n"
    "naked;    report" };

void nakedcom()
{
    onoff(&nakedtree, "Naked");
}

static void drawtreelist(const uint8_t *list)
{
    for (int t = 0; t < trees_in_mem; ++t) {
        if (list[t] != LISTED) continue;
        snprintf(treetitle, sizeof treetitle, "Tree %i:", t);
        drawtree(mem_tree[t], get_initial_zoom(mem_tree[t]));
        newln();
    }
}

static void drawlasttree()
{
    notreeerror();
    int t = trees_in_mem - 1;
    snprintf(treetitle, sizeof treetitle, "Tree %i (last tree in memory):", t);
    drawtree(mem_tree[t], get_initial_zoom(mem_tree[t]));
    newln();
}

// The text reads back as a command.
static void parenthetical()
{
    uint8_t *list;
    if (gotc('/')) {
        notreeerror();
        list = zlo<uint8_t>(trees_in_mem);
        list[trees_in_mem - 1] = LISTED;
    } else
        list = treelist();
    int listed = countlist(list, trees_in_mem);
    myp("Tread 'set of %i trees'", listed);
    std::string text;
    for (int t = 0; t < trees_in_mem; ++t) {
        if (list[t] != LISTED) continue;
        text.clear();
        savetree(mem_tree[t], nt, &text);
        text += --listed ? "*" : ";";
        spewlong(text.data(), long(text.size()));
        spewout();
    }
}

// '+' and '-' change the shape of the diagrams; a second one the order of the clades.
static void drawingmode(int sign)
{
    notime();
    int next = peep();
    if (next == '+' || next == '-') {
        heavy_first = gtnb() == '+';
        myp("%s", heavy_first ? "Drawing second largest clade first" : "Drawing trees with clades increasing in size");
        return;
    }
    dotruesymtrees = sign == '+';
    myp("%s", dotruesymtrees ? "Drawing trees symmetrically" : "Drawing trees asymmetrycally");
}

static void initialzoom()
{
    notime();
    if (!rdfilename()) {
        start_zooming[0] = 0;
        joinem("No initial zoom for tree displays\n", nullptr);
        return;
    }
    chk_strlen(long(strlen(cmdname)), sizeof start_zooming - 1, "Label");
    strcpy(start_zooming, cmdname);
    joinem("Defined initial zoom for tree displays: \"", start_zooming, "\"\n", nullptr);
}

static void notbuilt(const char *what)
{
    notime();
    spewem(what, "not available yet", nullptr);
    gott(';');
}

void tplotcom()
{
    switch (int c = peep()) {
    case '[': case ']': notbuilt("Pre-viewing trees:"); return;
    case '=':           notbuilt("Margins of SVG trees:"); return;
    case '<': case '>': notbuilt("Tree format files:"); return;
    case '+': case '-': gtnb(); drawingmode(c); return;
    case ':':           gtnb(); initialzoom(); return;
    case '*':           gtnb(); parenthetical(); return;
    case '/':           gtnb(); drawlasttree(); return;
    default:            drawtreelist(treelist());
    }
}
