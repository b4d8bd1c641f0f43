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
    return give_numrearrangs() + " rearrangements, " + (dopiwe ? "score " : "length ") + scoretext(best) + ", " + std::to_string(trees) + " trees";
}

struct run { const char *commands, *expected; };

// weighting: commands that come before the data
static void follow(int taxa, int chars, int states, unsigned seed, const char *settings, const std::vector<run> &runs,
                   const char *weighting = "")
{
    for (int k = 0; kernelsets[k]; ++k) {
        ASSERT_TRUE(force_kernels(kernelsets[k]->name));
        zelrun(std::string("mxram 64; nstates 8;") + weighting);
        zelrun("procedure " + writefile("signature.xread", evolved(taxa, chars, states, seed)) + ";");
        ASSERT_FALSE(zelfailed());
        zelrun(std::string("hold 200; bbreak:tbr mulpars nolimit norandclip;") + settings);
        ASSERT_FALSE(zelfailed());
        for (const run &r : runs) {
            zelrun(r.commands);
            optmem();
            EXPECT_EQ(signature(), r.expected) << kernelsets[k]->name << ": " << r.commands;
        }
    }
    force_kernels("");
    zelrun("mult:replic 10 hold 10 tbr; bbreak:tbr mulpars nolimit norandclip; rseed 1; nstates 16; piwe -; xpiwe -; force ];");
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

TEST(Signature, UnderConstraints)
{
    follow(30, 60, 3, 13, "force + [ 3.9 ] [ 4 5 (6 20) ] [ 21 22 23 ] - [ 10 11 ] [ 26 27 28 ];", {
        { "rseed 2; mult=replic 3 hold 4 tbr;",
          "77496 rearrangements, length 462, 12 trees" },
        { "bbreak=spr mulpars;",
          "537168 rearrangements, length 462, 200 trees" },
    });
    follow(30, 60, 3, 13, "force = (0 1 2 3 4 (5 6 7 8 (9 10 11)) (12 13 14 15) (16 (17 18 19 20)) 21 22 23 24 25 26 27 28 29);", {
        { "rseed 2; mult=replic 3 hold 4 tbr;",
          "43130 rearrangements, length 460, 4 trees" },
    });
}

TEST(Signature, WithLimitedMoves)
{
    follow(40, 70, 4, 17, "bbreak:limit 4;", {
        { "rseed 4; mult=replic 3 hold 4 tbr;",
          "37014 rearrangements, length 849, 4 trees" },
        { "keep 0; rseed 4; bbreak:limit 2; mult=replic 3 hold 2 spr;",
          "5584 rearrangements, length 859, 2 trees" },
    });
}

TEST(Signature, UnderImpliedWeights)
{
    follow(30, 60, 3, 19, "ccode /3 0.9 + 10.20;", {
        { "rseed 6; mult=replic 3 hold 4 tbr;",
          "119776 rearrangements, score 72.03339, 1 trees" },
        { "bbreak=spr mulpars;",
          "2842 rearrangements, score 72.03339, 1 trees" },
        { "keep 0; rseed 6; bbreak:tbr limit 3; mult=replic 2 hold 2;",
          "10510 rearrangements, score 72.58028, 1 trees" },
    }, "piwe=4;");
}

TEST(Signature, OfWeightingSets)
{
    follow(24, 48, 3, 29, "xpiwe[=4;", {
        { "rseed 8; mult=replic 2 hold 3 tbr;",
          "38439 rearrangements, score 28.11738, 1 trees" },
        { "bbreak=tbr mulpars;",
          "5248 rearrangements, score 28.11738, 1 trees" },
    }, "piwe=3;");
}

TEST(Signature, OfStepMatrices)
{
    follow(24, 40, 4, 31, "costs 0.15 = 0>1 2 1>0 1 0/2 3 1/2 2 0/3 4 1/3 3 2/3 1; costs 16.20 = 0/1 1 0/2 2 0/3 2 1/2 1 1/3 2 2/3 1;", {
        { "rseed 3; mult=replic 2 hold 3 tbr;",
          "32585 rearrangements, length 444, 2 trees" },
        { "bbreak=tbr mulpars randclip;",
          "11990 rearrangements, length 444, 2 trees" },
    });
}
