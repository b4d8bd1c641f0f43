// The help of expressions, from their table.
#include "kernel/help.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "script/expr.h"
#include <cstring>
#include <string>

static bool isheading(const exprrow *row) { return *row->name == '\r'; }

static void overview()
{
    constexpr int COLUMNS = 5, WIDTH = 16;
    myp("Expressions (enter \"help+xxx\" for help on xxx):");
    int column = 0;
    for (const exprrow *row = exprtable; row->name; ++row) {
        if (isheading(row)) {
            if (column) spewout();
            myp("%s", row->name + 1);
            column = 0;
            continue;
        }
        std::string name = row->name;
        bool last = ++column == COLUMNS || !row[1].name;
        if (!last && !isheading(row + 1)) name.resize(WIDTH, ' ');
        tojoin(name.c_str());
        if (!last) continue;
        spewout();
        column = 0;
    }
}

// Name and arguments, then the text, in lines that fit a view.
static void helpon(const exprrow *row)
{
    constexpr size_t WIDTH = 79, INDENT = 4;
    const char *text = strstr(row->help, "  ");
    myp("%s%s", row->name, std::string(row->help, text).c_str());
    std::string rest = text + 2;
    while (!rest.empty()) {
        size_t cut = rest.size();
        if (cut > WIDTH - INDENT) cut = rest.rfind(' ', WIDTH - INDENT);
        myp("%*s%s", int(INDENT), "", rest.substr(0, cut).c_str());
        rest.erase(0, cut + 1);
    }
}

static void fulllist()
{
    myp("\nFull List of Expressions:");
    for (const exprrow *row = exprtable; row->name; ++row)
        if (isheading(row)) myp("%s", row->name + 1);
        else helpon(row);
}

void macrohelp()
{
    if (gotc('*')) { fulllist(); return; }
    if (peep() == ';') { overview(); return; }
    rdcmd();
    const exprrow *row = find_expression(cmdname);
    for (const exprrow *r = exprtable; !row && r->name; ++r)
        if (r->word && !strcmp(r->word, cmdname)) row = r;
    if (row && !isheading(row)) helpon(row);
    else joinem(cmdname, ": invalid macro expression\n", nullptr);
}
