// Steps of the commands that repeat a text of commands, and what the text may ask of them.
#include "script/repeat.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "script/expr.h"
#include "script/loops.h"
#include "script/stream.h"
#include <cstring>

int macroswaploop = -2, max_curse_recs_level = 5, curfileisdir;
std::string curfileis;
stepwish step_wish;

static stepkind kind_now;
static bool trees_are_stepped;           // by sprit, tbrit or bandb, at any depth
static int step_level;                   // level of input of the step's commands
static int nesting;

stepping::stepping(stepkind kind) : was(kind_now), wasloop(macroswaploop), wastrees(trees_are_stepped)
{
    if (kind != FILE_STEPS && trees_are_stepped)
        errmsg("Can't nest \"sprit\", \"tbrit\", or \"bandb\" commands", nullptr);
    kind_now = kind;
    trees_are_stepped = trees_are_stepped || kind != FILE_STEPS;
    macroswaploop = atloop;
}

stepping::~stepping()
{
    kind_now = was;
    trees_are_stepped = wastrees;
    macroswaploop = wasloop;
    step_wish = GO_ON;
}

bool stepping::run(const std::string &commands)
{
    stepkind kind = kind_now;
    int loop = macroswaploop, level = step_level;
    step_level = giveme_curproc_level() + 1;
    step_wish = GO_ON;
    fake_cmd_loop_for_macroswap(commands.c_str());
    step_level = level;
    kind_now = kind;
    macroswaploop = loop;
    return step_wish != END_STEPS && !userstop;
}

static void end_step()
{
    drop_expansion();
    getnext = curproc->buffer + strlen(curproc->buffer) - 1;     // the end mark
}

void ask_step(stepkind kind, stepwish wish)
{
    if (kind_now != kind) errmsg(current_command, "is not valid here", nullptr);
    step_wish = wish;
    if (giveme_curproc_level() != step_level) return;            // the commands that called this file go on
    drop_loops_above(macroswaploop);
    end_step();
}

bool skip_to_next_step()
{
    if (kind_now == NO_STEPS || giveme_curproc_level() != step_level || macroswaploop != atloop) return false;
    end_step();
    return true;
}

// --- travtree and combine -----------------------------------------------------------------

nestedrun::nestedrun()
{
    if (nesting >= max_curse_recs_level)
        myerr("Can't nest more than %i of these commands.\nChange maximum recursion with \"%s=N;\"", max_curse_recs_level,
              current_command);
    was = nesting++;
}

nestedrun::~nestedrun() { nesting = was; }
int nested_runs()       { return nesting; }
bool steps_are_running() { return kind_now != NO_STEPS || nesting; }

void set_nesting(const char *what)
{
    if (nesting) myerr("Cannot change maximum level of recursion while running \"%s\"", current_command);
    int n = imacnu();
    if (n < 1) errmsg("Maximum level of recursion for", what, "must be >= 1", nullptr);
    max_curse_recs_level = n;
    if (report_status) spewem("Maximum level of recursion for", what, "is", intvert(n), nullptr);
}

void reset_repeats()
{
    kind_now = NO_STEPS;
    trees_are_stepped = false;
    step_wish = GO_ON;
    macroswaploop = -2;
    curfileisdir = 0;
}
