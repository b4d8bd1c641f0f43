// diagrams/tshrink.cpp: the command tshrink.
#include <cctype>
#include "data/lists.h"
#include "data/matrix.h"
#include "diagrams/clades.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"

const comhelp tshrinkhelp = { "Draw clades as single terminals.", nullptr,
    "  tshrink T N ;    diagrams show node N of tree T (several nodes may be given), and\n"
    "                   the same clade in other trees, on one line\n"
    "  tshrink -T N ;   show it whole again\n"
    "  tshrink - ;      show all clades whole\n"
    "  tshrink [ ;      data read from now on have room for this (default)\n"
    "  tshrink ] ;      they have not, which saves memory\n"
    "Without arguments, report.  A shrunk clade shows its label, or the name of its first\n"
    "terminal and the number of its taxa.\n"
    "Examples:\n"
    "  tshrink 0 18 ; tplot 0 ; tshrink - ;\n" };

static void shrinknodes(bool (*change)(const int *tree, int node))
{
    notreeerror();
    long t = gtnu();
    if (t < 0) errarg(peep());
    if (!isatree(t)) numtreeerror(t);
    do {
        long n = gtnu();
        if (n < 0) errarg(peep());
        if (n <= nt || n >= mem_tree[t][nt]) errmsg("No node", intvert(n), "in tree", intvert(t), nullptr);
        change(mem_tree[t], int(n));
    } while (peep() != ';');
}

void tshrinkcom()
{
    notime();
    int c = peep();
    if (isdigit(c)) shrinknodes(shrinkclade);
    else if (c == '[' || c == ']') allow_shrinkings = gtnb() == '[';
    else if (c == '-') {
        gtnb();
        if (peep() == ';') unshrinkall();
        else shrinknodes(unshrinkclade);
    } else if (c != ';') errarg(c);
    if (!report_status) return;
    if (!allow_shrinkings) spewem("Shrinkings are not allowed", nullptr);
    else spewem("Clades drawn as single terminals:", intvert(have_some_shrinks), nullptr);
}
