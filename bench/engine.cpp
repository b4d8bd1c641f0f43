// The search engine in figures: what a placement, a swap and a tree cost, what each way of not looking at a
// place saves, and how that grows with the taxa.  Each figure stands beside its reference, measured in
// the same run, and the goal.  Times are of the processor, the least of several runs: the machine may
// be busy with others.
//
//     engine [part...]     raw pairs devices times weights constraints growth memory; all when none is given
//
// "times" takes the names of matrices too (native or Nexus; Fasta after a "&").
#include "bench.h"
#include "data/matrix.h"
#include "kernel/arena.h"
#include "kernel/below.h"
#include "kernel/commands.h"
#include "kernel/driver.h"
#include "kernel/textbuf.h"
#include "search/andlists.h"
#include "search/constpack.h"
#include "search/kernels.h"
#include "search/moves.h"
#include "search/spr.h"
#include "search/status.h"
#include "search/swapper.h"
#include "search/tbr.h"
#include "search/wagner.h"
#include "trees/pack.h"
#include "trees/treebuf.h"
#include "trees/treemodel.h"
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

// Seconds of the processor, the least of several runs.
template<class F> static double least(int runs, F f)
{
    double best = 1e30;
    for (int i = 0; i < runs; ++i) {
        double start = cpu();
        f();
        best = std::min(best, cpu() - start);
    }
    return best;
}

static void figure(const char *what, double value, const char *unit, const std::string &reference = "", const char *goal = "")
{
    printf("  %-52s %12.4g %-8s %-38s %s\n", what, value, unit, reference.c_str(), goal);
    fflush(stdout);
}

static std::string beside(const char *what, double value)
{
    char text[80];
    snprintf(text, sizeof text, "%s %.4g", what, value);
    return text;
}

// --- data ---------------------------------------------------------------------------------

constexpr model GENE = { 500, 759, 4, 4, 0.03, 1 };
constexpr model MORPHOLOGY = { 100, 250, 2, 4, 0.03, 2 };

static void leavesearch()
{
    end_of_search();
    loset(minseg);
    hiset(maxeg);
}

static void entersearch() { precheck(multcom, ';', 0); }

static void readmodel(const model &m, const std::string &before = "", const std::string &after = "")
{
    std::string file = modelfile(m);
    command("xwipe;xpiwe-;piwe-;nstates num 8;" + before + "procedure " + file + ";" + after);
    remove(file.c_str());
}

// --- pieces of a search -------------------------------------------------------------------

static double rearrangements() { return double(bigrearrangs) * BIGREARRANGS + double(numrearrangs); }

static void nearoptimal()           // in anx
{
    wagner(anx, 7);
    sprswap(anx, 0, 0);
    tbrswap(anx, 0, 0);
}

// One pass of a swapper over a tree that it cannot improve: rearrangements, and seconds.
struct passed { double count, seconds; double rate() const { return count / seconds; } };

static passed pass(double (*swapper)(int *, int, int), int runs)
{
    passed p{};
    p.seconds = least(runs, [&] {
        clear_rearrangs();
        swapper(anx, 0, 0);
        p.count = rearrangements();
    });
    return p;
}

static std::vector<int> branchesleft()
{
    std::vector<int> list{ sis[0] };
    for (size_t i = 0; i < list.size(); ++i)
        if (list[i] >= ntax) {
            int n = list[i];
            list.push_back(lef[n]);
            list.push_back(rig[n]);
        }
    return list;
}

// Every clip of the tree in anx, undone after f(clip, sister).
template<class F> static void eachclip(F f)
{
    optimize_for_swap(anx);
    for (int x = 1; x < hinod; ++x) {
        int s = sis[x];
        if (x == ntax || s == 0 || swaptree[x] == ntax) continue;
        int nroots, ndests;
        clip_subtree(x);
        if (clusters_on) reassign_clusters(x, s, &nroots, &ndests);
        reoptimize_after_clip(s, x);
        f(x, s);
        unclip_subtree(x, s);
        restore_after_clip(s);
    }
}

static double rescorings()
{
    constexpr int MANY = 200;
    return MANY / least(3, [] { for (int i = 0; i < MANY; ++i) schoptimize(anx, 1); });
}

// --- the checker alone --------------------------------------------------------------------

struct placed { double places, seconds; };

// Each clip as it is rooted at each branch, from the sets as they stand; the time of clips and lists apart.
static placed placements(bool bounded, double bound)
{
    double places = 0;
    auto walk = [&](bool check) {
        places = 0;
        eachclip([&](int x, int s) {
            std::vector<int> list = branchesleft();
            int n = int(list.size());
            places += n;
            if (!check) return;
            clipset = dnset(x);
            destset = branchset(s);
            movebound = NOBOUND;
            if (bounded) {
                score_checker();
                movebound = movesteps + bound;
            }
            for (int i = 0; (i = scan_nodes(clipset, list.data(), i, n)) < n; ++i) continue;
        });
    };
    constexpr int RUNS = 7;
    double all = least(RUNS, [&] { walk(true); }), frame = least(RUNS, [&] { walk(false); });
    return { places, all - frame };
}

static void raw()
{
    readmodel(GENE);
    entersearch();
    nearoptimal();
    printf("The checker alone: %i taxa, %i informative sites of 4 states, %i cells, kernels \"%s\"\n", ntax, GENE.chars, foldcells, kernel->name);
    double full = rescorings();
    const kernelset *widest = kernel;
    for (int k = 0; kernelsets[k]; ++k) {
        force_kernels(kernelsets[k]->name);
        placed p = placements(false, 0);
        char name[80];
        snprintf(name, sizeof name, "placements, no bounds, no clusters (%s)", kernel->name);
        figure(name, p.places / p.seconds / 1e6, "M/s", beside("complete rescorings, M/s", full / 1e6), k ? "60 M/s; the machine's own bound is 140-180" : "");
    }
    force_kernels(widest->name);
    placed p = placements(true, -1);
    figure("the same, bounded by the original place", p.places / p.seconds / 1e6, "M/s", beside("complete rescorings, M/s", full / 1e6));
    leavesearch();
}

// --- pairs of sisters ---------------------------------------------------------------------

// Two sisters at once, against one by one, both within the bound of a clip's original place.
static void pairs()
{
    readmodel(GENE);
    entersearch();
    nearoptimal();
    printf("Two sister branches checked at once, SPR, %i taxa\n", ntax);
    auto walk = [&](int how) {
        double hits = 0;
        eachclip([&](int x, int s) {
            std::vector<int> list = branchesleft();
            clipset = dnset(x);
            destset = branchset(s);
            movebound = NOBOUND;
            score_checker();
            movebound = movesteps - 1;
            int n = int(list.size());
            if (how == 1)
                for (int i = 0; (i = scan_nodes(clipset, list.data(), i, n)) < n; ++i) ++hits;
            if (how != 2) return;
            for (int i = 1; i + 1 < n; i += 2) {
                pair_checker(clipset, branchset(list[size_t(i)]), branchset(list[size_t(i) + 1]));
                if (!moveok) continue;
                for (int j = i; j < i + 2; ++j) {
                    destset = branchset(list[size_t(j)]);
                    score_checker();
                    hits += moveok;
                }
            }
        });
        return hits;
    };
    double frame = least(7, [&] { walk(0); }), one = least(7, [&] { walk(1); }) - frame, two = least(7, [&] { walk(2); }) - frame;
    figure("one by one (as the swappers do)", one * 1e3, "ms");
    figure("pairs first", two * 1e3, "ms", beside("one by one, ms", one * 1e3));
    leavesearch();
}

// --- what keeps TBR from looking ----------------------------------------------------------

enum device { CLUSTERPAIRS, CLUSTERS, BOUNDS, NOTHING };

// All roots of a clip at all destinations, with ever fewer devices.
static void walkplaces(device d, const std::vector<int> &roots, const std::vector<int> &dests, int ndests)
{
    for (int r : roots) {
        const uint32_t *set = branchset(r);
        if (d == CLUSTERS)
            for (int j = 0; (j = scan_clusters(set, deslist, j, ndests)) < ndests; ++j) {
                const clusrec &there = clusmat[deslist[j]];
                for (int i = 0; (i = scan_nodes(set, there.nodes, i, there.ndests)) < there.ndests; ++i) continue;
            }
        else
            for (int i = 0, n = int(dests.size()); (i = scan_nodes(set, dests.data(), i, n)) < n; ++i) continue;
    }
}

static passed without(device d)
{
    passed p{};
    clusters_on = 1;
    p.seconds = least(3, [&] {
        p.count = 0;
        optimize_for_swap(anx);
        for (int x = 1; x < hinod; ++x) {
            int s = sis[x], size = tnodsize[x], nroots, ndests;
            if (x == ntax || s == 0 || swaptree[x] == ntax) continue;
            clip_subtree(x);
            reassign_clusters(x, s, &nroots, &ndests);
            reoptimize_after_clip(s, x);
            std::vector<int> roots, dests;
            if (size < 3) roots.push_back(x < ntax ? x : lef[x]);
            else
                for (int k = 0; k < nroots; ++k)
                    roots.insert(roots.end(), clusmat[rootlist[k]].roots, clusmat[rootlist[k]].roots + clusmat[rootlist[k]].nroots);
            if (d != CLUSTERS) dests = branchesleft();
            clipset = x < ntax ? dnset(x) : branchset(lef[x]);
            destset = branchset(s);
            movebound = NOBOUND;
            score_checker();
            movebound = d == NOTHING ? NOBOUND : movesteps - 1;
            p.count += double(tbr_places(size));
            walkplaces(d, roots, dests, ndests);
            unclip_subtree(x, s);
            restore_after_clip(s);
        }
    });
    clusters_on = 0;
    return p;
}

static void devicesfor(const model &m, const char *what, const char *goal)
{
    readmodel(m);
    entersearch();
    nearoptimal();
    printf("TBR near the optimum: %s, %i taxa, %i cells\n", what, ntax, foldcells);
    double full = rescorings();
    passed p = pass(tbrswap, 5);
    figure("tbrswap", p.rate() / 1e6, "M/s", beside("complete rescorings, M/s", full / 1e6), goal);
    figure("  a pass", p.seconds * 1e3, "ms", beside("rearrangements, M", p.count / 1e6));
    std::vector<int> tree(anx, anx + hinod);
    leavesearch();
    command("bbreak:inters;");
    entersearch();
    std::copy(tree.begin(), tree.end(), anx);
    passed a = pass(tbrswap, 5);
    figure("  with and-lists", a.rate() / 1e6, "M/s", beside("times slower", p.rate() / a.rate()));
    leavesearch();
    command("bbreak:nointers;");
    entersearch();
    std::copy(tree.begin(), tree.end(), anx);
    static const struct { device d; const char *what; } rows[] = {
        { CLUSTERS, "  without root clusters (each root by itself)" },
        { BOUNDS,   "  without clusters" },
        { NOTHING,  "  without clusters and bounds" },
    };
    for (auto [d, name] : rows) {
        passed w = without(d);
        figure(name, w.rate() / 1e6, "M/s", beside("times slower", p.rate() / w.rate()));
    }
    leavesearch();
}

static void devices()
{
    devicesfor(GENE, "759 informative sites", "500 M/s");
    devicesfor(MORPHOLOGY, "250 characters of 2 to 4 states", "500 M/s");
    command("rseed 1;");
}

// --- from nothing to a local optimum ------------------------------------------------------

static void timesofdata(const char *what, bool goals)
{
    entersearch();
    printf("One tree: %s, %i taxa, %i cells\n", what, ntax, foldcells);
    double w = least(5, [] { wagner(anx, 7); }), length = 0;
    figure("Wagner tree", w, "s", beside("complete rescoring, s", 1 / rescorings()));
    double s = least(3, [&] { wagner(anx, 7); length = sprswap(anx, 0, 0); });
    figure("with SPR", s, "s", beside("length", length), goals ? "0.15 s" : "");
    double t = least(2, [&] { wagner(anx, 7); sprswap(anx, 0, 0); length = tbrswap(anx, 0, 0); });
    figure("with SPR and TBR", t, "s", beside("length", length), goals ? "about 1 s" : "");
    double only = least(2, [&] { wagner(anx, 7); length = tbrswap(anx, 0, 0); });
    figure("with TBR alone", only, "s", beside("length", length));
    leavesearch();
}

static void times()
{
    readmodel(GENE);
    timesofdata("759 informative sites", true);
    model noisy = GENE;
    noisy.rate = 0.1;
    readmodel(noisy);
    timesofdata("759 sites, saturated", true);
}

static void timesoffile(const std::string &file)
{
    command(file[0] == '&' ? "xwipe;nstates dna;procedure " + file + ";" : "xwipe;nstates num 32;procedure " + file + ";");
    timesofdata(file.c_str(), false);
}

// --- weights ------------------------------------------------------------------------------

static void weights()
{
    static const struct { const char *what, *before, *after; } kinds[] = {
        { "equal weights", "", "" },
        { "a weight a character", "", "ccode /2 0.99 /3 100.199 /5 200.299;" },
        { "implied weights, k 3", "piwe=3;", "" },
        { "implied weights, k 10", "piwe=10;", "" },
        { "weighting sets of ten", "piwe=10;", "xpiwe[=10;" },
    };
    model m = GENE;
    m.chars = 500;
    double wagners = 0, sprs = 0, tbrs = 0, wholes = 0;
    printf("Weights: %i taxa, %i sites\n", m.taxa, m.chars);
    for (auto &k : kinds) {
        readmodel(m, k.before, k.after);
        entersearch();
        double w = double(ntax) * ntax / least(3, [] { wagner(anx, 7); }), whole = least(3, nearoptimal);
        double s = pass(sprswap, 5).rate(), t = pass(tbrswap, 3).rate();
        bool first = !wagners;
        if (first) wagners = w, sprs = s, tbrs = t, wholes = whole;
        const char *goal = first ? "" : "8 times";
        printf(" %s\n", k.what);
        figure("Wagner, places", w / 1e6, "M/s", beside("times slower than equal weights", wagners / w), goal);
        figure("SPR pass, rearrangements", s / 1e6, "M/s", beside("times slower than equal weights", sprs / s), goal);
        figure("TBR pass, rearrangements", t / 1e6, "M/s", beside("times slower than equal weights", tbrs / t), goal);
        figure("Wagner tree, SPR and TBR", whole * 1e3, "ms", beside("times as long as equal weights", whole / wholes), goal);
        leavesearch();
    }
    command("xpiwe-;piwe-;");
}

// --- constraints --------------------------------------------------------------------------

static std::string written(const std::string &commands)     // a file: they may be longer than a line can be
{
    std::string file = "/tmp/zel_bench_engine.run";
    if (FILE *f = fopen(file.c_str(), "w")) {
        fprintf(f, "%s\nprocedure/;\n", commands.c_str());
        fclose(f);
    }
    return file;
}

static std::string groupsof(const std::vector<int> &tree, int most)
{
    std::vector<std::vector<int>> below(size_t(2 * nt));
    for (int t = 0; t < nt; ++t)
        for (int n = tree[size_t(t)]; n != nt; n = tree[size_t(n)]) below[size_t(n)].push_back(t);
    constexpr size_t SMALL = 5, LARGE = 30;
    std::string text = "force +";
    int given = 0;
    for (auto &group : below) {
        if (group.size() < SMALL || group.size() > LARGE || given++ >= most) continue;
        text += " [";
        for (int t : group) text += " " + std::to_string(t);
        text += " ]";
    }
    return text + ";";
}

static void constraints()
{
    readmodel(GENE);
    command("keep 0;hold 10;rseed 1;mult=replic 1 hold 1 spr;");
    std::vector<int> tree(mem_tree[0], mem_tree[0] + nodz);
    for (int &a : tree) a &= NODEBITS;
    const std::pair<const char *, std::string> kinds[] = {
        { "free", "" },
        { "one group", groupsof(tree, 1) },
        { "20 groups", groupsof(tree, 20) },
        { "100 groups", groupsof(tree, 100) },
        { "a tree", "force = &0;" },
    };
    double wagners = 0, tbrs = 0;
    printf("Constraints: %i taxa\n", nt);
    for (auto &[what, text] : kinds) {
        if (!text.empty()) command("procedure " + written(text) + ";");
        entersearch();
        double w = least(5, [] { wagner(anx, 7); }), t;
        nearoptimal();
        t = pass(tbrswap, 3).seconds;
        if (text.empty()) wagners = w, tbrs = t;
        printf(" %s\n", what);
        figure("Wagner tree", w * 1e3, "ms", beside("times a free one", w / wagners), text.empty() ? "" : "little more than 1");
        figure("TBR pass", t * 1e3, "ms", beside("times a free one", t / tbrs), text.empty() ? "" : "little more than 1");
        leavesearch();
    }
    command("force ];keep 0;");
}

// --- growth -------------------------------------------------------------------------------

static void readgrown(int taxa, int chars, int states, double stasis)
{
    char text[200];
    snprintf(text, sizeof text, "xwipe;nstates num 8;xread / %i %i %i;keep 0;rseed 3;randtrees 1;xread + 0 %g %i %i;keep 0;", chars, taxa, states, stasis, chars, states);
    command(text);
}

static double exponent(const std::vector<double> &x, const std::vector<double> &y)
{
    double n = double(x.size()), sx = 0, sy = 0, sxx = 0, sxy = 0;
    for (size_t i = 0; i < x.size(); ++i) {
        double a = std::log(x[i]), b = std::log(y[i]);
        sx += a, sy += b, sxx += a * a, sxy += a * b;
    }
    return (n * sxy - sx * sy) / (n * sxx - sx * sx);
}

static void growth()
{
    constexpr int CHARS = 500;
    constexpr double STASIS = 90;
    std::vector<double> taxa, wagners, sprs, tbrs, clips;
    printf("Growth with taxa: %i characters of 4 states along a random tree, stasis %g; seconds\n", CHARS, STASIS);
    printf("  %6s %10s %10s %10s %12s %12s\n", "taxa", "Wagner", "SPR pass", "TBR pass", "SPR M/s", "TBR M/s");
    for (int n : { 125, 250, 500, 1000, 2000, 4000 }) {
        readgrown(n, CHARS, 4, STASIS);
        entersearch();
        int runs = n > 1000 ? 1 : 3;
        taxa.push_back(n);
        wagners.push_back(least(runs, [] { wagner(anx, 7); }));
        nearoptimal();
        passed s = pass(sprswap, runs), t = pass(tbrswap, runs);
        sprs.push_back(s.seconds);
        tbrs.push_back(t.seconds);
        printf("  %6i %10.4f %10.4f %10.4f %12.0f %12.0f\n", n, wagners.back(), s.seconds, t.seconds, s.rate() / 1e6, t.rate() / 1e6);
        fflush(stdout);
        leavesearch();
    }
    printf("  exponents: Wagner %.2f, SPR %.2f, TBR %.2f (places: 2, 2, about 2.5)\n", exponent(taxa, wagners), exponent(taxa, sprs), exponent(taxa, tbrs));
}

// --- ten thousand taxa --------------------------------------------------------------------

static void memory()
{
    constexpr int TAXA = 10000, CHARS = 2000;
    constexpr double M = 1e6;
    printf("%i taxa, %i characters of 4 states\n", TAXA, CHARS);
    double start = cpu();
    readgrown(TAXA, CHARS, 4, 90);
    figure("data generated", cpu() - start, "s");
    double data = double(used_ram()) / M;
    figure("matrix, names, trees", data, "MB", beside("cells alone, MB", double(TAXA) * CHARS / M));
    start = cpu();
    entersearch();
    figure("packed", cpu() - start, "s");
    double rows = 4.0 * hinod * rowcells * sizeof(uint32_t) / M;
    figure("packed image and search tables", double(used_ram()) / M - data, "MB", beside("4 sets of each node, MB", rows));
    figure("unions of clusters, twice", 2.0 * maxclustnum * rowcells * sizeof(uint32_t) / M, "MB");
    start = cpu();
    wagner(anx, 7);
    figure("Wagner tree", cpu() - start, "s", beside("score", schoptimize(anx, 1)));
    start = cpu();
    double length = sprswap(anx, 0, 0);
    figure("SPR to the end", cpu() - start, "s", beside("score", length));
    start = cpu();
    clear_rearrangs();
    length = tbrswap(anx, 0, 0);
    figure("TBR to the end", cpu() - start, "s", beside("score", length));
    figure("  rearrangements", rearrangements() / (cpu() - start) / 1e6, "M/s");
    figure("most memory in use", double(std::max(maxramused, maxram_so_far)) / M, "MB");
    leavesearch();
}

int main(int argc, char **argv)
{
    static const struct { const char *name; void (*run)(); } parts[] = {
        { "raw", raw }, { "pairs", pairs }, { "devices", devices }, { "times", times }, { "weights", weights },
        { "constraints", constraints }, { "growth", growth }, { "memory", memory },
    };
    initialize_winbufsiz(250);
    gtkZel(";");
    gtkZel("warn-;mxram 2500;report-;silent=all;collapse none;");
    printf("  %-52s %12s %-8s %-38s %s\n", "", "figure", "", "beside it", "goal");
    bool any = false;
    for (int i = 1; i < argc; ++i) {
        auto *part = std::find_if(std::begin(parts), std::end(parts), [&](auto &p) { return std::string(argv[i]) == p.name; });
        if (part != std::end(parts)) part->run();
        else timesoffile(argv[i]);
        any = true;
    }
    for (auto &p : parts)
        if (!any) p.run();
}
