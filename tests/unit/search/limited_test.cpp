// Swaps with moves limited to some nodes, against the listing of all moves within them.
#include "searchtest.h"
#include "slowtest.h"
#include <memory>

namespace {

struct limited {
    explicit limited(int n) { zelrun("bbreak:limit " + std::to_string(n) + ";"); }
    ~limited() { zelrun("keep 0; bbreak:tbr mulpars nolimit;"); }
};

void endswherenomoveisbetter(const char *swapper, bool rerooted, int limit, unsigned seed)
{
    std::mt19937 rng(seed);
    limited moves(limit);
    for (int trial = 0; trial < atmost(33); ++trial) {
        plain::data m = plain::randommatrix(rng, 5 + trial % 16, 5 + plain::below(rng, 15), kinds()[trial % kinds().size()]);
        m.taxactive.assign(m.taxa, 1);
        use(m);
        usetrees({ plain::randomtree(rng, m.taxa) });
        std::string report = zelrun(std::string("bbreak=nomulpars ") + swapper + ";");
        ASSERT_FALSE(zelfailed()) << report;
        std::string note = "Note: TBR limited to moves within " + std::to_string(limit) + " nodes of original position.\n";
        EXPECT_NE(report.find(note), std::string::npos) << report;
        plain::tree end = kept(0);
        long length = plain::length(m, end);
        EXPECT_EQ(bestscore(report), double(length));
        neighbours(end, rerooted, [&](const plain::tree &u) { EXPECT_GE(plain::length(m, u), length) << "trial " << trial; }, limit);
    }
}

// With nothing to choose a lap tries all moves: those of each branch, and of taxon 1 again (node numbers from
// 1 wrap after as many visits as there are nodes, and number 0 is never clipped).
long countmoves(const plain::tree &t, bool rerooted, int limit)
{
    long n = 0;
    neighbours(t, rerooted, [&](const plain::tree &) { ++n; }, limit);
    if (!rerooted) --n;                               // all but taxon 0 has one place, and is not clipped
    long ofone = 0;                                   // branches near that of taxon 1, once it is away
    int up = t.anc[1];
    std::map<int, std::vector<int>> near;             // by node, the root left out
    auto join = [&](int a, int b) { near[a].push_back(b), near[b].push_back(a); };
    std::vector<int> atroot;
    for (int v = 0; v < t.nodes(); ++v) {
        if (v == t.root() || v == 1) continue;
        if (t.anc[v] == t.root()) atroot.push_back(v);
        else join(v, t.anc[v]);
    }
    if (atroot.size() == 2) join(atroot[0], atroot[1]);
    std::vector<int> ends = near[up];
    std::map<int, int> away{ { ends[0], 0 }, { ends[1], 0 } };
    std::vector<int> open = ends;
    for (size_t i = 0; i < open.size(); ++i)
        for (int k : near[open[i]])
            if (k != up && away.insert({ k, away[open[i]] + 1 }).second) open.push_back(k);
    for (auto &[v, d] : away) ofone += d > 0 && d <= limit;      // each node beyond is the far end of one branch
    return n + ofone + 1;
}

}  // namespace

TEST(Limited, TbrEndsWhereNoMoveWithinOneNodeIsBetter)    { endswherenomoveisbetter("tbr", true, 1, 601); }
TEST(Limited, TbrEndsWhereNoMoveWithinThreeNodesIsBetter) { endswherenomoveisbetter("tbr", true, 3, 602); }
TEST(Limited, SprEndsWhereNoMoveWithinOneNodeIsBetter)    { endswherenomoveisbetter("spr", false, 1, 603); }
TEST(Limited, SprEndsWhereNoMoveWithinFourNodesIsBetter)  { endswherenomoveisbetter("spr", false, 4, 604); }

TEST(Limited, TriesTheMovesWithinTheLimitAndNoOthers)
{
    std::mt19937 rng(605);
    for (int trial = 0; trial < atmost(60); ++trial) {
        int taxa = 5 + trial % 13, limit = 1 + trial % 5;
        bool tbr = trial & 1;
        limited moves(limit);
        use(plain::blankmatrix(taxa, 2));
        plain::tree t = plain::randomtree(rng, taxa);
        if (t.anc[1] == t.root()) continue;
        usetrees({ t });
        std::string report = zelrun(tbr ? "bbreak=tbr nomulpars;" : "bbreak=spr nomulpars;");
        std::string count = "Total rearrangements examined: " + std::to_string(countmoves(t, tbr, limit)) + ".\n";
        EXPECT_NE(report.find(count), std::string::npos) << plain::text(t) << " limit " << limit << (tbr ? " TBR\n" : " SPR\n") << count << report;
    }
}

TEST(Limited, KeepsAllTreesThatEqualMovesReach)
{
    std::mt19937 rng(606);
    rulefor none(nocollapse);
    for (int trial = 0; trial < atmost(33); ++trial) {
        int limit = 1 + trial % 2;
        limited moves(limit);
        plain::data m = plain::randommatrix(rng, 5 + trial % 3, 4 + plain::below(rng, 8), kinds()[trial % kinds().size()]);
        m.taxactive.assign(m.taxa, 1);
        use(m);
        zelrun("hold 3000;");
        usetrees({ plain::randomtree(rng, m.taxa) });
        zelrun(trial & 1 ? "bbreak=tbr mulpars;" : "bbreak=spr mulpars;");
        ASSERT_FALSE(zelfailed());
        shapes found = keptshapes();
        auto all = allkept();
        long best = plain::length(m, all[0]);
        int missed = 0;
        for (const plain::tree &t : all)
            neighbours(t, trial & 1, [&](const plain::tree &u) { missed += plain::length(m, u) <= best && !found.count(plain::shape(u)); }, limit);
        EXPECT_EQ(missed, 0) << "trial " << trial;
    }
    zelrun("keep 0; hold 100;");
}

TEST(Limited, ServesDataOfEveryKind)
{
    std::mt19937 rng(607);
    for (bool implied : { false, true }) {
        std::unique_ptr<mixed::weighting> w(implied ? new mixed::weighting : nullptr);
        limited moves(2);
        for (const mixed::kind &k : mixed::kinds) {
            SCOPED_TRACE(k.what);
            mixed::data d = mixed::random(rng, 8, 8, k);
            d.m.taxactive.assign(d.m.taxa, 1);
            zelrun("mxram 32;");
            zelrun("procedure " + writefile("limited.xread", mixed::readtext(d)) + ";");
            ASSERT_FALSE(zelfailed());
            if (dopiwe) set_fit_minima();
            usetrees({ plain::randomtree(rng, d.m.taxa) });
            std::string report = zelrun("bbreak=tbr nomulpars;");
            ASSERT_FALSE(zelfailed()) << report;
            ASSERT_EQ(report.find("OOpps"), std::string::npos) << report;
            auto score = [&](const plain::tree &t) { return dopiwe ? mixed::fits(d, t) : mixed::length(d, t); };
            double end = score(kept(0));
            ASSERT_NEAR(bestscore(report), end, dopiwe ? 1e-5 : 1e-3);
            neighbours(kept(0), true, [&](const plain::tree &u) { EXPECT_GE(score(u), end - 1e-7); }, 2);
        }
    }
}

TEST(Limited, RefusesNegativeDistances)
{
    use(plain::blankmatrix(5, 2));
    EXPECT_NE(zelrun("bbreak:limit -2;").find("TBR move limit must be 0 (no limit) or greater"), std::string::npos);
    EXPECT_TRUE(zelfailed());
}
