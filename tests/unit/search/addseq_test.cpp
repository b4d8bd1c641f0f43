// Addition sequences against plain stepwise addition: the tree of the first k taxa is what the final
// tree shows of them, so every step can be done again, one tree at a time.
#include "searchtest.h"
#include "slowtest.h"
#include "kernel/random.h"
#include "search/wagner.h"

// The tree with only some of its taxa; taxon 0 is one of them.
static plain::tree restricted(const plain::tree &t, uint64_t taxa)
{
    auto kids = plain::children(t);
    plain::tree r;
    r.taxa = t.taxa;
    r.anc.assign(size_t(t.taxa) + 1, plain::tree::NONE);
    std::function<int(int, int)> put = [&](int n, int up) -> int {       // the node that stands for n; -1: nothing is left
        if (n < t.taxa) {
            if (!(taxa >> n & 1)) return -1;
            r.anc[n] = up;
            return n;
        }
        std::vector<int> left;
        for (int k : kids[n]) {
            std::function<bool(int)> any = [&](int m) {
                if (m < t.taxa) return bool(taxa >> m & 1);
                for (int d : kids[m])
                    if (any(d)) return true;
                return false;
            };
            if (any(k)) left.push_back(k);
        }
        if (left.size() == 1) return put(left[0], up);
        int me = r.nodes();
        r.anc.push_back(up);
        for (int k : left) put(k, me);
        return me;
    };
    r.anc[0] = t.taxa;
    for (int k : kids[t.root()])
        if (k != 0) put(k, t.taxa);
    return r;
}

static std::vector<long> costs(const plain::data &m, const plain::tree &t, int taxon)
{
    std::vector<long> all;
    long before = plain::length(m, t);
    for (int n = 1; n < t.nodes(); ++n) {
        if (n == t.taxa || t.anc[n] == plain::tree::NONE) continue;
        plain::tree u = t;
        u.anc.push_back(u.anc[n]);
        u.anc[n] = u.anc[taxon] = u.nodes() - 1;
        all.push_back(plain::length(m, u) - before);
    }
    return all;
}

static long least(const std::vector<long> &v) { return *std::min_element(v.begin(), v.end()); }
static long most(const std::vector<long> &v)  { return *std::max_element(v.begin(), v.end()); }

struct sequencefor {
    sequencefor(int selected, int how, int informative, int clusters)
    {
        selected_addseqs = selected, use_minimum_addseq = how, informative_addseqs = informative, cluster_wagner = clusters;
    }
    ~sequencefor() { selected_addseqs = use_minimum_addseq = informative_addseqs = cluster_wagner = 0, ranseed = 1; }
};

static std::vector<plain::mix> somekinds() { return { { 8, 4, 10 }, { 8, 4, 10, 10, 60 }, { 8, 4, 10, 0, 20, 0, 0, 40, 1 }, { 16, 16, 10, 10 } }; }

// Builds a tree, checks each step, and hands what was known before it to look.
template<class F> static void eachstep(const plain::data &m, int seed, F look)
{
    use(m);
    std::vector<int> sequence;
    plain::tree whole;
    {
        searchframe frame(multcom);
        wagner(anx, seed);
        sequence.assign(ladd, ladd + ntax);
        whole = plain::fromstored(anx, nt);
        double score = schoptimize(anx, 1);
        EXPECT_EQ(score, double(plain::length(m, whole)));
    }
    uint64_t in = 7u;
    in = uint64_t(1) << sequence[0] | uint64_t(1) << sequence[1] | uint64_t(1) << sequence[2];
    for (size_t k = 3; k < sequence.size(); ++k) {
        plain::tree before = restricted(whole, in), after = restricted(whole, in | uint64_t(1) << sequence[k]);
        EXPECT_EQ(plain::length(m, after) - plain::length(m, before), least(costs(m, before, sequence[k])));
        look(before, sequence, int(k));
        in |= uint64_t(1) << sequence[k];
    }
}

TEST(AdditionSequence, PutsEveryTaxonWhereItCostsLeast)
{
    std::mt19937 rng(501);
    for (int trial = 0; trial < atmost(24); ++trial) {
        plain::data m = plain::randommatrix(rng, 10, 20, somekinds()[size_t(trial % 4)]);
        xrandom_addseq = trial & 1;
        eachstep(m, trial + 1, [](const plain::tree &, const std::vector<int> &, int) {});
        xrandom_addseq = 0;
        sequencefor clusters(0, 0, 0, 3 + trial % 6);
        eachstep(m, trial + 1, [](const plain::tree &, const std::vector<int> &, int) {});
    }
}

// Every state is in two taxa at least: nothing is left out of the packed image, whose costs count here.
static plain::data informativematrix(std::mt19937 &rng, int taxa, int chars, int trial)
{
    plain::data m = plain::blankmatrix(taxa, chars);
    for (int c = 0; c < chars; ++c) {
        int states = 2 + plain::below(rng, taxa / 2 - 1);
        std::vector<int> row;
        for (int t = 0; t < taxa; ++t) row.push_back(t < 2 * states ? t / 2 : plain::below(rng, states));
        std::shuffle(row.begin(), row.end(), rng);
        for (int t = 0; t < taxa; ++t) m.cells[t][c] = uint32_t(1) << row[size_t(t)];
        m.additive[c] = trial % 3 == 1 && plain::chance(rng, 50);
        m.weight[c] = trial % 3 == 2 ? 1 + plain::below(rng, 20) : 1;
    }
    return m;
}

TEST(AdditionSequence, TakesTheTaxonThatItsOptionSays)
{
    std::mt19937 rng(502);
    for (int how : { ADD_SPREAD, ADD_CLOSEST, ADD_FARTHEST })
        for (int trial = 0; trial < atmost(9); ++trial) {
            plain::data m = informativematrix(rng, 8, 15, trial);
            sequencefor chosen(ALLTAXA, how, 0, 0);
            eachstep(m, trial + 1, [&](const plain::tree &before, const std::vector<int> &sequence, int k) {
                auto merit = [&](int t) {
                    auto all = costs(m, before, t);
                    return how == ADD_CLOSEST ? -least(all) : how == ADD_FARTHEST ? least(all) : most(all) - least(all);
                };
                for (size_t j = size_t(k) + 1; j < sequence.size(); ++j) EXPECT_LE(merit(sequence[j]), merit(sequence[size_t(k)]));
                if (k > 3) return;
                long best = plain::length(m, before);              // the first three
                for (int a = 1; a < 8; ++a)
                    for (int b = a + 1; b < 8; ++b) {
                        plain::tree three;
                        three.taxa = 8;
                        three.anc.assign(10, plain::tree::NONE);
                        three.anc[0] = three.anc[9] = 8;
                        three.anc[a] = three.anc[b] = 9;
                        if (how == ADD_CLOSEST) EXPECT_GE(plain::length(m, three), best);
                        else EXPECT_LE(plain::length(m, three), best);
                    }
            });
        }
}

// Characters with two states seen twice among the first k taxa; missing entries tell nothing.
static int informative(const plain::data &m, const std::vector<int> &sequence, int k, int next)
{
    int n = 0;
    for (int c = 0; c < m.chars; ++c) {
        uint32_t any = 0, twice = 0;
        auto see = [&](int t) {
            if (m.cells[t][c] == plain::ANY) return;
            twice |= any & m.cells[t][c];
            any |= m.cells[t][c];
        };
        for (int i = 0; i < k; ++i) see(sequence[size_t(i)]);
        see(next);
        n += __builtin_popcount(twice) > 1;
    }
    return n;
}

TEST(AdditionSequence, ByInformationMakesMostCharactersInformative)
{
    std::mt19937 rng(503);
    for (int trial = 0; trial < atmost(12); ++trial) {
        plain::data m = plain::randommatrix(rng, 9, 25, { 8, 2 + trial % 3 * 2, 10 });
        sequencefor byinformation(0, 0, ALLTAXA, 0);
        eachstep(m, trial + 1, [&](const plain::tree &, const std::vector<int> &sequence, int k) {
            int took = informative(m, sequence, k, sequence[size_t(k)]);
            for (size_t j = size_t(k) + 1; j < sequence.size(); ++j)
                EXPECT_LE(informative(m, sequence, k, sequence[j]), took) << "place " << k;
        });
    }
}

TEST(AdditionSequence, ByInformationIsRandomForFiveTaxa)
{
    std::mt19937 rng(504);
    use(plain::randommatrix(rng, 5, 10));
    searchframe frame(multcom);
    for (int seed = 1; seed < 10; ++seed) {
        wagner(anx, seed);
        std::vector<int> random(ladd, ladd + 5);
        sequencefor byinformation(0, 0, 3, 0);
        wagner(anx, seed);
        EXPECT_EQ(std::vector<int>(ladd, ladd + 5), random);
    }
}

TEST(AdditionSequence, IsRepeatedByItsSeed)
{
    std::mt19937 rng(505);
    use(plain::randommatrix(rng, 30, 40));
    searchframe frame(multcom);
    for (int kind = 0; kind < 6; ++kind) {
        sequencefor settings(kind < 3 ? 4 : 0, kind % 3, kind == 3 ? 5 : 0, kind == 4 ? 8 : 0);
        wagner(anx, 77);
        std::vector<int> first(anx, anx + hinod);
        wagner(anx, 77);
        EXPECT_EQ(std::vector<int>(anx, anx + hinod), first);
    }
}

TEST(AdditionSequence, WithClustersFindsPlacesAsCheap)
{
    std::mt19937 rng(506);
    for (int trial = 0; trial < atmost(6); ++trial) {
        plain::data m = plain::randommatrix(rng, 60, 40, somekinds()[size_t(trial % 4)]);
        sequencefor clusters(0, 0, 0, 10);
        use(m);
        searchframe frame(multcom);
        wagner(anx, trial + 1);
        EXPECT_EQ(anx[ntax], hinod);
        EXPECT_EQ(schoptimize(anx, 1), double(plain::length(m, plain::fromstored(anx, nt))));
    }
}

TEST(AdditionSequence, RefusesWhatDoesNotGoTogether)
{
    std::mt19937 rng(507);
    use(plain::randommatrix(rng, 9, 10));
    auto says = [](const std::string &commands, const char *what) {
        std::string said = zelrun(commands);
        EXPECT_TRUE(zelfailed());
        EXPECT_NE(said.find(what), std::string::npos) << said;
    };
    zelrun("mult:replic 1;");
    says("mult:wclus 5 cas 2;mult;", "Cannot use selected addseqs together with clusters");
    says("mult:ras;force = (0 (1 2) 3 4 5 6 7 8);mult;", "Sorry, wagner trees with node-clusters can't be done under tree-constraints");
    says("force];rseed[;mult;", "Sorry, wagner trees with node-clusters can't be done with random insertion sequence");
    zelrun("rseed];mult=nowclus;");
    EXPECT_FALSE(zelfailed());
    zelrun("mult:replic 10;");
}

TEST(AdditionSequence, CompletesPartialTrees)
{
    std::mt19937 rng(508);
    for (int trial = 0; trial < atmost(20); ++trial) {
        plain::data m = plain::randommatrix(rng, 12, 20, somekinds()[size_t(trial % 4)]);
        use(m);
        searchframe frame(multcom);
        std::vector<int> which{ 0 };
        for (int t = 1; t < 12; ++t)
            if (t < 3 || plain::chance(rng, 50)) which.push_back(t);
        plain::tree part = plain::randomtree(rng, 12, 0, which);
        std::vector<int> stored = plain::stored(part);
        std::copy(stored.begin(), stored.begin() + hinod, anx);
        xrandom_addseq = trial & 1;
        complete_wagner(anx, trial + 1);
        xrandom_addseq = 0;
        plain::tree whole = plain::fromstored(anx, nt);
        EXPECT_EQ(anx[ntax], hinod);
        uint64_t in = 0;
        for (int t : which) in |= uint64_t(1) << t;
        auto groupsof = [](const plain::tree &t) {
            std::set<uint64_t> s;
            for (uint64_t g : plain::groups(t))
                if (g) s.insert(g);
            return s;
        };
        EXPECT_EQ(groupsof(restricted(whole, in)), groupsof(part));
    }
    ranseed = 1;
}

// The same under any weights.  Every taxon has a twin, so that no state is left out of the image.
static void leastofanyweight(unsigned seed)
{
    std::mt19937 rng(seed);
    for (const mixed::kind &k : mixed::kinds)
        for (int trial = 0; trial < atmost(6); ++trial) {
            SCOPED_TRACE(k.what);
            mixed::data d = mixed::random(rng, 10, 8, k);
            d.m.taxactive.assign(10, 1);
            for (int t = 5; t < 10; ++t) {
                d.m.cells[size_t(t)] = d.m.cells[size_t(t - 5)];
                for (auto &values : d.cont) values[size_t(t)] = values[size_t(t - 5)];
            }
            zelrun("mxram 32;");
            zelrun("procedure " + writefile("sequence.xread", mixed::readtext(d)) + ";" + mixed::moresettings);
            ASSERT_FALSE(zelfailed());
            if (dopiwe) set_fit_minima();
            auto score = [&](const plain::tree &t) { return dopiwe ? mixed::fits(d, t) : mixed::length(d, t); };
            sequencefor clusters(0, 0, 0, trial % 3 == 2 ? 4 : 0);
            std::vector<int> sequence;
            plain::tree whole;
            {
                searchframe frame(multcom);
                xrandom_addseq = trial % 3 == 1;
                wagner(anx, trial + 1);
                xrandom_addseq = 0;
                sequence.assign(ladd, ladd + ntax);
                whole = plain::fromstored(anx, nt);
            }
            uint64_t in = uint64_t(1) << sequence[0] | uint64_t(1) << sequence[1] | uint64_t(1) << sequence[2];
            for (size_t n = 3; n < sequence.size(); ++n) {
                plain::tree before = restricted(whole, in);
                in |= uint64_t(1) << sequence[n];
                double placed = score(restricted(whole, in));
                for (int b = 1; b < before.nodes(); ++b) {
                    if (b == before.taxa || before.anc[b] == plain::tree::NONE) continue;
                    plain::tree u = before;
                    u.anc.push_back(u.anc[b]);
                    u.anc[b] = u.anc[sequence[n]] = u.nodes() - 1;
                    ASSERT_GE(score(u), placed - 1e-7) << "trial " << trial << ", taxon " << n << " of " << plain::text(whole);
                }
            }
        }
    ranseed = 1;
}

TEST(AdditionSequence, PutsEveryTaxonWhereStepMatricesAndContinuousCharactersCostLeast) { leastofanyweight(511); }
TEST(AdditionSequence, PutsEveryTaxonWhereItCostsLeastUnderImpliedWeights) { mixed::weighting w; leastofanyweight(512); }
TEST(AdditionSequence, PutsEveryTaxonWhereItCostsLeastUnderSetsOfWeights)
{
    mixed::weighting w;
    mixed::moresettings = "xpiwe[=3;";
    leastofanyweight(513);
    mixed::moresettings.clear();
    zelrun("xpiwe-;");
}

TEST(AdditionSequence, OfManyTaxaStopsWithAPartialTree)
{
    std::mt19937 rng(514);
    use(plain::randommatrix(rng, 200, 10));
    searchframe frame(multcom);
    for (int clusters : { 0, 20 }) {
        sequencefor settings(0, 0, 0, clusters);
        wagner(anx, 1);
        std::vector<int> whole(anx, anx + hinod);
        userstop = 1;
        wagner(anx, 1);
        EXPECT_LT(anx[ntax], hinod);
        EXPECT_EQ(clusters_on, 0);
        userstop = 0;
        wagner(anx, 1);
        EXPECT_EQ(std::vector<int>(anx, anx + hinod), whole);
    }
}
