// The tag tree as the command ttags sees it: what is refused, what is stored where, what reads back.
#include "zeltest.h"
#include "compare/treesets.h"
#include "glyphs.h"
#include <cstring>
#include "data/matrix.h"
#include "diagrams/msglines.h"
#include "diagrams/tagstore.h"
#include "diagrams/textree.h"
#include "kernel/driver.h"
#include "kernel/input.h"
#include "kernel/output.h"
#include "kernel/window.h"
#include "trees/treetags.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"

namespace {

constexpr char TREES[] = "tread (0 ((1 2) (3 (4 5))))* (0 ((1 2) (4 (3 5)))) * (0 ((1 2) (3 4)));";

void sixtaxa()
{
    readtaxa(6);
    zelrun(std::string("ttags -; ttags ]; ") + TREES);
    concat_tags = 0;
}

std::string failure(const std::string &commands)
{
    std::string text = zelrun(commands);
    EXPECT_TRUE(zelfailed()) << commands;
    return text;
}

bool holds(const std::string &text, const std::string &part) { return text.find(part) != std::string::npos; }

TEST(Ttags, RefuseWhatCannotBe)
{
    sixtaxa();
    struct { const char *command, *words; } expected[] = {
        { "ttags;", "No messages to show" },
        { "ttags |;", "No messages to show" },
        { "ttags :;", "No messages to show" },
        { "ttags !;", "No messages to show" },
        { "ttags <7;", "No messages to show" },
        { "ttags /;", "No messages to save!" },
        { "ttags +7 abc;", "Must set target tree (ttag*N ) before writing to a node" },
        { "ttags &tree.svg;", "No tree-tags defined!" },
        { "ttags &+ line 1 2 3 4;", "To use \"ttag &+\" you must have saved coordinates\n(with xysave) in a previous call to \"ttag &\"" },
        { "ttags &;", "To use \"ttag &+\" you must have saved coordinates" },
        { "ttags =<ray;", "Option \"=<\" valid only when macros and tree-tags connected" },
        { "ttags =>ray;", "Option \"=>\" valid only when macros and tree-tags connected" },
        { "ttags *0 <ray;", "This option is valid only when macros are enabled" },
        { "ttags *<ray;", "This option is valid only when macros are enabled" },
        { "ttags *17;", "No tree number 17" },
        { "ttags *;", "Wrong argument for ttags : ';'" },
        { "ttags [ e;", "Wrong argument for ttags : 'e'" },
        { "ttags x;", "Wrong argument for ttags : 'x'" },
        { "ttags *0; ttags + x;", "Wrong argument for ttags : 'x'" },
        { "ttags +11 x;", "No node 11 in tagged tree" },
        { "ttags +7 x; ttags :9;", "No character number 9" },
    };
    for (auto &e : expected) EXPECT_TRUE(holds(failure(e.command), e.words)) << e.command;
    zelrun("ttags -; xwipe;");
    EXPECT_TRUE(holds(failure("ttags =;"), "Must read data before storing tree-tags"));
    EXPECT_TRUE(holds(failure("ttags;"), "No messages to show"));
    EXPECT_TRUE(holds(failure("ttags *0;"), "Tree(s) are required"));
}

TEST(Ttags, AreNoLongerThanTheirBuffer)
{
    sixtaxa();
    std::string longest(size_t(maxtxtsz) - 1, 'x');
    zelrun("ttags *0; ttags +7 " + longest + ";");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(txtrmsg[7], longest);
    EXPECT_TRUE(holds(failure("ttags +7 y;"),
                      "Cannot add more text to tree \nFor longer labels, increase size of taxon names before reading data"));
    EXPECT_EQ(txtrmsg[7], longest);
    EXPECT_TRUE(holds(failure("ttags +8 " + longest + "x;"), "Cannot add more text to tree"));
    EXPECT_EQ(txtrmsg[8][0], 0);
}

TEST(Ttags, OfAReportThatDoNotFitAreLeftOut)
{
    sixtaxa();
    std::string longest(size_t(maxtxtsz) - 1, 'x');
    zelrun("ttags *0; ttags +7 " + longest + ";");
    zelrun("naked-;");
    store_treemsg = 1;
    EXPECT_TRUE(holds(zelrun("tplot 0;"), "Message too long (not copied)"));
    EXPECT_EQ(txtrmsg[7], longest);
    EXPECT_STREQ(txtrmsg[8], "8");
    zelrun("ttags -; naked=;");
}

TEST(Ttags, HaveATitleOfAtMost512Characters)
{
    sixtaxa();
    std::string title(512, 't');
    zelrun("ttags *0; ttags +7 x; ttags >" + title + ";");
    EXPECT_FALSE(zelfailed());
    EXPECT_TRUE(holds(failure("ttags >" + title + "t;"), "Title for tree-tags too long (max. 512 chars.)"));
    EXPECT_EQ(zelrun("ttags;").substr(0, 513), title + "\n");
    zelrun("ttags -; ttags *0; ttags +7 x;");
    EXPECT_EQ(zelrun("ttags;")[0], char(218));
}

TEST(Ttags, AreErasedWithAWarning)
{
    sixtaxa();
    const char words[] = "Existing tree-tags will be erased";
    zelrun("ttags *0; ttags +7 x;");
    EXPECT_FALSE(holds(zelrun("ttags *0;"), words));           // the same tree keeps them
    EXPECT_STREQ(txtrmsg[7], "x");
    EXPECT_TRUE(holds(zelrun("ttags *1;"), words));
    EXPECT_FALSE(havetags());
    EXPECT_FALSE(holds(zelrun("ttags =; ttags );"), words));
    zelrun("ttags *!; ttags +7 x;");
    EXPECT_EQ(txtrsz, mem_tree[2][nt]);
    EXPECT_TRUE(holds(zelrun("ttags (;"), words));
    EXPECT_FALSE(havetags());
    zelrun("ttags -;");
}

TEST(Ttags, AreStoredFromTheFirstDiagramOnAndNothingIsShown)
{
    sixtaxa();
    zelrun("naked-; ttags =;");
    EXPECT_EQ(zelrun("tplot 1;"), "");
    EXPECT_TRUE(equal_tree(txtr, mem_tree[1]));
    EXPECT_STREQ(txtrmsg[9], "9");
    EXPECT_EQ(txtrmsg[3][0], 0);
    strcpy(nodmsg[3], "three");                                // a report's own texts: no numbers between them
    zelrun("tplot 1;");
    nodmsg[3][0] = 0;
    EXPECT_STREQ(txtrmsg[9], "9");
    EXPECT_STREQ(txtrmsg[3], "three");
    EXPECT_TRUE(holds(failure("tplot 2;"), "To concatenate messages, trees must include same taxa"));
    EXPECT_STREQ(txtrmsg[9], "9");
    zelrun("ttags ); naked=;");
    EXPECT_TRUE(holds(zelrun("tplot 1;"), "Tree 1:"));
    EXPECT_STREQ(txtrmsg[9], "9");
}

TEST(Ttags, OfTheSameCladesMeetInTreesOfTheSameTaxa)
{
    std::mt19937 dice(91);
    for (int taxa : { 6, 15, 40 }) {
        readtaxa(taxa);
        for (int trial = 0; trial < 60; ++trial) {
            plaintree one = randomtree(dice, .2, .1), two = similartree(dice, one);
            reset_nodz(one.data());
            reset_nodz(two.data());
            starttags();
            for (const plaintree *t : { &one, &two }) {
                for (int n = 0; n < nodz; ++n)
                    snprintf(nodmsg[n], 16, "%s%zu", t == &one ? "a" : "b", n < (*t)[nt] ? below(t->data(), n, nullptr).size() : 0);
                multvaltree(t->data());
            }
            reset_nodmsg();
            for (int n = nt; n < txtr[nt]; ++n) {
                taxonset mine = below(txtr, n, nullptr);
                bool both = false;
                for (int m = nt; m < two[nt]; ++m) both |= below(two.data(), m, nullptr) == mine;
                std::string size = std::to_string(mine.size());
                EXPECT_EQ(txtrmsg[n], both ? "a" + size + "/b" + size : "a" + size);
            }
            zelrun("ttags -;");
        }
    }
}

std::string alltags()
{
    std::string all;
    for (int n = 0; n < txtr[nt]; ++n) all += std::string(txtrmsg[n]) + "\n";
    return all;
}

TEST(Ttags, SavedAsCommandsReadBack)
{
    sixtaxa();
    zelrun("ttags *1; ttags +7 two words; ttags +10 a\\b, c; ttags +3 3/4; ttags +8 x.;");
    std::string tags = alltags(), text = zelrun("ttags /;");
    zelrun("ttags -; keep 0; procedure " + writefile("tags.run", text + "proc/;\n") + ";");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(alltags(), tags);
    EXPECT_TRUE(equal_tree(txtr, mem_tree[0]));
    EXPECT_EQ(zelrun("ttags /;"), text);
}

TEST(Ttags, SavedInTreeFilesReadBack)
{
    sixtaxa();
    std::string file = tempdir() + "/tags.tre";
    zelrun("ttags *1; ttags +7 97; ttags +10 a/b; ttags +3 x;");
    std::string tags = alltags();
    zelrun("tsave *" + file + "; save *; tsave/; ttags -; keep 0; procedure " + file + ";");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(alltags(), tags);
    zelrun("ttags;");
    EXPECT_FALSE(zelfailed());
}

TEST(Ttags, LoseTheirEmptyLines)
{
    sixtaxa();
    zelrun("ttags *0; ttags +7 \\a\\\\b\\ \\; ttags +8 c\\d; ttags +9 \\;");
    EXPECT_EQ(zelrun("ttags !;"), "Eliminated empty lines in tags \n");
    EXPECT_STREQ(txtrmsg[7], "a\\b");
    EXPECT_STREQ(txtrmsg[8], "c\\d");
    EXPECT_STREQ(txtrmsg[9], "");
}

TEST(Ttags, WrapAtBlanksWithinTheirWidth)
{
    max_multline_tag_width = 6;
    struct { const char *text; std::vector<std::string> lines; } expected[] = {
        { "", {} }, { "a", { "a" } }, { "one two", { "one", "two" } }, { "abcdefgh", { "abcdef", "gh" } },
        { "a\\b c", { "a", "b c" } }, { "123456 7", { "123456", "7" } }, { "a\\\\b", { "a", "", "b" } },
        { "漢字漢字", { "漢字漢", "字" } },
    };
    for (auto &e : expected) {
        ASSERT_EQ(height_of_msg(e.text), int(e.lines.size())) << e.text;
        for (int l = 0; l < int(e.lines.size()); ++l) {
            size_t bytes;
            const char *line = line_of_msg(e.text, l, &bytes);
            EXPECT_EQ(std::string(line, bytes), e.lines[l]) << e.text;
        }
    }
    EXPECT_EQ(max_msg_len("漢字漢字"), 6);
    max_multline_tag_width = 0;
    EXPECT_EQ(height_of_msg("one two"), 1);
}

// No stroke up or down ends in nothing.
bool verticalsconnect(const std::string &text)
{
    std::vector<std::string> rows{ "" };
    for (char c : text) {
        if (c == '\n') rows.emplace_back();
        else rows.back() += c;
    }
    auto at = [&](size_t row, size_t column) {
        return row < rows.size() && column < rows[row].size() ? strokesof(static_cast<unsigned char>(rows[row][column])) : 0;
    };
    for (size_t r = 0; r < rows.size(); ++r)
        for (size_t c = 0; c < rows[r].size(); ++c) {
            if ((at(r, c) & S) && !(at(r + 1, c) & N)) return false;
            if ((at(r, c) & N) && (!r || !(at(r - 1, c) & S))) return false;
        }
    return true;
}

TEST(Ttags, OfSeveralLinesNeverMeet)
{
    std::mt19937 dice(92);
    for (int trial = 0; trial < 120; ++trial) {
        readtaxa(12);
        plaintree tree = randomtree(dice, .2, 0);
        reset_nodz(tree.data());
        settarget(tree.data());
        for (int n = 0; n < tree[nt]; ++n)
            for (int l = int(dice() % 4); l > 0; --l)
                snprintf(txtrmsg[n] + strlen(txtrmsg[n]), 20, "%sn%il%i", txtrmsg[n][0] ? "\\" : "", n, l);
        multitag_position = trial % 3;
        dotruesymtrees = trial % 2;
        std::string text = zelrun("ttags |;");
        for (int n = 0; n < tree[nt]; ++n)
            for (const char *c = txtrmsg[n]; *c;) {
                size_t bytes = strcspn(c, "\\");
                std::string line(c, bytes);
                EXPECT_TRUE(holds(text, line)) << line << "\n" << text;
                c += bytes + (c[bytes] != 0);
            }
        for (int t = 0; t < nt; ++t) EXPECT_TRUE(holds(text, char(196) + std::to_string(t) + "\n"));
        EXPECT_TRUE(verticalsconnect(text)) << text;
    }
    multitag_position = TAGS_CENTRED;
    dotruesymtrees = 0;
}

TEST(Tplot, ZoomsAtALabelOfTheTreeShown)
{
    sixtaxa();
    zelrun("ttags *0; ttags +9 here; tplot :here;");
    std::string text = zelrun("ttags;");
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 4);   // 3 terminals and the line behind the tree
    text = zelrun("tplot 0;");
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 8);   // no node has that label: title, 6 terminals, line
    zelrun("tplot :;");
    EXPECT_TRUE(holds(failure("tplot :" + std::string(300, 'x') + ";"), "Label"));
}

TEST(Tplot, RefusesWhatItCannotRead)
{
    sixtaxa();
    EXPECT_TRUE(holds(failure("tplot >form.tfm;"), "Sorry, tree format files are not available yet"));
    EXPECT_TRUE(holds(failure("tplot = x;"), "Wrong argument for tplot : 'x'"));
    EXPECT_TRUE(holds(failure("tplot = 1 2 3 4 5;"), "Wrong argument for tplot"));
    EXPECT_TRUE(holds(failure("tplot 5;"), "No tree number 5"));
}

int shown, answer;
int viewer(const int *, int) { ++shown; return answer; }

TEST(Tplot, GivesDiagramsToTheViewerWhenPreviewing)
{
    sixtaxa();
    ShowBoxTree = viewer;
    shown = 0;
    answer = 1;
    zelrun("tplot 0;");
    EXPECT_EQ(shown, 0);
    zelrun("tplot [;");
    EXPECT_EQ(zelrun("tplot 0 1;"), "\n\n");
    EXPECT_EQ(shown, 2);
    answer = ONCONSOLE;
    EXPECT_TRUE(holds(zelrun("tplot 0;"), "Tree 0:\n"));
    EXPECT_EQ(shown, 3);
    zelrun("tplot ];");
    ShowBoxTree = nullptr;
}

int pressesesc() { return KEY_ESC; }

TEST(Diagram, IsGivenUpOnEsc)
{
    readtaxa(3000);
    std::mt19937 dice(93);
    static plaintree tree;
    tree = randomtree(dice, 0, 0);
    auto was = window.zel_app_window_getKeyPressed;
    window.zel_app_window_getKeyPressed = pressesesc;
    strcpy(nodmsg[5], "text");
    EXPECT_FALSE(safecall([] { drawtree(tree.data(), nt); }));
    window.zel_app_window_getKeyPressed = was;
    EXPECT_EQ(nodmsg[5][0], 0);                                // a report's texts go with it
    EXPECT_EQ(treetitle[0], 0);
    EXPECT_TRUE(holds(zelrun(""), "User interrupt..."));
}

TEST(Tshrink, RefusesWhatCannotBe)
{
    sixtaxa();
    EXPECT_TRUE(holds(failure("tshrink 0 6;"), "No node 6 in tree 0"));
    EXPECT_TRUE(holds(failure("tshrink 0 11;"), "No node 11 in tree 0"));
    EXPECT_TRUE(holds(failure("tshrink 9 8;"), "No tree number 9"));
    EXPECT_TRUE(holds(failure("tshrink 0;"), "Wrong argument for tshrink"));
    zelrun("tshrink ];");
    sixtaxa();
    EXPECT_TRUE(holds(failure("tshrink 0 8;"), "Shrinkings are not allowed (they were disabled!)"));
    EXPECT_EQ(zelrun("tshrink;"), "Shrinkings are not allowed \n");
    zelrun("tshrink [;");
    sixtaxa();
    EXPECT_EQ(zelrun("tshrink 0 8;"), "Clades drawn as single terminals: 1 \n");
    EXPECT_EQ(zelrun("tshrink 0 8;"), "Clades drawn as single terminals: 1 \n");
    sixtaxa();
    EXPECT_EQ(zelrun("tshrink;"), "Clades drawn as single terminals: 0 \n");
}

TEST(Tshrink, LabelsOfShrunkCladesReplaceTheirTaxa)
{
    sixtaxa();
    zelrun("tshrink 0 9; ttags *0; ttags +9 Three;");
    std::string text = zelrun("ttags;");
    EXPECT_TRUE(holds(text, "\xc4Three\n"));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 5);
    zelrun("tshrink -;");
}

// Nodes of the first of TREES: 6 the root.
TEST(Ttags, ComeFromArraysAndGoBackToThem)
{
    sixtaxa();
    zelrun("macro -; macro =; var: x[12] y[12]; setarray 12 x 0 1 2 3 4 5 60 70 80 90 100 110; ttags *0 <x;");
    ASSERT_FALSE(zelfailed());
    EXPECT_STREQ(txtrmsg[3], "3");
    EXPECT_STREQ(txtrmsg[7], "70");
    zelrun("ttags =>y; set x[7] 2/3; ttags *<x;");
    EXPECT_EQ(zelrun("quote 'y[3]' 'y[7]' 'y[11]';"), "3 70 0\n") << "no cell is changed for a node that there is not";
    EXPECT_STREQ(txtrmsg[7], "0.666667");
    zelrun("ttags -; ttags *0; ttags =<[x; ttags =>y;");
    EXPECT_STREQ(txtrmsg[3], "") << "terminals are left alone";
    EXPECT_STREQ(txtrmsg[8], "80");
    EXPECT_EQ(zelrun("quote 'y[3]' 'y[8]';"), "0 80\n");
    zelrun("macro -; ttags -;");
}

TEST(Ttags, OfArraysMayBeSigns)
{
    sixtaxa();
    zelrun("macro -; macro =; var: x[12] y[12]; setarray 12 x 7 -1 -2 -3 -4 -5 -6 0 0 0 0 0; ttags *0; ttags =<<x; ttags =>>y;");
    ASSERT_FALSE(zelfailed());
    const char *expected[] = { "7", "-", "Y", "N", " ", "X", "-6" };
    for (int n = 0; n < 7; ++n) EXPECT_STREQ(txtrmsg[n], expected[n]) << n;
    EXPECT_EQ(zelrun("quote 'y[1]' 'y[2]' 'y[3]' 'y[4]' 'y[5]' 'y[6]';"), "-1 -2 -3 -4 -5 -6\n");
    EXPECT_TRUE(holds(failure("ttags =>y;"), "Tag of node 1 is not a number: -"));
    zelrun("ttags =<x; ttags =>y;");
    EXPECT_EQ(zelrun("quote 'y[2]';"), "-2\n");
    zelrun("macro -; ttags -;");
}

TEST(Ttags, RefuseArraysThatCannotBe)
{
    sixtaxa();
    zelrun("macro -; macro =; var: short[3] table[4 4];");
    EXPECT_TRUE(holds(failure("ttags *<short;"), "Must set target tree (ttag*N ) before writing to a node"));
    EXPECT_TRUE(holds(failure("ttags =<short;"), "Option \"=<\" valid only when macros and tree-tags connected"));
    zelrun("ttags *0;");
    EXPECT_TRUE(holds(failure("ttags =<short;"), "Variable 0 has only 3 values (0-2) for dimension 1"));
    EXPECT_TRUE(holds(failure("ttags =<table;"), "Tags require one-dimensional arrays"));
    EXPECT_TRUE(holds(failure("ttags =<5;"), "Arrays must be specified with names, not numbers"));
    zelrun("macro -; ttags -;");
}

}
