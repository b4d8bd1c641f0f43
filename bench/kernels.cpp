// Rearrangements checked a second by each set of kernels, beside the formulas for one cell, and the
// cost of a clip with its undoing.  Data are made here: characters that change along a random tree,
// which is also the tree whose neighbours are checked, as near the end of a search.
//
//     kernels [seconds a measurement]
#include "onecell.h"
#include "data/matrix.h"
#include "kernel/bits.h"
#include "kernel/driver.h"
#include "kernel/textbuf.h"
#include "search/kernels.h"
#include "search/moves.h"
#include "trees/treemodel.h"
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

double seconds = 0.5;

struct set { int taxa, chars, states; const char *what; };
const set sets[] = {
    { 50, 120, 2, "50 taxa, 120 two-state characters" },
    { 50, 1000, 4, "50 taxa, 1000 nucleotides" },
    { 500, 200, 2, "500 taxa, 200 two-state characters" },
    { 500, 1000, 4, "500 taxa, 1000 nucleotides" },
    { 2000, 1500, 4, "2000 taxa, 1500 nucleotides" },
};

std::vector<int> randomtree(std::mt19937 &rng, int taxa)       // in packed numbers
{
    std::vector<int> anc(2 * taxa, 0), branches{ 1 };
    anc[0] = anc[1] = taxa;
    int next = taxa + 1;
    for (int t = 2; t < taxa; ++t) {
        int at = branches[rng() % branches.size()];
        anc[next] = anc[at];
        anc[at] = anc[t] = next;
        branches.push_back(t);
        branches.push_back(next++);
    }
    anc[taxa] = next;
    return anc;
}

std::vector<int> readdata(std::mt19937 &rng, const set &s)      // returns the tree
{
    std::vector<int> anc = randomtree(rng, s.taxa);
    std::vector<std::string> rows(2 * s.taxa - 1, std::string(size_t(s.chars), '0'));
    std::vector<int> order{ s.taxa };
    std::vector<std::vector<int>> kids(2 * s.taxa - 1);
    for (int n = 0; n < 2 * s.taxa - 1; ++n)
        if (n != s.taxa) kids[anc[n]].push_back(n);
    for (size_t i = 0; i < order.size(); ++i)
        for (int k : kids[order[i]]) {
            rows[k] = rows[order[i]];
            for (char &x : rows[k])
                if (rng() % 100 < 5) x = char('0' + rng() % s.states);
            if (k >= s.taxa) order.push_back(k);
        }
    std::string path = std::filesystem::temp_directory_path() / ("bench" + std::to_string(getpid()));
    {
        std::ofstream out(path);
        out << "xread " << s.chars << " " << s.taxa << "\n";
        for (int t = 0; t < s.taxa; ++t) out << "t" << t << " " << rows[t] << "\n";
        out << ";\nproc/;\n";
    }
    gtkZel(("mxram 200; procedure " + path + ";").c_str());
    std::filesystem::remove(path);
    return anc;
}

double now()               // of this process: the machine may be busy with others
{
    return double(clock()) / CLOCKS_PER_SEC;
}

// Steps of a clip at a branch, one cell at a time, given up when above bound.
long onecheck(const uint32_t *a, const uint32_t *b, long bound)
{
    long n = 0;
    int c = 0;
    for (; c < nc2; ++c)
        if ((n += fmems(onecell::emptyfields(a[c] & b[c], 2))) > bound) return -1;
    for (; c < nc4; ++c)
        if ((n += fmems(onecell::emptyfields(a[c] & b[c], 4))) > bound) return -1;
    for (; c < nc8; ++c)
        if ((n += fmems(onecell::emptyfields(a[c] & b[c], 8))) > bound) return -1;
    for (; c < foldcells; ++c)
        if ((n += !(a[c] & b[c])) > bound) return -1;
    return n;
}

struct count { double checks = 0, accepted = 0, time = 0; };

// Each clip against each branch that is left, SPR fashion; bound: cost of the original place.
template<class F> count measure(std::vector<int> tree, F walk)
{
    count n;
    clusters_on = 0;
    optimize_for_swap(tree.data());
    std::vector<int> list(hinod);
    double start = now();
    for (int x = 1; ; x = x + 1 < hinod ? x + 1 : 1) {
        if (x == ntax || sis[x] == 0) continue;
        int s = sis[x], k = 0;
        clip_subtree(x);
        reoptimize_after_clip(s, x);
        list[k++] = sis[0];
        for (int i = 0; i < k; ++i)
            if (list[i] >= ntax) {
                list[k++] = lef[list[i]];
                list[k++] = rig[list[i]];
            }
        clipset = dnset(x);
        destset = branchset(s);
        movebound = NOBOUND;
        score_checker();
        movebound = movesteps;
        n.accepted += walk(list.data(), k);
        n.checks += k;
        unclip_subtree(x, s);
        restore_after_clip(s);
        if (x % 64 == 0 && (n.time = now() - start) > seconds) return n;
    }
}

// Clips with their sets and the way back, without any check.
double clips(std::vector<int> tree)
{
    optimize_for_swap(tree.data());
    double start = now(), n = 0;
    for (int x = 1; x % 64 || now() - start < seconds; x = x + 1 < hinod ? x + 1 : 1) {
        if (x == ntax || sis[x] == 0) continue;
        int s = sis[x];
        clip_subtree(x);
        reoptimize_after_clip(s, x);
        unclip_subtree(x, s);
        restore_after_clip(s);
        ++n;
    }
    return n / (now() - start);
}

// Complete TBR neighbourhoods through clusters.
count tbr(std::vector<int> tree)
{
    count n;
    clusters_on = 1;
    optimize_for_swap(tree.data());
    double start = now();
    for (int x = 1; ; x = x + 1 < hinod ? x + 1 : 1) {
        if (x == ntax) continue;
        int s = sis[x], nroots, ndests, size = tnodsize[x];
        clip_subtree(x);
        reassign_clusters(x, s, &nroots, &ndests);
        reoptimize_after_clip(s, x);
        clipset = x < ntax ? dnset(x) : branchset(lef[x]);
        destset = branchset(s);
        movebound = NOBOUND;
        score_checker();
        movebound = movesteps;
        for (int i = 0; i < nroots; ++i) {
            clusrec &R = clusmat[rootlist[i]];
            for (int k = 0; (k = scan_clusters(R.uni, deslist, k, ndests)) < ndests; ++k) {
                clusrec &D = clusmat[deslist[k]];
                for (int j = 0; (j = scan_nodes(D.uni, R.roots, j, R.nroots)) < R.nroots; ++j)
                    for (int l = 0; (l = scan_nodes(branchset(R.roots[j]), D.nodes, l, D.ndests)) < D.ndests; ++l)
                        ++n.accepted;
            }
        }
        n.checks += std::max(1.0, 2.0 * (ntax - size) - 3) * std::max(1, 2 * size - 3);
        unclip_subtree(x, s);
        restore_after_clip(s);
        if (x % 64 == 0 && (n.time = now() - start) > seconds) {
            clusters_on = 0;
            return n;
        }
    }
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc > 1) seconds = atof(argv[1]);
    initialize_winbufsiz(250);
    gtkZel(";");
    for (const set &s : sets) {
        std::mt19937 rng(1);
        std::vector<int> start = readdata(rng, s);
        schpack();
        printf("%s: %i cells\n", s.what, char_cells);
        count ref = measure(start, [](const int *list, int k) {
            double ok = 0;
            for (int i = 0; i < k; ++i) ok += onecheck(clipset, branchset(list[i]), long(movebound)) >= 0;
            return ok;
        });
        printf("  %-8s %8.1f million checks a second, 1 in %.0f within bound\n", "one cell", ref.checks / ref.time / 1e6,
               ref.checks / ref.accepted);
        for (int i = 0; kernelsets[i]; ++i) {
            force_kernels(kernelsets[i]->name);
            count one = measure(start, [](const int *list, int k) {
                double ok = 0;
                for (int i = 0; i < k; ++i) {
                    destset = branchset(list[i]);
                    score_checker();
                    ok += moveok;
                }
                return ok;
            });
            count all = measure(start, [](const int *list, int k) {
                double ok = 0;
                for (int i = 0; (i = scan_nodes(clipset, list, i, k)) < k; ++i) ++ok;
                return ok;
            });
            printf("  %-8s %8.1f singly (x%.1f), %8.1f in lists (x%.1f); %.0f clips a second;", kernelsets[i]->name,
                   one.checks / one.time / 1e6, one.checks / one.time / (ref.checks / ref.time), all.checks / all.time / 1e6,
                   all.checks / all.time / (ref.checks / ref.time), clips(start));
            count t = tbr(start);
            printf(" TBR %.0f million a second\n", t.checks / t.time / 1e6);
            fflush(stdout);
        }
        force_kernels("");
    }
}
