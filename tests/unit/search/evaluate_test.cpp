// The cost of every rearrangement, as the checks give it, is that of scoring the rearranged tree;
// sets and clusters after a clip, a move or its undoing are those of a complete optimization.
#include "packed.h"

namespace {

// Of the lengths compared with plain ones, which are slow: all but in the build with tiny tables.
#ifdef ZEL_TINY
constexpr int SPARSE = 13;
#else
constexpr int SPARSE = 1;
#endif

// One-cell optimization of the part of the tree that hangs from top, in rows of its own.
struct onecellsets {
    std::vector<uint32_t> walk, branch;
    onecellsets() : walk(size_t(hinod) * 3 * rowcells), branch(size_t(hinod) * rowcells) {}
    uint32_t *dn(int n) { return walk.data() + size_t(n) * 3 * rowcells; }

    void optimize(int top)
    {
        std::vector<int> order;
        if (top >= ntax) order.push_back(top);
        for (size_t i = 0; i < order.size(); ++i)
            for (int d : { lef[order[i]], rig[order[i]] })
                if (d >= ntax) order.push_back(d);
        for (int t = 0; t < ntax; ++t) std::copy(dnset(t), dnset(t) + foldcells, dn(t));
        for (size_t i = order.size(); i-- > 0;)
            for (int c = 0; c < foldcells; ++c) {
                uint32_t *to = dn(order[i]) + c;
                onecell::down(dn(lef[order[i]])[c], dn(rig[order[i]])[c], int(cellshift[c]) + 1, to, to + rowcells);
            }
        for (int n : order)
            for (int c = 0; c < foldcells; ++c) {
                int bits = int(cellshift[c]) + 1;
                uint32_t *to = dn(n) + c;
                if (n == top) to[2 * rowcells] = to[0];
                else {
                    uint32_t f = dn(swaptree[n])[2 * rowcells + c];
                    to[2 * rowcells] = onecell::finalset(f, to[0], to[rowcells], bits);
                    branch[size_t(n) * rowcells + c] = f | to[2 * rowcells];
                }
                for (int d : { lef[n], rig[n] })
                    if (d < ntax) branch[size_t(d) * rowcells + c] = onecell::terminalbranch(to[2 * rowcells], dn(d)[c], bits);
            }
        if (top < ntax) std::copy(dnset(top), dnset(top) + foldcells, branch.data() + size_t(top) * rowcells);
    }

    // Nodes below top have these sets in the image.
    void expectsame(int top)
    {
        std::vector<int> order{ top };
        for (size_t i = 0; i < order.size(); ++i) {
            int n = order[i];
            for (int c = 0; c < foldcells; ++c) {
                if (n != top || n < ntax) {
                    ASSERT_EQ(branchset(n)[c], branch[size_t(n) * rowcells + c]) << "branch of " << n << ", cell " << c;
                }
                for (int which = 0; which < 3 && n >= ntax; ++which)
                    ASSERT_EQ(dnset(n)[which * rowcells + c], dn(n)[which * rowcells + c]) << n << " " << which << " " << c;
            }
            if (n >= ntax)
                for (int d : { lef[n], rig[n] }) order.push_back(d);
        }
    }
};

void expectfullsets(int top)
{
    onecellsets plain;
    plain.optimize(top);
    plain.expectsame(top);
}

void expectunions()
{
    for (int k = 0; k < numclusters; ++k) {
        std::vector<uint32_t> all(rowcells, 0);
        for (int n = 0; n < hinod; ++n)
            if (n != ntax && isinclu[n] == k)
                for (int c = 0; c < foldcells; ++c) all[c] |= branchset(n)[c];
        for (int c = 0; c < foldcells; ++c) ASSERT_EQ(clusmat[k].uni[c], all[c]) << "cluster " << k << " cell " << c;
        for (int c = 0; c < foldcells; ++c) ASSERT_EQ(clusmat[k].backup[c], all[c]);
    }
}

void expectcovers()      // each node's branch set is within the union of its cluster
{
    for (int n = 0; n < hinod; ++n)
        for (int c = 0; c < foldcells && n != ntax; ++c)
            ASSERT_EQ(branchset(n)[c] & ~clusmat[isinclu[n]].uni[c], 0u) << n;
}

std::vector<int> nodesbelow(int top)
{
    std::vector<int> all{ top };
    for (size_t i = 0; i < all.size(); ++i)
        if (all[i] >= ntax)
            for (int d : { lef[all[i]], rig[all[i]] }) all.push_back(d);
    std::sort(all.begin(), all.end());
    all.erase(std::unique(all.begin(), all.end()), all.end());
    return all;
}

double stepsof(int r, int x, int d)      // of the clip rooted at r joined to d
{
    clipset = x < ntax ? dnset(x) : branchset(r);
    destset = branchset(d);
    movebound = NOBOUND;
    score_checker();
    EXPECT_TRUE(moveok);
    return movesteps;
}

template<class F> void eachdrawing(unsigned seed, int trials, int taxa, int chars, F f)
{
    std::mt19937 rng(seed);
    for (const drawing &d : drawings) {
        SCOPED_TRACE(d.what);
        for (int trial = 0; trial < trials; ++trial) {
            plain::data m = plain::randommatrix(rng, taxa, chars, d.mix);
            packing image(m);
            plain::tree t = plain::randomtree(rng, m.taxa, 0, activetaxa(m));
            std::vector<int> tree = packedtree(t);
            foreachkernel([&] { f(rng, m, tree); });
            if (testing::Test::HasFatalFailure()) return;
        }
    }
}

}  // namespace

TEST(Evaluate, TheCostOfEveryClipRootAndDestinationIsExact)
{
    eachdrawing(201, 2, 9, 30, [](std::mt19937 &, const plain::data &m, const std::vector<int> &start) {
        std::vector<int> tree = start;
        clusters_on = 1;
        double score = optimize_for_swap(tree.data());
        ASSERT_EQ(score, double(plain::length(m, plaintree(tree.data()))));
        for (int x = 1; x < hinod; ++x) {
            if (x == ntax) continue;
            int s = sis[x];
            clip_subtree(x);
            reoptimize_after_clip(s, x);
            std::vector<int> roots{ x }, dests = s == 0 ? std::vector<int>{ 0 } : nodesbelow(rig[ntax]);
            if (x >= ntax) {
                roots = nodesbelow(x);
                roots.erase(std::find(roots.begin(), roots.end(), x));
            }
            double original = stepsof(x < ntax ? x : lef[x], x, s);
            struct move { int r, d; double steps; };
            std::vector<move> moves;
            for (int r : roots)
                for (int d : dests) moves.push_back({ r, d, stepsof(r, x, d) });
            std::vector<int> links[4] = { tree, { lef, lef + hinod }, { rig, rig + hinod }, { sis, sis + hinod } };
            for (size_t i = 0; i < moves.size(); i += SPARSE) {      // on the links alone: the sets stay as they are
                const move &v = moves[i];
                reroot_clip(v.r, x);
                unclip_subtree(x, v.d);
                ASSERT_EQ(score - original + v.steps, double(plain::length(m, plaintree(tree.data()))))
                    << "clip " << x << " root " << v.r << " to " << v.d;
                std::copy(links[0].begin(), links[0].end(), tree.begin());
                std::copy(links[1].begin(), links[1].end(), lef);
                std::copy(links[2].begin(), links[2].end(), rig);
                std::copy(links[3].begin(), links[3].end(), sis);
            }
            unclip_subtree(x, s);
            restore_after_clip(s);
        }
        ASSERT_EQ(plain::shape(plaintree(tree.data())), plain::shape(plaintree(start.data())));
    });
}

TEST(Evaluate, SetsAfterAClipAndAfterItsUndoingAreThoseOfACompleteOptimization)
{
    eachdrawing(202, 3, 14, 120, [](std::mt19937 &, const plain::data &, const std::vector<int> &start) {
        std::vector<int> tree = start;
        clusters_on = 1;
        optimize_for_swap(tree.data());
        expectfullsets(ntax);
        expectunions();
        for (int x = 1; x < hinod; ++x) {
            if (x == ntax) continue;
            int s = sis[x];
            clip_subtree(x);
            reoptimize_after_clip(s, x);
            expectfullsets(ntax);
            expectfullsets(x);
            expectcovers();
            unclip_subtree(x, s);
            if (x % 3) restore_after_clip(s);
            else {
                reoptimize_after_clip(s, -1);                 // the long way gives the same
                recheck_clusters();
            }
            expectfullsets(ntax);
            expectunions();
            if (testing::Test::HasFatalFailure()) FAIL() << "clip " << x << " of " << ntax << " taxa";
        }
    });
}

TEST(Evaluate, SetsAfterAMoveAreThoseOfACompleteOptimization)
{
    eachdrawing(203, 2, 14, 120, [](std::mt19937 &rng, const plain::data &m, const std::vector<int> &start) {
        std::vector<int> tree = start;
        clusters_on = 1;
        double score = optimize_for_swap(tree.data());
        for (int move = 0; move < 60; ++move) {
            auto [x, s, nroots, ndests] = cliprandomly(rng);
            if (x == ntax) continue;
            int k = rootlist[plain::below(rng, nroots)], r = clusmat[k].roots[plain::below(rng, clusmat[k].nroots)];
            int j = deslist[plain::below(rng, ndests)], d = clusmat[j].nodes[plain::below(rng, clusmat[j].ndests)];
            double original = stepsof(x < ntax ? x : lef[x], x, s), steps = stepsof(r, x, d);
            score += steps - original;
            int top = reroot_clip(r, x);
            reoptimize_clip_path(top, x);
            unclip_subtree(x, d);
            reoptimize_after_clip(d, -1);
            rebuild_clusters();
            expectfullsets(ntax);
            expectunions();
            if (testing::Test::HasFatalFailure()) FAIL() << "clip " << x << " root " << r << " to " << d;
            if (move % SPARSE == 0) { ASSERT_EQ(score, double(plain::length(m, plaintree(tree.data())))); }
            std::vector<int> sizes(tnodsize, tnodsize + hinod);
            fill_node_sizes();
            ASSERT_TRUE(std::equal(sizes.begin(), sizes.end(), tnodsize));
        }
    });
}

TEST(Evaluate, AnOptimizationOfAnotherTreeDuringAClipIsNoticed)
{
    std::mt19937 rng(204);
    plain::data m = plain::randommatrix(rng, 12, 80, drawings[1].mix);
    packing image(m);
    std::vector<int> tree = packedtree(plain::randomtree(rng, 12)), other = packedtree(plain::randomtree(rng, 12)), copy;
    clusters_on = 1;
    optimize_for_swap(tree.data());
    for (int x = 1; x < hinod; ++x) {
        if (x == ntax) continue;
        int s = sis[x];
        clip_subtree(x);
        reoptimize_after_clip(s, x);
        unclip_subtree(x, s);
        copy = other;
        schoptimize(copy.data(), 3);
        swaptree = tree.data();
        restore_after_clip(s);
        expectfullsets(ntax);
        expectunions();
    }
}

TEST(Evaluate, TaxaCanBeAddedOneByOneWithSetsKeptRight)
{
    eachdrawing(205, 2, 12, 60, [](std::mt19937 &rng, const plain::data &m, const std::vector<int> &) {
        std::vector<int> tree(nodz, 0);
        tree[0] = ntax;
        tree[1] = tree[2] = ntax + 1;
        tree[ntax + 1] = ntax;
        tree[ntax] = ntax + 2;
        clusters_on = 0;
        double score = schoptimize(tree.data(), 3);
        for (int t = 3; t < ntax; ++t) {
            std::vector<int> places = nodesbelow(rig[ntax]);
            int d = places[plain::below(rng, int(places.size()))];
            tree[t] = tree[ntax]++;
            clipset = dnset(t);
            destset = branchset(d);
            movebound = NOBOUND;
            score_checker();
            score += movesteps;
            unclip_subtree(t, d);
            reoptimize_after_add(t);
            expectfullsets(ntax);
            if (testing::Test::HasFatalFailure()) FAIL() << "taxon " << t;
        }
        ASSERT_EQ(score, double(plain::length(m, plaintree(tree.data()))));
        ASSERT_EQ(partial_schoptimize(tree.data()), score);
    });
}

TEST(Evaluate, ClippingAllButTheOutgroupLeavesItAlone)
{
    std::mt19937 rng(206);
    plain::data m = plain::randommatrix(rng, 7, 40, drawings[1].mix);
    packing image(m);
    std::vector<int> tree = packedtree(plain::randomtree(rng, 7)), before = tree;
    optimize_for_swap(tree.data());
    int x = sis[0];
    clip_subtree(x);
    EXPECT_EQ(lef[ntax], 0);
    EXPECT_EQ(rig[ntax], 0);
    EXPECT_EQ(tree[x], x);
    unclip_subtree(x, 0);
    EXPECT_EQ(lef[ntax], 0);
    EXPECT_EQ(rig[ntax], x);
    EXPECT_EQ(tree, before);
}

TEST(Evaluate, RerootingAClipAtADescendantOfItsRootChangesNothing)
{
    std::mt19937 rng(207);
    plain::data m = plain::randommatrix(rng, 10, 20, drawings[0].mix);
    packing image(m);
    std::vector<int> tree = packedtree(plain::randomtree(rng, 10));
    optimize_for_swap(tree.data());
    for (int x = ntax + 1; x < hinod; ++x) {
        std::vector<int> before = tree;
        EXPECT_EQ(reroot_clip(lef[x], x), -1);
        EXPECT_EQ(reroot_clip(rig[x], x), -1);
        EXPECT_EQ(tree, before);
    }
    EXPECT_EQ(reroot_clip(1, 1), -1);
}

TEST(Evaluate, RerootingAClipAndBackGivesTheSameSubtree)
{
    std::mt19937 rng(208);
    plain::data m = plain::randommatrix(rng, 12, 20, drawings[0].mix);
    packing image(m);
    std::vector<int> tree = packedtree(plain::randomtree(rng, 12));
    optimize_for_swap(tree.data());
    auto shape = plain::shape(plaintree(tree.data()));
    for (int x = ntax + 1; x < hinod; ++x)
        for (int r : nodesbelow(x)) {
            if (r == x || tree[r] == x) continue;
            std::vector<int> below = nodesbelow(lef[x]);
            int back = std::count(below.begin(), below.end(), r) ? rig[x] : lef[x];   // keeps its place below x
            reroot_clip(r, x);
            EXPECT_EQ(lef[x], r);
            reroot_clip(back, x);
            ASSERT_EQ(plain::shape(plaintree(tree.data())), shape) << "clip " << x << " root " << r;
        }
}

TEST(Evaluate, FractionalAndNegativeBoundsAdmitWhatIsNotAboveThem)
{
    std::mt19937 rng(209);
    plain::data m = plain::randommatrix(rng, 8, 60, drawings[1].mix);
    packing image(m);
    std::vector<int> tree = packedtree(plain::randomtree(rng, 8));
    optimize_for_swap(tree.data());
    clipset = dnset(1);
    destset = dnset(2);
    movebound = NOBOUND;
    score_checker();
    double n = movesteps;
    ASSERT_GT(n, 0);
    for (double bound : { n, n + 0.5, n + 1 }) {
        movebound = bound;
        score_checker();
        EXPECT_TRUE(moveok);
        EXPECT_EQ(movesteps, n);
    }
    for (double bound : { n - 0.5, n - 1, 0.0, -1.0 }) {
        movebound = bound;
        score_checker();
        EXPECT_FALSE(moveok) << bound;
    }
}

TEST(Evaluate, MoveSlackAdmitsTiesOnlyWhenThereIsRoomForThem)
{
    double before = suboptimal;
    suboptimal = 0;
    set_move_slack(0, 0, 100);
    EXPECT_EQ(moveslack, -1);
    set_move_slack(1, 1, 100);
    EXPECT_EQ(moveslack, -1);
    set_move_slack(1, 0, 100);
    EXPECT_EQ(moveslack, 0);
    suboptimal = 4;
    suboptimal_limit = 1e10;
    set_move_slack(1, 0, 100);
    EXPECT_EQ(moveslack, 4);
    suboptimal_limit = 102;
    set_move_slack(1, 0, 100);
    EXPECT_EQ(moveslack, 2);
    set_move_slack(1, 0, 103);
    EXPECT_EQ(moveslack, 0);
    suboptimal = before;
    suboptimal_limit = 1e10;
}
