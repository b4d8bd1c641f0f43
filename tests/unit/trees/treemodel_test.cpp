#include "treetest.h"
#include <numeric>

namespace {
struct sizes { int taxa, trials; };
constexpr sizes SOME[] = { { 4, 50 }, { 5, 50 }, { 9, 50 }, { 33, 30 }, { 64, 20 } };

// Other numbers for the internal nodes, at random.
tree renumbered(const tree &anc, std::mt19937 *dice)
{
    std::vector<int> number(nodz);
    std::iota(number.begin(), number.end(), 0);
    std::shuffle(number.begin() + nt + 1, number.begin() + anc[nt], *dice);
    tree other(nodz, 0);
    for (int n = 0; n < anc[nt]; ++n)
        if (n != nt) other[number[n]] = anc[n] ? number[anc[n]] : 0;
    other[nt] = anc[nt];
    return other;
}

// Canonical numbers by the rule: each terminal in turn numbers what is new on its way to the root.
std::vector<int> plainnumbers(const tree &anc)
{
    std::vector<int> number(nodz, -1);
    int next = nt;
    number[nt] = next++;
    for (int t = 0; t < nt; ++t)
        for (int n = anc[t] ? anc[t] : nt; number[n] < 0; n = anc[n]) number[n] = next++;
    return number;
}

tree caterpillar()
{
    tree anc(nodz, 0);
    for (int t = 0; t < nt - 1; ++t) anc[t] = nt + t;
    anc[nt - 1] = 2 * nt - 2;
    for (int n = nt + 1; n < nodz; ++n) anc[n] = n - 1;
    anc[nt] = nodz;
    return anc;
}
}

template<class F> static void ontrees(F check)
{
    std::mt19937 dice(7);
    for (const sizes &s : SOME) {
        datafor(s.taxa);
        ASSERT_EQ(nt, s.taxa);
        for (int trial = 0; trial < s.trials; ++trial)
            check(randomtree(&dice, trial % 3 * 40, trial % 2 * 30), &dice);
    }
}

TEST(Mksis, ListsDescendantsInAscendingOrder)
{
    ontrees([](const tree &anc, std::mt19937 *) {
        mksis(anc.data());
        for (int n = 0; n < anc[nt]; ++n) {
            std::vector<int> expected, got;
            for (int d = 0; d < anc[nt]; ++d)
                if (d != nt && anc[d] == n && n >= nt) expected.push_back(d);
            for (int d = lef[n]; d >= 0; d = sis[d]) got.push_back(d);
            EXPECT_EQ(got, expected);
            EXPECT_EQ(rig[n], expected.empty() ? -1 : expected.back());
        }
    });
}

TEST(Mkoptlist, ListsEachInternalNodeOnceBehindItsAncestor)
{
    ontrees([](const tree &anc, std::mt19937 *) {
        for (auto make : { mkoptlist, mklist }) {
            std::vector<int> list(nodz), at(nodz, -1), forks(nodz, 0);
            int n = make(list.data(), anc.data());
            EXPECT_EQ(n, countnodes(anc.data()));
            EXPECT_EQ(list[0], nt);
            for (int i = 0; i < n; ++i) {
                EXPECT_LT(at[list[i]], 0);
                at[list[i]] = i;
            }
            for (int i = 1; i < n; ++i) EXPECT_LT(at[anc[list[i]]], i);
            for (int m = 0; m < anc[nt]; ++m)
                if (m != nt && anc[m]) ++forks[anc[m]];
            for (int m = nt; m < anc[nt]; ++m) EXPECT_EQ(nodfork[m], forks[m]);
        }
    });
}

TEST(ResetNodz, NumbersNodesAsTerminalsReachThem)
{
    ontrees([](const tree &anc, std::mt19937 *) {
        std::vector<int> number = plainnumbers(anc), carried(nodz, 0);
        for (int n = nt; n < anc[nt]; ++n) carried[n] = 1000 + n;
        tree got = anc;
        reset_nodz(got.data(), carried.data());
        EXPECT_EQ(got[nt], anc[nt]);
        for (int n = 0; n < anc[nt]; ++n) {
            int m = n < nt ? n : number[n];
            if (n != nt) { EXPECT_EQ(got[m], anc[n] ? number[anc[n]] : 0); }
            if (n >= nt) { EXPECT_EQ(carried[m], 1000 + n); }
        }
    });
}

TEST(ResetNodz, MakesTreesOfTheSameGroupsEqualWordByWord)
{
    ontrees([](const tree &anc, std::mt19937 *dice) {
        tree first = canonical(anc);
        for (int i = 0; i < 5; ++i) {
            tree other = canonical(renumbered(anc, dice));
            EXPECT_EQ(other, first);
            EXPECT_TRUE(equal_tree(other.data(), first.data()));
        }
        EXPECT_EQ(canonical(first), first);
        tree another = canonical(randomtree(dice, 30));
        EXPECT_EQ(equal_tree(another.data(), first.data()), groupsof(another) == groupsof(first) &&
                  std::equal(another.begin(), another.begin() + nt, first.begin(), [](int a, int b) { return !a == !b; }));
    });
}

// Large trees try some of their targets only.
static int some() { return nt > 20 ? 11 : 1; }

TEST(Reroot, KeepsTheSplitsAndHangsTheTerminalFromTheRoot)
{
    ontrees([](const tree &anc, std::mt19937 *) {
        for (int t = 0; t < nt; t += some()) {
            tree got = canonical(anc);
            if (!anc[t]) {
                EXPECT_FALSE(reroot(got.data(), t));
                EXPECT_EQ(got, canonical(anc));
                continue;
            }
            ASSERT_TRUE(reroot(got.data(), t));
            checktree(got.data());
            EXPECT_EQ(got[t], nt);
            EXPECT_EQ(splitsof(got), splitsof(anc));
            EXPECT_EQ(got, canonical(got));
        }
    });
}

TEST(Reroot, HangsAnInternalNodeFromTheRootWithItsGroup)
{
    ontrees([](const tree &anc, std::mt19937 *) {
        for (int node = nt + 1; node < anc[nt]; node += some()) {
            tree got = anc;
            ASSERT_TRUE(reroot(got.data(), node));
            EXPECT_EQ(splitsof(got), splitsof(anc));
            group wanted(nt, false);
            for (int t = 0; t < nt; ++t)
                for (int n = t; anc[t] && n != nt; n = anc[n]) wanted[t] = wanted[t] || n == node;
            bool found = false;
            for (int n = nt + 1; n < got[nt]; ++n) {
                group below(nt, false);
                for (int t = 0; t < nt; ++t)
                    for (int m = t; got[t] && m != nt; m = got[m]) below[t] = below[t] || m == n;
                found |= got[n] == nt && below == wanted;
            }
            EXPECT_TRUE(found);
        }
    });
}

TEST(Reroot, LeavesWhatBranchesCarryOnTheirSplits)
{
    ontrees([](const tree &anc, std::mt19937 *) {
        auto carriedby = [](const tree &a, const std::vector<int> &carried) {
            std::set<std::pair<int, group>> all;
            int low = 0;
            while (!a[low]) ++low;
            for (int n = nt + 1; n < a[nt]; ++n) {
                group g(nt, false);
                for (int t = 0; t < nt; ++t)
                    for (int m = t; a[t] && m != nt; m = a[m]) g[t] = g[t] || m == n;
                if (g[low])
                    for (int t = 0; t < nt; ++t) g[t] = a[t] && !g[t];
                if (carried[n]) all.insert({ carried[n], g });
            }
            return all;
        };
        if (std::count(anc.begin(), anc.begin() + anc[nt], nt) < 3) return;    // a root of two makes one split of two branches
        std::vector<int> carried(nodz, 0);
        for (int n = nt + 1; n < anc[nt]; ++n) carried[n] = n;
        auto before = carriedby(anc, carried);
        for (int t = 0; t < nt; t += some()) {
            if (!anc[t]) continue;
            tree got = anc;
            std::vector<int> moved = carried;
            reroot(got.data(), t, moved.data());
            EXPECT_EQ(carriedby(got, moved), before);
        }
    });
}

TEST(Dichotomize, KeepsEveryGroupAndLeavesNoPolytomy)
{
    ontrees([](const tree &anc, std::mt19937 *) {
        tree got = anc, again = anc;
        dichotomize_tree(got.data(), 5);
        dichotomize_tree(again.data(), 5);
        EXPECT_EQ(got, again);
        checktree(got.data());
        int terminals = int(std::count_if(anc.begin(), anc.begin() + nt, [](int a) { return a != 0; }));
        EXPECT_EQ(countnodes(got.data()), terminals - 1);
        std::multiset<group> before = groupsof(anc), after = groupsof(got);
        EXPECT_TRUE(std::includes(after.begin(), after.end(), before.begin(), before.end()));
    });
}

TEST(Delnodz, DeletesTheMarkedGroupsOnly)
{
    ontrees([](const tree &anc, std::mt19937 *dice) {
        std::vector<int> marks(nodz, 0);
        tree unmarked = anc;
        for (int n = nt + 1; n < anc[nt]; ++n) marks[n] = (*dice)() % 3 == 0;
        std::multiset<group> expected;
        for (int n = nt + 1; n < anc[nt]; ++n) {
            group below(nt, false);
            for (int t = 0; t < nt; ++t)
                for (int m = t; anc[t] && m != nt; m = anc[m]) below[t] = below[t] || m == n;
            if (!marks[n]) expected.insert(below);
        }
        tree got = anc;
        delnodz(got.data(), marks.data());
        checktree(got.data());
        EXPECT_EQ(groupsof(got), expected);
        EXPECT_EQ(got, canonical(got));
    });
}

TEST(Prunetaxa, LeavesTheGroupsOfTheTaxaThatStay)
{
    ontrees([](const tree &anc, std::mt19937 *dice) {
        std::vector<uint8_t> keep(nt);
        for (uint8_t &k : keep) k = (*dice)() % 3 > 0;
        int left = 0;
        for (int t = 0; t < nt; ++t) left += anc[t] && keep[t];
        tree got = anc;
        if (left < 2) {
            EXPECT_FALSE(prunetaxa(got.data(), keep.data()));
            EXPECT_EQ(got, anc);
            return;
        }
        std::set<group> expected, have;
        for (group g : groupsof(anc)) {
            for (int t = 0; t < nt; ++t) g[t] = g[t] && keep[t];
            int size = int(std::count(g.begin(), g.end(), true));
            if (size > 1 && size < left) expected.insert(g);
        }
        ASSERT_TRUE(prunetaxa(got.data(), keep.data()));
        checktree(got.data());
        for (const group &g : groupsof(got)) have.insert(g);
        EXPECT_EQ(have, expected);
        for (int t = 0; t < nt; ++t) EXPECT_EQ(got[t] != 0, anc[t] && keep[t]);
    });
}

TEST(Joinabsent, HangsAbsentTaxaAndTheWholeTreeFromTheRoot)
{
    ontrees([](const tree &anc, std::mt19937 *) {
        tree got = anc;
        joinabsent(got.data());
        checktree(got.data());
        std::multiset<group> expected = groupsof(anc);
        group all(nt, false);
        for (int t = 0; t < nt; ++t) all[t] = anc[t] != 0;
        if (std::count(all.begin(), all.end(), false)) expected.insert(all);
        else EXPECT_EQ(got, anc);
        EXPECT_EQ(groupsof(got), expected);
    });
}

TEST(Treemodel, TakesTreesAsDeepAsTwentyThousandTaxa)
{
    datafor(20000);
    ASSERT_EQ(nt, 20000);
    tree anc = canonical(caterpillar());
    std::vector<int> list(nodz), marks(nodz, 0);
    EXPECT_EQ(mkoptlist(list.data(), anc.data()), nt - 1);
    EXPECT_EQ(mklist(list.data(), anc.data()), nt - 1);
    tree other = anc;
    ASSERT_TRUE(reroot(other.data(), nt - 1));
    ASSERT_TRUE(reroot(other.data(), 0));
    EXPECT_EQ(other, anc);
    for (int n = nt + 1; n < nodz; ++n) marks[n] = 1;
    delnodz(other.data(), marks.data());
    EXPECT_EQ(other[nt], nt + 1);
    dichotomize_tree(other.data(), 1);
    EXPECT_EQ(other[nt], nodz);
    checktree(other.data());
}

TEST(Initnet, IsTheTreeOfTheFirstThreeTaxa)
{
    datafor(6);
    initnet();
    tree expected(nodz, 0);
    expected[0] = nt, expected[1] = expected[2] = nt + 1, expected[nt + 1] = nt, expected[nt] = nt + 2;
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), anx));
    EXPECT_EQ(nodlist[0], nt);
    EXPECT_EQ(nodlist[1], nt + 1);
}
