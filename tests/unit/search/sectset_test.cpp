#include "searchtest.h"
#include "search/sectdata.h"
#include "search/sectset.h"
#include "data/lists.h"
#include "kernel/progress.h"

static const sectsettings atstart = savesectsettings();

// Settings, and data of many taxa in memory, for one test.
class SectorSettings : public testing::Test {
protected:
    sectsettings saved = savesectsettings();
    void SetUp() override { putsectsettings(&atstart); }
    void TearDown() override
    {
        zelrun("sectsch: slack 0 xbuffer;");
        putsectsettings(&saved);
    }
    static void read(int taxa = 60)
    {
        std::mt19937 rng(901);
        use(plain::randommatrix(rng, taxa, 20));
    }
    static std::string fails(const std::string &commands)
    {
        std::string said = zelrun(commands);
        EXPECT_TRUE(zelfailed()) << commands;
        return said;
    }
    static void refuses(const std::string &commands, const std::string &why)
    {
        EXPECT_NE(fails(commands).find(why), std::string::npos) << commands << " -- " << zelrun(commands);
    }
};

TEST_F(SectorSettings, StartWithTheirDefaults)
{
    EXPECT_EQ(ss_type, SS_RANDOM);
    for (auto [value, wanted] : std::vector<std::pair<int, int>>{
             { ssminsize, 45 }, { ssmaxsize, 45 }, { ssgrowfactor, 100 }, { ssmaxsubfactor, 50 }, { maxnumusersels, 0 }, { ssmaxfailure, 0 },
             { ssminfork, 10 }, { ssmaxfork, 1000 }, { ssnumrounds, 3 }, { serial_xss_chunkbeg, 8 }, { serial_xss_chunkend, 12 },
             { serial_xss_numrounds, 2 }, { serial_xss_tbr_freq, 4 }, { serial_xss_use_even_sizes, 0 }, { xss_addroot, 0 },
             { ssglobaltbr, 10 }, { ss_large_globaltbr, 10 }, { sstakequals, 0 }, { num_fuses_all_starts, 0 }, { ssgotodrift, 75 },
             { ssdriftcycles, 6 }, { ssgotocomb, 0 }, { ssnumstarts, 3 }, { sscombstarts, 4 }, { ss_keepall, 1 }, { saferedsan, 1 },
             { mem_slack_for_sectors, 0 }, { use_sectsch_priv_buf, 1 }, { ss_maxrecurse, 0 }, { ss_dosingle_tree, -1 },
             { is_tracked_sectsch, 0 }, { use_user_ss_insts, 0 } })
        EXPECT_EQ(value, wanted);
    EXPECT_EQ(ssstopscore, 0);
}

TEST_F(SectorSettings, AreSetByTheirWords)
{
    zelrun("sectsch: css minsize 12 maxsize 20 increase 7 selfact 30 moveon 4 minfork 5 maxfork 50 rounds 9 xeven chkroot global 2"
           " dglobal 3 equals fuse 8 godrift 40 drift 2 gocomb 50 starts 6 combstarts 7 findscore 99.5 nokeepall nosafesank;");
    ASSERT_FALSE(zelfailed());
    for (auto [value, wanted] : std::vector<std::pair<int, int>>{
             { ss_type, SS_CONSTRAINED }, { ssminsize, 12 }, { ssmaxsize, 20 }, { ssgrowfactor, 7 }, { ssmaxsubfactor, 70 }, { ssmaxfailure, 4 },
             { ssminfork, 5 }, { ssmaxfork, 50 }, { ssnumrounds, 9 }, { serial_xss_use_even_sizes, 1 }, { xss_addroot, 1 }, { ssglobaltbr, 2 },
             { ss_large_globaltbr, 3 }, { sstakequals, 1 }, { num_fuses_all_starts, 8 }, { ssgotodrift, 40 }, { ssdriftcycles, 2 },
             { ssgotocomb, 50 }, { ssnumstarts, 6 }, { sscombstarts, 7 }, { ss_keepall, 0 }, { saferedsan, 0 } })
        EXPECT_EQ(value, wanted);
    EXPECT_EQ(ssstopscore, 99.5);
    zelrun("sectsch: rss noxeven nochkroot noglobal noequals nofuse nogocomb nofindscore keepall safesank;");
    ASSERT_FALSE(zelfailed());
    for (int value : { serial_xss_use_even_sizes, xss_addroot, ssglobaltbr, ss_large_globaltbr, sstakequals, num_fuses_all_starts, ssgotocomb })
        EXPECT_EQ(value, 0);
    EXPECT_EQ(ss_type, SS_RANDOM);
    EXPECT_EQ(ss_keepall + saferedsan, 2);
    EXPECT_EQ(ssstopscore, 0);
    zelrun("sectsch: dss 70 3;");
    EXPECT_EQ(ss_type, SS_DIAMETER);
    EXPECT_EQ(dss_center, 70);
    EXPECT_EQ(dss_diameter, 3);
}

// As menus write them.
TEST_F(SectorSettings, AreSetByAbbreviatedWords)
{
    zelrun("sec:minsi12maxsi20self30incr75minfo5god40drift2glob6dglob3rou9 xss 4-6+7 gocom50fuse8;");
    ASSERT_FALSE(zelfailed());
    for (auto [value, wanted] : std::vector<std::pair<int, int>>{
             { ssminsize, 12 }, { ssmaxsize, 20 }, { ssmaxsubfactor, 70 }, { ssgrowfactor, 75 }, { ssminfork, 5 }, { ssgotodrift, 40 },
             { ssdriftcycles, 2 }, { ssglobaltbr, 6 }, { ss_large_globaltbr, 3 }, { ssnumrounds, 9 }, { ss_type, SS_EXCLUSIVE },
             { serial_xss_chunkbeg, 4 }, { serial_xss_chunkend, 6 }, { serial_xss_numrounds, 7 }, { ssgotocomb, 50 }, { num_fuses_all_starts, 8 } })
        EXPECT_EQ(value, wanted);
}

TEST_F(SectorSettings, DivideByChunksRoundsAndGlobalSwaps)
{
    zelrun("sectsch: xss 5;");
    EXPECT_EQ(ss_type, SS_EXCLUSIVE);
    EXPECT_EQ(serial_xss_chunkbeg, 5);
    EXPECT_EQ(serial_xss_chunkend, 5);
    EXPECT_EQ(serial_xss_numrounds, 2);
    zelrun("sectsch: xss 4-9+7-3;");
    EXPECT_EQ(serial_xss_chunkbeg, 4);
    EXPECT_EQ(serial_xss_chunkend, 9);
    EXPECT_EQ(serial_xss_numrounds, 7);
    EXPECT_EQ(serial_xss_tbr_freq, 3);
    zelrun("sectsch: noxss;");
    EXPECT_EQ(ss_type, SS_RANDOM);
    zelrun("sectsch: css noxss;");
    EXPECT_EQ(ss_type, SS_CONSTRAINED);
}

TEST_F(SectorSettings, HaveLimits)
{
    for (auto [words, why] : std::vector<std::pair<std::string, std::string>>{
             { "minsize 4", "takes a number of 5 or more, not 4" }, { "maxsize 4", "takes a number of 5 or more, not 4" },
             { "minfork 1", "takes a number of 2 or more, not 1" }, { "maxfork 4", "takes a number of 5 or more, not 4" },
             { "minsize", "Option \"minsize\" requires a number" }, { "increase 101", "takes a number from 0 to 100, not 101" },
             { "selfact 100", "takes a number from 0 to 99" }, { "selfact =", "Option \"selfact\" requires a number" },
             { "xss 1", "Number of divisions must be 2-62" }, { "xss 63", "Number of divisions must be 2-62" },
             { "xss 3-63", "Number of divisions must be 2-62" }, { "xss 8+0", "Number of rounds for xss must be 1-10000" },
             { "xss 8+10001", "Number of rounds for xss must be 1-10000" }, { "xss 8+2-0", "Global TBR frequency must be 1 or more" },
             { "fuse 100", "Number of fuses for starts must be 0 - 99" }, { "slack 1001", "takes a number from 0 to 1000, not 1001" },
             { "dss", "Must specify center for DSS" }, { "dss 3", "Must specify diameter to use for DSS" },
             { "findscore", "Option \"findscore\" requires a number" }, { "nonsense", "Wrong argument for sectorial search: nonsense" },
             { "rss &", "Wrong argument for sectorial search: &" } })
        refuses("sectsch: " + words + ";", why);
    zelrun("sectsch: xss 2-62+10000-1 fuse 99 increase 100 selfact 99 minfork 2 maxfork 5 slack 1000;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(ssmaxsubfactor, 1);
    zelrun("sectsch: fuse 0 increase 0 selfact 0 xss 2+1;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(ssmaxsubfactor, 100);
}

TEST_F(SectorSettings, TakeNoLargerSizeThanThereAreTaxa)
{
    read(30);
    zelrun("sectsch: minsize 31 maxsize 400 minfork 77 maxfork 5000;");
    ASSERT_FALSE(zelfailed());
    for (int size : { ssminsize, ssmaxsize, ssminfork, ssmaxfork }) EXPECT_EQ(size, 30);
}

TEST_F(SectorSettings, RefuseASmallestSizeAboveTheLargest)
{
    read();
    zelrun("sectsch: minsize 20 maxsize 30;");
    refuses("sectsch: css minsize 25 maxsize 21;", "Min. size (set as 25) must be greater than or equal to max. size (set as 21)");
    EXPECT_EQ(ssminsize, 20);
    EXPECT_EQ(ssmaxsize, 30);
    EXPECT_EQ(ss_type, SS_RANDOM);
}

// 50 stays 50, and 60 taxa in sizes of 20 have 60 x 100 / (50 x 20) selections.
TEST_F(SectorSettings, TellTheNumberOfSelections)
{
    read();
    zelrun("sectsch: selfact 50;");
    EXPECT_EQ(ssmaxsubfactor, 50);
    EXPECT_EQ(selections_of_size(0, 20), 6);
    zelrun("sectsch: selfact = 20 10;");
    EXPECT_EQ(maxnumusersels, 2);
    EXPECT_EQ(selections_of_size(0, 20), 20);
    EXPECT_EQ(selections_of_size(1, 25), 10);
    EXPECT_EQ(selections_of_size(2, 20), 6);
    zelrun("sectsch: selfact 0;");
    EXPECT_EQ(maxnumusersels, 0);
    EXPECT_EQ(selections_of_size(0, 20), 3);
}

TEST_F(SectorSettings, HoldThirtyNumbersOfSelections)
{
    std::string words = "sectsch: selfact =";
    for (int i = 1; i <= 32; ++i) words += " " + std::to_string(i);
    EXPECT_NE(zelrun(words + ";").find("Can't define more than 30 numbers of selections\n(values above 30 will be identical to last one)"),
              std::string::npos);
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(maxnumusersels, 30);
    EXPECT_EQ(selections_of_size(29, 10), 30);
    EXPECT_EQ(selections_of_size(31, 10), 30);
}

TEST_F(SectorSettings, OfMemoryAreRefusedInARun)
{
    read();
    zelrun("mult 1;");
    refuses("sectsch= slack 3;", "Memory slack for sectors can't be changed with '=' --use ':' instead");
    refuses("sectsch= xbuffer;", "Usage of private buffer for sectors can't be changed with '=' --use ':' instead");
    refuses("sectsch= noxbuffer;", "Usage of private buffer for sectors can't be changed with '=' --use ':' instead");
    refuses("sectsch= recurse 0;", "Maximum recursion level can't be changed with '=' --use ':' instead");
    for (const char *words : { "slack 5", "xbuffer", "noxbuffer", "recurse 0" }) {
        zelrun("mult 1;");
        ASSERT_NE(schtag, 0);
        zelrun(std::string("sectsch: ") + words + ";");
        EXPECT_EQ(schtag, 0) << words;
    }
    EXPECT_EQ(mem_slack_for_sectors, 5);
}

TEST_F(SectorSettings, RaiseRecursionOnlyBeforeReadingData)
{
    zelrun("xwipe; sectsch: recurse 2;");
    EXPECT_EQ(ss_maxrecurse, 2);
    refuses("sectsch: recurse 21;", "takes a number from 0 to 20, not 21");
    read();
    refuses("sectsch: recurse 3;", "The level of recursion for sectorial searches\ncannot be increased after reading data...");
    zelrun("sectsch: recurse 1;");
    EXPECT_EQ(ss_maxrecurse, 1);
    refuses("sectsch: recurse 2;", "cannot be increased after reading data...");
    zelrun("sectsch: recurse 0;");
}

TEST_F(SectorSettings, AreShown)
{
    std::string said = zelrun("sectsch:;");
    EXPECT_NE(said.find("RSS: sizes from 45 to 45, growing by 100%\n     * RSS: selection factor 50\n"), std::string::npos) << said;
    EXPECT_NE(said.find("XSS: from 8 to 12 chunks in 2 rounds, global TBR every 4 rounds\n"), std::string::npos) << said;
    said = zelrun("sectsch: noglobal equals fuse 3 gocomb 60 findscore 12 selfact = 3 4 nokeepall; sectsch:;");
    for (const char *line : { "selections for each size: 3 4", "(never) (small", "(never) (large", "* accept equally", "only the best", "fused in 3 rounds",
                              "from size 60: combined", "stop at score 12" })
        EXPECT_NE(said.find(line), std::string::npos) << line << "\n" << said;
}

TEST_F(SectorSettings, AreKeptAndPutBackTogether)
{
    zelrun("sectsch: xss 3-4+5-6 minsize 10 selfact = 4 5 findscore 3;");
    sectsettings these = savesectsettings();
    {
        keepsectsettings guard;
        putsectsettings(&atstart);
        EXPECT_EQ(maxnumusersels, 0);
    }
    EXPECT_EQ(memcmp(these.numbers, savesectsettings().numbers, sizeof these.numbers), 0);
    EXPECT_EQ(numusersels[1], 5);
    EXPECT_EQ(ssstopscore, 3);
}

// --- instructions -------------------------------------------------------------------------

TEST_F(SectorSettings, TakeInstructionsWithoutComments)
{
    read();
    zelrun("sectsch: [ mult\n  5 ; /* all, and more */ bbreak ; sectsch = [ mult 1 ; ] ; ];");
    ASSERT_FALSE(zelfailed());
    EXPECT_STREQ(user_ss_insts, "mult 5 ; bbreak ; sectsch = [ mult 1 ; ] ;");
    EXPECT_EQ(use_user_ss_insts, 0);                     // they are for one run
}

// Brackets come in pairs, but for the commands of which they are signs.
TEST_F(SectorSettings, TakeBracketsThatAreSignsIntoInstructions)
{
    read();
    for (const char *text : { "ccode [ 0; mult;", "ccode ] 0; mult", "cco -] 0; mult", "collapse [; mult;", "collapse ]; mult;", "force ]; bbreak",
                              "rseed ];", "if ( 1 > 0 ) ccode ] 3; end", "force + [1 2 3] + [4 5]; mult", "mult; ccode ]0",
                              "sectsch = [ ccode ] 3; mult; ]; bbreak", "sectsch = [ sectsch = [ collapse ]; ]; mult; ]", "quote ] done; mult" }) {
        std::string wanted = text;
        bool open = wanted == "mult; ccode ]0";          // the sign is the last bracket: the text goes on
        std::string said = zelrun("sectsch: starts 3;sectsch: [ " + wanted + (open ? "; " : "") + " ] starts 4;");
        EXPECT_FALSE(zelfailed()) << text << said;
        EXPECT_EQ(std::string(user_ss_insts), open ? wanted + ";" : wanted) << text;
        EXPECT_EQ(ssnumstarts, 4) << text;
    }
}

// What stands for something else does so when the commands run, not when they are read.
TEST_F(SectorSettings, TakeInstructionsAsTheyStandUnderMacros)
{
    read();
    zelrun("macro=;");
    ASSERT_FALSE(zelfailed());
    const std::string text = "set 0 3; quote #1 '0' $taxon 2, more; mult;";
    std::string said = zelrun("set 0 7;loop 5 5 sectsch: [" + text + "]; stop");
    EXPECT_FALSE(zelfailed()) << said;
    EXPECT_EQ(std::string(user_ss_insts), text);
    zelrun("quote value '0';");
    EXPECT_FALSE(zelfailed());
    EXPECT_NE(zelrun("quote value '0';").find("value 7"), std::string::npos) << "values stand for something again";
    zelrun("macro-;");
}

TEST_F(SectorSettings, RefuseInstructionsForDataThatSectorsCannotHold)
{
    read();
    struct linked {                                      // one complex of linked characters
        const charcomplexes one = { [] { return 1; }, [](int, int) { return false; } }, *was = complexes;
        linked() { complexes = &one; }
        ~linked() { complexes = was; }
    };
    {
        linked now;
        refuses("sectsch: [mult 1;];", "With character links defined, can't run user-defined routines");
    }
    jaking = 1;
    std::string said = zelrun("sectsch: [mult 1;];");
    jaking = 0;
    EXPECT_NE(said.find("Data are permuted: can't run user-defined routines"), std::string::npos) << said;
    actlandnc = 1;
    said = zelrun("sectsch: [mult 1;];");
    actlandnc = 0;
    EXPECT_NE(said.find("Sorry, user instructions for sectors can't be used for landmark data"), std::string::npos) << said;
    zelrun("mult 1;");
    {
        linked now;
        refuses("sectsch = dss 3 3 tree 0;", "With character links defined, can't run the DSS option ");
        have_asym_nuclei = 1;
        refuses("sectsch = xss;", "Can't run the XSS option with character links that imply asymmetric costs");
        have_asym_nuclei = 0;
        zelrun("sectsch = xss;");
        EXPECT_FALSE(zelfailed());
        EXPECT_EQ(sectsch_priv_bufsize, 0) << "sectors have no rows of their own";
    }
    zelrun("sectsch = xss;");
    EXPECT_GT(sectsch_priv_bufsize, 0);
}

TEST_F(SectorSettings, RefuseInstructionsThatAreTooLong)
{
    read();
    refuses("sectsch: [" + std::string(1025, 'x') + "];", "Sorry, string for sectors can't exceed 1024 bytes\n(place instructions in a file)");
    zelrun("sectsch: [" + std::string(1024, 'x') + "];");
    EXPECT_FALSE(zelfailed());
}

TEST_F(SectorSettings, RefuseInstructionsWithoutAnEnd)
{
    read();
    refuses("procedure " + writefile("open.run", "sectsch: [ mult 1; /* never closed ];\nprocedure/;\n") + ";", "Unfinished comment in instructions for sectorial searches");
    refuses("procedure " + writefile("open.run", "sectsch: [ mult 1; \nprocedure/;\n") + ";", "Instructions for sectorial searches must end with ']'");
    refuses("sectsch: [ ];", "Cannot repeat instructions for sectorial search from level 0");
}

// --- the command --------------------------------------------------------------------------

TEST_F(SectorSettings, CommandRefusesWhatItCannotRun)
{
    zelrun("xwipe;");
    refuses("sectsch;", "Must read data before searching");
    read();
    refuses("sectsch;", "Tree(s) are required");
    zelrun("mult 1;");
    refuses("sectsch &;", "Wrong argument for sectorial search: &");
    refuses("sectsch x;", "Wrong argument for sectorial search: x");
    refuses("sectsch 77;", "No tree number 77");
    refuses("sectsch = tree 77;", "No tree number 77");
    refuses("sectsch 0 : rss;", "Wrong argument for sectorial search: :");
    refuses("sectsch = css;", "Constraint-based sectorial searches require constraints ON");
    refuses("sectsch = dss 3 3;", "DSS requires specification of a single tree");
    refuses("sectsch = dss 119 3 tree 0;", "No node 119 in tree");
    refuses("sectsch = rss track;", "The \"track\" option requires user-instructions for each sector...");
    refuses("sectsch = track [mult 1;];", "The \"track\" option works only for a single tree: \"sectsch = track tree N\".");
    EXPECT_EQ(ss_dosingle_tree, -1);
    EXPECT_EQ(is_tracked_sectsch, 0);
    zelrun("force + [1 2 3]; constrain=; mult 1; sectsch: css;");
    refuses("sectsch;", "Can't run constrained sectorial searches without tree constraints");
    zelrun("constrain-;");
    refuses("sectsch;", "Constraint-based sectorial searches require constraints ON");
    zelrun("force];");
}
