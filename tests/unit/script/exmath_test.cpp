// Arithmetic, values of arrays, texts, and the table itself.
#include "extests.h"
#include "data/matrix.h"
#include "kernel/help.h"
#include "kernel/window.h"
#include "search/moves.h"
#include "trees/treebuf.h"
#include <algorithm>
#include <cstring>
#include <set>

TEST(ArithmeticExpressions, AgreeWithFormulas)
{
    typed("");
    EXPECT_EQ(valueof("combin[5 2]"), 10);
    EXPECT_EQ(valueof("combin[30 15]"), 155117520);
    EXPECT_EQ(valueof("combin[7 0]"), 1);
    EXPECT_DOUBLE_EQ(valueof("exp[2]"), std::exp(2));
    EXPECT_DOUBLE_EQ(valueof("log[10]"), std::log(10));
    EXPECT_DOUBLE_EQ(valueof("logten[1000]"), 3);
    EXPECT_DOUBLE_EQ(valueof("neper"), std::exp(1));
    EXPECT_DOUBLE_EQ(valueof("power[2 10]"), 1024);
    EXPECT_DOUBLE_EQ(valueof("power[2 -1]"), 0.5);
    EXPECT_EQ(valueof("numbits[13]"), 3);
    EXPECT_EQ(valueof("numbits[-1]"), 32);
    EXPECT_EQ(valueof("numclads[2]"), 1);
    EXPECT_EQ(valueof("numclads[3]"), 3);
    EXPECT_EQ(valueof("numclads[5]"), 105);
    EXPECT_TRUE(std::isfinite(valueof("numclads[150]")));
    EXPECT_EQ(valueof("2 + log[(neper)] * 4"), 12);
    EXPECT_TRUE(has(refusalof("combin[2 5]"), "Combinatorial: 5 taken from 2 ?"));
    EXPECT_TRUE(has(refusalof("log[0]"), "Cannot do natural logarithm of 0"));
    EXPECT_TRUE(has(refusalof("logten[-1]"), "Cannot do logarithm of -1"));
    EXPECT_TRUE(has(refusalof("power[-1 0.5]"), "Can't calculate power"));
    EXPECT_TRUE(has(refusalof("power[0 -1]"), "Can't calculate power"));
    EXPECT_TRUE(has(refusalof("numclads[151]"), "Cannot calculate number of cladograms for more than 150 taxa!"));
}

TEST(ArithmeticExpressions, DrawRandomNumbersAndListsWithinLimits)
{
    typed("macseed 7;");
    for (int i = 0; i < 200; ++i) {
        double x = valueof("getrandom[9 5]");
        EXPECT_TRUE(x >= 5 && x <= 9) << x;
        x = valueof("getrandom[0 1000000]");
        EXPECT_TRUE(x >= 0 && x <= 1000000) << x;
    }
    double most = 0;
    for (int i = 0; i < 300; ++i) most = std::max(most, double(macrandinterval(1000000000)));
    EXPECT_GT(most, 9.0e8);
    auto all = listof("randomlist[20]");
    EXPECT_EQ(std::set<double>(all.begin(), all.end()).size(), 20u);
    EXPECT_EQ(*std::max_element(all.begin(), all.end()), 19);
    auto some = listof("randomlist[20 5]");
    EXPECT_EQ(some.size(), 5u);
    EXPECT_EQ(std::set<double>(some.begin(), some.end()).size(), 5u);
    EXPECT_TRUE(has(refusalof("randomlist[3 4]"), "Cannot take 4 of 3 numbers"));
    EXPECT_TRUE(has(refusalof("randomlist[0]"), "Random lists can be of 1 to 1000 numbers"));
    EXPECT_TRUE(has(refusalof("getrandom[-1 4]"), "Limits of random numbers must be 0 or more"));
}

TEST(ArithmeticExpressions, SummarizeArrays)
{
    std::string arrays = "var: one[5] two[2 3]; setarray 5 one 4 2 8 6 5;";
    fromfile("");
    zelrun("run " + writefile("arrays.run", arrays + " setarray 2,3 two 1 2 3 4 5 6; "
           "set 900 minval[one]; set 901 maxval[one]; set 902 sumval[one]; set 903 meanval[one]; set 904 stddev[one]; "
           "set 905 maxval[one +3]; set 906 sumval[one +1 /2]; set 907 sumval[two]; set 908 sumval[two[1]]; "
           "set 909 varsize[two]; set 910 intpol[one 1.5]; set 911 meanval[one 2]; return = 0;") + ";");
    ASSERT_FALSE(zelfailed());
    double expected[] = { 2, 8, 25, 5, std::sqrt(5.0), 6, 10, 21, 15, 2, 5, 3 };
    for (int i = 0; i < 12; ++i) EXPECT_DOUBLE_EQ(value_of(900 + i), expected[i]) << i;
    EXPECT_EQ(listof("sortlist[one]"), (std::vector<double>{ 1, 0, 4, 3, 2 }));
    EXPECT_EQ(listof("sortlist[one 3]"), (std::vector<double>{ 1, 0, 2 }));
    EXPECT_TRUE(has(refusalof("maxval[one +5]"), "Cannot shift 5 values of variable"));
    EXPECT_TRUE(has(refusalof("maxval[one +5]"), "(only 1-4 are possible)"));
    EXPECT_TRUE(has(refusalof("sumval[one /6]"), "(one) has only 5 entries"));
    EXPECT_TRUE(has(refusalof("sumval[3]"), "Arrays must be specified with names, not numbers"));
    EXPECT_TRUE(has(refusalof("intpol[one 5]"), "Cannot interpolate at 5"));
    typed("");
    zelrun("macro -; macfloat -; macro =; var: a[3];");
    EXPECT_TRUE(has(zelrun("set 0 intpol[a 1];"), "Interpolation requires that floating point is enabled!"));
    zelrun("macro -; macfloat =; macro prot 0; macro =;");
    EXPECT_TRUE(has(zelrun("set 0 varsize[a];"), "Variable \"varsize\" valid only in macro protection mode"));
    typed("");
    zelrun("macro -; macro prot 0; macro =; var: a[4]; set a 3; set (a + 1) 9; set (a + 2) 6;");
    EXPECT_EQ(valueof("maxval[a]"), 3) << "sizes are not known";
    EXPECT_EQ(valueof("maxval[a 3]"), 9);
    EXPECT_EQ(valueof("meanval[a /3]"), 6);
    EXPECT_EQ(valueof("sumval[a +1 /2]"), 15);
    EXPECT_EQ(valueof("minval[a +1]"), 9);
    EXPECT_TRUE(has(refusalof("sumval[a /1001]"), "(a) has only 1000 entries"));
    zelrun("macro -; macro prot 2;");
}

TEST(TextExpressions, CompareWords)
{
    somedata();
    typed("var: name[20] x; set name $Abc;");
    EXPECT_EQ(valueof("eqstring[abc ABC]"), 1);
    EXPECT_EQ(valueof("eqstring[abc abd]"), 0);
    EXPECT_EQ(valueof("eqstring[$name abc]"), 1);
    EXPECT_EQ(valueof("eqstring[$taxon 2 c]"), 1);
    EXPECT_EQ(valueof("lenstring[hello]"), 5);
    EXPECT_EQ(valueof("lenstring[$name ]"), 3);
    EXPECT_EQ(valueof("isinstring[hello ell]"), 4);
    EXPECT_EQ(valueof("isinstring[hello xyz]"), 0);
    EXPECT_DOUBLE_EQ(valueof("stringsim[abcd abcd]"), 1);
    EXPECT_DOUBLE_EQ(valueof("stringsim[abcd abcx]"), 0.75);
    EXPECT_EQ(valueof("isdefd[name]"), 1);
    EXPECT_EQ(valueof("isdefd[nome]"), 0);
    EXPECT_EQ(valueof("isfile[/]"), 0);
    EXPECT_EQ(valueof("isfile[" + writefile("some.txt", "x") + "]"), 1);
    zelrun("set name $12345678;");
    EXPECT_EQ(valueof("stringend[name]"), find_varname("name") + 1) << "nine bytes, in cells of eight";
    EXPECT_TRUE(has(refusalof("lenstring[" + std::string(1024, 'a') + "]"), "String too long"));
}

TEST(TextExpressions, ReadTextFromFiles)
{
    std::string file = writefile("text.txt", "first line\nsecond;third line\nrest");
    typed("var: t[10] few[1] x; hifile open " + file + ";");
    EXPECT_EQ(zelrun("set t hiftext; set x listsize; quote 'x';"), "11\n") << "with the end of its line";
    EXPECT_EQ(string_at(find_varname("t")), "first line\n");
    zelrun("set t hiftext /59;");
    EXPECT_EQ(string_at(find_varname("t")), "second;");
    zelrun("set t hiftext :3;");
    EXPECT_EQ(string_at(find_varname("t")), "thi");
    zelrun("set t hiftext /(nx);");
    EXPECT_EQ(string_at(find_varname("t")), "rd lin");
    EXPECT_TRUE(has(zelrun("set x hiftext;"), "Expression \"hiftext\" requires one-dim arrays"));
    EXPECT_TRUE(has(zelrun("hifile open " + file + "; set few hiftext :8;"), "Cannot store that many bytes in variable"));
    EXPECT_TRUE(has(zelrun("hifile open " + file + "; set t hiftext :0;"), "Size of text to copy must be >= 1"));
    EXPECT_TRUE(has(zelrun("hifile open " + file + "; set t hiftext /-1;"), "Terminating character must be an ASCII number, 0 or more"));
    zelrun("macro -; macro prot 0; macro =;");
    EXPECT_TRUE(has(zelrun("set 0 hiftext;"), "Expression \"hiftext\" valid only under protection mode 1 or 2"));
    zelrun("macro -; macro prot 2;");
}

TEST(SettingExpressions, FollowTheCommandsThatSet)
{
    somedata();
    typed("");
    EXPECT_EQ(valueof("ntax"), nt - 1);
    EXPECT_EQ(valueof("nchar"), nc - 1);
    EXPECT_EQ(valueof("ntrees"), trees_in_mem - 1);
    EXPECT_EQ(valueof("tcount"), trees_in_mem);
    EXPECT_EQ(valueof("root"), nt);
    EXPECT_EQ(valueof("allvars"), Maxvars);
    EXPECT_EQ(valueof("maxvars"), Maxvars - 1);
    EXPECT_EQ(valueof("missing"), double(MISSING));
    EXPECT_EQ(valueof("linux"), 1);
    EXPECT_EQ(valueof("windows") + valueof("cygwin"), 0);
    EXPECT_EQ(valueof("bittype"), 64);
    EXPECT_EQ(valueof("seclevel"), 0);
    EXPECT_EQ(valueof("nnucs"), -1);
    EXPECT_EQ(valueof("ncharaln"), -1);
    EXPECT_EQ(valueof("bbtax"), 5);
    EXPECT_EQ(valueof("bbfull"), 0);
    zelrun("keep 5;");
    EXPECT_EQ(valueof("bbfull"), 1);
    struct { const char *command, *name; double value; } cases[] = {
        { "rseed 17", "rseed", 17 }, { "rseed 1", "rseed", 1 }, { "subopt 3x0.5", "subopt", 3 }, { "subopt 3x0.5", "rsubopt", 0.5 },
        { "subopt 0x0", "subopt", 0 }, { "absincl=", "absincl", 1 }, { "absincl-", "absincl", 0 }, { "outgroup 2", "outgroup", 2 },
        { "outgroup 0", "outgroup", 0 }, { "macseed 55", "macseed", 55 }, { "report-", "report", 0 }, { "report=", "report", 1 },
        { "collapse 1", "collapse", 1 }, { "collapse 3", "collapse", 3 }, { "hold 50", "maxtrees", 50 }, { "hold 100", "maxtrees", 100 },
    };
    for (auto &c : cases) {
        zelrun(std::string(c.command) + ";");
        ASSERT_FALSE(zelfailed()) << c.command;
        EXPECT_EQ(valueof(c.name), c.value) << c.command;
    }
    zelrun("mult = replic 2;");
    typed("");
    EXPECT_GT(valueof("rearrangs"), 0);
    EXPECT_EQ(valueof("grandscore"), valueof("score[0]"));
}

TEST(SettingExpressions, FollowTheSwapOfAScript)
{
    somedata();
    typed("");
    EXPECT_EQ(valueof("percswap"), 0);
    std::string said = fromfile("var: n half last; sprit 0 set n thismove; if (percswap <= 50) set half 'n'; end set last percswap; stop "
                                "set 900 'n'; set 901 'half'; set 902 'last'; set 903 cutswap; "
                                "sprit 0 endswap; stop set 904 cutswap; set 905 thismove;");
    ASSERT_FALSE(zelfailed()) << said;
    EXPECT_GT(value_of(900), 10);
    EXPECT_EQ(value_of(901), std::floor(value_of(900) / 2));
    EXPECT_EQ(value_of(902), 100);
    EXPECT_EQ(value_of(903), 0);
    EXPECT_EQ(value_of(904), 1);
    EXPECT_EQ(value_of(905), 1);
}

TEST(TableOfExpressions, ReservesItsNamesAndAnswersToItsWords)
{
    typed("");
    int rows = 0;
    for (const exprrow *row = exprtable; row->name; ++row, ++rows) {
        EXPECT_EQ(find_expression(row->name), row) << row->name;
        ASSERT_NE(row->help, nullptr);
        if (*row->name == '\r') continue;
        EXPECT_NE(strstr(row->help, "  "), nullptr) << row->name;
        std::string said = typed(std::string("var: ") + row->name + ";");
        EXPECT_TRUE(has(said, std::string("Can't use ") + row->name + " for a user-variable")) << said;
    }
    typed("absincl=; var: absincl;");
    EXPECT_FALSE(zelfailed()) << "only the row's own spelling is reserved";
    zelrun("set 900 absincl;");
    EXPECT_EQ(value_of(900), find_varname("absincl")) << "the variable hides the expression";
    typed("");
    EXPECT_EQ(valueof("absincl"), 1);
    EXPECT_TRUE(has(refusalof("absicnl"), "Unrecognized variable: absicnl"));
    EXPECT_EQ(valueof("maxtgroup"), 64);
    EXPECT_TRUE(has(refusalof("maxtgroups"), "Unrecognized variable: maxtgroups"));
    zelrun("absincl-;");
}

TEST(TableOfExpressions, IsTheHelp)
{
    EXPECT_EQ(zelrun("help+numdes"), "numdes[T N]\n    taxa of a group\n");
    EXPECT_EQ(zelrun("help+nosuch"), "nosuch: invalid macro expression\n");
    std::string all = zelrun("help+*");
    EXPECT_EQ(all.substr(0, 28), "\nFull List of Expressions:\na");
    std::string overview = zelrun("help+;");
    EXPECT_TRUE(has(overview, "Expressions (enter \"help+xxx\" for help on xxx):\n"
                              "absicnl         accepted        aclusdist       agrpdist        allvars\n"));
    EXPECT_TRUE(has(overview, "\n   Parallel versions only:\nacttasks        attag "));
    for (const exprrow *row = exprtable; row->name; ++row) {
        if (*row->name == '\r') continue;
        EXPECT_TRUE(has(all, std::string("\n") + row->name)) << row->name;
    }
}

TEST(TextExpressions, AskTheUser)
{
    typed("");
    auto was = window.messagebox;
    for (int answer : { 0, 1, 2 }) {
        static int given;
        static std::string asked;
        given = answer;
        window.messagebox = [](const char *, const char *text, int) { asked = text; return given; };
        EXPECT_EQ(valueof("getresponse[Go on?]"), answer);
        EXPECT_EQ(asked, "Go on?");
    }
    window.messagebox = was;
    EXPECT_TRUE(has(refusalof("getresponse[Go on"), "Need closing brackets"));
}
