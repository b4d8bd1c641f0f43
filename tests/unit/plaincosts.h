// plaincosts.h: step matrices for tests, and a plain optimizer for them.
#pragma once
#include "reference.h"

namespace plain {

using costs = std::vector<std::vector<long>>;

// Costs that no third state shortens.
inline costs randomcosts(std::mt19937 &rng, int states, bool symmetric)
{
    costs cost(size_t(states), std::vector<long>(size_t(states), 0));
    for (int s = 0; s < states; ++s)
        for (int u = 0; u < states; ++u)
            if (s != u) cost[s][u] = symmetric && u < s ? cost[u][s] : 1 + below(rng, 12);
    for (int v = 0; v < states; ++v)
        for (int s = 0; s < states; ++s)
            for (int u = 0; u < states; ++u) cost[s][u] = std::min(cost[s][u], cost[s][v] + cost[v][u]);
    return cost;
}

// The distances on a random tree of the states.
inline costs treecosts(std::mt19937 &rng, int states)
{
    costs cost(size_t(states), std::vector<long>(size_t(states), 0));
    std::vector<int> order;
    for (int s = 0; s < states; ++s) order.push_back(s);
    std::shuffle(order.begin(), order.end(), rng);
    for (int i = 1; i < states; ++i) {
        int from = order[size_t(below(rng, i))], s = order[size_t(i)];
        for (int j = 0; j < i; ++j) cost[s][order[j]] = cost[order[j]][s] = cost[from][order[j]] + 1;
    }
    return cost;
}

inline std::string coststext(int c, const costs &cost)     // as a command; nothing for a single state
{
    if (cost.size() < 2) return "";
    std::string s = "costs " + std::to_string(c) + " =";
    for (size_t a = 0; a < cost.size(); ++a)
        for (size_t b = 0; b < cost.size(); ++b)
            if (a != b) s += " " + std::to_string(a) + ">" + std::to_string(b) + " " + std::to_string(cost[a][b]);
    return s + ";\n";
}

// Fewest steps below each node and state; the states the root may have, and those best there.
struct optimum { long steps; std::vector<uint32_t> best; };
inline optimum sankoff(const data &m, const tree &t, int c, const costs &cost, uint32_t rootstates = ANY)
{
    size_t states = cost.size();
    std::vector<std::vector<long>> table(t.nodes(), std::vector<long>(states, 0));
    for (int n = 0; n < t.taxa; ++n)
        for (size_t s = 0; s < states; ++s) table[n][s] = m.cells[n][c] >> s & 1 ? 0 : IMPOSSIBLE;
    auto order = rootfirst(t);
    auto kids = children(t);
    optimum o{ 0, std::vector<uint32_t>(t.nodes(), 0) };
    for (size_t i = order.size(); i-- > 0;) {
        int n = order[i];
        for (size_t s = 0; s < states; ++s) {
            for (int k : kids[n]) {
                long least = IMPOSSIBLE;
                for (size_t u = 0; u < states; ++u) least = std::min(least, cost[s][u] + table[k][u]);
                table[n][s] += least;
            }
            if (n == t.root() && !(rootstates >> s & 1)) table[n][s] += IMPOSSIBLE;
        }
        o.steps = *std::min_element(table[n].begin(), table[n].end());
        for (size_t s = 0; s < states; ++s)
            if (table[n][s] == o.steps) o.best[n] |= 1u << s;
    }
    return o;
}

}  // namespace plain
