// What a hit costs: driven searches with their usual settings, to the best known length of each matrix, from a number
// of seeds.  Times are of the processor.  A length better than the known one, met on the way, is the goal from then on.
//
//     hits DATADIR [SEEDS] [SET...]     the sets below; "growth": 500 to 4,000 taxa; all when none is given
//
// Genes are generated ("gene350-1" .. "gene350-15", "gene500-1" .. "gene500-9"; "gene350": all of them), and so many
// since they differ fortyfold in difficulty.  Their best length is that of 20 hits.
//
// SEEDS is 10 when not given.  Hits differ so much that the median of 10 may be a third off; that of 40 is steadier.
// Shares of the time are those of the stages under way, outermost first ("rss>swap": the swap of a random sector;
// "rss>whole": of the whole tree).
#include "bench.h"
#include "data/matrix.h"
#include "kernel/textbuf.h"
#include "search/xmult.h"
#include <algorithm>
#include <cstdlib>
#include <map>

// --- stages -------------------------------------------------------------------------------

// The linker puts the functions below in the place of those that are watched (--wrap), which then are called
// `real`.  Each stage is charged with what it takes but not with what stages within it do.
static std::vector<const char *> under;                 // stages under way
static std::map<std::string, double> charged;
static int started;                                     // replications
static double last;

static std::string path()
{
    std::string text;
    for (const char *name : under) text += (text.empty() ? "" : ">") + std::string(name);
    return text.empty() ? "other" : text;
}

static void charge()
{
    double now = cpu();
    charged[path()] += now - last;
    last = now;
}

struct within {
    explicit within(const char *name)
    {
        charge();
        under.push_back(name);
    }
    ~within()
    {
        charge();
        under.pop_back();
    }
};

#define WATCHED(result, name, mangled, ...)               \
    result real_##name(__VA_ARGS__) asm("__real_" mangled); \
    result wrap_##name(__VA_ARGS__) asm("__wrap_" mangled)

WATCHED(void, wagner, "_Z6wagnerPii", int *tree, int seed);
void wrap_wagner(int *tree, int seed)
{
    started += under.empty();
    within stage("wagner");
    real_wagner(tree, seed);
}

WATCHED(bool, start, "_Z18wagner_if_possiblePii", int *tree, int seed);
bool wrap_start(int *tree, int seed)
{
    within stage("wagner");
    return real_start(tree, seed);
}

WATCHED(double, sprswap, "_Z7sprswapPiii", int *tree, int first, int flag);
double wrap_sprswap(int *tree, int first, int flag)
{
    within stage("spr");
    return real_sprswap(tree, first, flag);
}

WATCHED(double, tbrswap, "_Z7tbrswapPiii", int *tree, int first, int flag);
double wrap_tbrswap(int *tree, int first, int flag)
{
    within stage(!under.empty() && ntax == realntax ? "whole" : "swap");
    return real_tbrswap(tree, first, flag);
}

WATCHED(double, const_ss, "_Z8const_ssPi", int *tree);
double wrap_const_ss(int *tree)
{
    within stage("css");
    return real_const_ss(tree);
}

WATCHED(double, random_ss, "_Z9random_ssPi", int *tree);
double wrap_random_ss(int *tree)
{
    within stage("rss");
    return real_random_ss(tree);
}

WATCHED(double, dftree, "_Z6dftreePijiS_i", int *tree, unsigned seed, int base, int *done, int report);
double wrap_dftree(int *tree, unsigned seed, int base, int *done, int report)
{
    within stage("drift");
    return real_dftree(tree, seed, base, done, report);
}

WATCHED(double, dofuse, "_Z6dofusePiPS_id", int *count, int **trees, int rounds, double stop);
double wrap_dofuse(int *count, int **trees, int rounds, double stop)
{
    within stage("fuse");
    return real_dofuse(count, trees, rounds, stop);
}

WATCHED(bool, open, "_Z17make_small_matrixiiPFiiEi", int base, int count, int (*standin)(int), int outgroup);
bool wrap_open(int base, int count, int (*standin)(int), int outgroup)
{
    within stage("open");
    return real_open(base, count, standin, outgroup);
}

static void clearstages()
{
    charged.clear();
    last = cpu();
}

static void tellstages()
{
    constexpr double LEAST = 0.01;
    double all = 0;
    std::vector<std::pair<double, std::string>> order;
    for (auto &[name, secs] : charged) {
        order.push_back({ secs, name });
        all += secs;
    }
    std::sort(order.rbegin(), order.rend());
    printf("      ");
    for (auto &[secs, name] : order)
        if (secs >= LEAST * all) printf(" %s %.0f%%", name.c_str(), 100 * secs / all);
    printf("\n");
}

// --- a run --------------------------------------------------------------------------------

struct outcome { double secs, score; int replications; };

static outcome search(int seed, const std::string &options)
{
    command("keep 0;rseed " + std::to_string(seed) + ";");
    started = 0;
    double start = last = cpu();
    command("xmult=" + options + ";");
    charge();
    return { cpu() - start, xm.bescore, started };
}

static std::string options(const char *word, double score) { return std::string(word) + " " + std::to_string(long(score)); }

template<class F> static void spread(const char *what, std::vector<outcome> runs, F f)
{
    std::sort(runs.begin(), runs.end(), [&](auto &a, auto &b) { return f(a) < f(b); });
    printf("  %s %.3g (%.3g-%.3g)", what, double(f(runs[runs.size() / 2])), double(f(runs.front())), double(f(runs.back())));
}

static int seeds = 10;

static double middle(std::vector<double> list)
{
    std::sort(list.begin(), list.end());
    return list[list.size() / 2];
}

// Adds the seconds of each hit to *all, if wanted; nothing when not every search came to a hit.
static void hits(const char *name, double known, const char *wanted, std::vector<double> *all = nullptr)
{
    double goal = known;
    std::vector<outcome> runs;
    if (!goal) goal = search(99, "hits 20 notarget").score;
    for (int seed = 1; int(runs.size()) < seeds; ++seed) {
        if (runs.empty()) clearstages();
        outcome o = search(seed, "hits 1 " + options("target", goal));
        if (o.score > goal) {                                    // stopped, or out of room for trees
            printf("  %s: seed %i ended at %.0f, which is no hit\n", name, seed, o.score);
            return;
        }
        if (o.score < goal) {
            goal = o.score;
            runs.clear();
        } else runs.push_back(o);
    }
    printf("  %-16s %5i taxa %5i chars  length %.0f", name, nt, nc, goal);
    if (known) printf(" (known %.0f)", known);
    spread("seconds", runs, [](auto &o) { return o.secs; });
    spread("replications", runs, [](auto &o) { return o.replications; });
    printf("  wanted %s\n", wanted);
    tellstages();
    fflush(stdout);
    for (const outcome &o : runs)
        if (all) all->push_back(o.secs);
}

static void growth()
{
    constexpr double NEAR = 1.001;
    for (int taxa : { 500, 1000, 2000, 4000 }) {
        std::string file = modelfile({ taxa, 1400, 4, 4, 0.02, 1, 0.2 });
        command("xwipe;nstates num 8;procedure " + file + ";hold 10000;");
        remove(file.c_str());
        double best = search(99, "hits 1 notarget").score;
        clearstages();
        outcome o = search(1, "hits 1 " + options("giveup", best * NEAR));
        printf("  growth %i taxa: best found %.0f; %.0f, within 0.1%%, in %.3g seconds, %i replications\n", taxa, best, o.score, o.secs,
               o.replications);
        command("xmult:nogiveup;");
        tellstages();
        fflush(stdout);
    }
}

// --- sets ---------------------------------------------------------------------------------

// read: before the name of the file.
struct alignment { const char *name, *read, *file; double known; const char *wanted; };
static const alignment alignments[] = {
    { "actinopterygii", "nstates num 16;procedure ", "actinopterygii.nex", 29418, "-" },
    { "mammal_rag2", "nstates dna;procedure &", "mammal_rag2.fas", 625, "-" },
    { "protein140", "procedure ", "protein140.xread", 23919, "-" },
    { "ssu150", "nstates dna;procedure &", "ssu150.fas", 8470, "1" },
    { "ssu218", "nstates dna;procedure &", "ssu218.fas", 33507, "-" },
};

struct genes { int taxa; unsigned sets; const char *wanted; };
static const genes generatedgenes[] = { { 350, 15, "1" }, { 500, 9, "3" } };

static std::vector<std::string> asked;       // none: all

static bool wanted(const std::string &name)
{
    return asked.empty() || std::any_of(asked.begin(), asked.end(), [&](auto &a) { return name == a || name.rfind(a + "-", 0) == 0; });
}

static void hitsofgenes(const genes &g)
{
    std::vector<double> all;
    for (unsigned seed = 1; seed <= g.sets; ++seed) {
        std::string name = "gene" + std::to_string(g.taxa) + "-" + std::to_string(seed);
        if (!wanted(name)) continue;
        std::string file = modelfile({ g.taxa, 1400, 4, 4, 0.02, seed, 0.2 });
        command("xwipe;nstates num 8;procedure " + file + ";hold 10000;");
        remove(file.c_str());
        hits(name.c_str(), 0, g.wanted, &all);
    }
    if (!all.empty()) printf("  genes of %i taxa: median of %zu hits %.3g seconds, wanted %s\n", g.taxa, all.size(), middle(all), g.wanted);
}

int main(int argc, char **argv)
{
    if (argc < 2) return fprintf(stderr, "hits DATADIR [SEEDS] [SET...]\n"), 1;
    char **names = argv + 2, **end = argv + argc;
    if (names < end && atoi(*names) > 0) seeds = atoi(*names++);
    asked.assign(names, end);
    initialize_winbufsiz(250);
    gtkZel(";");
    gtkZel("warn-;mxram 1500;report-;silent=all;");
    for (const alignment &a : alignments) {
        if (!wanted(a.name)) continue;
        command("xwipe;" + std::string(a.read) + argv[1] + "/sequences-large/" + a.file + ";hold 10000;");
        hits(a.name, a.known, a.wanted);
    }
    for (const genes &g : generatedgenes) hitsofgenes(g);
    if (wanted("growth")) growth();
}
