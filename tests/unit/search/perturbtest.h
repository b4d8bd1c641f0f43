// perturbtest.h: what the tests of perturbing searches share: what must be as before when they end, and a stop at
// every point where they ask for one.
#pragma once
#include "searchtest.h"
#include "slowtest.h"
#include "kernel/random.h"
#include "kernel/window.h"
#include "search/constpack.h"
#include "search/constraints.h"
#include "search/drift.h"
#include "search/keeptrees.h"
#include "search/pertswap.h"
#include "search/ratchet.h"
#include "search/setup.h"
#include "search/status.h"
#include "trees/lightopt.h"

inline double reportscore(int t)                     // of a stored tree, in its own numbers, by the code of reports
{
    optmem();
    return packdownpass(mem_tree[t]);
}

// Settings as they were before the test.
struct ratsettings {
    int iters = ratiters, shift = ratshift, equals = ratequals, upper = ratupfact, lower = ratdnfact, hard = rathard;
    int giveup = ratgiveupperc, freq = ratfusefreq, rounds = ratfuserounds, dump = ratfusedump, trad = dotradrat;
    double stop = ratstop;
    ~ratsettings()
    {
        ratiters = iters, ratshift = shift, ratequals = equals, ratupfact = upper, ratdnfact = lower, rathard = hard;
        ratgiveupperc = giveup, ratfusefreq = freq, ratfuserounds = rounds, ratfusedump = dump, dotradrat = trad;
        ratstop = stop;
    }
};

struct driftsettings {
    int iters = dftiters, shift = dftshift, giveup = dftgiveupperc, nflat = dftnumflat, flatshift = dftflatshift;
    int equals = dfttakequals, skip = dft_skippert, hard = dfthard, freq = dftfusefreq, rounds = dftfuserounds, dump = dftfusedump;
    double abs = dftmaxabs, rel = dftmaxrel, rflat = dftrflat, stop = dftstop, x = dftxfactor, ratchetstop = ratstop;
    ~driftsettings()
    {
        dftiters = iters, dftshift = shift, dftgiveupperc = giveup, dftnumflat = nflat, dftflatshift = flatshift;
        dfttakequals = equals, dft_skippert = skip, dfthard = hard, dftfusefreq = freq, dftfuserounds = rounds, dftfusedump = dump;
        dftmaxabs = abs, dftmaxrel = rel, dftrflat = rflat, dftstop = stop, dftxfactor = x, ratstop = ratchetstop;
    }
};

// What no search may change.
struct untouched {
    std::vector<int> weights;
    int seed = ranseed, room = maxtrees, active = nt;
    double far = suboptimal, relative = relative_suboptimal;
    untouched()
    {
        for (int c = 0; c < nc; ++c) weights.push_back(charcodes[c].weight);
    }
    void check() const
    {
        for (int c = 0; c < nc; ++c) ASSERT_EQ(charcodes[c].weight, weights[size_t(c)]) << "character " << c;
        EXPECT_EQ(ranseed, seed);
        EXPECT_EQ(maxtrees, room);
        EXPECT_EQ(nt, active);
        EXPECT_EQ(suboptimal, far);
        EXPECT_EQ(relative_suboptimal, relative);
        EXPECT_FALSE(doing_a_search || clusters_on || perturbating || emulating_tradrat || trees_are_packed || now_being_swapped != -1);
        EXPECT_EQ(current_replication, -1);
        for (int t = 0; t < trees_in_mem; ++t) checktree(mem_tree[t]);
        checkarena();
    }
};

// Esc at the poll of this number; how many there were.
inline int stopatpoll, pollsdone;
struct stopping {
    decltype(window.zel_app_window_getKeyPressed) was = window.zel_app_window_getKeyPressed;
    double interval = polling_interval;
    explicit stopping(int poll)
    {
        stopatpoll = poll;
        pollsdone = 0;
        polling_interval = -1;
        window.zel_app_window_getKeyPressed = [] { return ++pollsdone == stopatpoll ? int(KEY_ESC) : 0; };
    }
    ~stopping()
    {
        window.zel_app_window_getKeyPressed = was;
        polling_interval = interval;
    }
};

// The search under Esc at each poll in turn, or at some of them when there are many: all is as before, the trees are
// scored rightly, and the next search runs.
inline void stopeverywhere(const std::string &before, const std::string &search, int most)
{
    zelrun(before);
    int polls;
    {
        stopping never(-1);
        std::string said = zelrun(search);
        ASSERT_FALSE(zelfailed()) << said;
        polls = pollsdone;
    }
    ASSERT_GT(polls, 2);
    for (int i = 1; i <= most; ++i) {
        int poll = polls <= most ? i : int(1 + long(polls - 1) * (i - 1) / (most - 1));
        if (poll > polls) break;
        zelrun(before);
        untouched same;
        double start = reportscore(0);
        std::string said;
        {
            stopping here(poll);
            said = zelrun(search);
            if (pollsdone < poll) continue;          // progress polls by the clock too: there were fewer this time
        }
        SCOPED_TRACE("stopped at poll " + std::to_string(poll));
        ASSERT_FALSE(zelfailed()) << said;
        EXPECT_NE(said.find("Search was interrupted...\n"), std::string::npos) << said;
        same.check();
        ASSERT_GT(trees_in_mem, 0);
        EXPECT_LE(reportscore(0), start + 1e-7);
        for (int t = 1; t < trees_in_mem; ++t) EXPECT_NEAR(reportscore(t), reportscore(0), 1e-7);
        zelrun("bbreak;");
        ASSERT_FALSE(zelfailed());
    }
}

// Trees kept have the score that the report tells, which is that of the plain reference, in every weighting; and they are
// local optima.  The command with each list of options.
inline void keepsreportedscores(const std::string &command, const std::vector<std::string> &options, unsigned seed)
{
    std::mt19937 rng(seed);
    for (size_t k = 0; k < kinds().size(); ++k)
        for (const std::string &how : options) {
            plain::data m = plain::randommatrix(rng, 8 + int(k) % 4, 15, kinds()[k]);
            m.taxactive.assign(m.taxa, 1);
            use(m);
            plain::tree start = plain::randomtree(rng, m.taxa);
            usetrees({ start });
            untouched same;
            std::string report = zelrun(command + "=" + how + ";");
            ASSERT_FALSE(zelfailed()) << report;
            same.check();
            long best = plain::length(m, kept(0));
            EXPECT_LE(best, plain::length(m, start));
            std::string expected = "Saved " + std::to_string(trees_in_mem) + " trees of score " + std::to_string(best) + "\n";
            EXPECT_NE(report.find(expected), std::string::npos) << report << how;
            for (const plain::tree &t : allkept()) EXPECT_EQ(plain::length(m, t), best);
            if (k % 4) continue;
            neighbours(kept(0), true, [&](const plain::tree &u) { EXPECT_GE(plain::length(m, u), best); });
        }
    zelrun("keep 0;");
}

// The same for step matrices, continuous characters and all else, under equal and implied weights.
inline void keepsreportedscoresofallkinds(const std::string &search, unsigned seed)
{
    std::mt19937 rng(seed);
    zelrun("mxram 32;");
    for (const char *weighting : { "", "piwe=3;" })
        for (const mixed::kind &k : mixed::kinds) {
            SCOPED_TRACE(std::string(k.what) + weighting);
            mixed::data d = mixed::random(rng, 10, 8, k);
            d.m.taxactive.assign(d.m.taxa, 1);
            zelrun(std::string(weighting) + "procedure " + writefile("slow.xread", mixed::readtext(d)) + ";");
            ASSERT_FALSE(zelfailed());
            if (dopiwe) set_fit_minima();
            usetrees({ plain::randomtree(rng, d.m.taxa) });
            untouched same;
            double start = reportscore(0);
            std::string report = zelrun(search);
            ASSERT_FALSE(zelfailed()) << report;
            ASSERT_EQ(report.find("rror"), std::string::npos) << report;
            same.check();
            if (dopiwe) set_fit_minima();
            for (int t = 0; t < trees_in_mem; ++t) {
                double score = dopiwe ? mixed::fits(d, kept(t)) : mixed::length(d, kept(t));
                EXPECT_NEAR(reportscore(t), score, 1e-8);
                EXPECT_LE(score, start + 1e-8);
                size_t at = report.find("of score ");
                ASSERT_NE(at, std::string::npos) << report;
                EXPECT_NEAR(std::stod(report.substr(at + 9)), score, dopiwe ? 1e-5 : 1e-3);
            }
            zelrun("keep 0; piwe-;");
        }
}
