// Scores of 10,000 trees of 500 taxa, in seconds: equal weights, the reference, beside implied weights
// of each sort; polytomies hard and soft; branch lengths and costs of collapsing of one tree.
#include "data/matrix.h"
#include "kernel/driver.h"
#include "kernel/textbuf.h"
#include "trees/treebuf.h"
#include <cstdio>
#include <random>
#include <string>
#include <vector>

static void timed(const char *what, const std::string &settings, const std::string &command)
{
    gtkZel(settings.c_str());
    gtkZel("scores 0;");                 // lays out the tables
    double start = now();
    gtkZel(command.c_str());
    printf("%-44s %9.2f\n", what, now() - start);
}

// Taxa that come from each other, a few changes at a time: two states, or four for every third character.
static std::string evolved(int taxa, int chars)
{
    std::mt19937 rng(5);
    std::vector<std::string> rows{ std::string(size_t(chars), '0') };
    while (int(rows.size()) < taxa) {
        std::string row = rows[rng() % rows.size()];
        for (int c = 0; c < chars; ++c)
            if (rng() % 100 < 3) row[size_t(c)] = char('0' + rng() % (c % 3 ? 2 : 4));
        rows.push_back(row);
    }
    std::string text = "piwe=;xread " + std::to_string(chars) + " " + std::to_string(taxa) + "\n";
    for (int t = 0; t < taxa; ++t) text += "t" + std::to_string(t) + " " + rows[size_t(t)] + "\n";
    return text + ";\nccode + 400.499;\nprocedure/;\n";
}

int main()
{
    constexpr int TAXA = 500, CHARS = 500, TREES = 10000;
    initialize_winbufsiz(250);
    gtkZel(";");
    gtkZel("warn-;mxram 500;report-;silent=all;");
    const char *matrix = "/tmp/zel_bench_scores.xread";
    if (FILE *f = fopen(matrix, "w")) {
        fputs(evolved(TAXA, CHARS).c_str(), f);
        fclose(f);
    }
    gtkZel((std::string("procedure ") + matrix + ";rseed 1;randtrees " + std::to_string(TREES) + ";").c_str());
    remove(matrix);
    printf("%i trees of %i taxa, %i characters\n%-44s %9s\n", trees_in_mem, nt, nc, "", "seconds");
    timed("equal weights", "piwe-;", "scores;");
    timed("implied weights", "piwe=;", "scores;");
    timed("the same, concavities by missing entries", "xpiwe(*0.5;", "scores;");
    timed("the same, in sets of ten characters", "xpiwe);xpiwe[.=10;", "scores;");
    timed("branch lengths of a tree", "xpiwe-;piwe-;", "blength 0;");
    timed("costs of collapsing of a tree", "", "blength/0;");
    gtkZel("keep 0;randtrees 1000 30;");
    printf("%i trees with polytomies\n", trees_in_mem);
    timed("hard", "", "scores;");
    timed("soft", "", "scores!;");
}
