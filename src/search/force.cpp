// The commands that define constraints, put them in force, and check trees against them.
#include "search/constraints.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/progress.h"
#include "trees/treebuf.h"
#include "trees/treefile.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>

enum { OUTSIDE = 1, MEMBER = 2, FLOATS = 3 };

namespace {
struct defining {                         // what a "force" command defines, until it is all read
    constdraft pos{}, neg{};
    int *tree = nullptr;                  // of the tree constraint
    uint8_t *posfloats = nullptr, *negfloats = nullptr;   // taxa that float in all of a kind
};
}

static void positivesfirst(const defining &d)
{
    if (d.neg.number) errmsg("Must define all positive constraints before the negative ones", nullptr);
}

// --- bracketed lists ----------------------------------------------------------------------

static bool endsitem(int c) { return c <= 32 || strchr("()[];{}", c); }

// A name or number, or a range of numbers; "..." ends a name that stands for all that begin so.
static void readitem(uint8_t *constbuf, uint8_t field)
{
    std::string word;
    for (int c; !endsitem(c = gtch());) word += char(c == '^' ? ' ' : c);
    ungtch();
    size_t dot = word.find('.');
    if (dot != std::string::npos && word.find_first_not_of("0123456789.") == std::string::npos) {
        std::string low = word.substr(0, dot), high = word.substr(dot + 1);
        int from = low.empty() ? 0 : findtaxon(low.c_str()), to = high.empty() ? nt - 1 : findtaxon(high.c_str());
        if (from < 0 || to < 0) errmsg("Expected taxon name", nullptr);
        std::fill(constbuf + std::min(from, to), constbuf + std::max(from, to) + 1, field);
        return;
    }
    int t = findtaxon(word.c_str());
    if (t < 0) errmsg("Expected taxon name", nullptr);
    constbuf[t] = field;
}

static void readbracket(constdraft *draft)
{
    char *mark = himark();
    uint8_t *constbuf = hi<uint8_t>(nt), field = MEMBER;
    std::fill(constbuf, constbuf + nt, uint8_t(OUTSIDE));
    for (int c; (c = peep()) != ']';) {
        if (c == '(' || c == ')') field = c == '(' ? FLOATS : MEMBER;
        else if (c == '{') {
            gtnb();
            readgroups(constbuf, 0, nt, "taxon", field);
            continue;
        } else {
            readitem(constbuf, field);
            continue;
        }
        gtnb();
    }
    gtnb();
    std::string fields(constbuf, constbuf + nt);       // the draft takes its room from the same end
    hiset(mark);
    int k = newconstraint(draft);
    for (int t = 0; t < nt; ++t) setconstfield(draft, k, t, fields[size_t(t)]);
}

static void readbrackets(constdraft *draft)
{
    if (peep() != '[') errmsg("Expected taxon name", nullptr);
    while (gotc('[')) readbracket(draft);
}

// --- trees --------------------------------------------------------------------------------

static const int *readconsttree()
{
    if (!gotc('&')) {
        if (!leatre(waglist)) errmsg("Must give a tree", nullptr);
        gotc('*');
        return waglist;
    }
    long n = gtnu();
    notreeerror();
    if (!isatree(n)) errmsg("& must be followed by a tree number ( 0 -", intvert(trees_in_mem - 1), ")", nullptr);
    return mem_tree[n];
}

// Taxa that the tree lacks are outside its groups, and make none of their own.
static void rdtreeconst(defining *d)
{
    const int *tree = readconsttree();
    d->tree = hi<int>(nodz);
    std::copy(tree, tree + nodz, d->tree);
    for (int t = 0; t < nt; ++t)
        if (!isinthetree(tree, t)) d->tree[t] = nt;
    reset_nodz(d->tree);
}

// A constraint for each group of the tree, in which the taxa that it lacks float.
static void softconst(constdraft *draft)
{
    const int *tree = readconsttree();
    int *list = hi<int>(nodz), n = mkoptlist(list, tree), skipped = -1;
    if (nodfork[nt] == 2)
        for (int d : { lef[nt], rig[nt] })
            if (d < nt) skipped = d == lef[nt] ? rig[nt] : lef[nt];
    uint8_t *inside = hi<uint8_t>(nodz);
    for (int i = 1; i < n; ++i) {
        if (list[i] == skipped) continue;
        std::fill(inside, inside + nodz, 0);
        inside[list[i]] = 1;
        for (int j = i; j < n; ++j)
            if (inside[list[j]])
                for (int d = lef[list[j]]; d >= 0; d = sis[d]) inside[d] = 1;
        int k = newconstraint(draft);
        for (int t = 0; t < nt; ++t)
            if (isinthetree(tree, t)) setconstfield(draft, k, t, inside[t] ? MEMBER : OUTSIDE);
    }
}

// --- floating taxa ------------------------------------------------------------------------

static void read_globfloats(uint8_t **floats)
{
    if (!*floats) *floats = zhi<uint8_t>(nt);
    if (!read_scope(*floats, 0, nt, "taxon", taxname)) errmsg("Expected taxon name", nullptr);
}

static void setfloats(constdraft *draft, const uint8_t *floats)
{
    for (int k = 0; floats && k < draft->number; ++k)
        for (int t = 0; t < nt; ++t)
            if (floats[t] == LISTED) setconstfield(draft, k, t, FLOATS);
}

// --- report -------------------------------------------------------------------------------

static void sayline(const std::string &line)
{
    spewlong(line.c_str(), long(line.size()));
    newln();
}

static void saymatrix(uint32_t *const *mat, int number, char sign, bool numbers)
{
    for (int k = 0; k < number; ++k) {
        std::string line = numbers ? std::to_string(k) + ": " : "", floating;
        line = line + sign + " [";
        for (int t = 0; t < nt; ++t) {
            int field = constfield(mat, k, t);
            if (field == MEMBER) line = line + " " + gimename(t);
            if (field == FLOATS) floating = floating + " " + gimename(t);
        }
        if (!floating.empty()) line += " (" + floating + " )";
        sayline(line + " ]");
    }
}

static void reportconst(bool numbers)
{
    if (!constraints_defined()) return spewem("No constraints defined", nullptr);
    saymatrix(constmat, constnum, '+', numbers);
    saymatrix(anticonstmat, anticonstnum, '-', numbers);
    if (constreenum) {
        std::string tree;
        savetree(constree, nt, &tree);
        sayline("= " + tree);
    }
    if (!do_constraints) spewem("(constraints are not in force)", nullptr);
}

// --- commands -----------------------------------------------------------------------------

static void readkeepfirst()
{
    long n = gotc('-') ? -gtnu() : gtnu();
    if (n == 0) errmsg("To erase constraints, use \"force];\"", nullptr);
    wipetag(&schtag);
    wipetag(&opttag);
    keepfirst(int(std::clamp(n, -1l, long(INT32_MAX))));
}

static void readdefinitions(defining *d)
{
    for (int c; (c = peep()) != ';';) {
        gtnb();
        switch (c) {
        case '+':
            positivesfirst(*d);
            readbrackets(&d->pos);
            break;
        case '-': readbrackets(&d->neg); break;
        case '=': rdtreeconst(d); break;
        case '/':
            positivesfirst(*d);
            softconst(&d->pos);
            break;
        case ':': softconst(&d->neg); break;
        case '>': read_globfloats(&d->posfloats); break;
        case '<': read_globfloats(&d->negfloats); break;
        default: errarg(c);
        }
    }
    setfloats(&d->pos, d->posfloats);
    setfloats(&d->neg, d->negfloats);
}

void forcecom()
{
    nodaterror("defining constraints");
    int c = peep();
    if (c == ';') return reportconst(false);
    if (gotc('*')) return reportconst(true);
    if (gotc('[')) return readkeepfirst();
    dropallconstraints();
    if (gotc(']')) return spewem("No constraints defined", nullptr);
    defining d;
    readdefinitions(&d);
    layconstraints(&d.pos, &d.neg, d.tree);
}

void constraincom()
{
    if (!constraints_defined()) {
        do_constraints = 0;
        if (peep() == '=' || peep() == '/') errmsg("Cannot activate constraints (constraints undefined)", nullptr);
    }
    int was = do_constraints;
    onoff(&do_constraints, "Constraints");
    if (do_constraints != was) wipetag(&schtag);
}

void monocom()
{
    constexpr int NO = -4, YES = -5;              // marks of the table
    bool violating = gotc('-');
    notreeerror();
    needconstraints();
    int *marks = lo<int>(trees_in_mem);
    for (int t = 0; t < trees_in_mem; ++t) {
        dildit(t, trees_in_mem, "Checking monophyly");
        if (have_some_intrupt()) return;
        marks[t] = fulfils_constraints(mem_tree[t]) == !violating ? YES : NO;
    }
    if (report_status) erdil();
    strcpy(tabletitle, violating ? "Tree(s) violating constraints:" : "Tree(s) fulfilling constraints:");
    ischartable = 0;
    printable(marks, trees_in_mem);
}

// --- help ---------------------------------------------------------------------------------

const comhelp forcehelp = {
    "Define groups that searches must find, or must not find.", nullptr,
    "Each command replaces the constraints there were, and puts the new ones in\n"
    "force (see \"constrain\"); they last until data are read.\n"
    "  force + [ a b c ] ;        trees must have a group of taxa a, b and c; any\n"
    "                             number of brackets may follow\n"
    "  force + [ a b c (d e) ] ;  the same, with d and e floating: in the group or out\n"
    "  force - [ a b c ] ;        trees must not have that group\n"
    "  force = TREE ;             trees must have all groups of a tree, in\n"
    "                             parentheses or &N for tree N; taxa that it lacks are\n"
    "                             outside its groups\n"
    "  force / TREE ;             the same, but taxa that it lacks float\n"
    "  force : TREE ;             trees must have none of its groups; taxa that it\n"
    "                             lacks float\n"
    "  force > L ;                taxa in list L float in all positive constraints\n"
    "  force < L ;                taxa in list L float in all negative constraints\n"
    "  force [N ;                 only the first N positive constraints stay\n"
    "  force ] ;                  no constraints\n"
    "  force ;                    show the constraints; * with their numbers\n"
    "In brackets, taxa are names, numbers, ranges (0.3) or groups ({name}).\n"
    "Definitions can be combined: positive ones first, then negative ones, lists of\n"
    "floating taxa last; a * ends a tree that is not the last.  When the outgroup\n"
    "floats, a group may be rooted anywhere.  A group of one taxon, or of all but\n"
    "one, constrains nothing.\n"
    "Examples:\n"
    "  force + [ 1 2 3 (4) ] - [ 5 6 ] ;\n"
    "  force / (1 2 (3 4)) ; force ;\n"
    "  force ] ;\n"
};

const comhelp constrainhelp = {
    "Have searches obey the constraints, or not.", nullptr,
    "  constrain = ;   searches obey them (so it is after \"force\")\n"
    "  constrain - ;   searches do not; the constraints stay defined\n"
    "  constrain ;     say whether they do\n"
    "Examples:\n"
    "  force + [ 1 2 ] ; constrain - ; constrain = ; force ] ;\n"
};

const comhelp monohelp = {
    "Show which trees fulfil the constraints.", nullptr,
    "  mono ;     table of trees, with a star for those that fulfil all constraints\n"
    "  mono - ;   the star is for those that do not\n"
    "Constraints count whether in force or not (see \"force\", \"constrain\").  Groups\n"
    "are looked at without a root, as in searches.\n"
    "Examples:\n"
    "  force + [ 1 2 ] ; mono ; mono - ; force ] ;\n"
};
