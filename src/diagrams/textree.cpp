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
// With labels of several lines every node is given a block of lines that holds its label and the
// blocks of its branches, so that again all that stands on a line belongs to ancestors of one node:
// labels keep to the columns of their branch, and nothing can meet.
//
// Every node is laid over the row once: the work is the number of characters written.  There is no
// recursion, so depth costs nothing.
#include "diagrams/textree.h"
#include <algorithm>
#include <cassert>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include "data/matrix.h"
#include "diagrams/clades.h"
#include "diagrams/colours.h"
#include "diagrams/msglines.h"
#include "diagrams/svgtree.h"
#include "diagrams/tagstore.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "trees/scratch.h"
#include "trees/treemodel.h"

int largest_node = 0;
char treetitle[520] = "";
int nakedtree = 1, narrow_tree = 0, linux_trees = 0, dotruesymtrees = 0, heavy_first = 0;
char start_zooming[256] = "";
int preview_trees = 0;
int (*ShowBoxTree)(const int *tree, int start) = nullptr;

enum glyph { VERTICAL, LEFTTEE, BOTTOMLEFT, TOPLEFT, RIGHTTEE, HORIZONTAL, BOTTOMTEE, CROSS, GLYPHS };

static constexpr unsigned char boxglyphs[GLYPHS]   = { 179, 195, 192, 218, 180, 196, 193, 197 };
static constexpr unsigned char plainglyphs[GLYPHS] = { '|', '|', '`', ',', '|', '-', '-', '+' };

// A colour shows as its name, then the text behind the code.
static const char *colourmsg(const char *tag)
{
    static std::string text;
    if (!*tag) return "";
    const char *more = where_is_the_slash(tag);
    text = colourof(tag).name;
    if (*more) text = text + " " + more;
    return text.c_str();
}

static const char *ownmsg(int node)
{
    if (now_showing_tags == SHOW_COLOURS) return colourmsg(txtrmsg[node]);
    return now_showing_tags ? txtrmsg[node] : nodmsg[node];
}

const char *donodmsg(int node)
{
    static char number[16];
    const char *own = ownmsg(node);
    if (*own || node < nt || nakedtree || now_showing_tags) return own;
    snprintf(number, sizeof number, "%i", node);
    return number;
}

void reset_nodmsg()
{
    treetitle[0] = 0;
    if (datonlytag) for (int n = 0; n < nodz; ++n) nodmsg[n][0] = 0;
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

int laytree(const int *tree, int start)
{
    int *walk = drawat;
    markshrinks(tree);                       // lists the tree: before the lists of this drawing
    mksis(tree);
    int walked = walktree(tree, start, walk);
    rotabra(tree, start, walk, walked);
    for (int i = 0; i < walked; ++i)
        for (int d = lef[walk[i]]; d >= 0; d = sis[d]) rig[walk[i]] = d;   // the heaviest may have moved
    for (int i = 0; shrinkthenod && i < walked; ++i) {
        int n = walk[i];
        if (n == start || !shrinkthenod[n]) continue;
        lineof[n] = lef[n];                  // its first terminal, which gives it its name
        while (lef[lineof[n]] >= 0) lineof[n] = lef[lineof[n]];
    }
    for (int i = 0; shrinkthenod && i < walked; ++i)
        if (walk[i] != start && shrinkthenod[walk[i]]) {
            rig[walk[i]] = lineof[walk[i]];
            lef[walk[i]] = -1;
        }
    return walktree(tree, start, walk);
}

// A terminal is named by itself; a shrunk clade by its label, else by its first terminal.
const char *terminaltext(int n)
{
    static std::string text;
    int t = n < nt ? n : rig[n];
    if (n >= nt && *ownmsg(n)) return ownmsg(n);
    text = usetaxnames ? taxname_out(t) : std::to_string(t);
    if (n >= nt) text += " ... (" + std::to_string(shrinkthenod[n]) + " taxa)";
    return text.c_str();
}

// What stands at a node stands in the run of its branch; the text of a shrunk clade at its end.
static bool inrun(int n) { return n < nt || lef[n] >= 0 || !*ownmsg(n); }

// Lines of the terminals, and of the internal nodes their first terminal's; returns how many.
static int calculatelineofs(const int *walk, int walked)
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

// Lines of a label above the line of the branch and below it.  An odd one, centred, has its middle
// line in the run of the branch.
struct around { int above, below; bool onrun; };

static around linesaround(int n, bool multi)
{
    int h = !inrun(n) ? 0 : multi ? height_of_msg(donodmsg(n)) : 1;
    switch (multi ? multitag_position : int(TAGS_CENTRED)) {
        case TAGS_ABOVE: return { h, 0, false };
        case TAGS_BELOW: return { 0, h, false };
        default:         return { h / 2, h / 2, h % 2 == 1 };
    }
}

// Blocks of lines, from the tips: the branches one under the other, and the label around the line
// of the branch, for which room is made above or below.  Then, from the start node, where they are.
static int alt_calculatelineofs(const int *walk, int walked)
{
    hiscratch scratch;
    int *height = hi<int>(nodz), *at = hi<int>(nodz), *room = hi<int>(nodz);
    for (int i = walked - 1; i >= 0; --i) {
        int n = walk[i], all = 1, middle = 0;
        around label = linesaround(n, true);
        if (lef[n] >= 0) {
            all = 0;
            for (int d = lef[n]; d >= 0; d = sis[d]) {
                if (d == rig[n]) middle = (at[lef[n]] + all + at[d] + 1) / 2;
                all += height[d];
            }
        }
        room[n] = label.above > middle ? label.above - middle : 0;
        at[n] = middle + room[n];
        height[n] = all + room[n];
        if (height[n] < at[n] + 1 + label.below) height[n] = at[n] + 1 + label.below;
    }
    lineof[walk[0]] = 0;
    for (int i = 0; i < walked; ++i) {
        int n = walk[i], next = lineof[n] + room[n];
        doat[n] = lineof[n] + at[n];
        for (int d = lef[n]; d >= 0; d = sis[d]) {
            lineof[d] = next;
            next += height[d];
        }
    }
    return height[walk[0]];
}

struct steps {
    int cell;      // columns of a step without label
    int wide;      // with room for the widest label
    int stem;      // columns before the vertical of the start node
};

// The root hangs from nothing, so only its label stands before it; any other start node shows its branch.
static steps measure(int start, const int *walk, int walked, bool multi)
{
    auto width = [&](int n) {
        const char *text = donodmsg(n);
        return multi ? max_msg_len(text) : textwidth(text, strlen(text));
    };
    steps w;
    int widest = 0;
    for (int i = start == nt ? 1 : 0; i < walked; ++i)
        if (inrun(walk[i])) widest = std::max(widest, width(walk[i]));
    w.cell = narrow_tree ? CELLWID - 1 : CELLWID;
    w.wide = w.cell + widest;
    w.stem = start == nt ? width(start) : w.wide;
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

// A node that cannot be would send the layout outside its arrays.
static void largestnodes(const int *tree)
{
    largest_node = tree[nt];
    for (int n = 0; n < largest_node; ++n)
        if (n != nt && (tree[n] >= largest_node || (tree[n] < nt && (n > nt || tree[n] != 0))))
            myerr("Internal error: node %i of tree hangs from %i", n, tree[n]);
}

// Lays the run of node n over the line.
static void drawrun(const int *tree, int start, int n, const unsigned char *glyphs, unsigned char *line)
{
    if (n == start && start == nt) return;
    int from = n == start ? 0 : taxnum[tree[n]], to = taxnum[n];
    memset(line + from, glyphs[HORIZONTAL], to - from);
    if (n == start) return;
    int up = tree[n];
    if (lef[up] == rig[up]) return;
    line[from] = n == lef[up] ? glyphs[TOPLEFT] : n == rig[up] ? glyphs[BOTTOMLEFT] : glyphs[LEFTTEE];
}

// The run of an internal node has reached its vertical: the glyph there, drawn by one of its
// branches or none, is joined to it.  A branch between keeps its left tee.
static void joinrun(int n, const unsigned char *glyphs, unsigned char *line)
{
    int at = taxnum[n];
    if (lef[n] == rig[n]) return;
    if (doat[rig[n]] == doat[n]) line[at] = glyphs[BOTTOMTEE];
    else if (line[at] == glyphs[VERTICAL]) line[at] = glyphs[RIGHTTEE];
}

// What stands on each line, as lists of nodes with the ancestors first; -1 ends.
struct piece { int node, next; };

struct canvas {
    const int *tree;
    int start, lines, rightmost;
    bool multi;
    steps w;
    const unsigned char *glyphs;
    unsigned char *open, *line;      // the verticals that go on; the line being drawn
    int *online;                     // first piece of each line
    piece *pieces;
};

// Takes what the layout arrays need beyond those of the data.
static void tplotmem(canvas *c, const int *walk, int walked)
{
    size_t all = 0;
    for (int i = 0; i < walked; ++i) {
        around label = linesaround(walk[i], c->multi);
        all += size_t(label.above) + size_t(label.below) + 1;
    }
    c->pieces = lo<piece>(all);
    c->online = lo<int>(c->lines);
    c->open = lo<unsigned char>(c->rightmost + 1);
    c->line = lo<unsigned char>(c->rightmost + 1);
    memset(c->open, ' ', c->rightmost + 1);
    std::fill(c->online, c->online + c->lines, -1);
    int next = 0;
    for (int i = walked - 1; i >= 0; --i) {
        int n = walk[i];
        around label = linesaround(n, c->multi);
        for (int l = doat[n] - label.above; l <= doat[n] + label.below; ++l) {
            c->pieces[next] = { n, c->online[l] };
            c->online[l] = next++;
        }
    }
}

// The text of node n on line l.
static const char *textonline(const canvas &c, int n, int l, size_t *bytes)
{
    around label = linesaround(n, c.multi);
    *bytes = 0;
    if (!inrun(n) || (l == doat[n] && !label.onrun)) return "";
    const char *text = donodmsg(n);
    if (c.multi) return line_of_msg(text, l - doat[n] + label.above - (l > doat[n] && !label.onrun), bytes);
    *bytes = strlen(text);
    return text;
}

// One physical line of all nodes open on it: the row of glyphs, into which the labels are put as
// characters of any width, and the name of the terminal at its end.
static void print_a_line(const canvas &c, int l, std::string *out)
{
    auto each = [&](auto what) {
        for (int p = c.online[l]; p >= 0; p = c.pieces[p].next) what(c.pieces[p].node);
    };
    auto here = [&](int n) { return doat[n] == l; };
    int terminal = -1;
    each([&](int n) { if (lef[n] < 0 && here(n)) terminal = n; });
    int width = terminal >= 0 ? taxnum[terminal] : c.rightmost + 1;
    memcpy(c.line, c.open, size_t(width));
    each([&](int n) { if (here(n)) drawrun(c.tree, c.start, n, c.glyphs, c.line); });
    each([&](int n) { if (here(n) && lef[n] >= 0 && (n != c.start || c.w.stem > 0)) joinrun(n, c.glyphs, c.line); });

    const char *row = reinterpret_cast<const char *>(c.line);
    int at = 0;
    out->clear();
    each([&](int n) {
        size_t bytes;
        const char *text = textonline(c, n, l, &bytes);
        if (!bytes) return;
        int from = n != c.start ? taxnum[c.tree[n]] + c.w.cell - 1 : c.start == nt ? 0 : c.w.cell - 1;
        out->append(row + at, size_t(from - at));
        out->append(text, bytes);
        at = from + textwidth(text, bytes);
    });
    if (at < width) out->append(row + at, size_t(width - at));
    if (terminal >= 0) out->append(terminaltext(terminal));
    else out->erase(out->find_last_not_of(' ') + 1);

    each([&](int n) {
        if (n == c.start || !here(n)) return;
        int up = c.tree[n];
        c.open[taxnum[up]] = n == rig[up] ? ' ' : c.glyphs[VERTICAL];
    });
}

// Esc is polled by the amount written: a wide tree may take long over one line.
static void printlines(const canvas &c)
{
    constexpr size_t POLLBYTES = 1 << 16;
    size_t written = POLLBYTES;
    std::string line;
    for (int l = 0; l < c.lines && !have_some_intrupt(); ++l) {
        if (written >= POLLBYTES) {
            intrupt(1);
            written = 0;
        }
        print_a_line(c, l, &line);
        spewlong(line.data(), long(line.size()));
        spewout();
        written += line.size() + 1;
    }
}

static void drawlines(const int *tree, int start, bool multi)
{
    char *mark = lomark();
    canvas c{};
    c.tree = tree;
    c.start = start;
    c.multi = multi;
    c.glyphs = linux_trees ? plainglyphs : boxglyphs;
    int *walk = drawat, walked = laytree(tree, start);
    c.lines = multi ? alt_calculatelineofs(walk, walked) : calculatelineofs(walk, walked);
    c.w = measure(start, walk, walked, multi);
    c.rightmost = columns(tree, walk, walked, c.w);
#ifndef NDEBUG
    checklayout(tree, start);
#endif
    tplotmem(&c, walk, walked);
    printtitle();
    printlines(c);
    loset(mark);
}

void alt_drawtree(const int *tree, int start) { drawlines(tree, start, true); }

// A report may draw trees while another tree is shown in the viewer: what is stored is not shown.
void drawtree(const int *tree, int start)
{
    largestnodes(tree);
    if (store_treemsg && !now_showing_tags) {
        treetitle[0] = 0;
        multvaltree(tree);
        return;
    }
    if (start == nt) start = get_initial_zoom(tree);
    if (autosvg) autosvgtree(tree, start);
    if (preview_trees && ShowBoxTree && ShowBoxTree(tree, start) != ONCONSOLE) treetitle[0] = 0;
    else if (new_line_for_tags) alt_drawtree(tree, start);
    else drawlines(tree, start, false);
}

int get_initial_zoom(const int *tree)
{
    if (!start_zooming[0]) return nt;
    for (int n = nt; n < tree[nt]; ++n)
        if (!strcmp(donodmsg(n), start_zooming)) return n;
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
            assert(sis[rig[n]] < 0 && doat[n] <= doat[rig[n]]);
            assert(doat[n] > doat[lef[n]] || lef[n] == rig[n]);
            n = lef[n];
            continue;
        }
        assert(doat[n] >= lineof[n]);
        while (n != start && sis[n] < 0) n = tree[n];
        if (n == start) return;
        n = sis[n];
    }
}
