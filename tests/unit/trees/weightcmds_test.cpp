// The commands piwe and xpiwe, option by option: what they say, what they set, what they refuse.
#include "zeltest.h"
#include "reference.h"
#include "data/matrix.h"
#include "kernel/output.h"
#include "trees/implied.h"
#include "trees/lightopt.h"
#include "trees/treebuf.h"
#include "trees/xpiwe.h"

namespace {

struct weighting {
    ~weighting() { zelrun("xwipe ; piwe - ; piwe :3 ; warn - ; blocks ; nstates num 16 ;"); }
};

bool says(const std::string &text, const std::string &what) { return text.find(what) != std::string::npos; }

// Nine characters, each with at most two extra steps.
const char *ninechars = "xread 9 6  a 000000000 b 000010010 c 101010101 d 111101011 e 010111011 f 110101110 ;";

void readnine(const std::string &first = "piwe = 3 ;") { zelrun("xwipe ; nstates num 16 ; " + first + ninechars); }

std::string setsnow()                  // the set of each character
{
    std::string s;
    for (int c = 0; c < nc; ++c) s += char('0' + xdopiwe_isinset_user[c]);
    return s;
}

}  // namespace

// --- piwe ---

TEST(Piwe, ShowsItsSettings)
{
    weighting undo;
    zelrun("xwipe ; piwe - ;");
    std::string off = zelrun("piwe ;");
    EXPECT_TRUE(says(off, "Implied weighting is OFF")) << off;
    readnine();
    std::string on = zelrun("piwe ;");
    for (const char *line : { "Implied weighting is ON", "Extended implied weighting is OFF",
                              "Using a single weighting function for all characters", "Weighting strength is 3.00000" })
        EXPECT_TRUE(says(on, line)) << on;
    EXPECT_FALSE(says(on, "(reference K)"));
    zelrun("xpiwe (*0.5 ;");
    on = zelrun("piwe ;");
    EXPECT_TRUE(says(on, "Extended implied weighting is ON")) << on;
    EXPECT_TRUE(says(on, "Weighting strength is 3.00000 (reference K)")) << on;
    EXPECT_TRUE(says(zelrun("piwe :7 ;"), "Weighting strength is 7.00000 (reference K)"));
    zelrun("xpiwe - ; piwe [ 1 2 3 4 5 ;");
    EXPECT_TRUE(says(zelrun("piwe ;"), "Weighting with user-defined weighting function"));
}

TEST(Piwe, StrengthIsSetWithoutTurningOn)
{
    weighting undo;
    zelrun("piwe - ;");
    EXPECT_TRUE(says(zelrun("piwe :4.5 ;"), "Weighting strength is 4.50000"));
    EXPECT_EQ(dopiwe, 0);
    EXPECT_DOUBLE_EQ(konk, 4.5);
    zelrun("piwe = ;");
    EXPECT_EQ(dopiwe, 1);
    EXPECT_DOUBLE_EQ(konk, 4.5);
    for (const char *less : { "piwe :0 ;", "piwe : ;", "piwe = -2 ;", "piwe :-1 ;" }) {
        EXPECT_TRUE(says(zelrun(less), "Weighting strength must be more than 0")) << less;
        EXPECT_DOUBLE_EQ(konk, 4.5);
    }
    EXPECT_TRUE(says(zelrun("piwe :1000.5 ;"), "Weighting strength must be less than 1000"));
    zelrun("piwe =1000 ;");
    EXPECT_FALSE(zelfailed());
    zelrun("piwe ( ;");
    EXPECT_TRUE(zelfailed());
}

TEST(Piwe, ConcavityFromARangeOfWeights)
{
    weighting undo;
    // Under k = 2 the steps cost 1/3 and, after one extra step, 2/12: half as much.
    std::string said = zelrun("piwe <2 1 ;");
    EXPECT_TRUE(says(said, "Concavity set to 2.000000 (1 steps of homoplasy downweighted 2.000 times)")) << said;
    said = zelrun("piwe <4 2.5 ;");
    EXPECT_TRUE(says(said, "(2.5 steps of homoplasy downweighted 4.000 times)")) << said;
    EXPECT_NEAR(konk * (konk + 1) / ((2.5 + konk) * (3.5 + konk)), 0.25, 1e-9);
    readnine();
    said = zelrun("piwe <3 ;");                          // of the data: three, half of the taxa
    EXPECT_TRUE(says(said, "(3 steps of homoplasy downweighted 3.000 times)")) << said;
    said = zelrun("piwe <1.00001 1 ;");
    EXPECT_TRUE(says(said, "Note: Concavity for requested range is too high;\n      will set concavity to 1000 (maximum)")) << said;
    EXPECT_TRUE(says(said, "requested weight ratios only approximated")) << said;
    said = zelrun("piwe <3 0 ;");
    EXPECT_TRUE(says(said, "Concavity for requested range is too small;\nwill set concavity to 10e-6 (minimum)")) << said;
    EXPECT_TRUE(says(said, "requested weight ratios only approximated")) << said;
    EXPECT_DOUBLE_EQ(konk, 1e-5);
    for (const char *low : { "piwe <1 ;", "piwe <0.5 2 ;", "piwe < ;" })
        EXPECT_TRUE(says(zelrun(low), "Expected maximum weight range (larger than 1).")) << low;
}

TEST(Piwe, AbsoluteCosts)
{
    weighting undo;
    readnine();
    EXPECT_TRUE(says(zelrun("piwe | ;"), "Absolute cost of first step of homoplasy: 0.25000\n"));
    EXPECT_TRUE(says(zelrun("piwe |2 ;"), "Absolute cost of 2 steps of homoplasy: 0.40000\n"));
    EXPECT_TRUE(says(zelrun("piwe |4 ;"), "Maximum expected homoplasy is 3"));
}

TEST(Piwe, ConcavitiesOfCharacters)
{
    weighting undo;
    zelrun("nstates cont ; piwe = 3 ; xread 4 6 &[cont]\na 1\nb 2\nc 1\nd 2\ne 1\nf 2\n&[num]\na 00?\nb 00?\nc 010\nd 110\ne 101\nf 111\n;"
           "costs 2 = 0>1 2 1>0 1 ; ccode ] 3 ;");
    ASSERT_FALSE(zelfailed());
    std::string said = zelrun("piwe & . ;");
    EXPECT_TRUE(says(said, "(Skipping continuous char. 0)")) << said;
    EXPECT_TRUE(says(said, "For char. 1 (k=3.00000)\n   1: 1.00000   2: 0.60000\n")) << said;
    EXPECT_TRUE(says(said, "(Skipping Sankoff char. 2)")) << said;
    EXPECT_TRUE(says(said, "For char. 3 (inactive)")) << said;
    EXPECT_TRUE(says(zelrun("piwe & ;"), "Character concavities (base: 3.00000)"));
    zelrun("ccode [ 3 ; xpiwe ( 3 /1 ; xpiwe /0 1 ;");
    said = zelrun("piwe & 1 3 ;");
    EXPECT_TRUE(says(said, "For char. 1 (fixed cost)")) << said;
    EXPECT_TRUE(says(said, "For char. 3 (k=1.00000)\n   1: 1.00000\n")) << said;       // at most one extra step
    readnine();
    zelrun("piwe [ 1 1 0.5 0.25 ; xpiwe ( 3 /1.5 ;");
    said = zelrun("piwe & 0 3 ;");
    EXPECT_TRUE(says(said, "For char. 0 (shift=1.00000)\n   1: 1.00000   2: 1.00000\n")) << said;
    EXPECT_TRUE(says(said, "For char. 3 (shift=2.00000)\n   1: 1.00000   2: 0.37500\n")) << said;
    EXPECT_TRUE(says(zelrun("piwe & ;"), "Character shifts (shift in user-defined weighting-function)"));
    zelrun("xwipe ;");
    EXPECT_TRUE(says(zelrun("piwe & ;"), "Must read data before showing concavities"));
}

TEST(Piwe, FunctionsOfTheUserNeedDataReadUnderImpliedWeights)
{
    weighting undo;
    const char *needed = "To define a user weighting function, data must be read with implied weighting ON";
    zelrun("xwipe ; piwe = ;");
    EXPECT_TRUE(says(zelrun("piwe [ 1 2 ;"), needed));
    readnine("piwe - ;");
    EXPECT_TRUE(says(zelrun("piwe [ 1 2 ;"), needed));
    zelrun("piwe = ;");
    EXPECT_TRUE(says(zelrun("piwe [ 1 2 ;"), needed));
    readnine();
    EXPECT_TRUE(says(zelrun("piwe [ ;"), "Weighting strength is 3.00000"));
    EXPECT_FALSE(says(zelrun("piwe [ 1 2 3 ;"), "Data can have up to"));
    EXPECT_TRUE(says(zelrun("piwe [ ;"), "    0: 1\n    1: 2\n    2: 3"));
    zelrun("xpiwe /1.5 0 ;");
    EXPECT_TRUE(says(zelrun("xpiwe = ;"), "Weighting function defined only for integer steps --will round factor between 1-2"));
}

TEST(Piwe, FunctionsOfTheUserAreForWholeSteps)
{
    weighting undo;
    const char *invalid = "Sorry: user weighting functions are invalid\nfor sankoff/continuous/landmark characters.\n"
                          "Either set weighting function to default, or\ndeactivate sankoff/continuous/landmark characters";
    readnine();
    zelrun("tread (a (b (c (d (e f))))) ; piwe [ 1 2 3 4 ; costs 0 = 0>1 2 1>0 1 ;");
    EXPECT_TRUE(says(zelrun("scores ;"), invalid));
    zelrun("ccode ] 0 ; scores ;");
    EXPECT_FALSE(zelfailed());
    EXPECT_TRUE(says(zelrun("scores * ;"), "With user weighting functions, cannot do fits"));
}

TEST(Piwe, NewDataHaveTheFunctionOfKAgain)
{
    weighting undo;
    const char *note = "Note: weighting function re-set to default (k=3.00000)";
    readnine();
    zelrun("piwe [ 1 2 3 4 ;");
    std::string said = zelrun(ninechars);
    EXPECT_TRUE(says(said, note)) << said;
    EXPECT_FALSE(userdef_weighting_func);
    EXPECT_FALSE(says(zelrun(ninechars), note));
    zelrun("piwe [ 1 2 3 4 ;");
    EXPECT_TRUE(says(zelrun("piwe ] ;"), note));
    EXPECT_FALSE(says(zelrun("piwe ] ;"), note));
}

TEST(Piwe, AutoWeightingIsRefusedPlainly)
{
    weighting undo;
    EXPECT_TRUE(says(zelrun("piwe +3 ;"), "Sorry, auto-weighted optimization is not available yet"));
}

TEST(Piwe, NewDataAreScoredUnderTheSettingsInForce)
{
    weighting undo;
    readnine();
    zelrun("tread (a (b (c (d (e f))))) ;");
    std::string three = zelrun("scores ;");
    zelrun("piwe :9 ;");
    EXPECT_NE(zelrun("scores ;"), three);
    zelrun("piwe :3 ;");
    EXPECT_EQ(zelrun("scores ;"), three);
}

// --- xpiwe ---

TEST(Xpiwe, SetsOfAListByRunsByPositionsAndByBlocks)
{
    weighting undo;
    readnine();
    zelrun("xpiwe [ 1.4 ;");
    EXPECT_EQ(setsnow(), "011110000");
    EXPECT_EQ(xdopiwe_stat, 1);
    zelrun("xpiwe [ 4.6 ;");                             // who joins another set leaves the first
    EXPECT_EQ(setsnow(), "011122200");
    zelrun("xpiwe [ 1.3 8 ;");                           // sets without members are gone
    EXPECT_EQ(setsnow(), "022211102");
    zelrun("xpiwe ! . ; xpiwe [ 1.8 =3 ;");
    EXPECT_EQ(setsnow(), "011122233");
    zelrun("xpiwe [ . /12:3 ;");
    EXPECT_EQ(setsnow(), "112112112");
    zelrun("xpiwe [ 0.5 /1:2:3 ;");
    EXPECT_EQ(setsnow(), "345345112") << "the old sets come first";
    for (const char *wrong : { "xpiwe [ . /13 ;", "xpiwe [ . /11 ;", "xpiwe [ . / ;", "xpiwe [ . =0 ;" }) {
        zelrun(wrong);
        EXPECT_TRUE(zelfailed()) << wrong;
    }
    zelrun("xwipe ; nstates num 8 ; piwe = ; xread 6 4 &[num]\na 000\nb 001\nc 011\nd 111\n&[num]\na 000\nb 011\nc 111\nd 110\n;");
    ASSERT_FALSE(zelfailed());
    zelrun("xpiwe ] ;");
    EXPECT_EQ(setsnow(), "111222");
    zelrun("xpiwe ] =2 ;");
    EXPECT_EQ(setsnow(), "112334");
    zelrun("xpiwe ] /12:3 ;");
    EXPECT_EQ(setsnow(), "112334");
}

TEST(Xpiwe, ConstantWeights)
{
    weighting undo;
    readnine();
    zelrun("xpiwe [ 0.8 ; xpiwe / 2x1.5 0.3 ;");
    EXPECT_EQ(setsnow(), "000011111") << "the weight is constant in no set";
    EXPECT_NEAR(xdopiwe_factor, 1.5 * (3 / 6.0 - 2 / 5.0), 1e-12);
    zelrun("xpiwe /0 4 ;");                              // the first step, once
    EXPECT_NEAR(xdopiwe_factor, 0.25, 1e-12);
    zelrun("xpiwe ! 4 ;");
    EXPECT_EQ(xdopiwe_fixwt_user[4], 0);
    EXPECT_EQ(xdopiwe_fixwt_user[3], 1);
    zelrun("xpiwe / 1x0 ;");
    EXPECT_TRUE(zelfailed());
    EXPECT_TRUE(says(zelrun("xpiwe / 1000 ;"), "Maximum expected homoplasy is"));
}

TEST(Xpiwe, WeightingThatCanDoNothingIsWarnedOf)
{
    weighting undo;
    readnine();
    zelrun("tread (a (b (c (d (e f))))) ; xpiwe / 0 . ;");
    const char *constant = "All active characters are of constant weight.\nThis is an inefficient way to find trees\n"
                           "of minimum-length under equal weights";
    const char *none = "No characters are active.  Sure you want to calculate \"scores\"?";
    std::string said = zelrun("scores ;");
    EXPECT_TRUE(says(said, constant)) << said;
    EXPECT_FALSE(says(zelrun("scores ;"), constant)) << "once for each time that the tables are made";
    zelrun("ccode ] . ;");
    said = zelrun("scores ;");
    EXPECT_TRUE(says(said, none)) << said;
    EXPECT_FALSE(says(said, constant)) << said;
    zelrun("ccode [ . ; xpiwe ! 3 ;");
    said = zelrun("scores ;");
    EXPECT_FALSE(says(said, constant) || says(said, none)) << said;
    zelrun("xpiwe - ; ccode ] . ;");
    EXPECT_FALSE(says(zelrun("scores ;"), none)) << "only under extended weighting";
}

TEST(Xpiwe, StatusOfSetsOnTrees)
{
    weighting undo;
    readnine();
    EXPECT_TRUE(says(zelrun("xpiwe & ;"), "Extended implied weighting is OFF"));
    zelrun("xpiwe [ 0.2 ;");
    std::string said = zelrun("xpiwe & ;");
    EXPECT_TRUE(says(said, "    Set        size      kvalue\n      1           3     3.00000")) << said;
    EXPECT_TRUE(says(said, "A single concavity")) << said;
    zelrun("tread (a (b (c (d (e f))))) * (a (b ((c d) (e f)))) ;");
    // Steps on the first tree: 1 + 1 for d apart from e, 1 + 1 for c, f; by hand 2, 1, 2, and least 1 each.
    said = zelrun("xpiwe & size steps homoplasy score cost 0 ;");
    EXPECT_TRUE(says(said, "    Set        size       steps   homoplasy       score        cost\n"
                           "      1           3     5.00000     2.00000     0.54545     0.20455")) << said;
    EXPECT_TRUE(says(said, "Tree 0, total adjusted homoplasy")) << said;
    EXPECT_FALSE(says(said, "Tree 1,")) << said;
    EXPECT_TRUE(says(zelrun("xpiwe & steps mist ;"), "Wrong argument for xpiwe: mist"));
    zelrun("xpiwe ! . ;");
    EXPECT_TRUE(says(zelrun("xpiwe & ;"), "No weighting sets"));
}

TEST(Xpiwe, IsRefusedWithoutDataReadForIt)
{
    weighting undo;
    zelrun("xwipe ; piwe - ;");
    const char *late = "To use extended implied weighting, must read the data with implied weighting ON";
    for (const char *option : { "=", "[0", "]", "/0", "!0", "(", ")", "*", "&" })
        EXPECT_TRUE(says(zelrun(std::string("xpiwe ") + option + " ;"), late)) << option;
    EXPECT_TRUE(says(zelrun("xpiwe ;"), "Extended implied weighting is OFF"));
    zelrun("xpiwe - ;");
    EXPECT_FALSE(zelfailed());
    readnine();
    zelrun("xpiwe $ ;");
    EXPECT_TRUE(zelfailed());
}

TEST(Xpiwe, FitsAreNotGivenUnderExtendedWeighting)
{
    weighting undo;
    readnine();
    zelrun("tread (a (b (c (d (e f))))) ; xpiwe [ 0.2 ;");
    EXPECT_TRUE(says(zelrun("scores * ;"), "Sorry, cannot calculate fit with extended implied weighting"));
    EXPECT_TRUE(says(zelrun("xcomp = 0 ;"), "Cannot automate character-by-character comparisons with set weighting"));
}

TEST(Xpiwe, LengthsLeaveExtendedWeightingAsItWas)
{
    weighting undo;
    readnine();
    zelrun("tread (a (b (c (d (e f))))) ; xpiwe [ 0.2 ; xpiwe (*0.5 ; xpiwe / 1 8 ;");
    std::string before = zelrun("scores ;") + zelrun("xpiwe & ;");
    zelrun("length ; chomo ; blength ; blength / ;");
    ASSERT_FALSE(zelfailed());
    EXPECT_EQ(zelrun("scores ;") + zelrun("xpiwe & ;"), before);
}

TEST(Xpiwe, DefinitionsAreSavedWithTheData)
{
    weighting undo;
    readnine("piwe = 4.25 ;");
    zelrun("tread (a (b (c (d (e f))))) ; xpiwe [ 0.2 5 ; xpiwe / 1.5x0.1 3 ; xpiwe (=*0.3 <4 ;");
    std::string status = zelrun("xpiwe * ;"), scores = zelrun("scores ;"), file = tempdir() + "/extended.xread";
    zelrun("xread * " + file + " ;");
    ASSERT_FALSE(zelfailed());
    zelrun("xwipe ; piwe - ; piwe :3 ; procedure " + file + " ; tread (a (b (c (d (e f))))) ;");
    ASSERT_FALSE(zelfailed()) << readfile(file);
    EXPECT_EQ(zelrun("xpiwe * ;"), status) << readfile(file);
    EXPECT_EQ(zelrun("scores ;"), scores);
    EXPECT_DOUBLE_EQ(konk, 4.25);
    // Without the inactive characters, those left have other numbers.
    zelrun("xpiwe ! . ; xpiwe ) ; xpiwe [ 2 4 6.8 ; ccode ] 0 1 4 ; xread - " + file + " ;");
    zelrun("procedure " + file + " ;");
    EXPECT_EQ(setsnow(), "100111") << readfile(file);
    zelrun("xpiwe - ; xread * " + file + " ;");
    EXPECT_FALSE(says(readfile(file), "piwe")) << "nothing while the extended options are off";
}

TEST(Xpiwe, SetsOfManyCharactersAreSavedInLines)
{
    weighting undo;
    std::mt19937 rng(2);
    plain::data m = plain::randommatrix(rng, 5, 1200);
    zelrun("piwe = ; procedure " + writefile("many.xread", plain::readtext(m)) + ";");
    std::string odd, text = "xpiwe [";
    for (int c = 1; c < 1200; c += 2) text += " " + std::to_string(c) + "\n";
    zelrun("procedure " + writefile("odd", text + ";\nxpiwe ( 0 /0.00001;\nprocedure/;\n") + ";");
    std::string was = setsnow(), status = zelrun("xpiwe * ;");
    zelrun("xpiwe ! . ; xpiwe ) ; procedure " + writefile("again", status + "procedure/;\n") + ";");
    ASSERT_FALSE(zelfailed()) << status;
    EXPECT_EQ(setsnow(), was);
    EXPECT_DOUBLE_EQ(multik_givenk[0], 0.00001);
}
