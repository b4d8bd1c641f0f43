// Tables of one value for each element (tree, character, taxon).
//
// The default form is to be looked at: ten values a line under the last digit of the element's
// number, the rest of the number before the line.  It lines up in any fixed-width view:
//
//     Tree length
//           0   1   2   3   4   5   6   7   8   9
//      0  385 387     390 385
//
// The optional form is to be read by other programs, too: one element a line, its number and its
// value with a tab between.  Both are padded to one width, so that it lines up as well.
//
// Characters that have names are shown by name where names are in use: one a line in either form,
// the name (its end cut off when it is very long) between number and value.
#include "kernel/below.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

int  table_precision = 5;
int  ischartable;
char tabletitle[256];
int  optional_tables;
int  bremer_precision;
void (*printable)(const int *values, int rows) = printable_default;
void (*printable_floats)(const double *values, int rows) = printable_default_floats;

constexpr int A_LINE = 10;
constexpr size_t LONGESTNAME = 40;       // columns of a name in a table
constexpr int NOTASKED = -1, PLAINMARK = -4, FIRSTMARK = -5;

static std::string cell(int value)
{
    switch (value) {
        case NOTASKED:  return "";
        case PLAINMARK: return "-";      // nothing to report for the element
        case FIRSTMARK: return "*";      // the first of several
    }
    return std::to_string(value);
}

static std::string cell(double value)
{
    if (value == NOTASKED) return "";
    if (value == PLAINMARK || value == FIRSTMARK) return cell(int(value));
    char text[400];
    snprintf(text, sizeof text, "%.*f", table_precision, value);
    return text;
}

// Columns of a text in a view: its code points.
static size_t columns(const std::string &text)
{
    return size_t(std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xc0) != 0x80; }));
}

static void put(const std::string &text, size_t width)           // right-aligned
{
    spewspx(int(width - std::min(width, columns(text))));
    tojoin(text.c_str());
}

// The cells as text, and the columns of the widest.
struct tablecells {
    std::vector<std::string> texts;
    size_t width = 1;
    template<class T> tablecells(const T *values, int rows)
    {
        for (int i = 0; i < rows; ++i) {
            texts.push_back(cell(values[i]));
            width = std::max(width, texts.back().size());
        }
    }
};

static size_t digits(int last) { return std::to_string(std::max(0, last)).size(); }

static void grid(const tablecells &cells, int rows)
{
    size_t margin = std::max<size_t>(3, digits((rows - 1) / A_LINE * A_LINE)) + 1;
    spewspx(int(margin));
    for (int i = 0; i < A_LINE; ++i) put(std::to_string(i), cells.width + 2);
    endrow();
    for (int i = 0; i < rows; i += A_LINE) {
        put(std::to_string(i), margin);
        int end = std::min(i + A_LINE, rows);
        while (end > i && cells.texts[size_t(end) - 1].empty()) --end;       // no blanks at the end of a line
        for (int j = i; j < end; ++j) put(cells.texts[size_t(j)], cells.width + 2);
        endrow();
    }
}

static std::string rowname(int row)
{
    const char *given = ischartable ? charname_in_use(row) : nullptr;
    std::string name = given ? given : "";
    if (columns(name) <= LONGESTNAME) return name;
    size_t end = 0;
    for (size_t n = 0; n < LONGESTNAME; ++n)
        do ++end; while ((name[end] & 0xc0) == 0x80);
    return name.substr(0, end);
}

// One element a line; what was not asked for has none.
static void list(const tablecells &cells, int rows, const std::vector<std::string> &names, const char *separator)
{
    size_t number = digits(rows - 1), widest = 0;
    for (const std::string &name : names) widest = std::max(widest, columns(name));
    for (int i = 0; i < rows; ++i) {
        const std::string &value = cells.texts[size_t(i)];
        if (value.empty()) continue;
        put(std::to_string(i), number);
        tojoin(separator);
        if (widest) {
            tojoin(names[size_t(i)].c_str());
            spewspx(int(widest - columns(names[size_t(i)])));
            tojoin(separator);
        }
        put(value, cells.width);
        endrow();
    }
}

template<class T> static void table(const T *values, int rows, bool optional)
{
    table_to_array(values, rows);
    if (tabletitle[0]) {
        tojoin(tabletitle);
        spewout();
    }
    tablecells cells(values, rows);
    std::vector<std::string> names;
    bool named = false;
    for (int i = 0; i < rows; ++i) {
        names.push_back(cells.texts[size_t(i)].empty() ? "" : rowname(i));
        named |= !names.back().empty();
    }
    if (optional || named) list(cells, rows, names, optional ? "\t" : "  ");
    else grid(cells, rows);
}

void printable_default(const int *values, int rows)            { table(values, rows, false); }
void printable_optional(const int *values, int rows)           { table(values, rows, true); }
void printable_default_floats(const double *values, int rows)  { table(values, rows, false); }
void printable_optional_floats(const double *values, int rows) { table(values, rows, true); }

void set_table_pointers()
{
    printable = optional_tables ? printable_optional : printable_default;
    printable_floats = optional_tables ? printable_optional_floats : printable_default_floats;
}

// --- the command tables ------------------------------------------------------------------

constexpr int FINEST = 10;               // decimals

void set_bremer_precision(int decimals) { bremer_precision = decimals; }

static void precisioncom()
{
    if (peep() == ';') {
        joinem("Floating point precision is ", intvert(table_precision), "\n", nullptr);
        return;
    }
    long n = std::max(0L, gtnu());
    if (n > FINEST) myerr("Can't set precision to %i (maximum is %i)", int(std::min(n, 2147483647L)), FINEST);
    table_precision = int(n);
    if (dopiwe) set_bremer_precision(table_precision);
}

void tablescom()
{
    if (gotc('/')) {
        precisioncom();
        notime();
        return;
    }
    onoff(&optional_tables, "Optional tables");
    set_table_pointers();
}

const comhelp tableshelp = {
    "Choose the form of tables.", nullptr,
    "  tables = ;     for other programs: one element a line, with a tab between its\n"
    "                 number and its value\n"
    "  tables - ;     for reading: ten values a line (the default)\n"
    "  tables ;       tell the form\n"
    "  tables / N ;   write N decimals, 0 to 10 (default 5); under implied weighting,\n"
    "                 Bremer supports are written with as many\n"
    "  tables / ;     tell the number of decimals\n"
    "Characters that have names (see \"cnames\") are shown by name, one a line.\n"
    "Examples:\n"
    "  tables / 2 ;\n"
    "  tables = ; length ; tables - ;\n"
};
