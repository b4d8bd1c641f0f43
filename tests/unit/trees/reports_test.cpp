// Report commands against plain counts: tables by character and by tree, filters, comparisons,
// branch lengths over all reconstructions.
#include "zeltest.h"
#include "reference.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/output.h"
#include "trees/blength.h"
#include "trees/implied.h"
#include "trees/lightopt.h"
#include "trees/treebuf.h"
#include <set>
#include <sstream>

using plain::data, plain::tree;

static void readmatrix(const data &m)
{
    std::string said = zelrun("procedure " + writefile("reports.xread", plain::readtext(m)) + ";");
    ASSERT_FALSE(zelfailed()) << said;
}

static void readtree(const tree &t)
{
    std::string said = zelrun("tread " + plain::text(t) + " ;");
    ASSERT_FALSE(zelfailed()) << said;
}

// A table of the optional form: its title, and the value of each row named.
struct table {
    std::string title;
    std::vector<std::pair<int, std::string>> rows;
};

static std::vector<table> tablesof(const std::string &command)
{
    zelrun("silent = all ; tables = ; silent - all ;");
    std::istringstream lines(zelrun(command));
    zelrun("silent = all ; tables - ; silent - all ;");
    std::vector<table> found;
    for (std::string line; std::getline(lines, line); ) {
        size_t tab = line.find('\t');
        if (tab == std::string::npos) {
            if (!line.empty()) found.push_back({ line, {} });
        }
        else if (!found.empty()) {
            size_t value = line.find_first_not_of(" ", tab + 1);
            if (value != std::string::npos) found.back().rows.push_back({ std::stoi(line), line.substr(value) });
        }
    }
    return found;
}

static int stepsof(const data &m, const tree &t, int c)
{
    data one = m;
    one.weight.assign(m.chars, 0);
    one.weight[c] = 1;
    return int(plain::length(one, t));
}

TEST(Reports, StepsAndHomoplasyOfEachCharacter)
{
    std::mt19937 rng(3);
    for (int round = 0; round < 40; ++round) {
        data m = plain::randommatrix(rng, 6 + int(rng() % 6), 1 + int(rng() % 24), { 8, 4, 10, 0, 30, 15, 0, 3, 1 });
        readmatrix(m);
        tree t = plain::randomtree(rng, m.taxa, 25);
        readtree(t);
        auto scores = tablesof("cscores ;"), extra = tablesof("chomo ;");
        ASSERT_EQ(scores.size(), 1u);
        ASSERT_EQ(extra.size(), 1u);
        EXPECT_EQ(scores[0].title, "Tree 0, total length " + std::to_string(plain::length(m, t)));
        int total = 0;
        size_t at = 0;
        for (int c = 0; c < m.chars; ++c) {
            if (!m.active[c]) continue;
            ASSERT_LT(at, scores[0].rows.size());
            EXPECT_EQ(scores[0].rows[at].first, c);
            EXPECT_EQ(scores[0].rows[at].second, std::to_string(stepsof(m, t, c)));
            int homoplasy = stepsof(m, t, c) - charcodes[c].minsteps;
            EXPECT_EQ(extra[0].rows[at].second, std::to_string(homoplasy));
            total += homoplasy;
            ++at;
        }
        EXPECT_EQ(extra[0].title, "Tree 0, homoplasy (total " + std::to_string(total) + ")");
    }
}

TEST(Reports, FitsAreShownForInformativeCharacters)
{
    zelrun("piwe = 3 ; xread 3 5  a 000 b 010 c 100 d 110 e 110 ; tread (a (b (c (d e)))) ;");
    auto fits = tablesof("cscores ;");
    ASSERT_EQ(fits.size(), 1u);
    EXPECT_EQ(fits[0].title, "Tree 0, total adjusted homoplasy 0.250000");
    ASSERT_EQ(fits[0].rows.size(), 2u);
    EXPECT_EQ(fits[0].rows[0].second, "0.00000");
    EXPECT_EQ(fits[0].rows[1].second, "0.25000");
    auto extra = tablesof("chomo ;");
    EXPECT_EQ(extra[0].title, "Tree 0, homoplasy (total 1)");
    EXPECT_EQ(extra[0].rows.size(), 3u);                 // a constant character has none, and is shown
    EXPECT_EQ(extra[0].rows[2].second, "0");
    zelrun("piwe - ;");
}

TEST(Reports, MinimaAndMaximaOverAllTaxaOrTheActiveOnes)
{
    zelrun("xread 2 6  a 00 b 00 c 11 d 12 e 02 f 12 ; taxcode - 3 5 ;");
    // First character: 3 + 3; without d and f 3 + 1.  Second: 2, 1, 3; without them 2, 1, 1.
    auto all = tablesof("minmax ;");
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].title, "Minimum possible steps (total = 3)");
    EXPECT_EQ(all[1].title, "Maximum possible steps (total = 6)");
    auto active = tablesof("minmax - ;");
    EXPECT_EQ(active[0].title, "Minimum steps for 4 active taxa (total = 3)");
    EXPECT_EQ(active[1].title, "Maximum steps for 4 active taxa (total = 3)");
    EXPECT_EQ(tablesof("minmax ;")[1].title, all[1].title);            // and back
    EXPECT_EQ(tablesof("minmax < ;").size(), 1u);
    EXPECT_EQ(tablesof("minmax > ;")[0].title, "Maximum possible steps (total = 6)");
    EXPECT_NE(zelrun("minmax * ;").find("Minimum/Maximum numbers of steps (total = 3/6)"), std::string::npos);
    EXPECT_NE(zelrun("minmax -* ;").find("Minimum/Maximum numbers of steps, for 4 active taxa (total = 3/3)"), std::string::npos);
    zelrun("xwipe ;");
    EXPECT_NE(zelrun("minmax ;").find("Must read data before displaying min/max steps"), std::string::npos);
    EXPECT_NE(zelrun("info ;").find("Must read data before displaying info/uninfo chars."), std::string::npos);
}

TEST(Reports, InformativeCharactersAreMarked)
{
    zelrun("xread 4 5  a 0000 b 0010 c 0111 d 0112 e 0112 ;");
    auto yes = tablesof("info ;"), no = tablesof("info - ;");
    EXPECT_EQ(yes[0].title, "Informative characters");
    EXPECT_EQ(no[0].title, "Uninformative characters");
    std::string marks, opposite;
    for (auto &r : yes[0].rows) marks += r.second;
    for (auto &r : no[0].rows) opposite += r.second;
    EXPECT_EQ(marks, "-*-*");
    EXPECT_EQ(opposite, "*-*-");
}

TEST(Reports, NodesForksAndTaxaOfTrees)
{
    zelrun("xread 1 6  a 0 b 0 c 0 d 1 e 1 f 1 ; tread (a (b (c (d (e f))))) * (a b c (d e f)) * (a (b c) d) ;");
    auto nodes = tablesof("tnodes ;"), taxa = tablesof("tsize ;"), forks = tablesof("tnodes * 1 ;");
    EXPECT_EQ(nodes[0].title, "Nodes in trees");
    std::string counts, sizes;
    for (auto &r : nodes[0].rows) counts += r.second + " ";
    for (auto &r : taxa[0].rows) sizes += r.second + " ";
    EXPECT_EQ(counts, "4 1 1 ");
    EXPECT_EQ(sizes, "6 6 4 ");
    EXPECT_EQ(forks[0].title, "Forks in tree 1");
    ASSERT_EQ(forks[0].rows.size(), 2u);
    EXPECT_EQ(forks[0].rows[0].second, "4");
    EXPECT_EQ(forks[0].rows[1].second, "3");
    auto last = tablesof("tnodes / ;");
    ASSERT_EQ(last[0].rows.size(), 1u);
    EXPECT_EQ(last[0].rows[0].first, 2);
}

static const char *fivetrees =
    "xread 2 5  a 00 b 01 c 10 d 11 e 11 ;"
    "tread (a (b (c (d e)))) * (a (c (b (d e)))) * (a (b (c (d e)))) * (a (d (c (b e)))) * (a (b c (d e))) ;";

TEST(Reports, BestKeepsTheShortestWithoutDuplicates)
{
    zelrun(fivetrees);
    // Lengths: 1+2, 2+1, 3 again, 2+2, and the polytomy 2+2.
    std::string said = zelrun("best 1 ;");
    EXPECT_NE(said.find("4 trees retained (score 3-4)"), std::string::npos) << said;
    said = zelrun("best ;");
    EXPECT_NE(said.find("2 trees retained (score 3)"), std::string::npos) << said;
    EXPECT_EQ(trees_in_mem, 2);
    zelrun(fivetrees);
    said = zelrun("best -4 ;");
    EXPECT_NE(said.find("2 trees retained (score over 4)"), std::string::npos) << said;
    EXPECT_NE(zelrun("best [ ;").find("No constraints defined"), std::string::npos);
    EXPECT_EQ(trees_in_mem, 2);
}

TEST(Reports, BestKeepsTheGroupsOfTrees)
{
    zelrun(fivetrees);
    zelrun("tgroup =3 (odd) 1 3 ; best ;");
    ASSERT_EQ(trees_in_mem, 2);
    EXPECT_EQ(treegroup[0][0] >> 3 & 1, 0u);
    EXPECT_EQ(treegroup[1][0] >> 3 & 1, 1u);
}

TEST(Reports, UniqueDropsLaterDuplicates)
{
    zelrun(fivetrees);
    EXPECT_NE(zelrun("unique ;").find("4 trees retained"), std::string::npos);
    EXPECT_NE(zelrun("unique ] ;").find("No constraints defined"), std::string::npos);
    zelrun("xwipe ; xread 1 4 a 0 b 0 c 1 d 1 ;");
    EXPECT_NE(zelrun("unique ;").find("Tree(s) are required"), std::string::npos);
}

TEST(Reports, CharactersAreComparedWithTheReference)
{
    zelrun(fivetrees);
    EXPECT_NE(zelrun("xcomp 1 ;").find("Cannot compare trees without having defined a reference tree"), std::string::npos);
    EXPECT_NE(zelrun("xcomp = 0 ;").find("Tree 0 defined as reference"), std::string::npos);
    std::string said = zelrun("xcomp 1 >4 5 ;");
    EXPECT_NE(said.find("Tree 1, same length (diff.=0)"), std::string::npos) << said;
    // Tree 0 has (1, 2) steps, tree 1 (2, 1).
    EXPECT_NE(said.find("Characters with better fit on tree 1, fit difference"), std::string::npos) << said;
    EXPECT_NE(said.find("Characters with worse fit on tree 1, length difference"), std::string::npos) << said;
    EXPECT_EQ(chargroup[0], 1u << 5);                    // better on the reference
    EXPECT_EQ(chargroup[1], 1u << 4);
    EXPECT_STREQ(chargroupname[4], "Worse_fit_on_ref");
    EXPECT_STREQ(chargroupname[5], "Better_fit_on_ref");
    zelrun("xcomp 1 <4 5 ;");
    EXPECT_EQ(chargroup[0] | chargroup[1], 0u);
    said = zelrun("xcomp 3 ;");
    EXPECT_NE(said.find("Tree 3, worse length (diff.=1)"), std::string::npos) << said;
    EXPECT_NE(said.find("No character has better fit on tree 3"), std::string::npos) << said;
    said = zelrun("xcomp *3 ;");
    EXPECT_NE(said.find("Tree 3, worse fit (diff.=0.25000)"), std::string::npos) << said;
    EXPECT_NE(zelrun("xcomp 1 >4 32 ;").find("Only character groups 0-31 can be defined"), std::string::npos);
    EXPECT_NE(zelrun("xcomp = ;").find("Must give tree number"), std::string::npos);
}

TEST(Reports, BranchLengthsAreTheLeastOverAllReconstructions)
{
    std::mt19937 rng(17);
    for (int round = 0; round < 80; ++round) {
        data m = plain::randommatrix(rng, 5 + int(rng() % 2), 1 + int(rng() % 6), { 8, 3, 10, 10, 40, 10, 0, 3, 1 });
        readmatrix(m);
        tree t = plain::randomtree(rng, m.taxa, 25);
        readtree(t);
        tree u = plain::fromstored(mem_tree[0], m.taxa);
        std::vector<double> want(u.nodes(), 0);
        for (int c = 0; c < m.chars; ++c) {
            if (!m.active[c]) continue;
            std::vector<int> least(u.nodes(), 1 << 20);
            plain::reconstructions(m, u, c, [&](const std::vector<int> &state) {
                for (int n = 0; n < u.nodes(); ++n) {
                    if (u.anc[n] == tree::NONE) continue;
                    for (int x = 0; x < plain::statesof(m, c); ++x) {
                        bool may = n < u.taxa ? plain::seen(m, n, c) >> x & 1 : state[n] == x;
                        if (may) least[n] = std::min(least[n], plain::change(m, c, state[u.anc[n]], x));
                    }
                }
            });
            for (int n = 0; n < u.nodes(); ++n)
                if (u.anc[n] != tree::NONE) want[n] += m.weight[c] * least[n];
        }
        optmem();
        std::vector<double> got(nodz);
        minimum_branch_lengths(mem_tree[0], got.data());
        for (int n = 0; n < u.nodes(); ++n) ASSERT_EQ(got[n], want[n]) << plain::readtext(m) << plain::text(u) << " node " << n;
    }
}

TEST(Reports, BranchLengthsAsTableAndDiagram)
{
    zelrun("xread 3 5  a 000 b 000 c 011 d 111 e 111 ; tread (a (b (c (d e)))) ;");
    auto lengths = tablesof("blength ;");
    ASSERT_EQ(lengths.size(), 1u);
    EXPECT_EQ(lengths[0].title, "Tree 0, min. branch lengths");
    EXPECT_EQ(lengths[0].rows.size(), 8u);               // all nodes but the root
    std::string drawn = zelrun("blength * ;");
    EXPECT_NE(drawn.find("Tree 0 min. branch lengths"), std::string::npos) << drawn;
    EXPECT_NE(drawn.find("(:1)"), std::string::npos) << drawn;
    EXPECT_NE(drawn.find("(:2)"), std::string::npos) << drawn;
}

TEST(Reports, WhatCollapsingABranchCosts)
{
    zelrun("piwe = 3 ; xread 2 5  a 00 b 01 c 10 d 11 e 11 ; tread (a (b (c (d e)))) * (a b (c (d e))) ;");
    auto costs = tablesof("blength / ;");
    ASSERT_EQ(costs.size(), 2u);
    EXPECT_EQ(costs[0].title, "Tree 0, cost of branch collapsing (under k=3.00000)");
    // Two branches at the root of the first tree: no cost.  Without (c d e) the first character takes
    // one step more; without (d e) the second can do as before and the first as well.
    std::vector<double> got(nodz);
    optmem();
    double whole = packdownpass(mem_tree[0]);
    save_min_collapsing_costs(mem_tree[0], got.data());
    EXPECT_NEAR(whole, 0.25, 1e-12);
    int atroot = 0;
    for (int n = nt + 1; n < mem_tree[0][nt]; ++n)
        if (mem_tree[0][n] == nt) {
            EXPECT_EQ(got[n], 0);
            ++atroot;
        }
    EXPECT_EQ(atroot, 1);
    save_min_collapsing_costs(mem_tree[1], got.data());
    double most = 0;
    for (int n = nt + 1; n < mem_tree[1][nt]; ++n) most = std::max(most, got[n]);
    EXPECT_NEAR(most, 0.25, 1e-12);                      // a polytomy at the root: real costs
    zelrun("piwe - ;");
}

TEST(Reports, ContinuousCharactersHaveDecimals)
{
    zelrun("nstates cont ; xread 1 4  a 0.5 b 1.0 c 2.0 d 2.25 ; tread (a (b (c d))) ;");
    ASSERT_FALSE(zelfailed());
    auto scores = tablesof("cscores ;");
    ASSERT_EQ(scores.size(), 1u);
    EXPECT_EQ(scores[0].title, "Tree 0, total length 1.750");
    EXPECT_EQ(tablesof("chomo ;")[0].title, "Tree 0, homoplasy (total 0.000)");
    EXPECT_EQ(tablesof("minmax ;")[0].title, "Minimum possible steps (total = 1.750)");
    EXPECT_NE(zelrun("best ;").find("1 trees retained (score 1.750)"), std::string::npos);
    EXPECT_EQ(tablesof("info ;")[0].rows[0].second, "*");
    std::string drawn = zelrun("blength *> ;");
    EXPECT_NE(drawn.find("(:1.000)"), std::string::npos) << drawn;      // from at most 1.0 to at least 2.0
    zelrun("nstates num ; xwipe ;");
}

TEST(Reports, AContinuousCharacterWithoutValuesCountsAsInformative)
{
    zelrun("nstates cont ; xread 3 4 &[cont]\na 1 ? 2\nb 1 ? 2\nc 1 ? 3\nd 1 ? 3\n;");
    ASSERT_FALSE(zelfailed());
    std::string marks, opposite;
    auto yes = tablesof("info + ;"), no = tablesof("info - ;");
    for (auto &r : yes[0].rows) marks += r.second;
    for (auto &r : no[0].rows) opposite += r.second;
    EXPECT_EQ(marks, "-**");
    EXPECT_EQ(opposite, "*--");
    zelrun("nstates num ; xwipe ;");
}

TEST(Reports, DecreasesAreNegative)
{
    zelrun("nstates cont ; xread 1 4 &[cont]\na 3\nb 2.5\nc 1\nd 0.75\n; tread (a (b (c d))) ;");
    std::string said = zelrun("blength < ;");
    EXPECT_NE(said.find("Decreases/increases can't be displayed as tables; will use a tree"), std::string::npos) << said;
    EXPECT_NE(said.find("Tree 0 (branch lengths)"), std::string::npos) << said;
    EXPECT_NE(said.find("(:-1.500)"), std::string::npos) << said;
    EXPECT_NE(said.find("(:0.000)"), std::string::npos) << said;
    EXPECT_EQ(said.find("-0.000"), std::string::npos) << said;
    EXPECT_EQ(zelrun("blength *] ;").find("will use a tree"), std::string::npos);
    said = zelrun("blength *[] ;");
    EXPECT_NE(said.find("(:0.000)(:-1.500)"), std::string::npos) << said;
    EXPECT_EQ(tablesof("blength ;")[0].rows.size(), 6u);
    EXPECT_EQ(tablesof("blength ;")[0].title, "Tree 0, min. branch lengths");
    zelrun("nstates num ; xwipe ;");
}

TEST(Reports, CostsOfCollapsingUnderAFunctionOfTheUser)
{
    zelrun("xwipe ; nstates num 16 ; piwe = 3 ; xread 2 5  a 00 b 01 c 10 d 11 e 11 ; tread (a b (c (d e))) ; piwe [ 1 2 3 4 5 ;");
    auto costs = tablesof("blength / ;");
    ASSERT_EQ(costs.size(), 1u);
    EXPECT_EQ(costs[0].title, "Tree 0, cost of branch collapsing (user weighting function)");
    zelrun("xwipe ; piwe - ;");
}

TEST(Reports, BestSaysWhatItNeeds)
{
    zelrun("nstates num 16 ; " + std::string(fivetrees));
    EXPECT_NE(zelrun("best ] ;").find("No constraints defined"), std::string::npos);
    zelrun("best x ;");
    EXPECT_TRUE(zelfailed());
    EXPECT_EQ(trees_in_mem, 5);
    std::string said = zelrun("best - 100 ;");
    EXPECT_NE(said.find("0 trees retained (score over 100)"), std::string::npos) << said;
    zelrun(fivetrees);
    said = zelrun("best 5 ;");                           // the worst bounds the range
    EXPECT_NE(said.find("4 trees retained (score 3-4)"), std::string::npos) << said;
    zelrun("xwipe ; piwe = 3 ;" + std::string(fivetrees));
    said = zelrun("best 0.1 ;");
    EXPECT_NE(said.find("2 trees retained (score 0.250000-0.350000)"), std::string::npos) << said;
    zelrun("xwipe ; piwe - ; xread 1 4 a 0 b 0 c 1 d 1 ;");
    for (const char *command : { "best ;", "scores ;", "length ;", "fit ;", "cscores ;", "chomo ;", "tnodes ;", "tsize ;", "xcomp = 0 ;", "blength ;" })
        EXPECT_NE(zelrun(command).find("Tree(s) are required"), std::string::npos) << command;
    EXPECT_TRUE(tablesof("tequal ;")[0].rows.empty());
    EXPECT_FALSE(zelfailed());
}

TEST(Reports, BestCollapsesWhatItKeeps)
{
    zelrun("xwipe ; xread 1 6  a 0 b 0 c 0 d 1 e 1 f 1 ; collapse rule 1 ;"
           "tread (a (b (c (d (e f))))) * (a (c (b (e (d f))))) * (a (d (c (b (e f))))) ;");
    std::string said = zelrun("best * ;");
    EXPECT_NE(said.find("1 trees retained (score 1)"), std::string::npos) << said;
    EXPECT_EQ(plain::shape(plain::fromstored(mem_tree[0], 6)), (std::vector<uint64_t>{ 0b111000, 0b111110, 0b111111 }));
}

TEST(Reports, OnlyActiveCharactersAreComparedWithTheReference)
{
    zelrun("xwipe ; piwe - ;" + std::string(fivetrees));
    // The second character alone: two steps on tree 0, one on tree 1, two on the others.
    zelrun("ccode ] 0 ; xcomp = 0 ;");
    std::string said = zelrun("xcomp 1 ;");
    EXPECT_NE(said.find("Tree 1, better length (diff.=1)"), std::string::npos) << said;
    EXPECT_NE(said.find("No character has worse fit on tree 1"), std::string::npos) << said;
    EXPECT_NE(zelrun("xcomp 2 ;").find("Tree 2, same length (diff.=0)"), std::string::npos);
    zelrun("ccode /3 1 ; xcomp = 0 ;");
    said = zelrun("xcomp 1 ;");
    EXPECT_NE(said.find("Tree 1, better length (diff.=3)"), std::string::npos) << said;
    EXPECT_NE(zelrun("xcomp = 9 ;").find("Tree 9"), std::string::npos);
    EXPECT_TRUE(zelfailed());
    zelrun("xwipe ;");
}

TEST(Reports, MoreThanTenThousandTaxaAreCountedAsFewer)
{
    std::string text = "xread 1 10001\n", bush = "tread (0";
    for (int t = 0; t < 10001; ++t) text += "t" + std::to_string(t) + (t % 2 ? " 0\n" : " 1\n");
    for (int t = 1; t < 9000; ++t) bush += " " + std::to_string(t) + (t % 20 ? "" : "\n");
    zelrun("nstates num 8 ; procedure " + writefile("large.xread", text + ";\n" + bush + ") ;\nprocedure/;\n") + ";");
    ASSERT_FALSE(zelfailed());
    EXPECT_EQ(tablesof("tsize ;")[0].rows[0].second, "9000");
    zelrun("xwipe ; nstates num 16 ;");
}

TEST(Reports, SoftPolytomiesAreNamedInTitles)
{
    zelrun("nstates num 16 ; xread 2 6  a 00 b 01 c 10 d 11 e 11 f 10 ; tread (a b c (d e f)) ;");
    // Four and three descendants resolved for each character: as few as two steps, for one tree has them both.
    EXPECT_EQ(tablesof("scores ! ;")[0].title, "Tree lengths (soft polytomies)");
    EXPECT_EQ(tablesof("cscores ! ;")[0].title, "Tree 0, total length 3 (soft polytomies)");
    auto two = tablesof("cscores ! 0 / 1 ;");
    ASSERT_EQ(two[0].rows.size(), 1u);
    EXPECT_EQ(two[0].rows[0].first, 1);
    EXPECT_EQ(two[0].rows[0].second, "2");
    EXPECT_EQ(tablesof("fit ! ;")[0].title, "Adjusted homoplasy (soft polytomies)");
    EXPECT_NE(zelrun("scores !* ;").find("Cannot do \"soft\" polytomies with \"*\""), std::string::npos);
    zelrun("piwe = ; keep 0 ; tread (a b (c d)) ;");
    for (const char *command : { "scores ;", "scores ! ;" })
        EXPECT_NE(zelrun(command).find("To optimize trees under implied weighting, trees must match active taxa"), std::string::npos) << command;
    zelrun("piwe - ; xwipe ;");
}
