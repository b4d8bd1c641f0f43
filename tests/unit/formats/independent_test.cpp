// Exported files open in a reader that shares nothing with ours; skipped where it is not installed.
#include "formatstest.h"
#include <cstdlib>

static bool python(const std::string &script)       // the one that packages are installed for
{
    return !system(("PYTHONDONTWRITEBYTECODE=1 /usr/bin/python3 " + writefile("check.py", script) + " > " + tempdir() + "/python.txt 2>&1").c_str());
}

TEST(Exported, OpensInAnIndependentReader)
{
    if (!python("import dendropy\n")) GTEST_SKIP() << "no python3-dendropy";
    fresh();
    readforeign(nexusdata("ntax=5 nchar=6", "missing=?", "'Homo sapiens' 000000\n'it''s (1)' 001110\nc 11?{01}10\nd 111200\ne 000002"));
    ASSERT_EQ(nt, 5);
    zelrun("ccode + 0 ] 1 /3 2; tread (0 (1 2) 3 4)* (0 (1 (2 (3 4))));");
    std::string nex = tempdir() + "/independent.nex", phy = tempdir() + "/independent.phy", dna = tempdir() + "/independent_dna.nex";
    zelrun("export *+ " + nex + "; export = " + phy + ";");
    ASSERT_FALSE(zelfailed());
    EXPECT_TRUE(python("import dendropy\n"
        "text = open('" + nex + "').read().replace('0~2', '012')\n"      // it does not know the sign for a range
        "d = dendropy.DataSet.get(data=text, schema='nexus')\n"
        "m = d.char_matrices[0]\n"
        "assert len(m) == 5 and m.max_sequence_size == 6\n"
        "assert [str(x) for x in m[3].values()] == list('111200'), [str(x) for x in m[3].values()]\n"
        "assert m.taxon_namespace[0].label == 'Homo sapiens', m.taxon_namespace[0].label\n"
        "assert m.taxon_namespace[1].label == \"it's (1)\" or m.taxon_namespace[1].label == \"it's_(1)\", m.taxon_namespace[1].label\n"
        "t = d.tree_lists[0]\n"
        "assert len(t) == 2 and len(t[0].leaf_nodes()) == 5\n"
        "assert t[0].is_rooted == False and t[1].is_rooted == True\n"
        "n = dendropy.TreeList.get(path='" + phy + "', schema='newick')\n"
        "assert len(n) == 2 and len(n[1].leaf_nodes()) == 5 and len(n[1].internal_nodes()) == 4\n"))
        << readfile(tempdir() + "/python.txt") << readfile(nex);
    fresh();
    readforeign(nexusdata("ntax=4 nchar=4", "datatype=dna gap=-", "a ACGT\nb ARGN\nc A{CG}TT\nd A?-T"));
    zelrun("export " + dna + ";");
    EXPECT_TRUE(python("import dendropy\n"
        "m = dendropy.DnaCharacterMatrix.get(path='" + dna + "', schema='nexus')\n"
        "assert len(m) == 4 and m.max_sequence_size == 4\n"
        "assert [str(x) for x in m[1].values()] == list('ARGN')\n")) << readfile(tempdir() + "/python.txt") << readfile(dna);
}
