// Tables of one value for each element (tree, character, taxon).
//
// The default form is to be looked at: ten values a line under the last digit of the element's
// number, the rest of the number before the line.  It lines up in any fixed-width view:
//
//     Tree length
//           0   1   2   3   4   5   6   7   8   9
//      0  385 387     390 385
//
// The optional form is to be read by other programs: one element a line, its number and its value
// with a tab between.
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

int  table_precision = 5;
int  ischartable;
char tabletitle[256];
int  optional_tables;
void (*printable)(const int *values, int rows) = printable_default;
void (*printable_floats)(const double *values, int rows) = printable_default_floats;

constexpr int A_LINE = 10;
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

static void title()
{
    if (!tabletitle[0]) return;
    tojoin(tabletitle);
    spewout();
}

template<class T> static void defaulttable(const T *values, int rows)
{
    std::vector<std::string> cells;
    size_t width = 1;
    for (int i = 0; i < rows; ++i) {
        cells.push_back(cell(values[i]));
        width = std::max(width, cells.back().size());
    }
    int last = rows > 0 ? (rows - 1) / A_LINE * A_LINE : 0;
    size_t margin = std::max<size_t>(3, std::to_string(last).size()) + 1;
    auto put = [](const std::string &text, size_t columns) {
        spewspx(int(columns - std::min(columns, text.size())));
        tojoin(text.c_str());
    };

    title();
    spewspx(int(margin));
    for (int i = 0; i < A_LINE; ++i) put(std::to_string(i), width + 2);
    spewout();
    for (int i = 0; i < rows; i += A_LINE) {
        put(std::to_string(i), margin);
        int end = std::min(i + A_LINE, rows);
        while (end > i && cells[size_t(end) - 1].empty()) --end;       // no blanks at the end of a line
        for (int j = i; j < end; ++j) put(cells[size_t(j)], width + 2);
        spewout();
    }
}

template<class T> static void optionaltable(const T *values, int rows)
{
    title();
    for (int i = 0; i < rows; ++i) {
        if (values[i] == NOTASKED) continue;
        joinem(intvert(i), "\t", cell(values[i]).c_str(), "\n", nullptr);
    }
}

void printable_default(const int *values, int rows)            { defaulttable(values, rows); }
void printable_optional(const int *values, int rows)           { optionaltable(values, rows); }
void printable_default_floats(const double *values, int rows)  { defaulttable(values, rows); }
void printable_optional_floats(const double *values, int rows) { optionaltable(values, rows); }

void set_table_pointers()
{
    printable = optional_tables ? printable_optional : printable_default;
    printable_floats = optional_tables ? printable_optional_floats : printable_default_floats;
}

// --- the command tables ------------------------------------------------------------------

constexpr int FINEST = 10;               // decimals

static void precisioncom()
{
    if (peep() == ';') {
        joinem("Floating point precision is ", intvert(table_precision), "\n", nullptr);
        return;
    }
    long n = std::max(0L, gtnu());
    if (n > FINEST) myerr("Can't set precision to %i (maximum is %i)", int(std::min(n, 2147483647L)), FINEST);
    table_precision = int(n);
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
    "  =      tables for other programs: one element a line, number and value with a tab between\n"
    "  -      tables for reading: ten values a line (the default)\n"
    "  / N    write N decimals, 0 to 10 (default 5)\n"
    "  /;     tell the number of decimals\n"
    "Examples:\n"
    "  tables / 2 ;\n"
    "  tables = ;\n"
};
