// reference.h: plain optimizers, written for clarity, that the real ones are compared with.
//
// Everything here works on one character at a time and shares no code with the program: a matrix
// and a tree of its own, lengths by the whole table of costs of every node, sets of states by
// trying the table from both ends, shortest trees by trying all binary trees.  Random trees and
// matrices, and their native text, feed both sides with the same data.
//
//     std::mt19937 rng(7);
//     plain::data m = plain::randommatrix(rng, 8, 20);
//     zelrun("procedure " + writefile("m.xread", plain::readtext(m)) + ";");   // a typed line holds 4 KB only
//     plain::tree t = plain::randomtree(rng, 8, 30);    // 30% of the branches collapsed
//     zelrun("tread " + plain::text(t) + " ;");
//     EXPECT_EQ(plain::length(m, t), ...);
#pragma once
#include <algorithm>
#include <climits>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace plain {

constexpr uint32_t ANY = 0xffffffff;      // a missing cell: every state
constexpr int IMPOSSIBLE = 1 << 28;       // a cost that no tree reaches

// ---------------------------------------------------------------------------------- matrices

struct data {
    int taxa = 0, chars = 0;
    int width = 8;                                // states a cell has room for: 8, 16 or 32
    std::vector<std::vector<uint32_t>> cells;     // [taxon][character]: set of states, or ANY
    std::vector<int> additive, weight, active;    // per character
    std::vector<int> taxactive;                   // per taxon; taxon 0 is the outgroup and always active
    std::vector<std::vector<std::vector<int>>> costs;   // per character, costs[from][to]; none, or empty: as additive says
    std::vector<uint32_t> rootstates;             // per character: states that the root may have; none: all

    bool bycosts(int c) const { return c < int(costs.size()) && !costs[c].empty(); }
};

// A cell as the optimizers see it: a polymorphic cell of an additive character is the range from
// its lowest to its highest state.
inline uint32_t seen(const data &m, int t, int c)
{
    uint32_t x = m.cells[t][c];
    if (x == ANY || !m.additive[c] || m.bycosts(c)) return x;
    uint32_t range = 0;
    int low = 31, high = 0;
    for (int s = 0; s < 32; ++s)
        if (x >> s & 1) low = std::min(low, s), high = std::max(high, s);
    for (int s = low; s <= high; ++s) range |= uint32_t(1) << s;
    return range;
}

inline int statesof(const data &m, int c)       // highest state of the character, plus 1; at least 1
{
    int n = 1;
    for (int t = 0; t < m.taxa; ++t)
        for (int s = 0; s < 32; ++s)
            if (m.cells[t][c] != ANY && (m.cells[t][c] >> s & 1)) n = std::max(n, s + 1);
    return n;
}

inline char symbol(int s) { return char(s < 10 ? '0' + s : 'A' + s - 10); }

inline std::string celltext(uint32_t x)
{
    if (x == ANY) return "?";
    std::string states;
    for (int s = 0; s < 32; ++s)
        if (x >> s & 1) states += symbol(s);
    return states.size() == 1 ? states : "[" + states + "]";
}

// The matrix as an xread command alone; the taxa are named t0, t1, ...
inline std::string xread(const data &m)
{
    std::string s = "xread " + std::to_string(m.chars) + " " + std::to_string(m.taxa) + "\n";
    for (int t = 0; t < m.taxa; ++t) {
        s += "t" + std::to_string(t) + " ";
        for (int c = 0; c < m.chars; ++c) s += celltext(m.cells[t][c]);
        s += "\n";
    }
    return s + ";\n";
}

// The settings of its characters and taxa as commands; first: the number of its first character.
inline std::string settings(const data &m, int first = 0)
{
    std::string s = "ccode";
    for (int c = 0; c < m.chars; ++c)
        s += std::string(m.additive[c] ? " +" : " -") + (m.active[c] ? "[" : "]") + "/" + std::to_string(m.weight[c]) +
             " " + std::to_string(first + c);
    s += ";\n";
    for (int c = 0; c < m.chars; ++c) {
        if (!m.bycosts(c)) continue;
        s += "costs " + std::to_string(first + c) + " =";
        int n = int(m.costs[c].size());
        for (int a = 0; a < n; ++a)
            for (int b = 0; b < n; ++b)
                if (a != b) s += std::string(" ") + symbol(a) + ">" + symbol(b) + " " + std::to_string(m.costs[c][a][b]);
        s += ";\n";
    }
    for (int t = 0; t < m.taxa; ++t)
        if (!m.taxactive[t]) s += "taxcode -" + std::to_string(t) + ";\n";
    return s;
}

// Everything that puts the matrix in memory as it is here: nstates num (what an earlier file was read as stays), xread, ccode, taxcode.
inline std::string readtext(const data &m)
{
    return "nstates num " + std::to_string(m.width) + ";\n" + xread(m) + settings(m) + "procedure/;\n";
}

inline data blankmatrix(int taxa, int chars, int width = 8)   // all missing, unordered, weight 1, active
{
    data m;
    m.taxa = taxa, m.chars = chars, m.width = width;
    m.cells.assign(taxa, std::vector<uint32_t>(chars, ANY));
    m.additive.assign(chars, 0);
    m.weight.assign(chars, 1);
    m.active.assign(chars, 1);
    m.taxactive.assign(taxa, 1);
    return m;
}

// A matrix from rows of one symbol a character, '?' missing: fromrows({"0011", "01?1", ...}).
inline data fromrows(const std::vector<std::string> &rows, int width = 8)
{
    data m = blankmatrix(int(rows.size()), int(rows[0].size()), width);
    for (int t = 0; t < m.taxa; ++t)
        for (int c = 0; c < m.chars; ++c) {
            char x = rows[t][c];
            if (x != '?') m.cells[t][c] = uint32_t(1) << (x <= '9' ? x - '0' : x - 'A' + 10);
        }
    return m;
}

inline int below(std::mt19937 &rng, int n) { return int(rng() % uint32_t(n)); }   // 0..n-1
inline bool chance(std::mt19937 &rng, int percent) { return below(rng, 100) < percent; }

// What a random matrix may hold.  The defaults give unordered characters of few states only.
struct mix {
    int width = 8;               // 8, 16 or 32
    int maxstates = 4;           // a character has 1..maxstates states
    int missing = 10;            // percent of cells
    int polymorphic = 0;         // percent of cells
    int additive = 0;            // percent of characters
    int inactive = 0;            // percent of characters
    int inactivetaxa = 0;        // percent of taxa, as long as four stay
    int maxweight = 1;           // weights minweight..maxweight
    int minweight = 1;
};

// Every kind of thing at once.
inline mix everything(int width) { return { width, width, 12, 10, 40, 10, 15, 5, 0 }; }

inline data randommatrix(std::mt19937 &rng, int taxa, int chars, const mix &k = {})
{
    data m = blankmatrix(taxa, chars, k.width);
    for (int c = 0; c < chars; ++c) {
        int states = 1 + below(rng, k.maxstates);
        int first = states < k.width ? below(rng, k.width - states + 1) : 0;
        if (chance(rng, 50)) first = 0;
        for (int t = 0; t < taxa; ++t) {
            if (chance(rng, k.missing)) continue;
            uint32_t x = uint32_t(1) << (first + below(rng, states));
            if (chance(rng, k.polymorphic)) x |= uint32_t(1) << (first + below(rng, states));
            m.cells[t][c] = x;
        }
        m.additive[c] = chance(rng, k.additive);
        m.active[c] = !chance(rng, k.inactive);
        m.weight[c] = k.minweight + below(rng, k.maxweight - k.minweight + 1);
    }
    int active = taxa;
    for (int t = 1; t < taxa; ++t)
        if (active > 4 && chance(rng, k.inactivetaxa)) m.taxactive[t] = 0, --active;
    return m;
}

// ------------------------------------------------------------------------------------- trees

// anc[n] is the ancestor of node n; terminals are 0..taxa-1, the root is node taxa.
struct tree {
    int taxa = 0;
    std::vector<int> anc;                          // NONE for the root and for taxa not in the tree
    static constexpr int NONE = -1;
    int root() const { return taxa; }
    int nodes() const { return int(anc.size()); }
};

inline std::vector<std::vector<int>> children(const tree &t)
{
    std::vector<std::vector<int>> kids(t.nodes());
    for (int n = 0; n < t.nodes(); ++n)
        if (t.anc[n] != tree::NONE) kids[t.anc[n]].push_back(n);
    return kids;
}

inline std::vector<int> rootfirst(const tree &t)   // internal nodes, each before its descendants
{
    auto kids = children(t);
    std::vector<int> order{ t.root() };
    for (size_t i = 0; i < order.size(); ++i)
        for (int k : kids[order[i]])
            if (k >= t.taxa) order.push_back(k);
    return order;
}

// Parenthetical text without the closing ';': "(0 (1 2) (3 4))".
inline std::string text(const tree &t)
{
    auto kids = children(t);
    std::function<std::string(int)> write = [&](int n) {
        if (n < t.taxa) return std::to_string(n);
        std::string s = "(";
        for (int k : kids[n]) s += (s.size() > 1 ? " " : "") + write(k);
        return s + ")";
    };
    return write(t.root());
}

// The tree as the program stores it: 2 taxa - 1 entries, the root's entry the node slots in use,
// 0 for taxa that are not in the tree.  Nodes keep the numbers they have here.
inline std::vector<int> stored(const tree &t)
{
    std::vector<int> anc(2 * t.taxa - 1, 0);
    for (int n = 0; n < t.nodes(); ++n) anc[n] = t.anc[n] == tree::NONE ? 0 : t.anc[n];
    anc[t.taxa] = t.nodes();
    return anc;
}

inline tree fromstored(const int *anc, int taxa)
{
    tree t;
    t.taxa = taxa;
    t.anc.assign(anc, anc + anc[taxa]);
    for (int n = 0; n < t.nodes(); ++n)
        if (n == taxa || t.anc[n] == 0) t.anc[n] = tree::NONE;
    return t;
}

// Node n hangs from its ancestor's ancestor no more: its descendants do.  Nodes are renumbered.
inline tree without(const tree &t, int n)
{
    tree u;
    u.taxa = t.taxa;
    for (int i = 0; i < t.nodes(); ++i) {
        if (i == n) continue;
        int a = t.anc[i] == n ? t.anc[n] : t.anc[i];
        u.anc.push_back(a > n ? a - 1 : a);
    }
    return u;
}

// Taxa of a node, bit by taxon (up to 64 taxa).
inline std::vector<uint64_t> groups(const tree &t)
{
    std::vector<uint64_t> g(t.nodes(), 0);
    for (int n = 0; n < t.taxa; ++n)
        if (t.anc[n] != tree::NONE) g[n] = uint64_t(1) << n;
    auto order = rootfirst(t);
    auto kids = children(t);
    for (size_t i = order.size(); i-- > 0;)
        for (int k : kids[order[i]]) g[order[i]] |= g[k];
    return g;
}

// The groups of the internal nodes, sorted: equal for equal rooted trees.
inline std::vector<uint64_t> shape(const tree &t)
{
    auto g = groups(t);
    std::vector<uint64_t> s(g.begin() + t.taxa, g.end());
    std::sort(s.begin(), s.end());
    return s;
}

// A random binary tree of the taxa listed (all when the list is empty), the first of them beside
// the rest at the root, with each other internal node collapsed by the chance given in percent.
inline tree randomtree(std::mt19937 &rng, int taxa, int collapse = 0, std::vector<int> which = {})
{
    if (which.empty())
        for (int i = 0; i < taxa; ++i) which.push_back(i);
    tree t;
    t.taxa = taxa;
    t.anc.assign(taxa + 1, tree::NONE);
    t.anc[which[0]] = t.anc[which[1]] = taxa;
    std::vector<int> branches{ which[1] };         // branches that the next taxon may join
    for (size_t i = 2; i < which.size(); ++i) {
        int at = branches[below(rng, int(branches.size()))], fork = t.nodes();
        t.anc.push_back(t.anc[at]);
        t.anc[at] = t.anc[which[i]] = fork;
        branches.push_back(which[i]);
        branches.push_back(fork);
    }
    for (int n = t.nodes() - 1; n > taxa; --n)
        if (chance(rng, collapse)) t = without(t, n);
    return t;
}

// Calls visit for every binary tree of all taxa, taxon 0 beside the rest at the root: 1, 3, 15,
// 105, 945, 10395 trees for 3, 4, 5, 6, 7, 8 taxa.
inline void allbinary(int taxa, const std::function<void(const tree &)> &visit)
{
    tree t;
    t.taxa = taxa;
    t.anc.assign(taxa + 1, tree::NONE);
    t.anc[0] = t.anc[1] = taxa;
    std::function<void(int)> add = [&](int next) {
        if (next == taxa) { visit(t); return; }
        int nodes = t.nodes();
        for (int at = 1; at < nodes; ++at) {
            if (at == taxa || t.anc[at] == tree::NONE) continue;
            int was = t.anc[at], fork = nodes;
            t.anc.push_back(was);
            t.anc[at] = t.anc[next] = fork;
            add(next + 1);
            t.anc.pop_back();
            t.anc[at] = was, t.anc[next] = tree::NONE;
        }
    };
    add(2);
}

// ------------------------------------------------------------------------------- optimization

inline int change(const data &m, int c, int s, int u)
{
    return m.bycosts(c) ? m.costs[c][s][u] : m.additive[c] ? std::abs(s - u) : s != u;
}

// cost[n][s]: fewest steps in the subtree of node n when n has state s.
inline std::vector<std::vector<int>> costtable(const data &m, const tree &t, int c)
{
    int states = statesof(m, c);
    std::vector<std::vector<int>> cost(t.nodes(), std::vector<int>(states, 0));
    for (int n = 0; n < t.taxa; ++n)
        for (int s = 0; s < states; ++s) cost[n][s] = seen(m, n, c) >> s & 1 ? 0 : IMPOSSIBLE;
    auto order = rootfirst(t);
    auto kids = children(t);
    for (size_t i = order.size(); i-- > 0;)
        for (int s = 0; s < states; ++s)
            for (int k : kids[order[i]]) {
                int best = IMPOSSIBLE;
                for (int u = 0; u < states; ++u) best = std::min(best, change(m, c, s, u) + cost[k][u]);
                cost[order[i]][s] += best;
            }
    for (int s = 0; s < states && !m.rootstates.empty(); ++s)
        if (!(m.rootstates[c] >> s & 1)) cost[t.root()][s] = IMPOSSIBLE;
    return cost;
}

// Steps of one character, without weight and whether or not it is active.
inline int steps(const data &m, const tree &t, int c)
{
    auto root = costtable(m, t, c)[t.root()];
    return *std::min_element(root.begin(), root.end());
}

// Length of the tree: steps times weight of the active characters.
inline long length(const data &m, const tree &t)
{
    long sum = 0;
    for (int c = 0; c < m.chars; ++c)
        if (m.active[c]) sum += long(m.weight[c]) * steps(m, t, c);
    return sum;
}

// The first pass by sets on a binary tree (Fitch 1971): intersection, else union and a step.
inline int fitch(const data &m, const tree &t, int c)
{
    std::vector<uint32_t> set(t.nodes());
    for (int n = 0; n < t.taxa; ++n) set[n] = m.cells[n][c];
    auto order = rootfirst(t);
    auto kids = children(t);
    int n = 0;
    for (size_t i = order.size(); i-- > 0;) {
        uint32_t a = set[kids[order[i]][0]], b = set[kids[order[i]][1]];
        set[order[i]] = a & b ? a & b : a | b;
        n += !(a & b);
    }
    return n;
}

// The first pass by intervals on a binary tree (Farris 1970), low and high value a taxon.
inline long farris(const std::vector<std::pair<long, long>> &range, const tree &t)
{
    std::vector<std::pair<long, long>> iv(range);
    iv.resize(t.nodes());
    auto order = rootfirst(t);
    auto kids = children(t);
    long n = 0;
    for (size_t i = order.size(); i-- > 0;) {
        auto a = iv[kids[order[i]][0]], b = iv[kids[order[i]][1]];
        long low = std::max(a.first, b.first), high = std::min(a.second, b.second);
        if (low > high) n += low - high, std::swap(low, high);
        iv[order[i]] = { low, high };
    }
    return n;
}

// Least total change of an interval character on any tree: an optimum exists in which every node
// has a bound of some taxon.
inline long rangesteps(const std::vector<std::pair<long, long>> &range, const tree &t)
{
    std::vector<long> value;
    for (auto &r : range) value.push_back(r.first), value.push_back(r.second);
    std::sort(value.begin(), value.end());
    value.erase(std::unique(value.begin(), value.end()), value.end());
    std::vector<std::vector<long>> cost(t.nodes(), std::vector<long>(value.size(), 0));
    for (int n = 0; n < t.taxa; ++n)
        for (size_t v = 0; v < value.size(); ++v)
            cost[n][v] = value[v] >= range[n].first && value[v] <= range[n].second ? 0 : IMPOSSIBLE;
    auto order = rootfirst(t);
    auto kids = children(t);
    for (size_t i = order.size(); i-- > 0;)
        for (size_t v = 0; v < value.size(); ++v)
            for (int k : kids[order[i]]) {
                long best = IMPOSSIBLE;
                for (size_t w = 0; w < value.size(); ++w)
                    best = std::min(best, std::abs(value[v] - value[w]) + cost[k][w]);
                cost[order[i]][v] += best;
            }
    return *std::min_element(cost[t.root()].begin(), cost[t.root()].end());
}

// rest[n][s]: fewest steps outside the subtree of n, with the branch above it, when n has state s.
inline std::vector<std::vector<int>> resttable(const data &m, const tree &t, int c)
{
    auto cost = costtable(m, t, c);
    int states = statesof(m, c);
    std::vector<std::vector<int>> rest(t.nodes(), std::vector<int>(states, 0));
    auto kids = children(t);
    auto through = [&](int k, int s) {             // fewest steps of k's subtree and branch, below state s
        int best = IMPOSSIBLE;
        for (int u = 0; u < states; ++u) best = std::min(best, change(m, c, s, u) + cost[k][u]);
        return best;
    };
    for (int n : rootfirst(t))
        for (int k : kids[n])
            for (int u = 0; u < states; ++u) {
                int best = IMPOSSIBLE;
                for (int s = 0; s < states; ++s)
                    best = std::min(best, rest[n][s] + cost[n][s] - through(k, s) + change(m, c, s, u));
                rest[k][u] = best;
            }
    return rest;
}

// States of every node over all most parsimonious reconstructions.
inline std::vector<uint32_t> finalsets(const data &m, const tree &t, int c)
{
    auto cost = costtable(m, t, c), rest = resttable(m, t, c);
    int best = steps(m, t, c);
    std::vector<uint32_t> set(t.nodes(), 0);
    for (int n = 0; n < t.nodes(); ++n)
        for (size_t s = 0; s < cost[n].size(); ++s)
            if (cost[n][s] + rest[n][s] == best) set[n] |= uint32_t(1) << s;
    return set;
}

// States of every internal node that are best for its own subtree.
inline std::vector<uint32_t> firstsets(const data &m, const tree &t, int c)
{
    auto cost = costtable(m, t, c);
    std::vector<uint32_t> set(t.nodes(), 0);
    for (int n = 0; n < t.nodes(); ++n) {
        int best = *std::min_element(cost[n].begin(), cost[n].end());
        for (size_t s = 0; s < cost[n].size(); ++s)
            if (cost[n][s] == best) set[n] |= uint32_t(1) << s;
    }
    return set;
}

// Every most parsimonious reconstruction, one state an internal node: visit(states by node).
// For a handful of taxa only.
inline void reconstructions(const data &m, const tree &t, int c,
                            const std::function<void(const std::vector<int> &)> &visit)
{
    int states = statesof(m, c), best = steps(m, t, c);
    std::vector<int> state(t.nodes(), -1);
    auto inner = rootfirst(t);
    auto total = [&] {
        int sum = 0;
        for (int n = 0; n < t.nodes(); ++n) {
            if (t.anc[n] == tree::NONE) continue;
            int least = IMPOSSIBLE;
            for (int s = 0; s < states; ++s)
                if (n >= t.taxa ? s == state[n] : seen(m, n, c) >> s & 1)
                    least = std::min(least, change(m, c, state[t.anc[n]], s));
            sum += least;
        }
        return sum;
    };
    std::function<void(size_t)> assign = [&](size_t i) {
        if (i == inner.size()) {
            if (total() == best) visit(state);
            return;
        }
        for (int s = 0; s < states; ++s) state[inner[i]] = s, assign(i + 1);
    };
    assign(0);
}

// Steps of one character on the best binary resolution of the tree (polytomies taken as soft).
inline int softsteps(const data &m, const tree &t, int c)
{
    auto kids = children(t);
    for (int n : rootfirst(t)) {
        if (kids[n].size() < 3) continue;
        int best = IMPOSSIBLE;                     // every pair of descendants joined first
        for (size_t i = 0; i < kids[n].size(); ++i)
            for (size_t j = i + 1; j < kids[n].size(); ++j) {
                tree u = t;
                int fork = u.nodes();
                u.anc.push_back(n);
                u.anc[kids[n][i]] = u.anc[kids[n][j]] = fork;
                best = std::min(best, softsteps(m, u, c));
            }
        return best;
    }
    return steps(m, t, c);
}

// --------------------------------------------------------------------------------- best trees

struct shortest {
    long length = LONG_MAX;
    std::vector<tree> trees;      // all binary trees of that length
};

inline shortest search(const data &m)            // all taxa; for up to 8 of them
{
    shortest best;
    allbinary(m.taxa, [&](const tree &t) {
        long n = length(m, t);
        if (n < best.length) best.length = n, best.trees.clear();
        if (n == best.length) best.trees.push_back(t);
    });
    return best;
}

}  // namespace plain
