// Groups of taxa and characters: what definitions select, what they refuse, what is saved reads back.
#include "zeltest.h"
#include "data/groups.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/input.h"
#include <algorithm>
#include <cstring>
#include <set>
#include <sstream>

namespace {
using members = std::set<int>;

members of(const char *kind, int g)
{
    checknamedgroups();
    const groupfamily *f = familyof(kind);
    members m;
    for (int i = 0; i < f->elements(); ++i)
        if (isingroup(f, i, g)) m.insert(i);
    return m;
}
members taxa(int g)  { return of("taxon", g); }
members chars(int g) { return of("character", g); }

members span(int from, int to, int step = 1)
{
    members m;
    for (int i = from; i <= to; i += step) m.insert(i);
    return m;
}

void data(int taxa = 12, int characters = 10)
{
    std::string text = "xread " + std::to_string(characters) + " " + std::to_string(taxa) + "\n";
    for (int t = 0; t < taxa; ++t) text += "T" + std::to_string(t) + "x " + std::string(size_t(characters), char('0' + t % 3)) + "\n";
    zelrun("silent=all; proc " + writefile("groups.zel", text + "; proc/;\n") + "; silent-all;");
    ASSERT_EQ(nt, taxa);
}

// Continuous characters need cells of the greatest width.
struct wide {
    wide()  { zelrun("silent=all; xwipe; nstates 32; silent-all;"); }
    ~wide() { zelrun("silent=all; xwipe; nstates 16; silent-all;"); }
};

std::string firstline(const std::string &text) { return text.substr(0, text.find('\n') + 1); }

void refused(const std::string &command, const std::string &says)
{
    std::vector<uint32_t> before(taxgroup, taxgroup + nt), charsbefore(chargroup, chargroup + nc);
    uint32_t defined = taxgroupdef, charsdefined = chargroupdef;
    EXPECT_EQ(firstline(zelrun(command)), says) << command;
    EXPECT_TRUE(std::equal(before.begin(), before.end(), taxgroup)) << command;
    EXPECT_TRUE(std::equal(charsbefore.begin(), charsbefore.end(), chargroup)) << command;
    EXPECT_EQ(taxgroupdef, defined) << command;
    EXPECT_EQ(chargroupdef, charsdefined) << command;
}
}

TEST(Groups, AreMadeAddedToAndRemovedFrom)
{
    data();
    zelrun("agroup =3 (some) 0.4 7;");
    EXPECT_EQ(taxa(3), (members{ 0, 1, 2, 3, 4, 7 }));
    EXPECT_STREQ(taxgroupname[3], "some");
    zelrun("agroup >3 9. <3 (few) 0 2.3;");
    EXPECT_EQ(taxa(3), (members{ 1, 4, 7, 9, 10, 11 }));
    EXPECT_STREQ(taxgroupname[3], "few");
    zelrun("agroup =3 5 - 5 + 6 =31 {3} t11 >30 2;");
    EXPECT_EQ(taxa(3), members{ 6 });
    EXPECT_STREQ(taxgroupname[3], "few");
    EXPECT_EQ(taxa(31), (members{ 6, 11 }));
    EXPECT_EQ(taxa(30), members{ 2 });
    zelrun("agroup =3;");
    EXPECT_EQ(taxa(3), members());
    EXPECT_TRUE(isgroup(familyof("taxon"), 3));
    zelrun("xgroup =0 (two^words) . - 3;");
    EXPECT_STREQ(chargroupname[0], "two words");
    zelrun("xgroup =1 {two^w};");
    EXPECT_EQ(chars(1), (members{ 0, 1, 2, 4, 5, 6, 7, 8, 9 }));
}

TEST(Groups, TakeEveryZthOfARange)
{
    data();
    zelrun("agroup =0 1.9/3 =1 ./5 =2 10.4/2 =3 0.2/9 7 =4 . - 0.8/4 =5 6./2;");
    EXPECT_EQ(taxa(0), span(1, 9, 3));
    EXPECT_EQ(taxa(1), span(0, 11, 5));
    EXPECT_EQ(taxa(2), span(4, 10, 2));
    EXPECT_EQ(taxa(3), (members{ 0, 7 }));
    EXPECT_EQ(taxa(4), (members{ 1, 2, 3, 5, 6, 7, 9, 10, 11 }));
    EXPECT_EQ(taxa(5), (members{ 6, 8, 10 }));
    refused("agroup =6 0.9/0;", "Zap must be > 0 \n");
    refused("agroup =6 0.9/;", "Zap must be > 0 \n");
}

TEST(Groups, OfRandomElementsDependOnTheSeed)
{
    data(40);
    std::set<members> drawn;
    for (int seed = 1; seed <= 20; ++seed) {
        zelrun("silent=all; rseed " + std::to_string(seed) + "; agroup =1 (x) *3; silent-all;");
        members once = taxa(1);
        EXPECT_EQ(once.size(), 3u);
        zelrun("agroup =1 *3;");
        EXPECT_EQ(taxa(1), once);
        drawn.insert(once);
    }
    EXPECT_GT(drawn.size(), 10u);
    zelrun("silent=all; rseed 1; silent-all;");
}

TEST(Groups, OfRandomElementsDrawAllAlike)
{
    data();
    int times[12] = {};
    for (int seed = 1; seed <= 600; ++seed) {
        zelrun("silent=all; rseed " + std::to_string(seed) + "; agroup =1 *4; silent-all;");
        for (int t : taxa(1)) ++times[t];
    }
    zelrun("silent=all; rseed 1; silent-all;");
    for (int t = 0; t < 12; ++t) EXPECT_NEAR(times[t], 200, 60) << t;      // five standard deviations
}

TEST(Groups, DrawRandomElementsFromTheRemainingOnes)
{
    data();
    zelrun("agroup =0 0.9 *2;");
    EXPECT_EQ(taxa(0), span(0, 11));
    zelrun("agroup =0 0.5 - 8 + *5;");               // 8 was taken out by name
    EXPECT_EQ(taxa(0), (members{ 0, 1, 2, 3, 4, 5, 6, 7, 9, 10, 11 }));
    zelrun("agroup =0 0.5 - *4;");                   // four of the list go
    members two = taxa(0);
    EXPECT_EQ(two.size(), 2u);
    EXPECT_LE(*two.rbegin(), 5);
    zelrun("agroup =0 0.5 >0 *6;");
    EXPECT_EQ(taxa(0), span(0, 11));
    zelrun("agroup =0 0.5 <0 *4;");
    two = taxa(0);
    EXPECT_EQ(two.size(), 2u);
    EXPECT_LE(*two.rbegin(), 5);
    refused("agroup >0 *11;", "Cannot add 11 taxa  at random to group: only 10 are outside group! \n");
    refused("agroup <0 *3;", "Cannot remove 3 at random from group: only 2 in group! \n");
    refused("agroup =1 *;", "In group definition, \"*\" must be followed by the number of taxa to select, 1 - 12 \n");
    refused("xgroup =1 *0;", "In group definition, \"*\" must be followed by the number of characters to select, 1 - 10 \n");
    refused("xgroup =1 *11;", "Cannot add 11 characters  at random to group: only 10 are outside group! \n");
}

TEST(Groups, OfTaxaTakeThoseWithAState)
{
    wide guard;
    zelrun("silent=all; proc " + writefile("states.zel",
        "xread 5 6\n&[cont]\nA 1\nB 2\nC 3\nD 4\nE 5\nF 6\n&[num]\nA 0[02]\nB 1?\nC 2-\nD 30\nE [13]1\nF ?2\n"
        "&[dna]\nA AA\nB CC\nC GG\nD T-\nE RN\nF ??\n; cnames {1 eyes none one two ; ; proc/;") + "; silent-all;");
    ASSERT_EQ(nc, 5);
    struct { const char *items; members who; } cases[] = {                 // gaps are missing entries
        { "char 1=1", { 1, 4 } }, { "char 1=[13]", { 1, 3, 4 } }, { "char 1>1", { 2, 3, 4 } }, { "char 1<1", { 0 } },
        { "char 1<[21]", { 0 } }, { "char 1>[1 2]", { 3, 4 } }, { "char 2=2", { 0, 5 } }, { "char 2 = 0 char 1=2", { 0, 2, 3 } },
        { "char 3=A", { 0, 4 } }, { "char 3=c", { 1 } }, { "char 4=-", {} }, { ". - char 1=1", { 0, 2, 3, 5 } },
        { "char eyes=1", { 1, 4 } }, { "char EY>2", { 3, 4 } },
    };
    for (const auto &c : cases) {
        zelrun(std::string("agroup =0 ") + c.items + ";");
        EXPECT_FALSE(zelfailed()) << c.items;
        EXPECT_EQ(taxa(0), c.who) << c.items;
    }
    refused("agroup =1 char;", "Expected character number \n");
    refused("agroup =1 char =2;", "Expected character number \n");
    refused("agroup =1 char 5=2;", "No character number 5 \n");
    refused("agroup =1 char hands=2;", "No character named \"hands\" \n");
    refused("agroup =1 char 1 2;", "Expected symbols \"=\", \">\" or \"<\" after number of \"char\" \n");
    refused("agroup =1 char 1;", "Expected symbols \"=\", \">\" or \"<\" after number of \"char\" \n");
    refused("agroup =1 char 0=2;", "Character 0 is continuous; groups of taxa can be defined by discrete characters only \n");
    refused("agroup =1 char 1=?;", "Character 1 cannot have state '?' \n");
    refused("agroup =1 char 1=[1;", "Character 1 cannot have state ';' \n");
}

TEST(Groups, OfCharactersTakeThoseOfATypeOrWithSoManySteps)
{
    // On (0 (1 (2 (3 (4 5))))): character 1 takes 1 step, 2 takes 2 (minimum 1), 3 takes 3 (minimum 2),
    // 4 takes none; 5 is additive, 0 to 2, with 2 steps.
    wide guard;
    zelrun("silent=all; proc " + writefile("steps.zel",
        "xread 8 6\n&[cont]\nA 1\nB 1\nC 2\nD 3.5\nE 3.5\nF 3.5\n&[num]\nA 00000\nB 00000\nC 01100\nD 10201\nE 11002\nF 11102\n"
        "&[dna]\nA AA\nB AA\nC AA\nD CA\nE CA\nF CA\n; ccode + 5 - /2 3; tread (0 (1 (2 (3 (4 5))))); proc/;") + "; silent-all;");
    ASSERT_EQ(nc, 8);
    struct { const char *items; members which; } cases[] = {
        { "type=num", { 1, 2, 3, 4, 5 } }, { "type=dna", { 6, 7 } }, { "type=prot", {} }, { "type=cont", { 0 } },
        { "type=disc", { 1, 2, 3, 4, 5, 6, 7 } }, { "type=land", {} }, { "type=1d type=2d type=3d", {} },
        { "type = add - type=cont", { 5 } }, { "type=nonadd - type=cont", { 1, 2, 3, 4, 6, 7 } }, { "type=sank", {} },
        { "min=0", { 4, 7 } }, { "min>1", { 0, 3, 5 } }, { "min=2.5", { 0 } },
        { "len=1", { 1, 6 } }, { "len>2", { 0, 3 } }, { "len<1", { 4, 7 } }, { "len (2,3)", { 0, 2, 3, 5 } },
        { "homo=0", { 0, 1, 4, 5, 6, 7 } }, { "homo>0", { 2, 3 } }, { "score=6", { 3 } }, { "score(2,2.5) 4", { 0, 2, 4, 5 } },
        { ". - len<3", { 3 } }, { "max=0", { 4, 7 } },
    };
    for (const auto &c : cases) {
        zelrun(std::string("xgroup =0 ") + c.items + ";");
        EXPECT_FALSE(zelfailed()) << c.items;
        EXPECT_EQ(chars(0), c.which) << c.items;
    }
    for (const char *word : { "len", "homo", "score", "max", "min" }) {
        std::string w = word;
        refused("xgroup =1 " + w + ";", "String \"" + w + "\" must be followed by =, <, >, or ( symbols \n");
        refused("xgroup =1 " + w + " 5;", "String \"" + w + "\" must be followed by =, <, >, or ( symbols \n");
        refused("xgroup =1 " + w + "(1 2);", "Ranges must be given as two values separated by comma \n");
        refused("xgroup =1 " + w + "(1,2;", "Need closing parenthesis after second value of range \n");
    }
    refused("xgroup =1 type 5;", "String \"type\" must be followed by = symbol \n");
    refused("xgroup =1 type=odd;", "No character type named odd \n");
    refused("xgroup =1 links=0;", "No complex 0 \n");
    refused("xgroup =1 complex=3;", "No complex 3 \n");
    refused("xgroup =1 alnset=legs/2;", "No level 2 in alignment set \"legs\" \n");
    refused("xgroup =1 alngrp=legs/1/4;", "No group 4 in level 1 of alignment set \"legs\" \n");
    zelrun("silent=all; keep 0; silent-all;");
    refused("xgroup =1 len=1;", "Tree(s) are required \n");
}

TEST(Groups, OfCharactersPassOnEachTree)
{
    zelrun("silent=all; xread 2 5 A 00 B 00 C 11 D 11 E 10 ; tread (0 (1 (2 (3 4)))) * (0 (4 (1 (2 3)))); silent-all;");
    zelrun("xgroup =0 len=1 =1 len<3 =2 homo=0;");   // steps 1 and 2 on the first tree, 2 and 1 on the other
    EXPECT_EQ(chars(0), members());
    EXPECT_EQ(chars(1), (members{ 0, 1 }));
    EXPECT_EQ(chars(2), members());
}

TEST(Groups, AreRefusedWithoutChangingAny)
{
    data();
    refused("agroup -0;", "Can't undefine groups --none defined \n");
    zelrun("agroup =0 (keep) 0.3;");
    refused("agroup 5;", "Must use =, > or < \n");
    refused("agroup +1 5;", "Must use =, > or < \n");
    refused("agroup = (x) 5;", "Must give number of taxon group to define \n");
    refused("xgroup =;", "Must give number of character group to define \n");
    refused("agroup =32 5;", "Can't define more than 32 taxon groups (0-31) \n");
    refused("xgroup >32 5;", "Can't define more than 32 character groups (0-31) \n");
    refused("agroup <7 5;", "No group number 7 \n");
    refused("agroup =0 (a;b) 5;", "Found illegal character when reading group name \n");
    refused("agroup =0 (a b) 5;", "Found illegal character when reading group name \n");
    refused("agroup =0 (a{b}) 5;", "Found illegal character when reading group name \n");
    refused("agroup =0 5 99;", "No taxon number 99 \n");
    refused("agroup =0 5 whom;", "Expected a taxon name - no taxon named whom \n");
    refused("agroup =0 5 & 6;", "Must use =, > or < \n");
    refused("agroup -5;", "No group number 5 \n");
    refused("agroup -lost;", "No group named lost \n");
    refused("xgroup =1 min=x;", "String \"min=\" must be followed by a number \n");
    refused("xgroup =1 min<;", "String \"min<\" must be followed by a number \n");
    refused("xgroup =1 max(1,;", "String \"max,\" must be followed by a number \n");
    refused("agroup -;", "Must give number of taxon group to undefine \n");
    EXPECT_STREQ(taxgroupname[0], "keep");
    EXPECT_NE(zelrun("agroup =1 (" + std::string(40, 'n') + ") 1;").find("Name too long"), std::string::npos);
    zelrun("xwipe;");
    EXPECT_EQ(zelrun("agroup;").find("Must read data before defining groups"), 0u);
    EXPECT_EQ(zelrun("xgroup =0 1;").find("Must read data before defining groups"), 0u);
}

TEST(Groups, OfManyElementsAreShownAndSavedInLinesOfAScreen)
{
    data(3000, 10);
    zelrun("agroup =31 (" + std::string(30, 'n') + ") 0.2999/2 =1 1000.1002 1004.1006 1008.1010 1012.1014 1016.1018 1020.1022 1024.1026;");
    zelrun("taxname =;");
    for (const char *command : { "agroup;", "agroup *;", "taxcode; taxcode *;" }) {
        std::istringstream said(zelrun(command));
        for (std::string line; std::getline(said, line); ) EXPECT_LE(line.size(), 79u) << line;
    }
}

// A group called after a file may hold what means something where names are read.
TEST(Groups, OfOddNamesReadBack)
{
    data();
    const char *odd[] = { "a b", "x.y", "12", "1st", "caf\xc3\xa9", "+-!?$%~`", "_", "...", "N", "T1x" };
    for (const char *name : odd) {
        zelrun("silent=all; agroup =1 1 =0 2.4; silent-all;");
        std::string typed = name;
        std::replace(typed.begin(), typed.end(), ' ', '^');
        zelrun("agroup =0 (" + typed + ") 2.4;");
        ASSERT_STREQ(taxgroupname[0], name);
        std::string saved = zelrun("agroup *;");
        zelrun("agroup -.;");
        zelrun("proc " + writefile("odd.run", saved + "proc/;\n") + ";");
        EXPECT_FALSE(zelfailed()) << saved;
        EXPECT_STREQ(taxgroupname[0], name);
        EXPECT_EQ(taxa(0), span(2, 4)) << saved;
        EXPECT_EQ(taxa(1), span(1, 1)) << saved;
    }
    strcpy(taxgroupname[0], "a^b(c)");
    EXPECT_NE(zelrun("agroup *;").find("=0 (a_b_c_)"), std::string::npos);
}

TEST(Groups, AreUndefinedByNumbersRangesAndNames)
{
    data();
    auto all = [] { zelrun("agroup =0 (best) 0 =1 (best_ten) 1 =2 (rest) 2 =5 5 =6 6 =31 7;"); };
    struct { const char *command; uint32_t left; } cases[] = {
        { "agroup -0;", 0x80000066 }, { "agroup -best;", 0x80000066 }, { "agroup -be;", 0x80000064 },
        { "agroup -1.5 31;", 0x41 }, { "agroup -5. REST;", 3 }, { "agroup - .;", 0 },
    };
    for (const auto &c : cases) {
        all();
        zelrun(c.command);
        EXPECT_EQ(taxgroupdef, c.left) << c.command;
        for (int g = 0; g < GROUPS; ++g)
            if (!(c.left >> g & 1)) {
                EXPECT_EQ(taxa(g), members()) << c.command;
                EXPECT_EQ(taxgroupname[g], "Group_" + std::to_string(g)) << c.command;
            }
    }
}

TEST(Groups, SavedReadBackTheSame)
{
    data(60, 90);
    std::mt19937 dice(5);
    for (int trial = 0; trial < 30; ++trial) {
        zelrun("agroup =9 0; agroup -.; xgroup =9 0; xgroup -.;");
        uint32_t masks[60], charmasks[90], defined = 0;
        for (int g = 0; g < GROUPS; ++g)
            if (dice() % 2) defined |= 1u << g;
        unsigned dense = 1 + dice() % 8;
        auto fill = [&](uint32_t *mask, int n) {
            uint32_t last = 0;
            for (int i = 0; i < n; ++i) mask[i] = last = dice() % dense ? last : uint32_t(dice()) & defined;
        };
        fill(masks, 60), fill(charmasks, 90);
        std::copy(masks, masks + 60, taxgroup);
        std::copy(charmasks, charmasks + 90, chargroup);
        taxgroupdef = chargroupdef = defined;
        for (int g = 0; g < GROUPS; ++g)
            if (defined >> g & 1 && g % 3) snprintf(taxgroupname[g], size_t(Namesize), "n %i-a.%u", g, unsigned(dice() % 9));
        std::vector<std::string> names(taxgroupname, taxgroupname + GROUPS);
        std::string saved = zelrun("agroup *;"), savedchars = zelrun("xgroup *;");
        if (defined) zelrun("agroup -.; xgroup -.;");
        zelrun(saved + savedchars);
        EXPECT_FALSE(zelfailed()) << saved;
        EXPECT_TRUE(std::equal(masks, masks + 60, taxgroup)) << saved;
        EXPECT_TRUE(std::equal(charmasks, charmasks + 90, chargroup)) << savedchars;
        EXPECT_EQ(taxgroupdef, defined);
        EXPECT_TRUE(std::equal(names.begin(), names.end(), taxgroupname)) << saved;
    }
}

TEST(Groups, OfActiveElementsAreSavedApart)
{
    data();
    EXPECT_EQ(zelrun("taxcode -2 5; agroup =0 (x) 0.5 =4 5; agroup !;"), "agroup\n  =0 (x) 0 1 3 4\n  =4 (Group_4)\n  ;\n");
    EXPECT_EQ(zelrun("ccode ] 1; xgroup =0 0.2; xgroup !;"), "xgroup\n  =0 (Group_0) 0 2\n  ;\n");
    EXPECT_EQ(zelrun("agroup *;"), "agroup\n  =0 (x) 0.5\n  =4 (Group_4) 5\n  ;\n");
}

TEST(Groups, AreShownWithTheirNames)
{
    data();
    EXPECT_EQ(zelrun("agroup;"), "No groups of taxa are defined \n");
    EXPECT_EQ(zelrun("agroup =0 (x) 0 2 =1 3; agroup;"), "Taxon group 0: (x) 0 2\nTaxon group 1: 3\n");
    EXPECT_EQ(zelrun("agroup -1; taxname=; agroup; taxname-;"),
              "Taxon names is ON \nTaxon group 0: (x) T0x T2x\nTaxon names is OFF \n");
    EXPECT_EQ(zelrun("xgroup =7 1.3; xgroup;"), "Character group 7: 1 2 3\n");
}
