#include "treesets.h"
#include "kernel/arena.h"
#include "kernel/errors.h"

namespace {

struct arenaguard {
    char *low = lomark(), *high = himark();
    ~arenaguard() { loset(low); hiset(high); }
};

TEST(GroupTable, CountsEachGroupInTheTreesThatHoldIt)
{
    readtaxa(20);
    std::mt19937 dice(21);
    arenaguard guard;
    std::vector<uint8_t> excluded(nt, 0);
    completexlist(nullptr, 0, nullptr, excluded.data());
    initmpbits(excluded.data());
    std::map<taxonset, int> counts;
    for (int i = 0; i < 40; ++i) {                       // far more groups than the first tables hold
        plaintree tree = randomtree(dice, .1, 0);
        addgroups(tree.data(), excluded.data());
        for (auto &g : groupsof(tree.data(), nullptr, nt)) ++counts[g];
    }
    checkgroups();
    ASSERT_EQ(groups_stored, int(counts.size()));
    ASSERT_GT(group_capacity, nodz);
    for (int g = 0; g < groups_stored; ++g) {
        taxonset taxa;
        for (int t = 0; t < nt; ++t)
            if (groupbits(g)[t / 32] >> t % 32 & 1) taxa.insert(t);
        EXPECT_EQ(gsstored[g].count, counts[taxa]);
        EXPECT_EQ(gsstored[g].size, int(taxa.size()));
    }
}

TEST(GroupTable, DropsNewGroupsWhenNoMoreAreStored)
{
    readtaxa(20);
    std::mt19937 dice(22);
    arenaguard guard;
    std::vector<uint8_t> excluded(nt, 0);
    completexlist(nullptr, 0, nullptr, excluded.data());
    initmpbits(excluded.data());
    plaintree one = randomtree(dice, 0, 0), other = randomtree(dice, 0, 0);
    addgroups(one.data(), excluded.data());
    int stored = groups_stored;
    storenomore = 1;
    addgroups(other.data(), excluded.data());
    EXPECT_EQ(groups_stored, stored);
}

// Without taxon 2, the nodes of 0 1 2 and of 0 1 hold the same group.
TEST(GroupTable, CountsAGroupOnceInATreeThatHoldsItTwice)
{
    readtaxa(5);
    //               0  1  2  3  4  root
    plaintree tree{ 6, 6, 7, 8, 8, 9, 7, 5, 5 };
    std::vector<uint8_t> excluded{ 0, 0, 1, 0, 0 };
    arenaguard guard;
    completexlist(nullptr, 0, nullptr, excluded.data());
    EXPECT_EQ(consensus_taxa, 4);
    EXPECT_EQ(excluding_taxa, 1);
    initmpbits(excluded.data());
    addgroups(tree.data(), excluded.data());
    addgroups(tree.data(), excluded.data());
    ASSERT_EQ(groups_stored, 2);                          // 0 1 and 3 4
    EXPECT_EQ(gsstored[0].count, 2);
    EXPECT_EQ(gsstored[1].count, 2);
}

TEST(GroupTable, TreeOfCompatibleGroupsCarriesTheirCounts)
{
    readtaxa(30);
    std::mt19937 dice(23);
    for (int trial = 0; trial < 30; ++trial) {
        arenaguard guard;
        std::vector<uint8_t> excluded(nt, 0);
        completexlist(nullptr, 0, nullptr, excluded.data());
        initmpbits(excluded.data());
        plaintree tree = randomtree(dice, 0, 0), coarse = similartree(dice, tree);
        addgroups(coarse.data(), excluded.data());
        addgroups(tree.data(), excluded.data());
        plaintree result(nodz), freqs(nodz);
        formtree(result.data(), freqs.data(), excluded.data());
        EXPECT_EQ(result, tree);
        groupset shared = groupsof(coarse.data(), nullptr, nt);
        for (int n = nt + 1; n < result[nt]; ++n)
            EXPECT_EQ(freqs[n], 1 + int(shared.count(below(result.data(), n, nullptr))));
        min_group_count = 2;
        formtree(result.data(), freqs.data(), excluded.data());
        EXPECT_EQ(result, coarse);
    }
}

TEST(ExclusionList, TellsTheUsersTaxaFromThoseLostToTheTrees)
{
    readtaxa(6);
    //                            0  1  2  3  4  5  root
    std::vector<plaintree> trees{ { 7, 7, 0, 6, 6, 6, 8, 6, 0, 0, 0 }, { 6, 6, 6, 7, 7, 0, 8, 6, 0, 0, 0 } };
    std::vector<int *> rows{ trees[0].data(), trees[1].data() };
    std::vector<uint8_t> excluded{ 0, 255, 1, 1, 0, 0 }, list{ 1, 1 };
    completexlist(rows.data(), 2, list.data(), excluded.data());
    EXPECT_EQ(excluded, (std::vector<uint8_t>{ 0, 0, 3, 1, 0, 2 }));
    EXPECT_EQ(consensus_taxa, 3);

    excluded.assign(6, 0);
    list[1] = 255;                                        // a tree not selected loses no taxon
    completexlist(rows.data(), 2, list.data(), excluded.data());
    EXPECT_EQ(excluded, (std::vector<uint8_t>{ 0, 0, 2, 0, 0, 0 }));
}

TEST(NodeSizes, CountTheTaxaThatTakePart)
{
    readtaxa(12);
    std::mt19937 dice(24);
    for (int trial = 0; trial < 40; ++trial) {
        plaintree tree = randomtree(dice, .3, .1);
        std::vector<uint8_t> excluded(nt);
        for (auto &x : excluded) x = dice() % 4 == 0;
        std::vector<int> sizes(nodz), one(nodz);
        calcusizes(tree.data(), sizes.data(), one.data(), excluded.data());
        for (int n = nt; n < tree[nt]; ++n) {
            taxonset taxa = below(tree.data(), n, excluded.data());
            EXPECT_EQ(sizes[n], int(taxa.size()));
            if (taxa.empty()) EXPECT_EQ(one[n], -1);
            else EXPECT_TRUE(taxa.count(one[n]));
        }
    }
}

}
