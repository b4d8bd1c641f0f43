// Driven searches: which replications count as hits, which groups they keep, what the consensus leaves out, and what
// becomes of a search that cannot go on.
#include "fusetest.h"
#include "xmulttest.h"
#include "search/spr.h"
#include "search/tbr.h"

namespace {

// Only Wagner trees and swapping.
void plainreplications()
{
    xmult_rss = xmult_css = xmult_xss = xmult_drift = xmult_ratchet = num_rebuilds = xmult_autoconst = xmult_xmix = xmult_prvmix = 0;
    xmult_hold = 1;
}

groupset packedgroups(const int *tree)
{
    std::vector<int> copy(tree, tree + hinod);
    for (int n = 0; n < hinod; ++n)
        if (n != ntax) copy[size_t(n)] &= NODEBITS;
    return groupsof(copy);
}

groupset common(const groupset &a, const groupset &b)
{
    groupset both;
    std::set_intersection(a.begin(), a.end(), b.begin(), b.end(), std::inserter(both, both.end()));
    return both;
}

bool allin(const groupset &a, const groupset &b) { return std::includes(b.begin(), b.end(), a.begin(), a.end()); }

// The tree of the replication with this seed when the stage given begins, without constraints.
std::vector<int> untilstage(int seed, int stage)
{
    std::vector<int> t(size_t(nodz), 0);
    wagner(t.data(), seed);
    ranseed = -1;
    if (stage > 1) sprswap(t.data(), 0, 0);
    if (stage > 2) tbrswap(t.data(), 0, 0);
    return t;
}

const char *const swaponly = " norss nocss noxss nofuse nomultiply nodrift noratchet ";

}  // namespace

// Replications one by one tell when the run must end, and what it has examined by then.
TEST(Hits, CountFromTheFirstOneOfTheBestScore)
{
    zelrun("mxram 64;");
    xmultsettings saved;
    std::mt19937 rng(1301);
    int restarted = 0;
    for (int trial = 0; trial < atmost(12); ++trial) {
        plain::data m = matrixof(rng, 24, 30);
        constexpr int MOST = 60;
        double scores[MOST];
        std::string examined[MOST];
        {
            zelrun("hold 500;");
            packing image(m);
            plainreplications();
            ranseed = trial + 1;
            randinit();
            replicating run(std::max(1, rand()));
            clear_rearrangs();
            for (int i = 0; i < MOST; ++i) {
                scores[i] = nreplics(1, FIRSTTRY);
                examined[i] = give_numrearrangs();
            }
        }
        for (int wanted : { 1, 2, 4 }) {
            double best = NOSCORE;
            int hits = 0, i = 0;
            for (; i < MOST && hits < wanted; ++i) {
                restarted += hits && scores[i] < best;
                if (scores[i] < best) hits = 1;
                else hits += scores[i] == best;
                best = std::min(best, scores[i]);
            }
            if (hits < wanted) continue;
            std::string said = zelrun("keep 0;rseed " + std::to_string(trial + 1) + ";xmult=repl 1 noautoconst hits " + std::to_string(wanted) + swaponly + ";");
            ASSERT_FALSE(zelfailed()) << said;
            EXPECT_NE(said.find("Best score hit " + std::to_string(wanted) + " times."), std::string::npos) << said;
            EXPECT_NE(said.find("Best score: " + std::to_string(long(best)) + "."), std::string::npos) << said;
            EXPECT_NE(said.find("Total rearrangements examined: " + examined[i - 1] + "."), std::string::npos)
                << "trial " << trial << ", after " << examined[i - 1] << " and " << i << " replications: " << said;
        }
    }
    EXPECT_GT(restarted, 0);
    zelrun("keep 0;hold 100;rseed 1;");
}

// The groups that a replication has in common with the last one, when the stage begins, are in its tree.
TEST(Autoconstraints, KeepTheGroupsSharedWithTheLastReplication)
{
    zelrun("mxram 64;");
    xmultsettings saved;
    std::mt19937 rng(1302);
    int broken[4] = {};
    for (int trial = 0; trial < atmost(24); ++trial)
        for (int stage = 1; stage <= 3; ++stage) {
            plain::data m = matrixof(rng, 12 + trial % 12, 16);
            packing image(m);
            plainreplications();
            xmult_css = stage == 3;
            ssminfork = 4;
            auto second = [&](int autoconst, int *seed, groupset *first) {
                replicating run(trial + 5);
                xmult_autoconst = autoconst;
                if (seed) {
                    nreplics(1, FIRSTTRY);
                    *seed = xm.seed;
                    *first = packedgroups(mem_tree[0]);
                    return groupset();
                }
                nreplics(2, FIRSTTRY);
                EXPECT_EQ(trees_in_mem, 2);
                return packedgroups(mem_tree[1]);
            };
            int seed;
            groupset first;
            second(stage, &seed, &first);
            groupset kept = common(first, packedgroups(untilstage(seed, stage).data()));
            EXPECT_TRUE(allin(kept, second(stage, nullptr, nullptr))) << "trial " << trial << ", stage " << stage;
            broken[stage] += !allin(kept, second(0, nullptr, nullptr));
        }
    EXPECT_GT(broken[1], 0);
    EXPECT_GT(broken[2], 0);
}

// When that is the very Wagner tree that the replication begins with, nothing can move.
TEST(Autoconstraints, HoldTheFirstReplicationToTheLastTreeInMemoryOnlyWhenMixed)
{
    zelrun("");
    xmultsettings saved;
    std::mt19937 rng(1303);
    int moved = 0;
    for (int trial = 0; trial < atmost(15); ++trial) {
        plain::data m = matrixof(rng, 16, 30);
        use(m);
        std::string seed = "keep 0;rseed " + std::to_string(trial + 1) + ";mult=wagner keepall replic 1;";
        auto best = [&](const std::string &how) {
            zelrun(seed);
            std::string said = zelrun("xmult=repl 1 hits 1 autoconst 1" + std::string(swaponly) + how + ";");
            EXPECT_FALSE(zelfailed()) << said;
            return plain::length(m, kept(0));
        };
        zelrun(seed);
        long start = plain::length(m, kept(0));
        EXPECT_EQ(best("xmix prvmix"), start);
        long freely = best("xmix noprvmix");
        moved += freely < start;
        EXPECT_EQ(best("noxmix prvmix"), freely);
        EXPECT_EQ(best("xmix prvmix noautoconst"), freely);
        EXPECT_LE(best("xmix prvmix hits 2"), start);             // the second hit is free
        // without trees there is nothing to hold to
        std::string said = zelrun("keep 0;rseed " + std::to_string(trial + 1) + ";xmult=repl 1 hits 1 xmix prvmix;");
        EXPECT_FALSE(zelfailed()) << said;
        EXPECT_EQ(plain::length(m, kept(0)), freely);
    }
    EXPECT_GT(moved, 0);
    zelrun("keep 0;rseed 1;mult:tbr nokeepall replic 10;");
}

TEST(Hits, AreFusedAllTogetherEverySoMany)
{
    zelrun("mxram 64;");
    xmultsettings saved;
    std::mt19937 rng(1304);
    plain::data m = matrixof(rng, 20, 60);
    use(m);
    zelrun("hold 500;keep 0;xmult=hits 3;");
    std::string target = std::to_string(plain::length(m, kept(0)));
    for (int hits : { 1, 2, 3, 4 }) {
        std::string said = zelrun("keep 0;xmult=gfuse 2 targetscore " + target + " hits " + std::to_string(hits) + ";");
        ASSERT_FALSE(zelfailed()) << said;
        ASSERT_NE(said.find("Target score " + target + " hit " + std::to_string(hits) + " times"), std::string::npos) << said;
        EXPECT_EQ(xm.gfusesdone, hits / 2);
    }
    zelrun("xmult:notarget;keep 0;hold 100;");
}

// The last taxon goes with one or with the other, as two characters each want: by hand, {3 4} and the ingroup are all
// that both trees have.  Of the others alone, all groups of {1 2}, {3 4}, {1 2 3 4}, {5 6} are certain.
TEST(ConsensusOfHits, LeavesTaxaOut)
{
    zelrun("mxram 64;");
    xmultsettings saved;
    int rule = current_collapsing_rule();
    zelrun("procedure " + writefile("rogue.xread", "xread 16 8\n"
                                                   "out 0000000000000000\n"
                                                   "a   1100001100001100\n"
                                                   "b   1100001100000000\n"
                                                   "c   0011001100000000\n"
                                                   "d   0011001100000000\n"
                                                   "e   0000110011000000\n"
                                                   "f   0000110011000011\n"
                                                   "g   ????????????1111;\n") + ";");
    ASSERT_FALSE(zelfailed());
    for (const char *list : { "", "/", "/ g", "/ 1 2" }) {
        std::string said = zelrun("hold 500;keep 0;xmult=hits 2 consense 2 conbase 2" + std::string(list) + ";");
        ASSERT_FALSE(zelfailed()) << said;
        bool whole = std::string(list).size() < 2, rogue = std::string(list) == "/ g";
        ASSERT_EQ(trees_in_mem, 3);
        std::set<uint64_t> shown;
        plain::tree t = kept(2);
        std::vector<uint64_t> groups = plain::groups(t);
        for (int n = 8; n < t.nodes(); ++n) shown.insert(groups[size_t(n)]);
        std::set<uint64_t> expected;
        if (whole) expected = { 0xff, 0xfe, 0x18 };
        else if (rogue) expected = { 0x7f, 0x7e, 0x1e, 0x06, 0x18, 0x60 };
        else expected = { 0xf9, 0xf8, 0x18 };
        EXPECT_EQ(shown, expected) << list;
        EXPECT_NE(said.find("Consensus (" + std::to_string(expected.size()) + " nodes, stabilized 2 times) saved as tree 2"), std::string::npos) << said;
        contaxex.clear();
    }
    // until other data come
    zelrun("xmult:/ 1;");
    EXPECT_FALSE(contaxex.empty());
    zelrun("procedure " + tempdir() + "/rogue.xread;");
    EXPECT_TRUE(contaxex.empty());
    EXPECT_NE(zelrun("xmult:/ nobody;").find("nobody"), std::string::npos);
    EXPECT_TRUE(zelfailed());
    zelrun("keep 0;hold 100;");
    set_collapsing_rule(rule);
}

// Trees are in packed numbers when the taxa are read.
TEST(Xmult, LeavesOutOfTheConsensusTheTaxaOfACladeOfATreeInMemory)
{
    zelrun("mxram 64;");
    xmultsettings saved;
    int rule = current_collapsing_rule();
    zelrun("xread 4 6 a 0000 b 1100 c 1100 d 0011 e 0011 f 0000; taxcode -2; outgroup 1; tread (1 (0 ((5 3) 4)));");
    zelrun("xmult= replications 1 hits 1 consense 1 conbase 1 / @0 9;");       // nodes from 7 on, as taxa 0, 3, 4 meet them
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(contaxex, (std::vector<uint8_t>{ 0, 0, 0, 1, 1, 1 }));
    zelrun("xmult= hits 1 / @0 14;");
    EXPECT_TRUE(zelfailed());
    zelrun("outgroup 0; taxcode +2;");
    set_collapsing_rule(rule);
}

TEST(ConsensusOfHits, IsNotSavedInAFullBuffer)
{
    zelrun("mxram 64;");
    xmultsettings saved;
    int rule = current_collapsing_rule(), full = 0;
    std::mt19937 rng(1305);
    for (int trial = 0; trial < 20 && !full; ++trial) {
        plain::data m = matrixof(rng, 9, 8);
        use(m);
        zelrun("hold 3;");
        std::string said = zelrun("keep 0;xmult=repl 1 hits 1 consense 60 conbase 1" + std::string(swaponly) + ";");
        ASSERT_FALSE(zelfailed()) << said;
        if (trees_in_mem < 3) continue;
        ++full;
        EXPECT_NE(said.find("\n\nNo space to store more trees! Increase max.trees and retry.\n\n"), std::string::npos) << said;
        EXPECT_NE(said.find("Search was interrupted...\n"), std::string::npos) << said;
        EXPECT_NE(said.find(" times) not saved: the tree buffer is full\n"), std::string::npos) << said;
        for (int t = 0; t < 3; ++t) checktree(mem_tree[t]);
    }
    EXPECT_GT(full, 0);
    zelrun("keep 0;hold 100;");
    set_collapsing_rule(rule);
}

TEST(Xmult, StoppedInItsFirstReplicationKeepsTheTreeThatItHas)
{
    zelrun("");
    xmultsettings saved;
    std::mt19937 rng(1306);
    plain::data m = matrixof(rng, 14, 20);
    use(m);
    zelrun("keep 0;");
    for (int trees = 0; trees < 2; ++trees) {
        untouched same;
        std::string said;
        {
            stopping here(1);
            said = zelrun("xmult=hits 3;");
        }
        EXPECT_FALSE(zelfailed()) << said;
        same.check();
        ASSERT_GT(trees_in_mem, 0);
        EXPECT_NE(said.find("Search was interrupted...\n"), std::string::npos) << said;
        EXPECT_NE(said.find("No target score defined.  Best score hit 0 times.\n"), std::string::npos) << said;
        EXPECT_NE(said.find("Best score: " + std::to_string(plain::length(m, kept(0))) + ".  " + std::to_string(trees_in_mem) + " trees retained.\n"),
                  std::string::npos) << said;
    }
    zelrun("keep 0;");
}

TEST(Xmult, StoppedBeforeItsFirstReplicationFindsNothing)
{
    zelrun("mxram 64;");
    xmultsettings saved;
    std::mt19937 rng(1309);
    packing image(matrixof(rng, 14, 20));
    replicating run(3);
    userstop = 1;
    EXPECT_EQ(nreplics(4, FIRSTTRY), NOSCORE);
    EXPECT_EQ(trees_in_mem, 0);
    EXPECT_FALSE(xm.began);
    userstop = 0;
}

TEST(Xmult, RefusesExclusiveSectorsWithAsymmetricCosts)
{
    zelrun("mxram 64;");
    xmultsettings saved;
    std::mt19937 rng(1307);
    for (const mixed::kind &k : mixed::kinds) {
        if (k.costs != mixed::ASYMMETRIC && k.costs != mixed::SYMMETRIC) continue;
        mixed::data d = mixed::random(rng, 10, 8, k);
        d.m.taxactive.assign(size_t(d.m.taxa), 1);
        zelrun("procedure " + writefile("slow.xread", mixed::readtext(d)) + ";");
        ASSERT_FALSE(zelfailed());
        std::string said = zelrun("keep 0;xmult=repl 1 xss;");
        EXPECT_EQ(zelfailed(), k.costs == mixed::ASYMMETRIC) << said;
        EXPECT_EQ(said.find("Some characters are Sankoff and asymmetric: can't run exclusive sectors") != std::string::npos, zelfailed()) << said;
        EXPECT_FALSE(xmulting || doing_a_search);
        zelrun("keep 0;xmult=noxss;");
        EXPECT_FALSE(zelfailed());
    }
    zelrun("keep 0;");
}

// All memory but so many bytes is taken until giveback; no image of an earlier search stands beneath.
static void giveback(int *rest)
{
    wipetag(&opttag);
    wipetag(&schtag);
    wipetag(rest);
}

static void leaveonly(size_t bytes, int *rest)
{
    wipetag(&schtag);
    wipetag(&opttag);
    loram((vailram() - bytes) & ~size_t(7));
    lockram(rest);
}

TEST(SearchesThatFuse, UnderImpliedWeightsSayWhenMemoryIsTooLow)
{
    zelrun("mxram 64;");
    xmultsettings saved;
    std::mt19937 rng(1308);
    plain::data m = matrixof(rng, 14, 30);
    zelrun("piwe=3;");
    use(m);
    zelrun("keep 0;mult=replic 4;");
    const char *const refusal = "Sorry, not enough RAM allocated for tree-fusing under implied weights";
    for (const char *search : { "xmult=repl 1 hits 1;", "sectsch=rss fuse 3;" }) {
        SCOPED_TRACE(search);
        zelrun(search);
        EXPECT_FALSE(zelfailed());
        int failed = 0, done = 0;
        for (size_t bytes = 2000; bytes < 400000 && !done; bytes += 1900) {
            int rest = 0;
            leaveonly(bytes, &rest);
            std::string said = zelrun(search);
            failed += zelfailed() && said.find(refusal) != std::string::npos;
            done += !zelfailed();
            giveback(&rest);
        }
        EXPECT_GT(failed, 0);
        EXPECT_GT(done, 0);
    }
    zelrun("xmult:nofuse nomultiply nogfuse;sectsch:nofuse nogocomb;");
    for (const char *search : { "xmult;", "sectsch=rss;" }) {          // nothing is to be fused
        int rest = 0;
        leaveonly(4000, &rest);
        EXPECT_EQ(zelrun(search).find(refusal), std::string::npos);
        giveback(&rest);
    }
    zelrun("piwe-;keep 0;");
}

TEST(SearchLevels, FallToTheLeastSectorsAndNoFurther)
{
    zelrun("");
    xmultsettings saved;
    use(plain::blankmatrix(26, 2));
    change_by_level = 0;
    for (int i = 0; i < 20; ++i) reset_search_parms(0, 1, 1);
    EXPECT_EQ(ssmaxsize, LEAST_SECTOR);
    EXPECT_EQ(ssminsize, LEAST_SECTOR);
    EXPECT_EQ(ssmaxsubfactor, 95);
    EXPECT_EQ(xmult_replications, 4);
    EXPECT_EQ(xmult_fuse, 4);
    for (int i = 0; i < 20; ++i) reset_search_parms(2, 1, 1);
    EXPECT_EQ(ssmaxsize, 13);
    EXPECT_EQ(ssmaxsubfactor, 5);
    EXPECT_EQ(xmult_replications, 12);
    EXPECT_EQ(xmult_fuse, 10);
}

// Worked by hand, with sectors of half of 26 taxa.
TEST(SearchLevels, AreTold)
{
    zelrun("");
    xmultsettings saved;
    use(plain::blankmatrix(26, 2));
    zelrun("xmult:verbose level 5;");
    change_by_level = 1;
    level_change_val = 0.5;
    reset_search_parms(2, 1, 1);
    EXPECT_EQ(zelrun(""), "\n\n   Increasing search level (1.25) to 5.50\n"
                          "   Using 9 initial replications\n"
                          "   Random sectors of sizes 13-13 (with factor 26)\n"
                          "   Doing 4 rounds of drifting\n"
                          "   5 rounds of fusing\n");
    change_by_level = 0;
    xmult_drift = 0;
    reset_search_parms(0, 1, 1);
    EXPECT_EQ(zelrun(""), "\n\n   Decreasing search level (0.75) \n"
                          "   Using 6 initial replications\n"
                          "   Random sectors of sizes 9-9 (with factor 34)\n"
                          "   No tree-drifting\n"
                          "   4 rounds of fusing\n");
    EXPECT_EQ(curlevel, 5.5);
    reset_search_parms(1, 1, 1);                  // as expected: nothing changes
    EXPECT_EQ(zelrun(""), "");
}
