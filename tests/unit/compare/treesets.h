// treesets.h: random trees and plain sets of sets, what consensus tests compare with.
#pragma once
#include "zeltest.h"
#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <set>
#include "compare/groups.h"
#include "data/matrix.h"
#include "trees/collapse.h"
#include "trees/treemodel.h"

using taxonset = std::set<int>;
using groupset = std::set<taxonset>;
using plaintree = std::vector<int>;           // an ancestor array

// A matrix of which only the number of taxa matters.
inline void readtaxa(int taxa)
{
    std::string text = "xread 'taxa only' 2 " + std::to_string(taxa) + "\n";
    for (int t = 0; t < taxa; ++t) text += "tax_" + std::to_string(t) + " 01\n";
    zelrun("silent=all;");
    zelrun("procedure " + writefile("taxa.xread", text + ";\nproc/;\n") + ";");
    zelrun("silent-all;");
    ASSERT_EQ(nt, taxa);
    collapse_consensuses = 0;
}

// Joins random branches until one is left; then removes each inner node with the chance given.
inline plaintree randomtree(std::mt19937 &dice, double polytomy, double missing)
{
    std::vector<int> open, anc(nodz, 0);
    for (int t = 0; t < nt; ++t)
        if (std::uniform_real_distribution<>()(dice) >= missing) open.push_back(t);
    while (open.size() < 3) {
        int t = int(dice() % unsigned(nt));
        if (std::find(open.begin(), open.end(), t) == open.end()) open.push_back(t);
    }
    int next = nt + 1;
    while (open.size() > 2) {
        std::shuffle(open.begin(), open.end(), dice);
        int a = open.back(); open.pop_back();
        int b = open.back(); open.pop_back();
        anc[a] = anc[b] = next;
        open.push_back(next++);
    }
    anc[open[0]] = anc[open[1]] = nt;
    anc[nt] = next;
    std::vector<int> marks(nodz, 0);
    for (int n = nt + 1; n < next; ++n) marks[n] = std::uniform_real_distribution<>()(dice) < polytomy;
    delnodz(anc.data(), marks.data());
    return anc;
}

// A tree that shares most of its groups with another: two branches change places.
inline plaintree similartree(std::mt19937 &dice, const plaintree &from)
{
    plaintree tree = from;
    std::vector<int> inner;
    for (int n = nt + 1; n < tree[nt]; ++n) inner.push_back(n);
    if (inner.empty()) return tree;
    std::vector<int> marks(nodz, 0);
    marks[inner[dice() % inner.size()]] = 1;
    delnodz(tree.data(), marks.data());
    return tree;
}

inline taxonset below(const int *tree, int node, const uint8_t *excluded)
{
    taxonset taxa;
    for (int t = 0; t < nt; ++t) {
        if (!tree[t] || (excluded && excluded[t])) continue;
        for (int n = t;; n = tree[n]) {
            if (n == node) taxa.insert(t);
            if (n == node || n == nt) break;
        }
    }
    return taxa;
}

inline groupset groupsof(const int *tree, const uint8_t *excluded, int takingpart,
                         const std::function<bool(int)> &supported = [](int) { return true; })
{
    groupset groups;
    for (int n = nt; n < tree[nt]; ++n) {
        taxonset taxa = below(tree, n, excluded);
        if (taxa.size() > 1 && int(taxa.size()) != takingpart && supported(n)) groups.insert(taxa);
    }
    return groups;
}

struct collection {
    std::vector<plaintree> trees;
    std::vector<uint8_t> list, excluded;
    const uint8_t *listed() const { return list.empty() ? nullptr : list.data(); }
    std::vector<int *> rows()
    {
        std::vector<int *> r;
        for (auto &t : trees) r.push_back(t.data());
        return r;
    }
};

// Taxa that take part, by the rule: the user's are out, and those that a selected tree lacks.
inline std::vector<uint8_t> leftout(const collection &c)
{
    std::vector<uint8_t> out(nt);
    for (int t = 0; t < nt; ++t) {
        out[t] = int8_t(c.excluded[t]) > 0;
        for (size_t i = 0; i < c.trees.size(); ++i)
            if (ignore_unshared_taxa && selectedtree(c.list.empty() ? nullptr : c.list.data(), int(i)))
                out[t] |= c.trees[i][t] == 0;
    }
    return out;
}

// A rule that decides by the number of the node and of the tree's nodes, for tests only.
inline bool invented(const int *tree, int n) { return n == nt || (n * 7 + tree[nt] * 3 + tree[0]) % 5 != 0; }
inline void inventedrule(const int *tree, int *marks, const uint8_t *)
{
    for (int n = 0; n < nodz; ++n) marks[n] = n >= nt && n < tree[nt] && invented(tree, n);
}

inline collection randomcollection(std::mt19937 &dice, double polytomy, double missing, double excluded)
{
    collection c;
    int trees = 1 + int(dice() % 7);
    plaintree model = randomtree(dice, polytomy, missing);
    for (int i = 0; i < trees; ++i)
        c.trees.push_back(dice() % 4 ? similartree(dice, model) : randomtree(dice, polytomy, missing));
    if (dice() % 2) {
        c.list.resize(trees);
        for (auto &l : c.list) l = dice() % 3 == 0 ? 0 : dice() % 4 == 0 ? 255 : 1;
        c.list[dice() % trees] = 1;
    }
    c.excluded.assign(nt, 0);
    for (auto &x : c.excluded)
        if (std::uniform_real_distribution<>()(dice) < excluded) x = dice() % 5 ? 1 : 255;
    return c;
}
