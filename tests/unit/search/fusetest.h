// fusetest.h: pairs of trees that share groups.
#pragma once
#include "slowtest.h"
#include "searchtest.h"
#include "search/fuse.h"
#include "search/fuseval.h"
#include "search/keeptrees.h"
#include "search/wagner.h"
#include <iterator>
#include <set>

inline std::vector<int> inclade(const std::vector<int> &tree, int top)
{
    std::vector<int> nodes{ top };
    for (size_t i = 0; i < nodes.size(); ++i)
        for (int n = 0; n < hinod; ++n)
            if (n != ntax && tree[n] == nodes[i]) nodes.push_back(n);
    return nodes;
}

// The clade of a node resolved anew at random, with the nodes that it has.
inline void scramble(std::mt19937 &rng, std::vector<int> *tree, int top)
{
    std::vector<int> loose, joints;
    for (int n : inclade(*tree, top)) (n < ntax ? loose : joints).push_back(n);
    for (size_t k = joints.size(); k--; ) {
        for (int side = 0; side < 2; ++side) {
            int i = plain::below(rng, int(loose.size()));
            (*tree)[loose[i]] = joints[k];
            loose.erase(loose.begin() + i);
        }
        loose.push_back(joints[k]);
    }
}

inline std::vector<int> relative(std::mt19937 &rng, const std::vector<int> &tree, int changes)
{
    std::vector<int> other = tree;
    while (changes--) scramble(rng, &other, ntax + 1 + plain::below(rng, ntax - 2));
    return other;
}

// The same with clades of few taxa, so that most groups stay.
inline std::vector<int> closerelative(std::mt19937 &rng, const std::vector<int> &tree, int changes)
{
    std::vector<int> other = tree;
    while (changes) {
        int top = ntax + 1 + plain::below(rng, ntax - 2), size = (int(inclade(other, top).size()) + 1) / 2;
        if (size < 4 || size > 8) continue;
        scramble(rng, &other, top);
        --changes;
    }
    return other;
}

inline double rescored(const std::vector<int> &tree)
{
    std::vector<int> rooted = tree;
    fix_outgroup(rooted.data());
    return schoptimize(rooted.data(), 1);
}

using taxonset = std::set<int>;
using groupset = std::set<taxonset>;

inline std::vector<taxonset> taxasets(const std::vector<int> &t)        // per node; t may lack taxa
{
    std::vector<taxonset> s(static_cast<size_t>(hinod));
    for (int x = 0; x < ntax; ++x)
        if (t[x])
            for (int n = x; ; n = t[n]) {
                s[n].insert(x);
                if (n == ntax) break;
            }
    return s;
}

inline groupset groupsof(const std::vector<int> &t)
{
    groupset all;
    for (const taxonset &g : taxasets(t)) all.insert(g);
    return all;
}

inline bool isin(const taxonset &inner, const taxonset &outer)
{
    return std::includes(outer.begin(), outer.end(), inner.begin(), inner.end());
}

inline void expectwhole(const std::vector<int> &t)          // binary, all taxa, terminal 0 at the root
{
    std::vector<int> kids(size_t(hinod), 0);
    for (int n = 0; n < hinod; ++n)
        if (n != ntax) ++kids[size_t(t[n])];
    for (int n = 0; n < hinod; ++n) ASSERT_EQ(kids[size_t(n)], n < ntax ? 0 : 2);
    ASSERT_EQ(t[0], ntax);
    ASSERT_EQ(t[ntax], hinod);
    ASSERT_EQ(taxasets(t)[ntax].size(), size_t(ntax));
}

// All taxa active.
inline plain::data matrixof(std::mt19937 &rng, int taxa, int chars, const plain::mix &k = { 8, 4, 10, 0, 0, 0, 0, 1, 1 })
{
    plain::data m = plain::randommatrix(rng, taxa, chars, k);
    m.taxactive.assign(size_t(taxa), 1);
    return m;
}

// Trees of an image, with room for more.
struct roomylist {
    std::vector<std::vector<int>> trees;
    std::vector<int *> rows;
    int count;
    roomylist(const std::vector<std::vector<int>> &given, int room) : trees(given), count(int(given.size()))
    {
        trees.resize(size_t(count + room), std::vector<int>(size_t(nodz), 0));
        for (auto &t : trees) rows.push_back(t.data());
    }
};
