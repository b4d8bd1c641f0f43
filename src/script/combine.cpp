// Commands for all combinations, permutations, or matrices of elements.
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/levels.h"
#include "kernel/output.h"
#include "script/expr.h"
#include "script/loops.h"
#include "script/macmem.h"
#include "script/repeat.h"
#include "script/stream.h"
#include "script/vars.h"
#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

struct combining {
    int variable;                        // first cell of the array
    std::string commands;
    std::vector<int> rows;               // first cell of each row, for matrices
};

static void needroom(long cells)
{
    if (cells < 1 || !varnumdims) return;
    int dims = remaining_dims();
    if (dims == 1 && cells > vardimis[designated][numdims])
        myerr("Variable %i has only %i values (0-%i) for dimension %i", designated, vardimis[designated][numdims],
              vardimis[designated][numdims] - 1, numdims + 1);
    if (dims < 1 && usvarname[designated] && cells > 1)
        myerr("Variable %i is no array; the combinations have up to %i values", designated, int(cells));
}

static void write(int v, const std::vector<int> &values)
{
    if (!values.empty()) safevarnum(long(v) + long(values.size()) - 1);
    for (size_t i = 0; i < values.size(); ++i) set_value(v + int(i), values[i]);
}

// False when no more are wanted.
static bool visit(const combining &c, int size)
{
    look_for_break();
    listsize = size - 1;
    fake_cmd_loop_allrecons(c.commands.c_str(), COMBINATIONS);
    return !loop_was_ended && !userstop;
}

// The next choice of ascending numbers below n; false after the last one.
static bool nextchoice(std::vector<int> &chosen, int n)
{
    int k = int(chosen.size()), i = k - 1;
    while (i >= 0 && chosen[size_t(i)] == n - k + i) --i;
    if (i < 0) return false;
    ++chosen[size_t(i)];
    for (++i; i < k; ++i) chosen[size_t(i)] = chosen[size_t(i) - 1] + 1;
    return true;
}

static std::vector<int> firstof(int n)
{
    std::vector<int> list(static_cast<size_t>(n));
    std::iota(list.begin(), list.end(), 0);
    return list;
}

static void all_combinations(const combining &c, int n, int least, int most)
{
    for (int size = least; size <= most; ++size) {
        std::vector<int> chosen = firstof(size);
        do {
            write(c.variable, chosen);
            if (!visit(c, size)) return;
        } while (nextchoice(chosen, n));
    }
}

static void all_permutations(const combining &c, int n)
{
    std::vector<int> order = firstof(n);
    do {
        write(c.variable, order);
        if (!visit(c, n)) return;
    } while (std::next_permutation(order.begin(), order.end()));
}

// The first row goes over all orders, each other one over the choices of its values; -1 fills it up.
static bool all_rows(const combining &c, const std::vector<int> &used, size_t row)
{
    int columns = used[0];
    if (row == used.size()) return visit(c, int(used.size()) * columns);
    std::vector<int> values = firstof(row ? used[row] : columns);
    bool more = true;
    while (more) {
        std::vector<int> cells = values;
        cells.resize(size_t(columns), -1);
        write(c.rows[row], cells);
        if (!all_rows(c, used, row + 1)) return false;
        more = row ? nextchoice(values, columns) : std::next_permutation(values.begin(), values.end());
    }
    return true;
}

// --- the command --------------------------------------------------------------------------

static std::vector<int> readused(int rows)
{
    std::vector<int> used;
    if (!gotc('(')) errmsg("Expected opening parenthesis", nullptr);
    for (;;) {
        used.push_back(imacnu());
        if (used.back() < 1 || used.back() > used[0]) errmsg("Number of elements must be 1 or more", nullptr);
        int c = gtnb();
        if (c == ')') break;
        if (c == ';') errmsg("Expected closing parenthesis", nullptr);
        if (c != ',') errmsg("Separate values with commas", nullptr);
    }
    if (int(used.size()) != rows) errmsg("Expected closing parenthesis", nullptr);
    return used;
}

static int readelements()
{
    int n = imacnu();
    if (n < 1) errmsg("Number of elements must be 1 or more", nullptr);
    return n;
}

static void layrows(combining *c, int rows, int columns)
{
    bool tree = varnumdims && varnumdims[designated] - numdims == 2;
    if (tree) {
        const int *sizes = vardimis[designated] + numdims;
        if (rows > sizes[0] || columns > sizes[1])
            errmsg("Array is too small for", intvert(rows), "rows and", intvert(columns), "columns", nullptr);
    }
    for (int r = 0; r < rows; ++r)
        c->rows.push_back(tree ? toint32(value_of(c->variable + r)) : c->variable + r * columns);
}

void combinecom()
{
    scriptcommand();
    if (gotc('=')) { set_nesting("combinations"); return; }
    static const bodywords words = { "endcomb", { "combine", nullptr } };
    nestedrun here;
    int n = readelements(), least = 0, most = 0;
    std::vector<int> used;
    bool permutes = gotc('*'), matrix = !permutes && gotc('^');
    if (matrix) {
        used = readused(n);
        if (n > max_curse_recs_level)
            myerr("Cannot do matrices of %ix%i with maximum recursion level %i.\nChange maximum recursion with \"combine=%i;\"\n",
                  n, used[0], max_curse_recs_level, n);
    } else if (!permutes) {
        least = most = imacnu();
        if (gotc('/')) most = imacnu();
        if (least < 0 || most < least || most > n) errmsg("Number of elements must be 1 or more", nullptr);
    }
    combining c{ get_varnum(';'), "", {} };
    if (matrix) layrows(&c, n, used[0]);
    else needroom(permutes ? n : most);
    c.commands = read_body(words);
    if (matrix) all_rows(c, used, 0);
    else if (permutes) all_permutations(c, n);
    else all_combinations(c, n, least, most);
}

const comhelp combinehelp = {
    "Run commands for all combinations of elements.", nullptr,
    "  combine N K/M X COMMANDS endcomb   the choices of K, K+1 ... M of the numbers from 0\n"
    "                                     to N-1; array X takes them\n"
    "  combine N K X COMMANDS endcomb     those of K numbers\n"
    "  combine N * X COMMANDS endcomb     the orders of all N numbers\n"
    "  combine L^(N,K,...) X COMMANDS endcomb\n"
    "                                     matrices of L rows: the first takes all orders of\n"
    "                                     N numbers, the next ones all choices of K of them,\n"
    "                                     filled up with -1; L sizes are given\n"
    "  combine = N ;                      such commands nest N deep (default 5)\n"
    "The expression listsize is the number of values in X, minus 1.  Among the\n"
    "commands \"killcomb\" ends.\n"
    "Examples:\n"
    "  macro = ; var: x[3] ; combine 4 2/3 x quote 'x[0-1]' ; endcomb macro - ;\n"
    "  macro = ; var: x[3] ; combine 3 * x quote 'x[0-2]' ; endcomb macro - ;\n"
};
