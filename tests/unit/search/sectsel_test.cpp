#include "sectortest.h"
#include "search/constpack.h"
#include "search/keeptrees.h"
#include "search/sectors.h"
#include "search/sectsel.h"
#include "search/setup.h"
#include "search/status.h"
#include "kernel/errors.h"
#include "kernel/progress.h"
#include "kernel/window.h"

using namespace sectors;

namespace {
// Random data with a tree in anx, ready for an engine.
struct sectorframe {
    keepsectsettings settings;
    std::string ready;
    searchframe frame;
    sectorframe(const plain::data &m, const std::vector<plain::tree> &trees, const std::string &more = "")
        : ready((use(m), usetrees(trees), zelrun("rseed 1;" + more))), frame(sectschcom)
    {
        EXPECT_FALSE(zelfailed()) << ready;
        schgettree(mem_tree[0]);
        srand(1);
    }
};

// Nodes of each piece: connected, of the size told, none in two pieces.
void checkdivision(const division &d, int least, int most)
{
    std::vector<int> seen(d.pieces, 0), inner(d.pieces, 0);
    for (int n = ntax + 1; n < hinod; ++n) {
        int k = d.piece[n];
        if (k < 0) continue;
        ASSERT_LT(k, d.pieces);
        ++inner[k];
        if (d.piece[anx[n]] != k) {
            ++seen[k];
            EXPECT_EQ(d.base[k], n);
        }
    }
    for (int k = 0; k < d.pieces; ++k) {
        EXPECT_EQ(seen[k], 1) << "a piece has one base";
        EXPECT_EQ(d.size[k], inner[k] + 2) << "terminals of a dichotomous piece, and the outside";
        EXPECT_GE(d.size[k], least);
        EXPECT_LE(d.size[k], most);
        for (int j = 0; j < k; ++j)                    // no piece comes before one that holds it
            for (int n = d.base[j]; n != ntax; n = anx[n]) EXPECT_NE(n, d.base[k]) << j << " before " << k;
    }
}
}

TEST(Division, HasPiecesThatDoNotOverlapWithinTheirBounds)
{
    for (int trial = 0; trial < atmost(30); ++trial) {
        int taxa = 20 + trial * 5;
        sectorframe frame(randomdata(taxa, 4, trial), { randombinary(taxa, trial) });
        binmksis(anx);
        for (int least : { 4, 6, 9 }) {
            division d;
            char *mark = himark();
            divide_tree(&d, tree_top(anx), nullptr, { least, 2 * least }, hinod, false);
            EXPECT_GT(d.pieces, 0);
            checkdivision(d, least, 2 * least);
            for (int k = 0; k < d.pieces; ++k) {
                mark_piece(&d, k);
                EXPECT_EQ(deslist[d.base[k]], IN_SECTOR);
            }
            divide_tree(&d, tree_top(anx), nullptr, { least, least }, 2, false);
            EXPECT_LE(d.pieces, 2);
            checkdivision(d, least, least);
            hiset(mark);
        }
    }
}

TEST(Division, KeepsTheBaseOfTheTreeWhenAskedTo)
{
    int with = 0;
    for (int trial = 0; trial < 20; ++trial) {
        sectorframe frame(randomdata(50, 4, trial), { randombinary(50, trial) });
        division bare, whole;
        divide_tree(&bare, tree_top(anx), nullptr, { 10, 20 }, hinod, false);
        divide_tree(&whole, tree_top(anx), nullptr, { 10, 20 }, hinod, true);
        ASSERT_GE(whole.pieces, bare.pieces);
        if (whole.pieces == bare.pieces) continue;
        ++with;
        EXPECT_EQ(whole.base[0], tree_top(anx));
        EXPECT_GE(whole.size[0], 4);
        EXPECT_LT(whole.size[0], 10);
        checkdivision(whole, 4, 20);
    }
    EXPECT_GT(with, 0);
}

TEST(ExclusiveSectors, HaveTheSizesThatTheSettingsWant)
{
    sectorframe frame(randomdata(100, 4, 1), { randombinary(100, 1) });
    serial_xss_use_even_sizes = 1;
    EXPECT_EQ(chunk_limits(20).most, 22);
    EXPECT_EQ(chunk_limits(20).least, 18);
    EXPECT_EQ(chunk_limits(60).most, 50) << "half of the tree at most";
    EXPECT_EQ(chunk_limits(60).least, 50);
    serial_xss_use_even_sizes = 0;
    for (int i = 0; i < 300; ++i) {
        piecelimits small = chunk_limits(10), large = chunk_limits(25);
        ASSERT_TRUE(small.most >= 10 && small.most <= 16) << small.most;
        ASSERT_EQ(small.least, small.most * 8 / 10);
        ASSERT_TRUE(large.most >= 25 && large.most <= 50) << large.most;
        ASSERT_TRUE(large.least >= 10 && large.least <= 24) << large.least;
        ASSERT_GT(large.most - large.least, 9);
    }
}

TEST(ExclusiveSectors, NeedATreeThatCanBeDivided)
{
    auto failure = [](int taxa, int chunks) {
        struct chain { int was = jumpchain; chain() { jumpchain = 1; } ~chain() { jumpchain = was; } } recovery;
        sectorframe frame(randomdata(taxa, 4, 2), { randombinary(taxa, 2) });
        sectorrun run;
        start_sectors(&run, anx);
        try {
            effect_serial_xss(&run, chunks);
        } catch (const unwound &) {
        }
        return zelrun("");
    };
    EXPECT_NE(failure(40, 1).find("Tree must be divided in at least 2 chunks"), std::string::npos);
    EXPECT_NE(failure(40, 65).find("Can't divide in more than 64 chunks"), std::string::npos);
    EXPECT_NE(failure(19, 8).find("Can't divide tree in chunks of less than 10 nodes"), std::string::npos);
    EXPECT_EQ(failure(40, 8), "");
    EXPECT_EQ(failure(40, 64), "");
    use(randomdata(19, 6, 2));
    EXPECT_NE(zelrun("mult 1;sectsch= xss;").find("Can't divide tree in chunks of less than 10 nodes"), std::string::npos);
    zelrun("sectsch: rss;");
}

TEST(ExclusiveSectors, RefuseAsymmetricCosts)
{
    use(randomdata(30, 6, 3, { 8, 3, 0 }));
    std::string said = zelrun("mult 1;costs 0 = 0>1 1 1>0 2 0/2 1 1/2 1;ccode (0;sectsch= xss;");
    EXPECT_TRUE(zelfailed());
    EXPECT_NE(said.find("Some characters are Sankoff and asymmetric: can't run exclusive sectors"), std::string::npos) << said;
    zelrun("sectsch: rss;");
}

// --- trees ---------------------------------------------------------------------------------

namespace {
// What a run says is what the trees have, and no tree is worse than before.
void checkrun(const plain::data &m, const std::string &command, long before, bool constrained = false)
{
    std::string report = zelrun(command);
    ASSERT_FALSE(zelfailed()) << report;
    ASSERT_EQ(trees_in_mem, 1);
    checktree(mem_tree[0]);
    EXPECT_EQ(countnodes(mem_tree[0]), m.taxa - 1);
    long now = plain::length(m, kept(0));
    EXPECT_EQ(toldscore(report), double(now)) << command << report;
    EXPECT_LE(now, before) << command;
    if (constrained) { EXPECT_NE(zelrun("mono;").find("Tree(s) fulfilling constraints:"), std::string::npos); }
}

const char *const divisions[] = { "xss 2+2-1", "xss 3-2+3-2 xeven", "xss 2+2-1 chkroot equals", "xss 2+1-1 fuse 2 starts 2" };
}

TEST(ExclusiveSectors, ImproveTreesAndTellTheirScores)
{
    keepsectsettings settings;
    for (int trial = 0; trial < atmost(12); ++trial) {
        plain::mix mix = kinds()[trial % kinds().size()];
        plain::data m = randomdata(40, 30, 60 + trial, mix);
        use(m);
        plain::tree t = randombinary(40, trial);
        usetrees({ t });
        checkrun(m, std::string("sectsch= ") + divisions[trial % 4] + ";", plain::length(m, t));
        EXPECT_LT(plain::length(m, kept(0)), plain::length(m, t));
    }
    zelrun("sectsch: rss noxeven nochkroot noequals nofuse starts 3;");
}

TEST(DiameterSectors, AnalyzeWhatLiesAroundANode)
{
    keepsectsettings settings;
    std::mt19937 rng(77);
    for (int trial = 0; trial < atmost(20); ++trial) {
        plain::data m = randomdata(30, 30, 100 + trial);
        use(m);
        plain::tree t = randombinary(30, trial);
        usetrees({ t });
        int center = trial < 3 ? trial : 30 + plain::below(rng, 29), diameter = 1 + trial % 5;
        checkrun(m, "sectsch= dss " + std::to_string(center) + " " + std::to_string(diameter) + " tree 0;", plain::length(m, t));
    }
    zelrun("sectsch: rss;");
}

// On a comb with the taxa 0 1 2 ... the sector of the node above 10 and all later ones:
//   0 (1 (2 ... (9 * (10 ...
TEST(DiameterSectors, AreBallsOfBranches)
{
    keepsectsettings settings;
    plain::data m = randomdata(21, 20, 5);
    use(m);
    std::string text = "tread (0 ";
    for (int t = 1; t < 19; ++t) text += "(" + std::to_string(t) + " ";
    text += "(19 20)" + std::string(18, ')') + ");procedure/;\n";
    zelrun("keep 0;procedure " + writefile("comb.trees", text) + ";");
    ASSERT_FALSE(zelfailed());
    int center = mem_tree[0][10];
    auto chunk = [&](const std::string &words) {
        std::string said = zelrun("sectsch= " + words + " tree 0;");
        EXPECT_FALSE(zelfailed()) << said;
        return diameter_chunk;
    };
    std::string at = "dss " + std::to_string(center) + " ";
    EXPECT_EQ(chunk(at + "1"), 3);                       // terminal 10, what is above, the outside: nothing to search
    zelrun("keep 0;procedure " + writefile("comb.trees", text) + ";");
    EXPECT_EQ(chunk(at + "2"), 5);                       // two branches away: 9, 11, and three nodes
    zelrun("keep 0;procedure " + writefile("comb.trees", text) + ";");
    EXPECT_EQ(chunk(at + "3"), 7);
    zelrun("keep 0;procedure " + writefile("comb.trees", text) + ";");
    EXPECT_EQ(chunk(at + "100"), 21);                    // all of the tree
    zelrun("keep 0;procedure " + writefile("comb.trees", text) + ";");
    std::string said = zelrun("sectsch= " + at + "4 tree 0;");
    EXPECT_NE(said.find("Sectorial search (DSS), best score:"), std::string::npos);
    EXPECT_NE(said.find("Analyzed a user-selected chunk of 9 nodes"), std::string::npos) << said;
    zelrun("sectsch: rss;");
}

// --- constraints --------------------------------------------------------------------------

namespace {
// Groups of 10 taxa, with all the rest of the tree a polytomy.
std::string tengroups(int taxa)
{
    std::string s = "force = (0 1 2 ";
    for (int t = 3; t < taxa; t += 10) {
        s += "(";
        for (int k = t; k < std::min(t + 10, taxa); ++k) s += std::to_string(k) + " ";
        s += ")";
    }
    return s + ");constrain=;";
}

plain::tree obeying(std::mt19937 &rng)         // a random tree that has the groups
{
    zelrun("keep 0;rseed " + std::to_string(1 + rng() % 1000) + ";mult= wagner replic 1;mult: tbr;");
    return kept(0);
}
}

TEST(ConstrainedSectors, KeepTheGroupsAndImproveTheTree)
{
    keepsectsettings settings;
    std::mt19937 rng(88);
    for (int trial = 0; trial < atmost(12); ++trial) {
        int taxa = 43;
        plain::data m = randomdata(taxa, 40, 200 + trial, kinds()[trial % kinds().size()]);
        use(m);
        zelrun(tengroups(taxa));
        ASSERT_FALSE(zelfailed());
        plain::tree t = obeying(rng);
        ASSERT_FALSE(zelfailed());
        const char *how = trial % 3 == 0 ? "css minfork 5" : trial % 3 == 1 ? "css minfork 5 maxfork 6" : "css minfork 2 rounds 1 equals";
        checkrun(m, std::string("sectsch= ") + how + ";", plain::length(m, t), true);
    }
    zelrun("force]; sectsch: rss minfork 10 maxfork 1000 rounds 3 noequals;");
}

// A group with fewer branches is left: with groups of ten and a fork of 11 wanted nothing is searched.
TEST(ConstrainedSectors, AreOfGroupsWithBranchesEnough)
{
    keepsectsettings settings;
    plain::data m = randomdata(43, 40, 300);
    use(m);
    zelrun(tengroups(43));
    std::mt19937 rng(89);
    obeying(rng);
    std::string said = zelrun("sectsch= css minfork 11 noglobal;");
    EXPECT_NE(said.find("Total rearrangements examined: 0."), std::string::npos) << said;
    said = zelrun("sectsch= css minfork 10 noglobal;");
    EXPECT_EQ(said.find("Total rearrangements examined: 0."), std::string::npos) << said;
    zelrun("force]; sectsch: rss minfork 10 global 10 dglobal 10;");
}

namespace {
// Terminals of the sectors analyzed, those for the outside included, in order.
std::vector<int> sizesanalyzed(const std::string &words)
{
    std::string file = tempdir() + "/sectors.txt";
    std::string said = zelrun("log " + file + ";sectsch= [silent-all;taxlabels;silent=all;] " + words + ";log/;silent-all;");
    EXPECT_FALSE(zelfailed()) << said;
    std::vector<int> sizes;
    std::istringstream lines(readfile(file));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        int number;
        std::string name;
        if (!(words >> number >> name)) continue;
        if (name == "ROOT") sizes.push_back(0);
        if (!sizes.empty() && number == sizes.back()) ++sizes.back();
    }
    return sizes;
}
}

// A group of 30 taxa, and a rest of 13 and the group.
TEST(ConstrainedSectors, WithMoreBranchesThanTheLimitAreDivided)
{
    keepsectsettings settings;
    use(randomdata(43, 30, 302));
    std::string group = "force = (0 1 2 3 4 5 6 7 8 9 10 11 12 (";
    for (int t = 13; t < 43; ++t) group += std::to_string(t) + " ";
    zelrun(group + "));constrain=;taxname=;");
    std::mt19937 rng(90);
    obeying(rng);
    ASSERT_FALSE(zelfailed());
    std::vector<int> whole = sizesanalyzed("css minfork 5 maxfork 1000 rounds 1 noglobal tree 0");
    std::sort(whole.begin(), whole.end());
    EXPECT_EQ(whole, (std::vector<int>{ 14, 31 }));
    for (int most : { 8, 14, 29 }) {
        std::vector<int> parts = sizesanalyzed("css minfork 5 maxfork " + std::to_string(most) + " rounds 1 noglobal tree 0");
        EXPECT_GT(parts.size(), 2u) << most;
        int inner = 0;
        for (int size : parts) {
            EXPECT_GE(size, 4) << most;
            EXPECT_LE(size, most + 1);
            inner += size - 2;
        }
        EXPECT_LE(inner, 41) << "no node is in two of them";
        EXPECT_GT(inner, 41 / 2);
    }
    EXPECT_EQ(sizesanalyzed("css minfork 30 maxfork 1000 rounds 1 noglobal tree 0"), std::vector<int>{ 31 });
    EXPECT_EQ(sizesanalyzed("css minfork 30 maxfork 1000 rounds 2 noglobal tree 0").size(), 2u);
    zelrun("force]; taxname-;");
}

// What the group costs from above is known in one direction only.
TEST(ConstrainedSectors, KeepTheirBaseUnderAsymmetricCosts)
{
    keepsectsettings settings;
    std::mt19937 rng(91);
    int done = 0;
    for (const mixed::kind &k : mixed::kinds) {
        zelrun("xwipe;");
        mixed::data d = mixed::random(rng, 33, 12, k);
        d.m.taxactive.assign(33, 1);
        zelrun("mxram 64;procedure " + writefile("sector.xread", mixed::readtext(d)) + ";" + tengroups(33));
        ASSERT_FALSE(zelfailed()) << k.what;
        if (!have_asymmetric) continue;
        ++done;
        obeying(rng);
        double before = mixed::length(d, kept(0));
        std::string said = zelrun("sectsch= css minfork 5 noglobal;");
        ASSERT_FALSE(zelfailed()) << said;
        EXPECT_LE(mixed::length(d, kept(0)), before + 1e-6) << k.what;
        EXPECT_NEAR(toldscore(said), mixed::length(d, kept(0)), 0.00051) << k.what;
        EXPECT_NE(zelrun("mono;").find("Tree(s) fulfilling constraints:"), std::string::npos) << k.what;
    }
    EXPECT_GT(done, 0);
    zelrun("xwipe;");
}

TEST(ConstrainedSectors, OnlyScoreATreeOfFewerThanEightTaxa)
{
    keepsectsettings settings;
    plain::data m = randomdata(7, 20, 301);
    use(m);
    zelrun("force = (0 1 (2 3 4 5 6));constrain=;mult 1;");
    ASSERT_FALSE(zelfailed());
    for (const char *kind : { "css minfork 2", "rss" }) {
        std::string said = zelrun(std::string("sectsch= ") + kind + ";");
        EXPECT_FALSE(zelfailed()) << said;
        EXPECT_NE(said.find("Total rearrangements examined: 0."), std::string::npos) << said;
        EXPECT_NE(said.find("best score: " + std::to_string(plain::length(m, kept(0)))), std::string::npos) << said;
    }
    zelrun("force]; sectsch: rss minfork 10;");
}

// The score told, and never a worse tree, whatever the kinds of characters, weighted by steps or by fits.
TEST(SectorialSearch, WorksWithAllKindsOfCharactersAndWeights)
{
    keepsectsettings settings;
    std::mt19937 rng(310);
    int done = 0;
    for (const mixed::kind &k : mixed::kinds)
        for (int weighting = 0; weighting < 2; ++weighting) {
            if (++done % 4 && atmost(3) < 3) continue;
            zelrun(weighting ? "xwipe;piwe=4;" : "xwipe;piwe-;");
            mixed::data d = mixed::random(rng, 33, 16, k);
            d.m.taxactive.assign(33, 1);
            zelrun("mxram 64;procedure " + writefile("sector.xread", mixed::readtext(d)) + ";" + tengroups(33));
            ASSERT_FALSE(zelfailed()) << k.what;
            for (const char *how : { "css minfork 5", "dss 40 5 tree 0", "xss 2+1-1" }) {
                if (how[0] == 'x' && have_asymmetric) continue;
                obeying(rng);
                auto score = [&] {
                    zelrun(weighting ? "fit;" : "length;");
                    return weighting ? mixed::fits(d, kept(0)) : mixed::length(d, kept(0));
                };
                double before = score();
                std::string said = zelrun(std::string("sectsch= ") + how + ";");
                ASSERT_FALSE(zelfailed()) << k.what << said;
                EXPECT_NEAR(toldscore(said), score(), 0.00051) << k.what << how << weighting;
                EXPECT_LE(score(), before + 1e-6) << k.what << how << weighting;
                EXPECT_EQ(zelrun("mono-;").find("\n0"), std::string::npos) << k.what << how;
            }
        }
    zelrun("xwipe;piwe-;sectsch: rss minfork 10;");
}

// --- the run ------------------------------------------------------------------------------

TEST(SectorialSearch, CutsSizesToHalfOfTheTreeInTheSettings)
{
    keepsectsettings settings;
    use(randomdata(30, 10, 302));
    zelrun("mult 1;sectsch: minsize 25 maxsize 28;");
    EXPECT_EQ(ssmaxsize, 28);
    EXPECT_EQ(zelrun("sectsch;").find("WARNING"), std::string::npos);
    EXPECT_EQ(ssminsize, 15);
    EXPECT_EQ(ssmaxsize, 15);
    zelrun("sectsch: minsize 10;sectsch: maxsize 6;sectsch;");
    EXPECT_EQ(ssminsize, 10);
    EXPECT_EQ(ssmaxsize, 10);
}

TEST(SectorialSearch, RunsFromOneTreeOrAll)
{
    keepsectsettings settings;
    plain::data m = randomdata(30, 30, 303);
    use(m);
    std::vector<plain::tree> trees = { randombinary(30, 1), randombinary(30, 2), randombinary(30, 3) };
    usetrees(trees);
    zelrun("sectsch 1 = minsize 10 maxsize 12;");
    ASSERT_FALSE(zelfailed());
    ASSERT_EQ(trees_in_mem, 3);
    EXPECT_EQ(plain::shape(kept(0)), plain::shape(trees[0]));
    EXPECT_LT(plain::length(m, kept(1)), plain::length(m, trees[1]));
    EXPECT_EQ(plain::shape(kept(2)), plain::shape(trees[2]));
    zelrun("sectsch 1; sectsch = tree 2;");
    EXPECT_LT(plain::length(m, kept(2)), plain::length(m, trees[2]));
    zelrun("sectsch;");
    EXPECT_EQ(trees_in_mem, 3);
    EXPECT_LT(plain::length(m, kept(0)), plain::length(m, trees[0]));
    zelrun("sectsch = nokeepall;");
    long best = plain::length(m, kept(0));
    for (int t = 0; t < trees_in_mem; ++t) EXPECT_EQ(plain::length(m, kept(t)), best);
    usetrees({});
}

TEST(SectorialSearch, NamesAGroupOfTheTreesFound)
{
    use(randomdata(20, 10, 304));
    EXPECT_NE(zelrun("mult 1;sectsch;tgroup;").find("sect_sch"), std::string::npos);
}

TEST(SectorialSearch, UnderImpliedWeightsSaysWhenMemoryIsTooLowToFuse)
{
    keepsectsettings settings;
    zelrun("xwipe;piwe=3;");
    use(randomdata(30, 30, 308));
    zelrun("mult= wagner replic 1;mult: tbr replic 10;sectsch: fuse 2;");
    for (const char *search : { "sectsch;", "pfijo = numsels 1;" }) {
        int failed = 0;
        bool ran = false;
        for (size_t bytes = 2000; bytes < 200000 && !ran; bytes += 2500) {
            int rest = 0;
            loram((vailram() - bytes) & ~size_t(7));
            lockram(&rest);
            std::string said = zelrun(search);
            ran = !zelfailed();
            failed += said.find("Sorry, not enough RAM allocated for tree-fusing under implied weights") != std::string::npos;
            wipetag(&rest);
        }
        EXPECT_TRUE(ran) << search;
        EXPECT_GT(failed, 0) << search;
    }
    zelrun("pfijo: numsels 30;xwipe;piwe-;");
}

TEST(SectorialSearch, StopsAtTheScoreWanted)
{
    keepsectsettings settings;
    use(randomdata(40, 30, 305));
    usetrees({ randombinary(40, 1) });
    EXPECT_NE(zelrun("sectsch= minsize 10 maxsize 12 findscore 100000;").find("Total rearrangements examined: 0."), std::string::npos);
}

TEST(SectorialSearch, RepeatsARunFromItsSeed)
{
    keepsectsettings settings;
    plain::data m = randomdata(40, 30, 306);
    use(m);
    for (const char *kind : { "rss minsize 10 maxsize 14", "xss 2+2-1" }) {
        auto run = [&](int seed) {
            usetrees({ randombinary(40, 1) });
            std::string said = zelrun("rseed " + std::to_string(seed) + ";sectsch= " + kind + ";");
            EXPECT_NE(zelrun("rseed;").find("Random seed is " + std::to_string(seed)), std::string::npos);
            return said.substr(said.find("Sectorial"));
        };
        EXPECT_EQ(run(5), run(5));
        EXPECT_NE(run(5), run(6));
    }
    zelrun("sectsch: rss;rseed 1;");
}

namespace {
int pollsleft;                             // until Esc is pressed, or the time is out, or the memory
int pressed() { return --pollsleft ? 0 : KEY_ESC; }
int timeout()
{
    if (!--pollsleft) startime -= 1000;
    return 0;
}

int memoryout()
{
    constexpr size_t LEFT = 400;
    if (!--pollsleft && vailram() > LEFT) loram((vailram() - LEFT) & ~size_t(7));
    return 0;
}

// Searches poll at every clip.
struct stopat {
    decltype(window.zel_app_window_getKeyPressed) key = window.zel_app_window_getKeyPressed;
    stopat(int poll, int (*how)())
    {
        pollsleft = poll;
        window.zel_app_window_getKeyPressed = how;
        polling_interval = -1;
        user_cuts_for_report = 1;
    }
    ~stopat()
    {
        window.zel_app_window_getKeyPressed = key;
        polling_interval = 1;
        user_cuts_for_report = 0;
    }
};
}

// The engine ends with a sector closed and the whole tree standing, and settings are as they were.
TEST(SectorialSearch, LeavesAWholeTreeWhenItIsInterrupted)
{
    keepsectsettings settings;
    zelrun("xwipe;sectsch: recurse 2;");
    plain::data m = randomdata(60, 30, 307);
    use(m);
    zelrun("sectsch: minsize 10 maxsize 30 xss 4 godrift 20 drift 1 gocomb 25;timeout 0:15:0;");
    const char *const levels = "rss [sectsch= minsize 12 maxsize 12 [sectsch= minsize 6 maxsize 6 [mult 2; bbreak;];];] tree 0";
    for (const char *kind : { "rss", "xss", "dss 70 6 tree 0", "rss [mult 2; bbreak;] tree 0", levels })
        for (auto how : { pressed, timeout, memoryout })
            for (int poll : { 1, 2, 30, 100, 400, 1500 }) {
                if (how == timeout && strchr(kind, '[')) continue;       // commands within it begin at other times
                usetrees({ randombinary(60, 4) });
                long before = plain::length(m, kept(0));
                zelrun(std::string("sectsch: ") + (kind[0] == 'd' ? "dss 70 6" : std::string(kind).substr(0, 3)) + ";");
                std::string said, shown = zelrun("sectsch:;");
                {
                    stopat now(poll, how);
                    said = zelrun(std::string("rseed 1;sectsch= ") + kind + ";");
                }
                bool failed = zelfailed();
                EXPECT_TRUE(!failed || how == memoryout) << said;
                if (pollsleft <= 0 && how != memoryout) {
                    const char *told = how == pressed ? "Search was interrupted..." : "Interrupting search (time is out!)";
                    EXPECT_NE(said.find(told), std::string::npos) << kind << poll << said;
                }
                checktree(mem_tree[0]);
                EXPECT_EQ(countnodes(mem_tree[0]), 59);
                EXPECT_LE(plain::length(m, kept(0)), before);
                if (!failed) { EXPECT_EQ(toldscore(said), double(plain::length(m, kept(0)))) << said; }
                EXPECT_EQ(userstop, 0);
                EXPECT_EQ(ss_recurse_level, 0);
                EXPECT_EQ(ntax, 60);
                EXPECT_EQ(nlocks, 3);
                EXPECT_EQ(zelrun("sectsch:;"), shown) << kind;
                check_everything();
            }
    zelrun("sectsch: rss godrift 75 gocomb 0 recurse 0;timeout 0;");
}
