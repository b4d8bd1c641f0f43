// Expressions: settings and counters.
#include "script/ex.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/random.h"
#include "kernel/window.h"
#include "script/internals.h"
#include "script/macmem.h"
#include "script/repeat.h"
#include "script/session.h"
#include "script/swaps.h"
#include "script/vars.h"
#include "search/keeptrees.h"
#include "search/moves.h"
#include "search/status.h"
#include "search/xmult.h"
#include "trees/collapse.h"
#include "trees/implied.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include "trees/treetags.h"
#include "trees/treevault.h"
#include <cmath>
#include <numbers>
#include <thread>
#include <unistd.h>

double last_correl_a, last_correl_b, last_correl_r;

void set_last_correl_vals(double a, double b, double r)
{
    last_correl_a = a;
    last_correl_b = b;
    last_correl_r = r;
}

namespace ex {

// --- the program and its machine ---

double bittype()    { return 8 * sizeof(void *); }
double cpus()       { return std::max(1u, std::thread::hardware_concurrency()); }
double cygwin()     { return 0; }
double windows()    { return 0; }
double linuxhost()  { return 1; }
double gtk()        { return 1; }
double mypid()      { return getpid(); }
double bground()    { return inbground; }
double usdram()     { return double(used_ram()); }
double seconds()    { return now() - progstartime; }

// --- the language ---

double allvars()    { return Maxvars; }
double argnumber()  { return numargs(); }
double curisdir()   { return curfileisdir; }
double exstatus()   { return last_exstatus; }
double freevars()   { return Maxvars - current_highest(); }
double listed()     { return listsize; }
double macseed()    { return seed; }
double maxvars()    { return Maxvars - 1; }
double neper()      { return std::numbers::e; }
double protmode()   { return macprotmod; }
double regalfa()    { return last_correl_a; }
double regbeta()    { return last_correl_b; }
double regr()       { return last_correl_r; }

// --- data ---

double missing()       { return MISSING; }
double blocks()        { return ::nblocks; }
double nchar()         { return nc - 1; }
double ncharaln()      { return -1; }           // nothing is aligned
double nnucs()         { return -1; }           // nor linked
double lmnchar()       { return -1; }           // and no configurations are read
double ntaxa()         { return nt - 1; }
double outgrouptaxon() { return outgroup; }
double rootnode()      { return nt; }

// --- trees ---

double absincl()    { return send_to_base; }
double maxtgroup()  { return num_treegroups; }
double maxroom()    { return maxtrees; }
double ntrees()     { return trees_in_mem - 1; }
double tcount()     { return trees_in_mem; }
double ttags()      { return txtdatin != 0; }
double vtrees()     { return trees_in_vault - 1; }

static int taxa_of_last_tree() { return trees_in_mem ? countterminals(mem_tree[trees_in_mem - 1]) : 0; }

double bbtax()      { return taxa_of_last_tree(); }
double bbfull()     { return nt && taxa_of_last_tree() >= numactive(); }

// --- weighting and searches ---

double accepted()   { return double(acceprearrangs); }
double breaks()     { return breakable; }
double collapse()   { return current_collapsing_rule(); }
double grandscore() { return overall_bestscore; }
double kval()       { return konk; }
double numhits()    { return macro_last_numhits; }
double piwe()       { return dopiwe; }
double rearrangs()  { return double(bigrearrangs) * double(BIGREARRANGS) + double(numrearrangs); }
double report()     { return report_status; }
double rseed()      { return ranseed; }
double rsubopt()    { return relative_suboptimal; }
double seclevel()   { return ss_recurse_level; }
double subopt()     { return suboptimal; }

double whomo()
{
    return bracketed([] {
        double h = number();
        if (h < 0) errmsg("Number of extra steps must be 0 or more", nullptr);
        return plainfit(h);
    });
}

// --- swaps of a script ---

double cutswap()    { return swap_was_cut; }
double percswap()   { return percent_swapped(); }
double thismove()   { return double(swap_moves); }

double getresponse()
{
    std::string question;
    openbrackets();
    for (int c; (c = gtch()) != ']'; ) {
        if (c == ';') errmsg("Need closing brackets", nullptr);
        question += char(c < 32 ? ' ' : c);
    }
    return GTK_Message_Box("Question", question.c_str(), BOX_ASK | BOX_CANCEL);
}

}
