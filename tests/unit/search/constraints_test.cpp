#include "searchtest.h"
#include "slowtest.h"
#include "kernel/below.h"
#include "kernel/errors.h"
#include "search/constpack.h"
#include "search/constraints.h"
#include "search/spr.h"
#include "search/status.h"
#include "search/tbr.h"
#include "search/wagner.h"
#include "trees/filtertrees.h"
#include "trees/treegroups.h"

// --- constraints as plain sets of taxa ----------------------------------------------------

namespace {
struct group {
    uint64_t in = 0, floats = 0;
    bool negative = false;
};

struct constraintset {
    std::vector<group> groups;                    // positive ones first
    std::vector<uint64_t> tree;                   // groups of the tree constraint
    std::string treetext;
};
}

static uint64_t bit(int t) { return uint64_t(1) << t; }

static uint64_t taxaof(const plain::tree &t)
{
    uint64_t all = 0;
    for (int n = 0; n < t.taxa; ++n)
        if (t.anc[n] != plain::tree::NONE) all |= bit(n);
    return all;
}

// A branch of the tree has the members on one side and what is neither member nor floating on the other.
static bool separated(const plain::tree &t, const group &g)
{
    uint64_t all = taxaof(t), in = g.in & all, out = all & ~g.in & ~g.floats;
    if (__builtin_popcountll(in) < 2 || __builtin_popcountll(out) < 2) return true;
    for (uint64_t side : plain::groups(t))
        if ((!(in & ~side) && !(out & side)) || (!(out & ~side) && !(in & side))) return true;
    return false;
}

static bool binding(const plain::tree &t, const group &g)
{
    uint64_t all = taxaof(t);
    return __builtin_popcountll(g.in & all) > 1 && __builtin_popcountll(all & ~g.in & ~g.floats) > 1;
}

static bool fulfils(const plain::tree &t, const constraintset &c)
{
    for (const group &g : c.groups)
        if (g.negative ? binding(t, g) && separated(t, g) : !separated(t, g)) return false;
    for (uint64_t g : c.tree)
        if (!separated(t, { g, 0, false })) return false;
    return true;
}

static std::string forcetext(const constraintset &c, int taxa)
{
    std::string s = "force";
    for (const group &g : c.groups) {
        s += g.negative ? " - [" : " + [";
        for (int t = 0; t < taxa; ++t)
            if (g.in & bit(t)) s += " " + std::to_string(t);
        s += " (";
        for (int t = 0; t < taxa; ++t)
            if (g.floats & bit(t)) s += " " + std::to_string(t);
        s += " ) ]";
    }
    return s + (c.treetext.empty() ? ";" : " = " + c.treetext + ";");
}

static group randomgroup(std::mt19937 &rng, int taxa, int floating, bool negative)
{
    group g;
    g.negative = negative;
    int percent = 20 + plain::below(rng, 50);
    for (int t = 0; t < taxa; ++t) {
        if (plain::chance(rng, floating)) g.floats |= bit(t);
        else if (plain::chance(rng, percent)) g.in |= bit(t);
    }
    return g;
}

// Positive constraints that agree with a model tree, negative ones at random.
static constraintset randomconstraints(std::mt19937 &rng, int taxa, int positive, int negative, bool tree, int floating)
{
    constraintset c;
    plain::tree model = plain::randomtree(rng, taxa, 40);
    auto sides = plain::groups(model);
    for (int i = 0; i < positive; ++i) {
        group g;
        g.in = sides[size_t(plain::below(rng, int(sides.size())))];
        for (int t = 0; t < taxa; ++t)
            if (plain::chance(rng, floating)) g.floats |= bit(t), g.in &= ~bit(t);
        c.groups.push_back(g);
    }
    for (int i = 0; i < negative; ++i) c.groups.push_back(randomgroup(rng, taxa, floating, true));
    if (tree) {
        plain::tree t = plain::chance(rng, 70) ? model : plain::randomtree(rng, taxa, 50);
        for (int n = taxa + 1; n < t.nodes(); ++n) t = plain::chance(rng, 30) ? plain::without(t, n--) : t;
        c.treetext = plain::text(t);
        c.tree = plain::shape(t);
    }
    return c;
}

// --- whole trees --------------------------------------------------------------------------

TEST(Constraints, AreFulfilledByTheTreesThatHaveTheGroups)
{
    std::mt19937 rng(401);
    for (int trial = 0; trial < atmost(300); ++trial) {
        int taxa = 5 + plain::below(rng, 30);
        use(plain::blankmatrix(taxa, 1));
        constraintset c = randomconstraints(rng, taxa, plain::below(rng, 4), plain::below(rng, 3), plain::chance(rng, 40), trial % 3 * 15);
        if (c.groups.empty() && c.treetext.empty()) continue;
        zelrun(forcetext(c, taxa));
        ASSERT_FALSE(zelfailed()) << forcetext(c, taxa);
        for (int i = 0; i < 20; ++i) {
            std::vector<int> which;
            for (int t = 0; t < taxa; ++t)
                if (t < 3 || i % 4 || plain::chance(rng, 70)) which.push_back(t);
            plain::tree t = plain::randomtree(rng, taxa, i % 3 * 30, which);
            std::vector<int> stored = plain::stored(t);
            stored.resize(size_t(nodz) + 1);
            int bad = 0;
            for (const group &g : c.groups) bad += g.negative ? binding(t, g) && separated(t, g) : !separated(t, g);
            EXPECT_EQ(fulfils_constraints(stored.data()), fulfils(t, c)) << forcetext(c, taxa) << plain::text(t);
            if (c.tree.empty()) { EXPECT_EQ(violations(stored.data(), false), bad); }
        }
    }
    zelrun("force];");
}

TEST(Constraints, OfMoreThanACellKeepTheirFields)
{
    std::mt19937 rng(402);
    int taxa = 20;
    use(plain::blankmatrix(taxa, 1));
    constraintset c;
    for (int i = 0; i < 40; ++i) c.groups.push_back(randomgroup(rng, taxa, 20, i >= 20));
    for (size_t i = 0; i < c.groups.size(); ++i) c.groups[i].in &= ~c.groups[i].floats;
    zelrun("procedure " + writefile("many.run", forcetext(c, taxa) + " procedure/;") + ";");
    ASSERT_EQ(constnum, 20);
    ASSERT_EQ(anticonstnum, 20);
    checkconstraints();
    for (int k = 0; k < 40; ++k)
        for (int t = 0; t < taxa; ++t) {
            int want = c.groups[k].floats & bit(t) ? 3 : c.groups[k].in & bit(t) ? 2 : 1;
            EXPECT_EQ(constfield(k < 20 ? constmat : anticonstmat, k % 20, t), want);
        }
    zelrun("force [17;");
    EXPECT_EQ(constnum, 17);
    EXPECT_EQ(anticonstnum, 20);
    checkconstraints();
    zelrun("force [17; force [-3; force [99;");
    EXPECT_EQ(constnum, 17);
    zelrun("force [16;");
    EXPECT_EQ(poscells, 1);
    checkconstraints();
    zelrun("force];");
    EXPECT_EQ(consttag, 0);
}

TEST(Constraints, SurviveNewTreesAndTreeSpaceAndDieWithTheData)
{
    std::mt19937 rng(403);
    use(plain::blankmatrix(9, 1));
    constraintset c = randomconstraints(rng, 9, 3, 2, true, 10);
    zelrun(forcetext(c, 9));
    std::string before = zelrun("force*;");
    zelrun("hold 500; tread (0 1 (2 3 (4 5 (6 7 8)))) * (0 1 2 (3 4)); hold 50;");
    zelrun("outgroup 3; taxname=; outgroup 0; taxname-; mult=replic 1 wagner; mult:replic 10 tbr;");
    EXPECT_EQ(zelrun("force*;"), before);
    checkconstraints();
    use(plain::blankmatrix(9, 1));
    EXPECT_EQ(zelrun("force;"), "No constraints defined \n");
    EXPECT_FALSE(constraints_in_force());
}

TEST(Constraints, AreCheckedWithEverythingElse)
{
    ASSERT_EQ(check_constraints, checkconstraints);
    static int checks;
    checks = 0;
    use(plain::blankmatrix(6, 1));
    zelrun("force + [ 1 2 ] - [ 3 4 ];");
    check_constraints = [] { ++checks; checkconstraints(); };
    check_everything();
    check_constraints = checkconstraints;
    EXPECT_EQ(checks, 1);
    zelrun("force];");
}

TEST(Constraints, WithoutTwoMembersAndTwoTaxaOutsideBindNothing)
{
    std::mt19937 rng(404);
    use(plain::randommatrix(rng, 8, 10));
    zelrun("force + [1] [1.7] [(0.7)] [2 (3.7)] - [1] [1.7] [(0.7)];");
    searchframe frame(multcom);
    EXPECT_FALSE(constrained());
    EXPECT_EQ(numcpos + numcneg, 0);
    for (int i = 0; i < 20; ++i) {
        std::vector<int> t = plain::stored(plain::randomtree(rng, 8, 20));
        t.resize(size_t(nodz) + 1);
        EXPECT_TRUE(fulfils_constraints(t.data()));
    }
    zelrun("force];");
}

TEST(Constraints, AreTakenFromTheGroupsOfATree)
{
    use(plain::blankmatrix(8, 1));
    zelrun("force / (0 (1 2) (3 (4 5)));");
    EXPECT_EQ(zelrun("force;"), "+ [ 1 2 ( 6 7 ) ]\n+ [ 3 4 5 ( 6 7 ) ]\n+ [ 4 5 ( 6 7 ) ]\n");
    zelrun("force : (0 (1 (3 4)));");          // beside a terminal at the root the rest is no group
    EXPECT_EQ(zelrun("force;"), "- [ 3 4 ( 2 5 6 7 ) ]\n");
    zelrun("force = (0 (1 2) (3 (4 5)));");
    EXPECT_EQ(zelrun("force;"), "= (0 6 7 (1 2) (3 (4 5)))\n");
    zelrun("force / (0 1 2 3);");
    EXPECT_EQ(zelrun("force;"), "No constraints defined \n");
    zelrun("tread (0 (1 2) (3 4 5 6 7)); force / &0 : (0 (1 (2 3)) 4);");
    EXPECT_EQ(zelrun("force;"), "+ [ 1 2 ]\n+ [ 3 4 5 6 7 ]\n- [ 1 2 3 ( 5 6 7 ) ]\n- [ 2 3 ( 5 6 7 ) ]\n");
    zelrun("force + [ 1 2 ] - [ 3 4 ] > 5 7 < 6;");
    EXPECT_EQ(zelrun("force*;"), "0: + [ 1 2 ( 5 7 ) ]\n0: - [ 3 4 ( 6 ) ]\n");
    zelrun("force];keep 0;");
}

TEST(Constraints, FromATreeInMemoryNeedOneOfThoseThereAre)
{
    use(plain::blankmatrix(5, 1));
    zelrun("tread (0 (1 2) 3 4) * (0 1 (2 3) 4);");
    for (const char *force : { "force = &2;", "force / &7;", "force : &x;" }) {
        std::string said = zelrun(force);
        EXPECT_TRUE(zelfailed());
        EXPECT_NE(said.find("& must be followed by a tree number ( 0 - 1 )"), std::string::npos) << said;
    }
    zelrun("keep 0;");
}

TEST(Constraints, KeepTheBranchesThatTheyDemandWhenTreesAreCondensed)
{
    use(plain::blankmatrix(8, 1));
    zelrun("tread (0 (1 (2 (3 (4 (5 (6 7)))))));force + [ 4 5 6 7 ];condense [;");
    EXPECT_EQ(kept(0).nodes(), plain::tree(plain::fromstored(mem_tree[0], nt)).nodes());
    EXPECT_EQ(plain::shape(kept(0)).back() & 0xf0, 0xf0u);
    EXPECT_TRUE(fulfils_constraints(mem_tree[0]));
    zelrun("keep 0;tread (0 (1 (2 (3 (4 (5 (6 7)))))));force = (0 1 2 3 4 (5 6 7));condense [;");
    EXPECT_TRUE(fulfils_constraints(mem_tree[0]));
    zelrun("keep 0;tread ((0 1 2 3) (4 (5 (6 7))));condense [;");
    EXPECT_TRUE(fulfils_constraints(mem_tree[0]));
    zelrun("keep 0;tread (0 (1 (2 (3 (4 (5 (6 7)))))));force + [ 6 7 (5 4) ];condense [;");
    EXPECT_TRUE(fulfils_constraints(mem_tree[0]));
    zelrun("force];keep 0;");
}

TEST(Constraints, ChooseTreesForOtherCommands)
{
    use(plain::blankmatrix(6, 1));
    const char *trees = "keep 0;tread (0 (1 2) 3 4 5) * (0 1 2 3 (4 5)) * (0 (1 2) (4 5) 3);";
    zelrun(std::string(trees) + "force + [ 1 2 ] - [ 4 5 ];");
    EXPECT_EQ(zelrun("mono;"), "Tree(s) fulfilling constraints:\n      0  1  2  3  4  5  6  7  8  9\n   0  *  -  -\n");
    EXPECT_EQ(zelrun("mono-;"), "Tree(s) violating constraints:\n      0  1  2  3  4  5  6  7  8  9\n   0  -  *  *\n");
    zelrun("tgroup =0 (good) mono;");
    EXPECT_EQ(treegroup[0][0] & 1, 1u);
    EXPECT_EQ(treegroup[1][0] & 1, 0u);
    zelrun("unique ];");
    EXPECT_EQ(trees_in_mem, 2);
    zelrun(trees);
    zelrun("sort = mono;");
    EXPECT_TRUE(fulfils_constraints(mem_tree[0]));
    EXPECT_EQ(violations(mem_tree[2], false), 2);
    zelrun("best [ 100;");
    EXPECT_EQ(trees_in_mem, 1);
    zelrun("force];keep 0;");
}

// --- searches -----------------------------------------------------------------------------

// All trees that fulfil the constraints, the best of them as the program scores them.
static std::vector<plain::tree> legaltrees(int taxa, const constraintset &c)
{
    std::vector<plain::tree> legal;
    plain::allbinary(taxa, [&](const plain::tree &t) {
        if (fulfils(t, c)) legal.push_back(t);
    });
    return legal;
}

static std::set<std::vector<uint64_t>> shapesof(const std::vector<plain::tree> &trees)
{
    std::set<std::vector<uint64_t>> s;
    for (const plain::tree &t : trees) s.insert(plain::shape(t));
    return s;
}

// On the data in memory.
static void searchagainstfilter(int taxa, const std::string &settings, const constraintset &c)
{
    zelrun("hold 20000;" + settings + forcetext(c, taxa));
    ASSERT_FALSE(zelfailed());
    std::vector<plain::tree> legal = legaltrees(taxa, c);
    std::string report = zelrun("rseed 1; mult=replic 15 hold 2000 tbr;");
    std::string what = forcetext(c, taxa) + settings + report;
    if (legal.empty()) {
        EXPECT_TRUE(zelfailed()) << what;
        return;
    }
    ASSERT_FALSE(zelfailed()) << what;
    auto found = shapesof(allkept());
    for (const plain::tree &t : allkept()) EXPECT_TRUE(fulfils(t, c)) << what << plain::text(t);
    zelrun("ienum;");
    EXPECT_EQ(shapesof(allkept()), found) << what;
    zelrun("force];");
    usetrees(legal);
    zelrun("best;");
    EXPECT_EQ(shapesof(allkept()), found) << what;
}

static void searchagainstfilter(std::mt19937 &rng, int taxa, const plain::mix &kind, const std::string &settings, const constraintset &c)
{
    plain::data m = plain::randommatrix(rng, taxa, 15, kind);
    m.taxactive.assign(taxa, 1);
    use(m);
    searchagainstfilter(taxa, settings, c);
}

TEST(ConstrainedSearch, FindsTheBestOfAllTreesThatFulfilTheConstraints)
{
    std::mt19937 rng(405);
    rulefor plainly(nocollapse);
    const char *const settings[] = { "piwe-;", "piwe-;", "piwe=3;" };
    for (int trial = 0; trial < atmost(66); ++trial) {
        int taxa = 5 + trial % 3;
        constraintset c = randomconstraints(rng, taxa, trial % 4, trial / 4 % 3, trial % 5 == 2, trial % 2 * 15);
        if (c.groups.empty() && c.treetext.empty()) continue;
        searchagainstfilter(rng, taxa, kinds()[size_t(trial) % kinds().size()], settings[trial % 3], c);
    }
    zelrun("piwe-;force];mult:replic 10 hold 10;hold 100;");
}

TEST(ConstrainedSearch, WorksWithStepMatrices)
{
    std::mt19937 rng(406);
    rulefor plainly(nocollapse);
    for (int trial = 0; trial < atmost(12); ++trial) {
        constraintset c = randomconstraints(rng, 6, 2, 1, trial % 3 == 2, trial % 2 * 20);
        searchagainstfilter(rng, 6, { 8, 4, 10 }, trial % 2 ? "costs 0.5 = 0>1 2 0>2 3 1>2 1 1>0 1;" : "costs 0.7 = 0>1 2 1>0 2 0>2 3 2>0 3;", c);
    }
    zelrun("force];mult:replic 10 hold 10;hold 100;");
}

TEST(ConstrainedSearch, WorksWithContinuousCharacters)
{
    std::mt19937 rng(414);
    rulefor plainly(nocollapse);
    for (const char *settings : { "piwe-;", "piwe=3;" })
        for (const mixed::kind &k : mixed::kinds) {
            if (!k.conts) continue;
            for (int trial = 0; trial < atmost(3); ++trial) {
                SCOPED_TRACE(k.what);
                mixed::data d = mixed::random(rng, 6, 8, k);
                d.m.taxactive.assign(6, 1);
                zelrun("mxram 32;");
                zelrun(settings + ("procedure " + writefile("constrained.xread", mixed::readtext(d))) + ";");
                ASSERT_FALSE(zelfailed());
                constraintset c = randomconstraints(rng, 6, 1 + trial % 2, trial % 2, trial % 3 == 2, trial % 2 * 20);
                searchagainstfilter(6, "", c);
            }
        }
    zelrun("piwe-;force];mult:replic 10 hold 10;hold 100;");
}

// Of data that tell nothing all legal trees are optimal.  With a group for each branch there is one tree, and
// few partial ones that can still become it, among some 10^13 of 15 taxa.
TEST(ConstrainedSearch, GivesUpPartialTreesThatCannotFulfilTheConstraints)
{
    std::mt19937 rng(409);
    rulefor plainly(nocollapse);
    for (int trial = 0; trial < 6; ++trial) {
        constexpr int taxa = 15;
        use(plain::blankmatrix(taxa, 3));
        plain::tree model = plain::randomtree(rng, taxa);
        constraintset c;
        if (trial % 2) c.treetext = plain::text(model);
        else for (uint64_t side : plain::groups(model)) c.groups.push_back({ side, 0, false });
        zelrun((trial < 3 ? "piwe-;" : "piwe=3;") + std::string("hold 100;") + forcetext(c, taxa));
        zelrun("ienum;");
        ASSERT_FALSE(zelfailed());
        ASSERT_EQ(trees_in_mem, 1);
        EXPECT_EQ(plain::shape(kept(0)), plain::shape(model));
        constexpr unsigned long CHOOSING = taxa * taxa * 2 * taxa / 2, ROUNDS = 2, PLACES = taxa * 2 * taxa;
        EXPECT_LE(numrearrangs, CHOOSING + ROUNDS * PLACES);
    }
    zelrun("piwe-;force];");
}

// All legal trees are optimal, so each is found, and no other: groups that must be and must not be, with taxa that float.
TEST(ConstrainedSearch, FindsEachLegalTreeWhenTheDataTellNothing)
{
    std::mt19937 rng(410);
    rulefor plainly(nocollapse);
    for (int trial = 0; trial < atmost(120); ++trial) {
        int taxa = 5 + trial % 3;
        use(plain::blankmatrix(taxa, 2));
        constraintset c = randomconstraints(rng, taxa, trial % 3, trial / 3 % 4, trial % 4 == 3, trial % 5 * 10);
        if (c.groups.empty() && c.treetext.empty()) continue;
        std::vector<plain::tree> legal = legaltrees(taxa, c);
        zelrun("hold 1000;" + forcetext(c, taxa) + "ienum;");
        if (legal.empty()) {
            EXPECT_TRUE(zelfailed()) << forcetext(c, taxa);
            continue;
        }
        ASSERT_FALSE(zelfailed()) << forcetext(c, taxa);
        EXPECT_EQ(shapesof(allkept()), shapesof(legal)) << forcetext(c, taxa);
    }
    zelrun("force];hold 100;");
}

// Against the neighbours themselves: none that is legal is better, and the tree is legal.
TEST(ConstrainedSearch, EndsWhereNoLegalNeighbourIsBetter)
{
    std::mt19937 rng(407);
    for (int trial = 0; trial < atmost(45); ++trial) {
        int taxa = 9;
        plain::data m = plain::randommatrix(rng, taxa, 12, { 8, 4, 10 });
        use(m);
        constraintset c = randomconstraints(rng, taxa, trial % 3, trial % 2 * 2, trial % 3 == 0, trial % 2 * 15);
        if (c.groups.empty() && c.treetext.empty()) continue;
        plain::tree start;
        int tries = 0;
        do start = plain::randomtree(rng, taxa); while (!fulfils(start, c) && ++tries < 20000);
        if (tries == 20000) continue;
        zelrun(forcetext(c, taxa));
        usetrees({ start });
        bool tbr = trial & 1;
        zelrun(tbr ? "bbreak=tbr nomulpars;" : "bbreak=spr nomulpars;");
        ASSERT_FALSE(zelfailed());
        ASSERT_EQ(trees_in_mem, 1);
        plain::tree end = kept(0);
        EXPECT_TRUE(fulfils(end, c)) << forcetext(c, taxa);
        long best = plain::length(m, end);
        neighbours(end, tbr, [&](const plain::tree &t) {
            if (fulfils(t, c)) { EXPECT_GE(plain::length(m, t), best) << forcetext(c, taxa) << plain::text(end); }
        });
    }
    zelrun("force];bbreak:tbr mulpars;");
}

// With data that tell nothing every move is a tie, so every neighbour that is legal is kept, and no other.
TEST(ConstrainedSearch, KeepsExactlyTheLegalTreesOfAnIsland)
{
    std::mt19937 rng(408);
    rulefor plainly(nocollapse);
    for (int trial = 0; trial < atmost(18); ++trial) {
        int taxa = 6;
        use(plain::blankmatrix(taxa, 4));
        constraintset c = randomconstraints(rng, taxa, trial % 3, trial % 2, trial % 3 == 0, trial % 2 * 15);
        if (c.groups.empty() && c.treetext.empty()) continue;
        std::vector<plain::tree> legal = legaltrees(taxa, c);
        if (legal.empty()) continue;
        zelrun("hold 11000;" + forcetext(c, taxa));
        plain::tree start = legal[size_t(plain::below(rng, int(legal.size())))];
        usetrees({ start });
        bool tbr = trial & 1;
        zelrun(tbr ? "bbreak=tbr;" : "bbreak=spr;");
        // the island by plain neighbours
        std::map<std::vector<uint64_t>, plain::tree> island{ { plain::shape(start), start } };
        std::vector<plain::tree> open{ start };
        while (!open.empty()) {
            plain::tree t = open.back();
            open.pop_back();
            neighbours(t, tbr, [&](const plain::tree &u) {
                if (fulfils(u, c) && island.emplace(plain::shape(u), u).second) open.push_back(u);
            });
        }
        EXPECT_EQ(size_t(trees_in_mem), island.size()) << forcetext(c, taxa);
        for (const plain::tree &t : allkept()) EXPECT_TRUE(island.count(plain::shape(t))) << forcetext(c, taxa) << plain::text(t);
    }
    zelrun("force];bbreak:tbr;hold 100;");
}

// All legal trees within the limit that legal moves within it reach from an optimal tree, and no others.
TEST(ConstrainedSearch, KeepsExactlyTheLegalSuboptimalTreesOfAnIsland)
{
    std::mt19937 rng(415);
    rulefor plainly(nocollapse);
    size_t trees = 0;
    for (int trial = 0; trial < atmost(18); ++trial) {
        int taxa = trial % 6 == 5 ? 7 : 6, excess = taxa == 7 ? 1 : 1 + trial % 3;     // islands of a few hundred trees
        plain::data m = plain::randommatrix(rng, taxa, 10, { 8, 2 + trial % 3, 10 });
        m.taxactive.assign(taxa, 1);
        use(m);
        constraintset c = randomconstraints(rng, taxa, trial % 3, trial / 2 % 3, trial % 4 == 3, trial % 2 * 15);
        if (c.groups.empty() && c.treetext.empty()) continue;
        zelrun("hold 11000; subopt 0;" + forcetext(c, taxa) + "ienum;");
        if (zelfailed() || !trees_in_mem) continue;
        plain::tree start = kept(0);
        long limit = plain::length(m, start) + excess;
        usetrees({ start });
        bool tbr = trial & 1;
        zelrun("subopt " + std::to_string(excess) + (tbr ? ";bbreak=tbr;" : ";bbreak=spr;"));
        ASSERT_FALSE(zelfailed());
        std::set<std::vector<uint64_t>> island{ plain::shape(start) }, seen = island;
        std::vector<plain::tree> open{ start };
        while (!open.empty()) {
            plain::tree t = open.back();
            open.pop_back();
            neighbours(t, tbr, [&](const plain::tree &u) {
                if (!seen.insert(plain::shape(u)).second || plain::length(m, u) > limit || !fulfils(u, c)) return;
                island.insert(plain::shape(u));
                open.push_back(u);
            });
        }
        EXPECT_EQ(shapesof(allkept()), island) << forcetext(c, taxa);
        trees += island.size();
    }
    EXPECT_GT(trees, 30u);
    zelrun("force];subopt 0;bbreak:tbr;hold 100;");
}

TEST(ConstrainedSearch, WithLimitedMovesEndsWhereNoLegalMoveWithinTheLimitIsBetter)
{
    std::mt19937 rng(416);
    int swaps = 0;
    for (int trial = 0; trial < atmost(60); ++trial) {
        int taxa = 8 + trial % 3, limit = 1 + trial % 3;
        plain::data m = plain::randommatrix(rng, taxa, 12, { 8, 4, 10 });
        m.taxactive.assign(taxa, 1);
        use(m);
        constraintset c = randomconstraints(rng, taxa, trial % 3, trial / 2 % 2, trial % 4 == 1, trial % 2 * 15);
        if (c.groups.empty() && c.treetext.empty()) continue;
        plain::tree start;
        int tries = 0;
        do start = plain::randomtree(rng, taxa); while (!fulfils(start, c) && ++tries < 5000);
        if (tries == 5000) continue;
        zelrun(forcetext(c, taxa) + "bbreak:limit " + std::to_string(limit) + ";");
        usetrees({ start });
        bool tbr = trial & 1;
        std::string said = zelrun(tbr ? "bbreak=tbr nomulpars;" : "bbreak=spr nomulpars;");
        ASSERT_FALSE(zelfailed()) << said;
        EXPECT_NE(said.find("Constraints enforced during search."), std::string::npos) << said;
        plain::tree end = kept(0);
        EXPECT_TRUE(fulfils(end, c)) << forcetext(c, taxa);
        long best = plain::length(m, end);
        neighbours(end, tbr, [&](const plain::tree &u) {
            if (fulfils(u, c)) { EXPECT_GE(plain::length(m, u), best) << forcetext(c, taxa) << plain::text(end) << plain::text(u); }
        }, limit);
        ++swaps;
    }
    EXPECT_GT(swaps, 10);
    zelrun("force];bbreak:tbr mulpars nolimit;");
}

TEST(ConstrainedSearch, WithLimitedMovesKeepsTheLegalTreesOfAnIsland)
{
    std::mt19937 rng(417);
    rulefor plainly(nocollapse);
    for (int trial = 0; trial < atmost(18); ++trial) {
        int taxa = 6, limit = 1 + trial % 2;
        use(plain::blankmatrix(taxa, 4));
        constraintset c = randomconstraints(rng, taxa, trial % 3, trial % 2, trial % 3 == 0, trial % 2 * 15);
        if (c.groups.empty() && c.treetext.empty()) continue;
        std::vector<plain::tree> legal = legaltrees(taxa, c);
        if (legal.empty()) continue;
        zelrun("hold 1100;" + forcetext(c, taxa) + "bbreak:limit " + std::to_string(limit) + ";");
        plain::tree start = legal[size_t(plain::below(rng, int(legal.size())))];
        usetrees({ start });
        zelrun("bbreak=tbr;");
        std::set<std::vector<uint64_t>> island{ plain::shape(start) };
        std::vector<plain::tree> open{ start };
        while (!open.empty()) {
            plain::tree t = open.back();
            open.pop_back();
            neighbours(t, true, [&](const plain::tree &u) {
                if (fulfils(u, c) && island.insert(plain::shape(u)).second) open.push_back(u);
            }, limit);
        }
        EXPECT_EQ(shapesof(allkept()), island) << forcetext(c, taxa);
    }
    zelrun("force];bbreak:nolimit;hold 100;");
}

TEST(ConstrainedSearch, KeepsDemandedGroupsWhenTreesAreComparedCollapsed)
{
    std::mt19937 rng(409);
    use(plain::blankmatrix(7, 4));               // all branches collapse but the demanded ones
    zelrun("collapse rule 1;hold 1000;force + [ 1 2 ] [ 3 4 5 ];mult=replic 5 hold 100;");
    EXPECT_EQ(trees_in_mem, 1);
    zelrun("keep 0;force + [ 1 2 (3) ];mult;");
    EXPECT_EQ(trees_in_mem, 2);                  // {1 2}, or {1 2 3} where 3 goes between
    zelrun("force];mult:replic 10 hold 10;hold 100;");
}

// Whichever taxon an exact search adds last.
TEST(ConstrainedSearch, KeepsDemandedGroupsOfTwoTaxaWhenTreesAreFoundExactly)
{
    use(plain::blankmatrix(6, 2));
    zelrun("collapse rule 1 [;");
    for (int a = 1; a < 6; ++a)
        for (int b = 1; b < a; ++b) {
            std::string others, group = "(" + std::to_string(a) + " " + std::to_string(b) + ")";
            for (int t = 0; t < 6; ++t)
                if (t != a && t != b) others += std::to_string(t) + " ";
            zelrun("force = (" + others + group + "); ienum;");
            ASSERT_FALSE(zelfailed());
            EXPECT_EQ(trees_in_mem, 1) << group;
            EXPECT_TRUE(fulfils_constraints(mem_tree[0])) << group;
            zelrun("bbreak;");
            EXPECT_EQ(trees_in_mem, 1) << group;
            EXPECT_TRUE(fulfils_constraints(mem_tree[0])) << group;
        }
    zelrun("force ]; collapse ]; keep 0;");
}

TEST(ConstrainedSearch, FollowsTheOutgroupAndTheActiveTaxa)
{
    std::mt19937 rng(410);
    plain::data m = plain::randommatrix(rng, 8, 12, { 8, 4, 10 });
    use(m);
    constraintset c = randomconstraints(rng, 8, 2, 1, true, 0);
    zelrun(forcetext(c, 8) + "rseed 1;mult=replic 5;");
    bool possible = !zelfailed();
    if (!possible) GTEST_SKIP() << "the constraints drawn exclude each other";
    for (const plain::tree &t : allkept()) EXPECT_TRUE(fulfils(t, c));
    zelrun("keep 0;outgroup 3;mult;");
    ASSERT_FALSE(zelfailed());
    for (const plain::tree &t : allkept()) EXPECT_TRUE(fulfils(t, c));
    zelrun("keep 0;outgroup 0;taxcode -2 -5;mult;");
    ASSERT_FALSE(zelfailed());
    for (const plain::tree &t : allkept()) EXPECT_TRUE(fulfils(t, c));
    zelrun("taxcode +2 +5;force];mult:replic 10;");
}

TEST(ConstrainedSearch, OfATreeConstraintOnManyTaxaStaysWithinIt)
{
    std::mt19937 rng(411);
    for (int trial = 0; trial < atmost(9); ++trial) {
        int taxa = 40;
        plain::data m = plain::randommatrix(rng, taxa, 40, { 8, 4, 10 });
        use(m);
        constraintset c = randomconstraints(rng, taxa, 0, 0, true, 0);
        zelrun(forcetext(c, taxa) + "rseed " + std::to_string(trial + 1) + (trial & 1 ? "[;" : "];") + "mult=replic 2 hold 3;");
        ASSERT_FALSE(zelfailed());
        for (const plain::tree &t : allkept()) EXPECT_TRUE(fulfils(t, c));
    }
    zelrun("force];rseed 1];mult:replic 10 hold 10;");
}

// --- refusals -----------------------------------------------------------------------------

TEST(ConstraintCoherence, IsCheckedBeforeASearchStarts)
{
    std::mt19937 rng(412);
    use(plain::randommatrix(rng, 8, 12));
    auto refused = [](const std::string &force, const std::string &why) {
        std::string said = zelrun(force + "mult=replic 1;");
        EXPECT_TRUE(zelfailed()) << force;
        EXPECT_NE(said.find(why), std::string::npos) << force << said;
        EXPECT_EQ(trees_in_mem, 0);
    };
    refused("force + [ 1 2 3 ] [ 5 6 ] [ 3 4 ];", "Some positive constraints force incompatible groups (e.g. groups 0 and 2)");
    // with 3 in the first group, as the second demands, the third contradicts it
    refused("force + [ 1 2 (3) ] [ 2 3 (1) ] [ 1 4 (3) ];", "Some positive constraints force incompatible groups");
    refused("force + [ 1 2 ] - [ 1 2 ];", "Positive and negative constraints contain some identical groups");
    refused("force + [ 1 2 ] - [ 0 3.7 ];", "Positive and negative constraints contain some identical groups");
    refused("force + [ 1 2 ] - [ 1 2 (3) ];", "Positive and negative constraints contain some identical groups");
    refused("force - [ 1 2 ] = (0 (1 2) 3 4 5 6 7);", "Tree constraint and negative constraints contain some identical groups");
    refused("force + [ 1 3 ] = (0 (1 2) 3 4 5 6 7);", "Tree constraint and positive constraints contain contradictory groups");
    zelrun("force + [ 1 2 ] - [ 1 2 ]; constrain -; mult=replic 1;");
    EXPECT_FALSE(zelfailed());
    zelrun("force];keep 0;mult:replic 10;");
}

// No pair of these groups excludes the other, all together no tree.
TEST(ConstraintCoherence, OfMoreThanPairsShowsWhenNoTreeCanBeBuilt)
{
    std::mt19937 rng(413);
    use(plain::randommatrix(rng, 4, 8));
    std::string said = zelrun("force - [ 1 2 ] [ 1 3 ] [ 2 3 ];mult=replic 1;");
    EXPECT_TRUE(zelfailed());
    EXPECT_NE(said.find("Sorry, cannot build a tree with specified constraints"), std::string::npos);
    zelrun("force];mult:replic 10;");
}
