// Rearrangements a second of the two swappers, on trees of generated data: sequences that evolved on
// a random tree, with a share of noise.  The reference in the same run is a complete rescoring of the
// tree for each rearrangement, which is what the incremental evaluation saves.
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/textbuf.h"
#include "search/moves.h"
#include "search/spr.h"
#include "search/status.h"
#include "search/tbr.h"
#include "search/wagner.h"
#include "trees/treemodel.h"
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

// Four states; each branch changes a character with the chance given in percent.
static std::string generated(int taxa, int chars, int percent)
{
    std::mt19937 rng(taxa);
    std::vector<std::string> seqs{ std::string(chars, '0') };
    while (int(seqs.size()) < taxa) {
        std::string child = seqs[rng() % seqs.size()];
        for (char &c : child)
            if (int(rng() % 100) < percent) c = char('0' + rng() % 4);
        seqs.push_back(child);
    }
    std::string text = "xread " + std::to_string(chars) + " " + std::to_string(taxa) + "\n";
    for (int t = 0; t < taxa; ++t) text += "t" + std::to_string(t) + " " + seqs[t] + "\n";
    return text + ";\nprocedure/;\n";
}

static void report(int taxa, const char *what, double count, double seconds)
{
    printf("%6i %-24s %14.0f %9.2f %14.0f\n", taxa, what, count, seconds, count / seconds);
}

static void swap(int taxa, const char *what, double (*swapper)(int *, int, int))
{
    constexpr double LONGEST = 10;        // seconds
    clear_rearrangs();
    wagner(anx, 7);
    mytimeout = int(LONGEST);
    double start = startime = now();
    swapper(anx, 0, 0);
    userstop = mytimeout = 0;
    report(taxa, what, double(bigrearrangs) * BIGREARRANGS + double(numrearrangs), now() - start);
}

static void rescore(int taxa)
{
    wagner(anx, 7);
    int done = 0;
    double start = now();
    for (; now() - start < 1; ++done) schoptimize(anx, 1);
    report(taxa, "(complete rescoring)", done, now() - start);
}

int main()
{
    constexpr int CHARS = 500;
    initialize_winbufsiz(250);
    gtkZel(";");
    gtkZel("warn-;mxram 400;report-;");
    printf("%6s %-24s %14s %9s %14s   (%i characters of 4 states)\n", "taxa", "swapper", "rearrangements", "seconds", "a second", CHARS);
    for (int taxa : { 50, 500, 2000 }) {
        std::string file = "/tmp/zel_bench_search.xread";
        if (FILE *f = fopen(file.c_str(), "w")) {
            fputs(generated(taxa, CHARS, 5).c_str(), f);
            fclose(f);
        }
        gtkZel(("procedure " + file + ";").c_str());
        remove(file.c_str());
        precheck(multcom, ';', 0);
        rescore(taxa);
        swap(taxa, "sprswap", sprswap);
        swap(taxa, "tbrswap", tbrswap);
        end_of_search();
        loset(minseg);
        hiset(maxeg);
    }
}
