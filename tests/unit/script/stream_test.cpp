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
    texts = writefile("texts.txt", "label one ; five six @@");
    EXPECT_EQ(fromfile("quote [@@" + texts + " one ];"), "[ five six  ]\n") << "the label is a command, and ends in its semicolon";
    EXPECT_EQ(fromfile("loop 1 2 quote -@@" + texts + " one #1; stop"), "- five six 1\n- five six 2\n");
    EXPECT_TRUE(has(fromfile("quote @@" + texts + " two ;"), "Label \"two\" not found in " + texts));
    EXPECT_EQ(curproc, procnest);
    texts = writefile("texts.txt", "label one; end else @@ label two; quote two;");
    EXPECT_EQ(fromfile("if (0) quote no; @@" + texts + " one ; @@/no/such one ; end quote yes;"), "yes\n") << "text that is skipped opens nothing";
    EXPECT_EQ(typed("goto " + texts + " two;"), "Goto Label \"two\" in " + texts + " (no args.)\ntwo\n");
    EXPECT_EQ(fromfile("quote [@@" + texts + " one ];"), "[ end else  ]\n");
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

// What a form says may not depend on where it stands in the file.
TEST(Stream, ReadsEveryFormAcrossTheEndsOfBuffers)
{
    std::string texts = writefile("texts.txt", "label one; five six @@");
    std::string head = "var: x y a[3] t[9]; set x 2/3; set t $abcdef; ";
    for (std::string form : { "quote [$t:3] [$t:+2] [$t:-2] [$t<c] [$t>c] [$t:x];", "quote ['/8.2x'] ['x'] [\"x\"];",
                              "quote %(1+1) %2 [%9] [%(7)];", "loop =nm 4 5 quote #nm #1 $t; stop", "// quote no;\nquote yes;",
                              "/* no ; */ quote yes;", "quote 'a[0-2 &44]' 'a[1]';", "set t $u &66c; quote $t;",
                              "if (0) quote end else (; xyz; else quote c; end", "set a[1] -= 2; quote 'a[1]';", "quote [@@ one ];" }) {
        if (size_t at = form.find("@@"); at != std::string::npos) form.insert(at + 2, texts);
        std::string expected;
        for (int start : { 0, 4093 - int(form.size()), 4090, 4091, 4092, 4093, 4094, 4095, 4096 - int(form.size() / 2) }) {
            std::string pad(size_t(std::max(0, start - int(head.size()))), ' ');
            std::string said = fromfile(head + pad + form + "\nquote last;\n", "A1 B22");
            if (expected.empty()) expected = said;
            EXPECT_EQ(said, expected) << start;
        }
        EXPECT_TRUE(has(expected, "\nlast\n") && !has(expected, "Unknown")) << expected;
    }
}

TEST(Stream, PadsAndCutsWhereTheFormSays)
{
    EXPECT_EQ(fromfile("set 50 $abcdef; quote [$50:3] [$50:+2] [$50:-2] [$50<c] [$50>c] [$50:x];"), "[abc] [cdef] [ef] [ab] [def] [abcdef:x]\n");
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
    EXPECT_EQ(zelrun("set +; quote [$ttag 3]; set -;"), "Adding space in string conversions\n[ ]\nNot adding space in string conversions\n");
    zelrun("tread (0(1(2 3))); ttags *0; ttags +5 upper\\lower;");
    EXPECT_EQ(zelrun("quote [$ttag 5] [$ttag 5::1] [$ttag 4];"), "[upper\\lower] [lower] []\n");
    EXPECT_TRUE(has(zelrun("quote $ttag 50;"), "No node 50 in tagged tree"));
    EXPECT_EQ(zelrun("ttags -; quote [$ttag 50];"), "[]\n");
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
