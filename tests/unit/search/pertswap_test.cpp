// The random walk of perturbed searches, clip orders, and relative fit differences.
#include "searchtest.h"
#include "slowtest.h"
#include "kernel/random.h"
#include "search/cliporder.h"
#include "search/keeptrees.h"
#include "search/pertswap.h"
#include "search/setup.h"
#include "search/status.h"
#include <cmath>
#include <memory>

namespace {

struct limits {
    double s = suboptimal, r = relative_suboptimal;
    limits(double n, double relative) { suboptimal = n, relative_suboptimal = relative; }
    ~limits() { suboptimal = s, relative_suboptimal = r; }
};

struct factor {                                      // the tests set also what "drift" would refuse
    double was = dftxfactor;
    explicit factor(double x) { dftxfactor = x; }
    ~factor() { dftxfactor = was; }
};

plain::tree unpacked(const int *packed)
{
    std::vector<int> anc(packed, packed + nodz);
    unpack_one_tree(anc.data());
    return plain::fromstored(anc.data(), nt);
}

// A walk from the first tree in memory.
struct walked {
    plain::tree end;
    double score;
    unsigned long moves, tried;
    int island;
};
walked walk(int seed, int worse, int moves, int giveup)
{
    searchframe frame(bbreakcom);
    schgettree(mem_tree[0]);
    ranseed = seed;
    walked w;
    w.score = perttbrswap(anx, worse, moves, giveup);
    w.end = unpacked(anx);
    w.moves = acceprearrangs;
    w.tried = numrearrangs;
    w.island = single_tree_island;
    ranseed = 1;
    return w;
}

}  // namespace

TEST(PerturbedSwap, WandersAmongTreesThatAreNoWorse)
{
    std::mt19937 rng(801);
    int moved = 0;
    for (int trial = 0; trial < atmost(44); ++trial) {
        plain::data m = plain::randommatrix(rng, 6 + trial % 12, 4 + plain::below(rng, 12), kinds()[trial % kinds().size()]);
        m.taxactive.assign(m.taxa, 1);
        use(m);
        plain::tree start = plain::randomtree(rng, m.taxa);
        usetrees({ start });
        walked w = walk(trial + 1, 0, 12, 0);
        EXPECT_EQ(w.score, double(plain::length(m, w.end)));
        EXPECT_LE(w.score, double(plain::length(m, start)));
        EXPECT_LE(w.moves, 12u);
        moved += w.moves == 12;
        if (w.moves < 12) {                          // it ended where every move is worse
            long n = plain::length(m, w.end);
            neighbours(w.end, true, [&](const plain::tree &u) { EXPECT_TRUE(plain::length(m, u) > n || plain::shape(u) == plain::shape(w.end)); });
            EXPECT_EQ(w.island, w.moves == 0);
        }
        EXPECT_EQ(plain::text(walk(trial + 1, 0, 12, 0).end), plain::text(w.end)) << "the same seed gives the same walk";
    }
    EXPECT_GT(moved, 0);
    zelrun("keep 0;");
}

TEST(PerturbedSwap, AcceptsWorseTreesWithinTheLimits)
{
    std::mt19937 rng(802);
    int worse = 0;
    for (int trial = 0; trial < atmost(33); ++trial) {
        plain::data m = plain::randommatrix(rng, 10 + trial % 6, 20, kinds()[trial % kinds().size()]);
        m.taxactive.assign(m.taxa, 1);
        use(m);
        usetrees({ plain::randomtree(rng, m.taxa) });
        zelrun("bbreak=nomulpars; bbreak:mulpars;");
        double start = plain::length(m, kept(0));
        {
            limits l(3, 0.6);
            walked w = walk(trial + 1, 1, 1, 0);
            EXPECT_EQ(w.score, double(plain::length(m, w.end)));
            EXPECT_LE(w.score, start + 3) << "one move is no worse than the limit";
            worse += w.score > start;
        }
        limits l(3, 0);                              // nothing that is contradicted more than it is favored
        walked w = walk(trial + 1, 1, 20, 0);
        EXPECT_LE(w.score, start);
    }
    EXPECT_GT(worse, 0);
    zelrun("keep 0;");
}

TEST(PerturbedSwap, NeverAcceptsWorseTreesWithoutAChance)
{
    std::mt19937 rng(803);
    plain::data m = plain::randommatrix(rng, 12, 30, { 8, 3, 0 });
    use(m);
    usetrees({ plain::randomtree(rng, 12) });
    zelrun("bbreak=nomulpars; bbreak:mulpars;");
    double start = plain::length(m, kept(0));
    factor none(-1);                                 // the chance of each is then 0
    limits l(5, 1);
    for (int seed = 1; seed < 6; ++seed) EXPECT_LE(walk(seed, 1, 5, 0).score, start);
    zelrun("keep 0;");
}

// Of 0 (1 (2 3)), with k characters for (2 3) and j for (1 3), the moves to 0 (2 (1 3)) cost k and gain j; all other
// moves are beyond the limit.  They are offered once for each terminal clipped, and once as another root of the rest.
TEST(PerturbedSwap, AcceptsAWorseTreeWithTheChanceOfTheRule)
{
    constexpr int OFFERS = 4, RUNS = 1500;
    const struct { int k, j; double x; } cases[] = { { 5, 3, 0 }, { 5, 3, 1 }, { 5, 3, 3 }, { 6, 4, 0.5 }, { 4, 3, -0.5 }, { 9, 4, 1.5 }, { 3, 1, 0 } };
    for (auto &c : cases) {
        SCOPED_TRACE(std::to_string(c.k) + " against " + std::to_string(c.j));
        std::vector<std::string> rows(4);
        for (int t = 0; t < 4; ++t) rows[size_t(t)] = std::string(size_t(c.k), "0011"[t]) + std::string(size_t(c.j), "0101"[t]);
        use(plain::fromrows(rows));
        zelrun("keep 0; procedure " + writefile("quartet.trees", "tread (0 (1 (2 3)));\nprocedure/;\n") + ";");
        double worse = c.k - c.j;
        factor x(c.x);
        limits l(worse, 1);
        int stayed = 0, accepted = 0, runs = atmost(RUNS);
        for (int r = 0; r < 100; ++r) accepted += r / (100 * worse) * (1 + c.x) >= worse / c.k;
        for (int seed = 1; seed <= runs; ++seed) {
            walked w = walk(seed, 1, 1, 0);
            EXPECT_TRUE(w.moves ? w.score == c.k + 2 * c.j + worse : w.score == c.k + 2 * c.j);
            stayed += !w.moves;
        }
        double expected = std::pow(1 - accepted / 100.0, OFFERS), deviation = std::sqrt(runs * expected * (1 - expected));
        EXPECT_NEAR(stayed, runs * expected, 4 * deviation + 2);
    }
    zelrun("keep 0;");
}

// With these factors the chance of a first worse move of 1 step is there, and once the tree lies a step above its start, none.
TEST(PerturbedSwap, AcceptsTheLessTheFartherItIsAboveItsStart)
{
    std::mt19937 rng(808);
    int above = 0;
    for (int trial = 0; trial < 30; ++trial) {
        plain::data m = plain::randommatrix(rng, 12, 6, kinds()[0]);      // a move contradicts 6 at most: a difference of 1/6 or more
        m.taxactive.assign(m.taxa, 1);
        use(m);
        usetrees({ plain::randomtree(rng, m.taxa) });
        zelrun("bbreak=nomulpars; bbreak:mulpars;");
        double start = plain::length(m, kept(0));
        factor x(-0.5);
        limits l(5, 1);
        for (int seed = 1; seed <= 6; ++seed) {
            walked w = walk(seed, 1, 1 + plain::below(rng, 12), 0);
            EXPECT_LE(w.score, start + 1);
            above += w.score > start;
        }
    }
    EXPECT_GT(above, 0);
    zelrun("keep 0;");
}

// No difference is above 1, so that higher limits are none.
TEST(PerturbedSwap, TakesARelativeLimitOfOneOrMoreAsNone)
{
    std::mt19937 rng(809);
    for (int trial = 0; trial < atmost(12); ++trial) {
        plain::data m = plain::randommatrix(rng, 12, 20, kinds()[trial % kinds().size()]);
        m.taxactive.assign(m.taxa, 1);
        use(m);
        usetrees({ plain::randomtree(rng, m.taxa) });
        std::string walks[3];
        const double relative[] = { 1, 1.5, 1000 };
        for (int i = 0; i < 3; ++i) {
            limits l(2, relative[i]);
            walked w = walk(trial + 1, 1, 15, 0);
            walks[i] = plain::text(w.end) + std::to_string(w.moves);
            EXPECT_GT(w.moves, 0u);
        }
        EXPECT_EQ(walks[0], walks[1]);
        EXPECT_EQ(walks[0], walks[2]);
    }
    zelrun("keep 0;");
}

// Also where scores have fractions.
TEST(PerturbedSwap, EndsOnlyWhereEveryMoveIsWorse)
{
    std::mt19937 rng(810);
    int ended = 0;
    for (const char *weights : { "", "piwe=3;" })
        for (const mixed::kind &k : mixed::kinds)
            for (int trial = 0; trial < atmost(6); ++trial) {
                SCOPED_TRACE(std::string(k.what) + weights);
                zelrun(std::string("piwe-;") + weights);
                mixed::data d = mixed::random(rng, 6, 5, k);
                d.m.taxactive.assign(d.m.taxa, 1);
                zelrun("mxram 32; procedure " + writefile("ends.xread", mixed::readtext(d)) + ";");
                ASSERT_FALSE(zelfailed());
                if (dopiwe) set_fit_minima();
                usetrees({ plain::randomtree(rng, d.m.taxa) });
                auto score = [&](const plain::tree &t) { return dopiwe ? mixed::fits(d, t) : mixed::length(d, t); };
                walked w = walk(trial + 1, 0, 60, 0);
                EXPECT_NEAR(w.score, score(w.end), 1e-7);
                if (w.moves == 60) continue;
                ++ended;
                neighbours(w.end, true, [&](const plain::tree &u) {
                    EXPECT_TRUE(plain::shape(u) == plain::shape(w.end) || score(u) > w.score + 1e-9) << plain::text(u);
                });
            }
    EXPECT_GT(ended, 0);
    zelrun("piwe-; keep 0;");
}

TEST(PerturbedSwap, GivesUpAfterAShareOfTheClips)
{
    use(plain::blankmatrix(21, 2));
    std::mt19937 rng(804);
    usetrees({ plain::randomtree(rng, 21) });
    walked whole = walk(3, 0, 1000000, 100), part = walk(3, 0, 1000000, 25);
    EXPECT_LT(part.tried, whole.tried);
    // 41 nodes: every clip of terminals and groups has equal moves; 25 percent are exceeded after 11
    EXPECT_LE(part.moves, 11u);
    EXPECT_GE(part.moves, 8u);
    zelrun("keep 0;");
}

TEST(PerturbedSwap, ServesDataOfEveryKind)
{
    std::mt19937 rng(805);
    for (bool implied : { false, true }) {
        std::unique_ptr<mixed::weighting> w(implied ? new mixed::weighting : nullptr);
        for (const mixed::kind &k : mixed::kinds)
            for (int worse : { 0, 1 }) {
                SCOPED_TRACE(k.what);
                mixed::data d = mixed::random(rng, 9, 8, k);
                d.m.taxactive.assign(d.m.taxa, 1);
                zelrun("mxram 32;");
                zelrun("procedure " + writefile("pert.xread", mixed::readtext(d)) + ";");
                ASSERT_FALSE(zelfailed());
                if (dopiwe) set_fit_minima();
                usetrees({ plain::randomtree(rng, d.m.taxa) });
                limits l(implied ? 0.3 : 2, 0.7);
                walked v = walk(7, worse, 15, 0);
                EXPECT_NEAR(v.score, dopiwe ? mixed::fits(d, v.end) : mixed::length(d, v.end), 1e-7);
            }
    }
    zelrun("keep 0;");
}

TEST(ClipOrder, BeginsWithTheBranchesThatCostMost)
{
    std::mt19937 rng(806);
    plain::data m = plain::randommatrix(rng, 14, 30, { 8, 3, 5 });
    use(m);
    usetrees({ plain::randomtree(rng, 14) });
    searchframe frame(bbreakcom);
    schgettree(mem_tree[0]);
    clusters_on = 1;
    double score = optimize_for_swap(anx);
    std::vector<int> list(size_t(hinod) + 1);
    create_clip_list(list.data());
    std::set<int> all(list.begin(), list.begin() + hinod);
    EXPECT_EQ(int(all.size()), hinod);
    // What a clip costs: the whole tree less the two pieces it falls into.
    auto cost = [&](int x) {
        if (x == 0 || x == ntax) return -1L;
        plain::tree t = unpacked(anx);
        std::vector<int> one(size_t(ntax) * 2, 0);
        plain::data in = m, out = m;
        uint64_t members = 0;
        for (int n = 0; n < ntax; ++n) {
            int a = n;
            while (a != x && a != ntax) a = anx[a];
            if (a == x) members |= uint64_t(1) << backfrompack[n];
        }
        for (int n = 0; n < m.taxa; ++n)
            for (int c = 0; c < m.chars; ++c) (members >> n & 1 ? out : in).cells[n][c] = plain::ANY;
        return plain::length(m, t) - plain::length(in, t) - plain::length(out, t);
    };
    for (int i = 1; i < hinod; ++i) EXPECT_GE(cost(list[i - 1]), cost(list[i])) << i;
    EXPECT_EQ(optimize_for_swap(anx), score);
}

TEST(ClipOrder, LeadsToTreesThatNoMoveMakesBetter)
{
    std::mt19937 rng(807);
    for (int trial = 0; trial < atmost(22); ++trial) {
        plain::data m = plain::randommatrix(rng, 5 + trial % 9, 12, kinds()[trial % kinds().size()]);
        m.taxactive.assign(m.taxa, 1);
        use(m);
        usetrees({ plain::randomtree(rng, m.taxa) });
        std::string report = zelrun("bbreak=nomulpars preproc;");
        ASSERT_FALSE(zelfailed()) << report;
        plain::tree end = kept(0);
        neighbours(end, true, [&](const plain::tree &u) { EXPECT_GE(plain::length(m, u), plain::length(m, end)); });
    }
    zelrun("bbreak:mulpars nopreproc; keep 0;");
}

namespace {

double relativedifference(const plain::data &m, const plain::tree &from, const plain::tree &to)
{
    double favors = 0, contradicts = 0;
    for (int c = 0; c < m.chars; ++c) {
        double more = (plain::steps(m, to, c) - plain::steps(m, from, c)) * m.weight[c];
        (more > 0 ? contradicts : favors) += std::fabs(more);
    }
    if (favors == contradicts) return 0;
    return favors > contradicts ? -(favors - contradicts) / favors : (contradicts - favors) / contradicts;
}

// All that moves within the limits reach, one from the other, starting at an optimal tree.
template<class ADMITS> shapes island(const plain::tree &start, bool rerooted, ADMITS admits)
{
    shapes found{ plain::shape(start) };
    std::vector<plain::tree> open{ start };
    for (size_t i = 0; i < open.size(); ++i) {
        plain::tree t = open[i];
        neighbours(t, rerooted, [&](const plain::tree &u) {
            if (admits(t, u) && found.insert(plain::shape(u)).second) open.push_back(u);
        });
    }
    return found;
}

void islands(bool rerooted, int excess, double relative, unsigned seed)
{
    std::mt19937 rng(seed);
    rulefor none(nocollapse);
    size_t restricted = 0;
    for (int trial = 0; trial < atmost(24); ++trial) {
        // unordered characters: what a field gains or loses is what the character does
        plain::data m = plain::randommatrix(rng, 6 + trial % 2, 6 + plain::below(rng, 8), { 8, 2 + trial % 3, trial % 3 * 8, 0, 0, 0, 0, 1 + trial % 3, 1 });
        use(m);
        zelrun("hold 1000; subopt 0; ienum;");
        ASSERT_FALSE(zelfailed());
        plain::tree start = kept(0);
        usetrees({ start });
        double best = double(plain::length(m, start));
        char text[64];
        snprintf(text, sizeof text, "subopt %i x %.3f;", excess, relative);
        zelrun(text);
        std::string report = zelrun(rerooted ? "bbreak=tbr mulpars;" : "bbreak=spr mulpars;");
        ASSERT_FALSE(zelfailed()) << report;
        auto within = [&](const plain::tree &u) { return double(plain::length(m, u)) <= best + excess; };
        shapes expected = island(start, rerooted, [&](const plain::tree &t, const plain::tree &u) {
            return within(u) && (!relative || relativedifference(m, t, u) <= relative + 1e-9);
        });
        EXPECT_TRUE(keptshapes() == expected) << "trial " << trial << ": " << trees_in_mem << " of " << expected.size();
        if (relative) restricted += expected.size() < island(start, rerooted, [&](const plain::tree &, const plain::tree &u) { return within(u); }).size();
    }
    EXPECT_TRUE(!relative || restricted);
    zelrun("subopt 0 x 0; bbreak:tbr mulpars; keep 0; hold 100;");
}

}  // namespace

TEST(Islands, OfEqualTreesAreFoundWholeByTbr)                 { islands(true, 0, 0, 811); }
TEST(Islands, OfEqualTreesAreFoundWholeBySpr)                 { islands(false, 0, 0, 812); }
TEST(Islands, OfSuboptimalTreesAreFoundWholeByTbr)            { islands(true, 2, 0, 813); }
TEST(Islands, OfSuboptimalTreesAreFoundWholeBySpr)            { islands(false, 1, 0, 814); }
TEST(Islands, OfTreesWithinARelativeLimitAreFoundWholeByTbr)  { islands(true, 3, 0.4, 815); }
TEST(Islands, OfTreesWithinARelativeLimitAreFoundWholeBySpr)  { islands(false, 3, 0.25, 816); }
