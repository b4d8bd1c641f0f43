// packed.h: random matrices and trees as the packed image has them.
#pragma once
#include "onecell.h"
#include "reference.h"
#include "zeltest.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "search/kernels.h"
#include "search/moves.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <vector>

// Reads a matrix and packs it; the image goes with the object.
struct packing {
    packing(const plain::data &m)
    {
        std::string said = zelrun("procedure " + writefile("packed.xread", plain::readtext(m)) + ";");
        if (zelfailed()) ADD_FAILURE() << said;
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

inline std::vector<int> activetaxa(const plain::data &m)
{
    std::vector<int> which;
    for (int t = 0; t < m.taxa; ++t)
        if (m.taxactive[t]) which.push_back(t);
    return which;
}

// A random binary tree of the active taxa, in packed numbers.
inline std::vector<int> packedtree(const plain::tree &t)
{
    std::vector<int> anc = plain::stored(t);
    anc.resize(std::max<size_t>(anc.size(), size_t(nodz)));
    pack_one_tree(anc.data());
    return anc;
}

inline plain::tree plaintree(const int *packed)          // back in the numbers of the matrix
{
    std::vector<int> anc(packed, packed + nodz);
    unpack_one_tree(anc.data());
    return plain::fromstored(anc.data(), nt);
}

// Matrices for each weight kind and field class.
struct drawing {
    const char *what;
    plain::mix mix;
};
inline const drawing drawings[] = {
    //                                       width states miss poly add inact taxa maxw minw
    { "two states",                        { 8,  2,  10, 0,  0,   0,  0,  1,  1 } },
    { "four states",                       { 8,  4,  10, 0,  0,   0,  0,  1,  1 } },
    { "eight states, polymorphic",         { 8,  8,  10, 15, 0,   0,  0,  1,  1 } },
    { "32 states",                         { 32, 32, 10, 10, 0,   0,  0,  1,  1 } },
    { "additive",                          { 16, 10, 10, 0,  100, 0,  0,  1,  1 } },
    { "additive ranges",                   { 16, 10, 10, 40, 100, 0,  0,  1,  1 } },
    { "one weight above 1",                { 8,  6,  10, 10, 30,  0,  0,  3,  3 } },
    { "few weights",                       { 8,  4,  10, 10, 20,  0,  0,  3,  1 } },
    { "many weights",                      { 16, 9,  10, 10, 20,  0,  0,  99, 1 } },
    { "everything",                        { 32, 16, 15, 10, 30,  15, 15, 6,  0 } },
    { "everything, mostly missing",        { 16, 8,  60, 10, 30,  15, 15, 2,  0 } },
};

template<class F> void foreachkernel(F f)
{
    for (int i = 0; kernelsets[i]; ++i) {
        SCOPED_TRACE(kernelsets[i]->name);
        force_kernels(kernelsets[i]->name);
        f();
    }
    force_kernels("");
}

// A subtree clipped at random, x from its sister s, with the counts of clusters of roots and destinations.
// The root cannot be clipped: for it, x is ntax and nothing is done.
struct aclip { int x, s, nroots = 0, ndests = 0; };

inline aclip cliprandomly(std::mt19937 &rng)
{
    aclip c;
    c.x = 1 + plain::below(rng, hinod - 1);
    c.s = sis[c.x];
    if (c.x == ntax) return c;
    clip_subtree(c.x);
    reassign_clusters(c.x, c.s, &c.nroots, &c.ndests);
    reoptimize_after_clip(c.s, c.x);
    return c;
}
