// searchtest.h: what the tests of searches share: random data in memory, the trees kept, and the
// neighbours of a tree, listed without the program's means.
#pragma once
#include "reference.h"
#include "zeltest.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/window.h"
#include "search/moves.h"
#include "search/status.h"
#include "trees/collapse.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include <map>
#include <set>

// Trials of a long test.  The build with tiny tables runs ten times slower, under sanitizers, and
// looks for other faults than wrong trees: a part of the trials will do.
#ifdef ZEL_TINY
constexpr int atmost(int trials) { return trials / 3; }
#else
constexpr int atmost(int trials) { return trials; }
#endif

// What a poll sees while it stands: searches poll at every clip.
struct watching {
    decltype(window.zel_app_window_getKeyPressed) was = window.zel_app_window_getKeyPressed;
    double interval = polling_interval;
    int cuts = user_cuts_for_report;
    explicit watching(int (*look)())
    {
        window.zel_app_window_getKeyPressed = look;
        polling_interval = -1;
        user_cuts_for_report = 1;
    }
    ~watching()
    {
        window.zel_app_window_getKeyPressed = was;
        polling_interval = interval;
        user_cuts_for_report = cuts;
    }
    watching(const watching &) = delete;
    watching &operator=(const watching &) = delete;
};

// How often a stage of a search has begun since.
struct stagewatch : watching {
    static inline int stage, begun, last;
    explicit stagewatch(int which) : watching(look)
    {
        stage = which;
        begun = last = 0;
    }
    static int look()
    {
        begun += curalg == stage && last != stage;
        last = curalg;
        return 0;
    }
};

// Puts the matrix in memory.
inline void use(const plain::data &m)
{
    static const std::string roomy = zelrun("mxram 32;");     // large tree buffers fit where the arena starts tiny
    zelrun("procedure " + writefile("search.xread", plain::readtext(m)) + ";");
    ASSERT_FALSE(zelfailed());
}

// Kinds of data, one a weight kind of the packed image and more.
inline const std::vector<plain::mix> &kinds()
{
    static const std::vector<plain::mix> all = {
        { 8, 2, 5 },                              // binary, unit weights
        { 8, 4, 20 },                             // up to four states
        { 8, 8, 10, 10 },                         // up to eight
        { 16, 16, 10, 10 }, { 32, 32, 10, 5 },    // many
        { 8, 4, 10, 10, 60 },                     // additive
        { 8, 4, 10, 0, 20, 0, 0, 3, 1 },          // weights a cell
        { 8, 4, 10, 0, 20, 10, 0, 40, 1 },        // weights a field
        { 8, 3, 10, 0, 0, 0, 0, 2, 2 },           // one weight, not 1
        plain::everything(8), plain::everything(32),
    };
    return all;
}

inline std::string treadtext(const std::vector<plain::tree> &trees)
{
    std::string s = "tread ";
    for (size_t i = 0; i < trees.size(); ++i) s += (i ? "* " : "") + plain::text(trees[i]) + "\n";
    return s + ";\nprocedure/;\n";
}

inline void usetrees(const std::vector<plain::tree> &trees)
{
    zelrun("keep 0; procedure " + writefile("search.trees", treadtext(trees)) + ";");
    ASSERT_FALSE(zelfailed());
}

inline plain::tree kept(int t) { return plain::fromstored(mem_tree[t], nt); }

inline std::vector<plain::tree> allkept()
{
    std::vector<plain::tree> trees;
    for (int t = 0; t < trees_in_mem; ++t) trees.push_back(kept(t));
    return trees;
}

// The data of the active taxa alone, for references that want all taxa in their trees.
inline plain::data activepart(const plain::data &m)
{
    plain::data a = m;
    a.cells.clear();
    a.taxa = 0;
    for (int t = 0; t < m.taxa; ++t)
        if (m.taxactive[t]) a.cells.push_back(m.cells[t]), ++a.taxa;
    a.taxactive.assign(a.taxa, 1);
    return a;
}

// A rule for as long as it stands.
struct rulefor {
    collapser was = mark_supported;
    int quick = quick_collapse;
    explicit rulefor(collapser rule, int quickly = 0) { mark_supported = rule, quick_collapse = quickly; }
    ~rulefor() { mark_supported = was, quick_collapse = quick; }
};

// A search set up by hand, as the driver does around a command.
struct searchframe {
    explicit searchframe(handler command) { precheck(command, ';', 0); }
    ~searchframe()
    {
        end_of_search();
        loset(minseg);
        hiset(maxeg);
    }
};

inline double bestscore(const std::string &report)
{
    size_t at = report.rfind("Best score");
    at = report.find_first_of("0123456789", at == std::string::npos ? 0 : at);
    return at == std::string::npos ? -1 : std::stod(report.substr(at));
}

// The groups left once the tree is collapsed by rule 1: a branch stands when some character must
// change on it.
inline std::vector<uint64_t> standinggroups(const plain::data &m, const plain::tree &t)
{
    std::vector<uint64_t> stands, groups = plain::groups(t);
    std::vector<char> supported(t.nodes(), 0);
    for (int c = 0; c < m.chars; ++c) {
        auto sets = plain::finalsets(m, t, c);
        for (int n = m.taxa + 1; n < t.nodes(); ++n) supported[n] |= !(sets[n] & sets[t.anc[n]]);
    }
    for (int n = m.taxa + 1; n < t.nodes(); ++n)
        if (supported[n] || t.anc[n] == t.root()) stands.push_back(groups[n]);
    std::sort(stands.begin(), stands.end());
    return stands;
}

using shapes = std::set<std::vector<uint64_t>>;

inline shapes keptshapes()
{
    shapes s;
    for (int t = 0; t < trees_in_mem; ++t) s.insert(plain::shape(kept(t)));
    return s;
}

// --- neighbours ---------------------------------------------------------------------------

// Cuts every branch of the unrooted tree and joins the pieces in every way.  With rerooted false
// the piece without taxon 0 hangs by the node it was cut at.  Visits rooted trees, the tree itself
// among them; clippedtaxa are then those of that piece.  within: only branches so many nodes away, of where the cut was and within the piece.
inline uint64_t clippedtaxa;

inline void neighbours(const plain::tree &t, bool rerooted, const std::function<void(const plain::tree &)> &visit, int within = INT_MAX)
{
    int taxa = t.taxa;
    using edges = std::map<int, std::vector<int>>;
    edges whole;                                       // nodes but the root, which no unrooted tree has
    auto join = [](edges &e, int a, int b) { e[a].push_back(b), e[b].push_back(a); };
    auto cut = [](edges &e, int a, int b) {
        for (auto [x, y] : { std::pair(a, b), std::pair(b, a) }) e[x].erase(std::find(e[x].begin(), e[x].end(), y));
    };
    auto smooth = [&](edges &e, int n) {               // a node of two branches becomes one branch
        if (n < taxa || e[n].size() != 2) return;
        int a = e[n][0], b = e[n][1];
        cut(e, n, a), cut(e, n, b), e.erase(n), join(e, a, b);
    };
    std::vector<int> atroot;
    for (int n = 0; n < t.nodes(); ++n) {
        if (n == taxa) continue;
        if (t.anc[n] == taxa) atroot.push_back(n);
        else join(whole, n, t.anc[n]);
    }
    join(whole, atroot[0], atroot[1]);
    auto piece = [](const edges &e, int from) {
        std::vector<std::pair<int, int>> found;
        std::set<int> seen{ from };
        std::vector<int> open{ from };
        while (!open.empty()) {
            int n = open.back();
            open.pop_back();
            auto at = e.find(n);
            if (at == e.end()) continue;
            for (int k : at->second) {
                if (n < k) found.push_back({ n, k });
                if (seen.insert(k).second) open.push_back(k);
            }
        }
        return std::pair(seen, found);
    };
    auto rooted = [&](edges &e) {
        plain::tree u;
        u.taxa = taxa;
        u.anc.assign(taxa + 1, plain::tree::NONE);
        std::function<void(int, int, int)> put = [&](int n, int from, int up) {
            int me = n;
            if (n >= taxa) u.anc.push_back(up), me = u.nodes() - 1;
            else u.anc[n] = up;
            for (int k : e[n])
                if (k != from) put(k, n, me);
        };
        int first = e[0][0];
        u.anc[0] = taxa;
        put(first, 0, taxa);
        return u;
    };
    auto nearby = [&](edges &e, const std::vector<int> &ends, std::vector<std::pair<int, int>> *branches) {
        if (ends.size() != 2) return;                  // a terminal alone
        std::map<int, int> away{ { ends[0], 0 }, { ends[1], 0 } };
        std::vector<int> open = ends;
        for (size_t i = 0; i < open.size(); ++i)
            for (int k : e[open[i]])
                if (away.insert({ k, away[open[i]] + 1 }).second) open.push_back(k);
        auto far = [&](std::pair<int, int> b) {
            if (std::minmax(b.first, b.second) == std::minmax(ends[0], ends[1])) return false;
            return std::min(away[b.first], away[b.second]) + 1 > within;
        };
        branches->erase(std::remove_if(branches->begin(), branches->end(), far), branches->end());
    };
    std::vector<std::pair<int, int>> all = piece(whole, 0).second;
    for (auto [a, b] : all) {
        edges e = whole;
        cut(e, a, b);
        auto side = piece(e, b).first;
        if (side.count(0)) std::swap(a, b);            // b's piece is the one without taxon 0
        clippedtaxa = 0;
        for (int n : piece(e, b).first)
            if (n < taxa) clippedtaxa |= uint64_t(1) << n;
        std::vector<std::pair<int, int>> places, roots;
        std::vector<int> oldplace = e[a], oldroot = e[b];
        smooth(e, a);
        places = piece(e, 0).second;
        if (within < INT_MAX) nearby(e, oldplace, &places);
        if (places.empty()) places.push_back({ 0, 0 });
        if (rerooted) {
            int inside = b < taxa ? b : e[b][0];
            smooth(e, b);
            roots = piece(e, inside).second;
            if (within < INT_MAX) nearby(e, oldroot, &roots);
            if (roots.empty()) roots.push_back({ inside, inside });
        } else roots.push_back({ b, b });
        int fresh = 4 * taxa;
        for (auto [p, q] : places)
            for (auto [r, s] : roots) {
                edges u = e;
                int x = p, y = r;
                if (p != q) cut(u, p, q), x = fresh, join(u, x, p), join(u, x, q);
                if (r != s) cut(u, r, s), y = fresh + 1, join(u, y, r), join(u, y, s);
                join(u, x, y);
                visit(rooted(u));
            }
    }
}
