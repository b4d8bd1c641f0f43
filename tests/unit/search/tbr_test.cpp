#include "searchtest.h"
#include "kernel/progress.h"
#include "kernel/window.h"
#include "search/keeptrees.h"
#include "search/kernels.h"
#include "search/spr.h"
#include "search/status.h"
#include "search/swapper.h"
#include "search/tbr.h"
#include "trees/implied.h"
#include "trees/pack.h"

static bool differ(const plain::tree &a, const plain::tree &b) { return plain::shape(a) != plain::shape(b); }

// A finished swap of one tree: nothing that one move away is shorter.
static void nothingshorter(const char *options, bool rerooted, int mostaxa, int trials)
{
    std::mt19937 rng(51);
    for (int trial = 0; trial < trials; ++trial) {
        plain::data m = plain::randommatrix(rng, 5 + trial % (mostaxa - 4), 5 + plain::below(rng, 15), kinds()[trial % kinds().size()]);
        m.taxactive.assign(m.taxa, 1);
        use(m);
        usetrees({ plain::randomtree(rng, m.taxa) });
        std::string report = zelrun(std::string("bbreak=") + options + ";");
        ASSERT_FALSE(zelfailed()) << report;
        ASSERT_EQ(trees_in_mem, 1);
        plain::tree end = kept(0);
        long length = plain::length(m, end);
        EXPECT_EQ(bestscore(report), double(length));
        neighbours(end, rerooted, [&](const plain::tree &u) {
            EXPECT_GE(plain::length(m, u), length) << "trial " << trial << ": " << plain::text(u);
        });
    }
    zelrun("bbreak:tbr mulpars nosafe norandclip;");
}

TEST(Tbr, EndsWhereNoMoveIsBetter)            { nothingshorter("tbr nomulpars", true, 15, atmost(55)); }
TEST(Tbr, EndsWhereNoMoveIsBetterInTwentyTaxa) { nothingshorter("tbr nomulpars", true, 20, atmost(16)); }
TEST(Tbr, EndsWhereNoMoveIsBetterClippingAtRandom) { nothingshorter("tbr nomulpars randclip", true, 12, atmost(33)); }
TEST(Spr, EndsWhereNoMoveIsBetter)            { nothingshorter("spr nomulpars", false, 20, atmost(88)); }
TEST(Spr, EndsWhereNoMoveIsBetterWithSafeUnclip) { nothingshorter("spr nomulpars safe", false, 15, atmost(44)); }

// Trees kept by a swap of many: every tree as short that one move reaches is among them.
static void wholeisland(const char *options, bool rerooted, int subopt, int mosttaxa, int trials)
{
    std::mt19937 rng(52);
    rulefor none(nocollapse);
    for (int trial = 0; trial < trials; ++trial) {
        plain::data m = plain::randommatrix(rng, 5 + trial % (mosttaxa - 4), 4 + plain::below(rng, 10), kinds()[trial % kinds().size()]);
        m.taxactive.assign(m.taxa, 1);
        use(m);
        zelrun("hold 12000;");
        usetrees({ plain::randomtree(rng, m.taxa) });
        zelrun("subopt " + std::to_string(subopt) + ";");
        std::string report = zelrun(std::string("bbreak=") + options + ";");
        ASSERT_FALSE(zelfailed()) << report;
        long best = plain::length(m, kept(0));
        std::set<std::vector<uint64_t>> shapes;
        auto all = allkept();
        for (const plain::tree &t : all) {
            best = std::min(best, plain::length(m, t));
            EXPECT_TRUE(shapes.insert(plain::shape(t)).second) << "kept twice, trial " << trial;
        }
        EXPECT_EQ(bestscore(report), double(best)) << report;
        int missed = 0, shorter = 0;
        for (const plain::tree &t : all) {
            EXPECT_LE(plain::length(m, t), best + subopt);
            neighbours(t, rerooted, [&](const plain::tree &u) {
                long n = plain::length(m, u);
                shorter += n < best;
                missed += n <= best + subopt && !shapes.count(plain::shape(u));
            });
        }
        EXPECT_EQ(missed, 0) << "trial " << trial << " of " << m.taxa << " taxa, " << all.size() << " trees kept\n" << report;
        EXPECT_EQ(shorter, 0) << "trial " << trial;
        if (::testing::Test::HasFailure()) break;
    }
    zelrun("subopt 0;bbreak:tbr mulpars;");
}
TEST(Tbr, KeepsAllTreesThatEqualMovesReach)          { wholeisland("tbr mulpars", true, 0, 8, atmost(44)); }
TEST(Spr, KeepsAllTreesThatEqualMovesReach)          { wholeisland("spr mulpars", false, 0, 8, atmost(44)); }
TEST(Tbr, KeepsAllSuboptimalTreesWithinTheLimit)     { wholeisland("tbr mulpars", true, 2, 6, atmost(22)); }
TEST(Spr, KeepsAllSuboptimalTreesWithinTheLimit)     { wholeisland("spr mulpars", false, 1, 7, atmost(22)); }

// The same once collapsed.  Quick collapsing takes what a move within an unsupported group gives for
// the same tree, whether or not it is; such a move leaves every supported group of the tree whole.
static void wholecollapsedisland(const char *options, bool rerooted, int trials)
{
    using groups = std::vector<uint64_t>;
    std::mt19937 rng(58);
    size_t found = 0;
    for (int trial = 0; trial < trials; ++trial) {
        plain::data m = plain::randommatrix(rng, 6 + trial % 3, 4 + plain::below(rng, 8), { 8, 2 + trial % 2, trial % 4 * 10 });
        plain::tree start = plain::randomtree(rng, m.taxa);
        for (int quickly : { 0, 1 }) {
            rulefor rule1(rule_1, quickly);
            use(m);
            zelrun("hold 3000;");
            usetrees({ start });
            std::string report = zelrun(std::string("bbreak=") + options + ";");
            ASSERT_FALSE(zelfailed()) << report;
            auto all = allkept();
            long best = plain::length(m, all[0]);
            std::set<groups> shapes, missed;
            for (const plain::tree &t : all)
                EXPECT_TRUE(shapes.insert(standinggroups(m, t)).second) << "kept twice, trial " << trial;
            for (const plain::tree &t : all) {
                groups stand = standinggroups(m, t);
                neighbours(t, rerooted, [&](const plain::tree &u) {
                    long n = plain::length(m, u);
                    EXPECT_GE(n, best);
                    if (n != best) return;
                    groups reached = plain::groups(u), there = standinggroups(m, u);
                    std::sort(reached.begin(), reached.end());
                    bool within = std::includes(reached.begin(), reached.end(), stand.begin(), stand.end());
                    if (!(quickly && within) && !shapes.count(there)) missed.insert(there);
                });
            }
            EXPECT_EQ(missed.size(), 0u) << "trial " << trial << (quickly ? ", quickly" : "");
            found += shapes.size();
        }
    }
    EXPECT_GT(found, size_t(4 * trials));
    zelrun("keep 0;hold 100;bbreak:tbr mulpars;");
}
TEST(Tbr, KeepsAllCollapsedTreesThatEqualMovesReach) { wholecollapsedisland("tbr mulpars", true, atmost(60)); }
TEST(Spr, KeepsAllCollapsedTreesThatEqualMovesReach) { wholecollapsedisland("spr mulpars", false, atmost(60)); }

// The swappers compare what they expect with a score made afresh, and fail when they differ.
TEST(Swappers, NeverFailTheirInternalChecks)
{
    std::mt19937 rng(53);
    static const char *const ways[] = { "tbr nomulpars nosafe", "spr nomulpars nosafe", "tbr mulpars", "spr mulpars",
                                        "tbr nomulpars randclip", "tbr nomulpars safe norandclip" };
    int swaps = 0;
    for (int trial = 0; trial < atmost(154); ++trial) {
        plain::data m = plain::randommatrix(rng, 4 + plain::below(rng, 40), 1 + plain::below(rng, 60), kinds()[trial % kinds().size()]);
        m.taxactive.assign(m.taxa, 1);
        use(m);
        for (const char *way : ways) {
            std::vector<plain::tree> start;
            for (int i = 0; i < 4; ++i) start.push_back(plain::randomtree(rng, m.taxa));
            usetrees(start);
            std::string report = zelrun(std::string("bbreak=") + way + ";");
            ASSERT_FALSE(zelfailed()) << way << "\n" << report;
            ASSERT_EQ(report.find("OOpps"), std::string::npos) << report;
            ASSERT_EQ(bestscore(report), double(plain::length(m, kept(0)))) << way << "\n" << report;
            swaps += 4;
        }
    }
    EXPECT_GT(swaps, atmost(3000));
    zelrun("bbreak:tbr mulpars nosafe norandclip;");
}

TEST(Swappers, GiveTheSameInEveryVectorVariant)
{
    std::mt19937 rng(54);
    for (int trial = 0; trial < 11; ++trial) {
        plain::data m = plain::randommatrix(rng, 30, 80, kinds()[trial]);
        use(m);
        std::string first;
        for (int i = 0; kernelsets[i]; ++i) {
            ASSERT_TRUE(force_kernels(kernelsets[i]->name));
            std::string report = zelrun("keep 0;rseed 3;mult=replic 3;bbreak;");
            for (const plain::tree &t : allkept()) report += plain::text(t) + "\n";
            if (first.empty()) first = report;
            EXPECT_EQ(report, first) << kernelsets[i]->name;
        }
        force_kernels("");
    }
    zelrun("mult:replic 10;rseed 1;");
}

TEST(Tbr, ATieNeverMovesASingleTree)
{
    use(plain::blankmatrix(9, 4));
    std::mt19937 rng(55);
    plain::tree t = plain::randomtree(rng, 9);
    usetrees({ t });
    zelrun("bbreak=nomulpars;");
    EXPECT_FALSE(differ(kept(0), t));
    zelrun("bbreak:mulpars;");
}

// Clips visited, of a swap that is stopped before the one at which the key is pressed.
static int visits, stopat;
static int countvisit() { return ++visits == stopat ? KEY_ESC : 0; }

static void swapuntil(int visit, const plain::tree &start, const char *how)
{
    usetrees({ start });
    visits = 0;
    stopat = visit;
    zelrun(std::string("bbreak=") + how + " nomulpars;");
    ASSERT_FALSE(zelfailed());
}

// The last lap after the last move leaves out the clip that made it, but under implied weights and asymmetric costs.
TEST(Swappers, VisitEveryClipOnceMoreAfterTheLastMove)
{
    auto key = window.zel_app_window_getKeyPressed;
    std::mt19937 rng(59);
    int moved = 0;
    const struct { const char *settings, *undo; int again; } ways[] = {
        { "", "", 0 }, { "piwe=;", "piwe-;", 1 }, { "smatrix =9 (uneven) 0>1 1 1>0 2; smatrix +uneven .;", "", 1 },
    };
    for (auto &w : ways)
        for (const char *how : { "tbr", "spr" })
            for (int trial = 0; trial < atmost(6); ++trial) {
                plain::data m = plain::randommatrix(rng, 8, 10, { 8, 2, 0 });
                zelrun(w.settings[0] == 'p' ? w.settings : "");
                use(m);
                if (w.settings[0] == 's') zelrun(w.settings);
                ASSERT_FALSE(zelfailed()) << w.settings;
                plain::tree start = plain::randomtree(rng, 8);
                window.zel_app_window_getKeyPressed = countvisit;
                polling_interval = -1;
                zelrun("mult:outfreq 1;");
                swapuntil(0, start, how);
                int all = visits, stop = 1;
                unsigned long moves = acceprearrangs;
                int again = w.again && (dopiwe || asymmetric_fields);       // the uneven character may be idle
                do swapuntil(++stop, start, how); while (acceprearrangs < moves);
                window.zel_app_window_getKeyPressed = key;
                polling_interval = 1;
                zelrun("mult:outfreq 0;");
                zelrun(w.undo);
                if (!moves) continue;
                ++moved;
                EXPECT_EQ(all - (stop - 1), hinod - 2 + again) << w.settings << how;
            }
    EXPECT_GT(moved, atmost(12));
    zelrun("bbreak:tbr mulpars;");
}

TEST(Tbr, BetterTreesTakeThePlaceOfTheTreesBeforeThem)
{
    std::mt19937 rng(56);
    plain::data m = plain::randommatrix(rng, 10, 30, { 8, 2, 0 });
    use(m);
    zelrun("bbreak=mulpars;");
    std::vector<plain::tree> start;
    for (int i = 0; i < 5; ++i) start.push_back(plain::randomtree(rng, 10));
    usetrees(start);
    long before = LONG_MAX;
    for (auto &t : start) before = std::min(before, plain::length(m, t));
    zelrun("bbreak;");
    long after = plain::length(m, kept(0));
    EXPECT_LT(after, before);
    for (const plain::tree &t : allkept()) EXPECT_EQ(plain::length(m, t), after);
}

// Five trees as long, of which the fourth is swapped: those before it stay, it and the one behind it go.
TEST(Tbr, ABetterTreeTakesThePlaceOfTheTreesFromTheOneBeingSwappedOn)
{
    std::mt19937 rng(60);
    rulefor none(nocollapse);
    plain::data m = plain::randommatrix(rng, 8, 12, { 8, 2, 0 });
    m.taxactive.assign(m.taxa, 1);
    use(m);
    long best = plain::search(m).length;
    std::vector<plain::tree> start;
    shapes seen;
    while (start.size() < 5) {
        plain::tree t = plain::randomtree(rng, 8);
        if (plain::length(m, t) == best + 5 && seen.insert(plain::shape(t)).second) start.push_back(t);
    }
    usetrees(start);
    searchframe frame(bbreakcom);
    ASSERT_EQ(trees_in_mem, 5);
    constexpr int FIRST = 3;
    std::vector<std::vector<int>> before;
    for (int t = 0; t < FIRST; ++t) before.emplace_back(mem_tree[t], mem_tree[t] + hinod);
    std::copy(mem_tree[FIRST], mem_tree[FIRST] + hinod, anx);
    double score = tbrswap(anx, FIRST, 1);
    EXPECT_LT(score, best + 5);
    ASSERT_GT(trees_in_mem, FIRST);
    for (int t = 0; t < FIRST; ++t) EXPECT_EQ(std::vector<int>(mem_tree[t], mem_tree[t] + hinod), before[size_t(t)]);
    for (int t = FIRST; t < trees_in_mem; ++t) EXPECT_EQ(treechk[t].score, score);
}

TEST(Swappers, ReportMoreOftenWhereClipsAreSlow)
{
    for (auto [taxa, settings, every] : { std::tuple(60, "", 10), std::tuple(49, "", 2), std::tuple(50, "", 10),
                                          std::tuple(60, "smatrix =9 (uneven) 0>1 1 1>0 2; smatrix +uneven .;", 2) }) {
        std::mt19937 rng(61);
        use(plain::randommatrix(rng, taxa, 6, { 8, 2, 0 }));
        zelrun(settings);
        searchframe frame(multcom);
        set_report_every();
        EXPECT_EQ(report_every, every) << taxa << settings;
        user_cuts_for_report = 7;
        set_report_every();
        EXPECT_EQ(report_every, 7);
        user_cuts_for_report = 0;
    }
}

TEST(Tbr, AFullBufferLetsOnlyBetterTreesIn)
{
    std::mt19937 rng(57);
    rulefor none(nocollapse);
    plain::data m = plain::randommatrix(rng, 12, 12, { 8, 2, 0 });
    use(m);
    zelrun("hold 3;");
    usetrees({ plain::randomtree(rng, 12) });
    zelrun("bbreak;");
    EXPECT_LE(trees_in_mem, 3);
    plain::tree end = kept(0);
    neighbours(end, true, [&](const plain::tree &u) { EXPECT_GE(plain::length(m, u), plain::length(m, end)); });
    zelrun("keep 0;hold 100;");
}

TEST(Swappers, CountTheRearrangementsOfEachClip)
{
    // A clip of size s in a tree of n taxa has 2(n - s) - 3 places (at least 1) and, by TBR, 2s - 3
    // roots (at least 1).  Each of 4 terminals has 5 places, {3 4} has 3, {2 3 4} 1 place and 3 roots,
    // {1 2 3 4} 1 place and 5 roots: 31.  A lap has as many visits as there are node numbers and never
    // visits number 0, so terminal 1 comes up again: 36.
    use(plain::blankmatrix(5, 3));
    zelrun("procedure " + writefile("five.trees", "tread (0 (1 (2 (3 4))));\nprocedure/;\n") + ";");
    std::string tbr = zelrun("bbreak=tbr nomulpars;");
    EXPECT_NE(tbr.find("Total rearrangements examined: 36.\n"), std::string::npos) << tbr;
    zelrun("bbreak:mulpars;");
}

namespace {

std::map<int, std::map<std::pair<int, int>, int>> placed;      // by clip: how often each root and destination came up
std::map<int, int> sisterof;

bool notewhere(swapping *sw, int root, int dest)
{
    ++placed[sw->clip][{ root, dest }];
    sisterof[sw->clip] = sw->sister;
    return false;
}

struct noting {
    noting() { placed.clear(), swapcollapse = 1, note_place = notewhere; }
    ~noting() { swapcollapse = 0; }
};

std::set<int> within(const int *tree, int x)                   // nodes of the subtree of x
{
    std::set<int> in;
    for (int n = 0; n < hinod; ++n)
        for (int m = n; m != ntax; m = tree[m])
            if (m == x) in.insert(n);
    return in;
}

}  // namespace

// Where nothing costs anything all places are looked at: each branch of what is left but the one that the clip
// came from, as often as there are places for the root.
TEST(Swappers, LookAtEveryPlaceOfAClipOnce)
{
    std::mt19937 rng(59);
    for (int trial = 0; trial < atmost(30); ++trial) {
        int taxa = 5 + trial % 7;
        use(plain::blankmatrix(taxa, 3));
        searchframe frame(multcom);
        std::vector<int> tree = plain::stored(plain::randomtree(rng, taxa));
        for (bool tbr : { false, true }) {
            std::copy(tree.begin(), tree.begin() + hinod, anx);
            noting here;
            (tbr ? tbrswap : sprswap)(anx, 0, 1);
            for (auto &[clip, places] : placed) {
                if (clip == 1) continue;                       // comes up again at the end of the lap
                std::set<int> out = within(tree.data(), clip), roots{ -1 };
                int size = int((out.size() + 1) / 2), up = tree[size_t(clip)];
                if (tbr && size > 2)
                    for (int n : out)
                        if (n != clip && tree[size_t(n)] != clip) roots.insert(n);
                std::map<std::pair<int, int>, int> expected;
                for (int d = 1; d < hinod; ++d) {
                    bool top = tree[size_t(d)] == ntax;
                    if (d == ntax || out.count(d) || d == up || (top && d == clip)) continue;
                    for (int r : roots)
                        if (r >= 0 || d != sisterof[clip]) expected[{ r, d }] = 1;
                }
                if (up == ntax)
                    for (int r : roots)
                        if (r >= 0) expected[{ r, 0 }] = 1;     // only terminal 0 is left
                EXPECT_EQ(places, expected) << (tbr ? "TBR, clip " : "SPR, clip ") << clip << " of trial " << trial;
            }
            EXPECT_GE(placed.size(), size_t(taxa - 1));
        }
    }
}
