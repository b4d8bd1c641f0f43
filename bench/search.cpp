// The way from reading data to trees, as data grow: each step in seconds and, where that makes sense,
// what it did in a second, on generated data: sequences that evolved on a random tree, with a share
// of noise.  The reference in the same run is a complete rescoring of the tree for each
// rearrangement, which is what the incremental evaluation saves.
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
static std::vector<std::string> generated(int taxa, int chars, int percent)
{
    std::mt19937 rng(taxa);
    std::vector<std::string> seqs{ std::string(chars, '0') };
    while (int(seqs.size()) < taxa) {
        std::string child = seqs[rng() % seqs.size()];
        for (char &c : child)
            if (int(rng() % 100) < percent) c = char('0' + rng() % 4);
        seqs.push_back(child);
    }
    return seqs;
}

// What is searched: the same kind of data under each kind of evaluation.  Of `slow` characters, the last
// ones, no cell holds the costs.
struct kind { const char *what, *before, *after; int slow; bool continuous; };
static const kind kinds[] = {
    { "equal weights",         "",        "",                                                    0,  false },
    { "implied weights",       "piwe=10;", "",                                                   0,  false },
    { "weighting sets",        "piwe=10;", "xpiwe[=10;",                                         0,  false },
    { "20 step matrices",      "",        "costs 480.499 = 0/1 1 0/2 2 0/3 2 1/2 1 1/3 2 2/3 1;", 20, false },
    { "20 continuous",         "",        "",                                                    20, true },
};

static std::string matrixtext(int taxa, int chars, const kind &k)
{
    std::vector<std::string> seqs = generated(taxa, chars, 5);
    std::string text = k.continuous ? "nstates num 32;" : "";
    text += "xread " + std::to_string(chars) + " " + std::to_string(taxa) + "\n";
    int from = k.continuous ? k.slow : 0;
    if (from) {
        text += "&[cont]\n";
        for (int t = 0; t < taxa; ++t) {
            text += "t" + std::to_string(t);
            for (int c = 0; c < from; ++c) text += " " + std::to_string(seqs[t][c] - '0') + "." + std::to_string(t % 10);
            text += "\n";
        }
        text += "&[num]\n";
    }
    for (int t = 0; t < taxa; ++t) text += "t" + std::to_string(t) + " " + seqs[t].substr(from) + "\n";
    return text + ";\n" + k.after + "procedure/;\n";
}

static int longest = 40;                  // seconds; what takes longer is cut off

static void report(int taxa, const char *what, double count, double seconds)
{
    printf("%6i %-24s %14.0f %9.2f %14.0f\n", taxa, what, count, seconds, count / seconds);
}

static double rearrangements() { return double(bigrearrangs) * BIGREARRANGS + double(numrearrangs); }

static void swap(int taxa, const char *what, double (*swapper)(int *, int, int))
{
    clear_rearrangs();
    wagner(anx, 7);
    mytimeout = longest;
    double start = startime = now();
    swapper(anx, 0, 0);
    userstop = mytimeout = 0;
    report(taxa, what, rearrangements(), now() - start);
}

static void build(int taxa)
{
    double start = now();
    wagner(anx, 7);
    report(taxa, "wagner (places)", double(taxa) * taxa, now() - start);
}

static void wholecommand(int taxa)
{
    double start = now();
    gtkZel(("timeout 0:0:" + std::to_string(longest) + ";rseed 7;mult=replic 1 hold 10;timeout 0;keep 0;").c_str());
    report(taxa, "mult, one replication", rearrangements(), now() - start);
}

static void rescore(int taxa)
{
    wagner(anx, 7);
    int done = 0;
    double start = now();
    for (; now() - start < 1; ++done) schoptimize(anx, 1);
    report(taxa, "(complete rescoring)", done, now() - start);
}

static void measure(int taxa, const kind &k)
{
    constexpr int CHARS = 500;
    printf("-- %s\n", k.what);
    std::string file = "/tmp/zel_bench_search.xread";
    if (FILE *f = fopen(file.c_str(), "w")) {
        fputs(matrixtext(taxa, CHARS, k).c_str(), f);
        fclose(f);
    }
    gtkZel("xwipe;xpiwe-;piwe-;nstates num 16;");
    double start = now();
    gtkZel((k.before + std::string("procedure ") + file + ";").c_str());
    report(taxa, "reading (cells)", double(taxa) * CHARS, now() - start);
    remove(file.c_str());
    start = now();
    precheck(multcom, ';', 0);
    report(taxa, "packing (cells)", double(taxa) * CHARS, now() - start);
    rescore(taxa);
    build(taxa);
    swap(taxa, "sprswap", sprswap);
    swap(taxa, "tbrswap", tbrswap);
    end_of_search();
    loset(minseg);
    hiset(maxeg);
    wholecommand(taxa);
}

// search [most taxa [seconds]]
int main(int argc, char **argv)
{
    int most = argc > 1 ? atoi(argv[1]) : 5000;
    if (argc > 2) longest = atoi(argv[2]);
    initialize_winbufsiz(250);
    gtkZel(";");
    gtkZel("warn-;mxram 800;report-;");
    printf("%6s %-24s %14s %9s %14s   (500 characters of 4 states)\n", "taxa", "step", "count", "seconds", "a second");
    for (int taxa : { 50, 500, 5000 })
        for (const kind &k : kinds)
            if (taxa <= most) measure(taxa, k);
}
