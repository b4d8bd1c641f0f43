// Hybrids: pieces of trees exchanged, trees completed, sets of trees that improve.
#include "fusetest.h"
#include "perturbtest.h"
#include "search/hybrid.h"
#include "search/sectdata.h"
#include "search/swapadded.h"
#include "trees/scratch.h"

namespace {

struct settings {
    settings() { reset(); }
    ~settings() { reset(); }
    static void reset()
    {
        fuse_hybridize = hybrid_room = skip_seed_nit = 0;
        hyb_numinrounds = 1000;
        hyb_outrounds = hyb_replacetrees = 1;
        hyb_samplesize = 50;
        hyb_autostop = 3;
        hybrid_prevent_clog = 15;
        hyb_legperc = 5;
        ranseed = 1;
    }
};

// Groups that the tree shows of some taxa alone.
groupset restricted(const std::vector<int> &t, const taxonset &to)
{
    groupset all;
    for (const taxonset &g : taxasets(t)) {
        taxonset x;
        std::set_intersection(g.begin(), g.end(), to.begin(), to.end(), std::inserter(x, x.end()));
        if (x.size() > 1) all.insert(x);
    }
    return all;
}

int common(const taxonset &a, const taxonset &b)
{
    taxonset x;
    std::set_intersection(a.begin(), a.end(), b.begin(), b.end(), std::inserter(x, x.end()));
    return int(x.size());
}

// The rule, with sets: the most taxa that a piece can share.
int mostshared(const std::vector<int> &a, const std::vector<int> &b, int unshared, int most, int *allowed)
{
    auto sa = taxasets(a), sb = taxasets(b);
    for (int width = 5; width <= 53; ) {
        double least = (50 - width) * ntax / 100.0 - unshared, highest = (50 + width) * ntax / 100.0 + unshared;
        int best = 0;
        for (int n = ntax + 1; n < hinod; ++n)
            for (int k = ntax + 1; k < hinod; ++k) {
                int s = common(sa[n], sb[k]), x = int(sa[n].size()), y = int(sb[k].size());
                if (x > ntax - 2 || y > ntax - 2 || x < least || x > highest || s < 2 || s < least || s > highest) continue;
                if (x - s > unshared || y - s > unshared) continue;
                best = std::max(best, s);
            }
        *allowed = unshared;
        if (best) return best;
        width += 3;
        if (width > 34 && unshared + 2 <= most) {
            unshared += 2;
            width = 10;
        }
    }
    return 0;
}

std::vector<int> sprrelative(std::mt19937 &rng, std::vector<int> t, int moves)
{
    while (moves--) {
        int x = 1 + plain::below(rng, ntax - 1), a = t[x], dest;
        if (a == ntax) continue;
        auto inside = inclade(t, x);
        int sister = -1;
        for (int n = 0; n < hinod; ++n)
            if (n != ntax && n != x && t[n] == a) sister = n;
        if (t[a] == ntax && sister < ntax) continue;
        t[sister] = t[a];
        do dest = 1 + plain::below(rng, hinod - 1);
        while (dest == ntax || dest == a || dest == x);
        t[a] = t[dest];
        t[dest] = a;
    }
    return t;
}

struct treelist : roomylist {
    treelist(const std::vector<std::vector<int>> &given, int room) : roomylist(given, room) { hybrid_room = room ? count + room : 0; }
    double hybridize(int pairs, int pieces = 0, int swap = 0, double stopscore = 0)
    {
        return hybridize_tree_set(&count, rows.data(), pairs, pieces, swap, stopscore);
    }
};

}  // namespace

TEST(Pieces, AreTheLargestThatTheLimitsAllow)
{
    settings standard;
    std::mt19937 rng(501);
    int widened = 0;
    for (int trial = 0; trial < atmost(90); ++trial) {
        plain::data m = matrixof(rng, 6 + trial % 25, 3);
        packing image(m);
        std::vector<int> a = packedtree(plain::randomtree(rng, m.taxa));
        std::vector<int> b = trial % 3 ? sprrelative(rng, a, trial % 7) : packedtree(plain::randomtree(rng, m.taxa));
        int unshared = trial % 4, most = trial % 2 ? ntax : unshared, allowed = 0;
        piece p;
        ranseed = trial + 1;
        int expected = mostshared(a, b, unshared, most, &allowed);
        ASSERT_EQ(find_piece(a.data(), b.data(), unshared, most, &p), expected > 0);
        if (!expected) continue;
        widened += allowed > unshared;
        auto sa = taxasets(a), sb = taxasets(b);
        EXPECT_EQ(p.shared, expected);
        EXPECT_EQ(common(sa[p.a], sb[p.b]), p.shared);
        EXPECT_EQ(int(sa[p.a].size()) - p.shared, p.leftouta);
        EXPECT_EQ(int(sb[p.b].size()) - p.shared, p.leftoutb);
        EXPECT_LE(std::max(p.leftouta, p.leftoutb), allowed);
        EXPECT_LE(allowed, most);
    }
    EXPECT_GT(widened, 0);
}

TEST(Pieces, OfFewTaxaAreFoundOrNot)
{
    settings standard;
    std::mt19937 rng(502);
    plain::data m = matrixof(rng, 4, 3);
    packing image(m);
    for (int trial = 0; trial < 30; ++trial) {
        std::vector<int> a = packedtree(plain::randomtree(rng, 4)), b = packedtree(plain::randomtree(rng, 4));
        piece p;
        int allowed;
        EXPECT_EQ(find_piece(a.data(), b.data(), 0, ntax, &p), mostshared(a, b, 0, ntax, &allowed) > 0);
    }
}

TEST(Pieces, TradePlaces)
{
    settings standard;
    std::mt19937 rng(503);
    for (int trial = 0; trial < atmost(80); ++trial) {
        plain::data m = matrixof(rng, 6 + trial % 25, 3);
        packing image(m);
        std::vector<int> a = packedtree(plain::randomtree(rng, m.taxa)), b = sprrelative(rng, a, 1 + trial % 9);
        piece p;
        if (!find_piece(a.data(), b.data(), trial % 4, ntax, &p)) continue;
        std::vector<int> ab(size_t(nodz), 0), ba(size_t(nodz), 0);
        do_hybrid(a.data(), b.data(), p, ab.data(), ba.data());
        auto ga = taxasets(a)[p.a], gb = taxasets(b)[p.b];
        taxonset shared, around;
        for (int t = 0; t < ntax; ++t) {
            if (ga.count(t) && gb.count(t)) shared.insert(t);
            if (!ga.count(t) && !gb.count(t)) around.insert(t);
        }
        taxonset all = shared;
        all.insert(around.begin(), around.end());
        EXPECT_EQ(taxasets(ab)[ntax], all);
        EXPECT_EQ(taxasets(ba)[ntax], all);
        EXPECT_EQ(ab[ntax], ntax + int(all.size()) - 1);
        around.insert(*shared.begin());
        EXPECT_EQ(restricted(ab, shared), restricted(b, shared));
        EXPECT_EQ(restricted(ab, around), restricted(a, around));
        EXPECT_EQ(restricted(ba, shared), restricted(a, shared));
        EXPECT_EQ(restricted(ba, around), restricted(b, around));
        EXPECT_TRUE(groupsof(ab).count(shared));
        ranseed = trial + 1;
        for (std::vector<int> *t : { &ab, &ba }) {
            std::vector<int> before = *t;
            double score = tree_completion(t->data(), trial % 2);
            expectwhole(*t);
            EXPECT_EQ(score, rescored(*t));
            if (trial % 2 == 0) { EXPECT_EQ(restricted(*t, all), restricted(before, all)); }
            EXPECT_EQ(ranseed, trial + 1);
        }
    }
}

TEST(HybridSets, GrowByNewWholeTreesAndTheScoreIsThatOfTheBest)
{
    settings standard;
    std::mt19937 rng(504);
    int grown = 0;
    for (int trial = 0; trial < atmost(40); ++trial) {
        plain::data m = matrixof(rng, 8 + trial % 14, 25, kinds()[trial % kinds().size()]);
        packing image(m);
        std::vector<std::vector<int>> trees;
        std::set<groupset> different;
        double start = NOSCORE;
        while (trees.size() < size_t(3 + trial % 4)) {
            trees.push_back(packedtree(plain::randomtree(rng, m.taxa)));
            different.insert(groupsof(trees.back()));
            start = std::min(start, rescored(trees.back()));
        }
        if (different.size() < trees.size()) continue;
        hyb_replacetrees = trial % 2;
        hyb_outrounds = 1 + trial % 3;
        hyb_samplesize = trial % 5;
        treelist list(trees, trial % 4 * 3);
        ranseed = trial + 1;
        int room = hybrid_room ? hybrid_room : list.count, inmem = trees_in_mem;
        double score = list.hybridize(6, trial % 3, trial % 2);
        EXPECT_EQ(ranseed, trial + 1);
        EXPECT_EQ(trees_in_mem, inmem);
        EXPECT_GE(list.count, int(trees.size()));
        ASSERT_LE(list.count, room);
        grown += list.count > int(trees.size());
        std::set<groupset> seen;
        double best = NOSCORE;
        for (int i = 0; i < list.count; ++i) {
            expectwhole(list.trees[i]);
            EXPECT_TRUE(seen.insert(groupsof(list.trees[i])).second);
            best = std::min(best, rescored(list.trees[i]));
        }
        EXPECT_EQ(score, best);
        EXPECT_LE(score, start);
        for (size_t i = 0; i < trees.size() && !hyb_replacetrees && room >= list.count + 3; ++i)      // nobody leaves
            EXPECT_EQ(groupsof(list.trees[i]), groupsof(trees[i]));
    }
    EXPECT_GT(grown, 5);
}

// Of a pair two hybrids come; one that is better than the worse of its parents takes its place, if that is wanted.
TEST(HybridSets, GetBothHybridsOfAPairUnlessTheyHaveThemOrThemTakeThePlaceOfAParent)
{
    settings standard;
    std::mt19937 rng(514);
    int replaced = 0, added = 0, known = 0;
    for (int trial = 0; trial < atmost(60); ++trial) {
        plain::data m = matrixof(rng, 8 + trial % 12, 25);
        packing image(m);
        std::vector<std::vector<int>> given{ packedtree(plain::randomtree(rng, m.taxa)) };
        given.push_back(sprrelative(rng, given[0], 1 + trial % 4));
        for (auto &t : given) nodreset(t.data(), nullptr);
        if (groupsof(given[0]) == groupsof(given[1])) continue;
        hyb_replacetrees = trial % 2;
        bool swap = trial % 3 == 0;
        ranseed = trial + 1;
        randinit();
        ranseed = -1;
        std::vector<std::vector<int>> expected = given;
        int one = rand() % 2, other = rand() % 1;
        other += other >= one;
        piece p;
        if (find_piece(given[size_t(one)].data(), given[size_t(other)].data(), 2, ntax, &p)) {
            std::vector<int> hybrids[2] = { std::vector<int>(size_t(nodz), 0), std::vector<int>(size_t(nodz), 0) };
            do_hybrid(given[size_t(one)].data(), given[size_t(other)].data(), p, hybrids[0].data(), hybrids[1].data());
            for (auto &h : hybrids) {
                double score = tree_completion(h.data(), swap);
                bool isnew = std::none_of(expected.begin(), expected.end(), [&](const auto &t) { return groupsof(t) == groupsof(h); });
                size_t worse = size_t(rescored(expected[size_t(one)]) > rescored(expected[size_t(other)]) ? one : other);
                if (!isnew) ++known;
                else if (hyb_replacetrees && score < rescored(expected[worse])) expected[worse] = h, ++replaced;
                else expected.push_back(h), ++added;
            }
        }
        treelist list(given, 10);
        ranseed = trial + 1;
        double best = list.hybridize(1, 2, swap), found = NOSCORE;
        std::multiset<groupset> left, wanted;
        for (const auto &t : expected) {
            wanted.insert(groupsof(t));
            found = std::min(found, rescored(t));
        }
        for (int i = 0; i < list.count; ++i) left.insert(groupsof(list.trees[size_t(i)]));
        EXPECT_EQ(left, wanted) << "trial " << trial;
        EXPECT_EQ(best, found);
    }
    EXPECT_TRUE(replaced && added && known) << replaced << " " << added << " " << known;
}

TEST(HybridSets, AreCutBackBeforeTheyClog)
{
    settings standard;
    std::mt19937 rng(505);
    plain::data m = matrixof(rng, 14, 25);
    packing image(m);
    for (int clog = 1; clog < 4; ++clog) {
        std::vector<std::vector<int>> trees;
        for (int i = 0; i < 4; ++i) trees.push_back(packedtree(plain::randomtree(rng, m.taxa)));
        hybrid_prevent_clog = clog;
        hyb_replacetrees = 0;
        hyb_samplesize = clog == 2 ? 6 : 0;
        treelist list(trees, 60);
        double score = list.hybridize(60);
        EXPECT_LE(list.count, (clog + 1) * 4 + 2);
        EXPECT_GE(list.count, 4);
        double best = NOSCORE;
        for (int i = 0; i < list.count; ++i) best = std::min(best, rescored(list.trees[i]));
        EXPECT_EQ(score, best);
    }
}

TEST(HybridSets, StopWithoutImprovementAtTheScoreWantedAndWhenStopped)
{
    settings standard;
    std::mt19937 rng(506);
    plain::data m = matrixof(rng, 10, 30);
    packing image(m);
    std::vector<std::vector<int>> trees;
    for (int i = 0; i < 4; ++i) trees.push_back(packedtree(plain::randomtree(rng, m.taxa)));
    for (auto &t : trees) {                                       // swapped: nothing is likely to be better than the best
        treelist one({ t, t }, 0);
        tree_completion(t.data(), 1);
    }
    hyb_outrounds = 50;
    hyb_autostop = 2;
    treelist list(trees, 0);
    double best = list.hybridize(3, 0, 1);
    EXPECT_LT(hybridsdone, 50);
    EXPECT_GE(hybridsdone, 2);
    hyb_autostop = 0;
    hyb_outrounds = 4;
    treelist all(trees, 0);
    all.hybridize(1, 0, 0);
    EXPECT_EQ(hybridsdone, 4);
    treelist wanted(trees, 0);
    EXPECT_LE(wanted.hybridize(5, 0, 1, best + 100), best + 100);   // reached before it starts
    EXPECT_EQ(hybridsdone, 1);
    treelist stopped(trees, 0);
    userstop = 1;
    double score = stopped.hybridize(5, 0, 1);
    userstop = 0;
    EXPECT_EQ(hybridsdone, 0);
    double start = NOSCORE;
    for (const auto &t : trees) start = std::min(start, rescored(t));
    EXPECT_EQ(score, start);
    EXPECT_EQ(stopped.count, 4);
}

TEST(HybridSets, OfOneTreeStayAsTheyAre)
{
    settings standard;
    std::mt19937 rng(507);
    plain::data m = matrixof(rng, 8, 10);
    packing image(m);
    std::vector<int> t = packedtree(plain::randomtree(rng, m.taxa));
    treelist list({ t }, 4);
    EXPECT_EQ(list.hybridize(5), rescored(t));
    EXPECT_EQ(list.count, 1);
    EXPECT_EQ(groupsof(list.trees[0]), groupsof(t));
}

TEST(HybridSets, NeedMemoryAndNoConstraints)
{
    settings standard;
    std::mt19937 rng(508);
    plain::data m = matrixof(rng, 12, 10);
    use(m);
    zelrun("keep 0;force + [ 2 3 4 ];mult=wagner keepall replic 4;tfuse:hybridize 3;");
    std::string said = zelrun("tfuse;");
    EXPECT_TRUE(zelfailed());
    EXPECT_NE(said.find("Cannot complete trees under constraints"), std::string::npos) << said;
    zelrun("force];keep 0;mult:tbr nokeepall replic 10;tfuse:hybridize 1000 nohybridize;");
    {
        packing image(m);
        std::vector<std::vector<int>> trees(3, packedtree(plain::randomtree(rng, m.taxa)));
        char *mark = lomark();
        loram((vailram() - 900) & ~size_t(7));
        std::string text;
        static treelist *list;
        treelist here(trees, 0);
        list = &here;
        EXPECT_FALSE(safecall([] { list->hybridize(3); }));
        (void)mark;
    }
}

// Without free places hybrids can only take those of the trees given, which then leave their groups.
TEST(HybridSets, InAFullBufferTakeThePlacesOfOthers)
{
    settings standard;
    std::mt19937 rng(512);
    int changed = 0;
    for (int trial = 0; trial < 8; ++trial) {
        plain::data m = matrixof(rng, 14, 30);
        use(m);
        zelrun("keep 0;hold 4;rseed " + std::to_string(trial + 1) + ";mult=wagner keepall replic 4;tgroup*;tgroup =2 .;");
        int before = trees_in_mem;
        if (before < 2) continue;
        auto shapes = allkept();
        std::string said = zelrun("tfuse=hybridize 4;");
        ASSERT_FALSE(zelfailed()) << said;
        EXPECT_GE(trees_in_mem, before);
        EXPECT_LE(trees_in_mem, 4);
        for (int t = 0; t < trees_in_mem; ++t) {
            bool same = t < before && plain::shape(kept(t)) == plain::shape(shapes[t]);
            EXPECT_EQ(bool(treegroup[t][0] >> 2 & 1), same) << said;
            changed += !same;
        }
    }
    EXPECT_GT(changed, 0);
    zelrun("keep 0;hold 100;tgroup*;mult:tbr nokeepall replic 10;tfuse:hybridize 1000 nohybridize;");
}

TEST(AddedTaxa, AreSwappedWhileTheOthersStay)
{
    settings standard;
    std::mt19937 rng(509);
    int improved = 0;
    for (int trial = 0; trial < atmost(40); ++trial) {
        plain::data m = matrixof(rng, 8 + trial % 14, 30, kinds()[trial % kinds().size()]);
        packing image(m);
        std::vector<int> t = packedtree(plain::randomtree(rng, m.taxa));
        std::vector<uint8_t> added(size_t(ntax), 0);
        taxonset stay{ 0 };
        for (int x = 1; x < ntax; ++x)
            if (plain::chance(rng, 40)) added[x] = 1;
            else stay.insert(x);
        if (stay.size() < 3) continue;
        std::vector<int> before = t;
        double score = swap_added(t.data(), added.data());
        expectwhole(t);
        EXPECT_EQ(score, rescored(t));
        EXPECT_LE(score, rescored(before));
        EXPECT_EQ(restricted(t, stay), restricted(before, stay));
        improved += score < rescored(before);
        EXPECT_EQ(swap_added(t.data(), added.data()), score);
    }
    EXPECT_GT(improved, 10);
}

namespace {

std::string treetext(const char *text) { return "tread " + std::string(text) + " ;\nprocedure/;\n"; }

}

TEST(HybridCommand, CompletesTreesThatLackTaxa)
{
    settings standard;
    std::mt19937 rng(510);
    plain::data m = matrixof(rng, 9, 30);
    use(m);
    const std::string partial = writefile("partial.trees", treetext("(0 (1 (2 (3 4))))"));
    long lengths[3];
    const char *const forms[] = { "hybrid +0;", "hybrid !0;", "hybrid *0;" };
    const char *const said[] = { "Completing tree 0\n", "Completing tree 0 and swapping newly added taxa\n", "Completing and swapping tree 0\n" };
    taxonset old{ 0, 1, 2, 3, 4 };
    for (int i = 0; i < 3; ++i) {
        zelrun("keep 0;rseed 3;procedure " + partial + ";");
        plain::tree before = kept(0);
        std::string text = zelrun(forms[i]);
        ASSERT_FALSE(zelfailed()) << text;
        plain::tree t = kept(0);
        EXPECT_EQ(t.nodes(), 17);
        lengths[i] = plain::length(m, t);
        EXPECT_EQ(text, std::string(said[i]) + "Tree 0: 4 taxa added, score " + std::to_string(lengths[i]) + "\n");
        if (i < 2) {
            std::set<uint64_t> groups;
            for (uint64_t g : plain::groups(t)) groups.insert(g & 31);
            EXPECT_TRUE(groups.count(24) && groups.count(28) && groups.count(30));     // (3 4), (2 3 4), (1 2 3 4)
        }
        EXPECT_EQ(trees_are_packed, 0);
        EXPECT_EQ(doing_a_search, 0);
    }
    EXPECT_LE(lengths[1], lengths[0]);
    EXPECT_LE(lengths[2], lengths[0]);
    zelrun("keep 0;");
}

TEST(HybridCommand, LeavesOtherTreesAloneAndSavesTwo)
{
    settings standard;
    std::mt19937 rng(511);
    plain::data m = matrixof(rng, 14, 30);
    use(m);
    zelrun("keep 0;rseed 1;mult=wagner keepall replic 4;procedure " + writefile("partial.trees", treetext("(0 (1 (2 (3 4))))")) + ";");
    ASSERT_EQ(trees_in_mem, 5);
    auto before = allkept();
    std::string said = zelrun("hybrid 1 3/5;");
    ASSERT_FALSE(zelfailed()) << said;
    ASSERT_EQ(trees_in_mem, 7);
    for (int t = 0; t < 5; ++t) EXPECT_EQ(kept(t).anc, before[t].anc);
    EXPECT_NE(said.find(" unshared), trees 1-3\n"), std::string::npos) << said;
    for (int t = 5; t < 7; ++t) {
        checktree(mem_tree[t]);
        EXPECT_EQ(kept(t).nodes(), 27);
        EXPECT_NE(said.find("Hybrid saved as tree " + std::to_string(t) + ", score " + std::to_string(plain::length(m, kept(t))) + "\n"),
                  std::string::npos) << said;
    }
    said = zelrun("hybrid -0 2/14;");
    ASSERT_FALSE(zelfailed()) << said;
    ASSERT_EQ(trees_in_mem, 9);
    int shared, outa, outb;
    ASSERT_EQ(sscanf(said.c_str(), "Exchanged piece of %i shared taxa (%i-%i unshared)", &shared, &outa, &outb), 3) << said;
    for (int t = 7; t < 9; ++t) EXPECT_EQ(countterminals(mem_tree[t]), 14 - outa - outb);
    zelrun("keep 0;mult:tbr nokeepall replic 10;");
}

TEST(HybridCommand, PacksAnewAfterASearchThatFailedInASector)
{
    settings standard;
    std::mt19937 rng(516);
    plain::data m = matrixof(rng, 12, 30);
    use(m);
    static int packings;
    static void (*pass)();
    pass = after_pack;
    struct counting {
        counting()  { after_pack = [] { ++packings; pass(); }; }
        ~counting() { after_pack = pass; }
    } guard;
    for (const char *command : { "hybrid *0;", "collapse tbr; condense;" }) {
        zelrun("keep 0;collapse 3;mult=replic 1;");
        packings = 0;
        reduced_data_were_left = 1;
        std::string said = zelrun(command);
        EXPECT_FALSE(zelfailed()) << said;
        EXPECT_EQ(packings, 1) << command;
        EXPECT_EQ(reduced_data_were_left, 0);
    }
    zelrun("keep 0;collapse 3;");
}

// Groups of the first that the second has, but for one taxon each: {2 3 4 5} and {1 3 4 5}.
TEST(HybridCommand, ToleratesAsManyUnsharedTaxaAsExchangeSays)
{
    settings standard;
    std::mt19937 rng(512);
    use(matrixof(rng, 6, 10));
    zelrun("keep 0;procedure " + writefile("pair.trees", treetext("(0 (1 (2 (3 (4 5))))) * (0 (2 (4 (1 (3 5)))))")) + ";");
    ASSERT_EQ(trees_in_mem, 2);
    for (const char *form : { "hybrid 0 1;", "hybrid -0 1;", "hybrid 0 1/0;" }) {
        zelrun("tfuse:exchange " + std::string(strchr(form, '/') ? "1;" : "0;"));
        std::string said = zelrun(form);
        EXPECT_TRUE(zelfailed());
        EXPECT_NE(said.find("Trees 0 and 1 have no piece with 0 or fewer taxa unshared"), std::string::npos) << said;
        EXPECT_EQ(trees_in_mem, 2);
    }
    for (const char *form : { "hybrid -0 1;", "hybrid -0 1/1;" }) {
        zelrun("tfuse:exchange " + std::string(strchr(form, '/') ? "0;" : "1;"));
        std::string said = zelrun(form);
        EXPECT_FALSE(zelfailed()) << said;
        EXPECT_NE(said.find("Exchanged piece of 3 shared taxa ("), std::string::npos) << said;
    }
    EXPECT_EQ(trees_in_mem, 6);
    zelrun("keep 0;");
}

TEST(HybridCommand, StoppedLeavesTheTreeAsItWasOrWhole)
{
    settings standard;
    std::mt19937 rng(513);
    plain::data m = matrixof(rng, 12, 30);
    use(m);
    const std::string partial = writefile("partial.trees", treetext("(0 (1 (2 (3 4))))"));
    int left = 0, whole = 0;
    for (const char *form : { "hybrid +0;", "hybrid !0;", "hybrid *0;" })
        for (int poll = 1; poll < 12; ++poll) {
            zelrun("keep 0;procedure " + partial + ";");
            plain::tree before = kept(0);
            untouched same;
            std::string said;
            bool stopped;
            {
                stopping here(poll);
                said = zelrun(form);
                stopped = pollsdone >= poll;
            }
            EXPECT_FALSE(zelfailed()) << said;
            same.check();
            EXPECT_EQ(said.find("Search was interrupted...\n") != std::string::npos, stopped) << said;
            plain::tree after = kept(0);
            if (after.anc == before.anc) ++left;
            else {
                ++whole;
                EXPECT_EQ(after.nodes(), 23);
                EXPECT_NE(said.find("Tree 0: 7 taxa added, score " + std::to_string(plain::length(m, after)) + "\n"), std::string::npos) << said;
            }
            if (!stopped) break;
        }
    EXPECT_GT(whole, 0);
    zelrun("keep 0;");
}

TEST(HybridCommand, StoppedInAnExchangeSavesOnlyWholeTrees)
{
    settings standard;
    std::mt19937 rng(515);
    plain::data m = matrixof(rng, 16, 40);
    use(m);
    const std::string pair = writefile("twotrees.trees", treadtext({ plain::randomtree(rng, 16), plain::randomtree(rng, 16) }));
    int saved[3] = { 0, 0, 0 }, polls, step = 1;
    {
        stopping never(-1);
        zelrun("keep 0;rseed 1;procedure " + pair + ";hybrid 0 1/6;");
        polls = pollsdone;
    }
    step += polls / atmost(60);
    for (int poll = 1; poll <= polls + step; poll += step) {
        zelrun("keep 0;rseed 1;procedure " + pair + ";");
        auto before = allkept();
        untouched same;
        std::string said;
        bool stopped;
        {
            stopping here(poll);
            said = zelrun("hybrid 0 1/6;");
            stopped = pollsdone >= poll;
        }
        ASSERT_FALSE(zelfailed()) << said;
        same.check();
        EXPECT_EQ(said.find("Search was interrupted...\n") != std::string::npos, stopped) << said;
        ASSERT_GE(trees_in_mem, 2);
        ASSERT_LE(trees_in_mem, 4);
        ++saved[trees_in_mem - 2];
        for (int t = 0; t < 2; ++t) EXPECT_EQ(kept(t).anc, before[size_t(t)].anc);
        for (int t = 2; t < trees_in_mem; ++t) {
            EXPECT_EQ(kept(t).nodes(), 31);
            EXPECT_NE(said.find("tree " + std::to_string(t) + ", score " + std::to_string(plain::length(m, kept(t))) + "\n"), std::string::npos) << said;
        }
    }
    EXPECT_TRUE(saved[1] && saved[2]);
    zelrun("keep 0;");
}
