#include "treesets.h"
#include <climits>
#include "compare/contra.h"
#include "compare/major.h"
#include "compare/strict.h"
#include "kernel/arena.h"
#include "kernel/errors.h"
#include "trees/treebuf.h"

namespace {

using counts = std::map<taxonset, int>;
using consensus = void (*)(int *const *, int *, int, const uint8_t *, uint8_t *, int *);

struct outcome { plaintree tree, freqs; };

outcome run(consensus method, collection &c)
{
    outcome o{ plaintree(nodz, -7), plaintree(nodz, -7) };
    auto rows = c.rows();
    std::vector<uint8_t> excluded = c.excluded, list = c.list;
    char *low = lomark(), *high = himark();
    method(rows.data(), o.tree.data(), int(rows.size()), list.empty() ? nullptr : list.data(), excluded.data(),
           o.freqs.data());
    EXPECT_EQ(lomark(), low);
    EXPECT_EQ(himark(), high);
    checktree(o.tree.data());
    return o;
}

void combinable(int *const *trees, int *result, int n, const uint8_t *list, uint8_t *excluded, int *)
{
    dobremercons(trees, result, n, list, excluded);
}

// The groups of each tree of the list (but the one given), supported ones counted.
counts plaincounts(const collection &c, const std::vector<uint8_t> &out, int but, int *trees)
{
    int takingpart = int(std::count(out.begin(), out.end(), 0));
    counts all;
    *trees = 0;
    for (int i = 0; i < int(c.trees.size()); ++i) {
        if (!selectedtree(c.listed(), i) || i == but) continue;
        const int *tree = c.trees[i].data();
        ++*trees;
        for (auto &g : groupsof(tree, out.data(), takingpart,
                                [&](int n) { return !collapse_consensuses || invented(tree, n); }))
            ++all[g];
    }
    return all;
}

bool against(const taxonset &a, const taxonset &b)
{
    taxonset both;
    std::set_intersection(a.begin(), a.end(), b.begin(), b.end(), std::inserter(both, both.end()));
    return !both.empty() && both.size() < a.size() && both.size() < b.size();
}

counts plaindifferences(const counts &all, const counts &of)
{
    counts result;
    for (auto &[g, n] : of) {
        int most = 0;
        for (auto &[other, m] : all)
            if (against(g, other)) most = std::max(most, m);
        result[g] = n - most;
    }
    return result;
}

counts above(const counts &all, int limit)
{
    counts result;
    for (auto &[g, n] : all)
        if (n > limit) result[g] = n;
    return result;
}

counts valuesof(const outcome &o, int takingpart)
{
    counts result;
    for (int n = nt + 1; n < o.tree[nt]; ++n) {
        taxonset g = below(o.tree.data(), n, nullptr);
        if (int(g.size()) != takingpart) result[g] = o.freqs[n];
    }
    return result;
}

struct Majority : testing::TestWithParam<int> {
    void SetUp() override { readtaxa(GetParam()); }
    void TearDown() override
    {
        collapse_consensuses = use_low_budget_only = freqdifcut = 0;
        ignore_unshared_taxa = 1;
        mark_supported = rule_1;
        majorcut = 50;
        reference_tree = -1;
    }
};

int takingpartin(const std::vector<uint8_t> &out) { return int(std::count(out.begin(), out.end(), 0)); }

void expectall(collection &c)
{
    auto out = leftout(c);
    int all = takingpartin(out), trees;
    if (all < 2) return;
    counts seen = plaincounts(c, out, -1, &trees);
    for (int cut : { 50, 67, 90, 100 }) {
        majorcut = cut;
        outcome o = run(domajority, c);
        EXPECT_EQ(valuesof(o, all), above(seen, cut * trees / 100)) << cut;
        for (int t = 0; t < nt; ++t) EXPECT_EQ(o.tree[t] == 0, out[t] != 0) << t;
    }
    counts differences = plaindifferences(seen, seen);
    for (int cut : { 0, 25, 60 }) {
        freqdifcut = cut;
        EXPECT_EQ(valuesof(run(dofreqdifs, c), all), above(differences, cut * trees / 100)) << cut;
    }
    groupset free;
    for (auto &[g, n] : seen)
        if (differences[g] == n) free.insert(g);
    EXPECT_EQ(groupsof(run(combinable, c).tree.data(), nullptr, all), free);
}

TEST_P(Majority, DifferencesAndCombinableComponentsAgreeWithSetsOfSets)
{
    std::mt19937 dice(51);
    for (int trial = 0; trial < 25; ++trial) {
        auto c = randomcollection(dice, trial % 3 * .25, 0, 0);
        expectall(c);
    }
}

TEST_P(Majority, LeavesOutTheTaxaAskedForAndThoseMissing)
{
    std::mt19937 dice(52);
    for (int trial = 0; trial < 25; ++trial) {
        auto c = randomcollection(dice, trial % 3 * .2, trial % 2 * .08, .15);
        expectall(c);
    }
}

TEST_P(Majority, CountsOnlyWhatTheCollapsingRuleLeaves)
{
    std::mt19937 dice(53);
    mark_supported = inventedrule;
    collapse_consensuses = 1;
    for (int trial = 0; trial < 25; ++trial) {
        auto c = randomcollection(dice, .2, trial % 2 * .05, trial % 4 * .05);
        expectall(c);
    }
}

TEST_P(Majority, WithLittleMemoryIsTheSameTree)
{
    std::mt19937 dice(54);
    for (int trial = 0; trial < 40; ++trial) {
        auto c = randomcollection(dice, trial % 3 * .25, 0, 0);
        for (int cut : { 50, 70, 100 })
            for (int reference : { -1, int(dice() % c.trees.size()) }) {
                if (reference >= 0 && !c.list.empty() && countselected(int(c.trees.size()), c.list.data()) < 1) continue;
                if (reference >= 0 && c.list.empty() && c.trees.size() < 2) continue;
                majorcut = cut;
                reference_tree = reference;
                use_low_budget_only = 0;
                outcome table = run(domajority, c);
                use_low_budget_only = 1;
                outcome low = run(domajority, c);
                EXPECT_EQ(low.tree, table.tree);
                for (int n = nt + 1; n < low.tree[nt]; ++n) EXPECT_EQ(low.freqs[n], table.freqs[n]);
                use_low_budget_only = 0;
            }
        reference_tree = -1;
    }
}

TEST_P(Majority, ShowsTheGroupsOfOneTreeWithTheirValuesInTheOthers)
{
    std::mt19937 dice(55);
    for (int trial = 0; trial < 40; ++trial) {
        auto c = randomcollection(dice, trial % 3 * .25, 0, trial % 2 * .1);
        if (c.list.empty()) c.list.assign(c.trees.size(), 1);
        int reference = int(dice() % c.trees.size()), trees;
        auto out = leftout(c);
        int all = takingpartin(out);
        if (all < 2) continue;
        counts others = plaincounts(c, out, reference, &trees), own;
        bool selected = selectedtree(c.list.data(), reference);
        groupset groups = groupsof(c.trees[reference].data(), out.data(), all);
        reference_tree = reference;
        for (auto &g : groups) own[g] = others[g] + selected;
        EXPECT_EQ(valuesof(run(domajority, c), all), own);
        if (!trees) continue;
        for (auto &g : groups) own[g] = others[g];
        EXPECT_EQ(valuesof(run(dofreqdifs, c), all), plaindifferences(others, own));
    }
}

TEST_P(Majority, WithoutAListDoesNotCountTheReferenceTree)
{
    std::mt19937 dice(56);
    collection c;
    for (int i = 0; i < 4; ++i) c.trees.push_back(i ? similartree(dice, c.trees[0]) : randomtree(dice, 0, 0));
    c.excluded.assign(nt, 0);
    reference_tree = 0;
    outcome o = run(domajority, c);
    EXPECT_EQ(o.tree, c.trees[0]);
    for (int n = nt + 1; n < o.tree[nt]; ++n) {
        int trees = 0;
        taxonset g = below(o.tree.data(), n, nullptr);
        for (int i = 1; i < 4; ++i) trees += int(groupsof(c.trees[i].data(), nullptr, nt).count(g));
        EXPECT_EQ(o.freqs[n], trees);
    }
}

TEST_P(Majority, InsertsTheGroupsOfATreeOntoAnother)
{
    std::mt19937 dice(57);
    for (int trial = 0; trial < 40; ++trial) {
        plaintree one = randomtree(dice, trial % 3 * .3, trial % 2 * .05), other = randomtree(dice, trial % 2 * .3, 0);
        if (trial % 5 == 0) other = one;
        plaintree result(nodz);
        std::vector<uint8_t> out(nt);
        for (int t = 0; t < nt; ++t) out[t] = !one[t] || !other[t];
        int all = takingpartin(out);
        zert_groups_onto_tree(one.data(), other.data(), result.data());
        groupset want = groupsof(one.data(), out.data(), all), had = want;
        for (auto &g : groupsof(other.data(), out.data(), all))
            if (std::none_of(had.begin(), had.end(), [&](auto &h) { return against(g, h); })) want.insert(g);
        EXPECT_EQ(groupsof(result.data(), nullptr, all), want);
    }
}

TEST_P(Majority, OfAPairOfTreesHasWhatTheyDoNotContradict)
{
    std::mt19937 dice(58);
    plaintree one = randomtree(dice, .3, 0), other = randomtree(dice, .3, 0), result(nodz);
    std::vector<uint8_t> excluded(nt, 0);
    dopaircons(one.data(), other.data(), result.data(), excluded.data());
    groupset a = groupsof(one.data(), nullptr, nt), b = groupsof(other.data(), nullptr, nt), want;
    for (auto &[x, y] : { std::pair(&a, &b), std::pair(&b, &a) })
        for (auto &g : *x)
            if (std::none_of(y->begin(), y->end(), [&, &g = g](auto &h) { return against(g, h); })) want.insert(g);
    EXPECT_EQ(groupsof(result.data(), nullptr, nt), want);
}

INSTANTIATE_TEST_SUITE_P(Taxa, Majority, testing::Values(4, 9, 32, 33, 65));

TEST(MajorityRule, AtHundredIsABushAndAtFiftyNeedsBothOfTwoTrees)
{
    readtaxa(6);
    std::mt19937 dice(59);
    collection c;
    c.trees = { randomtree(dice, 0, 0) };
    c.trees.push_back(c.trees[0]);
    c.excluded.assign(nt, 0);
    majorcut = 100;
    EXPECT_EQ(run(domajority, c).tree[nt], nt + 1);
    majorcut = 50;
    EXPECT_EQ(run(domajority, c).tree, c.trees[0]);
    c.trees[1] = similartree(dice, c.trees[0]);
    EXPECT_EQ(run(domajority, c).tree, c.trees[1]);
}

TEST(MajorityRule, InsideOtherCommandsTakesItsOwnCutAndHundredMeansStrict)
{
    readtaxa(6);
    std::mt19937 dice(60);
    collection c;
    c.trees = { randomtree(dice, 0, 0), randomtree(dice, 0, 0) };
    c.trees.push_back(c.trees[0]);
    auto rows = c.rows();
    plaintree got(nodz), want(nodz);
    majorcut = 50;
    do_major_for_jak(rows.data(), got.data(), 3, nullptr, nullptr, 60);
    EXPECT_EQ(got, c.trees[0]);
    do_major_for_jak(rows.data(), got.data(), 3, nullptr, nullptr, 100);
    dostrict(rows.data(), want.data(), 3, nullptr, nullptr, 0);
    EXPECT_EQ(got, want);
    EXPECT_EQ(majorcut, 50);
}

// A group of all taxa but one stays; one left with a single taxon goes.
TEST(GroupsOfFewTaxa, AreDroppedAndThoseOfAllButOneStay)
{
    readtaxa(5);
    //                        0  1  2  3  4  root
    collection c;
    c.trees = { plaintree{ 5, 6, 6, 7, 7, 8, 5, 6, 0 } };   // (0 (1 2 (3 4)))
    c.excluded = { 0, 0, 0, 0, 1 };
    outcome o = run(domajority, c);
    EXPECT_EQ(groupsof(o.tree.data(), nullptr, 4), (groupset{ { 1, 2, 3 } }));
}

}
