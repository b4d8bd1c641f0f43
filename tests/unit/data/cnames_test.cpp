// Names of characters, states and blocks: defined, changed, shown, saved and read back.
#include "datatest.h"
#include "data/charnames.h"
#include "data/lists.h"
#include "kernel/driver.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "trees/treebuf.h"
#include <cstring>

namespace {
constexpr char MATRIX[] = "xread 6 5 A 000011 B 011100 C 111201 D 110211 E 100200 ; ";

void data(const std::string &settings = "")
{
    fresh("nstates num 8; nstates nogaps; cnames -;");
    readdata(MATRIX + settings + "\nproc/;\n");
    ASSERT_EQ(nc, 6);
}

// All names there are, one character a line.
std::string names()
{
    std::string all;
    for (int c = 0; charnames && c < nc; ++c) {
        if (!charnames[c]) continue;
        all += std::to_string(c) + "=" + charnames[c];
        for (int s = 0; statenames && statenames[c] && s < maxstate && statenames[c][s]; ++s)
            all += std::string("/") + statenames[c][s];
        all += "\n";
    }
    for (int b = 0; blockname && b <= nblocks; ++b) all += "[" + std::string(blockname[b]) + "]";
    return all;
}

std::string settings()
{
    std::string all;
    for (int c = 0; c < nc; ++c) {
        const charrec &r = charcodes[c];
        all += std::string(r.sankoff ? "(" : r.additive ? "+" : "-") + (r.active ? "[" : "]") + std::to_string(r.weight) +
               "@" + std::to_string(r.block) + " ";
    }
    for (int t = 0; t < nt; ++t) all += taxact[t] ? '1' : '0';
    return all;
}

void refused(const std::string &command, const std::string &words)
{
    std::string before = names(), said = zelrun(command);
    EXPECT_TRUE(zelfailed()) << command;
    EXPECT_TRUE(says(said, words)) << command << "\n" << said;
    EXPECT_EQ(names(), before) << command;
}

std::string printed(int c, int t)
{
    writestates(c, t);
    spewjn();
    return zelrun("");
}
}

TEST(Cnames, NamesCharactersAndTheirStates)
{
    data();
    zelrun("cnames {0 wings absent present ; {2 legs ; {3 tail none short long ; ;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(names(), "0=wings/absent/present\n2=legs\n3=tail/none/short/long\n");
    EXPECT_NE(cnamestag, 0);
}

TEST(Cnames, InAFileGoOverLines)
{
    data("cnames\n{0 wings\nabsent present\n;\n{1 a^b c^d ;\n;\n");
    EXPECT_EQ(names(), "0=wings/absent/present\n1=a b/c d\n");
}

TEST(Cnames, OfOtherCharactersStay)
{
    data();
    zelrun("cnames {0 wings absent present ; {1 legs few many ; ;");
    zelrun("cnames {1 feet ; {4 eyes ; {4 ears ; ;");
    EXPECT_EQ(names(), "0=wings/absent/present\n1=feet\n4=ears\n");
}

TEST(Cnames, AFailureChangesNothing)
{
    data();
    zelrun("cnames {0 wings absent present ; ;");
    refused("cnames {0 arms ; {6 none ; ;", "No character number 6");
    refused("cnames {1 ; ;", "Must give name for character 1");
    refused("cnames {x y ; ;", "No character number x");
    refused("cnames {1 x 0 1 2 3 4 5 6 7 8 ; ;", "Cannot name more than 8 states with present settings");
    refused("cnames {1 " + std::string(MAXCHARNAME + 1, 'x') + " ; ;", "Name too long");
    refused("cnames ( ;", "Wrong argument for cnames : '('");
    refused("cnames [0 x ; ;", "Can't rename block 0 (\"ALL\")");
    refused("cnames [2 x ; ;", "Can't name block 2 - only 0 blocks read!");
    zelrun("xwipe;");
    refused("cnames {0 x ; ;", "Must read data before naming characters");
}

TEST(Cnames, AsManyStatesAsCellsHaveRoomFor)
{
    data();
    zelrun("cnames {1 x 0 1 2 3 4 5 6 7 ; ;");
    EXPECT_EQ(names(), "1=x/0/1/2/3/4/5/6/7\n");
}

TEST(Cnames, ContinuousCharactersHaveNoStates)
{
    fresh("nstates 32;");
    readdata("xread 3 4\n&[continuous]\nA 1.5\nB 2.5\nC 3\nD 4\n&[num]\nA 00\nB 01\nC 11\nD 10\n; proc/;");
    ASSERT_EQ(nc, 3) << cellsastext();
    zelrun("cnames {0 length ; {1 tail no yes ; ;");
    EXPECT_EQ(names(), "0=length\n1=tail/no/yes\n");
    refused("cnames {0 length small large ; ;", "Cannot name states for continuous characters");
    fresh();
}

TEST(Cnames, LandmarkConfigurationsNameTheirLandmarks)
{
    data();
    charcodes[1].type = DATA_LAND;
    charcodes[1].numstates = 10;
    EXPECT_TRUE(safecall([] {
        begin_charnames();
        define_charname(1, { "skull", "0", "1", "2", "3", "4", "5", "6", "7", "8", "9" });
        end_charnames();
    }));
    EXPECT_STREQ(statenames[1][9], "9");
    EXPECT_FALSE(safecall([] {
        begin_charnames();
        define_charname(1, { "skull", "0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "10" });
    }));
    charcodes[1].type = DATA_NUM;
    std::string said = zelrun("xwipe;");
    EXPECT_TRUE(says(said, "Landmark configuration 1 (skull) has only 10 landmarks")) << said;
}

TEST(Cnames, AreChangedInPlaceOrAnew)
{
    data();
    refused("cnames +0 x ; ;", "Must name characters before renaming");
    zelrun("cnames {0 wings absent present ; {1 legs few many ; ;");
    zelrun("cnames +0 arm no ; outgroup 2;");
    EXPECT_EQ(outgroup, 2);
    EXPECT_EQ(names(), "0=arm/no/present\n1=legs/few/many\n");
    zelrun("cnames {4 tail ; +leg number_of_legs ; +1 number_of_legs very_few very_many countless ; +4 new ; ;");
    EXPECT_EQ(names(), "0=arm/no/present\n1=number_of_legs/very_few/very_many/countless\n4=new\n");
    refused("cnames +0 ; ;", "Must specify new character/state name(s)");
    refused("cnames +tail x ; ;", "No character named tail");
    refused("cnames +6 x ; ;", "No character number 6");
    refused("cnames + ; ;", "No character number");
    refused("cnames +0 " + std::string(MAXCHARNAME + 1, 'x') + " ; ;", "New name(s) too long");
}

TEST(Cnames, NeedMemoryToBeChanged)
{
    data();
    int tag = 0;
    loram(vailram() - 5000);
    lockram(&tag);                                         // the names come above, and have little room
    std::string name(300, 'y'), nine;
    for (int i = 0; i < 9; ++i) nine += name + " ";
    zelrun("cnames {0 wings ; ;");
    refused("cnames +0 " + nine + "; ;", "Not enough RAM to rename character");
    refused("cnames {0 " + nine + "; ;", "out of ram");
    zelrun("cnames +0 w ; ;");
    EXPECT_EQ(names(), "0=w\n");
    zelrun("cnames < ;");
    freelock(&tag);
}

TEST(Cnames, OfBlocks)
{
    data("blocks 0 2 4 ;");
    zelrun("cnames [2 molecules ; {@2 1 fourth no yes ; {@mol 0 third ; ;");
    EXPECT_EQ(names(), "");
    zelrun("cnames [2 molecules ; ;");
    EXPECT_EQ(names(), "[all][Block_1][molecules][Block_3]");
    zelrun("cnames {@2 1 fourth no yes ; {@mol 0 third ; {@0 5 last ; [1 form of^body ; ;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(names(), "2=third\n3=fourth/no/yes\n5=last\n[all][form of body][molecules][Block_3]");
    refused("cnames {@2 2 x ; ;", "No character number 2 in block 2");
    refused("cnames {@2 1 ; ;", "Must give name for character 1 of block 2");
    refused("cnames {@4 1 x ; ;", "Only valid blocks are 0 - 3");
    refused("cnames [2 ; ;", "Must give name for block 2");
    refused("cnames [4 x ; ;", "Can't name block 4 - only 3 blocks read!");
    zelrun("cnames < ;");
    EXPECT_EQ(names(), "[all][form of body][molecules][Block_3]");
}

TEST(Cnames, ALoneSignTogglesTheirUse)
{
    data();
    EXPECT_EQ(zelrun("cnames = ;"), "Char. names is ON \n");
    EXPECT_EQ(use_charnames, 1);
    EXPECT_EQ(zelrun("cnames - ;"), "Char. names is OFF \n");
    EXPECT_EQ(use_charnames, 0);
}

TEST(Cnames, AreListed)
{
    data();
    EXPECT_EQ(zelrun("cnames ;"), "No character names defined \n");
    zelrun("cnames {0 wings absent present ; {3 tail ; ;");
    EXPECT_EQ(zelrun("cnames ;"), "0 wings: 0 absent, 1 present\n3 tail\n");
}

TEST(Cnames, AreListedInLinesOfAScreen)
{
    data();
    std::string x(30, 'x'), y(30, 'y'), whole(200, 'z'), accents;
    for (int i = 0; i < 14; ++i) accents += "\xc3\xa9";
    zelrun("cnames {0 " + x + " " + y + " " + accents + " e ; {1 " + whole + " " + x + " ; ;");
    EXPECT_EQ(zelrun("cnames ;"), "0 " + x + ": 0 " + y + ",\n    1 " + accents + ", 2 e\n1 " + whole + ":\n    0 " + x + "\n");
    zelrun("cnames < ; cnames {0 " + x + " " + y + " 123456789 ; {1 " + x + " " + y + " 1234567890 ; ;");
    EXPECT_EQ(zelrun("cnames ;"), "0 " + x + ": 0 " + y + ", 1 123456789\n" + "1 " + x + ": 0 " + y + ",\n    1 1234567890\n") << "79 columns";
}

TEST(Cnames, AreGivenByNumberWhereThereAreNone)
{
    data();
    zelrun("cnames {1 legs ; ; cnames & ;");
    EXPECT_EQ(names(), "0=char_0/state_0/state_1\n1=legs\n2=char_2/state_0/state_1\n"
                       "3=char_3/state_0/state_1/state_2\n4=char_4/state_0/state_1\n5=char_5/state_0/state_1\n");
}

TEST(Cnames, AreUndefinedOnceConfirmed)
{
    data();
    zelrun("cnames {1 legs few many ; ;");
    std::string said = zelrun("cnames < ;");
    EXPECT_TRUE(says(said, "Please confirm that you want to undefine all character names")) << said;
    EXPECT_EQ(charnames, nullptr);
    EXPECT_EQ(statenames, nullptr);
    EXPECT_EQ(cnamestag, 0);
}

TEST(Cnames, WithBracesAreWarnedOfOnce)
{
    data();
    std::string said = zelrun("cnames {0 wings absent {1 legs ; {2 x} ; ;");
    std::string words = "The use of braces (\"{\" or \"}\") in state names is strongly discouraged.";
    ASSERT_TRUE(says(said, words)) << said;
    EXPECT_EQ(said.find(words, said.find(words) + 1), std::string::npos);
    EXPECT_EQ(names(), "0=wings/absent/{1/legs\n2=x}\n");
}

TEST(Cnames, ChangedWithConstraintsDiscardThem)
{
    data();
    loram(8);
    lockram(&consttag);
    std::string said = zelrun("cnames {0 wings ; ;");
    EXPECT_TRUE(says(said, "Constraints will have to be redefined if character names are modified")) << said;
    EXPECT_EQ(consttag, 0);
    EXPECT_EQ(names(), "0=wings\n");
}

TEST(Cnames, SavedReadBackAsTheyWere)
{
    data("blocks 0 2 4 ; cnames\n"
         "{0 wings,_or_arms absent (present)? ;\n{1 \xc3\xa1ngulo^agudo S\xc3\xad no ;\n"
         "{2 'quoted' \"a\" [b] ;\n{4 5 - + ;\n{5 ^ * = ;\n[2 mol^ecules ;\n[3 @x ;\n;\n ccode ] 1 ;");
    std::string before = names();
    ASSERT_TRUE(says(before, "1=\xc3\xa1ngulo agudo/S\xc3\xad/no\n")) << before;
    ASSERT_TRUE(says(before, "5= /*/=\n")) << before;
    for (const char *how : { "*", "!" }) {
        std::string log = tempdir() + "/names.log";
        zelrun("log " + log + "; silent=console; cnames" + how + "; silent-console; log/;");
        std::string saved = readfile(log);
        saved = saved.substr(saved.find("cnames\n"));
        data("blocks 0 2 4 ;\n" + saved);
        std::string expected = before, inactive = "1=\xc3\xa1ngulo agudo/S\xc3\xad/no\n";
        if (*how == '!') expected.erase(expected.find(inactive), inactive.size());
        EXPECT_EQ(names(), expected) << saved;
        zelrun(saved + "ccode ] 1;");
        EXPECT_FALSE(zelfailed()) << saved;                // typed, commas are no semicolons in names
        EXPECT_EQ(names(), expected);
        if (*how == '*') data("blocks 0 2 4 ; ccode ] 1 ;" + saved);
    }
}

TEST(Cnames, ThatNoWordCanHoldAreMended)
{
    data();
    begin_charnames();
    define_charname(0, { "a;b^c\td", "", "x" });
    define_charname(1, { "" });
    end_charnames();
    EXPECT_EQ(names(), "0=a_b_c_d/0/x\n1=char_1\n");
}

TEST(Cnames, SurviveMoreOrLessRoomForTrees)
{
    data("blocks 0 3 ; cnames {0 wings absent present ; {3 tail none short long ; [2 second ; ;");
    std::string before = names();
    zelrun("hold 150; ");
    EXPECT_EQ(maxtrees, 150);
    EXPECT_EQ(names(), before);
    zelrun("cnames {1 legs ; ; hold 1; tread (0 (1 (2 (3 4))))*(0 (2 (1 (3 4)))) ;");
    EXPECT_EQ(trees_in_mem, 2);
    EXPECT_EQ(names(), "0=wings/absent/present\n1=legs\n3=tail/none/short/long\n[all][Block_1][second]");
    zelrun("ccode + 3; taxcode -4; cnames +1 many_legs ; ; ");
    EXPECT_EQ(names(), "0=wings/absent/present\n1=many_legs\n3=tail/none/short/long\n[all][Block_1][second]");
    zelrun("hold 100;");
}

TEST(Cnames, GoWithTheData)
{
    data("cnames {0 wings absent present ; ;");
    data();
    EXPECT_EQ(charnames, nullptr);
    EXPECT_EQ(cnamestag, 0);
    EXPECT_EQ(zelrun("cnames;"), "No character names defined \n");
}

TEST(Cnames, OfStatesAreWrittenForThem)
{
    data("cnames {3 tail none short ; ;");
    EXPECT_EQ(printed(3, 1), "1");
    zelrun("cnames =;");
    EXPECT_EQ(printed(3, 1), "short");
    EXPECT_EQ(printed(3, 2), "2");
    EXPECT_EQ(printed(0, 2), "1");
    zelrun("cnames -;");
}

TEST(Cnames, StandForCharactersInLists)
{
    data("cnames {0 wing_length ; {1 leg ; {5 wing_colour ; ;");
    uint8_t list[6];
    push_text_level("list", "wing - :col", " ;;", 4096);
    EXPECT_EQ(read_scope(list, 0, nc, "character", charnames), 2);
    inpurge();
    EXPECT_EQ(list[0], LISTED);
    EXPECT_EQ(list[1], 0);
    EXPECT_EQ(list[5], UNLISTED);
}

TEST(Cnames, OfStatesFollowWhenStatesAreClosedUp)
{
    // Character 3: state 1 in one taxon only.
    data("cnames {3 tail none short long ; ;");
    ASSERT_EQ(names(), "3=tail/none/short/long\n");
    fresh("nstates num 8;");
    readdata("xread 1 5 A 0 B 1 C 2 D 2 E 0 ; cnames {0 tail none short long ; ; nstates min; proc/;");
    EXPECT_EQ(names(), "0=tail/none/long\n");
}

TEST(Cnames, AreFoundWholeOrByTheirBeginning)
{
    data("cnames {0 wings ; {1 wing ; {2 Leg ; ;");
    EXPECT_EQ(find_charname("wing"), 1);
    EXPECT_EQ(find_charname("win"), 0);
    EXPECT_EQ(find_charname("leg"), 2);
    EXPECT_EQ(find_charname("arm"), -1);
    EXPECT_EQ(find_charname(""), -1);
}

TEST(Cnames, OfFilesOfOtherSystemsAreReadAsTheyStand)
{
    data("cnames\r\n{0 \twings  absent\tpresent;\r\n\r\n{1 legs\r\n  few\r\n  many (4_or_more);\r\n"
         "{3 tail/hind_end 0: 1% <2 ;\r\n;\r\n ccode + 3 ; outgroup 1;\r\n");
    EXPECT_EQ(names(), "0=wings/absent/present\n1=legs/few/many/(4_or_more)\n3=tail/hind_end/0:/1%/<2\n");
    EXPECT_TRUE(charcodes[3].additive);
    EXPECT_EQ(outgroup, 1);
}

// Settings, blocks and names of matrices as they are found, saved as commands and read again.
TEST(Cnames, WithSettingsOfRealMatricesReadBackAsTheyWere)
{
    std::string folder = datafile("formats-native");
    if (folder.empty()) GTEST_SKIP() << "the shared data are absent";
    for (const char *set : { "formats-native/native_blocks_num_dna.xread", "formats-native/native_thirty_two_states.xread",
                             "continuous/anolis_continuous.xread", "morph-step/Seiffert_etal_2010a.xread",
                             "morph-stats/Yates_2007a.xread", "sequences/chloroplast_aa.xread" }) {
        fresh();
        std::string read = "xwipe; silent=all; p " + datafile(set) + "; silent-all;";
        zelrun(read);
        ASSERT_FALSE(zelfailed()) << set;
        std::string command = "blocks";
        for (int c = 0; c < nc; c += 1 + nc / 7) command += " " + std::to_string(c);
        zelrun(command + "; cnames & ; cnames [2 second^one ; ; cnames +0 first ;");
        std::string before = names(), codes = settings(), log = tempdir() + "/real.log";
        ASSERT_TRUE(says(before, "0=first")) << set;
        zelrun("log " + log + "; silent=console; blocks*; cnames*; taxcode*; silent-console; log/;");
        std::string saved = readfile(log);
        std::string said = zelrun(read + "p " + writefile("real.cmd", saved.substr(saved.find("blocks 0")) + "\nproc/;\n") + ";");
        EXPECT_FALSE(zelfailed()) << set << "\n" << said;
        EXPECT_EQ(names(), before) << set;
        EXPECT_EQ(settings(), codes) << set;
    }
    fresh("taxname +32; nstates num 16; nstates nogaps;");   // some of them allow longer names
}

TEST(Cnames, OfManyCharacters)
{
    constexpr int MANY = 20000;
    fresh("nstates num 8;");
    std::string text = "xread " + std::to_string(MANY) + " 4\n";
    for (char t : { 'A', 'B', 'C', 'D' }) text += std::string(1, t) + " " + std::string(MANY, t > 'B' ? '1' : '0') + "\n";
    text += ";\ncnames\n";
    for (int c = 0; c < MANY; ++c) text += "{" + std::to_string(c) + " name_" + std::to_string(c) + " no yes ;\n";
    readdata(text + ";\nproc/;\n");
    ASSERT_FALSE(zelfailed());
    for (int c = 0; c < MANY; c += 997) {
        EXPECT_EQ(charnames[c], "name_" + std::to_string(c));
        EXPECT_STREQ(statenames[c][1], "yes");
    }
    fresh();
}
