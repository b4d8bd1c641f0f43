// The whole table of expressions, row by row: which give a number, and which say that their subject is not there yet.
#include "extests.h"
#include "kernel/window.h"
#include <map>
#include <set>
#include <sstream>

// What stands behind the name where something must, and where a list goes that cannot go to unnamed cells.
struct argumentsof { std::string text, target = "800"; };

static std::map<std::string, argumentsof> plausible(const std::string &file)
{
    std::map<std::string, argumentsof> of;
    auto put = [&](const std::string &names, const std::string &text, const std::string &target = "800") {
        std::istringstream words(names);
        for (std::string word; words >> word; ) of[word] = { text, target };
    };
    put("anc deslist firstdes getarep gfreq grouplist isintree nodfork numdes repspoly sister", "[0 (anc[0 7])]");
    put("comnod distnode isanc", "[0 5 7]");
    put("downlist uplist invault isdup mono nnodes tnodes tsize freqlist freqdlist", "[0]");
    put("eqgroup simgroup", "[0 (anc[0 7]) 1]");
    put("gcomp", "[0 (anc[0 7]) 1 (anc[1 7])]");
    put("eqtrees rfdist rrfdist rfdistp rrfdistp", "[0 1]");
    put("ismono", "[0 7 8]");
    put("splitgroup", "[0 root 4 0.5]");
    put("fit homo length score softfit softhomo softlength softscore", "[1 2]");
    put("cost", "[5 0 2]");
    put("contmin contmins contmax contmaxs", "[0 3]");
    put("contscale", "[0 2]");
    put("isact isadd iscont iscateg isinfo isinnuc islmark issank maxstate maxsteps maxstepsact minsteps minstepsact nstates weight", "[5]");
    put("states", "[. 10 0]");
    put("statediff", "[5 6]");
    put("blockend blockstart blocklist charsingp taxingp treesingp", "[1]");
    put("havetgp", "[best]");
    put("isactax nummissing seqend seqstart", "[6]");
    put("isinagroup isinxgroup isintgroup taxinblock", "[1 1]");
    put("combin power", "[5 2]");
    put("editcost getrandom", "[1 5]");
    put("exp log logten numbits numclads whomo", "[3]");
    put("matexp", "[m 0.5]", "r");
    put("maxval minval meanval sumval stddev sortlist varsize", "[v]");
    put("intpol", "[v 1.5]");
    put("randomlist", "[7]");
    put("spearman", "[v w]");
    put("isdefd isfile lenstring getresponse", "[v]");
    put("eqstring isinstring stringsim", "[abc bc]");
    put("stringend", "[v]");
    put("hifchar hifeof hifline hifnumber hifspy", "[" + file + "]");
    put("hiftext", "[" + file + "]:4", "v");
    put("biginsect bignotsect nodtosect", "[3]");
    return of;
}

static std::set<std::string> setof(const std::string &names)
{
    std::istringstream words(names);
    std::set<std::string> set;
    for (std::string word; words >> word; ) set.insert(word);
    return set;
}

static const struct { const char *subject, *names; } NOTYET[] = {
    { "likelihoods", "fixlik implik lik mklik mplik numcategs simplik smplik" },
    { "links and nuclei", "charalngps charalnlevs charalnreal charalnto chartonuc nuccost nuchascomb nucmaxstate nucmember nucsize "
                          "nucsmatrix nuctostate recsteps" },
    { "distances of this kind", "aclusdist agrpdist atripdist clusdist discoeff flipd grpdist grptogrp osr sprdiff sprsim symcoeff "
                                "symcoeffp tripdist tripdistp" },
    { "comparisons of data", "dcomp matchtax" },
    { "lists of supports", "bremlist impwtlist lastsibyl lastsupp" },
    { "landmarks", "lmdims lmerror lmfactor lmmaxdist lmnpoints lmscore lmwt lmxcell lmxcoord lmycell lmycoord lmzcell lmzcoord "
                   "slerrmarg" },
    { "counts of transformations", "maxtrans mintrans" },
    { "traces of sectors", "treeparts" },
    { "groups of hosts", "isinhgroup" },
    { "parallel copies of a script", "maxcfork" },
    { "parallel jobs", "acttasks attag bestscore hostload ntasksbelow numerrors numhosts numjobs numrearrangs numreps numtasks numtrees "
                       "percdone pexstatus plevel pmode runtime schalg slavenum speed tagsum tasksatsch tasksin tasksleft tasksrecvd "
                       "tasktoh taskvar totcpus waitsuccess" },
};

TEST(TableOfExpressions, GivesNumbersOrSaysWhatIsNotThereYet)
{
    std::string file = writefile("numbers.txt", "12 34 56 78 90 12 34 56 78\n");
    std::string matrix = writefile("both.xread", "nstates cont; xread 11 9\n&[cont]\nA 1\nB 2\nC 3\nD 4\nE 5\nF 6\nG 7\nH 8\nI 9\n"
        "&[num]\nA 0000000000\nB 0010010001\nC 0110120011\nD 01101?2011\nE 1110133?11\nF 11[01]0132111\nG 1111143???\n"
        "H 1111142110\nI 0001042110\n; ccode + 5.7 /3 3 ] 10; proc/;\n");
    zelrun("mxram 64; report=; piwe-; xwipe; procedure " + matrix + ";");
    zelrun("blocks 0 4 7; agroup =1 (some) 1 3; xgroup =1 (few) 1 3; tread (0 (1 (2 (3 (4 (5 (6 (7 8)))))))) * ((0 1)(2 (3 4 5)(6 (7 8)))); "
           "tgroup =1 (best) 0 1; force + [7 8]; constrain =;");
    ASSERT_FALSE(zelfailed());
    auto was = window.messagebox;
    window.messagebox = [](const char *, const char *, int) { return 1; };
    auto arguments = plausible(file);
    std::set<std::string> outsidesector;
    std::map<std::string, std::string> refused, notyet;
    for (auto &n : NOTYET)
        for (auto &name : setof(n.names)) notyet[name] = "Sorry, " + std::string(n.subject) + " are not available yet";
    int rows = 0, headings = 0;
    for (const exprrow *row = exprtable; row->name; ++row) {
        ++rows;
        if (*row->name == '\r') { ++headings; continue; }
        std::string word = row->word ? row->word : row->name;
        argumentsof a = arguments[word];
        arguments.erase(word);
        if (!row->value) {                                // a text, for '$'
            EXPECT_EQ(word, "hifstring");
            continue;
        }
        fromfile("var: v[3] w[3] m[3 3] r[3 3]; setarray 3 v 4 2 8; setarray 3 w 1 2 3; setarray 3,3 m -2 1 1 1 -2 1 1 1 -2; "
                 "hifile open " + file + "; return = 0;");
        ASSERT_FALSE(zelfailed());
        std::string said = zelrun("set " + a.target + " " + word + a.text + " ;");
        if (!zelfailed()) {
            EXPECT_FALSE(std::isnan(value_of(a.target == "800" ? 800 : find_varname(a.target.c_str())))) << word;
            continue;
        }
        if (has(said, "No sector is being analyzed with \"track\"")) outsidesector.insert(word);
        else if (has(said, "Sorry, ")) refused[word] = said.substr(0, said.find("yet") + 3);
        else ADD_FAILURE() << word << a.text << ": " << said;
    }
    window.messagebox = was;
    zelrun("constrain -; force -; xwipe; nstates num; nstates 8;");
    EXPECT_EQ(refused, notyet);
    EXPECT_EQ(outsidesector, setof("biginsect bignotsect bigntax nodtosect"));
    EXPECT_EQ(headings, 1);
    EXPECT_EQ(rows - headings, 268);
    EXPECT_TRUE(arguments.empty()) << arguments.begin()->first << " is no expression";
}

TEST(TableOfExpressions, HasEachNameOnce)
{
    std::set<std::string> names;
    for (const exprrow *row = exprtable; row->name; ++row) EXPECT_TRUE(names.insert(row->name).second) << row->name;
}
