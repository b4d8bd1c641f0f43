// Arguments of expressions, and which expression answers to a word.
#include "script/internals.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/below.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "script/stream.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include <string_view>
#include <unordered_map>

// --- arguments ----------------------------------------------------------------------------

void openbrackets()
{
    if (gtnb() != '[') errmsg("Need opening brackets", nullptr);
}

void closebrackets()
{
    if (gtnb() != ']') errmsg("Need closing brackets", nullptr);
}

bool another()
{
    gotc(',');
    int c = clean_peep();
    return c != ']' && c != ';';
}

double number()
{
    if (!another()) errmsg("Too few arguments: expected a number before", charvert(clean_peep()), nullptr);
    is_for_dollars = 0;
    return macnu();
}

int integer()
{
    if (!another()) errmsg("Too few arguments: expected a number before", charvert(clean_peep()), nullptr);
    is_for_dollars = 0;
    return imacnu();
}

double braknu() { return bracketed(number); }

int treearg()
{
    int t = integer();
    if (!isatree(t)) errmsg("No tree number", intvert(t), "- only", intvert(trees_in_mem), "trees in memory", nullptr);
    return t;
}

int nodearg(int tree)
{
    int n = integer();
    const int *anc = mem_tree[tree];
    if (n < 0 || n >= anc[nt] || (n < nt && !isinthetree(anc, n))) errmsg("No node", intvert(n), "in tree", intvert(tree), nullptr);
    return n;
}

int taxarg()
{
    int t = integer();
    if (!isatax(t)) errmsg("No taxon number", intvert(t), nullptr);
    return t;
}

int chararg()
{
    int c = integer();
    if (!isachar(c)) errmsg("No character number", intvert(c), nullptr);
    return c;
}

std::string wordarg()
{
    constexpr size_t LONGEST = 1023;
    std::string word;
    int c = gtnb();
    for (; c > 32 && c != ']' && c != ';'; c = gtch()) {
        word += char(c);
        if (word.size() > LONGEST) errmsg("String too long", nullptr);
    }
    ungtch();
    return word;
}

// --- words --------------------------------------------------------------------------------

// Names of rows, and the words that they answer to; where the two differ, only the first is reserved.
using rowindex = std::unordered_map<std::string_view, const exprrow *>;

static rowindex indexed(bool answers)
{
    rowindex index;
    for (const exprrow *row = exprtable; row->name; ++row)
        if (!answers || row->value) index.emplace(answers && row->word ? row->word : row->name, row);
    return index;
}

const exprrow *find_expression(const char *name)
{
    static const rowindex names = indexed(false);
    auto it = names.find(name);
    return it == names.end() ? nullptr : it->second;
}

bool is_macro_expression(const char *name)
{
    const exprrow *row = find_expression(name);
    return row && row->value;
}

void command_listed(int n) { listsize = n; }

double internal_variable(int *found)
{
    static const rowindex words = indexed(true);
    auto it = words.find(exprword);
    *found = it != words.end();
    return *found ? it->second->value() : 0;
}
