// Intersections of clusters: same decisions and costs with and without them, in both orders, and they
// hold what all branch sets of the cluster have in common whatever is clipped and moved.
#include "packed.h"
#include "searchtest.h"
#include "search/andlists.h"

namespace {

struct inters {
    explicit inters(int order) { zelrun("bbreak:inters " + std::to_string(order) + ";"); }
    ~inters() { zelrun("bbreak:nointers;"); }
};

const drawing unitweights[] = { drawings[0], drawings[1], drawings[2], drawings[3], drawings[4] };

std::vector<int> found(int (*next)(const uint32_t *, int, int), const uint32_t *set, int k, double bound, std::vector<double> *costs)
{
    std::vector<int> hits;
    movebound = bound;
    for (int i = 0; (i = next(set, k, i)) < clusmat[k].ndests; ++i) {
        EXPECT_TRUE(moveok);
        hits.push_back(clusmat[k].nodes[i]);
        costs->push_back(movesteps);
    }
    EXPECT_FALSE(moveok);
    return hits;
}

int plainscan(const uint32_t *set, int k, int from) { return scan_nodes(set, clusmat[k].nodes, from, clusmat[k].ndests); }

// In every cluster, of every bound, with every clip.
void samescans(unsigned seed, int order)
{
    inters on(order);
    std::mt19937 rng(seed);
    for (const drawing &d : unitweights) {
        SCOPED_TRACE(d.what);
        plain::data m = plain::randommatrix(rng, 20, 60, d.mix);
        packing image(m);
        ASSERT_TRUE(ands_on);
        std::vector<int> tree = packedtree(plain::randomtree(rng, 20, 0, activetaxa(m)));
        foreachkernel([&] {
            clusters_on = 1;
            optimize_for_swap(tree.data());
            for (int step = 0; step < 60; ++step) {
                auto [x, s, nroots, ndests] = cliprandomly(rng);
                if (x == ntax) continue;
                const uint32_t *set = x < ntax ? dnset(x) : branchset(lef[x]);
                for (int i = 0; i < ndests; ++i)
                    for (double bound : { 0.0, 3.0, 8.0, 20.0, NOBOUND }) {
                        std::vector<double> some, all;
                        auto hits = found(scan_members, set, deslist[i], bound, &some);
                        ASSERT_EQ(hits, found(plainscan, set, deslist[i], bound, &all));
                        ASSERT_EQ(some, all);
                    }
                int to = clusmat[deslist[0]].nodes[0];
                bool moves = step % 4 == 0;
                unclip_subtree(x, moves ? to : s);
                if (moves) {
                    reoptimize_after_clip(to, -1);
                    rebuild_clusters();
                } else restore_after_clip(s);
            }
        });
    }
}

std::string searched(const plain::data &m, const std::string &options)
{
    use(m);
    zelrun("bbreak:" + options + ";");
    return zelrun("rseed 3;hold 200;keep 0;mult=replic 3 hold 20 tbr;");
}

}  // namespace

TEST(AndLists, FindTheSamePlacesAtTheSameCosts)              { samescans(701, 1); }
TEST(AndLists, OrderedByOpenFieldsFindThemToo)               { samescans(702, 2); }

TEST(AndLists, ListsAreOfOpenCellsAndTheFullestComeFirst)
{
    inters on(2);
    std::mt19937 rng(703);
    plain::data m = plain::randommatrix(rng, 16, 120, drawings[1].mix);
    packing image(m);
    std::vector<int> tree = packedtree(plain::randomtree(rng, 16));
    clusters_on = 1;
    optimize_for_swap(tree.data());
    set_and_list_no_weights(dnset(5), 0);
    int last = 16;
    for (int i = 0; i < nand_list; ++i) {
        uint32_t tops = ~celllow[and_list[i]] & ~and_filter[i];
        int open = __builtin_popcount(tops);
        EXPECT_GT(open, 0);
        EXPECT_LE(open, last);
        last = open;
    }
}

TEST(AndLists, SearchesGoTheSameWay)
{
    std::mt19937 rng(704);
    for (int trial = 0; trial < 3; ++trial) {
        plain::data m = plain::randommatrix(rng, 14, 30, drawings[1].mix);
        std::string with = searched(m, "inters"), without = searched(m, "nointers");
        EXPECT_EQ(with, without);
        EXPECT_EQ(with, searched(m, "inters 2"));
        zelrun("bbreak:nointers;");
    }
    zelrun("keep 0;hold 100;mult:replic 10 hold 10;");
}

TEST(AndLists, AreForUnitWeightsOnly)
{
    inters on(1);
    std::mt19937 rng(705);
    for (int i : { 6, 7, 8 }) {
        packing image(plain::randommatrix(rng, 8, 30, drawings[i].mix));
        EXPECT_FALSE(ands_on);
    }
}

TEST(AndLists, RefuseStepMatricesAndContinuousCharacters)
{
    inters on(1);
    zelrun("procedure " + writefile("a", "xread 2 5 a 00 b 01 c 12 d 02 e 11 ; costs 0 = 0>1 1 1>0 3 0>2 2 2>0 1 1>2 2 2>1 2; procedure/;\n") + ";");
    ASSERT_FALSE(zelfailed());
    EXPECT_NE(zelrun("mult 1;").find("Sorry, \"bbreak:inters\" is invalid for Sankoff/continuous characters"), std::string::npos);
    EXPECT_TRUE(zelfailed());
    zelrun("procedure " + writefile("b", "nstates cont; xread 2 5 a 1 2 b 3 4 c 1 5 d 2 2 e 3 3 ; procedure/;\n") + ";");
    ASSERT_FALSE(zelfailed());
    EXPECT_NE(zelrun("mult 1;").find("Cannot use intersections/unions with sankoff/continuous characters"), std::string::npos);
    EXPECT_TRUE(zelfailed());
    zelrun("bbreak:nointers;mult 1;");
    EXPECT_FALSE(zelfailed());
    zelrun("keep 0;");
}
