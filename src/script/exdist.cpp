// Expressions: distances between trees, by the groups that they share, and between sequences.
//
// Robinson and Foulds 1981: groups that one tree has and the other lacks.  Rooted, a group is the taxa
// below a node; unrooted, it is the split of the taxa, written as the side without the first of them.
#include "script/ex.h"
#include "data/blocks.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/driver.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "script/internals.h"
#include "trees/treebuf.h"
#include <algorithm>
#include <cstring>

namespace ex {

using taxonset = std::vector<uint64_t>;
using groupsets = std::vector<taxonset>;

static taxonset sharedtaxa(const int *a, const int *b)
{
    taxonset set(size_t(nt + 63) / 64, 0);
    for (int t = 0; t < nt; ++t)
        if (a[t] && b[t]) set[size_t(t) / 64] |= uint64_t(1) << t % 64;
    return set;
}

static int members(const taxonset &set)
{
    int n = 0;
    for (uint64_t w : set) n += __builtin_popcountll(w);
    return n;
}

// All groups that say something, each once, in order.
static groupsets groups_of(const int *tree, const taxonset &taxa, bool rooted)
{
    int all = members(taxa), first = 0;
    while (first < nt && !(taxa[size_t(first) / 64] >> first % 64 & 1)) ++first;
    std::vector<taxonset> below(size_t(tree[nt]), taxonset(taxa.size(), 0));
    for (int t = 0; t < nt; ++t) {
        if (!(taxa[size_t(t) / 64] >> t % 64 & 1)) continue;
        for (int n = tree[t]; n != nt; n = tree[n]) below[size_t(n)][size_t(t) / 64] |= uint64_t(1) << t % 64;
    }
    groupsets groups;
    for (int n = nt + 1; n < tree[nt]; ++n) {
        taxonset &g = below[size_t(n)];
        if (!rooted && g[size_t(first) / 64] >> first % 64 & 1)
            for (size_t w = 0; w < g.size(); ++w) g[w] = taxa[w] & ~g[w];
        int size = members(g);
        if (size > 1 && size < all - !rooted) groups.push_back(g);
    }
    std::sort(groups.begin(), groups.end());
    groups.erase(std::unique(groups.begin(), groups.end()), groups.end());
    return groups;
}

// Against the groups that binary trees would have, or against those that these two do have.
static double robinson_foulds(const groupsets &x, const groupsets &y, int taxa, bool rooted, bool bypresent)
{
    size_t both = 0;
    for (size_t i = 0, j = 0; i < x.size() && j < y.size(); ) {
        auto order = x[i] <=> y[j];
        both += order == 0;
        i += order <= 0;
        j += order >= 0;
    }
    double differ = double(x.size() + y.size() - 2 * both);
    double most = bypresent ? double(x.size() + y.size()) : 2.0 * (taxa - (rooted ? 2 : 3));
    return most > 0 ? differ / most : 0;
}

// The groups of trees that are compared with each other: made once when all have the same taxa, else for each pair.
struct comparedtrees {
    bool rooted, bypresent, sametaxa = true;
    std::vector<groupsets> groups;               // by tree, empty when they are made for pairs
    taxonset taxa;
    comparedtrees(const std::vector<int> &trees, bool byroot, bool present) : rooted(byroot), bypresent(present)
    {
        constexpr double ROOM = 1e8;             // bytes
        const int *first = mem_tree[trees[0]];
        taxa = sharedtaxa(first, first);
        for (int t : trees) sametaxa = sametaxa && sharedtaxa(mem_tree[t], mem_tree[t]) == taxa;
        if (!sametaxa || double(trees.size()) * nt * double(8 * taxa.size() + sizeof(taxonset)) > ROOM) return;
        groups.resize(size_t(trees_in_mem));
        for (int t : trees)
            if (groups[size_t(t)].empty()) groups[size_t(t)] = groups_of(mem_tree[t], taxa, rooted);
    }
    double distance(int a, int b) const
    {
        if (!groups.empty())
            return robinson_foulds(groups[size_t(a)], groups[size_t(b)], members(taxa), rooted, bypresent);
        taxonset shared = sharedtaxa(mem_tree[a], mem_tree[b]);
        return robinson_foulds(groups_of(mem_tree[a], shared, rooted), groups_of(mem_tree[b], shared, rooted), members(shared),
                               rooted, bypresent);
    }
};

static std::vector<int> treesof(uint8_t *list)
{
    std::fill(list, list + trees_in_mem, uint8_t(0));
    read_scope(list, 0, trees_in_mem, "tree", nullptr);
    std::vector<int> trees;
    for (int t = 0; t < trees_in_mem; ++t)
        if (list[t] == LISTED) trees.push_back(t);
    return trees;
}

// [L]: the mean over all pairs of trees of list L; [L / M]: of one of L and one of M.
static double meandistance(bool rooted, bool bypresent)
{
    notreeerror();
    return bracketed([=] {
        char *here = lomark();
        uint8_t *list = lo<uint8_t>(size_t(trees_in_mem));
        std::vector<int> first = treesof(list), second;
        bool two = gotc('/');
        if (two) second = treesof(list);
        loset(here);
        if (first.empty() || (!two && first.size() < 2)) errmsg("First tree list contains no trees!", nullptr);
        if (two && second.empty()) errmsg("Second tree list contains no trees!", nullptr);
        std::vector<int> all = first;
        all.insert(all.end(), second.begin(), second.end());
        comparedtrees compared(all, rooted, bypresent);
        double sum = 0;
        long pairs = 0;
        for (size_t i = 0; i < first.size(); ++i) {
            intrupt(1);
            for (size_t j = two ? 0 : i + 1; j < (two ? second : first).size(); ++j, ++pairs)
                sum += compared.distance(first[i], two ? second[j] : first[j]);
        }
        return sum / double(pairs);
    });
}

double rfdist()   { return meandistance(false, false); }
double rfdistp()  { return meandistance(false, true); }
double rrfdist()  { return meandistance(true, false); }
double rrfdistp() { return meandistance(true, true); }

// --- sequences ----------------------------------------------------------------------------

// The cells of a taxon that hold something other than a gap, which has a state of its own only when read so.
static std::vector<uint32_t> sequence(int t, int low, int high)
{
    constexpr uint32_t GAP = 1 << 4;
    std::vector<uint32_t> s;
    for (int c = low; c < high; ++c) {
        if (charcodes[c].continuous) continue;
        uint32_t x = cell(t, c);
        if (!ismissing(x) && !(charcodes[c].type == DATA_DNA && x == GAP)) s.push_back(x);
    }
    return s;
}

// Least number of substitutions and of single positions put in or left out (Needleman and Wunsch 1970).
double editcost()
{
    return bracketed([] {
        int a = taxarg(), b = taxarg(), low = 0, high = nc;
        if (another()) {
            int block = integer();
            if (!blockrange(block, &low, &high)) myerr("Only %i blocks of data have been defined", ::nblocks);
        }
        std::vector<uint32_t> x = sequence(a, low, high), y = sequence(b, low, high);
        std::vector<int> row(y.size() + 1);
        for (size_t j = 0; j <= y.size(); ++j) row[j] = int(j);
        for (size_t i = 1; i <= x.size(); ++i) {
            int diagonal = row[0];
            row[0] = int(i);
            for (size_t j = 1; j <= y.size(); ++j) {
                int changed = diagonal + !(x[i - 1] & y[j - 1]);
                diagonal = row[j];
                row[j] = std::min({ changed, row[j] + 1, row[j - 1] + 1 });
            }
        }
        return double(row[y.size()]);
    });
}

}
