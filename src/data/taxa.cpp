// Which taxa are in force and which one is the outgroup.
#include "data/matrix.h"
#include "data/below.h"
#include "data/lists.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <cctype>
#include <cstring>

static constexpr int LEASTTAXA = 4;

static void showactive()
{
    int active = numactive();
    spewem(intvert(active), "terminal taxa are active:", nullptr);
    printlist(taxact, 0, nt, 1);
    spewem(intvert(nt - active), "terminal taxa are inactive:", nullptr);
    printlist(taxact, 0, nt, 0);
}

// The present state as a command.
static void saveactive()
{
    joinem("taxcode ", nullptr);
    tojoin("+");
    spewout();
    printlist(taxact, 0, nt, 1);
    tojoin("-");
    spewout();
    printlist(taxact, 0, nt, 0);
    joinem(";\n", nullptr);
}

void taxcodecom()
{
    nodaterror("setting active taxa");
    int c = peep();
    if (c == '*') {
        gtnb();
        return saveactive();
    }
    if (!isalnum(c) && !strchr("+-.{@;", c)) errarg(c);
    uint8_t *list = lo<uint8_t>(nt);
    read_scope(list, 0, nt, "taxon", taxname);
    bool changes = false;
    int left = 0;
    for (int t = 0; t < nt; ++t) {
        int will = list[t] ? list[t] == LISTED : taxact[t];
        if (!will && taxact[t] && t == outgroup)
            errmsg("Cannot deactivate", taxname_out(t), "(it is current outgroup)", nullptr);
        left += will;
        changes |= will != taxact[t];
    }
    if (changes && left < LEASTTAXA) errmsg("Cannot have less than 4 active taxa", nullptr);
    if (!changes) return showactive();
    for (int t = 0; t < nt; ++t)
        if (list[t]) taxact[t] = list[t] == LISTED;
    realnt = ntax = left;
    chartables_reset();
}

static void showoutgroup()
{
    spewem("Outgroup is taxon", intvert(outgroup), "-", taxname_out(outgroup), nullptr);
}

void outgroupcom()
{
    nodaterror("setting the outgroup");
    int c = peep();
    if (c == ';') return showoutgroup();
    if (c == ']') {                      // there is no taxonomic outgroup to forget
        gtnb();
        return;
    }
    if (c == '[') errmsg("The \"[\" option is valid only when taxonomic categories have been defined", nullptr);
    int t = rdtax();
    if (t < 0) errmsg("Outgroup taxon must be 0 -", intvert(nt - 1), nullptr);
    if (!taxact[t]) errmsg("Cannot use an inactive taxon as outgroup -", taxname_out(t), nullptr);
    if (t == outgroup) return;
    outgroup = t;
    wipetag(&schtag);
    wipetag(&opttag);
}

const comhelp taxcodehelp = {
    "Activate and deactivate taxa.", nullptr,
    "   +L     taxa of list L are active (+ may be left out)\n"
    "   -L     ...inactive\n"
    "   *      save the present state as a command\n"
    "Without a list, shows which taxa are active.  At least four taxa and the outgroup must be\n"
    "active.  @T N in a list is the taxa of node N in tree T.\n"
    "   taxcode - 3 5.8 + Xus;\n"
};

const comhelp outgrouphelp = {
    "Set the taxon on which trees are rooted.", nullptr,
    "   N      taxon N (a number or a name) is the outgroup (default 0)\n"
    "   ]      no outgroup from taxonomic categories\n"
    "Without a taxon, shows the present one.  It must be active.\n"
    "   outgroup 5;\n"
};
