// The signature of the searches: what they did on fixed data, seeds and settings.  It proves
// nothing by itself; it tells whether a change moved a search.  Where it moves, the reason belongs
// to the change, and the line is recorded anew.  It is the same in every build and vector variant.
#include "searchtest.h"
#include "search/kernels.h"
#include "search/status.h"
#include "trees/lightopt.h"
#include <gtest/gtest.h>

// Data by a generator of our own: states evolve along a comb, and a third of the cells are noise.
static std::string evolved(int taxa, int chars, int states, unsigned seed)
{
    auto draw = [&seed](unsigned n) { seed = seed * 1103515245u + 12345u; return (seed >> 16) % n; };
    std::vector<int> ancestor(chars, 0);
    std::string text = "xread\n" + std::to_string(chars) + " " + std::to_string(taxa) + "\n";
    for (int t = 0; t < taxa; ++t) {
        text += "t" + std::to_string(t) + " ";
        for (int c = 0; c < chars; ++c) {
            if (draw(6) == 0) ancestor[c] = int(draw(states));
            int s = draw(3) == 0 ? int(draw(states)) : ancestor[c];
            text += draw(25) == 0 ? '?' : char('0' + s);
        }
        text += '\n';
    }
    return text + ";\nproc/;\n";
}

static std::string signature()
{
    double best = 1e10;
    int trees = trees_in_mem;
    for (int t = 0; t < trees_in_mem; ++t) best = std::min(best, packdownpass(mem_tree[t]));
    return give_numrearrangs() + " rearrangements, length " + std::to_string(long(best)) + ", " + std::to_string(trees) + " trees";
}

struct run { const char *commands, *expected; };

static void follow(int taxa, int chars, int states, unsigned seed, const char *settings, const std::vector<run> &runs)
{
    for (int k = 0; kernelsets[k]; ++k) {
        ASSERT_TRUE(force_kernels(kernelsets[k]->name));
        zelrun("mxram 64; nstates 8;");
        zelrun("procedure " + writefile("signature.xread", evolved(taxa, chars, states, seed)) + ";");
        ASSERT_FALSE(zelfailed());
        zelrun(std::string("hold 200;") + settings);
        for (const run &r : runs) {
            zelrun(r.commands);
            optmem();
            EXPECT_EQ(signature(), r.expected) << kernelsets[k]->name << ": " << r.commands;
        }
    }
    force_kernels("");
    zelrun("mult:replic 10 hold 10 tbr; bbreak:tbr mulpars; rseed 1; nstates 16;");
}

TEST(Signature, OfTwentyTaxaWithTwoStates)
{
    follow(20, 60, 2, 7, "", {
        { "rseed 1; mult=replic 5 hold 1 wagner;",
          "0 rearrangements, length 201, 2 trees" },
        { "keep 0; rseed 1; mult=replic 5 hold 1 spr;",
          "12331 rearrangements, length 195, 2 trees" },
        { "keep 0; rseed 1; mult=replic 5 hold 5 tbr;",
          "51230 rearrangements, length 195, 20 trees" },
        { "bbreak=tbr mulpars;",
          "106756 rearrangements, length 195, 30 trees" },
    });
}

TEST(Signature, OfFortyTaxaWithFourStatesAndWeights)
{
    follow(40, 120, 4, 11, "ccode /3 0.20 /2 50.60;", {
        { "rseed 5; mult=replic 3 hold 5 tbr;",
          "283411 rearrangements, length 2236, 1 trees" },
        { "bbreak=spr mulpars;",
          "4671 rearrangements, length 2236, 1 trees" },
    });
}

TEST(Signature, OfSixtyTaxaWithEightStatesSomeAdditive)
{
    follow(60, 90, 8, 23, "ccode + 0.30;", {
        { "rseed 9; mult=replic 2 hold 3 tbr;",
          "491886 rearrangements, length 3242, 3 trees" },
    });
}
