#include "sectortest.h"
#include "search/constpack.h"
#include "search/constraints.h"
#include "search/keeptrees.h"
#include "search/pfijo.h"
#include "search/sectsel.h"
#include "search/setup.h"
#include "kernel/progress.h"
#include "kernel/random.h"

using namespace sectors;

namespace {
struct pinonsettings {                     // as at the start, for one test
    ~pinonsettings()
    {
        zelrun("pfijo: phtus 95 numsels 30 nogoback keepall autofuse 0 3 drift 4 3 0.1 chunksize 500 slack 0;");
        zelrun("rseed 1;");
    }
};
}

TEST(PinonFijo, HasItsDefaults)
{
    EXPECT_EQ(ratssconcav, 50);
    EXPECT_EQ(ratssminsels, 30);
    EXPECT_EQ(ratssgoback, 0);
    EXPECT_EQ(ratsskeepall, 1);
    EXPECT_EQ(ratss_autofuse, 0);
    EXPECT_EQ(ratss_autofuse_fuses, 3);
    EXPECT_EQ(ratss_driftcycles, 4);
    EXPECT_EQ(ratss_fitd, 3);
    EXPECT_EQ(ratss_rfitd, 0.1);
    EXPECT_EQ(ratsschunksize, 500);
}

TEST(PinonFijo, ReadsItsOptions)
{
    pinonsettings back;
    zelrun("pfijo: phtus 100 numsels 99999 goback nokeepall autofuse 4 5 drift 7 2.5 0.3 chunksize 10;");
    ASSERT_FALSE(zelfailed());
    EXPECT_EQ(ratssconcav, 0);
    EXPECT_EQ(ratssminsels, 99999);
    EXPECT_EQ(ratssgoback, 1);
    EXPECT_EQ(ratsskeepall, 0);
    EXPECT_EQ(ratss_autofuse, 4);
    EXPECT_EQ(ratss_autofuse_fuses, 5);
    EXPECT_EQ(ratss_driftcycles, 7);
    EXPECT_EQ(ratss_fitd, 2.5);
    EXPECT_EQ(ratss_rfitd, 0.3);
    EXPECT_EQ(ratsschunksize, 10);
    std::string said = zelrun("pfijo:;");
    for (const char *line : { "99999 cycles, pieces of about 10 taxa", "probability of basal nodes 100", "7 times (fit difference 2.5, relative 0.3)",
                              "go back when", "keep only the best tree", "every 4 cycles, 5 rounds" })
        EXPECT_NE(said.find(line), std::string::npos) << line << "\n" << said;
    zelrun("pfijo: drift 3 autofuse 2;");
    EXPECT_EQ(ratss_driftcycles, 3);
    EXPECT_EQ(ratss_fitd, 2.5);
    EXPECT_EQ(ratss_autofuse_fuses, 5);
}

TEST(PinonFijo, PacksTheDataAnewWithExtraMemory)
{
    pinonsettings back;
    use(randomdata(20, 10, 3));
    zelrun("mult 1;");
    ASSERT_NE(schtag, 0);
    zelrun("pfijo: slack 7;");
    EXPECT_EQ(schtag, 0);
    EXPECT_EQ(mem_slack_for_sectors, 7);
    zelrun("pfijo= slack 8 numsels 1 drift 1;");         // of the next image
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(mem_slack_for_sectors, 8);
}

TEST(PinonFijo, RefusesWhatIsOutOfItsLimits)
{
    pinonsettings back;
    use(randomdata(20, 10, 1));
    zelrun("mult 1;");
    for (auto [words, why] : std::vector<std::pair<std::string, std::string>>{
             { ": phtus", "Give constant for prob. of basal htu's ( 0 < K <= 100)" }, { ": phtus 0", "Give constant for prob. of basal htu's" },
             { ": phtus 100.1", "Give constant for prob. of basal htu's" }, { ": numsels 0", "takes a number from 1 to 99999, not 0" },
             { ": numsels 100000", "takes a number from 1 to 99999, not 100000" },
             { ": autofuse", "Must give number of cycles between autofuses (0=none)" }, { ": drift", "Expected number of drift cycles" },
             { ": chunksize 9", "Expected chunk size (10-100000)" }, { ": chunksize", "Expected chunk size (10-100000)" },
             { ": slack 101", "Extra memory must be a number between 0 and 100" }, { ": slack", "Extra memory must be a number between 0 and 100" },
             { "&", "Wrong argument for pinon fijo: &" }, { ": nonsense", "Wrong argument for pinon fijo: nonsense" },
             { ": goback &", "Wrong argument for pinon fijo: &" }, { "0 :", "Wrong argument for pinon fijo: :" }, { "999", "No tree number 999" } }) {
        std::string said = zelrun("pfijo " + words + ";");
        EXPECT_TRUE(zelfailed()) << words;
        EXPECT_NE(said.find(why), std::string::npos) << words << said;
    }
    EXPECT_NE(zelrun("keep 0;pfijo;").find("Tree(s) are required"), std::string::npos);
    EXPECT_NE(zelrun("xwipe;pfijo;").find("Must read data before searching"), std::string::npos);
}

TEST(PinonFijo, RefusesSelfWeightingAndLandmarks)
{
    use(randomdata(20, 10, 2));
    zelrun("mult 1;");
    actlandnc = 1;
    std::string said = zelrun("pfijo= numsels 1;");
    actlandnc = 0;
    EXPECT_NE(said.find("Cannot run pinon fijo for landmark data"), std::string::npos) << said;
    zelrun("xwipe;piwe=;");
    use(randomdata(20, 10, 2));
    zelrun("mult 1;");
    doautowt = 1;
    said = zelrun("pfijo= numsels 1;");
    doautowt = 0;
    EXPECT_NE(said.find("Cannot run pinon fijo under auto-weighted optimization"), std::string::npos) << said;
    zelrun("xwipe;piwe-;");
    zelrun("pfijo: numsels 30;");
}

// The index is the whole part of K / (R + 1 + K) of the nodes, K stored as 1000 - 10 times what the user gives.
TEST(PinonFijo, DrawsNodesNearTheBaseTheMoreTheHigherTheConstant)
{
    pinonsettings back;
    EXPECT_EQ(pick_standin(102, 0), 100);                // 50 / 51
    EXPECT_EQ(pick_standin(100, 49), 50);                // 50 / 100
    EXPECT_EQ(pick_standin(9, 99), 3);                   // 50 / 150
    zelrun("pfijo: phtus 100;");
    for (int r = 0; r < 100; ++r) EXPECT_EQ(pick_standin(1000, r), 0);
    zelrun("pfijo: phtus 1;");
    for (int r = 0; r < 100; ++r) {
        EXPECT_LT(pick_standin(5, r), 5);
        EXPECT_GE(pick_standin(1000, r), 900);
    }
}

// Pieces are searched with nodes of the tree in place of subtrees: with probability 100 these are the bases, but the
// outgroup is still another terminal's.  What comes out is a tree of all taxa.
TEST(PinonFijo, PutsPiecesBackAsAWholeTree)
{
    pinonsettings back;
    for (const char *constant : { "95", "100", "1" })
        for (int trial = 0; trial < 4; ++trial) {
            use(randomdata(60, 20, 10 + trial, kinds()[trial * 2]));
            usetrees({ randombinary(60, trial) });
            zelrun(std::string("pfijo: chunksize 12 phtus ") + constant + ";");
            searchframe frame(pinon_fijocom);
            schgettree(mem_tree[0]);
            std::vector<int> was(anx, anx + hinod);
            srand(1);
            effect_pinon_fijo();
            EXPECT_NE(was, std::vector<int>(anx, anx + hinod));
            EXPECT_EQ(ntax, 60);
            std::vector<int> kids(hinod, 0);
            for (int n = 0; n < hinod; ++n)
                if (n != ntax) ++kids[anx[n]];
            for (int n = ntax; n < hinod; ++n) EXPECT_EQ(kids[n], 2);
            for (int t = 0; t < ntax; ++t) {
                int n = t, steps = 0;
                while (n != ntax && ++steps < hinod) n = anx[n];
                EXPECT_EQ(n, ntax);
            }
        }
}

TEST(PinonFijo, ImprovesTreesAndTellsTheirScore)
{
    pinonsettings back;
    for (int trial = 0; trial < atmost(6); ++trial) {
        plain::data m = randomdata(40, 30, 30 + trial, kinds()[trial]);
        use(m);
        usetrees({ randombinary(40, trial) });
        long before = plain::length(m, kept(0));
        std::string said = zelrun("pfijo= numsels 2 drift 1 chunksize 12;");
        ASSERT_FALSE(zelfailed()) << said;
        long best = LONG_MAX;
        for (int t = 0; t < trees_in_mem; ++t) {
            checktree(mem_tree[t]);
            best = std::min(best, plain::length(m, kept(t)));
        }
        EXPECT_LT(best, before);
        EXPECT_EQ(toldscore(said), double(best)) << said;
        EXPECT_NE(said.find("Pinon Fijo, best score: "), std::string::npos) << said;
        EXPECT_EQ(plain::length(m, kept(0)), best) << "the tree it started from becomes the best";
    }
}

TEST(PinonFijo, KeepsOnlyTheBestTreeWhenAskedTo)
{
    pinonsettings back;
    plain::data m = randomdata(40, 30, 40);
    use(m);
    usetrees({ randombinary(40, 1), randombinary(40, 2) });
    zelrun("pfijo= numsels 2 drift 1 chunksize 12 nokeepall;");
    ASSERT_FALSE(zelfailed());
    ASSERT_LE(trees_in_mem, 2);
    usetrees({ randombinary(40, 1), randombinary(40, 2) });
    zelrun("pfijo 1 = numsels 3 drift 2 chunksize 12 keepall;");
    EXPECT_GT(trees_in_mem, 3);
    EXPECT_EQ(plain::shape(kept(0)), plain::shape(randombinary(40, 1)));
}

TEST(PinonFijo, FusesTheTreesOfItsCycles)
{
    pinonsettings back;
    plain::data m = randomdata(40, 30, 41);
    use(m);
    for (const char *how : { "keepall", "nokeepall" }) {
        usetrees({ randombinary(40, 1) });
        std::string said = zelrun(std::string("pfijo= numsels 4 drift 1 chunksize 12 autofuse 2 2 goback ") + how + ";");
        ASSERT_FALSE(zelfailed()) << said;
        EXPECT_EQ(toldscore(said), double(plain::length(m, kept(0))));
    }
}

TEST(PinonFijo, StopsWhenTheTreesFillTheirRoom)
{
    pinonsettings back;
    plain::data m = randomdata(40, 30, 42);
    use(m);
    zelrun("hold 1;");
    usetrees({ randombinary(40, 1) });
    std::string said = zelrun("pfijo= numsels 4 drift 3 chunksize 12;");
    EXPECT_FALSE(zelfailed());
    EXPECT_NE(said.find("To continue pinon fijo, increase max. trees to 5 or more\n"), std::string::npos) << said;
    EXPECT_NE(said.find("Stopping pinon fijo (increase max. trees to continue)\n"), std::string::npos) << said;
    EXPECT_NE(zelrun("hold 100;").find("100"), std::string::npos);
    zelrun("hold 5;");
    usetrees({ randombinary(40, 1) });
    said = zelrun("pfijo= numsels 40 drift 3 chunksize 12;");
    EXPECT_NE(said.find("Stopping pinon fijo (increase max. trees to continue)\n"), std::string::npos) << said;
    EXPECT_EQ(said.find("To continue"), std::string::npos) << said;
    EXPECT_EQ(toldscore(said), double(plain::length(m, kept(0))));
    zelrun("hold 100;");
}

TEST(PinonFijo, RepeatsARunFromItsSeed)
{
    pinonsettings back;
    use(randomdata(40, 30, 45));
    auto run = [](int seed) {
        usetrees({ randombinary(40, 1) });
        std::string said = zelrun("rseed " + std::to_string(seed) + ";pfijo= numsels 3 drift 2 chunksize 12 autofuse 2;");
        EXPECT_FALSE(zelfailed()) << said;
        EXPECT_EQ(ranseed, seed);
        for (const plain::tree &t : allkept()) said += plain::text(t);
        return said.substr(said.find("Pinon"));
    };
    std::string first = run(5);
    EXPECT_EQ(first, run(5));
    EXPECT_NE(first, run(6));
}

TEST(PinonFijo, KeepsConstraints)
{
    pinonsettings back;
    const char *const forces[] = {
        "force + [1 2 3 4 5 6 7 8] + [9 10 11 12] - [13 14];",
        "force + [1 2 3 4 5 6 7 8 (9 10 11)] + [1 2 3 (4 5)] + [12 13 14 15 (1 16 17)] - [18 19 20] - [21 22];",
        "force = (0 (1 2 3 4 (5 6 7 8 (9 10 11))) (12 13 14 15 16 17 18 (19 20 21 22 23 24 25)) 26 27 28 29 30 31 32 33 34 35 36 37 38 39);",
        "force + [30 31 32 (33)] = (0 1 2 3 4 5 6 7 8 9 (10 11 12 13 14 15 16 17 18 19 20 21 22 23 24 25 26 27 28 29) 30 31 32 33 34 35 36 37 38 39);",
    };
    for (int trial = 0; trial < atmost(12); ++trial) {
        plain::data m = randomdata(40, 30, 43 + trial);
        use(m);
        zelrun(std::string(forces[trial % 4]) + "constrain=;hold 200;mult= wagner replic 1;mult: tbr replic 10;");
        ASSERT_FALSE(zelfailed());
        std::string said = zelrun("pfijo= numsels 4 drift 1 chunksize " + std::to_string(10 + trial) + " phtus " + std::to_string(1 + trial * 9) + " autofuse 2;");
        ASSERT_FALSE(zelfailed()) << said << forces[trial % 4];
        EXPECT_GT(trees_in_mem, 1);
        for (int t = 0; t < trees_in_mem; ++t) EXPECT_TRUE(fulfils_constraints(mem_tree[t])) << forces[trial % 4];
        zelrun("force];hold 100;");
    }
}
