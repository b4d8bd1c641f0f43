// The frame that ratchet and drift share: what becomes of the trees of a cycle, seeds, fusing, constraints.
#include "fusetest.h"
#include "perturbtest.h"
#include "search/cycles.h"
#include "search/fuse.h"
#include "search/limited.h"
#include "search/tbr.h"
#include "kernel/progress.h"

namespace {

std::mt19937 walks;
std::vector<int> fused;                 // per cycle so far: rounds of fusing after it

std::vector<int> packedrandom(int taxa)
{
    std::vector<int> anc = plain::stored(plain::randomtree(walks, taxa));
    anc.resize(std::max(anc.size(), size_t(nodz)));
    pack_one_tree(anc.data());
    return anc;
}

void jump(int *tree, int)               // to a random tree
{
    fused.push_back(fusesdone);
    fusesdone = 0;
    std::vector<int> t = packedrandom(nt);
    treecopy(t.data(), tree);
}

// All trees are as long: swapping leaves any alone, and fusing finds nothing.
void useflatdata(int taxa)
{
    plain::data m = plain::blankmatrix(taxa, 3);
    use(m);
    walks.seed(55);
    usetrees({ plain::randomtree(walks, taxa) });
}

std::vector<int> cyclesfusedafter(const cycling &kind)
{
    fused.clear();
    fusesdone = 0;
    searchframe frame(ratchetcom);
    schgettree(mem_tree[0]);
    int n;
    runcycles(kind, anx, 1, 0, &n, 0);
    fused.push_back(fusesdone);
    std::vector<int> after;
    for (size_t i = 1; i < fused.size(); ++i)
        if (fused[i]) after.push_back(int(i));
    droptrees(1);
    return after;
}

}  // namespace

TEST(Cycles, FuseAfterOneLessThanAskedForInTheRatchetAndAsAskedForInDrifting)
{
    rulefor plainly(nocollapse);
    useflatdata(12);
    zelrun("hold 1000;");
    fuseswapit = 0;
    cycling ratchet = { 12, 0, 0, 5, 1, 1, 1, ALG_RATCHET, jump, nullptr, nullptr };
    EXPECT_EQ(cyclesfusedafter(ratchet), (std::vector<int>{ 4, 8, 12 }));
    cycling drift = { 12, 0, 0, 5, 1, 0, 1, ALG_DRIFT, jump, nullptr, nullptr };
    EXPECT_EQ(cyclesfusedafter(drift), (std::vector<int>{ 5, 10 }));       // two trees are new in the last cycle
    drift.iterations = 13;
    EXPECT_EQ(cyclesfusedafter(drift), (std::vector<int>{ 5, 10, 13 }));
    // every three, in the ratchet every two cycles: of two new trees nothing comes, but at the end
    ratchet.fusefreq = drift.fusefreq = 3;
    drift.iterations = 7;
    EXPECT_EQ(cyclesfusedafter(drift), (std::vector<int>{ 3, 6 }));
    ratchet.iterations = 7;
    EXPECT_EQ(cyclesfusedafter(ratchet), (std::vector<int>{ 7 }));
    ratchet.iterations = 4;
    EXPECT_EQ(cyclesfusedafter(ratchet), (std::vector<int>{}));
    drift.fusefreq = 0;
    EXPECT_EQ(cyclesfusedafter(drift), (std::vector<int>{}));
    fuseswapit = 1;
    zelrun("keep 0;hold 100;");
}

TEST(Cycles, CountTowardsFusingOnlyWhenTheyAreMeantTo)
{
    rulefor plainly(nocollapse);
    useflatdata(12);
    zelrun("hold 1000;");
    fuseswapit = 0;
    cycling drift = { 8, 0, 0, 4, 1, 0, 1, ALG_DRIFT, jump, nullptr, [](int cycle) { return cycle >= 3; } };
    EXPECT_EQ(cyclesfusedafter(drift), (std::vector<int>{ 7 }));
    fuseswapit = 1;
    zelrun("keep 0;hold 100;");
}

TEST(Cycles, HaveSeedsThatAreNeverRepeatedAndGiveTheCallersSeedBack)
{
    useflatdata(8);
    static std::vector<int> drawn;
    for (const char *step : { "rseed:0;", "rseed:5;" }) {
        zelrun(step);
        drawn.clear();
        auto draw = [](int *, int) { EXPECT_EQ(ranseed, -1); drawn.push_back(rand()); };
        cycling kind = { 40, 0, 0, 0, 0, 0, 0, ALG_DRIFT, draw, nullptr, nullptr };
        searchframe frame(driftcom);
        schgettree(mem_tree[0]);
        ranseed = 123;
        int n;
        runcycles(kind, anx, 9, -1, &n, 0);
        EXPECT_EQ(ranseed, 123);
        EXPECT_EQ(n, 40);
        std::vector<int> first = drawn;
        EXPECT_EQ(std::set<int>(first.begin(), first.end()).size(), 40u);
        drawn.clear();
        runcycles(kind, anx, 9, -1, &n, 0);
        EXPECT_EQ(drawn, first);
        // the stream of a cycle is that of its seed: the second number of it, behind the one that seeds the next
        srand(9);
        int seed = rand();
        for (int i = 0; i < 40; ++i) {
            srand(unsigned(seed));
            int next = *step == 'r' && step[6] == '5' ? int((unsigned(seed) + 5) & INT_MAX) : rand();
            EXPECT_EQ(first[size_t(i)], rand()) << i;
            seed = next;
        }
    }
    ranseed = 1;
    zelrun("rseed:0;keep 0;");
}

TEST(Cycles, SwapUnderTheGroupsThatPerturbationLeftAlone)
{
    zelrun("");
    static std::vector<std::vector<int>> before, after, end;
    std::mt19937 rng(77);
    for (int trial = 0; trial < atmost(20); ++trial) {
        int taxa = 10 + trial % 10;
        plain::data m = plain::randommatrix(rng, taxa, 20, kinds()[0]);
        m.taxactive.assign(m.taxa, 1);
        use(m);
        usetrees({ plain::randomtree(rng, taxa) });
        before.clear(), after.clear(), end.clear();
        auto swapsome = [](int *tree, int cycle) {
            if (cycle) end.push_back({ tree, tree + hinod });
            before.push_back({ tree, tree + hinod });
            for (int i = 0; i < 3; ++i) {               // a terminal moves to a random branch: most groups stay
                int x = 1 + rand() % (ntax - 1), d;
                binmksis(tree);
                int a = tree[x];
                if (a == ntax) continue;
                tree[sis[x]] = tree[a];
                do d = rand() % hinod; while (d == ntax || d == a || d == x || tree[d] == ntax);
                tree[a] = tree[d];
                tree[d] = a;
            }
            after.push_back({ tree, tree + hinod });
        };
        cycling kind = { 9, 3, 0, 0, 0, 0, 0, ALG_RATCHET, swapsome, nullptr, nullptr };
        searchframe frame(ratchetcom);
        schgettree(mem_tree[0]);
        int n;
        runcycles(kind, anx, unsigned(trial), -1, &n, 0);
        EXPECT_FALSE(use_treeconstraints);
        auto groupsof = [](const std::vector<int> &packed) {
            std::vector<int> anc = packed;
            anc.resize(size_t(nodz));
            unpack_one_tree(anc.data());
            std::vector<uint64_t> g = plain::shape(plain::fromstored(anc.data(), nt));
            return std::set<uint64_t>(g.begin(), g.end());
        };
        int constrained = 0, broken = 0;
        for (int i = 0; i + 1 < 9; ++i) {
            std::set<uint64_t> a = groupsof(before[size_t(i)]), b = groupsof(after[size_t(i)]), e = groupsof(end[size_t(i)]);
            bool all = true;
            for (uint64_t g : a)
                if (b.count(g) && !e.count(g)) all = false;
            EXPECT_TRUE(all || i % 3 == 0) << "cycle " << i;
            constrained += i % 3 != 0;
            broken += !all;
        }
        EXPECT_EQ(constrained, 5);
    }
    zelrun("keep 0;");
}

TEST(Cycles, ObeyTheUsersConstraintsAndLeaveThemInForce)
{
    ratsettings saved;
    zelrun("mxram 64;");
    std::mt19937 rng(78);
    plain::data m = plain::randommatrix(rng, 12, 20, kinds()[0]);
    use(m);
    for (const char *force : { "force + [ 1 2 3 ];", "force + [ 5 6 7 ] - [ 1 2 ];", "force = (0 ((1 2 3) (4 5) 6) (7 8 9 10 11));" }) {
        std::string defined = zelrun(std::string("keep 0; rseed 4; ") + force);
        ASSERT_FALSE(zelfailed()) << defined;
        std::string said = zelrun("constrain =; mult = replic 1 hold 1;");
        ASSERT_FALSE(zelfailed()) << said;
        std::string shown = zelrun("constrain;");
        std::string report = zelrun("ratchet=iter 6 up 30 down 30 autoc 2; ");
        ASSERT_FALSE(zelfailed()) << report;
        EXPECT_NE(report.find("Constraints enforced during search.\n"), std::string::npos) << report;
        EXPECT_EQ(zelrun("constrain;"), shown);
        for (int t = 0; t < trees_in_mem; ++t) EXPECT_TRUE(fulfils_constraints(mem_tree[t]));
        report = zelrun("drift=iter 6 autoc 2; ");
        ASSERT_FALSE(zelfailed()) << report;
        for (int t = 0; t < trees_in_mem; ++t) EXPECT_TRUE(fulfils_constraints(mem_tree[t]));
        zelrun("drift:noautoc iter 30; constrain -; force ]; ratchet: noautoc;");
    }
    zelrun("keep 0;");
}

// --- trees of the cycles ------------------------------------------------------------------

namespace {

using packedtrees = std::vector<std::vector<int>>;
packedtrees route, begun, swapped;      // where cycles jump to, if that is fixed; trees that they begin with; what swapping makes of them

double scoreof(const std::vector<int> &tree)
{
    std::vector<int> copy = tree;
    changed_sets_elsewhere();
    return schoptimize(copy.data(), 1);
}

std::vector<int> afterswap(std::vector<int> tree)
{
    tbrswap(tree.data(), 0, 0);
    return tree;
}

void follow(int *tree, int cycle)
{
    begun.push_back({ tree, tree + hinod });
    std::vector<int> to = route.empty() ? packedrandom(nt) : route[size_t(cycle) % route.size()];
    treecopy(to.data(), tree);
    to.resize(size_t(hinod));
    swapped.push_back(afterswap(to));
}

// Swapping within one node leaves trees of many scores alone.
struct weakswaps {
    int was = tbr_distlim;
    weakswaps() { tbr_distlim = 1; }
    ~weakswaps() { tbr_distlim = was; }
};

struct nofusings {                       // they find no groups to exchange
    int was = fuseminfork;
    nofusings() { fuseminfork = INT_MAX; }
    ~nofusings() { fuseminfork = was; }
};

// Optimal for weak swaps, one of each score, the longest first.
packedtrees ladder(size_t wanted)
{
    std::map<double, std::vector<int>> found;
    for (int i = 0; i < 3000 && found.size() < wanted; ++i) {
        std::vector<int> tree = afterswap(packedrandom(nt));
        nodreset(tree.data(), nullptr);
        found.emplace(-scoreof(tree), tree);
    }
    packedtrees list;
    for (auto &f : found) list.push_back(f.second);
    return list;
}

struct runresult { double best; int cycles; };

runresult runalong(const cycling &kind, const packedtrees &through, int storebase)
{
    route = through;
    begun.clear();
    swapped.clear();
    runresult r;
    r.best = runcycles(kind, anx, 1, storebase, &r.cycles, 0);
    route.clear();
    return r;
}

std::set<double> scoreskept()
{
    std::set<double> all;
    for (int t = 0; t < trees_in_mem; ++t) {
        std::vector<int> tree(mem_tree[t], mem_tree[t] + hinod);
        for (int n = 0; n < hinod; ++n)
            if (n != ntax) tree[size_t(n)] &= NODEBITS;
        all.insert(scoreof(tree));
    }
    checktreechk();
    return all;
}

void usetaxa(int taxa, int chars)
{
    plain::data m = plain::randommatrix(walks, taxa, chars, kinds()[1]);
    m.taxactive.assign(size_t(taxa), 1);
    use(m);
    usetrees({ plain::randomtree(walks, taxa) });
}

}  // namespace

TEST(Cycles, BeginWhereTheLastOneEndedWhileTheBestTreeIsKeptAside)
{
    walks.seed(79);
    weakswaps weak;
    int worse = 0;
    for (int trial = 0; trial < atmost(12); ++trial) {
        usetaxa(12, 30);
        searchframe frame(driftcom);
        schgettree(mem_tree[0]);
        std::vector<int> start(anx, anx + hinod);
        cycling kind = { 8, 0, 0, 0, 0, 0, 0, ALG_DRIFT, follow, nullptr, nullptr };
        runresult r = runalong(kind, {}, -1);
        ASSERT_EQ(begun.size(), 8u);
        EXPECT_EQ(begun[0], start);
        double best = scoreof(start);
        for (size_t i = 0; i < 8; ++i) {
            if (i) { EXPECT_EQ(begun[i], swapped[i - 1]); }
            worse += scoreof(begun[i]) > best;
            best = std::min(best, scoreof(swapped[i]));
        }
        EXPECT_EQ(r.best, best);
        EXPECT_EQ(scoreof({ anx, anx + hinod }), best);
    }
    EXPECT_GT(worse, 0);
    zelrun("keep 0;");
}

TEST(Cycles, StopAtTheScoreOfACycleBeTheStartAsGoodOrNot)
{
    walks.seed(80);
    weakswaps weak;
    int later = 0;
    for (int trial = 0; trial < atmost(12); ++trial) {
        usetaxa(12, 30);
        searchframe frame(driftcom);
        packedtrees trees = ladder(6);
        if (trees.size() < 4) continue;
        std::vector<int> best = trees.back();
        trees.insert(trees.begin() + 2, trees[trees.size() - 2]);
        treecopy(best.data(), anx);
        double stop = scoreof(trees[trees.size() - 2]);
        cycling kind = { 9, 0, stop, 0, 0, 0, 0, ALG_DRIFT, follow, nullptr, nullptr };
        runresult r = runalong(kind, trees, -1);
        EXPECT_EQ(r.cycles, 3);
        EXPECT_EQ(r.best, scoreof(best));
        later += r.cycles > 1;
        kind.stopscore = scoreof(best) - 1;
        EXPECT_EQ(runalong(kind, trees, -1).cycles, 9);
        kind.stopscore = 0;
        EXPECT_EQ(runalong(kind, trees, -1).cycles, 9);
    }
    EXPECT_GT(later, 0);
    zelrun("keep 0;");
}

// Every tree is better than those before; with no room for all.
TEST(Cycles, KeepTheBestTreeWhenTheBufferIsFull)
{
    walks.seed(81);
    rulefor plainly(nocollapse);
    weakswaps weak;
    nofusings alone;
    int runs = 0;
    const struct { const char *settings; int iterations, freq, rounds, dump; } ways[] = {
        { "hold 6;", 5, 6, 3, 1 },          // fused at the end: three trees only, the best is not among them
        { "hold 4;", 6, 50, 3, 1 },         // no fusing for lack of room
        { "hold 4;", 6, 50, 3, 0 },
        { "hold 4; subopt 50;", 6, 0, 0, 0 },
        { "hold 1;", 6, 0, 0, 0 },
    };
    for (int trial = 0; trial < atmost(6); ++trial)
        for (auto &way : ways) {
            SCOPED_TRACE(way.settings);
            zelrun("hold 100;");
            usetaxa(14, 40);
            zelrun(way.settings);
            zelrun("tgroup*;tgroup =2 0;");
            searchframe frame(ratchetcom);
            packedtrees trees = ladder(size_t(way.iterations) + 1);
            if (trees.size() <= size_t(way.iterations)) continue;
            droptrees(0);
            empty_treechklist();
            full_store_tree(trees[0].data(), 0);
            treecopy(trees[0].data(), anx);
            treegroup[0][0] |= 4;
            double start = scoreof(trees[0]);
            trees.erase(trees.begin());
            cycling kind = { way.iterations, 0, 0, way.freq, way.rounds, 0, way.dump, ALG_RATCHET, follow, nullptr, nullptr };
            runresult r = runalong(kind, trees, 0);
            EXPECT_EQ(r.best, scoreof(trees.back()));
            std::set<double> kept = scoreskept();
            EXPECT_TRUE(kept.count(r.best));
            EXPECT_LE(trees_in_mem, maxtrees);
            for (int t = 0; t < trees_in_mem; ++t) EXPECT_EQ(bool(treegroup[t][0] & 4), treechk[t].score == start);
            ++runs;
        }
    EXPECT_GT(runs, 0);
    zelrun("keep 0; hold 100; subopt 0;");
}

TEST(Cycles, KeepWhatFusingFoundWhenTheBufferIsFullOfSuboptimalTrees)
{
    walks.seed(85);
    rulefor plainly(nocollapse);
    weakswaps weak;
    int found = 0;
    for (int trial = 0; trial < 12; ++trial) {
        zelrun("hold 100;");
        usetaxa(30, 40);
        zelrun("hold 8; subopt 500;");
        searchframe frame(driftcom);
        std::vector<int> base = afterswap(packedrandom(nt));
        packedtrees trees;
        double start = scoreof(base);
        droptrees(0);
        empty_treechklist();
        full_store_tree(base.data(), 0);
        treecopy(base.data(), anx);
        for (int i = 0; i < 7; ++i) {
            trees.push_back(afterswap(closerelative(walks, base, 4)));
            start = std::min(start, scoreof(trees.back()));
        }
        cycling kind = { 7, 0, 0, 7, 1, 0, 1, ALG_DRIFT, follow, nullptr, nullptr };
        runresult r = runalong(kind, trees, 0);
        EXPECT_TRUE(scoreskept().count(r.best));
        found += r.best < start && trees_in_mem == maxtrees;
    }
    EXPECT_GT(found, 0);
    zelrun("keep 0; hold 100; subopt 0;");
}

TEST(Cycles, DropSuboptimalTreesAfterAFusingInVainWhenTheyAreMeantTo)
{
    walks.seed(82);
    rulefor plainly(nocollapse);
    weakswaps weak;
    nofusings alone;
    int runs = 0;
    for (int trial = 0; trial < atmost(6); ++trial)
        for (int dump : { 0, 1 }) {
            usetaxa(14, 40);
            searchframe frame(ratchetcom);
            packedtrees trees = ladder(6);
            if (trees.size() < 6) continue;
            droptrees(0);
            empty_treechklist();
            full_store_tree(trees[0].data(), 0);
            treecopy(trees[0].data(), anx);
            std::set<double> all;
            for (const auto &t : trees) all.insert(scoreof(t));
            std::swap(trees[1], trees.back());                  // then worse ones follow
            trees.erase(trees.begin());
            cycling kind = { 5, 0, 0, 5, 2, 0, dump, ALG_DRIFT, follow, nullptr, nullptr };
            runresult r = runalong(kind, trees, 0);
            EXPECT_EQ(r.best, *all.begin());
            EXPECT_EQ(scoreskept(), dump ? std::set<double>{ r.best } : all);
            EXPECT_EQ(fusesdone, 2);
            ++runs;
        }
    EXPECT_GT(runs, 0);
    zelrun("keep 0;");
}

// The status tells no scores under weights that are not the true ones.
TEST(Cycles, TellNoScoresOfPerturbedWeights)
{
    ratsettings saved;
    walks.seed(83);
    usetaxa(14, 30);
    static int told, untold;
    told = untold = 0;
    struct statuslines {
        decltype(window.progressline) was = window.progressline;
        double interval = polling_interval;
        int report = report_status;
        statuslines()
        {
            polling_interval = -1;
            report_status = 1;
            window.progressline = [](const char *text) {
                constexpr size_t SCORECOLUMN = 29, WIDTH = 11;
                std::string line = text, score = line.size() > SCORECOLUMN ? line.substr(SCORECOLUMN, WIDTH) : "";
                if (line.find(" RATCH ") == std::string::npos) return;
                bool number = score.find_first_of("0123456789") != std::string::npos;
                if (emulating_tradrat) { EXPECT_FALSE(number) << line; }
                else if (!perturbating) { EXPECT_TRUE(number) << line; }
                (number ? told : untold)++;
            };
        }
        ~statuslines()
        {
            window.progressline = was;
            polling_interval = interval;
            report_status = report;
        }
    } lines;
    std::string said = zelrun("ratchet=iter 4 tradrat up 20 down 20;");
    EXPECT_FALSE(zelfailed()) << said;
    EXPECT_GT(told, 0);
    EXPECT_GT(untold, 0);
    zelrun("keep 0;");
}

TEST(Cycles, ShowTheSettingsAndRunWhenNoneIsGiven)
{
    ratsettings saved;
    driftsettings also;
    walks.seed(84);
    usetaxa(8, 10);
    zelrun("ratchet:iter 2; drift:iter 2;");
    std::string said = zelrun("ratchet=;");
    EXPECT_EQ(said.find("Ratchet settings:\n     * 2 iterations\n"), 0u) << said;
    EXPECT_NE(said.find("\n2 ratchet iterations completed\n"), std::string::npos) << said;
    said = zelrun("drift=;");
    EXPECT_EQ(said.find("Settings for tree-drifting:\n     * 2 iterations\n"), 0u) << said;
    EXPECT_NE(said.find("\n2 drift cycles completed\n"), std::string::npos) << said;
    said = zelrun("ratchet:;");
    EXPECT_EQ(said.find("iterations completed"), std::string::npos) << said;
    zelrun("keep 0;");
}
