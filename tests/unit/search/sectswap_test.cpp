// Sectors as each way of choosing them makes them: what they gain, and how often the whole tree is swapped between them.
#include "perturbtest.h"
#include "sectortest.h"
#include "search/constpack.h"
#include "search/constraints.h"
#include "search/sectors.h"
#include "search/sectsel.h"
#include "search/setup.h"
#include "search/status.h"

using namespace sectors;

namespace {

int swapsof(const std::string &command)
{
    stagewatch swaps(ALG_TBR);               // sectors are swapped in a stage of their own
    std::string said = zelrun(command);
    EXPECT_FALSE(zelfailed()) << said;
    return swaps.begun;
}

struct engine { const char *what; double (*search)(int *tree); };
const engine engines[] = { { "random", random_ss }, { "constrained", const_ss }, { "exclusive", serial_xss }, { "diameter", run_diameter_ss } };

// Some groups of the tree.
std::string partof(std::mt19937 &rng, const plain::tree &t)
{
    std::vector<int> stored = plain::stored(t);
    stored.resize(size_t(nodz) + 1);
    std::vector<int> marks(size_t(nodz) + 1, 0);
    for (int n = nt + 1; n < 2 * nt - 1; ++n) marks[size_t(n)] = plain::chance(rng, 70);
    delnodz(stored.data(), marks.data());
    return plain::text(plain::fromstored(stored.data(), nt));
}

// Three characters leave nearly all trees equal: with "equals" every sector gets another one.
void restless(int taxa)
{
    use(randomdata(taxa, 3, 501, { 8, 2, 0 }));
    usetrees({ randombinary(taxa, 1) });
}

// A comb and what makes it the only shortest tree.
void settled(int taxa)
{
    std::vector<std::string> rows;
    std::string tree = "tread (0 ";
    for (int t = 0; t < taxa; ++t) {
        std::string row;
        for (int c = 2; c < taxa - 1; ++c) row += t >= c ? "11" : "00";
        rows.push_back(row);
        if (t && t < taxa - 2) tree += "(" + std::to_string(t) + " ";
    }
    tree += "(" + std::to_string(taxa - 2) + " " + std::to_string(taxa - 1) + ")" + std::string(size_t(taxa) - 2, ')') + ";procedure/;\n";
    use(plain::fromrows(rows));
    zelrun("keep 0;procedure " + writefile("settled.trees", tree) + ";");
    ASSERT_FALSE(zelfailed());
}

}  // namespace

// Engines that stop at the first gain: what the whole tree gained is what the sector alone told.
TEST(SectorsOfEveryKind, GainWhatTheWholeTreeGains)
{
    constexpr int TAXA = 26;
    constexpr double SAME = 1e-8;
    keepsettings settings;
    std::mt19937 rng(520);
    int improved[4] = {}, turn = 0;
    for (const weights &w : allweights)
        for (const mixed::kind &k : mixed::kinds) {
            if (atmost(3) < 3 && turn++ % 4) continue;
            SCOPED_TRACE(std::string(w.before) + w.after + " " + k.what);
            zelrun(w.before);
            mixed::data d = mixed::random(rng, TAXA, 16, k);
            d.m.taxactive.assign(TAXA, 1);
            plain::tree t = plain::randomtree(rng, TAXA);
            mixed::packing unconstrained(d, w.after);
            for (int privately : { 1, 0 })
                for (int e = 0; e < 4; ++e) {
                    if (engines[e].search == serial_xss && have_asymmetric) continue;
                    if (engines[e].search == const_ss) {
                        wipetag(&schtag);
                        zelrun("force = " + partof(rng, t) + ";constrain=;");
                        ASSERT_FALSE(zelfailed());
                        schpack();
                    }
                    use_sectsch_priv_buf = privately;
                    ssminsize = ssmaxsize = 10;
                    ssminfork = 3;
                    ssglobaltbr = ss_large_globaltbr = 0;
                    serial_xss_chunkbeg = serial_xss_chunkend = 2;
                    dss_center = backfrompack[ntax + 1 + plain::below(rng, ntax - 2)];
                    dss_diameter = 4;
                    double start = settree(packedtree(t));
                    ssstopscore = start - 1e-6;
                    srand(7);
                    double score = engines[e].search(anx);
                    if (score < start - SAME) {
                        ++improved[e];
                        EXPECT_NEAR(start - minianal_score_gain, score, SAME) << engines[e].what << privately;
                    } else EXPECT_NEAR(score, start, SAME) << engines[e].what;
                    if (!use_treeconstraints) continue;
                    wipetag(&schtag);
                    zelrun("constrain-;force];");
                    schpack();
                }
            zelrun("xpiwe-;piwe-;");
            if (HasFailure()) return;
        }
    for (int e = 0; e < 4; ++e) EXPECT_GT(improved[e], atmost(30)) << engines[e].what;
}

TEST(ExclusiveSectors, SwapTheWholeTreeEverySoManyRoundsAndAfterTheLast)
{
    keepsectsettings settings;
    restless(60);
    struct row { int rounds, every, swaps; };
    for (const row &r : { row{ 10, 3, 4 }, { 10, 1, 10 }, { 5, 4, 2 }, { 4, 4, 1 }, { 3, 5, 1 }, { 1, 1, 1 }, { 6, 2, 3 }, { 7, 2, 4 } }) {
        std::string words = "rseed 1;sectsch=xss 3-4+" + std::to_string(r.rounds) + "-" + std::to_string(r.every) + " equals starts 1;";
        EXPECT_EQ(swapsof(words), r.swaps) << words;
    }
    // what random sectors count is nothing to them
    EXPECT_EQ(swapsof("sectsch=xss 3+4-2 equals noglobal;"), 2);
    EXPECT_EQ(swapsof("sectsch=xss 3+4-2 equals global 1 dglobal 1;"), 2);
}

TEST(ExclusiveSectors, DoNotSwapATreeThatDidNotChange)
{
    keepsectsettings settings;
    settled(40);
    EXPECT_EQ(swapsof("sectsch=xss 2-3+6-1;"), 0);
    EXPECT_EQ(swapsof("sectsch=xss 2-3+6-1 equals;"), 0);
    EXPECT_EQ(swapsof("sectsch=rss minsize 8 maxsize 16 global 1 equals;"), 0);
}

// Round by round, as the rule is told.
TEST(ExclusiveSectors, SwapTheWholeTreeOnlyForWhatChangedSinceTheLastTime)
{
    keepsettings settings;
    serial_xss_numrounds = 12;
    serial_xss_chunkbeg = serial_xss_chunkend = 3;
    serial_xss_tbr_freq = 2;
    ssnumstarts = 1;
    int spared = 0, done = 0;
    for (int trial = 0; trial < atmost(12); ++trial) {
        use(randomdata(40, 30, 510 + trial, kinds()[size_t(trial) % 3]));
        usetrees({ randombinary(40, trial) });
        searchframe frame(sectschcom);
        schgettree(mem_tree[0]);
        std::vector<int> start(anx, anx + hinod);
        srand(unsigned(trial + 1));
        int wanted = 0;
        double score;
        {
            sectorrun run;
            start_sectors(&run, anx);
            bool changed = false;
            for (int round = 1; round <= serial_xss_numrounds; ++round) {
                changed |= effect_serial_xss(&run, 3);
                if (round % serial_xss_tbr_freq) continue;
                spared += !changed;
                if (changed) swap_globally(&run), ++wanted;
                changed = false;
            }
            score = end_sectors(&run, false);
        }
        std::vector<int> end(anx, anx + hinod);
        srand(unsigned(trial + 1));
        stagewatch swaps(ALG_TBR);
        EXPECT_EQ(serial_xss(start.data()), score);
        EXPECT_EQ(start, end);
        EXPECT_EQ(swaps.begun, wanted) << "trial " << trial;
        done += wanted;
    }
    EXPECT_GT(spared, 0);
    EXPECT_GT(done, 0);
}

// Nine selections, each of which replaces its sector.
TEST(RandomSectors, SwapTheWholeTreeEverySoManyReplacementsAndAtTheEnd)
{
    keepsectsettings settings;
    restless(60);
    auto swaps = [](const std::string &words) {
        return swapsof("rseed 1;sectsch=rss minsize 14 maxsize 14 selfact = 9 equals " + words + ";");
    };
    EXPECT_EQ(swaps("global 4 dglobal 0"), 3);
    EXPECT_EQ(swaps("global 3"), 3);
    EXPECT_EQ(swaps("global 10"), 1);
    EXPECT_EQ(swaps("global 0 dglobal 2"), 1);         // only at the end
    EXPECT_EQ(swaps("global 2 godrift 14 drift 1"), 5);    // of that size they still are small ones
    EXPECT_EQ(swaps("global 2 dglobal 5 godrift 13"), 2);
    EXPECT_EQ(swaps("godrift 75 noglobal"), 0);
}

// Four groups of ten taxa, twice.
TEST(ConstrainedSectors, SwapTheWholeTreeEverySoManyReplacementsAndAtTheEnd)
{
    keepsectsettings settings;
    restless(43);
    std::string force = "force = (0 1 2 ";
    for (int t = 3; t < 43; t += 10) {
        force += "(";
        for (int k = t; k < t + 10; ++k) force += std::to_string(k) + " ";
        force += ")";
    }
    zelrun("keep 0;" + force + ");constrain=;rseed 1;mult= wagner replic 1;mult: tbr replic 10;");
    ASSERT_FALSE(zelfailed());
    auto swaps = [](const std::string &words) { return swapsof("rseed 1;sectsch=css minfork 10 rounds 2 equals " + words + ";"); };
    EXPECT_EQ(swaps("global 3"), 3);
    EXPECT_EQ(swaps("global 4"), 2);
    EXPECT_EQ(swaps("global 0 dglobal 1"), 1);
    EXPECT_EQ(swaps("noglobal"), 0);
    for (int t = 0; t < trees_in_mem; ++t) EXPECT_TRUE(fulfils_constraints(mem_tree[t]));
    zelrun("force];keep 0;");
}

TEST(DiameterSectors, NeverSwapTheWholeTree)
{
    keepsectsettings settings;
    restless(40);
    EXPECT_EQ(swapsof("sectsch=dss 50 8 tree 0 equals global 1 dglobal 1;"), 0);
    zelrun("keep 0;");
}

TEST(SectorsOfRealData, ImproveTheTreeThatASwapLeaves)
{
    keepsectsettings settings;
    std::string file = datafile("sequences-large/ssu150.fas");
    if (file.empty()) GTEST_SKIP() << "the shared test data are not here";
    zelrun("xwipe;mxram 64;nstates dna;procedure &" + file + ";");
    ASSERT_FALSE(zelfailed());
    const char *const searches[] = { "sectsch=rss;", "sectsch=xss 4-8+3-1;" };
    constexpr int SEEDS = 4;
    int better[2] = {};
    for (int seed = 1; seed <= atmost(SEEDS); ++seed)
        for (int k = 0; k < 2; ++k) {
            double swapped = bestscore(zelrun("keep 0;rseed " + std::to_string(seed) + ";mult=replic 1 hold 1;"));
            double now = toldscore(zelrun(searches[k]));
            ASSERT_FALSE(zelfailed());
            EXPECT_LE(now, swapped) << searches[k] << seed;
            EXPECT_EQ(reportscore(0), now);
            better[k] += now < swapped;
        }
    for (int n : better) EXPECT_GE(n, atmost(SEEDS) / 2);
    zelrun("keep 0;rseed 1;mult:replic 10 hold 10;xwipe;nstates num 16;");
}
