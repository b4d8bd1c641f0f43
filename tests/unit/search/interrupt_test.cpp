// Searches that are stopped, out of time, out of room or out of memory, wherever they are: the trees they leave
// are whole and scored as reported, all else is as before, and the next search does what it always does.
#include "searchtest.h"
#include "slowtest.h"
#include "kernel/window.h"
#include "search/constraints.h"
#include "search/status.h"
#include <functional>

namespace {

// --- polls --------------------------------------------------------------------------------

int polls, actat;                          // which poll acts; 0: none does
void (*action)();
int pressed;                               // the key that this poll finds

int polled()
{
    pressed = 0;
    if (++polls == actat) action();
    return pressed;
}

// Searches poll at every clip while this stands.
struct polling {
    decltype(window.zel_app_window_getKeyPressed) key = window.zel_app_window_getKeyPressed;
    polling()
    {
        window.zel_app_window_getKeyPressed = polled;
        polling_interval = -1;
        zelrun("mult:outfreq 1;");
    }
    ~polling()
    {
        window.zel_app_window_getKeyPressed = key;
        polling_interval = 1;
        zelrun("mult:outfreq 0;");
    }
};

void pressesc()   { pressed = KEY_ESC; }
void letthetimepass() { startime -= 1000; }

constexpr size_t leaving[] = { 0, 400, 3000 };
size_t left;                               // bytes that taking the memory away leaves, one of these
void takememory() { if (vailram() > left) loram((vailram() - left) & ~size_t(7)); }

// --- what stands before and after ---------------------------------------------------------

std::string settings()
{
    std::string text = zelrun("mult:;bbreak:;rebuild:;ratchet:;drift:;sectsch:;pfijo:;xmult:;tfuse:;subopt;collapse;rseed;force*;constrain;hold;piwe;ccode;outgroup;");
    for (int t = 0; t < nt; ++t)
        text += std::string(reinterpret_cast<const char *>(matrix1[t]), size_t(nc) * size_t(celldim)) + char('0' + taxact[t]);
    return text;
}

struct situation {
    const char *what, *settings, *search, *undo;
    bool needsroom = false;                // refused when the buffer is small
};

// With start trees in memory, on data that plain::length scores.
const situation situations[] = {
    { "mult",                  "",                                    "mult=replic 3 hold 4 tbr;",        "" },
    { "mult with one tree",    "",                                    "mult=replic 3 hold 1 tbr;",        "" },
    { "mult by SPR",           "",                                    "mult=replic 3 hold 3 spr keepall;", "mult:nokeepall tbr;" },
    { "mult, suboptimal",      "subopt 1;",                           "mult=replic 2 hold 6;",            "subopt 0;" },
    { "mult, constrained",     "force + [ 2 3 4 ] - [ 4 5 ];",        "mult=replic 3 hold 3;",            "force];" },
    { "mult, tree constraint", "force = (0 1 (2 3 4 5) 6 7 8 9);",    "mult=replic 3 hold 3;",            "force];" },
    { "mult with clusters",    "mult:wclus 4;",                       "mult=replic 3 hold 2;",            "mult:nowclus;" },
    { "mult by costs",         "mult:cas 3;",                         "mult=replic 3 hold 2;",            "mult:ras;" },
    { "mult, collapsing",      "collapse [ tbr;",                     "mult=replic 2 hold 3;",            "collapse ] rule 1;" },
    { "mult with ratchets",    "ratchet:iter 3;",                     "mult=replic 2 hold 3 ratchet;",    "mult:noratchet;ratchet:iter 50;" },
    { "mult drifting",         "drift:iter 3;",                       "mult=replic 2 hold 3 drift;",      "mult:nodrift;drift:iter 30;" },
    { "ienum, collapsing",     "collapse [ rule 3;",                  "ienum;",                           "collapse ] rule 1;" },
    { "bbreak, expanding",     "collapse [ rule 4;",                  "bbreak=tbr mulpars;",              "collapse ] rule 1;" },
    { "bbreak",                "",                                    "bbreak=tbr mulpars;",              "" },
    { "bbreak, no quick collapsing", "qcollapse-;",                   "bbreak=tbr mulpars;",              "qcollapse=;" },
    { "bbreak, one tree",      "",                                    "bbreak=tbr nomulpars;",            "bbreak:mulpars;" },
    { "bbreak in order",       "",                                    "bbreak=tbr nomulpars preproc;",    "bbreak:mulpars nopreproc;" },
    { "bbreak by SPR",         "",                                    "bbreak=spr mulpars safe;",         "bbreak:tbr nosafe;" },
    { "bbreak, suboptimal",    "subopt 1;",                           "bbreak=tbr mulpars;",              "subopt 0;" },
    { "bbreak, relative",      "subopt 2 x 0.3;",                     "bbreak=tbr mulpars;",              "subopt 0 x 0;" },
    { "bbreak, limited",       "",                                    "bbreak=limit 2;",                  "bbreak:nolimit;" },
    { "bbreak at random",      "",                                    "bbreak=randclip;",                 "bbreak:norandclip;" },
    { "bbreak, intersections", "bbreak:inters 2;",                    "bbreak;",                          "bbreak:nointers;" },
    { "ienum",                 "",                                    "ienum;",                           "" },
    { "ienum, suboptimal",     "subopt 1;",                           "ienum;",                           "subopt 0;" },
    { "ienum, constrained",    "force + [ 2 3 4 ] - [ 4 5 ];",        "ienum;",                           "force];" },
    { "rebuild",               "",                                    "rebuild 6;",                       "" },
    { "ratchet",               "",                                    "ratchet=iter 3 up 20 down 20;",    "ratchet:iter 50 up 4 down 4;" },
    { "traditional ratchet",   "",                                    "ratchet=iter 2 tradrat up 20 down 20;", "ratchet:iter 50 notradrat equals up 4 down 4;" },
    { "ratchet, fused",        "subopt 1;",                           "ratchet=iter 5 autoc 2 fusefreq 3x1 nodumpfuse;",
      "subopt 0;ratchet:iter 50 noautoc nofusefreq dumpfuse;" },
    { "ratchet, constrained",  "force + [ 2 3 4 ] - [ 4 5 ];",        "ratchet=iter 4 autoc 2;",          "force];ratchet:iter 50 noautoc;" },
    { "drift",                 "",                                    "drift=iter 4 noequals fitdiff 3;", "drift:iter 30 equals fitdiff 1;" },
    { "drift, fused",          "",                                    "drift=iter 6 autoc 2 fusefreq 3x2;", "drift:iter 30 noautoc nofusefreq;" },
    { "drift, tree constraint", "force = (0 1 (2 3 4 5) 6 7 8 9);",   "drift=iter 4 autoc 2 fusefreq 3x1;", "force];drift:iter 30 noautoc nofusefreq;" },
    { "random sectors",        "",                                    "sectsch=rss minsize 5 selfact = 4;", "sectsch:selfact 50;" },
    { "random sectors, drifted", "",                                  "sectsch=minsize 5 selfact = 2 godrift 5 drift 2;", "sectsch:selfact 50 godrift 75;", true },
    { "random sectors, combined", "",                                 "sectsch=minsize 5 selfact = 2 gocomb 5 combstarts 2 drift 1;",
      "sectsch:selfact 50 nogocomb godrift 75;", true },
    { "constrained sectors",   "force = (0 1 (2 3 4 5) 6 7 8 9);",    "sectsch=css minfork 4;",           "force];sectsch:rss minfork 10;" },
    { "a sector around a node", "",                                   "sectsch=dss 12 4 tree 0;",         "sectsch:rss;" },
    { "sectors by instructions", "",                                  "sectsch=minsize 5 selfact = 2 [ mult=replic 2 hold 3; bbreak; ];", "sectsch:selfact 50;mult:replic 10 hold 10;" },
    { "pinon fijo",            "",                                    "pfijo=numsels 2 chunksize 10 drift 1;", "pfijo:numsels 30 chunksize 500 drift 4;" },
    { "pinon fijo, fused",     "",                                    "pfijo=numsels 2 chunksize 10 drift 1 goback autofuse 1 2;",
      "pfijo:numsels 30 chunksize 500 drift 4 nogoback autofuse 0 3;" },
    { "driven search",         "",                                    "xmult=replic 2 hits 2 drift 2 ratchet 2;", "xmult:replic 5 hits 1 nodrift noratchet;", true },
    { "driven search, keeping all", "",                               "xmult=replic 2 hits 2 hold 3 drift 3 ratchet 2 rebuild 2 keepall;",
      "xmult:replic 5 hits 1 hold 1 nodrift noratchet norebuild nokeepall;", true },
    { "driven search, hybridizing", "",                               "xmult=replic 2 hits 2 nofuse hybrid x 2 gfuse 2 retouch 1;",
      "xmult:replic 5 hits 1 fuse 3 nohybrid nogfuse noretouch;", true },
    { "driven search, constrained", "force + [ 2 3 4 ] - [ 4 5 ];",   "xmult=replic 2 hits 2 drift 2;",   "force];xmult:replic 5 hits 1 nodrift;", true },
    { "driven search, tree constraint", "force = (0 1 (2 3 4 5) 6 7 8 9);", "sectsch:minfork 3;xmult=replic 2 hits 2 xmix prvmix;",
      "force];sectsch:minfork 10;xmult:replic 5 hits 1 noprvmix;", true },
    { "tfuse",                 "mult=wagner keepall replic 4;",       "tfuse=rounds 2 equals;",           "mult:tbr nokeepall;tfuse:rounds 5 noequals;", true },
    { "tfuse, rerooted",       "mult=wagner keepall replic 4;",       "tfuse=rounds 2 xroot 2 repeat nokeepall;",
      "mult:tbr nokeepall;tfuse:rounds 5 noxroot norepeat keepall;", true },
    { "tfuse, constrained",    "force + [ 2 3 4 ] - [ 4 5 ];mult=wagner keepall replic 4;", "tfuse=rounds 2;",
      "force];mult:tbr nokeepall;tfuse:rounds 5;", true },
    { "hybrids",               "mult=wagner keepall replic 4;",       "tfuse=hybridize 3*2/3;",           "mult:tbr nokeepall;tfuse:hybridize 1000*1/50 nohybridize;", true },
};

class Interrupted : public testing::Test {
protected:
    static constexpr int TAXA = 10;
    plain::data m;
    std::string always;                    // what the next search says
    std::vector<std::vector<uint64_t>> found;

    void SetUp() override
    {
        std::mt19937 rng(951);
        m = plain::randommatrix(rng, TAXA, 14, { 8, 3, 10, 0, 0, 0, 0, 2, 1 });
        use(m);
        zelrun("hold 40;");
        nextsearch(&always, &found);
        ASSERT_FALSE(zelfailed());
    }

    void TearDown() override { zelrun("keep 0; hold 100; mult:replic 10 hold 10; timeout 0;"); }

    static void nextsearch(std::string *said, std::vector<std::vector<uint64_t>> *trees)
    {
        *said = zelrun("keep 0; rseed 1; mult=replic 2 hold 3; bbreak;");
        trees->clear();
        for (const plain::tree &t : allkept()) trees->push_back(plain::shape(t));
    }

    void prepare(const situation &s)
    {
        zelrun("keep 0; rseed 1; procedure " + writefile("interrupt.trees", starttree) + ";" + s.settings);
        ASSERT_FALSE(zelfailed()) << s.what;
    }

    // It fulfils all the constraints used here.
    const char *const starttree = "tread (0 (6 (7 (8 (9 (1 (5 (4 (2 3)))))))));\nprocedure/;\n";

    void checkstate(const situation &s, const std::string &before, const std::string &said, bool failed, const std::string &where)
    {
        SCOPED_TRACE(std::string(s.what) + where);
        EXPECT_EQ(doing_a_search, 0);
        EXPECT_EQ(trees_are_packed, 0);
        EXPECT_EQ(clusters_on, 0);
        EXPECT_EQ(swapcollapse, 0);
        EXPECT_EQ(loseg, minseg);
        EXPECT_EQ(hiseg, maxeg);
        EXPECT_EQ(maxtrees, realmaxtrees);
        check_everything();
        long best = LONG_MAX;
        for (int t = 0; t < trees_in_mem; ++t) {
            checktree(mem_tree[t]);
            for (int x = 0; x < nt; ++x) ASSERT_TRUE(isinthetree(mem_tree[t], x));
            if (!autocollapse_searches) { EXPECT_EQ(countnodes(mem_tree[t]), TAXA - 1); }
            if (constraints_in_force()) { EXPECT_TRUE(fulfils_constraints(mem_tree[t])); }
            if (!autocollapse_searches) best = std::min(best, plain::length(m, kept(t)));
        }
        size_t at = said.rfind("score");
        if (!failed && trees_in_mem && !autocollapse_searches && said.find("(none)", at) == std::string::npos) {
            ASSERT_NE(at, std::string::npos) << said;
            EXPECT_EQ(std::stol(said.substr(said.find_first_of("0123456789", at))), best) << said;
        }
        EXPECT_EQ(settings(), before);
    }

    void checknextsearch(const situation &s)
    {
        zelrun(s.undo);
        std::string said;
        std::vector<std::vector<uint64_t>> trees;
        nextsearch(&said, &trees);
        EXPECT_EQ(said, always) << s.what;
        EXPECT_EQ(trees, found) << s.what;
    }

    // The search, acted upon at poll n.
    std::string searched(const situation &s, int n, void (*act)())
    {
        polls = 0;
        actat = n;
        action = act;
        std::string said = zelrun(s.search);
        actat = 0;
        return said;
    }

    void ateverypoll(void (*act)(), bool mayfail, const char *expected)
    {
        for (const situation &s : situations) {
            polling often;
            prepare(s);
            searched(s, 0, act);                       // settings that the command itself makes stand from here
            int all = polls;
            ASSERT_GT(all, 2) << s.what;
            std::string before = settings();
            int step = 1 + all / atmost(12), acted = 0, tried = 0;
            for (int n = 1; n <= all; n += step) {
                prepare(s);
                left = leaving[tried % std::size(leaving)];
                std::string said = searched(s, n, act);
                bool failed = zelfailed();
                ASSERT_TRUE(mayfail || !failed) << said;
                acted += said.find(expected) != std::string::npos;
                checkstate(s, before, said, failed, ", poll " + std::to_string(n) + " of " + std::to_string(all));
                if (testing::Test::HasFailure()) return;
                if (++tried % atmost(12) == 1) {
                    checknextsearch(s);
                    if (testing::Test::HasFailure()) return;
                }
            }
            EXPECT_GT(acted, 0) << s.what;
            checknextsearch(s);
        }
    }
};

}  // namespace

TEST_F(Interrupted, ByEscAtAnyClipASearchLeavesWholeTrees) { ateverypoll(pressesc, false, "Search was interrupted..."); }

TEST_F(Interrupted, OutOfTimeAtAnyClipASearchLeavesWholeTrees)
{
    zelrun("timeout 0:15:0;");
    ateverypoll(letthetimepass, false, "Interrupting search (time is out!)");
}

TEST_F(Interrupted, OutOfMemoryAtAnyClipASearchLeavesWholeTrees)
{
    ateverypoll(takememory, true, "");
}

// With less and less memory for all of it.
TEST_F(Interrupted, WithoutEnoughMemoryASearchFailsAndLeavesAllAsItWas)
{
    const size_t finer = size_t(std::min(4, atmost(6)));
    for (const situation &s : situations) {
        prepare(s);
        zelrun(s.search);
        std::string before = settings();
        int failed = 0, done = 0;
        for (size_t bytes = 0; bytes < 400000 && done < 2; bytes += bytes / finer + 900) {
            prepare(s);
            wipetag(&schtag);
            wipetag(&opttag);
            int rest = 0;
            loram((vailram() - bytes) & ~size_t(7));
            lockram(&rest);
            std::string said = zelrun(s.search);
            bool out = zelfailed();
            if (out) { EXPECT_NE(std::min(said.find("out of ram"), said.find("memory is too low")), std::string::npos) << s.what << said; }
            out ? ++failed : ++done;
            wipetag(&opttag);
            wipetag(&schtag);
            wipetag(&rest);
            checkstate(s, before, said, out, ", with " + std::to_string(bytes) + " bytes");
            if (HasFailure()) return;
        }
        EXPECT_GT(failed, 0) << s.what;
        EXPECT_GT(done, 0) << s.what;
        checknextsearch(s);
    }
}

TEST_F(Interrupted, WithRoomForAFewTreesASearchEndsWithTheBestItHas)
{
    int turn = 0;
    for (const situation &s : situations)
        for (int room : { 1, 2, 3, 5 }) {
            if (s.needsroom || (atmost(3) < 3 && ++turn % 3)) continue;      // each room with a third of them in the slow build
            prepare(s);
            zelrun("hold " + std::to_string(room) + ";");
            zelrun(s.search);
            std::string before = settings();
            prepare(s);
            std::string said = zelrun(s.search);
            ASSERT_FALSE(zelfailed()) << s.what << said;
            EXPECT_LE(trees_in_mem, room);
            EXPECT_GT(trees_in_mem, 0);
            checkstate(s, before, said, false, ", room for " + std::to_string(room));
            zelrun("keep 0; hold 40;");
            if (HasFailure()) return;
            checknextsearch(s);
        }
}

// A swap that condenses is no search: stopped, the command is left at once.
TEST_F(Interrupted, CondensingByTbrLeavesTreesAsTheyWere)
{
    zelrun("keep 0; collapse tbr; procedure " + writefile("interrupt.trees", starttree) + ";");
    polling often;
    polls = actat = 0;
    zelrun("condense;");
    int all = polls;
    ASSERT_GT(all, 2);
    for (int n = 1; n <= all; ++n) {
        zelrun("keep 0; procedure " + writefile("interrupt.trees", starttree) + "; bbreak=nomulpars; bbreak:mulpars;");
        std::vector<plain::tree> trees = allkept();
        polls = 0;
        actat = n;
        action = pressesc;
        zelrun("condense;");
        EXPECT_EQ(trees_are_packed, 0);
        EXPECT_EQ(swapcollapse, 0);
        check_everything();
        ASSERT_EQ(trees_in_mem, int(trees.size()));
        for (int t = 0; t < trees_in_mem; ++t) checktree(mem_tree[t]);
        actat = 0;
    }
    zelrun("collapse rule 1;");
    std::string said;
    std::vector<std::vector<uint64_t>> nowfound;
    nextsearch(&said, &nowfound);
    EXPECT_EQ(said, always);
}

// The other ways to score: what is counted while a clip is away is right again after the stop.
TEST(InterruptedWeighting, LeavesScoresThatAreRight)
{
    struct { const char *what, *settings; bool implied; } ways[] = {
        { "step matrices and others", "", false }, { "implied weights", "piwe=3;", true }, { "sets", "piwe=3;", true },
    };
    std::mt19937 rng(952);
    for (auto &w : ways) {
        SCOPED_TRACE(w.what);
        zelrun(w.settings);
        if (!strcmp(w.what, "sets")) mixed::moresettings = "xpiwe[=3;";
        for (const mixed::kind &k : mixed::kinds) {
            SCOPED_TRACE(k.what);
            mixed::data d = mixed::random(rng, 8, 6, k);
            d.m.taxactive.assign(d.m.taxa, 1);
            zelrun("mxram 32;");
            zelrun("procedure " + writefile("interrupt.xread", mixed::readtext(d)) + ";" + mixed::moresettings);
            ASSERT_FALSE(zelfailed());
            if (dopiwe) set_fit_minima();
            auto score = [&](const plain::tree &t) { return dopiwe ? mixed::fits(d, t) : mixed::length(d, t); };
            polling often;
            actat = 0;
            for (const char *search : { "rseed 1; mult=replic 2 hold 3;", "rseed 1; mult=replic 1 hold 1; bbreak;",
                                        "rseed 1; mult=wagner replic 1; mult:tbr; sectsch=minsize 5 selfact 80 starts 1;",
                                        "rseed 1; xmult=replic 2 hits 1 drift 1 ratchet 1;" }) {
                polls = 0;
                zelrun(std::string("keep 0;") + search);
                int all = polls;
                std::string always = scoretext(score(kept(0)));
                for (int n = 1; n < all; n += 1 + all / atmost(9)) {
                    polls = 0;
                    actat = n;
                    action = pressesc;
                    std::string said = zelrun(std::string("keep 0;") + search);
                    actat = 0;
                    ASSERT_FALSE(zelfailed()) << said;
                    double best = 1e30;
                    for (const plain::tree &t : allkept()) best = std::min(best, score(t));
                    if (trees_in_mem) { ASSERT_NEAR(bestscore(said.substr(said.rfind("est score") - 1)), best, dopiwe ? 1.1e-5 : 1e-3) << said; }
                    zelrun(std::string("keep 0;") + search);
                    ASSERT_EQ(scoretext(score(kept(0))), always);
                }
            }
        }
        mixed::moresettings.clear();
        zelrun("xpiwe-; piwe-;");
    }
    zelrun("keep 0; mult:replic 10 hold 10;");
}
