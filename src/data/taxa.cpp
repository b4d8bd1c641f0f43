// Which taxa are in force and which one is the outgroup.
#include "data/taxa.h"
#include "data/below.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include <cctype>
#include <cstring>

static void showactive()
{
    int active = numactive();
    spewem(intvert(active), "terminal taxa are active:", nullptr);
    printtaxa(taxact, 1);
    spewem(intvert(nt - active), "terminal taxa are inactive:", nullptr);
    printtaxa(taxact, 0);
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

void set_active_taxa(const uint8_t *active)
{
    int left = 0;
    for (int t = 0; t < nt; ++t) left += taxact[t] = active[t];
    realnt = ntax = left;
    chartables_reset();
}

// Letters of other alphabets are letters too.
static bool begins_taxonlist(int c) { return isalnum(c) || c > 127 || strchr("+-.{@;", c); }

void taxcodecom()
{
    nodaterror("setting active taxa");
    int c = peep();
    if (c == '*') {
        gtnb();
        return saveactive();
    }
    if (!begins_taxonlist(c)) errarg(c);
    uint8_t *list = lo<uint8_t>(nt);
    read_scope(list, 0, nt, "taxon", taxname);
    bool changes = false;
    int left = 0;
    uint8_t *active = lo<uint8_t>(nt);
    for (int t = 0; t < nt; ++t) {
        int will = active[t] = list[t] ? list[t] == LISTED : taxact[t];
        if (!will && taxact[t] && t == outgroup)
            errmsg("Cannot deactivate", taxname_out(t), "(it is current outgroup)", nullptr);
        left += will;
        changes |= will != taxact[t];
    }
    if (changes && left < LEASTTAXA) errmsg("Cannot have less than 4 active taxa", nullptr);
    if (!changes) return showactive();
    set_active_taxa(active);
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
    "  taxcode +L ;   taxa of list L are active (the + may be left out)\n"
    "  taxcode -L ;   taxa of list L are inactive\n"
    "  taxcode * ;    save the present state to the log, as a command\n"
    "  taxcode ;      show which taxa are active\n"
    "Signs and lists may follow one another.  At least four taxa and the outgroup\n"
    "must be active.  In a list, @T N is the taxa of node N in tree T.\n"
    "Examples:\n"
    "  taxcode - 3 5.8 + 6 ;\n"
    "  taxcode + . ;\n"
};

const comhelp outgrouphelp = {
    "Set the taxon on which trees are rooted.", nullptr,
    "  outgroup N ;   taxon N (a number or a name) is the outgroup (default 0)\n"
    "  outgroup ] ;   no outgroup from taxonomic categories\n"
    "  outgroup ;     show the present one\n"
    "The outgroup must be active.\n"
    "Examples:\n"
    "  outgroup Plasterer_bee ;\n"
    "  outgroup 0 ;\n"
};
