// Nexus files: matrices, settings, faults.
#include "formatstest.h"
#include "data/smatrix.h"
#include <cstring>
#include "kernel/input.h"

TEST(Nexus, SaysWhatItReads)
{
    fresh();
    std::string path = newfile(FOUR);
    std::string said = zelrun("p " + path + ";");
    EXPECT_TRUE(says(said, "Reading file " + path + " as NEXUS"));
    EXPECT_TRUE(says(said, "Closing NEXUS file"));
    EXPECT_EQ(matrixtext(), "a 00000\nb 00111\nc 11?[01]1\nd 111?0\n");
    EXPECT_EQ(std::string(dataname), path);
    EXPECT_EQ(giveme_curproc_level(), 0);
    EXPECT_EQ(reading_nexus_file, 0);
}

TEST(Nexus, LineEndsMarksCaseAndSpacingDoNotMatter)
{
    fresh();
    readforeign(FOUR);
    std::string matrix = matrixtext();
    auto with = [](std::string text, const std::string &end) {
        for (size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += end.size()) text.replace(at, 1, end);
        return text;
    };
    std::string upper = FOUR;
    for (char &c : upper) c = char(toupper(c));
    for (size_t at; (at = upper.find("NTAX=4")) != std::string::npos; ) upper.replace(at, 6, "ntax\t =\n 4");
    std::string noend = FOUR.substr(0, FOUR.rfind(';'));
    for (const std::string &text : { with(FOUR, "\r\n"), with(FOUR, "\r"), "\xEF\xBB\xBF" + FOUR, "[before [the] mark]\n" + FOUR,
                                     with(FOUR, "  \t \n\n"), noend, FOUR + "\n\n", "#NEXUS\n" + FOUR,
                                     with(FOUR, "\n[a 'comment; [in] it\n]\n") }) {
        fresh();
        std::string said = readforeign(text);
        EXPECT_FALSE(zelfailed()) << said;
        EXPECT_EQ(matrixtext(), matrix) << text;
    }
    fresh();
    readforeign(upper);
    EXPECT_EQ(matrixtext(), "A 00000\nB 00111\nC 11?[01]1\nD 111?0\n");
}

TEST(Nexus, RowsMayBeWrappedAndCellsSpaced)
{
    fresh();
    readforeign(nexusdata("ntax=4 nchar=6", "missing=? gap=- symbols=\"01\"", "a\n000 000\nb 0 0 1\n1 1 1\nc 111\n000\nd 0101(0 1){0,1}"));
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(matrixtext(), "a 000000\nb 001111\nc 111000\nd 0101[01][01]\n");
}

TEST(Nexus, InterleavedBlocksGoOnWithTheirTaxa)
{
    fresh();
    std::string said = readforeign(nexusdata("ntax=4 nchar=7", "interleave missing=?",
        "a 000\nb 001\n'c x' 010\nd 011\n\na 1111\nb 1110\nc_x 1.01\nd 0000"));
    EXPECT_FALSE(zelfailed()) << said;
    EXPECT_EQ(matrixtext(), "a 0001111\nb 0011110\nc_x 0101101\nd 0110000\n");
    for (const char *no : { "interleave=no", "interleaved=no" }) {
        fresh();
        readforeign(nexusdata("ntax=4 nchar=4", no, "a 00\n00\nb 0011\nc 0011\nd 0101"));
        EXPECT_EQ(matrixtext(), "a 0000\nb 0011\nc 0011\nd 0101\n");
    }
}

TEST(Nexus, TheMatchSignStandsForTheFirstTaxon)
{
    fresh();
    readforeign(nexusdata("ntax=4 nchar=4", "datatype=dna matchchar=# gap=- missing=N", "a ACGT\nb .#GA\nc NN--\nd ...R"));
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(matrixtext(), "a ACGT\nb ACGA\nc ????\nd ACG[AG]\n");
    expectrefused(nexusdata("ntax=4 nchar=2", "datatype=dna", "a A.\nb AC\nc AC\nd AC"), "Can't use \".\" for the first taxon");
}

TEST(Nexus, FormatSettingsOfOthersAreSkippedQuietly)
{
    fresh();
    std::string said = readforeign(nexusdata("newtaxa ntax=4 nchar=2",
        "datatype=standard respectcase equate=\"x=(01) y=1; z={0 1}\" items=(states) statesformat=statespresent gap=-symbols=\"01\" labels=left",
        "a 00\nb 01\nc 0-\nd 11"));
    EXPECT_FALSE(zelfailed()) << said;
    EXPECT_EQ(matrixtext(), "a 00\nb 01\nc 0?\nd 11\n");
    EXPECT_FALSE(says(said, "WARNING"));
    EXPECT_FALSE(says(said, "equate"));
}

TEST(Nexus, SymbolsAreStatesInTheirOrderBehindTheDigits)
{
    auto states = [](const std::string &symbols, const std::string &row) {
        fresh();
        readforeign(nexusdata("ntax=4 nchar=" + std::to_string(row.size()), "symbols=\"" + symbols + "\"",
                              "a " + row + "\nb " + row + "\nc " + row + "\nd " + row));
        std::string text = matrixtext();
        return text.substr(2, text.find('\n') - 2);
    };
    EXPECT_EQ(states("0 1 A B", "01AB"), "0123");
    EXPECT_EQ(states("01239", "01239"), "01239");
    EXPECT_EQ(states("0~3", "0123"), "0123");
    EXPECT_EQ(states("0~12", "9ABC"), "9ABC");
    EXPECT_EQ(states("abc", "aBc"), "012");
    EXPECT_EQ(states("0~1$", "01$"), "012");
    EXPECT_EQ(states("0 1 2 3 4 5 6 7 8 9 A C G T", "9ACGT"), "9ABCD");
}

TEST(Nexus, CellsAreWidenedForTheStatesOfTheFileAndNeverNarrowed)
{
    fresh("nstates 8;");
    readforeign(nexusdata("ntax=4 nchar=2", "datatype=standard", "a 09\nb 18\nc 27\nd 36"));
    EXPECT_EQ(celldim, 2);
    EXPECT_EQ(matrixtext(), "a 09\nb 18\nc 27\nd 36\n");
    fresh("nstates 32;");
    readforeign(nexusdata("ntax=4 nchar=2", "datatype=dna", "a AC\nb AC\nc AG\nd AT"));
    EXPECT_EQ(celldim, 4);
    EXPECT_EQ(charcodes[0].type, DATA_DNA);
    fresh();
    readforeign(nexusdata("ntax=4 nchar=3", "datatype=protein gap=-", "a WBZ\nb W-X\nc WYU\nd WYV"));
    EXPECT_EQ(celldim, 4);
    EXPECT_EQ(cell(0, 0), 1u << 18);
    EXPECT_EQ(data_type, DATA_NUM);
    for (const char *word : { "rna", "nucleotide", "nucleotides", "DNA" }) {
        fresh();
        readforeign(nexusdata("ntax=4 nchar=2", std::string("datatype=") + word, "a ac\nb au\nc at\nd Gn"));
        EXPECT_EQ(matrixtext(), "a AC\nb AT\nc AT\nd G[AGCT]\n") << word;
    }
}

TEST(Nexus, GapsAreMissingOrOneMoreState)
{
    std::string dna = nexusdata("ntax=4 nchar=2", "datatype=dna gap=-", "a A-\nb AC\nc A-\nd GT");
    std::string numeric = nexusdata("ntax=4 nchar=2", "datatype=standard gap=x", "a 0x\nb 02\nc 0x\nd 1(1x)");
    fresh();
    readforeign(dna);
    EXPECT_EQ(matrixtext(), "a A[AGCT]\nb AC\nc A[AGCT]\nd GT\n");
    fresh("nstates gaps;");
    std::string said = readforeign(dna);
    EXPECT_EQ(matrixtext(), "a A-\nb AC\nc A-\nd GT\n");
    EXPECT_EQ(said.find("Gaps will be read as an additional state"), said.rfind("Gaps will be read as an additional state"));
    EXPECT_TRUE(says(said, "Gaps will be read as an additional state"));
    fresh("nstates gaps;");
    readforeign(numeric);
    EXPECT_EQ(matrixtext(), "a 03\nb 02\nc 03\nd 11\n");
    fresh();
    readforeign(numeric);
    EXPECT_EQ(matrixtext(), "a 0?\nb 02\nc 0?\nd 11\n");
}

TEST(Nexus, NamesBecomeOurs)
{
    fresh();
    std::string said = readforeign(nexusdata("ntax=5 nchar=2", "missing=?",
        "'Homo sapiens' 00\n'isn''t [a] name' 01\nA/b-c 11\nP._robusta 10\nan_exceedingly_long_name_of_some_taxon 00"));
    EXPECT_FALSE(zelfailed()) << said;
    EXPECT_EQ(std::string(taxname[0]), "Homo_sapiens");
    EXPECT_EQ(std::string(taxname[1]), "isn't_[a]_name");
    EXPECT_EQ(std::string(taxname[2]), "A_b_c");
    EXPECT_EQ(std::string(taxname[3]), "P._robusta");
    EXPECT_EQ(std::string(taxname[4]), "an_exceedingly_long_name_of_som");
    EXPECT_TRUE(says(said, "Symbol '/' in taxon names will be changed to '_' (=underscore)."));
    EXPECT_TRUE(says(said, "Taxon names with more than 31 characters will be truncated"));
}

TEST(Nexus, NonAsciiNamesAreKeptAndCutBetweenLetters)
{
    fresh();
    readforeign(nexusdata("ntax=4 nchar=1", "missing=?", "M\xC3\xBCller 0\nb 0\nc 1\nabcdefghijklmnopqrstuvwxyz1234\xC3\xBC\xC3\xBC 1"));
    EXPECT_EQ(std::string(taxname[0]), "M\xC3\xBCller");
    EXPECT_EQ(std::string(taxname[3]), "abcdefghijklmnopqrstuvwxyz1234");
}

TEST(Nexus, SizesThatDoNotAgreeWithTheMatrixAreReset)
{
    struct { const char *sizes, *words; } cases[] = {
        { "ntax=6 nchar=3", "Number of taxa set to 6, but only 5 taxon names defined" },
        { "ntax=4 nchar=3", "Number of taxa set to 5" },
        { "ntax=5 nchar=4", "undefined\nNumber of chars. re-set to 3" },
        { "ntax=5 nchar=2", "Number of characters set to 3" },
    };
    for (auto &c : cases) {
        fresh();
        std::string said = readforeign(nexusdata(c.sizes, "missing=?", "one 000\ntwo 001\nxyz 011\nq_1 111\nr_2 101"));
        EXPECT_FALSE(zelfailed()) << said;
        EXPECT_TRUE(says(said, c.words)) << said;
        EXPECT_EQ(nt, 5);
        EXPECT_EQ(nc, 3);
    }
}

TEST(Nexus, EveryFaultHasItsWords)
{
    fresh();
    std::string rows = "a 00\nb 01\nc 11\nd 10";
    auto sizes = [&](const std::string &s) { return nexusdata(s, "missing=?", rows); };
    auto format = [&](const std::string &f, const std::string &r = "a 00\nb 01\nc 11\nd 10") {
        return nexusdata("ntax=4 nchar=2", f, r);
    };
    struct { std::string text, words; } cases[] = {
        { sizes("ntax 4 nchar=2"), "Error reading NEXUS file: expected '=' after ntax" },
        { sizes("ntax=4 nchar 2"), "Error reading NEXUS file: expected '=' after nchar" },
        { sizes("ntax=4"), "Error reading NEXUS file: must set \"ntax\" and \"nchar\"" },
        { sizes("nchar=4"), "must set \"ntax\" and \"nchar\"" },
        { "#NEXUS\nbegin data; matrix a 00; end;", "must set \"ntax\" and \"nchar\"" },
        { sizes("ntax=3 nchar=2"), "expected number of taxa (4 or more)" },
        { sizes("ntax=x nchar=2"), "expected number of taxa (4 or more)" },
        { sizes("ntax=4 nchar=0"), "expected number of characters" },
        { sizes("ntax=4 nchar=;"), "expected number of characters" },
        { nexusdata("ntax=4 nchar=2", "missing=?", "a 00\nb 01\nc 11"), "expected number of taxa (4 or more)" },
        { format("datatype=continuous"), "expected strings \"dna,\" \"proteins,\" or \"standard\" after \"datatype\"" },
        { format("datatype dna"), "expected '=' after datatype" },
        { format("transpose"), "transposed matrices can't be read" },
        { format("missing=?", "a 00\nb 0$\nc 11\nd 10"), "Found alien symbol for taxon 1 (b), char. 1: '$'" },
        { format("missing=?", "a 00\nb 0(0$)\nc 11\nd 10"), "Found alien symbol for taxon 1 (b), char. 1: '$'" },
        { format("missing=?", "a 00\nb 0(01\nc 11\nd 10"), "Found alien symbol for taxon 1 (b), char. 1: '('" },
        { format("missing=?", "a 00\nb 01\na 11\nd 10"), "each taxon can appear only once - a appears twice" },
        { format("interleave", "a 00\nb 01\nb 11\nd 10"), "each taxon can appear only once - b appears twice" },
        { format("interleave", "a 00\nb 01\nc 1\nd 10"), "Error reading block 1: too few chars. for c" },
        { format("interleave", "a 00\nb 01\nc 111\nd 10"), "Error reading block 1: too many chars. for c" },
        { format("interleave", "a 0\nb 0\nc 1\nd 0\na 0\ne 0"), "taxon e is not in the first block" },
        { format("missing=?", "a 00\nb 01\nc 111\nd 10"), "too many characters for taxon c" },
        { format("missing=?", "a 00\nb 01\nc 11\nd 1"), "too few characters for taxon d" },
        { "#NEXUS\nbegin ;", "expected name of block after \"begin\"" },
    };
    for (auto &c : cases) expectrefused(c.text, c.words);
}

// A file cut anywhere: a fault with its place, or all that the rest did not matter for.
TEST(Nexus, CutAnywhereItLeavesTheDataOrReadsThemWhole)
{
    std::string file = FOUR + "begin assumptions;\ntypeset * x = ord: 1-2;\nend;\nbegin trees;\ntranslate 1 a,2 b,3 c,4 d;\n"
                              "tree x = [&U] ((1,2),(3,4));\nend;\n";
    for (size_t n = 6; n < file.size(); ++n) {
        fresh();
        zelrun("p " + newfile(nexusdata("ntax=5 nchar=1", "missing=?", "v 0\nw 0\nx 1\ny 1\nz 1")) + ";");
        ASSERT_EQ(nt, 5);
        std::string said = readforeign(file.substr(0, n));
        ASSERT_TRUE(datatag != 0) << n;
        if (zelfailed()) { EXPECT_TRUE(says(said, "Error reading") || says(said, "couldn't read tree")) << n << said; }
        ASSERT_TRUE((nt == 5 && nc == 1) || (nt == 4 && nc == 5)) << n;
        EXPECT_EQ(giveme_curproc_level(), 0);
    }
}

TEST(Nexus, OtherBlocksAreSkipped)
{
    fresh();
    std::string said = readforeign("#NEXUS\nbegin taxa; dimensions ntax=4; end;\nbegin notes; text 'it isn''t; so' x;\n"
                                   "text apostrophe'; bad 'unclosed\n; end;\n" + FOUR.substr(7) + "begin spam; x; endblock;");
    EXPECT_FALSE(zelfailed()) << said;
    EXPECT_TRUE(says(said, "block taxa  ... Skipping"));
    EXPECT_TRUE(says(said, "block notes  ... Skipping"));
    EXPECT_TRUE(says(said, "block spam  ... Skipping"));
    EXPECT_EQ(nt, 4);
}

TEST(Nexus, ABlockThatIsNotEndedEndsWhereTheNextBegins)
{
    fresh();
    readforeign(FOUR.substr(0, FOUR.rfind("end")) + "begin assumptions;\nctype ord: 2;\nbegin paup;\nexclude 1; end;\n");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(charcodes[1].additive, 1);
    EXPECT_EQ(charcodes[0].active, 0);
}

TEST(Nexus, SettingsThatFollowASkippedMatrixAreSkipped)
{
    fresh();
    readforeign(FOUR);
    std::string said = readforeign("#NEXUS\nbegin characters; matrix x; end;\nbegin assumptions; ctype ord: 1-5; end;");
    EXPECT_FALSE(zelfailed()) << said;
    EXPECT_TRUE(says(said, "block assumptions  ... Skipping"));
    EXPECT_EQ(charcodes[0].additive, 0);
}

TEST(Nexus, OurBlockLeavesTheFileToTheInterpreter)
{
    fresh();
    std::string said = readforeign(FOUR + "begin zel;\nccode + 1;\nccode ] 2; proc/;");
    EXPECT_FALSE(zelfailed()) << said;
    EXPECT_TRUE(says(said, "Leaving NEXUS mode, parsing ZEL commands..."));
    EXPECT_EQ(charcodes[1].additive, 1);
    EXPECT_EQ(charcodes[2].active, 0);
    EXPECT_EQ(reading_nexus_file, 0);
}

TEST(Nexus, ReplacesTheDataOfBefore)
{
    fresh();
    std::string first = newfile(FOUR), second = newfile(FOUR);
    zelrun("p " + first + ";");
    std::string said = zelrun("p " + second + ";");
    EXPECT_TRUE(says(said, "Data from:\n\n       " + first + " \n\nwill be replaced with data from:\n\n       " + second)) << said;
}

// --- Settings ---

static void assume(const std::string &commands, const std::string &block = "assumptions")
{
    fresh();
    std::string said = readforeign(FOUR + "begin " + block + ";\n" + commands + "\nend;\n");
    EXPECT_FALSE(zelfailed()) << said;
}

static std::string marks()
{
    std::string all;
    for (int c = 0; c < nc; ++c) {
        const charrec &r = charcodes[c];
        all += std::string(c ? " " : "") + (r.sankoff ? '(' : r.additive ? '+' : '-') + (r.active ? '[' : ']') + std::to_string(r.weight);
    }
    return all;
}

TEST(NexusSettings, OfCharacters)
{
    assume("ctype ordered: 1 3-4, unord: 2;");
    EXPECT_EQ(marks(), "+[1 -[1 +[1 +[1 -[1");
    assume("options deftype=ord polytcount=minsteps; typeset * untitled (characters = x) = unord: 1-.\\2;");
    EXPECT_EQ(marks(), "-[1 +[1 -[1 +[1 -[1");
    assume("typeset other = ord: all; wtset other = 3: all; exset other = all;");
    EXPECT_EQ(marks(), "-[1 -[1 -[1 -[1 -[1");
    assume("exclude 1 - 3; include 2; weights 2: 1 4 3: 2, 7: 5;");
    EXPECT_EQ(marks(), "-]2 -[3 -]1 -[2 -[7");
    assume("wtset * w = 2: 1, 4: 2 - 3; exset * e = 4-.;");
    EXPECT_EQ(marks(), "-[2 -[4 -[4 -]1 -]1");
    assume("wtset * w (vector) = 5 4 3 2 1;");
    EXPECT_EQ(marks(), "-[5 -[4 -[3 -[2 -[1");
    assume("charset odd = 1-5\\2; charset more = odd 2; exclude more;", "paup");
    EXPECT_EQ(marks(), "-]1 -]1 -]1 -[1 -]1");
    fresh();
    readforeign(FOUR + "begin sets; charset x = 2 3; end; begin paup; exclude x; end;");
    EXPECT_EQ(marks(), "-[1 -]1 -]1 -[1 -[1");
    fresh();
    std::string said = readforeign(FOUR + "begin assumptions; weights 1.6: 1; end;");
    EXPECT_EQ(charcodes[0].weight, 2);
    EXPECT_TRUE(says(said, "Weights that are not whole numbers are rounded"));
    // What the file set is what the stored settings are.
    assume("ctype ord: 1;");
    zelrun("ccode - 0; ccode !;");
    EXPECT_EQ(charcodes[0].additive, 1);
}

TEST(NexusSettings, UserTypesAreStepMatrices)
{
    memset(defstepmat, 0, sizeof defstepmat);
    assume("usertype 'my type' (stepmatrix) = 3\n 0 1 2\n[0] . 1 2\n[1] i . 7\n[2] 4 5 .\n; typeset * t = 'my type': 1 4, ord: 2;");
    EXPECT_EQ(marks(), "([1 +[1 -[1 ([1 -[1");
    uint32_t **cost = charcodes[0].costs;
    EXPECT_EQ(cost[0][1], 1u);
    EXPECT_EQ(cost[0][2], 2u);
    EXPECT_EQ(cost[1][0], FORBIDDEN);
    EXPECT_EQ(cost[1][2], 7u);
    EXPECT_EQ(cost[2][0], 4u);
    EXPECT_EQ(cost[2][1], 5u);
    EXPECT_EQ(std::string(stepmatrixname[0]), "my type");
    EXPECT_EQ(defstepmat[0], 3);
    memset(defstepmat, 0, sizeof defstepmat);
}

TEST(NexusSettings, DeletedTaxaAreInactive)
{
    fresh();
    std::string said = readforeign(nexusdata("ntax=7 nchar=1", "missing=?", "a 0\nb 0\nc 1\nd 1\ne 0\nf 1\n'g h' 1") +
                                   "begin paup; delete 2-3 'g h'; undelete 3; end;");
    EXPECT_FALSE(zelfailed()) << said;
    EXPECT_TRUE(says(said, "deleting taxa") && says(said, "undeleting taxa"));
    EXPECT_EQ(taxact[1], 0);
    EXPECT_EQ(taxact[2], 1);
    EXPECT_EQ(taxact[6], 0);
    EXPECT_EQ(numactive(), 5);
}

TEST(NexusSettings, EveryFaultHasItsWords)
{
    memset(defstepmat, 0, sizeof defstepmat);
    auto with = [](const std::string &command) { return FOUR + "begin assumptions; " + command + " end;"; };
    struct { std::string text, words; } cases[] = {
        { with("ctype ordered 1;"), "expected ':' after ordered" },
        { with("ctype odd: 1;"), "type odd is not defined" },
        { with("ctype : 1;"), "expected name of type" },
        { with("ctype ord: 6;"), "no character 6 (numbers are 1-5)" },
        { with("ctype ord: 0;"), "no character 0" },
        { with("ctype ord: ;"), "expected list of characters" },
        { with("exclude 1-;"), "expected number of character after '-'" },
        { with("exclude nosuch;"), "no character or set of characters named nosuch" },
        { with("charset x = x; exclude x;"), "no character or set of characters named x" },
        { with("exclude 1\\0;"), "expected a number after '\\'" },
        { with("exclude =;"), "expected number of character; found '='" },
        { with("weights 2 1;"), "expected ':' after 2" },
        { with("weights x: 1;"), "expected weight; found 'x'" },
        { with("typeset * x (vector) = ord unord;"), "types given one by one" },
        { with("usertype = 2;"), "expected name of usertype" },
        { with("usertype x 2;"), "expected '=' after x" },
        { with("usertype x = (0 1);"), "expected list of (single) states" },
        { with("usertype x = 2 01;"), "expected list of (single) states" },
        { with("usertype x = 2 0 1 . 1 z .;"), "expected cost" },
        { with("usertype x = 2 0 1 . 1 1;"), "expected cost" },
        { with("usertype x = 2 0 1 . 1 1 . 1;"), "expected end of usertype; found '1'" },
        { with("usertype x = 33 0 1;"), "can' define usertypes over 32 states" },
        { with("delete 9;"), "no taxon 9" },
        { with("delete 2;"), "Cannot have less than 4 active taxa" },
        { with("delete 1;"), "Cannot deactivate a (it is current outgroup)" },
        { with("delete -;"), "expected taxon; found '-'" },
    };
    for (auto &c : cases) {
        fresh();
        expectrefused(c.text, c.words);
        EXPECT_EQ(nt, 4) << c.text;
    }
    fresh();
    std::string many;
    for (int i = 0; i < 33; ++i) many += "usertype t" + std::to_string(i) + " = 2 0 1 . 1 1 .; ";
    expectrefused(with(many), "Cannot define more than 32 usertypes");
    memset(defstepmat, 0, sizeof defstepmat);
    fresh();
    expectrefused("#NEXUS\nbegin assumptions; exclude 1; end;", "Must read data before reading assumptions");
    fresh("cost <;");
    expectrefused(with("usertype x = 2 0 1 . 1 1 .;"), "Sankoff characters have been disabled");
    fresh("cost >;");
}

// --- Names ---

TEST(NexusNames, BecomeACommand)
{
    fresh();
    std::string path = newfile("#NEXUS\nbegin characters;\ncharstatelabels 1 'wing form' / absent 'very long', 3 tongue;\nmatrix a 0;\nend;\n");
    std::string said = zelrun("cnames | " + path + ";");
    EXPECT_TRUE(says(said, "cnames\n{0 wing_form absent very_long ;\n{2 tongue ;\n;\n")) << said;
    path = newfile("#NEXUS\nbegin data;\ncharlabels one 'two x';\nstatelabels 2 no yes;\nend;\n");
    EXPECT_TRUE(says(zelrun("cnames | " + path + ";"), "{0 one ;\n{1 two_x no yes ;\n;\n"));
    EXPECT_TRUE(says(zelrun("cnames | ;"), "Must specify name of NEXUS file"));
    EXPECT_TRUE(says(zelrun("cnames | " + newfile(FOUR) + ";"), "There are no names of characters in the file"));
}
