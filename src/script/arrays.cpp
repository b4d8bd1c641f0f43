// Arrays as expressions and whole-array operations see them: designated by name, their data cells in
// order, and lists stored into them.
#include "script/arrays.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "script/internals.h"
#include "script/stream.h"
#include "script/vars.h"
#include <algorithm>
#include <cctype>

int listsize_made;

bool names_array()
{
    int c = clean_peep();
    return c < 128 && isalpha(c);
}

// The array, or row of one, that was designated last and whose cell is given.
static arrayof designated_array(int cell)
{
    arrayof a{};
    a.variable = designated;
    a.base = cell;
    a.dims = std::max(0, remaining_dims());
    if (!a.dims) return a;
    std::copy(vardimis[designated] + numdims, vardimis[designated] + numdims + a.dims, a.sizes);
    if (numdims) a.base = toint32(value_of(cell));
    return a;
}

arrayof readarray()
{
    if (!names_array()) errmsg("Arrays must be specified with names, not numbers", nullptr);
    return designated_array(get_varnum(';'));
}

static void addcells(int base, int dims, const int *sizes, std::vector<int> *cells)
{
    for (int i = 0; i < sizes[0]; ++i) {
        safevarnum(long(base) + i);
        if (dims > 1) addcells(toint32(value_of(base + i)), dims - 1, sizes + 1, cells);
        else cells->push_back(base + i);
    }
}

void datacells(const arrayof &a, std::vector<int> *cells)
{
    cells->clear();
    if (a.dims) addcells(a.base, a.dims, a.sizes, cells);
    else cells->push_back(a.base);
}

std::vector<double> arrayvalues(const arrayof &a)
{
    std::vector<int> cells;
    datacells(a, &cells);
    std::vector<double> values;
    values.reserve(cells.size());
    for (int c : cells) values.push_back(value_of(c));
    return values;
}

// --- lists --------------------------------------------------------------------------------

static arrayof target;

void begin_list(int cell)
{
    target = designated_array(cell);
    liststart = target.base;
}

void end_list() { liststart = -1; }

const arrayof &listtarget()
{
    if (liststart < 0) errmsg("Expression makes a list, which only \"set\" can put into an array", nullptr);
    return target;
}

// Cells that a list can fill; without protection, or from a number on, all that there are.
static int listroom()
{
    const arrayof &a = listtarget();
    if (a.dims == 1) return a.sizes[0];
    if (a.dims > 1) errmsg("Lists require one-dimensional arrays", nullptr);
    return varnumdims && usvarname[a.variable] ? 1 : Maxvars - a.base;
}

double storelist(const std::vector<double> &values)
{
    int room = listroom(), n = int(values.size());
    if (n > room) myerr("Variable %i has only %i values (0-%i); the list has %i", target.variable, room, room - 1, n);
    for (int i = 0; i < n; ++i) set_value(target.base + i, values[size_t(i)]);
    listsize_made = 1;
    return listsize = n;
}

double storetable(const std::vector<std::vector<double>> &rows)
{
    const arrayof &a = listtarget();
    if (a.dims != 2) errmsg("A table requires a two-dimensional array", nullptr);
    size_t columns = rows.empty() ? 0 : rows[0].size();
    if (rows.size() > size_t(a.sizes[0]) || columns > size_t(a.sizes[1]))
        myerr("Variable %i is of %i x %i; the table is of %i x %i", a.variable, a.sizes[0], a.sizes[1], int(rows.size()),
              int(columns));
    for (size_t i = 0; i < rows.size(); ++i) {
        int base = toint32(value_of(a.base + int(i)));
        safevarnum(base);
        safevarnum(base + long(columns));
        for (size_t j = 0; j < columns; ++j) set_value(base + int(j), rows[i][j]);
    }
    listsize_made = 1;
    return listsize = int(rows.size() * columns);
}
