// Naming variables and showing them: the command var, and private.
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "script/correl.h"
#include "script/expr.h"
#include "script/frames.h"
#include "script/loops.h"
#include "script/macmem.h"
#include "script/refusal.h"
#include "script/stream.h"
#include "script/vars.h"
#include <algorithm>
#include <cctype>
#include <cstring>

constexpr int LONGESTNAME = 50;

// --- naming -------------------------------------------------------------------------------

static bool beginsname(int c) { return c < 128 && isalpha(c); }

static std::string readname()
{
    std::string name;
    int c = gtnb();
    if (!beginsname(c)) errmsg("Variable names must start with a letter (missing comma?)", nullptr);
    for (; (c < 128 && isalnum(c)) || c == '_'; c = gtch()) {
        if (name.size() == LONGESTNAME) errmsg("Variable name too long (max. 50 chars.)", nullptr);
        name += char(c);
    }
    ungtch();
    return name;
}

static void adddim(int v)
{
    if (numdims == MAXDIMS) errmsg("Variables cannot have more than", intvert(MAXDIMS), "dimensions", nullptr);
    int size = imacnu();
    if (size <= 0) {
        std::string which = std::string(intvert(v)) + " cannot be <= 0!";
        errmsg("Dimension", intvert(numdims + 1), "of var.", which.c_str(), nullptr);
    }
    dimis[numdims++] = size;
}

static void read_sizes_in_brackets(int v)
{
    if (next_in_stream() != '[') return;
    gtch();
    for (int c; (c = gtnb()) != ']'; ) {
        if (c == ';') errmsg("Need closing brackets", nullptr);
        if (c != ',') ungtch();
        adddim(v);
    }
}

static void composesizes(int dims, const int *sizes)
{
    for (int d = 0; d < dims; ++d) {
        if (d) spewch(',');
        tojoin(intvert(sizes[d]));
    }
}

static void refuse_array(int v, long cells)
{
    tojoin("A [");
    composesizes(numdims, dimis);
    char text[120];
    snprintf(text, sizeof text, "] array uses %li cells (%i of %i available)", cells, std::max(0, Maxvars - v), Maxvars);
    tojoin(text);
    spewout();
    errmsg(nullptr);
}

static void name_variable(int v, const std::string &name)
{
    int at = int(std::lower_bound(defdvarnames, defdvarnames + num_defdvarnames, v) - defdvarnames);
    char *copy = macloram(name.size() + 1);
    strcpy(copy, name.c_str());
    std::copy_backward(defdvarnames + at, defdvarnames + num_defdvarnames, defdvarnames + num_defdvarnames + 1);
    defdvarnames[at] = v;
    ++num_defdvarnames;
    usvarname[v] = copy;
}

// One entry: a number, which is known, sizes, a name, and sizes if there were none.  Returns its cells.
static int define_variable(int v)
{
    numdims = 0;
    while (gotc(',')) adddim(v);
    std::string name = readname();
    if (!numdims) read_sizes_in_brackets(v);
    safevarnum(v);
    if (usvarname[v]) errmsg("Can't rename variables:", intvert(v), usvarname[v], nullptr);
    chk_ifvalid_varname(name.c_str());
    long cells = numdims ? cells_needed() : 1;
    if (v + cells > Maxvars) refuse_array(v, cells);
    name_variable(v, name);
    if (numdims) set_dimensions(v);
    else if (varnumdims) varnumdims[v] = 0;
    return int(cells);
}

static int next_free()
{
    if (highest_varname < addatvar) errmsg("Cannot name variables which are private to other files", nullptr);
    return highest_varname;
}

static void define_varnames(bool numbered)
{
    while (peep() != ';') {
        int v;
        if (!numbered || gotc('+')) v = next_free();
        else {
            v = imacnu();
            if (v < 0) errmsg("No variable", intvert(v), nullptr);
            v += addatvar;
            safevarnum(v);
        }
        int cells = define_variable(v);
        if (v + cells > highest_varname) set_highest(v + cells);
        if (numbered) gotc(',');
    }
}

static void dename_vars()
{
    if (atloop > addatloop) errmsg("Can't dename variables from within a loop", nullptr);
    int from;
    if (peep() == ';') {
        from = addatvar;
        if (report_status) spewem("User variables from", current_input(), "will be denamed", nullptr);
    } else {
        from = imacnu() + addatvar;
        if (from < addatvar) errmsg("Cannot dename a variable from a previous file", nullptr);
        if (report_status) spewem("User variables above", intvert(from), "will be denamed", nullptr);
        ++from;
    }
    forget_names_from(from);
    if (!loop_is_running()) macfreelo();
    set_highest(std::min(highest_varname, from));
}

// --- showing ------------------------------------------------------------------------------

static void composedims(int dims, const int *sizes)
{
    spewch('[');
    composesizes(dims, sizes);
    spewch(']');
}

static void show_named_vars()
{
    if (!num_defdvarnames) { myp("No variables have names"); return; }
    tojoin("Named variables:\n");
    for (int i = 0; i < num_defdvarnames; ++i) {
        int v = defdvarnames[i];
        tojoin(wintvert(6, v));
        tojoin("  ");
        tojoin(usvarname[v]);
        if (varnumdims && varnumdims[v]) composedims(varnumdims[v], vardimis[v]);
        else { tojoin(" = "); tojoin(value_text(value_of(v)).c_str()); }
        spewout();
    }
}

static std::string as_bits(double x)
{
    constexpr int BITS = 30;
    std::string text;
    for (int b = 0; b < BITS; ++b)
        if (toint32(x) >> b & 1) {
            if (!text.empty()) text += ' ';
            text += std::to_string(b);
        }
    return "{" + text + "}";
}

struct showing { bool bits; };

static void showcell(int v, showing how)
{
    std::string text = how.bits ? as_bits(value_of(v)) : value_text(value_of(v));
    tojoin(text.c_str());
}

static std::string designation(int v)
{
    return usvarname[v] ? usvarname[v] : std::to_string(v - addatvar);
}

// The one read last, with its subscripts.
static std::string as_designated()
{
    std::string text = designation(designated);
    for (int d = 0; d < numdims; ++d) text += (d ? "," : "[") + std::to_string(dimis[d]);
    return numdims ? text + "]" : text;
}

// The cells below an array, row after row; a row ends a line.
static void showrows(int v, int dims, const int *sizes, showing how)
{
    for (int i = 0; i < sizes[0]; ++i) {
        if (dims > 1) { showrows(toint32(value_of(v + i)), dims - 1, sizes + 1, how); continue; }
        if (i) spewch(' ');
        showcell(v + i, how);
        if (composed_length() > 1000) spewjn();
    }
    if (dims == 1) spewout();
}

// As the command that would fill it.
static void save_array(int v, const std::string &name, int dims, const int *sizes, showing how)
{
    if (how.bits) errmsg("Cannot save in matrix form using bits", nullptr);
    tojoin("setarray ");
    composesizes(dims, sizes);
    spewch(' ');
    tojoin(name.c_str());
    spewout();
    showrows(v, dims, sizes, how);
    tojoin(";");
    spewout();
}

static void show_usvar()
{
    int c = clean_peep();
    showing how{ c == '/' };
    if (how.bits) truly_clean_gtch();
    bool text = c == '$';
    if (text) {
        truly_clean_gtch();
        if (clean_peep() == ';') errmsg("Must specify number of variable to display as string", nullptr);
    }
    int v = get_varnum(';'), given = numdims, whole = remaining_dims();
    const int *sizes = whole > 0 ? vardimis[designated] + given : nullptr;
    if (dim_range_is >= 0) {
        for (int i = dim_range_start; i <= dim_range_is; ++i) {
            if (i > dim_range_start) spewch(' ');
            showcell(v + i - dim_range_start, how);
        }
        spewout();
        return;
    }
    bool asinput = gotc('*');
    if (text) { spewem(string_at(v).c_str(), nullptr); return; }
    if (given) v = toint32(whole > 0 ? value_of(v) : v);     // a row stands where its cell leads
    if (asinput && whole > 0) { save_array(v, as_designated(), whole, sizes, how); return; }
    tojoin("Variable ");
    tojoin(as_designated().c_str());
    if (whole > 0) {
        composedims(whole, sizes);
        tojoin(":");
        spewout();
        showrows(v, whole, sizes, how);
        return;
    }
    tojoin(" = ");
    showcell(v, how);
    spewout();
}

void varcom()
{
    scriptcommand();
    int c = clean_peep();
    switch (c) {
        case '=': gtch(); define_varnames(true); break;
        case ':': gtch(); define_varnames(false); break;
        case '-': gtch(); dename_vars(); break;
        case ';': show_named_vars(); break;
        case '&': gtch(); correlate_variables(); break;
        case '+': case '!': case '\\': case '|': notyetavailable("plots of variables");
        default:  show_usvar();
    }
}

const comhelp varhelp = {
    "Name variables, and show them.", nullptr,
    "  var: NAMES ;         name the next free variables\n"
    "  var = N NAME ... ;   name variable N; a '+' in place of N is the next free one\n"
    "  var - ;              drop the names given in the current file\n"
    "  var -N ;             drop the names of variables above N\n"
    "  var ;                list the named variables\n"
    "  var X ;              show the value of variable X, a number or name; all values of\n"
    "                       an array\n"
    "  var /X ;             show its bits, 0 to 29\n"
    "  var $X ;             show it as text\n"
    "  var X* ;             show array X as the \"setarray\" that would fill it\n"
    "  var & X Y *W N ;     regression of array Y on array X, with weights W (may be left\n"
    "                       out), of the first N values (all); +S behind an array leaves\n"
    "                       its first S values out, -T its last T ones, and /N takes N of\n"
    "                       them.  The expressions regalfa, regbeta and regr keep the\n"
    "                       result\n"
    "A name of an array is followed by its sizes in brackets, as in x[10 5], at most 5 of\n"
    "them.  Names begin with a letter, and have at most 50 letters, digits and \"_\".\n"
    "A file counts its variables from 0, whatever opened it, and its names go when it\n"
    "is closed (see \"return\").\n"
    "Examples:\n"
    "  macro = ; var: i lengths[10] table[3 4] ; set lengths[2] 35 ; var lengths ;\n"
    "  macro - ;\n"
    "  macro = ; var = 3 a + b ; set b 5 ; var ; macro - ;\n"
};

// --- private ------------------------------------------------------------------------------

void privatecom()
{
    scriptcommand();
    if (peep() != ';') {
        int n = imacnu();
        if (n < 0) errmsg("Can't set private variables to less than 0", nullptr);
        curproc->saved_private = std::min(n, Maxvars);
    }
    if (report_status)
        myp("%i private variables in %s (var. shift=%i)", curproc->saved_private, current_input(), addatvar);
}

const comhelp privatehelp = {
    "Keep variables without names from the files that are opened.", nullptr,
    "  private N ;   files opened from the current one count their variables from N\n"
    "                cells above the last one that has a name (default 0)\n"
    "  private ;     report the number\n"
    "Such a file gives its first name by number, as in \"var = 0 x\"; what comes next can be\n"
    "left to \"var:\".\n"
    "Examples:\n"
    "  macro = ; private 5 ; macro - ;\n"
};
