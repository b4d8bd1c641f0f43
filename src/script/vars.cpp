// The table of variables: designations, arrays, names, and texts kept in cells.
#include "script/vars.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "script/expr.h"
#include "script/stream.h"
#include <algorithm>
#include <cassert>
#include <climits>
#include <cmath>
#include <cstring>

double  *usvar;
int32_t *iusvar;
char   **usvarname;
int     *defdvarnames, num_defdvarnames, highest_varname, addatvar;
uint8_t *varnumdims;
int    **vardimis;
int dimis[MAXDIMS], numdims, designated, dim_range_start, dim_range_is = -1, separator_is = ' ';
int retain_current_variables;

void lay_dimensions()
{
    varnumdims = nullptr;
    vardimis = nullptr;
    if (macprotmod) {
        varnumdims = reinterpret_cast<uint8_t *>(macloram(size_t(Maxvars)));
        memset(varnumdims, 0, size_t(Maxvars));
        vardimis = reinterpret_cast<int **>(macloray(size_t(Maxvars), MAXDIMS, sizeof(int)));
    }
    defdvarnames = reinterpret_cast<int *>(macloram(size_t(Maxvars) * sizeof(int)));
}

void lay_variables()
{
    size_t n = size_t(Maxvars);
    char *values = macloram(n * (nofloats ? sizeof(int32_t) : sizeof(double)));
    memset(values, 0, n * (nofloats ? sizeof(int32_t) : sizeof(double)));
    usvar = nofloats ? nullptr : reinterpret_cast<double *>(values);
    iusvar = nofloats ? reinterpret_cast<int32_t *>(values) : nullptr;
    usvarname = reinterpret_cast<char **>(macloram(n * sizeof(char *)));
    std::fill_n(usvarname, n, nullptr);
    num_defdvarnames = highest_varname = addatvar = 0;
}

void forget_tables()
{
    usvar = nullptr;
    iusvar = nullptr;
    usvarname = nullptr;
    defdvarnames = nullptr;
    varnumdims = nullptr;
    vardimis = nullptr;
    num_defdvarnames = highest_varname = addatvar = 0;
}

int32_t toint32(double x)
{
    if (!(x > INT32_MIN)) return x != x ? 0 : INT32_MIN;
    return x < INT32_MAX ? int32_t(x) : INT32_MAX;
}

int64_t tobits(double x)
{
    return x > INT32_MAX ? int64_t(std::min(x, double(UINT32_MAX))) : toint32(x);
}

void set_value(int v, double x)
{
    if (nofloats) iusvar[v] = toint32(x);
    else usvar[v] = x;
}

std::string value_text(double x)
{
    char text[800];
    if (nofloats) snprintf(text, sizeof text, "%i", toint32(x));
    else if (x == std::trunc(x) && std::fabs(x) < 1e15) snprintf(text, sizeof text, "%.0f", x + 0.0);
    else snprintf(text, sizeof text, float_format, x);
    return strcmp(text, "-0") ? text : "0";
}

// --- names --------------------------------------------------------------------------------

int find_varname(const char *name)
{
    for (int i = num_defdvarnames - 1; i >= 0; --i)
        if (!strcmp(usvarname[defdvarnames[i]], name)) return defdvarnames[i];
    return -1;
}

char *names_end()
{
    char *end = nullptr;
    for (int i = 0; i < num_defdvarnames; ++i) {
        const char *name = usvarname[defdvarnames[i]];
        end = std::max(end, const_cast<char *>(name) + strlen(name) + 1);
    }
    return end;
}

static void forget_name(int i)               // the i-th of those defined
{
    int v = defdvarnames[i];
    usvarname[v] = nullptr;
    if (varnumdims) {
        int end = i + 1 < num_defdvarnames ? defdvarnames[i + 1] : std::max(highest_varname, v + 1);
        std::fill(varnumdims + v, varnumdims + std::min(end, Maxvars), uint8_t(0));
    }
    std::copy(defdvarnames + i + 1, defdvarnames + num_defdvarnames, defdvarnames + i);
    --num_defdvarnames;
}

void forget_names_from(int v)
{
    while (num_defdvarnames && defdvarnames[num_defdvarnames - 1] >= v) forget_name(num_defdvarnames - 1);
}

void chk_ifvalid_varname(const char *name)
{
    if (find_expression(name)) myerr("Can't use %s for a user-variable (%s is a reserved expression)", name, name);
}

int  current_highest()  { return std::max(highest_varname, addatvar); }
void set_highest(int v) { highest_varname = v; }

void close_file_varnames(char *mark)
{
    if (retain_current_variables) return;
    for (int i = num_defdvarnames - 1; i >= 0 && defdvarnames[i] >= addatvar; --i)
        if (usvarname[defdvarnames[i]] >= mark) forget_name(i);
    macloset(std::min(maclomark(), std::max(mark, names_end())));
}

// --- arrays -------------------------------------------------------------------------------

long cells_needed()
{
    long cells = 0, level = 1;
    for (int d = 0; d < numdims; ++d) {
        level = std::min(level * dimis[d], long(INT_MAX));
        cells = std::min(cells + level, long(INT_MAX));
    }
    return cells;
}

static int nexadress;                        // the cell that the next row takes

// The cells from v up lead to the rows of a level, one each.
static void var_to_set(int v, int cells, int level)
{
    for (int i = v; i < v + cells; ++i) {
        set_value(i, nexadress);
        nexadress += dimis[level];
        if (!varnumdims) continue;
        varnumdims[i] = uint8_t(numdims - level);
        std::copy(dimis + level, dimis + numdims, vardimis[i]);
    }
}

void set_dimensions(int var)
{
    int cells = dimis[0], at = var;
    nexadress = var + cells;
    for (int level = 1; level < numdims; ++level) {
        var_to_set(at, cells, level);
        at += cells;
        cells *= dimis[level];
    }
    if (!varnumdims) return;
    std::fill(varnumdims + at, varnumdims + at + cells, uint8_t(0));
    varnumdims[var] = uint8_t(numdims);      // the first cell stands for the array, though it leads to its first row, too
    std::copy(dimis, dimis + numdims, vardimis[var]);
}

int give_one_cell_in_array(int var, const int *subscripts, int n)
{
    int v = var + subscripts[0];
    for (int d = 1; d < n; ++d) {
        safevarnum(v);
        v = toint32(value_of(v)) + subscripts[d];
    }
    safevarnum(v);
    return v;
}

int remaining_dims() { return varnumdims ? varnumdims[designated] - numdims : 0; }

void safevarnum(long v)
{
    if (v < 0 || v >= Maxvars) errmsg("No variable", intvert(v), "(only", intvert(Maxvars), "variables in use)", nullptr);
}

// --- designations -------------------------------------------------------------------------

static std::string described(int v)
{
    std::string text = std::to_string(v);
    if (usvarname[v]) text += std::string(" (") + usvarname[v] + ")";
    return text;
}

[[noreturn]] static void outside(int var, int dim)
{
    myerr("Variable %i has only %i values (0-%i) for dimension %i", var, vardimis[var][dim], vardimis[var][dim] - 1, dim + 1);
}

// Reading a subscript may read other designations, so all is gathered here first.
struct subscripts {
    int used[MAXDIMS], n = 0, from = 0, to = -1, separator = ' ';
};

static void readrange(int var, int dims, subscripts *s)
{
    if (!macprotmod) errmsg("Ranges valid only under macro protected mode", nullptr);
    if (s->n + 1 != dims) errmsg("Ranges are valid only for the last dimension", nullptr);
    truly_clean_gtch();
    s->to = imacnu();
    if (clean_peep() == '&') {
        truly_clean_gtch();
        s->separator = imacnu() & 255;
        if (!s->separator) s->separator = ' ';
    }
    if (s->to < s->from || s->to >= vardimis[var][s->n]) outside(var, s->n);
}

int check_dims(int var, int quote)
{
    if (var < 0 || var >= Maxvars) errmsg("No variable number", intvert(var), nullptr);
    int c = next_in_stream(), v = var;
    subscripts s;
    if (c != quote && c == '[') {
        truly_clean_gtch();
        int dims = varnumdims ? varnumdims[var] : MAXDIMS;
        while ((c = clean_peep()) != ']') {
            if (c == ',') {
                truly_clean_gtch();
                if (clean_peep() == ']') break;
            }
            if (s.n == dims)
                errmsg("Variable", described(var).c_str(), "has only", intvert(dims), "dimensions", nullptr);
            if (s.n) v = toint32(value_of(v));
            s.from = imacnu();
            if (s.from < 0) errmsg("No variable", intvert(s.from), nullptr);
            if (clean_peep() == '-') readrange(var, dims, &s);
            if (varnumdims && s.from >= vardimis[var][s.n]) outside(var, s.n);
            s.used[s.n++] = s.from;
            if (__builtin_add_overflow(v, s.from, &v)) v = INT_MAX;
            safevarnum(v);
            if (s.to >= 0 && clean_peep() != ']') errmsg("Ranges are valid only for the last dimension", nullptr);
        }
        if (c == ',' || !s.n) errmsg("Unexpected closing bracket, ]", nullptr);
        truly_clean_gtch();
    }
    designated = var;
    std::copy(s.used, s.used + s.n, dimis);
    numdims = s.n;
    dim_range_start = s.from;
    dim_range_is = s.to;
    separator_is = s.separator;
    return v;
}

int get_varnum(int quote)
{
    exprflags within;
    bool dollars = is_for_dollars;
    matched_varname = 0;
    show_matched_varname = 1;
    double value = macnu();
    show_matched_varname = 0;
    if (dollars && value == -1 && !matched_varname) return -1;
    if (!didparents && value != std::trunc(value)) errmsg("Expected integral number", nullptr);
    long v = toint32(value);
    if (!matched_varname || didparents) v += addatvar;
    if (v < 0) errmsg("No variable", intvert(v), nullptr);
    return check_dims(int(std::min<long>(v, INT_MAX)), quote);
}

// --- texts --------------------------------------------------------------------------------

static char *bytes_at(int v)
{
    return nofloats ? reinterpret_cast<char *>(iusvar + v) : reinterpret_cast<char *>(usvar + v);
}

// Words of four bytes, of which a cell of floating point holds two.
static size_t room_for_text(int v) { return 4 * size_t(Maxvars - v); }

std::string string_at(int v)
{
    size_t most = std::min(room_for_text(v), size_t(MAXCONVERSION));
    const char *text = bytes_at(v);
    return std::string(text, strnlen(text, most));
}

void store_string(int v, const std::string &text)
{
    if (text.size() + 1 > room_for_text(v)) {
        std::string last = intvert(Maxvars - 1);
        errmsg("String too long (it exceeds variable", (last + ")").c_str(), nullptr);
    }
    size_t words = text.size() / 4 + 1;      // the end is in the last word
    char *to = bytes_at(v);
    memset(to, 0, 4 * words);
    memcpy(to, text.data(), text.size());
}

void checkvariables()
{
    assert((usvar != nullptr) != (iusvar != nullptr));
    assert(num_defdvarnames >= 0 && num_defdvarnames <= Maxvars && addatvar >= 0 && highest_varname >= 0);
    for (int i = 0; i < num_defdvarnames; ++i) {
        [[maybe_unused]] int v = defdvarnames[i];
        assert(v >= 0 && v < Maxvars && (!i || v > defdvarnames[i - 1]));
        assert(usvarname[v] >= macrostart_loseg && usvarname[v] < macro_lotop);
        assert(!varnumdims || varnumdims[v] <= MAXDIMS);
    }
}
