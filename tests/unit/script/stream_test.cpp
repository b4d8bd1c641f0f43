#include "scripttest.h"
#include "kernel/errors.h"
#include "kernel/input.h"
#include "script/repeat.h"
#include "script/stream.h"
#include "script/vars.h"

TEST(Stream, IsThePlainOneWhileTheLanguageIsOff)
{
    zelrun("macro -");
    EXPECT_EQ(gtch, normal_gtch);
    EXPECT_EQ(zelrun("quote 'x' $5 #1 %1;"), "'x' $5 #1 %1\n");
    zelrun("macro =");
    EXPECT_EQ(gtch, macro_gtch);
    zelrun("macro -");
    EXPECT_EQ(gtch, normal_gtch);
    EXPECT_EQ(ungtch, normal_ungtch);
}

TEST(Stream, LeavesSignsThatBeginNothing)
{
    EXPECT_EQ(typed("quote 5' 6\" 7$ 8% a/b 50$.;"), "5' 6\" 7$ 8% a/b 50$.\n");
}

TEST(Stream, GivesArgumentsOfFiles)
{
    EXPECT_EQ(fromfile("quote %1-%2 %(1+1) %(1);", "one two"), "one-two two one\n");
    EXPECT_EQ(fromfile("loop 1 2 quote %(#1); stop", "one two"), "one\ntwo\n");
    EXPECT_TRUE(has(fromfile("quote %0.", "a"), "script.run."));
}

TEST(Stream, LosesTheByteBehindAnArgumentThatIsNotGiven)
{
    EXPECT_EQ(fromfile("quote [%3];\nquote b;", "one two"), "[ \nb\n");
    EXPECT_EQ(fromfile("quote a%3;\nquote b;", "one two"), "a \nquote b\n") << "the semicolon is lost";
}

TEST(Stream, RefusesArgumentsThatCannotBe)
{
    EXPECT_TRUE(has(fromfile("quote %(33);", "a"), "No argument number 33 (only 32 arguments allowed)"));
    EXPECT_TRUE(has(fromfile("quote %(1 2);", "a"), "Expected parentheses, found 2"));
}

TEST(Stream, ExpandsWhatComesOutOfAnExpansion)
{
    typed("set 3 44;");
    store_string(10, "loop 1 2 quote #1 '3'., stop");
    EXPECT_EQ(zelrun("set 5 $quote hello; $5;"), "hello\n");
    std::string inner = writefile("inner.run", "quote %1;");
    zelrun("set 6 $word; ");
    EXPECT_EQ(zelrun("run " + inner + " $6;"), "Running " + inner + " word\nword\n");
}

TEST(Stream, KeepsWhatFollowsAnExpansionWithinAnother)
{
    typed("set 1 8;");
    store_string(20, "a #1 b");
    EXPECT_EQ(zelrun("loop 3 3 quote [$20]; stop"), "[a 3 b]\n");
}

TEST(Stream, EndsExpansionsThatLeadToThemselves)
{
    typed(";");
    store_string(20, "$20");
    EXPECT_TRUE(has(zelrun("quote $20;"), "An expansion leads to itself without end"));
    EXPECT_EQ(zelrun("quote fine;"), "fine\n");
}

TEST(Stream, SkipsComments)
{
    EXPECT_EQ(fromfile("// one ; quote no;\nquote a; // two\n/* three\n ; four */ quote b;\nquote c // d;"), "a\nb\nc // d\n");
    EXPECT_EQ(fromfile("loop 1 2 // comment\n quote #1; /* x */ stop // end\nquote b;"), "1\n2\nb\n");
    EXPECT_TRUE(has(fromfile("/* never closed\nquote b;"), "Unexpected end of file (possibly missing \"procedure/;\")"));
    zelrun("macro -; macro =; macro &0;");
    EXPECT_TRUE(has(zelrun("run " + writefile("c.run", "// x;\n") + ";"), "No command!"));
    EXPECT_EQ(zelrun("macro &1;"), "Comments with double slash (\"// comment...\") are allowed\n");
}

TEST(Stream, DoublesTheByteBehindASlashAtTheStartOfACommand)
{
    EXPECT_TRUE(has(fromfile("/quote a;"), "Unknown command: qquote"));
}

TEST(Stream, PassesSlashesBehindCommandWords)
{
    std::string inner = writefile("inner.run", "quote in; proc/; quote never;");
    EXPECT_EQ(typed("proc " + inner + "; quote out;"), "Reading from " + inner + " \nin\nout\n");
}

TEST(Stream, SeparatesTypedCommandsAtCommas)
{
    EXPECT_EQ(typed("set 0 4, set 1 5, loop 1 2 quote '0' '1' #1; stop"), "4 5 1\n4 5 2\n");
    EXPECT_EQ(typed("quote a, b;"), "a, b\n");
}

TEST(Stream, ReadsTheTextOfALabelInPlace)
{
    std::string texts = writefile("texts.txt", "label one; five six @@ label two; quote other; @@");
    EXPECT_EQ(fromfile("quote [@@" + texts + " one ];\nquote next;"), "[ five six  ]\nnext\n");
    EXPECT_EQ(curproc, procnest);
}

TEST(Stream, CrossesTheEndsOfBuffers)
{
    typed("set 7 123;");
    for (int pad = 4070; pad < 4110; ++pad) {
        std::string text = "quote x;" + std::string(size_t(pad) - 8, ' ') + "quote '7' $8 '7'#5 %1 \"; /* c */ quote y;\n";
        std::string said = zelrun("run " + writefile("pad.run", text) + " arg;");
        EXPECT_TRUE(has(said, "\nx\n123   123#5 arg \"\ny\n")) << pad << said;
    }
}

TEST(Stream, GivesTheNamesOfThings)
{
    zelrun("xread 'Title' 3 4 Alpha 012 Beta 012 Gamma 100 Delta 110 ; cnames { 1 tail short long; ;");
    curfileis.clear();
    typed(";");
    EXPECT_EQ(zelrun("quote $taxon 1, $taxon 3:2;"), "Beta, De\n");
    EXPECT_EQ(zelrun("quote [$character 0] [$character 1] [$state 1 1] [$state 0 2];"), "[Char. 0] [tail] [long] [State 2]\n");
    EXPECT_EQ(zelrun("quote [$block 0] [$bitset 5] [$bitset 0] [$bitset 2049] [$dnabitset 5] [$dnabitset 0];"),
              "[Block 0] [02] [ ] [0B] [M] [ ]\n");
    EXPECT_EQ(zelrun("quote [$protbitset 1] [$protbitset 2052] [$protbitset 8200] [$protbitset 2097152] [$protbitset 0];"),
              "[A] [B] [Z] [-] [ ]\n");
    EXPECT_EQ(zelrun("set +; quote [$taxon 1]; set -;"), "Adding space in string conversions\n[Beta ]\nNot adding space in string conversions\n");
    zelrun("agroup =2 (mine) 0 1; xgroup =1 (chars) 0; tgroup =0 (first);");
    EXPECT_EQ(zelrun("quote [$agroup 2] [$agroup 3] [$xgroup 1];"), "[mine] [ ] [chars]\n");
    EXPECT_EQ(zelrun("quote [$ttag 3] [$curfile];"), "[] []\n");
    EXPECT_TRUE(has(zelrun("quote $curwd;"), "/"));
}

TEST(Stream, RefusesNamesOfThingsThatAreNotThere)
{
    struct { const char *asked, *answer; } rows[] = {
        { "taxon 9", "No taxon number 9" }, { "character 9", "No character number 9" },
        { "state 0 200", "Character 0 doesn't have a state 200" }, { "block 5", "Only 0 blocks of data have been defined" },
        { "agroup 32", "Cannot have more than 32 groups of taxa" }, { "xgroup 32", "Cannot have more than 32 groups of characters" },
        { "tgroup 64", "Cannot have more than 64 groups of taxa" }, { "hgroup 32", "Cannot have more than 32 groups of hosts" },
        { "hgroup 1", "Sorry, groups of hosts are not available yet" }, { "host 1", "Sorry, names of hosts are not available yet" },
        { "taxonomy 1", "Taxonomy is not enabled" }, { "dnabitset 16", "A dna bit-set cannot exceed 15!" },
        { "protbitset 2097153", "A protein bit-set cannot exceed 1048576!" }, { "protbitset 3", "Unknown protein polymorphism" },
        { "alnset 1", "No align set number 1" }, { "alngrp 1 2 3", "No align set number 1" },
        { "nosuchword 1", "Unrecognized variable: nosuchword" }, { "hifstring", "No input files are open" },
    };
    zelrun("xread 3 4 Alpha 012 Beta 012 Gamma 100 Delta 110 ;");
    for (auto &row : rows) {
        typed(";");
        EXPECT_TRUE(has(zelrun(std::string("quote $") + row.asked + ";"), row.answer)) << row.asked;
    }
    zelrun("xwipe;");
    for (const char *word : { "dataset", "taxon 0", "agroup 1" })
        EXPECT_TRUE(has(zelrun(std::string("quote $") + word + ";"), "No data file has been read!")) << word;
}

TEST(Stream, ReadsDataAsBefore)
{
    zelrun("macro -");
    std::string plain = zelrun("p " ZEL_EXAMPLES_DIR "/bees.zel; p " ZEL_EXAMPLES_DIR "/bees_ten.tre; length;");
    zelrun("xwipe;");
    typed(";");
    EXPECT_EQ(zelrun("p " ZEL_EXAMPLES_DIR "/bees.zel; p " ZEL_EXAMPLES_DIR "/bees_ten.tre; length;"), plain);
}
