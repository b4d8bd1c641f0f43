#include "treesets.h"
#include <cstdlib>
#include <numeric>
#include "compare/major.h"
#include "compare/qnelsen.h"
#include "compare/replicas.h"
#include "kernel/driver.h"
#include "kernel/random.h"
#include "search/moves.h"
#include "search/mult.h"
#include "trees/lightopt.h"
#include "trees/treebuf.h"

namespace {

// Characters at random, so that searches of one replication find different trees.
std::string noisymatrix(unsigned seed, int taxa, int chars)
{
    std::mt19937 dice(seed);
    std::string text = "xread 'noise' " + std::to_string(chars) + " " + std::to_string(taxa) + "\n";
    for (int t = 0; t < taxa; ++t) {
        text += "tax_" + std::to_string(t) + " ";
        for (int c = 0; c < chars; ++c) text += char('0' + (t ? dice() % 2 : 0));
        text += "\n";
    }
    return text + ";\nproc/;\n";
}

struct Qnelsen : testing::Test {
    multsettings mult = mults;
    void SetUp() override
    {
        zelrun("silent=all; procedure " + writefile("noise.xread", noisymatrix(5, 11, 24)) + "; silent-all;");
        zelrun("silent=all; collapse none; rseed 7; silent-all;");
    }
    void TearDown() override
    {
        mults = mult;
        zelrun("silent=all; collapse 3; rseed 1; hold 100; qnelsen repl 1 select 100 strictperc 25 majorcut 85 "
               "[mult1=ho1 tb norat;]; silent-all;");
    }
    static void refuses(const std::string &command, const std::string &message)
    {
        std::string text = zelrun(command);
        EXPECT_NE(text.find(message), std::string::npos) << command << " printed " << text;
        EXPECT_TRUE(zelfailed()) << command;
        EXPECT_EQ(jaking, 0);
        EXPECT_EQ(jaktag, 0);
        EXPECT_EQ(allow_all_commands, 0);
    }
};

groupset common(const groupset &a, const groupset &b)
{
    groupset both;
    std::set_intersection(a.begin(), a.end(), b.begin(), b.end(), std::inserter(both, both.end()));
    return both;
}

groupset ofall(const std::vector<groupset> &trees)
{
    groupset all = trees.at(0);
    for (auto &t : trees) all = common(all, t);
    return all;
}

groupset inmorethan(const std::vector<groupset> &trees, int limit)
{
    std::map<taxonset, int> counts;
    for (auto &t : trees) for (auto &g : t) ++counts[g];
    groupset all;
    for (auto &[g, n] : counts) if (n > limit) all.insert(g);
    return all;
}

// The steps behind the searches, one after the other, on sets of groups.  Slots that no step fills
// keep what they held.
groupset estimatedby(std::vector<groupset> slots, const std::vector<double> &scores, int select, int strict, int cut)
{
    int N = int(slots.size());
    slots.resize(std::max(N + 1, 3));
    auto others = [&](int among, int i, auto as) {
        int n = 0;
        for (int j = 0; j < among; ++j) n += j != i && as(scores[j], scores[i]);
        return n * 100 / among;
    };
    int K = 0;
    for (int i = 0; i < N; ++i)
        if (select == 100 || others(N, i, [](double a, double b) { return a >= b; }) >= select) slots[K++] = slots[i];
    std::vector<groupset> aside(slots.begin(), slots.begin() + K);
    int P = 0;
    for (int i = 0; i < K; ++i)
        if (others(K, i, [](double a, double b) { return a <= b; }) < strict) slots[P++] = slots[i];
    slots[K] = ofall(std::vector<groupset>(slots.begin(), slots.begin() + K));
    slots[0] = slots[P];
    slots[1] = cut == 100 ? ofall(aside) : inmorethan(aside, cut * K / 100);
    return common(slots[0], slots[1]);
}

// Three results by hand.  Scores 10, 12, 11.  select 30: of three, the others at least as high are 2
// (66 per cent), 0 and 1 (33): results 0 and 2 are kept, and stand in places 0 and 1.  The scores of
// these places are 10 and 12: of two, no other is as low as the first, so it is picked (0 per cent);
// the second has one (50 per cent), and is not below 25.  P is 1, K is 2: place 2, which received the
// strict consensus, is not copied to place 0; place 1 is, that is result 2.
TEST_F(Qnelsen, ChoosesByPlaceAsWorkedOutByHand)
{
    readtaxa(6);
    plaintree a{ 7, 7, 8, 8, 9, 9, 10, 6, 6, 6, 0 };          // (0 1) (2 3) (4 5)
    plaintree b{ 7, 8, 7, 8, 9, 9, 10, 6, 6, 6, 0 };          // (0 2) (1 3) (4 5)
    plaintree c{ 7, 7, 8, 9, 8, 9, 10, 6, 6, 6, 0 };          // (0 1) (2 4) (3 5)
    std::vector<plaintree> slots{ a, b, c, plaintree(nodz) }, copies(3, plaintree(nodz));
    int *rows[] = { slots[0].data(), slots[1].data(), slots[2].data(), slots[3].data() };
    int *aside[] = { copies[0].data(), copies[1].data(), copies[2].data() };
    const double scores[] = { 10, 12, 11 };
    int picked = -1;
    EXPECT_EQ(choose_estimates(rows, 3, scores, 30, 25, aside, &picked), 2);
    EXPECT_EQ(picked, 1);
    EXPECT_EQ(slots[0], a);
    EXPECT_EQ(slots[1], c);
    EXPECT_EQ(copies[0], a);
    EXPECT_EQ(copies[1], c);
    std::vector<uint8_t> excluded(nt, 0);
    combine_estimates(rows, 2, picked, aside, excluded.data(), 50);
    EXPECT_EQ(groupsof(slots[0].data(), nullptr, nt), (groupset{ { 0, 1 } }));   // c, and what a and c share
    trees_in_mem = 0;
}

TEST_F(Qnelsen, KeepsAllAndPicksNoneWhenScoresAreEqual)
{
    readtaxa(5);
    std::mt19937 dice(3);
    std::vector<plaintree> slots, copies(3, plaintree(nodz));
    for (int i = 0; i < 4; ++i) slots.push_back(randomtree(dice, 0, 0));
    int *rows[] = { slots[0].data(), slots[1].data(), slots[2].data(), slots[3].data() };
    int *aside[] = { copies[0].data(), copies[1].data(), copies[2].data() };
    const double scores[] = { 9, 9, 9 };
    int picked;
    for (auto [strict, want] : { std::pair(25, 0), std::pair(66, 0), std::pair(67, 3) }) {
        EXPECT_EQ(choose_estimates(rows, 3, scores, 100, strict, aside, &picked), 3);
        EXPECT_EQ(picked, want) << strict;
    }
}

TEST_F(Qnelsen, IsReplayedFromItsSeedsStepByStep)
{
    constexpr int N = 6;
    const char *search = "mult1=ho1 tb;";
    std::set<double> seen;
    for (auto [select, strict, cut] : { std::tuple(100, 25, 85), std::tuple(100, 60, 50), std::tuple(40, 60, 60),
                                        std::tuple(20, 100, 100), std::tuple(100, 100, 50) }) {
        zelrun("rseed 7;");
        std::string text = zelrun("qnelsen replications " + std::to_string(N) + " select " + std::to_string(select)
                                  + " strictperc " + std::to_string(strict) + " majorcut " + std::to_string(cut) + "["
                                  + search + "];");
        ASSERT_FALSE(zelfailed()) << text;
        EXPECT_EQ(ranseed, 7);
        ASSERT_EQ(trees_in_mem, 1);
        groupset got = groupsof(mem_tree[0], nullptr, nt);

        std::vector<int> seeds;
        srand(7);
        seeds.push_back(rand());
        std::vector<groupset> results;
        std::vector<double> scores;
        for (int r = 0; r < N; ++r) {
            srand(unsigned(seeds[r]));
            seeds.push_back(rand());
            zelrun("keep 0; rseed " + std::to_string(seeds[r]) + ";" + search);
            optmem();
            std::vector<groupset> trees;
            double best = 10000000000.0;
            for (int t = 0; t < trees_in_mem; ++t) {
                trees.push_back(groupsof(mem_tree[t], nullptr, nt));
                best = std::min(best, packdownpass(mem_tree[t]));
            }
            results.push_back(ofall(trees));
            scores.push_back(best);
            seen.insert(best);
        }
        EXPECT_EQ(got, estimatedby(results, scores, select, strict, cut)) << select << " " << strict << " " << cut;
    }
    EXPECT_GT(seen.size(), 1u) << "searches of the same score try nothing";
}

TEST_F(Qnelsen, TellsWhatItHasDone)
{
    std::string text = zelrun("qnelsen replications 2 [mult1=ho1 tb norat;] / 3 4;");
    EXPECT_NE(text.find("Estimated consensus, "), std::string::npos) << text;
    EXPECT_NE(text.find(" nodes (2 taxa excluded), saved as tree 0\n"), std::string::npos) << text;
    EXPECT_NE(text.find(" secs. to complete estimation\n"), std::string::npos) << text;
    EXPECT_EQ(mem_tree[0][3], 0);
    EXPECT_EQ(mem_tree[0][4], 0);
    text = zelrun("qnelsen repl 1;");
    EXPECT_NE(text.find(" nodes, saved as tree 0\n"), std::string::npos) << "taxa left out stay out once: " << text;
}

TEST_F(Qnelsen, PutsSettingsBack)
{
    zelrun("subopt 3;");
    zelrun("qnelsen repl 2;");
    EXPECT_EQ(suboptimal, 3);
    EXPECT_EQ(jaking, 0);
    EXPECT_EQ(jaktag, 0);
    zelrun("subopt 0;");
}

TEST_F(Qnelsen, MakesRoomForItsResults)
{
    zelrun("hold 2; qnelsen repl 5;");
    EXPECT_FALSE(zelfailed());
    EXPECT_GE(maxtrees, 6);
}

TEST_F(Qnelsen, TurnsAutomaticCollapsingOff)
{
    zelrun("collapse [;");
    EXPECT_NE(zelrun("qnelsen repl 1;").find("Auto-collapse searches will be turned off to estimate consensus"),
              std::string::npos);
    EXPECT_EQ(autocollapse_searches, 0);
}

TEST_F(Qnelsen, RefusesWhatItCannotDo)
{
    refuses("qnelsen replications 0;", "Must specify a number of repls. greater than zero");
    refuses("qnelsen replications;", "Must specify a number of repls. greater than zero");
    refuses("qnelsen select 101;", "Must specify a percentage 0-100");
    refuses("qnelsen strictperc;", "Must specify a percentage 0-100");
    refuses("qnelsen majorcut 49;", "Must specify a cutoff percentage 0-100");
    refuses("qnelsen majorcut 101;", "Must specify a cutoff percentage 0-100");
    refuses("qnelsen &;", "Unexpected symbol found on resampling options: &");
    refuses("qnelsen xyz;", "Unexpected symbol found on resampling options: x");
    refuses("qnelsen / 0.7;", "Cannot exclude so many taxa from consensus calculation (only 3 remain)");
    refuses("qnelsen [" + std::string(600, ' ') + "];", "Text of search commands");
    refuses("qnelsen repl 2 select 90;", "No trees specified");      // one in two others is no 90 per cent
    zelrun("qnelsen select 100 repl 1;");
    refuses("qnelsen [wrongcommand;];", "Unknown command");
    refuses("qnelsen [rseed;];", "found no trees");
    zelrun("xwipe;");
    refuses("qnelsen;", "Must read data before searching");
}

TEST_F(Qnelsen, DoesNotRunInsideItselfUnlessAllowed)
{
    refuses("qnelsen repl 2 [qnelsen repl 1 [mult1=ho1;];];",
            "Cannot run command \"qnelsen\" when resampling or estimating consensus");
}

TEST_F(Qnelsen, EndsWhenItsCommandsReadOtherData)
{
    std::string other = writefile("other.xread", noisymatrix(6, 7, 9));
    refuses("qnelsen repl 2 [procedure " + other + "; mult1=ho1;];", "cannot read new data");
}

TEST_F(Qnelsen, TakesBracketsInsideItsCommands)
{
    zelrun("qnelsen repl 1 [rseed [; mult1=ho1; rseed ];];");
    EXPECT_FALSE(zelfailed());
}

}
