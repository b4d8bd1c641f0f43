// Characters, blocks and groups, against the matrix as it was typed.
#include "extests.h"
#include "reference.h"
#include "data/matrix.h"
#include "trees/lightopt.h"
#include "trees/treebuf.h"

TEST(CharacterExpressions, TellSettingsAndStates)
{
    somedata();
    typed("");
    EXPECT_EQ(valueof("isadd[5]"), 1);
    EXPECT_EQ(valueof("isadd[0]"), 0);
    EXPECT_EQ(valueof("isact[9]"), 0);
    EXPECT_EQ(valueof("isact[8]"), 1);
    EXPECT_EQ(valueof("weight[2]"), 3);
    EXPECT_EQ(valueof("iscont[2]"), 0);
    EXPECT_EQ(valueof("iscateg[2]"), 1);
    EXPECT_EQ(valueof("islmark[2]"), 0);
    EXPECT_EQ(valueof("issank[2]"), 0);
    EXPECT_EQ(valueof("nstates[5]"), 5);
    EXPECT_EQ(valueof("maxstate[5]"), 4);
    EXPECT_EQ(valueof("nstates[0]"), 2);
    EXPECT_EQ(valueof("cost[5 1 4]"), 3);
    EXPECT_EQ(valueof("cost[0 0 1]"), 1);
    EXPECT_EQ(valueof("cost[0 1 1]"), 0);
    EXPECT_EQ(valueof("states[5 2]"), 1 << 2);
    EXPECT_EQ(valueof("states[2 5]"), 3) << "polymorphic";
    EXPECT_EQ(valueof("states[5 3]"), valueof("missing"));
    EXPECT_TRUE(has(refusalof("cost[0 0 40]"), "Character 0 doesn't have a state 40"));
    zelrun("costs 0 = 0>1 3 1>0 5;");
    EXPECT_EQ(valueof("issank[0]"), 1);
    EXPECT_EQ(valueof("cost[0 0 1]"), 3);
    EXPECT_EQ(valueof("cost[0 1 0]"), 5);
}

TEST(CharacterExpressions, MinimaAndMaximaAreOfAllTaxaOrOfActiveOnes)
{
    somedata();
    typed("");
    EXPECT_EQ(valueof("minsteps[5]"), 4);
    EXPECT_EQ(valueof("minsteps[0]"), 1);
    EXPECT_EQ(valueof("maxsteps[0]"), 4);
    EXPECT_EQ(valueof("isinfo[0]"), 1);
    EXPECT_EQ(valueof("isinfo[9]"), 1);
    zelrun("taxcode - 6.8;");
    EXPECT_EQ(valueof("minstepsact[5]"), 3) << "without the taxa of state 4";
    EXPECT_EQ(valueof("maxstepsact[0]"), 2);
    EXPECT_EQ(valueof("maxsteps[0]"), 4) << "all taxa again";
    zelrun("taxcode + 6.8;");
}

TEST(CharacterExpressions, GiveFinalStatesAtEveryNode)
{
    somedata();
    typed("");
    zelrun("keep 2;");
    for (int t = 0; t < 2; ++t)
        for (int c = 0; c < 9; ++c)
            for (int n = 0; n < mem_tree[t][nt]; ++n) {
                double s = valueof("states[" + num(c) + " " + num(n) + " " + num(t) + "]");
                optmem();
                optimize(mem_tree[t]);
                EXPECT_EQ(s, double(cell(n, c))) << t << " " << c << " " << n;
            }
}

// Against all reconstructions of each character, with polytomies, and characters without weight or not active.
TEST(CharacterExpressions, GiveStatesOfBothPassesAlsoOfInactiveCharacters)
{
    std::mt19937 rng(11);
    for (int trial = 0; trial < 6; ++trial) {
        plain::mix kinds = plain::everything(8);
        plain::data m = plain::randommatrix(rng, 9, 12, kinds);
        for (int c = 0; c < 12; c += 3) m.active[size_t(c)] = 0;
        m.weight[1] = 0;
        zelrun("mxram 16; piwe-; procedure " + writefile("states.xread", plain::readtext(m)) + ";");
        plain::tree t = plain::randomtree(rng, 9, 40);
        zelrun("tread " + plain::text(t) + ";");
        ASSERT_FALSE(zelfailed());
        plain::tree read = plain::fromstored(mem_tree[0], nt);
        if (trial == 5) zelrun("piwe=3;");
        typed("");
        for (int c = 0; c < 12; ++c) {
            auto last = plain::finalsets(m, read, c);
            auto first = plain::firstsets(m, read, c);
            set_charcodes();
            if (charcodes[c].sets == 0) continue;                    // nothing but missing entries
            for (int n = nt; n < mem_tree[0][nt]; ++n) {
                uint32_t known = (1u << plain::statesof(m, c)) - 1;
                EXPECT_EQ(uint32_t(valueof("states[" + num(c) + " " + num(n) + " 0]")) & known, last[size_t(n)]) << trial << " " << c << " " << n;
                EXPECT_EQ(uint32_t(valueof("states[" + num(c) + " :" + num(n) + " 0]")) & known, first[size_t(n)]) << trial << " " << c << " " << n;
            }
            EXPECT_EQ(charcodes[c].active != 0, m.active[size_t(c)] != 0) << "as it was";
        }
        zelrun("piwe-;");
    }
}

TEST(CharacterExpressions, ListStatesOfAllNodesAndCharacters)
{
    somedata();
    typed("var: list[40] table[10 20] small[3];");
    zelrun("set list states[0 . 0];");
    EXPECT_EQ(listsize, mem_tree[0][nt]);
    int list = find_varname("list"), table = find_varname("table");
    for (int n = 0; n < nt; ++n) EXPECT_EQ(value_of(list + n), double(cell(n, 0)));
    zelrun("set list states[. 5];");
    EXPECT_EQ(listsize, nc);
    EXPECT_EQ(value_of(list + 5), 8);
    zelrun("set table states[. .];");
    EXPECT_EQ(listsize, nc * nt);
    EXPECT_EQ(value_of(int(value_of(table + 5)) + 6), 16) << "character 5 of taxon 6";
    EXPECT_TRUE(has(zelrun("set small states[. 5];"), "has only 3 values"));
    EXPECT_TRUE(has(zelrun("set small states[. .];"), "A table requires a two-dimensional array"));
    EXPECT_TRUE(has(zelrun("set small states[0 70 0];"), "No node 70 in tree 0"));
}

TEST(CharacterExpressions, CompareSetsOfStates)
{
    typed("");
    EXPECT_EQ(valueof("statediff[5 6 0]"), 2);
    EXPECT_EQ(valueof("statediff[5 6 1]"), 3);
    EXPECT_EQ(valueof("statediff[7 7 0]"), 0);
    EXPECT_TRUE(has(refusalof("statediff[5]"), "Usage: statediff[S1 S2 0/1]"));
    EXPECT_TRUE(has(refusalof("statediff[5 6 2]"), "Usage: statediff[S1 S2 0/1]"));
}

TEST(CharacterExpressions, GiveBoundsOfContinuousCharacters)
{
    zelrun("mxram 16; xwipe; nstates cont; xread 3 5 &[cont]\nA 1.0 2.0-3.5 0\nB 2.0 ? 0\nC 3.0 1.0 0\nD 4.0 1.0 0\nE 5.0 2.5 0\n; "
           "tread (0 (1 (2 (3 4))));");
    ASSERT_FALSE(zelfailed());
    typed("");
    EXPECT_EQ(valueof("iscont[1]"), 1);
    EXPECT_DOUBLE_EQ(valueof("contmin[1 0]"), 2);
    EXPECT_DOUBLE_EQ(valueof("contmax[1 0]"), 3.5);
    EXPECT_DOUBLE_EQ(valueof("contmins[1 0]"), 2);
    EXPECT_DOUBLE_EQ(valueof("contmaxs[1 0]"), 3.5);
    EXPECT_DOUBLE_EQ(valueof("contmin[1 1]"), -1);
    EXPECT_DOUBLE_EQ(valueof("contmin[0 (anc[0 4]) 0]"), 4);
    EXPECT_DOUBLE_EQ(valueof("contscale[0 2.5]"), 2.5);
    EXPECT_TRUE(has(refusalof("states[0 0]"), "Character 0 is continuous: use contmin and contmax"));
    zelrun("xwipe; nstates num;");
    somedata();
    typed("");
    EXPECT_TRUE(has(refusalof("contmin[0 0]"), "Character 0 is not continuous"));
}

TEST(GroupExpressions, KnowMembersSizesAndNames)
{
    somedata();
    zelrun("agroup =0 (first) 0.2 =1 (other) 5; xgroup =3 (some) 1 3 5; tgroup =2 (best) 0 1;");
    typed("");
    EXPECT_EQ(valueof("taxingp[0]"), 3);
    EXPECT_EQ(valueof("taxingp[other]"), 1);
    EXPECT_EQ(valueof("charsingp[some]"), 3);
    EXPECT_EQ(valueof("treesingp[2]"), 2);
    EXPECT_EQ(valueof("havetgp[best]"), 2);
    EXPECT_EQ(valueof("havetgp[none]"), -1);
    EXPECT_EQ(valueof("isinagroup[1 0]"), 1);
    EXPECT_EQ(valueof("isinagroup[1 other]"), 0);
    EXPECT_EQ(valueof("isinagroup[5 first other]"), 1);
    EXPECT_EQ(valueof("isinxgroup[3 3]"), 1);
    EXPECT_EQ(valueof("isintgroup[2 best]"), 0);
    EXPECT_EQ(valueof("isintgroup[1 best]"), 1);
    EXPECT_EQ(valueof("isactax[3]"), 1);
    refusalof("taxingp[nosuch]");
    refusalof("taxingp[99]");
    EXPECT_TRUE(has(refusalof("taxingp[]"), "Too few arguments"));
    EXPECT_TRUE(has(refusalof("isinhgroup[0 0]"), "Sorry, groups of hosts are not available yet"));
}

TEST(GroupExpressions, KnowBlocksAndWhatIsMissing)
{
    somedata();
    zelrun("blocks 0 4 7;");
    typed("");
    EXPECT_EQ(valueof("nblocks"), 3);
    EXPECT_EQ(valueof("blockstart[2]"), 4);
    EXPECT_EQ(valueof("blockend[2]"), 6);
    EXPECT_EQ(valueof("blockend[3]"), 9);
    EXPECT_EQ(listof("blocklist[2]"), (std::vector<double>{ 4, 5, 6 }));
    EXPECT_EQ(valueof("nummissing[6]"), 3);
    EXPECT_EQ(valueof("nummissing[6 2]"), 0);
    EXPECT_EQ(valueof("taxinblock[6 3]"), 0);
    EXPECT_EQ(valueof("taxinblock[6 2]"), 1);
    EXPECT_EQ(valueof("seqend[6]"), 6);
    EXPECT_EQ(valueof("seqstart[6 3]"), -1);
    EXPECT_EQ(valueof("seqstart[6 2]"), 4);
    EXPECT_TRUE(has(refusalof("blockend[4]"), "Only 3 blocks of data have been defined"));
    EXPECT_EQ(valueof("editcost[0 0]"), 0);
    EXPECT_EQ(valueof("editcost[0 1 1]"), 1) << "0000 and 0010";
    EXPECT_EQ(valueof("editcost[4 6 3]"), 2) << "?11 against nothing: the missing one counts in neither";
}
