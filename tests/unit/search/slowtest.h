// slowtest.h: random data of every kind that the packed image can hold, step matrices and continuous
// characters among them, and their plain scores.
#pragma once
#include "packed.h"
#include "trees/implied.h"
#include <bit>
#include <map>

namespace mixed {

using ranges = std::vector<std::pair<long, long>>;          // thousandths, a taxon; 0 to 65535 is missing

struct data {
    plain::data m;                                          // discrete characters, after the continuous ones
    std::vector<ranges> cont;
    std::vector<int> contweight;
};

constexpr std::pair<long, long> UNKNOWN = { 0, 65535 };

inline std::string thousandths(long x)
{
    char text[32];
    snprintf(text, sizeof text, "%ld.%03ld", x / 1000, x % 1000);
    return text;
}

inline std::string readtext(const data &d)
{
    if (d.cont.empty() && d.m.rootstates.empty()) return plain::readtext(d.m);
    int taxa = d.m.taxa, conts = int(d.cont.size());
    std::string s;
    if (!conts) {
        s = plain::readtext(d.m);
        s.resize(s.rfind("procedure/;"));
        return s + "ancstates 0." + std::to_string(d.m.chars - 1) + ";\nprocedure/;\n";
    }
    s = "nstates num 32;\nxread " + std::to_string(conts + d.m.chars) + " " + std::to_string(taxa) + "\n&[cont]\n";
    for (int t = 0; t < taxa; ++t) {
        s += "t" + std::to_string(t);
        for (const ranges &r : d.cont)
            s += r[t] == UNKNOWN ? " ?" : " " + thousandths(r[t].first) + "-" + thousandths(r[t].second);
        s += "\n";
    }
    if (d.m.chars) s += "&[num]\n";
    for (int t = 0; t < taxa && d.m.chars; ++t) {
        s += "t" + std::to_string(t) + " ";
        for (int c = 0; c < d.m.chars; ++c) s += plain::celltext(d.m.cells[t][c]);
        s += "\n";
    }
    s += ";\n";
    for (int c = 0; c < conts; ++c) s += "ccode /" + std::to_string(d.contweight[c]) + " " + std::to_string(c) + ";\n";
    s += plain::settings(d.m, conts);
    if (!d.m.rootstates.empty()) s += "ancstates " + std::to_string(conts) + "." + std::to_string(conts + d.m.chars - 1) + ";\n";
    return s + "procedure/;\n";
}

inline long contsteps(const data &d, const plain::tree &t, int c) { return plain::farris(d.cont[c], t); }   // of a binary tree

inline double length(const data &d, const plain::tree &t)
{
    long thousand = 1000 * plain::length(d.m, t);
    for (size_t c = 0; c < d.cont.size(); ++c) thousand += d.contweight[c] * contsteps(d, t, int(c));
    return double(thousand) / 1000;
}

// Extra steps of an additive character by its thresholds.  Minima are the program's: what is at issue is the
// count of steps and what becomes of it.
inline std::vector<double> thresholdhoms(const plain::data &m, const plain::tree &t, int c, int number)
{
    uint32_t all = 0;
    for (int n = 0; n < m.taxa; ++n)
        if (m.taxactive[n] && m.cells[n][c] != plain::ANY) all |= m.cells[n][c];
    if (!(all & (all - 1))) return { double(charcodes[number].internal_steps) };
    std::vector<double> h;
    for (int s = 0; s < 31; ++s) {
        if (!(all & ((2u << s) - 1)) || !(all >> s >> 1)) continue;
        plain::data one = plain::blankmatrix(m.taxa, 1);
        for (int n = 0; n < m.taxa; ++n) {
            uint32_t x = m.cells[n][c];
            if (x != plain::ANY) one.cells[n][0] = (x & ((2u << s) - 1) ? 1 : 0) | (x >> s >> 1 ? 2 : 0);
        }
        h.push_back(std::max(0, plain::steps(one, t, 0) + charcodes[number].internal_steps - 1));
    }
    return h;
}

// The function is called with each character of weight above 0, in the program's numbers, its weight, and the
// extra steps of each of its fields.
template<class F> void eachhomoplasy(const data &d, const plain::tree &t, F f)
{
    int conts = int(d.cont.size());
    for (int c = 0; c < d.m.chars; ++c) {
        if (!d.m.active[c] || !d.m.weight[c]) continue;
        const charrec &r = charcodes[conts + c];
        if (d.m.additive[c] && !d.m.bycosts(c)) f(conts + c, d.m.weight[c], thresholdhoms(d.m, t, c, conts + c));
        else {
            uint32_t all = 0;
            for (int n = 0; n < d.m.taxa; ++n)
                if (d.m.taxactive[n] && d.m.cells[n][c] != plain::ANY) all |= d.m.cells[n][c];
            bool binary = !d.m.bycosts(c) && std::popcount(all) == 2;            // counted as one threshold
            double h = plain::steps(d.m, t, c) + r.internal_steps - (binary ? 1 : minimum_for_fit(conts + c));
            f(conts + c, d.m.weight[c], std::vector<double>{ std::max(0.0, h) });
        }
    }
    for (int c = 0; c < conts; ++c)
        f(c, d.contweight[c], std::vector<double>{ std::max(0.0, double(contsteps(d, t, c)) / 1000 + charcodes[c].internal_steps - minimum_for_fit(c)) });
}

// Members of weighting sets count by the homoplasy of all of them.
inline double fits(const data &d, const plain::tree &t)
{
    double sum = 0;
    std::map<int, double> sets;
    eachhomoplasy(d, t, [&](int number, int weight, const std::vector<double> &hs) {
        for (double h : hs)
            if (in_wtset(number)) sets[xdopiwe_isinset_user[number]] += weight * h;
            else sum += weight * charfit(number, h);
    });
    for (auto [set, h] : sets) sum += wtset_fit(set, h);
    return sum;
}

enum costkind { ANYCOSTS, SYMMETRIC, ASYMMETRIC, IRREVERSIBLE, HUB, COSTKINDS };

// Costs without detours that are cheaper than the direct way.
inline std::vector<std::vector<int>> randomcosts(std::mt19937 &rng, int states, costkind kind)
{
    constexpr int FORBIDDEN = 32700;
    std::vector<std::vector<int>> cost(states, std::vector<int>(states, 0));
    if (kind == ANYCOSTS) kind = costkind(1 + plain::below(rng, COSTKINDS - 1));
    for (int a = 0; a < states; ++a)
        for (int b = 0; b < states; ++b) {
            if (a == b) continue;
            if (kind == IRREVERSIBLE) cost[a][b] = a < b ? b - a : FORBIDDEN;
            else if (kind == HUB) cost[a][b] = a && b ? 2 : 1;
            else cost[a][b] = 1 + plain::below(rng, 6);
            if (kind == SYMMETRIC && b < a) cost[a][b] = cost[b][a];
        }
    for (int k = 0; k < states; ++k)
        for (int a = 0; a < states; ++a)
            for (int b = 0; b < states; ++b) cost[a][b] = std::min(cost[a][b], cost[a][k] + cost[k][b]);
    return cost;
}

struct kind {
    const char *what;
    plain::mix mix;
    int matrices;                 // percent of the discrete characters
    costkind costs;
    int conts;                    // continuous characters
    bool rooted = false;          // the root has the states of the outgroup, where that matters
};

inline const kind kinds[] = {
    { "unordered states",         { 8,  8,  10, 0,  0,  0,  0,  1, 1 },  0,   ANYCOSTS,     0 },
    { "additive and weights",     { 16, 16, 10, 20, 50, 10, 15, 4, 0 },  0,   ANYCOSTS,     0 },
    { "many states",              { 32, 32, 10, 10, 0,  0,  0,  2, 2 },  0,   ANYCOSTS,     0 },
    { "symmetric costs",          { 8,  4,  10, 10, 0, 0, 0, 1, 1 },    100, SYMMETRIC,    0 },
    { "asymmetric costs",         { 8,  4,  10, 10, 0, 0, 0, 1, 1 },    100, ASYMMETRIC,   0 },
    { "irreversible",             { 8,  5,  10, 0,  0, 0, 0, 1, 1 },    100, IRREVERSIBLE, 0 },
    { "irreversible, rooted",     { 8,  5,  10, 10, 0, 0, 0, 2, 1 },    80,  IRREVERSIBLE, 0, true },
    { "asymmetric, rooted",       { 8,  4,  10, 10, 0, 0, 0, 1, 1 },    80,  ASYMMETRIC,   1, true },
    { "a cheap state between",    { 8,  6,  20, 0,  0, 0, 0, 1, 1 },    100, HUB,          0 },
    { "costs and weights",        { 16, 9,  10, 10, 30, 10, 15, 6, 0 }, 40,  ANYCOSTS,     0 },
    { "continuous only",          { 32, 2,  10, 0,  0, 0, 0, 1, 1 },    0,   ANYCOSTS,     7 },
    { "continuous and others",    { 32, 6,  10, 10, 30, 10, 15, 4, 1 }, 0,   ANYCOSTS,     3 },
    { "everything",               { 32, 12, 10, 10, 30, 10, 15, 3, 0 }, 30,  ANYCOSTS,     5 },
};

inline data random(std::mt19937 &rng, int taxa, int chars, const kind &k)
{
    data d;
    d.m = plain::randommatrix(rng, taxa, chars, k.mix);
    d.m.costs.resize(chars);
    for (int c = 0; c < chars; ++c)
        if (plain::chance(rng, k.matrices)) d.m.costs[c] = randomcosts(rng, std::max(2, plain::statesof(d.m, c)), k.costs);
    for (int c = 0; c < chars && k.rooted; ++c) {
        bool asymmetric = false;
        if (d.m.bycosts(c))
            for (size_t a = 0; a < d.m.costs[c].size(); ++a)
                for (size_t b = 0; b < a; ++b) asymmetric |= d.m.costs[c][a][b] != d.m.costs[c][b][a];
        d.m.rootstates.push_back(asymmetric ? d.m.cells[0][c] : plain::ANY);
    }
    for (int c = 0; c < k.conts; ++c) {
        ranges r(taxa, UNKNOWN);
        bool coarse = plain::chance(rng, 40);                // ties
        for (auto &x : r) {
            if (plain::chance(rng, 10)) continue;
            x.first = x.second = coarse ? 1000 * plain::below(rng, 6) : plain::below(rng, 65000);
            if (plain::chance(rng, 30)) x.second = std::min(65000L, x.first + plain::below(rng, 5000));
        }
        d.cont.push_back(r);
        d.contweight.push_back(1 + plain::below(rng, k.mix.maxweight));
    }
    return d;
}

inline std::string moresettings;      // commands for every image made, after the data

// Reads and packs.
struct packing {
    explicit packing(const data &d, const std::string &settings = "")
    {
        std::string said = zelrun("procedure " + writefile("mixed.xread", readtext(d)) + ";" + moresettings + settings);
        if (zelfailed()) ADD_FAILURE() << said;
        if (dopiwe) set_fit_minima();
        schpack();
        checkpack();
    }
    ~packing()
    {
        clusters_on = 0;
        unpack_trees();
        wipetag(&schtag);
    }
};

// Implied weights for the while of a test.
struct weighting {
    explicit weighting(const std::string &settings = "piwe=3;")
    {
        std::string said = zelrun(settings);
        if (zelfailed()) ADD_FAILURE() << said;
    }
    ~weighting() { zelrun("piwe-;"); }
};

template<class F> void each(unsigned seed, int trials, int taxa, int chars, F f)
{
    std::mt19937 rng(seed);
    for (const kind &k : kinds) {
        SCOPED_TRACE(k.what);
        for (int trial = 0; trial < trials; ++trial) {
            data d = random(rng, taxa, chars, k);
            packing image(d);
            plain::tree t = plain::randomtree(rng, taxa, 0, activetaxa(d.m));
            f(rng, d, packedtree(t));
            if (testing::Test::HasFatalFailure()) return;
        }
    }
}

}  // namespace mixed
