// Assignment: set and setarray.
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
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
#include <cstring>
#include <string>
#include <vector>

// --- texts --------------------------------------------------------------------------------

static std::string assigned_text()
{
    struct withdollars {
        int was = ignore_dollars;
        withdollars()  { ignore_dollars = 0; }
        ~withdollars() { ignore_dollars = was; }
    } whilehere;
    std::string text;
    for (int c; (c = gtch()) != ';'; ) {
        if (c < 33) {
            if (text.empty() || text.back() != ' ') text += ' ';
            continue;
        }
        if (c == '&' && isdigit(next_in_stream())) {
            int code = 0;
            for (int n = 0; n < 3 && isdigit(next_in_stream()); ++n) code = 10 * code + (truly_clean_gtch() - '0');
            c = code & 255;
            if (!c) continue;
        } else if (c == '.' && next_in_stream() == ',') {
            truly_clean_gtch();
            c = ';';
        }
        text += char(c);
        if (text.size() > 4 * size_t(Maxvars)) break;
    }
    ungtch();
    return text;
}

static void set_as_string(int v) { store_string(v, assigned_text()); }

// --- numbers ------------------------------------------------------------------------------

static double operate(int op, double a, double b)
{
    if (op == '/' && (nofloats ? toint32(b) == 0 : b == 0)) errmsg("Can't divide by zero", nullptr);
    if (nofloats) {
        uint32_t x = uint32_t(toint32(a)), y = uint32_t(toint32(b));
        switch (op) {
            case '+': return int32_t(x + y);
            case '-': return int32_t(x - y);
            case '*': return int32_t(x * y);
            case '/': return toint32(double(int32_t(x)) / double(int32_t(y)));
        }
    }
    switch (op) {
        case '+': return a + b;
        case '-': return a - b;
        case '*': return a * b;
        case '/': return a / b;
        case '&': return double(tobits(a) & tobits(b));
        case '|': return double(tobits(a) | tobits(b));
        default:  return double(tobits(a) ^ tobits(b));
    }
}

// A list-making expression on the right side fills the array on the left.
struct lefthand {
    explicit lefthand(int v) { begin_list(v); }
    ~lefthand() { end_list(); }
    lefthand(const lefthand &) = delete;
    lefthand &operator=(const lefthand &) = delete;
};

// What is done with the right side: 0 it replaces the value, else one of + - * / & | ^.  False for ++ and
// --, which have none.
static bool readoperator(int *op)
{
    *op = 0;
    int c = clean_peep();
    if (c == '=') { gtch(); return true; }
    if (!strchr("+-*/&|^", c)) return true;
    gtch();
    int next = next_in_stream();
    if (next == '=') { gtch(); *op = c; return true; }
    if (next == c && (c == '+' || c == '-')) {
        gtch();
        *op = c;
        return false;
    }
    if (c != '-') errmsg("Invalid syntax in set command", nullptr);
    ungtch();                            // the sign of the first number
    return true;
}

static void echo_assignment(int v)
{
    if (!macroreport) return;
    tojoin("SET ");
    tojoin(usvarname[v] ? usvarname[v] : intvert(v));
    tojoin(" = ");
    tojoin(value_text(value_of(v)).c_str());
    spewout();
}

[[noreturn]] static void excep_raiser(int var, int dims)
{
    char text[300];
    snprintf(text, sizeof text, "Cannot re-set array under protection mode 2\nVar. %i (%s) has %i dimensions, not %i", var,
             usvarname[var] ? usvarname[var] : "unnamed", varnumdims[var], varnumdims[var] - dims);
    errmsg(text, nullptr);
}

static void set_variable()
{
    gotc('=');
    int v = get_varnum(';'), array = designated, left = remaining_dims();
    int c = clean_peep();
    if (c == '$') {
        truly_clean_gtch();
        set_as_string(v);
        return;
    }
    if (c == ';') errmsg("Set requires a value or expression", nullptr);
    bool protects = left > 0 && macprotmod == 2;
    int op;
    lefthand side(v);
    if (readoperator(&op)) {
        listsize_made = 0;
        double value = evaluate_expression();
        if (!listsize_made) {
            if (protects) excep_raiser(array, left);
            set_value(v, op ? operate(op, value_of(v), value) : value);
        }
    } else {
        if (protects) excep_raiser(array, left);
        set_value(v, operate(op, value_of(v), 1));
    }
    echo_assignment(v);
}

static void setpadding(int on)
{
    pad_conversions = on;
    if (report_status) joinem(on ? "A" : "Not a", "dding space in string conversions\n", nullptr);
}

void setcom()
{
    scriptcommand();
    int c = clean_peep();
    if (whole_array_operation(c)) return;
    if (c == '+' || c == '-') {
        gtch();
        setpadding(c == '+');
        return;
    }
    set_variable();
}

const comhelp sethelp = {
    "Give a variable a value.", nullptr,
    "  set X EXPRESSION ;    variable X, a number or name, takes the value\n"
    "  set X[I J] EXPR ;     the same for a cell of an array\n"
    "  set X += EXPR ;       add to it; in the same way -= *= /= and, for the bits of\n"
    "                        integers, &= |= ^=\n"
    "  set X ++ ;            add 1; X -- takes 1 away\n"
    "  set X $TEXT ;         X keeps a text; \"&N\" is the character of code N, and \".,\" a\n"
    "                        semicolon\n"
    "  set + ;               texts ($X) are followed by a blank where they are inserted\n"
    "  set - ;               they are not (the default)\n"
    "  set * A B + C ;       operate on whole arrays, cell by cell: + - * / & | ^; > the\n"
    "                        larger and < the smaller; == != ?> ?< ?>= ?<= give 1 or 0.\n"
    "                        A number in place of B or C is the same for all cells, and\n"
    "                        \"+ C\" may be left out\n"
    "  set * A += B ;        the same with A itself; also -= *= /= &= |= ^=\n"
    "  set * A *N ;          random numbers, 0 to N (at most 32767)\n"
    "  set ! A B ;           A takes the places of the cells of B, in increasing order\n"
    "  set ~ A:N B ;         column N of array B, of two dimensions\n"
    "  set ^ A B ;           the values below the diagonal of a symmetric square, B\n"
    "  set ) A T R ;         rotate A[3 N], points in space: T degrees about x, R about y\n"
    "  set : A B /W ;        A[K N] are points whose distances are as near to B[N N] as\n"
    "                        can be; W are weights of elements or distances, and may be\n"
    "                        left out.  The expression regr tells how near\n"
    "What expressions can ask for is listed by \"help+\"; some make lists, which\n"
    "fill the array they are given to.\n"
    "Expressions are evaluated from left to right, without precedence: 2+3*4 is 20.\n"
    "A name in them is the number of that variable; its value is in quotes, as in 'x'.\n"
    "Examples:\n"
    "  macro = ; var: x ; set x 2+3*4 ; quote 'x' and '/6.2x' ; set x ++ ; var x ;\n"
    "  set 50 length[0] ; set 50 += homo[0 3] ; var 50 ;\n"
    "  macro - ; macro = ; var: y[9] ; set y deslist[0 root] ; var y ; set * y 5 ;\n"
    "  set 90 $bees.zel ; quote The file is $90. ; macro - ;\n"
};

// --- setarray -----------------------------------------------------------------------------

static std::vector<int> readsizes()
{
    std::vector<int> sizes;
    if (!isdigit(clean_peep()) && clean_peep() != '(') errmsg("Must specify dimension", nullptr);
    for (;;) {
        int n = imacnu();
        if (n < 1 || sizes.size() == MAXDIMS) errmsg("Must specify dimension", nullptr);
        sizes.push_back(n);
        if (!gotc(',')) break;
    }
    return sizes;
}

static double readvalue(int level)
{
    if (curproc->at_eof || giveme_curproc_level() < level) errmsg("End of file while reading array", nullptr);
    if (clean_peep() == ';') {
        if (curproc->at_eof) errmsg("End of file while reading array", nullptr);
        errmsg("Not enough values specified in array", nullptr);
    }
    return macnu();
}

static void read_rows(int v, const int *sizes, size_t dims, int level)
{
    for (int i = 0; i < sizes[0]; ++i) {
        safevarnum(long(v) + i);
        if (dims > 1) read_rows(toint32(value_of(v + i)), sizes + 1, dims - 1, level);
        else {
            gotc(',');
            set_value(v + i, readvalue(level));
        }
    }
}

static void read_array_in(int v, const std::vector<int> &sizes)
{
    long values = 1;
    for (int n : sizes) values *= n;
    if (report_status) joinem("Reading ", intvert(values), " values) into ", usvarname[v] ? usvarname[v] : intvert(v), "\n", nullptr);
    read_rows(v, sizes.data(), sizes.size(), giveme_curproc_level());
    if (peep() != ';') errmsg("Setarray must end with a semicolon", nullptr);
}

void setarraycom()
{
    scriptcommand();
    std::vector<int> sizes = readsizes();
    int v = get_varnum(';');
    int dims = remaining_dims();
    if (macprotmod == 2 && int(sizes.size()) < dims)
        errmsg("Too few dimensions to set (under protection mode 2, cannot re-set arrays)", nullptr);
    if (macprotmod) {
        if (int(sizes.size()) > dims)
            errmsg("Variable", intvert(designated), "has only", intvert(dims), "dimensions", nullptr);
        const int *has = vardimis[designated] + numdims;
        for (size_t d = 0; d < sizes.size(); ++d)
            if (sizes[d] > has[d])
                myerr("Variable %i has only %i values (0-%i) for dimension %i", designated, has[d], has[d] - 1, int(d) + 1);
        if (numdims) v = toint32(value_of(v));
    }
    read_array_in(v, sizes);
}

const comhelp setarrayhelp = {
    "Fill an array with values.", nullptr,
    "  setarray N X VALUES ;       N values into array X\n"
    "  setarray N,M,... X VALUES ; the same for more dimensions, row after row\n"
    "The sizes may be smaller than those of the array.  Typed at the console, where a\n"
    "comma ends a command, sizes are those of one dimension.\n"
    "Examples:\n"
    "  macro = ; var: x[5] ; setarray 5 x 3 1 4 1 5 ; var x ; macro - ;\n"
};
