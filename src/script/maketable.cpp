// Tables of arrays, and tables of other commands caught in arrays.
#include "script/maketable.h"
#include "kernel/below.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "script/expr.h"
#include "script/macmem.h"
#include "script/stream.h"
#include "script/vars.h"
#include <algorithm>
#include <string>
#include <vector>

static int  catcher = -1;                // first cell of the array that takes the tables of other commands; -1: none
static int  catchersize;
static bool printing;                    // a table of this command is printed: it is not caught

struct onedim { int variable, size; };

static onedim readarray()
{
    int v = get_varnum(';');
    if (remaining_dims() != 1) errmsg("Scripting tables require one-dimensional arrays as input", nullptr);
    return { numdims ? toint32(value_of(v)) : v, vardimis[designated][numdims] };
}

// --- tables of other commands -------------------------------------------------------------

template<class T> static void catchtable(const T *values, int rows)
{
    if (catcher < 0 || printing || !macros_are_on()) return;
    int n = std::min(rows, catchersize);
    for (int i = 0; i < n; ++i) set_value(catcher + i, double(values[i]));
    listsize = n - 1;
}

void stop_catching() { catcher = -1; }

void table_to_array(const int *values, int rows)    { catchtable(values, rows); }
void table_to_array(const double *values, int rows) { catchtable(values, rows); }

// --- tables of arrays ---------------------------------------------------------------------

static void readtitle()
{
    std::string title;
    for (int c; (c = gtch()) != ';'; )
        if (c > 32 || (!title.empty() && title.back() != ' ')) title += char(std::max(c, 32));
    ungtch();
    while (!title.empty() && title.back() == ' ') title.pop_back();
    snprintf(tabletitle, sizeof tabletitle, "%s", title.c_str());
}

// As many cells a line as fit in the width, each line led by the number of its first cell.
static void narrowtable(const std::vector<std::string> &cells, int width)
{
    size_t widest = 1, margin = std::to_string(cells.size()).size() + 1;
    for (const std::string &cell : cells) widest = std::max(widest, cell.size());
    size_t each = std::max<size_t>(1, (size_t(width) - std::min(size_t(width), margin)) / (widest + 2));
    if (tabletitle[0]) { tojoin(tabletitle); spewout(); }
    for (size_t i = 0; i < cells.size(); ++i) {
        if (i % each == 0) {
            if (i) endrow();
            std::string number = std::to_string(i);
            spewspx(int(margin - std::min(margin, number.size())));
            tojoin(number.c_str());
        }
        spewspx(int(widest + 2 - cells[i].size()));
        tojoin(cells[i].c_str());
    }
    endrow();
}

static void printarray(onedim a, int width)
{
    std::vector<double> values;
    std::vector<std::string> cells;
    bool integral = true;
    for (int i = 0; i < a.size; ++i) {
        values.push_back(value_of(a.variable + i));
        cells.push_back(value_text(values.back()));
        integral = integral && values.back() == toint32(values.back());
    }
    if (width) { narrowtable(cells, width); return; }
    if (!integral) { printable_floats(values.data(), a.size); return; }
    std::vector<int> whole(values.begin(), values.end());
    printable(whole.data(), a.size);
}

static void printtwo(onedim a, onedim b, int width)
{
    constexpr int USUAL = 79;
    std::vector<std::string> cells;
    for (int i = 0; i < std::min(a.size, b.size); ++i)
        cells.push_back(value_text(value_of(a.variable + i)) + "/" + value_text(value_of(b.variable + i)));
    narrowtable(cells, width ? width : USUAL);
}

static int readwidth()
{
    if (!gotc('=')) return 0;
    int c = clean_peep();
    int width = c == ';' ? 0 : imacnu();
    if (width < 1) errmsg("Expected max. table width after '='", nullptr);
    return width;
}

void maketablecom()
{
    scriptcommand();
    if (!macprotmod) errmsg("Scripting tables not allowed under macro protection 0", nullptr);
    int c = clean_peep();
    if (c == '-') {
        gtch();
        stop_catching();
        return;
    }
    if (c == '+') {
        gtch();
        onedim a = readarray();
        catcher = a.variable;
        catchersize = a.size;
        return;
    }
    int width = readwidth();
    bool two = gotc('*');
    if (two && !nofloats) errmsg("Double tables allowed only under integer mode", nullptr);
    onedim a = readarray(), b = two ? readarray() : a;
    readtitle();
    struct own { own() { printing = true; } ~own() { printing = false; tabletitle[0] = 0; } } here;
    if (two) printtwo(a, b, width);
    else printarray(a, width);
}

const comhelp maketablehelp = {
    "Show an array as a table, or catch the tables of other commands.", nullptr,
    "  maketable X TITLE ;      the values of array X, of one dimension, in the form set by\n"
    "                           \"tables\"\n"
    "  maketable = N X TITLE ;  in lines of at most N columns\n"
    "  maketable * X Y TITLE ;  two arrays, cell by cell; with integers only (see\n"
    "                           \"macfloat\")\n"
    "  maketable + X ;          from now on, every table of single values is copied to array\n"
    "                           X as well; the expression listsize is the number of values,\n"
    "                           minus 1\n"
    "  maketable - ;            no longer\n"
    "Examples:\n"
    "  macro = ; var: x[5] len[10] ; setarray 5 x 3 1 4 1 5 ;\n"
    "  maketable x Five numbers ;\n"
    "  maketable + len ; length ; maketable - ; var len ; macro - ;\n"
};
