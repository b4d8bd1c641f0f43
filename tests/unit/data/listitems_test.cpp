// Every kind of item of a list, alone and mixed, against sets worked out item by item.
#include "zeltest.h"
#include "data/below.h"
#include "data/groups.h"
#include "data/lists.h"
#include "data/matrix.h"
#include "data/nameindex.h"
#include "kernel/driver.h"
#include "kernel/input.h"
#include "kernel/typos.h"
#include "kernel/window.h"
#include <algorithm>
#include <cstring>
#include <functional>
#include <set>

namespace {
using members = std::set<int>;
struct item { std::string text; members who; };
struct tools { std::mt19937 dice; int roll(int n) { return int(dice() % unsigned(n)); } };

constexpr int TAXA = 17, BLOCKS = 3, BLOCKCHARS[BLOCKS] = { 7, 1, 12 }, CHARS = 20;

// Three blocks, names of taxa that begin alike, named groups, and two trees.
void setting()
{
    std::string text = "xread\n" + std::to_string(CHARS) + " " + std::to_string(TAXA) + "\n";
    for (int chars : BLOCKCHARS) {
        text += "&[num]\n";
        for (int t = 0; t < TAXA; ++t)
            text += std::string(t % 3 ? "Bax" : "abra") + char('A' + t) + "_" + std::to_string(t % 4) + " " + std::string(size_t(chars), char('0' + t % 3)) + "\n";
    }
    zelrun("silent=all; proc " + writefile("items.zel", text + ";\nproc/;\n") + ";");
    zelrun("tread (0 1 (2 (3 4 (5 6)) 7)(8 9 10 11 (12 13) 14 15 16)) * (0 ((1 5) 9)(3 13));"
           "agroup =4 (OddOnes) 1 3 5 7 9 11 13 15 =5 (Oddities) 0 1 2 =31 16;"
           "xgroup =0 (ends) 0 19 =2 (Middle) 8.11 =3 (mid_b) 10.12;"
           "tread (0 1 2); tgroup =10 (best) 0 2 =11 (bestest) 1; silent-all;");
    ASSERT_EQ(nt, TAXA);
    ASSERT_EQ(nc, CHARS);
    ASSERT_EQ(trees_in_mem, 3);
}

std::string lower(std::string s)
{
    for (char &c : s) c = char(tolower(c));
    return s;
}

std::string anycase(tools *t, std::string s)
{
    for (char &c : s)
        if (t->roll(2)) c = char(t->roll(2) ? toupper(c) : tolower(c));
    return s;
}

members span(int from, int to)
{
    members m;
    for (int i = std::min(from, to); i <= std::max(from, to); ++i) m.insert(i);
    return m;
}

// The forms of numbers within first..end-1, written as counted from first.
item numbers(tools *t, int first, int end)
{
    int n = end - first, a = t->roll(n), b = t->roll(n);
    std::string A = std::to_string(a), B = std::to_string(b);
    switch (t->roll(6)) {
    case 0: case 1: return { A, { first + a } };
    case 2: return { A + "." + B, span(first + a, first + b) };
    case 3: return { A + ".", span(first + a, end - 1) };
    case 4: return { ".", span(first, end - 1) };
    default: return { "." + B, span(first, first + b) };
    }
}

struct group { int number; std::string name; members who; };

// Braces with one to three words: names, parts of names, numbers, ranges.
item braces(tools *t, const std::vector<group> &groups, int most)
{
    item it{ "{", {} };
    auto take = [&](std::function<bool(const group &)> fits) {
        for (const group &g : groups)
            if (fits(g)) it.who.insert(g.who.begin(), g.who.end());
    };
    for (int words = 1 + t->roll(3); words; --words) {
        const group &g = groups[size_t(t->roll(int(groups.size())))];
        int other = t->roll(most);
        it.text += t->roll(2) ? " " : "";
        switch (t->roll(4)) {
        case 0:
            it.text += std::to_string(g.number);
            take([&](const group &x) { return x.number == g.number; });
            break;
        case 1:
            it.text += std::to_string(g.number) + "." + std::to_string(other);
            take([&](const group &x) { return x.number >= std::min(g.number, other) && x.number <= std::max(g.number, other); });
            break;
        case 2:
            it.text += std::to_string(other) + ".";
            take([&](const group &x) { return x.number >= other; });
            break;
        default: {
            std::string word = anycase(t, g.name.substr(0, 1 + size_t(t->roll(int(g.name.size())))));
            it.text += word;
            take([&](const group &x) { return !lower(x.name).compare(0, word.size(), lower(word)); });
        }
        }
        it.text += words > 1 ? " " : "";
    }
    it.text += "}";
    return it;
}

item name(tools *t)
{
    std::string whole = taxname[t->roll(TAXA)];
    bool inside = t->roll(2);
    size_t from = inside ? size_t(t->roll(int(whole.size()) - 1)) : 0;
    std::string word = anycase(t, whole.substr(from, 1 + size_t(t->roll(int(whole.size() - from)))));
    item it{ (inside ? ":" : "") + word, {} };
    for (int i = 0; i < TAXA; ++i) {
        size_t at = lower(taxname[i]).find(lower(word));
        if (inside ? at != std::string::npos : at == 0) it.who.insert(i);
    }
    return it;
}

item clade(tools *t)
{
    int tree = t->roll(trees_in_mem);
    const int *anc = mem_tree[tree];
    int node;
    do node = t->roll(anc[nt]);
    while (node != nt && !anc[node]);
    item it{ "@" + std::to_string(tree) + " " + std::to_string(node) + " ", {} };
    for (int i = 0; i < TAXA; ++i)
        for (int n = i; anc[i]; n = anc[n]) {
            if (n == node) it.who.insert(i);
            if (n == nt) break;
        }
    return it;
}

struct question { std::vector<uint8_t> list; int high; const char *kind; char **names; int result; int rest; } asked;

void read(const std::string &text, int high, const char *kind, char **names)
{
    asked = { std::vector<uint8_t>(size_t(high), 77), high, kind, names, -1, 0 };
    push_text_level("list", text.c_str(), " ;;", 4096);
    safecall([] {
        asked.result = read_scope(asked.list.data(), 0, asked.high, asked.kind, asked.names);
        asked.rest = gtch();
    });
    inpurge();
}

// Lists of random items: the last to name an element decides.
void compare(unsigned seed, int high, const char *kind, char **names, std::function<item(tools *)> draw)
{
    tools t{ std::mt19937(seed) };
    for (int trial = 0; trial < 1500; ++trial) {
        std::string text;
        std::vector<uint8_t> expected(size_t(high), 0);
        uint8_t sense = LISTED;
        for (int items = t.roll(7); items; --items) {
            if (int s = t.roll(3)) {
                sense = s == 1 ? LISTED : UNLISTED;
                text += s == 1 ? "+" : "-";
            }
            item it = draw(&t);
            for (int m : it.who) expected[size_t(m)] = sense;
            text += it.text + (t.roll(2) ? " " : "\n ");
        }
        char end = "&/;<=>\\]"[t.roll(8)];
        text += end;
        read(text + " 5", high, kind, names);
        ASSERT_EQ(asked.list, expected) << text;
        EXPECT_EQ(asked.rest, end) << text;
        bool empty = text.find_first_not_of("+- \n") == text.size() - 1;
        int mentioned = int(std::count_if(expected.begin(), expected.end(), [](uint8_t x) { return x; }));
        EXPECT_EQ(asked.result, empty ? 0 : std::max(mentioned, 1)) << text;
    }
}

const std::vector<group> taxagroups = { { 4, "OddOnes", { 1, 3, 5, 7, 9, 11, 13, 15 } }, { 5, "Oddities", { 0, 1, 2 } }, { 31, "Group_31", { 16 } } };
const std::vector<group> chargroups = { { 0, "ends", { 0, 19 } }, { 2, "Middle", { 8, 9, 10, 11 } }, { 3, "mid_b", { 10, 11, 12 } } };
const std::vector<group> treegroups = { { 10, "best", { 0, 2 } }, { 11, "bestest", { 1 } } };

int complexesdefined() { return 2; }
bool incomplex(int c, int complex) { return complex ? c % 5 == 0 : c == 3 || c == 4; }
struct complexesgiven {
    charcomplexes given{ complexesdefined, incomplex };
    complexesgiven() { complexes = &given; }
    ~complexesgiven() { complexes = nullptr; }
};
}

TEST(ListItems, OfTaxaSelectWhatTheySay)
{
    setting();
    compare(11, TAXA, "taxon", taxname, [](tools *t) {
        switch (t->roll(4)) {
        case 0: return numbers(t, 0, TAXA);
        case 1: return braces(t, taxagroups, GROUPS);
        case 2: return clade(t);
        default: return name(t);
        }
    });
}

TEST(ListItems, OfCharactersSelectWhatTheySay)
{
    setting();
    complexesgiven guard;
    // Once a block is named, numbers count within it: each list keeps to one way of counting.
    for (int block = 0; block <= BLOCKS; ++block) {
        int first = 0, end = CHARS;
        for (int b = 0; b < block; ++b) first += b ? BLOCKCHARS[b - 1] : 0;
        if (block) end = first + BLOCKCHARS[block - 1];
        int number = block ? charcodes[first].block : 0;
        ASSERT_TRUE(!block || (number > 0 && (!first || charcodes[first - 1].block != number)));
        compare(unsigned(20 + block), CHARS, "character", nullptr, [&](tools *t) {
            if (int what = t->roll(block ? 2 : 4); what == 1) return braces(t, chargroups, GROUPS);
            else if (what == 2) {
                int complex = t->roll(2);
                item it{ "^" + std::to_string(complex) + " ", {} };
                for (int c = 0; c < CHARS; ++c)
                    if (incomplex(c, complex)) it.who.insert(c);
                return it;
            }
            item it = numbers(t, first, end);
            it.text = "@" + std::to_string(number) + " " + it.text;
            return it;
        });
    }
}

TEST(ListItems, OfTreesSelectWhatTheySay)
{
    setting();
    // The first automatic group holds the trees of the first command, the second that of the other.
    std::vector<group> all = treegroups;
    all.push_back({ 0, groupname(familyof("tree"), 0), { 0, 1 } });
    all.push_back({ 1, groupname(familyof("tree"), 1), { 2 } });
    compare(31, trees_in_mem, "tree", nullptr, [&all](tools *t) {
        return t->roll(2) ? numbers(t, 0, trees_in_mem) : braces(t, all, num_treegroups);
    });
}

TEST(ListItems, OfBlocksAndHostsAreNumbers)
{
    setting();
    for (const char *kind : { "block", "host" })
        compare(41, 9, kind, nullptr, [](tools *t) { return numbers(t, 0, 9); });
}

TEST(ListItems, ThatCannotBeAreRefusedWithTheirKind)
{
    setting();
    struct { const char *command, *says; } cases[] = {
        { "taxcode -17;", "No taxon number 17 \n" },
        { "taxcode -3.17;", "No taxon number 17 \n" },
        { "taxcode -: ;", "Expected a taxon name \n" },
        { "taxcode -:zzz;", "Expected a taxon name - no taxon named zzz \n" },
        { "taxcode -zzz;", "Expected a taxon name - no taxon named zzz \n" },
        { "taxcode -{99};", "No group number 99 \n" },
        { "taxcode -{7};", "No group number 7 \n" },
        { "taxcode -{zip};", "No taxon group named zip \n" },
        { "taxcode -{4;", "Unexpected semicolon within brackets \n" },
        { "taxcode -{=4};", "Found allien character within brackets \n" },
        { "taxcode -{ {4} };", "Found allien character within brackets \n" },
        { "taxcode -@;", "Must give tree number \n" },
        { "taxcode -@0;", "Must give node number \n" },
        { "taxcode -@3 20;", "Tree number 3 is not in memory \n" },
        { "taxcode -@0 99;", "No node 99 in tree 0 \n" },
        { "taxcode -@1 2;", "No node 2 in tree 1 \n" },
        { "tchoose 3;", "No tree number 3 (only 3 trees in memory) \n" },
        { "tchoose @0;", "@ can be used only in reference to taxa or characters \n" },
        { "tchoose one;", "Expecting tree number \n" },
        { "tchoose {one};", "No tree group named one \n" },
        { "xgroup =1 @;", "Must give a block number ( 0 - 3 ) after @ \n" },
        { "xgroup =1 @4;", "Only valid blocks are 0 - 3 \n" },
        { "xgroup =1 @1 7;", "No character number 7 in block 1 \n" },
        { "xgroup =1 20;", "No character number 20 \n" },
        { "xgroup =1 zip;", "Expecting character number \n" },
        { "xgroup =1 ^0;", "No character complexes defined \n" },
    };
    std::vector<uint8_t> active(taxact, taxact + nt);
    for (const auto &c : cases) {
        std::string text = zelrun(c.command);
        EXPECT_TRUE(zelfailed()) << c.command;
        EXPECT_EQ(text.substr(0, text.find('\n') + 1), c.says) << c.command;
        EXPECT_EQ(trees_in_mem, 3) << c.command;
        EXPECT_FALSE(isgroup(familyof("character"), 1)) << c.command;
        EXPECT_TRUE(std::equal(active.begin(), active.end(), taxact)) << c.command;
    }
}

TEST(ListItems, OfComplexesNeedTheirNumber)
{
    setting();
    complexesgiven guard;
    EXPECT_NE(zelrun("xgroup =1 ^;").find("Expected a complex number after \"^\" symbol"), std::string::npos);
    EXPECT_NE(zelrun("xgroup =1 ^2;").find("No complex 2"), std::string::npos);
    EXPECT_NE(zelrun("xgroup =1 complex=2;").find("No complex 2"), std::string::npos);
    zelrun("silent=all; ccode ] ^0; silent-all;");
    for (int c = 0; c < nc; ++c) EXPECT_EQ(charcodes[c].active, c != 3 && c != 4);
    zelrun("xgroup =1 complex=0 =2 links=1;");
    EXPECT_FALSE(zelfailed());
    for (int c = 0; c < nc; ++c) {
        EXPECT_EQ(isingroup(familyof("character"), c, 1), c == 3 || c == 4);
        EXPECT_EQ(isingroup(familyof("character"), c, 2), c % 5 == 0);
    }
}

TEST(ListItems, OfNamesMayBeMany)
{
    setting();
    // Beyond a number of names the list looks them up in alphabetical order; it selects the same.
    std::string text;
    std::vector<uint8_t> expected(TAXA, 0);
    for (int i = 0; i < 60; ++i) {
        const char *whole = taxname[i * 7 % TAXA];
        std::string word(whole, 1 + size_t(i) % strlen(whole));
        bool on = i % 3;
        for (int t = 0; t < TAXA; ++t)
            if (namtrun(word.c_str(), taxname[t])) expected[size_t(t)] = on ? LISTED : UNLISTED;
        text += (on ? "+" : "-") + word + " ";
    }
    read(text + ";", TAXA, "taxon", taxname);
    EXPECT_EQ(asked.list, expected);
    read(text + "nobody;", TAXA, "taxon", taxname);
    EXPECT_EQ(asked.result, -1);
}

TEST(Findtaxon, IsTheSameWhenManyAreLookedUp)
{
    zelrun("silent=all; xread 1 9 AB 0 ab 0 A 0 C 0 abra 0 Abrasion 0 cc 0 b2 0 aB 0; silent-all;");
    for (const char *word : { "A", "a", "AB", "ab", "aB", "Ab", "abr", "ABRA", "abras", "c", "C", "cC", "b", "b2", "b3", "z", "", "3", "9", "~" }) {
        int plain = findtaxon(word);
        manytaxa names;
        EXPECT_EQ(findtaxon(word), plain) << word;
        EXPECT_EQ(findtaxon(word), plain) << word;
    }
}

TEST(Rdtax, TakesTheFirstTaxonOfANode)
{
    setting();
    zelrun("outgroup @0 12;");
    EXPECT_EQ(outgroup, 12);
    const int *anc = mem_tree[0];
    zelrun("outgroup @0 " + std::to_string(anc[5]) + ";");
    EXPECT_EQ(outgroup, 5);
    zelrun("outgroup @0 " + std::to_string(anc[anc[5]]) + ";");
    EXPECT_EQ(outgroup, 3);
    EXPECT_NE(zelrun("outgroup @7 1;").find("Tree number 7"), std::string::npos);
    EXPECT_EQ(outgroup, 3);
}

TEST(ListItems, OfNoNameAreThoseTheUserTakesForMisspelt)
{
    setting();
    static std::string askedfor;
    auto was = window.messagebox;
    window.messagebox = [](const char *, const char *text, int) {
        if (strstr(text, "Did you mean")) askedfor += strstr(text, "taxon") ? "t" : "?";
        return int(strstr(text, "abraG_2") != nullptr);      // 1 accepts, 0 refuses
    };
    struct putback {
        int typos = admit_typos, menu = menuing;
        ~putback() { admit_typos = typos, menuing = menu; }
    } guard;
    for (int accepting : { 0, 1 }) {
        admit_typos = accepting;
        menuing = 1;
        read("abrxG_2;", TAXA, "taxon", taxname);
        EXPECT_EQ(asked.result, accepting ? 1 : -1);
        EXPECT_EQ(askedfor.empty(), !accepting);
        EXPECT_EQ(asked.list[6] == LISTED, accepting == 1);
    }
    EXPECT_EQ(askedfor.find('?'), std::string::npos);
    window.messagebox = was;
}

TEST(ListItems, GiveWayToASuppliedList)
{
    setting();
    uint8_t given[CHARS] = { 0, 1, 1, 0, 1 };
    charlist_from_pico = treelist_from_pico = given;
    use_charlist_from_pico = 1;
    read("7.9;", CHARS, "character", nullptr);
    EXPECT_EQ(asked.result, 1);
    EXPECT_TRUE(std::equal(given, given + CHARS, asked.list.begin()));
    use_charlist_from_pico = 0;
    use_treelist_from_pico = 1;
    read("nonsense;", 3, "tree", nullptr);
    EXPECT_EQ(asked.result, 1);
    EXPECT_EQ(asked.list, (std::vector<uint8_t>{ 0, 1, 1 }));
    use_treelist_from_pico = 0;
    read("2;", 3, "tree", nullptr);
    EXPECT_EQ(asked.list, (std::vector<uint8_t>{ 0, 0, 1 }));
}

TEST(Getscope, TakesNamesOfTaxa)
{
    zelrun("silent=all; xread 1 5 Alpha 0 Beta 0 Gamma 0 Delta 0 Eps 0; silent-all;");
    struct { const char *text; int from, to; } cases[] = { { "Beta;", 1, 1 }, { "gam;", 2, 2 }, { "1.Delta;", 1, 3 }, { "4.alp;", 0, 4 } };
    for (const auto &c : cases) {
        push_text_level("list", c.text, " ;;", 4096);
        EXPECT_TRUE(safecall([] { getscope(0, nt, "taxon"); })) << c.text;
        inpurge();
        EXPECT_EQ(scopis[0], c.from) << c.text;
        EXPECT_EQ(scopis[1], c.to) << c.text;
    }
    for (const char *text : { "Zeta;", "1.Zeta;", "5;", "*;" }) {
        push_text_level("list", text, " ;;", 4096);
        EXPECT_FALSE(safecall([] { getscope(0, nt, "taxon"); })) << text;
        inpurge();
    }
}

TEST(Nameindex, FindsAllNamesThatBeginWithAWord)
{
    const char *words[] = { "b", "Abc", "abd", nullptr, "AB", "zz", "a", "Z", "abcd" };
    char *names[9];
    for (int i = 0; i < 9; ++i) names[i] = const_cast<char *>(words[i]);
    nameindex index;
    indexnames(&index, names, 1, 9);
    EXPECT_EQ(index.order.size(), 7u);
    for (const char *word : { "", "a", "AB", "abC", "abcd", "abcde", "z", "y", "b" }) {
        nameband band = namesbegun(index, word);
        members got(band.from, band.to), expected;
        for (int i = 1; i < 9; ++i)
            if (names[i] && namtrun(word, names[i])) expected.insert(i);
        EXPECT_EQ(got, expected) << word;
    }
}
