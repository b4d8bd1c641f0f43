// Reduced data: exact for every arrangement of the sector, and gone without a trace when the sector is closed.
#include "sectortest.h"
#include "search/constpack.h"
#include "search/constraints.h"
#include "search/grouptree.h"
#include "search/setup.h"
#include "search/tbr.h"
#include "search/wagner.h"
#include "kernel/errors.h"
#include "kernel/random.h"
#include "trees/reduce.h"

using namespace sectors;

namespace {

constexpr double SAME = 1e-8;

// Random arrangements of random sectors: the reduced score differs from that of the whole tree by a constant.
void constantdifference(std::mt19937 &rng, const std::vector<int> &tree, int most)
{
    for (int trial = 0; trial < 3; ++trial) {
        double start = settree(tree);
        asector s = choose(rng, most);
        if (s.count < LEAST_REDUCED) continue;
        ASSERT_TRUE(make_small_matrix(s.base, s.count));
        ASSERT_EQ(ntax, s.count);
        ASSERT_EQ(wiped_some_sankoff, 0);
        double difference = start - schoptimize(sectree, 1);
        std::vector<std::vector<int>> wholes;
        std::vector<double> scores;
        for (int i = 0; i < 8; ++i) {
            std::vector<int> reduced = randomreduced(rng);
            scores.push_back(schoptimize(reduced.data(), 1));
            wholes.push_back(graft(reduced));
        }
        rezertree(0);
        ASSERT_TRUE(std::equal(tree.begin(), tree.begin() + hinod, anx));
        for (size_t i = 0; i < wholes.size(); ++i) ASSERT_NEAR(schoptimize(wholes[i].data(), 1), scores[i] + difference, SAME);
    }
}

}  // namespace

TEST(Sector, ReducedScoresDifferFromThoseOfTheWholeTreeByAConstant)
{
    keepsettings settings;
    eachimage(700, 26, 14, [](std::mt19937 &rng, const std::vector<int> &tree) {
        for (int privately : { 1, 0 }) {
            use_sectsch_priv_buf = privately;
            get_sectsch_priv_buf();
            constantdifference(rng, tree, 5 + plain::below(rng, 12));
        }
    });
}

TEST(Sector, ReducedScoresAreExactWithEveryFieldClassWeightKindAndKernel)
{
    keepsettings settings;
    std::mt19937 rng(701);
    for (const drawing &d : drawings) {
        SCOPED_TRACE(d.what);
        plain::data m = plain::randommatrix(rng, 30, 40, d.mix);
        packing image(m);
        get_sectsch_priv_buf();
        std::vector<int> tree = packedtree(plain::randomtree(rng, m.taxa, 0, activetaxa(m)));
        foreachkernel([&] { constantdifference(rng, tree, 15); });
    }
}

TEST(Sector, StatesMadeAgainAreThoseOfAFirstPassWithEveryKernel)
{
    keepsettings settings;
    std::mt19937 rng(709);
    for (const drawing &d : drawings) {
        SCOPED_TRACE(d.what);
        plain::data m = plain::randommatrix(rng, 30, 60, d.mix);
        packing image(m);
        std::vector<int> tree = packedtree(plain::randomtree(rng, m.taxa, 0, activetaxa(m)));
        foreachkernel([&] {
            settree(tree);
            snapshot pass;
            std::vector<int> upward(optlist, optlist + noptlist);
            std::reverse(upward.begin(), upward.end());
            for (int n : upward)
                for (uint32_t *row : { dnset(n), orset(n) }) std::fill(row, row + foldcells, 0u);
            ASSERT_EQ(kernel->renew(&ed, upward.data(), noptlist, noptlist), noptlist);
            ASSERT_EQ(snapshot().sets, pass.sets);
            ASSERT_EQ(kernel->renew(&ed, upward.data(), noptlist, 0), 1);      // nothing changes
            std::vector<uint32_t> row(size_t(rowcells), ~0u);
            int n = upward[0];
            kernel->joinrow(&ed, row.data(), dnset(lef[n]), dnset(rig[n]));
            ASSERT_TRUE(std::equal(row.begin(), row.end(), dnset(n)));
        });
    }
}

TEST(Sector, LargeSectorsHaveMoreTerminalsThanAWordHasBits)
{
    keepsettings settings;
    std::mt19937 rng(702);
    plain::data m = plain::randommatrix(rng, 170, 30, { 8, 6, 10, 10 });
    packing image(m);
    get_sectsch_priv_buf();
    std::vector<int> tree = packedtree(plain::randomtree(rng, m.taxa));
    constantdifference(rng, tree, 150);
    double start = settree(tree);
    asector s;
    do s = choose(rng, 140);
    while (s.count < 70);
    ASSERT_TRUE(make_small_matrix(s.base, s.count));
    double difference = start - schoptimize(sectree, 1);
    std::vector<int> reduced = randomreduced(rng), whole = graft(reduced);
    double score = schoptimize(reduced.data(), 1);
    rezertree(0);
    EXPECT_EQ(schoptimize(whole.data(), 1), score + difference);
}

TEST(Sector, AfterASectorChangedTheStatesAndScoreAreThoseOfACompleteOptimization)
{
    keepsettings settings;
    eachimage(703, 30, 12, [](std::mt19937 &rng, const std::vector<int> &tree) {
        double score = settree(tree);
        for (int trial = 0; trial < 8; ++trial) {
            binmksis(anx);
            asector s = choose(rng, 4 + plain::below(rng, 12));
            if (s.count < LEAST_REDUCED || !sector_is_private(s.count)) continue;
            ASSERT_TRUE(make_small_matrix(s.base, s.count));
            double before = schoptimize(sectree, 1);
            std::vector<int> reduced = randomreduced(rng), whole = graft(reduced);
            score += schoptimize(reduced.data(), 1) - before;
            std::copy(reduced.begin(), reduced.begin() + hinod, sectree);
            rezertree(0);
            whole[size_t(ntax)] = hinod;
            ASSERT_TRUE(std::equal(whole.begin(), whole.begin() + hinod, anx));
            std::vector<int> l(lef, lef + hinod), r(rig, rig + hinod), si(sis, sis + hinod);
            fix_again_sector();
            ASSERT_NEAR(dopiwe ? calculate_tree_fits() : score, score, SAME);
            snapshot fixed;
            ASSERT_NEAR(schoptimize(anx, 1), score, SAME);
            snapshot fresh;
            for (int n = ntax; n < hinod; ++n) {
                ASSERT_TRUE(l[n] == lef[n] && r[n] == rig[n]);
                ASSERT_TRUE(std::equal(dnset(n), dnset(n) + 2 * rowcells, fixed.sets.data() + size_t(n) * 3 * rowcells));
                const int *slow = fixed.slow.data() + size_t(n) * slowrow;
                for (int k = 0; k < slowrow; ++k) {
                    bool none = n == ntax && k >= sankrow && k < 2 * sankrow;      // no branch above the root
                    ASSERT_TRUE(none || slowcosts(n)[k] == slow[k]);
                }
            }
            for (int n = 0; n < hinod; ++n) ASSERT_TRUE(n == ntax || si[n] == sis[n]);
            ASSERT_EQ(fixed.counts, fresh.counts);
            ASSERT_EQ(fixed.slowcounts, fresh.slowcounts);
        }
    });
}

TEST(Sector, OneThatIsNotImprovedLeavesEverythingAsItWas)
{
    keepsettings settings;
    int unimproved = 0;
    eachimage(704, 24, 10, [&](std::mt19937 &rng, const std::vector<int> &tree) {
        double score = settree(tree);
        for (int trial = 0; trial < 6; ++trial) {
            asector s = choose(rng, 8);
            if (s.count < LEAST_REDUCED || !sector_is_private(s.count)) continue;
            snapshot before;
            char *low = lomark(), *high = himark();
            ASSERT_TRUE(make_small_matrix(s.base, s.count));
            std::vector<int> was(sectree, sectree + hinod);
            int seed = ranseed;
            bool changed = minianal(0);
            ASSERT_EQ(ranseed, seed);
            if (!changed) {
                ASSERT_TRUE(std::equal(was.begin(), was.end(), sectree));
                ASSERT_EQ(minianal_score_gain, 0);
            }
            rezertree(0);
            ASSERT_EQ(lomark(), low);
            ASSERT_EQ(himark(), high);
            if (changed) {
                ASSERT_GT(minianal_score_gain, 0);
                fix_again_sector();
                double now = schoptimize(anx, 1);
                ASSERT_NEAR(now, score - minianal_score_gain, SAME);
                score = now;
                continue;
            }
            ++unimproved;
            // what the search of the sector wrote to are its own rows
            ASSERT_TRUE(before == snapshot());
        }
    });
    EXPECT_GT(unimproved, atmost(30));
}

TEST(Sector, IsSearchedToTheBestOfAllItsArrangements)
{
    keepsettings settings;
    ssnumstarts = 4;
    int missed = 0, tried = 0;
    eachimage(705, 20, 10, [&](std::mt19937 &rng, const std::vector<int> &tree) {
        settree(tree);
        asector s = choose(rng, 7);
        if (s.count < 5) return;
        ASSERT_TRUE(make_small_matrix(s.base, s.count));
        double best = 1e30;
        for (int i = 0; i < 300; ++i) best = std::min(best, schoptimize(randomreduced(rng).data(), 1));
        minianal(0);
        ++tried;
        missed += schoptimize(sectree, 1) > best + SAME;
        rezertree(0);
    });
    EXPECT_GT(tried, atmost(20));
    EXPECT_LE(missed, 1);
}

// As many starts as the settings want, and as many again when some of them ended with another score than that of the
// sector as it stands, which keeps its tree when none does better.
TEST(Sector, HasTwiceTheStartsOnlyWhenTheirScoresDiffer)
{
    keepsettings settings;
    ssnumstarts = 2;
    std::mt19937 rng(727);
    int same = 0, never = 0, bysecond = 0;
    for (int taxa : { 12, 24, 40 })
        for (int trial = 0; trial < 40; ++trial) {
            plain::data m = plain::randommatrix(rng, taxa, taxa < 40 ? 8 : 50, { 8, 4, 10 });
            packing image(m);
            std::vector<int> tree = packedtree(plain::randomtree(rng, taxa));
            settree(tree);
            if (trial % 2) tbrswap(anx, 0, 0);
            schoptimize(anx, 1);
            asector s;
            do s = choose(rng, taxa * 3 / 4);
            while (s.count < 6);
            ASSERT_TRUE(make_small_matrix(s.base, s.count));
            double start = schoptimize(sectree, 1), scores[4];
            const unsigned seed = unsigned(1 + trial);
            srand(seed);
            for (double &score : scores) {
                ASSERT_TRUE(wagner_if_possible(anx, std::max(1, rand())));
                ranseed = -1;
                score = tbrswap(anx, 0, 0);
            }
            bool differs = scores[0] != start || scores[1] != start;
            double first = std::min(scores[0], scores[1]), all = std::min(first, std::min(scores[2], scores[3]));
            double best = std::min(start, differs ? all : first);
            std::vector<int> was(sectree, sectree + hinod);
            srand(seed);
            ASSERT_EQ(minianal(0), best < start);
            ASSERT_EQ(minianal_score_gain, start - best);
            same += !differs;
            bysecond += differs && best < std::min(first, start);
            if (all > start) {
                ++never;
                ASSERT_TRUE(std::equal(was.begin(), was.end(), sectree));
            }
            rezertree(0);
        }
    EXPECT_GT(same, 0);
    EXPECT_GT(never, 0);
    EXPECT_GT(bysecond, 0);
}

TEST(Sector, EquallyGoodTreesReplaceItOnlyWhenWanted)
{
    keepsettings settings;
    ssnumstarts = 6;
    std::mt19937 rng(706);
    int replaced[2] = {};
    for (int equals : { 0, 1 }) {
        sstakequals = equals;
        plain::data m = plain::randommatrix(rng, 24, 6, { 8, 2, 40 });     // little to tell trees apart
        packing image(m);
        std::vector<int> tree = packedtree(plain::randomtree(rng, m.taxa));
        settree(tree);
        tbrswap(anx, 0, 0);
        std::vector<int> swapped(anx, anx + hinod);
        get_sectsch_priv_buf();
        for (int i = 0; i < 20; ++i) {
            double score = settree(swapped);
            asector s = choose(rng, 9);
            if (s.count < 6) continue;
            ASSERT_TRUE(make_small_matrix(s.base, s.count));
            bool changed = minianal(0);
            double gain = minianal_score_gain;
            rezertree(0);
            ASSERT_EQ(schoptimize(anx, 1), score - gain);
            if (gain == 0) replaced[equals] += changed;
            ASSERT_TRUE(equals || gain > 0 || !changed);
        }
    }
    EXPECT_EQ(replaced[0], 0);
    EXPECT_GT(replaced[1], 0);
}

TEST(Sector, LeavesOutWhatCostsTheSameOnAllItsTrees)
{
    keepsettings settings;
    //                                       0: one terminal of a kind, 1: a state of two, 2: three states, of which one is single, 3: one state
    plain::data m = plain::fromrows({ "0000", "0000", "0010", "0110", "0120", "1100", "0000", "0000" });
    packing image(m);
    plain::tree t;                           // (0 (1 (2 (3 (4 (5 (6 7)))))))
    t.taxa = 8;
    t.anc = { 8, 9, 10, 11, 12, 13, 14, 14, plain::tree::NONE, 8, 9, 10, 11, 12, 13 };
    std::vector<int> tree = packedtree(t);
    settree(tree);
    get_sectsch_priv_buf();
    use_sectsch_priv_buf = 0;
    for (int n = 0; n < hinod; ++n) deslist[n] = IN_SECTOR;
    int top = rig[ntax];
    ASSERT_TRUE(make_small_matrix(top, ntax));
    int fields = 0;
    for (int i = 0; i < totnc; ++i)
        if (indcc[i].character >= 0) {
            ++fields;
            EXPECT_TRUE(indcc[i].character == 1 || indcc[i].character == 2);
        }
    EXPECT_EQ(fields, 2);
    EXPECT_EQ(nc2, 1);                       // both in two-state fields
    EXPECT_EQ(char_cells, 1);
    rezertree(0);
}

TEST(Sector, OfWhichTheRecordsAreKeptGoesOnAfterOtherData)
{
    keepsettings settings;
    std::mt19937 rng(707);
    plain::data m = plain::randommatrix(rng, 24, 20, { 8, 4, 10 });
    packing image(m);
    std::vector<int> tree = packedtree(plain::randomtree(rng, m.taxa));
    double start = settree(tree);
    get_sectsch_priv_buf();
    asector s;
    do s = choose(rng, 12);
    while (s.count < 8);
    ASSERT_TRUE(make_small_matrix(s.base, s.count));
    double score = schoptimize(sectree, 1);
    snapshot before;
    char *mark = lomark();
    void *stored = store_open_sector();
    end_of_search();                         // closes nothing
    reset_open_sector(stored);
    loset(mark);
    EXPECT_TRUE(before == snapshot());
    EXPECT_EQ(schoptimize(sectree, 1), score);
    rezertree(0);
    EXPECT_EQ(schoptimize(anx, 1), start);
}

// --- constraints --------------------------------------------------------------------------

namespace {

// Positive groups taken from the tree, with some taxa floating; negative ones that it has not.
std::string constraintsof(std::mt19937 &rng, const plain::tree &t, bool withtree)
{
    std::vector<uint64_t> groups = plain::groups(t);
    std::string s = "force";
    auto list = [&](uint64_t in, uint64_t floats) {
        std::string text = "[";
        for (int i = 0; i < t.taxa; ++i)
            if (in >> i & 1) text += " " + std::to_string(i);
        text += " (";
        for (int i = 0; i < t.taxa; ++i)
            if (floats >> i & 1) text += " " + std::to_string(i);
        return text + " ) ]";
    };
    for (int k = 0; k < 5; ++k) {
        uint64_t in = groups[size_t(plain::below(rng, int(groups.size())))] & ~uint64_t(1), floats = 0;
        for (int i = 1; i < t.taxa; ++i)
            if (plain::chance(rng, 20)) floats |= uint64_t(1) << i;
        in &= ~floats;
        if (__builtin_popcountll(in) < 3) continue;
        s += " + " + list(in, floats);
    }
    for (int k = 0; k < 6; ++k) {
        uint64_t in = 0;
        for (int i = 1; i < t.taxa; ++i)
            if (plain::chance(rng, 20)) in |= uint64_t(1) << i;
        if (__builtin_popcountll(in) < 3) continue;
        bool has = false;
        for (uint64_t g : groups) has |= g == in;
        if (!has) s += " - " + list(in, 0);
    }
    if (withtree) s += " = " + plain::text(plain::randomtree(rng, t.taxa));
    return s + ";";
}

bool reducedlegal(int *tree)
{
    schoptimize(tree, 1);
    prepare_constraints(tree);
    if (!whole_tree_ok()) return false;
    return !use_treeconstraints || !missinggroups(hardconst, tree, optlist, noptlist);
}

void samelegality(bool withtree, unsigned seed)
{
    keepsettings settings;
    std::mt19937 rng(seed);
    int legal = 0, illegal = 0;
    for (int trial = 0; trial < atmost(60); ++trial) {
        plain::data m = plain::randommatrix(rng, 16, 10, { 8, 4, 10 });
        use(m);
        plain::tree t = plain::randomtree(rng, m.taxa, 0);
        std::string force;
        if (withtree) {                                // some groups of the tree, as a tree
            plain::tree part = t;
            std::vector<int> stored = plain::stored(t);
            stored.resize(size_t(nodz) + 1);
            std::vector<int> marks(size_t(nodz) + 1, 0);
            for (int n = nt + 1; n < 2 * nt - 1; ++n) marks[size_t(n)] = plain::chance(rng, 55);
            delnodz(stored.data(), marks.data());
            part = plain::fromstored(stored.data(), nt);
            force = "force = " + plain::text(part) + ";";
        } else force = constraintsof(rng, t, false);
        std::string said = zelrun(force + "constrain =;");
        ASSERT_FALSE(zelfailed()) << said << force;
        {
            schpack();
            std::vector<int> tree = packedtree(t);
            settree(tree);
            get_sectsch_priv_buf();
            asector s = choose(rng, 4 + plain::below(rng, 9));
            if (s.count >= LEAST_REDUCED && fulfils_constraints(plain::stored(t).data())) {
                ASSERT_TRUE(make_small_matrix(s.base, s.count));
                ASSERT_TRUE(reducedlegal(sectree)) << force << plain::text(t);
                std::vector<std::vector<int>> wholes;
                std::vector<bool> legals;
                for (int i = 0; i < 30; ++i) {
                    std::vector<int> reduced = randomreduced(rng);
                    legals.push_back(reducedlegal(reduced.data()));
                    wholes.push_back(graft(reduced));
                }
                int starts = 0;
                for (int i = 0; i < 3; ++i) {
                    std::vector<int> built(size_t(hinod) + 2);
                    if (!wagner_if_possible(built.data(), 1 + i)) continue;
                    ++starts;
                    ASSERT_TRUE(reducedlegal(built.data()));
                    tbrswap(built.data(), 0, 0);
                    ASSERT_TRUE(reducedlegal(built.data()));
                }
                minianal(0);
                ASSERT_TRUE(reducedlegal(sectree));
                rezertree(0);
                auto fulfils = [&](const int *packed) { return fulfils_constraints(plain::stored(plaintree(packed)).data()); };
                ASSERT_TRUE(fulfils(anx));
                for (size_t i = 0; i < wholes.size(); ++i) {
                    wholes[i].resize(size_t(nodz) + 1);
                    ASSERT_EQ(fulfils(wholes[i].data()), legals[i]) << force << plain::text(t);
                    ++(legals[i] ? legal : illegal);
                }
            }
            wipetag(&schtag);
        }
        zelrun("constrain -;force -;");
    }
    EXPECT_GT(legal, 20);
    EXPECT_GT(illegal, 20);
}

}  // namespace

TEST(Sector, ArrangementsAreLegalWhenTheWholeTreeIs)                    { samelegality(false, 710); }
TEST(Sector, ArrangementsAreLegalWhenTheWholeTreeHasTheGroupsOfATree)   { samelegality(true, 711); }

// --- memory, interruptions ----------------------------------------------------------------

TEST(Sector, WithoutMemoryItIsSkippedAndNothingChanges)
{
    keepsettings settings;
    std::mt19937 rng(720);
    plain::data m = plain::randommatrix(rng, 30, 30, { 8, 4, 10 });
    packing image(m);
    std::vector<int> tree = packedtree(plain::randomtree(rng, m.taxa));
    double score = settree(tree);
    get_sectsch_priv_buf();
    asector s;
    do s = choose(rng, 14);
    while (s.count < 10);
    char *mark = himark();
    hiram(vailram() - 30000);
    snapshot before;
    char *low = lomark(), *high = himark();
    EXPECT_FALSE(make_small_matrix(s.base, s.count));
    EXPECT_EQ(lomark(), low);
    EXPECT_EQ(himark(), high);
    EXPECT_TRUE(before == snapshot());
    get_sectsch_priv_buf();
    EXPECT_EQ(sectsch_priv_bufsize, 0);      // not even ten terminals
    hiset(mark);
    EXPECT_EQ(schoptimize(anx, 1), score);
    ASSERT_TRUE(make_small_matrix(s.base, s.count));
    rezertree(0);
}

TEST(Sector, AnErrorWithinItLeavesTheWholeDataInForce)
{
    keepsettings settings;
    zelrun("mxram 32;");
    std::mt19937 rng(721);
    plain::data m = plain::randommatrix(rng, 30, 30, { 8, 4, 10 });
    use(m);
    usetrees({ plain::randomtree(rng, m.taxa) });
    {
        searchframe frame(sectschcom);
        schgettree(mem_tree[0]);
        double score = schoptimize(anx, 1);
        get_sectsch_priv_buf();
        int taxa = ntax, nodes = hinod;
        static asector s;
        do s = choose(rng, 14);
        while (s.count < 10);
        uint32_t *rows = walkrows;
        EXPECT_FALSE(safecall([] {
            make_small_matrix(s.base, s.count);
            minianal(0);
            hiram(vailram() + 8);
        }));
        EXPECT_EQ(ntax, taxa);
        EXPECT_EQ(hinod, nodes);
        EXPECT_EQ(walkrows, rows);
        EXPECT_EQ(schoptimize(anx, 1), score);
        EXPECT_EQ(report_status, 1);
    }
    std::string report = zelrun("bbreak;");
    EXPECT_FALSE(zelfailed()) << report;
    EXPECT_EQ(bestscore(report), double(plain::length(m, kept(0))));
    zelrun("keep 0;");
}

TEST(Sector, InterruptedWhileItIsSearchedIsWhole)
{
    keepsettings settings;
    std::mt19937 rng(722);
    plain::data m = plain::randommatrix(rng, 40, 40, { 8, 4, 10 });
    packing image(m);
    std::vector<int> tree = packedtree(plain::randomtree(rng, m.taxa));
    settree(tree);
    get_sectsch_priv_buf();
    for (int i = 0; i < 10; ++i) {
        binmksis(anx);
        asector s = choose(rng, 20);
        if (s.count < 6) continue;
        double before = schoptimize(anx, 1);
        ASSERT_TRUE(make_small_matrix(s.base, s.count));
        userstop = 1;
        minianal(0);
        userstop = 0;
        double gain = minianal_score_gain;
        rezertree(0);
        EXPECT_EQ(schoptimize(anx, 1), before - gain);
    }
}

TEST(Sector, OfDriftingSizeIsDriftedInAFreePlaceOfTheBuffer)
{
    keepsettings settings;
    ssgotodrift = 6;
    ssdriftcycles = 3;
    std::mt19937 rng(723);
    plain::data m = plain::randommatrix(rng, 40, 40, { 8, 4, 10 });
    use(m);
    zelrun("hold 3;");
    usetrees({ plain::randomtree(rng, m.taxa), plain::randomtree(rng, m.taxa) });
    plain::tree first = kept(0), second = kept(1);
    {
        searchframe frame(sectschcom);
        schgettree(mem_tree[0]);
        double score = schoptimize(anx, 1), start = score;
        get_sectsch_priv_buf();
        for (int comb : { 0, 6 }) {
            ssgotocomb = comb;
            for (int i = 0; i < 12; ++i) {
                binmksis(anx);
                asector s = choose(rng, 16);
                if (s.count < 6) continue;
                ASSERT_TRUE(make_small_matrix(s.base, s.count));
                minianal(0);
                score -= minianal_score_gain;
                rezertree(0);
                ASSERT_EQ(schoptimize(anx, 1), score);
                ASSERT_EQ(trees_in_mem, 2);
            }
        }
        EXPECT_LT(score, start);
    }
    EXPECT_FALSE(plain::shape(first) != plain::shape(kept(0)));
    EXPECT_FALSE(plain::shape(second) != plain::shape(kept(1)));
    zelrun("keep 0; hold 100;");
}

TEST(Sector, OfDriftingSizeIsLeftAloneWhenTheBufferIsFull)
{
    keepsettings settings;
    ssgotodrift = 6;
    std::mt19937 rng(724);
    plain::data m = plain::randommatrix(rng, 40, 40, { 8, 4, 10 });
    use(m);
    zelrun("hold 2;");
    usetrees({ plain::randomtree(rng, m.taxa), plain::randomtree(rng, m.taxa) });
    {
        searchframe frame(sectschcom);
        schgettree(mem_tree[0]);
        double score = schoptimize(anx, 1);
        get_sectsch_priv_buf();
        asector s;
        do s = choose(rng, 16);
        while (s.count < 10);
        ASSERT_TRUE(make_small_matrix(s.base, s.count));
        EXPECT_FALSE(minianal(0));
        EXPECT_EQ(minianal_score_gain, 0);
        rezertree(0);
        EXPECT_EQ(schoptimize(anx, 1), score);
    }
    zelrun("keep 0; hold 100;");
}

TEST(Sector, TreesOfAllStartsAreFusedWhenWanted)
{
    keepsettings settings;
    num_fuses_all_starts = 3;
    std::mt19937 rng(725);
    plain::data m = plain::randommatrix(rng, 60, 60, { 8, 4, 10 });
    packing image(m);
    settree(packedtree(plain::randomtree(rng, m.taxa)));
    get_sectsch_priv_buf();
    for (int i = 0; i < 6; ++i) {
        binmksis(anx);
        asector s = choose(rng, 30);
        if (s.count < 10) continue;
        double before = schoptimize(anx, 1);
        ASSERT_TRUE(make_small_matrix(s.base, s.count));
        minianal(0);
        double gain = minianal_score_gain;
        rezertree(0);
        EXPECT_EQ(schoptimize(anx, 1), before - gain);
    }
    EXPECT_EQ(num_fuses_all_starts, 3);
}

TEST(Sector, WithoutMemoryForTheListThereIsNoFusing)
{
    keepsettings settings;
    num_fuses_all_starts = 99;
    ssnumstarts = 1;
    ssgotodrift = 200;
    std::mt19937 rng(726);
    plain::data m = plain::randommatrix(rng, 200, 20, { 8, 4, 10 });
    packing image(m);
    settree(packedtree(plain::randomtree(rng, m.taxa)));
    asector s;
    do s = choose(rng, 100);
    while (s.count < 80);
    ASSERT_TRUE(make_small_matrix(s.base, s.count));
    char *mark = himark();
    hiram(vailram() - 60000);
    testing::internal::CaptureStdout();
    minianal(0);
    testing::internal::GetCapturedStdout();
    hiset(mark);
    EXPECT_EQ(num_fuses_all_starts, 0);
    rezertree(0);
}
