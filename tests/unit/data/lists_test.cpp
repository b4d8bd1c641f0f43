#include "zeltest.h"
#include "data/below.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "kernel/driver.h"
#include "kernel/input.h"
#include <algorithm>
#include <cstring>
#include <set>

namespace {
constexpr int TAXA = 23, CHARS = 40;

void data()
{
    std::string text = "xread\n" + std::to_string(CHARS) + " " + std::to_string(TAXA) + "\n";
    for (int t = 0; t < TAXA; ++t) {
        text += std::string(t % 3 ? "Bax" : "abra") + char('A' + t) + "_" + std::to_string(t % 4) + " ";
        text += std::string(CHARS, '0') + "\n";
    }
    zelrun("silent=all; proc " + writefile("lists.zel", text + ";\nproc/;\n") + "; silent-all;");
    ASSERT_EQ(nt, TAXA);
}

// Reads a list from text; what follows it is left in *rest.
struct readlist { uint8_t *list; int low, high; const char *kind; char **names; int result; } reading;

int scopeof(const std::string &text, uint8_t *list, int low, int high, const char *kind, char **names, int *rest = nullptr)
{
    push_text_level("list", text.c_str(), " ;;", 4096);
    reading = { list, low, high, kind, names, -1 };
    bool ok = safecall([] {
        reading.result = read_scope(reading.list, reading.low, reading.high, reading.kind, reading.names);
    });
    if (ok && rest) *rest = gtch();
    inpurge();
    return ok ? reading.result : -1;
}

std::string lower(std::string s)
{
    for (char &c : s) c = char(tolower(c));
    return s;
}

bool begins(const std::string &name, const std::string &word) { return lower(name).compare(0, word.size(), lower(word)) == 0; }

// Random items, with what each selects.
struct item { std::string text; std::set<int> members; };

item randomitem(std::mt19937 *dice, bool names)
{
    auto roll = [&](int n) { return int((*dice)() % unsigned(n)); };
    item it;
    int a = roll(TAXA), b = roll(TAXA);
    auto range = [&](int from, int to) { for (int i = std::min(from, to); i <= std::max(from, to); ++i) it.members.insert(i); };
    switch (roll(names ? 8 : 6)) {
        case 0: case 1: it.text = std::to_string(a); range(a, a); break;
        case 2: it.text = std::to_string(a) + "." + std::to_string(b); range(a, b); break;
        case 3: it.text = std::to_string(a) + "."; range(a, TAXA - 1); break;
        case 4: it.text = "."; range(0, TAXA - 1); break;
        case 5:
            it.text = "{" + std::string(roll(2) ? " odd " : "4") + "}";
            for (int i = 1; i < TAXA; i += 2) it.members.insert(i);
            break;
        default: {
            bool inside = roll(2);
            std::string name = taxname[a], word = inside ? name.substr(roll(int(name.size()) - 1)) : name.substr(0, 1 + roll(int(name.size())));
            if (inside && word.size() > 3) word.resize(1 + roll(3));
            for (char &c : word) if (roll(2)) c = char(roll(2) ? toupper(c) : tolower(c));
            it.text = (inside ? ":" : "") + word;
            for (int t = 0; t < TAXA; ++t)
                if (inside ? lower(taxname[t]).find(lower(word)) != std::string::npos : begins(taxname[t], word))
                    it.members.insert(t);
        }
    }
    return it;
}

void oddgroup()
{
    for (int t = 1; t < TAXA; t += 2) taxgroup[t] |= 1u << 4;
    taxgroupdef |= 1u << 4;
    strcpy(taxgroupname[4], "OddOnes");
}
}

TEST(Lists, RandomListsSelectWhatTheirItemsSay)
{
    data();
    oddgroup();
    std::mt19937 dice(1);
    for (int trial = 0; trial < 1500; ++trial) {
        bool names = trial % 2;
        std::string text;
        std::vector<uint8_t> expected(TAXA, 0), got(TAXA, 77);
        uint8_t sense = LISTED;
        int items = int(dice() % 6);
        for (int i = 0; i < items; ++i) {
            if (int s = int(dice() % 3)) {
                sense = s == 1 ? LISTED : UNLISTED;
                text += s == 1 ? "+" : "-";
                if (dice() % 2) text += " ";
            }
            item it = randomitem(&dice, names);
            for (int m : it.members) expected[m] = sense;
            text += it.text + (dice() % 2 ? " " : "\n");
        }
        const char enders[] = "&/;<=>\\]";
        char end = enders[dice() % 8];
        text += end;
        int rest = 0, n = scopeof(text + " 5", got.data(), 0, TAXA, "taxon", taxname, &rest);
        EXPECT_EQ(n, int(std::count_if(expected.begin(), expected.end(), [](uint8_t x) { return x; }))) << text;
        EXPECT_EQ(got, expected) << text;
        EXPECT_EQ(rest, end) << text;
    }
}

TEST(Lists, AreEmptyWithoutItems)
{
    data();
    uint8_t list[TAXA];
    for (const char *text : { ";", "  ;", "+;", " - ;", "/;" }) EXPECT_EQ(scopeof(text, list, 0, TAXA, "taxon", taxname), 0) << text;
}

TEST(Lists, AGroupWithoutMembersIsNoEmptyList)
{
    data();
    taxgroupdef |= 1;
    uint8_t list[TAXA];
    EXPECT_EQ(scopeof("{0};", list, 0, TAXA, "taxon", taxname), 1);
    EXPECT_EQ(countlist(list, TAXA), 0);
}

TEST(Lists, ReversedRangesAndSignsWithoutBlanksAreTaken)
{
    data();
    uint8_t list[TAXA];
    EXPECT_EQ(scopeof("5.2-3+7;", list, 0, TAXA, "character", nullptr), 5);
    const uint8_t expected[] = { 0, 0, 1, 255, 1, 1, 0, 1, 0 };
    EXPECT_TRUE(std::equal(std::begin(expected), std::end(expected), list));
}

TEST(Lists, NamesOfDigitsAreNumbersAndOthersMayBeginWithDigits)
{
    zelrun("silent=all; xread 1 5 Alpha 0 2b 0 3 0 1.5c 0 Beta.x 0; silent-all;");
    uint8_t list[5];
    auto only = [&](const char *text) {
        EXPECT_EQ(scopeof(text, list, 0, 5, "taxon", taxname), 1) << text;
        return int(std::find(list, list + 5, LISTED) - list);
    };
    EXPECT_EQ(only("3;"), 3);
    EXPECT_EQ(only("2b;"), 1);
    EXPECT_EQ(only("1.5c;"), 3);
    EXPECT_EQ(only("beta.;"), 4);
    EXPECT_EQ(only(":TA;"), 4);
}

TEST(Lists, TaxaOfANodeAreItsTerminals)
{
    data();
    zelrun("tread (0 (1 (2 3) 5)(4 6));");
    // Internal nodes in the order in which their terminals are reached: 1 2 3 5, 2 3, 4 6.
    uint8_t list[TAXA];
    struct { const char *text; std::set<int> members; } cases[] = {
        { "@0 24;", { 1, 2, 3, 5 } }, { "@0 25;", { 2, 3 } }, { "@0 26 - @0 6;", { 4 } },
        { "@0 23;", { 0, 1, 2, 3, 4, 5, 6 } }, { "@0 3;", { 3 } },
    };
    for (const auto &c : cases) {
        scopeof(c.text, list, 0, TAXA, "taxon", taxname);
        std::set<int> got;
        for (int t = 0; t < TAXA; ++t) if (list[t] == LISTED) got.insert(t);
        EXPECT_EQ(got, c.members) << c.text;
    }
}

TEST(Lists, NumbersBehindABlockCountFromItsFirstCharacter)
{
    zelrun("silent=all; proc " + writefile("blocks.zel",
        "xread 7 4\n&[num]\nA 000\nB 000\nC 000\nD 000\n&[num]\nA 0000\nB 0000\nC 0000\nD 0000\n; proc/;") + "; silent-all;");
    ASSERT_EQ(nc, 7);
    int second = charcodes[3].block;
    std::string at = "@" + std::to_string(second) + " ";
    uint8_t list[7];
    auto members = [&](const std::string &text) {
        scopeof(text + ";", list, 0, 7, "character", nullptr);
        std::string got;
        for (int c = 0; c < 7; ++c) if (list[c] == LISTED) got += char('0' + c);
        return got;
    };
    EXPECT_EQ(members(at + "0"), "3");
    EXPECT_EQ(members(at + "1.2"), "45");
    EXPECT_EQ(members(at + "2."), "56");
    EXPECT_EQ(members(at + "."), "3456");
    EXPECT_EQ(members(at), "3456");
    EXPECT_EQ(members(at + "- 1"), "356");
    EXPECT_EQ(members("0 " + at + "0"), "03");
    EXPECT_EQ(members("@0 5"), "5");
}

TEST(Lists, ASuppliedListReplacesParsing)
{
    data();
    uint8_t given[TAXA] = { 0, 1, 0, 1 }, list[TAXA];
    taxlist_from_pico = given;
    use_taxlist_from_pico = 1;
    EXPECT_EQ(scopeof("7.9;", list, 0, TAXA, "taxon", taxname), 1);
    use_taxlist_from_pico = 0;
    EXPECT_TRUE(std::equal(given, given + TAXA, list));
}

TEST(Getscope, ReadsANumberOrARangeAndSwapsItsEnds)
{
    data();
    struct { const char *text; int from, to; } cases[] = {
        { "4;", 4, 4 }, { "4.9;", 4, 9 }, { "9.4;", 4, 9 }, { "4.;", 4, 39 }, { ". ;", 0, 39 }, { ".6;", 0, 6 },
        { "4 .6;", 4, 4 }, { "12. 3;", 12, 39 }, { "7.|", 7, 39 },
    };
    for (const auto &c : cases) {
        push_text_level("list", c.text, " ;;", 4096);
        EXPECT_TRUE(safecall([] { getscope(0, CHARS, "character"); })) << c.text;
        EXPECT_EQ(scopis[0], c.from) << c.text;
        EXPECT_EQ(scopis[1], c.to) << c.text;
        inpurge();
    }
    push_text_level("list", "4.40;", " ;;", 4096);
    EXPECT_FALSE(safecall([] { getscope(0, CHARS, "character"); }));
    inpurge();
}

TEST(Findtaxon, PrefersTheExactNameToOneThatItBegins)
{
    zelrun("silent=all; xread 1 4 AB 0 ab 0 A 0 C 0; silent-all;");
    EXPECT_EQ(findtaxon("A"), 2);
    EXPECT_EQ(findtaxon("AB"), 0);
    EXPECT_EQ(findtaxon("ab"), 1);
    EXPECT_EQ(findtaxon("c"), 3);
    EXPECT_EQ(findtaxon("a"), 2);
    EXPECT_EQ(findtaxon("3"), 3);
    EXPECT_EQ(findtaxon("4"), -1);
    EXPECT_EQ(findtaxon("d"), -1);
    EXPECT_EQ(findtaxon("99999999999999999999"), -1);
}
