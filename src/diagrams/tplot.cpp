// diagrams/tplot.cpp: the commands tplot, naked and lintrees.
#include <algorithm>
#include <cstring>
#include <string>
#include "data/lists.h"
#include "data/matrix.h"
#include "diagrams/svgtree.h"
#include "diagrams/tagstore.h"
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
    "  tplot N ;     show trees N (all trees when no list is given)\n"
    "  tplot *N ;    show trees N in parenthetical notation\n"
    "  tplot / ;     show the last tree in memory\n"
    "  tplot + ;     draw symmetrically: the terminals are aligned; - for the default\n"
    "  tplot ++ ;    second heaviest clade of a polytomy first (also -+); +- or -- for the\n"
    "                default, clades increasing in size\n"
    "  tplot :X ;    start the diagrams at the node labelled, or numbered, X; without X\n"
    "                from the root\n"
    "  tplot [ ;     diagrams go to the tree viewer, where there is one; ] to the text\n"
    "  tplot =A ;    margins of SVG trees, in pixels (default 20): up to four, left, top,\n"
    "                right and bottom; or <N (left), /N (top), >N (right), \\N (bottom);\n"
    "                without numbers, show them\n"
    "Small clades come first.  Terminals show their names after \"taxname=;\", their\n"
    "numbers otherwise; internal nodes show their numbers after \"naked-;\".\n"
    "See also \"ttags\", \"tshrink\"; \"log &\" saves each diagram as SVG.\n"
    "Examples:\n"
    "  tplot 0 2.4 ;\n"
    "  tplot */ ;\n"
    "  tplot :18 ; tplot 0 ;\n" };

const comhelp nakedhelp = { "Show or hide the node numbers of tree diagrams.", nullptr,
    "  = ;   no node numbers (default)\n"
    "  - ;   number the internal nodes\n"
    "  / ;   the opposite of now\n"
    "Without a sign, report.\n"
    "Examples:\n"
    "  naked- ; tplot 0 ;\n" };

void nakedcom()
{
    onoff(&nakedtree, "Naked");
}

const comhelp lintreeshelp = { "Draw trees with plain ASCII characters, or narrowly.", nullptr,
    "  = ;   ASCII characters: - | ` , and +\n"
    "  - ;   line glyphs (default)\n"
    "  / ;   the opposite of now\n"
    "  [ ;   narrow: 2 columns a step of depth\n"
    "  ] ;   3 columns (default)\n"
    "Without a sign, report.\n"
    "Examples:\n"
    "  lintrees= ; tplot 0 ; lintrees- ;\n" };

void lintreescom()
{
    int c = peep();
    if (c != '[' && c != ']') return onoff(&linux_trees, "ASCII trees");
    gtnb();
    notime();
    narrow_tree = c == '[';
    if (report_status) spewem("Narrow trees", narrow_tree ? "is ON" : "is OFF", nullptr);
}

// A tree whose texts were stored leaves nothing on the console.
static void drawone(int t, const char *heading)
{
    snprintf(treetitle, sizeof treetitle, heading, t);
    drawtree(mem_tree[t], nt);
    if (!store_treemsg) newln();
}

static void drawtreelist(const uint8_t *list)
{
    for (int t = 0; t < trees_in_mem; ++t)
        if (list[t] == LISTED) drawone(t, "Tree %i:");
}

static void drawlasttree()
{
    notreeerror();
    drawone(trees_in_mem - 1, "Tree %i (last tree in memory):");
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

// Up to four numbers in order, or signs that say which margin the next number is for.
static void svgmargins()
{
    constexpr char SIGNS[] = "</>\\";
    constexpr long WIDEST = 10000;
    notime();
    int margins[MARGINS], at = 0;
    std::copy(svgmargin, svgmargin + MARGINS, margins);
    for (int c; (c = peep()) != ';';) {
        const char *sign = strchr(SIGNS, c);
        if (sign) {
            gtnb();
            at = int(sign - SIGNS);
        }
        long n = gtnu();
        if (n < 0 || at >= MARGINS) errarg(peep());
        margins[at++] = int(std::min(n, WIDEST));
    }
    std::copy(margins, margins + MARGINS, svgmargin);
    myp("Margins for SVG files are %i/%i/%i/%i (left,top,right,bottom)", svgmargin[MARGINLEFT], svgmargin[MARGINTOP],
        svgmargin[MARGINRIGHT], svgmargin[MARGINBOTTOM]);
}

static void previewing(int on)
{
    notime();
    preview_trees = on;
    if (report_status) spewem("Pre-viewing trees is", on ? "ON" : "OFF", nullptr);
}

static void treeformats()
{
    errmsg("Sorry, tree format files are not available yet", nullptr);
}

void tplotcom()
{
    switch (int c = peep()) {
    case '[': case ']': gtnb(); previewing(c == '['); return;
    case '=':           gtnb(); svgmargins(); return;
    case '<': case '>': treeformats(); return;
    case '+': case '-': gtnb(); drawingmode(c); return;
    case ':':           gtnb(); initialzoom(); return;
    case '*':           gtnb(); parenthetical(); return;
    case '/':           gtnb(); drawlasttree(); return;
    default:            drawtreelist(treelist());
    }
}
