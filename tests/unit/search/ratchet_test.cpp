// The ratchet.
#include "perturbtest.h"

namespace {

std::vector<int> weightsnow()
{
    std::vector<int> w;
    for (int c = 0; c < nc; ++c) w.push_back(charcodes[c].weight);
    return w;
}

// The weights of each packing.
std::vector<std::vector<int>> packings;
struct packingsnoted {
    static inline void (*pass)();
    packingsnoted()
    {
        pass = after_pack;
        packings.clear();
        after_pack = [] { packings.push_back(weightsnow()); pass(); };
    }
    ~packingsnoted() { after_pack = pass; }
};

struct change { int zeroed = 0, doubled = 0, kept = 0; };
change compare(const std::vector<int> &was, const std::vector<int> &is)
{
    change d;
    for (size_t c = 0; c < was.size(); ++c) {
        d.kept += is[c] == was[c];
        d.zeroed += was[c] && !is[c];
        d.doubled += was[c] && is[c] == 2 * was[c];
    }
    return d;
}

}  // namespace

TEST(Ratchet, KeepsTreesOfTheScoreItReportsInEveryWeightKind)
{
    zelrun("");
    ratsettings saved;
    keepsreportedscores("ratchet", { "iter 4 nofusefreq up 20 down 20", "iter 3 tradrat up 10", "iter 4 equals notradrat down 0",
                                     "iter 5 down 30 auto 2", "iter 6 fusefreq 3x1 noauto" }, 1001);
}

TEST(Ratchet, KeepsTreesOfTheScoreItReportsForEveryKindOfCharacterAndUnderImpliedWeights)
{
    ratsettings saved;
    keepsreportedscoresofallkinds("ratchet=iter 4 up 20 down 20;", 1002);
}

TEST(Ratchet, HasCyclesOfOriginalLowerAndHigherWeightsInTurn)
{
    zelrun("");
    ratsettings saved;
    std::mt19937 rng(1003);
    use(plain::randommatrix(rng, 8, 200, kinds()[0]));
    usetrees({ plain::randomtree(rng, 8) });
    std::vector<int> original = weightsnow();
    // only what is perturbed is packed anew
    auto cycles = [&](const std::string &options, const std::string &expected) {
        zelrun("keep 1;");
        std::string turns;
        packingsnoted noted;
        std::string said = zelrun("ratchet=iter " + std::to_string(expected.size()) + " " + options + ";");
        ASSERT_FALSE(zelfailed()) << said;
        for (size_t i = 0; i < packings.size(); ++i) {
            change d = compare(original, packings[i]);
            if (!i && d.kept == 200) continue;            // by the search itself, when nothing stands
            EXPECT_EQ(d.kept + d.zeroed + d.doubled, 200);
            EXPECT_FALSE(d.zeroed && d.doubled);
            turns += d.zeroed ? 'd' : d.doubled ? 'u' : '?';
        }
        EXPECT_EQ(weightsnow(), original);
        std::string packed;
        for (char c : expected)
            if (c != 'o') packed += c;
        EXPECT_EQ(turns, packed) << options;
    };
    cycles("equals up 30 down 30", "oduoduod");
    cycles("noequals up 30 down 30", "dudu");
    cycles("equals up 0 down 30", "odod");
    cycles("equals up 30 down 0", "ouou");
    cycles("noequals up 0 down 30", "ddd");
    cycles("noequals up 30 down 0", "uuu");
    cycles("equals up 0 down 0", "ooo");
    EXPECT_EQ(weightsnow(), original);
    zelrun("keep 0;");
}

TEST(Ratchet, ChangesWeightsWithTheProbabilityGiven)
{
    zelrun("");
    ratsettings saved;
    std::mt19937 rng(1004);
    use(plain::randommatrix(rng, 6, 1000, kinds()[0]));
    std::vector<int> original = weightsnow();
    ratequals = 0;
    for (int percent : { 0, 4, 50, 100 }) {
        ratupfact = 100;
        ratdnfact = percent;
        srand(7);
        ratwts(1);
        change d = compare(original, weightsnow());
        EXPECT_NEAR(percent ? d.zeroed : 0, percent * 10, 60) << percent;
        for (int c = 0; c < nc; ++c) charcodes[c].weight = original[size_t(c)];
        ratdnfact = 0;
        ratupfact = percent;
        ratwts(2);
        EXPECT_NEAR(compare(original, weightsnow()).doubled, percent * 10, 60) << percent;
        for (int c = 0; c < nc; ++c) charcodes[c].weight = original[size_t(c)];
    }
}

TEST(Ratchet, DrawsOneNumberForEachCharacterFromTheLast)
{
    zelrun("");
    ratsettings saved;
    std::mt19937 rng(1005);
    use(plain::randommatrix(rng, 6, 50, kinds()[0]));
    std::vector<int> original = weightsnow(), expected = original;
    ratupfact = ratdnfact = 30;
    srand(11);
    for (int c = nc - 1; c >= 0; --c)
        if (30 > rand() % 100) expected[size_t(c)] = 0;
    srand(11);
    ratwts(1);
    EXPECT_EQ(weightsnow(), expected);
    for (int c = 0; c < nc; ++c) charcodes[c].weight = original[size_t(c)];
    ratwts(0);
    EXPECT_EQ(weightsnow(), original);
    ratequals = 0;
    srand(11);
    ratwts(0);
    change d = compare(original, weightsnow());
    EXPECT_TRUE(d.doubled && !d.zeroed);
    for (int c = 0; c < nc; ++c) charcodes[c].weight = original[size_t(c)];
}

TEST(Ratchet, LeavesMembersOfWeightingSetsTheirWeights)
{
    ratsettings saved;
    zelrun("mxram 32;xpiwe-;piwe=3;");
    std::mt19937 rng(1006);
    use(plain::randommatrix(rng, 8, 12, kinds()[0]));
    zelrun("xpiwe[=3;");
    ASSERT_FALSE(zelfailed());
    usetrees({ plain::randomtree(rng, 8) });
    untouched same;
    std::string said = zelrun("ratchet=iter 4 up 40 down 40;");
    EXPECT_FALSE(zelfailed()) << said;
    same.check();
    zelrun("xpiwe-;piwe-;keep 0;");
}

TEST(Ratchet, RefusesToDoNothing)
{
    zelrun("");
    ratsettings saved;
    std::mt19937 rng(1007);
    use(plain::randommatrix(rng, 7, 10, kinds()[0]));
    usetrees({ plain::randomtree(rng, 7) });
    untouched same;
    std::string said = zelrun("ratchet=noequals up 0 down 0;");
    EXPECT_TRUE(zelfailed());
    EXPECT_NE(said.find("Ratchet must do at least one of equals, up, or down --all three are off!"), std::string::npos) << said;
    same.check();
    zelrun("keep 0;");
}

TEST(Ratchet, RepeatsARunFromItsSeed)
{
    zelrun("");
    ratsettings saved;
    std::mt19937 rng(1008);
    use(plain::randommatrix(rng, 25, 40));
    plain::tree start = plain::randomtree(rng, 25);
    for (const char *how : { "rseed:0;", "rseed:3;", "rseed!;" }) {
        auto run = [&](int seed) {
            usetrees({ start });
            std::string said = zelrun("rseed " + std::to_string(seed) + ";ratchet=iter 4 up 10 down 10;");
            EXPECT_EQ(ranseed, seed);
            for (const plain::tree &t : allkept()) said += plain::text(t);
            return said;
        };
        zelrun(how);
        std::string first = run(7);
        EXPECT_EQ(first, run(7)) << how;
        EXPECT_NE(first, run(8)) << how;
    }
    zelrun("rseed:0;rseed-;rseed 1;keep 0;");
}

TEST(Ratchet, StopsAtTheScoreGivenAndAfterTheCyclesWanted)
{
    zelrun("");
    ratsettings saved;
    std::mt19937 rng(1009);
    plain::data m = plain::randommatrix(rng, 12, 20, kinds()[0]);
    use(m);
    usetrees({ plain::randomtree(rng, 12) });
    EXPECT_NE(zelrun("ratchet 3;").find("3 ratchet iterations completed\n"), std::string::npos);
    EXPECT_EQ(ratiters, 50);
    EXPECT_NE(zelrun("ratchet 0;").find("0 ratchet iterations completed\n"), std::string::npos);
    std::string score = std::to_string(plain::length(m, kept(0)));
    EXPECT_NE(zelrun("ratchet 9=findscore " + score + ";").find("1 ratchet iterations completed\n"), std::string::npos);
    EXPECT_NE(zelrun("ratchet 4=nofindscore autoc 2;").find("4 ratchet iterations completed (autoconstrained)\n"), std::string::npos);
    zelrun("keep 0;");
}

TEST(Ratchet, EndsWholeWhereverItIsStopped)
{
    zelrun("mxram 64;");
    ratsettings saved;
    std::mt19937 rng(1010);
    plain::data m = plain::randommatrix(rng, 10, 15, kinds()[7]);
    m.taxactive.assign(m.taxa, 1);
    use(m);
    zelrun("procedure " + writefile("start.trees", treadtext({ plain::randomtree(rng, 10) })) + ";");
    std::string start = "keep 0; procedure " + tempdir() + "/start.trees;";
    stopeverywhere(start + "ratchet:iter 4 up 30 down 30;", "ratchet;", atmost(24));
    stopeverywhere(start + "ratchet:iter 3 tradrat up 30 down 30;", "ratchet;", atmost(18));
    stopeverywhere(start + "ratchet:iter 6 notradrat equals up 30 down 30 autoc 2 fusefreq 3x1;", "ratchet;", atmost(24));
    zelrun("keep 0;");
}

TEST(Ratchet, PutsWeightsBackWhenMemoryRunsOut)
{
    zelrun("");
    ratsettings saved;
    std::mt19937 rng(1011);
    plain::data m = plain::randommatrix(rng, 12, 60, plain::everything(8));
    m.taxactive.assign(m.taxa, 1);
    use(m);
    usetrees({ plain::randomtree(rng, 12) });
    untouched same;
    std::vector<int> original = weightsnow();
    {
        precheck(ratchetcom, ';', 0);
        schgettree(mem_tree[0]);
        loram(vailram() - 20000);                 // not for another image
        ratupfact = ratdnfact = 30;
        bool done = safecall([] { int n; ratatree(anx, 5, -1, &n, 0); });
        EXPECT_FALSE(done);
        EXPECT_EQ(schtag, 0);
        end_of_search();
        freeli();
    }
    EXPECT_EQ(weightsnow(), original);
    zelrun("");
    same.check();
    std::string said = zelrun("ratchet 3;");
    EXPECT_FALSE(zelfailed()) << said;
    for (const plain::tree &t : allkept()) EXPECT_EQ(plain::length(m, t), plain::length(m, kept(0)));
    zelrun("keep 0;");
}

TEST(Ratchet, DropsTreesSilentlyWhenTheBufferIsFull)
{
    zelrun("");
    ratsettings saved;
    std::mt19937 rng(1012);
    plain::data m = plain::randommatrix(rng, 14, 6, kinds()[0]);
    use(m);
    plain::tree start = plain::randomtree(rng, 14);
    for (const char *options : { "", "fusefreq 3x1" }) {
        usetrees({ start });
        zelrun("hold 4;");
        std::string said = zelrun(std::string("ratchet=iter 12 up 20 down 20 ") + options + ";");
        EXPECT_FALSE(zelfailed()) << said;
        EXPECT_LE(trees_in_mem, 4);
        for (const plain::tree &t : allkept()) EXPECT_EQ(plain::length(m, t), plain::length(m, kept(0)));
        zelrun("hold 100;");
    }
    zelrun("keep 0;");
}

TEST(Ratchet, KeepsOnlyTheBestTreeWithoutAStore)
{
    zelrun("");
    ratsettings saved;
    std::mt19937 rng(1013);
    for (int trial = 0; trial < atmost(12); ++trial) {
        plain::data m = plain::randommatrix(rng, 12, 15, kinds()[size_t(trial) % kinds().size()]);
        m.taxactive.assign(m.taxa, 1);
        use(m);
        usetrees({ plain::randomtree(rng, 12) });
        ratiters = 4;
        ratupfact = ratdnfact = 25;
        searchframe frame(ratchetcom);
        schgettree(mem_tree[0]);
        int n = 0;
        double best = ratatree(anx, 3, -1, &n, 0);
        EXPECT_EQ(n, 4);
        EXPECT_EQ(trees_in_mem, 1);
        EXPECT_EQ(schoptimize(anx, 1), best);
        std::vector<int> anc(anx, anx + nodz);
        unpack_one_tree(anc.data());
        EXPECT_EQ(double(plain::length(m, plain::fromstored(anc.data(), nt))), best);
        checkpack();
    }
    zelrun("keep 0;");
}

TEST(Ratchet, LeavesTheImageAsItWas)
{
    zelrun("");
    ratsettings saved;
    std::mt19937 rng(1014);
    plain::data m = plain::randommatrix(rng, 15, 40, plain::everything(8));
    m.taxactive.assign(m.taxa, 1);
    use(m);
    usetrees({ plain::randomtree(rng, 15) });
    searchframe frame(ratchetcom);
    schgettree(mem_tree[0]);
    const uint32_t *rows = dnset(0);
    std::vector<uint32_t> terminals(rows, rows + size_t(ntax) * 3 * size_t(rowcells));
    int cells = rowcells, layer = schtag;
    char *low = lomark(), *high = himark();
    ratiters = 3;
    ratupfact = ratdnfact = 40;
    int n;
    ratatree(anx, 3, -1, &n, 0);
    EXPECT_EQ(schtag, layer);
    EXPECT_EQ(rowcells, cells);
    ASSERT_EQ(dnset(0), rows);
    for (int t = 0; t < ntax; ++t)
        EXPECT_TRUE(std::equal(dnset(t), dnset(t) + rowcells, terminals.data() + size_t(t) * 3 * size_t(rowcells)));
    EXPECT_EQ(lomark(), low);
    EXPECT_EQ(himark(), high);
}
