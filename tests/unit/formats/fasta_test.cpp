// Fasta files, read.
#include "formatstest.h"
#include <algorithm>
#include "kernel/input.h"

namespace {
std::string fasta(const std::string &text, const std::string &sign = "&") { return readforeign(text, sign); }
}

TEST(Fasta, IsReadAsTheTypeSet)
{
    std::string text = ">a first one\nACGT\nAC\n>b\nacgtac\n>c\n..N?-R\n\n>d\nUUUUUU";
    fresh("nstates dna;");
    std::string said = fasta(text);
    EXPECT_FALSE(zelfailed()) << said;
    EXPECT_EQ(matrixtext(), "a ACGTAC\nb ACGTAC\nc AC[AGCT]?[AGCT][AG]\nd TTTTTT\n");
    EXPECT_EQ(charcodes[0].type, DATA_DNA);
    EXPECT_EQ(giveme_curproc_level(), 0);
    fresh("nstates prot;");
    fasta(">a\nWY\n>b\nW-\n>c\nVX\n>d\nLB\n");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(cell(0, 0), 1u << 18);
    fresh("nstates num 16;");
    fasta(">a\n01\n>b\n.F\n>c\n11\n>d\n[01]?\n");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(matrixtext(), "a 01\nb 0F\nc 11\nd [01]?\n");
    fresh("nstates dna; nstates gaps;");
    fasta(">a\nA-\n>b\nAC\n>c\nAC\n>d\nA-\n");
    EXPECT_EQ(matrixtext(), "a A-\nb AC\nc AC\nd A-\n");
}

TEST(Fasta, LineEndsAndMarksDoNotMatter)
{
    for (const char *text : { ">a\r\nAC\r\n>b\r\nAC\r\n>c\r\nAG\r\n>d\r\nAT\r\n", ">a\rAC\r>b\rAC\r>c\rAG\r>d\rAT",
                              "\xEF\xBB\xBF>a\nAC\n>b \tx\nA\n C \n>c\nAG\n>d\nAT\n\n" }) {
        fresh("nstates dna;");
        fasta(text);
        EXPECT_FALSE(zelfailed());
        EXPECT_EQ(matrixtext(), "a AC\nb AC\nc AG\nd AT\n");
    }
}

TEST(Fasta, ShorterSequencesArePaddedOnRequest)
{
    std::string text = ">a\nACG\n>b\nAC\n>c\nA\n>d\nACGT\n", padded = "a ACG-\nb AC--\nc A---\nd ACGT\n";
    fresh("nstates dna; nstates gaps;");
    fasta(text, "&=4 ");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(matrixtext(), padded);
    fresh("nstates dna; nstates gaps;");
    fasta("=4\n" + text);
    EXPECT_EQ(matrixtext(), padded);
    fresh("nstates dna;");
    expectrefused(text, "Cannot equalize to 3 positions - d has more than 3", "&=3 ");
    expectrefused(text, "Sequences in FASTA file seem not to be aligned!\n a has 3 positions, b 2", "&");
}

TEST(Fasta, MorePositionsThanThereIsMemoryForAreRefusedAtOnce)
{
    std::string text = ">a\nACG\n>b\nAC\n>c\nA\n>d\nACGT\n";
    for (const char *most : { "=500000000", "=2000000000", "=5010119999991", "=999999999999999" }) {
        fresh("nstates dna;");
        expectrefused(text, "out of ram", std::string("&") + most + " ");
        expectrefused(most + ("\n" + text), "out of ram", "&");
    }
}

TEST(Fasta, StatesInBracketsThatTheFileDoesNotCloseArePaddedBehindThem)
{
    fresh("nstates num 8;");
    fasta(">a\n01\n>b\n0[01\n>c\n11\n>d\n1", "&=4 ");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(matrixtext(), "a 01??\nb 0[01]??\nc 11??\nd 1???\n");
}

TEST(Fasta, EveryFaultHasItsWords)
{
    fresh("nstates dna;");
    struct { const char *text, *words; } cases[] = {
        { "ACGT\n>a\nAC\n", "FASTA taxon names must start with '>'" },
        { ">a\nAC\n>b\nAC\n>c\nAC\n", "Sorry, can't read less than 4 taxa" },
        { "", "Sorry, can't read less than 4 taxa" },
        { ">a\nA.\n>b\nAC\n>c\nAC\n>d\nAC\n", "The match symbol ('.') cannot be used for taxon 0" },
        { ">a\n>b\n>c\n>d\n", "Sequences in FASTA file are empty" },
        { ">a\nA!\n>b\nAC\n>c\nAC\n>d\nAC\n", "Found alien symbol for taxon 0 (a), char. 1 (block 0): '!'" },
    };
    for (auto &c : cases) expectrefused(c.text, c.words, "&");
    fresh();
    std::string said = readforeign(">a\nGT\n>b\nAC\n>c\nAC\n>d\nAC\n", "&");
    EXPECT_TRUE(says(said, "see \"nstates dna\"")) << said;
    EXPECT_FALSE(datatag);
    fresh("nstates cont;");
    expectrefused(">a\n1\n>b\n1\n>c\n1\n>d\n1\n", "Sequences can't be read as continuous characters", "&");
    fresh("nstates dna;");
    said = fasta(">a_name_of_more_than_thirty_one_letters\nA\n>b/c\nA\n>c\nA\n>d\nA\n");
    EXPECT_TRUE(says(said, "Taxon names over 32 letters will be truncated")) << said;
    EXPECT_EQ(std::string(taxname[1]), "b_c");
}

TEST(Fasta, FilesOfTheSharedDataAreRead)
{
    int files = 0;
    for (const char *name : { "sequences/grass_5_8S.fas", "sequences/grass_rbcl.fas", "sequences/rana.fas", "sequences/yeast8.fas",
                              "sequences-large/mammal_rag2.fas", "sequences-large/ssu150.fas", "sequences-large/ssu218.fas" }) {
        std::string path = datafile(name);
        if (path.empty()) continue;
        fresh("nstates dna;");
        std::string said = zelrun("p & " + path + ";"), text = readfile(path);
        EXPECT_FALSE(zelfailed()) << said;
        EXPECT_EQ(nt, std::count(text.begin(), text.end(), '>')) << name;
        ++files;
    }
    if (!files) GTEST_SKIP() << "no shared data";
    EXPECT_EQ(files, 7);
}
