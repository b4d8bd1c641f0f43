// Step matrices: how costs are read, kept, shown and saved, and the triangle inequality.
#include "datatest.h"
#include "data/costs.h"
#include "data/smatrix.h"
#include "trees/lightopt.h"
#include <bit>
#include <random>
#include <sstream>

namespace {
const char *const MATRIX = "xread 4 5 a 0000 b 1111 c 2222 d 3012 e 0120 ;";

void read(const std::string &settings = "nstates num 8;")
{
    std::fill(std::begin(defstepmat), std::end(defstepmat), uint8_t(0));
    replace_cstrees = save_vekcosts = 0;
    fresh(settings);
    readdata(MATRIX);
    ASSERT_EQ(nc, 4);
}

std::string costsof(int c, int states)
{
    std::string all;
    for (int a = 0; a < states; ++a) {
        for (int b = 0; b < states; ++b) all += std::to_string(charcodes[c].costs[a][b]) + (b + 1 < states ? " " : "");
        all += "/";
    }
    return all;
}

struct refusal { const char *text, *words; };

template<size_t N> void expectrefusals(const refusal (&all)[N])
{
    for (const refusal &r : all) {
        std::string said = zelrun(r.text);
        EXPECT_TRUE(zelfailed()) << r.text;
        EXPECT_TRUE(says(said, r.words)) << r.text << "\n" << said;
    }
}
}

TEST(Costs, GoFromAllStatesOfTheFirstToAllOfTheSecond)
{
    read();
    zelrun("costs 1 = 0>1 3 1/2 4 [03]>[12] 5;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(costsof(1, 3), "0 5 5/1 0 4/1 4 0/");
    EXPECT_TRUE(charcodes[1].sankoff);
    EXPECT_FALSE(charcodes[0].sankoff);
    EXPECT_EQ(costsof(0, 3), "0 1 1/1 0 1/1 1 0/");
}

TEST(Costs, AQuestionMarkIsEveryState)
{
    read();
    zelrun("costs 0.1 = ?>0 7 0/? 5;");
    EXPECT_EQ(costsof(0, 4), "0 5 5 5/5 0 1 1/5 1 0 1/5 1 1 0/");
    EXPECT_EQ(costsof(1, 3), "0 5 5/5 0 1/5 1 0/");
    for (int a = 0; a < maxstate; ++a) EXPECT_EQ(charcodes[0].costs[a][a], 0u);
}

TEST(Costs, AStarGivesAllChangesACostFirst)
{
    read();
    zelrun("costs 0 = *10000 0>3 9999;");
    EXPECT_EQ(costsof(0, 4), "0 10000 10000 9999/10000 0 10000 10000/10000 10000 0 10000/10000 10000 10000 0/");
}

TEST(Costs, DefinedLaterReplaceOnlyWhatTheyName)
{
    read();
    zelrun("costs 1 = 0>1 2 ; costs 1 = 1>0 2;");
    EXPECT_EQ(costsof(1, 3), "0 2 1/2 0 1/1 1 0/");
}

TEST(Costs, StatesAreSymbolsOrNumbers)
{
    read("nstates num 32;");
    zelrun("costs 0 = 0>V 3 10>B 4 [A1]>31 5;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(charcodes[0].costs[0][31], 3u);
    EXPECT_EQ(charcodes[0].costs[10][11], 4u);
    EXPECT_EQ(charcodes[0].costs[10][31], 5u);
    EXPECT_EQ(charcodes[0].costs[1][31], 5u);
    zelrun("nstates /dna; costs 1 = A>G 2 C/T 3 R>- 4; nstates /num;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(charcodes[1].costs[0][1], 2u);
    EXPECT_EQ(charcodes[1].costs[2][3], 3u);
    EXPECT_EQ(charcodes[1].costs[3][2], 3u);
    EXPECT_EQ(charcodes[1].costs[0][4], 4u);
    EXPECT_EQ(charcodes[1].costs[1][4], 4u);
    fresh();
}

TEST(Costs, ForbiddenChangesAreDearerThanAllOthers)
{
    read();
    zelrun("costs 0 = 1>0 i 2>0 i;");
    EXPECT_EQ(charcodes[0].costs[1][0], charcodes[0].costs[2][3] + charcodes[0].costs[3][0]) << "there is a way over 3";
    zelrun("costs 1 = 1>0 i 2>0 i;");
    EXPECT_EQ(charcodes[1].costs[1][0], FORBIDDEN);
}

TEST(Costs, AreRefusedInTheirOwnWords)
{
    read();
    const refusal all[] = {
        { "costs 0 = *10001;", "Syntax error in definition of transformation costs" },
        { "costs 0 = *0;", "Syntax error in definition of transformation costs" },
        { "costs 0 = * ;", "Syntax error in definition of transformation costs" },
        { "costs 0 = 0>;", "Syntax error in definition of transformation costs" },
        { "costs 0 = 0>1;", "Syntax error in definition of transformation costs" },
        { "costs 0 = [01;", "Syntax error in definition of transformation costs" },
        { "costs 0 = 1>1 4;", "Syntax error in definition of transformation costs" },
        { "costs 0 = 0=1 2;", "Error: found symbol = when reading transformation costs" },
        { "costs 0 = 0>1 x;", "Error: found symbol x when reading transformation costs" },
        { "costs 0 = w>1 2;", "Error: found symbol w when reading transformation costs" },
        { "costs 0 = 0>* 2;", "Error: found symbol * when reading transformation costs" },
        { "costs 0 = []>1 2;", "Error: found symbol ] when reading transformation costs" },
        { "costs 0 = 8>1 2;", "Only states 0-7 allowed" },
        { "costs 0 = [0A]>1 2;", "Only states 0-7 allowed" },
        { "costs 0 = 0>[19] 2;", "Only states 0-7 allowed" },
        { "costs 0 = 0>1 32701;", "Transformation costs can be up to 32700" },
        { "costs 0 > 1;", "Scope must be followed by costs" },
        { "costs 0 = ;", "Scope must be followed by costs" },
        { "costs = 0>1 2;", "Scope must be followed by costs" },
        { "costs 4 = 0>1 2;", "No character number 4" },
        { "costs <;", "Whether to allow sankoff must be changed before reading data" },
        { "costs >;", "Whether to allow sankoff must be changed before reading data" },
        { "costs >> x a b 3;", "Sorry, costs between parts of groups of ambiguous homology (>>) are not available yet" },
        { "costs <<;", "Sorry, costs between parts of groups of ambiguous homology (<<) are not available yet" },
    };
    expectrefusals(all);
    EXPECT_EQ(costsof(0, 4), "0 1 1 1/1 0 1 1/1 1 0 1/1 1 1 0/") << "a definition that fails changes nothing";
    EXPECT_FALSE(charcodes[0].sankoff);
    fresh();
    EXPECT_TRUE(says(zelrun("costs 0 = 0>1 2;"), "Must read data before re-setting costs"));
    EXPECT_TRUE(says(zelrun("cstree 0 =\n 0-1 ;"), "Must read data before defining character state tree(s)"));
    EXPECT_TRUE(says(zelrun("smatrix =0 0>1 2;"), "Must read data before reading a step-matrix"));
    EXPECT_TRUE(says(zelrun("ancstates 0;"), "Must read data before setting ancestral states"));
    EXPECT_TRUE(says(zelrun("usminmax 0 = 2;"), "Must read data before setting user minima"));
}

TEST(Costs, CannotBeDefinedWhereSankoffCharactersAreNotAllowed)
{
    fresh("nstates num 8;");
    EXPECT_EQ(zelrun("costs <;"), "Not allowing sankoff characters \n");
    readdata(MATRIX);
    for (const char *text : { "costs 0 = 0>1 2;", "smatrix =0 0>1 2;", "cstree 0 = \n 0-1;", "costs;", "costs *;" }) {
        EXPECT_TRUE(says(zelrun(text), "Sankoff costs have been disabled (use \"cost >;\" to enable)")) << text;
        EXPECT_TRUE(zelfailed());
    }
    for (const char *text : { "ccode ( 0;", "ccode ~ 0;" })
        EXPECT_TRUE(says(zelrun(text), "Sankoff characters have been disabled (use \"cost >;\" to enable)")) << text;
    readdata("cnames {0 sup_x ; {1 sub_x ; ;");
    EXPECT_TRUE(says(zelrun("smatrix &;"), "Sankoff characters have not been allowed"));
    fresh();
    EXPECT_EQ(zelrun("costs >;"), "Allowing sankoff characters \n");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(allow_sankoff, 1);
}

TEST(Costs, OfContinuousCharactersAreRefused)
{
    fresh("nstates 32;");
    readdata("xread 2 4\n&[cont]\na 1.5\nb 2\nc 3\nd 4\n&[num]\na 0\nb 1\nc 0\nd 1\n;");
    EXPECT_TRUE(says(zelrun("costs 0 = 0>1 2;"), "Character 0 is continuous: it cannot have transformation costs"));
    EXPECT_FALSE(charcodes[0].sankoff);
    fresh();
}

TEST(Costs, ModesAreSaid)
{
    fresh();
    EXPECT_EQ(zelrun("costs ];"), "Saving costs in VEK format \n");
    EXPECT_EQ(zelrun("costs [;"), "Saving costs in ZEL format \n");
    EXPECT_EQ(zelrun("costs |;"), "Not calculating RFD's exactly during TBR\nfor sankoff asymmetric characters  \n");
    EXPECT_EQ(track_asym_indcosts, 0);
    EXPECT_EQ(zelrun("costs &;"), "Calculating RFD's exactly during TBR\nfor sankoff asymmetric characters  \n");
    EXPECT_EQ(track_asym_indcosts, 1);
    zelrun("costs |;");
}

TEST(Costs, AreShownWithASlashWhereBothWaysAreTheSame)
{
    read();
    zelrun("costs 1 = 0>1 2 0/2 2;");
    EXPECT_EQ(zelrun("costs 1;"), "Character 1\n  States: 0 1 2\n  0>1  2     0/2  2   \n  1>0  1     1/2  1   \n");
    EXPECT_EQ(zelrun("costs;"), zelrun("costs 1;"));
    EXPECT_EQ(zelrun("costs 0;"), "Character 0 (not Sankoff)\n  States: 0 1 2 3\n  0/1  1     0/2  1     0/3  1   \n"
                                  "  1/2  1     1/3  1   \n  2/3  1   \n");
    zelrun("ccode ] 1;");
    EXPECT_TRUE(says(zelrun("costs 1;"), "Character 1 (inactive)\n"));
    zelrun("ccode ) 1;");
    EXPECT_EQ(zelrun("costs;"), "No Sankoff characters \n");
    EXPECT_EQ(zelrun("usminmax;"), "No Sankoff characters \n");
}

TEST(Costs, OfManyStatesAreShownInLinesOfAScreen)
{
    fresh("nstates num 32;");
    std::string rows;
    for (int t = 0; t < 32; ++t) rows += " t" + std::to_string(t) + " " + "0123456789ABCDEFGHIJKLMNOPQRSTUV"[t];
    readdata("xread 1 32" + rows + ";");
    zelrun("costs 0 = *10000 0>1 i V>0 1234;");
    std::istringstream said(zelrun("costs 0;"));
    size_t changes = 0;
    for (std::string line; std::getline(said, line); ) {
        EXPECT_LE(line.size(), 79u) << line;
        changes += std::count_if(line.begin(), line.end(), [](char c) { return c == '/' || c == '>'; });
    }
    EXPECT_GE(changes, 32u * 31 / 2);
    fresh();
}

TEST(Costs, AreSavedAsCommandsForEachSankoffCharacter)
{
    read();
    zelrun("costs 1 = 0>1 2 2>1 2; costs 3 = *2; ccode ] 3;");
    EXPECT_EQ(zelrun("costs *;"), "cost 1 = 0>1 2 0>2 1 1>0 1 1>2 1 2>0 1 2>1 2 ;\n"
                                  "cost 3 = 0>1 2 0>2 2 1>0 2 1>2 2 2>0 2 2>1 2 ;\n");
    EXPECT_EQ(zelrun("costs -;"), "cost 1 = 0>1 2 0>2 1 1>0 1 1>2 1 2>0 1 2>1 2 ;\n");
    EXPECT_EQ(zelrun("costs ]; costs -;"), "Saving costs in VEK format \ncost [1 0>1 2 0>2 1 1>0 1 1>2 1 2>0 1 2>1 2 ;\n");
    zelrun("costs [;");
}

// Random costs that no third state shortens.
static void randomcosts(std::mt19937 &rng, int c, int states)
{
    for (int a = 0; a < states; ++a)
        for (int b = 0; b < states; ++b) charcodes[c].costs[a][b] = a == b ? 0 : 10 + rng() % 11;
    charcodes[c].sankoff = charcodes[c].recalc = 1;
}

TEST(Costs, ThatWereSavedAreReadBack)
{
    std::mt19937 rng(3);
    for (int states : { 2, 5, 16, 32 }) {
        std::string rows;
        for (int t = 0; t < 32; ++t) rows += " t" + std::to_string(t) + " " + "0123456789ABCDEFGHIJKLMNOPQRSTUV"[t % states] + "0";
        fresh("nstates num 32;");
        readdata("xread 2 32" + rows + ";");
        randomcosts(rng, 0, states);
        chartables_reset();
        set_charcodes();
        std::string was = costsof(0, states), saved = zelrun("costs *;");
        zelrun("costs 0 = *3; ccode - ) 0;");
        EXPECT_NE(costsof(0, states), was);
        readdata(saved);
        EXPECT_FALSE(zelfailed()) << saved;
        EXPECT_EQ(costsof(0, states), was);
        EXPECT_TRUE(charcodes[0].sankoff);
        fresh();
    }
}

TEST(Costs, ChangesDearerThanOverAThirdStateAreRepairedAndTheFirstReported)
{
    read();
    EXPECT_EQ(zelrun("costs 3 = 0>2 9 2>1 7;"),
              "WARNING - triangle inequality violated in some characters \n"
              "e.g. character 3, states 2, 0 and 1. Fixed.\n");
    EXPECT_EQ(costsof(3, 3), "0 1 2/1 0 1/1 2 0/");
}

TEST(Costs, AreRepairedUntilNoThirdStateShortensAChange)
{
    std::mt19937 rng(9);
    for (int trial = 0; trial < 60; ++trial) {
        read();
        int c = trial % 4;
        for (int a = 0; a < maxstate; ++a)
            for (int b = 0; b < maxstate; ++b) charcodes[c].costs[a][b] = a == b ? 0 : 1 + rng() % 30;
        long best[8][8];
        int n = charcodes[c].numstates;
        for (int a = 0; a < n; ++a)
            for (int b = 0; b < n; ++b) best[a][b] = charcodes[c].costs[a][b];
        for (int round = 0; round < n; ++round)                 // paths of one change more each time
            for (int a = 0; a < n; ++a)
                for (int b = 0; b < n; ++b)
                    for (int v = 0; v < n; ++v) best[a][b] = std::min<long>(best[a][b], best[a][v] + charcodes[c].costs[v][b]);
        charcodes[c].sankoff = charcodes[c].recalc = 1;
        chartables_reset();
        set_charcodes();
        for (int a = 0; a < n; ++a)
            for (int b = 0; b < n; ++b) EXPECT_EQ(charcodes[c].costs[a][b], best[a][b]);
        zelrun(";");
        EXPECT_EQ(zelrun("cstree -;"), "Character state trees are scored as wholes \n") << "nothing is left to repair";
    }
}

TEST(Costs, OfTwoStatesOrOfInactiveCharactersAreNotTested)
{
    fresh("nstates num 8;");
    readdata("xread 2 4 a 00 b 01 c 11 d 12;");
    EXPECT_EQ(zelrun("costs 0 = 0>1 500;"), "");
    EXPECT_EQ(zelrun("ccode ] 1; costs 1 = 0>2 500;"), "");
    EXPECT_TRUE(says(zelrun("ccode [ 1;"), "e.g. character 1, states 0, 1 and 2. Fixed.\n"));
}

TEST(Costs, KnowWhetherBothWaysCostTheSame)
{
    read();
    EXPECT_EQ(have_asymmetric, 0);
    zelrun("costs 1 = 0/1 2;");
    EXPECT_EQ(have_asymmetric, 0);
    EXPECT_EQ(charcodes[1].sankoff_kind, 0);
    zelrun("costs 1 = 0>1 1;");
    EXPECT_EQ(have_asymmetric, 1);
    EXPECT_EQ(charcodes[1].sankoff_kind, SANK_ASYMMETRIC);
    zelrun("ccode ] 1;");
    EXPECT_EQ(have_asymmetric, 0);
}

// --- Named step matrices ---

TEST(Stepmatrices, AreAppliedByNumberNameOrTheBeginningOfOne)
{
    read();
    zelrun("smatrix =0 (wings) 0>1 2; smatrix = 3 0>1 2 1>0 2;");
    EXPECT_FALSE(zelfailed());
    EXPECT_STREQ(stepmatrixname[3], "StepMatrix_3");
    EXPECT_EQ(charcodes[0].sankoff, 0);
    zelrun("smatrix +WIN 1;");
    EXPECT_EQ(costsof(1, 3), "0 2 1/1 0 1/1 1 0/");
    zelrun("smatrix + 3 1 2;");
    EXPECT_EQ(costsof(1, 3), "0 2 1/2 0 1/1 1 0/");
    EXPECT_EQ(costsof(2, 3), "0 2 1/2 0 1/1 1 0/");
    zelrun("smatrix +StepMatrix_3 3;");
    EXPECT_TRUE(charcodes[3].sankoff);
}

TEST(Stepmatrices, AnAmbiguousNameIsTheFirstWithAWarning)
{
    read();
    zelrun("smatrix =4 (abc) 0>1 2; smatrix =7 (abd) 0>2 2;");
    std::string said = zelrun("smatrix +ab 1;");
    EXPECT_FALSE(zelfailed());
    EXPECT_TRUE(says(said, "ab is an ambiguous abbreviation for a step matrix name\n\n  It will be applied to char. 1 as abc")) << said;
    EXPECT_EQ(costsof(1, 3), "0 2 1/1 0 1/1 1 0/");
    EXPECT_EQ(zelrun("smatrix +abd 2;"), "") << "a whole name is not ambiguous";
}

TEST(Stepmatrices, OutliveTheDataAndAreSavedAndReadBack)
{
    read("nstates num 16;");
    zelrun("smatrix =1 (first) 0>1 2 2/0 3; smatrix =31 1>0 4;");
    std::string saved = zelrun("smatrix *;");
    EXPECT_EQ(saved, "smatrix =1 (first) 0>1 2 0>2 3 1>0 1 1>2 1 2>0 3 2>1 1 ;\n"
                     "smatrix =31 (StepMatrix_31) 0>1 1 1>0 4 ;\n");
    std::string shown = zelrun("smatrix;");
    fresh("nstates num 16;");
    EXPECT_EQ(zelrun("smatrix;"), shown);
    std::fill(std::begin(defstepmat), std::end(defstepmat), uint8_t(0));
    EXPECT_EQ(zelrun("smatrix;"), "No step-matrices defined \n");
    readdata(MATRIX);
    readdata(saved);
    EXPECT_EQ(zelrun("smatrix *;"), saved);
    EXPECT_EQ(zelrun("smatrix;"), shown);
}

TEST(Stepmatrices, AreRefusedInTheirOwnWords)
{
    read();
    zelrun("smatrix =0 (one) 0>1 2;");
    const refusal all[] = {
        { "smatrix 3;", "Must use \"=N (name) costs;\" or \"+name chars.;\"" },
        { "smatrix =(x) 0>1 2;", "Must use \"=N (name) costs;\" or \"+name chars.;\"" },
        { "smatrix =0 (x ;", "Must use \"=N (name) costs;\" or \"+name chars.;\"" },
        { "smatrix +;", "Must use \"=N (name) costs;\" or \"+name chars.;\"" },
        { "smatrix =32 0>1 2;", "Can't have more than 32 step-matrices defined" },
        { "smatrix +1 0;", "No step-matrix number 1 has been defined" },
        { "smatrix +32 0;", "No step-matrix number 32 has been defined" },
        { "smatrix +one;", "Must specify character(s) to apply step-matrix" },
        { "smatrix +0 ;", "Must specify character(s) to apply step-matrix" },
        { "smatrix +two 1;", "two doesn't match any step-matrix name" },
        { "smatrix =0 0>9 1;", "Only states 0-7 allowed" },
    };
    expectrefusals(all);
    EXPECT_EQ(zelrun("smatrix *;"), "smatrix =0 (one) 0>1 2 1>0 1 ;\n");
    fresh();
}

// --- Ancestral states and user minima ---

TEST(Ancestralstates, AreThoseOfTheOutgroupOfTheMoment)
{
    read();
    EXPECT_EQ(zelrun("ancstates;"), "No characters with ancestral states \n");
    zelrun("ancstates 0 1; outgroup 3; ancstates 2.3;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(ancstates1[0], 1);
    EXPECT_EQ(ancstates1[1], 1);
    EXPECT_EQ(ancstates1[2], 2);
    EXPECT_EQ(ancstates1[3], 4);
    EXPECT_EQ(zelrun("ancstates - 0 3; ancstates;"), "Characters with ancestral states: \n 1 2\n");
    for (int t = 0; t < nt; ++t) EXPECT_EQ(matrix1[t][0], t == 0 || t == 4 ? 1 : t == 3 ? 8 : 1 << t) << "the matrix is as it was";
}

TEST(Userminima, AreUsedUntilCostsChange)
{
    read();
    zelrun("costs 0.2 = *3;");
    ASSERT_EQ(charcodes[0].minsteps, 9);
    ASSERT_EQ(charcodes[0].maxsteps, 9);
    ASSERT_EQ(charcodes[1].minsteps, 6);
    ASSERT_EQ(charcodes[1].maxsteps, 9);
    EXPECT_EQ(zelrun("usminmax 1.3 = 8;"), "User-minimum defined for 2 sankoff char(s)\n") << "3 is not Sankoff";
    EXPECT_EQ(charcodes[1].minsteps, 8);
    EXPECT_EQ(charcodes[2].minsteps, 8);
    EXPECT_EQ(charcodes[3].minsteps, 2);
    EXPECT_EQ(zelrun("usminmax;"), "Char. 0: minimum 9, maximum 9, states 0-3\n"
                                   "Char. 1: minimum 8 (set), maximum 9, states 0-2\n"
                                   "Char. 2: minimum 8 (set), maximum 9, states 0-2\n");
    zelrun("usminmax -1;");
    EXPECT_EQ(charcodes[1].minsteps, 6);
    zelrun("costs 2 = 0>1 3;");
    EXPECT_EQ(charcodes[2].minsteps, 6);
}

TEST(Userminima, AStateThatNoTaxonHasMayBeOnTheWay)
{
    read();
    zelrun("costs 1 = *6 3/? 2;");           // over state 3 all changes are 4
    EXPECT_EQ(charcodes[1].minsteps, 12);
    EXPECT_EQ(zelrun("usminmax 1 > 3;"), "WARNING - triangle inequality violated in some characters \n"
                                         "e.g. character 1, states 0, 3 and 1. Fixed.\n"
                                         "User-maximum defined for 1 sankoff char(s)\n");
    EXPECT_EQ(charcodes[1].numstates, 4);
    EXPECT_EQ(charcodes[1].minsteps, 6) << "2 from state 3 to each of 0, 1 and 2";
}

TEST(Userminima, AreRefusedInTheirOwnWords)
{
    read();
    zelrun("costs 0.2 = *3;");
    const refusal all[] = {
        { "usminmax 1 & 8;", "Character list must be followed by \"=\"" },
        { "usminmax 1;", "Character list must be followed by \"=\"" },
        { "usminmax = 8;", "Character list must be followed by \"=\"" },
        { "usminmax 1 = ;", "Must specify value of user minimum after \"=\"" },
        { "usminmax 1 = 9;", "Maximum possible steps for char. 1 is 9; a user minimum of 9 (or more) makes it \"uninformative\"" },
        { "usminmax 1 > 8;", "Cannot define maximum as 8 (maximum must be 0-7)" },
        { "usminmax 0 > 2;", "Cannot set maximum to 2 (number of states is 4)" },
    };
    expectrefusals(all);
    EXPECT_EQ(charcodes[1].minsteps, 6);
    fresh("nstates num 32;");
    readdata(MATRIX);
    zelrun("costs 0 = *3;");
    EXPECT_TRUE(says(zelrun("usminmax 0 > 32;"), "Cannot define maximum as 32 (maximum must be 0-31)"));
    fresh();
}

TEST(Costs, InTheDataFileAreWhatTheSettingsGoBackTo)
{
    fresh("nstates num 8;");
    readdata(std::string(MATRIX) + " costs 1 = 0/1 4 0/2 3 1/2 3; ancstates 2;");
    zelrun("costs 1 = *2; ccode - ) 1; ancstates -2; ccode !;");
    EXPECT_TRUE(charcodes[1].sankoff);
    EXPECT_EQ(costsof(1, 3), "0 4 3/4 0 3/3 3 0/");
    EXPECT_EQ(charcodes[2].aux_saved, 1);
    fresh();
}
