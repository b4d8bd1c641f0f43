// Small commands on the trees in memory: how many there can be, which stay, where they are rooted.
#include "trees/treebuf.h"
#include "trees/filtertrees.h"
#include "trees/lightopt.h"
#include "trees/pack.h"
#include "trees/scratch.h"
#include "trees/treemodel.h"
#include "trees/treetags.h"
#include "trees/treevault.h"
#include "data/groups.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/comhelps.h"
#include "kernel/commands.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/textbuf.h"
#include <algorithm>
#include <cctype>
#include <climits>

// --- hold ---

// The number after '+' or '-' counts from the trees in memory; a second sign stands for 1.
static long readroom()
{
    int sign = peep();
    if (sign != '+' && sign != '-') return gtnu();
    gtnb();
    long n = gotc(sign) ? 1 : gtnu();
    if (n < 0) errarg(peep());
    return sign == '+' ? trees_in_mem + n : trees_in_mem - n;
}

static void warndiscard(long n)
{
    if (n >= trees_in_mem) return;
    warnem("There are", intvert(trees_in_mem), "trees in memory.", "\nResetting maxtrees to", intvert(n),
           "will discard", intvert(trees_in_mem - n), "trees", nullptr);
}

// N/V: room in the buffer and in the vault.
static void holdvault(long n)
{
    gtnb();
    long room = gtnu();
    if (room < 0) errmsg("Give size of vault", nullptr);
    if (n < 1) errmsg("Vault for trees must have two numbers > 0 ", nullptr);
    if (!room) errmsg("Size of vault must be > 0 ", nullptr);
    if (n > INT_MAX || room > INT_MAX) errmsg("Cannot make tree space for", intvert(std::max(n, room)), "trees", nullptr);
    warndiscard(n);
    if (room < trees_in_vault)
        warnem("There are", intvert(trees_in_vault), "trees in vault.", "\nResetting its size to", intvert(room),
               "will discard", intvert(trees_in_vault - room), "trees", nullptr);
    setvault(int(n), int(room));
}

void holdcom()
{
    if (peep() == ';') return report_maxtrees();
    nodaterror("setting space for trees");
    int c = peep();
    if (c == '/') return holdvault(0);
    if (!isdigit(c) && c != '+' && c != '-') errarg(c);
    long n = readroom();
    if (peep() == '/') return holdvault(n);
    vaultseterror();
    n = std::max(n, 1L);
    if (n > INT_MAX) errmsg("Cannot make tree space for", intvert(n), "trees", nullptr);
    warndiscard(n);
    reset_maxtrees(int(n));
}

const comhelp holdhelp = {
    "Set how many trees there can be in memory.", nullptr,
    "  hold N ;     room for N trees (100 with every new matrix); trees beyond N are\n"
    "               discarded\n"
    "  hold +N ;    room for N more than there are; ++ for one more\n"
    "  hold -N ;    room for N fewer, which discards the last N; -- the last one\n"
    "  hold N/V ;   room for N trees, and for V in the vault (see \"tvault\")\n"
    "  hold ;       show the present room\n"
    "Examples:\n"
    "  hold 1000 ;\n"
    "  hold - 2 ;   discards the last two trees\n"
};

// --- keep, absincl ---

void keepcom()
{
    if (isdigit(peep())) droptrees(int(std::min(gtnu(), long(INT_MAX))));
    else if (int c = peep(); c != ';') errarg(c);
    spewem(intvert(give_trees_in_mem()), "trees in memory", nullptr);
}

const comhelp keephelp = {
    "Keep only the first trees.", nullptr,
    "  keep N ;   keep trees 0 to N-1, if there are more\n"
    "  keep 0 ;   discard all trees\n"
    "  keep ;     show how many there are\n"
    "Examples:\n"
    "  keep 3 ;\n"
};

void absinclcom() { onoff(&send_to_base, "Joining absent taxa at the base of trees read"); }

const comhelp absinclhelp = {
    "Join at the base the taxa that are absent from a tree read.", nullptr,
    "  absincl = ;   join them, as descendants of the root\n"
    "  absincl - ;   leave them out of the tree (the default)\n"
    "  absincl / ;   invert\n"
    "  absincl ;     report\n"
    "Examples:\n"
    "  absincl = ; tread (0 (1 (2 3))) ;   the other taxa are in the tree\n"
};

// --- reroot ---

static const char *nodetext(int node) { return node < nt ? taxname_out(node) : intvert(node); }

// A terminal by name or number, or an internal node.
static int readtarget()
{
    int t = rdtax();
    if (t >= 0) return t;
    char *end;
    long n = isdigit(static_cast<unsigned char>(cmdname[0])) ? strtol(cmdname, &end, 10) : -1;
    if (!isanod(n) || *end || n == nt) errmsg("Indicate node for rerooting", nullptr);
    return int(n);
}

static void reroottags()
{
    if (!txtdatin) errmsg("No tags to reroot", nullptr);
    int target = outgroup;
    if (peep() != ';') {
        long n = gtnu();
        if (n < 0 || n >= txtr[nt] || n == nt) myerr("Indicate node to reroot tags (0-%i)", txtr[nt] - 1);
        target = int(n);
    }
    hiscratch scratch;
    int *tree = hi<int>(nodz), *carried = hi<int>(nodz);
    std::copy(txtr, txtr + nodz, tree);
    for (int n = 0; n < nodz; ++n) carried[n] = txtrmsg[n][0] ? n + 1 : 0;      // 0 carries nothing
    if (!reroot(tree, target, carried))
        myerr("Taxon %i (%s) is not included in tag-tree --can't reroot", target, nodetext(target));
    movetags(tree, carried);
}

void rerootcom()
{
    nodaterror("rerooting trees");
    if (gotc(':')) return reroottags();
    notreeerror();
    int target = peep() == ';' ? outgroup : readtarget(), done = 0, skipped = 0;
    for (int t = 0; t < trees_in_mem; ++t) {
        hiscratch scratch;
        int *tree = hi<int>(nodz);
        std::copy(mem_tree[t], mem_tree[t] + nodz, tree);
        if (!reroot(tree, target)) {
            ++skipped;
            continue;
        }
        std::copy(tree, tree + nodz, mem_tree[t]);
        ++done;
    }
    recalctree = 1;
    spewem(intvert(done), "trees re-rooted on", nodetext(target), nullptr);
    if (skipped) {
        joinem(intvert(skipped), " trees skipped - couldn't reroot on ", nodetext(target), "\n", nullptr);
    }
}

const comhelp reroothelp = {
    "Root all trees on a taxon or a node.", nullptr,
    "  reroot ;      on the outgroup\n"
    "  reroot N ;    on taxon (number or name) or node N, in all trees that have it\n"
    "  reroot : N ;  the tag tree, on its node N (default the outgroup); tags stay\n"
    "                with their branches\n"
    "Examples:\n"
    "  reroot 5 ; tplot 0 ; reroot ;\n"
    "  reroot Honey_bee ;\n"
};

// --- Checks ---

void check_everything()
{
    checkinput();
    checkarena();
    checktextbuf();
    if (datonlytag) checkmatrix();
    if (!datatag || doing_a_search) return;
    if (vailram() < size_t(nodz) * sizeof(int) * 64) return;       // the checks themselves take memory
    checktreebuf();
    checknamedgroups();
    checkvault();
    checktags();
    if (check_constraints) check_constraints();
    checklightopt();
    if (schtag) checkpack();
}
