// treetest.h: random trees and data for any number of taxa, and the groups of a tree as plain sets.
#pragma once
#include "zeltest.h"
#include "data/matrix.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <set>
#include <string>
#include <vector>

using tree = std::vector<int>;
using group = std::vector<bool>;     // by taxon

// A matrix of one character, all states 0.
inline void datafor(int taxa)
{
    std::string text = "xread\n1 " + std::to_string(taxa) + "\n";
    for (int t = 0; t < taxa; ++t) text += "Tax" + std::to_string(t) + " 0\n";
    std::string path = writefile("taxa" + std::to_string(taxa) + ".zel", text + ";\nproc/;\n");
    zelrun("silent=all; proc " + path + "; silent-all;");
}

// Joins random nodes until one is left.  polytomies: percent of nodes with more than two
// descendants; absent: percent of taxa left out (at least two stay).
inline tree randomtree(std::mt19937 *dice, int polytomies, int absent = 0)
{
    auto roll = [&](int n) { return int((*dice)() % unsigned(n)); };
    tree anc(nodz, 0);
    std::vector<int> open;
    for (int t = 0; t < nt; ++t)
        if (roll(100) >= absent || nt - t <= 2 - int(open.size())) open.push_back(t);
    int next = nt + 1;
    while (open.size() > 1) {
        int fork = 2;
        if (roll(100) < polytomies) fork += 1 + roll(4);
        if (fork >= int(open.size()) || fork + 1 == int(open.size())) fork = int(open.size()) <= fork + 1 ? int(open.size()) : fork;
        int node = fork == int(open.size()) ? nt : next++;
        for (int i = 0; i < fork; ++i) {
            std::swap(open[roll(int(open.size()))], open.back());
            anc[open.back()] = node;
            open.pop_back();
        }
        open.push_back(node);
    }
    anc[nt] = next;
    return anc;
}

// The groups of all internal nodes but the root, by following each terminal up.
inline std::multiset<group> groupsof(const tree &anc)
{
    std::vector<group> below(nodz, group(nt, false));
    for (int t = 0; t < nt; ++t)
        if (anc[t])
            for (int n = anc[t]; n != nt; n = anc[n]) below[n][t] = true;
    std::multiset<group> all;
    for (int n = nt + 1; n < anc[nt]; ++n)
        if (anc[n]) all.insert(below[n]);
    return all;
}

// The same without a root: the side of each group that lacks the lowest terminal of the tree; only
// those of two terminals or more on both sides.
inline std::set<group> splitsof(const tree &anc)
{
    int low = 0, terminals = 0;
    while (!anc[low]) ++low;
    for (int t = 0; t < nt; ++t) terminals += anc[t] != 0;
    std::set<group> all;
    for (group g : groupsof(anc)) {
        if (g[low])
            for (int t = 0; t < nt; ++t) g[t] = anc[t] && !g[t];
        int size = int(std::count(g.begin(), g.end(), true));
        if (size > 1 && size < terminals - 1) all.insert(g);
    }
    return all;
}

inline tree canonical(tree anc)
{
    reset_nodz(anc.data());
    return anc;
}
