// Operations of "set" on whole arrays: cell by cell, sorting, columns, squares, rotation.
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "script/arrays.h"
#include "script/internals.h"
#include "script/macmem.h"
#include "script/stream.h"
#include "script/vars.h"
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <numeric>

// --- set * --------------------------------------------------------------------------------

enum daop {
    OP_MULTIPLY = 1, OP_DIVIDE = 2, OP_ADD = 4, OP_SUBTRACT = 8, OP_AND = 16, OP_OR = 32, OP_LARGER = 64, OP_SMALLER = 128,
    OP_XOR = 256, OP_COPY = 512, OP_EQUAL = 1024, OP_DIFFERENT = 2048, OP_ABOVE = 4096, OP_BELOW = 8192, OP_ATLEAST = 16384,
    OP_ATMOST = 32768
};

static int daopis;                           // code of the operation
static int random_limit;                     // cells get random numbers up to it; -1: they do not

struct operand {
    bool constant = true;                    // of value; else of array
    double value = 0;
    arrayof array{};
};

static daop simpleop(int c)
{
    switch (c) {
        case '*': return OP_MULTIPLY;
        case '/': return OP_DIVIDE;
        case '+': return OP_ADD;
        case '-': return OP_SUBTRACT;
        case '&': return OP_AND;
        case '|': return OP_OR;
        case '>': return OP_LARGER;
        case '<': return OP_SMALLER;
        case '^': return OP_XOR;
    }
    errmsg("Expected operator", nullptr);
}

static daop readop()
{
    int c = gtnb();
    switch (c) {
        case '=':
            if (next_in_stream() != '=') errmsg("Expected operator", nullptr);
            truly_clean_gtch();
            return OP_EQUAL;
        case '!':
            if (next_in_stream() != '=') errmsg("Wrong symbol; did you mean \"!=\"?", nullptr);
            truly_clean_gtch();
            return OP_DIFFERENT;
        case '?': {
            int way = truly_clean_gtch();
            if (way != '>' && way != '<') errmsg("Wrong symbol; did you mean \"?>\" or \"?<\"?", nullptr);
            bool equal = next_in_stream() == '=';
            if (equal) truly_clean_gtch();
            return way == '>' ? (equal ? OP_ATLEAST : OP_ABOVE) : equal ? OP_ATMOST : OP_BELOW;
        }
    }
    daop op = simpleop(c);
    if (next_in_stream() == '=') errmsg(c == '>' || c == '<' ? "Wrong symbol; did you mean \"?>\" or \"?<\"?" : "Invalid syntax in set command", nullptr);
    return op;
}

// An array by its name; anything else is one number for all cells.
static operand readoperand()
{
    int c = clean_peep();
    if (c == ';') errmsg("Value or expression required", nullptr);
    operand o;
    o.constant = !names_array();
    if (o.constant) {
        exprflags within;
        is_for_dollars = 0;
        o.value = macnu();
    } else o.array = readarray();
    return o;
}

static void operate_on(int cell, double b, double c)
{
    double value;
    switch (daopis) {
        case OP_MULTIPLY:  value = b * c; break;
        case OP_DIVIDE:    value = b / c; break;
        case OP_ADD:       value = b + c; break;
        case OP_SUBTRACT:  value = b - c; break;
        case OP_AND:       value = double(tobits(b) & tobits(c)); break;
        case OP_OR:        value = double(tobits(b) | tobits(c)); break;
        case OP_LARGER:    value = std::max(b, c); break;
        case OP_SMALLER:   value = std::min(b, c); break;
        case OP_XOR:       value = double(tobits(b) ^ tobits(c)); break;
        case OP_EQUAL:     value = b == c; break;
        case OP_DIFFERENT: value = b != c; break;
        case OP_ABOVE:     value = b > c; break;
        case OP_BELOW:     value = b < c; break;
        case OP_ATLEAST:   value = b >= c; break;
        case OP_ATMOST:    value = b <= c; break;
        default:           value = random_limit < 0 ? b : macrand() % (random_limit + 1);
    }
    set_value(cell, value);
}

static void op_arrays(const arrayof &a, const operand &b, const operand &c)
{
    for (const operand *o : { &b, &c }) {
        if (o->constant) continue;
        if (o->array.dims != a.dims || !std::equal(a.sizes, a.sizes + a.dims, o->array.sizes))
            errmsg("Dimensions of arrays to operate do not match!", nullptr);
    }
    std::vector<int> to, first, second;
    datacells(a, &to);
    if (!b.constant) datacells(b.array, &first);
    if (!c.constant) datacells(c.array, &second);
    for (size_t i = 0; i < to.size(); ++i)
        operate_on(to[i], b.constant ? b.value : value_of(first[i]), c.constant ? c.value : value_of(second[i]));
}

static void set_whole_rays()
{
    arrayof a = readarray();
    daopis = OP_COPY;
    random_limit = -1;
    operand b, c;
    int sign = clean_peep();
    if (sign == ';') errmsg("Value or expression required", nullptr);
    if (strchr("+-*/&|^<>!?=", sign)) {
        truly_clean_gtch();
        int next = next_in_stream();
        if (sign == '=') ;                       // as in an assignment
        else if (next == '=') {
            truly_clean_gtch();
            if (strchr("<>!?", sign)) myerr("Invalid operator: %c=", sign);
            daopis = simpleop(sign);
            b.constant = false;
            b.array = a;
            c = readoperand();
            if (peep() != ';') errmsg("Invalid syntax in set command", nullptr);
            op_arrays(a, b, c);
            return;
        } else if (sign == '*') {
            exprflags within;
            is_for_dollars = 0;
            random_limit = imacnu();
            if (random_limit > 32767) errmsg("Maximum value for random numbers is 32767", nullptr);
            if (random_limit < 0) errmsg("Value or expression required", nullptr);
            op_arrays(a, b, c);
            return;
        } else if (sign == '-') ungtch();        // the sign of a number
        else errmsg("Invalid syntax in set command", nullptr);
    }
    b = readoperand();
    if (peep() != ';') {
        daopis = readop();
        c = readoperand();
        if (peep() != ';') errmsg("Invalid syntax in set command", nullptr);
    }
    op_arrays(a, b, c);
}

// --- set ! --------------------------------------------------------------------------------

static const char *nameof(const arrayof &a) { return usvarname[a.variable] ? usvarname[a.variable] : intvert(a.variable); }

static void oneline(const arrayof &a)
{
    if (a.dims != 1) myerr("Array \"%s\" is not a 1-dimensional array", nameof(a));
}

static void array_sorting(const arrayof &to, const arrayof &from)
{
    std::vector<double> values = arrayvalues(from);
    std::vector<size_t> order(values.size());
    std::iota(order.begin(), order.end(), size_t(0));
    std::stable_sort(order.begin(), order.end(), [&](size_t i, size_t j) { return values[i] < values[j]; });
    for (size_t i = 0; i < order.size(); ++i) set_value(to.base + int(i), double(order[i]));
}

static void sort_rays()
{
    if (!names_array()) errmsg("One-dim arrays required", nullptr);
    arrayof to = readarray();
    if (!names_array()) errmsg("A second (source) variable is required", nullptr);
    arrayof from = readarray();
    oneline(to);
    oneline(from);
    if (to.sizes[0] != from.sizes[0])
        myerr("Arrays \"%s\" and \"%s\" have different sizes (%s=%i and %s=%i)", nameof(to), nameof(from), nameof(to),
              to.sizes[0], nameof(from), from.sizes[0]);
    array_sorting(to, from);
}

// --- columns, squares, rotation -----------------------------------------------------------

static void extract_a_column()
{
    arrayof to = readarray();
    if (gtnb() != ':') errmsg("Expected a column, after ':'", nullptr);
    int column = imacnu();
    arrayof from = readarray();
    oneline(to);
    if (from.dims != 2) myerr("Array \"%s\" is not a 2-dimensional array", nameof(from));
    if (column < 0 || column >= from.sizes[1]) myerr("Array \"%s\" has only %i columns (0-%i)", nameof(from), from.sizes[1], from.sizes[1] - 1);
    if (to.sizes[0] != from.sizes[0])
        myerr("Arrays \"%s\" and \"%s\" have different sizes (%s=%i and %s=%i)", nameof(to), nameof(from), nameof(to),
              to.sizes[0], nameof(from), from.sizes[0]);
    std::vector<double> values = arrayvalues(from);
    for (int i = 0; i < to.sizes[0]; ++i) set_value(to.base + i, values[size_t(i * from.sizes[1] + column)]);
}

// The values below the diagonal of a symmetric square, row after row; its diagonal is 0.
static void lintosqcom()
{
    arrayof from = readarray(), to = readarray();
    oneline(from);
    if (to.dims != 2 || to.sizes[0] != to.sizes[1]) myerr("Array \"%s\" is not a square array", nameof(to));
    int n = to.sizes[0];
    if (from.sizes[0] != n * (n - 1) / 2)
        myerr("A square array of %i x %i takes %i values; array \"%s\" has %i", n, n, n * (n - 1) / 2, nameof(from), from.sizes[0]);
    std::vector<double> values = arrayvalues(from);
    std::vector<int> cells;
    datacells(to, &cells);
    size_t next = 0;
    for (int i = 0; i < n; ++i) {
        set_value(cells[size_t(i * n + i)], 0);
        for (int j = 0; j < i; ++j, ++next) {
            set_value(cells[size_t(i * n + j)], values[next]);
            set_value(cells[size_t(j * n + i)], values[next]);
        }
    }
}

// Degrees: the tilt turns y towards z, then the rotation turns z towards x.
static void rotate_3d_variable()
{
    arrayof a = readarray();
    if (a.dims != 2 || a.sizes[0] != 3) myerr("Array \"%s\" is not an array of 3 rows", nameof(a));
    double tilt = macnu(), turn = macnu();
    if (tilt < 0 || turn < 0) errmsg("Tilt and rotation must be 0 or more", nullptr);
    constexpr double DEGREE = 3.14159265358979323846 / 180;
    double ct = std::cos(tilt * DEGREE), st = std::sin(tilt * DEGREE), cr = std::cos(turn * DEGREE), sr = std::sin(turn * DEGREE);
    std::vector<int> cells;
    datacells(a, &cells);
    size_t n = size_t(a.sizes[1]);
    for (size_t i = 0; i < n; ++i) {
        double x = value_of(cells[i]), y = value_of(cells[n + i]), z = value_of(cells[2 * n + i]);
        double y1 = y * ct - z * st, z1 = y * st + z * ct;
        set_value(cells[i], x * cr + z1 * sr);
        set_value(cells[n + i], y1);
        set_value(cells[2 * n + i], z1 * cr - x * sr);
    }
}

// --- set ----------------------------------------------------------------------------------

bool whole_array_operation(int c)
{
    static const struct { int sign; void (*run)(); } operations[] = {
        { '*', set_whole_rays }, { '!', sort_rays }, { ':', do_mds }, { '~', extract_a_column }, { '^', lintosqcom },
        { ')', rotate_3d_variable }
    };
    for (auto &o : operations)
        if (o.sign == c) {
            truly_clean_gtch();
            o.run();
            return true;
        }
    return false;
}
