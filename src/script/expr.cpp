// Numbers and expressions of the macro language.  Evaluation is strictly left to right; parentheses
// are the only grouping, and both sides of a logical operator are always evaluated.
#include "script/expr.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "script/macmem.h"
#include "script/stream.h"
#include "script/vars.h"
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstring>
#include <strings.h>

int pares, stop_on_balance, didparents, is_for_dollars, show_matched_varname, matched_varname, found_comma, doingif;
int listsize, liststart = -1;
double last_exstatus;
char exprword[500];
static bool in_argument;                 // the expression names an argument of a file
static int  depth;                       // expressions within expressions
constexpr int MOSTDEPTH = 200, MOSTBITS = 30;

void reset_expressions()
{
    pares = stop_on_balance = didparents = is_for_dollars = show_matched_varname = matched_varname = found_comma = doingif = 0;
    liststart = -1;
    in_argument = false;
    depth = 0;
}

// --- operators ----------------------------------------------------------------------------

static const char *const relations[] = { "==", ">=", "<=", ">", "<", "!=", "&&", "||" };

bool islog(int c1, int c2)
{
    char pair[3] = { char(c1), char(c2), 0 };
    for (const char *op : relations)
        if (op[1] && !strcmp(op, pair)) return true;
    ungtch();
    return false;
}

int compis(const char *op, double a, double b)
{
    switch (*op) {
        case '=': return a == b;
        case '!': return a != b;
        case '>': return op[1] ? a >= b : a > b;
        default:  return op[1] ? a <= b : a < b;
    }
}

static double apply(int op, double a, double b)
{
    switch (op) {
        case '+': return a + b;
        case '-': return a - b;
        case '*': return a * b;
        case '&': return double(tobits(a) & tobits(b));
        case '|': return double(tobits(a) | tobits(b));
        case '^': return double(tobits(a) ^ tobits(b));
    }
    if (b == 0) errmsg("Can't divide by zero", nullptr);
    return a / b;
}

// --- numbers ------------------------------------------------------------------------------

static double bitset()
{
    uint32_t bits = 0;
    while (clean_peep() != '}') {
        int b = imacnu();
        if (b < 0) errmsg("Cannot set negative bits: -", intvert(-long(b)), nullptr);
        if (b >= MOSTBITS) errmsg("Can't store more than 30 bits (0-29) in variables", nullptr);
        bits |= 1u << b;
    }
    gtch();
    return bits;
}

static bool endsword(int c) { return c < 33 || strchr("|!&()*+-/@;<=>[]{}\"',:", c); }

// A quote mark ends the word before the stream can take it for the beginning of a value.
static void readword(int c)
{
    int n = 0, points = 0;
    bool number = c < 128 && isdigit(c);
    for (;;) {
        if (n < int(sizeof exprword) - 1) exprword[n++] = char(c);
        int next = next_in_stream();
        if (next == '\'' || next == '"') break;
        c = gtch();
        if (endsword(c) || (c == '.' && points++) || (number && c != '.' && !(c < 128 && isdigit(c)))) {
            ungtch();
            break;
        }
    }
    exprword[n] = 0;
}

static int taxon_or_character()
{
    if (!nt) return -1;
    for (int t = 0; t < nt; ++t)
        if (!strcasecmp(taxname[t], exprword)) return t;
    if (charnames)
        for (int c = 0; c < nc; ++c)
            if (charnames[c] && !strcasecmp(charnames[c], exprword)) return c;
    return -1;
}

// An expression within another.
struct deeper {
    int was = depth++;
    deeper()
    {
        if (was < MOSTDEPTH) return;
        depth = was;
        errmsg("Expression has too many nested parentheses", nullptr);
    }
    ~deeper() { depth = was; }
};

static double parenthesis()
{
    exprflags within;
    deeper here;
    stop_on_balance = pares = 1;
    is_for_dollars = 0;
    double value = expresval();
    didparents = 1;
    return value;
}

static double unrecognized(bool dollars)
{
    if (dollars) return -1;
    errmsg("Unrecognized variable:", exprword, nullptr);
}

double macnu()
{
    bool dollars = is_for_dollars;
    is_for_dollars = didparents = 0;
    bool shows = show_matched_varname == 1;
    show_matched_varname = 0;
    int c = gtnb();
    double sign = 1;
    if (c == '-') {
        sign = -1;
        c = gtnb();
    }
    if (c == ';') {
        ungtch();
        return -1;
    }
    if (c == '(') return sign * parenthesis();
    if (c == '{') return sign * bitset();
    if (strchr("!&)*+-/@.;<=>[]}|", c)) myerr("Symbol '%c' found when expecting number or expression", c);
    readword(c);
    if (isdigit(c)) {
        double value = 0;
        std::from_chars(exprword, exprword + strlen(exprword), value);
        return sign * value;
    }
    int v = find_varname(exprword);
    if (v >= 0) {
        if (shows) matched_varname = 1;
        return sign * v;
    }
    int found = 0;
    double value = internal_variable(&found);
    didparents = 0;                          // also when an argument came from parentheses
    if (found) return sign * value;
    if (read_taxcharnames && (v = taxon_or_character()) >= 0) return sign * v;
    return unrecognized(dollars);
}

int imacnu()
{
    bool dollars = is_for_dollars;
    double value = macnu();
    if (value == -1 && dollars) return -1;
    if (!didparents && value != std::trunc(value)) errmsg("Expected integral number", nullptr);
    return toint32(value);
}

int getst()
{
    constexpr int LONGEST = 100;
    int n = 0, c = gtnb();
    for (; c > 32 && !strchr("[],;", c) && n < LONGEST; c = gtch()) cmdname[n++] = char(c);
    ungtch();
    cmdname[n] = 0;
    return static_cast<unsigned char>(cmdname[0]);
}

// --- expressions --------------------------------------------------------------------------

static bool beginsoperand(int c) { return isdigit(c) || c == '\'' || c == '"' || c == '(' || c == ';'; }

// The minus sign of the first operand may stand before '!'; that of others belongs to their number.
static double operand(bool first)
{
    bool negates = false, negative = first && gotc('-');
    int c;
    while ((c = gtnb()) == '!') negates = !negates;
    double value;
    bool atom = c != '(';
    if (!atom) {
        deeper here;
        value = expresval();
        didparents = 1;
    } else {
        ungtch();
        exprflags within;
        value = macnu();
    }
    if (macroreport && doingif && atom) {
        char text[40];
        snprintf(text, sizeof text, " %g", value);
        tojoin(text);
    }
    if (negative) value = -value;
    return negates ? value == 0 : value;
}

// What stands between two operands: an arithmetic sign (of one character), or an operator.
static void readoperator(int c, char *op)
{
    op[0] = char(c);
    op[1] = op[2] = 0;
    if (strchr("+-*/", c)) return;
    int next = next_in_stream();
    bool single = beginsoperand(next) || next < 33;
    if (single && strchr("&|^<>", c)) return;
    next = gtch();
    if (!islog(c, next)) {
        char pair[3] = { char(c), char(next), 0 };
        errmsg("\nSymbol", pair, "is not a logical expression or operator", nullptr);
    }
    op[1] = char(next);
}

double expresval()
{
    ++pares;
    found_comma = 0;
    bool bracketed = gotc('[');
    if (bracketed) ++pares;
    int sign = gtnb();
    if (strchr("=+&*/^|", sign)) errmsg("Cannot start expression with", charvert(sign), nullptr);
    ungtch();

    double result = 0, left = 0;
    char arithmetic = '+', relation[3] = "";
    for (bool first = true; ; first = false) {
        result = apply(arithmetic, result, operand(first));
        if (!strcmp(relation, "&&")) result = left && result;
        else if (!strcmp(relation, "||")) result = left || result;
        else if (*relation) result = compis(relation, left, result);
        *relation = 0;
        if (stop_on_balance && pares == 1) return result;

        int c = gtnb();
        if (bracketed && (c == ',' || c == ']')) {
            found_comma = c == ',';
            if (found_comma) ungtch();
            c = ')';
        }
        if (c == ';') {
            ungtch();
            if (stop_on_balance) errmsg("Found unexpected ';'", nullptr);
            if (pares - 1) errmsg("Unbalanced '(' in expression", nullptr);
            return result;
        }
        if (c == ')') {
            if (--pares < 1) errmsg("Unbalanced ')' in expression", nullptr);
            return result;
        }
        if (!strchr("!(*+-/<>=&|^", c)) {
            if (in_argument) myerr("Expected parentheses, found %c", c);
            errmsg("Found illegal character in expression:", charvert(c), nullptr);
        }
        char op[3];
        readoperator(c, op);
        if (!op[1] && strchr("+-*/&|^", c)) {
            arithmetic = char(c);
            continue;
        }
        strcpy(relation, op);
        left = op[1] == '&' || op[1] == '|' ? result != 0 : result;
        result = 0;
        arithmetic = '+';
    }
}

double evaluate_expression()
{
    exprflags within;
    pares = stop_on_balance = is_for_dollars = show_matched_varname = 0;
    return expresval();
}

double one_operand()
{
    exprflags within;
    pares = is_for_dollars = show_matched_varname = 0;
    stop_on_balance = 1;
    return expresval();
}

long bracketed_operand()
{
    exprflags within;
    gtch();
    in_argument = true;
    pares = stop_on_balance = is_for_dollars = show_matched_varname = 0;
    pares = 1;
    double value = expresval();
    in_argument = false;
    return toint32(value);
}
