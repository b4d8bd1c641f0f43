// Expressions: the shape of trees.  Nothing here writes the working arrays of the tree model, which the
// command that reads the expression may be using.
#include "script/ex.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "script/internals.h"
#include "search/constraints.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include "trees/treevault.h"
#include <algorithm>
#include <cmath>

namespace ex {

using nodes = std::vector<int>;
using taxonset = std::vector<char>;            // per taxon, 1 for members

static bool used(const int *tree, int n) { return n > nt || (n < nt && tree[n]); }     // the root apart

// Descendants of every node, in ascending order: first[n], then next[...]; -1 ends.
struct descendants {
    nodes first, next;
    explicit descendants(const int *tree) : first(size_t(tree[nt]), -1), next(size_t(tree[nt]), -1)
    {
        for (int n = tree[nt] - 1; n >= 0; --n) {
            if (!used(tree, n)) continue;
            next[size_t(n)] = first[size_t(tree[n])];
            first[size_t(tree[n])] = n;
        }
    }
};

static nodes children(const int *tree, int node)
{
    nodes list;
    for (int n = 0; n < tree[nt]; ++n)
        if (used(tree, n) && tree[n] == node) list.push_back(n);
    return list;
}

// The clade of a node, each before its descendants.
static nodes clade(const int *tree, int node)
{
    descendants below(tree);
    nodes list = { node };
    for (size_t i = 0; i < list.size(); ++i)
        for (int d = below.first[size_t(list[i])]; d >= 0; d = below.next[size_t(d)]) list.push_back(d);
    return list;
}

static taxonset taxa_of(const int *tree, int node)
{
    taxonset set(size_t(nt), 0);
    for (int n : clade(tree, node))
        if (n < nt) set[size_t(n)] = 1;
    return set;
}

// Per node of a tree, the taxa below it that are members, and those that are not.
struct membership {
    nodes in, out;
    membership(const int *tree, const taxonset &set) : in(size_t(tree[nt]), 0), out(size_t(tree[nt]), 0)
    {
        nodes order = clade(tree, nt);
        for (size_t i = order.size(); i-- > 0; ) {
            int n = order[i];
            if (n < nt) (set[size_t(n)] ? in : out)[size_t(n)] = 1;
            if (n == nt) continue;
            in[size_t(tree[n])] += in[size_t(n)];
            out[size_t(tree[n])] += out[size_t(n)];
        }
    }
};

static int size_of(const taxonset &set) { return int(std::count(set.begin(), set.end(), 1)); }

// The node with exactly these taxa; 0 if there is none.
static int node_with(const int *tree, const taxonset &set)
{
    membership m(tree, set);
    int size = size_of(set);
    for (int n = tree[nt] - 1; n >= 0; --n)
        if ((n == nt || used(tree, n)) && m.in[size_t(n)] == size && !m.out[size_t(n)]) return n;
    return 0;
}

static int depth_of(const int *tree, int n)
{
    int depth = 0;
    for (; n != nt; n = tree[n]) ++depth;
    return depth;
}

static int common(const int *tree, int a, int b)
{
    int da = depth_of(tree, a), db = depth_of(tree, b);
    for (; da > db; --da) a = tree[a];
    for (; db > da; --db) b = tree[b];
    while (a != b) {
        a = tree[a];
        b = tree[b];
    }
    return a;
}

static bool descends(const int *tree, int ancestor, int n)
{
    while (n != nt && n != ancestor) n = tree[n];
    return n == ancestor;
}

struct place { const int *tree; int node; };

static place placearg()
{
    int t = treearg();
    return { mem_tree[t], nodearg(t) };
}

static double storenodes(const nodes &list) { return storelist(std::vector<double>(list.begin(), list.end())); }

// --- one tree -----------------------------------------------------------------------------

double anc()
{
    return bracketed([] {
        place p = placearg();
        return p.node == nt ? -1.0 : p.tree[p.node];
    });
}

double comnod()
{
    return bracketed([] {
        int t = treearg(), n = nodearg(t);
        while (another()) n = common(mem_tree[t], n, nodearg(t));
        return double(n);
    });
}

double deslist()
{
    return bracketed([] {
        place p = placearg();
        return storenodes(children(p.tree, p.node));
    });
}

double distnode()
{
    return bracketed([] {
        int t = treearg(), a = nodearg(t), b = nodearg(t);
        const int *tree = mem_tree[t];
        return double(depth_of(tree, a) + depth_of(tree, b) - 2 * depth_of(tree, common(tree, a, b)));
    });
}

static nodes internal_nodes()
{
    int t = treearg(), start = another() ? nodearg(t) : nt;
    nodes list = clade(mem_tree[t], start);
    list.erase(std::remove_if(list.begin(), list.end(), [](int n) { return n < nt; }), list.end());
    return list;
}

double uplist()
{
    return bracketed([] { return storenodes(internal_nodes()); });
}

double downlist()
{
    return bracketed([] {
        nodes list = internal_nodes();
        std::reverse(list.begin(), list.end());
        return storenodes(list);
    });
}

double firstdes()
{
    return bracketed([] {
        place p = placearg();
        nodes list = children(p.tree, p.node);
        return list.empty() ? -1.0 : list[0];
    });
}

double getarep()
{
    return bracketed([] {
        place p = placearg();
        nodes list = clade(p.tree, p.node);
        std::erase_if(list, [](int n) { return n >= nt; });
        return double(*std::min_element(list.begin(), list.end()));
    });
}

double grouplist()
{
    return bracketed([] {
        place p = placearg();
        nodes list = clade(p.tree, p.node);
        std::erase_if(list, [](int n) { return n >= nt; });
        std::sort(list.begin(), list.end());
        return storenodes(list);
    });
}

double isanc()
{
    return bracketed([] {
        int t = treearg(), a = nodearg(t), d = nodearg(t);
        return double(a != d && descends(mem_tree[t], a, d));
    });
}

double isintree()
{
    return bracketed([] {
        const int *tree = mem_tree[treearg()];
        int n = integer();
        return double(n == nt || (n >= 0 && n < tree[nt] && used(tree, n)));
    });
}

double ismono()
{
    return bracketed([] {
        const int *tree = mem_tree[treearg()];
        another();
        char *here = lomark();
        uint8_t *list = zlo<uint8_t>(size_t(nt));
        read_scope(list, 0, nt, "taxon", taxname);
        taxonset set(size_t(nt), 0);
        for (int t = 0; t < nt; ++t) set[size_t(t)] = list[t] == LISTED && tree[t];
        loset(here);
        if (!size_of(set)) errmsg("No taxa of the tree are in the list", nullptr);
        return double(node_with(tree, set));
    });
}

double mono()
{
    return bracketed([] {
        int t = treearg();
        needconstraints();
        return double(!violations(mem_tree[t], true));
    });
}

double nnodes() { return bracketed([] { return mem_tree[treearg()][nt] - 1.0; }); }
double tnodes() { return bracketed([] { return mem_tree[treearg()][nt] - nt - 1.0; }); }
double tsize()  { return bracketed([] { return double(countterminals(mem_tree[treearg()])); }); }

double nodforks()
{
    return bracketed([] {
        place p = placearg();
        return double(children(p.tree, p.node).size());
    });
}

double numdes()
{
    return bracketed([] {
        place p = placearg();
        return double(size_of(taxa_of(p.tree, p.node)));
    });
}

double repspoly()
{
    return bracketed([] {
        place p = placearg();
        nodes list;
        for (int d : children(p.tree, p.node)) {
            nodes below = clade(p.tree, d);
            std::erase_if(below, [](int n) { return n >= nt; });
            list.push_back(*std::min_element(below.begin(), below.end()));
        }
        return storenodes(list);
    });
}

double sister()
{
    return bracketed([] {
        place p = placearg();
        int which = another() ? integer() : 0;
        if (which < 0) errmsg("Number of a sister must be 0 or more", nullptr);
        if (p.node == nt) return -1.0;
        nodes list = children(p.tree, p.tree[p.node]);
        std::erase(list, p.node);
        return which < int(list.size()) ? double(list[size_t(which)]) : -1.0;
    });
}

// The largest clades within the node that have no more taxa than asked for, and no fewer than a share of that.
double splitgroup()
{
    return bracketed([] {
        place p = placearg();
        int most = integer();
        double share = another() ? number() : 0;
        if (most < 1) errmsg("Groups must have 1 taxon or more", nullptr);
        if (share < 0 || share > 1) errmsg("Share of the largest size must be 0-1", nullptr);
        membership m(p.tree, taxonset(size_t(nt), 1));
        nodes list;
        for (int n : clade(p.tree, p.node)) {
            int size = m.in[size_t(n)];
            bool inside = n != p.node && m.in[size_t(p.tree[n])] <= most;
            if (size <= most && !inside && size >= share * most) list.push_back(n);
        }
        return storenodes(list);
    });
}

// --- several trees ------------------------------------------------------------------------

double eqtrees()
{
    return bracketed([] {
        int a = treearg(), b = treearg();
        return double(equal_tree(mem_tree[a], mem_tree[b]));
    });
}

double isdup()
{
    return bracketed([] {
        int t = treearg();
        return double(find_equal_tree(mem_tree[t], t) >= 0);
    });
}

double invault()
{
    return bracketed([] {
        int t = treearg();
        for (int v = 0; v < trees_in_vault; ++v)
            if (equal_tree(mem_tree[t], vault_tree[v])) return 1.0;
        return 0.0;
    });
}

double eqgroup()
{
    return bracketed([] {
        place p = placearg();
        const int *other = mem_tree[treearg()];
        return double(node_with(other, taxa_of(p.tree, p.node)));
    });
}

// The most similar group: B / (B + A + R), B the taxa in both groups or in neither, whichever are fewer, A those added and
// R those removed.
double simgroup()
{
    return bracketed([] {
        place p = placearg();
        const int *other = mem_tree[treearg()];
        taxonset set = taxa_of(p.tree, p.node);
        int members = 0, taxa = countterminals(other), best = nt;
        for (int t = 0; t < nt; ++t) members += set[size_t(t)] && other[t];
        membership m(other, set);
        double highest = -1;
        for (int n = nt; n < other[nt]; ++n) {
            int shared = m.in[size_t(n)], added = m.out[size_t(n)], removed = members - shared;
            int both = std::min(shared, taxa - shared - added - removed);
            double similarity = added + removed == 0 ? 1 : double(both) / (both + added + removed);
            if (similarity > highest) {
                highest = similarity;
                best = n;
            }
        }
        return double(best);
    });
}

// Groups can be in one tree when one holds the other, or they share nothing, of the taxa in both trees.
double gcomp()
{
    return bracketed([] {
        place a = placearg(), b = placearg();
        taxonset x = taxa_of(a.tree, a.node), y = taxa_of(b.tree, b.node);
        bool both = false, onlyx = false, onlyy = false;
        for (int t = 0; t < nt; ++t) {
            if (!a.tree[t] || !b.tree[t]) continue;
            both |= x[size_t(t)] && y[size_t(t)];
            onlyx |= x[size_t(t)] && !y[size_t(t)];
            onlyy |= y[size_t(t)] && !x[size_t(t)];
        }
        return double(!(both && onlyx && onlyy));
    });
}

}
