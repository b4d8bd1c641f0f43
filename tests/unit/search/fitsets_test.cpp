// Weighting sets in searches: the score of a tree is the plain one, every move costs what scoring the tree
// it gives does, no bound refuses what it should not, and searches end where nothing is better.
#include "slowtest.h"
#include "searchtest.h"
#include "search/fits.h"
#include "search/fitsets.h"
#include "search/relfit.h"
#include "search/wagner.h"
#include "trees/lightopt.h"

namespace {

struct nosets { ~nosets() { mixed::moresettings.clear(); zelrun("xpiwe-;piwe-;"); } };

// How characters are shared among sets; "." is made a list of all of them.
const char *const sharings[] = {
    "xpiwe[;",                               // all in one
    "xpiwe[=2;",                             // pairs, in order
    "xpiwe[/12:3;",                          // by position
    "xpiwe[ 0.3;",                           // some in none
    "xpiwe[=3;xpiwe/2x3 1.2;",               // with constant weights
    "xpiwe[ 0.4;xpiwe(*0.5;",                // concavities
    "ccode =1 .;xpiwe[=4;",                  // base steps
};

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

struct links {
    std::vector<int> anc, l, r, s;
    explicit links(const std::vector<int> &tree) : anc(tree), l(lef, lef + hinod), r(rig, rig + hinod), s(sis, sis + hinod) {}
    void putback(std::vector<int> *tree) const
    {
        std::copy(anc.begin(), anc.end(), tree->begin());
        std::copy(l.begin(), l.end(), lef);
        std::copy(r.begin(), r.end(), rig);
        std::copy(s.begin(), s.end(), sis);
    }
};

const uint32_t *rowof(int r) { return clusters_on ? branchset(r) : dnset(r); }

bool check(const uint32_t *a, const uint32_t *b, double bound)
{
    clipset = a;
    destset = b;
    movebound = bound;
    score_checker();
    return moveok;
}

// One way of sharing a data set and a random tree of it.
template<class F> void eachsharing(unsigned seed, int taxa, int chars, F f)
{
    nosets undo;
    mixed::weighting w("piwe=2.5;");
    std::mt19937 rng(seed);
    for (const mixed::kind &k : mixed::kinds) {
        const char *sharing = sharings[plain::below(rng, int(std::size(sharings)))];
        SCOPED_TRACE(std::string(k.what) + " " + sharing);
        mixed::data d = mixed::random(rng, taxa, chars, k);
        mixed::packing image(d, sharing);
        ASSERT_GT(fitsets, 0);
        f(rng, d, packedtree(plain::randomtree(rng, taxa, 0, activetaxa(d.m))));
        if (testing::Test::HasFatalFailure()) return;
    }
}

}  // namespace

TEST(WeightingSets, ScoreRandomTreesAsPlainOptimizationAndReportsDo)
{
    nosets undo;
    mixed::weighting w;
    std::mt19937 rng(601);
    for (const mixed::kind &k : mixed::kinds)
        for (const char *sharing : sharings) {
            SCOPED_TRACE(std::string(k.what) + " " + sharing);
            mixed::data d = mixed::random(rng, 9, 12, k);
            d.m.taxactive.assign(d.m.taxa, 1);
            std::vector<std::vector<int>> trees;
            std::vector<double> packed;
            {
                mixed::packing image(d, sharing);
                for (int i = 0; i < 4; ++i) {
                    plain::tree t = plain::randomtree(rng, d.m.taxa);
                    std::vector<int> anc = packedtree(t);
                    packed.push_back(schoptimize(anc.data(), 1));
                    ASSERT_NEAR(packed.back(), mixed::fits(d, t), 1e-9) << mixed::readtext(d);
                    trees.push_back(plain::stored(t));
                    trees.back().resize(size_t(nodz));
                }
            }
            optmem();
            for (size_t i = 0; i < trees.size(); ++i) ASSERT_NEAR(packed[i], packdownpass(trees[i].data()), 1e-9);
        }
}

TEST(WeightingSets, TheCostOfEveryClipRootAndDestinationIsExactAndBoundsAreBelowIt)
{
    const size_t sparse = atmost(30) < 30 ? 9 : 2;
    eachsharing(602, 8, 10, [&](std::mt19937 &, const mixed::data &d, const std::vector<int> &start) {
        for (int clusters : { 1, 0 }) {
            std::vector<int> tree = start;
            clusters_on = clusters;
            double score = optimize_for_swap(tree.data());
            for (int x = 1; x < hinod; ++x) {
                if (x == ntax) continue;
                int s = sis[x], nroots = 0, ndests = 0;
                clip_subtree(x);
                if (clusters) reassign_clusters(x, s, &nroots, &ndests);
                reoptimize_after_clip(s, x);
                int home = x < ntax || !clusters ? x : lef[x];
                clipset = rowof(home);
                destset = branchset(s);
                score_original(home, s);
                double original = movesteps;
                std::vector<int> roots{ x }, dests = s == 0 ? std::vector<int>{ 0 } : nodesbelow(rig[ntax]);
                if (x >= ntax && clusters) {
                    roots = nodesbelow(x);
                    roots.erase(std::find(roots.begin(), roots.end(), x));
                }
                std::map<std::pair<int, int>, double> costs;
                for (int r : roots)
                    for (int to : dests) {
                        ASSERT_TRUE(check(rowof(r), branchset(to), NOBOUND) && second_check(r, to, 0));
                        costs[{ r, to }] = movesteps;
                    }
                for (auto [place, steps] : costs) {
                    auto [r, to] = place;
                    ASSERT_TRUE(check(rowof(r), branchset(to), steps) && second_check(r, to, 0)) << steps;
                    ASSERT_EQ(movesteps, steps);
                    ASSERT_FALSE(check(rowof(r), branchset(to), steps - leastgain()) && second_check(r, to, 0));
                }
                for (int i = 0; i < nroots; ++i)
                    for (int j = 0; j < ndests; ++j) {
                        clusrec &here = clusmat[rootlist[i]], &there = clusmat[deslist[j]];
                        for (int a = 0; a < here.nroots; ++a)
                            for (int b = 0; b < there.ndests; ++b) {
                                int r = x < ntax ? x : here.roots[a];
                                double steps = costs.at({ r, there.nodes[b] });
                                ASSERT_TRUE(check(rowof(r), there.uni, steps) && second_check(deslist[j], r, 1));
                                ASSERT_LE(movesteps, steps + 1e-9);
                                ASSERT_TRUE(check(here.uni, there.uni, steps) && second_check(rootlist[i], deslist[j], 2));
                            }
                    }
                for (int r : roots)
                    for (int g = ntax + 1; g < hinod; ++g) {
                        if (!std::count(dests.begin(), dests.end(), g) || dests.size() < 3) continue;
                        double least = std::min(costs.at({ r, lef[g] }), costs.at({ r, rig[g] }));
                        movebound = least;
                        pair_checker(rowof(r), branchset(lef[g]), branchset(rig[g]));
                        ASSERT_TRUE(moveok && second_pair_check(r, lef[g], rig[g]));
                        ASSERT_LE(movesteps, least + 1e-9);
                    }
                links before(tree);
                size_t at = 0;
                for (auto [place, steps] : costs) {
                    if (at++ % sparse) continue;
                    auto [r, to] = place;
                    reroot_clip(r, x);
                    unclip_subtree(x, to);
                    ASSERT_NEAR(score - original + steps, mixed::fits(d, plaintree(tree.data())), 1e-9)
                        << "clip " << x << " root " << r << " to " << to;
                    before.putback(&tree);
                }
                unclip_subtree(x, s);
                restore_after_clip(s);
            }
            ASSERT_NEAR(schoptimize(tree.data(), 1), score, 1e-12);
        }
    });
}

TEST(WeightingSets, CostsStayExactThroughManyMovesAndRefusals)
{
    eachsharing(603, 12, 12, [](std::mt19937 &rng, const mixed::data &d, const std::vector<int> &start) {
        std::vector<int> tree = start;
        clusters_on = 1;
        double score = optimize_for_swap(tree.data());
        for (int move = 0; move < 60; ++move) {
            auto [x, s, nroots, ndests] = cliprandomly(rng);
            if (x == ntax) continue;
            int k = rootlist[plain::below(rng, nroots)], r = clusmat[k].roots[plain::below(rng, clusmat[k].nroots)];
            int j = deslist[plain::below(rng, ndests)], to = clusmat[j].nodes[plain::below(rng, clusmat[j].ndests)];
            int home = x < ntax ? x : lef[x];
            if (x < ntax) r = x;
            clipset = rowof(home);
            destset = branchset(s);
            score_original(home, s);
            double original = movesteps;
            ASSERT_TRUE(check(rowof(r), branchset(to), NOBOUND) && second_check(r, to, 0));
            if (move % 3 == 0) {
                unclip_subtree(x, s);
                restore_after_clip(s);
                continue;
            }
            score += movesteps - original;
            settle_place(rowof(r), r, to);
            if (x >= ntax) reoptimize_clip_path(reroot_clip(r, x), x);
            unclip_subtree(x, to);
            reoptimize_after_clip(to, -1);
            rebuild_clusters();
            ASSERT_NEAR(score, mixed::fits(d, plaintree(tree.data())), 1e-9) << "move " << move;
        }
        ASSERT_NEAR(schoptimize(tree.data(), 1), score, 1e-9);
    });
}

TEST(WeightingSets, TaxaCanBeAddedOneByOne)
{
    eachsharing(604, 10, 12, [](std::mt19937 &rng, const mixed::data &d, const std::vector<int> &) {
        std::vector<int> tree(nodz, 0);
        tree[0] = ntax;
        tree[1] = tree[2] = ntax + 1;
        tree[ntax + 1] = ntax;
        tree[ntax] = ntax + 2;
        clusters_on = 0;
        double score = schoptimize(tree.data(), 3);
        for (int t = 3; t < ntax; ++t) {
            std::vector<int> places = nodesbelow(rig[ntax]);
            int to = places[plain::below(rng, int(places.size()))];
            tree[t] = tree[ntax]++;
            ASSERT_TRUE(check(dnset(t), branchset(to), NOBOUND) && second_check(t, to, 0));
            score += movesteps;
            settle_place(clipset, t, to);
            unclip_subtree(t, to);
            reoptimize_after_add(t);
            std::vector<int> copy = tree;
            ASSERT_NEAR(partial_schoptimize(copy.data()), score, 1e-9) << t;
            partial_schoptimize(tree.data());
            schoptimize(tree.data(), 3);
        }
        ASSERT_NEAR(score, mixed::fits(d, plaintree(tree.data())), 1e-9);
    });
}

// Shares of the fit of a set: each field's part of the homoplasy.
TEST(WeightingSets, RelativeFitIsTheDifferenceOfSharesOnWholeTrees)
{
    relative_suboptimal = 0.5;
    eachsharing(605, 8, 10, [](std::mt19937 &rng, const mixed::data &d, const std::vector<int> &start) {
        std::vector<int> tree = start;
        clusters_on = 1;
        optimize_for_swap(tree.data());
        std::set<int> packed;                                        // constant ones have no fields
        for (int i = 0; i < totnc; ++i) packed.insert(indcc[i].character);
        for (int i = 0; i < num_cont; ++i) packed.insert(contcodes[i].character);
        auto shares = [&](const plain::tree &t) {
            std::map<int, double> total;
            std::vector<std::pair<int, double>> fields;              // set, weighted homoplasy; 0 and the fit where there is none
            std::vector<double> all;
            mixed::eachhomoplasy(d, t, [&](int c, int weight, const std::vector<double> &hs) {
                for (double h : hs) {
                    if (in_wtset(c)) total[xdopiwe_isinset_user[c]] += weight * h;
                    if (!packed.count(c)) continue;
                    if (in_wtset(c)) {
                        fields.push_back({ xdopiwe_isinset_user[c], weight * h });
                    } else fields.push_back({ 0, weight * charfit(c, h) });
                }
            });
            for (auto [set, h] : fields) all.push_back(!set ? h : total[set] > 0 ? h * wtset_fit(set, total[set]) / total[set] : 0);
            return all;
        };
        std::vector<double> was = shares(plaintree(tree.data()));
        for (int x = 1; x < hinod; ++x) {
            int s = sis[x], nroots, ndests;
            if (x == ntax || s == 0) continue;
            clip_subtree(x);
            reassign_clusters(x, s, &nroots, &ndests);
            reoptimize_after_clip(s, x);
            int r = x < ntax ? x : lef[x];
            clipset = rowof(r);
            destset = branchset(s);
            score_original(r, s);
            fill_onclip_diff(r, clipset, s);
            std::vector<int> dests = nodesbelow(rig[ntax]);
            int to = dests[plain::below(rng, int(dests.size()))];
            double found = relative_fit_difference(r, clipset, to);
            links before(tree);
            unclip_subtree(x, to);
            std::vector<double> is = shares(plaintree(tree.data()));
            double favors = 0, contradicts = 0;
            for (size_t i = 0; i < is.size(); ++i) (was[i] > is[i] ? favors : contradicts) += std::abs(was[i] - is[i]);
            double expected = std::abs(favors - contradicts) < 1e-9 ? 0
                            : favors > contradicts ? -(favors - contradicts) / favors : (contradicts - favors) / contradicts;
            ASSERT_NEAR(found, expected, 1e-7) << "clip " << x << " to " << to;
            before.putback(&tree);
            unclip_subtree(x, s);
            restore_after_clip(s);
        }
    });
    relative_suboptimal = 0;
}

// Costs of a step that go up as well as down.
TEST(WeightingSets, FunctionsOfTheUserBoundFromBelowToo)
{
    nosets undo;
    std::mt19937 rng(606);
    mixed::kind k = { "states", { 8, 4, 10, 10, 20, 0, 0, 3, 1 }, 0, mixed::ANYCOSTS, 0 };
    for (int trial = 0; trial < atmost(6); ++trial) {
        mixed::weighting w("piwe=3;");
        mixed::data d = mixed::random(rng, 9, 14, k);
        mixed::packing image(d, "piwe[1 .2 2 0 .7 .5 .1;xpiwe[=5;");
        std::vector<int> tree = packedtree(plain::randomtree(rng, 9));
        clusters_on = 1;
        double score = optimize_for_swap(tree.data());
        ASSERT_NEAR(score, mixed::fits(d, plaintree(tree.data())), 1e-9);
        for (int x = 1; x < ntax; ++x) {
            int s = sis[x];
            clip_subtree(x);
            reoptimize_after_clip(s, x);
            clipset = rowof(x);
            destset = branchset(s);
            score_original(x, s);
            double original = movesteps;
            for (int to : s == 0 ? std::vector<int>{ 0 } : nodesbelow(rig[ntax])) {
                ASSERT_TRUE(check(rowof(x), branchset(to), NOBOUND) && second_check(x, to, 0));
                double steps = movesteps;
                ASSERT_TRUE(check(rowof(x), branchset(to), steps) && second_check(x, to, 0));
                links before(tree);
                unclip_subtree(x, to);
                ASSERT_NEAR(score - original + steps, mixed::fits(d, plaintree(tree.data())), 1e-9);
                before.putback(&tree);
            }
            unclip_subtree(x, s);
            restore_after_clip(s);
        }
        zelrun("piwe];");
    }
}

// A set of one character of weight 1 is that character.
TEST(WeightingSets, SetsOfOneCharacterAreNoSets)
{
    nosets undo;
    std::mt19937 rng(607);
    mixed::kind k = { "states", { 8, 4, 10, 10, 0, 0, 0, 1, 1 }, 0, mixed::ANYCOSTS, 0 };
    mixed::weighting w;
    mixed::data d = mixed::random(rng, 10, 15, k);
    plain::tree t = plain::randomtree(rng, 10);
    double scores[2];
    for (int sets : { 0, 1 }) {
        mixed::packing image(d, sets ? "xpiwe[=1;" : "");
        EXPECT_EQ(fitsets, sets * 15);
        std::vector<int> anc = packedtree(t);
        scores[sets] = schoptimize(anc.data(), 1);
    }
    EXPECT_NEAR(scores[0], scores[1], 1e-9);
}

TEST(WeightingSets, MoreThanASetCodeCanTellAreRefused)
{
    zelrun("");                      // boots
    EXPECT_TRUE(safecall([] { refuse_too_many_sets(MOSTWEIGHTSETS); }));
    EXPECT_FALSE(safecall([] { refuse_too_many_sets(MOSTWEIGHTSETS + 1); }));
    EXPECT_NE(zelrun("").find("Sorry, cannot run searches with more than 268435455 active weight sets"), std::string::npos);
}
