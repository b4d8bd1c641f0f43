// What is exported and saved reads back to the same matrix, settings, trees and tags.
#include "formatstest.h"
#include <algorithm>
#include "data/costs.h"
#include "data/lists.h"
#include "data/smatrix.h"
#include "data/taxa.h"
#include "trees/treemodel.h"
#include "trees/treetags.h"
#include <bit>
#include <cstring>
#include <random>
#include <sys/resource.h>

namespace {
std::string out(const std::string &name) { return tempdir() + "/" + name; }

// All of the states, missing entries, several states; names that need quotes.
void randomdata(std::mt19937 &rng, int type)
{
    constexpr int CHARS = 23;
    int taxa = 6 + int(rng() % 6), states = type == DATA_DNA ? 4 : type == DATA_PROT ? 21 : 3 + int(rng() % 12);
    const char *odd[] = { "a b", "x(1)", "it's", "p.q", "u_v", "[w]", "k=m", "(z" };
    fresh(type == DATA_DNA ? "nstates dna; nstates gaps;" : type == DATA_PROT ? "nstates prot; nstates gaps;" : "");
    std::string rows = "xread " + std::to_string(CHARS) + " " + std::to_string(taxa) + "\n&[" +
                       (type == DATA_DNA ? "dna" : type == DATA_PROT ? "prot" : "num") + "]\n";
    for (int t = 0; t < taxa; ++t) {
        std::string name = t < 8 ? odd[t] : "T" + std::to_string(t);
        std::replace(name.begin(), name.end(), ' ', '_');
        rows += name + " ";
        for (int c = 0; c < CHARS; ++c) {
            auto symbol = [&] {
                int s = int(rng() % unsigned(states));
                return type == DATA_DNA ? "AGCT"[s] : type == DATA_PROT ? "ACDEFGHIKLMNPQRSTVWYU"[s] : "0123456789ABCDEF"[s];
            };
            unsigned kind = rng() % 10;
            if (!kind) rows += '?';
            else if (kind == 1) rows += std::string("[") + symbol() + symbol() + symbol() + "]";
            else if (kind == 2 && type != DATA_NUM) rows += '-';
            else rows += symbol();
        }
        rows += '\n';
    }
    std::string said = zelrun("p " + newfile(rows + ";\nproc/;") + ";");
    ASSERT_FALSE(zelfailed()) << said;
    for (int c = 0; c < nc; ++c) {
        charcodes[c].active = rng() % 4 != 0;
        charcodes[c].weight = rng() % 3 ? 1 : int(rng() % 5);
        charcodes[c].additive = rng() % 3 == 0;
    }
    charcodes[0].active = 1;
    if (type == DATA_NUM)
        for (int c : { 2, 5, 7 }) {
            charcodes[c].additive = 0;
            charcodes[c].sankoff = 1;
            for (int a = 0; a < charcodes[c].numstates; ++a)
                for (int b = 0; b < charcodes[c].numstates; ++b)
                    charcodes[c].costs[a][b] = a == b ? 0 : c == 7 && a > b ? FORBIDDEN : uint32_t(c == 5 ? 1 + (b > 1) : 1 + b);
        }
    chartables_reset();
    set_charcodes();
    store_ccode();
    std::vector<uint8_t> active(size_t(nt), 1);
    active[size_t(nt) - 1] = rng() % 2;
    set_active_taxa(active.data());
    set_charcodes();
    zelrun("rseed 7; randtrees 5 30 4;");
}

std::string activetext()
{
    std::string all;
    for (int t = 0; t < nt; ++t) all += taxact[t] ? '1' : '0';
    return all;
}

std::string treestext()
{
    std::string all;
    for (int t = 0; t < trees_in_mem; ++t)
        for (int n = 0; n < nodz; ++n) all += std::to_string(n < mem_tree[t][nt] || n < nt ? mem_tree[t][n] : 0) + " ";
    return all;
}

std::string tagstext()
{
    std::string all;
    for (int n = 0; n < txtr[nt]; ++n) all += std::string(txtrmsg[n]) + "|";
    return all;
}

// Tags for tree 0, a number at every terminal and both kinds at nodes.
void tagfirsttree(bool numbers)
{
    memcpy(txtr, mem_tree[0], sizeof(int) * size_t(nodz));
    for (int n = 0; n < nodz; ++n) {
        bool absent = n < nt && !txtr[n];
        std::string text = absent ? "" : std::to_string(n) + ".5";
        if (!numbers && n >= nt && n % 3) text = n % 3 == 1 ? "lab el" + std::to_string(n) : "x" + std::to_string(n) + "/1e-3";
        strcpy(txtrmsg[n], text.c_str());
    }
    txtdatin = 1;
}
}

TEST(Export, NexusReadsBackToTheSame)
{
    std::mt19937 rng(11);
    for (int trial = 0; trial < 30; ++trial) {
        int type = trial % 3 == 0 ? DATA_NUM : trial % 3 == 1 ? DATA_DNA : DATA_PROT;
        memset(defstepmat, 0, sizeof defstepmat);
        randomdata(rng, type);
        std::string matrix = matrixtext(), settings = settingstext(), active = activetext(), trees = treestext();
        std::string said = zelrun("export *+ " + out("back.nex") + ";");
        ASSERT_FALSE(zelfailed()) << said;
        EXPECT_TRUE(says(said, "Saved data and trees (Nexus format) to file " + out("back.nex"))) << said;
        std::string gaps = type == DATA_NUM ? "" : "nstates gaps;";
        fresh(gaps);
        said = zelrun("p " + out("back.nex") + ";");
        ASSERT_FALSE(zelfailed()) << said << readfile(out("back.nex"));
        EXPECT_EQ(matrixtext(), matrix) << readfile(out("back.nex"));
        EXPECT_EQ(settingstext(), settings) << readfile(out("back.nex"));
        EXPECT_EQ(activetext(), active);
        EXPECT_EQ(treestext(), trees);
    }
    memset(defstepmat, 0, sizeof defstepmat);
}

TEST(Export, TreesAndTagsReadBackToTheSame)
{
    std::mt19937 rng(12);
    for (int trial = 0; trial < 20; ++trial) {
        randomdata(rng, DATA_NUM);
        tagfirsttree(trial % 2);
        std::string trees = treestext(), tags = tagstext();
        for (const char *how : { "-", "-=", ">", ">=" }) {
            bool newick = strchr(how, '='), alone = strchr(how, '>');
            if (alone && !(trial % 2)) continue;
            txtdatin = 1;
            std::string said = zelrun(std::string("export ") + how + " " + out("back.tre") + ";");
            ASSERT_FALSE(zelfailed()) << said;
            EXPECT_TRUE(says(said, newick ? "Saved trees (Newick format)" : "Saved trees (Nexus format)")) << said;
            int n = trees_in_mem;
            zelrun("keep 0;");
            txtdatin = 0;
            said = zelrun(std::string("p ") + (newick ? "[" : "") + out("back.tre") + ";");
            ASSERT_FALSE(zelfailed()) << said << readfile(out("back.tre"));
            ASSERT_EQ(trees_in_mem, alone ? 1 : n);
            ASSERT_TRUE(txtdatin);
            EXPECT_EQ(tagstext(), tags) << readfile(out("back.tre"));
            if (!alone) EXPECT_EQ(treestext(), trees);
            else {
                EXPECT_TRUE(equal_tree(mem_tree[0], txtr));
                break;
            }
        }
    }
    txtdatin = 0;
}

TEST(Export, FastaReadsBackToTheSame)
{
    std::mt19937 rng(13);
    for (int type : { DATA_DNA, DATA_PROT, DATA_NUM }) {
        randomdata(rng, type);
        std::string matrix = matrixtext();
        std::string said = zelrun("export ! " + out("back.fas") + ";");
        ASSERT_FALSE(zelfailed()) << said;
        EXPECT_TRUE(says(said, "Saved data (Fasta format) to file"));
        fresh(type == DATA_DNA ? "nstates dna; nstates gaps;" : type == DATA_PROT ? "nstates prot; nstates gaps;" : "nstates num 16;");
        said = zelrun("p &" + out("back.fas") + ";");
        ASSERT_FALSE(zelfailed()) << said;
        EXPECT_EQ(matrixtext(), matrix);
    }
    fresh("nstates dna; nstates gaps;");
    zelrun("p &" + newfile(">a\nA-C\n>b\nACG\n>c\n--R\n>d\nA?C\n") + "; export !! " + out("nogaps.fas") + ";");
    EXPECT_EQ(readfile(out("nogaps.fas")), ">a\nAC\n>b\nACG\n>c\nR\n>d\nA?C\n");
}

TEST(Export, WritesTheText)
{
    fresh();
    memset(defstepmat, 0, sizeof defstepmat);
    readforeign(FOUR);
    zelrun("ccode + 0 ] 1 /3 2; cost 3 = 0/1 2; ccode ( 3; tread (0 (1 2) 3)* (0 (1 (2 3)));");
    zelrun("export *+ " + out("text.nex") + "+ begin notes., x., end., ;");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(readfile(out("text.nex")),
              "#NEXUS\nbegin data;\ndimensions ntax=4 nchar=5;\nformat missing=? symbols=\"0~1\";\nmatrix\n"
              "a 00000\nb 00111\nc 11?{01}1\nd 111?0\n;\nend;\n"
              "\nbegin assumptions ; "
              "\nexclude 2 3 ;"
              "\nctype ord: 1 2 3 ;"
              "\nweights 3: 3 ;"
              "\nusertype ustyp0 = 2\n     0     1\n     .     2\n     2     ."
              "\n;end;\nctype ustyp0: 4 ;\n"
              "\nbegin trees ; \ntree zel_0 = [&U] \n(a,d,(b,c));\ntree zel_1 = [&R] \n(a,(b,(c,d)));\n\nend ; "
              " begin notes; x; end; \n");
}

TEST(Export, DataAsDnaOrNumbers)
{
    fresh();
    readforeign(FOUR);
    zelrun("export [ " + out("dna.nex") + ";");
    EXPECT_TRUE(says(readfile(out("dna.nex")), "format datatype=dna missing=? gap=-;\nmatrix\na AAAAA\nb AAGGG\nc GG?RG\n"));
    fresh();
    readforeign(nexusdata("ntax=4 nchar=2", "datatype=dna", "a AC\nb GN\nc A?\nd TT"));
    zelrun("export ] " + out("num.nex") + ";");
    EXPECT_TRUE(says(readfile(out("num.nex")), "symbols=\"0~3\";\nmatrix\na 02\nb 1{0123}\nc 0?\nd 33\n"));
    fresh();
    readforeign(nexusdata("ntax=4 nchar=1", "missing=?", "a 0\nb 1\nc 5\nd 2"));
    EXPECT_TRUE(says(zelrun("export [ " + out("dna.nex") + ";"), "Cannot convert data with 6 states (e.g. char. 0) into \"DNA\""));
}

TEST(Export, EveryRefusalHasItsWords)
{
    fresh();
    EXPECT_TRUE(says(zelrun("export " + out("no.nex") + ";"), "Must read data before exporting data"));
    zelrun("nstates cont; p " + newfile("xread 2 4 &[cont]\na 1 2\nb 1 3\nc 1 2\nd 2 2\n; proc/;") + ";");
    EXPECT_TRUE(says(zelrun("export " + out("no.nex") + ";"), "Cannot export data sets with continuous characters"));
    fresh();
    readforeign(FOUR);
    txtdatin = 0;
    struct { std::string command, words; } cases[] = {
        { "export ;", "Must give name of file" },
        { "export * " + out("no.nex") + ";", "No trees to save to NEXUS file!" },
        { "export - " + out("no.nex") + ";", "No trees to save to NEXUS file!" },
        { "export = " + out("no.nex") + ";", "No trees to save to NEXUS file!" },
        { "export > " + out("no.nex") + ";", "No tree-tags to save!" },
        { "export < " + out("no.nex") + ";", "No tree-tags to save!" },
        { "export ! | x;", "Cannot save as both Fasta and TPS" },
        { "export ! * x;", "Saving trees as FASTA doesn't allow saving trees/costs" },
        { "export ! + x;", "Saving trees as FASTA doesn't allow saving trees/costs" },
        { "export | * x;", "Cannot save in TPS with costs or trees" },
        { "export | x 0;", "Sorry, saving landmarks is not available yet" },
        { "export /no/such/folder/x;", "Can't open file \"/no/such/folder/x\" for writing..." },
        { "xread * /no/such/folder/x;", "Can't open file \"/no/such/folder/x\" for writing..." },
        { "xread * (0) x;", "Tree(s) are required" },
    };
    for (auto &c : cases) {
        std::string said = zelrun(c.command);
        EXPECT_TRUE(zelfailed()) << c.command;
        EXPECT_TRUE(says(said, c.words)) << c.command << said;
    }
    EXPECT_EQ(readfile(out("no.nex")), "");
    writefile("there.nex", "old");
    EXPECT_TRUE(says(zelrun("export " + out("there.nex") + ";"),
                     "File \"" + out("there.nex") + "\" already exists.  It will be overwritten."));
    EXPECT_NE(readfile(out("there.nex")), "old");
}

TEST(Export, AFailureToWriteLeavesTheOldFile)
{
    fresh("rseed 1;");
    zelrun("xread / 3000 40 4;");
    writefile("safe.nex", "old");
    rlimit was, small{ 4096, 0 };
    getrlimit(RLIMIT_FSIZE, &was);
    small.rlim_max = was.rlim_max;
    setrlimit(RLIMIT_FSIZE, &small);
    std::string said = zelrun("export " + out("safe.nex") + ";"), too = zelrun("xread * " + out("safe.nex") + ";");
    setrlimit(RLIMIT_FSIZE, &was);
    EXPECT_TRUE(says(said, "Can't write to file " + out("safe.nex") + " - it was left as it was before")) << said;
    EXPECT_TRUE(says(too, "Can't write to file")) << too;
    EXPECT_EQ(readfile(out("safe.nex")), "old");
}

// --- The native form ---

TEST(SavedData, ReadBackToTheSame)
{
    std::mt19937 rng(17);
    for (int trial = 0; trial < 30; ++trial) {
        int type = trial % 3 == 0 ? DATA_NUM : trial % 3 == 1 ? DATA_DNA : DATA_PROT;
        randomdata(rng, type);
        std::string matrix = matrixtext(), settings = settingstext(), active = activetext();
        std::string said = zelrun("xread * " + out("back.zel") + ";");
        ASSERT_FALSE(zelfailed()) << said;
        EXPECT_TRUE(says(said, "Saved data to file " + out("back.zel")));
        std::string text = readfile(out("back.zel"));
        EXPECT_EQ(text.find("nstates"), 0u);
        EXPECT_TRUE(says(text, "xread 'Data saved from ZEL'\n"));
        fresh();
        said = zelrun("p " + out("back.zel") + ";");
        ASSERT_FALSE(zelfailed()) << said << text;
        EXPECT_EQ(matrixtext(), matrix) << text;
        EXPECT_EQ(settingstext(), settings) << text;
        EXPECT_EQ(activetext(), active);
    }
}

TEST(SavedData, OfSeveralTypesReadBackToTheSame)
{
    fresh("nstates 32;");
    std::string said = zelrun("p " + newfile("xread 9 4\n&[cont]\na 1.5 ?\nb 2-3 *\nc 0.001 65\nd 7 8\n&[dna gaps /bases]\na AC-\nb AC?\n"
                          "c NGT\nd RYA\n&[num /bones]\na 01\nb 0[12]\nc V*\nd ??\n&[prot]\na WY\nb AC\nc [AC]?\nd LL\n;proc/;") + ";");
    ASSERT_FALSE(zelfailed()) << said;
    std::string matrix = matrixtext();
    zelrun("xread * " + out("mixed.zel") + "; xread [ " + out("blocks.zel") + ";");
    ASSERT_FALSE(zelfailed());
    for (const char *name : { "mixed.zel", "blocks.zel" }) {
        std::string text = readfile(out(name));
        EXPECT_EQ(text.find("nstates cont;"), 0u);
        EXPECT_EQ(says(text, "/bones]"), *name == 'b');
        fresh();
        said = zelrun("p " + out(name) + ";");
        ASSERT_FALSE(zelfailed()) << said << text;
        EXPECT_EQ(matrixtext(), matrix) << text;
    }
}

TEST(SavedData, WritesTheText)
{
    fresh();
    readforeign(FOUR);
    zelrun("ccode + 0 ] 1 /3 2;");
    std::string said = zelrun("xread *;");
    EXPECT_EQ(said, "nstates 16;\nxread 'Data saved from ZEL'\n5 4\n&[num]\n"
                    "a               00000\nb               00111\nc               11?[01]1\nd               111?0\n;\n"
                    "ccode +[/1  0    +]/1  1    +]/3  2    -)[/1  3    -)[/1  4    ;\nproc/;\n");
    EXPECT_TRUE(says(zelrun("xread -;"), "3 4\n&[num]\na               000\nb               011\n"));
    zelrun("tread (0 (1 (2 3)));");
    said = zelrun("xread * (0);");
    EXPECT_TRUE(says(said, "5 7\n")) << said;
    EXPECT_TRUE(says(said, "\nHTU_4            0")) << said;
    EXPECT_TRUE(says(said, "\nHTU_6            ")) << said;
    EXPECT_TRUE(says(zelrun("xread * (3);"), "No tree number 3"));
    fresh();
    readforeign(nexusdata("ntax=5 nchar=1", "missing=?", "a 0\nb 0\nc 1\nd 1\ne 1") + "begin paup; delete e; end;");
    EXPECT_TRUE(says(zelrun("xread !;"), "1 4\n&[num]\na               0\nb               0\nc               1\nd               1\n;\n"));
}

TEST(SavedData, MangledHaveTheSameShapeAndNoMeaning)
{
    fresh("rseed 3;");
    zelrun("xread / 60 8 4;");
    auto cells = [] {
        std::vector<std::vector<uint32_t>> all(static_cast<size_t>(nc));
        for (int c = 0; c < nc; ++c)
            for (int t = 0; t < nt; ++t) all[size_t(c)].push_back(cell(t, c));
        return all;
    };
    auto before = cells();
    zelrun("xread : " + out("mangled.zel") + "; p " + out("mangled.zel") + ";");
    ASSERT_FALSE(zelfailed());
    auto after = cells();
    EXPECT_NE(before, after);
    for (size_t c = 0; c < before.size(); ++c)
        for (size_t a = 0; a < before[c].size(); ++a)
            for (size_t b = 0; b < before[c].size(); ++b)
                EXPECT_EQ(before[c][a] == before[c][b], after[c][a] == after[c][b]);
    fresh();
    readforeign("xread 6 4\n&[num]\na 000\nb 001\nc 011\nd 111\n&[num]\na 000\nb 001\nc 011\nd 111\n;proc/;");
    EXPECT_TRUE(says(zelrun("xread : 0.5 / x;"), "Cannot mangle characters in different blocks"));
    zelrun("xread : 0.2 / " + out("mangled.zel") + ";");
    EXPECT_FALSE(zelfailed());
}
