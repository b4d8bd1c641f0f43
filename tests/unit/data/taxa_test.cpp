#include "zeltest.h"
#include "data/lists.h"
#include "data/matrix.h"

namespace {
void data()
{
    zelrun("silent=all; proc " + writefile("taxa.zel",
        "xread\n2 7\nAlpha 00\nBeta 00\nBeth 01\nGamma 01\nDelta 11\nEps 11\nEta 10\n;\nproc/;\n") + "; silent-all;");
    ASSERT_EQ(nt, 7);
}

std::string active()
{
    std::string s;
    for (int t = 0; t < nt; ++t) s += taxact[t] ? '1' : '0';
    return s;
}
}

TEST(Taxcode, ActivatesAndDeactivatesFromOneList)
{
    data();
    zelrun("taxcode -Bet 6;");
    EXPECT_EQ(active(), "1001110");
    zelrun("taxcode +Beth 6 - 5;");
    EXPECT_EQ(active(), "1011101");
    EXPECT_EQ(numactive(), 5);
    EXPECT_EQ(ntax, 5);
    zelrun("taxcode 1 5;");
    EXPECT_EQ(active(), "1111111");
}

TEST(Taxcode, WithNoChangeReports)
{
    data();
    zelrun("taxcode -3 5;");
    std::string report = "5 terminal taxa are active: \n 0 1 2 4 6\n2 terminal taxa are inactive: \n 3 5\n";
    EXPECT_EQ(zelrun("taxcode ;"), report);
    EXPECT_EQ(zelrun("taxcode -5;"), report);
    zelrun("taxname =;");
    EXPECT_EQ(zelrun("taxcode ;"), "5 terminal taxa are active: \n Alpha Beta Beth Delta Eta\n2 terminal taxa are inactive: \n Gamma Eps\n");
    zelrun("taxname -;");
    EXPECT_EQ(zelrun("taxcode +3;"), "");
}

TEST(Taxcode, SavesTheStateAsACommand)
{
    data();
    zelrun("taxcode -3 5;");
    std::string saved = zelrun("taxcode *;");
    zelrun("taxcode +3 5;");
    zelrun(saved);
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(active(), "1110101");
}

TEST(Taxcode, LeavesFourTaxaAndTheOutgroup)
{
    data();
    std::string said = zelrun("taxcode -3.;");
    EXPECT_NE(said.find("Cannot have less than 4 active taxa"), std::string::npos) << said;
    said = zelrun("taxcode -0 5;");
    EXPECT_NE(said.find("Cannot deactivate Alpha (it is current outgroup)"), std::string::npos) << said;
    EXPECT_EQ(active(), "1111111");
    said = zelrun("taxcode =3;");
    EXPECT_NE(said.find("Wrong argument for taxcode : '='"), std::string::npos) << said;
}

TEST(Outgroup, IsAnActiveTaxon)
{
    data();
    EXPECT_EQ(zelrun("outgroup;"), "Outgroup is taxon 0 - Alpha \n");
    zelrun("outgroup Gam;");
    EXPECT_EQ(outgroup, 3);
    zelrun("taxcode -0; ");
    EXPECT_FALSE(zelfailed());
    std::string said = zelrun("outgroup 0;");
    EXPECT_NE(said.find("Cannot use an inactive taxon as outgroup - Alpha"), std::string::npos) << said;
    for (const char *bad : { "outgroup 7;", "outgroup zeta;", "outgroup =;" }) {
        said = zelrun(bad);
        EXPECT_NE(said.find("Outgroup taxon must be 0 - 6"), std::string::npos) << said;
    }
    said = zelrun("outgroup [ Xus;");
    EXPECT_NE(said.find("The \"[\" option is valid only when taxonomic categories have been defined"), std::string::npos);
    EXPECT_EQ(outgroup, 3);
    zelrun("outgroup Beth;");
    EXPECT_EQ(zelrun("outgroup;"), "Outgroup is taxon 2 - Beth \n");
}
