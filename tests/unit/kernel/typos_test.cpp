#include "zeltest.h"
#include "kernel/driver.h"
#include "kernel/input.h"
#include "kernel/typos.h"
#include "kernel/window.h"
#include <algorithm>

// Fewest letters to change, add or take away, written out plainly.
static int edits(const std::string &a, const std::string &b)
{
    std::vector<std::vector<int>> cost(a.size() + 1, std::vector<int>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); ++i)
        for (size_t j = 0; j <= b.size(); ++j) {
            if (!i || !j) { cost[i][j] = int(i + j); continue; }
            cost[i][j] = std::min({ cost[i - 1][j] + 1, cost[i][j - 1] + 1,
                                    cost[i - 1][j - 1] + (tolower(a[i - 1]) != tolower(b[j - 1])) });
        }
    return cost[a.size()][b.size()];
}

static std::string randomword(std::mt19937 &random, size_t longest)
{
    std::string word(1 + random() % longest, ' ');
    for (char &c : word) c = "abcABC"[random() % 6];
    return word;
}

TEST(Typos, SimilarityIsOneLessEditsByLength)
{
    std::mt19937 random(1);
    for (int trial = 0; trial < 3000; ++trial) {
        std::string a = randomword(random, trial < 2000 ? 8 : 60), b = randomword(random, trial < 2000 ? 8 : 60);
        if (a.size() == 1 && b.size() == 1) continue;
        double shorter = double(std::min(a.size(), b.size())), longer = double(std::max(a.size(), b.size())), n = edits(a, b);
        EXPECT_DOUBLE_EQ(needwunsch_cmp(a.c_str(), b.c_str(), -1), std::max(0.0, 1 - n / longer)) << a << " " << b;
        EXPECT_DOUBLE_EQ(needwunsch_cmp(a.c_str(), b.c_str(), 0), std::max(0.0, 1 - n / shorter)) << a << " " << b;
        double similar = 1 - n / shorter;
        EXPECT_DOUBLE_EQ(needwunsch_cmp(a.c_str(), b.c_str(), 1) >= name_match_limit, similar >= name_match_limit) << a << " " << b;
    }
}

TEST(Typos, SingleLettersAreAlikeOrNot)
{
    EXPECT_EQ(needwunsch_cmp("a", "b", 0), 0.0);
    EXPECT_EQ(needwunsch_cmp("a", "A", 0), 1.0);
    EXPECT_EQ(needwunsch_cmp("", "", 0), 1.0);
    EXPECT_EQ(needwunsch_cmp("", "a", 0), 0.0);
    EXPECT_EQ(needwunsch_cmp("a", "", -1), 0.0);
}

TEST(Typos, AnAbbreviationIsComparedWithTheBeginning)
{
    static int asked;
    asked = 0;
    auto was = window.messagebox;
    window.messagebox = [](const char *, const char *, int) { ++asked; return 0; };
    zelrun("");
    EXPECT_EQ(needwunsch_typo("resam", "resample", "option"), 1);
    EXPECT_EQ(needwunsch_typo("RESAM", "resample", "option"), 1);
    EXPECT_EQ(asked, 0) << "a perfect match is not asked about";
    EXPECT_EQ(needwunsch_typo("resxm", "resample", "option"), 0);
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(needwunsch_typo("xyz", "resample", "option"), 0);
    EXPECT_EQ(asked, 1);
    std::string base(25, 'r');
    EXPECT_EQ(needwunsch_typo((base + "xxx").c_str(), (base + "yyy").c_str(), "option"), 1) << "25 letters are compared";
    window.messagebox = [](const char *, const char *, int) { return 2; };
    menuing = 0;
    EXPECT_EQ(needwunsch_typo("resxm", "resample", "option"), -1);
    window.messagebox = was;
}

TEST(Typos, AreNotAskedAboutInTheBackground)
{
    inbground = 1;
    EXPECT_EQ(needwunsch_typo("resample", "resample", "option"), 0);
    inbground = 0;
}

TEST(Typos, CloseTaxonNamesAreAskedAbout)
{
    static std::string asked;
    static int answer = 1;
    asked.clear();
    auto was = window.messagebox;
    window.messagebox = [](const char *, const char *text, int) { asked = text; return answer; };
    EXPECT_EQ(needwunsch_matchdiff("Homo_sapiens_x", 12, "homo_SAPIENS", 12), 1);
    EXPECT_EQ(asked, "");
    EXPECT_EQ(needwunsch_matchdiff("Homo_sapienz_x", 12, "Homo_sapiens", 12), 1);
    EXPECT_EQ(asked, "Are\n   Homo_sapienz\nand\n   Homo_sapiens\nthe same ? ");
    answer = 0;
    EXPECT_EQ(needwunsch_matchdiff("Homo_sapienz", 12, "Homo_sapiens", 12), 0);
    asked.clear();
    EXPECT_EQ(needwunsch_matchdiff("Pan", 3, "Homo_sapiens", 12), 0);
    EXPECT_EQ(asked, "");
    window.messagebox = was;
}
