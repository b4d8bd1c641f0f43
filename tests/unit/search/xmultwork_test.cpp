// Driven searches: what the level sets, in whole numbers; the schedule of the consensus; seeds; and that the parts of
// a search do what they are there for.
#include "fusetest.h"
#include "sectortest.h"
#include "xmulttest.h"
#include "search/drift.h"
#include "search/tbr.h"

namespace {

// --- fractions, rounded halves up -----------------------------------------------------------

struct fraction { long over, under; };
bool less(fraction a, fraction b) { return a.over * b.under < b.over * a.under; }
fraction least(fraction a, fraction b) { return less(b, a) ? b : a; }
int nearest(fraction f) { return int((2 * f.over + f.under) / (2 * f.under)); }

const char *const swaponly = " norss nocss noxss nofuse nomultiply nodrift noratchet ";

// Before any data are read.
const double atstart[] = {
    double(xmult_replications), double(xmult_hits), xmult_targetscore, double(xmult_update), xmult_giveupscore, double(xmult_rss), double(xmult_css),
    double(xmult_xss), double(xmult_fuse), double(xmult_gfuse), double(xmult_hfuse), double(xmult_dumpfuse), double(num_rebuilds),
    double(xmult_drift), double(xmult_ratchet), double(xmult_hold), double(xmult_autoconst), double(xmult_xmix), double(xmult_prvmix),
    double(xmult_consense), double(xmult_conbase), double(xmult_confactor), double(xmult_conmax), double(xmult_keepall), double(xmult_retouch),
    curlevel, double(xmult_chklevel), level_change_val, double(xmult_multiply), double(xmult_verbose), double(dotreehyb),
    hybrid_extra_repls_factor, double(driver_autoselect_ga), driver_autoselect_limit, double(xmul_filter),
};

bool says(const std::string &said, const std::string &text) { return said.find(text) != std::string::npos; }

void readmatrix(std::mt19937 &rng, int taxa, int chars)
{
    plain::data m = plain::randommatrix(rng, taxa, chars, kinds()[0]);
    m.taxactive.assign(size_t(taxa), 1);
    use(m);
}

}  // namespace

TEST(XmultSettings, StartWithTheirDefaults)
{
    const double wanted[] = { 4, 1, -1, 1, -1, 1, 1, 0, 1, 0, 0, 0, 0, 5, 0, 1, 1, 0, 0, 0, 10, 75, 12, 0, 0, 1.5, 0, 0.25, 1, 0, 0, 5, 0, 1.5, 0 };
    ASSERT_EQ(std::size(atstart), std::size(wanted));
    for (size_t i = 0; i < std::size(wanted); ++i) EXPECT_EQ(atstart[i], wanted[i]) << i;
}

TEST(XmultSettings, AreTurnedOffByNo)
{
    zelrun("");
    xmultsettings saved;
    struct row { const char *word; int *flag; };
    for (const row &r : { row{ "update", &xmult_update }, { "rss", &xmult_rss }, { "css", &xmult_css }, { "xss", &xmult_xss }, { "fuse", &xmult_fuse },
                          { "gfuse", &xmult_gfuse }, { "hfuse", &xmult_hfuse }, { "dumpfuse", &xmult_dumpfuse }, { "rebuild", &num_rebuilds },
                          { "drift", &xmult_drift }, { "ratchet", &xmult_ratchet }, { "autoconst", &xmult_autoconst }, { "xmix", &xmult_xmix },
                          { "prvmix", &xmult_prvmix }, { "consense", &xmult_consense }, { "conmax", &xmult_conmax }, { "keepall", &xmult_keepall },
                          { "retouch", &xmult_retouch }, { "chklevel", &xmult_chklevel }, { "multiply", &xmult_multiply },
                          { "verbose", &xmult_verbose }, { "hybrid", &dotreehyb }, { "picktype", &driver_autoselect_ga } })
        for (const char *no : { "no", "no " }) {
            *r.flag = 7;
            zelrun(std::string("xmult:") + no + r.word + ";");
            EXPECT_FALSE(zelfailed()) << r.word;
            EXPECT_EQ(*r.flag, 0) << no << r.word;
        }
    xmult_targetscore = xmult_giveupscore = 12;
    zelrun("xmult:notargetscore nogiveupscore;");
    EXPECT_EQ(xmult_targetscore, -1);
    EXPECT_EQ(xmult_giveupscore, -1);
    xmult_targetscore = xmult_giveupscore = 12;
    zelrun("xmult:targetscore 0 giveupscore 0;");
    EXPECT_EQ(xmult_targetscore, -1);
    EXPECT_EQ(xmult_giveupscore, -1);
}

// As menus write them.
TEST(XmultSettings, TakeAbbreviatedWords)
{
    zelrun("");
    xmultsettings saved;
    use(plain::blankmatrix(20, 2));
    xmult_hits = xmult_chklevel = 3;
    xmult_targetscore = xmult_giveupscore = 5;
    zelrun("xm:rep6hit1nota nogive fuse7dri8chk0 rat9;");
    ASSERT_FALSE(zelfailed());
    EXPECT_EQ(xmult_replications, 6);
    EXPECT_EQ(xmult_hits, 1);
    EXPECT_EQ(xmult_fuse, 7);
    EXPECT_EQ(xmult_drift, 8);
    EXPECT_EQ(xmult_ratchet, 9);
    EXPECT_EQ(xmult_chklevel, 0);
    EXPECT_EQ(xmult_targetscore, -1);
    EXPECT_EQ(xmult_giveupscore, -1);
    zelrun("xm:rep6fuse7dri8conse2conf50conb5lev2.500 give 12.50000 targ 11.00000 hol 3/;");
    ASSERT_FALSE(zelfailed());
    EXPECT_EQ(xmult_consense, 2);
    EXPECT_EQ(xmult_confactor, 50);
    EXPECT_EQ(xmult_conbase, 5);
    EXPECT_EQ(curlevel, 2.5);
    EXPECT_EQ(xmult_giveupscore, 12.5);
    EXPECT_EQ(xmult_targetscore, 11);
    EXPECT_EQ(xmult_hold, 3);
    EXPECT_EQ(xmult_replications, 6);
    EXPECT_EQ(xmult_fuse, 3) << "as the level wants";
    EXPECT_EQ(xmult_drift, 4);
    EXPECT_EQ(xmult_ratchet, 0);
}

// With l tenths of a level, and H half of T taxa, D = H - 2 / (1 + l/10) H = T (l - 10) / (2 (l + 10)), a quarter more from
// level 3 on.
TEST(SearchLevels, SetWhatTheFormulasGiveInWholeNumbers)
{
    zelrun("");
    xmultsettings saved;
    for (long taxa : { 8, 20, 89, 90, 91, 100, 499, 500, 501, 1000, 5000 })
        for (long l = 0; l <= 100; ++l) {
            SCOPED_TRACE("level " + std::to_string(l) + "/10, taxa " + std::to_string(taxa));
            calculate_search_parms(double(l) / 10, int(taxa));
            const fraction half{ taxa, 2 }, usual{ 45, 1 }, d{ taxa * (l - 10) * (l >= 30 ? 5 : 4), 8 * (l + 10) };
            fraction most = least(half, less(d, usual) ? usual : d), small = least(most, usual);
            ASSERT_EQ(ssmaxsize, nearest(most));
            ASSERT_EQ(ssminsize, nearest(small));
            ASSERT_EQ(ssglobaltbr, nearest({ 3 * taxa * small.under, 4 * small.over }));
            ASSERT_EQ(ss_large_globaltbr, taxa < 500 ? 10 : nearest({ 2 * taxa, 100 }));
            ASSERT_EQ(xmult_drift, l <= 20 ? 0 : l <= 55 ? 4 : nearest({ (l - 40) * 6, 10 }));
            ASSERT_EQ(xmult_fuse, l > 30 ? l / 10 : 3);
            ASSERT_EQ(ssmaxsubfactor, 2000 / (l + 20));
            ASSERT_EQ(xmult_replications, l / 10 + 4);
        }
}

TEST(SearchLevels, AreSetForTheActiveTaxaOrForAsManyAsAreTold)
{
    zelrun("");
    xmultsettings saved;
    use(plain::blankmatrix(120, 2));
    zelrun("xmult:level 10;");
    EXPECT_EQ(ssmaxsize, 60);
    zelrun("taxcode - 100.119;xmult:level 10;");
    EXPECT_EQ(ssmaxsize, 50);
    zelrun("xmult:level 10 1000;");
    EXPECT_EQ(ssmaxsize, 500);
    EXPECT_EQ(ss_large_globaltbr, 20);
    EXPECT_EQ(xmult_drift, 36);
    EXPECT_EQ(xmult_fuse, 10);
    EXPECT_EQ(xmult_replications, 14);
    zelrun("xmult:level 0 100;");
    EXPECT_EQ(xmult_replications, 4);
    EXPECT_EQ(xmult_fuse, 3);
    EXPECT_EQ(xmult_drift, 0);
    zelrun("xwipe;xmult:level 7;");               // without data nothing follows from it
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(curlevel, 7);
    EXPECT_EQ(xmult_replications, 4);
}

// --- replications ---------------------------------------------------------------------------

// A walk that accepts much worse trees ends far from where it began.
TEST(Xmult, KeepsTheBestTreeOfAReplicationWhereverItsWalkEnds)
{
    zelrun("mxram 64;");
    xmultsettings saved;
    std::mt19937 rng(1401);
    zelrun("drift:fitdiff 30 rfitdiff 0.95 noequals;");
    for (int trial = 0; trial < atmost(36); ++trial) {
        plain::data m = plain::randommatrix(rng, 30, 60, kinds()[size_t(trial) % 3]);
        m.taxactive.assign(30, 1);
        use(m);
        zelrun("hold 500;");
        for (const char *walks : { "ratchet 0 drift 1", "ratchet 1 drift 1", "ratchet 4 drift 2" }) {
            std::string said = zelrun("keep 0;rseed " + std::to_string(trial + 1) + ";xmult=repl 2 hits 1 norss nocss nofuse nomultiply hold 3 " + walks + ";");
            ASSERT_FALSE(zelfailed()) << said;
            ASSERT_GT(trees_in_mem, 0) << "trial " << trial << ", " << walks << said;
            long best = plain::length(m, kept(0));
            for (const plain::tree &t : allkept()) EXPECT_EQ(plain::length(m, t), best);
            EXPECT_TRUE(says(said, "Best score: " + std::to_string(best) + ".")) << said;
            // no walk leaves it worse than swapping does
            zelrun("keep 0;rseed " + std::to_string(trial + 1) + ";xmult=repl 1 hits 1 hold 1 noautoconst ratchet 0 drift 0;");
            long swapped = plain::length(m, kept(0));
            zelrun("keep 0;rseed " + std::to_string(trial + 1) + ";xmult=repl 1 hold 2 " + std::string(walks) + ";");
            ASSERT_GT(trees_in_mem, 0);
            EXPECT_LE(plain::length(m, kept(0)), swapped);
            zelrun("xmult:autoconst 1;");
        }
    }
    zelrun("drift:fitdiff 1 rfitdiff 0.2 equals;keep 0;rseed 1;hold 100;");
}

namespace {
std::vector<int> seedsdrawn;
int lookatseed()
{
    if (seedsdrawn.empty() || seedsdrawn.back() != xm.seed) seedsdrawn.push_back(xm.seed);
    return 0;
}
}

// Each replication draws the seed of the next one.
TEST(Xmult, UsesNoSeedTwiceAndTheSameOnesAgain)
{
    zelrun("mxram 64;");
    xmultsettings saved;
    std::mt19937 rng(1402);
    readmatrix(rng, 12, 20);
    zelrun("hold 2000;xmult:noautoconst keepall hold 1" + std::string(swaponly) + ";");
    for (const char *how : { "repl 120 hits 1", "repl 3 hits 40 noupdate", "repl 2 hits 20" }) {
        std::vector<int> first;
        for (int again = 0; again < 2; ++again) {
            seedsdrawn.clear();
            {
                watching now(lookatseed);
                zelrun("keep 0;rseed 17;xmult=" + std::string(how) + ";");
            }
            ASSERT_FALSE(zelfailed());
            EXPECT_EQ(std::set<int>(seedsdrawn.begin(), seedsdrawn.end()).size(), seedsdrawn.size()) << how;
            EXPECT_GE(seedsdrawn.size(), how[5] == '2' ? 40u : 120u) << how;
            if (again) { EXPECT_EQ(seedsdrawn, first); }
            else first = seedsdrawn;
        }
        zelrun("xmult:update;");
    }
    EXPECT_EQ(ranseed, 17);
    zelrun("keep 0;hold 100;rseed 1;");
}

namespace {
std::set<int> replicationswithsectors;
int lookforsectors()
{
    if (curalg == ALG_SECTORS && current_replication >= 0) replicationswithsectors.insert(current_replication);
    return 0;
}
}

TEST(Xmult, AnalyzesSectorsByConstraintsInReplicationsThatAreConstrained)
{
    zelrun("mxram 64;");
    xmultsettings saved;
    std::mt19937 rng(1403);
    readmatrix(rng, 40, 40);
    ssminfork = 2;
    auto with = [&](const std::string &words) {
        replicationswithsectors.clear();
        watching now(lookforsectors);
        std::string said = zelrun("keep 0;rseed 2;xmult=repl 4 hits 1 norss nofuse nomultiply nodrift noratchet " + words + ";");
        EXPECT_FALSE(zelfailed()) << said;
        return replicationswithsectors;
    };
    EXPECT_EQ(with("css autoconst 1"), (std::set<int>{ 1, 2, 3 }));
    EXPECT_EQ(with("css autoconst 3"), (std::set<int>{ 1, 2, 3 }));
    EXPECT_EQ(with("nocss autoconst 1"), std::set<int>());
    EXPECT_EQ(with("nocss noautoconst rss"), (std::set<int>{ 0, 1, 2, 3 }));
    zelrun("force = (0 1 2 3 4 5 6 7 8 9 (10 11 12 13 14 15 16 17 18 19) 20 21 22 23 24 25 26 27 28 29 30 31 32 33 34 35 36 37 38 39);constrain=;");
    EXPECT_EQ(with("norss css noautoconst"), (std::set<int>{ 0, 1, 2, 3 }));
    zelrun("force];keep 0;rseed 1;xmult:autoconst 1;");
}

// An asymmetric character that is the same on all trees is not in the image.
TEST(Xmult, RefusesExclusiveSectorsBeforeItStartsWhateverTheAsymmetricCharacterTells)
{
    zelrun("mxram 64;");
    xmultsettings saved;
    std::string rows = "nstates num 8;xread 3 24\n";
    for (int t = 0; t < 24; ++t) rows += "t" + std::to_string(t) + " " + (t == 5 ? "1" : "0") + (t % 2 ? "1" : "0") + (t > 11 ? "1" : "0") + "\n";
    zelrun("procedure " + writefile("uninformative.xread", rows + ";\ncosts 0 = 0>1 1 1>0 2 0/2 1 1/2 1;\nccode (0;\nprocedure/;\n") + ";");
    ASSERT_FALSE(zelfailed());
    zelrun("mult 1;");
    ASSERT_TRUE(have_asymmetric);
    ASSERT_FALSE(asymmetric_fields);
    for (const char *search : { "xmult=repl 1 hits 1 xss;", "mult 1;sectsch=xss;" }) {
        std::string said = zelrun(std::string("keep 0;") + search);
        EXPECT_TRUE(zelfailed()) << said;
        EXPECT_TRUE(says(said, "Some characters are Sankoff and asymmetric: can't run exclusive sectors")) << said;
        EXPECT_EQ(numrearrangs, 0u) << "nothing was searched by then";
    }
    zelrun("keep 0;xmult:noxss;sectsch:rss;xwipe;");
}

TEST(Xmult, SaysThatThereIsNoSpaceAsAnErrorWithinReplicates)
{
    zelrun("");
    xmultsettings saved;
    std::mt19937 rng(1404);
    readmatrix(rng, 12, 20);
    zelrun("hold 3;");
    jaking = 1;
    std::string said = zelrun("xmult=repl 5;");
    jaking = 0;
    EXPECT_TRUE(zelfailed());
    EXPECT_TRUE(says(said, "No space to store more trees! Increase max.trees and retry.")) << said;
    EXPECT_FALSE(says(said, "Search was interrupted")) << said;
    EXPECT_EQ(maxtrees, 3);
    EXPECT_FALSE(xmulting || doing_a_search);
    zelrun("keep 0;hold 100;");
}

// --- the consensus --------------------------------------------------------------------------

// Each comparison tells when the next one is: after the base, or the given part of the hits since the last
// stabilization, if that is more, but no more than the limit.  Of those since a stabilization the first is never stable.
TEST(ConsensusOfHits, IsComparedAfterAsManyHitsAsTheSettingsWant)
{
    zelrun("mxram 64;");
    xmultsettings saved;
    int rule = current_collapsing_rule(), grown = 0, cut = 0;
    std::mt19937 rng(1405);
    struct row { int times, base, factor, limit; };
    for (const row &r : { row{ 1, 10, 75, 12 }, { 3, 3, 50, 7 }, { 4, 5, 100, 5 }, { 2, 1, 100, 0 }, { 3, 4, 10, 12 } })
        for (int trial = 0; trial < 6; ++trial) {
            use(sectors::evolved(rng, 24, 24, 15));
            zelrun("hold 9000;");
            std::string said = zelrun("keep 0;xmult=repl 1 hits 1 noupdate noautoconst verbose consense " + std::to_string(r.times) + " conbase " + std::to_string(r.base)
                                      + " confactor " + std::to_string(r.factor) + (r.limit ? " conmax " + std::to_string(r.limit) : std::string(" noconmax")) + swaponly + ";");
            ASSERT_FALSE(zelfailed()) << said;
            int next = r.base, hits = 0, since = 0, stable = 0;
            bool first = true;
            std::istringstream lines(said);
            for (std::string line; std::getline(lines, line);) {
                int nodes, told;
                char how[32];
                if (sscanf(line.c_str(), "   Calculated consensus (%i nodes) (%31[^)])", &nodes, how) == 2) {
                    hits += next;
                    since += next;
                    bool now = !strcmp(how, "stable");
                    EXPECT_FALSE(first && now) << said;
                    first = now;
                    if (now) {
                        ++stable;
                        since = 0;
                        next = r.base;
                        continue;
                    }
                    next = std::max(r.base, since * r.factor / 100);
                    grown += next > r.base;
                    cut += r.limit && next > r.limit;
                    if (r.limit) next = std::min(next, r.limit);
                }
                if (sscanf(line.c_str(), "   Consensus stabilized %i times", &told) == 1) { EXPECT_EQ(told, stable) << said; }
                if (says(line, "Consensus not yet stabilized")) { EXPECT_EQ(stable, 0) << said; }
                if (sscanf(line.c_str(), "   Next consensus calculation: %i more hits", &told) == 1) { EXPECT_EQ(told, next) << said; }
                if (says(line, "No need to continue searching...")) { EXPECT_EQ(stable, r.times) << said; }
            }
            EXPECT_EQ(stable, r.times) << said;
            EXPECT_TRUE(says(said, "Best score hit " + std::to_string(hits) + " times.")) << hits << said;
            EXPECT_TRUE(says(said, "nodes, stabilized " + std::to_string(r.times) + " times) saved as tree")) << said;
        }
    EXPECT_GT(grown, 0);
    EXPECT_GT(cut, 0);
    zelrun("keep 0;hold 100;");
    set_collapsing_rule(rule);
}

TEST(ConsensusOfHits, WantsTreesCollapsedBySwapping)
{
    zelrun("mxram 64;warn-;");
    xmultsettings saved;
    int rule = current_collapsing_rule();
    std::mt19937 rng(1406);
    readmatrix(rng, 10, 12);
    const char *const warning = "To stabilize consensus, tree collapsing will be re-set to TBR";
    for (int from : { COLL_NONE, COLL_RULE1, COLL_RULE3, COLL_RULE4, COLL_SPR, COLL_TBR }) {
        set_collapsing_rule(from);
        std::string said = zelrun("keep 0;xmult=repl 1 hits 1 consense 1 conbase 1;");
        ASSERT_FALSE(zelfailed()) << said;
        bool swaps = from == COLL_SPR || from == COLL_TBR;
        EXPECT_NE(says(said, warning), swaps) << from << said;
        EXPECT_EQ(current_collapsing_rule(), swaps ? from : int(COLL_TBR)) << from;
    }
    zelrun("keep 0;xmult:noconsense;");
    set_collapsing_rule(rule);
}

TEST(ConsensusOfHits, AndReportsAreShownWithTheSettings)
{
    zelrun("");
    xmultsettings saved;
    use(plain::blankmatrix(10, 2));
    std::string before = zelrun("xmult:;");
    EXPECT_FALSE(says(before, "left out"));
    std::string said = zelrun("xmult:verbose / 1 3 4;xmult:;");
    EXPECT_EQ(said, before + "     * 3 taxa are left out of the consensus\n     * verbose reports\n");
    EXPECT_EQ(zelrun("xmult:noverbose /;xmult:;"), before);
}

// --- the genetic stages ---------------------------------------------------------------------

namespace {

// Random trees and those that swapping makes of them, kept as those of a hit; those before first belong to others.
struct ahit {
    packing image;
    replicating run;
    int trees;
    ahit(const plain::data &m, int count, int seed) : image(m), run(seed), trees(count)
    {
        std::vector<int> tree(size_t(nodz), 0);
        for (int i = 0; i < count; ++i) {
            wagner(tree.data(), seed + i);
            ranseed = -1;
            if (i % 2) tbrswap(tree.data(), 0, 0);
            force_store_tree(tree.data(), trees_in_mem);
        }
    }
    double best(int from) const
    {
        double b = NOSCORE;
        for (int t = from; t < trees_in_mem; ++t) b = std::min(b, treechk[t].score);
        return b;
    }
};

}  // namespace

TEST(GeneticStages, FilteringLeavesOnlyTheBestTreesOfTheHit)
{
    zelrun("mxram 64;hold 100;");
    xmultsettings saved;
    std::mt19937 rng(1407);
    ahit hit(matrixof(rng, 20, 40), 12, 5);
    xm.startsaveas = 4;
    std::vector<double> before;
    for (int t = 0; t < trees_in_mem; ++t) before.push_back(treechk[t].score);
    double best = hit.best(4);
    long left = std::count(before.begin() + 4, before.end(), best);
    ASSERT_LT(left, 8);
    effect_xmul_filter(best);
    EXPECT_EQ(trees_in_mem, 4 + left);
    for (int t = 0; t < 4; ++t) EXPECT_EQ(treechk[t].score, before[size_t(t)]) << "not of this hit";
    for (int t = 4; t < trees_in_mem; ++t) EXPECT_EQ(treechk[t].score, best);
}

TEST(GeneticStages, FusedTreesThatMissTheTargetMayBeDropped)
{
    zelrun("mxram 64;hold 100;");
    xmultsettings saved;
    std::mt19937 rng(1408);
    xmult_fuse = 3;
    int added[2][2] = {};                         // by dumpfuse, with a target
    for (int trial = 0; trial < 8; ++trial) {
        plain::data m = sectors::evolved(rng, 50, 100, 15);
        for (int dump : { 0, 1 })
            for (int target : { 0, 1 }) {
                ahit hit(m, 6, trial + 1);
                xmult_dumpfuse = dump;
                if (target) xm.target = 1;        // out of reach
                double before = hit.best(2), now = handle_fuser(2);
                EXPECT_LE(trees_in_mem, 9);
                EXPECT_LE(now, before) << "the score is told all the same";
                added[dump][target] += trees_in_mem - 6;
            }
    }
    EXPECT_GT(added[0][0], 0);
    EXPECT_EQ(added[0][1], added[0][0]);
    EXPECT_EQ(added[1][0], added[0][0]) << "without a target none misses it";
    EXPECT_EQ(added[1][1], 0);
}

TEST(GeneticStages, MultiplicationAddsTreesOfTheBestScore)
{
    zelrun("mxram 64;hold 100;");
    xmultsettings saved;
    std::mt19937 rng(1409);
    xmult_fuse = 6;
    int added = 0, equals = fusetakequals;
    for (int trial = 0; trial < 12; ++trial) {
        ahit hit(matrixof(rng, 16, 14), 8, trial + 1);
        double best = hit.best(0);
        handle_multiplication(0);
        for (int t = 8; t < trees_in_mem; ++t) EXPECT_LE(treechk[t].score, best);
        added += trees_in_mem - 8;
        EXPECT_EQ(fusetakequals, equals);
    }
    EXPECT_GT(added, 0);
}

TEST(GeneticStages, RetouchingImprovesTheTreesOfTheHit)
{
    zelrun("mxram 64;hold 100;");
    xmultsettings saved;
    std::mt19937 rng(1410);
    xmult_rss = 1;
    xmult_xss = xmult_ratchet = 0;
    xmult_drift = 2;
    ssminsize = ssmaxsize = 10;
    ahit hit(matrixof(rng, 30, 60), 8, 5);
    xm.startsaveas = 3;
    std::vector<double> before;
    for (int t = 0; t < 8; ++t) before.push_back(treechk[t].score);
    double best = do_retouch();
    EXPECT_GT(trees_in_mem, 8);
    EXPECT_LE(trees_in_mem, 13) << "those of other hits are left alone";
    for (int t = 0; t < 8; ++t) EXPECT_EQ(treechk[t].score, before[size_t(t)]);
    EXPECT_LT(hit.best(8), *std::max_element(before.begin() + 3, before.end()));
    EXPECT_EQ(best, hit.best(3)) << "a tree that stayed as it was is not kept twice";
    EXPECT_EQ(maxtrees, 100);
}

TEST(Hits, AreHybridizedAllTogetherEverySoMany)
{
    zelrun("mxram 64;");
    xmultsettings saved;
    std::mt19937 rng(1411);
    readmatrix(rng, 14, 30);
    zelrun("hold 500;");
    for (int hits : { 4, 5, 11 }) {
        stagewatch hybridizations(ALG_HYBRID);
        std::string said = zelrun("keep 0;rseed 3;xmult=repl 2 noupdate keepall hfuse 5 hits " + std::to_string(hits) + swaponly + ";");
        ASSERT_FALSE(zelfailed()) << said;
        EXPECT_EQ(hybridizations.begun, hits / 5) << hits;
    }
    zelrun("keep 0;hold 100;rseed 1;");
}
