// SPR with clusters asked before branches, against SPR without.
#include "searchtest.h"
#include "search/spr.h"
#include "search/status.h"
#include <gtest/gtest.h>

namespace {
struct outcome {
    std::string rearrangements;
    std::vector<std::vector<int>> trees;
    bool operator==(const outcome &) const = default;
};
}

static outcome swapped(const std::vector<plain::tree> &from, const char *options)
{
    usetrees(from);
    std::string report = zelrun(std::string("rseed 1; bbreak=") + options + ";");
    EXPECT_FALSE(zelfailed()) << report;
    outcome o{ give_numrearrangs(), {} };
    for (int t = 0; t < trees_in_mem; ++t) o.trees.emplace_back(mem_tree[t], mem_tree[t] + nodz);
    return o;
}

TEST(Spr, FindsTheSameWhenClustersAreAskedFirst)
{
    std::mt19937 rng(61);
    const int usual = spr_cluster_taxa;
    for (int trial = 0; trial < atmost(33); ++trial) {
        plain::data m = plain::randommatrix(rng, 8 + trial % 22, 5 + plain::below(rng, 25), kinds()[trial % kinds().size()]);
        m.taxactive.assign(m.taxa, 1);
        use(m);
        zelrun("hold 60; subopt " + std::to_string(trial % 3) + ";");
        std::vector<plain::tree> start{ plain::randomtree(rng, m.taxa) };
        for (const char *options : { "spr mulpars", "spr nomulpars", "spr nomulpars randclip", "spr mulpars norandclip safe" }) {
            spr_cluster_taxa = 0;
            outcome with = swapped(start, options);
            spr_cluster_taxa = usual;
            EXPECT_TRUE(with == swapped(start, options)) << "trial " << trial << ": " << options;
        }
        zelrun("subopt 0;");
    }
    zelrun("bbreak:tbr mulpars nosafe norandclip;");
}

TEST(Spr, FindsTheSameUnderImpliedWeightsWhenClustersAreAskedFirst)
{
    std::mt19937 rng(62);
    const int usual = spr_cluster_taxa;
    for (int trial = 0; trial < atmost(12); ++trial) {
        plain::data m = plain::randommatrix(rng, 10 + trial * 3, 30, kinds()[1]);
        m.taxactive.assign(m.taxa, 1);
        zelrun("mxram 32; piwe=3;");
        use(m);
        zelrun(trial % 2 ? "xpiwe[=5;" : "xpiwe-;");
        std::vector<plain::tree> start{ plain::randomtree(rng, m.taxa) };
        spr_cluster_taxa = 0;
        outcome with = swapped(start, "spr mulpars");
        spr_cluster_taxa = usual;
        EXPECT_TRUE(with == swapped(start, "spr mulpars")) << "trial " << trial;
        zelrun("xwipe; piwe-;");
    }
    zelrun("bbreak:tbr mulpars;");
}

TEST(Spr, FindsTheSameUnderConstraintsWhenClustersAreAskedFirst)
{
    std::mt19937 rng(63);
    const int usual = spr_cluster_taxa;
    for (int trial = 0; trial < atmost(12); ++trial) {
        plain::data m = plain::randommatrix(rng, 12 + trial, 20, kinds()[1]);
        m.taxactive.assign(m.taxa, 1);
        use(m);
        for (const char *groups : { "force + [ 3 4 5 ] [ 7 8 ] - [ 1 2 ];", "force = (0 (1 2 3 (4 5 6)) 7 8 9);" }) {
            zelrun(groups);
            std::vector<outcome> found;
            for (int taxa : { 0, usual }) {
                spr_cluster_taxa = taxa;
                zelrun("keep 0; rseed 3; hold 100; mult=replic 2 hold 20 spr;");
                EXPECT_FALSE(zelfailed());
                found.push_back({ give_numrearrangs(), {} });
                for (int t = 0; t < trees_in_mem; ++t) found.back().trees.emplace_back(mem_tree[t], mem_tree[t] + nodz);
            }
            spr_cluster_taxa = usual;
            EXPECT_TRUE(found[0] == found[1]) << "trial " << trial << ": " << groups;
        }
        zelrun("force ]; keep 0;");
    }
    zelrun("mult:replic 10 hold 10 tbr;");
}
