// Driven searches.
#include "xmulttest.h"
#include "search/drift.h"
#include "search/ratchet.h"

namespace {

const char *const showall = "xmult:;ratchet:;drift:;sectsch:;tfuse:;rseed;";

}  // namespace

// Worked by hand: with H half the taxa, sectors are of (1 - 2 / (1 + L)) H terminals, a quarter more from level 3 on,
// at most H, and 45 or H where that gives less than 45.
TEST(SearchLevels, SetSectorsByTheNumberOfTaxa)
{
    zelrun("");
    xmultsettings saved;
    struct row { int taxa, least, most[11], global, large; };
    static const row rows[] = {
        { 20,   10, { 10, 10, 10, 10, 10, 10, 10, 10, 10, 10, 10 }, 2, 10 },
        { 100,  45, { 45, 45, 45, 45, 45, 45, 45, 47, 49, 50, 50 }, 2, 10 },
        { 500,  45, { 45, 45, 83, 156, 188, 208, 223, 234, 243, 250, 250 }, 8, 10 },
        { 1000, 45, { 45, 45, 167, 313, 375, 417, 446, 469, 486, 500, 500 }, 17, 20 },
        { 5000, 45, { 45, 45, 833, 1563, 1875, 2083, 2232, 2344, 2431, 2500, 2500 }, 83, 100 },
    };
    for (const row &r : rows)
        for (int level = 0; level <= 10; ++level) {
            calculate_search_parms(level, r.taxa);
            SCOPED_TRACE("level " + std::to_string(level) + ", taxa " + std::to_string(r.taxa));
            EXPECT_EQ(curlevel, level);
            EXPECT_EQ(ssminsize, r.least);
            EXPECT_EQ(ssmaxsize, r.most[level]);
            EXPECT_EQ(ssglobaltbr, r.global);
            EXPECT_EQ(ss_large_globaltbr, r.large);
            EXPECT_EQ(ssgrowfactor, 75);
        }
}

TEST(SearchLevels, SetTheOtherSearchesByTheLevelAlone)
{
    zelrun("");
    xmultsettings saved;
    static const int drift[]     = { 0, 0, 0, 4, 4, 4, 12, 18, 24, 30, 36 };
    static const int fuse[]      = { 3, 3, 3, 3, 4, 5, 6, 7, 8, 9, 10 };
    static const int selfactor[] = { 100, 66, 50, 40, 33, 28, 25, 22, 20, 18, 16 };
    static const int replics[]   = { 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14 };
    for (int level = 0; level <= 10; ++level)
        for (int taxa : { 20, 100, 500, 1000, 5000 }) {
            xmult_xmix = xmult_autoconst = 0;
            xmult_ratchet = 7;
            calculate_search_parms(level, taxa);
            EXPECT_EQ(xmult_drift, drift[level]) << level;
            EXPECT_EQ(xmult_fuse, fuse[level]) << level;
            EXPECT_EQ(ssmaxsubfactor, selfactor[level]) << level;
            EXPECT_EQ(xmult_replications, replics[level]) << level;
            EXPECT_EQ(xmult_xmix, 1);
            EXPECT_EQ(xmult_autoconst, 1);
            EXPECT_EQ(xmult_ratchet, 0);
        }
    calculate_search_parms(5.5, 100);
    EXPECT_EQ(xmult_drift, 4);
    calculate_search_parms(5.6, 100);
    EXPECT_EQ(xmult_drift, 10);                   // 1.6 x 6 = 9.6
    calculate_search_parms(2.9, 100);
    EXPECT_EQ(xmult_replications, 6);
    EXPECT_EQ(xmult_fuse, 3);
}

TEST(SearchLevels, StartAnewWhenDataAreRead)
{
    zelrun("mxram 64;");
    xmultsettings saved;
    struct row { int taxa, substitutions, least, most, global; };
    for (const row &r : { row{ 20, 20, 10, 10, 2 }, { 79, 20, 40, 40, 2 }, { 80, 10, 40, 40, 2 }, { 100, 12, 45, 45, 2 }, { 500, 62, 45, 50, 8 } }) {
        calculate_search_parms(9, 300);
        xmult_targetscore = xmult_giveupscore = 4;
        use(plain::blankmatrix(r.taxa, 2));
        SCOPED_TRACE(r.taxa);
        EXPECT_EQ(ratshift, r.substitutions);
        EXPECT_EQ(dftshift, r.substitutions);
        EXPECT_EQ(ssminsize, r.least);
        EXPECT_EQ(ssmaxsize, r.most);
        EXPECT_EQ(ssglobaltbr, r.global);
        EXPECT_EQ(ss_large_globaltbr, 10);
        EXPECT_EQ(ssgrowfactor, 75);
        EXPECT_EQ(ssmaxsubfactor, 57);
        EXPECT_EQ(curlevel, 1.5);
        EXPECT_EQ(xmult_replications, 5);
        EXPECT_EQ(xmult_fuse, 3);
        EXPECT_EQ(xmult_drift + xmult_ratchet, 0);
        EXPECT_EQ(xmult_targetscore, -1);
        EXPECT_EQ(xmult_giveupscore, -1);
    }
}

TEST(SearchLevels, FollowTheNumberOfFailures)
{
    zelrun("");
    xmultsettings saved;
    use(plain::blankmatrix(100, 2));
    change_by_level = 1;
    level_change_val = 0.5;
    auto level = [](double from, int achieved, int expected) {
        calculate_search_parms(from, ntax);
        reset_search_parms(achieved, expected, 1);
        return curlevel;
    };
    EXPECT_EQ(level(3, 6, 10), 3);
    EXPECT_EQ(level(3, 10, 10), 3);
    EXPECT_EQ(level(3, 5, 10), 2.5);
    EXPECT_EQ(level(3, 0, 10), 2.5);
    EXPECT_EQ(level(3, 11, 10), 3.5);
    EXPECT_EQ(level(0.2, 0, 10), 0);
    EXPECT_EQ(level(9.8, 30, 10), 10);
    EXPECT_EQ(xmult_replications, 14);            // and the settings that follow
    change_by_level = 0;
    auto scale = [](int achieved, int expected) {
        ssmaxsize = 40, ssminsize = 35, ssmaxsubfactor = 50;
        xmult_replications = 8, xmult_fuse = 6, xmult_drift = 5;
        xmult_rss = xmult_xss = xmult_css = xmult_xmix = xmult_autoconst = 0;
        reset_search_parms(achieved, expected, 1);
    };
    scale(30, 10);                                // a quarter more
    EXPECT_EQ(ssmaxsize, 50);
    EXPECT_EQ(ssminsize, 35);
    EXPECT_EQ(ssmaxsubfactor, 40);
    EXPECT_EQ(ssglobaltbr, 2);                    // 75 / 35
    EXPECT_EQ(xmult_replications, 10);
    EXPECT_EQ(xmult_fuse, 7);
    EXPECT_EQ(xmult_drift, 7);                    // 6 x 1.25
    EXPECT_TRUE(xmult_rss && xmult_css && xmult_xmix && xmult_autoconst);
    scale(0, 10);                                 // a quarter less
    EXPECT_EQ(ssmaxsize, 30);
    EXPECT_EQ(ssminsize, 30);
    EXPECT_EQ(ssmaxsubfactor, 66);
    EXPECT_EQ(xmult_replications, 6);
    EXPECT_EQ(xmult_fuse, 4);
    EXPECT_EQ(xmult_drift, 3);
}

TEST(Xmult, FindsTheShortestTreesOfAllForFewTaxa)
{
    zelrun("");
    xmultsettings saved;
    std::mt19937 rng(1201);
    for (int trial = 0; trial < atmost(44); ++trial) {
        plain::data m = plain::randommatrix(rng, 5 + trial % 3, 3 + plain::below(rng, 20), kinds()[size_t(trial) % kinds().size()]);
        use(m);
        plain::shortest best = plain::search(activepart(m));
        untouched same;
        std::string settings = zelrun(showall);
        std::string report = zelrun("keep 0;hold 500;xmult=hits 2;");
        ASSERT_FALSE(zelfailed()) << report;
        zelrun("hold 100;");
        same.check();
        ASSERT_NE(report.find("Best score: " + std::to_string(best.length) + ".  " + std::to_string(trees_in_mem) + " trees retained."),
                  std::string::npos) << "trial " << trial << ", " << best.length << "\n" << report;
        ASSERT_NE(report.find("No target score defined.  Best score hit 2 times."), std::string::npos) << report;
        zelrun("xmult:hits 1;");
        EXPECT_EQ(zelrun(showall), settings);
    }
    zelrun("keep 0;");
}

TEST(Xmult, KeepsTreesOfTheScoreItReportsForEveryKindOfCharacterAndUnderImpliedWeights)
{
    xmultsettings saved;
    std::mt19937 rng(1202);
    zelrun("mxram 64;");
    for (const char *weighting : { "", "piwe=3;" })
        for (const mixed::kind &k : mixed::kinds) {
            SCOPED_TRACE(std::string(k.what) + weighting);
            mixed::data d = mixed::random(rng, 14, 10, k);
            d.m.taxactive.assign(d.m.taxa, 1);
            zelrun(std::string(weighting) + "procedure " + writefile("slow.xread", mixed::readtext(d)) + ";");
            ASSERT_FALSE(zelfailed());
            untouched same;
            std::string report = zelrun("xmult=hits 1 drift 3 ratchet 2 repl 3;");
            ASSERT_FALSE(zelfailed()) << report;
            ASSERT_EQ(report.find("rror"), std::string::npos) << report;
            same.check();
            ASSERT_GT(trees_in_mem, 0);
            if (dopiwe) set_fit_minima();
            for (int t = 0; t < trees_in_mem; ++t) {
                double score = dopiwe ? mixed::fits(d, kept(t)) : mixed::length(d, kept(t));
                EXPECT_NEAR(reportscore(t), score, 1e-8);
                size_t at = report.find("Best score: ");
                ASSERT_NE(at, std::string::npos) << report;
                EXPECT_NEAR(std::stod(report.substr(at + 12)), score, dopiwe ? 1e-5 : 1e-3);
            }
            zelrun("keep 0; piwe-;");
        }
}

TEST(Xmult, CountsHitsToTheBestScoreOnly)
{
    zelrun("");
    xmultsettings saved;
    std::mt19937 rng(1203);
    plain::data m = plain::randommatrix(rng, 30, 60, kinds()[0]);
    m.taxactive.assign(m.taxa, 1);
    use(m);
    zelrun("hold 500;");
    for (int hits : { 1, 3, 6 }) {
        std::string report = zelrun("keep 0;xmult=repl 1 norss nocss nofuse nomultiply hits " + std::to_string(hits) + ";");
        ASSERT_FALSE(zelfailed()) << report;
        EXPECT_EQ(macro_last_numhits, hits);
        EXPECT_NE(report.find("Best score hit " + std::to_string(hits) + " times."), std::string::npos) << report;
        long best = plain::length(m, kept(0));
        for (const plain::tree &t : allkept()) EXPECT_EQ(plain::length(m, t), best);
    }
    // each hit counts, whatever its score
    std::string report = zelrun("keep 0;xmult=noupdate hits 4;");
    EXPECT_NE(report.find("Best score hit 4 times."), std::string::npos) << report;
    zelrun("keep 0;hold 100;");
}

TEST(Xmult, HitsATargetAndGivesUpAtAScore)
{
    zelrun("");
    xmultsettings saved;
    std::mt19937 rng(1204);
    plain::data m = plain::randommatrix(rng, 20, 40, kinds()[0]);
    m.taxactive.assign(m.taxa, 1);
    use(m);
    zelrun("hold 500;xmult=hits 3;");
    long best = plain::length(m, kept(0));
    std::string report = zelrun("keep 0;xmult=repl 2 hits 2 targetscore " + std::to_string(best) + ";");
    ASSERT_FALSE(zelfailed()) << report;
    EXPECT_NE(report.find("Target score " + std::to_string(best) + " hit 2 times"), std::string::npos) << report;
    EXPECT_EQ(plain::length(m, kept(0)), best);
    // a target that is easily hit, and then moves on
    report = zelrun("keep 0;xmult=repl 2 hits 1 targetscore " + std::to_string(best + 100) + ";");
    EXPECT_NE(report.find("Target score "), std::string::npos) << report;
    report = zelrun("keep 0;xmult=notarget hits 50 giveupscore " + std::to_string(best + 200) + ";");
    ASSERT_FALSE(zelfailed()) << report;
    EXPECT_NE(report.find("Completed search.\n"), std::string::npos) << report;
    EXPECT_EQ(trees_in_mem, 1);
    EXPECT_EQ(userstop, 0);
    EXPECT_EQ(ratstop, 0);
    EXPECT_EQ(dftstop, 0);
    zelrun("xmult:nogiveup;keep 0;hold 100;");
}

TEST(Xmult, SaysWhenThereIsNoSpaceForItsTrees)
{
    zelrun("");
    xmultsettings saved;
    std::mt19937 rng(1205);
    use(plain::randommatrix(rng, 12, 20, kinds()[0]));
    untouched same;
    zelrun("hold 3;");
    std::string report = zelrun("xmult=repl 5;");
    EXPECT_FALSE(zelfailed());
    EXPECT_NE(report.find("\n\nNo space to store more trees! Increase max.trees and retry.\n\n"), std::string::npos) << report;
    EXPECT_EQ(trees_in_mem, 0);
    zelrun("hold 12;");
    report = zelrun("xmult=repl 5 hold 10 hits 1;");         // two each
    EXPECT_FALSE(zelfailed());
    EXPECT_LE(trees_in_mem, 12);
    EXPECT_GT(trees_in_mem, 0);
    report = zelrun("keep 0;xmult=repl 5 hold 1 keepall hits 9 nomultiply;");
    EXPECT_NE(report.find("No space to store more trees!"), std::string::npos) << report;
    EXPECT_GT(trees_in_mem, 4);
    zelrun("keep 0;hold 100;");
    same.check();
}

TEST(Xmult, StabilizesTheConsensusAndSavesIt)
{
    zelrun("");
    xmultsettings saved;
    int rule = current_collapsing_rule();
    std::mt19937 rng(1206);
    for (int trial = 0; trial < atmost(9); ++trial) {
        plain::data m = plain::randommatrix(rng, 10, 12, kinds()[0]);
        m.taxactive.assign(m.taxa, 1);
        use(m);
        set_collapsing_rule(rule);
        zelrun("hold 500;");
        std::string report = zelrun("keep 0;xmult=repl 2 hits 1 consense 3 conbase 2;");
        ASSERT_FALSE(zelfailed()) << report;
        size_t at = report.find("Consensus (");
        ASSERT_NE(at, std::string::npos) << report;
        int nodes = -1, times = 0, number = -1;
        ASSERT_EQ(sscanf(report.c_str() + at, "Consensus (%i nodes, stabilized %i times) saved as tree %i", &nodes, &times, &number), 3) << report;
        EXPECT_EQ(times, 3);
        EXPECT_EQ(number, trees_in_mem - 1);
        EXPECT_EQ(countnodes(mem_tree[number]), nodes);
        EXPECT_NE(report.find("Number of nodes in each stabilization: "), std::string::npos) << report;
        checktree(mem_tree[number]);
        // three times compared and once more for each, every two hits
        int hits = 0;
        ASSERT_EQ(sscanf(report.c_str() + report.find("hit "), "hit %i", &hits), 1);
        EXPECT_GE(hits, 12);
        // its groups are in all trees that are kept
        std::vector<uint64_t> groups = plain::groups(kept(number));
        std::set<uint64_t> common;
        for (int n = 11; n < mem_tree[number][nt]; ++n) common.insert(groups[size_t(n)]);
        for (int t = 0; t < number; ++t) {
            std::vector<uint64_t> all = plain::groups(kept(t));
            std::set<uint64_t> has(all.begin(), all.end());
            for (uint64_t g : common) EXPECT_TRUE(has.count(g)) << "trial " << trial << ", tree " << t;
        }
        EXPECT_EQ(current_collapsing_rule(), int(COLL_TBR));
        set_collapsing_rule(rule);
    }
    zelrun("keep 0;hold 100;");
}

TEST(Xmult, RepeatsARunFromItsSeed)
{
    zelrun("");
    xmultsettings saved;
    std::mt19937 rng(1207);
    plain::data m = plain::randommatrix(rng, 30, 40);
    m.taxactive.assign(m.taxa, 1);
    use(m);
    zelrun("hold 500;");
    auto run = [&](int seed) {
        std::string said = zelrun("keep 0;rseed " + std::to_string(seed) + ";xmult=hits 2 drift 2 ratchet 2;");
        EXPECT_FALSE(zelfailed()) << said;
        EXPECT_EQ(ranseed, seed);
        for (const plain::tree &t : allkept()) said += plain::text(t);
        return said;
    };
    std::string first = run(7), settings = zelrun(showall);
    EXPECT_EQ(first, run(7));
    EXPECT_EQ(zelrun(showall), settings);
    EXPECT_NE(first, run(8));
    zelrun("rseed 1;keep 0;hold 100;");
}

TEST(Xmult, RunsEveryStage)
{
    zelrun("mxram 64;");
    xmultsettings saved;
    std::mt19937 rng(1208);
    plain::data m = plain::randommatrix(rng, 24, 40, kinds()[0]);
    m.taxactive.assign(m.taxa, 1);
    use(m);
    zelrun("hold 1000;");
    for (const char *how : { "xss", "rebuild 2", "ratchet 3 hold 3", "drift 3 hold 3", "autoconst 2 prvmix", "autoconst 3", "noautoconst nocss",
                             "gfuse 2 hits 4", "hfuse 5 hits 5 repl 2", "hybrid x 2 repl 2", "picktype 0.5", "picktype 1000 repl 2", "dumpfuse",
                             "keepall", "nomultiply", "chklevel 2 hits 4", "chklevel +0.5 2 hits 4", "cas 3", "verbose" }) {
        SCOPED_TRACE(how);
        xmultsettings each;
        untouched same;
        std::string report = zelrun(std::string("keep 0;xmult=repl 3 hits 1 nodrift ") + how + ";xmult:ras;");
        ASSERT_FALSE(zelfailed()) << report;
        ASSERT_EQ(report.find("rror"), std::string::npos) << report;
        same.check();
        ASSERT_GT(trees_in_mem, 0);
        long best = LONG_MAX;
        for (const plain::tree &t : allkept()) best = std::min(best, plain::length(m, t));
        for (const plain::tree &t : allkept()) EXPECT_TRUE(xmult_keepall || plain::length(m, t) == best);
        EXPECT_NE(report.find("Best score: " + std::to_string(best) + ".  " + std::to_string(trees_in_mem) + " trees retained."), std::string::npos)
            << report;
    }
    // targets that are missed for a while
    zelrun("keep 0;xmult=hits 3;");
    std::string target = std::to_string(plain::length(m, kept(0)));
    for (const char *how : { "retouch 1", "filter 1", "retouch 1 filter 2", "hybrid x 1", "chklevel 1" }) {
        xmultsettings each;
        std::string report = zelrun(std::string("keep 0;xmult=repl 1 hits 1 nodrift norss nocss ") + how + " targetscore " + target + ";");
        ASSERT_FALSE(zelfailed()) << report;
        EXPECT_NE(report.find("Target score " + target + " hit 1 times"), std::string::npos) << how << report;
    }
    zelrun("keep 0;hold 100;");
}

TEST(Xmult, EndsWholeWhereverItIsStopped)
{
    zelrun("mxram 64;");
    xmultsettings saved;
    std::mt19937 rng(1209);
    plain::data m = plain::randommatrix(rng, 12, 20, kinds()[7]);
    m.taxactive.assign(m.taxa, 1);
    use(m);
    zelrun("hold 200;");
    writefile("start.trees", treadtext({ plain::randomtree(rng, 12) }));
    std::string start = "keep 0; procedure " + tempdir() + "/start.trees;";
    stopeverywhere(start, "xmult=repl 3 drift 2 ratchet 2 hits 2;", atmost(21));
    stopeverywhere(start, "xmult=repl 2 nodrift noratchet hits 2 hybrid x 1 retouch 1;", atmost(12));
    zelrun("keep 0;hold 100;");
}

TEST(Xmult, ObeysTheUsersConstraints)
{
    xmultsettings saved;
    zelrun("mxram 64;");
    std::mt19937 rng(1210);
    plain::data m = plain::randommatrix(rng, 16, 25, kinds()[0]);
    m.taxactive.assign(m.taxa, 1);
    use(m);
    zelrun("hold 200;");
    for (const char *force : { "force + [ 1 2 3 ];", "force + [ 5 6 7 ] - [ 1 2 ];", "force = (0 ((1 2 3) (4 5) 6) (7 8 9 10 11) 12 13 14 15);" }) {
        zelrun(std::string("keep 0; rseed 4; ") + force + "constrain =;");
        ASSERT_FALSE(zelfailed());
        std::string shown = zelrun("constrain;");
        std::string report = zelrun("xmult=repl 3 hits 2 drift 2 ratchet 2;");
        ASSERT_FALSE(zelfailed()) << report << force;
        EXPECT_NE(report.find("Constraints enforced during search.\n"), std::string::npos) << report;
        EXPECT_EQ(zelrun("constrain;"), shown);
        for (int t = 0; t < trees_in_mem; ++t) EXPECT_TRUE(fulfils_constraints(mem_tree[t]));
        EXPECT_TRUE(zelrun("xmult=rebuild 2;").find("Sorry, cannot rebuild trees with constraints") != std::string::npos);
        zelrun("xmult:norebuild;constrain -;force ];");
    }
    zelrun("keep 0;hold 100;");
}

TEST(Xmult, RefusesWhatDoesNotGoTogether)
{
    zelrun("");
    xmultsettings saved;
    std::mt19937 rng(1211);
    use(plain::randommatrix(rng, 10, 15, kinds()[0]));
    auto refuses = [&](const std::string &options, const std::string &text) {
        xmultsettings each;
        std::string said = zelrun("xmult=" + options + ";");
        EXPECT_TRUE(zelfailed()) << options;
        EXPECT_NE(said.find(text), std::string::npos) << said;
    };
    refuses("css noautoconst", "Constraint-based sectorial searches require tree constraints");
    refuses("targetscore 5 nofuse nohybrid", "To search for a target score, must use fusing or hybridization");
    refuses("filter 2 keepall", "Options \"filter\" and \"keepall\" are not valid together");
    refuses("filter 2 retouch 3", "The number for \"filter\" must be larger than for \"retouch\"");
    num_fuses_all_starts = 3;
    refuses("retouch 1", "Cannot retouch trees with sectorial searches that do fusing;");
    num_fuses_all_starts = 0;
    zelrun("keep 0;");
}

TEST(Xmult, GroupsTheTreesItFound)
{
    zelrun("");
    xmultsettings saved;
    std::mt19937 rng(1212);
    use(plain::randommatrix(rng, 9, 12, kinds()[0]));
    zelrun("xmult;");
    EXPECT_FALSE(zelfailed());
    EXPECT_NE(zelrun("tgroup;").find("new_tech_sch"), std::string::npos);
    zelrun("keep 0;");
}

TEST(Xmult, AndItsPartsTakeTheFewestTaxaAndNoCharacters)
{
    zelrun("");
    xmultsettings saved;
    for (int active = 4; active <= 6; ++active)
        for (int chars : { 0, 5 }) {
            std::mt19937 rng(unsigned(1213 + active));
            plain::data m = plain::randommatrix(rng, 7, 5, kinds()[0]);
            m.taxactive.assign(7, 1);
            use(m);
            std::string inactive = "taxcode -";
            for (int t = active; t < 7; ++t) inactive += " " + std::to_string(t);
            std::string done = zelrun(inactive + ";");
            ASSERT_FALSE(zelfailed()) << done;
            if (!chars) zelrun("ccode ] .;");
            for (const char *search : { "mult 1;", "ratchet=iter 4 up 30 down 30;", "drift 4;", "xmult=repl 2 drift 2 ratchet 2 hits 2;" }) {
                std::string said = zelrun(search);
                EXPECT_FALSE(zelfailed()) << active << " taxa: " << said;
                EXPECT_GT(trees_in_mem, 0);
            }
            zelrun("xmult:hits 1;ratchet:iter 50 up 4 down 4;keep 0;");
        }
}
