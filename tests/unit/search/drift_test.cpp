// Drifting.
#include "perturbtest.h"
#include "search/cycles.h"

TEST(Drift, KeepsTreesOfTheScoreItReportsInEveryWeightKind)
{
    zelrun("");
    driftsettings saved;
    keepsreportedscores("drift", { "iter 6", "iter 6 fitdiff 3 rfitdiff 0.6 xfactor 6", "iter 5 nopert", "iter 7 pert auto 3 noequals",
                                     "iter 7 noauto equals fusefreq 3x1", "iter 6 nofusefreq flat 2 rflat 0.1 flatnumsubs 5" }, 1101);
}

TEST(Drift, KeepsTreesOfTheScoreItReportsForEveryKindOfCharacterAndUnderImpliedWeights)
{
    driftsettings saved;
    keepsreportedscoresofallkinds("drift=iter 6 fitdiff 2 rfitdiff 0.5;", 1102);
}

TEST(Drift, RepeatsARunFromItsSeed)
{
    zelrun("");
    driftsettings saved;
    std::mt19937 rng(1103);
    use(plain::randommatrix(rng, 25, 40));
    plain::tree start = plain::randomtree(rng, 25);
    auto run = [&](int seed) {
        usetrees({ start });
        std::string said = zelrun("rseed " + std::to_string(seed) + ";drift=iter 6;");
        for (const plain::tree &t : allkept()) said += plain::text(t);
        return said;
    };
    std::string first = run(7);
    EXPECT_EQ(first, run(7));
    EXPECT_NE(first, run(8));
    zelrun("rseed 1;keep 0;");
}

TEST(Drift, EndsWholeWhereverItIsStopped)
{
    zelrun("mxram 64;");
    driftsettings saved;
    std::mt19937 rng(1104);
    plain::data m = plain::randommatrix(rng, 10, 15, kinds()[7]);
    m.taxactive.assign(m.taxa, 1);
    use(m);
    writefile("start.trees", treadtext({ plain::randomtree(rng, 10) }));
    std::string start = "keep 0; procedure " + tempdir() + "/start.trees;";
    stopeverywhere(start + "drift:iter 6 fitdiff 2;", "drift;", atmost(24));
    stopeverywhere(start + "drift:iter 7 autoc 2 fusefreq 3x1;", "drift;", atmost(24));
    zelrun("keep 0;");
}

TEST(Drift, TimeMayRunOutInTheMiddle)
{
    zelrun("");
    driftsettings saved;
    std::mt19937 rng(1105);
    plain::data m = plain::randommatrix(rng, 12, 15, kinds()[0]);
    use(m);
    usetrees({ plain::randomtree(rng, 12) });
    untouched same;
    static int calls;
    calls = 0;
    cycling kind = { 5, 0, 0, 0, 0, 0, 0, ALG_DRIFT, [](int *tree, int) { if (++calls == 3) userstop = 3; (void)tree; }, nullptr, nullptr };
    {
        searchframe frame(driftcom);
        schgettree(mem_tree[0]);
        int n = 0;
        double best = runcycles(kind, anx, 4, 0, &n, 0);
        EXPECT_EQ(n, 2);
        EXPECT_EQ(schoptimize(anx, 1) >= best, true);
    }
    userstop = 0;
    zelrun("");
    same.check();
    zelrun("keep 0;");
}

// On data that make all trees as long every place is as good: a walk makes as many moves as it may.
TEST(Drift, MakesAsManySubstitutionsAsAskedForButFewerInSectors)
{
    zelrun("");
    driftsettings saved;
    use(plain::blankmatrix(30, 2));
    std::mt19937 rng(1106);
    usetrees({ plain::randomtree(rng, 30) });
    auto moves = [&](int wanted, bool sector) {
        searchframe frame(driftcom);
        schgettree(mem_tree[0]);
        dftshift = wanted;
        dftgiveupperc = 0;
        dftiters = 1;
        if (sector) ++realntax;
        int n;
        double was = overall_bestscore = -5;
        dftree(anx, 3, -1, &n, 0);
        if (sector) --realntax;
        EXPECT_EQ(overall_bestscore == was, sector);
        EXPECT_EQ(dftshift, wanted);
        return acceprearrangs;
    };
    EXPECT_EQ(moves(60, false), 60u);
    EXPECT_EQ(moves(7, false), 7u);
    EXPECT_EQ(moves(60, true), 25u);
    EXPECT_EQ(moves(7, true), 25u);
    dftnumflat = 3;
    dftflatshift = 4;
    EXPECT_EQ(moves(60, false), 4u);
    EXPECT_EQ(moves(60, true), 25u);                // flat cycles are for all taxa
    use(plain::blankmatrix(80, 2));
    usetrees({ plain::randomtree(rng, 80) });
    dftnumflat = 0;
    EXPECT_EQ(moves(60, true), 40u);
    EXPECT_EQ(moves(33, true), 33u);
    zelrun("keep 0;");
}

TEST(Drift, AcceptsWorseTreesOnlyInEveryOtherCycle)
{
    zelrun("");
    driftsettings saved;
    std::mt19937 rng(1107);
    int worse = 0;
    for (int trial = 0; trial < atmost(12); ++trial) {
        plain::data m = plain::randommatrix(rng, 16, 40, kinds()[0]);
        m.taxactive.assign(m.taxa, 1);
        use(m);
        usetrees({ plain::randomtree(rng, 16) });
        zelrun("bbreak=nomulpars;");
        // one cycle, of the even kind, ends no worse; with noequals it may
        auto after = [&](const char *options) {
            zelrun(std::string("drift:iter 1 ") + options + ";");
            return zelrun("drift;");
        };
        after("equals");
        std::string equal = after("equals"), pert = after("noequals fitdiff 5 rfitdiff 1");
        worse += equal != pert;
    }
    EXPECT_GT(worse, 0);
    zelrun("drift:equals;bbreak:mulpars;keep 0;");
}

// Each group of (((((1 2) 3) 4) 5) 0) has two characters without homoplasy: every other tree is longer.
TEST(Drift, EndsOnAnIslandOfOneTree)
{
    zelrun("");
    driftsettings saved;
    use(plain::fromrows({ "000000", "111111", "111111", "001111", "000011", "000000" }));
    zelrun("mult 1;");
    ASSERT_EQ(trees_in_mem, 1);
    std::string report = zelrun("drift=iter 8 nopert;");
    EXPECT_NE(report.find("1 drift cycles completed\nNOTE: Island has a single tree (no need to continue unperturbated drift)\n"),
              std::string::npos) << report;
    report = zelrun("drift=iter 4 pert;");
    EXPECT_EQ(report.find("NOTE"), std::string::npos) << report;
    EXPECT_NE(report.find("4 drift cycles completed"), std::string::npos) << report;
    // with two trees as good, it goes on
    use(plain::fromrows({ "0000", "1111", "1111", "0011", "0000", "0000" }));
    zelrun("mult 1;");
    report = zelrun("drift=iter 3 nopert;");
    EXPECT_EQ(report.find("NOTE"), std::string::npos) << report;
    EXPECT_NE(report.find("3 drift cycles completed"), std::string::npos) << report;
    zelrun("keep 0;");
}

TEST(Drift, NofindscoreIsThatOfTheRatchet)
{
    zelrun("");
    driftsettings saved;
    zelrun("ratchet:findscore 12; drift:findscore 11;");
    EXPECT_EQ(ratstop, 12);
    EXPECT_EQ(dftstop, 11);
    zelrun("drift:nofindscore;");
    EXPECT_EQ(ratstop, 0);
    EXPECT_EQ(dftstop, 11);
    zelrun("drift:findscore 0;");
    EXPECT_EQ(dftstop, 0);
    update_giveup_scores(77);
    EXPECT_EQ(ratstop, 77);
    EXPECT_EQ(dftstop, 77);
}

TEST(Drift, StopsAtTheScoreGiven)
{
    zelrun("");
    driftsettings saved;
    std::mt19937 rng(1109);
    plain::data m = plain::randommatrix(rng, 12, 20, kinds()[0]);
    use(m);
    usetrees({ plain::randomtree(rng, 12) });
    EXPECT_NE(zelrun("drift 3;").find("3 drift cycles completed\n"), std::string::npos);
    std::string score = std::to_string(plain::length(m, kept(0)));
    EXPECT_NE(zelrun("drift 9=findscore " + score + ";").find("1 drift cycles completed\n"), std::string::npos);
    zelrun("keep 0;");
}

TEST(Drift, KeepsSuboptimalTreesWithinTheLimit)
{
    zelrun("");
    driftsettings saved;
    std::mt19937 rng(1110);
    plain::data m = plain::randommatrix(rng, 14, 12, { 8, 2, 0 });
    use(m);
    usetrees({ plain::randomtree(rng, 14) });
    zelrun("bbreak=nomulpars; bbreak:mulpars; subopt 3;");
    for (const char *search : { "drift 30;", "ratchet 30;" }) {
        std::string report = zelrun(search);
        ASSERT_FALSE(zelfailed()) << report;
        long best = LONG_MAX;
        for (const plain::tree &t : allkept()) best = std::min(best, plain::length(m, t));
        for (const plain::tree &t : allkept()) EXPECT_LE(plain::length(m, t), best + 3);
        EXPECT_NE(report.find("of score " + std::to_string(best) + "-" + std::to_string(best + 3)), std::string::npos) << report;
        EXPECT_EQ(suboptimal, 3);
    }
    zelrun("subopt 0; keep 0;");
}

TEST(PerturbingSearches, MakeTreeGroupsOfWhatTheyFound)
{
    zelrun("");
    std::mt19937 rng(1111);
    use(plain::randommatrix(rng, 9, 12, kinds()[0]));
    usetrees({ plain::randomtree(rng, 9) });
    zelrun("ratchet 2; drift 2;");
    std::string shown = zelrun("tgroup;");
    EXPECT_NE(shown.find("ratchet"), std::string::npos) << shown;
    EXPECT_NE(shown.find("drifting"), std::string::npos) << shown;
    zelrun("keep 0;");
}
