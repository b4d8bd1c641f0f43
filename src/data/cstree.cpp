// Character-state trees, drawn with the symbols of their states and connectors between them:
//
//     0-1-2      Costs are the branches between two states.  "-" and "|" connect what is beside
//        \       and above and below them, "/" and "\" what is at their ends, and "X" is both of
//         3      these, crossing.  Connectors of a kind in a row are one branch.
#include "data/costs.h"
#include "data/lists.h"
#include "data/symbols.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <algorithm>
#include <cctype>

constexpr int WIDEST = 256, MOSTLINES = 200, TAB = 8;

namespace {
struct diagram {
    int  lines = 0;
    char text[MOSTLINES][WIDEST + 1];        // lines end with 0
    int  width[MOSTLINES];
    char at(int line, int column) const
    {
        return line < 0 || line >= lines || column < 0 || column >= width[line] ? ' ' : text[line][column];
    }
};

// What a connector connects: the step to one of its ends; the other is opposite.
struct direction { char symbol; int down, right; };
constexpr direction directions[] = { { '-', 0, 1 }, { '|', 1, 0 }, { '/', -1, 1 }, { '\\', 1, 1 } };

struct statetree {
    int states = 0, branches = 0;
    costtable distance;                      // branches between two states; FORBIDDEN: no way
};
}

// --- Reading ---

static void toowide(int line)
{
    if (!line) errmsg("First line too wide", nullptr);
    errmsg("Can't read character state tree:", "line", intvert(line + 1), "too wide", nullptr);
}

static void putsymbol(diagram *d, int c)
{
    int line = d->lines - 1;
    for (int n = c == '\t' ? TAB - d->width[line] % TAB : 1; n; --n) {
        if (d->width[line] == WIDEST) toowide(line);
        d->text[line][d->width[line]++] = char(c < 33 ? ' ' : c);
    }
}

static void endline(diagram *d)
{
    char *text = d->text[d->lines - 1];
    int &width = d->width[d->lines - 1];
    while (width && text[width - 1] == ' ') --width;
    text[width] = 0;
    if (d->lines == 1 && !width) d->lines = 0;           // blank lines before the first
}

// From the end of the line up to ';', which is left.
static void readdiagram(diagram *d)
{
    int c;
    while ((c = gtch()) != '\n' && c != ';')
        if (c > 32) errmsg("Character state tree must start after a carriage return", nullptr);
    while (c != ';') {
        if (d->lines == MOSTLINES) errmsg("Can't read character state tree: too many lines", nullptr);
        d->width[d->lines++] = 0;
        while ((c = gtch()) != '\n' && c != ';')
            if (c != '\r') putsymbol(d, c);
        endline(d);
    }
    ungtch();
    while (d->lines && !d->width[d->lines - 1]) --d->lines;
}

static void echodiagram(const diagram &d)
{
    spewem("\nRead:", nullptr);
    for (int line = 0; line < d.lines; ++line) joinem("    ", d.text[line], "\n", nullptr);
}

// --- Understanding ---

static bool isconnector(char c) { return c == 'X' || std::any_of(directions, directions + 4, [c](auto &d) { return d.symbol == c; }); }
static bool isstate(char c) { return c != ' ' && !isconnector(c); }

// Connectors of a row: the same symbol, or the X that a diagonal crosses.
static bool goeson(char c, const direction &way)
{
    return c == way.symbol || (c == 'X' && way.down && way.right);
}

// The symbol of the state that is reached from a connector; sign 1 or -1: in the direction or against it.
static int endof(const diagram &d, int line, int column, const direction &way, int sign)
{
    char symbol = d.at(line, column), c;
    int i = line, j = column;
    do {
        i += sign * way.down;
        j += sign * way.right;
        c = d.at(i, j);
    } while (goeson(c, way));
    if (isstate(c)) return c;
    if (!line) errmsg("Can't read character state tree:", charvert(symbol), "in first line doesn't connect to any state", nullptr);
    myerr("Wrong character state tree: '%c' (line %i) connects to '%c' ?\n", symbol, line + 1, c);
}

static void findstates(const diagram &d, statetree *tree)
{
    uint32_t seen = 0;
    for (int line = 0; line < d.lines; ++line) {
        for (int column = 0; column < d.width[line]; ++column) {
            char c = d.at(line, column);
            if (!isstate(c)) continue;
            int s = statenumber(static_cast<unsigned char>(c));
            if (seen >> s & 1) myerr("Can't read character state tree: state %i repeated", s);
            seen |= uint32_t{1} << s;
            tree->states = std::max(tree->states, s + 1);
        }
        if (!seen) break;                    // none in the first line
    }
    if (!seen) errmsg("Character state tree must start with a state", nullptr);
    for (int s = 0; s < tree->states; ++s)
        if (!(seen >> s & 1))
            myerr("Can't read character state tree:\n   state %i not included (must include \n   all states between 0 and %i)...\n",
                  s, tree->states - 1);
}

static void findbranches(const diagram &d, statetree *tree)
{
    for (int line = 0; line < d.lines; ++line)
        for (int column = 0; column < d.width[line]; ++column)
            for (const direction &way : directions) {
                if (!goeson(d.at(line, column), way)) continue;
                int a = endof(d, line, column, way, -1), b = endof(d, line, column, way, 1);
                if (goeson(d.at(line - way.down, column - way.right), way)) continue;    // counted at its beginning
                int s = statenumber(static_cast<unsigned char>(a)), t = statenumber(static_cast<unsigned char>(b));
                tree->distance[s][t] = tree->distance[t][s] = 1;
                ++tree->branches;
            }
}

static void finddistances(statetree *tree)
{
    int n = tree->states;
    for (int via = 0; via < n; ++via)
        for (int a = 0; a < n; ++a)
            for (int b = 0; b < n; ++b)
                tree->distance[a][b] = std::min(tree->distance[a][b], tree->distance[a][via] + tree->distance[via][b]);
    for (int a = 0; a < n; ++a)
        for (int b = a + 1; b < n; ++b)
            if (tree->distance[a][b] >= FORBIDDEN)
                myerr("\nERROR: no cost defined between states %c-%c\n", statesymbol(read_states_as, a), statesymbol(read_states_as, b));
    if (tree->branches != n - 1) errmsg("Can't read character state tree: some states are connected in a circle", nullptr);
}

static void readtree(statetree *tree)
{
    static diagram d;                        // too large for a small stack
    d.lines = 0;
    readdiagram(&d);
    echodiagram(d);
    for (auto &row : tree->distance) std::fill(row, row + COSTSTATES, FORBIDDEN);
    for (int s = 0; s < COSTSTATES; ++s) tree->distance[s][s] = 0;
    findstates(d, tree);
    findbranches(d, tree);
    finddistances(tree);
}

// --- The command ---

// By hand: where the number ends, the line may too, which must stay to be read.
static long readlimit()
{
    int c = gtnb();
    long limit = 0;
    for (; isdigit(c); c = gtch()) limit = std::min(10 * limit + c - '0', long(FORBIDDEN));
    ungtch();
    return limit;
}

static void definetree()
{
    int any = read_scope(charscopelist, 0, nc, "character", charnames), end = gtnb();
    if (!any || (end != '=' && end != '<')) errmsg("Expected symbols '=' or '<' to finish list of characters", nullptr);
    long limit = end == '<' ? readlimit() : FORBIDDEN;
    if (limit < 1) errmsg("Give maximum transformation cost (1 or more)", nullptr);
    statetree tree;
    readtree(&tree);
    int first = -1;
    for (int c = 0; c < nc; ++c) {
        if (charscopelist[c] != LISTED) continue;
        if (first < 0) first = c;
        if (!charcodes[c].continuous && charcodes[c].numstates < tree.states)
            myerr("Can't apply costs!\nCharacter %i has %i states", c, charcodes[c].numstates);
    }
    if (first < 0) errmsg("Expected symbols '=' or '<' to finish list of characters", nullptr);
    for (int a = 0; a < COSTSTATES; ++a)
        for (int b = 0; b < COSTSTATES; ++b)
            tree.distance[a][b] = a < tree.states && b < tree.states ? std::min(tree.distance[a][b], uint32_t(limit)) : NOTGIVEN;
    givecosts(charscopelist, tree.distance);
    spewem("Character(s) with character state tree(s)", nullptr);
    printlist(charscopelist, 0, nc, LISTED);
    tojoin("Costs");
    if (end == '<') joinem(" (larger costs modified to be ", intvert(limit), ")", nullptr);
    spewout();
    showcosttable(charcosts, first, tree.states, charcodes[first].type);
}

// Which active characters stay with their step matrices, and why that may not be what was meant.
static void reportothers()
{
    for (int c = 0; c < nc; ++c) {
        const charrec &r = charcodes[c];
        int a, b;
        charscopelist[c] = r.active && r.sankoff && !r.continuous && r.sankoff_kind != SANK_TREE ? LISTED : 0;
        if (charscopelist[c] && isasymmetric(c, &a, &b))
            myp("\nERROR: cost between states %c-%c read as asymmetrical\n", statesymbol(r.type, a), statesymbol(r.type, b));
    }
    if (!countlist(charscopelist, nc)) return;
    joinem("Note: some costs (char.", nullptr);
    for (int c = 0; c < nc; ++c)
        if (charscopelist[c]) joinem(" ", intvert(c), nullptr);
    spewem(") do not correspond to a character state tree;\nthose characters considered as sankoff.", nullptr);
}

static void scorebyvariables(int on)
{
    replace_cstrees = on;
    spewem(on ? "Character state trees are scored by binary variables" : "Character state trees are scored as wholes", nullptr);
    if (!nc) return;
    chartables_reset();
    set_charcodes();
    if (on) reportothers();
}

void cstreecom()
{
    if (gotc('+')) return scorebyvariables(1);
    if (gotc('-')) return scorebyvariables(0);
    needcosts("defining character state tree(s)");
    definetree();
}

const comhelp cstreehelp = {
    "Read character-state trees, as diagrams.", nullptr,
    "   N = [diagram]     the costs of characters N are the branches between states on the tree\n"
    "                     drawn, which must hold all states from 0 to the highest.  The characters\n"
    "                     become Sankoff\n"
    "   N < C [diagram]   the same; costs larger than C become C\n"
    "   +                 score state trees by binary variables: faster, and under implied weights\n"
    "                     the fit is the sum of the fits of the variables\n"
    "   -                 score them as wholes (the default)\n"
    "The diagram starts on a line of its own, and ends with a semicolon.  It is drawn with the\n"
    "symbols of the states and the connectors - | / \\ and X (two that cross), up to 256 symbols\n"
    "wide and 200 lines high.\n"
    "Examples:\n"
    "  cstree 2 =\n"
    "  1-0-2-3\n"
    "  ;\n"
};
