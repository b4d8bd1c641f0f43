// Diagrams read back: the glyphs are walked from the root, and the tree found must be the one drawn.
#include "zeltest.h"
#include "compare/treesets.h"
#include "glyphs.h"
#include <cctype>
#include <cstring>
#include "data/matrix.h"
#include "diagrams/msglines.h"
#include "diagrams/textree.h"
#include "kernel/textbuf.h"
#include "trees/treemodel.h"

namespace {

struct diagram {
    std::vector<std::string> rows;
    plaintree tree;
    std::vector<int> terminals;              // from top to bottom
    std::string fault;

    explicit diagram(const std::string &text)
    {
        for (size_t at = 0; at < text.size();) {
            size_t end = text.find('\n', at);
            rows.push_back(text.substr(at, end - at));
            at = end + 1;
        }
        tree.assign(nodz, 0);
        tree[nt] = nt + 1;
        size_t top = 0;
        while (top < rows.size() && !(strokesof(rows[top][0]) & S)) ++top;
        if (top == rows.size()) fault = "no root";
        else node(nt, int(top), 0);
        if (fault.empty()) reset_nodz(tree.data());
    }
    int at(int row, int column) const
    {
        if (row < 0 || row >= int(rows.size()) || column >= int(rows[row].size())) return 0;
        return strokesof(static_cast<unsigned char>(rows[row][column]));
    }
    // The vertical that passes through the cell is node n.
    void node(int n, int row, int column)
    {
        while (at(row, column) & N && at(row - 1, column) & S) --row;
        for (;; ++row) {
            if (at(row, column) & E) branch(n, row, column);
            if (!(at(row, column) & S)) break;
            if (!(at(row + 1, column) & N)) fault = "a vertical that ends in nothing";
        }
    }
    void branch(int up, int row, int column)
    {
        while (at(row, ++column) == (E | W)) {}
        if (at(row, column)) {
            int n = tree[nt]++;
            if (n >= nodz) { fault = "too many nodes"; return; }
            tree[n] = up;
            node(n, row, column);
            return;
        }
        std::string name = rows[row].substr(size_t(column));
        if (name.empty() || name.find_first_not_of("0123456789") != std::string::npos) { fault = "no name: " + name; return; }
        int t = std::stoi(name);
        if (t >= nt || tree[t]) { fault = "taxon twice: " + name; return; }
        tree[t] = up;
        terminals.push_back(t);
    }
};

// In the order drawn, branches of a node never get smaller, but for the outgroup at the root.
bool ladder(const plaintree &tree, const std::vector<int> &order)
{
    std::vector<int> size(nodz, 0), last(nodz, 0);
    std::vector<int> firstof;
    for (int t : order)
        for (int n = t;; n = tree[n]) {
            ++size[n];
            if (n == nt) break;
        }
    std::vector<bool> seen(nodz, false);
    for (int t : order) {
        for (int n = t; n != nt && !seen[n]; n = tree[n]) {
            seen[n] = true;
            int up = tree[n];
            if (last[up] && size[n] < size[last[up] - 1]) return false;
            last[up] = n + 1;
        }
    }
    return true;
}

std::string drawn(const plaintree &tree)
{
    zelrun("");
    drawtree(tree.data(), nt);
    return zelrun("");
}

struct settings {
    ~settings() { narrow_tree = dotruesymtrees = heavy_first = new_line_for_tags = 0; }
};

void readsback(plaintree tree, const std::string &what)
{
    reset_nodz(tree.data());
    diagram d(drawn(tree));
    ASSERT_EQ(d.fault, "") << what;
    ASSERT_EQ(d.tree[nt], tree[nt]) << what;
    ASSERT_TRUE(equal_tree(d.tree.data(), tree.data())) << what;
    size_t lines = 0;
    for (int t = 0; t < nt; ++t) lines += tree[t] != 0;
    ASSERT_EQ(d.rows.size(), lines) << what;
    ASSERT_EQ(d.terminals.size(), lines) << what;
    if (!heavy_first) {
        ASSERT_TRUE(ladder(tree, d.terminals)) << what;
    }
}

TEST(Diagram, ReadsBackAsItsTree)
{
    std::mt19937 dice(77);
    settings guard;
    struct { int taxa, trials; } sizes[] = { { 4, 300 }, { 5, 500 }, { 9, 800 }, { 23, 600 }, { 60, 200 }, { 200, 30 } };
    for (auto &s : sizes) {
        readtaxa(s.taxa);
        for (int trial = 0; trial < s.trials; ++trial) {
            narrow_tree = trial & 1;
            dotruesymtrees = trial >> 1 & 1;
            heavy_first = trial % 7 == 0;
            new_line_for_tags = trial % 5 == 0;        // without tags the lines are the same
            ASSERT_NO_FATAL_FAILURE(readsback(randomtree(dice, trial % 4 * .25, trial % 3 * .2),
                                              std::to_string(s.taxa) + " taxa, trial " + std::to_string(trial)));
        }
    }
}

TEST(Diagram, OfThousandsOfTaxaReadsBackAsItsTree)
{
    std::mt19937 dice(78);
    readtaxa(5000);
    zelrun("txtsize 4000;");
    readsback(randomtree(dice, .2, .1), "5000 taxa");
    zelrun("txtsize 250;");
}

TEST(Diagram, ShowsOnlyNodesAboveTheZoom)
{
    std::mt19937 dice(79);
    readtaxa(30);
    plaintree tree = randomtree(dice, .2, 0);
    reset_nodz(tree.data());
    for (int n = nt + 1; n < tree[nt]; ++n) {
        strcpy(start_zooming, std::to_string(n).c_str());
        std::string text = drawn(tree);
        EXPECT_EQ(size_t(std::count(text.begin(), text.end(), '\n')), below(tree.data(), n, nullptr).size());
    }
    start_zooming[0] = 0;
}

}
