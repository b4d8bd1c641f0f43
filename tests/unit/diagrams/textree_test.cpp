// Diagrams against a plain drawer: lines and columns by recursion, a picture of strokes, and one
// glyph for each combination of strokes that meet in a cell.
#include "zeltest.h"
#include "compare/treesets.h"
#include "glyphs.h"
#include <algorithm>
#include <cstring>
#include "data/matrix.h"
#include "diagrams/textree.h"
#include "kernel/driver.h"
#include "kernel/textbuf.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"

namespace {

void readtaxa(int taxa)
{
    std::string text = "xread 'taxa only' 2 " + std::to_string(taxa) + "\n";
    for (int t = 0; t < taxa; ++t) text += "tax_" + std::to_string(t) + " 01\n";
    zelrun("silent=all;");
    zelrun("procedure " + writefile("taxa.xread", text + ";\nproc/;\n") + ";");
    zelrun("silent-all;");
    ASSERT_EQ(nt, taxa);
}

struct plaindrawer {
    const plaintree &tree;
    int start, step = 0, widest = 0;
    std::vector<int> size, line, col, height;
    std::vector<std::vector<int>> branches;
    std::vector<std::string> cells;              // per line, strokes as characters 0..15, or text above ' '
    int lines = 0;

    plaindrawer(const plaintree &t, int from) : tree(t), start(from)
    {
        size.assign(nodz, 0); line = col = height = size;
        branches.resize(nodz);
        for (int n = 0; n < tree[nt]; ++n)
            if (n != nt && tree[n]) branches[tree[n]].push_back(n);
        measure(start);
        widest = 0;
        labels(start);
        step = (narrow_tree ? 2 : 3) + widest;
        place(start, start == nt ? int(strlen(donodmsg(nt))) : step);
    }
    void measure(int n)
    {
        size[n] = n < nt;
        for (int d : branches[n]) {
            measure(d);
            size[n] += size[d];
            height[n] = std::max(height[n], height[d] + 1);
        }
        auto &b = branches[n];
        std::stable_sort(b.begin(), b.end(), [&](int x, int y) {
            bool outx = n == nt && x == outgroup, outy = n == nt && y == outgroup;
            return outx != outy ? outx : size[x] < size[y];
        });
        if (heavy_first && b.size() > 2 && !(n == nt && b[0] == outgroup) && size[b[b.size() - 2]] > size[b[0]])
            std::swap(b[0], b[b.size() - 2]);
    }
    void labels(int n)
    {
        if (n != start || start != nt) widest = std::max(widest, int(strlen(donodmsg(n))));
        for (int d : branches[n]) labels(d);
    }
    void place(int n, int column)
    {
        col[n] = column;
        if (n < nt) line[n] = lines++;
        for (int d : branches[n])
            place(d, dotruesymtrees ? col[start] + (height[start] - height[d]) * step : column + step);
        if (n >= nt) line[n] = (line[branches[n].front()] + line[branches[n].back()] + 1) / 2;
    }
    std::vector<std::string> draw()
    {
        std::vector<std::vector<int>> strokes(lines, std::vector<int>(4096, 0));
        std::vector<std::string> text(lines, std::string(4096, '\0'));
        std::vector<int> width(lines, 0);
        std::vector<std::string> names(lines);
        for (int n = 0; n < nodz; ++n) {
            if (!(n == start || (n < tree[nt] && n != nt && tree[n] && within(n)))) continue;
            int from = n == start ? -1 : col[tree[n]];
            if (n != start || start != nt)
                for (int c = std::max(from, 0); c < col[n]; ++c) strokes[line[n]][c] |= (c == from ? 0 : W) | E;
            if (n != start || start != nt || *donodmsg(nt))
                if (n >= nt) strokes[line[n]][col[n]] |= W;
            for (size_t i = 0; i + 1 < branches[n].size(); ++i)
                for (int l = line[branches[n][i]]; l < line[branches[n][i + 1]]; ++l) {
                    strokes[l][col[n]] |= S;
                    strokes[l + 1][col[n]] |= N;
                }
            const char *label = donodmsg(n);
            int at = n == start && start == nt ? 0 : std::max(from, 0) + (narrow_tree ? 1 : 2);
            for (const char *c = label; *c; ++c) text[line[n]][at++] = *c;
            if (n < nt) {
                width[line[n]] = col[n];
                names[line[n]] = usetaxnames ? taxname[n] : std::to_string(n);
            }
        }
        std::vector<std::string> out;
        for (int l = 0; l < lines; ++l) {
            std::string row;
            for (int c = 0; c < width[l]; ++c) row += text[l][c] ? text[l][c] : glyph(strokes[l][c]);
            out.push_back(row + names[l]);
        }
        return out;
    }
    bool within(int n) const
    {
        for (;; n = tree[n]) {
            if (n == start) return true;
            if (n == nt) return false;
        }
    }
    static char glyph(int strokes)
    {
        switch (strokes) {
            case 0: return ' ';
            case N | S: return char(linux_trees ? '|' : 179);
            case E | S: return char(linux_trees ? ',' : 218);
            case N | E: return char(linux_trees ? '`' : 192);
            case N | S | E:
            case N | S | E | W: return char(linux_trees ? '|' : 195);   // a middle branch is always a left tee
            case N | S | W: return char(linux_trees ? '|' : 180);
            case E | W: case E: return char(linux_trees ? '-' : 196);
            case N | E | W: return char(linux_trees ? '-' : 193);
        }
        return '#';
    }
};

std::string joined(const std::vector<std::string> &lines)
{
    std::string text;
    for (auto &l : lines) text += l + "\n";
    return text;
}

std::string drawn(const plaintree &tree, int start)
{
    zelrun("");
    drawtree(tree.data(), start);
    return zelrun("");
}

struct settings {                       // puts back what a test changes
    ~settings()
    {
        nakedtree = 1;
        narrow_tree = linux_trees = dotruesymtrees = heavy_first = usetaxnames = 0;
        outgroup = 0;
    }
};

TEST(Diagram, IsThatOfThePlainDrawerInEveryStyle)
{
    std::mt19937 dice(31);
    settings guard;
    for (int taxa : { 4, 6, 13, 40 }) {
        readtaxa(taxa);
        for (int trial = 0; trial < 64; ++trial) {
            nakedtree = trial & 1;
            narrow_tree = trial >> 1 & 1;
            linux_trees = trial >> 2 & 1;
            dotruesymtrees = trial >> 3 & 1;
            heavy_first = trial >> 4 & 1;
            usetaxnames = trial >> 5 & 1;
            outgroup = int(dice() % unsigned(nt));
            plaintree tree = randomtree(dice, trial % 3 * .3, trial % 4 * .1);
            if (isinthetree(tree.data(), outgroup)) reroot(tree.data(), outgroup);
            int start = trial % 5 ? nt : nt + int(dice() % unsigned(tree[nt] - nt));
            ASSERT_EQ(drawn(tree, start), joined(plaindrawer(tree, start).draw())) << taxa << " taxa, trial " << trial;
        }
    }
}

TEST(Diagram, PlacesTextsOfNodesInTheirBranches)
{
    settings guard;
    readtaxa(5);
    //              0  1  2  3  4  root
    plaintree tree{ 5, 7, 7, 6, 6, 8, 7, 5, 0 };        // (0 (1 2 (3 4)))
    strcpy(nodmsg[7], "A");
    strcpy(nodmsg[6], "long");
    strcpy(nodmsg[1], "one");
    linux_trees = 1;
    EXPECT_EQ(drawn(tree, nt), ",------0\n"
                               "|      ,-one--1\n"
                               "|      |------2\n"
                               "`-A----|      ,------3\n"
                               "       `-long--------4\n");
    for (int n = 0; n < nodz; ++n) nodmsg[n][0] = 0;
}

TEST(Diagram, WithPlainGlyphsIsAscii)
{
    settings guard;
    readtaxa(30);
    std::mt19937 dice(32);
    linux_trees = 1;
    std::string text = drawn(randomtree(dice, .3, 0), nt);
    for (unsigned char c : text) EXPECT_LT(c, 128);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 30);
}

TEST(Diagram, CarriesItsTitleOnce)
{
    readtaxa(4);
    plaintree bush{ 4, 4, 4, 4, 5, 0, 0 };
    strcpy(treetitle, "a bush");
    EXPECT_EQ(drawn(bush, nt).substr(0, 7), "a bush\n");
    EXPECT_EQ(drawn(bush, nt)[0], char(218));
}

TEST(Diagram, OfADeepTreeNeedsNoStack)
{
    readtaxa(3000);
    settings guard;
    narrow_tree = linux_trees = 1;
    plaintree comb(nodz, 0);
    for (int t = 0; t < nt; ++t) comb[t] = t < nt - 1 ? nt + t : nt + t - 1;
    for (int n = nt + 1; n < nodz; ++n) comb[n] = n - 1;
    comb[nt] = nodz;
    reset_nodz(comb.data());
    drawtree(comb.data(), nt);
    std::string last = bufferline(give_total_lines() - 1);
    EXPECT_EQ(last.substr(last.size() - 4), "2999");
    EXPECT_EQ(last.size(), size_t(2 * (nt - 1) + 4));
}

plaintree impossible;

TEST(Diagram, OfATreeWithAnImpossibleNodeIsRefused)
{
    readtaxa(4);
    //                   0  1  2  3  root
    for (plaintree bad : { plaintree{ 4, 5, 7, 6, 7, 4, 5 }, plaintree{ 4, 5, 6, 2, 7, 4, 5 }, plaintree{ 4, 5, 6, 6, 7, 0, 5 } }) {
        impossible = bad;
        EXPECT_FALSE(safecall([] { drawtree(impossible.data(), nt); }));
        EXPECT_NE(zelrun("").find("Internal error"), std::string::npos);
    }
}

TEST(Tplot, NeedsTrees)
{
    readtaxa(4);
    for (const char *form : { "tplot;", "tplot/;", "tplot*;", "tplot*/;", "tplot 0;" }) {
        EXPECT_NE(zelrun(form).find("Tree(s) are required"), std::string::npos) << form;
        EXPECT_TRUE(zelfailed());
    }
}

TEST(Naked, FollowsTheGrammarOfToggles)
{
    EXPECT_EQ(zelrun("naked-;"), "Naked is OFF \n");
    EXPECT_EQ(nakedtree, 0);
    EXPECT_EQ(zelrun("naked/;"), "Naked is ON \n");
    EXPECT_EQ(nakedtree, 1);
    EXPECT_EQ(zelrun("naked;"), "Naked is ON \n");
}

}
