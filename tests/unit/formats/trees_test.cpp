// Trees of Nexus and Newick files.
#include "formatstest.h"
#include "trees/treefile.h"
#include "trees/treemodel.h"
#include "trees/treetags.h"
#include "data/lists.h"

namespace {
void ninetaxa()
{
    fresh("hold 100;");
    readforeign(nexusdata("ntax=9 nchar=1", "missing=?", "a 0\nb 0\nc 0\nd 0\ne 1\nf 1\n'Homo sapiens' 1\n12 1\nI 1"));
    ASSERT_EQ(nt, 9);
}

std::string tree(int t)
{
    std::string text;
    zelrun("taxname-;");
    savetree(mem_tree[t], nt, &text);
    return text;
}

std::string newick(const std::string &text) { return readforeign(text, "["); }
std::string nexus(const std::string &text) { return readforeign("#NEXUS\nbegin trees;\n" + text + "\nend;\n"); }
}

TEST(NexusTrees, AreReadWithTheirTranslations)
{
    ninetaxa();
    std::string said = nexus("translate x1 a, 2 b,\n3 'Homo sapiens', 4 Homo_sapiens , five 5;\n"
                             "tree one = [&R] ((x1,2),3,five); utree * two = [&U] [&W 1/3] (five,(x1,b),c);");
    EXPECT_FALSE(zelfailed()) << said;
    EXPECT_TRUE(says(said, "Read 2 trees (0-1) from NEXUS file")) << said;
    EXPECT_FALSE(says(said, "Tree-tags"));
    EXPECT_EQ(tree(0), "(4 6 (0 1))");
    EXPECT_EQ(tree(1), "(2 4 (0 1))");
    EXPECT_EQ(treegroup[0][0], treegroup[1][0]);
}

TEST(NexusTrees, NumbersCountFromOneAndNamesComeFirst)
{
    ninetaxa();
    EXPECT_FALSE(says(nexus("tree x = (1,2,(3,9));"), "Error"));
    EXPECT_EQ(tree(0), "(0 1 (2 8))");
    nexus("tree x = (12,a,8);");              // a taxon is named so
    EXPECT_TRUE(says(zelrun(";"), "") && zelfailed() == false);
    EXPECT_EQ(trees_in_mem, 1);               // 8 and "12" are the same one
}

TEST(NexusTrees, LabelsAndLengthsBecomeTags)
{
    ninetaxa();
    std::string said = nexus("tree first = (a:1,(b:2,c:0.5)x:3e-2,d); tree second = ((a,b)99,c:-1,d)root;");
    EXPECT_FALSE(zelfailed()) << said;
    EXPECT_TRUE(says(said, "Tree-tags from second")) << said;
    ASSERT_TRUE(txtdatin);
    EXPECT_EQ(std::string(txtrmsg[2]), "-1");
    EXPECT_EQ(std::string(txtrmsg[nt]), "root");
    int ab = txtr[0];
    EXPECT_EQ(std::string(txtrmsg[ab]), "99");
    newick("(a:1,(b:2,c:[&rate=1]0.5)'x y':3e-2,d);");
    EXPECT_EQ(std::string(txtrmsg[txtr[1]]), "x y/3e-2");
    EXPECT_EQ(std::string(txtrmsg[2]), "0.5");
}

TEST(NexusTrees, EveryFaultHasItsWords)
{
    struct { const char *text, *words; } cases[] = {
        { "translate 1 nosuch;", "unrecognized name in translation table (nosuch)" },
        { "translate 1;", "expected taxon name in translation table" },
        { "translate (;", "expected taxon name in translation table" },
        { "tree x (a,b);", "expected '=' after x" },
        { "tree x = (a,(b,c);", "Sorry, couldn't read tree (unbalanced parents.)" },
        { "tree x = (a,b)),c;", "Too many trailing parentheses in tread" },
        { "tree x = (a,,b);", "Expected taxon name" },
        { "tree x = (a,());", "Expected taxon name" },
        { "tree x = ;", "Expected taxon name" },
        { "tree x = (a,zebra);", "Unidentified taxon name: zebra" },
        { "tree x = (a,77);", "No taxon 77" },
        { "tree x = (a,0);", "No taxon 0" },
        { "tree x = (a,b,a);", "a repeated" },
        { "tree x = (a,b)(c,d);", "Sorry, couldn't read tree (unbalanced parents.)" },
        { "tree x = (a);", "A parenthetical tree must contain two or more terminals" },
        { "tree x = a;", "A parenthetical tree must contain two or more terminals" },
    };
    for (auto &c : cases) {
        ninetaxa();
        nexus("tree kept = (a,b,c);");
        std::string said = nexus(c.text);
        EXPECT_TRUE(zelfailed()) << c.text;
        EXPECT_TRUE(says(said, c.words)) << said << c.text;
        EXPECT_EQ(trees_in_mem, 1) << c.text;
    }
    fresh();
    expectrefused("#NEXUS\nbegin trees; end;", "Must read data before reading trees");
}

TEST(NewickTrees, AreReadAndCounted)
{
    ninetaxa();
    std::string said = newick("(a,(b,c));\n");
    EXPECT_TRUE(says(said, "Read 1 tree from Newick tree-file (tree 0)\n")) << said;
    said = newick("[&U](a,(b,c),d); (a,b,\n 'Homo sapiens');(a,homo_SAPIENS,(((d,e))))");
    EXPECT_TRUE(says(said, "Read 3 trees from Newick tree-file (trees 1-3)\n")) << said;
    EXPECT_EQ(tree(1), "(0 3 (1 2))");
    EXPECT_EQ(tree(2), "(0 1 6)");
    EXPECT_EQ(tree(3), "(0 6 (3 4))");
    said = newick("(a:1,b:2,c);");
    EXPECT_TRUE(says(said, "Read 1 tree from Newick tree-file (tree 4) (stored tree-tags as well)\n")) << said;
    EXPECT_TRUE(says(newick(" \n"), "Read 0 trees from Newick tree-file\n"));
}

TEST(NewickTrees, TheBufferGrowsForThem)
{
    ninetaxa();
    std::string many;
    for (int i = 0; i < 400; ++i) many += "(a,(b,c),d);\n";
    newick(many);
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(trees_in_mem, 400);
}

TEST(NewickTrees, DepthHasNoLimit)
{
    zelrun("mxram 64 ;");
    ninetaxa();
    constexpr int DEEP = 100000;
    newick(std::string(DEEP, '(') + "a,b" + std::string(DEEP, ')') + ";");
    ASSERT_EQ(trees_in_mem, 1);
    EXPECT_EQ(tree(0), "(0 1)");
    newick(std::string(DEEP, '(') + "a,b");
    EXPECT_TRUE(zelfailed());
    newick("[" + std::string(DEEP, '[') + std::string(DEEP, ']') + "](a,b);");
    EXPECT_FALSE(zelfailed());
}

TEST(NewickTrees, CutAnywhereTheyLeaveWhatWasThere)
{
    std::string text = "((a:1,b:2)x:3,('Homo sapiens'[note]:1,d),e:1);";
    for (size_t n = 1; n < text.size() - 1; ++n) {
        ninetaxa();
        newick("(a,b,c);");
        std::string said = newick(text.substr(0, n));
        EXPECT_TRUE(zelfailed()) << text.substr(0, n);
        EXPECT_TRUE(says(said, "The file ends within the tree") || says(said, "Unidentified taxon name") ||
                    says(said, "file: unexpected end of file within")) << said;
        EXPECT_EQ(trees_in_mem, 1);
    }
}

TEST(NewickTrees, PunctuationOfNamesMayDiffer)
{
    ninetaxa();
    newick("(a,('homo sapiens.',b),c);");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(tree(0), "(0 2 (1 6))");
}

TEST(NewickTrees, AbsentTaxaGoWhereTheyBelong)
{
    ninetaxa();
    newick("(a,(b,c));");
    EXPECT_EQ(mem_tree[0][8], 0);
    zelrun("absincl = ;");
    newick("(a,(b,c));");
    EXPECT_NE(mem_tree[1][8], 0);
    zelrun("absincl - ;");
    EXPECT_TRUE(says(zelrun("p [ ;"), "Must specify name of Newick file"));
    fresh();
    EXPECT_TRUE(says(zelrun("p [ x;"), "Must read data before reading Newick trees"));
}
