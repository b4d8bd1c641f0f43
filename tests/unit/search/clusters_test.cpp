// Clusters: a partition into pieces of bounded size, and pruning by unions and pairs that never
// loses a move.
#include "packed.h"
#include "kernel/driver.h"
#include <set>

namespace {

std::vector<int> randomstart(std::mt19937 &rng, const plain::data &m)
{
    return packedtree(plain::randomtree(rng, m.taxa, 0, activetaxa(m)));
}

std::vector<int> ladder(int taxa)          // (0 (1 (2 (3 ...
{
    std::vector<int> anc(nodz, 0);
    for (int t = 0; t < taxa; ++t) anc[t] = taxa + std::min(t, taxa - 2);
    for (int n = taxa + 1; n < 2 * taxa - 1; ++n) anc[n] = n - 1;
    anc[taxa] = 2 * taxa - 1;
    return anc;
}

void expectpartition()
{
    std::vector<int> count(numclusters, 0), tops(numclusters, 0);
    for (int n = 0; n < hinod; ++n) {
        if (n == ntax) continue;
        ASSERT_GE(isinclu[n], 0);
        ASSERT_LT(isinclu[n], numclusters);
        if (!n) continue;                                         // terminal 0 is the branch of its sister
        ++count[isinclu[n]];
        if (swaptree[n] == ntax || isinclu[swaptree[n]] != isinclu[n]) ++tops[isinclu[n]];
    }
    EXPECT_EQ(isinclu[0], isinclu[sis[0]]);
    int size = std::min(clustersize, ntax);
    for (int k = 0; k < numclusters; ++k) {
        EXPECT_EQ(tops[k], 1) << "a piece has one top, so it is connected";
        EXPECT_LE(count[k], std::max(5, size + 7) + 1);
        EXPECT_EQ(count[k], clusmat[k].nmembers);
    }
    EXPECT_LE(numclusters, maxclustnum);
}

}  // namespace

TEST(Clusters, ATreeFallsIntoConnectedPiecesOfBoundedSize)
{
    std::mt19937 rng(301);
    int before = clustersize;
    for (int size : { 3, 5, 10, 15, 24, 40, 150, 1000 })
        for (int taxa : { 4, 5, 9, 30, 101, 300 }) {
            clustersize = size;
            plain::data m = plain::randommatrix(rng, taxa, 5, drawings[0].mix);
            packing image(m);
            clusters_on = 1;
            std::vector<int> tree = randomstart(rng, m);
            optimize_for_swap(tree.data());
            expectpartition();
            tree = ladder(taxa);
            optimize_for_swap(tree.data());
            expectpartition();
        }
    clustersize = before;
}

TEST(Clusters, ListsHoldEachDestinationAndEachRootOnce)
{
    std::mt19937 rng(302);
    plain::data m = plain::randommatrix(rng, 40, 20, drawings[1].mix);
    packing image(m);
    std::vector<int> tree = randomstart(rng, m);
    clusters_on = 1;
    optimize_for_swap(tree.data());
    for (int x = 1; x < hinod; ++x) {
        if (x == ntax) continue;
        int s = sis[x], nroots, ndests;
        int size = tnodsize[x];
        clip_subtree(x);
        reassign_clusters(x, s, &nroots, &ndests);
        std::set<int> dests, roots;
        int n = 0, k = 0;
        for (int i = 0; i < ndests; ++i)
            for (int j = 0; j < clusmat[deslist[i]].ndests; ++j, ++n) dests.insert(clusmat[deslist[i]].nodes[j]);
        for (int i = 0; i < nroots; ++i)
            for (int j = 0; j < clusmat[rootlist[i]].nroots; ++j, ++k) roots.insert(clusmat[rootlist[i]].roots[j]);
        EXPECT_EQ(int(dests.size()), n);
        EXPECT_EQ(int(roots.size()), k);
        EXPECT_EQ(n, std::max(1, 2 * (ntax - size) - 3));          // branches of what is left, the outgroup's once
        EXPECT_EQ(k, x < ntax ? 1 : 2 * size - 3);                // branches of the clip
        EXPECT_TRUE(dests.count(s));
        if (x >= ntax) {
            EXPECT_TRUE(roots.count(rig[x]));
            EXPECT_FALSE(roots.count(lef[x]));
        }
        unclip_subtree(x, s);
    }
}

// For every clip and several bounds: the places reached through unions of clusters, with scans, are
// exactly those that single checks accept; a rejected pair of sisters holds no such place.
TEST(Clusters, PruningNeverLosesAMove)
{
    std::mt19937 rng(303);
    for (const drawing &d : drawings) {
        SCOPED_TRACE(d.what);
        plain::data m = plain::randommatrix(rng, 30, 150, d.mix);
        packing image(m);
        std::vector<int> start = randomstart(rng, m);
        foreachkernel([&] {
            std::vector<int> tree = start;
            clusters_on = 1;
            optimize_for_swap(tree.data());
            for (int x = 1; x < hinod; x += 3) {
                if (x == ntax) continue;
                int s = sis[x], nroots, ndests;
                clip_subtree(x);
                reassign_clusters(x, s, &nroots, &ndests);
                reoptimize_after_clip(s, x);
                clipset = x < ntax ? dnset(x) : branchset(lef[x]);
                destset = branchset(s);
                movebound = NOBOUND;
                score_checker();
                double original = movesteps;
                for (double bound : { original, original - 1, original + 3 }) {
                    std::set<std::vector<int>> wanted, found;
                    movebound = bound;
                    for (int i = 0; i < nroots; ++i)
                        for (int j = 0; j < clusmat[rootlist[i]].nroots; ++j)
                            for (int k = 0; k < ndests; ++k)
                                for (int l = 0; l < clusmat[deslist[k]].ndests; ++l) {
                                    int r = clusmat[rootlist[i]].roots[j], to = clusmat[deslist[k]].nodes[l];
                                    clipset = branchset(r);
                                    destset = branchset(to);
                                    score_checker();
                                    if (moveok) wanted.insert({ r, to, int(movesteps) });
                                }
                    for (int i = 0; i < nroots; ++i) {
                        clusrec &R = clusmat[rootlist[i]];
                        for (int k = 0; (k = scan_clusters(R.uni, deslist, k, ndests)) < ndests; ++k) {
                            clusrec &D = clusmat[deslist[k]];
                            for (int j = 0; (j = scan_nodes(D.uni, R.roots, j, R.nroots)) < R.nroots; ++j)
                                for (int l = 0; (l = scan_nodes(branchset(R.roots[j]), D.nodes, l, D.ndests)) < D.ndests; ++l)
                                    found.insert({ R.roots[j], D.nodes[l], int(movesteps) });
                        }
                    }
                    ASSERT_EQ(found, wanted) << "clip " << x << " bound " << bound;
                    for (int n = ntax; n < hinod && s; ++n) {
                        int up = n;                                  // nodes of what is left only
                        while (up != ntax && up != x && up != swaptree[x]) up = swaptree[up];
                        if (up != ntax) continue;
                        const uint32_t *set = x < ntax ? dnset(x) : branchset(lef[x]);
                        pair_checker(set, branchset(lef[n]), branchset(rig[n]));
                        if (moveok) continue;
                        for (int c : { lef[n], rig[n] }) {
                            clipset = set;
                            destset = branchset(c);
                            score_checker();
                            ASSERT_FALSE(moveok);
                        }
                    }
                }
                unclip_subtree(x, s);
                restore_after_clip(s);
            }
        });
    }
}

TEST(Clusters, OfSectorsAreSmallAndThereIsRoomForAll)
{
    std::mt19937 rng(304);
    for (int taxa : { 4, 9, 30, 120, 300 }) {
        plain::data m = plain::randommatrix(rng, taxa, 5, drawings[0].mix);
        packing image(m);
        ss_recurse_level = 1;
        final_search_mem();
        ss_recurse_level = 0;
        int most = taxa / 15 <= 9 ? std::max(15, hinod / 3 + hinod / 15) : maxclustnum;
        EXPECT_EQ(maxclustnum, most);
        ss_recurse_level = 1;
        clusters_on = 1;
        for (std::vector<int> tree : { randomstart(rng, m), ladder(taxa) }) {
            optimize_for_swap(tree.data());
            EXPECT_LE(numclusters, maxclustnum);
            for (int k = 0; k < numclusters; ++k) EXPECT_LE(clusmat[k].nmembers, std::max(10, std::min(clustersize, taxa / 15)) + 7);
        }
        ss_recurse_level = 0;
        loset(minseg);
    }
}

// With d = clustersize - 7, from 1 to 20: nodes / d and a fifth more; more for large clusters of few taxa; 15 at least.
TEST(Clusters, ThereIsRoomForAsManyAsTheirSizeAndTheTreeAskFor)
{
    const struct { int taxa, size, most; } cases[] = {
        { 60, 15, 16 },           // 119 nodes / 8 = 14, + 2
        { 40, 15, 15 },           // 79 / 8 = 9, + 1
        { 60, 5, 142 },           // 119 / 1 = 119, + 23
        { 300, 30, 40 },          // 599 / 20 = 29, + 5 = 34, + 10 * 34 / 100 + 3
        { 300, 16, 79 },          // 599 / 9 = 66, + 13 = 79; 18 clusters of 16: + 5 * 79 / 100 + 3
    };
    std::mt19937 rng(306);
    int was = clustersize;
    for (auto &c : cases) {
        plain::data m = plain::randommatrix(rng, c.taxa, 5, drawings[0].mix);
        packing image(m);
        clustersize = c.size;
        int more = c.size == 16 ? 5 * 79 / 100 + 3 : 0;
        EXPECT_EQ(hinod, 2 * c.taxa - 1);
        EXPECT_EQ(clusternumber(), c.most + more) << c.taxa << " taxa, " << c.size;
        clustersize = was;
    }
}

TEST(Clusters, MoreThanThereIsRoomForIsAnInternalError)
{
    static std::vector<int> tree;
    std::mt19937 rng(305);
    plain::data m = plain::randommatrix(rng, 60, 5, drawings[0].mix);
    packing image(m);
    tree = randomstart(rng, m);
    clusters_on = 1;
    int before = maxclustnum;
    maxclustnum = 2;
    EXPECT_FALSE(safecall([] { optimize_for_swap(tree.data()); }));
    maxclustnum = before;
    EXPECT_NE(zelrun("").find("Too many clusters! (expected 2, have 3)"), std::string::npos);
}
