// Step matrices and continuous characters: the packed score is the plain one; the cost of every clip,
// root and destination is that of scoring the tree it gives; what bounds refuse is above them.
#include "searchtest.h"
#include "slowtest.h"
#include "search/relfit.h"
#include "search/schcollapse.h"
#include "search/keeptrees.h"
#include "search/slowopt.h"

namespace {

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

bool check(int r, int x, int d, double bound)
{
    clipset = x < ntax || !clusters_on ? dnset(x) : branchset(r);
    destset = branchset(d);
    movebound = bound;
    score_checker();
    return second_check(r, d, 0);
}

double original(int x, int s)
{
    int r = x < ntax || !clusters_on ? x : lef[x];
    clipset = x < ntax || !clusters_on ? dnset(x) : branchset(r);
    destset = branchset(s);
    score_original(r, s);
    return movesteps;
}

// Of the moves checked against the plain score, which is slow: all but in the build with tiny tables.
constexpr size_t SPARSE = atmost(30) < 30 ? 7 : 1;

double plainscore(const mixed::data &d, const plain::tree &t) { return dopiwe ? mixed::fits(d, t) : mixed::length(d, t); }

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

void scoresrandomtrees()
{
    std::mt19937 rng(301);
    for (const mixed::kind &k : mixed::kinds) {
        SCOPED_TRACE(k.what);
        for (int trial = 0; trial < atmost(30); ++trial) {
            mixed::data d = mixed::random(rng, 4 + plain::below(rng, 9), 1 + plain::below(rng, 20), k);
            mixed::packing image(d);
            for (int i = 0; i < 6; ++i) {
                plain::tree t = plain::randomtree(rng, d.m.taxa, 0, activetaxa(d.m));
                std::vector<int> anc = packedtree(t);
                ASSERT_NEAR(schoptimize(anc.data(), 3), plainscore(d, t), 1e-9) << "trial " << trial << mixed::readtext(d) << plain::text(t);
            }
        }
    }
}

void everymoveisexact()
{
    mixed::each(302, atmost(3), 8, 10, [](std::mt19937 &, const mixed::data &d, const std::vector<int> &start) {
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
                double home = original(x, s), slack = clipslack;
                std::vector<int> roots{ x }, dests = s == 0 ? std::vector<int>{ 0 } : nodesbelow(rig[ntax]);
                if (x >= ntax && clusters) {
                    roots = nodesbelow(x);
                    roots.erase(std::find(roots.begin(), roots.end(), x));
                }
                struct move { int r, d; double steps; };
                std::vector<move> moves;
                std::map<std::pair<int, int>, double> costs;
                for (int r : roots)
                    for (int to : dests) {
                        ASSERT_TRUE(check(r, x, to, NOBOUND));
                        double steps = movesteps;
                        ASSERT_GE(steps, -slack - 1e-9);
                        ASSERT_TRUE(check(r, x, to, steps));
                        ASSERT_EQ(movesteps, steps);
                        ASSERT_FALSE(check(r, x, to, steps - leastgain()));
                        moves.push_back({ r, to, steps });
                        costs[{ r, to }] = steps;
                    }
                // No cluster check refuses what some member passes.
                for (int i = 0; i < nroots; ++i)
                    for (int j = 0; j < ndests; ++j) {
                        clusrec &here = clusmat[rootlist[i]], &there = clusmat[deslist[j]];
                        for (int a = 0; a < here.nroots; ++a)
                            for (int b = 0; b < there.ndests; ++b) {
                                int r = x < ntax ? x : here.roots[a], to = there.nodes[b];
                                ASSERT_TRUE(check(r, x, to, NOBOUND));
                                double steps = movesteps;
                                for (int kind : { 1, 2 }) {
                                    clipset = kind == 1 ? (x < ntax ? dnset(x) : branchset(r)) : here.uni;
                                    destset = there.uni;
                                    movebound = steps;
                                    score_checker();
                                    ASSERT_TRUE(moveok);
                                    ASSERT_TRUE(kind == 1 ? second_check(deslist[j], r, 1) : second_check(rootlist[i], deslist[j], 2));
                                }
                            }
                    }
                // Two sisters at once cost no more than each of them.
                for (int r : roots)
                    for (int g = ntax + 1; g < hinod; ++g) {
                        if (std::find(dests.begin(), dests.end(), g) == dests.end() || dests.size() < 3) continue;
                        double least = std::min(costs.at({ r, lef[g] }), costs.at({ r, rig[g] }));
                        movebound = least;
                        pair_checker(x < ntax || !clusters ? dnset(x) : branchset(r), branchset(lef[g]), branchset(rig[g]));
                        ASSERT_TRUE(moveok && second_pair_check(r, lef[g], rig[g]));
                        ASSERT_LE(movesteps, least + 1e-9);
                    }
                links before(tree);
                for (size_t i = 0; i < moves.size(); i += SPARSE) {
                    const move &v = moves[i];
                    reroot_clip(v.r, x);
                    unclip_subtree(x, v.d);
                    ASSERT_NEAR(score - home + v.steps, plainscore(d, plaintree(tree.data())), 1e-9)
                        << "clip " << x << " root " << v.r << " to " << v.d;
                    before.putback(&tree);
                }
                unclip_subtree(x, s);
                restore_after_clip(s);
            }
            ASSERT_EQ(plain::shape(plaintree(tree.data())), plain::shape(plaintree(start.data())));
        }
    });
}

void manymoves()
{
    mixed::each(303, atmost(3), 12, 12, [](std::mt19937 &rng, const mixed::data &d, const std::vector<int> &start) {
        std::vector<int> tree = start;
        clusters_on = 1;
        double score = optimize_for_swap(tree.data());
        for (int move = 0; move < 80; ++move) {
            auto [x, s, nroots, ndests] = cliprandomly(rng);
            if (x == ntax) continue;
            int k = rootlist[plain::below(rng, nroots)], r = clusmat[k].roots[plain::below(rng, clusmat[k].nroots)];
            int j = deslist[plain::below(rng, ndests)], to = clusmat[j].nodes[plain::below(rng, clusmat[j].ndests)];
            if (x < ntax) r = x;
            double home = original(x, s);
            ASSERT_TRUE(check(r, x, to, NOBOUND));
            double steps = movesteps;
            if (move % 3 == 0) {
                unclip_subtree(x, s);
                restore_after_clip(s);
                continue;
            }
            score += steps - home;
            settle_place(clipset, r, to);
            if (x >= ntax) reoptimize_clip_path(reroot_clip(r, x), x);
            unclip_subtree(x, to);
            reoptimize_after_clip(to, -1);
            rebuild_clusters();
            ASSERT_NEAR(score, plainscore(d, plaintree(tree.data())), 1e-9) << "move " << move;
        }
        ASSERT_NEAR(schoptimize(tree.data(), 1), score, 1e-9);
    });
}

void addingtaxa()
{
    mixed::each(304, atmost(3), 10, 12, [](std::mt19937 &rng, const mixed::data &d, const std::vector<int> &) {
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
            ASSERT_TRUE(check(t, t, to, NOBOUND));
            score += movesteps;
            settle_place(clipset, t, to);
            unclip_subtree(t, to);
            reoptimize_after_add(t);
            std::vector<int> copy = tree;
            ASSERT_NEAR(partial_schoptimize(copy.data()), score, 1e-9) << t;
            partial_schoptimize(tree.data());
            schoptimize(tree.data(), 3);
        }
        ASSERT_NEAR(score, plainscore(d, plaintree(tree.data())), 1e-9);
        ASSERT_NEAR(partial_schoptimize(tree.data()), score, 1e-9);
    });
}

}  // namespace

TEST(SlowCharacters, ScoreRandomTreesAsPlainOptimizationDoes)      { scoresrandomtrees(); }
TEST(SlowCharacters, TheCostOfEveryClipRootAndDestinationIsExact)  { everymoveisexact(); }
TEST(SlowCharacters, CostsStayExactThroughManyMovesAndRefusals)    { manymoves(); }
TEST(SlowCharacters, TaxaCanBeAddedOneByOne)                       { addingtaxa(); }

TEST(ImpliedWeights, ScoreRandomTreesAsPlainOptimizationDoes)      { mixed::weighting w; scoresrandomtrees(); }
TEST(ImpliedWeights, TheCostOfEveryClipRootAndDestinationIsExact)  { mixed::weighting w("piwe=0.7;"); everymoveisexact(); }
TEST(ImpliedWeights, CostsStayExactThroughManyMovesAndRefusals)    { mixed::weighting w("piwe=12;"); manymoves(); }
TEST(ImpliedWeights, TaxaCanBeAddedOneByOne)                       { mixed::weighting w; addingtaxa(); }

// A branch stands when some character changes on it in every reconstruction.
TEST(SlowCharacters, MarkTheBranchesOnWhichTheyMustChange)
{
    int rule = collapse_level;
    mixed::each(306, 6, 9, 6, [](std::mt19937 &, const mixed::data &d, const std::vector<int> &start) {
        if (!d.cont.empty()) return;
        std::vector<int> tree = start, support(nodz);
        schoptimize(tree.data(), 2);
        set_schcollapser(COLL_RULE1);
        schcollapser(tree.data(), support.data());
        plain::tree t = plaintree(tree.data());
        std::vector<char> stands(t.nodes(), 0);
        for (int c = 0; c < d.m.chars; ++c) {
            if (!d.m.active[c] || !d.m.weight[c]) continue;
            auto sets = plain::finalsets(d.m, t, c);
            for (int n = d.m.taxa + 1; n < t.nodes(); ++n) stands[n] |= t.anc[n] != plain::tree::NONE && !(sets[n] & sets[t.anc[n]]);
        }
        for (int n = ntax + 1; n < hinod; ++n) {
            if (tree[n] == ntax) continue;
            ASSERT_EQ(bool(support[n]), bool(stands[backfrompack[n]])) << n << mixed::readtext(d) << plain::text(t);
        }
    });
    set_schcollapser(rule);
}

// F is what the characters lose that fit better elsewhere, C what the others gain.
TEST(SlowCharacters, RelativeFitIsThatOfTheWholeTrees)
{
    relative_suboptimal = 0.5;
    mixed::each(305, 2, 8, 10, [](std::mt19937 &rng, const mixed::data &d, const std::vector<int> &start) {
        for (int c = 0; c < d.m.chars; ++c)
            if (d.m.additive[c] && !d.m.bycosts(c)) return;          // thresholds count one by one
        std::vector<int> tree = start;
        clusters_on = 1;
        optimize_for_swap(tree.data());
        plain::tree whole = plaintree(tree.data());
        for (int x = 1; x < hinod; ++x) {
            int s = sis[x], nroots, ndests;
            if (x == ntax || s == 0) continue;
            clip_subtree(x);
            reassign_clusters(x, s, &nroots, &ndests);
            reoptimize_after_clip(s, x);
            int r = x < ntax ? x : lef[x];
            double cost = original(x, s);
            EXPECT_GE(fill_onclip_diff(r, clipset, s), std::floor(cost));
            std::vector<int> dests = nodesbelow(rig[ntax]);
            int to = dests[plain::below(rng, int(dests.size()))];
            double found = relative_fit_difference(r, clipset, to);
            links before(tree);
            unclip_subtree(x, to);
            plain::tree moved = plaintree(tree.data());
            double favors = 0, contradicts = 0;
            auto count = [&](double weight, double was, double now) { (was > now ? favors : contradicts) += weight * std::abs(was - now); };
            for (int c = 0; c < d.m.chars; ++c)
                if (d.m.active[c]) count(d.m.weight[c], plain::steps(d.m, whole, c), plain::steps(d.m, moved, c));
            for (size_t c = 0; c < d.cont.size(); ++c)
                count(d.contweight[c] / 1000.0, double(mixed::contsteps(d, whole, int(c))), double(mixed::contsteps(d, moved, int(c))));
            double expected = std::abs(favors - contradicts) < 1e-9 ? 0
                            : favors > contradicts ? -(favors - contradicts) / favors : (contradicts - favors) / contradicts;
            ASSERT_NEAR(found, expected, 1e-9) << "clip " << x << " to " << to;
            before.putback(&tree);
            unclip_subtree(x, s);
            restore_after_clip(s);
        }
    });
    relative_suboptimal = 0;
}

// Concavities of characters, constant weights, base steps.
TEST(ImpliedWeights, MovesAreExactUnderFunctionsOfEachCharacter)
{
    for (const char *settings : { "ccode =1 .;", "xpiwe=;xpiwe/2x3 0.3;", "xpiwe=;xpiwe(*0.5;" }) {
        SCOPED_TRACE(settings);
        mixed::weighting w;
        mixed::moresettings = settings;
        manymoves();
        mixed::moresettings.clear();
        zelrun("xpiwe-;");
        if (testing::Test::HasFatalFailure()) return;
    }
}
