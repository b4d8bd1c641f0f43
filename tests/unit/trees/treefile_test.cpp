#include "treetest.h"
#include "data/lists.h"
#include "kernel/below.h"
#include "kernel/driver.h"
#include "trees/safefile.h"
#include "trees/pack.h"
#include "trees/treebuf.h"
#include "trees/treefile.h"
#include "trees/treetags.h"
#include <cstring>
#include <filesystem>
#include <sys/resource.h>

namespace fs = std::filesystem;

namespace {
std::string path(const char *name) { return tempdir() + "/" + name; }

// The compact form by its rule, one bit at a time.
tree plaindecode(const std::string &codes, int wordbytes)
{
    size_t at = size_t(wordbytes) * 8;
    auto bits = [&](int n) {
        unsigned x = 0;
        for (int i = 0; i < n; ++i, ++at) x |= unsigned(codes.at(at / 8) >> at % 8 & 1) << i;
        return x;
    };
    std::vector<int> list{ 0, 1, nt };
    std::vector<int> anc(nodz + 1, 0);
    anc[0] = anc[1] = nt;
    int top = nt, next = nt + 1;
    for (int t = 2; t < nt; ++t) {
        int w = 0;
        while ((list.size() - 1) >> w) ++w;
        unsigned code = bits(w + 1);
        int at = list.at(code >> 1);
        if (code & 1) {
            anc[t] = anc[at];
            list.push_back(t);
        }
        else {
            int n = next++;
            if (at == top) top = n;
            else anc[n] = anc[at];
            anc[t] = anc[at] = n;
            list.push_back(t);
            list.push_back(n);
        }
    }
    std::vector<int> number(nodz + 1);
    for (int n = 0; n < nodz; ++n) number[n] = n == top ? nt : n == nt ? top : n;
    tree out(nodz, 0);
    for (int n = 0; n < next; ++n)
        if (n != top) out[number[n]] = number[anc[n]];
    out[nt] = next;
    return canonical(out);
}

std::vector<tree> treesinmemory()
{
    std::vector<tree> all;
    for (int t = 0; t < trees_in_mem; ++t) all.emplace_back(mem_tree[t], mem_tree[t] + nodz);
    return all;
}

void quietly(const std::string &commands)
{
    zelrun("silent=all;");
    zelrun(commands);
    bool failed = zelfailed();
    zelrun("silent-all;");
    EXPECT_FALSE(failed) << commands.substr(0, 200);
}

std::string trees_as_text(const std::vector<tree> &trees)
{
    std::string text = "tread ";
    for (const tree &t : trees) savetree(t.data(), nt, &text), text += "*\n";
    return text + ";\nproc/;\n";
}

struct sizes { int taxa, trials; };
constexpr sizes SOME[] = { { 4, 60 }, { 5, 60 }, { 8, 60 }, { 31, 40 }, { 70, 40 }, { 500, 6 } };
constexpr int BIG[] = { 16383, 16384, 20000 };
}

TEST(Compact, CodesFollowTheRule)
{
    std::mt19937 dice(3);
    for (const sizes &s : SOME) {
        datafor(s.taxa);
        for (int trial = 0; trial < s.trials; ++trial) {
            tree anc = canonical(randomtree(&dice, trial % 4 * 25)), back(nodz, 0);
            std::string codes;
            convertree(anc.data(), &codes);
            EXPECT_EQ(plaindecode(codes, 2), anc);
            EXPECT_EQ((codes.size() - 2) / 2, size_t(uint8_t(codes[0])) | size_t(uint8_t(codes[1])) << 8);
            EXPECT_EQ(codes.size() % 2, 0u);
            ASSERT_TRUE(revertree(reinterpret_cast<const uint8_t *>(codes.data()) + 2, codes.size() - 2, back.data()));
            EXPECT_EQ(back, anc);
        }
    }
}

TEST(Compact, AnyCodesGiveATreeOrAreRefused)
{
    std::mt19937 dice(4);
    for (int taxa : { 4, 6, 20 }) {
        datafor(taxa);
        int trees = 0;
        for (int trial = 0; trial < 3000; ++trial) {
            uint8_t codes[40];
            for (uint8_t &c : codes) c = uint8_t(dice()) & uint8_t(dice());
            tree anc(nodz, 0);
            size_t bytes = dice() % sizeof codes;
            if (!revertree(codes, bytes, anc.data())) continue;
            ++trees;
            checktree(anc.data());
            EXPECT_EQ(anc, canonical(anc));
            EXPECT_EQ(plaindecode("  " + std::string(codes, codes + sizeof codes), 2), anc);
        }
        EXPECT_GT(trees, 0);
    }
}

TEST(Compact, AFlagBitIsTheOnlyDifferenceOfAPolytomy)
{
    datafor(4);
    // 2 joins the branch of 1, then 3 joins the branch of 2 or the node above it.
    zelrun("tread (0 (1 (2 3)))*(0 (1 2 3));");
    std::string dichotomous, polytomous;
    convertree(mem_tree[0], &dichotomous);
    convertree(mem_tree[1], &polytomous);
    // Codes: 1 in 2+1 bits; then, of five places (0 1 root 2 node), place 3 in 3+1 bits.
    EXPECT_EQ(dichotomous, std::string("\1\0\x32\0", 4));
    EXPECT_EQ(polytomous, std::string("\1\0\x3a\0", 4));
}

TEST(Treefiles, BothFormsGiveBackTheTreesWritten)
{
    std::mt19937 dice(5);
    for (const sizes &s : SOME) {
        datafor(s.taxa);
        std::vector<tree> trees;
        for (int i = 0; i < 20; ++i) trees.push_back(canonical(randomtree(&dice, i % 4 * 25)));
        quietly("proc " + writefile("in.tre", trees_as_text(trees)) + ";");
        ASSERT_EQ(treesinmemory(), trees);
        std::string a = path("a.ctf"), b = path("b.tre");
        quietly("tsave " + a + "; save; tsave/; tsave *" + b + "; save; tsave/; keep 0; shortread " + a + ";");
        EXPECT_EQ(treesinmemory(), trees);
        quietly("keep 0; proc " + b + ";");
        EXPECT_EQ(treesinmemory(), trees);
        EXPECT_EQ(readfile(a).substr(0, 2), std::string({ char(s.taxa & 255), char(s.taxa >> 8) }));
    }
}

TEST(Treefiles, NamesReadBackAsTheirTaxa)
{
    // One name begins another; others hold a blank, a dot, digits, signs of the notation.
    std::string file = writefile("names.zel", "xread 1 7 AB 0 A 0 A.b 0 9lives 0 x^y 0 p(q) 0 12 0 ; proc/;");
    quietly("proc " + file + ";");
    std::mt19937 dice(6);
    std::vector<tree> trees;
    for (int i = 0; i < 10; ++i) trees.push_back(canonical(randomtree(&dice, 30)));
    quietly("proc " + writefile("in.tre", trees_as_text(trees)) + ";");
    std::string out = path("named.tre");
    quietly("taxname=; tsave *" + out + "; save; tsave/; taxname-; keep 0; proc " + out + ";");
    EXPECT_EQ(treesinmemory(), trees);
    EXPECT_NE(readfile(out).find("x^y"), std::string::npos);
    EXPECT_EQ(readfile(out).find("p(q)"), std::string::npos);
}

TEST(Treefiles, IncompleteTreesReadBackFromTextAndAreCompletedInCompactFiles)
{
    std::mt19937 dice(8);
    datafor(20);
    std::vector<tree> trees, completed;
    for (int i = 0; i < 20; ++i) {
        trees.push_back(canonical(randomtree(&dice, 30, 40)));
        completed.push_back(trees.back());
        joinabsent(completed.back().data());
    }
    quietly("proc " + writefile("in.tre", trees_as_text(trees)) + ";");
    ASSERT_EQ(treesinmemory(), trees);
    std::string file = path("incomplete.ctf");
    std::string said = zelrun("tsave " + file + "; save; tsave/;");
    EXPECT_NE(said.find("Some trees are incomplete\nCan't save incomplete trees as compact"), std::string::npos);
    EXPECT_EQ(treesinmemory(), trees);
    quietly("keep 0; shortread " + file + ";");
    EXPECT_EQ(treesinmemory(), completed);
    quietly("keep 0; absincl=; proc " + path("in.tre") + "; absincl-;");
    EXPECT_EQ(treesinmemory(), completed);
}

TEST(Treefiles, SixteenBitFilesEndAt16383Taxa)
{
    std::mt19937 dice(9);
    for (int taxa : BIG) {
        datafor(taxa);
        ASSERT_EQ(nt, taxa);
        std::vector<tree> trees{ canonical(randomtree(&dice, 0)), canonical(randomtree(&dice, 50)) };
        quietly("hold 4; proc " + writefile("in.tre", trees_as_text(trees)) + ";");
        ASSERT_EQ(treesinmemory(), trees);
        std::string file = path("big.ctf");
        quietly("tsave " + file + "; save; tsave/; keep 0; shortread " + file + ";");
        EXPECT_EQ(treesinmemory(), trees);
        std::string codes, header = taxa < 16384 ? std::string("\xff\x3f", 2)
                                                 : std::string("\0\0", 2) + char(taxa & 255) + char(taxa >> 8) + std::string(2, 0);
        std::string bytes = readfile(file);
        EXPECT_EQ(bytes.substr(0, header.size()), header);
        convertree(trees[0].data(), &codes);
        EXPECT_EQ(plaindecode(codes, taxa < 16384 ? 2 : 4), trees[0]);
        EXPECT_EQ(bytes.substr(header.size(), codes.size()), codes);
    }
}

TEST(Treefiles, CutAnywhereKeepTheTreesBeforeTheCut)
{
    std::mt19937 dice(10);
    datafor(12);
    std::vector<tree> trees;
    for (int i = 0; i < 4; ++i) trees.push_back(canonical(randomtree(&dice, 20)));
    quietly("proc " + writefile("in.tre", trees_as_text(trees)) + ";");
    std::string file = path("whole.ctf");
    quietly("tsave " + file + "; save; tsave/;");
    std::string bytes = readfile(file);
    size_t ends[5] = { 2 };
    for (int i = 0; i < 4; ++i) {
        std::string codes;
        convertree(trees[i].data(), &codes);
        ends[i + 1] = ends[i] + codes.size();
    }
    ASSERT_EQ(ends[4], bytes.size());
    for (size_t cut = 0; cut < bytes.size(); ++cut) {
        zelrun("keep 0;");
        std::string said = zelrun("shortread " + writefile("cut.ctf", bytes.substr(0, cut)) + ";");
        size_t whole = size_t(std::upper_bound(ends, ends + 5, cut) - ends);
        bool clean = whole && ends[whole - 1] == cut;
        EXPECT_EQ(zelfailed(), !clean);
        if (!clean) { EXPECT_NE(said.find("Unexpected end of file"), std::string::npos); }
        EXPECT_EQ(trees_in_mem, whole ? int(whole) - 1 : 0);
        if (trees_in_mem) { EXPECT_EQ(treesinmemory()[0], trees[0]); }
    }
}

TEST(Treefiles, ForeignBytesNeverBreakTheReaders)
{
    std::mt19937 dice(11);
    datafor(9);
    const char pieces[] = "0123456789 ()(),*='@+-.xT\n";       // no semicolon: what follows it would be commands
    for (int trial = 0; trial < 400; ++trial) {
        std::string text, binary;
        for (int i = int(dice() % 60); i > 0; --i) text += pieces[dice() % (sizeof pieces - 1)];
        for (int i = int(dice() % 80); i > 0; --i) if (char c = char(dice()); c != ';') binary += c;
        zelrun("keep 0;");
        zelrun("proc " + writefile("junk.tre", "tread (0 1)* (" + text) + ";");
        checktreebuf();
        if (trial % 2) binary = std::string("\x09\0", 2) + binary;
        zelrun("shortread " + writefile("junk.ctf", binary) + ";");
        checktreebuf();
        zelrun("proc " + writefile("junk.tre", "tread (0 1) " + binary) + ";");
        checktreebuf();
    }
}

TEST(Treefiles, AnOldFileStaysUntilTheNewOneIsClosedAndWhenWritingFails)
{
    datafor(50);
    std::string file = writefile("kept.tre", "old contents");
    zelrun("tread (0 (1 2) (3 4 5));");
    zelrun("tsave *" + file + "; save;");
    EXPECT_EQ(readfile(file), "old contents");
    zelrun("tsave/;");
    EXPECT_EQ(readfile(file), "tread 'tree(s) from ZEL, for data in " + path("taxa50.zel") + "'\n(0 (1 2) (3 4 5));\nproc-;\n");

    file = writefile("kept.tre", "old contents");
    struct rlimit was, small = { 1000, RLIM_INFINITY };
    getrlimit(RLIMIT_FSIZE, &was);
    small.rlim_max = was.rlim_max;
    zelrun("tsave *" + file + ";");
    for (int i = 0; i < 60; ++i) zelrun("tread (0 (1 2) (3 4 5));");
    setrlimit(RLIMIT_FSIZE, &small);
    std::string said = zelrun("save;");
    bool failed = zelfailed();
    setrlimit(RLIMIT_FSIZE, &was);
    EXPECT_TRUE(failed);
    EXPECT_NE(said.find("Can't write to tree file " + file), std::string::npos) << said;
    EXPECT_EQ(readfile(file), "old contents");
    EXPECT_EQ(treefile, nullptr);
    for (const auto &entry : fs::directory_iterator(tempdir()))
        EXPECT_EQ(entry.path().string().find(".new"), std::string::npos);
    EXPECT_EQ(trees_in_mem, 61);
}

TEST(Treefiles, AppendedCompactTreesFollowThoseThere)
{
    std::mt19937 dice(12);
    datafor(15);
    std::vector<tree> trees;
    for (int i = 0; i < 6; ++i) trees.push_back(canonical(randomtree(&dice, 20)));
    quietly("proc " + writefile("in.tre", trees_as_text(trees)) + ";");
    for (std::string star : { "", "*" }) {
        std::string file = path("both.tre");
        quietly("tsave " + star + file + "; save 0.2; tsave/; tsave " + star + file + "+; save 3.; tsave/;");
        quietly("keep 0; " + std::string(star.empty() ? "shortread " : "proc ") + file + ";");
        EXPECT_EQ(treesinmemory(), trees);
    }
    std::string other = writefile("other.ctf", std::string("\x10\0", 2)), said = zelrun("tsave " + other + "+;");
    EXPECT_NE(said.find("Cannot append tree file.\n\nTrees in " + other), std::string::npos) << said;
    EXPECT_EQ(readfile(other), std::string("\x10\0", 2));
    EXPECT_EQ(treefile, nullptr);
}

TEST(Treefiles, ExitEndsAParentheticalFile)
{
    datafor(5);
    zelrun("tread (0 (1 2) (3 4));");
    std::string file = path("exit.tre");
    zelrun("tsave *" + file + "; save;");
    close_treefile_at_exit();
    std::string text = readfile(file);
    EXPECT_EQ(text.substr(text.find('\n')), "\n(0 (1 2) (3 4));\nproc/;\n");
}

TEST(Treefiles, ExitTellsOfOneThatCannotBeWritten)
{
    datafor(5);
    zelrun("tread (0 (1 2) (3 4));");
    std::string file = "/dev/full";
    zelrun("tsave *" + file + ";");
    fputs("trees not written yet\n", treefile);
    testing::internal::CaptureStderr();
    close_treefile_at_exit();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Cannot write /dev/full: the trees saved are lost\n");
    EXPECT_EQ(treefile, nullptr);
}

TEST(Autosave, WritesAllTreesByTurns)
{
    datafor(6);
    zelrun("tread (0 (1 2) (3 4 5));");
    std::string base = path("auto"), header = "tread 'tree(s) from ZEL, for data in " + path("taxa6.zel") + "'\n";
    zelrun("tsave ! 10:0:0 *" + base + ";");
    EXPECT_TRUE(autosave_results);
    autosave_the_results();
    EXPECT_FALSE(fs::exists(base + "-1"));               // not due
    autosave_results = 1;
    autosave_the_results();
    EXPECT_EQ(readfile(base + "-1"), header + "(0 (1 2) (3 4 5));\nproc-;\n");
    EXPECT_FALSE(fs::exists(base + "-2"));
    zelrun("tread (0 (1 (2 3)) 4 5);");
    autosave_results = 1;
    mkoptlist(nodlist, mem_tree[1]);
    std::vector<int> before(lef, lef + nodz), first(sis, sis + nodz);
    autosave_the_results();
    EXPECT_EQ(std::vector<int>(lef, lef + nodz), before);
    EXPECT_EQ(std::vector<int>(sis, sis + nodz), first);
    EXPECT_EQ(readfile(base + "-2"), header + "(0 (1 2) (3 4 5))*\n(0 4 5 (1 (2 3)));\nproc-;\n");
    EXPECT_NE(zelrun("tsave ! 0;").find("Auto-save is off"), std::string::npos);
    EXPECT_FALSE(autosave_results);
}

TEST(Autosave, InTheMiddleOfASearchWritesTheTreesAsTheUserKnowsThem)
{
    std::string said = zelrun("nstates num; nstates 16; proc " + std::string(ZEL_EXAMPLES_DIR) +
                              "/vertebrates.zel; outgroup 3; taxcode - 5; mult=replic 3;");
    ASSERT_GT(trees_in_mem, 0) << said;
    std::vector<tree> found = treesinmemory();
    for (const char *sign : { "", "*" }) {
        std::string base = path("mid");
        zelrun(std::string("tsave ! 0:0:30 ") + sign + base + ";");
        schpack();                                           // as a search does: trees go over to its numbers
        std::vector<tree> packed = treesinmemory();
        autosave_results = 1;
        autosave_the_results();
        EXPECT_EQ(treesinmemory(), packed);
        unpack_trees();
        for (int t = 0; t < trees_in_mem; ++t) reset_nodz(mem_tree[t]);
        EXPECT_EQ(treesinmemory(), found);
        zelrun(std::string("tsave ! 0; ") + (*sign ? "proc " : "shortread ") + base + "-1;");
        ASSERT_EQ(trees_in_mem, 2 * int(found.size()));
        for (size_t t = 0; t < found.size(); ++t) {
            tree expected = found[t];
            if (!*sign) joinabsent(expected.data());
            EXPECT_EQ(treesinmemory()[found.size() + t], expected);
        }
        zelrun("keep " + std::to_string(found.size()) + ";");
    }
}

TEST(Treebuf, GrowsWhileTreesAreReadAndKeepsThemWithTheirGroups)
{
    std::mt19937 dice(13);
    datafor(10);
    std::vector<tree> trees;
    for (int i = 0; i < 250; ++i) trees.push_back(canonical(randomtree(&dice, 20)));
    quietly("hold 2; proc " + writefile("many.tre", trees_as_text(trees)) + ";");
    EXPECT_EQ(treesinmemory(), trees);
    EXPECT_STREQ(treegroupname[0], "many.tre");
    for (int t = 0; t < trees_in_mem; ++t) EXPECT_EQ(treegroup[t][0], 1u);
    quietly("hold 40;");
    trees.resize(40);
    EXPECT_EQ(treesinmemory(), trees);
    std::vector<uint8_t> keep(40);
    for (int t = 0; t < 40; ++t) keep[t] = t % 3 == 0 ? LISTED : t % 3 == 1 ? UNLISTED : 0;
    treegroupdef[1] = 1u << 8;
    add_to_treegroup(9, 40);
    effect_tree_choice(keep.data());
    std::vector<tree> third;
    for (int t = 0; t < 40; t += 3) third.push_back(trees[t]);
    EXPECT_EQ(treesinmemory(), third);
    EXPECT_EQ(treegroup[3][1], 1u << 8);
    EXPECT_EQ(find_equal_tree(third[5].data(), trees_in_mem), 5);
    EXPECT_EQ(find_equal_tree(trees[1].data(), trees_in_mem), -1);
    deletree(1);
    EXPECT_EQ(trees_in_mem, 13);
    EXPECT_EQ(treegroup[2][1], 1u << 8);
    EXPECT_EQ(treesinmemory()[1], third[2]);
}

TEST(Treebuf, TrincMakesRoomAndOpensAGroup)
{
    datafor(5);
    zelrun("hold 1; tread (0 (1 2) (3 4));");
    tree t(mem_tree[0], mem_tree[0] + nodz);
    int place = -1;
    static int *where = &place;
    where = &place;
    safecall([] { *where = trinc("found", true); });
    EXPECT_EQ(place, 1);
    EXPECT_EQ(maxtrees, 10);
    stortree(t.data());
    EXPECT_EQ(trees_in_mem, 2);
    EXPECT_STREQ(treegroupname[1], "found");
    EXPECT_EQ(treegroup[1][0], 2u);
    EXPECT_EQ(nextautotreegroup, 2);
    zelrun("hold 2;");
    bool done = safecall([] { trinc(nullptr, false); });
    EXPECT_FALSE(done);
}

TEST(Tags, AreReadAndSavedWithTheirNodes)
{
    datafor(5);
    zelrun("tread (0 (1=one/ 2)=left/ (3 4)=right/ );");
    std::string file = path("tags.tre");
    zelrun("tsave *" + file + "; save *; tsave/;");
    std::string text = readfile(file);
    EXPECT_EQ(text.substr(text.find('\n') + 1), "(0 (1=one/ 2)=left/ (3 4)=right/ );\nproc-;\n");
    zelrun("reroot: 3; tsave *" + file + "; save *; tsave/;");
    text = readfile(file);
    EXPECT_EQ(text.substr(text.find('\n') + 1), "(3 (4 (0 (1=one/ 2)=left/ )=right/ ));\nproc-;\n");
}

// The text of the tag tree, as it is saved.
static std::string savedtags()
{
    std::string file = path("tags.tre");
    zelrun("tsave *" + file + "; save *; tsave/;");
    std::string text = readfile(file);
    text.erase(0, text.find('\n') + 1);
    return text.substr(0, text.find(";\nproc-;"));
}

TEST(Tags, EndAtABlankAtTheParenthesisOfTheGroupAroundOrAtTheCommaOfATreeWithCommas)
{
    datafor(6);
    const char *all[] = { "(0 (1=one 2)=left (3 4)=right/ 5)=all", "(0 (1=one 2)=left (3 4)=right 5)=all/ ",
                          "(0,(1=one,2)=left,(3,4)=right,5)=all", "(0 (1=one/ 2)=left/\n(3 4)=right/ 5)=all" };
    for (const char *text : all) {
        zelrun(std::string("tread ") + text + ";");
        ASSERT_FALSE(zelfailed()) << text;
        EXPECT_EQ(savedtags(), "(0 5 (1=one/ 2)=left/ (3 4)=right/ )=all/ ") << text;
    }
    zelrun("tread (0 (1 2)=a,b (3 (4 5)=(:2)) );");
    EXPECT_EQ(savedtags(), "(0 (1 2)=a,b/ (3 (4 5)=(:2)/ ))");
}

TEST(Tags, ReadBackAsTheyWereSavedAlsoThoseThatLookLikeItsNotation)
{
    datafor(6);
    for (const char *tag : { "90", "90/", "a/b", "//", "(5", "5)", "(5)", "x;y", "two words", "a*", "=", "1,2", "-" }) {
        zelrun("tread (0 (1 2)=tag (3 4) 5);");
        int node = mem_tree[trees_in_mem - 1][1];
        strcpy(txtrmsg[node], tag);
        std::string saved = savedtags();
        zelrun("tread " + saved + ";");
        ASSERT_FALSE(zelfailed()) << saved;
        EXPECT_EQ(savedtags(), saved) << tag;
        std::string expected = tag;
        for (char &c : expected)
            if (c == ';' || c == ' ' || c == '*' || (c == ')' && expected[0] != '(')) c = '_';
        EXPECT_EQ(txtrmsg[node], expected);
        zelrun("keep 0;");
    }
    std::string longest(maxtxtsz - 1, 'x');
    zelrun("tread (0 (1 2)=" + longest + "and_more (3 4) 5);");
    EXPECT_EQ(savedtags(), "(0 5 (1 2)=" + longest + "/ (3 4))");
}

TEST(Treefiles, AreAppendedOnlyInTheirOwnNotation)
{
    datafor(6);
    zelrun("tread (0 (1 2) (3 (4 5)));");
    std::string compact = path("trees.ctf"), text = path("trees.tre");
    zelrun("tsave =" + compact + "; tsave =*" + text + ";");
    std::string was = readfile(compact), wastext = readfile(text);
    EXPECT_NE(zelrun("tsave *=" + compact + "+;").find("Cannot append tree file.\nTree file " + compact), std::string::npos);
    EXPECT_TRUE(zelfailed());
    zelrun("tsave =" + text + "+;");
    EXPECT_TRUE(zelfailed());
    EXPECT_EQ(readfile(compact), was);
    EXPECT_EQ(readfile(text), wastext);
}

TEST(Treefiles, OfATitleOnlyTakeTreesLater)
{
    datafor(6);
    std::string file = path("title.tre");
    zelrun("tread (0 (1 2) (3 (4 5))); tsave *" + file + "; tsave/; tsave *" + file + "+; save; tsave/; keep 0;");
    zelrun("proc " + file + ";");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(trees_in_mem, 1);
}

TEST(Treefiles, NamesCutOnOutputReadBackAsTheirTaxa)
{
    zelrun("silent=all; proc " + writefile("cut.zel", "xread 1 6\nHomo_sapiens 0\nHomo_erectus 0\nPan 0\n"
                                           "bug... 0\n5spots 0\nPanthera 0\n;\nproc/;\n") + "; silent-all;");
    std::string file = path("cut.tre");
    for (const char *names : { "taxname=;", "taxname [5;", "taxname [3;" }) {
        zelrun("keep 0; tread (0 (1 2) (3 (4 5))); taxname=;");
        zelrun(names);
        zelrun("tsave *=" + file + "; proc " + file + ";");
        EXPECT_FALSE(zelfailed()) << readfile(file);
        ASSERT_EQ(trees_in_mem, 2);
        EXPECT_TRUE(equal_tree(mem_tree[0], mem_tree[1])) << readfile(file);
    }
    zelrun("taxname ]; taxname-;");
}
