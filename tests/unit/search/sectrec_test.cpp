#include "sectortest.h"
#include "search/drift.h"
#include "search/mult.h"
#include "search/sectrec.h"
#include "search/sectsel.h"
#include "search/setup.h"
#include "kernel/errors.h"
#include "kernel/progress.h"
#include <cstring>

using namespace sectors;

namespace {
// All that describes data and settings, as text.
std::string situation()
{
    std::string text = zelrun("ccode;sectsch:;bbreak:;rseed;force*;constrain;hold;piwe;outgroup;xgroup;agroup;taxname;");
    for (int t = 0; t < nt; ++t)
        text += std::string(taxname[t]) + std::string(reinterpret_cast<const char *>(matrix1[t]), size_t(nc) * size_t(celldim)) + char('0' + taxact[t]);
    return text;
}

std::string log(const char *name) { return tempdir() + "/" + name; }

// What the commands print when they run on each sector, told to a file of their own.
std::string sectorsprint(const std::string &commands, const std::string &words)
{
    std::string file = log("sectors.txt");
    std::string said = zelrun("log " + file + ";sectsch= [silent-all;" + commands + "silent=all;] " + words + ";log/;silent-all;");
    EXPECT_FALSE(zelfailed()) << said;
    return readfile(file);
}
}

TEST(SectorInstructions, LeaveDataAndSettingsAsTheyWere)
{
    keepsectsettings settings;
    for (const char *more : { "", "piwe=;", "piwe=;xpiwe(*0.5;", "piwe=;xpiwe/1x2 3.6;", "force + [1 2 3 4];constrain=;", "taxcode-7;", "xgroup=0 1 2 3;" }) {
        zelrun("piwe-;");
        if (!strncmp(more, "piwe=;", 6)) zelrun("xwipe;piwe=;");
        use(randomdata(40, 30, 11));
        zelrun(std::string(more) + "mult: wagner replic 1;mult;mult: tbr replic 10;sectsch: minsize 12 maxsize 15 selfact = 3 2;");
        ASSERT_FALSE(zelfailed());
        std::string before = situation();
        std::string said = zelrun("sectsch= [mult 2; force + [1 2]; hold 30; ccode /3 0 1; outgroup 2; xgroup =1 0 2; tgroup =0 0; taxcode - 3;] tree 0;");
        EXPECT_FALSE(zelfailed()) << said;
        EXPECT_EQ(situation(), before) << more;
        check_everything();
        EXPECT_EQ(ss_recurse_level, 0);
        EXPECT_EQ(nlocks, 3 + (consttag != 0)) << "data, trees, image";
        zelrun("force];piwe-;");
    }
}

TEST(SectorInstructions, ChangeSettingsForGoodButThoseOfSectors)
{
    keepsectsettings settings;
    use(randomdata(40, 20, 12));
    zelrun("mult 1;bbreak:clustersize 15;sectsch: minsize 12 maxsize 20 starts 3;");
    zelrun("sectsch= [bbreak: clustersize 9; mult: hold 3; subopt 2; drift: iter 7; sectsch: starts 9 minsize 7 xss;] tree 0;");
    ASSERT_FALSE(zelfailed());
    EXPECT_EQ(clustersize, 9);
    EXPECT_EQ(mults.hold, 3);
    EXPECT_EQ(suboptimal, 2);
    EXPECT_EQ(ssnumstarts, 3);
    EXPECT_EQ(ssminsize, 12);
    EXPECT_EQ(ss_type, SS_RANDOM);
    zelrun("bbreak:clustersize 15;mult: hold 10; subopt 0; drift: iter 30;");
}

TEST(SectorInstructions, ImproveTheTreeAndTellItsScore)
{
    keepsectsettings settings;
    for (size_t trial = 0; trial < kinds().size(); ++trial) {
        plain::data m = randomdata(40, 30, 20 + int(trial), kinds()[trial]);
        use(m);
        usetrees({ randombinary(40, int(trial)) });
        long before = plain::length(m, kept(0));
        std::string said = zelrun("sectsch= minsize 12 maxsize 20 noglobal selfact = 6 6 [mult 2;] tree 0;");
        ASSERT_FALSE(zelfailed()) << said;
        long now = plain::length(m, kept(0));
        EXPECT_LT(now, before);
        EXPECT_EQ(toldscore(said), double(now)) << said;
        EXPECT_NE(said.find("Note: sectors analyzed with user-specified routine(s)\n"), std::string::npos) << said;
    }
}

// The score told, whatever the kinds of characters, weighted by steps or by fits.
TEST(SectorInstructions, WorkWithAllKindsOfCharactersAndWeights)
{
    keepsectsettings settings;
    std::mt19937 rng(31);
    int done = 0;
    for (const mixed::kind &k : mixed::kinds)
        for (int weighting = 0; weighting < 2; ++weighting) {
            if (++done % 3 && atmost(3) < 3) continue;
            zelrun(weighting ? "xwipe;piwe=4;" : "xwipe;piwe-;");
            mixed::data d = mixed::random(rng, 24, 16, k);
            d.m.taxactive.assign(24, 1);
            zelrun("mxram 64;procedure " + writefile("sector.xread", mixed::readtext(d)) + ";rseed 1;mult= wagner replic 1;mult: tbr replic 10;");
            ASSERT_FALSE(zelfailed()) << k.what;
            auto score = [&] { return weighting ? mixed::fits(d, kept(0)) : mixed::length(d, kept(0)); };
            zelrun(weighting ? "fit;" : "length;");
            double before = score();
            std::string said = zelrun("sectsch= minsize 8 maxsize 12 selfact = 6 6 [mult 2;] tree 0;");
            ASSERT_FALSE(zelfailed()) << k.what << said;
            zelrun(weighting ? "fit;" : "length;");
            EXPECT_NEAR(toldscore(said), score(), 0.00051) << k.what << weighting;
            EXPECT_LE(score(), before + 1e-6) << k.what << weighting;
        }
    zelrun("xwipe;piwe-;");
}

// A sector has its own names for what hangs from it; the sector's tree is the one in memory.
TEST(SectorInstructions, RunOnAMatrixOfTheSector)
{
    keepsectsettings settings;
    plain::data m = randomdata(30, 30, 41);
    use(m);
    usetrees({ randombinary(30, 3) });
    zelrun("taxname=;");
    std::string said = sectorsprint("taxlabels;hold;", "minsize 10 maxsize 10 selfact = 1 tree 0");
    EXPECT_NE(said.find("0 ROOT"), std::string::npos) << said;
    EXPECT_NE(said.find("HTU_"), std::string::npos) << said;
    EXPECT_NE(said.find("Space for 100 trees"), std::string::npos) << said;
    zelrun("taxname-;");
    usetrees({ randombinary(30, 3) });
    said = sectorsprint("taxlabels;", "minsize 10 maxsize 10 selfact = 1 tree 0");
    EXPECT_NE(said.find("Tax_"), std::string::npos) << said;
    zelrun("sectsch: selfact 50;");
}

TEST(SectorInstructions, OfNoTreesLeaveTheSector)
{
    keepsectsettings settings;
    plain::data m = randomdata(30, 30, 42);
    use(m);
    plain::tree t = randombinary(30, 3);
    for (const char *commands : { "keep 0;", "taxcode-3;mult 1;", "bbreak: tbr;" }) {
        usetrees({ t });
        std::string said = zelrun(std::string("sectsch= noglobal minsize 10 maxsize 15 [") + commands + "] tree 0;");
        EXPECT_FALSE(zelfailed()) << said;
        EXPECT_EQ(plain::shape(kept(0)), plain::shape(t)) << commands;
    }
}

TEST(SectorInstructions, MayBeFollowedWithoutChangingTheTree)
{
    keepsectsettings settings;
    plain::data m = randomdata(30, 30, 43);
    use(m);
    plain::tree t = randombinary(30, 3);
    usetrees({ t });
    std::string said = zelrun("sectsch= minsize 10 maxsize 15 track tree 0 [mult 2;];");
    EXPECT_FALSE(zelfailed()) << said;
    EXPECT_NE(said.find("Note: sectors analyzed with user-specified routine(s),\n      making no substitutions to the tree (tracking)\n"), std::string::npos) << said;
    EXPECT_EQ(plain::shape(kept(0)), plain::shape(t));
    said = zelrun("sectsch= minsize 10 maxsize 15 tree 0 [sectsch = track tree 0 [mult 1;];];");
    EXPECT_NE(said.find("The \"tracking\" option can only be set at the first level of recursion"), std::string::npos) << said;
}

// On a comb of 21 taxa, 0 (1 (2 ... , what lies two branches around the node above 10: the taxa 9, 10, 11, and the
// subtree behind them.
TEST(SectorInstructions, OfASectorThatIsFollowedKnowItsNodes)
{
    keepsectsettings settings;
    zelrun("xwipe;macro=;");
    ASSERT_FALSE(zelfailed());
    use(randomdata(21, 20, 49));
    std::string text = "tread (0 ";
    for (int t = 1; t < 19; ++t) text += "(" + std::to_string(t) + " ";
    text += "(19 20)" + std::string(18, ')') + ");procedure/;\n";
    zelrun("keep 0;taxname=;procedure " + writefile("comb.trees", text) + ";");
    ASSERT_FALSE(zelfailed());
    auto above = [](int t) { return std::to_string(mem_tree[0][t]); };
    const std::string beyond = above(12), center = above(10), word = "sectsch= dss " + center + " 2 tree 0 ";
    std::string said = zelrun(word + "track [set 0 nodtosect[9]; set 1 nodtosect[3]; set 2 nodtosect[" + beyond + "]; set 3 nodtosect[" + center
                              + "]; set 4 biginsect[11]; set 5 bignotsect[11]; set 6 biginsect[12]; set 7 bignotsect[12]; set 8 bigntax; set 9 ntax;"
                              " set 10 $$taxon '2';];");
    ASSERT_FALSE(zelfailed()) << said;
    auto value = [](int n) {
        std::string shown = zelrun("quote ='" + std::to_string(n) + "'=;");
        return std::stoi(shown.substr(shown.find('=') + 1));
    };
    auto isterminal = [&](int n) { return value(n) >= 1 && value(n) <= 4; };
    EXPECT_TRUE(isterminal(0));
    EXPECT_EQ(value(1), -1);
    EXPECT_TRUE(isterminal(2));
    EXPECT_NE(value(0), value(2));
    EXPECT_GT(value(3), 5) << "a node above the root, which is 5";
    EXPECT_EQ(value(4), 1);
    EXPECT_EQ(value(5), 0);
    EXPECT_EQ(value(6), 0);
    EXPECT_EQ(value(7), 1);
    EXPECT_EQ(value(8), 20);
    EXPECT_EQ(value(9), 4);
    EXPECT_NE(zelrun("quote $10;").find("HTU_" + beyond), std::string::npos);
    said = zelrun(word + "[set 0 nodtosect[9];];");
    EXPECT_NE(said.find("No sector is being analyzed with \"track\""), std::string::npos) << said;
    EXPECT_NE(zelrun("set 0 nodtosect[9];").find("No sector is being analyzed with \"track\""), std::string::npos);
    said = zelrun(word + "track [set 0 nodtosect[41];];");
    EXPECT_NE(said.find("No node 41"), std::string::npos) << said;
    // another outgroup: taxa have other numbers within the search
    zelrun("outgroup 5;");
    said = zelrun("sectsch= dss 10 3 tree 0 track [set 0 nodtosect[10]; set 1 nodtosect[5]; set 10 $$taxon '0';];");
    ASSERT_FALSE(zelfailed()) << said;
    EXPECT_GT(value(0), 0);
    EXPECT_EQ(value(1), -1);
    EXPECT_NE(zelrun("quote $10;").find("t10"), std::string::npos);
    zelrun("taxname-;macro-;xwipe;");
}

TEST(SectorInstructions, ThatLeaveAWorseTreeChangeNothing)
{
    keepsectsettings settings;
    plain::data m = randomdata(40, 30, 50);
    use(m);
    zelrun("mult= replic 3 hold 1;keep 1;");
    plain::tree t = kept(0);
    std::string said = zelrun("sectsch= minsize 15 maxsize 20 noglobal tree 0 [keep 0; randtrees 1;];");
    EXPECT_FALSE(zelfailed()) << said;
    EXPECT_EQ(plain::shape(kept(0)), plain::shape(t));
    EXPECT_EQ(toldscore(said), double(plain::length(m, t)));
}

TEST(SectorInstructions, RunWithinInstructionsThreeLevelsDeep)
{
    keepsectsettings settings;
    zelrun("xwipe;sectsch: recurse 2;");
    plain::data m = randomdata(80, 30, 44);
    use(m);
    usetrees({ randombinary(80, 5) });
    long before = plain::length(m, kept(0));
    std::string said = zelrun("sectsch= noglobal minsize 40 maxsize 40 selfact = 2 tree 0 [ sectsch= minsize 15 maxsize 20 selfact = 2 ["
                              "sectsch = minsize 7 maxsize 7 selfact = 2 [mult 2;]; ]; ];");
    ASSERT_FALSE(zelfailed()) << said;
    EXPECT_LT(plain::length(m, kept(0)), before);
    EXPECT_EQ(toldscore(said), double(plain::length(m, kept(0))));
    check_everything();
    EXPECT_EQ(nlocks, 3);
    said = zelrun("sectsch= minsize 40 maxsize 40 selfact = 1 tree 0 [sectsch= minsize 20 selfact = 1 [sectsch= minsize 10 selfact = 1 ["
                  "sectsch = minsize 5 selfact = 1 [mult 1;];];];];");
    EXPECT_NE(said.find("Can't recurse sectorial searches more than 2 levels\nMaximum level of recursion must be set BEFORE reading data"), std::string::npos) << said;
    EXPECT_EQ(ss_recurse_level, 0);
    EXPECT_EQ(nt, 80);
    check_everything();
    zelrun("sectsch: recurse 0 selfact 50;");
}

// At each level the settings of sectors are its own again when the level below is done; all others stay as they were set.
TEST(SectorInstructions, ThreeLevelsDeepGiveBackTheSettingsOfSectorsAndNoOthers)
{
    keepsectsettings settings;
    zelrun("xwipe;sectsch: recurse 2;");
    use(randomdata(80, 20, 51));
    usetrees({ randombinary(80, 5) });
    zelrun("sectsch: starts 3 noglobal selfact = 1;mult: replic 10;");
    const std::string show = "silent-all;sectsch:;silent=all;", third = "sectsch: starts 6 combstarts 9 godrift 44; drift: iter 8; mult: replic 2; " + show + "mult;";
    const std::string second = "sectsch: starts 5; mult: hold 7; sectsch= minsize 8 maxsize 8 [" + third + "]; " + show;
    const std::string first = "sectsch: starts 4; subopt 1; sectsch= minsize 16 maxsize 16 [" + second + "]; " + show;
    std::string before = zelrun("sectsch: minsize 40 maxsize 40;sectsch:;");
    auto startstold = [](const std::string &said) {
        std::vector<int> starts;
        for (size_t at = said.find("small sectors: "); at != std::string::npos; at = said.find("small sectors: ", at + 1))
            starts.push_back(std::stoi(said.substr(at + 15)));
        return starts;
    };
    std::string file = log("levels.txt"), said = zelrun("log " + file + ";sectsch= tree 0 [" + first + "];log/;silent-all;");
    ASSERT_FALSE(zelfailed()) << said;
    EXPECT_EQ(startstold(readfile(file)), (std::vector<int>{ 6, 5, 4 }));
    EXPECT_EQ(zelrun("sectsch:;"), before);
    EXPECT_EQ(dftiters, 8);
    EXPECT_EQ(mults.hold, 7);
    EXPECT_EQ(suboptimal, 1);
    EXPECT_EQ(use_user_ss_insts, 0);
    // an error at the third level is one of the command as a whole
    zelrun("subopt 0;");
    said = zelrun("sectsch= tree 0 [sectsch: starts 4; sectsch= minsize 16 maxsize 16 [sectsch: starts 5; sectsch= minsize 8 maxsize 8 [sectsch: starts 6; nonsense;];];];");
    EXPECT_TRUE(zelfailed());
    EXPECT_NE(said.find("Unknown command: nonsense"), std::string::npos) << said;
    EXPECT_EQ(zelrun("sectsch:;"), before);
    EXPECT_EQ(ss_recurse_level, 0);
    EXPECT_EQ(nt, 80);
    EXPECT_EQ(nlocks, 3);
    check_everything();
    zelrun("drift: iter 30;mult: replic 10 hold 10;sectsch: recurse 0 selfact 50;");
}

// [] stands for the text of the level above.
TEST(SectorInstructions, MayRepeatThoseOfTheLevelAbove)
{
    keepsectsettings settings;
    zelrun("xwipe;sectsch: recurse 1;");
    use(randomdata(60, 20, 45));
    usetrees({ randombinary(60, 5) });
    std::string said = zelrun("sectsch= minsize 30 selfact = 1 tree 0 [mult 1; sectsch= minsize 12 selfact = 1 [];];");
    EXPECT_NE(said.find("Can't recurse sectorial searches more than 1 levels"), std::string::npos) << said;   // it runs itself
    zelrun("sectsch: recurse 0 selfact 50;");
}

TEST(SectorInstructions, RefuseCommandsThatWouldDropTheWhole)
{
    keepsectsettings settings;
    plain::data m = randomdata(30, 20, 46);
    use(m);
    std::string file = writefile("other.xread", plain::readtext(randomdata(8, 5, 1)));
    plain::tree t = randombinary(30, 3);
    for (auto [command, why] : std::vector<std::pair<std::string, std::string>>{
             { "xwipe", "Command \"xwipe\" can't be used for the analysis of sectors" },
             { "mxram 80", "Command \"mxram\" can't be used for the analysis of sectors" },
             { "procedure " + file, "Data can't be replaced during the analysis of sectors" },
             { "hold 5/5", "Cannot reset tree-vault size under recursive sectorial searches" },
             { "tvault>0", "Cannot access tree-vault during recursive sectorial searches" },
             { "nonsense", "Unknown command: nonsense" } }) {
        usetrees({ t });
        std::string before = situation();
        std::string said = zelrun("sectsch= minsize 10 maxsize 15 tree 0 [" + command + ";];");
        EXPECT_TRUE(zelfailed());
        EXPECT_NE(said.find(why), std::string::npos) << said;
        EXPECT_EQ(ss_recurse_level, 0);
        EXPECT_EQ(doing_a_search, 0);
        EXPECT_EQ(trees_are_packed, 0);
        EXPECT_EQ(nt, 30);
        ASSERT_EQ(trees_in_mem, 1);
        EXPECT_EQ(plain::shape(kept(0)), plain::shape(t));
        check_everything();
        (void)before;
        EXPECT_NE(zelrun("mult 1;").find("Best score"), std::string::npos);
    }
}

// The failure leaves the whole tree, as any other.
TEST(SectorInstructions, NeedMemoryForDataOfTheirOwn)
{
    keepsectsettings settings;
    plain::tree t = randombinary(40, 1);
    use(randomdata(40, 30, 47));
    usetrees({ t });
    bool failed = false;
    {
        searchframe frame(sectschcom);
        schgettree(mem_tree[0]);
        sectorrun run;
        start_sectors(&run, anx);
        division d;
        divide_tree(&d, tree_top(anx), nullptr, { 10, 20 }, hinod, false);
        mark_piece(&d, 0);
        ASSERT_TRUE(make_small_matrix(d.base[0], d.size[0]));
        std::vector<int> tree(sectree, sectree + hinod);
        strcpy(user_ss_insts, "mult 1;");
        constexpr size_t LEFT = 30000;                   // more than what is put aside, less than what data need
        ASSERT_GT(vailram(), LEFT);
        loram((vailram() - LEFT) & ~size_t(7));
        jumpchain = 1;
        try {
            run_user_instructions(tree.data());
        } catch (const unwound &) {
            failed = true;
        }
        jumpchain = 0;
    }
    std::string said = zelrun("");
    EXPECT_TRUE(failed);
    EXPECT_NE(said.find("Sorry, not enough memory to continue"), std::string::npos) << said;
    EXPECT_EQ(ss_recurse_level, 0);
    EXPECT_EQ(nt, 40);
    EXPECT_EQ(plain::shape(kept(0)), plain::shape(t));
    check_everything();
}

TEST(SectorInstructions, AreRefusedUnderSelfWeighting)
{
    keepsectsettings settings;
    zelrun("xwipe;piwe=;");
    use(randomdata(30, 20, 48));
    zelrun("mult 1;");
    doautowt = 1;
    std::string said = zelrun("sectsch: [mult 1;];");
    doautowt = 0;
    EXPECT_NE(said.find("Sorry, user instructions for sectors can't\nbe used under auto-weighted optimization"), std::string::npos) << said;
    zelrun("xwipe;piwe-;");
}

// Constraints of the whole hold in the sector.
TEST(SectorInstructions, ObeyConstraints)
{
    keepsectsettings settings;
    for (int trial = 0; trial < 6; ++trial) {
        plain::data m = randomdata(30, 40, 60 + trial);
        use(m);
        zelrun(trial % 2 ? "force + [1 2 3 4 5 6 7 8] + [9 10 11 12] + [1 2 3] - [13 14];constrain=;"
                         : "force = (0 (1 2 3 4 (5 6 7 8)) (9 10 11 12) 13 14 15 16 17 18 19 20 21 22 23 24 25 26 27 28 29);constrain=;");
        zelrun("mult= wagner replic 1;mult: tbr replic 10;");
        ASSERT_FALSE(zelfailed());
        zelrun("sectsch= minsize 10 maxsize 15 selfact = 6 noglobal [mult 2;] tree 0;");
        ASSERT_FALSE(zelfailed());
        std::string said = zelrun("mono;");
        EXPECT_NE(said.find("fulfilling constraints"), std::string::npos) << said;
        EXPECT_EQ(zelrun("mono-;").find("\n0"), std::string::npos);
        zelrun("force];");
    }
}
