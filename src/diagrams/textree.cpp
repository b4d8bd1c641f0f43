// diagrams/textree.cpp: a tree is laid out in two walks and drawn line by line.
//
// The layout gives each node a column (its depth) and a line (a terminal: the next one; an
// internal node: halfway between its first and last branch).  A row of characters then holds the
// verticals that are open on the line being drawn; each line is that row with the branches that
// run on this line laid over it:
//
//   column of p    column of k
//       │               │            k is a branch of p; its run starts with a corner in p's
//       ├─12────────────┤            vertical and ends before its own.
//       │               │
//
// All nodes standing on a line are ancestors of the terminal of that line, so nothing lies to the
// right of it, and every node is laid over the row once: the work is the number of characters
// written.  There is no recursion, so depth costs nothing.
#include "diagrams/textree.h"
#include <cassert>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "trees/treemodel.h"

int largest_node = 0;
char treetitle[256] = "";
int nakedtree = 1, narrow_tree = 0, linux_trees = 0, dotruesymtrees = 0, heavy_first = 0;
char start_zooming[256] = "";

enum glyph { VERTICAL, LEFTTEE, BOTTOMLEFT, TOPLEFT, RIGHTTEE, HORIZONTAL, BOTTOMTEE, CROSS, GLYPHS };

static constexpr unsigned char boxglyphs[GLYPHS]   = { 179, 195, 192, 218, 180, 196, 193, 197 };
static constexpr unsigned char plainglyphs[GLYPHS] = { '|', '|', '`', ',', '|', '-', '-', '+' };

const char *donodmsg(int node)
{
    static char number[16];
    if (nodmsg[node][0]) return nodmsg[node];
    if (node < nt || nakedtree) return "";
    snprintf(number, sizeof number, "%i", node);
    return number;
}

void spewlong(const char *text, long n)
{
    char piece[1024];
    while (n > 0) {
        long now = n < long(sizeof piece) ? n : long(sizeof piece) - 1;
        memcpy(piece, text, now);
        piece[now] = 0;
        tojoin(piece);
        spewjn();
        text += now;
        n -= now;
    }
}

// Nodes from start up, each before its descendants, siblings in the order of lef and sis.
static int walktree(const int *tree, int start, int *walk)
{
    int walked = 0, n = start;
    for (;;) {
        walk[walked++] = n;
        if (lef[n] >= 0) { n = lef[n]; continue; }
        while (n != start && sis[n] < 0) n = tree[n];
        if (n == start) return walked;
        n = sis[n];
    }
}

// The second heaviest branch of a polytomy changes places with the first; the heaviest stays last.
static void order_heavy_first(int n, const int *size)
{
    int first = lef[n], before = -1, second = first;
    if (first < 0 || sis[first] < 0 || sis[sis[first]] < 0) return;
    if (n == nt && first == outgroup) return;
    while (sis[sis[second]] >= 0) { before = second; second = sis[second]; }
    if (size[second] <= size[first]) return;

    int heaviest = sis[second], third = sis[first];
    lef[n] = second;
    sis[first] = heaviest;
    if (before == first) { sis[second] = first; return; }
    sis[second] = third;
    sis[before] = first;
}

// Orders the branches of every node by size, small first, by one counting sort over all nodes.
// Equal sizes keep ascending numbers, but the outgroup goes before all branches of the root.
static void rotabra(const int *tree, int start, int *walk, int walked)
{
    int *size = taxnum;
    for (int i = 0; i < walked; ++i) size[walk[i]] = lef[walk[i]] < 0;
    for (int i = walked - 1; i > 0; --i) size[tree[walk[i]]] += size[walk[i]];

    char *mark = lomark();
    int *place = zlo<int>(nt + 2), *sorted = lo<int>(walked);
    for (int i = 0; i < walked; ++i) ++place[size[walk[i]] + 1];
    for (int s = 1; s < nt + 2; ++s) place[s] += place[s - 1];
    for (int i = 0; i < walked; ++i) sorted[place[size[walk[i]]]++] = walk[i];

    auto append = [&](int n) {
        int up = tree[n];
        if (lef[up] < 0) lef[up] = n; else sis[rig[up]] = n;
        rig[up] = n;
        sis[n] = -1;
    };
    for (int i = 0; i < walked; ++i) lef[walk[i]] = rig[walk[i]] = -1;
    bool outfirst = start == nt && tree[outgroup] == nt;
    if (outfirst) append(outgroup);
    for (int i = 0; i < walked; ++i)
        if (sorted[i] != start && !(outfirst && sorted[i] == outgroup)) append(sorted[i]);
    if (heavy_first)
        for (int i = 0; i < walked; ++i) order_heavy_first(walk[i], size);
    loset(mark);
}

// Lines of the terminals, and of the internal nodes their first terminal's; returns how many.
static int calculatelineofs(const int *tree, const int *walk, int walked)
{
    int lines = 0;
    for (int i = 0; i < walked; ++i) {
        lineof[walk[i]] = lines;
        if (lef[walk[i]] < 0) ++lines;
    }
    for (int i = walked - 1; i >= 0; --i) {
        int n = walk[i];
        doat[n] = lef[n] < 0 ? lineof[n] : (doat[rig[n]] + doat[lef[n]] + 1) / 2;
    }
    return lines;
}

struct steps {
    int cell;      // columns of a step without label
    int wide;      // with room for the widest label
    int stem;      // columns before the vertical of the start node
};

// The root hangs from nothing, so only its label stands before it; any other start node shows its branch.
static steps measure(int start, const int *walk, int walked)
{
    steps w;
    size_t widest = 0;
    for (int i = start == nt ? 1 : 0; i < walked; ++i) {
        size_t len = strlen(donodmsg(walk[i]));
        if (len > widest) widest = len;
    }
    w.cell = narrow_tree ? CELLWID - 1 : CELLWID;
    w.wide = w.cell + int(widest);
    w.stem = start == nt ? int(strlen(donodmsg(start))) : w.wide;
    return w;
}

// Columns by depth from the start node; or, drawn symmetrically, by the longest path to a tip.
static int columns(const int *tree, const int *walk, int walked, const steps &w)
{
    int *column = taxnum, rightmost = w.stem;
    if (!dotruesymtrees) {
        column[walk[0]] = w.stem;
        for (int i = 1; i < walked; ++i) {
            column[walk[i]] = column[tree[walk[i]]] + w.wide;
            if (column[walk[i]] > rightmost) rightmost = column[walk[i]];
        }
        return rightmost;
    }
    int *height = taxnum;
    for (int i = 0; i < walked; ++i) height[walk[i]] = 0;
    for (int i = walked - 1; i > 0; --i)
        if (height[tree[walk[i]]] <= height[walk[i]]) height[tree[walk[i]]] = height[walk[i]] + 1;
    int tallest = height[walk[0]];
    for (int i = 0; i < walked; ++i) column[walk[i]] = w.stem + (tallest - height[walk[i]]) * w.wide;
    return w.stem + tallest * w.wide;
}

static void printtitle()
{
    if (!treetitle[0]) return;
    spewlong(treetitle, long(strlen(treetitle)));
    spewout();
    treetitle[0] = 0;
}

static const char *terminaltext(int t)
{
    static char number[16];
    if (usetaxnames) return taxname_out(t);
    snprintf(number, sizeof number, "%i", t);
    return number;
}

// A node that cannot be would send the layout outside its arrays.
static void largestnodes(const int *tree)
{
    largest_node = tree[nt];
    for (int n = 0; n < largest_node; ++n)
        if (n != nt && (tree[n] >= largest_node || (tree[n] < nt && (n > nt || tree[n] != 0))))
            myerr("Internal error: node %i of tree hangs from %i", n, tree[n]);
}

// Lays the run of node n over the line.
static void drawrun(const int *tree, int start, int n, const steps &w, const unsigned char *glyphs, unsigned char *line)
{
    int from = n == start ? 0 : taxnum[tree[n]], to = taxnum[n];
    const char *label = donodmsg(n);
    int labelat = n == start && start == nt ? 0 : from + w.cell - 1;
    if (n != start || start != nt) memset(line + from, glyphs[HORIZONTAL], to - from);
    memcpy(line + labelat, label, strlen(label));
    if (n == start) return;
    int up = tree[n];
    line[from] = n == lef[up] ? glyphs[TOPLEFT] : n == rig[up] ? glyphs[BOTTOMLEFT] : glyphs[LEFTTEE];
}

// The run of an internal node has reached its vertical: the glyph there, drawn by one of its
// branches or none, is joined to it.  A branch between keeps its left tee.
static void joinrun(int n, const unsigned char *glyphs, unsigned char *line)
{
    int at = taxnum[n];
    if (doat[rig[n]] == doat[n]) line[at] = glyphs[BOTTOMTEE];
    else if (line[at] == glyphs[VERTICAL]) line[at] = glyphs[RIGHTTEE];
}

void drawtree(const int *tree, int start)
{
    largestnodes(tree);
    mksis(tree);
    int *walk = drawat, walked = walktree(tree, start, walk);
    rotabra(tree, start, walk, walked);
    for (int i = 0; i < walked; ++i)
        for (int d = lef[walk[i]]; d >= 0; d = sis[d]) rig[walk[i]] = d;   // the heaviest may have moved
    walked = walktree(tree, start, walk);
    int lines = calculatelineofs(tree, walk, walked);
    steps w = measure(start, walk, walked);
    int rightmost = columns(tree, walk, walked, w);
#ifndef NDEBUG
    checklayout(tree, start);
#endif

    char *mark = lomark();
    int *online = lo<int>(lines), *nextonline = lo<int>(nodz);   // nodes standing on a line; -1 ends
    for (int i = 0; i < lines; ++i) online[i] = -1;
    for (int i = walked - 1; i >= 0; --i) {
        int n = walk[i];
        nextonline[n] = online[doat[n]];
        online[doat[n]] = n;
    }
    unsigned char *open = lo<unsigned char>(rightmost + 1), *line = lo<unsigned char>(rightmost + 1);
    memset(open, ' ', rightmost + 1);
    const unsigned char *glyphs = linux_trees ? plainglyphs : boxglyphs;

    printtitle();
    for (int l = 0; l < lines; ++l) {
        int terminal = -1;
        for (int n = online[l]; n >= 0; n = nextonline[n])
            if (lef[n] < 0) terminal = n;
        memcpy(line, open, taxnum[terminal]);
        for (int n = online[l]; n >= 0; n = nextonline[n]) drawrun(tree, start, n, w, glyphs, line);
        for (int n = online[l]; n >= 0; n = nextonline[n])
            if (lef[n] >= 0 && (n != start || w.stem > 0)) joinrun(n, glyphs, line);
        for (int n = online[l]; n >= 0; n = nextonline[n]) {
            if (n == start) continue;
            int up = tree[n];
            open[taxnum[up]] = n == rig[up] ? ' ' : glyphs[VERTICAL];
        }
        spewlong(reinterpret_cast<char *>(line), taxnum[terminal]);
        tojoin(terminaltext(terminal));
        spewout();
    }
    loset(mark);
}

int get_initial_zoom(const int *tree)
{
    if (!start_zooming[0]) return nt;
    for (int n = nt; n < tree[nt]; ++n)
        if (!strcmp(nodmsg[n], start_zooming)) return n;
    char *end;
    long n = strtol(start_zooming, &end, 10);
    return *end || n < nt || n >= tree[nt] ? nt : int(n);
}

void checklayout(const int *tree, int start)
{
    for (int i = 0, n = start;; ++i) {
        assert(i < nodz && n >= 0 && n < tree[nt] && drawat[i] == n);
        if (n != start) assert(taxnum[n] > taxnum[tree[n]]);
        if (lef[n] >= 0) {
            assert(lef[n] != rig[n] && sis[rig[n]] < 0);
            assert(doat[n] > doat[lef[n]] && doat[n] <= doat[rig[n]]);
            n = lef[n];
            continue;
        }
        assert(doat[n] == lineof[n]);
        while (n != start && sis[n] < 0) n = tree[n];
        if (n == start) return;
        n = sis[n];
    }
}
