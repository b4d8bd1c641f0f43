#include "searchtest.h"
#include "kernel/errors.h"
#include "search/keeptrees.h"
#include "search/schcollapse.h"
#include "search/setup.h"
#include "search/status.h"
#include "search/swapper.h"
#include "search/tbr.h"
#include "data/lists.h"
#include "kernel/arena.h"
#include "kernel/textbuf.h"

static plain::data somedata(int taxa, int seed)
{
    std::mt19937 rng(seed);
    return plain::randommatrix(rng, taxa, 25, { 8, 3, 10 });
}

TEST(SearchSetup, TreesThatDoNotMatchTheActiveTaxaAreListedAndDiscarded)
{
    use(somedata(6, 71));
    zelrun("procedure " + writefile("odd.trees", "tread (0 (1 (2 (3 (4 5)))))*(0 (1 (2 (3 4))));\nprocedure/;\n") + ";");
    std::string report = zelrun("bbreak;");
    EXPECT_NE(report.find("Searches require that pre-existing trees match active taxa.\nThe following trees don't match:\n1"),
              std::string::npos) << report;
    EXPECT_NE(report.find("Trees not matching set of active taxa will be discarded"), std::string::npos) << report;
    EXPECT_NE(report.find("Start swapping from 1 trees"), std::string::npos) << report;
}

TEST(SearchSetup, TreesAreRootedOnTheOutgroup)
{
    plain::data m = somedata(6, 72);
    use(m);
    zelrun("procedure " + writefile("odd.trees", "tread (5 (4 (3 (2 (1 0)))));\nprocedure/;\n") + ";");
    std::string report = zelrun("bbreak;");
    EXPECT_NE(report.find("Pre-existing trees will be rooted on t0 (current outgroup)"), std::string::npos) << report;
    for (int t = 0; t < trees_in_mem; ++t) EXPECT_EQ(mem_tree[t][0], nt);
}

TEST(SearchSetup, PolytomiesAreResolved)
{
    use(somedata(9, 73));
    zelrun("procedure " + writefile("odd.trees", "tread (0 1 2 3 4 5 6 7 8);\nprocedure/;\n") + ";bbreak;");
    EXPECT_FALSE(zelfailed());
    for (int t = 0; t < trees_in_mem; ++t) EXPECT_EQ(countnodes(mem_tree[t]), 8);
}

TEST(SearchSetup, FractionsOfSuboptimalAreCutWithoutFractionalScores)
{
    use(somedata(6, 74));
    EXPECT_EQ(zelrun("subopt 1.5 x 2;"), "Suboptimal 1.500 x 1.000\n");
    std::string report = zelrun("mult=replic 2;");
    EXPECT_NE(report.find("Suboptimal (1.5000) reset to 1 (implied weights off, no continuous chars.)"), std::string::npos) << report;
    EXPECT_EQ(zelrun("subopt;"), "Suboptimal 1.000 x 1.000\n");
    zelrun("subopt 0 x 0;mult:replic 10;");
}

TEST(SearchSetup, NothingOfASearchIsAliveAfterIt)
{
    use(somedata(10, 75));
    zelrun("mult=replic 2;");
    EXPECT_EQ(doing_a_search, 0);
    EXPECT_EQ(clusters_on, 0);
    EXPECT_EQ(trees_are_packed, 0);
    EXPECT_NE(schtag, 0);
    EXPECT_EQ(loseg, minseg);
    EXPECT_EQ(hiseg, maxeg);
    zelrun("mult:replic 10;");
}

TEST(SearchSetup, ASearchThatFailsLeavesTreesInUserNumbers)
{
    plain::data m = somedata(10, 76);
    use(m);
    zelrun("mult=replic 3;");
    auto before = allkept();
    zelrun("mult=replic 200000;");
    EXPECT_TRUE(zelfailed());
    EXPECT_EQ(trees_are_packed, 0);
    EXPECT_EQ(maxtrees, realmaxtrees);
    auto after = allkept();
    ASSERT_EQ(before.size(), after.size());
    for (size_t t = 0; t < after.size(); ++t) EXPECT_EQ(before[t].anc, after[t].anc);
    zelrun("mult:replic 10;");
}

TEST(SearchSetup, ChangedDataArePackedAnew)
{
    plain::data m = somedata(8, 77);
    use(m);
    zelrun("mult=replic 5;");
    m.weight[0] = 7;
    zelrun("ccode /7 0;");
    std::string report = zelrun("mult=replic 20;");
    EXPECT_EQ(bestscore(report), double(plain::search(m).length));
    zelrun("mult:replic 10;");
}

TEST(SearchSetup, TreesThatDoNotFulfilTheConstraintsAreListedAndDiscarded)
{
    use(somedata(6, 85));
    zelrun("procedure " + writefile("odd.trees", "tread (0 (1 (2 (3 (4 5)))))*(0 (3 (1 (2 (4 5)))));\nprocedure/;\n") + "; force + [ 2 4 5 ];");
    std::string report = zelrun("bbreak;");
    EXPECT_NE(report.find("Searches require that pre-existing trees fulfill constraints.\nThe following trees don't fulfill them:\n0"),
              std::string::npos) << report;
    EXPECT_NE(report.find("Start swapping from 1 trees"), std::string::npos) << report;
    EXPECT_NE(report.find("Constraints enforced during search."), std::string::npos) << report;
    zelrun("force ]; keep 0;");
}

TEST(SearchSetup, WithoutATreeThatFitsThereIsNothingToSwap)
{
    use(somedata(6, 86));
    std::string report = zelrun("bbreak;");
    EXPECT_TRUE(zelfailed());
    EXPECT_NE(report.find("No trees to swap"), std::string::npos) << report;
    zelrun("procedure " + writefile("odd.trees", "tread (0 (1 (2 (3 4))));\nprocedure/;\n") + ";");
    report = zelrun("bbreak;");
    EXPECT_TRUE(zelfailed());
    EXPECT_NE(report.find("No trees to swap"), std::string::npos) << report;
}

TEST(SearchSetup, ATreeWithoutTheOutgroupCannotBeRooted)
{
    use(somedata(6, 87));
    zelrun("procedure " + writefile("odd.trees", "tread (1 (2 (3 (4 5))));\nprocedure/;\n") + ";");
    textcursor seen;
    std::string said;
    readnewtext(&seen, &said);
    said.clear();
    EXPECT_FALSE(safecall([] { chk_tree_rooting(); }));
    readnewtext(&seen, &said);
    EXPECT_NE(said.find("Tree 0 does not include current outgroup (t0) and cannot be rerooted"), std::string::npos) << said;
    zelrun("keep 0;");
}

TEST(SearchSetup, ThereIsNoCopyOfTheWorkingTreeOntoItself)
{
    use(somedata(6, 88));
    EXPECT_FALSE(safecall([] { schgettree(anx); }));
}

TEST(SearchSetup, WarnsOfTreesThatMayNotFit)
{
    use(somedata(8, 89));
    std::string report = zelrun("hold 20; mult=replic 21 wagner;");
    EXPECT_NE(report.find("Doing 21 wagner trees may fill memory (available treespace is 20)"), std::string::npos) << report;
    report = zelrun("keep 0; mult=replic 5 hold 5 tbr;");
    EXPECT_NE(report.find("5 reps. with 5 trees each exceeds available treespace (20)\n"
                          "Search may have to be interrupted if tree-buffer is filled"), std::string::npos) << report;
    report = zelrun("keep 0; mult=replic 4 hold 5 tbr;");
    EXPECT_EQ(report.find("exceeds"), std::string::npos) << report;
    zelrun("keep 0; hold 100; mult:replic 10 hold 10;");
}

TEST(SearchSetup, NotesThatTreesOfDifferentLengthMayBeOneOnceCollapsed)
{
    use(somedata(8, 90));
    const char *note = "Note: some trees of different length may become identical if collapsed.\n";
    for (const char *rule : { "rule 1", "rule 4", "spr" })
        EXPECT_NE(zelrun(std::string("keep 0; subopt 1; mult=replic 1; collapse ") + rule + "; keep 0; mult;").find(note), std::string::npos) << rule;
    for (const char *rule : { "none", "rule 3", "amb" })
        EXPECT_EQ(zelrun(std::string("keep 0; collapse ") + rule + "; mult;").find(note), std::string::npos) << rule;
    EXPECT_EQ(zelrun("keep 0; subopt 0; collapse rule 1; mult;").find(note), std::string::npos);
    zelrun("keep 0; mult:replic 10;");
}

TEST(SearchSetup, FillingOnlyEndsWhenTheBufferIsFull)
{
    use(plain::blankmatrix(7, 3));
    rulefor none(nocollapse);
    zelrun("hold 10;");
    std::mt19937 rng(91);
    usetrees({ plain::randomtree(rng, 7) });
    std::string report = zelrun("bbreak=fillonly;");
    EXPECT_EQ(trees_in_mem, 10);
    EXPECT_NE(report.find("Maxtrees was reached when swapping tree 0.  Didn't swap tree(s) 1-9\n"), std::string::npos) << report;
    report = zelrun("keep 9; hold 11; bbreak;");
    EXPECT_NE(report.find("Didn't swap tree(s) 1-10\n"), std::string::npos) << report;
    zelrun("bbreak:nofillonly; keep 0; hold 100;");
}

// --- what no swap should ever say ---------------------------------------------------------

static swapping badswap;
static std::mt19937 badrng(92);

static bool lied;
static bool lieonce(swapping *sw, int root, int dest)
{
    sw->score += !lied;
    lied = true;
    return good_place(sw, root, dest);
}

TEST(InternalChecks, ASwapWhoseScoreIsNotThatOfItsTreeFails)
{
    plain::data m = somedata(9, 93);
    use(m);
    searchframe frame(bbreakcom);
    std::vector<int> t = plain::stored(plain::randomtree(badrng, 9));
    std::copy(t.begin(), t.begin() + hinod, anx);
    start_swap(&badswap, anx, 0, 0, "TBR");
    badswap.score += 1;
    textcursor seen;
    std::string said;
    readnewtext(&seen, &said);
    said.clear();
    EXPECT_FALSE(safecall([] { end_swap(&badswap); }));
    readnewtext(&seen, &said);
    double score = badswap.score - 1;
    char expected[128];
    snprintf(expected, sizeof expected, "\nInternal error in TBR calculations, expected %.10f, is %.10f", score + 1, score);
    EXPECT_NE(said.find(expected), std::string::npos) << said;
}

TEST(InternalChecks, AMoveThatDoesNotGiveWhatItPromisedIsReported)
{
    plain::data m = somedata(12, 94);
    use(m);
    textcursor seen;
    std::string said;
    {
        searchframe frame(bbreakcom);
        std::vector<int> t = plain::stored(plain::randomtree(badrng, 12));
        std::copy(t.begin(), t.begin() + hinod, anx);
        clusters_on = use_safe_unclip = 1;
        start_swap(&badswap, anx, 0, 0, "TBR");
        badswap.place = lieonce;
        lied = false;
        readnewtext(&seen, &said);
        said.clear();
        for (int x = 1; x < hinod; ++x) {
            if (x == ntax) continue;
            tbr_clip(&badswap, x);
            if (end_clip(&badswap)) break;
        }
        clusters_on = use_safe_unclip = 0;
    }
    readnewtext(&seen, &said);
    EXPECT_NE(said.find("\nOOpps --- tbr, move "), std::string::npos) << said;
    EXPECT_NE(said.find(" error: -1"), std::string::npos) << said;
    EXPECT_NE(said.find(", score is " + scoretext(badswap.score)), std::string::npos) << said;
}

TEST(SearchSetup, TimeIsUp)
{
    use(somedata(80, 78));
    std::string report = zelrun("hold 1000;timeout 0:0:1;mult=replic 100000 hold 1;");
    EXPECT_FALSE(zelfailed());
    EXPECT_NE(report.find("Interrupting search (time is out!)\n"), std::string::npos) << report;
    EXPECT_NE(report.find("Search was interrupted...\n"), std::string::npos) << report;
    int hits = 0, done = 0;
    size_t at = report.rfind("Best score hit");
    ASSERT_NE(at, std::string::npos) << report;
    ASSERT_EQ(sscanf(report.c_str() + at, "Best score hit %i times out of %i", &hits, &done), 2);
    EXPECT_LE(hits, done);
    for (int t = 0; t < trees_in_mem; ++t) checktree(mem_tree[t]);
    zelrun("timeout 0;keep 0;hold 100;mult:replic 10 hold 10;");
}

TEST(SearchSetup, TreesFoundBecomeAGroup)
{
    use(somedata(8, 79));
    int g = nextautotreegroup;
    zelrun("mult=replic 3;");
    EXPECT_STREQ(treegroupname[g], "random_addseqs");
    for (int t = 0; t < trees_in_mem; ++t) EXPECT_TRUE(treegroup[t][g / 32] >> g % 32 & 1);
    zelrun("bbreak=tbr;");
    EXPECT_STREQ(treegroupname[g + 1], "tbr_swapping");
    zelrun("bbreak=spr;bbreak:tbr;");
    EXPECT_STREQ(treegroupname[g + 2], "spr_swapping");
    zelrun("mult:replic 10;");
}

// --- kept trees ---------------------------------------------------------------------------

// The groups that stand, of a canonical packed tree.
static std::vector<uint64_t> standing(const int *tree)
{
    plain::tree t;
    t.taxa = ntax;
    for (int n = 0; n < hinod; ++n) t.anc.push_back(n == ntax ? plain::tree::NONE : tree[n] & NODEBITS);
    auto g = plain::groups(t);
    std::vector<uint64_t> s;
    for (int n = ntax + 1; n < hinod; ++n)
        if (!(tree[n] & COLLAPSED)) s.push_back(g[n]);
    std::sort(s.begin(), s.end());
    return s;
}

TEST(KeptTrees, AreEqualWhenTheirStandingGroupsAre)
{
    use(somedata(9, 80));
    searchframe frame(multcom);
    std::mt19937 rng(81);
    collapse_level = COLL_RULE1;
    int equal = 0;
    std::vector<std::vector<int>> trees;
    std::vector<int> bucket;
    for (int i = 0; i < 600; ++i) {
        plain::tree t = plain::randomtree(rng, 9);
        std::vector<int> anc = plain::stored(t), support(hinod, 1);
        for (int n = ntax + 1; n < hinod; ++n) support[n] = t.anc[n] == ntax || plain::chance(rng, 15);
        bucket.push_back(nodreset(anc.data(), support.data()));
        EXPECT_EQ(anc[ntax], hinod);
        trees.push_back(anc);
    }
    for (size_t i = 0; i < trees.size(); ++i)
        for (size_t j = 0; j < i; ++j) {
            bool same = standing(trees[i].data()) == standing(trees[j].data());
            EXPECT_EQ(equal_trees(trees[i].data(), trees[j].data()), same);
            if (same) { EXPECT_EQ(bucket[i], bucket[j]); }
            equal += same;
        }
    EXPECT_GT(equal, 100);
}

TEST(KeptTrees, ADuplicateIsNotStored)
{
    plain::data m = somedata(9, 82);
    use(m);
    searchframe frame(multcom);
    std::mt19937 rng(83);
    plain::tree t = plain::randomtree(rng, 9);
    std::vector<int> anc = plain::stored(t);
    EXPECT_EQ(check_if_nutree(anc.data(), 0), 1);
    double score = 0;
    EXPECT_EQ(full_store_tree(anc.data(), 0, &score), 1);
    EXPECT_EQ(score, double(plain::length(m, t)));
    EXPECT_EQ(trees_in_mem, 1);
    EXPECT_EQ(check_if_nutree(anc.data(), 1), 0);
    EXPECT_EQ(full_store_tree(anc.data(), 1), 0);
    EXPECT_EQ(trees_in_mem, 1);
    checktreechk();
}

// Rules on the packed sets against sets of states found one character at a time.  States of a single
// taxon are not in the image, so there are none here.
TEST(CollapsingInSearches, FollowsTheSetsOfEachCharacter)
{
    std::mt19937 rng(84);
    for (int trial = 0; trial < 150; ++trial) {
        plain::data m = plain::randommatrix(rng, 9, 1 + plain::below(rng, 12), { 16, trial % 2 ? 12 : 4, 20 });
        for (int c = 0; c < m.chars; ++c)
            for (int s = 0; s < 16; ++s) {
                std::vector<int> with;
                for (int t = 0; t < m.taxa; ++t)
                    if (m.cells[t][c] == 1u << s) with.push_back(t);
                if (with.size() == 1) m.cells[with[0]][c] = plain::ANY;
            }
        use(m);
        plain::tree t = plain::randomtree(rng, 9);
        std::vector<int> anc = plain::stored(t), one(nodz), amb(nodz), three(nodz), want1(nodz), wanta(nodz), want3(nodz);
        {
            searchframe frame(multcom);
            schoptimize(anc.data(), 2);
            schcollapser_rule_1(anc.data(), one.data());
            schcollapser_rule_ambig(anc.data(), amb.data());
            schcollapser_rule_3(anc.data(), three.data());
        }
        for (int c = 0; c < m.chars; ++c) {
            auto final = plain::finalsets(m, t, c), first = plain::firstsets(m, t, c);
            for (int n = 10; n < nodz; ++n) {
                uint32_t f = final[n], a = final[t.anc[n]];
                want1[n] |= !(f & a);
                wanta[n] |= f != a;
                want3[n] |= (a & ~first[n]) != 0;
            }
        }
        for (int n = 10; n < nodz; ++n) {
            bool below = t.anc[n] == t.root();
            EXPECT_EQ(one[n], want1[n] || below) << "rule 1, trial " << trial;
            EXPECT_EQ(amb[n], wanta[n] || below) << "ambiguous, trial " << trial;
            EXPECT_EQ(three[n], want3[n] || below) << "rule 3, trial " << trial;
        }
    }
}
