// Character-state trees drawn with symbols.
#include "datatest.h"
#include "data/costs.h"
#include <random>
#include <bit>

namespace {
constexpr char SYMBOLS[] = "0123456789ABCDEFGHIJKLMNOPQRSTUV";

// One character, a taxon for each state, for states up to 32.
void statesdata(int states)
{
    std::string rows;
    for (int t = 0; t < 32; ++t) rows += " t" + std::to_string(t) + " " + SYMBOLS[t % states] + "0";
    replace_cstrees = 0;
    fresh("nstates num 32;");
    readdata("xread 2 32" + rows + ";");
    ASSERT_EQ(charcodes[0].numstates, states);
}

// What that prints, without the name of the file.
std::string draw(const std::string &diagram, const std::string &how = "=")
{
    std::string said = readdata("cstree 0 " + how + "\n" + diagram + ";\n");
    return said.substr(said.find('\n') + 1);
}

// A random tree of states, drawn on a grid.
struct drawing {
    std::vector<std::string> grid;
    std::vector<std::vector<int>> distance;
};

struct drawer {
    static constexpr int LINES = 60, COLUMNS = 100;
    std::mt19937 &rng;
    drawing d;
    std::vector<int> row, column, order;
    int roll(int n) { return int(rng() % unsigned(n)); }

    bool connects(int r, int c, int down, int right, int length, bool put)
    {
        char symbol = !down ? '-' : !right ? '|' : down == right ? '\\' : '/';
        for (int i = 1; i <= length; ++i) {
            char &at = d.grid[size_t(r + i * down)][size_t(c + i * right)];
            bool crosses = (symbol == '/' && at == '\\') || (symbol == '\\' && at == '/');
            if (at != ' ' && !crosses) return false;
            if (put) at = crosses ? 'X' : symbol;
        }
        return true;
    }

    bool add(int s, int from)
    {
        int down = roll(3) - 1, right = roll(3) - 1, length = 1 + roll(4);
        int r = row[size_t(from)] + down * (length + 1), c = column[size_t(from)] + right * (length + 1);
        if ((!down && !right) || r < 0 || c < 0 || r >= LINES || c >= COLUMNS || d.grid[size_t(r)][size_t(c)] != ' ') return false;
        if (!connects(row[size_t(from)], column[size_t(from)], down, right, length, false)) return false;
        connects(row[size_t(from)], column[size_t(from)], down, right, length, true);
        place(s, r, c);
        for (int t : order) d.distance[size_t(s)][size_t(t)] = d.distance[size_t(t)][size_t(s)] = d.distance[size_t(from)][size_t(t)] + 1;
        d.distance[size_t(s)][size_t(s)] = 0;
        return true;
    }

    void place(int s, int r, int c)
    {
        row[size_t(s)] = r;
        column[size_t(s)] = c;
        d.grid[size_t(r)][size_t(c)] = SYMBOLS[s];
    }

    drawing random(int states)
    {
        d.grid.assign(LINES, std::string(COLUMNS, ' '));
        d.distance.assign(size_t(states), std::vector<int>(size_t(states), 0));
        row.assign(size_t(states), 0);
        column = row;
        std::vector<int> names;
        for (int s = 0; s < states; ++s) names.push_back(s);
        std::shuffle(names.begin(), names.end(), rng);
        place(names[0], LINES / 2, COLUMNS / 2);
        order = { names[0] };
        for (int i = 1; i < states; ++i) {
            while (!add(names[size_t(i)], order[size_t(roll(i))])) {}
            order.push_back(names[size_t(i)]);
        }
        return d;
    }
};

std::string textof(const drawing &d)
{
    std::string text;
    bool any = false;
    for (const std::string &line : d.grid) {
        size_t end = line.find_last_not_of(' ');
        if (end == std::string::npos && !any) continue;
        any = true;
        text += line.substr(0, end + 1) + "\n";
    }
    return text;
}

void expectcosts(const drawing &d, int limit = 1000)
{
    for (size_t a = 0; a < d.distance.size(); ++a)
        for (size_t b = 0; b < d.distance.size(); ++b)
            ASSERT_EQ(int(charcodes[0].costs[a][b]), std::min(limit, d.distance[a][b])) << a << " to " << b << "\n" << textof(d);
}
}

TEST(Statetrees, DrawnInAnyDirectionGiveTheBranchesBetweenStates)
{
    std::mt19937 rng(12);
    bool crossed = false;
    for (int trial = 0; trial < 60; ++trial) {
        int states = trial % 3 ? 2 + trial % 15 : 32;
        statesdata(states);
        drawing d = drawer{ rng, {}, {}, {}, {} }.random(states);
        std::string said = draw(textof(d));
        ASSERT_FALSE(zelfailed()) << said << textof(d);
        expectcosts(d);
        EXPECT_TRUE(charcodes[0].sankoff);
        EXPECT_FALSE(charcodes[0].additive);
        EXPECT_TRUE(isacstree(0)) << textof(d);
        crossed |= textof(d).find('X') != std::string::npos;
        draw(textof(d), "< 2");
        ASSERT_FALSE(zelfailed());
        expectcosts(d, 2);
    }
    EXPECT_TRUE(crossed) << "no drawing with branches that cross";
    fresh();
}

TEST(Statetrees, AreEchoedAndTheirCostsShown)
{
    statesdata(4);
    EXPECT_EQ(draw("  0-1-2\n     \\\n      3\n"),
              "\nRead: \n"
              "      0-1-2\n"
              "         \\\n"
              "          3\n"
              "Character(s) with character state tree(s) \n 0\n"
              "Costs\n"
              "  States: 0 1 2 3\n"
              "  0/1  1     0/2  2     0/3  2   \n"
              "  1/2  1     1/3  1   \n"
              "  2/3  2   \n") << "the connector is one to the right of 1 and one to the left of 3";
    fresh();
}

TEST(Statetrees, LargerCostsAreSaidToBeModified)
{
    statesdata(4);
    std::string said = draw("0-1-2-3", "< 2");
    EXPECT_TRUE(says(said, "Costs (larger costs modified to be 2)\n")) << said;
    EXPECT_EQ(charcodes[0].costs[0][3], 2u);
    fresh();
}

TEST(Statetrees, OfWindowsFilesAndWithTabsAreRead)
{
    statesdata(4);
    readdata("cstree 0 =\r\n\t0-1\r\n\t|\r\n        2-3\r\n;\n");
    EXPECT_FALSE(zelfailed());
    EXPECT_EQ(charcodes[0].costs[1][3], 3u);
    fresh();
}

TEST(Statetrees, OfSeveralCharactersAreForAll)
{
    replace_cstrees = 0;
    fresh("nstates num 8;");
    readdata("xread 3 4 a 000 b 112 c 211 d 120;");
    readdata("cstree 0 2 =\n 1-0-2\n;");
    EXPECT_EQ(charcodes[0].costs[1][2], 2u);
    EXPECT_EQ(charcodes[2].costs[1][2], 2u);
    EXPECT_FALSE(charcodes[1].sankoff);
    fresh();
}

TEST(Statetrees, BadDiagramsAreRefusedInTheirOwnWords)
{
    statesdata(4);
    const struct { std::string diagram, words; } all[] = {
        { "", "Character state tree must start with a state" },
        { "\n\n", "Character state tree must start with a state" },
        { " | \n 0-1-2-3", "Character state tree must start with a state" },
        { "0-1 2-3", "\nERROR: no cost defined between states 0-2\n" },
        { "0-1-3", "Can't read character state tree:\n   state 2 not included (must include \n   all states between 0 and 3)...\n" },
        { "0-1-2-1", "Can't read character state tree: state 1 repeated" },
        { "0-1-2-3-4", "Can't apply costs!\nCharacter 0 has 4 states" },
        { "0-1-", "- in first line doesn't connect to any state" },
        { "-0-1", "- in first line doesn't connect to any state" },
        { "0|1\n  |\n  2", "| in first line doesn't connect to any state" },
        { "0-1-2\n|\n/\n3", "Wrong character state tree: '|' (line 2) connects to '/' ?\n" },
        { "0-1-2\n|", "Wrong character state tree: '|' (line 2) connects to ' ' ?\n" },
        { "0-1-2\n X\n3", "Wrong character state tree: 'X' (line 2) connects to" },
        { "0-1\n/ \\\n2", "Wrong character state tree: '/' (line 2) connects to ' ' ?\n" },
        { "0-1\n| |\n2-3", "Can't read character state tree: some states are connected in a circle" },
        { "0-1\n +", "Error: found symbol + when reading transformation costs" },
        { std::string(257, ' ') + "0-1", "First line too wide" },
        { "0-1-2-3\n" + std::string(300, ' ') + "4", "Can't read character state tree: line 2 too wide" },
        { "0-1-2-3\n" + std::string(210, '\n') + "|", "Can't read character state tree: too many lines" },
    };
    for (auto &x : all) {
        std::string said = draw(x.diagram);
        EXPECT_TRUE(zelfailed()) << x.diagram;
        EXPECT_TRUE(says(said, x.words)) << x.diagram << "\n" << said;
        EXPECT_FALSE(charcodes[0].sankoff);
    }
    const struct { const char *text, *words; } forms[] = {
        { "cstree 0 ;", "Expected symbols '=' or '<' to finish list of characters" },
        { "cstree 0 > 2 ;", "Expected symbols '=' or '<' to finish list of characters" },
        { "cstree =\n0-1;", "Expected symbols '=' or '<' to finish list of characters" },
        { "cstree 0 < \n0-1;", "Give maximum transformation cost (1 or more)" },
        { "cstree 0 < 0\n0-1;", "Give maximum transformation cost (1 or more)" },
        { "cstree 0 = 0-1;", "Character state tree must start after a carriage return" },
    };
    for (auto &x : forms) EXPECT_TRUE(says(readdata(x.text), x.words)) << x.text;
    fresh();
}

// --- Recognising them ---

TEST(Statetrees, AreToldFromOtherCosts)
{
    statesdata(4);
    zelrun("costs 0 = *1;");
    EXPECT_FALSE(isacstree(0)) << "all states next to each other: circles";
    zelrun("ccode ~ 0;");
    EXPECT_FALSE(isacstree(0)) << "0 and 3 are 2 apart, not 3";
    draw("0-1-2-3");
    EXPECT_TRUE(isacstree(0));
    zelrun("costs 0 = 0>3 2;");
    EXPECT_FALSE(isacstree(0)) << "one way is shorter";
    zelrun("costs 0 = *2;");
    EXPECT_FALSE(isacstree(0)) << "no branch of one step";
    fresh();
}

TEST(Statetrees, WithCellsOfStatesFarApartStaySankoff)
{
    for (const char *cell : { "[02]", "[01]", "?", "[012]", "*" }) {
        replace_cstrees = 0;
        fresh("nstates num 8;");
        readdata(std::string("xread 1 5 a 0 b 1 c 2 d ") + cell + " e 2;");
        readdata("cstree 0 =\n0-1-2\n;");
        EXPECT_EQ(isacstree(0), std::string(cell) != "[02]") << cell;
    }
    fresh();
}

TEST(Statetrees, RecodedInBinaryAreAsFarApartAsTheirStates)
{
    std::mt19937 rng(5);
    for (int trial = 0; trial < 20; ++trial) {
        int states = 2 + trial;
        statesdata(states);
        draw(textof(drawer{ rng, {}, {}, {}, {} }.random(states)));
        uint32_t pattern[32];
        ASSERT_EQ(recode_cstree(0, pattern), states - 1);
        EXPECT_EQ(pattern[0], 0u);
        for (int a = 0; a < states; ++a)
            for (int b = 0; b < states; ++b) EXPECT_EQ(std::popcount(pattern[a] ^ pattern[b]), int(charcodes[0].costs[a][b]));
    }
    fresh();
}

TEST(Statetrees, ThoseThatAreNoneAreNamedWhenScoredByVariables)
{
    statesdata(4);
    draw("0-1-2-3");
    EXPECT_EQ(zelrun("cstree +;"), "Character state trees are scored by binary variables \n");
    EXPECT_EQ(charcodes[0].sankoff_kind, SANK_TREE);
    zelrun("cstree -; costs 0 = 0>3 1;");
    EXPECT_EQ(zelrun("cstree +;"), "Character state trees are scored by binary variables \n"
                                   "\nERROR: cost between states 0-3 read as asymmetrical\n"
                                   "Note: some costs (char. 0) do not correspond to a character state tree;\n"
                                   "those characters considered as sankoff. \n");
    zelrun("cstree -;");
    fresh();
}
