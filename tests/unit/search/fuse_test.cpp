// Tree fusing: what is exchanged, the list of trees that comes out, and what stays as it was.
#include "fusetest.h"
#include "perturbtest.h"
#include "kernel/random.h"
#include "search/constraints.h"
#include "search/setup.h"
#include "search/status.h"
#include "trees/scratch.h"

namespace {

struct settings {                          // as they are at the start, before and after
    settings() { reset(); }
    ~settings() { reset(); }
    static void reset()
    {
        fusetakequals = choose_bestonly = fuse_repeat = fusereroots = autoselect_ga = skip_seed_nit = 0;
        fusebeststart = fuseswapit = fusekeepall = 1;
        fuseminfork = 3;
        fuserounds = 5;
        treechkshift = -1;
        mark_source_trees = nullptr;
        ranseed = 1;
    }
};

struct treelist : roomylist {
    using roomylist::roomylist;
    double fuse(int rounds, double stopscore = 0) { return dofuse(&count, rows.data(), rounds, stopscore); }
};

std::vector<std::vector<int>> family(std::mt19937 &rng, const plain::data &m, int n)
{
    std::vector<std::vector<int>> trees{ packedtree(plain::randomtree(rng, m.taxa, 0, activetaxa(m))) };
    while (int(trees.size()) < n) trees.push_back(relative(rng, trees[0], 1 + plain::below(rng, 3)));
    return trees;
}

std::vector<std::vector<int>> closefamily(std::mt19937 &rng, const plain::data &m, int n)
{
    std::vector<int> ancestor = packedtree(plain::randomtree(rng, m.taxa));
    std::vector<std::vector<int>> trees;
    while (int(trees.size()) < n) trees.push_back(closerelative(rng, ancestor, 3));
    return trees;
}

}  // namespace

TEST(Fusing, TakesOnlyWhatMakesTheTreeBetterAndOnlyGroupsOfBothTrees)
{
    settings standard;
    std::mt19937 rng(481);
    int exchanges = 0;
    for (int trial = 0; trial < atmost(150); ++trial) {
        plain::data m = matrixof(rng, 6 + trial % 18, 25, kinds()[trial % kinds().size()]);
        packing image(m);
        if (ntax < 5) continue;
        auto pair = family(rng, m, 2);
        fusetakequals = trial % 3 == 0;
        choose_bestonly = trial % 4 == 0;
        fuseminfork = 2 + trial % 3;
        std::vector<int> work = pair[0];
        double before = rescored(work);
        int n = fusetwotrees(work.data(), pair[1].data());
        expectwhole(work);
        double after = rescored(work);
        EXPECT_LE(after, before);
        if (!fusetakequals) { EXPECT_EQ(after < before, n > 0); }
        if (choose_bestonly) { EXPECT_LE(n, 1); }
        EXPECT_EQ(groupsof(work) == groupsof(pair[0]), n == 0);
        groupset a = groupsof(pair[0]), b = groupsof(pair[1]);
        for (const auto &g : groupsof(work)) EXPECT_TRUE(a.count(g) || b.count(g));
        exchanges += n;
    }
    EXPECT_GT(exchanges, 5);
}

namespace {

// The clade of node a of the tree replaced by that of node b of the other.
std::vector<int> exchanged(std::vector<int> tree, int a, const std::vector<int> &other, int b)
{
    std::map<int, int> number{ { b, a } };
    std::vector<int> joints;
    for (int n : inclade(tree, a))
        if (n > ntax && n != a) joints.push_back(n);
    size_t used = 0;
    for (int n : inclade(other, b)) {
        if (n != b) tree[size_t(n < ntax ? n : number[n] = joints[used++])] = -1;
    }
    for (int n : inclade(other, b))
        if (n != b) tree[size_t(n < ntax ? n : number[n])] = number[other[size_t(n)]];
    return tree;
}

groupset groupsbelow(const std::vector<int> &tree, int top)
{
    groupset all;
    auto sets = taxasets(tree);
    for (int n : inclade(tree, top)) all.insert(sets[size_t(n)]);
    return all;
}

struct plainfusing { std::vector<int> tree; int accepted = 0; unsigned long examined = 0; };

// The rule, by rescoring whole trees.
plainfusing plainlyfused(const std::vector<int> &work, const std::vector<int> &other)
{
    plainfusing f{ work };
    std::vector<int> list, guide, partners, inside;
    {
        hiscratch scratch;
        make_fuse_guide(work.data(), other.data());
        list.assign(fuse_list, fuse_list + nfuse_list);
        guide.assign(fuse_guide, fuse_guide + hinod);
        partners.assign(partner, partner + hinod);
        inside.assign(ladd, ladd + hinod);
    }
    double score = rescored(work);
    std::vector<int> best = work;
    for (size_t i = list.size(); i--; ) {
        int a = list[i], b = partners[a];
        if (inside[a] < fuseminfork || guide[a] == ntax) continue;
        ++f.examined;
        if (groupsbelow(f.tree, a) == groupsbelow(other, b)) continue;
        std::vector<int> nu = exchanged(f.tree, a, other, b);
        double value = rescored(nu);
        if (!(lessthan(value, score) || (fusetakequals && !lessthan(score, value)))) continue;
        for (int n = guide[a]; n != ntax; n = guide[n]) inside[n] = 0;
        score = value;
        if (choose_bestonly) {
            f.accepted = 1;
            best = nu;
        } else {
            ++f.accepted;
            f.tree = nu;
        }
    }
    if (choose_bestonly) f.tree = best;
    return f;
}

}  // namespace

TEST(Fusing, MakesTheExchangesOfTheRuleInEveryKindOfDataAndWeights)
{
    settings standard;
    std::mt19937 rng(497);
    int exchanges = 0, several = 0;
    zelrun("mxram 32;");
    for (const char *weights : { "", "piwe=3;", "piwe=3;xpiwe[=3;" })
        for (const mixed::kind &k : mixed::kinds)
            for (int trial = 0; trial < std::max(2, atmost(8)); ++trial) {
                SCOPED_TRACE(std::string(k.what) + weights);
                zelrun(*weights ? "xpiwe-;piwe=3;" : "xpiwe-;piwe-;");
                mixed::data d = mixed::random(rng, 8 + trial * 3, 20, k);
                mixed::packing image(d, weights);
                if (ntax < 6) continue;
                std::vector<int> a = packedtree(plain::randomtree(rng, d.m.taxa, 0, activetaxa(d.m)));
                std::vector<int> b = relative(rng, a, 1 + plain::below(rng, 4));
                fusetakequals = trial % 2;
                choose_bestonly = trial % 4 > 1;
                fuseminfork = 2 + trial % 3;
                plainfusing expected = plainlyfused(a, b);
                std::vector<int> work = a;
                clear_rearrangs();
                EXPECT_EQ(fusetwotrees(work.data(), b.data()), expected.accepted);
                EXPECT_EQ(numrearrangs, expected.examined);
                EXPECT_EQ(groupsof(work), groupsof(expected.tree));
                exchanges += expected.accepted;
                several += expected.accepted > 1;
            }
    EXPECT_GT(exchanges, 20);
    EXPECT_GT(several, 0);
    clear_rearrangs();
    zelrun("xpiwe-;piwe-;");
}

TEST(Fusing, RepeatedEndsWhereNoExchangeIsBetter)
{
    settings standard;
    std::mt19937 rng(482);
    for (int trial = 0; trial < atmost(60); ++trial) {
        plain::data m = matrixof(rng, 8 + trial % 14, 25);
        packing image(m);
        auto pair = family(rng, m, 2);
        fuseminfork = 2 + trial % 2;
        std::vector<int> work = pair[0];
        while (fusetwotrees(work.data(), pair[1].data())) continue;
        double score = rescored(work);
        for (int n = ntax + 1; n < hinod; ++n) {             // every group shared, exchanged by itself
            std::vector<int> nu = work;
            {
                hiscratch scratch;
                pairmemory();
                fusoptimize(work.data());
                start_pair(work.data(), pair[1].data());
                if (partner[n] < 0 || fuse_guide[n] == ntax || ladd[n] < fuseminfork) continue;
                cladzert(partner[n], n, nu.data());
            }
            EXPECT_GE(rescored(nu), score);
        }
    }
}

TEST(Fusing, InDrivenSearchesLeavesOutPairsThatHadNothingToExchange)
{
    settings standard;
    struct driven { ~driven() { xmulting = 0; forget_pairs(); } } undo;
    std::mt19937 rng(499);
    unsigned long leftout = 0;
    for (int trial = 0; trial < atmost(40); ++trial) {
        plain::data m = matrixof(rng, 8 + trial % 12, 25);
        packing image(m);
        auto trees = family(rng, m, 5);
        fuse_repeat = trial % 2;
        fusereroots = trial % 5 == 4;
        fusetakequals = trial % 3 == 2;
        struct result { std::vector<std::vector<int>> trees; double score; unsigned long examined; };
        auto run = [&](bool remembers) {
            xmulting = remembers;
            treelist list(trees, 4);
            clear_rearrangs();
            ranseed = 1 + trial;
            double score = list.fuse(4);
            list.trees.resize(size_t(list.count));
            return result{ list.trees, score, numrearrangs };
        };
        forget_pairs();
        result plain = run(false), first = run(true), second = run(true);
        forget_pairs();
        result again = run(true);
        for (const result &r : { first, second, again }) {
            EXPECT_EQ(r.trees, plain.trees);
            EXPECT_EQ(r.score, plain.score);
            EXPECT_LE(r.examined, plain.examined);
        }
        EXPECT_EQ(again.examined, first.examined);
        if (fusereroots || fusetakequals) { EXPECT_EQ(second.examined, plain.examined); }
        leftout += plain.examined - second.examined;
    }
    EXPECT_GT(leftout, 0u);
}

TEST(Fusing, OfIdenticalTreesChangesNothing)
{
    settings standard;
    std::mt19937 rng(483);
    for (int trial = 0; trial < 24; ++trial) {
        plain::data m = matrixof(rng, 5 + trial, 20);
        packing image(m);
        auto trees = family(rng, m, 1);
        trees.push_back(trees[0]);
        fuseminfork = 2 + trial % 2;
        fusetakequals = trial % 3 > 0;
        fuse_repeat = trial % 3 > 1;
        fusereroots = trial % 4;
        treelist list(trees, 4);
        list.fuse(4);
        EXPECT_EQ(list.count, 2);
        EXPECT_EQ(groupsof(list.trees[0]), groupsof(trees[0]));
        EXPECT_EQ(groupsof(list.trees[1]), groupsof(trees[0]));
        EXPECT_EQ(fusesdone, 4);
    }
}

TEST(Fusing, MinforkTwoConsidersGroupsOfTwoTaxa)
{
    settings standard;
    std::mt19937 rng(484);
    plain::data m = matrixof(rng, 6, 4);
    packing image(m);
    // 0 (1 (2 3) (4 5)): cherries of both trees, the rest differs
    auto tree = [](std::vector<int> up) {
        up.resize(size_t(nodz), 0);
        return up;
    };
    // nodes: 6 root, 7 ingroup, 8, 9 (2 3), 10 (4 5)
    std::vector<int> a = tree({ 6, 8, 9, 9, 10, 10, 11, 6, 7, 8, 7 });       // ((1 (2 3)) (4 5))
    std::vector<int> b = tree({ 6, 7, 9, 9, 10, 10, 11, 6, 7, 8, 8 });       // (1 ((2 3) (4 5)))
    fuseminfork = 3;
    clear_rearrangs();
    fusetwotrees(a.data(), b.data());
    EXPECT_EQ(numrearrangs, 0u);
    EXPECT_EQ(test_number_of_fuses(a.data(), b.data()), 0);
    fuseminfork = 2;
    fusetwotrees(a.data(), b.data());
    EXPECT_EQ(numrearrangs, 2u);
    EXPECT_EQ(test_number_of_fuses(a.data(), b.data()), 2);
    clear_rearrangs();
}

TEST(Fusing, RoundsAddTreesThatAreNewAndWhole)
{
    settings standard;
    std::mt19937 rng(485);
    int added = 0;
    for (int trial = 0; trial < atmost(60); ++trial) {
        plain::data m = matrixof(rng, 8 + trial % 16, 25, kinds()[trial % kinds().size()]);
        packing image(m);
        auto trees = family(rng, m, 2 + trial % 5);
        std::vector<groupset> given;
        double best = NOSCORE;
        for (const auto &t : trees) {
            given.push_back(groupsof(t));
            best = std::min(best, rescored(t));
        }
        for (auto &t : trees)
            for (int n = ntax + 1; n < hinod; n += 2) t[n] |= COLLAPSED;
        fuseswapit = trial % 2;
        fusereroots = trial % 3;
        fusebeststart = trial % 4 > 0;
        treelist list(trees, 4);
        ranseed = 7 + trial;
        current_treenum = 3;
        change_trees_in_mem = -1;
        int inmem = trees_in_mem, level = collapse_level;
        double score = list.fuse(4);
        EXPECT_EQ(ranseed, 7 + trial);
        EXPECT_EQ(current_treenum, 3);
        EXPECT_EQ(trees_in_mem, inmem);
        EXPECT_EQ(change_trees_in_mem, -1);
        EXPECT_EQ(collapse_level, level);
        EXPECT_EQ(fusesdone, 4);
        ASSERT_LE(list.count, int(given.size()) + 4);
        std::set<groupset> seen;
        double found = NOSCORE;
        for (int i = 0; i < list.count; ++i) {
            expectwhole(list.trees[i]);
            groupset g = groupsof(list.trees[i]);
            if (i < int(given.size())) EXPECT_EQ(g, given[i]);
            else EXPECT_FALSE(seen.count(g));
            seen.insert(g);
            std::vector<int> canonical = list.trees[i];      // those rerooted for a while too
            nodreset(canonical.data(), nullptr);
            EXPECT_EQ(canonical, list.trees[i]);
            found = std::min(found, rescored(list.trees[i]));
        }
        EXPECT_EQ(score, found);
        EXPECT_LE(score, best);
        added += list.count - int(given.size());
    }
    EXPECT_GT(added, 5);
}

TEST(Fusing, ATreeEqualToOneOfTheListIsNotAdded)
{
    settings standard;
    std::mt19937 rng(486);
    int exchanged = 0;
    for (int trial = 0; trial < 40; ++trial) {
        plain::data m = matrixof(rng, 12, 40);
        packing image(m);
        auto trees = family(rng, m, 1);
        trees.push_back(trees[0]);
        int top = ntax + 1 + plain::below(rng, ntax - 2);
        scramble(rng, &trees[1], top);                       // one clade apart: an exchange makes them equal
        if (trees[1][top] == ntax) continue;
        fuseswapit = 0;
        fusebeststart = 0;
        fuseminfork = 2;
        ranseed = trial + 1;
        uint8_t marks[8] = {};
        mark_source_trees = marks;
        treelist list(trees, 3);
        list.fuse(3);
        mark_source_trees = nullptr;
        exchanged += marks[0];
        for (int i = 2; i < list.count; ++i) {
            EXPECT_NE(groupsof(list.trees[i]), groupsof(trees[0]));
            EXPECT_NE(groupsof(list.trees[i]), groupsof(trees[1]));
        }
    }
    EXPECT_GT(exchanged, 5);
}

// A tree takes something from a better one, which takes nothing from it.
TEST(Fusing, StartsWithTheBestTreeUnlessToldOtherwise)
{
    settings standard;
    std::mt19937 rng(487);
    plain::data m = matrixof(rng, 30, 60);
    packing image(m);
    std::vector<int> one = packedtree(plain::randomtree(rng, m.taxa)), other = closerelative(rng, one, 1);
    while (rescored(other) == rescored(one)) other = closerelative(rng, one, 1);
    fuseswapit = 0;
    for (fusebeststart = 0; fusebeststart < 2; ++fusebeststart) {
        int exchanged = 0;
        for (int seed = 1; seed <= 12; ++seed) {
            treelist list({ one, other }, 1);
            uint8_t marks[3] = {};
            mark_source_trees = marks;
            ranseed = seed;
            list.fuse(1);
            EXPECT_EQ(list.count, 2);
            EXPECT_EQ(marks[0], marks[1]);
            exchanged += marks[0];
        }
        EXPECT_TRUE(fusebeststart ? exchanged == 0 : exchanged > 0 && exchanged < 12) << exchanged;
    }
    mark_source_trees = nullptr;
}

TEST(Fusing, WithoutRoundsOnlyCleansTheTrees)
{
    settings standard;
    std::mt19937 rng(488);
    plain::data m = matrixof(rng, 10, 20);
    packing image(m);
    auto trees = family(rng, m, 3);
    double best = NOSCORE;
    for (const auto &t : trees) best = std::min(best, rescored(t));
    auto marked = trees;
    for (auto &t : marked)
        for (int n = 0; n < hinod; ++n)
            if (n != ntax) t[n] |= COLLAPSED;
    treelist list(marked, 0);
    EXPECT_EQ(list.fuse(0), best);
    EXPECT_EQ(list.count, 3);
    EXPECT_EQ(fusesdone, 0);
    for (size_t i = 0; i < trees.size(); ++i) EXPECT_EQ(groupsof(list.trees[i]), groupsof(trees[i]));
    treelist one({ marked[0] }, 2);
    EXPECT_EQ(one.fuse(2), rescored(trees[0]));
    EXPECT_EQ(one.count, 1);
}

TEST(Fusing, EndsAtTheStopScoreAndWhenStopped)
{
    settings standard;
    std::mt19937 rng(489);
    int reached = 0;
    for (int trial = 0; trial < 20; ++trial) {
        plain::data m = matrixof(rng, 16, 40);
        packing image(m);
        auto trees = family(rng, m, 4);
        treelist whole(trees, 6), stopped(trees, 6), interrupted(trees, 6);
        ranseed = trial + 1;
        whole.fuse(6);
        double start = NOSCORE;
        for (const auto &t : trees) start = std::min(start, rescored(t));
        ranseed = trial + 1;
        double score = stopped.fuse(6, start - 1);
        if (score <= start - 1) {
            ++reached;
            EXPECT_EQ(rescored(stopped.trees[stopped.count - 1]), score);
            EXPECT_LE(stopped.count, whole.count);
        }
        userstop = 1;
        EXPECT_EQ(interrupted.fuse(6), start);
        userstop = 0;
        EXPECT_EQ(interrupted.count, 4);
        EXPECT_EQ(fusesdone, 0);
    }
    EXPECT_GT(reached, 3);
}

TEST(Fusing, ScoresGoToTheRecordsOfTheTreesWhenAskedFor)
{
    settings standard;
    zelrun("hold 50;");
    std::mt19937 rng(490);
    plain::data m = matrixof(rng, 16, 40);
    packing image(m);
    auto trees = family(rng, m, 4);
    treelist list(trees, 4);
    std::vector<treechkrec> kept(treechk, treechk + 16);
    for (int i = 0; i < 16; ++i) treechk[i].score = -5;
    treechkshift = 3;
    list.fuse(4);
    for (int i = 0; i < list.count; ++i) EXPECT_EQ(treechk[3 + i].score, rescored(list.trees[i]));
    EXPECT_EQ(treechk[2].score, -5);
    std::copy(kept.begin(), kept.end(), treechk);
}

TEST(Fusing, TheGeneratorRunsOnWhenItIsNotToBeSeeded)
{
    settings standard;
    std::mt19937 rng(491);
    plain::data m = matrixof(rng, 40, 60);
    packing image(m);
    auto trees = closefamily(rng, m, 6);
    fusebeststart = fuseswapit = 0;
    std::set<std::vector<std::vector<int>>> seeded, running;
    skip_seed_nit = 0;
    for (int i = 0; i < 10; ++i) {
        treelist list(trees, 2);
        list.fuse(2);
        seeded.insert(list.trees);
    }
    skip_seed_nit = 1;
    for (int i = 0; i < 10; ++i) {
        treelist list(trees, 2);
        list.fuse(2);
        running.insert(list.trees);
    }
    EXPECT_EQ(seeded.size(), 1u);
    EXPECT_GT(running.size(), 1u);
}

TEST(Fusing, CountsTheGroupsThatCouldBeExchanged)
{
    settings standard;
    std::mt19937 rng(492);
    for (int trial = 0; trial < atmost(40); ++trial) {
        plain::data m = matrixof(rng, 6 + trial % 20, 4);
        packing image(m);
        auto trees = family(rng, m, 2 + trial % 5);
        fuseminfork = 2 + trial % 3;
        double sum = 0;
        int pairs = 0;
        for (size_t i = 0; i < trees.size(); ++i)
            for (size_t k = 0; k < i; ++k, ++pairs) {
                groupset a = groupsof(trees[i]), common;
                for (const auto &g : groupsof(trees[k]))
                    if (a.count(g)) common.insert(g);
                // groups with descendants enough, and none of these inside
                std::vector<taxonset> tried;
                for (const auto &g : common) {
                    size_t inside = 0;
                    taxonset covered;
                    for (const auto &h : common) {
                        if (h == g || !isin(h, g)) continue;
                        bool direct = true;
                        for (const auto &between : common)
                            direct &= between == g || between == h || !isin(between, g) ||
                                      !isin(h, between);
                        if (!direct) continue;
                        ++inside;
                        covered.insert(h.begin(), h.end());
                    }
                    inside += g.size() - covered.size();
                    if (int(inside) >= fuseminfork && int(g.size()) <= ntax - 2) tried.push_back(g);
                }
                int n = 0;
                for (const auto &g : tried)
                    n += std::none_of(tried.begin(), tried.end(), [&](const auto &h) { return h != g && isin(h, g); });
                EXPECT_EQ(test_number_of_fuses(trees[i].data(), trees[k].data()), n);
                sum += n * 100.0 / ntax;
            }
        std::vector<int *> rows;
        for (auto &t : trees) rows.push_back(t.data());
        EXPECT_NEAR(calculate_fuse_props(int(rows.size()), rows.data()), sum / pairs, 1e-9);
        EXPECT_EQ(calculate_fuse_props(1, rows.data()), 0);
    }
}

// Of many trees pairs are drawn at random.
TEST(Fusing, CountsGroupsInFifteenPairsAtMost)
{
    settings standard;
    std::mt19937 rng(498);
    plain::data m = matrixof(rng, 20, 4);
    packing image(m);
    std::vector<int> one = packedtree(plain::randomtree(rng, m.taxa)), other = one;
    fuseminfork = 2;
    std::vector<int *> rows(9, one.data());
    double same = test_number_of_fuses(one.data(), one.data()) * 100.0 / ntax;
    EXPECT_NEAR(calculate_fuse_props(9, rows.data()), same, 1e-9);
    double mixed = same;
    while (mixed == same) {
        other = closerelative(rng, one, 3);
        mixed = test_number_of_fuses(one.data(), other.data()) * 100.0 / ntax;
    }
    for (int i = 0; i < 4; ++i) rows[size_t(i)] = other.data();
    std::set<int> differing;                                // pairs of the fifteen with two trees that are not the same
    for (unsigned seed = 1; seed <= 20; ++seed) {
        srand(seed);
        double pairs = (calculate_fuse_props(9, rows.data()) - same) / (mixed - same) * 15;
        EXPECT_NEAR(pairs, std::round(pairs), 1e-6);
        EXPECT_TRUE(pairs > -0.5 && pairs < 15.5);
        differing.insert(int(std::lround(pairs)));
    }
    EXPECT_GT(differing.size(), 2u);
}

TEST(Fusing, LeavesTreesThatAreNotOfTheListAlone)
{
    settings standard;
    std::mt19937 rng(499);
    plain::data m = matrixof(rng, 16, 30);
    use(m);
    int added = 0;
    for (const char *search : { "tfuse 1 3 4 = rounds 3 equals;", "tfuse 1 3.4;", "tfuse {2};", "tfuse 1 3 4 = hybridize 4;", "tfuse 1 3 4;" }) {
        zelrun("keep 0;rseed 2;mult=wagner keepall replic 6;tgroup*;tgroup =2 1 3 4;");
        ASSERT_EQ(trees_in_mem, 6);
        auto before = allkept();
        std::string said = zelrun(search);
        ASSERT_FALSE(zelfailed()) << said;
        for (int t : { 0, 2, 5 }) EXPECT_EQ(plain::shape(kept(t)), plain::shape(before[size_t(t)])) << search;
        added += trees_in_mem - 6;
        long best = LONG_MAX;
        for (int t = 0; t < trees_in_mem; ++t)
            if (t != 0 && t != 2 && t != 5) best = std::min(best, plain::length(m, kept(t)));
        EXPECT_NE(said.find(std::to_string(trees_in_mem) + " trees retained, best score " + std::to_string(best) + "."), std::string::npos) << said;
    }
    EXPECT_GT(added, 0);
    zelrun("keep 0;tgroup*;mult:tbr nokeepall replic 10;tfuse:hybridize 1000 nohybridize;");
}

TEST(Fusing, TellsTheScoreOfWhatItLeavesInEveryKindOfData)
{
    settings standard;
    std::mt19937 rng(500);
    zelrun("mxram 32;");
    for (const char *weights : { "", "piwe=3;", "piwe=3;xpiwe[=3;" })
        for (const mixed::kind &k : mixed::kinds)
            for (const char *search : { "tfuse=rounds 2 nohybridize equals;", "tfuse=rounds 2 noequals xroot 2;", "tfuse=noxroot hybridize 3*2/3;" }) {
                SCOPED_TRACE(std::string(k.what) + weights + search);
                zelrun(*weights ? "xpiwe-;piwe=3;" : "xpiwe-;piwe-;");
                mixed::data d = mixed::random(rng, 11, 12, k);
                d.m.taxactive.assign(size_t(d.m.taxa), 1);
                std::string said = zelrun("procedure " + writefile("fuse.xread", mixed::readtext(d)) + ";" + weights);
                ASSERT_FALSE(zelfailed()) << said;
                if (dopiwe) set_fit_minima();
                std::vector<plain::tree> start;
                for (int i = 0; i < 4; ++i) start.push_back(plain::randomtree(rng, d.m.taxa, 30));       // with polytomies
                usetrees(start);
                untouched same;
                said = zelrun(search);
                ASSERT_FALSE(zelfailed()) << said;
                same.check();
                ASSERT_GE(trees_in_mem, 4);
                double best = 1e30;
                for (const plain::tree &t : allkept()) best = std::min(best, dopiwe ? mixed::fits(d, t) : mixed::length(d, t));
                size_t at = said.find("best score ");
                ASSERT_NE(at, std::string::npos) << said;
                EXPECT_NEAR(std::stod(said.substr(at + 11)), best, dopiwe ? 1e-5 : 1e-3) << said;
            }
    zelrun("keep 0;xpiwe-;piwe-;tfuse:hybridize 1000*1/50 nohybridize;");
}

// Constraints hold for trees fused, whatever kinds they are of.
TEST(Fusing, KeepsToTheConstraintsThatTheTreesFulfil)
{
    settings standard;
    std::mt19937 rng(493);
    for (int trial = 0; trial < atmost(30); ++trial) {
        plain::data m = matrixof(rng, 12, 20);
        use(m);
        const char *const constraints[] = {
            "force + [ 2 3 4 ];", "force + [ 2 3 4 5 ] - [ 6 7 ];", "force - [ 2 3 ] - [ 4 5 6 ];", "force + [ 1 2 3 (4 5) ];",
            "force = (0 1 (2 3 4 5) 6 7 (8 9 10) 11);",
        };
        zelrun(std::string(constraints[trial % 5]) + "mult=wagner keepall replic 6;tfuse=rounds 4 equals;");
        EXPECT_FALSE(zelfailed());
        EXPECT_GT(trees_in_mem, 1);
        for (int t = 0; t < trees_in_mem; ++t) EXPECT_TRUE(fulfils_constraints(mem_tree[t]));
        zelrun("force];keep 0;mult:tbr nokeepall replic 10;");
    }
}

TEST(Fusing, CountsForTheSearchAndReportsTheBestScore)
{
    settings standard;
    std::mt19937 rng(494);
    for (int trial = 0; trial < atmost(20); ++trial) {
        plain::data m = matrixof(rng, 8 + trial, 25, kinds()[trial % kinds().size()]);
        use(m);
        zelrun("keep 0;rseed " + std::to_string(trial + 1) + ";mult=wagner keepall replic 6;");
        int before = trees_in_mem;
        if (before < 2) continue;
        bool keepall = trial % 2;
        std::string said = zelrun(std::string("tfuse=rounds 3 ") + (keepall ? "keepall;" : "nokeepall;"));
        ASSERT_FALSE(zelfailed()) << said;
        long best = 1000000, worst = 0;
        for (const plain::tree &t : allkept()) {
            best = std::min(best, plain::length(m, t));
            worst = std::max(worst, plain::length(m, t));
        }
        EXPECT_NE(said.find("3 rounds of fusing completed.\n" + std::to_string(trees_in_mem) + " trees retained, best score " +
                            std::to_string(best) + ".\n"), std::string::npos) << said;
        if (keepall) { EXPECT_GE(trees_in_mem, before); EXPECT_LE(trees_in_mem, before + 3); }
        else EXPECT_EQ(best, worst);
    }
    zelrun("keep 0;mult:tbr nokeepall replic 10;");
}

TEST(Fusing, NamesItsTreesAndTheirSources)
{
    settings standard;
    std::mt19937 rng(495);
    plain::data m = matrixof(rng, 40, 60);
    use(m);
    std::vector<plain::tree> trees;
    {
        packing image(m);
        for (const auto &t : closefamily(rng, m, 5)) trees.push_back(plaintree(t.data()));
    }
    usetrees(trees);
    zelrun("tgroup*;agroup=0;tfuse=rounds 2;");
    std::string said = zelrun("tgroup;");
    EXPECT_NE(said.find("tree_fusing"), std::string::npos) << said;
    EXPECT_NE(said.find("source_trees"), std::string::npos) << said;
    zelrun("keep 0;");
}

TEST(Fusing, UnderImpliedWeightsSaysWhenMemoryIsTooLow)
{
    settings standard;
    std::mt19937 rng(496);
    plain::data m = matrixof(rng, 14, 30);
    zelrun("piwe=3;");
    use(m);
    zelrun("keep 0;mult=wagner keepall replic 4;tfuse;");
    EXPECT_FALSE(zelfailed());
    int failed = 0, other = 0;
    for (size_t bytes = 2000; bytes < 40000 && !other; bytes += 700) {
        int rest = 0;
        loram((vailram() - bytes) & ~size_t(7));
        lockram(&rest);
        std::string said = zelrun("tfuse;");
        if (!zelfailed()) ++other;
        else failed += said.find("Sorry, not enough RAM allocated for tree-fusing under implied weights") != std::string::npos;
        wipetag(&rest);
    }
    EXPECT_GT(failed, 0);
    zelrun("piwe-;keep 0;mult:tbr nokeepall replic 10;");
}
