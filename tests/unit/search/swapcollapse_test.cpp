// Collapsing by swapping against its definition: a group stands when all trees as good that one move gives
// have it.
#include "searchtest.h"
#include "slowtest.h"
#include "data/lists.h"
#include "trees/below.h"
#include <memory>

namespace {

using groups = std::set<uint64_t>;

groups groupsof(const plain::tree &t)
{
    groups g;
    std::vector<uint64_t> all = plain::groups(t);
    for (int n = t.taxa + 1; n < t.nodes(); ++n) g.insert(all[n]);
    return g;
}

uint64_t everybut0(int taxa) { return ((uint64_t(1) << taxa) - 1) & ~uint64_t(1); }

template<class SCORE> groups standing(const plain::tree &t, bool rerooted, double excess, SCORE score)
{
    groups stand = groupsof(t);
    double limit = score(t) + excess + 1e-7;
    neighbours(t, rerooted, [&](const plain::tree &u) {
        if (score(u) > limit) return;
        groups has = groupsof(u);
        for (auto g = stand.begin(); g != stand.end(); ) g = has.count(*g) ? std::next(g) : stand.erase(g);
    });
    stand.insert(everybut0(t.taxa));
    return stand;
}

struct collapsingby {
    explicit collapsingby(const char *how) { zelrun(std::string("collapse ") + how + ";"); }
    ~collapsingby() { zelrun("collapse rule 1; subopt 0; keep 0; hold 100;"); }
};

void definition(const char *how, bool rerooted, int excess, unsigned seed)
{
    std::mt19937 rng(seed);
    collapsingby rule(how);
    int collapsed = 0, stood = 0;
    for (int trial = 0; trial < atmost(66); ++trial) {
        plain::data m = plain::randommatrix(rng, 4 + trial % 9, 5 + plain::below(rng, 20), kinds()[trial % kinds().size()]);
        m.taxactive.assign(m.taxa, 1);
        use(m);
        std::vector<plain::tree> start{ plain::randomtree(rng, m.taxa) };
        usetrees(start);
        zelrun("subopt 0; bbreak=nomulpars; bbreak:mulpars;");                  // most trees are better than random
        plain::tree t = trial % 3 ? kept(0) : start[0];
        usetrees({ t });
        zelrun("subopt " + std::to_string(excess) + ";");
        std::string report = zelrun("condense;");
        ASSERT_FALSE(zelfailed()) << report;
        groups expected = standing(t, rerooted, excess, [&](const plain::tree &u) { return double(plain::length(m, u)); });
        ASSERT_TRUE(groupsof(kept(0)) == expected) << "trial " << trial << ": " << plain::text(t) << "\ngives " << plain::text(kept(0));
        collapsed += expected.size() < groupsof(t).size();
        stood += expected.size() > 1;
    }
    EXPECT_GT(collapsed, 0);
    EXPECT_TRUE(excess || stood);
}

}  // namespace

TEST(SwapCollapsing, BySprIsWhatEqualSprMovesShare)           { definition("spr", false, 0, 701); }
TEST(SwapCollapsing, ByTbrIsWhatEqualTbrMovesShare)           { definition("tbr", true, 0, 702); }
TEST(SwapCollapsing, BySprIsWhatMovesWithinSuboptShare)       { definition("5", false, 2, 703); }
TEST(SwapCollapsing, ByTbrIsWhatMovesWithinSuboptShare)       { definition("6", true, 1, 704); }

TEST(SwapCollapsing, ServesDataOfEveryKind)
{
    std::mt19937 rng(705);
    for (bool implied : { false, true }) {
        std::unique_ptr<mixed::weighting> w(implied ? new mixed::weighting : nullptr);
        collapsingby rule("tbr");
        for (const mixed::kind &k : mixed::kinds) {
            SCOPED_TRACE(k.what);
            mixed::data d = mixed::random(rng, 7, 6, k);
            d.m.taxactive.assign(d.m.taxa, 1);
            zelrun("mxram 32;");
            zelrun("procedure " + writefile("collapse.xread", mixed::readtext(d)) + ";");
            ASSERT_FALSE(zelfailed());
            if (dopiwe) set_fit_minima();
            usetrees({ plain::randomtree(rng, d.m.taxa) });
            zelrun("bbreak=nomulpars; bbreak:mulpars;");
            plain::tree t = kept(0);
            std::string report = zelrun("condense;");
            ASSERT_FALSE(zelfailed()) << report;
            groups expected = standing(t, true, 0, [&](const plain::tree &u) { return dopiwe ? mixed::fits(d, u) : mixed::length(d, u); });
            EXPECT_TRUE(groupsof(kept(0)) == expected) << plain::text(t) << "\ngives " << plain::text(kept(0));
        }
    }
}

// Without some taxa a group is what is left of it; none stays that a move of the others breaks.
TEST(SwapCollapsing, LeavesExcludedTaxaOutOfAccount)
{
    std::mt19937 rng(706);
    int more = 0;
    for (int trial = 0; trial < atmost(40); ++trial) {
        collapsingby rule(trial & 1 ? "spr" : "tbr");
        plain::data m = plain::randommatrix(rng, 7 + trial % 4, 15, { 8, 2 + trial % 3, 10 });
        use(m);
        usetrees({ plain::randomtree(rng, m.taxa) });
        zelrun("bbreak=nomulpars; bbreak:mulpars;");
        plain::tree t = kept(0);
        uint64_t out = 2 | 8;
        zelrun("condense;");
        size_t without = groupsof(kept(0)).size();
        usetrees({ t });
        std::string report = zelrun("condense 0 / 1 3;");
        ASSERT_FALSE(zelfailed()) << report;
        double length = double(plain::length(m, t));
        groups stand;
        for (uint64_t g : groupsof(kept(0))) stand.insert(g & ~out);
        more += groupsof(kept(0)).size() > without;
        neighbours(t, !(trial & 1), [&](const plain::tree &u) {
            if (double(plain::length(m, u)) > length) return;
            groups has;
            for (uint64_t g : groupsof(u)) has.insert(g & ~out);
            for (uint64_t g : stand) {
                if (std::popcount(g) < 2 || g == (everybut0(m.taxa) & ~out)) continue;
                EXPECT_TRUE(has.count(g)) << "trial " << trial << " group " << g << " in " << plain::text(kept(0));
            }
        });
    }
    EXPECT_GT(more, 0);
}

// Taxa below each node of the first tree in memory.
std::vector<uint64_t> setsoffirst()
{
    std::vector<uint64_t> below(size_t(nodz), 0);
    for (int t = 0; t < nt; ++t)
        for (int n = t;; n = mem_tree[0][n]) {
            below[size_t(n)] |= uint64_t(1) << t;
            if (n == nt) break;
        }
    return below;
}

// Only rearrangements that move other taxa count; and a branch that the excluded taxa alone hold apart from the one
// below it stands when that does.
TEST(SwapCollapsing, CountsOnlyMovesOfTaxaThatAreNotExcluded)
{
    std::mt19937 rng(708);
    int spared = 0, carried = 0;
    for (int trial = 0; trial < atmost(60); ++trial) {
        bool rerooted = trial & 1;
        collapsingby rule(rerooted ? "tbr" : "spr");
        plain::data m = plain::randommatrix(rng, 6 + trial % 4, 12, { 8, 2 + trial % 3, 10 });
        m.taxactive.assign(m.taxa, 1);
        use(m);
        usetrees({ plain::randomtree(rng, m.taxa) });
        if (trial % 3) zelrun("bbreak=nomulpars; bbreak:mulpars;");
        std::vector<uint8_t> excluded(size_t(nt), 0);
        uint64_t in = everybut0(m.taxa) | 1;
        for (int out = trial % 4; out >= 0; --out) {
            int t = 1 + plain::below(rng, m.taxa - 1);
            excluded[size_t(t)] = LISTED;
            in &= ~(uint64_t(1) << t);
        }
        zelrun("");
        prepare_swap_collapse();
        plain::tree t = kept(0);
        std::vector<int> marks(size_t(nodz), 0);
        (rerooted ? rule_tbr : rule_spr)(mem_tree[0], marks.data(), excluded.data());
        wipetag(&schtag);

        std::vector<uint64_t> below = setsoffirst();
        std::map<uint64_t, bool> stands, withall;
        for (int n = nt + 1; n < mem_tree[0][nt]; ++n) stands[below[size_t(n)]] = withall[below[size_t(n)]] = true;
        long length = plain::length(m, t);
        neighbours(t, rerooted, [&](const plain::tree &u) {
            if (plain::length(m, u) > length) return;
            groups has = groupsof(u);
            for (auto &[g, s] : withall) s = s && has.count(g);
            if (!(clippedtaxa & in)) return;
            for (auto &[g, s] : stands) s = s && has.count(g);
        });
        // Smaller groups come before those that hold them.
        std::vector<int> nodes;
        for (int n = nt + 1; n < mem_tree[0][nt]; ++n) nodes.push_back(n);
        auto size = [&](int n) { return std::popcount(below[size_t(n)]); };
        std::sort(nodes.begin(), nodes.end(), [&](int a, int b) { return size(a) < size(b); });
        for (int n : nodes) {
            std::vector<int> kids;
            for (int k = 0; k < mem_tree[0][nt]; ++k)
                if (k != nt && mem_tree[0][k] == n && (below[size_t(k)] & in)) kids.push_back(k);
            if (kids.size() != 1 || kids[0] < nt || !stands[below[size_t(kids[0])]]) continue;
            carried += !stands[below[size_t(n)]];
            stands[below[size_t(n)]] = true;
        }
        stands[everybut0(m.taxa)] = true;
        for (int n : nodes) {
            uint64_t g = below[size_t(n)];
            EXPECT_EQ(marks[size_t(n)] != 0, stands[g]) << "trial " << trial << " group " << g << " without " << ~in << " of " << plain::text(t);
            spared += stands[g] && !withall[g];
        }
        if (HasFailure()) return;
    }
    EXPECT_GT(spared, 0);
    EXPECT_GT(carried, 0);
}

TEST(SwapCollapsing, MakesPolytomousTreesDichotomousFirst)
{
    plain::data m = plain::fromrows({ "00", "00", "11", "11", "11" });
    use(m);
    collapsingby rule("tbr");
    zelrun("procedure " + writefile("five.trees", "tread (0 1 (2 3 4));\nprocedure/;\n") + ";");
    std::string report = zelrun("condense;");
    ASSERT_FALSE(zelfailed()) << report;
    EXPECT_EQ(groupsof(kept(0)), (groups{ 0b11110, 0b11100 }));
}

// A tree longer than it need be would lose its groups to moves as good as it.
TEST(SwapCollapsing, ResolvesPolytomiesAsWellAsMovesWithinThemCan)
{
    std::mt19937 rng(709);
    int resolved = 0;
    for (int trial = 0; trial < atmost(30); ++trial) {
        collapsingby rule("tbr");
        plain::data m = plain::randommatrix(rng, 8 + trial % 3, 15, { 8, 2 + trial % 3, 10 });
        m.taxactive.assign(m.taxa, 1);
        use(m);
        usetrees({ plain::randomtree(rng, m.taxa) });
        zelrun("bbreak=nomulpars; bbreak:mulpars; condense;");
        groups stood = groupsof(kept(0));
        zelrun("");
        prepare_swap_collapse();
        wipetag(&schtag);
        checktree(mem_tree[0]);
        plain::tree t = kept(0);
        groups has = groupsof(t);
        ASSERT_EQ(int(has.size()), m.taxa - 2);
        ASSERT_TRUE(std::includes(has.begin(), has.end(), stood.begin(), stood.end()));
        resolved += has.size() > stood.size() + 1;
        long length = plain::length(m, t);
        neighbours(t, true, [&](const plain::tree &u) {
            groups of = groupsof(u);
            if (std::includes(of.begin(), of.end(), stood.begin(), stood.end())) { EXPECT_GE(plain::length(m, u), length); }
        });
    }
    EXPECT_GT(resolved, 0);
}

TEST(SwapCollapsing, IsReported)
{
    use(plain::fromrows({ "000", "000", "110", "110", "111", "111" }));
    collapsingby rule("spr");
    std::string report = zelrun("collapse;");
    EXPECT_NE(report.find("Collapsing trees with SPR"), std::string::npos) << report;
    report = zelrun("collapse 6;");
    EXPECT_NE(report.find("Collapsing trees with TBR"), std::string::npos) << report;
}

TEST(SwapCollapsing, FailsWithoutItsMemory)
{
    std::mt19937 rng(707);
    use(plain::blankmatrix(5, 2));
    usetrees({ plain::randomtree(rng, 5) });
    wipetag(&schtag);
    EXPECT_FALSE(safecall([] { rule_tbr(mem_tree[0], issupp, nullptr); }));
}
