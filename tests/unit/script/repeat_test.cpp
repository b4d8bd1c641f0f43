#include "scripttest.h"
#include "data/matrix.h"
#include "kernel/input.h"
#include "kernel/window.h"
#include "kernel/errors.h"
#include "script/repeat.h"
#include "script/swaps.h"
#include "script/vars.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include <filesystem>
#include <fstream>
#include <set>

namespace fs = std::filesystem;

static void sixtaxa(const std::string &tree = "(0(1(2(3(4 5)))))")
{
    zelrun("xread 2 6 A 00 B 01 C 10 D 11 E 10 F 01 ; tread " + tree + ";");
    typed("report -;");
}

static std::set<std::vector<int>> neighbours(swapkind kind)
{
    std::set<std::vector<int>> seen;
    treearray tree(mem_tree[0], mem_tree[0] + nodz);
    each_rearrangement(tree, kind, [&](const treearray &next) {
        checktree(next.data());
        EXPECT_EQ(countterminals(next.data()), nt);
        EXPECT_EQ(next[0], nt) << "the outgroup stays at the root";
        seen.insert(next);
        return true;
    });
    return seen;
}

TEST(Rearrangements, AreAllThereAre)
{
    // A binary tree of n taxa has 2(n-3)(2n-7) neighbours by SPR; those in which the part with the
    // outgroup is the one that moves are reached by moving the other side, unless it is a large one.
    sixtaxa();
    std::set<std::vector<int>> spr = neighbours(SWAP_SPR), tbr = neighbours(SWAP_TBR);
    for (const auto &tree : spr) EXPECT_TRUE(tbr.count(tree));
    EXPECT_GE(tbr.size(), spr.size());
    EXPECT_LE(spr.size(), 2u * 3 * 5);
    treearray itself(mem_tree[0], mem_tree[0] + nodz);
    EXPECT_FALSE(spr.count(itself));
    zelrun("report =");
}

TEST(Rearrangements, ReachEveryTreeOfSixTaxa)
{
    sixtaxa();
    std::set<std::vector<int>> known = { treearray(mem_tree[0], mem_tree[0] + nodz) };
    std::vector<treearray> open(known.begin(), known.end());
    while (!open.empty()) {
        treearray tree = open.back();
        open.pop_back();
        each_rearrangement(tree, SWAP_SPR, [&](const treearray &next) {
            if (known.insert(next).second) open.push_back(next);
            return true;
        });
    }
    EXPECT_EQ(known.size(), 105u);
    zelrun("report =");
}

TEST(Rearrangements, OfPolytomiesAreTrees)
{
    for (const char *tree : { "(0 1 2 3 4 5)", "(0(1 2 3)(4 5))", "(0(1(2 3 4)5))" }) {
        sixtaxa(tree);
        EXPECT_GT(neighbours(SWAP_SPR).size(), 0u);
        neighbours(SWAP_TBR);
    }
    zelrun("report =");
}

TEST(SwapCommands, RunAtEveryRearrangement)
{
    sixtaxa();
    EXPECT_EQ(zelrun("set 0 0; sprit 0 set 0 ++; if ('0' == 4) endswap; end stop quote '0';"), "4\n");
    EXPECT_EQ(zelrun("set 0 0; set 1 0; sprit 0 set 0 ++; if ('0' < 4) continue; end set 1 ++; if ('0' == 6) endswap; end stop quote '0' '1';"), "6 3\n");
    std::vector<int> before(mem_tree[0], mem_tree[0] + nodz);
    zelrun("tbrit 0 stop");
    EXPECT_EQ(std::vector<int>(mem_tree[0], mem_tree[0] + nodz), before) << "the tree is again what it was";
    zelrun("set 0 0; sprit 0 set 0 ++; if ('0' == 2) resetswap; end if ('0' == 5) endswap; end stop");
    EXPECT_NE(std::vector<int>(mem_tree[0], mem_tree[0] + nodz), before);
    EXPECT_EQ(macroswaploop, -2);
    EXPECT_EQ(zelrun("loop 5 6 sprit 0 quote #1; endswap; stop stop"), "5\n6\n") << "loops outside are seen";
    EXPECT_EQ(zelrun("sprit 0 loop 1 2 quote #1; stop endswap; stop"), "1\n2\n");
    EXPECT_EQ(zelrun("sprit 0 loop 1 9 quote #1; endswap; stop stop quote after;"), "1\nafter\n");
    zelrun("report =;");
    EXPECT_TRUE(has(zelrun("sprit + 0 stop"), "Start to swap tree 0 \nFinished swapping ("));
}

TEST(SwapCommands, DoNotNestThroughOtherCommands)
{
    sixtaxa();
    std::string inner = writefile("inner.run", "sprit 0 quote no; stop"), dir = tempdir() + "/onefile";
    fs::create_directories(dir);
    std::ofstream(dir + "/a.x") << "a";
    for (const std::string &within : { "run " + inner + ";", "forfiles " + dir + "/* sprit 0 quote no; stop stop",
                                       std::string("travtree below 0 3 0 bandb quote no; stop endtrav"),
                                       std::string("var: x[2]; combine 2 1 x tbrit 0 quote no; stop endcomb") })
        for (const char *outer : { "sprit 0 ", "tbrit 0 ", "bandb " }) {
            std::string said = zelrun(outer + within + " stop");
            EXPECT_TRUE(has(said, "Can't nest \"sprit\", \"tbrit\", or \"bandb\" commands")) << outer << within << said;
            EXPECT_FALSE(has(said, "no\n")) << said;
            sixtaxa();
        }
    EXPECT_EQ(zelrun("forfiles " + dir + "/* sprit 0 quote yes; endswap; stop stop"), "yes\n") << "the other way round they do";
    zelrun("report =");
}

TEST(SwapCommands, EndWhenTheDataChange)
{
    std::string large = writefile("large.zel", "xread 2 9 A 00 B 01 C 10 D 11 E 11 F 11 G 10 H 01 I 00 ; tread (0(1(2(3(4(5(6(7 8)))))))) ; proc/;");
    std::string small = writefile("small.zel", "xread 2 4 A 00 B 01 C 10 D 11 ; tread (0(1(2 3))) ; proc/;");
    for (const std::string &data : { large, small })
        for (const char *command : { "sprit 0 ", "tbrit 0 ", "bandb " }) {
            sixtaxa();
            EXPECT_TRUE(has(zelrun(command + ("proc " + data + "; set 0 percswap; stop")), "The tree being swapped is no longer in memory")) << command;
            sixtaxa();
            EXPECT_FALSE(has(zelrun("sprit 0 proc " + data + "; endswap; stop"), "ERROR"));
        }
    for (const std::string &data : { large, small })
        for (const char *kind : { "up", "down", "up terms" }) {
            sixtaxa();
            EXPECT_TRUE(has(zelrun("travtree " + std::string(kind) + " 0 root 0 proc " + data + "; skipdes; endtrav"),
                            "The tree being travelled is no longer in memory"));
        }
    zelrun("report =");
}

TEST(SwapCommands, SayWhenTheyAreInterrupted)
{
    zelrun("mxram 64;");
    sixtaxa();
    zelrun("report =;");
    static bool pressed;
    pressed = false;
    auto was = window.zel_app_window_getKeyPressed;
    window.zel_app_window_getKeyPressed = [] { return doing_a_search && !pressed ? (pressed = true, KEY_ESC) : 0; };
    std::string said = zelrun("p " ZEL_EXAMPLES_DIR "/bees.zel; p " ZEL_EXAMPLES_DIR "/bees_ten.tre; hold 1000; sprit 0 mult = replic 100000; stop");
    window.zel_app_window_getKeyPressed = was;
    EXPECT_TRUE(pressed);
    EXPECT_TRUE(has(said, "Interrupted swapping (1 rearrangements)")) << said;
    EXPECT_FALSE(has(said, "Finished swapping"));
}

TEST(SwapCommands, AreRefused)
{
    sixtaxa();
    EXPECT_TRUE(has(zelrun("sprit 0 tbrit 0 stop stop"), "Can't nest \"sprit\", \"tbrit\", or \"bandb\" commands"));
    EXPECT_TRUE(has(zelrun("sprit 0 bandb stop stop"), "Can't nest"));
    EXPECT_TRUE(has(zelrun("sprit 3 stop"), "No tree number 3"));
    EXPECT_TRUE(has(zelrun("sprit 0 keep 0; stop"), "no longer in memory"));
    EXPECT_TRUE(has(zelrun("endswap"), "endswap is not valid here"));
    EXPECT_TRUE(has(zelrun("cutbranch"), "cutbranch is not valid here"));
    EXPECT_TRUE(has(zelrun("killfiles"), "killfiles is not valid here"));
    sixtaxa();
    EXPECT_TRUE(has(zelrun("sprit 0 quote " + std::string(4200, 'x') + "; stop"), "Sorry, instructions are too long ("));
    EXPECT_EQ(macroswaploop, -2);
    EXPECT_TRUE(has(zelrun("sprit 0 nosuchcommand; stop"), "Unknown command: nosuchcommand"));
    EXPECT_EQ(macroswaploop, -2);
    EXPECT_FALSE(has(zelrun("sprit 0 endswap; stop"), "Can't nest"));
    zelrun("report =");
}

TEST(AllTrees, AreMadeTaxonByTaxon)
{
    sixtaxa();
    zelrun("keep 0");
    EXPECT_EQ(zelrun("set 0 0; bandb set 0 ++; stop quote '0';"), std::to_string(1 + 3 + 15 + 105) + "\n");
    EXPECT_EQ(trees_in_mem, 1);
    EXPECT_EQ(mem_tree[0][nt], nt + 1) << "a polytomy is left";
    EXPECT_EQ(zelrun("set 0 0; bandb set 0 ++; if ('0' > 1) cutbranch; end stop quote '0';"), "4\n");
    EXPECT_EQ(zelrun("set 0 0; bandb set 0 ++; if ('0' == 50) endbranch; end stop quote '0';"), "50\n");
    zelrun("hold 3; set 0 ntrees; ");
    EXPECT_TRUE(has(zelrun("bandb stop"), "Increase maxtrees to branch-and-bound on tree 3"));
    zelrun("report =;");
    sixtaxa();
    zelrun("report =;");
    EXPECT_EQ(zelrun("bandb endbranch; stop"), "Start generating trees... \nFinished generating trees \n");
    EXPECT_TRUE(has(zelrun("xwipe; bandb stop"), "Must read data before generating trees"));
}

TEST(Travels, MeetTheNodesOfTheirKind)
{
    // Root 6; 7 = (1 ...), 8 = (2 ...), 9 = (3 ...), 10 = (4 5).
    sixtaxa();
    std::string list = " 0 quote '0'; endtrav";
    auto walk = [&](const std::string &kind, const std::string &rest = "") {
        std::string said = zelrun("travtree " + kind + " " + rest + list);
        std::replace(said.begin(), said.end(), '\n', ' ');
        return said;
    };
    auto parent = [](int n) { return mem_tree[0][n]; };
    int a = parent(5), b = parent(a);
    EXPECT_EQ(walk("up", "0 " + std::to_string(b)), std::to_string(b) + " " + std::to_string(a) + " ");
    EXPECT_EQ(walk("down", "0 " + std::to_string(b)), std::to_string(a) + " " + std::to_string(b) + " ");
    EXPECT_EQ(walk("up terms", "0 " + std::to_string(a)), std::to_string(a) + " 4 5 ");
    EXPECT_EQ(walk("down terms", "0 " + std::to_string(a)), "4 5 " + std::to_string(a) + " ");
    EXPECT_EQ(walk("up terms", "0 " + std::to_string(a) + " -"), "4 5 ");
    EXPECT_EQ(walk("des", "0 " + std::to_string(b)), "3 " + std::to_string(a) + " ");
    EXPECT_EQ(walk("path", "0 4 3"), "4 " + std::to_string(a) + " " + std::to_string(b) + " 3 ");
    EXPECT_EQ(walk("path", "0 3 3"), "3 ");
    EXPECT_EQ(walk("below", "0 0"), "0 6 ");
    EXPECT_EQ(walk("below", "0 0 -"), "6 ");
    EXPECT_EQ(walk("up", "0 root").substr(0, 2), "6 ");
    zelrun("travtree +;");
    EXPECT_EQ(walk("up terms", "0 " + std::to_string(a)).substr(0, 2), std::to_string(a).substr(0, 2));
    zelrun("travtree -; report =");
}

TEST(Travels, SkipAndEnd)
{
    sixtaxa();
    EXPECT_EQ(zelrun("set 1 0; travtree up terms 0 root 0 set 1 ++; if ('0' != root) skipdes; end endtrav quote '1';"), "3\n");
    EXPECT_EQ(zelrun("set 1 0; travtree up terms 0 root 0 set 1 ++; if ('1' == 4) killtrav; end endtrav quote '1';"), "4\n");
    EXPECT_EQ(zelrun("set 1 0; travtree up 0 root 0 travtree des 0 '0' 2 set 1 ++; endtrav endtrav quote '1';"), "10\n");
    EXPECT_EQ(zelrun("loop 1 2 travtree below 0 0 0 quote #1 '0'; endtrav stop"), "1 0\n1 6\n2 0\n2 6\n");
    EXPECT_TRUE(has(zelrun("killtrav"), "Unknown command: killtrav"));
    zelrun("report =");
}

TEST(Travels, AreRefused)
{
    sixtaxa();
    EXPECT_TRUE(has(zelrun("travtree sideways 0 0 0 endtrav"), "Unrecognized type of travel: sideways"));
    EXPECT_TRUE(has(zelrun("travtree up 5 0 0 endtrav"), "No tree number 5"));
    EXPECT_TRUE(has(zelrun("travtree up 0 50 0 endtrav"), "No node 50 in tree 0"));
    EXPECT_TRUE(has(zelrun("travtree up 0 root 0 quote x;"), "expecting \"endtrav\""));
    EXPECT_TRUE(has(zelrun("travtree =0;"), "Maximum level of recursion for tree-traversing must be >= 1 "));
    EXPECT_TRUE(has(zelrun("travtree =1; travtree up 0 root 0 travtree des 0 6 1 endtrav endtrav"), "Can't nest more than 1"));
    EXPECT_TRUE(has(zelrun("travtree up 0 root 0 run " + writefile("nest.run", "travtree =3;") + "; endtrav"), "Cannot change maximum level of recursion"));
    zelrun("travtree =5; mxproc 10;");
    std::string deep = "travtree =50;", body;
    for (int i = 0; i < maxnest + 1; ++i) deep += "travtree below 0 root " + std::to_string(i) + " ";
    for (int i = 0; i < maxnest + 1; ++i) deep += "endtrav ";
    EXPECT_TRUE(has(zelrun(deep), "Can't run tree travelling with " + std::to_string(maxnest) + " open files\nYou may increase \"mxproc\" and try again"));
    EXPECT_EQ(nested_runs(), 0);
    zelrun("travtree =5; report =");
}

TEST(Combinations, AreAllThereAre)
{
    typed("report -; var: x[5] m[2 3]; macfloat 0;");
    EXPECT_EQ(zelrun("combine 4 2 x quote 'x[0-1]'; endcomb"), "0 1\n0 2\n0 3\n1 2\n1 3\n2 3\n");
    EXPECT_EQ(zelrun("set 20 0; combine 5 0/5 x set 20 ++; set 21 listsize; endcomb quote '20' '21';"), "32 4\n");
    EXPECT_EQ(zelrun("combine 3 * x quote 'x[0-2]'; endcomb"), "0 1 2\n0 2 1\n1 0 2\n1 2 0\n2 0 1\n2 1 0\n");
    EXPECT_EQ(zelrun("set 20 0; combine 4 1 x set 20 ++; if ('20' == 2) killcomb; end endcomb quote '20';"), "2\n");
    std::string script = writefile("matrices.run", "set 20 0; combine 2^(3,2) m set 20 ++; quote 'm[0 0-2]' 'm[1 0-2]'; endcomb quote '20';");
    std::string said = zelrun("run " + script + ";");
    EXPECT_FALSE(zelfailed()) << said;
    zelrun("report =");
}

TEST(Combinations, OfRowsFillUpWithMinusOne)
{
    std::string said = fromfile("report -; var: m[2 3]; macfloat 0; combine 2^(3,2) m quote 'm[0 0-2]' 'm[1 0-2]'; endcomb macfloat 6; report =;");
    EXPECT_EQ(said.substr(0, 45), "0 1 2 0 1 -1\n0 1 2 0 2 -1\n0 1 2 1 2 -1\n0 2 1 ");
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 6 * 3 + 1);
}

TEST(Combinations, AreRefused)
{
    std::string with = "var: x[3]; ";
    EXPECT_TRUE(has(typed(with + "combine 0 1 x endcomb"), "Number of elements must be 1 or more"));
    EXPECT_TRUE(has(typed(with + "combine 3 4 x endcomb"), "Number of elements must be 1 or more"));
    EXPECT_TRUE(has(typed(with + "combine 5 4 x endcomb"), "has only 3 values"));
    EXPECT_TRUE(has(fromfile(with + "combine 2^(3,2 x endcomb"), "Separate values with commas"));
    EXPECT_TRUE(has(fromfile(with + "combine 2^(3,2; endcomb"), "Expected closing parenthesis"));
    EXPECT_TRUE(has(fromfile("var: m[6 6]; combine 6^(3,2,2,2,2,2) m endcomb"),
                    "Cannot do matrices of 6x3 with maximum recursion level 5.\nChange maximum recursion with \"combine=6;\"\n"));
    EXPECT_TRUE(has(typed("combine =0;"), "must be >= 1"));
}

TEST(Combinations, NeedAnArray)
{
    EXPECT_TRUE(has(typed("var: x y z; combine 3 2 x quote no; endcomb"), "Variable 0 is no array; the combinations have up to 2 values"));
    EXPECT_FALSE(has(typed("var: x y; combine 3 1 x set y ++; endcomb"), "no array"));
    EXPECT_EQ(value_of(1), 3);
}

TEST(Steps, SeeTheArgumentsOfTheirFile)
{
    sixtaxa();
    EXPECT_EQ(zelrun("travtree des 0 root 0 quote [%1] [%(1)]; killtrav; endtrav quote after;"), "[] []\nafter\n") << "typed commands have none";
    std::string file = writefile("steps.run", "travtree des 0 root 0 quote [%1] [%2] [%(argnumber)]; killtrav; endtrav"
                                              " sprit 0 forfiles " ZEL_EXAMPLES_DIR "/bees.zel quote %2; stop endswap; stop");
    EXPECT_EQ(zelrun("silent = all; run " + file + " a b; silent - all;"), "");
    std::string said = zelrun("run " + file + " a b;");
    EXPECT_TRUE(has(said, "[a] [b] [b]\nb\n")) << said;
    zelrun("report =");
}

TEST(Steps, KeepTheLanguageOn)
{
    sixtaxa();
    std::string switches = writefile("switches.run", "macro -; macro *15 2; macro =;");
    for (std::string inside : { std::string("macro -;"), std::string("macro ;"), "run " + switches + ";" })
        for (std::string steps : { "sprit 0 @ stop", "bandb @ stop", "travtree up 0 root 0 @ endtrav", "var: x[3]; combine 3 2 x @ endcomb",
                                   "forfiles " ZEL_EXAMPLES_DIR "/* @ stop" }) {
            sixtaxa();
            steps.replace(steps.find('@'), 1, inside);
            EXPECT_TRUE(has(zelrun(steps), "Can't disconnect macros from within a loop!")) << steps;
            EXPECT_TRUE(macros_are_on());
        }
    zelrun("report =");
}

TEST(FilesOfADirectory, AreVisited)
{
    std::string dir = tempdir() + "/folder";
    fs::create_directories(dir + "/sub.x");
    for (const char *name : { "a.x", "b.x", "c.y", "with blank.x", "with#sharp.x" }) std::ofstream(dir + "/" + name) << name;
    std::string said = typed("forfiles " + dir + "/*.x quote <$curfile>; set 0 curisdir; quote '0'; stop");
    EXPECT_TRUE(has(said, "Start checking files... \n"));
    EXPECT_TRUE(has(said, "<a.x>\n0\n")) << said;
    EXPECT_TRUE(has(said, "<with^blank.x>\n0\n"));
    EXPECT_TRUE(has(said, "<sub.x>\n1\n"));
    EXPECT_FALSE(has(said, "with#sharp"));
    EXPECT_TRUE(has(said, "File names with # ' \" or $ will be skipped (they're reserved sigils)\n"));
    EXPECT_TRUE(has(said, "Finished checking files (4 found).\n"));
    EXPECT_TRUE(has(typed("forfiles " + dir + "/* killfiles; stop"), "(1 found)"));
    EXPECT_TRUE(has(typed("forfiles " + dir + "/?.x continue; quote no; stop"), "(2 found)"));
    EXPECT_TRUE(has(typed("forfiles /no/such/* stop"), "Can't open /no/such"));
}

TEST(CopiedTrees, ComeAlsoFromConstraintsAndTags)
{
    sixtaxa("(0(1(2(3(4 5)))))*(0(5(4(3(2 1)))))");
    zelrun("report =; force = (0 1 2 (3 4 5));");
    EXPECT_EQ(zelrun("copytree *;"), "Tree of constraints copied to tree 2 \n");
    EXPECT_EQ(mem_tree[2][3], mem_tree[2][5]);
    EXPECT_EQ(mem_tree[2][0], mem_tree[2][1]);
    EXPECT_EQ(countterminals(mem_tree[2]), 6);
    EXPECT_EQ(mem_tree[2][nt], nt + 2) << "the root and one group";
    EXPECT_EQ(zelrun("force ]; ttags *1; copytree + 0;"), "No constraints defined \nTree of tags copied to tree 0 \n");
    EXPECT_TRUE(equal_tree(mem_tree[0], mem_tree[1]));
    EXPECT_TRUE(has(zelrun("ttags -; copytree + 1;"), "No tag-tree is defined; can't copy onto 1"));
    EXPECT_TRUE(has(zelrun("copytree +;"), "No tag-tree is defined; can't copy onto 3"));
    EXPECT_TRUE(has(zelrun("copytree [;"), "not available yet"));
}

TEST(CopiedTrees, GoWhereTheyAreSent)
{
    sixtaxa("(0(1(2(3(4 5)))))*(0(5(4(3(2 1)))))");
    zelrun("report =;");
    EXPECT_EQ(zelrun("copytree 0 1;"), "Tree 0 copied to tree 1 \n");
    EXPECT_TRUE(equal_tree(mem_tree[0], mem_tree[1]));
    EXPECT_EQ(zelrun("copytree 1;"), "Tree 1 copied to tree 2 \n");
    EXPECT_EQ(trees_in_mem, 3);
    EXPECT_TRUE(has(zelrun("copytree 9 0;"), "No tree number 9"));
    EXPECT_TRUE(has(zelrun("copytree 0 9;"), "No tree number 9"));
    EXPECT_TRUE(has(zelrun("copytree + 2;"), "No tag-tree is defined; can't copy onto 2"));
    EXPECT_TRUE(has(zelrun("copytree * 2;"), "No constraint tree is defined"));
    EXPECT_TRUE(has(zelrun("copytree ! 2;"), "not available yet"));
    zelrun("hold 3");
    EXPECT_TRUE(has(zelrun("copytree 0;"), "Can't store more trees (tree buffer full)"));
}
