// Expressions: characters, their settings, and their states.
#include "script/ex.h"
#include "data/costs.h"
#include "data/datamem.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/bits.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "script/internals.h"
#include "script/macmem.h"
#include "script/scoring.h"
#include "script/stream.h"
#include "script/vars.h"
#include "trees/implied.h"
#include "trees/lightopt.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>

namespace ex {

template<class F> static double ofcharacter(F value)
{
    return bracketed([=] {
        int c = chararg();
        set_charcodes();
        return double(value(charcodes[c], c));
    });
}

// --- settings -----------------------------------------------------------------------------

double isact()   { return ofcharacter([](const charrec &r, int) { return r.active != 0; }); }
double isadd()   { return ofcharacter([](const charrec &r, int) { return r.additive && !r.continuous; }); }
double iscont()  { return ofcharacter([](const charrec &r, int) { return r.continuous != 0; }); }
double iscateg() { return ofcharacter([](const charrec &r, int) { return !r.continuous; }); }
double isinnuc() { return ofcharacter([](const charrec &, int) { return 0; }); }
double islmark() { return ofcharacter([](const charrec &, int) { return 0; }); }
double issank()  { return ofcharacter([](const charrec &r, int) { return r.sankoff != 0; }); }
double weight()  { return ofcharacter([](const charrec &r, int) { return r.weight; }); }

double cost()
{
    return bracketed([] {
        int c = chararg(), from = integer(), to = integer();
        const charrec &r = charcodes[c];
        if (r.continuous) errmsg("Character", intvert(c), "is continuous: it has no states", nullptr);
        for (int s : { from, to })
            if (s < 0 || s >= maxstate) myerr("Character %i doesn't have a state %i", c, s);
        if (r.sankoff) return double(r.costs[from][to]);
        return r.additive ? std::abs(from - to) : double(from != to);
    });
}

// --- minima and maxima --------------------------------------------------------------------

static double least(const charrec &r) { return r.continuous ? r.realmin : r.minsteps; }
static double most(const charrec &r)  { return r.continuous ? r.realmax : r.maxsteps; }

// As if only the active taxa were there.
static double amongactive(double (*value)(const charrec &))
{
    return bracketed([=] {
        int c = chararg();
        set_charcodes();
        struct putback {
            charrec *at, was = *at;
            int only = check_only_active_taxa;
            explicit putback(charrec *r) : at(r) {}
            ~putback() { *at = was; check_only_active_taxa = only; }
        } guard(charcodes + c);
        check_only_active_taxa = 1;
        set_one_charcode(c);
        return value(charcodes[c]);
    });
}

double minsteps()    { return ofcharacter([](const charrec &r, int) { return least(r); }); }
double maxsteps()    { return ofcharacter([](const charrec &r, int) { return most(r); }); }
double minstepsact() { return amongactive(least); }
double maxstepsact() { return amongactive(most); }
double isinfo()      { return ofcharacter([](const charrec &r, int) { return least(r) != most(r); }); }

double maxstates()
{
    return ofcharacter([](const charrec &r, int) { return r.continuous || !r.sets ? -1 : int(std::bit_width(r.sets)) - 1; });
}

double nstates()
{
    return ofcharacter([](const charrec &r, int) { return r.continuous ? 0 : std::popcount(r.sets); });
}

// --- states at nodes ----------------------------------------------------------------------

// States at the nodes, one character at a time: those of the first pass, or final ones.  A character that is not
// active has them too; the record of its scores stays as it was.
struct ontree {
    const int *tree;
    bool final;
    explicit ontree(int t, bool upto = true) : tree(mem_tree[t]), final(upto)
    {
        need_scoring();
        optnodes = mkoptlist(nodlist, tree);
    }
    void assign(int c) const
    {
        struct putback {
            charrec *at, was = *at;
            uint8_t piwe = dopiwe;
            explicit putback(charrec *r) : at(r) { at->active = 1, dopiwe = 0; }
            ~putback() { *at = was, dopiwe = piwe; }
        } asactive(charcodes + c);
        chardownpass(tree, c);
        if (final) charuppass(tree, c);
    }
};

static double setof(int n, int c) { return cell(n, c); }

static void nocontinuous(int c)
{
    if (charcodes[c].continuous) errmsg("Character", intvert(c), "is continuous: use contmin and contmax", nullptr);
}

static void say(const char *what)
{
    if (macroreport) spewem(what, nullptr);
}

double states()
{
    return bracketed([] {
        bool allchars = gotc('.');
        int c = allchars ? -1 : chararg();
        another();
        bool first = gotc(':'), allnodes = gotc('.');
        int n = allnodes ? -1 : integer(), t = another() ? treearg() : -1;
        if (!allnodes && t < 0 && !isatax(n) && trees_in_mem) t = 0;
        if (t < 0 && !allnodes && !isatax(n)) errmsg("No taxon number", intvert(n), nullptr);
        const int *tree = t < 0 ? nullptr : mem_tree[t];
        std::vector<int> nodes, chars;
        if (!allnodes) {
            if (tree && (n < 0 || n >= tree[nt] || (n < nt && !tree[n])))
                errmsg("No node", intvert(n), "in tree", intvert(t), nullptr);
            nodes.push_back(n);
        } else
            for (int i = 0; i < (tree ? tree[nt] : nt); ++i) nodes.push_back(i);
        if (!allchars) chars.push_back(c);
        else
            for (int i = 0; i < nc; ++i) chars.push_back(i);
        if (!allchars) nocontinuous(c);
        bool inner = tree && (allnodes || n >= nt);
        if (inner) need_scoring();
        if (allnodes || allchars) listtarget();          // before anything is calculated
        std::vector<std::vector<double>> table(chars.size());
        for (size_t i = 0; i < chars.size(); ++i) {
            if (charcodes[chars[i]].continuous) {            // no states; the others keep their places
                table[i].assign(nodes.size(), 0);
                continue;
            }
            if (inner) ontree(t, !first).assign(chars[i]);
            for (int node : nodes) table[i].push_back(node < nt || inner ? setof(node, chars[i]) : 0);
        }
        if (!allnodes && !allchars) return table[0][0];
        say(allnodes && allchars ? "States (all chars. and taxa)" : allnodes ? "States (all taxa)" : "States (all chars.)");
        if (allnodes && allchars) return storetable(table);
        if (allnodes) return storelist(table[0]);
        std::vector<double> row;
        for (auto &of : table) row.push_back(of[0]);
        return storelist(row);
    });
}

double statediff()
{
    return bracketed([] {
        uint32_t sets[2];
        for (uint32_t &s : sets) {
            if (!another()) errmsg("Usage: statediff[S1 S2 0/1]", nullptr);
            s = uint32_t(int64_t(number()));
        }
        int as_set = another() ? integer() : 0;
        if (as_set != 0 && as_set != 1) errmsg("Usage: statediff[S1 S2 0/1]", nullptr);
        uint32_t differ = sets[0] ^ sets[1];
        return as_set ? double(differ) : double(std::popcount(differ));
    });
}

// --- continuous characters ----------------------------------------------------------------

// Bounds in thousandths, as stored: [C N T], N a taxon, or a node of tree T.
static int bound(bool high, int *c)
{
    *c = chararg();
    if (!charcodes[*c].continuous) errmsg("Character", intvert(*c), "is not continuous", nullptr);
    int n = integer(), t = another() ? treearg() : isatax(n) ? -1 : 0;
    if (t >= 0 && !isatree(t)) errmsg("No tree number", intvert(t), "- only", intvert(trees_in_mem), "trees in memory", nullptr);
    if (t < 0 ? !isatax(n) : n < 0 || n >= mem_tree[t][nt] || (n < nt && !isinthetree(mem_tree[t], n)))
        errmsg("No node", intvert(n), nullptr);
    if (n >= nt) ontree(t).assign(*c);
    uint32_t x = cell(n, *c);
    if (x == CONT_MISSING || x == CONT_INAPP) return -1;
    return int(high ? x >> 16 : x & 0xffff);
}

static double continuous(bool high, bool scored)
{
    return bracketed([=] {
        int c, stored = bound(high, &c);
        if (stored < 0) return -1.0;
        return scored ? stored / 1000.0 : originalvalue(c, stored);
    });
}

double contmin()  { return continuous(false, false); }
double contmax()  { return continuous(true, false); }
double contmins() { return continuous(false, true); }
double contmaxs() { return continuous(true, true); }

double contscale()
{
    return bracketed([] {
        int c = chararg();
        if (!charcodes[c].continuous) errmsg("Character", intvert(c), "is not continuous", nullptr);
        return originalvalue(c, int(std::lround(1000 * number())));
    });
}

}
